// The settings store of the headless platform, and the preferences and saved state read from
// it and written to it: defaults, clamping, words, the version of State, round trips.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/Preferences.h"
#include "platform/Platform.h"
#include "platform/headless/Headless.h"
#include "shell/Preferences.h"
#include "tests/support/TestSupport.h"
#include "ui/SettingsStore.h"

// Every test gets a store file of its own, which starts out missing.
class Store : public ::testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
        folder = TestOutputFolder(std::string("Store") +
                                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
        path = folder + "/store.txt";
        HeadlessSetSettingsFile(path.c_str());
        PreferencesDefault(&Prefs);
        SavedStateDefault(&Saved);
    }
    std::string Read(const char *key, const char *name, int *found = nullptr)
    {
        char value[SETTINGS_VALUE_MAX];
        int present = PlatformSettingsRead(key, name, value, SETTINGS_VALUE_MAX);
        if (found != nullptr) *found = present;
        return value;
    }
    std::string Contents()
    {
        std::vector<uint8_t> bytes = TestReadFile(path);
        return std::string(bytes.begin(), bytes.end());
    }
    std::string folder;
    std::string path;
};

TEST_F(Store, ValuesKeepAnyTextUnderTheirKeyAndName)
{
    const char *awkward = "a\\b\tc\nd\re \"quoted\" \\n";
    PlatformSettingsWrite("State", "odd", awkward);
    PlatformSettingsWrite("Preferences", "odd", "other");
    PlatformSettingsWrite("Color Settings", "with\ttab", "x");
    int found;
    EXPECT_EQ(Read("State", "odd", &found), awkward);
    EXPECT_EQ(found, 1);
    EXPECT_EQ(Read("Preferences", "odd"), "other");
    EXPECT_EQ(Read("Color Settings", "with\ttab"), "x");
    EXPECT_EQ(Read("State", "missing", &found), "");
    EXPECT_EQ(found, 0);
    // One line a value, the escapes readable in the file.
    EXPECT_EQ(Contents(), "State\todd\ta\\\\b\\tc\\nd\\re \"quoted\" \\\\n\n"
                          "Preferences\todd\tother\n"
                          "Color Settings\twith\\ttab\tx\n");
}

TEST_F(Store, WriteReplacesInPlaceAndKeepsTheRest)
{
    PlatformSettingsWrite("State", "a", "1");
    PlatformSettingsWrite("State", "b", "2");
    PlatformSettingsWrite("State", "a", "3");
    PlatformSettingsWrite("State", "", ""); // empty names and values are values too
    EXPECT_EQ(Contents(), "State\ta\t3\nState\tb\t2\nState\t\t\n");
    int found;
    EXPECT_EQ(Read("State", "", &found), "");
    EXPECT_EQ(found, 1);
}

TEST_F(Store, ReadIsCutToTheCapacity)
{
    PlatformSettingsWrite("State", "long", "abcdef");
    char value[4];
    EXPECT_EQ(PlatformSettingsRead("State", "long", value, 4), 1);
    EXPECT_STREQ(value, "abc");
}

TEST_F(Store, WithoutAFileNothingIsKept)
{
    HeadlessSetSettingsFile("");
    PlatformSettingsWrite("State", "a", "1");
    int found;
    EXPECT_EQ(Read("State", "a", &found), "");
    EXPECT_EQ(found, 0);
    // A reset forgets the file, so later tests never touch this one.
    HeadlessSetSettingsFile(path.c_str());
    PlatformSettingsWrite("State", "a", "1");
    HeadlessReset();
    EXPECT_EQ(Read("State", "a", &found), "");
    EXPECT_EQ(found, 0);
}

TEST_F(Store, DamagedStoreFileGivesWhatLinesItCan)
{
    // Lines without their tabs, a zero byte, binary bytes and an unfinished last line.
    std::string damaged = std::string("junk without tabs\nState\tgood\tyes\n\x01\x02\xff\t\t\n") +
                          std::string("State\tzero\tab\0cd\n", 17) + "State\tlast\tno end";
    TestWriteFile(path, std::vector<uint8_t>(damaged.begin(), damaged.end()));
    EXPECT_EQ(Read("State", "good"), "yes");
    EXPECT_EQ(Read("State", "zero"), "ab");
    EXPECT_EQ(Read("State", "last"), "no end");
    // Writing keeps the damaged lines as they were and ends the unfinished one.
    PlatformSettingsWrite("State", "new", "1");
    EXPECT_EQ(Read("State", "last"), "no end");
    EXPECT_EQ(Read("State", "new"), "1");
    EXPECT_EQ(Read("State", "good"), "yes");
    TestWriteFile(path, TestReadFile(TestDataPath("hostile/settings-binary.bin")));
    int found;
    Read("State", "good", &found);
    EXPECT_EQ(found, 0);
}

TEST_F(Store, TypedValuesParseIntoTheirFields)
{
    PlatformSettingsWrite("State", "three", "4 -5 6 7");
    PlatformSettingsWrite("State", "reals", "0.5 50% 1,000");
    PlatformSettingsWrite("State", "bad", "12x abc");
    int32_t integers[3] = {1, 1, 1};
    EXPECT_EQ(SettingsStoreIntegers("State", "three", integers, 3), 1);
    EXPECT_EQ(integers[0], 4);
    EXPECT_EQ(integers[1], -5);
    EXPECT_EQ(integers[2], 6);
    double reals[4] = {9, 9, 9, 9};
    EXPECT_EQ(SettingsStoreReals("State", "reals", reals, 4), 1);
    EXPECT_EQ(reals[0], 0.5);
    EXPECT_EQ(reals[1], 0.5);
    // In a stored value the comma is a delimiter: "1,000" is the tokens 1, "," and 000, and
    // the parser refuses the comma, leaving 0.
    EXPECT_EQ(reals[2], 1.0);
    EXPECT_EQ(reals[3], 0.0);
    double two[2] = {9, 9};
    PlatformSettingsWrite("State", "one", "0.25");
    EXPECT_EQ(SettingsStoreReals("State", "one", two, 2), 1);
    EXPECT_EQ(two[0], 0.25);
    EXPECT_EQ(two[1], 9.0); // no second token: left alone
    // A token the parser refuses leaves what the parser set.
    EXPECT_EQ(SettingsStoreIntegers("State", "bad", integers, 2), 1);
    EXPECT_EQ(integers[0], 12);
    EXPECT_EQ(integers[1], 0);
    EXPECT_EQ(SettingsStoreIntegers("State", "absent", integers, 2), 0);
    EXPECT_EQ(integers[0], 12);
}

TEST_F(Store, EmptyStoreGivesDefaultPreferences)
{
    Prefs.fileMenuLength = 3;
    ReadPreferences();
    Preferences defaults;
    PreferencesDefault(&defaults);
    EXPECT_EQ(memcmp(&Prefs, &defaults, sizeof defaults), 0);
}

TEST_F(Store, FileMenuLengthIsHeldToTen)
{
    struct Case {
        const char *text;
        int32_t length;
    };
    const Case cases[] = {{"25", 10}, {"-1", 0}, {"10", 10}, {"0", 0}, {"4", 4}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        PlatformSettingsWrite("Preferences", "nfilemenu", c.text);
        ReadPreferences();
        EXPECT_EQ(Prefs.fileMenuLength, c.length);
    }
}

TEST_F(Store, WordsCompareWithoutCase)
{
    struct Case {
        const char *confirm;
        int32_t confirmValue;
        const char *undo;
        int32_t undoValue;
    };
    const Case cases[] = {
        {"NO", 0, "none", UNDO_NONE},
        {"no", 0, "Single", UNDO_SINGLE},
        {"yes", 1, "MULTIPLE", UNDO_MULTIPLE},
        {"maybe", 1, "some", UNDO_MULTIPLE},
        {"", 1, "", UNDO_MULTIPLE},
        {"\"no\"", 0, "single extra", UNDO_SINGLE},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.confirm) + " / " + c.undo);
        PlatformSettingsWrite("Preferences", "confirm", c.confirm);
        PlatformSettingsWrite("Preferences", "undo", c.undo);
        ReadPreferences();
        EXPECT_EQ(Prefs.confirm, c.confirmValue);
        EXPECT_EQ(Prefs.undo, c.undoValue);
    }
}

TEST_F(Store, BadNumbersLeaveWhatTheParserSet)
{
    PlatformSettingsWrite("Preferences", "defaultunits", "abc");
    PlatformSettingsWrite("Preferences", "showruler", "3mm");
    PlatformSettingsWrite("Preferences", "smoothzoomflag", "");
    ReadPreferences();
    EXPECT_EQ(Prefs.defaultUnits, 0);
    EXPECT_EQ(Prefs.showRuler, 3);
    EXPECT_EQ(Prefs.smoothZoom, 1); // no token: nothing parsed, the default stays
}

TEST_F(Store, ColorsAndSizesStayUsable)
{
    PlatformSettingsWrite("Preferences", "workspace", "1.5 -0.2 0.25");
    PlatformSettingsWrite("Preferences", "border", "-4 0.5");
    PlatformSettingsWrite("Preferences", "defaultres", "0");
    ReadPreferences();
    EXPECT_EQ(Prefs.workspace[0], 1.0);
    EXPECT_EQ(Prefs.workspace[1], 0.0);
    EXPECT_EQ(Prefs.workspace[2], 0.25);
    EXPECT_EQ(Prefs.borderWidth, 0);
    EXPECT_EQ(Prefs.borderColor[0], 0.5);
    EXPECT_EQ(Prefs.borderColor[1], 1.0); // not in the value: the default white stays
    EXPECT_EQ(Prefs.defaultResolution, 200.0);
    PlatformSettingsWrite("Preferences", "defaultres", "300 dpi");
    ReadPreferences();
    EXPECT_EQ(Prefs.defaultResolution, 300.0); // the first token is the value
}

TEST_F(Store, PreferencesReadBackAsWritten)
{
    Preferences *p = &Prefs;
    p->confirm = 0;
    p->workspace[0] = 10 / 255.0;
    p->workspace[1] = 20 / 255.0;
    p->workspace[2] = 1.0;
    p->borderWidth = 3;
    p->borderColor[0] = 0.0;
    p->borderColor[1] = 0.5;
    p->borderColor[2] = 128 / 255.0;
    strcpy(p->pcdDirectory, "/media/cd rom");
    strcpy(p->startupDirectory, "/home/me/Pictures (2024)");
    strcpy(p->tempDirectory, std::string(600, 't').c_str()); // longer than any token
    p->defaultResolution = 300.5;
    p->defaultUnits = 2;
    p->displayFullPathName = 1;
    p->undo = UNDO_SINGLE;
    p->fileMenuLength = 6;
    p->defaultFileOpenType = 4;
    p->defaultFileSaveType = 5;
    p->honorFileSaveType = 0;
    p->transformationOnTop = 1;
    p->defaultPreview = 0;
    p->smoothZoom = 0;
    p->showRuler = 3;
    p->resamplingMethod = 1;
    p->maxPreviewSize = 800;
    p->stickySettings = 0;
    static Preferences written;
    memcpy(&written, p, sizeof written); // padding too, for the comparison below
    WritePreferences();
    EXPECT_EQ(Read("Preferences", "confirm"), "no");
    EXPECT_EQ(Read("Preferences", "undo"), "single");
    EXPECT_EQ(Read("Preferences", "border"), "3 0.0000 0.5000 0.5020");
    EXPECT_EQ(Read("Preferences", "defaultres"), "300.5000");
    EXPECT_EQ(Read("Preferences", "startupdirectory"), "\"/home/me/Pictures (2024)\"");
    ReadPreferences();
    // Four decimals keep every color level.
    for (int i = 0; i < 3; i++) {
        EXPECT_NEAR(p->workspace[i], written.workspace[i], 0.00005);
        EXPECT_NEAR(p->borderColor[i], written.borderColor[i], 0.00005);
    }
    EXPECT_EQ((int)(p->workspace[0] * 255 + 0.5), 10);
    // Everything else comes back exactly.
    memcpy(written.workspace, p->workspace, sizeof written.workspace);
    memcpy(written.borderColor, p->borderColor, sizeof written.borderColor);
    EXPECT_EQ(memcmp(p, &written, sizeof written), 0);
}

TEST_F(Store, StateOfAnotherVersionIsIgnoredWhole)
{
    for (const char *version : {"0.9", "1.00", "\"1.0\" x", ""}) {
        SCOPED_TRACE(version);
        PlatformSettingsWrite("State", "version", version);
        PlatformSettingsWrite("State", "printdpi", "600");
        PlatformSettingsWrite("State", "openfile0", "\"/a.tif\"");
        ReadState();
        EXPECT_EQ(Saved.printDpi, 300);
        EXPECT_EQ(Saved.recentCount, 0);
    }
    // Without a version at all, the same.
    HeadlessSetSettingsFile((folder + "/other.txt").c_str());
    PlatformSettingsWrite("State", "printdpi", "600");
    ReadState();
    EXPECT_EQ(Saved.printDpi, 300);
    // With "1.0" (quoted or not) it is read.
    PlatformSettingsWrite("State", "version", "\"1.0\"");
    ReadState();
    EXPECT_EQ(Saved.printDpi, 600);
}

TEST_F(Store, RecentFilesSkipEmptiesAndStopAtTheListLength)
{
    PlatformSettingsWrite("State", "version", "1.0");
    PlatformSettingsWrite("State", "openfile0", "\"/a.tif\"");
    PlatformSettingsWrite("State", "openfile1", "\"\"");
    PlatformSettingsWrite("State", "openfile2", "\"/c d.tif\"");
    PlatformSettingsWrite("State", "openfile3", "\"/d.tif\"");
    Prefs.fileMenuLength = 3;
    ReadState();
    ASSERT_EQ(Saved.recentCount, 2);
    EXPECT_STREQ(Saved.recentFiles[0], "/a.tif");
    EXPECT_STREQ(Saved.recentFiles[1], "/c d.tif");
    // Written back, every slot below the length is set, so the gap closes.
    WriteState();
    EXPECT_EQ(Read("State", "openfile0"), "\"/a.tif\"");
    EXPECT_EQ(Read("State", "openfile1"), "\"/c d.tif\"");
    EXPECT_EQ(Read("State", "openfile2"), "\"\"");
    EXPECT_EQ(Read("State", "openfile3"), "\"/d.tif\""); // beyond the list: untouched
    Prefs.fileMenuLength = 0;
    ReadState();
    EXPECT_EQ(Saved.recentCount, 0);
}

TEST_F(Store, StateReadsBackAsWritten)
{
    SavedState *s = &Saved;
    Prefs.fileMenuLength = 10;
    s->recentCount = 10;
    for (int i = 0; i < 10; i++)
        snprintf(s->recentFiles[i], PATH_LENGTH, "/pictures/%d/file %d.tif", i, i);
    strcpy(s->lastDirectory, "/l0");
    strcpy(s->lastLytDirectory, "/l1");
    strcpy(s->lastClnDirectory, "/l2");
    strcpy(s->lastCrvDirectory, "/l3");
    strcpy(s->lastCcrvDirectory, "/l4");
    strcpy(s->lastCbDirectory, std::string(1000, 'c').c_str());
    s->defaultPcdResolution = 5;
    s->ribbonOrientation = 1;
    for (int i = 0; i < BROWSE_OPTION_COUNT; i++)
        s->browse[i] = 100 + i;
    s->browseFolderCount = 2;
    strcpy(s->browseFolders[0], "/b0");
    strcpy(s->browseFolders[1], "/b 1");
    strcpy(s->searchRootPath, "/root");
    strcpy(s->searchFileName, "*.tif");
    strcpy(s->searchFromDate, "2024-01-01");
    strcpy(s->searchToDate, "2024-12-31");
    strcpy(s->searchKeyword, "harbour at dusk");
    for (int i = 0; i < 4; i++)
        s->browseSearch[i] = -i;
    s->dontShowTutorial = 1;
    for (int i = 0; i < 5; i++)
        s->album[i] = 7 * i;
    s->albumPage[0] = 21.0;
    s->albumPage[1] = 29.7;
    s->jpegQuality[0] = 85;
    s->jpegQuality[1] = 1;
    s->fpxQuality[0] = 50;
    s->fpxQuality[1] = 2;
    for (int i = 0; i < SLIDE_SHOW_OPTION_COUNT; i++)
        s->slideShow[i] = 9 - i;
    strcpy(s->fileBrowse, "right");
    strcpy(s->fileBrowsePath, "/browse here");
    s->fileBrowseDepth = 4;
    s->printV5Bmp = 1;
    s->twain16BitNegotiation = 0;
    s->twainClose = 0;
    s->printFixedDpi = 1;
    s->printDpi = 1440;
    s->showImageTypeIcons = 0;
    s->toolboxOp = 3;
    s->blinkRate = 12;
    s->cropCustom[0] = 3.0;
    s->cropCustom[1] = 2.0;
    for (int i = 0; i < 4; i++)
        s->readout[i] = 4 - i;
    static SavedState written;
    memcpy(&written, s, sizeof written); // padding too, for the comparison below
    WriteState();
    EXPECT_EQ(Read("State", "version"), "1.0");
    EXPECT_EQ(Read("State", "album"), "0 7 14 21 28 21.0000 29.7000");
    SavedStateDefault(s);
    ReadState();
    EXPECT_EQ(memcmp(s, &written, sizeof written), 0);
}
