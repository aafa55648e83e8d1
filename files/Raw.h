// Camera raw files (DNG, CR2, NEF, ARW and the rest) through LibRaw: developed once, at full
// resolution, into a 48-bit color picture a photographer can start from.
#pragma once

#include "core/Errors.h"
#include "core/Picture.h"

// Develops a raw file into picture->image as 48-bit sRGB color at full resolution: the
// camera's white balance, no automatic brightening, highlights clipped at the sensor's white
// level, the sRGB tone curve, turned upright as the camera recorded. ERROR_OPEN_FILE when the
// file cannot be opened, ERROR_ABORTED on Cancel, ERROR_NO_MEMORY, ERROR_READ_IMAGE_FILE for a
// file LibRaw cannot develop or when LibRaw is missing; on failure picture->image is left empty.
ErrorCode ReadRawFile(const char *path, Picture *picture, int showProgress);
