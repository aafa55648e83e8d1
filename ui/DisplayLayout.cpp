// Zoom, layout, coordinates, scrolling and the wheel of image and preview windows.
//
// A window's view is the visible part of its picture at the present zoom. The scroll
// positions (scrollLeft, scrollTop) count view pixels from the zoomed picture's top left
// corner; the source rectangle is the same part in picture pixels, and RenderView reads the
// picture from it. Magnified and reduced views are drawn in blocks anchored at the view's
// bottom row, which is why the vertical mapping is not the mirror of the horizontal one.
#include <cstdlib>

#include "core/Preferences.h"
#include "ui/Display.h"
#include "ui/ImageWindows.h"
#include "ui/UiState.h"

int OutputWidth;
int OutputHeight;

// Scroll bar controls carry thumb positions in 16 bits of a message; a longer range is
// scaled down to this many positions on the bar.
static const int SCROLL_BAR_LIMIT = 32767;

static const int WHEEL_NOTCH = 120; // wheel delta of one notch

static int Smaller(int a, int b)
{
    return a < b ? a : b;
}

static int Larger(int a, int b)
{
    return a > b ? a : b;
}

// value limited to 0..size - 1.
static int IndexLimit(int value, int size)
{
    return value < 0 ? 0 : (value > size - 1 ? size - 1 : value);
}

// Division rounded toward minus infinity, so that points before the view stay before it.
static int FloorDivide(int a, int b)
{
    int q = a / b;
    return (a % b != 0 && a < 0) ? q - 1 : q;
}

// The zoom as the display reads it: 0 and -1 are never set, and count as one to one.
static int ZoomNormal(int zoom)
{
    return zoom == 0 || zoom == -1 ? 1 : zoom;
}

void DisplayPictureSize(WindowHandle window, const ImageWindow *record, int *width, int *height)
{
    *width = *height = 0;
    if (window != nullptr && PlatformGetWindowWord(window, WORD_KIND) == KIND_PREVIEW) {
        *width = OutputWidth > 0 ? OutputWidth : 0;
        *height = OutputHeight > 0 ? OutputHeight : 0;
        return;
    }
    if (record != nullptr && ImageIsPicture(record->picture.image.type)) {
        *width = record->picture.image.width;
        *height = record->picture.image.height;
    }
}

int DisplayBorder(void)
{
    return Prefs.borderWidth > 0 ? Prefs.borderWidth : 0;
}

// A color of the preferences, three reals of 0 to 1, as 0xRRGGBB.
static uint32_t PreferenceColor(const double channels[3])
{
    uint32_t color = 0;
    for (int c = 0; c < 3; c++)
        color = color << 8 | (uint32_t)Clamp8(Round(channels[c] * 255.0));
    return color;
}

uint32_t DisplayBorderColor(void)
{
    return PreferenceColor(Prefs.borderColor);
}

uint32_t DisplayWorkspaceColor(void)
{
    return PreferenceColor(Prefs.workspace);
}

int ZoomedSize(int size, int zoom)
{
    zoom = ZoomNormal(zoom);
    if (size <= 0) return 0;
    if (zoom >= 1) {
        int64_t zoomed = (int64_t)size * zoom;
        return zoomed > INT32_MAX ? INT32_MAX : (int)zoomed;
    }
    int n = -zoom;
    return (int)(((int64_t)size + n - 1) / n);
}

int ZoomStepIn(int zoom)
{
    zoom = ZoomNormal(zoom);
    if (zoom >= ZOOM_MAX) return zoom;
    return zoom == -2 ? 1 : zoom + 1;
}

int ZoomStepOut(int zoom)
{
    zoom = ZoomNormal(zoom);
    if (zoom <= ZOOM_MIN) return zoom;
    return zoom == 1 ? -2 : zoom - 1;
}

// What the frame and caption of a window add to its client area.
static void FrameSize(WindowHandle window, int *across, int *down)
{
    Rect outer, client;
    PlatformGetWindowRect(window, &outer);
    PlatformGetClientRect(window, &client);
    *across = Larger(0, outer.right - outer.left - client.right);
    *down = Larger(0, outer.bottom - outer.top - client.bottom);
}

// The outer rectangle of a window moved left and up, and made smaller where it is larger
// than the workspace, so that all of it lies in the workspace.
static Rect PlaceInWorkspace(Rect outer)
{
    Rect workspace;
    PlatformGetClientRect(PlatformWorkspace(), &workspace);
    int width = Smaller(outer.right - outer.left, workspace.right);
    int height = Smaller(outer.bottom - outer.top, workspace.bottom);
    int x = Larger(0, Smaller(outer.left, workspace.right - width));
    int y = Larger(0, Smaller(outer.top, workspace.bottom - height));
    return {x, y, x + width, y + height};
}

// Moves a window to its place, when that differs from where it stands; returns 1 when its
// size changed.
static int WindowPlace(WindowHandle window, const Rect *outer, const Rect *place)
{
    if (place->left == outer->left && place->top == outer->top && place->right == outer->right &&
        place->bottom == outer->bottom)
        return 0;
    PlatformMoveWindow(window, place->left, place->top, place->right - place->left,
                       place->bottom - place->top);
    return place->right - place->left != outer->right - outer->left ||
           place->bottom - place->top != outer->bottom - outer->top;
}

// Gives the window a new outer size where it stands, moved left and up as far as needed to
// stay inside the workspace; a window of the right size that stands partly outside moves
// in as well. Returns 1 when the size changed.
static int WindowResize(WindowHandle window, int width, int height)
{
    Rect outer;
    PlatformGetWindowRect(window, &outer);
    Rect place = PlaceInWorkspace({outer.left, outer.top, outer.left + width, outer.top + height});
    return WindowPlace(window, &outer, &place);
}

int FitWindow(WindowHandle window)
{
    Rect outer;
    PlatformGetWindowRect(window, &outer);
    Rect place = PlaceInWorkspace(outer);
    return WindowPlace(window, &outer, &place);
}

// The view size in an available area (aw, ah) for a zoomed picture (zw, zh): a horizontal bar
// when the width does not fit, then a vertical one when the height does not, which may in
// turn call for the horizontal one.
static void ViewSizeWithBars(int zw, int zh, int aw, int ah, int *viewWidth, int *viewHeight)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    int horizontal = 0;
    aw = Larger(0, aw);
    ah = Larger(0, ah);
    if (zw > aw) {
        horizontal = 1;
        ah = Larger(0, ah - metrics.scrollHeight);
    }
    if (zh > ah) {
        aw = Larger(0, aw - metrics.scrollWidth);
        if (zw > aw && !horizontal) ah = Larger(0, ah - metrics.scrollHeight);
    }
    *viewWidth = Smaller(zw, aw);
    *viewHeight = Smaller(zh, ah);
}

int LayoutWindow(WindowHandle window, ImageWindow *record, int grow, int fit)
{
    int width, height, across, down;
    Rect client;

    // A minimised or maximised window keeps its size.
    int state = PlatformWindowState(window);
    if (state == SHOW_MINIMIZED || state == SHOW_MAXIMIZED) grow = fit = 0;
    DisplayPictureSize(window, record, &width, &height);
    int zw = ZoomedSize(width, record->zoom);
    int zh = ZoomedSize(height, record->zoom);
    // A window without a picture keeps its size: there is nothing to fit it to.
    if (zw <= 0 || zh <= 0) grow = fit = 0;
    int borders = 2 * DisplayBorder();
    PlatformGetClientRect(window, &client);
    FrameSize(window, &across, &down);
    int aw = client.right - borders;
    int ah = client.bottom - borders;

    if ((grow || fit) && zw == aw && zh == ah) {
        // The size is right already; the place may not be.
        record->viewWidth = zw;
        record->viewHeight = zh;
        FitWindow(window);
        PlatformShowWindow(window, SHOW_NORMAL);
        return 0;
    }
    if (grow && zw < aw && zh < ah) {
        // The window shrinks around the picture. The view size is set before the move, so
        // that a size message delivered during it finds the new one.
        record->viewWidth = zw;
        record->viewHeight = zh;
        int resized = WindowResize(window, zw + across + borders, zh + down + borders);
        PlatformShowWindow(window, SHOW_NORMAL);
        return resized;
    }
    if (fit) {
        // The window takes the picture's size, as far as the workspace has room for it.
        Rect workspace;
        PlatformGetClientRect(PlatformWorkspace(), &workspace);
        int fitWidth = Larger(0, Smaller(zw, workspace.right - across - borders));
        int fitHeight = Larger(0, Smaller(zh, workspace.bottom - down - borders));
        ViewSizeWithBars(zw, zh, fitWidth, fitHeight, &record->viewWidth, &record->viewHeight);
        int resized = WindowResize(window, fitWidth + across + borders, fitHeight + down + borders);
        PlatformShowWindow(window, SHOW_NORMAL);
        return resized;
    }
    ViewSizeWithBars(zw, zh, aw, ah, &record->viewWidth, &record->viewHeight);
    PlatformShowWindow(window, SHOW_NORMAL);
    return 0;
}

// Sets a scroll bar control, scaling a range too long for a message's 16 bits.
static void ScrollBarSet(WindowHandle bar, int range, int position, int page)
{
    if (bar == nullptr) return;
    if (range > SCROLL_BAR_LIMIT) {
        position = (int)((int64_t)position * SCROLL_BAR_LIMIT / range);
        page = Larger(1, (int)((int64_t)page * SCROLL_BAR_LIMIT / range));
        range = SCROLL_BAR_LIMIT;
    }
    PlatformSetScrollBar(bar, range, position, page);
}

// The scroll position of a thumb position of a bar set by ScrollBarSet.
static int ScrollBarPosition(int range, int thumb)
{
    if (range > SCROLL_BAR_LIMIT) return (int)((int64_t)thumb * range / SCROLL_BAR_LIMIT);
    return thumb;
}

static WindowHandle ScrollBar(WindowHandle window, int horizontal)
{
    return (WindowHandle)PlatformGetWindowWord(window, horizontal ? WORD_HSCROLL : WORD_VSCROLL);
}

// The source rectangle from the scroll positions: the picture pixels the view shows.
static void SourceFromScroll(WindowHandle window, ImageWindow *record)
{
    int width, height;
    DisplayPictureSize(window, record, &width, &height);
    int zoom = ZoomNormal(record->zoom);
    int64_t left, top, right, bottom;
    if (zoom >= 1) {
        left = record->scrollLeft / zoom;
        top = record->scrollTop / zoom;
        right = record->scrollRight / zoom;
        bottom = record->scrollBottom / zoom;
    } else {
        int n = -zoom;
        left = (int64_t)record->scrollLeft * n;
        top = (int64_t)record->scrollTop * n;
        right = (int64_t)record->scrollRight * n + n - 1;
        bottom = (int64_t)record->scrollBottom * n + n - 1;
    }
    // The last block of a reduced picture may be cut at its edge.
    record->sourceLeft = (int)left;
    record->sourceTop = (int)top;
    record->sourceRight = (int)(right < width - 1 ? right : width - 1);
    record->sourceBottom = (int)(bottom < height - 1 ? bottom : height - 1);
}

// The position on one axis: the point's zoomed coordinate centred, or the old proportion.
static int ScrollAxisPosition(int range, int oldRange, int oldPosition, int point, int viewSize,
                              int zoom)
{
    int64_t position;
    if (point >= 0) {
        int64_t zoomed = zoom >= 1 ? (int64_t)point * zoom : point / -zoom;
        position = zoomed - viewSize / 2;
    } else if (oldRange > 0) {
        position = (int64_t)oldPosition * range / oldRange;
    } else {
        position = range / 2;
    }
    if (position < 0) position = 0;
    if (position > range) position = range;
    if (zoom > 1) position -= position % zoom;
    return (int)position;
}

void LayoutScroll(WindowHandle window, ImageWindow *record, int x, int y)
{
    int width, height;
    DisplayPictureSize(window, record, &width, &height);
    int zoom = ZoomNormal(record->zoom);
    int zw = ZoomedSize(width, zoom);
    int zh = ZoomedSize(height, zoom);
    int oldRangeX = record->scrollRangeX;
    int oldRangeY = record->scrollRangeY;
    int rangeX = Larger(0, zw - record->viewWidth);
    int rangeY = Larger(0, zh - record->viewHeight);
    int pointGiven = !(x == -1 && y == -1);
    WindowHandle horizontal = ScrollBar(window, 1);
    WindowHandle vertical = ScrollBar(window, 0);

    record->scrollRangeX = rangeX;
    record->scrollRangeY = rangeY;
    if (rangeX > 0) {
        int point = pointGiven ? IndexLimit(x, width) : -1;
        record->scrollLeft = ScrollAxisPosition(rangeX, oldRangeX, record->scrollLeft, point,
                                                record->viewWidth, zoom);
        record->scrollRight = record->scrollLeft + record->viewWidth - 1;
        ScrollBarSet(horizontal, rangeX, record->scrollLeft, record->viewWidth);
        if (horizontal != nullptr) PlatformShowWindow(horizontal, SHOW_NORMAL);
    } else {
        record->scrollLeft = 0;
        record->scrollRight = (rangeX == 0 && rangeY == 0 ? zw : record->viewWidth) - 1;
        ScrollBarSet(horizontal, 0, 0, 0);
        if (horizontal != nullptr) PlatformShowWindow(horizontal, SHOW_HIDE);
    }
    if (rangeY > 0) {
        // The point's row counts from the bottom; positions count from the top.
        int point = pointGiven ? IndexLimit(height - 1 - y, height) : -1;
        record->scrollTop = ScrollAxisPosition(rangeY, oldRangeY, record->scrollTop, point,
                                               record->viewHeight, zoom);
        record->scrollBottom = record->scrollTop + record->viewHeight - 1;
        ScrollBarSet(vertical, rangeY, record->scrollTop, record->viewHeight);
        if (vertical != nullptr) PlatformShowWindow(vertical, SHOW_NORMAL);
    } else {
        record->scrollTop = 0;
        record->scrollBottom = (rangeX == 0 && rangeY == 0 ? zh : record->viewHeight) - 1;
        ScrollBarSet(vertical, 0, 0, 0);
        if (vertical != nullptr) PlatformShowWindow(vertical, SHOW_HIDE);
    }
    SourceFromScroll(window, record);
}

void CenterView(ImageWindow *record, WindowHandle window)
{
    PlatformMetrics metrics;
    Rect client;
    PlatformGetMetrics(&metrics);
    PlatformGetClientRect(window, &client);
    int width = client.right - (record->scrollRangeY > 0 ? metrics.scrollWidth : 0);
    int height = client.bottom - (record->scrollRangeX > 0 ? metrics.scrollHeight : 0);
    record->viewLeft = Larger(0, (width - record->viewWidth) / 2);
    record->viewTop = Larger(0, (height - record->viewHeight) / 2);
}

// The rows of a magnified view are blocks anchored at its bottom row, so the top block may
// be cut: this many view rows of the first block lie above the view.
static int MagnifiedRowOffset(const ImageWindow *record, int zoom)
{
    return record->viewHeight > 0 ? (record->viewHeight - 1) % zoom : 0;
}

void PictureToClient(WindowHandle window, const ImageWindow *record, int x, int y, int *clientX,
                     int *clientY)
{
    int width, height;
    DisplayPictureSize(window, record, &width, &height);
    int zoom = ZoomNormal(record->zoom);
    int r = height - 1 - y;
    int dx = x - record->sourceLeft;
    int dy = r - record->sourceTop;
    if (zoom == 1) {
        *clientX = record->viewLeft + dx;
        *clientY = record->viewTop + dy;
    } else if (zoom < 0) {
        *clientX = record->viewLeft + FloorDivide(dx, -zoom);
        *clientY = record->viewTop + FloorDivide(dy, -zoom);
    } else {
        // The middle of the block across; down, the block's last row less half a block.
        *clientX = record->viewLeft + dx * zoom + zoom / 2;
        *clientY = record->viewTop + dy * zoom - zoom / 2 + MagnifiedRowOffset(record, zoom);
    }
}

void ClientToPicture(WindowHandle window, const ImageWindow *record, int clientX, int clientY,
                     int *x, int *y)
{
    int width, height;
    DisplayPictureSize(window, record, &width, &height);
    int zoom = ZoomNormal(record->zoom);
    int dx = clientX - record->viewLeft;
    int dy = clientY - record->viewTop;
    int64_t column, r;
    if (zoom == 1) {
        column = (int64_t)record->sourceLeft + dx;
        r = (int64_t)record->sourceTop + dy;
    } else if (zoom < 0) {
        column = (int64_t)record->sourceLeft + (int64_t)dx * -zoom;
        r = (int64_t)record->sourceTop + (int64_t)dy * -zoom;
    } else {
        // The block that holds the client point: the way there puts a row's block last row at
        // (r - sourceTop) z + offset, so a client row belongs to the row rounded up.
        column = record->sourceLeft + FloorDivide(dx, zoom);
        r = record->sourceTop - FloorDivide(MagnifiedRowOffset(record, zoom) - dy, zoom);
    }
    if (column > width - 1) column = width - 1;
    if (column < 0) column = 0;
    if (r > height - 1) r = height - 1;
    if (r < 0) r = 0;
    *x = (int)column;
    *y = height - 1 - (int)r;
}

// A zoom change: the picture point at the client point comes to the middle of the view, or
// with keepUnderPointer stays at the client point. (-1, -1) stands for the middle of the
// client area. A resize lets the window shrink and grow to the picture.
static void ZoomChange(WindowHandle window, ImageWindow *record, int zoom, int resize, int clientX,
                       int clientY, int keepUnderPointer)
{
    int x, y;
    DisplayPictureSize(window, record, &x, &y);
    if (x <= 0 || y <= 0) return; // a histogram or an empty record has nothing to zoom
    if (clientX == -1 && clientY == -1) {
        Rect client;
        PlatformGetClientRect(window, &client);
        clientX = client.right / 2;
        clientY = client.bottom / 2;
        keepUnderPointer = 0;
    }
    ClientToPicture(window, record, clientX, clientY, &x, &y);
    record->zoom = zoom;
    ImageFree(&record->view);
    ImageFree(&record->screen);
    int resized = LayoutWindow(window, record, resize, resize);
    LayoutScroll(window, record, x, y);
    CenterView(record, window);
    if (keepUnderPointer) {
        // The point now stands in the middle; centring the point that shows at the mirror of
        // the pointer through the middle moves it under the pointer.
        int middleX = record->viewLeft + record->viewWidth / 2;
        int middleY = record->viewTop + record->viewHeight / 2;
        ClientToPicture(window, record, 2 * middleX - clientX, 2 * middleY - clientY, &x, &y);
        LayoutScroll(window, record, x, y);
        CenterView(record, window);
    }
    // When the window was resized, its size message redoes the layout. Delivered already
    // (the view exists again), the view is made once more for the positions set here;
    // still to come, it makes the view itself.
    if (!resized || record->view.rows != nullptr) RefreshView(record);
    PlatformInvalidate(window, nullptr);
}

void ZoomIn(WindowHandle window, ImageWindow *record, int resize, int x, int y)
{
    int zoom = ZoomStepIn(record->zoom);
    if (zoom == ZoomNormal(record->zoom)) return;
    ZoomChange(window, record, zoom, resize, x, y, 0);
}

void ZoomOut(WindowHandle window, ImageWindow *record, int resize)
{
    // Around the middle of the client area, as a zoom in from the menu is.
    int zoom = ZoomStepOut(record->zoom);
    if (zoom == ZoomNormal(record->zoom)) return;
    ZoomChange(window, record, zoom, resize, -1, -1, 0);
}

void ZoomOneToOne(WindowHandle window, ImageWindow *record, int resize, int x, int y)
{
    if (record->zoom == 1) return;
    ZoomChange(window, record, 1, resize, x, y, 0);
}

void SetZoom(WindowHandle window, ImageWindow *record, int zoom, int resize)
{
    zoom = ZoomNormal(zoom);
    if (zoom > ZOOM_MAX) zoom = ZOOM_MAX;
    if (zoom < ZOOM_MIN) zoom = ZOOM_MIN;
    ZoomChange(window, record, zoom, resize, -1, -1, 0);
}

void ZoomToFitClient(WindowHandle window, ImageWindow *record, WindowHandle client, int fromOne)
{
    int width, height, across, down;
    Rect area;
    DisplayPictureSize(window, record, &width, &height);
    if (width <= 0 || height <= 0) return;
    PlatformGetClientRect(client, &area);
    FrameSize(window, &across, &down);
    // The ruler stands in the border, so the border is all the room it takes.
    int extraWidth = across + 2 * DisplayBorder();
    int extraHeight = down + 2 * DisplayBorder();
    int zoom = fromOne ? 1 : ZoomNormal(record->zoom);
    while (zoom > ZOOM_MIN && (ZoomedSize(width, zoom) + extraWidth > area.right ||
                               ZoomedSize(height, zoom) + extraHeight > area.bottom))
        zoom = ZoomStepOut(zoom);
    SetZoom(window, record, zoom, 1);
}

// The position a scroll message asks for on one axis, limited to the range and, at zoom 2
// or more, rounded down to the zoom. Returns 1 when it differs from the present one.
static int ScrollNewPosition(const ImageWindow *record, int horizontal, uintptr_t wParam,
                             int *position)
{
    int range = horizontal ? record->scrollRangeX : record->scrollRangeY;
    int old = horizontal ? record->scrollLeft : record->scrollTop;
    int size = horizontal ? record->viewWidth : record->viewHeight;
    int zoom = ZoomNormal(record->zoom);
    int line = Larger(1, size / 8);
    int page = Larger(1, size * 7 / 8);
    if (zoom > 1) {
        // A step of less than a block would be rounded away and never move the view.
        line = Larger(line, zoom);
        page = Larger(page, zoom);
    }
    int64_t wanted;
    switch (wParam & 0xffff) {
    case SCROLL_LINE_UP: wanted = (int64_t)old - line; break;
    case SCROLL_LINE_DOWN: wanted = (int64_t)old + line; break;
    case SCROLL_PAGE_UP: wanted = (int64_t)old - page; break;
    case SCROLL_PAGE_DOWN: wanted = (int64_t)old + page; break;
    case SCROLL_THUMB_POSITION:
    case SCROLL_THUMB_TRACK:
        wanted = ScrollBarPosition(range, (int)((wParam >> 16) & 0xffff));
        break;
    case SCROLL_TOP: wanted = 0; break;
    case SCROLL_BOTTOM: wanted = range; break;
    default: return 0;
    }
    if (wanted > range) wanted = range;
    if (wanted < 0) wanted = 0;
    if (zoom > 1) wanted -= wanted % zoom;
    *position = (int)wanted;
    return *position != old;
}

// Asks for a repaint of every part of the client area around the view: the window's pixels
// moved as a whole, margin and ruler with them.
static void InvalidateMargins(WindowHandle window, const ImageWindow *record)
{
    Rect client;
    PlatformGetClientRect(window, &client);
    int right = record->viewLeft + record->viewWidth;
    int bottom = record->viewTop + record->viewHeight;
    Rect parts[4] = {{0, 0, client.right, record->viewTop},
                     {0, bottom, client.right, client.bottom},
                     {0, record->viewTop, record->viewLeft, bottom},
                     {right, record->viewTop, client.right, bottom}};
    for (const Rect &part : parts)
        PlatformInvalidate(window, &part);
}

// Moves the view to position on one axis: positions, source rectangle and bar. When the
// view may move (shiftAllowed) and the old and new views overlap with the picture moved by
// exactly the scrolled view pixels, view, screen and window pixels move and *strip receives
// the view rectangle that came into view (rows from the view's bottom); returns 0. Else the
// whole window is invalidated and the result is 1: the whole view must be made.
static int ScrollMove(WindowHandle window, ImageWindow *record, int horizontal, int position,
                      int shiftAllowed, Rect *strip)
{
    int zoom = ZoomNormal(record->zoom);
    int old = horizontal ? record->scrollLeft : record->scrollTop;
    int oldSource = horizontal ? record->sourceLeft : record->sourceBottom;
    int size = horizontal ? record->viewWidth : record->viewHeight;
    int delta = position - old;
    if (horizontal) {
        record->scrollLeft = position;
        record->scrollRight = position + record->viewWidth - 1;
    } else {
        record->scrollTop = position;
        record->scrollBottom = position + record->viewHeight - 1;
    }
    SourceFromScroll(window, record);
    ScrollBarSet(ScrollBar(window, horizontal),
                 horizontal ? record->scrollRangeX : record->scrollRangeY, position, size);

    // A reduced view whose last block is cut at the picture's edge moves the picture by less
    // than the scroll when it reaches that edge: the view is then made afresh.
    int newSource = horizontal ? record->sourceLeft : record->sourceBottom;
    int64_t expected = zoom > 1 ? delta / zoom : (int64_t)delta * (zoom < 0 ? -zoom : 1);
    int aligned = (zoom <= 1 || delta % zoom == 0) && newSource - oldSource == expected;
    int distance = abs(delta);
    if (!shiftAllowed || !aligned || distance >= size) {
        PlatformInvalidate(window, nullptr);
        return 1;
    }

    Image *view = &record->view;
    Image *screen = &record->screen;
    int screenMoves =
        screen->rows != nullptr && screen->width == view->width && screen->height == view->height;
    // The strip's edge toward the view's middle goes down to a block's start.
    int x0 = 0, y0 = 0, x1 = record->viewWidth - 1, y1 = record->viewHeight - 1;
    if (horizontal && delta > 0) {
        ImageShiftLeft(view, distance);
        if (screenMoves) ImageShiftLeft(screen, distance);
        PlatformScrollWindow(window, -distance, 0);
        x0 = record->viewWidth - distance;
    } else if (horizontal) {
        ImageShiftRight(view, distance);
        if (screenMoves) ImageShiftRight(screen, distance);
        PlatformScrollWindow(window, distance, 0);
        x1 = distance - 1;
    } else if (delta > 0) {
        // Rows count from the view's bottom: a view scrolled down moves up in memory.
        ImageShiftRowsUp(view, distance);
        if (screenMoves) ImageShiftRowsUp(screen, distance);
        PlatformScrollWindow(window, 0, -distance);
        y1 = distance - 1;
    } else {
        ImageShiftRowsDown(view, distance);
        if (screenMoves) ImageShiftRowsDown(screen, distance);
        PlatformScrollWindow(window, 0, distance);
        y0 = record->viewHeight - distance;
    }
    if (zoom > 1) {
        x0 -= x0 % zoom;
        y0 -= y0 % zoom;
    }
    *strip = {x0, y0, x1, y1};
    // The strip in client pixels: view rows count from the bottom, client rows from the top.
    Rect client = {record->viewLeft + x0, record->viewTop + record->viewHeight - 1 - y1,
                   record->viewLeft + x1 + 1, record->viewTop + record->viewHeight - y0};
    PlatformInvalidate(window, &client);
    InvalidateMargins(window, record);
    return 0;
}

// 1 when the view and screen are made for the present view size, so that they may move.
static int ViewIsCurrent(const ImageWindow *record)
{
    return record->view.rows != nullptr && record->view.width == record->viewWidth &&
           record->view.height == record->viewHeight;
}

int ScrollImageWindow(WindowHandle window, ImageWindow *record, uint32_t message, uintptr_t wParam)
{
    int horizontal = message == MSG_HSCROLL;
    int position;
    Rect strip;
    if (!ScrollNewPosition(record, horizontal, wParam, &position)) return 0;
    if (ScrollMove(window, record, horizontal, position, ViewIsCurrent(record), &strip))
        RefreshView(record);
    else
        RenderView(&record->picture.image, record, strip.left, strip.top, strip.right, strip.bottom,
                   0);
    return 1;
}

int ScrollPreviewWindow(WindowHandle window, ImageWindow *record, uint32_t message,
                        uintptr_t wParam, WindowHandle dialog, int current)
{
    int horizontal = message == MSG_HSCROLL;
    int position;
    Rect strip;
    if (!ScrollNewPosition(record, horizontal, wParam, &position)) return 0;
    int shiftAllowed = current && ViewIsCurrent(record);
    if (ScrollMove(window, record, horizontal, position, shiftAllowed, &strip))
        PlatformSendMessage(dialog, MSG_PREVIEW_REGION, (uintptr_t)window, 0);
    else
        PlatformSendMessage(dialog, MSG_PREVIEW_REGION, (uintptr_t)window, (intptr_t)&strip);
    return 1;
}

// What the wheel has turned toward the next notch, and in which window.
static WindowHandle WheelWindow;
static int WheelRest;

void WheelImageWindow(WindowHandle window, ImageWindow *record, uintptr_t wParam, intptr_t lParam)
{
    uint32_t keys = (uint32_t)(wParam & 0xffff);
    int delta = (int16_t)(uint16_t)((wParam >> 16) & 0xffff);
    // Fine wheels send parts of a notch; they add up until a notch is reached, in one window
    // and one direction.
    if (window != WheelWindow || (WheelRest > 0) != (delta > 0)) {
        WheelWindow = window;
        WheelRest = 0;
    }
    WheelRest += delta;
    int notches = WheelRest / WHEEL_NOTCH;
    WheelRest -= notches * WHEEL_NOTCH;
    for (int i = 0; i < abs(notches); i++) {
        if (keys & KEYS_CONTROL) {
            // Only an image window zooms here; a preview's zoom belongs to its dialog.
            if (record == nullptr || PlatformGetWindowWord(window, WORD_KIND) != KIND_IMAGE ||
                !ImageIsPicture(record->picture.image.type))
                return;
            int zoom = notches > 0 ? ZoomStepIn(record->zoom) : ZoomStepOut(record->zoom);
            if (zoom == ZoomNormal(record->zoom)) return;
            ZoomChange(window, record, zoom, 0, ParamLow(lParam), ParamHigh(lParam), 1);
        } else {
            // Forward, away from the user, shows what lies above or to the left.
            uint32_t message = (keys & KEYS_SHIFT) ? MSG_HSCROLL : MSG_VSCROLL;
            PlatformSendMessage(window, message, notches > 0 ? SCROLL_LINE_UP : SCROLL_LINE_DOWN,
                                0);
        }
    }
}
