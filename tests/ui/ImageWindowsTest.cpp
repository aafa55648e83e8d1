// The image window: the table of 256 pictures, the in-use refusal, titles, the save question,
// the right button's menu, keys, tools and the words every child keeps.
#include <cstring>
#include <string>

#include "core/Preferences.h"
#include "files/FileType.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"

using ImageWindows = ShellTest;

static int SlotOf(WindowHandle window)
{
    return (int)PlatformGetWindowWord(window, WORD_SLOT);
}

TEST_F(ImageWindows, TheTwoHundredFiftySeventhPictureIsRefused)
{
    WindowHandle windows[SLOT_COUNT];
    for (int i = 0; i < SLOT_COUNT; i++) {
        ASSERT_EQ(NewImageWindow(nullptr, &windows[i], -1, -1, 0), ERROR_NONE) << i;
        ASSERT_EQ(SlotOf(windows[i]), i);
    }
    int count = HeadlessWindowCount();
    WindowHandle extra = windows[0];
    EXPECT_EQ(NewImageWindow(nullptr, &extra, -1, -1, 0), ERROR_TOO_MANY_IMAGES);
    EXPECT_EQ(extra, nullptr);
    EXPECT_EQ(HeadlessWindowCount(), count);

    // A closed window's slot serves again (the order of the search is the table's test).
    PlatformDestroyWindow(windows[100]);
    ASSERT_EQ(NewImageWindow(nullptr, &windows[100], -1, -1, 0), ERROR_NONE);
    EXPECT_EQ(SlotOf(windows[100]), 100);
}

TEST_F(ImageWindows, ClosedSlotsAreNotReusedAtOnceSoUntitledNumbersRise)
{
    WindowHandle a = MakePicture(TYPE_GRAY8, 20, 10);
    WindowHandle b = MakePicture(TYPE_GRAY8, 20, 10);
    EXPECT_EQ(TitleOf(a), "Untitled 1 (1:1)");
    EXPECT_EQ(TitleOf(b), "Untitled 2 (1:1)");
    PlatformDestroyWindow(a);
    WindowHandle c = MakePicture(TYPE_GRAY8, 20, 10);
    EXPECT_EQ(TitleOf(c), "Untitled 3 (1:1)");
}

TEST_F(ImageWindows, NewWindowsTakeTheGivenTheParentsOrTheDefaultSize)
{
    WindowHandle parent = nullptr;
    ASSERT_EQ(NewImageWindow(nullptr, &parent, -1, -1, 0), ERROR_NONE);
    Rect rect;
    PlatformGetWindowRect(parent, &rect);
    EXPECT_EQ(rect.right - rect.left, 400);
    EXPECT_EQ(rect.bottom - rect.top, 400);
    EXPECT_EQ(TitleOf(parent), "Untitled");
    PlatformMoveWindow(parent, 10, 10, 333, 222);

    WindowHandle child = nullptr;
    ASSERT_EQ(NewImageWindow(parent, &child, -1, -1, 0), ERROR_NONE);
    PlatformGetWindowRect(child, &rect);
    EXPECT_EQ(rect.right - rect.left, 333);
    EXPECT_EQ(rect.bottom - rect.top, 222);

    WindowHandle given = nullptr;
    ASSERT_EQ(NewImageWindow(parent, &given, 150, 120, 0), ERROR_NONE);
    PlatformGetWindowRect(given, &rect);
    EXPECT_EQ(rect.right - rect.left, 150);
    EXPECT_EQ(rect.bottom - rect.top, 120);
}

TEST_F(ImageWindows, AWindowInUseCannotBeClosed)
{
    WindowHandle picture = MakePicture(TYPE_COLOR24, 30, 20);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, picture, "Gamma Adjust", 1), ERROR_NONE);
    EXPECT_STREQ(InUseBy(picture), "Gamma Adjust");

    PlatformSendMessage(picture, MSG_CLOSE, 0, 0);
    EXPECT_TRUE(PlatformWindowExists(picture));
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Window in use by Gamma Adjust - Cannot close");

    // The same asked by the frame's close: the window vetoes, without a second message.
    EXPECT_EQ(PlatformSendMessage(picture, MSG_QUERY_END_SESSION, 0, 0), 1);

    // The dialog going away ends its use.
    PlatformDestroyWindow(dialog);
    EXPECT_EQ(InUseBy(picture), nullptr);
    PlatformSendMessage(picture, MSG_CLOSE, 0, 0);
    EXPECT_FALSE(PlatformWindowExists(picture));
    EXPECT_EQ(HeadlessMessageCount(), 1);
}

TEST_F(ImageWindows, OnlyABlockingUseRefusesTheClose)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 30, 20);
    WindowHandle tool = MakeRecordingChild(KIND_MAGNIFIER, "Magnifier");
    ASSERT_EQ(MarkInUse(tool, picture, "Magnifier", 0), ERROR_NONE);
    EXPECT_EQ(InUseBy(picture), nullptr);
    PlatformSendMessage(picture, MSG_CLOSE, 0, 0);
    EXPECT_FALSE(PlatformWindowExists(picture));
    EXPECT_EQ(HeadlessMessageCount(), 0);
}

TEST_F(ImageWindows, TitlesFollowTheNameTheZoomAndThePreference)
{
    struct Case {
        const char *fileName;
        const char *derivedFrom;
        int zoom;
        int fullPath;
        const char *expected;
    };
    const Case cases[] = {
        {"", "", 1, 0, "Untitled 1 (1:1)"},
        {"", "/pictures/source.tif", 1, 0, "Untitled 1 - source.tif (1:1)"},
        {"", "/pictures/source.tif", 1, 1, "Untitled 1 - /pictures/source.tif (1:1)"},
        {"/a/b/c.tif", "/pictures/source.tif", -3, 0, "c.tif (1:3)"},
        {"/a/b/c.tif", "", 4, 1, "/a/b/c.tif (4:1)"},
        {"C:\\pics\\d.tif", "", -2, 0, "d.tif (1:2)"},
    };
    WindowHandle window = MakePicture(TYPE_GRAY8, 40, 30);
    ImageWindow *record = WindowRecord(window);
    for (const Case &item : cases) {
        SCOPED_TRACE(item.expected);
        strcpy(record->picture.fileName, item.fileName);
        strcpy(record->picture.derivedFrom, item.derivedFrom);
        record->zoom = item.zoom;
        Prefs.displayFullPathName = item.fullPath;
        UpdateTitle(window);
        EXPECT_EQ(TitleOf(window), item.expected);
    }

    // A window without a picture carries no zoom; a preview is always "Preview".
    WindowHandle empty = nullptr;
    ASSERT_EQ(NewImageWindow(nullptr, &empty, -1, -1, 0), ERROR_NONE);
    UpdateTitle(empty);
    EXPECT_EQ(TitleOf(empty), "Untitled 2");
    char title[64];
    WindowTitle(HeadlessBareWindow(KIND_PREVIEW, record->slot, "x"), title, sizeof title);
    EXPECT_STREQ(title, "Preview");
}

TEST_F(ImageWindows, LongTitlesAreCutToThreeHundredFortyCharacters)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 40, 30);
    ImageWindow *record = WindowRecord(window);
    std::string path = "/" + std::string(398, 'p') + ".tif";
    strcpy(record->picture.fileName, path.c_str());
    Prefs.displayFullPathName = 1;
    UpdateTitle(window);
    EXPECT_EQ(TitleOf(window), path.substr(0, 340));

    // Just short enough: the zoom suffix still fits whole.
    std::string fits = "/" + std::string(329, 'q') + ".tif"; // 334 characters, + " (1:1)"
    strcpy(record->picture.fileName, fits.c_str());
    UpdateTitle(window);
    EXPECT_EQ(TitleOf(window), fits + " (1:1)");
}

TEST_F(ImageWindows, TheSaveQuestionAnswersByTheButtonPressed)
{
    std::string folder = TestOutputFolder("ImageWindowsSaveQuestion");
    WindowHandle window = MakePicture(TYPE_GRAY8, 40, 30);
    ImageWindow *record = WindowRecord(window);
    std::string path = folder + "/saved.tif";
    strcpy(record->picture.fileName, path.c_str());
    record->picture.fileType = 2; // TIFF
    UpdateTitle(window);

    // Unmodified, or with the question turned off: no question.
    EXPECT_EQ(QuerySave(window), 1);
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    Prefs.confirm = 0;
    EXPECT_EQ(QuerySave(window), 1);
    EXPECT_EQ(HeadlessMessageCount(), 0);
    Prefs.confirm = 1;

    HeadlessQueueAnswer(ANSWER_CANCEL);
    EXPECT_EQ(QuerySave(window), 0);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Warning");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Save Modified Image: saved.tif?");
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO_CANCEL);

    HeadlessQueueAnswer(ANSWER_NO);
    EXPECT_EQ(QuerySave(window), 1);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1);

    // Yes saves, and allows the close once the file is written.
    HeadlessQueueAnswer(ANSWER_YES);
    EXPECT_EQ(QuerySave(window), 1);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
    EXPECT_FALSE(TestReadFile(path).empty());
    EXPECT_EQ(HeadlessMessageCount(), 3);
}

TEST_F(ImageWindows, ASaveThatDoesNotHappenKeepsTheWindowOpen)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 40, 30);
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    // Without a file, Yes goes to Save As; its dialog is cancelled here.
    HeadlessQueueAnswer(ANSWER_YES);
    PlatformSendMessage(window, MSG_CLOSE, 0, 0);
    EXPECT_TRUE(PlatformWindowExists(window));
    EXPECT_EQ(HeadlessMessageCount(), 1); // the question, and no error after it

    // A minimised window comes back to be asked about.
    PlatformShowWindow(window, SHOW_MINIMIZED);
    HeadlessQueueAnswer(ANSWER_NO);
    PlatformSendMessage(window, MSG_CLOSE, 0, 0);
    EXPECT_FALSE(PlatformWindowExists(window));
}

TEST_F(ImageWindows, TheRightButtonShowsTheViewMenuAndSendsTheChoiceToTheFrame)
{
    WindowHandle first = MakePicture(TYPE_GRAY8, 40, 30);
    WindowHandle second = MakePicture(TYPE_GRAY8, 40, 30);
    EXPECT_EQ(ActiveWindow, second);
    HeadlessQueuePopupChoice(COMMAND_ZOOM_IN);
    PlatformSendMessage(first, MSG_RBUTTON_DOWN, 0, MakeParam(5, 5));
    EXPECT_EQ(ActiveWindow, first);
    EXPECT_EQ(WindowRecord(first)->zoom, 2);
    EXPECT_EQ(TitleOf(first), "Untitled 1 (2:1)");
}

TEST_F(ImageWindows, KeysScrollByPageLineAndToTheCorners)
{
    // A picture far larger than its window, so that both bars have room to move. The window
    // of 400 x 400 has a client area of 392 x 372; less twice the border of 16 and the bars
    // of 16 the view is 344 x 324, so the ranges are 1656 and 1176, a line is 43 across and
    // 40 down, and a page 301 across and 283 down.
    WindowHandle window = MakePicture(TYPE_GRAY8, 2000, 1500);
    ImageWindow *record = WindowRecord(window);
    ASSERT_EQ(record->viewWidth, 344);
    ASSERT_EQ(record->viewHeight, 324);
    ASSERT_EQ(record->scrollRangeX, 1656);
    ASSERT_EQ(record->scrollRangeY, 1176);
    // A first layout has no old position to keep, and shows the middle of the picture.
    EXPECT_EQ(record->scrollLeft, 828);
    EXPECT_EQ(record->scrollTop, 588);

    struct Key {
        uint32_t key, keys;
        int left, top; // the positions after it
    } keys[] = {
        {KEY_HOME, KEYS_CONTROL, 0, 0}, {KEY_PAGE_DOWN, 0, 0, 283},
        {KEY_END, 0, 301, 283},         {KEY_LEFT, 0, 258, 283},
        {KEY_HOME, 0, 0, 283}, // a page back, held at the edge
        {KEY_PAGE_UP, 0, 0, 0},         {KEY_END, KEYS_CONTROL, 1656, 1176},
        {KEY_RIGHT, 0, 1656, 1176},     {KEY_UP, 0, 1656, 1136},
        {KEY_HOME, KEYS_CONTROL, 0, 0}, {KEY_DOWN, 0, 0, 40},
    };
    for (const Key &key : keys) {
        SCOPED_TRACE(testing::Message() << key.key << " with " << key.keys);
        PlatformSendMessage(window, MSG_KEY_DOWN, key.key, key.keys);
        EXPECT_EQ(record->scrollLeft, key.left);
        EXPECT_EQ(record->scrollTop, key.top);
    }
}

// The phases a test tool receives, with the window and point.
static std::vector<std::vector<int>> ToolCalls;

static void RecordingTool(WindowHandle window, int x, int y, int phase)
{
    (void)window;
    ToolCalls.push_back({phase, x, y});
}

TEST_F(ImageWindows, TheMouseGoesToTheCurrentToolWithItsPhases)
{
    const int tool = 5;
    ToolRegister(tool, RecordingTool);
    WindowHandle window = MakePicture(TYPE_GRAY8, 60, 50);
    CurrentTool = tool;
    ToolCalls.clear();

    HeadlessMouse(window, MSG_LBUTTON_DOWN, 10, 11, 0);
    EXPECT_EQ(HeadlessCapture(), window);
    EXPECT_EQ(ToolDown, 1);
    HeadlessMouse(window, MSG_MOUSE_MOVE, 12, 13, BUTTON_LEFT);
    HeadlessMouse(window, MSG_MOUSE_MOVE, 14, 15, BUTTON_LEFT | KEYS_SHIFT);
    HeadlessMouse(window, MSG_LBUTTON_UP, 16, 17, 0);
    EXPECT_EQ(HeadlessCapture(), nullptr);
    EXPECT_EQ(ToolDown, 0);
    HeadlessMouse(window, MSG_LBUTTON_DOWN, 1, 2, KEYS_SHIFT);
    HeadlessMouse(window, MSG_LBUTTON_UP, 1, 2, 0);
    std::vector<std::vector<int>> expected = {{1, 10, 11}, {2, 12, 13}, {6, 14, 15},
                                              {3, 16, 17}, {0, 1, 2},   {3, 1, 2}};
    EXPECT_EQ(ToolCalls, expected);

    // Alt hands the drag to the scroll tool, all the way to the button's release.
    ToolCalls.clear();
    HeadlessMouse(window, MSG_LBUTTON_DOWN, 10, 10, KEYS_ALT);
    HeadlessMouse(window, MSG_MOUSE_MOVE, 20, 20, BUTTON_LEFT);
    HeadlessMouse(window, MSG_LBUTTON_UP, 20, 20, 0);
    EXPECT_TRUE(ToolCalls.empty());

    // A paint is wrapped in two overlay phases; the window's end is phase 4.
    ToolCalls.clear();
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    PlatformDestroyWindow(window);
    std::vector<std::vector<int>> around = {{5, 0, 0}, {5, 0, 0}, {4, 0, 0}};
    EXPECT_EQ(ToolCalls, around);
    CurrentTool = TOOL_NONE;
}

TEST_F(ImageWindows, AWindowWaitingForAClickTakesItInsteadOfTheTool)
{
    const int tool = 5;
    ToolRegister(tool, RecordingTool);
    WindowHandle window = MakePicture(TYPE_GRAY8, 60, 50);
    WindowHandle waiting = MakeRecordingChild(KIND_COLOR_MANAGEMENT, "Waiting");
    CurrentTool = tool;
    ToolTarget = waiting;
    ToolCalls.clear();
    Recorded().clear();
    HeadlessMouse(window, MSG_LBUTTON_DOWN, 7, 8, 0);
    EXPECT_EQ(RecordedCount(waiting, MSG_CLICK), 1);
    EXPECT_EQ(Recorded().back().wParam, (uintptr_t)window);
    EXPECT_TRUE(ToolCalls.empty());
    EXPECT_EQ(ToolDown, 0);
    CurrentTool = TOOL_NONE;
}

TEST_F(ImageWindows, TheScrollToolDragsThePictureWithTheMouse)
{
    // The picture opens scrolled to its middle, (828, 588), with room to move every way.
    WindowHandle window = MakePicture(TYPE_GRAY8, 2000, 1500);
    ImageWindow *record = WindowRecord(window);
    ASSERT_EQ(record->scrollLeft, 828);
    ASSERT_EQ(record->scrollTop, 588);
    HeadlessMouse(window, MSG_LBUTTON_DOWN, 200, 200, KEYS_ALT);
    HeadlessMouse(window, MSG_MOUSE_MOVE, 150, 170, BUTTON_LEFT | KEYS_ALT);
    EXPECT_EQ(record->scrollLeft, 878);
    EXPECT_EQ(record->scrollTop, 618);
    // Positions are measured from the press: back past it moves the other way.
    HeadlessMouse(window, MSG_MOUSE_MOVE, 260, 210, BUTTON_LEFT | KEYS_ALT);
    EXPECT_EQ(record->scrollLeft, 768);
    EXPECT_EQ(record->scrollTop, 578);
    HeadlessMouse(window, MSG_LBUTTON_UP, 260, 210, 0);
    // Without the button down, moving does nothing.
    HeadlessMouse(window, MSG_MOUSE_MOVE, 10, 10, KEYS_ALT);
    EXPECT_EQ(record->scrollLeft, 768);
    EXPECT_EQ(record->scrollTop, 578);
}

TEST_F(ImageWindows, CharactersGoToTheOpenTransformationAfterTheFramesFilter)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 60, 50);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    DialogWindow = dialog;
    CurrentOperation = KIND_GAMMA;
    PlatformActivateWindow(window);
    Recorded().clear();
    PlatformSendMessage(window, MSG_CHAR, 'a', 0);
    ASSERT_EQ(RecordedCount(dialog, MSG_KEY), 1);
    EXPECT_EQ(Recorded().back().wParam, (uintptr_t)'a');

    // Esc is the filter's: it cancels the active window and never reaches the dialog.
    PlatformSendMessage(window, MSG_CHAR, 27, 0);
    EXPECT_EQ(RecordedCount(dialog, MSG_KEY), 1);
}

TEST_F(ImageWindows, ChildrenKeepTheirPositionAndTheActiveWindow)
{
    WindowHandle a = MakePicture(TYPE_GRAY8, 60, 50);
    PlatformMoveWindow(a, 30, 40, 200, 150);
    // The words hold the client area's corner: the frame's half width in, the caption down.
    EXPECT_EQ(PlatformGetWindowWord(a, WORD_X), 34);
    EXPECT_EQ(PlatformGetWindowWord(a, WORD_Y), 64);

    WindowHandle b = MakePicture(TYPE_GRAY8, 60, 50);
    EXPECT_EQ(ActiveWindow, b);
    EXPECT_EQ(PlatformFocusWindow(), b);
    PlatformDestroyWindow(b);
    EXPECT_EQ(ActiveWindow, a);
    PlatformDestroyWindow(a);
    EXPECT_EQ(ActiveWindow, nullptr);
}

TEST_F(ImageWindows, AMaskWindowGoingAwayLeavesNoOverlayBehind)
{
    WindowHandle picture = MakePicture(TYPE_COLOR24, 60, 50);
    WindowHandle mask = MakePicture(TYPE_GRAY8, 60, 50);
    WindowRecord(picture)->overlayMask = mask;
    WindowRecord(picture)->overlayAlpha = 128;
    PlatformDestroyWindow(mask);
    EXPECT_EQ(WindowRecord(picture)->overlayMask, nullptr);
}

TEST_F(ImageWindows, FindImageWindowComparesFileNamesWithoutCase)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 10, 10);
    strcpy(WindowRecord(window)->picture.fileName, "/Pictures/Boat.TIF");
    EXPECT_EQ(FindImageWindow("/pictures/boat.tif"), window);
    EXPECT_EQ(FindImageWindow("/pictures/boat2.tif"), nullptr);
    EXPECT_EQ(FindImageWindow(""), nullptr);
}

static int FreeSlots(void)
{
    int count = 0;
    for (int slot = 0; slot < SLOT_COUNT; slot++)
        count += SlotRecord(slot)->free;
    return count;
}

TEST_F(ImageWindows, ShowingAPictureKeepsItsZoomAndAFailureLeavesTheRecordToTheCaller)
{
    int slot = -1;
    ImageWindow *record = nullptr;
    ASSERT_EQ(SlotAllocate(&slot, &record), ERROR_NONE);
    ASSERT_EQ(ImageAlloc(&record->picture.image, TYPE_GRAY8, 300, 200, 300.0), ERROR_NONE);
    TestFillPattern(&record->picture.image, 1);
    record->zoom = -3; // as the open flow chose it
    WindowHandle window = nullptr;
    ASSERT_EQ(ImageWindowShow(record, &window), ERROR_NONE);
    EXPECT_EQ(record->zoom, -3);
    EXPECT_EQ(record->viewWidth, 100);
    EXPECT_EQ(record->viewHeight, 67);
    EXPECT_EQ(TitleOf(window), "Untitled " + std::to_string(slot + 1) + " (1:3)");

    // With every window of the platform taken, no window comes, and the record with its
    // picture stays the caller's.
    std::string path = TestOutputFolder("ImageWindowsNoRoom") + "/a.tif";
    Picture written = {};
    ASSERT_EQ(ImageAlloc(&written.image, TYPE_GRAY8, 6, 5, 200.0), ERROR_NONE);
    ASSERT_EQ(FileSave(path.c_str(), FILE_SAVE_TIFF, &written, 90), ERROR_NONE);
    ImageFree(&written.image);
    ASSERT_EQ(SlotAllocate(&slot, &record), ERROR_NONE);
    ASSERT_EQ(ImageAlloc(&record->picture.image, TYPE_GRAY8, 30, 20, 300.0), ERROR_NONE);
    record->zoom = 2;
    while (HeadlessBareWindow(KIND_SPLASH, -1, "filler") != nullptr) {
    }
    window = (WindowHandle)1;
    EXPECT_EQ(ImageWindowShow(record, &window), ERROR_NO_MEMORY);
    EXPECT_EQ(window, nullptr);
    EXPECT_EQ(record->free, 0);
    EXPECT_EQ(record->picture.image.width, 30);
    EXPECT_EQ(record->zoom, 2);
    SlotFree(slot);

    // The open flow frees what it had made.
    int free = FreeSlots();
    EXPECT_EQ(OpenImageFile(path.c_str(), -1, &window), ERROR_NO_MEMORY);
    EXPECT_EQ(window, nullptr);
    EXPECT_EQ(FreeSlots(), free);
}

TEST_F(ImageWindows, ANewLayoutRepaintsAWindowThatWasPaintedBeforeItsPictureWasReady)
{
    // Copy and Negative make their window first and its picture after; the platform may
    // paint the window in between (the progress window's pump does), when there is no view
    // yet and the client shows the border color alone.
    WindowHandle window = nullptr;
    ASSERT_EQ(NewImageWindow(nullptr, &window, 200, 150, 0), ERROR_NONE);
    ImageWindow *record = WindowRecord(window);
    ASSERT_EQ(ImageAlloc(&record->picture.image, TYPE_GRAY8, 40, 30, 300.0), ERROR_NONE);
    PlatformInvalidate(window, nullptr); // as a window that has just been shown
    HeadlessPaint(window);
    Rect invalid;
    ASSERT_FALSE(HeadlessInvalid(window, &invalid));
    TestFillPattern(&record->picture.image, 3);
    ImageWindowLayout(window);
    HeadlessPaint(window);
    // The view's top left pixel shows the picture's top left pixel.
    const Image *canvas = HeadlessCanvas(window);
    ASSERT_NE(canvas->rows, nullptr);
    ASSERT_LT(record->viewTop, canvas->height);
    int y = canvas->height - 1 - record->viewTop;
    const uint8_t *shown = canvas->rows[y] + 3 * record->viewLeft;
    uint8_t picture = record->picture.image.rows[record->picture.image.height - 1][0];
    EXPECT_EQ(shown[0], picture);
    EXPECT_EQ(shown[1], picture);
    EXPECT_EQ(shown[2], picture);
}

TEST_F(ImageWindows, LargePicturesOpenInWindowsThatLieWithinTheWorkspace)
{
    // New windows stand staggered down and right; one that would then pass the workspace's
    // edge moves back in, so that its frame and scroll bars can be reached.
    HeadlessSetWorkspaceSize(1000, 700);
    for (int i = 0; i < 5; i++) {
        SCOPED_TRACE(i);
        int slot = -1;
        ImageWindow *record = nullptr;
        ASSERT_EQ(SlotAllocate(&slot, &record), ERROR_NONE);
        ASSERT_EQ(ImageAlloc(&record->picture.image, TYPE_GRAY8, 6000, 4000, 300.0), ERROR_NONE);
        record->zoom = InitialZoom(6000, 4000);
        WindowHandle window = nullptr;
        ASSERT_EQ(ImageWindowShow(record, &window), ERROR_NONE);
        Rect rect;
        PlatformGetWindowRect(window, &rect);
        EXPECT_GE(rect.left, 0);
        EXPECT_GE(rect.top, 0);
        EXPECT_LE(rect.right, 1000);
        EXPECT_LE(rect.bottom, 700);
        // The picture fits it whole, without scroll bars.
        EXPECT_EQ(record->scrollRangeX, 0);
        EXPECT_EQ(record->scrollRangeY, 0);
    }
}

TEST_F(ImageWindows, UsersHearOfAScrollOnlyWhenThePositionMoved)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 2000, 1500);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, window, "Gamma Adjust", 1), ERROR_NONE);
    WindowHandle down = (WindowHandle)PlatformGetWindowWord(window, WORD_VSCROLL);
    HeadlessScroll(down, SCROLL_TOP, 0); // the picture opens at its middle
    ASSERT_EQ(WindowRecord(window)->scrollTop, 0);
    Recorded().clear();
    HeadlessScroll(down, SCROLL_LINE_UP, 0); // already at the top: nothing moves
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 0);
    HeadlessScroll(down, SCROLL_LINE_DOWN, 0);
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 1);
    EXPECT_GT(WindowRecord(window)->scrollTop, 0);
}
