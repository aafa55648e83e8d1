// Convert: every source type into every target, with values worked out by hand, bits placed
// where the writer puts them, and previews of 16-bit targets at 8 bits.
#include <gtest/gtest.h>
#include <vector>

#include "core/Preferences.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/Convert.h"

// A picture one row high whose pixels hold the given samples, channel by channel in memory
// order (blue first for color).
static void MakeRow(Image *image, int type, const std::vector<int> &samples)
{
    int channels = PictureChannels(type);
    int width = (int)samples.size() / channels;
    ImageClear(image);
    ASSERT_EQ(ImageAlloc(image, type, width, 1, 72.0), ERROR_NONE);
    for (int i = 0; i < (int)samples.size(); i++)
        PictureSetSample(image, i / channels, 0, i % channels, samples[i]);
}

static std::vector<int> RowSamples(const Image &image)
{
    std::vector<int> samples;
    for (int x = 0; x < image.width; x++)
        for (int c = 0; c < PictureChannels(image.type); c++)
            samples.push_back(PictureSample(image, x, 0, c));
    return samples;
}

static ErrorCode ConvertApply(int target, const Image &source, Image *destination)
{
    ConvertSettings settings = {target};
    return ApplyRun(ConvertCompute, &settings, source, destination);
}

TEST(Convert, EveryPairGivesTheValuesWorkedOutByHand)
{
    TestStart();
    // Luminance = (306 r + 601 g + 117 b) >> 10. Pure red 255 gives 76, pure green 149, and
    // red with blue 105: bright channels, dark luminance. Depth16To8[32767] is 127 and
    // [32768] 128; Depth8To16[v] is 257 v.
    struct Case {
        int sourceType;
        int target;
        int outputType;
        std::vector<int> source; // samples in memory order
        std::vector<int> expected;
    } cases[] = {
        // Gray: the threshold, copies into color, widening.
        {TYPE_GRAY8, CONVERT_BINARY, TYPE_BINARY, {0, 127, 128, 255}, {0, 0, 255, 255}},
        {TYPE_GRAY8, CONVERT_COLOR24, TYPE_COLOR24, {7, 200}, {7, 7, 7, 200, 200, 200}},
        {TYPE_GRAY8, CONVERT_GRAY16, TYPE_GRAY16, {0, 128, 255}, {0, 32896, 65535}},
        {TYPE_GRAY8, CONVERT_COLOR48, TYPE_COLOR48, {1}, {257, 257, 257}},
        // Binary reads as bytes of 0 and 255.
        {TYPE_BINARY, CONVERT_GRAY8, TYPE_GRAY8, {0, 255, 255, 0}, {0, 255, 255, 0}},
        {TYPE_BINARY, CONVERT_COLOR24, TYPE_COLOR24, {255, 0}, {255, 255, 255, 0, 0, 0}},
        {TYPE_BINARY, CONVERT_GRAY16, TYPE_GRAY16, {255, 0}, {65535, 0}},
        {TYPE_BINARY, CONVERT_BINARY, TYPE_BINARY, {255, 0, 255}, {255, 0, 255}},
        // Color, blue first: red alone, green alone, red and blue, gray 127, gray 128.
        {TYPE_COLOR24,
         CONVERT_BINARY,
         TYPE_BINARY,
         {0, 0, 255, 0, 255, 0, 255, 0, 255, 127, 127, 127, 128, 128, 128},
         {0, 255, 0, 0, 255}},
        {TYPE_COLOR24,
         CONVERT_GRAY8,
         TYPE_GRAY8,
         {0, 0, 255, 0, 255, 0, 255, 0, 255},
         {76, 149, 105}},
        {TYPE_COLOR24, CONVERT_GRAY16, TYPE_GRAY16, {0, 0, 255}, {76 * 257}},
        {TYPE_COLOR24, CONVERT_COLOR48, TYPE_COLOR48, {1, 2, 255}, {257, 514, 65535}},
        // 16-bit gray is narrowed by the table: 255 / 257 rounds to 1, where dropping the low
        // byte would give 0. Into 48-bit color it keeps all 16 bits.
        {TYPE_GRAY16, CONVERT_BINARY, TYPE_BINARY, {32767, 32768}, {0, 255}},
        {TYPE_GRAY16,
         CONVERT_GRAY8,
         TYPE_GRAY8,
         {0, 255, 32767, 32768, 65535},
         {0, 1, 127, 128, 255}},
        {TYPE_GRAY16, CONVERT_COLOR24, TYPE_COLOR24, {32768}, {128, 128, 128}},
        {TYPE_GRAY16,
         CONVERT_COLOR48,
         TYPE_COLOR48,
         {1, 12345, 65534},
         {1, 1, 1, 12345, 12345, 12345, 65534, 65534, 65534}},
        // 48-bit color: the luminance of the narrowed samples. 65279 alone in blue narrows to
        // 254, whose luminance is 29.
        {TYPE_COLOR48, CONVERT_BINARY, TYPE_BINARY, {0, 0, 65535, 0, 65535, 0}, {0, 255}},
        {TYPE_COLOR48, CONVERT_GRAY8, TYPE_GRAY8, {0, 0, 65535, 0, 65535, 0}, {76, 149}},
        {TYPE_COLOR48, CONVERT_GRAY8, TYPE_GRAY8, {255, 255, 255, 65279, 0, 0}, {1, 29}},
        {TYPE_COLOR48, CONVERT_COLOR24, TYPE_COLOR24, {32767, 32768, 65535}, {127, 128, 255}},
        // 12345 narrows to 48 (48.5 truncated), whose luminance 48 widens to 12336: the gray
        // keeps only 8 bits of precision.
        {TYPE_COLOR48, CONVERT_GRAY16, TYPE_GRAY16, {12345, 12345, 12345}, {12336}},
        {TYPE_COLOR48, CONVERT_COLOR48, TYPE_COLOR48, {1, 2, 3}, {1, 2, 3}},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::Message() << "type " << test.sourceType << " target " << test.target
                                        << " first sample " << test.source[0]);
        Image source, result = {};
        MakeRow(&source, test.sourceType, test.source);
        ASSERT_EQ(ConvertApply(test.target, source, &result), ERROR_NONE);
        ASSERT_EQ(result.type, test.outputType);
        ASSERT_EQ(result.width, source.width);
        EXPECT_EQ(RowSamples(result), test.expected);
        ImageFree(&source);
        ImageFree(&result);
    }
}

TEST(Convert, BinaryRowsStartAtBitZeroOfTheRow)
{
    TestStart();
    Image source, result = {};
    // 13 pixels: the second byte is partly used.
    MakeRow(&source, TYPE_GRAY8, {255, 0, 0, 0, 0, 0, 0, 200, 128, 127, 0, 0, 255});
    ASSERT_EQ(ConvertApply(CONVERT_BINARY, source, &result), ERROR_NONE);
    EXPECT_EQ(result.rows[0][0], 0x81);        // 1000 0001
    EXPECT_EQ(result.rows[0][1] & 0xf8, 0x88); // 1000 1...
    ImageFree(&source);
    ImageFree(&result);
}

TEST(Convert, BinaryPartialPreviewPutsBitsAtTheirColumns)
{
    TestStart();
    Prefs.smoothZoom = 0;
    TestImage source;
    ImageWindow window;
    PictureMake(&source, TYPE_GRAY8, 30, 6, 12);
    PreviewWindowSetUp(&window, source, 1, 0, 0, 30, 6);
    ConvertSettings settings = {CONVERT_BINARY};
    ASSERT_EQ(PreviewRun(ConvertCompute, &settings, source, &window, 0, 0, 29, 5), ERROR_NONE);
    ASSERT_EQ(window.view.type, TYPE_BINARY);
    // Set every bit, then repaint columns 5 to 21 of rows 1 to 4: their bits follow the
    // threshold and the bits beside them, in the same bytes, stay set.
    for (int y = 0; y < 6; y++)
        for (int i = 0; i < window.view.rowBytes; i++)
            window.view.rows[y][i] = 0xff;
    ASSERT_EQ(PreviewRun(ConvertCompute, &settings, source, &window, 5, 1, 21, 4), ERROR_NONE);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 30; x++) {
            int inside = x >= 5 && x <= 21 && y >= 1 && y <= 4;
            int expected = !inside || PictureSample(source, x, y, 0) >= 128 ? 255 : 0;
            ASSERT_EQ(PictureSample(window.view, x, y, 0), expected) << x << "," << y;
        }

    // Magnified, the row is built from bit 0 of the writer's buffer and placed by it.
    Image whole = {}, expected = {};
    ASSERT_EQ(ConvertApply(CONVERT_BINARY, source, &whole), ERROR_NONE);
    PreviewWindowFree(&window);
    PreviewWindowSetUp(&window, source, 2, 0, 0, 30, 12);
    ASSERT_EQ(PreviewRun(ConvertCompute, &settings, source, &window, 0, 0, 29, 11), ERROR_NONE);
    PictureMagnify(whole, 2, 30, 12, &expected);
    ExpectImagesNear(expected, window.view, 0);
    ImageFree(&whole);
    ImageFree(&expected);
    PreviewWindowFree(&window);
}

TEST(Convert, PreviewOfSixteenBitTargetsIsEightBit)
{
    TestStart();
    Prefs.smoothZoom = 0;
    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(type);
        TestImage source;
        PictureMake(&source, type, 20, 10, 13);
        struct Pair {
            int wide, narrow, narrowType;
        } pairs[] = {{CONVERT_GRAY16, CONVERT_GRAY8, TYPE_GRAY8},
                     {CONVERT_COLOR48, CONVERT_COLOR24, TYPE_COLOR24}};
        for (const Pair &pair : pairs) {
            ImageWindow wide, narrow;
            PreviewWindowSetUp(&wide, source, -2, 0, 0, 10, 5);
            PreviewWindowSetUp(&narrow, source, -2, 0, 0, 10, 5);
            ConvertSettings wideSettings = {pair.wide};
            ConvertSettings narrowSettings = {pair.narrow};
            ASSERT_EQ(PreviewRun(ConvertCompute, &wideSettings, source, &wide, 0, 0, 9, 4),
                      ERROR_NONE);
            ASSERT_EQ(PreviewRun(ConvertCompute, &narrowSettings, source, &narrow, 0, 0, 9, 4),
                      ERROR_NONE);
            EXPECT_EQ(wide.view.type, pair.narrowType);
            ExpectImagesNear(narrow.view, wide.view, 0);
            PreviewWindowFree(&wide);
            PreviewWindowFree(&narrow);
        }
    }
}

TEST(Convert, TargetTypesAndRefusals)
{
    TestStart();
    EXPECT_EQ(ConvertTargetType(CONVERT_GRAY16, 1), TYPE_GRAY16);
    EXPECT_EQ(ConvertTargetType(CONVERT_GRAY16, 0), TYPE_GRAY8);
    EXPECT_EQ(ConvertTargetType(CONVERT_COLOR48, 0), TYPE_COLOR24);
    EXPECT_EQ(ConvertTargetType(CONVERT_BINARY, 0), TYPE_BINARY);
    EXPECT_EQ(ConvertTargetType(5, 1), TYPE_EMPTY);

    TestImage source, result;
    PictureMake(&source, TYPE_GRAY8, 4, 4, 14);
    EXPECT_EQ(ConvertApply(7, source, &result), ERROR_INTERNAL_1);
    EXPECT_EQ(result.type, TYPE_EMPTY);
}
