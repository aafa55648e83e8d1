// The command handler and the menu's state: the class table, what each class needs of the
// active window, Cascade, Close All, Bring Dialogs to Top, Copy, Negative, the clipboard,
// and the Mask menu's candidates.
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/Progress.h"
#include "shell/Commands.h"
#include "shell/Dialogs.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"
#include "transforms/Negative.h"
#include "ui/GridDialog.h"

using Commands = ShellTest;

static int MenuEnabled(int id)
{
    int enabled = -1;
    EXPECT_TRUE(HeadlessMenuState(id, &enabled, nullptr, nullptr)) << id;
    return enabled;
}

TEST_F(Commands, EachClassIsEnabledByTheActiveWindowAndItsType)
{
    struct Situation {
        const char *name;
        int kind; // of the active window; -1 for none
        int type; // of its picture
        int enabled[12];
    };
    const Situation situations[] = {
        {"nothing active", -1, 0, {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"binary", KIND_IMAGE, TYPE_BINARY, {1, 1, 1, 0, 0, 1, 1, 0, 1, 0, 0, 0}},
        {"gray", KIND_IMAGE, TYPE_GRAY8, {1, 1, 1, 0, 1, 1, 1, 1, 1, 0, 1, 1}},
        {"color", KIND_IMAGE, TYPE_COLOR24, {1, 1, 1, 1, 1, 0, 1, 0, 1, 1, 1, 0}},
        {"gray 16", KIND_IMAGE, TYPE_GRAY16, {1, 1, 0, 0, 0, 0, 1, 0, 1, 0, 1, 1}},
        {"color 48", KIND_IMAGE, TYPE_COLOR48, {1, 1, 0, 0, 0, 0, 1, 0, 1, 1, 1, 0}},
        {"preview", KIND_PREVIEW, 0, {1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}},
        {"album page", KIND_ALBUM_DOCUMENT, 0, {1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const Situation &situation : situations) {
        SCOPED_TRACE(situation.name);
        DestroyAllChildren();
        if (situation.kind == KIND_IMAGE) {
            MakePicture(situation.type, 20, 10);
        } else if (situation.kind >= 0) {
            PlatformActivateWindow(MakeRecordingChild(situation.kind, situation.name));
        }
        for (int itemClass = 0; itemClass < 12; itemClass++) {
            SCOPED_TRACE(itemClass);
            EXPECT_EQ(MenuClassEnabled(itemClass), situation.enabled[itemClass]);
            // Bit 6 only matters on an album page.
            int albumOff = situation.kind == KIND_ALBUM_DOCUMENT;
            EXPECT_EQ(MenuClassEnabled(itemClass | MENU_CLASS_NOT_ALBUM),
                      albumOff ? 0 : situation.enabled[itemClass]);
            EXPECT_EQ(MenuClassEnabled(itemClass | MENU_CLASS_NOT_DIALOG),
                      situation.enabled[itemClass]);
        }
    }
}

TEST_F(Commands, OpenOperationsAndProgressTurnItemsOff)
{
    MakePicture(TYPE_GRAY8, 20, 10);
    EXPECT_EQ(MenuClassEnabled(8 | MENU_CLASS_NOT_DIALOG), 1);
    // An operation counts from its command on, before its dialog exists.
    CurrentOperation = KIND_GAMMA;
    EXPECT_EQ(MenuClassEnabled(8 | MENU_CLASS_NOT_DIALOG), 0);
    EXPECT_EQ(MenuClassEnabled(0 | MENU_CLASS_NOT_DIALOG), 0);
    EXPECT_EQ(MenuClassEnabled(8), 1);
    CurrentOperation = 0;
    DialogWindow = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    EXPECT_EQ(MenuClassEnabled(8 | MENU_CLASS_NOT_DIALOG), 0);
    PlatformDestroyWindow(DialogWindow);
    EXPECT_EQ(DialogWindow, nullptr);
    EXPECT_EQ(MenuClassEnabled(8 | MENU_CLASS_NOT_DIALOG), 1);

    ProgressOpen(0, 10, "Copy", 1);
    for (int itemClass = 0; itemClass < 12; itemClass++)
        EXPECT_EQ(MenuClassEnabled(itemClass), 0) << itemClass;
    ProgressClose();
    EXPECT_EQ(MenuClassEnabled(0), 1);
}

TEST_F(Commands, TheMenuFollowsTheActivePicture)
{
    MakePicture(TYPE_GRAY16, 20, 10);
    PlatformSendMessage(FrameWindow, MSG_INIT_MENU, 0, 0);
    EXPECT_EQ(MenuEnabled(COMMAND_OPEN), 1);
    EXPECT_EQ(MenuEnabled(COMMAND_CLOSE), 1);
    EXPECT_EQ(MenuEnabled(COMMAND_COPY_CLIPBOARD), 0); // no 16-bit pictures on the clipboard
    EXPECT_EQ(MenuEnabled(COMMAND_ZOOM_IN), 1);
    EXPECT_EQ(MenuEnabled(COMMAND_WINDOW_INFO), 1);
    EXPECT_EQ(MenuEnabled(COMMAND_SAVE_PROFILE), 0); // gray pictures carry no color profile
    EXPECT_EQ(MenuEnabled(COMMAND_SAVE), 1);
    EXPECT_EQ(MenuEnabled(COMMAND_COPY), 1);
    EXPECT_EQ(MenuEnabled(COMMAND_PASTE), 0);

    MakePicture(TYPE_COLOR48, 20, 10);
    DialogWindow = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    PlatformSendMessage(FrameWindow, MSG_INIT_MENU, 0, 0);
    EXPECT_EQ(MenuEnabled(COMMAND_SAVE_PROFILE), 1);
    EXPECT_EQ(MenuEnabled(COMMAND_COPY), 0);
    EXPECT_EQ(MenuEnabled(COMMAND_NEGATIVE), 0);
    EXPECT_EQ(MenuEnabled(COMMAND_SAVE), 1);
    // A disabled item chosen anyway does nothing.
    int windows = HeadlessWindowCount();
    HeadlessChooseMenu(COMMAND_COPY);
    EXPECT_EQ(HeadlessWindowCount(), windows);
    PlatformDestroyWindow(DialogWindow);
}

TEST_F(Commands, TheMaskMenuOffersPicturesOfTheSameSize)
{
    WindowHandle same = MakePicture(TYPE_GRAY8, 100, 80);
    MakePicture(TYPE_GRAY8, 50, 50);
    WindowHandle alsoSame = MakePicture(TYPE_COLOR24, 100, 80);
    WindowHandle active = MakePicture(TYPE_COLOR48, 100, 80);
    PlatformSendMessage(FrameWindow, MSG_INIT_MENU, 0, 0);
    const char *label = nullptr;
    int enabled = 0;
    ASSERT_TRUE(HeadlessMenuState(COMMAND_MASK_NEW, &enabled, nullptr, &label));
    EXPECT_STREQ(label, "&New");
    EXPECT_EQ(enabled, 1);
    // Front to back, the active picture left out.
    ASSERT_TRUE(HeadlessMenuState(4501, nullptr, nullptr, &label));
    EXPECT_EQ(label, TitleOf(alsoSame));
    ASSERT_TRUE(HeadlessMenuState(4502, nullptr, nullptr, &label));
    EXPECT_EQ(label, TitleOf(same));
    EXPECT_FALSE(HeadlessMenuState(4503, nullptr, nullptr, nullptr));

    // A binary picture takes no mask: the list empties and New is off.
    (void)active;
    MakePicture(TYPE_BINARY, 100, 80);
    PlatformSendMessage(FrameWindow, MSG_INIT_MENU, 0, 0);
    EXPECT_FALSE(HeadlessMenuState(4501, nullptr, nullptr, nullptr));
    ASSERT_TRUE(HeadlessMenuState(COMMAND_MASK_NEW, &enabled, nullptr, nullptr));
    EXPECT_EQ(enabled, 0);

    // A candidate chosen starts the mask tool.
    PlatformActivateWindow(active);
    HeadlessChooseMenu(4501);
    EXPECT_EQ(CurrentTool, TOOL_MASK);
    CurrentTool = TOOL_NONE;
}

TEST_F(Commands, CascadeStepsDownAndRightFromTheBackWindow)
{
    struct Case {
        int workspaceWidth;
        int workspaceHeight;
        int expected[4][2]; // back to front
    };
    // Margin 8, button height 24 and caption 20 on the headless platform. A third of 90 is
    // 30, so the third window starts over at the top; a third of 150 is 50, so x does too.
    const Case cases[] = {
        {600, 90, {{8, 8}, {32, 28}, {56, 8}, {80, 28}}},
        {150, 90, {{8, 8}, {32, 28}, {8, 8}, {32, 28}}},
    };
    for (const Case &item : cases) {
        SCOPED_TRACE(item.workspaceWidth);
        DestroyAllChildren();
        HeadlessSetWorkspaceSize(item.workspaceWidth, item.workspaceHeight);
        WindowHandle windows[4];
        for (WindowHandle &window : windows) {
            window = MakePicture(TYPE_GRAY8, 20, 10);
            PlatformMoveWindow(window, 300, 300, 120, 90);
        }
        HeadlessChooseMenu(COMMAND_CASCADE);
        for (int i = 0; i < 4; i++) {
            Rect rect;
            PlatformGetWindowRect(windows[i], &rect);
            EXPECT_EQ(rect.left, item.expected[i][0]) << i;
            EXPECT_EQ(rect.top, item.expected[i][1]) << i;
            EXPECT_EQ(rect.right - rect.left, 120);
            EXPECT_EQ(rect.bottom - rect.top, 90);
        }
    }
}

TEST_F(Commands, CopyAndNegativeMakeANewModifiedWindowAtTheSourcesZoom)
{
    for (int type : {TYPE_BINARY, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        DestroyAllChildren();
        WindowHandle source = MakePicture(type, 50, 40, type);
        ImageWindow *record = WindowRecord(source);
        strcpy(record->picture.fileName, "/pictures/source.tif");
        record->zoom = -2;

        HeadlessChooseMenu(COMMAND_COPY);
        WindowHandle copy = ActiveWindow;
        ASSERT_NE(copy, source);
        const ImageWindow *copied = WindowRecord(copy);
        ExpectImagesNear(record->picture.image, copied->picture.image, 0);
        EXPECT_EQ(copied->zoom, -2);
        EXPECT_EQ(PlatformGetWindowWord(copy, WORD_MODIFIED), 1);
        EXPECT_EQ(PlatformGetWindowWord(source, WORD_MODIFIED), 0);
        EXPECT_EQ(TitleOf(copy),
                  "Untitled " + std::to_string(copied->slot + 1) + " - source.tif (1:2)");

        PlatformActivateWindow(source);
        HeadlessChooseMenu(COMMAND_NEGATIVE);
        WindowHandle negative = ActiveWindow;
        ASSERT_NE(negative, source);
        ASSERT_NE(negative, copy);
        // The pixels are the Negative tests' part; here the window it makes.
        const Image *out = &WindowRecord(negative)->picture.image;
        ASSERT_EQ(out->type, type);
        EXPECT_EQ(out->rows[0][0], (uint8_t)~record->picture.image.rows[0][0]);
        EXPECT_EQ(WindowRecord(negative)->zoom, -2);
        EXPECT_EQ(PlatformGetWindowWord(negative, WORD_MODIFIED), 1);
    }
}

TEST_F(Commands, ACopyThatFailsTakesItsNewWindowAway)
{
    // Large enough for a progress window, whose Cancel is pressed at once.
    WindowHandle source = MakePicture(TYPE_COLOR24, 400, 300);
    int windows = HeadlessWindowCount();
    HeadlessAbortAtPump(0);
    HeadlessChooseMenu(COMMAND_COPY);
    EXPECT_EQ(HeadlessWindowCount(), windows);
    EXPECT_EQ(ActiveWindow, source);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Attention"); // an abort, told as such
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_STREQ(HeadlessProgressAt(0)->title, "Copy");
    // Its slot is free again: the table still holds 255 more pictures.
    int made = 0;
    for (WindowHandle window = nullptr; NewImageWindow(nullptr, &window, 10, 10, 0) == ERROR_NONE;)
        made++;
    EXPECT_EQ(made, SLOT_COUNT - 1);
}

TEST_F(Commands, CopyToTheClipboardAndPasteMakeAWindowNamedPaste)
{
    WindowHandle source = MakePicture(TYPE_COLOR24, 30, 20, 7);
    PlatformSendMessage(FrameWindow, MSG_INIT_MENU, 0, 0);
    EXPECT_EQ(MenuEnabled(COMMAND_PASTE), 0);
    HeadlessChooseMenu(COMMAND_COPY_CLIPBOARD);
    EXPECT_EQ(ClipboardHoldsImage, 1);
    HeadlessChooseMenu(COMMAND_PASTE);
    WindowHandle pasted = ActiveWindow;
    ASSERT_NE(pasted, source);
    EXPECT_EQ(TitleOf(pasted), "Paste");
    EXPECT_EQ(PlatformGetWindowWord(pasted, WORD_MODIFIED), 1);
    ExpectImagesNear(WindowRecord(source)->picture.image, WindowRecord(pasted)->picture.image, 0);
}

TEST_F(Commands, CloseAllAsksAboutWhatIsRunningAndThenEveryWindow)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 20, 10);
    DialogWindow = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    CurrentOperation = KIND_GAMMA;
    ASSERT_EQ(MarkInUse(DialogWindow, picture, "Gamma Adjust", 1), ERROR_NONE);

    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessChooseMenu(COMMAND_CLOSE_ALL);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Abort transformation in progress?");
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO);
    EXPECT_TRUE(PlatformWindowExists(picture));
    EXPECT_NE(DialogWindow, nullptr);

    // A modified picture whose question is cancelled stops everything after the dialog.
    PlatformSetWindowWord(picture, WORD_MODIFIED, 1);
    WindowHandle mask = MakeRecordingChild(KIND_MASK, "Mask");
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessQueueAnswer(ANSWER_CANCEL);
    HeadlessChooseMenu(COMMAND_CLOSE_ALL);
    ASSERT_EQ(HeadlessMessageCount(), 4);
    EXPECT_STREQ(HeadlessMessageAt(2)->text, "Abort mask operation in progress?");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Save Modified Image: Untitled 1?");
    EXPECT_EQ(DialogWindow, nullptr);
    EXPECT_FALSE(PlatformWindowExists(mask));
    EXPECT_TRUE(PlatformWindowExists(picture));

    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessChooseMenu(COMMAND_CLOSE_ALL);
    EXPECT_EQ(PlatformFirstChild(), nullptr);
    EXPECT_NE(FrameWindow, nullptr);
}

TEST_F(Commands, ASlideShowIsAskedAboutBeforeClosingAll)
{
    // Close All needs an active window to be offered at all.
    PlatformActivateWindow(MakeRecordingChild(KIND_SLIDE_SHOW, "Slide Show"));
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessChooseMenu(COMMAND_CLOSE_ALL);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Abort slide show in progress?");
    EXPECT_NE(PlatformFirstChild(), nullptr);
}

TEST_F(Commands, BringDialogsToTopRaisesTheTransformationLast)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 20, 10);
    WindowHandle clone = MakeRecordingChild(KIND_CLONE, "Clone");
    WindowHandle magnifier = MakeRecordingChild(KIND_MAGNIFIER, "Magnifier");
    DialogWindow = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    PlatformActivateWindow(picture);
    PlatformShowWindow(picture, SHOW_MAXIMIZED);
    HeadlessChooseMenu(COMMAND_BRING_DIALOGS);
    EXPECT_EQ(PlatformWindowState(picture), SHOW_NORMAL);
    // Front to back: the transformation, then Clone, then the Magnifier raised before it.
    WindowHandle order[4];
    int count = 0;
    for (WindowHandle child = PlatformFirstChild(); child != nullptr && count < 4;
         child = PlatformNextChild(child))
        order[count++] = child;
    ASSERT_EQ(count, 4);
    EXPECT_EQ(order[0], DialogWindow);
    EXPECT_EQ(order[1], clone);
    EXPECT_EQ(order[2], magnifier);
    EXPECT_EQ(order[3], picture);
    EXPECT_EQ(ActiveWindow, DialogWindow);
}

TEST_F(Commands, ViewCommandsGoToADialogThatIsActive)
{
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    PlatformActivateWindow(dialog);
    Recorded().clear();
    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_ZOOM_IN, 0);
    ASSERT_EQ(RecordedCount(dialog, MSG_COMMAND), 1);
    EXPECT_EQ(Recorded().back().wParam, (uintptr_t)COMMAND_ZOOM_IN);
}

TEST_F(Commands, CloseAndExitCloseTheActiveWindowAndTheFrame)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 20, 10);
    HeadlessChooseMenu(COMMAND_CLOSE);
    EXPECT_FALSE(PlatformWindowExists(picture));
    HeadlessChooseMenu(COMMAND_EXIT);
    EXPECT_EQ(FrameWindow, nullptr);
    EXPECT_EQ(HeadlessFrame(), nullptr);
}

// What the Window Grid test does inside the dialog's modal loop.
static WindowHandle GridPicture;
static int GridChoice;
static int GridSeenDivisions;
static int GridSeenInvalid;
static std::string GridSeenParts;
static int GridButton;

static void GridScript(WindowHandle dialog)
{
    char title[64];
    PlatformGetWindowTitle(dialog, title, sizeof title);
    EXPECT_STREQ(title, "Window Grid");
    WindowHandle picture = GridPicture;
    HeadlessPaint(picture);
    HeadlessChoose(dialog, GRID_DIVISIONS, GridChoice);
    // The picture shows the choice while the dialog is still up.
    GridSeenDivisions = WindowRecord(picture)->gridDivisions;
    Rect invalid;
    GridSeenInvalid = HeadlessInvalid(picture, &invalid);
    char text[64];
    PlatformGetControlText(dialog, GRID_PARTS, text, sizeof text);
    GridSeenParts = text;
    HeadlessClick(dialog, GridButton);
}

TEST_F(Commands, TheGridCommandShowsEachChoiceAtOnceAndOkKeepsIt)
{
    WindowHandle window = MakePicture(TYPE_COLOR24, 900, 600);
    ImageWindow *record = WindowRecord(window);
    EXPECT_EQ(record->gridDivisions, 1);
    GridPicture = window;
    HeadlessSetModalHandler(GridScript);
    struct Step {
        int choice, button, kept;
        const char *parts;
    } steps[] = {
        {2, DIALOG_OK, 3, "Parts of 300 x 200 pixels"},    // thirds, kept
        {6, DIALOG_CANCEL, 3, "Parts of 113 x 75 pixels"}, // 8 x 8 tried and taken back
        {0, DIALOG_OK, 1, "No grid lines"},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.choice);
        GridChoice = step.choice;
        GridButton = step.button;
        HeadlessChooseMenu(COMMAND_GRID);
        EXPECT_EQ(GridSeenDivisions, GRID_CHOICES[step.choice]);
        EXPECT_TRUE(GridSeenInvalid);
        EXPECT_EQ(GridSeenParts, step.parts);
        EXPECT_EQ(record->gridDivisions, step.kept);
        EXPECT_EQ(HeadlessFindWindow("Window Grid"), nullptr);
        EXPECT_EQ(ActiveWindow, window);
    }
    // The right button's "&Grid" opens the same dialog.
    GridChoice = 1;
    GridButton = DIALOG_OK;
    HeadlessQueuePopupChoice(COMMAND_GRID);
    PlatformSendMessage(window, MSG_RBUTTON_DOWN, 0, MakeParam(10, 10));
    EXPECT_EQ(record->gridDivisions, 2);
    HeadlessSetModalHandler(nullptr);
}

TEST(GridChoices, ADivisionsValueShowsAsTheLargestChoiceNotAboveIt)
{
    struct Case {
        int divisions, choice;
    } cases[] = {{-3, 0}, {0, 0}, {1, 0}, {3, 2}, {7, 5}, {16, 9}, {40, 9}};
    for (const Case &test : cases)
        EXPECT_EQ(GridChoiceOf(test.divisions), test.choice) << test.divisions;
}
