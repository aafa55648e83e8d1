// Display rendering: every picture type, at any zoom, into a window's 1, 8 or 24-bit view,
// with the mask overlay.
#pragma once

#include "core/Errors.h"
#include "core/ImageWindow.h"

// Renders the rectangle left..right, top..bottom (view pixels, inclusive, rows counted from
// the view's bottom row) of target's view from source. A rectangle covering the whole view
// (re)allocates view and screen. Returns the allocation's code.
ErrorCode RenderView(const Image *source, ImageWindow *target, int left, int top, int right,
                     int bottom, int waitCursor);

// The type of the view of a picture type: 1, 2, 3 stay, 6 becomes 2, 7 becomes 3, and any
// picture becomes 3 under a visible mask overlay.
int ViewType(int pictureType, int overlayShown);
