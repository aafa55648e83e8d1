// Resize: the picture to another width and height, or only to another resolution, by one of
// the six interpolation methods of the scaler (core/Resample.h).
#pragma once

#include <cstdint>

#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_RESIZE = 24,      // its operation code and its dialog's window kind
    COMMAND_RESIZE = 4003, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    RESIZE_INPUT = 103,
    RESIZE_TIMER = 114, // an edit commits when the typing has paused this long
    // The five fields, in the order pending edits commit; each has a "Current" text at its
    // id + RESIZE_CURRENT and a label at its id + RESIZE_LABEL.
    RESIZE_PIXEL_WIDTH = 120,
    RESIZE_PIXEL_HEIGHT = 121,
    RESIZE_WIDTH = 122,
    RESIZE_HEIGHT = 123,
    RESIZE_RESOLUTION = 124,
    RESIZE_FILE_SIZE = 125,   // the new file size, a text; its current one at + RESIZE_CURRENT
    RESIZE_PROPORTIONS = 126, // the same for the proportions
    RESIZE_CURRENT = 20,
    RESIZE_LABEL = 40,
    RESIZE_LENGTH_UNIT = 170,
    RESIZE_RESOLUTION_UNIT = 171,
    RESIZE_PRESERVE = 172,
    RESIZE_METHOD = 173,
    RESIZE_SHARPEN_TEXT = 174, // "Sharpening: %1f\%"
    RESIZE_SHARPEN = 175,
    RESIZE_HEADING_CURRENT = 176,
    RESIZE_HEADING_NEW = 177,
};

constexpr int RESIZE_FIELD_COUNT = 5; // the edits, RESIZE_PIXEL_WIDTH on

// What the dialog keeps of its figures: PreserveMode.
enum : int32_t {
    PRESERVE_PROPORTIONS = 0,
    PRESERVE_FILE_SIZE = 1,  // and proportions: only the resolution changes
    PRESERVE_IMAGE_SIZE = 2, // and proportions: the physical size stays
    PRESERVE_NONE = 3,
};
constexpr int PRESERVE_COUNT = 4;

enum : int32_t { LENGTH_INCHES = 0, LENGTH_CENTIMETERS = 1, LENGTH_MILLIMETERS = 2 };
enum : int32_t { RESOLUTION_DPI = 0, RESOLUTION_DPCM = 1, RESOLUTION_DPMM = 2 };

struct ResizeSettings {
    int32_t width; // the new size in pixels
    int32_t height;
    double resolution;      // the new resolution in dots per inch; 0 keeps the input's
    int32_t method;         // RESAMPLE_*
    double a;               // the bicubic kernel's parameter, -0.5 (soft) to -2.0 (sharp)
    int32_t preserve;       // PRESERVE_*
    int32_t lengthUnit;     // LENGTH_*
    int32_t resolutionUnit; // RESOLUTION_*
    // The input the figures were made for; the next opening keeps the new size only for an
    // input of this size and resolution.
    int32_t sourceWidth;
    int32_t sourceHeight;
    double sourceResolution;
};

// The defaults: Bicubic at -0.75, proportions kept, dpi, the length unit of the preferences,
// and no size yet (width and height 0: the input's, once there is one).
void ResizeSettingsDefault(ResizeSettings *settings);

// Gives the figures an input: its size and resolution, and the new ones the same.
void ResizeTakeSource(ResizeSettings *settings, int width, int height, double resolution);

// Results of ResizeCommit.
enum : int32_t {
    RESIZE_REFUSED = 0, // the text is no number, or no size; nothing changed
    RESIZE_CHANGED = 1, // the figures changed: show them again
    RESIZE_UNSHOWN = 2, // the resolution changed, and nothing is shown again
};

// A text typed into one of the five fields (0 pixel width .. 4 resolution, in the units of
// settings) commits to the figures by the rules of the preserve mode. The text is an
// arithmetic expression; a size whose value rounds to 0 or less, or a resolution not above
// 0, is refused.
int ResizeCommit(ResizeSettings *settings, int field, const char *text);

// What the dialog shows of the figures: the text of a field (0..4, for the new figures, or
// with current set for the input's), the file size of a picture of type at the new size,
// and the proportions.
void ResizeFieldText(const ResizeSettings *settings, int field, int current, char *text, int size);
void ResizeFileSizeText(int type, int width, int height, char *text, int size);
void ResizeProportionsText(int width, int height, char *text, int size);

// The sharpening slider: its position for a, and a for a position.
int ResizeSharpenPosition(double a);
double ResizeSharpenOf(int position);

// The compute function of Resize (params is a ResizeSettings): the whole result only, as
// Resize has no preview (ERROR_INTERNAL_1 for one). ERROR_ILLEGAL_TYPE for other than
// pictures, the scaler's codes.
ErrorCode ResizeCompute(const Image *source, Image *destination, Picture *picture, void *params,
                        int full, int destinationWidth, int destinationHeight, int sourceX,
                        int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h);

extern const TransformDescriptor ResizeTransform;
