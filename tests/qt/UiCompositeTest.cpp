// Composite in the editor on Qt's offscreen screen: the sample as background and a copy of it
// as overlay, "Multi-point" alignment with a pair added by a Shift-click of the screen's
// mouse and a point dragged, and screenshots of the dialog and of both pictures with their
// labelled points.
#include <QMainWindow>
#include <QMenu>
#include <QTest>
#include <gtest/gtest.h>

#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/Composite.h"
#include "transforms/CompositeDialog.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"

class UiComposite : public UiEditorTest {
  protected:
    WindowHandle &background = input; // the sample is the composite's background
};

// The screen point of a picture point (ruler coordinates) of a picture window.
static QPoint ScreenPoint(WindowHandle window, int x, int y)
{
    const ImageWindow *record = WindowRecord(window);
    int cx, cy;
    PictureToClient(window, record, x, record->picture.image.height - 1 - y, &cx, &cy);
    return QPoint(cx, cy);
}

TEST_F(UiComposite, PointsOnBothPicturesAndTheDialog)
{
    // The overlay: a copy of the sample in a window of its own.
    WindowHandle overlay = nullptr;
    ASSERT_EQ(NewImageWindow(nullptr, &overlay, 420, 340, 0), ERROR_NONE);
    const Image &sample = WindowRecord(background)->picture.image;
    ASSERT_EQ(ImageCopy(&sample, &WindowRecord(overlay)->picture.image, 0), ERROR_NONE);
    ImageWindowLayout(overlay);
    // Whole at 1:4 beside the background and clear of the dialog, so that the mouse reaches
    // the points of both on the offscreen screen.
    SetZoom(overlay, WindowRecord(overlay), -4, 1);
    Rect placed;
    PlatformGetWindowRect(overlay, &placed);
    PlatformMoveWindow(overlay, 545, 285, placed.right - placed.left, placed.bottom - placed.top);
    PlatformActivateWindow(background);
    UiSettle(100);

    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_COMPOSITE, 0);
    UiSettle(200);
    dialog = DialogWindow;
    ASSERT_EQ(CurrentOperation, KIND_COMPOSITE);
    CompositeParams *params = (CompositeParams *)PlatformGetWindowWord(dialog, WORD_POINTER);
    ASSERT_NE(params, nullptr);

    // The overlay from the chooser's list, then the operation and "Multi-point".
    UiWhenPopup([](QWidget *popup) {
        QMenu *menu = qobject_cast<QMenu *>(popup);
        ASSERT_NE(menu, nullptr);
        ASSERT_EQ(menu->actions().size(), 2); // "None" and the overlay
        menu->setActiveAction(menu->actions()[1]);
        QTest::keyClick(menu, Qt::Key_Return);
    });
    UiClickOnScreen(QtPlatformWidget(PlatformControl(dialog, COMPOSITE_OVERLAY)), QPoint(150, 10));
    UiSettle(100);
    ASSERT_EQ(params->overlayWindow, overlay);
    PopupListSetChoice(dialog, COMPOSITE_OPERATION, COMPOSITE_ABSOLUTE_DIFFERENCE);
    PlatformSendMessage(dialog, MSG_COMMAND, COMPOSITE_OPERATION | NOTIFY_CHANGED << 16, 0);
    PopupListSetChoice(dialog, COMPOSITE_ALIGNMENT, ALIGN_MULTI_POINT);
    PlatformSendMessage(dialog, MSG_COMMAND, COMPOSITE_ALIGNMENT | NOTIFY_CHANGED << 16, 0);
    UiSettle(100);
    ASSERT_EQ(params->align.pointCount, 3);

    // A Shift-click in the middle of the background adds pair 4; pair 1 of the overlay is
    // dragged in from its corner, as the screen's mouse does it.
    QWidget *picture = QtPlatformWidget(background);
    QWindow *screen = main->windowHandle();
    int width = sample.width, height = sample.height;
    QPoint middle = picture->mapTo(main, ScreenPoint(background, width / 2, height / 2));
    QTest::mouseClick(screen, Qt::LeftButton, Qt::ShiftModifier, middle);
    UiSettle(100);
    EXPECT_EQ(params->align.pointCount, 4);
    QWidget *other = QtPlatformWidget(overlay);
    QPoint from = other->mapTo(main, ScreenPoint(overlay, 0, 0));
    QPoint to = other->mapTo(main, ScreenPoint(overlay, width / 5, height / 6));
    QTest::mousePress(screen, Qt::LeftButton, Qt::NoModifier, from);
    QTest::mouseMove(screen, to);
    QTest::mouseRelease(screen, Qt::LeftButton, Qt::NoModifier, to);
    UiSettle(100);
    EXPECT_GT(params->align.overlayX[0], 0.0);
    EXPECT_GT(params->align.overlayY[0], 0.0);

    // Hardy's method from the Options menu, whose search radii carry the plus-minus sign;
    // the "R:" slider shows with it.
    UiWhenPopup([](QWidget *popup) {
        QMenu *menu = qobject_cast<QMenu *>(popup);
        ASSERT_NE(menu, nullptr);
        ASSERT_EQ(menu->actions().size(), 10);
        EXPECT_EQ(menu->actions()[5]->text(), QString::fromUtf8("&Search Radius \u00B1 6 pixels"));
        menu->setActiveAction(menu->actions()[WARP_HARDY]);
        QTest::keyClick(menu, Qt::Key_Return);
    });
    UiClickOnScreen(QtPlatformWidget(PlatformControl(dialog, SETTINGS_OPTIONS_BUTTON)),
                    QPoint(10, 10));
    UiSettle(100);
    EXPECT_EQ(params->align.method, WARP_HARDY);
    EXPECT_TRUE(QtPlatformWidget(PlatformControl(dialog, COMPOSITE_RADIUS))->isVisible());

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_PREVIEW, 0);
    UiSettle(200);
    EXPECT_NE(OutputWindow, nullptr);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "composite-dialog");
    UiSaveScreenshot(QtPlatformFrameWidget(background)->grab().toImage(),
                     "composite-background-points");
    UiSaveScreenshot(main->grab().toImage(), "composite-workspace");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_CANCEL, 0);
    UiSettle(50);
    EXPECT_EQ(DialogWindow, nullptr);
}
