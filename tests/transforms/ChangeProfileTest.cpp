// Tests of Change Color Profile: each "Change:" choice, the refusals, Apply against the
// conversion of a whole picture (itself checked against tificc), previews at 8 bits and
// reduced, and an abort.
#include "transforms/ChangeProfile.h"

#include <gtest/gtest.h>

#include "color/ColorSettings.h"
#include "color/ProfileTransform.h"
#include "core/Memory.h"
#include "platform/headless/Headless.h"
#include "tests/color/ProfileTestSupport.h"
#include "tests/support/TestImage.h"
#include "tests/transforms/PictureTestSupport.h"

class ChangeProfileFixture : public testing::Test {
  protected:
    std::vector<uint8_t> adobe;
    std::vector<uint8_t> wide;
    ChangeProfileSettings settings;
    Picture result; // the picture Apply makes

    void SetUp() override
    {
        TestStart();
        ColorSettingsDefault(&CurrentColorSettings);
        adobe = TestReadFile(SYSTEM_ADOBE);
        wide = TestReadFile(SYSTEM_WIDE);
        ChangeProfileSettingsDefault(&settings);
        settings.sourceProfile = adobe.data();
        settings.sourceLength = (int)adobe.size();
        settings.targetProfile = wide.data();
        settings.targetLength = (int)wide.size();
        PictureReset(&result);
    }

    void TearDown() override
    {
        PictureFree(&result);
    }

    static void WindowFree(ImageWindow *window)
    {
        PictureFree(&window->picture);
        ImageFree(&window->view);
        ImageFree(&window->screen);
        ProfileTransformFree(&window->displayTransform);
    }

    ErrorCode Apply(const Image &source)
    {
        return ChangeProfileCompute(&source, &result.image, &result, &settings, 1, source.width,
                                    source.height, 0, 0, 1, 0, 0, source.width - 1,
                                    source.height - 1, source.width, source.height);
    }

    static std::vector<uint8_t> ProfileOf(const Picture &picture)
    {
        return std::vector<uint8_t>(picture.profile, picture.profile + picture.profileSize);
    }
};

TEST_F(ChangeProfileFixture, ScannerTargetsAndMissingTargetsRefuseNewPixels)
{
    std::vector<uint8_t> scanner = TestProfileBytes("scnr", "RGB ", {TestDescTag("Scanner")});
    TestImage source;
    PictureMake(&source, TYPE_COLOR24, 12, 7, 3);
    struct Case {
        const char *name;
        int change;
        const std::vector<uint8_t> *target;
        ErrorCode code;
    } cases[] = {
        {"scanner, both", CHANGE_PROFILE_DATA_AND_PROFILE, &scanner, ERROR_SCANNER_PROFILE},
        {"scanner, data", CHANGE_PROFILE_DATA_ONLY, &scanner, ERROR_SCANNER_PROFILE},
        {"scanner, setting", CHANGE_PROFILE_SETTING_ONLY, &scanner, ERROR_NONE},
        {"none, both", CHANGE_PROFILE_DATA_AND_PROFILE, nullptr, ERROR_TARGET_PROFILE_REQUIRED},
        {"none, data", CHANGE_PROFILE_DATA_ONLY, nullptr, ERROR_TARGET_PROFILE_REQUIRED},
        {"none, setting", CHANGE_PROFILE_SETTING_ONLY, nullptr, ERROR_NONE},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        int changed;
        PictureFree(&result);
        ASSERT_EQ(PictureProfileSet(&result, adobe.data(), (int)adobe.size(), &changed),
                  ERROR_NONE);
        settings.change = c.change;
        settings.targetProfile = c.target != nullptr ? c.target->data() : nullptr;
        settings.targetLength = c.target != nullptr ? (int)c.target->size() : 0;
        EXPECT_EQ(Apply(source), c.code);
        if (c.code != ERROR_NONE) {
            EXPECT_EQ(result.image.type, TYPE_EMPTY);
            EXPECT_EQ(ProfileOf(result), adobe); // the picture keeps what it had
            continue;
        }
        // Only the setting changes: the very same pixels, and the chosen profile or none.
        ExpectImagesNear(source, result.image, 0);
        if (c.target == nullptr)
            EXPECT_EQ(result.profile, nullptr);
        else
            EXPECT_EQ(ProfileOf(result), *c.target);
    }
}

TEST_F(ChangeProfileFixture, DataChangesAsAWholePictureConversionDoes)
{
    for (int type : {TYPE_COLOR24, TYPE_COLOR48}) {
        for (int change : {CHANGE_PROFILE_DATA_AND_PROFILE, CHANGE_PROFILE_DATA_ONLY}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " change " << change);
            PictureFree(&result);
            TestImage source;
            PictureMake(&source, type, 33, 21, type);
            settings.change = change;
            settings.intent = COLOR_INTENT_IDENTICAL_BLACK;
            ASSERT_EQ(Apply(source), ERROR_NONE);

            // The same pixels through ConvertImageToProfile, whose output equals tificc's.
            Picture converted;
            int changed, modified;
            PictureReset(&converted);
            ASSERT_EQ(ImageDuplicate(&source, &converted.image), ERROR_NONE);
            ASSERT_EQ(PictureProfileSet(&converted, adobe.data(), (int)adobe.size(), &changed),
                      ERROR_NONE);
            ASSERT_EQ(ConvertImageToProfile(&converted, wide.data(), (int)wide.size(),
                                            COLOR_INTENT_IDENTICAL_BLACK, 0, &modified),
                      ERROR_NONE);
            ExpectImagesNear(converted.image, result.image, 0);
            EXPECT_EQ(ProfileOf(result), change == CHANGE_PROFILE_DATA_ONLY ? adobe : wide);
            PictureFree(&converted);
        }
    }
}

TEST_F(ChangeProfileFixture, SixteenBitPreviewsComeFromTheEngineWithinOneLevel)
{
    for (int type : {TYPE_COLOR24, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        PictureFree(&result);
        TestImage source;
        PictureMake(&source, type, 41, 29, 11);
        ASSERT_EQ(Apply(source), ERROR_NONE);

        // At zoom 1 the preview is the Apply at 8 bits; 16-bit samples reach 8 bits inside
        // the engine, which rounds as Depth16To8 does but from more precise values, so a
        // sample may land one level away.
        ImageWindow full;
        PreviewWindowSetUp(&full, source, 1, 0, 0, 41, 29);
        ASSERT_EQ(PreviewRun(ChangeProfileCompute, &settings, source, &full, 0, 0, 40, 28),
                  ERROR_NONE);
        ASSERT_EQ(full.view.type, TYPE_COLOR24);
        // The preview shows through the new profile, which the dialog's protocol gives it.
        int resultLength = 0;
        const uint8_t *resultProfile = ChangeProfileResultProfile(&settings, &resultLength);
        EXPECT_EQ(std::vector<uint8_t>(resultProfile, resultProfile + resultLength), wide);
        TestImage applied8;
        ASSERT_EQ(ImageAlloc(&applied8, TYPE_COLOR24, 41, 29, 72.0), ERROR_NONE);
        for (int y = 0; y < 29; y++)
            for (int x = 0; x < 41; x++)
                for (int c = 0; c < 3; c++) {
                    int value = PictureSample(result.image, x, y, c);
                    PictureSetSample(&applied8, x, y, c,
                                     type == TYPE_COLOR48 ? Depth16To8[value] : value);
                }
        ExpectImagesNear(applied8, full.view, type == TYPE_COLOR48 ? 1 : 0);

        ImageFree(&source);
        ImageFree(&applied8);
        WindowFree(&full);
    }
}

TEST_F(ChangeProfileFixture, SettingOnlyPreviewOfSixteenBitsReducesThroughDepth16To8)
{
    TestImage source;
    PictureMake(&source, TYPE_COLOR48, 17, 9, 5);
    settings.change = CHANGE_PROFILE_SETTING_ONLY;
    ImageWindow preview;
    PreviewWindowSetUp(&preview, source, 1, 0, 0, 17, 9);
    ASSERT_EQ(PreviewRun(ChangeProfileCompute, &settings, source, &preview, 0, 0, 16, 8),
              ERROR_NONE);
    for (int y = 0; y < 9; y++)
        for (int x = 0; x < 17; x++)
            for (int c = 0; c < 3; c++)
                ASSERT_EQ(PictureSample(preview.view, x, y, c),
                          Depth16To8[PictureSample(source, x, y, c)]);
    ImageFree(&source);
    WindowFree(&preview);
}

TEST_F(ChangeProfileFixture, AnAbortedApplyGivesTheResultNoProfile)
{
    TestImage source;
    PictureMake(&source, TYPE_COLOR24, 400, 300, 2);
    HeadlessAbortAtPump(5);
    EXPECT_EQ(Apply(source), ERROR_ABORTED);
    // An aborted run does not say which profile its half-made pixels are in.
    EXPECT_EQ(result.profile, nullptr);
}
