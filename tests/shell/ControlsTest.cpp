// The custom controls on the headless platform: the slider's positions under the mouse and
// the keys with its notifications in order, the pop-up list, the input chooser's list and
// in-use marks, and the Amount control's texts, 8-bit amounts, mask list and selection rules,
// Shift comparison and drawing.
#include "tests/shell/ShellTestSupport.h"

#include <cstring>
#include <string>

#include "masks/AmountControl.h"
#include "ui/Controls.h"

namespace {

// What a dialog standing for a real one heard from its controls.
struct Note {
    uint32_t message;
    uintptr_t wParam;
    intptr_t lParam;
    int position; // the slider's first position when the message came, for sliders
};

std::vector<Note> Notes;
WindowHandle NoteDialog;

MessageResult NoteProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                            intptr_t lParam)
{
    if (message == MSG_COMMAND || message == MSG_INPUT_CHOSEN || message == MSG_AMOUNT_CHANGED)
        Notes.push_back({message, wParam, lParam, SliderPosition(window, (int)(wParam & 0xffff))});
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

constexpr int SLIDER_ID = 101;
constexpr int LIST_ID = 102;
constexpr int CHOOSER_ID = 103;
constexpr int AMOUNT_ID = 104;

// A slider 267 pixels wide: its thumb's centre runs from x 5 to 261, 4 positions a pixel.
constexpr Rect SLIDER_RECT = {10, 40, 277, 57};
// An Amount control whose slider is also 267 wide: the square is as high as the control.
constexpr int AMOUNT_HEIGHT = 37;
constexpr Rect AMOUNT_RECT = {10, 80, 10 + 267 + 8 + AMOUNT_HEIGHT, 80 + AMOUNT_HEIGHT};

class Controls : public ShellTest {
  protected:
    WindowHandle dialog = nullptr;

    void SetUp() override
    {
        ShellTest::SetUp();
        Notes.clear();
        ChildKindRegister(KIND_GAMMA, NoteProcedure);
        WindowCreate request = {CLASS_CHILD,  KIND_GAMMA, -1, "Gamma Adjust",
                                STYLE_DIALOG, 40,         40, 400,
                                300,          nullptr,    0,  0};
        dialog = NoteDialog = PlatformCreateWindow(&request);
        ASSERT_NE(dialog, nullptr);
    }

    // The notifications of slider id, as (code, position) pairs.
    std::vector<std::pair<int, int>> SliderNotes(int id)
    {
        std::vector<std::pair<int, int>> result;
        for (const Note &note : Notes)
            if (note.message == MSG_COMMAND && (int)(note.wParam & 0xffff) == id)
                result.push_back({(int)(note.wParam >> 16), note.position});
        return result;
    }

    // The codes of MSG_AMOUNT_CHANGED for id, in order.
    std::vector<int> AmountNotes(int id)
    {
        std::vector<int> result;
        for (const Note &note : Notes)
            if (note.message == MSG_AMOUNT_CHANGED && (int)note.wParam == id)
                result.push_back((int)note.lParam);
        return result;
    }
};

std::string Title(WindowHandle window)
{
    char title[PATH_LENGTH + 32];
    WindowTitle(window, title, sizeof title);
    return title;
}

// The labels of the last pop-up menu.
std::vector<std::string> PopupLabels(void)
{
    const MenuItem *items = nullptr;
    int count = HeadlessLastPopup(&items);
    std::vector<std::string> labels;
    for (int i = 0; i < count; i++)
        labels.push_back(items[i].label);
    return labels;
}

std::vector<int> PopupIds(void)
{
    const MenuItem *items = nullptr;
    int count = HeadlessLastPopup(&items);
    std::vector<int> ids;
    for (int i = 0; i < count; i++)
        ids.push_back(items[i].id);
    return ids;
}

// The newest text drawn in window, or "" when there is none.
std::string LastTextOf(WindowHandle window, int skip = 0)
{
    for (int i = HeadlessTextCount() - 1; i >= 0; i--) {
        WindowHandle owner = nullptr;
        const char *text = HeadlessTextAt(i, &owner, nullptr, nullptr);
        if (owner == window && skip-- == 0) return text;
    }
    return "";
}

// The canvas pixel at x, y (from the top) as 0xRRGGBB.
uint32_t CanvasAt(WindowHandle window, int x, int y)
{
    const Image *canvas = HeadlessCanvas(window);
    const uint8_t *pixel = canvas->rows[canvas->height - 1 - y] + 3 * x;
    return ((uint32_t)pixel[2] << 16) | ((uint32_t)pixel[1] << 8) | pixel[0];
}

int AcceptEightBit(int type)
{
    return type == TYPE_GRAY8 || type == TYPE_COLOR24;
}

} // namespace

// ---------------------------------------------------------------------------------------
// Slider.

TEST_F(Controls, SliderPressJumpsAndDragFollowsToBothEnds)
{
    WindowHandle slider = SliderCreate(dialog, SLIDER_ID, &SLIDER_RECT, 0);
    ASSERT_NE(slider, nullptr);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 0);

    HeadlessMouse(slider, MSG_LBUTTON_DOWN, 133, 8, BUTTON_LEFT); // the middle: 128 * 4
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 512);
    EXPECT_EQ(HeadlessCapture(), slider);
    HeadlessMouse(slider, MSG_MOUSE_MOVE, 200, 8, BUTTON_LEFT); // 195 * 4
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 780);
    HeadlessMouse(slider, MSG_MOUSE_MOVE, 261, 8, BUTTON_LEFT); // the right end
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 1024);
    HeadlessMouse(slider, MSG_MOUSE_MOVE, 400, 8, BUTTON_LEFT); // far past it: clamped
    HeadlessMouse(slider, MSG_MOUSE_MOVE, 5, 8, BUTTON_LEFT);   // the left end
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 0);
    HeadlessMouse(slider, MSG_MOUSE_MOVE, -40, 8, BUTTON_LEFT); // no change: no message
    HeadlessMouse(slider, MSG_LBUTTON_UP, 7, 8, 0);             // let go two pixels in
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 8);
    EXPECT_EQ(HeadlessCapture(), nullptr);

    std::vector<std::pair<int, int>> expected = {{NOTIFY_MOVED, 512},  {NOTIFY_MOVED, 780},
                                                 {NOTIFY_MOVED, 1024}, {NOTIFY_MOVED, 0},
                                                 {NOTIFY_MOVED, 8},    {NOTIFY_RELEASED, 8}};
    EXPECT_EQ(SliderNotes(SLIDER_ID), expected);
    // Each notification carries the control itself.
    for (const Note &note : Notes)
        EXPECT_EQ(note.lParam, (intptr_t)slider);

    // A move without a press is not a drag.
    Notes.clear();
    HeadlessMouse(slider, MSG_MOUSE_MOVE, 100, 8, 0);
    HeadlessMouse(slider, MSG_LBUTTON_UP, 100, 8, 0);
    EXPECT_TRUE(Notes.empty());
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 8);
}

TEST_F(Controls, SliderPressOnTheThumbKeepsItUnderTheMouse)
{
    WindowHandle slider = SliderCreate(dialog, SLIDER_ID, &SLIDER_RECT, 512); // centre x 133
    HeadlessMouse(slider, MSG_LBUTTON_DOWN, 136, 8, BUTTON_LEFT);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 512); // taken where it was: no jump
    HeadlessMouse(slider, MSG_MOUSE_MOVE, 146, 8, BUTTON_LEFT);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 552); // ten pixels on: 40 positions
    HeadlessMouse(slider, MSG_LBUTTON_UP, 146, 8, 0);
    std::vector<std::pair<int, int>> expected = {{NOTIFY_MOVED, 552}, {NOTIFY_RELEASED, 552}};
    EXPECT_EQ(SliderNotes(SLIDER_ID), expected);

    // Just off the thumb (six pixels from its centre at 143) the thumb jumps.
    HeadlessMouse(slider, MSG_LBUTTON_DOWN, 149, 8, BUTTON_LEFT);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 576);
    HeadlessMouse(slider, MSG_LBUTTON_UP, 149, 8, 0);
}

TEST_F(Controls, SliderKeysMoveThenReleaseAndStopAtTheEnds)
{
    WindowHandle slider = SliderCreate(dialog, SLIDER_ID, &SLIDER_RECT, 500);
    struct Case {
        uint32_t key;
        int position; // after the key; -1: unchanged and no message
    };
    const Case cases[] = {
        {KEY_RIGHT, 504},     {KEY_LEFT, 500}, {KEY_LEFT, 496},     {KEY_PAGE_UP, 560},
        {KEY_PAGE_DOWN, 496}, {KEY_END, 1024}, {KEY_RIGHT, -1},     {KEY_PAGE_UP, -1},
        {KEY_HOME, 0},        {KEY_LEFT, -1},  {KEY_PAGE_DOWN, -1}, {KEY_UP + 100, -1},
    };
    int expected = 500;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.key);
        Notes.clear();
        PlatformSendMessage(slider, MSG_KEY_DOWN, c.key, 0);
        if (c.position < 0) {
            EXPECT_TRUE(Notes.empty());
            EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), expected);
            continue;
        }
        expected = c.position;
        std::vector<std::pair<int, int>> notes = {{NOTIFY_MOVED, expected},
                                                  {NOTIFY_RELEASED, expected}};
        EXPECT_EQ(SliderNotes(SLIDER_ID), notes);
    }
}

TEST_F(Controls, SliderSetPositionClampsAndSaysNothing)
{
    SliderCreate(dialog, SLIDER_ID, &SLIDER_RECT, 5000);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 1024);
    SliderSetPosition(dialog, SLIDER_ID, -3);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 0);
    SliderSetPosition(dialog, SLIDER_ID, 700);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 700);
    EXPECT_TRUE(Notes.empty());
    EXPECT_EQ(SliderPosition(dialog, 999), -1); // no such slider
}

TEST_F(Controls, SliderWithTwoThumbsMovesTheNearer)
{
    WindowHandle slider = SliderCreate(dialog, SLIDER_ID, &SLIDER_RECT, 256); // x 69
    SliderSetSecondPosition(dialog, SLIDER_ID, 768);                          // x 197
    HeadlessMouse(slider, MSG_LBUTTON_DOWN, 100, 8, BUTTON_LEFT);
    HeadlessMouse(slider, MSG_LBUTTON_UP, 100, 8, 0);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 380);
    EXPECT_EQ(SliderSecondPosition(dialog, SLIDER_ID), 768);
    HeadlessMouse(slider, MSG_LBUTTON_DOWN, 180, 8, BUTTON_LEFT);
    HeadlessMouse(slider, MSG_MOUSE_MOVE, 230, 8, BUTTON_LEFT);
    HeadlessMouse(slider, MSG_LBUTTON_UP, 230, 8, 0);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 380);
    EXPECT_EQ(SliderSecondPosition(dialog, SLIDER_ID), 900);
    // After a press, the keys move the thumb that was taken.
    PlatformSendMessage(slider, MSG_KEY_DOWN, KEY_LEFT, 0);
    EXPECT_EQ(SliderSecondPosition(dialog, SLIDER_ID), 896);

    // Thumbs on one place: a press to the right takes the higher value, to the left the
    // lower, so that they can be pulled apart either way.
    SliderSetPosition(dialog, SLIDER_ID, 512);
    SliderSetSecondPosition(dialog, SLIDER_ID, 512);
    HeadlessMouse(slider, MSG_LBUTTON_DOWN, 150, 8, BUTTON_LEFT);
    HeadlessMouse(slider, MSG_LBUTTON_UP, 150, 8, 0);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 512);
    EXPECT_EQ(SliderSecondPosition(dialog, SLIDER_ID), 580);
    SliderSetSecondPosition(dialog, SLIDER_ID, 512);
    HeadlessMouse(slider, MSG_LBUTTON_DOWN, 110, 8, BUTTON_LEFT);
    HeadlessMouse(slider, MSG_LBUTTON_UP, 110, 8, 0);
    EXPECT_EQ(SliderPosition(dialog, SLIDER_ID), 420);
    EXPECT_EQ(SliderSecondPosition(dialog, SLIDER_ID), 512);
}

TEST_F(Controls, SliderDrawsItsThumbWhereThePositionIs)
{
    WindowHandle high = SliderCreate(dialog, SLIDER_ID, &SLIDER_RECT, 1024);
    HeadlessPaint(high);
    const Image *canvas = HeadlessCanvas(high);
    ASSERT_EQ(canvas->width, 267);
    ASSERT_EQ(canvas->height, 17);
    // The thumb's frame at the right end: columns 256 and 266; the groove inside it.
    EXPECT_EQ(CanvasAt(high, 256, 8), 0x404040u);
    EXPECT_EQ(CanvasAt(high, 266, 8), 0x404040u);
    EXPECT_EQ(CanvasAt(high, 100, 8), 0x3c78c8u); // the filled part of the groove
    WindowHandle low = SliderCreate(dialog, SLIDER_ID + 1, &SLIDER_RECT, 0);
    HeadlessPaint(low);
    EXPECT_EQ(CanvasAt(low, 0, 8), 0x404040u);
    EXPECT_EQ(CanvasAt(low, 10, 8), 0x404040u);
    EXPECT_EQ(CanvasAt(low, 256, 8), 0xffffffu); // an empty groove
}

// ---------------------------------------------------------------------------------------
// Pop-up list.

TEST_F(Controls, PopupListHasAFindableLabelAndTellsOfAChoice)
{
    Rect rect = {10, 10, 300, 34};
    ASSERT_NE(PopupListCreate(dialog, LIST_ID, &rect, "Input gamma:", "1.0\0001.8\0002.2\0", 2),
              nullptr);
    char text[64];
    PlatformGetControlText(dialog, LIST_ID + POPUP_LABEL_ID, text, sizeof text);
    EXPECT_STREQ(text, "Input gamma:");
    EXPECT_EQ(PopupListChoice(dialog, LIST_ID), 2);
    const char *items = HeadlessControlItems(dialog, LIST_ID);
    EXPECT_STREQ(items, "1.0");
    EXPECT_STREQ(items + 4, "1.8");
    EXPECT_STREQ(items + 8, "2.2");
    // The list starts after the label and a Margin; the label stands level with its text.
    Rect label, list;
    PlatformGetWindowRect(PlatformControl(dialog, LIST_ID + POPUP_LABEL_ID), &label);
    PlatformGetWindowRect(PlatformControl(dialog, LIST_ID), &list);
    EXPECT_EQ(list.left, label.right + Margin);
    EXPECT_EQ(list.right, 300);
    EXPECT_EQ(label.top, 10 + (24 - LineHeight) / 2);

    HeadlessChoose(dialog, LIST_ID, 0);
    ASSERT_EQ(Notes.size(), 1u);
    EXPECT_EQ(Notes[0].wParam, (uintptr_t)LIST_ID | ((uintptr_t)NOTIFY_CHANGED << 16));
    EXPECT_EQ(PopupListChoice(dialog, LIST_ID), 0);
    PopupListSetChoice(dialog, LIST_ID, 1);
    EXPECT_EQ(PopupListChoice(dialog, LIST_ID), 1);
}

// ---------------------------------------------------------------------------------------
// Input image chooser.

TEST_F(Controls, ChooserListsOnlyTheImageWindowsTheDialogTakes)
{
    WindowHandle gray = MakePicture(TYPE_GRAY8, 20, 10);
    WindowHandle sixteen = MakePicture(TYPE_GRAY16, 20, 10);
    WindowHandle color = MakePicture(TYPE_COLOR24, 20, 10);
    WindowHandle hidden = MakePicture(TYPE_GRAY8, 20, 10);
    PlatformShowWindow(hidden, SHOW_HIDE);
    WindowHandle binary = MakePicture(TYPE_BINARY, 16, 10);
    ChildKindRegister(KIND_PREVIEW, RecordingProcedure);
    WindowCreate preview = {CLASS_CHILD, KIND_PREVIEW, -1,  "Preview", 0, 0,
                            0,           100,          100, nullptr,   0, 0};
    ASSERT_NE(PlatformCreateWindow(&preview), nullptr);
    PlatformActivateWindow(dialog);

    Rect rect = {10, 10, 390, 10 + CHOOSER_HEIGHT};
    WindowHandle chooser = InputChooserCreate(dialog, CHOOSER_ID, &rect, gray, AcceptEightBit);
    ASSERT_NE(chooser, nullptr);
    EXPECT_EQ(InputChooserWindow(dialog, CHOOSER_ID), gray);
    EXPECT_STREQ(InUseBy(gray), CHOOSER_IN_USE_NAME);
    EXPECT_TRUE(Notes.empty()); // the first choice is no change

    HeadlessMouse(chooser, MSG_LBUTTON_DOWN, 200, 16, BUTTON_LEFT);
    // Front to back: the colour picture came after the gray one. Not the 16-bit or binary
    // pictures (not taken), the hidden one, the preview or the dialog.
    std::vector<std::string> expected = {Title(color), Title(gray)};
    EXPECT_EQ(PopupLabels(), expected);
    EXPECT_EQ(PopupIds(), std::vector<int>({1, 2}));
    EXPECT_TRUE(Notes.empty()); // nothing chosen

    // Without an accept function every picture type is offered.
    WindowHandle all[8];
    int count = InputChooserCandidates(nullptr, all, 8);
    EXPECT_EQ(std::vector<WindowHandle>(all, all + count),
              std::vector<WindowHandle>({binary, color, sixteen, gray}));
}

TEST_F(Controls, ChoosingAnotherWindowMovesTheMarkAndTellsTheDialog)
{
    WindowHandle first = MakePicture(TYPE_COLOR24, 20, 10);
    WindowHandle second = MakePicture(TYPE_GRAY8, 30, 10);
    Rect rect = {10, 10, 390, 10 + CHOOSER_HEIGHT};
    WindowHandle chooser = InputChooserCreate(dialog, CHOOSER_ID, &rect, first, AcceptEightBit);

    HeadlessQueuePopupChoice(1); // the front one: second
    HeadlessMouse(chooser, MSG_LBUTTON_DOWN, 200, 16, BUTTON_LEFT);
    EXPECT_EQ(InputChooserWindow(dialog, CHOOSER_ID), second);
    EXPECT_EQ(InUseBy(first), nullptr);
    EXPECT_STREQ(InUseBy(second), "Color Image Control");
    ASSERT_EQ(Notes.size(), 1u);
    EXPECT_EQ(Notes[0].message, (uint32_t)MSG_INPUT_CHOSEN);
    EXPECT_EQ(Notes[0].wParam, (uintptr_t)CHOOSER_ID);

    // The chosen picture cannot be closed; the other one can.
    PlatformSendMessage(second, MSG_CLOSE, 0, 0);
    EXPECT_TRUE(PlatformWindowExists(second));
    ASSERT_NE(HeadlessLastMessage(), nullptr);
    EXPECT_STREQ(HeadlessLastMessage()->text,
                 "Window in use by Color Image Control - Cannot close");

    // Choosing the window already chosen says nothing.
    Notes.clear();
    HeadlessQueuePopupChoice(1);
    HeadlessMouse(chooser, MSG_LBUTTON_DOWN, 200, 16, BUTTON_LEFT);
    EXPECT_TRUE(Notes.empty());
    EXPECT_STREQ(InUseBy(second), "Color Image Control");

    // The chooser going away takes its mark with it.
    PlatformDestroyWindow(dialog);
    EXPECT_EQ(InUseBy(second), nullptr);
    PlatformSendMessage(first, MSG_CLOSE, 0, 0);
    EXPECT_FALSE(PlatformWindowExists(first));
}

TEST_F(Controls, ChooserShowsTheChosenWindowsTitleAsItIsNow)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 20, 10);
    Rect rect = {10, 10, 390, 10 + CHOOSER_HEIGHT};
    WindowHandle chooser = InputChooserCreate(dialog, CHOOSER_ID, &rect, picture, nullptr);
    HeadlessPaint(chooser);
    EXPECT_EQ(LastTextOf(chooser), Title(picture));
    EXPECT_EQ(LastTextOf(chooser, 1), "Input Image:");
    EXPECT_EQ(HeadlessCanvas(chooser)->height, CHOOSER_HEIGHT);

    // A save gives it a file name; the next paint reads the new title, and the list doubles
    // the & that would otherwise be taken as an access key.
    strcpy(WindowRecord(picture)->picture.fileName, "/pictures/Sun & Sea.tif");
    PlatformInvalidate(chooser, nullptr);
    HeadlessPaint(chooser);
    EXPECT_EQ(LastTextOf(chooser), "Sun & Sea.tif");
    HeadlessMouse(chooser, MSG_LBUTTON_DOWN, 200, 16, BUTTON_LEFT);
    EXPECT_EQ(PopupLabels(), std::vector<std::string>({"Sun && Sea.tif"}));

    // A title too long for the field is cut with "..." to fit.
    std::string longName = "/pictures/" + std::string(200, 'x') + ".tif";
    strcpy(WindowRecord(picture)->picture.fileName, longName.c_str());
    PlatformInvalidate(chooser, nullptr);
    HeadlessPaint(chooser);
    std::string shown = LastTextOf(chooser);
    EXPECT_EQ(shown.substr(shown.size() - 3), "...");
    int field = 380 - PlatformTextWidth("Input Image:", 12) - Margin;
    EXPECT_LT(PlatformTextWidth(shown.c_str(), (int)shown.size()), field);
}

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
        {512, -1, 0, "Amount: 50.0%"},
        {0, -1, 0, "Amount: 0.0%"},
        {3, -1, 0, "Amount: 0.3%"},     // 0.293
        {1023, -1, 0, "Amount: 99.9%"}, // 99.902
        {0, -1, 1, "Amount: -100.0%"},
        {256, -1, 1, "Amount: -50.0%"},
        {512, -1, 1, "Amount: 0.0%"},
        {513, -1, 1, "Amount: 0.2%"},  // 0.195
        {511, -1, 1, "Amount: -0.2%"}, // -0.195
        {1024, -1, 1, "Amount: 100.0%"},
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

TEST(AmountSetting, StartsFullWithoutAMaskAndKeepsEightyBytesOfLabel)
{
    AmountSetting setting;
    std::string label(100, 'L');
    AmountSettingDefault(&setting, label.c_str(), 1);
    EXPECT_EQ(setting.low, 1024);
    EXPECT_EQ(setting.high, AMOUNT_NO_MASK);
    EXPECT_EQ(setting.bipolar, 1);
    EXPECT_EQ(setting.maskImage, nullptr);
    EXPECT_EQ(setting.maskWindow, nullptr);
    EXPECT_STREQ(setting.maskTitle, "");
    EXPECT_EQ(std::string(setting.label), label.substr(0, 79));
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

TEST_F(Controls, AmountMaskListOffersGrayPicturesOfTheSize)
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

TEST_F(Controls, AmountMaskListStopsAtFifty)
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

TEST_F(Controls, AmountChoosingAMaskSetsTheRangeAndMarksTheMask)
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

TEST_F(Controls, AmountSliderHasTwoThumbsWithAMask)
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

TEST_F(Controls, AmountShiftPressComparesWithTheNeutralState)
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

TEST_F(Controls, AmountRightPressActivatesTheMaskAndItsChangesAreReported)
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

TEST_F(Controls, AmountSetFindsTheMaskByWindowThenByTitle)
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

    // A title no window has: no mask, the constant amount kept.
    strcpy(kept.maskTitle, "gone.tif");
    AmountSet(amount, &kept);
    AmountGet(amount, &setting);
    EXPECT_EQ(setting.maskWindow, nullptr);
    EXPECT_EQ(setting.low, 200);
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

TEST_F(Controls, AmountLetsGoOfAMaskThatNoLongerFits)
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

TEST_F(Controls, AmountSquareShowsTheAmountOrTheMaskSmall)
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
