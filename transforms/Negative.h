// Negative: every sample inverted, at once on the whole picture, without a dialog.
#pragma once

#include "transforms/TransformDescriptor.h"

enum : int32_t {
    COMMAND_NEGATIVE = 4006, // its menu command; it has no window kind of its own
};

// The compute function of Negative (it has no settings: params is ignored). Binary pictures
// stay binary, 16-bit ones keep their depth at full. ERROR_ILLEGAL_TYPE for a record without
// a picture, ERROR_NO_MEMORY, or ERROR_ABORTED with the rows done so far.
ErrorCode NegativeCompute(const Image *source, Image *destination, Picture *picture, void *params,
                          int full, int destinationWidth, int destinationHeight, int sourceX,
                          int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h);

extern const TransformDescriptor NegativeTransform;
