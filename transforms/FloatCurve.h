// The real-valued tone curve: points with x and y from 0 to 1, tables of doubles of any
// length, its control's mouse rules (those of the 8-bit control), and its ".fcrv" file.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "transforms/CurveModel.h"

struct FloatCurve {
    int32_t pointCount;        // 2..CURVE_POINT_MAX
    double x[CURVE_POINT_MAX]; // 0..1, strictly rising
    double y[CURVE_POINT_MAX]; // 0..1
    int32_t style;             // CURVE_STEP, CURVE_LINEAR or CURVE_SPLINE
    int32_t selected;          // index of the point being dragged
    int32_t drag;              // CURVE_DRAG_*
    int32_t pressed;           // a press did something; its release notifies the parent
};

// 1 when the points make a curve: 2 to CURVE_POINT_MAX of them, values in 0..1, x strictly
// rising.
int FloatCurvePointsValid(int pointCount, const double *x, const double *y);

// The identity curve (0, 0), (1, 1) in spline style.
void FloatCurveReset(FloatCurve *curve);

// Fills table with size values: entry i is the curve at u = i / (size - 1) of the way from
// the first point to the last, so the first entry is the first point's y and the last entry
// the last point's (the stair step, which holds each step's start, excepted). Returns
// ERROR_SPLINE_CURVE, and fills nothing, for points that make no curve.
ErrorCode BuildFloatCurveTable(const FloatCurve *curve, double *table, int size);

// The mouse rules of GrayCurveMouse in the curve view, on a plot from 0 to 1 in each
// direction; a dragged x stays at least one pixel from its neighbours. Returns CURVE_* bits.
int FloatCurveMouse(FloatCurve *curve, int event, int column, int row, int keys, int width,
                    int height);

// Reads a ".fcrv" file into the targets as ReadCurveFile does, with real levels and no
// "histexpand". Returns ERROR_ILLEGAL_CURVE_FILE for a bad file.
ErrorCode ReadFloatCurveFile(FileHandle file, int32_t *pointCount, double *x, double *y,
                             int32_t *style);

// Writes a ".fcrv" file, levels with four decimals. Returns ERROR_WRITE_FILE on failure.
ErrorCode WriteFloatCurveFile(FileHandle file, int pointCount, const double *x, const double *y,
                              int style);
