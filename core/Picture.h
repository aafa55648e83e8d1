// A picture as a document: its pixels with their resolution, the comments and the ICC profile
// that travel with it, and where it came from. An image window holds one Picture and its
// view (ui/ImageWindow.h); everything that works on pictures without a window (the file
// readers and writers, color, the results of transformations, vistel-cli) takes a Picture.
// Its first field is the Image, so that a pointer to a Picture may serve as one to its pixels.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "core/FileComment.h"
#include "core/Image.h"

struct Picture {
    Image image;                   // the pixels at full size and depth, with their resolution
    FileComment *comments;         // owned list, or null
    int32_t profileSize;           // bytes of profile
    uint8_t *profile;              // the embedded ICC profile, owned, or null
    char fileName[PATH_LENGTH];    // empty until saved or opened
    char derivedFrom[PATH_LENGTH]; // the picture this one was made from
    int32_t fileType;              // format code of the file
};

// An empty picture: no pixels, comments or profile, no names.
void PictureReset(Picture *picture);

// Frees the pixels, comments and profile and resets the record; a reset record is fine.
void PictureFree(Picture *picture);

// Copies comments; derivedFrom becomes the source's fileName, or its derivedFrom when that is
// empty; copies fileType. ERROR_NO_MEMORY leaves the comments as they were.
ErrorCode CopyImageExtras(const Picture *source, Picture *destination);

// Replaces the destination's profile by a copy of the source's. ERROR_NO_MEMORY leaves the
// destination without a profile.
ErrorCode CopyImageProfile(const Picture *source, Picture *destination);
