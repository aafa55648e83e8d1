// Save As, Save and Revert: the type and name offered, the extension rules that send the
// user back to the dialog, the overwrite and 16-bit questions on the way, what a saved
// window records, and a file read again over the changes.
#include "tests/shell/FileFlowTestSupport.h"

#include "files/FileType.h"
#include "files/TiffReader.h"

#include "tests/support/TestImage.h"
#include <sys/stat.h>

class FileSaving : public ShellFilesTest {
  protected:
    // The picture of a TIFF file.
    static Image ReadBack(const std::string &path)
    {
        Image image;
        ImageClear(&image);
        EXPECT_EQ(ReadTiffFile(path.c_str(), &image, 0, nullptr), ERROR_NONE);
        return image;
    }

    static int DialogCount(void)
    {
        return HeadlessLastFileDialog()->count;
    }

    static std::string Untitled(WindowHandle window)
    {
        return "Untitled " + std::to_string(WindowRecord(window)->slot + 1);
    }
};

TEST_F(FileSaving, SaveAsOffersTheTypesFromTiffToRleWithTheWindowsOwnFirst)
{
    std::string a = WriteTiff("a.tif", TYPE_GRAY8, 5, 4, 1);
    WindowHandle window = nullptr;
    ASSERT_EQ(OpenImageFile(a.c_str(), -1, &window), ERROR_NONE);
    strcpy(Prefs.startupDirectory, Path("start").c_str());
    RememberedFolderStart();

    EXPECT_EQ(SaveImageAs(window, 1), ERROR_ABORTED); // cancelled
    const HeadlessFileDialogRecord *dialog = HeadlessLastFileDialog();
    EXPECT_STREQ(dialog->title, "File Save");
    // The flow asks about an existing file itself: the dialog must not ask too.
    EXPECT_EQ(dialog->mode, FILE_DIALOG_SAVE_NO_PROMPT);
    EXPECT_EQ(dialog->filter, 0);
    EXPECT_STREQ(dialog->name, "a.tif");
    EXPECT_EQ(std::string(dialog->folder), folder); // the file's own folder
    std::vector<std::string> filters = LastFilters();
    ASSERT_EQ(filters.size(), 22u);
    EXPECT_EQ(filters.front(), "TIFF");
    EXPECT_EQ(filters.back(), "*.rle");

    // Without startAtFile the dialog starts in the remembered folder.
    EXPECT_EQ(SaveImageAs(window, 0), ERROR_ABORTED);
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("start"));
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
}

TEST_F(FileSaving, TheTypeOfferedFollowsTheFileThePreferenceAndTheLastSave)
{
    Prefs.defaultFileSaveType = FILE_SAVE_PNG;
    struct Case {
        const char *fileName;
        int fileType;
        int honor;
        int filter;
        const char *name; // null: the window's title with the extension
        const char *extension;
    };
    const Case cases[] = {
        {"", 0, 1, FILE_SAVE_PNG - 1, nullptr, ".png"},
        {"", FILE_OPEN_JPEG, 1, FILE_SAVE_JPEG - 1, nullptr, ".jpg"},
        {"", FILE_OPEN_JPEG, 0, FILE_SAVE_PNG - 1, nullptr, ".png"},
        {"/pictures/photo.xyz", FILE_OPEN_ALL, 1, FILE_SAVE_PNG - 1, "photo.png", nullptr},
        {"/pictures/photo.fits", FILE_OPEN_FITS, 0, FILE_SAVE_FITS - 1, "photo.fit", nullptr},
        {"/pictures/disc.pcd", FILE_OPEN_PHOTOCD, 1, FILE_SAVE_PNG - 1, "disc.png", nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.fileName) + " type " + std::to_string(c.fileType));
        Prefs.honorFileSaveType = c.honor;
        WindowHandle window = MakeWindow(TYPE_GRAY8, 4, 4, 1, c.fileName, c.fileType);
        EXPECT_EQ(SaveImageAs(window, 1), ERROR_ABORTED);
        EXPECT_EQ(HeadlessLastFileDialog()->filter, c.filter);
        std::string name = c.name != nullptr ? c.name : Untitled(window) + c.extension;
        EXPECT_EQ(std::string(HeadlessLastFileDialog()->name), name);
    }

    // A preference out of range offers TIFF.
    Prefs.defaultFileSaveType = 42;
    WindowHandle other = MakeWindow(TYPE_GRAY8, 4, 4, 1);
    EXPECT_EQ(SaveImageAs(other, 1), ERROR_ABORTED);
    EXPECT_EQ(HeadlessLastFileDialog()->filter, 0);

    // Once a Save As has succeeded, its type is offered where no file type speaks.
    Prefs.defaultFileSaveType = FILE_SAVE_PNG;
    QueueFiles({Path("first.tif")}, 0);
    ASSERT_EQ(SaveImageAs(other, 1), ERROR_NONE);
    WindowHandle third = MakeWindow(TYPE_GRAY8, 4, 4, 1);
    EXPECT_EQ(SaveImageAs(third, 1), ERROR_ABORTED);
    EXPECT_EQ(HeadlessLastFileDialog()->filter, 0);
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->name), Untitled(third) + ".tif");
}

TEST_F(FileSaving, AnExtensionInCapitalsIsAcceptedAndTheWindowTakesTheNewFile)
{
    WindowHandle window = MakeWindow(TYPE_GRAY16, 9, 7, 3);
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    std::string path = Path("name.TIFF");
    QueueFiles({path}, 0);
    int messages = HeadlessMessageCount();
    ASSERT_EQ(SaveImageAs(window, 1), ERROR_NONE);
    EXPECT_EQ(HeadlessMessageCount(), messages); // TIFF keeps 16 bits: nothing to ask

    ImageWindow *record = WindowRecord(window);
    Image saved = ReadBack(path);
    ExpectImagesNear(record->picture.image, saved, 0);
    ImageFree(&saved);
    EXPECT_EQ(record->picture.image.type, TYPE_GRAY16);
    EXPECT_EQ(std::string(record->picture.fileName), path);
    EXPECT_EQ(record->picture.fileType, FILE_OPEN_TIFF);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
    EXPECT_EQ(std::string(Saved.recentFiles[0]), path);
    EXPECT_EQ(std::string(Saved.lastDirectory), folder);
}

TEST_F(FileSaving, AnExtensionOfAnotherTypeIsRefusedAndTheDialogOpensAgain)
{
    struct Case {
        const char *name;
        int saveNumber;
        const char *message;
    };
    const Case cases[] = {
        {"name.tif.jpg", FILE_SAVE_TIFF, "TIFF files must have an extension of .tif or .tiff"},
        {"name.fits.gz", FILE_SAVE_FITS, "FITS files must have an extension of .fit or .fits"},
    };
    WindowHandle window = MakeWindow(TYPE_GRAY8, 4, 4, 1);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        int dialogs = DialogCount();
        QueueFiles({Path(c.name)}, c.saveNumber - 1);
        EXPECT_EQ(SaveImageAs(window, 1), ERROR_ABORTED); // the second dialog is cancelled
        EXPECT_EQ(DialogCount(), dialogs + 2);
        const HeadlessMessage *message = HeadlessLastMessage();
        ASSERT_NE(message, nullptr);
        EXPECT_STREQ(message->title, "Error");
        EXPECT_STREQ(message->text, c.message);
        // It opens again where the user was, with the name as typed, in the type chosen.
        EXPECT_STREQ(HeadlessLastFileDialog()->name, c.name);
        EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), folder);
        EXPECT_EQ(HeadlessLastFileDialog()->filter, c.saveNumber - 1);
        EXPECT_TRUE(TestReadFile(Path(c.name)).empty());
    }
    EXPECT_STREQ(WindowRecord(window)->picture.fileName, "");
}

TEST_F(FileSaving, ANameWithoutExtensionTakesTheTypesAndTheOverwriteCheckSeesIt)
{
    std::string existing = Path("name.png");
    TestWriteFile(existing, {'o', 'l', 'd'});
    WindowHandle window = MakeWindow(TYPE_GRAY8, 4, 4, 1);
    QueueFiles({Path("name")}, FILE_SAVE_PNG - 1);
    HeadlessQueueAnswer(ANSWER_NO);
    EXPECT_EQ(SaveImageAs(window, 1), ERROR_ABORTED);
    EXPECT_EQ(MessagesWith("Warning", "Replace existing file: " + existing + "?"), 1);
    EXPECT_STREQ(HeadlessLastFileDialog()->name, "name.png");
    EXPECT_EQ(DialogCount(), 2);
    std::vector<uint8_t> old = {'o', 'l', 'd'};
    EXPECT_EQ(TestReadFile(existing), old);

    // As TIFF the same name gets ".tif", which does not exist yet: nothing is asked.
    QueueFiles({Path("name")}, FILE_SAVE_TIFF - 1);
    int messages = HeadlessMessageCount();
    ASSERT_EQ(SaveImageAs(window, 1), ERROR_NONE);
    EXPECT_EQ(HeadlessMessageCount(), messages);
    EXPECT_EQ(std::string(WindowRecord(window)->picture.fileName), Path("name.tif"));
}

TEST_F(FileSaving, SixteenBitsAsJpegAskFirstAndOkReducesEvenWhenTheWriteFails)
{
    for (int type : {TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        WindowHandle window = MakeWindow(type, 6, 5, 7);
        ImageWindow *record = WindowRecord(window);
        TestImage original;
        ASSERT_EQ(ImageDuplicate(&record->picture.image, &original), ERROR_NONE);

        // Cancel at the question: nothing changes, and the dialog opens again.
        const std::string question = "Only TIFF and FITS file formats support 16-bit image "
                                     "data.\nConvert image to 8-bit and continue?";
        int asked = MessagesWith("Warning", question);
        int dialogs = DialogCount();
        QueueFiles({Path("x.jpg")}, FILE_SAVE_JPEG - 1);
        HeadlessQueueAnswer(ANSWER_CANCEL);
        EXPECT_EQ(SaveImageAs(window, 1), ERROR_ABORTED);
        EXPECT_EQ(DialogCount(), dialogs + 2);
        EXPECT_EQ(MessagesWith("Warning", question), asked + 1);
        EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_OK_CANCEL);
        ExpectImagesNear(original, record->picture.image, 0);
        EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);

        // OK reduces in place; the write then fails in a folder that does not exist.
        QueueFiles({Path("missing/x.jpg")}, FILE_SAVE_JPEG - 1);
        HeadlessQueueAnswer(ANSWER_OK);
        EXPECT_NE(SaveImageAs(window, 1), ERROR_NONE);
        ASSERT_EQ(record->picture.image.type, type == TYPE_GRAY16 ? TYPE_GRAY8 : TYPE_COLOR24);
        int samples = type == TYPE_GRAY16 ? 6 : 18;
        for (int row = 0; row < 5; row++)
            for (int i = 0; i < samples; i++) {
                const uint8_t *wide = original.rows[row] + 2 * i;
                ASSERT_EQ(record->picture.image.rows[row][i], Depth16To8[wide[0] | (wide[1] << 8)])
                    << "row " << row << " sample " << i;
            }
        EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1);
        EXPECT_STREQ(record->picture.fileName, "");
    }
}

TEST_F(FileSaving, TiffAndFitsKeepSixteenBitsWithoutAsking)
{
    WindowHandle window = MakeWindow(TYPE_GRAY16, 6, 5, 7);
    int messages = HeadlessMessageCount();
    // FITS may or may not be written by this build; either way nothing is asked first.
    QueueFiles({Path("x.fit")}, FILE_SAVE_FITS - 1);
    SaveImageAs(window, 1);
    QueueFiles({Path("x.tif")}, FILE_SAVE_TIFF - 1);
    EXPECT_EQ(SaveImageAs(window, 1), ERROR_NONE);
    EXPECT_EQ(HeadlessMessageCount(), messages);
    EXPECT_EQ(WindowRecord(window)->picture.image.type, TYPE_GRAY16);
}

TEST_F(FileSaving, AfterSavingAsEpsTheNextSaveAsksForANameAndType)
{
    // EPS is written by a module of its own; a build without it cannot make the first save.
    {
        ImageWindow *probe = MakeRecord(TYPE_GRAY8, 2, 2, 1);
        ErrorCode written = FileSave(Path("probe.eps").c_str(), FILE_SAVE_EPS, &probe->picture, 97);
        SlotFree(probe->slot);
        if (written == ERROR_UNKNOWN_FILE_TYPE) GTEST_SKIP() << "no EPS writer in this build";
    }
    WindowHandle window = MakeWindow(TYPE_GRAY8, 5, 4, 2);
    QueueFiles({Path("pic.eps")}, FILE_SAVE_EPS - 1);
    ASSERT_EQ(SaveImageAs(window, 1), ERROR_NONE);
    ImageWindow *record = WindowRecord(window);
    EXPECT_EQ(record->picture.fileType, 0); // EPS has no open number
    EXPECT_EQ(std::string(record->picture.fileName), Path("pic.eps"));
    int dialogs = DialogCount();
    EXPECT_EQ(SaveImage(window), ERROR_ABORTED);
    EXPECT_EQ(DialogCount(), dialogs + 1);
    EXPECT_EQ(HeadlessLastFileDialog()->filter, FILE_SAVE_EPS - 1);
    EXPECT_STREQ(HeadlessLastFileDialog()->name, "pic.eps");
}

TEST_F(FileSaving, SaveOfATypeThatCannotBeWrittenBehavesAsSaveAs)
{
    // EPS (no open number), "All Files" and PhotoCD have no writer of their own.
    for (int fileType : {0, (int)FILE_OPEN_ALL, (int)FILE_OPEN_PHOTOCD}) {
        SCOPED_TRACE(fileType);
        WindowHandle window = MakeWindow(TYPE_GRAY8, 4, 4, 1, Path("sub/pic.xyz"), fileType);
        int dialogs = DialogCount();
        EXPECT_EQ(SaveImage(window), ERROR_ABORTED);
        EXPECT_EQ(DialogCount(), dialogs + 1);
        EXPECT_STREQ(HeadlessLastFileDialog()->title, "File Save");
        EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("sub"));
    }
    // Without a file at all, the same.
    WindowHandle untitled = MakeWindow(TYPE_GRAY8, 4, 4, 1, "", FILE_OPEN_TIFF);
    EXPECT_EQ(SaveImage(untitled), ERROR_ABORTED);
    EXPECT_STREQ(HeadlessLastFileDialog()->title, "File Save");
}

TEST_F(FileSaving, SaveWritesTheWindowsOwnFileWithoutAsking)
{
    std::string a = WriteTiff("a.tif", TYPE_COLOR48, 5, 4, 1);
    WindowHandle window = nullptr;
    ASSERT_EQ(OpenImageFile(a.c_str(), -1, &window), ERROR_NONE);
    ImageWindow *record = WindowRecord(window);
    TestFillPattern(&record->picture.image, 9);
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    int messages = HeadlessMessageCount();
    EXPECT_EQ(SaveImage(window), ERROR_NONE);
    EXPECT_EQ(DialogCount(), 0);
    EXPECT_EQ(HeadlessMessageCount(), messages);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
    Image saved = ReadBack(a);
    ExpectImagesNear(record->picture.image, saved, 0);
    ImageFree(&saved);

    // A write that fails keeps the modified flag, and its message names the file above the
    // text of its code.
    struct Case {
        const char *name;
        ErrorCode code;
        const char *message;
    } cases[] = {
        {"missing/a.tif", ERROR_CREATE_FILE, "Cannot create file"},
        {"a.tif", ERROR_READ_ONLY_FILE, "Can't create or delete read-only file"},
    };
    ASSERT_EQ(chmod(a.c_str(), 0444), 0);
    std::vector<uint8_t> old = TestReadFile(a);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        strcpy(record->picture.fileName, Path(c.name).c_str());
        PlatformSetWindowWord(window, WORD_MODIFIED, 1);
        ErrorCode result = SaveImage(window);
        EXPECT_EQ(result, c.code);
        EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1);
        ShowError(result);
        EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
        EXPECT_EQ(std::string(HeadlessLastMessage()->text), Path(c.name) + "\n" + c.message);
    }
    EXPECT_EQ(TestReadFile(a), old);
}

TEST_F(FileSaving, RevertReadsTheFileAgainOverEveryChange)
{
    std::string a = WriteTiff("a.tif", TYPE_GRAY8, 5, 4, 1);
    WindowHandle window = nullptr;
    ASSERT_EQ(OpenImageFile(a.c_str(), -1, &window), ERROR_NONE);
    ImageWindow *record = WindowRecord(window);
    TestFillPattern(&record->picture.image, 8);
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    EXPECT_EQ(RevertImage(window), ERROR_NONE);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
    Image file = ReadBack(a);
    ExpectImagesNear(file, record->picture.image, 0);
    ImageFree(&file);

    // The file changed on disk, even its size: the window takes it whole.
    WriteTiff("a.tif", TYPE_COLOR24, 8, 6, 2);
    EXPECT_EQ(RevertImage(window), ERROR_NONE);
    EXPECT_EQ(record->picture.image.type, TYPE_COLOR24);
    EXPECT_EQ(record->picture.image.width, 8);
    EXPECT_EQ(record->picture.image.height, 6);
    EXPECT_EQ(record->picture.fileType, FILE_OPEN_TIFF);

    // A file that no longer reads gives its code and leaves the picture as it was.
    TestImage before;
    ASSERT_EQ(ImageDuplicate(&record->picture.image, &before), ERROR_NONE);
    TestWriteFile(a, {'I', 'I', 42, 0, 0xff, 0xff, 0xff, 0x7f});
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    EXPECT_NE(RevertImage(window), ERROR_NONE);
    ExpectImagesNear(before, record->picture.image, 0);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1);
    ImageFree(&before);

    // A window without a file has nothing to go back to.
    WindowHandle untitled = MakeWindow(TYPE_GRAY8, 3, 3, 4);
    EXPECT_EQ(RevertImage(untitled), ERROR_NONE);
    EXPECT_EQ(WindowRecord(untitled)->picture.image.width, 3);
}
