// Alignment of an overlay to a background: the user marks matching points on both pictures,
// and a mapping from background coordinates to overlay coordinates is solved from them. One
// to four pairs give an exact global mapping of growing freedom (shift, rotation, scale,
// shear, perspective); "Multi-point" takes the affine mapping of the first three pairs and
// bends it through up to 58 more by a radial interpolation of what is left over.
//
// Coordinates. Every point here is in the coordinates the rulers show: x counts columns from
// the left (column 0 at 0.0), y counts rows DOWN from the top row (the top row at 0.0), in
// pixels of the picture the point lies on, decimals allowed. An Image keeps row 0 at the
// bottom, so a point at y lies on row index height - 1 - y (AlignmentRowIndex). The mapping
// takes background (x, y) to overlay (X, Y), both in these coordinates.
//
// Nothing here touches a window or shows a message: a function that fails says so by its
// result, and the dialog shows the box.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"

constexpr int ALIGN_MAX_POINTS = 61;         // pairs that can exist
constexpr int ALIGN_GRAB_DISTANCE = 4;       // pixels within which a click grabs a point
constexpr int ALIGN_RADIUS_POSITIONS = 1024; // the "R:" slider runs 0..1024

// The mapping modes, in list order under "Alignment:".
enum : int32_t {
    ALIGN_NONE = 0,         // "none"
    ALIGN_SHIFT = 1,        // "1-point (shift)"
    ALIGN_ROTATE = 2,       // "2-point (shift/rotate)"
    ALIGN_ROTATE_SCALE = 3, // "2-point (shift/rotate/scale)"
    ALIGN_AFFINE = 4,       // "3-point (shift/rotate/scale/shear)"
    ALIGN_PERSPECTIVE = 5,  // "4-point (perspective warp)"
    ALIGN_MULTI_POINT = 6,  // "Multi-point"
    ALIGN_MODE_COUNT = 7,
};

// The labels of the modes, index = code.
extern const char *const ALIGN_MODE_LABELS[ALIGN_MODE_COUNT];

// How "Multi-point" spreads the errors of the pairs beyond the third.
enum : int32_t {
    WARP_SHEPARD = 0,    // "&Shepard Method": inverse squared distance weighting, no matrix
    WARP_HARDY = 1,      // "&Hardy Method": multiquadric sqrt(d^2 + R^2)
    WARP_THIN_PLATE = 2, // "&Thin Plate Method": d^2 ln(d^2)
    WARP_GAUSSIAN = 3,   // "&Gaussian Method": exp(-d^2 / R^2)
    WARP_SINC = 4,       // sin(t) / t at t = d^2 / R^2; no menu item, reachable by value only
    WARP_METHOD_COUNT = 5,
};

// The Options menu's labels of the four methods with a menu item, index = method.
extern const char *const WARP_METHOD_LABELS[4];

// Search radii of Refine, in pixels: the Options menu's "&Search Radius ... 6 pixels", "...
// 2 pixels" and "... 1 pixel".
enum : int32_t {
    ALIGN_SEARCH_6 = 6,
    ALIGN_SEARCH_2 = 2,
    ALIGN_SEARCH_1 = 1,
};

// Messages and titles the dialog shows for the results below.
extern const char *const ALIGN_MESSAGE_SINGULAR;   // "Equations are singular -- try ..."
extern const char *const ALIGN_MESSAGE_NO_POINTS;  // "No alignment points to adjust"
extern const char *const ALIGN_MESSAGE_NO_OVERLAY; // "No overlay image to align"
extern const char *const ALIGN_MESSAGE_UNREFINED;  // "Unable to refine alignment point %s"

// Background (x, y) to overlay (X, Y):
//   X = (a x + b y + c) / (g x + h y + 1),  Y = (d x + e y + f) / (g x + h y + 1).
// Only ALIGN_PERSPECTIVE has g and h other than 0.
struct AlignmentMap {
    double a, b, c, d, e, f, g, h;
};

// The alignment part of the Composite settings. The compute reads mode, pointCount, method,
// radiusFactor and the four point arrays, and writes basisScaleSquared, the residuals, the
// weights and singular; the copies are the dialog's.
struct AlignmentSettings {
    int32_t mode;         // ALIGN_*
    int32_t pointCount;   // pairs in use, 0..ALIGN_MAX_POINTS (AlignmentPairsFor on a mode change)
    int32_t method;       // WARP_*
    int32_t labelPoints;  // 1: the points are drawn with their labels
    int32_t searchRadius; // ALIGN_SEARCH_*: Refine searches +- this many pixels
    double radiusFactor;  // 0.01..5.00, the "R:" slider (Hardy and Gaussian)
    double basisScaleSquared;             // R^2 of the method, worked out by SolveMultiPoint
    double backgroundX[ALIGN_MAX_POINTS]; // the pairs' background ends, ruler coordinates
    double backgroundY[ALIGN_MAX_POINTS];
    double overlayX[ALIGN_MAX_POINTS]; // the pairs' overlay ends, ruler coordinates
    double overlayY[ALIGN_MAX_POINTS];
    // A copy of each point array, kept by the dialog (the points as they stood before an
    // edit it may take back); the compute never reads them.
    double backgroundXCopy[ALIGN_MAX_POINTS];
    double backgroundYCopy[ALIGN_MAX_POINTS];
    double overlayXCopy[ALIGN_MAX_POINTS];
    double overlayYCopy[ALIGN_MAX_POINTS];
    double residualX[ALIGN_MAX_POINTS]; // multi-point: what the affine map misses at each pair
    double residualY[ALIGN_MAX_POINTS];
    double weightX[ALIGN_MAX_POINTS]; // multi-point: the solved weights of the basis
    double weightY[ALIGN_MAX_POINTS];
    int32_t singular; // set by the last compute when the multi-point matrix was singular:
                      // the dialog shows ALIGN_MESSAGE_SINGULAR titled "Error"
};

// Mode none, no pairs, the Shepard method, labels shown, search radius 6, radius factor 1,
// every point and array 0.
void AlignmentSettingsDefault(AlignmentSettings *settings);

// Pairs in use for a mode: 0, 1, 2, 2, 3, 4, and 3 to start "Multi-point"; 0 outside 0..6.
int AlignmentPairsFor(int mode);

// The starting points of a picture of width x height into xs and ys (ALIGN_MAX_POINTS each):
// its four corners (0, 0), (W - 1, 0), (0, H - 1), (W - 1, H - 1), then its centre
// ((W - 1) / 2, (H - 1) / 2) for all further pairs. The dialog gives the background's on
// opening, and the overlay's when an overlay window is chosen (zeros until then).
void AlignmentInitialPoints(int width, int height, double *xs, double *ys);

// The row index (from the bottom, as Image keeps rows) of ruler y on a picture of height
// rows, and back; the same formula both ways: height - 1 - y.
inline double AlignmentRowIndex(double y, int height)
{
    return height - 1 - y;
}

// The label of pair 0..60: '1'..'9' for pairs 0..8, 'a'..'z' for 9..34, 'A'..'Z' after.
char AlignmentLabel(int pair);
// The same as a string of one character and its end, for "%s" in ALIGN_MESSAGE_UNREFINED.
void AlignmentLabelText(int pair, char *text /* 2 bytes */);

// The mapping of mode from the first pairs (pointCount of them, or 3 for ALIGN_MULTI_POINT)
// into map. Returns 1 when a background point equals an earlier background point, or an
// overlay point an earlier overlay point, exactly, or when the system to solve is singular
// (collinear points); the compute then returns ERROR_ALIGNMENT_POINTS. Returns 0 on success.
// Mode none gives the identity.
int ComputeAlignment(int mode, int pointCount, const double *backgroundX, const double *backgroundY,
                     const double *overlayX, const double *overlayY, AlignmentMap *map);

// The mapping of settings as a compute uses it: ComputeAlignment of its mode and points,
// then in ALIGN_MULTI_POINT SolveMultiPoint for a background of width x height, whose
// singular result lands in settings->singular (0 otherwise). Returns ComputeAlignment's 1
// for coincident points or a singular small system, else 0.
int AlignmentPrepare(AlignmentSettings *settings, int backgroundWidth, int backgroundHeight,
                     AlignmentMap *map);

// 1 when map is exactly the identity: a = e = 1 and every other coefficient 0.
int AlignmentMapIsIdentity(const AlignmentMap *map);

// Background (x, y) to overlay (X, Y) through the whole mapping, the division included.
void MapPoint(const AlignmentMap *map, double x, double y, double *mappedX, double *mappedY);

// Solves matrix (n x n, row-major) x = rhs by Gaussian elimination with partial pivoting,
// the solution replacing rhs and matrix destroyed. Returns 1 when a pivot is exactly 0.0.
int SolveLinear(double *matrix, int n, double *rhs);
// The two steps alone: LuDecompose factors matrix in place (multipliers below the diagonal)
// with its row swaps in pivots (n ints), returning 1 for a pivot exactly 0.0; LuSolve then
// solves for one right side in place.
int LuDecompose(double *matrix, int n, int *pivots);
void LuSolve(const double *matrix, int n, double *rhs, const int *pivots);

// "Multi-point": from the affine map of the first three pairs, the residuals of every pair
// (0 for the first three), basisScaleSquared for the method from the background's size, and
// the weights of the basis through all pointCount pairs. Returns 1 when the matrix is
// singular: the weights are then left as they were (and the dialog tells the user), else 0.
// Allocates nothing; the compute calls it once per run, before any row.
int SolveMultiPoint(AlignmentSettings *settings, const AlignmentMap *map, int backgroundWidth,
                    int backgroundHeight);

// What the multi-point warp adds to the affine map at background (x, y): the residuals of a
// pair whose background point is exactly (x, y), else the method's interpolation over all
// pointCount pairs. Allocates nothing.
void WarpResidual(const AlignmentSettings *settings, double x, double y, double *dx, double *dy);

// Background (x, y) to overlay (X, Y) as the compute maps pixels in mode: the numerators
// alone for every mode but ALIGN_PERSPECTIVE, which divides, and in ALIGN_MULTI_POINT with
// WarpResidual added. The dialog uses it to place a new pair's overlay end.
void AlignmentMapPixel(const AlignmentSettings *settings, const AlignmentMap *map, double x,
                       double y, double *mappedX, double *mappedY);

// One output row of overlay samples in background coordinates, with coverage.
//
// Output pixel i (0..count-1) lies at background ruler (x0 + i * xStep, y). It is mapped by
// AlignmentMapPixel; a position X <= -1 or >= the overlay's width (likewise Y) has coverage
// 0; inside [0, width - 1] x [0, height - 1] coverage 255; in the one-pixel fringe between,
// the Round of the bilinear blend of 255 for each of the four neighbouring pixels that
// exists and 0 for one that does not, the position then clamped into the picture. The sample
// is the overlay's bilinear sample there, as SampleGray8 and friends give it.
//
// samples receives count pixels in the overlay's own layout (a binary overlay as gray bytes
// 0 and 255, 16-bit as 16-bit samples, color in pixel order: blue, green, red); coverage
// receives count bytes. *first and *last are the first and last pixel with coverage above 0,
// both -1 for a row without any. Pixels outside the overlay get sample 0.
void AlignedOverlayRow(const Image *overlay, const AlignmentSettings *settings,
                       const AlignmentMap *map, double x0, double xStep, double y, int count,
                       uint8_t *samples, uint8_t *coverage, int *first, int *last);

// Shift-click in "Multi-point": a new pair at background (x, y) whose overlay end is (x, y)
// mapped through map with the residuals, so that the picture does not jump. Returns the new
// pair's index, or -1 when ALIGN_MAX_POINTS pairs exist already (the dialog beeps).
int AlignmentAddPair(AlignmentSettings *settings, const AlignmentMap *map, double x, double y);

// Ctrl-click in "Multi-point": removes pair, moving the later ones down. Returns 1 and changes
// nothing for one of the first three pairs or one not in use (the dialog beeps), else 0.
int AlignmentRemovePair(AlignmentSettings *settings, int pair);

// The pair among the first count whose point (xs[i], ys[i]) lies within ALIGN_GRAB_DISTANCE
// pixels of (x, y), the nearest if several; -1 for none.
int AlignmentFindPoint(const double *xs, const double *ys, int count, double x, double y);

// The "R:" slider: position 0..1024 to radiusFactor (position * 4.99 / 1024 + 0.01) and
// back (rounded, clamped to 0..1024).
double AlignmentRadiusFactor(int position);
int AlignmentRadiusPosition(double radiusFactor);
