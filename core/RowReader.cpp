// Row reader, row writer and band reader. Zoom and region are handled here, once, so that a
// compute function's inner loop sees plain rows of w pixels whatever it is computing for.
#include "core/RowReader.h"

#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"

// Bytes of one pixel of a type as delivered to a compute function: binary pictures arrive
// as one byte a pixel.
static int DeliveredPixelBytes(int type)
{
    switch (type) {
    case TYPE_COLOR24: return 3;
    case TYPE_GRAY16: return 2;
    case TYPE_COLOR48: return 6;
    default: return 1;
    }
}

// Copies the pixel at column of a row into out, binary pixels as 0 or 255.
static inline void CopyPixel(const Image *image, const uint8_t *row, int column, uint8_t *out,
                             int pixelBytes)
{
    if (image->type == TYPE_BINARY) {
        *out = BitTest(row, column) ? 255 : 0;
        return;
    }
    const uint8_t *in = row + (size_t)column * pixelBytes;
    for (int i = 0; i < pixelBytes; i++)
        out[i] = in[i];
}

void RowReaderReset(RowReader *reader)
{
    reader->buffer = nullptr;
    reader->scratch = nullptr;
}

ErrorCode RowReaderOpen(const Image *source, int x, int y, int zoom, int width,
                        RowReader *reader)
{
    reader->image = source;
    reader->x = x;
    reader->y = y;
    reader->width = width;
    reader->step = zoom < 0 ? -zoom : 1;
    // One byte at least, so that an empty run still has its scratch.
    reader->scratch = (uint8_t *)MemoryAlloc(width > 0 ? (size_t)width : 1);
    if (reader->scratch == nullptr) return ERROR_NO_MEMORY;
    if (reader->step == 1 && source->type != TYPE_BINARY) return ERROR_NONE;
    size_t bytes = (size_t)(width > 0 ? width : 1) * DeliveredPixelBytes(source->type);
    reader->buffer = (uint8_t *)MemoryAlloc(bytes);
    if (reader->buffer == nullptr) return ERROR_NO_MEMORY;
    return ERROR_NONE;
}

const uint8_t *RowReaderNext(RowReader *reader)
{
    const Image *image = reader->image;
    // Reading past the last row repeats it; a start below row 0 reads row 0.
    int row = reader->y < image->height ? reader->y : image->height - 1;
    if (row < 0) row = 0;
    reader->y += reader->step;
    int pixelBytes = DeliveredPixelBytes(image->type);
    if (reader->buffer == nullptr) return image->rows[row] + (size_t)reader->x * pixelBytes;
    const uint8_t *in = image->rows[row];
    uint8_t *out = reader->buffer;
    int column = reader->x;
    for (int i = 0; i < reader->width; i++, column += reader->step, out += pixelBytes)
        CopyPixel(image, in, column, out, pixelBytes);
    return reader->buffer;
}

void RowReaderClose(RowReader *reader)
{
    MemoryRelease(&reader->buffer);
    MemoryRelease(&reader->scratch);
}

void RowWriterReset(RowWriter *writer)
{
    writer->buffer = nullptr;
    writer->discard = nullptr;
}

ErrorCode RowWriterOpen(Image *destination, int zoom, int firstColumn, int lastColumn,
                        int firstRow, int full, RowWriter *writer)
{
    writer->image = destination;
    writer->firstColumn = firstColumn;
    writer->lastColumn = lastColumn;
    writer->y = firstRow;
    writer->full = full;
    writer->replicate = zoom < 2 ? 1 : zoom;
    writer->rowBytes = destination->rowBytes;
    switch (destination->type) {
    case TYPE_BINARY: writer->byteOffset = firstColumn / 8; break;
    case TYPE_COLOR24: writer->byteOffset = 3 * firstColumn; break;
    case TYPE_GRAY16: writer->byteOffset = 2 * firstColumn; break;
    case TYPE_COLOR48: writer->byteOffset = 6 * firstColumn; break;
    default: writer->byteOffset = firstColumn; break;
    }
    if (writer->replicate == 1) {
        // A caller writing in place may produce more rows than the destination has; those
        // land here rather than past the row table. A whole row is room enough, since the
        // caller writes at most the row's bytes from byteOffset on.
        writer->discard = (uint8_t *)MemoryAlloc((size_t)destination->rowBytes + 8);
        if (writer->discard == nullptr) return ERROR_NO_MEMORY;
        return ERROR_NONE;
    }
    writer->buffer = (uint8_t *)MemoryAlloc((size_t)destination->rowBytes + 8);
    if (writer->buffer == nullptr) return ERROR_NO_MEMORY;
    return ERROR_NONE;
}

uint8_t *RowWriterRow(RowWriter *writer)
{
    if (writer->buffer != nullptr) return writer->buffer;
    if (writer->y < 0 || writer->y >= writer->image->height) return writer->discard;
    return writer->image->rows[writer->y] + writer->byteOffset;
}

void RowWriterPut(RowWriter *writer)
{
    Image *image = writer->image;
    if (writer->y >= image->height) return;
    int r = writer->y;
    writer->y += writer->replicate;
    if (writer->buffer == nullptr || r < 0) return; // a row below the bottom is dropped too

    // Each source pixel fills replicate columns; the run stops once lastColumn is passed,
    // even in the middle of a pixel's copies. Columns outside the row are never written.
    uint8_t *row = image->rows[r];
    int pixelBytes = DeliveredPixelBytes(image->type);
    int source = 0;
    int copies = 0;
    int lastColumn = writer->lastColumn < image->width ? writer->lastColumn : image->width - 1;
    for (int column = writer->firstColumn; column <= lastColumn; column++) {
        if (image->type == TYPE_BINARY) {
            if (BitTest(writer->buffer, source)) BitSet(row, column);
            else BitClear(row, column);
        } else {
            memcpy(row + (size_t)column * pixelBytes, writer->buffer + (size_t)source * pixelBytes,
                   (size_t)pixelBytes);
        }
        if (++copies == writer->replicate) {
            copies = 0;
            if (source < image->width - 1) source++;
        }
    }

    // The written span goes to the next replicate - 1 rows, as far as they exist.
    int64_t span;
    int columns = writer->lastColumn - writer->firstColumn + 1;
    if (image->type == TYPE_BINARY) span = writer->lastColumn / 8 - writer->firstColumn / 8 + 1;
    else span = (int64_t)columns * pixelBytes;
    if (writer->byteOffset + span > writer->rowBytes) span = writer->rowBytes - writer->byteOffset;
    if (span <= 0) return;
    for (int i = 1; i < writer->replicate && r + i < image->height; i++)
        memcpy(image->rows[r + i] + writer->byteOffset, row + writer->byteOffset, (size_t)span);
}

void RowWriterClose(RowWriter *writer)
{
    MemoryRelease(&writer->buffer);
    MemoryRelease(&writer->discard);
}

void RowWindowReset(RowWindowReader *reader)
{
    reader->rowPointers = nullptr;
    reader->buffers = nullptr;
}

ErrorCode RowWindowOpen(const Image *source, int x, int y, int zoom, int width, int radius,
                        RowWindowReader *reader)
{
    int n = 2 * radius + 1;
    reader->image = source;
    reader->x = x;
    reader->y = y;
    reader->radius = radius;
    reader->step = zoom < 0 ? -zoom : 1;
    reader->rowPointers = (uint8_t **)MemoryAllocZero(sizeof(uint8_t *) * (size_t)n);
    if (reader->rowPointers == nullptr) return ERROR_NO_MEMORY;

    // The span of source columns that the band's rows cover decides how rows are delivered:
    // in place when it lies inside the picture, else copied with the edge repeated.
    reader->bufferLength = width * reader->step + 2 * radius;
    if (source->type != TYPE_BINARY && x - radius >= 0 &&
        x - radius - 1 + reader->bufferLength < source->width) {
        reader->mode = ROW_WINDOW_IN_PLACE;
        reader->stride = reader->step;
    } else if (n < reader->step) {
        // Neighbourhoods of two output pixels do not touch: copy only their n columns.
        reader->mode = ROW_WINDOW_CLUSTERS;
        reader->bufferLength = width * n;
        reader->stride = n;
    } else {
        reader->mode = ROW_WINDOW_SPAN;
        reader->stride = reader->step;
    }
    switch (source->type) {
    case TYPE_COLOR24:
        reader->bufferLength *= 3;
        reader->stride *= 3;
        break;
    case TYPE_GRAY16: reader->bufferLength *= 2; break;
    case TYPE_COLOR48:
        reader->bufferLength *= 6;
        reader->stride *= 3;
        break;
    default: break;
    }
    if (reader->mode == ROW_WINDOW_IN_PLACE) return ERROR_NONE;

    reader->buffers = (uint8_t **)MemoryAllocZero(sizeof(uint8_t *) * (size_t)n);
    if (reader->buffers == nullptr) {
        RowWindowClose(reader);
        return ERROR_NO_MEMORY;
    }
    for (int i = 0; i < n; i++) {
        reader->buffers[i] =
            (uint8_t *)MemoryAlloc(reader->bufferLength > 0 ? (size_t)reader->bufferLength : 1);
        if (reader->buffers[i] == nullptr) {
            RowWindowClose(reader);
            return ERROR_NO_MEMORY;
        }
        reader->rowPointers[i] = reader->buffers[i];
    }
    return ERROR_NONE;
}

uint8_t *const *RowWindowNext(RowWindowReader *reader)
{
    const Image *image = reader->image;
    int n = 2 * reader->radius + 1;
    int c = reader->y < image->height ? reader->y : image->height - 1;
    reader->y += reader->step;
    int start = reader->x - reader->radius;
    int pixelBytes = DeliveredPixelBytes(image->type);
    int lastColumn = image->width - 1;

    for (int j = 0; j < n; j++) {
        // Rows are clamped, not mirrored, at both edges.
        int k = c - reader->radius + j;
        if (k < 0) k = 0;
        if (k > image->height - 1) k = image->height - 1;
        const uint8_t *row = image->rows[k];
        if (reader->mode == ROW_WINDOW_IN_PLACE) {
            reader->rowPointers[j] = (uint8_t *)row + (int64_t)start * pixelBytes;
            continue;
        }
        uint8_t *out = reader->buffers[j];
        int pixels = reader->bufferLength / pixelBytes;
        if (reader->mode == ROW_WINDOW_SPAN) {
            for (int i = 0; i < pixels; i++) {
                int column = start + i;
                column = column < 0 ? 0 : (column > lastColumn ? lastColumn : column);
                CopyPixel(image, row, column, out + (size_t)i * pixelBytes, pixelBytes);
            }
        } else {
            int outputs = pixels / n;
            for (int p = 0; p < outputs; p++) {
                for (int q = 0; q < n; q++) {
                    int column = start + p * reader->step + q;
                    column = column < 0 ? 0 : (column > lastColumn ? lastColumn : column);
                    CopyPixel(image, row, column, out + (size_t)(p * n + q) * pixelBytes,
                              pixelBytes);
                }
            }
        }
    }
    return reader->rowPointers;
}

void RowWindowClose(RowWindowReader *reader)
{
    if (reader->buffers != nullptr) {
        for (int i = 0; i < 2 * reader->radius + 1; i++)
            MemoryRelease(&reader->buffers[i]);
    }
    MemoryRelease(&reader->buffers);
    MemoryRelease(&reader->rowPointers);
}
