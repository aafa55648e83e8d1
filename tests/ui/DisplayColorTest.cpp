// Tests of the color-managed display of windows: views through the monitor's profile checked
// against tificc, soft proofing and the gamut alarm, partial updates, and the warning when
// two pictures used together differ in profile.
#include "ui/DisplayColor.h"

#include <cstring>
#include <gtest/gtest.h>

#include "tests/color/ProfileTransformSupport.h"
#include "tests/support/TestImage.h"
#include "ui/Display.h"

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
        TestImage expected;
        Tificc(window->view,
               std::string(TIFICC_INTENTS[intent]) + " '-i" + SYSTEM_ADOBE + "' '-o" + SYSTEM_WIDE +
                   "'",
               folder, &expected);
        ExpectImagesNear(expected, window->screen, 0);
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
        TestImage expected;
        // A picture without a profile is taken as the engine's own sRGB.
        std::string in = c.picture.empty() ? "*sRGB" : c.picture;
        Tificc(window->view, "-t0 '-i" + in + "' '-o" + c.shownIn + "'", folder, &expected);
        ExpectImagesNear(expected, window->screen, 0);
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
        TestImage widened;
        ASSERT_EQ(ImageAlloc(&widened, TYPE_COLOR24, 64, 4, 100.0), ERROR_NONE);
        for (int y = 0; y < 4; y++)
            for (int x = 0; x < 64; x++)
                for (int c = 0; c < 3; c++)
                    PictureSetSample(&widened, x, y, c, PictureSample(window->view, x, y, 0));
        TestImage expected;
        Tificc(widened, "-t0 '-o" + SYSTEM_WIDE + "'", folder, &expected);
        ExpectImagesNear(expected, window->screen, 0);
        for (int x = 0; x < 64; x++) {
            int b = PictureSample(window->screen, x, 0, 0);
            int g = PictureSample(window->screen, x, 0, 1);
            int r = PictureSample(window->screen, x, 0, 2);
            EXPECT_LE(Abs(r - g), 1);
            EXPECT_LE(Abs(b - g), 1);
        }
    }
}
TEST_F(ProfileTransformFixture, DisplayUpdatesOnlyItsRectangleAndRemakesAScreenOfAnotherSize)
{
    Settings("", SYSTEM_WIDE);
    ImageWindow *window = Window(TYPE_COLOR24, 5, 5);
    ViewMake(window, TYPE_COLOR24, 20, 10, 3);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 19, 9), ERROR_NONE);
    void *transform = window->displayTransform;
    TestImage whole;
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
    TestImage expected;
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
    DisplayColorSettingsLoad();
    fill(window);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 3, 0), ERROR_NONE);
    EXPECT_EQ(ScreenPixel(window, 0), alarm);
    EXPECT_EQ(ScreenPixel(window, 1), alarm);
    EXPECT_NE(ScreenPixel(window, 2), alarm);
    EXPECT_NE(ScreenPixel(window, 3), alarm);

    // Without a proofing profile there is nothing to be out of: no alarm.
    StrCopyLimit("", CurrentColorSettings.proofPath, PATH_LENGTH - 1);
    DisplayColorSettingsLoad();
    fill(window);
    ASSERT_EQ(UpdateDisplayImage(window, 0, 0, 3, 0), ERROR_NONE);
    EXPECT_NE(ScreenPixel(window, 0), alarm);
    EXPECT_NE(ScreenPixel(window, 1), alarm);
}
TEST_F(ProfileTransformFixture, ConvertForDisplayLooksLikeTheWindow)
{
    TestImage image;
    PictureMake(&image, TYPE_COLOR24, 16, 8, 4);
    TestImage original;
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

    TestImage gray;
    PictureMake(&gray, TYPE_GRAY8, 4, 4, 1);
    EXPECT_EQ(ConvertForDisplay(&gray, nullptr, 0), ERROR_ILLEGAL_TYPE);
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
        ASSERT_EQ(RenderView(&window->picture.image, window, 0, 0, 24, 16, 0), ERROR_NONE);
        TestImage oldView;
        ASSERT_EQ(ImageDuplicate(&window->view, &oldView), ERROR_NONE);

        // The picture changes everywhere, the screen is marked, and a part is rendered.
        for (int y = 0; y < window->picture.image.height; y++)
            for (int i = 0; i < window->picture.image.rowBytes; i++)
                window->picture.image.rows[y][i] ^= 0xff;
        for (int y = 0; y < window->screen.height; y++)
            memset(window->screen.rows[y], 0x77, (size_t)window->screen.rowBytes);
        ASSERT_EQ(RenderView(&window->picture.image, window, 5, 4, 13, 10, 0), ERROR_NONE);
        TestImage partial;
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
    }
}
