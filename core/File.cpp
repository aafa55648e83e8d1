// File wrappers over stdio, and the safe save that writes beside the old file and renames
// over it only when everything succeeded. A signal that ends the program in the middle of a
// save finds the temporary file in a fixed list and removes it before the program ends.
#include "core/File.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Text.h"

static ErrorCode CreateErrorFromErrno(void)
{
    return errno == EACCES || errno == EPERM || errno == EROFS ? ERROR_READ_ONLY_FILE
                                                               : ERROR_CREATE_FILE;
}

ErrorCode FileOpenRead(const char *path, FileHandle *file)
{
    *file = fopen(path, "rb");
    if (*file == FILE_HANDLE_NONE) return ERROR_OPEN_FILE;
    // A folder opens on this system but cannot be read; refuse it here like a missing file.
    struct stat status;
    if (fstat(fileno(*file), &status) != 0 || S_ISDIR(status.st_mode)) {
        fclose(*file);
        *file = FILE_HANDLE_NONE;
        return ERROR_OPEN_FILE;
    }
    return ERROR_NONE;
}

ErrorCode FileCreate(const char *path, FileHandle *file)
{
    *file = fopen(path, "wb");
    if (*file == FILE_HANDLE_NONE) return CreateErrorFromErrno();
    return ERROR_NONE;
}

ErrorCode FileClose(FileHandle *file)
{
    if (*file == FILE_HANDLE_NONE) return ERROR_NONE;
    int failed = fclose(*file);
    *file = FILE_HANDLE_NONE;
    return failed != 0 ? ERROR_CLOSE_FILE : ERROR_NONE;
}

ErrorCode FileRead(FileHandle file, void *buffer, int64_t wanted, int64_t *got)
{
    *got = 0;
    if (wanted <= 0) return ERROR_NONE;
    size_t count = fread(buffer, 1, (size_t)wanted, file);
    *got = (int64_t)count;
    if (count == 0) return ferror(file) ? ERROR_READ_FILE : ERROR_END_OF_FILE;
    return ERROR_NONE;
}

ErrorCode FileReadExact(FileHandle file, void *buffer, int64_t count)
{
    int64_t got;
    ErrorCode result = FileRead(file, buffer, count, &got);
    if (result != ERROR_NONE) return result;
    return got == count ? ERROR_NONE : ERROR_END_OF_FILE;
}

ErrorCode FileWrite(FileHandle file, const void *buffer, int64_t count)
{
    if (count <= 0) return ERROR_NONE;
    return fwrite(buffer, 1, (size_t)count, file) == (size_t)count ? ERROR_NONE : ERROR_WRITE_FILE;
}

ErrorCode FileSeek(FileHandle file, int64_t offset)
{
    if (offset < 0) return ERROR_SET_POSITION;
    return fseeko(file, (off_t)offset, SEEK_SET) == 0 ? ERROR_NONE : ERROR_SET_POSITION;
}

ErrorCode FileTell(FileHandle file, int64_t *offset)
{
    off_t position = ftello(file);
    if (position < 0) return ERROR_GET_POSITION;
    *offset = (int64_t)position;
    return ERROR_NONE;
}

ErrorCode FileSize(FileHandle file, int64_t *size)
{
    struct stat status;
    if (fstat(fileno(file), &status) != 0) return ERROR_GET_POSITION;
    *size = (int64_t)status.st_size;
    return ERROR_NONE;
}

// ---------------------------------------------------------------------------------------
// The list of temporary files that a signal removes. A signal handler may not allocate, lock
// or call stdio, so the list is a fixed table, and each entry's state is a lock-free atomic
// that the handler claims before it touches the name: a save that finishes at the same
// moment on another thread cannot change a name the handler is reading.

constexpr int SAFE_FILE_SLOTS = 16; // saves in progress at one time; more go unlisted

enum : int {
    SLOT_FREE = 0,    // nobody's
    SLOT_WRITING = 1, // its save is writing the name; the handler leaves it
    SLOT_LIVE = 2,    // the name is a file to remove on a signal
    SLOT_CLAIMED = 3, // the handler is removing it; the program is ending
};

static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may touch only these");
static std::atomic<int> SlotStates[SAFE_FILE_SLOTS];
static char SlotNames[SAFE_FILE_SLOTS][PATH_LENGTH];

static const int CAUGHT_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

// Takes a free slot for the name; -1 when all are taken, and the save goes on unlisted.
static int SlotTake(const char *name)
{
    for (int slot = 0; slot < SAFE_FILE_SLOTS; slot++) {
        int expected = SLOT_FREE;
        if (SlotStates[slot].compare_exchange_strong(expected, SLOT_WRITING)) {
            strcpy(SlotNames[slot], name);
            SlotStates[slot].store(SLOT_LIVE);
            return slot;
        }
    }
    return -1;
}

// Gives the slot a new name. A slot the handler has claimed is left to it.
static void SlotRename(int slot, const char *name)
{
    int expected = SLOT_LIVE;
    if (slot < 0 || !SlotStates[slot].compare_exchange_strong(expected, SLOT_WRITING)) return;
    strcpy(SlotNames[slot], name);
    SlotStates[slot].store(SLOT_LIVE);
}

static void SlotRelease(int slot)
{
    int expected = SLOT_LIVE;
    if (slot >= 0) SlotStates[slot].compare_exchange_strong(expected, SLOT_FREE);
}

static void SafeFileSignal(int signalNumber)
{
    int saved = errno;
    for (int slot = 0; slot < SAFE_FILE_SLOTS; slot++) {
        int expected = SLOT_LIVE;
        if (SlotStates[slot].compare_exchange_strong(expected, SLOT_CLAIMED))
            unlink(SlotNames[slot]);
    }
    // The signal is blocked while its handler runs: raised again with the default action, it
    // ends the program as soon as the handler returns, and the exit status tells the signal.
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
    raise(signalNumber);
    errno = saved;
}

void SafeFileCatchSignals(void)
{
    for (int signalNumber : CAUGHT_SIGNALS) {
        struct sigaction old;
        if (sigaction(signalNumber, nullptr, &old) != 0 || old.sa_handler != SIG_DFL) continue;
        struct sigaction action = {};
        action.sa_handler = SafeFileSignal;
        // A second signal waits until the first has cleaned up.
        sigemptyset(&action.sa_mask);
        for (int other : CAUGHT_SIGNALS)
            sigaddset(&action.sa_mask, other);
        sigaction(signalNumber, &action, nullptr);
    }
}

// ---------------------------------------------------------------------------------------
// The safe save.

static const char TEMPORARY_INFIX[] = ".vistel-"; // between the final name and six letters
constexpr int TEMPORARY_LETTERS = 6;
constexpr int LINK_HOPS_MAX = 40; // the kernel's own limit on links in a row

static int TemporaryLetter(int c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

// Writes target.vistel-XXXXXX into temporary, the six letters random.
static void TemporaryName(const char *target, char *temporary)
{
    static const char LETTERS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    uint8_t bytes[TEMPORARY_LETTERS];
    if (getrandom(bytes, sizeof bytes, GRND_NONBLOCK) != (ssize_t)sizeof bytes) {
        // Without the kernel's randomness the clock and the process do; O_EXCL keeps it safe.
        uint64_t mix =
            (uint64_t)time(nullptr) * 6364136223846793005u + (uint64_t)getpid() + (uint64_t)clock();
        for (int i = 0; i < TEMPORARY_LETTERS; i++, mix >>= 8)
            bytes[i] = (uint8_t)mix;
    }
    char *at = temporary + strlen(target) + strlen(TEMPORARY_INFIX);
    strcpy(temporary, target);
    strcat(temporary, TEMPORARY_INFIX);
    for (int i = 0; i < TEMPORARY_LETTERS; i++)
        at[i] = LETTERS[bytes[i] % (sizeof LETTERS - 1)];
    at[TEMPORARY_LETTERS] = 0;
}

// Follows symbolic links from path to the name a save replaces. A link to a name that does
// not exist yet gives that name, which the save creates. ERROR_CREATE_FILE for a loop of
// links or a name too long; the codes of FileCreate when a link cannot be read.
static ErrorCode LinkTarget(const char *path, char *target)
{
    char link[PATH_LENGTH];
    if (strlen(path) >= PATH_LENGTH) return ERROR_CREATE_FILE;
    strcpy(target, path);
    for (int hops = 0;; hops++) {
        struct stat status;
        if (lstat(target, &status) != 0 || !S_ISLNK(status.st_mode)) return ERROR_NONE;
        if (hops == LINK_HOPS_MAX) return ERROR_CREATE_FILE;
        ssize_t length = readlink(target, link, sizeof link);
        if (length < 0) return CreateErrorFromErrno();
        if (length >= (ssize_t)sizeof link) return ERROR_CREATE_FILE;
        link[length] = 0;
        // A relative link is read from the folder the link stands in.
        const char *slash = strrchr(target, '/');
        size_t folder = link[0] == '/' || slash == nullptr ? 0 : (size_t)(slash - target) + 1;
        if (folder + (size_t)length >= PATH_LENGTH) return ERROR_CREATE_FILE;
        memcpy(target + folder, link, (size_t)length + 1);
    }
}

// Removes what earlier saves of target left when their process died before it could clean
// up: regular files named exactly target.vistel-XXXXXX, of our own user, untouched for
// SAFE_FILE_STALE_SECONDS, and not locked by a save still running (a running save holds a
// lock on its file; the age also covers file systems whose locks other machines don't see).
// Anything else in the folder stays, whatever its name.
static void RemoveStaleTemporaries(const char *target)
{
    char folder[PATH_LENGTH];
    char candidate[PATH_LENGTH];
    const char *slash = strrchr(target, '/');
    const char *name = slash != nullptr ? slash + 1 : target;
    size_t nameLength = strlen(name);
    size_t infixLength = strlen(TEMPORARY_INFIX);
    size_t folderLength = (size_t)(name - target);
    if (slash == nullptr) {
        strcpy(folder, ".");
    } else {
        memcpy(folder, target, folderLength);
        folder[folderLength] = 0;
    }
    DIR *listing = opendir(folder);
    if (listing == nullptr) return;
    time_t now = time(nullptr);
    for (struct dirent *entry = readdir(listing); entry != nullptr; entry = readdir(listing)) {
        const char *found = entry->d_name;
        if (strlen(found) != nameLength + infixLength + TEMPORARY_LETTERS) continue;
        if (memcmp(found, name, nameLength) != 0) continue;
        if (memcmp(found + nameLength, TEMPORARY_INFIX, infixLength) != 0) continue;
        int letters = 1;
        for (int i = 0; i < TEMPORARY_LETTERS; i++)
            letters = letters && TemporaryLetter(found[nameLength + infixLength + i]);
        if (!letters || folderLength + strlen(found) >= PATH_LENGTH) continue;
        memcpy(candidate, target, folderLength);
        strcpy(candidate + folderLength, found);
        struct stat status;
        if (lstat(candidate, &status) != 0 || !S_ISREG(status.st_mode) ||
            status.st_uid != geteuid() || now - status.st_mtime < SAFE_FILE_STALE_SECONDS)
            continue;
        int descriptor = open(candidate, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor < 0) continue;
        struct stat opened;
        // The lock is tried on the very file looked at; a save still running holds it.
        if (fstat(descriptor, &opened) == 0 && opened.st_ino == status.st_ino &&
            opened.st_dev == status.st_dev && flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            unlink(candidate);
        close(descriptor);
    }
    closedir(listing);
}

void SafeFileReset(SafeFile *safe)
{
    safe->file = FILE_HANDLE_NONE;
    safe->slot = -1;
    safe->mode = 0;
    safe->owner = -1;
    safe->group = -1;
    safe->path[0] = 0;
    safe->temporary[0] = 0;
}

ErrorCode SafeFileCreate(const char *path, SafeFile *safe)
{
    ErrorCode result = ERROR_NONE;
    int descriptor = -1;
    struct stat status;

    SafeFileReset(safe);
    result = LinkTarget(path, safe->path);
    if (result != ERROR_NONE) goto done;
    if (strlen(safe->path) + strlen(TEMPORARY_INFIX) + TEMPORARY_LETTERS >= PATH_LENGTH) {
        result = ERROR_CREATE_FILE;
        goto done;
    }
    if (lstat(safe->path, &status) == 0) {
        // Only a plain file is replaced: a folder or a device keeps what it is.
        if (!S_ISREG(status.st_mode)) {
            result = ERROR_CREATE_FILE;
            goto done;
        }
        // A rename needs only the folder's permission, so the file's own is checked here. A
        // file nobody may write was marked read-only by its user; root may write anything,
        // but replacing it would overrule that mark.
        if ((status.st_mode & 0222) == 0 ||
            faccessat(AT_FDCWD, safe->path, W_OK, AT_EACCESS) != 0) {
            result = ERROR_READ_ONLY_FILE;
            goto done;
        }
        safe->mode = (int)(status.st_mode & 07777);
        safe->owner = (int64_t)status.st_uid;
        safe->group = (int64_t)status.st_gid;
    } else if (errno != ENOENT) {
        result = CreateErrorFromErrno();
        goto done;
    }
    RemoveStaleTemporaries(safe->path);

    // The name is listed before the file exists, so that no moment leaves a file unlisted.
    TemporaryName(safe->path, safe->temporary);
    safe->slot = SlotTake(safe->temporary);
    for (int attempt = 0;; attempt++) {
        // While it is written, nobody may read more of it than of the old file; a new file
        // is made as the umask says, and that is its final mode too.
        mode_t createMode = safe->owner >= 0 ? (mode_t)safe->mode & 0666 : 0666;
        descriptor = open(safe->temporary, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, createMode);
        if (descriptor >= 0 || errno != EEXIST || attempt == 99) break;
        TemporaryName(safe->path, safe->temporary);
        SlotRename(safe->slot, safe->temporary);
    }
    if (descriptor < 0) {
        result = CreateErrorFromErrno();
        safe->temporary[0] = 0;
        goto done;
    }
    if (safe->owner < 0) {
        safe->mode = 0666;
        if (fstat(descriptor, &status) == 0) safe->mode = (int)(status.st_mode & 0777);
    }
    // The lock tells a later save that this file is still being written. A file system
    // without locks refuses, and the age rule alone protects the file.
    flock(descriptor, LOCK_EX | LOCK_NB);
    safe->file = fdopen(descriptor, "wb");
    if (safe->file == FILE_HANDLE_NONE) {
        close(descriptor);
        result = ERROR_CREATE_FILE;
        goto done;
    }
done:
    if (result != ERROR_NONE) SafeFileAbandon(safe);
    return result;
}

ErrorCode SafeFileTakeOver(SafeFile *safe)
{
    FileClose(&safe->file);
    int descriptor = open(safe->temporary, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) return ERROR_OPEN_FILE;
    // The library made the file as the umask says; what it writes next is for the readers of
    // the old file only.
    fchmod(descriptor, (mode_t)safe->mode & 0666);
    flock(descriptor, LOCK_EX | LOCK_NB);
    safe->file = fdopen(descriptor, "rb");
    if (safe->file == FILE_HANDLE_NONE) {
        close(descriptor);
        return ERROR_OPEN_FILE;
    }
    return ERROR_NONE;
}

// fsync, where a file system that cannot sync (some network and user-space ones) counts as
// done: there is nothing more we could do there.
static int SyncFailed(int descriptor)
{
    return fsync(descriptor) != 0 && errno != EINVAL && errno != ENOSYS && errno != ENOTSUP;
}

// Syncs the folder of path, so that a rename in it lasts through a power cut.
static ErrorCode FolderSync(const char *path)
{
    char folder[PATH_LENGTH];
    const char *slash = strrchr(path, '/');
    if (slash == nullptr) {
        strcpy(folder, ".");
    } else {
        size_t length = slash == path ? 1 : (size_t)(slash - path);
        memcpy(folder, path, length);
        folder[length] = 0;
    }
    int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return ERROR_WRITE_FILE;
    int failed = SyncFailed(descriptor);
    close(descriptor);
    return failed ? ERROR_WRITE_FILE : ERROR_NONE;
}

ErrorCode SafeFileCommit(SafeFile *safe)
{
    ErrorCode result = ERROR_NONE;
    int renamed = 0;
    if (safe->file == FILE_HANDLE_NONE) return ERROR_WRITE_FILE;
    int descriptor = fileno(safe->file);
    if (fflush(safe->file) != 0) result = ERROR_WRITE_FILE;
    if (result == ERROR_NONE) {
        // The old file's user and group where we may give them (root may; a user may keep a
        // group of their own), then its permissions, since a change of owner clears the
        // set-id bits. A file system without owners or modes refuses both, and the save
        // goes on: the data matter more.
        if (safe->owner >= 0 && fchown(descriptor, (uid_t)safe->owner, (gid_t)safe->group) != 0 &&
            fchown(descriptor, (uid_t)-1, (gid_t)safe->group) != 0) {
            // Neither could be kept: the new file is ours, as a new file would be.
        }
        fchmod(descriptor, (mode_t)safe->mode);
        if (SyncFailed(descriptor)) result = ERROR_WRITE_FILE;
    }
    if (fclose(safe->file) != 0 && result == ERROR_NONE) result = ERROR_CLOSE_FILE;
    safe->file = FILE_HANDLE_NONE;
    if (result == ERROR_NONE) {
        if (rename(safe->temporary, safe->path) == 0)
            renamed = 1;
        else
            result = CreateErrorFromErrno();
    }
    // After the rename the new file is in place; a folder that cannot be synced still makes
    // the save fail, since a power cut could bring the old file back.
    if (renamed) result = FolderSync(safe->path);
    if (!renamed) unlink(safe->temporary);
    SlotRelease(safe->slot);
    safe->slot = -1;
    safe->temporary[0] = 0;
    return result;
}

void SafeFileAbandon(SafeFile *safe)
{
    if (safe->file != FILE_HANDLE_NONE) {
        fclose(safe->file);
        safe->file = FILE_HANDLE_NONE;
    }
    if (safe->temporary[0] != 0) {
        unlink(safe->temporary);
        safe->temporary[0] = 0;
    }
    SlotRelease(safe->slot);
    safe->slot = -1;
}
