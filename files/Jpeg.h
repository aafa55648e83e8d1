// JPEG files through libjpeg-turbo: 8-bit gray and 24-bit color, with the embedded ICC profile
// (APP2) and EXIF (APP1, through files/Metadata) in both directions.
#pragma once

#include "core/Errors.h"
#include "core/Picture.h"

constexpr int JPEG_QUALITY_MIN = 1;
constexpr int JPEG_QUALITY_MAX = 100;

// Reads a JPEG file into the picture: gray files become 8-bit gray, all others 24-bit color
// (CMYK through a plain conversion), turned upright as EXIF's orientation says. Appends the
// EXIF fields (and a COM text as "User Comment") to picture->comments and sets picture->profile
// for color pictures with an embedded profile. With showProgress and 100000 pixels or more a
// "JPEG Read" bar runs. A file of one scan whose data ends early (or is damaged) gives the
// rows that came before, the others black, and *damage says which are missing (as the
// turned picture shows them); with damage null that is ERROR_READ_JPEG, as for a progressive
// file that ends early, whose rows all lack detail. ERROR_OPEN_FILE, ERROR_ABORTED,
// ERROR_NO_MEMORY or ERROR_IMAGE_TOO_WIDE for a picture too large to hold,
// ERROR_READ_JPEG_PROFILE for damaged profile segments, ERROR_READ_JPEG for anything else;
// on failure the image is left empty and the picture's comments and profile as they were.
ErrorCode ReadJpegFile(const char *path, Picture *picture, int showProgress, FileDamage *damage);

// Writes the picture's 8-bit gray or 24-bit color picture at quality 1..100 (clamped), with
// its resolution, its comments as EXIF and, for color, its profile. Other types give
// ERROR_SAVE_TYPE_JPEG; a failed write ERROR_WRITE_JPEG (or the file's create code), an
// unwritable profile ERROR_WRITE_JPEG_PROFILE, a cancel ERROR_ABORTED; the old file is then
// left as it was.
ErrorCode SaveJpegFile(const char *path, Picture *picture, int quality);
