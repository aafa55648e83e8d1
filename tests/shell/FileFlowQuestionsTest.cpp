// The questions on the way to a save: another window showing the file, an existing file,
// and a 16-bit picture in a format without 16 bits; and saving a picture's own profile.
#include "tests/shell/FileFlowTestSupport.h"

#include "files/FileType.h"

class FileQuestions : public ShellFilesTest {};

static const char OPEN_QUESTION[] =
    "A file of this name is currently open.\nClose its window and replace the existing file?";

TEST_F(FileQuestions, AWindowInUseWithTheNameStopsTheSave)
{
    std::string path = Path("a.tif");
    WindowHandle shown = MakeWindow(TYPE_GRAY8, 4, 4, 1, path, FILE_OPEN_TIFF);
    WindowHandle saving = MakeWindow(TYPE_GRAY8, 4, 4, 2);
    WindowHandle dialog = HeadlessBareWindow(65, -1, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, shown, "Gamma Adjust", 1), ERROR_NONE);
    // Names compare without regard to letter case.
    EXPECT_EQ(ConfirmOverwrite(Path("A.TIF").c_str(), saving), 1);
    const HeadlessMessage *message = HeadlessLastMessage();
    ASSERT_NE(message, nullptr);
    EXPECT_STREQ(message->title, "Error");
    EXPECT_STREQ(message->text, "A file of this name is currently open and in use");
    EXPECT_TRUE(PlatformWindowExists(shown));
    ClearInUse(dialog, shown);
}

TEST_F(FileQuestions, AWindowWithTheNameClosesOnlyWhenTheUserAgrees)
{
    std::string path = Path("a.tif");
    TestWriteFile(path, {1, 2, 3}); // the file exists too: still one question only
    WindowHandle shown = MakeWindow(TYPE_GRAY8, 4, 4, 1, path, FILE_OPEN_TIFF);
    WindowHandle saving = MakeWindow(TYPE_GRAY8, 4, 4, 2);

    HeadlessQueueAnswer(ANSWER_NO);
    EXPECT_EQ(ConfirmOverwrite(path.c_str(), saving), 1);
    EXPECT_TRUE(PlatformWindowExists(shown));
    EXPECT_EQ(MessagesWith("Warning", OPEN_QUESTION), 1);
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO);

    int messages = HeadlessMessageCount();
    HeadlessQueueAnswer(ANSWER_YES);
    EXPECT_EQ(ConfirmOverwrite(path.c_str(), saving), 0);
    EXPECT_FALSE(PlatformWindowExists(shown));
    EXPECT_EQ(HeadlessMessageCount(), messages + 1);
    EXPECT_EQ(FindImageWindow(path.c_str()), nullptr);
}

TEST_F(FileQuestions, AnExistingFileIsReplacedOnlyOnYes)
{
    std::string path = Path("a.tif");
    // The window being saved may carry the name itself: it is not another window.
    WindowHandle saving = MakeWindow(TYPE_GRAY8, 4, 4, 2, path, FILE_OPEN_TIFF);
    EXPECT_EQ(ConfirmOverwrite(path.c_str(), saving), 0); // no file yet: nothing asked
    EXPECT_EQ(HeadlessMessageCount(), 0);

    TestWriteFile(path, {1, 2, 3});
    const std::string question = "Replace existing file: " + path + "?";
    HeadlessQueueAnswer(ANSWER_NO);
    EXPECT_EQ(ConfirmOverwrite(path.c_str(), saving), 1);
    HeadlessQueueAnswer(ANSWER_YES);
    EXPECT_EQ(ConfirmOverwrite(path.c_str(), saving), 0);
    EXPECT_EQ(MessagesWith("Warning", question), 2);
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO);
    EXPECT_TRUE(PlatformWindowExists(saving));
}

TEST_F(FileQuestions, SixteenBitLossAsksOnlyForSixteenBitPictures)
{
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24}) {
        SCOPED_TRACE(type);
        WindowHandle window = MakeWindow(type, 4, 4, 1);
        EXPECT_EQ(Warn16BitLoss(window, window), 0);
        EXPECT_EQ(HeadlessMessageCount(), 0);
    }
    WindowHandle window = MakeWindow(TYPE_COLOR48, 3, 2, 5);
    ImageWindow *record = WindowRecord(window);
    HeadlessQueueAnswer(ANSWER_CANCEL);
    EXPECT_EQ(Warn16BitLoss(window, window), 1);
    EXPECT_EQ(record->picture.image.type, TYPE_COLOR48);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Warning");

    // OK: blue, green and red of every pixel through Depth16To8, in place.
    const uint8_t *first = record->picture.image.rows[1];
    int expected = Depth16To8[first[4] | (first[5] << 8)]; // red of the top left pixel
    HeadlessQueueAnswer(ANSWER_OK);
    EXPECT_EQ(Warn16BitLoss(window, window), 0);
    EXPECT_EQ(record->picture.image.type, TYPE_COLOR24);
    EXPECT_EQ(record->picture.image.width, 3);
    EXPECT_EQ(record->picture.image.rows[1][2], expected);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1);
}

TEST_F(FileQuestions, APictureWithoutProfileHasNoneToSave)
{
    WindowHandle window = MakeWindow(TYPE_COLOR24, 4, 4, 1);
    EXPECT_EQ(SaveEmbeddedProfile(window), ERROR_NONE);
    const HeadlessMessage *message = HeadlessLastMessage();
    ASSERT_NE(message, nullptr);
    EXPECT_STREQ(message->title, "Warning");
    EXPECT_STREQ(message->text, "Image has no associated color profile to save");
    EXPECT_EQ(HeadlessLastFileDialog()->count, 0);
}

TEST_F(FileQuestions, AProfileIsSavedOnlyAsIcm)
{
    std::vector<uint8_t> profile = TestDisplayProfile("Camera RGB", 461);
    WindowHandle window = MakeWindow(TYPE_COLOR24, 4, 4, 1);
    RecordProfileSet(WindowRecord(window), profile);

    EXPECT_EQ(SaveEmbeddedProfile(window), ERROR_ABORTED);
    const HeadlessFileDialogRecord *dialog = HeadlessLastFileDialog();
    // The flow asks about an existing file itself: the dialog must not ask too.
    EXPECT_EQ(dialog->mode, FILE_DIALOG_SAVE_NO_PROMPT);
    EXPECT_STREQ(dialog->name, "Camera RGB.icm");
    EXPECT_EQ(std::string(dialog->folder), Path("user"));

    // Another extension, or none (nothing is added), sends the user back to the dialog.
    const std::string refusal = "ICC profiles must have an extension of .icm";
    std::string target = Path("camera.ICM");
    TestWriteFile(target, {'o', 'l', 'd'});
    QueueFiles({Path("camera.icc")});
    QueueFiles({Path("camera")});
    QueueFiles({target});
    QueueFiles({target});
    // Every message takes the next answer: the two refusals, then the two questions, the
    // first of which keeps the old file.
    HeadlessQueueAnswer(ANSWER_OK);
    HeadlessQueueAnswer(ANSWER_OK);
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessQueueAnswer(ANSWER_YES);
    EXPECT_EQ(SaveEmbeddedProfile(window), ERROR_NONE);
    EXPECT_EQ(MessagesWith("Error", refusal), 2);
    EXPECT_EQ(MessagesWith("Warning", "Replace existing file: " + target + "?"), 2);
    EXPECT_EQ(TestReadFile(target), profile);
    EXPECT_TRUE(TestReadFile(Path("camera.icc")).empty());
    EXPECT_TRUE(TestReadFile(Path("camera")).empty());
}
