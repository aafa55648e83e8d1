// All pixel access of transformations: a reader that delivers source rows, a writer that
// takes finished rows, and a reader of bands of rows for filters.
//
// They do all the work of region, zoom and subsampling, so one compute function serves both
// Apply (zoom 1, every pixel, into a new picture) and Preview (only what the preview shows,
// at its zoom, into its small view). At zoom 1 nothing is copied: the reader returns an
// address in the source and the writer one in the destination.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"

struct RowReader {
    const Image *image; // the source; not owned
    int32_t x;          // first source column
    int32_t y;          // next source row to deliver
    int32_t step;       // source pixels and rows between delivered ones, at least 1
    int32_t width;      // pixels delivered per row
    uint8_t *buffer;    // one delivered row, or null when rows are delivered in place
    uint8_t *scratch;   // width bytes for the caller; the reader never touches them
};

struct RowWriter {
    Image *image;        // the destination; not owned
    int32_t replicate;   // 1, or the zoom if that is 2 or more
    int32_t firstColumn; // first destination column written
    int32_t lastColumn;  // last destination column written, inclusive
    int32_t rowBytes;    // copy of the destination's rowBytes
    int32_t y;           // next destination row
    int32_t byteOffset;  // byte of firstColumn within a destination row
    uint8_t *buffer;     // one unreplicated row, or null when the caller writes in place
    int32_t full;        // the compute function's full argument; stored, without effect
    uint8_t *discard;    // where a row past the top of the destination is written, unused
};

enum : int32_t {
    ROW_WINDOW_IN_PLACE = 0, // row pointers into the picture itself
    ROW_WINDOW_SPAN = 1,     // one copied span of columns per row
    ROW_WINDOW_CLUSTERS = 2, // only the columns of each output pixel's neighbourhood
};

struct RowWindowReader {
    const Image *image;    // the source; not owned
    int32_t x;             // column of the first output pixel
    int32_t step;          // as for RowReader
    int32_t bufferLength;  // length of one row buffer, in bytes once opened
    int32_t radius;        // rows and columns on each side of the centre
    int32_t y;             // next centre row
    int32_t mode;          // ROW_WINDOW_*
    int32_t stride;        // samples between neighbourhoods of consecutive output pixels
    uint8_t **rowPointers; // 2 radius + 1 pointers, index 0 the band's lowest row
    uint8_t **buffers;     // the row buffers behind rowPointers in the copying modes
};

// Reset before anything can fail, so that Close may run unconditionally.
void RowReaderReset(RowReader *reader);

// Opens a reader of width pixels from column x, starting at row y, stepping by the zoom when
// it is negative. ERROR_NO_MEMORY when a buffer cannot be allocated.
ErrorCode RowReaderOpen(const Image *source, int x, int y, int zoom, int width,
                        RowReader *reader);

// The first pixel of the next row; past the top row the top row repeats. Binary sources are
// delivered as bytes 0 and 255. The memory is read-only to the caller.
const uint8_t *RowReaderNext(RowReader *reader);
void RowReaderClose(RowReader *reader);

void RowWriterReset(RowWriter *writer);

// Opens a writer of columns firstColumn..lastColumn from row firstRow up, replicating by the
// zoom when it is 2 or more. ERROR_NO_MEMORY when the buffer cannot be allocated.
ErrorCode RowWriterOpen(Image *destination, int zoom, int firstColumn, int lastColumn,
                        int firstRow, int full, RowWriter *writer);

// Where the caller writes the next row's unreplicated pixels.
uint8_t *RowWriterRow(RowWriter *writer);

// Finishes the row: expands and replicates it when zoomed, and moves on. Rows above the top
// of the destination are dropped.
void RowWriterPut(RowWriter *writer);
void RowWriterClose(RowWriter *writer);

void RowWindowReset(RowWindowReader *reader);

// Opens a reader of bands of 2 radius + 1 rows around centre rows from y up, for output
// pixels from column x. ERROR_NO_MEMORY when a buffer cannot be allocated.
ErrorCode RowWindowOpen(const Image *source, int x, int y, int zoom, int width, int radius,
                        RowWindowReader *reader);

// The band's row pointers, index 0 the lowest row; edges are clamped, not mirrored.
uint8_t *const *RowWindowNext(RowWindowReader *reader);
void RowWindowClose(RowWindowReader *reader);
