// The File menu's commands as the frame's handler runs them: Open, Save, Save As, Revert,
// Save Profile, the recent files, Preferences and Color Management Settings; and the view
// commands reaching the image window, which tells the title and the users.
#include <cstring>
#include <string>
#include <vector>

#include "files/FileType.h"
#include "shell/Commands.h"
#include "shell/Dialogs.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"

using FileCommands = ShellTest;

// A gray picture of the pattern of seed written as a TIFF file; its path.
static std::string WriteGray(const std::string &path, int width, int height, int seed)
{
    Picture record = {};
    EXPECT_EQ(ImageAlloc(&record.image, TYPE_GRAY8, width, height, 200.0), ERROR_NONE);
    TestFillPattern(&record.image, seed);
    EXPECT_EQ(FileSave(path.c_str(), FILE_SAVE_TIFF, &record, 90), ERROR_NONE);
    ImageFree(&record.image);
    return path;
}

// Answers the next file dialog with one path.
static void QueueFile(const std::string &path, int filter = -1)
{
    std::string list = path + std::string(2, '\0');
    HeadlessQueueFileDialog(list.c_str(), filter);
}

TEST_F(FileCommands, OpenSaveAsAndRevertRunThroughTheirDialogs)
{
    std::string folder = TestOutputFolder("FileCommandsOpen");
    std::string path = WriteGray(folder + "/one.tif", 40, 30, 1);

    QueueFile(path);
    HeadlessChooseMenu(COMMAND_OPEN);
    EXPECT_STREQ(HeadlessLastFileDialog()->title, "File Open");
    WindowHandle window = FindImageWindow(path.c_str());
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(ActiveWindow, window);
    EXPECT_EQ(TitleOf(window), "one.tif (1:1)");

    // A Save As the user cancels is no failure: nothing is said.
    int messages = HeadlessMessageCount();
    HeadlessChooseMenu(COMMAND_SAVE_AS);
    EXPECT_STREQ(HeadlessLastFileDialog()->title, "File Save");
    EXPECT_EQ(HeadlessLastFileDialog()->mode, FILE_DIALOG_SAVE_NO_PROMPT);
    EXPECT_EQ(HeadlessMessageCount(), messages);

    // The picture changes, and Revert reads its file back; the window is as opened.
    ImageWindow *record = WindowRecord(window);
    Image original = {};
    ASSERT_EQ(ImageDuplicate(&record->picture.image, &original), ERROR_NONE);
    for (int row = 0; row < record->picture.image.height; row++)
        memset(record->picture.image.rows[row], 0, (size_t)record->picture.image.width);
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    HeadlessChooseMenu(COMMAND_REVERT);
    ExpectImagesNear(original, record->picture.image, 0);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
    ImageFree(&original);

    // Save As PNG takes the new name and type; Save then writes there without a dialog.
    std::string png = folder + "/one";
    QueueFile(png, FILE_SAVE_PNG - 1);
    HeadlessChooseMenu(COMMAND_SAVE_AS);
    EXPECT_EQ(std::string(record->picture.fileName), png + ".png");
    EXPECT_EQ(record->picture.fileType, FILE_OPEN_PNG);
    EXPECT_EQ(TitleOf(window), "one.png (1:1)");
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    int dialogs = HeadlessLastFileDialog()->count;
    HeadlessChooseMenu(COMMAND_SAVE);
    EXPECT_EQ(HeadlessLastFileDialog()->count, dialogs);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
    EXPECT_EQ(HeadlessMessageCount(), messages);

    Picture reread = {};
    ASSERT_EQ(FileLoad((png + ".png").c_str(), FILE_OPEN_PNG, &reread, 0), ERROR_NONE);
    ExpectImagesNear(record->picture.image, reread.image, 0);
    ImageFree(&reread.image);
    FreeFileComments(&reread.comments);
}

TEST_F(FileCommands, ARecentItemOpensItsFileAgain)
{
    std::string folder = TestOutputFolder("FileCommandsRecent");
    std::string first = WriteGray(folder + "/first.tif", 8, 6, 1);
    std::string second = WriteGray(folder + "/second.tif", 8, 6, 2);
    WindowHandle window = nullptr;
    ASSERT_EQ(OpenImageFile(first.c_str(), -1, &window), ERROR_NONE);
    ASSERT_EQ(OpenImageFile(second.c_str(), -1, &window), ERROR_NONE);
    DestroyAllChildren();
    const char *label = nullptr;
    ASSERT_TRUE(HeadlessMenuState(COMMAND_RECENT_FIRST + 1, nullptr, nullptr, &label));
    // The folder of the test output may be long enough to be shortened in the middle.
    std::string text = label;
    EXPECT_EQ(text.substr(0, 4), "&2: ");
    EXPECT_EQ(text.substr(text.size() - 10), "/first.tif");

    HeadlessChooseMenu(COMMAND_RECENT_FIRST + 1);
    window = FindImageWindow(first.c_str());
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(ActiveWindow, window);
    // Opening put it first again.
    EXPECT_EQ(std::string(Saved.recentFiles[0]), first);
}

TEST_F(FileCommands, SaveProfileSaysWhenThePictureHasNone)
{
    WindowHandle window = MakePicture(TYPE_COLOR24, 8, 6);
    ASSERT_NE(window, nullptr);
    HeadlessChooseMenu(COMMAND_SAVE_PROFILE);
    ASSERT_NE(HeadlessLastMessage(), nullptr);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Warning");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Image has no associated color profile to save");
}

TEST_F(FileCommands, PreferencesAndColorManagementOpenTheirDialogsOnce)
{
    HeadlessChooseMenu(COMMAND_PREFERENCES);
    WindowHandle preferences = FindChildOfKind(KIND_PREFERENCES);
    ASSERT_NE(preferences, nullptr);
    EXPECT_EQ(TitleOf(preferences), "Preferences");
    HeadlessChooseMenu(COMMAND_COLOR_MANAGEMENT);
    WindowHandle color = FindChildOfKind(KIND_COLOR_MANAGEMENT);
    ASSERT_NE(color, nullptr);
    EXPECT_EQ(TitleOf(color), "Color Management Settings");
    EXPECT_EQ(ActiveWindow, color);

    // A second choice brings the open dialog to the front and makes no other.
    int windows = HeadlessWindowCount();
    HeadlessChooseMenu(COMMAND_PREFERENCES);
    EXPECT_EQ(ActiveWindow, preferences);
    EXPECT_EQ(HeadlessWindowCount(), windows);
}

TEST_F(FileCommands, ZoomsFromEitherMenuRetitleTheWindowAndTellItsUsers)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 120, 80);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, window, "Gamma Adjust", 1), ERROR_NONE);
    PlatformActivateWindow(window);
    Recorded().clear();

    HeadlessChooseMenu(COMMAND_ZOOM_IN);
    EXPECT_EQ(WindowRecord(window)->zoom, 2);
    EXPECT_EQ(TitleOf(window), "Untitled 1 (2:1)");
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 1);

    // The right button's menu sends its choice through the frame to the same place.
    HeadlessQueuePopupChoice(COMMAND_ZOOM_OUT);
    HeadlessMouse(window, MSG_RBUTTON_DOWN, 10, 10, 0);
    EXPECT_EQ(WindowRecord(window)->zoom, 1);
    EXPECT_EQ(TitleOf(window), "Untitled 1 (1:1)");
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 2);
    HeadlessQueuePopupChoice(COMMAND_ZOOM_OUT);
    HeadlessMouse(window, MSG_RBUTTON_DOWN, 10, 10, 0);
    EXPECT_EQ(TitleOf(window), "Untitled 1 (1:2)");

    // The wheel with Control zooms too; a plain wheel that cannot scroll changes nothing.
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, KEYS_CONTROL | (120u << 16), MakeParam(20, 20));
    EXPECT_EQ(TitleOf(window), "Untitled 1 (1:1)");
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 4);
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, 120u << 16, MakeParam(20, 20));
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 4);
}
