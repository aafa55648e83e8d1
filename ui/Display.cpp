// Display rendering: a picture of any type, at any zoom, into its window's view, and the
// painting of that view with its margin, ruler and grid.
//
// The view is an Image of 1, 8 or 24 bits with exactly the size of the visible area at the
// present zoom; the screen image is made from it by color management. Rendering works only
// on the asked rectangle, so that a scroll or a preview repaints what it uncovers and no
// more. Magnified views write the first row of each block and copy the others from it.
//
// The renderers run once per view row over a table of the picture columns that the
// rectangle's view columns show, so that the inner loops have no test of the zoom or the
// type: the row's renderer is chosen once per row, and the overlay is a pass of its own.
#include "ui/Display.h"

#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
// Wider vectors where the compiler can make a function for them and the processor, asked
// once, has them.
#if defined(__GNUC__) && defined(__x86_64__)
#include <immintrin.h>
#define DISPLAY_AVX2 1
#endif

#include "color/ProfileTransform.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "ui/DisplayColor.h"

static const double VIEW_RESOLUTION = 100.0; // view and screen are never printed or saved

// The largest reduction whose block sums fit 32 bits: 256 * 256 samples of 65535.
static const int SMOOTH_32BIT_LIMIT = 256;

Rect UpdateRect = {-1, -1, -1, -1};

int ViewType(int pictureType, int overlayShown)
{
    if (!ImageIsPicture(pictureType)) return TYPE_EMPTY;
    if (overlayShown) return TYPE_COLOR24;
    switch (pictureType) {
    case TYPE_GRAY16: return TYPE_GRAY8;
    case TYPE_COLOR48: return TYPE_COLOR24;
    default: return pictureType;
    }
}

// How one view row is made; chosen once for a rendering by the picture's and the view's
// types and by smoothing.
enum : int {
    ROW_BINARY_TO_BINARY,
    ROW_BINARY_TO_COLOR,
    ROW_GRAY8_TO_GRAY,
    ROW_GRAY8_TO_COLOR,
    ROW_COLOR24,
    ROW_GRAY16_TO_GRAY,
    ROW_GRAY16_TO_COLOR,
    ROW_COLOR48,
};

// One rendering: what to read, where it goes, and how the mask is laid over it.
struct RenderJob {
    const Image *source;
    Image *view;
    const Image *mask; // the overlay's mask, null when no overlay shows
    int alpha;         // -1 the mask alone, 1..255 the overlay color's strength
    int overlay[3];    // the overlay color, blue, green, red
    int zoom;          // 1, n >= 2 magnified, -n reduced
    int reduction;     // n of a reduced view, else 1
    int smooth;        // average the block of a reduced view pixel
    int rowKind;       // ROW_*
    int x0;            // the view rectangle, inside the view, rows from the bottom
    int y0;
    int x1;
    int y1;
    int count;       // view columns of the rectangle, x1 - x0 + 1
    int sourceLeft;  // picture column of view column 0
    int sourceBase;  // picture row of view row 0 (rows from the bottom)
    int columnFirst; // the source range of the rectangle, inside the picture
    int columnLast;
    int rowFirst;
    int rowLast;
    int32_t *columns; // picture column of each view column of the rectangle
    int run;          // leading columns that are adjacent picture columns (zoom 1)
    int fullBlocks;   // leading columns whose reduced block lies wholly in the picture
    void *sums;       // smoothing: one sum a channel a view column, 32 or 64 bits
};

static int Limit(int value, int low, int high)
{
    return value < low ? low : (value > high ? high : value);
}

// The picture position of view position v, counted from base, by the zoom.
static int PictureIndex(int base, int v, int zoom)
{
    if (zoom > 1) return base + v / zoom;
    if (zoom < 0) return base - v * zoom;
    return base + v;
}

// The 8-bit value of a sample: 16-bit samples go through Depth16To8.
template <typename Sample> static inline uint8_t DisplayValue(unsigned sample)
{
    if constexpr (sizeof(Sample) == 2)
        return Depth16To8[sample];
    else
        return (uint8_t)sample;
}

// Division of block sums by a pixel count d without a divide instruction: for every sum of
// at most d samples of 16 bits, (sum * multiplier) >> shift is the truncated quotient. With
// shift = 2 ceil(log2 d) + 16 the rounding error of the multiplier, below d, times the
// largest sum, below d * 2^16, stays under 2^shift; and the product stays under 2^64 for
// d up to 2^16, which SMOOTH_32BIT_LIMIT keeps.
struct Divider {
    uint64_t multiplier; // 0 beyond 2^16 pixels, where sums of 64 bits divide plainly
    int shift;
    uint64_t count; // d itself
};

static Divider DividerMake(uint64_t d)
{
    Divider divider = {0, 0, d};
    int bits = 0;
    while (bits < 40 && ((uint64_t)1 << bits) < d)
        bits++;
    if (bits <= 16) {
        divider.shift = 2 * bits + 16;
        divider.multiplier = (((uint64_t)1 << divider.shift) + d - 1) / d;
    }
    return divider;
}

static inline unsigned DividerApply(const Divider &divider, uint64_t sum)
{
    return (unsigned)((sum * divider.multiplier) >> divider.shift);
}

// Count 16-bit samples to their 8-bit display values. Depth16To8[v] is (v + 128) / 257 in
// integer division, which is (t - (t >> 8)) >> 8 with t = v + 128: vector registers do that
// for sixteen samples at a time where the processor has them, the table does the rest.
static void DisplayValues16(const uint16_t *in, uint8_t *out, size_t count)
{
    size_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i half = _mm_set1_epi32(128);
    for (; i + 16 <= count; i += 16) {
        __m128i packed[2];
        for (int part = 0; part < 2; part++) {
            __m128i v = _mm_loadu_si128((const __m128i *)(in + i + 8 * part));
            __m128i low = _mm_add_epi32(_mm_unpacklo_epi16(v, zero), half);
            __m128i high = _mm_add_epi32(_mm_unpackhi_epi16(v, zero), half);
            low = _mm_srli_epi32(_mm_sub_epi32(low, _mm_srli_epi32(low, 8)), 8);
            high = _mm_srli_epi32(_mm_sub_epi32(high, _mm_srli_epi32(high, 8)), 8);
            packed[part] = _mm_packs_epi32(low, high); // values of 0..255 pack unchanged
        }
        _mm_storeu_si128((__m128i *)(out + i), _mm_packus_epi16(packed[0], packed[1]));
    }
#endif
    for (; i < count; i++)
        out[i] = Depth16To8[in[i]];
}

// One view row (its rectangle's span) from picture row `in`, sampling each view column's
// picture column: zoom 1, magnified, and reduced without smoothing. A leading run of
// adjacent columns (zoom 1) with as many channels in the view as in the picture is copied or
// converted as one stretch of samples.
template <typename Sample, int Channels, int ViewChannels>
static void RenderSampledRow(const RenderJob *job, const uint8_t *inRow, uint8_t *out)
{
    const Sample *in = (const Sample *)inRow;
    const int32_t *columns = job->columns;
    int i = 0;
    out += (size_t)job->x0 * ViewChannels;
    if constexpr (Channels == ViewChannels) {
        if (job->run > 0) {
            const Sample *from = in + (size_t)columns[0] * Channels;
            size_t samples = (size_t)job->run * Channels;
            if constexpr (sizeof(Sample) == 2)
                DisplayValues16(from, out, samples);
            else
                memcpy(out, from, samples);
            i = job->run;
            out += samples;
        }
    }
    for (; i < job->count; i++, out += ViewChannels) {
        const Sample *p = in + (size_t)columns[i] * Channels;
        if constexpr (Channels == 3) {
            out[0] = DisplayValue<Sample>(p[0]);
            out[1] = DisplayValue<Sample>(p[1]);
            out[2] = DisplayValue<Sample>(p[2]);
        } else if constexpr (ViewChannels == 3) {
            out[0] = out[1] = out[2] = DisplayValue<Sample>(p[0]); // gray fills all three
        } else {
            out[0] = DisplayValue<Sample>(p[0]);
        }
    }
}

#if defined(DISPLAY_AVX2)
// The 16-bit sums of SumsOfRows sixteen samples at a time, for processors with AVX2;
// returns how many samples it did, a multiple of 16.
__attribute__((target("avx2"))) static size_t SumsOfRowsWide(const uint16_t *const *in, int rows,
                                                             size_t count, uint32_t *sums)
{
    size_t i = 0;
    const __m256i zero = _mm256_setzero_si256();
    for (; i + 16 <= count; i += 16) {
        __m256i low = zero, high = zero;
        for (int r = 0; r < rows; r++) {
            __m256i v = _mm256_loadu_si256((const __m256i *)(in[r] + i));
            low = _mm256_add_epi32(low, _mm256_unpacklo_epi16(v, zero));
            high = _mm256_add_epi32(high, _mm256_unpackhi_epi16(v, zero));
        }
        // Unpacking works within each half: put the four quarters back in order.
        _mm256_storeu_si256((__m256i *)(sums + i), _mm256_permute2x128_si256(low, high, 0x20));
        _mm256_storeu_si256((__m256i *)(sums + i + 8), _mm256_permute2x128_si256(low, high, 0x31));
    }
    return i;
}
#endif

// The sums of rows picture rows (pointers in), sample by sample, over count samples. Vector
// registers add eight or sixteen samples of all rows at a time where the processor has them,
// and store each sum once; the plain loop does the rest. At most SMOOTH_32BIT_LIMIT rows, so
// that 8-bit samples may first be added in 16 bits.
template <typename Sample>
static void SumsOfRows(const Sample *const *in, int rows, size_t count, uint32_t *sums)
{
    size_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    if constexpr (sizeof(Sample) == 2) {
#if defined(DISPLAY_AVX2)
        static const int wide = __builtin_cpu_supports("avx2");
        if (wide) i = SumsOfRowsWide(in, rows, count, sums);
#endif
        for (; i + 8 <= count; i += 8) {
            __m128i low = zero, high = zero;
            for (int r = 0; r < rows; r++) {
                __m128i v = _mm_loadu_si128((const __m128i *)(in[r] + i));
                low = _mm_add_epi32(low, _mm_unpacklo_epi16(v, zero));
                high = _mm_add_epi32(high, _mm_unpackhi_epi16(v, zero));
            }
            _mm_storeu_si128((__m128i *)(sums + i), low);
            _mm_storeu_si128((__m128i *)(sums + i + 4), high);
        }
    } else {
        for (; i + 16 <= count; i += 16) {
            __m128i low = zero, high = zero;
            for (int r = 0; r < rows; r++) {
                __m128i v = _mm_loadu_si128((const __m128i *)(in[r] + i));
                low = _mm_add_epi16(low, _mm_unpacklo_epi8(v, zero));
                high = _mm_add_epi16(high, _mm_unpackhi_epi8(v, zero));
            }
            _mm_storeu_si128((__m128i *)(sums + i), _mm_unpacklo_epi16(low, zero));
            _mm_storeu_si128((__m128i *)(sums + i + 4), _mm_unpackhi_epi16(low, zero));
            _mm_storeu_si128((__m128i *)(sums + i + 8), _mm_unpacklo_epi16(high, zero));
            _mm_storeu_si128((__m128i *)(sums + i + 12), _mm_unpackhi_epi16(high, zero));
        }
    }
#endif
    for (; i < count; i++) {
        uint32_t sum = 0;
        for (int r = 0; r < rows; r++)
            sum += in[r][i];
        sums[i] = sum;
    }
}

// The mean of a block of count pixels from its channel sums, as the view shows it.
template <typename Sample, int Channels, int ViewChannels, typename Sum>
static inline void BlockMeanPut(const Sum block[3], uint64_t count, uint8_t *out)
{
    unsigned mean[3];
    if constexpr (sizeof(Sum) == 4) {
        Divider divider = DividerMake(count);
        for (int c = 0; c < Channels; c++)
            mean[c] = DividerApply(divider, block[c]);
    } else {
        for (int c = 0; c < Channels; c++)
            mean[c] = (unsigned)(block[c] / count);
    }
    if constexpr (Channels == 3) {
        out[0] = DisplayValue<Sample>(mean[0]);
        out[1] = DisplayValue<Sample>(mean[1]);
        out[2] = DisplayValue<Sample>(mean[2]);
    } else if constexpr (ViewChannels == 3) {
        out[0] = out[1] = out[2] = DisplayValue<Sample>(mean[0]);
    } else {
        out[0] = DisplayValue<Sample>(mean[0]);
    }
}

// The means of the leading full blocks of a row, from the column sums s of the first one on:
// each block adds N columns (n of the job when N is 0) and divides by the shared count.
template <typename Sample, int Channels, int ViewChannels, typename Sum, int N>
static void BlockMeansFull(const RenderJob *job, const Sum *s, Divider full, uint8_t *out)
{
    const int n = N > 0 ? N : job->reduction;
    for (int i = 0; i < job->fullBlocks; i++, out += ViewChannels) {
        Sum b0 = 0, b1 = 0, b2 = 0;
        for (int k = 0; k < n; k++, s += Channels) {
            b0 += s[0];
            if constexpr (Channels == 3) {
                b1 += s[1];
                b2 += s[2];
            }
        }
        unsigned m0, m1 = 0, m2 = 0;
        if constexpr (sizeof(Sum) == 4) {
            m0 = DividerApply(full, b0);
            if constexpr (Channels == 3) {
                m1 = DividerApply(full, b1);
                m2 = DividerApply(full, b2);
            }
        } else {
            // Beyond 256 by 256 blocks the count no longer suits the multiplier.
            uint64_t count = full.count;
            m0 = (unsigned)(b0 / count);
            if constexpr (Channels == 3) {
                m1 = (unsigned)(b1 / count);
                m2 = (unsigned)(b2 / count);
            }
        }
        if constexpr (Channels == 3) {
            out[0] = DisplayValue<Sample>(m0);
            out[1] = DisplayValue<Sample>(m1);
            out[2] = DisplayValue<Sample>(m2);
        } else if constexpr (ViewChannels == 3) {
            out[0] = out[1] = out[2] = DisplayValue<Sample>(m0);
        } else {
            out[0] = DisplayValue<Sample>(m0);
        }
    }
}

// One reduced view row with smoothing: each view pixel is the mean of the n by n block that
// starts at its sampled pixel (row `row`), cut at the picture's edge; a 16-bit mean is taken
// at 16 bits and reduced after. The block's rows are first added sample by sample over the
// columns the rectangle reads, then each view pixel adds its n columns of those sums.
template <typename Sample, int Channels, int ViewChannels, typename Sum>
static void RenderSmoothRow(const RenderJob *job, int row, uint8_t *out)
{
    const Image *source = job->source;
    const int n = job->reduction;
    const int32_t *columns = job->columns;
    int lastRow = row + n - 1 < source->height - 1 ? row + n - 1 : source->height - 1;
    int rows = lastRow - row + 1;
    int spanFirst = columns[0];
    int spanLast = columns[job->count - 1] + n - 1;
    if (spanLast > source->width - 1) spanLast = source->width - 1;
    size_t samples = (size_t)(spanLast - spanFirst + 1) * Channels;
    Sum *sums = (Sum *)job->sums;
    if constexpr (sizeof(Sum) == 4) {
        const Sample *in[SMOOTH_32BIT_LIMIT];
        for (int r = 0; r < rows; r++)
            in[r] = (const Sample *)source->rows[row + r] + (size_t)spanFirst * Channels;
        SumsOfRows<Sample>(in, rows, samples, sums);
    } else {
        memset(sums, 0, sizeof(Sum) * samples);
        for (int r = row; r <= lastRow; r++) {
            const Sample *in = (const Sample *)source->rows[r] + (size_t)spanFirst * Channels;
            for (size_t i = 0; i < samples; i++)
                sums[i] += in[i];
        }
    }

    // The full blocks follow each other and share one count; the cut ones have their own.
    out += (size_t)job->x0 * ViewChannels;
    Divider full = DividerMake((uint64_t)rows * (uint64_t)n);
    const Sum *s = sums + (size_t)(columns[0] - spanFirst) * Channels;
    switch (n) {
    case 2: BlockMeansFull<Sample, Channels, ViewChannels, Sum, 2>(job, s, full, out); break;
    case 3: BlockMeansFull<Sample, Channels, ViewChannels, Sum, 3>(job, s, full, out); break;
    case 4: BlockMeansFull<Sample, Channels, ViewChannels, Sum, 4>(job, s, full, out); break;
    default: BlockMeansFull<Sample, Channels, ViewChannels, Sum, 0>(job, s, full, out); break;
    }
    for (int i = job->fullBlocks; i < job->count; i++) {
        int width = source->width - columns[i] < n ? source->width - columns[i] : n;
        Sum block[3] = {0, 0, 0};
        s = sums + (size_t)(columns[i] - spanFirst) * Channels;
        for (int k = 0; k < width; k++, s += Channels)
            for (int c = 0; c < Channels; c++)
                block[c] += s[c];
        BlockMeanPut<Sample, Channels, ViewChannels, Sum>(block, (uint64_t)rows * width,
                                                          out + (size_t)i * ViewChannels);
    }
}

// One view row of a binary picture: bits into a binary view, or 0 and 255 into a 24-bit one
// under an overlay. Binary pictures are never averaged.
static void RenderBinaryRow(const RenderJob *job, const uint8_t *in, uint8_t *out)
{
    const int32_t *columns = job->columns;
    if (job->view->type == TYPE_BINARY) {
        for (int i = 0; i < job->count; i++) {
            int x = job->x0 + i;
            if (BitTest(in, columns[i]))
                BitSet(out, x);
            else
                BitClear(out, x);
        }
        return;
    }
    out += (size_t)job->x0 * 3;
    for (int i = 0; i < job->count; i++, out += 3)
        out[0] = out[1] = out[2] = BitTest(in, columns[i]) ? 255 : 0;
}

// Lays the overlay over the rectangle's span of a 24-bit view row made from picture row
// `row`: each pixel with the mask value at its sampled picture pixel.
static void OverlayRow(const RenderJob *job, int row, uint8_t *out)
{
    const Image *mask = job->mask;
    const uint8_t *maskRow = row < mask->height ? mask->rows[row] : nullptr;
    out += (size_t)job->x0 * 3;
    for (int i = 0; i < job->count; i++, out += 3) {
        int column = job->columns[i];
        // A position outside the mask counts as unmasked.
        int m = maskRow != nullptr && column < mask->width ? maskRow[column] : 0;
        if (job->alpha < 0) {
            out[0] = out[1] = out[2] = (uint8_t)m;
            continue;
        }
        if (m == 0) continue; // a weight of 0 leaves the pixel
        int a = LerpTable[m][job->alpha];
        for (int c = 0; c < 3; c++)
            out[c] = (uint8_t)Lerp8(out[c], job->overlay[c], a);
    }
}

// Copies the rectangle's span of view row y to row target.
static void CopyViewSpan(const RenderJob *job, int y, int target)
{
    Image *view = job->view;
    const uint8_t *from = view->rows[y];
    uint8_t *to = view->rows[target];
    if (view->type == TYPE_BINARY) {
        // Bit by bit, so that the bits beside the rectangle in the end bytes stay.
        for (int x = job->x0; x <= job->x1; x++) {
            if (BitTest(from, x))
                BitSet(to, x);
            else
                BitClear(to, x);
        }
        return;
    }
    int pixelBytes = view->type == TYPE_COLOR24 ? 3 : 1;
    size_t offset = (size_t)job->x0 * pixelBytes;
    MemCopy(from + offset, to + offset, (int64_t)job->count * pixelBytes);
}

// A smoothed row with sums of 32 bits where they cannot overflow, else of 64.
template <typename Sample, int Channels, int ViewChannels>
static void RenderSmoothRowSized(const RenderJob *job, int row, uint8_t *out)
{
    if (job->reduction <= SMOOTH_32BIT_LIMIT)
        RenderSmoothRow<Sample, Channels, ViewChannels, uint32_t>(job, row, out);
    else
        RenderSmoothRow<Sample, Channels, ViewChannels, uint64_t>(job, row, out);
}

// Makes view row y from picture row `row` by the job's renderer.
static void RenderRow(const RenderJob *job, int y, int row)
{
    const uint8_t *in = job->source->rows[row];
    uint8_t *out = job->view->rows[y];
    if (job->smooth) {
        switch (job->rowKind) {
        case ROW_GRAY8_TO_GRAY: RenderSmoothRowSized<uint8_t, 1, 1>(job, row, out); break;
        case ROW_GRAY8_TO_COLOR: RenderSmoothRowSized<uint8_t, 1, 3>(job, row, out); break;
        case ROW_COLOR24: RenderSmoothRowSized<uint8_t, 3, 3>(job, row, out); break;
        case ROW_GRAY16_TO_GRAY: RenderSmoothRowSized<uint16_t, 1, 1>(job, row, out); break;
        case ROW_GRAY16_TO_COLOR: RenderSmoothRowSized<uint16_t, 1, 3>(job, row, out); break;
        case ROW_COLOR48: RenderSmoothRowSized<uint16_t, 3, 3>(job, row, out); break;
        default: break;
        }
    } else {
        switch (job->rowKind) {
        case ROW_BINARY_TO_BINARY:
        case ROW_BINARY_TO_COLOR: RenderBinaryRow(job, in, out); break;
        case ROW_GRAY8_TO_GRAY: RenderSampledRow<uint8_t, 1, 1>(job, in, out); break;
        case ROW_GRAY8_TO_COLOR: RenderSampledRow<uint8_t, 1, 3>(job, in, out); break;
        case ROW_COLOR24: RenderSampledRow<uint8_t, 3, 3>(job, in, out); break;
        case ROW_GRAY16_TO_GRAY: RenderSampledRow<uint16_t, 1, 1>(job, in, out); break;
        case ROW_GRAY16_TO_COLOR: RenderSampledRow<uint16_t, 1, 3>(job, in, out); break;
        case ROW_COLOR48: RenderSampledRow<uint16_t, 3, 3>(job, in, out); break;
        default: break;
        }
    }
    if (job->mask != nullptr) OverlayRow(job, row, out);
}

// The renderer of the picture's type, over the whole rectangle.
static void RenderRows(const RenderJob *job)
{
    int rowStep = job->zoom > 1 ? job->zoom : 1;
    for (int y = job->y0; y <= job->y1; y += rowStep) {
        int row = Limit(PictureIndex(job->sourceBase, y, job->zoom), job->rowFirst, job->rowLast);
        RenderRow(job, y, row);
        // The other rows of a magnified block are copies of its first, within the view.
        for (int k = 1; k < rowStep && y + k < job->view->height; k++)
            CopyViewSpan(job, y, y + k);
    }
}

// The row renderer for a picture type and a view of one or three channels.
static int RowKind(int pictureType, int viewType)
{
    int color = viewType == TYPE_COLOR24;
    switch (pictureType) {
    case TYPE_BINARY: return color ? ROW_BINARY_TO_COLOR : ROW_BINARY_TO_BINARY;
    case TYPE_GRAY8: return color ? ROW_GRAY8_TO_COLOR : ROW_GRAY8_TO_GRAY;
    case TYPE_COLOR24: return ROW_COLOR24;
    case TYPE_GRAY16: return color ? ROW_GRAY16_TO_COLOR : ROW_GRAY16_TO_GRAY;
    default: return ROW_COLOR48;
    }
}

ErrorCode RenderView(const Image *source, ImageWindow *target, int left, int top, int right,
                     int bottom, int waitCursor)
{
    ErrorCode result = ERROR_NONE;
    RenderJob job = {};
    Image *view = &target->view;
    int viewType;
    int whole;

    // Histograms and single colors are painted, not rendered; an empty record has nothing.
    if (!ImageIsPicture(source->type) || source->rows == nullptr) return ERROR_NONE;
    if (waitCursor) SetWaitCursor();

    // The mask overlay, when the window has one and it is not switched off by alpha 0.
    if (target->overlayMask != nullptr && target->overlayAlpha != 0) {
        const ImageWindow *maskWindow = WindowRecord(target->overlayMask);
        if (maskWindow != nullptr && maskWindow->picture.image.type == TYPE_GRAY8 &&
            maskWindow->picture.image.rows != nullptr) {
            job.mask = &maskWindow->picture.image;
            job.alpha = target->overlayAlpha < 0 ? -1 : Limit(target->overlayAlpha, 1, 255);
            job.overlay[0] = Clamp8(target->overlayBlue);
            job.overlay[1] = Clamp8(target->overlayGreen);
            job.overlay[2] = Clamp8(target->overlayRed);
        }
    }
    viewType = ViewType(source->type, job.mask != nullptr);

    // A whole-view rectangle (re)allocates view and screen. A part rectangle draws into what
    // is there, unless that no longer fits the view: then the view is made afresh, and made
    // whole, since a part drawn into new memory would leave the rest undefined.
    whole =
        left == 0 && top == 0 && right == target->viewWidth - 1 && bottom == target->viewHeight - 1;
    if (whole || view->type != viewType || view->width != target->viewWidth ||
        view->height != target->viewHeight) {
        result = ImageAlloc(view, viewType, target->viewWidth, target->viewHeight, VIEW_RESOLUTION);
        if (result != ERROR_NONE) goto done;
        result = ImageAlloc(&target->screen, TYPE_COLOR24, target->viewWidth, target->viewHeight,
                            VIEW_RESOLUTION);
        if (result != ERROR_NONE) goto done;
        left = top = 0;
        right = target->viewWidth - 1;
        bottom = target->viewHeight - 1;
    }
    if (view->rows == nullptr) goto done;

    job.source = source;
    job.view = view;
    // Zooms 0 and -1 are never set; should one arrive, it is read as one to one.
    job.zoom = target->zoom == 0 || target->zoom == -1 ? 1 : target->zoom;
    job.reduction = job.zoom < 0 ? -job.zoom : 1;
    job.smooth = job.zoom < 0 && Prefs.smoothZoom != 0 && source->type != TYPE_BINARY;
    job.rowKind = RowKind(source->type, viewType);
    job.x0 = left < 0 ? 0 : left;
    job.y0 = top < 0 ? 0 : top;
    job.x1 = right < view->width - 1 ? right : view->width - 1;
    job.y1 = bottom < view->height - 1 ? bottom : view->height - 1;
    if (job.zoom > 1) {
        // Blocks start at multiples of the zoom.
        job.x0 -= job.x0 % job.zoom;
        job.y0 -= job.y0 % job.zoom;
    }
    if (job.x0 > job.x1 || job.y0 > job.y1) goto done;
    job.count = job.x1 - job.x0 + 1;

    // The source range of the rectangle, clamped to the picture. sourceBottom counts from the
    // top, view rows from the bottom.
    job.sourceLeft = target->sourceLeft;
    job.sourceBase = source->height - 1 - target->sourceBottom;
    {
        int lastX = job.zoom > 1 ? job.x1 + job.zoom - 1 : job.x1;
        int lastY = job.zoom > 1 ? job.y1 + job.zoom - 1 : job.y1;
        job.columnFirst =
            Limit(PictureIndex(job.sourceLeft, job.x0, job.zoom), 0, source->width - 1);
        job.columnLast = Limit(PictureIndex(job.sourceLeft, lastX, job.zoom), 0, source->width - 1);
        job.rowFirst = Limit(PictureIndex(job.sourceBase, job.y0, job.zoom), 0, source->height - 1);
        job.rowLast = Limit(PictureIndex(job.sourceBase, lastY, job.zoom), 0, source->height - 1);
    }

    // The picture column of each view column, past the range clamped to its last column.
    job.columns = (int32_t *)MemoryAlloc(sizeof(int32_t) * (size_t)job.count);
    if (job.columns == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    for (int i = 0; i < job.count; i++) {
        int column = PictureIndex(job.sourceLeft, job.x0 + i, job.zoom);
        job.columns[i] = Limit(column, job.columnFirst, job.columnLast);
    }
    if (job.zoom == 1) {
        while (job.run < job.count && job.columns[job.run] == job.columns[0] + job.run)
            job.run++;
    }
    if (job.smooth) {
        // Full blocks lead: they step by n columns and end inside the picture.
        while (job.fullBlocks < job.count &&
               job.columns[job.fullBlocks] == job.columns[0] + job.fullBlocks * job.reduction &&
               job.columns[job.fullBlocks] + job.reduction <= source->width)
            job.fullBlocks++;
        // The sums cover the columns the rectangle reads, at most the picture's width.
        size_t sumBytes = job.reduction <= SMOOTH_32BIT_LIMIT ? 4 : 8;
        int64_t span = (int64_t)job.count * job.reduction;
        if (span > source->width) span = source->width;
        job.sums = MemoryAlloc(sumBytes * 3 * (size_t)span);
        if (job.sums == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
    }
    RenderRows(&job);

    // The rectangle of the view through color management into screen. Magnified, the last
    // block's copied rows may reach past y1; the update stops at the view's top.
    result = UpdateDisplayImage(target, job.x0, job.y0, job.x1,
                                job.zoom > 1 ? job.y1 + job.zoom - 1 : job.y1);

done:
    MemoryFree(job.sums);
    MemoryFree(job.columns);
    if (waitCursor) SetArrowCursor();
    return result;
}

ErrorCode RefreshView(ImageWindow *record)
{
    return RenderView(&record->picture.image, record, 0, 0, record->viewWidth - 1,
                      record->viewHeight - 1, 1);
}

// ---------------------------------------------------------------------------------------
// Painting.

static const uint32_t HISTOGRAM_BACKGROUND = 0xC0C0C0;
static const uint32_t HISTOGRAM_BARS = 0x000000;
static const int HISTOGRAM_MARGIN = 4; // pixels around the histogram's area

// The single color of a type 4 record over the whole client area.
static void PaintColor(DrawContext *context, const Rect *client, const Image *picture)
{
    const uint8_t *pixel = picture->rows != nullptr ? picture->rows[0] : nullptr;
    if (pixel == nullptr) return;
    PlatformFillRect(context, client,
                     (uint32_t)pixel[2] << 16 | (uint32_t)pixel[1] << 8 | pixel[0]);
}

// A histogram record: word 0 the largest count, words 1..256 the counts of the values, one
// vertical line a value, scaled so that the largest count fills the area's height.
static void PaintHistogram(DrawContext *context, const Rect *client, const Image *picture,
                           uint32_t border)
{
    const uint32_t *counts =
        picture->rows != nullptr ? (const uint32_t *)picture->rows[0] : nullptr;
    int w = client->right - 2 * HISTOGRAM_MARGIN;
    int h = client->bottom - 2 * HISTOGRAM_MARGIN;
    if (counts == nullptr) return;
    PlatformFillRect(context, client, border);
    if (w <= 0 || h <= 0) return;
    Rect area = {HISTOGRAM_MARGIN, HISTOGRAM_MARGIN, HISTOGRAM_MARGIN + w, HISTOGRAM_MARGIN + h};
    PlatformFillRect(context, &area, HISTOGRAM_BACKGROUND);
    uint32_t peak = counts[0] > 0 ? counts[0] : 1;
    for (int i = 0; i < 256; i++) {
        uint32_t count = counts[i + 1] < peak ? counts[i + 1] : peak;
        int x = (int)((int64_t)(w - 1) * i / 255) + HISTOGRAM_MARGIN;
        int top = h - 1 - (int)((int64_t)(h - 1) * count / peak) + HISTOGRAM_MARGIN;
        PlatformDrawLine(context, x, h - 1 + HISTOGRAM_MARGIN, x, top, HISTOGRAM_BARS);
    }
}

// Makes what a paint needs: the view of a window's own picture when it is missing or of
// another size, and the screen when color management dropped it. Returns 1 when the screen
// is there to be drawn. A failure leaves the view's place to the margin color; the paint does
// not show a message, since the message box would ask for the paint again.
static int PaintPrepare(ImageWindow *record, const Image *picture)
{
    if (record->viewWidth <= 0 || record->viewHeight <= 0) return 0;
    Image *view = &record->view;
    if (picture == &record->picture.image &&
        (view->rows == nullptr || view->width != record->viewWidth ||
         view->height != record->viewHeight)) {
        if (RefreshView(record) != ERROR_NONE) return 0;
    }
    if (view->rows == nullptr) return 0;
    const Image *screen = &record->screen;
    if (screen->rows == nullptr || screen->width != view->width || screen->height != view->height) {
        if (UpdateDisplayImage(record, 0, 0, view->width - 1, view->height - 1) != ERROR_NONE)
            return 0;
    }
    return screen->rows != nullptr && screen->width == view->width &&
           screen->height == view->height;
}

// The client area around the view in the border color, and the view's own place too when
// there is no screen to draw there.
static void PaintMargin(DrawContext *context, const Rect *client, const ImageWindow *record,
                        int shown, uint32_t border)
{
    int right = record->viewLeft + record->viewWidth;
    int bottom = record->viewTop + record->viewHeight;
    Rect parts[5] = {{0, 0, client->right, record->viewTop},
                     {0, bottom, client->right, client->bottom},
                     {0, record->viewTop, record->viewLeft, bottom},
                     {right, record->viewTop, client->right, bottom},
                     {record->viewLeft, record->viewTop, right, bottom}};
    for (int i = 0; i < (shown ? 4 : 5); i++)
        if (parts[i].right > parts[i].left && parts[i].bottom > parts[i].top)
            PlatformFillRect(context, &parts[i], border);
}

static int RectsMeet(const Rect *a, const Rect *b)
{
    return a->left < b->right && b->left < a->right && a->top < b->bottom && b->top < a->bottom;
}

// The screen, one storage chunk of rows at a time, so that the platform may send each band as
// it lies in memory; bands outside the update rectangle are skipped.
static void PaintScreen(DrawContext *context, const ImageWindow *record)
{
    const Image *screen = &record->screen;
    int all = UpdateRect.left == -1 && UpdateRect.top == -1 && UpdateRect.right == -1 &&
              UpdateRect.bottom == -1;
    int band = screen->rowsPerChunk > 0 ? screen->rowsPerChunk : screen->height;
    for (int first = 0; first < screen->height; first += band) {
        int last = (first + band < screen->height ? first + band : screen->height) - 1;
        // Rows count from the bottom; the band's top row is its last.
        int top = screen->height - 1 - last;
        Rect client = {record->viewLeft, record->viewTop + top, record->viewLeft + screen->width,
                       record->viewTop + screen->height - first};
        if (!all && !RectsMeet(&client, &UpdateRect)) continue;
        Rect source = {0, top, screen->width - 1, screen->height - 1 - first};
        PlatformDrawImage(context, screen, &source, record->viewLeft, record->viewTop + top);
    }
}

// The grid of gridDivisions parts each way, drawn by exclusive or so that it shows on any
// picture. Horizontal lines leave out the crossings, which the vertical lines have drawn: a
// second exclusive or would put the picture back there.
static void PaintGrid(DrawContext *context, WindowHandle window, ImageWindow *record)
{
    int width, height;
    int columns[256];
    int columnCount = 0;
    int n = record->gridDivisions;
    if (n < 2) return;
    DisplayPictureSize(window, record, &width, &height);
    int left = record->viewLeft;
    int right = record->viewLeft + record->viewWidth - 1;
    int top = record->viewTop;
    int bottom = record->viewTop + record->viewHeight - 1;
    // Two lines that fall on one client line at a reduced zoom are drawn once, since a
    // second exclusive or would take the first away.
    int lastX = -1;
    for (int i = 1; i < n; i++) {
        int x, y;
        PictureToClient(window, record, (int)((int64_t)width * i / n),
                        (int)((int64_t)height * i / n), &x, &y);
        if (x >= left && x <= right && x != lastX) {
            PlatformDrawXorLine(context, x, top, x, bottom);
            if (columnCount < 256) columns[columnCount++] = x;
            lastX = x;
        }
    }
    int lastY = -1;
    for (int i = 1; i < n; i++) {
        int x, y;
        PictureToClient(window, record, (int)((int64_t)width * i / n),
                        (int)((int64_t)height * i / n), &x, &y);
        if (y < top || y > bottom || y == lastY) continue;
        lastY = y;
        // The vertical lines' columns rise with i, so the segments between them go in order.
        int from = left;
        for (int k = 0; k <= columnCount; k++) {
            int to = k < columnCount ? columns[k] - 1 : right;
            if (to >= from) PlatformDrawXorLine(context, from, y, to, y);
            if (k < columnCount) from = columns[k] + 1;
        }
    }
}

void PaintImageWindow(DrawContext *context, WindowHandle window, ImageWindow *record,
                      const Image *picture)
{
    Rect client;
    uint32_t border = DisplayBorderColor();
    PlatformGetClientRect(window, &client);
    switch (picture->type) {
    case TYPE_COLOR: PaintColor(context, &client, picture); break;
    case TYPE_HISTOGRAM: PaintHistogram(context, &client, picture, border); break;
    default:
        if (!ImageIsPicture(picture->type)) break;
        // A value below 1 is taken as 1 from now on: no lines.
        if (record->gridDivisions < 1) record->gridDivisions = 1;
        int shown = PaintPrepare(record, picture);
        PaintMargin(context, &client, record, shown, border);
        RulerPaint(context, window, record);
        if (shown) PaintScreen(context, record);
        PaintGrid(context, window, record);
        break;
    }
    UpdateRect = {-1, -1, -1, -1};
}
