// The state the dialog kit shares with every window built on it: the frame and the active
// child, the metrics of the dialog font, what transformation or tool is open, the private
// messages of the windows, and the few things the kit asks of the editor around it.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "platform/Platform.h"
#include "ui/UiLayer.h"

// Private messages of the frame and of the windows built on the kit.
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
    // To the mask tool: the picture wParam is about to close; the answer 1 keeps it open.
    MSG_PICTURE_CLOSING = 0x8030,
    // To the PictureClient: draw over a picture window that was just painted. wParam the
    // DrawContext *, clipped to what was painted; lParam the picture's window.
    MSG_PICTURE_PAINT = 0x8032,
    // To the PictureClient: the mouse on a picture window, before its tool hears of it.
    // wParam the picture's window, lParam const PictureMouse *. Answering 1 for a press
    // takes the drag: the moves and the release go to the client alone.
    MSG_PICTURE_MOUSE = 0x8033,
    MSG_DOCK_BROWSER = 0x803A,
    MSG_UNDOCK = 0x803B,
    MSG_OPEN_FROM_CLIPBOARD = 0x803E, // lParam: a command line handed over, freed by the frame
    MSG_REFRESH = 0x803F,             // a dialog's input was changed in place (undo)
};

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

// What is open and running, as the windows, the frame and the menus need to know it.
extern int CurrentOperation;      // the kind of the open transformation, 0 for none
extern WindowHandle DialogWindow; // that transformation's dialog, or null
extern int CurrentTool;           // TOOL_*, 0 for no tool
extern WindowHandle ToolTarget;   // a window waiting for a picture click, or null
extern int ToolDown;              // 1 while the left button is down on a picture
extern WindowHandle SplashWindow; // the splash while it shows, or null
// A window (an open dialog) that draws over the picture windows and hears their mouse first
// (MSG_PICTURE_PAINT, MSG_PICTURE_MOUSE), or null.
extern WindowHandle PictureClient;

// A mouse message on a picture window, as MSG_PICTURE_MOUSE passes it on.
struct PictureMouse {
    uint32_t message; // MSG_LBUTTON_DOWN, MSG_MOUSE_MOVE or MSG_LBUTTON_UP
    int32_t x;        // client point of the picture's window
    int32_t y;
    uint32_t keys; // KEYS_* held
};

// Reads the metrics of the dialog font and the display into the globals above; at start-up
// and when the display changes.
void ReadDisplayMetrics(void);

// What the kit asks of the editor built on it: saving a picture, the files dropped on a
// picture window, what goes with a picture window that is destroyed (its undo steps), and
// the queue of files that wait while a dialog is up. The shell installs them at start-up;
// a hook left null does nothing (a save then succeeds without writing).
struct EditorHooks {
    ErrorCode (*saveImage)(WindowHandle window);
    void (*dropFiles)(const DroppedFiles *files);
    void (*windowDestroyed)(WindowHandle window);
    void (*openQueueHold)(void);
    void (*openQueueRelease)(void);
};

// Installs the hooks; the table must live as long as it is installed.
void EditorHooksInstall(const EditorHooks *hooks);

// The hooks, each doing nothing when it is not installed.
ErrorCode EditorSaveImage(WindowHandle window);
void EditorDropFiles(const DroppedFiles *files);
void EditorWindowDestroyed(WindowHandle window);
void EditorOpenQueueHold(void);
void EditorOpenQueueRelease(void);
