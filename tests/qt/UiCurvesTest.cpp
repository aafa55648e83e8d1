// Brightness Curve and Color Curves in the editor on Qt's offscreen screen: the sample
// opened, a point added to the curve with Shift and the mouse, a preview and an OK, and
// screenshots of each dialog and of the workspace.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/BrightnessCurve.h"
#include "transforms/ColorCurves.h"
#include "transforms/CurveControl.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/Transform.h"

// Opens the dialog of command, chooses space in its list, adds the point (100, 180) to the
// curve in view and applies; the result is brighter in the middle. Screenshots under name.
static void LiftTheMiddle(QMainWindow *main, WindowHandle input, int command, int curveId,
                          int spaceId, int space, const std::string &name)
{
    PlatformSendMessage(FrameWindow, MSG_COMMAND, (uintptr_t)command, 0);
    UiSettle(200);
    WindowHandle dialog = DialogWindow;
    ASSERT_NE(dialog, nullptr);
    PopupListSetChoice(dialog, spaceId, space);
    PlatformSendMessage(dialog, MSG_COMMAND, (uintptr_t)spaceId | ((uintptr_t)NOTIFY_CHANGED << 16),
                        0);
    QWidget *plot = QtPlatformWidget(PlatformControl(dialog, curveId));
    ASSERT_NE(plot, nullptr);
    QPoint at(CurveColumnOfLevel(100, plot->width()), CurveRowOfLevel(180, plot->height()));
    QMainWindow *window = QtPlatformMainWindow();
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, Qt::ShiftModifier,
                      plot->mapTo(window, at));
    UiSettle(100);
    const GrayCurve *curve = CurveControlCurve(dialog, curveId);
    ASSERT_NE(curve, nullptr);
    ASSERT_EQ(curve->pointCount, 3);
    EXPECT_EQ(curve->table[100], 180);
    // A click on the picture marks its level on the curve.
    QWidget *picture = QtPlatformWidget(input);
    ASSERT_NE(picture, nullptr);
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, Qt::NoModifier,
                      picture->mapTo(window, picture->rect().center()));
    UiSettle(100);
    EXPECT_GT(curve->probeCount, 0);
    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_PREVIEW, 0);
    UiSettle(150);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), name + "-dialog");
    // The same curve in the histogram view, as "Show Histograms" shows it.
    CurveControlCurve(dialog, curveId)->viewMode = CURVE_VIEW_HISTOGRAM;
    CurveControlRefresh(dialog, curveId);
    UiSettle(50);
    UiSaveScreenshot(plot->grab().toImage(), name + "-histograms");
    CurveControlCurve(dialog, curveId)->viewMode = CURVE_VIEW_CURVE;
    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_OK, 0);
    UiSettle(200);
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, input);
    const Image &before = WindowRecord(input)->picture.image;
    const Image &after = WindowRecord(result)->picture.image;
    int y = before.height / 2, x = 3 * (before.width / 2);
    EXPECT_GT(after.rows[y][x] + after.rows[y][x + 1] + after.rows[y][x + 2],
              before.rows[y][x] + before.rows[y][x + 1] + before.rows[y][x + 2]);
    UiSaveScreenshot(main->grab().toImage(), name + "-applied");
}

TEST(UiCurves, AShiftClickLiftsTheMiddleAndOkBrightens)
{
    QMainWindow *main = nullptr;
    WindowHandle input = nullptr;
    ASSERT_NO_FATAL_FAILURE(UiStartEditorWithSample(&main, &input));
    {
        SCOPED_TRACE("Brightness Curve, RGB");
        LiftTheMiddle(main, input, COMMAND_BRIGHTNESS_CURVE, BRIGHTNESS_CURVE, BRIGHTNESS_SPACE,
                      CURVES_RGB, "brightness");
    }
    {
        // The curve in view at the first opening is the third: the value of HSV.
        SCOPED_TRACE("Color Curves, HSV value");
        LiftTheMiddle(main, input, COMMAND_COLOR_CURVES, COLOR_CURVES_CURVE, COLOR_CURVES_SPACE,
                      CURVES_HSV, "curves");
    }
    Shutdown();
    QtPlatformStop();
}
