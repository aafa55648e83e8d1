// The progress window's arithmetic: the bar, the time left and the abort flag. The platform
// only paints the state and reports the Cancel button.
#include "ui/ProgressWindow.h"

#include <cstring>

#include "core/FormatString.h"
#include "core/Progress.h"
#include "core/Text.h"

WindowHandle ProgressWindow = nullptr;

// The one open window's state; one is all there can be.
static ProgressState State;

static const int PROGRESS_BAR_WIDTH = 300; // pixels of the client area's width

// The cursor of work too small for the window.
static void ProgressWindowCursor(int wait)
{
    PlatformSetCursor(wait ? CURSOR_WAIT : CURSOR_ARROW);
}

const ProgressState *ProgressCurrent(void)
{
    return ProgressWindow != nullptr ? &State : nullptr;
}

WindowHandle ProgressWindowOpen(int first, int last, const char *title, int canAbort)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    if (ProgressWindow != nullptr) ProgressWindowClose();

    memset(&State, 0, sizeof State);
    State.first = first;
    State.last = last;
    State.current = first;
    State.hoursShown = State.minutesShown = State.secondsShown = -1;
    State.canAbort = canAbort;
    State.startTicks = PlatformTickCount();
    StrCopyLimit(title, State.title, sizeof State.title - 1);

    // Cancel at the left of the first row, the bar in the rest of it, the time below.
    int rowTop = metrics.margin;
    int rowBottom = rowTop + metrics.buttonHeight;
    int barLeft = metrics.margin;
    if (canAbort) {
        int buttonWidth = PlatformTextWidth("Cancel", 6) + 2 * metrics.margin;
        State.cancelRect = {metrics.margin, rowTop, metrics.margin + buttonWidth, rowBottom};
        barLeft = State.cancelRect.right + metrics.margin;
    }
    State.frameRect = {barLeft, rowTop, PROGRESS_BAR_WIDTH - metrics.margin, rowBottom};
    State.barRect = {State.frameRect.left + 2, State.frameRect.top + 2,
                     State.frameRect.right - 2, State.frameRect.bottom - 2};
    State.textRect = {0, rowBottom + metrics.margin, PROGRESS_BAR_WIDTH,
                      rowBottom + metrics.margin + metrics.lineHeight};
    State.barFilled = State.barRect.left;

    int width = PROGRESS_BAR_WIDTH + metrics.dialogFrame;
    int height =
        metrics.dialogBorder + metrics.buttonHeight + metrics.lineHeight + 3 * metrics.margin;
    ProgressWindow = PlatformProgressCreate(title, width, height, &State);
    ProgressWindowCursor(1);
    return ProgressWindow;
}

static int Limit(int value, int first, int last)
{
    return value < first ? first : (value > last ? last : value);
}

ErrorCode ProgressWindowStep(int value)
{
    if (ProgressWindow == nullptr) return ERROR_NONE;
    int repaint = value == State.first; // the first step paints at once

    // Extend the bar; a value outside the range moves it only to the range's end. Black
    // is only ever added, so a step back leaves the bar where it stood. A step that adds
    // no pixel column asks for no paint: most rows of a big picture move the bar by less.
    int from = Limit(State.current, State.first, State.last);
    int to = Limit(value, State.first, State.last);
    if (from < to) {
        int64_t width = State.barRect.right - State.barRect.left;
        int64_t range = (int64_t)State.last - State.first;
        int filled = State.barRect.left + (int)(((int64_t)to - State.first) * width / range);
        if (filled > State.barFilled) {
            State.barFilled = filled;
            repaint = 1;
        }
    }
    State.current = value;

    if (value != State.first) {
        int hours;
        int minutes;
        int seconds;
        // Unsigned subtraction: the wrap of the tick counter does no harm.
        uint32_t elapsed = PlatformTickCount() - State.startTicks;
        ProgressTimeLeft(elapsed, State.first, State.last, value, &hours, &minutes, &seconds);
        if (hours != State.hoursShown || minutes != State.minutesShown ||
            seconds != State.secondsShown) {
            FormatString(State.timeText, sizeof State.timeText, "Time left: %2d:%2d:%2d", hours,
                         minutes, seconds);
            State.hoursShown = hours;
            State.minutesShown = minutes;
            State.secondsShown = seconds;
            repaint = 1;
        }
    }
    if (repaint) PlatformProgressRepaint(ProgressWindow);
    // Only a Cancel button can abort; work that may not be aborted has none.
    if (PlatformProgressPump(ProgressWindow) && State.canAbort) State.aborted = 1;
    return State.aborted ? ERROR_ABORTED : ERROR_NONE;
}

void ProgressWindowClose(void)
{
    ProgressWindowCursor(0);
    if (ProgressWindow == nullptr) return;
    PlatformProgressDestroy(ProgressWindow);
    ProgressWindow = nullptr;
}

// The hooks of progress: the window's open returns a handle that work has no use for.
static void ProgressWindowOpenHook(int first, int last, const char *title, int canAbort)
{
    ProgressWindowOpen(first, last, title, canAbort);
}

static const ProgressHooks PROGRESS_WINDOW_HOOKS = {ProgressWindowOpenHook, ProgressWindowStep,
                                                    ProgressWindowClose, ProgressWindowCursor,
                                                    PlatformPumpMessages};

void ProgressWindowInstall(void)
{
    ProgressInstall(&PROGRESS_WINDOW_HOOKS);
}
