// Brightness Curve's and Color Curves' own numbers: pixels worked by hand through each color
// space at 8 and 16 bits, the 12-bit tables, and the ".cc" file, good and damaged.
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "core/File.h"
#include "files/FileType.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/BrightnessCurve.h"
#include "transforms/ColorCurves.h"
#include "transforms/Transforms.h"

// A straight curve from (0, from) to (255, to).
static CurvePoints Line(int from, int to)
{
    CurvePoints curve;
    CurvePointsReset(&curve);
    curve.style = CURVE_LINEAR;
    curve.y[0] = from;
    curve.y[1] = to;
    return curve;
}

// One pixel of type (red, green, blue; gray takes red) through compute; the result's
// samples, red first.
static std::vector<int> OnePixel(ComputeFunction compute, void *settings, int type, int r, int g,
                                 int b)
{
    Image source = {}, result = {};
    EXPECT_EQ(ImageAlloc(&source, type, 1, 1, 72.0), ERROR_NONE);
    int channels = PictureChannels(type);
    int rgb[3] = {b, g, r}; // blue first, as the rows hold them
    for (int c = 0; c < channels; c++)
        PictureSetSample(&source, 0, 0, c, channels == 1 ? r : rgb[c]);
    EXPECT_EQ(ApplyRun(compute, settings, source, &result), ERROR_NONE);
    std::vector<int> samples;
    for (int c = channels - 1; c >= 0; c--)
        samples.push_back(PictureSample(result, 0, 0, c));
    ImageFree(&source);
    ImageFree(&result);
    return samples;
}

TEST(Curves, PixelsWorkedByHand)
{
    TestStart();
    struct Case {
        const char *what;
        int colors;       // 0 Brightness Curve, 1 Color Curves
        int space, curve; // the curve set: Brightness's one, or Color Curves' index
        CurvePoints points;
        int type, r, g, b;
        std::vector<int> expected;
    } cases[] = {
        // Pure red's hue is the end of the circle, (4096 + 5 x 4096) / 6 = 4096, read at
        // T[255] = 85 of a hue curve ending at 85: L = (85 x 4096 + 127) / 255 = 1365, a third
        // of the circle less a hair: sector 1 with f = 4094, so red is q = 4096 (4096 - 4094)
        // >> 12 = 2, which is 0 in 8 bits: pure red turns green.
        {"red under an HSV hue curve",
         1,
         CURVES_HSV,
         0,
         Line(0, 85),
         TYPE_COLOR24,
         255,
         0,
         0,
         {0, 255, 0}},
        // The value curve halves: T[255] = 128, L = (128 x 4096 + 127) / 255 = 2056, and
        // 2056 x 255 >> 12 = 127.
        {"red under an HSV value curve",
         1,
         CURVES_HSV,
         2,
         Line(0, 128),
         TYPE_COLOR24,
         255,
         0,
         0,
         {127, 0, 0}},
        // RGB: only red's table moves; 200 x 128 / 255 = 100.4, the table holds 100.
        {"RGB red curve",
         1,
         CURVES_RGB,
         0,
         Line(0, 128),
         TYPE_COLOR24,
         200,
         100,
         50,
         {100, 100, 50}},
        // 16 bits: 65535 x 128 / 255 = 32896 = 128 x 257 exactly.
        {"RGB red curve at 16 bits",
         1,
         CURVES_RGB,
         0,
         Line(0, 128),
         TYPE_COLOR48,
         65535,
         1000,
         0,
         {32896, 1000, 0}},
        {"gray passes Color Curves", 1, CURVES_RGB, 0, Line(0, 128), TYPE_GRAY8, 77, 0, 0, {77}},
        // HSV brightness: value 200 -> 100, every channel halves.
        {"HSV value", 0, CURVES_HSV, 0, Line(0, 128), TYPE_COLOR24, 200, 100, 50, {100, 50, 25}},
        // Black with a curve that lifts 0 to 50 becomes a gray of 50.
        {"HSV black lifted", 0, CURVES_HSV, 0, Line(50, 255), TYPE_COLOR24, 0, 0, 0, {50, 50, 50}},
        // RGB: each channel through the one table.
        {"RGB brightness",
         0,
         CURVES_RGB,
         0,
         Line(0, 128),
         TYPE_COLOR24,
         200,
         100,
         50,
         {100, 50, 25}},
        {"gray brightness", 0, CURVES_RGB, 0, Line(0, 128), TYPE_GRAY8, 200, 0, 0, {100}},
        {"binary becomes gray", 0, CURVES_RGB, 0, Line(0, 128), TYPE_BINARY, 255, 0, 0, {128}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        if (c.colors) {
            ColorCurvesSettings settings;
            ColorCurvesSettingsDefault(&settings);
            settings.colorSpace = c.space;
            settings.curves[c.curve] = c.points;
            EXPECT_EQ(OnePixel(ColorCurvesCompute, &settings, c.type, c.r, c.g, c.b), c.expected);
        } else {
            BrightnessCurveSettings settings;
            BrightnessCurveSettingsDefault(&settings);
            settings.colorSpace = c.space;
            settings.curve = c.points;
            EXPECT_EQ(OnePixel(BrightnessCurveCompute, &settings, c.type, c.r, c.g, c.b),
                      c.expected);
        }
    }
}

TEST(Curves, TwelveBitTablesSpanTheCircle)
{
    uint8_t identity[256];
    for (int i = 0; i < 256; i++)
        identity[i] = (uint8_t)i;
    uint16_t table12[CURVES_LEVELS12];
    CurvesTable12(identity, table12);
    // j = 2048: T[(2048 x 255 + 2048) >> 12 = 128] = 128, (128 x 4096 + 127) / 255 = 2056.
    EXPECT_EQ(table12[0], 0);
    EXPECT_EQ(table12[2048], 2056);
    EXPECT_EQ(table12[4096], 4096);
}

TEST(Curves, ColorCurvesFileRoundTripsAndRefusesDamage)
{
    TestStart();
    std::string folder = TestOutputFolder("CurvesFile");
    std::string path = folder + "/curves.cc";
    ColorCurvesSettings written;
    ColorCurvesSettingsDefault(&written);
    written.colorSpace = CURVES_HSL;
    written.component = 1;
    written.curves[1] = Line(10, 240);
    written.curves[2].histExpand = CURVE_EXPAND_HIGH;
    FileHandle file = FILE_HANDLE_NONE;
    ASSERT_EQ(FileCreate(path.c_str(), &file), ERROR_NONE);
    ASSERT_EQ(WriteColorCurvesFile(file, &written), ERROR_NONE);
    FileClose(&file);
    ColorCurvesSettings read;
    ColorCurvesSettingsDefault(&read);
    ASSERT_EQ(ColorCurvesLoad(path.c_str(), &read), ERROR_NONE);
    EXPECT_EQ(read.colorSpace, CURVES_HSL);
    EXPECT_EQ(read.component, 1);
    for (int c = 0; c < 3; c++) {
        EXPECT_EQ(read.curves[c].pointCount, written.curves[c].pointCount);
        EXPECT_EQ(read.curves[c].style, written.curves[c].style);
        EXPECT_EQ(read.curves[c].histExpand, written.curves[c].histExpand);
        EXPECT_EQ(read.curves[c].y[0], written.curves[c].y[0]);
    }

    // Each damage refuses the file with code 42 and leaves the settings as they were.
    const char *damaged[] = {
        "Curve 1.0\nend\n",                              // another kind's header
        "ColorCurves 1.0\ncolorspace 3\nend\n",          // no such color space
        "ColorCurves 1.0\nnpts4 2\nend\n",               // no fourth curve
        "ColorCurves 1.0\nnpts1 1\nend\n",               // too few points
        "ColorCurves 1.0\npoint1 256 0 0\nend\n",        // an index past the table
        "ColorCurves 1.0\nnpts1 2\npoint1 1 0 9\nend\n", // x not rising
        "ColorCurves 1.0\nstyle2 wavy\nend\n",           // no such style
        "ColorCurves 1.0\ncolor 2\nend\n",               // an unknown key
        "ColorCurves 1.0\ncolorspace 1\n",               // no end
    };
    for (const char *text : damaged) {
        SCOPED_TRACE(text);
        TestWriteFile(path, std::vector<uint8_t>(text, text + strlen(text)));
        ColorCurvesSettings kept = read;
        EXPECT_EQ(ColorCurvesLoad(path.c_str(), &kept), ERROR_ILLEGAL_COLOR_CURVE_FILE);
        EXPECT_EQ(kept.colorSpace, CURVES_HSL);
        EXPECT_EQ(kept.curves[1].y[0], 10);
    }
    EXPECT_EQ(ColorCurvesLoad((folder + "/none.cc").c_str(), &read), ERROR_OPEN_FILE);
}

// vistel-cli gives what Apply gives, 16 bits kept, with an amount.
TEST(Curves, CommandLineEqualsApply)
{
    TestStart();
    std::string folder = TestOutputFolder("CurvesCli");
    Picture input = {};
    PictureMake(&input.image, TYPE_COLOR48, 37, 23, 5);
    std::string in = folder + "/in.tif", out = folder + "/out.tif", cc = folder + "/hsv.cc";
    ASSERT_EQ(FileSave(in.c_str(), FILE_SAVE_TIFF, &input, 0), ERROR_NONE);
    ColorCurvesSettings settings;
    ColorCurvesSettingsDefault(&settings);
    settings.colorSpace = CURVES_HSV;
    settings.curves[1] = Line(0, 200);
    FileHandle file = FILE_HANDLE_NONE;
    ASSERT_EQ(FileCreate(cc.c_str(), &file), ERROR_NONE);
    ASSERT_EQ(WriteColorCurvesFile(file, &settings), ERROR_NONE);
    FileClose(&file);
    ASSERT_EQ(
        TestRun(TestCliPath() + " curves --amount 50 '" + cc + "' '" + in + "' '" + out + "'"), 0);
    settings.amount.low = AmountPosition(50.0);
    Picture made = {}, cli = {};
    ASSERT_EQ(TransformApply(&ColorCurvesTransform, &settings, &input, &made), ERROR_NONE);
    ASSERT_EQ(FileLoad(out.c_str(), FILE_OPEN_TIFF, &cli, 0), ERROR_NONE);
    EXPECT_EQ(cli.image.type, TYPE_COLOR48);
    ExpectImagesNear(made.image, cli.image, 0);
    for (Picture *picture : {&input, &made, &cli})
        PictureFree(picture);
}
