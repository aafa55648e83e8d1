// The Preferences dialog: the values of the run, OK with and without keeping
// the values in the store, Cancel, the resolution field, the folder dialogs, and the values
// taking effect at once.
#include "tests/shell/FileFlowTestSupport.h"

#include "files/FileType.h"
#include "shell/Dialogs.h"
#include "ui/DialogLayout.h"

class PreferencesDialog : public ShellFilesTest {
  protected:
    WindowHandle Show(void)
    {
        EXPECT_EQ(ShowPreferencesDialog(), ERROR_NONE);
        WindowHandle window = HeadlessFindWindow("Preferences");
        EXPECT_NE(window, nullptr);
        return window;
    }

    std::string Stored(const char *name)
    {
        char value[SETTINGS_VALUE_MAX];
        if (!PlatformSettingsRead(SETTINGS_KEY_PREFERENCES, name, value, sizeof value))
            return "(absent)";
        return value;
    }
};

TEST_F(PreferencesDialog, ShowsTheValuesOfTheRun)
{
    Prefs.confirm = 0;
    Prefs.workspace[0] = 1.0;
    Prefs.workspace[1] = 0.5; // 127.5 rounds up
    Prefs.workspace[2] = 0.0;
    Prefs.borderWidth = 7;
    strcpy(Prefs.startupDirectory, "/pictures/start");
    Prefs.defaultResolution = 300.0;
    Prefs.undo = UNDO_SINGLE;
    Prefs.fileMenuLength = 4;
    Prefs.defaultFileOpenType = FILE_OPEN_PNG;
    Prefs.defaultFileSaveType = FILE_SAVE_FITS;
    Prefs.showRuler = 3;
    Prefs.maxPreviewSize = 2;
    WindowHandle window = Show();
    ASSERT_NE(window, nullptr);

    EXPECT_EQ(PlatformControlValue(window, PREFERENCES_CONFIRM), 0);
    EXPECT_EQ(ControlText(window, PREFERENCES_WORKSPACE), "255");
    EXPECT_EQ(ControlText(window, PREFERENCES_WORKSPACE + 1), "128");
    EXPECT_EQ(ControlText(window, PREFERENCES_WORKSPACE + 2), "0");
    EXPECT_EQ(ControlText(window, PREFERENCES_BORDER_WIDTH), "7");
    EXPECT_EQ(ControlText(window, PREFERENCES_BORDER_COLOR), "255");
    EXPECT_EQ(ControlText(window, PREFERENCES_STARTUP_FOLDER), "/pictures/start");
    EXPECT_EQ(ControlText(window, PREFERENCES_RESOLUTION), "300.0");
    EXPECT_EQ(PlatformControlValue(window, PREFERENCES_UNDO), UNDO_SINGLE);
    EXPECT_EQ(PlatformControlValue(window, PREFERENCES_FILE_LIST), 4);
    EXPECT_EQ(
        Items(window, PREFERENCES_OPEN_TYPE)[PlatformControlValue(window, PREFERENCES_OPEN_TYPE)],
        "PNG");
    EXPECT_EQ(
        Items(window, PREFERENCES_SAVE_TYPE)[PlatformControlValue(window, PREFERENCES_SAVE_TYPE)],
        "FITS");
    EXPECT_EQ(PlatformControlValue(window, PREFERENCES_RULER), 3);
    EXPECT_EQ(PlatformControlValue(window, PREFERENCES_PREVIEW_SIZE), 2);
    EXPECT_EQ(PlatformControlValue(window, PREFERENCES_REMEMBER), 1);

    // A second opening brings the same dialog to the front.
    EXPECT_EQ(ShowPreferencesDialog(), ERROR_NONE);
    EXPECT_EQ(HeadlessWindowCount(), 1);
    EXPECT_EQ(PlatformActiveWindow(), window);
}

TEST_F(PreferencesDialog, OkWithYesKeepsTheValuesInTheStoreForTheNextRun)
{
    WindowHandle window = Show();
    HeadlessClick(window, PREFERENCES_CONFIRM); // on to off
    HeadlessSetEditText(window, PREFERENCES_WORKSPACE, "0");
    HeadlessSetEditText(window, PREFERENCES_WORKSPACE + 1, "51");
    HeadlessSetEditText(window, PREFERENCES_WORKSPACE + 2, "255");
    HeadlessSetEditText(window, PREFERENCES_BORDER_WIDTH, "24");
    HeadlessSetEditText(window, PREFERENCES_BORDER_COLOR + 2, "0");
    HeadlessSetEditText(window, PREFERENCES_TEMP_FOLDER, "/var/tmp/vistel");
    HeadlessSetEditText(window, PREFERENCES_RESOLUTION, "72.5");
    HeadlessChoose(window, PREFERENCES_UNITS, 2);
    HeadlessChoose(window, PREFERENCES_CAPTION, 1);
    HeadlessChoose(window, PREFERENCES_UNDO, UNDO_NONE);
    HeadlessChoose(window, PREFERENCES_FILE_LIST, 10);
    HeadlessChoose(window, PREFERENCES_OPEN_TYPE, ItemIndex(window, PREFERENCES_OPEN_TYPE, "JPEG"));
    HeadlessChoose(window, PREFERENCES_SAVE_TYPE, FILE_SAVE_PNG - 1);
    HeadlessClick(window, PREFERENCES_PRESERVE_TYPE);
    HeadlessClick(window, PREFERENCES_ON_TOP);
    HeadlessClick(window, PREFERENCES_SMOOTH_ZOOM);
    HeadlessChoose(window, PREFERENCES_RULER, 4);
    HeadlessChoose(window, PREFERENCES_PREVIEW_SIZE, 1);
    HeadlessQueueAnswer(ANSWER_YES);
    HeadlessClick(window, DIALOG_OK);

    const HeadlessMessage *message = HeadlessLastMessage();
    ASSERT_NE(message, nullptr);
    EXPECT_STREQ(message->text, "Save settings for future sessions?");
    EXPECT_EQ(message->kind, MESSAGE_YES_NO);
    EXPECT_FALSE(PlatformWindowExists(window));
    EXPECT_EQ(Stored("confirm"), "no");
    EXPECT_EQ(Stored("tempdirectory"), "\"/var/tmp/vistel\"");

    // What the next run reads is what the dialog showed.
    Preferences chosen = Prefs;
    PreferencesDefault(&Prefs);
    ReadPreferences();
    EXPECT_EQ(Prefs.confirm, 0);
    EXPECT_EQ(Prefs.workspace[0], 0.0);
    EXPECT_NEAR(Prefs.workspace[1], 0.2, 1e-6); // 51 of 255, kept to six decimals
    EXPECT_EQ(Prefs.workspace[2], 1.0);
    EXPECT_EQ(Prefs.borderWidth, 24);
    EXPECT_EQ(Prefs.borderColor[0], 1.0);
    EXPECT_EQ(Prefs.borderColor[2], 0.0);
    EXPECT_STREQ(Prefs.tempDirectory, "/var/tmp/vistel");
    EXPECT_EQ(Prefs.defaultResolution, 72.5);
    EXPECT_EQ(Prefs.defaultUnits, 2);
    EXPECT_EQ(Prefs.displayFullPathName, 1);
    EXPECT_EQ(Prefs.undo, UNDO_NONE);
    EXPECT_EQ(Prefs.fileMenuLength, 10);
    EXPECT_EQ(Prefs.defaultFileOpenType, FILE_OPEN_JPEG);
    EXPECT_EQ(Prefs.defaultFileSaveType, FILE_SAVE_PNG);
    EXPECT_EQ(Prefs.honorFileSaveType, 0);
    EXPECT_EQ(Prefs.transformationOnTop, 1);
    EXPECT_EQ(Prefs.defaultPreview, 1);
    EXPECT_EQ(Prefs.smoothZoom, 0);
    EXPECT_EQ(Prefs.showRuler, 4);
    EXPECT_EQ(Prefs.maxPreviewSize, 1);
    EXPECT_EQ(Prefs.stickySettings, 1);
    EXPECT_EQ(chosen.borderWidth, 24);
    EXPECT_EQ(chosen.defaultResolution, 72.5);
}

TEST_F(PreferencesDialog, OkWithNoChangesTheRunButNotTheStore)
{
    WindowHandle window = Show();
    HeadlessSetEditText(window, PREFERENCES_BORDER_WIDTH, "3");
    HeadlessChoose(window, PREFERENCES_UNDO, UNDO_SINGLE);
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_EQ(Prefs.borderWidth, 3);
    EXPECT_EQ(Prefs.undo, UNDO_SINGLE);
    EXPECT_EQ(Stored("border"), "(absent)");
    EXPECT_EQ(Stored("undo"), "(absent)");
    EXPECT_FALSE(PlatformWindowExists(window));
}

TEST_F(PreferencesDialog, CancelAndClosingChangeNothing)
{
    Preferences before = Prefs;
    WindowHandle window = Show();
    HeadlessSetEditText(window, PREFERENCES_BORDER_WIDTH, "3");
    HeadlessClick(window, PREFERENCES_CONFIRM);
    HeadlessClick(window, DIALOG_CANCEL);
    EXPECT_FALSE(PlatformWindowExists(window));
    EXPECT_EQ(memcmp(&before, &Prefs, sizeof before), 0);
    EXPECT_EQ(HeadlessMessageCount(), 0);

    window = Show();
    HeadlessSetEditText(window, PREFERENCES_BORDER_WIDTH, "3");
    PlatformSendMessage(window, MSG_CLOSE, 0, 0);
    EXPECT_FALSE(PlatformWindowExists(window));
    EXPECT_EQ(Prefs.borderWidth, before.borderWidth);
}

TEST_F(PreferencesDialog, TheResolutionFieldTakesNumbersOfTheForm9999Point9)
{
    WindowHandle window = Show();
    struct Typed {
        const char *text;
        const char *shown;
    };
    const Typed typed[] = {
        {"3", "3"},           {"30", "30"},         {"300", "300"},        {"300.", "300."},
        {"300.5", "300.5"},   {"300.55", "300.5"},  {"abc", "300.5"},      {"12345", "300.5"},
        {"1234.5", "1234.5"}, {"-1", "1234.5"},     {"1e3", "1234.5"},     {"", ""},
        {".5", ".5"},         {"9999.9", "9999.9"}, {"9999.9.", "9999.9"},
    };
    for (const Typed &t : typed) {
        SCOPED_TRACE(t.text);
        HeadlessSetEditText(window, PREFERENCES_RESOLUTION, t.text);
        EXPECT_EQ(ControlText(window, PREFERENCES_RESOLUTION), t.shown);
    }
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_EQ(Prefs.defaultResolution, 9999.9);

    // An empty or zero field keeps the resolution; so does a field left alone, even when
    // the stored value has more decimals than it shows.
    Prefs.defaultResolution = 200.25;
    window = Show();
    EXPECT_EQ(ControlText(window, PREFERENCES_RESOLUTION), "200.3");
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_EQ(Prefs.defaultResolution, 200.25);
    window = Show();
    HeadlessSetEditText(window, PREFERENCES_RESOLUTION, "0.0");
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_EQ(Prefs.defaultResolution, 200.25);
}

TEST_F(PreferencesDialog, BrowseChoosesAFolderForItsField)
{
    struct Browse {
        int button;
        int field;
        const char *title;
    };
    const Browse browses[] = {
        {PREFERENCES_PCD_BROWSE, PREFERENCES_PCD_FOLDER, "Select PhotoCD Directory"},
        {PREFERENCES_STARTUP_BROWSE, PREFERENCES_STARTUP_FOLDER, "Select Startup Directory"},
        {PREFERENCES_TEMP_BROWSE, PREFERENCES_TEMP_FOLDER, "Select Temp Directory"},
    };
    WindowHandle window = Show();
    for (const Browse &b : browses) {
        SCOPED_TRACE(b.title);
        HeadlessSetEditText(window, b.field, "/before");
        std::string chosen = std::string("/chosen/") + b.title;
        QueueFiles({chosen});
        HeadlessClick(window, b.button);
        const HeadlessFileDialogRecord *dialog = HeadlessLastFileDialog();
        EXPECT_STREQ(dialog->title, b.title);
        EXPECT_EQ(dialog->mode, FILE_DIALOG_FOLDER);
        EXPECT_STREQ(dialog->folder, "/before");
        EXPECT_EQ(ControlText(window, b.field), chosen);
        // Cancel leaves the field alone.
        HeadlessClick(window, b.button);
        EXPECT_EQ(ControlText(window, b.field), chosen);
    }
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_STREQ(Prefs.startupDirectory, "/chosen/Select Startup Directory");
}

TEST_F(PreferencesDialog, ValuesTakeEffectAtOnce)
{
    // The recent list is cut to the new length, its menu with it, and the startup folder is
    // where the next file dialog starts.
    for (int i = 0; i < 5; i++)
        AddRecentFile(("/p/" + std::to_string(i) + ".tif").c_str());
    WindowHandle picture = MakeWindow(TYPE_GRAY8, 4, 4, 1);
    HeadlessPaint(picture);
    Rect invalid;
    ASSERT_FALSE(HeadlessInvalid(picture, &invalid));
    WindowHandle window = Show();
    HeadlessChoose(window, PREFERENCES_FILE_LIST, 2);
    HeadlessSetEditText(window, PREFERENCES_STARTUP_FOLDER, Path("start").c_str());
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_EQ(Saved.recentCount, 2);
    EXPECT_TRUE(HeadlessMenuState(1101, nullptr, nullptr, nullptr));
    EXPECT_FALSE(HeadlessMenuState(1102, nullptr, nullptr, nullptr));
    WindowHandle opened = nullptr;
    OpenImageFile(nullptr, -1, &opened);
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("start"));
    // The picture windows are drawn again.
    EXPECT_TRUE(HeadlessInvalid(picture, &invalid));
}

TEST_F(PreferencesDialog, TheWorkspaceTakesItsNewColorAtOnceAfterOk)
{
    WindowHandle window = Show();
    HeadlessSetEditText(window, PREFERENCES_WORKSPACE, "0");
    HeadlessSetEditText(window, PREFERENCES_WORKSPACE + 1, "51");
    HeadlessSetEditText(window, PREFERENCES_WORKSPACE + 2, "255");
    HeadlessQueueAnswer(ANSWER_NO);
    HeadlessClick(window, DIALOG_OK);
    EXPECT_EQ(HeadlessWorkspaceColor(), 0x0033FFu);
}
