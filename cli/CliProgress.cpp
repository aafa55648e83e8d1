// vistel-cli's progress: a bar on stderr when stderr is a terminal, redrawn at most ten
// times a second, and nothing at all when it is not. The command line has no Cancel button,
// so a step never aborts, and no cursor.
#include "cli/CliCommon.h"

#include <cstdio>
#include <ctime>
#include <unistd.h>

#include "core/FormatString.h"
#include "core/Progress.h"
#include "core/Text.h"

static const uint32_t CLI_PROGRESS_REDRAW = 100; // milliseconds between two drawings at least
static const int CLI_PROGRESS_BAR = 40;          // characters of the bar

// The one bar that can be open.
static struct {
    int open;
    int first;
    int last;
    int current;
    uint32_t startTicks;
    char title[81];
    char timeText[32]; // "Time left: 00:00:00", empty until the first estimate
} Bar;

static uint32_t LastDraw; // ticks of the last drawing, of whichever bar

static uint32_t CliTicks(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (uint32_t)((uint64_t)now.tv_sec * 1000 + (uint64_t)now.tv_nsec / 1000000);
}

// "\rTITLE [####....] NN% Time left: ..."; the last drawing ends the line.
static void CliProgressDraw(int final)
{
    uint32_t now = CliTicks();
    if (!final && now - LastDraw < CLI_PROGRESS_REDRAW) return;
    LastDraw = now;
    int span = Bar.last - Bar.first;
    int done = Bar.current - Bar.first;
    int percent = span > 0 ? (int)((int64_t)done * 100 / span) : 100;
    if (final) percent = 100;
    if (percent < 0) percent = 0;
    if (percent > 100) percent = 100;
    char bar[CLI_PROGRESS_BAR + 1];
    for (int i = 0; i < CLI_PROGRESS_BAR; i++)
        bar[i] = i < percent * CLI_PROGRESS_BAR / 100 ? '#' : '.';
    bar[CLI_PROGRESS_BAR] = 0;
    fprintf(stderr, "\r%s [%s] %3d%% %s", Bar.title, bar, percent, Bar.timeText);
    if (final) fputc('\n', stderr);
    fflush(stderr);
}

static void CliProgressClose(void)
{
    if (!Bar.open) return;
    CliProgressDraw(1);
    Bar.open = 0;
}

static void CliProgressOpen(int first, int last, const char *title, int canAbort)
{
    (void)canAbort;
    CliProgressClose();
    Bar.open = 1;
    Bar.first = first;
    Bar.last = last;
    Bar.current = first;
    Bar.startTicks = CliTicks();
    StrCopyLimit(title, Bar.title, sizeof Bar.title - 1);
    Bar.timeText[0] = 0;
}

static ErrorCode CliProgressStep(int value)
{
    if (!Bar.open) return ERROR_NONE;
    Bar.current = value;
    if (value != Bar.first) {
        int hours;
        int minutes;
        int seconds;
        ProgressTimeLeft(CliTicks() - Bar.startTicks, Bar.first, Bar.last, value, &hours, &minutes,
                         &seconds);
        FormatString(Bar.timeText, sizeof Bar.timeText, "Time left: %2d:%2d:%2d", hours, minutes,
                     seconds);
    }
    CliProgressDraw(0);
    return ERROR_NONE;
}

static const ProgressHooks CLI_PROGRESS_HOOKS = {CliProgressOpen, CliProgressStep, CliProgressClose,
                                                 nullptr, nullptr};

void CliProgressInstall(void)
{
    ProgressInstall(isatty(fileno(stderr)) ? &CLI_PROGRESS_HOOKS : nullptr);
}
