// The picture record: its life, and the copying of what belongs to it beside the pixels.
#include "core/Picture.h"

#include <cstring>

#include "core/Memory.h"
#include "core/Text.h"

void PictureReset(Picture *picture)
{
    memset(picture, 0, sizeof *picture);
}

void PictureFree(Picture *picture)
{
    ImageFree(&picture->image);
    FreeFileComments(&picture->comments);
    MemoryRelease(&picture->profile);
    PictureReset(picture);
}

ErrorCode CopyImageExtras(const Picture *source, Picture *destination)
{
    ErrorCode result = FileCommentsCopy(source->comments, &destination->comments);
    if (result != ERROR_NONE) return result;
    const char *origin = source->fileName[0] != 0 ? source->fileName : source->derivedFrom;
    StrCopyLimit(origin, destination->derivedFrom, PATH_LENGTH - 1);
    destination->fileType = source->fileType;
    return ERROR_NONE;
}

ErrorCode CopyImageProfile(const Picture *source, Picture *destination)
{
    MemoryRelease(&destination->profile);
    destination->profileSize = 0;
    if (source->profile == nullptr || source->profileSize <= 0) return ERROR_NONE;
    destination->profile = (uint8_t *)MemoryAlloc((size_t)source->profileSize);
    if (destination->profile == nullptr) return ERROR_NO_MEMORY;
    memcpy(destination->profile, source->profile, (size_t)source->profileSize);
    destination->profileSize = source->profileSize;
    return ERROR_NONE;
}
