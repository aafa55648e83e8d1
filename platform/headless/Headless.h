// The platform without a screen, for the tests and vistel-cli.
//
// Windows are records, dialogs are recorded and answered from a script, the clock can be
// set by hand, and a progress window's Cancel button can be pressed at a chosen step. In
// console mode (vistel-cli) messages also go to stderr and progress draws a bar there when
// stderr is a terminal.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Progress.h"

constexpr int HEADLESS_MESSAGE_LOG = 64; // the newest messages kept for inspection

struct HeadlessMessage {
    char title[MESSAGE_TITLE_MAX + 1];
    char text[MESSAGE_TEXT_MAX + 1];
    int kind;   // MESSAGE_*
    int answer; // the ANSWER_* given
    MessageLayout layout;
};

struct HeadlessProgressRecord {
    char title[81];
    int width;            // pixels of the window, frame included
    int height;
    int repaints;         // times the platform was asked to paint it
    int pumps;            // times its messages were pumped
    int open;             // 1 until it is destroyed
    ProgressState last;   // the state at the last paint, pump or destroy
};

// Forgets every record and script, closes every window, and leaves console mode off.
void HeadlessReset(void);

// vistel-cli: echo messages to stderr, and draw progress there when it is a terminal.
void HeadlessSetConsole(int echoMessages, int progressBar);

// Messages shown since the reset, the newest last; index 0 is the oldest kept.
int HeadlessMessageCount(void);
const HeadlessMessage *HeadlessMessageAt(int index);
const HeadlessMessage *HeadlessLastMessage(void);

// Queues the answer to the next message; without one a message gets its first button.
void HeadlessQueueAnswer(int answer);

// The cursor now, and how often the wait cursor was set since the reset.
int HeadlessCursor(void);
int HeadlessWaitCursorCount(void);

// Fixes the clock at ticks; from then on only HeadlessSetTicks moves it.
void HeadlessSetTicks(uint32_t ticks);

// Presses Cancel of the next progress window during its pump number pump (0 is the first).
// -1 presses nothing.
void HeadlessAbortAtPump(int pump);

// Progress windows opened since the reset.
int HeadlessProgressCount(void);
const HeadlessProgressRecord *HeadlessProgressAt(int index);

// Times PlatformPumpMessages was called since the reset.
int HeadlessPumpCount(void);

// Windows alive now.
int HeadlessWindowCount(void);

// The settings store is kept in the text file at path, one value a line as key, name and
// value separated by tabs, with backslash, tab, line feed and carriage return escaped. Each
// write rewrites the file safely. Without a file (after a reset) the store is empty and
// writes are dropped, so that no test touches the user's own settings.
void HeadlessSetSettingsFile(const char *path);

// The folder PlatformSettingsFolder answers; empty after a reset.
void HeadlessSetSettingsFolder(const char *path);

// Holds the Shift key down (1) or lets it go (0); up after a reset.
void HeadlessSetShift(int down);
