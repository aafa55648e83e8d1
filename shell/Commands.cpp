// The frame's command handler and the state of the menu.
//
// Every menu choice reaches FrameCommand as one id. Commands that act on the view go to the
// active picture; the rest act on windows (arrange, close, raise) or make new pictures
// (Copy, Negative, Paste). UpdateMenus enables each item by its class: what kind of window
// must be active, and whether an open dialog or album page rules it out.
#include "shell/Commands.h"

#include "core/Image.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/WholeImage.h"
#include "masks/MaskTool.h"
#include "shell/Dialogs.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "shell/Shell.h"
#include "shell/Undo.h"
#include "shell/WindowInfo.h"
#include "transforms/TransformDialogs.h"
#include "transforms/Transforms.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/ProgressWindow.h"

// A run of command ids and the class their items share.
struct MenuClassRun {
    int32_t first;
    int32_t last;
    int32_t itemClass; // 0..11, with MENU_CLASS_NOT_ALBUM and MENU_CLASS_NOT_DIALOG
};

constexpr int32_t NOT_ALBUM = MENU_CLASS_NOT_ALBUM;
constexpr int32_t NOT_DIALOG = MENU_CLASS_NOT_DIALOG;

static const MenuClassRun MENU_CLASSES[] = {
    // Always there.
    {1002, 1002, 0},
    {1020, 1020, 0},
    {1018, 1018, 0},
    {1010, 1010, 0},
    {1021, 1021, 0},
    {1011, 1011, 0},
    {1012, 1012, 0},
    {1015, 1015, 0},
    {1013, 1013, 0},
    {3009, 3011, 0},
    {6001, 6001, 0},
    {6003, 6007, 0},
    // Any window active.
    {1008, 1008, 1},
    {3012, 3014, 1},
    {2003, 2003, 2},
    {3002, 3008, 6},
    {3015, 3015, 6},
    {1014, 1014, 8},
    {3001, 3001, 8},
    {3020, 3022, 8},
    {1023, 1023, 9},
    {1006, 1007, 8 | NOT_ALBUM},
    // Revert acts on the picture and its file as Save does.
    {1009, 1009, 8 | NOT_ALBUM},
    // Commands that open a dialog or an operation of their own.
    {1001, 1001, 0 | NOT_DIALOG},
    {1004, 1004, 0 | NOT_DIALOG},
    {4009, 4009, 0 | NOT_DIALOG},
    {4025, 4025, 0 | NOT_DIALOG},
    {4062, 4062, 0 | NOT_DIALOG},
    {4001, 4005, 8 | NOT_DIALOG},
    // Negative stands beside Copy: both make a new window from any picture.
    {4006, 4006, 8 | NOT_DIALOG},
    {4007, 4007, 8 | NOT_DIALOG},
    {4010, 4010, 8 | NOT_DIALOG},
    {4016, 4022, 8 | NOT_DIALOG},
    {4027, 4028, 8 | NOT_DIALOG},
    {4041, 4043, 8 | NOT_DIALOG},
    {4050, 4051, 8 | NOT_DIALOG},
    {4053, 4054, 8 | NOT_DIALOG},
    {4011, 4013, 9 | NOT_DIALOG},
    {4015, 4015, 9 | NOT_DIALOG},
    {4024, 4024, 9 | NOT_DIALOG},
    {4031, 4031, 9 | NOT_DIALOG},
    {4049, 4049, 9 | NOT_DIALOG},
    {4057, 4061, 9 | NOT_DIALOG},
    {4008, 4008, 10 | NOT_DIALOG},
    {4014, 4014, 10 | NOT_DIALOG},
    {4029, 4030, 10 | NOT_DIALOG},
    {4032, 4032, 10 | NOT_DIALOG},
    {4040, 4040, 10 | NOT_DIALOG},
    {4044, 4048, 10 | NOT_DIALOG},
    {4052, 4052, 10 | NOT_DIALOG},
    {4055, 4056, 10 | NOT_DIALOG},
    {4023, 4023, 11 | NOT_DIALOG},
};

constexpr int RECENT_COUNT = 10; // ids 1100..1109

// The active window's picture record when it is an image window, else null.
static ImageWindow *ActiveImage(void)
{
    if (ActiveWindow == nullptr || PlatformGetWindowWord(ActiveWindow, WORD_KIND) != KIND_IMAGE)
        return nullptr;
    return WindowRecord(ActiveWindow);
}

static int TypeIn(int type, int a, int b, int c, int d)
{
    return type == a || type == b || type == c || type == d;
}

int MenuClassEnabled(int itemClass)
{
    if (ProgressWindow != nullptr) return 0;
    if ((itemClass & MENU_CLASS_NOT_DIALOG) && (CurrentOperation != 0 || DialogWindow != nullptr))
        return 0;
    int activeKind =
        ActiveWindow != nullptr ? (int)PlatformGetWindowWord(ActiveWindow, WORD_KIND) : -1;
    if ((itemClass & MENU_CLASS_NOT_ALBUM) && activeKind == KIND_ALBUM_DOCUMENT) return 0;
    const ImageWindow *record = ActiveImage();
    int a = record != nullptr;
    int t = a ? record->picture.image.type : -1;
    switch (itemClass & MENU_CLASS_NUMBER) {
    case 0: return 1;
    case 1: return ActiveWindow != nullptr;
    case 2: return a && t != TYPE_GRAY16 && t != TYPE_COLOR48;
    case 3: return a && t == TYPE_COLOR24;
    case 4: return a && TypeIn(t, TYPE_GRAY8, TYPE_COLOR24, -1, -1);
    case 5: return a && TypeIn(t, TYPE_BINARY, TYPE_GRAY8, -1, -1);
    case 6: return a || activeKind == KIND_PREVIEW;
    case 7: return a && t == TYPE_GRAY8;
    case 8: return a;
    case 9: return a && TypeIn(t, TYPE_COLOR24, TYPE_COLOR48, -1, -1);
    case 10: return a && TypeIn(t, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48);
    case 11: return a && TypeIn(t, TYPE_GRAY8, TYPE_GRAY16, -1, -1);
    default: return 0;
    }
}

int MenuItemClass(int id)
{
    for (const MenuClassRun &run : MENU_CLASSES)
        if (id >= run.first && id <= run.last) return run.itemClass;
    return -1;
}

// The Mask menu: "&New", then the other pictures of the active one's size, which can serve
// as its mask.
static int MaskCandidatesShown;
static WindowHandle MaskCandidates[MASK_CANDIDATE_MAX];

static void MaskMenuUpdate(int progress)
{
    for (int i = 0; i < MaskCandidatesShown; i++)
        PlatformSetMenuItem(COMMAND_MASK_FIRST_CANDIDATE + i, 0, nullptr);
    MaskCandidatesShown = 0;
    const ImageWindow *record = ActiveImage();
    int type = record != nullptr ? record->picture.image.type : -1;
    int maskable = TypeIn(type, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48);
    PlatformEnableMenuItem(COMMAND_MASK_NEW, maskable && !progress);
    if (!maskable) return;
    int after = COMMAND_MASK_NEW;
    for (WindowHandle child = PlatformFirstChild();
         child != nullptr && MaskCandidatesShown < MASK_CANDIDATE_MAX;
         child = PlatformNextChild(child)) {
        if (child == ActiveWindow || PlatformGetWindowWord(child, WORD_KIND) != KIND_IMAGE)
            continue;
        const ImageWindow *other = WindowRecord(child);
        if (other == nullptr || !ImageIsPicture(other->picture.image.type) ||
            other->picture.image.width != record->picture.image.width ||
            other->picture.image.height != record->picture.image.height)
            continue;
        char title[WINDOW_TITLE_MAX + 1];
        PlatformGetWindowTitle(child, title, sizeof title);
        MaskCandidates[MaskCandidatesShown] = child;
        int id = COMMAND_MASK_FIRST_CANDIDATE + MaskCandidatesShown++;
        PlatformSetMenuItem(id, after, title);
        PlatformEnableMenuItem(id, !progress);
        after = id;
    }
}

void UpdateMenus(void)
{
    int progress = ProgressWindow != nullptr;
    for (const MenuClassRun &run : MENU_CLASSES) {
        int enabled = MenuClassEnabled(run.itemClass);
        for (int id = run.first; id <= run.last; id++)
            PlatformEnableMenuItem(id, enabled);
    }
    // Items outside the table follow the same rule of a running operation.
    PlatformEnableMenuItem(COMMAND_UNDO, !progress && UndoAvailable());
    PlatformEnableMenuItem(COMMAND_UNDO_ALL, !progress && UndoAvailable());
    PlatformEnableMenuItem(COMMAND_PASTE, !progress && PlatformClipboardHasImage());
    PlatformEnableMenuItem(COMMAND_ABOUT, !progress);
    for (int i = 0; i < RECENT_COUNT; i++)
        PlatformEnableMenuItem(COMMAND_RECENT_FIRST + i, !progress);
    MaskMenuUpdate(progress);
}

// ---------------------------------------------------------------------------------------
// Arranging and closing windows.

// The workspace's children that are not minimised, front to back; returns the count.
static int Arrangeable(WindowHandle *children, int capacity)
{
    int count = 0;
    for (WindowHandle child = PlatformFirstChild(); child != nullptr && count < capacity;
         child = PlatformNextChild(child)) {
        if (PlatformWindowState(child) == SHOW_MINIMIZED) continue;
        children[count++] = child;
    }
    return count;
}

static const int ARRANGE_MAX = 1024;

void CascadeWindows(void)
{
    WindowHandle children[ARRANGE_MAX];
    int count = Arrangeable(children, ARRANGE_MAX);
    Rect client;
    PlatformGetClientRect(PlatformWorkspace(), &client);
    int x = Margin;
    int y = Margin;
    // The backmost window takes the first place, so the front one ends down and right.
    for (int i = count - 1; i >= 0; i--) {
        WindowHandle child = children[i];
        if (PlatformWindowState(child) == SHOW_MAXIMIZED) PlatformShowWindow(child, SHOW_RESTORE);
        Rect rect;
        PlatformGetWindowRect(child, &rect);
        PlatformMoveWindow(child, x, y, rect.right - rect.left, rect.bottom - rect.top);
        x += ButtonHeight;
        y += DisplayMetrics.captionHeight;
        if (y >= client.bottom / 3) {
            y = Margin;
            if (x >= client.right / 3) x = Margin;
        }
    }
}

// Tiles the windows in a grid of nearly square cells, the front window top left.
static void TileWindows(void)
{
    WindowHandle children[ARRANGE_MAX];
    int count = Arrangeable(children, ARRANGE_MAX);
    if (count == 0) return;
    Rect client;
    PlatformGetClientRect(PlatformWorkspace(), &client);
    int columns = 1;
    while (columns * columns < count)
        columns++;
    int rows = (count + columns - 1) / columns;
    int width = client.right / columns;
    int height = client.bottom / rows;
    for (int i = 0; i < count; i++) {
        if (PlatformWindowState(children[i]) == SHOW_MAXIMIZED)
            PlatformShowWindow(children[i], SHOW_RESTORE);
        PlatformMoveWindow(children[i], (i % columns) * width, (i / columns) * height, width,
                           height);
    }
}

void CloseAllWindows(void)
{
    WindowHandle slideShow = FindChildOfKind(KIND_SLIDE_SHOW);
    if (slideShow == nullptr) slideShow = FindChildOfKind(KIND_SLIDE_SHOW_PAGE);
    if (!AskAbort(DialogWindow, "Abort transformation in progress?")) return;
    if (!AskAbort(slideShow, "Abort slide show in progress?")) return;
    if (!AskAbort(FindChildOfKind(KIND_MASK), "Abort mask operation in progress?")) return;
    if (QueryCloseChildren()) return;
    DestroyAllChildren();
}

void BringDialogsToTop(void)
{
    if (ActiveWindow != nullptr) {
        int state = PlatformWindowState(ActiveWindow);
        if (state == SHOW_MINIMIZED || state == SHOW_MAXIMIZED)
            PlatformShowWindow(ActiveWindow, SHOW_RESTORE);
    }
    // Raised in this order, so that the transformation ends in front.
    static const int KINDS[] = {KIND_LINE_ARROW, KIND_MAGNIFIER, KIND_MISCELLANEOUS_TOOLS,
                                KIND_PAINT,      KIND_CLONE,     KIND_MASK};
    for (int kind : KINDS) {
        WindowHandle dialog = FindChildOfKind(kind);
        if (dialog != nullptr) PlatformActivateWindow(dialog);
    }
    if (DialogWindow != nullptr) PlatformActivateWindow(DialogWindow);
}

// ---------------------------------------------------------------------------------------
// Commands that make pictures.

// Copy (transform null) and the transformations without a dialog (Negative), with their
// default settings: a new window beside the active picture, with its zoom, shown as
// modified. A failure takes the new window away again.
static void WholeImageCommand(const TransformDescriptor *transform)
{
    WindowHandle sourceWindow = ActiveWindow;
    const ImageWindow *source = ActiveImage();
    if (source == nullptr || !ImageIsPicture(source->picture.image.type)) return;
    void *settings = nullptr;
    if (transform != nullptr) {
        settings = MemoryAllocZero(transform->settingsSize + 1); // + 1: a record may be empty
        if (settings == nullptr) {
            ShowError(ERROR_NO_MEMORY);
            return;
        }
        transform->defaults(settings);
    }
    WindowHandle window = nullptr;
    int id = transform != nullptr ? transform->command : COMMAND_COPY;
    ErrorCode result = NewImageWindow(sourceWindow, &window, -1, -1, id);
    if (result != ERROR_NONE) {
        MemoryFree(settings);
        ShowError(result);
        return;
    }
    ImageWindow *destination = WindowRecord(window);
    SetWaitCursor();
    result = transform == nullptr
                 ? WindowCopy(&source->picture, &destination->picture)
                 : TransformApply(transform, settings, &source->picture, &destination->picture);
    MemoryFree(settings);
    SetArrowCursor();
    if (result != ERROR_NONE) {
        PlatformDestroyWindow(window);
        ShowError(result);
        return;
    }
    destination->zoom = source->zoom;
    ImageWindowLayout(window);
    PlatformActivateWindow(window);
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    UpdateTitle(window);
}

static void CopyToClipboard(void)
{
    const ImageWindow *record = ActiveImage();
    if (record == nullptr || !ImageIsPicture(record->picture.image.type)) return;
    if (!PlatformClipboardSetImage(&record->picture.image)) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    ClipboardHoldsImage = 1;
}

static void Paste(void)
{
    if (!PlatformClipboardHasImage()) return;
    int slot = -1;
    ImageWindow *record = nullptr;
    WindowHandle window = nullptr;
    ErrorCode result = SlotAllocate(&slot, &record);
    if (result != ERROR_NONE) goto done;
    result = PlatformClipboardGetImage(&record->picture.image);
    if (result != ERROR_NONE) goto done;
    result = ImageWindowShow(record, &window);
    if (result != ERROR_NONE) goto done;
    PlatformSetWindowTitle(window, "Paste");
    PlatformSetWindowWord(window, WORD_MODIFIED, 1); // it exists in no file yet
done:
    if (result != ERROR_NONE) {
        if (slot >= 0) SlotFree(slot);
        ShowError(result);
    }
}

// The view commands go to the active window: an image window zooms itself, a preview zooms
// and asks its dialog for the new view, and a window of a dialog's kind handles them as it
// likes.
static int ViewCommand(int id)
{
    if (ActiveWindow == nullptr) return 1;
    PlatformSendMessage(ActiveWindow, MSG_COMMAND, (uintptr_t)(uint16_t)id, 0);
    return 1;
}

static void ShowIfFailed(ErrorCode result)
{
    // A cancelled file dialog is the user's choice, not a failure to report.
    if (result != ERROR_NONE && result != ERROR_ABORTED) ShowError(result);
}

int FrameCommand(uintptr_t wParam, intptr_t lParam)
{
    (void)lParam;
    int id = (int)(wParam & 0xffff);
    WindowHandle window = nullptr;
    if (id >= COMMAND_MASK_NEW && id <= COMMAND_MASK_LAST) {
        // The mask operations work through their tool and the Mask window: New on a blank
        // mask, a listed picture as the mask to edit. An open tool comes to the front.
        CurrentTool = TOOL_MASK;
        WindowHandle mask = nullptr;
        int index = id - COMMAND_MASK_FIRST_CANDIDATE;
        if (id != COMMAND_MASK_NEW) {
            if (index >= MaskCandidatesShown) return 1;
            mask = MaskCandidates[index];
        }
        ShowIfFailed(OpenMaskTool(mask));
        return 1;
    }
    if (id >= COMMAND_RECENT_FIRST && id < COMMAND_RECENT_FIRST + RECENT_COUNT) {
        int index = id - COMMAND_RECENT_FIRST;
        if (index < Saved.recentCount)
            ShowIfFailed(OpenImageFile(Saved.recentFiles[index], -1, &window));
        return 1;
    }
    switch (id) {
    case COMMAND_OPEN: ShowIfFailed(OpenImageFile(nullptr, -1, &window)); return 1;
    case COMMAND_CLOSE:
        if (ActiveWindow != nullptr) PlatformSendMessage(ActiveWindow, MSG_CLOSE, 0, 0);
        return 1;
    case COMMAND_SAVE:
        if (ActiveImage() != nullptr) ShowIfFailed(SaveImage(ActiveWindow));
        return 1;
    case COMMAND_SAVE_AS:
        if (ActiveImage() != nullptr) ShowIfFailed(SaveImageAs(ActiveWindow, 1));
        return 1;
    case COMMAND_SAVE_PROFILE:
        if (ActiveImage() != nullptr) ShowIfFailed(SaveEmbeddedProfile(ActiveWindow));
        return 1;
    case COMMAND_REVERT:
        if (ActiveImage() != nullptr) ShowIfFailed(RevertImage(ActiveWindow));
        return 1;
    case COMMAND_PREFERENCES: ShowIfFailed(ShowPreferencesDialog()); return 1;
    case COMMAND_COLOR_MANAGEMENT: ShowIfFailed(ShowColorSettingsDialog()); return 1;
    case COMMAND_EXIT:
        if (FrameWindow != nullptr) PlatformSendMessage(FrameWindow, MSG_CLOSE, 0, 0);
        return 1;
    case COMMAND_UNDO: Undo(); return 1;
    case COMMAND_UNDO_ALL: UndoAll(); return 1;
    case COMMAND_COPY_CLIPBOARD: CopyToClipboard(); return 1;
    case COMMAND_PASTE: Paste(); return 1;
    case COMMAND_WINDOW_INFO:
        if (ActiveImage() != nullptr) ShowWindowInfo(ActiveWindow);
        return 1;
    case COMMAND_GRID:
    case COMMAND_ZOOM_FIT:
    case COMMAND_ZOOM_IN:
    case COMMAND_ZOOM_IN_RESIZE:
    case COMMAND_ZOOM_OUT:
    case COMMAND_ZOOM_ONE:
    case COMMAND_ZOOM_ONE_RESIZE: return ViewCommand(id);
    case COMMAND_CASCADE: CascadeWindows(); return 1;
    case COMMAND_TILE: TileWindows(); return 1;
    case COMMAND_CLOSE_ALL: CloseAllWindows(); return 1;
    case COMMAND_BRING_DIALOGS: BringDialogsToTop(); return 1;
    case COMMAND_COPY: WholeImageCommand(nullptr); return 1;
    case COMMAND_ABOUT:
        ShowMessage("About Vistel", "%s\nA photographic image editor.", FRAME_TITLE);
        return 1;
    default: break;
    }
    // A transformation's command opens its dialog, or works at once on the whole picture.
    const TransformDescriptor *transform = TransformByCommand(id);
    if (transform == nullptr) return 0;
    if (TransformDialogByKind(transform->kind) != nullptr)
        ShowIfFailed(TransformDialogOpenByCommand(id, ActiveWindow));
    else
        WholeImageCommand(transform);
    return 1;
}
