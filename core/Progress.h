// The progress window that keeps a long piece of work alive on the main thread.
//
// Work that touches PROGRESS_PIXELS or more opens it, steps it once per row and stops when a
// step answers ERROR_ABORTED; smaller work shows the wait cursor instead. There is at most
// one progress window: ProgressWindow is null when none is open.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Helpers.h"
#include "platform/Platform.h"

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
// canAbort is set. Returns the window.
WindowHandle ProgressOpen(int first, int last, const char *title, int canAbort);

// Moves the bar to value, refreshes the time left and lets the window handle its messages.
// Returns ERROR_ABORTED once Cancel has been pressed, else ERROR_NONE.
ErrorCode ProgressStep(int value);

// Sets the arrow cursor and closes the window.
void ProgressClose(void);

// The state of the open window, or null.
const ProgressState *ProgressCurrent(void);

// The time left after elapsedTicks milliseconds at value of first..last: hours, minutes and
// seconds as the window shows them (seconds counting 1 to 60).
void ProgressTimeLeft(uint32_t elapsedTicks, int first, int last, int value, int *hours,
                      int *minutes, int *seconds);

// Cursors for work too small for a progress window.
void SetWaitCursor(void);
void SetArrowCursor(void);
