// Color Balance: three tables, one a channel, each a line through the shadow and highlight
// pairs (and, when it is on, a bend at the midtone pair), extended past both ends until it
// clamps. A pixel costs three lookups; the lines are worked out once a run.
#include "transforms/ColorBalance.h"

#include <cstddef>
#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/SettingsText.h"

static const int BALANCE_TABLE16_SIZE = 65536;
static const int64_t BALANCE_SAMPLED_MAX = 2000000; // pixels the finding of the points reads

static void BalanceCopy(uint8_t *to, const uint8_t *from)
{
    memcpy(to, from, 3);
}

static void BalanceFill(uint8_t *to, int value)
{
    memset(to, value, 3);
}

// The neutral gray of a color's luminance.
static void BalanceNeutral(uint8_t *to, const uint8_t *color)
{
    BalanceFill(to, Luminance(color[BALANCE_RED], color[BALANCE_GREEN], color[BALANCE_BLUE]));
}

void ColorBalanceSettingsDefault(ColorBalanceSettings *settings)
{
    *settings = {};
    settings->highlightMode = BALANCE_NONE;
    settings->midtoneMode = BALANCE_NONE;
    settings->shadowMode = BALANCE_NONE;
    settings->probeTarget = PROBE_HIGHLIGHT;
    settings->probeSize = 1; // 3x3
    BalanceFill(settings->highlightRemove, 255);
    BalanceFill(settings->highlightAdd, 255);
    BalanceFill(settings->autoWhite, 255);
    BalanceFill(settings->midtoneRemove, 128);
    BalanceFill(settings->midtoneAdd, 128);
    AmountSettingDefault(&settings->amount, "Amount: ", 0);
}

void ColorBalanceReset(ColorBalanceSettings *settings)
{
    settings->highlightMode = BALANCE_AUTO;
    settings->shadowMode = BALANCE_NONE;
    settings->midtoneMode = BALANCE_NONE;
    settings->probeTarget = PROBE_NONE;
    BalanceCopy(settings->highlightRemove, settings->autoWhite);
    BalanceNeutral(settings->highlightAdd, settings->autoWhite);
    BalanceFill(settings->shadowRemove, 0);
    BalanceFill(settings->shadowAdd, 0);
    settings->midtoneEnabled = 0;
    BalanceFill(settings->midtoneRemove, 128);
    BalanceFill(settings->midtoneAdd, 128);
}

void ColorBalanceFullRange(ColorBalanceSettings *settings)
{
    settings->highlightMode = BALANCE_AUTO;
    settings->shadowMode = BALANCE_AUTO;
    settings->midtoneMode = BALANCE_NONE;
    settings->probeTarget = PROBE_NONE;
    BalanceCopy(settings->highlightRemove, settings->autoWhite);
    BalanceFill(settings->highlightAdd, 255);
    BalanceCopy(settings->shadowRemove, settings->autoBlack);
    BalanceFill(settings->shadowAdd, 0);
    settings->midtoneEnabled = 0;
    BalanceFill(settings->midtoneRemove, 128);
    BalanceFill(settings->midtoneAdd, 128);
}

// The mean color of the bins walked from first in steps of step until more than limit
// pixels were taken; fallback when none were.
static void BalanceWalk(const uint32_t (*bins)[256], int first, int step, int64_t limit,
                        int fallback, uint8_t *color)
{
    uint64_t sums[3] = {0, 0, 0};
    uint64_t count = 0;
    for (int bin = first; bin >= 0 && bin < 256; bin += step) {
        for (int c = 0; c < 3; c++)
            sums[c] += bins[c][bin];
        count += bins[3][bin];
        if ((int64_t)count > limit) break;
    }
    for (int c = 0; c < 3; c++)
        color[c] = count == 0 ? (uint8_t)fallback : (uint8_t)(sums[c] / count);
}

ErrorCode ColorBalanceFindPoints(const Image *source, ColorBalanceSettings *settings,
                                 double whiteFraction, double blackFraction)
{
    if (source->type != TYPE_COLOR24 && source->type != TYPE_COLOR48) return ERROR_ILLEGAL_TYPE;
    // Sums of red, green and blue and the count of each bin of (r + g + b) / 3. A bin's sums
    // stay below 2^32: at most about 2000000 pixels of at most 255.
    uint32_t bins[4][256] = {};
    int64_t area = (int64_t)source->width * source->height;
    int64_t sx = 1, sy = 1;
    while (area / (sx * sy) > BALANCE_SAMPLED_MAX) {
        if (sx == sy)
            sy++;
        else
            sx++;
    }
    int64_t sampled = area / (sx * sy);
    int wide = source->type == TYPE_COLOR48;
    int showProgress = area >= PROGRESS_PIXELS;
    if (showProgress)
        ProgressOpen(0, source->height - 1, "Finding black & white points", 0);
    else
        SetWaitCursor();
    for (int y = 0; y < source->height; y += (int)sy) {
        const uint8_t *row = source->rows[y];
        for (int x = 0; x < source->width; x += (int)sx) {
            int b, g, r;
            if (wide) {
                const uint16_t *pixel = (const uint16_t *)row + 3 * x;
                b = Depth16To8[pixel[0]];
                g = Depth16To8[pixel[1]];
                r = Depth16To8[pixel[2]];
            } else {
                const uint8_t *pixel = row + 3 * x;
                b = pixel[0];
                g = pixel[1];
                r = pixel[2];
            }
            int bin = (r + g + b) / 3;
            bins[BALANCE_RED][bin] += (uint32_t)r;
            bins[BALANCE_GREEN][bin] += (uint32_t)g;
            bins[BALANCE_BLUE][bin] += (uint32_t)b;
            bins[3][bin]++;
        }
        if (showProgress) ProgressStep(y); // no Cancel: the answer is needed to go on
    }
    if (showProgress)
        ProgressClose();
    else
        SetArrowCursor();
    BalanceWalk(bins, 255, -1, Round((double)sampled * whiteFraction), 255, settings->autoWhite);
    BalanceWalk(bins, 0, 1, Round((double)sampled * blackFraction), 0, settings->autoBlack);
    return ERROR_NONE;
}

// The value of v on one channel's line, all in integers truncating toward zero: through the
// midtone when it is on and v is not on the far side of a collapsed segment, else through
// shadow and highlight, else v itself when those two coincide.
static int BalanceLookup8(int v, int shadowIn, int shadowOut, int midIn, int midOut, int highIn,
                          int highOut, int midtone)
{
    if (midtone) {
        if (v == midIn) return midOut;
        if (v < midIn && midIn != shadowIn)
            return Clamp8(shadowOut + (v - shadowIn) * (midOut - shadowOut) / (midIn - shadowIn));
        if (v > midIn && midIn != highIn)
            return Clamp8(midOut + (v - midIn) * (highOut - midOut) / (highIn - midIn));
    }
    if (highIn != shadowIn)
        return Clamp8(shadowOut + (v - shadowIn) * (highOut - shadowOut) / (highIn - shadowIn));
    return v;
}

void ColorBalanceTable8(const ColorBalanceSettings *settings, int channel, uint8_t *table)
{
    const ColorBalanceSettings *s = settings;
    for (int v = 0; v < 256; v++)
        table[v] = (uint8_t)BalanceLookup8(v, s->shadowRemove[channel], s->shadowAdd[channel],
                                           s->midtoneRemove[channel], s->midtoneAdd[channel],
                                           s->highlightRemove[channel], s->highlightAdd[channel],
                                           s->midtoneEnabled);
}

// A point of the 16-bit line: at or below 0 gives 0, at or above 65535 gives 65535.
static int BalanceClamp16(double value)
{
    if (value <= 0.0) return 0;
    if (value >= 65535.0) return 65535;
    return Round(value);
}

// The 8-bit line with its six points widened by Depth8To16, in doubles.
static int BalanceLookup16(int v, double shadowIn, double shadowOut, double midIn, double midOut,
                           double highIn, double highOut, int midtone)
{
    if (midtone) {
        if (v == midIn) return Round(midOut);
        if (v < midIn && midIn != shadowIn)
            return BalanceClamp16(shadowOut +
                                  (v - shadowIn) * (midOut - shadowOut) / (midIn - shadowIn));
        if (v > midIn && midIn != highIn)
            return BalanceClamp16(midOut + (v - midIn) * (highOut - midOut) / (highIn - midIn));
    }
    if (highIn != shadowIn)
        return BalanceClamp16(shadowOut +
                              (v - shadowIn) * (highOut - shadowOut) / (highIn - shadowIn));
    return v;
}

void ColorBalanceTable16(const ColorBalanceSettings *settings, int channel, uint16_t *table)
{
    const ColorBalanceSettings *s = settings;
    const double shadowIn = Depth8To16[s->shadowRemove[channel]];
    const double shadowOut = Depth8To16[s->shadowAdd[channel]];
    const double midIn = Depth8To16[s->midtoneRemove[channel]];
    const double midOut = Depth8To16[s->midtoneAdd[channel]];
    const double highIn = Depth8To16[s->highlightRemove[channel]];
    const double highOut = Depth8To16[s->highlightAdd[channel]];
    for (int v = 0; v < BALANCE_TABLE16_SIZE; v++)
        table[v] = (uint16_t)BalanceLookup16(v, shadowIn, shadowOut, midIn, midOut, highIn, highOut,
                                             s->midtoneEnabled);
}

// The remove colors keep shadow < midtone < highlight on each channel; a value pushed past
// a neighbour stops one level short of it, and stays inside 0..255.
static int BalanceAbove(int value, int floor)
{
    return value <= floor ? (floor < 255 ? floor + 1 : 255) : value;
}

static int BalanceBelow(int value, int ceiling)
{
    return value >= ceiling ? (ceiling > 0 ? ceiling - 1 : 0) : value;
}

void ColorBalanceSetHighlightRemove(ColorBalanceSettings *settings, const uint8_t *color)
{
    for (int c = 0; c < 3; c++) {
        int v = BalanceAbove(color[c], settings->shadowRemove[c]);
        if (settings->midtoneEnabled) v = BalanceAbove(v, settings->midtoneRemove[c]);
        settings->highlightRemove[c] = (uint8_t)v;
    }
    settings->highlightMode = BALANCE_CUSTOM;
}

void ColorBalanceSetShadowRemove(ColorBalanceSettings *settings, const uint8_t *color)
{
    for (int c = 0; c < 3; c++) {
        int v = BalanceBelow(color[c], settings->highlightRemove[c]);
        if (settings->midtoneEnabled) v = BalanceBelow(v, settings->midtoneRemove[c]);
        settings->shadowRemove[c] = (uint8_t)v;
    }
    settings->shadowMode = BALANCE_CUSTOM;
}

void ColorBalanceSetMidtoneRemove(ColorBalanceSettings *settings, const uint8_t *color)
{
    for (int c = 0; c < 3; c++) {
        int v = BalanceAbove(color[c], settings->shadowRemove[c]);
        settings->midtoneRemove[c] = (uint8_t)BalanceBelow(v, settings->highlightRemove[c]);
    }
    // A new middle starts out neutral: the cast is removed, none is added.
    BalanceNeutral(settings->midtoneAdd, settings->midtoneRemove);
    settings->midtoneMode = BALANCE_MIDTONE_CUSTOM;
    settings->midtoneEnabled = 1;
}

void ColorBalanceProbe(ColorBalanceSettings *settings, const uint8_t *color)
{
    switch (settings->probeTarget) {
    case PROBE_HIGHLIGHT:
        ColorBalanceSetHighlightRemove(settings, color);
        BalanceNeutral(settings->highlightAdd, settings->highlightRemove);
        break;
    case PROBE_SHADOW:
        ColorBalanceSetShadowRemove(settings, color);
        BalanceNeutral(settings->shadowAdd, settings->shadowRemove);
        break;
    case PROBE_MIDTONE: ColorBalanceSetMidtoneRemove(settings, color); break;
    default: break;
    }
}

int ColorBalanceSetHighlightMode(ColorBalanceSettings *settings, int mode)
{
    switch (mode) {
    case BALANCE_NONE:
        BalanceFill(settings->highlightRemove, 255);
        BalanceFill(settings->highlightAdd, 255);
        break;
    case BALANCE_AUTO:
        BalanceCopy(settings->highlightRemove, settings->autoWhite);
        BalanceNeutral(settings->highlightAdd, settings->autoWhite);
        break;
    default: return 0; // custom keeps what the user made
    }
    settings->highlightMode = mode;
    return 1;
}

int ColorBalanceSetShadowMode(ColorBalanceSettings *settings, int mode)
{
    switch (mode) {
    case BALANCE_NONE:
        BalanceFill(settings->shadowRemove, 0);
        BalanceFill(settings->shadowAdd, 0);
        break;
    case BALANCE_AUTO:
        BalanceCopy(settings->shadowRemove, settings->autoBlack);
        BalanceNeutral(settings->shadowAdd, settings->autoBlack);
        break;
    default: return 0;
    }
    settings->shadowMode = mode;
    return 1;
}

int ColorBalanceSetMidtoneMode(ColorBalanceSettings *settings, int mode)
{
    if (mode == BALANCE_NONE) {
        // Off, the middle waits halfway along the line, where turning it on changes nothing
        // at first.
        settings->midtoneEnabled = 0;
        for (int c = 0; c < 3; c++) {
            settings->midtoneRemove[c] =
                (uint8_t)((settings->shadowRemove[c] + settings->highlightRemove[c]) / 2);
            settings->midtoneAdd[c] =
                (uint8_t)((settings->shadowAdd[c] + settings->highlightAdd[c]) / 2);
        }
    } else {
        settings->midtoneEnabled = 1;
    }
    settings->midtoneMode = mode == BALANCE_NONE ? BALANCE_NONE : BALANCE_MIDTONE_CUSTOM;
    return 1;
}

// 1 when every 8-bit table maps each level to itself.
static int BalanceIsIdentity(const ColorBalanceSettings *settings)
{
    uint8_t table[256];
    for (int c = 0; c < 3; c++) {
        ColorBalanceTable8(settings, c, table);
        for (int v = 0; v < 256; v++)
            if (table[v] != v) return 0;
    }
    return 1;
}

int ColorBalanceChangesNothing(const void *params, const Image *source, int full)
{
    (void)full;
    const ColorBalanceSettings *settings = (const ColorBalanceSettings *)params;
    if (source == nullptr || (source->type != TYPE_COLOR24 && source->type != TYPE_COLOR48))
        return 0;
    return BalanceIsIdentity(settings) || AmountIsAllZero(&settings->amount);
}

// The tables of a run, each in the order the samples lie in memory: blue, green, red. The
// wide ones only for a 16-bit result.
struct BalanceTables {
    uint8_t narrow[3][256];
    uint16_t *wide; // 3 x 65536 words, or null
};

// One row through the tables. A 16-bit sample of a preview is first reduced through
// Depth16To8, so that the 8-bit tables serve it.
template <typename In, typename Out>
static void BalanceRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    const BalanceTables *tables = (const BalanceTables *)run->state;
    const In *samples = (const In *)in;
    Out *results = (Out *)out;
    const int count = run->samples;
    if (sizeof(Out) == 2) {
        const uint16_t *blue = tables->wide;
        const uint16_t *green = blue + BALANCE_TABLE16_SIZE;
        const uint16_t *red = green + BALANCE_TABLE16_SIZE;
        for (int i = 0; i < count; i += 3) {
            results[i] = (Out)blue[samples[i]];
            results[i + 1] = (Out)green[samples[i + 1]];
            results[i + 2] = (Out)red[samples[i + 2]];
        }
    } else if (sizeof(In) == 2) {
        for (int i = 0; i < count; i += 3) {
            results[i] = (Out)tables->narrow[0][Depth16To8[samples[i]]];
            results[i + 1] = (Out)tables->narrow[1][Depth16To8[samples[i + 1]]];
            results[i + 2] = (Out)tables->narrow[2][Depth16To8[samples[i + 2]]];
        }
    } else {
        for (int i = 0; i < count; i += 3) {
            results[i] = (Out)tables->narrow[0][samples[i]];
            results[i + 1] = (Out)tables->narrow[1][samples[i + 1]];
            results[i + 2] = (Out)tables->narrow[2][samples[i + 2]];
        }
    }
}

static ErrorCode BalanceOutput(const void *params, int sourceType, int full, int *outputType)
{
    (void)params;
    if (sourceType != TYPE_COLOR24 && sourceType != TYPE_COLOR48) return ERROR_ILLEGAL_TYPE;
    *outputType = ComputeOutputType(sourceType, full);
    return ERROR_NONE;
}

static ErrorCode BalanceSetup(RowRun *run)
{
    const ColorBalanceSettings *settings = (const ColorBalanceSettings *)run->params;
    static const int MEMORY_ORDER[3] = {BALANCE_BLUE, BALANCE_GREEN, BALANCE_RED};
    int sixteen = run->outputType == TYPE_COLOR48;
    BalanceTables *tables = (BalanceTables *)MemoryAlloc(sizeof(BalanceTables));
    run->state = tables;
    if (tables == nullptr) return ERROR_NO_MEMORY;
    tables->wide = nullptr;
    for (int c = 0; c < 3; c++)
        ColorBalanceTable8(settings, MEMORY_ORDER[c], tables->narrow[c]);
    if (sixteen) {
        tables->wide = (uint16_t *)MemoryAlloc(sizeof(uint16_t) * 3 * BALANCE_TABLE16_SIZE);
        if (tables->wide == nullptr) return ERROR_NO_MEMORY;
        for (int c = 0; c < 3; c++)
            ColorBalanceTable16(settings, MEMORY_ORDER[c],
                                tables->wide + (size_t)c * BALANCE_TABLE16_SIZE);
        run->row = BalanceRow<uint16_t, uint16_t>;
    } else if (run->source->type == TYPE_COLOR48) {
        run->row = BalanceRow<uint16_t, uint8_t>;
    } else {
        run->row = BalanceRow<uint8_t, uint8_t>;
    }
    return ERROR_NONE;
}

static void BalanceCleanup(RowRun *run)
{
    BalanceTables *tables = (BalanceTables *)run->state;
    if (tables != nullptr) MemoryRelease(&tables->wide);
    MemoryRelease(&run->state);
}

static void BalanceMix(const void *params, RowMix *mix)
{
    AmountMix(&((const ColorBalanceSettings *)params)->amount, mix);
}

static const RowTransform BALANCE_ROWS = {"Color Balance", 1,         BalanceOutput, BalanceSetup,
                                          BalanceCleanup,  BalanceMix};

ErrorCode ColorBalanceCompute(const Image *source, Image *destination, Picture *picture,
                              void *params, int full, int destinationWidth, int destinationHeight,
                              int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                              int w, int h)
{
    (void)picture;
    return ComputeRows(&BALANCE_ROWS, source, destination, params, full, destinationWidth,
                       destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

// Parses count level tokens (0..255) into levels; returns 1 (failure) for any other.
static int BalanceParseLevels(char **tokens, int count, uint8_t *levels)
{
    for (int i = 0; i < count; i++) {
        int32_t value;
        if (ParseInteger(tokens[i], &value) || value < 0 || value > 255) return 1;
        levels[i] = (uint8_t)value;
    }
    return 0;
}

ErrorCode ColorBalanceFileRead(FileHandle file, void *params)
{
    ColorBalanceSettings *settings = (ColorBalanceSettings *)params;
    const ErrorCode illegal = ERROR_ILLEGAL_COLOR_BALANCE_FILE;
    int count;
    char **tokens;
    uint8_t levels[6];
    // The header is taken exactly: two words, with their case.
    if (SettingsReadLine(file, &count, &tokens) || count != 2 ||
        strcmp(tokens[0], "ColorBalance") != 0 || strcmp(tokens[1], "1.0") != 0)
        return illegal;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return illegal; // no "end"
        if (SettingsLineIsEnd(count, tokens)) break;
        if (SettingsKeyIs(tokens, "white") || SettingsKeyIs(tokens, "black")) {
            int white = SettingsKeyIs(tokens, "white");
            if (count != 7 || BalanceParseLevels(tokens + 1, 6, levels)) return illegal;
            BalanceCopy(white ? settings->highlightRemove : settings->shadowRemove, levels);
            BalanceCopy(white ? settings->highlightAdd : settings->shadowAdd, levels + 3);
            if (white)
                settings->highlightMode = BALANCE_CUSTOM;
            else
                settings->shadowMode = BALANCE_CUSTOM;
        } else if (SettingsKeyIs(tokens, "neutral")) {
            int32_t enabled;
            if (count != 8 || ParseInteger(tokens[1], &enabled) || enabled < 0 || enabled > 1 ||
                BalanceParseLevels(tokens + 2, 6, levels))
                return illegal;
            // A midtone that is off keeps its numbers; they take no part in the tables.
            settings->midtoneEnabled = enabled;
            settings->midtoneMode = enabled;
            BalanceCopy(settings->midtoneRemove, levels);
            BalanceCopy(settings->midtoneAdd, levels + 3);
        } else {
            return illegal;
        }
    }
    return ERROR_NONE;
}

ErrorCode ColorBalanceFileWrite(FileHandle file, const void *params)
{
    const ColorBalanceSettings *s = (const ColorBalanceSettings *)params;
    ErrorCode result = SettingsWriteHeader(file, "ColorBalance");
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "white %d %d %d %d %d %d", s->highlightRemove[0],
                                   s->highlightRemove[1], s->highlightRemove[2], s->highlightAdd[0],
                                   s->highlightAdd[1], s->highlightAdd[2]);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "neutral %d %d %d %d %d %d %d", s->midtoneEnabled,
                                   s->midtoneRemove[0], s->midtoneRemove[1], s->midtoneRemove[2],
                                   s->midtoneAdd[0], s->midtoneAdd[1], s->midtoneAdd[2]);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "black %d %d %d %d %d %d", s->shadowRemove[0],
                                   s->shadowRemove[1], s->shadowRemove[2], s->shadowAdd[0],
                                   s->shadowAdd[1], s->shadowAdd[2]);
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}

static int BalanceAccepts(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
}

static void BalanceDefaults(void *settings)
{
    ColorBalanceSettingsDefault((ColorBalanceSettings *)settings);
}

static ErrorCode BalanceReadSettings(const char *path, void *settings)
{
    return SettingsFileLoad(path, ColorBalanceFileRead, settings);
}

const TransformDescriptor ColorBalanceTransform = {
    "Color Balance",
    "color-balance",
    "Color Balance by the pairs of colors of a .cb file",
    "Color &Balance...",
    MENU_IMAGE_DIALOG,
    COMMAND_COLOR_BALANCE,
    KIND_COLOR_BALANCE,
    ColorBalanceCompute,
    BalanceAccepts,
    "cb",
    ColorBalanceChangesNothing,
    nullptr,
    TRANSFORM_PROFILE_INHERIT,
    1,
    (int32_t)offsetof(ColorBalanceSettings, amount),
    sizeof(ColorBalanceSettings),
    BalanceDefaults,
    nullptr,
    nullptr,
    0,
    nullptr,
    BalanceReadSettings,
    &BALANCE_ROWS,
};
