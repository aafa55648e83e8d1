// Operations on a whole picture that need no settings: copy with everything that belongs to
// the picture, reduction to 8 bits, mask area, and two antialiased fills.
#pragma once

#include "core/Errors.h"
#include "core/Image.h"
#include "core/Picture.h"

// The Copy command: the picture, its profile and its extras into destination. Progress
// titled "Copy" from 100000 pixels on. ERROR_ILLEGAL_TYPE for a record without a picture;
// ERROR_ABORTED leaves the rows copied so far, and the caller throws the new picture away.
ErrorCode WindowCopy(const Picture *source, Picture *destination);

// A 16-bit picture to its 8-bit type through Depth16To8, into a record other than the
// source; progress titled "Convert to 8-bit" only when showProgress is set.
// ERROR_ILLEGAL_TYPE for a source of another type.
ErrorCode ReduceGray16(const Image *source, Image *destination, int showProgress);
ErrorCode ReduceColor48(const Image *source, Image *destination, int showProgress);

// Sum of all samples of an 8-bit picture / 255: the area of a mask in pixels; 0 for other
// types. Large masks show progress titled "Area", which cannot be cancelled.
double MaskArea(const Image *image);

// An antialiased filled circle of color (red, green, blue bytes), centre and radius in
// pixels with y a row index. Types 2, 3, 6, 7; gray pictures take the largest channel.
void DrawDisc(Image *image, double centerX, double centerY, double radius, const uint8_t color[3]);

// An antialiased filled rectangle with bounds in inches from the picture's left and top
// edges. 8-bit gray and color pictures.
void FillRectSmooth(Image *image, double left, double top, double right, double bottom,
                    const uint8_t color[3]);
