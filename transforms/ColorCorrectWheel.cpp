// The color wheel of Color Correct: geometry, pictures and mouse rules, without a screen.
#include "transforms/ColorCorrectWheel.h"

#include <cmath>
#include <cstring>

#include "color/ColorSpace.h"
#include "core/FormatString.h"
#include "core/Helpers.h"

// cos 30 degrees in 4096ths squeezes chroma x onto the wheel; its inverse stretches it back.
static const int WHEEL_SQUEEZE = 3547;
static const int WHEEL_STRETCH = 4730;
static const double WHEEL_ARROW_ANGLE = 0.436332313; // 25 degrees

void WheelOfColor(const ColorCorrectSettings *settings, const uint8_t rgb[3], int *x, int *y)
{
    int chromaX, chromaY;
    ColorChroma(rgb, &chromaX, &chromaY);
    *x = (((chromaX * WHEEL_SQUEEZE + 2048) >> 12) - settings->wheelCenterX) * settings->wheelZoom;
    *y = (chromaY - settings->wheelCenterY) * settings->wheelZoom;
}

void WheelToScreen(int x, int y, int left, int top, int *screenX, int *screenY)
{
    *screenX = ((x + 255) * 128) / 255 + left;
    *screenY = ((255 - y) * 128) / 255 + top;
}

void WheelFromScreen(int screenX, int screenY, int left, int top, int *x, int *y)
{
    *x = (((screenX - left) * 255) >> 7) - 255;
    *y = -((((screenY - top) * 255) >> 7) - 255);
}

int WheelToColor(const ColorCorrectSettings *settings, int x, int y, uint8_t rgb[3])
{
    int x0 = x / settings->wheelZoom + settings->wheelCenterX;
    int y0 = y / settings->wheelZoom + settings->wheelCenterY;
    // Stretched back, x0 beyond +-221 lies beyond +-255: the hexagon's limits stay.
    return ChromaToColorHalf((x0 * WHEEL_STRETCH + 2048) >> 12, (x0 * WHEEL_STRETCH + 2048) >> 13,
                             y0, rgb);
}

ErrorCode WheelBuild(const ColorCorrectSettings *settings, Image *wheel, Image *coverage)
{
    ErrorCode result = ImageAlloc(wheel, TYPE_COLOR24, WHEEL_SIZE, WHEEL_SIZE, 72.0);
    if (result == ERROR_NONE)
        result = ImageAlloc(coverage, TYPE_GRAY8, WHEEL_SIZE, WHEEL_SIZE, 72.0);
    if (result != ERROR_NONE) return result;
    // Row 0 is the bottom of a picture: rows run up the wheel as y does.
    for (int row = 0; row < WHEEL_SIZE; row++) {
        uint8_t *pixels = wheel->rows[row];
        uint8_t *covered = coverage->rows[row];
        int y = (row * 510) / 256 - 255;
        for (int column = 0; column < WHEEL_SIZE; column++) {
            uint8_t rgb[3];
            int x = (column * 510) / 256 - 255;
            int inside = WheelToColor(settings, x, y, rgb) == 0;
            if (!inside) rgb[0] = rgb[1] = rgb[2] = 128;
            pixels[3 * column] = rgb[2];
            pixels[3 * column + 1] = rgb[1];
            pixels[3 * column + 2] = rgb[0];
            covered[column] = inside ? 255 : 0;
        }
    }
    return ERROR_NONE;
}

ErrorCode WheelCorrect(const Image *wheel, const Image *coverage, const ColorCorrectTables *tables,
                       int nonlinear, Image *corrected)
{
    ErrorCode result = ImageAlloc(corrected, TYPE_COLOR24, WHEEL_SIZE, WHEEL_SIZE, 72.0);
    if (result != ERROR_NONE) return result;
    for (int row = 0; row < WHEEL_SIZE; row++) {
        const uint8_t *in = wheel->rows[row];
        uint8_t *out = corrected->rows[row];
        for (int column = 0; column < WHEEL_SIZE; column++, in += 3, out += 3) {
            if (coverage->rows[row][column] == 0) {
                memcpy(out, in, 3);
                continue;
            }
            const uint8_t rgb[3] = {in[2], in[1], in[0]};
            uint8_t result8[3];
            ColorCorrectPixel8(tables, nonlinear, rgb, result8);
            out[0] = result8[2];
            out[1] = result8[1];
            out[2] = result8[0];
        }
    }
    return ERROR_NONE;
}

int ColorCorrectPointAdd(ColorCorrectSettings *settings, const uint8_t rgb[3])
{
    int count = settings->pointCount;
    if (count >= COLOR_CORRECT_POINTS_MAX) return 0;
    int v = Max3(rgb[0], rgb[1], rgb[2]);
    for (int c = 0; c < 3; c++) {
        uint8_t scaled = v == 0 ? 255 : (uint8_t)(rgb[c] * 255 / v); // black becomes white
        settings->sourceColor[count][c] = settings->targetColor[count][c] = scaled;
    }
    settings->brightness[count] = 0.0;
    settings->pointCount = count + 1;
    settings->selectedPoint = count;
    return 1;
}

int ColorCorrectPointRemove(ColorCorrectSettings *settings, int index)
{
    int count = settings->pointCount;
    if (index < 0 || index >= count) return 0;
    int after = count - index - 1;
    memmove(settings->targetColor[index], settings->targetColor[index + 1], (size_t)after * 3);
    memmove(settings->sourceColor[index], settings->sourceColor[index + 1], (size_t)after * 3);
    memmove(&settings->brightness[index], &settings->brightness[index + 1],
            (size_t)after * sizeof(double));
    settings->pointCount = count - 1;
    settings->selectedPoint = -1;
    return 1;
}

// Point i's two ends in the control's pixels.
static void WheelEnds(const ColorCorrectSettings *settings, int i, int left, int top, int ends[4])
{
    int x, y;
    WheelOfColor(settings, settings->targetColor[i], &x, &y);
    WheelToScreen(x, y, left, top, &ends[0], &ends[1]);
    WheelOfColor(settings, settings->sourceColor[i], &x, &y);
    WheelToScreen(x, y, left, top, &ends[2], &ends[3]);
}

static int WheelNear(int x0, int y0, int x1, int y1, int distance)
{
    return (x1 - x0) * (x1 - x0) + (y1 - y0) * (y1 - y0) <= distance * distance;
}

// 1 when (x, y) lies within WHEEL_LINE_GRAB pixels of the segment between the ends.
static int WheelOnLine(const int ends[4], int x, int y)
{
    double dx = ends[2] - ends[0], dy = ends[3] - ends[1];
    double length2 = dx * dx + dy * dy;
    if (length2 == 0.0) return 0;
    double t = ((x - ends[0]) * dx + (y - ends[1]) * dy) / length2;
    if (t < 0.0 || t > 1.0) return 0;
    double px = ends[0] + t * dx - x, py = ends[1] + t * dy - y;
    return px * px + py * py <= WHEEL_LINE_GRAB * WHEEL_LINE_GRAB;
}

int WheelHit(const ColorCorrectSettings *settings, int screenX, int screenY, int left, int top,
             int *end)
{
    int selected = settings->selectedPoint;
    int ends[4];
    // The selected point is tried first: it is drawn over the others.
    for (int pass = -1; pass < settings->pointCount; pass++) {
        int i = pass < 0 ? selected : pass;
        if (i < 0 || i >= settings->pointCount || (pass >= 0 && i == selected)) continue;
        WheelEnds(settings, i, left, top, ends);
        if (WheelNear(ends[0], ends[1], screenX, screenY, WHEEL_GRAB)) {
            *end = 1;
            return i;
        }
        if (WheelNear(ends[2], ends[3], screenX, screenY, WHEEL_GRAB)) {
            *end = -1;
            return i;
        }
        if (WheelOnLine(ends, screenX, screenY)) {
            *end = 0;
            return i;
        }
    }
    *end = 0;
    return -1;
}

int WheelMouse(ColorCorrectSettings *settings, int *dragPoint, int event, int screenX, int screenY,
               int keys, int left, int top)
{
    int x, y, end, bits = 0;
    uint8_t rgb[3];
    WheelFromScreen(screenX, screenY, left, top, &x, &y);
    switch (event) {
    case WHEEL_PRESS: {
        *dragPoint = 0;
        int before = settings->selectedPoint;
        if (keys & WHEEL_KEY_SHIFT) {
            WheelToColor(settings, x, y, rgb);
            if (ColorCorrectPointAdd(settings, rgb))
                bits |= WHEEL_REDRAW | WHEEL_STALE | WHEEL_FINISHED; // a new point pins its color
            else
                bits |= WHEEL_BEEP;
        }
        int hit = WheelHit(settings, screenX, screenY, left, top, &end);
        if (hit >= 0 && (keys & WHEEL_KEY_CONTROL)) {
            ColorCorrectPointRemove(settings, hit);
            bits |= WHEEL_REDRAW | WHEEL_STALE | WHEEL_FINISHED;
        } else if (hit >= 0) {
            settings->selectedPoint = hit;
            *dragPoint = end > 0 ? hit + 1 : (end < 0 ? -(hit + 1) : 0);
            bits |= WHEEL_REDRAW;
        } else {
            settings->selectedPoint = -1;
        }
        if (settings->selectedPoint != before) bits |= WHEEL_REDRAW | WHEEL_SELECTION;
        return bits;
    }
    case WHEEL_MOVE: {
        int index = *dragPoint > 0 ? *dragPoint - 1 : -*dragPoint - 1;
        if (*dragPoint == 0 || index >= settings->pointCount) return 0;
        WheelToColor(settings, x, y, rgb);
        uint8_t *held =
            *dragPoint > 0 ? settings->targetColor[index] : settings->sourceColor[index];
        if (memcmp(held, rgb, 3) == 0) return 0;
        memcpy(held, rgb, 3);
        return WHEEL_REDRAW | WHEEL_STALE;
    }
    case WHEEL_RELEASE:
        if (*dragPoint == 0) return 0;
        *dragPoint = 0;
        return WHEEL_FINISHED;
    default: return 0;
    }
}

void WheelPointDrawing(const ColorCorrectSettings *settings, int index, int left, int top,
                       WheelPointShape *shape)
{
    int ends[4];
    WheelEnds(settings, index, left, top, ends);
    shape->sourceX = ends[2];
    shape->sourceY = ends[3];
    shape->selected = index == settings->selectedPoint;
    shape->strokeCount = 0;
    if (ends[0] == ends[2] && ends[1] == ends[3]) return;
    // The head's strokes leave the tip back along the line, 25 degrees to either side.
    double angle = atan2((double)(ends[3] - ends[1]), (double)(ends[2] - ends[0]));
    shape->strokeCount = 3;
    memcpy(shape->strokes[0], ends, sizeof ends);
    for (int side = 0; side < 2; side++) {
        double stroke = angle + (side == 0 ? WHEEL_ARROW_ANGLE : -WHEEL_ARROW_ANGLE);
        shape->strokes[1 + side][0] = ends[0];
        shape->strokes[1 + side][1] = ends[1];
        shape->strokes[1 + side][2] = ends[0] + Round(WHEEL_ARROW * cos(stroke));
        shape->strokes[1 + side][3] = ends[1] + Round(WHEEL_ARROW * sin(stroke));
    }
}

int WheelZoom(ColorCorrectSettings *settings, int in)
{
    int zoom = settings->wheelZoom + (in ? 1 : -1);
    if (zoom < 1 || zoom > COLOR_CORRECT_ZOOM_MAX) return 0;
    settings->wheelZoom = zoom;
    if (zoom == 1) {
        settings->wheelCenterX = settings->wheelCenterY = 0;
    } else if (in) {
        static const uint8_t WHITE[3] = {255, 255, 255};
        int selected = settings->selectedPoint;
        const uint8_t *color = selected >= 0 && selected < settings->pointCount
                                   ? settings->sourceColor[selected]
                                   : WHITE;
        int x, y;
        ColorChroma(color, &x, &y);
        settings->wheelCenterX = (x * WHEEL_SQUEEZE + 2048) >> 12;
        settings->wheelCenterY = y;
    }
    return 1;
}

int WheelScroll(ColorCorrectSettings *settings, int vertical, int code, int thumb)
{
    int zoom = settings->wheelZoom;
    int before = vertical ? -settings->wheelCenterY : settings->wheelCenterX;
    int value = before;
    switch (code) {
    case WHEEL_SCROLL_LINE_BACK: value -= 32 / zoom; break;
    case WHEEL_SCROLL_LINE_ON: value += 32 / zoom; break;
    case WHEEL_SCROLL_PAGE_BACK: value -= 128 / zoom; break;
    case WHEEL_SCROLL_PAGE_ON: value += 128 / zoom; break;
    case WHEEL_SCROLL_TO: value = thumb; break;
    case WHEEL_SCROLL_START: value = -255; break;
    case WHEEL_SCROLL_END: value = 255; break;
    default: return 0;
    }
    value = value < -255 ? -255 : (value > 255 ? 255 : value);
    if (value == before) return 0;
    if (vertical)
        settings->wheelCenterY = -value;
    else
        settings->wheelCenterX = value;
    return 1;
}

void WheelHueText(const ColorCorrectSettings *settings, int screenX, int screenY, int left, int top,
                  char *text, int size)
{
    int x, y, hue, saturation, value;
    uint8_t rgb[3];
    text[0] = 0;
    WheelFromScreen(screenX, screenY, left, top, &x, &y);
    if (WheelToColor(settings, x, y, rgb) != 0) return;
    RgbToHsv8(rgb[0], rgb[1], rgb[2], &hue, &saturation, &value);
    FormatString(text, size, "Hue: %1f%%, Sat: %1f%%", hue / 40.96, saturation / 40.96);
}
