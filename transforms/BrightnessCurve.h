// Brightness Curve: one tone curve on the brightness of a picture, read as HSV value, HSL
// lightness or each RGB channel alike.
#pragma once

#include <cstdint>

#include "masks/Amount.h"
#include "transforms/CurveModel.h"
#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_BRIGHTNESS_CURVE = 4,       // its operation code and its dialog's window kind
    COMMAND_BRIGHTNESS_CURVE = 4050, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    BRIGHTNESS_INPUT = 103,
    BRIGHTNESS_CURVE = 110,
    BRIGHTNESS_STEP = 111, // "Stair Step"; "Broken Line" and "Smooth Curve" follow
    BRIGHTNESS_SPACE = 114,
    BRIGHTNESS_AMOUNT = 120,
};

// The color spaces whose brightness the curves work on, in the order the lists show them.
enum : int32_t {
    CURVES_HSV = 0,
    CURVES_HSL = 1,
    CURVES_RGB = 2,
};
extern const char *const CURVES_SPACE_NAMES[3]; // "hsv", "hsl", "rgb"

struct BrightnessCurveSettings {
    CurvePoints curve;
    int32_t colorSpace;   // CURVES_*
    AmountSetting amount; // how much of the result, and where
};

// The identity curve on RGB, fully applied.
void BrightnessCurveSettingsDefault(BrightnessCurveSettings *settings);

// Reads a curve file into the settings' curve: ".crv", or ".fcrv" with its real levels
// rounded to whole ones. ERROR_OPEN_FILE for a file that does not open, and
// ERROR_ILLEGAL_CURVE_FILE, with the settings as they were, for a bad one.
ErrorCode BrightnessCurveLoad(const char *path, BrightnessCurveSettings *settings);

// The output type of both curve transformations: binary and 8-bit gray give 8-bit gray,
// color gives color, and 16 bits stay 16 bits in a result and become 8 in a preview.
ErrorCode CurvesOutputType(const void *params, int sourceType, int full, int *outputType);

// The compute function of Brightness Curve (params is a BrightnessCurveSettings).
ErrorCode BrightnessCurveCompute(const Image *source, Image *destination, Picture *picture,
                                 void *params, int full, int destinationWidth,
                                 int destinationHeight, int sourceX, int sourceY, int zoom, int x0,
                                 int y0, int x1, int y1, int w, int h);

extern const TransformDescriptor BrightnessCurveTransform;
