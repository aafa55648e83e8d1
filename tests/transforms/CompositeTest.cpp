// Composite's own numbers: the twelve operations worked by hand at both depths, the output
// types, the mappings recovered from exact points, the multi-point warp through its pairs,
// coverage at the overlay's edge, Refine, and the composite verb's refusals. What every
// transformation shares is in AllTransformsTest.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "core/CpuFeatures.h"
#include "files/TiffReader.h"
#include "files/TiffWriter.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/Composite.h"

class Composite : public ::testing::Test {
  protected:
    CompositeParams params;
    void SetUp() override
    {
        TestStart();
        CompositeParamsDefault(&params);
    }
};

// A picture of one value in every sample.
static void Flat(Image *image, int type, int width, int height, int value)
{
    PictureMake(image, type, width, height, 0);
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
            for (int c = 0; c < PictureChannels(type); c++)
                PictureSetSample(image, x, y, c, value);
}

// Operation op of background b over overlay o, one pixel of type, through Apply.
static int OperateOnce(CompositeParams *params, int type, int b, int o)
{
    Image background, overlay, result = {};
    Flat(&background, type, 1, 1, b);
    Flat(&overlay, type, 1, 1, o);
    params->overlay = &overlay;
    EXPECT_EQ(ApplyRun(CompositeCompute, params, background, &result), ERROR_NONE);
    int value = PictureSample(result, 0, 0, 0);
    for (Image *image : {&background, &overlay, &result})
        ImageFree(image);
    params->overlay = nullptr;
    return value;
}

TEST_F(Composite, EachOperationGivesTheNumbersWorkedByHand)
{
    // Per operation: b 100 over o 200 and b 200 over o 50 at 8 bits, then the same times 257
    // at 16 bits (25700 over 51400, 51400 over 12850).
    struct Case {
        int operation;
        int low8, high8, low16, high16;
    } cases[] = {
        {COMPOSITE_BLEND, 200, 50, 51400, 12850},
        {COMPOSITE_LIGHTEN, 200, 200, 51400, 51400},
        {COMPOSITE_DARKEN, 100, 50, 25700, 12850},
        {COMPOSITE_FILTER, 78, 39, 20156, 10078},
        {COMPOSITE_SUBTRACTIVE_FILTER, 222, 211, 56944, 54172},
        {COMPOSITE_SOFT_LIGHT, 134, 173, 34582, 44661},
        {COMPOSITE_HARD_LIGHT, 189, 78, 48352, 20156},
        {COMPOSITE_NEGATIVE, 172, 250, 44204, 64250},
        {COMPOSITE_ADD, 255, 250, 65535, 64250},
        {COMPOSITE_SUBTRACT, 0, 150, 0, 38550},
        {COMPOSITE_ABSOLUTE_DIFFERENCE, 100, 150, 25700, 38550},
        {COMPOSITE_REGISTER, 200, 50, 51400, 12850},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(COMPOSITE_OPERATION_LABELS[test.operation]);
        params.operation = test.operation;
        EXPECT_EQ(OperateOnce(&params, TYPE_GRAY8, 100, 200), test.low8);
        EXPECT_EQ(OperateOnce(&params, TYPE_GRAY8, 200, 50), test.high8);
        EXPECT_EQ(OperateOnce(&params, TYPE_GRAY16, 25700, 51400), test.low16);
        EXPECT_EQ(OperateOnce(&params, TYPE_COLOR48, 51400, 12850), test.high16);
    }
}

TEST_F(Composite, OutputTypeTakesColorAndDepthFromEither)
{
    // Rows: background 2, 3, 6, 7; columns: overlay 2, 3, 6, 7.
    static const int TYPES[] = {TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48};
    static const int TABLE[4][4] = {{2, 3, 6, 7}, {3, 3, 7, 7}, {6, 7, 6, 7}, {7, 7, 7, 7}};
    for (int b = 0; b < 4; b++)
        for (int o = 0; o < 4; o++) {
            EXPECT_EQ(CompositeOutputType(TYPES[b], TYPES[o], 1), TABLE[b][o]) << b << "," << o;
            EXPECT_EQ(CompositeOutputType(TYPES[b], TYPES[o], 0),
                      TABLE[b][o] > 3 ? TABLE[b][o] - 4 : TABLE[b][o]);
        }
    EXPECT_EQ(CompositeOutputType(TYPE_HISTOGRAM, TYPE_GRAY8, 1), TYPE_EMPTY);

    // An 8-bit background under a 16-bit gray overlay: 16 bits, the background widened.
    Image background, overlay, result = {};
    Flat(&background, TYPE_GRAY8, 3, 2, 100);
    Flat(&overlay, TYPE_GRAY16, 3, 2, 1000);
    params.overlay = &overlay;
    params.operation = COMPOSITE_ADD;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    EXPECT_EQ(result.type, TYPE_GRAY16);
    EXPECT_EQ(PictureSample(result, 2, 1, 0), 25700 + 1000);

    // A solid overlay of three equal components keeps gray gray; a colored one makes color,
    // red last in memory, widened at 16 bits.
    params.overlay = nullptr;
    params.operation = COMPOSITE_BLEND;
    params.overlayRed = params.overlayGreen = params.overlayBlue = 7;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    EXPECT_EQ(result.type, TYPE_GRAY8);
    EXPECT_EQ(PictureSample(result, 0, 0, 0), 7);
    params.overlayRed = 1;
    params.overlayBlue = 3;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, overlay, &result), ERROR_NONE);
    EXPECT_EQ(result.type, TYPE_COLOR48);
    EXPECT_EQ(PictureSample(result, 1, 1, 0), Depth8To16[3]);
    EXPECT_EQ(PictureSample(result, 1, 1, 2), Depth8To16[1]);
    for (Image *image : {&background, &overlay, &result})
        ImageFree(image);
}

TEST_F(Composite, NegativeRegisterAndTheAmountsAtTheEdges)
{
    Image background, overlay, result = {};
    PictureMake(&background, TYPE_COLOR24, 6, 4, 3);
    Flat(&overlay, TYPE_COLOR24, 4, 4, 255); // narrower: laid from the left edge
    params.overlay = &overlay;
    params.operation = COMPOSITE_NEGATIVE;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    for (int x = 0; x < 6; x++) {
        int b = PictureSample(background, x, 2, 1);
        EXPECT_EQ(PictureSample(result, x, 2, 1), x < 4 ? 255 - b : b) << x;
    }
    // A black overlay changes nothing under Negative; Register lays it on black, and black
    // beyond it.
    ImageFree(&overlay);
    Flat(&overlay, TYPE_COLOR24, 4, 4, 0);
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    ExpectImagesNear(background, result, 0);
    ImageFree(&overlay);
    Flat(&overlay, TYPE_COLOR24, 4, 4, 90);
    params.operation = COMPOSITE_REGISTER;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    EXPECT_EQ(PictureSample(result, 3, 0, 2), 90);
    EXPECT_EQ(PictureSample(result, 4, 0, 2), 0);
    // Half the general amount mixes Register toward black: Lerp8(0, 90, 128) = 45.
    params.amount.low = 512;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    EXPECT_EQ(PictureSample(result, 3, 0, 2), 45);
    EXPECT_EQ(PictureSample(result, 5, 0, 2), 0);
    // A quarter of the overlay's amount under Blend: Lerp8(b, 90, 64) where it lies.
    params.amount.low = 1024;
    params.overlayAmount.low = 256;
    params.operation = COMPOSITE_BLEND;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    int b = PictureSample(background, 1, 1, 0);
    EXPECT_EQ(PictureSample(result, 1, 1, 0), Lerp8(b, 90, 64));
    // None of either amount: the background itself.
    params.overlayAmount.low = 0;
    EXPECT_EQ(CompositeChangesNothing(&params, &background, 1), 1);
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    ExpectImagesNear(background, result, 0);
    for (Image *image : {&background, &overlay, &result})
        ImageFree(image);
}

// Background points and a known mapping of each mode; the overlay points are the mapped ones.
TEST(Alignment, EachMappingIsRecoveredFromExactPoints)
{
    TestStart();
    const double x[4] = {10, 90, 30, 80}, y[4] = {20, 15, 70, 85};
    const double angle = 0.3, cosine = cos(angle), sine = sin(angle);
    struct Case {
        int mode;
        AlignmentMap truth;
    } cases[] = {
        {ALIGN_SHIFT, {1, 0, 3.25, 0, 1, -7.5, 0, 0}},
        {ALIGN_ROTATE, {cosine, -sine, 5, sine, cosine, -2, 0, 0}},
        {ALIGN_ROTATE_SCALE, {1.2, -0.5, 4, 0.5, 1.2, 6, 0, 0}},
        {ALIGN_AFFINE, {1.1, 0.2, 3, -0.3, 0.9, -4, 0, 0}},
        {ALIGN_PERSPECTIVE, {1.05, 0.1, 2, -0.05, 0.95, 3, 0.001, -0.0005}},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(ALIGN_MODE_LABELS[test.mode]);
        double u[4], v[4];
        for (int i = 0; i < 4; i++)
            MapPoint(&test.truth, x[i], y[i], &u[i], &v[i]);
        AlignmentMap map;
        ASSERT_EQ(ComputeAlignment(test.mode, AlignmentPairsFor(test.mode), x, y, u, v, &map), 0);
        const double *got = &map.a, *want = &test.truth.a;
        for (int k = 0; k < 8; k++)
            EXPECT_NEAR(got[k], want[k], 1e-9) << "coefficient " << k;
        // The same points twice are refused, in the background and in the overlay.
        double repeated[4] = {x[0], x[0], x[2], x[3]}, same[4] = {y[0], y[0], y[2], y[3]};
        if (test.mode > ALIGN_SHIFT) {
            EXPECT_EQ(ComputeAlignment(test.mode, 4, repeated, same, u, v, &map), 1);
            EXPECT_EQ(ComputeAlignment(test.mode, 4, x, y, repeated, same, &map), 1);
        }
    }
    // Three points on a line leave the affine system singular.
    const double lineX[3] = {0, 10, 20}, lineY[3] = {0, 5, 10};
    AlignmentMap map;
    EXPECT_EQ(ComputeAlignment(ALIGN_AFFINE, 3, lineX, lineY, x, y, &map), 1);
}

TEST(Alignment, EveryMultiPointMethodPassesThroughItsPairs)
{
    TestStart();
    AlignmentSettings settings;
    AlignmentSettingsDefault(&settings);
    settings.mode = ALIGN_MULTI_POINT;
    settings.pointCount = 7;
    const double bx[7] = {0, 99, 0, 50, 20, 80, 70}, by[7] = {0, 0, 79, 40, 60, 70, 10};
    const double dx[7] = {0, 0, 0, 2.5, -1.5, 3, -2}, dy[7] = {0, 0, 0, -1, 2, 0.5, 1.25};
    for (int i = 0; i < 7; i++) {
        settings.backgroundX[i] = bx[i];
        settings.backgroundY[i] = by[i];
        settings.overlayX[i] = bx[i] * 1.1 + 3 + dx[i];
        settings.overlayY[i] = by[i] * 0.9 - 2 + dy[i];
    }
    // A fourth background point equal to the first is past the three that are checked.
    for (int method = 0; method < WARP_METHOD_COUNT; method++) {
        SCOPED_TRACE(method);
        settings.method = method;
        AlignmentMap map;
        ASSERT_EQ(AlignmentPrepare(&settings, 100, 80, &map), 0);
        EXPECT_EQ(settings.singular, 0);
        for (int i = 0; i < 7; i++) {
            double X, Y;
            AlignmentMapPixel(&settings, &map, bx[i], by[i], &X, &Y);
            EXPECT_NEAR(X, settings.overlayX[i], 1e-9) << i;
            EXPECT_NEAR(Y, settings.overlayY[i], 1e-9) << i;
            // The basis is continuous at its points (the thin plate's diagonal of 1 is not its
            // value at 0), so the solved weights are checked just beside each pair.
            if (method == WARP_THIN_PLATE) continue;
            AlignmentMapPixel(&settings, &map, bx[i] + 1e-9, by[i], &X, &Y);
            EXPECT_NEAR(X, settings.overlayX[i], 1e-4) << i;
            EXPECT_NEAR(Y, settings.overlayY[i], 1e-4) << i;
        }
    }
}

// A reduced preview of an aligned overlay, with its mask, samples the same points as Apply.
TEST_F(Composite, AlignedPreviewIsApplySubsampled)
{
    Image background, overlay, mask, applied = {}, expected = {};
    PictureMake(&background, TYPE_COLOR24, 21, 17, 1);
    PictureMake(&overlay, TYPE_GRAY8, 15, 19, 2);
    PictureMake(&mask, TYPE_GRAY8, 15, 19, 3);
    params.overlay = &overlay;
    params.operation = COMPOSITE_HARD_LIGHT;
    params.overlayAmount.maskImage = &mask;
    params.overlayAmount.low = 100;
    params.overlayAmount.high = 900;
    params.align.mode = ALIGN_ROTATE;
    params.align.pointCount = 2;
    const double points[2][4] = {{2, 3, 1.5, 2}, {18, 12, 13, 15.25}};
    for (int i = 0; i < 2; i++) {
        params.align.backgroundX[i] = points[i][0], params.align.backgroundY[i] = points[i][1];
        params.align.overlayX[i] = points[i][2], params.align.overlayY[i] = points[i][3];
    }
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &applied), ERROR_NONE);
    ImageWindow window;
    PreviewWindowSetUp(&window, background, -2, 1, 2, 10, 7);
    ASSERT_EQ(PreviewRun(CompositeCompute, &params, background, &window, 0, 0, 9, 6), ERROR_NONE);
    PictureSubsample(applied, 1, 2, 2, 10, 7, &expected);
    ExpectImagesNear(expected, window.view, 0);
    for (Image *image : {&background, &overlay, &mask, &applied, &expected})
        ImageFree(image);
    PreviewWindowFree(&window);
}

TEST_F(Composite, CoincidentPointsAreErrorSixtyOne)
{
    Image background, result = {};
    PictureMake(&background, TYPE_GRAY8, 8, 8, 1);
    params.overlay = &background;
    params.align.mode = ALIGN_ROTATE;
    params.align.pointCount = 2;
    params.align.overlayX[1] = 1.0; // the background points are both (0, 0)
    EXPECT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_ALIGNMENT_POINTS);
    // In Multi-point only the first three pairs are checked.
    CompositeSetBackgroundPoints(&params, 8, 8);
    CompositeSetOverlayPoints(&params, 8, 8);
    params.align.mode = ALIGN_MULTI_POINT;
    params.align.pointCount = 5;
    EXPECT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_NONE);
    params.align.backgroundX[2] = params.align.backgroundX[1];
    params.align.backgroundY[2] = params.align.backgroundY[1];
    EXPECT_EQ(ApplyRun(CompositeCompute, &params, background, &result), ERROR_ALIGNMENT_POINTS);
    ImageFree(&background);
    ImageFree(&result);
}

TEST(Alignment, AlignedRowCoversWhatTheOverlayReaches)
{
    TestStart();
    Image overlay;
    PictureMake(&overlay, TYPE_GRAY8, 10, 6, 4);
    AlignmentSettings settings;
    AlignmentSettingsDefault(&settings);
    settings.mode = ALIGN_SHIFT;
    uint8_t samples[10], coverage[10];
    int first, last;
    struct Case {
        double shiftX, shiftY; // overlay point minus background point
        int coverage0, coverage9, first, last;
    } cases[] = {
        {-1.0, 0.0, 0, 255, 1, 9},   // moved right by one: its left column uncovered
        {-0.5, 0.0, 128, 255, 0, 9}, // half a pixel: Round(127.5) in the fringe
        {0.0, 6.0, 0, 0, -1, -1},    // the row lies wholly below the overlay
        {3.0, 0.0, 255, 0, 0, 6},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.shiftX);
        double bx = 5, by = 2, ox = 5 + test.shiftX, oy = 2 + test.shiftY;
        AlignmentMap map;
        ASSERT_EQ(ComputeAlignment(ALIGN_SHIFT, 1, &bx, &by, &ox, &oy, &map), 0);
        AlignedOverlayRow(&overlay, &settings, &map, 0.0, 1.0, 2.0, 10, samples, coverage, &first,
                          &last);
        EXPECT_EQ(coverage[0], test.coverage0);
        EXPECT_EQ(coverage[9], test.coverage9);
        EXPECT_EQ(first, test.first);
        EXPECT_EQ(last, test.last);
        // Ruler row 2 of the overlay is its row index 3; a whole shift reads whole pixels.
        if (test.shiftX == -1.0) {
            EXPECT_EQ(samples[4], PictureSample(overlay, 3, 3, 0));
        }
        if (test.shiftX == 3.0) {
            EXPECT_EQ(samples[2], PictureSample(overlay, 5, 3, 0));
        }
    }
    ImageFree(&overlay);
}

// Inside the overlay, an aligned sample is the core's sampler at the mapped point (a map of
// halves and quarters, so that the point is exact however it is summed; as a perspective
// too, whose denominator of 1 takes the row's other road to the same points).
TEST(Alignment, AlignedSamplesAreTheSamplersAtEveryDepth)
{
    TestStart();
    AlignmentSettings settings;
    AlignmentSettingsDefault(&settings);
    const AlignmentMap map = {0.75, 0.5, 0.25, -0.5, 0.75, 2.0, 0, 0};
    const int types[] = {TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48};
    for (int test = 0; test < 8; test++) {
        int type = types[test % 4];
        settings.mode = test < 4 ? ALIGN_AFFINE : ALIGN_PERSPECTIVE;
        SCOPED_TRACE(type);
        SCOPED_TRACE(settings.mode);
        Image overlay;
        PictureMake(&overlay, type, 13, 11, type);
        uint16_t samples[3 * 16];
        uint8_t coverage[16];
        int first, last, inside = 0;
        for (int y = 0; y < 12; y++) {
            AlignedOverlayRow(&overlay, &settings, &map, 0.0, 1.0, y, 16, (uint8_t *)samples,
                              coverage, &first, &last);
            for (int x = 0; x < 16; x++) {
                double X, Y;
                MapPoint(&map, x, y, &X, &Y);
                if (coverage[x] != 255) continue;
                inside++;
                int red, green, blue, want[3];
                double row = overlay.height - 1 - Y;
                if (type == TYPE_GRAY8) want[0] = SampleGray8(&overlay, X, row, 0);
                if (type == TYPE_GRAY16) want[0] = SampleGray16(&overlay, X, row, 0);
                if (type == TYPE_COLOR24)
                    SampleColor24(&overlay, X, row, &red, &green, &blue, 0, 0, 0);
                if (type == TYPE_COLOR48)
                    SampleColor48(&overlay, X, row, &red, &green, &blue, 0, 0, 0);
                want[0] = PictureChannels(type) == 3 ? blue : want[0];
                want[1] = green, want[2] = red;
                for (int c = 0; c < PictureChannels(type); c++) {
                    int at = PictureChannels(type) * x + c;
                    int wide = type == TYPE_GRAY16 || type == TYPE_COLOR48;
                    int got = wide ? samples[at] : ((uint8_t *)samples)[at];
                    EXPECT_EQ(got, want[c]) << x << "," << y << " channel " << c;
                }
            }
        }
        EXPECT_GT(inside, 40);
        ImageFree(&overlay);
    }
}

// The processor's AVX2 road and the portable one give the same bytes, row by row, for a
// perspective that reaches past the overlay's corners, an affine map and shifts by a part of
// a pixel and by whole pixels, at every depth: the short road's ends, the fringe, the
// pixels outside and the last column (whose pair of 24-bit pixels a row of 37 cannot read as
// eight bytes) all come up.
TEST(Alignment, AlignedRowsAreTheSameOnEitherRoad)
{
    TestStart();
    if (!CpuAvx2()) GTEST_SKIP() << "no AVX2 on this processor: the portable road alone";
    const double background[2][4] = {{0, 44, 0, 44}, {0, 0, 29, 29}};
    const struct {
        int mode;
        double overlayX[4], overlayY[4];
    } maps[] = {
        {ALIGN_PERSPECTIVE, {-2.3, 38.6, 1.4, 35.2}, {1.1, -1.7, 24.2, 22.9}},
        {ALIGN_AFFINE, {1.3, 33.9, -0.6, 0}, {-0.8, 2.2, 24.4, 0}},
        // Whole steps in one direction land pixels exactly on the overlay's last column or
        // row, which the short road must leave to the clamping sampler.
        {ALIGN_SHIFT, {-3.37, 0, 0, 0}, {2.0, 0, 0, 0}},
        {ALIGN_SHIFT, {-3.0, 0, 0, 0}, {0.61, 0, 0, 0}},
        {ALIGN_SHIFT, {-3.0, 0, 0, 0}, {2.0, 0, 0, 0}},
    };
    const int types[] = {TYPE_COLOR24, TYPE_GRAY8, TYPE_GRAY16, TYPE_COLOR48};
    const int count = 45;
    for (const auto &test : maps)
        for (int type : types) {
            SCOPED_TRACE(ALIGN_MODE_LABELS[test.mode]);
            SCOPED_TRACE(type);
            AlignmentSettings settings;
            AlignmentSettingsDefault(&settings);
            settings.mode = test.mode;
            AlignmentMap map;
            ASSERT_EQ(ComputeAlignment(test.mode, AlignmentPairsFor(test.mode), background[0],
                                       background[1], test.overlayX, test.overlayY, &map),
                      0);
            Image overlay;
            PictureMake(&overlay, type, 37, 23, 5);
            std::vector<uint8_t> rows[2];
            for (int road = 0; road < 2; road++) {
                CpuAllowAvx2(road == 0);
                for (int y = -3; y < 29; y++) {
                    uint8_t samples[count * 6], coverage[count];
                    int ends[2];
                    // What lies past the row's last pixel, either road must leave as it is.
                    memset(samples, 0xA5, sizeof samples);
                    AlignedOverlayRow(&overlay, &settings, &map, -2.5, 1.0, y, count, samples,
                                      coverage, &ends[0], &ends[1]);
                    rows[road].insert(rows[road].end(), samples, samples + sizeof samples);
                    rows[road].insert(rows[road].end(), coverage, coverage + count);
                    rows[road].insert(rows[road].end(), (uint8_t *)ends, (uint8_t *)(ends + 2));
                }
            }
            CpuAllowAvx2(1);
            EXPECT_EQ(rows[0], rows[1]);
            ImageFree(&overlay);
        }
}

TEST_F(Composite, RefineFindsAOnePixelShift)
{
    // A smooth random picture and the same picture one column to the left as the overlay.
    Image background, overlay;
    PictureMake(&background, TYPE_GRAY8, 80, 60, 0);
    PictureMake(&overlay, TYPE_GRAY8, 80, 60, 0);
    for (int y = 0; y < 60; y++)
        for (int x = 0; x < 81; x++) {
            int value = (int)(127 + 60 * sin(x * 0.37 + y * 0.11) + 50 * cos(y * 0.29 - x * 0.05));
            if (x < 80) PictureSetSample(&background, x, y, 0, value);
            if (x > 0) PictureSetSample(&overlay, x - 1, y, 0, value);
        }
    params.overlay = &overlay;
    params.align.mode = ALIGN_SHIFT;
    params.align.pointCount = 1;
    params.align.searchRadius = ALIGN_SEARCH_2;
    params.align.backgroundX[0] = params.align.overlayX[0] = 40;
    params.align.backgroundY[0] = params.align.overlayY[0] = 30;
    int unrefined[ALIGN_MAX_POINTS], count = -1;
    ASSERT_EQ(RefineAlignment(&background, &params, unrefined, &count), ERROR_NONE);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(params.align.overlayX[0], 39.0);
    EXPECT_EQ(params.align.overlayY[0], 30.0);
    EXPECT_EQ(params.operation, COMPOSITE_BLEND);
    // With a search of one pixel the match lies on the border: the pair is reported.
    params.align.searchRadius = ALIGN_SEARCH_1;
    params.align.overlayX[0] = 41;
    ASSERT_EQ(RefineAlignment(&background, &params, unrefined, &count), ERROR_NONE);
    ASSERT_EQ(count, 1);
    EXPECT_EQ(unrefined[0], 0);
    char label[2];
    AlignmentLabelText(0, label);
    EXPECT_STREQ(label, "1");
    EXPECT_EQ(AlignmentLabel(9), 'a');
    EXPECT_EQ(AlignmentLabel(35), 'A');
    params.align.mode = ALIGN_NONE;
    EXPECT_STREQ(CompositeRefineRefusal(&params), "No alignment points to adjust");
    ImageFree(&background);
    ImageFree(&overlay);
}

// vistel-cli composite: the result of Apply, and no output file for what cannot be used.
TEST_F(Composite, VerbMatchesApplyAndRefusesBadPoints)
{
    std::string folder = TestOutputFolder("transforms/composite-verb");
    Image background, overlay, expected = {}, written = {};
    PictureMake(&background, TYPE_COLOR24, 40, 30, 6);
    PictureMake(&overlay, TYPE_GRAY8, 30, 40, 7);
    std::string in = folder + "/in.tif", over = folder + "/overlay.tif", out = folder + "/out.tif";
    ASSERT_EQ(SaveTiffFile(in.c_str(), &background), ERROR_NONE);
    ASSERT_EQ(SaveTiffFile(over.c_str(), &overlay), ERROR_NONE);
    auto points = [&](const char *name, const char *text) {
        std::string path = folder + "/" + name;
        TestWriteFile(path, std::vector<uint8_t>(text, text + strlen(text)));
        return path;
    };
    std::string good = points("good.txt", "0 0 1 2\n39 0 29.5 1\n# the third\n0 29 0.25 39\n");

    // Subtract at half, 3-point alignment: the file's result is Apply's, bit for bit.
    std::string cli = TestCliPath() + " composite --operation 9 --overlay '" + over + "' ";
    ASSERT_EQ(TestRun(cli + "--alignment 4 --points '" + good + "' --amount 50 '" + in + "' '" +
                      out + "'"),
              0);
    params.overlay = &overlay;
    params.operation = COMPOSITE_SUBTRACT;
    params.amount.low = 512;
    params.align.mode = ALIGN_AFFINE;
    params.align.pointCount = 3;
    const double rows[3][4] = {{0, 0, 1, 2}, {39, 0, 29.5, 1}, {0, 29, 0.25, 39}};
    for (int i = 0; i < 3; i++) {
        params.align.backgroundX[i] = rows[i][0], params.align.backgroundY[i] = rows[i][1];
        params.align.overlayX[i] = rows[i][2], params.align.overlayY[i] = rows[i][3];
    }
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, background, &expected), ERROR_NONE);
    FileDamage damage = {};
    ASSERT_EQ(ReadTiffFile(out.c_str(), &written, 0, &damage), ERROR_NONE);
    ExpectImagesNear(expected, written, 0);

    // A gray background under a colored overlay at a quarter: color, made aside.
    Image gray, grayExpected = {}, grayWritten = {};
    PictureMake(&gray, TYPE_GRAY8, 40, 30, 8);
    std::string grayIn = folder + "/gray.tif";
    ASSERT_EQ(SaveTiffFile(grayIn.c_str(), &gray), ERROR_NONE);
    ASSERT_EQ(TestRun(TestCliPath() + " composite --operation 5 --color 10,200,90 " +
                      "--overlay-amount 25 '" + grayIn + "' '" + out + "'"),
              0);
    CompositeParamsDefault(&params);
    params.operation = COMPOSITE_SOFT_LIGHT;
    params.overlayRed = 10, params.overlayGreen = 200, params.overlayBlue = 90;
    params.overlayAmount.low = 256;
    ASSERT_EQ(ApplyRun(CompositeCompute, &params, gray, &grayExpected), ERROR_NONE);
    ASSERT_EQ(ReadTiffFile(out.c_str(), &grayWritten, 0, &damage), ERROR_NONE);
    EXPECT_EQ(grayWritten.type, TYPE_COLOR24);
    ExpectImagesNear(grayExpected, grayWritten, 0);
    for (Image *image : {&gray, &grayExpected, &grayWritten})
        ImageFree(image);

    struct Case {
        std::string arguments;
        const char *message;
    } cases[] = {
        {"--alignment 4 --points '" + points("bad.txt", "0 0 1 2\n5 x 1 1\n") + "'",
         "line 2 is not four numbers"},
        {"--alignment 5 --points '" + good + "'", "3 point pairs; alignment 5 needs 4"},
        {"--alignment 4 --points '" + points("line.txt", "0 0 1 1\n5 5 3 1\n9 9 1 7\n") + "'",
         "All alignment points must be distinct"},
        {"--alignment 1", "needs --points FILE"},
        {"--color 1,2,3", "--overlay and --color exclude each other"},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.arguments);
        unlink(out.c_str());
        std::string errors = folder + "/errors.txt";
        EXPECT_NE(TestRun(cli + test.arguments + " '" + in + "' '" + out + "' 2>'" + errors + "'"),
                  0);
        std::vector<uint8_t> text = TestReadFile(errors);
        EXPECT_NE(std::string(text.begin(), text.end()).find(test.message), std::string::npos)
            << std::string(text.begin(), text.end());
        struct stat info;
        EXPECT_NE(stat(out.c_str(), &info), 0);
    }
    for (Image *image : {&background, &overlay, &expected, &written})
        ImageFree(image);
}
