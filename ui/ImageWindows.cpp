// The child class and the image window.
//
// Every window inside the workspace is of the one child class, and its kind (word 4) picks
// the procedure that handles its messages. The class procedure keeps the words every child
// shares (position, modified flag, the active child) and hands on. The image window (kind 0)
// shows one picture record through the display code, scrolls it, passes the mouse to the
// current tool, and asks before a modified picture is closed.
#include <cstring>

#include "core/FormatString.h"
#include "core/Preferences.h"
#include "core/Text.h"
#include "ui/CommandIds.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/GridDialog.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/UiState.h"

static WindowProcedure KindProcedures[KIND_COUNT];
static ToolProcedure Tools[TOOL_COUNT];

// The control ids of an image window's two scroll bars.
enum : int32_t {
    SCROLL_BAR_H_ID = 1,
    SCROLL_BAR_V_ID = 2,
};

constexpr int NEW_WINDOW_SIZE = 400; // pixels across and down of a new window with no parent

// ---------------------------------------------------------------------------------------
// The child class.

void ChildKindRegister(int kind, WindowProcedure procedure)
{
    if (kind >= 0 && kind < KIND_COUNT) KindProcedures[kind] = procedure;
}

MessageResult ChildProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                             intptr_t lParam)
{
    switch (message) {
    case MSG_CREATE: {
        // The platform has put the kind and slot in words 4 and 5 already.
        const WindowCreate *request = (const WindowCreate *)lParam;
        PlatformSetWindowWord(window, WORD_MODIFIED, 0);
        if (request != nullptr && request->x != WINDOW_DEFAULT) {
            PlatformSetWindowWord(window, WORD_X, request->x);
            PlatformSetWindowWord(window, WORD_Y, request->y);
        }
        break;
    }
    case MSG_MOVE:
        PlatformSetWindowWord(window, WORD_X, ParamLow(lParam));
        PlatformSetWindowWord(window, WORD_Y, ParamHigh(lParam));
        break;
    case MSG_ACTIVATE:
        if ((WindowHandle)lParam == window) {
            ActiveWindow = window;
            PlatformSetFocus(window);
        }
        break;
    case MSG_NEXT_FIELD:
    case MSG_PREVIOUS_FIELD: {
        // Tab in any child with controls: wParam is the id of the control that has the
        // focus, or -1 when the child itself has it. The kind hears of it after.
        WindowHandle from = (intptr_t)wParam >= 0 ? PlatformControl(window, (int)wParam) : nullptr;
        ControlFocusNext(window, from, message == MSG_PREVIOUS_FIELD);
        break;
    }
    default: break;
    }

    int kind = (int)PlatformGetWindowWord(window, WORD_KIND);
    WindowProcedure procedure = kind >= 0 && kind < KIND_COUNT ? KindProcedures[kind] : nullptr;
    MessageResult result = procedure != nullptr
                               ? procedure(window, message, wParam, lParam)
                               : PlatformDefaultProcedure(window, message, wParam, lParam);

    if (message == MSG_DESTROY) {
        // Nothing may keep a handle to a window that is gone.
        if (ActiveWindow == window) ActiveWindow = nullptr;
        if (ToolTarget == window) ToolTarget = nullptr;
        if (PictureClient == window) PictureClient = nullptr;
        if (DialogWindow == window) {
            // However a transformation's dialog ends (OK, Cancel, the frame closing), the
            // files that waited for it may open now.
            DialogWindow = nullptr;
            CurrentOperation = 0;
            EditorOpenQueueRelease();
        }
        if (SplashWindow == window) SplashWindow = nullptr;
        ClearInUse(window, nullptr);
        ClearInUse(nullptr, window);
    }
    return result;
}

// ---------------------------------------------------------------------------------------
// Tools.

void ToolRegister(int tool, ToolProcedure procedure)
{
    if (tool > 0 && tool < TOOL_COUNT) Tools[tool] = procedure;
}

void ToolCall(int tool, WindowHandle window, int x, int y, int phase)
{
    if (tool > 0 && tool < TOOL_COUNT && Tools[tool] != nullptr) Tools[tool](window, x, y, phase);
}

// The scroll tool: the picture follows the mouse while the button is down. Each move asks
// the window to scroll to a thumb position, so that the display's rounding to the zoom holds.
static struct {
    int x; // client point of the press
    int y;
    int left; // scroll positions at the press, view pixels
    int top;
} ScrollDrag;

static void ScrollTool(WindowHandle window, int x, int y, int phase)
{
    const ImageWindow *record = WindowRecord(window);
    if (record == nullptr) return;
    switch (phase) {
    case TOOL_PHASE_DOWN:
    case TOOL_PHASE_SHIFT_DOWN:
        ScrollDrag.x = x;
        ScrollDrag.y = y;
        ScrollDrag.left = record->scrollLeft;
        ScrollDrag.top = record->scrollTop;
        break;
    case TOOL_PHASE_MOVE:
    case TOOL_PHASE_SHIFT_MOVE: {
        if (!ToolDown) break;
        int left = ScrollDrag.left - (x - ScrollDrag.x);
        int top = ScrollDrag.top - (y - ScrollDrag.y);
        if (left < 0) left = 0;
        if (top < 0) top = 0;
        if (record->scrollRangeX > 0 && left != record->scrollLeft)
            PlatformSendMessage(window, MSG_HSCROLL,
                                SCROLL_THUMB_POSITION | ((uintptr_t)(uint16_t)left << 16), 0);
        if (record->scrollRangeY > 0 && top != record->scrollTop)
            PlatformSendMessage(window, MSG_VSCROLL,
                                SCROLL_THUMB_POSITION | ((uintptr_t)(uint16_t)top << 16), 0);
        break;
    }
    default: break;
    }
}

// ---------------------------------------------------------------------------------------
// The image window.

// The right button's menu; its choices go to the frame as commands.
static const MenuItem IMAGE_POPUP[] = {
    {COMMAND_WINDOW_INFO, "&Display Info", 1},
    {COMMAND_GRID, "&Grid", 1},
    {0, "", 1},
    {COMMAND_ZOOM_IN, "Zoom &In", 1},
    {COMMAND_ZOOM_IN_RESIZE, "Zoom In and &Resize", 1},
    {COMMAND_ZOOM_OUT, "Zoom &Out", 1},
    {COMMAND_ZOOM_ONE, "Zoom to &1:1", 1},
    {COMMAND_ZOOM_ONE_RESIZE, "Zoom to 1:1 and Re&size", 1},
    {COMMAND_ZOOM_FIT, "Zoom Out to &Fit Screen", 1},
    {0, nullptr, 0},
};

static WindowHandle ScrollBar(WindowHandle window, int word)
{
    return (WindowHandle)PlatformGetWindowWord(window, word);
}

void ImageWindowAttach(WindowHandle window)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr) return;
    record->window = window;
    if (record->gridDivisions < 1) record->gridDivisions = 1;
    // Both bars start hidden; the layout shows them when the picture does not fit.
    Rect none = {0, 0, 0, 0};
    WindowHandle across =
        PlatformCreateControl(window, CONTROL_SCROLL_H, SCROLL_BAR_H_ID, "", 0, &none);
    WindowHandle down =
        PlatformCreateControl(window, CONTROL_SCROLL_V, SCROLL_BAR_V_ID, "", 0, &none);
    PlatformShowWindow(across, SHOW_HIDE);
    PlatformShowWindow(down, SHOW_HIDE);
    PlatformSetWindowWord(window, WORD_HSCROLL, (intptr_t)across);
    PlatformSetWindowWord(window, WORD_VSCROLL, (intptr_t)down);
}

void ImageWindowPlaceBars(WindowHandle window, int width, int height)
{
    Rect bottomEdge = {0, height - DisplayMetrics.scrollHeight, width - DisplayMetrics.scrollWidth,
                       height};
    Rect rightEdge = {width - DisplayMetrics.scrollWidth, 0, width,
                      height - DisplayMetrics.scrollHeight};
    PlatformMoveControl(ScrollBar(window, WORD_HSCROLL), &bottomEdge);
    PlatformMoveControl(ScrollBar(window, WORD_VSCROLL), &rightEdge);
}

static void ImageWindowSize(WindowHandle window, uint32_t kind, int width, int height)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr) return;
    if (kind == SIZE_MINIMIZED) {
        // A minimised window shows nothing; its views are made again when it comes back.
        ImageFree(&record->view);
        ImageFree(&record->screen);
        return;
    }
    ImageWindowPlaceBars(window, width, height);
    if (!ImageIsPicture(record->picture.image.type)) {
        PlatformShowWindow(ScrollBar(window, WORD_HSCROLL), SHOW_HIDE);
        PlatformShowWindow(ScrollBar(window, WORD_VSCROLL), SHOW_HIDE);
        return;
    }
    ImageWindowLayout(window);
    NotifyUsers(window);
}

void ImageWindowLayout(WindowHandle window)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr || !ImageIsPicture(record->picture.image.type)) return;
    ImageFree(&record->view);
    ImageFree(&record->screen);
    // A layout that resized the window has a MSG_SIZE coming, which does the rest.
    if (LayoutWindow(window, record, 0, 0) == 0) {
        LayoutScroll(window, record, -1, -1);
        CenterView(record, window);
        ErrorCode result = RefreshView(record);
        if (result != ERROR_NONE) ShowError(result);
        // What the window showed before belongs to the old layout, and may have been painted
        // while the picture was still being made.
        PlatformInvalidate(window, nullptr);
    }
    UpdateTitle(window);
}

WindowHandle FindChildOfKind(int kind)
{
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child))
        if (PlatformWindowClass(child) == CLASS_CHILD &&
            PlatformGetWindowWord(child, WORD_KIND) == kind)
            return child;
    return nullptr;
}

// What a new zoom changes beyond the view: the title shows the zoom, and the dialogs that
// use the picture follow what it shows.
static void ImageWindowZoomed(WindowHandle window)
{
    UpdateTitle(window);
    NotifyUsers(window);
}

static void ImageWindowScroll(WindowHandle window, uint32_t message, uintptr_t wParam)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr || !ImageIsPicture(record->picture.image.type)) return;
    ToolCall(CurrentTool, window, 0, 0, TOOL_PHASE_OVERLAY);
    // A scroll leaves the zoom and so the title as they were.
    if (ScrollImageWindow(window, record, message, wParam)) NotifyUsers(window);
    ToolCall(CurrentTool, window, 0, 0, TOOL_PHASE_OVERLAY);
}

// The zoom commands of the menu and of the right button's menu. Returns 1 for one of them.
static int ImageWindowCommand(WindowHandle window, int id)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr || !ImageIsPicture(record->picture.image.type)) return 0;
    switch (id) {
    case COMMAND_ZOOM_IN: ZoomIn(window, record, 0, -1, -1); break;
    case COMMAND_ZOOM_IN_RESIZE: ZoomIn(window, record, 1, -1, -1); break;
    case COMMAND_ZOOM_OUT: ZoomOut(window, record, 0); break;
    case COMMAND_ZOOM_ONE: ZoomOneToOne(window, record, 0, -1, -1); break;
    case COMMAND_ZOOM_ONE_RESIZE: ZoomOneToOne(window, record, 1, -1, -1); break;
    case COMMAND_ZOOM_FIT: ZoomToFitClient(window, record, PlatformWorkspace(), 0); break;
    case COMMAND_GRID: ShowGridDialog(window); return 1;
    default: return 0;
    }
    ImageWindowZoomed(window);
    return 1;
}

static void ImageWindowWheel(WindowHandle window, uintptr_t wParam, intptr_t lParam)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr || !ImageIsPicture(record->picture.image.type)) return;
    // A plain wheel comes back as scroll messages, which notify by themselves; Control zooms.
    int zoom = record->zoom;
    WheelImageWindow(window, record, wParam, lParam);
    if (record->zoom != zoom) ImageWindowZoomed(window);
}

void ImageWindowKeyScroll(WindowHandle window, uint32_t key, uint32_t modifiers)
{
    uint32_t message = MSG_VSCROLL;
    uint32_t code;
    switch (key) {
    case KEY_PAGE_UP: code = SCROLL_PAGE_UP; break;
    case KEY_PAGE_DOWN: code = SCROLL_PAGE_DOWN; break;
    case KEY_UP: code = SCROLL_LINE_UP; break;
    case KEY_DOWN: code = SCROLL_LINE_DOWN; break;
    case KEY_LEFT:
        message = MSG_HSCROLL;
        code = SCROLL_LINE_UP;
        break;
    case KEY_RIGHT:
        message = MSG_HSCROLL;
        code = SCROLL_LINE_DOWN;
        break;
    case KEY_HOME:
    case KEY_END:
        if (modifiers & KEYS_CONTROL) {
            // Ctrl goes to a corner: top left for Home, bottom right for End.
            code = key == KEY_HOME ? SCROLL_TOP : SCROLL_BOTTOM;
            PlatformSendMessage(window, MSG_HSCROLL, code, 0);
            PlatformSendMessage(window, MSG_VSCROLL, code, 0);
            return;
        }
        message = MSG_HSCROLL;
        code = key == KEY_HOME ? SCROLL_PAGE_UP : SCROLL_PAGE_DOWN;
        break;
    default: return;
    }
    PlatformSendMessage(window, message, code, 0);
}

// The tool that a press starts keeps the drag until the button goes up, even when Alt is
// let go in between.
static int DragTool;
static WindowHandle DragWindow;
// The picture window whose press the PictureClient took, until the release; null for none.
static WindowHandle ClientDragWindow;

// Offers the mouse to the PictureClient; 1 when it took the message. Alt keeps a press for
// the picture's own panning.
static int ImageWindowMouseToClient(WindowHandle window, uint32_t message, uintptr_t wParam,
                                    intptr_t lParam)
{
    PictureMouse mouse = {message, ParamLow(lParam), ParamHigh(lParam), (uint32_t)wParam};
    if (ClientDragWindow != nullptr) {
        if (ClientDragWindow != window) return 1;
        if (PictureClient != nullptr)
            PlatformSendMessage(PictureClient, MSG_PICTURE_MOUSE, (uintptr_t)window,
                                (intptr_t)&mouse);
        if (message == MSG_LBUTTON_UP) {
            ClientDragWindow = nullptr;
            PlatformReleaseCapture();
        }
        return 1;
    }
    if (PictureClient == nullptr || ToolDown) return 0;
    if (message == MSG_LBUTTON_DOWN && (mouse.keys & KEYS_ALT)) return 0;
    if (message == MSG_LBUTTON_UP) return 0;
    if (PlatformSendMessage(PictureClient, MSG_PICTURE_MOUSE, (uintptr_t)window,
                            (intptr_t)&mouse) == 0)
        return 0;
    if (message == MSG_LBUTTON_DOWN && PictureClient != nullptr) {
        ClientDragWindow = window;
        PlatformSetCapture(window);
    }
    return 1;
}

static void ImageWindowMouse(WindowHandle window, uint32_t message, uintptr_t wParam,
                             intptr_t lParam)
{
    int x = ParamLow(lParam);
    int y = ParamHigh(lParam);
    uint32_t keys = (uint32_t)wParam;
    int shift = (keys & KEYS_SHIFT) != 0;
    if (ImageWindowMouseToClient(window, message, wParam, lParam)) return;
    switch (message) {
    case MSG_LBUTTON_DOWN:
        if (ToolTarget != nullptr) {
            // A window waiting for a picture click takes this one.
            PlatformSendMessage(ToolTarget, MSG_CLICK, (uintptr_t)window, lParam);
            return;
        }
        DragTool = (keys & KEYS_ALT) ? TOOL_SCROLL : CurrentTool;
        DragWindow = window;
        ToolDown = 1;
        PlatformSetCapture(window);
        ToolCall(DragTool, window, x, y, shift ? TOOL_PHASE_SHIFT_DOWN : TOOL_PHASE_DOWN);
        break;
    case MSG_MOUSE_MOVE: {
        int tool = ToolDown ? DragTool : ((keys & KEYS_ALT) ? TOOL_SCROLL : CurrentTool);
        ToolCall(tool, window, x, y, shift ? TOOL_PHASE_SHIFT_MOVE : TOOL_PHASE_MOVE);
        break;
    }
    case MSG_LBUTTON_UP:
        if (!ToolDown) break;
        ToolDown = 0;
        DragWindow = nullptr;
        PlatformReleaseCapture();
        ToolCall(DragTool, window, x, y, TOOL_PHASE_UP);
        break;
    default: break;
    }
}

static void ImageWindowDestroy(WindowHandle window)
{
    ImageWindow *record = WindowRecord(window);
    EditorWindowDestroyed(window);
    ToolCall(CurrentTool, window, 0, 0, TOOL_PHASE_DESTROY);
    if (DragWindow == window) {
        // The button went down here and will never come up here.
        ToolDown = 0;
        DragWindow = nullptr;
        PlatformReleaseCapture();
    }
    if (ClientDragWindow == window) {
        ClientDragWindow = nullptr;
        PlatformReleaseCapture();
    }
    // A picture that showed this one as its mask overlay stops showing it.
    for (int slot = 0; slot < SLOT_COUNT; slot++) {
        ImageWindow *other = SlotRecord(slot);
        if (!other->free && other->overlayMask == window) {
            other->overlayMask = nullptr;
            PlatformInvalidate(other->window, nullptr);
        }
    }
    if (record != nullptr) SlotFree(record->slot);
    PlatformSetWindowWord(window, WORD_SLOT, -1);
}

MessageResult ImageWindowProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                   intptr_t lParam)
{
    ImageWindow *record = WindowRecord(window);
    switch (message) {
    case MSG_CREATE: ImageWindowAttach(window); return 0;
    case MSG_CLOSE: {
        const char *user = InUseBy(window);
        if (user != nullptr) {
            ShowErrorText("Window in use by %s - Cannot close", user);
            return 0;
        }
        // The picture under the mask tool goes only when the tool gives up its work.
        WindowHandle maskTool = FindChildOfKind(KIND_MASK);
        if (maskTool != nullptr &&
            PlatformSendMessage(maskTool, MSG_PICTURE_CLOSING, (uintptr_t)window, 0) != 0)
            return 0;
        if (QuerySave(window)) PlatformDestroyWindow(window);
        return 0;
    }
    case MSG_QUERY_END_SESSION: return QuerySave(window) ? 0 : 1;
    case MSG_DESTROY: ImageWindowDestroy(window); return 0;
    case MSG_SIZE:
        ImageWindowSize(window, (uint32_t)wParam, ParamLow(lParam), ParamHigh(lParam));
        return 0;
    case MSG_PAINT:
        if (record == nullptr || PlatformWindowState(window) == SHOW_MINIMIZED) return 0;
        ToolCall(CurrentTool, window, 0, 0, TOOL_PHASE_OVERLAY);
        PaintImageWindow((DrawContext *)wParam, window, record, &record->picture.image);
        if (PictureClient != nullptr)
            PlatformSendMessage(PictureClient, MSG_PICTURE_PAINT, wParam, (intptr_t)window);
        ToolCall(CurrentTool, window, 0, 0, TOOL_PHASE_OVERLAY);
        return 0;
    case MSG_HSCROLL:
    case MSG_VSCROLL: ImageWindowScroll(window, message, wParam); return 0;
    case MSG_KEY_DOWN: ImageWindowKeyScroll(window, (uint32_t)wParam, (uint32_t)lParam); return 0;
    case MSG_CHAR:
        // The frame's filter sees a character first (Tab, Return, Esc); the rest goes to the
        // open transformation, which may use keys of its own.
        if (FrameWindow != nullptr && PlatformSendMessage(FrameWindow, MSG_CHAR, wParam, 0))
            return 0;
        if (DialogWindow != nullptr) PlatformSendMessage(DialogWindow, MSG_KEY, wParam, 0);
        return 0;
    case MSG_RBUTTON_DOWN: {
        PlatformActivateWindow(window);
        int chosen = PlatformPopupMenu(window, IMAGE_POPUP, ParamLow(lParam), ParamHigh(lParam));
        if (chosen != 0 && FrameWindow != nullptr)
            PlatformSendMessage(FrameWindow, MSG_COMMAND, (uintptr_t)(uint16_t)chosen, 0);
        return 0;
    }
    case MSG_MOUSE_WHEEL: ImageWindowWheel(window, wParam, lParam); return 0;
    case MSG_COMMAND: return ImageWindowCommand(window, (int)(wParam & 0xffff));
    case MSG_DROP_FILES: EditorDropFiles((const DroppedFiles *)wParam); return 0;
    case MSG_LBUTTON_DOWN:
    case MSG_MOUSE_MOVE:
    case MSG_LBUTTON_UP: ImageWindowMouse(window, message, wParam, lParam); return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// ---------------------------------------------------------------------------------------
// Making image windows.

// A child of kind 0 for the picture in slot, at the staggered place of new windows; param
// goes to its creation message. Null when the platform cannot make it.
static WindowHandle ImageWindowMake(int slot, int width, int height, intptr_t param)
{
    WindowCreate request = {CLASS_CHILD,
                            KIND_IMAGE,
                            slot,
                            "Untitled",
                            STYLE_SIZING | STYLE_MINIMIZE | STYLE_MAXIMIZE | STYLE_CAPTION,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            width,
                            height,
                            nullptr,
                            0,
                            param};
    return PlatformCreateWindow(&request);
}

ErrorCode NewImageWindow(WindowHandle parent, WindowHandle *window, int width, int height,
                         int commandId)
{
    int slot = -1;
    ImageWindow *record = nullptr;
    *window = nullptr;
    ErrorCode result = SlotAllocate(&slot, &record);
    if (result != ERROR_NONE) return result;
    if (width == -1 || height == -1) {
        Rect rect = {0, 0, NEW_WINDOW_SIZE, NEW_WINDOW_SIZE};
        if (parent != nullptr) PlatformGetWindowRect(parent, &rect);
        if (width == -1) width = rect.right - rect.left;
        if (height == -1) height = rect.bottom - rect.top;
    }
    if (parent == nullptr && (width <= 0 || height <= 0)) width = height = NEW_WINDOW_SIZE;
    // The command that made it goes along, for whoever wants it.
    *window = ImageWindowMake(slot, width, height, commandId);
    if (*window == nullptr) {
        SlotFree(slot);
        return ERROR_NO_MEMORY;
    }
    return ERROR_NONE;
}

ErrorCode ImageWindowShow(ImageWindow *record, WindowHandle *window)
{
    *window = nullptr;
    // The window takes the zoomed picture with its border, but no more than the workspace;
    // the layout adds scroll bars when it has to.
    Rect workspace;
    PlatformGetClientRect(PlatformWorkspace(), &workspace);
    int width = ZoomedSize(record->picture.image.width, record->zoom) + DisplayMetrics.frameSize +
                2 * DisplayBorder();
    int height = ZoomedSize(record->picture.image.height, record->zoom) +
                 DisplayMetrics.borderSize + 2 * DisplayBorder();
    if (width > workspace.right) width = workspace.right;
    if (height > workspace.bottom) height = workspace.bottom;
    *window = ImageWindowMake(record->slot, width, height, 0);
    if (*window == nullptr) return ERROR_NO_MEMORY;
    // Staggered down and right from the others, it may stand partly past the workspace's
    // edge, with its frame and scroll bars out of reach.
    FitWindow(*window);
    UpdateTitle(*window);
    PlatformActivateWindow(*window);
    return ERROR_NONE;
}

// ---------------------------------------------------------------------------------------
// Titles.

// A path as titles show it: whole, or from after its last separator.
static const char *ShownName(const char *path)
{
    if (Prefs.displayFullPathName) return path;
    const char *name = path;
    for (const char *c = path; *c != 0; c++)
        if (*c == '/' || *c == '\\' || *c == ':') name = c + 1;
    return name;
}

void WindowTitle(WindowHandle window, char *title, int capacity)
{
    if (capacity <= 0) return;
    if (PlatformGetWindowWord(window, WORD_KIND) == KIND_PREVIEW) {
        FormatString(title, capacity, "Preview");
        return;
    }
    const ImageWindow *record = WindowRecord(window);
    if (record == nullptr) {
        PlatformGetWindowTitle(window, title, capacity);
        return;
    }
    if (record->picture.fileName[0] != 0)
        FormatString(title, capacity, "%s", ShownName(record->picture.fileName));
    else if (record->picture.derivedFrom[0] != 0)
        FormatString(title, capacity, "Untitled %d - %s", record->slot + 1,
                     ShownName(record->picture.derivedFrom));
    else
        FormatString(title, capacity, "Untitled %d", record->slot + 1);
}

void UpdateTitle(WindowHandle window)
{
    char name[PATH_LENGTH + 32];
    char title[WINDOW_TITLE_MAX + 1];
    WindowTitle(window, name, sizeof name);
    const ImageWindow *record = WindowRecord(window);
    // A preview has no picture of its own but shows the result at a zoom all the same.
    int zoomed = record != nullptr && (ImageIsPicture(record->picture.image.type) ||
                                       PlatformGetWindowWord(window, WORD_KIND) == KIND_PREVIEW);
    if (zoomed) {
        if (record->zoom < 0)
            FormatString(title, sizeof title, "%s (1:%d)", name, -record->zoom);
        else
            FormatString(title, sizeof title, "%s (%d:1)", name, record->zoom);
    } else {
        StrCopyLimit(name, title, WINDOW_TITLE_MAX);
    }
    PlatformSetWindowTitle(window, title);
}

// ---------------------------------------------------------------------------------------
// Closing.

int QuerySave(WindowHandle window)
{
    if (InUseBy(window) != nullptr) return 0;
    if (!Prefs.confirm || PlatformGetWindowWord(window, WORD_MODIFIED) == 0) return 1;
    if (PlatformWindowState(window) == SHOW_MINIMIZED) PlatformShowWindow(window, SHOW_RESTORE);
    char name[PATH_LENGTH + 32];
    char text[MESSAGE_TEXT_MAX + 1];
    WindowTitle(window, name, sizeof name);
    FormatString(text, sizeof text, "Save Modified Image: %s?", name);
    switch (MessageDialog(nullptr, "Warning", MESSAGE_YES_NO_CANCEL, text)) {
    case ANSWER_YES: {
        ErrorCode result = EditorSaveImage(window);
        // A cancelled Save As is the user's own choice and needs no message.
        if (result != ERROR_NONE && result != ERROR_ABORTED) ShowError(result);
        return result == ERROR_NONE;
    }
    case ANSWER_NO: return 1;
    default: return 0;
    }
}

WindowHandle FindImageWindow(const char *path)
{
    if (path == nullptr || path[0] == 0) return nullptr;
    for (int slot = 0; slot < SLOT_COUNT; slot++) {
        const ImageWindow *record = SlotRecord(slot);
        if (record->free || record->window == nullptr) continue;
        if (PlatformGetWindowWord(record->window, WORD_KIND) != KIND_IMAGE) continue;
        if (StrEqualNoCase(record->picture.fileName, path)) return record->window;
    }
    return nullptr;
}

void ImageWindowsRegister(void)
{
    ChildKindRegister(KIND_IMAGE, ImageWindowProcedure);
    ToolRegister(TOOL_SCROLL, ScrollTool);
}
