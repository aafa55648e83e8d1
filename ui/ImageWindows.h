// Picture windows and the things around them: the procedure of every child by its kind, the
// image window's own procedure, making new image windows, titles, and the in-use list that
// keeps an input alive while something depends on it.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Helpers.h"
#include "platform/Platform.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

// Kinds of children (word 4). A transformation's kind is its operation code, in its descriptor
// (transforms/).
enum : int32_t {
    KIND_IMAGE = 0,
    KIND_PREVIEW = 1,
    KIND_PROGRESS = WINDOW_KIND_PROGRESS,
    KIND_NEW = 13,
    KIND_SLIDE_SHOW = 15,
    KIND_SLIDE_SHOW_PAGE = 16,
    KIND_CLONE = 26,
    KIND_PAINT = 27,
    KIND_PREFERENCES = 30,
    KIND_MISCELLANEOUS_TOOLS = 32,
    KIND_LINE_ARROW = 37,
    KIND_MASK = 45,
    KIND_MAGNIFIER = 47,
    KIND_COLOR_MANAGEMENT = 73,
    KIND_SPLASH = 79,
    KIND_ALBUM_DOCUMENT = 86,
    KIND_WINDOW_INFO = 87,
    KIND_COUNT = 90,
};

// Hand tools (CurrentTool) and the phases their procedure receives.
enum : int32_t {
    TOOL_NONE = 0,
    TOOL_SCROLL = 1, // drags the picture; also whatever tool is chosen while Alt is held
    TOOL_MASK = 6,   // the mask operations' tool
    TOOL_COUNT = 32,
};

enum : int32_t {
    TOOL_PHASE_SHIFT_DOWN = 0, // left button down with Shift
    TOOL_PHASE_DOWN = 1,       // left button down
    TOOL_PHASE_MOVE = 2,       // the mouse moved
    TOOL_PHASE_UP = 3,         // left button up
    TOOL_PHASE_DESTROY = 4,    // the window is going
    TOOL_PHASE_OVERLAY = 5,    // erase or redraw the tool's overlay, around paints and scrolls
    TOOL_PHASE_SHIFT_MOVE = 6, // the mouse moved with Shift
};

// A tool's procedure; x and y are in the window's client area (ClientToPicture maps them).
typedef void (*ToolProcedure)(WindowHandle window, int x, int y, int phase);

// Sets the procedure of a tool; the scroll tool is registered by the image windows.
void ToolRegister(int tool, ToolProcedure procedure);

// Runs a tool's procedure, when that tool has one.
void ToolCall(int tool, WindowHandle window, int x, int y, int phase);

// Registers the image window's procedure and the scroll tool; part of Initialise.
void ImageWindowsRegister(void);

// The procedure of image windows (kind 0).
MessageResult ImageWindowProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                   intptr_t lParam);

// What image and preview windows share: the record's window and the two hidden scroll bars
// in words 0 and 1 (at creation); the bars along the bottom and right edges of a client
// area of width by height; and the keys that scroll (arrows, pages, Home and End, with
// Control the corners), sent to the window as scroll messages so that each kind scrolls by
// its own rules.
void ImageWindowAttach(WindowHandle window);
void ImageWindowPlaceBars(WindowHandle window, int width, int height);
void ImageWindowKeyScroll(WindowHandle window, uint32_t key, uint32_t modifiers);

// The procedure of a kind of child; the child class dispatches by word 4 through this table,
// which each module fills at start-up.
void ChildKindRegister(int kind, WindowProcedure procedure);

// The procedure of the child class: creation and move bookkeeping, then the kind's procedure.
MessageResult ChildProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                             intptr_t lParam);

// Lays the view out again for the window's present size and zoom (layout, scroll, centre,
// render) and updates the title; what a change of size or zoom runs.
void ImageWindowLayout(WindowHandle window);

// The first child of the workspace (front to back) of a kind, or null.
WindowHandle FindChildOfKind(int kind);

// Makes an empty image window titled "Untitled" with a slot: at a staggered place, width by
// height, or 400 by 400 without a parent, or the parent's size when -1. *window receives it.
ErrorCode NewImageWindow(WindowHandle parent, WindowHandle *window, int width, int height,
                         int commandId);

// Makes an image window for a record that already holds its picture (an open, a paste, an
// Apply), sized to the picture and placed as the staggering rule says, and shows it.
ErrorCode ImageWindowShow(ImageWindow *record, WindowHandle *window);

// The title of a window: "Preview" for a preview; "Untitled %d" (slot + 1) or
// "Untitled %d - %s" without a file name; the path or the file name as the preference says.
void WindowTitle(WindowHandle window, char *title, int capacity);

// Sets the window's text with the zoom ("%s (1:%d)" or "%s (%d:1)"), cut to 340 characters.
void UpdateTitle(WindowHandle window);

// The in-use list. ClearInUse removes every entry of that user and used window; a null for
// either matches any window, so a window going away clears both its sides.
ErrorCode MarkInUse(WindowHandle user, WindowHandle used, const char *name, int blocking);
void ClearInUse(WindowHandle user, WindowHandle used);
void InUseFree(void); // forgets every entry, at start-up and shutdown
// The name of the first blocking user of a window, or null.
const char *InUseBy(WindowHandle window);
void NotifyUsers(WindowHandle window);  // MSG_INPUT_CHANGED to each user
void RefreshUsers(WindowHandle window); // MSG_REFRESH to each user

// Asks whether a modified window may close ("Save Modified Image: %s?"), saving it through
// the editor (EditorSaveImage) when the answer is Yes; 1 allows.
int QuerySave(WindowHandle window);

// The image window that shows the file at path (compared without case), or null.
WindowHandle FindImageWindow(const char *path);
