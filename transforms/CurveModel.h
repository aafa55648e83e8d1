// The tone curve: its points, its lookup tables at 8 and 16 bits, the monotone spline, the
// histograms its control shows, the control's mouse rules as a plain model, and the curve
// files: our own ".crv" and the foreign ".acv" and ".amp".
//
// A curve is 2 to 256 points with input levels x strictly rising and output levels y, both
// 0 to 255, joined as stair steps, straight lines or a smooth curve that never overshoots.
// Tables are recomputed from the points after every change; the 16-bit table is a fresh
// evaluation at 16 bits, not a stretched 8-bit one.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"

constexpr int CURVE_POINT_MAX = 256;
constexpr int CURVE_GRAB_DISTANCE = 4; // pixels from a point or an axis that still grab

enum : int32_t {
    CURVE_STEP = 0,   // "Stair Step"
    CURVE_LINEAR = 1, // "Broken Line"
    CURVE_SPLINE = 2, // "Smooth Curve"
};

enum : int32_t {
    CURVE_VIEW_CURVE = 0,     // "Show Curve"
    CURVE_VIEW_HISTOGRAM = 1, // "Show Histograms"
};

enum : int32_t {
    CURVE_EXPAND_LINEAR = 0, // "Linear Histogram"
    CURVE_EXPAND_MEDIUM = 1, // "Medium Histogram Expansion"
    CURVE_EXPAND_HIGH = 2,   // "High Histogram Expansion"
};

enum : int32_t {
    CURVE_HISTOGRAM_NONE = 0,
    CURVE_HISTOGRAM_ONE = 1,   // one gray histogram
    CURVE_HISTOGRAM_THREE = 2, // red, green and blue, drawn as the largest of the three
};

// What the held mouse button moves.
enum : int32_t {
    CURVE_DRAG_NONE = 0,
    CURVE_DRAG_POINT = 1, // x and y of the selected point
    CURVE_DRAG_X = 2,     // only its x
    CURVE_DRAG_Y = 3,     // only its y
};

// The points of one curve, as files and the Color Curves settings keep them.
struct CurvePoints {
    int32_t pointCount;         // 2..CURVE_POINT_MAX
    int32_t x[CURVE_POINT_MAX]; // input levels 0..255, strictly rising
    int32_t y[CURVE_POINT_MAX]; // output levels 0..255
    int32_t style;              // CURVE_STEP, CURVE_LINEAR or CURVE_SPLINE
    int32_t histExpand;         // CURVE_EXPAND_*
};

// One curve control: its points, its table, and what it draws.
struct GrayCurve {
    int32_t viewMode;            // CURVE_VIEW_*
    int32_t histExpand;          // CURVE_EXPAND_*
    int32_t pointCount;          // 2..CURVE_POINT_MAX
    int32_t selected;            // index of the point being dragged
    int32_t x[CURVE_POINT_MAX];  // input levels 0..255, strictly rising
    int32_t y[CURVE_POINT_MAX];  // output levels 0..255
    int32_t style;               // CURVE_STEP, CURVE_LINEAR or CURVE_SPLINE
    uint8_t table[256];          // the 8-bit lookup table, always current
    int32_t gridCount;           // grid divisions: 4, 8 or 10
    int32_t probeSize;           // 0..4 for "1x1 Probe" to "9x9 Probe"
    int32_t probeCount;          // levels a probe of the picture marks on the plot: 0, 1 or 3
    int32_t probeLevels[3];      // one level, or red, green and blue
    int32_t histogramMode;       // CURVE_HISTOGRAM_*
    int32_t inputHistogram[256]; // what the control draws as input
    int32_t inputMaximum;
    int32_t outputHistogram[256]; // the input mapped through the table
    int32_t outputMaximum;
    const int32_t *sourceHistograms[3]; // gray, or red, green, blue: a maximum, 256 counts
    int32_t drag;                       // CURVE_DRAG_*
    int32_t pressed;                    // a press did something; its release notifies the parent
};

// 1 when the points make a curve: 2 to CURVE_POINT_MAX of them, levels 0..255, x strictly
// rising.
int CurvePointsValid(int pointCount, const int32_t *x, const int32_t *y);

// The identity curve: (0, 0) and (255, 255), spline, no histogram expansion.
void CurvePointsReset(CurvePoints *points);
// 1 when the points make a curve whose table leaves every level as it is (all on the
// diagonal, and not the stair step, which holds each step's start); then its 16-bit table
// leaves every level as it is too.
int CurvePointsChangeNothing(const CurvePoints *points);

// Fills table (256 entries) or table16 (65536 entries) from the points in style. Returns
// ERROR_SPLINE_CURVE, with the identity table, for points that make no curve.
ErrorCode CurveTableFromPoints(int pointCount, const int32_t *x, const int32_t *y, int style,
                               uint8_t *table);
ErrorCode CurveTable16FromPoints(int pointCount, const int32_t *x, const int32_t *y, int style,
                                 uint16_t *table16);

// Clears the whole record, histograms included, and resets it.
void GrayCurveInit(GrayCurve *curve);

// "&Reset": the identity curve in spline style, no expansion, "3x3 Probe", "10x10 Grid",
// the curve view; the histograms stay. Rebuilds the table.
void GrayCurveReset(GrayCurve *curve);

// Recomputes the table and the output histogram after any change of the points or the
// histograms. Returns ERROR_SPLINE_CURVE, with the identity table, for points that make no
// curve.
ErrorCode BuildCurveTable(GrayCurve *curve);

// The curve's 65536-entry table, for a 16-bit result. Codes as CurveTable16FromPoints.
ErrorCode BuildCurveTable16(const GrayCurve *curve, uint16_t *table16);

// Gives the control its histograms: for CURVE_HISTOGRAM_ONE sources[0] is gray, for
// CURVE_HISTOGRAM_THREE sources are red, green and blue; each is a maximum followed by 256
// counts and must live as long as the control uses it. Rebuilds the table.
void GrayCurveSetHistograms(GrayCurve *curve, int mode, const int32_t *const sources[3]);

// The points of the control, and new points for it. GrayCurveSetPoints returns
// ERROR_SPLINE_CURVE and changes nothing when the points make no curve.
void GrayCurveGetPoints(const GrayCurve *curve, CurvePoints *points);
ErrorCode GrayCurveSetPoints(GrayCurve *curve, const CurvePoints *points);

// "&Invert": each y becomes 255 - y.
void GrayCurveInvert(GrayCurve *curve);

// A count as the histogram shows it: "Linear Histogram" the count itself, "Medium
// Histogram Expansion" 100 c^0.4 and "High Histogram Expansion" 100 c^0.2, rounded.
int32_t CurveHistogramExpand(int32_t count, int histExpand);

// The height of a count's bar as a fraction of the plot: its expanded value over the
// expanded maximum, a maximum of 0 counting as 1; at most 1.
double CurveHistogramFraction(int32_t count, int32_t maximum, int histExpand);

// The plot of a control width by height pixels, level 0 at its lower left corner: a pixel
// column or row as a level 0..255, and a level as a pixel column or row.
int CurveLevelOfColumn(int column, int width);
int CurveLevelOfRow(int row, int height);
int CurveColumnOfLevel(int level, int width);
int CurveRowOfLevel(int level, int height);

enum : int32_t {
    CURVE_MOUSE_PRESS = 0, // left button down
    CURVE_MOUSE_MOVE = 1,
    CURVE_MOUSE_RELEASE = 2,
};

enum : int32_t {
    CURVE_KEY_SHIFT = 1,
    CURVE_KEY_CONTROL = 2,
};

// What a mouse event did, as bits.
enum : int32_t {
    CURVE_CHANGED = 1, // the points changed: repaint
    CURVE_BEEP = 2,    // the click was refused: beep
    CURVE_NOTIFY = 4,  // tell the parent that the curve changed
};

// Runs one mouse event at pixel (column, row) of a control width by height pixels with the
// keys held (CURVE_KEY_* bits). In the curve view: Shift adds a point where the x is free;
// a click within 4 pixels of a point grabs it, or removes it with Ctrl while more than two
// remain; a click within 4 pixels of the left axis at a point's height drags only its y, and
// one near the bottom axis at a point's x only its x, unless its neighbours squeeze it. In
// the histogram view the lower half holds each point's input handle and the upper half its
// output handle; Shift in the upper half adds a point on the curve. A dragged x stays
// strictly between its neighbours. The table is rebuilt on every change, and the release of
// a press that did something asks for CURVE_NOTIFY. Returns CURVE_* bits.
int GrayCurveMouse(GrayCurve *curve, int event, int column, int row, int keys, int width,
                   int height);

// Reads a ".crv" file into the targets, which keep each value as it is read: a bad file
// leaves what came before its fault. Keys come in any order. Returns
// ERROR_ILLEGAL_CURVE_FILE for another header, an unknown key or style word, a count out of
// 2..256, an index or level out of 0..255, a missing "end", or points that make no curve.
ErrorCode ReadCurveFile(FileHandle file, int32_t *pointCount, int32_t *x, int32_t *y,
                        int32_t *style, int32_t *histExpand);

// Writes a ".crv" file of the points. Returns ERROR_WRITE_FILE on failure.
ErrorCode WriteCurveFile(FileHandle file, int pointCount, const int32_t *x, const int32_t *y,
                         int style, int histExpand);

// The control's "Load..." and "Save As..." on a chosen path. A file that does not open gives
// ERROR_OPEN_FILE and changes nothing; a bad one gives ERROR_ILLEGAL_CURVE_FILE and the
// reset curve. Saving returns the codes of SettingsFileSave.
ErrorCode GrayCurveLoad(GrayCurve *curve, const char *path);
ErrorCode GrayCurveSave(const GrayCurve *curve, const char *path);

// The two foreign curve files of Color Curves. Each reads the three curves of the RGB
// space: on success *colorSpace becomes 2 (RGB) and curves[0..2] red, green and blue, in
// spline style from ".acv" and as 256 points in linear style from ".amp". A bad file
// changes nothing and returns ERROR_ILLEGAL_COLOR_CURVE_FILE: an ".acv" whose version is not
// 1 or 4, whose count is not 1 or 5, or whose curves run past its end or make no curve; an
// ".amp" shorter than 768 bytes.
ErrorCode ReadAcvFile(FileHandle file, int32_t *colorSpace, CurvePoints curves[3]);
ErrorCode ReadAmpFile(FileHandle file, int32_t *colorSpace, CurvePoints curves[3]);
