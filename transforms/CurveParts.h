// Pieces that the 8-bit and the real-valued curves share: the evaluation of a curve on a
// normalised axis, the tangents of the monotone spline, and the mouse rules of a curve
// control. Only transforms/Curve.cpp and transforms/FloatCurve.cpp use them.
#pragma once

#include <cstdint>

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
