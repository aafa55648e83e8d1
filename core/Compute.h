// The one form of every transformation's computation.
//
// With full 1 (Apply) the destination is the image of a new picture, which picture is (so
// that a transformation may give it what belongs to it besides pixels, such as a profile),
// zoom is 1, the source offset is 0 and the rectangle is the whole picture. With full 0
// (Preview) the destination is the view of the preview window, picture is null, and w, h are
// only what that view shows. The rectangle x0, y0, x1, y1 is inclusive, in columns and row
// indices of the destination.
#pragma once

#include "core/Errors.h"
#include "core/Image.h"

struct Picture;

typedef ErrorCode (*ComputeFunction)(const Image *source, Image *destination, Picture *picture,
                                     void *params, int full, int destinationWidth,
                                     int destinationHeight, int sourceX, int sourceY, int zoom,
                                     int x0, int y0, int x1, int y1, int w, int h);

// 1 when a transformation's settings (params) change nothing for source at full depth (full
// 1) or in a preview (full 0): the result is then a copy of the source, and the caller copies
// instead of computing. It answers 0 for a source the transformation does not take, so that
// the compute function reports it.
typedef int (*ChangesNothingFunction)(const void *params, const Image *source, int full);

constexpr int PROGRESS_PIXELS = 100000; // work of this many pixels or more shows progress

// The output type of a transformation that keeps its input type: a preview is always 8-bit,
// a final result keeps the depth of the source. TYPE_EMPTY for an illegal input type.
int ComputeOutputType(int sourceType, int full);

// Checks a compute call's arguments against the pictures and gives destination the output
// type, by the rule every transformation follows: a partial repaint into a destination that
// already has the output type and size keeps it, so that the rest of a scrolled preview
// stays; anything else goes through ImageAlloc, which keeps the pixels of an unchanged shape
// too. ERROR_INTERNAL_1 when the rectangle or the source span does not fit the pictures,
// else ImageAlloc's code.
ErrorCode ComputePrepareDestination(const Image *source, Image *destination, int outputType,
                                    int destinationWidth, int destinationHeight, int sourceX,
                                    int sourceY, int zoom, int x0, int y0, int x1, int y1, int w,
                                    int h);
