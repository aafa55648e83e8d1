// The curve control: the tone curve of transforms/CurveModel.h drawn on its plot, with the
// grid and the histograms behind it, and edited by the model's mouse rules. When a press that
// changed the curve is let go, the parent hears MSG_COMMAND with the control's id and
// NOTIFY_RELEASED; while the mouse drags, NOTIFY_MOVED.
#pragma once

#include "transforms/CurveModel.h"
#include "ui/Controls.h"

// The right button over the control: sent to the parent with the point in the control's
// client area (x low 16 bits, y high), for the menu the parent offers.
constexpr uint32_t MSG_CURVE_MENU = 0x8031;

// The right button's menu, run: Reset, Invert and the histogram's expansion act on the curve
// at once; "Load..." and "Save As..." (offered when files is set) are for the dialog to run.
enum : int32_t {
    CURVE_MENU_NONE = 0,    // nothing, or only how the histogram is drawn
    CURVE_MENU_CHANGED = 1, // the points changed
    CURVE_MENU_LOAD = 6,
    CURVE_MENU_SAVE = 7,
};
int CurveControlMenu(WindowHandle parent, int id, int x, int y, int files);

// The levels a probe of probeSize (0..4: 1x1 to 9x9 pixels) reads at column x, row index y
// of image in the components of space (as CurveHistogramsOf counts them); a gray or binary
// picture gives its level three times.
void CurveProbeLevels(const Image *image, int x, int y, int probeSize, int space, int levels[3]);

// A click on picture (lParam the point in its client area) while a curve dialog is open:
// the control marks the level probed there, of component 0..2 in space, or, with component
// -1, the three of a color picture (a gray one marks its level). Returns 1 when it did.
int CurveControlProbe(WindowHandle parent, int id, WindowHandle picture, intptr_t lParam, int space,
                      int component);

// The histograms of a picture's components in a color space (CURVES_HSV, CURVES_HSL,
// CURVES_RGB; hue and saturation brought to 0..255), each a maximum and 256 counts, from at
// most a million pixels spread evenly over it. A gray or binary picture fills the first with
// its levels. Returns how many it filled: 1 or 3.
int CurveHistogramsOf(const Image *image, int space, int32_t histograms[3][257]);

// Makes the control in parent at rect, showing points. Null when it cannot be made.
WindowHandle CurveControlCreate(WindowHandle parent, int id, const Rect *rect,
                                const CurvePoints *points);

// The control's curve, for reading its points and giving it histograms; null for none.
GrayCurve *CurveControlCurve(WindowHandle parent, int id);

// Shows other points (a reset, a loaded file, another component), without telling the
// parent. ERROR_SPLINE_CURVE, and nothing changes, for points that make no curve.
ErrorCode CurveControlSetPoints(WindowHandle parent, int id, const CurvePoints *points);

// Repaints the control after its curve was changed from outside (histograms, style).
void CurveControlRefresh(WindowHandle parent, int id);
