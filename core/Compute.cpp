// Rules shared by every compute function, and the skeleton of those that work a row at a time.
#include "core/Compute.h"

#include <cassert>

#include "core/Progress.h"
#include "core/RowReader.h"

int ComputeOutputType(int sourceType, int full)
{
    switch (sourceType) {
    case TYPE_GRAY8: return TYPE_GRAY8;
    case TYPE_COLOR24: return TYPE_COLOR24;
    case TYPE_GRAY16: return full ? TYPE_GRAY16 : TYPE_GRAY8;
    case TYPE_COLOR48: return full ? TYPE_COLOR48 : TYPE_COLOR24;
    default: return TYPE_EMPTY;
    }
}

// 1 when the arguments keep the reader inside the source's rows and the writer inside the
// destination's. The callers are our own preview and apply code, so a failure here is a
// fault of ours, answered with a code rather than a write outside a row.
static int ComputeArgumentsFit(const Image *source, int destinationWidth, int destinationHeight,
                               int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                               int w, int h)
{
    if (zoom == 0 || zoom == -1 || w < 1 || h < 1 || source->rows == nullptr) return 0;
    if (x0 < 0 || y0 < 0 || x1 < x0 || y1 < y0) return 0;
    if (x1 >= destinationWidth || y1 >= destinationHeight) return 0;
    int64_t step = zoom < 0 ? -(int64_t)zoom : 1;
    if (sourceX < 0 || sourceY < 0) return 0;
    if (sourceX + (int64_t)(w - 1) * step >= source->width) return 0;
    // In place (zoom 1 or below) the row is written from x0 on; magnified, it goes through
    // a buffer of one destination row.
    if (zoom <= 1) return (int64_t)x0 + w <= destinationWidth;
    return w <= destinationWidth;
}

ErrorCode ComputePrepareDestination(const Image *source, Image *destination, int outputType,
                                    int destinationWidth, int destinationHeight, int sourceX,
                                    int sourceY, int zoom, int x0, int y0, int x1, int y1, int w,
                                    int h)
{
    if (!ComputeArgumentsFit(source, destinationWidth, destinationHeight, sourceX, sourceY, zoom,
                             x0, y0, x1, y1, w, h))
        return ERROR_INTERNAL_1;
    int whole = x0 == 0 && y0 == 0 && x1 == destinationWidth - 1 && y1 == destinationHeight - 1;
    if (!whole && destination->type == outputType && destination->width == destinationWidth &&
        destination->height == destinationHeight)
        return ERROR_NONE;
    return ImageAlloc(destination, outputType, destinationWidth, destinationHeight,
                      source->resolution);
}

ErrorCode ComputeRows(const RowTransform *transform, const Image *source, Image *destination,
                      const void *params, int full, int destinationWidth, int destinationHeight,
                      int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1, int w,
                      int h)
{
    ErrorCode result = ERROR_NONE;
    RowReader reader;
    RowWriter writer;
    RowRun run = {};
    int setUp = 0;
    int showProgress = 0;
    int waitCursor = 0;

    // Reset before anything can fail, so that the exit may close both unconditionally.
    RowReaderReset(&reader);
    RowWriterReset(&writer);

    run.outputType = TYPE_EMPTY;
    if (source == nullptr) {
        result = ERROR_ILLEGAL_TYPE;
        goto done;
    }
    if (transform->output != nullptr) {
        result = transform->output(params, source->type, full, &run.outputType);
        if (result != ERROR_NONE) goto done;
    } else {
        run.outputType = ComputeOutputType(source->type, full);
    }
    if (run.outputType == TYPE_EMPTY) {
        result = ERROR_ILLEGAL_TYPE;
        goto done;
    }
    run.source = source;
    run.params = params;
    run.full = full;
    run.zoom = zoom;
    run.width = w;
    run.samples = source->type == TYPE_COLOR24 || source->type == TYPE_COLOR48 ? 3 * w : w;
    // A binary row written in place starts at the byte that holds column x0, so its bits
    // start at x0's bit within that byte; a magnified row is built in the writer's buffer
    // from bit 0 and placed by the writer.
    if (run.outputType == TYPE_BINARY && zoom < 2) run.firstBit = x0 & 7;
    setUp = 1;
    result = transform->setup(&run);
    if (result != ERROR_NONE) goto done;
    assert(run.row != nullptr);

    result =
        ComputePrepareDestination(source, destination, run.outputType, destinationWidth,
                                  destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    if (result != ERROR_NONE) goto done;
    result = RowReaderOpen(source, sourceX, sourceY, zoom, w, &reader);
    if (result != ERROR_NONE) goto done;
    result = RowWriterOpen(destination, zoom, x0, x1, y0, full, &writer);
    if (result != ERROR_NONE) goto done;

    showProgress = (int64_t)w * h >= PROGRESS_PIXELS;
    if (showProgress) {
        ProgressOpen(0, transform->progressScale * h - 1, transform->title, 1);
    } else {
        SetWaitCursor();
        waitCursor = 1;
    }
    for (int row = 0; row < h; row++) {
        const uint8_t *in = RowReaderNext(&reader);
        uint8_t *out = RowWriterRow(&writer);
        run.row(&run, in, out);
        RowWriterPut(&writer);
        if (showProgress && (result = ProgressStep(row)) != ERROR_NONE) break;
    }

done:
    if (showProgress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    if (setUp && transform->cleanup != nullptr) transform->cleanup(&run);
    RowReaderClose(&reader);
    RowWriterClose(&writer);
    return result;
}
