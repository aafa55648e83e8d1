// Color Correct: the chroma plane, the tables of one moved point worked by hand, pixels
// through both brightness rules at 8 and 16 bits, the influence as a mask, the settings
// file and its damaged forms, and vistel-cli against Apply. What every transformation does
// is tested in AllTransformsTest.
#include <gtest/gtest.h>

#include <string>

#include "core/Memory.h"
#include "core/SettingsText.h"
#include "files/FileType.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/ColorCorrect.h"
#include "transforms/Transforms.h"

TEST(ColorCorrect, ChromaToColorGivesTheHexagonAndItsExcess)
{
    struct Case {
        int x, y;
        int r, g, b, excess;
    } cases[] = {
        {0, 0, 255, 255, 255, 0},     // white
        {0, 255, 255, 0, 0, 0},       // red
        {0, -255, 0, 255, 255, 0},    // cyan
        {255, -127, 0, 255, 0, 0},    // green: r = -127 + (0 + 255) / 2
        {-255, -127, 0, 0, 255, 0},   // blue
        {255, 128, 255, 254, 0, 0},   // yellow's position: g = 255 - 128 + 127 loses one
        {0, 300, 255, 0, 0, 45},      // above red by 45
        {255, 255, 255, 254, 0, 127}, // held at y = 255 - 127
        {-2, 2, 255, 252, 254, 0},    // h = -1: g = 255 - 2 - 1, b = 255 - 2 + 1
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y);
        uint8_t rgb[3];
        EXPECT_EQ(ChromaToColor(c.x, c.y, rgb), c.excess);
        EXPECT_EQ(rgb[0], c.r);
        EXPECT_EQ(rgb[1], c.g);
        EXPECT_EQ(rgb[2], c.b);
    }
}

// One point: red goes to magenta (chroma -255, 128) and half brighter, radius 0.5.
static void OnePoint(ColorCorrectSettings *settings)
{
    ColorCorrectSettingsDefault(settings);
    settings->pointCount = 1;
    const uint8_t red[3] = {255, 0, 0}, magenta[3] = {255, 0, 255};
    memcpy(settings->sourceColor[0], red, 3);
    memcpy(settings->targetColor[0], magenta, 3);
    settings->brightness[0] = 0.5;
    settings->radius = 0.5;
}

struct OnePointTables {
    ColorCorrectSettings settings;
    ColorCorrectTables tables = {};
    OnePointTables()
    {
        TestStart(); // the shared tables of the core
        OnePoint(&settings);
        EXPECT_EQ(ColorCorrectTablesAlloc(&tables), ERROR_NONE);
        ColorCorrectTablesBuild(&settings, &tables, 0);
    }
    ~OnePointTables()
    {
        ColorCorrectTablesFree(&tables);
    }
};

TEST(ColorCorrect, OnePointMovesItsNeighboursByTheInverseSquare)
{
    OnePointTables one;
    // The point's move is (-1, 128/255 - 1) in units of 255; D = 1 / 0.5001 + w, w = 0.5 / d².
    struct Case {
        int x, y;
        int newX, newY, brightness;
    } cases[] = {
        // At the point itself: its target, and Round(0.5 x 255) = 128.
        {0, 255, -255, 128, 128},
        // Halfway, d² = (127/255)² = 0.24804, w = 2.01578, D = 4.01538: x = -255 w / D =
        // -128.01; y = 128 + 255 (-127/255) w / D = 64.24; b = 255 x 0.5 w / D = 64.01.
        {0, 128, -128, 64, 64},
        // White, d² = 1, w = 0.5, D = 2.49960: x = -255 x 0.5 / D = -51.01; y = -127 x 0.5 / D
        // = -25.40; b = 255 x 0.25 / D = 25.50.
        {0, 0, -51, -25, 26},
        // Cyan, d² = 4: a quarter of white's weight, w = 0.125, D = 2.12460: x = -255 w / D =
        // -15.00; y = -255 - 127 w / D = -262.47, held at -255; b = 255 x 0.5 w / D = 7.50.
        {0, -255, -15, -255, 8},
        // Outside the hexagon nothing is stored.
        {255, 255, 0, 0, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y);
        uint32_t shift = one.tables.shift[ChromaIndex(c.x, c.y)];
        EXPECT_EQ((int16_t)(shift & 0xffff), c.newX);
        EXPECT_EQ((int16_t)(shift >> 16), c.newY);
        EXPECT_EQ(one.tables.brightness[ChromaIndex(c.x, c.y)], c.brightness);
    }
}

TEST(ColorCorrect, RadiusZeroMovesOnlyTheExactPosition)
{
    ColorCorrectSettings settings;
    ColorCorrectTables tables = {};
    OnePoint(&settings);
    settings.radius = 0.0;
    ASSERT_EQ(ColorCorrectTablesAlloc(&tables), ERROR_NONE);
    ColorCorrectTablesBuild(&settings, &tables, 0);
    // Beside the point every w is 0: the position stays where it is, unbrightened.
    uint32_t beside = tables.shift[ChromaIndex(0, 254)];
    EXPECT_EQ((int16_t)(beside & 0xffff), 0);
    EXPECT_EQ((int16_t)(beside >> 16), 254);
    EXPECT_EQ(tables.brightness[ChromaIndex(0, 254)], 0);
    EXPECT_EQ(tables.brightness[ChromaIndex(0, 255)], 128);
    ColorCorrectTablesFree(&tables);
}

TEST(ColorCorrect, PixelsTakeTheNewColorAndValue)
{
    OnePointTables one;
    struct Case {
        int nonlinear;
        uint8_t in[3];
        uint8_t out[3];
    } cases[] = {
        // Red lands at (-255, 128): r 255, g = 255 - 128 - 127, b = 255 - 128 + 127; value
        // 255 stays 255 under "Preserve Black and White".
        {1, {255, 0, 0}, {255, 0, 254}},
        // Dark red: the same position, V' = 128 + 127 x 128 / 255 = 191; 254 x 191 / 255
        // = 190.25.
        {1, {128, 0, 0}, {191, 0, 190}},
        // White lands at (-51, -25), h = -25: b 255, g = 204, r = -25 + 255 - 25.
        {1, {255, 255, 255}, {205, 204, 255}},
        // Gray 100 at white's B = 26: V' = 100 + 155 x 26 / 255 = 115; 205 x 115 / 255 = 92.45.
        {1, {100, 100, 100}, {92, 92, 115}},
        // Black lifts by 255 x 26 / 255 = 26 here, but stays black under "Preserve Black".
        {1, {0, 0, 0}, {21, 21, 26}},
        {0, {0, 0, 0}, {0, 0, 0}},
        // "Preserve Black": 100 x 10^(26/255) = 126.46.
        {0, {100, 100, 100}, {101, 101, 126}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.nonlinear << ": " << (int)c.in[0] << ","
                                        << (int)c.in[1] << "," << (int)c.in[2]);
        uint8_t out[3];
        ColorCorrectPixel8(&one.tables, c.nonlinear, c.in, out);
        EXPECT_EQ(out[0], c.out[0]);
        EXPECT_EQ(out[1], c.out[1]);
        EXPECT_EQ(out[2], c.out[2]);
    }
    // 16 bits: the position from 32896 -> 128, V' = 32896 + 32896 x 32639 / 65535 = 49279,
    // and each channel c x V' / 255.
    const uint16_t darkRed[3] = {32896, 0, 0};
    uint16_t out16[3];
    ColorCorrectPixel16(&one.tables, 1, darkRed, out16);
    EXPECT_EQ(out16[0], 49279);
    EXPECT_EQ(out16[1], 0);
    EXPECT_EQ(out16[2], 49085);
}

// The compute function's table lookups give what the pixel functions give, in both depths
// and both brightness rules, with the points from the settings or from the dialog's tables.
TEST(ColorCorrect, ComputeAgreesWithThePixelFunctions)
{
    OnePointTables one;
    for (int type : {TYPE_COLOR24, TYPE_COLOR48}) {
        for (int nonlinear : {0, 1}) {
            for (int shared : {0, 1}) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", nonlinear " << nonlinear
                                                << ", shared " << shared);
                TestImage source, result;
                PictureMake(&source, type, 37, 23, 11 + nonlinear);
                one.settings.nonlinear = nonlinear;
                one.settings.tables = shared ? &one.tables : nullptr;
                ASSERT_EQ(ApplyRun(ColorCorrectCompute, &one.settings, source, &result),
                          ERROR_NONE);
                ASSERT_EQ(result.type, type);
                for (int y = 0; y < 23; y++) {
                    for (int x = 0; x < 37; x++) {
                        int expected[3];
                        if (type == TYPE_COLOR24) {
                            uint8_t in[3], out[3];
                            for (int c = 0; c < 3; c++)
                                in[c] = (uint8_t)PictureSample(source, x, y, 2 - c);
                            ColorCorrectPixel8(&one.tables, nonlinear, in, out);
                            for (int c = 0; c < 3; c++)
                                expected[c] = out[c];
                        } else {
                            uint16_t in[3], out[3];
                            for (int c = 0; c < 3; c++)
                                in[c] = (uint16_t)PictureSample(source, x, y, 2 - c);
                            ColorCorrectPixel16(&one.tables, nonlinear, in, out);
                            for (int c = 0; c < 3; c++)
                                expected[c] = out[c];
                        }
                        for (int c = 0; c < 3; c++)
                            ASSERT_EQ(PictureSample(result, x, y, 2 - c), expected[c])
                                << x << "," << y << " channel " << c;
                    }
                }
            }
        }
    }
}

TEST(ColorCorrect, TheSelectedPointsInfluenceIsAGrayMaskAtAFullAmount)
{
    TestStart();
    ColorCorrectSettings settings;
    OnePoint(&settings);
    settings.selectedPoint = 0;
    settings.saveAsMask = 1;
    TestImage source, result;
    ASSERT_EQ(ImageAlloc(&source, TYPE_COLOR24, 2, 1, 72.0), ERROR_NONE);
    const uint8_t pixels[6] = {0, 0, 255, 200, 200, 200}; // red, then a gray: blue first
    memcpy(source.rows[0], pixels, 6);
    ASSERT_EQ(ApplyRun(ColorCorrectCompute, &settings, source, &result), ERROR_NONE);
    ASSERT_EQ(result.type, TYPE_GRAY8);
    // Red is the point itself: 255. A gray sits at white, w = 0.5 of D = 2.4996: trunc(51.01).
    EXPECT_EQ(PictureSample(result, 0, 0, 0), 255);
    EXPECT_EQ(PictureSample(result, 1, 0, 0), 51);
    // At half the amount the influence is mixed into the color picture:
    // Lerp8(200, 51, 128) = 200 - (149 x 128 + 127) / 255 = 125.
    settings.amount.low = 512;
    ASSERT_EQ(ApplyRun(ColorCorrectCompute, &settings, source, &result), ERROR_NONE);
    ASSERT_EQ(result.type, TYPE_COLOR24);
    EXPECT_EQ(PictureSample(result, 1, 0, 1), 125);
    EXPECT_EQ(PictureSample(result, 0, 0, 2), 255);
}

// A preview that shows the selected point's influence computes even where no point moves;
// Apply of the same settings still copies.
TEST(ColorCorrect, APreviewOfTheInfluenceComputesWhereNothingMoves)
{
    TestStart();
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    TestImage source;
    ASSERT_EQ(ImageAlloc(&source, TYPE_COLOR24, 1, 1, 72.0), ERROR_NONE);
    memset(source.rows[0], 255, 3);
    EXPECT_EQ(ColorCorrectChangesNothing(&settings, &source, 0), 1);
    settings.selectedPoint = 1;
    settings.showAffectedRegion = 1;
    EXPECT_EQ(ColorCorrectChangesNothing(&settings, &source, 0), 0);
    EXPECT_EQ(ColorCorrectChangesNothing(&settings, &source, 1), 1);
}

static std::string WriteText(const std::string &name, const std::string &text)
{
    std::string path = TestCaseFolder() + "/" + name;
    TestWriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
    return path;
}

TEST(ColorCorrect, SettingsFileRoundTripsEverySetting)
{
    TestStart();
    ColorCorrectSettings written, read;
    OnePoint(&written);
    written.pointCount = 3;
    written.targetColor[2][1] = 17;
    written.sourceColor[2][2] = 99;
    written.brightness[2] = -0.3125; // four decimals, as the file keeps them
    written.radius = 0.25;
    written.probeSize = 4;
    written.nonlinear = 0;
    std::string path = TestOutputFolder("ColorCorrect.RoundTrip") + "/round.colorcorrect";
    ASSERT_EQ(SettingsFileSave(path.c_str(), ColorCorrectSettingsWrite, &written), ERROR_NONE);
    ColorCorrectSettingsDefault(&read);
    ASSERT_EQ(ColorCorrectSettingsLoad(path.c_str(), &read), ERROR_NONE);
    EXPECT_EQ(read.pointCount, 3);
    EXPECT_EQ(memcmp(read.targetColor, written.targetColor, 3 * 3), 0);
    EXPECT_EQ(memcmp(read.sourceColor, written.sourceColor, 3 * 3), 0);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(read.brightness[i], written.brightness[i]) << i;
    EXPECT_EQ(read.radius, 0.25);
    EXPECT_EQ(read.probeSize, 4);
    EXPECT_EQ(read.nonlinear, 0);
    std::vector<uint8_t> bytes = TestReadFile(path);
    std::string text(bytes.begin(), bytes.end());
    EXPECT_NE(text.find("ColorCorrect 1.0\r\nnpts 3\r\nradius 0.25\r\nprobesize 4\r\n"
                        "nonlinear 0\r\npoint 0 255 0 255 255 0 0 0.5000\r\n"),
              std::string::npos)
        << text;
}

TEST(ColorCorrect, SettingsFileAcceptsOldAndLooseValues)
{
    TestStart();
    std::string hundred = "ColorCorrect 1.0\nnpts 100\n";
    for (int i = 0; i < 100; i++)
        hundred += "point " + std::to_string(i) + " 0 0 255 255 255 255 0.25\n";
    hundred += "end\n";
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    ASSERT_EQ(
        ColorCorrectSettingsLoad(WriteText("hundred.colorcorrect", hundred).c_str(), &settings),
        ERROR_NONE);
    EXPECT_EQ(settings.pointCount, 100);
    EXPECT_EQ(settings.brightness[99], 0.25);
    // Eight words: written before brightness existed. A negative radius is 0, any nonzero
    // nonlinear is 1, and keys come in any order.
    const char *old = "ColorCorrect 1.0\npoint 1 1 2 3 4 5 6\nradius -2\nnonlinear 7\n"
                      "npts 2\nend\n";
    ASSERT_EQ(ColorCorrectSettingsLoad(WriteText("old.colorcorrect", old).c_str(), &settings),
              ERROR_NONE);
    EXPECT_EQ(settings.pointCount, 2);
    EXPECT_EQ(settings.targetColor[1][2], 3);
    EXPECT_EQ(settings.sourceColor[1][0], 4);
    EXPECT_EQ(settings.brightness[1], 0.0);
    EXPECT_EQ(settings.radius, 0.0);
    EXPECT_EQ(settings.nonlinear, 1);
}

TEST(ColorCorrect, DamagedSettingsFilesFailAndLeaveTheReset)
{
    TestStart();
    const char *cases[] = {
        "Curve 1.0\nend\n",                                     // another kind
        "ColorCorrect 2.0\nend\n",                              // another version
        "ColorCorrect 1.0\nnpts 101\nend\n",                    // too many points
        "ColorCorrect 1.0\nnpts -1\nend\n",                     //
        "ColorCorrect 1.0\nnpts 2\n",                           // no "end"
        "ColorCorrect 1.0\ncolour 1\nend\n",                    // an unknown key
        "ColorCorrect 1.0\nnpts 1\npoint 1 0 0 0 0 0 0\nend\n", // past the count
        "ColorCorrect 1.0\npoint 100 0 0 0 0 0 0\nend\n",       // past the tables
        "ColorCorrect 1.0\npoint 0 0 0 0 0 0\nend\n",           // seven words
        "ColorCorrect 1.0\npoint 0 256 0 0 0 0 0\nend\n",       // a channel past 255
        "ColorCorrect 1.0\npoint 0 0 0 0 0 0 0 1.5\nend\n",     // brightness past 1
        "ColorCorrect 1.0\nprobesize 5\nend\n",                 // no such probe
        "ColorCorrect 1.0\nradius x\nend\n",                    // not a number
    };
    ColorCorrectSettings reset;
    ColorCorrectSettingsDefault(&reset);
    for (const char *text : cases) {
        SCOPED_TRACE(text);
        ColorCorrectSettings settings;
        OnePoint(&settings);
        EXPECT_EQ(ColorCorrectSettingsLoad(WriteText("bad.colorcorrect", text).c_str(), &settings),
                  ERROR_ILLEGAL_COLOR_CORRECTION_FILE);
        EXPECT_EQ(memcmp(&settings, &reset, sizeof settings), 0);
    }
    ColorCorrectSettings settings;
    OnePoint(&settings);
    EXPECT_EQ(ColorCorrectSettingsLoad("/nonexistent/none.colorcorrect", &settings),
              ERROR_OPEN_FILE);
    EXPECT_EQ(ERROR_ILLEGAL_COLOR_CORRECTION_FILE, 100);
}

// vistel-cli color-correct FILE IN OUT gives what Apply gives, at 8 and 16 bits, with an
// amount; a damaged settings file fails with its message and writes nothing.
TEST(ColorCorrect, VistelCliGivesWhatApplyGives)
{
    TestStart();
    std::string folder = TestOutputFolder("ColorCorrect.Cli");
    ColorCorrectSettings settings;
    OnePoint(&settings);
    settings.radius = 0.75; // the file keeps two decimals
    std::string file = folder + "/one.colorcorrect";
    ASSERT_EQ(SettingsFileSave(file.c_str(), ColorCorrectSettingsWrite, &settings), ERROR_NONE);
    settings.amount.low = AmountPosition(60.0);
    for (int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        std::string in = folder + "/in" + std::to_string(depth) + ".tif";
        std::string out = folder + "/out" + std::to_string(depth) + ".tif";
        ASSERT_EQ(TestRun("convert -size 64x48 plasma:fractal -depth " + std::to_string(depth) +
                          " -type TrueColor -compress none '" + in + "'"),
                  0);
        ASSERT_EQ(TestRun(TestCliPath() + " color-correct --amount 60 '" + file + "' '" + in +
                          "' '" + out + "'"),
                  0);
        Picture input = {}, made = {}, saved = {};
        ASSERT_EQ(FileLoad(in.c_str(), FILE_OPEN_ALL, &input, 0), ERROR_NONE);
        ASSERT_EQ(FileLoad(out.c_str(), FILE_OPEN_ALL, &saved, 0), ERROR_NONE);
        ASSERT_EQ(TransformApply(&ColorCorrectTransform, &settings, &input, &made), ERROR_NONE);
        EXPECT_EQ(saved.image.type, depth == 8 ? TYPE_COLOR24 : TYPE_COLOR48);
        ExpectImagesNear(made.image, saved.image, 0);
        for (Picture *picture : {&input, &made, &saved})
            PictureFree(picture);
    }
    // A mask: 20 % where it is black, 90 % where white.
    std::string maskPath = folder + "/mask.tif", out = folder + "/masked.tif";
    ASSERT_EQ(TestRun("convert -size 64x48 gradient:black-white -depth 8 -type Grayscale "
                      "-compress none '" +
                      maskPath + "'"),
              0);
    ASSERT_EQ(TestRun(TestCliPath() + " color-correct '" + file + "' '" + folder + "/in8.tif' '" +
                      out + "' --amount 20:90 --mask '" + maskPath + "'"),
              0);
    Picture input = {}, mask = {}, made = {}, saved = {};
    ASSERT_EQ(FileLoad((folder + "/in8.tif").c_str(), FILE_OPEN_ALL, &input, 0), ERROR_NONE);
    ASSERT_EQ(FileLoad(maskPath.c_str(), FILE_OPEN_ALL, &mask, 0), ERROR_NONE);
    ASSERT_EQ(FileLoad(out.c_str(), FILE_OPEN_ALL, &saved, 0), ERROR_NONE);
    settings.amount.low = AmountPosition(20.0);
    settings.amount.high = AmountPosition(90.0);
    settings.amount.maskImage = &mask.image;
    ASSERT_EQ(TransformApply(&ColorCorrectTransform, &settings, &input, &made), ERROR_NONE);
    ExpectImagesNear(made.image, saved.image, 0);
    for (Picture *picture : {&input, &mask, &made, &saved})
        PictureFree(picture);

    std::string bad = WriteText("bad.colorcorrect", "ColorCorrect 1.0\nnpts 101\nend\n");
    std::string output, none = folder + "/none.tif";
    EXPECT_NE(TestRun(TestCliPath() + " color-correct '" + bad + "' '" + folder + "/in8.tif' '" +
                          none + "' 2>&1",
                      &output),
              0);
    EXPECT_NE(output.find("Illegal color correction file"), std::string::npos) << output;
    EXPECT_TRUE(TestReadFile(none).empty());
}
