// Alignment: the mappings from matched points, the multi-point warp, and the row of overlay
// samples laid over one background row.
#include "transforms/Alignment.h"

#include <cmath>
#include <cstring>

#include "core/CpuFeatures.h"
#include "core/Helpers.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(VISTEL_AVX2_PATHS)
#include <immintrin.h>
#endif

const char *const ALIGN_MODE_LABELS[ALIGN_MODE_COUNT] = {
    "none",
    "1-point (shift)",
    "2-point (shift/rotate)",
    "2-point (shift/rotate/scale)",
    "3-point (shift/rotate/scale/shear)",
    "4-point (perspective warp)",
    "Multi-point",
};

const char *const WARP_METHOD_LABELS[4] = {
    "&Shepard Method",
    "&Hardy Method",
    "&Thin Plate Method",
    "&Gaussian Method",
};

const char *const ALIGN_MESSAGE_SINGULAR =
    "Equations are singular -- try different control point locations";
const char *const ALIGN_MESSAGE_NO_POINTS = "No alignment points to adjust";
const char *const ALIGN_MESSAGE_NO_OVERLAY = "No overlay image to align";
const char *const ALIGN_MESSAGE_UNREFINED = "Unable to refine alignment point %s";

void AlignmentSettingsDefault(AlignmentSettings *settings)
{
    memset(settings, 0, sizeof *settings);
    settings->mode = ALIGN_NONE;
    settings->method = WARP_SHEPARD;
    settings->labelPoints = 1;
    settings->searchRadius = ALIGN_SEARCH_6;
    settings->radiusFactor = 1.0;
}

int AlignmentPairsFor(int mode)
{
    static const int PAIRS[ALIGN_MODE_COUNT] = {0, 1, 2, 2, 3, 4, 3};
    return mode >= 0 && mode < ALIGN_MODE_COUNT ? PAIRS[mode] : 0;
}

void AlignmentInitialPoints(int width, int height, double *xs, double *ys)
{
    double right = width - 1;
    double bottom = height - 1;
    const double cornersX[4] = {0.0, right, 0.0, right};
    const double cornersY[4] = {0.0, 0.0, bottom, bottom};
    for (int i = 0; i < ALIGN_MAX_POINTS; i++) {
        xs[i] = i < 4 ? cornersX[i] : right / 2.0;
        ys[i] = i < 4 ? cornersY[i] : bottom / 2.0;
    }
}

char AlignmentLabel(int pair)
{
    if (pair < 9) return (char)('1' + pair);
    if (pair < 35) return (char)('a' + pair - 9);
    return (char)('A' + pair - 35);
}

void AlignmentLabelText(int pair, char *text)
{
    text[0] = AlignmentLabel(pair);
    text[1] = 0;
}

int LuDecompose(double *matrix, int n, int *pivots)
{
    for (int k = 0; k < n; k++) {
        // The row with the largest magnitude at or below the diagonal keeps the multipliers
        // at most 1, which keeps the rounding of the elimination small.
        int best = k;
        for (int i = k + 1; i < n; i++)
            if (fabs(matrix[i * n + k]) > fabs(matrix[best * n + k])) best = i;
        pivots[k] = best;
        if (best != k)
            for (int j = 0; j < n; j++) {
                double t = matrix[k * n + j];
                matrix[k * n + j] = matrix[best * n + j];
                matrix[best * n + j] = t;
            }
        double pivot = matrix[k * n + k];
        if (pivot == 0.0) return 1;
        for (int i = k + 1; i < n; i++) {
            double m = matrix[i * n + k] / pivot;
            matrix[i * n + k] = m;
            for (int j = k + 1; j < n; j++)
                matrix[i * n + j] -= m * matrix[k * n + j];
        }
    }
    return 0;
}

void LuSolve(const double *matrix, int n, double *rhs, const int *pivots)
{
    // The decomposition swapped whole rows, multipliers included: the right side takes all
    // the swaps first, then the lower triangle, then the upper one from the bottom.
    for (int k = 0; k < n; k++)
        if (pivots[k] != k) {
            double t = rhs[k];
            rhs[k] = rhs[pivots[k]];
            rhs[pivots[k]] = t;
        }
    for (int k = 0; k < n; k++)
        for (int i = k + 1; i < n; i++)
            rhs[i] -= matrix[i * n + k] * rhs[k];
    for (int i = n - 1; i >= 0; i--) {
        double sum = rhs[i];
        for (int j = i + 1; j < n; j++)
            sum -= matrix[i * n + j] * rhs[j];
        rhs[i] = sum / matrix[i * n + i];
    }
}

int SolveLinear(double *matrix, int n, double *rhs)
{
    int pivots[ALIGN_MAX_POINTS];
    if (n < 1 || n > ALIGN_MAX_POINTS) return 1;
    if (LuDecompose(matrix, n, pivots)) return 1;
    LuSolve(matrix, n, rhs, pivots);
    return 0;
}

// 1 when a point among the first count equals an earlier one exactly.
static int PointsRepeat(const double *xs, const double *ys, int count)
{
    for (int i = 1; i < count; i++)
        for (int j = 0; j < i; j++)
            if (xs[i] == xs[j] && ys[i] == ys[j]) return 1;
    return 0;
}

int ComputeAlignment(int mode, int pointCount, const double *backgroundX, const double *backgroundY,
                     const double *overlayX, const double *overlayY, AlignmentMap *map)
{
    const double *x = backgroundX, *y = backgroundY, *u = overlayX, *v = overlayY;
    *map = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0};
    if (mode <= ALIGN_NONE || mode >= ALIGN_MODE_COUNT) return 0;
    int count = mode == ALIGN_MULTI_POINT ? 3 : pointCount;
    // A mapping needs its pairs; fewer cannot be solved.
    if (count < AlignmentPairsFor(mode) || count > ALIGN_MAX_POINTS) return 1;
    if (PointsRepeat(x, y, count) || PointsRepeat(u, v, count)) return 1;

    switch (mode) {
    case ALIGN_SHIFT:
        map->c = u[0] - x[0];
        map->f = v[0] - y[0];
        return 0;
    case ALIGN_ROTATE: {
        double theta = atan2(v[1] - v[0], u[1] - u[0]) - atan2(y[1] - y[0], x[1] - x[0]);
        double cosine = cos(theta), sine = sin(theta);
        map->a = map->e = cosine;
        map->b = -sine;
        map->d = sine;
        map->c = u[0] - x[0] * cosine + y[0] * sine;
        map->f = v[0] - x[0] * sine - y[0] * cosine;
        return 0;
    }
    case ALIGN_ROTATE_SCALE: {
        // p, q, r, t with a = e = p, b = q, d = -q: a rotation and a uniform scale.
        double m[16] = {x[0], y[0], 1, 0, x[1], y[1], 1, 0, y[0], -x[0], 0, 1, y[1], -x[1], 0, 1};
        double s[4] = {u[0], u[1], v[0], v[1]};
        if (SolveLinear(m, 4, s)) return 1;
        map->a = map->e = s[0];
        map->b = s[1];
        map->d = -s[1];
        map->c = s[2];
        map->f = s[3];
        return 0;
    }
    case ALIGN_AFFINE:
    case ALIGN_MULTI_POINT: {
        double m[9], sx[3] = {u[0], u[1], u[2]}, sy[3] = {v[0], v[1], v[2]};
        for (int i = 0; i < 3; i++) {
            m[3 * i] = x[i];
            m[3 * i + 1] = y[i];
            m[3 * i + 2] = 1.0;
        }
        int pivots[3];
        if (LuDecompose(m, 3, pivots)) return 1;
        LuSolve(m, 3, sx, pivots);
        LuSolve(m, 3, sy, pivots);
        map->a = sx[0];
        map->b = sx[1];
        map->c = sx[2];
        map->d = sy[0];
        map->e = sy[1];
        map->f = sy[2];
        return 0;
    }
    case ALIGN_PERSPECTIVE: {
        double m[64] = {}, s[8];
        for (int i = 0; i < 4; i++) {
            double *r = m + 8 * i;
            r[0] = x[i];
            r[1] = y[i];
            r[2] = 1.0;
            r[6] = -x[i] * u[i];
            r[7] = -y[i] * u[i];
            s[i] = u[i];
            r = m + 8 * (4 + i);
            r[3] = x[i];
            r[4] = y[i];
            r[5] = 1.0;
            r[6] = -x[i] * v[i];
            r[7] = -y[i] * v[i];
            s[4 + i] = v[i];
        }
        if (SolveLinear(m, 8, s)) return 1;
        *map = {s[0], s[1], s[2], s[3], s[4], s[5], s[6], s[7]};
        return 0;
    }
    }
    return 0;
}

int AlignmentMapIsIdentity(const AlignmentMap *map)
{
    return map->a == 1.0 && map->e == 1.0 && map->b == 0.0 && map->c == 0.0 && map->d == 0.0 &&
           map->f == 0.0 && map->g == 0.0 && map->h == 0.0;
}

void MapPoint(const AlignmentMap *map, double x, double y, double *mappedX, double *mappedY)
{
    double denominator = map->g * x + map->h * y + 1.0;
    *mappedX = (map->a * x + map->b * y + map->c) / denominator;
    *mappedY = (map->d * x + map->e * y + map->f) / denominator;
}

// The basis of a method at squared distance d2 (not 0; the exact hit is answered before).
static double WarpBasis(int method, double d2, double r2)
{
    switch (method) {
    case WARP_HARDY: return sqrt(d2 + r2);
    case WARP_THIN_PLATE: return d2 * log(d2);
    case WARP_GAUSSIAN: return exp(-d2 / r2);
    case WARP_SINC: {
        double t = d2 / r2;
        return t == 0.0 ? 1.0 : sin(t) / t;
    }
    }
    return 0.0;
}

int SolveMultiPoint(AlignmentSettings *settings, const AlignmentMap *map, int backgroundWidth,
                    int backgroundHeight)
{
    int n = settings->pointCount;
    if (n > ALIGN_MAX_POINTS) n = ALIGN_MAX_POINTS;
    const double *x = settings->backgroundX, *y = settings->backgroundY;
    for (int i = 0; i < n; i++) {
        // The first three pairs make the affine map, which meets them exactly.
        settings->residualX[i] =
            i < 3 ? 0.0 : settings->overlayX[i] - (map->a * x[i] + map->b * y[i] + map->c);
        settings->residualY[i] =
            i < 3 ? 0.0 : settings->overlayY[i] - (map->d * x[i] + map->e * y[i] + map->f);
    }
    double diagonal = sqrt((double)backgroundWidth * backgroundWidth +
                           (double)backgroundHeight * backgroundHeight);
    int method = settings->method;
    double s = 0.0;
    double diagonalValue = 1.0;
    if (method == WARP_HARDY) {
        s = settings->radiusFactor * 1.25 * diagonal / sqrt((double)(n > 0 ? n : 1));
        diagonalValue = s;
    } else if (method == WARP_GAUSSIAN || method == WARP_SINC) {
        s = settings->radiusFactor * 0.2 * diagonal;
    }
    settings->basisScaleSquared = s * s;
    if (method == WARP_SHEPARD || method < 0 || method >= WARP_METHOD_COUNT || n < 1) return 0;

    // Up to 61 x 61 doubles: on the stack, so that a compute allocates nothing for it.
    double matrix[ALIGN_MAX_POINTS * ALIGN_MAX_POINTS];
    int pivots[ALIGN_MAX_POINTS];
    double r2 = settings->basisScaleSquared;
    for (int i = 0; i < n; i++)
        for (int j = 0; j < n; j++) {
            double dx = x[i] - x[j], dy = y[i] - y[j];
            double d2 = dx * dx + dy * dy;
            double value;
            if (i == j)
                value = diagonalValue;
            else if (d2 == 0.0)
                // Two equal background points beyond the first three: the limit of each
                // basis at 0, which leaves the matrix singular.
                value = method == WARP_THIN_PLATE ? 0.0 : WarpBasis(method, 1e-300, r2);
            else
                value = WarpBasis(method, d2, r2);
            matrix[i * n + j] = value;
        }
    if (LuDecompose(matrix, n, pivots)) return 1;
    memcpy(settings->weightX, settings->residualX, sizeof(double) * n);
    memcpy(settings->weightY, settings->residualY, sizeof(double) * n);
    LuSolve(matrix, n, settings->weightX, pivots);
    LuSolve(matrix, n, settings->weightY, pivots);
    return 0;
}

void WarpResidual(const AlignmentSettings *settings, double x, double y, double *dx, double *dy)
{
    int n = settings->pointCount;
    if (n > ALIGN_MAX_POINTS) n = ALIGN_MAX_POINTS;
    const double *px = settings->backgroundX, *py = settings->backgroundY;
    double sumX = 0.0, sumY = 0.0, sumWeights = 0.0;
    int method = settings->method;
    double r2 = settings->basisScaleSquared;
    for (int i = 0; i < n; i++) {
        double ex = x - px[i], ey = y - py[i];
        double d2 = ex * ex + ey * ey;
        if (d2 == 0.0) {
            *dx = settings->residualX[i];
            *dy = settings->residualY[i];
            return;
        }
        if (method == WARP_SHEPARD) {
            double weight = 1.0 / d2;
            sumX += settings->residualX[i] * weight;
            sumY += settings->residualY[i] * weight;
            sumWeights += weight;
        } else {
            double basis = WarpBasis(method, d2, r2);
            sumX += settings->weightX[i] * basis;
            sumY += settings->weightY[i] * basis;
        }
    }
    if (method == WARP_SHEPARD) {
        *dx = sumWeights > 0.0 ? sumX / sumWeights : 0.0;
        *dy = sumWeights > 0.0 ? sumY / sumWeights : 0.0;
        return;
    }
    *dx = sumX;
    *dy = sumY;
}

void AlignmentMapPixel(const AlignmentSettings *settings, const AlignmentMap *map, double x,
                       double y, double *mappedX, double *mappedY)
{
    double numeratorX = map->a * x + map->b * y + map->c;
    double numeratorY = map->d * x + map->e * y + map->f;
    if (settings->mode == ALIGN_PERSPECTIVE) {
        double denominator = map->g * x + map->h * y + 1.0;
        numeratorX /= denominator;
        numeratorY /= denominator;
    } else if (settings->mode == ALIGN_MULTI_POINT) {
        double dx, dy;
        WarpResidual(settings, x, y, &dx, &dy);
        numeratorX += dx;
        numeratorY += dy;
    }
    *mappedX = numeratorX;
    *mappedY = numeratorY;
}

int AlignmentPrepare(AlignmentSettings *settings, int backgroundWidth, int backgroundHeight,
                     AlignmentMap *map)
{
    settings->singular = 0;
    if (ComputeAlignment(settings->mode, settings->pointCount, settings->backgroundX,
                         settings->backgroundY, settings->overlayX, settings->overlayY, map))
        return 1;
    if (settings->mode == ALIGN_MULTI_POINT)
        settings->singular = SolveMultiPoint(settings, map, backgroundWidth, backgroundHeight);
    return 0;
}

// Coverage of a position in the one-pixel fringe: the four pixels around it count 255 where
// they exist and 0 where they do not, blended bilinearly at the position's fractions.
static int FringeCoverage(double x, double y, int width, int height)
{
    double fx0 = floor(x), fy0 = floor(y);
    int ix = (int)fx0, iy = (int)fy0;
    double fx = x - fx0, fy = y - fy0;
    double in00 = ix >= 0 && ix < width && iy >= 0 && iy < height ? 255.0 : 0.0;
    double in10 = ix + 1 >= 0 && ix + 1 < width && iy >= 0 && iy < height ? 255.0 : 0.0;
    double in01 = ix >= 0 && ix < width && iy + 1 >= 0 && iy + 1 < height ? 255.0 : 0.0;
    double in11 = ix + 1 >= 0 && ix + 1 < width && iy + 1 >= 0 && iy + 1 < height ? 255.0 : 0.0;
    double lower = in00 + (in10 - in00) * fx;
    double upper = in01 + (in11 - in01) * fx;
    return Round(lower + (upper - lower) * fy);
}

// Lerp8 and Lerp16 without the table and the branch, which a picture's samples would make
// unpredictable: Lerp8(a, b, w) is (a (255 - w) + b w + 127) / 255 for all bytes, and t / 255
// is (t + 1 + (t >> 8)) >> 8 for every t below 65535.
template <typename Sample> static inline int LerpInside(int a, int b, int w)
{
    if constexpr (sizeof(Sample) == 1) {
        int t = a * (255 - w) + b * w + 127;
        return (t + 1 + (t >> 8)) >> 8;
    }
    return Lerp16(a, b, w);
}

#if defined(__SSE2__)
// One 24-bit pixel's three bytes in the low lanes of a register, with the next byte when it
// still lies in the row (wide), which a lane of its own keeps apart from them.
static inline __m128i PixelLoad24(const uint8_t *pixel, int wide)
{
    int32_t word;
    if (wide)
        memcpy(&word, pixel, 4);
    else
        word = pixel[0] | pixel[1] << 8 | pixel[2] << 16;
    return _mm_cvtsi32_si128(word);
}

// LerpInside on eight 16-bit lanes at once: a toward b by w, every lane below 65536 all the
// way through.
static inline __m128i LerpLanes(__m128i a, __m128i b, int w)
{
    __m128i t = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(a, _mm_set1_epi16((short)(255 - w))),
                                            _mm_mullo_epi16(b, _mm_set1_epi16((short)w))),
                              _mm_set1_epi16(127));
    t = _mm_add_epi16(_mm_add_epi16(t, _mm_set1_epi16(1)), _mm_srli_epi16(t, 8));
    return _mm_srli_epi16(t, 8);
}

// The bilinear blend of a 24-bit pixel's four neighbours, both rows' horizontal steps in one
// register: the same numbers as the scalar path, three channels at a time.
static inline void BlendColor24(const uint8_t *lowLeft, const uint8_t *lowRight,
                                const uint8_t *highLeft, const uint8_t *highRight, int wide, int fx,
                                int fy, uint8_t *out)
{
    __m128i zero = _mm_setzero_si128();
    __m128i left = _mm_unpacklo_epi8(
        _mm_unpacklo_epi32(PixelLoad24(lowLeft, 1), PixelLoad24(highLeft, 1)), zero);
    __m128i right = _mm_unpacklo_epi8(
        _mm_unpacklo_epi32(PixelLoad24(lowRight, wide), PixelLoad24(highRight, wide)), zero);
    __m128i rows = LerpLanes(left, right, fx); // the lower row's lanes, then the upper's
    __m128i blended = LerpLanes(rows, _mm_srli_si128(rows, 8), fy);
    uint32_t pixel = (uint32_t)_mm_cvtsi128_si32(_mm_packus_epi16(blended, blended));
    out[0] = (uint8_t)pixel;
    out[1] = (uint8_t)(pixel >> 8);
    out[2] = (uint8_t)(pixel >> 16);
}
#endif

// The bilinear sample of an 8 or 16-bit picture (rows, w x h) with channels samples a pixel at
// column x, row index y, both inside the picture: the arithmetic of the core's samplers, with
// the position found once for all channels. The picture comes as plain values, which the
// stores of the row, as bytes that may alias anything, cannot make the compiler read again.
template <typename Sample, int channels>
static inline void SampleInside(uint8_t *const *rows, int w, int h, int rowBytes, double x,
                                double y, Sample *out)
{
    // (x - (int)x) * 256 is exact for x >= 0, so one conversion gives the column and the
    // weight the samplers work out in two.
    int px = (int)(x * 256.0), py = (int)(y * 256.0);
    int ix = px >> 8, iy = py >> 8;
    int fx = px & 255, fy = py & 255;
    if (fx == 0 && fy == 0) {
        const Sample *pixel = (const Sample *)rows[iy] + (size_t)ix * channels;
        for (int c = 0; c < channels; c++)
            out[c] = pixel[c];
        return;
    }
    if (ix >= w - 1) {
        ix = w - 2;
        fx = 255;
    }
    if (iy >= h - 1) {
        iy = h - 2;
        fy = 255;
    }
    if (ix < 0) ix = 0;
    if (iy < 0) iy = 0;
    int ix1 = ix + 1 < w ? ix + 1 : w - 1;
    int iy1 = iy + 1 < h ? iy + 1 : h - 1;
    const Sample *low = (const Sample *)rows[iy];
    const Sample *high = (const Sample *)rows[iy1];
    size_t left = (size_t)ix * channels, right = (size_t)ix1 * channels;
#if defined(__SSE2__)
    if constexpr (sizeof(Sample) == 1 && channels == 3) {
        // The left pixel always has a byte after it in the row: the right one's.
        int wide = (int)right + 4 <= rowBytes;
        BlendColor24(low + left, low + right, high + left, high + right, wide, fx, fy, out);
        return;
    }
#endif
    int lower[channels], upper[channels];
    for (int c = 0; c < channels; c++) {
        lower[c] = LerpInside<Sample>(low[left + c], low[right + c], fx);
        upper[c] = LerpInside<Sample>(high[left + c], high[right + c], fx);
    }
    for (int c = 0; c < channels; c++)
        out[c] = (Sample)LerpInside<Sample>(lower[c], upper[c], fy);
}

#if defined(__SSE2__)
// t / 255 rounded as LerpInside rounds it, on 32-bit lanes: t + 127 stays below 65535.
static inline __m128i Divide255Lanes(__m128i t)
{
    t = _mm_add_epi32(t, _mm_set1_epi32(127));
    return _mm_srli_epi32(_mm_add_epi32(_mm_add_epi32(t, _mm_set1_epi32(1)), _mm_srli_epi32(t, 8)),
                          8);
}

// The same on 16-bit lanes, which hold every such t + 127 and the sum made from it.
static inline __m128i Divide255Halves(__m128i t)
{
    t = _mm_add_epi16(t, _mm_set1_epi16(127));
    return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(t, _mm_set1_epi16(1)), _mm_srli_epi16(t, 8)),
                          8);
}

// The bilinear blend of a 24-bit pixel from its neighbour pairs, each pair's six bytes read as
// eight (the caller makes sure the row holds them). Every channel's left and right samples
// lie side by side as 16-bit halves of a 32-bit lane, and the two weights likewise, so one
// multiply-add gives a (255 - w) + b w for all channels. Those sums fit 16 bits: the two
// rows' share one register, each channel's lower and upper value side by side in turn for
// the step between the rows. The result, blue green red and a fourth byte of no meaning, in
// the low bytes of the value.
static inline uint32_t BlendPair24(const uint8_t *low, const uint8_t *high, int fx, int fy)
{
    __m128i zero = _mm_setzero_si128();
    __m128i lowPair = _mm_unpacklo_epi8(_mm_loadl_epi64((const __m128i *)low), zero);
    __m128i highPair = _mm_unpacklo_epi8(_mm_loadl_epi64((const __m128i *)high), zero);
    __m128i across = _mm_set1_epi32(fx << 16 | (255 - fx));
    __m128i lower = _mm_madd_epi16(_mm_unpacklo_epi16(lowPair, _mm_srli_si128(lowPair, 6)), across);
    __m128i upper =
        _mm_madd_epi16(_mm_unpacklo_epi16(highPair, _mm_srli_si128(highPair, 6)), across);
    __m128i rows = Divide255Halves(_mm_or_si128(lower, _mm_slli_epi32(upper, 16)));
    __m128i down = _mm_set1_epi32(fy << 16 | (255 - fy));
    __m128i blended = Divide255Lanes(_mm_madd_epi16(rows, down));
    blended = _mm_packs_epi32(blended, blended);
    return (uint32_t)_mm_cvtsi128_si32(_mm_packus_epi16(blended, blended));
}
#endif

// The bilinear sample at column ix + fx / 256, row index iy + fy / 256, the pixel to the right
// and the row above both inside the picture: SampleInside without its clamps. A weight of 0
// leaves a sample as it is (a 255 / 255 is a, and Lerp16(a, b, 0) is a), so an exact pixel
// needs no branch of its own.
template <typename Sample, int channels>
static inline void SampleBetween(uint8_t *const *rows, int ix, int iy, int fx, int fy, Sample *out)
{
    const Sample *low = (const Sample *)rows[iy] + (size_t)ix * channels;
    const Sample *high = (const Sample *)rows[iy + 1] + (size_t)ix * channels;
    for (int c = 0; c < channels; c++) {
        int lower = LerpInside<Sample>(low[c], low[channels + c], fx);
        int upper = LerpInside<Sample>(high[c], high[channels + c], fx);
        out[c] = (Sample)LerpInside<Sample>(lower, upper, fy);
    }
}

#if defined(__SSE2__)
// The short road's 24-bit pixels k..last of a stretch, out at pixel k, from their positions
// in 1/256ths (columns, rowIndices); end is the first pixel of the stretch past the row's end.
// BlendPair24 where a pixel's pair can be read as eight bytes (column at most pairColumns),
// else SampleBetween. Always inlined: each of AlignedRowOf's builds takes it in its own
// instructions, as it took its loop before AVX2's road came beside it.
[[gnu::always_inline]] static inline void BlendRun24(uint8_t *const *rows, const int *columns,
                                                     const int *rowIndices, int k, int last,
                                                     int end, int pairColumns, uint8_t *out)
{
    for (; k <= last; k++, out += 3) {
        // (x - (int)x) * 256 is exact for x >= 0, so one conversion gave the column and its
        // weight.
        int ix = columns[k] >> 8, iy = rowIndices[k] >> 8;
        int fx = columns[k] & 255, fy = rowIndices[k] & 255;
        if (ix > pairColumns) {
            SampleBetween<uint8_t, 3>(rows, ix, iy, fx, fy, out);
            continue;
        }
        uint32_t pixel =
            BlendPair24(rows[iy] + (size_t)ix * 3, rows[iy + 1] + (size_t)ix * 3, fx, fy);
        // Four bytes written where the next pixel's first byte follows in the row and will
        // be written over in turn.
        if (k + 1 < end)
            memcpy(out, &pixel, 4);
        else
            memcpy(out, &pixel, 3);
    }
}
#endif

#if defined(VISTEL_AVX2_PATHS)
// BlendRun24 two pixels at once, one in each half of the AVX2 registers (whose byte
// shuffles, shifts, multiply-adds and packs all stay within their halves): BlendPair24's
// lanes and arithmetic, so its bytes. Each half holds its pixel's lower pair's eight bytes
// and then its upper pair's; one shuffle a row spreads them into 16-bit halves with every
// channel's left and right samples side by side. A pair that cannot be read so and an odd
// last pixel go to BlendRun24.
AVX2_TARGET static void BlendRun24Wide(uint8_t *const *rows, const int *columns,
                                       const int *rowIndices, int k, int last, int end,
                                       int pairColumns, uint8_t *out)
{
    // A pair's bytes, left blue green red then right blue green red and two more, to 16-bit
    // lanes: blue left and right, green, red, the two more. Eight further on, the upper pair.
    const __m256i lowOrder = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, 6, -1, 7, -1));
    const __m256i highOrder = _mm256_add_epi8(lowOrder, _mm256_set1_epi16(8));
    // The blended blue, green and red of the first pixel to bytes 0..2 and of the second,
    // from its own half, to bytes 3..5.
    const __m256i gather = _mm256_setr_m128i(
        _mm_setr_epi8(0, 4, 8, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1),
        _mm_setr_epi8(-1, -1, -1, 0, 4, 8, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1));
    const __m256i spreadAcross = _mm256_setr_epi32(0, 0, 0, 0, 2, 2, 2, 2);
    const __m256i spreadDown = _mm256_setr_epi32(1, 1, 1, 1, 3, 3, 3, 3);
    __m128i full = _mm_set1_epi32(255);
    // Every sum here is at most 255 x 255, so u = sum + 127 lies below 65535, where u / 255
    // rounded down, which the portable road works out as (u + 1 + (u >> 8)) >> 8, is also
    // u * 0x8081 >> 23: the high half of the product and a shift.
    __m256i reciprocal = _mm256_set1_epi16((short)0x8081);
    __m256i bias = _mm256_set1_epi16(127), bias32 = _mm256_set1_epi32(127);
    // Held in registers through the loop, which the compiler would otherwise make afresh in
    // each turn from their values.
    __asm__("" : "+x"(reciprocal), "+x"(bias), "+x"(bias32), "+x"(full));
    for (; k + 1 <= last; k += 2, out += 6) {
        int first = columns[k] >> 8, second = columns[k + 1] >> 8;
        if (first > pairColumns || second > pairColumns) {
            BlendRun24(rows, columns, rowIndices, k, k + 1, end, pairColumns, out);
            continue;
        }
        int firstRow = rowIndices[k] >> 8, secondRow = rowIndices[k + 1] >> 8;
        __m128i a = _mm_unpacklo_epi64(
            _mm_loadl_epi64((const __m128i *)(rows[firstRow] + (size_t)first * 3)),
            _mm_loadl_epi64((const __m128i *)(rows[firstRow + 1] + (size_t)first * 3)));
        __m128i b = _mm_unpacklo_epi64(
            _mm_loadl_epi64((const __m128i *)(rows[secondRow] + (size_t)second * 3)),
            _mm_loadl_epi64((const __m128i *)(rows[secondRow + 1] + (size_t)second * 3)));
        __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(a), b, 1);
        // fx and fy of both pixels, then their weight pairs w << 16 | (255 - w).
        __m128i fractions =
            _mm_and_si128(_mm_unpacklo_epi32(_mm_loadl_epi64((const __m128i *)(columns + k)),
                                             _mm_loadl_epi64((const __m128i *)(rowIndices + k))),
                          full);
        __m256i weights = _mm256_castsi128_si256(
            _mm_or_si128(_mm_slli_epi32(fractions, 16), _mm_sub_epi32(full, fractions)));
        __m256i across = _mm256_permutevar8x32_epi32(weights, spreadAcross);
        __m256i down = _mm256_permutevar8x32_epi32(weights, spreadDown);
        __m256i lower = _mm256_madd_epi16(_mm256_shuffle_epi8(both, lowOrder), across);
        __m256i upper = _mm256_madd_epi16(_mm256_shuffle_epi8(both, highOrder), across);
        __m256i t = _mm256_add_epi16(_mm256_or_si256(lower, _mm256_slli_epi32(upper, 16)), bias);
        __m256i between = _mm256_srli_epi16(_mm256_mulhi_epu16(t, reciprocal), 7);
        // The sums of the step between the rows stay below 65536 too: the upper halves of
        // their 32-bit lanes are 0 and stay so.
        t = _mm256_add_epi32(_mm256_madd_epi16(between, down), bias32);
        __m256i blended = _mm256_srli_epi16(_mm256_mulhi_epu16(t, reciprocal), 7);
        blended = _mm256_shuffle_epi8(blended, gather);
        __m128i pixels =
            _mm_or_si128(_mm256_castsi256_si128(blended), _mm256_extracti128_si256(blended, 1));
        // Eight bytes where the next pixel follows in the row and will be written over.
        if (k + 2 < end) {
            _mm_storel_epi64((__m128i *)out, pixels);
        } else {
            uint64_t six = (uint64_t)_mm_cvtsi128_si64(pixels);
            memcpy(out, &six, 6);
        }
    }
    BlendRun24(rows, columns, rowIndices, k, last, end, pairColumns, out);
}
#endif

#if defined(VISTEL_AVX2_PATHS)
// For a row on the short road: the positions of a stretch's n pixels (xs, ys) as the map
// gives them, and for each inside pixel its column and row index in 1/256ths (0 for one
// outside), four pixels at a time with the same operations in the same order as the
// portable loops, so the same doubles. Returns how many pixels are inside.
AVX2_TARGET static int ShortRoadPositionsWide(int perspective, double a, double d, double g,
                                              double rowX, double rowY, double rowDenominator,
                                              double stretchX, double xStep, int n, double right,
                                              double top, double *xs, double *ys, int *columns,
                                              int *rowIndices)
{
    const __m256d aLanes = _mm256_set1_pd(a), dLanes = _mm256_set1_pd(d),
                  gLanes = _mm256_set1_pd(g);
    const __m256d rowXLanes = _mm256_set1_pd(rowX), rowYLanes = _mm256_set1_pd(rowY);
    const __m256d denominatorLanes = _mm256_set1_pd(rowDenominator), one = _mm256_set1_pd(1.0);
    const __m256d startLanes = _mm256_set1_pd(stretchX), stepLanes = _mm256_set1_pd(xStep);
    const __m256d zero = _mm256_setzero_pd(), rightLanes = _mm256_set1_pd(right);
    const __m256d topLanes = _mm256_set1_pd(top), scale = _mm256_set1_pd(256.0);
    const __m128i order = _mm_setr_epi32(0, 1, 2, 3);
    int inside = 0, k = 0;
    for (; k + 4 <= n; k += 4) {
        __m256d x = _mm256_add_pd(
            startLanes,
            _mm256_mul_pd(_mm256_cvtepi32_pd(_mm_add_epi32(_mm_set1_epi32(k), order)), stepLanes));
        __m256d mappedX = _mm256_add_pd(_mm256_mul_pd(aLanes, x), rowXLanes);
        __m256d mappedY = _mm256_add_pd(_mm256_mul_pd(dLanes, x), rowYLanes);
        if (perspective) {
            __m256d inverse =
                _mm256_div_pd(one, _mm256_add_pd(_mm256_mul_pd(gLanes, x), denominatorLanes));
            mappedX = _mm256_mul_pd(mappedX, inverse);
            mappedY = _mm256_mul_pd(mappedY, inverse);
        }
        _mm256_storeu_pd(xs + k, mappedX);
        _mm256_storeu_pd(ys + k, mappedY);
        __m256d rowIndex = _mm256_sub_pd(topLanes, mappedY);
        // Ordered comparisons: a NaN counts as outside.
        __m256d in = _mm256_and_pd(_mm256_and_pd(_mm256_cmp_pd(mappedX, zero, _CMP_GE_OQ),
                                                 _mm256_cmp_pd(mappedX, rightLanes, _CMP_LT_OQ)),
                                   _mm256_and_pd(_mm256_cmp_pd(rowIndex, zero, _CMP_GE_OQ),
                                                 _mm256_cmp_pd(rowIndex, topLanes, _CMP_LT_OQ)));
        _mm_storeu_si128((__m128i *)(columns + k),
                         _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_and_pd(mappedX, in), scale)));
        _mm_storeu_si128((__m128i *)(rowIndices + k),
                         _mm256_cvttpd_epi32(_mm256_mul_pd(_mm256_and_pd(rowIndex, in), scale)));
        inside += __builtin_popcount((unsigned)_mm256_movemask_pd(in));
    }
    for (; k < n; k++) {
        double x = stretchX + k * xStep;
        double mappedX = a * x + rowX, mappedY = d * x + rowY;
        if (perspective) {
            double inverse = 1.0 / (g * x + rowDenominator);
            mappedX *= inverse;
            mappedY *= inverse;
        }
        xs[k] = mappedX;
        ys[k] = mappedY;
        double rowIndex = top - mappedY;
        bool in = mappedX >= 0.0 && mappedX < right && rowIndex >= 0.0 && rowIndex < top;
        columns[k] = (int)((in ? mappedX : 0.0) * 256.0);
        rowIndices[k] = (int)((in ? rowIndex : 0.0) * 256.0);
        inside += in;
    }
    return inside;
}
#endif

constexpr int ALIGN_MAP_STRETCH = 256; // pixels whose positions are worked out together

// Maps output pixels 0..count-1 of a row and samples the overlay at each, Sample and
// channels fixed for the whole row.
//
// Most pixels of an aligned row land well inside the overlay. For those the row takes a
// shorter road: their positions become whole 1/256ths of a pixel in a loop the compiler runs
// several pixels at a time, their coverage is 255 at once, and their samples need no clamp.
// A pixel takes it when its column lies in [0, width - 1) and its row index in
// [0, height - 1): the pixel to its right and the row above it exist, and the general path
// would give coverage 255 and clamp nothing. Along a row of a projective map the positions
// are monotone wherever the denominator keeps its sign, so those pixels are one run; but
// rounding could make a pixel near an edge step outside and back, so the run is not taken on
// trust: the pixels inside are counted, and only when they are exactly the ones between the
// first and the last inside does the run take the short road.
template <typename Sample, int channels>
VECTOR_CLONES static void AlignedRowOf(const Image *overlay, const AlignmentSettings *settings,
                                       const AlignmentMap *map, double x0, double xStep, double y,
                                       int count, Sample *samples, uint8_t *coverage, int *first,
                                       int *last)
{
    int binary = overlay->type == TYPE_BINARY;
    uint8_t *const *rows = overlay->rows;
    const int width = overlay->width, height = overlay->height, rowBytes = overlay->rowBytes;
    const double right = width - 1, top = height - 1;
    const int mode = settings->mode;
    const double a = map->a, d = map->d, g = map->g;
    // The parts of the numerators that stay the same along the row.
    const double rowX = map->b * y + map->c;
    const double rowY = map->e * y + map->f;
    const double rowDenominator = map->h * y + 1.0;
    // The warp's positions follow no single formula along the row, and a binary overlay has
    // its own sampler: both take the general path throughout.
    const int shortRoad = !binary && mode != ALIGN_MULTI_POINT;
    // The processor's AVX2, where it has it, works out the short road's positions and blends
    // its 24-bit samples: the same numbers, more of them an instruction.
    const int avx2 = CpuAvx2(), wideRoad = shortRoad && avx2;
    // The last column whose pair of 24-bit pixels can be read as eight bytes.
    const int pairColumns = rowBytes >= 8 ? (rowBytes - 8) / 3 : -1;
    int firstCovered = -1, lastCovered = -1;
    // The positions of a stretch of the row first, in a loop of plain arithmetic that the
    // compiler runs several pixels at a time, then the samples.
    double xs[ALIGN_MAP_STRETCH], ys[ALIGN_MAP_STRETCH];
    int columns[ALIGN_MAP_STRETCH], rowIndices[ALIGN_MAP_STRETCH];
    for (int start = 0; start < count; start += ALIGN_MAP_STRETCH) {
        int n = count - start < ALIGN_MAP_STRETCH ? count - start : ALIGN_MAP_STRETCH;
        double stretchX = x0 + start * xStep;
        // The run of pixels on the short road, runFirst..runLast (empty when runFirst > runLast).
        int runFirst = n, runLast = -1, inside = 0;
#if defined(VISTEL_AVX2_PATHS)
        if (wideRoad)
            inside = ShortRoadPositionsWide(mode == ALIGN_PERSPECTIVE, a, d, g, rowX, rowY,
                                            rowDenominator, stretchX, xStep, n, right, top, xs, ys,
                                            columns, rowIndices);
#endif
        if (!wideRoad && mode == ALIGN_PERSPECTIVE) {
            for (int k = 0; k < n; k++) {
                double x = stretchX + k * xStep;
                double inverse = 1.0 / (g * x + rowDenominator);
                xs[k] = (a * x + rowX) * inverse;
                ys[k] = (d * x + rowY) * inverse;
            }
        } else if (!wideRoad) {
            for (int k = 0; k < n; k++) {
                double x = stretchX + k * xStep;
                xs[k] = a * x + rowX;
                ys[k] = d * x + rowY;
            }
        }
        if (mode == ALIGN_MULTI_POINT)
            for (int k = 0; k < n; k++) {
                double dx, dy;
                WarpResidual(settings, stretchX + k * xStep, y, &dx, &dy);
                xs[k] += dx;
                ys[k] += dy;
            }

        if (shortRoad && !wideRoad) {
            int k = 0;
#if defined(__SSE2__)
            // Two pixels at a time, as the scalar loop below does them: the compiler leaves
            // a loop of mixed widths and selects as it is.
            const __m128d zero = _mm_setzero_pd(), rightLanes = _mm_set1_pd(right);
            const __m128d topLanes = _mm_set1_pd(top), scale = _mm_set1_pd(256.0);
            for (; k + 2 <= n; k += 2) {
                __m128d mappedX = _mm_loadu_pd(xs + k);
                __m128d rowIndex = _mm_sub_pd(topLanes, _mm_loadu_pd(ys + k));
                __m128d in = _mm_and_pd(
                    _mm_and_pd(_mm_cmpge_pd(mappedX, zero), _mm_cmplt_pd(mappedX, rightLanes)),
                    _mm_and_pd(_mm_cmpge_pd(rowIndex, zero), _mm_cmplt_pd(rowIndex, topLanes)));
                _mm_storel_epi64((__m128i *)(columns + k),
                                 _mm_cvttpd_epi32(_mm_mul_pd(_mm_and_pd(mappedX, in), scale)));
                _mm_storel_epi64((__m128i *)(rowIndices + k),
                                 _mm_cvttpd_epi32(_mm_mul_pd(_mm_and_pd(rowIndex, in), scale)));
                int lanes = _mm_movemask_pd(in);
                inside += (lanes & 1) + (lanes >> 1);
            }
#endif
            for (; k < n; k++) {
                double mappedX = xs[k], rowIndex = top - ys[k];
                // Written so that a NaN counts as outside; a position outside becomes 0
                // before its conversion, which could not hold it.
                bool in = mappedX >= 0.0 && mappedX < right && rowIndex >= 0.0 && rowIndex < top;
                columns[k] = (int)((in ? mappedX : 0.0) * 256.0);
                rowIndices[k] = (int)((in ? rowIndex : 0.0) * 256.0);
                inside += in;
            }
        }
        if (shortRoad) {
            auto isInside = [&](int k) {
                double mappedX = xs[k], rowIndex = top - ys[k];
                return mappedX >= 0.0 && mappedX < right && rowIndex >= 0.0 && rowIndex < top;
            };
            if (inside > 0) {
                runFirst = 0;
                while (!isInside(runFirst))
                    runFirst++;
                runLast = n - 1;
                while (!isInside(runLast))
                    runLast--;
                if (runLast - runFirst + 1 != inside) runFirst = n, runLast = -1;
            }
        }
        if (runFirst <= runLast) {
            memset(coverage + start + runFirst, 255, (size_t)(runLast - runFirst + 1));
            if (firstCovered < 0) firstCovered = start + runFirst;
            lastCovered = start + runLast;
        }

        for (int k = 0; k < n; k++) {
            int i = start + k;
            Sample *out = samples + (size_t)i * channels;
            if (k == runFirst) {
                // A shift by whole pixels lands every pixel exactly on one of the overlay's,
                // and along a row on consecutive ones: those are copied, not blended.
                int fractions = 0, straight = 1;
                for (int j = runFirst; j <= runLast; j++) {
                    fractions |= (columns[j] | rowIndices[j]) & 255;
                    straight &= (columns[j] == columns[runFirst] + (j - runFirst) * 256) &
                                (rowIndices[j] == rowIndices[runFirst]);
                }
                if (fractions == 0) {
                    for (; k <= runLast; k++, out += channels) {
                        const Sample *pixel = (const Sample *)rows[rowIndices[k] >> 8] +
                                              (size_t)(columns[k] >> 8) * channels;
                        if (straight) {
                            memcpy(out, pixel, sizeof(Sample) * channels * (runLast - k + 1));
                            break;
                        }
                        for (int c = 0; c < channels; c++)
                            out[c] = pixel[c];
                    }
                    k = runLast;
                    continue;
                }
#if defined(__SSE2__)
                if constexpr (sizeof(Sample) == 1 && channels == 3) {
#if defined(VISTEL_AVX2_PATHS)
                    if (avx2)
                        BlendRun24Wide(rows, columns, rowIndices, k, runLast, count - start,
                                       pairColumns, out);
                    else
#endif
                        BlendRun24(rows, columns, rowIndices, k, runLast, count - start,
                                   pairColumns, out);
                    k = runLast;
                    continue;
                }
#endif
                for (; k <= runLast; k++, out += channels) {
                    // (x - (int)x) * 256 is exact for x >= 0, so one conversion gave the
                    // column and its weight.
                    int ix = columns[k] >> 8, iy = rowIndices[k] >> 8;
                    SampleBetween<Sample, channels>(rows, ix, iy, columns[k] & 255,
                                                    rowIndices[k] & 255, out);
                }
                k = runLast;
                continue;
            }
            double mappedX = xs[k], mappedY = ys[k];
            // Written so that a NaN from a degenerate mapping counts as outside.
            if (!(mappedX > -1.0 && mappedX < width && mappedY > -1.0 && mappedY < height)) {
                coverage[i] = 0;
                for (int c = 0; c < channels; c++)
                    out[c] = 0;
                continue;
            }
            int cover = 255;
            if (mappedX < 0.0 || mappedX > right || mappedY < 0.0 || mappedY > top) {
                cover = FringeCoverage(mappedX, mappedY, width, height);
                mappedX = mappedX < 0.0 ? 0.0 : mappedX > right ? right : mappedX;
                mappedY = mappedY < 0.0 ? 0.0 : mappedY > top ? top : mappedY;
            }
            coverage[i] = (uint8_t)cover;
            if (cover > 0) {
                if (firstCovered < 0 || i < firstCovered) firstCovered = i;
                if (i > lastCovered) lastCovered = i;
            }
            // Ruler rows count down from the top; the picture's rows up from the bottom.
            double rowIndex = top - mappedY;
            if (binary)
                out[0] = (Sample)SampleBinary(overlay, mappedX, rowIndex, 0);
            else
                SampleInside<Sample, channels>(rows, width, height, rowBytes, mappedX, rowIndex,
                                               out);
        }
    }
    *first = firstCovered;
    *last = lastCovered;
}

void AlignedOverlayRow(const Image *overlay, const AlignmentSettings *settings,
                       const AlignmentMap *map, double x0, double xStep, double y, int count,
                       uint8_t *samples, uint8_t *coverage, int *first, int *last)
{
    uint16_t *wide = (uint16_t *)samples;
    switch (overlay->type) {
    case TYPE_COLOR48:
        AlignedRowOf<uint16_t, 3>(overlay, settings, map, x0, xStep, y, count, wide, coverage,
                                  first, last);
        break;
    case TYPE_GRAY16:
        AlignedRowOf<uint16_t, 1>(overlay, settings, map, x0, xStep, y, count, wide, coverage,
                                  first, last);
        break;
    case TYPE_COLOR24:
        AlignedRowOf<uint8_t, 3>(overlay, settings, map, x0, xStep, y, count, samples, coverage,
                                 first, last);
        break;
    default:
        AlignedRowOf<uint8_t, 1>(overlay, settings, map, x0, xStep, y, count, samples, coverage,
                                 first, last);
        break;
    }
}

int AlignmentAddPair(AlignmentSettings *settings, const AlignmentMap *map, double x, double y)
{
    int pair = settings->pointCount;
    if (pair >= ALIGN_MAX_POINTS) return -1;
    double mappedX, mappedY;
    AlignmentMapPixel(settings, map, x, y, &mappedX, &mappedY);
    settings->backgroundX[pair] = x;
    settings->backgroundY[pair] = y;
    settings->overlayX[pair] = mappedX;
    settings->overlayY[pair] = mappedY;
    settings->pointCount = pair + 1;
    return pair;
}

int AlignmentRemovePair(AlignmentSettings *settings, int pair)
{
    int n = settings->pointCount;
    if (pair < 3 || pair >= n) return 1;
    double *arrays[] = {settings->backgroundX, settings->backgroundY, settings->overlayX,
                        settings->overlayY,    settings->residualX,   settings->residualY,
                        settings->weightX,     settings->weightY};
    for (double *values : arrays)
        memmove(values + pair, values + pair + 1, sizeof(double) * (size_t)(n - 1 - pair));
    settings->pointCount = n - 1;
    return 0;
}

int AlignmentFindPoint(const double *xs, const double *ys, int count, double x, double y)
{
    int found = -1;
    double best = (double)ALIGN_GRAB_DISTANCE * ALIGN_GRAB_DISTANCE;
    for (int i = 0; i < count; i++) {
        double dx = xs[i] - x, dy = ys[i] - y;
        double d2 = dx * dx + dy * dy;
        if (d2 <= best) {
            best = d2;
            found = i;
        }
    }
    return found;
}

double AlignmentRadiusFactor(int position)
{
    return position * 4.99 / ALIGN_RADIUS_POSITIONS + 0.01;
}

int AlignmentRadiusPosition(double radiusFactor)
{
    int position = Round((radiusFactor - 0.01) * ALIGN_RADIUS_POSITIONS / 4.99);
    return position < 0 ? 0 : position > ALIGN_RADIUS_POSITIONS ? ALIGN_RADIUS_POSITIONS : position;
}
