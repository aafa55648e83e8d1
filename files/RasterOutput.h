// What our own writers of BMP, Targa, PCX and RLE files share: the frame of a save, and a
// writer that gathers bytes in one large block and hands the file whole blocks, so that a
// picture goes out in a few hundred large writes rather than one small write per row or run.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "core/Image.h"

// Bytes gathered before they go to the file; larger than any row of an Image.
constexpr int64_t BLOCK_WRITER_BYTES = 1 << 20;

struct BlockWriter {
    FileHandle file; // not owned
    uint8_t *buffer; // BLOCK_WRITER_BYTES, owned
    int64_t used;    // bytes gathered and not yet written
    int32_t failed;  // 1 once a write failed; everything after it is dropped
};

// Resets the writer, so that BlockWriterClose may be called whatever happens.
void BlockWriterReset(BlockWriter *writer);

// Starts gathering for file. Returns ERROR_NO_MEMORY when the block cannot be had.
ErrorCode BlockWriterOpen(FileHandle file, BlockWriter *writer);

// Room for count bytes (at most BLOCK_WRITER_BYTES) that the caller fills at once; the bytes
// count as written. After a failed write the room is still given but never reaches the file.
uint8_t *BlockWriterSpace(BlockWriter *writer, int64_t count);

// Gathers count bytes of any length.
void BlockWriterPut(BlockWriter *writer, const void *bytes, int64_t count);

// Writes what is gathered. Returns ERROR_WRITE_FILE when this or any earlier write failed.
ErrorCode BlockWriterFlush(BlockWriter *writer);

// Frees the block without writing it; the file stays open.
void BlockWriterClose(BlockWriter *writer);

// The picture of a writer's image goes out with a progress window when it has this many
// pixels or more, as all long work does.
constexpr int64_t RASTER_PROGRESS_PIXELS = 100000;

// One format's part of a save; RasterSave does the rest. state is the format's own record of
// what it writes, which prepare fills and the others read.
struct RasterFormatWriter {
    const char *title; // of the progress window, "BMP Write"
    ErrorCode code;    // of a failed write or close
    // Checks that image can go into the format and makes its header. Returns the format's
    // save-type code for a picture type it cannot hold, its write code for a size it cannot
    // say, or ERROR_NO_MEMORY; nothing is created before it succeeds.
    ErrorCode (*prepare)(const Image *image, void *state);
    // Gathers the bytes before the rows.
    void (*head)(BlockWriter *writer, const Image *image, void *state);
    // Gathers file row i (0 first in the file) with whatever goes around it.
    void (*row)(BlockWriter *writer, const Image *image, int i, void *state);
    // Gathers the bytes after the rows, or null.
    void (*tail)(BlockWriter *writer, const Image *image, void *state);
    // Frees what prepare allocated, or null; called whatever happened.
    void (*release)(void *state);
};

// Saves image to path through format, beside the old file (SafeFile) so that a failed or
// aborted save leaves it as it was: prepare, head, the rows with a progress window for a
// large picture, tail. A failed write or close becomes the format's code; the other codes
// (prepare's, SafeFileCreate's, ERROR_ABORTED) pass as they are.
ErrorCode RasterSave(const char *path, const Image *image, const RasterFormatWriter *format,
                     void *state);
