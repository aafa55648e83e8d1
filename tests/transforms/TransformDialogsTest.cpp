// The dialogs of Gamma Adjust, Convert and Change Color Profile, opened from the menu as a
// user opens them: their controls and texts, what their results hold, settings kept between
// openings, another input chosen, and results identical to vistel-cli's on the same file.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "color/ColorSettings.h"
#include "color/ColorSpace.h"
#include "color/Profiles.h"
#include "core/Helpers.h"
#include "core/Preferences.h"
#include "core/Resample.h"
#include "files/TiffReader.h"
#include "files/TiffWriter.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "tests/color/ProfileTestSupport.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/BrightnessCurve.h"
#include "transforms/ChangeProfile.h"
#include "transforms/ColorCurves.h"
#include "transforms/Convert.h"
#include "transforms/CurveControl.h"
#include "transforms/GammaAdjust.h"
#include "transforms/MirrorRotate.h"
#include "transforms/Resize.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"

namespace {

class TransformDialogs : public ShellTest {
  protected:
    std::string folder;

    void SetUp() override
    {
        ShellTest::SetUp();
        folder = TestCaseFolder();
        // Two profiles to choose from, and a scanner's that no pixels can be made for.
        TestRun("mkdir -p '" + folder + "/user' && cp '" + SYSTEM_ADOBE + "' '" + SYSTEM_BLUISH +
                "' '" + folder + "/user/'");
        TestWriteFile(folder + "/user/scanner.icc",
                      TestProfileBytes("scnr", "RGB ", {TestDescTag("Test Scanner")}));
        ProfileFoldersSet((folder + "/user").c_str(), "", "");
        Prefs.stickySettings = 1;
        // Each test starts from the settings of a first opening, whatever ran before it in
        // the same process.
        for (int kind = 0; kind < 256; kind++)
            if (const TransformDialogKind *dialog = TransformDialogByKind(kind))
                dialog->memory->useDefaults = 1;
    }

    void TearDown() override
    {
        ProfileFoldersDefault();
        ShellTest::TearDown();
    }

  public:
    // Texts of a dialog's control.
    std::string Text(int id)
    {
        char text[512];
        PlatformGetControlText(DialogWindow, id, text, sizeof text);
        return text;
    }

    // The slider let go at position, as the mouse leaves it.
    void SlideTo(int id, int position)
    {
        SliderSetPosition(DialogWindow, id, position);
        WindowHandle slider = PlatformControl(DialogWindow, id);
        PlatformSendMessage(DialogWindow, MSG_COMMAND, (uintptr_t)id | NOTIFY_MOVED << 16,
                            (intptr_t)slider);
        PlatformSendMessage(DialogWindow, MSG_COMMAND, (uintptr_t)id | NOTIFY_RELEASED << 16,
                            (intptr_t)slider);
    }

    // The index of a list's item whose text starts with prefix, or -1.
    int ItemIndex(int id, const char *prefix)
    {
        const char *item = HeadlessControlItems(DialogWindow, id);
        for (int index = 0; item != nullptr && *item != 0; item += strlen(item) + 1, index++)
            if (strncmp(item, prefix, strlen(prefix)) == 0) return index;
        return -1;
    }
};

} // namespace

TEST_F(TransformDialogs, GammaShowsItsFactorOnALogarithmicSlider)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 64, 48);
    HeadlessChooseMenu(COMMAND_GAMMA);
    ASSERT_NE(DialogWindow, nullptr);
    EXPECT_EQ(CurrentOperation, KIND_GAMMA);
    EXPECT_EQ(HeadlessFindWindow("Gamma Adjust"), DialogWindow);
    EXPECT_STREQ(InUseBy(input), "Gamma Adjust");
    EXPECT_EQ(InputChooserWindow(DialogWindow, GAMMA_INPUT), input);
    // First opening: factor 1.0 in the middle, input gamma 2.22.
    EXPECT_EQ(SliderPosition(DialogWindow, GAMMA_SLIDER), 512);
    EXPECT_EQ(PopupListChoice(DialogWindow, GAMMA_INPUT_GAMMA), 3);
    EXPECT_STREQ(HeadlessControlItems(DialogWindow, GAMMA_INPUT_GAMMA), "1.00");
    EXPECT_EQ(Text(GAMMA_FACTOR_TEXT), "Gamma factor: 1.00");
    EXPECT_EQ(Text(GAMMA_OUTPUT_TEXT), "Output gamma: 2.22");

    // The ends are 1/e and e; the output gamma is the input gamma times the factor.
    SlideTo(GAMMA_SLIDER, 1024);
    EXPECT_EQ(Text(GAMMA_FACTOR_TEXT), "Gamma factor: 2.72");
    EXPECT_EQ(Text(GAMMA_OUTPUT_TEXT), "Output gamma: 6.03");
    SlideTo(GAMMA_SLIDER, 0);
    EXPECT_EQ(Text(GAMMA_FACTOR_TEXT), "Gamma factor: 0.37");
    EXPECT_EQ(Text(GAMMA_OUTPUT_TEXT), "Output gamma: 0.82");
    // The input gamma changes the text and nothing else: no preview goes stale for it.
    HeadlessClick(DialogWindow, BUTTON_PREVIEW);
    ASSERT_EQ(PreviewStale, 0);
    HeadlessChoose(DialogWindow, GAMMA_INPUT_GAMMA, 1);
    EXPECT_EQ(Text(GAMMA_OUTPUT_TEXT), "Output gamma: 0.52");
    EXPECT_EQ(PreviewStale, 0);
    // The slider's release does.
    SlideTo(GAMMA_SLIDER, 700);
    EXPECT_EQ(PreviewStale, 1);
}

TEST_F(TransformDialogs, GammaRefusesBinaryAndKeepsItsSettingsUnlessShiftIsHeld)
{
    WindowHandle binary = MakePicture(TYPE_BINARY, 20, 20);
    EXPECT_EQ(TransformDialogOpen(&GammaDialog, binary), ERROR_ILLEGAL_TYPE);
    EXPECT_EQ(DialogWindow, nullptr);

    WindowHandle input = MakePicture(TYPE_GRAY8, 20, 20);
    ASSERT_EQ(TransformDialogOpen(&GammaDialog, input), ERROR_NONE);
    SlideTo(GAMMA_SLIDER, 900);
    HeadlessChoose(DialogWindow, GAMMA_INPUT_GAMMA, 2);
    PlatformSendMessage(DialogWindow, MSG_CANCEL, 0, 0);
    ASSERT_EQ(DialogWindow, nullptr);

    ASSERT_EQ(TransformDialogOpen(&GammaDialog, input), ERROR_NONE);
    EXPECT_EQ(SliderPosition(DialogWindow, GAMMA_SLIDER), 900);
    EXPECT_EQ(PopupListChoice(DialogWindow, GAMMA_INPUT_GAMMA), 2);
    PlatformSendMessage(DialogWindow, MSG_CANCEL, 0, 0);

    HeadlessSetShift(1);
    ASSERT_EQ(TransformDialogOpen(&GammaDialog, input), ERROR_NONE);
    HeadlessSetShift(0);
    EXPECT_EQ(SliderPosition(DialogWindow, GAMMA_SLIDER), 512);
    PlatformSendMessage(DialogWindow, MSG_CANCEL, 0, 0);

    // Without sticky settings every opening starts afresh.
    ASSERT_EQ(TransformDialogOpen(&GammaDialog, input), ERROR_NONE);
    SlideTo(GAMMA_SLIDER, 100);
    PlatformSendMessage(DialogWindow, MSG_CANCEL, 0, 0);
    Prefs.stickySettings = 0;
    ASSERT_EQ(TransformDialogOpen(&GammaDialog, input), ERROR_NONE);
    EXPECT_EQ(SliderPosition(DialogWindow, GAMMA_SLIDER), 512);
    PlatformSendMessage(DialogWindow, MSG_CANCEL, 0, 0);
}

TEST_F(TransformDialogs, AnotherInputMovesTheMarkAndTheSizeOfTheResult)
{
    WindowHandle first = MakePicture(TYPE_GRAY8, 30, 20);
    WindowHandle second = MakePicture(TYPE_COLOR24, 70, 50);
    PlatformActivateWindow(first);
    HeadlessChooseMenu(COMMAND_GAMMA);
    HeadlessClick(DialogWindow, BUTTON_AUTO);
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_EQ(OutputWidth, 30);

    WindowHandle chooser = PlatformControl(DialogWindow, GAMMA_INPUT);
    // The list holds the pictures front to back, the menu's ids counting from 1.
    WindowHandle listed[8];
    int count = InputChooserCandidates(nullptr, listed, 8);
    int pick = -1;
    for (int i = 0; i < count; i++)
        if (listed[i] == second) pick = i + 1;
    ASSERT_GT(pick, 0);
    HeadlessQueuePopupChoice(pick);
    HeadlessMouse(chooser, MSG_LBUTTON_DOWN, 20, 10, BUTTON_LEFT);
    HeadlessMouse(chooser, MSG_LBUTTON_UP, 20, 10, 0);
    EXPECT_EQ(InputWindow, second);
    EXPECT_EQ(OutputWidth, 70);
    EXPECT_EQ(OutputHeight, 50);
    EXPECT_NE(InUseBy(second), nullptr);
    EXPECT_EQ(InUseBy(first), nullptr);
    // "Auto" was on with a preview: it stays on, and the preview shows the new input.
    EXPECT_EQ(AutoPreview, 1);
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_EQ(WindowRecord(OutputWindow)->view.type, TYPE_COLOR24);
}

// The gray of the field, on the canvas of its control at x, y from the top left.
static uint32_t CanvasColor(const Image *canvas, int x, int y)
{
    const uint8_t *pixel = canvas->rows[canvas->height - 1 - y] + 3 * x;
    return (uint32_t)pixel[2] << 16 | (uint32_t)pixel[1] << 8 | pixel[0];
}

TEST_F(TransformDialogs, MirrorRotateButtonsTurnTheFieldAndThePreviewAndApplyTheTurn)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 60, 20, 4);
    Prefs.stickySettings = 0; // from code 0, whatever an earlier test left
    HeadlessChooseMenu(COMMAND_MIRROR_ROTATE);
    ASSERT_NE(DialogWindow, nullptr);
    EXPECT_EQ(CurrentOperation, KIND_MIRROR_ROTATE);
    EXPECT_EQ(HeadlessFindWindow("Mirror/Rotate"), DialogWindow);
    EXPECT_STREQ(InUseBy(input), "Rotate/Reflect");
    EXPECT_STREQ(HeadlessControlTip(DialogWindow, IDROT270), "Rotate Counterclockwise");

    // The field: the picture, small enough to stand whole, in the middle of the gray; a
    // clockwise turn stands it upright, its top left pixel now at the top right.
    const Image *picture = &WindowRecord(input)->picture.image;
    WindowHandle field = PlatformControl(DialogWindow, MIRROR_ROTATE_PICTURE);
    struct Look {
        int button; // -1: as it opened
        int left, top, width, height;
    } looks[] = {{-1, 120, 140, 60, 20}, {IDROT90, 140, 120, 20, 60}};
    for (const Look &look : looks) {
        SCOPED_TRACE(look.button);
        if (look.button >= 0) HeadlessClick(DialogWindow, look.button);
        HeadlessPaint(field);
        const Image *canvas = HeadlessCanvas(field);
        ASSERT_NE(canvas, nullptr);
        EXPECT_EQ(CanvasColor(canvas, look.left - 1, look.top + 5), 0xC0C0C0u);
        EXPECT_EQ(CanvasColor(canvas, look.left + 5, look.top - 1), 0xC0C0C0u);
        EXPECT_EQ(CanvasColor(canvas, look.left + look.width, look.top + 5), 0xC0C0C0u);
        // The input's top left pixel (column 0 of its top row).
        uint32_t topLeft = picture->rows[19][0] * 0x010101u;
        int x = look.button < 0 ? look.left : look.left + look.width - 1;
        EXPECT_EQ(CanvasColor(canvas, x, look.top), topLeft);
    }

    // A preview has the turned size; a turn that swaps width and height again closes it,
    // and the next one is made at the new size.
    HeadlessClick(DialogWindow, BUTTON_PREVIEW);
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_EQ(OutputWidth, 20);
    EXPECT_EQ(OutputHeight, 60);
    HeadlessClick(DialogWindow, IDFLIP); // code 7: still upright, the preview stays stale
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_EQ(PreviewStale, 1);
    HeadlessClick(DialogWindow, IDROT90); // code 6: lying again
    EXPECT_EQ(OutputWindow, nullptr);
    HeadlessClick(DialogWindow, BUTTON_PREVIEW);
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_EQ(OutputWidth, 60);
    EXPECT_EQ(OutputHeight, 20);
    // With "Auto" on, the new preview comes at once and "Auto" stays.
    HeadlessClick(DialogWindow, BUTTON_AUTO);
    HeadlessClick(DialogWindow, IDROT90); // code 5
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_EQ(AutoPreview, 1);
    EXPECT_EQ(PreviewStale, 0);
    EXPECT_EQ(WindowRecord(OutputWindow)->viewWidth, 20);
    HeadlessClick(DialogWindow, BUTTON_AUTO);

    // Apply makes a window of the turned size: code 1 after a mirror.
    HeadlessClick(DialogWindow, IDREFLECT);
    HeadlessClick(DialogWindow, BUTTON_APPLY);
    ASSERT_NE(LastOutput, nullptr);
    const Image *result = &WindowRecord(LastOutput)->picture.image;
    EXPECT_EQ(result->width, 20);
    EXPECT_EQ(result->height, 60);
    // Code 1: pixel (x, y) goes to column y of row W-1-x.
    EXPECT_EQ(result->rows[60 - 1 - 7][3], picture->rows[3][7]);

    // Another input: the field shows it, reduced by 2 to fit, turned by the same code.
    WindowHandle second = MakePicture(TYPE_GRAY8, 400, 100, 9);
    WindowHandle listed[8];
    int count = InputChooserCandidates(nullptr, listed, 8);
    for (int i = 0; i < count; i++)
        if (listed[i] == second) HeadlessQueuePopupChoice(i + 1);
    WindowHandle chooser = PlatformControl(DialogWindow, MIRROR_ROTATE_INPUT);
    HeadlessMouse(chooser, MSG_LBUTTON_DOWN, 20, 10, BUTTON_LEFT);
    HeadlessMouse(chooser, MSG_LBUTTON_UP, 20, 10, 0);
    ASSERT_EQ(InputWindow, second);
    HeadlessPaint(field);
    const Image *canvas = HeadlessCanvas(field);
    // 50 by 200 from (125, 50), every second pixel of every second row from the bottom left;
    // its top right pixel is column 0 of the input's row 98.
    EXPECT_EQ(CanvasColor(canvas, 124, 100), 0xC0C0C0u);
    EXPECT_EQ(CanvasColor(canvas, 174, 50),
              WindowRecord(second)->picture.image.rows[98][0] * 0x010101u);
}

TEST_F(TransformDialogs, ConvertNamesTheSourceAndMakesTheChosenType)
{
    WindowHandle input = MakePicture(TYPE_COLOR48, 40, 30);
    HeadlessChooseMenu(COMMAND_CONVERT);
    ASSERT_EQ(CurrentOperation, KIND_CONVERT);
    EXPECT_EQ(HeadlessFindWindow("Convert"), DialogWindow);
    EXPECT_EQ(Text(CONVERT_FROM_TEXT), "Convert from: 48-bit Color");

    // A preview of a 16-bit target is 8-bit; the result is 16-bit.
    HeadlessChoose(DialogWindow, CONVERT_TARGET, CONVERT_GRAY16);
    HeadlessClick(DialogWindow, BUTTON_PREVIEW);
    EXPECT_EQ(WindowRecord(OutputWindow)->view.type, TYPE_GRAY8);
    HeadlessClick(DialogWindow, BUTTON_APPLY);
    ASSERT_NE(ActiveWindow, input);
    EXPECT_EQ(WindowRecord(ActiveWindow)->picture.image.type, TYPE_GRAY16);
    HeadlessChoose(DialogWindow, CONVERT_TARGET, CONVERT_BINARY);
    HeadlessClick(DialogWindow, BUTTON_OK);
    ASSERT_NE(LastOutput, nullptr);
    EXPECT_EQ(WindowRecord(LastOutput)->picture.image.type, TYPE_BINARY);
    EXPECT_EQ(DialogWindow, nullptr);
}

TEST_F(TransformDialogs, ConvertToColorTakesTheWorkingSpace)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 20, 10);
    ImageWindow *record = WindowRecord(input);
    ASSERT_EQ(TransformDialogOpen(&ConvertDialog, input), ERROR_NONE);
    EXPECT_EQ(Text(CONVERT_FROM_TEXT), "Convert from: 8-bit Black and White");
    HeadlessChoose(DialogWindow, CONVERT_TARGET, CONVERT_COLOR24);
    HeadlessClick(DialogWindow, BUTTON_OK);
    ASSERT_NE(LastOutput, nullptr);
    const ImageWindow *result = WindowRecord(LastOutput);
    int length = 0;
    const uint8_t *working = ColorProfileBytes(COLOR_PROFILE_WORKING, &length);
    if (working == nullptr) {
        EXPECT_EQ(result->picture.profile, nullptr);
    } else {
        ASSERT_EQ(result->picture.profileSize, length);
        EXPECT_EQ(memcmp(result->picture.profile, working, (size_t)length), 0);
    }
    EXPECT_EQ(record->picture.profile, nullptr); // the input never changes
    EXPECT_EQ(result->picture.image.rows[3][0 * 3 + 2], record->picture.image.rows[3][0]);
}

TEST_F(TransformDialogs, ChangeColorProfileConvertsAndGivesTheResultItsTarget)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 40, 30);
    HeadlessChooseMenu(COMMAND_CHANGE_PROFILE);
    ASSERT_EQ(CurrentOperation, KIND_CHANGE_PROFILE);
    // A picture without a profile counts as sRGB.
    char srgb[PROFILE_DESCRIPTION_MAX];
    const uint8_t *bytes;
    int length;
    ASSERT_EQ(SrgbProfile(&bytes, &length), ERROR_NONE);
    ASSERT_EQ(ProfileDescription(bytes, length, srgb, sizeof srgb), ERROR_NONE);
    EXPECT_EQ(Text(CHANGE_PROFILE_CURRENT), std::string("Current color profile: ") + srgb);
    EXPECT_EQ(ItemIndex(CHANGE_PROFILE_TARGET, "None"), 0);
    EXPECT_STREQ(HeadlessControlItems(DialogWindow, CHANGE_PROFILE_CHANGE),
                 "Image Data and Profile Setting");

    int adobe = ItemIndex(CHANGE_PROFILE_TARGET, "Compatible with Adobe RGB");
    ASSERT_GT(adobe, 0);
    HeadlessChoose(DialogWindow, CHANGE_PROFILE_TARGET, adobe);
    HeadlessClick(DialogWindow, BUTTON_APPLY);
    WindowHandle converted = ActiveWindow;
    ASSERT_NE(converted, input);
    const ImageWindow *result = WindowRecord(converted);
    std::vector<uint8_t> expected = TestReadFile(SYSTEM_ADOBE);
    ASSERT_EQ(result->picture.profileSize, (int)expected.size());
    EXPECT_EQ(memcmp(result->picture.profile, expected.data(), expected.size()), 0);
    const Image &source = WindowRecord(input)->picture.image;
    EXPECT_NE(memcmp(result->picture.image.rows[0], source.rows[0], (size_t)source.width * 3), 0);

    // The profile only: same pixels, new profile.
    HeadlessChoose(DialogWindow, CHANGE_PROFILE_CHANGE, 2);
    HeadlessClick(DialogWindow, BUTTON_APPLY);
    result = WindowRecord(ActiveWindow);
    ExpectImagesNear(result->picture.image, source, 0);
    EXPECT_EQ(result->picture.profileSize, (int)expected.size());

    // A scanner's profile takes no pixels: code 21, and the dialog stays.
    HeadlessChoose(DialogWindow, CHANGE_PROFILE_CHANGE, 0);
    HeadlessChoose(DialogWindow, CHANGE_PROFILE_TARGET,
                   ItemIndex(CHANGE_PROFILE_TARGET, "Test Scanner"));
    HeadlessClick(DialogWindow, BUTTON_OK);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Cannot convert image data to scanner profile");
    EXPECT_NE(DialogWindow, nullptr);
    EXPECT_EQ(WindowRecord(input)->picture.profile, nullptr);
}

// The editor's Apply and vistel-cli run the same compute functions on the same file: the
// pixels come out identical.
TEST_F(TransformDialogs, ApplyInTheEditorEqualsTheCommandLine)
{
    std::string in = folder + "/in.tif";
    WindowHandle input = OpenPlasmaTiff(in, 97, 61, 7, 16);
    ASSERT_NE(input, nullptr);

    // The factor of the slider's position, with every digit a double holds.
    char factor[40];
    snprintf(factor, sizeof factor, "%.17g", exp(700 / 512.0 - 1.0));
    std::vector<uint8_t> adobe = TestReadFile(SYSTEM_ADOBE);
    static char adobeName[PROFILE_DESCRIPTION_MAX];
    ASSERT_EQ(ProfileDescription(adobe.data(), (int)adobe.size(), adobeName, sizeof adobeName),
              ERROR_NONE);

    struct Case {
        const char *name;
        std::string arguments;
        void (*drive)(TransformDialogs *test, WindowHandle input);
    } cases[] = {
        {"gamma", std::string("gamma --factor ") + factor,
         [](TransformDialogs *test, WindowHandle window) {
             ASSERT_EQ(TransformDialogOpen(&GammaDialog, window), ERROR_NONE);
             test->SlideTo(GAMMA_SLIDER, 700);
         }},
        {"convert", "convert --to gray16",
         [](TransformDialogs *, WindowHandle window) {
             ASSERT_EQ(TransformDialogOpen(&ConvertDialog, window), ERROR_NONE);
             HeadlessChoose(DialogWindow, CONVERT_TARGET, CONVERT_GRAY16);
         }},
        {"rotate", "rotate --orientation 5",
         [](TransformDialogs *, WindowHandle window) {
             Prefs.stickySettings = 0; // from code 0
             ASSERT_EQ(TransformDialogOpen(&MirrorRotateDialog, window), ERROR_NONE);
             HeadlessClick(DialogWindow, IDREFLECT);
             HeadlessClick(DialogWindow, IDROT270);
         }},
        {"resize", "resize --width 50 --height 31 --method 4",
         [](TransformDialogs *, WindowHandle window) {
             Prefs.stickySettings = 0;
             ASSERT_EQ(TransformDialogOpen(&ResizeDialog, window), ERROR_NONE);
             HeadlessChoose(DialogWindow, RESIZE_METHOD, RESAMPLE_LANCZOS6);
             HeadlessSetEditText(DialogWindow, RESIZE_PIXEL_WIDTH, "50"); // OK commits it
         }},
        // A point added with Shift at (128, 200) on a 256-pixel plot, and the broken line.
        {"brightness", "curves '" + folder + "/lift.crv' --color-space hsl",
         [](TransformDialogs *, WindowHandle window) {
             Prefs.stickySettings = 0;
             ASSERT_EQ(TransformDialogOpen(&BrightnessCurveDialog, window), ERROR_NONE);
             HeadlessChoose(DialogWindow, BRIGHTNESS_SPACE, CURVES_HSL);
             HeadlessClick(DialogWindow, (int)BRIGHTNESS_STEP + (int)CURVE_LINEAR);
             WindowHandle plot = PlatformControl(DialogWindow, BRIGHTNESS_CURVE);
             int x = CurveColumnOfLevel(128, 256), y = CurveRowOfLevel(200, 256);
             HeadlessMouse(plot, MSG_LBUTTON_DOWN, x, y, KEYS_SHIFT);
             HeadlessMouse(plot, MSG_LBUTTON_UP, x, y, KEYS_SHIFT);
         }},
        // HSV, a point added at (128, 200) on the saturation curve.
        {"curves", "curves '" + folder + "/saturation.cc'",
         [](TransformDialogs *, WindowHandle window) {
             Prefs.stickySettings = 0;
             ASSERT_EQ(TransformDialogOpen(&ColorCurvesDialog, window), ERROR_NONE);
             HeadlessChoose(DialogWindow, COLOR_CURVES_SPACE, CURVES_HSV);
             HeadlessClick(DialogWindow, COLOR_CURVES_COMPONENT + 1);
             WindowHandle plot = PlatformControl(DialogWindow, COLOR_CURVES_CURVE);
             int x = CurveColumnOfLevel(128, 256), y = CurveRowOfLevel(200, 256);
             HeadlessMouse(plot, MSG_LBUTTON_DOWN, x, y, KEYS_SHIFT);
             HeadlessMouse(plot, MSG_LBUTTON_UP, x, y, KEYS_SHIFT);
         }},
        {"profile", "profile --to '" + SYSTEM_ADOBE + "'",
         [](TransformDialogs *test, WindowHandle window) {
             ASSERT_EQ(TransformDialogOpen(&ChangeProfileDialog, window), ERROR_NONE);
             HeadlessChoose(DialogWindow, CHANGE_PROFILE_TARGET,
                            test->ItemIndex(CHANGE_PROFILE_TARGET, adobeName));
         }},
    };
    const char lift[] = "Curve 1.0\nnpts 3\nstyle linear\npoint 0 0 0\npoint 1 128 200\n"
                        "point 2 255 255\nend\n";
    TestWriteFile(folder + "/lift.crv", std::vector<uint8_t>(lift, lift + strlen(lift)));
    const char saturation[] = "ColorCurves 1.0\ncolorspace 0\ncomponent 1\nnpts2 3\n"
                              "style2 spline\npoint2 0 0 0\npoint2 1 128 200\npoint2 2 255 255\n"
                              "end\n";
    TestWriteFile(folder + "/saturation.cc",
                  std::vector<uint8_t>(saturation, saturation + strlen(saturation)));
    for (Case &c : cases) {
        SCOPED_TRACE(c.name);
        c.drive(this, input);
        ASSERT_NE(DialogWindow, nullptr);
        HeadlessClick(DialogWindow, BUTTON_OK);
        Image cli;
        ASSERT_NO_FATAL_FAILURE(
            ExpectCliEqualsLastOutput(c.arguments, in, folder + "/" + c.name + ".tif", &cli));
        ImageFree(&cli);
    }
}

TEST_F(TransformDialogs, FilesDroppedWhileADialogIsOpenWaitForItsEnd)
{
    WindowHandle input = MakePicture(TYPE_GRAY8, 20, 10);
    std::string path = folder + "/waiting.tif";
    ASSERT_EQ(SaveTiffFile(path.c_str(), &WindowRecord(input)->picture.image), ERROR_NONE);
    ASSERT_EQ(TransformDialogOpen(&GammaDialog, input), ERROR_NONE);
    QueueOpen(path.c_str());
    EXPECT_EQ(FindImageWindow(path.c_str()), nullptr);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    EXPECT_NE(FindImageWindow(path.c_str()), nullptr);

    // The same when the dialog goes with the frame rather than by its own buttons.
    ASSERT_EQ(TransformDialogOpen(&ConvertDialog, input), ERROR_NONE);
    std::string second = folder + "/second.tif";
    ASSERT_EQ(SaveTiffFile(second.c_str(), &WindowRecord(input)->picture.image), ERROR_NONE);
    QueueOpen(second.c_str());
    PlatformDestroyWindow(DialogWindow);
    EXPECT_NE(FindImageWindow(second.c_str()), nullptr);
}

TEST_F(TransformDialogs, APreviewLeavesTheFocusInItsDialog)
{
    MakePicture(TYPE_GRAY8, 64, 48);
    Prefs.defaultPreview = 1; // the automatic preview runs as the dialog opens
    HeadlessChooseMenu(COMMAND_GAMMA);
    ASSERT_NE(DialogWindow, nullptr);
    HeadlessDeliverPosted();
    ASSERT_NE(OutputWindow, nullptr);
    EXPECT_EQ(ActiveWindow, DialogWindow);
    EXPECT_EQ(PlatformFocusWindow(), DialogWindow);
    // Each later preview too, after a slider let go with the focus on it.
    WindowHandle slider = PlatformControl(DialogWindow, GAMMA_SLIDER);
    PlatformSetFocus(slider);
    PlatformSendMessage(slider, MSG_KEY_DOWN, KEY_RIGHT, 0);
    EXPECT_EQ(PreviewStale, 0);
    EXPECT_EQ(PlatformFocusWindow(), slider);
    EXPECT_EQ(ActiveWindow, DialogWindow);
    // Apply brings its result to the front, as a new picture of the user's.
    HeadlessClick(DialogWindow, BUTTON_APPLY);
    ASSERT_NE(LastOutput, nullptr);
    EXPECT_EQ(ActiveWindow, LastOutput);
}

TEST_F(TransformDialogs, ChangeColorProfileWaitsForATargetInsteadOfComplainingAtOnce)
{
    MakePicture(TYPE_COLOR24, 40, 30);
    Prefs.defaultPreview = 1;
    HeadlessSetShift(1); // the first opening's choices: no target yet
    HeadlessChooseMenu(COMMAND_CHANGE_PROFILE);
    HeadlessSetShift(0);
    ASSERT_NE(DialogWindow, nullptr);
    HeadlessDeliverPosted(); // the automatic preview's click
    // Nothing to show and nothing to say until a target is chosen; Auto stays on for it.
    EXPECT_EQ(HeadlessMessageCount(), 0);
    EXPECT_EQ(OutputWindow, nullptr);
    EXPECT_EQ(AutoPreview, 1);

    struct Step {
        int change;
        const char *target;
        int previewed;
    } steps[] = {
        {0, "Compatible with Adobe RGB", 1}, // a target: the preview comes
        {0, "None", 0},                      // none again: it goes, without a word
        {2, "None", 1},                      // the profile setting alone needs no target
        {1, "None", 0},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(testing::Message() << step.change << " " << step.target);
        HeadlessChoose(DialogWindow, CHANGE_PROFILE_CHANGE, step.change);
        HeadlessChoose(DialogWindow, CHANGE_PROFILE_TARGET,
                       ItemIndex(CHANGE_PROFILE_TARGET, step.target));
        EXPECT_EQ(OutputWindow != nullptr, step.previewed);
        EXPECT_EQ(HeadlessMessageCount(), 0);
        EXPECT_EQ(AutoPreview, 1);
    }

    // Asked for a result without a target, the dialog says what is missing.
    HeadlessClick(DialogWindow, BUTTON_APPLY);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->text,
                 "A target color profile is required when transforming image data");
    EXPECT_NE(DialogWindow, nullptr);
}

// Brightness Curve: the color space only for color pictures, the histogram of what the curve
// acts on, a dragged point, and the control's menu.
TEST_F(TransformDialogs, BrightnessCurveDragsItsPointsAndShowsTheHistogramOfItsSpace)
{
    WindowHandle gray = MakePicture(TYPE_GRAY8, 40, 30);
    HeadlessChooseMenu(COMMAND_BRIGHTNESS_CURVE);
    ASSERT_NE(DialogWindow, nullptr);
    EXPECT_EQ(PlatformWindowState(PlatformControl(DialogWindow, BRIGHTNESS_SPACE)), SHOW_HIDE);
    GrayCurve *curve = CurveControlCurve(DialogWindow, BRIGHTNESS_CURVE);
    ASSERT_NE(curve, nullptr);
    // The gray levels of every pixel (40 x 30 is far below the sampling limit).
    EXPECT_EQ(curve->histogramMode, CURVE_HISTOGRAM_ONE);
    int64_t total = 0;
    for (int i = 0; i < 256; i++)
        total += curve->inputHistogram[i];
    EXPECT_EQ(total, 40 * 30);

    // The upper end dragged from 255 down to 128: the settings follow at the release.
    auto *settings = (BrightnessCurveSettings *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    WindowHandle plot = PlatformControl(DialogWindow, BRIGHTNESS_CURVE);
    HeadlessMouse(plot, MSG_LBUTTON_DOWN, CurveColumnOfLevel(255, 256), CurveRowOfLevel(255, 256),
                  0);
    HeadlessMouse(plot, MSG_MOUSE_MOVE, CurveColumnOfLevel(255, 256), CurveRowOfLevel(128, 256), 0);
    EXPECT_EQ(settings->curve.y[1], 255); // not yet
    HeadlessMouse(plot, MSG_LBUTTON_UP, CurveColumnOfLevel(255, 256), CurveRowOfLevel(128, 256), 0);
    EXPECT_EQ(settings->curve.y[1], 128);
    EXPECT_EQ(PreviewStale, 1);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);

    // A color picture offers the space, and RGB shows three histograms.
    WindowHandle color = MakePicture(TYPE_COLOR24, 40, 30);
    HeadlessChooseMenu(COMMAND_BRIGHTNESS_CURVE);
    EXPECT_NE(PlatformWindowState(PlatformControl(DialogWindow, BRIGHTNESS_SPACE)), SHOW_HIDE);
    curve = CurveControlCurve(DialogWindow, BRIGHTNESS_CURVE);
    HeadlessChoose(DialogWindow, BRIGHTNESS_SPACE, CURVES_RGB);
    EXPECT_EQ(curve->histogramMode, CURVE_HISTOGRAM_THREE);
    HeadlessChoose(DialogWindow, BRIGHTNESS_SPACE, CURVES_HSV);
    EXPECT_EQ(curve->histogramMode, CURVE_HISTOGRAM_ONE);

    // The right button's menu: Invert, Save As, Reset, and Load brings the inverted curve
    // back; a bad file gives code 16 and the reset curve.
    settings = (BrightnessCurveSettings *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    plot = PlatformControl(DialogWindow, BRIGHTNESS_CURVE);
    auto menu = [&](int item) {
        HeadlessQueuePopupChoice(item);
        HeadlessMouse(plot, MSG_RBUTTON_DOWN, 10, 10, 0);
    };
    // The probe's size and the grid, each checked in the menu; in RGB a click on the picture
    // marks its three channels, in HSV its value.
    menu(10); // "5x5 Probe"
    menu(13); // "4x4 Grid"
    menu(0);  // shown again, and left
    const MenuItem *items = nullptr;
    int count = HeadlessLastPopup(&items);
    for (int i = 0; i < count; i++)
        EXPECT_EQ(items[i].checked,
                  items[i].id == 16 || items[i].id == 3 || items[i].id == 10 || items[i].id == 13)
            << items[i].id;
    EXPECT_EQ(curve->gridCount, 4);
    ASSERT_EQ(ToolTarget, DialogWindow);
    int px, py;
    uint8_t rgb[3];
    const ImageWindow *record = WindowRecord(color);
    ClientToPicture(color, record, 20, 15, &px, &py);
    ImageProbeColor(&record->picture.image, px, py, 2, rgb);
    HeadlessChoose(DialogWindow, BRIGHTNESS_SPACE, CURVES_RGB);
    HeadlessMouse(color, MSG_LBUTTON_DOWN, 20, 15, BUTTON_LEFT);
    HeadlessMouse(color, MSG_LBUTTON_UP, 20, 15, 0);
    ASSERT_EQ(curve->probeCount, 3);
    for (int c = 0; c < 3; c++)
        EXPECT_EQ(curve->probeLevels[c], rgb[c]);
    HeadlessChoose(DialogWindow, BRIGHTNESS_SPACE, CURVES_HSV);
    EXPECT_EQ(curve->probeCount, 0);
    HeadlessMouse(color, MSG_LBUTTON_DOWN, 20, 15, BUTTON_LEFT);
    ASSERT_EQ(curve->probeCount, 1);
    int h, sat, v;
    RgbToHsv8(rgb[0], rgb[1], rgb[2], &h, &sat, &v);
    EXPECT_EQ(curve->probeLevels[0], FromFixed[v]);

    // "Show Histograms": the lower half moves a point's input level, here the upper end's
    // from 255 to 200; "Show Curve" goes back.
    menu(17);
    ASSERT_EQ(curve->viewMode, CURVE_VIEW_HISTOGRAM);
    HeadlessMouse(plot, MSG_LBUTTON_DOWN, CurveColumnOfLevel(255, 256), 250, 0);
    HeadlessMouse(plot, MSG_MOUSE_MOVE, CurveColumnOfLevel(200, 256), 250, 0);
    HeadlessMouse(plot, MSG_LBUTTON_UP, CurveColumnOfLevel(200, 256), 250, 0);
    EXPECT_EQ(settings->curve.x[1], 200);
    menu(16);
    EXPECT_EQ(curve->viewMode, CURVE_VIEW_CURVE);

    menu(2); // Invert
    EXPECT_EQ(settings->curve.y[0], 255);
    // File dialog answers are lists: each path ends in a zero byte, the list in another.
    std::string saved = folder + "/inverted.crv" + std::string(1, '\0');
    HeadlessQueueFileDialog(saved.c_str(), -1);
    menu(7); // Save As...
    menu(1); // Reset
    EXPECT_EQ(settings->curve.y[0], 0);
    HeadlessQueueFileDialog(saved.c_str(), -1);
    menu(6); // Load...
    EXPECT_EQ(settings->curve.y[0], 255);
    EXPECT_EQ(curve->y[0], 255);
    std::string bad = folder + "/bad.crv";
    TestWriteFile(bad, std::vector<uint8_t>{'x', '\n'});
    bad += std::string(1, '\0');
    HeadlessQueueFileDialog(bad.c_str(), -1);
    menu(6);
    ASSERT_NE(HeadlessLastMessage(), nullptr);
    EXPECT_NE(strstr(HeadlessLastMessage()->text, ErrorText(ERROR_ILLEGAL_CURVE_FILE)), nullptr);
    EXPECT_EQ(settings->curve.y[0], 0);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    (void)gray;
}

// Color Curves' Load reads a foreign file by the filter in use: a one-curve .acv gives all
// three RGB curves; Save As writes .cc only.
TEST_F(TransformDialogs, ColorCurvesLoadsAPhotoshopCurveByItsFilter)
{
    MakePicture(TYPE_COLOR24, 30, 20);
    Prefs.stickySettings = 0;
    HeadlessChooseMenu(COMMAND_COLOR_CURVES);
    ASSERT_NE(DialogWindow, nullptr);
    // Version 4, one curve of two points, each output level before its input level:
    // (x 0, y 0) and (x 255, y 128).
    std::string acv = folder + "/half.acv";
    TestWriteFile(acv, {0, 4, 0, 1, 0, 2, 0, 0, 0, 0, 0, 128, 0, 255});
    HeadlessQueueFileDialog((acv + std::string(1, '\0')).c_str(), 1);
    HeadlessQueuePopupChoice(SETTINGS_OPTIONS_LOAD);
    HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    // The filters, zero-separated: ours, then the two foreign ones.
    const char *filter = HeadlessLastFileDialog()->filters;
    std::vector<std::string> filters;
    for (; *filter != 0; filter += strlen(filter) + 1)
        filters.push_back(filter);
    EXPECT_EQ(filters,
              (std::vector<std::string>{"Color Curve Files", "*.cc", "Photoshop Curve Files",
                                        "*.acv", "Photoshop Map Files", "*.amp"}));
    auto *settings = (ColorCurvesSettings *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    EXPECT_EQ(settings->colorSpace, CURVES_RGB);
    for (const CurvePoints &curve : settings->curves) {
        EXPECT_EQ(curve.x[1], 255);
        EXPECT_EQ(curve.y[1], 128);
    }
    // The curve in view shows it too.
    EXPECT_EQ(CurveControlCurve(DialogWindow, COLOR_CURVES_CURVE)->table[255], 128);
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}
