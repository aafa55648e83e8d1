// The record of a picture window and the table of 256 that holds them.
//
// An ImageWindow's first field is its Picture, whose first field is the Image, so a pointer
// to the record may be used as a pointer to its picture. The table is allocated once and
// never moves; a window word holds the slot, which is how a window finds its record.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Picture.h"
#include "platform/Platform.h"
#include "ui/UiLayer.h"

constexpr int SLOT_COUNT = 256;

struct ImageWindow {
    Picture picture; // the document: pixels, comments, profile, names
    Image view;      // what the window shows at the present zoom; 1, 8 or 24 bits
    Image screen;    // view after color management for the display
    int32_t gridDivisions;
    int32_t zoom; // 1 one to one, n >= 2 magnified, -n reduced
    int32_t sourceLeft;
    int32_t sourceTop;
    int32_t sourceRight;
    int32_t sourceBottom; // the part of the picture shown, y from the top
    int32_t scrollLeft;
    int32_t scrollTop;
    int32_t scrollRight;
    int32_t scrollBottom; // the same in view pixels
    int32_t viewWidth;
    int32_t viewHeight;
    int32_t scrollRangeX;
    int32_t scrollRangeY; // largest scroll positions; 0 hides the bar
    int32_t viewLeft;
    int32_t viewTop;          // the view's corner in the client area
    int32_t free;             // 1 while the slot is unused
    int32_t slot;             // index in the table
    WindowHandle window;      // the window showing this record
    WindowHandle overlayMask; // the mask's window, or null
    int32_t overlayAlpha;
    int32_t overlayRed;
    int32_t overlayGreen;
    int32_t overlayBlue;
    // The color engine's transform from the picture's profile to the monitor, built at the
    // first color-managed paint and kept, since making one is slow. The engine needs no
    // profile once the transform exists, so none is kept open beside it.
    void *displayTransform;
    // 1 when there is no display transform to use (it could not be made, or the picture is in
    // the display's profile already): screen then copies the view.
    int32_t displayFailed;
};

// Sets every record free with its slot number; runs once at start-up (UiInitialise).
void SlotTableInitialise(void);

// Takes the first free record from the rotating start index. ERROR_TOO_MANY_IMAGES when all
// 256 are taken.
ErrorCode SlotAllocate(int *slot, ImageWindow **record);

// Frees the record's images, comments, profile and display transform, re-initialises it and
// marks it free. A slot of -1 is ignored.
void SlotFree(int slot);

// The record of a slot, or null for a slot outside the table.
ImageWindow *SlotRecord(int slot);

// The record of a window, through its slot word, or null.
ImageWindow *WindowRecord(WindowHandle window);

// Copies the source's comments to the end of the destination's, gives the destination's
// window the source's path (or its window's title) as its title, and copies fileType.
ErrorCode CopyFileComments(const ImageWindow *source, ImageWindow *destination);
