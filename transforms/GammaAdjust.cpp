// Gamma Adjust: each sample, normalised to 0..1, raised to the power of the factor.
//
// The model of every transformation: one compute function that pulls rows from a RowReader,
// looks each sample up in a table built for this run, and pushes rows into a RowWriter, so
// that the same code serves a preview at any zoom and Apply on the whole picture.
#include "transforms/GammaAdjust.h"

#include <cmath>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/RowReader.h"

const double GAMMA_INPUT_VALUES[GAMMA_INPUT_COUNT] = {1.0, 1.4, 1.8, 2.22};

static const int GAMMA_TABLE16_SIZE = 65536;

void GammaSettingsDefault(GammaSettings *settings)
{
    settings->factor = 1.0;
    settings->inputGammaIndex = 3; // 2.22, the gamma most pictures are encoded with
}

int GammaChangesNothing(const void *params, const Image *source, int full)
{
    const GammaSettings *settings = (const GammaSettings *)params;
    return settings->factor == 1.0 && source != nullptr &&
           ComputeOutputType(source->type, full) != TYPE_EMPTY;
}

// Table8[i] = Round((i / 255)^factor * 255).
static void GammaBuildTable8(double factor, uint8_t *table)
{
    for (int i = 0; i < 256; i++)
        table[i] = (uint8_t)Round(pow(i / 255.0, factor) * 255.0);
}

// Table16[i] = Round((i / 65535)^factor * 65535); built only for a 16-bit final result.
static void GammaBuildTable16(double factor, uint16_t *table)
{
    for (int i = 0; i < GAMMA_TABLE16_SIZE; i++)
        table[i] = (uint16_t)Round(pow(i / 65535.0, factor) * 65535.0);
}

// One row through a table: count samples of type In looked up into samples of type Out. A
// 16-bit sample of a preview is first reduced through Depth16To8, so that an 8-bit table
// serves it.
template <typename In, typename Out, typename Table>
static void GammaRow(const uint8_t *in, uint8_t *out, int count, const Table *table)
{
    const In *samples = (const In *)in;
    Out *results = (Out *)out;
    for (int i = 0; i < count; i++) {
        int s = samples[i];
        if (sizeof(In) == 2 && sizeof(Out) == 1) s = Depth16To8[s];
        results[i] = (Out)table[s];
    }
}

ErrorCode GammaCompute(const Image *source, Image *destination, Picture *picture, void *params,
                       int full, int destinationWidth, int destinationHeight, int sourceX,
                       int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h)
{
    const GammaSettings *settings = (const GammaSettings *)params;
    ErrorCode result = ERROR_NONE;
    RowReader reader;
    RowWriter writer;
    uint8_t table8[256];
    uint16_t *table16 = nullptr;
    int outputType;
    int samples = 0; // samples of a row of w pixels
    int showProgress = 0;
    int waitCursor = 0;

    (void)picture; // a result has nothing of this transformation's own but its pixels

    // Reset before anything can fail, so that the exit may close both unconditionally.
    RowReaderReset(&reader);
    RowWriterReset(&writer);

    outputType = source != nullptr ? ComputeOutputType(source->type, full) : TYPE_EMPTY;
    if (outputType == TYPE_EMPTY) {
        result = ERROR_ILLEGAL_TYPE;
        goto done;
    }
    samples = source->type == TYPE_COLOR24 || source->type == TYPE_COLOR48 ? 3 * w : w;

    result =
        ComputePrepareDestination(source, destination, outputType, destinationWidth,
                                  destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    if (result != ERROR_NONE) goto done;
    result = RowReaderOpen(source, sourceX, sourceY, zoom, w, &reader);
    if (result != ERROR_NONE) goto done;
    result = RowWriterOpen(destination, zoom, x0, x1, y0, full, &writer);
    if (result != ERROR_NONE) goto done;

    GammaBuildTable8(settings->factor, table8);
    if (outputType == TYPE_GRAY16 || outputType == TYPE_COLOR48) {
        table16 = (uint16_t *)MemoryAlloc(sizeof(uint16_t) * GAMMA_TABLE16_SIZE);
        if (table16 == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
        GammaBuildTable16(settings->factor, table16);
    }

    // The bar counts to 2 h - 1 while the rows step only to h - 1: Gamma Adjust's bar has
    // always stopped halfway, and its users know the time left it shows.
    showProgress = (int64_t)w * h >= PROGRESS_PIXELS;
    if (showProgress)
        ProgressOpen(0, 2 * h - 1, "Gamma Adjust", 1);
    else {
        SetWaitCursor();
        waitCursor = 1;
    }

    // Each sample is read before the one at its place is written, so that vistel-cli may
    // give one picture as source and destination.
    for (int row = 0; row < h; row++) {
        const uint8_t *in = RowReaderNext(&reader);
        uint8_t *out = RowWriterRow(&writer);
        if (table16 != nullptr)
            GammaRow<uint16_t, uint16_t>(in, out, samples, table16);
        else if (source->type == TYPE_GRAY16 || source->type == TYPE_COLOR48)
            GammaRow<uint16_t, uint8_t>(in, out, samples, table8);
        else
            GammaRow<uint8_t, uint8_t>(in, out, samples, table8);
        RowWriterPut(&writer);
        if (showProgress && (result = ProgressStep(row)) != ERROR_NONE) break;
    }

done:
    if (showProgress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    MemoryRelease(&table16);
    RowReaderClose(&reader);
    RowWriterClose(&writer);
    return result;
}
