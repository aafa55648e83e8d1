// Composite: an overlay laid over a background picture and mixed with it by one of twelve
// operations. The overlay is another picture or a solid color; before the mix it may be
// aligned to the background by matched points (transforms/Alignment.h). Two amounts apply:
// the overlay amount, with its own mask, says how strongly the overlay acts; the general
// amount, with its mask, how much of the composite replaces the background.
//
// The background is the compute function's source. The overlay, its window and its title
// travel in the settings, as a mask travels in an AmountSetting.
#pragma once

#include <cstdint>

#include "masks/Amount.h"
#include "transforms/Alignment.h"
#include "transforms/TransformDescriptor.h"

struct PlatformWindow;

enum : int32_t {
    KIND_COMPOSITE = 38,      // its operation code and its dialog's window kind
    COMMAND_COMPOSITE = 4018, // its menu command
};

// The operations, in list order under "Operation:". Samples run 0..M (M = 255 or 65535).
enum : int32_t {
    COMPOSITE_BLEND = 0,                // "Blend": o
    COMPOSITE_LIGHTEN = 1,              // "Lighten": the larger of b, o
    COMPOSITE_DARKEN = 2,               // "Darken": the smaller of b, o
    COMPOSITE_FILTER = 3,               // "Filter": b o / M
    COMPOSITE_SUBTRACTIVE_FILTER = 4,   // "Subtractive Filter": M - (M - b)(M - o) / M
    COMPOSITE_SOFT_LIGHT = 5,           // "Soft Light"
    COMPOSITE_HARD_LIGHT = 6,           // "Hard Light"
    COMPOSITE_NEGATIVE = 7,             // "Negative": b exclusive-or o, bit by bit
    COMPOSITE_ADD = 8,                  // "Add": Clamp(b + o)
    COMPOSITE_SUBTRACT = 9,             // "Subtract": Clamp(b - o)
    COMPOSITE_ABSOLUTE_DIFFERENCE = 10, // "Absolute Difference": |b - o|
    COMPOSITE_REGISTER = 11,            // "Register": o on a background taken as black
    COMPOSITE_OPERATION_COUNT = 12,
};

// The labels of the operations, index = code.
extern const char *const COMPOSITE_OPERATION_LABELS[COMPOSITE_OPERATION_COUNT];

constexpr int COMPOSITE_TITLE_BYTES = AMOUNT_TITLE_BYTES; // a window title and its end

struct CompositeParams {
    int32_t operation;    // COMPOSITE_*
    int32_t overlayRed;   // 0..255: the solid overlay, used when overlay is null
    int32_t overlayGreen; // 0..255
    int32_t overlayBlue;  // 0..255
    // The overlay picture, or null for the solid color. It may differ in size from the
    // background: it is then laid through the mapping (the identity for alignment none),
    // which puts its top-left pixel on the background's top-left pixel, since the points
    // are in ruler coordinates (see transforms/Alignment.h).
    const Image *overlay;
    PlatformWindow *overlayWindow;            // its window, or null
    char overlayTitle[COMPOSITE_TITLE_BYTES]; // its title, by which a kept setting finds it
                                              // again; empty for the solid color
    AlignmentSettings align; // mode (the "Alignment:" code), pairs, method, warp data
    // The size of the background the background points were made for: a kept record is
    // taken up again only by a background of this size.
    int32_t backgroundWidth;
    int32_t backgroundHeight;
    AmountSetting amount;        // "Amount: ": how much of the composite replaces the background
    AmountSetting overlayAmount; // "Overlay Amount: ": how strongly the overlay acts; its mask
                                 // is of the overlay's size and is aligned with it
};

// The settings of a first opening: Blend, alignment none, a white solid overlay, no overlay
// picture, both amounts full without a mask ("Amount: " and "Overlay Amount: ").
void CompositeParamsDefault(CompositeParams *params);

// Starting points for a background of width x height (AlignmentInitialPoints, and the size
// recorded); the overlay's points zero until an overlay is chosen.
void CompositeSetBackgroundPoints(CompositeParams *params, int width, int height);
// Starting points for an overlay of width x height, when an overlay window is chosen.
void CompositeSetOverlayPoints(CompositeParams *params, int width, int height);

// The overlay's type as the rules count it: the overlay picture's type with binary counted as
// 8-bit gray, or for the solid color 8-bit gray when its three components are equal, else
// 24-bit color.
int CompositeOverlayType(const CompositeParams *params);

// The output type for a background of backgroundType and an overlay of overlayType (as
// CompositeOverlayType gives it): color if either is color, 16-bit if either is 16-bit; a
// preview (full 0) reduces 16-bit to 8. TYPE_EMPTY when the background is not 1, 2, 3, 6 or 7.
int CompositeOutputType(int backgroundType, int overlayType, int full);

// 1 when the composite is the background: the general amount or the overlay amount is
// entirely off. The caller copies instead of computing.
int CompositeChangesNothing(const void *params, const Image *source, int full);

// The compute function of Composite; source is the background and params a CompositeParams.
// In ALIGN_MULTI_POINT it first solves the warp into params (and sets align.singular when the
// matrix is singular, continuing with the weights as they stand). Returns
// ERROR_ILLEGAL_TYPE for a background or overlay that is not a picture,
// ERROR_ALIGNMENT_POINTS for coincident points or a singular small system, ERROR_INTERNAL_1
// for a mask that does not fit its picture, ERROR_NO_MEMORY, or ERROR_ABORTED.
ErrorCode CompositeCompute(const Image *source, Image *destination, Picture *picture, void *params,
                           int full, int destinationWidth, int destinationHeight, int sourceX,
                           int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h);

// Why Refine cannot run: 0 when it can; else the message the dialog shows titled "Error"
// (ALIGN_MESSAGE_NO_POINTS for alignment none, ALIGN_MESSAGE_NO_OVERLAY without an overlay
// picture). The dialog enables "Refine" only when this is null.
const char *CompositeRefineRefusal(const CompositeParams *params);

// Refine: moves each pair's overlay end to where the absolute difference of the two pictures
// over a box of 41 x 41 background pixels around the pair is least, in three passes of
// finer steps (searchRadius / 6 pixels, then a third, then a ninth). Progress titled "Refine
// Alignment Points" goes through the core's progress hooks, one step per pair and pass.
// A pair whose best match lies on the border of the first pass's search is left as it was
// and its index written to unrefined (ALIGN_MAX_POINTS ints), *unrefinedCount counting them:
// the dialog shows ALIGN_MESSAGE_UNREFINED titled "Warning" with AlignmentLabelText of each.
// The operation is restored on every exit. Returns ERROR_NONE, ERROR_ILLEGAL_TYPE when
// CompositeRefineRefusal refuses, ERROR_ALIGNMENT_POINTS, ERROR_NO_MEMORY, or ERROR_ABORTED
// with the points reached so far.
ErrorCode RefineAlignment(const Image *background, CompositeParams *params, int *unrefined,
                          int *unrefinedCount);

extern const TransformDescriptor CompositeTransform;
