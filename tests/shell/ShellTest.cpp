// The frame: the command line, the close with its questions, dropped files, the key filter,
// the splash, a second start, and start-up from the store.
#include <cstring>
#include <string>
#include <vector>

#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/FileType.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"
#include "transforms/TransformDialogs.h"

using Frame = ShellTest;

static std::vector<std::string> Split(const char *line)
{
    static char names[1 << 16];
    int count = SplitCommandLine(line, names, sizeof names);
    std::vector<std::string> result;
    for (const char *name = names; *name != 0; name += strlen(name) + 1)
        result.push_back(name);
    EXPECT_EQ(count, (int)result.size());
    return result;
}

TEST(CommandLine, ABlankEndsANameOnlyAfterItsDot)
{
    typedef std::vector<std::string> Names;
    // An unquoted path with a blank before the extension is one file.
    EXPECT_EQ(Split("C:\\My Pictures\\a.tif"), Names({"C:\\My Pictures\\a.tif"}));
    EXPECT_EQ(Split("a.tif b.tif"), Names({"a.tif", "b.tif"}));
    // A blank after a dot ends the name even in the middle of what was meant.
    EXPECT_EQ(Split("my.pic ture.tif"), Names({"my.pic", "ture.tif"}));
    // Quotes keep the blank, and are not part of the name.
    EXPECT_EQ(Split("\"/home/me/my.pic ture.tif\" b.tif"),
              Names({"/home/me/my.pic ture.tif", "b.tif"}));
    EXPECT_EQ(Split("  a.tif   b.tif  "), Names({"a.tif", "b.tif"}));
    EXPECT_EQ(Split(""), Names());
    EXPECT_EQ(Split("\"\""), Names());
}

TEST(CommandLine, AnOverlongNameStartsOverAndSmallRoomDropsNames)
{
    std::string line = std::string(PATH_LENGTH - 1, 'a') + "tail.tif next.tif";
    EXPECT_EQ(Split(line.c_str()), std::vector<std::string>({"tail.tif", "next.tif"}));

    // Room for "a.tif", "c.tif" and the empty name that ends the list: the long one is left.
    char names[13];
    EXPECT_EQ(SplitCommandLine("a.tif bbbbbb.tif c.tif", names, sizeof names), 2);
    EXPECT_STREQ(names, "a.tif");
    EXPECT_STREQ(names + 6, "c.tif");
    EXPECT_EQ(names[12], 0);
}

// Gray pictures written as TIFF files in folder, by name, each with its own pattern.
static std::vector<std::string> WritePictures(const std::string &folder,
                                              const std::vector<std::string> &names)
{
    std::vector<std::string> paths;
    int seed = 1;
    for (const std::string &name : names) {
        Picture record = {};
        EXPECT_EQ(ImageAlloc(&record.image, TYPE_GRAY8, 16, 12, 200.0), ERROR_NONE);
        TestFillPattern(&record.image, seed++);
        std::string path = folder + "/" + name;
        EXPECT_EQ(FileSave(path.c_str(), FILE_SAVE_TIFF, &record, 90), ERROR_NONE);
        ImageFree(&record.image);
        paths.push_back(path);
    }
    return paths;
}

static int ImageWindowCount(void)
{
    int count = 0;
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child))
        count += PlatformGetWindowWord(child, WORD_KIND) == KIND_IMAGE;
    return count;
}

TEST_F(Frame, TheCommandLineOpensEachFileAndGoesOnAfterAFailure)
{
    std::string folder = TestOutputFolder("FrameCommandLine");
    std::vector<std::string> paths = WritePictures(folder, {"one.tif", "two.tif"});
    std::string line = "\"" + folder + "/missing.tif\" " + paths[0] + " " + paths[1];
    StartupOpen(line.c_str());
    EXPECT_EQ(ImageWindowCount(), 2);
    EXPECT_EQ(SplashWindow, nullptr);
    EXPECT_GE(HeadlessMessageCount(), 1); // the missing file was reported
    EXPECT_NE(FindImageWindow(paths[0].c_str()), nullptr);
    EXPECT_NE(FindImageWindow(paths[1].c_str()), nullptr);
}

TEST_F(Frame, DroppingFiveFilesActivatesTheFirst)
{
    std::string folder = TestOutputFolder("FrameDrop");
    std::vector<std::string> paths =
        WritePictures(folder, {"a.tif", "b.tif", "c.tif", "d.tif", "e.tif"});
    // The third is open already: its window serves, and no second one is made.
    WindowHandle open = nullptr;
    DroppedFiles one = {1, nullptr};
    const char *third[] = {paths[2].c_str()};
    one.paths = third;
    PlatformSendMessage(FrameWindow, MSG_DROP_FILES, (uintptr_t)&one, 0);
    open = ActiveWindow;
    ASSERT_NE(open, nullptr);

    const char *all[5];
    for (int i = 0; i < 5; i++)
        all[i] = paths[i].c_str();
    DroppedFiles five = {5, all};
    PlatformSendMessage(FrameWindow, MSG_DROP_FILES, (uintptr_t)&five, 0);
    EXPECT_EQ(ImageWindowCount(), 5);
    EXPECT_EQ(ActiveWindow, FindImageWindow(paths[0].c_str()));
    EXPECT_EQ(FindImageWindow(paths[2].c_str()), open);
}

TEST_F(Frame, NoDropIsTakenWhileAnOperationRuns)
{
    std::string folder = TestOutputFolder("FrameDropRefused");
    std::vector<std::string> paths = WritePictures(folder, {"a.tif"});
    const char *names[] = {paths[0].c_str()};
    DroppedFiles files = {1, names};
    ProgressOpen(0, 10, "Negative", 1);
    PlatformSendMessage(FrameWindow, MSG_DROP_FILES, (uintptr_t)&files, 0);
    ProgressClose();
    EXPECT_EQ(ImageWindowCount(), 0);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->text,
                 "Cannot accept dropped files while operation is in progress");

    // An image window takes drops as the frame does.
    WindowHandle window = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformSendMessage(window, MSG_DROP_FILES, (uintptr_t)&files, 0);
    EXPECT_EQ(ImageWindowCount(), 2);
}

TEST_F(Frame, ClosingAsksAboutTheTransformationFirst)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 10, 10);
    DialogWindow = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    CurrentOperation = KIND_GAMMA;
    ASSERT_EQ(MarkInUse(DialogWindow, picture, "Gamma Adjust", 1), ERROR_NONE);

    HeadlessQueueAnswer(ANSWER_NO);
    PlatformSendMessage(FrameWindow, MSG_CLOSE, 0, 0);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Abort transformation in progress?");
    EXPECT_STREQ(HeadlessLastMessage()->title, "Warning");
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO);
    // No keeps everything.
    EXPECT_NE(FrameWindow, nullptr);
    EXPECT_NE(DialogWindow, nullptr);
    EXPECT_TRUE(PlatformWindowExists(picture));

    // Yes closes the dialog, and then the rest goes without further question.
    HeadlessQueueAnswer(ANSWER_YES);
    PlatformSendMessage(FrameWindow, MSG_CLOSE, 0, 0);
    EXPECT_EQ(HeadlessMessageCount(), 2);
    EXPECT_EQ(FrameWindow, nullptr);
    EXPECT_EQ(HeadlessFrame(), nullptr);
    EXPECT_EQ(PlatformFirstChild(), nullptr);
    EXPECT_EQ(CurrentOperation, 0);
}

TEST_F(Frame, ClosingAsksAboutTheMaskOperationTheChildrenAndTheClipboard)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformSetWindowWord(picture, WORD_MODIFIED, 1);
    MakeRecordingChild(KIND_MASK, "Mask");
    HeadlessChooseMenu(COMMAND_COPY_CLIPBOARD);
    ASSERT_EQ(ClipboardHoldsImage, 1);

    // A modified picture whose question is cancelled vetoes the close.
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessQueueAnswer(ANSWER_CANCEL);
    PlatformSendMessage(FrameWindow, MSG_CLOSE, 0, 0);
    ASSERT_EQ(HeadlessMessageCount(), 2);
    EXPECT_STREQ(HeadlessMessageAt(0)->text, "Abort mask operation in progress?");
    EXPECT_STREQ(HeadlessMessageAt(1)->text, "Save Modified Image: Untitled 1?");
    EXPECT_NE(FrameWindow, nullptr);
    // The session's end asks the same of the children.
    HeadlessQueueAnswer(ANSWER_CANCEL);
    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_QUERY_END_SESSION, 0, 0), 1);

    // No to the save; No to keeping our picture on the clipboard empties it.
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessQueueAnswer(ANSWER_NO);
    PlatformSendMessage(FrameWindow, MSG_CLOSE, 0, 0);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Retain image on clipboard?");
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO);
    EXPECT_FALSE(PlatformClipboardHasImage());
    EXPECT_EQ(FrameWindow, nullptr);
}

TEST_F(Frame, ThePictureStaysOnTheClipboardWhenTheUserSaysSo)
{
    MakePicture(TYPE_COLOR24, 10, 10);
    HeadlessChooseMenu(COMMAND_COPY_CLIPBOARD);
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessChooseMenu(COMMAND_EXIT);
    EXPECT_EQ(HeadlessMessageCount(), 1);
    EXPECT_TRUE(PlatformClipboardHasImage());
    EXPECT_EQ(FrameWindow, nullptr);
}

TEST_F(Frame, TheKeyFilterTakesTabReturnAndEscForTheActiveDialog)
{
    // Without an active child every character goes through.
    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_CHAR, 27, 0), 0);

    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    Rect rect = {10, 10, 100, 30};
    WindowHandle edit = PlatformCreateControl(dialog, CONTROL_EDIT, 104, "", 0, &rect);
    PlatformActivateWindow(dialog);
    PlatformSetFocus(edit);
    Recorded().clear();

    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_CHAR, '\t', 0), 1);
    HeadlessSetKeys(KEYS_SHIFT);
    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_CHAR, '\t', 0), 1);
    HeadlessSetKeys(0);
    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_CHAR, '\r', 0), 0); // Return applies only
    EnterApplies = 1;                                                  // when asked to
    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_CHAR, '\r', 0), 1);
    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_CHAR, 27, 0), 1);
    EXPECT_EQ(PlatformSendMessage(FrameWindow, MSG_CHAR, 'x', 0), 0);
    EnterApplies = 0;

    std::vector<std::pair<uint32_t, uintptr_t>> received;
    for (const RecordedMessage &entry : Recorded())
        if (entry.window == dialog && entry.message >= 0x8000)
            received.push_back({entry.message, entry.wParam});
    std::vector<std::pair<uint32_t, uintptr_t>> expected = {
        {MSG_NEXT_FIELD, 104}, {MSG_PREVIOUS_FIELD, 104}, {MSG_APPLY, 0}, {MSG_CANCEL, 0}};
    EXPECT_EQ(received, expected);
}

TEST_F(Frame, TheSplashShowsForFiveSecondsWhenThereIsNothingToOpen)
{
    StartupOpen("   ");
    ASSERT_NE(SplashWindow, nullptr);
    EXPECT_EQ(PlatformGetWindowWord(SplashWindow, WORD_KIND), KIND_SPLASH);
    Rect rect;
    PlatformGetWindowRect(SplashWindow, &rect);
    // Centred in the 1600 by 1000 workspace.
    EXPECT_EQ(rect.left, (1600 - 325) / 2);
    EXPECT_EQ(rect.top, (1000 - 278) / 2);
    EXPECT_EQ(HeadlessTimer(SplashWindow, 1), 5000);
    HeadlessFireTimer(SplashWindow, 1);
    EXPECT_EQ(SplashWindow, nullptr);

    // A click takes it away, and so does the first use of the menu.
    StartupOpen("");
    HeadlessMouse(SplashWindow, MSG_LBUTTON_DOWN, 5, 5, 0);
    EXPECT_EQ(SplashWindow, nullptr);
    StartupOpen(nullptr);
    PlatformSendMessage(FrameWindow, MSG_INIT_MENU, 0, 0);
    EXPECT_EQ(SplashWindow, nullptr);
}

TEST_F(Frame, ASecondStartHandsItsFilesOver)
{
    std::string folder = TestOutputFolder("FrameHandOver");
    std::vector<std::string> paths = WritePictures(folder, {"handed.tif"});
    // The running frame receives the line as a copy it frees.
    char *text = (char *)MemoryAlloc(paths[0].size() + 1);
    strcpy(text, paths[0].c_str());
    PlatformSendMessage(FrameWindow, MSG_OPEN_FROM_CLIPBOARD, 0, (intptr_t)text);
    EXPECT_NE(FindImageWindow(paths[0].c_str()), nullptr);

    // Without a copy the clipboard's text is the line.
    DestroyAllChildren();
    PlatformClipboardSetText(paths[0].c_str());
    PlatformSendMessage(FrameWindow, MSG_OPEN_FROM_CLIPBOARD, 0, 0);
    EXPECT_NE(FindImageWindow(paths[0].c_str()), nullptr);
}

TEST_F(Frame, FilesHandedOverOrDroppedDuringADialogWaitForItsEnd)
{
    std::string folder = TestOutputFolder("FrameQueue");
    std::vector<std::string> paths = WritePictures(folder, {"handed.tif", "dropped.tif"});
    // A dialog holds the queue while its loop runs the frame's messages.
    OpenQueueHold();
    char *text = (char *)MemoryAlloc(paths[0].size() + 1);
    strcpy(text, paths[0].c_str());
    PlatformSendMessage(FrameWindow, MSG_OPEN_FROM_CLIPBOARD, 0, (intptr_t)text);
    const char *names[] = {paths[1].c_str()};
    DroppedFiles files = {1, names};
    PlatformSendMessage(FrameWindow, MSG_DROP_FILES, (uintptr_t)&files, 0);
    EXPECT_EQ(ImageWindowCount(), 0);

    // The dialog ends: both open, in the order they came.
    OpenQueueRelease();
    EXPECT_EQ(ImageWindowCount(), 2);
    EXPECT_NE(FindImageWindow(paths[0].c_str()), nullptr);
    EXPECT_EQ(ActiveWindow, FindImageWindow(paths[1].c_str()));
    EXPECT_EQ(std::string(Saved.recentFiles[0]), paths[1]);
    EXPECT_EQ(std::string(Saved.recentFiles[1]), paths[0]);
}

// What the modal handler below hands over, and how many pictures were open meanwhile.
static std::string HandedDuringModal;
static int WindowsDuringModal;

static void HandOverAndClose(WindowHandle dialog)
{
    char *text = (char *)MemoryAlloc(HandedDuringModal.size() + 1);
    strcpy(text, HandedDuringModal.c_str());
    PlatformSendMessage(FrameWindow, MSG_OPEN_FROM_CLIPBOARD, 0, (intptr_t)text);
    WindowsDuringModal = ImageWindowCount();
    HeadlessClick(dialog, 1);
}

TEST_F(Frame, FilesHandedOverDuringACommandOpenWhenItEnds)
{
    std::string folder = TestOutputFolder("FrameQueueCommand");
    HandedDuringModal = WritePictures(folder, {"handed.tif"})[0];
    MakePicture(TYPE_GRAY8, 20, 10);
    // Window Info runs a modal loop in which the frame still gets its messages.
    HeadlessSetModalHandler(HandOverAndClose);
    HeadlessChooseMenu(COMMAND_WINDOW_INFO);
    HeadlessSetModalHandler(nullptr);
    EXPECT_EQ(WindowsDuringModal, 1);
    EXPECT_EQ(ImageWindowCount(), 2);
    EXPECT_NE(FindImageWindow(HandedDuringModal.c_str()), nullptr);
}

TEST(ShellLife, ASecondInstanceOnlyHandsOverAndEnds)
{
    TestStart();
    HeadlessSetHandOver(1);
    EXPECT_EQ(ShellMain("a.tif b.tif"), 0);
    EXPECT_STREQ(HeadlessHandedOver(), "a.tif b.tif");
    EXPECT_EQ(HeadlessFrame(), nullptr);
}

TEST(ShellLife, AFirstInstanceStartsFromTheStoreAndWritesItsStateAtTheEnd)
{
    TestStart();
    std::string folder = TestOutputFolder("ShellLife");
    std::string store = folder + "/store.txt";
    // The store holds a preference and a recent file from an earlier run.
    std::string recent = folder + "/earlier.tif";
    TestWriteFile(store, {});
    HeadlessSetSettingsFile(store.c_str());
    PlatformSettingsWrite("Preferences", "undo", "single");
    PlatformSettingsWrite("State", "version", "1.0");
    PlatformSettingsWrite("State", "openfile0", ("\"" + recent + "\"").c_str());

    EXPECT_EQ(ShellMain(""), 0);
    EXPECT_EQ(Prefs.undo, UNDO_SINGLE);
    ASSERT_EQ(Saved.recentCount, 1);
    EXPECT_STREQ(Saved.recentFiles[0], recent.c_str());
    // The loop ended at once (nothing was posted); the state went back to the store.
    std::vector<uint8_t> bytes = TestReadFile(store);
    std::string text(bytes.begin(), bytes.end());
    EXPECT_NE(text.find("State\tversion\t1.0"), std::string::npos);
    EXPECT_NE(text.find("earlier.tif"), std::string::npos);
    HeadlessSetSettingsFile("");
}

TEST_F(Frame, AMinimisedFrameBringsItsMinimisedChildrenBack)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 10, 10);
    PlatformShowWindow(picture, SHOW_MINIMIZED);
    PlatformSendMessage(FrameWindow, MSG_SIZE, SIZE_MINIMIZED, 0);
    EXPECT_EQ(PlatformWindowState(picture), SHOW_NORMAL);
}
