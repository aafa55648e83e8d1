// The half of the window system that is the same on every platform, with or without a
// screen: the table of window records with their words, titles and serials, the procedures
// of the classes and the delivery of a message to one, the creation and destruction of a
// window in the order of messages the procedures expect, the queue of posted messages, the
// timers, the active child, the controls of a window, and the part of a client waiting to
// be painted.
//
// A platform keeps its own part of every record (its WindowSide: widgets on Qt, geometry
// and a canvas without a screen) and supplies the few steps that differ as the WindowSide
// functions at the end, which exactly one linked platform defines.
#pragma once

#include <cstdint>

#include "core/Helpers.h"
#include "core/Progress.h"
#include "platform/Platform.h"

constexpr int WINDOW_TABLE_SIZE = 4096; // records; a window beyond is not made
constexpr int WINDOW_POST_QUEUE = 4096; // posted messages waiting; a post beyond is dropped
constexpr int WINDOW_TIMER_COUNT = 256; // timers running at once

// Kinds of record besides the window classes of Platform.h, all below zero so that
// PlatformWindowClass answers -1 for them.
enum : int32_t {
    RECORD_CONTROL = -1,   // a control of the platform's own (button, edit, list ...)
    RECORD_WORKSPACE = -2, // the workspace that holds the children
    RECORD_PROGRESS = -3,  // the progress window
    RECORD_BARE = -4,      // a window that gets no messages, for code that needs a handle
};

struct WindowSide; // the platform's own part of a record

struct PlatformWindow {
    int used;
    uint32_t serial; // tells a handle from a later window in the same record
    int windowClass; // CLASS_*, or RECORD_*
    int controlType; // CONTROL_* of a platform control, else -1
    int controlId;   // its id in the parent's MSG_COMMAND
    intptr_t words[WINDOW_WORD_COUNT];
    uint32_t style; // STYLE_* of a window, ALIGN_* and CONTROL_DEFAULT of a control
    WindowHandle parent;
    char title[WINDOW_TITLE_MAX + 1];
    int hasInvalid;
    Rect invalid;                  // the part of the client waiting for MSG_PAINT
    const ProgressState *progress; // what a progress window paints
    WindowSide *side;              // the platform's part, the same for the record's life
};

extern PlatformWindow WindowTable[WINDOW_TABLE_SIZE];
// One past the highest record ever used: searches look no further, so that a test does not
// walk thousands of records that were never touched.
extern int WindowTableReached;

// A cleared record marked used with a new serial, its side cleared by WindowSideClear; null
// when the table is full.
PlatformWindow *WindowAllocate(void);

// Frees a record (WindowSideRelease first); a handle of it is no longer valid.
void WindowRelease(PlatformWindow *window);

// 1 while window names a used record; WindowAlive also asks that it is still the window of
// that serial, not a later one in the same record.
int WindowValid(WindowHandle window);
int WindowAlive(WindowHandle window, uint32_t serial);

// A record for a control of the platform's own in parent, or for the progress window, with
// what every platform keeps of it; null when parent does not exist or the table is full.
PlatformWindow *WindowControlAllocate(WindowHandle parent, int type, int id, const char *text,
                                      uint32_t style);
PlatformWindow *WindowProgressAllocate(const char *title, const ProgressState *state);

// Keeps title as the window's title, cut to WINDOW_TITLE_MAX characters; null is empty.
void WindowTitleStore(WindowHandle window, const char *title);

// Calls the procedure of the window's class, or PlatformDefaultProcedure when the class has
// none (controls, the workspace); 0 for a window that does not exist.
MessageResult WindowDeliver(WindowHandle window, uint32_t message, uintptr_t wParam,
                            intptr_t lParam);

// Forgets the procedures, so that windows destroyed afterwards hear nothing.
void WindowProceduresForget(void);

// The place of a new window: the request's, with WINDOW_DEFAULT sizes made 400 and new
// children without a place of their own staggered down and right.
void WindowDefaultPlace(const WindowCreate *request, Rect *place);

// Queues a message for a window that exists; 1 when queued, 0 when the window does not
// exist or the queue is full.
int WindowPost(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam);
int WindowPostedCount(void);
// Takes up to count messages from the front of the queue and delivers those whose window is
// still the one they were posted to; returns how many were delivered. Messages posted
// meanwhile wait behind.
int WindowPostedDeliver(int count);

// Starts a timer of window, or gives a running one of the same id a new period (at least 1
// millisecond). Returns the timer's index, which stays its own until it is killed, or -1
// when the window does not exist or every timer runs.
int WindowTimerSet(WindowHandle window, int id, int milliseconds);
// Stops the timer (WindowSideTimerStop) and frees its index.
void WindowTimerKill(WindowHandle window, int id);
// The period of a running timer, or 0.
int WindowTimerPeriod(WindowHandle window, int id);
// Sends MSG_TIMER for the timer at index, when it runs and its window is still there.
void WindowTimerFire(int index);

// Makes window the active child once the platform has brought it to the front: MSG_ACTIVATE
// to the window losing and the window gaining, nothing when it was already active.
void WindowActivationPass(WindowHandle window);

// Adds the part rect (null: all) of a client of width by height to what waits to be
// painted; 0 when nothing of it lies inside the client.
int WindowInvalidAdd(WindowHandle window, const Rect *rect, int width, int height);

// Releases every record, timer and posted message and forgets the procedures and the active
// child, without a message to anyone.
void WindowCoreReset(void);

// ---------------------------------------------------------------------------------------
// What each platform supplies.

// The side of the record at index in WindowTable, cleared for a new window; and released
// (what it owns freed) when the window goes.
WindowSide *WindowSideAt(int index);
void WindowSideClear(WindowHandle window);
void WindowSideRelease(WindowHandle window);

// Makes the platform's part of a new window from request before MSG_CREATE; 0 when it
// cannot, and the window is not made.
int WindowSideMake(WindowHandle window, const WindowCreate *request);

// After MSG_CREATE: tells the window its size and place and shows it unless hidden.
void WindowSideCreated(WindowHandle window, const WindowCreate *request);

// A window is going, after MSG_DESTROY, its controls and its timers: the platform lets go
// of it (capture, focus, modal loop) and disposes of its widgets.
void WindowSideDestroying(WindowHandle window);

// A timer at index stops.
void WindowSideTimerStop(int index);
