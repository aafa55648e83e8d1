// Advanced Sharpen: kernels, the three stages, the histograms of their statistics, the
// compute function and the ".as" file.
//
// Noise Reduction and Sharpen are the same loop: a kernel of integer weights whose taps count
// by how far each neighbour's value lies from the centre's, divided by the weights that
// counted. What a tap contributes at each difference is worked out once a run into a table,
// so the per-pixel work has no floating point; where the thresholds make a hard cut (low
// equal to high) a tap either counts fully or not at all, and a whole row of samples goes
// through each tap in turn, which the compiler runs many samples at a time.
#include "transforms/AdvancedSharpen.h"

#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/RowReader.h"
#include "core/SettingsText.h"

static const char *const STAGE_TITLES[SHARPEN_STAGE_COUNT] = {"Noise Reduction", "Speck Removal",
                                                              "Sharpen"};
static const int CHROMA_SQUEEZE = 3547; // cos 30 degrees in 4096ths
static const int CHROMA_STRETCH = 4730; // its inverse in 4096ths
static const int ROW_CHUNK = 2048;      // samples of a row whose sums stay in the cache

// ---------------------------------------------------------------------------------------
// Settings and kernels.

void AdvancedSharpenReset(AdvancedSharpenParams *params)
{
    params->view = SHARPEN_VIEW_AFTER;
    params->histExpand = 0;
    params->probeValue = params->probeLow = params->probeHigh = -1;
    params->removeLight = 0;
    params->removeDark = 0;
    params->speckRadius = 0;
    params->speckDiffThreshold = 255;
    params->blurFlags = 0;
    params->sharpenFlags = 0;
    params->stale = 1;
    params->speckThreshold = 255;
    params->blurThresholdLow = 255;
    params->blurThresholdHigh = 255;
    params->sharpenThresholdLow = 0;
    params->sharpenThresholdHigh = 0;
    params->blurAmount = 0.0;
    params->sharpenAmount = 0.0;
    params->blurRadius = 1.0;
    params->sharpenRadius = 1.0;
    BuildAdvancedSharpenKernels(params);
}

void AdvancedSharpenParamsDefault(AdvancedSharpenParams *params)
{
    *params = {};
    AmountSettingDefault(&params->amount, "Amount: ", 0);
    params->stage = SHARPEN_STAGE_NOISE;
    AdvancedSharpenReset(params);
}

int AdvancedSharpenHalfWidth(double radius)
{
    int k = (int)(radius + 0.9999999);
    return k < 0 ? 0 : (k > SHARPEN_RADIUS_MAX ? SHARPEN_RADIUS_MAX : k);
}

void BuildAdvancedSharpenKernels(AdvancedSharpenParams *params)
{
    memset(params->noiseKernel, 0, sizeof params->noiseKernel);
    memset(params->sharpenKernel, 0, sizeof params->sharpenKernel);

    int k = AdvancedSharpenHalfWidth(params->blurRadius);
    int side = 2 * k + 1;
    double r = params->blurRadius, a = params->blurAmount;
    for (int dy = -k; dy <= k; dy++)
        for (int dx = -k; dx <= k; dx++) {
            int *weight = &params->noiseKernel[(dy + k) * side + dx + k];
            if (dx == 0 && dy == 0)
                *weight = a == 0.0 ? 1 : 255;
            else if (a != 0.0)
                *weight =
                    Round(255.0 * exp(-((dx / r) * (dx / r) + (dy / r) * (dy / r)) / (a * a)));
        }

    k = AdvancedSharpenHalfWidth(params->sharpenRadius);
    side = 2 * k + 1;
    r = params->sharpenRadius;
    a = params->sharpenAmount;
    int *center = &params->sharpenKernel[k * side + k];
    if (a == 0.0 || r == 0.0) {
        *center = 1;
        params->kernelSum = 1;
        return;
    }
    // The same amount sets the Gaussian's width and its gain: the slider means "more".
    int negative = 0;
    for (int dy = -k; dy <= k; dy++)
        for (int dx = -k; dx <= k; dx++) {
            if (dx == 0 && dy == 0) continue;
            int weight = -Round((a * 255.0 / r) *
                                exp(-((dx / r) * (dx / r) + (dy / r) * (dy / r)) / (a * a)));
            params->sharpenKernel[(dy + k) * side + dx + k] = weight;
            negative += weight;
        }
    *center = 255 - negative;
    params->kernelSum = 255;
}

// ---------------------------------------------------------------------------------------
// Stage images and the sampled part of a run.

const Image *AdvancedSharpenStageOutput(const AdvancedSharpenParams *params, int stage)
{
    static const size_t RESULTS[SHARPEN_STAGE_COUNT] = {
        offsetof(AdvancedSharpenParams, noiseResult), offsetof(AdvancedSharpenParams, speckResult),
        offsetof(AdvancedSharpenParams, sharpenResult)};
    if (stage < 0) return params->source;
    if (params->passed[stage]) return AdvancedSharpenStageOutput(params, stage - 1);
    return (const Image *)((const uint8_t *)params + RESULTS[stage]);
}

const Image *AdvancedSharpenStageInput(const AdvancedSharpenParams *params, int stage)
{
    return AdvancedSharpenStageOutput(params, stage - 1);
}

static Image *StageResult(AdvancedSharpenParams *params, int stage)
{
    return stage == SHARPEN_STAGE_NOISE
               ? &params->noiseResult
               : (stage == SHARPEN_STAGE_SPECK ? &params->speckResult : &params->sharpenResult);
}

void AdvancedSharpenFreeStages(AdvancedSharpenParams *params)
{
    ImageFree(&params->noiseResult);
    ImageFree(&params->speckResult);
    ImageFree(&params->sharpenResult);
    params->doneWidth = 0;
    params->doneWhole = 0;
}

static int SharpenTakes(int type)
{
    return type == TYPE_GRAY8 || type == TYPE_COLOR24 || type == TYPE_GRAY16 ||
           type == TYPE_COLOR48;
}

static int TypeChannels(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48 ? 3 : 1;
}

static int TypeWide(int type)
{
    return type == TYPE_GRAY16 || type == TYPE_COLOR48;
}

// The sampled pixels of one stage run: columns x0 + i step for i < width, rows y0 + j step
// for j < height, rows past the top taking the top row as the row reader does.
struct StagePart {
    int32_t x0, y0, width, height, step;
};

static int PartRow(const StagePart *part, const Image *image, int j)
{
    int64_t y = part->y0 + (int64_t)j * part->step;
    return y < image->height ? (int)y : image->height - 1;
}

// Whether the current stage must run over part: it is stale, or it last computed another
// part that does not hold this one.
static int StageNeeded(const AdvancedSharpenParams *params, const StagePart *part)
{
    if (params->stale || !params->keepStages) return 1;
    if (params->doneWhole) return 0;
    return !(params->doneX == part->x0 && params->doneY == part->y0 &&
             params->doneWidth == part->width && params->doneHeight == part->height &&
             params->doneStep == part->step);
}

static void StageDone(AdvancedSharpenParams *params, const StagePart *part, int whole)
{
    params->stale = 0;
    params->doneX = part->x0;
    params->doneY = part->y0;
    params->doneWidth = part->width;
    params->doneHeight = part->height;
    params->doneStep = part->step;
    params->doneWhole = whole;
}

// Gives a stage's result the input's type, size and resolution.
static ErrorCode StagePrepare(const Image *input, Image *result)
{
    if (result->type == input->type && result->width == input->width &&
        result->height == input->height) {
        result->resolution = input->resolution;
        return ERROR_NONE;
    }
    return ImageAlloc(result, input->type, input->width, input->height, input->resolution);
}

// Copies the sampled pixels of part from input to result.
static void StageCopy(const Image *input, Image *result, const StagePart *part)
{
    int pixelBytes = TypeChannels(input->type) * (TypeWide(input->type) ? 2 : 1);
    for (int j = 0; j < part->height; j++) {
        int y = PartRow(part, input, j);
        const uint8_t *from = input->rows[y];
        uint8_t *to = result->rows[y];
        if (part->step == 1) {
            memcpy(to + (size_t)part->x0 * pixelBytes, from + (size_t)part->x0 * pixelBytes,
                   (size_t)part->width * pixelBytes);
            continue;
        }
        for (int i = 0; i < part->width; i++) {
            size_t at = (size_t)(part->x0 + i * part->step) * pixelBytes;
            memcpy(to + at, from + at, (size_t)pixelBytes);
        }
    }
}

// Progress of a stage over rows, or the wait cursor for a small one.
static int StageProgressOpen(const StagePart *part, const char *title, int canAbort)
{
    if ((int64_t)part->width * part->height >= PROGRESS_PIXELS) {
        ProgressOpen(0, part->height - 1, title, canAbort);
        return 1;
    }
    SetWaitCursor();
    return 0;
}

static void StageProgressClose(int shown)
{
    if (shown)
        ProgressClose();
    else
        SetArrowCursor();
}

// ---------------------------------------------------------------------------------------
// The kernel filter of Noise Reduction and Sharpen.

// A kernel as a list of taps with their weight tables.
struct KernelRun {
    int32_t k;                       // half-width
    int32_t count;                   // taps in the list
    int32_t dy[SHARPEN_KERNEL_TAPS]; // -k..k
    int32_t dx[SHARPEN_KERNEL_TAPS];
    int32_t weight[SHARPEN_KERNEL_TAPS];
    int32_t *weightAt;    // count x 256: what a tap adds at each difference
    int32_t center;       // index of the centre tap in the list, or -1
    int32_t centerAlways; // 1: the centre counts fully, whatever its difference
    int32_t hardCut;      // 1: a tap counts fully or not at all
    int32_t above;        // hard cut: 1 counts a difference above limit, 0 below
    int32_t limit;        // hard cut: the threshold on the 0..255 scale
    int32_t limit16;      // the same limit for a difference of 16-bit samples
    int32_t wide64;       // 1 when the sums of 16-bit samples need 64 bits
    int32_t rampLow;      // Noise Reduction's thresholds
    int32_t rampHigh;
    uint32_t rampScale; // ceil(255 x 65536 / (high - low)) for a ramp
};

// The largest 16-bit difference that Depth16To8 takes to at most level.
static int Wide16Limit(int level)
{
    int x = 0;
    while (x < 65535 && Depth16To8[x + 1] <= level)
        x++;
    return x;
}

// Builds the tap list of kernel (half-width k) and each tap's table: noise (sharpen 0) or
// sharpen rules with thresholds lo and hi. ERROR_NO_MEMORY.
static ErrorCode KernelRunOpen(KernelRun *run, const int32_t *kernel, int k, int sharpen, int lo,
                               int hi)
{
    int side = 2 * k + 1;
    int64_t absolute = 0;
    run->k = k;
    run->count = 0;
    run->center = -1;
    run->centerAlways = sharpen;
    run->hardCut = lo == hi;
    run->above = sharpen;
    run->limit = sharpen ? hi : lo - 1; // counts: d > limit (sharpen), d <= limit (noise)
    // A difference d of 16-bit samples goes through Depth16To8 before it meets a threshold,
    // which is monotonic: d8 > hi is d > the largest d with d8 <= hi, and d8 < lo is d <=
    // the largest d with d8 <= lo - 1.
    run->limit16 = sharpen ? Wide16Limit(hi) : (lo == 0 ? -1 : Wide16Limit(lo - 1));
    for (int dy = -k; dy <= k; dy++)
        for (int dx = -k; dx <= k; dx++) {
            int weight = kernel[(dy + k) * side + dx + k];
            if (weight == 0) continue; // a tap of no weight changes neither sum
            if (dx == 0 && dy == 0) run->center = run->count;
            run->dy[run->count] = dy;
            run->dx[run->count] = dx;
            run->weight[run->count] = weight;
            run->count++;
            absolute += weight < 0 ? -weight : weight;
        }
    run->wide64 = absolute * 65535 > INT32_MAX;
    run->rampLow = lo;
    run->rampHigh = hi;
    run->rampScale = hi > lo ? (uint32_t)((255 * 65536 + (hi - lo) - 1) / (hi - lo)) : 0;
    run->weightAt = (int32_t *)MemoryAlloc(sizeof(int32_t) * 256 * (size_t)run->count + 1);
    if (run->weightAt == nullptr) return ERROR_NO_MEMORY;
    for (int t = 0; t < run->count; t++) {
        int w = run->weight[t];
        int32_t *at = run->weightAt + 256 * t;
        for (int d = 0; d < 256; d++) {
            if (sharpen) {
                // Only neighbours that differ strongly take part, ramping in above low.
                if (t == run->center || d > hi)
                    at[d] = w;
                else if (d > lo && lo != hi)
                    at[d] = ((d - lo) * w) / (hi - lo);
                else
                    at[d] = 0;
            } else {
                // Neighbours close in value count fully, ramping out towards high.
                if (d < lo) {
                    at[d] = w;
                } else if (d < hi && lo != hi) {
                    int ramp = 255 - ((d - lo) * 255) / (hi - lo);
                    at[d] = (ramp * w) / 255;
                } else {
                    at[d] = 0;
                }
            }
        }
    }
    return ERROR_NONE;
}

static void KernelRunClose(KernelRun *run)
{
    MemoryRelease(&run->weightAt);
}

// The difference of two samples on the 0..255 scale.
template <typename T> static inline int SampleDifference(int a, int b)
{
    int d = a > b ? a - b : b - a;
    if (sizeof(T) == 2) return Depth16To8[d];
    return d;
}

template <typename T> static inline int SampleClamp(int64_t value)
{
    int64_t top = sizeof(T) == 2 ? 65535 : 255;
    return (int)(value < 0 ? 0 : (value > top ? top : value));
}

// The band of rows around row y, clamped at both edges.
template <typename T> static void BandRows(const Image *image, int y, int k, const T **band)
{
    for (int j = -k; j <= k; j++) {
        int row = y + j;
        row = row < 0 ? 0 : (row > image->height - 1 ? image->height - 1 : row);
        band[j + k] = (const T *)image->rows[row];
    }
}

// One sample (channel c of the pixel at column x) by the tap tables, columns clamped.
template <typename T, typename Acc>
static int KernelSample(const KernelRun *run, const T *const *band, int x, int c, int channels,
                        int lastColumn)
{
    int center = band[run->k][x * channels + c];
    Acc sum = 0, total = 0;
    for (int t = 0; t < run->count; t++) {
        int column = x + run->dx[t];
        column = column < 0 ? 0 : (column > lastColumn ? lastColumn : column);
        int v = band[run->k + run->dy[t]][column * channels + c];
        int w = run->weightAt[256 * t + SampleDifference<T>(v, center)];
        sum += (Acc)w * v;
        total += w;
    }
    if (total < 1) return center;
    return SampleClamp<T>((int64_t)(sum / total));
}

// Sharpen on the value of a color pixel (Max3 of its channels), then each channel scaled
// to the new value.
template <typename T, typename Acc>
static void KernelValue(const KernelRun *run, const T *const *band, int x, int lastColumn, T *out)
{
    const T *p = band[run->k] + 3 * x;
    int old = Max3(p[0], p[1], p[2]);
    Acc sum = 0, total = 0;
    for (int t = 0; t < run->count; t++) {
        int column = x + run->dx[t];
        column = column < 0 ? 0 : (column > lastColumn ? lastColumn : column);
        const T *q = band[run->k + run->dy[t]] + 3 * column;
        int v = Max3(q[0], q[1], q[2]);
        int w = run->weightAt[256 * t + SampleDifference<T>(v, old)];
        sum += (Acc)w * v;
        total += w;
    }
    int value = total < 1 ? old : SampleClamp<T>((int64_t)(sum / total));
    for (int c = 0; c < 3; c++) {
        if (value == old)
            out[c] = p[c];
        else if (value == 0 || old == 0)
            out[c] = (T)value;
        else
            out[c] = (T)SampleClamp<T>((uint32_t)p[c] * (uint32_t)value / (uint32_t)old);
    }
}

// A color's place on the chroma plane, scaled to a largest channel of full: a = the squeezed
// g' - b', b = r' - (g' + b') / 2; 0, 0 for black. r, g, b as people name them.
static void ChromaSplit(int r, int g, int b, int full, int *a, int *b2)
{
    int v = Max3(r, g, b);
    if (v == 0) {
        *a = *b2 = 0;
        return;
    }
    int64_t rs = (int64_t)r * full / v, gs = (int64_t)g * full / v, bs = (int64_t)b * full / v;
    *a = (int)((gs - bs) * CHROMA_SQUEEZE / 4096);
    *b2 = (int)(rs - (gs + bs) / 2);
}

// The color of largest channel full at a squeezed chroma place, each channel then scaled to
// value v. rgb as people name them.
static void ChromaColor(int a, int b, int v, int full, int *rgb)
{
    int x = (a * CHROMA_STRETCH + 2048) >> 12;
    int h = x / 2;
    int r, g, bl;
    if (x < 0 && b < -h) {
        bl = full;
        g = x + full;
        r = b + full + h;
    } else if (x >= 0 && b < h) {
        bl = full - x;
        g = full;
        r = b + full - h;
    } else {
        bl = full - b - h;
        g = full - b + h;
        r = full;
    }
    int channels[3] = {r, g, bl};
    for (int c = 0; c < 3; c++) {
        int value = channels[c] < 0 ? 0 : (channels[c] > full ? full : channels[c]);
        rgb[c] = (int)((int64_t)value * v / full);
    }
}

// The octagonal distance: the larger absolute value and half the smaller.
static inline int OctagonDistance(int x, int y)
{
    x = x < 0 ? -x : x;
    y = y < 0 ? -y : y;
    return x > y ? x + y / 2 : y + x / 2;
}

// Noise Reduction on the chrominance only: neighbours near in chroma are averaged, the
// centre keeps its value. Between the thresholds a neighbour counts in full.
template <typename T>
static void KernelChroma(const KernelRun *run, const int32_t *kernelWeights, int lo, int hi,
                         const T *const *band, int x, int lastColumn, T *out)
{
    const int full = sizeof(T) == 2 ? 65535 : 255;
    const T *p = band[run->k] + 3 * x;
    int v = Max3(p[0], p[1], p[2]);
    int a, b;
    ChromaSplit(p[2], p[1], p[0], full, &a, &b);
    int64_t sumA = 0, sumB = 0, total = 0;
    for (int t = 0; t < run->count; t++) {
        int column = x + run->dx[t];
        column = column < 0 ? 0 : (column > lastColumn ? lastColumn : column);
        const T *q = band[run->k + run->dy[t]] + 3 * column;
        int na, nb;
        ChromaSplit(q[2], q[1], q[0], full, &na, &nb);
        int d = OctagonDistance(na - a, nb - b);
        if (sizeof(T) == 2) d = Depth16To8[d > 65535 ? 65535 : d];
        if (d < lo || (d < hi && lo != hi)) {
            int w = kernelWeights[t];
            sumA += (int64_t)w * na;
            sumB += (int64_t)w * nb;
            total += w;
        }
    }
    if (total >= 1) {
        a = (int)(sumA / total);
        b = (int)(sumB / total);
    }
    int rgb[3] = {0, 0, 0};
    if (v != 0) ChromaColor(a, b, v, full, rgb);
    out[0] = (T)rgb[2];
    out[1] = (T)rgb[1];
    out[2] = (T)rgb[0];
}

// How the fast row loop weighs a tap: a hard cut that counts differences up to the limit
// (Noise Reduction) or above it (Sharpen); Noise Reduction's ramp worked out in integers;
// or the tap's table of weights by difference (Sharpen's ramp at 8 bits).
enum : int32_t { TAPS_BELOW = 0, TAPS_ABOVE = 1, TAPS_TABLE = 2, TAPS_RAMP = 3 };

// Depth16To8 of a difference of 16-bit samples, worked out rather than looked up so that a
// row of them goes at once: (x 255 + 32767) / 65535, with t / 65535 taken as
// (t + (t >> 16) + 1) >> 16, which holds for every t this gives (checked for all 65536 x).
static inline uint32_t Narrow16(uint32_t x)
{
    uint32_t t = x * 255 + 32767;
    return (t + (t >> 16) + 1) >> 16;
}

// The interior of a row at full resolution: samples from first to last (exclusive) of the
// flat row, every tap run over a chunk of them in turn, so that the compiler runs many
// samples at once. Exactly the sums of KernelSample, tap for tap.
template <typename T, typename Acc, int MODE>
VECTOR_CLONES static void KernelRowFast(const KernelRun *run, const void *const *rows, int channels,
                                        int first, int last, void *row)
{
    const T *const *band = (const T *const *)rows;
    T *out = (T *)row;
    Acc sums[ROW_CHUNK];
    Acc totals[ROW_CHUNK];
    const T *centers = band[run->k];
    const int limit = sizeof(T) == 2 ? run->limit16 : run->limit;
    for (int start = first; start < last; start += ROW_CHUNK) {
        int n = last - start < ROW_CHUNK ? last - start : ROW_CHUNK;
        const T *c = centers + start;
        for (int s = 0; s < n; s++) {
            sums[s] = 0;
            totals[s] = 0;
        }
        for (int t = 0; t < run->count; t++) {
            const Acc w = run->weight[t];
            const T *v = band[run->k + run->dy[t]] + start + run->dx[t] * channels;
            if (t == run->center && run->centerAlways) {
                for (int s = 0; s < n; s++) {
                    sums[s] += w * (Acc)v[s];
                    totals[s] += w;
                }
                continue;
            }
            if (MODE == TAPS_RAMP) {
                // 255 below low, falling to 0 at high: 255 - (d - low) 255 / (high - low),
                // the division as a multiplication by rampScale and a shift by 16, exact for
                // every d and every span of 1..255; then (ramp w) / 255, w 0..255, as
                // (x + 1 + (x >> 8)) >> 8, exact below 65535.
                const uint32_t lo = (uint32_t)run->rampLow, hi = (uint32_t)run->rampHigh;
                const uint32_t scale = run->rampScale, weight = (uint32_t)run->weight[t];
                Acc *__restrict sum = sums;
                Acc *__restrict total = totals;
                for (int s = 0; s < n; s++) {
                    int d = (int)v[s] - (int)c[s];
                    uint32_t d8 = (uint32_t)(d < 0 ? -d : d);
                    if (sizeof(T) == 2) d8 = Narrow16(d8);
                    uint32_t ramp =
                        d8 < lo ? 255 : (d8 < hi ? 255 - (((d8 - lo) * scale) >> 16) : 0);
                    uint32_t x = ramp * weight;
                    Acc taken = (Acc)((x + 1 + (x >> 8)) >> 8);
                    sum[s] += taken * (Acc)v[s];
                    total[s] += taken;
                }
            } else if (MODE == TAPS_TABLE) {
                const int32_t *__restrict at = run->weightAt + 256 * t;
                Acc *__restrict sum = sums;
                Acc *__restrict total = totals;
                for (int s = 0; s < n; s++) {
                    int d = (int)v[s] - (int)c[s];
                    Acc taken = at[d < 0 ? -d : d];
                    sum[s] += taken * (Acc)v[s];
                    total[s] += taken;
                }
            } else {
                for (int s = 0; s < n; s++) {
                    int d = (int)v[s] - (int)c[s];
                    d = d < 0 ? -d : d;
                    Acc taken = (MODE == TAPS_ABOVE ? d > limit : d <= limit) ? w : 0;
                    sums[s] += taken * (Acc)v[s];
                    totals[s] += taken;
                }
            }
        }
        for (int s = 0; s < n; s++)
            out[start + s] =
                totals[s] < 1 ? c[s] : (T)SampleClamp<T>((int64_t)(sums[s] / totals[s]));
    }
}

typedef void (*KernelRowFunction)(const KernelRun *run, const void *const *band, int channels,
                                  int first, int last, void *out);

// The row loop for run at this sample type, or null where only the pixel loop serves.
template <typename T, typename Acc> static KernelRowFunction KernelRowChoose(const KernelRun *run)
{
    if (run->hardCut && run->above) return KernelRowFast<T, Acc, TAPS_ABOVE>;
    if (run->hardCut) return KernelRowFast<T, Acc, TAPS_BELOW>;
    if (!run->above) return KernelRowFast<T, Acc, TAPS_RAMP>;
    if (sizeof(T) == 1) return KernelRowFast<T, Acc, TAPS_TABLE>;
    return nullptr;
}

// One row of a kernel stage: the sampled pixels of row y of input into result.
template <typename T, typename Acc>
static void KernelRow(const AdvancedSharpenParams *params, const KernelRun *run, int chroma,
                      int value, const Image *input, Image *result, const StagePart *part, int y)
{
    const T *band[SHARPEN_KERNEL_SIDE];
    int channels = TypeChannels(input->type);
    int lastColumn = input->width - 1;
    BandRows<T>(input, y, run->k, band);
    T *out = (T *)result->rows[y];
    int fastFirst = 0, fastLast = 0; // columns done by the row loop, exclusive
    KernelRowFunction fast = KernelRowChoose<T, Acc>(run);
    if (part->step == 1 && fast != nullptr && !chroma && !value) {
        fastFirst = part->x0 > run->k ? part->x0 : run->k;
        fastLast = part->x0 + part->width < input->width - run->k ? part->x0 + part->width
                                                                  : input->width - run->k;
        if (fastLast > fastFirst)
            fast(run, (const void *const *)band, channels, fastFirst * channels,
                 fastLast * channels, (void *)out);
        else
            fastFirst = fastLast = 0;
    }
    for (int i = 0; i < part->width; i++) {
        int x = part->x0 + i * part->step;
        if (x >= fastFirst && x < fastLast) {
            i += fastLast - x - 1; // the row loop did these
            continue;
        }
        if (chroma)
            KernelChroma<T>(run, run->weight, params->blurThresholdLow, params->blurThresholdHigh,
                            band, x, lastColumn, out + 3 * x);
        else if (value)
            KernelValue<T, Acc>(run, band, x, lastColumn, out + 3 * x);
        else
            for (int c = 0; c < channels; c++)
                out[x * channels + c] =
                    (T)KernelSample<T, Acc>(run, band, x, c, channels, lastColumn);
    }
}

// Noise Reduction (sharpen 0) or Sharpen (1) over part of input into result.
static ErrorCode KernelStage(AdvancedSharpenParams *params, int sharpen, const Image *input,
                             Image *result, const StagePart *part)
{
    ErrorCode result_ = ERROR_NONE;
    KernelRun run = {};
    int shown = 0;
    int chroma = !sharpen && params->blurFlags == 1 && TypeChannels(input->type) == 3;
    int value = sharpen && params->sharpenFlags == 1 && TypeChannels(input->type) == 3;
    int k = AdvancedSharpenHalfWidth(sharpen ? params->sharpenRadius : params->blurRadius);
    int lo = sharpen ? params->sharpenThresholdLow : params->blurThresholdLow;
    int hi = sharpen ? params->sharpenThresholdHigh : params->blurThresholdHigh;

    result_ = KernelRunOpen(&run, sharpen ? params->sharpenKernel : params->noiseKernel, k, sharpen,
                            lo, hi);
    if (result_ != ERROR_NONE) goto done;
    shown = StageProgressOpen(
        part, STAGE_TITLES[sharpen ? SHARPEN_STAGE_SHARPEN : SHARPEN_STAGE_NOISE], 1);
    for (int j = 0; j < part->height; j++) {
        int y = PartRow(part, input, j);
        if (!TypeWide(input->type))
            KernelRow<uint8_t, int32_t>(params, &run, chroma, value, input, result, part, y);
        else if (run.wide64)
            KernelRow<uint16_t, int64_t>(params, &run, chroma, value, input, result, part, y);
        else
            KernelRow<uint16_t, int32_t>(params, &run, chroma, value, input, result, part, y);
        if (shown && (result_ = ProgressStep(j)) != ERROR_NONE) break;
    }
done:
    StageProgressClose(shown);
    KernelRunClose(&run);
    return result_;
}

// ---------------------------------------------------------------------------------------
// The stages.

static ErrorCode StagePartOf(const Image *source, int x0, int y0, int width, int height, int zoom,
                             StagePart *part)
{
    part->x0 = x0;
    part->y0 = y0;
    part->width = width;
    part->height = height;
    part->step = zoom < -1 ? -zoom : 1;
    if (source == nullptr || !SharpenTakes(source->type)) return ERROR_ILLEGAL_TYPE;
    if (width < 1 || height < 1 || x0 < 0 || y0 < 0 ||
        x0 + (int64_t)(width - 1) * part->step >= source->width || y0 >= source->height)
        return ERROR_INTERNAL_1;
    return ERROR_NONE;
}

// What the stages share: the part, whether to run, the result prepared; then the stage's
// own work, which returns 1 when it had nothing to do.
typedef ErrorCode (*StageWork)(AdvancedSharpenParams *params, const Image *input, Image *result,
                               const StagePart *part);

static int NoisePasses(const AdvancedSharpenParams *params)
{
    return params->blurAmount == 0.0 || params->blurThresholdHigh == 0 ||
           AdvancedSharpenHalfWidth(params->blurRadius) == 0;
}

static int SpeckPasses(const AdvancedSharpenParams *params)
{
    return !(params->removeLight || params->removeDark) || params->speckThreshold == 0 ||
           params->speckDiffThreshold == 0;
}

static int SharpenPasses(const AdvancedSharpenParams *params)
{
    return params->sharpenAmount == 0.0 || params->sharpenThresholdLow == 255 ||
           AdvancedSharpenHalfWidth(params->sharpenRadius) == 0;
}

static ErrorCode NoiseWork(AdvancedSharpenParams *params, const Image *input, Image *result,
                           const StagePart *part)
{
    return KernelStage(params, 0, input, result, part);
}

static ErrorCode SharpenWork(AdvancedSharpenParams *params, const Image *input, Image *result,
                             const StagePart *part)
{
    return KernelStage(params, 1, input, result, part);
}

template <typename T>
static void SpeckDecide(const AdvancedSharpenParams *params, const Image *input, Image *result,
                        int x, int y, int c, int channels, int minimum, int maximum, int64_t sum,
                        int count);

// Speck Removal of one channel at x, y, its ring read pixel by pixel.
template <typename T>
static void SpeckChannel(const AdvancedSharpenParams *params, const Image *input, Image *result,
                         int x, int y, int c, int channels)
{
    int p = (params->speckRadius + 1) & 1;
    int i = (params->speckRadius + 1) / 2;
    int o = 2 * i + 1;
    int innerLow = p ? -i : 1 - i;
    int outerLow = p ? -o : 1 - o;
    // The minimum starts at 255 at either depth, as these thresholds always have.
    int minimum = 255, maximum = 0;
    int64_t sum = 0;
    int count = 0;
    auto take = [&](int dy, int dx0, int dx1) {
        const T *row = (const T *)input->rows[y + dy];
        for (int dx = dx0; dx <= dx1; dx++) {
            int v = row[(x + dx) * channels + c];
            if (v < minimum) minimum = v;
            if (v > maximum) maximum = v;
            sum += v;
            count++;
        }
    };
    for (int dy = outerLow; dy < innerLow; dy++)
        take(dy, outerLow, o - 1);
    for (int dy = innerLow; dy <= i; dy++) {
        take(dy, outerLow, innerLow - 1);
        take(dy, i + 1, o);
    }
    for (int dy = i + 1; dy <= o; dy++)
        take(dy, outerLow, o - 1);

    SpeckDecide<T>(params, input, result, x, y, c, channels, minimum, maximum, sum, count);
}

// The tests of Speck Removal at x, y, channel c, from its ring's minimum (from 255 down, as
// these thresholds always have at either depth), maximum, sum and count: when the ring is
// flat and the centre stands out from its mean, the inner box's samples past the mean take
// the mean.
template <typename T>
static void SpeckDecide(const AdvancedSharpenParams *params, const Image *input, Image *result,
                        int x, int y, int c, int channels, int minimum, int maximum, int64_t sum,
                        int count)
{
    int p = (params->speckRadius + 1) & 1;
    int i = (params->speckRadius + 1) / 2;
    int innerLow = p ? -i : 1 - i;
    if (SampleDifference<T>(maximum, minimum) > params->speckThreshold) return;
    int mean = (int)(sum / count);
    int center = ((const T *)input->rows[y])[x * channels + c];
    if (SampleDifference<T>(center, mean) < 255 - params->speckDiffThreshold) return;
    if (center > mean && !params->removeLight) return;
    if (center < mean && !params->removeDark) return;
    // Locals, which the stores below cannot be taken to change.
    const int light = params->removeLight, dark = params->removeDark;
    uint8_t *const *inRows = input->rows;
    uint8_t *const *outRows = result->rows;
    for (int dy = innerLow; dy <= i; dy++) {
        const T *from = (const T *)inRows[y + dy] + c;
        T *to = (T *)outRows[y + dy] + c;
        for (int dx = innerLow; dx <= i; dx++) {
            int at = (x + dx) * channels;
            int v = from[at];
            // Written whether or not it changes, so that no branch guesses at it.
            int taken = (light & (v > mean)) | (dark & (v < mean));
            to[at] = taken ? (T)mean : to[at];
        }
    }
}

// The column statistics of a row of full resolution: for each of the ring's three bands of
// rows (above the inner box, beside it, below it) the minimum, maximum and sum of each sample's
// column, and then the ring's own for each sample from those, column strip by column strip.
struct SpeckRows {
    int32_t *minimum[3], *maximum[3], *sum[3]; // a band's, over the whole row of samples
    int32_t *prefix[3]; // a band's sums from the row's start, channel by channel, shifted by
                        // one pixel so that prefix[b][s + channels] covers columns up to s's
};

static void SpeckRowsFree(SpeckRows *rows)
{
    for (int b = 0; b < 3; b++) {
        MemoryRelease(&rows->minimum[b]);
        MemoryRelease(&rows->maximum[b]);
        MemoryRelease(&rows->sum[b]);
    }
    for (int b = 0; b < 3; b++)
        MemoryRelease(&rows->prefix[b]);
}

static ErrorCode SpeckRowsAlloc(SpeckRows *rows, int samples)
{
    for (int b = 0; b < 3; b++) {
        int32_t **all[4] = {&rows->minimum[b], &rows->maximum[b], &rows->sum[b], &rows->prefix[b]};
        for (int32_t **one : all) {
            // The prefix holds one pixel more, of at most three samples.
            *one = (int32_t *)MemoryAlloc(sizeof(int32_t) * ((size_t)samples + 3));
            if (*one == nullptr) return ERROR_NO_MEMORY;
        }
    }
    return ERROR_NONE;
}

// Minimum, maximum and sum of rows y0..y1 of every sample of the row.
template <typename T>
VECTOR_CLONES static void SpeckBand(const Image *input, int y0, int y1, int samples,
                                    int32_t *__restrict minimum, int32_t *__restrict maximum,
                                    int32_t *__restrict sum)
{
    const T *first = (const T *)input->rows[y0];
    for (int s = 0; s < samples; s++)
        minimum[s] = maximum[s] = sum[s] = first[s];
    for (int y = y0 + 1; y <= y1; y++) {
        const T *row = (const T *)input->rows[y];
        for (int s = 0; s < samples; s++) {
            int v = row[s];
            minimum[s] = v < minimum[s] ? v : minimum[s];
            maximum[s] = v > maximum[s] ? v : maximum[s];
            sum[s] += v;
        }
    }
}

// The minimum and maximum of columns dx0..dx1 of a band around sample s.
static inline void SpeckStrip(const SpeckRows *rows, int band, int s, int dx0, int dx1,
                              int channels, int *minimum, int *maximum)
{
    const int32_t *low = rows->minimum[band] + s, *high = rows->maximum[band] + s;
    for (int dx = dx0; dx <= dx1; dx++) {
        int at = dx * channels;
        *minimum = low[at] < *minimum ? low[at] : *minimum;
        *maximum = high[at] > *maximum ? high[at] : *maximum;
    }
}

// What the tests of a whole row that need no minimum or maximum take.
struct SpeckMean {
    int32_t top[2];   // the top and bottom strips' columns in the prefix sums: start, end
    int32_t left[2];  // the left strip's
    int32_t right[2]; // the right strip's
    uint32_t multiplier;
    int32_t shift;
    int32_t difference; // 255 - speckDiffThreshold
    int32_t light, dark;
};

// The ring's sum of each sample first..last (exclusive) from the bands' prefix sums, and 1 in
// candidates where the centre stands far enough from the ring's mean, in a direction that is
// removed: the tests that need no minimum or maximum, for a whole row at once.
template <typename T>
VECTOR_CLONES static void SpeckCandidates(const SpeckRows *rows, const SpeckMean *mean,
                                          const T *centers, int first, int last,
                                          int32_t *__restrict sums, int32_t *__restrict candidates)
{
    const int32_t *p0 = rows->prefix[0], *p1 = rows->prefix[1], *p2 = rows->prefix[2];
    const int t0 = mean->top[0], t1 = mean->top[1], l0 = mean->left[0], l1 = mean->left[1];
    const int r0 = mean->right[0], r1 = mean->right[1], shift = mean->shift;
    const uint64_t multiplier = mean->multiplier;
    const int difference = mean->difference, light = mean->light, dark = mean->dark;
    for (int s = first; s < last; s++) {
        int sum = p0[s + t1] - p0[s + t0] + p2[s + t1] - p2[s + t0] + p1[s + l1] - p1[s + l0] +
                  p1[s + r1] - p1[s + r0];
        int m = (int)(((uint64_t)(uint32_t)sum * multiplier) >> shift);
        int center = centers[s];
        int d = center > m ? center - m : m - center;
        if (sizeof(T) == 2) d = (int)Narrow16((uint32_t)d);
        int direction = center > m ? light : (center < m ? dark : 1);
        sums[s] = sum;
        candidates[s] = (d >= difference) & direction;
    }
}

// Speck Removal of row y at full resolution, columns x0..x1: the same ring as SpeckChannel
// reads, in its strips, from the bands' column statistics. The ring's sum comes from the
// prefix sums; its minimum and maximum, dearer, only where the mean lets the pixel be a
// speck, since every test must pass before anything is written.
template <typename T>
static void SpeckRowFast(const AdvancedSharpenParams *params, SpeckRows *rows, const Image *input,
                         Image *result, int y, int x0, int x1)
{
    int p = (params->speckRadius + 1) & 1;
    int i = (params->speckRadius + 1) / 2;
    int o = 2 * i + 1;
    int innerLow = p ? -i : 1 - i;
    int outerLow = p ? -o : 1 - o;
    int channels = TypeChannels(input->type);
    int samples = input->width * channels;
    int bandRows[3][2] = {
        {y + outerLow, y + innerLow - 1}, {y + innerLow, y + i}, {y + i + 1, y + o}};
    for (int b = 0; b < 3; b++) {
        SpeckBand<T>(input, bandRows[b][0], bandRows[b][1], samples, rows->minimum[b],
                     rows->maximum[b], rows->sum[b]);
        int32_t *prefix = rows->prefix[b];
        for (int c = 0; c < channels; c++)
            prefix[c] = 0;
        for (int s = 0; s < samples; s++)
            prefix[s + channels] = prefix[s] + rows->sum[b][s];
    }
    int count = 2 * (innerLow - outerLow) * (o - outerLow) +
                (i - innerLow + 1) * (innerLow - outerLow + o - i);
    SpeckMean mean = {};
    // Where each strip starts and ends in the prefix sums, from a sample's place.
    mean.top[0] = outerLow * channels;
    mean.top[1] = o * channels;
    mean.left[0] = outerLow * channels;
    mean.left[1] = innerLow * channels;
    mean.right[0] = (i + 1) * channels;
    mean.right[1] = (o + 1) * channels;
    // sum / count as a multiplication and a shift: exact for every sum up to count x full
    // once 2^shift exceeds count^2 x full, and the multiplier then stays below 2^32.
    int64_t full = sizeof(T) == 2 ? 65535 : 255;
    mean.shift = 1;
    while (((int64_t)1 << mean.shift) <= (int64_t)count * count * full)
        mean.shift++;
    mean.multiplier = (uint32_t)((((uint64_t)1 << mean.shift) / (uint64_t)count) + 1);
    mean.difference = 255 - params->speckDiffThreshold;
    mean.light = params->removeLight;
    mean.dark = params->removeDark;
    int32_t *sums = rows->sum[0], *candidates = rows->sum[1]; // free once the prefixes are made
    int first = x0 * channels, last = (x1 + 1) * channels;
    SpeckCandidates<T>(rows, &mean, (const T *)input->rows[y], first, last, sums, candidates);
    for (int s = first; s < last; s++) {
        if (!candidates[s]) continue;
        int minimum = 255, maximum = 0; // where the minimum has always started
        SpeckStrip(rows, 0, s, outerLow, o - 1, channels, &minimum, &maximum);
        SpeckStrip(rows, 2, s, outerLow, o - 1, channels, &minimum, &maximum);
        SpeckStrip(rows, 1, s, outerLow, innerLow - 1, channels, &minimum, &maximum);
        SpeckStrip(rows, 1, s, i + 1, o, channels, &minimum, &maximum);
        SpeckDecide<T>(params, input, result, s / channels, y, s % channels, channels, minimum,
                       maximum, sums[s], count);
    }
}

static ErrorCode SpeckWork(AdvancedSharpenParams *params, const Image *input, Image *result,
                           const StagePart *part)
{
    ErrorCode code = ERROR_NONE;
    SpeckRows rows = {};
    int o = 2 * ((params->speckRadius + 1) / 2) + 1;
    int channels = TypeChannels(input->type);
    // At full resolution whole rows of column statistics serve; a reduced preview reads only
    // the rings of the pixels it shows.
    int fast = part->step == 1;
    int x0 = part->x0 > o ? part->x0 : o;
    int x1 = part->x0 + part->width - 1 < input->width - 1 - o ? part->x0 + part->width - 1
                                                               : input->width - 1 - o;
    if (fast) code = SpeckRowsAlloc(&rows, input->width * channels);
    if (code != ERROR_NONE) {
        SpeckRowsFree(&rows);
        return code;
    }
    StageCopy(input, result, part);
    int shown = StageProgressOpen(part, STAGE_TITLES[SHARPEN_STAGE_SPECK], 1);
    for (int j = 0; j < part->height; j++) {
        int y = PartRow(part, input, j);
        if (fast && y >= o && y < input->height - 1 - o && x0 <= x1) {
            if (TypeWide(input->type))
                SpeckRowFast<uint16_t>(params, &rows, input, result, y, x0, x1);
            else
                SpeckRowFast<uint8_t>(params, &rows, input, result, y, x0, x1);
        } else if (!fast && y >= o && y < input->height - 1 - o) {
            for (int n = 0; n < part->width; n++) {
                int x = part->x0 + n * part->step;
                if (x < o || x > input->width - 1 - o) continue;
                for (int c = 0; c < channels; c++) {
                    if (TypeWide(input->type))
                        SpeckChannel<uint16_t>(params, input, result, x, y, c, channels);
                    else
                        SpeckChannel<uint8_t>(params, input, result, x, y, c, channels);
                }
            }
        }
        if (shown && (code = ProgressStep(j)) != ERROR_NONE) break;
    }
    StageProgressClose(shown);
    SpeckRowsFree(&rows);
    return code;
}

static ErrorCode StageRun(AdvancedSharpenParams *params, int stage, int x0, int y0, int width,
                          int height, int zoom, int whole)
{
    static const StageWork WORK[SHARPEN_STAGE_COUNT] = {NoiseWork, SpeckWork, SharpenWork};
    StagePart part;
    const Image *input = AdvancedSharpenStageInput(params, stage);
    ErrorCode result = StagePartOf(input, x0, y0, width, height, zoom, &part);
    if (result != ERROR_NONE) return result;
    if (!StageNeeded(params, &part)) return ERROR_NONE;
    int passes = stage == SHARPEN_STAGE_NOISE
                     ? NoisePasses(params)
                     : (stage == SHARPEN_STAGE_SPECK ? SpeckPasses(params) : SharpenPasses(params));
    if (passes) {
        // Nothing to do: the output is the input, as the copy would have made it.
        params->passed[stage] = 1;
        StageDone(params, &part, whole);
        return ERROR_NONE;
    }
    params->passed[stage] = 0;
    Image *output = StageResult(params, stage);
    result = StagePrepare(input, output);
    if (result != ERROR_NONE) return result;
    BuildAdvancedSharpenKernels(params);
    result = WORK[stage](params, input, output, &part);
    if (result == ERROR_NONE) StageDone(params, &part, whole);
    return result;
}

ErrorCode NoiseStage(AdvancedSharpenParams *params, int x0, int y0, int width, int height, int zoom)
{
    return StageRun(params, SHARPEN_STAGE_NOISE, x0, y0, width, height, zoom, 0);
}

ErrorCode SpeckStage(AdvancedSharpenParams *params, int x0, int y0, int width, int height, int zoom)
{
    return StageRun(params, SHARPEN_STAGE_SPECK, x0, y0, width, height, zoom, 0);
}

ErrorCode SharpenStage(AdvancedSharpenParams *params, int x0, int y0, int width, int height,
                       int zoom)
{
    return StageRun(params, SHARPEN_STAGE_SHARPEN, x0, y0, width, height, zoom, 0);
}

static ErrorCode StageFull(AdvancedSharpenParams *params, int stage)
{
    const Image *input = AdvancedSharpenStageInput(params, stage);
    if (input == nullptr || !SharpenTakes(input->type)) return ERROR_ILLEGAL_TYPE;
    params->stale = 1;
    return StageRun(params, stage, 0, 0, input->width, input->height, 1, 1);
}

ErrorCode NoiseStageFull(AdvancedSharpenParams *params)
{
    return StageFull(params, SHARPEN_STAGE_NOISE);
}

ErrorCode SpeckStageFull(AdvancedSharpenParams *params)
{
    return StageFull(params, SHARPEN_STAGE_SPECK);
}

ErrorCode SharpenStageFull(AdvancedSharpenParams *params)
{
    return StageFull(params, SHARPEN_STAGE_SHARPEN);
}

// ---------------------------------------------------------------------------------------
// Histograms.

// The largest difference between the centre and the neighbours of a pixel not in its row
// or column, summed and divided by all the neighbours: the scale the handles are set on.
template <typename T>
static int LocalDifference(const Image *image, int x, int y, int k, int chroma)
{
    if (k == 0) return 0;
    int channels = TypeChannels(image->type);
    const int full = sizeof(T) == 2 ? 65535 : 255;
    const T *band[SHARPEN_KERNEL_SIDE];
    BandRows<T>(image, y, k, band);
    const T *p = band[k] + x * channels;
    int a = 0, b = 0;
    if (chroma) ChromaSplit(p[2], p[1], p[0], full, &a, &b);
    int64_t sum = 0;
    for (int dy = -k; dy <= k; dy++) {
        if (dy == 0) continue;
        for (int dx = -k; dx <= k; dx++) {
            if (dx == 0) continue;
            int column = x + dx;
            column = column < 0 ? 0 : (column > image->width - 1 ? image->width - 1 : column);
            const T *q = band[dy + k] + column * channels;
            int d = 0;
            if (chroma) {
                int na, nb;
                ChromaSplit(q[2], q[1], q[0], full, &na, &nb);
                d = OctagonDistance(na - a, nb - b);
                if (sizeof(T) == 2) d = Depth16To8[d > 65535 ? 65535 : d];
            } else {
                for (int c = 0; c < channels; c++) {
                    int one = SampleDifference<T>(q[c], p[c]);
                    if (one > d) d = one;
                }
            }
            sum += d;
        }
    }
    int64_t value = sum / ((2 * k + 1) * (2 * k + 1) - 1);
    return (int)(value > 255 ? 255 : value);
}

// The range of the ring of the speck size around x, y: its largest value less its smallest,
// a color pixel by Max3. 0 where the ring does not fit in the picture.
template <typename T>
static int RingRange(const AdvancedSharpenParams *params, const Image *image, int x, int y)
{
    int p = (params->speckRadius + 1) & 1;
    int i = (params->speckRadius + 1) / 2;
    int o = 2 * i + 1;
    int innerLow = p ? -i : 1 - i;
    int outerLow = p ? -o : 1 - o;
    if (x + outerLow < 0 || y + outerLow < 0 || x + o >= image->width || y + o >= image->height)
        return 0;
    int channels = TypeChannels(image->type);
    int minimum = INT32_MAX, maximum = 0;
    auto take = [&](int dy, int dx0, int dx1) {
        const T *row = (const T *)image->rows[y + dy];
        for (int dx = dx0; dx <= dx1; dx++) {
            const T *q = row + (x + dx) * channels;
            int v = channels == 3 ? Max3(q[0], q[1], q[2]) : q[0];
            if (v < minimum) minimum = v;
            if (v > maximum) maximum = v;
        }
    };
    for (int dy = outerLow; dy < innerLow; dy++)
        take(dy, outerLow, o - 1);
    for (int dy = innerLow; dy <= i; dy++) {
        take(dy, outerLow, innerLow - 1);
        take(dy, i + 1, o);
    }
    for (int dy = i + 1; dy <= o; dy++)
        take(dy, outerLow, o - 1);
    int range = SampleDifference<T>(maximum, minimum);
    return range > 255 ? 255 : range;
}

int AdvancedSharpenStatistic(const AdvancedSharpenParams *params, int x, int y)
{
    const Image *image = AdvancedSharpenStageInput(params, params->stage);
    if (image == nullptr || !SharpenTakes(image->type) || x < 0 || y < 0 || x >= image->width ||
        y >= image->height)
        return 0;
    int wide = TypeWide(image->type);
    switch (params->stage) {
    case SHARPEN_STAGE_NOISE: {
        int k = AdvancedSharpenHalfWidth(params->blurRadius);
        int chroma = params->blurFlags == 1 && TypeChannels(image->type) == 3;
        return wide ? LocalDifference<uint16_t>(image, x, y, k, chroma)
                    : LocalDifference<uint8_t>(image, x, y, k, chroma);
    }
    case SHARPEN_STAGE_SPECK:
        return wide ? RingRange<uint16_t>(params, image, x, y)
                    : RingRange<uint8_t>(params, image, x, y);
    default: {
        int k = AdvancedSharpenHalfWidth(params->sharpenRadius);
        return wide ? LocalDifference<uint16_t>(image, x, y, k, 0)
                    : LocalDifference<uint8_t>(image, x, y, k, 0);
    }
    }
}

ErrorCode AdvancedSharpenHistogram(AdvancedSharpenParams *params)
{
    const Image *image = AdvancedSharpenStageInput(params, params->stage);
    memset(params->histogram, 0, sizeof params->histogram);
    params->histogramLargest = 0;
    if (image == nullptr || !SharpenTakes(image->type) || image->rows == nullptr)
        return ERROR_ILLEGAL_TYPE;
    int step;
    if (params->stage == SHARPEN_STAGE_SPECK)
        step = 2 * (2 * ((params->speckRadius + 1) / 2) + 1) + 1;
    else
        step = 2 * AdvancedSharpenHalfWidth(params->stage == SHARPEN_STAGE_NOISE
                                                ? params->blurRadius
                                                : params->sharpenRadius) +
               1;
    int rows = (image->height + step - 1) / step;
    int shown = (int64_t)image->width * image->height >= PROGRESS_PIXELS;
    if (shown)
        ProgressOpen(0, rows - 1, "Histogram", 0);
    else
        SetWaitCursor();
    for (int j = 0; j < rows; j++) {
        for (int x = 0; x < image->width; x += step)
            params->histogram[AdvancedSharpenStatistic(params, x, j * step)]++;
        if (shown) ProgressStep(j);
    }
    StageProgressClose(shown);
    for (int i = 0; i < 256; i++)
        if (params->histogram[i] > params->histogramLargest)
            params->histogramLargest = params->histogram[i];
    return ERROR_NONE;
}

int AdvancedSharpenBarHeight(uint32_t count, uint32_t largest, int histExpand)
{
    if (largest == 0) return 0;
    double f = count, top = largest;
    if (histExpand == 1) {
        f = Round(pow(f, 0.4) * 100.0);
        top = Round(pow(top, 0.4) * 100.0);
    } else if (histExpand == 2) {
        f = Round(pow(f, 0.2) * 100.0);
        top = Round(pow(top, 0.2) * 100.0);
    }
    return (int)(f * SHARPEN_HISTOGRAM_HEIGHT / top);
}

// ---------------------------------------------------------------------------------------
// The compute function.

int AdvancedSharpenChangesNothing(const void *params, const Image *source, int full)
{
    const AdvancedSharpenParams *p = (const AdvancedSharpenParams *)params;
    if (source == nullptr || !SharpenTakes(source->type)) return 0;
    if (AmountIsAllZero(&p->amount)) return 1;
    // A preview shows the current stage only, from earlier results, so only an Apply, which
    // runs the current stage and those after it, may take the short cut.
    if (!full || p->stage != SHARPEN_STAGE_NOISE) return 0;
    return NoisePasses(p) && SpeckPasses(p) && SharpenPasses(p);
}

// The mixing of the last pass: the effect row from "before" and "after" (or the final
// result), narrowed to 8 bits for a preview, then mixed with the source by the amount.
struct OutputPass {
    RowReader source, before, after, mask;
    int32_t samples; // of a row
    int32_t channels;
    int32_t view;        // SHARPEN_VIEW_*; a final result is VIEW_AFTER
    int32_t wideIn;      // 1: the pictures hold 16-bit samples
    int32_t wideOut;     // 1: the destination does
    int32_t low8, high8; // the amount on the 0..255 scale; high8 -1 without a mask
};

static inline int Narrow(const uint8_t *row, int i, int wide)
{
    return wide ? Depth16To8[((const uint16_t *)row)[i]] : row[i];
}

static void OutputRow(OutputPass *pass, uint8_t *out)
{
    const uint8_t *in = RowReaderNext(&pass->source);
    const uint8_t *before = pass->view != SHARPEN_VIEW_AFTER ? RowReaderNext(&pass->before) : in;
    const uint8_t *after = pass->view != SHARPEN_VIEW_BEFORE ? RowReaderNext(&pass->after) : in;
    const uint8_t *mask = pass->high8 >= 0 ? RowReaderNext(&pass->mask) : nullptr;
    int full = pass->low8 == 255 && pass->high8 < 0;
    if (pass->wideOut) {
        const uint16_t *source = (const uint16_t *)in, *effect = (const uint16_t *)after;
        uint16_t *to = (uint16_t *)out;
        if (full) {
            memmove(to, effect, (size_t)pass->samples * 2); // in place, they may be one row
            return;
        }
        for (int i = 0; i < pass->samples; i++) {
            int amount =
                mask ? Lerp8(pass->low8, pass->high8, mask[i / pass->channels]) : pass->low8;
            to[i] = (uint16_t)Lerp16(source[i], effect[i], amount);
        }
        return;
    }
    if (full && pass->view == SHARPEN_VIEW_AFTER && !pass->wideIn) {
        memmove(out, after, (size_t)pass->samples);
        return;
    }
    for (int i = 0; i < pass->samples; i++) {
        int effect;
        if (pass->view == SHARPEN_VIEW_DIFFERENCE)
            effect = Clamp8(Narrow(before, i, pass->wideIn) - Narrow(after, i, pass->wideIn) + 128);
        else
            effect = Narrow(pass->view == SHARPEN_VIEW_BEFORE ? before : after, i, pass->wideIn);
        if (full) {
            out[i] = (uint8_t)effect;
            continue;
        }
        int amount = mask ? Lerp8(pass->low8, pass->high8, mask[i / pass->channels]) : pass->low8;
        out[i] = (uint8_t)Lerp8(Narrow(in, i, pass->wideIn), effect, amount);
    }
}

ErrorCode AdvancedSharpenCompute(const Image *source, Image *destination, Picture *picture,
                                 void *params, int full, int destinationWidth,
                                 int destinationHeight, int sourceX, int sourceY, int zoom, int x0,
                                 int y0, int x1, int y1, int w, int h)
{
    AdvancedSharpenParams *settings = (AdvancedSharpenParams *)params;
    ErrorCode result = ERROR_NONE;
    OutputPass pass = {};
    RowWriter writer;
    int shown = 0;
    const Image *mask = settings->amount.maskImage;
    (void)picture;

    RowReaderReset(&pass.source);
    RowReaderReset(&pass.before);
    RowReaderReset(&pass.after);
    RowReaderReset(&pass.mask);
    RowWriterReset(&writer);

    if (source == nullptr || !SharpenTakes(source->type)) {
        result = ERROR_ILLEGAL_TYPE;
        goto done;
    }
    if (settings->source != source) {
        // Another picture: nothing computed before belongs to it.
        settings->source = source;
        settings->stale = 1;
        settings->doneWidth = 0;
        settings->doneWhole = 0;
    }
    // The arguments are checked before any stage runs, and the destination is made here,
    // since a stage keeps no pointer to it.
    result = ComputePrepareDestination(source, destination, ComputeOutputType(source->type, full),
                                       destinationWidth, destinationHeight, sourceX, sourceY, zoom,
                                       x0, y0, x1, y1, w, h);
    if (result != ERROR_NONE) goto done;

    // A run that keeps nothing between calls starts from the source: the stages before the
    // current one run over the whole picture first, as moving to its tab would have.
    if (!settings->keepStages) {
        for (int stage = 0; stage < settings->stage && stage < SHARPEN_STAGE_COUNT; stage++) {
            result = StageFull(settings, stage);
            if (result != ERROR_NONE) goto done;
        }
    }
    if (full) {
        for (int stage = settings->stage; stage < SHARPEN_STAGE_COUNT; stage++) {
            result = StageFull(settings, stage);
            if (result != ERROR_NONE) goto done;
        }
    } else {
        static ErrorCode (*const STAGES[SHARPEN_STAGE_COUNT])(
            AdvancedSharpenParams *, int, int, int, int, int) = {NoiseStage, SpeckStage,
                                                                 SharpenStage};
        int stage =
            settings->stage < 0 || settings->stage >= SHARPEN_STAGE_COUNT ? 0 : settings->stage;
        result = STAGES[stage](settings, sourceX, sourceY, w, h, zoom);
        if (result != ERROR_NONE) goto done;
    }

    pass.channels = TypeChannels(source->type);
    pass.samples = w * pass.channels;
    pass.wideIn = TypeWide(source->type);
    pass.wideOut = full && pass.wideIn;
    pass.view = full ? SHARPEN_VIEW_AFTER : settings->view;
    pass.low8 = AmountLow8(&settings->amount);
    pass.high8 = AmountHigh8(&settings->amount);
    if (pass.high8 >= 0 && (mask == nullptr || mask->type != TYPE_GRAY8 ||
                            mask->width != source->width || mask->height != source->height)) {
        result = ERROR_INTERNAL_1;
        goto done;
    }
    {
        int stage = full ? SHARPEN_STAGE_SHARPEN : settings->stage;
        const Image *before = AdvancedSharpenStageInput(settings, stage);
        const Image *after = AdvancedSharpenStageOutput(settings, stage);
        result = RowReaderOpen(source, sourceX, sourceY, zoom, w, &pass.source);
        if (result == ERROR_NONE)
            result = RowReaderOpen(before, sourceX, sourceY, zoom, w, &pass.before);
        if (result == ERROR_NONE)
            result = RowReaderOpen(after, sourceX, sourceY, zoom, w, &pass.after);
        if (result == ERROR_NONE && pass.high8 >= 0)
            result = RowReaderOpen(mask, sourceX, sourceY, zoom, w, &pass.mask);
    }
    if (result != ERROR_NONE) goto done;
    result = RowWriterOpen(destination, zoom, x0, x1, y0, full, &writer);
    if (result != ERROR_NONE) goto done;

    // The final pass of an Apply shows no progress of its own; a preview's does.
    shown = !full && (int64_t)w * h >= PROGRESS_PIXELS;
    if (shown) ProgressOpen(0, h - 1, "Advanced Sharpen", 1);
    for (int row = 0; row < h; row++) {
        OutputRow(&pass, RowWriterRow(&writer));
        RowWriterPut(&writer);
        if (shown && (result = ProgressStep(row)) != ERROR_NONE) break;
    }
done:
    if (shown) ProgressClose();
    RowReaderClose(&pass.source);
    RowReaderClose(&pass.before);
    RowReaderClose(&pass.after);
    RowReaderClose(&pass.mask);
    RowWriterClose(&writer);
    if (!settings->keepStages) {
        AdvancedSharpenFreeStages(settings);
        settings->source = nullptr;
        for (int stage = 0; stage < SHARPEN_STAGE_COUNT; stage++)
            settings->passed[stage] = 0;
    }
    return result;
}

// ---------------------------------------------------------------------------------------
// The ".as" file.

static int ParseLevel(const char *text, int32_t *value)
{
    return ParseInteger(text, value) || *value < 0 || *value > 255;
}

static int ParseFlag(const char *text, int32_t *value)
{
    return ParseInteger(text, value) || *value < 0 || *value > 1;
}

static int ParseRange(const char *text, double maximum, double *value)
{
    return ParseReal(text, value) || !(*value >= 0.0 && *value <= maximum);
}

ErrorCode AdvancedSharpenFileRead(FileHandle file, void *params)
{
    AdvancedSharpenParams *s = (AdvancedSharpenParams *)params;
    const ErrorCode illegal = ERROR_ILLEGAL_COLOR_BALANCE_FILE;
    int count;
    char **tokens;
    AdvancedSharpenReset(s);
    if (SettingsReadLine(file, &count, &tokens) || count != 2 ||
        strcmp(tokens[0], "AdvancedSharpen") != 0 || strcmp(tokens[1], "1.0") != 0)
        return illegal;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return illegal; // no "end"
        if (SettingsLineIsEnd(count, tokens)) break;
        int bad = 1;
        if (count == 2) {
            const char *v = tokens[1];
            if (SettingsKeyIs(tokens, "speckradius"))
                bad = ParseInteger(v, &s->speckRadius) || s->speckRadius < 0 ||
                      s->speckRadius >= SHARPEN_SPECK_SIZES;
            else if (SettingsKeyIs(tokens, "speckthresh"))
                bad = ParseLevel(v, &s->speckThreshold);
            else if (SettingsKeyIs(tokens, "speckdiffthresh"))
                bad = ParseLevel(v, &s->speckDiffThreshold);
            else if (SettingsKeyIs(tokens, "removewhitespecks"))
                bad = ParseFlag(v, &s->removeLight);
            else if (SettingsKeyIs(tokens, "removeblackspecks"))
                bad = ParseFlag(v, &s->removeDark);
            else if (SettingsKeyIs(tokens, "blurradius"))
                bad = ParseRange(v, 7.0, &s->blurRadius);
            else if (SettingsKeyIs(tokens, "bluramt"))
                bad = ParseRange(v, 1.0, &s->blurAmount);
            else if (SettingsKeyIs(tokens, "blurflags"))
                bad = ParseFlag(v, &s->blurFlags);
            else if (SettingsKeyIs(tokens, "sharpenradius"))
                bad = ParseRange(v, 7.0, &s->sharpenRadius);
            else if (SettingsKeyIs(tokens, "sharpenamt"))
                bad = ParseRange(v, 2.0, &s->sharpenAmount);
            else if (SettingsKeyIs(tokens, "sharpenflags"))
                bad = ParseFlag(v, &s->sharpenFlags);
            else if (SettingsKeyIs(tokens, "histexpand"))
                bad = ParseInteger(v, &s->histExpand) || s->histExpand < 0 || s->histExpand > 2;
        } else if (count == 3) {
            if (SettingsKeyIs(tokens, "blurthresh"))
                bad = ParseLevel(tokens[1], &s->blurThresholdLow) ||
                      ParseLevel(tokens[2], &s->blurThresholdHigh);
            else if (SettingsKeyIs(tokens, "sharpenthresh"))
                bad = ParseLevel(tokens[1], &s->sharpenThresholdLow) ||
                      ParseLevel(tokens[2], &s->sharpenThresholdHigh);
        }
        if (bad) return illegal; // an unknown key, a wrong count or a value out of range
    }
    BuildAdvancedSharpenKernels(s);
    return ERROR_NONE;
}

ErrorCode AdvancedSharpenFileWrite(FileHandle file, const void *params)
{
    const AdvancedSharpenParams *s = (const AdvancedSharpenParams *)params;
    ErrorCode result = SettingsWriteHeader(file, "AdvancedSharpen");
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "speckradius %d", s->speckRadius);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "speckthresh %d", s->speckThreshold);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "speckdiffthresh %d", s->speckDiffThreshold);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "removewhitespecks %d", s->removeLight);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "removeblackspecks %d", s->removeDark);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "blurradius %4f", s->blurRadius);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "bluramt %4f", s->blurAmount);
    if (result == ERROR_NONE)
        result =
            SettingsWriteLine(file, "blurthresh %d %d", s->blurThresholdLow, s->blurThresholdHigh);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "blurflags %d", s->blurFlags);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "sharpenradius %4f", s->sharpenRadius);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "sharpenamt %4f", s->sharpenAmount);
    if (result == ERROR_NONE)
        result = SettingsWriteLine(file, "sharpenthresh %d %d", s->sharpenThresholdLow,
                                   s->sharpenThresholdHigh);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "sharpenflags %d", s->sharpenFlags);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "histexpand %d", s->histExpand);
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}

static void SharpenDefaults(void *settings)
{
    AdvancedSharpenParamsDefault((AdvancedSharpenParams *)settings);
}

static ErrorCode SharpenReadSettings(const char *path, void *settings)
{
    return SettingsFileLoad(path, AdvancedSharpenFileRead, settings);
}

const TransformDescriptor AdvancedSharpenTransform = {
    "Advanced Sharpen",
    "sharpen",
    "Advanced Sharpen: noise reduction, speck removal and sharpening by a .as file",
    "&Advanced Sharpen...",
    MENU_FILTER,
    COMMAND_ADVANCED_SHARPEN,
    KIND_ADVANCED_SHARPEN,
    AdvancedSharpenCompute,
    SharpenTakes,
    "as",
    AdvancedSharpenChangesNothing,
    nullptr,
    TRANSFORM_PROFILE_INHERIT,
    1,
    (int32_t)offsetof(AdvancedSharpenParams, amount),
    sizeof(AdvancedSharpenParams),
    SharpenDefaults,
    nullptr,
    nullptr,
    0,
    nullptr,
    SharpenReadSettings,
};
