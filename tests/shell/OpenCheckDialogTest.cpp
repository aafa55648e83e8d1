// The question about an opened picture's profile: when it is asked, what it shows, and
// what each answer does to the picture that opens.
#include "tests/shell/FileFlowTestSupport.h"

#include <algorithm>
#include <functional>

#include "color/ProfileTransform.h"
#include "files/FileType.h"
#include "shell/Dialogs.h"
#include "ui/DialogLayout.h"
#include "ui/DisplayColor.h"

// What the test does when the modal dialog comes up.
static std::function<void(WindowHandle)> Script;
static int Asked;

static void RunScript(WindowHandle window)
{
    Asked++;
    if (Script) Script(window);
}

class OpenCheck : public ShellFilesTest {
  protected:
    std::vector<uint8_t> workingBytes;
    std::vector<uint8_t> otherBytes;
    std::vector<uint8_t> assumedBytes;
    std::string tagged; // a color picture with the profile "Test Other"
    std::string plain;  // a color picture without a profile

    void SetUp() override
    {
        ShellFilesTest::SetUp();
        workingBytes = TestDisplayProfile("Test Working", 563);
        otherBytes = TestDisplayProfile("Test Other", 461, 0xf6dc);
        assumedBytes = TestDisplayProfile("Test Assumed", 512, 0xf313);
        WriteProfile("working.icc", workingBytes);
        WriteProfile("other.icc", otherBytes);
        WriteProfile("assumed.icc", assumedBytes);
        WriteProfile("printer.icc", TestProfileBytes("prtr", "CMYK", {TestDescTag("Printer")}));
        tagged = WriteTiff("tagged.tif", TYPE_COLOR24, 7, 5, 3, otherBytes);
        plain = WriteTiff("plain.tif", TYPE_COLOR48, 6, 4, 4);
        Settings(folder + "/system/working.icc", "", MISMATCH_ASK);
        Script = nullptr;
        Asked = 0;
        HeadlessSetModalHandler(RunScript);
    }

    void TearDown() override
    {
        Script = nullptr;
        ShellFilesTest::TearDown();
    }

    void Settings(const std::string &workingPath, const std::string &assumedPath, int onMismatch)
    {
        CurrentColorSettings.enabled = 1;
        strcpy(CurrentColorSettings.workingPath, workingPath.c_str());
        strcpy(CurrentColorSettings.assumedFilePath, assumedPath.c_str());
        CurrentColorSettings.onMismatch = onMismatch;
        DisplayColorSettingsLoad();
    }

    WindowHandle Open(const std::string &path)
    {
        WindowHandle window = nullptr;
        EXPECT_EQ(OpenImageFile(path.c_str(), -1, &window), ERROR_NONE);
        return window;
    }

    static std::vector<uint8_t> ProfileOf(WindowHandle window)
    {
        const ImageWindow *record = WindowRecord(window);
        if (record == nullptr || record->picture.profile == nullptr) return {};
        const Picture *picture = &record->picture;
        return std::vector<uint8_t>(picture->profile, picture->profile + picture->profileSize);
    }

    // The picture of a file as read, converted to the working space at an intent when
    // intent is not -1.
    Image Expected(const std::string &path, int intent)
    {
        Picture scratch;
        PictureReset(&scratch);
        EXPECT_EQ(FileLoad(path.c_str(), FILE_OPEN_TIFF, &scratch, 0), ERROR_NONE);
        if (intent >= 0) {
            int modified;
            EXPECT_EQ(ConvertToWorkingSpace(&scratch, workingBytes.data(), (int)workingBytes.size(),
                                            intent, &modified),
                      ERROR_NONE);
        }
        Image image = scratch.image;
        FreeFileComments(&scratch.comments);
        MemoryRelease(&scratch.profile);
        return image;
    }
};

TEST_F(OpenCheck, TheQuestionShowsBothProfilesAndThePathAndCancelKeepsThePicture)
{
    std::vector<std::string> seen;
    Script = [&](WindowHandle dialog) {
        char title[64];
        PlatformGetWindowTitle(dialog, title, sizeof title);
        seen.push_back(title);
        seen.push_back(ControlText(dialog, OPEN_CHECK_FILE_PROFILE));
        seen.push_back(ControlText(dialog, OPEN_CHECK_WORKING));
        seen.push_back(ControlText(dialog, OPEN_CHECK_PATH));
        std::vector<std::string> items = Items(dialog, OPEN_CHECK_ASSUMED);
        EXPECT_EQ(items[0], "None");
        std::sort(items.begin() + 1, items.end());
        std::vector<std::string> profiles = {"None", "Test Assumed", "Test Other", "Test Working"};
        EXPECT_EQ(items, profiles); // RGB profiles only: the printer's is not among them
        EXPECT_EQ(PlatformControlValue(dialog, OPEN_CHECK_ASSUMED), 0);
        EXPECT_EQ(PlatformControlValue(dialog, OPEN_CHECK_INTENT), 0);
        EXPECT_EQ(PlatformControlValue(dialog, OPEN_CHECK_CONVERT), 0);
        HeadlessClick(dialog, DIALOG_CANCEL);
    };
    WindowHandle window = Open(tagged);
    ASSERT_EQ(Asked, 1);
    // The path is longer than the 48 characters shown: its first 15 and last 30 remain.
    ASSERT_GT(tagged.size(), 48u);
    std::string shortened = tagged.substr(0, 15) + "..." + tagged.substr(tagged.size() - 30);
    std::vector<std::string> expected = {"Color Profile Mismatch", "Test Other", "Test Working",
                                         shortened};
    EXPECT_EQ(seen, expected);

    // Cancel: the picture opens as it was read, with its own profile, unmodified.
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(HeadlessWindowCount(), 1); // the question has gone
    Image read = Expected(tagged, -1);
    ExpectImagesNear(read, WindowRecord(window)->picture.image, 0);
    ImageFree(&read);
    EXPECT_EQ(ProfileOf(window), otherBytes);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
}

TEST_F(OpenCheck, OkWithConvertConvertsAtTheChosenIntent)
{
    for (int intent : {(int)COLOR_INTENT_FULL_GAMUT, (int)COLOR_INTENT_IDENTICAL_WHITE}) {
        SCOPED_TRACE(intent);
        Script = [&](WindowHandle dialog) {
            HeadlessChoose(dialog, OPEN_CHECK_INTENT, intent);
            HeadlessClick(dialog, OPEN_CHECK_CONVERT);
            HeadlessClick(dialog, DIALOG_OK);
        };
        WindowHandle window = Open(tagged);
        ASSERT_NE(window, nullptr);
        Image converted = Expected(tagged, intent);
        ExpectImagesNear(converted, WindowRecord(window)->picture.image, 0);
        ImageFree(&converted);
        EXPECT_EQ(ProfileOf(window), workingBytes);
        EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1);
        PlatformDestroyWindow(window); // the next open reads the file again
    }
    // The conversion did change the pixels: the two spaces differ in gamma and white.
    Image read = Expected(tagged, -1);
    Image converted = Expected(tagged, COLOR_INTENT_FULL_GAMUT);
    int differ = 0;
    for (int row = 0; row < read.height; row++)
        differ += memcmp(read.rows[row], converted.rows[row], (size_t)read.rowBytes) != 0;
    EXPECT_GT(differ, 0);
    ImageFree(&read);
    ImageFree(&converted);
}

TEST_F(OpenCheck, OkWithAnotherProfileGivesThePictureThatProfile)
{
    Script = [&](WindowHandle dialog) {
        HeadlessChoose(dialog, OPEN_CHECK_ASSUMED,
                       ItemIndex(dialog, OPEN_CHECK_ASSUMED, "Test Assumed"));
        HeadlessClick(dialog, DIALOG_OK);
    };
    WindowHandle window = Open(tagged);
    ASSERT_NE(window, nullptr);
    Image read = Expected(tagged, -1);
    ExpectImagesNear(read, WindowRecord(window)->picture.image, 0); // the pixels stay
    ImageFree(&read);
    EXPECT_EQ(ProfileOf(window), assumedBytes);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1); // no longer as in its file
}

TEST_F(OpenCheck, APictureWithoutProfileIsOfferedTheAssumedOne)
{
    // The assumed profile lives outside the color folders: it is offered all the same.
    TestRun("mkdir -p '" + Path("elsewhere") + "'");
    std::vector<uint8_t> camera = TestDisplayProfile("Camera Space", 500, 0xf4f2);
    TestWriteFile(Path("elsewhere/camera.icc"), camera);
    Settings(folder + "/system/working.icc", Path("elsewhere/camera.icc"), MISMATCH_ASK);
    std::string fileProfile;
    Script = [&](WindowHandle dialog) {
        fileProfile = ControlText(dialog, OPEN_CHECK_FILE_PROFILE);
        EXPECT_EQ(PlatformControlValue(dialog, OPEN_CHECK_ASSUMED), 1);
        EXPECT_EQ(Items(dialog, OPEN_CHECK_ASSUMED)[1], "Camera Space");
        HeadlessClick(dialog, DIALOG_OK);
    };
    WindowHandle window = Open(plain);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(Asked, 1);
    EXPECT_EQ(fileProfile, "None");
    EXPECT_EQ(ProfileOf(window), camera);
    EXPECT_EQ(WindowRecord(window)->picture.image.type, TYPE_COLOR48);
}

TEST_F(OpenCheck, NothingIsAskedWhenNothingDiffers)
{
    // A picture in the working space, a gray picture, and any picture without a working
    // space or with color management off open without a question.
    std::string inWorking = WriteTiff("working.tif", TYPE_COLOR24, 4, 4, 5, workingBytes);
    std::string gray = WriteTiff("gray.tif", TYPE_GRAY16, 4, 4, 6);
    EXPECT_NE(Open(inWorking), nullptr);
    EXPECT_NE(Open(gray), nullptr);
    EXPECT_EQ(Asked, 0);
    Settings("", "", MISMATCH_ASK);
    EXPECT_NE(Open(tagged), nullptr);
    EXPECT_NE(Open(plain), nullptr);
    EXPECT_EQ(Asked, 0);
    while (PlatformFirstChild() != nullptr)
        PlatformDestroyWindow(PlatformFirstChild());
    Settings(folder + "/system/working.icc", "", MISMATCH_ASK);
    CurrentColorSettings.enabled = 0;
    EXPECT_NE(Open(tagged), nullptr);
    EXPECT_EQ(Asked, 0);
}

TEST_F(OpenCheck, TheMismatchSettingAnswersWithoutAsking)
{
    Settings(folder + "/system/working.icc", "", MISMATCH_CONVERT);
    WindowHandle window = Open(tagged);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(Asked, 0);
    EXPECT_EQ(ProfileOf(window), workingBytes);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 1);
    PlatformDestroyWindow(window);

    Settings(folder + "/system/working.icc", "", MISMATCH_KEEP);
    window = Open(tagged);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(Asked, 0);
    EXPECT_EQ(ProfileOf(window), otherBytes);
    EXPECT_EQ(PlatformGetWindowWord(window, WORD_MODIFIED), 0);
}

TEST_F(OpenCheck, AnOpenWhileTheQuestionIsUpIsTurnedAway)
{
    ErrorCode nested = ERROR_NONE;
    Script = [&](WindowHandle dialog) {
        WindowHandle other = nullptr;
        nested = OpenImageFile(plain.c_str(), -1, &other);
        HeadlessClick(dialog, OPEN_CHECK_HELP);
        HeadlessClick(dialog, DIALOG_CANCEL);
    };
    EXPECT_NE(Open(tagged), nullptr);
    EXPECT_EQ(nested, ERROR_OPEN_IN_PROGRESS);
    EXPECT_EQ(FindImageWindow(plain.c_str()), nullptr);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Help");
}
