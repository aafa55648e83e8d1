// What the program asks of the platform it runs on.
//
// Two implementations exist and exactly one is linked into a program: platform/headless
// (tests and vistel-cli), which keeps everything as records and answers dialogs from a
// script, and platform/qt (the editor). Nothing here names a Qt type, so all code outside
// platform/qt and app compiles without Qt. The interface grows with the issues that need it.
#pragma once

#include <cstdint>

struct MessageLayout;
struct ProgressState;

struct PlatformWindow; // a window the platform shows; its layout is the platform's business
typedef PlatformWindow *WindowHandle;

// Metrics of the dialog font, from which every dialog lays itself out.
struct PlatformMetrics {
    int lineHeight;    // pixels of one line of dialog text
    int buttonHeight;  // pixels of a push button
    int margin;        // pixels between controls and around them
    int dialogBorder;  // pixels the frame and caption of a dialog add to its height
    int dialogFrame;   // pixels the frame of a dialog adds to its width
    int screenWidth;   // pixels
    int screenHeight;  // pixels
};

void PlatformGetMetrics(PlatformMetrics *metrics);

// Width in pixels of the first length characters of text in the dialog font.
int PlatformTextWidth(const char *text, int length);

enum : int32_t {
    CURSOR_ARROW = 0,
    CURSOR_WAIT = 1,
};

void PlatformSetCursor(int cursor);
void PlatformReleaseCapture(void);

// Milliseconds since some start; wraps at 2^32, so callers subtract unsigned.
uint32_t PlatformTickCount(void);

// Lets the interface breathe during a long piece of work on the main thread.
void PlatformPumpMessages(void);

// Shows a modal message laid out by MessageDialogLayout and returns the ANSWER_* of the
// button pressed. title and text are already cut to their limits.
int PlatformShowMessage(void *owner, const char *title, const char *text, int kind,
                        const MessageLayout *layout);

// The progress window. The platform paints it from state, which the caller keeps alive
// until PlatformProgressDestroy.
WindowHandle PlatformProgressCreate(const char *title, int width, int height,
                                    const ProgressState *state);
void PlatformProgressRepaint(WindowHandle window);

// Dispatches the progress window's own pending messages and no others; returns 1 when its
// Cancel button was pressed since the last call.
int PlatformProgressPump(WindowHandle window);
void PlatformProgressDestroy(WindowHandle window);

// Windows. A window has nine words, as the image windows and dialogs use them.
constexpr int WINDOW_WORD_COUNT = 9;
enum : int32_t {
    WORD_HSCROLL = 0,
    WORD_VSCROLL = 1,
    WORD_MODIFIED = 2,
    WORD_PRIVATE = 3,
    WORD_KIND = 4,
    WORD_SLOT = 5,
    WORD_X = 6,
    WORD_Y = 7,
    WORD_POINTER = 8,
};

// A child window of a kind, showing the picture in slot (or -1); null when it cannot be made.
WindowHandle PlatformCreateWindow(int kind, int slot, const char *title);
void PlatformDestroyWindow(WindowHandle window);
intptr_t PlatformGetWindowWord(WindowHandle window, int index);
void PlatformSetWindowWord(WindowHandle window, int index, intptr_t value);
void PlatformSetWindowTitle(WindowHandle window, const char *title);
// Copies the title into text, at most size - 1 characters and a terminator.
void PlatformGetWindowTitle(WindowHandle window, char *text, int size);

// The settings store: text values by key and name, as the registry keeps them on Windows.
// The keys in use are "Preferences", "State" and "Color Settings"; every value is a line of
// the settings grammar (shell/SettingsFile.h). Reading copies at most capacity - 1
// characters and a terminator into value and returns 1 when the value exists, else 0 and
// value empty. Writing replaces or adds the value; a failure to write is not reported,
// since nothing the caller could do would help.
int PlatformSettingsRead(const char *key, const char *name, char *value, int capacity);
void PlatformSettingsWrite(const char *key, const char *name, const char *value);

// The writable folder of the default.xx and previous.xx settings files, without a final
// separator, made by the platform when it is missing; an empty path when there is none, and
// then nothing is loaded or saved there.
void PlatformSettingsFolder(char *path, int capacity);

// 1 while a Shift key is held down.
int PlatformShiftDown(void);
