// Our own reader and writer of ZSoft Paintbrush (PCX) files.
//
// The reader takes 1-bit files (binary), 16-color files of 4 bits or of 2 to 4 one-bit planes,
// 8-bit files with their 256-color palette at the end, and 24-bit files of three planes (a
// fourth, alpha, plane is dropped), run-length encoded or not. The writer makes run-length
// encoded binary, 8-bit gray and 24-bit files.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Picture.h"

// Reads a PCX file into picture->image: binary for black-and-white palettes (and 1-bit files
// whose header leaves its two colors alike), 8-bit gray for gray palettes and 8-bit files
// without one, else 24-bit color. The resolution
// comes from the header's horizontal dots per inch. A file that ends before its rows do gives
// the rows it holds, the others black, and *damage says which are missing, and whether the
// colors went with a palette cut off (the picture is then gray). Returns ERROR_READ_PCX for
// any other damage, or for that one when damage is null (the picture is then
// empty), ERROR_OPEN_FILE, ERROR_ABORTED, or the allocation's code.
ErrorCode ReadPcxFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes a binary, 8-bit gray or 24-bit picture as a PCX file through a temporary file.
// Returns ERROR_SAVE_TYPE_PCX for other types, ERROR_WRITE_PCX when writing fails or the
// picture is wider than 65534 or higher than 65536 pixels, ERROR_ABORTED, or the create code.
ErrorCode SavePcxFile(const char *path, Picture *picture);
