// The integer color-space library: the fixed-point tables, each conversion at 8 and 16 bits
// with numbers worked out by hand from the formulas, the round trips over grids of colors,
// and the channel operations of the tone and mask tools.
//
// Notation in the comments: T[] is ToFixed, F[] is FromFixed, and "/" truncates.
#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>

#include "color/ColorSpace.h"
#include "tests/support/TestSupport.h"

static void Start(void)
{
    TestStart();
    ASSERT_EQ(ColorSpaceInitialise(), ERROR_NONE);
}

struct Triple {
    int a, b, c;
};

static bool operator==(const Triple &x, const Triple &y)
{
    return x.a == y.a && x.b == y.b && x.c == y.c;
}

static std::ostream &operator<<(std::ostream &out, const Triple &t)
{
    return out << "(" << t.a << ", " << t.b << ", " << t.c << ")";
}

// One conversion of three channels into three, as a function of its inputs.
template <void (*Convert)(int, int, int, int *, int *, int *)>
static Triple Call(int a, int b, int c)
{
    Triple t;
    Convert(a, b, c, &t.a, &t.b, &t.c);
    return t;
}

static Triple (*const Hsv8)(int, int, int) = Call<RgbToHsv8>;
static Triple (*const Hsv16)(int, int, int) = Call<RgbToHsv16>;
static Triple (*const Hsl8)(int, int, int) = Call<RgbToHsl8>;
static Triple (*const Hsl16)(int, int, int) = Call<RgbToHsl16>;
static Triple (*const RgbFromHsv8)(int, int, int) = Call<HsvToRgb8>;
static Triple (*const RgbFromHsv16)(int, int, int) = Call<HsvToRgb16>;
static Triple (*const RgbFromHsl8)(int, int, int) = Call<HslToRgb8>;
static Triple (*const RgbFromHsl16)(int, int, int) = Call<HslToRgb16>;

// A conversion's input and the result worked out by hand.
struct ConversionCase {
    Triple in;
    Triple expected;
};

static void ExpectConversions(Triple (*convert)(int, int, int), const ConversionCase *cases,
                              int count)
{
    for (int i = 0; i < count; i++) {
        SCOPED_TRACE(testing::Message() << "input " << cases[i].in);
        EXPECT_EQ(convert(cases[i].in.a, cases[i].in.b, cases[i].in.c), cases[i].expected);
    }
}

#define EXPECT_CONVERSIONS(convert, cases)                                                         \
    ExpectConversions(convert, cases, (int)(sizeof(cases) / sizeof(cases[0])))

// Channel values for the 8-bit grids: every third value from 0 to 255, and the values next
// to the ends and the middle, where truncation steps sit.
static int Grid8(int *values)
{
    int n = 0;
    for (int v = 0; v <= 255; v += 3)
        values[n++] = v;
    for (int v : {1, 2, 127, 128, 253, 254})
        values[n++] = v;
    return n;
}

// Channel values for the 16-bit grids: a stride that hits no round number, the ends, and
// the values beside the middle where the HSL formulas change branch.
static int Grid16(int *values)
{
    int n = 0;
    for (int v = 0; v <= 65535; v += 1489)
        values[n++] = v;
    for (int v : {1, 2, 3, 4, 255, 256, 32767, 32768, 65533, 65534, 65535})
        values[n++] = v;
    return n;
}

TEST(ColorSpaceTables, ToFixedAndFromFixedAtTheirSteps)
{
    Start();
    // T[i] = (i << 12) / 255: 4096 / 255 = 16.06, 127 * 4096 / 255 = 2039.97,
    // 128 * 4096 / 255 = 2056.03, 254 * 4096 / 255 = 4079.94.
    EXPECT_EQ(ToFixed[0], 0);
    EXPECT_EQ(ToFixed[1], 16);
    EXPECT_EQ(ToFixed[127], 2039);
    EXPECT_EQ(ToFixed[128], 2056);
    EXPECT_EQ(ToFixed[254], 4079);
    EXPECT_EQ(ToFixed[255], 4096);
    // F[i] = i * 255 >> 12: 16 gives 4080 / 4096 = 0.996, 17 gives 1.06, 2048 gives 127.5,
    // 4095 gives 254.94.
    EXPECT_EQ(FromFixed[0], 0);
    EXPECT_EQ(FromFixed[16], 0);
    EXPECT_EQ(FromFixed[17], 1);
    EXPECT_EQ(FromFixed[2048], 127);
    EXPECT_EQ(FromFixed[4095], 254);
    EXPECT_EQ(FromFixed[4096], 255);
    // Both truncate, so every value but black and white comes back one lower; the round
    // trips below inherit this step.
    EXPECT_EQ(FromFixed[ToFixed[0]], 0);
    EXPECT_EQ(FromFixed[ToFixed[255]], 255);
    for (int i = 1; i < 255; i++)
        ASSERT_EQ(FromFixed[ToFixed[i]], i - 1) << "at " << i;
    for (int i = 1; i <= 4096; i++)
        ASSERT_LE(FromFixed[i - 1], FromFixed[i]) << "at " << i;
}

TEST(RgbToHsv8, PrimariesSecondariesAndGrays)
{
    Start();
    // Channels go through T[] first: 255 is 4096, 128 is 2056.
    const ConversionCase cases[] = {
        // Red: r is the max and g the min, w(b) = 4096, (4096 + 5 * 4096) / 6 = 4096, the top
        // of the range and not 0.
        {{255, 0, 0}, {4096, 4096, 4096}},
        // Green: (w(r) + 4096) / 6 = 8192 / 6 = 1365.
        {{0, 255, 0}, {1365, 4096, 4096}},
        // Blue: (w(g) + 3 * 4096) / 6 = 16384 / 6 = 2730.
        {{0, 0, 255}, {2730, 4096, 4096}},
        // Yellow: r is the max (first test), g is not the min: (4096 - 0) / 6 = 682.
        {{255, 255, 0}, {682, 4096, 4096}},
        // Cyan: g is the max, b is not the min: (3 * 4096 - 0) / 6 = 2048.
        {{0, 255, 255}, {2048, 4096, 4096}},
        // Black and grays: no hue, no saturation, the value through T[].
        {{0, 0, 0}, {0, 0, 0}},
        {{255, 255, 255}, {0, 0, 4096}},
        // The darkest red: T[1] = 16, delta 16, s = 16 * 4096 / 16, w(b) = 4096.
        {{1, 0, 0}, {4096, 4096, 16}},
    };
    EXPECT_CONVERSIONS(Hsv8, cases);
}

TEST(RgbToHsv8, HueOnEachSideOfRedAndInsideTheSixths)
{
    Start();
    const ConversionCase cases[] = {
        // Just past red toward yellow: g = T[1] = 16 is not the min, w(g) = 4080 * 4096 /
        // 4096, (4096 - 4080) / 6 = 2.
        {{255, 1, 0}, {2, 4096, 4096}},
        // Just before red from magenta: g is the min, w(b) = 4080, (4080 + 20480) / 6 = 4093.
        {{255, 0, 1}, {4093, 4096, 4096}},
        // T = 3212, 1606, 803: delta 2409, s = 2409 * 4096 / 3212 = 3072 exactly,
        // w(g) = 1606 * 4096 / 2409 = 2730, (4096 - 2730) / 6 = 227.
        {{200, 100, 50}, {227, 3072, 3212}},
        // Blue the max, r not the min: T = 803, 0, 3212: w(r) = 2409 * 4096 / 3212 = 3072,
        // (5 * 4096 - 3072) / 6 = 2901.
        {{50, 0, 200}, {2901, 4096, 3212}},
    };
    EXPECT_CONVERSIONS(Hsv8, cases);
}

TEST(RgbToHsv16, PrimariesAndTheSameFormulasOnRawChannels)
{
    Start();
    const ConversionCase cases[] = {
        // Red: (65535 + 327675) / 6 = 65535.
        {{65535, 0, 0}, {65535, 65535, 65535}},
        // Green: (65535 + 65535) / 6 = 21845; blue: (65535 + 196605) / 6 = 43690.
        {{0, 65535, 0}, {21845, 65535, 65535}},
        {{0, 0, 65535}, {43690, 65535, 65535}},
        {{0, 0, 0}, {0, 0, 0}},
        // delta 750: s = 750 * 65535 / 1000 = 49151, w(g) = 500 * 65535 / 750 = 43690,
        // (65535 - 43690) / 6 = 3640.
        {{1000, 500, 250}, {3640, 49151, 1000}},
        // delta 4: w(g) = 65535 / 4 = 16383, (65535 - 16383) / 6 = 49152 / 6 = 8192.
        {{4, 3, 0}, {8192, 65535, 4}},
        // Products above 2^31: delta 65534, w(b) = 65534 * 65535 / 65534,
        // (65535 + 327675) / 6; s = 65534 * 65535 / 65535.
        {{65535, 1, 1}, {65535, 65534, 65535}},
    };
    EXPECT_CONVERSIONS(Hsv16, cases);
}

TEST(HsvToRgb8, EachSixthOfTheCircle)
{
    Start();
    const ConversionCase cases[] = {
        // h = 4096: a = 24576, i = 6, which is read as 0; f = 0, so t = p = 0.
        {{4096, 4096, 4096}, {255, 0, 0}},
        // Yellow of RgbToHsv8: a = 4092, i = 0, f = 4092, t = 4096 * (4096 - 4) >> 12 = 4092,
        // F[4092] = 254: yellow loses a step of green.
        {{682, 4096, 4096}, {255, 254, 0}},
        // Green: a = 8190, i = 1, f = 4094, q = 4096 * (4096 - 4094) >> 12 = 2, F[2] = 0.
        {{1365, 4096, 4096}, {0, 255, 0}},
        // i = 2: a = 9000, f = 808, t = 4096 * (4096 - 3288) >> 12 = 808, F[808] = 50.
        {{1500, 4096, 4096}, {0, 255, 50}},
        // i = 3 with half saturation: a = 12288, f = 0, p = 2048, q = 4096, F[2048] = 127.
        {{2048, 2048, 4096}, {127, 255, 255}},
        // i = 4: a = 18000, f = 1616; p = 3000 * 1096 >> 12 = 802;
        // s (4096 - f) >> 12 = 3000 * 2480 >> 12 = 1816, t = 3000 * 2280 >> 12 = 1669;
        // F[1669] = 103, F[802] = 49, F[3000] = 186.
        {{3000, 3000, 3000}, {103, 49, 186}},
        // i = 5: a = 22200, f = 1720, q = 4096 * (4096 - 1720) >> 12 = 2376, F[2376] = 147.
        {{3700, 4096, 4096}, {255, 0, 147}},
        // No value: black whatever the rest; no saturation: a gray of F[v].
        {{2000, 3000, 0}, {0, 0, 0}},
        {{123, 0, 2056}, {127, 127, 127}},
    };
    EXPECT_CONVERSIONS(RgbFromHsv8, cases);
}

TEST(HsvToRgb16, EachSixthOfTheCircleWithoutATable)
{
    Start();
    const ConversionCase cases[] = {
        // h * 6 = 393210: i = 6, read as 0, and f = 0.
        {{65535, 65535, 65535}, {65535, 0, 0}},
        // h * 6 = 65532: i = 0, f = 65532, t = 65535 * (65535 - 3) / 65535.
        {{10922, 65535, 65535}, {65535, 65532, 0}},
        // h * 6 = 131070: i = 2, f = 0, t = 0: green comes back whole.
        {{21845, 65535, 65535}, {0, 65535, 0}},
        // i = 2: h * 6 = 180000, f = 48930; p = 50000 * 25535 / 65535 = 19481;
        // s (65535 - f) / 65535 = 40000 * 16605 / 65535 = 10135,
        // t = 50000 * 55400 / 65535 = 42267.
        {{30000, 40000, 50000}, {19481, 50000, 42267}},
        // i = 5: h * 6 = 360000, f = 32325, q = 65535 - 32325.
        {{60000, 65535, 65535}, {65535, 0, 33210}},
        // i = 0 at the HSV of (1000, 500, 250) with full saturation: f = 21840,
        // t = 1000 * (65535 - 43695) / 65535 = 333.
        {{3640, 65535, 1000}, {1000, 333, 0}},
        {{5000, 6000, 0}, {0, 0, 0}},
    };
    EXPECT_CONVERSIONS(RgbFromHsv16, cases);
}

TEST(RgbToHsl8, SaturationOnEachSideOfTheMiddleAndTheHueOfHsv)
{
    Start();
    const ConversionCase cases[] = {
        // Red: l = 4096 >> 1 = 2048, at most 2048, s = 4096 * 4096 / (4096 + 0).
        {{255, 0, 0}, {4096, 4096, 2048}},
        {{128, 128, 128}, {0, 0, 2056}},
        // T = 3212, 1606, 803: l = 4015 >> 1 = 2007, s = 2409 * 4096 / 4015 = 2457.
        {{200, 100, 50}, {227, 2457, 2007}},
        // Beside the middle: T[143] = 2296, T[112] = 1799, sum 4095, l = 2047:
        // s = 497 * 4096 / 4095 = 497 (the other side's 8192 - 4095 would give 496).
        {{143, 112, 112}, {4096, 497, 2047}},
        // T[144] = 2313, sum 4112, l = 2056: s = 514 * 4096 / (8192 - 4112) = 516
        // (dividing by the sum would give 511).
        {{144, 112, 112}, {4096, 516, 2056}},
        // Light yellow: T = 4096, 4096, 2056, l = 3076, s = 2040 * 4096 / 2040.
        {{255, 255, 128}, {682, 4096, 3076}},
    };
    EXPECT_CONVERSIONS(Hsl8, cases);
}

TEST(RgbToHsl16, HueDividesBy65536AndSaturationChangesSideAt32768)
{
    Start();
    const ConversionCase cases[] = {
        // Red: w(b) = 65535 * 65536 / 65535 = 65536, (65536 + 327675) / 6 = 65535 still;
        // l = 65535 >> 1 = 32767, below 32768, s = 65535 * 65535 / 65535.
        {{65535, 0, 0}, {65535, 65535, 32767}},
        {{65535, 65535, 65535}, {0, 0, 65535}},
        // The asymmetry with RgbToHsv16, which gives hue 8192 here: w(g) = 65536 / 4 =
        // 16384, (65535 - 16384) / 6 = 49151 / 6 = 8191. l = 2, s = 4 * 65535 / 4.
        {{4, 3, 0}, {8191, 65535, 2}},
        // The same step in the sixth where green is the max: RgbToHsv16 gives
        // (196605 - 16383) / 6 = 30037, this gives (196605 - 16384) / 6 = 30036.
        {{0, 4, 3}, {30036, 65535, 2}},
        // Sum 65535, l = 32767: s = 14465 * 65535 / 65535.
        {{40000, 25535, 25535}, {65535, 14465, 32767}},
        // Sum 65536, l = 32768: s = 14464 * 65535 / (131070 - 65536) = 14464 (dividing by
        // the sum would give 14463).
        {{40000, 25536, 25536}, {65535, 14464, 32768}},
        // w(g) = 500 * 65536 / 750 = 43690, (65535 - 43690) / 6 = 3640; l = 1250 >> 1,
        // s = 750 * 65535 / 1250 = 39321.
        {{1000, 500, 250}, {3640, 39321, 625}},
    };
    EXPECT_CONVERSIONS(Hsl16, cases);
    // The Hsv form of the two asymmetric colors, for contrast.
    EXPECT_EQ(Hsv16(4, 3, 0).a, 8192);
    EXPECT_EQ(Hsv16(0, 4, 3).a, 30037);
}

TEST(HslToRgb8, EndsBranchesAndEachSixth)
{
    Start();
    const ConversionCase cases[] = {
        // l = 0 is black and l = 4096 white at once, whatever h and s.
        {{1000, 2000, 0}, {0, 0, 0}},
        {{1000, 2000, 4096}, {255, 255, 255}},
        // Red: m2 = 2048 * 8192 >> 12 = 4096, m1 = 0; i = 6 is read as 0.
        {{4096, 4096, 2048}, {255, 0, 0}},
        // Green: a = 8190, i = 1, f = 4094, d = 4094, m2 - d = 2, F[2] = 0.
        {{1365, 4096, 2048}, {0, 255, 0}},
        // i = 2: a = 9000, f = 808, d = 808, F[808] = 50.
        {{1500, 4096, 2048}, {0, 255, 50}},
        // i = 3 above the middle: m2 = 3072 + 2048 - (3072 * 2048 >> 12) = 3584,
        // m1 = 6144 - 3584 = 2560; F[2560] = 159, F[3584] = 223.
        {{2048, 2048, 3072}, {159, 223, 223}},
        // i = 4: m2 = 1000 * 7096 >> 12 = 1732, m1 = 268, a = 18000, f = 1616,
        // d = 1464 * 1616 >> 12 = 577; F[845] = 52, F[268] = 16, F[1732] = 107.
        {{3000, 3000, 1000}, {52, 16, 107}},
        // i = 5: f = 1720, d = 1720, m2 - d = 2376, F[2376] = 147.
        {{3700, 4096, 2048}, {255, 0, 147}},
        // The middle l = 2048 takes the first form: m2 = 2048 * 8191 >> 12 = 4095, m1 = 1,
        // F[4095] = 254. The second form would give m2 = 4096 and pure red.
        {{0, 4095, 2048}, {254, 0, 0}},
        // Yellow of RgbToHsl8: a = 4092, f = 4092, d = 4092: F[4092] = 254.
        {{682, 4096, 2048}, {255, 254, 0}},
    };
    EXPECT_CONVERSIONS(RgbFromHsl8, cases);
}

TEST(HslToRgb16, EndsBranchesAndTheMiddle)
{
    Start();
    const ConversionCase cases[] = {
        {{1000, 2000, 0}, {0, 0, 0}},
        {{1000, 2000, 65535}, {65535, 65535, 65535}},
        // Red of RgbToHsl16 (l = 32767): m2 = 131070 * 32767 / 65535 = 65534, m1 = 0, so red
        // comes back one step short.
        {{65535, 65535, 32767}, {65534, 0, 0}},
        // Green: h * 6 = 131070, i = 2, f = 0.
        {{21845, 65535, 32767}, {0, 65534, 0}},
        // l = 32768 takes the second form: m2 = 32768 + 65535 - 32768 = 65535, m1 = 1.
        // The first form would give 131070 * 32768 / 65535 = 65536, beyond the range.
        {{0, 65535, 32768}, {65535, 1, 1}},
        // Half saturation either side of the middle: l = 32767 gives
        // m2 = 98303 * 32767 / 65535 = 3221094401 / 65535 = 49150.75, so 49150, m1 = 16384;
        // l = 32768 gives m2 = 65536 - 1073741824 / 65535 = 65536 - 16384 = 49152, m1 = 16384.
        {{0, 32768, 32767}, {49150, 16384, 16384}},
        {{0, 32768, 32768}, {49152, 16384, 16384}},
        // i = 2 above the middle: m2 = 81920 - 1610612736 / 65535 = 81920 - 24576 = 57344,
        // m1 = 40960, h * 6 = 196602, f = 65532, d = 16384 * 65532 / 65535 = 16383.
        {{32767, 32768, 49152}, {40960, 57344, 57343}},
        // Doubling the lightness of (1000, 500, 250): m2 = 104856 * 1250 / 65535 = 2000,
        // m1 = 500, f = 21840, d = 1500 * 21840 / 65535 = 499.
        {{3640, 39321, 1250}, {2000, 999, 500}},
    };
    EXPECT_CONVERSIONS(RgbFromHsl16, cases);
}

// Over an 8-bit grid, through HSV and through HSL, every channel comes back as it was or one
// step lower, never higher: T[] and F[] both truncate, which costs the one step of every
// value but 0 and 255, and the truncations of hue and saturation in the 12-bit domain stay
// inside that step. Through HSV the largest channel is exactly F[T[max]].
TEST(ColorSpaceRoundTrip, EightBitChannelsComeBackAtMostOneStepLower)
{
    Start();
    int values[128];
    int n = Grid8(values);
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                int r = values[i], g = values[j], b = values[k];
                Triple hsv = Hsv8(r, g, b);
                Triple viaHsv = RgbFromHsv8(hsv.a, hsv.b, hsv.c);
                Triple hsl = Hsl8(r, g, b);
                Triple viaHsl = RgbFromHsl8(hsl.a, hsl.b, hsl.c);
                ASSERT_EQ(hsl.a, hsv.a) << Triple{r, g, b};
                for (Triple back : {viaHsv, viaHsl}) {
                    ASSERT_TRUE(back.a <= r && back.a >= r - 1 && back.b <= g && back.b >= g - 1 &&
                                back.c <= b && back.c >= b - 1)
                        << Triple{r, g, b} << " came back as " << back;
                }
                ASSERT_EQ(Max3(viaHsv.a, viaHsv.b, viaHsv.c), FromFixed[ToFixed[Max3(r, g, b)]])
                    << Triple{r, g, b};
            }
}

// Over a 16-bit grid. Through HSV the largest and smallest channels come back exactly: v
// goes out unchanged, and p = v (65535 - s) / 65535 is the old min plus less than one. The
// middle channel carries the hue: h = (6 h's exact value) / 6 drops up to 5 of the 65535 steps
// of a sixth, w's truncation one more, and the back conversion's own truncation one channel
// step, so a channel misses by at most 7, which the grid reaches.
// Through HSL the sum of largest and smallest comes back as 2 l, the sum or one less, the
// largest channel is at most 2 short, and the hue bound of 7 holds as well.
TEST(ColorSpaceRoundTrip, SixteenBitChannelsWithinTheHueStep)
{
    Start();
    int values[128];
    int n = Grid16(values);
    int worstHsv = 0;
    int worstHsl = 0;
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                int r = values[i], g = values[j], b = values[k];
                int max = Max3(r, g, b), min = Min3(r, g, b);
                Triple hsv = Hsv16(r, g, b);
                Triple back = RgbFromHsv16(hsv.a, hsv.b, hsv.c);
                ASSERT_EQ(Max3(back.a, back.b, back.c), max) << Triple{r, g, b};
                ASSERT_EQ(Min3(back.a, back.b, back.c), min) << Triple{r, g, b};
                ASSERT_LE(abs(back.a - r), 7) << Triple{r, g, b} << " as " << back;
                ASSERT_LE(abs(back.b - g), 7) << Triple{r, g, b} << " as " << back;
                ASSERT_LE(abs(back.c - b), 7) << Triple{r, g, b} << " as " << back;
                worstHsv = std::max({worstHsv, abs(back.a - r), abs(back.b - g), abs(back.c - b)});

                Triple hsl = Hsl16(r, g, b);
                back = RgbFromHsl16(hsl.a, hsl.b, hsl.c);
                int sum = Max3(back.a, back.b, back.c) + Min3(back.a, back.b, back.c);
                ASSERT_TRUE(sum == max + min || sum == max + min - 1) << Triple{r, g, b};
                ASSERT_LE(Max3(back.a, back.b, back.c), max) << Triple{r, g, b};
                ASSERT_GE(Max3(back.a, back.b, back.c), max - 2) << Triple{r, g, b};
                ASSERT_LE(abs(back.a - r), 7) << Triple{r, g, b} << " as " << back;
                ASSERT_LE(abs(back.b - g), 7) << Triple{r, g, b} << " as " << back;
                ASSERT_LE(abs(back.c - b), 7) << Triple{r, g, b} << " as " << back;
                worstHsl = std::max({worstHsl, abs(back.a - r), abs(back.b - g), abs(back.c - b)});
                // The two hues differ only by w's divisor, so by at most one step.
                ASSERT_LE(abs(hsl.a - hsv.a), 1) << Triple{r, g, b};
            }
    // The grid reaches the bound in both spaces, so 7 is the tolerance and not a guess.
    EXPECT_EQ(worstHsv, 7);
    EXPECT_EQ(worstHsl, 7);
}

TEST(ChannelMeasures, SaturationsLightnessLuminanceAndValue)
{
    Start();
    // HSV saturation on the channel's range: (max - min) * 255 / max.
    EXPECT_EQ(HsvSaturation8(0, 0, 0), 0);
    EXPECT_EQ(HsvSaturation8(1, 0, 0), 255);
    EXPECT_EQ(HsvSaturation8(200, 100, 50), 191); // 150 * 255 / 200 = 191.25
    EXPECT_EQ(HsvSaturation8(254, 255, 254), 1);
    EXPECT_EQ(HsvSaturation16(0, 0, 0), 0);
    EXPECT_EQ(HsvSaturation16(1000, 500, 250), 49151); // 750 * 65535 / 1000 = 49151.25
    EXPECT_EQ(HsvSaturation16(65534, 65535, 65535), 1);
    EXPECT_EQ(HsvSaturation16(1, 65535, 65535), 65534); // 65534 * 65535 is above 2^31

    // HSL lightness at either depth: (min + max) / 2.
    EXPECT_EQ(HslLightness(200, 100, 50), 125);
    EXPECT_EQ(HslLightness(0, 1, 0), 0);
    EXPECT_EQ(HslLightness(65535, 65535, 65535), 65535);

    // HSL saturation: by the sum below 256, by 510 - sum from 256 on.
    EXPECT_EQ(HslSaturation8(0, 0, 0), 0);
    EXPECT_EQ(HslSaturation8(255, 255, 255), 0);
    EXPECT_EQ(HslSaturation8(255, 1, 1), 255);    // 254 * 255 / (510 - 256)
    EXPECT_EQ(HslSaturation8(200, 100, 50), 153); // 150 * 255 / 250
    EXPECT_EQ(HslSaturation8(155, 100, 100), 55); // sum 255: 55 * 255 / 255
    EXPECT_EQ(HslSaturation8(156, 100, 100), 56); // sum 256: 56 * 255 / 254 = 56.2
    EXPECT_EQ(HslSaturation16(0, 0, 0), 0);
    EXPECT_EQ(HslSaturation16(65535, 65535, 65535), 0);
    EXPECT_EQ(HslSaturation16(65535, 1, 1), 65535);         // 65534 * 65535 / 65534
    EXPECT_EQ(HslSaturation16(40000, 30000, 20000), 21845); // 20000 * 65535 / 60000
    EXPECT_EQ(HslSaturation16(50000, 40000, 30000), 25664); // 20000 * 65535 / 51070

    // Luminance: (306 r + 601 g + 117 b) >> 10, the same at both depths.
    EXPECT_EQ(Luminance(65535, 65535, 65535), 65535);
    EXPECT_EQ(Luminance(255, 0, 0), 76);  // 78030 / 1024 = 76.2
    EXPECT_EQ(Luminance(0, 255, 0), 149); // 153255 / 1024 = 149.7
    EXPECT_EQ(Luminance(0, 0, 255), 29);  // 29835 / 1024 = 29.1

    // Max3 is the HSV value: v of RgbToHsv16 over the 16-bit grid.
    int values[128];
    int n = Grid16(values);
    for (int i = 0; i < n; i += 3)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k += 2)
                ASSERT_EQ(Hsv16(values[i], values[j], values[k]).c,
                          Max3(values[i], values[j], values[k]));
}

static Triple AfterSetValue(Triple rgb, int oldValue, int newValue)
{
    SetValue(&rgb.a, &rgb.b, &rgb.c, oldValue, newValue);
    return rgb;
}

TEST(SetValue, ScalesByNewOverOldAndMakesGrayFromZero)
{
    Start();
    EXPECT_EQ(AfterSetValue({10, 20, 30}, 30, 30), (Triple{10, 20, 30}));
    // An old value of 0 makes a gray of the new value; a new value of 0 makes black.
    EXPECT_EQ(AfterSetValue({0, 0, 0}, 0, 77), (Triple{77, 77, 77}));
    EXPECT_EQ(AfterSetValue({10, 20, 30}, 30, 0), (Triple{0, 0, 0}));
    // 101 * 100 / 200 = 50.5 and 51 * 100 / 200 = 25.5 truncate.
    EXPECT_EQ(AfterSetValue({200, 101, 51}, 200, 100), (Triple{100, 50, 25}));
    EXPECT_EQ(AfterSetValue({100, 50, 0}, 100, 200), (Triple{200, 100, 0}));
    // 16 bits: 65535 * 40000 needs 32 unsigned bits; 32768 * 40000 / 65535 = 20000.3.
    EXPECT_EQ(AfterSetValue({65535, 32768, 1}, 65535, 40000), (Triple{40000, 20000, 0}));
    EXPECT_EQ(AfterSetValue({20000, 10000, 5000}, 20000, 65535), (Triple{65535, 32767, 16383}));
}

// A change made in place to three channels, as a function of the channels it starts from.
template <typename Arg, void (*Change)(int *, int *, int *, Arg)>
static Triple After(Triple rgb, Arg argument)
{
    Change(&rgb.a, &rgb.b, &rgb.c, argument);
    return rgb;
}

static Triple (*const AfterSetLightness8)(Triple, int) = After<int, SetLightness8>;
static Triple (*const AfterSetLightness16)(Triple, int) = After<int, SetLightness16>;
static Triple (*const AfterMapHsv8)(Triple,
                                    const uint8_t *) = After<const uint8_t *, MapHsvSaturation8>;
static Triple (*const AfterMapHsl8)(Triple,
                                    const uint8_t *) = After<const uint8_t *, MapHslSaturation8>;

TEST(SetLightness, KeepsHueAndSaturationAtBothDepths)
{
    Start();
    // (200, 100, 50) is h 227, s 2457 in the 12-bit domain; 128 becomes l = 2056, above the
    // middle: m2 = 2056 + 2457 - (2056 * 2457 >> 12) = 4513 - 1233 = 3280, m1 = 832,
    // a = 1362, i = 0, d = 2448 * 1362 >> 12 = 814; F[3280] = 204, F[1646] = 102,
    // F[832] = 51.
    EXPECT_EQ(AfterSetLightness8({200, 100, 50}, 128), (Triple{204, 102, 51}));
    // A gray of lightness 200: F[T[200]] = F[3212] = 199.
    EXPECT_EQ(AfterSetLightness8({100, 100, 100}, 200), (Triple{199, 199, 199}));
    EXPECT_EQ(AfterSetLightness8({200, 100, 50}, 0), (Triple{0, 0, 0}));
    // (1000, 500, 250) is h 3640, s 39321, l 625 at 16 bits; doubling the lightness gives
    // the HslToRgb16 case above.
    EXPECT_EQ(AfterSetLightness16({1000, 500, 250}, 1250), (Triple{2000, 999, 500}));
    EXPECT_EQ(AfterSetLightness16({1000, 500, 250}, 65535), (Triple{65535, 65535, 65535}));
    EXPECT_EQ(AfterSetLightness16({3000, 3000, 3000}, 1234), (Triple{1234, 1234, 1234}));
    // Setting the lightness a color has leaves it within the round trip's error.
    EXPECT_EQ(AfterSetLightness16({40000, 25536, 25536}, 32768), (Triple{40000, 25536, 25536}));
}

static void TableConstant(uint8_t *table, int value)
{
    for (int i = 0; i < 256; i++)
        table[i] = (uint8_t)value;
}

static void TableIdentity(uint8_t *table)
{
    for (int i = 0; i < 256; i++)
        table[i] = (uint8_t)i;
}

TEST(MapHsvSaturation8, MovesMinAndMidAndKeepsMax)
{
    Start();
    uint8_t table[256];
    // Full saturation: new min = 0; (200, 100, 50) has mid 100, so
    // new mid = 200 - 200 * 100 / 150 = 200 - 133 = 67.
    TableConstant(table, 255);
    EXPECT_EQ(AfterMapHsv8({200, 100, 50}, table), (Triple{200, 67, 0}));
    // The same color in other orders of its channels, so that each takes every rank.
    EXPECT_EQ(AfterMapHsv8({50, 200, 100}, table), (Triple{0, 200, 67}));
    EXPECT_EQ(AfterMapHsv8({100, 50, 200}, table), (Triple{67, 0, 200}));
    // Two channels at the max: the mid equals the max and stays there.
    EXPECT_EQ(AfterMapHsv8({200, 200, 100}, table), (Triple{200, 200, 0}));
    EXPECT_EQ(AfterMapHsv8({100, 200, 200}, table), (Triple{0, 200, 200}));
    // Black is left alone.
    EXPECT_EQ(AfterMapHsv8({0, 0, 0}, table), (Triple{0, 0, 0}));
    // No saturation: new min = 255 * 200 / 255, and the mid follows to the max.
    TableConstant(table, 0);
    EXPECT_EQ(AfterMapHsv8({200, 100, 50}, table), (Triple{200, 200, 200}));
    // s = 150 * 255 / 200 = 191 to 96: new min = 159 * 200 / 255 = 124,
    // new mid = 200 - 76 * 100 / 150 = 150.
    TableIdentity(table);
    table[191] = 96;
    EXPECT_EQ(AfterMapHsv8({200, 100, 50}, table), (Triple{200, 150, 124}));
}

TEST(MapHsvSaturation8, OnGrayOnlyTheChannelRankedMinChanges)
{
    Start();
    uint8_t table[256];
    TableIdentity(table);
    table[0] = 51;
    // All equal: red is ranked max, blue mid and green min. s = 0, table[0] = 51, new min =
    // 204 * 100 / 255 = 80; max equals the old min, so the mid is not touched.
    EXPECT_EQ(AfterMapHsv8({100, 100, 100}, table), (Triple{100, 80, 100}));
    EXPECT_EQ(AfterMapHsv8({255, 255, 255}, table), (Triple{255, 204, 255}));
    // With table[0] = 0, as in the identity, grays stay gray.
    table[0] = 0;
    EXPECT_EQ(AfterMapHsv8({100, 100, 100}, table), (Triple{100, 100, 100}));
}

// With the identity table every 8-bit color comes back exactly: the new min is the old min
// plus less than one before truncation, and then the mid's proportion is 1.
TEST(MapHsvSaturation8, IdentityTableChangesNothing)
{
    Start();
    uint8_t table[256];
    TableIdentity(table);
    int values[128];
    int n = Grid8(values);
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                Triple rgb = {values[i], values[j], values[k]};
                ASSERT_EQ(AfterMapHsv8(rgb, table), rgb);
            }
}

TEST(MapHslSaturation8, KeepsTheSumOfMaxAndMin)
{
    Start();
    uint8_t table[256];
    TableIdentity(table);
    // Sum 150: s = 50 * 255 / 150 = 85, new max = 340 * 150 / 510 = 100, nothing moves.
    EXPECT_EQ(AfterMapHsl8({100, 75, 50}, table), (Triple{100, 75, 50}));
    // Sum 300: s = 100 * 255 / 210 = 121, new max = 121 + 134 * 300 / 510 = 121 + 78 = 199,
    // min = 101, mid = 199 - 98 * 50 / 100 = 150.
    EXPECT_EQ(AfterMapHsl8({200, 150, 100}, table), (Triple{199, 150, 101}));
    // No saturation: a gray of half the sum.
    TableConstant(table, 0);
    EXPECT_EQ(AfterMapHsl8({100, 75, 50}, table), (Triple{75, 75, 75}));
    // Full saturation above the middle: new max = 255, min = 45,
    // mid = 255 - 210 * 50 / 100 = 150; in other orders of the channels too.
    TableConstant(table, 255);
    EXPECT_EQ(AfterMapHsl8({200, 150, 100}, table), (Triple{255, 150, 45}));
    EXPECT_EQ(AfterMapHsl8({150, 100, 200}, table), (Triple{150, 45, 255}));
    // Below the middle: new max = 510 * 150 / 510 = 150, min 0, mid = 150 - 150 * 25 / 50.
    EXPECT_EQ(AfterMapHsl8({75, 100, 50}, table), (Triple{75, 150, 0}));
    // Black and white are left alone.
    EXPECT_EQ(AfterMapHsl8({0, 0, 0}, table), (Triple{0, 0, 0}));
    EXPECT_EQ(AfterMapHsl8({255, 255, 255}, table), (Triple{255, 255, 255}));
    // On gray, sum 200, table[0] = 51: new max = 306 * 200 / 510 = 120 to red, new min 80 to
    // green, and blue, ranked mid, stays.
    TableIdentity(table);
    table[0] = 51;
    EXPECT_EQ(AfterMapHsl8({100, 100, 100}, table), (Triple{120, 80, 100}));

    // Whatever the table, max + min is kept (the largest and smallest of the result are the
    // new max and min, so the mid stays between them), and with the identity table nothing
    // moves by more than one step.
    for (int i = 0; i < 256; i++)
        table[i] = (uint8_t)(255 - i);
    uint8_t identity[256];
    TableIdentity(identity);
    int values[128];
    int n = Grid8(values);
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++)
            for (int k = 0; k < n; k++) {
                Triple rgb = {values[i], values[j], values[k]};
                Triple out = AfterMapHsl8(rgb, table);
                int outMax = Max3(out.a, out.b, out.c), outMin = Min3(out.a, out.b, out.c);
                ASSERT_EQ(outMax + outMin, Max3(rgb.a, rgb.b, rgb.c) + Min3(rgb.a, rgb.b, rgb.c))
                    << rgb << " as " << out;
                ASSERT_GE(outMin, 0) << rgb;
                ASSERT_LE(outMax, 255) << rgb;
                Triple same = AfterMapHsl8(rgb, identity);
                ASSERT_LE(abs(same.a - rgb.a), 1) << rgb << " as " << same;
                ASSERT_LE(abs(same.b - rgb.b), 1) << rgb << " as " << same;
                ASSERT_LE(abs(same.c - rgb.c), 1) << rgb << " as " << same;
            }
}

TEST(MapSaturation16, ThroughTheSixteenBitConversions)
{
    Start();
    static uint16_t table[65536];
    for (int i = 0; i < 65536; i++)
        table[i] = 0;
    int r = 1000, g = 500, b = 250;
    MapHsvSaturation16(&r, &g, &b, table);
    EXPECT_EQ((Triple{r, g, b}), (Triple{1000, 1000, 1000})); // a gray of the value
    r = 1000, g = 500, b = 250;
    MapHslSaturation16(&r, &g, &b, table);
    EXPECT_EQ((Triple{r, g, b}), (Triple{625, 625, 625})); // a gray of the lightness
    // Full saturation: HsvToRgb16(3640, 65535, 1000) as above.
    for (int i = 0; i < 65536; i++)
        table[i] = 65535;
    r = 1000, g = 500, b = 250;
    MapHsvSaturation16(&r, &g, &b, table);
    EXPECT_EQ((Triple{r, g, b}), (Triple{1000, 333, 0}));
    // On gray the hue is 0, so i = 0 and f = 0. HSV gives (v, p, p) with
    // p = 1000 * 52428 / 65535 = 800 exactly (13107 is 65535 / 5); HSL gives
    // m2 = 78642 * 1000 / 65535 = 1200 and m1 = 800.
    table[0] = 13107;
    r = g = b = 1000;
    MapHsvSaturation16(&r, &g, &b, table);
    EXPECT_EQ((Triple{r, g, b}), (Triple{1000, 800, 800}));
    r = g = b = 1000;
    MapHslSaturation16(&r, &g, &b, table);
    EXPECT_EQ((Triple{r, g, b}), (Triple{1200, 800, 800}));
    // The identity table gives the round trip: exact for a color the conversions keep.
    for (int i = 0; i < 65536; i++)
        table[i] = (uint16_t)i;
    r = 0, g = 65535, b = 0;
    MapHsvSaturation16(&r, &g, &b, table);
    EXPECT_EQ((Triple{r, g, b}), (Triple{0, 65535, 0}));
    r = 40000, g = 25536, b = 25536;
    MapHslSaturation16(&r, &g, &b, table);
    EXPECT_EQ((Triple{r, g, b}), (Triple{40000, 25536, 25536}));
}

TEST(ChannelExtract, EachChoiceAtBothDepths)
{
    Start();
    // (200, 100, 50): hue 227 in both forms, F[227] = 57885 >> 12 = 14.
    const int expected8[CHANNEL_COUNT] = {
        124, // (61200 + 60100 + 5850) >> 10 = 124.2
        200, 100, 50, 14, 191, 200, 14, 153, 125,
    };
    for (int c = 0; c < CHANNEL_COUNT; c++) {
        SCOPED_TRACE(CHANNEL_NAMES[c]);
        EXPECT_EQ(ChannelExtract8(200, 100, 50, c), expected8[c]);
    }
    // Pure red has the top hue, 255; pure green F[1365] = 84; pure blue F[2730] = 169.
    EXPECT_EQ(ChannelExtract8(255, 0, 0, CHANNEL_HSV_HUE), 255);
    EXPECT_EQ(ChannelExtract8(0, 255, 0, CHANNEL_HSV_HUE), 84);
    EXPECT_EQ(ChannelExtract8(0, 0, 255, CHANNEL_HSL_HUE), 169);
    EXPECT_EQ(ChannelExtract8(255, 0, 0, CHANNEL_COUNT), 0);

    // (4, 3, 0) shows the two 16-bit hues apart.
    const int expected16[CHANNEL_COUNT] = {
        2, // (1224 + 1803) >> 10 = 2.96
        4, 3, 0, 8192, 65535, 4, 8191, 65535, 2,
    };
    for (int c = 0; c < CHANNEL_COUNT; c++) {
        SCOPED_TRACE(CHANNEL_NAMES[c]);
        EXPECT_EQ(ChannelExtract16(4, 3, 0, c), expected16[c]);
    }
    EXPECT_EQ(ChannelExtract16(65535, 0, 0, CHANNEL_HSV_HUE), 65535);
    EXPECT_EQ(ChannelExtract16(65535, 65535, 65535, CHANNEL_LUMINANCE), 65535);
    EXPECT_EQ(ChannelExtract16(1, 2, 3, -1), 0);
}

static Triple Combined8(int mode, int c1, int c2, int c3)
{
    Triple t;
    ChannelsCombine8(mode, c1, c2, c3, &t.a, &t.b, &t.c);
    return t;
}

static Triple Combined16(int mode, int c1, int c2, int c3)
{
    Triple t;
    ChannelsCombine16(mode, c1, c2, c3, &t.a, &t.b, &t.c);
    return t;
}

TEST(ChannelsCombine, EachModeAtBothDepths)
{
    Start();
    EXPECT_EQ(Combined8(COMBINE_RGB, 10, 20, 30), (Triple{10, 20, 30}));
    // HSV: T[] makes 4096, 4096, 4096, pure red.
    EXPECT_EQ(Combined8(COMBINE_HSV, 255, 255, 255), (Triple{255, 0, 0}));
    // T[128] = 2056 as lightness and value: gray, F[2056] = 127.
    EXPECT_EQ(Combined8(COMBINE_HSV, 77, 0, 128), (Triple{127, 127, 127}));
    // HSL: l = 2056 > 2048, m2 = 2056 + 4096 - 2056 = 4096, m1 = 16: (255, F[16], F[16]).
    EXPECT_EQ(Combined8(COMBINE_HSL, 0, 255, 128), (Triple{255, 0, 0}));
    // Complements: blue = a + b - c, green = a - b + c, red = b - a + c, clamped.
    EXPECT_EQ(Combined8(COMBINE_COMPLEMENTS, 100, 50, 30), (Triple{0, 80, 120}));
    EXPECT_EQ(Combined8(COMBINE_COMPLEMENTS, 200, 200, 0), (Triple{0, 0, 255}));

    EXPECT_EQ(Combined16(COMBINE_RGB, 1000, 2000, 3000), (Triple{1000, 2000, 3000}));
    EXPECT_EQ(Combined16(COMBINE_HSV, 21845, 65535, 65535), (Triple{0, 65535, 0}));
    EXPECT_EQ(Combined16(COMBINE_HSL, 0, 65535, 32768), (Triple{65535, 1, 1}));
    EXPECT_EQ(Combined16(COMBINE_COMPLEMENTS, 40000, 30000, 20000), (Triple{10000, 30000, 50000}));
    EXPECT_EQ(Combined16(COMBINE_COMPLEMENTS, 65535, 65535, 0), (Triple{0, 0, 65535}));
}

// Values beyond a range are read as its nearest end, so no input reads outside a table.
TEST(ColorSpaceRanges, OutsideValuesTakeTheNearestEnd)
{
    Start();
    EXPECT_EQ(Hsv8(300, -5, 0), Hsv8(255, 0, 0));
    EXPECT_EQ(Hsl8(-1, 256, 1000), Hsl8(0, 255, 255));
    EXPECT_EQ(RgbFromHsv8(5000, 4097, 9999), (Triple{255, 0, 0}));
    EXPECT_EQ(RgbFromHsl8(-3, 5000, 2048), (Triple{255, 0, 0}));
    EXPECT_EQ(Hsv16(70000, -1, 0), Hsv16(65535, 0, 0));
    EXPECT_EQ(RgbFromHsv16(70000, 70000, 70000), (Triple{65535, 0, 0}));
    EXPECT_EQ(RgbFromHsl16(70000, 70000, 32768), (Triple{65535, 1, 1}));
    uint8_t table[256];
    TableConstant(table, 255);
    EXPECT_EQ(AfterMapHsv8({300, 100, -20}, table), (Triple{255, 100, 0}));
}
