// Gamma Adjust: raises each normalised sample to a power. The smallest complete
// transformation and the model for the others.
#pragma once

#include <cstdint>

#include "masks/Amount.h"
#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_GAMMA = 65,      // its operation code and its dialog's window kind
    COMMAND_GAMMA = 4029, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    GAMMA_SLIDER = 101,
    GAMMA_INPUT_GAMMA = 102,
    GAMMA_INPUT = 103,
    GAMMA_OUTPUT_TEXT = 104, // "Output gamma: %2f"
    GAMMA_FACTOR_TEXT = 105, // "Gamma factor: %2f"
    GAMMA_AMOUNT = 106,
};

constexpr int GAMMA_INPUT_COUNT = 4;
extern const double GAMMA_INPUT_VALUES[GAMMA_INPUT_COUNT]; // 1.0, 1.4, 1.8, 2.22

struct GammaSettings {
    double factor;           // the exponent; 1.0 changes nothing
    int32_t inputGammaIndex; // 0..GAMMA_INPUT_COUNT - 1
    AmountSetting amount;    // how much of the result, and where
};

// Fills settings with the values a first opening shows.
void GammaSettingsDefault(GammaSettings *settings);

// 1 when the settings change nothing for source: a factor of exactly 1.0, or an amount of
// none, on a picture type Gamma Adjust takes. Apply then copies and a preview renders as the
// display does.
int GammaChangesNothing(const void *params, const Image *source, int full);

// The compute function of Gamma Adjust (params is a GammaSettings). Returns
// ERROR_ILLEGAL_TYPE for other than 8-bit and 16-bit gray and color input, ERROR_NO_MEMORY,
// or ERROR_ABORTED with the rows done so far.
ErrorCode GammaCompute(const Image *source, Image *destination, Picture *picture, void *params,
                       int full, int destinationWidth, int destinationHeight, int sourceX,
                       int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h);

extern const TransformDescriptor GammaTransform;
