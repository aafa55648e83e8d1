// File comments of TIFF files: the descriptive fields of the main directory and the EXIF
// and GPS directories, read into a picture's comment list, and the tables of tags, comment
// ids and names that the writer uses too.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/FileComment.h"
#include "core/Picture.h"

// TIFF field types, as the 16-bit type of a directory entry names them.
enum : int32_t {
    TIFF_FIELD_BYTE = 1,
    TIFF_FIELD_ASCII = 2,
    TIFF_FIELD_SHORT = 3,
    TIFF_FIELD_LONG = 4,
    TIFF_FIELD_RATIONAL = 5,
    TIFF_FIELD_SBYTE = 6,
    TIFF_FIELD_UNDEFINED = 7,
    TIFF_FIELD_SSHORT = 8,
    TIFF_FIELD_SLONG = 9,
    TIFF_FIELD_SRATIONAL = 10,
    TIFF_FIELD_FLOAT = 11,
    TIFF_FIELD_DOUBLE = 12,
};

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

// The comment whose value a writer puts under row's tag, or null. Where reading names a field
// apart from the tables (the vertical focal plane resolution, id 168; the latitude, id 42
// under the name "GPS Lat"), that comment comes first, and it stands for its own tag only.
const FileComment *TiffTagComment(const FileComment *comments, const TiffTagEntry *row);

// The field type and value count under which a writer puts a comment of length bytes under
// row's tag: texts and bytes as long as they are; numbers as many as the comment holds whole,
// and never fewer than the table's count (the writer fills the rest with zeros). A pixel
// dimension of four bytes was a LONG.
void TiffTagWriteForm(const TiffTagEntry *row, int length, int *fieldType, uint32_t *count);

// Turns the text of a Unicode user comment (tag 37510, "UNICODE" and a zero before 16-bit
// characters in its file's byte order) read from a big-endian file to little-endian, the
// order every file we write has, so that it goes out as it came in. Other values are left.
void TiffUserCommentToLittleEndian(int tag, uint8_t *value, int64_t size);

// Appends the comments of the TIFF file at path to the picture's list, in file order, with
// numbers in native order. ERROR_OPEN_FILE, or ERROR_READ_TIFF for a bad header; a field that
// is damaged or finds no memory is left out.
ErrorCode ReadTiffComments(const char *path, Picture *picture);
