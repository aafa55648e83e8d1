// File wrappers over stdio, and the safe save that writes beside the old file and renames
// over it only when everything succeeded.
#include "core/File.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
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

void SafeFileReset(SafeFile *safe)
{
    safe->file = FILE_HANDLE_NONE;
    safe->path[0] = 0;
    safe->temporary[0] = 0;
}

ErrorCode SafeFileCreate(const char *path, SafeFile *safe)
{
    static const char SUFFIX[] = ".vistel-XXXXXX";
    SafeFileReset(safe);
    if (strlen(path) + sizeof SUFFIX > PATH_LENGTH) return ERROR_CREATE_FILE;
    StrCopyLimit(path, safe->path, PATH_LENGTH - 1);
    strcpy(safe->temporary, path);
    strcat(safe->temporary, SUFFIX);
    int descriptor = mkstemp(safe->temporary);
    if (descriptor < 0) {
        ErrorCode result = CreateErrorFromErrno();
        safe->temporary[0] = 0;
        return result;
    }
    // The new file gets the permissions of the one it replaces, or the usual ones for a new
    // file, rather than the private mode of a temporary file.
    struct stat status;
    mode_t mode;
    if (stat(path, &status) == 0) {
        mode = status.st_mode & 07777;
    } else {
        mode_t mask = umask(0);
        umask(mask);
        mode = 0666 & ~mask;
    }
    fchmod(descriptor, mode);
    safe->file = fdopen(descriptor, "wb");
    if (safe->file == FILE_HANDLE_NONE) {
        close(descriptor);
        unlink(safe->temporary);
        safe->temporary[0] = 0;
        return ERROR_CREATE_FILE;
    }
    // Writers that gather their data in large pieces write them straight through; small
    // writes (directory entries) still gather in the stream's buffer.
    return ERROR_NONE;
}

ErrorCode SafeFileCommit(SafeFile *safe)
{
    ErrorCode result = ERROR_NONE;
    if (safe->file == FILE_HANDLE_NONE) return ERROR_WRITE_FILE;
    if (fflush(safe->file) != 0) result = ERROR_WRITE_FILE;
    if (fclose(safe->file) != 0 && result == ERROR_NONE) result = ERROR_CLOSE_FILE;
    safe->file = FILE_HANDLE_NONE;
    if (result == ERROR_NONE && rename(safe->temporary, safe->path) != 0)
        result = CreateErrorFromErrno();
    if (result != ERROR_NONE) unlink(safe->temporary);
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
}
