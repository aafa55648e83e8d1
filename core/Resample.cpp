// The image scaler.
//
// Everything a run needs is worked out once before the first row: the horizontal tables of
// each output column (first tap, weights, divisor), and a horizontal worker chosen for the
// sample size, channel count and tap count, so that the loops over a row hold no floating
// point and no switch. The vertical pass mixes whole rows: its weights, one for each source
// row, stand outside a loop over every sample of the row, which the compiler turns into vector
// code; it works through the row in blocks so that the sums stay in the first-level cache
// while each tap row is added. A row that the position rule lands on is read where it is,
// without a copy.
//
// Every quotient truncates toward zero. The divisors are known before the samples are (one per
// output row vertically, one per column horizontally), so each becomes a multiplication and a
// shift that gives exactly the truncated quotient of every numerator below 2^31; numerators
// and divisors outside that range take the plain division.
#include "core/Resample.h"

#include <cmath>
#include <cstring>

#include "core/Compute.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"

const char *const RESAMPLE_METHOD_LABELS[RESAMPLE_METHOD_COUNT] = {
    "Nearest Neighbor", "Bilinear", "Bicubic", "Lanczos 4x4", "Lanczos 6x6", "Lanczos 8x8"};

// The kernels' pi, to ten decimals: their integer weights follow from this very value.
static const double RESAMPLE_PI = 3.1415926536;

// Samples mixed at a time by the vertical pass: their 32-bit sums fill 8 KB.
static const int MIX_BLOCK = 2048;

// The row loops of the vertical pass take the AVX2 build too (VECTOR_CLONES): eight sums at
// once.

// A Lanczos window of the given support, scaled to 1 at 0.
static double Lanczos(double x, double support)
{
    if (x == 0.0) return 1.0;
    if (x > support) return 0.0;
    return ((support * sin(RESAMPLE_PI * x / support) / x) * (sin(RESAMPLE_PI * x) / x)) /
           (RESAMPLE_PI * RESAMPLE_PI);
}

double ResampleKernel(double x, double a, int method)
{
    x = fabs(x);
    switch (method) {
    case RESAMPLE_BILINEAR: return x <= 1.0 ? 1.0 - x : 0.0;
    case RESAMPLE_BICUBIC:
        if (x <= 1.0) return ((a + 2.0) * x - (a + 3.0)) * x * x + 1.0;
        if (x <= 2.0) return ((a * x - 5.0 * a) * x + 8.0 * a) * x - 4.0 * a;
        return 0.0;
    case RESAMPLE_LANCZOS4: return Lanczos(x, 2.0);
    case RESAMPLE_LANCZOS6: return Lanczos(x, 3.0);
    case RESAMPLE_LANCZOS8: return Lanczos(x, 4.0);
    default: return 0.0;
    }
}

// Taps of the enlarging kernels: 4 for the first three methods, then 6 and 8.
static int EnlargeTaps(int method)
{
    return method == RESAMPLE_LANCZOS8 ? 8 : (method == RESAMPLE_LANCZOS6 ? 6 : 4);
}

// A divisor known in advance. For divisor >= 1 and 0 <= n < 2^31, n / divisor is
// (n * multiplier) >> shift exactly: with shift = 31 + ceil(log2 divisor) and multiplier =
// ceil(2^shift / divisor) < 2^32, the product overshoots n / divisor by less than
// n / 2^shift < 1 / divisor, while n / divisor lies at least 1 / divisor below the next
// integer.
struct Divider {
    int32_t divisor;
    uint32_t multiplier;
    uint32_t shift;
};

static Divider DividerMake(int32_t divisor)
{
    Divider d = {divisor, 0, 0};
    if (divisor < 1) return d;
    int bits = 0;
    while (((int64_t)1 << bits) < divisor)
        bits++;
    d.shift = (uint32_t)(31 + bits);
    uint64_t power = (uint64_t)1 << d.shift;
    d.multiplier = (uint32_t)((power + (uint64_t)divisor - 1) / (uint64_t)divisor);
    return d;
}

// n / divisor truncated toward zero, for any n.
static inline int32_t Quotient(int32_t n, const Divider &d)
{
    if (d.divisor > 0 && n >= 0)
        return (int32_t)(((uint64_t)(uint32_t)n * d.multiplier) >> d.shift);
    if (d.divisor == -1) return (int32_t)(0u - (uint32_t)n); // INT32_MIN / -1 would trap
    return n / d.divisor;
}

// The same quotient clamped to 0..maximum.
static inline int32_t QuotientClamped(int32_t n, const Divider &d, int32_t maximum)
{
    int32_t q = Quotient(n, d);
    return q < 0 ? 0 : (q > maximum ? maximum : q);
}

// QuotientClamped for a divisor of 1 or more, without branches: a sum of 0 or below gives a
// quotient of 0 or below, which clamps to 0.
static inline uint32_t PositiveQuotient(uint32_t sum, const Divider &d, int32_t maximum)
{
    uint32_t q = (uint32_t)(((uint64_t)sum * d.multiplier) >> d.shift);
    q = q > (uint32_t)maximum ? (uint32_t)maximum : q;
    return (int32_t)sum > 0 ? q : 0;
}

// Column kinds of the enlarging table.
enum : uint8_t {
    COLUMN_INSIDE = 0, // every tap inside the row, and a divisor of 1 or more
    COLUMN_EDGE = 1,   // the others: taps outside weigh 0 and their samples are not read
    COLUMN_LAST = 2,   // at or past the last sample, which it takes as it is
};

struct ResampleContext;
typedef void (*HorizontalWorker)(const ResampleContext *context, const uint8_t *in, uint8_t *out);

struct ResampleContext {
    const Image *source;
    int sourceWidth;
    int sourceHeight;
    int outputWidth;
    int outputHeight;
    int workType; // the source's type, 8-bit gray for a binary source
    int wide;     // 16-bit samples
    int samples;  // samples in a row of source width: width times channels
    int method;
    double a;
    int taps; // of the enlarging kernel: 4, 6 or 8

    uint8_t *scratch;  // the vertical pass's row, source width, working type
    uint8_t *expanded; // one binary source row as 8-bit samples of 0 or 255
    uint32_t *sums;    // the vertical pass's 32-bit sums (signed, kept as wrapping words)
    int32_t *tapRows;  // source rows of the current output row's taps
    int32_t *tapWeights;

    // Horizontal tables; none for equal widths.
    int32_t *first;    // source index of each column's first tap
    int32_t *count;    // reducing: taps stored for each column
    int32_t *offset;   // reducing: where each column's weights start in weights
    uint8_t *kind;     // enlarging: COLUMN_*
    int32_t *weights;  // enlarging: taps weights a column; reducing: the packed list
    Divider *divisors; // one a column
    HorizontalWorker horizontal;
};

static void ContextFree(ResampleContext *context)
{
    MemoryRelease(&context->scratch);
    MemoryRelease(&context->expanded);
    MemoryRelease(&context->sums);
    MemoryRelease(&context->tapRows);
    MemoryRelease(&context->tapWeights);
    MemoryRelease(&context->first);
    MemoryRelease(&context->count);
    MemoryRelease(&context->offset);
    MemoryRelease(&context->kind);
    MemoryRelease(&context->weights);
    MemoryRelease(&context->divisors);
}

// Allocates count elements of size bytes; null on overflow or failure.
static void *TableAlloc(size_t count, size_t size)
{
    size_t bytes;
    if (!SizeMultiply(count, size, &bytes)) return nullptr;
    return MemoryAlloc(bytes);
}

// Position rule: output index i at source position i * ratio, split into its whole part
// *base and its fraction *fraction.
static void Position(int i, double ratio, int *base, double *fraction)
{
    double p = i * ratio;
    *base = (int)p;
    *fraction = p - *base;
}

// The ratio of the position rule, (size - 1) / (new size - 1), where the first and last
// samples meet. A single output column takes ratio 0 and a single output row ratio 1, so that
// the row's kernel is stretched over the whole height from row 0.
static double HorizontalRatio(int width, int columns)
{
    return columns == 1 ? 0.0 : (double)(width - 1) / (columns - 1);
}

static double VerticalRatio(int height, int rows)
{
    return rows < 2 ? 1.0 : (double)(height - 1) / (rows - 1);
}

// ---- Horizontal pass ----

// Enlarging: 'TAPS' samples around each column's start, weighted and clamped.
template <typename T, int CHANNELS, int TAPS>
static void EnlargeRow(const ResampleContext *context, const uint8_t *inBytes, uint8_t *outBytes)
{
    const T *in = (const T *)inBytes;
    T *out = (T *)outBytes;
    const int width = context->sourceWidth;
    const int32_t maximum = sizeof(T) == 1 ? 255 : 65535;
    for (int x = 0; x < context->outputWidth; x++, out += CHANNELS) {
        const int kind = context->kind[x];
        if (kind == COLUMN_LAST) {
            for (int c = 0; c < CHANNELS; c++)
                out[c] = in[(size_t)(width - 1) * CHANNELS + c];
            continue;
        }
        const int32_t *weights = context->weights + (size_t)x * TAPS;
        const int first = context->first[x];
        const Divider divider = context->divisors[x];
        if (kind == COLUMN_INSIDE) {
            // The common column: all channels in one walk over the taps.
            const T *from = in + (size_t)first * CHANNELS;
            if (CHANNELS == 1) {
                uint32_t sum = 0;
#pragma GCC unroll 8
                for (int t = 0; t < TAPS; t++)
                    sum += (uint32_t)weights[t] * from[t];
                out[0] = (T)PositiveQuotient(sum, divider, maximum);
            } else {
                uint32_t sum0 = 0, sum1 = 0, sum2 = 0;
#pragma GCC unroll 8
                for (int t = 0; t < TAPS; t++) {
                    const uint32_t w = (uint32_t)weights[t];
                    sum0 += w * from[3 * t];
                    sum1 += w * from[3 * t + 1];
                    sum2 += w * from[3 * t + 2];
                }
                out[0] = (T)PositiveQuotient(sum0, divider, maximum);
                out[1] = (T)PositiveQuotient(sum1, divider, maximum);
                out[2] = (T)PositiveQuotient(sum2, divider, maximum);
            }
        } else {
            for (int c = 0; c < CHANNELS; c++) {
                uint32_t sum = 0;
                for (int t = 0; t < TAPS; t++) {
                    int index = first + t;
                    if (index >= 0 && index < width)
                        sum += (uint32_t)weights[t] * in[(size_t)index * CHANNELS + c];
                }
                out[c] = (T)QuotientClamped((int32_t)sum, divider, maximum);
            }
        }
    }
}

// Reducing: each column's stored taps, read one after another from its first, and their
// weight sum as divisor; the quotient is stored as it is.
template <typename T, int CHANNELS>
static void ReduceRow(const ResampleContext *context, const uint8_t *inBytes, uint8_t *outBytes)
{
    const T *in = (const T *)inBytes;
    T *out = (T *)outBytes;
    for (int x = 0; x < context->outputWidth; x++, out += CHANNELS) {
        const int32_t *weights = context->weights + context->offset[x];
        const int count = context->count[x];
        const T *from = in + (size_t)context->first[x] * CHANNELS;
        const Divider divider = context->divisors[x];
        if (CHANNELS == 1) {
            uint32_t sum = 0;
            for (int t = 0; t < count; t++)
                sum += (uint32_t)weights[t] * from[t];
            out[0] = (T)Quotient((int32_t)sum, divider);
        } else {
            uint32_t sum0 = 0, sum1 = 0, sum2 = 0;
            for (int t = 0; t < count; t++, from += 3) {
                uint32_t w = (uint32_t)weights[t];
                sum0 += w * from[0];
                sum1 += w * from[1];
                sum2 += w * from[2];
            }
            out[0] = (T)Quotient((int32_t)sum0, divider);
            out[1] = (T)Quotient((int32_t)sum1, divider);
            out[2] = (T)Quotient((int32_t)sum2, divider);
        }
    }
}

template <typename T, int CHANNELS> static HorizontalWorker EnlargeWorker(int taps)
{
    switch (taps) {
    case 8: return EnlargeRow<T, CHANNELS, 8>;
    case 6: return EnlargeRow<T, CHANNELS, 6>;
    default: return EnlargeRow<T, CHANNELS, 4>;
    }
}

static HorizontalWorker ChooseHorizontal(int workType, int enlarging, int taps)
{
    switch (workType) {
    case TYPE_GRAY8: return enlarging ? EnlargeWorker<uint8_t, 1>(taps) : ReduceRow<uint8_t, 1>;
    case TYPE_COLOR24: return enlarging ? EnlargeWorker<uint8_t, 3>(taps) : ReduceRow<uint8_t, 3>;
    case TYPE_GRAY16: return enlarging ? EnlargeWorker<uint16_t, 1>(taps) : ReduceRow<uint16_t, 1>;
    default: return enlarging ? EnlargeWorker<uint16_t, 3>(taps) : ReduceRow<uint16_t, 3>;
    }
}

// Enlarging table: per column its first tap (start - taps / 2 + 1), the kernel's signed
// weights at the distances of its taps, with those of taps outside the row set to 0, and the
// sum of what remains (1 if 0) as divisor.
static ErrorCode BuildEnlargeColumns(ResampleContext *context)
{
    const int width = context->sourceWidth;
    const int columns = context->outputWidth;
    const int taps = context->taps;
    const int before = taps / 2 - 1; // taps before the one at the start
    const double ratio = HorizontalRatio(width, columns);
    context->first = (int32_t *)TableAlloc((size_t)columns, sizeof(int32_t));
    context->kind = (uint8_t *)TableAlloc((size_t)columns, 1);
    context->weights = (int32_t *)TableAlloc((size_t)columns * (size_t)taps, sizeof(int32_t));
    context->divisors = (Divider *)TableAlloc((size_t)columns, sizeof(Divider));
    if (context->first == nullptr || context->kind == nullptr || context->weights == nullptr ||
        context->divisors == nullptr)
        return ERROR_NO_MEMORY;
    for (int x = 0; x < columns; x++) {
        int base;
        double fraction;
        Position(x, ratio, &base, &fraction);
        int32_t *weights = context->weights + (size_t)x * taps;
        context->first[x] = base - before;
        context->divisors[x] = DividerMake(1);
        if (base >= width - 1) {
            context->kind[x] = COLUMN_LAST;
            memset(weights, 0, sizeof(int32_t) * (size_t)taps);
            continue;
        }
        int32_t sum = 0;
        int inside = 1;
        for (int t = 0; t < taps; t++) {
            int index = base - before + t;
            int32_t w =
                (int32_t)(ResampleKernel(t - before - fraction, context->a, context->method) *
                          255.0);
            if (index < 0 || index >= width) {
                w = 0;
                inside = 0;
            }
            weights[t] = w;
            sum += w;
        }
        context->kind[x] = inside && sum > 0 ? COLUMN_INSIDE : COLUMN_EDGE;
        context->divisors[x] = DividerMake(sum == 0 ? 1 : sum);
    }
    return ERROR_NONE;
}

// Reducing table: the kernel stretched by width / output width over the taps -n..n around
// each column (n = trunc(ratio) + 1). Taps outside the row, and taps whose value is exactly 0,
// are not stored; the others are stored in order, each weight clamped to 0..255, so that a
// negative lobe keeps its place with weight 0. The first stored tap is the column's first.
static ErrorCode BuildReduceColumns(ResampleContext *context)
{
    const int width = context->sourceWidth;
    const int columns = context->outputWidth;
    const double ratio = HorizontalRatio(width, columns);
    const int n = (int)ratio + 1;
    const double stretch = (double)width / columns;
    context->first = (int32_t *)TableAlloc((size_t)columns, sizeof(int32_t));
    context->count = (int32_t *)TableAlloc((size_t)columns, sizeof(int32_t));
    context->offset = (int32_t *)TableAlloc((size_t)columns, sizeof(int32_t));
    context->divisors = (Divider *)TableAlloc((size_t)columns, sizeof(Divider));
    size_t perColumn = 2 * (size_t)n + 1;
    context->weights = (int32_t *)TableAlloc(perColumn * (size_t)columns, sizeof(int32_t));
    if (context->first == nullptr || context->count == nullptr || context->offset == nullptr ||
        context->divisors == nullptr || context->weights == nullptr)
        return ERROR_NO_MEMORY;
    int32_t used = 0;
    for (int x = 0; x < columns; x++) {
        int base;
        double fraction;
        Position(x, ratio, &base, &fraction);
        int32_t stored = 0;
        int32_t sum = 0;
        context->first[x] = 0;
        context->offset[x] = used;
        for (int k = -n; k <= n; k++) {
            int index = base + k;
            if (index < 0 || index >= width) continue;
            double v = ResampleKernel((k - fraction) / stretch, context->a, context->method);
            if (v == 0.0) continue;
            if (stored == 0) context->first[x] = index;
            int32_t w = (int32_t)(v * 255.0);
            w = w < 0 ? 0 : (w > 255 ? 255 : w);
            context->weights[used++] = w;
            stored++;
            sum += w;
        }
        context->count[x] = stored;
        context->divisors[x] = DividerMake(sum == 0 ? 1 : sum);
    }
    return ERROR_NONE;
}

// ---- Vertical pass ----

static void ExpandBits(const uint8_t *bits, uint8_t *out, int width)
{
    for (int x = 0; x < width; x++)
        out[x] = BitTest(bits, x) ? 255 : 0;
}

// Source row y as it is; a binary row is expanded into target first.
static const uint8_t *RowAsIs(const ResampleContext *context, int y, uint8_t *target)
{
    const uint8_t *row = context->source->rows[y];
    if (context->source->type != TYPE_BINARY) return row;
    ExpandBits(row, target, context->sourceWidth);
    return target;
}

// The taps of output row y into tapRows and tapWeights, leaving out those of weight 0, with
// their divisor. Returns the number of taps, or -1 when source row *asIs is used as it is.
static int VerticalTaps(const ResampleContext *context, int y, int *asIs, Divider *divider)
{
    const int height = context->sourceHeight;
    const int rows = context->outputHeight;
    int base;
    double fraction;
    int taps = 0;
    int32_t sum = 0;
    if (rows > height) {
        Position(y, VerticalRatio(height, rows), &base, &fraction);
        if (base >= height - 1) {
            *asIs = height - 1;
            return -1;
        }
        // A position within 1/255 of a row is that row.
        if ((int)(255.0 * fraction) == 0) {
            *asIs = base;
            return -1;
        }
        const int before = context->taps / 2 - 1;
        for (int t = 0; t < context->taps; t++) {
            int row = base - before + t;
            if (row < 0 || row >= height) continue; // missing rows weigh nothing
            int32_t w = (int32_t)(255.0 * ResampleKernel(t - before - fraction, context->a,
                                                         context->method));
            sum += w;
            if (w == 0) continue;
            context->tapRows[taps] = row;
            context->tapWeights[taps++] = w;
        }
        *divider = DividerMake(sum == 0 ? 1 : sum);
        return taps;
    }
    // Reducing: the weights keep their sign, and the divisor is their whole sum.
    const double ratio = VerticalRatio(height, rows);
    const int n = (int)ratio + 1;
    const double stretch = (double)height / rows;
    Position(y, ratio, &base, &fraction);
    for (int k = -n; k <= n; k++) {
        int row = base + k;
        if (row < 0 || row >= height) continue;
        int32_t w = (int32_t)(255.0 * ResampleKernel((k - fraction) / stretch, context->a,
                                                     context->method));
        sum += w;
        if (w == 0) continue;
        context->tapRows[taps] = row;
        context->tapWeights[taps++] = w;
    }
    // The central tap weighs close to 255, so the sum is never 0; guarded all the same.
    *divider = DividerMake(sum == 0 ? 1 : sum);
    return taps;
}

// sums = (or +=) the weighted sum of four rows: the loops the compiler runs many samples at
// a time. The sums wrap as 32-bit words.
template <typename T>
static inline void SumFour(uint32_t *sums, const T *const in[4], const int32_t w[4], int n,
                           int first)
{
    const T *in0 = in[0], *in1 = in[1], *in2 = in[2], *in3 = in[3];
    const uint32_t w0 = (uint32_t)w[0], w1 = (uint32_t)w[1], w2 = (uint32_t)w[2],
                   w3 = (uint32_t)w[3];
    if (first) {
        for (int i = 0; i < n; i++)
            sums[i] = w0 * in0[i] + w1 * in1[i] + w2 * in2[i] + w3 * in3[i];
    } else {
        for (int i = 0; i < n; i++)
            sums[i] += w0 * in0[i] + w1 * in1[i] + w2 * in2[i] + w3 * in3[i];
    }
}

// out = sums / divisor, truncated and clamped to 0..maximum.
template <typename T>
VECTOR_CLONES static void SumFinish(const uint32_t *sums, T *out, int n, const Divider &d,
                                    int32_t maximum)
{
    if (d.divisor > 0) {
        // A sum of 0 or below gives a quotient of 0 or below, which clamps to 0.
        const uint64_t multiplier = d.multiplier;
        const uint32_t shift = d.shift;
        const uint32_t top = (uint32_t)maximum;
        for (int i = 0; i < n; i++) {
            int32_t v = (int32_t)sums[i];
            uint32_t q = (uint32_t)(((uint64_t)(uint32_t)v * multiplier) >> shift);
            q = q > top ? top : q;
            out[i] = (T)(v > 0 ? q : 0);
        }
        return;
    }
    for (int i = 0; i < n; i++)
        out[i] = (T)QuotientClamped((int32_t)sums[i], d, maximum);
}

// The weighted sum of the tap rows of a picture with whole-byte samples into target.
template <typename T>
VECTOR_CLONES static void MixRows(const ResampleContext *context, int taps, const Divider &divider,
                                  uint8_t *target)
{
    const int samples = context->samples;
    const int32_t maximum = sizeof(T) == 1 ? 255 : 65535;
    const int32_t *weights = context->tapWeights;
    uint8_t *const *rows = context->source->rows;
    const int *tapRows = context->tapRows;
    uint32_t *sums = context->sums;
    for (int i0 = 0; i0 < samples; i0 += MIX_BLOCK) {
        const int n = samples - i0 < MIX_BLOCK ? samples - i0 : MIX_BLOCK;
        for (int t = 0; t < taps; t += 4) {
            // Four rows at a time; past the last tap the first row stands in with weight 0.
            const T *in[4];
            int32_t w[4];
            for (int j = 0; j < 4; j++) {
                in[j] = (const T *)rows[tapRows[t + j < taps ? t + j : 0]] + i0;
                w[j] = t + j < taps ? weights[t + j] : 0;
            }
            SumFour(sums, in, w, n, t == 0);
        }
        SumFinish(sums, (T *)target + i0, n, divider, maximum);
    }
}

// The same for a binary source: each tap row is expanded to 0 and 255 before it is added.
static void MixBinaryRows(const ResampleContext *context, int taps, const Divider &divider,
                          uint8_t *target)
{
    const int width = context->sourceWidth;
    for (int t = 0; t < taps; t++) {
        ExpandBits(context->source->rows[context->tapRows[t]], context->expanded, width);
        const uint8_t *in[4] = {context->expanded, context->expanded, context->expanded,
                                context->expanded};
        const int32_t w[4] = {context->tapWeights[t], 0, 0, 0};
        SumFour(context->sums, in, w, width, t == 0);
    }
    SumFinish(context->sums, target, width, divider, 255);
}

// The vertical pass of output row y: returns the row of source width to go on with, which is
// either a source row as it is or target, mixed.
static const uint8_t *VerticalPass(const ResampleContext *context, int y, uint8_t *target)
{
    if (context->outputHeight == context->sourceHeight) return RowAsIs(context, y, target);
    int asIs = 0;
    Divider divider;
    int taps = VerticalTaps(context, y, &asIs, &divider);
    if (taps < 0) return RowAsIs(context, asIs, target);
    if (taps == 0) {
        // Every weight truncated to 0: a sum of 0 over a divisor of 1.
        memset(target, 0, (size_t)context->samples * (context->wide ? 2 : 1));
    } else if (context->source->type == TYPE_BINARY) {
        MixBinaryRows(context, taps, divider, target);
    } else if (context->wide) {
        MixRows<uint16_t>(context, taps, divider, target);
    } else {
        MixRows<uint8_t>(context, taps, divider, target);
    }
    return target;
}

// The checks every entry makes first: a picture type, and sizes of at least 1.
static ErrorCode CheckRequest(const Image *source, int newWidth, int newHeight)
{
    if (!ImageIsPicture(source->type)) return ERROR_ILLEGAL_TYPE;
    if (newWidth < 1 || newHeight < 1 || source->width < 1 || source->height < 1 ||
        source->rows == nullptr)
        return ERROR_IMAGE_TOO_SMALL;
    return ERROR_NONE;
}

ErrorCode ResampleImage(const Image *source, Image *destination, int newWidth, int newHeight,
                        double resolution, int method, double a, int showProgress)
{
    ErrorCode result = CheckRequest(source, newWidth, newHeight);
    ResampleContext context;
    int progress = 0;
    int waitCursor = 0;
    int channels;
    size_t sampleBytes;
    size_t tapCount;

    memset(&context, 0, sizeof context);
    if (result != ERROR_NONE) goto done;
    if (method < RESAMPLE_NEAREST || method > RESAMPLE_LANCZOS8) {
        result = ERROR_INTERNAL_1;
        goto done;
    }
    if (newWidth == source->width && newHeight == source->height) {
        result = ImageDuplicate(source, destination);
        if (result == ERROR_NONE) destination->resolution = resolution;
        goto done;
    }
    if (method == RESAMPLE_NEAREST) {
        result = ResampleNearest(source, destination, newWidth, newHeight, showProgress);
        if (result == ERROR_NONE) destination->resolution = resolution;
        goto done;
    }

    context.source = source;
    context.sourceWidth = source->width;
    context.sourceHeight = source->height;
    context.outputWidth = newWidth;
    context.outputHeight = newHeight;
    context.workType = source->type == TYPE_BINARY ? TYPE_GRAY8 : source->type;
    context.wide = context.workType == TYPE_GRAY16 || context.workType == TYPE_COLOR48;
    channels = context.workType == TYPE_COLOR24 || context.workType == TYPE_COLOR48 ? 3 : 1;
    context.samples = source->width * channels;
    context.method = method;
    context.a = a;
    context.taps = EnlargeTaps(method);

    // The destination first: a size too large to hold fails here, before any table exists.
    result = ImageAlloc(destination, context.workType, newWidth, newHeight, resolution);
    if (result != ERROR_NONE) goto done;

    sampleBytes = context.wide ? 2 : 1;
    context.scratch = (uint8_t *)TableAlloc((size_t)context.samples, sampleBytes);
    context.sums = (uint32_t *)TableAlloc((size_t)context.samples, sizeof(uint32_t));
    if (source->type == TYPE_BINARY)
        context.expanded = (uint8_t *)TableAlloc((size_t)context.sourceWidth, 1);
    // Enough taps for the enlarging kernel and for the widest reduction, 2n + 1.
    tapCount = 2 * ((size_t)VerticalRatio(source->height, newHeight) + 1) + 1;
    if (tapCount < (size_t)context.taps) tapCount = (size_t)context.taps;
    context.tapRows = (int32_t *)TableAlloc(tapCount, sizeof(int32_t));
    context.tapWeights = (int32_t *)TableAlloc(tapCount, sizeof(int32_t));
    if (context.scratch == nullptr || context.sums == nullptr || context.tapRows == nullptr ||
        context.tapWeights == nullptr ||
        (source->type == TYPE_BINARY && context.expanded == nullptr)) {
        ImageFree(destination); // no half-made result on a failure before the rows
        result = ERROR_NO_MEMORY;
        goto done;
    }
    if (newWidth > source->width)
        result = BuildEnlargeColumns(&context);
    else if (newWidth < source->width)
        result = BuildReduceColumns(&context);
    if (result != ERROR_NONE) {
        ImageFree(destination);
        goto done;
    }
    context.horizontal = ChooseHorizontal(context.workType, newWidth > source->width, context.taps);

    if (showProgress && (int64_t)newWidth * newHeight >= PROGRESS_PIXELS) {
        ProgressOpen(0, newHeight - 1, "Resize", 1);
        progress = 1;
    } else {
        SetWaitCursor();
        waitCursor = 1;
    }
    for (int y = 0; y < newHeight; y++) {
        uint8_t *out = destination->rows[y];
        if (newWidth == source->width) {
            // The vertical pass writes straight into the output row.
            const uint8_t *mixed = VerticalPass(&context, y, out);
            if (mixed != out) memcpy(out, mixed, (size_t)context.samples * sampleBytes);
        } else {
            context.horizontal(&context, VerticalPass(&context, y, context.scratch), out);
        }
        if (progress && (result = ProgressStep(y)) != ERROR_NONE) break;
    }

done:
    if (progress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    ContextFree(&context);
    return result;
}

// ---- Nearest neighbour ----

// index[i] for i < count of a new size from size: the rounded rule of Nearest Neighbor, or the
// plain quotient of the thumbnails.
static void NearestIndices(int32_t *index, int count, int size, int rounded)
{
    for (int i = 0; i < count; i++) {
        if (count == 1) {
            index[i] = 0;
            continue;
        }
        int64_t numerator = (int64_t)i * (size - 1) + (rounded ? (count - 1) / 2 : 0);
        index[i] = (int32_t)(numerator / (count - 1));
    }
}

// Copies each destination pixel from the source pixel the two index tables name.
template <int BYTES>
static void NearestRow(const uint8_t *in, uint8_t *out, const int32_t *columns, int width)
{
    for (int x = 0; x < width; x++, out += BYTES)
        memcpy(out, in + (size_t)columns[x] * BYTES, BYTES);
}

// A binary row is cleared first, so that the bits past its last pixel are 0 too.
static void NearestRowBits(const uint8_t *in, uint8_t *out, const int32_t *columns, int width,
                           int rowBytes)
{
    memset(out, 0, (size_t)rowBytes);
    for (int x = 0; x < width; x++)
        if (BitTest(in, columns[x])) BitSet(out, x);
}

// The row loop of both nearest-neighbour scalers; progress when progress is set.
static ErrorCode NearestRows(const Image *source, Image *destination, const int32_t *columns,
                             const int32_t *rows, int progress)
{
    ErrorCode result = ERROR_NONE;
    const int width = destination->width;
    for (int y = 0; y < destination->height; y++) {
        const uint8_t *in = source->rows[rows[y]];
        uint8_t *out = destination->rows[y];
        switch (source->type) {
        case TYPE_BINARY: NearestRowBits(in, out, columns, width, destination->rowBytes); break;
        case TYPE_GRAY8: NearestRow<1>(in, out, columns, width); break;
        case TYPE_GRAY16: NearestRow<2>(in, out, columns, width); break;
        case TYPE_COLOR24: NearestRow<3>(in, out, columns, width); break;
        default: NearestRow<6>(in, out, columns, width); break;
        }
        if (progress && (result = ProgressStep(y)) != ERROR_NONE) break;
    }
    return result;
}

ErrorCode ResampleNearest(const Image *source, Image *destination, int newWidth, int newHeight,
                          int showProgress)
{
    ErrorCode result = CheckRequest(source, newWidth, newHeight);
    int32_t *columns = nullptr;
    int32_t *rows = nullptr;
    int progress = 0;
    int waitCursor = 0;

    if (result != ERROR_NONE) goto done;
    result = ImageAlloc(destination, source->type, newWidth, newHeight, source->resolution);
    if (result != ERROR_NONE) goto done;
    columns = (int32_t *)TableAlloc((size_t)newWidth, sizeof(int32_t));
    rows = (int32_t *)TableAlloc((size_t)newHeight, sizeof(int32_t));
    if (columns == nullptr || rows == nullptr) {
        ImageFree(destination);
        result = ERROR_NO_MEMORY;
        goto done;
    }
    NearestIndices(columns, newWidth, source->width, 1);
    NearestIndices(rows, newHeight, source->height, 1);
    if (showProgress && (int64_t)newWidth * newHeight >= PROGRESS_PIXELS) {
        ProgressOpen(0, newHeight - 1, "Resize", 1);
        progress = 1;
    } else {
        SetWaitCursor();
        waitCursor = 1;
    }
    result = NearestRows(source, destination, columns, rows, progress);

done:
    if (progress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    MemoryFree(rows);
    MemoryFree(columns);
    return result;
}

ErrorCode ResampleThumbnail(const Image *source, Image *destination, int newWidth, int newHeight)
{
    ErrorCode result = ERROR_NONE;
    int32_t *columns = nullptr;
    int32_t *rows = nullptr;

    if (source->type == TYPE_EMPTY) {
        ImageFree(destination);
        goto done;
    }
    result = CheckRequest(source, newWidth, newHeight);
    if (result != ERROR_NONE) goto done;
    result = ImageAlloc(destination, source->type, newWidth, newHeight, 100.0);
    if (result != ERROR_NONE) goto done;
    columns = (int32_t *)TableAlloc((size_t)newWidth, sizeof(int32_t));
    rows = (int32_t *)TableAlloc((size_t)newHeight, sizeof(int32_t));
    if (columns == nullptr || rows == nullptr) {
        ImageFree(destination);
        result = ERROR_NO_MEMORY;
        goto done;
    }
    NearestIndices(columns, newWidth, source->width, 0);
    NearestIndices(rows, newHeight, source->height, 0);
    result = NearestRows(source, destination, columns, rows, 0);

done:
    MemoryFree(rows);
    MemoryFree(columns);
    return result;
}
