// The life of the editor: start-up, the frame with its menu, the frame's messages, the
// command line, the splash, dropped files, and shutdown.
//
// The frame is the one top-level window. Every other window lives in its workspace as a
// child, and the frame's procedure is where the menu's commands, dropped files and command
// lines handed over by a second start arrive. A close runs in a fixed order of questions, so
// that nothing the user is working on goes without being asked about.
#include "shell/Shell.h"

#include <cstring>

#include "color/ColorSettings.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "masks/AmountControl.h"
#include "masks/MaskTool.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "shell/Undo.h"
#include "shell/WindowInfo.h"
#include "transforms/TransformDialogs.h"
#include "transforms/Transforms.h"
#include "ui/Controls.h"
#include "ui/DialogLayout.h"
#include "ui/Display.h"
#include "ui/DisplayColor.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/ProgressWindow.h"
#include "ui/SettingsStore.h"
#include "ui/Transform.h"
#include "ui/UiStartup.h"

char ProgramDirectory[PATH_LENGTH];
int ClipboardHoldsImage;
int EnterApplies;

constexpr int SPLASH_WIDTH = 325;  // pixels
constexpr int SPLASH_HEIGHT = 278; // pixels
constexpr int SPLASH_TIMER = 1;    // the splash's own timer
constexpr int SPLASH_MILLISECONDS = 5000;
constexpr int CLIPBOARD_TEXT_MAX = 65536; // characters of a command line read from the clipboard
constexpr int CHILDREN_MAX = 4096;        // more children than any workspace holds

static int ShutdownDone; // 1 once Shutdown has run, until the next Initialise

static MessageResult FrameProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                    intptr_t lParam);
static MessageResult SplashProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam);

// ---------------------------------------------------------------------------------------
// Start-up.

// What the dialog kit asks of the editor: the file flows, undo and the open queue.
static const EditorHooks SHELL_HOOKS = {SaveImage, OpenDroppedFiles, UndoForget, OpenQueueHold,
                                        OpenQueueRelease};

ErrorCode Initialise(void)
{
    ErrorCode result = UiInitialise();
    if (result != ERROR_NONE) return result;

    FrameWindow = nullptr;
    ActiveWindow = nullptr;
    CurrentOperation = 0;
    DialogWindow = nullptr;
    CurrentTool = TOOL_NONE;
    ToolTarget = nullptr;
    ToolDown = 0;
    ClipboardHoldsImage = 0;
    SplashWindow = nullptr;
    ShutdownDone = 0;
    InUseFree();
    UndoDiscard();
    FileFlowReset();
    RememberedFolderStart();

    // Preferences come first, since the state's recent files depend on their length.
    ReadPreferences();
    ReadColorSettings();
    ReadState();
    DisplayColorSettingsLoad();
    ReadDisplayMetrics();
    EditorHooksInstall(&SHELL_HOOKS);

    PlatformRegisterClass(CLASS_FRAME, FrameProcedure);
    PlatformRegisterClass(CLASS_CHILD, ChildProcedure);
    PlatformRegisterClass(CLASS_DOCUMENT, ChildProcedure);
    PlatformRegisterClass(CLASS_DOCK, ChildProcedure);
    ImageWindowsRegister();
    TransformRegister();
    ControlsRegister();
    AmountControlRegister();
    MaskToolRegister();
    TransformDialogsRegister();
    ChildKindRegister(KIND_SPLASH, SplashProcedure);
    WindowInfoRegister();
    return ERROR_NONE;
}

// Where the transformations' commands stand in FRAME_MENU: each MENU_* place of their
// descriptors has its marker, which the menu bar replaces by the place's commands.
constexpr int MENU_MARKER = -100; // MENU_MARKER - place

// The frame's menu. Commands that belong to windows not written yet (New, Print) join it
// with their dialogs; the class table of UpdateMenus already knows them.
static const MenuItem FRAME_MENU[] = {
    {-1, "&File", 0},
    {COMMAND_OPEN, "&Open...\tCtrl+O", 1},
    {COMMAND_CLOSE, "&Close", 1},
    {0, "", 1},
    {COMMAND_SAVE, "&Save\tCtrl+S", 1},
    {COMMAND_SAVE_AS, "Save &As...", 1},
    {COMMAND_REVERT, "&Revert", 1},
    {COMMAND_SAVE_PROFILE, "Save &Profile...", 1},
    {0, "", 1},
    {COMMAND_PREFERENCES, "Pre&ferences...", 1},
    {COMMAND_COLOR_MANAGEMENT, "Color &Management...", 1},
    {0, "", 1},
    {COMMAND_EXIT, "E&xit", 1}, // the recent files follow, from 1100 on
    {-1, "&Edit", 0},
    {COMMAND_UNDO, "&Undo\tCtrl+Z", 1},
    {COMMAND_UNDO_ALL, "Undo &All", 1},
    {0, "", 1},
    {COMMAND_COPY_CLIPBOARD, "&Copy\tCtrl+C", 1},
    {COMMAND_PASTE, "&Paste\tCtrl+V", 1},
    {-1, "&View", 0},
    {COMMAND_WINDOW_INFO, "Window &Info...", 1},
    {COMMAND_GRID, "&Grid...", 1},
    {0, "", 1},
    // + needs Shift on most keyboards: the key it shares, =, zooms in as well.
    {COMMAND_ZOOM_IN, "Zoom &In\tCtrl++\tCtrl+=", 1},
    {COMMAND_ZOOM_IN_RESIZE, "Zoom In and &Resize", 1},
    {COMMAND_ZOOM_OUT, "Zoom &Out\tCtrl+-", 1},
    {COMMAND_ZOOM_ONE, "Zoom to &1:1\tCtrl+1", 1},
    {COMMAND_ZOOM_ONE_RESIZE, "Zoom to 1:1 and Re&size", 1},
    {COMMAND_ZOOM_FIT, "Zoom Out to &Fit Screen", 1},
    {-1, "&Image", 0},
    {COMMAND_COPY, "&Copy", 1},
    {MENU_MARKER - MENU_IMAGE_WHOLE, "", 1},
    {0, "", 1},
    {MENU_MARKER - MENU_IMAGE_DIALOG, "", 1},
    {-1, "&Filter", 0},
    {MENU_MARKER - MENU_FILTER, "", 1},
    {-1, "&Mask", 0},
    {COMMAND_MASK_NEW, "&New", 1},
    {0, "", 1}, // the candidates of the active picture come after it
    {-1, "&Window", 0},
    {COMMAND_CASCADE, "&Cascade", 1},
    {COMMAND_TILE, "&Tile", 1},
    {COMMAND_CLOSE_ALL, "Close &All", 1},
    {COMMAND_BRING_DIALOGS, "&Bring Dialogs to Top", 1},
    {-1, "&Help", 0},
    {COMMAND_ABOUT, "&About Vistel", 1},
    {0, nullptr, 0},
};

// FRAME_MENU with the transformations' commands in their places, for the menu bar.
static MenuItem FrameMenu[sizeof FRAME_MENU / sizeof FRAME_MENU[0] + 64];

static void FrameMenuBuild(void)
{
    const int capacity = (int)(sizeof FrameMenu / sizeof FrameMenu[0]) - 1;
    int count = 0;
    for (const MenuItem *item = FRAME_MENU; item->label != nullptr; item++) {
        if (item->id > MENU_MARKER - 10 && item->id <= MENU_MARKER) {
            for (int i = 0; i < TRANSFORM_COUNT && count < capacity; i++)
                if (TRANSFORMS[i]->menuPlace == MENU_MARKER - item->id)
                    FrameMenu[count++] = {TRANSFORMS[i]->command, TRANSFORMS[i]->menuLabel, 1};
        } else if (count < capacity) {
            FrameMenu[count++] = *item;
        }
    }
    FrameMenu[count] = {0, nullptr, 0};
}

ErrorCode CreateFrame(void)
{
    WindowCreate request = {CLASS_FRAME,
                            0,
                            -1,
                            FRAME_TITLE,
                            STYLE_SIZING | STYLE_MINIMIZE | STYLE_MAXIMIZE | STYLE_CAPTION,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            nullptr,
                            0,
                            0};
    if (PlatformCreateWindow(&request) == nullptr) return ERROR_NO_MEMORY;
    PlatformSetWorkspaceColor(DisplayWorkspaceColor());
    FrameMenuBuild();
    PlatformSetMenu(FrameMenu);
    RecentFilesMenuUpdate();
    PlatformShowWindow(FrameWindow, SHOW_MAXIMIZED);
    return ERROR_NONE;
}

void StartupOpen(const char *commandLine)
{
    int empty = 1;
    for (const char *c = commandLine; c != nullptr && *c != 0 && empty; c++)
        empty = *c == ' ';
    if (empty)
        ShowSplash();
    else
        OpenCommandLine(commandLine);
}

int ShellMain(const char *commandLine)
{
    if (commandLine == nullptr) commandLine = "";
    // A second start only hands its files to the first.
    if (PlatformHandOverCommandLine(commandLine)) return 0;
    if (Initialise() != ERROR_NONE) return 1;
    if (CreateFrame() != ERROR_NONE) return 1;
    StartupOpen(commandLine);
    int code = PlatformRun();
    Shutdown();
    return code;
}

// ---------------------------------------------------------------------------------------
// The command line.

// Splits text into names and hands each to each(name, context). Returns the count.
static int CommandLineSplit(const char *text, void (*each)(const char *name, void *context),
                            void *context)
{
    char name[PATH_LENGTH];
    int length = 0;
    int quoted = 0;
    int dot = 0;
    int count = 0;
    for (const char *c = text;; c++) {
        int end = *c == 0;
        if (!end && *c == '"') {
            quoted = !quoted; // a quote only switches, and is not part of the name
            continue;
        }
        if (!end && *c == ' ' && !quoted) {
            // A blank ends a name only after its dot, so an unquoted folder with blanks in
            // it still works. Blanks between names start nothing.
            if (length == 0) continue;
            if (dot) end = 1;
        }
        if (end) {
            while (length > 0 && name[length - 1] == ' ' && !quoted)
                length--; // blanks after the last name of the line
            if (length > 0) {
                name[length] = 0;
                each(name, context);
                count++;
            }
            length = 0;
            dot = 0;
            if (*c == 0) break;
            continue;
        }
        if (*c == '.') dot = 1;
        if (length == PATH_LENGTH - 1) length = 0; // an overlong name starts over
        name[length++] = *c;
    }
    return count;
}

struct NameList {
    char *names;
    int capacity;
    int used;  // bytes written, without the final empty string
    int count; // names that found room
};

static void NameListAdd(const char *name, void *context)
{
    NameList *list = (NameList *)context;
    int length = (int)strlen(name);
    // Room for this name, its terminator and the empty string that ends the list.
    if (list->used + length + 2 > list->capacity) return;
    memcpy(list->names + list->used, name, (size_t)length + 1);
    list->used += length + 1;
    list->names[list->used] = 0;
    list->count++;
}

int SplitCommandLine(const char *commandLine, char *names, int capacity)
{
    if (capacity < 1) return 0;
    names[0] = 0;
    NameList list = {names, capacity, 0, 0};
    CommandLineSplit(commandLine, NameListAdd, &list);
    return list.count;
}

static void CommandLineQueue(const char *name, void *context)
{
    (void)context;
    QueueOpen(name);
}

void OpenCommandLine(const char *commandLine)
{
    // The names wait in the open queue, so that a line handed over while a dialog is up
    // opens when it ends; otherwise the drain opens them now, each failure shown in turn.
    CommandLineSplit(commandLine, CommandLineQueue, nullptr);
    DrainOpenQueue();
}

// ---------------------------------------------------------------------------------------
// Keys, drops and closing.

int KeyFilter(uint32_t character)
{
    WindowHandle focus = PlatformFocusWindow();
    if (focus == nullptr || ActiveWindow == nullptr) return 0;
    switch (character) {
    case '\t': {
        // The window whose fields the focus moves among: the parent of a control, or the
        // window itself when it has the focus (as a dialog has when it opens).
        WindowHandle parent = PlatformWindowParent(focus);
        uint32_t message = (PlatformKeyState() & KEYS_SHIFT) ? MSG_PREVIOUS_FIELD : MSG_NEXT_FIELD;
        PlatformSendMessage(parent != nullptr ? parent : focus, message,
                            (uintptr_t)(intptr_t)PlatformControlId(focus), 0);
        return 1;
    }
    case '\r':
        if (!EnterApplies) return 0;
        PlatformSendMessage(ActiveWindow, MSG_APPLY, 0, 0);
        return 1;
    case 27: PlatformSendMessage(ActiveWindow, MSG_CANCEL, 0, 0); return 1;
    default: return 0;
    }
}

void OpenDroppedFiles(const DroppedFiles *files)
{
    if (files == nullptr || files->count <= 0) return;
    // A file open already gives its window; the open flow knows that, so every file goes
    // through the queue, which waits while a dialog holds it.
    for (int i = 0; i < files->count; i++)
        QueueOpen(files->paths[i]);
    DrainOpenQueue();
    // The first file that found a window comes to the front.
    for (int i = 0; i < files->count; i++) {
        WindowHandle window = FindImageWindow(files->paths[i]);
        if (window != nullptr) {
            PlatformActivateWindow(window);
            break;
        }
    }
}

int QueryCloseChildren(void)
{
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child))
        if (PlatformSendMessage(child, MSG_QUERY_END_SESSION, 0, 0) != 0) return 1;
    return 0;
}

void DestroyAllChildren(void)
{
    for (int i = 0; i < CHILDREN_MAX; i++) {
        WindowHandle child = PlatformFirstChild();
        if (child == nullptr) break;
        PlatformDestroyWindow(child);
    }
}

int AskAbort(WindowHandle window, const char *question)
{
    if (window == nullptr) return 1;
    if (MessageDialog(nullptr, "Warning", MESSAGE_YES_NO, question) != ANSWER_YES) return 0;
    PlatformSendMessage(window, MSG_CLOSE, 0, 0);
    return 1;
}

static void FrameClose(WindowHandle frame)
{
    if (!AskAbort(DialogWindow, "Abort transformation in progress?")) return;
    if (!AskAbort(FindChildOfKind(KIND_MASK), "Abort mask operation in progress?")) return;
    if (QueryCloseChildren()) return;
    if (ClipboardHoldsImage) {
        if (MessageDialog(nullptr, "Warning", MESSAGE_YES_NO, "Retain image on clipboard?") ==
            ANSWER_NO)
            PlatformClipboardClear();
        ClipboardHoldsImage = 0;
    }
    DestroyAllChildren();
    PlatformDestroyWindow(frame);
}

// ---------------------------------------------------------------------------------------
// The frame's procedure.

// A command line handed over by a second start, or else the clipboard's text.
static void OpenHandedOver(intptr_t lParam)
{
    char *text = (char *)lParam;
    if (text != nullptr) {
        OpenCommandLine(text);
        MemoryFree(text);
        return;
    }
    char *clipboard = (char *)MemoryAlloc(CLIPBOARD_TEXT_MAX);
    if (clipboard == nullptr) return;
    if (PlatformClipboardGetText(clipboard, CLIPBOARD_TEXT_MAX)) OpenCommandLine(clipboard);
    MemoryFree(clipboard);
}

static MessageResult FrameProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                    intptr_t lParam)
{
    switch (message) {
    case MSG_CREATE: FrameWindow = window; return 0;
    case MSG_CLOSE: FrameClose(window); return 0;
    case MSG_QUERY_END_SESSION: return QueryCloseChildren();
    case MSG_DESTROY:
        Shutdown();
        FrameWindow = nullptr;
        PlatformQuit(0);
        return 0;
    case MSG_SIZE:
        if (wParam == SIZE_MINIMIZED) {
            // Minimised children come back as windows when the frame does.
            for (WindowHandle child = PlatformFirstChild(); child != nullptr;
                 child = PlatformNextChild(child))
                if (PlatformWindowState(child) == SHOW_MINIMIZED)
                    PlatformShowWindow(child, SHOW_RESTORE);
        } else {
            PlatformSendMessage(window, MSG_RELAYOUT, 0, 0);
        }
        return 0;
    case MSG_INIT_MENU:
        DismissSplash();
        UpdateMenus();
        return 0;
    case MSG_COMMAND: {
        // Files handed over or dropped while a command runs (a modal dialog, a long operation
        // whose progress window lets messages through) wait for it to end, and open then.
        OpenQueueHold();
        int handled = FrameCommand(wParam, lParam);
        OpenQueueRelease();
        if (handled) return 0;
        break;
    }
    case MSG_TIMER: PlatformKillTimer(window, (int)wParam); return 0;
    case MSG_DISPLAY_CHANGE:
        ReadDisplayMetrics();
        for (WindowHandle child = PlatformFirstChild(); child != nullptr;
             child = PlatformNextChild(child))
            PlatformInvalidate(child, nullptr);
        return 0;
    case MSG_DROP_FILES:
        if (ProgressWindow != nullptr) {
            // Opening a file now would run inside the operation's progress loop.
            ShowErrorText("Cannot accept dropped files while operation is in progress");
            return 0;
        }
        OpenDroppedFiles((const DroppedFiles *)wParam);
        return 0;
    case MSG_OPEN_FROM_CLIPBOARD: OpenHandedOver(lParam); return 0;
    case MSG_CHAR: return KeyFilter((uint32_t)wParam);
    case MSG_RELAYOUT: return 0; // no docked panes yet: the workspace keeps the frame's area
    case MSG_UNDOCK:
        if (ActiveWindow == (WindowHandle)wParam) ActiveWindow = nullptr;
        return 0;
    default: break;
    }
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

// ---------------------------------------------------------------------------------------
// The splash.

static MessageResult SplashProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam)
{
    switch (message) {
    case MSG_CREATE: PlatformSetTimer(window, SPLASH_TIMER, SPLASH_MILLISECONDS); return 0;
    case MSG_TIMER:
    case MSG_LBUTTON_DOWN:
    case MSG_CLOSE: PlatformDestroyWindow(window); return 0;
    case MSG_PAINT: {
        // A quiet card with the program's name, in place of a picture of its own.
        DrawContext *context = (DrawContext *)wParam;
        Rect client;
        PlatformGetClientRect(window, &client);
        PlatformFillRect(context, &client, 0x202830);
        Rect band = {0, client.bottom / 2 - 1, client.right, client.bottom / 2 + 1};
        PlatformFillRect(context, &band, 0xb0b0b0);
        PlatformDrawText(context, 2 * Margin, client.bottom / 2 - 2 * LineHeight, "Vistel",
                         0xffffff, 0);
        PlatformDrawText(context, 2 * Margin, client.bottom / 2 + LineHeight, FRAME_TITLE, 0xb0b0b0,
                         1);
        return 0;
    }
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

void ShowSplash(void)
{
    if (SplashWindow != nullptr) return;
    int x, y;
    WorkspaceCentre(SPLASH_WIDTH, SPLASH_HEIGHT, &x, &y);
    WindowCreate request = {CLASS_CHILD,   KIND_SPLASH, -1, "Vistel",
                            STYLE_DIALOG,  x,           y,  SPLASH_WIDTH,
                            SPLASH_HEIGHT, nullptr,     0,  0};
    SplashWindow = PlatformCreateWindow(&request);
}

void DismissSplash(void)
{
    if (SplashWindow != nullptr) PlatformDestroyWindow(SplashWindow);
    SplashWindow = nullptr;
}

// ---------------------------------------------------------------------------------------
// Shutdown.

void Shutdown(void)
{
    if (ShutdownDone) return;
    ShutdownDone = 1;
    WriteState();
    DismissSplash();
    DestroyAllChildren();
    FileFlowReset(); // files still queued are not opened by a program that is ending
    UndoDiscard();
    InUseFree();
    // Pictures made without a window (an open that failed half way) go too.
    for (int slot = 0; slot < SLOT_COUNT; slot++)
        if (!SlotRecord(slot)->free) SlotFree(slot);
    ShutdownColorSettings();
    ActiveWindow = nullptr;
    DialogWindow = nullptr;
    CurrentOperation = 0;
    ToolTarget = nullptr;
    ToolDown = 0;
}
