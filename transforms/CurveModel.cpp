// The tone curve: tables at 8 and 16 bits, the monotone spline and the power-curve short
// cut, histograms, the control's mouse rules, and the ".crv", ".acv" and ".amp" files.
#include "transforms/CurveModel.h"

#include <cmath>
#include <cstring>

#include "core/Helpers.h"
#include "core/Image.h"
#include "core/SettingsText.h"
#include "core/Text.h"
#include "transforms/CurveParts.h"

// Below this a slope or a tangent sum counts as zero.
static const double SPLINE_EPSILON = 1e-10;

int CurvePointsValid(int pointCount, const int32_t *x, const int32_t *y)
{
    if (pointCount < 2 || pointCount > CURVE_POINT_MAX) return 0;
    for (int i = 0; i < pointCount; i++) {
        if (x[i] < 0 || x[i] > 255 || y[i] < 0 || y[i] > 255) return 0;
        if (i > 0 && x[i] <= x[i - 1]) return 0;
    }
    return 1;
}

int CurvePointsChangeNothing(const CurvePoints *points)
{
    uint8_t table[256];
    if (CurveTableFromPoints(points->pointCount, points->x, points->y, points->style, table) !=
        ERROR_NONE)
        return 0;
    for (int i = 0; i < 256; i++)
        if (table[i] != i) return 0;
    return 1;
}

void CurvePointsReset(CurvePoints *points)
{
    points->pointCount = 2;
    points->x[0] = 0;
    points->y[0] = 0;
    points->x[1] = 255;
    points->y[1] = 255;
    points->style = CURVE_SPLINE;
    points->histExpand = CURVE_EXPAND_LINEAR;
}

void CurveSplineTangents(int n, const double *t, const double *v, double *d)
{
    double s[CURVE_POINT_MAX] = {};
    double m[CURVE_POINT_MAX] = {};
    // Chord slopes, and tangents that average them inside.
    for (int i = 0; i + 1 < n; i++)
        s[i] = (v[i + 1] - v[i]) / (t[i + 1] - t[i]);
    d[0] = s[0];
    d[n - 1] = s[n - 2];
    for (int i = 1; i + 1 < n; i++)
        d[i] = (s[i - 1] + s[i]) / 2.0;
    // A peak or a trough gets a level tangent; a flat segment levels both of its ends.
    for (int i = 0; i + 2 < n; i++) {
        if (std::fabs(s[i]) > SPLINE_EPSILON && s[i] * s[i + 1] < 0.0) d[i + 1] = 0.0;
        if (std::fabs(s[i]) <= SPLINE_EPSILON) {
            d[i] = 0.0;
            d[i + 1] = 0.0;
        }
    }
    if (std::fabs(s[n - 2]) <= SPLINE_EPSILON) {
        d[n - 2] = 0.0;
        d[n - 1] = 0.0;
    }
    // No tangent may point against its segment.
    for (int i = 0; i + 1 < n; i++) {
        if (d[i] * s[i] < 0.0) d[i] = 0.0;
        if (d[i + 1] * s[i] < 0.0) d[i + 1] = 0.0;
    }
    if (d[n - 1] * s[n - 2] < 0.0) d[n - 1] = 0.0;
    // How far each segment's tangents must shrink so that its cubic stays within its ends.
    for (int i = 0; i + 1 < n; i++) {
        double a = 0.0;
        double b = 0.0;
        if (std::fabs(d[i]) + std::fabs(d[i + 1]) > SPLINE_EPSILON) {
            double p = (2.0 * d[i] + d[i + 1]) / (3.0 * s[i]);
            double q = (2.0 * d[i + 1] + d[i]) / (3.0 * s[i]);
            if ((q - 1.0) * (1.0 - p) < 0.0) a = p < q ? p : q;
        }
        if (std::fabs(s[i]) >= SPLINE_EPSILON) {
            // Both tangents share the sign of the slope here, so the product is not negative.
            double product = d[i] * d[i + 1];
            b = (d[i] + d[i + 1]) / (3.0 * s[i]) -
                std::sqrt(product > 0.0 ? product : 0.0) / std::fabs(3.0 * s[i]);
        }
        m[i] = 1.0;
        if (a > m[i]) m[i] = a;
        if (b > m[i]) m[i] = b;
    }
    d[0] /= m[0];
    d[n - 1] /= m[n - 2];
    for (int i = 0; i + 2 < n; i++)
        d[i + 1] /= m[i] > m[i + 1] ? m[i] : m[i + 1];
}

// The Hermite bases of the value at each end: h(w) = (3 - 2w) w^2, g(w) = (w - 1) w^2.
static double SplineH(double w)
{
    return (3.0 - 2.0 * w) * w * w;
}

static double SplineG(double w)
{
    return (w - 1.0) * w * w;
}

double CurveValueAt(int n, const double *t, const double *v, const double *d, int style, double u,
                    int *segment)
{
    int i = *segment;
    if (style == CURVE_SPLINE) {
        while (i + 2 < n && u > t[i + 1])
            i++;
        *segment = i;
        double ta = t[i];
        double tb = t[i + 1];
        double e = (tb - u) / (tb - ta);
        double f = (u - ta) / (tb - ta);
        return v[i] * SplineH(e) + v[i + 1] * SplineH(f) + d[i] * (ta - tb) * SplineG(e) +
               d[i + 1] * (tb - ta) * SplineG(f);
    }
    // Step and line take the next segment as soon as u reaches its start.
    while (i + 2 < n && u >= t[i + 1])
        i++;
    *segment = i;
    if (style == CURVE_STEP) return v[i];
    return v[i] + (v[i + 1] - v[i]) * (u - t[i]) / (t[i + 1] - t[i]);
}

// The table of levels 0..top (255 or 65535) through n points whose levels are already on
// that scale. Sample is uint8_t or uint16_t.
template <typename Sample>
static void CurveTableBuild(int n, const int32_t *x, const int32_t *y, int style, int top,
                            Sample *table)
{
    const int32_t first = x[0];
    const int32_t last = x[n - 1];
    // A spline through three points with the middle one between the others is a power
    // curve: a simple bend gives a gamma curve.
    if (style == CURVE_SPLINE && n == 3 && (y[1] < y[0] || y[1] < y[2]) &&
        (y[1] > y[0] || y[1] > y[2]) && y[2] != y[0]) {
        double a = (double)(x[1] - x[0]) / (x[2] - x[0]);
        double b = (double)(y[1] - y[0]) / (y[2] - y[0]);
        double p = std::log(b) / std::log(a);
        for (int i = 0; i <= top; i++) {
            if (i < first)
                table[i] = (Sample)y[0];
            else if (i > last)
                table[i] = (Sample)y[2];
            else {
                double f = std::pow((double)(i - x[0]) / (x[2] - x[0]), p);
                table[i] = (Sample)(y[0] + Round(f * (y[2] - y[0])));
            }
        }
        return;
    }
    double t[CURVE_POINT_MAX];
    double v[CURVE_POINT_MAX];
    double d[CURVE_POINT_MAX];
    double span = (double)(last - first);
    // Positions as fractions of the span, computed the same way for the points and for the
    // inputs, so that an input on a point lands on it exactly.
    for (int i = 0; i < n; i++) {
        t[i] = (x[i] - first) / span;
        v[i] = (double)y[i] / top;
    }
    if (style == CURVE_SPLINE) CurveSplineTangents(n, t, v, d);
    int segment = 0;
    for (int i = 0; i <= top; i++) {
        if (i < first) {
            table[i] = (Sample)y[0];
        } else if (i > last) {
            table[i] = (Sample)y[n - 1];
        } else {
            double value = CurveValueAt(n, t, v, d, style, (i - first) / span, &segment);
            int32_t level = Round(value * top);
            table[i] = (Sample)(level < 0 ? 0 : (level > top ? top : level));
        }
    }
}

ErrorCode CurveTableFromPoints(int pointCount, const int32_t *x, const int32_t *y, int style,
                               uint8_t *table)
{
    if (!CurvePointsValid(pointCount, x, y)) {
        for (int i = 0; i < 256; i++)
            table[i] = (uint8_t)i;
        return ERROR_SPLINE_CURVE;
    }
    CurveTableBuild(pointCount, x, y, style, 255, table);
    return ERROR_NONE;
}

ErrorCode CurveTable16FromPoints(int pointCount, const int32_t *x, const int32_t *y, int style,
                                 uint16_t *table16)
{
    if (!CurvePointsValid(pointCount, x, y)) {
        for (int i = 0; i < 65536; i++)
            table16[i] = (uint16_t)i;
        return ERROR_SPLINE_CURVE;
    }
    // The points go to 16 bits and the curve is evaluated afresh there.
    int32_t x16[CURVE_POINT_MAX] = {};
    int32_t y16[CURVE_POINT_MAX] = {};
    for (int i = 0; i < pointCount; i++) {
        x16[i] = Depth8To16[x[i]];
        y16[i] = Depth8To16[y[i]];
    }
    CurveTableBuild(pointCount, x16, y16, style, 65535, table16);
    return ERROR_NONE;
}

void GrayCurveInit(GrayCurve *curve)
{
    memset(curve, 0, sizeof *curve);
    GrayCurveReset(curve);
}

void GrayCurveReset(GrayCurve *curve)
{
    curve->pointCount = 2;
    curve->x[0] = 0;
    curve->y[0] = 0;
    curve->x[1] = 255;
    curve->y[1] = 255;
    curve->selected = 0;
    curve->style = CURVE_SPLINE;
    curve->histExpand = CURVE_EXPAND_LINEAR;
    curve->probeSize = 1;
    curve->gridCount = 10;
    curve->probeCount = 0;
    curve->viewMode = CURVE_VIEW_CURVE;
    curve->drag = CURVE_DRAG_NONE;
    curve->pressed = 0;
    BuildCurveTable(curve);
}

// Counts add up in 64 bits and stop at the largest 32-bit count.
static int32_t CountClamp(int64_t count)
{
    return count > INT32_MAX ? INT32_MAX : (int32_t)count;
}

ErrorCode BuildCurveTable(GrayCurve *curve)
{
    ErrorCode result =
        CurveTableFromPoints(curve->pointCount, curve->x, curve->y, curve->style, curve->table);
    int64_t output[256] = {};
    int sources = curve->histogramMode == CURVE_HISTOGRAM_ONE     ? 1
                  : curve->histogramMode == CURVE_HISTOGRAM_THREE ? 3
                                                                  : 0;
    // Each histogram goes through the table on its own; three give the largest of the three
    // at each level.
    for (int c = 0; c < sources; c++) {
        const int32_t *source = curve->sourceHistograms[c];
        if (source == nullptr) continue;
        int64_t mapped[256] = {};
        for (int i = 0; i < 256; i++)
            mapped[curve->table[i]] += source[1 + i];
        for (int i = 0; i < 256; i++)
            if (mapped[i] > output[i]) output[i] = mapped[i];
    }
    curve->outputMaximum = 0;
    for (int i = 0; i < 256; i++) {
        curve->outputHistogram[i] = CountClamp(output[i]);
        if (curve->outputHistogram[i] > curve->outputMaximum)
            curve->outputMaximum = curve->outputHistogram[i];
    }
    return result;
}

ErrorCode BuildCurveTable16(const GrayCurve *curve, uint16_t *table16)
{
    return CurveTable16FromPoints(curve->pointCount, curve->x, curve->y, curve->style, table16);
}

void GrayCurveSetHistograms(GrayCurve *curve, int mode, const int32_t *const sources[3])
{
    int count = mode == CURVE_HISTOGRAM_ONE ? 1 : mode == CURVE_HISTOGRAM_THREE ? 3 : 0;
    curve->histogramMode = count == 0 ? CURVE_HISTOGRAM_NONE : mode;
    for (int c = 0; c < 3; c++)
        curve->sourceHistograms[c] = c < count ? sources[c] : nullptr;
    // The input drawn is the one histogram, or the largest of the three at each level.
    curve->inputMaximum = 0;
    for (int i = 0; i < 256; i++) {
        int32_t largest = 0;
        for (int c = 0; c < count; c++)
            if (sources[c] != nullptr && sources[c][1 + i] > largest) largest = sources[c][1 + i];
        curve->inputHistogram[i] = largest;
        if (largest > curve->inputMaximum) curve->inputMaximum = largest;
    }
    BuildCurveTable(curve);
}

void GrayCurveGetPoints(const GrayCurve *curve, CurvePoints *points)
{
    int count = curve->pointCount < 0                 ? 0
                : curve->pointCount > CURVE_POINT_MAX ? CURVE_POINT_MAX
                                                      : curve->pointCount;
    points->pointCount = curve->pointCount;
    memcpy(points->x, curve->x, sizeof(int32_t) * (size_t)count);
    memcpy(points->y, curve->y, sizeof(int32_t) * (size_t)count);
    points->style = curve->style;
    points->histExpand = curve->histExpand;
}

ErrorCode GrayCurveSetPoints(GrayCurve *curve, const CurvePoints *points)
{
    if (!CurvePointsValid(points->pointCount, points->x, points->y)) return ERROR_SPLINE_CURVE;
    curve->pointCount = points->pointCount;
    memcpy(curve->x, points->x, sizeof(int32_t) * (size_t)points->pointCount);
    memcpy(curve->y, points->y, sizeof(int32_t) * (size_t)points->pointCount);
    curve->style = points->style;
    curve->histExpand = points->histExpand;
    curve->selected = 0;
    curve->drag = CURVE_DRAG_NONE;
    return BuildCurveTable(curve);
}

void GrayCurveInvert(GrayCurve *curve)
{
    for (int i = 0; i < curve->pointCount && i < CURVE_POINT_MAX; i++)
        curve->y[i] = 255 - curve->y[i];
    BuildCurveTable(curve);
}

int32_t CurveHistogramExpand(int32_t count, int histExpand)
{
    if (count <= 0) return 0;
    switch (histExpand) {
    case CURVE_EXPAND_MEDIUM: return Round(100.0 * std::pow((double)count, 0.4));
    case CURVE_EXPAND_HIGH: return Round(100.0 * std::pow((double)count, 0.2));
    default: return count;
    }
}

double CurveHistogramFraction(int32_t count, int32_t maximum, int histExpand)
{
    int32_t top = CurveHistogramExpand(maximum, histExpand);
    if (top <= 0) top = 1;
    double fraction = (double)CurveHistogramExpand(count, histExpand) / top;
    return fraction > 1.0 ? 1.0 : fraction;
}

int CurveLevelOfColumn(int column, int width)
{
    if (width < 2) return 0;
    return Clamp8(Round(column * 255.0 / (width - 1)));
}

int CurveLevelOfRow(int row, int height)
{
    if (height < 2) return 0;
    return Clamp8(Round((height - 1 - row) * 255.0 / (height - 1)));
}

int CurveColumnOfLevel(int level, int width)
{
    return Round(level * (width - 1) / 255.0);
}

int CurveRowOfLevel(int level, int height)
{
    return height - 1 - Round(level * (height - 1) / 255.0);
}

// The plot's mapping for the shared mouse rules, in levels of 0 to maximum.
static double EditorLevelOfColumn(const CurveEditor *editor, int column, int width)
{
    double level = column * editor->maximum / (width - 1);
    if (editor->integral) level = Round(level);
    return level < 0.0 ? 0.0 : (level > editor->maximum ? editor->maximum : level);
}

static double EditorLevelOfRow(const CurveEditor *editor, int row, int height)
{
    double level = (height - 1 - row) * editor->maximum / (height - 1);
    if (editor->integral) level = Round(level);
    return level < 0.0 ? 0.0 : (level > editor->maximum ? editor->maximum : level);
}

static int EditorColumnOfLevel(const CurveEditor *editor, double level, int width)
{
    return Round(level * (width - 1) / editor->maximum);
}

static int EditorRowOfLevel(const CurveEditor *editor, double level, int height)
{
    return height - 1 - Round(level * (height - 1) / editor->maximum);
}

// The least distance between the x of neighbours: one level, or one pixel of the plot.
static double EditorGap(const CurveEditor *editor, int width)
{
    return editor->integral ? 1.0 : editor->maximum / (width - 1);
}

// The range the x of point k may take: strictly between its neighbours, whose places
// beyond the ends are one gap outside the plot.
static void EditorXRange(const CurveEditor *editor, int k, double gap, double *low, double *high)
{
    int n = *editor->pointCount;
    *low = (k > 0 ? editor->x[k - 1] : -gap) + gap;
    *high = (k + 1 < n ? editor->x[k + 1] : editor->maximum + gap) - gap;
}

// The point whose marker at (column of markerX, row of markerY) lies nearest to the click
// within the grab distance in both directions, or -1. A negative marker level leaves that
// direction out: only the other one counts.
static int EditorNearest(const CurveEditor *editor, const double *markerX, const double *markerY,
                         int column, int row, int width, int height)
{
    int best = -1;
    int bestDistance = 0;
    for (int k = 0; k < *editor->pointCount; k++) {
        int dx = markerX != nullptr ? column - EditorColumnOfLevel(editor, markerX[k], width) : 0;
        int dy = markerY != nullptr ? row - EditorRowOfLevel(editor, markerY[k], height) : 0;
        if (Abs(dx) > CURVE_GRAB_DISTANCE || Abs(dy) > CURVE_GRAB_DISTANCE) continue;
        int distance = dx * dx + dy * dy;
        if (best < 0 || distance < bestDistance) {
            best = k;
            bestDistance = distance;
        }
    }
    return best;
}

// Shift: a new point at x, with y from the click in the curve view and from the line
// between its neighbours in the histogram view.
static int EditorAdd(CurveEditor *editor, double x, double clickY, double gap)
{
    int n = *editor->pointCount;
    if (n >= CURVE_POINT_MAX) return 0;
    int k = 0;
    while (k < n && editor->x[k] < x)
        k++;
    // The x is in use when a point already stands in that level or pixel.
    if ((k < n && editor->x[k] - x < gap / 2) || (k > 0 && x - editor->x[k - 1] < gap / 2))
        return 0;
    double y = clickY;
    if (editor->histogramView) {
        if (k == 0)
            y = 0.0;
        else if (k == n)
            y = editor->maximum;
        else {
            double x0 = editor->x[k - 1];
            double y0 = editor->y[k - 1];
            y = y0 + (editor->y[k] - y0) * (x - x0) / (editor->x[k] - x0);
            if (editor->integral) y = Round(y);
        }
    }
    memmove(editor->x + k + 1, editor->x + k, sizeof(double) * (size_t)(n - k));
    memmove(editor->y + k + 1, editor->y + k, sizeof(double) * (size_t)(n - k));
    editor->x[k] = x;
    editor->y[k] = y;
    *editor->pointCount = n + 1;
    *editor->selected = k;
    // In the curve view the new point follows the mouse until the release.
    *editor->drag = editor->histogramView ? CURVE_DRAG_NONE : CURVE_DRAG_POINT;
    *editor->pressed = 1;
    return CURVE_CHANGED;
}

static int EditorPress(CurveEditor *editor, int column, int row, int keys, int width, int height)
{
    int n = *editor->pointCount;
    double gap = EditorGap(editor, width);
    double levelX = EditorLevelOfColumn(editor, column, width);
    double levelY = EditorLevelOfRow(editor, row, height);
    // The histogram view's upper part, above the middle of its scale, shows the output.
    int upper = CurveLevelOfRow(row, height) > 128;

    if (keys & CURVE_KEY_SHIFT) {
        if (editor->histogramView && !upper) return CURVE_BEEP;
        return EditorAdd(editor, levelX, levelY, gap);
    }

    int k;
    int drag;
    if (editor->histogramView) {
        // Handles are the marks of each point's input on the lower scale and of its output
        // on the upper one; a click anywhere in a half reaches the handles of that half.
        k = EditorNearest(editor, upper ? editor->y : editor->x, nullptr, column, row, width,
                          height);
        drag = upper ? CURVE_DRAG_Y : CURVE_DRAG_X;
    } else {
        k = EditorNearest(editor, editor->x, editor->y, column, row, width, height);
        drag = CURVE_DRAG_POINT;
    }
    if (k >= 0 && (keys & CURVE_KEY_CONTROL)) {
        if (n <= 2) return CURVE_BEEP;
        memmove(editor->x + k, editor->x + k + 1, sizeof(double) * (size_t)(n - k - 1));
        memmove(editor->y + k, editor->y + k + 1, sizeof(double) * (size_t)(n - k - 1));
        *editor->pointCount = n - 1;
        *editor->selected = k < n - 1 ? k : n - 2;
        *editor->pressed = 1;
        return CURVE_CHANGED;
    }
    if (k < 0 && !editor->histogramView) {
        // Near the left axis at a point's height: its y alone.
        if (column <= CURVE_GRAB_DISTANCE) {
            k = EditorNearest(editor, nullptr, editor->y, column, row, width, height);
            drag = CURVE_DRAG_Y;
        }
        // Near the bottom axis at a point's x: its x alone, unless the neighbours leave it
        // no room.
        if (k < 0 && row >= height - 1 - CURVE_GRAB_DISTANCE) {
            k = EditorNearest(editor, editor->x, nullptr, column, row, width, height);
            drag = CURVE_DRAG_X;
            if (k >= 0) {
                double low, high;
                EditorXRange(editor, k, gap, &low, &high);
                if (high - low < gap / 2) k = -1;
            }
        }
    }
    if (k < 0) return 0;
    *editor->selected = k;
    *editor->drag = drag;
    *editor->pressed = 1;
    return 0;
}

static int EditorMove(CurveEditor *editor, int column, int row, int width, int height)
{
    int k = *editor->selected;
    int drag = *editor->drag;
    if (drag == CURVE_DRAG_NONE) return 0;
    if (k < 0 || k >= *editor->pointCount) {
        *editor->drag = CURVE_DRAG_NONE;
        return 0;
    }
    double x = editor->x[k];
    double y = editor->y[k];
    double levelX = EditorLevelOfColumn(editor, column, width);
    if (drag == CURVE_DRAG_POINT || drag == CURVE_DRAG_X) {
        double low, high;
        EditorXRange(editor, k, EditorGap(editor, width), &low, &high);
        // Neighbours closer than a gap (a plot made smaller) leave x where it is.
        if (low <= high) x = levelX < low ? low : (levelX > high ? high : levelX);
    }
    if (drag == CURVE_DRAG_POINT) y = EditorLevelOfRow(editor, row, height);
    // The output handle of the histogram view lies on a horizontal scale.
    if (drag == CURVE_DRAG_Y) {
        y = editor->histogramView ? levelX : EditorLevelOfRow(editor, row, height);
    }
    if (x == editor->x[k] && y == editor->y[k]) return 0;
    editor->x[k] = x;
    editor->y[k] = y;
    return CURVE_CHANGED;
}

int CurveEditorMouse(CurveEditor *editor, int event, int column, int row, int keys, int width,
                     int height)
{
    switch (event) {
    case CURVE_MOUSE_PRESS:
        *editor->drag = CURVE_DRAG_NONE;
        *editor->pressed = 0;
        return EditorPress(editor, column, row, keys, width, height);
    case CURVE_MOUSE_MOVE: return EditorMove(editor, column, row, width, height);
    case CURVE_MOUSE_RELEASE: {
        int result = *editor->pressed ? CURVE_NOTIFY : 0;
        *editor->drag = CURVE_DRAG_NONE;
        *editor->pressed = 0;
        return result;
    }
    default: return 0;
    }
}

int GrayCurveMouse(GrayCurve *curve, int event, int column, int row, int keys, int width,
                   int height)
{
    // A plot of less than two pixels has no scale, and points that make no curve are not
    // ours to edit; a release still ends what a press began.
    if (width < 2 || height < 2 || !CurvePointsValid(curve->pointCount, curve->x, curve->y)) {
        curve->drag = CURVE_DRAG_NONE;
        int result = event == CURVE_MOUSE_RELEASE && curve->pressed ? CURVE_NOTIFY : 0;
        if (event != CURVE_MOUSE_MOVE) curve->pressed = 0;
        return result;
    }
    double x[CURVE_POINT_MAX];
    double y[CURVE_POINT_MAX];
    for (int i = 0; i < curve->pointCount; i++) {
        x[i] = curve->x[i];
        y[i] = curve->y[i];
    }
    CurveEditor editor = {&curve->pointCount,
                          x,
                          y,
                          &curve->selected,
                          &curve->drag,
                          &curve->pressed,
                          255.0,
                          1,
                          curve->viewMode == CURVE_VIEW_HISTOGRAM};
    int result = CurveEditorMouse(&editor, event, column, row, keys, width, height);
    if (result & CURVE_CHANGED) {
        for (int i = 0; i < curve->pointCount; i++) {
            curve->x[i] = Round(x[i]);
            curve->y[i] = Round(y[i]);
        }
        BuildCurveTable(curve);
    }
    return result;
}

ErrorCode ReadCurveFile(FileHandle file, int32_t *pointCount, int32_t *x, int32_t *y,
                        int32_t *style, int32_t *histExpand)
{
    CurveFileTargets targets = {pointCount, style, histExpand, x, y, nullptr, nullptr};
    ErrorCode result = CurveFileRead(file, &targets);
    if (result != ERROR_NONE) return result;
    return CurvePointsValid(*pointCount, x, y) ? ERROR_NONE : ERROR_ILLEGAL_CURVE_FILE;
}

ErrorCode WriteCurveFile(FileHandle file, int pointCount, const int32_t *x, const int32_t *y,
                         int style, int histExpand)
{
    ErrorCode result = SettingsWriteHeader(file, "Curve");
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "npts %d", pointCount);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "style %s",
                                   CURVE_STYLE_WORDS[style >= 0 && style <= 2 ? style : 2]);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "histexpand %d", histExpand);
    for (int i = 0; i < pointCount && i < CURVE_POINT_MAX && result == ERROR_NONE; i++)
        result = SettingsWriteLine(file, "point %d %d %d", i, x[i], y[i]);
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}

static ErrorCode GrayCurveReadFunction(FileHandle file, void *settings)
{
    GrayCurve *curve = (GrayCurve *)settings;
    return ReadCurveFile(file, &curve->pointCount, curve->x, curve->y, &curve->style,
                         &curve->histExpand);
}

static ErrorCode GrayCurveWriteFunction(FileHandle file, const void *settings)
{
    const GrayCurve *curve = (const GrayCurve *)settings;
    return WriteCurveFile(file, curve->pointCount, curve->x, curve->y, curve->style,
                          curve->histExpand);
}

ErrorCode GrayCurveLoad(GrayCurve *curve, const char *path)
{
    ErrorCode result = SettingsFileLoad(path, GrayCurveReadFunction, curve);
    if (result == ERROR_OPEN_FILE) return result;
    // A bad file has left part of itself behind; the reset values replace it.
    if (result != ERROR_NONE) GrayCurveReset(curve);
    curve->selected = 0;
    curve->drag = CURVE_DRAG_NONE;
    BuildCurveTable(curve);
    return result;
}

ErrorCode GrayCurveSave(const GrayCurve *curve, const char *path)
{
    return SettingsFileSave(path, GrayCurveWriteFunction, curve);
}

// A signed big-endian 16-bit number of a Photoshop file.
static int32_t BytesGetSigned16(const uint8_t *bytes, int64_t offset)
{
    return (int16_t)BytesGet16(bytes, offset, 0);
}

// The largest ".acv" we read: more than five curves of 16 points need.
static const int ACV_SIZE_MAX = 1000;

// Reads one ".acv" curve at offset into points, checking that it lies within the size
// bytes read and makes a curve. Returns the offset after it, or -1 for a bad curve; a
// skipped curve (points null) needs only a count that fits.
static int64_t AcvReadCurve(const uint8_t *bytes, int64_t size, int64_t offset, CurvePoints *points)
{
    if (offset + 2 > size) return -1;
    int32_t count = BytesGetSigned16(bytes, offset);
    if (count < 2 || count > CURVE_POINT_MAX || offset + 2 + 4 * (int64_t)count > size) return -1;
    if (points != nullptr) {
        points->pointCount = count;
        for (int i = 0; i < count; i++) {
            // Each pair is the output level, then the input level.
            points->y[i] = BytesGetSigned16(bytes, offset + 2 + 4 * i);
            points->x[i] = BytesGetSigned16(bytes, offset + 4 + 4 * i);
        }
        if (!CurvePointsValid(count, points->x, points->y)) return -1;
    }
    return offset + 2 + 4 * (int64_t)count;
}

ErrorCode ReadAcvFile(FileHandle file, int32_t *colorSpace, CurvePoints curves[3])
{
    const ErrorCode illegal = ERROR_ILLEGAL_COLOR_CURVE_FILE;
    // Cleared first, so that nothing past a short file's end is old memory.
    uint8_t bytes[ACV_SIZE_MAX] = {};
    int64_t size = 0;
    if (FileRead(file, bytes, ACV_SIZE_MAX, &size) != ERROR_NONE || size < 4) return illegal;
    int32_t version = BytesGetSigned16(bytes, 0);
    int32_t curveCount = BytesGetSigned16(bytes, 2);
    if ((version != 1 && version != 4) || (curveCount != 1 && curveCount != 5)) return illegal;

    CurvePoints read[3];
    int64_t offset = 4;
    if (curveCount == 1) {
        // One curve serves all three channels.
        if (AcvReadCurve(bytes, size, offset, &read[0]) < 0) return illegal;
        read[1] = read[0];
        read[2] = read[0];
    } else {
        // Composite, red, green, blue and a fifth curve: the composite and the fifth are
        // passed over.
        for (int c = 0; c < 5 && offset >= 0; c++)
            offset = AcvReadCurve(bytes, size, offset, c >= 1 && c <= 3 ? &read[c - 1] : nullptr);
        if (offset < 0) return illegal;
    }
    for (int c = 0; c < 3; c++) {
        curves[c].pointCount = read[c].pointCount;
        memcpy(curves[c].x, read[c].x, sizeof(int32_t) * (size_t)read[c].pointCount);
        memcpy(curves[c].y, read[c].y, sizeof(int32_t) * (size_t)read[c].pointCount);
        curves[c].style = CURVE_SPLINE;
    }
    *colorSpace = 2;
    return ERROR_NONE;
}

// An ".amp" holds 256 output levels of red, then of green, then of blue.
static const int AMP_SIZE = 768;

ErrorCode ReadAmpFile(FileHandle file, int32_t *colorSpace, CurvePoints curves[3])
{
    uint8_t bytes[AMP_SIZE] = {};
    if (FileReadExact(file, bytes, AMP_SIZE) != ERROR_NONE) return ERROR_ILLEGAL_COLOR_CURVE_FILE;
    for (int c = 0; c < 3; c++) {
        curves[c].pointCount = 256;
        for (int i = 0; i < 256; i++) {
            curves[c].x[i] = i;
            curves[c].y[i] = bytes[256 * c + i];
        }
        curves[c].style = CURVE_LINEAR;
    }
    *colorSpace = 2;
    return ERROR_NONE;
}
