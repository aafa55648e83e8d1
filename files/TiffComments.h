// File comments of TIFF files: the descriptive fields of the main directory and the EXIF
// and GPS directories, read into a window's comment list, and the tables of tags, comment
// ids and names that the writer uses too.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/ImageWindow.h"

// One field of a directory as the writer puts it and the reader names it.
struct TiffTagEntry {
    int32_t tag;
    int32_t fieldType; // TIFF field type of the entry the writer makes
    int32_t count;     // values, or 0 for "the value's length"
    int32_t id;        // comment id
    const char *name;  // the label the user sees
};

// The EXIF directory in writing order, and its length.
extern const TiffTagEntry TIFF_EXIF_TAGS[];
extern const int TIFF_EXIF_TAG_COUNT;

// The GPS directory in writing order, and its length.
extern const TiffTagEntry TIFF_GPS_TAGS[];
extern const int TIFF_GPS_TAG_COUNT;

// Appends the comments of the TIFF file at path to the window's list, in file order.
// ERROR_READ_TIFF for a bad header.
ErrorCode ReadTiffComments(const char *path, ImageWindow *window);
