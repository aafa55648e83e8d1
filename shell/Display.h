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

// ---------------------------------------------------------------------------------------
// Zoom, layout and painting of image and preview windows. window is the picture's window,
// record its ImageWindow. Every zoom change frees view and screen, runs LayoutWindow,
// LayoutScroll and CenterView, then RefreshView unless LayoutWindow answered 1.

// The zoomed size of a picture: w * z for z >= 1, (w + |z| - 1) / |z| below 0.
int ZoomedSize(int size, int zoom);

// The zoom after one step in or out: 1 -> -2 on the way down, -2 -> 1 on the way up.
int ZoomStepIn(int zoom);
int ZoomStepOut(int zoom);

// RenderView of the window's own picture over the whole view, with the wait cursor.
ErrorCode RefreshView(ImageWindow *record);

// Decides viewWidth and viewHeight and may resize the window; returns 1 when it resized the
// window, so that the MSG_SIZE that follows redoes the work.
int LayoutWindow(WindowHandle window, ImageWindow *record, int grow, int fit);

// Decides the scroll ranges and positions and the source rectangle; (-1, -1) keeps the
// relative position, else the picture point (x, row index) comes to the middle.
void LayoutScroll(WindowHandle window, ImageWindow *record, int x, int y);

// Decides viewLeft and viewTop: the view centred in the client area.
void CenterView(ImageWindow *record, WindowHandle window);

// One zoom step in around a client point ((-1, -1): the middle), or out; to 1:1; to any
// zoom; to the largest zoom at which the picture fits the client. The resize flag lets the
// window grow or shrink to the picture.
void ZoomIn(WindowHandle window, ImageWindow *record, int resize, int x, int y);
void ZoomOut(WindowHandle window, ImageWindow *record, int resize);
void ZoomOneToOne(WindowHandle window, ImageWindow *record, int resize, int x, int y);
void SetZoom(WindowHandle window, ImageWindow *record, int zoom, int resize);
void ZoomToFitClient(WindowHandle window, ImageWindow *record, WindowHandle client,
                     int fromOne);

// A picture point (column, row index from the bottom) to the client area and back; the way
// back clamps to the picture.
void PictureToClient(WindowHandle window, const ImageWindow *record, int x, int y, int *clientX,
                     int *clientY);
void ClientToPicture(WindowHandle window, const ImageWindow *record, int clientX, int clientY,
                     int *x, int *y);

// Paints the margin, the ruler, the view (as screen) and the grid of a picture window.
void PaintImageWindow(DrawContext *context, WindowHandle window, ImageWindow *record,
                      const Image *picture);

// Scrolls an image or preview window by a scroll message (MSG_HSCROLL or MSG_VSCROLL):
// line steps of an eighth of the view, pages of seven eighths, positions rounded down to the
// zoom at zoom 2 or more. Returns 1 when the position changed.
int ScrollImageWindow(WindowHandle window, ImageWindow *record, uint32_t message,
                      uintptr_t wParam);

// The shared mouse wheel handler of image and preview windows.
void WheelImageWindow(WindowHandle window, ImageWindow *record, uintptr_t wParam,
                      intptr_t lParam);

// The display's part of the client area that the next paint needs; (-1, -1, -1, -1) means
// all of it. Progress resets it.
extern Rect UpdateRect;

// The 236-color palette of a palette display and the ordered dither into it, for displays
// that cannot show true color: a row of a view (type 2 or 3) to palette indices.
void DitherRow(const uint8_t *row, int type, int width, int y, uint8_t *indices);
void DitherPalette(uint8_t red[236], uint8_t green[236], uint8_t blue[236]);
