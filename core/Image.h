// The Image record: the one in-memory picture of the program.
//
// Rows run bottom-up (rows[0] is the bottom row), color pixels lie blue first, 16-bit
// samples are little-endian, and every row is padded to four bytes, exactly as a
// device-independent bitmap keeps them. The rows live in blocks of at most 512000 bytes and
// are reached only through rows[i]: two rows are never assumed adjacent.
#pragma once

#include <cstdint>

#include "core/Errors.h"

enum : int32_t {
    TYPE_EMPTY = 0,
    TYPE_BINARY = 1,    // 1 bit, leftmost pixel in the MSB, 1 is white
    TYPE_GRAY8 = 2,     // 1 byte, 0 black
    TYPE_COLOR24 = 3,   // blue, green, red bytes
    TYPE_COLOR = 4,     // a single color value; storage only
    TYPE_HISTOGRAM = 5, // 257 unsigned 32-bit words; storage only
    TYPE_GRAY16 = 6,    // 1 little-endian 16-bit sample
    TYPE_COLOR48 = 7,   // blue, green, red 16-bit samples
};

constexpr int IMAGE_CHUNK_BYTES = 512000; // largest block of pixel memory ever allocated

struct Image {
    int32_t type;
    int32_t width;      // pixels in a row
    int32_t height;     // rows
    int32_t rowBytes;   // bytes of a row with its padding; a multiple of 4
    double resolution;  // pixels per inch, one value for both axes
    uint8_t **rows;     // rows[i] is the first byte of row i, row 0 at the bottom
    int32_t chunkCount; // blocks that hold the rows
    int32_t rowsPerChunk;
    uint8_t **chunks;
};

// 1 for the five picture types (1, 2, 3, 6, 7), else 0.
int ImageIsPicture(int type);

// The name Window Info shows for a type code, "Unknown" outside the table.
const char *ImageTypeName(int type);

// Bytes of a padded row of this type and width; 0 for types without pixels.
int ImageRowBytes(int type, int width);

// Sets all fields to zero and frees nothing; for a record that holds no storage yet.
void ImageClear(Image *image);

// Frees all storage and leaves the record cleared; safe on a cleared record and twice.
void ImageFree(Image *image);

// (Re)creates the storage. An unchanged type and size keeps the pixels and only stores the
// resolution. A type outside 1..7 leaves an empty record (how callers reset one). Returns
// ERROR_NO_MEMORY or ERROR_IMAGE_TOO_WIDE with the record cleared.
ErrorCode ImageAlloc(Image *image, int type, int width, int height, double resolution);

// Allocates destination like source and copies every row, without progress.
ErrorCode ImageDuplicate(const Image *source, Image *destination);

// The same, with progress titled "Copy" when showProgress is set; an abort returns
// ERROR_ABORTED and leaves the rows copied so far.
ErrorCode ImageCopy(const Image *source, Image *destination, int showProgress);

// Copies the inclusive rectangle (row indices, not distances from the top) into a new
// picture of that size.
ErrorCode ImageCopyRect(const Image *source, int x0, int y0, int x1, int y1, Image *destination);

// Scroll a view picture sideways by count pixels (types 1, 2, 3 only) or by count rows (any
// type). The uncovered columns or rows keep their old contents for the caller to repaint.
void ImageShiftLeft(Image *image, int count);
void ImageShiftRight(Image *image, int count);
void ImageShiftRowsDown(Image *image, int count);
void ImageShiftRowsUp(Image *image, int count);

// Samplers at a real-valued position, x a column and y a row index (rows from the bottom).
// Gray and color samplers are bilinear inside, fade into the background over a one-pixel
// fringe, and return the background outside.
int SampleBinary(const Image *image, double x, double y, int background);
int SampleGray8(const Image *image, double x, double y, int background);
int SampleGray16(const Image *image, double x, double y, int background);
void SampleColor24(const Image *image, double x, double y, int *red, int *green, int *blue,
                   int backgroundRed, int backgroundGreen, int backgroundBlue);
void SampleColor48(const Image *image, double x, double y, int *red, int *green, int *blue,
                   int backgroundRed, int backgroundGreen, int backgroundBlue);
// Any picture type, results in 0 to 255.
void SamplePixel(const Image *image, double x, double y, int *red, int *green, int *blue,
                 int backgroundRed, int backgroundGreen, int backgroundBlue);

// The color a probe reads at column x, row index y of any picture: the rounded mean of the
// square of 2 half + 1 pixels a side around it, of the part that lies inside the picture,
// taken at the picture's own depth and then brought to 0..255; red first, gray in all three.
void ImageProbeColor(const Image *image, int x, int y, int half, uint8_t rgb[3]);

// The only conversions between sample depths, and the blend table; built once at start-up.
extern uint16_t Depth8To16[256];    // (i * 65535 + 127) / 255
extern uint8_t Depth16To8[65536];   // (i * 255 + 32767) / 65535
extern uint8_t LerpTable[256][256]; // [d][w] = (d * w + 127) / 255

void BuildDepthTables(void);
void FreeDepthTables(void);
ErrorCode BuildLerpTable(void);

// Blend of a toward b by w / 255; w = 255 gives b.
inline int Lerp8(int a, int b, int w)
{
    return b >= a ? a + LerpTable[b - a][w] : a - LerpTable[a - b][w];
}

inline int Lerp16(int a, int b, int w)
{
    return (int)((int32_t)((b - a) * w) / 255 + a);
}
