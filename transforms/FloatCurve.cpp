// The real-valued tone curve: its tables of doubles, its mouse rules (the 8-bit control's,
// shared through CurveParts) and its ".fcrv" file.
#include "transforms/FloatCurve.h"

#include <cmath>

#include "core/SettingsText.h"
#include "core/Text.h"
#include "transforms/CurveParts.h"

int FloatCurvePointsValid(int pointCount, const double *x, const double *y)
{
    if (pointCount < 2 || pointCount > CURVE_POINT_MAX) return 0;
    for (int i = 0; i < pointCount; i++) {
        // Written so that a NaN fails every test.
        if (!(x[i] >= 0.0 && x[i] <= 1.0 && y[i] >= 0.0 && y[i] <= 1.0)) return 0;
        if (i > 0 && !(x[i] > x[i - 1])) return 0;
    }
    return 1;
}

void FloatCurveReset(FloatCurve *curve)
{
    curve->pointCount = 2;
    curve->x[0] = 0.0;
    curve->y[0] = 0.0;
    curve->x[1] = 1.0;
    curve->y[1] = 1.0;
    curve->style = CURVE_SPLINE;
    curve->selected = 0;
    curve->drag = CURVE_DRAG_NONE;
    curve->pressed = 0;
}

ErrorCode BuildFloatCurveTable(const FloatCurve *curve, double *table, int size)
{
    int n = curve->pointCount;
    if (!FloatCurvePointsValid(n, curve->x, curve->y)) return ERROR_SPLINE_CURVE;
    double t[CURVE_POINT_MAX];
    double d[CURVE_POINT_MAX];
    double span = curve->x[n - 1] - curve->x[0];
    for (int i = 0; i < n; i++)
        t[i] = (curve->x[i] - curve->x[0]) / span;
    if (curve->style == CURVE_SPLINE) CurveSplineTangents(n, t, curve->y, d);
    int segment = 0;
    for (int i = 0; i < size; i++) {
        double u = size > 1 ? (double)i / (size - 1) : 0.0;
        table[i] = CurveValueAt(n, t, curve->y, d, curve->style, u, &segment);
    }
    return ERROR_NONE;
}

int FloatCurveMouse(FloatCurve *curve, int event, int column, int row, int keys, int width,
                    int height)
{
    if (width < 2 || height < 2 || !FloatCurvePointsValid(curve->pointCount, curve->x, curve->y)) {
        curve->drag = CURVE_DRAG_NONE;
        int result = event == CURVE_MOUSE_RELEASE && curve->pressed ? CURVE_NOTIFY : 0;
        if (event != CURVE_MOUSE_MOVE) curve->pressed = 0;
        return result;
    }
    CurveEditor editor = {&curve->pointCount,
                          curve->x,
                          curve->y,
                          &curve->selected,
                          &curve->drag,
                          &curve->pressed,
                          1.0,
                          0,
                          0};
    return CurveEditorMouse(&editor, event, column, row, keys, width, height);
}

ErrorCode ReadFloatCurveFile(FileHandle file, int32_t *pointCount, double *x, double *y,
                             int32_t *style)
{
    CurveFileTargets targets = {pointCount, style, nullptr, nullptr, nullptr, x, y};
    ErrorCode result = CurveFileRead(file, &targets);
    if (result != ERROR_NONE) return result;
    return FloatCurvePointsValid(*pointCount, x, y) ? ERROR_NONE : ERROR_ILLEGAL_CURVE_FILE;
}

ErrorCode WriteFloatCurveFile(FileHandle file, int pointCount, const double *x, const double *y,
                              int style)
{
    ErrorCode result = SettingsWriteHeader(file, "Curve");
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "npts %d", pointCount);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "style %s",
                                   CURVE_STYLE_WORDS[style >= 0 && style <= 2 ? style : 2]);
    for (int i = 0; i < pointCount && i < CURVE_POINT_MAX && result == ERROR_NONE; i++)
        result = SettingsWriteLine(file, "point %d %4f %4f", i, x[i], y[i]);
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}
