// The list of recent files.
#include "files/RecentFiles.h"

#include <cstring>

#include "core/Preferences.h"
#include "core/Text.h"

RecentFiles RecentFileList;

void RecentFilesClear(RecentFiles *list)
{
    list->count = 0;
    for (int i = 0; i < RECENT_FILES_MAX; i++)
        list->paths[i][0] = 0;
}

// Index of path in list, or -1.
static int RecentFilesFind(const RecentFiles *list, const char *path)
{
    for (int i = 0; i < list->count; i++)
        if (StrEqualNoCase(list->paths[i], path)) return i;
    return -1;
}

void RecentFilesAdd(RecentFiles *list, const char *path, int limit)
{
    if (limit < 0) limit = 0;
    if (limit > RECENT_FILES_MAX) limit = RECENT_FILES_MAX;
    // The preference may have been lowered since the last entry came in.
    for (; list->count > limit; list->count--)
        list->paths[list->count - 1][0] = 0;
    if (path[0] == 0 || strlen(path) >= PATH_LENGTH || limit == 0) return;
    // The entries before the old place of the path, or all that still fit, move down one.
    int found = RecentFilesFind(list, path);
    int last = found >= 0 ? found : (list->count < limit ? list->count : limit - 1);
    for (int i = last; i > 0; i--)
        memcpy(list->paths[i], list->paths[i - 1], PATH_LENGTH);
    // The new spelling wins: on a file system that tells letter case apart, it names the
    // file that was just used.
    strcpy(list->paths[0], path);
    if (found < 0 && list->count < limit) list->count++;
}

void RecentFilesRemove(RecentFiles *list, const char *path)
{
    int found = RecentFilesFind(list, path);
    if (found < 0) return;
    for (int i = found; i + 1 < list->count; i++)
        memcpy(list->paths[i], list->paths[i + 1], PATH_LENGTH);
    list->count--;
    list->paths[list->count][0] = 0;
}

void AddRecentFile(const char *path)
{
    RecentFilesAdd(&RecentFileList, path, Prefs.fileMenuLength);
}

void RemoveRecentFile(const char *path)
{
    RecentFilesRemove(&RecentFileList, path);
}
