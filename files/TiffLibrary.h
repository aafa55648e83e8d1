// The TIFF files our own reader refuses, read through libtiff: tiled files, other
// compressions (Deflate, JPEG, PackBits, CCITT), palettes, separate planes, BigTIFF, gray with
// alpha. Samples keep their full depth where libtiff delivers it.
#pragma once

#include "core/Errors.h"
#include "core/Image.h"

// Reads the first picture of the TIFF file at path into image: binary, 8 or 16-bit gray, 24 or
// 48-bit color (a palette becomes 24-bit color, extra samples such as alpha are dropped),
// turned as its orientation tag says, with its resolution in dots per inch. With showProgress
// a "TIFF Read" bar runs over the rows. Returns ERROR_ABORTED with the rows read so far when
// the user cancels, ERROR_READ_TIFF for anything libtiff or we refuse (image then empty).
// Strips or tiles that libtiff cannot read, as in a file that ends early, leave their rows
// black and *damage says which they are; with damage null such a file fails.
ErrorCode TiffLibraryRead(const char *path, Image *image, int showProgress, FileDamage *damage);
