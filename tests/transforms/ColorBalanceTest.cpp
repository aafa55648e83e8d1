// Color Balance: its tables worked by hand at 8 and 16 bits, with and without the midtone,
// the Apply with an amount, the points it finds, the edits that keep the remove colors in
// order, and its ".cb" file. What every transformation does is tested in AllTransformsTest.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "core/SettingsText.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/ColorBalance.h"
#include "transforms/ColorBalanceGraph.h"

static void SetColor(uint8_t *color, int r, int g, int b)
{
    color[BALANCE_RED] = (uint8_t)r;
    color[BALANCE_GREEN] = (uint8_t)g;
    color[BALANCE_BLUE] = (uint8_t)b;
}

// Shadow (10, 20, 30) to black and highlight (200, 210, 220) to white, no midtone.
static ColorBalanceSettings BalanceWithoutMidtone(void)
{
    ColorBalanceSettings settings;
    ColorBalanceSettingsDefault(&settings);
    SetColor(settings.shadowRemove, 10, 20, 30);
    SetColor(settings.highlightRemove, 200, 210, 220);
    return settings;
}

// Shadow and highlight at the ends, midtone 100 moved to (120, 110, 90).
static ColorBalanceSettings BalanceWithMidtone(void)
{
    ColorBalanceSettings settings;
    ColorBalanceSettingsDefault(&settings);
    settings.midtoneEnabled = 1;
    SetColor(settings.midtoneRemove, 100, 100, 100);
    SetColor(settings.midtoneAdd, 120, 110, 90);
    return settings;
}

TEST(ColorBalance, EightBitTablesFollowTheLinesByHand)
{
    struct Case {
        const char *what;
        ColorBalanceSettings settings;
        int channel, v, expected;
    } cases[] = {
        // (v - 10) * 255 / 190: 90 * 255 / 190 = 120.8 truncates to 120.
        {"red middle", BalanceWithoutMidtone(), BALANCE_RED, 100, 120},
        // 80 * 255 / 190 = 107.4; 70 * 255 / 190 = 93.9.
        {"green middle", BalanceWithoutMidtone(), BALANCE_GREEN, 100, 107},
        {"blue middle", BalanceWithoutMidtone(), BALANCE_BLUE, 100, 93},
        {"red at the shadow", BalanceWithoutMidtone(), BALANCE_RED, 10, 0},
        {"red at the highlight", BalanceWithoutMidtone(), BALANCE_RED, 200, 255},
        // The line goes on below the shadow and clamps: -5 * 255 / 190 = -6.7.
        {"red below", BalanceWithoutMidtone(), BALANCE_RED, 5, 0},
        {"red above", BalanceWithoutMidtone(), BALANCE_RED, 250, 255},
        // Below the midtone 50 * 120 / 100 = 60; at it, its add value.
        {"mid red below", BalanceWithMidtone(), BALANCE_RED, 50, 60},
        {"mid red at", BalanceWithMidtone(), BALANCE_RED, 100, 120},
        // Above it 120 + 100 * 135 / 155 = 120 + 87.1.
        {"mid red above", BalanceWithMidtone(), BALANCE_RED, 200, 207},
        // Blue: 50 * 90 / 100 = 45; 90 + 100 * 165 / 155 = 90 + 106.5.
        {"mid blue below", BalanceWithMidtone(), BALANCE_BLUE, 50, 45},
        {"mid blue above", BalanceWithMidtone(), BALANCE_BLUE, 200, 196},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.what);
        uint8_t table[256];
        ColorBalanceTable8(&test.settings, test.channel, table);
        EXPECT_EQ(table[test.v], test.expected);
    }
}

TEST(ColorBalance, DivisionTruncatesTowardZeroOnAFallingLine)
{
    // Shadow 0 to 100 and highlight 255 to 0: 100 + v * -100 / 255. At v = 3 the quotient
    // -300 / 255 = -1.18 truncates to -1 (99), where rounding down would give 98.
    ColorBalanceSettings settings;
    ColorBalanceSettingsDefault(&settings);
    SetColor(settings.shadowAdd, 100, 100, 100);
    SetColor(settings.highlightAdd, 0, 0, 0);
    uint8_t table[256];
    ColorBalanceTable8(&settings, BALANCE_GREEN, table);
    EXPECT_EQ(table[1], 100); // -100 / 255 truncates to 0
    EXPECT_EQ(table[3], 99);
    EXPECT_EQ(table[255], 0);
}

TEST(ColorBalance, CollapsedSegmentsFallBackToTheOuterLineOrIdentity)
{
    // A midtone on the shadow value (50): below it the shadow-highlight line serves,
    // 100 + (20 - 50) * 155 / 205 = 100 - 22.7, truncated toward zero to 78.
    ColorBalanceSettings settings = BalanceWithMidtone();
    SetColor(settings.shadowRemove, 50, 0, 0);
    SetColor(settings.shadowAdd, 100, 0, 0);
    SetColor(settings.midtoneRemove, 50, 100, 100);
    uint8_t table[256];
    ColorBalanceTable8(&settings, BALANCE_RED, table);
    EXPECT_EQ(table[20], 78);
    EXPECT_EQ(table[50], 120); // the exact hit
    // Highlight on the shadow value without a midtone: the channel stays as it is.
    settings.midtoneEnabled = 0;
    SetColor(settings.highlightRemove, 50, 255, 255);
    ColorBalanceTable8(&settings, BALANCE_RED, table);
    for (int v : {0, 77, 255})
        EXPECT_EQ(table[v], v);
}

TEST(ColorBalance, SixteenBitTablesWidenThePointsAndRound)
{
    TestStart(); // the depth tables
    // Highlight 200 (51400 wide) to 255 (65535): v * 65535 / 51400.
    ColorBalanceSettings settings;
    ColorBalanceSettingsDefault(&settings);
    SetColor(settings.highlightRemove, 200, 200, 200);
    std::vector<uint16_t> table(65536);
    ColorBalanceTable16(&settings, BALANCE_RED, table.data());
    EXPECT_EQ(table[25700], 32768); // 32767.5 rounds up
    EXPECT_EQ(table[1], 1);         // 1.27
    EXPECT_EQ(table[51400], 65535);
    EXPECT_EQ(table[60000], 65535);
    // The midtone 100 (25700) to 120 (30840): 12850 is halfway below it, 15420 exactly.
    settings = BalanceWithMidtone();
    ColorBalanceTable16(&settings, BALANCE_RED, table.data());
    EXPECT_EQ(table[25700], 30840);
    EXPECT_EQ(table[12850], 15420);
    // Above: 30840 + 12850 * 34695 / 39835 = 30840 + 11191.9.
    EXPECT_EQ(table[38550], 42032);
}

TEST(ColorBalance, ApplyMixesByTheAmountAtBothDepths)
{
    TestStart();
    for (int type : {TYPE_COLOR24, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        int scale = type == TYPE_COLOR48 ? 257 : 1;
        TestImage source, result;
        ASSERT_EQ(ImageAlloc(&source, type, 2, 1, 72.0), ERROR_NONE);
        // Pixel 0 is (100, 100, 100); memory holds blue first.
        for (int c = 0; c < 3; c++)
            PictureSetSample(&source, 0, 0, c, 100 * scale);
        for (int c = 0; c < 3; c++)
            PictureSetSample(&source, 1, 0, c, 200 * scale);
        ColorBalanceSettings settings = BalanceWithoutMidtone();
        ASSERT_EQ(ApplyRun(ColorBalanceCompute, &settings, source, &result), ERROR_NONE);
        ASSERT_EQ(result.type, type);
        if (type == TYPE_COLOR24) {
            EXPECT_EQ(PictureSample(result, 0, 0, 2), 120); // red
            EXPECT_EQ(PictureSample(result, 0, 0, 1), 107);
            EXPECT_EQ(PictureSample(result, 0, 0, 0), 93);
        } else {
            // Red: (25700 - 2570) * 65535 / (51400 - 2570) = 31042.9.
            EXPECT_EQ(PictureSample(result, 0, 0, 2), 31043);
        }
        // Half the amount, position 512, is 128 of 255: 100 + (20 * 128 + 127) / 255 = 110.
        settings.amount.low = 512;
        ASSERT_EQ(ApplyRun(ColorBalanceCompute, &settings, source, &result), ERROR_NONE);
        if (type == TYPE_COLOR24)
            EXPECT_EQ(PictureSample(result, 0, 0, 2), 110);
        else // 25700 + 5343 * 128 / 255 = 25700 + 2681.98, truncated
            EXPECT_EQ(PictureSample(result, 0, 0, 2), 28381);
    }
}

TEST(ColorBalance, IdentityTablesChangeNothingEvenAtSixteenBits)
{
    // Remove equal to add at both ends is the identity; so is a 16-bit picture whose wide
    // tables would be off by rounding but whose narrow ones are not.
    ColorBalanceSettings settings;
    ColorBalanceSettingsDefault(&settings);
    SetColor(settings.highlightRemove, 240, 250, 230);
    memcpy(settings.highlightAdd, settings.highlightRemove, 3);
    SetColor(settings.shadowRemove, 5, 6, 7);
    memcpy(settings.shadowAdd, settings.shadowRemove, 3);
    TestImage source;
    ASSERT_EQ(ImageAlloc(&source, TYPE_COLOR48, 1, 1, 72.0), ERROR_NONE);
    EXPECT_EQ(ColorBalanceChangesNothing(&settings, &source, 1), 1);
    settings.highlightAdd[0] = 241;
    EXPECT_EQ(ColorBalanceChangesNothing(&settings, &source, 1), 0);
}

TEST(ColorBalance, FindsTheMeanColorsOfTheBrightestAndDarkestPixels)
{
    TestStart();
    // 100 x 100 pixels: N = 10000 and Round(N * 0.0001) = 1, so each walk stops at the
    // second pixel it takes.
    TestImage source;
    ASSERT_EQ(ImageAlloc(&source, TYPE_COLOR24, 100, 100, 72.0), ERROR_NONE);
    for (int y = 0; y < 100; y++)
        for (int x = 0; x < 100; x++)
            for (int c = 0; c < 3; c++)
                PictureSetSample(&source, x, y, c, 100);
    // (250, 240, 230) in bin 240 and (200, 220, 240) in bin 220; blue first in memory.
    const int bright[2][3] = {{230, 240, 250}, {240, 220, 200}};
    const int dark[2][3] = {{2, 4, 6}, {30, 20, 10}};
    for (int i = 0; i < 2; i++)
        for (int c = 0; c < 3; c++) {
            PictureSetSample(&source, i, 7, c, bright[i][c]);
            PictureSetSample(&source, 50 + i, 9, c, dark[i][c]);
        }
    ColorBalanceSettings settings;
    ColorBalanceSettingsDefault(&settings);
    ASSERT_EQ(
        ColorBalanceFindPoints(&source, &settings, BALANCE_POINT_FRACTION, BALANCE_POINT_FRACTION),
        ERROR_NONE);
    // White: the mean of both bright pixels; black: of the darkest two, (6, 4, 2) and
    // (10, 20, 30).
    EXPECT_EQ(settings.autoWhite[BALANCE_RED], 225);
    EXPECT_EQ(settings.autoWhite[BALANCE_GREEN], 230);
    EXPECT_EQ(settings.autoWhite[BALANCE_BLUE], 235);
    EXPECT_EQ(settings.autoBlack[BALANCE_RED], 8);
    EXPECT_EQ(settings.autoBlack[BALANCE_GREEN], 12);
    EXPECT_EQ(settings.autoBlack[BALANCE_BLUE], 16);

    // One flat color: both walks stop at its bin, and auto at both ends is the identity.
    for (int y = 0; y < 100; y++)
        for (int x = 0; x < 100; x++)
            for (int c = 0; c < 3; c++)
                PictureSetSample(&source, x, y, c, 60 + 10 * c);
    ASSERT_EQ(
        ColorBalanceFindPoints(&source, &settings, BALANCE_POINT_FRACTION, BALANCE_POINT_FRACTION),
        ERROR_NONE);
    EXPECT_EQ(memcmp(settings.autoWhite, settings.autoBlack, 3), 0);
    EXPECT_EQ(settings.autoWhite[BALANCE_RED], 80);
    ColorBalanceSetHighlightMode(&settings, BALANCE_AUTO);
    ColorBalanceSetShadowMode(&settings, BALANCE_AUTO);
    // Each channel's shadow and highlight coincide, so the line is the identity.
    uint8_t table[256];
    ColorBalanceTable8(&settings, BALANCE_RED, table);
    EXPECT_EQ(table[200], 200);
}

TEST(ColorBalance, EditsKeepTheRemoveColorsInOrder)
{
    ColorBalanceSettings settings = BalanceWithMidtone();
    SetColor(settings.shadowRemove, 10, 10, 10);
    SetColor(settings.highlightRemove, 200, 200, 200);
    uint8_t color[3];
    // A highlight at or below the midtone stops one above it; the rest is kept.
    SetColor(color, 100, 50, 230);
    ColorBalanceSetHighlightRemove(&settings, color);
    EXPECT_EQ(settings.highlightRemove[BALANCE_RED], 101);
    EXPECT_EQ(settings.highlightRemove[BALANCE_GREEN], 101);
    EXPECT_EQ(settings.highlightRemove[BALANCE_BLUE], 230);
    EXPECT_EQ(settings.highlightMode, BALANCE_CUSTOM);
    // A shadow at or above the highlight, then the midtone, stops below it.
    SetColor(color, 240, 100, 0);
    ColorBalanceSetShadowRemove(&settings, color);
    EXPECT_EQ(settings.shadowRemove[BALANCE_RED], 99);
    EXPECT_EQ(settings.shadowRemove[BALANCE_GREEN], 99);
    EXPECT_EQ(settings.shadowRemove[BALANCE_BLUE], 0);
    // A midtone between them, and its add color the neutral gray of what was kept.
    SetColor(color, 150, 100, 20);
    ColorBalanceSetMidtoneRemove(&settings, color);
    EXPECT_EQ(settings.midtoneRemove[BALANCE_RED], 100); // below the highlight's 101
    EXPECT_EQ(settings.midtoneRemove[BALANCE_GREEN], 100);
    EXPECT_EQ(settings.midtoneRemove[BALANCE_BLUE], 20);
    // Luminance(100, 100, 20) = (30600 + 60100 + 2340) >> 10 = 90.
    EXPECT_EQ(settings.midtoneAdd[BALANCE_RED], 90);
    EXPECT_EQ(settings.midtoneAdd[BALANCE_BLUE], 90);
    // Midtone none parks the pair halfway along the line: (99 + 101) / 2 = 100.
    ColorBalanceSetMidtoneMode(&settings, BALANCE_NONE);
    EXPECT_EQ(settings.midtoneEnabled, 0);
    EXPECT_EQ(settings.midtoneRemove[BALANCE_RED], 100);
    // A probe of the shadow: remove the color, add its gray. Luminance(30, 60, 90) = 54.
    settings.probeTarget = PROBE_SHADOW;
    SetColor(color, 30, 60, 90);
    ColorBalanceProbe(&settings, color);
    EXPECT_EQ(settings.shadowRemove[BALANCE_BLUE], 90);
    EXPECT_EQ(settings.shadowAdd[BALANCE_GREEN], 54);
}

class ColorBalanceFile : public ::testing::Test {
  protected:
    std::string folder;
    void SetUp() override
    {
        TestStart();
        folder = TestCaseFolder();
    }
    ErrorCode Load(const std::string &text, ColorBalanceSettings *settings)
    {
        std::string path = folder + "/case.cb";
        TestWriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
        return SettingsFileLoad(path.c_str(), ColorBalanceFileRead, settings);
    }
};

TEST_F(ColorBalanceFile, RoundTripsEveryValueAndItsModes)
{
    ColorBalanceSettings written = BalanceWithMidtone();
    SetColor(written.highlightAdd, 250, 251, 252);
    SetColor(written.shadowAdd, 3, 2, 1);
    std::string path = folder + "/round.cb";
    ASSERT_EQ(SettingsFileSave(path.c_str(), ColorBalanceFileWrite, &written), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "ColorBalance 1.0\r\nwhite 255 255 255 250 251 252\r\n"
              "neutral 1 100 100 100 120 110 90\r\nblack 0 0 0 3 2 1\r\nend\r\n");
    ColorBalanceSettings read;
    ColorBalanceSettingsDefault(&read);
    ASSERT_EQ(SettingsFileLoad(path.c_str(), ColorBalanceFileRead, &read), ERROR_NONE);
    EXPECT_EQ(memcmp(read.highlightRemove, written.highlightRemove, 3), 0);
    EXPECT_EQ(memcmp(read.highlightAdd, written.highlightAdd, 3), 0);
    EXPECT_EQ(memcmp(read.shadowAdd, written.shadowAdd, 3), 0);
    EXPECT_EQ(memcmp(read.midtoneRemove, written.midtoneRemove, 3), 0);
    EXPECT_EQ(memcmp(read.midtoneAdd, written.midtoneAdd, 3), 0);
    EXPECT_EQ(read.midtoneEnabled, 1);
    EXPECT_EQ(read.highlightMode, BALANCE_CUSTOM);
    EXPECT_EQ(read.shadowMode, BALANCE_CUSTOM);
    EXPECT_EQ(read.midtoneMode, BALANCE_MIDTONE_CUSTOM);

    // Keys in any order; a midtone that is off keeps its numbers.
    ASSERT_EQ(Load("ColorBalance 1.0\nneutral 0 1 2 3 4 5 6\nend\n", &read), ERROR_NONE);
    EXPECT_EQ(read.midtoneEnabled, 0);
    EXPECT_EQ(read.midtoneMode, BALANCE_NONE);
    EXPECT_EQ(read.midtoneAdd[BALANCE_BLUE], 6);
}

TEST_F(ColorBalanceFile, RefusesDamagedFilesWithItsCode)
{
    const char *const damaged[] = {
        "",
        "colorbalance 1.0\nend\n", // the header is taken with its case
        "ColorBalance 1.1\nend\n",
        "ColorBalance 1.0 extra\nend\n",
        "Curve 1.0\nend\n",
        "ColorBalance 1.0\nwhite 255 255 255 255 255 255\n", // no end
        "ColorBalance 1.0\nwhite 255 255 255 255 255\nend\n",
        "ColorBalance 1.0\nwhite 255 255 256 255 255 255\nend\n",
        "ColorBalance 1.0\nblack -1 0 0 0 0 0\nend\n",
        "ColorBalance 1.0\nneutral 2 1 2 3 4 5 6\nend\n",
        "ColorBalance 1.0\nneutral 1 1 2 3 4 5 x\nend\n",
        "ColorBalance 1.0\ngray 1 2 3\nend\n",
    };
    for (const char *text : damaged) {
        SCOPED_TRACE(text);
        ColorBalanceSettings settings;
        ColorBalanceSettingsDefault(&settings);
        EXPECT_EQ(Load(text, &settings), ERROR_ILLEGAL_COLOR_BALANCE_FILE);
    }
    ColorBalanceSettings settings;
    EXPECT_EQ(SettingsFileLoad((folder + "/missing.cb").c_str(), ColorBalanceFileRead, &settings),
              ERROR_OPEN_FILE);
}

TEST(ColorBalanceGraph, PressGrabsInTestOrderAndDragsWithinTheNeighbours)
{
    ColorBalanceSettings settings;
    ColorBalanceSettingsDefault(&settings);
    SetColor(settings.shadowRemove, 50, 0, 0);
    ColorBalanceGraph graph = {BALANCE_POINT_NONE};
    struct Case {
        const char *what;
        int event, x, y;
        int result; // BALANCE_GRAPH_* bits
        int remove; // the dragged pair's red remove and add levels afterwards, -1: no check
        int add;
    } cases[] = {
        // The highlights coincide at (127, 0): red is first; 4 pixels off still grabs.
        {"miss", BALANCE_MOUSE_PRESS, 60, 60, 0, -1, -1},
        {"grab", BALANCE_MOUSE_PRESS, 123, 4, BALANCE_GRAPH_GRABBED | BALANCE_GRAPH_CHANGED, 255,
         255},
        // x 100 is level 200; y 10 is 255 - 20.
        {"drag", BALANCE_MOUSE_MOVE, 100, 10, BALANCE_GRAPH_CHANGED, 200, 235},
        // Left of the shadow (50) it stops one above; above the top the add clamps to 255.
        {"past the shadow", BALANCE_MOUSE_MOVE, 10, -10, BALANCE_GRAPH_CHANGED, 51, 255},
        // Onto the shadow exactly: the drag tests with <, so it may rest there.
        {"onto the shadow", BALANCE_MOUSE_MOVE, 25, 64, BALANCE_GRAPH_CHANGED, 50, 127},
        {"release", BALANCE_MOUSE_RELEASE, 25, 64, BALANCE_GRAPH_CHANGED | BALANCE_GRAPH_RELEASED,
         50, 127},
        {"moves after", BALANCE_MOUSE_MOVE, 90, 90, 0, 50, 127},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.what);
        EXPECT_EQ(ColorBalanceGraphMouse(&graph, &settings, test.event, test.x, test.y),
                  test.result);
        if (test.remove >= 0) {
            EXPECT_EQ(settings.highlightRemove[BALANCE_RED], test.remove);
            EXPECT_EQ(settings.highlightAdd[BALANCE_RED], test.add);
        }
    }
    EXPECT_EQ(settings.highlightMode, BALANCE_CUSTOM);
    EXPECT_EQ(settings.highlightRemove[BALANCE_GREEN], 255);

    // A midtone is grabbed only while it is on; a shadow stops below it.
    EXPECT_EQ(ColorBalanceGraphHit(&settings, 64, 63), BALANCE_POINT_NONE);
    settings.midtoneEnabled = 1;
    EXPECT_EQ(ColorBalanceGraphHit(&settings, 64, 63), BALANCE_POINT_MIDTONE);
    ColorBalanceGraphDrag(&settings, (int)BALANCE_POINT_SHADOW + BALANCE_GREEN, 100, 127);
    EXPECT_EQ(settings.shadowRemove[BALANCE_GREEN], 127);
    EXPECT_EQ(settings.shadowAdd[BALANCE_GREEN], 1); // 255 - 254
    // The midtone's swatch shows gray while it is off.
    settings.midtoneEnabled = 0;
    EXPECT_EQ(ColorBalanceSwatchColor(&settings, BALANCE_SWATCH_MIDTONE_ADD), 0xC0C0C0u);
}
