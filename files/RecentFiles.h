// The list of recently opened and saved files that the File menu shows, most recent first.
//
// The list is a plain record of fixed size so that the saved state can store and restore it
// as it stands; its length follows the preference fileMenuLength.
#pragma once

#include <cstdint>

#include "core/File.h"

constexpr int RECENT_FILES_MAX = 10; // room in the record; the preference allows 0..10

struct RecentFiles {
    int32_t count;                             // paths in use, 0..RECENT_FILES_MAX
    char paths[RECENT_FILES_MAX][PATH_LENGTH]; // paths[0] is the most recent
};

extern RecentFiles RecentFileList;

// Empties a list.
void RecentFilesClear(RecentFiles *list);

// Puts a copy of path first in list, keeping at most limit entries (clipped to 0..10). A
// path already there (compared without regard to letter case) moves to the front with the
// spelling given now; otherwise the last entry falls off a full list. An empty path, or one
// too long for the record, changes nothing but the trimming to limit.
void RecentFilesAdd(RecentFiles *list, const char *path, int limit);

// Removes path (compared without regard to letter case) and closes the gap.
void RecentFilesRemove(RecentFiles *list, const char *path);

// The same on the program's list, with the limit of the preferences.
void AddRecentFile(const char *path);
void RemoveRecentFile(const char *path);
