// The Advanced Sharpen dialog as a user drives it: the folders and the stages they run, a
// handle dragged along the histogram, the probe, a damaged file loaded, and an Apply equal to
// vistel-cli sharpen on the same file.
#include <string>

#include "core/SettingsText.h"
#include "files/TiffReader.h"
#include "shell/FileFlow.h"
#include "tests/shell/ShellTestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/AdvancedSharpen.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

namespace {

const char *const ALL_STAGES =
    "AdvancedSharpen 1.0\r\nblurradius 1.0000\r\nbluramt 0.5000\r\nblurthresh 0 20\r\n"
    "speckradius 2\r\nspeckthresh 60\r\nremovewhitespecks 1\r\nremoveblackspecks 1\r\n"
    "sharpenradius 2.0000\r\nsharpenamt 1.0000\r\nsharpenthresh 2 9\r\nend\r\n";

class AdvancedSharpenDialogs : public ShellFolderTest {
  protected:
    AdvancedSharpenParams *Params(void)
    {
        return (AdvancedSharpenParams *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    }

    void Options(int item, const std::string &path)
    {
        std::string list = path + std::string(1, '\0');
        HeadlessQueueFileDialog(list.c_str(), -1);
        HeadlessQueuePopupChoice(item);
        HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    }

    // A slider let go at position, as the mouse leaves it.
    void Slide(int id, int position)
    {
        SliderSetPosition(DialogWindow, id, position);
        PlatformSendMessage(DialogWindow, MSG_COMMAND, (uintptr_t)id | NOTIFY_RELEASED << 16, 0);
    }

    void Folder(int stage)
    {
        Rect rect;
        WindowHandle tabs = PlatformControl(DialogWindow, SHARPEN_TABS);
        PlatformGetClientRect(tabs, &rect);
        HeadlessMouse(tabs, MSG_LBUTTON_DOWN, rect.right * (2 * stage + 1) / 6, 5, 0);
    }
};

} // namespace

TEST_F(AdvancedSharpenDialogs, FoldersHandlesProbeAndADamagedFile)
{
    // Columns of 100 and 120 in turn: every inner pixel's four diagonal neighbours differ by
    // 20, so its Noise Reduction statistic is 80 / 8 = 10.
    WindowHandle input = MakePicture(TYPE_GRAY8, 400, 300);
    Image *image = &WindowRecord(input)->picture.image;
    for (int y = 0; y < 300; y++)
        for (int x = 0; x < 400; x++)
            PictureSetSample(image, x, y, 0, x % 2 ? 120 : 100);
    ASSERT_EQ(TransformDialogOpen(&AdvancedSharpenDialog, input), ERROR_NONE);
    EXPECT_EQ(Params()->stage, SHARPEN_STAGE_NOISE);
    EXPECT_EQ(Params()->source, image);
    // A grid of 3: 134 columns by 100 rows; the first and last columns see one differing
    // column only, 40 / 8 = 5.
    EXPECT_EQ(Params()->histogram[10], 132u * 100u);
    EXPECT_EQ(Params()->histogram[5], 200u);

    // A blur amount of a half; to the Sharpen folder: Noise Reduction then runs over the
    // whole picture with its bar, Speck Removal passes, and the histogram is built.
    Slide(SHARPEN_BLUR_AMOUNT, 512);
    EXPECT_EQ(Params()->blurAmount, 0.5);
    char text[80];
    PlatformGetControlText(DialogWindow, SHARPEN_BLUR_AMOUNT + 1, text, sizeof text);
    EXPECT_STREQ(text, "Blur Amount: 50.0%");
    int bars = HeadlessProgressCount();
    Folder(SHARPEN_STAGE_SHARPEN);
    EXPECT_EQ(Params()->stage, SHARPEN_STAGE_SHARPEN);
    ASSERT_EQ(HeadlessProgressCount(), bars + 2);
    EXPECT_STREQ(HeadlessProgressAt(bars)->title, "Noise Reduction");
    EXPECT_STREQ(HeadlessProgressAt(HeadlessProgressCount() - 1)->title, "Histogram");
    EXPECT_EQ(Params()->noiseResult.width, 400);
    EXPECT_EQ(Params()->passed[SHARPEN_STAGE_SPECK], 1);
    EXPECT_EQ(Params()->stale, 1);
    // Back to the first folder runs nothing; a stopped move stays where it was.
    Folder(SHARPEN_STAGE_NOISE);
    EXPECT_EQ(Params()->stage, SHARPEN_STAGE_NOISE);
    HeadlessAbortAtPump(2);
    Folder(SHARPEN_STAGE_SPECK);
    EXPECT_EQ(Params()->stage, SHARPEN_STAGE_NOISE);
    EXPECT_EQ(Params()->stale, 0);
    HeadlessAbortAtPump(-1);

    // Both handles stand at 255: the press takes the high one, which pushes the low one
    // down with it; a press just left of them then takes the low one alone.
    WindowHandle histogram = PlatformControl(DialogWindow, SHARPEN_HISTOGRAM);
    int bottom = SHARPEN_HISTOGRAM_HEIGHT + 3;
    HeadlessMouse(histogram, MSG_LBUTTON_DOWN, SHARPEN_PLOT_LEFT + 256, bottom, 0);
    HeadlessMouse(histogram, MSG_MOUSE_MOVE, SHARPEN_PLOT_LEFT + 128, bottom, 0);
    HeadlessMouse(histogram, MSG_LBUTTON_UP, SHARPEN_PLOT_LEFT + 128, bottom, 0);
    EXPECT_EQ(Params()->blurThresholdHigh, 127);
    EXPECT_EQ(Params()->blurThresholdLow, 127);
    EXPECT_EQ(Params()->stale, 1);
    HeadlessMouse(histogram, MSG_LBUTTON_DOWN, SHARPEN_PLOT_LEFT + 125, bottom, 0);
    HeadlessMouse(histogram, MSG_MOUSE_MOVE, SHARPEN_PLOT_LEFT + 50, bottom, 0);
    HeadlessMouse(histogram, MSG_LBUTTON_UP, SHARPEN_PLOT_LEFT + 50, bottom, 0);
    EXPECT_EQ(Params()->blurThresholdLow, 49);
    EXPECT_EQ(Params()->blurThresholdHigh, 127);

    // The probe: 10 inside the picture; at radius 2 the 8 of 16 diagonal neighbours one
    // column away give 160 / 24 = 6, and with Shift the range takes in both.
    HeadlessClick(DialogWindow, SHARPEN_PROBE);
    HeadlessMouse(input, MSG_LBUTTON_DOWN, 20, 20, 0);
    EXPECT_EQ(Params()->probeValue, 10);
    EXPECT_EQ(Params()->probeLow, -1);
    Slide(SHARPEN_BLUR_RADIUS, 293); // 293 / 1024 x 7 = 2.003: a half-width of 3
    Slide(SHARPEN_BLUR_RADIUS, 292); // 1.996: 2
    HeadlessSetShift(1);
    HeadlessMouse(input, MSG_LBUTTON_DOWN, 20, 20, 0);
    EXPECT_EQ(Params()->probeValue, 6);
    EXPECT_EQ(Params()->probeLow, 6);
    EXPECT_EQ(Params()->probeHigh, 6);
    HeadlessSetShift(0);

    // The histogram's expansion, checked in the menu when it opens again.
    for (int item : {SHARPEN_MENU_EXPAND + 2, 0}) {
        HeadlessQueuePopupChoice(item);
        HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    }
    EXPECT_EQ(Params()->histExpand, 2);
    const MenuItem *items = nullptr;
    for (int i = 0, count = HeadlessLastPopup(&items); i < count; i++)
        EXPECT_EQ(items[i].checked, items[i].id == SHARPEN_MENU_EXPAND + 2) << items[i].id;

    // A damaged file is named by error 31, and the dialog resets.
    Options(SETTINGS_OPTIONS_LOAD, Write("bad.as", "AdvancedSharpen 1.0\nbluramt 3\nend\n"));
    EXPECT_STREQ(HeadlessLastMessage()->text, "Illegal color balance file");
    EXPECT_EQ(Params()->blurAmount, 0.0);
    EXPECT_EQ(Params()->blurThresholdLow, 255);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    // Closing wrote previous.as.
    EXPECT_FALSE(TestReadFile(folder + "/previous.as").empty());
}

// The editor's Apply of a loaded file and vistel-cli sharpen with the same file give the same
// pixels, at 24 and 48 bits.
TEST_F(AdvancedSharpenDialogs, ApplyInTheEditorEqualsTheCommandLine)
{
    std::string settings = Write("all.as", ALL_STAGES);
    for (int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        std::string in = folder + "/in" + std::to_string(depth) + ".tif";
        WindowHandle input = OpenPlasmaTiff(in, 57, 41, 11, depth);
        ASSERT_NE(input, nullptr);
        ASSERT_EQ(TransformDialogOpen(&AdvancedSharpenDialog, input), ERROR_NONE);
        Options(SETTINGS_OPTIONS_LOAD, settings);
        EXPECT_EQ(Params()->sharpenThresholdHigh, 9);
        HeadlessClick(DialogWindow, BUTTON_OK);
        Image cli;
        ASSERT_NO_FATAL_FAILURE(
            ExpectCliEqualsLastOutput("sharpen '" + settings + "'", in, folder + "/out.tif", &cli));
        EXPECT_EQ(cli.type, depth == 16 ? TYPE_COLOR48 : TYPE_COLOR24);
        // And it did something.
        const Image &original = WindowRecord(input)->picture.image;
        int differ = 0;
        for (int y = 0; y < 41; y++)
            for (int x = 0; x < 57; x++)
                differ += PictureSample(original, x, y, 1) != PictureSample(cli, x, y, 1);
        EXPECT_GT(differ, 100);
        ImageFree(&cli);
    }
}
