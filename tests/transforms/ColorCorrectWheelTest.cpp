// The color wheel of Color Correct without a screen: its geometry worked by hand, its
// picture, the mouse rules on the seven points of a reset, and adding, removing and zooming
// at their limits.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/TestSupport.h"
#include "transforms/ColorCorrectWheel.h"

// The wheel's corner in its control.
static const int LEFT = WHEEL_FRAME, TOP = WHEEL_FRAME;

TEST(ColorCorrectWheel, ColorsLandWhereTheSqueezedChromaPutsThem)
{
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    struct Case {
        uint8_t rgb[3];
        int screenX, screenY;
    } cases[] = {
        // Red: chroma (0, 255); sx = 255 x 128 / 255 + 4, sy = 0 + 4.
        {{255, 0, 0}, 132, 4},
        {{255, 255, 255}, 132, 132},
        // Green: chroma (255, -127), X = (255 x 3547 + 2048) >> 12 = 221;
        // sx = 476 x 128 / 255 + 4 = 242, sy = 382 x 128 / 255 + 4 = 195.
        {{0, 255, 0}, 242, 195},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message()
                     << (int)c.rgb[0] << "," << (int)c.rgb[1] << "," << (int)c.rgb[2]);
        int x, y, screenX, screenY;
        WheelOfColor(&settings, c.rgb, &x, &y);
        WheelToScreen(x, y, LEFT, TOP, &screenX, &screenY);
        EXPECT_EQ(screenX, c.screenX);
        EXPECT_EQ(screenY, c.screenY);
    }
    // Back from the screen: (132, 68) is X = (128 x 255 >> 7) - 255 = 0, Y = 255 - (64 x 255
    // >> 7) = 128, the color (255, 127, 127); the wheel's corner lies outside the hexagon.
    int x, y;
    uint8_t rgb[3];
    WheelFromScreen(132, 68, LEFT, TOP, &x, &y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 128);
    EXPECT_EQ(WheelToColor(&settings, x, y, rgb), 0);
    EXPECT_EQ(rgb[0], 255);
    EXPECT_EQ(rgb[1], 127);
    EXPECT_EQ(rgb[2], 127);
    EXPECT_GT(WheelToColor(&settings, -255, 255, rgb), 0);
}

TEST(ColorCorrectWheel, PictureIsGrayOutsideTheHexagonAndWhiteInItsMiddle)
{
    TestStart();
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    Image wheel = {}, coverage = {};
    ASSERT_EQ(WheelBuild(&settings, &wheel, &coverage), ERROR_NONE);
    // Column and row 128 are X = Y = 128 x 510 / 256 - 255 = 0: white. The corner is gray.
    const uint8_t *middle = wheel.rows[128] + 3 * 128;
    EXPECT_EQ(middle[0] + middle[1] + middle[2], 3 * 255);
    EXPECT_EQ(coverage.rows[128][128], 255);
    EXPECT_EQ(wheel.rows[0][0], 128);
    EXPECT_EQ(coverage.rows[0][0], 0);
    // The top row (row 256, Y = 255) is red in the middle: blue first in memory.
    EXPECT_EQ(wheel.rows[256][3 * 128 + 2], 255);
    EXPECT_EQ(wheel.rows[256][3 * 128], 0);
    ImageFree(&wheel);
    ImageFree(&coverage);
}

TEST(ColorCorrectWheel, MouseSelectsDragsAddsAndRemovesPoints)
{
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    int drag = 0;
    // The target end of red (point 1) is grabbed at (133, 6), within 4 pixels of (132, 4).
    EXPECT_EQ(WheelMouse(&settings, &drag, WHEEL_PRESS, 133, 6, 0, LEFT, TOP),
              WHEEL_REDRAW | WHEEL_SELECTION);
    EXPECT_EQ(settings.selectedPoint, 1);
    EXPECT_EQ(drag, 2);
    // Dragged to (132, 68): the target becomes (255, 127, 127); only a release finishes.
    EXPECT_EQ(WheelMouse(&settings, &drag, WHEEL_MOVE, 132, 68, 0, LEFT, TOP),
              WHEEL_REDRAW | WHEEL_STALE);
    const uint8_t pink[3] = {255, 127, 127}, red[3] = {255, 0, 0};
    EXPECT_EQ(memcmp(settings.targetColor[1], pink, 3), 0);
    EXPECT_EQ(memcmp(settings.sourceColor[1], red, 3), 0);
    EXPECT_EQ(WheelMouse(&settings, &drag, WHEEL_RELEASE, 132, 68, 0, LEFT, TOP), WHEEL_FINISHED);
    EXPECT_EQ(drag, 0);

    // Now red's source end (132, 4) drags the source; the line between, at (133, 35), only
    // selects. A press on the gray corner selects nothing.
    struct Case {
        int x, y, keys;
        int selected, drag, bits;
    } presses[] = {
        {132, 4, 0, 1, -2, WHEEL_REDRAW},
        {133, 35, 0, 1, 0, WHEEL_REDRAW},
        {6, 6, 0, -1, 0, WHEEL_REDRAW | WHEEL_SELECTION},
    };
    for (const Case &c : presses) {
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y);
        EXPECT_EQ(WheelMouse(&settings, &drag, WHEEL_PRESS, c.x, c.y, c.keys, LEFT, TOP), c.bits);
        EXPECT_EQ(settings.selectedPoint, c.selected);
        EXPECT_EQ(drag, c.drag);
        WheelMouse(&settings, &drag, WHEEL_RELEASE, c.x, c.y, 0, LEFT, TOP);
    }

    // Shift adds a point at (132, 100), the color of Y = 64 (255, 191, 191), selects it and
    // holds its target end.
    int bits = WheelMouse(&settings, &drag, WHEEL_PRESS, 132, 100, WHEEL_KEY_SHIFT, LEFT, TOP);
    EXPECT_TRUE(bits & WHEEL_FINISHED);
    ASSERT_EQ(settings.pointCount, 8);
    const uint8_t added[3] = {255, 191, 191};
    EXPECT_EQ(memcmp(settings.sourceColor[7], added, 3), 0);
    EXPECT_EQ(settings.selectedPoint, 7);
    EXPECT_EQ(drag, 8);
    WheelMouse(&settings, &drag, WHEEL_RELEASE, 132, 100, 0, LEFT, TOP);
    // Ctrl removes what it hits: red's target end at (132, 68); later points move down.
    EXPECT_TRUE(WheelMouse(&settings, &drag, WHEEL_PRESS, 132, 68, WHEEL_KEY_CONTROL, LEFT, TOP) &
                WHEEL_STALE);
    EXPECT_EQ(settings.pointCount, 7);
    EXPECT_EQ(settings.selectedPoint, -1);
    EXPECT_EQ(memcmp(settings.sourceColor[6], added, 3), 0);
}

TEST(ColorCorrectWheel, AddingAndRemovingStopAtTheirLimits)
{
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    // A point's color is scaled to a largest channel of 255; black becomes white.
    const uint8_t dark[3] = {100, 50, 0}, black[3] = {0, 0, 0};
    ASSERT_TRUE(ColorCorrectPointAdd(&settings, dark));
    EXPECT_EQ(settings.sourceColor[7][0], 255);
    EXPECT_EQ(settings.sourceColor[7][1], 127); // 50 x 255 / 100 = 127.5
    ASSERT_TRUE(ColorCorrectPointAdd(&settings, black));
    EXPECT_EQ(settings.targetColor[8][2], 255);
    while (settings.pointCount < COLOR_CORRECT_POINTS_MAX)
        ASSERT_TRUE(ColorCorrectPointAdd(&settings, dark));
    EXPECT_FALSE(ColorCorrectPointAdd(&settings, dark));
    int drag = 0;
    EXPECT_EQ(WheelMouse(&settings, &drag, WHEEL_PRESS, 6, 6, WHEEL_KEY_SHIFT, LEFT, TOP) &
                  WHEEL_BEEP,
              WHEEL_BEEP);
    settings.pointCount = 0;
    EXPECT_FALSE(ColorCorrectPointRemove(&settings, 0));
}

TEST(ColorCorrectWheel, ZoomStepsFromOneToFourAroundTheSelectedPointAndScrolls)
{
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    EXPECT_FALSE(WheelZoom(&settings, 0));
    settings.selectedPoint = 3; // green: chroma x 255 squeezes to 221, y -127
    ASSERT_TRUE(WheelZoom(&settings, 1));
    EXPECT_EQ(settings.wheelZoom, 2);
    EXPECT_EQ(settings.wheelCenterX, 221);
    EXPECT_EQ(settings.wheelCenterY, -127);
    // Green now stands in the middle of the wheel.
    int x, y;
    WheelOfColor(&settings, settings.sourceColor[3], &x, &y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    // The bars at zoom 2 step 32 / 2 a line and 128 / 2 a page; the vertical one runs over
    // -wheelCenterY, and both stop at 255.
    EXPECT_TRUE(WheelScroll(&settings, 0, WHEEL_SCROLL_LINE_ON, 0));
    EXPECT_EQ(settings.wheelCenterX, 237);
    EXPECT_TRUE(WheelScroll(&settings, 1, WHEEL_SCROLL_PAGE_ON, 0));
    EXPECT_EQ(settings.wheelCenterY, -191);
    EXPECT_TRUE(WheelScroll(&settings, 0, WHEEL_SCROLL_PAGE_ON, 0));
    EXPECT_EQ(settings.wheelCenterX, 255);
    EXPECT_FALSE(WheelScroll(&settings, 0, WHEEL_SCROLL_END, 0));
    EXPECT_TRUE(WheelScroll(&settings, 1, WHEEL_SCROLL_TO, -20));
    EXPECT_EQ(settings.wheelCenterY, 20);
    ASSERT_TRUE(WheelZoom(&settings, 1));
    ASSERT_TRUE(WheelZoom(&settings, 1));
    EXPECT_FALSE(WheelZoom(&settings, 1));
    for (int i = 0; i < 3; i++)
        ASSERT_TRUE(WheelZoom(&settings, 0));
    EXPECT_EQ(settings.wheelZoom, 1);
    EXPECT_EQ(settings.wheelCenterX, 0);
    EXPECT_EQ(settings.wheelCenterY, 0);
}

TEST(ColorCorrectWheel, HueTextNamesTheColorUnderThePointer)
{
    TestStart();
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    struct Case {
        int x, y;
        const char *text;
    } cases[] = {
        {132, 132, "Hue: 0.0%, Sat: 0.0%"}, // white
        // Red: pure red's hue is the top of the circle, 4096.
        {132, 4, "Hue: 100.0%, Sat: 100.0%"},
        // Green's pixel reads back as X = 219, Y = -125: x 253, half 126, the color
        // (3, 255, 2), a third of the circle and (255 - 2) / 255 saturated.
        {242, 195, "Hue: 33.3%, Sat: 99.2%"},
        {6, 6, ""}, // outside the hexagon
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y);
        char text[64];
        WheelHueText(&settings, c.x, c.y, LEFT, TOP, text, (int)sizeof text);
        EXPECT_STREQ(text, c.text);
    }
}
