// The program's one image scaler: Resize, Layout, Album, Print and Slide Show all call it.
//
// Scaling is separable and runs one output row at a time: a vertical pass mixes source rows
// into a row of source width, and a horizontal pass mixes that row into the output row. All
// mixing is integer arithmetic on kernel values times 255, truncated; a weighted sum is divided
// by the sum of the weights it used, so that the edges renormalise.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"

// Interpolation methods, in the order the Resize dialog lists them.
enum : int32_t {
    RESAMPLE_NEAREST = 0,
    RESAMPLE_BILINEAR = 1,
    RESAMPLE_BICUBIC = 2,  // sharpened by the parameter a, -0.5 .. -2.0
    RESAMPLE_LANCZOS4 = 3, // 4 taps when enlarging, support 2
    RESAMPLE_LANCZOS6 = 4, // 6 taps, support 3
    RESAMPLE_LANCZOS8 = 5  // 8 taps, support 4
};
constexpr int RESAMPLE_METHOD_COUNT = 6;

// "Nearest Neighbor", "Bilinear", "Bicubic", "Lanczos 4x4", "Lanczos 6x6", "Lanczos 8x8".
extern const char *const RESAMPLE_METHOD_LABELS[RESAMPLE_METHOD_COUNT];

// The kernel of a method at distance x (its sign ignored): 1 at 0, 0 outside its support; a
// is used by Bicubic only. Nearest Neighbor has no kernel and gives 0.
double ResampleKernel(double x, double a, int method);

// Scales source (types 1, 2, 3, 6, 7) to newWidth by newHeight into destination, which it
// creates, with the given resolution. The same size is a plain copy; Nearest Neighbor keeps
// the type; every other method turns a binary picture into 8-bit gray. Progress titled
// "Resize" when showProgress is set and the output has 100000 pixels or more, else the wait
// cursor. ERROR_ILLEGAL_TYPE for other types, ERROR_IMAGE_TOO_SMALL for a size below 1,
// ImageAlloc's code for a size too large to hold (before anything else is allocated),
// ERROR_NO_MEMORY for the tables, ERROR_INTERNAL_1 for a method outside the list, and
// ERROR_ABORTED with the destination partly written for the caller to free.
ErrorCode ResampleImage(const Image *source, Image *destination, int newWidth, int newHeight,
                        double resolution, int method, double a, int showProgress);

// Nearest Neighbor: sample i of a new size N from a size S is (i (S-1) + (N-1)/2) / (N-1),
// 0 when N is 1. Keeps the type and the source's resolution; progress or wait cursor as above.
ErrorCode ResampleNearest(const Image *source, Image *destination, int newWidth, int newHeight,
                          int showProgress);

// The quick scaler of page previews: sample i is the plain quotient i (S-1) / (N-1), with no
// progress and no wait cursor, and resolution 100. An empty source (type 0) clears the
// destination and succeeds; a failure leaves the destination cleared.
ErrorCode ResampleThumbnail(const Image *source, Image *destination, int newWidth, int newHeight);
