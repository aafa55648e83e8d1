// The Color Balance dialog as a user drives it: opening on the measured points, the lists,
// the graph dragged with the mouse, Options Reset, Load and Save As with their messages, the
// Amount, and results identical to vistel-cli color-balance on the same files.
#include <cstring>
#include <string>

#include "core/Preferences.h"
#include "core/SettingsText.h"
#include "files/TiffReader.h"
#include "masks/AmountControl.h"
#include "shell/FileFlow.h"
#include "tests/shell/ShellTestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/ColorBalance.h"
#include "transforms/ColorBalanceGraph.h"
#include "transforms/TransformDialogs.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

namespace {

const char *const CAST_FILE =
    "ColorBalance 1.0\r\nwhite 200 210 220 255 250 245\r\n"
    "neutral 1 100 110 120 118 118 118\r\nblack 10 20 30 0 5 0\r\nend\r\n";

class ColorBalanceDialogs : public ShellFolderTest {
  protected:
    ColorBalanceSettings *Settings(void)
    {
        return (ColorBalanceSettings *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    }

    // Answers the next file dialog with path, as a list of one ended by an empty string.
    void Answer(const std::string &path)
    {
        std::string list = path + std::string(1, '\0');
        HeadlessQueueFileDialog(list.c_str(), -1);
    }

    // Chooses an item of the Options menu, with a file dialog's answer queued when given.
    void Options(int item, const char *path = nullptr)
    {
        if (path != nullptr) Answer(path);
        HeadlessQueuePopupChoice(item);
        HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    }

    void ExpectLists(int highlight, int shadow, int midtone)
    {
        EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_HIGHLIGHT), highlight);
        EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_SHADOW), shadow);
        EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_MIDTONE), midtone);
    }
};

TEST_F(ColorBalanceDialogs, OpensOnTheMeasuredWhiteAndThenOnDefaultCb)
{
    EXPECT_EQ(TransformDialogOpen(&ColorBalanceDialog, MakePicture(TYPE_GRAY8, 8, 8)),
              ERROR_ILLEGAL_TYPE);
    // A flat (40, 50, 60) picture: its white point is that color, and the highlight adds its
    // gray, Luminance = (12240 + 30050 + 7020) >> 10 = 48.
    WindowHandle input = MakePicture(TYPE_COLOR24, 30, 20);
    Image *image = &WindowRecord(input)->picture.image;
    for (int y = 0; y < 20; y++)
        for (int x = 0; x < 30; x++)
            for (int c = 0; c < 3; c++)
                PictureSetSample(image, x, y, c, 60 - 10 * c);
    ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, input), ERROR_NONE);
    ASSERT_NE(DialogWindow, nullptr);
    ExpectLists(BALANCE_AUTO, BALANCE_NONE, BALANCE_NONE);
    EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_PROBE), PROBE_HIGHLIGHT);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_RED], 40);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_BLUE], 60);
    EXPECT_EQ(Settings()->highlightAdd[BALANCE_GREEN], 48);
    // The input's picture changes: its white is measured again, and the highlight in auto
    // follows it while the custom shadow stays.
    HeadlessChoose(DialogWindow, COLOR_BALANCE_SHADOW, BALANCE_CUSTOM);
    for (int y = 0; y < 20; y++)
        for (int x = 0; x < 30; x++)
            PictureSetSample(image, x, y, 2, 90); // red
    NotifyUsers(input);
    EXPECT_EQ(Settings()->autoWhite[BALANCE_RED], 90);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_RED], 90);
    EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_SHADOW), BALANCE_CUSTOM);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);

    // default.cb overrides the measured points, unless Shift is held.
    Write("default.cb", CAST_FILE);
    ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, input), ERROR_NONE);
    ExpectLists(BALANCE_CUSTOM, BALANCE_CUSTOM, BALANCE_MIDTONE_CUSTOM);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_RED], 200);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    HeadlessSetShift(1);
    ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, input), ERROR_NONE);
    HeadlessSetShift(0);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_RED], 90); // the picture's new white
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    // Closing writes nothing beside default.cb.
    EXPECT_EQ(TestFolderFiles(folder).size(), 1u);
}

TEST_F(ColorBalanceDialogs, ListsAndTheGraphEditTheColors)
{
    ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, MakePicture(TYPE_COLOR24, 40, 30)),
              ERROR_NONE);
    HeadlessChoose(DialogWindow, COLOR_BALANCE_HIGHLIGHT, BALANCE_NONE);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_GREEN], 255);
    EXPECT_EQ(Settings()->highlightAdd[BALANCE_GREEN], 255);
    HeadlessChoose(DialogWindow, COLOR_BALANCE_MIDTONE, BALANCE_MIDTONE_CUSTOM);
    EXPECT_EQ(Settings()->midtoneEnabled, 1);

    // The highlight's red point stands at (127, 0) of the plot; all three coincide and red is
    // tested first. Dragged to (100, 10): remove 200, add 255 - 20 = 235.
    WindowHandle graph = PlatformControl(DialogWindow, COLOR_BALANCE_GRAPH);
    ASSERT_NE(graph, nullptr);
    Rect plot;
    ColorBalanceGraphPlot(&plot);
    SettingsDirty = 0;
    HeadlessMouse(graph, MSG_LBUTTON_DOWN, plot.left + 126, plot.top + 2, 0);
    EXPECT_EQ(HeadlessCapture(), graph);
    HeadlessMouse(graph, MSG_MOUSE_MOVE, plot.left + 100, plot.top + 10, 0);
    EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_HIGHLIGHT), BALANCE_CUSTOM);
    EXPECT_EQ(SettingsDirty, 0); // the preview waits for the release
    HeadlessMouse(graph, MSG_LBUTTON_UP, plot.left + 100, plot.top + 10, 0);
    EXPECT_EQ(HeadlessCapture(), nullptr);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_RED], 200);
    EXPECT_EQ(Settings()->highlightAdd[BALANCE_RED], 235);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_GREEN], 255);
    EXPECT_EQ(SettingsDirty, 1);

    // The graph paints the red highlight point where it now stands, a red square on the
    // gray plot, and the highlight's add swatch in (235, 255, 255).
    HeadlessPaint(graph);
    const Image *canvas = HeadlessCanvas(graph);
    ASSERT_NE(canvas, nullptr);
    auto pixel = [canvas](int x, int y) {
        const uint8_t *at = canvas->rows[canvas->height - 1 - y] + 3 * x; // blue first
        return (uint32_t)at[2] << 16 | (uint32_t)at[1] << 8 | at[0];
    };
    EXPECT_EQ(pixel(plot.left + 100, plot.top + 10), 0xE00000u);
    EXPECT_EQ(pixel(plot.left + 90, plot.top + 40), 0xA0A0A0u);
    Rect swatch;
    ColorBalanceSwatchRect(BALANCE_SWATCH_HIGHLIGHT_ADD, &swatch);
    EXPECT_EQ(pixel(swatch.left + 5, swatch.top + 5), 0xEBFFFFu);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

TEST_F(ColorBalanceDialogs, SwatchesOpenColorControlsWhoseMovesEditTheColors)
{
    ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, MakePicture(TYPE_COLOR24, 40, 30)),
              ERROR_NONE);
    HeadlessChoose(DialogWindow, COLOR_BALANCE_HIGHLIGHT, BALANCE_NONE);
    WindowHandle graph = PlatformControl(DialogWindow, COLOR_BALANCE_GRAPH);
    auto click = [graph](int swatch) {
        Rect rect;
        ColorBalanceSwatchRect(swatch, &rect);
        HeadlessMouse(graph, MSG_LBUTTON_DOWN, rect.left + 3, rect.top + 3, 0);
        HeadlessMouse(graph, MSG_LBUTTON_UP, rect.left + 3, rect.top + 3, 0);
    };
    click(BALANCE_SWATCH_MIDTONE_REMOVE);
    WindowHandle remove = HeadlessFindWindow("Remove Midtone Cast");
    ASSERT_NE(remove, nullptr);
    int windows = HeadlessWindowCount();
    click(BALANCE_SWATCH_MIDTONE_REMOVE); // at most one control a swatch
    EXPECT_EQ(HeadlessWindowCount(), windows);
    click(BALANCE_SWATCH_MIDTONE_ADD);
    WindowHandle add = HeadlessFindWindow("Add Midtone Cast");
    ASSERT_NE(add, nullptr);
    char text[64];
    PlatformGetControlText(add, 211, text, sizeof text);
    EXPECT_STREQ(text, "Red: 128");

    // Red to 200 (position 803): the midtone turns on, and its add color becomes the gray
    // of (200, 128, 128), (61200 + 76928 + 14976) >> 10 = 149, shown in the open control.
    SliderSetPosition(remove, 201, 803);
    PlatformSendMessage(remove, MSG_COMMAND, 201 | NOTIFY_MOVED << 16,
                        (intptr_t)PlatformControl(remove, 201));
    EXPECT_EQ(Settings()->midtoneRemove[BALANCE_RED], 200);
    EXPECT_EQ(Settings()->midtoneEnabled, 1);
    EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_MIDTONE), BALANCE_MIDTONE_CUSTOM);
    PlatformGetControlText(add, 212, text, sizeof text);
    EXPECT_STREQ(text, "Green: 149");

    // Resting on a swatch for a second shows its tip; moving off takes it away.
    Rect swatch;
    ColorBalanceSwatchRect(BALANCE_SWATCH_SHADOW_ADD, &swatch);
    HeadlessMouse(graph, MSG_MOUSE_MOVE, swatch.left + 2, swatch.top + 2, 0);
    EXPECT_STREQ(HeadlessControlTip(DialogWindow, COLOR_BALANCE_GRAPH), "");
    ASSERT_TRUE(HeadlessTimer(graph, COLOR_BALANCE_TIP));
    HeadlessFireTimer(graph, COLOR_BALANCE_TIP);
    EXPECT_STREQ(HeadlessControlTip(DialogWindow, COLOR_BALANCE_GRAPH),
                 "Click to set shadow color to add");
    HeadlessMouse(graph, MSG_MOUSE_MOVE, 5, 5, 0);
    EXPECT_STREQ(HeadlessControlTip(DialogWindow, COLOR_BALANCE_GRAPH), "");
    EXPECT_FALSE(HeadlessTimer(graph, COLOR_BALANCE_TIP));

    // Grabbing a point hides the controls until the release; Reset closes them.
    Rect plot;
    ColorBalanceGraphPlot(&plot);
    HeadlessMouse(graph, MSG_LBUTTON_DOWN, plot.left + 127, plot.top, 0);
    EXPECT_EQ(PlatformWindowState(add), SHOW_HIDE);
    HeadlessMouse(graph, MSG_LBUTTON_UP, plot.left + 127, plot.top, 0);
    EXPECT_EQ(PlatformWindowState(add), SHOW_NORMAL);
    Options(SETTINGS_OPTIONS_RESET);
    EXPECT_EQ(HeadlessFindWindow("Remove Midtone Cast"), nullptr);
    EXPECT_EQ(HeadlessFindWindow("Add Midtone Cast"), nullptr);
    // The dialog takes an open control with it.
    click(BALANCE_SWATCH_SHADOW_ADD);
    ASSERT_NE(HeadlessFindWindow("Add Shadow Cast"), nullptr);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    EXPECT_EQ(HeadlessFindWindow("Add Shadow Cast"), nullptr);
}

TEST_F(ColorBalanceDialogs, AProbeClickOnThePictureSetsTheTargetsColors)
{
    // A flat (40, 50, 60) picture, so that any point of it reads that color.
    WindowHandle input = MakePicture(TYPE_COLOR24, 30, 20);
    Image *image = &WindowRecord(input)->picture.image;
    for (int y = 0; y < 20; y++)
        for (int x = 0; x < 30; x++)
            for (int c = 0; c < 3; c++)
                PictureSetSample(image, x, y, c, 60 - 10 * c);
    ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, input), ERROR_NONE);
    HeadlessChoose(DialogWindow, COLOR_BALANCE_PROBE, PROBE_SHADOW);
    HeadlessMouse(input, MSG_LBUTTON_DOWN, 10, 10, 0);
    HeadlessMouse(input, MSG_LBUTTON_UP, 10, 10, 0);
    // The shadow stops below the highlight, which is that very color: (39, 49, 59), whose
    // gray is (11934 + 29449 + 6903) >> 10 = 47.
    EXPECT_EQ(Settings()->shadowRemove[BALANCE_RED], 39);
    EXPECT_EQ(Settings()->shadowRemove[BALANCE_BLUE], 59);
    EXPECT_EQ(Settings()->shadowAdd[BALANCE_GREEN], 47);
    EXPECT_EQ(PopupListChoice(DialogWindow, COLOR_BALANCE_SHADOW), BALANCE_CUSTOM);
    // Without a probe target the picture's clicks are its own again.
    HeadlessChoose(DialogWindow, COLOR_BALANCE_PROBE, PROBE_NONE);
    EXPECT_EQ(ToolTarget, nullptr);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

TEST_F(ColorBalanceDialogs, OptionsLoadSaveAndResetWithTheirMessages)
{
    ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, MakePicture(TYPE_COLOR24, 40, 30)),
              ERROR_NONE);
    std::string good = Write("cast.cb", CAST_FILE);
    Options(SETTINGS_OPTIONS_LOAD, good.c_str());
    EXPECT_STREQ(HeadlessLastFileDialog()->title, "Load Color Balance");
    ExpectLists(BALANCE_CUSTOM, BALANCE_CUSTOM, BALANCE_MIDTONE_CUSTOM);
    EXPECT_EQ(Settings()->shadowAdd[BALANCE_GREEN], 5);

    // Save As: another extension is refused and asked again; a name without one gets ".cb".
    int before = HeadlessMessageCount();
    Answer(folder + "/wrong.txt");
    Options(SETTINGS_OPTIONS_SAVE, (folder + "/saved").c_str());
    ASSERT_EQ(HeadlessMessageCount(), before + 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text, "color balance files must have an extension of .cb");
    std::vector<uint8_t> saved = TestReadFile(folder + "/saved.cb");
    EXPECT_EQ(std::string(saved.begin(), saved.end()), CAST_FILE);
    // Dismissing the save dialog answers "Cannot create file", as this dialog always has.
    Options(SETTINGS_OPTIONS_SAVE);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Cannot create file");

    // A file that does not open changes nothing; a damaged one is named and resets.
    Options(SETTINGS_OPTIONS_LOAD, (folder + "/missing.cb").c_str());
    EXPECT_STREQ(HeadlessLastMessage()->text, "Cannot open file");
    EXPECT_EQ(Settings()->shadowAdd[BALANCE_GREEN], 5);
    std::string bad = Write("bad.cb", "ColorBalance 1.0\nwhite 1 2 3 4 5 6\nblack 1 2\nend\n");
    Options(SETTINGS_OPTIONS_LOAD, bad.c_str());
    EXPECT_STREQ(HeadlessLastMessage()->text, "Illegal color balance file");
    ExpectLists(BALANCE_AUTO, BALANCE_NONE, BALANCE_NONE);
    EXPECT_EQ(Settings()->shadowAdd[BALANCE_GREEN], 0);
    EXPECT_EQ(Settings()->highlightRemove[BALANCE_RED], Settings()->autoWhite[BALANCE_RED]);

    // Full Range: both ends measured, pure white and black added.
    Options(BALANCE_MENU_FULL_RANGE);
    ExpectLists(BALANCE_AUTO, BALANCE_AUTO, BALANCE_NONE);
    EXPECT_EQ(Settings()->highlightAdd[BALANCE_RED], 255);
    EXPECT_EQ(memcmp(Settings()->shadowRemove, Settings()->autoBlack, 3), 0);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

// The editor's Apply and vistel-cli color-balance on the same file and .cb, at 24 and 48
// bits, fully and at half the amount, give the same pixels; 48 bits stay 48.
TEST_F(ColorBalanceDialogs, ApplyInTheEditorEqualsTheCommandLine)
{
    std::string cast = Write("cast.cb", CAST_FILE);
    for (int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        std::string in = folder + "/in" + std::to_string(depth) + ".tif";
        WindowHandle input = OpenPlasmaTiff(in, 57, 41, 11, depth);
        ASSERT_NE(input, nullptr);
        for (int percent : {100, 50}) {
            SCOPED_TRACE(percent);
            ASSERT_EQ(TransformDialogOpen(&ColorBalanceDialog, input), ERROR_NONE);
            Options(SETTINGS_OPTIONS_LOAD, cast.c_str());
            WindowHandle amount = PlatformControl(DialogWindow, COLOR_BALANCE_AMOUNT);
            AmountSetting setting;
            AmountGet(amount, &setting);
            setting.low = AmountPosition(percent);
            AmountSet(amount, &setting);
            PlatformSendMessage(DialogWindow, MSG_AMOUNT_CHANGED, COLOR_BALANCE_AMOUNT, 0);
            HeadlessClick(DialogWindow, BUTTON_OK);
            Image cli;
            ASSERT_NO_FATAL_FAILURE(ExpectCliEqualsLastOutput(
                "color-balance --amount " + std::to_string(percent) + " '" + cast + "'", in,
                folder + "/out.tif", &cli));
            EXPECT_EQ(cli.type, depth == 16 ? TYPE_COLOR48 : TYPE_COLOR24);
            ImageFree(&cli);
        }
    }
    // A damaged file: the code's text naming the file, and no output.
    std::string bad = Write("bad.cb", "ColorBalance 1.0\nwhite 1 2 3 4 5 6\n");
    std::string output;
    EXPECT_NE(TestRun(TestCliPath() + " color-balance '" + bad + "' '" + folder + "/in8.tif' '" +
                          folder + "/none.tif' 2>&1",
                      &output),
              0);
    EXPECT_NE(output.find("Illegal color balance file"), std::string::npos) << output;
    EXPECT_TRUE(TestReadFile(folder + "/none.tif").empty());
}

} // namespace
