// File comments: the descriptive fields of a picture's file, EXIF and GPS among them, kept
// as a list in the order they were read.
#pragma once

#include <cstdint>

#include "core/Errors.h"

enum : int32_t {
    COMMENT_MAIN = 1,  // belongs to the main directory of a TIFF file
    COMMENT_EXIF = 8,  // belongs to the EXIF directory
    COMMENT_GPS = 16,  // belongs to the GPS directory
};

struct FileComment {
    FileComment *next;
    char *name;     // the label shown to the user, owned
    int32_t id;     // the comment id, which identifies a field across formats
    int32_t length; // bytes of value, not counting the zero byte after it
    int32_t flags;  // COMMENT_* bits, and bits 2 and 4 on some main-directory fields
    uint8_t *value; // owned, length + 1 bytes, the last one zero
};

struct Picture;

// Appends a copy of the field to the picture's list. ERROR_NO_MEMORY leaves the list as it was.
ErrorCode AddFileComment(Picture *picture, const char *name, int id, int length, int flags,
                         const void *value);

// Appends a copy of the field to a list.
ErrorCode FileCommentAppend(FileComment **list, const char *name, int id, int length,
                            int flags, const void *value);

// Appends copies of all of source to destination, or nothing: ERROR_NO_MEMORY leaves the
// destination as it was.
ErrorCode FileCommentsCopy(const FileComment *source, FileComment **destination);

// Removes the first record with this id.
void RemoveFileComment(Picture *picture, int id);

// The first record with this id, or null.
const FileComment *FindFileComment(const FileComment *comments, int id);

// Frees every record and sets the list to null.
void FreeFileComments(FileComment **list);
