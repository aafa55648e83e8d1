// The file types of the program: the two numberings (open and save), which format can hold
// which picture type, the extension rules of Save As, and the choice of reader and writer.
// It is the only place that knows which format takes what.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Picture.h"

// Open numbers, as a picture's fileType stores them.
enum : int32_t {
    FILE_OPEN_ALL = 1, // "All Files": recognised by content
    FILE_OPEN_TIFF = 2,
    FILE_OPEN_JPEG = 3,
    FILE_OPEN_BMP = 4,
    FILE_OPEN_TARGA = 5,
    FILE_OPEN_PCX = 6,
    FILE_OPEN_GIF = 7,
    FILE_OPEN_PHOTOCD = 8,
    FILE_OPEN_PNG = 9,
    FILE_OPEN_FLASHPIX = 10,
    FILE_OPEN_FITS = 11,
    FILE_OPEN_RLE = 12,
    FILE_OPEN_ALBUM = 13,
    FILE_OPEN_RAW = 14, // camera raw files, read through LibRaw
};

// Save numbers.
enum : int32_t {
    FILE_SAVE_NONE = 0,
    FILE_SAVE_TIFF = 1,
    FILE_SAVE_JPEG = 2,
    FILE_SAVE_BMP = 3,
    FILE_SAVE_TARGA = 4,
    FILE_SAVE_PCX = 5,
    FILE_SAVE_GIF = 6,
    FILE_SAVE_EPS = 7,
    FILE_SAVE_PNG = 8,
    FILE_SAVE_FLASHPIX = 9,
    FILE_SAVE_FITS = 10,
    FILE_SAVE_RLE = 11,
    FILE_SAVE_COUNT = 12,
};

struct FileTypeEntry {
    int32_t openNumber;           // 0 for a type that only saves
    const char *label;            // the filter label of the file dialogs
    const char *extensions[12];   // upper case, without the dot; null-terminated list
    int32_t saveNumber;           // FILE_SAVE_NONE for a type that only opens
    const char *defaultExtension; // with its dot, or null
};

extern const FileTypeEntry FILE_TYPES[];
extern const int FILE_TYPE_COUNT;

// The open number for a path's extension (the text after the last period, which must come
// after any slash, backslash or colon), or -1.
int DetectFileType(const char *path);

// The open number for a file's first bytes, or -1 when nothing recognises it.
int DetectFileContent(const char *path);

// The entry of an open or a save number, or null.
const FileTypeEntry *FileTypeByOpen(int openNumber);
const FileTypeEntry *FileTypeBySave(int saveNumber);

enum : int32_t {
    FILE_HOLDS_YES = 0,     // the format keeps the picture as it is
    FILE_HOLDS_REDUCED = 1, // a 16-bit picture goes to 8 bits first
    FILE_HOLDS_NO = 2,      // the format cannot hold it
};

// Whether a save type holds a picture type (FILE_HOLDS_*); for FILE_HOLDS_NO *code receives
// the format's code ("Only ... can be saved in ... format").
int FileSaveHolds(int saveNumber, int imageType, ErrorCode *code);

// 1 when path has an extension Save As accepts for the save type, else 0.
int FileSaveExtensionAccepted(int saveNumber, const char *path);

// The message Save As shows for a wrong extension, e.g. "TIFF files must have an extension of
// .tif or .tiff".
const char *FileSaveExtensionMessage(int saveNumber);

// The open number FILE_OPEN_ALL reads path by: by its content first, so that a file with a
// wrong extension still opens, and by its extension for camera raw files and formats without
// a signature. -1 when neither tells.
int FileOpenNumberOf(const char *path);

// Reads a file of an open number into picture: its pixels, comments and profile, as far as
// the format has them. FILE_OPEN_ALL recognises the file by its content first. A file that
// ends before its pixels do gives what it holds, and *damage says what is missing (nothing
// for a whole file).
ErrorCode FileLoadPartial(const char *path, int openNumber, Picture *picture, int showProgress,
                          FileDamage *damage);

// The same for callers that take whole pictures only: a damaged file is ERROR_FILE_DAMAGED,
// and the picture gets no pixels.
ErrorCode FileLoad(const char *path, int openNumber, Picture *picture, int showProgress);

// Writes the picture in a save type. The caller has already reduced a 16-bit
// picture where the format needs it. jpegQuality is 1..100 for JPEG.
ErrorCode FileSave(const char *path, int saveNumber, Picture *picture, int jpegQuality);

// A 16-bit picture reduced to 8 bits in place through Depth16To8, as a save in
// an 8-bit format asks; other types are left alone.
ErrorCode FileReduceTo8Bits(Picture *picture);
