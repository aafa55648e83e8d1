// The Composite dialog as a user drives it: the overlay chosen, the lists previewing at once,
// the alignment points dragged on both pictures and drawn over them, pairs added and removed
// in "Multi-point" with their beeps, the messages of Refine and of a singular warp, the
// record kept for the next opening, and Apply equal to CompositeCompute on the same settings.
#include <string>

#include "masks/AmountControl.h"
#include "tests/shell/ShellTestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/Composite.h"
#include "transforms/CompositeDialog.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

namespace {

class CompositeDialogs : public ShellTest {
  protected:
    WindowHandle background = nullptr;
    WindowHandle overlay = nullptr;

    void SetUp() override
    {
        ShellTest::SetUp();
        HeadlessSetSettingsFolder(TestCaseFolder().c_str());
        overlay = MakePicture(TYPE_GRAY8, 40, 30, 7);
        background = MakePicture(TYPE_COLOR24, 40, 30, 3);
    }

    CompositeParams *Params(void)
    {
        return (CompositeParams *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    }

    // Opens the dialog on the background afresh: Shift held, so that no test takes up the
    // record an earlier one left.
    void Open(void)
    {
        HeadlessSetShift(1);
        ASSERT_EQ(TransformDialogOpen(&CompositeDialog, background), ERROR_NONE);
        HeadlessSetShift(0);
    }

    // The same, with the other picture as its overlay.
    void OpenWithOverlay(void)
    {
        Open();
        HeadlessQueuePopupChoice(2); // the first picture after "None"
        HeadlessMouse(PlatformControl(DialogWindow, COMPOSITE_OVERLAY), MSG_LBUTTON_DOWN, 5, 5, 0);
        ASSERT_EQ(Params()->overlayWindow, overlay);
    }

    // A mouse message at a picture point (ruler coordinates) of a picture window.
    void MouseAt(WindowHandle window, uint32_t message, double x, double y, uint32_t keys = 0)
    {
        const ImageWindow *record = WindowRecord(window);
        int cx, cy;
        PictureToClient(window, record, Round(x), record->picture.image.height - 1 - Round(y), &cx,
                        &cy);
        HeadlessMouse(window, message, cx, cy, keys);
    }

    void ClickAt(WindowHandle window, double x, double y, uint32_t keys)
    {
        MouseAt(window, MSG_LBUTTON_DOWN, x, y, keys);
        MouseAt(window, MSG_LBUTTON_UP, x, y, keys);
    }

    // The preview shows exactly what CompositeCompute gives for the settings at its zoom.
    void ExpectPreviewIsCompute(void)
    {
        ASSERT_NE(OutputWindow, nullptr);
        const ImageWindow *preview = WindowRecord(OutputWindow);
        ASSERT_EQ(preview->zoom, 1);
        Image expected = {};
        int w = preview->viewWidth, h = preview->viewHeight;
        ASSERT_EQ(CompositeCompute(&WindowRecord(background)->picture.image, &expected, nullptr,
                                   Params(), 0, w, h, 0, 0, 1, 0, 0, w - 1, h - 1, w, h),
                  ERROR_NONE);
        ExpectImagesNear(expected, preview->view, 0);
        ImageFree(&expected);
    }
};

TEST_F(CompositeDialogs, OverlayColorAndListsPreviewAtOnce)
{
    OpenWithOverlay();
    EXPECT_EQ(Params()->overlay, &WindowRecord(overlay)->picture.image);
    EXPECT_STREQ(InUseBy(overlay), "Composite");
    HeadlessClick(DialogWindow, BUTTON_AUTO);
    HeadlessChoose(DialogWindow, COMPOSITE_OPERATION, COMPOSITE_ABSOLUTE_DIFFERENCE);
    ExpectPreviewIsCompute();
    // "None": the solid color, whose swatch opens "Overlay Color"; the overlay may close.
    HeadlessQueuePopupChoice(1);
    HeadlessMouse(PlatformControl(DialogWindow, COMPOSITE_OVERLAY), MSG_LBUTTON_DOWN, 5, 5, 0);
    EXPECT_EQ(InUseBy(overlay), nullptr);
    HeadlessMouse(PlatformControl(DialogWindow, COMPOSITE_COLOR), MSG_LBUTTON_DOWN, 5, 5, 0);
    WindowHandle color = HeadlessFindWindow("Overlay Color");
    ASSERT_NE(color, nullptr);
    SliderSetPosition(color, COMPOSITE_COLOR_SLIDER, 0);
    PlatformSendMessage(color, MSG_COMMAND, COMPOSITE_COLOR_SLIDER | NOTIFY_RELEASED << 16, 0);
    EXPECT_EQ(Params()->overlayRed, 0);
    ExpectPreviewIsCompute();
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    EXPECT_EQ(HeadlessFindWindow("Overlay Color"), nullptr);
    EXPECT_EQ(PictureClient, nullptr);
}

TEST_F(CompositeDialogs, PointsAreDrawnAndDraggedOnBothPictures)
{
    OpenWithOverlay();
    HeadlessChoose(DialogWindow, COMPOSITE_ALIGNMENT, ALIGN_SHIFT);
    HeadlessClick(DialogWindow, BUTTON_AUTO);
    // Pair 1 starts on the top left corner of both pictures: its cross is xored with gray
    // 128 over the picture, its label written beside it.
    const ImageWindow *record = WindowRecord(background);
    int cx, cy;
    PictureToClient(background, record, 3, 29, &cx, &cy); // three columns right of the corner
    HeadlessTextsForget();
    PlatformInvalidate(background, nullptr);
    HeadlessPaint(background);
    const Image *canvas = HeadlessCanvas(background);
    const uint8_t *marked = canvas->rows[canvas->height - 1 - cy] + 3 * cx;
    for (int c = 0; c < 3; c++)
        EXPECT_EQ(marked[c], record->picture.image.rows[29][9 + c] ^ 0x80) << c;
    ASSERT_EQ(HeadlessTextCount(), 1);
    EXPECT_STREQ(HeadlessTextAt(0, nullptr, nullptr, nullptr), "1");

    // Grabbed within 4 pixels, it follows the mouse; the preview waits for the release. A
    // press far from it, or with Alt, is the picture's own.
    MouseAt(background, MSG_LBUTTON_DOWN, 3, 2);
    MouseAt(background, MSG_MOUSE_MOVE, 6, 4);
    EXPECT_EQ(Params()->align.backgroundX[0], 6.0);
    EXPECT_EQ(Params()->align.backgroundY[0], 4.0);
    EXPECT_EQ(PreviewStale, 0);
    MouseAt(background, MSG_LBUTTON_UP, 7, 5);
    EXPECT_EQ(HeadlessCapture(), nullptr);
    ExpectPreviewIsCompute();
    for (uint32_t keys : {0u, (uint32_t)KEYS_ALT}) {
        MouseAt(background, MSG_LBUTTON_DOWN, keys ? 7 : 20, 5, keys);
        EXPECT_EQ(ToolDown, 1);
        MouseAt(background, MSG_LBUTTON_UP, 20, 20, keys);
    }
    EXPECT_EQ(Params()->align.backgroundX[0], 7.0);

    // The overlay's end is dragged on the overlay; without labels nothing is written.
    MouseAt(overlay, MSG_LBUTTON_DOWN, 0, 0);
    MouseAt(overlay, MSG_LBUTTON_UP, 2, 1);
    EXPECT_EQ(Params()->align.overlayX[0], 2.0);
    EXPECT_EQ(Params()->align.backgroundX[0], 7.0);
    ExpectPreviewIsCompute();
    HeadlessQueuePopupChoice(COMPOSITE_MENU_LABELS);
    HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    HeadlessTextsForget();
    HeadlessPaint(overlay);
    EXPECT_EQ(HeadlessTextCount(), 0);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

TEST_F(CompositeDialogs, MultiPointPairsWithTheirBeepsAndMessages)
{
    OpenWithOverlay();
    HeadlessChoose(DialogWindow, COMPOSITE_ALIGNMENT, ALIGN_MULTI_POINT);
    ASSERT_EQ(Params()->align.pointCount, 3);
    int beeps = HeadlessBeepCount();
    // Same sizes, corners on corners: the mapping is the identity, and a new pair's overlay
    // end is the click itself.
    ClickAt(background, 20, 15, KEYS_SHIFT);
    ASSERT_EQ(Params()->align.pointCount, 4);
    EXPECT_DOUBLE_EQ(Params()->align.overlayX[3], 20.0);
    EXPECT_DOUBLE_EQ(Params()->align.overlayY[3], 15.0);
    ClickAt(background, 0, 0, KEYS_CONTROL); // pair 1 makes the map: it stays
    EXPECT_EQ(HeadlessBeepCount(), beeps + 1);
    ClickAt(overlay, 20, 15, KEYS_CONTROL);
    EXPECT_EQ(Params()->align.pointCount, 3);

    // Two pairs on one background point: Hardy's matrix is singular, which is told, and the
    // computation goes on.
    ClickAt(background, 20, 15, KEYS_SHIFT);
    ClickAt(background, 22, 15, KEYS_SHIFT);
    MouseAt(background, MSG_LBUTTON_DOWN, 22, 15);
    MouseAt(background, MSG_LBUTTON_UP, 20, 15);
    HeadlessQueuePopupChoice(COMPOSITE_MENU_METHOD + WARP_HARDY);
    HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    EXPECT_EQ(PlatformWindowState(PlatformControl(DialogWindow, COMPOSITE_RADIUS)), SHOW_NORMAL);
    // The menu, shown again, checks the method, the search radius and the labels in use.
    HeadlessQueuePopupChoice(0);
    HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    const MenuItem *items = nullptr;
    for (int i = 0, count = HeadlessLastPopup(&items); i < count; i++)
        EXPECT_EQ(items[i].checked, items[i].id == COMPOSITE_MENU_METHOD + WARP_HARDY ||
                                        items[i].id == COMPOSITE_MENU_SEARCH ||
                                        items[i].id == COMPOSITE_MENU_LABELS)
            << items[i].id;
    int messages = HeadlessMessageCount();
    HeadlessClick(DialogWindow, BUTTON_PREVIEW);
    ASSERT_EQ(HeadlessMessageCount(), messages + 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text,
                 "Equations are singular -- try different control point locations");
    EXPECT_NE(OutputWindow, nullptr);

    // Up to 61 pairs; one more beeps.
    for (int i = 5; i < ALIGN_MAX_POINTS; i++)
        ClickAt(background, 5 + i % 30, 5 + i / 30, KEYS_SHIFT);
    EXPECT_EQ(Params()->align.pointCount, ALIGN_MAX_POINTS);
    ClickAt(background, 35, 25, KEYS_SHIFT);
    EXPECT_EQ(HeadlessBeepCount(), beeps + 2);

    // Two of the first three on one spot: error 61, no preview, and a Shift-click beeps.
    MouseAt(background, MSG_LBUTTON_DOWN, 39, 0);
    MouseAt(background, MSG_LBUTTON_UP, 0, 0);
    HeadlessClick(DialogWindow, BUTTON_PREVIEW);
    EXPECT_STREQ(HeadlessLastMessage()->text, "All alignment points must be distinct");
    EXPECT_EQ(OutputWindow, nullptr);
    ClickAt(background, 30, 20, KEYS_SHIFT);
    EXPECT_EQ(HeadlessBeepCount(), beeps + 3);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

TEST_F(CompositeDialogs, RefineTellsWhyItCannotAndWhatItCouldNotPlace)
{
    Open();
    auto refine = [] {
        PlatformSendMessage(DialogWindow, MSG_COMMAND, COMPOSITE_REFINE, 0);
        return std::string(HeadlessLastMessage()->title) + ": " + HeadlessLastMessage()->text;
    };
    EXPECT_EQ(refine(), "Error: No alignment points to adjust");
    HeadlessChoose(DialogWindow, COMPOSITE_ALIGNMENT, ALIGN_SHIFT);
    EXPECT_EQ(refine(), "Error: No overlay image to align");

    // A ramp across the background, and the overlay the same ramp moved 10 pixels left:
    // the difference falls all the way to the search's left border, farther than a 1-pixel
    // search reaches, so pair 1 stays where it was and is named.
    Image *ramp = &WindowRecord(background)->picture.image;
    Image *moved = &WindowRecord(overlay)->picture.image;
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 40; x++) {
            for (int c = 0; c < 3; c++)
                PictureSetSample(ramp, x, y, c, 6 * x);
            PictureSetSample(moved, x, y, 0, 6 * x + 60 < 255 ? 6 * x + 60 : 255);
        }
    HeadlessQueuePopupChoice(2);
    HeadlessMouse(PlatformControl(DialogWindow, COMPOSITE_OVERLAY), MSG_LBUTTON_DOWN, 5, 5, 0);
    EXPECT_TRUE(HeadlessControlEnabled(DialogWindow, COMPOSITE_REFINE));
    HeadlessQueuePopupChoice(COMPOSITE_MENU_SEARCH + 2);
    HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    EXPECT_EQ(Params()->align.searchRadius, ALIGN_SEARCH_1);
    MouseAt(background, MSG_LBUTTON_DOWN, 0, 0);
    MouseAt(background, MSG_LBUTTON_UP, 20, 15);
    MouseAt(overlay, MSG_LBUTTON_DOWN, 0, 0);
    MouseAt(overlay, MSG_LBUTTON_UP, 20, 15);
    EXPECT_EQ(refine(), "Warning: Unable to refine alignment point 1");
    // The first pass left it; the two finer passes still take it as far as they reach,
    // 6 steps of 1/18 and of 1/54 pixel.
    EXPECT_NEAR(Params()->align.overlayX[0], 20.0 - 6.0 / 18 - 6.0 / 54, 1e-9);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

TEST_F(CompositeDialogs, ApplyIsTheComputeAndTheRecordIsKeptForTheSameSize)
{
    OpenWithOverlay();
    HeadlessChoose(DialogWindow, COMPOSITE_OPERATION, COMPOSITE_SOFT_LIGHT);
    HeadlessChoose(DialogWindow, COMPOSITE_ALIGNMENT, ALIGN_ROTATE_SCALE);
    MouseAt(overlay, MSG_LBUTTON_DOWN, 39, 0);
    MouseAt(overlay, MSG_LBUTTON_UP, 30, 8);
    WindowHandle amount = PlatformControl(DialogWindow, COMPOSITE_OVERLAY_AMOUNT);
    AmountSetting setting;
    AmountGet(amount, &setting);
    setting.low = AmountPosition(60);
    AmountSet(amount, &setting);
    PlatformSendMessage(DialogWindow, MSG_AMOUNT_CHANGED, COMPOSITE_OVERLAY_AMOUNT, 0);
    CompositeParams kept = *Params();
    HeadlessClick(DialogWindow, BUTTON_OK);
    ASSERT_NE(LastOutput, nullptr);
    Image expected = {};
    ASSERT_EQ(CompositeCompute(&WindowRecord(background)->picture.image, &expected, nullptr, &kept,
                               1, 40, 30, 0, 0, 1, 0, 0, 39, 29, 40, 30),
              ERROR_NONE);
    ExpectImagesNear(expected, WindowRecord(LastOutput)->picture.image, 0);
    ImageFree(&expected);

    // The next opening on a background of that size takes the record up again, overlay and
    // points and all; one of another size starts from its own corners.
    ASSERT_EQ(TransformDialogOpen(&CompositeDialog, background), ERROR_NONE);
    EXPECT_EQ(Params()->operation, COMPOSITE_SOFT_LIGHT);
    EXPECT_EQ(Params()->overlayWindow, overlay);
    EXPECT_EQ(Params()->align.overlayX[1], 30.0);
    EXPECT_EQ(Params()->overlayAmount.low, AmountPosition(60));
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    ASSERT_EQ(TransformDialogOpen(&CompositeDialog, MakePicture(TYPE_GRAY8, 50, 20)), ERROR_NONE);
    EXPECT_EQ(Params()->align.backgroundX[1], 49.0);
    EXPECT_EQ(Params()->align.mode, ALIGN_ROTATE_SCALE);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

} // namespace
