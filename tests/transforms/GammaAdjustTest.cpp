// Gamma Adjust: its tables by hand, its output types, partial repaints, its bar that stops
// halfway, and a preview at 1.0 as the display shows it. What every transformation does is
// tested in AllTransformsTest.
#include <cmath>
#include <gtest/gtest.h>

#include "core/Preferences.h"
#include "core/Progress.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/GammaAdjust.h"
#include "ui/Display.h"

// Settings of the factor, the rest as a first opening has them (the full amount).
static GammaSettings GammaOfFactor(double factor)
{
    GammaSettings settings;
    GammaSettingsDefault(&settings);
    settings.factor = factor;
    return settings;
}

// A gray picture one row high whose pixel i holds value i, for i from 0 to count - 1.
static void MakeRamp(Image *image, int type, int count)
{
    ImageClear(image);
    ASSERT_EQ(ImageAlloc(image, type, count, 1, 72.0), ERROR_NONE);
    for (int i = 0; i < count; i++)
        PictureSetSample(image, i, 0, 0, i);
}

static ErrorCode GammaApply(double factor, const Image &source, Image *destination)
{
    GammaSettings settings = GammaOfFactor(factor);
    return ApplyRun(GammaCompute, &settings, source, destination);
}

TEST(GammaAdjust, FactorTwoMaps128To64)
{
    TestStart();
    Image ramp, result = {};
    MakeRamp(&ramp, TYPE_GRAY8, 256);
    ASSERT_EQ(GammaApply(2.0, ramp, &result), ERROR_NONE);
    ASSERT_EQ(result.type, TYPE_GRAY8);
    // Round((128 / 255)^2 * 255) = Round(64.25) = 64; (127 / 255)^2 * 255 = 63.25.
    EXPECT_EQ(PictureSample(result, 128, 0, 0), 64);
    EXPECT_EQ(PictureSample(result, 127, 0, 0), 63);
    // (1 / 255)^2 * 255 = 0.0039 and (8 / 255)^2 * 255 = 0.251 round to 0; 9 gives 0.318,
    // 12 gives 0.565 and so 1.
    EXPECT_EQ(PictureSample(result, 8, 0, 0), 0);
    EXPECT_EQ(PictureSample(result, 12, 0, 0), 1);
    // A factor of 0.5 lifts the shadows: sqrt(64 / 255) * 255 = 127.75.
    ASSERT_EQ(GammaApply(0.5, ramp, &result), ERROR_NONE);
    EXPECT_EQ(PictureSample(result, 64, 0, 0), 128);
    ImageFree(&ramp);
    ImageFree(&result);
}

TEST(GammaAdjust, SixteenBitApplyUsesTheFullTable)
{
    TestStart();
    Image ramp, result = {};
    MakeRamp(&ramp, TYPE_GRAY16, 65536);
    ASSERT_EQ(GammaApply(2.0, ramp, &result), ERROR_NONE);
    ASSERT_EQ(result.type, TYPE_GRAY16);
    // 32768^2 / 65535 = 16384.25 and 1000^2 / 65535 = 15.26: exact at 16 bits, where the 8-bit
    // path would have given multiples of 257.
    EXPECT_EQ(PictureSample(result, 32768, 0, 0), 16384);
    EXPECT_EQ(PictureSample(result, 1000, 0, 0), 15);
    EXPECT_EQ(PictureSample(result, 65534, 0, 0), 65533); // 65533.00003
    ImageFree(&ramp);
    ImageFree(&result);
}

TEST(GammaAdjust, EndsStayForEveryFactorAndTheTablesRise)
{
    TestStart();
    Image ramp8, ramp16, result8 = {}, result16 = {};
    MakeRamp(&ramp8, TYPE_GRAY8, 256);
    MakeRamp(&ramp16, TYPE_GRAY16, 65536);
    // The slider runs from 1/e to e; 1.0 itself is the short cut and is tested apart.
    for (double factor : {exp(-1.0), 0.5, 0.9999, 1.0001, 2.0, 2.22, exp(1.0)}) {
        SCOPED_TRACE(factor);
        ASSERT_EQ(GammaApply(factor, ramp8, &result8), ERROR_NONE);
        ASSERT_EQ(GammaApply(factor, ramp16, &result16), ERROR_NONE);
        EXPECT_EQ(PictureSample(result8, 0, 0, 0), 0);
        EXPECT_EQ(PictureSample(result8, 255, 0, 0), 255);
        EXPECT_EQ(PictureSample(result16, 0, 0, 0), 0);
        EXPECT_EQ(PictureSample(result16, 65535, 0, 0), 65535);
        for (int i = 1; i < 256; i++)
            ASSERT_LE(PictureSample(result8, i - 1, 0, 0), PictureSample(result8, i, 0, 0)) << i;
        for (int i = 1; i < 65536; i++)
            ASSERT_LE(PictureSample(result16, i - 1, 0, 0), PictureSample(result16, i, 0, 0)) << i;
    }
    ImageFree(&ramp8);
    ImageFree(&ramp16);
    ImageFree(&result8);
    ImageFree(&result16);
}

TEST(GammaAdjust, PartialRepaintKeepsTheRestOfTheDestination)
{
    TestStart();
    TestImage source, before;
    ImageWindow window;
    PictureMake(&source, TYPE_COLOR24, 20, 16, 1);
    PreviewWindowSetUp(&window, source, 1, 0, 0, 20, 16);
    GammaSettings settings = GammaOfFactor(2.0);
    ASSERT_EQ(PreviewRun(GammaCompute, &settings, source, &window, 0, 0, 19, 15), ERROR_NONE);
    // Mark the view, then repaint a strip as a scroll would: only the strip changes.
    TestFillPattern(&window.view, 99);
    ASSERT_EQ(ImageDuplicate(&window.view, &before), ERROR_NONE);
    uint8_t *firstRow = window.view.rows[0];
    ASSERT_EQ(PreviewRun(GammaCompute, &settings, source, &window, 4, 3, 9, 12), ERROR_NONE);
    EXPECT_EQ(window.view.rows[0], firstRow); // not reallocated
    for (int y = 0; y < 16; y++)
        for (int x = 0; x < 20; x++)
            for (int c = 0; c < 3; c++) {
                int inside = x >= 4 && x <= 9 && y >= 3 && y <= 12;
                int expected = inside
                                   ? Round(pow(PictureSample(source, x, y, c) / 255.0, 2.0) * 255.0)
                                   : PictureSample(before, x, y, c);
                ASSERT_EQ(PictureSample(window.view, x, y, c), expected) << x << "," << y;
            }

    // A destination of another type is made afresh even for a part: there is no rest to keep.
    ASSERT_EQ(ImageAlloc(&window.view, TYPE_GRAY8, 20, 16, 100.0), ERROR_NONE);
    ASSERT_EQ(PreviewRun(GammaCompute, &settings, source, &window, 4, 3, 9, 12), ERROR_NONE);
    EXPECT_EQ(window.view.type, TYPE_COLOR24);
    PreviewWindowFree(&window);
}

TEST(GammaAdjust, AbortAtRowThreeOfTenReturns11)
{
    TestStart();
    TestImage source, result;
    PictureMake(&source, TYPE_GRAY8, 10000, 10, 3);
    HeadlessAbortAtPump(3);
    EXPECT_EQ(GammaApply(2.0, source, &result), ERROR_ABORTED);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    const HeadlessProgressRecord *progress = HeadlessProgressAt(0);
    EXPECT_STREQ(progress->title, "Gamma Adjust");
    // The bar counts to 2 h - 1 although the steps end at h - 1.
    EXPECT_EQ(progress->last.first, 0);
    EXPECT_EQ(progress->last.last, 19);
    EXPECT_EQ(progress->last.current, 3);
    EXPECT_EQ(progress->pumps, 4);
    EXPECT_EQ(progress->open, 0);
    EXPECT_EQ(ProgressCurrent(), nullptr);
    // Rows 0 to 3 are done; the picture is of the output type and size.
    ASSERT_EQ(result.type, TYPE_GRAY8);
    for (int y = 0; y <= 3; y++)
        for (int x = 0; x < 10000; x += 997)
            ASSERT_EQ(PictureSample(result, x, y, 0),
                      Round(pow(PictureSample(source, x, y, 0) / 255.0, 2.0) * 255.0));
}

TEST(GammaAdjust, FactorOnePreviewRowLoopGivesWhatTheDisplayShowsUnsmoothed)
{
    TestStart();
    Prefs.smoothZoom = 0;
    for (int type : PICTURE_TYPES) {
        if (type == TYPE_BINARY) continue;
        SCOPED_TRACE(type);
        TestImage source;
        ImageWindow preview, display;
        PictureMake(&source, type, 31, 22, 9);
        PreviewWindowSetUp(&preview, source, -2, 1, 0, 15, 11);
        PreviewWindowSetUp(&display, source, -2, 1, 0, 15, 11);
        GammaSettings settings = GammaOfFactor(1.0);
        ASSERT_EQ(PreviewRun(GammaCompute, &settings, source, &preview, 0, 0, 14, 10), ERROR_NONE);
        ASSERT_EQ(RenderView(&source, &display, 0, 0, 14, 10, 0), ERROR_NONE);
        ExpectImagesNear(display.view, preview.view, 0);
        PreviewWindowFree(&preview);
        PreviewWindowFree(&display);
    }
}

TEST(GammaAdjust, PictureWithoutRowsIsRefused)
{
    TestStart();
    TestImage source, result;
    ASSERT_EQ(ImageAlloc(&source, TYPE_GRAY8, 0, 4, 72.0), ERROR_NONE);
    GammaSettings settings = GammaOfFactor(2.0);
    EXPECT_EQ(
        GammaCompute(&source, &result, nullptr, &settings, 1, 1, 4, 0, 0, 1, 0, 0, 0, 3, 1, 4),
        ERROR_INTERNAL_1);
    EXPECT_EQ(
        GammaCompute(&source, &result, nullptr, &settings, 1, 1, 4, 0, 0, 1, 0, 0, 0, 3, 0, 4),
        ERROR_INTERNAL_1);
}
