// What holds for every transformation of the table, tested once for all of them: the types
// it takes and refuses, Apply and previews at zoom 1, reduced and magnified, each into a
// fresh destination and again into the one already made, progress and abort, settings that
// change nothing giving an exact copy, the 8-bit preview of a 16-bit picture, arguments
// outside the pictures, and its vistel-cli verb in --help. A transformation's own tests hold
// only its own numbers; adding one means adding its line here.
#include <cctype>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/Preferences.h"
#include "core/Progress.h"
#include "platform/headless/Headless.h"
#include "tests/color/ProfileTestSupport.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/AdvancedSharpen.h"
#include "transforms/BrightnessCurve.h"
#include "transforms/ChangeProfile.h"
#include "transforms/ColorBalance.h"
#include "transforms/ColorCorrect.h"
#include "transforms/ColorCurves.h"
#include "transforms/Composite.h"
#include "transforms/Convert.h"
#include "transforms/GammaAdjust.h"
#include "transforms/MirrorRotate.h"
#include "transforms/Negative.h"
#include "transforms/Resize.h"
#include "transforms/Transforms.h"

struct TransformLine {
    const TransformDescriptor *transform;
    // From the defaults to settings that change pixels; null when the defaults do.
    void (*prepare)(void *settings);
    // Settings that change nothing for a picture of type, returning 1, or 0 for a type
    // that any settings change (a binary picture that becomes gray); null for a
    // transformation that always computes.
    int (*unchanged)(void *settings, int type);
    // The 8-bit preview sample of a 16-bit sample, for a transformation that maps each
    // sample alone: the sample is reduced through Depth16To8 first. Null for the others.
    int (*preview16)(int sample);
    // Settings for a source of this size, for a transformation whose settings name the
    // result's size; null for the others.
    void (*fit)(void *settings, const Image &source);
    int32_t previews; // 0 for a transformation that computes only whole results
    // The progress window's title; null when it is the transformation's name.
    const char *title;
};

static void GammaPrepare(void *settings)
{
    ((GammaSettings *)settings)->factor = 2.22;
}

static int GammaPreview16(int sample)
{
    return Round(pow(Depth16To8[sample] / 255.0, 2.22) * 255.0);
}

static int NegativePreview16(int sample)
{
    return 255 - Depth16To8[sample];
}

static int GammaUnchanged(void *settings, int type)
{
    (void)type;
    ((GammaSettings *)settings)->factor = 1.0;
    return 1;
}

static int ConvertUnchanged(void *settings, int type)
{
    static const int TARGETS[] = {-1, CONVERT_BINARY, CONVERT_GRAY8,  CONVERT_COLOR24, -1,
                                  -1, CONVERT_GRAY16, CONVERT_COLOR48};
    ((ConvertSettings *)settings)->target = TARGETS[type];
    return 1;
}

// Pixels go to the wide-gamut profile from sRGB, the input's profile when it has none.
static void ChangeProfilePrepare(void *settings)
{
    static const std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    ChangeProfileSettings *change = (ChangeProfileSettings *)settings;
    change->targetProfile = wide.data();
    change->targetLength = (int)wide.size();
}

// Wider and lower: both directions of the scaler, with the method of the defaults.
static void ResizeFit(void *settings, const Image &source)
{
    ResizeSettings *resize = (ResizeSettings *)settings;
    resize->width = source.width * 3 / 2;
    resize->height = source.height * 3 / 4;
}

// Half a turn: the size stays, every pixel moves.
static void MirrorRotatePrepare(void *settings)
{
    ((MirrorRotateSettings *)settings)->orientation = 2;
}

static int MirrorRotateUnchanged(void *settings, int type)
{
    (void)type;
    ((MirrorRotateSettings *)settings)->orientation = 0;
    return 1;
}

// A curve that lifts the middle: (0, 0), (100, 160), (255, 255), smooth.
static void CurvePrepare(CurvePoints *curve)
{
    CurvePointsReset(curve);
    curve->pointCount = 3;
    curve->x[1] = 100, curve->y[1] = 160;
    curve->x[2] = 255, curve->y[2] = 255;
}

static int CurvePreview16(int sample)
{
    static uint8_t table[256];
    static int made = 0;
    if (!made) {
        CurvePoints curve;
        CurvePrepare(&curve);
        CurveTableFromPoints(curve.pointCount, curve.x, curve.y, curve.style, table);
        made = 1;
    }
    return table[Depth16To8[sample]];
}

static void BrightnessPrepare(void *settings)
{
    CurvePrepare(&((BrightnessCurveSettings *)settings)->curve);
}

// The identity changes nothing but for binary pictures, which become gray.
static int BrightnessUnchanged(void *settings, int type)
{
    BrightnessCurveSettingsDefault((BrightnessCurveSettings *)settings);
    return type != TYPE_BINARY;
}

// In HSV, all three curves bent.
static void ColorCurvesPrepare(void *settings)
{
    ColorCurvesSettings *curves = (ColorCurvesSettings *)settings;
    curves->colorSpace = CURVES_HSV;
    for (CurvePoints &curve : curves->curves)
        CurvePrepare(&curve);
}

static int ColorCurvesUnchanged(void *settings, int type)
{
    ColorCurvesSettingsDefault((ColorCurvesSettings *)settings);
    return type != TYPE_BINARY;
}

// The same line on every channel: white at 200 lifted to 255, so v becomes v * 255 / 200.
static void ColorBalancePrepare(void *settings)
{
    ColorBalanceSettings *balance = (ColorBalanceSettings *)settings;
    memset(balance->highlightRemove, 200, 3);
}

static int ColorBalancePreview16(int sample)
{
    return Clamp8(Depth16To8[sample] * 255 / 200);
}

static int ColorBalanceUnchanged(void *settings, int type)
{
    (void)type;
    ColorBalanceSettingsDefault((ColorBalanceSettings *)settings);
    return 1;
}

// Red goes halfway to yellow and grows brighter; the seven points of the defaults move nothing.
static void ColorCorrectPrepare(void *settings)
{
    ColorCorrectSettings *correct = (ColorCorrectSettings *)settings;
    correct->targetColor[1][1] = 128;
    correct->brightness[1] = 0.25;
}

static int ColorCorrectUnchanged(void *settings, int type)
{
    (void)type;
    ColorCorrectSettingsReset((ColorCorrectSettings *)settings);
    return 1;
}

// A solid gray 100 subtracted: gray stays gray, and each sample is mapped alone.
static void CompositePrepare(void *settings)
{
    CompositeParams *composite = (CompositeParams *)settings;
    composite->operation = COMPOSITE_SUBTRACT;
    composite->overlayRed = composite->overlayGreen = composite->overlayBlue = 100;
}

static int CompositePreview16(int sample)
{
    return Depth16To8[sample] > 100 ? Depth16To8[sample] - 100 : 0;
}

static int CompositeUnchanged(void *settings, int type)
{
    (void)type;
    ((CompositeParams *)settings)->amount.low = 0;
    return 1;
}

// Noise Reduction alone, the current stage, so that its preview is its Apply; a ramp between
// the thresholds, so that the row loop of a whole preview meets the pixel loop of a reduced one.
static void AdvancedSharpenPrepare(void *settings)
{
    AdvancedSharpenParams *params = (AdvancedSharpenParams *)settings;
    params->blurAmount = 0.8;
    params->blurThresholdLow = 10;
    params->blurThresholdHigh = 120;
}

static int AdvancedSharpenUnchanged(void *settings, int type)
{
    (void)type;
    AdvancedSharpenParamsDefault((AdvancedSharpenParams *)settings);
    return 1;
}

static const TransformLine TRANSFORM_LINES[] = {
    {&NegativeTransform, nullptr, nullptr, NegativePreview16, nullptr, 1, nullptr},
    {&GammaTransform, GammaPrepare, GammaUnchanged, GammaPreview16, nullptr, 1, nullptr},
    {&ConvertTransform, nullptr, ConvertUnchanged, nullptr, nullptr, 1, nullptr},
    {&ChangeProfileTransform, ChangeProfilePrepare, nullptr, nullptr, nullptr, 1, nullptr},
    {&ResizeTransform, nullptr, nullptr, nullptr, ResizeFit, 0, nullptr},
    {&MirrorRotateTransform, MirrorRotatePrepare, MirrorRotateUnchanged, nullptr, nullptr, 1,
     "Rotate"},
    {&BrightnessCurveTransform, BrightnessPrepare, BrightnessUnchanged, CurvePreview16, nullptr, 1,
     nullptr},
    {&ColorCurvesTransform, ColorCurvesPrepare, ColorCurvesUnchanged, nullptr, nullptr, 1, nullptr},
    {&ColorBalanceTransform, ColorBalancePrepare, ColorBalanceUnchanged, ColorBalancePreview16,
     nullptr, 1, nullptr},
    {&ColorCorrectTransform, ColorCorrectPrepare, ColorCorrectUnchanged, nullptr, nullptr, 1,
     nullptr},
    {&CompositeTransform, CompositePrepare, CompositeUnchanged, CompositePreview16, nullptr, 1,
     nullptr},
    {&AdvancedSharpenTransform, AdvancedSharpenPrepare, AdvancedSharpenUnchanged, nullptr, nullptr,
     1, "Noise Reduction"},
};

static const int REDUCED_ZOOM = -3;
static const int MAGNIFIED_ZOOM = 2;

class AllTransforms : public testing::TestWithParam<int> {
  protected:
    const TransformLine *line = nullptr;
    const TransformDescriptor *transform = nullptr;
    std::vector<double> storage; // the settings record, aligned for any of its fields
    void *settings = nullptr;

    void SetUp() override
    {
        TestStart();
        // A reduced preview takes single pixels here, so that it can be compared with the
        // subsampled full-size preview; smoothing is the display's business.
        Prefs.smoothZoom = 0;
        line = &TRANSFORM_LINES[GetParam()];
        transform = line->transform;
        storage.assign(transform->settingsSize / sizeof(double) + 1, 0.0);
        settings = storage.data();
        transform->defaults(settings);
        if (line->prepare != nullptr) line->prepare(settings);
    }

    // Apply as the editor runs it: the settings fitted to source, the result of their size.
    ErrorCode Apply(const Image &source, Image *destination, int *width, int *height)
    {
        if (line->fit != nullptr) line->fit(settings, source);
        TransformResultSize(transform, settings, &source, width, height);
        return transform->compute(&source, destination, nullptr, settings, 1, *width, *height, 0, 0,
                                  1, 0, 0, *width - 1, *height - 1, *width, *height);
    }
    ErrorCode Apply(const Image &source, Image *destination)
    {
        int width, height;
        return Apply(source, destination, &width, &height);
    }

    // The first of the types given that the transformation takes.
    int TakenType(std::initializer_list<int> types)
    {
        for (int type : types)
            if (transform->accepts(type)) return type;
        return TYPE_EMPTY;
    }
};

TEST_P(AllTransforms, TakesItsTypesAtEveryZoomAndRefusesTheOthers)
{
    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        Image source;
        PictureMake(&source, type, 41, 29, type + 20);

        // Apply into a fresh destination, then again into that one, marked beforehand.
        Image applied = {};
        int width, height;
        ErrorCode result = Apply(source, &applied, &width, &height);
        if (!transform->accepts(type)) {
            EXPECT_EQ(result, ERROR_ILLEGAL_TYPE);
            EXPECT_EQ(applied.type, TYPE_EMPTY);
            if (!line->previews) {
                ImageFree(&source);
                continue;
            }
            ImageWindow window;
            PreviewWindowSetUp(&window, source, 1, 0, 0, 41, 29);
            EXPECT_EQ(PreviewRun(transform->compute, settings, source, &window, 0, 0, 40, 28),
                      ERROR_ILLEGAL_TYPE);
            EXPECT_EQ(window.view.type, TYPE_EMPTY);
            ImageFree(&source);
            continue;
        }
        ASSERT_EQ(result, ERROR_NONE);
        ASSERT_TRUE(ImageIsPicture(applied.type));
        EXPECT_EQ(applied.width, width);
        EXPECT_EQ(applied.height, height);
        Image again = {};
        ASSERT_EQ(ImageDuplicate(&applied, &again), ERROR_NONE);
        TestFillPattern(&again, 77);
        ASSERT_EQ(Apply(source, &again), ERROR_NONE);
        ExpectImagesNear(applied, again, 0);
        if (!line->previews) {
            for (Image *image : {&source, &applied, &again})
                ImageFree(image);
            continue;
        }

        // A preview at zoom 1 over the whole picture is at most 8 bits deep, and where the
        // result is too it is the result.
        ImageWindow full;
        PreviewWindowSetUp(&full, source, 1, 0, 0, 41, 29);
        ASSERT_EQ(PreviewRun(transform->compute, settings, source, &full, 0, 0, 40, 28),
                  ERROR_NONE);
        int previewType = full.view.type;
        EXPECT_TRUE(previewType == TYPE_BINARY || previewType == TYPE_GRAY8 ||
                    previewType == TYPE_COLOR24);
        if (applied.type != TYPE_GRAY16 && applied.type != TYPE_COLOR48) {
            ExpectImagesNear(applied, full.view, 0);
        }

        // Reduced from (2, 1): fresh, then into the same view marked beforehand. Both equal
        // the full-size preview subsampled.
        int w = (41 - 2 + 2) / 3;
        int h = (29 - 1 + 2) / 3;
        Image expected = {};
        PictureSubsample(full.view, 2, 1, 3, w, h, &expected);
        ImageWindow reduced;
        PreviewWindowSetUp(&reduced, source, REDUCED_ZOOM, 2, 1, w, h);
        for (int pass = 0; pass < 2; pass++) {
            ASSERT_EQ(
                PreviewRun(transform->compute, settings, source, &reduced, 0, 0, w - 1, h - 1),
                ERROR_NONE);
            ExpectImagesNear(expected, reduced.view, 0);
            TestFillPattern(&reduced.view, 78);
        }

        // Magnified, with the last blocks cut: each pixel of the zoom 1 preview repeated.
        Image magnified = {};
        PictureMagnify(full.view, MAGNIFIED_ZOOM, 17, 13, &magnified);
        ImageWindow large;
        PreviewWindowSetUp(&large, source, MAGNIFIED_ZOOM, 0, 0, 17, 13);
        ASSERT_EQ(PreviewRun(transform->compute, settings, source, &large, 0, 0, 16, 12),
                  ERROR_NONE);
        ExpectImagesNear(magnified, large.view, 0);

        for (Image *image : {&source, &applied, &again, &expected, &magnified})
            ImageFree(image);
        for (ImageWindow *window : {&full, &reduced, &large})
            PreviewWindowFree(window);
    }

    // Types without pixels to transform are refused by Apply and preview alike.
    for (int type : {TYPE_EMPTY, TYPE_COLOR, TYPE_HISTOGRAM}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        Image source = {}, destination = {};
        ASSERT_EQ(ImageAlloc(&source, type, 8, 8, 72.0), ERROR_NONE);
        EXPECT_FALSE(transform->accepts(type));
        EXPECT_EQ(Apply(source, &destination), ERROR_ILLEGAL_TYPE);
        EXPECT_EQ(destination.type, TYPE_EMPTY);
        ImageFree(&source);
    }
    EXPECT_EQ(HeadlessProgressCount(), 0);
}

TEST_P(AllTransforms, ShowsProgressFrom100000PixelsAndStopsOnAbort)
{
    int type = TakenType({TYPE_GRAY8, TYPE_COLOR24});
    struct Case {
        int width, height, progress;
    } cases[] = {{33333, 3, 0}, {400, 250, 1}};
    for (const Case &test : cases) {
        SCOPED_TRACE(test.width * test.height);
        HeadlessReset();
        Image source, result = {};
        PictureMake(&source, type, test.width, test.height, 4);
        ASSERT_EQ(Apply(source, &result), ERROR_NONE);
        ASSERT_EQ(HeadlessProgressCount(), test.progress);
        if (test.progress)
            EXPECT_STREQ(HeadlessProgressAt(0)->title,
                         line->title != nullptr ? line->title : transform->name);
        else
            EXPECT_GE(HeadlessWaitCursorCount(), 1);
        EXPECT_EQ(HeadlessCursor(), CURSOR_ARROW);
        ImageFree(&source);
        ImageFree(&result);
    }

    // An abort is a code, the bar goes, and the input is as it was.
    HeadlessReset();
    Image source, original = {}, result = {};
    PictureMake(&source, type, 400, 250, 5);
    ASSERT_EQ(ImageDuplicate(&source, &original), ERROR_NONE);
    HeadlessAbortAtPump(2);
    EXPECT_EQ(Apply(source, &result), ERROR_ABORTED);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_EQ(HeadlessProgressAt(0)->pumps, 3);
    EXPECT_EQ(HeadlessProgressAt(0)->open, 0);
    EXPECT_EQ(ProgressCurrent(), nullptr);
    ExpectImagesNear(original, source, 0);
    for (Image *image : {&source, &original, &result})
        ImageFree(image);
}

TEST_P(AllTransforms, SettingsThatChangeNothingGiveAnExactCopy)
{
    if (line->unchanged == nullptr) {
        EXPECT_EQ(transform->changesNothing, nullptr);
        return;
    }
    ASSERT_NE(transform->changesNothing, nullptr);
    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        Picture source = {}, copy = {};
        PictureMake(&source.image, type, 23, 9, type);
        if (!transform->accepts(type)) {
            // A type it does not take is for the compute function to refuse.
            EXPECT_EQ(transform->changesNothing(settings, &source.image, 1), 0);
            PictureFree(&source);
            continue;
        }
        int none = line->unchanged(settings, type);
        EXPECT_EQ(transform->changesNothing(settings, &source.image, 1), none);
        if (!none) {
            transform->defaults(settings);
            if (line->prepare != nullptr) line->prepare(settings);
            PictureFree(&source);
            continue;
        }
        // The short cut copies, and the row loop would have given the same.
        ASSERT_EQ(TransformApply(transform, settings, &source, &copy), ERROR_NONE);
        ExpectImagesNear(source.image, copy.image, 0);
        Image computed = {};
        ASSERT_EQ(ApplyRun(transform->compute, settings, source.image, &computed), ERROR_NONE);
        ExpectImagesNear(source.image, computed, 0);
        transform->defaults(settings);
        if (line->prepare != nullptr) line->prepare(settings);
        ImageFree(&computed);
        PictureFree(&copy);
        PictureFree(&source);
    }
    EXPECT_EQ(transform->changesNothing(settings, nullptr, 1), 0);
}

TEST_P(AllTransforms, SixteenBitPreviewReducesEachSampleBeforeItsEightBitForm)
{
    if (line->preview16 == nullptr) GTEST_SKIP() << "its samples are not mapped one by one";
    for (int type : {TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        if (!transform->accepts(type)) continue; // a color-only transformation
        Image source, applied = {};
        ImageWindow window;
        PictureMake(&source, type, 12, 9, 5);
        PreviewWindowSetUp(&window, source, 1, 0, 0, 12, 9);
        ASSERT_EQ(PreviewRun(transform->compute, settings, source, &window, 0, 0, 11, 8),
                  ERROR_NONE);
        ASSERT_EQ(window.view.type, type == TYPE_GRAY16 ? TYPE_GRAY8 : TYPE_COLOR24);
        for (int y = 0; y < 9; y++)
            for (int x = 0; x < 12; x++)
                for (int c = 0; c < PictureChannels(type); c++)
                    ASSERT_EQ(PictureSample(window.view, x, y, c),
                              line->preview16(PictureSample(source, x, y, c)))
                        << x << "," << y;
        // Apply keeps the depth.
        ASSERT_EQ(ApplyRun(transform->compute, settings, source, &applied), ERROR_NONE);
        EXPECT_EQ(applied.type, type);
        ImageFree(&applied);
        ImageFree(&source);
        PreviewWindowFree(&window);
    }
}

TEST_P(AllTransforms, ArgumentsOutsideThePicturesAreRefused)
{
    Image source, result = {};
    PictureMake(&source, TakenType({TYPE_GRAY8, TYPE_COLOR24}), 10, 10, 2);
    ComputeFunction compute = transform->compute;
    // Eleven pixels from a row of ten; a rectangle past the destination; zoom 0.
    EXPECT_EQ(compute(&source, &result, nullptr, settings, 1, 10, 10, 0, 0, 1, 0, 0, 9, 9, 11, 10),
              ERROR_INTERNAL_1);
    EXPECT_EQ(compute(&source, &result, nullptr, settings, 0, 5, 5, 0, 0, -2, 0, 0, 5, 4, 5, 5),
              ERROR_INTERNAL_1);
    EXPECT_EQ(compute(&source, &result, nullptr, settings, 0, 5, 5, 0, 0, 0, 0, 0, 4, 4, 5, 5),
              ERROR_INTERNAL_1);
    ImageFree(&source);
    ImageFree(&result);
}

TEST_P(AllTransforms, VistelCliHelpListsTheVerbAndItsOptions)
{
    std::string help, verbHelp;
    ASSERT_EQ(TestRun(TestCliPath() + " --help", &help), 0);
    EXPECT_NE(help.find(std::string("  ") + transform->verb + " "), std::string::npos);
    ASSERT_EQ(TestRun(TestCliPath() + " " + transform->verb + " --help", &verbHelp), 0);
    EXPECT_EQ(verbHelp.find(std::string("usage: vistel-cli ") + transform->verb), 0u);
    for (int i = 0; i < transform->optionCount; i++)
        EXPECT_NE(verbHelp.find(transform->options[i].name), std::string::npos);
}

// Each case is named after its transformation, without the spaces.
static std::string TransformName(const testing::TestParamInfo<int> &info)
{
    std::string name;
    for (const char *c = TRANSFORM_LINES[info.param].transform->name; *c != 0; c++)
        if (isalnum((unsigned char)*c)) name += *c;
    return name;
}

INSTANTIATE_TEST_SUITE_P(Table, AllTransforms,
                         testing::Range(0,
                                        (int)(sizeof TRANSFORM_LINES / sizeof TRANSFORM_LINES[0])),
                         TransformName);

// The lines above are those of the table, each once.
TEST(AllTransformsTable, HasALineForEveryTransformation)
{
    ASSERT_EQ((int)(sizeof TRANSFORM_LINES / sizeof TRANSFORM_LINES[0]), TRANSFORM_COUNT);
    for (int i = 0; i < TRANSFORM_COUNT; i++)
        EXPECT_EQ(TRANSFORM_LINES[i].transform, TRANSFORMS[i]) << i;
}
