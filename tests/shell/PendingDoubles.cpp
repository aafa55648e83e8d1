// Temporary stand-ins until the display and file-flow branches merge; the lead deletes this
// file at the merge.
//
// Each function here is declared in shell/Display.h or shell/FileFlow.h and written for real
// on another branch. These are the smallest versions that let the shell's own code run in
// the headless tests: they lay a view out without margins or rulers, scroll without
// repainting, and open or save through the file type table without dialogs. No test checks
// what they do; the tests check the code that calls them.
#include <cstring>

#include "core/Preferences.h"
#include "core/Text.h"
#include "files/FileType.h"
#include "shell/Display.h"
#include "shell/FileFlow.h"
#include "shell/ImageWindows.h"
#include "shell/Shell.h"

Rect UpdateRect = {-1, -1, -1, -1};

int ZoomedSize(int size, int zoom)
{
    return zoom >= 1 ? size * zoom : (size - zoom - 1) / -zoom;
}

int ZoomStepIn(int zoom)
{
    return zoom == -2 ? 1 : zoom + 1;
}

int ZoomStepOut(int zoom)
{
    return zoom == 1 ? -2 : zoom - 1;
}

ErrorCode RefreshView(ImageWindow *record)
{
    if (record->viewWidth <= 0 || record->viewHeight <= 0) return ERROR_NONE;
    return RenderView(&record->image, record, 0, 0, record->viewWidth - 1, record->viewHeight - 1,
                      1);
}

int LayoutWindow(WindowHandle window, ImageWindow *record, int grow, int fit)
{
    (void)grow;
    (void)fit;
    Rect client;
    PlatformGetClientRect(window, &client);
    int width = ZoomedSize(record->image.width, record->zoom);
    int height = ZoomedSize(record->image.height, record->zoom);
    record->viewWidth = width < client.right ? width : client.right;
    record->viewHeight = height < client.bottom ? height : client.bottom;
    return 0;
}

void LayoutScroll(WindowHandle window, ImageWindow *record, int x, int y)
{
    (void)x;
    (void)y;
    int zoomedWidth = ZoomedSize(record->image.width, record->zoom);
    int zoomedHeight = ZoomedSize(record->image.height, record->zoom);
    record->scrollRangeX = zoomedWidth - record->viewWidth;
    record->scrollRangeY = zoomedHeight - record->viewHeight;
    record->scrollLeft = record->scrollTop = 0;
    record->scrollRight = record->viewWidth - 1;
    record->scrollBottom = record->viewHeight - 1;
    record->sourceLeft = record->sourceTop = 0;
    WindowHandle across = (WindowHandle)PlatformGetWindowWord(window, WORD_HSCROLL);
    WindowHandle down = (WindowHandle)PlatformGetWindowWord(window, WORD_VSCROLL);
    PlatformSetScrollBar(across, record->scrollRangeX, 0, record->viewWidth);
    PlatformSetScrollBar(down, record->scrollRangeY, 0, record->viewHeight);
    PlatformShowWindow(across, record->scrollRangeX > 0 ? SHOW_NORMAL : SHOW_HIDE);
    PlatformShowWindow(down, record->scrollRangeY > 0 ? SHOW_NORMAL : SHOW_HIDE);
}

void CenterView(ImageWindow *record, WindowHandle window)
{
    (void)window;
    record->viewLeft = record->viewTop = 0;
}

void SetZoom(WindowHandle window, ImageWindow *record, int zoom, int resize)
{
    (void)resize;
    record->zoom = zoom;
    ImageWindowLayout(window);
}

void ZoomIn(WindowHandle window, ImageWindow *record, int resize, int x, int y)
{
    (void)x;
    (void)y;
    SetZoom(window, record, ZoomStepIn(record->zoom), resize);
}

void ZoomOut(WindowHandle window, ImageWindow *record, int resize)
{
    SetZoom(window, record, ZoomStepOut(record->zoom), resize);
}

void ZoomOneToOne(WindowHandle window, ImageWindow *record, int resize, int x, int y)
{
    (void)x;
    (void)y;
    if (record->zoom != 1) SetZoom(window, record, 1, resize);
}

void ZoomToFitClient(WindowHandle window, ImageWindow *record, WindowHandle client, int fromOne)
{
    (void)client;
    (void)fromOne;
    SetZoom(window, record, 1, 0);
}

void PaintImageWindow(DrawContext *context, WindowHandle window, ImageWindow *record,
                      const Image *picture)
{
    (void)window;
    (void)picture;
    if (record->screen.type == TYPE_EMPTY) return;
    Rect part = {0, 0, record->screen.width - 1, record->screen.height - 1};
    PlatformDrawImage(context, &record->screen, &part, record->viewLeft, record->viewTop);
}

int ScrollImageWindow(WindowHandle window, ImageWindow *record, uint32_t message, uintptr_t wParam)
{
    int horizontal = message == MSG_HSCROLL;
    int range = horizontal ? record->scrollRangeX : record->scrollRangeY;
    int view = horizontal ? record->viewWidth : record->viewHeight;
    int old = horizontal ? record->scrollLeft : record->scrollTop;
    int position = old;
    switch (wParam & 0xffff) {
    case SCROLL_LINE_UP: position -= view / 8; break;
    case SCROLL_LINE_DOWN: position += view / 8; break;
    case SCROLL_PAGE_UP: position -= view * 7 / 8; break;
    case SCROLL_PAGE_DOWN: position += view * 7 / 8; break;
    case SCROLL_THUMB_POSITION:
    case SCROLL_THUMB_TRACK: position = (int)((wParam >> 16) & 0xffff); break;
    case SCROLL_TOP: position = 0; break;
    case SCROLL_BOTTOM: position = range; break;
    default: break;
    }
    if (position > range) position = range;
    if (position < 0) position = 0;
    if (record->zoom >= 2) position -= position % record->zoom;
    if (position == old) return 0;
    if (horizontal)
        record->scrollLeft = position;
    else
        record->scrollTop = position;
    WindowHandle bar =
        (WindowHandle)PlatformGetWindowWord(window, horizontal ? WORD_HSCROLL : WORD_VSCROLL);
    PlatformSetScrollBar(bar, range, position, view);
    return 1;
}

void WheelImageWindow(WindowHandle window, ImageWindow *record, uintptr_t wParam, intptr_t lParam)
{
    (void)lParam;
    int delta = (int16_t)((wParam >> 16) & 0xffff);
    ScrollImageWindow(window, record, MSG_VSCROLL, delta > 0 ? SCROLL_LINE_UP : SCROLL_LINE_DOWN);
}


