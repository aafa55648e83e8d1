// Negative: each sample s becomes its largest value minus s, and each bit its opposite.
#include "transforms/Negative.h"

#include "core/Helpers.h"

// Bits from bytes 0 and 255: a clear bit for a set one and the other way round.
static void NegativeRowBinary(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    for (int i = 0; i < run->width; i++) {
        if (in[i] != 0)
            BitClear(out, run->firstBit + i);
        else
            BitSet(out, run->firstBit + i);
    }
}

template <typename In, typename Out>
static void NegativeRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    const In *samples = (const In *)in;
    Out *results = (Out *)out;
    for (int i = 0; i < run->samples; i++) {
        if (sizeof(In) == sizeof(Out))
            results[i] = (Out)~samples[i];
        else // a 16-bit sample into an 8-bit preview
            results[i] = (Out)(255 - Depth16To8[samples[i]]);
    }
}

static ErrorCode NegativeOutput(const void *params, int sourceType, int full, int *outputType)
{
    (void)params;
    if (!ImageIsPicture(sourceType)) return ERROR_ILLEGAL_TYPE;
    *outputType = sourceType == TYPE_BINARY ? TYPE_BINARY : ComputeOutputType(sourceType, full);
    return ERROR_NONE;
}

static ErrorCode NegativeSetup(RowRun *run)
{
    int wideSource = run->source->type == TYPE_GRAY16 || run->source->type == TYPE_COLOR48;
    int wideOutput = run->outputType == TYPE_GRAY16 || run->outputType == TYPE_COLOR48;
    if (run->outputType == TYPE_BINARY)
        run->row = NegativeRowBinary;
    else if (wideOutput)
        run->row = NegativeRow<uint16_t, uint16_t>;
    else
        run->row = wideSource ? NegativeRow<uint16_t, uint8_t> : NegativeRow<uint8_t, uint8_t>;
    return ERROR_NONE;
}

// Every sample alike, so rows red first go through as they are.
static const RowTransform NEGATIVE_ROWS = {"Negative", 1, NegativeOutput, NegativeSetup, nullptr,
                                           nullptr,    1};

ErrorCode NegativeCompute(const Image *source, Image *destination, Picture *picture, void *params,
                          int full, int destinationWidth, int destinationHeight, int sourceX,
                          int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h)
{
    (void)picture; // what belongs to the picture besides pixels is copied by the caller
    // A picture of no pixels has a height but no rows: its negative is another such picture.
    if (source != nullptr && ImageIsPicture(source->type) && source->rows == nullptr && full)
        return ImageAlloc(destination, source->type, source->width, source->height,
                          source->resolution);
    return ComputeRows(&NEGATIVE_ROWS, source, destination, params, full, destinationWidth,
                       destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

static void NegativeDefaults(void *settings)
{
    (void)settings;
}

const TransformDescriptor NegativeTransform = {"Negative",
                                               "negative",
                                               "the Negative command",
                                               "&Negative",
                                               MENU_IMAGE_WHOLE,
                                               COMMAND_NEGATIVE,
                                               -1,
                                               NegativeCompute,
                                               ImageIsPicture,
                                               nullptr,
                                               nullptr,
                                               nullptr,
                                               TRANSFORM_PROFILE_COPY,
                                               1,
                                               TRANSFORM_NO_AMOUNT,
                                               0,
                                               NegativeDefaults,
                                               nullptr,
                                               nullptr,
                                               0,
                                               nullptr,
                                               nullptr,
                                               &NEGATIVE_ROWS};
