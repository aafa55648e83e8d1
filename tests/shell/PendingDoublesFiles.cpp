// Temporary stand-ins until the shell-core branch merges; the lead deletes this file at the
// merge.
//
// The file flows and dialogs call the image windows' functions (shell/ImageWindows.h) and
// RefreshView (shell/Display.h), which other branches write. These are the least that lets
// the headless tests run those flows: a child class that dispatches by kind, image windows
// that free their slot when destroyed, a plain in-use list, and titles. Nothing here is
// tested; the tests look at the flows only.
#include <cstring>

#include "core/FormatString.h"
#include "core/Text.h"
#include "shell/Display.h"
#include "shell/ImageWindows.h"

static WindowProcedure KindProcedures[KIND_COUNT];

void ChildKindRegister(int kind, WindowProcedure procedure)
{
    if (kind >= 0 && kind < KIND_COUNT) KindProcedures[kind] = procedure;
}

MessageResult ChildProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                             intptr_t lParam)
{
    int kind = (int)PlatformGetWindowWord(window, WORD_KIND);
    if (kind == KIND_IMAGE && message == MSG_DESTROY) {
        SlotFree((int)PlatformGetWindowWord(window, WORD_SLOT));
        return 0;
    }
    if (kind >= 0 && kind < KIND_COUNT && KindProcedures[kind] != nullptr)
        return KindProcedures[kind](window, message, wParam, lParam);
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

ErrorCode ImageWindowShow(ImageWindow *record, WindowHandle *window)
{
    WindowCreate request = {CLASS_CHILD,
                            KIND_IMAGE,
                            record->slot,
                            "",
                            STYLE_CAPTION,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            WINDOW_DEFAULT,
                            nullptr,
                            0,
                            0};
    *window = PlatformCreateWindow(&request);
    if (*window == nullptr) return ERROR_NO_MEMORY;
    record->window = *window;
    UpdateTitle(*window);
    PlatformActivateWindow(*window);
    return ERROR_NONE;
}

void WindowTitle(WindowHandle window, char *title, int capacity)
{
    const ImageWindow *record = WindowRecord(window);
    if (record == nullptr) {
        PlatformGetWindowTitle(window, title, capacity);
        return;
    }
    if (record->fileName[0] != 0) {
        const char *name = record->fileName;
        for (const char *at = record->fileName; *at != 0; at++)
            if (*at == '/') name = at + 1;
        StrCopyLimit(name, title, capacity - 1);
        return;
    }
    FormatString(title, capacity, "Untitled %d", record->slot + 1);
}

void UpdateTitle(WindowHandle window)
{
    char title[WINDOW_TITLE_MAX + 1];
    WindowTitle(window, title, sizeof title);
    PlatformSetWindowTitle(window, title);
}

WindowHandle FindImageWindow(const char *path)
{
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child)) {
        const ImageWindow *record = WindowRecord(child);
        if (PlatformGetWindowWord(child, WORD_KIND) == KIND_IMAGE && record != nullptr &&
            StrEqualNoCase(record->fileName, path))
            return child;
    }
    return nullptr;
}

struct InUseEntry {
    WindowHandle user;
    WindowHandle used;
    int blocking;
    char name[81];
};

static InUseEntry InUse[64];
static int InUseCount;

ErrorCode MarkInUse(WindowHandle user, WindowHandle used, const char *name, int blocking)
{
    if (InUseCount == 64) return ERROR_NO_MEMORY;
    InUseEntry *entry = &InUse[InUseCount++];
    entry->user = user;
    entry->used = used;
    entry->blocking = blocking;
    StrCopyLimit(name, entry->name, 80);
    return ERROR_NONE;
}

void ClearInUse(WindowHandle user, WindowHandle used)
{
    int kept = 0;
    for (int i = 0; i < InUseCount; i++)
        if (!(InUse[i].user == user && InUse[i].used == used)) InUse[kept++] = InUse[i];
    InUseCount = kept;
}

const char *InUseBy(WindowHandle window)
{
    for (int i = 0; i < InUseCount; i++)
        if (InUse[i].used == window && InUse[i].blocking && PlatformWindowExists(InUse[i].user))
            return InUse[i].name;
    return nullptr;
}

void RefreshUsers(WindowHandle window)
{
    for (int i = 0; i < InUseCount; i++)
        if (InUse[i].used == window) PlatformSendMessage(InUse[i].user, 0x803F, 0, 0);
}

// The stand-in windows keep no undo copies, so there is nothing to forget.
void UndoForget(WindowHandle window)
{
    (void)window;
}

// The stand-in windows have no laid-out view to render.
ErrorCode RefreshView(ImageWindow *record)
{
    (void)record;
    return ERROR_NONE;
}
