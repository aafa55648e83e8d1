// The mask model: an 8-bit gray picture of the size of the picture it serves, 0 outside (no
// effect), 255 fully inside, values between partly. The operations here work on the mask's
// rows directly. Each keeps a RowCoverage beside the mask, one byte a row, so that the next
// operation can skip rows on which it can change nothing; since the skipping decides results,
// every operation leaves the coverage exact.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"

// A row's coverage: every pixel 0, every pixel 255, or anything else.
constexpr uint8_t COVERAGE_EMPTY = 0;
constexpr uint8_t COVERAGE_FULL = 1;
constexpr uint8_t COVERAGE_PARTIAL = 2;

// How Combine Masks puts a new value s onto a mask value m.
constexpr int COMBINE_ADD = 0;      // max(m, s)
constexpr int COMBINE_SUBTRACT = 1; // m - s, not below 0
constexpr int COMBINE_OVERLAP = 2;  // min(m, s)
constexpr int COMBINE_INVERT = 3;   // m exclusive-or s
constexpr int COMBINE_MODES = 4;

constexpr int FEATHER_WIDTH_MAX = 64; // the width runs -64..64; below 0 the mask contracts
constexpr int FEATHER_GRADUAL = 0;    // falloff: the edge fades
constexpr int FEATHER_STEP = 1;       // falloff: the edge moves, hard
constexpr int FEATHER_ROUND = 0;      // corners
constexpr int FEATHER_SQUARE = 1;
constexpr int BLUR_RADIUS_MAX = 400;

// The coverage of one row of width pixels.
uint8_t ClassifyRow(const uint8_t *row, int width);

// The coverage of every row of mask into coverage (mask->height bytes).
void MaskCoverage(const Image *mask, uint8_t *coverage);

// All, None and Invert: every pixel 255, every pixel 0, or v replaced by 255 - v. The
// coverage follows without a scan.
void MaskFill(Image *mask, int value, uint8_t *coverage);
void MaskInvert(Image *mask, uint8_t *coverage);

// Widens the inside of source by width pixels (narrows it when width is negative, down to
// -64) into destination, of source's type and size: each pixel on an edge stamps a disc or
// square of side 2 |width| + 1, faded or hard by falloff and corners, and the destination keeps
// the larger value (the smaller when narrowing). coverage describes source on entry and
// destination on return. ERROR_ABORTED stops it at a row; the destination is then partly
// done, and the caller restores its undo copy.
ErrorCode MaskFeather(const Image *source, Image *destination, int width, int falloff, int corners,
                      uint8_t *coverage);

// A box filter of half-width radius run twice along each row and twice along each column,
// from source into destination; the window shrinks at the ends of a line. coverage is that of
// destination on return. Aborts as MaskFeather does.
ErrorCode MaskBlur(const Image *source, Image *destination, int radius, uint8_t *coverage);

// Combines mask in place with another gray picture of its size (with) or, when with is null,
// with the constant gray, by mode; rows on which the mode can change nothing are skipped.
ErrorCode MaskCombine(Image *mask, const Image *with, int gray, int mode, uint8_t *coverage);

// The two lines of "Mask Area": "%2f pixels\n%2f percent coverage", of the
// area MaskArea measures.
void MaskAreaText(const Image *mask, char *text, int capacity);
