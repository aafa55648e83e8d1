// The table of 256 picture records. Allocation starts at a rotating index, so a slot just
// freed is not taken again at once and "Untitled" numbers rise through a run.
#include "core/ImageWindow.h"

#include <cstring>
#include <lcms2.h>

#include "core/Memory.h"

static ImageWindow Slots[SLOT_COUNT];
// Whether a record has been reset since the table was initialised. A record is reset when it
// is first reached, not all at once at start-up: the table is two megabytes, and writing all
// of it cost a run of vistel-cli, which uses two or three records, a page fault for every
// four kilobytes of it.
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
    ImageFree(&record->image);
    ImageFree(&record->view);
    ImageFree(&record->screen);
    FreeFileComments(&record->comments);
    MemoryRelease(&record->profile);
    if (record->displayTransform != nullptr) cmsDeleteTransform(record->displayTransform);
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

ErrorCode CopyImageProfile(const ImageWindow *source, ImageWindow *destination)
{
    MemoryRelease(&destination->profile);
    destination->profileSize = 0;
    if (source->profile == nullptr || source->profileSize <= 0) return ERROR_NONE;
    destination->profile = (uint8_t *)MemoryAlloc((size_t)source->profileSize);
    if (destination->profile == nullptr) return ERROR_NO_MEMORY;
    memcpy(destination->profile, source->profile, (size_t)source->profileSize);
    destination->profileSize = source->profileSize;
    return ERROR_NONE;
}
