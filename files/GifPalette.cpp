// Palette reduction for GIF files: the exact palette of a picture with few colors, median
// cut with variance-minimising cuts for the others, and the mapping with optional
// Floyd-Steinberg dithering.
//
// The cut works on a list of weighted colors: the picture's distinct colors with their pixel
// counts when there are at most 65536 of them, else the occupied cells of a histogram of 64
// levels a channel, each with the count, the sums of the exact 8-bit samples and the sum of
// their squares. Working on exact colors where we can keeps pictures of a few hundred close
// colors within a level; the cells bound the work and memory of a photograph's millions.
// A box is a run of the list; a cut sorts the run along each axis and tries every split.
#include "files/GifPalette.h"

#include <algorithm>
#include <cstring>

#include "core/Memory.h"

static const int EXACT_SLOTS = 1024;       // hash slots for up to 257 distinct colors
static const int DISTINCT_MAX = 65536;     // exact colors the cut works on at most
static const int DISTINCT_SLOTS = 1 << 17; // hash slots for them, at most half full
static const int CELL_SHIFT = 2;           // histogram cells: 8-bit samples >> 2
static const int CELL_COUNT = 1 << (3 * (8 - CELL_SHIFT));
static const int CACHE_BITS = 16; // colors the mapper remembers: 65536 slots
static const int PALETTE_REFINE_PASSES = 3;

// A color of the picture, or a cell of similar colors, with its pixels.
struct PalettePoint {
    int64_t weight; // pixels
    int64_t sum[3]; // sums of red, green, blue
    double squares; // sum of r^2 + g^2 + b^2
    uint8_t key[3]; // the mean color: what the cut sorts and the refinement measures
};

// A run of points that one palette entry stands for.
struct PaletteBox {
    int begin;
    int end;
    double error; // squared error around the mean; 0 when it cannot be cut
};

static uint32_t PixelColor(const uint8_t *pixel)
{
    return (uint32_t)pixel[2] << 16 | (uint32_t)pixel[1] << 8 | pixel[0];
}

static uint32_t ColorHash(uint32_t color)
{
    return color * 2654435761u; // Knuth's multiplicative hash; the high bits are the good ones
}

// Collects the distinct colors of the picture into colors (room for GIF_PALETTE_MAX). Returns
// their count, or GIF_PALETTE_MAX + 1 as soon as there are more.
static int PaletteExactColors(const Image *image, uint32_t *colors)
{
    uint32_t slots[EXACT_SLOTS]; // color + 1, 0 when empty
    int count = 0;
    memset(slots, 0, sizeof slots);
    for (int y = 0; y < image->height; y++) {
        const uint8_t *row = image->rows[y];
        uint32_t previous = 0xFFFFFFFFu;
        for (int x = 0; x < image->width; x++) {
            uint32_t color = PixelColor(row + 3 * x);
            if (color == previous) continue; // runs of one color are common
            previous = color;
            uint32_t slot = ColorHash(color) >> 22; // 10 bits for 1024 slots
            while (slots[slot] != 0 && slots[slot] != color + 1)
                slot = (slot + 1) & (EXACT_SLOTS - 1);
            if (slots[slot] != 0) continue;
            if (count == GIF_PALETTE_MAX) return GIF_PALETTE_MAX + 1;
            slots[slot] = color + 1;
            colors[count++] = color;
        }
    }
    return count;
}

static void PointAdd(PalettePoint *point, int r, int g, int b, int64_t pixels)
{
    point->weight += pixels;
    point->sum[0] += r * pixels;
    point->sum[1] += g * pixels;
    point->sum[2] += b * pixels;
    point->squares += (double)(r * r + g * g + b * b) * (double)pixels;
}

static void PointKey(PalettePoint *point)
{
    for (int c = 0; c < 3; c++)
        point->key[c] = (uint8_t)((point->sum[c] + point->weight / 2) / point->weight);
}

// The distinct colors with their counts, into points (room for DISTINCT_MAX). Returns their
// number, or -1 when there are more. ERROR_NO_MEMORY in *result.
static int PaletteDistinctPoints(const Image *image, PalettePoint *points, ErrorCode *result)
{
    uint32_t *keys = (uint32_t *)MemoryAllocZero(sizeof(uint32_t) * DISTINCT_SLOTS);
    int32_t *where = (int32_t *)MemoryAlloc(sizeof(int32_t) * DISTINCT_SLOTS);
    int count = 0;
    *result = ERROR_NONE;
    if (keys == nullptr || where == nullptr) {
        *result = ERROR_NO_MEMORY;
        count = -1;
        goto done;
    }
    for (int y = 0; y < image->height && count >= 0; y++) {
        const uint8_t *pixel = image->rows[y];
        for (int x = 0; x < image->width; x++, pixel += 3) {
            uint32_t color = PixelColor(pixel);
            uint32_t slot = ColorHash(color) >> (32 - 17);
            while (keys[slot] != 0 && keys[slot] != color + 1)
                slot = (slot + 1) & (DISTINCT_SLOTS - 1);
            if (keys[slot] == 0) {
                if (count == DISTINCT_MAX) {
                    count = -1; // too many: the caller takes cells instead
                    break;
                }
                keys[slot] = color + 1;
                where[slot] = count;
                memset(&points[count], 0, sizeof points[count]);
                count++;
            }
            PointAdd(&points[where[slot]], pixel[2], pixel[1], pixel[0], 1);
        }
    }
done:
    MemoryFree(keys);
    MemoryFree(where);
    return count;
}

// The occupied cells of the histogram, into points (room for CELL_COUNT). Returns their
// number, or -1 with ERROR_NO_MEMORY in *result.
static int PaletteCellPoints(const Image *image, PalettePoint *points, ErrorCode *result)
{
    const int levels = 8 - CELL_SHIFT;
    int count = 0;
    *result = ERROR_NONE;
    PalettePoint *cells = (PalettePoint *)MemoryAllocZero(sizeof(PalettePoint) * CELL_COUNT);
    if (cells == nullptr) {
        *result = ERROR_NO_MEMORY;
        return -1;
    }
    for (int y = 0; y < image->height; y++) {
        const uint8_t *pixel = image->rows[y];
        for (int x = 0; x < image->width; x++, pixel += 3) {
            int r = pixel[2], g = pixel[1], b = pixel[0];
            int cell =
                (r >> CELL_SHIFT) << (2 * levels) | (g >> CELL_SHIFT) << levels | (b >> CELL_SHIFT);
            PointAdd(&cells[cell], r, g, b, 1);
        }
    }
    for (int i = 0; i < CELL_COUNT; i++)
        if (cells[i].weight > 0) points[count++] = cells[i];
    MemoryFree(cells);
    return count;
}

// (sum of the color sums squared) / weight: the part of the squared error a mean takes away.
// The larger it is summed over the two halves of a cut, the smaller their error.
static double SumsGain(int64_t weight, const int64_t *sum)
{
    if (weight == 0) return 0.0;
    double r = (double)sum[0], g = (double)sum[1], b = (double)sum[2];
    return (r * r + g * g + b * b) / (double)weight;
}

static double BoxError(const PalettePoint *points, const PaletteBox *box)
{
    int64_t weight = 0;
    int64_t sum[3] = {0, 0, 0};
    double squares = 0.0;
    for (int i = box->begin; i < box->end; i++) {
        weight += points[i].weight;
        for (int c = 0; c < 3; c++)
            sum[c] += points[i].sum[c];
        squares += points[i].squares;
    }
    double error = squares - SumsGain(weight, sum);
    return error > 0.0 ? error : 0.0;
}

static void PointsSort(PalettePoint *points, const PaletteBox *box, int axis)
{
    std::sort(
        points + box->begin, points + box->end,
        [axis](const PalettePoint &a, const PalettePoint &b) { return a.key[axis] < b.key[axis]; });
}

// Cuts box where the two halves keep the least squared error: along each axis in turn the
// run is sorted and every split between two different values is tried. The lower half stays
// in box and the upper goes to other. 0 when every point has one color.
static int BoxCut(PalettePoint *points, PaletteBox *box, PaletteBox *other)
{
    int64_t weight = 0;
    int64_t sum[3] = {0, 0, 0};
    for (int i = box->begin; i < box->end; i++) {
        weight += points[i].weight;
        for (int c = 0; c < 3; c++)
            sum[c] += points[i].sum[c];
    }
    double bestGain = -1.0;
    int bestAxis = -1;
    int bestSplit = 0;
    for (int axis = 0; axis < 3; axis++) {
        PointsSort(points, box, axis);
        int64_t lowWeight = 0;
        int64_t low[3] = {0, 0, 0};
        for (int i = box->begin; i + 1 < box->end; i++) {
            lowWeight += points[i].weight;
            for (int c = 0; c < 3; c++)
                low[c] += points[i].sum[c];
            if (points[i].key[axis] == points[i + 1].key[axis]) continue;
            int64_t high[3] = {sum[0] - low[0], sum[1] - low[1], sum[2] - low[2]};
            double gain = SumsGain(lowWeight, low) + SumsGain(weight - lowWeight, high);
            if (gain > bestGain) {
                bestGain = gain;
                bestAxis = axis;
                bestSplit = i + 1;
            }
        }
    }
    if (bestAxis < 0) return 0;
    if (bestAxis != 2) PointsSort(points, box, bestAxis); // the last sort was along blue
    other->begin = bestSplit;
    other->end = box->end;
    box->end = bestSplit;
    return 1;
}

// Median cut over the points: GIF_PALETTE_MAX boxes at most, each entry the mean of its box.
static void PaletteMedianCut(PalettePoint *points, int count, GifPalette *palette)
{
    PaletteBox boxes[GIF_PALETTE_MAX];
    int boxCount = 1;
    boxes[0] = {0, count, 0.0};
    boxes[0].error = BoxError(points, &boxes[0]);
    while (boxCount < GIF_PALETTE_MAX) {
        int worst = 0;
        for (int i = 1; i < boxCount; i++)
            if (boxes[i].error > boxes[worst].error) worst = i;
        if (boxes[worst].error <= 0.0) break; // every box is one color already
        if (!BoxCut(points, &boxes[worst], &boxes[boxCount])) {
            boxes[worst].error = 0.0; // one cell of several colors: nothing left to cut
            continue;
        }
        boxes[worst].error = BoxError(points, &boxes[worst]);
        boxes[boxCount].error = BoxError(points, &boxes[boxCount]);
        boxCount++;
    }
    palette->count = boxCount;
    for (int b = 0; b < boxCount; b++) {
        int64_t weight = 0;
        int64_t sum[3] = {0, 0, 0};
        for (int i = boxes[b].begin; i < boxes[b].end; i++) {
            weight += points[i].weight;
            for (int c = 0; c < 3; c++)
                sum[c] += points[i].sum[c];
        }
        palette->red[b] = (uint8_t)((sum[0] + weight / 2) / weight);
        palette->green[b] = (uint8_t)((sum[1] + weight / 2) / weight);
        palette->blue[b] = (uint8_t)((sum[2] + weight / 2) / weight);
    }
}

// Entries sorted by green, for the nearest search.
static void PaletteOrderByGreen(const GifPalette *palette, uint8_t *order)
{
    for (int i = 0; i < palette->count; i++)
        order[i] = (uint8_t)i;
    std::stable_sort(order, order + palette->count, [palette](uint8_t a, uint8_t b) {
        return palette->green[a] < palette->green[b];
    });
}

// The entry nearest to a color: start where green matches and walk outward on both sides; a
// side stops once its green difference alone exceeds the best distance found.
static int PaletteNearest(const GifPalette *palette, const uint8_t *order, int red, int green,
                          int blue)
{
    int count = palette->count;
    int up = (int)(std::lower_bound(order, order + count, green,
                                    [palette](uint8_t entry, int value) {
                                        return palette->green[entry] < value;
                                    }) -
                   order);
    int down = up - 1;
    int best = 0;
    int bestDistance = 1 << 30;
    while (up < count || down >= 0) {
        for (int side = 0; side < 2; side++) {
            int *at = side == 0 ? &up : &down;
            if (*at < 0 || *at >= count) continue;
            int i = order[*at];
            int dg = palette->green[i] - green;
            if (dg * dg > bestDistance) {
                *at = side == 0 ? count : -1;
                continue;
            }
            int dr = palette->red[i] - red, db = palette->blue[i] - blue;
            int distance = dr * dr + dg * dg + db * db;
            if (distance < bestDistance || (distance == bestDistance && i < best)) {
                bestDistance = distance;
                best = i;
            }
            *at += side == 0 ? 1 : -1;
        }
    }
    return best;
}

// Moves each entry to the mean of the points nearest to it, a few times over (Lloyd's
// iteration): the cuts are straight planes, and the colors a box holds are not always
// nearest to its own mean.
static void PaletteRefine(const PalettePoint *points, int count, GifPalette *palette)
{
    for (int pass = 0; pass < PALETTE_REFINE_PASSES; pass++) {
        uint8_t order[GIF_PALETTE_MAX];
        int64_t weight[GIF_PALETTE_MAX] = {0};
        int64_t sum[GIF_PALETTE_MAX][3] = {{0}};
        PaletteOrderByGreen(palette, order);
        for (int i = 0; i < count; i++) {
            const PalettePoint *point = &points[i];
            int best = PaletteNearest(palette, order, point->key[0], point->key[1], point->key[2]);
            weight[best] += point->weight;
            for (int c = 0; c < 3; c++)
                sum[best][c] += point->sum[c];
        }
        for (int i = 0; i < palette->count; i++) {
            int64_t w = weight[i];
            if (w == 0) continue; // an entry no point chose keeps its color
            palette->red[i] = (uint8_t)((sum[i][0] + w / 2) / w);
            palette->green[i] = (uint8_t)((sum[i][1] + w / 2) / w);
            palette->blue[i] = (uint8_t)((sum[i][2] + w / 2) / w);
        }
    }
}

ErrorCode GifPaletteChoose(const Image *image, GifPalette *palette)
{
    ErrorCode result = ERROR_NONE;
    uint32_t colors[GIF_PALETTE_MAX];
    PalettePoint *points = nullptr;
    int count;

    if (image->type != TYPE_COLOR24) return ERROR_ILLEGAL_TYPE;
    memset(palette, 0, sizeof *palette);
    count = PaletteExactColors(image, colors);
    if (count <= GIF_PALETTE_MAX) {
        std::sort(colors, colors + count);
        palette->count = count > 0 ? count : 1;
        for (int i = 0; i < count; i++) {
            palette->red[i] = (uint8_t)(colors[i] >> 16);
            palette->green[i] = (uint8_t)(colors[i] >> 8);
            palette->blue[i] = (uint8_t)colors[i];
        }
        return ERROR_NONE;
    }
    // Room for the larger of the two lists.
    points = (PalettePoint *)MemoryAlloc(sizeof(PalettePoint) * CELL_COUNT);
    if (points == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    count = PaletteDistinctPoints(image, points, &result);
    if (result != ERROR_NONE) goto done;
    if (count < 0) count = PaletteCellPoints(image, points, &result);
    if (result != ERROR_NONE) goto done;
    for (int i = 0; i < count; i++)
        PointKey(&points[i]);
    PaletteMedianCut(points, count, palette);
    PaletteRefine(points, count, palette);
done:
    MemoryFree(points);
    return result;
}

void GifPaletteMapperReset(GifPaletteMapper *mapper)
{
    memset(mapper, 0, sizeof *mapper);
}

ErrorCode GifPaletteMapperOpen(const GifPalette *palette, int width, int dither,
                               GifPaletteMapper *mapper)
{
    ErrorCode result = ERROR_NONE;
    size_t errorCount = 0;

    GifPaletteMapperReset(mapper);
    mapper->palette = *palette;
    mapper->width = width;
    mapper->dither = dither != 0;
    PaletteOrderByGreen(palette, mapper->byGreen);
    mapper->cacheKeys = (uint32_t *)MemoryAllocZero(sizeof(uint32_t) << CACHE_BITS);
    mapper->cacheIndices = (uint8_t *)MemoryAlloc((size_t)1 << CACHE_BITS);
    if (mapper->cacheKeys == nullptr || mapper->cacheIndices == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    if (mapper->dither) {
        // Two rows of carried errors, three channels, a spare pixel at each end.
        if (!SizeMultiply((size_t)width + 2, 6 * sizeof(int32_t), &errorCount) ||
            (mapper->errors = (int32_t *)MemoryAllocZero(errorCount)) == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
    }
done:
    if (result != ERROR_NONE) GifPaletteMapperClose(mapper);
    return result;
}

void GifPaletteMapperClose(GifPaletteMapper *mapper)
{
    MemoryRelease(&mapper->cacheKeys);
    MemoryRelease(&mapper->cacheIndices);
    MemoryRelease(&mapper->errors);
}

int GifPaletteNearest(const GifPaletteMapper *mapper, int red, int green, int blue)
{
    return PaletteNearest(&mapper->palette, mapper->byGreen, red, green, blue);
}

// The nearest entry through the cache of colors looked up before.
static int MapperLookup(GifPaletteMapper *mapper, int red, int green, int blue)
{
    uint32_t color = (uint32_t)red << 16 | (uint32_t)green << 8 | (uint32_t)blue;
    uint32_t slot = ColorHash(color) >> (32 - CACHE_BITS);
    if (mapper->cacheKeys[slot] == color + 1) return mapper->cacheIndices[slot];
    int index = GifPaletteNearest(mapper, red, green, blue);
    mapper->cacheKeys[slot] = color + 1;
    mapper->cacheIndices[slot] = (uint8_t)index;
    return index;
}

void GifPaletteMapperRow(GifPaletteMapper *mapper, const uint8_t *row, uint8_t *indices)
{
    const GifPalette *palette = &mapper->palette;
    int w = mapper->width;
    if (!mapper->dither) {
        for (int x = 0; x < w; x++, row += 3)
            indices[x] = (uint8_t)MapperLookup(mapper, row[2], row[1], row[0]);
        mapper->row++;
        return;
    }
    // Floyd-Steinberg in alternating directions, so that the error does not drift to one
    // side. Errors are kept in sixteenths; each row's buffer has a spare pixel at both ends.
    int stride = (w + 2) * 3;
    int32_t *here = mapper->errors + (mapper->row & 1) * stride;
    int32_t *next = mapper->errors + ((mapper->row + 1) & 1) * stride;
    int step = (mapper->row & 1) ? -1 : 1;
    memset(next, 0, (size_t)stride * sizeof(int32_t));
    for (int n = 0, x = step > 0 ? 0 : w - 1; n < w; n++, x += step) {
        const uint8_t *pixel = row + 3 * x;
        int value[3]; // red, green, blue with the carried error
        for (int c = 0; c < 3; c++) {
            int carried = here[(x + 1) * 3 + c];
            int v = pixel[2 - c] + ((carried + 8) >> 4);
            value[c] = v < 0 ? 0 : (v > 255 ? 255 : v);
        }
        int index = MapperLookup(mapper, value[0], value[1], value[2]);
        indices[x] = (uint8_t)index;
        int error[3] = {value[0] - palette->red[index], value[1] - palette->green[index],
                        value[2] - palette->blue[index]};
        for (int c = 0; c < 3; c++) {
            here[(x + 1 + step) * 3 + c] += error[c] * 7;
            next[(x + 1 - step) * 3 + c] += error[c] * 3;
            next[(x + 1) * 3 + c] += error[c] * 5;
            next[(x + 1 + step) * 3 + c] += error[c];
        }
    }
    mapper->row++;
}
