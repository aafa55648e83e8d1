// Color Curves: three tone curves, one for each component of HSV, HSL or RGB.
#pragma once

#include <cstdint>

#include "masks/Amount.h"
#include "transforms/BrightnessCurve.h"
#include "transforms/CurveModel.h"
#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_COLOR_CURVES = 28,      // its operation code and its dialog's window kind
    COMMAND_COLOR_CURVES = 4049, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    COLOR_CURVES_INPUT = 103,
    COLOR_CURVES_CURVE = 110,
    COLOR_CURVES_COMPONENT = 111, // the first of three radio buttons
    COLOR_CURVES_SPACE = 114,
    COLOR_CURVES_AMOUNT = 120,
};

constexpr int CURVES_LEVELS12 = 4097; // entries of a 12-bit table, 0..4096

struct ColorCurvesSettings {
    CurvePoints curves[3]; // H, S, V or H, S, L or R, G, B
    int32_t colorSpace;    // CURVES_*
    int32_t component;     // the curve in view, 0..2
    AmountSetting amount;  // how much of the result, and where
};

// Three identity curves on RGB, the third in view, fully applied.
void ColorCurvesSettingsDefault(ColorCurvesSettings *settings);

// The 12-bit table of an 8-bit one, so that the HSV and HSL paths reach the curve without a
// division: L[j] = (T[(255 j + 2048) >> 12] 4096 + 127) / 255 for j = 0..4096.
void CurvesTable12(const uint8_t *table, uint16_t *table12);

// The ".cc" file: reading sets what it reads and returns ERROR_ILLEGAL_COLOR_CURVE_FILE for
// another header, an unknown key, a value out of range, a missing "end" or curves that make
// no curve; writing returns ERROR_WRITE_FILE on failure.
ErrorCode ReadColorCurvesFile(FileHandle file, ColorCurvesSettings *settings);
ErrorCode WriteColorCurvesFile(FileHandle file, const ColorCurvesSettings *settings);

// Reads a settings file of Color Curves by its extension: ".cc", or the foreign ".acv" and
// ".amp", whose three curves are those of RGB. ERROR_OPEN_FILE for a file that does not
// open, the reader's code for a bad one.
ErrorCode ColorCurvesLoad(const char *path, ColorCurvesSettings *settings);

// The compute function of Color Curves (params is a ColorCurvesSettings). Pictures without
// color are copied, as the curves of hue and saturation have nothing to act on.
ErrorCode ColorCurvesCompute(const Image *source, Image *destination, Picture *picture,
                             void *params, int full, int destinationWidth, int destinationHeight,
                             int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                             int w, int h);

extern const TransformDescriptor ColorCurvesTransform;
