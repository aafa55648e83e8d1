// The eight right-angle orientations of a picture. Codes, with (x, y) a source column and
// row (rows from the bottom) and W, H the source size:
//   0 (x, y)   1 (y, W-1-x)   2 (W-1-x, H-1-y)   3 (H-1-y, x)
//   4 (W-1-x, y)   5 (H-1-y, W-1-x)   6 (x, H-1-y)   7 (y, x)
// Codes 1, 3, 5 and 7 swap width and height.
#pragma once

#include "core/Errors.h"
#include "core/Image.h"

constexpr int ORIENT_CODE_COUNT = 8;
constexpr int ORIENT_TILE = 64; // pixels a side of a tile of the swapping codes

// Turns source into destination by code, for types 1, 2, 3, 6, 7, with progress when
// showProgress is set. ERROR_ILLEGAL_TYPE for other types; an abort leaves the destination
// partly written.
ErrorCode OrientImageCode(const Image *source, Image *destination, int code, int showProgress);

// The pieces of a turn, for a caller that holds only part of the destination at a time
// (vistel-cli writing the result a band of rows at a time). Each touches only the rows of
// destination that its pixels go to, and reads source and destination only through their
// rows[] and the source's type, width, height and rowBytes.
// Codes 1, 3, 5 and 7: moves the source columns x0..x1-1 of rows y0..y1-1; the column x
// becomes destination row W-1-x for codes 1 and 5 and row x for codes 3 and 7.
void OrientTile(const Image *source, Image *destination, int code, int x0, int x1, int y0, int y1);
// Codes 0, 2, 4 and 6: source row in becomes out, the row at OrientRowIndex(code, H, y) for
// the source row y.
void OrientRow(const Image *source, int code, const uint8_t *in, uint8_t *out);
int OrientRowIndex(int code, int height, int y);
// The progress title of code: "Copy", "Rotate", "Reflect", or "Rotate CW" for code 7.
const char *OrientTitle(int code);

// The compute step of Mirror/Rotate: OrientImageCode with progress.
ErrorCode OrientImage(const Image *source, Image *destination, int code);
