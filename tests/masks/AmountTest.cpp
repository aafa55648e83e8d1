// The Amount through a transformation (Gamma Adjust, by ComputeRows): the effect mixed with
// the input by a constant amount or by a mask, the short cuts at none and all, previews that
// agree with the Apply, and vistel-cli's --amount and --mask.
#include <gtest/gtest.h>

#include "core/Picture.h"
#include "files/FileType.h"
#include "masks/Amount.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/GammaAdjust.h"

namespace {

constexpr int W = 13, H = 7;

GammaSettings GammaOf(double factor, int low, int high, const Image *mask)
{
    GammaSettings settings;
    GammaSettingsDefault(&settings);
    settings.factor = factor;
    settings.amount.low = low;
    settings.amount.high = high;
    settings.amount.maskImage = mask;
    return settings;
}

// A mask whose value grows along the row and up the rows: x * 19 + y * 3.
void MakeGradient(Image *mask, int width, int height)
{
    ImageClear(mask);
    ASSERT_EQ(ImageAlloc(mask, TYPE_GRAY8, width, height, 100.0), ERROR_NONE);
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
            mask->rows[y][x] = (uint8_t)((x * 19 + y * 3) & 255);
}

// What the rule gives at each sample: the input mixed toward the full effect by the amount of
// the pixel, Lerp8 on 8-bit samples and Lerp16 on 16-bit ones.
void ExpectMixed(const Image &input, const Image &full, const Image &mixed, int low8, int high8,
                 const Image *mask)
{
    int wide = input.type == TYPE_GRAY16 || input.type == TYPE_COLOR48;
    int differ = 0;
    for (int y = 0; y < input.height; y++)
        for (int x = 0; x < input.width; x++)
            for (int c = 0; c < PictureChannels(input.type); c++) {
                int amount = mask != nullptr ? Lerp8(low8, high8, mask->rows[y][x]) : low8;
                int a = PictureSample(input, x, y, c), b = PictureSample(full, x, y, c);
                int expected = wide ? Lerp16(a, b, amount) : Lerp8(a, b, amount);
                if (PictureSample(mixed, x, y, c) != expected && differ++ < 3)
                    ADD_FAILURE() << "at " << x << "," << y << "," << c << ": "
                                  << PictureSample(mixed, x, y, c) << " not " << expected;
            }
}

TEST(Amount, MixesTheEffectByAConstantOrAMask)
{
    TestStart();
    Image mask;
    MakeGradient(&mask, W, H);
    // low and high positions and their 8-bit amounts: 512 is (512 * 255 + 512) >> 10 = 128,
    // 256 gives 64 and 768 gives 191.
    struct Case {
        const char *name;
        int low, high, low8, high8;
        const Image *mask;
    } cases[] = {
        {"half", 512, AMOUNT_NO_MASK, 128, -1, nullptr},
        {"mask 0..100 %", 0, 1024, 0, 255, &mask},
        {"mask 25..75 %", 256, 768, 64, 191, &mask},
        {"mask 75..25 %", 768, 256, 191, 64, &mask},
    };
    for (int type : {TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        Image input, full, mixed;
        PictureMake(&input, type, W, H, type);
        GammaSettings plain = GammaOf(2.0, AMOUNT_POSITIONS, AMOUNT_NO_MASK, nullptr);
        ImageClear(&full);
        ASSERT_EQ(ApplyRun(GammaCompute, &plain, input, &full), ERROR_NONE);
        for (const Case &c : cases) {
            SCOPED_TRACE(testing::Message() << ImageTypeName(type) << ", " << c.name);
            GammaSettings settings = GammaOf(2.0, c.low, c.high, c.mask);
            EXPECT_EQ(AmountLow8(&settings.amount), c.low8);
            EXPECT_EQ(AmountHigh8(&settings.amount), c.high8);
            ImageClear(&mixed);
            ASSERT_EQ(ApplyRun(GammaCompute, &settings, input, &mixed), ERROR_NONE);
            ExpectMixed(input, full, mixed, c.low8, c.high8, c.mask);
            // In place, as vistel-cli runs it, the input row is kept for the mix.
            Image inPlace;
            ImageClear(&inPlace);
            ASSERT_EQ(ImageDuplicate(&input, &inPlace), ERROR_NONE);
            ASSERT_EQ(ApplyRun(GammaCompute, &settings, inPlace, &inPlace), ERROR_NONE);
            ExpectImagesNear(mixed, inPlace, 0);
            ImageFree(&inPlace);
            ImageFree(&mixed);
        }
        ImageFree(&input);
        ImageFree(&full);
    }
    ImageFree(&mask);
}

// None is a copy made without the effect; all is the effect with no mask read, so a mask
// that would be refused (the wrong size) is never looked at.
TEST(Amount, NoneCopiesAndAllSkipsTheMask)
{
    TestStart();
    Image input, wrongMask, full, result;
    PictureMake(&input, TYPE_COLOR24, W, H, 5);
    MakeGradient(&wrongMask, W + 1, H);
    GammaSettings none = GammaOf(2.0, 1, AMOUNT_NO_MASK, nullptr); // 1 / 1024 rounds to 0
    EXPECT_EQ(GammaChangesNothing(&none, &input, 1), 1);
    GammaSettings noneMasked = GammaOf(2.0, 0, 2, &wrongMask);
    EXPECT_EQ(GammaChangesNothing(&noneMasked, &input, 0), 1);

    GammaSettings plain = GammaOf(2.0, AMOUNT_POSITIONS, AMOUNT_NO_MASK, nullptr);
    GammaSettings allMasked = GammaOf(2.0, AMOUNT_POSITIONS, AMOUNT_POSITIONS, &wrongMask);
    EXPECT_EQ(GammaChangesNothing(&allMasked, &input, 1), 0);
    ImageClear(&full);
    ImageClear(&result);
    ASSERT_EQ(ApplyRun(GammaCompute, &plain, input, &full), ERROR_NONE);
    ASSERT_EQ(ApplyRun(GammaCompute, &allMasked, input, &result), ERROR_NONE);
    ExpectImagesNear(full, result, 0);
    // Between the two, the wrong mask is refused rather than read past its rows.
    GammaSettings half = GammaOf(2.0, 0, AMOUNT_POSITIONS, &wrongMask);
    EXPECT_EQ(ApplyRun(GammaCompute, &half, input, &result), ERROR_INTERNAL_1);
    ImageFree(&input);
    ImageFree(&wrongMask);
    ImageFree(&full);
    ImageFree(&result);
}

// The mask is read with the preview's region and zoom: a preview at zoom -3 from (2, 1) is
// the Apply subsampled there.
TEST(Amount, APreviewReadsTheMaskAtItsZoom)
{
    TestStart();
    const int width = 40, height = 31, step = 3, sx = 2, sy = 1;
    const int w = (width - sx + step - 1) / step, h = (height - sy + step - 1) / step;
    for (int type : {TYPE_GRAY8, TYPE_COLOR24}) {
        SCOPED_TRACE(ImageTypeName(type));
        Image input, mask, applied, expected;
        PictureMake(&input, type, width, height, 11);
        MakeGradient(&mask, width, height);
        GammaSettings settings = GammaOf(0.5, 100, 900, &mask);
        ImageClear(&applied);
        ASSERT_EQ(ApplyRun(GammaCompute, &settings, input, &applied), ERROR_NONE);
        PictureSubsample(applied, sx, sy, step, w, h, &expected);
        ImageWindow preview;
        PreviewWindowSetUp(&preview, input, -step, sx, sy, w, h);
        ASSERT_EQ(PreviewRun(GammaCompute, &settings, input, &preview, 0, 0, w - 1, h - 1),
                  ERROR_NONE);
        ExpectImagesNear(expected, preview.view, 0);
        PreviewWindowFree(&preview);
        for (Image *image : {&input, &mask, &applied, &expected})
            ImageFree(image);
    }
}

// vistel-cli gamma with --amount P and with --amount LOW:HIGH --mask FILE gives what the
// settings give; a mask of another size is refused with no output.
void SaveTiff(const std::string &path, const Image &image)
{
    Picture picture;
    PictureReset(&picture);
    ASSERT_EQ(ImageDuplicate(&image, &picture.image), ERROR_NONE);
    EXPECT_EQ(FileSave(path.c_str(), FILE_SAVE_TIFF, &picture, 90), ERROR_NONE);
    PictureFree(&picture);
}

TEST(Amount, TheCliTakesAnAmountAndAMask)
{
    TestStart();
    std::string folder = TestOutputFolder("AmountCli");
    Image input, mask, expected;
    PictureMake(&input, TYPE_COLOR24, W, H, 3);
    MakeGradient(&mask, W, H);
    SaveTiff(folder + "/in.tif", input);
    SaveTiff(folder + "/mask.tif", mask);
    Image small;
    MakeGradient(&small, W - 1, H);
    SaveTiff(folder + "/small.tif", small);
    struct Case {
        const char *options;
        int low, high;
        const Image *mask;
    } cases[] = {
        {"--amount 50", 512, AMOUNT_NO_MASK, nullptr},
        {"--amount 10:90 --mask ", 102, 922, &mask},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.options);
        std::string options = c.options;
        if (c.mask != nullptr) options += folder + "/mask.tif";
        std::string out = folder + "/out.tif";
        remove(out.c_str());
        ASSERT_EQ(TestRun(TestCliPath() + " gamma --factor 2 " + options + " " + folder +
                          "/in.tif " + out),
                  0);
        GammaSettings settings = GammaOf(2.0, c.low, c.high, c.mask);
        ImageClear(&expected);
        ASSERT_EQ(ApplyRun(GammaCompute, &settings, input, &expected), ERROR_NONE);
        Picture result;
        PictureReset(&result);
        ASSERT_EQ(FileLoad(out.c_str(), FILE_OPEN_ALL, &result, 0), ERROR_NONE);
        ExpectImagesNear(expected, result.image, 0);
        PictureFree(&result);
        ImageFree(&expected);
    }
    std::string errors;
    std::string out = folder + "/refused.tif";
    EXPECT_EQ(TestRun(TestCliPath() + " gamma --factor 2 --amount 0:100 --mask " + folder +
                          "/small.tif " + folder + "/in.tif " + out + " 2>&1",
                      &errors),
              1);
    EXPECT_NE(errors.find("a mask must be an 8-bit gray picture of the input's size, 13 x 7"),
              std::string::npos)
        << errors;
    EXPECT_FALSE(TestRun("test -e " + out) == 0);
    for (Image *image : {&input, &mask, &small})
        ImageFree(image);
}

} // namespace
