// The custom controls on the headless platform: the slider's positions under the mouse and
// the keys with its notifications in order, the pop-up list, and the input chooser's list and
// in-use marks.
#include "tests/ui/ControlsTestSupport.h"

// What an input chooser of an 8-bit dialog accepts.
static int AcceptEightBit(int type)
{
    return type == TYPE_GRAY8 || type == TYPE_COLOR24;
}

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
    EXPECT_STREQ(HeadlessControlItems(dialog, LIST_ID) + 8, "2.2");

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
