// Our own reader and writer of Utah Raster Toolkit run-length encoded (RLE) files.
//
// The reader takes gray files (one channel) and color files (three channels or more, of
// which the first three are red, green and blue), with or without a background color, and
// applies a color map when the file has one: the map of a one-channel file makes it gray
// (one map) or a palette picture (three maps), and a three-channel file passes each channel
// through its own map. The writer makes one-channel gray files; the format has no pixels of
// fewer than 8 bits, so a binary picture is written as gray levels 0 and 255 and reads back
// as 8-bit gray.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Picture.h"

// Reads an RLE file into picture->image: 8-bit gray for one channel, 24-bit color for three,
// at the preferred resolution (the format has none). A file that ends before its scanlines do
// gives the ones it holds, the others black, and *damage says which are missing. Returns
// ERROR_READ_RLE for any other damage, or for that one when damage is null (the picture
// is then empty), ERROR_OPEN_FILE, ERROR_ABORTED, or the allocation's code.
ErrorCode ReadRleFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes a binary or 8-bit gray picture as a one-channel RLE file through a temporary file.
// Returns ERROR_SAVE_TYPE_RLE for other types, ERROR_WRITE_RLE when writing fails or a side
// exceeds 32767, ERROR_ABORTED, or the create code.
ErrorCode SaveRleFile(const char *path, Picture *picture);
