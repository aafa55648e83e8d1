// Composite: the twelve operations at 8 and 16 bits, the two amounts, the aligned or direct
// overlay rows, Refine, and the descriptor.
#include "transforms/Composite.h"

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/File.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/RowReader.h"

const char *const COMPOSITE_OPERATION_LABELS[COMPOSITE_OPERATION_COUNT] = {
    "Blend",      "Lighten",  "Darken", "Filter",   "Subtractive Filter",  "Soft Light",
    "Hard Light", "Negative", "Add",    "Subtract", "Absolute Difference", "Register",
};

constexpr int REFINE_BOX = 20;   // pixels on each side of a pair searched by Refine
constexpr int REFINE_STEPS = 6;  // trial positions on each side of the kept one
constexpr int REFINE_PASSES = 3; // each a third of the step of the one before

void CompositeParamsDefault(CompositeParams *params)
{
    memset(params, 0, sizeof *params);
    params->operation = COMPOSITE_BLEND;
    params->overlayRed = params->overlayGreen = params->overlayBlue = 255;
    AlignmentSettingsDefault(&params->align);
    AmountSettingDefault(&params->amount, "Amount: ", 0);
    AmountSettingDefault(&params->overlayAmount, "Overlay Amount: ", 0);
}

void CompositeSetBackgroundPoints(CompositeParams *params, int width, int height)
{
    AlignmentInitialPoints(width, height, params->align.backgroundX, params->align.backgroundY);
    params->backgroundWidth = width;
    params->backgroundHeight = height;
}

void CompositeSetOverlayPoints(CompositeParams *params, int width, int height)
{
    AlignmentInitialPoints(width, height, params->align.overlayX, params->align.overlayY);
}

int CompositeOverlayType(const CompositeParams *params)
{
    if (params->overlay != nullptr)
        return params->overlay->type == TYPE_BINARY ? TYPE_GRAY8 : params->overlay->type;
    int gray =
        params->overlayRed == params->overlayGreen && params->overlayGreen == params->overlayBlue;
    return gray ? TYPE_GRAY8 : TYPE_COLOR24;
}

static int TypeIsColor(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
}

static int TypeIsWide(int type)
{
    return type == TYPE_GRAY16 || type == TYPE_COLOR48;
}

int CompositeOutputType(int backgroundType, int overlayType, int full)
{
    if (!ImageIsPicture(backgroundType) || !ImageIsPicture(overlayType)) return TYPE_EMPTY;
    // Color wins over gray and 16 bits over 8: nothing of either input is lost.
    int color = TypeIsColor(backgroundType) || TypeIsColor(overlayType);
    int wide = full && (TypeIsWide(backgroundType) || TypeIsWide(overlayType));
    if (color) return wide ? TYPE_COLOR48 : TYPE_COLOR24;
    return wide ? TYPE_GRAY16 : TYPE_GRAY8;
}

int CompositeChangesNothing(const void *params, const Image *source, int full)
{
    (void)full;
    const CompositeParams *composite = (const CompositeParams *)params;
    if (source == nullptr || !ImageIsPicture(source->type)) return 0;
    return AmountIsAllZero(&composite->amount) || AmountIsAllZero(&composite->overlayAmount);
}

// One sample of an operation, b and o in 0..M. Written once for both depths; the 8-bit
// scalings go through the blend table, the 16-bit ones divide, in 64 bits where a product
// of three factors needs it.
template <typename Sample, int OPERATION> static inline Sample Operate(int b, int o)
{
    constexpr int64_t M = sizeof(Sample) == 1 ? 255 : 65535;
    constexpr int HALF = sizeof(Sample) == 1 ? 128 : 32768;
    switch (OPERATION) {
    case COMPOSITE_LIGHTEN: return (Sample)(b > o ? b : o);
    case COMPOSITE_DARKEN: return (Sample)(b < o ? b : o);
    case COMPOSITE_FILTER:
        if constexpr (sizeof(Sample) == 1) return LerpTable[b][o];
        return (Sample)((uint32_t)b * (uint32_t)o / (uint32_t)M);
    case COMPOSITE_SUBTRACTIVE_FILTER:
        if constexpr (sizeof(Sample) == 1) return (Sample)(M - LerpTable[M - b][M - o]);
        return (Sample)(M - (uint32_t)(M - b) * (uint32_t)(M - o) / (uint32_t)M);
    case COMPOSITE_SOFT_LIGHT: {
        uint64_t inner = (uint64_t)b + (uint64_t)(2 * o) * (uint64_t)(M - b) / (uint64_t)M;
        return (Sample)((uint64_t)b * inner / (uint64_t)M);
    }
    case COMPOSITE_HARD_LIGHT:
        if (o < HALF) return (Sample)((uint64_t)(2 * b) * (uint64_t)o / (uint64_t)M);
        return (Sample)(M - (uint64_t)(2 * (M - b)) * (uint64_t)(M - o) / (uint64_t)M);
    case COMPOSITE_NEGATIVE: return (Sample)(b ^ o);
    case COMPOSITE_ADD: return (Sample)(b + o > M ? M : b + o);
    case COMPOSITE_SUBTRACT: return (Sample)(b > o ? b - o : 0);
    case COMPOSITE_ABSOLUTE_DIFFERENCE: return (Sample)(b > o ? b - o : o - b);
    default: return (Sample)o; // Blend, and Register, whose b is black
    }
}

template <typename Sample, int OPERATION>
static void OperateRow(const Sample *b, const Sample *o, Sample *out, int count)
{
    if (OPERATION == COMPOSITE_BLEND) {
        if (out != o) memcpy(out, o, sizeof(Sample) * (size_t)count);
        return;
    }
    for (int i = 0; i < count; i++)
        out[i] = Operate<Sample, OPERATION>(b[i], o[i]);
}

typedef void (*OperateRowFunction)(const void *b, const void *o, void *out, int count);

template <typename Sample, int OPERATION>
static void OperateRowOf(const void *b, const void *o, void *out, int count)
{
    OperateRow<Sample, OPERATION>((const Sample *)b, (const Sample *)o, (Sample *)out, count);
}

template <typename Sample> static OperateRowFunction OperateRowFor(int operation)
{
    switch (operation) {
    case COMPOSITE_LIGHTEN: return OperateRowOf<Sample, COMPOSITE_LIGHTEN>;
    case COMPOSITE_DARKEN: return OperateRowOf<Sample, COMPOSITE_DARKEN>;
    case COMPOSITE_FILTER: return OperateRowOf<Sample, COMPOSITE_FILTER>;
    case COMPOSITE_SUBTRACTIVE_FILTER: return OperateRowOf<Sample, COMPOSITE_SUBTRACTIVE_FILTER>;
    case COMPOSITE_SOFT_LIGHT: return OperateRowOf<Sample, COMPOSITE_SOFT_LIGHT>;
    case COMPOSITE_HARD_LIGHT: return OperateRowOf<Sample, COMPOSITE_HARD_LIGHT>;
    case COMPOSITE_NEGATIVE: return OperateRowOf<Sample, COMPOSITE_NEGATIVE>;
    case COMPOSITE_ADD: return OperateRowOf<Sample, COMPOSITE_ADD>;
    case COMPOSITE_SUBTRACT: return OperateRowOf<Sample, COMPOSITE_SUBTRACT>;
    case COMPOSITE_ABSOLUTE_DIFFERENCE: return OperateRowOf<Sample, COMPOSITE_ABSOLUTE_DIFFERENCE>;
    default: return OperateRowOf<Sample, COMPOSITE_BLEND>;
    }
}

// Lerp of each sample of b toward out by its pixel's weight, over pixels first..last. The
// 8-bit form is Lerp8 without the table and the branch: (a (255 - w) + b w + 127) / 255,
// with t / 255 as (t + 1 + (t >> 8)) >> 8, exact for every t below 65535.
template <typename Sample>
static void MixRow(const Sample *b, Sample *out, const uint8_t *weights, int channels, int first,
                   int last)
{
    for (int x = first; x <= last; x++) {
        // Inside an aligned overlay most weights are 255, which leave out as it is: whole
        // words of them are passed over at once.
        uint64_t word;
        while (x + 8 <= last + 1 && (memcpy(&word, weights + x, 8), word == ~(uint64_t)0))
            x += 8;
        if (x > last) break;
        int w = weights[x];
        if (w == 255) continue;
        for (int c = 0; c < channels; c++) {
            size_t i = (size_t)x * channels + c;
            if constexpr (sizeof(Sample) == 1) {
                uint16_t t = (uint16_t)(b[i] * (255 - w) + out[i] * w + 127);
                out[i] = (uint8_t)((t + 1 + (t >> 8)) >> 8);
            } else {
                out[i] = (uint16_t)Lerp16(b[i], out[i], w);
            }
        }
    }
}

// A row of count pixels of one layout (8 or 16-bit, 1 or 3 channels; a binary row comes as
// gray bytes) in another: depth by Depth8To16 or Depth16To8, gray to all three channels.
static void ConvertRow(const uint8_t *in, int inType, uint8_t *out, int outType, int count)
{
    int inChannels = TypeIsColor(inType) ? 3 : 1;
    int outChannels = TypeIsColor(outType) ? 3 : 1;
    int inWide = TypeIsWide(inType), outWide = TypeIsWide(outType);
    const uint16_t *in16 = (const uint16_t *)in;
    uint16_t *out16 = (uint16_t *)out;
    for (int x = 0; x < count; x++)
        for (int c = 0; c < outChannels; c++) {
            size_t from = (size_t)x * inChannels + (inChannels == 3 ? c : 0);
            size_t to = (size_t)x * outChannels + c;
            int value = inWide ? in16[from] : in[from];
            if (outWide)
                out16[to] = inWide ? (uint16_t)value : Depth8To16[value];
            else
                out[to] = inWide ? Depth16To8[value] : (uint8_t)value;
        }
}

// 1 when rows of the two types are laid out alike (binary rows come as gray bytes).
static int SameLayout(int a, int b)
{
    return TypeIsColor(a) == TypeIsColor(b) && TypeIsWide(a) == TypeIsWide(b);
}

// Everything one run of the compute holds, released by CompositeRunClose.
struct CompositeRun {
    RowReader background;
    RowReader overlay;     // the overlay read directly (identity)
    RowReader mask;        // the general amount's mask
    RowReader overlayMask; // the overlay amount's mask read directly (identity)
    RowWriter writer;
    uint8_t *backgroundRow; // the background row at output layout, when it differs
    uint8_t *black;         // Register's background
    uint8_t *overlayRow;    // the overlay row at output layout
    uint8_t *aligned;       // the aligned overlay in its own layout
    uint8_t *coverage;      // its coverage
    uint8_t *alignedMask;   // the aligned overlay mask
    uint8_t *maskCoverage;  // its coverage, unused beyond the fetch
    uint8_t *weights;       // the overlay's weight of each pixel
    uint8_t *amounts;       // the general amount of each pixel
    uint8_t *inputCopy;     // the background row of a run in place, which the mixing reads
                            // after the row is written
};

static void CompositeRunReset(CompositeRun *run)
{
    memset(run, 0, sizeof *run);
    RowReaderReset(&run->background);
    RowReaderReset(&run->overlay);
    RowReaderReset(&run->mask);
    RowReaderReset(&run->overlayMask);
    RowWriterReset(&run->writer);
}

static void CompositeRunClose(CompositeRun *run)
{
    RowReaderClose(&run->background);
    RowReaderClose(&run->overlay);
    RowReaderClose(&run->mask);
    RowReaderClose(&run->overlayMask);
    RowWriterClose(&run->writer);
    uint8_t **buffers[] = {
        &run->backgroundRow, &run->black,        &run->overlayRow, &run->aligned, &run->coverage,
        &run->alignedMask,   &run->maskCoverage, &run->weights,    &run->amounts, &run->inputCopy};
    for (uint8_t **buffer : buffers)
        MemoryRelease(buffer);
}

// Allocates each null-initialised buffer whose size is not 0; ERROR_NO_MEMORY on a failure.
static ErrorCode AllocateRow(uint8_t **buffer, size_t bytes)
{
    if (bytes == 0) return ERROR_NONE;
    *buffer = (uint8_t *)MemoryAllocZero(bytes);
    return *buffer == nullptr ? ERROR_NO_MEMORY : ERROR_NONE;
}

// An alignment that maps nothing, for a solid overlay whose alignment has no effect.
static const AlignmentSettings NO_ALIGNMENT = {};

// The amounts of a control on the 0..255 scale: how every pixel's amount follows from low,
// high and a mask value, and whether it needs any mixing at all.
struct AmountRule {
    int32_t mixing; // 0: full everywhere
    int32_t masked; // 1: follows a mask
    int32_t low;
    uint8_t amountOf[256];
};

static void AmountRuleMake(const AmountSetting *setting, AmountRule *rule)
{
    rule->low = AmountLow8(setting);
    int high = AmountHigh8(setting);
    rule->mixing = !AmountIsAllFull(setting);
    rule->masked = high != AMOUNT_NO_MASK && setting->maskImage != nullptr;
    for (int m = 0; m < 256; m++)
        rule->amountOf[m] = (uint8_t)(rule->masked ? Lerp8(rule->low, high, m) : rule->low);
}

// The per-pixel work of one output row, at Sample depth: the operation over the covered
// span, the overlay's weights, then the general amount.
template <typename Sample>
static void CompositeRowOf(const Sample *b, const Sample *o, Sample *out, int width, int channels,
                           int first, int last, OperateRowFunction operate, const uint8_t *weights,
                           const uint8_t *amounts)
{
    size_t pixelBytes = sizeof(Sample) * (size_t)channels;
    // In place, b may be the very row written: memmove keeps that harmless.
    if (first < 0) {
        memmove(out, b, pixelBytes * (size_t)width);
    } else {
        memmove(out, b, pixelBytes * (size_t)first);
        memmove(out + (size_t)(last + 1) * channels, b + (size_t)(last + 1) * channels,
                pixelBytes * (size_t)(width - 1 - last));
        size_t start = (size_t)first * channels;
        operate(b + start, o + start, out + start, (last - first + 1) * channels);
        if (weights != nullptr) MixRow<Sample>(b, out, weights, channels, first, last);
    }
    if (amounts != nullptr) MixRow<Sample>(b, out, amounts, channels, 0, width - 1);
}

ErrorCode CompositeCompute(const Image *source, Image *destination, Picture *picture, void *params,
                           int full, int destinationWidth, int destinationHeight, int sourceX,
                           int sourceY, int zoom, int x0, int y0, int x1, int y1, int w, int h)
{
    (void)picture;
    CompositeParams *composite = (CompositeParams *)params;
    ErrorCode result = ERROR_NONE;
    CompositeRun run;
    AmountRule general, overlayRule;
    AlignmentMap map = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0};
    const AlignmentSettings *alignment = &NO_ALIGNMENT;
    const Image *overlay = composite->overlay;
    const Image *overlayMask = nullptr;
    int backgroundType, overlayType, outputType, identity, copyOnly, wide, channels;
    int step = zoom < 0 ? -zoom : 1;
    int showProgress = 0, waitCursor = 0;
    size_t rowBytes;
    OperateRowFunction operate;
    uint8_t solid[6] = {};

    CompositeRunReset(&run);
    if (source == nullptr || !ImageIsPicture(source->type) ||
        (overlay != nullptr && (!ImageIsPicture(overlay->type) || overlay->rows == nullptr))) {
        result = ERROR_ILLEGAL_TYPE;
        goto done;
    }
    backgroundType = source->type == TYPE_BINARY ? TYPE_GRAY8 : source->type;
    overlayType = CompositeOverlayType(composite);
    outputType = CompositeOutputType(backgroundType, overlayType, full);
    wide = TypeIsWide(outputType);
    channels = TypeIsColor(outputType) ? 3 : 1;

    // With no overlay picture the alignment has nothing to move.
    if (overlay != nullptr) {
        if (AlignmentPrepare(&composite->align, source->width, source->height, &map)) {
            result = ERROR_ALIGNMENT_POINTS;
            goto done;
        }
        alignment = &composite->align;
    }
    AmountRuleMake(&composite->amount, &general);
    AmountRuleMake(&composite->overlayAmount, &overlayRule);
    if (overlayRule.masked) overlayMask = composite->overlayAmount.maskImage;
    if (general.masked) {
        const Image *mask = composite->amount.maskImage;
        if (mask->type != TYPE_GRAY8 || mask->width != source->width ||
            mask->height != source->height) {
            result = ERROR_INTERNAL_1;
            goto done;
        }
    }
    if (overlayMask != nullptr && overlayMask->type != TYPE_GRAY8) {
        result = ERROR_INTERNAL_1;
        goto done;
    }
    identity = AlignmentMapIsIdentity(&map) && alignment->mode != ALIGN_MULTI_POINT &&
               (overlay == nullptr ||
                (overlay->width == source->width && overlay->height == source->height)) &&
               (overlayMask == nullptr ||
                (overlayMask->width == source->width && overlayMask->height == source->height));

    // Either control entirely off: the result is the background.
    copyOnly = AmountIsAllZero(&composite->amount) || AmountIsAllZero(&composite->overlayAmount);
    if (copyOnly && full) {
        if (source != destination) result = ImageCopy(source, destination, 1);
        goto done;
    }
    // Run in the background's own picture (vistel-cli does, to hold one picture less), a
    // result of another type is made aside and then takes the picture's place.
    if (source == destination && outputType != source->type) {
        Image made;
        ImageClear(&made);
        result = CompositeCompute(source, &made, picture, params, full, destinationWidth,
                                  destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
        if (result == ERROR_NONE) {
            ImageFree(destination);
            *destination = made;
        } else {
            ImageFree(&made);
        }
        goto done;
    }

    result =
        ComputePrepareDestination(source, destination, outputType, destinationWidth,
                                  destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    if (result != ERROR_NONE) goto done;
    result = RowReaderOpen(source, sourceX, sourceY, zoom, w, &run.background);
    if (result != ERROR_NONE) goto done;
    result = RowWriterOpen(destination, zoom, x0, x1, y0, full, &run.writer);
    if (result != ERROR_NONE) goto done;
    if (general.masked) {
        result = RowReaderOpen(composite->amount.maskImage, sourceX, sourceY, zoom, w, &run.mask);
        if (result != ERROR_NONE) goto done;
    }
    rowBytes = (size_t)w * channels * (wide ? 2 : 1);
    if (!SameLayout(backgroundType, outputType)) result = AllocateRow(&run.backgroundRow, rowBytes);
    if (result == ERROR_NONE && composite->operation == COMPOSITE_REGISTER)
        result = AllocateRow(&run.black, rowBytes);
    if (result == ERROR_NONE &&
        (overlay == nullptr || !SameLayout(overlayType, outputType) || !identity))
        result = AllocateRow(&run.overlayRow, rowBytes);
    // An aligned overlay of the output's layout is fetched straight into the overlay row.
    if (result == ERROR_NONE && overlay != nullptr && !identity) {
        int overlayChannels = TypeIsColor(overlayType) ? 3 : 1;
        if (!SameLayout(overlayType, outputType))
            result = AllocateRow(&run.aligned,
                                 (size_t)w * overlayChannels * (TypeIsWide(overlayType) ? 2 : 1));
        if (result == ERROR_NONE) result = AllocateRow(&run.coverage, (size_t)w);
    }
    if (result == ERROR_NONE && (overlayRule.mixing || !identity))
        result = AllocateRow(&run.weights, (size_t)w);
    if (result == ERROR_NONE && overlayMask != nullptr && !identity) {
        result = AllocateRow(&run.alignedMask, (size_t)w);
        if (result == ERROR_NONE) result = AllocateRow(&run.maskCoverage, (size_t)w);
    }
    if (result == ERROR_NONE && general.mixing) result = AllocateRow(&run.amounts, (size_t)w);
    if (result == ERROR_NONE && source == destination &&
        (overlayRule.mixing || !identity || general.mixing))
        result = AllocateRow(&run.inputCopy, rowBytes);
    if (result != ERROR_NONE) goto done;
    if (overlay != nullptr && identity) {
        result = RowReaderOpen(overlay, sourceX, sourceY, zoom, w, &run.overlay);
        if (result != ERROR_NONE) goto done;
    }
    if (overlayMask != nullptr && identity) {
        result = RowReaderOpen(overlayMask, sourceX, sourceY, zoom, w, &run.overlayMask);
        if (result != ERROR_NONE) goto done;
    }

    // A solid overlay is one row made once, at output layout, red last in memory.
    if (overlay == nullptr) {
        uint8_t color[3] = {(uint8_t)Clamp8(composite->overlayBlue),
                            (uint8_t)Clamp8(composite->overlayGreen),
                            (uint8_t)Clamp8(composite->overlayRed)};
        memcpy(solid, color, 3);
        for (int x = 0; x < w; x++)
            ConvertRow(solid, overlayType, run.overlayRow + (size_t)x * channels * (wide ? 2 : 1),
                       outputType, 1);
    }
    if (general.mixing && !general.masked) memset(run.amounts, general.low, (size_t)w);
    operate = wide ? OperateRowFor<uint16_t>(composite->operation)
                   : OperateRowFor<uint8_t>(composite->operation);

    showProgress = (int64_t)w * h >= PROGRESS_PIXELS;
    if (showProgress) {
        ProgressOpen(0, h - 1, "Composite", 1);
    } else {
        SetWaitCursor();
        waitCursor = 1;
    }
    for (int row = 0; row < h; row++) {
        const uint8_t *in = RowReaderNext(&run.background);
        const uint8_t *b = in;
        if (run.backgroundRow != nullptr) {
            ConvertRow(in, backgroundType, run.backgroundRow, outputType, w);
            b = run.backgroundRow;
        }
        if (run.inputCopy != nullptr) {
            memcpy(run.inputCopy, b, rowBytes);
            b = run.inputCopy;
        }
        if (run.black != nullptr && !copyOnly) b = run.black;

        // The overlay row and its covered span.
        const uint8_t *o = run.overlayRow;
        const uint8_t *coverage = nullptr;
        int first = 0, last = w - 1;
        const uint8_t *maskRow = nullptr;
        if (overlay != nullptr && identity) {
            const uint8_t *overlayIn = RowReaderNext(&run.overlay);
            if (run.overlayRow != nullptr)
                ConvertRow(overlayIn, overlayType, run.overlayRow, outputType, w);
            else
                o = overlayIn;
        }
        // The row's place in the background in ruler coordinates, y counted from the top.
        int rowIndex = sourceY + row * step;
        if (rowIndex > source->height - 1) rowIndex = source->height - 1;
        double rulerY = source->height - 1 - rowIndex;
        if (overlay != nullptr && !identity) {
            uint8_t *fetched = run.aligned != nullptr ? run.aligned : run.overlayRow;
            AlignedOverlayRow(overlay, alignment, &map, sourceX, step, rulerY, w, fetched,
                              run.coverage, &first, &last);
            if (first >= 0 && run.aligned != nullptr)
                ConvertRow(run.aligned + (size_t)first * (TypeIsColor(overlayType) ? 3 : 1) *
                                             (TypeIsWide(overlayType) ? 2 : 1),
                           overlayType, run.overlayRow + (size_t)first * channels * (wide ? 2 : 1),
                           outputType, last - first + 1);
            coverage = run.coverage;
        }
        if (overlayMask != nullptr) {
            if (identity) {
                maskRow = RowReaderNext(&run.overlayMask);
            } else if (first >= 0) {
                int maskFirst, maskLast;
                AlignedOverlayRow(overlayMask, alignment, &map, sourceX, step, rulerY, w,
                                  run.alignedMask, run.maskCoverage, &maskFirst, &maskLast);
                maskRow = run.alignedMask;
            }
        }
        if (copyOnly) first = -1;

        // Each pixel's overlay weight: the smaller of its coverage and its overlay amount.
        const uint8_t *weights = nullptr;
        if (first >= 0 && coverage != nullptr && !overlayRule.mixing) {
            // The coverage is the weight: it is used as it stands, and only when some pixel
            // of the span is not wholly covered.
            int partial = 0;
            for (int x = first; x <= last; x++)
                partial |= coverage[x] ^ 255;
            if (partial) weights = coverage;
        } else if (first >= 0 && (coverage != nullptr || overlayRule.mixing)) {
            int partial = 0;
            for (int x = first; x <= last; x++) {
                int c = coverage != nullptr ? coverage[x] : 255;
                int a = overlayRule.mixing ? (maskRow != nullptr ? overlayRule.amountOf[maskRow[x]]
                                                                 : overlayRule.low)
                                           : 255;
                run.weights[x] = (uint8_t)(c < a ? c : a);
                partial |= run.weights[x] != 255;
            }
            if (partial) weights = run.weights;
        }
        const uint8_t *amounts = nullptr;
        if (general.mixing) {
            if (general.masked) {
                const uint8_t *mask = RowReaderNext(&run.mask);
                for (int x = 0; x < w; x++)
                    run.amounts[x] = general.amountOf[mask[x]];
            }
            amounts = run.amounts;
        }
        if (copyOnly) amounts = nullptr;

        uint8_t *out = RowWriterRow(&run.writer);
        if (wide)
            CompositeRowOf<uint16_t>((const uint16_t *)b, (const uint16_t *)o, (uint16_t *)out, w,
                                     channels, first, last, operate, weights, amounts);
        else
            CompositeRowOf<uint8_t>(b, o, out, w, channels, first, last, operate, weights, amounts);
        RowWriterPut(&run.writer);
        if (showProgress && (result = ProgressStep(row)) != ERROR_NONE) break;
    }

done:
    if (showProgress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    CompositeRunClose(&run);
    return result;
}

const char *CompositeRefineRefusal(const CompositeParams *params)
{
    if (params->align.mode <= ALIGN_NONE) return ALIGN_MESSAGE_NO_POINTS;
    if (params->overlay == nullptr) return ALIGN_MESSAGE_NO_OVERLAY;
    return nullptr;
}

// The sum of every sample of the composite over the background box, as a preview makes it
// (8-bit), into box. A trial whose points cannot be mapped answers HUGE_VAL.
static ErrorCode RefineBoxSum(const Image *background, CompositeParams *trial, int left,
                              int bottomRow, int boxWidth, int boxHeight, Image *box, double *sum)
{
    ErrorCode result =
        CompositeCompute(background, box, nullptr, trial, 0, boxWidth, boxHeight, left, bottomRow,
                         1, 0, 0, boxWidth - 1, boxHeight - 1, boxWidth, boxHeight);
    *sum = HUGE_VAL;
    if (result == ERROR_ALIGNMENT_POINTS) return ERROR_NONE;
    if (result != ERROR_NONE) return result;
    double total = 0.0;
    int samples = box->type == TYPE_COLOR24 ? 3 * boxWidth : boxWidth;
    for (int y = 0; y < boxHeight; y++)
        for (int i = 0; i < samples; i++)
            total += box->rows[y][i];
    *sum = total;
    return ERROR_NONE;
}

ErrorCode RefineAlignment(const Image *background, CompositeParams *params, int *unrefined,
                          int *unrefinedCount)
{
    ErrorCode result = ERROR_NONE;
    AlignmentSettings *align = &params->align;
    int savedOperation = params->operation;
    double step = align->searchRadius / 6.0;
    int count = align->pointCount;
    CompositeParams *trial = nullptr;
    Image box;
    int progress = 0;

    ImageClear(&box);
    *unrefinedCount = 0;
    if (CompositeRefineRefusal(params) != nullptr) return ERROR_ILLEGAL_TYPE;
    if (count > ALIGN_MAX_POINTS) count = ALIGN_MAX_POINTS;
    // The trials run on a copy without masks, so that the sums compare the pictures alone.
    trial = (CompositeParams *)MemoryAlloc(sizeof *trial);
    if (trial == nullptr) return ERROR_NO_MEMORY;
    params->operation = COMPOSITE_ABSOLUTE_DIFFERENCE;
    ProgressOpen(0, REFINE_PASSES * count - 1, "Refine Alignment Points", 1);
    for (int pass = 0; pass < REFINE_PASSES; pass++) {
        double keptX[ALIGN_MAX_POINTS], keptY[ALIGN_MAX_POINTS];
        memcpy(keptX, align->overlayX, sizeof keptX);
        memcpy(keptY, align->overlayY, sizeof keptY);
        for (int pair = 0; pair < count; pair++) {
            double x = align->backgroundX[pair], y = align->backgroundY[pair];
            int left = (int)floor(x - REFINE_BOX), right = (int)ceil(x + REFINE_BOX);
            int top = (int)floor(y - REFINE_BOX), bottom = (int)ceil(y + REFINE_BOX);
            left = left < 0 ? 0 : left;
            top = top < 0 ? 0 : top;
            right = right > background->width - 1 ? background->width - 1 : right;
            bottom = bottom > background->height - 1 ? background->height - 1 : bottom;
            if (left > right || top > bottom) continue;
            int boxWidth = right - left + 1, boxHeight = bottom - top + 1;
            int bottomRow = background->height - 1 - bottom;
            double best = 0.0, bestX = keptX[pair], bestY = keptY[pair];
            int bestI = 0, bestJ = 0, found = 0;
            for (int j = -REFINE_STEPS; j <= REFINE_STEPS && result == ERROR_NONE; j++)
                for (int i = -REFINE_STEPS; i <= REFINE_STEPS; i++) {
                    align->overlayX[pair] = keptX[pair] + i * step;
                    align->overlayY[pair] = keptY[pair] + j * step;
                    memcpy(trial, params, sizeof *trial);
                    AmountSettingDefault(&trial->amount, "", 0);
                    AmountSettingDefault(&trial->overlayAmount, "", 0);
                    double sum;
                    result = RefineBoxSum(background, trial, left, bottomRow, boxWidth, boxHeight,
                                          &box, &sum);
                    if (result != ERROR_NONE) break;
                    if (sum == HUGE_VAL) continue;
                    if (!found || sum < best) {
                        found = 1;
                        best = sum;
                        bestX = align->overlayX[pair];
                        bestY = align->overlayY[pair];
                        bestI = i;
                        bestJ = j;
                    }
                }
            if (result != ERROR_NONE) {
                align->overlayX[pair] = keptX[pair];
                align->overlayY[pair] = keptY[pair];
                goto done;
            }
            // A best match on the border of the first search lies farther off than the search
            // reaches: the pair stays, and the caller warns.
            int border = bestI == -REFINE_STEPS || bestI == REFINE_STEPS ||
                         bestJ == -REFINE_STEPS || bestJ == REFINE_STEPS;
            if (pass == 0 && found && border) {
                unrefined[(*unrefinedCount)++] = pair;
                bestX = keptX[pair];
                bestY = keptY[pair];
            }
            align->overlayX[pair] = bestX;
            align->overlayY[pair] = bestY;
            result = ProgressStep(progress++);
            if (result != ERROR_NONE) goto done;
        }
        step /= 3.0;
    }

done:
    ProgressClose();
    params->operation = savedOperation;
    ImageFree(&box);
    MemoryFree(trial);
    return result;
}

static int CompositeAccepts(int type)
{
    return ImageIsPicture(type);
}

static void CompositeDefaults(void *settings)
{
    CompositeParamsDefault((CompositeParams *)settings);
}

// --color R,G,B: the solid overlay, each component 0..255. Without it an overlay picture is
// needed; with it, none may be given.
static int CompositeParseColor(const char *text, void *settings, char *problem, int capacity)
{
    CompositeParams *params = (CompositeParams *)settings;
    if (text == nullptr) {
        if (params->overlay != nullptr) return 1;
        snprintf(problem, (size_t)capacity, "composite needs --overlay FILE or --color R,G,B");
        return 0;
    }
    if (params->overlay != nullptr) {
        snprintf(problem, (size_t)capacity, "--overlay and --color exclude each other");
        return 0;
    }
    int32_t *component = &params->overlayRed;
    const char *at = text;
    for (int i = 0; i < 3; i++) {
        char *end = nullptr;
        long value = strtol(at, &end, 10);
        if (end == at || value < 0 || value > 255 || *end != (i < 2 ? ',' : 0)) {
            snprintf(problem, (size_t)capacity,
                     "--color takes R,G,B, three whole numbers from 0 to 255: %s", text);
            return 0;
        }
        component[i] = (int32_t)value;
        at = end + 1;
    }
    return 1;
}

// --overlay-amount P: the overlay's amount in percent, everywhere (no mask).
static int CompositeParseOverlayAmount(const char *text, void *settings, char *problem,
                                       int capacity)
{
    if (text == nullptr) return 1;
    char *end = nullptr;
    double percent = strtod(text, &end);
    if (end == text || *end != 0 || !(percent >= 0.0 && percent <= 100.0)) {
        snprintf(problem, (size_t)capacity, "--overlay-amount takes a percentage from 0 to 100");
        return 0;
    }
    AmountSetting *amount = &((CompositeParams *)settings)->overlayAmount;
    amount->low = AmountPosition(percent);
    amount->high = AMOUNT_NO_MASK;
    return 1;
}

constexpr int64_t POINTS_FILE_MAX = 1 << 20; // far beyond 61 lines of four numbers

// The pairs of a points file: one line "bx by ox oy" a pair, the background point then the
// overlay point in ruler coordinates; blank lines and lines from '#' on are skipped. Fills
// text with the file and its end; 0 with a problem on failure.
static int PointsFileRead(const char *path, char *text, int64_t capacity, char *problem,
                          int problemCapacity)
{
    FileHandle file = nullptr;
    int64_t size = 0;
    int ok = 0;
    if (FileOpenRead(path, &file) != ERROR_NONE) {
        snprintf(problem, (size_t)problemCapacity, "%s: the points file cannot be opened", path);
        return 0;
    }
    if (FileSize(file, &size) != ERROR_NONE || size >= capacity) {
        snprintf(problem, (size_t)problemCapacity, "%s: not a points file (too large)", path);
        goto done;
    }
    if (size > 0 && FileReadExact(file, text, size) != ERROR_NONE) {
        snprintf(problem, (size_t)problemCapacity, "%s: the points file cannot be read", path);
        goto done;
    }
    text[size] = 0;
    ok = 1;
done:
    FileClose(&file);
    return ok;
}

// --points FILE after --alignment: the pairs the mode needs, or up to 61 for "Multi-point".
static int CompositeParsePoints(const char *path, void *settings, char *problem, int capacity)
{
    AlignmentSettings *align = &((CompositeParams *)settings)->align;
    int needed = AlignmentPairsFor(align->mode);
    if (path == nullptr) {
        if (align->mode == ALIGN_NONE) return 1;
        snprintf(problem, (size_t)capacity, "--alignment %d needs --points FILE", align->mode);
        return 0;
    }
    char *text = (char *)MemoryAlloc((size_t)POINTS_FILE_MAX);
    int ok = 0, count = 0, lineNumber = 0;
    if (text == nullptr) {
        snprintf(problem, (size_t)capacity, "%s", ErrorText(ERROR_NO_MEMORY));
        return 0;
    }
    if (!PointsFileRead(path, text, POINTS_FILE_MAX, problem, capacity)) goto done;
    for (char *line = text; line != nullptr && *line != 0;) {
        char *next = strchr(line, '\n');
        if (next != nullptr) *next++ = 0;
        lineNumber++;
        char *comment = strchr(line, '#');
        if (comment != nullptr) *comment = 0;
        double values[4];
        char *at = line;
        int got = 0;
        for (; got < 4; got++) {
            char *end = nullptr;
            values[got] = strtod(at, &end);
            if (end == at || !std::isfinite(values[got])) break;
            at = end;
        }
        while (*at == ' ' || *at == '\t' || *at == '\r')
            at++;
        if (got == 0 && *at == 0) {
            line = next;
            continue;
        }
        if (got < 4 || *at != 0) {
            snprintf(problem, (size_t)capacity, "%s: line %d is not four numbers \"bx by ox oy\"",
                     path, lineNumber);
            goto done;
        }
        if (count == ALIGN_MAX_POINTS) {
            snprintf(problem, (size_t)capacity, "%s: more than %d point pairs", path,
                     ALIGN_MAX_POINTS);
            goto done;
        }
        align->backgroundX[count] = values[0];
        align->backgroundY[count] = values[1];
        align->overlayX[count] = values[2];
        align->overlayY[count] = values[3];
        count++;
        line = next;
    }
    if (count < needed) {
        snprintf(problem, (size_t)capacity, "%s: %d point pairs; alignment %d needs %d", path,
                 count, align->mode, needed);
        goto done;
    }
    // The global mappings use their own number of pairs; "Multi-point" uses them all.
    align->pointCount = align->mode == ALIGN_MULTI_POINT ? count : needed;
    ok = 1;
done:
    MemoryFree(text);
    return ok;
}

static const TransformOption COMPOSITE_OPTIONS[] = {
    {"--operation", "N", OPTION_CHOICE, OPTION_REQUIRED | OPTION_CHOICE_NUMBERED, 0, 0,
     COMPOSITE_OPERATION_LABELS, COMPOSITE_OPERATION_COUNT, offsetof(CompositeParams, operation), 0,
     "the operation, by number or name:", "--operation takes 0 to 11 or an operation's name",
     nullptr, nullptr},
    {"--overlay", "FILE", OPTION_PICTURE, 0, 0, 0, nullptr, 0, offsetof(CompositeParams, overlay),
     0, "the overlay picture, of any size and type", "--overlay takes a picture file", nullptr,
     nullptr},
    {"--color", "R,G,B", OPTION_PARSED, 0, 0, 0, nullptr, 0, 0, 0,
     "a solid overlay color instead, each 0 to 255", nullptr, nullptr, CompositeParseColor},
    {"--overlay-amount", "P", OPTION_PARSED, 0, 0, 0, nullptr, 0, 0, 0,
     "how strongly the overlay acts, in percent", nullptr, nullptr, CompositeParseOverlayAmount},
    {"--alignment", "A", OPTION_CHOICE, OPTION_CHOICE_NUMBERED, 0, 0, ALIGN_MODE_LABELS,
     ALIGN_MODE_COUNT, offsetof(CompositeParams, align) + offsetof(AlignmentSettings, mode), 0,
     "how the overlay is aligned, by number or name:",
     "--alignment takes 0 to 6 or an alignment's name", nullptr, nullptr},
    {"--points", "FILE", OPTION_PARSED, 0, 0, 0, nullptr, 0, 0, 0,
     "lines \"bx by ox oy\": background point, overlay point, x right and y down in pixels",
     nullptr, nullptr, CompositeParsePoints},
};

const TransformDescriptor CompositeTransform = {
    "Composite",
    "composite",
    "Lay an overlay picture or color over the input by one of twelve operations",
    "C&omposite...",
    MENU_IMAGE_DIALOG,
    COMMAND_COMPOSITE,
    KIND_COMPOSITE,
    CompositeCompute,
    CompositeAccepts,
    nullptr,
    CompositeChangesNothing,
    nullptr,
    TRANSFORM_PROFILE_INHERIT,
    1,
    (int32_t)offsetof(CompositeParams, amount),
    sizeof(CompositeParams),
    CompositeDefaults,
    nullptr,
    COMPOSITE_OPTIONS,
    (int32_t)(sizeof COMPOSITE_OPTIONS / sizeof COMPOSITE_OPTIONS[0]),
    nullptr,
    nullptr,
};
