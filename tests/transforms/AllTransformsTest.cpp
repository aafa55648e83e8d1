// Every transformation over every picture type: Apply at zoom 1 and previews at zoom 1 and
// reduced, each into a fresh destination and again into the one already made. Adding a
// transformation means adding its line to the table.
#include <cctype>
#include <gtest/gtest.h>
#include <string>

#include "core/Preferences.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/Convert.h"
#include "transforms/GammaAdjust.h"

// Room for any transformation's settings record.
union AnySettings {
    GammaSettings gamma;
    ConvertSettings convert;
};

struct TransformLine {
    int kind; // the operation code, which is also the dialog's window kind
    const char *name;
    ComputeFunction compute;
    void (*defaults)(AnySettings *settings);
    int binaryInput; // 1 when binary pictures are accepted
};

static void GammaDefaults(AnySettings *settings)
{
    GammaSettingsDefault(&settings->gamma);
}

static void ConvertDefaults(AnySettings *settings)
{
    ConvertSettingsDefault(&settings->convert);
}

static const TransformLine TRANSFORMS[] = {
    {65, "Gamma Adjust", GammaCompute, GammaDefaults, 0},
    {61, "Convert", ConvertCompute, ConvertDefaults, 1},
};

static const int REDUCED_ZOOM = -3;

class AllTransforms : public testing::TestWithParam<int> {};

TEST_P(AllTransforms, EveryTypeAtZoomOneAndReduced)
{
    TestStart();
    // A reduced preview takes single pixels here, so that it can be compared with the
    // subsampled full-size preview; smoothing is the display's business.
    Prefs.smoothZoom = 0;
    const TransformLine &line = TRANSFORMS[GetParam()];
    SCOPED_TRACE(line.name);
    AnySettings settings;
    line.defaults(&settings);

    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        Image source;
        PictureMake(&source, type, 41, 29, type + 20);

        // Apply into a fresh destination, then again into that one, marked beforehand.
        Image applied = {};
        ErrorCode result = ApplyRun(line.compute, &settings, source, &applied);
        if (type == TYPE_BINARY && !line.binaryInput) {
            EXPECT_EQ(result, ERROR_ILLEGAL_TYPE);
            EXPECT_EQ(applied.type, TYPE_EMPTY);
            ImageFree(&source);
            continue;
        }
        ASSERT_EQ(result, ERROR_NONE);
        ASSERT_TRUE(ImageIsPicture(applied.type));
        EXPECT_EQ(applied.width, 41);
        EXPECT_EQ(applied.height, 29);
        Image again = {};
        ASSERT_EQ(ImageDuplicate(&applied, &again), ERROR_NONE);
        TestFillPattern(&again, 77);
        ASSERT_EQ(ApplyRun(line.compute, &settings, source, &again), ERROR_NONE);
        ExpectImagesNear(applied, again, 0);

        // A preview at zoom 1 over the whole picture is at most 8 bits deep.
        ImageWindow full;
        PreviewWindowSetUp(&full, source, 1, 0, 0, 41, 29);
        ASSERT_EQ(PreviewRun(line.compute, &settings, source, &full, 0, 0, 40, 28), ERROR_NONE);
        int previewType = full.view.type;
        EXPECT_TRUE(previewType == TYPE_BINARY || previewType == TYPE_GRAY8 ||
                    previewType == TYPE_COLOR24);
        if (applied.type != TYPE_GRAY16 && applied.type != TYPE_COLOR48) {
            ExpectImagesNear(applied, full.view, 0);
        }

        // Reduced from (2, 1): fresh, then into the same view marked beforehand. Both equal
        // the full-size preview subsampled, and for an 8-bit result the subsampled Apply.
        int w = (41 - 2 + 2) / 3;
        int h = (29 - 1 + 2) / 3;
        Image expected = {};
        PictureSubsample(full.view, 2, 1, 3, w, h, &expected);
        ImageWindow reduced;
        PreviewWindowSetUp(&reduced, source, REDUCED_ZOOM, 2, 1, w, h);
        ASSERT_EQ(PreviewRun(line.compute, &settings, source, &reduced, 0, 0, w - 1, h - 1),
                  ERROR_NONE);
        ExpectImagesNear(expected, reduced.view, 0);
        TestFillPattern(&reduced.view, 78);
        ASSERT_EQ(PreviewRun(line.compute, &settings, source, &reduced, 0, 0, w - 1, h - 1),
                  ERROR_NONE);
        ExpectImagesNear(expected, reduced.view, 0);

        ImageFree(&source);
        ImageFree(&applied);
        ImageFree(&again);
        ImageFree(&expected);
        PreviewWindowFree(&full);
        PreviewWindowFree(&reduced);
    }

    // Types without pixels to transform are refused by Apply and preview alike.
    for (int type : {TYPE_EMPTY, TYPE_COLOR, TYPE_HISTOGRAM}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        Image source = {}, destination = {};
        ASSERT_EQ(ImageAlloc(&source, type, 8, 8, 72.0), ERROR_NONE);
        EXPECT_EQ(ApplyRun(line.compute, &settings, source, &destination), ERROR_ILLEGAL_TYPE);
        ImageWindow window;
        PreviewWindowSetUp(&window, source, 1, 0, 0, 8, 8);
        EXPECT_EQ(PreviewRun(line.compute, &settings, source, &window, 0, 0, 7, 7),
                  ERROR_ILLEGAL_TYPE);
        EXPECT_EQ(destination.type, TYPE_EMPTY);
        EXPECT_EQ(window.view.type, TYPE_EMPTY);
        ImageFree(&source);
        PreviewWindowFree(&window);
    }
}

// Each case is named after its transformation, without the spaces.
static std::string TransformName(const testing::TestParamInfo<int> &info)
{
    std::string name;
    for (const char *c = TRANSFORMS[info.param].name; *c != 0; c++)
        if (isalnum((unsigned char)*c)) name += *c;
    return name;
}

INSTANTIATE_TEST_SUITE_P(Table, AllTransforms,
                         testing::Range(0, (int)(sizeof TRANSFORMS / sizeof TRANSFORMS[0])),
                         TransformName);
