// The mask tool in the editor on Qt's offscreen screen: a rectangle made over the sample by
// All, Invert and a combine with a gray picture that holds it, feathered and shown as the red
// overlay; then Gamma Adjust applied through the finished mask by its Amount control.
// Screenshots of the tool and of the workspace go to test-output/ui.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include <cmath>

#include "core/Helpers.h"
#include "masks/AmountControl.h"
#include "masks/Mask.h"
#include "masks/MaskTool.h"
#include "platform/qt/QtPlatform.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/GammaAdjust.h"
#include "ui/CommandIds.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

TEST(UiMaskTool, RectangleFeatheredShownRedAndUsedByGamma)
{
    QMainWindow *main = nullptr;
    WindowHandle input = nullptr;
    ASSERT_NO_FATAL_FAILURE(UiStartEditorWithSample(&main, &input));
    const Image &picture = WindowRecord(input)->picture.image;
    int width = picture.width;
    int height = picture.height;

    // A gray picture of the sample's size with a white rectangle in its middle.
    WindowHandle shape = nullptr;
    ASSERT_EQ(NewImageWindow(nullptr, &shape, 300, 240, 0), ERROR_NONE);
    Image *shapeImage = &WindowRecord(shape)->picture.image;
    ASSERT_EQ(ImageAlloc(shapeImage, TYPE_GRAY8, width, height, 100.0), ERROR_NONE);
    int x0 = width / 4, x1 = width * 3 / 4, y0 = height / 4, y1 = height * 3 / 4;
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
            shapeImage->rows[y][x] = x >= x0 && x <= x1 && y >= y0 && y <= y1 ? 255 : 0;
    ImageWindowLayout(shape);
    PlatformActivateWindow(input);
    UiSettle(100);

    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_MASK_NEW, 0);
    UiSettle(100);
    ASSERT_TRUE(MaskToolIsOpen());
    WindowHandle tool = MaskTool.toolWindow;
    auto press = [tool](int id) {
        PlatformSendMessage(tool, MSG_COMMAND, (uintptr_t)id, 0);
        UiSettle(30);
    };
    // All by a click on its button on the screen, then Invert: an empty mask again.
    QWidget *all = QtPlatformWidget(PlatformControl(tool, MASK_ID_ALL));
    ASSERT_NE(all, nullptr);
    UiClickOnScreen(all, QPoint(all->width() / 2, all->height() / 2));
    UiSettle(50);
    EXPECT_EQ(MaskTool.mask->rows[0][0], 255);
    press(MASK_ID_INVERT);
    EXPECT_EQ(MaskTool.mask->rows[height / 2][width / 2], 0);

    // Combine Masks, Add, with the rectangle's picture (the list's second entry).
    press(MASK_ID_TOOL + MASK_TOOL_COMBINE);
    PlatformSetControlValue(tool, MASK_ID_COMBINE_WITH, 1);
    press(MASK_ID_COMBINE_RUN);
    EXPECT_EQ(MaskTool.mask->rows[height / 2][width / 2], 255);
    EXPECT_EQ(MaskTool.mask->rows[y0 - 1][width / 2], 0);
    UiSaveScreenshot(QtPlatformFrameWidget(tool)->grab().toImage(), "mask-tool-combine");

    // Feathered by 12 pixels: the edge fades outward.
    press(MASK_ID_TOOL + MASK_TOOL_FEATHER);
    SliderSetPosition(tool, MASK_ID_FEATHER_WIDTH, 512 + 12 * 8);
    PlatformSendMessage(tool, MSG_COMMAND,
                        (uintptr_t)MASK_ID_FEATHER_WIDTH | (uintptr_t)NOTIFY_RELEASED << 16, 0);
    UiSettle(100);
    int faded = MaskTool.mask->rows[y0 - 6][width / 2];
    EXPECT_GT(faded, 0);
    EXPECT_LT(faded, 255);
    EXPECT_EQ(MaskTool.mask->rows[y0 - 13][width / 2], 0);
    UiSaveScreenshot(QtPlatformFrameWidget(tool)->grab().toImage(), "mask-tool-feather");
    // The red overlay, half clear, over the sample.
    const ImageWindow *record = WindowRecord(input);
    EXPECT_EQ(record->overlayAlpha, 128);
    EXPECT_EQ(record->view.type, TYPE_COLOR24);
    UiSaveScreenshot(main->grab().toImage(), "mask-tool-overlay");
    press(MASK_ID_OPACITY + MASK_OPACITY_MASK_ONLY);
    UiSaveScreenshot(main->grab().toImage(), "mask-tool-mask-only");
    press(MASK_ID_OPACITY + MASK_OPACITY_SEMITRANSPARENT);

    // OK: the mask is a gray window of its own, which Gamma's Amount takes.
    WindowHandle mask = MaskTool.maskWindow;
    press(MASK_ID_OK);
    ASSERT_FALSE(MaskToolIsOpen());
    EXPECT_EQ(record->overlayMask, nullptr);
    PlatformActivateWindow(input);
    UiSettle(50);
    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_GAMMA, 0);
    UiSettle(100);
    WindowHandle dialog = DialogWindow;
    ASSERT_NE(dialog, nullptr);
    SliderSetPosition(dialog, GAMMA_SLIDER, 800);
    PlatformSendMessage(dialog, MSG_COMMAND,
                        (uintptr_t)GAMMA_SLIDER | (uintptr_t)NOTIFY_RELEASED << 16, 0);
    WindowHandle amount = PlatformControl(dialog, GAMMA_AMOUNT);
    AmountSelect(amount, mask);
    PlatformSendMessage(dialog, MSG_AMOUNT_CHANGED, GAMMA_AMOUNT, 0);
    UiSettle(100);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "mask-tool-gamma-dialog");
    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_APPLY, 0);
    UiSettle(150);
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    const Image &applied = WindowRecord(result)->picture.image;
    // Inside the rectangle the whole effect, outside it none.
    double factor = exp(800 / 512.0 - 1.0);
    int inside = picture.rows[height / 2][3 * (width / 2)];
    EXPECT_EQ(applied.rows[height / 2][3 * (width / 2)],
              Round(pow(inside / 255.0, factor) * 255.0));
    EXPECT_EQ(applied.rows[2][6], picture.rows[2][6]);
    UiSaveScreenshot(main->grab().toImage(), "mask-tool-gamma-applied");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_CANCEL, 0);
    UiSettle(50);
    Shutdown();
    QtPlatformStop();
}
