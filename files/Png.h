// PNG files through libpng: binary, 8 and 16-bit gray and color, with the ICC profile (iCCP),
// the resolution (pHYs), text comments (tEXt, zTXt, iTXt) and EXIF (eXIf).
//
// Text keywords and comment ids correspond so:
//   Title - DocumentName (7)      Author - Artist (0)         Description - Description (3)
//   Copyright - Copyright (1)     Creation Time - Date/Time (2)
//   Software - Software (9)       Source - Model (6)          Comment - User Comment (37)
// Other keywords are not kept. A creation time in ISO 8601 or RFC 1123 form is read into
// the EXIF form "YYYY:MM:DD HH:MM:SS" and written back as "YYYY-MM-DDTHH:MM:SS".
#pragma once

#include "core/Errors.h"
#include "core/Picture.h"

// Reads a PNG file into the picture: 1-bit gray as binary, 2 to 8-bit gray as 8-bit gray,
// 16-bit gray and color at 16 bits, palettes as 8-bit gray when every entry is gray and as
// 24-bit color otherwise; alpha and transparency are dropped. Appends EXIF and text comments,
// sets picture->profile for color pictures with an iCCP chunk, and turns the picture upright
// as EXIF's orientation says. With showProgress and 100000 pixels or more a "PNG Read" bar
// runs. A file that ends among its rows gives the rows that came whole, the others black,
// and *damage says which are missing (as the turned picture shows them); with damage null
// that is ERROR_READ_PNG. ERROR_OPEN_FILE, ERROR_ABORTED, ERROR_NO_MEMORY or
// ERROR_IMAGE_TOO_WIDE for a picture too large to hold, ERROR_READ_PNG for anything else; on
// failure the image is left empty and the picture's comments and profile as they were.
ErrorCode ReadPngFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes the picture's binary, 8-bit gray or 24-bit color picture with its resolution, text
// comments, EXIF and, for color, its profile. Other types give ERROR_SAVE_TYPE_PNG; a failed
// write ERROR_WRITE_PNG (or the file's create code), a cancel ERROR_ABORTED; the old file is
// then left as it was.
ErrorCode SavePngFile(const char *path, Picture *picture);
