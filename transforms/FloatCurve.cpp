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

static const char *const FLOAT_STYLE_WORDS[3] = {"step", "linear", "spline"};

ErrorCode ReadFloatCurveFile(FileHandle file, int32_t *pointCount, double *x, double *y,
                             int32_t *style)
{
    const ErrorCode illegal = ERROR_ILLEGAL_CURVE_FILE;
    int count;
    char **tokens;
    if (SettingsReadHeader(file, "Curve")) return illegal;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return illegal; // no "end"
        if (SettingsLineIsEnd(count, tokens)) break;
        if (SettingsKeyIs(tokens, "npts")) {
            int32_t parsed;
            if (count != 2 || ParseInteger(tokens[1], &parsed) || parsed < 2 ||
                parsed > CURVE_POINT_MAX)
                return illegal;
            *pointCount = parsed;
        } else if (SettingsKeyIs(tokens, "style")) {
            int parsed = -1;
            for (int i = 0; i < 3 && count == 2; i++)
                if (StrEqualNoCase(tokens[1], FLOAT_STYLE_WORDS[i])) parsed = i;
            if (parsed < 0) return illegal;
            *style = parsed;
        } else if (SettingsKeyIs(tokens, "point")) {
            // The index comes from the file: it must name a place in the tables.
            int32_t index;
            double pointX, pointY;
            if (count != 4 || ParseInteger(tokens[1], &index) || index < 0 ||
                index >= CURVE_POINT_MAX || ParseReal(tokens[2], &pointX) ||
                ParseReal(tokens[3], &pointY) || !(pointX >= 0.0 && pointX <= 1.0) ||
                !(pointY >= 0.0 && pointY <= 1.0))
                return illegal;
            x[index] = pointX;
            y[index] = pointY;
        } else {
            return illegal;
        }
    }
    return FloatCurvePointsValid(*pointCount, x, y) ? ERROR_NONE : illegal;
}

ErrorCode WriteFloatCurveFile(FileHandle file, int pointCount, const double *x, const double *y,
                              int style)
{
    ErrorCode result = SettingsWriteHeader(file, "Curve");
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "npts %d", pointCount);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "style %s",
                                   FLOAT_STYLE_WORDS[style >= 0 && style <= 2 ? style : 2]);
    for (int i = 0; i < pointCount && i < CURVE_POINT_MAX && result == ERROR_NONE; i++)
        result = SettingsWriteLine(file, "point %d %4f %4f", i, x[i], y[i]);
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}
