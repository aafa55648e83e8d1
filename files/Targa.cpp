// Our own Targa reader and writer.
//
// A Targa file is an 18-byte header, an identification field, an optional color map and the
// pixels, bottom row first unless bit 5 of the descriptor says top row first, each row left to
// right unless bit 4 says otherwise. The run-length types pack the same pixels in packets of
// up to 128 that may run on from one row into the next, so the decoder keeps its packet
// between rows. Version 2 adds a footer at the end, which the reader needs for nothing.
//
// We write uncompressed files. Photographs are noisy, so the run-length types seldom make
// them smaller (at worst they add a byte to every 128 pixels), while some older programs read
// only the uncompressed types; and an uncompressed 24-bit file is our bottom-up rows written
// as they are, without their padding. The footer of version 2 goes at the end, because it is
// the one mark by which a Targa file can be recognised without its extension.
#include "files/Targa.h"

#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/RasterInput.h"
#include "files/RasterOutput.h"

static const int TARGA_HEADER_BYTES = 18;
static const int TARGA_FOOTER_BYTES = 26;
static const char TARGA_SIGNATURE[] = "TRUEVISION-XFILE."; // with its terminator, 18 bytes
// A run packet of one header byte and one pixel gives at most 128 pixels; the smallest pixel
// is one byte, so a compressed picture has at most 64 pixels for each byte of its file.
static const int64_t TARGA_RLE_RATIO = 64;

enum : int32_t {
    TARGA_MAPPED = 1, // image types 1 and 9
    TARGA_TRUE = 2,   // 2 and 10
    TARGA_GRAY = 3,   // 3 and 11
};

struct TargaInfo {
    int64_t fileSize;
    int32_t kind;       // TARGA_MAPPED, TARGA_TRUE or TARGA_GRAY
    int32_t compressed; // 1 for the run-length types 9, 10 and 11
    int32_t width;
    int32_t height;
    int32_t pixelBits;   // 8, 15, 16, 24 or 32
    int32_t pixelBytes;  // 1 to 4
    int32_t topDown;     // descriptor bit 5: the first row is the top of the picture
    int32_t rightToLeft; // descriptor bit 4
    int32_t mapFirst;    // index of the first map entry
    int32_t mapLength;   // entries in the map
    int32_t mapEntryBytes;
    int64_t mapOffset;
    int64_t dataOffset;
    int32_t type; // the picture type
    IndexPalette palette;
};

// The packet a run-length decoder is in, kept from one row to the next.
struct TargaPacket {
    int32_t left;     // pixels of the packet still to give
    int32_t run;      // 1 for a run of one pixel, 0 for pixels as they stand
    uint8_t value[4]; // the pixel of a run
};

// A 5-bit field on 0..255 by repeating its bits below it (3 becomes 24, 31 becomes 255), the
// widening other programs use.
static inline uint8_t TargaFive(int value)
{
    return (uint8_t)((value << 3) | (value >> 2));
}

// Checks the header against the file's size and fills everything but the palette and the
// picture type of a mapped file. Returns 1 when the file can be what its header says, or with
// endsEarly, a file of that kind that ended early.
static int TargaHeaderParse(const uint8_t *header, int64_t fileSize, int endsEarly, TargaInfo *info)
{
    int idLength = header[0];
    int mapType = header[1];
    int imageType = header[2];
    int mapEntryBits = header[7];
    int descriptor = header[17];

    memset(info, 0, sizeof *info);
    info->fileSize = fileSize;
    if (mapType > 1) return 0;
    switch (imageType) {
    case 1:
    case 2:
    case 3:
    case 9:
    case 10:
    case 11: break;
    default: return 0; // 0 holds no picture; 32 and 33 (Huffman) are long forgotten
    }
    info->kind = imageType & 7;
    info->compressed = imageType > 8;
    info->mapFirst = BytesGet16(header, 3, 1);
    info->mapLength = BytesGet16(header, 5, 1);
    info->width = BytesGet16(header, 12, 1);
    info->height = BytesGet16(header, 14, 1);
    info->pixelBits = header[16];
    info->topDown = (descriptor & 0x20) != 0;
    info->rightToLeft = (descriptor & 0x10) != 0;
    if (info->width == 0 || info->height == 0) return 0;
    if ((descriptor & 0xC0) != 0) return 0; // interleaved rows, an early and unused variant

    // A map is present whenever the map type says so, used or not, and must be skipped.
    if (mapType == 1 && info->mapLength > 0) {
        // Entries of 8 bits are gray levels, as netpbm writes the map of a gray picture.
        if (mapEntryBits != 8 && mapEntryBits != 15 && mapEntryBits != 16 && mapEntryBits != 24 &&
            mapEntryBits != 32)
            return 0;
        info->mapEntryBytes = (mapEntryBits + 7) / 8;
    } else {
        info->mapLength = 0;
    }
    switch (info->kind) {
    case TARGA_MAPPED:
        // Indices of 8 bits into a map that starts within their reach.
        if (mapType != 1 || info->pixelBits != 8 || info->mapLength == 0 || info->mapFirst > 255)
            return 0;
        break;
    case TARGA_TRUE:
        if (info->pixelBits != 15 && info->pixelBits != 16 && info->pixelBits != 24 &&
            info->pixelBits != 32)
            return 0;
        break;
    default:
        // Gray, alone or with an alpha byte after it.
        if (info->pixelBits != 8 && info->pixelBits != 16) return 0;
        break;
    }
    info->pixelBytes = (info->pixelBits + 7) / 8;
    info->mapOffset = TARGA_HEADER_BYTES + idLength;
    info->dataOffset = info->mapOffset + (int64_t)info->mapLength * info->mapEntryBytes;
    if (info->dataOffset > fileSize) return 0;

    // The pixels must be in the file: all of them uncompressed, or enough bytes compressed,
    // or when the file may end early a good part of them.
    int64_t pixels = (int64_t)info->width * info->height;
    int64_t available = fileSize - info->dataOffset;
    if (info->compressed) return RasterBackedByFile(pixels, available, TARGA_RLE_RATIO);
    if (endsEarly)
        return RasterBackedByFile(pixels * info->pixelBytes, available, RASTER_DAMAGED_RATIO);
    return pixels * info->pixelBytes <= available;
}

// One pixel or map entry of 15 or 16 bits, 24 or 32 bits into blue, green, red; an entry of
// 8 bits is a gray level.
static inline void TargaTrueColor(const uint8_t *pixel, int pixelBytes, uint8_t *out)
{
    if (pixelBytes == 1) {
        out[0] = out[1] = out[2] = pixel[0];
    } else if (pixelBytes == 2) {
        int value = pixel[0] | (pixel[1] << 8); // x RRRRR GGGGG BBBBB
        out[0] = TargaFive(value & 31);
        out[1] = TargaFive((value >> 5) & 31);
        out[2] = TargaFive((value >> 10) & 31);
    } else {
        out[0] = pixel[0];
        out[1] = pixel[1];
        out[2] = pixel[2];
    }
}

// Reads the color map into the palette and decides the picture type.
static ErrorCode TargaMapRead(FileHandle file, TargaInfo *info)
{
    uint8_t entry[4];
    IndexPaletteClear(&info->palette);
    if (info->kind != TARGA_MAPPED) {
        info->type = info->kind == TARGA_GRAY ? TYPE_GRAY8 : TYPE_COLOR24;
        return ERROR_NONE;
    }
    if (FileSeek(file, info->mapOffset) != ERROR_NONE) return ERROR_READ_TARGA;
    // Only the entries an 8-bit index can reach are read; the others are skipped with the map.
    int reach = 256 - info->mapFirst;
    int count = info->mapLength < reach ? info->mapLength : reach;
    for (int k = 0; k < count; k++) {
        if (FileReadExact(file, entry, info->mapEntryBytes) != ERROR_NONE) return ERROR_READ_TARGA;
        uint8_t color[3];
        TargaTrueColor(entry, info->mapEntryBytes, color);
        int index = info->mapFirst + k;
        info->palette.blue[index] = color[0];
        info->palette.green[index] = color[1];
        info->palette.red[index] = color[2];
    }
    info->palette.count = info->mapFirst + count;
    info->type = IndexPaletteType(&info->palette);
    return ERROR_NONE;
}

// The next width pixels of a run-length stream into raw, as the file would hold them
// uncompressed. Returns 0 when the stream ends first.
static int TargaRleRow(ByteStream *stream, TargaPacket *packet, int pixelBytes, int width,
                       uint8_t *raw)
{
    int x = 0;
    while (x < width) {
        if (packet->left == 0) {
            int head = ByteStreamGet(stream);
            if (head < 0) return 0;
            packet->left = (head & 0x7F) + 1;
            packet->run = (head & 0x80) != 0;
            if (packet->run && !ByteStreamRead(stream, packet->value, pixelBytes)) return 0;
        }
        int count = packet->left < width - x ? packet->left : width - x;
        if (packet->run) {
            for (int k = 0; k < count; k++)
                memcpy(raw + (int64_t)(x + k) * pixelBytes, packet->value, (size_t)pixelBytes);
        } else if (!ByteStreamRead(stream, raw + (int64_t)x * pixelBytes,
                                   (int64_t)count * pixelBytes)) {
            return 0;
        }
        x += count;
        packet->left -= count;
    }
    return 1;
}

// A row of raw pixels into a picture row, turned round when the file runs right to left.
static void TargaRowStore(const TargaInfo *info, const uint8_t *raw, uint8_t *indices, uint8_t *out)
{
    int width = info->width;
    int bytes = info->pixelBytes;
    for (int x = 0; x < width; x++) {
        const uint8_t *pixel = raw + (int64_t)(info->rightToLeft ? width - 1 - x : x) * bytes;
        switch (info->kind) {
        case TARGA_MAPPED: indices[x] = pixel[0]; break;
        case TARGA_GRAY: out[x] = pixel[0]; break; // an alpha byte after it is dropped
        default: TargaTrueColor(pixel, bytes, out + 3 * x); break;
        }
    }
    if (info->kind == TARGA_MAPPED) IndexRowStore(&info->palette, info->type, indices, width, out);
}

// The rows, in file order. Uncompressed gray and 24-bit rows that run left to right are read
// straight into the picture. Where the file ends, the rows left go to found.
static ErrorCode TargaReadRows(FileHandle file, const TargaInfo *info, Image *picture,
                               int showProgress, FileDamage *found)
{
    ErrorCode result = ERROR_NONE;
    ByteStream stream;
    TargaPacket packet = {0, 0, {0, 0, 0, 0}};
    uint8_t *raw = nullptr;
    uint8_t *indices = nullptr;
    int64_t rawBytes = (int64_t)info->width * info->pixelBytes;
    int direct = !info->compressed && !info->rightToLeft &&
                 ((info->kind == TARGA_GRAY && info->pixelBytes == 1) ||
                  (info->kind == TARGA_TRUE && info->pixelBytes == 3));

    ByteStreamReset(&stream);
    raw = (uint8_t *)MemoryAlloc((size_t)rawBytes);
    indices = (uint8_t *)MemoryAlloc((size_t)info->width);
    if (raw == nullptr || indices == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    result = ByteStreamOpen(file, info->dataOffset, info->fileSize - info->dataOffset, &stream);
    if (result != ERROR_NONE) goto done;

    for (int i = 0; i < info->height; i++) {
        uint8_t *out = picture->rows[info->topDown ? info->height - 1 - i : i];
        int complete = direct ? ByteStreamRead(&stream, out, rawBytes)
                       : info->compressed
                           ? TargaRleRow(&stream, &packet, info->pixelBytes, info->width, raw)
                           : ByteStreamRead(&stream, raw, rawBytes);
        if (!complete) {
            RasterRowsMissingFrom(picture, i, info->topDown, found);
            break;
        }
        if (!direct) TargaRowStore(info, raw, indices, out);
        if (showProgress && (result = ProgressStep(i)) != ERROR_NONE) goto done;
    }
done:
    ByteStreamClose(&stream);
    MemoryFree(raw);
    MemoryFree(indices);
    return result;
}

// The header and color map for the read frame. A Targa file says nothing of its resolution.
static ErrorCode TargaHeader(FileHandle file, void *info, RasterShape *shape)
{
    TargaInfo *targa = (TargaInfo *)info;
    uint8_t header[TARGA_HEADER_BYTES];
    int64_t fileSize = 0;
    if (FileSize(file, &fileSize) != ERROR_NONE ||
        FileReadExact(file, header, TARGA_HEADER_BYTES) != ERROR_NONE ||
        !TargaHeaderParse(header, fileSize, 1, targa))
        return ERROR_READ_TARGA;
    ErrorCode result = TargaMapRead(file, targa);
    if (result != ERROR_NONE) return result;
    *shape = {targa->type, targa->width, targa->height, Prefs.defaultResolution};
    return ERROR_NONE;
}

static ErrorCode TargaRows(FileHandle file, const void *info, Image *picture, int showProgress,
                           FileDamage *found)
{
    return TargaReadRows(file, (const TargaInfo *)info, picture, showProgress, found);
}

static const RasterFormatReader TARGA_READER = {"Targa Read", ERROR_READ_TARGA, TargaHeader,
                                                TargaRows, nullptr};

ErrorCode ReadTargaFile(const char *path, Picture *target, int showProgress, FileDamage *damage)
{
    TargaInfo info;
    return RasterRead(path, &TARGA_READER, &info, target, showProgress, damage);
}

int TargaFileProbe(const char *path)
{
    FileHandle file = FILE_HANDLE_NONE;
    uint8_t header[TARGA_HEADER_BYTES];
    uint8_t footer[TARGA_FOOTER_BYTES];
    int64_t fileSize = 0;
    TargaInfo info;
    int found = 0;

    if (FileOpenRead(path, &file) != ERROR_NONE) return 0;
    if (FileSize(file, &fileSize) != ERROR_NONE || fileSize < TARGA_HEADER_BYTES ||
        FileReadExact(file, header, TARGA_HEADER_BYTES) != ERROR_NONE)
        goto done;
    if (fileSize >= TARGA_HEADER_BYTES + TARGA_FOOTER_BYTES &&
        FileSeek(file, fileSize - TARGA_FOOTER_BYTES) == ERROR_NONE &&
        FileReadExact(file, footer, TARGA_FOOTER_BYTES) == ERROR_NONE &&
        memcmp(footer + 8, TARGA_SIGNATURE, sizeof TARGA_SIGNATURE) == 0) {
        found = 1;
        goto done;
    }
    found = TargaHeaderParse(header, fileSize, 0, &info);
done:
    FileClose(&file);
    return found;
}

// What a save writes before and after the rows.
struct TargaSave {
    uint8_t header[TARGA_HEADER_BYTES];
    uint8_t footer[TARGA_FOOTER_BYTES];
    int64_t rowBytes; // a file row: the picture's row without its padding
};

static ErrorCode TargaSavePrepare(const Image *image, void *state)
{
    TargaSave *save = (TargaSave *)state;
    uint8_t *header = save->header;
    memset(save, 0, sizeof *save);
    switch (image->type) {
    case TYPE_GRAY8:
        header[2] = TARGA_GRAY;
        header[16] = 8;
        save->rowBytes = image->width;
        break;
    case TYPE_COLOR24:
        header[2] = TARGA_TRUE;
        header[16] = 24;
        save->rowBytes = 3 * (int64_t)image->width;
        break;
    default: return ERROR_SAVE_TYPE_TARGA;
    }
    if (image->width > 0xFFFF || image->height > 0xFFFF)
        return ERROR_WRITE_TARGA; // the header holds sides of 16 bits
    BytesPut16(header, 12, (uint16_t)image->width);
    BytesPut16(header, 14, (uint16_t)image->height);
    header[17] = 0; // origin at the bottom left, no alpha: our rows as they lie
    memcpy(save->footer + 8, TARGA_SIGNATURE, sizeof TARGA_SIGNATURE); // no extension area
    return ERROR_NONE;
}

static void TargaSaveHead(BlockWriter *writer, const Image *image, void *state)
{
    (void)image;
    BlockWriterPut(writer, ((const TargaSave *)state)->header, TARGA_HEADER_BYTES);
}

static void TargaSaveRow(BlockWriter *writer, const Image *image, int i, void *state)
{
    BlockWriterPut(writer, image->rows[i], ((const TargaSave *)state)->rowBytes);
}

static void TargaSaveTail(BlockWriter *writer, const Image *image, void *state)
{
    (void)image;
    BlockWriterPut(writer, ((const TargaSave *)state)->footer, TARGA_FOOTER_BYTES);
}

static const RasterFormatWriter TARGA_WRITER = {"Targa Write", ERROR_WRITE_TARGA, TargaSavePrepare,
                                                TargaSaveHead, TargaSaveRow,      TargaSaveTail,
                                                nullptr};

ErrorCode SaveTargaFile(const char *path, Picture *picture)
{
    TargaSave save;
    return RasterSave(path, &picture->image, &TARGA_WRITER, &save);
}
