// The progress window that keeps a long piece of work alive on the main thread: the editor's
// way of showing the progress of core/Progress.h, installed by ProgressWindowInstall. There
// is at most one progress window: ProgressWindow is null when none is open.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Helpers.h"
#include "platform/Platform.h"
#include "ui/UiLayer.h"

struct ProgressState {
    int32_t first;   // first value of the range
    int32_t last;    // last value of the range
    int32_t current; // last value shown, starts at first
    int32_t hoursShown;
    int32_t minutesShown;
    int32_t secondsShown; // the time on display, -1 until the first estimate
    int32_t canAbort;     // 1 when the window has its Cancel button
    int32_t aborted;      // set when Cancel is pressed
    Rect cancelRect;      // the Cancel button, empty when the work cannot be aborted
    Rect barRect;         // the inside of the bar
    Rect frameRect;       // the white box around it, 2 pixels larger each way
    Rect textRect;        // where the time left is drawn
    int32_t barFilled;    // pixel column up to which the bar is black, barRect.left at first
    uint32_t startTicks;  // tick count at creation
    char title[81];
    char timeText[32];    // "Time left: 00:00:00", empty until the first estimate
};

extern WindowHandle ProgressWindow;

// Opens the progress window for the range first..last under title, with a Cancel button when
// canAbort is set, and sets the wait cursor. Returns the window.
WindowHandle ProgressWindowOpen(int first, int last, const char *title, int canAbort);

// Moves the bar to value, refreshes the time left and lets the window handle its messages.
// Returns ERROR_ABORTED once Cancel has been pressed, else ERROR_NONE.
ErrorCode ProgressWindowStep(int value);

// Sets the arrow cursor and closes the window.
void ProgressWindowClose(void);

// The state of the open window, or null.
const ProgressState *ProgressCurrent(void);

// Makes progress (core/Progress.h) the progress window, the cursor the platform's, and the
// pump of long reads the platform's message pump.
void ProgressWindowInstall(void);
