// The headless platform: every window a record, every dialog recorded and answered from a
// script. Fixed font metrics make layouts the same on every machine.
#include "platform/headless/Headless.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

#include "platform/Platform.h"

struct PlatformWindow {
    int used;
    int kind;
    intptr_t words[WINDOW_WORD_COUNT];
    char title[341];
    const ProgressState *progress; // the state a progress window paints from
    int progressRecord;            // its index in the progress log
};

static const int WINDOW_COUNT = 1024;
static const int PROGRESS_LOG = 64;
static const int ANSWER_QUEUE = 64;
static const int CHARACTER_WIDTH = 7; // pixels of every character in the dialog font

static PlatformWindow Windows[WINDOW_COUNT];
static HeadlessMessage Messages[HEADLESS_MESSAGE_LOG];
static int MessageTotal;
static int Answers[ANSWER_QUEUE];
static int AnswerCount;
static int Cursor;
static int WaitCursorCount;
static int FakeClock;
static uint32_t FakeTicks;
static int AbortPump = -1;
static HeadlessProgressRecord ProgressLog[PROGRESS_LOG];
static int ProgressTotal;
static int PumpTotal;
static int ConsoleMessages;
static int ConsoleProgress;
static uint32_t ConsoleLastDraw;

void HeadlessReset(void)
{
    memset(Windows, 0, sizeof Windows);
    MessageTotal = 0;
    AnswerCount = 0;
    Cursor = CURSOR_ARROW;
    WaitCursorCount = 0;
    FakeClock = 0;
    AbortPump = -1;
    ProgressTotal = 0;
    PumpTotal = 0;
    ConsoleMessages = 0;
    ConsoleProgress = 0;
}

void HeadlessSetConsole(int echoMessages, int progressBar)
{
    ConsoleMessages = echoMessages;
    ConsoleProgress = progressBar && isatty(fileno(stderr));
}

int HeadlessMessageCount(void)
{
    return MessageTotal < HEADLESS_MESSAGE_LOG ? MessageTotal : HEADLESS_MESSAGE_LOG;
}

const HeadlessMessage *HeadlessMessageAt(int index)
{
    int count = HeadlessMessageCount();
    if (index < 0 || index >= count) return nullptr;
    return &Messages[(MessageTotal - count + index) % HEADLESS_MESSAGE_LOG];
}

const HeadlessMessage *HeadlessLastMessage(void)
{
    return HeadlessMessageAt(HeadlessMessageCount() - 1);
}

void HeadlessQueueAnswer(int answer)
{
    if (AnswerCount < ANSWER_QUEUE) Answers[AnswerCount++] = answer;
}

int HeadlessCursor(void)
{
    return Cursor;
}

int HeadlessWaitCursorCount(void)
{
    return WaitCursorCount;
}

void HeadlessSetTicks(uint32_t ticks)
{
    FakeClock = 1;
    FakeTicks = ticks;
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

int HeadlessPumpCount(void)
{
    return PumpTotal;
}

int HeadlessWindowCount(void)
{
    int count = 0;
    for (int i = 0; i < WINDOW_COUNT; i++)
        count += Windows[i].used;
    return count;
}

void PlatformGetMetrics(PlatformMetrics *metrics)
{
    metrics->lineHeight = 16;
    metrics->buttonHeight = 24;
    metrics->margin = 8;
    metrics->dialogBorder = 30;
    metrics->dialogFrame = 6;
    metrics->screenWidth = 1920;
    metrics->screenHeight = 1080;
}

int PlatformTextWidth(const char *text, int length)
{
    (void)text;
    return length * CHARACTER_WIDTH;
}

void PlatformSetCursor(int cursor)
{
    Cursor = cursor;
    if (cursor == CURSOR_WAIT) WaitCursorCount++;
}

void PlatformReleaseCapture(void)
{
}

uint32_t PlatformTickCount(void)
{
    if (FakeClock) return FakeTicks;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (uint32_t)((uint64_t)now.tv_sec * 1000 + (uint64_t)now.tv_nsec / 1000000);
}

void PlatformPumpMessages(void)
{
    PumpTotal++;
}

int PlatformShowMessage(void *owner, const char *title, const char *text, int kind,
                        const MessageLayout *layout)
{
    (void)owner;
    const char *labels[3];
    int results[3];
    MessageDialogButtons(kind, labels, results);
    int answer = results[0];
    if (AnswerCount > 0) {
        answer = Answers[0];
        memmove(Answers, Answers + 1, sizeof(int) * (size_t)(AnswerCount - 1));
        AnswerCount--;
    }
    HeadlessMessage *message = &Messages[MessageTotal % HEADLESS_MESSAGE_LOG];
    MessageTotal++;
    snprintf(message->title, sizeof message->title, "%s", title);
    snprintf(message->text, sizeof message->text, "%s", text);
    message->kind = kind;
    message->answer = answer;
    message->layout = *layout;
    if (ConsoleMessages) fprintf(stderr, "%s: %s\n", title, text);
    return answer;
}

static PlatformWindow *WindowNew(int kind, const char *title)
{
    for (int i = 0; i < WINDOW_COUNT; i++) {
        if (!Windows[i].used) {
            PlatformWindow *window = &Windows[i];
            memset(window, 0, sizeof *window);
            window->used = 1;
            window->kind = kind;
            window->words[WORD_KIND] = kind;
            window->words[WORD_SLOT] = -1;
            snprintf(window->title, sizeof window->title, "%s", title);
            return window;
        }
    }
    return nullptr;
}

// The terminal bar of vistel-cli, drawn at most ten times a second.
static void ConsoleDrawProgress(const PlatformWindow *window, int final)
{
    const ProgressState *state = window->progress;
    uint32_t now = PlatformTickCount();
    if (!final && now - ConsoleLastDraw < 100) return;
    ConsoleLastDraw = now;
    int span = state->last - state->first;
    int done = state->current - state->first;
    int percent = span > 0 ? (int)((int64_t)done * 100 / span) : 100;
    if (final) percent = 100;
    if (percent < 0) percent = 0;
    if (percent > 100) percent = 100;
    char bar[41];
    for (int i = 0; i < 40; i++)
        bar[i] = i < percent * 40 / 100 ? '#' : '.';
    bar[40] = 0;
    fprintf(stderr, "\r%s [%s] %3d%% %s", state->title, bar, percent, state->timeText);
    if (final) fputc('\n', stderr);
    fflush(stderr);
}

WindowHandle PlatformProgressCreate(const char *title, int width, int height,
                                    const ProgressState *state)
{
    PlatformWindow *window = WindowNew(12, title);
    if (window == nullptr) return nullptr;
    window->progress = state;
    window->progressRecord = -1;
    if (ProgressTotal < PROGRESS_LOG) {
        HeadlessProgressRecord *record = &ProgressLog[ProgressTotal];
        memset(record, 0, sizeof *record);
        snprintf(record->title, sizeof record->title, "%s", title);
        record->width = width;
        record->height = height;
        record->open = 1;
        record->last = *state;
        window->progressRecord = ProgressTotal;
    }
    ProgressTotal++;
    return window;
}

static HeadlessProgressRecord *ProgressRecordOf(WindowHandle window)
{
    if (window == nullptr || window->progressRecord < 0) return nullptr;
    return &ProgressLog[window->progressRecord];
}

void PlatformProgressRepaint(WindowHandle window)
{
    HeadlessProgressRecord *record = ProgressRecordOf(window);
    if (record != nullptr) {
        record->repaints++;
        record->last = *window->progress;
    }
    if (ConsoleProgress && window != nullptr) ConsoleDrawProgress(window, 0);
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
    if (ConsoleProgress) ConsoleDrawProgress(window, 1);
    window->used = 0;
}

WindowHandle PlatformCreateWindow(int kind, int slot, const char *title)
{
    PlatformWindow *window = WindowNew(kind, title);
    if (window != nullptr) window->words[WORD_SLOT] = slot;
    return window;
}

void PlatformDestroyWindow(WindowHandle window)
{
    if (window != nullptr) window->used = 0;
}

intptr_t PlatformGetWindowWord(WindowHandle window, int index)
{
    if (window == nullptr || index < 0 || index >= WINDOW_WORD_COUNT) return 0;
    return window->words[index];
}

void PlatformSetWindowWord(WindowHandle window, int index, intptr_t value)
{
    if (window == nullptr || index < 0 || index >= WINDOW_WORD_COUNT) return;
    window->words[index] = value;
}

void PlatformSetWindowTitle(WindowHandle window, const char *title)
{
    if (window != nullptr) snprintf(window->title, sizeof window->title, "%s", title);
}

void PlatformGetWindowTitle(WindowHandle window, char *text, int size)
{
    if (size <= 0) return;
    if (window == nullptr) {
        text[0] = 0;
        return;
    }
    snprintf(text, (size_t)size, "%s", window->title);
}
