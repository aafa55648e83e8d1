// The Color Balance graph's geometry and mouse rules. The plot has a one-pixel frame; the
// swatches stand to its right in two columns under their headings.
#include "transforms/ColorBalanceGraph.h"

#include <cstring>

static const int PLOT_LEFT = 1; // inside the frame
static const int PLOT_TOP = 1;

int ColorBalanceGraphWidth(void)
{
    return BALANCE_GRAPH_SIDE + 2 + BALANCE_SWATCH_GAP + 2 * BALANCE_SWATCH_COLUMN;
}

int ColorBalanceGraphHeight(void)
{
    return BALANCE_GRAPH_SIDE + 2;
}

void ColorBalanceGraphPlot(Rect *plot)
{
    *plot = {PLOT_LEFT, PLOT_TOP, PLOT_LEFT + BALANCE_GRAPH_SIDE, PLOT_TOP + BALANCE_GRAPH_SIDE};
}

int ColorBalanceColumnLeft(int column)
{
    return BALANCE_GRAPH_SIDE + 2 + BALANCE_SWATCH_GAP + column * BALANCE_SWATCH_COLUMN;
}

void ColorBalanceSwatchRect(int swatch, Rect *rect)
{
    int column = swatch % 2;
    int row = swatch / 2;
    int left = ColorBalanceColumnLeft(column) + (BALANCE_SWATCH_COLUMN - BALANCE_SWATCH_SIDE) / 2;
    int top = BALANCE_SWATCH_HEADING + row * (BALANCE_SWATCH_SIDE + BALANCE_SWATCH_GAP);
    *rect = {left, top, left + BALANCE_SWATCH_SIDE, top + BALANCE_SWATCH_SIDE};
}

int ColorBalanceSwatchAt(int x, int y)
{
    for (int swatch = 0; swatch < BALANCE_SWATCH_COUNT; swatch++) {
        Rect rect;
        ColorBalanceSwatchRect(swatch, &rect);
        if (x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom) return swatch;
    }
    return BALANCE_SWATCH_NONE;
}

// The levels a swatch shows, const or not as the settings are.
template <typename Settings> static auto BalanceSwatchLevels(Settings *settings, int swatch)
{
    switch (swatch) {
    case BALANCE_SWATCH_HIGHLIGHT_REMOVE: return settings->highlightRemove + 0;
    case BALANCE_SWATCH_HIGHLIGHT_ADD: return settings->highlightAdd + 0;
    case BALANCE_SWATCH_SHADOW_REMOVE: return settings->shadowRemove + 0;
    case BALANCE_SWATCH_SHADOW_ADD: return settings->shadowAdd + 0;
    case BALANCE_SWATCH_MIDTONE_REMOVE: return settings->midtoneRemove + 0;
    default: return settings->midtoneAdd + 0;
    }
}

static uint32_t BalanceRgb(const uint8_t *color)
{
    return (uint32_t)color[BALANCE_RED] << 16 | (uint32_t)color[BALANCE_GREEN] << 8 |
           color[BALANCE_BLUE];
}

uint32_t ColorBalanceSwatchColor(const ColorBalanceSettings *settings, int swatch)
{
    // A midtone that is off takes no part: a gray stands for it.
    if (swatch >= BALANCE_SWATCH_MIDTONE_REMOVE && !settings->midtoneEnabled) return 0xC0C0C0;
    return BalanceRgb(BalanceSwatchLevels(settings, swatch));
}

void ColorBalanceSwatchGet(const ColorBalanceSettings *settings, int swatch, uint8_t *color)
{
    memcpy(color, BalanceSwatchLevels(settings, swatch), 3);
}

int ColorBalanceSwatchSet(ColorBalanceSettings *settings, int swatch, const uint8_t *color)
{
    if (memcmp(color, BalanceSwatchLevels(settings, swatch), 3) == 0) return 0;
    switch (swatch) {
    case BALANCE_SWATCH_HIGHLIGHT_REMOVE: ColorBalanceSetHighlightRemove(settings, color); break;
    case BALANCE_SWATCH_SHADOW_REMOVE: ColorBalanceSetShadowRemove(settings, color); break;
    case BALANCE_SWATCH_MIDTONE_REMOVE: ColorBalanceSetMidtoneRemove(settings, color); break;
    case BALANCE_SWATCH_HIGHLIGHT_ADD:
        memcpy(settings->highlightAdd, color, 3);
        settings->highlightMode = BALANCE_CUSTOM;
        break;
    case BALANCE_SWATCH_SHADOW_ADD:
        memcpy(settings->shadowAdd, color, 3);
        settings->shadowMode = BALANCE_CUSTOM;
        break;
    default:
        memcpy(settings->midtoneAdd, color, 3);
        settings->midtoneMode = BALANCE_MIDTONE_CUSTOM;
        settings->midtoneEnabled = 1;
        break;
    }
    return 1;
}

// The remove and add levels of a point's pair, const or not as the settings are.
template <typename Settings> static auto BalancePointRemove(Settings *settings, int point)
{
    if (point < BALANCE_POINT_SHADOW) return settings->highlightRemove + 0;
    if (point < BALANCE_POINT_MIDTONE) return settings->shadowRemove + 0;
    return settings->midtoneRemove + 0;
}

template <typename Settings> static auto BalancePointAdd(Settings *settings, int point)
{
    if (point < BALANCE_POINT_SHADOW) return settings->highlightAdd + 0;
    if (point < BALANCE_POINT_MIDTONE) return settings->shadowAdd + 0;
    return settings->midtoneAdd + 0;
}

void ColorBalancePointAt(const ColorBalanceSettings *settings, int point, int *x, int *y)
{
    int channel = point % 3;
    *x = BalancePointRemove(settings, point)[channel] / 2;
    *y = (255 - BalancePointAdd(settings, point)[channel]) / 2;
}

int ColorBalanceGraphHit(const ColorBalanceSettings *settings, int x, int y)
{
    int count = settings->midtoneEnabled ? BALANCE_POINT_COUNT : BALANCE_POINT_MIDTONE;
    for (int point = 0; point < count; point++) {
        int px, py;
        ColorBalancePointAt(settings, point, &px, &py);
        if (Abs(px - x) <= BALANCE_GRAPH_GRAB && Abs(py - y) <= BALANCE_GRAPH_GRAB) return point;
    }
    return BALANCE_POINT_NONE;
}

void ColorBalanceGraphDrag(ColorBalanceSettings *settings, int point, int x, int y)
{
    int channel = point % 3;
    int level = Clamp8(x * 2);
    int add = Clamp8(y * -2 + 255);
    int shadow = settings->shadowRemove[channel];
    int midtone = settings->midtoneRemove[channel];
    int highlight = settings->highlightRemove[channel];
    // Unlike the color controls the drag tests with < and >, so that a point may come to
    // rest on its neighbour's level; the tables fall back for that case.
    if (point < BALANCE_POINT_SHADOW) {
        if (level < shadow) level = shadow + 1;
        if (settings->midtoneEnabled && level < midtone) level = midtone + 1;
    } else if (point < BALANCE_POINT_MIDTONE) {
        if (level > highlight) level = highlight - 1;
        if (settings->midtoneEnabled && level > midtone) level = midtone - 1;
    } else {
        if (level < shadow) level = shadow + 1;
        if (level > highlight) level = highlight - 1;
    }
    BalancePointRemove(settings, point)[channel] = (uint8_t)Clamp8(level);
    BalancePointAdd(settings, point)[channel] = (uint8_t)add;
}

int ColorBalanceGraphMouse(ColorBalanceGraph *graph, ColorBalanceSettings *settings, int event,
                           int x, int y)
{
    switch (event) {
    case BALANCE_MOUSE_PRESS: {
        graph->dragged = ColorBalanceGraphHit(settings, x, y);
        if (graph->dragged == BALANCE_POINT_NONE) return 0;
        if (graph->dragged < BALANCE_POINT_SHADOW)
            settings->highlightMode = BALANCE_CUSTOM;
        else if (graph->dragged < BALANCE_POINT_MIDTONE)
            settings->shadowMode = BALANCE_CUSTOM;
        else
            settings->midtoneMode = BALANCE_MIDTONE_CUSTOM;
        return BALANCE_GRAPH_GRABBED | BALANCE_GRAPH_CHANGED;
    }
    case BALANCE_MOUSE_MOVE:
        if (graph->dragged == BALANCE_POINT_NONE) return 0;
        ColorBalanceGraphDrag(settings, graph->dragged, x, y);
        return BALANCE_GRAPH_CHANGED;
    case BALANCE_MOUSE_RELEASE:
        if (graph->dragged == BALANCE_POINT_NONE) return 0;
        ColorBalanceGraphDrag(settings, graph->dragged, x, y);
        graph->dragged = BALANCE_POINT_NONE;
        return BALANCE_GRAPH_CHANGED | BALANCE_GRAPH_RELEASED;
    default: return 0;
    }
}
