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

// 8-bit channels to hue, saturation and value, each 0..4096. Gray gives h = s = 0.
void RgbToHsv8(int r, int g, int b, int *h, int *s, int *v);

// 16-bit channels to hue, saturation and value, each 0..65535. Gray gives h = s = 0.
void RgbToHsv16(int r, int g, int b, int *h, int *s, int *v);

// Hue, saturation and value of 0..4096 to 8-bit channels.
void HsvToRgb8(int h, int s, int v, int *r, int *g, int *b);

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

// The smallest of three channels.
inline int Min3(int r, int g, int b)
{
    int m = r < g ? r : g;
    return m < b ? m : b;
}

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
