// Integer conversions between RGB, HSV and HSL, and the small channel operations that tone
// and mask tools build on.
//
// There is no floating point here. The 8-bit forms move channels into a 12-bit fixed-point
// domain through ToFixed, work there with shifts, and come back through FromFixed; the 16-bit
// forms work on 0..65535 directly with divisions by 65535. The two give different rounding,
// so each operation exists at both depths. Channels always go in and come out as red, green,
// blue, whatever the order in the picture's memory. Hue is a fraction of the full circle with
// red at 0; pure red itself comes out at the top of the range (4096 or 65535), and the
// reverse conversions read the top as red again.
//
// A channel or component outside its range is taken as the nearest end of it by every routine
// that looks something up with it, so that no input reads outside a table.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Helpers.h" // Max3 (the HSV value) and Luminance (the gray weighting) live there

// The value of "one" for hue, saturation, value and lightness.
const int COLOR_ONE8 = 4096;   // 8-bit forms: the 12-bit fixed-point domain
const int COLOR_ONE16 = 65535; // 16-bit forms: the channel range itself

// From 8-bit channel to the 12-bit domain and back; read-only after ColorSpaceInitialise.
extern uint16_t ToFixed[256];   // (i << 12) / 255, truncated: 0..4096
extern uint8_t FromFixed[4097]; // (i * 255) >> 12: 0..255

// Builds ToFixed and FromFixed. Called once at start-up, before any conversion; the tables
// are static, so nothing is freed at exit. Returns ERROR_NONE.
ErrorCode ColorSpaceInitialise(void);

// The smallest of three channels.
inline int Min3(int r, int g, int b)
{
    int m = r < g ? r : g;
    return m < b ? m : b;
}

// The 8-bit HSV conversions are written here, inline, so that a row loop that converts every
// pixel (Color Curves) runs them without a call each.
//
// Reciprocals of the 12-bit domain's divisors 1..4097, as ceil(2^37 / d), so that the
// per-pixel quotients of the 8-bit forms are a multiplication and a shift instead of a
// division. With n = q d + r, the product gives n / d + n e / 2^37 for some e below 1, and
// stays below q + 1 while n d <= 2^37. Every numerator here is x 4096 with x at most the
// divisor (a channel's distance below the largest, within delta; delta, within the largest
// or the room HSL's lightness leaves), so n d <= 4096 d^2, which holds for d up to 5792; the
// divisors reach 4097 (HSL's max + min while the lightness is at most 2048).
extern uint64_t ColorReciprocal12[4098];

inline int ColorDivide12(uint32_t n, int d)
{
    return (int)(((uint64_t)n * ColorReciprocal12[d]) >> 37);
}

inline int ColorClampFixed(int n)
{
    return n < 0 ? 0 : (n > COLOR_ONE8 ? COLOR_ONE8 : n);
}

// The hue of the 12-bit domain, for a color that is not gray (delta > 0). w(c), how far a
// channel lies below the largest as a fraction of delta, places the color inside one sixth
// of the circle. The tests run red, green, blue, so that a tie between largest channels, or
// between smallest, falls to the earlier case; pure red lands on 4096 and not on 0.
inline int ColorHue8(int r, int g, int b, int max, int min, int delta)
{
    if (r == max) {
        if (g == min) return (ColorDivide12((max - b) * COLOR_ONE8, delta) + 5 * COLOR_ONE8) / 6;
        return (COLOR_ONE8 - ColorDivide12((max - g) * COLOR_ONE8, delta)) / 6;
    }
    if (g == max) {
        if (b == min) return (ColorDivide12((max - r) * COLOR_ONE8, delta) + COLOR_ONE8) / 6;
        return (3 * COLOR_ONE8 - ColorDivide12((max - b) * COLOR_ONE8, delta)) / 6;
    }
    if (r == min) return (ColorDivide12((max - g) * COLOR_ONE8, delta) + 3 * COLOR_ONE8) / 6;
    return (5 * COLOR_ONE8 - ColorDivide12((max - r) * COLOR_ONE8, delta)) / 6;
}

// 8-bit channels to hue, saturation and value, each 0..4096. Gray gives h = s = 0.
inline void RgbToHsv8(int r, int g, int b, int *h, int *s, int *v)
{
    int rf = ToFixed[Clamp8(r)];
    int gf = ToFixed[Clamp8(g)];
    int bf = ToFixed[Clamp8(b)];
    int max = Max3(rf, gf, bf);
    int min = Min3(rf, gf, bf);
    int delta = max - min;
    *v = max;
    if (max == 0 || delta == 0) {
        *h = 0;
        *s = 0;
        return;
    }
    *s = ColorDivide12(delta * COLOR_ONE8, max);
    *h = ColorHue8(rf, gf, bf, max, min, delta);
}

// Hue, saturation and value of 0..4096 to 8-bit channels.
inline void HsvToRgb8(int h, int s, int v, int *r, int *g, int *b)
{
    h = ColorClampFixed(h);
    s = ColorClampFixed(s);
    v = ColorClampFixed(v);
    if (v == 0) {
        *r = *g = *b = 0;
        return;
    }
    if (s == 0) {
        *r = *g = *b = FromFixed[v];
        return;
    }
    // i is the sixth of the circle and f the position inside it, 0..4095.
    int a = h * 6;
    int i = a >> 12;
    int f = a - i * COLOR_ONE8;
    int p = v * (COLOR_ONE8 - s) >> 12;
    int q = v * (COLOR_ONE8 - (s * f >> 12)) >> 12;
    int t = v * (COLOR_ONE8 - (s * (COLOR_ONE8 - f) >> 12)) >> 12;
    // Which of v, p, q, t each channel takes in each sixth, by index rather than by a branch
    // that a picture of many hues would mispredict; 6 is a hue of 4096, as 0.
    static const uint8_t TAKES[7][3] = {{0, 3, 1}, {2, 0, 1}, {1, 0, 3}, {1, 2, 0},
                                        {3, 1, 0}, {0, 1, 2}, {0, 3, 1}};
    const int values[4] = {v, p, q, t};
    *r = FromFixed[values[TAKES[i][0]]];
    *g = FromFixed[values[TAKES[i][1]]];
    *b = FromFixed[values[TAKES[i][2]]];
}

// 16-bit channels to hue, saturation and value, each 0..65535. Gray gives h = s = 0.
void RgbToHsv16(int r, int g, int b, int *h, int *s, int *v);

// Hue, saturation and value of 0..65535 to 16-bit channels.
void HsvToRgb16(int h, int s, int v, int *r, int *g, int *b);

// 8-bit channels to hue, saturation and lightness, each 0..4096. The hue is RgbToHsv8's.
void RgbToHsl8(int r, int g, int b, int *h, int *s, int *l);

// 16-bit channels to hue, saturation and lightness, each 0..65535. Its hue measures how far
// a channel lies below the largest in 65536ths of the channels' spread where RgbToHsv16 uses
// 65535ths, so the two hues may differ by one step.
void RgbToHsl16(int r, int g, int b, int *h, int *s, int *l);

// Hue, saturation and lightness of 0..4096 to 8-bit channels.
void HslToRgb8(int h, int s, int l, int *r, int *g, int *b);

// Hue, saturation and lightness of 0..65535 to 16-bit channels.
void HslToRgb16(int h, int s, int l, int *r, int *g, int *b);

// HSV saturation on the channel's own range, 0..255: (max - min) * 255 / max; 0 for black.
int HsvSaturation8(int r, int g, int b);

// HSV saturation on the channel's own range, 0..65535; 0 for black.
int HsvSaturation16(int r, int g, int b);

// HSL lightness on the channel's range at either depth: (smallest + largest) / 2.
inline int HslLightness(int r, int g, int b)
{
    return (Min3(r, g, b) + Max3(r, g, b)) / 2;
}

// HSL saturation on the channel's own range, 0..255; 0 for black and white.
int HslSaturation8(int r, int g, int b);

// HSL saturation on the channel's own range, 0..65535; 0 for black and white.
int HslSaturation16(int r, int g, int b);

// Scales the channels so that a pixel of value oldValue gets value newValue, at either depth:
// each channel becomes channel * newValue / oldValue. Equal values change nothing; an old or
// new value of 0 makes a gray of newValue.
void SetValue(int *r, int *g, int *b, int oldValue, int newValue);

// Gives 8-bit channels the HSL lightness `lightness` (0..255), keeping hue and saturation.
void SetLightness8(int *r, int *g, int *b, int lightness);

// Gives 16-bit channels the HSL lightness `lightness` (0..65535), keeping hue and saturation.
void SetLightness16(int *r, int *g, int *b, int lightness);

// Replaces the HSV saturation s (0..255) of 8-bit channels by table[s], keeping the largest
// channel and the hue. Black is left alone. On a gray pixel only the channel ranked smallest
// moves (green, by the ranking's tie rules).
void MapHsvSaturation8(int *r, int *g, int *b, const uint8_t *table);

// Replaces the HSV saturation s of 16-bit channels by table[s] (65536 entries) through
// RgbToHsv16 and HsvToRgb16.
void MapHsvSaturation16(int *r, int *g, int *b, const uint16_t *table);

// Replaces the HSL saturation s (0..255) of 8-bit channels by table[s], keeping the sum of
// largest and smallest channel, and so the lightness. Black and white are left alone. On a
// gray pixel the channels ranked largest and smallest move apart and the middle one stays.
void MapHslSaturation8(int *r, int *g, int *b, const uint8_t *table);

// Replaces the HSL saturation s of 16-bit channels by table[s] (65536 entries) through
// RgbToHsl16 and HslToRgb16.
void MapHslSaturation16(int *r, int *g, int *b, const uint16_t *table);

// The channels a picture can be split into, in the order the choice lists show them.
enum : int {
    CHANNEL_LUMINANCE = 0,
    CHANNEL_RED = 1,
    CHANNEL_GREEN = 2,
    CHANNEL_BLUE = 3,
    CHANNEL_HSV_HUE = 4,
    CHANNEL_HSV_SATURATION = 5,
    CHANNEL_HSV_VALUE = 6,
    CHANNEL_HSL_HUE = 7,
    CHANNEL_HSL_SATURATION = 8,
    CHANNEL_HSL_LIGHTNESS = 9,
    CHANNEL_COUNT = 10,
};

// Names of the channels above, as the choice lists show them.
extern const char *const CHANNEL_NAMES[CHANNEL_COUNT];

// One channel of an 8-bit color, 0..255. Hues are scaled from 0..4096 by FromFixed, so pure
// red gives 255. An unknown channel gives 0.
int ChannelExtract8(int r, int g, int b, int channel);

// One channel of a 16-bit color, 0..65535. An unknown channel gives 0.
int ChannelExtract16(int r, int g, int b, int channel);

// How three gray channels make one color.
enum : int {
    COMBINE_RGB = 0,         // red, green, blue
    COMBINE_HSV = 1,         // hue, saturation, value
    COMBINE_HSL = 2,         // hue, saturation, lightness
    COMBINE_COMPLEMENTS = 3, // cyan-like, magenta-like and yellow-like colors
};

// Makes an 8-bit color from three 8-bit values c1, c2, c3 in a COMBINE_ mode. HSV and HSL
// values are taken to the 12-bit domain through ToFixed. In COMBINE_COMPLEMENTS blue is
// c1 + c2 - c3, green c1 - c2 + c3 and red c2 - c1 + c3, each clamped. An unknown mode
// combines as RGB.
void ChannelsCombine8(int mode, int c1, int c2, int c3, int *r, int *g, int *b);

// The same for 16-bit values, which need no change of domain.
void ChannelsCombine16(int mode, int c1, int c2, int c3, int *r, int *g, int *b);
