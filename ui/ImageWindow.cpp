// The table of 256 picture records. Allocation starts at a rotating index, so a slot just
// freed is not taken again at once and "Untitled" numbers rise through a run.
#include "ui/ImageWindow.h"

#include <cstring>

#include "color/ProfileTransform.h"
#include "core/Memory.h"
#include "core/Text.h"

static ImageWindow Slots[SLOT_COUNT];
// Whether a record has been reset since the table was initialised. A record is reset when it
// is first reached, not all at once at start-up: the table is two megabytes, and a run that
// uses two or three records need not take a page fault for every four kilobytes of it.
static uint8_t SlotReady[SLOT_COUNT];
static int SlotStart = 0; // where the next search for a free record begins

static void SlotReset(int slot)
{
    ImageWindow *record = &Slots[slot];
    memset(record, 0, sizeof *record);
    record->free = 1;
    record->slot = slot;
    record->zoom = 1;
    record->gridDivisions = 1;
    SlotReady[slot] = 1;
}

// The record of a slot in range, reset first if this is its first use.
static ImageWindow *SlotReached(int slot)
{
    if (!SlotReady[slot]) SlotReset(slot);
    return &Slots[slot];
}

void SlotTableInitialise(void)
{
    memset(SlotReady, 0, sizeof SlotReady);
    SlotStart = 0;
}

ErrorCode SlotAllocate(int *slot, ImageWindow **record)
{
    int found = -1;
    for (int i = 0; i < SLOT_COUNT && found < 0; i++) {
        int candidate = (SlotStart + i) % SLOT_COUNT;
        if (SlotReached(candidate)->free) found = candidate;
    }
    if (found < 0) return ERROR_TOO_MANY_IMAGES;
    SlotStart = (SlotStart + 1) % SLOT_COUNT;
    Slots[found].free = 0;
    *slot = found;
    *record = &Slots[found];
    return ERROR_NONE;
}

void SlotFree(int slot)
{
    if (slot < 0 || slot >= SLOT_COUNT) return;
    ImageWindow *record = SlotReached(slot);
    PictureFree(&record->picture);
    ImageFree(&record->view);
    ImageFree(&record->screen);
    ProfileTransformFree(&record->displayTransform);
    SlotReset(slot);
}

ImageWindow *SlotRecord(int slot)
{
    if (slot < 0 || slot >= SLOT_COUNT) return nullptr;
    return SlotReached(slot);
}

ImageWindow *WindowRecord(WindowHandle window)
{
    if (window == nullptr) return nullptr;
    return SlotRecord((int)PlatformGetWindowWord(window, WORD_SLOT));
}

ErrorCode CopyFileComments(const ImageWindow *source, ImageWindow *destination)
{
    ErrorCode result = FileCommentsCopy(source->picture.comments, &destination->picture.comments);
    if (result != ERROR_NONE) return result;
    if (destination->window != nullptr) {
        // The source's path names the copy; without one, its window's title does. A source
        // with neither leaves the destination's title alone.
        char title[PATH_LENGTH];
        title[0] = 0;
        if (source->picture.fileName[0] != 0)
            StrCopyLimit(source->picture.fileName, title, PATH_LENGTH - 1);
        else if (source->window != nullptr)
            PlatformGetWindowTitle(source->window, title, sizeof title);
        if (title[0] != 0) PlatformSetWindowTitle(destination->window, title);
    }
    destination->picture.fileType = source->picture.fileType;
    return ERROR_NONE;
}
