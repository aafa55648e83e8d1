// The mask tool on the headless platform: opening over each picture type, the whole-mask
// operations through the tool's buttons with the row coverage exact after each, Undo, Cancel,
// OK and Apply, the picture closing under the tool, an aborted operation, and the overlay's
// colors for each opacity.
#include <string>
#include <vector>

#include "masks/AmountControl.h"
#include "masks/Mask.h"
#include "masks/MaskTool.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"
#include "ui/CommandIds.h"
#include "ui/Controls.h"
#include "ui/UiState.h"

namespace {

class MaskToolTest : public ShellTest {
  protected:
    void TearDown() override
    {
        HeadlessAbortAtPump(-1);
        ShellTest::TearDown();
    }

    void Click(int id)
    {
        HeadlessClick(MaskTool.toolWindow, id);
    }

    // Moves a slider of the tool and lets it go there.
    void Release(int id, int position)
    {
        SliderSetPosition(MaskTool.toolWindow, id, position);
        PlatformSendMessage(MaskTool.toolWindow, MSG_COMMAND,
                            (uintptr_t)id | (uintptr_t)NOTIFY_RELEASED << 16, 0);
    }

    std::string Title(int id)
    {
        char text[128];
        PlatformGetControlText(MaskTool.toolWindow, id, text, sizeof text);
        return text;
    }

    // The mask's value at x, y (y from the bottom), and the coverage the tool keeps, which
    // must always be that of the pixels.
    int At(int x, int y)
    {
        return MaskTool.mask->rows[y][x];
    }
    void ExpectCoverageExact()
    {
        std::vector<uint8_t> expected(MaskTool.mask->height);
        MaskCoverage(MaskTool.mask, expected.data());
        EXPECT_EQ(std::vector<uint8_t>(MaskTool.coverage, MaskTool.coverage + expected.size()),
                  expected);
    }
};

// A gray picture of width by height, 0 but for 255 in columns x0..x1 of rows y0..y1.
WindowHandle MakeRectangle(int width, int height, int x0, int y0, int x1, int y1)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, width, height);
    Image *image = &WindowRecord(window)->picture.image;
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
            image->rows[y][x] = x >= x0 && x <= x1 && y >= y0 && y <= y1 ? 255 : 0;
    return window;
}

} // namespace

TEST_F(MaskToolTest, OpensOverEachPictureTypeWithABlankHiddenMask)
{
    struct Case {
        int type;
        ErrorCode result;
    };
    const Case cases[] = {{TYPE_BINARY, ERROR_NONE},  {TYPE_GRAY8, ERROR_NONE},
                          {TYPE_COLOR24, ERROR_NONE}, {TYPE_GRAY16, ERROR_NONE},
                          {TYPE_COLOR48, ERROR_NONE}, {TYPE_EMPTY, ERROR_ILLEGAL_TYPE}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        WindowHandle picture = nullptr;
        if (c.type == TYPE_EMPTY) {
            ASSERT_EQ(NewImageWindow(nullptr, &picture, -1, -1, 0), ERROR_NONE);
            PlatformActivateWindow(picture);
        } else {
            picture = MakePicture(c.type, 30, 20);
        }
        int windows = HeadlessWindowCount();
        ASSERT_EQ(OpenMaskTool(nullptr), c.result);
        if (c.result != ERROR_NONE) {
            EXPECT_FALSE(MaskToolIsOpen());
            EXPECT_EQ(HeadlessWindowCount(), windows);
            continue;
        }
        ASSERT_TRUE(MaskToolIsOpen());
        char title[WINDOW_TITLE_MAX + 1];
        WindowTitle(picture, title, sizeof title); // without the zoom
        EXPECT_EQ(TitleOf(MaskTool.toolWindow), std::string("Mask - ") + title);
        EXPECT_TRUE(MaskToolOwnsWindow(MaskTool.maskWindow));
        EXPECT_EQ(PlatformWindowState(MaskTool.maskWindow), SHOW_HIDE);
        EXPECT_EQ(MaskTool.mask->type, TYPE_GRAY8);
        EXPECT_EQ(MaskTool.mask->width, 30);
        EXPECT_EQ(MaskTool.mask->height, 20);
        EXPECT_EQ(At(29, 19), 0);
        EXPECT_EQ(std::vector<uint8_t>(MaskTool.coverage, MaskTool.coverage + 20),
                  std::vector<uint8_t>(20, COVERAGE_EMPTY));
        const ImageWindow *record = WindowRecord(picture);
        EXPECT_EQ(record->overlayMask, MaskTool.maskWindow);
        EXPECT_EQ(record->overlayAlpha, 128);
        EXPECT_EQ(record->overlayRed * 65536 + record->overlayGreen * 256 + record->overlayBlue,
                  0xFF0000);
        EXPECT_EQ(record->view.type, TYPE_COLOR24); // the overlay shows even over a gray picture
        // Cancel takes the new mask away again.
        Click(MASK_ID_CANCEL);
        EXPECT_FALSE(MaskToolIsOpen());
        EXPECT_EQ(HeadlessWindowCount(), windows);
        EXPECT_EQ(record->overlayMask, nullptr);
        EXPECT_EQ(CurrentTool, TOOL_NONE);
    }

    // The tool bar: eleven buttons with their tips; only the tools built so far can be chosen.
    MakePicture(TYPE_COLOR24, 30, 20);
    ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);
    const char *tips[MASK_TOOL_BUTTONS] = {
        "Freehand Outline", "Rectangle", "Oval",        "Polygon", "Spline",
        "Feather",          "Blur",      "Color Range", "Paint",   "Combine Masks",
        "Brightness Curve"};
    for (int tool = 0; tool < MASK_TOOL_BUTTONS; tool++) {
        SCOPED_TRACE(tool);
        EXPECT_STREQ(HeadlessControlTip(MaskTool.toolWindow, MASK_ID_TOOL + tool), tips[tool]);
        EXPECT_EQ(HeadlessControlEnabled(MaskTool.toolWindow, MASK_ID_TOOL + tool),
                  tool == MASK_TOOL_FEATHER || tool == MASK_TOOL_BLUR || tool == MASK_TOOL_COMBINE);
    }
    EXPECT_EQ(PlatformControl(MaskTool.toolWindow, MASK_ID_TOOL + MASK_TOOL_TEXTURE), nullptr);
    EXPECT_STREQ(HeadlessControlTip(MaskTool.toolWindow, MASK_ID_OPACITY + 1),
                 "Semitransparent Mask Overlay");
    EXPECT_STREQ(HeadlessControlTip(MaskTool.toolWindow, MASK_ID_COLOR + 3), "White Overlay");
    EXPECT_STREQ(HeadlessControlTip(MaskTool.toolWindow, MASK_ID_COMBINE_MODE + 2), "Overlap");
    EXPECT_EQ(HeadlessControlEnabled(MaskTool.toolWindow, MASK_ID_UNDO), 0);

    // A mask must be a gray picture of the picture's size.
    Click(MASK_ID_CANCEL);
    WindowHandle colorMask = MakePicture(TYPE_COLOR24, 30, 20);
    WindowHandle smallMask = MakePicture(TYPE_GRAY8, 29, 20);
    MakePicture(TYPE_COLOR24, 30, 20);
    EXPECT_EQ(OpenMaskTool(colorMask), ERROR_ILLEGAL_TYPE);
    EXPECT_EQ(OpenMaskTool(smallMask), ERROR_ILLEGAL_TYPE);
    EXPECT_FALSE(MaskToolIsOpen());
}

TEST_F(MaskToolTest, ButtonsChangeTheMaskAndKeepItsCoverageExact)
{
    WindowHandle rectangle = MakeRectangle(12, 10, 3, 2, 8, 6);
    MakePicture(TYPE_COLOR24, 12, 10);
    ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);

    Click(MASK_ID_ALL);
    EXPECT_EQ(At(0, 0), 255);
    ExpectCoverageExact();
    EXPECT_EQ(MaskTool.coverage[9], COVERAGE_FULL);
    EXPECT_EQ(HeadlessControlEnabled(MaskTool.toolWindow, MASK_ID_UNDO), 1);
    Click(MASK_ID_INVERT);
    EXPECT_EQ(At(11, 9), 0);
    ExpectCoverageExact();

    // Combine Masks with the picture that holds a rectangle, by Add: the mask is that picture.
    Click(MASK_ID_TOOL + MASK_TOOL_COMBINE);
    std::string items(HeadlessControlItems(MaskTool.toolWindow, MASK_ID_COMBINE_WITH),
                      16 + TitleOf(rectangle).size());
    EXPECT_EQ(items, std::string("Mask Gray Level\0", 16) + TitleOf(rectangle));
    HeadlessChoose(MaskTool.toolWindow, MASK_ID_COMBINE_WITH, 1);
    Click(MASK_ID_COMBINE_RUN);
    const Image *source = &WindowRecord(rectangle)->picture.image;
    for (int y = 0; y < 10; y++)
        EXPECT_EQ(std::vector<uint8_t>(MaskTool.mask->rows[y], MaskTool.mask->rows[y] + 12),
                  std::vector<uint8_t>(source->rows[y], source->rows[y] + 12))
            << y;
    ExpectCoverageExact();
    EXPECT_EQ(MaskTool.coverage[4], COVERAGE_PARTIAL);

    // Subtract a constant gray of 55: 200 inside, 0 stays 0; the mode bar is one choice.
    Click(MASK_ID_COMBINE_MODE + COMBINE_SUBTRACT);
    for (int mode = 0; mode < COMBINE_MODES; mode++)
        EXPECT_EQ(PlatformControlValue(MaskTool.toolWindow, MASK_ID_COMBINE_MODE + mode),
                  mode == COMBINE_SUBTRACT);
    HeadlessSetEditText(MaskTool.toolWindow, MASK_ID_COMBINE_GRAY, "55");
    HeadlessChoose(MaskTool.toolWindow, MASK_ID_COMBINE_WITH, 0);
    Click(MASK_ID_COMBINE_RUN);
    EXPECT_EQ(At(3, 2), 200);
    EXPECT_EQ(At(2, 2), 0);
    ExpectCoverageExact();

    // One level of Undo, and its button then off.
    Click(MASK_ID_UNDO);
    EXPECT_EQ(At(3, 2), 255);
    ExpectCoverageExact();
    EXPECT_EQ(HeadlessControlEnabled(MaskTool.toolWindow, MASK_ID_UNDO), 0);
    Click(MASK_ID_UNDO);
    EXPECT_EQ(At(3, 2), 255);

    // Feather by 1, gradual and round: the stamp is 255 in the middle, (1 - 1/2) 255 = 128
    // beside it and (1 - sqrt(1/2)) 255 = 75 at its corners.
    Click(MASK_ID_TOOL + MASK_TOOL_FEATHER);
    Release(MASK_ID_FEATHER_WIDTH, 512 + 8);
    EXPECT_EQ(Title(MASK_ID_FEATHER_TEXT), "Width: 1");
    EXPECT_EQ(At(2, 4), 128);
    EXPECT_EQ(At(2, 1), 75);
    EXPECT_EQ(At(5, 7), 128);
    EXPECT_EQ(At(1, 4), 0);
    EXPECT_EQ(At(5, 4), 255);
    ExpectCoverageExact();
    // Moved again, the feather starts from the same undo copy: by 2, (1 - 1/3) 255 = 170 one
    // pixel out and (1 - 2/3) 255 = 85 two out, not a feather of the feather.
    Release(MASK_ID_FEATHER_WIDTH, 512 + 16);
    EXPECT_EQ(At(2, 4), 170);
    EXPECT_EQ(At(1, 4), 85);
    ExpectCoverageExact();
    // Undo goes back to before the feather began.
    Click(MASK_ID_UNDO);
    EXPECT_EQ(At(2, 4), 0);

    // Blur, radius 1 at slider position 32: the tool blurs the mask as it was.
    Image expected = {};
    ASSERT_EQ(ImageCopy(MaskTool.mask, &expected, 0), ERROR_NONE);
    Image blurred = {};
    ASSERT_EQ(ImageCopy(MaskTool.mask, &blurred, 0), ERROR_NONE);
    std::vector<uint8_t> coverage(10);
    ASSERT_EQ(MaskBlur(&expected, &blurred, 1, coverage.data()), ERROR_NONE);
    Click(MASK_ID_TOOL + MASK_TOOL_BLUR);
    EXPECT_EQ(MaskBlurPositionOf(1), 32);
    EXPECT_EQ(MaskBlurRadiusOf(32), 1);
    EXPECT_EQ(MaskBlurRadiusOf(1024), 400);
    Release(MASK_ID_BLUR_RADIUS, 32);
    EXPECT_EQ(Title(MASK_ID_BLUR_TEXT), "Radius: 1");
    for (int y = 0; y < 10; y++)
        EXPECT_EQ(std::vector<uint8_t>(MaskTool.mask->rows[y], MaskTool.mask->rows[y] + 12),
                  std::vector<uint8_t>(blurred.rows[y], blurred.rows[y] + 12))
            << y;
    ExpectCoverageExact();
    EXPECT_EQ(PlatformGetWindowWord(MaskTool.maskWindow, WORD_MODIFIED), 1);
    ImageFree(&expected);
    ImageFree(&blurred);

    // Area: the rectangle of 6 x 5 at 255 and its blurred edge, as MaskArea measures it.
    Click(MASK_ID_AREA);
    char text[128];
    MaskAreaText(MaskTool.mask, text, sizeof text);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Mask Area");
    EXPECT_STREQ(HeadlessLastMessage()->text, text);
}

TEST_F(MaskToolTest, CancelOkAndApplyHandTheMaskBack)
{
    // An existing mask: Cancel gives it back as it came, shown again.
    WindowHandle mask = MakePicture(TYPE_GRAY8, 16, 8, 7);
    std::vector<uint8_t> before(WindowRecord(mask)->picture.image.rows[3],
                                WindowRecord(mask)->picture.image.rows[3] + 16);
    WindowHandle picture = MakePicture(TYPE_COLOR24, 16, 8);
    ASSERT_EQ(OpenMaskTool(mask), ERROR_NONE);
    EXPECT_EQ(MaskTool.maskWindow, mask);
    EXPECT_EQ(PlatformWindowState(mask), SHOW_HIDE);
    ExpectCoverageExact();
    Click(MASK_ID_ALL);
    Click(MASK_ID_CANCEL);
    EXPECT_FALSE(MaskToolIsOpen());
    EXPECT_EQ(PlatformWindowState(mask), SHOW_NORMAL);
    const Image *image = &WindowRecord(mask)->picture.image;
    EXPECT_EQ(std::vector<uint8_t>(image->rows[3], image->rows[3] + 16), before);
    EXPECT_EQ(PlatformGetWindowWord(mask, WORD_MODIFIED), 0);

    // While a dialog's Amount reads the mask, Cancel is refused; the edit goes on.
    PlatformActivateWindow(picture);
    HeadlessChooseMenu(COMMAND_GAMMA);
    ASSERT_NE(DialogWindow, nullptr);
    WindowHandle amount = PlatformControl(DialogWindow, GAMMA_AMOUNT);
    AmountSelect(amount, mask);
    AmountSetting setting;
    AmountGet(amount, &setting);
    ASSERT_EQ(setting.maskWindow, mask);
    PlatformActivateWindow(picture);
    ASSERT_EQ(OpenMaskTool(mask), ERROR_NONE);
    Click(MASK_ID_NONE);
    EXPECT_EQ(image->rows[3][0], 0);
    Click(MASK_ID_CANCEL);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Window in use - cannot close");
    EXPECT_TRUE(MaskToolIsOpen());
    // The dialog lets the mask go (and keeps no mask for its next opening).
    AmountSelect(amount, nullptr);
    PlatformSendMessage(DialogWindow, MSG_AMOUNT_CHANGED, GAMMA_AMOUNT, 0);
    PlatformDestroyWindow(DialogWindow);
    Click(MASK_ID_CANCEL);
    EXPECT_FALSE(MaskToolIsOpen());
    EXPECT_EQ(std::vector<uint8_t>(image->rows[3], image->rows[3] + 16), before);

    // OK: the new mask becomes an ordinary gray window, shown and modified.
    PlatformActivateWindow(picture);
    ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);
    WindowHandle made = MaskTool.maskWindow;
    Click(MASK_ID_ALL);
    Click(MASK_ID_OK);
    EXPECT_FALSE(MaskToolIsOpen());
    EXPECT_EQ(PlatformWindowState(made), SHOW_NORMAL);
    EXPECT_EQ(PlatformGetWindowWord(made, WORD_MODIFIED), 1);
    EXPECT_EQ(WindowRecord(made)->picture.image.rows[7][15], 255);
    EXPECT_EQ(WindowRecord(picture)->overlayMask, nullptr);
    EXPECT_EQ(ActiveWindow, made);

    // Apply: as OK, and the tool goes on over a new blank mask, red and half clear again.
    PlatformActivateWindow(picture);
    ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);
    made = MaskTool.maskWindow;
    Click(MASK_ID_INVERT);
    Click(MASK_ID_COLOR + 2);
    Click(MASK_ID_OPACITY + MASK_OPACITY_OPAQUE);
    Click(MASK_ID_APPLY);
    ASSERT_TRUE(MaskToolIsOpen());
    EXPECT_EQ(PlatformWindowState(made), SHOW_NORMAL);
    EXPECT_EQ(WindowRecord(made)->picture.image.rows[0][0], 255);
    EXPECT_NE(MaskTool.maskWindow, made);
    EXPECT_EQ(PlatformWindowState(MaskTool.maskWindow), SHOW_HIDE);
    EXPECT_EQ(At(0, 0), 0);
    const ImageWindow *record = WindowRecord(picture);
    EXPECT_EQ(record->overlayMask, MaskTool.maskWindow);
    EXPECT_EQ(record->overlayAlpha, 128);
    EXPECT_EQ(record->overlayRed * 65536 + record->overlayGreen * 256 + record->overlayBlue,
              0xFF0000);
    EXPECT_EQ(PlatformControlValue(MaskTool.toolWindow, MASK_ID_COLOR + 0), 1);
    EXPECT_EQ(PlatformControlValue(MaskTool.toolWindow, MASK_ID_COLOR + 2), 0);
}

TEST_F(MaskToolTest, ThePictureClosesOnlyWhenTheMaskOperationIsGivenUp)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 16, 8);
    HeadlessChooseMenu(COMMAND_MASK_NEW);
    ASSERT_TRUE(MaskToolIsOpen());
    EXPECT_EQ(CurrentTool, TOOL_MASK);
    WindowHandle mask = MaskTool.maskWindow;

    HeadlessQueueAnswer(ANSWER_NO);
    PlatformSendMessage(picture, MSG_CLOSE, 0, 0);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Abort mask operation in progress?");
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO);
    EXPECT_TRUE(PlatformWindowExists(picture));
    EXPECT_TRUE(MaskToolIsOpen());

    HeadlessQueueAnswer(ANSWER_YES);
    PlatformSendMessage(picture, MSG_CLOSE, 0, 0);
    EXPECT_FALSE(MaskToolIsOpen());
    EXPECT_FALSE(PlatformWindowExists(mask));
    EXPECT_FALSE(PlatformWindowExists(picture));

    // A picture destroyed without asking (the frame going) takes the tool with it.
    picture = MakePicture(TYPE_GRAY8, 16, 8);
    ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);
    mask = MaskTool.maskWindow;
    PlatformDestroyWindow(picture);
    EXPECT_FALSE(MaskToolIsOpen());
    EXPECT_FALSE(PlatformWindowExists(mask));

    // Close All asks the same first, and the tool gives its new mask up.
    MakePicture(TYPE_GRAY8, 16, 8);
    ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessChooseMenu(COMMAND_CLOSE_ALL);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Abort mask operation in progress?");
    EXPECT_FALSE(MaskToolIsOpen());
    EXPECT_EQ(PlatformFirstChild(), nullptr);
}

TEST_F(MaskToolTest, AnAbortedOperationRestoresTheUndoCopy)
{
    // 400 x 250 pixels are enough to show progress, which can be cancelled. The feather and
    // the blur both fill the mask afresh from the undo copy, so a stop part way would leave
    // rows unlike the gray 128 the mask held.
    MakePicture(TYPE_GRAY8, 400, 250);
    ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);
    Click(MASK_ID_TOOL + MASK_TOOL_COMBINE);
    HeadlessSetEditText(MaskTool.toolWindow, MASK_ID_COMBINE_GRAY, "128");
    Click(MASK_ID_COMBINE_RUN);
    struct Case {
        int tool;
        int slider;
        int position;
        const char *title;
    };
    const Case cases[] = {{MASK_TOOL_FEATHER, MASK_ID_FEATHER_WIDTH, 512 + 4 * 8, "Feather"},
                          {MASK_TOOL_BLUR, MASK_ID_BLUR_RADIUS, 600, "Blur"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.title);
        Click(MASK_ID_TOOL + c.tool);
        int messages = HeadlessMessageCount();
        HeadlessAbortAtPump(2);
        Release(c.slider, c.position);
        HeadlessAbortAtPump(-1);
        EXPECT_EQ(HeadlessMessageCount(), messages + 1);
        EXPECT_STREQ(HeadlessProgressAt(HeadlessProgressCount() - 1)->title, c.title);
        EXPECT_STREQ(HeadlessLastMessage()->text, "Operation Aborted");
        for (int y : {0, 124, 249})
            EXPECT_EQ(std::vector<uint8_t>(MaskTool.mask->rows[y], MaskTool.mask->rows[y] + 400),
                      std::vector<uint8_t>(400, 128))
                << y;
        ExpectCoverageExact();
        EXPECT_EQ(HeadlessControlEnabled(MaskTool.toolWindow, MASK_ID_UNDO), 0);
    }
}

TEST_F(MaskToolTest, TheOverlayShowsEachOpacityInItsColor)
{
    // A mask of 128 everywhere over gray 100 and over the color (200, 80, 40). With alpha
    // 128 the weight is LerpTable[128][128] = 64, with 255 it is LerpTable[128][255] = 128:
    //   red over gray:   100 + (155 * 64 + 127) / 255 = 139, 100 - (100 * 64 + 127) / 255 = 75;
    //                    100 + (155 * 128 + 127) / 255 = 178, 100 - (12800 + 127) / 255 = 50;
    //   green over color: 200 - (200 * 64 + 127) / 255 = 150, 80 + (175 * 64 + 127) / 255 =
    //                    124, 40 - (40 * 64 + 127) / 255 = 30; at 128: 100, 168, 20.
    struct Case {
        int type;
        int color;   // the overlay color's button
        int opacity; // MASK_OPACITY_*
        int viewType;
        int rgb[3];
    };
    const Case cases[] = {
        {TYPE_GRAY8, 0, MASK_OPACITY_CLEAR, TYPE_GRAY8, {100, 100, 100}},
        {TYPE_GRAY8, 0, MASK_OPACITY_SEMITRANSPARENT, TYPE_COLOR24, {139, 75, 75}},
        {TYPE_GRAY8, 0, MASK_OPACITY_OPAQUE, TYPE_COLOR24, {178, 50, 50}},
        {TYPE_GRAY8, 0, MASK_OPACITY_MASK_ONLY, TYPE_COLOR24, {128, 128, 128}},
        {TYPE_COLOR24, 1, MASK_OPACITY_CLEAR, TYPE_COLOR24, {200, 80, 40}},
        {TYPE_COLOR24, 1, MASK_OPACITY_SEMITRANSPARENT, TYPE_COLOR24, {150, 124, 30}},
        {TYPE_COLOR24, 1, MASK_OPACITY_OPAQUE, TYPE_COLOR24, {100, 168, 20}},
        {TYPE_COLOR24, 1, MASK_OPACITY_MASK_ONLY, TYPE_COLOR24, {128, 128, 128}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.type << " " << c.opacity);
        WindowHandle picture = MakePicture(c.type, 4, 3);
        Image *image = &WindowRecord(picture)->picture.image;
        for (int y = 0; y < 3; y++)
            for (int x = 0; x < 4; x++) {
                uint8_t *pixel = image->rows[y] + (c.type == TYPE_GRAY8 ? x : 3 * x);
                if (c.type == TYPE_GRAY8) {
                    pixel[0] = 100;
                } else {
                    pixel[0] = 40; // blue first
                    pixel[1] = 80;
                    pixel[2] = 200;
                }
            }
        ASSERT_EQ(OpenMaskTool(nullptr), ERROR_NONE);
        Click(MASK_ID_TOOL + MASK_TOOL_COMBINE);
        Click(MASK_ID_COMBINE_MODE + COMBINE_ADD);
        HeadlessSetEditText(MaskTool.toolWindow, MASK_ID_COMBINE_GRAY, "128");
        Click(MASK_ID_COMBINE_RUN);
        Click(MASK_ID_COLOR + c.color);
        Click(MASK_ID_OPACITY + c.opacity);
        // The display is rebuilt at once, without a paint.
        const Image *view = &WindowRecord(picture)->view;
        ASSERT_EQ(view->type, c.viewType);
        const uint8_t *pixel = view->rows[1] + (c.viewType == TYPE_GRAY8 ? 2 : 6);
        if (c.viewType == TYPE_GRAY8) {
            EXPECT_EQ(pixel[0], c.rgb[0]);
        } else {
            EXPECT_EQ(pixel[2], c.rgb[0]);
            EXPECT_EQ(pixel[1], c.rgb[1]);
            EXPECT_EQ(pixel[0], c.rgb[2]);
        }
        Click(MASK_ID_CANCEL);
        PlatformDestroyWindow(picture);
    }
}
