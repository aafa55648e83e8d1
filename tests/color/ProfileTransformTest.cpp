// Tests of the profile transforms: conversions checked against Little CMS's own tificc on
// the same pixels, profiles and intents; the color-managed display with soft proofing and
// the gamut alarm; the checks when pictures meet or open; the profile a new window gets.
#include "color/ProfileTransform.h"

#include <cstring>
#include <gtest/gtest.h>
#include <lcms2.h>

#include "color/ColorSettings.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "platform/headless/Headless.h"
#include "shell/Display.h"
#include "tests/color/ProfileTestSupport.h"
#include "tests/transforms/PictureTestSupport.h"

// Writes a color picture as a binary PPM, top row first, red first, 16-bit big-endian.
static void WritePpm(const Image &image, const std::string &path)
{
    int wide = image.type == TYPE_COLOR48;
    std::string header = "P6\n" + std::to_string(image.width) + " " + std::to_string(image.height) +
                         "\n" + (wide ? "65535" : "255") + "\n";
    std::vector<uint8_t> bytes(header.begin(), header.end());
    for (int y = image.height - 1; y >= 0; y--)
        for (int x = 0; x < image.width; x++)
            for (int c = 2; c >= 0; c--) {
                int value = PictureSample(image, x, y, c);
                if (wide) bytes.push_back((uint8_t)(value >> 8));
                bytes.push_back((uint8_t)value);
            }
    TestWriteFile(path, bytes);
}

// Reads a PPM that WritePpm's counterpart tools wrote into a new picture.
static void ReadPpm(const std::string &path, Image *image)
{
    std::vector<uint8_t> bytes = TestReadFile(path);
    int width = 0, height = 0, maximum = 0, used = 0;
    ASSERT_EQ(sscanf((const char *)bytes.data(), "P6 %d %d %d%n", &width, &height, &maximum, &used),
              3);
    size_t at = (size_t)used + 1;
    int wide = maximum > 255;
    ImageClear(image);
    ASSERT_EQ(ImageAlloc(image, wide ? TYPE_COLOR48 : TYPE_COLOR24, width, height, 72.0),
              ERROR_NONE);
    ASSERT_EQ(bytes.size(), at + (size_t)width * height * 3 * (wide ? 2 : 1));
    for (int y = height - 1; y >= 0; y--)
        for (int x = 0; x < width; x++)
            for (int c = 2; c >= 0; c--) {
                int value = bytes[at++];
                if (wide) value = (value << 8) | bytes[at++];
                PictureSetSample(image, x, y, c, value);
            }
}

// What tificc makes of picture with these options (profiles, intent, proofing). The netpbm
// tools carry 16-bit samples whole (tifftopnm only by rows) and gray pixels as color.
static void Tificc(const Image &picture, const std::string &options, const std::string &folder,
                   Image *result)
{
    std::string in = folder + "/in";
    WritePpm(picture, in + ".ppm");
    std::string depth = picture.type == TYPE_COLOR48 ? " -w16" : " -w8";
    std::string command = "pnmtotiff -truecolor -color < '" + in + ".ppm' > '" + in +
                          ".tif' 2>/dev/null && tificc" + depth + " " + options + " '" + in +
                          ".tif' '" + folder + "/out.tif' 2>/dev/null && tifftopnm -byrow '" +
                          folder + "/out.tif' > '" + folder + "/out.ppm' 2>/dev/null";
    ASSERT_EQ(TestRun(command), 0) << command;
    ReadPpm(folder + "/out.ppm", result);
}

// The tificc intent options of each of our intent indices.
static const char *const TIFICC_INTENTS[COLOR_INTENT_COUNT] = {"-t0", "-t2", "-t1", "-t3",
                                                               "-t1 -b"};

class ProfileTransformFixture : public testing::Test {
  protected:
    std::string folder;
    std::vector<ImageWindow *> windows;

    void SetUp() override
    {
        TestStart();
        folder = TestOutputFolder(std::string("ProfileTransform.") +
                                  testing::UnitTest::GetInstance()->current_test_info()->name());
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersSet((folder + "/user").c_str(), "", "");
    }

    void TearDown() override
    {
        for (ImageWindow *window : windows) {
            if (window->window != nullptr) PlatformDestroyWindow(window->window);
            SlotFree(window->slot);
        }
        ShutdownColorSettings();
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersDefault();
    }

    // A window with a patterned picture of type and size, and the profile of a file.
    ImageWindow *Window(int type, int width, int height, const std::string &profile = "")
    {
        int slot;
        ImageWindow *window = nullptr;
        EXPECT_EQ(SlotAllocate(&slot, &window), ERROR_NONE);
        windows.push_back(window);
        EXPECT_EQ(ImageAlloc(&window->image, type, width, height, 72.0), ERROR_NONE);
        TestFillPattern(&window->image, type * 100 + width);
        window->window = HeadlessBareWindow(0, slot, "/pictures/holiday/beach.tif");
        if (!profile.empty()) SetProfile(window, TestReadFile(profile));
        return window;
    }

    static void SetProfile(ImageWindow *window, const std::vector<uint8_t> &bytes)
    {
        EXPECT_EQ(WindowProfileSet(window, bytes.data(), (int)bytes.size()), ERROR_NONE);
    }

    // Sets the profiles of the settings by file (empty for none) and loads them.
    void Settings(const std::string &working, const std::string &monitor,
                  const std::string &proof = "", const std::string &assumed = "")
    {
        ColorSettings *settings = &CurrentColorSettings;
        StrCopyLimit(working.c_str(), settings->workingPath, PATH_LENGTH - 1);
        StrCopyLimit(monitor.c_str(), settings->monitorPath, PATH_LENGTH - 1);
        StrCopyLimit(proof.c_str(), settings->proofPath, PATH_LENGTH - 1);
        StrCopyLimit(assumed.c_str(), settings->assumedFilePath, PATH_LENGTH - 1);
        int messages = HeadlessMessageCount();
        InitColorSettings();
        ASSERT_EQ(HeadlessMessageCount(), messages);
    }

    static int Modified(const ImageWindow *window)
    {
        return (int)PlatformGetWindowWord(window->window, WORD_MODIFIED);
    }
};

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
    const ConversionCase cases[] = {
        {TYPE_COLOR24, "", SYSTEM_ADOBE},
        {TYPE_COLOR48, "", SYSTEM_WIDE},
        {TYPE_COLOR24, SYSTEM_WIDE, SYSTEM_BLUISH},
        {TYPE_COLOR48, SYSTEM_ADOBE, SYSTEM_BLUISH},
    };
    for (const ConversionCase &c : cases) {
        for (int intent = 0; intent < COLOR_INTENT_COUNT; intent++) {
            SCOPED_TRACE(testing::Message() << "type " << c.type << " from '" << c.source << "' to "
                                            << c.target << " intent " << intent);
            ImageWindow *window = Window(c.type, 37, 23, c.source);
            Image original = {};
            ASSERT_EQ(ImageDuplicate(&window->image, &original), ERROR_NONE);
            std::vector<uint8_t> target = TestReadFile(c.target);
            ASSERT_EQ(ConvertImageToProfile(window, target.data(), (int)target.size(), intent, 0),
                      ERROR_NONE);
            Image expected = {};
            std::string input = c.source.empty() ? "" : " '-i" + c.source + "'";
            Tificc(original, std::string(TIFICC_INTENTS[intent]) + input + " '-o" + c.target + "'",
                   folder, &expected);
            // The same engine with the same flags: the very same pixels.
            ExpectImagesNear(expected, window->image, 0);
            EXPECT_EQ(std::vector<uint8_t>(window->profile, window->profile + window->profileSize),
                      target);
            EXPECT_EQ(Modified(window), 1);
            ImageFree(&original);
            ImageFree(&expected);
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
        Image original = {};
        ASSERT_EQ(ImageDuplicate(&window->image, &original), ERROR_NONE);
        uint8_t *profileBefore = window->profile;
        EXPECT_EQ(ConvertImageToProfile(window, c.target, c.targetLength, 0, 1), ERROR_NONE);
        ExpectImagesNear(original, window->image, 0);
        EXPECT_EQ(window->profile, profileBefore);
        EXPECT_EQ(Modified(window), 0);
        ImageFree(&original);
    }
    EXPECT_EQ(HeadlessProgressCount(), 0);
}

TEST_F(ProfileTransformFixture, FailedConversionLeavesPictureAndProfile)
{
    ImageWindow *window = Window(TYPE_COLOR24, 20, 10, SYSTEM_ADOBE);
    Image original = {};
    ASSERT_EQ(ImageDuplicate(&window->image, &original), ERROR_NONE);
    uint8_t *profileBefore = window->profile;
    std::vector<uint8_t> garbage(400, 7);
    EXPECT_EQ(ConvertImageToProfile(window, garbage.data(), 400, 0, 1), ERROR_INVALID_PROFILE);
    std::vector<uint8_t> gray = TestReadFile(SYSTEM_GRAY);
    EXPECT_EQ(ConvertToWorkingSpace(window, gray.data(), (int)gray.size(), 0),
              ERROR_NOT_COLOR_SPACE_PROFILE);
    ExpectImagesNear(original, window->image, 0);
    EXPECT_EQ(window->profile, profileBefore);
    EXPECT_EQ(Modified(window), 0);
    ImageFree(&original);
}

TEST_F(ProfileTransformFixture, ConversionDropsTheDisplayAndShowsProgressWithoutCancel)
{
    ImageWindow *window = Window(TYPE_COLOR24, 400, 250);
    ASSERT_EQ(ImageAlloc(&window->screen, TYPE_COLOR24, 10, 10, 100.0), ERROR_NONE);
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    HeadlessAbortAtPump(0); // pressing where there is no Cancel button does nothing
    ASSERT_EQ(ConvertToWorkingSpace(window, wide.data(), (int)wide.size(), 0), ERROR_NONE);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_STREQ(HeadlessProgressAt(0)->title, "Convert Color Space");
    EXPECT_EQ(HeadlessProgressAt(0)->last.canAbort, 0);
    EXPECT_EQ(HeadlessProgressAt(0)->last.last, 249);
    EXPECT_EQ(window->screen.rows, nullptr);
    EXPECT_EQ(window->displayTransform, nullptr);

    // Without progress asked, none is shown.
    ImageWindow *small = Window(TYPE_COLOR24, 400, 250);
    ASSERT_EQ(ConvertImageToProfile(small, wide.data(), (int)wide.size(), 0, 0), ERROR_NONE);
    EXPECT_EQ(HeadlessProgressCount(), 1);
    ExpectImagesNear(window->image, small->image, 0);
}

// A view of a window, as RenderView leaves it, with a pattern in it.
static void ViewMake(ImageWindow *window, int type, int width, int height, int seed)
{
    ASSERT_EQ(ImageAlloc(&window->view, type, width, height, 100.0), ERROR_NONE);
    TestFillPattern(&window->view, seed);
    window->viewWidth = width;
    window->viewHeight = height;
}

TEST_F(ProfileTransformFixture, DisplayWithoutColorManagementCopiesAndWidens)
{
    for (int enabled : {0, 1}) { // on, but without a monitor profile
        CurrentColorSettings.enabled = enabled;
        for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24}) {
            SCOPED_TRACE(testing::Message() << "enabled " << enabled << " type " << type);
            ImageWindow *window = Window(type == TYPE_COLOR24 ? TYPE_COLOR24 : TYPE_GRAY8, 5, 5);
            ViewMake(window, type, 13, 7, type);
            ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 12, 6), ERROR_NONE);
            ASSERT_EQ(window->screen.type, TYPE_COLOR24);
            ASSERT_EQ(window->screen.width, 13);
            ASSERT_EQ(window->screen.height, 7);
            for (int y = 0; y < 7; y++)
                for (int x = 0; x < 13; x++)
                    for (int c = 0; c < 3; c++) {
                        int expected =
                            PictureSample(window->view, x, y, type == TYPE_COLOR24 ? c : 0);
                        ASSERT_EQ(PictureSample(window->screen, x, y, c), expected)
                            << x << "," << y << "," << c;
                    }
            EXPECT_EQ(window->displayTransform, nullptr);
        }
    }
}

TEST_F(ProfileTransformFixture, DisplayThroughTheMonitorEqualsTificc)
{
    Settings("", SYSTEM_WIDE);
    for (int intent : {0, 3}) {
        SCOPED_TRACE(intent);
        CurrentColorSettings.monitorIntent = intent;
        DisplayResetAll();
        ImageWindow *window = Window(TYPE_COLOR48, 5, 5, SYSTEM_ADOBE);
        ViewMake(window, TYPE_COLOR24, 31, 17, 5);
        ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 30, 16), ERROR_NONE);
        EXPECT_NE(window->displayTransform, nullptr);
        Image expected = {};
        Tificc(window->view,
               std::string(TIFICC_INTENTS[intent]) + " '-i" + SYSTEM_ADOBE + "' '-o" + SYSTEM_WIDE +
                   "'",
               folder, &expected);
        ExpectImagesNear(expected, window->screen, 0);
        ImageFree(&expected);
    }
}

TEST_F(ProfileTransformFixture, WithoutAChosenMonitorTheDisplayShowsThroughItsOwnProfileOrSrgb)
{
    // The built-in sRGB profile as a file, for tificc.
    const uint8_t *srgb;
    int srgbLength;
    ASSERT_EQ(SrgbProfile(&srgb, &srgbLength), ERROR_NONE);
    std::string srgbPath = folder + "/srgb.icc";
    TestWriteFile(srgbPath, std::vector<uint8_t>(srgb, srgb + srgbLength));
    struct Case {
        const char *name;
        std::string desktop; // the profile the desktop gives the display, or none
        std::string picture; // the picture's profile, or none for sRGB
        std::string shownIn; // the profile the screen is in, or none for a plain copy
    } cases[] = {
        // A wide gamut picture is not shown with its numbers as they are, dull, but in sRGB.
        {"wide picture", "", SYSTEM_WIDE, srgbPath},
        {"sRGB picture", "", "", ""},
        {"sRGB picture on the desktop's wide display", SYSTEM_WIDE, "", SYSTEM_WIDE},
        {"wide picture on the desktop's wide display", SYSTEM_WIDE, SYSTEM_WIDE, ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        HeadlessSetDisplayProfile(nullptr, 0);
        if (!c.desktop.empty()) {
            std::vector<uint8_t> bytes = TestReadFile(c.desktop);
            HeadlessSetDisplayProfile(bytes.data(), (int)bytes.size());
        }
        Settings("", "");
        ImageWindow *window = Window(TYPE_COLOR24, 5, 5, c.picture);
        ViewMake(window, TYPE_COLOR24, 31, 17, 5);
        ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 30, 16), ERROR_NONE);
        if (c.shownIn.empty()) {
            EXPECT_EQ(window->displayTransform, nullptr);
            ExpectImagesNear(window->view, window->screen, 0);
            continue;
        }
        EXPECT_NE(window->displayTransform, nullptr);
        Image expected = {};
        // A picture without a profile is taken as the engine's own sRGB.
        std::string in = c.picture.empty() ? "*sRGB" : c.picture;
        Tificc(window->view, "-t0 '-i" + in + "' '-o" + c.shownIn + "'", folder, &expected);
        ExpectImagesNear(expected, window->screen, 0);
        ImageFree(&expected);
    }
    HeadlessSetDisplayProfile(nullptr, 0);
}

TEST_F(ProfileTransformFixture, GrayAndBinaryViewsStayNeutralOnAWideGamutMonitor)
{
    Settings("", SYSTEM_WIDE);
    for (int type : {TYPE_GRAY8, TYPE_BINARY}) {
        SCOPED_TRACE(type);
        // A stale profile on a gray picture is not used: the gray goes as sRGB's gray.
        ImageWindow *window = Window(TYPE_GRAY16, 5, 5, SYSTEM_BLUISH);
        ViewMake(window, type, 64, 4, 9);
        ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 63, 3), ERROR_NONE);
        Image widened = {};
        ASSERT_EQ(ImageAlloc(&widened, TYPE_COLOR24, 64, 4, 100.0), ERROR_NONE);
        for (int y = 0; y < 4; y++)
            for (int x = 0; x < 64; x++)
                for (int c = 0; c < 3; c++)
                    PictureSetSample(&widened, x, y, c, PictureSample(window->view, x, y, 0));
        Image expected = {};
        Tificc(widened, "-t0 '-o" + SYSTEM_WIDE + "'", folder, &expected);
        ExpectImagesNear(expected, window->screen, 0);
        for (int x = 0; x < 64; x++) {
            int b = PictureSample(window->screen, x, 0, 0);
            int g = PictureSample(window->screen, x, 0, 1);
            int r = PictureSample(window->screen, x, 0, 2);
            EXPECT_LE(Abs(r - g), 1);
            EXPECT_LE(Abs(b - g), 1);
        }
        ImageFree(&expected);
        ImageFree(&widened);
    }
}

TEST_F(ProfileTransformFixture, DisplayUpdatesOnlyItsRectangleAndRemakesAScreenOfAnotherSize)
{
    Settings("", SYSTEM_WIDE);
    ImageWindow *window = Window(TYPE_COLOR24, 5, 5);
    ViewMake(window, TYPE_COLOR24, 20, 10, 3);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 19, 9), ERROR_NONE);
    void *transform = window->displayTransform;
    Image whole = {};
    ASSERT_EQ(ImageDuplicate(&window->screen, &whole), ERROR_NONE);

    // Mark the screen, then update columns 4..6 of rows 2..3, given top above bottom.
    for (int y = 0; y < 10; y++)
        memset(window->screen.rows[y], 0x77, 60);
    ASSERT_EQ(UpdateDisplayImage(window, 4, 3, 6, 2), ERROR_NONE);
    EXPECT_EQ(window->displayTransform, transform); // kept, not made again
    for (int y = 0; y < 10; y++)
        for (int x = 0; x < 20; x++) {
            int inside = x >= 4 && x <= 6 && y >= 2 && y <= 3;
            for (int c = 0; c < 3; c++)
                ASSERT_EQ(PictureSample(window->screen, x, y, c),
                          inside ? PictureSample(whole, x, y, c) : 0x77)
                    << x << "," << y;
        }
    // A rectangle outside the view, or reaching past it, is cut to it.
    EXPECT_EQ(UpdateDisplayImage(window, 25, 0, 30, 9), ERROR_NONE);
    EXPECT_EQ(UpdateDisplayImage(window, -5, -5, 100, 100), ERROR_NONE);
    ExpectImagesNear(whole, window->screen, 0);

    // A screen of another size is made again and filled whole from a corner's update.
    ImageFree(&window->screen);
    ASSERT_EQ(ImageAlloc(&window->screen, TYPE_COLOR24, 3, 3, 100.0), ERROR_NONE);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 0, 0), ERROR_NONE);
    ExpectImagesNear(whole, window->screen, 0);
    ImageFree(&whole);
}

TEST_F(ProfileTransformFixture, DisplayFailureShowsThePlainView)
{
    Settings("", SYSTEM_WIDE);
    ImageWindow *window = Window(TYPE_COLOR24, 5, 5, SYSTEM_LAB); // not an RGB profile
    ViewMake(window, TYPE_COLOR24, 8, 4, 1);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 7, 3), ERROR_NONE);
    EXPECT_EQ(window->displayTransform, nullptr);
    EXPECT_EQ(window->displayFailed, 1);
    ExpectImagesNear(window->view, window->screen, 0);
    // A new profile tries again.
    SetProfile(window, TestReadFile(SYSTEM_ADOBE));
    EXPECT_EQ(window->displayFailed, 0);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 7, 3), ERROR_NONE);
    EXPECT_NE(window->displayTransform, nullptr);
}

// Blue, green, red of the screen's pixel x of row 0.
static std::vector<int> ScreenPixel(const ImageWindow *window, int x)
{
    return {PictureSample(window->screen, x, 0, 0), PictureSample(window->screen, x, 0, 1),
            PictureSample(window->screen, x, 0, 2)};
}

TEST_F(ProfileTransformFixture, SoftProofEqualsTificcAndTheGamutAlarmMarksWhatCannotPrint)
{
    // Pure green and pure blue are far outside a SWOP press; mid gray and a skin tone print.
    const uint8_t pixels[4][3] = {{0, 255, 0}, {255, 0, 0}, {128, 128, 128}, {130, 160, 220}};
    auto fill = [&](ImageWindow *window) {
        ViewMake(window, TYPE_COLOR24, 4, 1, 0);
        for (int x = 0; x < 4; x++)
            memcpy(window->view.rows[0] + 3 * x, pixels[x], 3);
    };
    Settings("", SYSTEM_SRGB, SYSTEM_CMYK);
    CurrentColorSettings.proofIntent = COLOR_INTENT_IDENTICAL;
    CurrentColorSettings.monitorIntent = COLOR_INTENT_FULL_GAMUT;
    ImageWindow *window = Window(TYPE_COLOR24, 5, 5);
    fill(window);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 3, 0), ERROR_NONE);
    // tificc: -t is the intent of the simulated press, -m that of the press to the monitor.
    Image expected = {};
    Tificc(window->view, "-t1 -m0 '-o" + SYSTEM_SRGB + "' '-p" + SYSTEM_CMYK + "'", folder,
           &expected);
    ExpectImagesNear(expected, window->screen, 0);
    ImageFree(&expected);
    std::vector<int> alarm = {0, 10, 255}; // blue, green, red of the alarm color below
    EXPECT_NE(ScreenPixel(window, 0), alarm);

    // The alarm turned on after the view was built shows at the next paint, in its color.
    CurrentColorSettings.gamutAlarm = 1;
    CurrentColorSettings.gamutAlarmColor[0] = 255; // red
    CurrentColorSettings.gamutAlarmColor[1] = 10;
    CurrentColorSettings.gamutAlarmColor[2] = 0;
    InitColorSettings();
    fill(window);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 3, 0), ERROR_NONE);
    EXPECT_EQ(ScreenPixel(window, 0), alarm);
    EXPECT_EQ(ScreenPixel(window, 1), alarm);
    EXPECT_NE(ScreenPixel(window, 2), alarm);
    EXPECT_NE(ScreenPixel(window, 3), alarm);

    // Without a proofing profile there is nothing to be out of: no alarm.
    StrCopyLimit("", CurrentColorSettings.proofPath, PATH_LENGTH - 1);
    InitColorSettings();
    fill(window);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 3, 0), ERROR_NONE);
    EXPECT_NE(ScreenPixel(window, 0), alarm);
    EXPECT_NE(ScreenPixel(window, 1), alarm);
}

TEST_F(ProfileTransformFixture, ConvertForDisplayLooksLikeTheWindow)
{
    Image image = {};
    PictureMake(&image, TYPE_COLOR24, 16, 8, 4);
    Image original = {};
    ASSERT_EQ(ImageDuplicate(&image, &original), ERROR_NONE);
    std::vector<uint8_t> adobe = TestReadFile(SYSTEM_ADOBE);
    // Without a monitor nothing happens.
    EXPECT_EQ(ConvertForDisplay(&image, adobe.data(), (int)adobe.size()), ERROR_NONE);
    ExpectImagesNear(original, image, 0);

    Settings("", SYSTEM_WIDE, SYSTEM_CMYK);
    ASSERT_EQ(ConvertForDisplay(&image, adobe.data(), (int)adobe.size()), ERROR_NONE);
    ImageWindow *window = Window(TYPE_COLOR24, 16, 8, SYSTEM_ADOBE);
    ViewMake(window, TYPE_COLOR24, 16, 8, 0);
    ASSERT_EQ(ImageCopy(&original, &window->view, 0), ERROR_NONE);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 15, 7), ERROR_NONE);
    ExpectImagesNear(window->screen, image, 0);

    Image gray = {};
    PictureMake(&gray, TYPE_GRAY8, 4, 4, 1);
    EXPECT_EQ(ConvertForDisplay(&gray, nullptr, 0), ERROR_ILLEGAL_TYPE);
    ImageFree(&gray);
    ImageFree(&image);
    ImageFree(&original);
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

TEST_F(ProfileTransformFixture, MismatchWarningNamesBothSides)
{
    std::string other = SYSTEM_WIDE;
    ImageWindow *a = Window(TYPE_COLOR24, 4, 4, SYSTEM_ADOBE);
    ImageWindow *b = Window(TYPE_COLOR48, 4, 4, SYSTEM_WIDE);
    ImageWindow *c = Window(TYPE_COLOR48, 4, 4, SYSTEM_ADOBE);
    ImageWindow *gray = Window(TYPE_GRAY8, 4, 4);
    ImageWindow *none = Window(TYPE_COLOR24, 4, 4);
    PlatformSetWindowTitle(b->window, "C:\\scans\\roll 12\\frame 3.tif");

    CheckProfileMatch(a, b);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Warning");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Color profile mismatch:\n"
                                              "  beach.tif: Compatible with Adobe RGB (1998)\n"
                                              "  frame 3.tif: Wide Gamut RGB");
    CheckProfileMatch(a, none);
    ASSERT_EQ(HeadlessMessageCount(), 2);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Color profile mismatch:\n"
                                              "  beach.tif: Compatible with Adobe RGB (1998)\n"
                                              "  beach.tif: None");
    // Same profile, a gray side, or color management off: nothing to say.
    CheckProfileMatch(a, c);
    CheckProfileMatch(a, gray);
    CheckProfileMatch(gray, b);
    CurrentColorSettings.enabled = 0;
    CheckProfileMatch(a, b);
    CurrentColorSettings.enabled = 1;
    // One window: the working space is the other side, when there is one.
    CheckProfileMatch(b, nullptr);
    EXPECT_EQ(HeadlessMessageCount(), 2);
    Settings(SYSTEM_ADOBE, "");
    CheckProfileMatch(c, nullptr);
    EXPECT_EQ(HeadlessMessageCount(), 2);
    CheckProfileMatch(b, nullptr);
    ASSERT_EQ(HeadlessMessageCount(), 3);
    EXPECT_STREQ(HeadlessLastMessage()->text,
                 "Color profile mismatch:\n"
                 "  frame 3.tif: Wide Gamut RGB\n"
                 "  Working color space: Compatible with Adobe RGB (1998)");
}

TEST_F(ProfileTransformFixture, InheritedProfiles)
{
    Settings(SYSTEM_ADOBE, "");
    std::vector<uint8_t> adobe = TestReadFile(SYSTEM_ADOBE);
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    auto profileOf = [](const ImageWindow *window) {
        return std::vector<uint8_t>(window->profile, window->profile + window->profileSize);
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
        ASSERT_EQ(ImageAlloc(&destination->screen, TYPE_COLOR24, 4, 4, 100.0), ERROR_NONE);
        destination->displayFailed = 1;
        ASSERT_EQ(InheritProfile(source, destination), ERROR_NONE);
        if (c.expected == nullptr)
            EXPECT_EQ(destination->profile, nullptr);
        else
            EXPECT_EQ(profileOf(destination), *c.expected);
        EXPECT_EQ(destination->screen.rows, nullptr);
        EXPECT_EQ(destination->displayFailed, 0);
    }
    // Without a working space, a new color picture has no profile.
    Settings("", "");
    ImageWindow *destination = Window(TYPE_COLOR24, 4, 4);
    ASSERT_EQ(InheritProfile(nullptr, destination), ERROR_NONE);
    EXPECT_EQ(destination->profile, nullptr);
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
        ASSERT_EQ(ImageAlloc(&window->screen, TYPE_COLOR24, 4, 4, 100.0), ERROR_NONE);
        Image original = {};
        ASSERT_EQ(ImageDuplicate(&window->image, &original), ERROR_NONE);
        int ask = -1;
        ASSERT_EQ(OpenProfileCheck(window, &ask), ERROR_NONE);
        EXPECT_EQ(ask, c.ask);
        if (c.endProfile.empty())
            EXPECT_EQ(window->profile, nullptr);
        else
            EXPECT_EQ(std::vector<uint8_t>(window->profile, window->profile + window->profileSize),
                      TestReadFile(c.endProfile));
        EXPECT_EQ(window->screen.rows, nullptr);
        if (c.converted) {
            std::string from =
                c.fileProfile.empty() && c.withAssumed ? SYSTEM_BLUISH : c.fileProfile;
            Image expected = {};
            Tificc(original,
                   "-t0" + (from.empty() ? std::string() : " '-i" + from + "'") + " '-o" + working +
                       "'",
                   folder, &expected);
            ExpectImagesNear(expected, window->image, 0);
            ImageFree(&expected);
        } else {
            ExpectImagesNear(original, window->image, 0);
        }
        ImageFree(&original);
    }
}

TEST_F(ProfileTransformFixture, OpenCheckDoesNothingWithoutAWorkingSpaceOrForGray)
{
    CurrentColorSettings.onMismatch = MISMATCH_CONVERT;
    Settings("", "", "", SYSTEM_BLUISH);
    ImageWindow *window = Window(TYPE_COLOR24, 6, 6);
    int ask = -1;
    ASSERT_EQ(OpenProfileCheck(window, &ask), ERROR_NONE);
    EXPECT_EQ(ask, 0);
    EXPECT_EQ(window->profile, nullptr);
    EXPECT_EQ(HeadlessMessageCount(), 0);

    Settings(SYSTEM_ADOBE, "", "", SYSTEM_BLUISH);
    ImageWindow *gray = Window(TYPE_GRAY16, 6, 6);
    ASSERT_EQ(OpenProfileCheck(gray, &ask), ERROR_NONE);
    EXPECT_EQ(ask, 0);
    EXPECT_EQ(gray->profile, nullptr);
}

TEST_F(ProfileTransformFixture, OpenDialogChoiceAssignsAndConverts)
{
    Settings(SYSTEM_ADOBE, "");
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    ImageWindow *kept = Window(TYPE_COLOR24, 6, 6);
    ImageWindow *converted = Window(TYPE_COLOR24, 6, 6);
    Image original = {};
    ASSERT_EQ(ImageDuplicate(&kept->image, &original), ERROR_NONE);
    ASSERT_EQ(OpenProfileChoose(kept, wide.data(), (int)wide.size(), 0, 0), ERROR_NONE);
    EXPECT_EQ(std::vector<uint8_t>(kept->profile, kept->profile + kept->profileSize), wide);
    ExpectImagesNear(original, kept->image, 0);

    ASSERT_EQ(OpenProfileChoose(converted, wide.data(), (int)wide.size(), 1, 2), ERROR_NONE);
    Image expected = {};
    Tificc(original, "-t1 '-i" + SYSTEM_WIDE + "' '-o" + SYSTEM_ADOBE + "'", folder, &expected);
    ExpectImagesNear(expected, converted->image, 0);
    EXPECT_EQ(std::vector<uint8_t>(converted->profile, converted->profile + converted->profileSize),
              TestReadFile(SYSTEM_ADOBE));
    ImageFree(&expected);
    ImageFree(&original);
}

TEST_F(ProfileTransformFixture, RenderViewBringsEveryChangedViewPixelThroughTheMonitor)
{
    Settings("", SYSTEM_WIDE);
    for (int zoom : {1, 3, -2}) {
        SCOPED_TRACE(zoom);
        ImageWindow *window = Window(TYPE_COLOR48, 30, 20, SYSTEM_ADOBE);
        window->zoom = zoom;
        window->viewWidth = 25;
        window->viewHeight = 17;
        window->sourceLeft = 1;
        window->sourceBottom = 18; // counted from the top
        ASSERT_EQ(RenderView(&window->image, window, 0, 0, 24, 16, 0), ERROR_NONE);
        Image oldView = {};
        ASSERT_EQ(ImageDuplicate(&window->view, &oldView), ERROR_NONE);

        // The picture changes everywhere, the screen is marked, and a part is rendered.
        for (int y = 0; y < window->image.height; y++)
            for (int i = 0; i < window->image.rowBytes; i++)
                window->image.rows[y][i] ^= 0xff;
        for (int y = 0; y < window->screen.height; y++)
            memset(window->screen.rows[y], 0x77, (size_t)window->screen.rowBytes);
        ASSERT_EQ(RenderView(&window->image, window, 5, 4, 13, 10, 0), ERROR_NONE);
        Image partial = {};
        ASSERT_EQ(ImageDuplicate(&window->screen, &partial), ERROR_NONE);

        // What the whole screen should be for the view as it now is.
        ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 24, 16), ERROR_NONE);
        int changed = 0;
        for (int y = 0; y < 17; y++)
            for (int x = 0; x < 25; x++) {
                int viewChanged = 0, inside = x >= 5 && x <= 13 && y >= 4 && y <= 10;
                for (int c = 0; c < 3; c++)
                    viewChanged |=
                        PictureSample(window->view, x, y, c) != PictureSample(oldView, x, y, c);
                changed += viewChanged;
                if (!viewChanged && !inside) continue;
                for (int c = 0; c < 3; c++)
                    ASSERT_EQ(PictureSample(partial, x, y, c),
                              PictureSample(window->screen, x, y, c))
                        << x << "," << y;
            }
        EXPECT_GE(changed, 9 * 7);
        ImageFree(&oldView);
        ImageFree(&partial);
    }
}
