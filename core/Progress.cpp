// Progress and cursors through the hooks the program installed, and the time-left arithmetic
// that every way of showing progress shares.
#include "core/Progress.h"

#include "core/Helpers.h"

static const ProgressHooks *Hooks; // null until the program installs its own

void ProgressInstall(const ProgressHooks *hooks)
{
    Hooks = hooks;
}

void ProgressOpen(int first, int last, const char *title, int canAbort)
{
    if (Hooks != nullptr && Hooks->open != nullptr) Hooks->open(first, last, title, canAbort);
}

ErrorCode ProgressStep(int value)
{
    if (Hooks == nullptr || Hooks->step == nullptr) return ERROR_NONE;
    return Hooks->step(value);
}

void ProgressClose(void)
{
    if (Hooks != nullptr && Hooks->close != nullptr) Hooks->close();
}

void ProgressPump(void)
{
    if (Hooks != nullptr && Hooks->pump != nullptr) Hooks->pump();
}

void SetWaitCursor(void)
{
    if (Hooks != nullptr && Hooks->cursor != nullptr) Hooks->cursor(1);
}

void SetArrowCursor(void)
{
    if (Hooks != nullptr && Hooks->cursor != nullptr) Hooks->cursor(0);
}

void ProgressTimeLeft(uint32_t elapsedTicks, int first, int last, int value, int *hours,
                      int *minutes, int *seconds)
{
    double elapsed = elapsedTicks * 0.001;
    // In doubles from the start: a range or a value far from first must not wrap.
    double total = ((double)last - first) * elapsed / ((double)value - first);
    int remaining = Round(total - elapsed);
    // The added second means the display never shows 0 seconds left.
    *seconds = remaining % 60 + 1;
    *minutes = (remaining / 60) % 60;
    *hours = remaining / 3600;
}
