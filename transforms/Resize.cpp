// Resize: the figures of the dialog and their rules, and the compute function that hands
// them to the scaler.
//
// The dialog keeps a working width W, height H and resolution R in dots per inch beside the
// input's Ws, Hs and Rs. Each field typed into commits by the preserve mode: proportions
// follow the pixel size in whole pixels, "File Size and Proportions" changes only R (the
// pixels stay, so nothing is resampled), "Image Size and Proportions" moves R with the pixel
// size so that the printed size stays. Lengths convert with 2.540005 and 25.40005: those
// factors are what the figures of existing settings were made with.
#include "transforms/Resize.h"

#include <climits>
#include <cmath>
#include <cstddef>

#include "core/Expression.h"
#include "core/FormatString.h"
#include "core/Preferences.h"
#include "core/Resample.h"

static const double LENGTH_FACTORS[3] = {1.0, 2.540005, 25.40005}; // in, cm, mm per inch

// Half away from zero, as the figures round; 0 stands for a value too large to be a size,
// which the callers refuse.
static int RoundFigure(double v)
{
    double rounded = v >= 0.0 ? trunc(v + 0.5) : trunc(v - 0.5);
    if (rounded > INT_MAX || rounded < INT_MIN) return 0;
    return (int)rounded;
}

// a * b / c in whole pixels, as the proportions are kept; at least 1.
static int32_t Proportional(int32_t a, int32_t b, int32_t c)
{
    int64_t value = c > 0 ? (int64_t)a * b / c : a;
    if (value > INT_MAX) value = INT_MAX;
    return value < 1 ? 1 : (int32_t)value;
}

static int Unit(int32_t unit)
{
    return unit >= 0 && unit < 3 ? unit : 0;
}

void ResizeSettingsDefault(ResizeSettings *settings)
{
    settings->width = 0;
    settings->height = 0;
    settings->resolution = 0.0;
    settings->method = RESAMPLE_BICUBIC;
    settings->a = -0.75;
    settings->preserve = PRESERVE_PROPORTIONS;
    // The preferences' units are pixels, inches, centimetres, millimetres; a length is never
    // in pixels.
    settings->lengthUnit = Prefs.defaultUnits == 2   ? LENGTH_CENTIMETERS
                           : Prefs.defaultUnits == 3 ? LENGTH_MILLIMETERS
                                                     : LENGTH_INCHES;
    settings->resolutionUnit = RESOLUTION_DPI;
    settings->sourceWidth = 0;
    settings->sourceHeight = 0;
    settings->sourceResolution = 0.0;
}

void ResizeTakeSource(ResizeSettings *settings, int width, int height, double resolution)
{
    settings->sourceWidth = settings->width = width;
    settings->sourceHeight = settings->height = height;
    settings->sourceResolution = settings->resolution = resolution;
}

// A pixel size typed into the width (horizontal set) or the height.
static void CommitPixels(ResizeSettings *s, int horizontal, double v)
{
    int32_t *size = horizontal ? &s->width : &s->height;
    int32_t *other = horizontal ? &s->height : &s->width;
    int32_t sourceSize = horizontal ? s->sourceWidth : s->sourceHeight;
    int32_t sourceOther = horizontal ? s->sourceHeight : s->sourceWidth;
    *size = RoundFigure(v);
    // The width gives R from the rounded pixels, the height from the value as typed: two
    // routes to the same figure that differ only in the last digits.
    if (s->preserve == PRESERVE_IMAGE_SIZE && sourceSize > 0)
        s->resolution = (horizontal ? *size : v) * s->sourceResolution / sourceSize;
    if (s->preserve != PRESERVE_NONE) *other = Proportional(*size, sourceOther, sourceSize);
}

// A physical size typed into the width or the height, in the length unit.
static void CommitLength(ResizeSettings *s, int horizontal, double v)
{
    double c = LENGTH_FACTORS[Unit(s->lengthUnit)];
    int32_t *size = horizontal ? &s->width : &s->height;
    int32_t *other = horizontal ? &s->height : &s->width;
    int32_t sourceSize = horizontal ? s->sourceWidth : s->sourceHeight;
    int32_t sourceOther = horizontal ? s->sourceHeight : s->sourceWidth;
    if (s->preserve == PRESERVE_FILE_SIZE) {
        s->resolution = *size * c / v;
        return;
    }
    *size = RoundFigure(v * s->resolution / c);
    if (*size < 1) *size = 1;
    if (s->preserve != PRESERVE_NONE) *other = Proportional(*size, sourceOther, sourceSize);
}

// A resolution typed, in the resolution unit. Returns RESIZE_UNSHOWN for the one case that
// leaves the displays as they are: no preserving, with the length in inches.
static int CommitResolution(ResizeSettings *s, double v)
{
    double sizeX = s->width / s->resolution;
    double sizeY = s->height / s->resolution;
    s->resolution = v * LENGTH_FACTORS[Unit(s->resolutionUnit)];
    switch (s->preserve) {
    case PRESERVE_FILE_SIZE:
        s->width = s->sourceWidth;
        s->height = s->sourceHeight;
        break;
    case PRESERVE_IMAGE_SIZE:
        s->width = RoundFigure(s->resolution / s->sourceResolution * s->sourceWidth);
        s->height = RoundFigure(s->resolution / s->sourceResolution * s->sourceHeight);
        break;
    case PRESERVE_NONE:
        if (s->lengthUnit == LENGTH_INCHES) return RESIZE_UNSHOWN;
        s->width = RoundFigure(sizeX * s->resolution);
        s->height = RoundFigure(sizeY * s->resolution);
        break;
    default: break;
    }
    if (s->width < 1) s->width = 1;
    if (s->height < 1) s->height = 1;
    return RESIZE_CHANGED;
}

int ResizeCommit(ResizeSettings *settings, int field, const char *text)
{
    double v;
    if (!ExpressionEvaluate(text, &v)) return RESIZE_REFUSED;
    if (field == 4) return v > 0.0 ? CommitResolution(settings, v) : RESIZE_REFUSED;
    if (field < 0 || field > 4 || RoundFigure(v) <= 0) return RESIZE_REFUSED;
    if (field < 2)
        CommitPixels(settings, field == 0, v);
    else
        CommitLength(settings, field == 2, v);
    return RESIZE_CHANGED;
}

void ResizeFieldText(const ResizeSettings *settings, int field, int current, char *text, int size)
{
    int32_t width = current ? settings->sourceWidth : settings->width;
    int32_t height = current ? settings->sourceHeight : settings->height;
    double resolution = current ? settings->sourceResolution : settings->resolution;
    switch (field) {
    case 0: FormatString(text, size, "%d", width); break;
    case 1: FormatString(text, size, "%d", height); break;
    case 2:
    case 3:
        FormatString(text, size, "%2f",
                     (field == 2 ? width : height) * LENGTH_FACTORS[Unit(settings->lengthUnit)] /
                         resolution);
        break;
    default:
        FormatString(text, size, "%1f",
                     resolution / LENGTH_FACTORS[Unit(settings->resolutionUnit)]);
        break;
    }
}

void ResizeFileSizeText(int type, int width, int height, char *text, int size)
{
    double megabytes = (double)ImageRowBytes(type, width) * height / 1000000.0;
    if (megabytes >= 10000.0)
        FormatString(text, size, "***");
    else
        FormatString(text, size, "%3fMB", megabytes);
}

void ResizeProportionsText(int width, int height, char *text, int size)
{
    if (height < width)
        FormatString(text, size, "1.00:%2f", (double)height / width);
    else
        FormatString(text, size, "%2f:1.00", (double)width / height);
}

// The slider's 0..1024 span a from -0.5 to -2.0.
int ResizeSharpenPosition(double a)
{
    return (int)trunc((a + 0.5) * -1024.0 / 1.5);
}

double ResizeSharpenOf(int position)
{
    return -0.5 - position / 1024.0 * 1.5;
}

static int ResizeAccepts(int type)
{
    return ImageIsPicture(type);
}

ErrorCode ResizeCompute(const Image *source, Image *destination, Picture *picture, void *params,
                        int full, int destinationWidth, int destinationHeight, int sourceX,
                        int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h)
{
    (void)picture;
    const ResizeSettings *settings = (const ResizeSettings *)params;
    if (source == nullptr || !ResizeAccepts(source->type)) return ERROR_ILLEGAL_TYPE;
    // Only the whole result: the figures name its size, and nothing smaller is ever shown.
    if (!full || zoom != 1 || sourceX != 0 || sourceY != 0 || x0 != 0 || y0 != 0 ||
        destinationWidth != settings->width || destinationHeight != settings->height ||
        x1 != destinationWidth - 1 || y1 != destinationHeight - 1 || w != destinationWidth ||
        h != destinationHeight)
        return ERROR_INTERNAL_1;
    double resolution = settings->resolution > 0.0 ? settings->resolution : source->resolution;
    return ResampleImage(source, destination, settings->width, settings->height, resolution,
                         settings->method, settings->a, 1);
}

static void ResizeResultSize(const void *params, const Image *source, int *width, int *height)
{
    (void)source;
    const ResizeSettings *settings = (const ResizeSettings *)params;
    *width = settings->width;
    *height = settings->height;
}

static void ResizeDefaults(void *settings)
{
    ResizeSettingsDefault((ResizeSettings *)settings);
}

static const TransformOption RESIZE_OPTIONS[] = {
    {"--width", "W", OPTION_INTEGER, OPTION_REQUIRED, 1.0, 1000000.0, nullptr, 0,
     offsetof(ResizeSettings, width), 0, "the new width in pixels",
     "the width must be a whole number of pixels from 1 to 1000000", nullptr},
    {"--height", "H", OPTION_INTEGER, OPTION_REQUIRED, 1.0, 1000000.0, nullptr, 0,
     offsetof(ResizeSettings, height), 0, "the new height in pixels",
     "the height must be a whole number of pixels from 1 to 1000000", nullptr},
    {"--method", "M", OPTION_INTEGER, 0, 0.0, RESAMPLE_METHOD_COUNT - 1, nullptr, 0,
     offsetof(ResizeSettings, method), 0,
     "0 Nearest Neighbor, 1 Bilinear, 2 Bicubic (default), 3 Lanczos 4x4, 4 Lanczos 6x6, "
     "5 Lanczos 8x8",
     "the method must be a number from 0 to 5", nullptr},
    {"--a", "A", OPTION_REAL, 0, -2.0, -0.5, nullptr, 0, offsetof(ResizeSettings, a), 0,
     "the sharpening of Bicubic, -0.5 (soft) to -2.0 (sharp); default -0.75",
     "the bicubic parameter must be a number from -2.0 to -0.5", nullptr},
    {"--resolution", "DPI", OPTION_REAL, OPTION_MINIMUM_OPEN, 0.0, 1000000.0, nullptr, 0,
     offsetof(ResizeSettings, resolution), 0, "the new resolution; default the input's",
     "the resolution must be a number above 0", nullptr},
};

const TransformDescriptor ResizeTransform = {
    "Resize",
    "resize",
    "Resize to W by H pixels",
    "Resi&ze...",
    MENU_IMAGE_DIALOG,
    COMMAND_RESIZE,
    KIND_RESIZE,
    ResizeCompute,
    ResizeAccepts,
    nullptr,
    nullptr,
    nullptr,
    TRANSFORM_PROFILE_COPY,
    0,
    TRANSFORM_NO_AMOUNT,
    sizeof(ResizeSettings),
    ResizeDefaults,
    nullptr,
    RESIZE_OPTIONS,
    (int32_t)(sizeof RESIZE_OPTIONS / sizeof RESIZE_OPTIONS[0]),
    ResizeResultSize,
    nullptr,
};
