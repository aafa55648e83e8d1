// The life of the editor: start-up, the frame window and its workspace, the main loop's key
// filter, the splash, and shutdown. The globals here are the ones every window of the shell
// reads.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "platform/Platform.h"
#include "ui/UiLayer.h"
#include "ui/UiState.h"

// The title of the frame, which a second start looks for.
constexpr const char *FRAME_TITLE = "Vistel Pro 3.5.0.10";

// The folder of read-only resources (samples, profiles to copy, the viewer of slide shows),
// with its closing separator; the program's main fills it before Initialise.
extern char ProgramDirectory[];

// What is open and running beside what the dialog kit keeps (ui/UiState.h).
extern int ClipboardHoldsImage; // our picture is on the clipboard
extern int EnterApplies;        // Return in a dialog presses Apply; off by default

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
