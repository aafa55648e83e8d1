// The dialog-driven flows of files: File Open with its filters and several files at once,
// Save and Save As with the extension, overwrite and 16-bit rules, Revert, the recent-files
// menu, the queue of files that wait for a dialog to end, and saving a picture's profile.
#pragma once

#include "core/Errors.h"
#include "platform/Platform.h"

// Opens a file into a new image window (or gives the window that already shows it). A null
// path shows the "File Open" dialog. type is an open number, -1 to detect. *window receives
// the window, or null when the dialog was cancelled.
ErrorCode OpenImageFile(const char *path, int type, WindowHandle *window);

ErrorCode SaveImageAs(WindowHandle window, int startAtFile);
ErrorCode SaveImage(WindowHandle window);
ErrorCode RevertImage(WindowHandle window);

// 0 to go on, 1 to stop.
int ConfirmOverwrite(const char *path, WindowHandle window);
int Warn16BitLoss(WindowHandle owner, WindowHandle window);

// The recent files of the File menu, from the saved state, with their menu items.
void RecentFilesMenuUpdate(void);

// Queues a file to open when no dialog or transformation is in the way, and opens the queue.
void QueueOpen(const char *path);
void DrainOpenQueue(void);

ErrorCode SaveEmbeddedProfile(WindowHandle window);
