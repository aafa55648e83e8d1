// The frame of a save and the block writer shared by our own BMP, Targa, PCX and RLE writers.
#include "files/RasterOutput.h"

#include <cstring>

#include "core/Memory.h"
#include "core/Progress.h"

void BlockWriterReset(BlockWriter *writer)
{
    writer->file = FILE_HANDLE_NONE;
    writer->buffer = nullptr;
    writer->used = 0;
    writer->failed = 0;
}

ErrorCode BlockWriterOpen(FileHandle file, BlockWriter *writer)
{
    BlockWriterReset(writer);
    writer->buffer = (uint8_t *)MemoryAlloc((size_t)BLOCK_WRITER_BYTES);
    if (writer->buffer == nullptr) return ERROR_NO_MEMORY;
    writer->file = file;
    return ERROR_NONE;
}

// Writes the gathered bytes and empties the block; a failure is remembered.
static void BlockWriterDrain(BlockWriter *writer)
{
    if (writer->used > 0 && !writer->failed &&
        FileWrite(writer->file, writer->buffer, writer->used) != ERROR_NONE)
        writer->failed = 1;
    writer->used = 0;
}

uint8_t *BlockWriterSpace(BlockWriter *writer, int64_t count)
{
    if (writer->used + count > BLOCK_WRITER_BYTES) BlockWriterDrain(writer);
    uint8_t *room = writer->buffer + writer->used;
    writer->used += count;
    return room;
}

void BlockWriterPut(BlockWriter *writer, const void *bytes, int64_t count)
{
    const uint8_t *source = (const uint8_t *)bytes;
    while (count > 0) {
        int64_t piece = count < BLOCK_WRITER_BYTES ? count : BLOCK_WRITER_BYTES;
        memcpy(BlockWriterSpace(writer, piece), source, (size_t)piece);
        source += piece;
        count -= piece;
    }
}

ErrorCode BlockWriterFlush(BlockWriter *writer)
{
    BlockWriterDrain(writer);
    return writer->failed ? ERROR_WRITE_FILE : ERROR_NONE;
}

void BlockWriterClose(BlockWriter *writer)
{
    MemoryRelease(&writer->buffer);
    BlockWriterReset(writer);
}

// A failed write or close in the format's code; other codes pass as they are.
static ErrorCode RasterWriteCode(const RasterFormatWriter *format, ErrorCode result)
{
    return result == ERROR_WRITE_FILE || result == ERROR_CLOSE_FILE ? format->code : result;
}

ErrorCode RasterSave(const char *path, const Image *image, const RasterFormatWriter *format,
                     void *state)
{
    ErrorCode result = ERROR_NONE;
    SafeFile safe;
    BlockWriter writer;
    int progressOpen = 0;

    SafeFileReset(&safe);
    BlockWriterReset(&writer);
    result = format->prepare(image, state);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    result = BlockWriterOpen(safe.file, &writer);
    if (result != ERROR_NONE) goto done;
    format->head(&writer, image, state);
    if ((int64_t)image->width * image->height >= RASTER_PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, format->title, 1);
        progressOpen = 1;
    }
    for (int i = 0; i < image->height; i++) {
        format->row(&writer, image, i, state);
        if (progressOpen && (result = ProgressStep(i)) != ERROR_NONE) goto done;
    }
    if (format->tail != nullptr) format->tail(&writer, image, state);
    result = RasterWriteCode(format, BlockWriterFlush(&writer));
    if (result != ERROR_NONE) goto done;
    result = RasterWriteCode(format, SafeFileCommit(&safe));
done:
    if (progressOpen) ProgressClose();
    BlockWriterClose(&writer);
    SafeFileAbandon(&safe); // harmless after a commit
    if (format->release != nullptr) format->release(state);
    return result;
}
