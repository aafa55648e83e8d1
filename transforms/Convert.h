// Convert: from any picture type to any other.
#pragma once

#include <cstdint>

#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_CONVERT = 61,      // its operation code and its dialog's window kind
    COMMAND_CONVERT = 4053, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    CONVERT_TARGET = 102,
    CONVERT_INPUT = 103,
    CONVERT_FROM_TEXT = 104, // "Convert from: ..."
};

enum : int32_t {
    CONVERT_BINARY = 0,
    CONVERT_GRAY8 = 1,
    CONVERT_COLOR24 = 2,
    CONVERT_GRAY16 = 3,
    CONVERT_COLOR48 = 4,
};

struct ConvertSettings {
    int32_t target; // CONVERT_*
};

void ConvertSettingsDefault(ConvertSettings *settings);

// The picture type of a target; a preview of a 16-bit target is 8-bit.
int ConvertTargetType(int target, int full);

// 1 when the settings change nothing for source: the target is the picture's own type at this
// depth. Apply then copies and a preview renders as the display does.
int ConvertChangesNothing(const void *params, const Image *source, int full);

// The compute function of Convert (params is a ConvertSettings). Returns ERROR_ILLEGAL_TYPE
// for a record without a picture, ERROR_INTERNAL_1 for an unknown target, ERROR_NO_MEMORY,
// or ERROR_ABORTED with the rows done so far.
ErrorCode ConvertCompute(const Image *source, Image *destination, Picture *picture, void *params,
                         int full, int destinationWidth, int destinationHeight, int sourceX,
                         int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h);

extern const TransformDescriptor ConvertTransform;
