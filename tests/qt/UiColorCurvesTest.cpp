// Color Curves in the editor on Qt's offscreen screen: the sample opened, a point added to
// the value curve of HSV with Shift and the mouse, a preview and an Apply, and screenshots of
// the dialog and of the workspace.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/ColorCurves.h"
#include "transforms/CurveControl.h"
#include "ui/ImageWindow.h"
#include "ui/Transform.h"

TEST(UiColorCurves, AShiftClickOnTheValueCurveBrightensInHsv)
{
    QMainWindow *main = nullptr;
    WindowHandle input = nullptr;
    ASSERT_NO_FATAL_FAILURE(UiStartEditorWithSample(&main, &input));
    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_COLOR_CURVES, 0);
    UiSettle(200);
    WindowHandle dialog = DialogWindow;
    ASSERT_NE(dialog, nullptr);

    // In HSV, on the value curve (the third, in view at the first opening): Shift and a
    // click at input 100, output 180 of the plot.
    PopupListSetChoice(dialog, COLOR_CURVES_SPACE, CURVES_HSV);
    PlatformSendMessage(dialog, MSG_COMMAND,
                        (uintptr_t)COLOR_CURVES_SPACE | ((uintptr_t)NOTIFY_CHANGED << 16), 0);
    UiSettle(50);
    QWidget *plot = QtPlatformWidget(PlatformControl(dialog, COLOR_CURVES_CURVE));
    ASSERT_NE(plot, nullptr);
    QPoint at(CurveColumnOfLevel(100, plot->width()), CurveRowOfLevel(180, plot->height()));
    QMainWindow *window = QtPlatformMainWindow();
    QTest::mouseClick(window->windowHandle(), Qt::LeftButton, Qt::ShiftModifier,
                      plot->mapTo(window, at));
    UiSettle(100);
    const GrayCurve *curve = CurveControlCurve(dialog, COLOR_CURVES_CURVE);
    ASSERT_NE(curve, nullptr);
    ASSERT_EQ(curve->pointCount, 3);
    EXPECT_EQ(curve->table[100], 180);
    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_PREVIEW, 0);
    UiSettle(150);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "curves-dialog");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_OK, 0);
    UiSettle(200);
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, input);
    // A middle gray is lifted: the curve rises above the diagonal everywhere inside.
    const Image &before = WindowRecord(input)->picture.image;
    const Image &after = WindowRecord(result)->picture.image;
    int y = before.height / 2, x = 3 * (before.width / 2);
    EXPECT_GT(after.rows[y][x] + after.rows[y][x + 1] + after.rows[y][x + 2],
              before.rows[y][x] + before.rows[y][x + 1] + before.rows[y][x + 2]);
    UiSaveScreenshot(main->grab().toImage(), "curves-applied");
    Shutdown();
    QtPlatformStop();
}
