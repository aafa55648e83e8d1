// Image storage: allocation in blocks of at most 512000 bytes, copies, view scrolling, the
// samplers of geometric code and the shared depth and blend tables.
#include "core/Image.h"

#include <cmath>
#include <cstring>

#include "core/Compute.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"

// No picture may claim more than this; a request beyond it can only come from a damaged
// file or an impossible size, and the system would kill us before malloc said no.
static const int64_t IMAGE_MAX_BYTES = (int64_t)1 << 34;

// Pictures of this many bytes or more take their blocks from one region of huge pages.
static const int64_t IMAGE_REGION_MINIMUM = (int64_t)8 << 20;

uint16_t Depth8To16[256];
uint8_t Depth16To8[65536];
uint8_t LerpTable[256][256];

int ImageIsPicture(int type)
{
    return type == TYPE_BINARY || type == TYPE_GRAY8 || type == TYPE_COLOR24 ||
           type == TYPE_GRAY16 || type == TYPE_COLOR48;
}

const char *ImageTypeName(int type)
{
    switch (type) {
    case TYPE_EMPTY: return "Empty";
    case TYPE_BINARY: return "Binary Image";
    case TYPE_GRAY8: return "Black and White Image";
    case TYPE_COLOR24: return "Color Image";
    case TYPE_COLOR: return "Color";
    case TYPE_HISTOGRAM: return "Histogram";
    case TYPE_GRAY16: return "Black and White Image (16-bit)";
    case TYPE_COLOR48: return "Color Image (48-bit)";
    default: return "Unknown";
    }
}

// Row bytes in 64 bits, so that an absurd width cannot wrap before it is refused.
static int64_t RowBytes64(int type, int64_t width)
{
    switch (type) {
    case TYPE_BINARY: return (((width + 7) / 8) + 3) & ~(int64_t)3;
    case TYPE_GRAY8: return (width + 3) & ~(int64_t)3;
    case TYPE_COLOR24: return (3 * width + 3) & ~(int64_t)3;
    case TYPE_COLOR: return 4;
    case TYPE_HISTOGRAM: return 1028;
    case TYPE_GRAY16: return (2 * width + 3) & ~(int64_t)3;
    case TYPE_COLOR48: return (6 * width + 3) & ~(int64_t)3;
    default: return 0;
    }
}

int ImageRowBytes(int type, int width)
{
    int64_t bytes = RowBytes64(type, width);
    return bytes > 0x7fffffff ? 0x7fffffff : (int)bytes;
}

void ImageClear(Image *image)
{
    memset(image, 0, sizeof *image);
}

void ImageFree(Image *image)
{
    MemoryRelease(&image->rows);
    if (image->chunks != nullptr) {
        // The slot after the last block holds the region the blocks were carved from, if any.
        uint8_t *region = image->chunks[image->chunkCount];
        if (region != nullptr) {
            MemoryFreeLarge(region);
        } else {
            for (int i = 0; i < image->chunkCount; i++)
                MemoryRelease(&image->chunks[i]);
        }
    }
    MemoryRelease(&image->chunks);
    ImageClear(image);
}

ErrorCode ImageAlloc(Image *image, int type, int width, int height, double resolution)
{
    if (image->type == type && image->width == width && image->height == height) {
        image->resolution = resolution;
        return ERROR_NONE;
    }
    ImageFree(image);
    image->type = type;
    image->width = width;
    image->height = height;
    image->resolution = resolution;
    if (type < TYPE_BINARY || type > TYPE_COLOR48) return ERROR_NONE;

    // A histogram or a single color has one row to store, whatever its height says.
    int storedRows = type == TYPE_COLOR || type == TYPE_HISTOGRAM ? 1 : height;
    int64_t rowBytes = RowBytes64(type, width);
    if (width < 0 || height < 0) {
        ImageFree(image);
        return ERROR_NO_MEMORY;
    }
    if (rowBytes == 0 || height == 0) return ERROR_NONE;
    if (rowBytes > IMAGE_CHUNK_BYTES) {
        ImageFree(image);
        return ERROR_IMAGE_TOO_WIDE;
    }
    if (rowBytes * storedRows > IMAGE_MAX_BYTES) {
        ImageFree(image);
        return ERROR_NO_MEMORY;
    }
    image->rowBytes = (int32_t)rowBytes;

    image->rows = (uint8_t **)MemoryAlloc(sizeof(uint8_t *) * (size_t)storedRows);
    if (image->rows == nullptr) goto failed;
    image->rowsPerChunk = (int32_t)(IMAGE_CHUNK_BYTES / rowBytes);
    image->chunkCount = (storedRows + image->rowsPerChunk - 1) / image->rowsPerChunk;
    // One slot more than blocks: it holds the region of a big picture's blocks, or null.
    image->chunks =
        (uint8_t **)MemoryAllocZero(sizeof(uint8_t *) * ((size_t)image->chunkCount + 1));
    if (image->chunks == nullptr) goto failed;
    // A big picture's blocks are carved, each the size it would have alone, from one region
    // backed by huge pages: faulting in its fresh memory a small page at a time would cost
    // more than reading the pixels. Small pictures, and big ones when no region is to be had,
    // get a block at a time.
    if (rowBytes * storedRows >= IMAGE_REGION_MINIMUM)
        image->chunks[image->chunkCount] =
            (uint8_t *)MemoryAllocLarge((size_t)rowBytes * (size_t)storedRows);
    // The last block is cut to the rows it really holds: for a histogram or a single color
    // that is the one stored row, whatever the height says.
    for (int i = 0; i < image->chunkCount; i++) {
        int rowsInChunk = image->rowsPerChunk;
        if (i == image->chunkCount - 1) {
            rowsInChunk = storedRows % image->rowsPerChunk;
            if (rowsInChunk == 0) rowsInChunk = image->rowsPerChunk;
        }
        uint8_t *region = image->chunks[image->chunkCount];
        if (region != nullptr)
            image->chunks[i] = region + (size_t)i * image->rowsPerChunk * (size_t)rowBytes;
        else
            image->chunks[i] = (uint8_t *)MemoryAlloc((size_t)rowsInChunk * (size_t)rowBytes);
        if (image->chunks[i] == nullptr) goto failed;
    }
    for (int i = 0; i < storedRows; i++)
        image->rows[i] = image->chunks[i / image->rowsPerChunk] +
                         (size_t)(i % image->rowsPerChunk) * (size_t)rowBytes;
    return ERROR_NONE;

failed:
    // Nothing stays half allocated.
    ImageFree(image);
    return ERROR_NO_MEMORY;
}

// Rows that hold pixels; histograms and single colors keep one.
static int StoredRows(const Image *image)
{
    if (image->rows == nullptr) return 0;
    return image->type == TYPE_COLOR || image->type == TYPE_HISTOGRAM ? 1 : image->height;
}

ErrorCode ImageDuplicate(const Image *source, Image *destination)
{
    ErrorCode result =
        ImageAlloc(destination, source->type, source->width, source->height, source->resolution);
    if (result != ERROR_NONE) return result;
    int rows = StoredRows(source);
    for (int i = 0; i < rows; i++)
        memcpy(destination->rows[i], source->rows[i], (size_t)source->rowBytes);
    return ERROR_NONE;
}

ErrorCode ImageCopy(const Image *source, Image *destination, int showProgress)
{
    ErrorCode result =
        ImageAlloc(destination, source->type, source->width, source->height, source->resolution);
    if (result != ERROR_NONE) return result;
    int rows = StoredRows(source);
    int progress = showProgress && (int64_t)source->width * source->height >= PROGRESS_PIXELS;
    if (progress)
        ProgressOpen(0, source->height - 1, "Copy", 1);
    else
        SetWaitCursor();
    for (int i = 0; i < rows; i++) {
        memcpy(destination->rows[i], source->rows[i], (size_t)source->rowBytes);
        if (progress && (result = ProgressStep(i)) != ERROR_NONE) break;
    }
    if (progress)
        ProgressClose();
    else
        SetArrowCursor();
    return result;
}

ErrorCode ImageCopyRect(const Image *source, int x0, int y0, int x1, int y1, Image *destination)
{
    // A rectangle that is empty, or that reaches outside a picture whose pixels we would
    // read, is a caller's mistake: refuse it and leave the destination as it was.
    if (x0 < 0 || y0 < 0 || x1 < x0 || y1 < y0) return ERROR_INTERNAL_1;
    if (ImageIsPicture(source->type) && (x1 >= source->width || y1 >= source->height))
        return ERROR_INTERNAL_1;
    ErrorCode result =
        ImageAlloc(destination, source->type, x1 - x0 + 1, y1 - y0 + 1, source->resolution);
    if (result != ERROR_NONE) return result;
    int bytesPerPixel = 0;
    switch (source->type) {
    case TYPE_GRAY8: bytesPerPixel = 1; break;
    case TYPE_COLOR24: bytesPerPixel = 3; break;
    case TYPE_GRAY16: bytesPerPixel = 2; break;
    case TYPE_COLOR48: bytesPerPixel = 6; break;
    case TYPE_BINARY: break;
    default: return ERROR_NONE; // no pixels to copy
    }
    for (int y = y0; y <= y1; y++) {
        const uint8_t *in = source->rows[y];
        uint8_t *out = destination->rows[y - y0];
        if (source->type == TYPE_BINARY) {
            // The rectangle's first column need not start a byte: move bit by bit.
            for (int x = x0; x <= x1; x++) {
                if (BitTest(in, x))
                    BitSet(out, x - x0);
                else
                    BitClear(out, x - x0);
            }
        } else {
            memcpy(out, in + (size_t)x0 * bytesPerPixel, (size_t)(x1 - x0 + 1) * bytesPerPixel);
        }
    }
    return ERROR_NONE;
}

// Bytes that one pixel of a sideways-scrollable view takes; 0 for other types.
static int ShiftPixelBytes(int type)
{
    return type == TYPE_GRAY8 ? 1 : type == TYPE_COLOR24 ? 3 : 0;
}

// A scroll of count pixels or rows needs doing: a count below 1 asks for nothing, and a
// picture without storage has nothing to move.
static int ShiftNeeded(const Image *image, int count)
{
    return count > 0 && image->rows != nullptr;
}

void ImageShiftLeft(Image *image, int count)
{
    if (!ShiftNeeded(image, count)) return;
    if (image->type != TYPE_BINARY && ShiftPixelBytes(image->type) == 0) return;
    SetWaitCursor();
    int64_t shift = (int64_t)count * ShiftPixelBytes(image->type);
    for (int y = 0; y < image->height; y++) {
        uint8_t *row = image->rows[y];
        if (image->type == TYPE_BINARY) {
            for (int x = 0; x < image->width - count; x++) {
                if (BitTest(row, x + count))
                    BitSet(row, x);
                else
                    BitClear(row, x);
            }
        } else if (shift < image->rowBytes) {
            MemCopy(row + shift, row, image->rowBytes - shift);
        }
    }
    SetArrowCursor();
}

void ImageShiftRight(Image *image, int count)
{
    if (!ShiftNeeded(image, count)) return;
    if (image->type != TYPE_BINARY && ShiftPixelBytes(image->type) == 0) return;
    SetWaitCursor();
    int64_t shift = (int64_t)count * ShiftPixelBytes(image->type);
    for (int y = 0; y < image->height; y++) {
        uint8_t *row = image->rows[y];
        if (image->type == TYPE_BINARY) {
            for (int x = image->width - 1; x >= count; x--) {
                if (BitTest(row, x - count))
                    BitSet(row, x);
                else
                    BitClear(row, x);
            }
        } else if (shift < image->rowBytes) {
            MemCopy(row, row + shift, image->rowBytes - shift);
        }
    }
    SetArrowCursor();
}

void ImageShiftRowsDown(Image *image, int count)
{
    if (!ShiftNeeded(image, count)) return;
    SetWaitCursor();
    for (int i = 0; i < StoredRows(image) - count; i++)
        memcpy(image->rows[i], image->rows[i + count], (size_t)image->rowBytes);
    SetArrowCursor();
}

void ImageShiftRowsUp(Image *image, int count)
{
    if (!ShiftNeeded(image, count)) return;
    SetWaitCursor();
    for (int i = StoredRows(image) - 1 - count; i >= 0; i--)
        memcpy(image->rows[i + count], image->rows[i], (size_t)image->rowBytes);
    SetArrowCursor();
}

int SampleBinary(const Image *image, double x, double y, int background)
{
    if (x < 0.0 || x > image->width - 1 || y < 0.0 || y > image->height - 1) return background;
    return BitTest(image->rows[Round(y)], Round(x)) ? 255 : 0;
}

// Where a bilinear sample falls: the lower corner, the two blend weights (0..255), and
// whether each of the four corners lies in the picture. zone is 0 outside, 1 inside, 2 in
// the one-pixel fringe that fades into the background.
struct SampleSpot {
    int zone;
    int ix;
    int iy;
    int fx;
    int fy;
    int exact; // inside with both weights 0: the pixel itself
    int x1;    // column of the right-hand corners
    int y1;    // row of the upper corners
    int in[4]; // corners (ix, iy), (x1, iy), (ix, y1), (x1, y1) in the picture
};

static int Min255(int weight)
{
    return weight > 255 ? 255 : weight;
}

static void SampleLocate(const Image *image, double x, double y, SampleSpot *spot)
{
    int w = image->width;
    int h = image->height;
    spot->exact = 0;
    if (x >= 0.0 && x <= w - 1 && y >= 0.0 && y <= h - 1) {
        spot->zone = 1;
        spot->ix = (int)x;
        spot->iy = (int)y;
        spot->fx = (int)((x - spot->ix) * 256.0);
        spot->fy = (int)((y - spot->iy) * 256.0);
        if (spot->fx == 0 && spot->fy == 0) {
            spot->exact = 1;
            return;
        }
        if (spot->ix >= w - 1) {
            spot->ix = w - 2;
            spot->fx = 255;
        }
        if (spot->iy >= h - 1) {
            spot->iy = h - 2;
            spot->fy = 255;
        }
        // A picture one pixel wide or high has no second column or row to blend with: the
        // corners then fall on the one that exists, so nothing outside the row is read.
        if (spot->ix < 0) spot->ix = 0;
        if (spot->iy < 0) spot->iy = 0;
        spot->x1 = spot->ix + 1 < w ? spot->ix + 1 : w - 1;
        spot->y1 = spot->iy + 1 < h ? spot->iy + 1 : h - 1;
        spot->in[0] = spot->in[1] = spot->in[2] = spot->in[3] = 1;
        return;
    }
    if (x >= -1.0 && x <= w && y >= -1.0 && y <= h) {
        spot->zone = 2;
        spot->ix = (int)floor(x);
        spot->iy = (int)floor(y);
        // Just below a whole number, x - floor(x) rounds to 1.0; the weight stays a table
        // index all the same.
        spot->fx = Min255((int)((x - spot->ix) * 256.0));
        spot->fy = Min255((int)((y - spot->iy) * 256.0));
        spot->x1 = spot->ix + 1;
        spot->y1 = spot->iy + 1;
        int inX0 = spot->ix >= 0 && spot->ix < w;
        int inX1 = spot->x1 >= 0 && spot->x1 < w;
        int inY0 = spot->iy >= 0 && spot->iy < h;
        int inY1 = spot->y1 >= 0 && spot->y1 < h;
        spot->in[0] = inX0 && inY0;
        spot->in[1] = inX1 && inY0;
        spot->in[2] = inX0 && inY1;
        spot->in[3] = inX1 && inY1;
        return;
    }
    spot->zone = 0;
}

// One channel of an 8-bit or 16-bit pixel; channel counts bytes or samples from the start.
template <typename Sample>
static int SampleAt(const Image *image, int x, int y, int channels, int channel)
{
    const Sample *row = (const Sample *)image->rows[y];
    return row[x * channels + channel];
}

template <typename Sample>
static int SampleChannel(const Image *image, const SampleSpot *spot, int channels, int channel,
                         int background)
{
    if (spot->exact) return SampleAt<Sample>(image, spot->ix, spot->iy, channels, channel);
    int corner[4];
    int xs[4] = {spot->ix, spot->x1, spot->ix, spot->x1};
    int ys[4] = {spot->iy, spot->iy, spot->y1, spot->y1};
    for (int i = 0; i < 4; i++)
        corner[i] =
            spot->in[i] ? SampleAt<Sample>(image, xs[i], ys[i], channels, channel) : background;
    if (sizeof(Sample) == 1) {
        int lower = Lerp8(corner[0], corner[1], spot->fx);
        int upper = Lerp8(corner[2], corner[3], spot->fx);
        return Lerp8(lower, upper, spot->fy);
    }
    int lower = Lerp16(corner[0], corner[1], spot->fx);
    int upper = Lerp16(corner[2], corner[3], spot->fx);
    return Lerp16(lower, upper, spot->fy);
}

int SampleGray8(const Image *image, double x, double y, int background)
{
    SampleSpot spot;
    background = Clamp8(background); // it is blended through the 8-bit table
    SampleLocate(image, x, y, &spot);
    if (spot.zone == 0) return background;
    return SampleChannel<uint8_t>(image, &spot, 1, 0, background);
}

int SampleGray16(const Image *image, double x, double y, int background)
{
    SampleSpot spot;
    background = Clamp16(background);
    SampleLocate(image, x, y, &spot);
    if (spot.zone == 0) return background;
    return SampleChannel<uint16_t>(image, &spot, 1, 0, background);
}

template <typename Sample>
static void SampleColor(const Image *image, double x, double y, int *red, int *green, int *blue,
                        int backgroundRed, int backgroundGreen, int backgroundBlue)
{
    SampleSpot spot;
    // The backgrounds are blended like samples, so they keep to the samples' range.
    backgroundRed = sizeof(Sample) == 1 ? Clamp8(backgroundRed) : Clamp16(backgroundRed);
    backgroundGreen = sizeof(Sample) == 1 ? Clamp8(backgroundGreen) : Clamp16(backgroundGreen);
    backgroundBlue = sizeof(Sample) == 1 ? Clamp8(backgroundBlue) : Clamp16(backgroundBlue);
    SampleLocate(image, x, y, &spot);
    if (spot.zone == 0) {
        *red = backgroundRed;
        *green = backgroundGreen;
        *blue = backgroundBlue;
        return;
    }
    // Pixels lie blue first: red is the third sample.
    *blue = SampleChannel<Sample>(image, &spot, 3, 0, backgroundBlue);
    *green = SampleChannel<Sample>(image, &spot, 3, 1, backgroundGreen);
    *red = SampleChannel<Sample>(image, &spot, 3, 2, backgroundRed);
}

void SampleColor24(const Image *image, double x, double y, int *red, int *green, int *blue,
                   int backgroundRed, int backgroundGreen, int backgroundBlue)
{
    SampleColor<uint8_t>(image, x, y, red, green, blue, backgroundRed, backgroundGreen,
                         backgroundBlue);
}

void SampleColor48(const Image *image, double x, double y, int *red, int *green, int *blue,
                   int backgroundRed, int backgroundGreen, int backgroundBlue)
{
    SampleColor<uint16_t>(image, x, y, red, green, blue, backgroundRed, backgroundGreen,
                          backgroundBlue);
}

void SamplePixel(const Image *image, double x, double y, int *red, int *green, int *blue,
                 int backgroundRed, int backgroundGreen, int backgroundBlue)
{
    int gray;
    // Results are 0 to 255, so the background is too.
    backgroundRed = Clamp8(backgroundRed);
    backgroundGreen = Clamp8(backgroundGreen);
    backgroundBlue = Clamp8(backgroundBlue);
    int background = Luminance(backgroundRed, backgroundGreen, backgroundBlue);
    switch (image->type) {
    case TYPE_BINARY: gray = SampleBinary(image, x, y, background); break;
    case TYPE_GRAY8: gray = SampleGray8(image, x, y, background); break;
    case TYPE_GRAY16:
        // The 8-bit background passes the table too and comes out near black; callers of
        // this sampler have always seen it so.
        gray = Depth16To8[SampleGray16(image, x, y, background)];
        break;
    case TYPE_COLOR24:
        SampleColor24(image, x, y, red, green, blue, backgroundRed, backgroundGreen,
                      backgroundBlue);
        return;
    case TYPE_COLOR48:
        // The 8-bit sampler over the 16-bit rows, then the table: kept as callers know it.
        // It stays inside the row, since three bytes a pixel never reach past six.
        SampleColor24(image, x, y, red, green, blue, backgroundRed, backgroundGreen,
                      backgroundBlue);
        *red = Depth16To8[*red];
        *green = Depth16To8[*green];
        *blue = Depth16To8[*blue];
        return;
    default:
        // Without pixels every position lies outside the picture.
        *red = backgroundRed;
        *green = backgroundGreen;
        *blue = backgroundBlue;
        return;
    }
    *red = *green = *blue = gray;
}

void BuildDepthTables(void)
{
    for (int i = 0; i < 256; i++)
        Depth8To16[i] = (uint16_t)((i * 65535 + 127) / 255);
    for (int i = 0; i < 65536; i++)
        Depth16To8[i] = (uint8_t)((i * 255 + 32767) / 65535);
}

void FreeDepthTables(void)
{
    // The tables are static; there is nothing to give back.
}

ErrorCode BuildLerpTable(void)
{
    for (int d = 0; d < 256; d++)
        for (int w = 0; w < 256; w++)
            LerpTable[d][w] = (uint8_t)((d * w + 127) / 255);
    return ERROR_NONE;
}

void ImageProbeColor(const Image *image, int x, int y, int half, uint8_t rgb[3])
{
    int wide = image->type == TYPE_COLOR48 || image->type == TYPE_GRAY16;
    int channels = image->type == TYPE_COLOR24 || image->type == TYPE_COLOR48 ? 3 : 1;
    int64_t sums[3] = {0, 0, 0};
    int64_t count = 0;
    for (int row = y - half; row <= y + half; row++) {
        if (row < 0 || row >= image->height) continue;
        const uint8_t *line = image->rows[row];
        for (int column = x - half; column <= x + half; column++) {
            if (column < 0 || column >= image->width) continue;
            for (int c = 0; c < channels; c++) {
                int at = column * channels + c;
                if (image->type == TYPE_BINARY)
                    sums[c] += BitTest(line, column) ? 255 : 0;
                else
                    sums[c] += wide ? ((const uint16_t *)line)[at] : line[at];
            }
            count++;
        }
    }
    for (int c = 0; c < 3; c++) {
        // Pixels lie blue first: channel 0 in memory is blue.
        int64_t sum = sums[channels == 3 ? 2 - c : 0];
        int mean = count > 0 ? (int)((sum + count / 2) / count) : 0;
        rgb[c] = wide ? Depth16To8[mean] : (uint8_t)mean;
    }
}
