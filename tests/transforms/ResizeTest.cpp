// Resize's own numbers: the figures each typed field commits to under each preserve mode,
// the texts the dialog shows, the dialog driven as a user drives it, and vistel-cli giving
// what Apply gives.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "core/Expression.h"
#include "core/FileComment.h"
#include "core/Memory.h"
#include "core/Resample.h"
#include "files/FileType.h"
#include "platform/headless/Headless.h"
#include "tests/shell/ShellTestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/Resize.h"
#include "transforms/TransformDialogs.h"
#include "transforms/Transforms.h"
#include "ui/Controls.h"
#include "ui/Transform.h"

TEST(Expression, ArithmeticAsTypedAndWhatIsNoNumber)
{
    struct Case {
        const char *text;
        int ok;
        double value;
    } cases[] = {
        {"2*300", 1, 600.0}, {" (8.5 - 1) / 2 ", 1, 3.75},
        {"-3+5", 1, 2.0},    {"2*-3", 1, -6.0},
        {"1-2-3", 1, -4.0},  {"8/4/2", 1, 1.0},
        {"1+2*3", 1, 7.0},   {".5", 1, 0.5},
        {"", 0, 0},          {"2*", 0, 0},
        {"1/0", 0, 0},       {"12a", 0, 0},
        {"(1", 0, 0},        {"1.2.3", 0, 0},
        {"1 2", 0, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        double value = -99.0;
        EXPECT_EQ(ExpressionEvaluate(c.text, &value), c.ok);
        EXPECT_EQ(value, c.ok ? c.value : -99.0);
    }
    // Brackets deeper than anyone types are refused, not followed down the stack.
    std::string deep = std::string(100000, '(') + "1" + std::string(100000, ')');
    double value;
    EXPECT_EQ(ExpressionEvaluate(deep.c_str(), &value), 0);
}

// Figures of a 3000 x 2000 picture at 300 dpi under each rule, worked by hand.
TEST(ResizeFigures, EachFieldCommitsByThePreserveMode)
{
    struct Case {
        const char *what;
        int preserve, lengthUnit, resolutionUnit, field;
        const char *text;
        int result, width, height;
        double resolution;
    } cases[] = {
        // 600 x 2000/3000 = 400.
        {"pixel width, proportions", PRESERVE_PROPORTIONS, 0, 0, 0, "2*300", RESIZE_CHANGED, 600,
         400, 300.0},
        // R = 1500 x 300/3000 = 150: the printed size stays.
        {"pixel width, image size", PRESERVE_IMAGE_SIZE, 0, 0, 0, "1500", RESIZE_CHANGED, 1500,
         1000, 150.0},
        // The height takes R from the value as typed: 1000.4 x 300/2000 = 150.06.
        {"pixel height, image size", PRESERVE_IMAGE_SIZE, 0, 0, 1, "1000.4", RESIZE_CHANGED, 1500,
         1000, 150.06},
        {"pixel width, none", PRESERVE_NONE, 0, 0, 0, "100", RESIZE_CHANGED, 100, 2000, 300.0},
        // 1 x 3000/2000 = 1 in whole pixels.
        {"pixel height of 1", PRESERVE_PROPORTIONS, 0, 0, 1, "1", RESIZE_CHANGED, 1, 1, 300.0},
        {"pixel width of 0.4", PRESERVE_PROPORTIONS, 0, 0, 0, "0.4", RESIZE_REFUSED, 3000, 2000,
         300.0},
        // Only R: 3000 x 1 / 5 inches = 600.
        {"length, file size", PRESERVE_FILE_SIZE, LENGTH_INCHES, 0, 2, "5", RESIZE_CHANGED, 3000,
         2000, 600.0},
        // 2.540005 cm at 300 dpi is 300 pixels, and 300 x 2000/3000 = 200.
        {"length in cm", PRESERVE_PROPORTIONS, LENGTH_CENTIMETERS, 0, 2, "2.540005", RESIZE_CHANGED,
         300, 200, 300.0},
        // 10 mm: 10 x 300 / 25.40005 = 118.11 pixels.
        {"height in mm", PRESERVE_PROPORTIONS, LENGTH_MILLIMETERS, 0, 3, "10", RESIZE_CHANGED, 177,
         118, 300.0},
        {"length of 0.4", PRESERVE_PROPORTIONS, LENGTH_INCHES, 0, 2, "0.4", RESIZE_REFUSED, 3000,
         2000, 300.0},
        {"resolution, proportions", PRESERVE_PROPORTIONS, 0, RESOLUTION_DPI, 4, "150",
         RESIZE_CHANGED, 3000, 2000, 150.0},
        // 100 dpcm = 254.0005 dpi; 254.0005/300 x 3000 = 2540.005, x 2000 = 1693.34.
        {"resolution in dpcm, image size", PRESERVE_IMAGE_SIZE, 0, RESOLUTION_DPCM, 4, "100",
         RESIZE_CHANGED, 2540, 1693, 254.0005},
        {"resolution, file size", PRESERVE_FILE_SIZE, 0, RESOLUTION_DPI, 4, "72", RESIZE_CHANGED,
         3000, 2000, 72.0},
        // With nothing preserved and inches, R changes and nothing is shown again.
        {"resolution, none, inches", PRESERVE_NONE, LENGTH_INCHES, RESOLUTION_DPI, 4, "600",
         RESIZE_UNSHOWN, 3000, 2000, 600.0},
        // In millimetres the physical size stays: 10 inches at 600 dpi.
        {"resolution, none, mm", PRESERVE_NONE, LENGTH_MILLIMETERS, RESOLUTION_DPI, 4, "600",
         RESIZE_CHANGED, 6000, 4000, 600.0},
        {"resolution of 0", PRESERVE_PROPORTIONS, 0, 0, 4, "0", RESIZE_REFUSED, 3000, 2000, 300.0},
        {"no number", PRESERVE_PROPORTIONS, 0, 0, 1, "abc", RESIZE_REFUSED, 3000, 2000, 300.0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        ResizeSettings s;
        ResizeSettingsDefault(&s);
        ResizeTakeSource(&s, 3000, 2000, 300.0);
        s.preserve = c.preserve;
        s.lengthUnit = c.lengthUnit;
        s.resolutionUnit = c.resolutionUnit;
        EXPECT_EQ(ResizeCommit(&s, c.field, c.text), c.result);
        EXPECT_EQ(s.width, c.width);
        EXPECT_EQ(s.height, c.height);
        EXPECT_NEAR(s.resolution, c.resolution, 1e-9);
    }
}

TEST(ResizeFigures, TextsShown)
{
    ResizeSettings s;
    ResizeSettingsDefault(&s);
    ResizeTakeSource(&s, 3000, 2000, 300.0);
    s.width = 1500;
    char text[64];
    struct Case {
        int lengthUnit, resolutionUnit, field, current;
        const char *text;
    } cases[] = {
        {LENGTH_INCHES, 0, 2, 1, "10.00"},
        {LENGTH_INCHES, 0, 2, 0, "5.00"},
        {LENGTH_CENTIMETERS, 0, 2, 1, "25.40"},
        {LENGTH_MILLIMETERS, 0, 3, 0, "169.33"},
        {0, RESOLUTION_DPCM, 4, 0, "118.1"},
        {0, RESOLUTION_DPMM, 4, 0, "11.8"},
        {0, RESOLUTION_DPI, 4, 0, "300.0"},
        {0, 0, 0, 0, "1500"},
        {0, 0, 1, 1, "2000"},
    };
    for (const Case &c : cases) {
        s.lengthUnit = c.lengthUnit;
        s.resolutionUnit = c.resolutionUnit;
        ResizeFieldText(&s, c.field, c.current, text, sizeof text);
        EXPECT_STREQ(text, c.text) << c.field << " " << c.current;
    }
    // 9000 bytes a row, 2000 rows; a 1-bit row of 3000 pixels is padded to 376 bytes.
    ResizeFileSizeText(TYPE_COLOR24, 3000, 2000, text, sizeof text);
    EXPECT_STREQ(text, "18.000MB");
    ResizeFileSizeText(TYPE_BINARY, 3000, 2000, text, sizeof text);
    EXPECT_STREQ(text, "0.752MB");
    ResizeFileSizeText(TYPE_COLOR48, 100000, 100000, text, sizeof text);
    EXPECT_STREQ(text, "***");
    ResizeProportionsText(3000, 2000, text, sizeof text);
    EXPECT_STREQ(text, "1.00:0.67");
    ResizeProportionsText(2000, 3000, text, sizeof text);
    EXPECT_STREQ(text, "0.67:1.00");
    // The default -0.75 stands at 170 of 1024; the ends are -0.5 and -2.0.
    EXPECT_EQ(ResizeSharpenPosition(-0.75), 170);
    EXPECT_EQ(ResizeSharpenOf(0), -0.5);
    EXPECT_EQ(ResizeSharpenOf(1024), -2.0);
}

namespace {

class ResizeDialogTest : public ShellTest {
  public:
    std::string Text(int id)
    {
        char text[128];
        PlatformGetControlText(DialogWindow, id, text, sizeof text);
        return text;
    }
};

} // namespace

TEST_F(ResizeDialogTest, TypedFiguresCommitAtThePauseAndOkMakesTheResult)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 300, 200, 3, 150.0);
    std::vector<uint8_t> profile = TestReadFile("/usr/share/color/icc/sRGB.icc");
    Picture *picture = &WindowRecord(input)->picture;
    picture->profile = (uint8_t *)MemoryAlloc(profile.size());
    memcpy(picture->profile, profile.data(), profile.size());
    picture->profileSize = (int)profile.size();
    HeadlessChooseMenu(COMMAND_RESIZE);
    ASSERT_NE(DialogWindow, nullptr);
    EXPECT_EQ(HeadlessFindWindow("Resize"), DialogWindow);
    // OK and Cancel only: the result only makes sense whole.
    EXPECT_EQ(PlatformControl(DialogWindow, BUTTON_PREVIEW), nullptr);
    EXPECT_NE(PlatformControl(DialogWindow, BUTTON_OK), nullptr);
    EXPECT_EQ(Text(RESIZE_PIXEL_WIDTH), "300");
    EXPECT_EQ(Text(RESIZE_WIDTH), "2.00");
    EXPECT_EQ(Text(RESIZE_FILE_SIZE), "0.180MB");
    EXPECT_EQ(Text(RESIZE_PROPORTIONS + RESIZE_CURRENT), "1.00:0.67");
    EXPECT_EQ(Text(RESIZE_SHARPEN_TEXT), "Sharpening: 16.7%");
    EXPECT_EQ(PopupListChoice(DialogWindow, RESIZE_METHOD), RESAMPLE_BICUBIC);

    // Typing waits for the pause; then the height follows.
    HeadlessSetEditText(DialogWindow, RESIZE_PIXEL_WIDTH, "2*225");
    EXPECT_EQ(HeadlessTimer(DialogWindow, RESIZE_TIMER), 2000);
    EXPECT_EQ(Text(RESIZE_PIXEL_HEIGHT), "200");
    HeadlessFireTimer(DialogWindow, RESIZE_TIMER);
    EXPECT_EQ(HeadlessTimer(DialogWindow, RESIZE_TIMER), 0);
    EXPECT_EQ(Text(RESIZE_PIXEL_HEIGHT), "300");
    EXPECT_EQ(Text(RESIZE_FILE_SIZE), "0.406MB"); // rows of 1350 bytes padded to 1352

    // A refused figure beeps and shows the figure again, at Tab as at the pause.
    HeadlessSetEditText(DialogWindow, RESIZE_PIXEL_HEIGHT, "-4");
    PlatformSendMessage(DialogWindow, MSG_NEXT_FIELD, RESIZE_PIXEL_HEIGHT, 0);
    EXPECT_EQ(HeadlessBeepCount(), 1);
    EXPECT_EQ(Text(RESIZE_PIXEL_HEIGHT), "300");

    // File size kept: no pixels to type, and no method to choose.
    HeadlessChoose(DialogWindow, RESIZE_PRESERVE, PRESERVE_FILE_SIZE);
    EXPECT_EQ(HeadlessControlEnabled(DialogWindow, RESIZE_PIXEL_WIDTH), 0);
    EXPECT_EQ(PlatformWindowState(PlatformControl(DialogWindow, RESIZE_METHOD)), SHOW_HIDE);
    EXPECT_EQ(Text(RESIZE_PIXEL_WIDTH), "300"); // back to the input's figures
    HeadlessChoose(DialogWindow, RESIZE_PRESERVE, PRESERVE_PROPORTIONS);
    HeadlessChoose(DialogWindow, RESIZE_METHOD, RESAMPLE_LANCZOS6);
    EXPECT_EQ(PlatformWindowState(PlatformControl(DialogWindow, RESIZE_SHARPEN)), SHOW_HIDE);

    // OK commits what is still typed and makes the result.
    HeadlessSetEditText(DialogWindow, RESIZE_PIXEL_WIDTH, "150");
    HeadlessClick(DialogWindow, BUTTON_OK);
    EXPECT_EQ(DialogWindow, nullptr);
    WindowHandle made = LastOutput;
    ASSERT_NE(made, nullptr);
    ASSERT_NE(made, input);
    const Image &result = WindowRecord(made)->picture.image;
    EXPECT_EQ(result.width, 150);
    EXPECT_EQ(result.height, 100);
    ASSERT_EQ(WindowRecord(made)->picture.profileSize, (int)profile.size()); // the input's own
    EXPECT_EQ(memcmp(WindowRecord(made)->picture.profile, profile.data(), profile.size()), 0);
    Image expected = {};
    ASSERT_EQ(ResampleImage(&WindowRecord(input)->picture.image, &expected, 150, 100, 150.0,
                            RESAMPLE_LANCZOS6, -0.75, 0),
              ERROR_NONE);
    ExpectImagesNear(expected, result, 0);
    ImageFree(&expected);

    // The next opening on the same input shows those figures; on another, its own.
    HeadlessChooseMenu(COMMAND_RESIZE);
    EXPECT_EQ(Text(RESIZE_PIXEL_WIDTH), "150");
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    PlatformActivateWindow(made);
    HeadlessChooseMenu(COMMAND_RESIZE);
    EXPECT_EQ(Text(RESIZE_PIXEL_WIDTH), "150");
    EXPECT_EQ(Text(RESIZE_PIXEL_WIDTH + RESIZE_CURRENT), "150");
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
}

// vistel-cli's result is Apply's, pixels, type, profile and comments, and the bad figures
// are refused with their messages and no file.
TEST(ResizeCli, GivesWhatApplyGivesAndRefusesImpossibleFigures)
{
    TestStart();
    std::string folder = TestOutputFolder("ResizeCli");
    struct Case {
        int type;
        const char *options;
        int width, height, method, resultType;
    } cases[] = {
        {TYPE_COLOR48, "--width 90 --height 31 --method 4", 90, 31, RESAMPLE_LANCZOS6,
         TYPE_COLOR48},
        {TYPE_GRAY16, "--width 41 --height 77 --a -1.5", 41, 77, RESAMPLE_BICUBIC, TYPE_GRAY16},
        {TYPE_BINARY, "--width 23 --height 70 --method 0", 23, 70, RESAMPLE_NEAREST, TYPE_BINARY},
        {TYPE_BINARY, "--width 23 --height 70 --method 1", 23, 70, RESAMPLE_BILINEAR, TYPE_GRAY8},
    };
    std::vector<uint8_t> profile = TestReadFile("/usr/share/color/icc/sRGB.icc");
    for (const Case &c : cases) {
        SCOPED_TRACE(c.options);
        Picture input = {};
        PictureMake(&input.image, c.type, 61, 47, c.type);
        input.image.resolution = 200.0;
        if (c.type == TYPE_COLOR48) {
            input.profile = (uint8_t *)MemoryAlloc(profile.size());
            memcpy(input.profile, profile.data(), profile.size());
            input.profileSize = (int)profile.size();
        }
        ASSERT_EQ(AddFileComment(&input, "Artist", 3, 4, 0, "Ada"), ERROR_NONE);
        std::string in = folder + "/in.tif";
        std::string out = folder + "/out.tif";
        ASSERT_EQ(FileSave(in.c_str(), FILE_SAVE_TIFF, &input, 0), ERROR_NONE);
        ASSERT_EQ(TestRun(TestCliPath() + " resize " + c.options + " '" + in + "' '" + out + "'"),
                  0);
        Picture made = {};
        ASSERT_EQ(FileLoad(out.c_str(), FILE_OPEN_TIFF, &made, 0), ERROR_NONE);
        EXPECT_EQ(made.image.type, c.resultType);
        EXPECT_EQ(made.image.resolution, 200.0);
        Image expected = {};
        ASSERT_EQ(ResampleImage(&input.image, &expected, c.width, c.height, 200.0, c.method,
                                c.type == TYPE_GRAY16 ? -1.5 : -0.75, 0),
                  ERROR_NONE);
        ExpectImagesNear(expected, made.image, 0);
        EXPECT_EQ(made.profileSize, input.profileSize);
        ASSERT_NE(made.comments, nullptr);
        EXPECT_STREQ((const char *)made.comments->value, "Ada");
        ImageFree(&expected);
        PictureFree(&made);
        PictureFree(&input);
    }

    std::string in = folder + "/in.tif";
    std::string out = folder + "/refused.tif";
    const char *refused[][2] = {
        {"--width 0 --height 5", "the width must be a whole number of pixels from 1 to 1000000"},
        {"--width 5 --height -3", "the height must be a whole number of pixels from 1 to 1000000"},
        {"--width 5 --height 5 --method 6", "the method must be a number from 0 to 5"},
        // The last input is binary: its 8-bit result's rows fit, their number does not.
        {"--width 200000 --height 200000", "Out of memory"},
    };
    for (const auto &r : refused) {
        SCOPED_TRACE(r[0]);
        std::string errors;
        EXPECT_NE(TestRun(TestCliPath() + " resize " + r[0] + " '" + in + "' '" + out + "' 2>&1",
                          &errors),
                  0);
        EXPECT_NE(errors.find(r[1]), std::string::npos) << errors;
        EXPECT_NE(access(out.c_str(), F_OK), 0);
    }
}
