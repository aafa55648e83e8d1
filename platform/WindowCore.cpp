// The window system's common half: records, procedures, creation and destruction, posted
// messages, timers, activation and the controls of a window. The platform's own steps come
// in through the WindowSide functions.
#include "platform/WindowCore.h"

#include <cstdio>
#include <cstring>

PlatformWindow WindowTable[WINDOW_TABLE_SIZE];
int WindowTableReached;

struct PostedMessage {
    WindowHandle window;
    uint32_t serial;
    uint32_t message;
    uintptr_t wParam;
    intptr_t lParam;
};

struct WindowTimer {
    WindowHandle window;
    uint32_t serial;
    int id;
    int milliseconds; // 0 for a free entry
};

static const int DEFAULT_SIZE = 400; // pixels of a window made without a size
static const int STAGGER = 24;       // pixels between the default places of new children
static const int STAGGER_STEPS = 10; // places before the stagger starts again at the corner

static void TimerFree(int index);

static WindowProcedure Procedures[CLASS_COUNT];
static uint32_t NextSerial = 1;
static PostedMessage Posted[WINDOW_POST_QUEUE];
static int PostedFirst;
static int PostedCount;
static WindowTimer Timers[WINDOW_TIMER_COUNT];
static WindowHandle Active;
static int DefaultPlacement;

// ---------------------------------------------------------------------------------------
// Records.

PlatformWindow *WindowAllocate(void)
{
    for (int i = 0; i < WINDOW_TABLE_SIZE; i++) {
        PlatformWindow *window = &WindowTable[i];
        if (window->used) continue;
        if (i >= WindowTableReached) WindowTableReached = i + 1;
        memset(window, 0, sizeof *window);
        window->used = 1;
        window->serial = NextSerial++;
        window->controlType = -1;
        window->words[WORD_SLOT] = -1;
        window->side = WindowSideAt(i);
        WindowSideClear(window);
        return window;
    }
    return nullptr;
}

void WindowRelease(PlatformWindow *window)
{
    WindowSideRelease(window);
    window->used = 0;
    // A handle kept past the window's end no longer matches, even before the record is
    // used again.
    window->serial = NextSerial++;
}

PlatformWindow *WindowControlAllocate(WindowHandle parent, int type, int id, const char *text,
                                      uint32_t style)
{
    if (!WindowValid(parent)) return nullptr;
    PlatformWindow *control = WindowAllocate();
    if (control == nullptr) return nullptr;
    control->windowClass = RECORD_CONTROL;
    control->controlType = type;
    control->controlId = id;
    control->style = style;
    control->parent = parent;
    WindowTitleStore(control, text);
    return control;
}

PlatformWindow *WindowProgressAllocate(const char *title, const ProgressState *state)
{
    PlatformWindow *window = WindowAllocate();
    if (window == nullptr) return nullptr;
    window->windowClass = RECORD_PROGRESS;
    window->words[WORD_KIND] = WINDOW_KIND_PROGRESS;
    window->progress = state;
    WindowTitleStore(window, title);
    return window;
}

int WindowValid(WindowHandle window)
{
    return window != nullptr && window >= WindowTable && window < WindowTable + WINDOW_TABLE_SIZE &&
           window->used;
}

int WindowAlive(WindowHandle window, uint32_t serial)
{
    return WindowValid(window) && window->serial == serial;
}

void WindowTitleStore(WindowHandle window, const char *title)
{
    if (WindowValid(window))
        snprintf(window->title, sizeof window->title, "%s", title != nullptr ? title : "");
}

// ---------------------------------------------------------------------------------------
// Procedures and messages.

void PlatformRegisterClass(int windowClass, WindowProcedure procedure)
{
    if (windowClass >= 0 && windowClass < CLASS_COUNT) Procedures[windowClass] = procedure;
}

void WindowProceduresForget(void)
{
    memset(Procedures, 0, sizeof Procedures);
}

MessageResult WindowDeliver(WindowHandle window, uint32_t message, uintptr_t wParam,
                            intptr_t lParam)
{
    if (!WindowValid(window)) return 0;
    WindowProcedure procedure = nullptr;
    if (window->windowClass >= 0 && window->windowClass < CLASS_COUNT)
        procedure = Procedures[window->windowClass];
    if (procedure == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    return procedure(window, message, wParam, lParam);
}

MessageResult PlatformSendMessage(WindowHandle window, uint32_t message, uintptr_t wParam,
                                  intptr_t lParam)
{
    return WindowDeliver(window, message, wParam, lParam);
}

MessageResult PlatformDefaultProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                       intptr_t lParam)
{
    (void)wParam;
    (void)lParam;
    if (message == MSG_CLOSE) PlatformDestroyWindow(window);
    return 0;
}

int WindowPost(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    if (!WindowValid(window) || PostedCount == WINDOW_POST_QUEUE) return 0;
    PostedMessage *posted = &Posted[(PostedFirst + PostedCount) % WINDOW_POST_QUEUE];
    *posted = {window, window->serial, message, wParam, lParam};
    PostedCount++;
    return 1;
}

int WindowPostedCount(void)
{
    return PostedCount;
}

int WindowPostedDeliver(int count)
{
    int delivered = 0;
    for (int i = 0; i < count && PostedCount > 0; i++) {
        PostedMessage posted = Posted[PostedFirst];
        PostedFirst = (PostedFirst + 1) % WINDOW_POST_QUEUE;
        PostedCount--;
        // A message for a window that has gone is dropped, also when its record holds a
        // newer window now.
        if (!WindowAlive(posted.window, posted.serial)) continue;
        WindowDeliver(posted.window, posted.message, posted.wParam, posted.lParam);
        delivered++;
    }
    return delivered;
}

// ---------------------------------------------------------------------------------------
// Creation and destruction.

void WindowDefaultPlace(const WindowCreate *request, Rect *place)
{
    int width = request->width == WINDOW_DEFAULT ? DEFAULT_SIZE : request->width;
    int height = request->height == WINDOW_DEFAULT ? DEFAULT_SIZE : request->height;
    int x = request->x;
    int y = request->y;
    if (x == WINDOW_DEFAULT || y == WINDOW_DEFAULT)
        x = y = (DefaultPlacement++ % STAGGER_STEPS) * STAGGER;
    *place = {x, y, x + width, y + height};
}

WindowHandle PlatformCreateWindow(const WindowCreate *request)
{
    PlatformWindow *window = WindowAllocate();
    if (window == nullptr) return nullptr;
    uint32_t serial = window->serial;
    window->windowClass = request->windowClass;
    window->words[WORD_KIND] = request->kind;
    window->words[WORD_SLOT] = request->slot;
    window->style = request->style;
    window->parent = request->parent;
    window->controlId = request->controlId;
    WindowTitleStore(window, request->title);
    if (!WindowSideMake(window, request)) {
        WindowRelease(window);
        return nullptr;
    }
    // The procedure may refuse, or destroy the window itself, while it is being made.
    if (WindowDeliver(window, MSG_CREATE, 0, (intptr_t)request) == -1) {
        if (WindowAlive(window, serial)) PlatformDestroyWindow(window);
        return nullptr;
    }
    if (!WindowAlive(window, serial)) return nullptr;
    WindowSideCreated(window, request);
    return WindowAlive(window, serial) ? window : nullptr;
}

void PlatformDestroyWindow(WindowHandle window)
{
    if (!WindowValid(window) || window->windowClass == RECORD_WORKSPACE) return;
    uint32_t serial = window->serial;
    WindowDeliver(window, MSG_DESTROY, 0, 0);
    if (!WindowAlive(window, serial)) return;
    // Its controls, custom controls and owned windows go with it.
    for (int i = 0; i < WindowTableReached; i++) {
        PlatformWindow *child = &WindowTable[i];
        if (child->used && child->parent == window) PlatformDestroyWindow(child);
    }
    for (int i = 0; i < WINDOW_TIMER_COUNT; i++)
        if (Timers[i].milliseconds > 0 && Timers[i].window == window) TimerFree(i);
    int wasActive = Active == window;
    if (wasActive) Active = nullptr;
    WindowSideDestroying(window);
    WindowRelease(window);
    // A destroyed active child hands the activation to the child now in front.
    if (wasActive) {
        WindowHandle next = PlatformFirstChild();
        if (next != nullptr) PlatformActivateWindow(next);
    }
}

int PlatformWindowExists(WindowHandle window)
{
    return WindowValid(window);
}

// ---------------------------------------------------------------------------------------
// Words and titles.

intptr_t PlatformGetWindowWord(WindowHandle window, int index)
{
    if (!WindowValid(window) || index < 0 || index >= WINDOW_WORD_COUNT) return 0;
    return window->words[index];
}

void PlatformSetWindowWord(WindowHandle window, int index, intptr_t value)
{
    if (!WindowValid(window) || index < 0 || index >= WINDOW_WORD_COUNT) return;
    window->words[index] = value;
}

void PlatformGetWindowTitle(WindowHandle window, char *text, int size)
{
    if (size <= 0) return;
    if (!WindowValid(window)) {
        text[0] = 0;
        return;
    }
    snprintf(text, (size_t)size, "%s", window->title);
}

int PlatformWindowClass(WindowHandle window)
{
    if (!WindowValid(window)) return -1;
    return window->windowClass >= 0 ? window->windowClass : -1;
}

WindowHandle PlatformWindowParent(WindowHandle window)
{
    return WindowValid(window) ? window->parent : nullptr;
}

// ---------------------------------------------------------------------------------------
// Timers.

static WindowTimer *TimerFind(WindowHandle window, int id)
{
    for (int i = 0; i < WINDOW_TIMER_COUNT; i++) {
        WindowTimer *timer = &Timers[i];
        if (timer->milliseconds > 0 && timer->window == window && timer->id == id &&
            WindowAlive(window, timer->serial))
            return timer;
    }
    return nullptr;
}

static void TimerFree(int index)
{
    Timers[index] = {};
    WindowSideTimerStop(index);
}

int WindowTimerSet(WindowHandle window, int id, int milliseconds)
{
    if (!WindowValid(window)) return -1;
    if (milliseconds < 1) milliseconds = 1;
    WindowTimer *timer = TimerFind(window, id);
    for (int i = 0; timer == nullptr && i < WINDOW_TIMER_COUNT; i++)
        if (Timers[i].milliseconds == 0) timer = &Timers[i];
    if (timer == nullptr) return -1;
    *timer = {window, window->serial, id, milliseconds};
    return (int)(timer - Timers);
}

void WindowTimerKill(WindowHandle window, int id)
{
    WindowTimer *timer = TimerFind(window, id);
    if (timer != nullptr) TimerFree((int)(timer - Timers));
}

int WindowTimerPeriod(WindowHandle window, int id)
{
    WindowTimer *timer = TimerFind(window, id);
    return timer != nullptr ? timer->milliseconds : 0;
}

void WindowTimerFire(int index)
{
    if (index < 0 || index >= WINDOW_TIMER_COUNT) return;
    WindowTimer *timer = &Timers[index];
    if (timer->milliseconds == 0 || !WindowAlive(timer->window, timer->serial)) return;
    WindowDeliver(timer->window, MSG_TIMER, (uintptr_t)timer->id, 0);
}

// ---------------------------------------------------------------------------------------
// Activation.

void WindowActivationPass(WindowHandle window)
{
    if (!WindowValid(window) || Active == window) return;
    WindowHandle old = Active;
    Active = window;
    if (WindowValid(old)) WindowDeliver(old, MSG_ACTIVATE, (uintptr_t)old, (intptr_t)window);
    WindowDeliver(window, MSG_ACTIVATE, (uintptr_t)old, (intptr_t)window);
}

WindowHandle PlatformActiveWindow(void)
{
    return WindowValid(Active) ? Active : nullptr;
}

// ---------------------------------------------------------------------------------------
// Controls: the platform's own and the custom ones, which are windows of CLASS_CONTROL.

static int IsControl(const PlatformWindow *window)
{
    return window->windowClass == RECORD_CONTROL || window->windowClass == CLASS_CONTROL;
}

WindowHandle PlatformControl(WindowHandle parent, int id)
{
    if (!WindowValid(parent)) return nullptr;
    for (int i = 0; i < WindowTableReached; i++) {
        PlatformWindow *window = &WindowTable[i];
        if (window->used && window->parent == parent && window->controlId == id &&
            IsControl(window))
            return window;
    }
    return nullptr;
}

WindowHandle PlatformNextControl(WindowHandle parent, WindowHandle control)
{
    if (!WindowValid(parent)) return nullptr;
    // Serials rise with each window made, so the next is the least serial above control's.
    uint32_t after = WindowValid(control) ? control->serial : 0;
    WindowHandle next = nullptr;
    for (int i = 0; i < WindowTableReached; i++) {
        PlatformWindow *window = &WindowTable[i];
        if (!window->used || window->parent != parent || window->serial <= after) continue;
        if (!IsControl(window)) continue;
        if (next == nullptr || window->serial < next->serial) next = window;
    }
    return next;
}

int PlatformControlType(WindowHandle control)
{
    return WindowValid(control) && control->windowClass == RECORD_CONTROL ? control->controlType
                                                                          : -1;
}

int PlatformControlId(WindowHandle control)
{
    return WindowValid(control) && IsControl(control) ? control->controlId : -1;
}

// ---------------------------------------------------------------------------------------
// Painting and the reset.

int WindowInvalidAdd(WindowHandle window, const Rect *rect, int width, int height)
{
    if (!WindowValid(window)) return 0;
    Rect part = rect != nullptr ? *rect : Rect{0, 0, width, height};
    if (part.left < 0) part.left = 0;
    if (part.top < 0) part.top = 0;
    if (part.right > width) part.right = width;
    if (part.bottom > height) part.bottom = height;
    if (part.right <= part.left || part.bottom <= part.top) return 0;
    if (window->hasInvalid) {
        Rect *into = &window->invalid;
        if (part.left > into->left) part.left = into->left;
        if (part.top > into->top) part.top = into->top;
        if (part.right < into->right) part.right = into->right;
        if (part.bottom < into->bottom) part.bottom = into->bottom;
    }
    window->invalid = part;
    window->hasInvalid = 1;
    return 1;
}

void WindowCoreReset(void)
{
    WindowProceduresForget();
    for (int i = 0; i < WINDOW_TIMER_COUNT; i++)
        if (Timers[i].milliseconds > 0) TimerFree(i);
    for (int i = 0; i < WindowTableReached; i++)
        if (WindowTable[i].used) WindowRelease(&WindowTable[i]);
    WindowTableReached = 0;
    PostedFirst = PostedCount = 0;
    Active = nullptr;
    DefaultPlacement = 0;
}
