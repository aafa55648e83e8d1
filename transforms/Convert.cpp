// Convert: any picture type into any other.
//
// The row reader delivers binary pictures as bytes of 0 and 255, so a binary source reads
// exactly like an 8-bit gray one. Color reaches gray through Luminance, always at 8 bits:
// 48-bit color is narrowed before its luminance is taken, which is why a 48-bit picture
// converted to 16-bit gray keeps only 8 bits of precision.
#include "transforms/Convert.h"

#include "core/Helpers.h"
#include "core/Progress.h"
#include "core/RowReader.h"

static const int CONVERT_THRESHOLD = 128; // gray values below it give a clear (black) bit

void ConvertSettingsDefault(ConvertSettings *settings)
{
    // 24-bit color: the usual reason to convert is to bring a 16-bit scan down to a picture
    // that every file format and printer takes.
    settings->target = CONVERT_COLOR24;
}

int ConvertTargetType(int target, int full)
{
    switch (target) {
    case CONVERT_BINARY: return TYPE_BINARY;
    case CONVERT_GRAY8: return TYPE_GRAY8;
    case CONVERT_COLOR24: return TYPE_COLOR24;
    case CONVERT_GRAY16: return full ? TYPE_GRAY16 : TYPE_GRAY8;
    case CONVERT_COLOR48: return full ? TYPE_COLOR48 : TYPE_COLOR24;
    default: return TYPE_EMPTY;
    }
}

// The 16-bit sample i of a delivered row.
static inline int Sample16(const uint8_t *in, int i)
{
    return ((const uint16_t *)in)[i];
}

// The gray value at 8 bits of pixel i of a delivered row of the source type.
static inline int ConvertGray8(int type, const uint8_t *in, int i)
{
    switch (type) {
    case TYPE_COLOR24: return Luminance(in[3 * i + 2], in[3 * i + 1], in[3 * i]);
    case TYPE_GRAY16: return Depth16To8[Sample16(in, i)];
    case TYPE_COLOR48:
        return Luminance(Depth16To8[Sample16(in, 3 * i + 2)], Depth16To8[Sample16(in, 3 * i + 1)],
                         Depth16To8[Sample16(in, 3 * i)]);
    default: return in[i]; // binary and 8-bit gray
    }
}

// Channel c (0 blue, 1 green, 2 red) at 8 bits of pixel i; gray gives the same three times.
static inline int ConvertChannel8(int type, const uint8_t *in, int i, int c)
{
    switch (type) {
    case TYPE_COLOR24: return in[3 * i + c];
    case TYPE_GRAY16: return Depth16To8[Sample16(in, i)];
    case TYPE_COLOR48: return Depth16To8[Sample16(in, 3 * i + c)];
    default: return in[i];
    }
}

// Channel c at 16 bits: 16-bit samples as they are, 8-bit ones widened.
static inline int ConvertChannel16(int type, const uint8_t *in, int i, int c)
{
    switch (type) {
    case TYPE_COLOR24: return Depth8To16[in[3 * i + c]];
    case TYPE_GRAY16: return Sample16(in, i);
    case TYPE_COLOR48: return Sample16(in, 3 * i + c);
    default: return Depth8To16[in[i]];
    }
}

// One row of w pixels from a delivered row of sourceType into outputType. Binary output is
// written as bits from bit firstBit of out.
static void ConvertRow(int sourceType, int outputType, const uint8_t *in, uint8_t *out, int w,
                       int firstBit)
{
    uint16_t *out16 = (uint16_t *)out;
    switch (outputType) {
    case TYPE_BINARY:
        for (int i = 0; i < w; i++) {
            if (ConvertGray8(sourceType, in, i) < CONVERT_THRESHOLD)
                BitClear(out, firstBit + i);
            else
                BitSet(out, firstBit + i);
        }
        break;
    case TYPE_GRAY8:
        for (int i = 0; i < w; i++)
            out[i] = (uint8_t)ConvertGray8(sourceType, in, i);
        break;
    case TYPE_COLOR24:
        for (int i = 0; i < w; i++)
            for (int c = 0; c < 3; c++)
                out[3 * i + c] = (uint8_t)ConvertChannel8(sourceType, in, i, c);
        break;
    case TYPE_GRAY16:
        // 16-bit gray keeps its samples; everything else has an 8-bit gray value to widen.
        for (int i = 0; i < w; i++)
            out16[i] =
                (uint16_t)(sourceType == TYPE_GRAY16 ? Sample16(in, i)
                                                     : Depth8To16[ConvertGray8(sourceType, in, i)]);
        break;
    case TYPE_COLOR48:
        for (int i = 0; i < w; i++)
            for (int c = 0; c < 3; c++)
                out16[3 * i + c] = (uint16_t)ConvertChannel16(sourceType, in, i, c);
        break;
    default: break;
    }
}

int ConvertChangesNothing(const void *params, const Image *source, int full)
{
    const ConvertSettings *settings = (const ConvertSettings *)params;
    return source != nullptr && ImageIsPicture(source->type) &&
           ConvertTargetType(settings->target, full) == source->type;
}

ErrorCode ConvertCompute(const Image *source, Image *destination, Picture *picture, void *params,
                         int full, int destinationWidth, int destinationHeight, int sourceX,
                         int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h)
{
    const ConvertSettings *settings = (const ConvertSettings *)params;
    ErrorCode result = ERROR_NONE;
    RowReader reader;
    RowWriter writer;
    int outputType;
    int firstBit = 0;
    int showProgress = 0;
    int waitCursor = 0;

    (void)picture; // a result has nothing of this transformation's own but its pixels

    // Reset before anything can fail, so that the exit may close both unconditionally.
    RowReaderReset(&reader);
    RowWriterReset(&writer);

    if (source == nullptr || !ImageIsPicture(source->type)) {
        result = ERROR_ILLEGAL_TYPE;
        goto done;
    }
    outputType = ConvertTargetType(settings->target, full);
    if (outputType == TYPE_EMPTY) {
        result = ERROR_INTERNAL_1; // the dialog offers only the five targets
        goto done;
    }

    result =
        ComputePrepareDestination(source, destination, outputType, destinationWidth,
                                  destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    if (result != ERROR_NONE) goto done;
    result = RowReaderOpen(source, sourceX, sourceY, zoom, w, &reader);
    if (result != ERROR_NONE) goto done;
    result = RowWriterOpen(destination, zoom, x0, x1, y0, full, &writer);
    if (result != ERROR_NONE) goto done;

    // A binary row written in place starts at the byte that holds column x0, so its bits
    // start at x0's bit within that byte; a magnified row is built in the writer's buffer
    // from bit 0 and placed by the writer.
    if (outputType == TYPE_BINARY && zoom < 2) firstBit = x0 & 7;

    showProgress = (int64_t)w * h >= PROGRESS_PIXELS;
    if (showProgress)
        ProgressOpen(0, h - 1, "Convert", 1);
    else {
        SetWaitCursor();
        waitCursor = 1;
    }

    for (int row = 0; row < h; row++) {
        const uint8_t *in = RowReaderNext(&reader);
        uint8_t *out = RowWriterRow(&writer);
        ConvertRow(source->type, outputType, in, out, w, firstBit);
        RowWriterPut(&writer);
        if (showProgress && (result = ProgressStep(row)) != ERROR_NONE) break;
    }

done:
    if (showProgress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    RowReaderClose(&reader);
    RowWriterClose(&writer);
    return result;
}
