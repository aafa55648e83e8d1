// The Amount control on the headless platform: its texts, 8-bit amounts, mask list and
// selection rules, Shift comparison and drawing.
#include "tests/ui/ControlsTestSupport.h"

namespace {

// The same dialog as the other controls' tests, under a suite name of its own.
class AmountControl : public Controls {};

// The canvas pixel at x, y (from the top) as 0xRRGGBB.
uint32_t CanvasAt(WindowHandle window, int x, int y)
{
    const Image *canvas = HeadlessCanvas(window);
    const uint8_t *pixel = canvas->rows[canvas->height - 1 - y] + 3 * x;
    return ((uint32_t)pixel[2] << 16) | ((uint32_t)pixel[1] << 8) | pixel[0];
}

} // namespace

// ---------------------------------------------------------------------------------------
// Amount: texts and the 8-bit amounts.

TEST(AmountSetting, TextsOfUnsignedAndBipolarAmounts)
{
    struct Case {
        int low;
        int high;
        int bipolar;
        const char *text;
    };
    const Case cases[] = {
        {1024, -1, 0, "Amount: 100.0%"},
        {0, -1, 0, "Amount: 0.0%"},
        {3, -1, 0, "Amount: 0.3%"},     // 0.293
        {1023, -1, 0, "Amount: 99.9%"}, // 99.902
        {0, -1, 1, "Amount: -100.0%"},
        {512, -1, 1, "Amount: 0.0%"},
        {513, -1, 1, "Amount: 0.2%"},  // 0.195
        {511, -1, 1, "Amount: -0.2%"}, // -0.195
        {0, 1024, 0, "Amount: 0.0% .. 100.0%"},
        {100, 900, 0, "Amount: 9.8% .. 87.9%"}, // 9.766, 87.891
        {256, 768, 1, "Amount: -50.0% .. 50.0%"},
        {1024, 0, 1, "Amount: 100.0% .. -100.0%"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        AmountSetting setting;
        AmountSettingDefault(&setting, "Amount: ", c.bipolar);
        setting.low = c.low;
        setting.high = c.high;
        char text[128];
        AmountText(&setting, text, sizeof text);
        EXPECT_STREQ(text, c.text);
    }
}

TEST(AmountSetting, EightBitAmountsRoundAtTheirSteps)
{
    struct Case {
        int position;
        int amount8; // (position * 255 + 512) >> 10
    };
    const Case cases[] = {{0, 0},      {2, 0},      {3, 1},     {512, 128},
                          {1021, 254}, {1022, 255}, {1024, 255}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.position);
        AmountSetting setting;
        AmountSettingDefault(&setting, "", 0);
        setting.low = c.position;
        EXPECT_EQ(AmountLow8(&setting), c.amount8);
        EXPECT_EQ(AmountHigh8(&setting), -1);
        setting.high = c.position;
        EXPECT_EQ(AmountHigh8(&setting), c.amount8);
    }
}

TEST(AmountSetting, AllZeroAndAllFullTests)
{
    struct Case {
        int low;
        int high;
        int zero;
        int full;
    };
    const Case cases[] = {
        {2, -1, 1, 0},    {3, -1, 0, 0},    {0, 2, 1, 0},       {0, 3, 0, 0},
        {1022, -1, 0, 1}, {1021, -1, 0, 0}, {1024, 1022, 0, 1}, {1024, 1021, 0, 0},
        {0, 1024, 0, 0},  {1024, 0, 0, 0},  {512, -1, 0, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.low << " " << c.high);
        AmountSetting setting;
        AmountSettingDefault(&setting, "", 0);
        setting.low = c.low;
        setting.high = c.high;
        EXPECT_EQ(AmountIsAllZero(&setting), c.zero);
        EXPECT_EQ(AmountIsAllFull(&setting), c.full);
    }
}

// ---------------------------------------------------------------------------------------
// Amount: the control.

TEST_F(AmountControl, AmountMaskListOffersGrayPicturesOfTheSize)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 100, 80);
    WindowHandle maskA = MakePicture(TYPE_GRAY8, 100, 80);
    WindowHandle small = MakePicture(TYPE_GRAY8, 50, 50);
    MakePicture(TYPE_COLOR24, 100, 80);
    MakePicture(TYPE_GRAY16, 100, 80);
    WindowHandle hidden = MakePicture(TYPE_GRAY8, 100, 80);
    PlatformShowWindow(hidden, SHOW_HIDE);
    WindowHandle maskB = MakePicture(TYPE_GRAY8, 100, 80);
    PlatformActivateWindow(dialog);

    WindowHandle amount = AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", 0, input);
    ASSERT_NE(amount, nullptr);
    Rect caption, track, square;
    AmountLayout(AMOUNT_RECT.right - AMOUNT_RECT.left, AMOUNT_HEIGHT, &caption, &track, &square);
    HeadlessMouse(amount, MSG_LBUTTON_DOWN, square.left + 5, 10, BUTTON_LEFT);
    std::vector<std::string> expected = {"No Mask", Title(maskB), Title(maskA)};
    EXPECT_EQ(PopupLabels(), expected);
    EXPECT_EQ(PopupIds(), std::vector<int>({1, 2, 3}));
    EXPECT_TRUE(AmountNotes(AMOUNT_ID).empty());

    // Another size: only the small one; any size: all three.
    AmountSetTargetSize(amount, 50, 50);
    HeadlessMouse(amount, MSG_LBUTTON_DOWN, square.left + 5, 10, BUTTON_LEFT);
    EXPECT_EQ(PopupLabels(), std::vector<std::string>({"No Mask", Title(small)}));
    WindowHandle any[8];
    int count = AmountMaskCandidates(-1, -1, any, 8);
    EXPECT_EQ(std::vector<WindowHandle>(any, any + count),
              std::vector<WindowHandle>({maskB, small, maskA}));
}

TEST_F(AmountControl, AmountMaskListStopsAtFifty)
{
    for (int i = 0; i < 55; i++)
        MakePicture(TYPE_GRAY8, 4, 4, i);
    WindowHandle windows[64];
    EXPECT_EQ(AmountMaskCandidates(4, 4, windows, AMOUNT_CANDIDATES_MAX), 50);
    WindowHandle amount = AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", 0, nullptr);
    Rect caption, track, square;
    AmountLayout(AMOUNT_RECT.right - AMOUNT_RECT.left, AMOUNT_HEIGHT, &caption, &track, &square);
    HeadlessMouse(amount, MSG_LBUTTON_DOWN, square.left + 1, 1, BUTTON_LEFT);
    EXPECT_EQ(PopupLabels().size(), 51u);
}

TEST_F(AmountControl, AmountChoosingAMaskSetsTheRangeAndMarksTheMask)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 100, 80);
    WindowHandle mask = MakePicture(TYPE_GRAY8, 100, 80);
    PlatformActivateWindow(dialog);
    for (int bipolar = 0; bipolar <= 1; bipolar++) {
        SCOPED_TRACE(bipolar);
        Notes.clear();
        WindowHandle amount =
            AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", bipolar, input);
        Rect caption, track, square;
        AmountLayout(AMOUNT_RECT.right - AMOUNT_RECT.left, AMOUNT_HEIGHT, &caption, &track,
                     &square);
        AmountSetting setting;
        AmountGet(amount, &setting);
        EXPECT_EQ(setting.low, 1024);
        EXPECT_EQ(setting.high, -1);

        HeadlessQueuePopupChoice(2);
        HeadlessMouse(amount, MSG_LBUTTON_DOWN, square.left + 5, 10, BUTTON_LEFT);
        AmountGet(amount, &setting);
        EXPECT_EQ(setting.low, bipolar ? 512 : 0);
        EXPECT_EQ(setting.high, bipolar ? 512 : 1024);
        EXPECT_EQ(setting.maskWindow, mask);
        EXPECT_EQ(setting.maskImage, &WindowRecord(mask)->picture.image);
        EXPECT_EQ(std::string(setting.maskTitle), Title(mask));
        EXPECT_STREQ(InUseBy(mask), "Amount Mask");
        EXPECT_EQ(AmountNotes(AMOUNT_ID), std::vector<int>({NOTIFY_CHANGED}));

        // The mask cannot close while it is chosen.
        PlatformSendMessage(mask, MSG_CLOSE, 0, 0);
        EXPECT_TRUE(PlatformWindowExists(mask));
        EXPECT_STREQ(HeadlessLastMessage()->text, "Window in use by Amount Mask - Cannot close");

        // "No Mask" brings back the first state and lets the mask go.
        HeadlessQueuePopupChoice(1);
        HeadlessMouse(amount, MSG_LBUTTON_DOWN, square.left + 5, 10, BUTTON_LEFT);
        AmountGet(amount, &setting);
        EXPECT_EQ(setting.low, 1024);
        EXPECT_EQ(setting.high, -1);
        EXPECT_EQ(setting.maskWindow, nullptr);
        EXPECT_EQ(setting.maskImage, nullptr);
        EXPECT_STREQ(setting.maskTitle, "");
        EXPECT_EQ(InUseBy(mask), nullptr);
        EXPECT_EQ(AmountNotes(AMOUNT_ID), std::vector<int>({NOTIFY_CHANGED, NOTIFY_CHANGED}));

        // Choosing "No Mask" again changes nothing and says nothing.
        HeadlessQueuePopupChoice(1);
        HeadlessMouse(amount, MSG_LBUTTON_DOWN, square.left + 5, 10, BUTTON_LEFT);
        EXPECT_EQ(AmountNotes(AMOUNT_ID).size(), 2u);
        PlatformDestroyWindow(amount);
    }
}

TEST_F(AmountControl, AmountSliderHasTwoThumbsWithAMask)
{
    WindowHandle mask = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformActivateWindow(dialog);
    WindowHandle amount = AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", 0, nullptr);
    Rect caption, track, square;
    AmountLayout(AMOUNT_RECT.right - AMOUNT_RECT.left, AMOUNT_HEIGHT, &caption, &track, &square);
    ASSERT_EQ(track.left, 0);
    ASSERT_EQ(track.right, 267);
    int y = (track.top + track.bottom) / 2;

    // One thumb: a press jumps it, the release reports again.
    HeadlessMouse(amount, MSG_LBUTTON_DOWN, 133, y, BUTTON_LEFT);
    HeadlessMouse(amount, MSG_MOUSE_MOVE, 143, y, BUTTON_LEFT);
    HeadlessMouse(amount, MSG_LBUTTON_UP, 143, y, 0);
    AmountSetting setting;
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.low, 552);
    EXPECT_EQ(AmountNotes(AMOUNT_ID),
              std::vector<int>({NOTIFY_MOVED, NOTIFY_MOVED, NOTIFY_RELEASED}));
    HeadlessPaint(amount);
    EXPECT_EQ(LastTextOf(amount), "Amount: 53.9%"); // 53.906

    AmountSelect(amount, mask); // low 0 at x 5, high 1024 at x 261
    HeadlessMouse(amount, MSG_LBUTTON_DOWN, 50, y, BUTTON_LEFT);
    HeadlessMouse(amount, MSG_LBUTTON_UP, 50, y, 0);
    HeadlessMouse(amount, MSG_LBUTTON_DOWN, 200, y, BUTTON_LEFT);
    HeadlessMouse(amount, MSG_LBUTTON_UP, 200, y, 0);
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.low, 180);
    EXPECT_EQ(setting.high, 780);
    PlatformInvalidate(amount, nullptr);
    HeadlessPaint(amount);
    EXPECT_EQ(LastTextOf(amount), "Amount: 17.6% .. 76.2%"); // 17.578, 76.172

    // A press on the caption is neither a slider nor a list press.
    Notes.clear();
    HeadlessMouse(amount, MSG_LBUTTON_DOWN, 50, 2, BUTTON_LEFT);
    HeadlessMouse(amount, MSG_LBUTTON_UP, 50, 2, 0);
    EXPECT_TRUE(Notes.empty());
}

TEST_F(AmountControl, AmountShiftPressComparesWithTheNeutralState)
{
    WindowHandle mask = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformActivateWindow(dialog);
    for (int bipolar = 0; bipolar <= 1; bipolar++) {
        SCOPED_TRACE(bipolar);
        Notes.clear();
        WindowHandle amount =
            AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", bipolar, nullptr);
        AmountSelect(amount, mask);
        AmountSetting chosen;
        AmountGet(amount, &chosen);
        chosen.low = 100;
        chosen.high = 900;
        AmountSet(amount, &chosen);

        // Anywhere on the control, the slider's track included.
        HeadlessMouse(amount, MSG_LBUTTON_DOWN, 100, 30, KEYS_SHIFT | BUTTON_LEFT);
        AmountSetting setting;
        AmountGet(amount, &setting);
        EXPECT_EQ(setting.low, bipolar ? 512 : 0);
        EXPECT_EQ(setting.high, -1);
        EXPECT_EQ(setting.maskImage, nullptr);
        EXPECT_STREQ(InUseBy(mask), "Amount Mask"); // kept for the release
        HeadlessMouse(amount, MSG_MOUSE_MOVE, 200, 30, KEYS_SHIFT | BUTTON_LEFT);
        HeadlessMouse(amount, MSG_LBUTTON_UP, 200, 30, KEYS_SHIFT);
        AmountGet(amount, &setting);
        EXPECT_EQ(setting.low, 100);
        EXPECT_EQ(setting.high, 900);
        EXPECT_EQ(setting.maskWindow, mask);
        EXPECT_EQ(setting.maskImage, &WindowRecord(mask)->picture.image);
        EXPECT_EQ(AmountNotes(AMOUNT_ID), std::vector<int>({NOTIFY_CHANGED, NOTIFY_CHANGED}));
        PlatformDestroyWindow(amount);
        EXPECT_EQ(InUseBy(mask), nullptr);
    }
}

TEST_F(AmountControl, AmountRightPressActivatesTheMaskAndItsChangesAreReported)
{
    WindowHandle mask = MakePicture(TYPE_GRAY8, 10, 10);
    WindowHandle other = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformActivateWindow(dialog);
    WindowHandle amount = AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", 0, other);
    HeadlessMouse(amount, MSG_RBUTTON_DOWN, 20, 20, BUTTON_RIGHT); // no mask: nothing
    EXPECT_EQ(PlatformActiveWindow(), dialog);
    AmountSelect(amount, mask);
    HeadlessMouse(amount, MSG_RBUTTON_DOWN, 20, 20, BUTTON_RIGHT);
    EXPECT_EQ(PlatformActiveWindow(), mask);

    // A change of the mask's picture reaches the dialog through the control.
    Notes.clear();
    NotifyUsers(mask);
    EXPECT_EQ(AmountNotes(AMOUNT_ID), std::vector<int>({NOTIFY_CHANGED}));
    NotifyUsers(other);
    EXPECT_EQ(AmountNotes(AMOUNT_ID).size(), 1u);
}

TEST_F(AmountControl, AmountSetFindsTheMaskByWindowThenByTitle)
{
    WindowHandle mask = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformActivateWindow(dialog);
    WindowHandle amount = AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", 0, mask);

    AmountSetting kept;
    AmountSettingDefault(&kept, "Strength: ", 0);
    kept.low = 200;
    kept.high = 800;
    kept.maskWindow = mask;
    AmountSet(amount, &kept);
    AmountSetting setting;
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.maskWindow, mask);
    EXPECT_EQ(setting.low, 200);
    EXPECT_EQ(setting.high, 800);
    EXPECT_STREQ(setting.label, "Strength: ");
    EXPECT_STREQ(InUseBy(mask), "Amount Mask");

    // A setting kept from an earlier opening knows the title only.
    kept.maskWindow = nullptr;
    strcpy(kept.maskTitle, Title(mask).c_str());
    AmountSet(amount, &kept);
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.maskWindow, mask);

    // A title no window has: no mask, and the full amount of a choice of "No Mask".
    strcpy(kept.maskTitle, "gone.tif");
    AmountSet(amount, &kept);
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.maskWindow, nullptr);
    EXPECT_EQ(setting.low, SLIDER_POSITIONS);
    EXPECT_EQ(setting.high, -1);
    EXPECT_EQ(InUseBy(mask), nullptr);
    EXPECT_TRUE(Notes.empty()); // none of this is the user's doing

    // AmountSelect refuses a window that cannot be a mask.
    WindowHandle color = MakePicture(TYPE_COLOR24, 10, 10);
    AmountSelect(amount, color);
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.maskWindow, nullptr);
    EXPECT_EQ(InUseBy(color), nullptr);
}

TEST_F(AmountControl, AmountLetsGoOfAMaskThatNoLongerFits)
{
    WindowHandle mask = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformActivateWindow(dialog);
    WindowHandle amount = AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", 0, mask);
    AmountSelect(amount, mask);
    AmountSetTargetSize(amount, 20, 10); // the input was replaced by a larger one
    AmountSetting setting;
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.maskWindow, nullptr);
    EXPECT_EQ(setting.low, 1024);
    EXPECT_EQ(InUseBy(mask), nullptr);

    // A mask whose picture became another type goes at the next look.
    AmountSetTargetSize(amount, 10, 10);
    AmountSelect(amount, mask);
    ImageWindow *record = WindowRecord(mask);
    ImageFree(&record->picture.image);
    ASSERT_EQ(ImageAlloc(&record->picture.image, TYPE_COLOR24, 10, 10, 72.0), ERROR_NONE);
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.maskWindow, nullptr);
    EXPECT_EQ(setting.maskImage, nullptr);
}

TEST_F(AmountControl, AmountSquareShowsTheAmountOrTheMaskSmall)
{
    WindowHandle mask = MakePicture(TYPE_GRAY8, 100, 50);
    // Left half black, right half white.
    Image *image = &WindowRecord(mask)->picture.image;
    for (int row = 0; row < 50; row++)
        for (int x = 0; x < 100; x++)
            image->rows[row][x] = x < 50 ? 0 : 255;
    PlatformActivateWindow(dialog);
    WindowHandle amount = AmountCreate(dialog, AMOUNT_ID, &AMOUNT_RECT, "Amount: ", 0, nullptr);
    Rect caption, track, square;
    AmountLayout(AMOUNT_RECT.right - AMOUNT_RECT.left, AMOUNT_HEIGHT, &caption, &track, &square);
    EXPECT_EQ(square.right - square.left, AMOUNT_HEIGHT);
    int middleY = AMOUNT_HEIGHT / 2;

    AmountSetting setting;
    AmountGet(amount, &setting);
    setting.low = 768; // gray (768 * 255 + 512) >> 10 = 191
    AmountSet(amount, &setting);
    HeadlessPaint(amount);
    EXPECT_EQ(CanvasAt(amount, square.left + 3, middleY), 0xbfbfbfu);
    EXPECT_EQ(CanvasAt(amount, square.right - 4, 2), 0xbfbfbfu);
    EXPECT_EQ(LastTextOf(amount), "Amount: 75.0%");

    // The mask, 35 by 18 inside the 35 by 35 square: black on the left, white on the right,
    // the rest of the square a neutral gray.
    AmountSelect(amount, mask);
    HeadlessPaint(amount);
    EXPECT_EQ(CanvasAt(amount, square.left + 3, middleY), 0x000000u);
    EXPECT_EQ(CanvasAt(amount, square.right - 4, middleY), 0xffffffu);
    EXPECT_EQ(CanvasAt(amount, square.left + 3, 3), 0x808080u);
    EXPECT_EQ(LastTextOf(amount), "Amount: 0.0% .. 100.0%");

    // The picture changes: the square follows.
    for (int row = 0; row < 50; row++)
        memset(image->rows[row], 255, 100);
    NotifyUsers(mask);
    HeadlessPaint(amount);
    EXPECT_EQ(CanvasAt(amount, square.left + 3, middleY), 0xffffffu);
}
