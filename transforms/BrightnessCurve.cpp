// Brightness Curve: the curve's table looked up for each pixel's brightness. In HSV the
// largest channel is the brightness and the channels scale with it; in HSL the lightness
// changes and hue and saturation stay; in RGB each channel goes through the table alone.
#include "transforms/BrightnessCurve.h"

#include <cstddef>
#include <cstring>

#include "color/ColorSpace.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "transforms/FloatCurve.h"

const char *const CURVES_SPACE_NAMES[3] = {"hsv", "hsl", "rgb"};

static const int CURVES_TABLE16_SIZE = 65536;

void BrightnessCurveSettingsDefault(BrightnessCurveSettings *settings)
{
    CurvePointsReset(&settings->curve);
    settings->colorSpace = CURVES_RGB;
    AmountSettingDefault(&settings->amount, "Amount: ", 0);
}

ErrorCode CurvesOutputType(const void *params, int sourceType, int full, int *outputType)
{
    (void)params;
    *outputType = sourceType == TYPE_BINARY ? TYPE_GRAY8 : ComputeOutputType(sourceType, full);
    return *outputType == TYPE_EMPTY ? ERROR_ILLEGAL_TYPE : ERROR_NONE;
}

static int CurvesAccepts(int type)
{
    return ImageIsPicture(type);
}

// The tables of one run: the 8-bit one always, the 16-bit one for a 16-bit result.
struct BrightnessRun {
    uint8_t table[256];
    uint16_t *table16;
    int32_t colorSpace;
};

// One color pixel's brightness through the table, at either depth.
template <typename Table>
static inline void BrightnessPixel(int colorSpace, const Table *table, int *r, int *g, int *b,
                                   int sixteen)
{
    switch (colorSpace) {
    case CURVES_HSV: {
        int v = Max3(*r, *g, *b);
        SetValue(r, g, b, v, table[v]);
        break;
    }
    case CURVES_HSL:
        if (sixteen)
            SetLightness16(r, g, b, table[HslLightness(*r, *g, *b)]);
        else
            SetLightness8(r, g, b, table[HslLightness(*r, *g, *b)]);
        break;
    default:
        *r = table[*r];
        *g = table[*g];
        *b = table[*b];
        break;
    }
}

// A gray row (binary comes as bytes 0 and 255): 8 bits, 16 to 8 through Depth16To8, 16 to
// 16 through the 16-bit table.
template <typename In, typename Out>
static void BrightnessGrayRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    const BrightnessRun *state = (const BrightnessRun *)run->state;
    const In *samples = (const In *)in;
    Out *results = (Out *)out;
    for (int i = 0; i < run->samples; i++) {
        if (sizeof(In) == 1)
            results[i] = (Out)state->table[samples[i]];
        else if (sizeof(Out) == 1)
            results[i] = (Out)state->table[Depth16To8[samples[i]]];
        else
            results[i] = (Out)state->table16[samples[i]];
    }
}

// A color row, blue first, by the same three depths.
template <typename In, typename Out>
static void BrightnessColorRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    const BrightnessRun *state = (const BrightnessRun *)run->state;
    const In *samples = (const In *)in;
    Out *results = (Out *)out;
    int sixteen = sizeof(Out) == 2;
    for (int i = 0; i < run->samples; i += 3) {
        int b = samples[i], g = samples[i + 1], r = samples[i + 2];
        if (sizeof(In) == 2 && !sixteen) {
            b = Depth16To8[b];
            g = Depth16To8[g];
            r = Depth16To8[r];
        }
        if (sixteen)
            BrightnessPixel(state->colorSpace, state->table16, &r, &g, &b, 1);
        else
            BrightnessPixel(state->colorSpace, state->table, &r, &g, &b, 0);
        results[i] = (Out)b;
        results[i + 1] = (Out)g;
        results[i + 2] = (Out)r;
    }
}

static ErrorCode BrightnessSetup(RowRun *run)
{
    const BrightnessCurveSettings *settings = (const BrightnessCurveSettings *)run->params;
    int sixteen = run->outputType == TYPE_GRAY16 || run->outputType == TYPE_COLOR48;
    int sourceType = run->source->type;
    int source16 = sourceType == TYPE_GRAY16 || sourceType == TYPE_COLOR48;
    int color = run->outputType == TYPE_COLOR24 || run->outputType == TYPE_COLOR48;
    BrightnessRun *state = (BrightnessRun *)MemoryAllocZero(sizeof(BrightnessRun));
    run->state = state;
    if (state == nullptr) return ERROR_NO_MEMORY;
    state->colorSpace = settings->colorSpace;
    const CurvePoints *curve = &settings->curve;
    ErrorCode result =
        CurveTableFromPoints(curve->pointCount, curve->x, curve->y, curve->style, state->table);
    if (result != ERROR_NONE) return result;
    if (sixteen) {
        state->table16 = (uint16_t *)MemoryAlloc(sizeof(uint16_t) * CURVES_TABLE16_SIZE);
        if (state->table16 == nullptr) return ERROR_NO_MEMORY;
        result = CurveTable16FromPoints(curve->pointCount, curve->x, curve->y, curve->style,
                                        state->table16);
        if (result != ERROR_NONE) return result;
    }
    if (color)
        run->row = sixteen    ? BrightnessColorRow<uint16_t, uint16_t>
                   : source16 ? BrightnessColorRow<uint16_t, uint8_t>
                              : BrightnessColorRow<uint8_t, uint8_t>;
    else
        run->row = sixteen    ? BrightnessGrayRow<uint16_t, uint16_t>
                   : source16 ? BrightnessGrayRow<uint16_t, uint8_t>
                              : BrightnessGrayRow<uint8_t, uint8_t>;
    return ERROR_NONE;
}

static void BrightnessCleanup(RowRun *run)
{
    BrightnessRun *state = (BrightnessRun *)run->state;
    if (state != nullptr) MemoryFree(state->table16);
    MemoryRelease(&run->state);
}

static void BrightnessMix(const void *params, RowMix *mix)
{
    AmountMix(&((const BrightnessCurveSettings *)params)->amount, mix);
}

static const RowTransform BRIGHTNESS_ROWS = {
    "Brightness Curve", 1, CurvesOutputType, BrightnessSetup, BrightnessCleanup, BrightnessMix};

ErrorCode BrightnessCurveCompute(const Image *source, Image *destination, Picture *picture,
                                 void *params, int full, int destinationWidth,
                                 int destinationHeight, int sourceX, int sourceY, int zoom, int x0,
                                 int y0, int x1, int y1, int w, int h)
{
    (void)picture;
    return ComputeRows(&BRIGHTNESS_ROWS, source, destination, params, full, destinationWidth,
                       destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

// The identity curve, or no amount, leaves a picture of a type that keeps its type as it is.
static int BrightnessChangesNothing(const void *params, const Image *source, int full)
{
    const BrightnessCurveSettings *settings = (const BrightnessCurveSettings *)params;
    if (source == nullptr || ComputeOutputType(source->type, full) == TYPE_EMPTY) return 0;
    if (AmountIsAllZero(&settings->amount)) return 1;
    return CurvePointsChangeNothing(&settings->curve);
}

ErrorCode BrightnessCurveLoad(const char *path, BrightnessCurveSettings *settings)
{
    FileHandle file = FILE_HANDLE_NONE;
    if (FileOpenRead(path, &file) != ERROR_NONE) return ERROR_OPEN_FILE;
    CurvePoints read = settings->curve;
    ErrorCode result;
    const char *dot = strrchr(path, '.');
    if (dot != nullptr && StrEqualNoCase(dot, ".fcrv")) {
        // Real levels to whole ones: a curve whose points fall together at 8 bits has no
        // place here.
        FloatCurve curve;
        FloatCurveReset(&curve);
        result = ReadFloatCurveFile(file, &curve.pointCount, curve.x, curve.y, &curve.style);
        if (result == ERROR_NONE) {
            read.pointCount = curve.pointCount;
            read.style = curve.style;
            for (int i = 0; i < curve.pointCount; i++) {
                read.x[i] = Round(curve.x[i] * 255.0);
                read.y[i] = Round(curve.y[i] * 255.0);
            }
            if (!CurvePointsValid(read.pointCount, read.x, read.y))
                result = ERROR_ILLEGAL_CURVE_FILE;
        }
    } else {
        result =
            ReadCurveFile(file, &read.pointCount, read.x, read.y, &read.style, &read.histExpand);
        if (result == ERROR_NONE && !CurvePointsValid(read.pointCount, read.x, read.y))
            result = ERROR_ILLEGAL_CURVE_FILE;
    }
    FileClose(&file);
    if (result == ERROR_NONE) settings->curve = read;
    return result;
}

static ErrorCode BrightnessCurveRead(const char *path, void *settings)
{
    return BrightnessCurveLoad(path, (BrightnessCurveSettings *)settings);
}

static void BrightnessDefaults(void *settings)
{
    BrightnessCurveSettingsDefault((BrightnessCurveSettings *)settings);
}

// The curve is read from the settings file; the verb's option is the color space.
static const TransformOption BRIGHTNESS_OPTIONS[] = {
    {"--color-space", "SPACE", OPTION_CHOICE, 0, 0.0, 0.0, CURVES_SPACE_NAMES, 3,
     offsetof(BrightnessCurveSettings, colorSpace), 0,
     "hsv, hsl or rgb (default): what brightness the curve acts on",
     "the color space must be hsv, hsl or rgb", nullptr},
};

const TransformDescriptor BrightnessCurveTransform = {
    "Brightness Curve",
    "curves",
    "Brightness Curve from a curve file (.crv, .fcrv)",
    "&Brightness Curve...",
    MENU_IMAGE_DIALOG,
    COMMAND_BRIGHTNESS_CURVE,
    KIND_BRIGHTNESS_CURVE,
    BrightnessCurveCompute,
    CurvesAccepts,
    "crv fcrv",
    BrightnessChangesNothing,
    nullptr,
    TRANSFORM_PROFILE_INHERIT,
    1,
    (int32_t)offsetof(BrightnessCurveSettings, amount),
    sizeof(BrightnessCurveSettings),
    BrightnessDefaults,
    nullptr,
    BRIGHTNESS_OPTIONS,
    1,
    nullptr,
    BrightnessCurveRead,
    &BRIGHTNESS_ROWS,
};
