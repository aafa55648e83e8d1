// The rulers of picture windows: along the top and the left of the view, in a band of the
// border's width right beside it, measuring from the picture's top left corner in pixels,
// inches, millimetres or centimetres.
//
// Each axis cuts what it shows into round major divisions (1, 2 or 5 times a power of ten
// of the unit), never more than one for every 20 pixels of the view and never closer than
// its longest label needs, and each major division into five by minor ticks (two, or none,
// where five would crowd). Major ticks cross the band and carry a label after them; minor
// ticks are a quarter of it, against the view. A label never runs into the next one and is
// never cut: one that would pass the view's end is left out, and a band too thin for the
// text carries ticks alone.
#include <cmath>
#include <cstring>

#include "core/FormatString.h"
#include "core/Preferences.h"
#include "core/Text.h"
#include "ui/Display.h"

static const int RULER_DIVISION_PIXELS = 20; // the view's pixels for each major division, least
static const int RULER_MINOR_PARTS = 5;      // parts of a major division
static const int RULER_MINOR_PIXELS = 4;     // pixels between minor ticks, least
static const int RULER_LABEL_OFFSET = 2;     // pixels from a major tick to its label
static const int RULER_LABEL_GAP = 8;        // pixels from a label to the next major tick, least
static const double MILLIMETRES_PER_INCH = 25.40005;
static const double CENTIMETRES_PER_INCH = 2.540005;

double RulerUnitsPerPixel(int showRuler, double resolution)
{
    if (showRuler == 1) return 1.0;
    if (!(resolution > 0.0)) return 0.0;
    switch (showRuler) {
    case 2: return 1.0 / resolution;
    case 3: return MILLIMETRES_PER_INCH / resolution;
    case 4: return CENTIMETRES_PER_INCH / resolution;
    default: return 0.0;
    }
}

double RulerStep(double range, int maxDivisions)
{
    if (!(range > 0.0) || maxDivisions < 1 || !std::isfinite(range)) return 0.0;
    double raw = range / maxDivisions;
    double power = std::pow(10.0, std::floor(std::log10(raw)));
    double fraction = raw / power;
    // The tolerance keeps a step that is already round, such as 20 for 400 in 20, from being
    // pushed to the next one by the rounding of the division.
    const double tolerance = 1e-9;
    double round = fraction <= 1.0 + tolerance   ? 1.0
                   : fraction <= 2.0 + tolerance ? 2.0
                   : fraction <= 5.0 + tolerance ? 5.0
                                                 : 10.0;
    return round * power;
}

uint32_t RulerTextColor(uint32_t border)
{
    int red = (int)((border >> 16) & 0xff);
    int blue = (int)(border & 0xff);
    // Dark text on a light border and light on a dark one, channel by channel. Green follows
    // the border's red rather than its green: the ruler has always been drawn so, and a
    // border color chosen for it looks as it did; leave it so.
    uint32_t textRed = red > 127 ? 0 : 255;
    uint32_t textGreen = red > 127 ? 0 : 255;
    uint32_t textBlue = blue > 127 ? 0 : 255;
    return textRed << 16 | textGreen << 8 | textBlue;
}

// One axis of the ruler: a band of the margin beside the view, as thick as the border and
// no thicker, however far the view stands from the window's edge.
struct RulerAxis {
    int horizontal;
    double units;   // ruler units of one picture pixel
    double scale;   // client pixels of one picture pixel
    int origin;     // the client coordinate of the edge of picture pixel start
    int start;      // a picture column, or a row counted from the top
    int first;      // the client coordinates the view covers along the axis
    int end;        // one past the last
    int band;       // the client coordinate across the axis where the band begins
    int thickness;  // pixels of the band across the axis
    int lineHeight; // pixels of a line of the small font, in which labels are written
};

// Pixels of a minor tick across the band, against the view.
static int RulerMinorLength(const RulerAxis *axis)
{
    return axis->thickness / 4 > 2 ? axis->thickness / 4 : 2;
}

// How a label is laid along its axis: flat along a horizontal axis and, when it fits across
// the band, beside a vertical one's tick; else a vertical axis stacks its characters one
// under the other, as a narrow margin has no room for a number written across it.
enum : int32_t {
    LABEL_NONE = 0, // the band is too thin for any label
    LABEL_FLAT = 1,
    LABEL_STACKED = 2,
};

// The label of a major tick: whole numbers for whole steps, else as many decimals as the
// step has.
static void RulerLabel(double value, double step, char *text, int size)
{
    if (step >= 1.0) {
        FormatString(text, size, "%d", (int)Round(value));
        return;
    }
    int decimals = (int)std::ceil(-std::log10(step) - 1e-9);
    if (decimals > 6) decimals = 6;
    char format[8] = {'%', (char)('0' + decimals), 'z', 'f', 0};
    FormatString(text, size, format, value);
}

// The widest character of a label in the small font.
static int RulerWidestCharacter(const char *label)
{
    int widest = 0;
    for (const char *c = label; *c != 0; c++) {
        int width = PlatformSmallTextWidth(c, 1);
        if (width > widest) widest = width;
    }
    return widest;
}

// How the labels of an axis are laid, with the widest label it may carry.
static int RulerLabelMode(const RulerAxis *axis, const char *widest)
{
    int height = axis->lineHeight - 1; // the small font's text, without the line's spacing
    if (axis->horizontal) return height <= axis->thickness ? LABEL_FLAT : LABEL_NONE;
    // Across a vertical band a label keeps clear of the minor ticks.
    int room = axis->thickness - RulerMinorLength(axis) - 1;
    if (height <= axis->thickness && PlatformSmallTextWidth(widest, (int)strlen(widest)) <= room)
        return LABEL_FLAT;
    return RulerWidestCharacter(widest) <= room ? LABEL_STACKED : LABEL_NONE;
}

// The pixels a label takes along its axis, from its tick to its far end.
static int RulerLabelLength(const RulerAxis *axis, const char *label, int mode)
{
    int length = (int)strlen(label);
    if (mode == LABEL_STACKED) return RULER_LABEL_OFFSET + length * axis->lineHeight;
    if (axis->horizontal) return RULER_LABEL_OFFSET + PlatformSmallTextWidth(label, length);
    return RULER_LABEL_OFFSET + axis->lineHeight - 1;
}

// The next round step above step: 1, 2, 5 times a power of ten.
static double RulerNextStep(double step)
{
    double power = std::pow(10.0, std::floor(std::log10(step) + 1e-9));
    double round = step / power;
    if (round < 1.5) return 2.0 * power;
    if (round < 3.5) return 5.0 * power;
    return 10.0 * power;
}

// The step of an axis: at most one major division for every RULER_DIVISION_PIXELS of the
// view, and no closer than the longest of its labels needs, so that labels never run into
// each other. *mode receives how the labels are laid.
static double RulerAxisStep(const RulerAxis *axis, double low, double high, int *mode)
{
    int divisions = (axis->end - axis->first) / RULER_DIVISION_PIXELS;
    if (divisions < 1) divisions = 1;
    double step = RulerStep(high - low, divisions);
    double pixelsPerUnit = axis->scale / axis->units;
    *mode = LABEL_NONE;
    for (int tries = 0; step > 0.0 && tries < 64; tries++) {
        // The longest label decides: the one with the most digits, or with decimals where
        // the ends are whole numbers. The step already keeps the labels to a few hundred.
        char label[32];
        char widest[32] = "";
        int64_t k = (int64_t)std::ceil(low / step - 1e-6);
        for (int i = 0; i < divisions + 2; i++, k++) {
            double value = (double)k * step;
            if (value > high + step * 1e-6) break;
            RulerLabel(value, step, label, (int)sizeof label);
            if (strlen(label) > strlen(widest)) StrCopyLimit(label, widest, sizeof widest - 1);
        }
        *mode = RulerLabelMode(axis, widest);
        int needed = *mode == LABEL_NONE ? 0 : RulerLabelLength(axis, widest, *mode);
        if (step * pixelsPerUnit >= needed + RULER_LABEL_GAP) return step;
        step = RulerNextStep(step);
    }
    return step;
}

// Draws a label whose tick stands at at.
static void RulerLabelDraw(DrawContext *context, const RulerAxis *axis, int at, const char *label,
                           int mode, uint32_t color)
{
    if (axis->horizontal) {
        PlatformDrawText(context, at + RULER_LABEL_OFFSET, axis->band, label, color, 1);
    } else if (mode == LABEL_FLAT) {
        PlatformDrawText(context, axis->band + 1, at + RULER_LABEL_OFFSET, label, color, 1);
    } else {
        for (int i = 0; label[i] != 0; i++) {
            char character[2] = {label[i], 0};
            int room = axis->thickness - RulerMinorLength(axis) - 1;
            int x = axis->band + 1 + (room - PlatformSmallTextWidth(character, 1)) / 2;
            PlatformDrawText(context, x, at + RULER_LABEL_OFFSET + i * axis->lineHeight, character,
                             color, 1);
        }
    }
}

static void RulerAxisPaint(DrawContext *context, const RulerAxis *axis, uint32_t color)
{
    // The units the view covers along the axis.
    double low = (axis->start + (axis->first - axis->origin) / axis->scale) * axis->units;
    double high = (axis->start + (axis->end - axis->origin) / axis->scale) * axis->units;
    int mode;
    double step = RulerAxisStep(axis, low, high, &mode);
    if (!(step > 0.0)) return;
    // Five minor ticks a division where they stand apart, else two, else none.
    double stepPixels = step * axis->scale / axis->units;
    int parts = stepPixels >= 5 * RULER_MINOR_PIXELS   ? RULER_MINOR_PARTS
                : stepPixels >= 2 * RULER_MINOR_PIXELS ? 2
                                                       : 1;
    double minor = step / parts;
    int minorLength = RulerMinorLength(axis);
    int64_t k = (int64_t)std::ceil(low / minor - 1e-6);
    int divisions = (int)((high - low) / step) + 2;
    int ticks = parts * divisions + 2; // no more than the range holds
    for (int i = 0; i < ticks; i++, k++) {
        double value = (double)k * minor;
        if (value > high + minor * 1e-6) break;
        int at =
            axis->origin + (int)std::floor((value / axis->units - axis->start) * axis->scale + 0.5);
        if (at < axis->first || at >= axis->end) continue;
        int major = k % parts == 0;
        int length = major ? axis->thickness : minorLength;
        int far = axis->band + axis->thickness - 1; // the side against the view
        if (axis->horizontal)
            PlatformDrawLine(context, at, far - length + 1, at, far, color);
        else
            PlatformDrawLine(context, far - length + 1, at, far, at, color);
        if (!major || mode == LABEL_NONE) continue;
        char label[32];
        RulerLabel(value, step, label, (int)sizeof label);
        // A label that would run past the view's end is left out rather than cut.
        if (at + RulerLabelLength(axis, label, mode) > axis->end) continue;
        RulerLabelDraw(context, axis, at, label, mode, color);
    }
}

void RulerPaint(DrawContext *context, WindowHandle window, const ImageWindow *record)
{
    (void)window;
    if (Prefs.showRuler < 1 || Prefs.showRuler > 4) return;
    // A picture without a resolution of its own measures at the default one.
    double resolution = record->picture.image.resolution > 0.0 ? record->picture.image.resolution
                                                               : Prefs.defaultResolution;
    double units = RulerUnitsPerPixel(Prefs.showRuler, resolution);
    if (!(units > 0.0)) return;
    uint32_t color = RulerTextColor(DisplayBorderColor());
    int zoom = record->zoom == 0 || record->zoom == -1 ? 1 : record->zoom;
    double scale = zoom >= 1 ? zoom : 1.0 / -zoom;
    int border = DisplayBorder();
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);

    int thickness = record->viewTop < border ? record->viewTop : border;
    if (thickness > 0 && record->viewWidth > 0) {
        RulerAxis axis = {1,
                          units,
                          scale,
                          record->viewLeft,
                          record->sourceLeft,
                          record->viewLeft,
                          record->viewLeft + record->viewWidth,
                          record->viewTop - thickness,
                          thickness,
                          metrics.smallLineHeight};
        RulerAxisPaint(context, &axis, color);
    }
    thickness = record->viewLeft < border ? record->viewLeft : border;
    if (thickness > 0 && record->viewHeight > 0) {
        // Magnified rows are blocks anchored at the view's bottom row, so the block of the
        // top row may begin above the view.
        int offset = zoom > 1 ? (record->viewHeight - 1) % zoom - zoom + 1 : 0;
        RulerAxis axis = {0,
                          units,
                          scale,
                          record->viewTop + offset,
                          record->sourceTop,
                          record->viewTop,
                          record->viewTop + record->viewHeight,
                          record->viewLeft - thickness,
                          thickness,
                          metrics.smallLineHeight};
        RulerAxisPaint(context, &axis, color);
    }
}
