// Progress of a long piece of work on the main thread, and the cursor of a short one.
//
// Work that touches PROGRESS_PIXELS or more opens progress, steps it once per row and stops
// when a step answers ERROR_ABORTED; smaller work shows the wait cursor instead. A reader
// that takes long without rows to count lets the interface breathe by ProgressPump. What
// these calls show is the program's business, given by the hooks it installs: the editor a
// progress window (ui/ProgressWindow.h), vistel-cli a bar on stderr. With no hooks installed
// they do nothing, and a step never aborts.
#pragma once

#include <cstdint>

#include "core/Errors.h"

struct ProgressHooks {
    void (*open)(int first, int last, const char *title, int canAbort);
    ErrorCode (*step)(int value); // ERROR_ABORTED once the user has asked to stop
    void (*close)(void);
    void (*cursor)(int wait); // 1 the wait cursor, 0 the arrow
    void (*pump)(void);       // lets the interface handle its messages
};

// Installs the hooks every call below goes through; null installs none. The table must live
// as long as it is installed.
void ProgressInstall(const ProgressHooks *hooks);

// Opens progress over the range first..last under title, with a Cancel button when
// canAbort is set, and shows the wait cursor.
void ProgressOpen(int first, int last, const char *title, int canAbort);

// Moves progress to value. Returns ERROR_ABORTED once Cancel has been pressed, else
// ERROR_NONE.
ErrorCode ProgressStep(int value);

// Shows the arrow cursor and closes progress.
void ProgressClose(void);

// Lets the interface handle its messages during a long read.
void ProgressPump(void);

// The time left after elapsedTicks milliseconds at value of first..last: hours, minutes and
// seconds as a progress window shows them (seconds counting 1 to 60).
void ProgressTimeLeft(uint32_t elapsedTicks, int first, int last, int value, int *hours,
                      int *minutes, int *seconds);

// Cursors for work too small for progress.
void SetWaitCursor(void);
void SetArrowCursor(void);
