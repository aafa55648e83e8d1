// Convert: any picture type into any other.
//
// The row reader delivers binary pictures as bytes of 0 and 255, so a binary source reads
// exactly like an 8-bit gray one. Color reaches gray through Luminance, always at 8 bits:
// 48-bit color is narrowed before its luminance is taken, which is why a 48-bit picture
// converted to 16-bit gray keeps only 8 bits of precision.
#include "transforms/Convert.h"

#include <cstddef>

#include "core/Helpers.h"

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

// One row of pixels from a delivered row of source type Source into Output type. Binary
// output is written as bits from run->firstBit of out. The types are template arguments, so
// that setup picks one of the twenty-five loops once per run.
template <int Source, int Output>
static void ConvertRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    uint16_t *out16 = (uint16_t *)out;
    int w = run->width;
    switch (Output) {
    case TYPE_BINARY:
        for (int i = 0; i < w; i++) {
            if (ConvertGray8(Source, in, i) < CONVERT_THRESHOLD)
                BitClear(out, run->firstBit + i);
            else
                BitSet(out, run->firstBit + i);
        }
        break;
    case TYPE_GRAY8:
        for (int i = 0; i < w; i++)
            out[i] = (uint8_t)ConvertGray8(Source, in, i);
        break;
    case TYPE_COLOR24:
        for (int i = 0; i < w; i++)
            for (int c = 0; c < 3; c++)
                out[3 * i + c] = (uint8_t)ConvertChannel8(Source, in, i, c);
        break;
    case TYPE_GRAY16:
        // 16-bit gray keeps its samples; everything else has an 8-bit gray value to widen.
        for (int i = 0; i < w; i++)
            out16[i] = (uint16_t)(Source == TYPE_GRAY16 ? Sample16(in, i)
                                                        : Depth8To16[ConvertGray8(Source, in, i)]);
        break;
    case TYPE_COLOR48:
        for (int i = 0; i < w; i++)
            for (int c = 0; c < 3; c++)
                out16[3 * i + c] = (uint16_t)ConvertChannel16(Source, in, i, c);
        break;
    default: break;
    }
}

typedef void (*ConvertRowFunction)(const RowRun *run, const uint8_t *in, uint8_t *out);

// The loops of one source type into each output type, in the order of the picture types.
template <int Source> static ConvertRowFunction ConvertRowInto(int outputType)
{
    switch (outputType) {
    case TYPE_BINARY: return ConvertRow<Source, TYPE_BINARY>;
    case TYPE_GRAY8: return ConvertRow<Source, TYPE_GRAY8>;
    case TYPE_COLOR24: return ConvertRow<Source, TYPE_COLOR24>;
    case TYPE_GRAY16: return ConvertRow<Source, TYPE_GRAY16>;
    default: return ConvertRow<Source, TYPE_COLOR48>;
    }
}

static ErrorCode ConvertSetup(RowRun *run)
{
    int outputType = run->outputType;
    switch (run->source->type) {
    case TYPE_BINARY: run->row = ConvertRowInto<TYPE_BINARY>(outputType); break;
    case TYPE_GRAY8: run->row = ConvertRowInto<TYPE_GRAY8>(outputType); break;
    case TYPE_COLOR24: run->row = ConvertRowInto<TYPE_COLOR24>(outputType); break;
    case TYPE_GRAY16: run->row = ConvertRowInto<TYPE_GRAY16>(outputType); break;
    default: run->row = ConvertRowInto<TYPE_COLOR48>(outputType); break;
    }
    return ERROR_NONE;
}

// Any picture goes to the target's type; an unknown target is ours to have let through.
static ErrorCode ConvertOutput(const void *params, int sourceType, int full, int *outputType)
{
    const ConvertSettings *settings = (const ConvertSettings *)params;
    if (!ImageIsPicture(sourceType)) return ERROR_ILLEGAL_TYPE;
    *outputType = ConvertTargetType(settings->target, full);
    return *outputType == TYPE_EMPTY ? ERROR_INTERNAL_1 : ERROR_NONE; // the dialog offers five
}

static const RowTransform CONVERT_ROWS = {"Convert",    1,       ConvertOutput,
                                          ConvertSetup, nullptr, nullptr};

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
    (void)picture; // a result has nothing of this transformation's own but its pixels
    return ComputeRows(&CONVERT_ROWS, source, destination, params, full, destinationWidth,
                       destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
}

static void ConvertDefaults(void *settings)
{
    ConvertSettingsDefault((ConvertSettings *)settings);
}

static const char *const CONVERT_NAMES[] = {"binary", "gray8", "color24", "gray16", "color48"};

static const TransformOption CONVERT_OPTIONS[] = {
    {"--to", "TYPE", OPTION_CHOICE, OPTION_ABSENT_NO_CHANGE, 0.0, 0.0, CONVERT_NAMES, 5,
     offsetof(ConvertSettings, target), 0,
     "the type to convert to; without it, only the file format changes", "unknown target type",
     nullptr},
};

const TransformDescriptor ConvertTransform = {"Convert",
                                              "convert",
                                              "Convert to another picture type",
                                              "Con&vert...",
                                              MENU_IMAGE_DIALOG,
                                              COMMAND_CONVERT,
                                              KIND_CONVERT,
                                              ConvertCompute,
                                              ImageIsPicture,
                                              nullptr,
                                              ConvertChangesNothing,
                                              nullptr,
                                              TRANSFORM_PROFILE_INHERIT,
                                              0,
                                              TRANSFORM_NO_AMOUNT,
                                              sizeof(ConvertSettings),
                                              ConvertDefaults,
                                              nullptr,
                                              CONVERT_OPTIONS,
                                              1,
                                              nullptr,
                                              nullptr};
