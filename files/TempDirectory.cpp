// The folder for temporary files. It is checked with stat and access rather than by changing
// the working folder, which belongs to the whole process.
#include "files/TempDirectory.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "core/File.h"
#include "core/Preferences.h"
#include "core/Text.h"

static int IsSeparator(char c)
{
    return c == '/' || c == '\\';
}

static int IsWritableFolder(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode) && access(path, W_OK | X_OK) == 0;
}

// Creates path and the folders above it that are missing, with mode for each new one.
// 1 when path is a folder afterwards.
static int FolderCreate(char *path, mode_t mode)
{
    size_t length = strlen(path);
    for (size_t i = 1; i <= length; i++) {
        if (i < length && !IsSeparator(path[i])) continue;
        char kept = path[i];
        path[i] = 0; // the path up to this folder
        struct stat status;
        if (stat(path, &status) != 0) mkdir(path, mode); // a failure shows in the check below
        path[i] = kept;
    }
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

ErrorCode EnsureTempDirectory(char *folder)
{
    mode_t mode = 0777; // what the user's umask allows, for a folder the user named
    if (Prefs.tempDirectory[0] != 0) {
        StrCopyLimit(Prefs.tempDirectory, folder, PATH_LENGTH - 1);
    } else {
        // A folder of our own, private to this user, so that another user's folder of the
        // same name in a shared /tmp cannot stand in the way.
        const char *base = getenv("TMPDIR");
        if (base == nullptr || base[0] == 0) base = "/tmp";
        int written = snprintf(folder, PATH_LENGTH, "%s/vistel-%u", base, (unsigned)getuid());
        if (written < 0 || written >= PATH_LENGTH) return ERROR_TEMP_DIRECTORY;
        mode = 0700;
    }
    // Trailing separators go, but a root folder keeps its one.
    size_t length = strlen(folder);
    while (length > 1 && IsSeparator(folder[length - 1]))
        folder[--length] = 0;
    if (IsWritableFolder(folder)) return ERROR_NONE;
    if (!FolderCreate(folder, mode) || !IsWritableFolder(folder)) return ERROR_TEMP_DIRECTORY;
    return ERROR_NONE;
}
