// What our own writers of BMP, Targa, PCX and RLE files share: a writer that gathers bytes in
// one large block and hands the file whole blocks, so that a picture goes out in a few hundred
// large writes rather than one small write per row or per run.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"

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
