// What our own readers of BMP, Targa, PCX and RLE files share: the frame of a read, a byte
// stream over a bounded stretch of a file, palettes that turn pixel indices into picture rows,
// and the rule that keeps a small file from asking for a large picture.
//
// The stream is what makes the run-length decoders safe: it answers -1 for every byte past
// the stretch it was given (or past the end of the file), so a decoder that consumes at least
// one byte per step cannot loop longer than the file is long.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "core/Image.h"
#include "core/Picture.h"

// Larger sides than this come only from damaged files; the file-size rules are the real guard.
constexpr int32_t RASTER_MAX_SIDE = 1 << 24;

// Pixels a compressed picture may always have, whatever its file's size: a megapixel costs
// little, and it keeps tiny test files and mostly empty pictures readable.
constexpr int64_t RASTER_FREE_PIXELS = 1 << 20;

// An uncompressed file that ends early opens when it holds a sixteenth of its rows (or its
// picture is small): one that claims more is a lie rather than damage, and would only make
// us allocate out of proportion to the file.
constexpr int64_t RASTER_DAMAGED_RATIO = 16;

// Bytes the stream reads from the file at a time.
constexpr int32_t BYTE_STREAM_BUFFER = 65536;

struct ByteStream {
    FileHandle file;  // not owned
    int64_t left;     // bytes of the stretch not yet read into the buffer
    int32_t position; // next byte of the buffer
    int32_t filled;   // bytes in the buffer
    int32_t dry;      // 1 once a byte past the end was asked for, or a read failed
    uint8_t *buffer;  // BYTE_STREAM_BUFFER bytes, owned
};

// Resets the stream, so that ByteStreamClose may be called whatever happens.
void ByteStreamReset(ByteStream *stream);

// Starts reading length bytes of file at offset. The stretch is cut at the end of the file.
// Returns ERROR_NO_MEMORY or a seek failure's code.
ErrorCode ByteStreamOpen(FileHandle file, int64_t offset, int64_t length, ByteStream *stream);

// Frees the buffer; the file stays open. Safe on a reset stream.
void ByteStreamClose(ByteStream *stream);

// Refills the buffer and returns its first byte, or -1 at the end; for ByteStreamGet.
int ByteStreamFill(ByteStream *stream);

// The next byte, 0..255, or -1 once the stretch is used up (and from then on).
inline int ByteStreamGet(ByteStream *stream)
{
    if (stream->position < stream->filled) return stream->buffer[stream->position++];
    return ByteStreamFill(stream);
}

// Copies the next count bytes; 1 when all of them came, else 0 and the stream is dry.
int ByteStreamRead(ByteStream *stream, uint8_t *destination, int64_t count);

// Passes over count bytes; 1 when all of them were there, else 0 and the stream is dry.
int ByteStreamSkip(ByteStream *stream, int64_t count);

// A palette of up to 256 entries. Indices past count read as black, which is how a file that
// names a color its palette lacks has always been shown.
struct IndexPalette {
    int32_t count; // entries the file gives, 0..256
    uint8_t red[256];
    uint8_t green[256];
    uint8_t blue[256];
};

// Sets every entry to black and count to 0.
void IndexPaletteClear(IndexPalette *palette);

// Sets entry i to gray level i for all 256 entries.
void IndexPaletteGray(IndexPalette *palette);

// The picture type a palette asks for: TYPE_BINARY when every entry is black or white,
// TYPE_GRAY8 when every entry is a gray, else TYPE_COLOR24. Only the first count entries are
// looked at; the black ones after them change nothing of the answer.
int IndexPaletteType(const IndexPalette *palette);

// Stores width indices into a row of type (from IndexPaletteType): a set bit for a white entry,
// the gray level, or blue, green and red. A binary row's bytes are written whole, with the
// bits past width clear.
void IndexRowStore(const IndexPalette *palette, int type, const uint8_t *indices, int width,
                   uint8_t *out);

// Unpacks width indices of bits 1, 2, 4 or 8 from a row, the leftmost in the high bits.
void IndexRowUnpack(const uint8_t *packed, int bits, int width, uint8_t *indices);

// 1 when a compressed picture of pixels may come from bytes of file: at most ratio pixels for
// each byte, or RASTER_FREE_PIXELS. A decoder's ratio is the most its format can expand.
int RasterBackedByFile(int64_t pixels, int64_t bytes, int64_t ratio);

// Marks the rows firstTop..lastTop of picture (counted from the top) as missing in damage and
// makes them black, so that no stale memory shows where the file ended early.
void RasterRowsMissing(Image *picture, int64_t firstTop, int64_t lastTop, FileDamage *damage);

// The same for a file that stopped at file row fileRow: that row and every one after it are
// missing. topDown tells whether the file's first row is the top of the picture.
void RasterRowsMissingFrom(Image *picture, int64_t fileRow, int topDown, FileDamage *damage);

// Turns the rows a picture lacks as its file had them into what the user sees after the
// picture was turned by an Orient code (core/Orient.h): height is the picture's before
// the turn. Codes 1, 3, 5 and 7 make rows columns.
void FileDamageOrient(FileDamage *damage, int code, int height);

// The end of a read that may have stopped early, with found what the picture lacks: with
// damage null a damaged picture is a failure with the format's code, else *damage receives
// found and the picture stands with what could be read.
ErrorCode RasterDamageResult(ErrorCode result, const FileDamage *found, FileDamage *damage,
                             ErrorCode code);

// Gives target the pixels read, or on failure frees both: the convention of every reader is
// that a failed read leaves the picture it reads into without pixels.
void RasterFinish(ErrorCode result, Image *picture, Image *target);

// The picture a format's header describes.
struct RasterShape {
    int32_t type;
    int32_t width;
    int32_t height;
    double resolution; // dots per inch
};

// One format's part of a read; RasterRead does the rest. info is the format's own record of
// its header, which header fills and rows and extras read.
struct RasterFormatReader {
    const char *title; // of the progress window, "BMP Read"
    ErrorCode code;    // of a damaged file read without a damage report
    // Reads and checks the header from the start of the file, and gives the picture's shape.
    // Returns the format's code for anything wrong.
    ErrorCode (*header)(FileHandle file, void *info, RasterShape *shape);
    // Reads the rows into picture, a progress step a file row when showProgress says so; the
    // rows the file lacks go to found, black. Returns ERROR_ABORTED or a failed read's code.
    ErrorCode (*rows)(FileHandle file, const void *info, Image *picture, int showProgress,
                      FileDamage *found);
    // What a read that succeeded takes besides the pixels (BMP's profile), or null.
    void (*extras)(FileHandle file, const void *info, Picture *target);
};

// Reads the picture of path into target->image through format: opens the file, reads the
// header, allocates the picture, reads the rows with a progress window for a large picture
// when showProgress says so, and reports missing rows into damage (or, with damage null,
// fails with the format's code). On failure target->image is left without pixels. Returns
// the codes of the file, the format, ImageAlloc or ERROR_ABORTED.
ErrorCode RasterRead(const char *path, const RasterFormatReader *format, void *info,
                     Picture *target, int showProgress, FileDamage *damage);
