// Windows and messages of the headless platform: its part of each record (where a window
// stands, its state and its place among the children), the workspace and the frame,
// activation, focus, capture and the posted messages and timers that tests deliver and
// fire themselves. The window table, the procedures and the order of the messages of
// creation and destruction are the window core's.
#include <cstdio>
#include <cstring>

#include "core/Memory.h"
#include "platform/headless/Headless.h"
#include "platform/headless/HeadlessInternal.h"

WindowHandle HeadlessWorkspaceRecord;
WindowHandle HeadlessFrameRecord;
uint32_t HeadlessKeys;

static const int WORKSPACE_DEFAULT_WIDTH = 1600;
static const int WORKSPACE_DEFAULT_HEIGHT = 1000;
static const uint32_t WORKSPACE_DEFAULT_COLOR = 0x808080;

static WindowSide Sides[WINDOW_TABLE_SIZE];
static uint32_t WorkspaceColor;
static WindowHandle Focus;
static WindowHandle Capture;
static int NextOrder;

// ---------------------------------------------------------------------------------------
// The headless part of the records.

WindowSide *WindowSideAt(int index)
{
    return &Sides[index];
}

void WindowSideClear(WindowHandle window)
{
    WindowSideRelease(window);
    memset(window->side, 0, sizeof *window->side);
    window->side->enabled = 1;
    window->side->progressRecord = -1;
}

void WindowSideRelease(WindowHandle window)
{
    ImageFree(&window->side->canvas);
    MemoryRelease(&window->side->items);
}

static PlatformWindow *WorkspaceMake(int width, int height)
{
    PlatformWindow *workspace = WindowAllocate();
    workspace->windowClass = RECORD_WORKSPACE;
    workspace->side->rect = {0, 0, width, height};
    workspace->side->state = SHOW_NORMAL;
    WindowTitleStore(workspace, "workspace");
    return workspace;
}

void HeadlessWindowsReset(void)
{
    WindowCoreReset();
    Focus = Capture = nullptr;
    NextOrder = 0;
    HeadlessKeys = 0;
    HeadlessFrameRecord = nullptr;
    HeadlessWorkspaceRecord = WorkspaceMake(WORKSPACE_DEFAULT_WIDTH, WORKSPACE_DEFAULT_HEIGHT);
    WorkspaceColor = WORKSPACE_DEFAULT_COLOR;
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

int HeadlessClientWidth(const PlatformWindow *window)
{
    int across, down;
    FrameSizes(window, &across, &down);
    int width = window->side->rect.right - window->side->rect.left - across;
    return width > 0 ? width : 0;
}

int HeadlessClientHeight(const PlatformWindow *window)
{
    int across, down;
    FrameSizes(window, &across, &down);
    int height = window->side->rect.bottom - window->side->rect.top - down;
    return height > 0 ? height : 0;
}

static void SendSize(PlatformWindow *window, uint32_t kind)
{
    WindowDeliver(window, MSG_SIZE, kind,
                  MakeParam(HeadlessClientWidth(window), HeadlessClientHeight(window)));
}

static void SendMove(PlatformWindow *window)
{
    int across, down;
    FrameSizes(window, &across, &down);
    WindowDeliver(window, MSG_MOVE, 0,
                  MakeParam(window->side->rect.left + across / 2,
                            window->side->rect.top + down - across / 2));
}

// ---------------------------------------------------------------------------------------
// Creation and destruction: the steps of the window core that are the platform's.

int WindowSideMake(WindowHandle window, const WindowCreate *request)
{
    Rect place;
    if (request->windowClass == CLASS_FRAME) {
        // The frame fills the screen, which is the workspace here.
        place = {0, 0, HeadlessClientWidth(HeadlessWorkspaceRecord),
                 HeadlessClientHeight(HeadlessWorkspaceRecord)};
        HeadlessFrameRecord = window;
    } else {
        WindowDefaultPlace(request, &place);
    }
    window->side->rect = place;
    window->side->normalRect = place;
    window->side->state = (request->style & STYLE_HIDDEN) ? SHOW_HIDE : SHOW_NORMAL;
    window->side->order = --NextOrder; // the newest child stands in front
    return 1;
}

void WindowSideCreated(WindowHandle window, const WindowCreate *request)
{
    (void)request;
    SendSize(window, SIZE_RESTORED);
    SendMove(window);
}

void WindowSideDestroying(WindowHandle window)
{
    if (Capture == window) Capture = nullptr;
    if (Focus == window) Focus = nullptr;
    if (HeadlessFrameRecord == window) HeadlessFrameRecord = nullptr;
}

// ---------------------------------------------------------------------------------------
// Messages, titles and places.

void PlatformPostMessage(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    WindowPost(window, message, wParam, lParam);
}

void PlatformSetWindowTitle(WindowHandle window, const char *title)
{
    WindowTitleStore(window, title);
}

void PlatformShowWindow(WindowHandle window, int show)
{
    if (!WindowValid(window)) return;
    switch (show) {
    case SHOW_HIDE: window->side->state = SHOW_HIDE; break;
    case SHOW_NORMAL:
        if (window->side->state == SHOW_HIDE) window->side->state = SHOW_NORMAL;
        break;
    case SHOW_MINIMIZED:
        if (window->side->state != SHOW_MINIMIZED) {
            if (window->side->state == SHOW_NORMAL) window->side->normalRect = window->side->rect;
            window->side->state = SHOW_MINIMIZED;
            SendSize(window, SIZE_MINIMIZED);
        }
        break;
    case SHOW_MAXIMIZED:
        if (window->side->state != SHOW_MAXIMIZED) {
            if (window->side->state == SHOW_NORMAL) window->side->normalRect = window->side->rect;
            int across, down;
            FrameSizes(window, &across, &down);
            // The frame of a maximised child lies outside the workspace.
            window->side->rect = {-across / 2, -(down - across / 2),
                                  HeadlessClientWidth(HeadlessWorkspaceRecord) + across / 2,
                                  HeadlessClientHeight(HeadlessWorkspaceRecord) + across / 2};
            window->side->state = SHOW_MAXIMIZED;
            SendSize(window, SIZE_MAXIMIZED);
        }
        break;
    case SHOW_RESTORE:
        if (window->side->state == SHOW_MINIMIZED || window->side->state == SHOW_MAXIMIZED) {
            window->side->rect = window->side->normalRect;
            window->side->state = SHOW_NORMAL;
            SendSize(window, SIZE_RESTORED);
        }
        break;
    default: break;
    }
}

int PlatformWindowState(WindowHandle window)
{
    return WindowValid(window) ? window->side->state : SHOW_HIDE;
}

void PlatformMoveWindow(WindowHandle window, int x, int y, int width, int height)
{
    if (!WindowValid(window)) return;
    Rect old = window->side->rect;
    window->side->rect = {x, y, x + width, y + height};
    if (window->side->state == SHOW_NORMAL || window->side->state == SHOW_HIDE)
        window->side->normalRect = window->side->rect;
    if (old.left != x || old.top != y) SendMove(window);
    if (old.right - old.left != width || old.bottom - old.top != height)
        SendSize(window, window->side->state == SHOW_MAXIMIZED ? SIZE_MAXIMIZED : SIZE_RESTORED);
}

void PlatformGetWindowRect(WindowHandle window, Rect *rect)
{
    if (!WindowValid(window)) {
        *rect = {0, 0, 0, 0};
        return;
    }
    *rect = window->side->rect;
}

void PlatformGetClientRect(WindowHandle window, Rect *rect)
{
    if (!WindowValid(window)) {
        *rect = {0, 0, 0, 0};
        return;
    }
    *rect = {0, 0, HeadlessClientWidth(window), HeadlessClientHeight(window)};
}

WindowHandle PlatformWorkspace(void)
{
    return HeadlessWorkspaceRecord;
}

// A child of the workspace: a window of the child or document class without a parent.
static int IsChild(const PlatformWindow *window)
{
    return window->used && window->parent == nullptr &&
           (window->windowClass == CLASS_CHILD || window->windowClass == CLASS_DOCUMENT);
}

// The child after the one of order (front to back), or null.
static WindowHandle ChildAfter(int order, int includeEqual)
{
    WindowHandle best = nullptr;
    for (int i = 0; i < WindowTableReached; i++) {
        PlatformWindow *window = &WindowTable[i];
        if (!IsChild(window)) continue;
        if (includeEqual ? window->side->order < order : window->side->order <= order) continue;
        if (best == nullptr || window->side->order < best->side->order) best = window;
    }
    return best;
}

WindowHandle PlatformFirstChild(void)
{
    return ChildAfter(-2147483647 - 1, 1);
}

WindowHandle PlatformNextChild(WindowHandle window)
{
    if (!WindowValid(window)) return nullptr;
    return ChildAfter(window->side->order, 0);
}

void PlatformActivateWindow(WindowHandle window)
{
    if (!WindowValid(window) || !IsChild(window)) return;
    window->side->order = --NextOrder;
    WindowActivationPass(window);
}

void PlatformSetFocus(WindowHandle window)
{
    WindowHandle old = Focus;
    Focus = WindowValid(window) ? window : nullptr;
    if (old != Focus && WindowValid(old)) WindowDeliver(old, MSG_KILL_FOCUS, 0, 0);
    if (old != Focus && Focus != nullptr) WindowDeliver(Focus, MSG_SET_FOCUS, 0, 0);
}

WindowHandle PlatformFocusWindow(void)
{
    return WindowValid(Focus) ? Focus : nullptr;
}

void PlatformSetFocusFromKey(WindowHandle window)
{
    PlatformSetFocus(window);
}

void PlatformSetCapture(WindowHandle window)
{
    Capture = WindowValid(window) ? window : nullptr;
}

void PlatformReleaseCapture(void)
{
    Capture = nullptr;
}

uint32_t PlatformKeyState(void)
{
    return HeadlessKeys;
}

int HeadlessDeliverPosted(void)
{
    // Messages posted while delivering wait for the next call, so that a message that posts
    // itself cannot keep this loop going for ever.
    return WindowPostedDeliver(WindowPostedCount());
}

void HeadlessSetWorkspaceSize(int width, int height)
{
    if (HeadlessWorkspaceRecord != nullptr)
        HeadlessWorkspaceRecord->side->rect = {0, 0, width, height};
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
    for (int i = 0; i < WindowTableReached; i++)
        count += WindowTable[i].used && WindowTable[i].windowClass != RECORD_CONTROL &&
                 WindowTable[i].windowClass != RECORD_WORKSPACE;
    return count;
}

WindowHandle HeadlessFrame(void)
{
    return HeadlessFrameRecord;
}

WindowHandle HeadlessFindWindow(const char *title)
{
    for (int i = 0; i < WindowTableReached; i++) {
        PlatformWindow *window = &WindowTable[i];
        if (window->used && window->windowClass != RECORD_CONTROL &&
            window->windowClass != RECORD_WORKSPACE && strcmp(window->title, title) == 0)
            return window;
    }
    return nullptr;
}

WindowHandle HeadlessBareWindow(int kind, int slot, const char *title)
{
    PlatformWindow *window = WindowAllocate();
    if (window == nullptr) return nullptr;
    window->windowClass = RECORD_BARE;
    window->words[WORD_KIND] = kind;
    window->words[WORD_SLOT] = slot;
    window->side->rect = {0, 0, 400, 400};
    window->side->state = SHOW_NORMAL;
    WindowTitleStore(window, title);
    return window;
}

int HeadlessTimer(WindowHandle window, int id)
{
    return WindowTimerPeriod(window, id);
}

void HeadlessFireTimer(WindowHandle window, int id)
{
    if (HeadlessTimer(window, id) > 0) WindowDeliver(window, MSG_TIMER, (uintptr_t)id, 0);
}

WindowHandle HeadlessCapture(void)
{
    return WindowValid(Capture) ? Capture : nullptr;
}

void HeadlessMouse(WindowHandle window, uint32_t message, int x, int y, uint32_t keys)
{
    WindowHandle target = WindowValid(Capture) ? Capture : window;
    WindowDeliver(target, message, keys, MakeParam(x, y));
}

void PlatformSetTimer(WindowHandle window, int id, int milliseconds)
{
    WindowTimerSet(window, id, milliseconds);
}

void PlatformKillTimer(WindowHandle window, int id)
{
    WindowTimerKill(window, id);
}

void WindowSideTimerStop(int index)
{
    (void)index; // a timer here runs only when a test fires it
}
