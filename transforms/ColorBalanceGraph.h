// The Color Balance graph as a plain model: where the three tables, their break points and
// the "Remove" and "Add" swatches stand, which point a press grabs, and where a drag puts
// it. The dialog's control paints from this and forwards the mouse here, so that every rule
// is tested without a screen.
#pragma once

#include <cstdint>

#include "core/Helpers.h"
#include "transforms/ColorBalance.h"

constexpr int BALANCE_GRAPH_SIDE = 128;     // pixels of the plot: a level v at x = v / 2
constexpr int BALANCE_GRAPH_GRID = 16;      // pixels between grid lines, nine each way
constexpr int BALANCE_GRAPH_GRAB = 4;       // pixels from a point that still grab it
constexpr int BALANCE_GRAPH_POINT_SIDE = 5; // pixels of a point's square
constexpr int BALANCE_SWATCH_SIDE = 24;     // pixels of a swatch
constexpr int BALANCE_SWATCH_GAP = 6;       // pixels between the plot, the swatches and rows
constexpr int BALANCE_SWATCH_COLUMN = 44;   // pixels of a column of swatches and its heading
constexpr int BALANCE_SWATCH_HEADING = 16;  // pixels of the "Remove" and "Add" headings

// The break points a press may grab, in the order they are tested.
enum : int32_t {
    BALANCE_POINT_NONE = -1,
    BALANCE_POINT_HIGHLIGHT = 0, // + channel: 0..2 highlight red, green, blue
    BALANCE_POINT_SHADOW = 3,    // 3..5
    BALANCE_POINT_MIDTONE = 6,   // 6..8, only while the midtone is on
    BALANCE_POINT_COUNT = 9,
};

// The swatches, row by row (highlight, shadow, midtone), remove before add.
enum : int32_t {
    BALANCE_SWATCH_NONE = -1,
    BALANCE_SWATCH_HIGHLIGHT_REMOVE = 0,
    BALANCE_SWATCH_HIGHLIGHT_ADD = 1,
    BALANCE_SWATCH_SHADOW_REMOVE = 2,
    BALANCE_SWATCH_SHADOW_ADD = 3,
    BALANCE_SWATCH_MIDTONE_REMOVE = 4,
    BALANCE_SWATCH_MIDTONE_ADD = 5,
    BALANCE_SWATCH_COUNT = 6,
};

// What a mouse event did, as bits.
enum : int32_t {
    BALANCE_GRAPH_CHANGED = 1,  // the settings changed: redraw the graph and the lists
    BALANCE_GRAPH_GRABBED = 2,  // a point was taken: the color controls hide
    BALANCE_GRAPH_RELEASED = 4, // a drag ended: preview, and the color controls come back
};

struct ColorBalanceGraph {
    int32_t dragged; // BALANCE_POINT_*: the point the held button moves
};

// The control's size: the plot and its frame, then the two columns of swatches.
int ColorBalanceGraphWidth(void);
int ColorBalanceGraphHeight(void);

// The plot's rectangle inside the control (its inside, without the frame).
void ColorBalanceGraphPlot(Rect *plot);

// The left edge of the swatches' column 0 ("Remove") or 1 ("Add"), where its heading starts.
int ColorBalanceColumnLeft(int column);

// The rectangle of swatch (BALANCE_SWATCH_*) inside the control, and the swatch at a point,
// or BALANCE_SWATCH_NONE.
void ColorBalanceSwatchRect(int swatch, Rect *rect);
int ColorBalanceSwatchAt(int x, int y);

// The color a swatch shows (0xRRGGBB); the midtone pair is gray while the midtone is off.
uint32_t ColorBalanceSwatchColor(const ColorBalanceSettings *settings, int swatch);

// The color of a swatch's pair as three levels, red first, and an edit of it as its color
// control makes one: a remove color keeps its neighbours' order (ColorBalanceSetHighlightRemove
// and the others), an add color is stored as it is; the list of its pair turns custom, and the
// midtone's also turns on. A color equal to the one stored is ignored. Returns 1 when the
// settings changed.
void ColorBalanceSwatchGet(const ColorBalanceSettings *settings, int swatch, uint8_t *color);
int ColorBalanceSwatchSet(ColorBalanceSettings *settings, int swatch, const uint8_t *color);

// The plot position of a point (BALANCE_POINT_*): its remove level across, its add level up.
void ColorBalancePointAt(const ColorBalanceSettings *settings, int point, int *x, int *y);

// The point within BALANCE_GRAPH_GRAB pixels of (x, y) in plot coordinates, the first in
// test order; BALANCE_POINT_NONE when none is.
int ColorBalanceGraphHit(const ColorBalanceSettings *settings, int x, int y);

// Moves point to the plot position (x, y): its remove level x * 2 held short of its
// neighbours on that channel, its add level 255 - 2 y, each within 0..255.
void ColorBalanceGraphDrag(ColorBalanceSettings *settings, int point, int x, int y);

enum : int32_t {
    BALANCE_MOUSE_PRESS = 0,
    BALANCE_MOUSE_MOVE = 1,
    BALANCE_MOUSE_RELEASE = 2,
};

// One mouse event at (x, y) in plot coordinates: a press grabs the nearest point in test
// order and sets its list to custom, a move drags it, the release lets it go. Returns
// BALANCE_GRAPH_* bits.
int ColorBalanceGraphMouse(ColorBalanceGraph *graph, ColorBalanceSettings *settings, int event,
                           int x, int y);
