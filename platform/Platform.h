// What the program asks of the platform it runs on.
//
// Two implementations exist and exactly one is linked into a program: platform/headless
// (the tests), which keeps everything as records and answers dialogs from a script, and
// platform/qt (the editor). vistel-cli links neither. Nothing here names a Qt type, so all
// code outside platform/qt and app compiles without Qt. The interface grows with the issues
// that need it.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Helpers.h"
#include "ui/UiLayer.h"

struct MessageLayout;
struct ProgressState;

struct PlatformWindow; // a window the platform shows; its layout is the platform's business
typedef PlatformWindow *WindowHandle;

// Metrics of the dialog font, from which every dialog lays itself out.
struct PlatformMetrics {
    int lineHeight;      // pixels of one line of dialog text
    int buttonHeight;    // pixels of a push button
    int margin;          // pixels between controls and around them
    int dialogBorder;    // pixels the frame and caption of a dialog add to its height
    int dialogFrame;     // pixels the frame of a dialog adds to its width
    int screenWidth;     // pixels
    int screenHeight;    // pixels
    int smallLineHeight; // the same for the small font
    int smallButtonHeight;
    int scrollWidth;   // pixels of a vertical scroll bar
    int scrollHeight;  // pixels of a horizontal scroll bar
    int frameSize;     // pixels the frame of a sizable child adds to its width
    int borderSize;    // pixels its caption and frame add to its height
    int captionHeight; // pixels of a child's title bar
};

void PlatformGetMetrics(PlatformMetrics *metrics);

// Width in pixels of the first length characters of text in the dialog font, and in the
// small font.
int PlatformTextWidth(const char *text, int length);
int PlatformSmallTextWidth(const char *text, int length);

enum : int32_t {
    CURSOR_ARROW = 0,
    CURSOR_WAIT = 1,
    CURSOR_HAND = 2, // a picture being dragged
};

void PlatformSetCursor(int cursor);
void PlatformReleaseCapture(void);

// Milliseconds since some start; wraps at 2^32, so callers subtract unsigned.
uint32_t PlatformTickCount(void);

// The desktop's short warning sound: a typed value was refused.
void PlatformBeep(void);

// Lets the interface breathe during a long piece of work on the main thread.
void PlatformPumpMessages(void);

// Shows a modal message laid out by MessageDialogLayout and returns the ANSWER_* of the
// button pressed. title and text are already cut to their limits.
int PlatformShowMessage(void *owner, const char *title, const char *text, int kind,
                        const MessageLayout *layout);

// The progress window. The platform paints it from state, which the caller keeps alive
// until PlatformProgressDestroy. It is no child of the workspace's lists and is not
// activated, but its word 4 holds this kind, as a child's holds its own.
constexpr int32_t WINDOW_KIND_PROGRESS = 12;
WindowHandle PlatformProgressCreate(const char *title, int width, int height,
                                    const ProgressState *state);
void PlatformProgressRepaint(WindowHandle window);

// Dispatches the progress window's own pending messages and no others; returns 1 when its
// Cancel button was pressed since the last call.
int PlatformProgressPump(WindowHandle window);
void PlatformProgressDestroy(WindowHandle window);

// ---------------------------------------------------------------------------------------
// Windows and messages.
//
// The program is written as window procedures reacting to messages, as the shell's design
// has it: each window belongs to a class (frame, child, document, dock, or a custom control)
// whose procedure the shell registers; a child's kind (word 4) picks the procedure of its
// kind inside the shell. The platform creates and shows the windows, turns its own events
// into these messages, and calls the procedure. The headless platform keeps the windows as
// records and delivers messages directly, so tests drive every procedure without a screen.

// A window has nine words, as the image windows and dialogs use them.
constexpr int WINDOW_WORD_COUNT = 9;
enum : int32_t {
    WORD_HSCROLL = 0,  // an image window's horizontal scroll bar control
    WORD_VSCROLL = 1,  // its vertical one
    WORD_MODIFIED = 2, // 1 when the picture changed since it was opened or saved
    WORD_PRIVATE = 3,
    WORD_KIND = 4, // the kind of a child, which picks its procedure
    WORD_SLOT = 5, // the slot of its picture, or -1
    WORD_X = 6,
    WORD_Y = 7,       // its position
    WORD_POINTER = 8, // the kind's own record
};

typedef intptr_t MessageResult;
typedef MessageResult (*WindowProcedure)(WindowHandle window, uint32_t message, uintptr_t wParam,
                                         intptr_t lParam);

// Messages. The numbers of the standard ones are ours; the private ones (0x8001 and up) keep
// the values the shell's documents give them and are declared where they are used.
enum : uint32_t {
    MSG_CREATE = 0x0001,  // lParam: const WindowCreate *; answer -1 to refuse
    MSG_DESTROY = 0x0002, // the window is going; its children have gone
    MSG_MOVE = 0x0003,    // wParam: 0; lParam: client position, x low 16 bits, y high
    MSG_SIZE = 0x0005,    // wParam: SIZE_*; lParam: client width low 16, height high 16
    MSG_SET_FOCUS = 0x0007,
    MSG_KILL_FOCUS = 0x0008,
    MSG_PAINT = 0x000F,             // wParam: DrawContext *; lParam: const Rect * to repaint
    MSG_CLOSE = 0x0010,             // the user asks to close; default is PlatformDestroyWindow
    MSG_QUERY_END_SESSION = 0x0011, // answer non-zero to veto closing
    MSG_KEY_DOWN = 0x0100,          // wParam: KEY_*; lParam: KEYS_* modifiers
    MSG_CHAR = 0x0102,              // wParam: character (Tab 9, Return 13, Esc 27)
    MSG_COMMAND = 0x0111,           // wParam: id low 16 bits, notification high 16; lParam: control
    MSG_TIMER = 0x0113,             // wParam: timer id
    MSG_HSCROLL = 0x0114,           // wParam: SCROLL_* low 16, thumb position high 16
    MSG_VSCROLL = 0x0115,
    MSG_INIT_MENU = 0x0116,  // a menu is about to open: update its items
    MSG_MOUSE_MOVE = 0x0200, // wParam: KEYS_* and BUTTON_*; lParam: x low 16, y high 16
    MSG_LBUTTON_DOWN = 0x0201,
    MSG_LBUTTON_UP = 0x0202,
    MSG_LBUTTON_DOUBLE = 0x0203,
    MSG_RBUTTON_DOWN = 0x0204,
    MSG_RBUTTON_UP = 0x0205,
    MSG_MOUSE_WHEEL = 0x020A, // wParam: KEYS_* low 16, delta high 16 (120 a notch); lParam
    MSG_ACTIVATE = 0x0222,    // wParam: the window losing, lParam: the window gaining
    MSG_DROP_FILES = 0x0233,  // wParam: const DroppedFiles *; lParam: the point
    MSG_DISPLAY_CHANGE = 0x007E,
};

// The files of a MSG_DROP_FILES, in the order the desktop gave them; the platform keeps them
// alive until the message returns.
struct DroppedFiles {
    int32_t count;
    const char *const *paths;
};

// Notifications in the high half of a MSG_COMMAND's wParam.
enum : uint32_t {
    NOTIFY_CLICKED = 0,  // a button or menu item
    NOTIFY_CHANGED = 1,  // an edit's text or a list's choice changed
    NOTIFY_RELEASED = 2, // a slider was let go
    NOTIFY_MOVED = 3,    // a slider moves under the mouse
};

enum : uint32_t {
    SIZE_RESTORED = 0,
    SIZE_MINIMIZED = 1,
    SIZE_MAXIMIZED = 2,
};

enum : uint32_t {
    SCROLL_LINE_UP = 0,
    SCROLL_LINE_DOWN = 1,
    SCROLL_PAGE_UP = 2,
    SCROLL_PAGE_DOWN = 3,
    SCROLL_THUMB_POSITION = 4, // the thumb was let go at the position in the high half
    SCROLL_THUMB_TRACK = 5,    // the thumb is being dragged
    SCROLL_TOP = 6,
    SCROLL_BOTTOM = 7,
    SCROLL_END = 8,
};

// Modifier and button bits of mouse and key messages.
enum : uint32_t {
    KEYS_SHIFT = 0x0004,
    KEYS_CONTROL = 0x0008,
    KEYS_ALT = 0x0020,
    BUTTON_LEFT = 0x0001,
    BUTTON_RIGHT = 0x0002,
};

// Keys of MSG_KEY_DOWN that are not characters.
enum : uint32_t {
    KEY_PAGE_UP = 0x21,
    KEY_PAGE_DOWN = 0x22,
    KEY_END = 0x23,
    KEY_HOME = 0x24,
    KEY_LEFT = 0x25,
    KEY_UP = 0x26,
    KEY_RIGHT = 0x27,
    KEY_DOWN = 0x28,
    KEY_DELETE = 0x2E,
};

// Packing of positions and sizes into lParam, 16 signed bits each.
inline intptr_t MakeParam(int low, int high)
{
    return (intptr_t)(uint32_t)((uint16_t)low | ((uint32_t)(uint16_t)high << 16));
}
inline int ParamLow(intptr_t value)
{
    return (int16_t)(uint16_t)(value & 0xffff);
}
inline int ParamHigh(intptr_t value)
{
    return (int16_t)(uint16_t)((value >> 16) & 0xffff);
}

// Window classes the shell registers a procedure for.
enum : int32_t {
    CLASS_FRAME = 0,    // the one main window, with the menu and the workspace
    CLASS_CHILD = 1,    // every picture window and dialog inside the workspace
    CLASS_DOCUMENT = 2, // album pages
    CLASS_DOCK = 3,     // docked panes
    CLASS_CONTROL = 4,  // the custom controls, which draw themselves (slider, colorimg, ...)
    CLASS_COUNT = 5,
};

// Styles of a window.
enum : uint32_t {
    STYLE_SIZING = 0x0001,   // a frame the user can size
    STYLE_MINIMIZE = 0x0002, // a minimise button
    STYLE_MAXIMIZE = 0x0004, // a maximise button
    STYLE_CAPTION = 0x0008,  // a title bar
    STYLE_HIDDEN = 0x0010,   // not shown until PlatformShowWindow
    STYLE_DIALOG = 0x0020,   // a dialog's thin frame and gray face
};

constexpr int WINDOW_TITLE_MAX = 340; // characters of a title kept

struct WindowCreate {
    int32_t windowClass; // CLASS_*
    int32_t kind;        // a child's kind, or a custom control's type; goes to word 4
    int32_t slot;        // the picture's slot, or -1; goes to word 5
    const char *title;
    uint32_t style; // STYLE_* bits
    int32_t x;      // position in the parent's client area, or WINDOW_DEFAULT
    int32_t y;
    int32_t width; // size of the whole window, frame included, or WINDOW_DEFAULT
    int32_t height;
    WindowHandle parent; // the parent of a control; null for the frame and for children of
                         // the workspace
    int32_t controlId;   // a control's id in its parent's MSG_COMMAND
    intptr_t param;      // anything the creator passes to MSG_CREATE
};

constexpr int32_t WINDOW_DEFAULT = -32768;

// Registers the procedure of a class. The shell registers all of them at start-up.
void PlatformRegisterClass(int windowClass, WindowProcedure procedure);

// Creates a window, sends it MSG_CREATE and, unless STYLE_HIDDEN, shows it. Null when it
// cannot be made or MSG_CREATE refused it.
WindowHandle PlatformCreateWindow(const WindowCreate *request);

// Destroys a window and its controls: MSG_DESTROY to the window, then to each of its
// controls. A destroyed active child hands the activation to the next child. Safe on null.
void PlatformDestroyWindow(WindowHandle window);

// 1 while the handle names a window that exists.
int PlatformWindowExists(WindowHandle window);

MessageResult PlatformSendMessage(WindowHandle window, uint32_t message, uintptr_t wParam,
                                  intptr_t lParam);
// Queues a message; it is delivered from the message loop, in order.
void PlatformPostMessage(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam);

// What a procedure returns for a message it does not handle itself.
MessageResult PlatformDefaultProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                       intptr_t lParam);

intptr_t PlatformGetWindowWord(WindowHandle window, int index);
void PlatformSetWindowWord(WindowHandle window, int index, intptr_t value);
void PlatformSetWindowTitle(WindowHandle window, const char *title);
// Copies the title into text, at most size - 1 characters and a terminator.
void PlatformGetWindowTitle(WindowHandle window, char *text, int size);
int PlatformWindowClass(WindowHandle window);
WindowHandle PlatformWindowParent(WindowHandle window);

enum : int32_t {
    SHOW_HIDE = 0,
    SHOW_NORMAL = 1,
    SHOW_MINIMIZED = 2,
    SHOW_MAXIMIZED = 3,
    SHOW_RESTORE = 4, // back from minimised or maximised
};

void PlatformShowWindow(WindowHandle window, int show);
// SHOW_HIDE, SHOW_NORMAL, SHOW_MINIMIZED or SHOW_MAXIMIZED.
int PlatformWindowState(WindowHandle window);

// Position (in the parent's client area) and size of the whole window, frame included.
void PlatformMoveWindow(WindowHandle window, int x, int y, int width, int height);
void PlatformGetWindowRect(WindowHandle window, Rect *rect);
// The client area: left and top are 0.
void PlatformGetClientRect(WindowHandle window, Rect *rect);

// The workspace that holds the children (the MDI client) and its size.
WindowHandle PlatformWorkspace(void);

// The color the workspace shows where no child covers it, 0xRRGGBB.
void PlatformSetWorkspaceColor(uint32_t color);

// The children of the workspace in their order from front to back; null after the last.
WindowHandle PlatformFirstChild(void);
WindowHandle PlatformNextChild(WindowHandle window);

// Activation of the workspace's children; MSG_ACTIVATE goes to both windows.
void PlatformActivateWindow(WindowHandle window);
WindowHandle PlatformActiveWindow(void);
void PlatformSetFocus(WindowHandle window);
WindowHandle PlatformFocusWindow(void);
// The same as the Tab key moves the focus: the platform marks where the focus now is.
void PlatformSetFocusFromKey(WindowHandle window);

// Asks for MSG_PAINT of a rectangle of the client area (null: all of it), later.
void PlatformInvalidate(WindowHandle window, const Rect *rect);
// Paints now what has been invalidated.
void PlatformUpdateWindow(WindowHandle window);
// Moves the pixels of the client area by dx, dy and invalidates what came into view.
void PlatformScrollWindow(WindowHandle window, int dx, int dy);

// Timers send MSG_TIMER with their id until killed.
void PlatformSetTimer(WindowHandle window, int id, int milliseconds);
void PlatformKillTimer(WindowHandle window, int id);

// Mouse capture: the window gets every mouse message until released.
void PlatformSetCapture(WindowHandle window);

// KEYS_* of the modifiers held now.
uint32_t PlatformKeyState(void);

// ---------------------------------------------------------------------------------------
// Controls: the platform's own buttons, check boxes, texts, edits and lists inside a window.
// A control reports to its parent with MSG_COMMAND (its id, a NOTIFY_*). The custom controls
// of the program are windows of CLASS_CONTROL instead, drawn by the shell.

enum : int32_t {
    CONTROL_BUTTON = 0,
    CONTROL_CHECK_BOX = 1,  // toggles itself when clicked (value 0 or 1)
    CONTROL_STATIC = 2,     // text; ALIGN_* in the style
    CONTROL_EDIT = 3,       // one line of text
    CONTROL_POPUP_LIST = 4, // a drop-down list of items; value is the chosen index
    CONTROL_LIST = 5,       // a list box; value is the chosen index
    CONTROL_GROUP = 6,      // a frame with a caption around other controls
    CONTROL_RADIO = 7,      // one of a group; value 0 or 1
    CONTROL_SCROLL_H = 8,   // a horizontal scroll bar: MSG_HSCROLL to the parent, lParam itself
    CONTROL_SCROLL_V = 9,   // a vertical one: MSG_VSCROLL
};

enum : uint32_t {
    ALIGN_LEFT = 0x0100,
    ALIGN_CENTER = 0x0200,
    ALIGN_RIGHT = 0x0400,
    CONTROL_DEFAULT = 0x0800, // the default push button, pressed by Return
};

// Creates a control in parent; rect in the parent's client area. Null on failure.
WindowHandle PlatformCreateControl(WindowHandle parent, int type, int id, const char *text,
                                   uint32_t style, const Rect *rect);
WindowHandle PlatformControl(WindowHandle parent, int id);
// The id a control was made with, or -1 for a window that is not a control.
int PlatformControlId(WindowHandle control);
// The controls of parent, its own and the custom ones, in the order they were made: the
// one after control, or the first when control is null; null after the last.
WindowHandle PlatformNextControl(WindowHandle parent, WindowHandle control);
// The CONTROL_* of a platform control; -1 for a custom control or a window.
int PlatformControlType(WindowHandle control);
// 0 while a control is disabled.
int PlatformControlEnabled(WindowHandle control);
void PlatformSetControlText(WindowHandle parent, int id, const char *text);
void PlatformGetControlText(WindowHandle parent, int id, char *text, int size);
void PlatformSetControlValue(WindowHandle parent, int id, int value);
int PlatformControlValue(WindowHandle parent, int id);
void PlatformEnableControl(WindowHandle parent, int id, int enabled);
// The items of a list: each ended by a zero byte, the list by an empty string.
void PlatformSetControlItems(WindowHandle parent, int id, const char *items);
// A scroll bar control's positions 0..range with the thumb at position and page positions a
// page; it stays as shown or hidden by PlatformShowWindow.
void PlatformSetScrollBar(WindowHandle scrollBar, int range, int position, int page);
// Moves and sizes a control within its parent.
void PlatformMoveControl(WindowHandle control, const Rect *rect);
// The tip a control shows while the mouse rests on it (up to 80 characters); null or empty
// for none.
void PlatformSetControlTip(WindowHandle parent, int id, const char *tip);

// ---------------------------------------------------------------------------------------
// Drawing, inside MSG_PAINT or on a context from PlatformBeginDraw. Colors are 0xRRGGBB.

struct DrawContext; // the platform's painter

void PlatformFillRect(DrawContext *context, const Rect *rect, uint32_t color);
void PlatformFrameRect(DrawContext *context, const Rect *rect, uint32_t color);
void PlatformDrawLine(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color);
// Text with its top left corner at x, y in the dialog font, or the small font.
void PlatformDrawText(DrawContext *context, int x, int y, const char *text, uint32_t color,
                      int small);
// Rows of an Image of type 1, 2 or 3 (bottom-up, blue first): the part source (columns and
// row indices, inclusive) drawn with its top left corner at x, y.
void PlatformDrawImage(DrawContext *context, const struct Image *image, const Rect *source, int x,
                       int y);
// The exclusive-or rubber band of tools: drawing the same line twice leaves nothing.
void PlatformDrawXorLine(DrawContext *context, int x0, int y0, int x1, int y1);
void PlatformDrawXorRect(DrawContext *context, const Rect *rect);
// Exclusive-or marks in a color of their own: each channel under the line or the text is
// xored with the color's, so that a mark stays visible on any picture and drawing it twice
// leaves nothing. The text is drawn without smoothing, so that both times hit the same pixels.
void PlatformDrawXorColorLine(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color);
void PlatformDrawXorText(DrawContext *context, int x, int y, const char *text, uint32_t color,
                         int small);

// A context for drawing outside MSG_PAINT (rubber bands during a drag).
DrawContext *PlatformBeginDraw(WindowHandle window);
void PlatformEndDraw(WindowHandle window, DrawContext *context);

// ---------------------------------------------------------------------------------------
// The frame's menu. The shell describes it once; the platform builds it and sends MSG_INIT_MENU
// before a menu opens and MSG_COMMAND with the item's id when one is chosen.

struct MenuItem {
    int32_t id;          // the command; 0 for a separator, -1 for a submenu's title
    const char *label;   // with & before the access key; "\t" and the shortcut text after it,
                         // and after a second "\t" another key for the item, not shown
    int32_t depth;       // 0 for the menu bar's titles, 1 for their items, 2 for a submenu's
    int32_t checked = 0; // a pop-up menu's item shows a check mark (the frame's menu has
                         // PlatformCheckMenuItem)
};

// Builds the frame's menu from items, ended by an item of id 0 and null label.
void PlatformSetMenu(const MenuItem *items);
void PlatformEnableMenuItem(int id, int enabled);
void PlatformCheckMenuItem(int id, int checked);
// Sets the text of an item, adding it at the end of the submenu of after when it is missing,
// or removes the item when text is null. For the recent files and the Mask menu's list.
void PlatformSetMenuItem(int id, int after, const char *text);
// Shows a pop-up menu at a point of window's client area; returns the chosen id or 0.
int PlatformPopupMenu(WindowHandle window, const MenuItem *items, int x, int y);

// ---------------------------------------------------------------------------------------
// Modal loops, file dialogs, the clipboard and the outside world.

// Runs the message loop until PlatformQuit; returns its code.
int PlatformRun(void);
void PlatformQuit(int code);
// Runs a nested loop until PlatformEndModal(window, result) for window; other windows of the
// workspace get no input meanwhile. Returns result.
int PlatformRunModal(WindowHandle window);
void PlatformEndModal(WindowHandle window, int result);

enum : int32_t {
    FILE_DIALOG_OPEN = 0,
    FILE_DIALOG_OPEN_MANY = 1, // several files may be chosen
    FILE_DIALOG_SAVE = 2,      // asks before replacing a file
    FILE_DIALOG_FOLDER = 3,
    // A save dialog that does not ask about an existing file, for a caller that asks its
    // own question (one that also knows of open windows showing the file).
    FILE_DIALOG_SAVE_NO_PROMPT = 4,
};

struct FileDialogRequest {
    int32_t mode;        // FILE_DIALOG_*
    const char *title;   // e.g. "File Open"
    const char *filters; // pairs of label and pattern ("TIFF", "*.tif;*.tiff"), each ended
                         // by a zero byte, the list by an empty string; null for folders
    int32_t filter;      // index of the filter shown first
    const char *folder;  // the folder to start in, or empty
    const char *name;    // the name to offer, or empty
};

struct FileDialogResult {
    int32_t filter; // index of the filter in use when the user chose
    char *paths;    // the chosen paths, each ended by a zero byte, the list by an
                    // empty string; owned by the platform until the next dialog
};

// Shows a file or folder dialog; 1 when the user chose, 0 when cancelled.
int PlatformFileDialog(const FileDialogRequest *request, FileDialogResult *result);

// The clipboard: text, and pictures as the rows of an Image of type 1, 2 or 3.
int PlatformClipboardSetText(const char *text);
// Copies at most size - 1 characters; 0 when the clipboard holds no text.
int PlatformClipboardGetText(char *text, int size);
int PlatformClipboardSetImage(const struct Image *image);
// Fills image (cleared by the caller) from the clipboard's picture; an ErrorCode.
ErrorCode PlatformClipboardGetImage(struct Image *image);
int PlatformClipboardHasImage(void);
// Empties the clipboard of everything, ours or another program's.
void PlatformClipboardClear(void);

// Opens a document or a web address with the desktop's program for it.
int PlatformOpenExternal(const char *pathOrAddress);

// Hands the command line to an instance of the program that is already running. Returns 1
// when one took it (this one should then end), 0 when this is the first instance; the first
// instance then receives later command lines as MSG_OPEN_FROM_CLIPBOARD (0x803E) posted to
// the frame, with a copy of the text as lParam, which the receiver frees with MemoryFree.
int PlatformHandOverCommandLine(const char *commandLine);

// The settings store: text values by key and name, as the registry keeps them on Windows.
// The keys in use are "Preferences", "State" and "Color Settings"; every value is a line of
// the settings grammar (core/SettingsText.h). Reading copies at most capacity - 1
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

// The ICC profile the desktop has set for the display, copied into a block from MemoryAlloc
// that the caller frees: 1 with *bytes and *length, or 0 with null and 0 when the desktop
// tells of none. What the bytes are worth is the caller's to judge.
int PlatformDisplayProfile(uint8_t **bytes, int32_t *length);
