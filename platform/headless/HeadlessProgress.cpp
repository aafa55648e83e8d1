// Progress windows of the headless platform: each one opened is logged with its title,
// size, paints and pumps and the state it last showed, and a test may press its Cancel
// button at a chosen pump.
#include <cstdio>
#include <cstring>

#include "platform/headless/Headless.h"
#include "platform/headless/HeadlessInternal.h"

static const int PROGRESS_LOG = 64;

static int AbortPump = -1;
static HeadlessProgressRecord ProgressLog[PROGRESS_LOG];
static int ProgressTotal;

void HeadlessProgressReset(void)
{
    AbortPump = -1;
    ProgressTotal = 0;
}

void HeadlessAbortAtPump(int pump)
{
    AbortPump = pump;
}

int HeadlessProgressCount(void)
{
    return ProgressTotal < PROGRESS_LOG ? ProgressTotal : PROGRESS_LOG;
}

const HeadlessProgressRecord *HeadlessProgressAt(int index)
{
    if (index < 0 || index >= HeadlessProgressCount()) return nullptr;
    return &ProgressLog[index];
}

WindowHandle PlatformProgressCreate(const char *title, int width, int height,
                                    const ProgressState *state)
{
    PlatformWindow *window = WindowProgressAllocate(title, state);
    if (window == nullptr) return nullptr;
    if (ProgressTotal < PROGRESS_LOG) {
        HeadlessProgressRecord *record = &ProgressLog[ProgressTotal];
        memset(record, 0, sizeof *record);
        snprintf(record->title, sizeof record->title, "%s", title);
        record->width = width;
        record->height = height;
        record->open = 1;
        record->last = *state;
        window->side->progressRecord = ProgressTotal;
    }
    ProgressTotal++;
    return window;
}

static HeadlessProgressRecord *ProgressRecordOf(WindowHandle window)
{
    if (window == nullptr || window->side->progressRecord < 0) return nullptr;
    return &ProgressLog[window->side->progressRecord];
}

void PlatformProgressRepaint(WindowHandle window)
{
    HeadlessProgressRecord *record = ProgressRecordOf(window);
    if (record != nullptr) {
        record->repaints++;
        record->last = *window->progress;
    }
}

int PlatformProgressPump(WindowHandle window)
{
    HeadlessProgressRecord *record = ProgressRecordOf(window);
    if (record == nullptr) return 0;
    int pump = record->pumps++;
    record->last = *window->progress;
    // The scripted press belongs to the first progress window that reaches that pump.
    if (AbortPump >= 0 && pump == AbortPump) {
        AbortPump = -1;
        return 1;
    }
    return 0;
}

void PlatformProgressDestroy(WindowHandle window)
{
    if (window == nullptr) return;
    HeadlessProgressRecord *record = ProgressRecordOf(window);
    if (record != nullptr) {
        record->open = 0;
        record->last = *window->progress;
    }
    WindowRelease(window);
}
