// Color Balance in the editor on Qt's offscreen screen: the sample opened, the dialog opened
// from the menu, a highlight point of its graph dragged with the screen's mouse, a preview,
// an Apply, and screenshots of the dialog and of the workspace.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/ColorBalance.h"
#include "transforms/ColorBalanceGraph.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"

class UiColorBalance : public UiEditorTest {
  protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(UiEditorTest::SetUp());
        ASSERT_NO_FATAL_FAILURE(Open(COMMAND_COLOR_BALANCE));
    }
};

TEST_F(UiColorBalance, GraphDragPreviewAndApplyOnTheSample)
{
    EXPECT_EQ(CurrentOperation, KIND_COLOR_BALANCE);
    const ColorBalanceSettings *settings =
        (const ColorBalanceSettings *)PlatformGetWindowWord(dialog, WORD_POINTER);
    ASSERT_NE(settings, nullptr);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "color-balance-dialog");

    // The red highlight point is dragged down from where it stands, with the mouse of the
    // screen: press on it, move, release.
    QWidget *graph = QtPlatformWidget(PlatformControl(dialog, COLOR_BALANCE_GRAPH));
    ASSERT_NE(graph, nullptr);
    Rect plot;
    ColorBalanceGraphPlot(&plot);
    int x, y;
    ColorBalancePointAt(settings, (int)BALANCE_POINT_HIGHLIGHT + BALANCE_RED, &x, &y);
    QWindow *screen = main->windowHandle();
    QPoint from = graph->mapTo(main, QPoint(plot.left + x, plot.top + y));
    QPoint to = graph->mapTo(main, QPoint(plot.left + x - 20, plot.top + y + 30));
    QTest::mousePress(screen, Qt::LeftButton, Qt::NoModifier, from);
    QTest::mouseMove(screen, (from + to) / 2);
    QTest::mouseMove(screen, to);
    QTest::mouseRelease(screen, Qt::LeftButton, Qt::NoModifier, to);
    UiSettle(100);
    EXPECT_EQ(settings->highlightMode, BALANCE_CUSTOM);
    EXPECT_EQ(PopupListChoice(dialog, COLOR_BALANCE_HIGHLIGHT), BALANCE_CUSTOM);
    EXPECT_EQ(settings->highlightRemove[BALANCE_RED], Clamp8((x - 20) * 2));
    EXPECT_EQ(settings->highlightAdd[BALANCE_RED], Clamp8((y + 30) * -2 + 255));
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "color-balance-dragged");

    // A click on the shadow's add swatch opens its color control.
    Rect swatch;
    ColorBalanceSwatchRect(BALANCE_SWATCH_SHADOW_ADD, &swatch);
    UiClickOnScreen(graph, QPoint(swatch.left + 4, swatch.top + 4));
    UiSettle(100);
    WindowHandle color = nullptr;
    for (WindowHandle window = PlatformFirstChild(); window != nullptr;
         window = PlatformNextChild(window))
        if (PlatformGetWindowWord(window, WORD_KIND) != KIND_IMAGE &&
            PlatformGetWindowWord(window, WORD_KIND) != KIND_PREVIEW && window != dialog)
            color = window;
    ASSERT_NE(color, nullptr);
    char title[64];
    PlatformGetWindowTitle(color, title, sizeof title);
    EXPECT_STREQ(title, "Add Shadow Cast");
    UiSaveScreenshot(main->grab().toImage(), "color-balance-color-control");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_PREVIEW, 0);
    UiSettle(100);
    ASSERT_NE(OutputWindow, nullptr);
    UiSaveScreenshot(main->grab().toImage(), "color-balance-preview");

    // Apply: the result's red is the input's through the red table.
    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_APPLY, 0);
    UiSettle(150);
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    const Image &picture = WindowRecord(input)->picture.image;
    const Image &applied = WindowRecord(result)->picture.image;
    ASSERT_EQ(picture.type, TYPE_COLOR24);
    uint8_t red[256];
    ColorBalanceTable8(settings, BALANCE_RED, red);
    int row = picture.height / 2, column = picture.width / 2;
    EXPECT_EQ(applied.rows[row][3 * column + 2], red[picture.rows[row][3 * column + 2]]);
    UiSaveScreenshot(main->grab().toImage(), "color-balance-applied");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_CANCEL, 0);
    UiSettle(50);
    EXPECT_EQ(DialogWindow, nullptr);
}
