// Color Curves: each pixel taken apart into three components, each component through its
// own curve, and the pixel put together again. In HSV and HSL the components are 12-bit
// (0..4096) and so are the tables, made once a run from the curves' 8-bit tables; in RGB the
// channels go through the 8-bit tables, or the 16-bit ones for a 16-bit result.
#include "transforms/ColorCurves.h"

#include <cstddef>
#include <cstring>

#include "color/ColorSpace.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/SettingsText.h"
#include "core/Text.h"

static const int CURVES_TABLE16_SIZE = 65536;
extern const char *const CURVE_STYLE_WORDS[3]; // "step", "linear", "spline"

void ColorCurvesSettingsDefault(ColorCurvesSettings *settings)
{
    for (CurvePoints &curve : settings->curves)
        CurvePointsReset(&curve);
    settings->colorSpace = CURVES_RGB;
    settings->component = 2;
    AmountSettingDefault(&settings->amount, "Amount: ", 0);
}

void CurvesTable12(const uint8_t *table, uint16_t *table12)
{
    for (int j = 0; j < CURVES_LEVELS12; j++)
        table12[j] = (uint16_t)((table[(j * 255 + 2048) >> 12] * 4096 + 127) / 255);
}

// The tables of one run.
struct CurvesRun {
    uint8_t tables[3][256];
    uint16_t tables12[3][CURVES_LEVELS12];
    uint16_t *tables16; // 3 x 65536 for a 16-bit result, else null
    int32_t colorSpace;
};

// A color row, blue first: In and Out samples of 8 or 16 bits (a 16-bit sample of an 8-bit
// result first through Depth16To8).
template <typename In, typename Out>
static void CurvesColorRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    const CurvesRun *state = (const CurvesRun *)run->state;
    const In *samples = (const In *)in;
    Out *results = (Out *)out;
    const int sixteen = sizeof(Out) == 2;
    const uint16_t *t16 = state->tables16;
    for (int i = 0; i < run->samples; i += 3) {
        int b = samples[i], g = samples[i + 1], r = samples[i + 2];
        if (sizeof(In) == 2 && !sixteen) {
            b = Depth16To8[b];
            g = Depth16To8[g];
            r = Depth16To8[r];
        }
        int c0, c1, c2;
        switch (state->colorSpace) {
        case CURVES_HSV:
            if (sixteen) {
                RgbToHsv16(r, g, b, &c0, &c1, &c2);
                HsvToRgb16(t16[c0], t16[65536 + c1], t16[131072 + c2], &r, &g, &b);
            } else {
                RgbToHsv8(r, g, b, &c0, &c1, &c2);
                HsvToRgb8(state->tables12[0][c0], state->tables12[1][c1], state->tables12[2][c2],
                          &r, &g, &b);
            }
            break;
        case CURVES_HSL:
            if (sixteen) {
                RgbToHsl16(r, g, b, &c0, &c1, &c2);
                HslToRgb16(t16[c0], t16[65536 + c1], t16[131072 + c2], &r, &g, &b);
            } else {
                RgbToHsl8(r, g, b, &c0, &c1, &c2);
                HslToRgb8(state->tables12[0][c0], state->tables12[1][c1], state->tables12[2][c2],
                          &r, &g, &b);
            }
            break;
        default:
            if (sixteen) {
                r = t16[r];
                g = t16[65536 + g];
                b = t16[131072 + b];
            } else {
                r = state->tables[0][r];
                g = state->tables[1][g];
                b = state->tables[2][b];
            }
            break;
        }
        results[i] = (Out)b;
        results[i + 1] = (Out)g;
        results[i + 2] = (Out)r;
    }
}

// A picture without color passes as it is (binary as gray bytes, 16 bits reduced for a
// preview).
template <typename In, typename Out>
static void CurvesCopyRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    const In *samples = (const In *)in;
    Out *results = (Out *)out;
    for (int i = 0; i < run->samples; i++)
        results[i] =
            (Out)(sizeof(In) == 2 && sizeof(Out) == 1 ? Depth16To8[samples[i]] : samples[i]);
}

static ErrorCode CurvesSetup(RowRun *run)
{
    const ColorCurvesSettings *settings = (const ColorCurvesSettings *)run->params;
    int sixteen = run->outputType == TYPE_GRAY16 || run->outputType == TYPE_COLOR48;
    int source16 = run->source->type == TYPE_GRAY16 || run->source->type == TYPE_COLOR48;
    int color = run->outputType == TYPE_COLOR24 || run->outputType == TYPE_COLOR48;
    if (!color) {
        run->row = sixteen    ? CurvesCopyRow<uint16_t, uint16_t>
                   : source16 ? CurvesCopyRow<uint16_t, uint8_t>
                              : CurvesCopyRow<uint8_t, uint8_t>;
        return ERROR_NONE;
    }
    CurvesRun *state = (CurvesRun *)MemoryAllocZero(sizeof(CurvesRun));
    run->state = state;
    if (state == nullptr) return ERROR_NO_MEMORY;
    state->colorSpace = settings->colorSpace;
    if (sixteen) {
        state->tables16 = (uint16_t *)MemoryAlloc(sizeof(uint16_t) * 3 * CURVES_TABLE16_SIZE);
        if (state->tables16 == nullptr) return ERROR_NO_MEMORY;
    }
    for (int c = 0; c < 3; c++) {
        const CurvePoints *curve = &settings->curves[c];
        ErrorCode result = CurveTableFromPoints(curve->pointCount, curve->x, curve->y, curve->style,
                                                state->tables[c]);
        if (result != ERROR_NONE) return result;
        CurvesTable12(state->tables[c], state->tables12[c]);
        if (sixteen) {
            result = CurveTable16FromPoints(curve->pointCount, curve->x, curve->y, curve->style,
                                            state->tables16 + c * CURVES_TABLE16_SIZE);
            if (result != ERROR_NONE) return result;
        }
    }
    run->row = sixteen    ? CurvesColorRow<uint16_t, uint16_t>
               : source16 ? CurvesColorRow<uint16_t, uint8_t>
                          : CurvesColorRow<uint8_t, uint8_t>;
    return ERROR_NONE;
}

static void CurvesCleanup(RowRun *run)
{
    CurvesRun *state = (CurvesRun *)run->state;
    if (state != nullptr) MemoryFree(state->tables16);
    MemoryRelease(&run->state);
}

static void CurvesMix(const void *params, RowMix *mix)
{
    AmountMix(&((const ColorCurvesSettings *)params)->amount, mix);
}

static const RowTransform CURVES_ROWS = {"Color Curves", 1,        CurvesOutputType, CurvesSetup,
                                         CurvesCleanup,  CurvesMix};

ErrorCode ColorCurvesCompute(const Image *source, Image *destination, Picture *picture,
                             void *params, int full, int destinationWidth, int destinationHeight,
                             int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                             int w, int h)
{
    (void)picture;
    return ComputeRows(&CURVES_ROWS, source, destination, params, full, destinationWidth,
                       destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

// No amount, or three identity curves on RGB: in HSV and HSL the way there and back rounds,
// so identity curves there still compute.
static int CurvesChangesNothing(const void *params, const Image *source, int full)
{
    const ColorCurvesSettings *settings = (const ColorCurvesSettings *)params;
    if (source == nullptr || ComputeOutputType(source->type, full) == TYPE_EMPTY) return 0;
    if (AmountIsAllZero(&settings->amount)) return 1;
    if (source->type != TYPE_COLOR24 && source->type != TYPE_COLOR48) return 1;
    if (settings->colorSpace != CURVES_RGB) return 0;
    for (const CurvePoints &curve : settings->curves)
        if (!CurvePointsChangeNothing(&curve)) return 0;
    return 1;
}

// --- The ".cc" file ---

static int ParseIn(const char *text, int32_t low, int32_t high, int32_t *value)
{
    int32_t parsed;
    if (ParseInteger(text, &parsed) || parsed < low || parsed > high) return 1;
    *value = parsed;
    return 0;
}

// The curve a numbered key ("npts2", "point3") names: 0..2, or -1 for another key.
static int CurveOfKey(const char *token, const char *key)
{
    size_t length = strlen(key);
    char prefix[16];
    if (strlen(token) != length + 1 || length + 1 > sizeof prefix) return -1;
    memcpy(prefix, token, length);
    prefix[length] = 0;
    if (!StrEqualNoCase(prefix, key)) return -1;
    char digit = token[length];
    return digit >= '1' && digit <= '3' ? digit - '1' : -1;
}

ErrorCode ReadColorCurvesFile(FileHandle file, ColorCurvesSettings *settings)
{
    const ErrorCode illegal = ERROR_ILLEGAL_COLOR_CURVE_FILE;
    int count;
    char **tokens;
    if (SettingsReadHeader(file, "ColorCurves")) return illegal;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return illegal; // no "end"
        if (SettingsLineIsEnd(count, tokens)) break;
        int c;
        if (SettingsKeyIs(tokens, "colorspace")) {
            if (count != 2 || ParseIn(tokens[1], 0, 2, &settings->colorSpace)) return illegal;
        } else if (SettingsKeyIs(tokens, "component")) {
            if (count != 2 || ParseIn(tokens[1], 0, 2, &settings->component)) return illegal;
        } else if ((c = CurveOfKey(tokens[0], "npts")) >= 0) {
            if (count != 2 ||
                ParseIn(tokens[1], 2, CURVE_POINT_MAX, &settings->curves[c].pointCount))
                return illegal;
        } else if ((c = CurveOfKey(tokens[0], "style")) >= 0) {
            int style = -1;
            for (int i = 0; i < 3 && count == 2; i++)
                if (StrEqualNoCase(tokens[1], CURVE_STYLE_WORDS[i])) style = i;
            if (style < 0) return illegal;
            settings->curves[c].style = style;
        } else if ((c = CurveOfKey(tokens[0], "histexpand")) >= 0) {
            if (count != 2 ||
                ParseIn(tokens[1], 0, CURVE_EXPAND_HIGH, &settings->curves[c].histExpand))
                return illegal;
        } else if ((c = CurveOfKey(tokens[0], "point")) >= 0) {
            int32_t index;
            CurvePoints *curve = &settings->curves[c];
            if (count != 4 || ParseIn(tokens[1], 0, CURVE_POINT_MAX - 1, &index) ||
                ParseIn(tokens[2], 0, 255, &curve->x[index]) ||
                ParseIn(tokens[3], 0, 255, &curve->y[index]))
                return illegal;
        } else {
            return illegal; // an unknown key refuses the file
        }
    }
    for (const CurvePoints &curve : settings->curves)
        if (!CurvePointsValid(curve.pointCount, curve.x, curve.y)) return illegal;
    return ERROR_NONE;
}

ErrorCode WriteColorCurvesFile(FileHandle file, const ColorCurvesSettings *settings)
{
    ErrorCode result = SettingsWriteHeader(file, "ColorCurves");
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "colorspace %d", settings->colorSpace);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "component %d", settings->component);
    for (int c = 0; c < 3 && result == ERROR_NONE; c++) {
        const CurvePoints *curve = &settings->curves[c];
        int style = curve->style >= 0 && curve->style < 3 ? curve->style : CURVE_SPLINE;
        result = SettingsWriteLine(file, "npts%d %d", c + 1, curve->pointCount);
        if (result == ERROR_NONE)
            result = SettingsWriteLine(file, "style%d %s", c + 1, CURVE_STYLE_WORDS[style]);
        if (result == ERROR_NONE)
            result = SettingsWriteLine(file, "histexpand%d %d", c + 1, curve->histExpand);
        for (int i = 0; i < curve->pointCount && result == ERROR_NONE; i++)
            result =
                SettingsWriteLine(file, "point%d %d %d %d", c + 1, i, curve->x[i], curve->y[i]);
    }
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}

ErrorCode ColorCurvesLoad(const char *path, ColorCurvesSettings *settings)
{
    FileHandle file = FILE_HANDLE_NONE;
    ErrorCode result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) return ERROR_OPEN_FILE;
    // A bad file leaves the settings as they were: it is read into a copy.
    ColorCurvesSettings read = *settings;
    const char *dot = strrchr(path, '.');
    if (dot != nullptr && StrEqualNoCase(dot, ".acv"))
        result = ReadAcvFile(file, &read.colorSpace, read.curves);
    else if (dot != nullptr && StrEqualNoCase(dot, ".amp"))
        result = ReadAmpFile(file, &read.colorSpace, read.curves);
    else
        result = ReadColorCurvesFile(file, &read);
    FileClose(&file);
    if (result == ERROR_NONE) *settings = read;
    return result;
}

static int CurvesAccepts(int type)
{
    return ImageIsPicture(type);
}

static ErrorCode ColorCurvesRead(const char *path, void *settings)
{
    return ColorCurvesLoad(path, (ColorCurvesSettings *)settings);
}

static void CurvesDefaults(void *settings)
{
    ColorCurvesSettingsDefault((ColorCurvesSettings *)settings);
}

const TransformDescriptor ColorCurvesTransform = {
    "Color Curves",
    "curves",
    "Color Curves from a curves file (.cc, .acv, .amp)",
    "Color C&urves...",
    MENU_IMAGE_DIALOG,
    COMMAND_COLOR_CURVES,
    KIND_COLOR_CURVES,
    ColorCurvesCompute,
    CurvesAccepts,
    "cc acv amp",
    CurvesChangesNothing,
    nullptr,
    TRANSFORM_PROFILE_INHERIT,
    1,
    (int32_t)offsetof(ColorCurvesSettings, amount),
    sizeof(ColorCurvesSettings),
    CurvesDefaults,
    nullptr,
    nullptr,
    0,
    nullptr,
    ColorCurvesRead,
    &CURVES_ROWS,
};
