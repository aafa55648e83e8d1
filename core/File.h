// Thin wrappers of the system's file calls, each returning an ErrorCode, and the byte-order
// helpers of all file code.
//
// Codes: open failure 4; create failure 3, or 37 when access is denied; read failure 5, zero
// bytes read 2, a short read with at least one byte 0; write failure 6; seek failure 8; tell
// failure 7; a failed close after writing 9.
#pragma once

#include <cstdint>
#include <cstdio>

#include "core/Errors.h"

constexpr int PATH_LENGTH = 4096; // bytes of a path buffer, terminator included

typedef FILE *FileHandle;
constexpr FileHandle FILE_HANDLE_NONE = nullptr;

ErrorCode FileOpenRead(const char *path, FileHandle *file);

// Creates or truncates path for writing.
ErrorCode FileCreate(const char *path, FileHandle *file);

// Closes the file and sets it to FILE_HANDLE_NONE; a handle that never opened is ignored.
// Returns ERROR_CLOSE_FILE when buffered data cannot be written.
ErrorCode FileClose(FileHandle *file);

// Reads up to wanted bytes; *got receives the count. Zero bytes is ERROR_END_OF_FILE, a short
// read of at least one byte is success.
ErrorCode FileRead(FileHandle file, void *buffer, int64_t wanted, int64_t *got);

// Reads exactly count bytes; a short read is ERROR_END_OF_FILE.
ErrorCode FileReadExact(FileHandle file, void *buffer, int64_t count);

ErrorCode FileWrite(FileHandle file, const void *buffer, int64_t count);
ErrorCode FileSeek(FileHandle file, int64_t offset);
ErrorCode FileTell(FileHandle file, int64_t *offset);

// Size of an open file in bytes, keeping its position.
ErrorCode FileSize(FileHandle file, int64_t *size);

// A file written beside its final name and renamed over it only when everything succeeded,
// so that a failed save never destroys what the user had. A symbolic link is followed: its
// target is replaced and the link stays. The new file keeps the old one's permissions, and
// its owner and group where the system lets us. While it is written, the temporary file
// NAME.vistel-XXXXXX is listed where SIGINT, SIGTERM and SIGHUP find it (SafeFileCatchSignals).
struct SafeFile {
    FileHandle file;
    int slot;                    // place in the list of temporary files, or -1 for none
    int mode;                    // permission bits the finished file gets
    int64_t owner;               // user of the file replaced, -1 for a new file
    int64_t group;               // its group, -1 for a new file
    char path[PATH_LENGTH];      // the name the file will have: a link's target, not the link
    char temporary[PATH_LENGTH]; // the name it has while it is written
};

// Resets the record; SafeFileAbandon may then be called whatever happens.
void SafeFileReset(SafeFile *safe);

// Creates the temporary file in the folder of the file that path names, after links. Returns
// ERROR_READ_ONLY_FILE for an existing file that is not writable: one without any write
// permission (even for root, since the mark is the user's decision) or one the system does
// not let us write; ERROR_CREATE_FILE for a name that is not a plain file (a folder, a
// device), a loop of links or a name too long; otherwise the codes of FileCreate. It also
// removes what earlier saves of the same name left when their process was killed (see
// SAFE_FILE_STALE_SECONDS).
ErrorCode SafeFileCreate(const char *path, SafeFile *safe);

// For a library that writes only to a name it creates itself (cfitsio): after the library
// has made the file anew under safe->temporary, takes it as the file to commit.
// ERROR_OPEN_FILE when it cannot be opened.
ErrorCode SafeFileTakeOver(SafeFile *safe);

// Flushes and syncs the temporary file, gives it the old file's permissions, renames it over
// the final name and syncs the folder. ERROR_WRITE_FILE when the data cannot be written or
// synced, ERROR_CLOSE_FILE, or the codes of FileCreate for a failed rename. On failure the
// temporary file is gone and the old file is as it was.
ErrorCode SafeFileCommit(SafeFile *safe);

// Closes and removes the temporary file if it is still there; harmless after a commit.
void SafeFileAbandon(SafeFile *safe);

// A temporary file untouched this long, and not locked by a running save, belongs to a save
// whose process died without cleaning up (a kill -9, a power cut); the next save of the same
// name removes it.
constexpr int SAFE_FILE_STALE_SECONDS = 600;

// Installs the handler that removes the temporary files of saves in progress on SIGINT,
// SIGTERM and SIGHUP and then ends the program by the signal's own default action. A signal
// that is ignored (a program started with nohup) stays ignored. Called once at start-up by
// each program.
void SafeFileCatchSignals(void);

// 16 and 32-bit values of a byte buffer in a file's byte order.
inline uint16_t BytesGet16(const uint8_t *buffer, int64_t offset, int littleEndian)
{
    const uint8_t *p = buffer + offset;
    return littleEndian ? (uint16_t)(p[0] | (p[1] << 8)) : (uint16_t)((p[0] << 8) | p[1]);
}

inline uint32_t BytesGet32(const uint8_t *buffer, int64_t offset, int littleEndian)
{
    const uint8_t *p = buffer + offset;
    return littleEndian ? (uint32_t)p[0] | ((uint32_t)p[1] << 8) | ((uint32_t)p[2] << 16) |
                              ((uint32_t)p[3] << 24)
                        : ((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) |
                              ((uint32_t)p[2] << 8) | (uint32_t)p[3];
}

inline void BytesPut16(uint8_t *buffer, int64_t offset, uint16_t value)
{
    buffer[offset] = (uint8_t)value;
    buffer[offset + 1] = (uint8_t)(value >> 8);
}

inline void BytesPut32(uint8_t *buffer, int64_t offset, uint32_t value)
{
    buffer[offset] = (uint8_t)value;
    buffer[offset + 1] = (uint8_t)(value >> 8);
    buffer[offset + 2] = (uint8_t)(value >> 16);
    buffer[offset + 3] = (uint8_t)(value >> 24);
}
