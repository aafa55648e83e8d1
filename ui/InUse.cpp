// The in-use list: which window uses which as its input, so that a picture a dialog reads
// cannot be closed under it, and so that its users hear when it changes.
//
// A doubly linked list with new entries at the tail. It stays short (one or two entries for
// each open dialog or tool), so every operation simply walks it.
#include <cstring>

#include "core/Memory.h"
#include "core/Text.h"
#include "ui/ImageWindows.h"
#include "ui/UiState.h"

constexpr int IN_USE_NAME_MAX = 80; // characters of a user's name kept

struct InUseEntry {
    InUseEntry *previous;
    InUseEntry *next;
    WindowHandle user;
    WindowHandle used;
    int blocking; // 1 when the use keeps the used window from closing
    char name[IN_USE_NAME_MAX + 1];
};

static InUseEntry *InUseFirst;
static InUseEntry *InUseLast;

ErrorCode MarkInUse(WindowHandle user, WindowHandle used, const char *name, int blocking)
{
    InUseEntry *entry = (InUseEntry *)MemoryAllocZero(sizeof(InUseEntry));
    if (entry == nullptr) return ERROR_NO_MEMORY;
    entry->user = user;
    entry->used = used;
    entry->blocking = blocking;
    StrCopyLimit(name != nullptr ? name : "", entry->name, IN_USE_NAME_MAX);
    entry->previous = InUseLast;
    if (InUseLast != nullptr)
        InUseLast->next = entry;
    else
        InUseFirst = entry;
    InUseLast = entry;
    return ERROR_NONE;
}

static void Unlink(InUseEntry *entry)
{
    if (entry->previous != nullptr)
        entry->previous->next = entry->next;
    else
        InUseFirst = entry->next;
    if (entry->next != nullptr)
        entry->next->previous = entry->previous;
    else
        InUseLast = entry->previous;
    MemoryFree(entry);
}

void ClearInUse(WindowHandle user, WindowHandle used)
{
    InUseEntry *entry = InUseFirst;
    while (entry != nullptr) {
        InUseEntry *next = entry->next;
        if ((user == nullptr || entry->user == user) && (used == nullptr || entry->used == used))
            Unlink(entry);
        entry = next;
    }
}

void InUseFree(void)
{
    while (InUseFirst != nullptr)
        Unlink(InUseFirst);
}

const char *InUseBy(WindowHandle window)
{
    for (InUseEntry *entry = InUseFirst; entry != nullptr; entry = entry->next)
        if (entry->used == window && entry->blocking) return entry->name;
    return nullptr;
}

// Sends message to each user of window once. The users are gathered first, since a user may
// change the list while it handles the message.
static void SendToUsers(WindowHandle window, uint32_t message)
{
    static const int USERS_MAX = 64;
    WindowHandle users[USERS_MAX];
    int count = 0;
    for (InUseEntry *entry = InUseFirst; entry != nullptr && count < USERS_MAX;
         entry = entry->next) {
        if (entry->used != window) continue;
        int seen = 0;
        for (int i = 0; i < count && !seen; i++)
            seen = users[i] == entry->user;
        if (!seen) users[count++] = entry->user;
    }
    for (int i = 0; i < count; i++)
        if (PlatformWindowExists(users[i])) PlatformSendMessage(users[i], message, 0, 0);
}

void NotifyUsers(WindowHandle window)
{
    SendToUsers(window, MSG_INPUT_CHANGED);
}

void RefreshUsers(WindowHandle window)
{
    SendToUsers(window, MSG_REFRESH);
}
