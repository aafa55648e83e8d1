// Tests of the profile transforms: conversions checked against Little CMS's own tificc on
// the same pixels, profiles and intents; the checks when a file opens; the profile a new
// picture gets.
#include "color/ProfileTransform.h"

#include <cstring>
#include <gtest/gtest.h>

#include "core/Memory.h"
#include "tests/color/ProfileTransformSupport.h"
#include "tests/support/TestImage.h"

TEST_F(ProfileTransformFixture, TransformRefusesProfilesThatCannotHoldRgbPixels)
{
    void *transform = (void *)1;
    std::vector<uint8_t> garbage(300, 0x41);
    EXPECT_EQ(ProfileTransformMake(garbage.data(), 300, nullptr, 0, TYPE_COLOR24, TYPE_COLOR24, 0,
                                   &transform),
              ERROR_INVALID_PROFILE);
    EXPECT_EQ(transform, nullptr);
    for (const std::string &path : {SYSTEM_GRAY, SYSTEM_LAB, SYSTEM_CMYK}) {
        SCOPED_TRACE(path);
        std::vector<uint8_t> bytes = TestReadFile(path);
        EXPECT_EQ(ProfileTransformMake(nullptr, 0, bytes.data(), (int)bytes.size(), TYPE_COLOR48,
                                       TYPE_COLOR48, 0, &transform),
                  ERROR_NOT_COLOR_SPACE_PROFILE);
        EXPECT_EQ(transform, nullptr);
    }
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    ASSERT_EQ(ProfileTransformMake(nullptr, 0, wide.data(), (int)wide.size(), TYPE_COLOR48,
                                   TYPE_COLOR24, 4, &transform),
              ERROR_NONE);
    ProfileTransformFree(&transform);
    EXPECT_EQ(transform, nullptr);
}

struct ConversionCase {
    int type;
    std::string source; // the picture's profile, empty for none
    std::string target;
};

TEST_F(ProfileTransformFixture, ConversionEqualsTificcForEveryIntentAndDepth)
{
    // Two version 2 input profiles of different whites: the one pair on which the intent that
    // keeps white identical gives other pixels than the others (the engine takes the white of
    // every display profile of that version for D50).
    std::string warm = folder + "/warm.icc";
    std::string cool = folder + "/cool.icc";
    for (const std::string &path : {warm, cool}) {
        std::vector<uint8_t> bytes =
            TestDisplayProfile("White", 563, path == warm ? 0xd000 : 0x10000);
        memcpy(bytes.data() + 12, "scnr", 4);
        TestWriteFile(path, bytes);
    }
    const ConversionCase cases[] = {
        {TYPE_COLOR24, "", SYSTEM_ADOBE},
        {TYPE_COLOR48, "", SYSTEM_WIDE},
        {TYPE_COLOR24, SYSTEM_WIDE, SYSTEM_BLUISH},
        {TYPE_COLOR48, SYSTEM_ADOBE, SYSTEM_BLUISH},
        {TYPE_COLOR24, warm, cool},
    };
    for (const ConversionCase &c : cases) {
        for (int intent = 0; intent < COLOR_INTENT_COUNT; intent++) {
            SCOPED_TRACE(testing::Message() << "type " << c.type << " from '" << c.source << "' to "
                                            << c.target << " intent " << intent);
            ImageWindow *window = Window(c.type, 37, 23, c.source);
            TestImage original;
            ASSERT_EQ(ImageDuplicate(&window->picture.image, &original), ERROR_NONE);
            std::vector<uint8_t> target = TestReadFile(c.target);
            int modified = 0;
            ASSERT_EQ(ConvertImageToProfile(&window->picture, target.data(), (int)target.size(),
                                            intent, 0, &modified),
                      ERROR_NONE);
            TestImage expected;
            std::string input = c.source.empty() ? "" : " '-i" + c.source + "'";
            Tificc(original, std::string(TIFICC_INTENTS[intent]) + input + " '-o" + c.target + "'",
                   folder, &expected);
            // The same engine with the same flags: the very same pixels.
            ExpectImagesNear(expected, window->picture.image, 0);
            EXPECT_EQ(std::vector<uint8_t>(window->picture.profile,
                                           window->picture.profile + window->picture.profileSize),
                      target);
            EXPECT_EQ(modified, 1);
        }
    }
}
TEST_F(ProfileTransformFixture, ConversionThatChangesNothingLeavesAllAlone)
{
    std::vector<uint8_t> adobe = TestReadFile(SYSTEM_ADOBE);
    const uint8_t *srgb;
    int srgbLength;
    ASSERT_EQ(SrgbProfile(&srgb, &srgbLength), ERROR_NONE);

    struct Case {
        const char *name;
        int type;
        int enabled;
        std::string profile;
        const uint8_t *target;
        int targetLength;
    } cases[] = {
        {"off", TYPE_COLOR24, 0, "", adobe.data(), (int)adobe.size()},
        {"gray", TYPE_GRAY8, 1, "", adobe.data(), (int)adobe.size()},
        {"gray 16", TYPE_GRAY16, 1, "", adobe.data(), (int)adobe.size()},
        {"binary", TYPE_BINARY, 1, "", adobe.data(), (int)adobe.size()},
        {"same bytes", TYPE_COLOR48, 1, SYSTEM_ADOBE, adobe.data(), (int)adobe.size()},
        {"none to built-in sRGB", TYPE_COLOR24, 1, "", srgb, srgbLength},
        {"none to none", TYPE_COLOR24, 1, "", nullptr, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        CurrentColorSettings.enabled = c.enabled;
        ImageWindow *window = Window(c.type, 20, 10, c.profile);
        TestImage original;
        ASSERT_EQ(ImageDuplicate(&window->picture.image, &original), ERROR_NONE);
        uint8_t *profileBefore = window->picture.profile;
        int modified = -1;
        EXPECT_EQ(
            ConvertImageToProfile(&window->picture, c.target, c.targetLength, 0, 1, &modified),
            ERROR_NONE);
        ExpectImagesNear(original, window->picture.image, 0);
        EXPECT_EQ(window->picture.profile, profileBefore);
        EXPECT_EQ(modified, 0);
    }
    EXPECT_EQ(HeadlessProgressCount(), 0);
}
TEST_F(ProfileTransformFixture, FailedConversionLeavesPictureAndProfile)
{
    ImageWindow *window = Window(TYPE_COLOR24, 20, 10, SYSTEM_ADOBE);
    TestImage original;
    ASSERT_EQ(ImageDuplicate(&window->picture.image, &original), ERROR_NONE);
    uint8_t *profileBefore = window->picture.profile;
    std::vector<uint8_t> garbage(400, 7);
    int modified = -1;
    EXPECT_EQ(ConvertImageToProfile(&window->picture, garbage.data(), 400, 0, 1, &modified),
              ERROR_INVALID_PROFILE);
    EXPECT_EQ(modified, 0);
    std::vector<uint8_t> gray = TestReadFile(SYSTEM_GRAY);
    EXPECT_EQ(ConvertToWorkingSpace(&window->picture, gray.data(), (int)gray.size(), 0, &modified),
              ERROR_NOT_COLOR_SPACE_PROFILE);
    EXPECT_EQ(modified, 0);
    ExpectImagesNear(original, window->picture.image, 0);
    EXPECT_EQ(window->picture.profile, profileBefore);
}
TEST_F(ProfileTransformFixture, ConversionSaysItModifiedAndShowsProgressWithoutCancel)
{
    ImageWindow *window = Window(TYPE_COLOR24, 400, 250);
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    HeadlessAbortAtPump(0); // pressing where there is no Cancel button does nothing
    int modified = 0;
    ASSERT_EQ(ConvertToWorkingSpace(&window->picture, wide.data(), (int)wide.size(), 0, &modified),
              ERROR_NONE);
    EXPECT_EQ(modified, 1);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_STREQ(HeadlessProgressAt(0)->title, "Convert Color Space");
    EXPECT_EQ(HeadlessProgressAt(0)->last.canAbort, 0);
    EXPECT_EQ(HeadlessProgressAt(0)->last.last, 249);

    // Without progress asked, none is shown.
    ImageWindow *small = Window(TYPE_COLOR24, 400, 250);
    ASSERT_EQ(
        ConvertImageToProfile(&small->picture, wide.data(), (int)wide.size(), 0, 0, &modified),
        ERROR_NONE);
    EXPECT_EQ(HeadlessProgressCount(), 1);
    ExpectImagesNear(window->picture.image, small->picture.image, 0);
}
TEST_F(ProfileTransformFixture, WorkingToMonitorSwatch)
{
    uint8_t swatch[6] = {0, 0, 255, 10, 200, 30}; // red, then a green, blue first
    uint8_t before[6];
    memcpy(before, swatch, 6);
    Settings("", SYSTEM_SRGB);
    EXPECT_EQ(ConvertWorkingToMonitor(swatch, 2), ERROR_NONE); // no working space
    EXPECT_EQ(memcmp(swatch, before, 6), 0);

    Settings(SYSTEM_ADOBE, SYSTEM_SRGB);
    EXPECT_EQ(ConvertWorkingToMonitor(swatch, 2), ERROR_NONE);
    // transicc on the same values, rounded as 8-bit output is.
    std::string output;
    ASSERT_EQ(TestRun("printf '255 0 0\\n30 200 10\\n' | transicc -n -t0 '-i" + SYSTEM_ADOBE +
                          "' '-o" + SYSTEM_SRGB + "' 2>/dev/null",
                      &output),
              0);
    double r1, g1, b1, r2, g2, b2;
    ASSERT_EQ(sscanf(output.c_str(), "%lf %lf %lf %lf %lf %lf", &r1, &g1, &b1, &r2, &g2, &b2), 6);
    EXPECT_LE(Abs(swatch[2] - Round(r1)), 1);
    EXPECT_LE(Abs(swatch[1] - Round(g1)), 1);
    EXPECT_LE(Abs(swatch[0] - Round(b1)), 1);
    EXPECT_LE(Abs(swatch[5] - Round(r2)), 1);
    EXPECT_LE(Abs(swatch[4] - Round(g2)), 1);
    EXPECT_LE(Abs(swatch[3] - Round(b2)), 1);
    EXPECT_EQ(HeadlessMessageCount(), 0);

    // A Lab working space is allowed, but no swatch can be shown from it.
    Settings(SYSTEM_LAB, SYSTEM_SRGB);
    memcpy(swatch, before, 6);
    EXPECT_EQ(ConvertWorkingToMonitor(swatch, 2), ERROR_NOT_COLOR_SPACE_PROFILE);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->text,
                 "Problem converting from working color space to monitor color space");
    EXPECT_EQ(memcmp(swatch, before, 6), 0);
}
TEST_F(ProfileTransformFixture, InheritedProfiles)
{
    Settings(SYSTEM_ADOBE, "");
    std::vector<uint8_t> adobe = TestReadFile(SYSTEM_ADOBE);
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    auto profileOf = [](const ImageWindow *window) {
        const Picture *picture = &window->picture;
        return std::vector<uint8_t>(picture->profile, picture->profile + picture->profileSize);
    };
    struct Case {
        const char *name;
        int sourceType; // 0 for no source window
        std::string sourceProfile;
        int destinationType;
        const std::vector<uint8_t> *expected; // null for none
    } cases[] = {
        {"no source, color", 0, "", TYPE_COLOR48, &adobe},
        {"no source, gray", 0, "", TYPE_GRAY8, nullptr},
        {"source profile", TYPE_COLOR24, SYSTEM_WIDE, TYPE_COLOR48, &wide},
        {"source profile, gray result", TYPE_COLOR24, SYSTEM_WIDE, TYPE_GRAY16, nullptr},
        {"color source without one", TYPE_COLOR24, "", TYPE_COLOR24, nullptr},
        {"gray to color", TYPE_GRAY16, "", TYPE_COLOR48, &adobe},
        {"binary to color", TYPE_BINARY, "", TYPE_COLOR24, &adobe},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const ImageWindow *source =
            c.sourceType != 0 ? Window(c.sourceType, 4, 4, c.sourceProfile) : nullptr;
        ImageWindow *destination = Window(c.destinationType, 4, 4, SYSTEM_BLUISH);
        ASSERT_EQ(
            InheritProfile(source != nullptr ? &source->picture : nullptr, &destination->picture),
            ERROR_NONE);
        if (c.expected == nullptr)
            EXPECT_EQ(destination->picture.profile, nullptr);
        else
            EXPECT_EQ(profileOf(destination), *c.expected);
    }
    // Without a working space, a new color picture has no profile.
    Settings("", "");
    ImageWindow *destination = Window(TYPE_COLOR24, 4, 4);
    ASSERT_EQ(InheritProfile(nullptr, &destination->picture), ERROR_NONE);
    EXPECT_EQ(destination->picture.profile, nullptr);
}

struct OpenCase {
    const char *name;
    std::string fileProfile; // the opened picture's, empty for none
    int onMismatch;
    int withAssumed;
    int ask;                // the dialog is asked for
    int converted;          // the pixels went to the working space
    std::string endProfile; // the window's profile after, empty for none
};

TEST_F(ProfileTransformFixture, OpenCheckDecisions)
{
    const std::string working = SYSTEM_ADOBE;
    const OpenCase cases[] = {
        {"same as working", SYSTEM_ADOBE, MISMATCH_ASK, 1, 0, 0, SYSTEM_ADOBE},
        {"other, ask", SYSTEM_WIDE, MISMATCH_ASK, 1, 1, 0, SYSTEM_WIDE},
        {"other, convert", SYSTEM_WIDE, MISMATCH_CONVERT, 1, 0, 1, SYSTEM_ADOBE},
        {"other, keep", SYSTEM_WIDE, MISMATCH_KEEP, 1, 0, 0, SYSTEM_WIDE},
        {"none, ask", "", MISMATCH_ASK, 1, 1, 0, ""},
        {"none, convert from assumed", "", MISMATCH_CONVERT, 1, 0, 1, SYSTEM_ADOBE},
        {"none, convert from sRGB", "", MISMATCH_CONVERT, 0, 0, 1, SYSTEM_ADOBE},
        {"none, keep with assumed", "", MISMATCH_KEEP, 1, 0, 0, SYSTEM_BLUISH},
        {"none, keep without", "", MISMATCH_KEEP, 0, 0, 0, ""},
    };
    for (const OpenCase &c : cases) {
        SCOPED_TRACE(c.name);
        ShutdownColorSettings();
        ColorSettingsDefault(&CurrentColorSettings);
        CurrentColorSettings.onMismatch = c.onMismatch;
        Settings(working, "", "", c.withAssumed ? SYSTEM_BLUISH : "");
        ImageWindow *window = Window(TYPE_COLOR48, 9, 5, c.fileProfile);
        TestImage original;
        ASSERT_EQ(ImageDuplicate(&window->picture.image, &original), ERROR_NONE);
        int ask = -1;
        int modified = -1;
        ASSERT_EQ(OpenProfileCheck(&window->picture, &ask, &modified), ERROR_NONE);
        EXPECT_EQ(ask, c.ask);
        EXPECT_EQ(modified, c.converted);
        if (c.endProfile.empty())
            EXPECT_EQ(window->picture.profile, nullptr);
        else
            EXPECT_EQ(std::vector<uint8_t>(window->picture.profile,
                                           window->picture.profile + window->picture.profileSize),
                      TestReadFile(c.endProfile));
        if (c.converted) {
            std::string from =
                c.fileProfile.empty() && c.withAssumed ? SYSTEM_BLUISH : c.fileProfile;
            TestImage expected;
            Tificc(original,
                   "-t0" + (from.empty() ? std::string() : " '-i" + from + "'") + " '-o" + working +
                       "'",
                   folder, &expected);
            ExpectImagesNear(expected, window->picture.image, 0);
            ImageFree(&expected);
        } else {
            ExpectImagesNear(original, window->picture.image, 0);
        }
    }
}
TEST_F(ProfileTransformFixture, OpenCheckDoesNothingWithoutAWorkingSpaceOrForGray)
{
    CurrentColorSettings.onMismatch = MISMATCH_CONVERT;
    Settings("", "", "", SYSTEM_BLUISH);
    ImageWindow *window = Window(TYPE_COLOR24, 6, 6);
    int ask = -1;
    int modified = -1;
    ASSERT_EQ(OpenProfileCheck(&window->picture, &ask, &modified), ERROR_NONE);
    EXPECT_EQ(ask, 0);
    EXPECT_EQ(window->picture.profile, nullptr);
    EXPECT_EQ(HeadlessMessageCount(), 0);

    Settings(SYSTEM_ADOBE, "", "", SYSTEM_BLUISH);
    ImageWindow *gray = Window(TYPE_GRAY16, 6, 6);
    ASSERT_EQ(OpenProfileCheck(&gray->picture, &ask, &modified), ERROR_NONE);
    EXPECT_EQ(ask, 0);
    EXPECT_EQ(gray->picture.profile, nullptr);
}
TEST_F(ProfileTransformFixture, OpenDialogChoiceAssignsAndConverts)
{
    Settings(SYSTEM_ADOBE, "");
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    ImageWindow *kept = Window(TYPE_COLOR24, 6, 6);
    ImageWindow *converted = Window(TYPE_COLOR24, 6, 6);
    TestImage original;
    ASSERT_EQ(ImageDuplicate(&kept->picture.image, &original), ERROR_NONE);
    int modified = -1;
    ASSERT_EQ(OpenProfileChoose(&kept->picture, wide.data(), (int)wide.size(), 0, 0, &modified),
              ERROR_NONE);
    EXPECT_EQ(modified, 0);
    EXPECT_EQ(std::vector<uint8_t>(kept->picture.profile,
                                   kept->picture.profile + kept->picture.profileSize),
              wide);
    ExpectImagesNear(original, kept->picture.image, 0);

    ASSERT_EQ(
        OpenProfileChoose(&converted->picture, wide.data(), (int)wide.size(), 1, 2, &modified),
        ERROR_NONE);
    EXPECT_EQ(modified, 1);
    TestImage expected;
    Tificc(original, "-t1 '-i" + SYSTEM_WIDE + "' '-o" + SYSTEM_ADOBE + "'", folder, &expected);
    ExpectImagesNear(expected, converted->picture.image, 0);
    EXPECT_EQ(std::vector<uint8_t>(converted->picture.profile,
                                   converted->picture.profile + converted->picture.profileSize),
              TestReadFile(SYSTEM_ADOBE));
}
