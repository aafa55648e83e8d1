// Read-only mappings of whole files, so that a reader can take a file's bytes where the
// system already keeps them instead of having a read call copy each one first.
//
// Another program may shorten a file while we have it mapped, and touching a page past its
// new end raises SIGBUS, which would end the program. Work on mapped bytes therefore runs
// inside FileMapGuard: a SIGBUS on a page of the mapping, in the thread that guards it, stops
// the work and becomes an error code; any other SIGBUS goes where it went before.
#pragma once

#include <cstdint>

#include "core/File.h"

struct FileMap {
    const uint8_t *bytes; // the file's first byte, null when nothing is mapped
    int64_t size;         // bytes mapped
    int64_t runStart;     // the bytes used in order since the last release, by FileMapDone
    int64_t runEnd;
};

// Sets the record to "nothing mapped".
void FileMapReset(FileMap *map);

// Maps the first size bytes of file, its size as the caller found it. ERROR_READ_FILE when
// the system will not map it (an empty file, a pipe, a file system without mappings): the
// caller then reads the file as before. Release with FileMapClose.
ErrorCode FileMapOpen(FileHandle file, int64_t size, FileMap *map);

// Tells that the reader is done with bytes from offset on. The pages of a run of such bytes
// read in order are given back every few megabytes, so that going through a large file holds
// only a little of it at a time rather than all of it until the end; a page given back that
// is read again simply comes back from the file.
void FileMapDone(FileMap *map, int64_t offset, int64_t bytes);

// Unmaps and resets the record; a reset record is left alone.
void FileMapClose(FileMap *map);

// Runs work(context), which may read the bytes of map. Returns ERROR_NONE when work ran to
// its end, ERROR_READ_FILE when a page of the mapping could not be read (the file was
// shortened, or the disk failed): work then stopped at the byte it touched, and what it had
// written so far stays. Since work does not return from that byte, it may hold nothing it
// would have to release there: no memory, lock or file of its own.
ErrorCode FileMapGuard(const FileMap *map, void (*work)(void *context), void *context);
