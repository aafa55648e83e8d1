// Our own reader and writer of Utah RLE files.
//
// An RLE file is a 15-byte header (magic 0xCC52, the picture's corner and size, flags, the
// number of channels and of bits, the color maps' number and size), the background color,
// the color maps, comments, and then a stream of operations in 16-bit words. The operations
// work on scanlines from the bottom of the picture up: skip lines, choose a channel, skip
// pixels, give pixels as they stand (byte data) or one pixel repeated (run data), and end.
// An operation with bit 0x40 set is the long form, whose operand is the word that follows.
//
// The picture is the box the header saves; its corner places it in a frame buffer we do not
// have, and is left. Scanlines come in the order of an Image's rows. The decoder gathers one scanline
// per channel, starting from the background, and stores it when the stream moves on. It
// writes nothing outside the picture, and stops at the end of the file.
#include "files/Rle.h"

#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/RasterInput.h"
#include "files/RasterOutput.h"

static const int RLE_HEADER_BYTES = 15;
static const int RLE_MAGIC_LOW = 0x52; // 0xCC52 in the file's low-byte-first order
static const int RLE_MAGIC_HIGH = 0xCC;
static const int RLE_NO_BACKGROUND = 0x02; // flag: no background color, one filler byte
static const int RLE_COMMENTS = 0x08;      // flag: comments follow the color maps
static const int RLE_LONG = 0x40;          // opcode bit of the long form
static const int RLE_LARGEST_MAP_BITS = 16;
static const int RLE_LARGEST_SIDE = 32767; // written sides stay positive as 16-bit shorts
static const int RLE_SHORT_COUNT = 256;    // the most a short form's operand byte can count
// A long run of six bytes gives up to 65536 pixels and a long skip of four bytes whole lines;
// a picture may have this many pixels for each byte of its file, enough for a uniform picture
// of the widest kind written with one run per line.
static const int64_t RLE_RATIO = 8192;
// A run shorter than this costs more as a run than inside the byte data around it.
static const int RLE_RUN_SHORTEST = 6;

enum : int32_t {
    RLE_SKIP_LINES = 1,
    RLE_SET_COLOR = 2,
    RLE_SKIP_PIXELS = 3,
    RLE_BYTE_DATA = 5,
    RLE_RUN_DATA = 6,
    RLE_END = 7,
};

struct RleInfo {
    int64_t fileSize;
    int64_t dataOffset;
    int32_t width;
    int32_t height;
    int32_t channels;      // channels kept: 1 gray or 3 red, green, blue
    uint8_t background[3]; // each channel's value where the stream gives none
    uint8_t maps[3][256];  // each kept channel's color map; values without an entry stay
    int32_t type;
    IndexPalette palette; // a one-channel file with three maps
    int32_t mapped;       // 1 when the palette is used
};

// Reads count bytes at *position and moves it on; 0 when they are not all in the file.
static int RleHeaderBytes(FileHandle file, int64_t *position, uint8_t *bytes, int64_t count)
{
    if (FileSeek(file, *position) != ERROR_NONE || FileReadExact(file, bytes, count) != ERROR_NONE)
        return 0;
    *position += count;
    return 1;
}

// Reads the header, background, maps and comments. Returns ERROR_READ_RLE for anything wrong.
static ErrorCode RleHeaderRead(FileHandle file, RleInfo *info)
{
    uint8_t header[RLE_HEADER_BYTES];
    uint8_t bytes[512];
    int64_t position = 0;

    memset(info, 0, sizeof *info);
    if (FileSize(file, &info->fileSize) != ERROR_NONE ||
        !RleHeaderBytes(file, &position, header, RLE_HEADER_BYTES))
        return ERROR_READ_RLE;
    if (header[0] != RLE_MAGIC_LOW || header[1] != RLE_MAGIC_HIGH) return ERROR_READ_RLE;
    info->width = BytesGet16(header, 6, 1);
    info->height = BytesGet16(header, 8, 1);
    int flags = header[10];
    int colors = header[11];
    int pixelBits = header[12];
    int mapCount = header[13];
    int mapBits = header[14];
    if (info->width == 0 || info->height == 0) return ERROR_READ_RLE;
    // One channel is gray; three or more are red, green, blue and others we leave. Two
    // channels, none (a map alone), and depths other than 8 hold no picture of ours.
    if (colors == 0 || colors == 2 || pixelBits != 8) return ERROR_READ_RLE;
    info->channels = colors == 1 ? 1 : 3;

    // The background: a byte per channel, padded to a whole word; or one filler byte.
    if ((flags & RLE_NO_BACKGROUND) == 0) {
        int count = colors + (colors % 2 == 0 ? 1 : 0);
        if (!RleHeaderBytes(file, &position, bytes, count)) return ERROR_READ_RLE;
        memcpy(info->background, bytes, (size_t)info->channels);
    } else {
        position++;
    }

    // The maps: mapCount of 2^mapBits words, each value in its high byte. A channel without
    // a map of its own, and a value past the end of its map, stay as they are.
    for (int c = 0; c < 3; c++)
        for (int v = 0; v < 256; v++)
            info->maps[c][v] = (uint8_t)v;
    if (mapCount > 0) {
        if (mapBits > RLE_LARGEST_MAP_BITS) return ERROR_READ_RLE;
        int64_t entries = (int64_t)1 << mapBits;
        if (position + 2 * entries * mapCount > info->fileSize) return ERROR_READ_RLE;
        int64_t used = entries < 256 ? entries : 256;
        for (int m = 0; m < mapCount && m < 3; m++) {
            int64_t at = position + 2 * entries * m;
            if (!RleHeaderBytes(file, &at, bytes, 2 * used)) return ERROR_READ_RLE;
            for (int v = 0; v < used; v++)
                info->maps[m][v] = bytes[2 * v + 1];
        }
        position += 2 * entries * mapCount;
    }

    // Comments: a length word, the text, and a filler byte after an odd length.
    if ((flags & RLE_COMMENTS) != 0) {
        if (!RleHeaderBytes(file, &position, bytes, 2)) return ERROR_READ_RLE;
        int length = BytesGet16(bytes, 0, 1);
        position += length + (length & 1);
    }
    info->dataOffset = position;
    if (position > info->fileSize) return ERROR_READ_RLE;
    if (!RasterBackedByFile((int64_t)info->width * info->height, info->fileSize - position,
                            RLE_RATIO))
        return ERROR_READ_RLE;

    // One channel with three maps is a palette picture: the maps give its colors.
    info->type = info->channels == 3 ? TYPE_COLOR24 : TYPE_GRAY8;
    if (info->channels == 1 && mapCount >= 3) {
        info->mapped = 1;
        info->palette.count = 256;
        for (int v = 0; v < 256; v++) {
            info->palette.red[v] = info->maps[0][v];
            info->palette.green[v] = info->maps[1][v];
            info->palette.blue[v] = info->maps[2][v];
        }
        info->type = IndexPaletteType(&info->palette);
    }
    return ERROR_NONE;
}

// The gathered scanline into a picture row, through the maps.
static void RleRowStore(const RleInfo *info, uint8_t *const *values, uint8_t *out)
{
    int width = info->width;
    if (info->mapped) {
        IndexRowStore(&info->palette, info->type, values[0], width, out);
    } else if (info->channels == 1) {
        for (int x = 0; x < width; x++)
            out[x] = info->maps[0][values[0][x]];
    } else {
        for (int x = 0; x < width; x++) {
            out[3 * x] = info->maps[2][values[2][x]];
            out[3 * x + 1] = info->maps[1][values[1][x]];
            out[3 * x + 2] = info->maps[0][values[0][x]];
        }
    }
}

// The scanlines of the operation stream. Every operation takes at least two bytes of the
// stream, so the loop ends with the file; where the file ends before the picture does, the
// scanlines not stored go to found.
static ErrorCode RleReadRows(FileHandle file, const RleInfo *info, Image *picture, int showProgress,
                             FileDamage *found)
{
    ErrorCode result = ERROR_NONE;
    ByteStream stream;
    uint8_t *values[3] = {nullptr, nullptr, nullptr};
    int width = info->width;
    int row = 0;      // scanlines stored so far
    int x = 0;        // the next pixel of the scanline
    int channel = -1; // the channel being given, -1 until one is chosen
    int finished = 0;

    ByteStreamReset(&stream);
    for (int c = 0; c < info->channels; c++) {
        values[c] = (uint8_t *)MemoryAlloc((size_t)width);
        if (values[c] == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
        memset(values[c], info->background[c], (size_t)width);
    }
    result = ByteStreamOpen(file, info->dataOffset, info->fileSize - info->dataOffset, &stream);
    if (result != ERROR_NONE) goto done;

    while (!finished && row < info->height) {
        int opcode = ByteStreamGet(&stream);
        int operand = ByteStreamGet(&stream);
        if (operand < 0) break; // the stream stops before the picture ends
        if ((opcode & RLE_LONG) != 0) {
            int low = ByteStreamGet(&stream);
            int high = ByteStreamGet(&stream);
            if (high < 0) break;
            operand = low | (high << 8);
        }
        // Pixels go only to a channel we keep (the alpha channel, 255, and channels past
        // the third are read and left), and only inside the scanline.
        uint8_t *target = channel >= 0 && channel < info->channels ? values[channel] : nullptr;
        int linesDone = 0; // scanlines this operation finishes
        switch (opcode & ~RLE_LONG) {
        case RLE_SKIP_LINES:
            linesDone = operand;
            x = 0;
            break;
        case RLE_SET_COLOR:
            channel = operand;
            x = 0;
            break;
        case RLE_SKIP_PIXELS: x = x + operand < width ? x + operand : width; break;
        case RLE_BYTE_DATA: {
            int count = operand + 1;
            for (int k = 0; k < count; k++) {
                int value = ByteStreamGet(&stream);
                if (value < 0) goto ended;
                if (x < width) {
                    if (target != nullptr) target[x] = (uint8_t)value;
                    x++;
                }
            }
            if ((count & 1) != 0 && ByteStreamGet(&stream) < 0) goto ended; // its filler
            break;
        }
        case RLE_RUN_DATA: {
            int count = operand + 1;
            int value = ByteStreamGet(&stream); // the value's word: the value, then a filler
            if (ByteStreamGet(&stream) < 0) goto ended;
            int end = x + count < width ? x + count : width;
            if (target != nullptr && end > x) memset(target + x, value, (size_t)(end - x));
            x = end;
            break;
        }
        case RLE_END:
            finished = 1;
            linesDone = info->height; // the rest is background
            break;
        default: result = ERROR_READ_RLE; goto done;
        }
        for (int r = 0; r < linesDone && row < info->height; r++) {
            RleRowStore(info, values, picture->rows[row]);
            for (int c = 0; c < info->channels; c++)
                memset(values[c], info->background[c], (size_t)width);
            if (showProgress && (result = ProgressStep(row)) != ERROR_NONE) goto done;
            row++;
        }
    }
ended:
    // The first scanline of the file is the bottom of the picture.
    if (!finished) RasterRowsMissingFrom(picture, row, 0, found);
done:
    ByteStreamClose(&stream);
    for (int c = 0; c < 3; c++)
        MemoryFree(values[c]);
    return result;
}

// The header for the read frame. An RLE file says nothing of its resolution.
static ErrorCode RleHeader(FileHandle file, void *info, RasterShape *shape)
{
    RleInfo *rle = (RleInfo *)info;
    ErrorCode result = RleHeaderRead(file, rle);
    if (result != ERROR_NONE) return result;
    *shape = {rle->type, rle->width, rle->height, Prefs.defaultResolution};
    return ERROR_NONE;
}

static ErrorCode RleRows(FileHandle file, const void *info, Image *picture, int showProgress,
                         FileDamage *found)
{
    return RleReadRows(file, (const RleInfo *)info, picture, showProgress, found);
}

static const RasterFormatReader RLE_READER = {"RLE Read", ERROR_READ_RLE, RleHeader, RleRows,
                                              nullptr};

ErrorCode ReadRleFile(const char *path, Picture *target, int showProgress, FileDamage *damage)
{
    RleInfo info;
    return RasterRead(path, &RLE_READER, &info, target, showProgress, damage);
}

// An operation with a count of 1 to 65536: the short form up to 256, else the long form.
static void RlePutCount(BlockWriter *writer, int opcode, int count)
{
    uint8_t *op;
    if (count <= RLE_SHORT_COUNT) {
        op = BlockWriterSpace(writer, 2);
        op[0] = (uint8_t)opcode;
        op[1] = (uint8_t)(count - 1);
    } else {
        op = BlockWriterSpace(writer, 4);
        op[0] = (uint8_t)(opcode | RLE_LONG);
        op[1] = 0;
        BytesPut16(op, 2, (uint16_t)(count - 1));
    }
}

// Byte data for values[0..count), with the filler byte after an odd count.
static void RlePutBytes(BlockWriter *writer, const uint8_t *values, int count)
{
    RlePutCount(writer, RLE_BYTE_DATA, count);
    BlockWriterPut(writer, values, count);
    if ((count & 1) != 0) *BlockWriterSpace(writer, 1) = 0;
}

// One scanline of gray values as runs and byte data, each at most 65536 pixels long.
static void RlePutLine(BlockWriter *writer, const uint8_t *values, int width)
{
    const int longest = 65536;
    int literal = 0; // where the pending byte data starts
    int x = 0;
    while (x < width) {
        int run = 1;
        while (x + run < width && run < longest && values[x + run] == values[x])
            run++;
        // A run pays when it is long, or short at either end of the byte data.
        int edge = x == literal || x + run == width;
        if (run >= RLE_RUN_SHORTEST || (run >= 3 && edge)) {
            if (x > literal) RlePutBytes(writer, values + literal, x - literal);
            RlePutCount(writer, RLE_RUN_DATA, run);
            uint8_t *word = BlockWriterSpace(writer, 2);
            word[0] = values[x];
            word[1] = 0;
            x += run;
            literal = x;
        } else {
            x += run;
            if (x - literal >= longest) {
                RlePutBytes(writer, values + literal, longest);
                literal += longest;
            }
        }
    }
    if (x > literal) RlePutBytes(writer, values + literal, x - literal);
}

// What a save writes before the rows, and a binary row's room as gray levels.
struct RleSave {
    uint8_t header[RLE_HEADER_BYTES + 1];
    uint8_t *levels; // a binary row as gray levels
};

static ErrorCode RleSavePrepare(const Image *image, void *state)
{
    RleSave *save = (RleSave *)state;
    uint8_t *header = save->header;
    memset(save, 0, sizeof *save);
    if (image->type != TYPE_BINARY && image->type != TYPE_GRAY8) return ERROR_SAVE_TYPE_RLE;
    if (image->width > RLE_LARGEST_SIDE || image->height > RLE_LARGEST_SIDE) return ERROR_WRITE_RLE;
    // Corner 0, 0; one channel of 8 bits, no background (every pixel is given), no map; the
    // filler byte that stands for the background ends the header on a whole word.
    header[0] = RLE_MAGIC_LOW;
    header[1] = RLE_MAGIC_HIGH;
    BytesPut16(header, 6, (uint16_t)image->width);
    BytesPut16(header, 8, (uint16_t)image->height);
    header[10] = RLE_NO_BACKGROUND;
    header[11] = 1;
    header[12] = 8;
    if (image->type == TYPE_BINARY) {
        save->levels = (uint8_t *)MemoryAlloc((size_t)image->width);
        if (save->levels == nullptr) return ERROR_NO_MEMORY;
    }
    return ERROR_NONE;
}

static void RleSaveHead(BlockWriter *writer, const Image *image, void *state)
{
    (void)image;
    BlockWriterPut(writer, ((const RleSave *)state)->header, RLE_HEADER_BYTES + 1);
}

// Scanlines from the bottom up, like our rows: choose channel 0, give the line, and move to
// the next line.
static void RleSaveRow(BlockWriter *writer, const Image *image, int i, void *state)
{
    uint8_t *levels = ((RleSave *)state)->levels;
    const uint8_t *values = image->rows[i];
    if (levels != nullptr) {
        for (int x = 0; x < image->width; x++)
            levels[x] = BitTest(image->rows[i], x) ? 255 : 0;
        values = levels;
    }
    uint8_t *op = BlockWriterSpace(writer, 2);
    op[0] = RLE_SET_COLOR;
    op[1] = 0;
    RlePutLine(writer, values, image->width);
    op = BlockWriterSpace(writer, 2);
    op[0] = i + 1 < image->height ? RLE_SKIP_LINES : RLE_END;
    op[1] = i + 1 < image->height ? 1 : 0;
}

static void RleSaveRelease(void *state)
{
    MemoryRelease(&((RleSave *)state)->levels);
}

static const RasterFormatWriter RLE_WRITER = {
    "RLE Write", ERROR_WRITE_RLE, RleSavePrepare, RleSaveHead, RleSaveRow, nullptr, RleSaveRelease};

ErrorCode SaveRleFile(const char *path, Picture *picture)
{
    RleSave save;
    return RasterSave(path, &picture->image, &RLE_WRITER, &save);
}
