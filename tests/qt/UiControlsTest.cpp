// The custom controls on Qt's offscreen screen: a dialog with an input chooser, a pop-up
// list, a slider and an Amount control with a mask chosen, drawn by the real platform and
// saved as a screenshot for a person to look at; a click on the slider reaches the dialog.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include "masks/AmountControl.h"
#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/GammaAdjust.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"

static int SliderMessages; // MSG_COMMAND of the slider the dialog received

static MessageResult DialogProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam)
{
    if (message == MSG_COMMAND && (wParam & 0xffff) == 101) SliderMessages++;
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

// An image window holding a picture of type, width by height, filled by fill(x, y, sample).
static WindowHandle Picture(int type, int width, int height,
                            uint8_t (*fill)(int x, int y, int sample))
{
    WindowHandle window = nullptr;
    EXPECT_EQ(NewImageWindow(nullptr, &window, -1, -1, 0), ERROR_NONE);
    if (window == nullptr) return nullptr;
    ImageWindow *record = WindowRecord(window);
    EXPECT_EQ(ImageAlloc(&record->picture.image, type, width, height, 300.0), ERROR_NONE);
    int samples = type == TYPE_COLOR24 ? 3 : 1;
    for (int row = 0; row < height; row++)
        for (int x = 0; x < width * samples; x++)
            record->picture.image.rows[row][x] = fill(x / samples, height - 1 - row, x % samples);
    ImageWindowLayout(window);
    return window;
}

TEST(UiControls, ADialogWithEachControlDrawsTidily)
{
    ASSERT_EQ(QtPlatformStart(), ERROR_NONE);
    ASSERT_EQ(Initialise(), ERROR_NONE);
    ASSERT_EQ(CreateFrame(), ERROR_NONE);
    QMainWindow *main = QtPlatformMainWindow();
    main->setGeometry(0, 0, 1000, 700);
    main->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(main));
    UiSettle(50);

    // A colour picture and a mask of its size: dark at the left, light at the right.
    WindowHandle input = Picture(TYPE_COLOR24, 240, 160, [](int x, int y, int sample) {
        return (uint8_t)(sample == 0 ? y * 255 / 159 : sample == 1 ? x * 255 / 239 : 128);
    });
    WindowHandle mask =
        Picture(TYPE_GRAY8, 240, 160, [](int x, int, int) { return (uint8_t)(x * 255 / 239); });
    ASSERT_NE(input, nullptr);
    ASSERT_NE(mask, nullptr);

    ChildKindRegister(KIND_GAMMA, DialogProcedure);
    const int width = 340; // the client
    int y = Margin;
    int amountHeight = LineHeight + SliderHeight + 4;
    int height = y + CHOOSER_HEIGHT + Margin + ButtonHeight + Margin + LineHeight + SliderHeight +
                 Margin + amountHeight + Margin;
    WindowCreate request = {CLASS_CHILD,
                            KIND_GAMMA,
                            -1,
                            "Gamma Adjust",
                            STYLE_DIALOG | STYLE_CAPTION,
                            300,
                            300,
                            width + DisplayMetrics.dialogFrame,
                            height + DisplayMetrics.dialogBorder,
                            nullptr,
                            0,
                            0};
    WindowHandle dialog = PlatformCreateWindow(&request);
    ASSERT_NE(dialog, nullptr);

    Rect chooser = {Margin, y, width - Margin, y + CHOOSER_HEIGHT};
    ASSERT_NE(InputChooserCreate(dialog, 103, &chooser, input, nullptr), nullptr);
    y = chooser.bottom + Margin;
    Rect list = {Margin, y, width - Margin, y + ButtonHeight};
    ASSERT_NE(PopupListCreate(dialog, 102, &list, "Input gamma:", "1.00\0001.80\0002.20\0", 2),
              nullptr);
    y = list.bottom + Margin;
    Rect label = {Margin, y, width - Margin, y + LineHeight};
    PlatformCreateControl(dialog, CONTROL_STATIC, 104, "Gamma factor: 1.00", ALIGN_LEFT, &label);
    Rect slider = {Margin, label.bottom, width - Margin, label.bottom + SliderHeight};
    WindowHandle sliderWindow = SliderCreate(dialog, 101, &slider, 512);
    ASSERT_NE(sliderWindow, nullptr);
    y = slider.bottom + Margin;
    Rect amountRect = {Margin, y, width - Margin, y + amountHeight};
    WindowHandle amount = AmountCreate(dialog, 105, &amountRect, "Amount: ", 0, input);
    ASSERT_NE(amount, nullptr);
    AmountSelect(amount, mask);
    AmountSetting setting;
    AmountGet(amount, &setting);
    ASSERT_EQ(setting.maskWindow, mask);
    setting.low = 256;
    setting.high = 900;
    AmountSet(amount, &setting);
    PlatformActivateWindow(dialog);
    UiSettle(100);

    QWidget *dialogFrame = QtPlatformFrameWidget(dialog);
    ASSERT_NE(dialogFrame, nullptr);
    UiSaveScreenshot(dialogFrame->grab().toImage(), "controls-dialog");
    UiSaveScreenshot(main->grab().toImage(), "controls-workspace");

    // A click near the right end of the slider moves it there and tells the dialog.
    QWidget *sliderWidget = QtPlatformWidget(sliderWindow);
    ASSERT_NE(sliderWidget, nullptr);
    SliderMessages = 0;
    UiClickOnScreen(sliderWidget, QPoint(sliderWidget->width() - 6, SliderHeight / 2));
    UiSettle(50);
    EXPECT_EQ(SliderPosition(dialog, 101), 1024);
    EXPECT_EQ(SliderMessages, 2); // moved, released
    UiSaveScreenshot(dialogFrame->grab().toImage(), "controls-dialog-slider-right");

    Shutdown();
    QtPlatformStop();
}
