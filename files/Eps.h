// Encapsulated PostScript, written by our own code: a picture to place in a page layout
// program or to print. EPS is only saved, never opened.
#pragma once

#include "core/Errors.h"
#include "core/Picture.h"

// Writes a binary, 8-bit gray or 24-bit color picture as EPSF-3.0, its size in points from
// its resolution (width * 72 / resolution), the samples ASCII85-encoded for the image or
// colorimage operator of PostScript level 2. ERROR_SAVE_TYPE_EPS for any other type (a
// 16-bit picture is reduced by the caller), ERROR_WRITE_EPS when the file cannot be written,
// ERROR_ABORTED on Cancel, codes of SafeFileCreate and SafeFileCommit; the old file is
// replaced only on success.
ErrorCode SaveEpsFile(const char *path, Picture *picture);

// The size of a picture in points, as its bounding box gives it: width and height * 72 /
// resolution, with the resolution of the preferences for a picture without one.
void EpsPageSize(const Image *image, double *width, double *height);
