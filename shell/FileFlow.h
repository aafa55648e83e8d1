// The dialog-driven flows of files: File Open with its filters and several files at once,
// Save and Save As with the extension, overwrite and 16-bit rules, Revert, the recent-files
// menu, the queue of files that wait for a dialog to end, and saving a picture's profile.
#pragma once

#include "core/Errors.h"
#include "platform/Platform.h"
#include "ui/UiLayer.h"

// Opens a file into a new image window (or gives the window that already shows it). A null
// path shows the "File Open" dialog. type is an open number, -1 to detect. *window receives
// the window, or null when the dialog was cancelled or the file did not exist (which has
// been said already, so the result is then ERROR_NONE). ERROR_OPEN_IN_PROGRESS while
// another file is being read or written; otherwise the reader's code.
ErrorCode OpenImageFile(const char *path, int type, WindowHandle *window);

// The zoom a picture of width by height opens at: 1 when it fits the workspace with a
// child's frame and the border on both sides, else -n for the smallest n at which it does.
int InitialZoom(int width, int height);

// Asks for a name and a type in "File Save" and writes the window's picture there. With
// startAtFile and a file behind the window, the dialog starts in that file's folder.
// ERROR_ABORTED when the dialog is cancelled; otherwise the writer's code.
ErrorCode SaveImageAs(WindowHandle window, int startAtFile);

// Writes the window's picture to its own file in its own type, or runs SaveImageAs when it
// has no file or a type that cannot be written (PhotoCD, "All Files", EPS).
ErrorCode SaveImage(WindowHandle window);

// Reads the window's file again into the window, dropping every change since it was opened
// or saved. A window without a file is left alone. Codes of the reader.
ErrorCode RevertImage(WindowHandle window);

// Before a save to path: another image window showing path is closed when the user agrees,
// or stops the save when it is in use; an existing file is replaced only when the user
// agrees. 0 to go on, 1 to stop.
int ConfirmOverwrite(const char *path, WindowHandle window);

// Before a save in a format without 16-bit samples: asks under "Warning", and on OK
// reduces the window's picture to 8 bits in place. owner owns the question. 0 to go on, 1
// to stop (also when the reduction fails, which has then been shown).
int Warn16BitLoss(WindowHandle owner, WindowHandle window);

// The recent files, kept in the saved state so that they outlive the run: a path goes to
// the front (moved there with its new spelling when it is in the list, letter case aside;
// the last one drops out of a list as long as the preference allows), or leaves the list.
// An empty path, or one too long to keep whole, is not added. Both update the menu.
void AddRecentFile(const char *path);
void RemoveRecentFile(const char *path);

// The recent files of the File menu, from the saved state, with their menu items.
void RecentFilesMenuUpdate(void);

// Queues a file to open when no dialog or transformation is in the way, and opens the queue.
// DrainOpenQueue shows each failure and goes on with the next file.
void QueueOpen(const char *path);
void DrainOpenQueue(void);

// Something that must not be interrupted by queued files (a transformation dialog, a modal
// dialog) holds the queue while it runs; the last release opens what waited.
void OpenQueueHold(void);
void OpenQueueRelease(void);

// Writes the window's embedded profile to a .icm file the user names in "Save Profile".
// Without a profile it says so under "Warning" and returns ERROR_NONE. ERROR_ABORTED when
// the dialog is cancelled; otherwise the codes of the file calls.
ErrorCode SaveEmbeddedProfile(WindowHandle window);

// Forgets the save type used last, empties the open queue and its holds: for start-up and
// for tests.
void FileFlowReset(void);
