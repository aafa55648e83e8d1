// Integer RGB, HSV and HSL conversions at 8 and 16 bits, and the channel operations built on
// them.
//
// Every division truncates. In the 8-bit forms a product is followed by a shift right by 12,
// and no product exceeds 2^24; in the 16-bit forms it is followed by a division by
// 65535, and the products are unsigned 32-bit, which holds 65535 * 65536 and no more.
#include "color/ColorSpace.h"

uint16_t ToFixed[256];
uint8_t FromFixed[4097];
uint64_t ColorReciprocal12[4098];

// The 12-bit domain's one, and the 16-bit forms' one, under short names for the formulas.
static const int ONE8 = COLOR_ONE8;
static const uint32_t ONE16 = COLOR_ONE16;

const char *const CHANNEL_NAMES[CHANNEL_COUNT] = {
    "Luminance",      "Red",       "Green",   "Blue",           "HSV Hue",
    "HSV Saturation", "HSV Value", "HSL Hue", "HSL Saturation", "HSL Lightness",
};

ErrorCode ColorSpaceInitialise(void)
{
    for (int i = 0; i < 256; i++)
        ToFixed[i] = (uint16_t)((i << 12) / 255);
    for (int i = 0; i <= ONE8; i++)
        FromFixed[i] = (uint8_t)((i * 255) >> 12);
    ColorReciprocal12[0] = 0;
    for (uint64_t d = 1; d <= ONE8 + 1; d++)
        ColorReciprocal12[d] = ((uint64_t)1 << 37) / d + ((((uint64_t)1 << 37) % d) != 0);
    return ERROR_NONE;
}

static inline uint32_t ClampSixteen(int n)
{
    return (uint32_t)Clamp16(n);
}

// The same on 16-bit channels. HSV measures w(c) in steps of delta / 65535 and HSL in steps
// of delta / 65536 (wScale); the sixths stay multiples of 65535 for both. The two hues differ
// by one now and then, and each conversion keeps its own so that a picture's hues do not
// shift against earlier results.
static int Hue16(uint32_t r, uint32_t g, uint32_t b, uint32_t max, uint32_t min, uint32_t delta,
                 uint32_t wScale)
{
    if (r == max) {
        if (g == min) return (int)(((max - b) * wScale / delta + 5 * ONE16) / 6);
        return (int)((ONE16 - (max - g) * wScale / delta) / 6);
    }
    if (g == max) {
        if (b == min) return (int)(((max - r) * wScale / delta + ONE16) / 6);
        return (int)((3 * ONE16 - (max - b) * wScale / delta) / 6);
    }
    if (r == min) return (int)(((max - g) * wScale / delta + 3 * ONE16) / 6);
    return (int)((5 * ONE16 - (max - r) * wScale / delta) / 6);
}

void RgbToHsv16(int r, int g, int b, int *h, int *s, int *v)
{
    uint32_t r16 = ClampSixteen(r);
    uint32_t g16 = ClampSixteen(g);
    uint32_t b16 = ClampSixteen(b);
    uint32_t max = (uint32_t)Max3((int)r16, (int)g16, (int)b16);
    uint32_t min = (uint32_t)Min3((int)r16, (int)g16, (int)b16);
    uint32_t delta = max - min;
    *v = (int)max;
    if (max == 0 || delta == 0) {
        *h = 0;
        *s = 0;
        return;
    }
    *s = (int)(delta * ONE16 / max);
    *h = Hue16(r16, g16, b16, max, min, delta, ONE16);
}

void HsvToRgb16(int h, int s, int v, int *r, int *g, int *b)
{
    uint32_t hue = ClampSixteen(h);
    uint32_t sat = ClampSixteen(s);
    uint32_t val = ClampSixteen(v);
    if (val == 0) {
        *r = *g = *b = 0;
        return;
    }
    if (sat == 0) {
        *r = *g = *b = (int)val;
        return;
    }
    uint32_t f = hue * 6 % ONE16;
    uint32_t i = hue * 6 / ONE16;
    int p = (int)(val * (ONE16 - sat) / ONE16);
    int q = (int)(val * (ONE16 - sat * f / ONE16) / ONE16);
    int t = (int)(val * (ONE16 - sat * (ONE16 - f) / ONE16) / ONE16);
    int top = (int)val;
    switch (i) {
    case 1: *r = q, *g = top, *b = p; break;
    case 2: *r = p, *g = top, *b = t; break;
    case 3: *r = p, *g = q, *b = top; break;
    case 4: *r = t, *g = p, *b = top; break;
    case 5: *r = top, *g = p, *b = q; break;
    default: *r = top, *g = t, *b = p; break; // 0, and 6 for a hue of 65535
    }
}

void RgbToHsl8(int r, int g, int b, int *h, int *s, int *l)
{
    int rf = ToFixed[Clamp8(r)];
    int gf = ToFixed[Clamp8(g)];
    int bf = ToFixed[Clamp8(b)];
    int max = Max3(rf, gf, bf);
    int min = Min3(rf, gf, bf);
    int delta = max - min;
    *l = (min + max) >> 1;
    if (delta == 0) {
        *h = 0;
        *s = 0;
        return;
    }
    // Saturation is delta against the room the lightness leaves: toward black below the
    // middle, toward white above it (2 * 4096 is the sum of two white channels).
    if (*l <= ONE8 / 2)
        *s = ColorDivide12(delta * ONE8, max + min);
    else
        *s = ColorDivide12(delta * ONE8, 2 * ONE8 - max - min);
    *h = ColorHue8(rf, gf, bf, max, min, delta);
}

void RgbToHsl16(int r, int g, int b, int *h, int *s, int *l)
{
    uint32_t r16 = ClampSixteen(r);
    uint32_t g16 = ClampSixteen(g);
    uint32_t b16 = ClampSixteen(b);
    uint32_t max = (uint32_t)Max3((int)r16, (int)g16, (int)b16);
    uint32_t min = (uint32_t)Min3((int)r16, (int)g16, (int)b16);
    uint32_t delta = max - min;
    *l = (int)((min + max) >> 1);
    if (delta == 0) {
        *h = 0;
        *s = 0;
        return;
    }
    if (*l < 32768)
        *s = (int)(delta * ONE16 / (max + min));
    else
        *s = (int)(delta * ONE16 / (2 * ONE16 - max - min));
    *h = Hue16(r16, g16, b16, max, min, delta, ONE16 + 1);
}

void HslToRgb8(int h, int s, int l, int *r, int *g, int *b)
{
    h = ColorClampFixed(h);
    s = ColorClampFixed(s);
    l = ColorClampFixed(l);
    if (l == 0) {
        *r = *g = *b = 0;
        return;
    }
    if (l == ONE8) {
        *r = *g = *b = 255;
        return;
    }
    if (s == 0) {
        *r = *g = *b = FromFixed[l];
        return;
    }
    // m2 is the largest channel and m1 the smallest; d is the way from one to the other at
    // the hue's position inside its sixth. A positive l keeps m2 above 0.
    int m2 = l <= ONE8 / 2 ? l * (s + ONE8) >> 12 : l + s - (l * s >> 12);
    if (m2 == 0) {
        *r = *g = *b = 0;
        return;
    }
    int m1 = 2 * l - m2;
    int a = h * 6;
    int i = a >> 12;
    int f = a - i * ONE8;
    int d = (m2 - m1) * f >> 12;
    int red, green, blue;
    switch (i) {
    case 1: red = m2 - d, green = m2, blue = m1; break;
    case 2: red = m1, green = m2, blue = m1 + d; break;
    case 3: red = m1, green = m2 - d, blue = m2; break;
    case 4: red = m1 + d, green = m1, blue = m2; break;
    case 5: red = m2, green = m1, blue = m2 - d; break;
    default: red = m2, green = m1 + d, blue = m1; break; // 0, and 6 for a hue of 4096
    }
    *r = FromFixed[red];
    *g = FromFixed[green];
    *b = FromFixed[blue];
}

void HslToRgb16(int h, int s, int l, int *r, int *g, int *b)
{
    uint32_t hue = ClampSixteen(h);
    uint32_t sat = ClampSixteen(s);
    uint32_t light = ClampSixteen(l);
    if (light == 0) {
        *r = *g = *b = 0;
        return;
    }
    if (light == ONE16) {
        *r = *g = *b = (int)ONE16;
        return;
    }
    if (sat == 0) {
        *r = *g = *b = (int)light;
        return;
    }
    // (sat + 65535) * light stays below 2^32 because light is below 32768 there.
    uint32_t m2 = light < 32768 ? (sat + ONE16) * light / ONE16 : light + sat - light * sat / ONE16;
    if (m2 == 0) {
        *r = *g = *b = 0;
        return;
    }
    uint32_t m1 = 2 * light - m2;
    uint32_t i = hue * 6 / ONE16;
    int d = (int)((m2 - m1) * (hue * 6 % ONE16) / ONE16);
    int top = (int)m2;
    int bottom = (int)m1;
    switch (i) {
    case 1: *r = top - d, *g = top, *b = bottom; break;
    case 2: *r = bottom, *g = top, *b = bottom + d; break;
    case 3: *r = bottom, *g = top - d, *b = top; break;
    case 4: *r = bottom + d, *g = bottom, *b = top; break;
    case 5: *r = top, *g = bottom, *b = top - d; break;
    default: *r = top, *g = bottom + d, *b = bottom; break; // 0, and 6 for a hue of 65535
    }
}

int HsvSaturation8(int r, int g, int b)
{
    int max = Max3(r, g, b);
    if (max == 0) return 0;
    return (max - Min3(r, g, b)) * 255 / max;
}

int HsvSaturation16(int r, int g, int b)
{
    uint32_t max = (uint32_t)Max3(r, g, b);
    if (max == 0) return 0;
    return (int)((max - (uint32_t)Min3(r, g, b)) * ONE16 / max);
}

int HslSaturation8(int r, int g, int b)
{
    int max = Max3(r, g, b);
    int min = Min3(r, g, b);
    int sum = max + min;
    if (sum == 0 || sum == 510) return 0;
    if (sum < 256) return (max - min) * 255 / sum;
    return (max - min) * 255 / (510 - sum);
}

int HslSaturation16(int r, int g, int b)
{
    uint32_t max = (uint32_t)Max3(r, g, b);
    uint32_t min = (uint32_t)Min3(r, g, b);
    uint32_t sum = max + min;
    if (sum == 0 || sum == 2 * ONE16) return 0;
    if (sum < 65536) return (int)((max - min) * ONE16 / sum);
    return (int)((max - min) * ONE16 / (2 * ONE16 - sum));
}

// Points max, mid and min at the channels by rank. The comparisons and their order decide
// ties, and the Map routines depend on them: on a gray pixel red is max, blue mid and green
// min.
static void ChannelsRank(int *r, int *g, int *b, int **max, int **mid, int **min)
{
    if (*r < *g) {
        if (*r < *b) {
            *min = r;
            if (*b < *g) {
                *max = g;
                *mid = b;
            } else {
                *max = b;
                *mid = g;
            }
        } else {
            *min = b;
            *mid = r;
            *max = g;
        }
    } else if (*r < *b) {
        *max = b;
        *min = g;
        *mid = r;
    } else if (*b < *g) {
        *max = r;
        *mid = g;
        *min = b;
    } else {
        *max = r;
        *mid = b;
        *min = g;
    }
}

void SetValue(int *r, int *g, int *b, int oldValue, int newValue)
{
    if (oldValue == newValue) return;
    if (oldValue == 0 || newValue == 0) {
        *r = *g = *b = newValue;
        return;
    }
    // Unsigned, since a 16-bit channel times a 16-bit value needs all 32 bits.
    uint32_t oldV = (uint32_t)oldValue;
    uint32_t newV = (uint32_t)newValue;
    *r = (int)((uint32_t)*r * newV / oldV);
    *g = (int)((uint32_t)*g * newV / oldV);
    *b = (int)((uint32_t)*b * newV / oldV);
}

void SetLightness8(int *r, int *g, int *b, int lightness)
{
    int h, s, l;
    RgbToHsl8(*r, *g, *b, &h, &s, &l);
    HslToRgb8(h, s, (Clamp8(lightness) << 12) / 255, r, g, b);
}

void SetLightness16(int *r, int *g, int *b, int lightness)
{
    int h, s, l;
    RgbToHsl16(*r, *g, *b, &h, &s, &l);
    HslToRgb16(h, s, lightness, r, g, b);
}

void MapHsvSaturation8(int *r, int *g, int *b, const uint8_t *table)
{
    *r = Clamp8(*r);
    *g = Clamp8(*g);
    *b = Clamp8(*b);
    int *maxChannel, *midChannel, *minChannel;
    ChannelsRank(r, g, b, &maxChannel, &midChannel, &minChannel);
    int max = *maxChannel;
    int oldMin = *minChannel;
    if (max == 0) return;
    // The smallest channel carries the saturation: a saturation of 255 puts it at 0.
    int s = (max - oldMin) * 255 / max;
    int newMin = (255 - table[s]) * max / 255;
    *minChannel = newMin;
    // The middle channel keeps its place between min and max, which keeps the hue.
    if (max != oldMin) *midChannel = max - (max - newMin) * (max - *midChannel) / (max - oldMin);
}

void MapHsvSaturation16(int *r, int *g, int *b, const uint16_t *table)
{
    int h, s, v;
    RgbToHsv16(*r, *g, *b, &h, &s, &v);
    HsvToRgb16(h, table[s], v, r, g, b);
}

void MapHslSaturation8(int *r, int *g, int *b, const uint8_t *table)
{
    *r = Clamp8(*r);
    *g = Clamp8(*g);
    *b = Clamp8(*b);
    int *maxChannel, *midChannel, *minChannel;
    ChannelsRank(r, g, b, &maxChannel, &midChannel, &minChannel);
    int oldMax = *maxChannel;
    int oldMin = *minChannel;
    int sum = oldMax + oldMin;
    if (sum == 0 || sum == 510) return;
    // The new saturation e sets the largest channel on the same side of the middle gray as
    // before; the smallest follows from the unchanged sum.
    int newMax;
    if (sum < 256) {
        int e = table[(oldMax - oldMin) * 255 / sum];
        newMax = (e + 255) * sum / 510;
    } else {
        int e = table[(oldMax - oldMin) * 255 / (510 - sum)];
        newMax = e + (255 - e) * sum / 510;
    }
    int newMin = sum - newMax;
    *maxChannel = newMax;
    *minChannel = newMin;
    if (oldMax != oldMin)
        *midChannel = newMax - (newMax - newMin) * (oldMax - *midChannel) / (oldMax - oldMin);
}

void MapHslSaturation16(int *r, int *g, int *b, const uint16_t *table)
{
    int h, s, l;
    RgbToHsl16(*r, *g, *b, &h, &s, &l);
    HslToRgb16(h, table[s], l, r, g, b);
}

int ChannelExtract8(int r, int g, int b, int channel)
{
    int h, s, v;
    switch (channel) {
    case CHANNEL_LUMINANCE: return Luminance(r, g, b);
    case CHANNEL_RED: return r;
    case CHANNEL_GREEN: return g;
    case CHANNEL_BLUE: return b;
    case CHANNEL_HSV_HUE: RgbToHsv8(r, g, b, &h, &s, &v); return FromFixed[h];
    case CHANNEL_HSV_SATURATION: return HsvSaturation8(r, g, b);
    case CHANNEL_HSV_VALUE: return Max3(r, g, b);
    case CHANNEL_HSL_HUE: RgbToHsl8(r, g, b, &h, &s, &v); return FromFixed[h];
    case CHANNEL_HSL_SATURATION: return HslSaturation8(r, g, b);
    case CHANNEL_HSL_LIGHTNESS: return HslLightness(r, g, b);
    default: return 0;
    }
}

int ChannelExtract16(int r, int g, int b, int channel)
{
    int h, s, v;
    switch (channel) {
    case CHANNEL_LUMINANCE: return Luminance(r, g, b);
    case CHANNEL_RED: return r;
    case CHANNEL_GREEN: return g;
    case CHANNEL_BLUE: return b;
    case CHANNEL_HSV_HUE: RgbToHsv16(r, g, b, &h, &s, &v); return h;
    case CHANNEL_HSV_SATURATION: return HsvSaturation16(r, g, b);
    case CHANNEL_HSV_VALUE: return Max3(r, g, b);
    case CHANNEL_HSL_HUE: RgbToHsl16(r, g, b, &h, &s, &v); return h;
    case CHANNEL_HSL_SATURATION: return HslSaturation16(r, g, b);
    case CHANNEL_HSL_LIGHTNESS: return HslLightness(r, g, b);
    default: return 0;
    }
}

void ChannelsCombine8(int mode, int c1, int c2, int c3, int *r, int *g, int *b)
{
    switch (mode) {
    case COMBINE_HSV:
        HsvToRgb8(ToFixed[Clamp8(c1)], ToFixed[Clamp8(c2)], ToFixed[Clamp8(c3)], r, g, b);
        return;
    case COMBINE_HSL:
        HslToRgb8(ToFixed[Clamp8(c1)], ToFixed[Clamp8(c2)], ToFixed[Clamp8(c3)], r, g, b);
        return;
    case COMBINE_COMPLEMENTS:
        *b = Clamp8(c1 + c2 - c3);
        *g = Clamp8(c1 - c2 + c3);
        *r = Clamp8(c2 - c1 + c3);
        return;
    default:
        *r = c1;
        *g = c2;
        *b = c3;
        return;
    }
}

void ChannelsCombine16(int mode, int c1, int c2, int c3, int *r, int *g, int *b)
{
    switch (mode) {
    case COMBINE_HSV: HsvToRgb16(c1, c2, c3, r, g, b); return;
    case COMBINE_HSL: HslToRgb16(c1, c2, c3, r, g, b); return;
    case COMBINE_COMPLEMENTS:
        *b = Clamp16(c1 + c2 - c3);
        *g = Clamp16(c1 - c2 + c3);
        *r = Clamp16(c2 - c1 + c3);
        return;
    default:
        *r = c1;
        *g = c2;
        *b = c3;
        return;
    }
}
