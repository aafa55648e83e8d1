// The life of the editor: start-up, the frame window and its workspace, the main loop's key
// filter, the splash, and shutdown. The globals here are the ones every window of the shell
// reads.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "platform/Platform.h"

// Private messages of the frame and of the shell's windows.
enum : uint32_t {
    MSG_AMOUNT_CHANGED = 0x8002,     // an Amount control changed; wParam its id
    MSG_CLICK = 0x800A,              // a waiting tool window gets a picture click
    MSG_PREVIEW_REGION = 0x800D,     // a preview needs a rectangle; lParam const Rect * or 0
    MSG_INPUT_CHOSEN = 0x8011,       // an input chooser changed; wParam its id
    MSG_KEY = 0x8015,                // a character typed in an image window, for the dialog
    MSG_NEXT_FIELD = 0x8023,         // Tab: wParam the control id of the focus
    MSG_PREVIOUS_FIELD = 0x8024,     // Shift+Tab
    MSG_CANCEL = 0x8025,             // Esc was typed
    MSG_APPLY = 0x8026,              // Return was typed
    MSG_RELAYOUT = 0x8028,           // recompute the docked panes and the workspace
    MSG_INPUT_CHANGED = 0x802A,      // the picture a dialog uses changed
    MSG_DOCK_BROWSER = 0x803A,
    MSG_UNDOCK = 0x803B,
    MSG_OPEN_FROM_CLIPBOARD = 0x803E, // lParam: a command line handed over, freed by the frame
    MSG_REFRESH = 0x803F,            // a dialog's input was changed in place (undo)
};

// The title of the frame, which a second start looks for.
constexpr const char *FRAME_TITLE = "Vistel Pro 3.5.0.10";

extern WindowHandle FrameWindow;
extern WindowHandle ActiveWindow; // the active child, kept by each child on MSG_ACTIVATE

// Metrics of the dialog font, from the platform at start-up: LineHeight = text height + 1,
// ButtonHeight = text height * 11 / 8, Margin = ButtonHeight / 4.
extern int LineHeight;
extern int ButtonHeight;
extern int Margin;
extern int SliderHeight;

// The folder of read-only resources (samples, profiles to copy, the viewer of slide shows).
extern char ProgramDirectory[];

// Start-up of the editor after the platform is up: tables, preferences, color settings,
// saved state, metrics, window classes. Returns the first failure's code.
ErrorCode Initialise(void);

// Creates the frame with its menu and workspace. ERROR_NO_MEMORY when it cannot.
ErrorCode CreateFrame(void);

// Splits a command line into file names (a double quote toggles quoting; a blank ends a
// name only outside quotes after a dot), opening each and showing each failure.
void OpenCommandLine(const char *commandLine);

// The same split, into a list of names each ended by a zero byte, the list by an empty
// string, for tests; returns the count.
int SplitCommandLine(const char *commandLine, char *names, int capacity);

// Everything that runs once the main loop has ended.
void Shutdown(void);
