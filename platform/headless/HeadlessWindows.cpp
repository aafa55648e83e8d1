// Windows, messages, controls, drawing, menus and dialogs of the headless platform. Windows
// are records in a pool; a sent message calls the class procedure at once, a posted one
// waits in a queue for the loop or for HeadlessDeliverPosted. Painting draws into a 24-bit
// canvas per window so that tests can look at the pixels a window would show.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/Memory.h"
#include "core/Text.h"
#include "platform/headless/Headless.h"
#include "platform/headless/HeadlessInternal.h"

PlatformWindow HeadlessWindows[HEADLESS_WINDOW_COUNT];
uint32_t HeadlessKeys;

struct PostedMessage {
    WindowHandle window;
    uint32_t serial;
    uint32_t message;
    uintptr_t wParam;
    intptr_t lParam;
};

struct Timer {
    WindowHandle window;
    int id;
    int milliseconds; // 0 for a free entry
};

struct HeadlessMenuEntry {
    int id;
    int depth;
    int enabled;
    int checked;
    char label[256];
};

struct FileDialogAnswer {
    int chosen;
    int filter;
    char paths[4 * PATH_LENGTH];
};

struct TextDrawn {
    WindowHandle window;
    int x;
    int y;
    char text[128];
};

static const int POST_QUEUE = 4096;
static const int TIMER_COUNT = 256;
static const int MENU_ENTRIES = 1024;
static const int POPUP_QUEUE = 32;
static const int FILE_QUEUE = 32;
static const int TEXT_LOG = 256;
static const int WORKSPACE_DEFAULT_WIDTH = 1600;
static const int WORKSPACE_DEFAULT_HEIGHT = 1000;
static const int STAGGER = 24; // pixels between the default positions of new children

static WindowProcedure Procedures[CLASS_COUNT];
static uint32_t NextSerial = 1;
static PostedMessage Posted[POST_QUEUE];
static int PostedFirst;
static int PostedCount;
static Timer Timers[TIMER_COUNT];
static PlatformWindow *Workspace;
static uint32_t WorkspaceColor;
static PlatformWindow *Frame;
static WindowHandle Active;
static WindowHandle Focus;
static WindowHandle Capture;
static int NextOrder;
static int DefaultPlacement;
static int QuitRequested;
static int QuitCode;
static HeadlessMenuEntry Menu[MENU_ENTRIES];
static int MenuCount;
static int PopupAnswers[POPUP_QUEUE];
static int PopupCount;
static MenuItem LastPopup[64];
static int LastPopupCount;
static FileDialogAnswer FileAnswers[FILE_QUEUE];
static int FileAnswerCount;
static FileDialogAnswer FileCurrent;
static HeadlessFileDialogRecord LastFileDialog;
static void (*ModalHandler)(WindowHandle window);
static WindowHandle ModalWindow;
static int ModalEnded;
static int ModalResult;
static char ClipboardText[65536];
static int ClipboardHasText;
static Image ClipboardImage;
static char External[PATH_LENGTH];
static int HandOverAnswer;
static char HandedOver[PATH_LENGTH];
static TextDrawn TextLog[TEXT_LOG];
static int TextTotal;

struct DrawContext {
    PlatformWindow *window;
    Rect clip; // left, top inclusive; right, bottom exclusive
};

// ---------------------------------------------------------------------------------------
// The pool.

// One past the highest record ever used: the reset looks no further, so that a run of
// vistel-cli does not fault in the whole table's pages only to find them unused.
static int HeadlessWindowsReached = 0;

PlatformWindow *HeadlessWindowAllocate(void)
{
    for (int i = 0; i < HEADLESS_WINDOW_COUNT; i++) {
        PlatformWindow *window = &HeadlessWindows[i];
        if (window->used) continue;
        if (i >= HeadlessWindowsReached) HeadlessWindowsReached = i + 1;
        ImageFree(&window->canvas);
        MemoryFree(window->items);
        memset(window, 0, sizeof *window);
        window->used = 1;
        window->serial = NextSerial++;
        window->enabled = 1;
        window->progressRecord = -1;
        window->words[WORD_SLOT] = -1;
        return window;
    }
    return nullptr;
}

static int Valid(WindowHandle window)
{
    return window != nullptr && window >= HeadlessWindows &&
           window < HeadlessWindows + HEADLESS_WINDOW_COUNT && window->used;
}

static void WindowRelease(PlatformWindow *window)
{
    ImageFree(&window->canvas);
    MemoryRelease(&window->items);
    window->used = 0;
}

static PlatformWindow *WorkspaceMake(int width, int height)
{
    PlatformWindow *workspace = HeadlessWindowAllocate();
    workspace->windowClass = -1;
    workspace->controlType = -1;
    workspace->rect = {0, 0, width, height};
    workspace->state = SHOW_NORMAL;
    snprintf(workspace->title, sizeof workspace->title, "%s", "workspace");
    return workspace;
}

void HeadlessWindowsReset(void)
{
    for (int i = 0; i < HeadlessWindowsReached; i++)
        if (HeadlessWindows[i].used) WindowRelease(&HeadlessWindows[i]);
    memset(Procedures, 0, sizeof Procedures);
    PostedFirst = PostedCount = 0;
    memset(Timers, 0, sizeof Timers);
    Active = Focus = Capture = nullptr;
    NextOrder = 0;
    DefaultPlacement = 0;
    QuitRequested = 0;
    QuitCode = 0;
    MenuCount = 0;
    PopupCount = 0;
    LastPopupCount = 0;
    FileAnswerCount = 0;
    memset(&LastFileDialog, 0, sizeof LastFileDialog);
    ModalHandler = nullptr;
    ModalWindow = nullptr;
    ClipboardHasText = 0;
    ImageFree(&ClipboardImage);
    External[0] = 0;
    HandOverAnswer = 0;
    HandedOver[0] = 0;
    TextTotal = 0;
    HeadlessKeys = 0;
    Frame = nullptr;
    Workspace = WorkspaceMake(WORKSPACE_DEFAULT_WIDTH, WORKSPACE_DEFAULT_HEIGHT);
    WorkspaceColor = 0x808080;
}

// ---------------------------------------------------------------------------------------
// Geometry of windows: the frame of a child takes frameSize across and borderSize down; a
// dialog's thinner frame takes dialogFrame and dialogBorder.

static void FrameSizes(const PlatformWindow *window, int *across, int *down)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    *across = *down = 0;
    if (window->windowClass == CLASS_CHILD || window->windowClass == CLASS_DOCUMENT) {
        if (window->style & STYLE_DIALOG) {
            *across = metrics.dialogFrame;
            *down = metrics.dialogBorder;
        } else {
            *across = metrics.frameSize;
            *down = metrics.borderSize;
        }
    }
}

static int ClientWidth(const PlatformWindow *window)
{
    int across, down;
    FrameSizes(window, &across, &down);
    int width = window->rect.right - window->rect.left - across;
    return width > 0 ? width : 0;
}

static int ClientHeight(const PlatformWindow *window)
{
    int across, down;
    FrameSizes(window, &across, &down);
    int height = window->rect.bottom - window->rect.top - down;
    return height > 0 ? height : 0;
}

static MessageResult Deliver(WindowHandle window, uint32_t message, uintptr_t wParam,
                             intptr_t lParam)
{
    if (!Valid(window)) return 0;
    WindowProcedure procedure = nullptr;
    if (window->windowClass >= 0 && window->windowClass < CLASS_COUNT)
        procedure = Procedures[window->windowClass];
    if (procedure == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    return procedure(window, message, wParam, lParam);
}

static void SendSize(PlatformWindow *window, uint32_t kind)
{
    Deliver(window, MSG_SIZE, kind, MakeParam(ClientWidth(window), ClientHeight(window)));
}

static void SendMove(PlatformWindow *window)
{
    int across, down;
    FrameSizes(window, &across, &down);
    Deliver(window, MSG_MOVE, 0,
            MakeParam(window->rect.left + across / 2, window->rect.top + down - across / 2));
}

// ---------------------------------------------------------------------------------------
// Creation and destruction.

void PlatformRegisterClass(int windowClass, WindowProcedure procedure)
{
    if (windowClass >= 0 && windowClass < CLASS_COUNT) Procedures[windowClass] = procedure;
}

WindowHandle PlatformCreateWindow(const WindowCreate *request)
{
    PlatformWindow *window = HeadlessWindowAllocate();
    if (window == nullptr) return nullptr;
    uint32_t serial = window->serial;
    window->windowClass = request->windowClass;
    window->controlType = -1;
    window->kind = request->kind;
    window->words[WORD_KIND] = request->kind;
    window->words[WORD_SLOT] = request->slot;
    window->style = request->style;
    window->parent = request->parent;
    window->controlId = request->controlId;
    snprintf(window->title, sizeof window->title, "%s",
             request->title != nullptr ? request->title : "");

    int width = request->width;
    int height = request->height;
    int x = request->x;
    int y = request->y;
    if (request->windowClass == CLASS_FRAME) {
        x = y = 0;
        width = ClientWidth(Workspace);
        height = ClientHeight(Workspace);
        Frame = window;
    }
    if (width == WINDOW_DEFAULT) width = 400;
    if (height == WINDOW_DEFAULT) height = 400;
    if (x == WINDOW_DEFAULT || y == WINDOW_DEFAULT) {
        // New children without a place of their own stand staggered down and right.
        x = y = (DefaultPlacement++ % 10) * STAGGER;
    }
    window->rect = {x, y, x + width, y + height};
    window->normalRect = window->rect;
    window->state = (request->style & STYLE_HIDDEN) ? SHOW_HIDE : SHOW_NORMAL;
    window->order = --NextOrder; // the newest child stands in front

    if (Deliver(window, MSG_CREATE, 0, (intptr_t)request) == -1) {
        if (Valid(window) && window->serial == serial) PlatformDestroyWindow(window);
        return nullptr;
    }
    if (!Valid(window) || window->serial != serial) return nullptr;
    SendSize(window, SIZE_RESTORED);
    SendMove(window);
    return window;
}

void PlatformDestroyWindow(WindowHandle window)
{
    if (!Valid(window)) return;
    uint32_t serial = window->serial;
    Deliver(window, MSG_DESTROY, 0, 0);
    if (!Valid(window) || window->serial != serial) return;
    // Its controls and custom controls go with it.
    for (int i = 0; i < HEADLESS_WINDOW_COUNT; i++) {
        PlatformWindow *child = &HeadlessWindows[i];
        if (child->used && child->parent == window) PlatformDestroyWindow(child);
    }
    for (int i = 0; i < TIMER_COUNT; i++)
        if (Timers[i].window == window) Timers[i].milliseconds = 0;
    if (Capture == window) Capture = nullptr;
    if (Focus == window) Focus = nullptr;
    if (Frame == window) Frame = nullptr;
    int wasActive = Active == window;
    if (wasActive) Active = nullptr;
    WindowRelease(window);
    if (wasActive) {
        WindowHandle next = PlatformFirstChild();
        if (next != nullptr) PlatformActivateWindow(next);
    }
}

int PlatformWindowExists(WindowHandle window)
{
    return Valid(window);
}

MessageResult PlatformSendMessage(WindowHandle window, uint32_t message, uintptr_t wParam,
                                  intptr_t lParam)
{
    return Deliver(window, message, wParam, lParam);
}

void PlatformPostMessage(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    if (!Valid(window) || PostedCount == POST_QUEUE) return;
    PostedMessage *posted = &Posted[(PostedFirst + PostedCount) % POST_QUEUE];
    *posted = {window, window->serial, message, wParam, lParam};
    PostedCount++;
}

MessageResult PlatformDefaultProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                       intptr_t lParam)
{
    (void)wParam;
    (void)lParam;
    if (message == MSG_CLOSE) PlatformDestroyWindow(window);
    return 0;
}

// ---------------------------------------------------------------------------------------
// Words, titles and places.

intptr_t PlatformGetWindowWord(WindowHandle window, int index)
{
    if (!Valid(window) || index < 0 || index >= WINDOW_WORD_COUNT) return 0;
    return window->words[index];
}

void PlatformSetWindowWord(WindowHandle window, int index, intptr_t value)
{
    if (!Valid(window) || index < 0 || index >= WINDOW_WORD_COUNT) return;
    window->words[index] = value;
}

void PlatformSetWindowTitle(WindowHandle window, const char *title)
{
    if (Valid(window)) snprintf(window->title, sizeof window->title, "%s", title);
}

void PlatformGetWindowTitle(WindowHandle window, char *text, int size)
{
    if (size <= 0) return;
    if (!Valid(window)) {
        text[0] = 0;
        return;
    }
    snprintf(text, (size_t)size, "%s", window->title);
}

int PlatformWindowClass(WindowHandle window)
{
    return Valid(window) ? window->windowClass : -1;
}

WindowHandle PlatformWindowParent(WindowHandle window)
{
    return Valid(window) ? window->parent : nullptr;
}

void PlatformShowWindow(WindowHandle window, int show)
{
    if (!Valid(window)) return;
    switch (show) {
    case SHOW_HIDE: window->state = SHOW_HIDE; break;
    case SHOW_NORMAL:
        if (window->state == SHOW_HIDE) window->state = SHOW_NORMAL;
        break;
    case SHOW_MINIMIZED:
        if (window->state != SHOW_MINIMIZED) {
            if (window->state == SHOW_NORMAL) window->normalRect = window->rect;
            window->state = SHOW_MINIMIZED;
            SendSize(window, SIZE_MINIMIZED);
        }
        break;
    case SHOW_MAXIMIZED:
        if (window->state != SHOW_MAXIMIZED) {
            if (window->state == SHOW_NORMAL) window->normalRect = window->rect;
            int across, down;
            FrameSizes(window, &across, &down);
            // The frame of a maximised child lies outside the workspace.
            window->rect = {-across / 2, -(down - across / 2), ClientWidth(Workspace) + across / 2,
                            ClientHeight(Workspace) + across / 2};
            window->state = SHOW_MAXIMIZED;
            SendSize(window, SIZE_MAXIMIZED);
        }
        break;
    case SHOW_RESTORE:
        if (window->state == SHOW_MINIMIZED || window->state == SHOW_MAXIMIZED) {
            window->rect = window->normalRect;
            window->state = SHOW_NORMAL;
            SendSize(window, SIZE_RESTORED);
        }
        break;
    default: break;
    }
}

int PlatformWindowState(WindowHandle window)
{
    return Valid(window) ? window->state : SHOW_HIDE;
}

void PlatformMoveWindow(WindowHandle window, int x, int y, int width, int height)
{
    if (!Valid(window)) return;
    Rect old = window->rect;
    window->rect = {x, y, x + width, y + height};
    if (window->state == SHOW_NORMAL || window->state == SHOW_HIDE)
        window->normalRect = window->rect;
    if (old.left != x || old.top != y) SendMove(window);
    if (old.right - old.left != width || old.bottom - old.top != height)
        SendSize(window, window->state == SHOW_MAXIMIZED ? SIZE_MAXIMIZED : SIZE_RESTORED);
}

void PlatformGetWindowRect(WindowHandle window, Rect *rect)
{
    if (!Valid(window)) {
        *rect = {0, 0, 0, 0};
        return;
    }
    *rect = window->rect;
}

void PlatformGetClientRect(WindowHandle window, Rect *rect)
{
    if (!Valid(window)) {
        *rect = {0, 0, 0, 0};
        return;
    }
    *rect = {0, 0, ClientWidth(window), ClientHeight(window)};
}

WindowHandle PlatformWorkspace(void)
{
    return Workspace;
}

// A child of the workspace: a window of the child or document class without a parent.
static int IsChild(const PlatformWindow *window)
{
    return window->used && window->parent == nullptr && window->kind != 12 &&
           (window->windowClass == CLASS_CHILD || window->windowClass == CLASS_DOCUMENT);
}

// The child after the one of order (front to back), or null.
static WindowHandle ChildAfter(int order, int includeEqual)
{
    WindowHandle best = nullptr;
    for (int i = 0; i < HEADLESS_WINDOW_COUNT; i++) {
        PlatformWindow *window = &HeadlessWindows[i];
        if (!IsChild(window)) continue;
        if (includeEqual ? window->order < order : window->order <= order) continue;
        if (best == nullptr || window->order < best->order) best = window;
    }
    return best;
}

WindowHandle PlatformFirstChild(void)
{
    return ChildAfter(-2147483647 - 1, 1);
}

WindowHandle PlatformNextChild(WindowHandle window)
{
    if (!Valid(window)) return nullptr;
    return ChildAfter(window->order, 0);
}

void PlatformActivateWindow(WindowHandle window)
{
    if (!Valid(window) || !IsChild(window)) return;
    window->order = --NextOrder;
    if (Active == window) return;
    WindowHandle old = Active;
    Active = window;
    if (Valid(old)) Deliver(old, MSG_ACTIVATE, (uintptr_t)old, (intptr_t)window);
    Deliver(window, MSG_ACTIVATE, (uintptr_t)old, (intptr_t)window);
}

WindowHandle PlatformActiveWindow(void)
{
    return Valid(Active) ? Active : nullptr;
}

void PlatformSetFocus(WindowHandle window)
{
    WindowHandle old = Focus;
    Focus = Valid(window) ? window : nullptr;
    if (old != Focus && Valid(old)) Deliver(old, MSG_KILL_FOCUS, 0, 0);
    if (old != Focus && Focus != nullptr) Deliver(Focus, MSG_SET_FOCUS, 0, 0);
}

WindowHandle PlatformFocusWindow(void)
{
    return Valid(Focus) ? Focus : nullptr;
}

void PlatformSetFocusFromKey(WindowHandle window)
{
    PlatformSetFocus(window);
}

// ---------------------------------------------------------------------------------------
// Painting.

static void RectUnion(Rect *into, const Rect *rect)
{
    if (rect->left < into->left) into->left = rect->left;
    if (rect->top < into->top) into->top = rect->top;
    if (rect->right > into->right) into->right = rect->right;
    if (rect->bottom > into->bottom) into->bottom = rect->bottom;
}

void PlatformInvalidate(WindowHandle window, const Rect *rect)
{
    if (!Valid(window)) return;
    Rect all = {0, 0, ClientWidth(window), ClientHeight(window)};
    Rect part = rect != nullptr ? *rect : all;
    if (part.left < 0) part.left = 0;
    if (part.top < 0) part.top = 0;
    if (part.right > all.right) part.right = all.right;
    if (part.bottom > all.bottom) part.bottom = all.bottom;
    if (part.right <= part.left || part.bottom <= part.top) return;
    if (window->hasInvalid)
        RectUnion(&window->invalid, &part);
    else
        window->invalid = part;
    window->hasInvalid = 1;
}

void PlatformUpdateWindow(WindowHandle window)
{
    if (!Valid(window) || !window->hasInvalid) return;
    if (window->state == SHOW_MINIMIZED || window->state == SHOW_HIDE) return;
    Rect rect = window->invalid;
    window->hasInvalid = 0;
    int width = ClientWidth(window);
    int height = ClientHeight(window);
    if (ImageAlloc(&window->canvas, TYPE_COLOR24, width, height, 100.0) != ERROR_NONE) return;
    DrawContext context = {window, rect};
    Deliver(window, MSG_PAINT, (uintptr_t)&context, (intptr_t)&rect);
}

void PlatformScrollWindow(WindowHandle window, int dx, int dy)
{
    if (!Valid(window)) return;
    Image *canvas = &window->canvas;
    int width = ClientWidth(window);
    int height = ClientHeight(window);
    if (canvas->type == TYPE_COLOR24 && canvas->width == width && canvas->height == height) {
        // Rows count from the bottom in the canvas and from the top on the screen.
        if (dx < 0) ImageShiftLeft(canvas, -dx);
        if (dx > 0) ImageShiftRight(canvas, dx);
        if (dy < 0) ImageShiftRowsUp(canvas, -dy);
        if (dy > 0) ImageShiftRowsDown(canvas, dy);
    }
    Rect strip;
    if (dx < 0)
        strip = {width + dx, 0, width, height};
    else if (dx > 0)
        strip = {0, 0, dx, height};
    else if (dy < 0)
        strip = {0, height + dy, width, height};
    else if (dy > 0)
        strip = {0, 0, width, dy};
    else
        return;
    PlatformInvalidate(window, &strip);
}

// Clips a rectangle (right and bottom exclusive) to the context; 0 when nothing is left.
static int Clip(const DrawContext *context, Rect *rect)
{
    const Image *canvas = &context->window->canvas;
    if (rect->left < context->clip.left) rect->left = context->clip.left;
    if (rect->top < context->clip.top) rect->top = context->clip.top;
    if (rect->right > context->clip.right) rect->right = context->clip.right;
    if (rect->bottom > context->clip.bottom) rect->bottom = context->clip.bottom;
    if (rect->left < 0) rect->left = 0;
    if (rect->top < 0) rect->top = 0;
    if (rect->right > canvas->width) rect->right = canvas->width;
    if (rect->bottom > canvas->height) rect->bottom = canvas->height;
    return rect->right > rect->left && rect->bottom > rect->top;
}

static uint8_t *CanvasPixel(const DrawContext *context, int x, int y)
{
    const Image *canvas = &context->window->canvas;
    return canvas->rows[canvas->height - 1 - y] + 3 * x;
}

static void PutPixel(DrawContext *context, int x, int y, uint32_t color, int exclusive)
{
    Rect point = {x, y, x + 1, y + 1};
    if (!Clip(context, &point)) return;
    uint8_t *pixel = CanvasPixel(context, x, y);
    if (exclusive) {
        pixel[0] ^= 255;
        pixel[1] ^= 255;
        pixel[2] ^= 255;
        return;
    }
    pixel[0] = (uint8_t)color;
    pixel[1] = (uint8_t)(color >> 8);
    pixel[2] = (uint8_t)(color >> 16);
}

void PlatformFillRect(DrawContext *context, const Rect *rect, uint32_t color)
{
    Rect part = *rect;
    if (!Clip(context, &part)) return;
    for (int y = part.top; y < part.bottom; y++)
        for (int x = part.left; x < part.right; x++)
            PutPixel(context, x, y, color, 0);
}

void PlatformFrameRect(DrawContext *context, const Rect *rect, uint32_t color)
{
    PlatformDrawLine(context, rect->left, rect->top, rect->right - 1, rect->top, color);
    PlatformDrawLine(context, rect->left, rect->bottom - 1, rect->right - 1, rect->bottom - 1,
                     color);
    PlatformDrawLine(context, rect->left, rect->top, rect->left, rect->bottom - 1, color);
    PlatformDrawLine(context, rect->right - 1, rect->top, rect->right - 1, rect->bottom - 1, color);
}

// A line by Bresenham's steps, both ends drawn.
static void Line(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color,
                 int exclusive)
{
    int dx = Abs(x1 - x0);
    int dy = -Abs(y1 - y0);
    int sx = x0 < x1 ? 1 : -1;
    int sy = y0 < y1 ? 1 : -1;
    int error = dx + dy;
    for (int guard = 0; guard < 100000; guard++) {
        PutPixel(context, x0, y0, color, exclusive);
        if (x0 == x1 && y0 == y1) break;
        int twice = 2 * error;
        if (twice >= dy) {
            error += dy;
            x0 += sx;
        }
        if (twice <= dx) {
            error += dx;
            y0 += sy;
        }
    }
}

void PlatformDrawLine(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color)
{
    Line(context, x0, y0, x1, y1, color, 0);
}

void PlatformDrawText(DrawContext *context, int x, int y, const char *text, uint32_t color,
                      int small)
{
    (void)color;
    (void)small;
    TextDrawn *drawn = &TextLog[TextTotal % TEXT_LOG];
    TextTotal++;
    drawn->window = context->window;
    drawn->x = x;
    drawn->y = y;
    snprintf(drawn->text, sizeof drawn->text, "%s", text);
}

void PlatformDrawImage(DrawContext *context, const Image *image, const Rect *source, int x, int y)
{
    int width = source->right - source->left + 1;
    int height = source->bottom - source->top + 1;
    Rect target = {x, y, x + width, y + height};
    if (!Clip(context, &target)) return;
    for (int ty = target.top; ty < target.bottom; ty++) {
        // source->top counts rows of the image as drawn from its top.
        int row = image->height - 1 - (source->top + ty - y);
        if (row < 0 || row >= image->height) continue;
        const uint8_t *in = image->rows[row];
        for (int tx = target.left; tx < target.right; tx++) {
            int column = source->left + tx - x;
            if (column < 0 || column >= image->width) continue;
            uint8_t *out = CanvasPixel(context, tx, ty);
            switch (image->type) {
            case TYPE_BINARY: out[0] = out[1] = out[2] = BitTest(in, column) ? 255 : 0; break;
            case TYPE_GRAY8: out[0] = out[1] = out[2] = in[column]; break;
            case TYPE_COLOR24: memcpy(out, in + 3 * column, 3); break;
            default: break;
            }
        }
    }
}

void PlatformDrawXorLine(DrawContext *context, int x0, int y0, int x1, int y1)
{
    Line(context, x0, y0, x1, y1, 0, 1);
}

void PlatformDrawXorRect(DrawContext *context, const Rect *rect)
{
    PlatformDrawXorLine(context, rect->left, rect->top, rect->right - 1, rect->top);
    PlatformDrawXorLine(context, rect->left, rect->bottom - 1, rect->right - 1, rect->bottom - 1);
    if (rect->bottom - rect->top > 2) {
        PlatformDrawXorLine(context, rect->left, rect->top + 1, rect->left, rect->bottom - 2);
        PlatformDrawXorLine(context, rect->right - 1, rect->top + 1, rect->right - 1,
                            rect->bottom - 2);
    }
}

DrawContext *PlatformBeginDraw(WindowHandle window)
{
    if (!Valid(window)) return nullptr;
    int width = ClientWidth(window);
    int height = ClientHeight(window);
    if (ImageAlloc(&window->canvas, TYPE_COLOR24, width, height, 100.0) != ERROR_NONE)
        return nullptr;
    DrawContext *context = (DrawContext *)MemoryAlloc(sizeof(DrawContext));
    if (context == nullptr) return nullptr;
    *context = {window, {0, 0, width, height}};
    return context;
}

void PlatformEndDraw(WindowHandle window, DrawContext *context)
{
    (void)window;
    MemoryFree(context);
}

// ---------------------------------------------------------------------------------------
// Timers, capture, keys.

void PlatformSetTimer(WindowHandle window, int id, int milliseconds)
{
    if (!Valid(window)) return;
    int free = -1;
    for (int i = 0; i < TIMER_COUNT; i++) {
        if (Timers[i].milliseconds > 0 && Timers[i].window == window && Timers[i].id == id) {
            Timers[i].milliseconds = milliseconds > 0 ? milliseconds : 1;
            return;
        }
        if (Timers[i].milliseconds == 0 && free < 0) free = i;
    }
    if (free >= 0) Timers[free] = {window, id, milliseconds > 0 ? milliseconds : 1};
}

void PlatformKillTimer(WindowHandle window, int id)
{
    for (int i = 0; i < TIMER_COUNT; i++)
        if (Timers[i].window == window && Timers[i].id == id) Timers[i].milliseconds = 0;
}

void PlatformSetCapture(WindowHandle window)
{
    Capture = Valid(window) ? window : nullptr;
}

void PlatformReleaseCapture(void)
{
    Capture = nullptr;
}

uint32_t PlatformKeyState(void)
{
    return HeadlessKeys;
}

// ---------------------------------------------------------------------------------------
// Controls.

WindowHandle PlatformCreateControl(WindowHandle parent, int type, int id, const char *text,
                                   uint32_t style, const Rect *rect)
{
    if (!Valid(parent)) return nullptr;
    PlatformWindow *control = HeadlessWindowAllocate();
    if (control == nullptr) return nullptr;
    control->windowClass = -1;
    control->controlType = type;
    control->parent = parent;
    control->controlId = id;
    control->style = style;
    control->rect = *rect;
    control->state = SHOW_NORMAL;
    snprintf(control->title, sizeof control->title, "%s", text != nullptr ? text : "");
    return control;
}

WindowHandle PlatformControl(WindowHandle parent, int id)
{
    for (int i = 0; i < HEADLESS_WINDOW_COUNT; i++) {
        PlatformWindow *window = &HeadlessWindows[i];
        if (window->used && window->parent == parent && window->controlId == id) return window;
    }
    return nullptr;
}

WindowHandle PlatformNextControl(WindowHandle parent, WindowHandle control)
{
    // Serials rise with each window made, so the next is the least serial above control's.
    uint32_t after = Valid(control) ? control->serial : 0;
    WindowHandle next = nullptr;
    for (int i = 0; i < HEADLESS_WINDOW_COUNT; i++) {
        PlatformWindow *window = &HeadlessWindows[i];
        if (!window->used || window->parent != parent || window->serial <= after) continue;
        if (window->windowClass != -1 && window->windowClass != CLASS_CONTROL) continue;
        if (next == nullptr || window->serial < next->serial) next = window;
    }
    return next;
}

int PlatformControlType(WindowHandle control)
{
    return Valid(control) && control->windowClass == -1 ? control->controlType : -1;
}

int PlatformControlEnabled(WindowHandle control)
{
    return Valid(control) && control->enabled;
}

int PlatformControlId(WindowHandle control)
{
    // Custom controls are windows of their own class with an id, as the platform's are.
    if (!Valid(control) || (control->controlType < 0 && control->windowClass != CLASS_CONTROL))
        return -1;
    return control->controlId;
}

void PlatformSetControlText(WindowHandle parent, int id, const char *text)
{
    PlatformSetWindowTitle(PlatformControl(parent, id), text);
}

void PlatformGetControlText(WindowHandle parent, int id, char *text, int size)
{
    PlatformGetWindowTitle(PlatformControl(parent, id), text, size);
}

void PlatformSetControlValue(WindowHandle parent, int id, int value)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control != nullptr) control->value = value;
}

int PlatformControlValue(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    return control != nullptr ? control->value : 0;
}

void PlatformEnableControl(WindowHandle parent, int id, int enabled)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control != nullptr) control->enabled = enabled != 0;
}

void PlatformSetControlItems(WindowHandle parent, int id, const char *items)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    size_t length = 0;
    while (items[length] != 0)
        length += strlen(items + length) + 1;
    char *copy = (char *)MemoryAlloc(length + 1);
    if (copy == nullptr) return;
    memcpy(copy, items, length + 1);
    MemoryFree(control->items);
    control->items = copy;
}

void PlatformSetScrollBar(WindowHandle scrollBar, int range, int position, int page)
{
    if (!Valid(scrollBar)) return;
    scrollBar->range = range;
    scrollBar->value = position;
    scrollBar->page = page;
}

void PlatformMoveControl(WindowHandle control, const Rect *rect)
{
    if (Valid(control)) control->rect = *rect;
}

// ---------------------------------------------------------------------------------------
// Menus.

static HeadlessMenuEntry *MenuFind(int id)
{
    for (int i = 0; i < MenuCount; i++)
        if (Menu[i].id == id && id > 0) return &Menu[i];
    return nullptr;
}

void PlatformSetMenu(const MenuItem *items)
{
    MenuCount = 0;
    for (int i = 0; MenuCount < MENU_ENTRIES && !(items[i].id == 0 && items[i].label == nullptr);
         i++) {
        HeadlessMenuEntry *entry = &Menu[MenuCount++];
        entry->id = items[i].id;
        entry->depth = items[i].depth;
        entry->enabled = 1;
        entry->checked = 0;
        snprintf(entry->label, sizeof entry->label, "%s",
                 items[i].label != nullptr ? items[i].label : "");
    }
}

void PlatformEnableMenuItem(int id, int enabled)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry != nullptr) entry->enabled = enabled != 0;
}

void PlatformCheckMenuItem(int id, int checked)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry != nullptr) entry->checked = checked != 0;
}

void PlatformSetMenuItem(int id, int after, const char *text)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (text == nullptr) {
        if (entry == nullptr) return;
        int index = (int)(entry - Menu);
        memmove(&Menu[index], &Menu[index + 1], sizeof(Menu[0]) * (size_t)(MenuCount - index - 1));
        MenuCount--;
        return;
    }
    if (entry == nullptr) {
        if (MenuCount == MENU_ENTRIES) return;
        // A new item goes right after after, or after the last item already added behind it.
        int at = MenuCount;
        HeadlessMenuEntry *anchor = MenuFind(after);
        int depth = 1;
        if (anchor != nullptr) {
            at = (int)(anchor - Menu) + 1;
            depth = anchor->depth;
            while (at < MenuCount && Menu[at].depth == depth && Menu[at].id > after &&
                   Menu[at].id < id)
                at++;
        }
        memmove(&Menu[at + 1], &Menu[at], sizeof(Menu[0]) * (size_t)(MenuCount - at));
        MenuCount++;
        entry = &Menu[at];
        entry->id = id;
        entry->depth = depth;
        entry->enabled = 1;
        entry->checked = 0;
    }
    snprintf(entry->label, sizeof entry->label, "%s", text);
}

int PlatformPopupMenu(WindowHandle window, const MenuItem *items, int x, int y)
{
    (void)window;
    (void)x;
    (void)y;
    LastPopupCount = 0;
    for (int i = 0; LastPopupCount < 64 && !(items[i].id == 0 && items[i].label == nullptr); i++)
        LastPopup[LastPopupCount++] = items[i];
    if (PopupCount == 0) return 0;
    int chosen = PopupAnswers[0];
    memmove(PopupAnswers, PopupAnswers + 1, sizeof(int) * (size_t)(PopupCount - 1));
    PopupCount--;
    return chosen;
}

// ---------------------------------------------------------------------------------------
// Loops.

int HeadlessDeliverPosted(void)
{
    int delivered = 0;
    // Messages posted while delivering wait for the next call, so that a message that posts
    // itself cannot keep this loop going for ever.
    int count = PostedCount;
    for (int i = 0; i < count && PostedCount > 0; i++) {
        PostedMessage posted = Posted[PostedFirst];
        PostedFirst = (PostedFirst + 1) % POST_QUEUE;
        PostedCount--;
        if (!Valid(posted.window) || posted.window->serial != posted.serial) continue;
        Deliver(posted.window, posted.message, posted.wParam, posted.lParam);
        delivered++;
    }
    return delivered;
}

int PlatformRun(void)
{
    QuitRequested = 0;
    for (int round = 0; round < 100000 && !QuitRequested; round++)
        if (HeadlessDeliverPosted() == 0) break;
    return QuitCode;
}

void PlatformQuit(int code)
{
    QuitRequested = 1;
    QuitCode = code;
}

int PlatformRunModal(WindowHandle window)
{
    WindowHandle outer = ModalWindow;
    int outerEnded = ModalEnded;
    int outerResult = ModalResult;
    ModalWindow = window;
    ModalEnded = 0;
    ModalResult = 0;
    if (ModalHandler != nullptr) ModalHandler(window);
    for (int round = 0; round < 1000 && !ModalEnded && Valid(window); round++)
        if (HeadlessDeliverPosted() == 0) break;
    // Nobody ended it: it ends as if cancelled, so that a test can never hang here.
    int result = ModalEnded ? ModalResult : 0;
    ModalWindow = outer;
    ModalEnded = outerEnded;
    ModalResult = outerResult;
    return result;
}

void PlatformEndModal(WindowHandle window, int result)
{
    if (window != ModalWindow) return;
    ModalEnded = 1;
    ModalResult = result;
}

// ---------------------------------------------------------------------------------------
// File dialogs, clipboard, the outside world.

int PlatformFileDialog(const FileDialogRequest *request, FileDialogResult *result)
{
    LastFileDialog.count++;
    LastFileDialog.mode = request->mode;
    LastFileDialog.filter = request->filter;
    snprintf(LastFileDialog.title, sizeof LastFileDialog.title, "%s",
             request->title != nullptr ? request->title : "");
    snprintf(LastFileDialog.folder, sizeof LastFileDialog.folder, "%s",
             request->folder != nullptr ? request->folder : "");
    snprintf(LastFileDialog.name, sizeof LastFileDialog.name, "%s",
             request->name != nullptr ? request->name : "");
    int filterLength = 0;
    if (request->filters != nullptr) {
        while (request->filters[filterLength] != 0)
            filterLength += (int)strlen(request->filters + filterLength) + 1;
        if (filterLength >= (int)sizeof LastFileDialog.filters)
            filterLength = (int)sizeof LastFileDialog.filters - 2;
        memcpy(LastFileDialog.filters, request->filters, (size_t)filterLength);
    }
    LastFileDialog.filters[filterLength] = 0;
    LastFileDialog.filters[filterLength + 1] = 0;
    if (FileAnswerCount == 0) return 0;
    FileCurrent = FileAnswers[0];
    memmove(FileAnswers, FileAnswers + 1, sizeof(FileAnswers[0]) * (size_t)(FileAnswerCount - 1));
    FileAnswerCount--;
    if (!FileCurrent.chosen) return 0;
    result->filter = FileCurrent.filter >= 0 ? FileCurrent.filter : request->filter;
    result->paths = FileCurrent.paths;
    return 1;
}

int PlatformClipboardSetText(const char *text)
{
    snprintf(ClipboardText, sizeof ClipboardText, "%s", text);
    ClipboardHasText = 1;
    return 1;
}

int PlatformClipboardGetText(char *text, int size)
{
    if (!ClipboardHasText || size <= 0) return 0;
    snprintf(text, (size_t)size, "%s", ClipboardText);
    return 1;
}

int PlatformClipboardSetImage(const Image *image)
{
    return ImageDuplicate(image, &ClipboardImage) == ERROR_NONE;
}

ErrorCode PlatformClipboardGetImage(Image *image)
{
    if (ClipboardImage.type == TYPE_EMPTY) return ERROR_READ_IMAGE_FILE;
    return ImageDuplicate(&ClipboardImage, image);
}

int PlatformClipboardHasImage(void)
{
    return ClipboardImage.type != TYPE_EMPTY;
}

void PlatformClipboardClear(void)
{
    ClipboardHasText = 0;
    ImageFree(&ClipboardImage);
}

int PlatformOpenExternal(const char *pathOrAddress)
{
    snprintf(External, sizeof External, "%s", pathOrAddress);
    return 1;
}

int PlatformHandOverCommandLine(const char *commandLine)
{
    snprintf(HandedOver, sizeof HandedOver, "%s", commandLine);
    return HandOverAnswer;
}

// ---------------------------------------------------------------------------------------
// What tests use to drive and look.

void HeadlessSetWorkspaceSize(int width, int height)
{
    if (Workspace != nullptr) Workspace->rect = {0, 0, width, height};
}

void PlatformSetWorkspaceColor(uint32_t color)
{
    WorkspaceColor = color;
}

uint32_t HeadlessWorkspaceColor(void)
{
    return WorkspaceColor;
}

void HeadlessSetKeys(uint32_t keys)
{
    HeadlessKeys = keys;
}

int HeadlessWindowCount(void)
{
    int count = 0;
    for (int i = 0; i < HEADLESS_WINDOW_COUNT; i++)
        count += HeadlessWindows[i].used && HeadlessWindows[i].controlType < 0 &&
                 &HeadlessWindows[i] != Workspace;
    return count;
}

WindowHandle HeadlessFrame(void)
{
    return Frame;
}

WindowHandle HeadlessFindWindow(const char *title)
{
    for (int i = 0; i < HEADLESS_WINDOW_COUNT; i++) {
        PlatformWindow *window = &HeadlessWindows[i];
        if (window->used && window->controlType < 0 && window != Workspace &&
            strcmp(window->title, title) == 0)
            return window;
    }
    return nullptr;
}

WindowHandle HeadlessBareWindow(int kind, int slot, const char *title)
{
    PlatformWindow *window = HeadlessWindowAllocate();
    if (window == nullptr) return nullptr;
    window->windowClass = -1;
    window->controlType = -1;
    window->kind = kind;
    window->words[WORD_KIND] = kind;
    window->words[WORD_SLOT] = slot;
    window->rect = {0, 0, 400, 400};
    window->state = SHOW_NORMAL;
    snprintf(window->title, sizeof window->title, "%s", title);
    return window;
}

int HeadlessTimer(WindowHandle window, int id)
{
    for (int i = 0; i < TIMER_COUNT; i++)
        if (Timers[i].milliseconds > 0 && Timers[i].window == window && Timers[i].id == id)
            return Timers[i].milliseconds;
    return 0;
}

void HeadlessFireTimer(WindowHandle window, int id)
{
    if (HeadlessTimer(window, id) > 0) Deliver(window, MSG_TIMER, (uintptr_t)id, 0);
}

WindowHandle HeadlessCapture(void)
{
    return Valid(Capture) ? Capture : nullptr;
}

void HeadlessClick(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr || !control->enabled) return;
    if (control->controlType == CONTROL_CHECK_BOX) control->value = !control->value;
    if (control->controlType == CONTROL_RADIO) control->value = 1;
    Deliver(parent, MSG_COMMAND, (uintptr_t)(uint16_t)id | ((uintptr_t)NOTIFY_CLICKED << 16),
            (intptr_t)control);
}

void HeadlessSetEditText(WindowHandle parent, int id, const char *text)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    snprintf(control->title, sizeof control->title, "%s", text);
    Deliver(parent, MSG_COMMAND, (uintptr_t)(uint16_t)id | ((uintptr_t)NOTIFY_CHANGED << 16),
            (intptr_t)control);
}

void HeadlessChoose(WindowHandle parent, int id, int index)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    control->value = index;
    Deliver(parent, MSG_COMMAND, (uintptr_t)(uint16_t)id | ((uintptr_t)NOTIFY_CHANGED << 16),
            (intptr_t)control);
}

void HeadlessScroll(WindowHandle scrollBar, uint32_t code, int position)
{
    if (!Valid(scrollBar) || !Valid(scrollBar->parent)) return;
    uint32_t message = scrollBar->controlType == CONTROL_SCROLL_V ? MSG_VSCROLL : MSG_HSCROLL;
    Deliver(scrollBar->parent, message, code | ((uintptr_t)(uint16_t)position << 16),
            (intptr_t)scrollBar);
}

int HeadlessControlEnabled(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    return control != nullptr && control->enabled;
}

int HeadlessScrollBar(WindowHandle scrollBar, int *range, int *position, int *page)
{
    if (!Valid(scrollBar)) return 0;
    *range = scrollBar->range;
    *position = scrollBar->value;
    *page = scrollBar->page;
    return scrollBar->state != SHOW_HIDE;
}

const char *HeadlessControlItems(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    return control != nullptr && control->items != nullptr ? control->items : "";
}

int HeadlessInvalid(WindowHandle window, Rect *rect)
{
    if (!Valid(window) || !window->hasInvalid) return 0;
    *rect = window->invalid;
    return 1;
}

void HeadlessPaint(WindowHandle window)
{
    PlatformUpdateWindow(window);
}

const Image *HeadlessCanvas(WindowHandle window)
{
    return Valid(window) ? &window->canvas : nullptr;
}

int HeadlessTextCount(void)
{
    return TextTotal < TEXT_LOG ? TextTotal : TEXT_LOG;
}

void HeadlessTextsForget(void)
{
    TextTotal = 0;
}

const char *HeadlessTextAt(int index, WindowHandle *window, int *x, int *y)
{
    int count = HeadlessTextCount();
    if (index < 0 || index >= count) return nullptr;
    const TextDrawn *drawn = &TextLog[(TextTotal - count + index) % TEXT_LOG];
    if (window != nullptr) *window = drawn->window;
    if (x != nullptr) *x = drawn->x;
    if (y != nullptr) *y = drawn->y;
    return drawn->text;
}

int HeadlessMenuState(int id, int *enabled, int *checked, const char **label)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry == nullptr) return 0;
    if (enabled != nullptr) *enabled = entry->enabled;
    if (checked != nullptr) *checked = entry->checked;
    if (label != nullptr) *label = entry->label;
    return 1;
}

void HeadlessChooseMenu(int id)
{
    if (Frame == nullptr) return;
    Deliver(Frame, MSG_INIT_MENU, 0, 0);
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry != nullptr && !entry->enabled) return;
    Deliver(Frame, MSG_COMMAND, (uintptr_t)(uint16_t)id, 0);
}

void HeadlessQueuePopupChoice(int id)
{
    if (PopupCount < POPUP_QUEUE) PopupAnswers[PopupCount++] = id;
}

int HeadlessLastPopup(const MenuItem **items)
{
    *items = LastPopup;
    return LastPopupCount;
}

void HeadlessQueueFileDialog(const char *paths, int filter)
{
    if (FileAnswerCount == FILE_QUEUE) return;
    FileDialogAnswer *answer = &FileAnswers[FileAnswerCount++];
    memset(answer, 0, sizeof *answer);
    if (paths == nullptr) return; // a cancelled dialog
    answer->chosen = 1;
    answer->filter = filter;
    // The paths are one string, or several each ended by a zero byte before an empty one.
    size_t length = 0;
    while (paths[length] != 0 && length < sizeof answer->paths - 2)
        length += strlen(paths + length) + 1;
    if (length > sizeof answer->paths - 2) length = sizeof answer->paths - 2;
    memcpy(answer->paths, paths, length);
}

const HeadlessFileDialogRecord *HeadlessLastFileDialog(void)
{
    return &LastFileDialog;
}

void HeadlessSetModalHandler(void (*handler)(WindowHandle window))
{
    ModalHandler = handler;
}

const char *HeadlessExternal(void)
{
    return External;
}

void HeadlessSetHandOver(int answer)
{
    HandOverAnswer = answer;
}

const char *HeadlessHandedOver(void)
{
    return HandedOver;
}

void HeadlessMouse(WindowHandle window, uint32_t message, int x, int y, uint32_t keys)
{
    WindowHandle target = Valid(Capture) ? Capture : window;
    Deliver(target, message, keys, MakeParam(x, y));
}
