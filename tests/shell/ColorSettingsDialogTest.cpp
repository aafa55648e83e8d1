// The Color Management Settings dialog: the profiles its lists offer, the settings of the run
// shown, keeping or dropping changes on OK and Cancel, .clrmgmt files saved and loaded back, and
// the list of profiles written out.
#include "tests/shell/FileFlowTestSupport.h"

#include <algorithm>

#include "shell/Dialogs.h"
#include "ui/DialogLayout.h"

class ColorDialog : public ShellFilesTest {
  protected:
    std::string working;
    std::string monitor;
    std::string scanner;
    std::string printer;

    void SetUp() override
    {
        ShellFilesTest::SetUp();
        working = WriteProfile("working.icc", TestDisplayProfile("Test Working", 563));
        monitor = WriteProfile("monitor.icc", TestDisplayProfile("Test Monitor", 461, 0xf6dc));
        scanner = WriteProfile("scanner.icc",
                               TestProfileBytes("scnr", "RGB ", {TestDescTag("Test Scanner")}));
        printer = WriteProfile("printer.icc",
                               TestProfileBytes("prtr", "CMYK", {TestDescTag("Test Printer")}));
    }

    WindowHandle Show(void)
    {
        EXPECT_EQ(ShowColorSettingsDialog(), ERROR_NONE);
        WindowHandle window = HeadlessFindWindow("Color Management Settings");
        EXPECT_NE(window, nullptr);
        return window;
    }

    static void Choose(WindowHandle window, int id, const std::string &item)
    {
        int index = ItemIndex(window, id, item);
        ASSERT_GE(index, 0) << item;
        HeadlessChoose(window, id, index);
    }

    static std::string Chosen(WindowHandle window, int id)
    {
        std::vector<std::string> items = Items(window, id);
        int index = PlatformControlValue(window, id);
        return index >= 0 && index < (int)items.size() ? items[(size_t)index] : "(out of range)";
    }

    static std::string Stored(const char *name)
    {
        char value[SETTINGS_VALUE_MAX];
        if (!PlatformSettingsRead(SETTINGS_KEY_COLOR, name, value, sizeof value)) return "(absent)";
        return value;
    }

    // Changes every choice of the dialog away from the defaults.
    void ChangeEverything(WindowHandle window)
    {
        Choose(window, COLOR_DIALOG_ENABLED, "Disabled");
        Choose(window, COLOR_DIALOG_WORKING, "Test Working");
        Choose(window, COLOR_DIALOG_ASSUMED_FILE, "Test Monitor");
        Choose(window, COLOR_DIALOG_ASSUMED_SCANNER, "Test Scanner");
        Choose(window, COLOR_DIALOG_MONITOR, "Test Monitor");
        HeadlessChoose(window, COLOR_DIALOG_MONITOR_INTENT, COLOR_INTENT_IDENTICAL_BLACK);
        Choose(window, COLOR_DIALOG_PROOF, "Test Printer");
        HeadlessChoose(window, COLOR_DIALOG_PROOF_INTENT, COLOR_INTENT_SATURATION);
        Choose(window, COLOR_DIALOG_GAMUT_ALARM, "On");
        HeadlessSetEditText(window, COLOR_DIALOG_GAMUT_COLOR, "255");
        HeadlessSetEditText(window, COLOR_DIALOG_GAMUT_COLOR + 1, "0");
        HeadlessSetEditText(window, COLOR_DIALOG_GAMUT_COLOR + 2, "7");
        Choose(window, COLOR_DIALOG_MISMATCH, "Convert");
    }

    // The choices of ChangeEverything, in the settings of the run.
    void ExpectEverythingChanged(const ColorSettings *settings)
    {
        EXPECT_EQ(settings->enabled, 0);
        EXPECT_EQ(std::string(settings->workingPath), working);
        EXPECT_EQ(std::string(settings->assumedFilePath), monitor);
        EXPECT_EQ(std::string(settings->assumedScannerPath), scanner);
        EXPECT_EQ(std::string(settings->monitorPath), monitor);
        EXPECT_EQ(settings->monitorIntent, COLOR_INTENT_IDENTICAL_BLACK);
        EXPECT_EQ(std::string(settings->proofPath), printer);
        EXPECT_EQ(settings->proofIntent, COLOR_INTENT_SATURATION);
        EXPECT_EQ(settings->gamutAlarm, 1);
        EXPECT_EQ(settings->gamutAlarmColor[0], 255);
        EXPECT_EQ(settings->gamutAlarmColor[1], 0);
        EXPECT_EQ(settings->gamutAlarmColor[2], 7);
        EXPECT_EQ(settings->onMismatch, MISMATCH_CONVERT);
    }
};

static const char MONITOR_AUTOMATIC[] = "Automatic (sRGB IEC61966-2.1)";
static const char SAVE_QUESTION[] = "Save modified settings?\nClick Yes to retain new "
                                    "settings.\nClick No to revert to previous settings.";
static const char ABANDON_QUESTION[] = "Abandon modified settings?\nClick Yes to revert to "
                                       "previous settings.\nClick No to retain new settings.";

TEST_F(ColorDialog, ShowsTheProfilesEachSettingAccepts)
{
    WindowHandle window = Show();
    ASSERT_NE(window, nullptr);
    // Each list: "None" first, or for the monitor what shows without a choice (sRGB, as the
    // desktop gives no profile here), then the profiles of the classes and spaces it accepts.
    struct List {
        int id;
        std::vector<std::string> profiles;
    };
    const List lists[] = {
        {COLOR_DIALOG_WORKING, {"Test Monitor", "Test Working"}},
        {COLOR_DIALOG_ASSUMED_FILE, {"Test Monitor", "Test Scanner", "Test Working"}},
        {COLOR_DIALOG_ASSUMED_SCANNER, {"Test Monitor", "Test Scanner", "Test Working"}},
        {COLOR_DIALOG_MONITOR, {"Test Monitor", "Test Working"}},
        {COLOR_DIALOG_PROOF, {"Test Monitor", "Test Printer", "Test Working"}},
    };
    for (const List &list : lists) {
        SCOPED_TRACE(list.id);
        std::vector<std::string> items = Items(window, list.id);
        ASSERT_FALSE(items.empty());
        EXPECT_EQ(items[0],
                  list.id == COLOR_DIALOG_MONITOR ? std::string(MONITOR_AUTOMATIC) : "None");
        std::vector<std::string> rest(items.begin() + 1, items.end());
        std::sort(rest.begin(), rest.end());
        EXPECT_EQ(rest, list.profiles);
        EXPECT_EQ(PlatformControlValue(window, list.id), 0);
    }

    // A second opening brings the same dialog forward.
    EXPECT_EQ(ShowColorSettingsDialog(), ERROR_NONE);
    EXPECT_EQ(HeadlessWindowCount(), 1);
}

TEST_F(ColorDialog, ShowsTheSettingsOfTheRun)
{
    // A profile outside the color folders is shown by its description, one that cannot be
    // read by its path; both stay chosen.
    TestRun("mkdir -p '" + Path("elsewhere") + "'");
    std::string mine = Path("elsewhere/mine.icc");
    TestWriteFile(mine, TestDisplayProfile("My Own Space", 563, 0xf313));
    ColorSettings *settings = &CurrentColorSettings;
    strcpy(settings->workingPath, mine.c_str());
    strcpy(settings->monitorPath, monitor.c_str());
    strcpy(settings->proofPath, Path("gone.icc").c_str());
    settings->monitorIntent = COLOR_INTENT_IDENTICAL;
    settings->gamutAlarm = 1;
    settings->gamutAlarmColor[2] = 9;
    settings->onMismatch = MISMATCH_KEEP;
    WindowHandle window = Show();
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_WORKING), "My Own Space");
    EXPECT_EQ(PlatformControlValue(window, COLOR_DIALOG_WORKING), 1);
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_MONITOR), "Test Monitor");
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_PROOF), Path("gone.icc"));
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_ASSUMED_FILE), "None");
    EXPECT_EQ(PlatformControlValue(window, COLOR_DIALOG_MONITOR_INTENT), COLOR_INTENT_IDENTICAL);
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_GAMUT_ALARM), "On");
    EXPECT_EQ(ControlText(window, COLOR_DIALOG_GAMUT_COLOR + 2), "9");
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_MISMATCH), "Don't Convert");

    // OK without a change asks nothing and changes nothing.
    HeadlessClick(window, DIALOG_OK);
    EXPECT_FALSE(PlatformWindowExists(window));
    EXPECT_EQ(HeadlessMessageCount(), 0);
    EXPECT_EQ(std::string(settings->workingPath), mine);
    EXPECT_EQ(std::string(settings->proofPath), Path("gone.icc"));
    EXPECT_EQ(Stored("wcsprofile"), "(absent)");
}

TEST_F(ColorDialog, OkKeepsChangesOnlyWhenTheUserSaysYes)
{
    WindowHandle window = Show();
    ChangeEverything(window);
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_EQ(MessagesWith("Warning", SAVE_QUESTION), 1);
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_YES_NO);
    EXPECT_FALSE(PlatformWindowExists(window));
    ColorSettings defaults;
    ColorSettingsDefault(&defaults);
    EXPECT_EQ(CurrentColorSettings.onMismatch, defaults.onMismatch);
    EXPECT_STREQ(CurrentColorSettings.monitorPath, "");
    EXPECT_EQ(Stored("monitorprofile"), "(absent)");

    window = Show();
    ChangeEverything(window);
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessClick(window, DIALOG_OK);
    ExpectEverythingChanged(&CurrentColorSettings);
    // Kept settings are in the store and loaded at once.
    EXPECT_EQ(Stored("monitorprofile"), "\"" + monitor + "\"");
    EXPECT_EQ(Stored("gamutalarmcolor"), "255 0 7");
    int length = 0;
    EXPECT_NE(ColorProfileBytes(COLOR_PROFILE_MONITOR, &length), nullptr);
    EXPECT_EQ(length, (int)TestReadFile(monitor).size());
    // The next run reads them back from the store.
    ColorSettingsRelease(&CurrentColorSettings);
    ColorSettingsDefault(&CurrentColorSettings);
    ReadColorSettings();
    ExpectEverythingChanged(&CurrentColorSettings);
}

TEST_F(ColorDialog, CancelDropsChangesUnlessTheUserKeepsThem)
{
    WindowHandle window = Show();
    Choose(window, COLOR_DIALOG_MONITOR, "Test Monitor");
    HeadlessQueueAnswer(ANSWER_YES); // yes, abandon them
    HeadlessClick(window, DIALOG_CANCEL);
    EXPECT_EQ(MessagesWith("Warning", ABANDON_QUESTION), 1);
    EXPECT_STREQ(CurrentColorSettings.monitorPath, "");
    EXPECT_FALSE(PlatformWindowExists(window));

    window = Show();
    Choose(window, COLOR_DIALOG_MONITOR, "Test Monitor");
    HeadlessQueueAnswer(ANSWER_NO); // no, keep them
    HeadlessClick(window, DIALOG_CANCEL);
    EXPECT_EQ(std::string(CurrentColorSettings.monitorPath), monitor);

    // Closing the window is OK; a change made and undone is no change.
    window = Show();
    Choose(window, COLOR_DIALOG_MONITOR, MONITOR_AUTOMATIC);
    Choose(window, COLOR_DIALOG_MONITOR, "Test Monitor");
    int messages = HeadlessMessageCount();
    PlatformSendMessage(window, MSG_CLOSE, 0, 0);
    EXPECT_EQ(HeadlessMessageCount(), messages);
    EXPECT_FALSE(PlatformWindowExists(window));
    window = Show();
    Choose(window, COLOR_DIALOG_MONITOR, MONITOR_AUTOMATIC);
    HeadlessQueueAnswer(ANSWER_YES);
    PlatformSendMessage(window, MSG_CLOSE, 0, 0);
    EXPECT_EQ(MessagesWith("Warning", SAVE_QUESTION), 1);
    EXPECT_STREQ(CurrentColorSettings.monitorPath, "");
}

TEST_F(ColorDialog, SettingsSavedAsAFileLoadBack)
{
    WindowHandle window = Show();
    ChangeEverything(window);
    // A name without an extension gets ".clrmgmt".
    QueueFiles({Path("studio")});
    HeadlessClick(window, COLOR_DIALOG_SAVE);
    std::vector<uint8_t> file = TestReadFile(Path("studio.clrmgmt"));
    ASSERT_FALSE(file.empty());
    std::string text(file.begin(), file.end());
    EXPECT_EQ(text.substr(0, 21), "ColorManagement 1.0\r\n");
    EXPECT_NE(text.find("monitorprofile \"Test Monitor\" 4\r\n"), std::string::npos);
    EXPECT_EQ(std::string(Saved.lastDirectory), folder);

    // Everything back to the defaults, then the file brings the choices back.
    for (int id : {COLOR_DIALOG_WORKING, COLOR_DIALOG_ASSUMED_FILE, COLOR_DIALOG_ASSUMED_SCANNER,
                   COLOR_DIALOG_MONITOR, COLOR_DIALOG_PROOF})
        HeadlessChoose(window, id, 0);
    HeadlessChoose(window, COLOR_DIALOG_MONITOR_INTENT, 0);
    HeadlessSetEditText(window, COLOR_DIALOG_GAMUT_COLOR, "1");
    QueueFiles({Path("studio.clrmgmt")});
    HeadlessClick(window, COLOR_DIALOG_LOAD);
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessClick(window, DIALOG_OK);
    ExpectEverythingChanged(&CurrentColorSettings);
}

TEST_F(ColorDialog, AFileOfAnotherExtensionIsRefusedAndTheDialogOpensAgain)
{
    WindowHandle window = Show();
    QueueFiles({Path("studio.txt")});
    HeadlessClick(window, COLOR_DIALOG_SAVE); // the second dialog is cancelled
    EXPECT_EQ(HeadlessLastFileDialog()->count, 2);
    EXPECT_EQ(MessagesWith("Error", "Color Management files must have an extension of .clrmgmt"),
              1);
    EXPECT_TRUE(TestReadFile(Path("studio.txt")).empty());
}

TEST_F(ColorDialog, ABadFileSetsTheDefaultsAndAMissingOneChangesNothing)
{
    WindowHandle window = Show();
    Choose(window, COLOR_DIALOG_MONITOR, "Test Monitor");
    HeadlessChoose(window, COLOR_DIALOG_PROOF_INTENT, 3);

    QueueFiles({Path("missing.clrmgmt")});
    HeadlessClick(window, COLOR_DIALOG_LOAD);
    EXPECT_STREQ(HeadlessLastMessage()->text, ErrorText(ERROR_OPEN_FILE));
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_MONITOR), "Test Monitor");
    EXPECT_EQ(PlatformControlValue(window, COLOR_DIALOG_PROOF_INTENT), 3);

    std::string bad = Path("bad.clrmgmt");
    std::string text = "ColorManagement 1.0\r\ngamutalarm 1\r\nbrightness 4\r\nend\r\n";
    TestWriteFile(bad, std::vector<uint8_t>(text.begin(), text.end()));
    QueueFiles({bad});
    HeadlessClick(window, COLOR_DIALOG_LOAD);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Illegal color management settings file");
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_MONITOR), MONITOR_AUTOMATIC);
    EXPECT_EQ(PlatformControlValue(window, COLOR_DIALOG_PROOF_INTENT), 0);
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_GAMUT_ALARM), "Off");
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_ENABLED), "Enabled");

    // A profile this machine lacks keeps its setting, is said, and the rest is taken.
    std::string foreign = Path("foreign.clrmgmt");
    text = "ColorManagement 1.0\r\nmonitorprofile \"Not Here\" 2\r\nonmismatch 2\r\nend\r\n";
    TestWriteFile(foreign, std::vector<uint8_t>(text.begin(), text.end()));
    Choose(window, COLOR_DIALOG_MONITOR, "Test Working");
    QueueFiles({foreign});
    HeadlessClick(window, COLOR_DIALOG_LOAD);
    EXPECT_STREQ(HeadlessLastMessage()->text, ErrorText(ERROR_ENUMERATE_PROFILES));
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_MONITOR), "Test Working");
    EXPECT_EQ(Chosen(window, COLOR_DIALOG_MISMATCH), "Don't Convert");
}

TEST_F(ColorDialog, TheProfileListIsWrittenOneProfileALine)
{
    WindowHandle window = Show();
    QueueFiles({Path("profiles")});
    HeadlessClick(window, COLOR_DIALOG_PRINT_LIST);
    EXPECT_STREQ(HeadlessLastFileDialog()->name, "Profiles.txt");
    std::vector<uint8_t> file = TestReadFile(Path("profiles.txt"));
    std::string text(file.begin(), file.end());
    EXPECT_NE(text.find("Test Working\tmntr\tRGB\t" + working + "\r\n"), std::string::npos);
    EXPECT_NE(text.find("Test Printer\tprtr\tCMYK\t" + printer + "\r\n"), std::string::npos);
    EXPECT_NE(text.find("Test Scanner\tscnr\tRGB\t" + scanner + "\r\n"), std::string::npos);
    int lines = 0;
    for (char c : text)
        lines += c == '\n';
    EXPECT_EQ(lines, 4);
}

TEST_F(ColorDialog, WithoutAChoiceTheMonitorListNamesTheDesktopsProfile)
{
    std::vector<uint8_t> desktop = TestDisplayProfile("Test Desktop", 563);
    HeadlessSetDisplayProfile(desktop.data(), (int)desktop.size());
    WindowHandle window = Show();
    EXPECT_EQ(Items(window, COLOR_DIALOG_MONITOR)[0], "Automatic (Test Desktop)");
    EXPECT_EQ(PlatformControlValue(window, COLOR_DIALOG_MONITOR), 0);
    HeadlessSetDisplayProfile(nullptr, 0);
}
