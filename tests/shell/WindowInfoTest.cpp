// Window Info: the lines shown for a 48-bit picture with a profile, a derived picture with a
// long name, and a picture from a file; and the modal dialog that shows them.
#include <cstring>
#include <ctime>
#include <lcms2.h>
#include <string>
#include <utime.h>
#include <vector>

#include "core/Memory.h"
#include "shell/Commands.h"
#include "shell/WindowInfo.h"
#include "tests/shell/ShellTestSupport.h"

using WindowInfo = ShellTest;

// An sRGB profile from the color engine with our own description and maker, version 2 so
// that both are plain text tags.
static std::vector<uint8_t> ProfileWithNames(const char *description, const char *maker)
{
    cmsHPROFILE profile = cmsCreate_sRGBProfile();
    cmsSetProfileVersion(profile, 2.1);
    cmsMLU *descriptionText = cmsMLUalloc(nullptr, 1);
    cmsMLU *makerText = cmsMLUalloc(nullptr, 1);
    cmsMLUsetASCII(descriptionText, "en", "US", description);
    cmsMLUsetASCII(makerText, "en", "US", maker);
    cmsWriteTag(profile, cmsSigProfileDescriptionTag, descriptionText);
    cmsWriteTag(profile, cmsSigDeviceMfgDescTag, makerText);
    cmsMLUfree(descriptionText);
    cmsMLUfree(makerText);
    cmsUInt32Number length = 0;
    cmsSaveProfileToMem(profile, nullptr, &length);
    std::vector<uint8_t> bytes(length);
    cmsSaveProfileToMem(profile, bytes.data(), &length);
    cmsCloseProfile(profile);
    return bytes;
}

static std::vector<std::string> Lines(const ImageWindow *record)
{
    char texts[WINDOW_INFO_LINES][WINDOW_INFO_TEXT];
    int count = WindowInfoTexts(record, texts, WINDOW_INFO_LINES);
    return std::vector<std::string>(texts, texts + count);
}

TEST_F(WindowInfo, A48BitPictureWithAProfileShowsItsSizesAndProfile)
{
    WindowHandle window = MakePicture(TYPE_COLOR48, 300, 200, 1, 300.0);
    ImageWindow *record = WindowRecord(window);
    std::vector<uint8_t> profile = ProfileWithNames("Studio RGB", "Corvane");
    record->picture.profile = (uint8_t *)MemoryAlloc(profile.size());
    memcpy(record->picture.profile, profile.data(), profile.size());
    record->picture.profileSize = (int32_t)profile.size();
    record->picture.fileType = 2;

    // 300 pixels of 6 bytes are 1800 bytes a row; 200 rows.
    std::vector<std::string> expected = {
        "Color Image (48-bit)", "Studio RGB [Corvane]", "360,000 bytes",
        "300 x 200 pixels",     "1.00 x 0.67 inches",   "2.54 x 1.69 cm",
        "25.40 x 16.93 mm",     "300.00 dpi",           "TIFF",
    };
    EXPECT_EQ(Lines(record), expected);

    // A gray picture has no profile line, and rows of 1004 bytes; its format is unknown.
    WindowHandle gray = MakePicture(TYPE_GRAY8, 1001, 3, 1, 72.0);
    std::vector<std::string> grayLines = Lines(WindowRecord(gray));
    std::vector<std::string> grayExpected = {
        "Black and White Image", "3,012 bytes",      "1,001 x 3 pixels", "13.90 x 0.04 inches",
        "35.31 x 0.11 cm",       "353.13 x 1.06 mm", "72.00 dpi",        "Unknown",
    };
    EXPECT_EQ(grayLines, grayExpected);
}

TEST_F(WindowInfo, LongNamesAreShortenedAroundTheirMiddle)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 10, 10);
    ImageWindow *record = WindowRecord(window);
    std::string shortName = "/pictures/boat.tif";
    strcpy(record->picture.derivedFrom, shortName.c_str());
    EXPECT_EQ(Lines(record)[7], "Derived from: /pictures/boat.tif");

    std::string longName =
        "/home/photographer/scans/2024/summer/" + std::string(40, 'x') + "/harbour-at-dusk.tif";
    strcpy(record->picture.derivedFrom, longName.c_str());
    // The first 24 characters and the last 33 stand around the dots: 60 in all.
    EXPECT_EQ(Lines(record)[7],
              "Derived from: /home/photographer/scans...xxxxxxxxxxxxx/harbour-at-dusk.tif");
}

TEST_F(WindowInfo, APictureFromAFileShowsItsPathSizeAndDate)
{
    std::string folder = TestOutputFolder("WindowInfoFile");
    std::string path = folder + "/boat.tif";
    TestWriteFile(path, std::vector<uint8_t>(12345, 7));
    struct tm when = {};
    when.tm_year = 2021 - 1900;
    when.tm_mon = 2;
    when.tm_mday = 7;
    when.tm_hour = 9;
    when.tm_min = 5;
    when.tm_isdst = -1;
    struct utimbuf times = {mktime(&when), mktime(&when)};
    ASSERT_EQ(utime(path.c_str(), &times), 0);

    WindowHandle window = MakePicture(TYPE_GRAY8, 10, 10);
    ImageWindow *record = WindowRecord(window);
    strcpy(record->picture.fileName, path.c_str());
    record->picture.fileType = 2;
    std::vector<std::string> lines = Lines(record);
    ASSERT_EQ(lines.size(), 11u);
    EXPECT_EQ(lines[7], path.size() <= 60
                            ? path
                            : path.substr(0, 24) + "..." + path.substr(path.size() - 33));
    EXPECT_EQ(lines[8], "TIFF");
    EXPECT_EQ(lines[9], "12,345 bytes");
    EXPECT_EQ(lines[10], "7-Mar-2021 09:05");
}

// The texts of the dialog's static controls, read while it runs.
static std::vector<std::string> DialogTexts;
static std::string DialogTitle;

static void ReadAndClose(WindowHandle dialog)
{
    char title[128];
    PlatformGetWindowTitle(dialog, title, sizeof title);
    DialogTitle = title;
    for (int id = 100; PlatformControl(dialog, id) != nullptr; id++) {
        char text[WINDOW_INFO_TEXT];
        PlatformGetControlText(dialog, id, text, sizeof text);
        DialogTexts.push_back(text);
    }
    HeadlessClick(dialog, 1);
}

TEST_F(WindowInfo, TheMenuCommandShowsTheLinesInAModalDialog)
{
    WindowHandle window = MakePicture(TYPE_COLOR24, 40, 30, 1, 100.0);
    DialogTexts.clear();
    HeadlessSetModalHandler(ReadAndClose);
    int windows = HeadlessWindowCount();
    HeadlessChooseMenu(COMMAND_WINDOW_INFO);
    EXPECT_EQ(DialogTitle, "Window Info");
    EXPECT_EQ(DialogTexts, Lines(WindowRecord(window)));
    EXPECT_EQ(DialogTexts[0], "Color Image");
    EXPECT_EQ(HeadlessWindowCount(), windows); // the dialog is gone again
    EXPECT_EQ(ActiveWindow, window);
}

TEST(WindowInfoSizes, SizesBeyondTwoGigabytesAreStillGrouped)
{
    // Only the record's numbers are read, so a picture this large needs no memory here.
    ImageWindow record = {};
    record.picture.image.type = TYPE_COLOR48;
    record.picture.image.width = 20000;
    record.picture.image.height = 20000;
    record.picture.image.rowBytes = 120000;
    record.picture.image.resolution = 400.0;
    char texts[WINDOW_INFO_LINES][WINDOW_INFO_TEXT];
    ASSERT_GE(WindowInfoTexts(&record, texts, WINDOW_INFO_LINES), 3);
    EXPECT_STREQ(texts[1], "2,400,000,000 bytes");
    EXPECT_STREQ(texts[2], "20,000 x 20,000 pixels");
    // The count stops at the room it is given.
    EXPECT_EQ(WindowInfoTexts(&record, texts, 2), 2);
}
