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

struct ImageWindow;

// Appends a copy of the field to the window's list. ERROR_NO_MEMORY leaves the list as it was.
ErrorCode AddFileComment(ImageWindow *window, const char *name, int id, int length, int flags,
                         const void *value);

// Appends a copy of the field to a list.
ErrorCode FileCommentAppend(FileComment **list, const char *name, int id, int length,
                            int flags, const void *value);

// Copies the source's list to the end of the destination's, gives the destination the
// source's path (or title) as its title, and the source's fileType.
ErrorCode CopyFileComments(const ImageWindow *source, ImageWindow *destination);

// Removes the first record with this id.
void RemoveFileComment(ImageWindow *window, int id);

// The first record with this id, or null.
const FileComment *FindFileComment(const FileComment *comments, int id);

// Frees every record and sets the list to null.
void FreeFileComments(FileComment **list);
