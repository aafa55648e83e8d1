// Color Correct: control points move colors over the chroma plane, and every other color
// follows by the inverse-square weighted mean of their moves (see ColorCorrect.h).
//
// The weighting runs in doubles once per position of the 511 x 511 plane when the points
// change, never per pixel: a pixel looks up its position's new color and brightness change,
// and then its new value in a table of all 511 changes by 256 values.
#include "transforms/ColorCorrect.h"

#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/SettingsText.h"

// The seven points of a reset: white and the six primary and secondary hues, unmoved.
static const uint8_t COLOR_CORRECT_RESET_POINTS[7][3] = {
    {255, 255, 255}, {255, 0, 0}, {255, 255, 0}, {0, 255, 0},
    {0, 255, 255},   {0, 0, 255}, {255, 0, 255},
};

// The weight of leaving a color alone is 1 / (radius + this): with radius 0 it is large
// enough that only the exact control positions move.
static const double COLOR_CORRECT_RADIUS_EPSILON = 0.0001;

void ColorCorrectSettingsReset(ColorCorrectSettings *settings)
{
    memset(settings->targetColor, 0, sizeof settings->targetColor);
    memset(settings->sourceColor, 0, sizeof settings->sourceColor);
    for (double &value : settings->brightness)
        value = 0.0;
    settings->pointCount = 7;
    for (int i = 0; i < 7; i++) {
        memcpy(settings->targetColor[i], COLOR_CORRECT_RESET_POINTS[i], 3);
        memcpy(settings->sourceColor[i], COLOR_CORRECT_RESET_POINTS[i], 3);
    }
    settings->probeSize = 2;
    settings->selectedPoint = -1;
    settings->nonlinear = 1;
    settings->showModifiedWheel = 0;
    settings->showAffectedRegion = 0;
    settings->saveAsMask = 0;
    settings->wheelZoom = 1;
    settings->wheelCenterX = 0;
    settings->wheelCenterY = 0;
    settings->radius = 1.0;
}

void ColorCorrectSettingsDefault(ColorCorrectSettings *settings)
{
    AmountSettingDefault(&settings->amount, "Amount: ", 0);
    settings->tables = nullptr;
    ColorCorrectSettingsReset(settings);
}

// Parses an integer token that must lie in low..high; returns 1 (failure) otherwise.
static int ColorCorrectParseIn(const char *text, int32_t low, int32_t high, int32_t *value)
{
    int32_t parsed;
    if (ParseInteger(text, &parsed) || parsed < low || parsed > high) return 1;
    *value = parsed;
    return 0;
}

// One "point" line: index, target R G B, source R G B and, in files that have it, the
// brightness. Returns 1 (failure) for a value out of range; the index is returned.
static int ColorCorrectReadPoint(ColorCorrectSettings *settings, int count, char **tokens,
                                 int32_t *index)
{
    int32_t channels[6];
    double brightness = 0.0; // files written before brightness existed have eight words
    if (count != 8 && count != 9) return 1;
    if (ColorCorrectParseIn(tokens[1], 0, COLOR_CORRECT_POINTS_MAX - 1, index)) return 1;
    for (int c = 0; c < 6; c++)
        if (ColorCorrectParseIn(tokens[2 + c], 0, 255, &channels[c])) return 1;
    if (count == 9 &&
        (ParseReal(tokens[8], &brightness) || !(brightness >= -1.0) || !(brightness <= 1.0)))
        return 1;
    for (int c = 0; c < 3; c++) {
        settings->targetColor[*index][c] = (uint8_t)channels[c];
        settings->sourceColor[*index][c] = (uint8_t)channels[3 + c];
    }
    settings->brightness[*index] = brightness;
    return 0;
}

ErrorCode ColorCorrectSettingsRead(FileHandle file, void *params)
{
    ColorCorrectSettings *settings = (ColorCorrectSettings *)params;
    const ErrorCode illegal = ERROR_ILLEGAL_COLOR_CORRECTION_FILE;
    int32_t highestIndex = -1; // keys come in any order: the points are checked at "end"
    int count;
    char **tokens;
    if (SettingsReadHeader(file, "ColorCorrect")) return illegal;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return illegal; // no "end"
        if (SettingsLineIsEnd(count, tokens)) break;
        if (SettingsKeyIs(tokens, "npts")) {
            if (count != 2 ||
                ColorCorrectParseIn(tokens[1], 0, COLOR_CORRECT_POINTS_MAX, &settings->pointCount))
                return illegal;
        } else if (SettingsKeyIs(tokens, "radius")) {
            double radius;
            if (count != 2 || ParseReal(tokens[1], &radius) || !(radius <= 1.0)) return illegal;
            settings->radius = radius < 0.0 ? 0.0 : radius;
        } else if (SettingsKeyIs(tokens, "probesize")) {
            if (count != 2 || ColorCorrectParseIn(tokens[1], 0, COLOR_CORRECT_PROBE_SIZES - 1,
                                                  &settings->probeSize))
                return illegal;
        } else if (SettingsKeyIs(tokens, "nonlinear")) {
            int32_t nonlinear;
            if (count != 2 || ParseInteger(tokens[1], &nonlinear)) return illegal;
            settings->nonlinear = nonlinear != 0;
        } else if (SettingsKeyIs(tokens, "point")) {
            int32_t index;
            if (ColorCorrectReadPoint(settings, count, tokens, &index)) return illegal;
            if (index > highestIndex) highestIndex = index;
        } else {
            return illegal;
        }
    }
    // A point the count does not reach would be lost silently: such a file is refused.
    if (highestIndex >= settings->pointCount) return illegal;
    return ERROR_NONE;
}

ErrorCode ColorCorrectSettingsWrite(FileHandle file, const void *params)
{
    const ColorCorrectSettings *settings = (const ColorCorrectSettings *)params;
    ErrorCode result = SettingsWriteHeader(file, "ColorCorrect");
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "npts %d", settings->pointCount);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "radius %2f", settings->radius);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "probesize %d", settings->probeSize);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "nonlinear %d", settings->nonlinear);
    for (int i = 0; i < settings->pointCount && result == ERROR_NONE; i++) {
        const uint8_t *target = settings->targetColor[i];
        const uint8_t *source = settings->sourceColor[i];
        result =
            SettingsWriteLine(file, "point %d %d %d %d %d %d %d %4f", i, target[0], target[1],
                              target[2], source[0], source[1], source[2], settings->brightness[i]);
    }
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}

ErrorCode ColorCorrectSettingsLoad(const char *path, void *params)
{
    ColorCorrectSettings *settings = (ColorCorrectSettings *)params;
    ColorCorrectSettingsReset(settings);
    ErrorCode result = SettingsFileLoad(path, ColorCorrectSettingsRead, settings);
    if (result != ERROR_NONE) ColorCorrectSettingsReset(settings);
    return result;
}

int ChromaToColor(int x, int y, uint8_t rgb[3])
{
    return ChromaToColorHalf(x, x / 2, y, rgb); // the half truncating toward zero
}

int ChromaToColorHalf(int x, int h, int y, uint8_t rgb[3])
{
    int excess = 0;
    int r, g, b;
    if (x == 0 && y == 0) {
        r = g = b = 255;
    } else if (x == 0 && y < 0) {
        if (y < -255) {
            excess += -(y + 255);
            y = -255;
        }
        r = y + 255;
        g = b = 255;
    } else if (x == 0) {
        if (y > 255) {
            excess += y - 255;
            y = 255;
        }
        r = 255;
        g = b = 255 - y;
    } else if ((x < 0 && y > -h) || (x > 0 && y > h)) {
        // The top edges, where red is full: y reaches 255 - |h|.
        int limit = 255 - (x < 0 ? -h : h);
        if (y > limit) {
            excess += y - limit;
            y = limit;
        }
        r = 255;
        g = 255 - y + h;
        b = 255 - y - h;
    } else if (x < 0) {
        // Blue is full: below the lower edge y is held at -255 - h, and x at -255.
        if (y < h && y < -255 - h) {
            excess += -(y + 255 + h);
            y = -255 - h;
        } else if (y >= h && x < -255) {
            excess += -(x + 255);
            x = -255;
        }
        b = 255;
        g = x + 255;
        r = y + (g + 255) / 2;
    } else {
        // Green is full: below the lower edge y is held at h - 255, and x at 255.
        if (y < -h && y < h - 255) {
            excess += -(y - h + 255);
            y = h - 255;
        } else if (y >= -h && x > 255) {
            excess += x - 255;
            x = 255;
        }
        g = 255;
        b = 255 - x;
        r = y + (b + 255) / 2;
    }
    rgb[0] = (uint8_t)Clamp8(r);
    rgb[1] = (uint8_t)Clamp8(g);
    rgb[2] = (uint8_t)Clamp8(b);
    return excess;
}

void ColorChroma(const uint8_t rgb[3], int *x, int *y)
{
    *x = rgb[1] - rgb[2];
    *y = rgb[0] - (rgb[1] + rgb[2]) / 2;
}

ErrorCode ColorCorrectTablesAlloc(ColorCorrectTables *tables)
{
    tables->shift = (uint32_t *)MemoryAllocZero(sizeof(uint32_t) * CHROMA_ENTRIES);
    tables->brightness = (int16_t *)MemoryAllocZero(sizeof(int16_t) * CHROMA_ENTRIES);
    tables->region = (uint8_t *)MemoryAllocZero(CHROMA_ENTRIES);
    tables->regionPoint = -1;
    if (tables->shift != nullptr && tables->brightness != nullptr && tables->region != nullptr)
        return ERROR_NONE;
    ColorCorrectTablesFree(tables);
    return ERROR_NO_MEMORY;
}

void ColorCorrectTablesFree(ColorCorrectTables *tables)
{
    MemoryRelease(&tables->shift);
    MemoryRelease(&tables->brightness);
    MemoryRelease(&tables->region);
    tables->regionPoint = -1;
}

// The points' chroma positions divided by 255, as the weighting works on them.
struct ColorCorrectPoints {
    double sourceX[COLOR_CORRECT_POINTS_MAX];
    double sourceY[COLOR_CORRECT_POINTS_MAX];
    double targetX[COLOR_CORRECT_POINTS_MAX];
    double targetY[COLOR_CORRECT_POINTS_MAX];
};

static void ColorCorrectPointsDerive(const ColorCorrectSettings *settings,
                                     ColorCorrectPoints *points)
{
    for (int i = 0; i < settings->pointCount; i++) {
        int x, y;
        ColorChroma(settings->sourceColor[i], &x, &y);
        points->sourceX[i] = x / 255.0;
        points->sourceY[i] = y / 255.0;
        ColorChroma(settings->targetColor[i], &x, &y);
        points->targetX[i] = x / 255.0;
        points->targetY[i] = y / 255.0;
    }
}

static int ColorCorrectClamp255(double value)
{
    int rounded = Round(value * 255.0);
    return rounded < -255 ? -255 : (rounded > 255 ? 255 : rounded);
}

void ColorCorrectTablesBuild(const ColorCorrectSettings *settings, ColorCorrectTables *tables,
                             int showProgress)
{
    ColorCorrectPoints points;
    uint8_t rgb[3];
    int count = settings->pointCount;
    double radius = settings->radius;
    ColorCorrectPointsDerive(settings, &points);
    if (showProgress) ProgressOpen(0, CHROMA_SIDE - 1, "Building color lookup tables", 1);
    for (int x = -255; x <= 255; x++) {
        for (int y = -255; y <= 255; y++) {
            int index = ChromaIndex(x, y);
            // No pixel lands outside the hexagon: those entries stay at 0.
            if (ChromaToColor(x, y, rgb) != 0) {
                tables->shift[index] = 0;
                tables->brightness[index] = 0;
                continue;
            }
            double px = x / 255.0, py = y / 255.0;
            double sum = 1.0 / (radius + COLOR_CORRECT_RADIUS_EPSILON);
            double sx = 0.0, sy = 0.0, sb = 0.0;
            double newX, newY, brightness;
            int exact = -1; // a point standing exactly here takes the position alone
            for (int i = 0; i < count; i++) {
                double dx = points.sourceX[i] - px, dy = points.sourceY[i] - py;
                double d2 = dx * dx + dy * dy;
                if (d2 == 0.0) {
                    exact = i;
                    break;
                }
                double w = radius / d2;
                sum += w;
                sx += (points.targetX[i] - points.sourceX[i]) * w;
                sy += (points.targetY[i] - points.sourceY[i]) * w;
                sb += settings->brightness[i] * w;
            }
            if (exact >= 0) {
                newX = points.targetX[exact];
                newY = points.targetY[exact];
                brightness = settings->brightness[exact];
            } else {
                newX = sx / sum + px;
                newY = sy / sum + py;
                brightness = sb / sum;
            }
            int shiftX = ColorCorrectClamp255(newX), shiftY = ColorCorrectClamp255(newY);
            tables->shift[index] = (uint32_t)(uint16_t)shiftX | (uint32_t)(uint16_t)shiftY << 16;
            tables->brightness[index] = (int16_t)ColorCorrectClamp255(brightness);
        }
        // An abort ends the build; what is built counts, as the user asked for speed.
        if (showProgress && ProgressStep(x + 255) != ERROR_NONE) break;
    }
    if (showProgress) ProgressClose();
}

void ColorCorrectRegionBuild(const ColorCorrectSettings *settings, ColorCorrectTables *tables)
{
    ColorCorrectPoints points;
    uint8_t rgb[3];
    int selected = settings->selectedPoint;
    double radius = settings->radius;
    ColorCorrectPointsDerive(settings, &points);
    for (int x = -255; x <= 255; x++) {
        for (int y = -255; y <= 255; y++) {
            int index = ChromaIndex(x, y);
            if (ChromaToColor(x, y, rgb) != 0) {
                tables->region[index] = 0;
                continue;
            }
            double px = x / 255.0, py = y / 255.0;
            double sum = 1.0 / (radius + COLOR_CORRECT_RADIUS_EPSILON);
            double selectedWeight = 0.0;
            int exact = -1;
            for (int i = 0; i < settings->pointCount; i++) {
                double dx = points.sourceX[i] - px, dy = points.sourceY[i] - py;
                double d2 = dx * dx + dy * dy;
                if (d2 == 0.0) {
                    exact = i;
                    break;
                }
                double w = radius / d2;
                sum += w;
                if (i == selected) selectedWeight = w;
            }
            int value;
            if (exact >= 0)
                value = exact == selected ? 255 : 0;
            else
                value = (int)(selectedWeight * 255.0 / sum);
            tables->region[index] = (uint8_t)Clamp8(value);
        }
    }
    tables->regionPoint = selected;
}

// The chroma position's index of a color of 8-bit samples.
static int ColorCorrectIndexOf(int r, int g, int b)
{
    int v = Max3(r, g, b);
    if (v > 0) {
        r = r * 255 / v;
        g = g * 255 / v;
        b = b * 255 / v;
    }
    return ChromaIndex(g - b, r - (g + b) / 2);
}

// The color of largest channel 255 at a position's new place, from the shift table.
static void ColorCorrectShifted(const ColorCorrectTables *tables, int index, int *r, int *g, int *b)
{
    uint32_t shift = tables->shift[index];
    int newX = (int16_t)(shift & 0xffff), newY = (int16_t)(shift >> 16);
    int h = newX / 2;
    if (newX < 0 && newY < -h) {
        *b = 255;
        *g = Clamp8(newX + 255);
        *r = Clamp8(newY + 255 + h);
    } else if (newX >= 0 && newY < h) {
        *b = Clamp8(255 - newX);
        *g = 255;
        *r = Clamp8(newY + 255 - h);
    } else {
        *b = Clamp8(255 - newY - h);
        *g = Clamp8(255 - newY + h);
        *r = 255;
    }
}

// 10 to the power b / 255 for a brightness change b of -255..255: "Preserve Black" multiplies
// a value by it.
static double ColorCorrectFactor(int b)
{
    return exp(b * log(10.0) / 255.0);
}

// The new value of an 8-bit value v under brightness change b.
static int ColorCorrectValue8(int v, int b, int nonlinear)
{
    if (b == 0) return v;
    if (nonlinear) return Clamp8(b > 0 ? v + (255 - v) * b / 255 : v + v * b / 255);
    return Clamp8(Round(v * ColorCorrectFactor(b)));
}

void ColorCorrectPixel8(const ColorCorrectTables *tables, int nonlinear, const uint8_t rgb[3],
                        uint8_t out[3])
{
    int index = ColorCorrectIndexOf(rgb[0], rgb[1], rgb[2]);
    int r, g, b;
    ColorCorrectShifted(tables, index, &r, &g, &b);
    int v = ColorCorrectValue8(Max3(rgb[0], rgb[1], rgb[2]), tables->brightness[index], nonlinear);
    out[0] = LerpTable[v][r];
    out[1] = LerpTable[v][g];
    out[2] = LerpTable[v][b];
}

// The new value of a 16-bit value v under brightness change b (-255..255).
static int ColorCorrectValue16(int v, int b, int nonlinear)
{
    if (b == 0) return v;
    if (nonlinear) {
        uint32_t value = (uint32_t)v;
        if (b > 0) return Clamp16((int)(value + (Depth8To16[b] * (65535u - value)) / 65535u));
        return Clamp16((int)(value - (Depth8To16[-b] * value) / 65535u));
    }
    return Clamp16(Round(v * ColorCorrectFactor(b)));
}

void ColorCorrectPixel16(const ColorCorrectTables *tables, int nonlinear, const uint16_t rgb[3],
                         uint16_t out[3])
{
    // The position comes from the 8-bit form of the samples, the value from the samples.
    int index = ColorCorrectIndexOf(Depth16To8[rgb[0]], Depth16To8[rgb[1]], Depth16To8[rgb[2]]);
    int r, g, b;
    ColorCorrectShifted(tables, index, &r, &g, &b);
    uint32_t v = (uint32_t)ColorCorrectValue16(Max3(rgb[0], rgb[1], rgb[2]),
                                               tables->brightness[index], nonlinear);
    out[0] = (uint16_t)(r * v / 255);
    out[1] = (uint16_t)(g * v / 255);
    out[2] = (uint16_t)(b * v / 255);
}

// Whether the points move nothing: every target at its source, every brightness exactly 0.
static int ColorCorrectPointsStill(const ColorCorrectSettings *settings)
{
    for (int i = 0; i < settings->pointCount; i++)
        if (memcmp(settings->targetColor[i], settings->sourceColor[i], 3) != 0 ||
            settings->brightness[i] != 0.0)
            return 0;
    return 1;
}

// 1 when the result is the selected point's influence instead of the corrected picture.
static int ColorCorrectMaskOut(const ColorCorrectSettings *settings)
{
    return settings->saveAsMask && settings->selectedPoint >= 0 &&
           settings->selectedPoint < settings->pointCount;
}

int ColorCorrectChangesNothing(const void *params, const Image *source, int full)
{
    const ColorCorrectSettings *settings = (const ColorCorrectSettings *)params;
    if (source == nullptr || (source->type != TYPE_COLOR24 && source->type != TYPE_COLOR48))
        return 0;
    // A preview that shows the selected point's influence always computes.
    if (!full && settings->showAffectedRegion && settings->selectedPoint >= 0 &&
        settings->selectedPoint < settings->pointCount)
        return 0;
    return AmountIsAllZero(&settings->amount) ||
           (ColorCorrectPointsStill(settings) && !ColorCorrectMaskOut(settings));
}

// What a run makes besides the settings' tables: the scaling to a largest channel of 255,
// the new color of largest channel 255 at each position, and the new 8-bit value for each
// brightness change and value.
struct ColorCorrectRun {
    ColorCorrectTables own;           // built for this run when the settings bring none
    const ColorCorrectTables *tables; // the tables in use
    uint8_t chromaScale[256][256];    // [v][c] = trunc(c x 255 / v) for c <= v
    uint8_t value[CHROMA_SIDE][256];  // [b + 255][v]: the new 8-bit value
    uint32_t *color;                  // r | g << 8 | b << 16 at each position's new place
    int32_t nonlinear;
};

// The position's index of a pixel of 8-bit samples, by the run's scaling table.
static inline int ColorCorrectRunIndex(const ColorCorrectRun *state, int r, int g, int b)
{
    const uint8_t *scale = state->chromaScale[Max3(r, g, b)];
    int rs = scale[r], gs = scale[g], bs = scale[b];
    return (gs - bs + 255) * CHROMA_SIDE + (rs - (gs + bs) / 2 + 255);
}

// An 8-bit pixel row, or a 16-bit one reduced first for a preview. Pixels lie blue first.
// With Region the result is darkened where the selected point does not reach.
template <typename In, int Region>
static void ColorCorrectRow8(const RowRun *run, const uint8_t *inBytes, uint8_t *out)
{
    const ColorCorrectRun *state = (const ColorCorrectRun *)run->state;
    const In *in = (const In *)inBytes;
    const uint32_t *colors = state->color;
    const int16_t *brightness = state->tables->brightness;
    for (int i = 0; i < run->samples; i += 3) {
        int b = in[i], g = in[i + 1], r = in[i + 2];
        if (sizeof(In) == 2) {
            b = Depth16To8[b];
            g = Depth16To8[g];
            r = Depth16To8[r];
        }
        int index = ColorCorrectRunIndex(state, r, g, b);
        uint32_t color = colors[index];
        const uint8_t *scale = LerpTable[state->value[brightness[index] + 255][Max3(r, g, b)]];
        int newB = scale[color >> 16], newG = scale[(color >> 8) & 255], newR = scale[color & 255];
        if (Region) {
            int w = state->tables->region[index];
            newB = LerpTable[newB][w];
            newG = LerpTable[newG][w];
            newR = LerpTable[newR][w];
        }
        out[i] = (uint8_t)newB;
        out[i + 1] = (uint8_t)newG;
        out[i + 2] = (uint8_t)newR;
    }
}

// A 16-bit row of a whole result.
static void ColorCorrectRow16(const RowRun *run, const uint8_t *inBytes, uint8_t *outBytes)
{
    const ColorCorrectRun *state = (const ColorCorrectRun *)run->state;
    const uint16_t *in = (const uint16_t *)inBytes;
    uint16_t *out = (uint16_t *)outBytes;
    const int16_t *brightness = state->tables->brightness;
    for (int i = 0; i < run->samples; i += 3) {
        // The position from the 8-bit form of the samples, the value from the samples.
        int index = ColorCorrectRunIndex(state, Depth16To8[in[i + 2]], Depth16To8[in[i + 1]],
                                         Depth16To8[in[i]]);
        uint32_t color = state->color[index];
        uint32_t v = (uint32_t)ColorCorrectValue16(Max3(in[i], in[i + 1], in[i + 2]),
                                                   brightness[index], state->nonlinear);
        out[i] = (uint16_t)((color >> 16) * v / 255);
        out[i + 1] = (uint16_t)(((color >> 8) & 255) * v / 255);
        out[i + 2] = (uint16_t)((color & 255) * v / 255);
    }
}

// The selected point's influence at each pixel: one gray sample, or the same value on every
// channel when the Amount mixes it with the input (widened for a 16-bit result).
template <typename In, typename Out, int Gray>
static void ColorCorrectRowMask(const RowRun *run, const uint8_t *inBytes, uint8_t *outBytes)
{
    const ColorCorrectRun *state = (const ColorCorrectRun *)run->state;
    const In *in = (const In *)inBytes;
    Out *out = (Out *)outBytes;
    for (int i = 0, o = 0; i < run->samples; i += 3) {
        int b = in[i], g = in[i + 1], r = in[i + 2];
        if (sizeof(In) == 2) {
            b = Depth16To8[b];
            g = Depth16To8[g];
            r = Depth16To8[r];
        }
        int w = state->tables->region[ColorCorrectRunIndex(state, r, g, b)];
        if (Gray) {
            out[o++] = (Out)w;
        } else {
            Out value = sizeof(Out) == 2 ? (Out)Depth8To16[w] : (Out)w;
            out[i] = out[i + 1] = out[i + 2] = value;
        }
    }
}

// Points that move nothing: the input, as 8-bit for a preview of a 16-bit picture.
template <typename In, typename Out>
static void ColorCorrectRowCopy(const RowRun *run, const uint8_t *inBytes, uint8_t *outBytes)
{
    const In *in = (const In *)inBytes;
    Out *out = (Out *)outBytes;
    for (int i = 0; i < run->samples; i++)
        out[i] = (Out)(sizeof(In) == 2 && sizeof(Out) == 1 ? Depth16To8[in[i]] : in[i]);
}

static ErrorCode ColorCorrectOutput(const void *params, int sourceType, int full, int *outputType)
{
    const ColorCorrectSettings *settings = (const ColorCorrectSettings *)params;
    if (sourceType != TYPE_COLOR24 && sourceType != TYPE_COLOR48) return ERROR_ILLEGAL_TYPE;
    // The influence at a full amount everywhere is a gray picture, even from color.
    if (ColorCorrectMaskOut(settings) && AmountIsAllFull(&settings->amount))
        *outputType = TYPE_GRAY8;
    else
        *outputType = ComputeOutputType(sourceType, full);
    return ERROR_NONE;
}

// The tables of this run, from the settings or built here, and what the pixels look up.
static ErrorCode ColorCorrectSetup(RowRun *run)
{
    const ColorCorrectSettings *settings = (const ColorCorrectSettings *)run->params;
    int wide = run->source->type == TYPE_COLOR48;
    int wideOut = run->outputType == TYPE_COLOR48;
    int maskOut = ColorCorrectMaskOut(settings);
    int showRegion = !run->full && settings->showAffectedRegion && settings->selectedPoint >= 0 &&
                     settings->selectedPoint < settings->pointCount;
    int needRegion = maskOut || showRegion;
    ColorCorrectRun *state;

    if (!maskOut && !showRegion && ColorCorrectPointsStill(settings)) {
        run->row = wide ? (wideOut ? ColorCorrectRowCopy<uint16_t, uint16_t>
                                   : ColorCorrectRowCopy<uint16_t, uint8_t>)
                        : ColorCorrectRowCopy<uint8_t, uint8_t>;
        return ERROR_NONE;
    }
    state = (ColorCorrectRun *)MemoryAllocZero(sizeof(ColorCorrectRun));
    if (state == nullptr) return ERROR_NO_MEMORY;
    run->state = state;
    state->nonlinear = settings->nonlinear;
    state->tables = settings->tables;
    if (state->tables == nullptr ||
        (needRegion && state->tables->regionPoint != settings->selectedPoint)) {
        ErrorCode result = ColorCorrectTablesAlloc(&state->own);
        if (result != ERROR_NONE) return result;
        ColorCorrectTablesBuild(settings, &state->own, 0);
        if (needRegion) ColorCorrectRegionBuild(settings, &state->own);
        state->tables = &state->own;
    }
    for (int v = 1; v < 256; v++)
        for (int c = 0; c <= v; c++)
            state->chromaScale[v][c] = (uint8_t)(c * 255 / v);
    if (maskOut) {
        if (run->outputType == TYPE_GRAY8)
            run->row = wide ? ColorCorrectRowMask<uint16_t, uint8_t, 1>
                            : ColorCorrectRowMask<uint8_t, uint8_t, 1>;
        else
            run->row = wide ? (wideOut ? ColorCorrectRowMask<uint16_t, uint16_t, 0>
                                       : ColorCorrectRowMask<uint16_t, uint8_t, 0>)
                            : ColorCorrectRowMask<uint8_t, uint8_t, 0>;
        return ERROR_NONE;
    }
    state->color = (uint32_t *)MemoryAlloc(sizeof(uint32_t) * CHROMA_ENTRIES);
    if (state->color == nullptr) return ERROR_NO_MEMORY;
    for (int index = 0; index < CHROMA_ENTRIES; index++) {
        int r, g, b;
        ColorCorrectShifted(state->tables, index, &r, &g, &b);
        state->color[index] = (uint32_t)r | (uint32_t)g << 8 | (uint32_t)b << 16;
    }
    for (int b = -255; b <= 255; b++)
        for (int v = 0; v < 256; v++)
            state->value[b + 255][v] = (uint8_t)ColorCorrectValue8(v, b, settings->nonlinear);
    if (wideOut)
        run->row = ColorCorrectRow16;
    else if (showRegion)
        run->row = wide ? ColorCorrectRow8<uint16_t, 1> : ColorCorrectRow8<uint8_t, 1>;
    else
        run->row = wide ? ColorCorrectRow8<uint16_t, 0> : ColorCorrectRow8<uint8_t, 0>;
    return ERROR_NONE;
}

static void ColorCorrectCleanup(RowRun *run)
{
    ColorCorrectRun *state = (ColorCorrectRun *)run->state;
    if (state == nullptr) return;
    ColorCorrectTablesFree(&state->own);
    MemoryRelease(&state->color);
    MemoryRelease(&run->state);
}

static void ColorCorrectMix(const void *params, RowMix *mix)
{
    AmountMix(&((const ColorCorrectSettings *)params)->amount, mix);
}

static const RowTransform COLOR_CORRECT_ROWS = {"Color Correct",     1,
                                                ColorCorrectOutput,  ColorCorrectSetup,
                                                ColorCorrectCleanup, ColorCorrectMix};

ErrorCode ColorCorrectCompute(const Image *source, Image *destination, Picture *picture,
                              void *params, int full, int destinationWidth, int destinationHeight,
                              int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                              int w, int h)
{
    (void)picture; // a result has nothing of this transformation's own but its pixels
    return ComputeRows(&COLOR_CORRECT_ROWS, source, destination, params, full, destinationWidth,
                       destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

static int ColorCorrectAccepts(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
}

static void ColorCorrectDefaults(void *settings)
{
    ColorCorrectSettingsDefault((ColorCorrectSettings *)settings);
}

static ErrorCode ColorCorrectReadSettings(const char *path, void *settings)
{
    return ColorCorrectSettingsLoad(path, settings);
}

// vistel-cli may run it in place: each row reads a pixel before writing it. The gray
// influence of "Save As Mask", which would not fit, comes from the dialog only, never from a
// settings file.
const TransformDescriptor ColorCorrectTransform = {
    "Color Correct",
    "color-correct",
    "Color Correct by the control points of a .colorcorrect file",
    "Color C&orrect...",
    MENU_IMAGE_DIALOG,
    COMMAND_COLOR_CORRECT,
    KIND_COLOR_CORRECT,
    ColorCorrectCompute,
    ColorCorrectAccepts,
    "colorcorrect",
    ColorCorrectChangesNothing,
    nullptr,
    TRANSFORM_PROFILE_INHERIT,
    1,
    (int32_t)offsetof(ColorCorrectSettings, amount),
    sizeof(ColorCorrectSettings),
    ColorCorrectDefaults,
    nullptr,
    nullptr,
    0,
    nullptr,
    ColorCorrectReadSettings,
    &COLOR_CORRECT_ROWS};
