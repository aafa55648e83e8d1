// The color wheel of Color Correct as a plain model: its geometry between colors, wheel
// coordinates and the pixels of the control, its pictures, and its mouse rules on the
// control points. The dialog draws what this says and forwards the mouse here, so that every
// rule can be tested without a screen.
//
// Wheel coordinates X, Y run -255..255 over the wheel at zoom 1; chroma x is squeezed by
// cos 30 degrees (3547/4096) so that the hexagon of reachable colors is regular.
#pragma once

#include <cstdint>

#include "core/Image.h"
#include "transforms/ColorCorrect.h"

constexpr int WHEEL_SIZE = 257; // pixels of the wheel's pictures each way
constexpr int WHEEL_FRAME = 4;  // pixels of frame around the wheel in its control
constexpr int WHEEL_CONTROL_SIZE = WHEEL_SIZE + 2 * WHEEL_FRAME;
constexpr int WHEEL_GRAB = 4;      // pixels from a point's end that still grab it
constexpr int WHEEL_LINE_GRAB = 3; // pixels from a point's line that still select it
constexpr int WHEEL_ARROW = 8;     // pixels of each stroke of an arrow head

// Wheel coordinates of a color taken as it is (largest channel 255).
void WheelOfColor(const ColorCorrectSettings *settings, const uint8_t rgb[3], int *x, int *y);

// Wheel coordinates to the control's pixels (left, top: the wheel's corner) and back.
void WheelToScreen(int x, int y, int left, int top, int *screenX, int *screenY);
void WheelFromScreen(int screenX, int screenY, int left, int top, int *x, int *y);

// The color at wheel coordinates x, y under the settings' zoom and center into rgb; returns
// the excess, 0 inside the hexagon.
int WheelToColor(const ColorCorrectSettings *settings, int x, int y, uint8_t rgb[3]);

// Draws the wheel of the settings' zoom and center into wheel (24-bit) and coverage (8-bit
// gray, 255 inside the hexagon), both WHEEL_SIZE square and allocated here; outside the
// hexagon the wheel is gray 128. ERROR_NO_MEMORY.
ErrorCode WheelBuild(const ColorCorrectSettings *settings, Image *wheel, Image *coverage);

// The corrected wheel: each covered pixel of wheel through the tables, into corrected
// (allocated here). ERROR_NO_MEMORY.
ErrorCode WheelCorrect(const Image *wheel, const Image *coverage, const ColorCorrectTables *tables,
                       int nonlinear, Image *corrected);

// Adds a point of color rgb, scaled to a largest channel of 255 (black becomes white),
// unmoved and unbrightened, and selects it. Returns 0 (and the caller beeps) with 100 points.
int ColorCorrectPointAdd(ColorCorrectSettings *settings, const uint8_t rgb[3]);

// Removes point index; later points move down and the selection clears. Returns 0 (and the
// caller beeps) when there is no such point.
int ColorCorrectPointRemove(ColorCorrectSettings *settings, int index);

// The point whose end or line is at pixel (screenX, screenY) of a wheel at left, top: the
// selected point first, then the others in order; for each the target end, the source end,
// then the line. Returns the index, or -1, and into *end 1 for the target end, -1 for the
// source end, 0 for the line.
int WheelHit(const ColorCorrectSettings *settings, int screenX, int screenY, int left, int top,
             int *end);

enum : int32_t {
    WHEEL_PRESS = 0, // left button down
    WHEEL_MOVE = 1,
    WHEEL_RELEASE = 2,
};

enum : int32_t {
    WHEEL_KEY_SHIFT = 1,
    WHEEL_KEY_CONTROL = 2,
};

// What a mouse event did, as bits.
enum : int32_t {
    WHEEL_REDRAW = 1,    // the points or the selection changed: draw the arrows again
    WHEEL_SELECTION = 2, // another point (or none) is selected: show or hide its controls
    WHEEL_STALE = 4,     // the points moved: the tables no longer fit them
    WHEEL_FINISHED = 8,  // a change is complete: rebuild the tables and preview
    WHEEL_BEEP = 16,     // the request was refused
};

// One left-button event at pixel (screenX, screenY) of a wheel at left, top, with the keys
// held (WHEEL_KEY_* bits), on the settings and *dragPoint (0 none; i + 1 dragging the target
// end of point i, -(i + 1) its source end). A press with Shift first adds a point at the
// pointer; then the hit point is removed with Ctrl, or selected and, on an end, dragged; a
// press on nothing selects nothing. A move while dragging puts the pointer's color at the
// held end. The release ends the drag. Returns WHEEL_* bits.
int WheelMouse(ColorCorrectSettings *settings, int *dragPoint, int event, int screenX, int screenY,
               int keys, int left, int top);

// The strokes that draw point index on a wheel at left, top: the line from the target end to
// the source end and the two strokes of the arrow head at the target end (none when both
// ends fall on one pixel), and the circle at the source end.
struct WheelPointShape {
    int32_t strokeCount;   // 0 or 3
    int32_t strokes[3][4]; // x0, y0, x1, y1 in the control's pixels
    int32_t sourceX;       // the circle's centre
    int32_t sourceY;
    int32_t selected; // 1: the circle is filled
};
void WheelPointDrawing(const ColorCorrectSettings *settings, int index, int left, int top,
                       WheelPointShape *shape);

// Zoom In and Zoom Out: wheelZoom steps through 1..COLOR_CORRECT_ZOOM_MAX. Zooming in centers
// the wheel on the selected point's source color, or on white with none; back at 1 the
// center is white. Returns 0 (and the caller beeps) beyond either end.
int WheelZoom(ColorCorrectSettings *settings, int in);

// What a scroll bar asks of a zoomed wheel.
enum : int32_t {
    WHEEL_SCROLL_LINE_BACK = 0, // left or up
    WHEEL_SCROLL_LINE_ON = 1,   // right or down
    WHEEL_SCROLL_PAGE_BACK = 2,
    WHEEL_SCROLL_PAGE_ON = 3,
    WHEEL_SCROLL_TO = 4, // the thumb's position
    WHEEL_SCROLL_START = 5,
    WHEEL_SCROLL_END = 6,
};

// The scroll bars of a zoomed wheel run -255..255 over the center: the horizontal one is
// wheelCenterX, the vertical one the negative of wheelCenterY. One scroll (WHEEL_SCROLL_*,
// with thumb, -255..255, for WHEEL_SCROLL_TO) steps by 32 / zoom a line and 128 / zoom a
// page. Returns 1 when the center moved.
int WheelScroll(ColorCorrectSettings *settings, int vertical, int code, int thumb);

// What the wheel says of the color under pixel (screenX, screenY) of a wheel at left, top:
// "Hue: %1f%%, Sat: %1f%%" with its hue and saturation of 0..4096 divided by 40.96, or
// nothing outside the hexagon. Into text of size bytes.
void WheelHueText(const ColorCorrectSettings *settings, int screenX, int screenY, int left, int top,
                  char *text, int size);
