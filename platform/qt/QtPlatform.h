// The Qt 6 platform of the editor: start-up and shut-down, and the few handles that the
// editor's main() and the tests on the offscreen platform need beside platform/Platform.h.
#pragma once

#ifndef VISTEL_QT_PLATFORM
#error "only platform/qt, the editor's main and the UI tests may see the Qt platform"
#endif

#include "core/Errors.h"
#include "platform/Platform.h"

class QWidget;
class QMainWindow;

// Makes the frame's main window with its workspace, the fonts and metrics, and the input
// gate, once a QApplication exists. The main window stays hidden until the shell shows its
// frame. Returns ERROR_NO_MEMORY when the window record pool cannot hold the workspace.
ErrorCode QtPlatformStart(void);

// Destroys every window, timer and menu, and the main window; the QApplication stays.
void QtPlatformStop(void);

// The widget that shows a window's client area (a child's or control's), or null.
QWidget *QtPlatformWidget(WindowHandle window);

// The widget of a child's frame in the workspace, or null.
QWidget *QtPlatformFrameWidget(WindowHandle window);

// The frame's main window.
QMainWindow *QtPlatformMainWindow(void);

// The name the first instance listens under for later command lines; one per user by
// default. Tests set their own before the first PlatformHandOverCommandLine.
void QtPlatformSetHandOverName(const char *name);
