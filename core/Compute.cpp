// Rules shared by every compute function, and the skeleton of those that work a row at a time.
#include "core/Compute.h"

#include <cassert>
#include <cstring>

#include "core/Memory.h"
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

static int RowTypeChannels(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48 ? 3 : 1;
}

static int RowTypeWide(int type)
{
    return type == TYPE_GRAY16 || type == TYPE_COLOR48;
}

// Prepares the mixing of a run, or leaves it off when the effect applies fully everywhere.
static ErrorCode RowMixOpen(const RowTransform *transform, const Image *source, int inPlace,
                            const RowRun *run, int sourceX, int sourceY, RowMixing *mixing)
{
    RowMix mix = {nullptr, 255, -1};
    if (transform->mix != nullptr) transform->mix(run->params, &mix);
    if (mix.low8 == 255 && (mix.high8 == -1 || mix.high8 == 255)) return ERROR_NONE;
    // A mix needs the channels of the input in the output, and pictures with samples.
    if (source->type == TYPE_BINARY || run->outputType == TYPE_BINARY ||
        RowTypeChannels(source->type) != RowTypeChannels(run->outputType))
        return ERROR_INTERNAL_1;
    mixing->on = 1;
    mixing->channels = RowTypeChannels(source->type);
    mixing->inputWide = RowTypeWide(source->type);
    mixing->outputWide = RowTypeWide(run->outputType);
    // One byte more, for the four-byte stores that write a colour pixel's three amounts.
    mixing->amounts = (uint8_t *)MemoryAlloc((size_t)run->samples + 1);
    if (mixing->amounts == nullptr) return ERROR_NO_MEMORY;
    if (mix.high8 == -1) {
        memset(mixing->amounts, mix.low8, (size_t)run->samples);
    } else {
        const Image *mask = mix.mask;
        if (mask == nullptr || mask->type != TYPE_GRAY8 || mask->width != source->width ||
            mask->height != source->height)
            return ERROR_INTERNAL_1;
        mixing->masked = 1;
        for (int m = 0; m < 256; m++) {
            mixing->amountOf[m] = (uint8_t)Lerp8(mix.low8, mix.high8, m);
            mixing->amountOf3[m] = mixing->amountOf[m] * 0x010101u;
        }
        ErrorCode result =
            RowReaderOpen(mask, sourceX, sourceY, run->zoom, run->width, &mixing->maskReader);
        if (result != ERROR_NONE) return result;
    }
    if (mixing->inputWide && !mixing->outputWide) {
        mixing->narrowed = (uint8_t *)MemoryAlloc((size_t)run->samples);
        if (mixing->narrowed == nullptr) return ERROR_NO_MEMORY;
    }
    if (inPlace) {
        size_t bytes = (size_t)run->samples * (mixing->inputWide ? 2 : 1);
        mixing->inputCopy = (uint8_t *)MemoryAlloc(bytes);
        if (mixing->inputCopy == nullptr) return ERROR_NO_MEMORY;
    }
    return ERROR_NONE;
}

// Lerp8 of each sample toward the effect by its amount, written without the table and the
// branch so that the compiler runs many samples in 16-bit lanes at once. Lerp8(a, b, w) is
// (a (255 - w) + b w + 127) / 255 for all bytes a, b, w (checked for each of them), and
// t / 255 is (t + 1 + (t >> 8)) >> 8 for every t below 65535.
static void RowMix8(const uint8_t *in, uint8_t *out, const uint8_t *amounts, int count)
{
    for (int i = 0; i < count; i++) {
        uint16_t w = amounts[i];
        uint16_t t = (uint16_t)(in[i] * (255 - w) + out[i] * w + 127);
        out[i] = (uint8_t)((t + 1 + (t >> 8)) >> 8);
    }
}

static void RowMix16(const uint16_t *in, uint16_t *out, const uint8_t *amounts, int count)
{
    for (int i = 0; i < count; i++)
        out[i] = (uint16_t)Lerp16(in[i], out[i], amounts[i]);
}

// Mixes one output row with its input row by the amounts.
static void RowMixApply(RowMixing *mixing, const RowRun *run, const uint8_t *in, uint8_t *out)
{
    int samples = run->samples;
    if (mixing->masked) {
        const uint8_t *mask = RowReaderNext(&mixing->maskReader);
        uint8_t *amounts = mixing->amounts;
        int width = run->width; // locals, which the stores below cannot be taken to change
        if (mixing->channels == 1) {
            const uint8_t *amountOf = mixing->amountOf;
            for (int x = 0; x < width; x++)
                amounts[x] = amountOf[mask[x]];
        } else {
            // Each store writes the pixel's three amounts and a fourth byte that the next
            // pixel overwrites.
            const uint32_t *amountOf3 = mixing->amountOf3;
            for (int x = 0; x < width; x++)
                memcpy(amounts + 3 * x, &amountOf3[mask[x]], 4);
        }
    }
    if (mixing->outputWide) {
        RowMix16((const uint16_t *)in, (uint16_t *)out, mixing->amounts, samples);
        return;
    }
    if (mixing->inputWide) {
        const uint16_t *wide = (const uint16_t *)in;
        for (int i = 0; i < samples; i++)
            mixing->narrowed[i] = Depth16To8[wide[i]];
        in = mixing->narrowed;
    }
    RowMix8(in, out, mixing->amounts, samples);
}

static void RowMixClose(RowMixing *mixing)
{
    RowReaderClose(&mixing->maskReader);
    MemoryRelease(&mixing->amounts);
    MemoryRelease(&mixing->narrowed);
    MemoryRelease(&mixing->inputCopy);
}

void RowPipeReset(RowPipe *pipe)
{
    memset(pipe, 0, sizeof *pipe);
    RowReaderReset(&pipe->mixing.maskReader);
    pipe->run.outputType = TYPE_EMPTY;
}

ErrorCode RowPipeOpen(const RowTransform *transform, const Image *source, int inPlace,
                      const void *params, int full, int zoom, int w, int x0, int sourceX,
                      int sourceY, RowPipe *pipe)
{
    ErrorCode result = ERROR_NONE;
    RowRun *run = &pipe->run;
    pipe->transform = transform;
    if (source == nullptr) return ERROR_ILLEGAL_TYPE;
    if (transform->output != nullptr) {
        result = transform->output(params, source->type, full, &run->outputType);
        if (result != ERROR_NONE) return result;
    } else {
        run->outputType = ComputeOutputType(source->type, full);
    }
    if (run->outputType == TYPE_EMPTY) return ERROR_ILLEGAL_TYPE;
    run->source = source;
    run->params = params;
    run->full = full;
    run->zoom = zoom;
    run->width = w;
    run->samples = source->type == TYPE_COLOR24 || source->type == TYPE_COLOR48 ? 3 * w : w;
    // A binary row written in place starts at the byte that holds column x0, so its bits
    // start at x0's bit within that byte; a magnified row is built in the writer's buffer
    // from bit 0 and placed by the writer.
    if (run->outputType == TYPE_BINARY && zoom < 2) run->firstBit = x0 & 7;
    pipe->setUp = 1;
    result = transform->setup(run);
    if (result != ERROR_NONE) return result;
    assert(run->row != nullptr);
    return RowMixOpen(transform, source, inPlace, run, sourceX, sourceY, &pipe->mixing);
}

ErrorCode RowPipeOpenRedFirst(const RowTransform *transform, const Image *source,
                              const void *params, RowPipe *pipe)
{
    assert(transform->redFirst);
    pipe->run.redFirst = 1;
    return RowPipeOpen(transform, source, 0, params, 1, 1, source->width, 0, 0, 0, pipe);
}

void RowPipeRun(RowPipe *pipe, const uint8_t *in, uint8_t *out)
{
    RowMixing *mixing = &pipe->mixing;
    if (mixing->inputCopy != nullptr) {
        memcpy(mixing->inputCopy, in, (size_t)pipe->run.samples * (mixing->inputWide ? 2 : 1));
        in = mixing->inputCopy;
    }
    pipe->run.row(&pipe->run, in, out);
    if (mixing->on) RowMixApply(mixing, &pipe->run, in, out);
}

void RowPipeClose(RowPipe *pipe)
{
    if (pipe->setUp && pipe->transform->cleanup != nullptr) pipe->transform->cleanup(&pipe->run);
    pipe->setUp = 0;
    RowMixClose(&pipe->mixing);
}

ErrorCode ComputeRows(const RowTransform *transform, const Image *source, Image *destination,
                      const void *params, int full, int destinationWidth, int destinationHeight,
                      int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1, int w,
                      int h)
{
    ErrorCode result = ERROR_NONE;
    RowReader reader;
    RowWriter writer;
    RowPipe pipe;
    int showProgress = 0;
    int waitCursor = 0;

    // Reset before anything can fail, so that the exit may close all three unconditionally.
    RowReaderReset(&reader);
    RowWriterReset(&writer);
    RowPipeReset(&pipe);

    result = RowPipeOpen(transform, source, source == destination, params, full, zoom, w, x0,
                         sourceX, sourceY, &pipe);
    if (result != ERROR_NONE) goto done;
    result =
        ComputePrepareDestination(source, destination, pipe.run.outputType, destinationWidth,
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
        RowPipeRun(&pipe, RowReaderNext(&reader), RowWriterRow(&writer));
        RowWriterPut(&writer);
        if (showProgress && (result = ProgressStep(row)) != ERROR_NONE) break;
    }

done:
    if (showProgress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    RowPipeClose(&pipe);
    RowReaderClose(&reader);
    RowWriterClose(&writer);
    return result;
}
