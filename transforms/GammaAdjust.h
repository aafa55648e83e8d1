// Gamma Adjust: raises each normalised sample to a power. The smallest complete
// transformation and the model for the others.
#pragma once

#include <cstdint>

#include "core/Compute.h"

constexpr int GAMMA_INPUT_COUNT = 4;
extern const double GAMMA_INPUT_VALUES[GAMMA_INPUT_COUNT]; // 1.0, 1.4, 1.8, 2.22

struct GammaSettings {
    double factor;           // the exponent; 1.0 changes nothing
    int32_t inputGammaIndex; // 0..GAMMA_INPUT_COUNT - 1
};

// Fills settings with the values a first opening shows.
void GammaSettingsDefault(GammaSettings *settings);

// The short cut of a transformation that changes nothing, shared with Convert: Apply copies
// source into destination with progress titled "Copy", and has nothing to do when the two
// are one picture; a preview that draws into its own
// window's view renders the rectangle x0..x1, y0..y1 there as the display does. Sets *taken
// to 0, and does nothing, for a preview into any other destination, which the caller then
// computes through its row loop. Returns the copy's or the rendering's code.
ErrorCode GammaShortCut(const Image *source, Image *destination, ImageWindow *window, int full,
                        int x0, int y0, int x1, int y1, int *taken);

// The compute function of Gamma Adjust (params is a GammaSettings). Returns
// ERROR_ILLEGAL_TYPE for other than 8-bit and 16-bit gray and color input, ERROR_NO_MEMORY,
// or ERROR_ABORTED with the rows done so far.
ErrorCode GammaCompute(const Image *source, Image *destination, ImageWindow *window,
                       void *params, int full, int destinationWidth, int destinationHeight,
                       int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                       int w, int h);
