// The life of the editor: start-up, the frame window and its workspace, the main loop's key
// filter, the splash, and shutdown. The globals here are the ones every window of the shell
// reads.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "platform/Platform.h"

// Private messages of the frame and of the shell's windows.
enum : uint32_t {
    MSG_AMOUNT_CHANGED = 0x8002, // an Amount control changed; wParam its id
    MSG_CLICK = 0x800A,          // a waiting tool window gets a picture click
    MSG_PREVIEW_REGION = 0x800D, // a preview needs a rectangle: wParam the preview window,
                                 // lParam const Rect * in view pixels, or 0 for all of it
    MSG_INPUT_CHOSEN = 0x8011,   // an input chooser changed; wParam its id
    MSG_KEY = 0x8015,            // a character typed in an image window, for the dialog
    MSG_NEXT_FIELD = 0x8023,     // Tab: wParam the control id of the focus
    MSG_PREVIOUS_FIELD = 0x8024, // Shift+Tab
    MSG_CANCEL = 0x8025,         // Esc was typed
    MSG_APPLY = 0x8026,          // Return was typed
    MSG_RELAYOUT = 0x8028,       // recompute the docked panes and the workspace
    MSG_INPUT_CHANGED = 0x802A,  // the picture a dialog uses changed
    MSG_DOCK_BROWSER = 0x803A,
    MSG_UNDOCK = 0x803B,
    MSG_OPEN_FROM_CLIPBOARD = 0x803E, // lParam: a command line handed over, freed by the frame
    MSG_REFRESH = 0x803F,             // a dialog's input was changed in place (undo)
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
extern int SmallLineHeight;
extern int SmallButtonHeight;
// Everything else the platform tells of its display: scroll bars, frames, captions, screen.
extern PlatformMetrics DisplayMetrics;

// The folder of read-only resources (samples, profiles to copy, the viewer of slide shows),
// with its closing separator; the program's main fills it before Initialise.
extern char ProgramDirectory[];

// What is open and running, as the frame and the menus need to know it.
extern int CurrentOperation;      // the kind of the open transformation, 0 for none
extern WindowHandle DialogWindow; // that transformation's dialog, or null
extern int CurrentTool;           // TOOL_*, 0 for no tool
extern WindowHandle ToolTarget;   // a window waiting for a picture click, or null
extern int ToolDown;              // 1 while the left button is down on a picture
extern int ClipboardHoldsImage;   // our picture is on the clipboard
extern WindowHandle SplashWindow; // the splash while it shows, or null
extern int EnterApplies;          // Return in a dialog presses Apply; off by default

// Reads the metrics of the dialog font and the display into the globals above; at start-up
// and when the display changes.
void ReadDisplayMetrics(void);

// Start-up of the editor after the platform is up: tables, preferences, color settings,
// saved state, metrics, window classes. Returns the first failure's code.
ErrorCode Initialise(void);

// Creates the frame with its menu and workspace. ERROR_NO_MEMORY when it cannot.
ErrorCode CreateFrame(void);

// After the frame is up: opens the files of a non-empty command line, or shows the splash.
void StartupOpen(const char *commandLine);

// The frame's handling of a character that no window took (MSG_CHAR to the frame): Tab and
// Shift+Tab move between the fields of the focus's parent, Return applies when EnterApplies
// is on, Esc cancels the active child. Only while a window has the focus and a child is
// active. Returns 1 when the character was taken.
int KeyFilter(uint32_t character);

// Shows the splash in the middle of the workspace for five seconds, and takes it away.
void ShowSplash(void);
void DismissSplash(void);

// Opens dropped files, or activates the windows that already show them; the window of the
// first file is activated at the end. Each failure is shown and the next file tried.
void OpenDroppedFiles(const DroppedFiles *files);

// Asks each child whether it may close (MSG_QUERY_END_SESSION); 1 when one vetoed.
int QueryCloseChildren(void);

// When window is open, asks question (Yes, No, under "Warning") and on Yes sends it
// MSG_CLOSE. Returns 0 when the user answered No, so that the caller stops.
int AskAbort(WindowHandle window, const char *question);

// Destroys every child of the workspace, front to back.
void DestroyAllChildren(void);

// The whole life of the editor: hands the command line to a running instance and ends, or
// starts up, creates the frame, opens the command line or shows the splash, runs the loop
// and shuts down. Returns the exit status: 0, or 1 when start-up failed (silently, as what
// failed has said so).
int ShellMain(const char *commandLine);

// Splits a command line into file names (a double quote toggles quoting; a blank ends a
// name only outside quotes after a dot), opening each and showing each failure.
void OpenCommandLine(const char *commandLine);

// The same split, into a list of names each ended by a zero byte, the list by an empty
// string, for tests; returns the count of names that found room in capacity bytes.
int SplitCommandLine(const char *commandLine, char *names, int capacity);

// Everything that runs once the frame is gone: the state is written and every table freed.
// The frame's MSG_DESTROY runs it; a second call does nothing until the next Initialise.
void Shutdown(void);
