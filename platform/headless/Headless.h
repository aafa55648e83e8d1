// The platform without a screen, for the tests.
//
// Windows are records, dialogs are recorded and answered from a script, the clock can be
// set by hand, and a progress window's Cancel button can be pressed at a chosen step.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "core/Image.h"
#include "platform/Platform.h"
#include "ui/MessageBox.h"
#include "ui/ProgressWindow.h"

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
    int width; // pixels of the window, frame included
    int height;
    int repaints;       // times the platform was asked to paint it
    int pumps;          // times its messages were pumped
    int open;           // 1 until it is destroyed
    ProgressState last; // the state at the last paint, pump or destroy
};

// Forgets every record and script and closes every window.
void HeadlessReset(void);

// Messages shown since the reset, the newest last; index 0 is the oldest kept.
int HeadlessMessageCount(void);
const HeadlessMessage *HeadlessMessageAt(int index);
const HeadlessMessage *HeadlessLastMessage(void);

// Queues the answer to the next message; without one a message gets its first button.
void HeadlessQueueAnswer(int answer);

// The cursor now, and how often the wait cursor was set since the reset.
int HeadlessCursor(void);
int HeadlessWaitCursorCount(void);
// Times PlatformBeep sounded since the reset.
int HeadlessBeepCount(void);

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

// Calls action(context) once, inside the call of PlatformPumpMessages that makes the count
// reach pump (1 is the first after the reset): what happens to a file while it is being
// read. A reset forgets it.
void HeadlessActAtPump(int pump, void (*action)(void *context), void *context);

// The settings store is kept in the text file at path, one value a line as key, name and
// value separated by tabs, with backslash, tab, line feed and carriage return escaped. Each
// write rewrites the file safely. Without a file (after a reset) the store is empty and
// writes are dropped, so that no test touches the user's own settings.
void HeadlessSetSettingsFile(const char *path);

// The folder PlatformSettingsFolder answers; empty after a reset.
void HeadlessSetSettingsFolder(const char *path);

// Holds the Shift key down (1) or lets it go (0); up after a reset.
void HeadlessSetShift(int down);

// The profile PlatformDisplayProfile answers with (a copy is kept), or none for null; none
// after a reset.
void HeadlessSetDisplayProfile(const uint8_t *bytes, int length);

// ---------------------------------------------------------------------------------------
// Windows, controls, menus and dialogs, for tests of the shell.

// The size of the workspace that holds the children; 1600 x 1000 after a reset.
void HeadlessSetWorkspaceSize(int width, int height);

// The color the program last gave the workspace; 0x808080 after a reset.
uint32_t HeadlessWorkspaceColor(void);

// Holds the modifiers keys (KEYS_*) down; none after a reset.
void HeadlessSetKeys(uint32_t keys);

// Delivers the messages posted so far, in order; returns how many.
int HeadlessDeliverPosted(void);

// Windows alive now (controls not counted), the frame, and a window by its title.
int HeadlessWindowCount(void);
WindowHandle HeadlessFrame(void);
WindowHandle HeadlessFindWindow(const char *title);

// A window of a kind and slot that gets no messages: for code that only needs a handle.
WindowHandle HeadlessBareWindow(int kind, int slot, const char *title);

// The period of a running timer, or 0; firing sends MSG_TIMER.
int HeadlessTimer(WindowHandle window, int id);
void HeadlessFireTimer(WindowHandle window, int id);

WindowHandle HeadlessCapture(void);

// A mouse message (MSG_MOUSE_MOVE, MSG_LBUTTON_DOWN ...) at a client point, to the window
// holding the capture if there is one.
void HeadlessMouse(WindowHandle window, uint32_t message, int x, int y, uint32_t keys);

// Clicks a button, check box or radio button (toggling or setting its value first); types
// into an edit; chooses an item of a list; moves a scroll bar. Each sends its MSG_COMMAND or
// scroll message to the parent as the real control would.
void HeadlessClick(WindowHandle parent, int id);
void HeadlessSetEditText(WindowHandle parent, int id, const char *text);
void HeadlessChoose(WindowHandle parent, int id, int index);
void HeadlessScroll(WindowHandle scrollBar, uint32_t code, int position);

int HeadlessControlEnabled(WindowHandle parent, int id);
// The tip of a control; empty when it has none or there is no such control.
const char *HeadlessControlTip(WindowHandle parent, int id);
const char *HeadlessControlItems(WindowHandle parent, int id);
// Range, position and page of a scroll bar control; returns 1 while it is shown.
int HeadlessScrollBar(WindowHandle scrollBar, int *range, int *position, int *page);

// The part of a window waiting to be painted; 0 when none.
int HeadlessInvalid(WindowHandle window, Rect *rect);
// Paints what waits to be painted; the canvas then holds the window's client area.
void HeadlessPaint(WindowHandle window);
const Image *HeadlessCanvas(WindowHandle window);

// Texts drawn, the newest last (the newest 256 are kept): the text, with its window and
// position. HeadlessTextsForget starts the record afresh.
int HeadlessTextCount(void);
void HeadlessTextsForget(void);
const char *HeadlessTextAt(int index, WindowHandle *window, int *x, int *y);

// The state of a menu item; 0 when there is no such item.
int HeadlessMenuState(int id, int *enabled, int *checked, const char **label);
// Opens the menu (MSG_INIT_MENU) and chooses the item, if it is enabled.
void HeadlessChooseMenu(int id);

// The answer to the next pop-up menu (0 for none), and the items of the last one.
void HeadlessQueuePopupChoice(int id);
int HeadlessLastPopup(const MenuItem **items);

struct HeadlessFileDialogRecord {
    int count;  // file dialogs shown since the reset
    int mode;   // FILE_DIALOG_*; neither save mode asks anything here, the answer is taken
    int filter; // the filter shown first
    char title[128];
    char folder[PATH_LENGTH];
    char name[PATH_LENGTH];
    char filters[2048]; // the request's filters, as it gave them
};

// Answers the next file dialog: paths chosen (several as zero-separated strings ended by an
// empty one) with the filter in use (-1 keeps the one shown first), or null for Cancel.
// A dialog without a queued answer is cancelled.
void HeadlessQueueFileDialog(const char *paths, int filter);
const HeadlessFileDialogRecord *HeadlessLastFileDialog(void);

// Called when a modal loop starts, to press the modal window's buttons.
void HeadlessSetModalHandler(void (*handler)(WindowHandle window));

// What PlatformOpenExternal was last asked to open.
const char *HeadlessExternal(void);

// What PlatformHandOverCommandLine answers (1: another instance took it), and the last line.
void HeadlessSetHandOver(int answer);
const char *HeadlessHandedOver(void);
