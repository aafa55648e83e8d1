// The eight right-angle orientations of a picture.
//
// Codes that keep width and height move whole rows; the four that swap them walk the source
// in tiles of 64 by 64 pixels, so that the source rows and the destination rows that a tile
// touches stay in the cache while it is moved. Binary pictures move bit by bit.
#include "core/Orient.h"

#include <cstddef>
#include <cstring>

#include "core/Helpers.h"
#include "core/Progress.h"

// Bytes of a pixel for the types that have whole bytes; 0 for binary.
static int PixelBytes(int type)
{
    switch (type) {
    case TYPE_GRAY8: return 1;
    case TYPE_GRAY16: return 2;
    case TYPE_COLOR24: return 3;
    case TYPE_COLOR48: return 6;
    default: return 0;
    }
}

// Copies a row of w pixels of BYTES bytes into out with its pixels in reverse order (codes 2
// and 4); the size of a pixel is the compiler's to know, so that each is one or two moves
// and not a call.
template <int BYTES> static void RowMirrorBytes(int w, const uint8_t *in, uint8_t *out)
{
    const uint8_t *from = in + (size_t)(w - 1) * BYTES;
    for (int x = 0; x < w; x++, from -= BYTES, out += BYTES)
        memcpy(out, from, BYTES);
}

static void RowMirror(const Image *source, const uint8_t *in, uint8_t *out)
{
    int w = source->width;
    switch (PixelBytes(source->type)) {
    case 1: RowMirrorBytes<1>(w, in, out); return;
    case 2: RowMirrorBytes<2>(w, in, out); return;
    case 3: RowMirrorBytes<3>(w, in, out); return;
    case 6: RowMirrorBytes<6>(w, in, out); return;
    default:
        for (int x = 0; x < w; x++) {
            if (BitTest(in, w - 1 - x))
                BitSet(out, x);
            else
                BitClear(out, x);
        }
        return;
    }
}

int OrientRowIndex(int code, int height, int y)
{
    return code == 2 || code == 6 ? height - 1 - y : y;
}

void OrientRow(const Image *source, int code, const uint8_t *in, uint8_t *out)
{
    if (code == 2 || code == 4)
        RowMirror(source, in, out);
    else
        memcpy(out, in, (size_t)source->rowBytes);
}

// Codes 0, 2, 4 and 6: one pass over the rows, stepping progress by the source row.
static ErrorCode OrientRows(const Image *source, Image *destination, int code, int showProgress)
{
    ErrorCode result = ERROR_NONE;
    int h = source->height;
    if (showProgress) ProgressOpen(0, h - 1, OrientTitle(code), 1);
    for (int y = 0; y < h; y++) {
        OrientRow(source, code, source->rows[y], destination->rows[OrientRowIndex(code, h, y)]);
        if (showProgress && (result = ProgressStep(y)) != ERROR_NONE) break;
    }
    if (showProgress) ProgressClose();
    return result;
}

// Moves the tile of source columns x0..x1-1 and rows y0..y1-1 for a swapping code. A source
// column becomes one destination row, so the inner loop runs down the source column and
// along that destination row, forward for codes 1 and 7 and backward for codes 3 and 5.
// Asks for a line of memory ahead of its use, for a write when WRITE is 1, into the first
// level cache (LEVEL 1) or the second (LEVEL 2); nothing where the compiler has no such hint.
template <int WRITE, int LEVEL> static inline void Prefetch(const void *address)
{
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(address, WRITE, LEVEL == 1 ? 3 : 2);
#else
    (void)address;
#endif
}

template <int BYTES>
static void TileMove(const Image *source, Image *destination, int code, int x0, int x1, int y0,
                     int y1)
{
    int w = source->width;
    int h = source->height;
    int count = y1 - y0;
    int step = code == 1 || code == 7 ? BYTES : -BYTES;
    size_t first = (size_t)(step > 0 ? y0 : h - 1 - y0) * BYTES;
    const uint8_t *const *from = source->rows + y0;
    // The next tile up reads the same columns of the next rows and writes the next pixels of
    // the same destination rows: a few bytes of each of many rows, which the processor does
    // not foresee. Each column moved here asks for one row of each, so that they arrive
    // while this tile is moved instead of one by one later. A tile of 48-bit pixels fills
    // the first level cache on its own, so its next one waits in the second.
    constexpr int LEVEL = BYTES <= 3 ? 1 : 2;
    int ahead = y1 + ORIENT_TILE <= h ? ORIENT_TILE : h - y1;
    const size_t span = (size_t)(x1 - x0) * BYTES;     // bytes of a source row in the tile
    const ptrdiff_t nextOut = (ptrdiff_t)count * step; // the next tile's first pixel
    for (int x = x0; x < x1; x++) {
        int k = x - x0;
        uint8_t *out = destination->rows[code == 1 || code == 5 ? w - 1 - x : x] + first;
        if (k < ahead) {
            const uint8_t *next = source->rows[y1 + k] + (size_t)x0 * BYTES;
            for (size_t b = 0; b < span; b += 64)
                Prefetch<0, LEVEL>(next + b);
            Prefetch<0, LEVEL>(next + span - 1);
            // The destination run of the next tile, ahead pixels from nextOut on, forward
            // or backward.
            const ptrdiff_t length = (ptrdiff_t)ahead * BYTES;
            uint8_t *run = step > 0 ? out + nextOut : out + nextOut - length + BYTES;
            for (ptrdiff_t b = 0; b < length; b += 64)
                Prefetch<1, LEVEL>(run + b);
            Prefetch<1, LEVEL>(run + length - 1);
        }
        const size_t at = (size_t)x * BYTES;
        for (int i = 0; i < count; i++, out += step)
            memcpy(out, from[i] + at, BYTES);
    }
}

// The same for a binary picture, one bit at a time.
static void TileMoveBits(const Image *source, Image *destination, int code, int x0, int x1, int y0,
                         int y1)
{
    int w = source->width;
    int h = source->height;
    int forward = code == 1 || code == 7;
    for (int x = x0; x < x1; x++) {
        uint8_t *row = destination->rows[code == 1 || code == 5 ? w - 1 - x : x];
        for (int y = y0; y < y1; y++) {
            int column = forward ? y : h - 1 - y;
            if (BitTest(source->rows[y], x))
                BitSet(row, column);
            else
                BitClear(row, column);
        }
    }
}

void OrientTile(const Image *source, Image *destination, int code, int x0, int x1, int y0, int y1)
{
    switch (PixelBytes(source->type)) {
    case 1: TileMove<1>(source, destination, code, x0, x1, y0, y1); return;
    case 2: TileMove<2>(source, destination, code, x0, x1, y0, y1); return;
    case 3: TileMove<3>(source, destination, code, x0, x1, y0, y1); return;
    case 6: TileMove<6>(source, destination, code, x0, x1, y0, y1); return;
    default: TileMoveBits(source, destination, code, x0, x1, y0, y1); return;
    }
}

// Codes 1, 3, 5 and 7: tiles across the columns, then across the rows, one progress step
// after each tile.
static ErrorCode OrientTiles(const Image *source, Image *destination, int code, int showProgress)
{
    ErrorCode result = ERROR_NONE;
    int w = source->width;
    int h = source->height;
    int tiles = ((w + ORIENT_TILE - 1) / ORIENT_TILE) * ((h + ORIENT_TILE - 1) / ORIENT_TILE);
    int step = 0;
    if (showProgress) ProgressOpen(0, tiles, OrientTitle(code), 1);
    for (int x0 = 0; x0 < w && result == ERROR_NONE; x0 += ORIENT_TILE) {
        int x1 = x0 + ORIENT_TILE < w ? x0 + ORIENT_TILE : w;
        for (int y0 = 0; y0 < h; y0 += ORIENT_TILE) {
            int y1 = y0 + ORIENT_TILE < h ? y0 + ORIENT_TILE : h;
            OrientTile(source, destination, code, x0, x1, y0, y1);
            step++;
            if (showProgress && (result = ProgressStep(step)) != ERROR_NONE) break;
        }
    }
    if (showProgress) ProgressClose();
    return result;
}

const char *OrientTitle(int code)
{
    switch (code) {
    case 0: return "Copy";
    case 4:
    case 6: return "Reflect";
    // Code 7 is a transposition, but its title stays the one the users know.
    case 7: return "Rotate CW";
    default: return "Rotate";
    }
}

ErrorCode OrientImageCode(const Image *source, Image *destination, int code, int showProgress)
{
    if (!ImageIsPicture(source->type)) return ERROR_ILLEGAL_TYPE;
    if (code < 0 || code >= ORIENT_CODE_COUNT) return ERROR_INTERNAL_1;
    int swaps = code & 1; // codes 1, 3, 5, 7 exchange width and height
    ErrorCode result = ImageAlloc(destination, source->type, swaps ? source->height : source->width,
                                  swaps ? source->width : source->height, source->resolution);
    if (result != ERROR_NONE) return result;
    if (source->rows == nullptr) return ERROR_NONE; // no pixels: a width or height of 0
    if (swaps) return OrientTiles(source, destination, code, showProgress);
    return OrientRows(source, destination, code, showProgress);
}

ErrorCode OrientImage(const Image *source, Image *destination, int code)
{
    return OrientImageCode(source, destination, code, 1);
}
