// The settings store's side of dialogs: what a damaged default file or a missing settings
// folder does to the opening of a dialog (the default and previous rule itself is tested
// through a dialog in SettingsOptionsTest), and the remembered folders of the Load and Save
// dialogs.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "core/Preferences.h"
#include "platform/headless/Headless.h"
#include "shell/Preferences.h"
#include "tests/core/SettingsTextSupport.h"
#include "tests/support/TestSupport.h"
#include "ui/SettingsStore.h"

// The default and previous rule of dialogs, with a settings folder of the test's own.
class SettingsOnOpen : public ::testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
        folder = TestOutputFolder(std::string("SettingsOnOpen") +
                                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
        HeadlessSetSettingsFolder(folder.c_str());
    }
    void Put(const char *name, int amount)
    {
        WriteText(folder + "/" + name,
                  "Toy 1.0\r\namount " + std::to_string(amount) + "\r\nend\r\n");
    }
    int Open(ToySettings *settings)
    {
        *settings = TOY_DEFAULTS;
        return SettingsLoadOnOpen(".toy", ToyRead, settings);
    }
    std::string folder;
};

TEST_F(SettingsOnOpen, BadDefaultStillCountsAndKeepsWhatItSupplied)
{
    // A default without "end": existence decides, and its values stay; previous is not read.
    WriteText(folder + "/default.toy", "Toy 1.0\r\namount 3\r\n");
    Put("previous.toy", 2);
    ToySettings settings;
    EXPECT_EQ(Open(&settings), SETTINGS_LOADED_DEFAULT);
    EXPECT_EQ(settings.amount, 3);
    EXPECT_TRUE(HeadlessMessageCount() == 0); // nothing is shown at opening
}

TEST_F(SettingsOnOpen, NoFolderMeansNothingLoadedOrSaved)
{
    Put("default.toy", 1);
    HeadlessSetSettingsFolder("");
    ToySettings settings;
    EXPECT_EQ(Open(&settings), SETTINGS_LOADED_NONE);
    EXPECT_EQ(SettingsSaveOnClose(".toy", ToyWrite, &settings), ERROR_NONE);
}

TEST(RememberedFolder, StartupDirectoryOnlyForTheFirstDialog)
{
    TestStart();
    SavedStateDefault(&Saved);
    RememberedFolderStart();
    strcpy(Prefs.startupDirectory, "/photos/start");
    strcpy(Saved.lastDirectory, "/photos/last-run");
    char folder[PATH_LENGTH];
    RememberedFolderGet(FOLDER_SHARED, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, "/photos/start");
    // Until a dialog completes, the start stays; then the chosen file's folder serves.
    RememberedFolderGet(FOLDER_SHARED, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, "/photos/start");
    RememberedFolderSet(FOLDER_SHARED, "/photos/2024/a.cb");
    RememberedFolderGet(FOLDER_SHARED, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, "/photos/2024");
    EXPECT_STREQ(Saved.lastDirectory, "/photos/2024");
    // Without a startup folder the last run's folder comes first.
    RememberedFolderStart();
    Prefs.startupDirectory[0] = 0;
    RememberedFolderGet(FOLDER_SHARED, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, "/photos/2024");
}

TEST(RememberedFolder, EachKindKeepsItsOwn)
{
    TestStart();
    SavedStateDefault(&Saved);
    RememberedFolderStart();
    Prefs.startupDirectory[0] = 0;
    char folder[PATH_LENGTH];
    char current[PATH_LENGTH];
    ASSERT_NE(getcwd(current, PATH_LENGTH), nullptr);
    // Nothing remembered anywhere: the current directory.
    RememberedFolderGet(FOLDER_CURVE, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, current);
    RememberedFolderSet(FOLDER_CURVE, "/curves/film.crv");
    RememberedFolderSet(FOLDER_COLOR_BALANCE, "C:\\cb\\warm.cb");
    RememberedFolderSet(FOLDER_LAYOUT, "/a.lyt"); // the root keeps its separator
    RememberedFolderGet(FOLDER_CURVE, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, "/curves");
    EXPECT_STREQ(Saved.lastCrvDirectory, "/curves");
    EXPECT_STREQ(Saved.lastCbDirectory, "C:\\cb");
    EXPECT_STREQ(Saved.lastLytDirectory, "/");
    // The shared folder is untouched by them, and a kind's folder by the shared one.
    EXPECT_STREQ(Saved.lastDirectory, "");
    RememberedFolderSet(FOLDER_SHARED, "/shared/x.tif");
    RememberedFolderGet(FOLDER_COLOR_CURVES, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, "/shared"); // no folder of its own yet
    RememberedFolderGet(FOLDER_CURVE, folder, PATH_LENGTH);
    EXPECT_STREQ(folder, "/curves");
    // A bare name lies in the current directory.
    RememberedFolderSet(FOLDER_COLOR_LINE, "line.cln");
    EXPECT_STREQ(Saved.lastClnDirectory, current);
}
