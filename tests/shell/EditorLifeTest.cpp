// The editor's life from one start to the next, through the real start-up, file flows,
// commands and shutdown: two pictures made by ImageMagick open from the command line, one is
// zoomed from the menus, copied, inverted and put on the clipboard, the negative is saved as
// PNG, Close All asks about the unsaved copy, the program ends writing its state, and a
// second start finds the files in its File menu.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Preferences.h"
#include "files/FileType.h"
#include "platform/headless/Headless.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "shell/Shell.h"
#include "shell/Undo.h"
#include "tests/shell/ShellTestSupport.h"
#include "tests/support/TestSupport.h"
#include "transforms/Negative.h"
#include "ui/ImageWindows.h"

static std::string Quote(const std::string &path)
{
    return "'" + path + "'";
}

// The label of a menu item, or "(none)".
static std::string Label(int id)
{
    const char *label = nullptr;
    if (!HeadlessMenuState(id, nullptr, nullptr, &label)) return "(none)";
    return label;
}

static int EndsWith(const std::string &text, const std::string &end)
{
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Answers the next file dialog with a path and the filter of a save number (or -1).
static void QueueSave(const std::string &path, int filter)
{
    HeadlessQueueFileDialog((path + std::string(2, '\0')).c_str(), filter);
}

// The value of a gray pixel (x, y from the top) as ImageMagick reads the file.
static int ToolGray(const std::string &path, int x, int y)
{
    std::string output;
    EXPECT_EQ(TestRun("convert " + Quote(path) + " -format '%[fx:int(255*p{" + std::to_string(x) +
                          "," + std::to_string(y) + "}.intensity+0.5)]' info:",
                      &output),
              0);
    return atoi(output.c_str());
}

TEST(EditorLife, FromTheCommandLineToTheNextStart)
{
    TestStart();
    std::string folder = TestOutputFolder("EditorLife");
    std::string store = folder + "/store.txt";
    TestWriteFile(store, {});
    HeadlessSetSettingsFile(store.c_str());
    // A gray picture larger than the workspace of 1600 x 1000, with a pattern that changes
    // across and down, and a small color one.
    std::string big = folder + "/big.tif";
    std::string small = folder + "/small.tif";
    ASSERT_EQ(TestRun("convert -size 2000x1500 gradient:black-white \\( -size 1500x2000 "
                      "gradient:black-white -rotate 90 \\) -compose Difference -composite "
                      "-colorspace gray -type grayscale -depth 8 -compress none " +
                      Quote(big)),
              0);
    ASSERT_EQ(
        TestRun("convert -seed 4 -size 300x200 plasma: -depth 8 -compress none " + Quote(small)),
        0);

    // The start of ShellMain, with the files on the command line.
    ASSERT_EQ(Initialise(), ERROR_NONE);
    ASSERT_EQ(CreateFrame(), ERROR_NONE);
    StartupOpen(("\"" + big + "\" \"" + small + "\"").c_str());
    EXPECT_EQ(SplashWindow, nullptr);
    WindowHandle bigWindow = FindImageWindow(big.c_str());
    WindowHandle smallWindow = FindImageWindow(small.c_str());
    ASSERT_NE(bigWindow, nullptr);
    ASSERT_NE(smallWindow, nullptr);
    EXPECT_EQ(ActiveWindow, smallWindow);
    ImageWindow *bigRecord = WindowRecord(bigWindow);
    ASSERT_EQ(bigRecord->picture.image.type, TYPE_GRAY8);
    EXPECT_EQ(WindowRecord(smallWindow)->picture.image.type, TYPE_COLOR24);
    // 2000 x 1500 fits the workspace with the frame and border only halved.
    EXPECT_EQ(TitleOf(bigWindow), "big.tif (1:2)");
    EXPECT_EQ(TitleOf(smallWindow), "small.tif (1:1)");
    // The reader gives what ImageMagick wrote.
    const int points[3][2] = {{0, 0}, {1234, 567}, {1999, 1499}};
    for (const auto &point : points) {
        SCOPED_TRACE(std::to_string(point[0]) + ", " + std::to_string(point[1]));
        EXPECT_EQ(bigRecord->picture.image.rows[1499 - point[1]][point[0]],
                  ToolGray(big, point[0], point[1]));
    }

    // Zoom in from the menu: 1:1 in the same window, which now scrolls.
    PlatformActivateWindow(bigWindow);
    HeadlessChooseMenu(COMMAND_ZOOM_IN);
    EXPECT_EQ(bigRecord->zoom, 1);
    EXPECT_EQ(TitleOf(bigWindow), "big.tif (1:1)");
    ASSERT_GT(bigRecord->scrollRangeX, 0);
    HeadlessChooseMenu(COMMAND_ZOOM_OUT);
    EXPECT_EQ(TitleOf(bigWindow), "big.tif (1:2)");

    // Copy and Negative make new windows from the active picture, at its zoom.
    HeadlessChooseMenu(COMMAND_COPY);
    WindowHandle copyWindow = ActiveWindow;
    ASSERT_NE(copyWindow, bigWindow);
    EXPECT_EQ(TitleOf(copyWindow), "Untitled 3 - big.tif (1:2)");
    EXPECT_EQ(PlatformGetWindowWord(copyWindow, WORD_MODIFIED), 1);
    PlatformActivateWindow(bigWindow);
    HeadlessChooseMenu(COMMAND_NEGATIVE);
    WindowHandle negativeWindow = ActiveWindow;
    ImageWindow *negative = WindowRecord(negativeWindow);
    ASSERT_NE(negative, nullptr);
    EXPECT_EQ(TitleOf(negativeWindow), "Untitled 4 - big.tif (1:2)");
    for (const auto &point : points)
        EXPECT_EQ(negative->picture.image.rows[1499 - point[1]][point[0]],
                  255 - bigRecord->picture.image.rows[1499 - point[1]][point[0]]);
    // Copy and Negative leave their input as it was: nothing to undo.
    EXPECT_EQ(UndoAvailable(), 0);
    // The negative goes to the clipboard too, to be kept there at the end.
    HeadlessChooseMenu(COMMAND_COPY_CLIPBOARD);

    // Save As PNG: the dialog offers the title's name as TIFF, the type of the preferences;
    // the user picks PNG and types a name without extension.
    QueueSave(folder + "/negative", FILE_SAVE_PNG - 1);
    HeadlessChooseMenu(COMMAND_SAVE_AS);
    EXPECT_STREQ(HeadlessLastFileDialog()->name, "Untitled 4 - big.tif");
    EXPECT_EQ(HeadlessLastFileDialog()->filter, FILE_SAVE_TIFF - 1);
    std::string png = folder + "/negative.png";
    EXPECT_EQ(std::string(negative->picture.fileName), png);
    EXPECT_EQ(TitleOf(negativeWindow), "negative.png (1:2)");
    EXPECT_EQ(PlatformGetWindowWord(negativeWindow, WORD_MODIFIED), 0);
    std::string size;
    ASSERT_EQ(TestRun("identify -format '%w %h' " + Quote(png), &size), 0);
    EXPECT_EQ(size, "2000 1500");
    for (const auto &point : points)
        EXPECT_EQ(ToolGray(png, point[0], point[1]),
                  negative->picture.image.rows[1499 - point[1]][point[0]]);

    // Close All asks about the copy alone, which was never saved; Yes saves it as TIFF.
    int messages = HeadlessMessageCount();
    HeadlessQueueAnswer(ANSWER_YES);
    QueueSave(folder + "/copy.tif", FILE_SAVE_TIFF - 1);
    HeadlessChooseMenu(COMMAND_CLOSE_ALL);
    ASSERT_EQ(HeadlessMessageCount(), messages + 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Warning");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Save Modified Image: Untitled 3 - big.tif?");
    EXPECT_EQ(PlatformFirstChild(), nullptr);
    std::string info;
    ASSERT_EQ(TestRun("tiffinfo " + Quote(folder + "/copy.tif"), &info), 0);
    EXPECT_NE(info.find("Image Width: 2000 Image Length: 1500"), std::string::npos);

    // Exit: the picture on the clipboard may stay there, and the state goes to the store.
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessChooseMenu(COMMAND_EXIT);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Retain image on clipboard?");
    EXPECT_EQ(PlatformClipboardHasImage(), 1);
    EXPECT_EQ(FrameWindow, nullptr);
    std::vector<std::string> recent = {folder + "/copy.tif", png, small, big};
    std::vector<uint8_t> bytes = TestReadFile(store);
    std::string text(bytes.begin(), bytes.end());
    for (size_t i = 0; i < recent.size(); i++)
        EXPECT_NE(text.find("State\topenfile" + std::to_string(i) + "\t\"" + recent[i] + "\""),
                  std::string::npos)
            << i;

    // The next start reads the list back into the File menu; an item opens its file.
    HeadlessReset();
    HeadlessSetSettingsFile(store.c_str());
    SavedStateDefault(&Saved);
    ASSERT_EQ(Initialise(), ERROR_NONE);
    ASSERT_EQ(CreateFrame(), ERROR_NONE);
    ASSERT_EQ(Saved.recentCount, 4);
    const char *names[] = {"/copy.tif", "/negative.png", "/small.tif", "/big.tif"};
    for (int i = 0; i < 4; i++) {
        SCOPED_TRACE(i);
        std::string label = Label(COMMAND_RECENT_FIRST + i);
        EXPECT_EQ(label.substr(0, 4), "&" + std::to_string(i + 1) + ": ");
        EXPECT_TRUE(EndsWith(label, names[i])) << label;
    }
    EXPECT_EQ(Label(COMMAND_RECENT_FIRST + 4), "(none)");
    HeadlessChooseMenu(COMMAND_RECENT_FIRST + 1);
    WindowHandle reopened = FindImageWindow(png.c_str());
    ASSERT_NE(reopened, nullptr);
    EXPECT_EQ(TitleOf(reopened), "negative.png (1:2)");
    EXPECT_TRUE(EndsWith(Label(COMMAND_RECENT_FIRST), "/negative.png"));
    HeadlessChooseMenu(COMMAND_EXIT);
    EXPECT_EQ(FrameWindow, nullptr);
    HeadlessSetSettingsFile("");
}
