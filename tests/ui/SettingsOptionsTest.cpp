// The settings files of a transformation dialog, through a small dialog made here whose
// settings are one curve: what opening loads, what closing writes, and the Options menu's
// Reset, Load and Save As with their messages and remembered folders.
#include "tests/shell/FileFlowTestSupport.h"

#include <cstdio>
#include <cstring>

#include "core/Text.h"
#include "transforms/CurveModel.h"
#include "ui/SettingsOptions.h"

static const int TEST_KIND = 70;         // a child kind no dialog of the program uses
static const int TEST_POINTS_TEXT = 101; // the static text that shows the settings

struct TestCurveSettings {
    CurvePoints points;
};

static TestCurveSettings Shown; // the settings of the open test dialog
static int RefreshCount;        // refreshes asked for since the dialog opened

static void TestCurveDefault(void *settings)
{
    CurvePoints *points = &((TestCurveSettings *)settings)->points;
    memset(points, 0, sizeof *points);
    points->pointCount = 2;
    points->x[1] = 255;
    points->y[1] = 255;
    points->style = CURVE_SPLINE;
    points->histExpand = CURVE_EXPAND_LINEAR;
}

static ErrorCode TestCurveRead(FileHandle file, void *settings)
{
    CurvePoints *points = &((TestCurveSettings *)settings)->points;
    return ReadCurveFile(file, &points->pointCount, points->x, points->y, &points->style,
                         &points->histExpand);
}

static ErrorCode TestCurveWrite(FileHandle file, const void *settings)
{
    const CurvePoints *points = &((const TestCurveSettings *)settings)->points;
    return WriteCurveFile(file, points->pointCount, points->x, points->y, points->style,
                          points->histExpand);
}

// The settings as the dialog would show them: every point, then the style.
static std::string Describe(const TestCurveSettings *settings)
{
    std::string text;
    for (int i = 0; i < settings->points.pointCount; i++)
        text += std::to_string(settings->points.x[i]) + "," +
                std::to_string(settings->points.y[i]) + " ";
    return text + "style " + std::to_string(settings->points.style);
}

static void TestCurveRefresh(WindowHandle dialog, void *settings)
{
    RefreshCount++;
    PlatformSetControlText(dialog, TEST_POINTS_TEXT,
                           Describe((const TestCurveSettings *)settings).c_str());
}

static const SettingsOptions CURVE_OPTIONS = {
    .kind = SETTINGS_KIND_CURVE,
    .folder = FOLDER_CURVE,
    .filterLabel = "Curve Files",
    .filterPattern = "*.crv",
    .loadTitle = "Load Curve",
    .saveTitle = "Save Curve",
    .settingsSize = sizeof(TestCurveSettings),
    .setDefaults = TestCurveDefault,
    .reader = TestCurveRead,
    .writer = TestCurveWrite,
    .refresh = TestCurveRefresh,
    .cancelSaveShowsError = 1,
    .foreign = nullptr,
    .foreignCount = 0,
};

static const SettingsOptions *Options = &CURVE_OPTIONS; // the open dialog's description

static MessageResult TestDialogProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                         intptr_t lParam)
{
    switch (message) {
    case MSG_CREATE: {
        SettingsOptionsOpen(Options, &Shown);
        int x = SettingsOptionsButtonCreate(window, 10, 10);
        Rect rect = {x, 10, x + 300, 30};
        PlatformCreateControl(window, CONTROL_STATIC, TEST_POINTS_TEXT, "", 0, &rect);
        TestCurveRefresh(window, &Shown);
        RefreshCount = 0;
        return 0;
    }
    case MSG_COMMAND:
        if (SettingsOptionsCommand(window, wParam, Options, &Shown)) return 0;
        break;
    case MSG_DESTROY: SettingsOptionsClose(Options, &Shown); break;
    default: break;
    }
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

class SettingsOptionsTest : public ShellFilesTest {
  protected:
    std::string config; // the folder of default.crv and previous.crv

    void SetUp() override
    {
        ShellFilesTest::SetUp();
        config = Path("config");
        TestRun("mkdir -p '" + config + "'");
        HeadlessSetSettingsFolder(config.c_str());
        ChildKindRegister(TEST_KIND, TestDialogProcedure);
        Options = &CURVE_OPTIONS;
        RefreshCount = 0;
    }

    WindowHandle Open(void)
    {
        WindowCreate request = {CLASS_CHILD,  TEST_KIND, -1, "Test Curve",
                                STYLE_DIALOG, 40,        40, 400,
                                120,          nullptr,   0,  0};
        WindowHandle window = PlatformCreateWindow(&request);
        EXPECT_NE(window, nullptr);
        return window;
    }

    static std::string ShownText(WindowHandle window)
    {
        char text[256];
        PlatformGetControlText(window, TEST_POINTS_TEXT, text, sizeof text);
        return text;
    }

    // Chooses item from the Options menu and answers the file dialogs it opens with paths,
    // one each; a dialog left without an answer is cancelled.
    static void Choose(WindowHandle window, int item, const std::vector<std::string> &paths = {})
    {
        for (const std::string &path : paths)
            QueueFiles({path});
        HeadlessQueuePopupChoice(item);
        HeadlessClick(window, SETTINGS_OPTIONS_BUTTON);
    }

    void WriteText(const std::string &path, const std::string &text)
    {
        TestWriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
    }

    std::string ReadText(const std::string &path)
    {
        std::vector<uint8_t> bytes = TestReadFile(path);
        return std::string(bytes.begin(), bytes.end());
    }
};

// Curve files written by hand, so that the test does not only trust our own writer.
static const char *CURVE_THREE = "Curve 1.0\r\nnpts 3\r\nstyle linear\r\n"
                                 "point 0 0 10\r\npoint 1 128 100\r\npoint 2 255 240\r\nend\r\n";
static const char *CURVE_THREE_SHOWN = "0,10 128,100 255,240 style 1";
static const char *CURVE_FOUR = "Curve 1.0\nnpts 4\nstyle step\npoint 0 0 0\npoint 1 64 32\n"
                                "point 2 192 224\npoint 3 255 255\nend\n";
static const char *CURVE_FOUR_SHOWN = "0,0 64,32 192,224 255,255 style 0";
static const char *DEFAULT_SHOWN = "0,0 255,255 style 2";

TEST_F(SettingsOptionsTest, OpeningPrefersDefaultToPreviousAndShiftLoadsNothing)
{
    WriteText(config + "/default.crv", CURVE_THREE);
    WriteText(config + "/previous.crv", CURVE_FOUR);
    struct Case {
        int sticky;
        int shift;
        int withDefault;
        const char *shown;
    };
    const Case cases[] = {
        {1, 0, 1, CURVE_THREE_SHOWN}, // default.crv wins over previous.crv
        {0, 0, 1, CURVE_THREE_SHOWN}, // and needs no preference
        {1, 1, 1, DEFAULT_SHOWN},     // Shift held: the built-in defaults
        {1, 0, 0, CURVE_FOUR_SHOWN},  // without default.crv, previous.crv
        {0, 0, 0, DEFAULT_SHOWN},     // but only with stickysettings
        {1, 1, 0, DEFAULT_SHOWN},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::Message() << "sticky " << test.sticky << " shift " << test.shift
                                        << " default " << test.withDefault);
        if (!test.withDefault) std::remove((config + "/default.crv").c_str());
        Prefs.stickySettings = test.sticky;
        HeadlessSetShift(test.shift);
        // A dialog that was open before leaves settings behind that opening must replace.
        Shown.points.pointCount = 2;
        Shown.points.x[1] = 17;
        Shown.points.y[1] = 99;
        WindowHandle window = Open();
        EXPECT_EQ(Describe(&Shown), test.shown);
        EXPECT_EQ(ShownText(window), test.shown);
        HeadlessSetShift(0);
        // Closing writes previous.crv: put back the one the next case expects.
        PlatformDestroyWindow(window);
        WriteText(config + "/previous.crv", CURVE_FOUR);
    }
}

TEST_F(SettingsOptionsTest, ClosingWritesPreviousWhateverThePreference)
{
    Prefs.stickySettings = 0;
    WriteText(Path("three.crv"), CURVE_THREE);
    WindowHandle window = Open();
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("three.crv")});
    ASSERT_EQ(ShownText(window), CURVE_THREE_SHOWN);
    PlatformDestroyWindow(window);
    EXPECT_EQ(ReadText(config + "/previous.crv"),
              "Curve 1.0\r\nnpts 3\r\nstyle linear\r\nhistexpand 0\r\n"
              "point 0 0 10\r\npoint 1 128 100\r\npoint 2 255 240\r\nend\r\n");
    // The next opening with the preference on shows what was left.
    Prefs.stickySettings = 1;
    window = Open();
    EXPECT_EQ(ShownText(window), CURVE_THREE_SHOWN);
}

TEST_F(SettingsOptionsTest, OptionsMenuClosedWithoutAChoiceChangesNothing)
{
    WindowHandle window = Open();
    HeadlessQueuePopupChoice(0);
    HeadlessClick(window, SETTINGS_OPTIONS_BUTTON);
    const MenuItem *items;
    ASSERT_EQ(HeadlessLastPopup(&items), 4);
    EXPECT_EQ(RefreshCount, 0);
    EXPECT_EQ(HeadlessLastFileDialog()->count, 0);
    EXPECT_EQ(HeadlessMessageCount(), 0);
}

TEST_F(SettingsOptionsTest, ResetGivesTheDefaultsAndRefreshes)
{
    WriteText(config + "/default.crv", CURVE_FOUR);
    WindowHandle window = Open();
    ASSERT_EQ(ShownText(window), CURVE_FOUR_SHOWN);
    Choose(window, SETTINGS_OPTIONS_RESET);
    // The built-in defaults, not those of default.crv.
    EXPECT_EQ(Describe(&Shown), DEFAULT_SHOWN);
    EXPECT_EQ(ShownText(window), DEFAULT_SHOWN);
    EXPECT_EQ(RefreshCount, 1);
    EXPECT_EQ(HeadlessLastFileDialog()->count, 0);
}

TEST_F(SettingsOptionsTest, LoadTakesTheFile)
{
    WriteText(Path("four.crv"), CURVE_FOUR);
    WindowHandle window = Open();
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("four.crv")});
    EXPECT_EQ(HeadlessLastFileDialog()->count, 1);
    EXPECT_EQ(ShownText(window), CURVE_FOUR_SHOWN);
    EXPECT_EQ(RefreshCount, 1);
    EXPECT_EQ(HeadlessMessageCount(), 0);

    // A file without some keys gives their defaults, not what the dialog showed before.
    WriteText(Path("nostyle.crv"), "Curve 1.0\r\nnpts 2\r\npoint 0 0 30\r\npoint 1 255 200\r\n"
                                   "end\r\n");
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("nostyle.crv")});
    EXPECT_EQ(ShownText(window), "0,30 255,200 style 2");

    // A cancelled dialog changes nothing and says nothing.
    Choose(window, SETTINGS_OPTIONS_LOAD);
    EXPECT_EQ(ShownText(window), "0,30 255,200 style 2");
    EXPECT_EQ(RefreshCount, 2);
    EXPECT_EQ(HeadlessMessageCount(), 0);
}

TEST_F(SettingsOptionsTest, LoadOfABadFileShowsItsCodeAndResets)
{
    // Each of these fails after the first points were read, so a half-read curve would show.
    const char *bad[] = {
        "Curve 1.0\r\nnpts 3\r\npoint 0 0 10\r\npoint 1 128 100\r\npoint 2 255 240\r\n",
        "Curve 1.0\r\nnpts 3\r\npoint 0 0 10\r\ncolour red\r\nend\r\n",
        "Curve 2.0\r\nnpts 3\r\nend\r\n",
        "Curve 1.0\r\nnpts 3\r\npoint 0 0 10\r\npoint 1 128 100\r\npoint 2 255 999\r\nend\r\n",
        "",
    };
    WriteText(config + "/default.crv", CURVE_FOUR);
    WindowHandle window = Open();
    for (const char *text : bad) {
        SCOPED_TRACE(text);
        ASSERT_EQ(ShownText(window), CURVE_FOUR_SHOWN);
        WriteText(Path("bad.crv"), text);
        int refreshes = RefreshCount;
        int messages = HeadlessMessageCount();
        Choose(window, SETTINGS_OPTIONS_LOAD, {Path("bad.crv")});
        ASSERT_EQ(HeadlessMessageCount(), messages + 1);
        EXPECT_STREQ(HeadlessLastMessage()->text, "Illegal curve file");
        EXPECT_EQ(Describe(&Shown), DEFAULT_SHOWN);
        EXPECT_EQ(ShownText(window), DEFAULT_SHOWN);
        EXPECT_EQ(RefreshCount, refreshes + 1);
        Choose(window, SETTINGS_OPTIONS_LOAD, {config + "/default.crv"});
    }
}

TEST_F(SettingsOptionsTest, LoadOfAMissingFileShowsOpenFailureAndKeepsTheSettings)
{
    WriteText(config + "/default.crv", CURVE_THREE);
    WindowHandle window = Open();
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("missing.crv")});
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text, ErrorText(ERROR_OPEN_FILE));
    EXPECT_EQ(Describe(&Shown), CURVE_THREE_SHOWN);
    EXPECT_EQ(RefreshCount, 0);
}

TEST_F(SettingsOptionsTest, SaveAsAsksAgainOnAnotherExtensionAndAddsItsOwn)
{
    WriteText(config + "/default.crv", CURVE_THREE);
    WindowHandle window = Open();
    Choose(window, SETTINGS_OPTIONS_SAVE, {Path("x.txt"), Path("x")});
    // The wrong extension opened the dialog again.
    EXPECT_EQ(HeadlessLastFileDialog()->count, 2);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessMessageAt(0)->title, "Error");
    EXPECT_STREQ(HeadlessMessageAt(0)->text, "Curve files must have an extension of .crv");
    EXPECT_TRUE(TestReadFile(Path("x.txt")).empty());
    EXPECT_TRUE(TestReadFile(Path("x")).empty());
    // What was written reads back through the reader as the settings shown.
    EXPECT_EQ(ReadText(Path("x.crv")),
              "Curve 1.0\r\nnpts 3\r\nstyle linear\r\nhistexpand 0\r\n"
              "point 0 0 10\r\npoint 1 128 100\r\npoint 2 255 240\r\nend\r\n");
    Choose(window, SETTINGS_OPTIONS_RESET);
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("x.crv")});
    EXPECT_EQ(ShownText(window), CURVE_THREE_SHOWN);
    EXPECT_EQ(HeadlessMessageCount(), 1);

    // A path with the right extension is taken as it is, and replaces an old file.
    Choose(window, SETTINGS_OPTIONS_RESET);
    Choose(window, SETTINGS_OPTIONS_SAVE, {Path("x.crv")});
    EXPECT_EQ(HeadlessMessageCount(), 1);
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("x.crv")});
    EXPECT_EQ(ShownText(window), DEFAULT_SHOWN);
}

TEST_F(SettingsOptionsTest, SaveFailureShowsCreateFailureUnderThePath)
{
    WindowHandle window = Open();
    Choose(window, SETTINGS_OPTIONS_SAVE, {Path("no-such-folder/x.crv")});
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_EQ(std::string(HeadlessLastMessage()->text),
              Path("no-such-folder/x.crv") + "\n" + ErrorText(ERROR_CREATE_FILE));
}

TEST_F(SettingsOptionsTest, CancelledSaveShowsCreateFailureOnlyWhenAsked)
{
    for (int flag : {1, 0}) {
        SCOPED_TRACE(flag);
        SettingsOptions options = CURVE_OPTIONS;
        options.cancelSaveShowsError = flag;
        Options = &options;
        WindowHandle window = Open();
        int messages = HeadlessMessageCount();
        Choose(window, SETTINGS_OPTIONS_SAVE);
        ASSERT_EQ(HeadlessMessageCount(), messages + flag);
        if (flag) {
            EXPECT_STREQ(HeadlessLastMessage()->text, ErrorText(ERROR_CREATE_FILE));
        }
        PlatformDestroyWindow(window);
    }
}

TEST_F(SettingsOptionsTest, NextDialogStartsInTheFolderOfTheLastLoadOrSave)
{
    TestRun("mkdir -p '" + Path("curves") + "' '" + Path("shared") + "' '" + Path("start") + "'");
    WriteText(Path("curves/a.crv"), CURVE_THREE);
    WriteText(Path("shared/b.crv"), CURVE_FOUR);
    StrCopyLimit(Path("start").c_str(), Prefs.startupDirectory, PATH_LENGTH - 1);

    // Curves keep a folder of their own: before any, they start where shared dialogs do.
    WindowHandle window = Open();
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("curves/a.crv")});
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("start"));
    Choose(window, SETTINGS_OPTIONS_SAVE);
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("curves"));
    EXPECT_EQ(std::string(Saved.lastCrvDirectory), Path("curves"));
    PlatformDestroyWindow(window);

    // A kind of the shared folder: its Load moves the shared folder, not the curves' one.
    SettingsOptions shared = CURVE_OPTIONS;
    shared.folder = FOLDER_SHARED;
    Options = &shared;
    window = Open();
    Choose(window, SETTINGS_OPTIONS_LOAD, {Path("shared/b.crv")});
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("start"));
    EXPECT_EQ(ShownText(window), CURVE_FOUR_SHOWN);
    Choose(window, SETTINGS_OPTIONS_LOAD);
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("shared"));
    PlatformDestroyWindow(window);

    Options = &CURVE_OPTIONS;
    window = Open();
    Choose(window, SETTINGS_OPTIONS_LOAD);
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("curves"));

    // A Save As remembers its folder too, even when it asks again.
    TestRun("mkdir -p '" + Path("saved") + "'");
    Choose(window, SETTINGS_OPTIONS_SAVE, {Path("saved/c.txt"), Path("saved/c")});
    EXPECT_EQ(std::string(HeadlessLastFileDialog()->folder), Path("saved"));
    EXPECT_EQ(std::string(Saved.lastCrvDirectory), Path("saved"));
}
