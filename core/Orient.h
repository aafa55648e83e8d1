// The eight right-angle orientations of a picture. Codes, with (x, y) a source column and
// row (rows from the bottom) and W, H the source size:
//   0 (x, y)   1 (y, W-1-x)   2 (W-1-x, H-1-y)   3 (H-1-y, x)
//   4 (W-1-x, y)   5 (H-1-y, W-1-x)   6 (x, H-1-y)   7 (y, x)
// Codes 1, 3, 5 and 7 swap width and height.
#pragma once

#include "core/Errors.h"
#include "core/Image.h"

constexpr int ORIENT_CODE_COUNT = 8;

// Turns source into destination by code, for types 1, 2, 3, 6, 7, with progress when
// showProgress is set. ERROR_ILLEGAL_TYPE for other types; an abort leaves the destination
// partly written.
ErrorCode OrientImageCode(const Image *source, Image *destination, int code, int showProgress);

// The progress title of code: "Copy", "Rotate", "Reflect", or "Rotate CW" for code 7.
const char *OrientTitle(int code);

// The compute step of Mirror/Rotate: OrientImageCode with progress.
ErrorCode OrientImage(const Image *source, Image *destination, int code);
