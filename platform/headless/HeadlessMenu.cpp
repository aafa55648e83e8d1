// The frame's menu and pop-up menus of the headless platform: items kept as a list with
// their state, chosen by tests; a pop-up answers from a queue of choices.
#include <cstdio>
#include <cstring>

#include "platform/headless/Headless.h"
#include "platform/headless/HeadlessInternal.h"

struct HeadlessMenuEntry {
    int id;
    int depth;
    int enabled;
    int checked;
    char label[256];
};

static const int MENU_ENTRIES = 1024;
static const int POPUP_QUEUE = 32;
static const int POPUP_ITEMS = 64; // items of a pop-up menu kept for a test to look at

static HeadlessMenuEntry Menu[MENU_ENTRIES];
static int MenuCount;
static int PopupAnswers[POPUP_QUEUE];
static int PopupCount;
static MenuItem LastPopup[POPUP_ITEMS];
static int LastPopupCount;

void HeadlessMenuReset(void)
{
    MenuCount = 0;
    PopupCount = 0;
    LastPopupCount = 0;
}

static HeadlessMenuEntry *MenuFind(int id)
{
    for (int i = 0; i < MenuCount; i++)
        if (Menu[i].id == id && id > 0) return &Menu[i];
    return nullptr;
}

void PlatformSetMenu(const MenuItem *items)
{
    MenuCount = 0;
    for (int i = 0; MenuCount < MENU_ENTRIES && !(items[i].id == 0 && items[i].label == nullptr);
         i++) {
        HeadlessMenuEntry *entry = &Menu[MenuCount++];
        entry->id = items[i].id;
        entry->depth = items[i].depth;
        entry->enabled = 1;
        entry->checked = 0;
        snprintf(entry->label, sizeof entry->label, "%s",
                 items[i].label != nullptr ? items[i].label : "");
    }
}

void PlatformEnableMenuItem(int id, int enabled)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry != nullptr) entry->enabled = enabled != 0;
}

void PlatformCheckMenuItem(int id, int checked)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry != nullptr) entry->checked = checked != 0;
}

void PlatformSetMenuItem(int id, int after, const char *text)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (text == nullptr) {
        if (entry == nullptr) return;
        int index = (int)(entry - Menu);
        memmove(&Menu[index], &Menu[index + 1], sizeof(Menu[0]) * (size_t)(MenuCount - index - 1));
        MenuCount--;
        return;
    }
    if (entry == nullptr) {
        if (MenuCount == MENU_ENTRIES) return;
        // A new item goes right after after, or after the last item already added behind it.
        int at = MenuCount;
        HeadlessMenuEntry *anchor = MenuFind(after);
        int depth = 1;
        if (anchor != nullptr) {
            at = (int)(anchor - Menu) + 1;
            depth = anchor->depth;
            while (at < MenuCount && Menu[at].depth == depth && Menu[at].id > after &&
                   Menu[at].id < id)
                at++;
        }
        memmove(&Menu[at + 1], &Menu[at], sizeof(Menu[0]) * (size_t)(MenuCount - at));
        MenuCount++;
        entry = &Menu[at];
        entry->id = id;
        entry->depth = depth;
        entry->enabled = 1;
        entry->checked = 0;
    }
    snprintf(entry->label, sizeof entry->label, "%s", text);
}

int PlatformPopupMenu(WindowHandle window, const MenuItem *items, int x, int y)
{
    (void)window;
    (void)x;
    (void)y;
    LastPopupCount = 0;
    for (int i = 0;
         LastPopupCount < POPUP_ITEMS && !(items[i].id == 0 && items[i].label == nullptr); i++)
        LastPopup[LastPopupCount++] = items[i];
    if (PopupCount == 0) return 0;
    int chosen = PopupAnswers[0];
    memmove(PopupAnswers, PopupAnswers + 1, sizeof(int) * (size_t)(PopupCount - 1));
    PopupCount--;
    return chosen;
}

int HeadlessMenuState(int id, int *enabled, int *checked, const char **label)
{
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry == nullptr) return 0;
    if (enabled != nullptr) *enabled = entry->enabled;
    if (checked != nullptr) *checked = entry->checked;
    if (label != nullptr) *label = entry->label;
    return 1;
}

void HeadlessChooseMenu(int id)
{
    if (HeadlessFrameRecord == nullptr) return;
    WindowDeliver(HeadlessFrameRecord, MSG_INIT_MENU, 0, 0);
    HeadlessMenuEntry *entry = MenuFind(id);
    if (entry != nullptr && !entry->enabled) return;
    WindowDeliver(HeadlessFrameRecord, MSG_COMMAND, (uintptr_t)(uint16_t)id, 0);
}

void HeadlessQueuePopupChoice(int id)
{
    if (PopupCount < POPUP_QUEUE) PopupAnswers[PopupCount++] = id;
}

int HeadlessLastPopup(const MenuItem **items)
{
    *items = LastPopup;
    return LastPopupCount;
}
