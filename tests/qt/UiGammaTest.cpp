// Gamma Adjust in the editor on Qt's offscreen screen: the sample opened, the dialog opened
// from the menu, its slider moved by the mouse, a preview, an Apply, and screenshots of the
// dialog and of the workspace with the input, the preview and the result.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include <cmath>

#include "core/Helpers.h"
#include "platform/qt/QtPlatform.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/GammaAdjust.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"

// The editor started with the sample open and Gamma Adjust opened from the menu.
class UiGamma : public UiEditorTest {
  protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(UiEditorTest::SetUp());
        ASSERT_NO_FATAL_FAILURE(Open(COMMAND_GAMMA));
    }
};

TEST_F(UiGamma, SliderPreviewAndApplyOnTheSample)
{
    EXPECT_EQ(CurrentOperation, KIND_GAMMA);

    // A press three quarters along the slider's track puts the factor above 1.
    QWidget *slider = QtPlatformWidget(PlatformControl(dialog, GAMMA_SLIDER));
    ASSERT_NE(slider, nullptr);
    UiClickOnScreen(slider, QPoint(slider->width() * 3 / 4, slider->height() / 2));
    UiSettle(50);
    int position = SliderPosition(dialog, GAMMA_SLIDER);
    EXPECT_GT(position, 600);
    EXPECT_LT(position, 900);
    char text[64];
    PlatformGetControlText(dialog, GAMMA_FACTOR_TEXT, text, sizeof text);
    char expected[64];
    snprintf(expected, sizeof expected, "Gamma factor: %.2f", exp(position / 512.0 - 1.0));
    EXPECT_STREQ(text, expected);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "gamma-dialog");

    // Preview: a window of kind 1 that shows the result at 8 bits.
    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_PREVIEW, 0);
    UiSettle(100);
    ASSERT_NE(OutputWindow, nullptr);
    const ImageWindow *preview = WindowRecord(OutputWindow);
    ASSERT_NE(preview->view.rows, nullptr);
    UiSaveScreenshot(main->grab().toImage(), "gamma-preview");

    // Apply: a new image window beside the input, and the dialog stays for another.
    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_APPLY, 0);
    UiSettle(150);
    // With "Auto" on (the defaultpreview preference) a fresh preview follows the Apply; the
    // result is the Apply's own.
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, input);
    ASSERT_EQ(PlatformGetWindowWord(result, WORD_KIND), 0);
    const Image &picture = WindowRecord(input)->picture.image;
    const Image &applied = WindowRecord(result)->picture.image;
    ASSERT_EQ(applied.width, picture.width);
    // The factor raises a middle gray's sample: a power above 1 darkens it.
    double factor = exp(position / 512.0 - 1.0);
    int s = picture.rows[picture.height / 2][3 * (picture.width / 2)];
    EXPECT_EQ(applied.rows[picture.height / 2][3 * (picture.width / 2)],
              Round(pow(s / 255.0, factor) * 255.0));
    UiSaveScreenshot(main->grab().toImage(), "gamma-applied");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_CANCEL, 0);
    UiSettle(50);
    EXPECT_EQ(DialogWindow, nullptr);
    EXPECT_TRUE(PlatformWindowExists(result));
}

TEST_F(UiGamma, TheKeyboardReachesTheSliderByTabAndMovesIt)
{
    // The dialog keeps the focus through the preview that opens with it.
    EXPECT_EQ(PlatformFocusWindow(), dialog);

    // Tab from the screen's keyboard walks the controls; the focus shows on each, the
    // platform's buttons by their style and the program's own controls by a frame.
    QWindow *screen = main->windowHandle();
    int tabs = 0;
    while (PlatformControlId(PlatformFocusWindow()) != GAMMA_SLIDER && tabs < 12) {
        QTest::keyClick(screen, Qt::Key_Tab);
        UiSettle(20);
        tabs++;
        if (PlatformControlId(PlatformFocusWindow()) == BUTTON_APPLY)
            UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "gamma-focus-apply");
    }
    ASSERT_EQ(PlatformControlId(PlatformFocusWindow()), GAMMA_SLIDER);
    int start = SliderPosition(dialog, GAMMA_SLIDER);
    QTest::keyClick(screen, Qt::Key_Right);
    QTest::keyClick(screen, Qt::Key_Right);
    UiSettle(100);
    EXPECT_EQ(SliderPosition(dialog, GAMMA_SLIDER), start + 2 * SLIDER_STEP);
    QTest::keyClick(screen, Qt::Key_PageDown);
    UiSettle(100);
    EXPECT_EQ(SliderPosition(dialog, GAMMA_SLIDER), start + 2 * SLIDER_STEP - SLIDER_PAGE);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "gamma-focus-slider");
    UiSaveScreenshot(main->grab().toImage(), "gamma-keyboard");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_CANCEL, 0);
    UiSettle(50);
}
