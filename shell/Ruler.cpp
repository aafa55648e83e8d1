// The rulers of picture windows: along the top and the left of the view, in the border's
// margin, measuring from the picture's top left corner in pixels, inches, millimetres or
// centimetres.
//
// Each axis cuts what it shows into round major divisions (1, 2 or 5 times a power of ten
// of the unit), never more than one for every 20 pixels of the view, and each major
// division into five by minor ticks. Major ticks cross the whole margin and carry a label;
// minor ticks are a quarter of it, against the view.
#include <cmath>

#include "core/FormatString.h"
#include "core/Preferences.h"
#include "shell/Display.h"

static const int RULER_DIVISION_PIXELS = 20; // the view's pixels for each major division
static const int RULER_MINOR_PARTS = 5;      // parts of a major division
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

// One axis of the ruler, in client pixels along it.
struct RulerAxis {
    int horizontal;
    double units;  // ruler units of one picture pixel
    double scale;  // client pixels of one picture pixel
    int origin;    // the client coordinate of the edge of picture pixel start
    int start;     // a picture column, or a row counted from the top
    int first;     // the client coordinates the view covers along the axis
    int end;       // one past the last
    int thickness; // pixels of the margin that holds the axis
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

static void RulerAxisPaint(DrawContext *context, const RulerAxis *axis, uint32_t color)
{
    // The units the view covers along the axis.
    double low = (axis->start + (axis->first - axis->origin) / axis->scale) * axis->units;
    double high = (axis->start + (axis->end - axis->origin) / axis->scale) * axis->units;
    int divisions = (axis->end - axis->first) / RULER_DIVISION_PIXELS;
    if (divisions < 1) divisions = 1;
    double step = RulerStep(high - low, divisions);
    if (!(step > 0.0)) return;
    double minor = step / RULER_MINOR_PARTS;
    int minorLength = axis->thickness / 4 > 2 ? axis->thickness / 4 : 2;
    int64_t k = (int64_t)std::ceil(low / minor - 1e-6);
    // No more ticks than the divisions hold: the step is at least the range over them.
    int ticks = RULER_MINOR_PARTS * (divisions + 2) + 2;
    for (int i = 0; i < ticks; i++, k++) {
        double value = (double)k * minor;
        if (value > high + minor * 1e-6) break;
        int at =
            axis->origin + (int)std::floor((value / axis->units - axis->start) * axis->scale + 0.5);
        if (at < axis->first || at > axis->end) continue;
        int major = k % RULER_MINOR_PARTS == 0;
        int length = major ? axis->thickness : minorLength;
        int far = axis->thickness - 1;
        if (axis->horizontal)
            PlatformDrawLine(context, at, far - length + 1, at, far, color);
        else
            PlatformDrawLine(context, far - length + 1, at, far, at, color);
        if (!major) continue;
        char label[32];
        RulerLabel(value, step, label, (int)sizeof label);
        if (axis->horizontal)
            PlatformDrawText(context, at + 2, 0, label, color, 1);
        else
            PlatformDrawText(context, 1, at + 1, label, color, 1);
    }
}

void RulerPaint(DrawContext *context, WindowHandle window, const ImageWindow *record)
{
    (void)window;
    if (Prefs.showRuler < 1 || Prefs.showRuler > 4) return;
    // A picture without a resolution of its own measures at the default one.
    double resolution =
        record->image.resolution > 0.0 ? record->image.resolution : Prefs.defaultResolution;
    double units = RulerUnitsPerPixel(Prefs.showRuler, resolution);
    if (!(units > 0.0)) return;
    uint32_t color = RulerTextColor(DisplayBorderColor());
    int zoom = record->zoom == 0 || record->zoom == -1 ? 1 : record->zoom;
    double scale = zoom >= 1 ? zoom : 1.0 / -zoom;

    if (record->viewTop > 0 && record->viewWidth > 0) {
        RulerAxis axis = {1,
                          units,
                          scale,
                          record->viewLeft,
                          record->sourceLeft,
                          record->viewLeft,
                          record->viewLeft + record->viewWidth,
                          record->viewTop};
        RulerAxisPaint(context, &axis, color);
    }
    if (record->viewLeft > 0 && record->viewHeight > 0) {
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
                          record->viewLeft};
        RulerAxisPaint(context, &axis, color);
    }
}
