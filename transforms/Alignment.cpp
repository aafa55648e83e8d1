// Alignment: the mappings from matched points, the multi-point warp, and the row of overlay
// samples laid over one background row.
#include "transforms/Alignment.h"

#include <cmath>
#include <cstring>

#include "core/Helpers.h"

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

// The bilinear sample of an 8 or 16-bit picture with channels samples a pixel at column x,
// row index y, both inside the picture: the arithmetic of the core's samplers, written for a
// row so that the position is found once for all channels.
template <typename Sample>
static void SampleInside(const Image *image, int channels, double x, double y, Sample *out)
{
    int w = image->width, h = image->height;
    int ix = (int)x, iy = (int)y;
    int fx = (int)((x - ix) * 256.0);
    int fy = (int)((y - iy) * 256.0);
    if (fx == 0 && fy == 0) {
        const Sample *pixel = (const Sample *)image->rows[iy] + (size_t)ix * channels;
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
    const Sample *low = (const Sample *)image->rows[iy];
    const Sample *high = (const Sample *)image->rows[iy1];
    size_t left = (size_t)ix * channels, right = (size_t)ix1 * channels;
    for (int c = 0; c < channels; c++) {
        if (sizeof(Sample) == 1) {
            int lower = Lerp8(low[left + c], low[right + c], fx);
            int upper = Lerp8(high[left + c], high[right + c], fx);
            out[c] = (Sample)Lerp8(lower, upper, fy);
        } else {
            int lower = Lerp16(low[left + c], low[right + c], fx);
            int upper = Lerp16(high[left + c], high[right + c], fx);
            out[c] = (Sample)Lerp16(lower, upper, fy);
        }
    }
}

// Maps output pixels first..count-1 of a row and samples the overlay at each, Sample and
// channels fixed for the whole row.
template <typename Sample>
static void AlignedRowOf(const Image *overlay, const AlignmentSettings *settings,
                         const AlignmentMap *map, double x0, double xStep, double y, int count,
                         Sample *samples, uint8_t *coverage, int *first, int *last)
{
    int channels = overlay->type == TYPE_COLOR24 || overlay->type == TYPE_COLOR48 ? 3 : 1;
    int binary = overlay->type == TYPE_BINARY;
    int width = overlay->width, height = overlay->height;
    double right = width - 1, top = height - 1;
    int mode = settings->mode;
    // The parts of the numerators that stay the same along the row.
    double rowX = map->b * y + map->c;
    double rowY = map->e * y + map->f;
    double rowDenominator = map->h * y + 1.0;
    *first = -1;
    *last = -1;
    for (int i = 0; i < count; i++) {
        double x = x0 + i * xStep;
        double mappedX = map->a * x + rowX;
        double mappedY = map->d * x + rowY;
        if (mode == ALIGN_PERSPECTIVE) {
            double inverse = 1.0 / (map->g * x + rowDenominator);
            mappedX *= inverse;
            mappedY *= inverse;
        } else if (mode == ALIGN_MULTI_POINT) {
            double dx, dy;
            WarpResidual(settings, x, y, &dx, &dy);
            mappedX += dx;
            mappedY += dy;
        }
        Sample *out = samples + (size_t)i * channels;
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
            if (*first < 0) *first = i;
            *last = i;
        }
        // Ruler rows count down from the top; the picture's rows up from the bottom.
        double rowIndex = top - mappedY;
        if (binary)
            out[0] = (Sample)SampleBinary(overlay, mappedX, rowIndex, 0);
        else
            SampleInside<Sample>(overlay, channels, mappedX, rowIndex, out);
    }
}

void AlignedOverlayRow(const Image *overlay, const AlignmentSettings *settings,
                       const AlignmentMap *map, double x0, double xStep, double y, int count,
                       uint8_t *samples, uint8_t *coverage, int *first, int *last)
{
    if (overlay->type == TYPE_GRAY16 || overlay->type == TYPE_COLOR48)
        AlignedRowOf<uint16_t>(overlay, settings, map, x0, xStep, y, count, (uint16_t *)samples,
                               coverage, first, last);
    else
        AlignedRowOf<uint8_t>(overlay, settings, map, x0, xStep, y, count, samples, coverage, first,
                              last);
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
