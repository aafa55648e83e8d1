// Tests of the color settings: defaults, every check of the start-up load with its message,
// the bundled profiles' copy, the intent table, and the lines of a .clrmgmt file.
#include "color/ColorSettings.h"

#include <cstring>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <map>

#include "core/Text.h"
#include "platform/headless/Headless.h"
#include "tests/color/ProfileTestSupport.h"

// Every test starts from the defaults with its own folders, and leaves nothing loaded.
class ColorSettingsFixture : public testing::Test {
  protected:
    std::string folder;

    void SetUp() override
    {
        TestStart();
        folder = TestOutputFolder(std::string("ColorSettings.") +
                                  testing::UnitTest::GetInstance()->current_test_info()->name());
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersSet((folder + "/user").c_str(), (folder + "/system").c_str(), "");
    }

    void TearDown() override
    {
        ShutdownColorSettings();
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersDefault();
    }

    std::string Empty(const std::string &name)
    {
        std::string path = folder + "/" + name;
        TestRun(": > '" + path + "'");
        return path;
    }

    std::string Put(const std::string &name, const std::vector<uint8_t> &bytes)
    {
        std::string path = folder + "/" + name;
        TestRun("mkdir -p \"$(dirname '" + path + "')\"");
        TestWriteFile(path, bytes);
        return path;
    }
};

TEST_F(ColorSettingsFixture, IntentTable)
{
    struct Case {
        int index;
        int intent;
        uint32_t flags;
    } cases[] = {
        {0, INTENT_PERCEPTUAL, 0},
        {1, INTENT_SATURATION, 0},
        {2, INTENT_RELATIVE_COLORIMETRIC, 0},
        {3, INTENT_ABSOLUTE_COLORIMETRIC, 0},
        {4, INTENT_RELATIVE_COLORIMETRIC, 0x2000},
        {5, INTENT_PERCEPTUAL, 0},
        {-1, INTENT_PERCEPTUAL, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.index);
        EXPECT_EQ(ColorIntentEngine(c.index), c.intent);
        EXPECT_EQ(ColorIntentFlags(c.index), c.flags);
    }
}

// One start-up load with a single profile set: what was said and what was kept.
struct LoadCase {
    int which;
    const char *name;    // what the file is
    const char *message; // the text shown, or null for none
};

// One case for each message of each profile, and one profile each that is kept. A header too
// short for a class is among the damaged files of the next test.
TEST_F(ColorSettingsFixture, EveryCheckOfEveryProfileWithItsMessage)
{
    std::vector<uint8_t> monitorRgb = TestDisplayProfile("Good Monitor", 563);
    std::vector<uint8_t> scannerRgb = TestProfileBytes("scnr", "RGB ", {TestDescTag("Scanner")});
    std::vector<uint8_t> printerRgb = TestProfileBytes("prtr", "RGB ", {TestDescTag("Printer")});
    std::vector<uint8_t> spaceGray = TestProfileBytes("spac", "GRAY", {TestDescTag("Gray")});
    std::vector<uint8_t> brokenTags = monitorRgb;
    PutBig32(brokenTags, 128, 5000); // the engine refuses a table of 5000 tags
    std::map<std::string, std::string> files = {
        {"empty", Empty("empty.icc")},
        {"monitor", Put("monitor.icc", monitorRgb)},
        {"scanner", Put("scanner.icc", scannerRgb)},
        {"printer rgb", Put("printer.icc", printerRgb)},
        {"gray space", Put("gray.icc", spaceGray)},
        {"broken tags", Put("broken.icc", brokenTags)},
        {"cmyk printer", SYSTEM_CMYK},
        {"lab space", SYSTEM_LAB},
        {"missing", folder + "/absent.icc"},
    };
    const LoadCase cases[] = {
        {COLOR_PROFILE_WORKING, "missing", "Cannot locate working color space profile"},
        {COLOR_PROFILE_WORKING, "empty", "Error reading working color space profile"},
        {COLOR_PROFILE_WORKING, "scanner", "Working color space profile is not a monitor profile"},
        {COLOR_PROFILE_WORKING, "lab space", nullptr},
        {COLOR_PROFILE_ASSUMED_FILE, "missing", "Cannot locate assumed color space profile"},
        {COLOR_PROFILE_ASSUMED_FILE, "empty", "Error reading assumed color space profile"},
        {COLOR_PROFILE_ASSUMED_FILE, "printer rgb",
         "Assumed color space profile is not a monitor profile"},
        {COLOR_PROFILE_ASSUMED_FILE, "lab space",
         "Assumed color space profile is not an RGB profile"},
        {COLOR_PROFILE_ASSUMED_FILE, "scanner", nullptr},
        {COLOR_PROFILE_ASSUMED_SCANNER, "missing",
         "Cannot locate assumed scanner color space profile"},
        {COLOR_PROFILE_ASSUMED_SCANNER, "empty", "Error reading assumed scanner profile"},
        {COLOR_PROFILE_ASSUMED_SCANNER, "cmyk printer",
         "Assumed scanner profile is not a scanner or monitor profile"},
        {COLOR_PROFILE_ASSUMED_SCANNER, "gray space",
         "Assumed scanner profile is not an RGB profile"},
        {COLOR_PROFILE_ASSUMED_SCANNER, "monitor", nullptr},
        {COLOR_PROFILE_MONITOR, "missing", "Cannot locate monitor profile"},
        {COLOR_PROFILE_MONITOR, "empty", "Error reading monitor profile"},
        {COLOR_PROFILE_MONITOR, "scanner", "Invalid monitor profile"},
        {COLOR_PROFILE_MONITOR, "gray space", "Monitor profile is not an RGB profile"},
        {COLOR_PROFILE_MONITOR, "broken tags", "Invalid color profile"},
        {COLOR_PROFILE_MONITOR, "monitor", nullptr},
        {COLOR_PROFILE_PROOF, "missing", "Cannot locate proofing device profile"},
        {COLOR_PROFILE_PROOF, "empty", "Error reading proofing device profile"},
        {COLOR_PROFILE_PROOF, "scanner",
         "Proofing device profile is not a printer or monitor profile"},
        {COLOR_PROFILE_PROOF, "cmyk printer", nullptr},
    };
    for (const LoadCase &c : cases) {
        SCOPED_TRACE(testing::Message() << "profile " << c.which << ", " << c.name);
        ShutdownColorSettings();
        ColorSettingsDefault(&CurrentColorSettings);
        HeadlessReset();
        const std::string &path = files[c.name];
        StrCopyLimit(path.c_str(), ColorSettingsPath(&CurrentColorSettings, c.which),
                     PATH_LENGTH - 1);
        InitColorSettings(PlatformDisplayProfile);

        int length = -1;
        const uint8_t *bytes = ColorProfileBytes(c.which, &length);
        EXPECT_STREQ(ColorSettingsPath(&CurrentColorSettings, c.which), path.c_str());
        if (c.message != nullptr) {
            ASSERT_EQ(HeadlessMessageCount(), 1);
            EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
            EXPECT_STREQ(HeadlessLastMessage()->text, c.message);
            EXPECT_EQ(bytes, nullptr);
            EXPECT_EQ(length, 0);
        } else {
            EXPECT_EQ(HeadlessMessageCount(), 0);
            ASSERT_NE(bytes, nullptr);
            EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + length), TestReadFile(path));
        }
        // Only a usable proofing profile is open in the engine; the display always has one,
        // the chosen monitor profile only when it is usable.
        int chosen = c.which == COLOR_PROFILE_MONITOR && c.message == nullptr;
        int proofOpen = c.which == COLOR_PROFILE_PROOF && c.message == nullptr;
        EXPECT_NE(CurrentColorSettings.monitorHandle, nullptr);
        EXPECT_EQ(CurrentColorSettings.monitorSource, chosen ? MONITOR_CHOSEN : MONITOR_STANDARD);
        EXPECT_EQ(CurrentColorSettings.proofHandle != nullptr, proofOpen);
    }
}

TEST_F(ColorSettingsFixture, HostileProfilesAreReportedAndDropped)
{
    struct Case {
        const char *file;
        int which;
        const char *message;
    } cases[] = {
        {"profile-short-header.icc", COLOR_PROFILE_MONITOR, "Invalid monitor profile"},
        {"profile-tag-table-past-end.icc", COLOR_PROFILE_MONITOR, "Invalid color profile"},
        {"profile-tag-offset-past-end.icc", COLOR_PROFILE_WORKING, "Invalid color profile"},
        {"profile-desc-huge-length.icc", COLOR_PROFILE_WORKING, "Invalid color profile"},
        {"profile-truncated-tag.icc", COLOR_PROFILE_PROOF, "Invalid color profile"},
        {"profile-mluc-past-end.icc", COLOR_PROFILE_ASSUMED_FILE, "Invalid color profile"},
        {"profile-printer-class.icc", COLOR_PROFILE_WORKING,
         "Working color space profile is not a monitor profile"},
        {"profile-gray-space.icc", COLOR_PROFILE_ASSUMED_SCANNER,
         "Assumed scanner profile is not an RGB profile"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        ShutdownColorSettings();
        ColorSettingsDefault(&CurrentColorSettings);
        HeadlessReset();
        std::string path = TestDataPath(std::string("hostile/") + c.file);
        StrCopyLimit(path.c_str(), ColorSettingsPath(&CurrentColorSettings, c.which),
                     PATH_LENGTH - 1);
        InitColorSettings(PlatformDisplayProfile);
        ASSERT_EQ(HeadlessMessageCount(), 1);
        EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
        EXPECT_STREQ(HeadlessLastMessage()->text, c.message);
        int length;
        EXPECT_EQ(ColorProfileBytes(c.which, &length), nullptr);
        EXPECT_STREQ(ColorSettingsPath(&CurrentColorSettings, c.which), path.c_str());
        EXPECT_EQ(CurrentColorSettings.monitorSource, MONITOR_STANDARD);
    }
}

TEST_F(ColorSettingsFixture, AllFiveTogetherAndAgainOnARerun)
{
    ColorSettings *settings = &CurrentColorSettings;
    std::string monitor = Put("monitor.icc", TestDisplayProfile("Monitor", 563));
    StrCopyLimit(SYSTEM_ADOBE.c_str(), settings->workingPath, PATH_LENGTH - 1);
    StrCopyLimit(SYSTEM_SRGB.c_str(), settings->assumedFilePath, PATH_LENGTH - 1);
    StrCopyLimit(SYSTEM_WIDE.c_str(), settings->assumedScannerPath, PATH_LENGTH - 1);
    StrCopyLimit(monitor.c_str(), settings->monitorPath, PATH_LENGTH - 1);
    StrCopyLimit(SYSTEM_CMYK.c_str(), settings->proofPath, PATH_LENGTH - 1);
    InitColorSettings(PlatformDisplayProfile);
    EXPECT_EQ(HeadlessMessageCount(), 0);
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++) {
        int length;
        EXPECT_NE(ColorProfileBytes(which, &length), nullptr) << which;
    }
    EXPECT_NE(settings->monitorHandle, nullptr);
    EXPECT_NE(settings->proofHandle, nullptr);

    // A rerun after the monitor went away drops it and keeps the rest.
    TestRun("rm '" + monitor + "'");
    InitColorSettings(PlatformDisplayProfile);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Cannot locate monitor profile");
    int length;
    EXPECT_EQ(ColorProfileBytes(COLOR_PROFILE_MONITOR, &length), nullptr);
    EXPECT_EQ(settings->monitorSource, MONITOR_STANDARD);
    EXPECT_NE(ColorProfileBytes(COLOR_PROFILE_WORKING, &length), nullptr);
    EXPECT_NE(settings->proofHandle, nullptr);
    EXPECT_STREQ(settings->monitorPath, monitor.c_str());
}

TEST_F(ColorSettingsFixture, NotAvailableTurnsEverythingOff)
{
    CurrentColorSettings.available = 0;
    StrCopyLimit((folder + "/absent.icc").c_str(), CurrentColorSettings.monitorPath,
                 PATH_LENGTH - 1);
    InitColorSettings(PlatformDisplayProfile);
    EXPECT_EQ(CurrentColorSettings.enabled, 0);
    EXPECT_EQ(HeadlessMessageCount(), 0);
    EXPECT_EQ(CurrentColorSettings.monitorHandle, nullptr);
    EXPECT_EQ(CurrentColorSettings.monitorSource, MONITOR_NONE);
}

TEST_F(ColorSettingsFixture, TheDisplayShowsThroughTheChoiceElseTheDesktopsProfileElseSrgb)
{
    std::vector<uint8_t> chosen = TestDisplayProfile("Chosen", 563);
    std::vector<uint8_t> desktop = TestDisplayProfile("Desktop", 460, 0xf6dc);
    const uint8_t *srgb;
    int srgbLength;
    ASSERT_EQ(SrgbProfile(&srgb, &srgbLength), ERROR_NONE);
    std::vector<uint8_t> standard(srgb, srgb + srgbLength);
    std::string chosenPath = Put("chosen.icc", chosen);
    std::vector<uint8_t> printer = TestReadFile(SYSTEM_CMYK);
    std::vector<uint8_t> gray = TestReadFile(SYSTEM_GRAY);
    std::vector<uint8_t> cut(desktop.begin(), desktop.begin() + 200);
    struct Case {
        const char *name;
        std::string path;                  // the user's choice
        const std::vector<uint8_t> *given; // what the desktop gives, or null
        int source;
        const std::vector<uint8_t> *used;
        int messages; // a bad choice is said; the desktop's never
    } cases[] = {
        {"nothing", "", nullptr, MONITOR_STANDARD, &standard, 0},
        {"the desktop's", "", &desktop, MONITOR_DISPLAY, &desktop, 0},
        {"a printer's from the desktop", "", &printer, MONITOR_STANDARD, &standard, 0},
        {"a gray one from the desktop", "", &gray, MONITOR_STANDARD, &standard, 0},
        {"a cut one from the desktop", "", &cut, MONITOR_STANDARD, &standard, 0},
        {"the choice over the desktop's", chosenPath, &desktop, MONITOR_CHOSEN, &chosen, 0},
        {"a missing choice", folder + "/gone.icc", &desktop, MONITOR_DISPLAY, &desktop, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ShutdownColorSettings();
        ColorSettingsDefault(&CurrentColorSettings);
        HeadlessReset();
        if (c.given != nullptr) HeadlessSetDisplayProfile(c.given->data(), (int)c.given->size());
        StrCopyLimit(c.path.c_str(), CurrentColorSettings.monitorPath, PATH_LENGTH - 1);
        InitColorSettings(PlatformDisplayProfile);
        EXPECT_EQ(HeadlessMessageCount(), c.messages);
        EXPECT_EQ(CurrentColorSettings.monitorSource, c.source);
        int length;
        const uint8_t *used = ColorMonitorInUse(&length);
        ASSERT_NE(used, nullptr);
        EXPECT_EQ(std::vector<uint8_t>(used, used + length), *c.used);
        EXPECT_NE(CurrentColorSettings.monitorHandle, nullptr);
        // The setting stays what the user chose: nothing of the desktop's is written there.
        EXPECT_EQ(std::string(CurrentColorSettings.monitorPath), c.path);
    }
}

TEST_F(ColorSettingsFixture, BundledProfilesAreCopiedWhereMissing)
{
    std::string bundled = folder + "/bundled";
    std::string user = folder + "/home/share/icc"; // made on the way
    std::string system = folder + "/system";
    std::vector<uint8_t> wide = TestDisplayProfile("Wide Gamut RGB", 563);
    std::vector<uint8_t> bruce = TestDisplayProfile("Bruce RGB", 563);
    std::vector<uint8_t> cie = TestDisplayProfile("CIE RGB", 563);
    Put("bundled/Wide Gamut RGB.icm", wide);
    Put("bundled/Bruce RGB.icm", bruce);
    Put("bundled/CIE RGB.icm", cie);
    Put("bundled/Other.icm", cie);    // not on the list
    Put("system/CIE RGB.icm", bruce); // already in the system folder
    ProfileFoldersSet(user.c_str(), system.c_str(), bundled.c_str());
    InitColorSettings(PlatformDisplayProfile);
    EXPECT_EQ(TestReadFile(user + "/Wide Gamut RGB.icm"), wide);
    EXPECT_EQ(TestReadFile(user + "/Bruce RGB.icm"), bruce);
    EXPECT_NE(TestRun("test -e '" + user + "/CIE RGB.icm'"), 0);
    EXPECT_NE(TestRun("test -e '" + user + "/Other.icm'"), 0);

    // A profile already in the user's folder is the user's: it is not overwritten.
    TestWriteFile(user + "/Bruce RGB.icm", cie);
    InitColorSettings(PlatformDisplayProfile);
    EXPECT_EQ(TestReadFile(user + "/Bruce RGB.icm"), cie);
    EXPECT_EQ(HeadlessMessageCount(), 0);
}

// The lines of a file are read back through a tokenizer, as the settings-file reader will.
static ErrorCode ApplyLine(ColorSettings *settings, const std::string &line)
{
    std::vector<std::string> words = TestTokenize(line);
    std::vector<char *> tokens;
    for (std::string &word : words)
        tokens.push_back(word.data());
    return ColorManagementLineApply(settings, (int)tokens.size(), tokens.data());
}

TEST_F(ColorSettingsFixture, FileLinesNameProfilesByDescriptionAndReadBack)
{
    std::string working = Put("user/work.icc", TestDisplayProfile("Work Space", 563));
    std::string monitor = Put("user/mon.icc", TestDisplayProfile("My \"Best\" Monitor", 563));
    std::string proof =
        Put("system/press.icc", TestProfileBytes("prtr", "CMYK", {TestDescTag("Press Proof")}));
    ColorSettings written;
    ColorSettingsDefault(&written);
    written.enabled = 0;
    StrCopyLimit(working.c_str(), written.workingPath, PATH_LENGTH - 1);
    StrCopyLimit(monitor.c_str(), written.monitorPath, PATH_LENGTH - 1);
    StrCopyLimit(proof.c_str(), written.proofPath, PATH_LENGTH - 1);
    written.monitorIntent = 3;
    written.proofIntent = 4;
    written.gamutAlarm = 1;
    written.gamutAlarmColor[0] = 255;
    written.gamutAlarmColor[1] = 0;
    written.gamutAlarmColor[2] = 7;
    written.onMismatch = MISMATCH_KEEP;

    const char *expected[COLOR_FILE_LINE_COUNT] = {
        "ColorManagement 1.0",
        "enabled 0",
        "colorengine 1",
        "wcsprofile \"Work Space\"",
        "acsprofile \"\"",
        "ascsprofile \"\"",
        "onmismatch 2",
        "monitorprofile \"My 'Best' Monitor\" 3",
        "proofprofile \"Press Proof\" 4",
        "gamutalarm 1",
        "gamutalarmcolor 255 0 7",
        "end",
    };
    ColorSettings read;
    ColorSettingsDefault(&read);
    for (int i = 0; i < COLOR_FILE_LINE_COUNT; i++) {
        SCOPED_TRACE(i);
        char line[512];
        ColorManagementLineFormat(&written, i, line, sizeof line);
        EXPECT_STREQ(line, expected[i]);
        if (i == 0 || i == COLOR_FILE_LINE_COUNT - 1) continue; // header and end
        ErrorCode result = ApplyLine(&read, line);
        // The monitor's description lost its double quotes on the way out, so it is not
        // found again; every other line reads back.
        EXPECT_EQ(result, i == 7 ? ERROR_ENUMERATE_PROFILES : ERROR_NONE);
    }
    EXPECT_EQ(read.enabled, 0);
    EXPECT_STREQ(read.workingPath, working.c_str());
    EXPECT_STREQ(read.assumedFilePath, "");
    EXPECT_STREQ(read.monitorPath, "");
    EXPECT_EQ(read.monitorIntent, 3);
    EXPECT_STREQ(read.proofPath, proof.c_str());
    EXPECT_EQ(read.proofIntent, 4);
    EXPECT_EQ(read.gamutAlarm, 1);
    EXPECT_EQ(read.gamutAlarmColor[0], 255);
    EXPECT_EQ(read.gamutAlarmColor[2], 7);
    EXPECT_EQ(read.onMismatch, MISMATCH_KEEP);
}

TEST_F(ColorSettingsFixture, FileLinesOutOfRangeOrUnknownAreRefused)
{
    const char *lines[] = {
        "colour 1",
        "enabled 2",
        "enabled",
        "enabled x",
        "colorengine",
        "onmismatch 3",
        "gamutalarm 2",
        "gamutalarmcolor 1 2",
        "gamutalarmcolor 1 2 256",
        "monitorprofile \"\" 5",
        "proofprofile \"\"",
        "wcsprofile",
        "wcsprofile \"a\" \"b\"",
    };
    for (const char *line : lines) {
        SCOPED_TRACE(line);
        ColorSettings settings;
        ColorSettingsDefault(&settings);
        EXPECT_EQ(ApplyLine(&settings, line), ERROR_ILLEGAL_COLOR_SETTINGS_FILE);
        EXPECT_EQ(settings.enabled, 1);
        EXPECT_EQ(settings.onMismatch, MISMATCH_ASK);
        EXPECT_EQ(settings.gamutAlarmColor[2], 128);
        EXPECT_EQ(settings.monitorIntent, 0);
    }
    ColorSettings settings;
    ColorSettingsDefault(&settings);
    EXPECT_EQ(ColorManagementLineApply(&settings, 0, nullptr), ERROR_ILLEGAL_COLOR_SETTINGS_FILE);
}
