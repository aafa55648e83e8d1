// GIF files through giflib: the first frame read into a binary, gray or color picture, and
// binary, gray and color pictures written as one frame, color through a palette of our own
// (files/GifPalette.h).
#pragma once

#include "core/Errors.h"
#include "core/Picture.h"

// Reads the first frame of a GIF file into picture->image, interlaced or not. Its palette
// decides the type: binary when the colors it uses are only black and white, 8-bit gray
// when they are all gray, 24-bit color otherwise. The picture is the frame's own rectangle,
// without the rest of the logical screen around it. Transparency is ignored. Comment
// extensions become one Description comment. A frame whose lines stop early (the file ends,
// or its codes do) gives the lines it holds, the others black, and *damage says which are
// missing; with damage null that is ERROR_READ_GIF. ERROR_OPEN_FILE when the file cannot be
// opened, ERROR_ABORTED on Cancel, ERROR_NO_MEMORY, ERROR_READ_GIF for anything else; on
// failure picture->image is left empty.
ErrorCode ReadGifFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes picture->image as a GIF file with the Description comment, if any, as a comment
// extension. Binary and gray pictures keep their values exactly; color pictures are reduced
// to 256 colors, with Floyd-Steinberg dithering when dither is set. ERROR_SAVE_TYPE_GIF for
// another type, ERROR_WRITE_GIF when the file cannot be written, ERROR_ABORTED on Cancel,
// codes of SafeFileCreate; the old file is replaced only on success.
ErrorCode SaveGifFile(const char *path, Picture *picture, int dither);
