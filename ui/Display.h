// The display of picture windows: every picture type, at any zoom, rendered into a window's
// 1, 8 or 24-bit view with the mask overlay; the zoom rule, the layout of a window around
// its view, scrolling and the wheel, the mapping between picture and window, and painting
// with margin, ruler and grid; the 236-color palette and its dither.
#pragma once

#include "core/Errors.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

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
// LayoutScroll and CenterView, then RefreshView, unless LayoutWindow resized the window and
// its size message is still to come (it makes the view then). The caller of a zoom, scroll
// or wheel function updates the title and notifies the window's users.

// The zooms a window may take: 32 view pixels a picture pixel at most, and one view pixel
// for 256 by 256 picture pixels at least, which still fits a very large scan in a window.
constexpr int ZOOM_MAX = 32;
constexpr int ZOOM_MIN = -256;

// The size of the result of the open transformation, which its preview window (kind 1)
// stands for: a preview's own picture is empty and its view is what the dialog computes.
// The transformation dialogs set them when they open.
extern int OutputWidth;
extern int OutputHeight;

// The size of the picture a window shows: its own, or for a preview the result's; 0 by 0 for
// a window without a picture.
void DisplayPictureSize(WindowHandle window, const ImageWindow *record, int *width, int *height);

// The border preference: pixels of margin around a view, and its color as 0xRRGGBB.
int DisplayBorder(void);
uint32_t DisplayBorderColor(void);

// The workspace color preference as 0xRRGGBB.
uint32_t DisplayWorkspaceColor(void);

// The zoomed size of a picture: w * z for z >= 1, (w + |z| - 1) / |z| below 0.
int ZoomedSize(int size, int zoom);

// The zoom after one step in or out: 1 -> -2 on the way down, -2 -> 1 on the way up. A step
// past ZOOM_MAX or ZOOM_MIN keeps the zoom.
int ZoomStepIn(int zoom);
int ZoomStepOut(int zoom);

// RenderView of the window's own picture over the whole view, with the wait cursor.
ErrorCode RefreshView(ImageWindow *record);

// Moves a window left and up, and makes it smaller where it is larger than the workspace,
// so that all of it lies in the workspace; returns 1 when its size changed.
int FitWindow(WindowHandle window);

// Decides viewWidth and viewHeight and may resize the window; returns 1 when it resized the
// window, so that the MSG_SIZE that follows redoes the work.
int LayoutWindow(WindowHandle window, ImageWindow *record, int grow, int fit);

// Decides the scroll ranges and positions, shows or hides the scroll bars of words 0 and 1,
// and sets the source rectangle; (-1, -1) keeps the relative position, else the picture
// point (x, row index from the bottom) comes to the middle.
void LayoutScroll(WindowHandle window, ImageWindow *record, int x, int y);

// Decides viewLeft and viewTop: the view centred in the client area.
void CenterView(ImageWindow *record, WindowHandle window);

// One zoom step in around a client point ((-1, -1): the middle), or out; to 1:1; to any
// zoom; to the largest zoom at which the picture fits the client. The resize flag lets the
// window grow or shrink to the picture. The point's picture pixel comes to the middle of
// the view.
void ZoomIn(WindowHandle window, ImageWindow *record, int resize, int x, int y);
void ZoomOut(WindowHandle window, ImageWindow *record, int resize);
void ZoomOneToOne(WindowHandle window, ImageWindow *record, int resize, int x, int y);
void SetZoom(WindowHandle window, ImageWindow *record, int zoom, int resize);
// From 1 (fromOne set) or from the present zoom, steps out until the picture with its
// border fits the client area of client, and resizes the window to it.
void ZoomToFitClient(WindowHandle window, ImageWindow *record, WindowHandle client, int fromOne);

// A picture point (column, row index from the bottom) to the client area and back; the way
// back clamps to the picture.
void PictureToClient(WindowHandle window, const ImageWindow *record, int x, int y, int *clientX,
                     int *clientY);
void ClientToPicture(WindowHandle window, const ImageWindow *record, int clientX, int clientY,
                     int *x, int *y);

// Paints the margin, the ruler, the view (as screen) and the grid of a picture window; a
// single color or a histogram for those types. picture is the window's own picture, or for a
// preview its view. A view or screen that is missing or stale is made first.
void PaintImageWindow(DrawContext *context, WindowHandle window, ImageWindow *record,
                      const Image *picture);

// Scrolls an image window by a scroll message (MSG_HSCROLL or MSG_VSCROLL): line steps of an
// eighth of the view, pages of seven eighths, positions rounded down to the zoom at zoom 2 or
// more. The view and the window's pixels move, and only the strip that came into view is
// rendered. Returns 1 when the position changed.
int ScrollImageWindow(WindowHandle window, ImageWindow *record, uint32_t message, uintptr_t wParam);

// The same for a preview window, whose view its dialog computes: with the preview current
// and the new position overlapping the old, the view moves and the dialog gets
// MSG_PREVIEW_REGION for the strip alone (wParam the preview window, lParam a Rect in view
// pixels, inclusive, rows from the view's bottom row); otherwise it gets MSG_PREVIEW_REGION
// with a null rectangle, for the whole view. Returns 1 when the position changed.
int ScrollPreviewWindow(WindowHandle window, ImageWindow *record, uint32_t message,
                        uintptr_t wParam, WindowHandle dialog, int current);

// The shared mouse wheel handler of image and preview windows (lParam: the pointer in client
// coordinates). The plain wheel scrolls vertically by lines and with Shift horizontally, by
// scroll messages sent to the window itself so that each kind scrolls by its own rules; with
// Control it zooms an image window in or out, keeping the pixel under the pointer in place.
void WheelImageWindow(WindowHandle window, ImageWindow *record, uintptr_t wParam, intptr_t lParam);

// The display's part of the client area that the next paint needs (client pixels, right and
// bottom exclusive); (-1, -1, -1, -1) means all of it. Progress resets it, and a paint
// resets it once it has used it.
extern Rect UpdateRect;

// The ruler: the size of one picture pixel in the unit of the showruler preference (1
// pixels, 2 inches, 3 millimetres, 4 centimetres; 0 for none) at a resolution in dots per
// inch; a round step of 1, 2 or 5 times a power of ten that cuts range into at most
// maxDivisions parts (0 when there is nothing to divide); and the color of its text and
// ticks against the border color (0xRRGGBB).
double RulerUnitsPerPixel(int showRuler, double resolution);
double RulerStep(double range, int maxDivisions);
uint32_t RulerTextColor(uint32_t border);

// Draws the rulers in the margin above and left of the view, when the showruler preference
// asks for them: distances from the picture's top left corner, with labelled major ticks.
void RulerPaint(DrawContext *context, WindowHandle window, const ImageWindow *record);

// The 236-color palette of a palette display and the ordered dither into it, for displays
// that cannot show true color: a row of a view (type 1, 2 or 3) to palette indices, row
// number y giving the dither's row.
void DitherRow(const uint8_t *row, int type, int width, int y, uint8_t *indices);
void DitherPalette(uint8_t red[236], uint8_t green[236], uint8_t blue[236]);
