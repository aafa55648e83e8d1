// Our own reader and writer of Truevision Targa (TGA) files.
//
// The reader takes color-mapped, true-color and gray pictures, uncompressed (types 1, 2, 3) and
// run-length encoded (types 9, 10, 11), at 8, 15, 16, 24 and 32 bits, with color maps of 8
// (gray), 15, 16, 24 and 32-bit entries and the origin at any corner. The writer makes uncompressed 8-bit gray (type 3) and 24-bit (type 2) files with
// the footer of version 2 of the format.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Picture.h"

// Reads a Targa file into picture->image: 8-bit gray for gray files, binary or gray or color
// for color-mapped ones as their map asks, else 24-bit color with any alpha dropped. The
// format has no resolution, so the picture gets the preferred one. A file that ends before
// its rows do gives the rows it holds, the others black, and *damage says which are missing.
// Returns ERROR_READ_TARGA for any other damage, or for that one when damage is null (the
// picture is then empty), ERROR_OPEN_FILE, ERROR_ABORTED, or the allocation's code.
ErrorCode ReadTargaFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes an 8-bit gray or 24-bit picture as an uncompressed Targa file through a temporary
// file. Returns ERROR_SAVE_TYPE_TARGA for other types, ERROR_WRITE_TARGA when writing fails or
// a side exceeds 65535, ERROR_ABORTED, or the create code.
ErrorCode SaveTargaFile(const char *path, Picture *picture);

// 1 when a file looks like a Targa file, which has no magic number at its start: either it
// ends in the footer of version 2, or its 18-byte header passes every check of the reader
// and the file is long enough for what the header promises. Used to recognise files by
// content; 0 for anything else and for a file that cannot be read.
int TargaFileProbe(const char *path);
