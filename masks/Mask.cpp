#include "masks/Mask.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cmath>
#include <cstring>

#include "core/Compute.h"
#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/WholeImage.h"

uint8_t ClassifyRow(const uint8_t *row, int width)
{
    const int BLOCK = 64; // bytes compared at once, between two looks for a difference
    if (width <= 0) return COVERAGE_PARTIAL;
    uint8_t first = row[0];
    if (first != 0 && first != 255) return COVERAGE_PARTIAL;
    int x = 1;
    for (; x + BLOCK <= width; x += BLOCK) {
        uint8_t differ = 0;
        for (int k = 0; k < BLOCK; k++)
            differ |= (uint8_t)(row[x + k] ^ first);
        if (differ != 0) return COVERAGE_PARTIAL;
    }
    for (; x < width; x++)
        if (row[x] != first) return COVERAGE_PARTIAL;
    return first == 0 ? COVERAGE_EMPTY : COVERAGE_FULL;
}

void MaskCoverage(const Image *mask, uint8_t *coverage)
{
    for (int y = 0; y < mask->height; y++)
        coverage[y] = ClassifyRow(mask->rows[y], mask->width);
}

void MaskFill(Image *mask, int value, uint8_t *coverage)
{
    for (int y = 0; y < mask->height; y++) {
        memset(mask->rows[y], value, (size_t)mask->width);
        coverage[y] = value == 0 ? COVERAGE_EMPTY : COVERAGE_FULL;
    }
}

void MaskInvert(Image *mask, uint8_t *coverage)
{
    for (int y = 0; y < mask->height; y++) {
        uint8_t *row = mask->rows[y];
        for (int x = 0; x < mask->width; x++)
            row[x] = (uint8_t)(255 - row[x]);
        if (coverage[y] != COVERAGE_PARTIAL) coverage[y] ^= COVERAGE_EMPTY ^ COVERAGE_FULL;
    }
}

// Opens progress over steps for work on a mask of width by height, or shows the wait cursor
// when the mask is small. Returns whether progress is shown.
static int MaskProgressOpen(int width, int height, int steps, const char *title)
{
    int showProgress = (int64_t)width * height >= PROGRESS_PIXELS;
    if (showProgress)
        ProgressOpen(0, steps - 1, title, 1);
    else
        SetWaitCursor();
    return showProgress;
}

static void MaskProgressClose(int showProgress)
{
    if (showProgress)
        ProgressClose();
    else
        SetArrowCursor();
}

static void MaskCopyRows(const Image *source, Image *destination)
{
    if (source == destination) return;
    for (int y = 0; y < source->height; y++)
        memcpy(destination->rows[y], source->rows[y], (size_t)source->width);
}

static ErrorCode MaskCheck(const Image *source, const Image *destination)
{
    if (source->type != TYPE_GRAY8 || destination->type != TYPE_GRAY8) return ERROR_ILLEGAL_TYPE;
    if (source->width != destination->width || source->height != destination->height)
        return ERROR_INTERNAL_1;
    return ERROR_NONE;
}

// --- Feather ---

// The stamp of side 2w + 1, row by row: a value falling from 255 at the centre to 0 one step
// beyond the edge, or a hard disc or square, stored as 255 - v when contracting.
static void FeatherStampBuild(int w, int falloff, int corners, int contract, uint8_t *stamp)
{
    int side = 2 * w + 1;
    for (int j = 0; j < side; j++) {
        for (int i = 0; i < side; i++) {
            double dx = (double)(i - w) / (w + 1);
            double dy = (double)(j - w) / (w + 1);
            double distance =
                corners == FEATHER_SQUARE ? fmax(fabs(dx), fabs(dy)) : sqrt(dx * dx + dy * dy);
            int value;
            if (falloff == FEATHER_GRADUAL)
                value = Clamp8(Round((1.0 - distance) * 255.0));
            else
                value = corners == FEATHER_SQUARE || distance < 1.0 ? 255 : 0;
            stamp[j * side + i] = (uint8_t)(contract ? 255 - value : value);
        }
    }
}

// 1 when the pixel at x of row y has the value edge on all four sides, so that it lies inside
// and stamps nothing. Rows beyond the top and bottom read as the pixel's own row; columns
// beyond the left and right count as equal.
static int FeatherInterior(const Image *source, int x, int y, int edge)
{
    const uint8_t *row = source->rows[y];
    const uint8_t *below = source->rows[y > 0 ? y - 1 : y];
    const uint8_t *above = source->rows[y + 1 < source->height ? y + 1 : y];
    if (below[x] != edge || above[x] != edge) return 0;
    if (x > 0 && row[x - 1] != edge) return 0;
    if (x + 1 < source->width && row[x + 1] != edge) return 0;
    return 1;
}

// Stamps around the pixel at (x, y): each cell of the stamp inside the picture offers
// candidate[stamp value], and the destination keeps the larger (expanding) or the smaller.
static void FeatherStamp(Image *destination, int x, int y, int w, const uint8_t *stamp,
                         const uint8_t *candidate, int contract)
{
    int side = 2 * w + 1;
    int i0 = x - w < 0 ? w - x : 0;
    int i1 = x + w >= destination->width ? w + destination->width - 1 - x : side - 1;
    for (int j = 0; j < side; j++) {
        int row = y + j - w;
        if (row < 0 || row >= destination->height) continue;
        // Cell i of the stamp falls on column x - w + i.
        uint8_t *out = destination->rows[row] + (x - w + i0);
        const uint8_t *cells = stamp + j * side + i0;
        int count = i1 - i0 + 1;
        if (contract) {
            for (int i = 0; i < count; i++) {
                uint8_t value = candidate[cells[i]];
                if (value < out[i]) out[i] = value;
            }
        } else {
            for (int i = 0; i < count; i++) {
                uint8_t value = candidate[cells[i]];
                if (value > out[i]) out[i] = value;
            }
        }
    }
}

ErrorCode MaskFeather(const Image *source, Image *destination, int width, int falloff, int corners,
                      uint8_t *coverage)
{
    ErrorCode result = MaskCheck(source, destination);
    int w = width < 0 ? -width : width;
    int contract = width < 0;
    int side = 2 * w + 1;
    uint8_t *stamp = nullptr;
    uint8_t candidate[256];
    int candidateFor = -1; // the pixel value candidate was made for
    int showProgress = 0;
    int progressOpen = 0;
    if (result != ERROR_NONE) goto done;
    if (w > FEATHER_WIDTH_MAX) {
        result = ERROR_INTERNAL_1;
        goto done;
    }
    if (w == 0) {
        MaskCopyRows(source, destination);
        goto done;
    }
    stamp = (uint8_t *)MemoryAlloc((size_t)side * side);
    if (stamp == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    FeatherStampBuild(w, falloff, corners, contract, stamp);
    for (int y = 0; y < destination->height; y++)
        memset(destination->rows[y], contract ? 255 : 0, (size_t)destination->width);

    showProgress = MaskProgressOpen(source->width, source->height, source->height, "Feather");
    progressOpen = 1;
    for (int y = 0; y < source->height; y++) {
        if (showProgress) {
            result = ProgressStep(y);
            if (result != ERROR_NONE) goto done;
        }
        if (coverage[y] == (contract ? COVERAGE_FULL : COVERAGE_EMPTY)) continue;
        const uint8_t *row = source->rows[y];
        for (int x = 0; x < source->width; x++) {
            int p = row[x];
            // Expanding, a pixel's amount is its value; contracting, what it lacks of 255.
            int amount = contract ? 255 - p : p;
            if (amount == 0) continue;
            if (amount == 255 && FeatherInterior(source, x, y, p)) {
                destination->rows[y][x] = (uint8_t)p;
                continue;
            }
            if (amount != candidateFor) {
                // Contracting, the stamp holds 255 - v, and the candidate is 255 - Lerp(v, a).
                for (int s = 0; s < 256; s++) {
                    if (amount == 255)
                        candidate[s] = (uint8_t)s;
                    else if (contract)
                        candidate[s] = (uint8_t)(255 - LerpTable[255 - s][amount]);
                    else
                        candidate[s] = LerpTable[s][amount];
                }
                candidateFor = amount;
            }
            FeatherStamp(destination, x, y, w, stamp, candidate, contract);
        }
    }
done:
    if (progressOpen) MaskProgressClose(showProgress);
    if (result == ERROR_NONE || result == ERROR_ABORTED) MaskCoverage(destination, coverage);
    MemoryFree(stamp);
    return result;
}

// --- Blur ---

// The quotient of a window's sum by its count, truncated: (sum + 0.5) times the count's
// reciprocal in single precision is exact for every sum of up to 801 bytes (checked for each
// count from 1 to 801), and unlike an integer division it runs many lanes at once.
static inline uint8_t BlurQuotient(uint32_t sum, float reciprocal)
{
    // Through a signed integer, which converts to float many lanes at once (a sum never
    // reaches 2^31).
    return (uint8_t)(int)(((float)(int32_t)sum + 0.5f) * reciprocal);
}

constexpr int BLUR_LANES = 16; // rows blurred along together

// The running box of half-width r along BLUR_LANES rows at once, each held down a lane: in
// and out hold n positions of BLUR_LANES bytes. Each output is the sum of the samples within
// r that lie on its row over how many there are; reciprocal[k] is 1 / k.
VECTOR_CLONES static void BlurLanes(const uint8_t *in, int n, int r, const float *reciprocal,
                                    uint8_t *out)
{
    uint32_t sums[BLUR_LANES] = {};
    for (int k = 0; k < r && k < n; k++)
        for (int l = 0; l < BLUR_LANES; l++)
            sums[l] += in[k * BLUR_LANES + l];
    for (int i = 0; i < n; i++) {
        if (i + r < n)
            for (int l = 0; l < BLUR_LANES; l++)
                sums[l] += in[(i + r) * BLUR_LANES + l];
        if (i - r - 1 >= 0)
            for (int l = 0; l < BLUR_LANES; l++)
                sums[l] -= in[(i - r - 1) * BLUR_LANES + l];
        int lo = i - r < 0 ? 0 : i - r;
        int hi = i + r >= n ? n - 1 : i + r;
        float inverse = reciprocal[hi - lo + 1];
        for (int l = 0; l < BLUR_LANES; l++)
            out[i * BLUR_LANES + l] = BlurQuotient(sums[l], inverse);
    }
}

// The quotient s / c truncated, for counts c up to BLUR_SHORT_COUNT and sums up to 255 c, as
// a multiplication in 16 bits: (s m) >> 16 >> k, with 2^k <= c < 2^(k+1) and m the ceiling
// of 2^(16+k) / c. The error m adds is below s / 2^(16+k) <= 255 c / 2^(16+k), which stays
// under the 1 / c that would change the quotient while 255 c^2 < 2^(16+k), true for every c
// below 128; a power of two takes k one less, so that m = 2^15 is exact and fits.
constexpr int BLUR_SHORT_COUNT = 127;
struct BlurDivide16 {
    uint16_t multiplier;
    uint16_t shift;
};

static void BlurDivide16Make(int count, BlurDivide16 *divide)
{
    int k = 0;
    while ((2 << k) <= count)
        k++;
    if ((1 << k) == count) k--;
    // count is at least 2, so that k >= 0.
    divide->multiplier = (uint16_t)(((1u << (16 + k)) + (uint32_t)count - 1) / (uint32_t)count);
    divide->shift = (uint16_t)k;
}

// BlurLanes for a radius whose windows hold at most BLUR_SHORT_COUNT samples: the sums fit 16
// bits, and the quotients come from divide, so that twice the lanes go through an
// instruction.
VECTOR_CLONES static void BlurLanesShort(const uint8_t *in, int n, int r,
                                         const BlurDivide16 *divide, uint8_t *out)
{
    uint16_t sums[BLUR_LANES] = {};
    for (int k = 0; k < r && k < n; k++)
        for (int l = 0; l < BLUR_LANES; l++)
            sums[l] = (uint16_t)(sums[l] + in[k * BLUR_LANES + l]);
    for (int i = 0; i < n; i++) {
        if (i + r < n)
            for (int l = 0; l < BLUR_LANES; l++)
                sums[l] = (uint16_t)(sums[l] + in[(i + r) * BLUR_LANES + l]);
        if (i - r - 1 >= 0)
            for (int l = 0; l < BLUR_LANES; l++)
                sums[l] = (uint16_t)(sums[l] - in[(i - r - 1) * BLUR_LANES + l]);
        int lo = i - r < 0 ? 0 : i - r;
        int hi = i + r >= n ? n - 1 : i + r;
        uint32_t m = divide[hi - lo + 1].multiplier;
        int k = divide[hi - lo + 1].shift;
        for (int l = 0; l < BLUR_LANES; l++)
            out[i * BLUR_LANES + l] = (uint8_t)((uint16_t)(((uint32_t)sums[l] * m) >> 16) >> k);
    }
}

#if defined(__SSE2__)
// Sixteen rows of 16 bytes at rows[0..15] + x turned into 16 positions of 16 lanes at out:
// four rounds that interleave register i with register i + 8, each doubling the run of bytes
// that lie in order. The rows go in in the order of their bit-reversed index, which is the
// order the rounds' interleaving leaves them in.
static void BlurTranspose16(const uint8_t *const *rows, int x, uint8_t *out)
{
    static const int BIT_REVERSED[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
    __m128i v[16];
    __m128i t[16];
#pragma GCC unroll 16
    for (int i = 0; i < 16; i++)
        v[i] = _mm_loadu_si128((const __m128i *)(rows[BIT_REVERSED[i]] + x));
#define BLUR_ROUND(from, to, low, high)                                                            \
    _Pragma("GCC unroll 8") for (int i = 0; i < 8; i++)                                            \
    {                                                                                              \
        to[2 * i] = low(from[i], from[i + 8]);                                                     \
        to[2 * i + 1] = high(from[i], from[i + 8]);                                                \
    }
    BLUR_ROUND(v, t, _mm_unpacklo_epi8, _mm_unpackhi_epi8)
    BLUR_ROUND(t, v, _mm_unpacklo_epi16, _mm_unpackhi_epi16)
    BLUR_ROUND(v, t, _mm_unpacklo_epi32, _mm_unpackhi_epi32)
    BLUR_ROUND(t, v, _mm_unpacklo_epi64, _mm_unpackhi_epi64)
#undef BLUR_ROUND
#pragma GCC unroll 16
    for (int i = 0; i < 16; i++)
        _mm_storeu_si128((__m128i *)(out + 16 * i), v[i]);
}
#endif

// Rows y .. y + lanes - 1 laid side by side into lanes (toLanes set), or taken back out.
static void BlurLanesMove(Image *image, int y, int lanes, uint8_t *buffer, int toLanes)
{
    int width = image->width;
    int x = 0;
#if defined(__SSE2__)
    if (lanes == BLUR_LANES) {
        uint8_t *rows[BLUR_LANES];
        for (int l = 0; l < BLUR_LANES; l++)
            rows[l] = image->rows[y + l];
        if (toLanes) {
            for (; x + 16 <= width; x += 16)
                BlurTranspose16(rows, x, buffer + (size_t)x * BLUR_LANES);
        } else {
            // The block of positions x .. x + 15 is itself 16 rows of 16 bytes.
            for (; x + 16 <= width; x += 16) {
                const uint8_t *block[BLUR_LANES];
                for (int i = 0; i < BLUR_LANES; i++)
                    block[i] = buffer + (size_t)(x + i) * BLUR_LANES;
                uint8_t turned[16 * BLUR_LANES];
                BlurTranspose16(block, 0, turned);
                for (int l = 0; l < BLUR_LANES; l++)
                    memcpy(rows[l] + x, turned + 16 * l, 16);
            }
        }
    }
#endif
    for (int l = 0; l < lanes; l++) {
        uint8_t *row = image->rows[y + l];
        for (int i = x; i < width; i++) {
            if (toLanes)
                buffer[i * BLUR_LANES + l] = row[i];
            else
                row[i] = buffer[i * BLUR_LANES + l];
        }
    }
}

// Both passes along the rows y .. y + lanes - 1 of source into destination: the rows are laid
// side by side in lanes, so that one running sum serves them all.
static void BlurRows(const Image *source, Image *destination, int y, int lanes, int r,
                     const float *reciprocal, const BlurDivide16 *divide, uint8_t *first,
                     uint8_t *second)
{
    BlurLanesMove((Image *)source, y, lanes, first, 1);
    if (divide != nullptr) {
        BlurLanesShort(first, source->width, r, divide, second);
        BlurLanesShort(second, source->width, r, divide, first);
    } else {
        BlurLanes(first, source->width, r, reciprocal, second);
        BlurLanes(second, source->width, r, reciprocal, first);
    }
    BlurLanesMove(destination, y, lanes, first, 0);
}

// One step down the columns of both vertical passes, fused into one sweep along the row so
// that each column's sums are touched once: row in (when not null) joins pass A's sums and
// is kept for its later removal; pass A takes out subA (when not null) and writes its row
// rowA (when not null), which joins pass B's sums; pass B takes out subB (when not null) and
// writes its finished row out (when not null).
struct BlurStep {
    const uint8_t *in;
    uint8_t *kept;
    const uint8_t *subA;
    uint8_t *rowA;
    float reciprocalA;
    const uint8_t *subB;
    uint8_t *out;
    float reciprocalB;
    // The same quotients in 16 bits, when the windows are short enough (divide not null).
    BlurDivide16 divideA;
    BlurDivide16 divideB;
};

// The step of the rows away from the ends, where every part takes place: one loop with no
// test inside, which the compiler runs many columns at a time. The rows come as parameters
// of their own, whose restrict the compiler trusts, so that it need not check each pair of
// them for overlap.
VECTOR_CLONES static void BlurStepWhole(const uint8_t *__restrict in, uint8_t *__restrict kept,
                                        const uint8_t *__restrict subA, uint8_t *__restrict rowA,
                                        const uint8_t *__restrict subB, uint8_t *__restrict out,
                                        uint32_t *__restrict sumsA, uint32_t *__restrict sumsB,
                                        float ra, float rb, int width)
{
    for (int x = 0; x < width; x++) {
        uint32_t v = in[x];
        kept[x] = (uint8_t)v;
        uint32_t a = sumsA[x] + v - subA[x];
        sumsA[x] = a;
        uint8_t qa = BlurQuotient(a, ra);
        rowA[x] = qa;
        uint32_t b = sumsB[x] + qa - subB[x];
        sumsB[x] = b;
        out[x] = BlurQuotient(b, rb);
    }
}

// BlurStepWhole for windows of at most BLUR_SHORT_COUNT rows: 16-bit sums and quotients.
VECTOR_CLONES static void BlurStepWholeShort(const uint8_t *__restrict in, uint8_t *__restrict kept,
                                             const uint8_t *__restrict subA,
                                             uint8_t *__restrict rowA,
                                             const uint8_t *__restrict subB,
                                             uint8_t *__restrict out, uint16_t *__restrict sumsA,
                                             uint16_t *__restrict sumsB, BlurDivide16 da,
                                             BlurDivide16 db, int width)
{
    uint32_t ma = da.multiplier, mb = db.multiplier;
    int ka = da.shift, kb = db.shift;
    for (int x = 0; x < width; x++) {
        uint8_t v = in[x];
        kept[x] = v;
        uint16_t a = (uint16_t)(sumsA[x] + v - subA[x]);
        sumsA[x] = a;
        uint8_t qa = (uint8_t)((uint16_t)(((uint32_t)a * ma) >> 16) >> ka);
        rowA[x] = qa;
        uint16_t b = (uint16_t)(sumsB[x] + qa - subB[x]);
        sumsB[x] = b;
        out[x] = (uint8_t)((uint16_t)(((uint32_t)b * mb) >> 16) >> kb);
    }
}

// The quotient of a window's sum by its count, by the float reciprocal for 32-bit sums and
// by the 16-bit multiplication for 16-bit ones.
static inline uint8_t BlurQuotientOf(uint32_t sum, float reciprocal, BlurDivide16 divide)
{
    (void)divide;
    return BlurQuotient(sum, reciprocal);
}

static inline uint8_t BlurQuotientOf(uint16_t sum, float reciprocal, BlurDivide16 divide)
{
    (void)reciprocal;
    return (uint8_t)((uint16_t)(((uint32_t)sum * divide.multiplier) >> 16) >> divide.shift);
}

// Any step, the ends included.
template <typename Sum>
static void BlurStepEnds(const BlurStep *step, Sum *sumsA, Sum *sumsB, int width)
{
    for (int x = 0; x < width; x++) {
        if (step->in != nullptr) {
            step->kept[x] = step->in[x];
            sumsA[x] = (Sum)(sumsA[x] + step->in[x]);
        }
        if (step->rowA != nullptr) {
            if (step->subA != nullptr) sumsA[x] = (Sum)(sumsA[x] - step->subA[x]);
            uint8_t qa = BlurQuotientOf(sumsA[x], step->reciprocalA, step->divideA);
            step->rowA[x] = qa;
            sumsB[x] = (Sum)(sumsB[x] + qa);
        }
        if (step->out != nullptr) {
            if (step->subB != nullptr) sumsB[x] = (Sum)(sumsB[x] - step->subB[x]);
            step->out[x] = BlurQuotientOf(sumsB[x], step->reciprocalB, step->divideB);
        }
    }
}

// A step: the ends by the loop that tests each part, the rows between by the one that does
// not; 16-bit sums (shortSums) for windows of at most BLUR_SHORT_COUNT rows.
static void BlurStepRow(const BlurStep *step, uint32_t *sumsA, uint32_t *sumsB, int width,
                        int shortSums)
{
    int whole = step->in != nullptr && step->subA != nullptr && step->rowA != nullptr &&
                step->subB != nullptr && step->out != nullptr;
    if (whole && shortSums)
        BlurStepWholeShort(step->in, step->kept, step->subA, step->rowA, step->subB, step->out,
                           (uint16_t *)sumsA, (uint16_t *)sumsB, step->divideA, step->divideB,
                           width);
    else if (whole)
        BlurStepWhole(step->in, step->kept, step->subA, step->rowA, step->subB, step->out, sumsA,
                      sumsB, step->reciprocalA, step->reciprocalB, width);
    else if (shortSums)
        BlurStepEnds(step, (uint16_t *)sumsA, (uint16_t *)sumsB, width);
    else
        BlurStepEnds(step, sumsA, sumsB, width);
}

// The number of rows of a window of half-width r around row y among height rows.
static int BlurCount(int y, int r, int height)
{
    int lo = y - r < 0 ? 0 : y - r;
    int hi = y + r >= height ? height - 1 : y + r;
    return hi - lo + 1;
}

ErrorCode MaskBlur(const Image *source, Image *destination, int radius, uint8_t *coverage)
{
    ErrorCode result = MaskCheck(source, destination);
    int width = source->width;
    int height = source->height;
    int r = radius;
    int ring = 2 * r + 2; // rows of each pass kept for the running sums down the columns
    float *reciprocal = nullptr;
    BlurDivide16 *divide = nullptr; // for windows of at most BLUR_SHORT_COUNT
    int shortColumns = 0;           // the column passes keep 16-bit sums
    uint8_t *lanes = nullptr;       // two buffers of BLUR_LANES rows side by side
    uint32_t *sumsA = nullptr;
    uint32_t *sumsB = nullptr;
    uint8_t *ringIn = nullptr;
    uint8_t *ringA = nullptr;
    size_t ringBytes = 0;
    int showProgress = 0;
    int progressOpen = 0;
    if (result != ERROR_NONE) goto done;
    if (r < 0 || r > BLUR_RADIUS_MAX) {
        result = ERROR_INTERNAL_1;
        goto done;
    }
    if (r == 0) {
        MaskCopyRows(source, destination);
        goto done;
    }
    if (ring > height + 1) ring = height + 1;
    reciprocal = (float *)MemoryAlloc(sizeof(float) * (2 * (size_t)r + 2));
    lanes = (uint8_t *)MemoryAllocZero((size_t)width * 2 * BLUR_LANES);
    sumsA = (uint32_t *)MemoryAllocZero(sizeof(uint32_t) * (size_t)width);
    sumsB = (uint32_t *)MemoryAllocZero(sizeof(uint32_t) * (size_t)width);
    if (!SizeMultiply((size_t)ring, (size_t)width, &ringBytes)) ringBytes = 0;
    if (ringBytes != 0) {
        ringIn = (uint8_t *)MemoryAlloc(ringBytes);
        ringA = (uint8_t *)MemoryAlloc(ringBytes);
    }
    if (reciprocal == nullptr || lanes == nullptr || sumsA == nullptr || sumsB == nullptr ||
        ringIn == nullptr || ringA == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    reciprocal[0] = 0.0f;
    for (int count = 1; count <= 2 * r + 1; count++)
        reciprocal[count] = 1.0f / (float)count;
    // A row or column of one pixel has windows of one, which the 16-bit quotient does not
    // serve.
    if (2 * r + 1 <= BLUR_SHORT_COUNT && (width > 1 || height > 1)) {
        divide = (BlurDivide16 *)MemoryAllocZero(sizeof(BlurDivide16) * (2 * (size_t)r + 2));
        if (divide == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
        for (int count = 2; count <= 2 * r + 1; count++)
            BlurDivide16Make(count, &divide[count]);
    }

    shortColumns = divide != nullptr && height > 1;
    showProgress = MaskProgressOpen(width, height, height + width, "Blur");
    progressOpen = 1;
    // Along the rows, twice, from source into destination, BLUR_LANES rows at a time.
    for (int y = 0; y < height; y += BLUR_LANES) {
        if (showProgress) {
            result = ProgressStep(y);
            if (result != ERROR_NONE) goto done;
        }
        int count = height - y < BLUR_LANES ? height - y : BLUR_LANES;
        BlurRows(source, destination, y, count, r, reciprocal, width > 1 ? divide : nullptr, lanes,
                 lanes + (size_t)width * BLUR_LANES);
    }
    // Down the columns, twice, a row at a time so that memory is read in order: pass A's
    // column sums take row t in and row t - 2r - 1 out, giving pass A's row t - r; pass B's
    // sums do the same over pass A's rows, giving the finished row t - 2r. A destination row
    // is written only after pass A has read it, and pass A's later subtractions read its
    // own copy in ringIn.
    for (int t = 0; t < height + 2 * r; t++) {
        BlurStep step = {};
        if (t < height) {
            step.in = destination->rows[t];
            step.kept = ringIn + (size_t)(t % ring) * width;
        }
        int a = t - r;
        if (a >= 0 && a < height) {
            if (a - r - 1 >= 0) step.subA = ringIn + (size_t)((a - r - 1) % ring) * width;
            step.rowA = ringA + (size_t)(a % ring) * width;
            step.reciprocalA = reciprocal[BlurCount(a, r, height)];
            if (shortColumns) step.divideA = divide[BlurCount(a, r, height)];
        }
        int b = t - 2 * r;
        if (b >= 0) {
            if (b - r - 1 >= 0) step.subB = ringA + (size_t)((b - r - 1) % ring) * width;
            step.out = destination->rows[b];
            step.reciprocalB = reciprocal[BlurCount(b, r, height)];
            if (shortColumns) step.divideB = divide[BlurCount(b, r, height)];
        }
        BlurStepRow(&step, sumsA, sumsB, width, shortColumns);
        if (b >= 0 && showProgress) {
            result = ProgressStep(height + (int)((int64_t)(b + 1) * width / height) - 1);
            if (result != ERROR_NONE) goto done;
        }
    }
done:
    if (progressOpen) MaskProgressClose(showProgress);
    if (result == ERROR_NONE || result == ERROR_ABORTED) MaskCoverage(destination, coverage);
    MemoryFree(reciprocal);
    MemoryFree(divide);
    MemoryFree(lanes);
    MemoryFree(sumsA);
    MemoryFree(sumsB);
    MemoryFree(ringIn);
    MemoryFree(ringA);
    return result;
}

// --- Combine ---

static void CombineRow(uint8_t *row, const uint8_t *with, int gray, int width, int mode)
{
    for (int x = 0; x < width; x++) {
        int m = row[x];
        int s = with != nullptr ? with[x] : gray;
        switch (mode) {
        case COMBINE_ADD: row[x] = (uint8_t)(m > s ? m : s); break;
        case COMBINE_SUBTRACT: row[x] = (uint8_t)(m > s ? m - s : 0); break;
        case COMBINE_OVERLAP: row[x] = (uint8_t)(m < s ? m : s); break;
        default: row[x] = (uint8_t)(m ^ s); break;
        }
    }
}

ErrorCode MaskCombine(Image *mask, const Image *with, int gray, int mode, uint8_t *coverage)
{
    ErrorCode result = MaskCheck(mask, with != nullptr ? with : mask);
    int showProgress = 0;
    int progressOpen = 0;
    if (result != ERROR_NONE) goto done;
    if (mode < 0 || mode >= COMBINE_MODES || gray < 0 || gray > 255) {
        result = ERROR_INTERNAL_1;
        goto done;
    }
    showProgress = MaskProgressOpen(mask->width, mask->height, mask->height, "Combine");
    progressOpen = 1;
    for (int y = 0; y < mask->height; y++) {
        // Add cannot raise a full row, Subtract and Overlap cannot lower an empty one.
        if (mode == COMBINE_ADD && coverage[y] == COVERAGE_FULL) continue;
        if ((mode == COMBINE_SUBTRACT || mode == COMBINE_OVERLAP) && coverage[y] == COVERAGE_EMPTY)
            continue;
        if (showProgress) {
            result = ProgressStep(y);
            if (result != ERROR_NONE) goto done;
        }
        CombineRow(mask->rows[y], with != nullptr ? with->rows[y] : nullptr, gray, mask->width,
                   mode);
        coverage[y] = ClassifyRow(mask->rows[y], mask->width);
    }
done:
    if (progressOpen) MaskProgressClose(showProgress);
    return result;
}

// --- Area ---

void MaskAreaText(const Image *mask, char *text, int capacity)
{
    double area = MaskArea(mask);
    double pixels = (double)mask->width * mask->height;
    FormatString(text, capacity, "%2f pixels\\n%2f percent coverage", area,
                 pixels > 0.0 ? area * 100.0 / pixels : 0.0);
}
