// Our own reader and writer of Windows and OS/2 bitmap (BMP) files.
//
// The reader takes every variant a user meets: 1, 2, 4 and 8 bits with a palette, 16 bits
// (5-5-5 and bit fields such as 5-6-5), 24 bits, 32 bits (plain and bit fields, alpha
// dropped), bottom-up and top-down rows, RLE8 and RLE4 compression, the Windows headers of
// 40, 52, 56, 108 and 124 bytes, and the OS/2 headers of 12, 16 and 64 bytes. The writer makes
// plain 1-bit, 8-bit gray and 24-bit files, whose rows are the rows of an Image as they lie.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Picture.h"

// Reads a BMP file into picture->image: binary for a black-and-white palette, 8-bit gray for a
// gray palette, else 24-bit color. The resolution comes from the horizontal pels per metre,
// and an embedded profile of a color picture goes to picture->profile. A file that ends before
// its rows do gives the rows it holds, the others black, and *damage says which are missing.
// Returns ERROR_READ_BMP for any other damage, or for that one when damage is null (the
// picture is then empty), ERROR_OPEN_FILE, ERROR_ABORTED, or the allocation's code.
ErrorCode ReadBmpFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes a binary, 8-bit gray or 24-bit picture as an uncompressed BMP file through a
// temporary file. Returns ERROR_SAVE_TYPE_BMP for other types, ERROR_WRITE_BMP when writing
// fails or the picture is too large for the format, ERROR_ABORTED, or the create code.
ErrorCode SaveBmpFile(const char *path, Picture *picture);

// The pels per metre a BMP file stores for a resolution in pixels per inch, and the
// resolution read back from it: a whole number of pixels per inch when one gives exactly that
// count, so that 72, 96 or 300 come back as they went out.
int32_t BmpPelsPerMetre(double resolution);
double BmpResolution(int32_t pelsPerMetre);
