// Pieces that the 8-bit and the real-valued curves share: the evaluation of a curve on a
// normalised axis, the tangents of the monotone spline, and the mouse rules of a curve
// control, and the reading of their files. Only the curve model and the real-valued curve
// (transforms/CurveModel.cpp, FloatCurve.cpp, CurveFile.cpp) use them.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"

// Tangents d of the monotone spline through n points (t strictly rising, v), each limited
// so that no segment overshoots its ends and a flat segment stays flat.
void CurveSplineTangents(int n, const double *t, const double *v, double *d);

// The curve through n points (t strictly rising from 0 to 1, v) at u in 0..1: for the stair
// step the v of the segment's start, for the broken line the straight line between the
// segment's ends, for the spline the Hermite cubic with tangents d. *segment carries the
// segment found for the last u between calls on rising u; start it at 0.
double CurveValueAt(int n, const double *t, const double *v, const double *d, int style, double u,
                    int *segment);

// A curve's points as the shared mouse rules see them: levels from 0 to maximum, whole
// numbers when integral is set. The pointers lead into the control's own record.
struct CurveEditor {
    int32_t *pointCount;
    double *x;
    double *y;
    int32_t *selected;
    int32_t *drag;
    int32_t *pressed;
    double maximum;    // 255 for the 8-bit curve, 1 for the real one
    int integral;      // levels are whole numbers, one level apart at least
    int histogramView; // input handles below, output handles above
};

// One mouse event by the rules of GrayCurveMouse. Returns CURVE_* bits.
int CurveEditorMouse(CurveEditor *editor, int event, int column, int row, int keys, int width,
                     int height);

// Where a curve file's values land: whole levels 0..255 (".crv", which also knows
// "histexpand") or real levels 0..1 (".fcrv"). Each value is stored as it is read.
struct CurveFileTargets {
    int32_t *pointCount;
    int32_t *style;
    int32_t *histExpand; // null for a file kind without "histexpand"
    int32_t *x;          // whole levels, or null
    int32_t *y;
    double *realX; // real levels, or null
    double *realY;
};

// The one reader of both curve files: the "Curve" header, then "npts", "style",
// "histexpand" and "point" lines in any order up to "end". Returns
// ERROR_ILLEGAL_CURVE_FILE for another header, an unknown key or style word, a count out of
// 2..256, an index out of 0..255 or a level out of its range, or a missing "end"; whether
// the points make a curve is the caller's to check.
ErrorCode CurveFileRead(FileHandle file, const CurveFileTargets *targets);

// The words of the styles in a curve file, by CURVE_STEP, CURVE_LINEAR, CURVE_SPLINE.
extern const char *const CURVE_STYLE_WORDS[3];
