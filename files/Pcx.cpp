// Our own PCX reader and writer.
//
// A PCX file is a 128-byte header and the rows, top row first. Each row holds its planes one
// after the other, each plane `bytesPerLine` bytes long, and the whole is run-length encoded:
// a byte with its two high bits set repeats the next byte up to 63 times, any other byte
// stands for itself. An 8-bit file keeps its 256 colors after the rows, behind a byte 12.
//
// Some writers let a run continue from one row into the next, so the decoder keeps its run
// between rows. It reads only the bytes between the header and the palette, and a picture may
// be only as large as those bytes can fill.
#include "files/Pcx.h"

#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/RasterInput.h"
#include "files/RasterOutput.h"

static const int PCX_HEADER_BYTES = 128;
static const int PCX_MANUFACTURER = 0x0A;
static const int PCX_PALETTE_MARK = 0x0C;     // the byte before the 256-color palette
static const int PCX_PALETTE_BYTES = 1 + 768; // the mark and 256 red, green, blue triples
static const int PCX_RUN_FLAGS = 0xC0;        // the two high bits that make a byte a count
static const int PCX_RUN_LONGEST = 63;
// A run of two bytes gives at most 63, so the rows hold at most 32 bytes for each file byte.
static const int64_t PCX_RLE_RATIO = 32;
static const int PCX_LARGEST_WIDTH = 65534; // an even bytesPerLine of 8-bit rows fits 16 bits

// Everything the header tells about the rows, checked.
struct PcxInfo {
    int64_t fileSize;
    int32_t encoded; // 1 for run-length encoding, 0 for bytes as they stand
    int32_t bits;    // bits per pixel of a plane: 1, 4 or 8
    int32_t planes;  // 1 to 4
    int32_t width;
    int32_t height;
    int32_t bytesPerLine; // of one plane
    int32_t dotsPerInch;
    int64_t dataEnd; // the first byte after the rows: the palette's mark, or the file's end
    int32_t type;
    int32_t paletteLost; // 1 for an 8-bit file that should end in a palette and does not
    IndexPalette palette;
};

// The run a decoder is in, kept from one row to the next.
struct PcxRun {
    int32_t left; // bytes of the run still to give
    uint8_t value;
};

// Reads the header and the palette and checks that the rows can be in the file. Returns
// ERROR_READ_PCX for anything wrong.
static ErrorCode PcxHeaderRead(FileHandle file, PcxInfo *info)
{
    uint8_t header[PCX_HEADER_BYTES];
    uint8_t palette[PCX_PALETTE_BYTES];

    memset(info, 0, sizeof *info);
    if (FileSize(file, &info->fileSize) != ERROR_NONE ||
        FileReadExact(file, header, PCX_HEADER_BYTES) != ERROR_NONE)
        return ERROR_READ_PCX;
    if (header[0] != PCX_MANUFACTURER || header[2] > 1) return ERROR_READ_PCX;
    info->encoded = header[2];
    int version = header[1];
    info->bits = header[3];
    info->planes = header[65];
    int xMin = BytesGet16(header, 4, 1);
    int yMin = BytesGet16(header, 6, 1);
    int xMax = BytesGet16(header, 8, 1);
    int yMax = BytesGet16(header, 10, 1);
    if (xMax < xMin || yMax < yMin) return ERROR_READ_PCX;
    info->width = xMax - xMin + 1;
    info->height = yMax - yMin + 1;
    info->bytesPerLine = BytesGet16(header, 66, 1);
    info->dotsPerInch = BytesGet16(header, 12, 1);

    // The layouts a user meets. Two-bit pixels are CGA files, whose palette bytes mean
    // something else again; they are refused rather than shown in wrong colors.
    int indexBits = 0; // bits of an index into a palette, 0 for direct color
    if (info->bits == 1 && info->planes >= 1 && info->planes <= 4)
        indexBits = info->planes;
    else if (info->bits == 4 && info->planes == 1)
        indexBits = 4;
    else if (info->bits == 8 && info->planes == 1)
        indexBits = 8;
    else if (!(info->bits == 8 && (info->planes == 3 || info->planes == 4)))
        return ERROR_READ_PCX;
    if (info->bytesPerLine < ((int64_t)info->width * info->bits + 7) / 8) return ERROR_READ_PCX;

    info->dataEnd = info->fileSize;
    IndexPaletteClear(&info->palette);
    if (indexBits == 8) {
        // The 256 colors stand at the very end behind their mark; a file without them is gray.
        if (info->fileSize >= PCX_HEADER_BYTES + PCX_PALETTE_BYTES &&
            FileSeek(file, info->fileSize - PCX_PALETTE_BYTES) == ERROR_NONE &&
            FileReadExact(file, palette, PCX_PALETTE_BYTES) == ERROR_NONE &&
            palette[0] == PCX_PALETTE_MARK) {
            info->dataEnd = info->fileSize - PCX_PALETTE_BYTES;
            info->palette.count = 256;
            for (int i = 0; i < 256; i++) {
                info->palette.red[i] = palette[1 + 3 * i];
                info->palette.green[i] = palette[2 + 3 * i];
                info->palette.blue[i] = palette[3 + 3 * i];
            }
        } else {
            // Version 5 files have their palette; one without it was cut off, unless the
            // rows end where the file does (PcxPaletteLost decides once they are read).
            info->paletteLost = version == 5;
            IndexPaletteGray(&info->palette);
        }
        info->type = IndexPaletteType(&info->palette);
    } else if (indexBits == 1) {
        // Black and white, unless the header's palette gives two different colors: many
        // writers leave it empty, and a few swap the two.
        info->palette.count = 2;
        if (memcmp(header + 16, header + 19, 3) != 0) {
            for (int i = 0; i < 2; i++) {
                info->palette.red[i] = header[16 + 3 * i];
                info->palette.green[i] = header[17 + 3 * i];
                info->palette.blue[i] = header[18 + 3 * i];
            }
        } else {
            info->palette.red[1] = info->palette.green[1] = info->palette.blue[1] = 255;
        }
        info->type = IndexPaletteType(&info->palette);
    } else if (indexBits > 0) {
        info->palette.count = 1 << indexBits;
        for (int i = 0; i < info->palette.count; i++) {
            info->palette.red[i] = header[16 + 3 * i];
            info->palette.green[i] = header[17 + 3 * i];
            info->palette.blue[i] = header[18 + 3 * i];
        }
        info->type = IndexPaletteType(&info->palette);
    } else {
        info->type = TYPE_COLOR24;
    }

    // The rows must be in the file: all of them as they stand, or enough bytes encoded.
    int64_t rowBytes = (int64_t)info->planes * info->bytesPerLine;
    int64_t available = info->dataEnd - PCX_HEADER_BYTES;
    if (available < 0) return ERROR_READ_PCX;
    if (info->encoded) {
        if (!RasterBackedByFile(rowBytes * info->height, available, PCX_RLE_RATIO))
            return ERROR_READ_PCX;
    } else if (!RasterBackedByFile(rowBytes * info->height, available, RASTER_DAMAGED_RATIO)) {
        return ERROR_READ_PCX; // far more than a file that ended early
    }
    return ERROR_NONE;
}

// The next count bytes of rows into line. Returns 0 when the stream ends first.
static int PcxLineRead(ByteStream *stream, const PcxInfo *info, PcxRun *run, uint8_t *line,
                       int64_t count)
{
    if (!info->encoded) return ByteStreamRead(stream, line, count);
    int64_t i = 0;
    while (i < count) {
        if (run->left > 0) {
            int64_t piece = run->left < count - i ? run->left : count - i;
            memset(line + i, run->value, (size_t)piece);
            i += piece;
            run->left -= (int32_t)piece;
            continue;
        }
        // Bytes that stand for themselves, taken straight from the stream's buffer: in a
        // photograph they are most of the file.
        const uint8_t *ready = stream->buffer + stream->position;
        int64_t readyCount = stream->filled - stream->position;
        if (readyCount > count - i) readyCount = count - i;
        int64_t k = 0;
        while (k < readyCount && (ready[k] & PCX_RUN_FLAGS) != PCX_RUN_FLAGS) {
            line[i + k] = ready[k];
            k++;
        }
        stream->position += (int32_t)k;
        i += k;
        if (i == count) break;
        int byte = ByteStreamGet(stream);
        if (byte < 0) return 0;
        if ((byte & PCX_RUN_FLAGS) != PCX_RUN_FLAGS) {
            line[i++] = (uint8_t)byte;
            continue;
        }
        int value = ByteStreamGet(stream);
        if (value < 0) return 0;
        run->left = byte & PCX_RUN_LONGEST; // a count of 0 gives nothing
        run->value = (uint8_t)value;
    }
    return 1;
}

// A row of planes into a picture row.
static void PcxRowStore(const PcxInfo *info, const uint8_t *line, uint8_t *indices, uint8_t *out)
{
    int width = info->width;
    const uint8_t *plane[4];
    for (int p = 0; p < info->planes; p++)
        plane[p] = line + (int64_t)p * info->bytesPerLine;
    if (info->type == TYPE_BINARY && info->bits == 1 && info->planes == 1 &&
        info->palette.red[0] != info->palette.red[1]) {
        // The bits as they stand when 1 is white, as in the picture, else inverted.
        int bytes = (width + 7) / 8;
        if (info->palette.red[1] != 0) {
            memcpy(out, line, (size_t)bytes);
        } else {
            for (int b = 0; b < bytes; b++)
                out[b] = (uint8_t)~line[b];
        }
        return;
    }
    if (info->bits == 8 && info->planes >= 3) {
        for (int x = 0; x < width; x++) {
            out[3 * x] = plane[2][x];
            out[3 * x + 1] = plane[1][x];
            out[3 * x + 2] = plane[0][x];
        }
        return;
    }
    if (info->bits == 1) {
        // Planes of one bit: plane p gives bit p of the index.
        for (int x = 0; x < width; x++) {
            int index = 0;
            for (int p = 0; p < info->planes; p++)
                index |= ((plane[p][x >> 3] >> (7 - (x & 7))) & 1) << p;
            indices[x] = (uint8_t)index;
        }
    } else {
        IndexRowUnpack(line, info->bits, width, indices);
    }
    IndexRowStore(&info->palette, info->type, indices, width, out);
}

// The rows, top row of the picture first. Where the file ends before the rows do, the rows
// left go to found; so do the colors of an 8-bit file whose palette was cut off: the rows all
// there and what follows them the start of a palette, or rows missing as well.
static ErrorCode PcxReadRows(FileHandle file, const PcxInfo *info, Image *picture, int showProgress,
                             FileDamage *found)
{
    ErrorCode result = ERROR_NONE;
    ByteStream stream;
    PcxRun run = {0, 0};
    int64_t lineBytes = (int64_t)info->planes * info->bytesPerLine;
    uint8_t *line = nullptr;
    uint8_t *indices = nullptr;

    ByteStreamReset(&stream);
    line = (uint8_t *)MemoryAlloc((size_t)lineBytes);
    indices = (uint8_t *)MemoryAlloc((size_t)info->width);
    if (line == nullptr || indices == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    result = ByteStreamOpen(file, PCX_HEADER_BYTES, info->dataEnd - PCX_HEADER_BYTES, &stream);
    if (result != ERROR_NONE) goto done;
    for (int i = 0; i < info->height; i++) {
        if (!PcxLineRead(&stream, info, &run, line, lineBytes)) {
            RasterRowsMissingFrom(picture, i, 1, found);
            break;
        }
        PcxRowStore(info, line, indices, picture->rows[info->height - 1 - i]);
        if (showProgress && (result = ProgressStep(i)) != ERROR_NONE) goto done;
    }
    if (info->paletteLost) {
        // Rows that end with the file leave a file without a palette, a gray one.
        int next = ByteStreamGet(&stream);
        found->colors = found->first >= 0 || next == PCX_PALETTE_MARK;
    }
done:
    ByteStreamClose(&stream);
    MemoryFree(line);
    MemoryFree(indices);
    return result;
}

// The header for the read frame: the picture's shape, at the file's resolution if it gives one.
static ErrorCode PcxHeader(FileHandle file, void *info, RasterShape *shape)
{
    PcxInfo *pcx = (PcxInfo *)info;
    ErrorCode result = PcxHeaderRead(file, pcx);
    if (result != ERROR_NONE) return result;
    *shape = {pcx->type, pcx->width, pcx->height,
              pcx->dotsPerInch > 0 ? pcx->dotsPerInch : Prefs.defaultResolution};
    return ERROR_NONE;
}

static ErrorCode PcxRows(FileHandle file, const void *info, Image *picture, int showProgress,
                         FileDamage *found)
{
    return PcxReadRows(file, (const PcxInfo *)info, picture, showProgress, found);
}

static const RasterFormatReader PCX_READER = {"PCX Read", ERROR_READ_PCX, PcxHeader, PcxRows,
                                              nullptr};

ErrorCode ReadPcxFile(const char *path, Picture *target, int showProgress, FileDamage *damage)
{
    PcxInfo info;
    return RasterRead(path, &PCX_READER, &info, target, showProgress, damage);
}

// Encodes one plane of a row: runs of two or more, and single bytes that look like a count,
// become a count and a byte; other bytes stand for themselves. Runs end with the plane, as
// the format's own programs write them. Returns the bytes written to out (at most 2 count).
static int64_t PcxEncode(const uint8_t *plane, int64_t count, uint8_t *out)
{
    int64_t used = 0;
    int64_t i = 0;
    while (i < count) {
        uint8_t value = plane[i];
        int64_t run = 1;
        while (i + run < count && run < PCX_RUN_LONGEST && plane[i + run] == value)
            run++;
        if (run > 1 || (value & PCX_RUN_FLAGS) == PCX_RUN_FLAGS)
            out[used++] = (uint8_t)(PCX_RUN_FLAGS | run);
        out[used++] = value;
        i += run;
    }
    return used;
}

// What a save writes besides the rows, and the room to encode a row's planes in.
struct PcxSave {
    uint8_t header[PCX_HEADER_BYTES];
    uint8_t *plane;   // one plane of a row as the file holds it
    uint8_t *encoded; // the same, encoded
    int planes;
    int64_t bytesPerLine;
};

static ErrorCode PcxSavePrepare(const Image *image, void *state)
{
    PcxSave *save = (PcxSave *)state;
    uint8_t *header = save->header;
    int dotsPerInch = Round(image->resolution);

    memset(save, 0, sizeof *save);
    save->planes = 1;
    switch (image->type) {
    case TYPE_BINARY:
        header[3] = 1;
        save->bytesPerLine = (image->width + 7) / 8;
        // The header's palette says what the bits mean: 0 black, 1 white.
        header[19] = header[20] = header[21] = 255;
        break;
    case TYPE_GRAY8:
        header[3] = 8;
        save->bytesPerLine = image->width;
        break;
    case TYPE_COLOR24:
        header[3] = 8;
        save->planes = 3;
        save->bytesPerLine = image->width;
        break;
    default: return ERROR_SAVE_TYPE_PCX;
    }
    // The header holds 16-bit coordinates.
    if (image->width > PCX_LARGEST_WIDTH || image->height > 0x10000) return ERROR_WRITE_PCX;
    save->bytesPerLine += save->bytesPerLine & 1; // an even number, as readers expect

    header[0] = PCX_MANUFACTURER;
    header[1] = 5; // version 5: a 256-color palette may follow
    header[2] = 1; // run-length encoded
    BytesPut16(header, 8, (uint16_t)(image->width - 1));
    BytesPut16(header, 10, (uint16_t)(image->height - 1));
    dotsPerInch = dotsPerInch < 0 ? 0 : (dotsPerInch > 0xFFFF ? 0xFFFF : dotsPerInch);
    BytesPut16(header, 12, (uint16_t)dotsPerInch);
    BytesPut16(header, 14, (uint16_t)dotsPerInch);
    header[65] = (uint8_t)save->planes;
    BytesPut16(header, 66, (uint16_t)save->bytesPerLine);
    BytesPut16(header, 68, image->type == TYPE_GRAY8 ? 2 : 1); // gray or color palette

    save->plane = (uint8_t *)MemoryAllocZero((size_t)save->bytesPerLine);
    save->encoded = (uint8_t *)MemoryAlloc((size_t)(2 * save->bytesPerLine));
    if (save->plane == nullptr || save->encoded == nullptr) return ERROR_NO_MEMORY;
    return ERROR_NONE;
}

static void PcxSaveHead(BlockWriter *writer, const Image *image, void *state)
{
    (void)image;
    BlockWriterPut(writer, ((const PcxSave *)state)->header, PCX_HEADER_BYTES);
}

// The rows go top first, each plane encoded on its own.
static void PcxSaveRow(BlockWriter *writer, const Image *image, int i, void *state)
{
    PcxSave *save = (PcxSave *)state;
    uint8_t *plane = save->plane;
    const uint8_t *row = image->rows[image->height - 1 - i];
    for (int p = 0; p < save->planes; p++) {
        // The plane, with the bytes and bits past the picture's width cleared, so that a
        // picture always gives the same file.
        if (image->type == TYPE_COLOR24) {
            for (int x = 0; x < image->width; x++)
                plane[x] = row[3 * x + 2 - p]; // red, green, blue planes in that order
        } else if (image->type == TYPE_GRAY8) {
            memcpy(plane, row, (size_t)image->width);
        } else {
            int bytes = (image->width + 7) / 8;
            memcpy(plane, row, (size_t)bytes);
            if (image->width % 8 != 0) plane[bytes - 1] &= (uint8_t)(0xFF00 >> (image->width % 8));
        }
        BlockWriterPut(writer, save->encoded, PcxEncode(plane, save->bytesPerLine, save->encoded));
    }
}

// A gray picture ends in its palette of levels.
static void PcxSaveTail(BlockWriter *writer, const Image *image, void *state)
{
    (void)state;
    if (image->type != TYPE_GRAY8) return;
    uint8_t *palette = BlockWriterSpace(writer, PCX_PALETTE_BYTES);
    palette[0] = PCX_PALETTE_MARK;
    for (int i = 0; i < 256; i++)
        palette[1 + 3 * i] = palette[2 + 3 * i] = palette[3 + 3 * i] = (uint8_t)i;
}

static void PcxSaveRelease(void *state)
{
    PcxSave *save = (PcxSave *)state;
    MemoryRelease(&save->plane);
    MemoryRelease(&save->encoded);
}

static const RasterFormatWriter PCX_WRITER = {"PCX Write",   ERROR_WRITE_PCX, PcxSavePrepare,
                                              PcxSaveHead,   PcxSaveRow,      PcxSaveTail,
                                              PcxSaveRelease};

ErrorCode SavePcxFile(const char *path, Picture *picture)
{
    PcxSave save;
    return RasterSave(path, &picture->image, &PCX_WRITER, &save);
}
