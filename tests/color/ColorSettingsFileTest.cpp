// The color settings where they are kept: the store's "Color Settings" values across a
// restart, and .clrmgmt files that name profiles by description.
#include <cstring>
#include <gtest/gtest.h>

#include "color/ColorSettings.h"
#include "platform/headless/Headless.h"
#include "shell/Preferences.h"
#include "tests/color/ProfileTestSupport.h"
#include "ui/SettingsStore.h"

class ColorSettingsFile : public testing::Test {
  protected:
    std::string folder;

    void SetUp() override
    {
        TestStart();
        folder = TestOutputFolder(std::string("ColorSettingsFile.") +
                                  testing::UnitTest::GetInstance()->current_test_info()->name());
        HeadlessSetSettingsFile((folder + "/store.txt").c_str());
        ColorSettingsDefault(&CurrentColorSettings);
        // Profiles are found by description among copies of two real ones.
        TestRun("mkdir -p '" + folder + "/system' && cp '" + SYSTEM_SRGB + "' '" + SYSTEM_ADOBE +
                "' '" + folder + "/system/'");
        ProfileFoldersSet((folder + "/user").c_str(), (folder + "/system").c_str(), "");
    }

    void TearDown() override
    {
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersDefault();
    }

    std::string Write(const std::string &name, const std::string &text)
    {
        std::string path = folder + "/" + name;
        TestWriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
        return path;
    }
};

TEST_F(ColorSettingsFile, StoredValuesSurviveARestart)
{
    ColorSettings *settings = &CurrentColorSettings;
    settings->enabled = 0;
    strcpy(settings->workingPath, "/photos/profiles/wide gamut \"special\".icc");
    strcpy(settings->monitorPath, SYSTEM_SRGB.c_str());
    settings->monitorIntent = COLOR_INTENT_IDENTICAL_BLACK;
    settings->proofIntent = COLOR_INTENT_SATURATION;
    settings->gamutAlarm = 1;
    settings->gamutAlarmColor[0] = 255;
    settings->gamutAlarmColor[1] = 0;
    settings->gamutAlarmColor[2] = 7;
    settings->onMismatch = MISMATCH_KEEP;
    WriteColorSettings();
    ColorSettings written = *settings;

    ColorSettingsDefault(settings);
    ReadColorSettings();
    EXPECT_EQ(settings->enabled, 0);
    // A quoted value ends at its second quote: a path with quotes in it cannot be kept whole.
    EXPECT_STREQ(settings->workingPath, "/photos/profiles/wide gamut ");
    EXPECT_STREQ(settings->monitorPath, written.monitorPath);
    EXPECT_EQ(settings->monitorIntent, COLOR_INTENT_IDENTICAL_BLACK);
    EXPECT_EQ(settings->proofIntent, COLOR_INTENT_SATURATION);
    EXPECT_EQ(settings->gamutAlarm, 1);
    EXPECT_EQ(settings->gamutAlarmColor[0], 255);
    EXPECT_EQ(settings->gamutAlarmColor[1], 0);
    EXPECT_EQ(settings->gamutAlarmColor[2], 7);
    EXPECT_EQ(settings->onMismatch, MISMATCH_KEEP);
    EXPECT_EQ(settings->engine, COLOR_ENGINE_LCMS);
}

TEST_F(ColorSettingsFile, StoredValuesOutOfRangeKeepTheDefaults)
{
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "monitorintent", "%d", 5);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "onprofilemismatch", "%d", -1);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "gamutalarmcolor", "%d %d %d", 300, 20, -4);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "colorengine", "%d", 0);
    ReadColorSettings();
    EXPECT_EQ(CurrentColorSettings.monitorIntent, COLOR_INTENT_FULL_GAMUT);
    EXPECT_EQ(CurrentColorSettings.onMismatch, MISMATCH_ASK);
    EXPECT_EQ(CurrentColorSettings.gamutAlarmColor[0], 128);
    EXPECT_EQ(CurrentColorSettings.gamutAlarmColor[1], 20);
    EXPECT_EQ(CurrentColorSettings.gamutAlarmColor[2], 128);
    // "Windows Default" does not exist here: the stored 0 reads as lcms.
    EXPECT_EQ(CurrentColorSettings.engine, COLOR_ENGINE_LCMS);
}

TEST_F(ColorSettingsFile, ClrmgmtRoundTripNamesProfilesByDescription)
{
    ColorSettings settings;
    ColorSettingsDefault(&settings);
    std::string srgb = folder + "/system/sRGB.icc";
    std::string adobe = folder + "/system/compatibleWithAdobeRGB1998.icc";
    strcpy(settings.workingPath, adobe.c_str());
    strcpy(settings.monitorPath, srgb.c_str());
    settings.monitorIntent = 2;
    settings.gamutAlarm = 1;
    settings.gamutAlarmColor[0] = 10;
    settings.gamutAlarmColor[1] = 20;
    settings.gamutAlarmColor[2] = 30;
    settings.onMismatch = MISMATCH_CONVERT;
    std::string path = folder + "/mine.clrmgmt";
    ASSERT_EQ(WriteColorManagementFile(path.c_str(), &settings), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    std::string text(bytes.begin(), bytes.end());
    EXPECT_EQ(text, "ColorManagement 1.0\r\nenabled 1\r\ncolorengine 1\r\n"
                    "wcsprofile \"Compatible with Adobe RGB (1998)\"\r\nacsprofile \"\"\r\n"
                    "ascsprofile \"\"\r\nonmismatch 1\r\nmonitorprofile \"sRGB\" 2\r\n"
                    "proofprofile \"\" 0\r\ngamutalarm 1\r\ngamutalarmcolor 10 20 30\r\nend\r\n");

    ColorSettings read;
    ColorSettingsDefault(&read);
    ASSERT_EQ(ReadColorManagementFile(path.c_str(), &read), ERROR_NONE);
    EXPECT_STREQ(read.workingPath, adobe.c_str());
    EXPECT_STREQ(read.monitorPath, srgb.c_str());
    EXPECT_EQ(read.monitorIntent, 2);
    EXPECT_EQ(read.onMismatch, MISMATCH_CONVERT);
    EXPECT_EQ(read.gamutAlarm, 1);
    EXPECT_EQ(read.gamutAlarmColor[2], 30);
}

TEST_F(ColorSettingsFile, AMissingProfileLeavesItsSettingAndTheRestIsRead)
{
    ColorSettings read;
    ColorSettingsDefault(&read);
    strcpy(read.workingPath, "/kept/working.icc");
    std::string path = Write("other.clrmgmt", "ColorManagement 1.0\r\n"
                                              "wcsprofile \"A Profile Nobody Has\"\r\n"
                                              "moncal 1 2 3\r\n"
                                              "monitorprofile \"sRGB\" 3\r\n"
                                              "gamutalarm 1\r\nend\r\n");
    EXPECT_EQ(ReadColorManagementFile(path.c_str(), &read), ERROR_ENUMERATE_PROFILES);
    EXPECT_STREQ(read.workingPath, "/kept/working.icc");
    EXPECT_EQ(read.monitorIntent, 3);
    EXPECT_STREQ(read.monitorPath, (folder + "/system/sRGB.icc").c_str());
    EXPECT_EQ(read.gamutAlarm, 1);
}

TEST_F(ColorSettingsFile, BadFilesAreRefusedWithTheirCode)
{
    struct Case {
        const char *name;
        const char *text;
        ErrorCode code;
    };
    for (Case c :
         {Case{"wrong header", "ColorBalance 1.0\r\nend\r\n", ERROR_ILLEGAL_COLOR_SETTINGS_FILE},
          {"wrong version", "ColorManagement 2.0\r\nend\r\n", ERROR_ILLEGAL_COLOR_SETTINGS_FILE},
          {"no end", "ColorManagement 1.0\r\ngamutalarm 1\r\n",
           ERROR_ILLEGAL_COLOR_SETTINGS_FILE}}) {
        SCOPED_TRACE(c.name);
        ColorSettings read;
        ColorSettingsDefault(&read);
        std::string path = Write("bad.clrmgmt", c.text);
        EXPECT_EQ(ReadColorManagementFile(path.c_str(), &read), c.code);
    }
    ColorSettings read;
    ColorSettingsDefault(&read);
    EXPECT_EQ(ReadColorManagementFile((folder + "/none.clrmgmt").c_str(), &read), ERROR_OPEN_FILE);
    // Values before the fault stay: the Load command then sets the defaults itself.
    std::string path = Write("half.clrmgmt", "ColorManagement 1.0\r\ngamutalarm 1\r\nwhat 1\r\n");
    EXPECT_EQ(ReadColorManagementFile(path.c_str(), &read), ERROR_ILLEGAL_COLOR_SETTINGS_FILE);
    EXPECT_EQ(read.gamutAlarm, 1);
}
