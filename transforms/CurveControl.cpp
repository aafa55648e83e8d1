// The curve control's window: what the model says, painted, and the mouse handed to the
// model. Level 0 lies at the plot's lower left corner, as the model's pixel mapping has it.
#include "transforms/CurveControl.h"

#include <cstring>

#include "color/ColorSpace.h"
#include "core/Memory.h"
#include "transforms/BrightnessCurve.h"
#include "ui/Display.h"

static const uint32_t CURVE_PAPER = 0xFFFFFF;
static const uint32_t CURVE_GRID = 0xD0D0D0;
static const uint32_t CURVE_HISTOGRAM_IN = 0xC8C8C8;
static const uint32_t CURVE_HISTOGRAM_OUT = 0x9CB4D8;
static const uint32_t CURVE_INK = 0x000000;
static const uint32_t CURVE_POINT = 0xC00000;
static const uint32_t CURVE_PROBE = 0x0050C0;
static const uint32_t CURVE_PROBE_RGB[3] = {0xD00000, 0x00A000, 0x0000E0};

static const int CURVE_PROBE_SIZES = 5; // "1x1 Probe" to "9x9 Probe"
static const int CURVE_GRIDS[3] = {4, 8, 10};
enum : int32_t { CURVE_MENU_PROBE = 8, CURVE_MENU_GRID = 13, CURVE_MENU_VIEW = 16 };

struct CurveControl {
    int32_t id;
    GrayCurve curve;
};

// The histograms behind the curve, as columns from the bottom: the input's, and the output's
// (the input through the table) in front of it.
static void CurveDrawHistograms(DrawContext *context, const GrayCurve *curve, int width, int height)
{
    if (curve->histogramMode == CURVE_HISTOGRAM_NONE) return;
    const int32_t *counts[2] = {curve->inputHistogram, curve->outputHistogram};
    const int32_t maxima[2] = {curve->inputMaximum, curve->outputMaximum};
    const uint32_t colors[2] = {CURVE_HISTOGRAM_IN, CURVE_HISTOGRAM_OUT};
    for (int which = 0; which < 2; which++) {
        for (int level = 0; level < 256; level++) {
            double fraction =
                CurveHistogramFraction(counts[which][level], maxima[which], curve->histExpand);
            int top = height - 1 - (int)(fraction * (height - 1));
            int x = CurveColumnOfLevel(level, width);
            if (top < height - 1) PlatformDrawLine(context, x, height - 1, x, top, colors[which]);
        }
    }
}

// The histogram view: the input's histogram in the lower half with each point's input level
// marked on its upper edge, the output's in the upper half with each point's output level on
// its lower edge, and a line from each input mark to its output, so that one sees where each
// band of tones goes.
static void CurveDrawHistogramView(DrawContext *context, const GrayCurve *curve, int width,
                                   int height)
{
    int middle = height / 2;
    int band = height / 16; // between the halves, where the lines run from input to output
    const int32_t *counts[2] = {curve->inputHistogram, curve->outputHistogram};
    const int32_t maxima[2] = {curve->inputMaximum, curve->outputMaximum};
    const uint32_t colors[2] = {CURVE_HISTOGRAM_IN, CURVE_HISTOGRAM_OUT};
    const int bottoms[2] = {height - 1, middle - band - 6};
    int room = middle - band - 8;
    for (int which = 0; which < 2 && curve->histogramMode != CURVE_HISTOGRAM_NONE; which++) {
        for (int level = 0; level < 256; level++) {
            double fraction =
                CurveHistogramFraction(counts[which][level], maxima[which], curve->histExpand);
            int bar = (int)(fraction * room);
            int x = CurveColumnOfLevel(level, width);
            if (bar > 0)
                PlatformDrawLine(context, x, bottoms[which], x, bottoms[which] - bar,
                                 colors[which]);
        }
    }
    PlatformDrawLine(context, 0, middle + band, width - 1, middle + band, CURVE_GRID);
    PlatformDrawLine(context, 0, middle - band, width - 1, middle - band, CURVE_GRID);
    for (int i = 0; i < curve->pointCount; i++) {
        int in = CurveColumnOfLevel(curve->x[i], width);
        int out = CurveColumnOfLevel(curve->y[i], width);
        PlatformDrawLine(context, in, middle + band, out, middle - band, CURVE_INK);
        Rect low = {in - 2, middle + band, in + 3, middle + band + 5};
        Rect high = {out - 2, middle - band - 5, out + 3, middle - band};
        PlatformFillRect(context, &low, CURVE_POINT);
        PlatformFillRect(context, &high, CURVE_POINT);
    }
}

static void CurveDraw(WindowHandle window, DrawContext *context, const GrayCurve *curve)
{
    Rect client;
    PlatformGetClientRect(window, &client);
    int width = client.right;
    int height = client.bottom;
    PlatformFillRect(context, &client, CURVE_PAPER);
    if (curve->viewMode == CURVE_VIEW_HISTOGRAM) {
        CurveDrawHistogramView(context, curve, width, height);
        PlatformFrameRect(context, &client, CURVE_INK);
        return;
    }
    CurveDrawHistograms(context, curve, width, height);
    int grid = curve->gridCount > 0 ? curve->gridCount : 4;
    for (int i = 1; i < grid; i++) {
        int x = i * (width - 1) / grid;
        int y = i * (height - 1) / grid;
        PlatformDrawLine(context, x, 0, x, height - 1, CURVE_GRID);
        PlatformDrawLine(context, 0, y, width - 1, y, CURVE_GRID);
    }
    // The table, level by level.
    int lastX = CurveColumnOfLevel(0, width);
    int lastY = CurveRowOfLevel(curve->table[0], height);
    for (int level = 1; level < 256; level++) {
        int x = CurveColumnOfLevel(level, width);
        int y = CurveRowOfLevel(curve->table[level], height);
        PlatformDrawLine(context, lastX, lastY, x, y, CURVE_INK);
        lastX = x;
        lastY = y;
    }
    // A probed level: up from the bottom to the curve, and across to the output's axis.
    for (int i = 0; i < curve->probeCount && i < 3; i++) {
        int level = curve->probeLevels[i] & 255;
        uint32_t color = curve->probeCount == 3 ? CURVE_PROBE_RGB[i] : CURVE_PROBE;
        int x = CurveColumnOfLevel(level, width);
        int y = CurveRowOfLevel(curve->table[level], height);
        PlatformDrawLine(context, x, height - 1, x, y, color);
        PlatformDrawLine(context, x, y, 0, y, color);
    }
    for (int i = 0; i < curve->pointCount; i++) {
        int x = CurveColumnOfLevel(curve->x[i], width);
        int y = CurveRowOfLevel(curve->y[i], height);
        Rect mark = {x - 2, y - 2, x + 3, y + 3};
        PlatformFillRect(context, &mark, CURVE_POINT);
    }
    PlatformFrameRect(context, &client, CURVE_INK);
}

static void CurveNotify(WindowHandle window, int id, uint32_t code)
{
    PlatformSendMessage(PlatformWindowParent(window), MSG_COMMAND,
                        (uintptr_t)(uint16_t)id | ((uintptr_t)code << 16), (intptr_t)window);
}

// One mouse event through the model; what it did, done.
static void CurveMouse(WindowHandle window, CurveControl *record, int event, intptr_t lParam,
                       uintptr_t wParam)
{
    Rect client;
    PlatformGetClientRect(window, &client);
    int keys = ((wParam & KEYS_SHIFT) ? CURVE_KEY_SHIFT : 0) |
               ((wParam & KEYS_CONTROL) ? CURVE_KEY_CONTROL : 0);
    int done = GrayCurveMouse(&record->curve, event, (int16_t)ParamLow(lParam),
                              (int16_t)ParamHigh(lParam), keys, client.right, client.bottom);
    if (done & CURVE_BEEP) PlatformBeep();
    if (done & CURVE_CHANGED) {
        PlatformInvalidate(window, nullptr);
        CurveNotify(window, record->id, NOTIFY_MOVED);
    }
    if ((done & CURVE_NOTIFY) && PlatformWindowExists(window))
        CurveNotify(window, record->id, NOTIFY_RELEASED);
}

static MessageResult CurveProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                    intptr_t lParam)
{
    if (message == MSG_CREATE) return ControlRecordCreate(window, lParam, sizeof(CurveControl));
    CurveControl *record = (CurveControl *)ControlRecord(window, CUSTOM_CURVE);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    switch (message) {
    case MSG_DESTROY:
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: CurveDraw(window, (DrawContext *)wParam, &record->curve); return 0;
    case MSG_LBUTTON_DOWN:
        PlatformSetFocus(window);
        PlatformSetCapture(window);
        CurveMouse(window, record, CURVE_MOUSE_PRESS, lParam, wParam);
        return 0;
    case MSG_MOUSE_MOVE:
        if (record->curve.drag != CURVE_DRAG_NONE)
            CurveMouse(window, record, CURVE_MOUSE_MOVE, lParam, wParam);
        return 0;
    case MSG_RBUTTON_DOWN:
        PlatformSendMessage(PlatformWindowParent(window), MSG_CURVE_MENU, (uintptr_t)record->id,
                            lParam);
        return 0;
    case MSG_LBUTTON_UP:
        PlatformReleaseCapture();
        CurveMouse(window, record, CURVE_MOUSE_RELEASE, lParam, wParam);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

WindowHandle CurveControlCreate(WindowHandle parent, int id, const Rect *rect,
                                const CurvePoints *points)
{
    ControlKindRegister(CUSTOM_CURVE, CurveProcedure);
    CurveControl *init = (CurveControl *)MemoryAllocZero(sizeof(CurveControl));
    if (init == nullptr) return nullptr;
    init->id = id;
    GrayCurveInit(&init->curve);
    if (points != nullptr) GrayCurveSetPoints(&init->curve, points);
    WindowHandle control = ControlMake(parent, id, rect, CUSTOM_CURVE, init);
    MemoryFree(init);
    return control;
}

GrayCurve *CurveControlCurve(WindowHandle parent, int id)
{
    CurveControl *record = (CurveControl *)ControlRecord(PlatformControl(parent, id), CUSTOM_CURVE);
    return record != nullptr ? &record->curve : nullptr;
}

ErrorCode CurveControlSetPoints(WindowHandle parent, int id, const CurvePoints *points)
{
    GrayCurve *curve = CurveControlCurve(parent, id);
    if (curve == nullptr) return ERROR_INTERNAL_1;
    ErrorCode result = GrayCurveSetPoints(curve, points);
    PlatformInvalidate(PlatformControl(parent, id), nullptr);
    return result;
}

void CurveControlRefresh(WindowHandle parent, int id)
{
    PlatformInvalidate(PlatformControl(parent, id), nullptr);
}

int CurveControlMenu(WindowHandle parent, int id, int x, int y, int files)
{
    static const char *const PROBES[CURVE_PROBE_SIZES] = {"1x1 Probe", "3x3 Probe", "5x5 Probe",
                                                          "7x7 Probe", "9x9 Probe"};
    static const char *const GRIDS[3] = {"4x4 Grid", "8x8 Grid", "10x10 Grid"};
    GrayCurve *curve = CurveControlCurve(parent, id);
    if (curve == nullptr) return CURVE_MENU_NONE;
    MenuItem items[28];
    int count = 0;
    items[count++] = {CURVE_MENU_VIEW, "Show Curve", 1, curve->viewMode == CURVE_VIEW_CURVE};
    items[count++] = {CURVE_MENU_VIEW + 1, "Show Histograms", 1,
                      curve->viewMode == CURVE_VIEW_HISTOGRAM};
    items[count++] = {0, "", 1};
    items[count++] = {1, "&Reset", 1};
    items[count++] = {2, "&Invert", 1};
    if (files) {
        items[count++] = {CURVE_MENU_LOAD, "Load...", 1};
        items[count++] = {CURVE_MENU_SAVE, "Save As...", 1};
    }
    items[count++] = {0, "", 1};
    items[count++] = {3, "Linear Histogram", 1, curve->histExpand == CURVE_EXPAND_LINEAR};
    items[count++] = {4, "Medium Histogram Expansion", 1, curve->histExpand == CURVE_EXPAND_MEDIUM};
    items[count++] = {5, "High Histogram Expansion", 1, curve->histExpand == CURVE_EXPAND_HIGH};
    items[count++] = {0, "", 1};
    for (int i = 0; i < CURVE_PROBE_SIZES; i++)
        items[count++] = {CURVE_MENU_PROBE + i, PROBES[i], 1, curve->probeSize == i};
    items[count++] = {0, "", 1};
    for (int i = 0; i < 3; i++)
        items[count++] = {CURVE_MENU_GRID + i, GRIDS[i], 1, curve->gridCount == CURVE_GRIDS[i]};
    items[count] = {0, nullptr, 0};
    int chosen = PlatformPopupMenu(PlatformControl(parent, id), items, x, y);
    int result = CURVE_MENU_NONE;
    if (chosen == 1) {
        GrayCurveReset(curve);
        result = CURVE_MENU_CHANGED;
    } else if (chosen == 2) {
        GrayCurveInvert(curve);
        result = CURVE_MENU_CHANGED;
    } else if (chosen >= 3 && chosen <= 5) {
        curve->histExpand = chosen - 3;
    } else if (chosen == CURVE_MENU_LOAD || chosen == CURVE_MENU_SAVE) {
        return chosen;
    } else if (chosen >= CURVE_MENU_PROBE && chosen < CURVE_MENU_PROBE + CURVE_PROBE_SIZES) {
        curve->probeSize = chosen - CURVE_MENU_PROBE;
    } else if (chosen >= CURVE_MENU_GRID && chosen < CURVE_MENU_GRID + 3) {
        curve->gridCount = CURVE_GRIDS[chosen - CURVE_MENU_GRID];
    } else if (chosen == CURVE_MENU_VIEW || chosen == CURVE_MENU_VIEW + 1) {
        curve->viewMode = chosen == CURVE_MENU_VIEW ? CURVE_VIEW_CURVE : CURVE_VIEW_HISTOGRAM;
    }
    CurveControlRefresh(parent, id);
    return result;
}

// The components of a color in the curves' space, hue and saturation brought to 0..255.
static void CurveLevelsOf(int r, int g, int b, int space, int levels[3])
{
    levels[0] = r, levels[1] = g, levels[2] = b;
    if (space == CURVES_RGB) return;
    int h, s, v;
    if (space == CURVES_HSV)
        RgbToHsv8(r, g, b, &h, &s, &v);
    else
        RgbToHsl8(r, g, b, &h, &s, &v);
    levels[0] = FromFixed[h], levels[1] = FromFixed[s], levels[2] = FromFixed[v];
}

void CurveProbeLevels(const Image *image, int x, int y, int probeSize, int space, int levels[3])
{
    uint8_t rgb[3];
    ImageProbeColor(image, x, y, probeSize, rgb);
    if (image->type == TYPE_COLOR24 || image->type == TYPE_COLOR48)
        CurveLevelsOf(rgb[0], rgb[1], rgb[2], space, levels);
    else
        levels[0] = levels[1] = levels[2] = rgb[0];
}

int CurveControlProbe(WindowHandle parent, int id, WindowHandle picture, intptr_t lParam, int space,
                      int component)
{
    GrayCurve *curve = CurveControlCurve(parent, id);
    const ImageWindow *record = WindowRecord(picture);
    if (curve == nullptr || record == nullptr) return 0;
    const Image *image = &record->picture.image;
    int x, y, levels[3];
    ClientToPicture(picture, record, ParamLow(lParam), ParamHigh(lParam), &x, &y);
    CurveProbeLevels(image, x, y, curve->probeSize, space, levels);
    int color = image->type == TYPE_COLOR24 || image->type == TYPE_COLOR48;
    if (component < 0 && color) {
        curve->probeCount = 3;
        for (int i = 0; i < 3; i++)
            curve->probeLevels[i] = levels[i];
    } else {
        curve->probeCount = 1;
        curve->probeLevels[0] = levels[color ? component : 0];
    }
    CurveControlRefresh(parent, id);
    return 1;
}

int CurveHistogramsOf(const Image *image, int space, int32_t histograms[3][257])
{
    memset(histograms, 0, sizeof(int32_t) * 3 * 257);
    if (image == nullptr || image->rows == nullptr) return 1;
    static const int64_t SAMPLES = 1000000;
    int64_t pixels = (int64_t)image->width * image->height;
    int step = 1;
    while (pixels / ((int64_t)step * step) > SAMPLES)
        step++;
    int color = image->type == TYPE_COLOR24 || image->type == TYPE_COLOR48;
    for (int y = 0; y < image->height; y += step) {
        const uint8_t *row = image->rows[y];
        for (int x = 0; x < image->width; x += step) {
            int r, g, b;
            switch (image->type) {
            case TYPE_BINARY: r = g = b = BitTest(row, x) ? 255 : 0; break;
            case TYPE_GRAY8: r = g = b = row[x]; break;
            case TYPE_GRAY16: r = g = b = Depth16To8[((const uint16_t *)row)[x]]; break;
            case TYPE_COLOR24: b = row[3 * x], g = row[3 * x + 1], r = row[3 * x + 2]; break;
            default: {
                const uint16_t *p = (const uint16_t *)row + 3 * x;
                b = Depth16To8[p[0]], g = Depth16To8[p[1]], r = Depth16To8[p[2]];
                break;
            }
            }
            int levels[3];
            CurveLevelsOf(r, g, b, color ? space : CURVES_RGB, levels);
            for (int c = 0; c < (color ? 3 : 1); c++)
                histograms[c][1 + levels[c]]++;
        }
    }
    for (int c = 0; c < 3; c++)
        for (int i = 1; i <= 256; i++)
            if (histograms[c][i] > histograms[c][0]) histograms[c][0] = histograms[c][i];
    return color ? 3 : 1;
}
