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
