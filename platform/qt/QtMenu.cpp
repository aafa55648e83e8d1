// The frame's menu on Qt: a QMenuBar built from the shell's item list, with the shortcut
// written after "\t" in a label as the item's key. Opening a menu sends MSG_INIT_MENU to
// the frame first, and so does a shortcut key before it fires, so that the frame can bring
// the items up to date; choosing an item sends MSG_COMMAND with its id.
#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <cstring>

#include "platform/qt/QtInternal.h"

struct MenuEntry {
    int id;
    QAction *action;
    QMenu *menu; // the menu that holds the item
};

static const int MENU_ENTRIES = 1024;
static const int MENU_DEPTH = 8;

static MenuEntry Entries[MENU_ENTRIES];
static int EntryCount;
static QList<QMenu *> BarMenus;

static MenuEntry *EntryFind(int id)
{
    if (id <= 0) return nullptr;
    for (int i = 0; i < EntryCount; i++)
        if (Entries[i].id == id) return &Entries[i];
    return nullptr;
}

static void InitMenu(void)
{
    if (WindowValid(QtFrameRecord)) QtForward(QtFrameRecord, MSG_INIT_MENU, 0, 0);
}

static void Command(int id)
{
    if (WindowValid(QtFrameRecord))
        QtForward(QtFrameRecord, MSG_COMMAND, (uintptr_t)(uint16_t)id, 0);
}

// An item with its label; the text after "\t" is shown as the shortcut and is its key, and
// one after a second "\t" is another key of the item that the menu does not show.
static QAction *ActionMake(int id, const char *label, QObject *parent)
{
    QStringList parts = QtText(label).split('\t');
    QString shown = parts[0];
    if (parts.size() > 1) shown += '\t' + parts[1];
    QAction *action = new QAction(shown, parent);
    action->setData(id);
    QList<QKeySequence> keys;
    for (int i = 1; i < parts.size() && i <= 2; i++) {
        QKeySequence key = QKeySequence::fromString(parts[i], QKeySequence::PortableText);
        if (!key.isEmpty()) keys.append(key);
    }
    if (!keys.isEmpty()) action->setShortcuts(keys);
    return action;
}

static void EntryAdd(int id, QAction *action, QMenu *menu)
{
    if (EntryCount == MENU_ENTRIES) return;
    Entries[EntryCount++] = {id, action, menu};
    QObject::connect(action, &QAction::triggered, [id]() { Command(id); });
}

void PlatformSetMenu(const MenuItem *items)
{
    if (QtMainWindow == nullptr) return;
    QMenuBar *bar = QtMainWindow->menuBar();
    bar->clear();
    for (QMenu *menu : BarMenus)
        menu->deleteLater();
    BarMenus.clear();
    EntryCount = 0;

    // The menu that takes the items of each depth, as the list descends.
    QMenu *holders[MENU_DEPTH] = {};
    for (int i = 0; !(items[i].id == 0 && items[i].label == nullptr); i++) {
        const MenuItem *item = &items[i];
        int depth = item->depth;
        if (depth < 0 || depth >= MENU_DEPTH - 1) continue;
        if (depth == 0) {
            if (item->id > 0) {
                QAction *action = ActionMake(item->id, item->label, bar);
                bar->addAction(action);
                EntryAdd(item->id, action, nullptr);
                continue;
            }
            QMenu *menu = new QMenu(QtText(item->label), bar);
            bar->addMenu(menu);
            BarMenus.append(menu);
            QObject::connect(menu, &QMenu::aboutToShow, InitMenu);
            holders[1] = menu;
            for (int d = 2; d < MENU_DEPTH; d++)
                holders[d] = nullptr;
            continue;
        }
        QMenu *holder = holders[depth];
        if (holder == nullptr) continue;
        if (item->id == 0) {
            holder->addSeparator();
        } else if (item->id < 0) {
            QMenu *submenu = holder->addMenu(QtText(item->label));
            holders[depth + 1] = submenu;
        } else {
            QAction *action = ActionMake(item->id, item->label, holder);
            holder->addAction(action);
            EntryAdd(item->id, action, holder);
        }
    }
}

void PlatformEnableMenuItem(int id, int enabled)
{
    MenuEntry *entry = EntryFind(id);
    if (entry != nullptr) entry->action->setEnabled(enabled != 0);
}

void PlatformCheckMenuItem(int id, int checked)
{
    MenuEntry *entry = EntryFind(id);
    if (entry == nullptr) return;
    entry->action->setCheckable(true);
    entry->action->setChecked(checked != 0);
}

void PlatformSetMenuItem(int id, int after, const char *text)
{
    MenuEntry *entry = EntryFind(id);
    if (text == nullptr) {
        if (entry == nullptr) return;
        if (entry->menu != nullptr) entry->menu->removeAction(entry->action);
        entry->action->deleteLater();
        int index = (int)(entry - Entries);
        memmove(&Entries[index], &Entries[index + 1],
                sizeof(Entries[0]) * (size_t)(EntryCount - index - 1));
        EntryCount--;
        return;
    }
    if (entry != nullptr) {
        entry->action->setText(QtText(text));
        return;
    }
    MenuEntry *anchor = EntryFind(after);
    QMenu *menu =
        anchor != nullptr ? anchor->menu : (BarMenus.isEmpty() ? nullptr : BarMenus.last());
    if (menu == nullptr) return;
    // A new item goes right after after, or after the items already added behind it with
    // ids between the two, so that a numbered list keeps its order.
    QList<QAction *> actions = menu->actions();
    QAction *before = nullptr;
    if (anchor != nullptr) {
        int at = (int)actions.indexOf(anchor->action) + 1;
        while (at < actions.size()) {
            int other = actions[at]->data().isValid() ? actions[at]->data().toInt() : 0;
            if (other <= after || other >= id) break;
            at++;
        }
        if (at < actions.size()) before = actions[at];
    }
    QAction *action = ActionMake(id, text, menu);
    menu->insertAction(before, action);
    EntryAdd(id, action, menu);
}

// Adds the items of one level of a pop-up menu from items[*index] on.
static void PopupFill(QMenu *menu, const MenuItem *items, int *index, int depth)
{
    while (!(items[*index].id == 0 && items[*index].label == nullptr)) {
        const MenuItem *item = &items[*index];
        if (item->depth < depth) return;
        (*index)++;
        if (item->id == 0) {
            menu->addSeparator();
        } else if (item->id < 0) {
            QMenu *submenu = menu->addMenu(QtText(item->label));
            PopupFill(submenu, items, index, item->depth + 1);
        } else {
            QAction *action = menu->addAction(QtText(item->label));
            action->setData(item->id);
            if (item->checked) {
                action->setCheckable(true);
                action->setChecked(true);
            }
        }
    }
}

int PlatformPopupMenu(WindowHandle window, const MenuItem *items, int x, int y)
{
    if (!WindowValid(window) || window->side->widget == nullptr) return 0;
    QMenu menu;
    int index = 0;
    int depth = items[0].depth;
    PopupFill(&menu, items, &index, depth);
    QAction *chosen = menu.exec(window->side->widget->mapToGlobal(QPoint(x, y)));
    return chosen != nullptr && chosen->data().isValid() ? chosen->data().toInt() : 0;
}

int QtMenuHasShortcut(const QKeySequence &sequence)
{
    for (int i = 0; i < EntryCount; i++)
        if (Entries[i].action->shortcuts().contains(sequence)) return 1;
    return 0;
}

void QtMenuStop(void)
{
    EntryCount = 0;
    BarMenus.clear();
}
