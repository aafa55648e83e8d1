// Undo of retouching: one list for the whole program of saved rectangles of pictures, grouped
// by marks. Transformations never need it, since they write new windows and leave their
// input alone; only the hand tools change a picture in place.
//
// The list is a stack, newest first. An entry with a null window is a group mark, and a mark
// never stands at the bottom, so an undo pops entries until it has popped a mark or emptied
// the list. The undo preference decides how much is kept: nothing, the last group, or all.
#include <cstring>

#include "core/Memory.h"
#include "core/Preferences.h"
#include "shell/Undo.h"
#include "ui/Display.h"
#include "ui/ImageWindows.h"

struct UndoEntry {
    UndoEntry *next; // the older entry
    WindowHandle window;
    int x0; // where the copy came from: columns and row indices, inclusive
    int y0;
    Image copy;
};

static UndoEntry *UndoTop;

static void EntryFree(UndoEntry *entry)
{
    ImageFree(&entry->copy);
    MemoryFree(entry);
}

void UndoDiscard(void)
{
    while (UndoTop != nullptr) {
        UndoEntry *next = UndoTop->next;
        EntryFree(UndoTop);
        UndoTop = next;
    }
}

int UndoAvailable(void)
{
    return UndoTop != nullptr;
}

ErrorCode UndoPush(WindowHandle window, const Rect *rectangle)
{
    ErrorCode result = ERROR_NONE;
    UndoEntry *entry = nullptr;

    if (Prefs.undo == UNDO_NONE) goto done;
    if (window == nullptr) {
        // A new group: with a single level the old groups go now.
        if (Prefs.undo == UNDO_SINGLE) UndoDiscard();
        if (UndoTop == nullptr || UndoTop->window == nullptr) goto done;
    }
    entry = (UndoEntry *)MemoryAllocZero(sizeof(UndoEntry));
    if (entry == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    ImageClear(&entry->copy);
    entry->window = window;
    if (window != nullptr) {
        const ImageWindow *record = WindowRecord(window);
        if (record == nullptr || !ImageIsPicture(record->picture.image.type) ||
            rectangle == nullptr) {
            result = ERROR_INTERNAL_1; // a caller's mistake: nothing to save
            goto done;
        }
        const Image *picture = &record->picture.image;
        int x0 = rectangle->left < 0 ? 0 : rectangle->left;
        int y0 = rectangle->top < 0 ? 0 : rectangle->top;
        int x1 = rectangle->right >= picture->width ? picture->width - 1 : rectangle->right;
        int y1 = rectangle->bottom >= picture->height ? picture->height - 1 : rectangle->bottom;
        if (x1 < x0 || y1 < y0) goto done; // wholly outside the picture: nothing changes there
        result = ImageCopyRect(picture, x0, y0, x1, y1, &entry->copy);
        if (result != ERROR_NONE) goto done;
        entry->x0 = x0;
        entry->y0 = y0;
    }
    entry->next = UndoTop;
    UndoTop = entry;
    entry = nullptr; // the list owns it now
done:
    if (entry != nullptr) EntryFree(entry);
    return result;
}

// Writes a saved rectangle back into its picture and shows it.
static void Restore(const UndoEntry *entry)
{
    ImageWindow *record = WindowRecord(entry->window);
    if (record == nullptr) return;
    Image *picture = &record->picture.image;
    const Image *copy = &entry->copy;
    // The picture may have changed type or size since (a conversion in place); such an
    // entry no longer fits and is dropped.
    if (copy->type != picture->type || entry->x0 + copy->width > picture->width ||
        entry->y0 + copy->height > picture->height)
        return;
    int bytesPerPixel = 0;
    switch (picture->type) {
    case TYPE_GRAY8: bytesPerPixel = 1; break;
    case TYPE_COLOR24: bytesPerPixel = 3; break;
    case TYPE_GRAY16: bytesPerPixel = 2; break;
    case TYPE_COLOR48: bytesPerPixel = 6; break;
    default: break; // binary: bit by bit below
    }
    for (int y = 0; y < copy->height; y++) {
        const uint8_t *in = copy->rows[y];
        uint8_t *out = picture->rows[entry->y0 + y];
        if (picture->type == TYPE_BINARY) {
            for (int x = 0; x < copy->width; x++) {
                if (BitTest(in, x))
                    BitSet(out, entry->x0 + x);
                else
                    BitClear(out, entry->x0 + x);
            }
        } else {
            memcpy(out + (size_t)entry->x0 * bytesPerPixel, in,
                   (size_t)copy->width * bytesPerPixel);
        }
    }
    NotifyUsers(entry->window);
    if (record->view.type != TYPE_EMPTY) RefreshView(record);
    PlatformInvalidate(entry->window, nullptr);
}

void Undo(void)
{
    if (UndoTop == nullptr) return;
    WindowHandle noted = UndoTop->window;
    while (UndoTop != nullptr) {
        UndoEntry *entry = UndoTop;
        UndoTop = entry->next;
        int mark = entry->window == nullptr;
        if (!mark) Restore(entry);
        EntryFree(entry);
        if (mark) break;
    }
    if (noted != nullptr) RefreshUsers(noted);
}

void UndoAll(void)
{
    while (UndoTop != nullptr)
        Undo();
}

void UndoForget(WindowHandle window)
{
    if (window == nullptr) return;
    UndoEntry **link = &UndoTop;
    while (*link != nullptr) {
        UndoEntry *entry = *link;
        if (entry->window == window) {
            *link = entry->next;
            EntryFree(entry);
        } else {
            link = &entry->next;
        }
    }
    // A group whose entries all went leaves its mark at the top or beside another mark, and
    // a mark may end up at the bottom: drop those, so that every undo restores something.
    link = &UndoTop;
    while (*link != nullptr) {
        UndoEntry *entry = *link;
        int redundant = entry->window == nullptr && (link == &UndoTop || entry->next == nullptr ||
                                                     entry->next->window == nullptr);
        if (redundant) {
            *link = entry->next;
            EntryFree(entry);
        } else {
            link = &entry->next;
        }
    }
}
