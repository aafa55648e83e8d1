// Our own BMP reader and writer.
//
// A BMP file is a 14-byte file header, an information header whose size names its kind, an
// optional set of bit masks, a palette for 8 bits and fewer, and the rows, bottom row first
// unless the height is negative, each padded to four bytes. That is exactly how an Image keeps
// its rows, so a 24-bit file is read straight into the picture and written straight from it.
//
// Every field is checked before it sizes or indexes anything: the rows of an uncompressed file
// must lie wholly inside it, and a compressed picture may be only as large as its bytes can
// fill, so a damaged file gets code 28 and never a crash or an allocation out of proportion to
// its size.
#include "files/Bmp.h"

#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/RasterInput.h"
#include "files/RasterOutput.h"

static const int BMP_FILE_HEADER_BYTES = 14;
static const int BMP_CORE_HEADER_BYTES = 12; // the OS/2 1.x header, 16-bit sizes
static const int BMP_INFO_HEADER_BYTES = 40; // the Windows header every program reads
static const int BMP_LARGEST_HEADER = 124;   // the Windows V5 header
static const int BMP_OS2_HEADER_BYTES = 64;  // OS/2 2.x, whose compressions 3 and 4 differ
static const uint32_t BMP_PROFILE_EMBEDDED = 0x4D424544; // 'MBED' as the V5 header stores it
static const int64_t BMP_PROFILE_LARGEST = 64 << 20;     // larger profiles are not believed
static const double BMP_CENTIMETRES_PER_INCH = 2.540005; // the program's factor
// RLE8 turns two bytes into at most 255 pixels and RLE4 likewise, so a compressed picture
// has at most about 128 pixels for each byte of its file. Twice that leaves room for the end
// of line and delta codes of a sparse picture.
static const int64_t BMP_RLE_RATIO = 256;

enum : int32_t {
    BMP_RGB = 0,
    BMP_RLE8 = 1,
    BMP_RLE4 = 2,
    BMP_BITFIELDS = 3,
    BMP_ALPHABITFIELDS = 6,
};

// Everything the header tells about the rows, checked.
struct BmpInfo {
    int64_t fileSize;
    int32_t headerSize;
    int32_t width;
    int32_t height;      // rows, positive
    int32_t topDown;     // 1 when the first row of the file is the top of the picture
    int32_t bits;        // 1, 2, 4, 8, 16, 24 or 32
    int32_t compression; // BMP_RGB, BMP_RLE8, BMP_RLE4 or BMP_BITFIELDS
    uint32_t masks[3];   // red, green, blue of 16 and 32-bit pixels
    int32_t pelsPerMetre;
    int64_t dataOffset;    // first byte of the rows
    int64_t stride;        // bytes of an uncompressed file row, padding included
    int64_t profileOffset; // an embedded profile, from the start of the file; 0 for none
    int64_t profileSize;
    int32_t type; // the picture type the rows give
    IndexPalette palette;
};

// One channel of a bit-field pixel: its place, the largest value it holds, and for fields of
// at most 8 bits the value each gives on 0..255.
struct BmpChannel {
    int32_t shift;
    int32_t bits;
    uint32_t largest;  // mask >> shift; 0 for a channel the file leaves out
    uint8_t widen[256]; // fields of at most 8 bits
};

int32_t BmpPelsPerMetre(double resolution)
{
    if (!(resolution > 0.0)) return 0;
    return Round(resolution * 100.0 / BMP_CENTIMETRES_PER_INCH);
}

double BmpResolution(int32_t pelsPerMetre)
{
    if (pelsPerMetre <= 0) return Prefs.defaultResolution;
    double resolution = pelsPerMetre * BMP_CENTIMETRES_PER_INCH / 100.0;
    int32_t whole = Round(resolution);
    if (whole > 0 && BmpPelsPerMetre(whole) == pelsPerMetre) return whole;
    return resolution;
}

// A channel of a mask. Fields of at most 8 bits widen by repeating their bits below
// themselves (a 5-bit 3 becomes 24, 31 becomes 255), the widening other programs use, so that
// a 16-bit file shows the same levels everywhere; wider fields are rounded to 8 bits.
static void BmpChannelOf(uint32_t mask, BmpChannel *channel)
{
    memset(channel, 0, sizeof *channel);
    if (mask == 0) return;
    channel->shift = __builtin_ctz(mask);
    channel->largest = mask >> channel->shift;
    channel->bits = 32 - __builtin_clz(channel->largest);
    if (channel->bits > 8) return;
    for (uint32_t v = 0; v <= channel->largest; v++) {
        uint32_t wide = 0;
        for (int filled = 0; filled < 8; filled += channel->bits)
            wide = (wide << channel->bits) | v;
        // The repeats fill at least 8 bits; keep the top 8.
        int total = ((8 + channel->bits - 1) / channel->bits) * channel->bits;
        channel->widen[v] = (uint8_t)(wide >> (total - 8));
    }
}

// A channel's value on 0..255.
static inline uint8_t BmpChannelValue(const BmpChannel *channel, uint32_t pixel)
{
    if (channel->largest == 0) return 0;
    uint32_t value = (pixel >> channel->shift) & channel->largest;
    if (channel->bits <= 8) return channel->widen[value];
    return (uint8_t)(((uint64_t)value * 255 + channel->largest / 2) / channel->largest);
}

// Reads the headers, masks and palette, and checks that the rows the header promises can be
// in the file. Returns ERROR_READ_BMP for anything wrong, a failed read included.
static ErrorCode BmpHeaderRead(FileHandle file, BmpInfo *info)
{
    uint8_t fileHeader[BMP_FILE_HEADER_BYTES];
    uint8_t header[BMP_LARGEST_HEADER] = {};
    uint8_t entries[256 * 4];
    int64_t paletteStart;
    int masksAfterHeader = 0;
    int entryBytes;

    if (FileSize(file, &info->fileSize) != ERROR_NONE) return ERROR_READ_BMP;
    if (FileReadExact(file, fileHeader, BMP_FILE_HEADER_BYTES) != ERROR_NONE ||
        FileReadExact(file, header, 4) != ERROR_NONE)
        return ERROR_READ_BMP;
    if (fileHeader[0] != 'B' || fileHeader[1] != 'M') return ERROR_READ_BMP;
    info->dataOffset = BytesGet32(fileHeader, 10, 1);
    info->headerSize = (int32_t)BytesGet32(header, 0, 1);
    switch (info->headerSize) {
    case BMP_CORE_HEADER_BYTES:
    case 16: // OS/2 2.x with only its first fields
    case BMP_INFO_HEADER_BYTES:
    case 52:
    case 56:
    case BMP_OS2_HEADER_BYTES:
    case 108:
    case BMP_LARGEST_HEADER: break;
    default: return ERROR_READ_BMP;
    }
    if (FileReadExact(file, header + 4, info->headerSize - 4) != ERROR_NONE) return ERROR_READ_BMP;

    int64_t height;
    if (info->headerSize == BMP_CORE_HEADER_BYTES) {
        info->width = BytesGet16(header, 4, 1);
        height = BytesGet16(header, 6, 1);
        info->bits = BytesGet16(header, 10, 1);
        info->compression = BMP_RGB;
        info->pelsPerMetre = 0;
        entryBytes = 3;
    } else {
        info->width = (int32_t)BytesGet32(header, 4, 1);
        height = (int32_t)BytesGet32(header, 8, 1);
        info->bits = BytesGet16(header, 14, 1);
        info->compression = (int32_t)BytesGet32(header, 16, 1);
        info->pelsPerMetre = (int32_t)BytesGet32(header, 24, 1);
        if (info->pelsPerMetre <= 0) info->pelsPerMetre = (int32_t)BytesGet32(header, 28, 1);
        entryBytes = 4;
    }
    // A negative height is a top-down picture.
    info->topDown = height < 0;
    if (height < 0) height = -height;
    if (info->width <= 0 || info->width > RASTER_MAX_SIDE || height <= 0 ||
        height > RASTER_MAX_SIDE)
        return ERROR_READ_BMP;
    info->height = (int32_t)height;

    switch (info->bits) {
    case 1:
    case 2:
    case 4:
    case 8:
    case 16:
    case 24:
    case 32: break;
    default: return ERROR_READ_BMP;
    }
    // OS/2 2.x gives compressions 3 and 4 another meaning (Huffman and RLE24): not ours.
    if (info->headerSize == BMP_OS2_HEADER_BYTES && info->compression > BMP_RLE4)
        return ERROR_READ_BMP;
    switch (info->compression) {
    case BMP_RGB: break;
    case BMP_RLE8:
        if (info->bits != 8) return ERROR_READ_BMP;
        break;
    case BMP_RLE4:
        if (info->bits != 4) return ERROR_READ_BMP;
        break;
    case BMP_BITFIELDS:
    case BMP_ALPHABITFIELDS:
        if (info->bits != 16 && info->bits != 32) return ERROR_READ_BMP;
        // The masks stand in a header of 52 bytes or more, else right after it.
        if (info->headerSize < 52) {
            masksAfterHeader = info->compression == BMP_ALPHABITFIELDS ? 16 : 12;
            if (FileReadExact(file, header + 40, 12) != ERROR_NONE) return ERROR_READ_BMP;
        }
        info->compression = BMP_BITFIELDS;
        break;
    default: return ERROR_READ_BMP; // JPEG and PNG inside BMP are printer formats
    }
    if (info->compression == BMP_BITFIELDS) {
        for (int c = 0; c < 3; c++)
            info->masks[c] = BytesGet32(header, 40 + 4 * c, 1);
    } else if (info->bits == 16) {
        info->masks[0] = 0x7C00; // 5-5-5, the plain 16-bit layout
        info->masks[1] = 0x03E0;
        info->masks[2] = 0x001F;
    } else {
        info->masks[0] = 0xFF0000;
        info->masks[1] = 0xFF00;
        info->masks[2] = 0xFF;
    }

    // The rows must start after the headers and inside the file.
    paletteStart = BMP_FILE_HEADER_BYTES + info->headerSize + masksAfterHeader;
    if (info->dataOffset < paletteStart || info->dataOffset > info->fileSize) return ERROR_READ_BMP;

    // The palette: as many entries as the header says, or all the depth allows, and never
    // more than fit before the rows.
    IndexPaletteClear(&info->palette);
    if (info->bits <= 8) {
        int64_t count = 1 << info->bits;
        int64_t used = info->headerSize == BMP_CORE_HEADER_BYTES ? 0 : BytesGet32(header, 32, 1);
        if (used > 0 && used < count) count = used;
        int64_t room = (info->dataOffset - paletteStart) / entryBytes;
        if (count > room) count = room;
        if (count == 0) return ERROR_READ_BMP; // indices without colors
        if (FileSeek(file, paletteStart) != ERROR_NONE ||
            FileReadExact(file, entries, count * entryBytes) != ERROR_NONE)
            return ERROR_READ_BMP;
        info->palette.count = (int32_t)count;
        for (int i = 0; i < count; i++) {
            info->palette.blue[i] = entries[i * entryBytes];
            info->palette.green[i] = entries[i * entryBytes + 1];
            info->palette.red[i] = entries[i * entryBytes + 2];
        }
        info->type = IndexPaletteType(&info->palette);
    } else {
        info->type = TYPE_COLOR24;
    }

    // The rows must be in the file: all of them uncompressed, or enough bytes compressed.
    info->stride = ((int64_t)info->width * info->bits + 31) / 32 * 4;
    int64_t available = info->fileSize - info->dataOffset;
    if (info->compression == BMP_RLE8 || info->compression == BMP_RLE4) {
        if (!RasterBackedByFile((int64_t)info->width * info->height, available, BMP_RLE_RATIO))
            return ERROR_READ_BMP;
    } else if (!RasterBackedByFile(info->stride * info->height, available, RASTER_DAMAGED_RATIO)) {
        return ERROR_READ_BMP; // far more than a file that ended early
    }

    // An embedded profile of the V5 header, counted from the start of that header. One that
    // points outside the file is left out rather than costing the picture.
    info->profileOffset = 0;
    info->profileSize = 0;
    if (info->headerSize == BMP_LARGEST_HEADER &&
        BytesGet32(header, 56, 1) == BMP_PROFILE_EMBEDDED) {
        int64_t offset = BMP_FILE_HEADER_BYTES + (int64_t)BytesGet32(header, 112, 1);
        int64_t size = BytesGet32(header, 116, 1);
        if (size > 0 && size <= BMP_PROFILE_LARGEST && offset <= info->fileSize - size) {
            info->profileOffset = offset;
            info->profileSize = size;
        }
    }
    return ERROR_NONE;
}

// A file row of 16 or 32 bits through its masks into blue, green, red.
static void BmpMaskRow(const BmpInfo *info, const BmpChannel *channels, const uint8_t *in,
                       uint8_t *out)
{
    int standard = info->bits == 32 && info->masks[0] == 0xFF0000 && info->masks[1] == 0xFF00 &&
                   info->masks[2] == 0xFF;
    if (standard) {
        for (int x = 0; x < info->width; x++) {
            out[3 * x] = in[4 * x];
            out[3 * x + 1] = in[4 * x + 1];
            out[3 * x + 2] = in[4 * x + 2];
        }
        return;
    }
    for (int x = 0; x < info->width; x++) {
        uint32_t pixel = info->bits == 16 ? BytesGet16(in, 2 * x, 1) : BytesGet32(in, 4 * x, 1);
        out[3 * x] = BmpChannelValue(&channels[2], pixel);
        out[3 * x + 1] = BmpChannelValue(&channels[1], pixel);
        out[3 * x + 2] = BmpChannelValue(&channels[0], pixel);
    }
}

// The progress step of a row, when there is a progress window.
static ErrorCode BmpStep(int showProgress, int row)
{
    return showProgress ? ProgressStep(row) : ERROR_NONE;
}

// Uncompressed rows, in file order. Rows that need no change are read straight into the
// picture: 24 bits always, 8 bits onto a gray palette and 1 bit onto a black-and-white one
// after a lookup or an inversion in place. Where the file ends, the rows left go to found.
static ErrorCode BmpReadRows(FileHandle file, const BmpInfo *info, Image *picture, int showProgress,
                             FileDamage *found)
{
    ErrorCode result = ERROR_NONE;
    uint8_t *fileRow = nullptr;
    uint8_t *indices = nullptr;
    BmpChannel channels[3];
    const IndexPalette *palette = &info->palette;
    int direct = 0;
    int invert = 0;
    int identity = 1;

    if (info->bits == 24) direct = 1;
    if (info->bits == 8 && info->type == TYPE_GRAY8) {
        direct = 1;
        for (int i = 0; i < 256; i++)
            if (palette->red[i] != i) identity = 0;
    }
    if (info->bits == 1 && info->type == TYPE_BINARY && palette->red[0] != palette->red[1]) {
        direct = 1;
        invert = palette->red[0] != 0;
    }
    if (!direct) {
        fileRow = (uint8_t *)MemoryAlloc((size_t)info->stride);
        indices = (uint8_t *)MemoryAlloc((size_t)info->width);
        if (fileRow == nullptr || indices == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
    }
    for (int c = 0; c < 3; c++)
        BmpChannelOf(info->masks[c], &channels[c]);
    if (FileSeek(file, info->dataOffset) != ERROR_NONE) {
        result = ERROR_READ_BMP;
        goto done;
    }

    for (int i = 0; i < info->height; i++) {
        uint8_t *out = picture->rows[info->topDown ? info->height - 1 - i : i];
        // The file's stride equals the picture's row bytes for the direct kinds. A read that
        // comes up short is where the file ends: this row and the rest are missing.
        if (FileReadExact(file, direct ? out : fileRow, info->stride) != ERROR_NONE) {
            RasterRowsMissingFrom(picture, i, info->topDown, found);
            break;
        }
        if (direct) {
            if (info->bits == 8 && !identity) {
                for (int x = 0; x < info->width; x++)
                    out[x] = palette->red[out[x]];
            } else if (invert) {
                for (int64_t b = 0; b < info->stride; b++)
                    out[b] = (uint8_t)~out[b];
            }
        } else {
            if (info->bits <= 8) {
                IndexRowUnpack(fileRow, info->bits, info->width, indices);
                IndexRowStore(palette, info->type, indices, info->width, out);
            } else {
                BmpMaskRow(info, channels, fileRow, out);
            }
        }
        result = BmpStep(showProgress, i);
        if (result != ERROR_NONE) goto done;
    }
done:
    MemoryFree(fileRow);
    MemoryFree(indices);
    return result;
}

// RLE8 and RLE4 rows. Indices gather in one row that goes to the picture at each end of line,
// delta or end of picture; pixels the codes skip keep index 0. Runs past the right edge are
// cut, and a delta or end of line past the last row ends the picture, so nothing is ever
// written outside it. Each step takes at least two bytes of the stream, so the loop ends
// with the file; where it ends, the rows not yet stored go to found.
static ErrorCode BmpReadRle(FileHandle file, const BmpInfo *info, Image *picture, int showProgress,
                            FileDamage *found)
{
    ErrorCode result = ERROR_NONE;
    ByteStream stream;
    uint8_t *indices = nullptr;
    int rle4 = info->compression == BMP_RLE4;
    int width = info->width;
    int row = 0; // file rows stored so far
    int x = 0;

    ByteStreamReset(&stream);
    indices = (uint8_t *)MemoryAllocZero((size_t)width);
    if (indices == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    result = ByteStreamOpen(file, info->dataOffset, info->fileSize - info->dataOffset, &stream);
    if (result != ERROR_NONE) goto done;

    while (row < info->height) {
        int count = ByteStreamGet(&stream);
        int value = ByteStreamGet(&stream);
        int rowsToEnd = 0; // rows to store before the next code
        if (value < 0) break; // the codes stop before the picture ends
        if (count > 0) {
            // A run: one index, or for RLE4 two that alternate.
            for (int k = 0; k < count && x < width; k++, x++)
                indices[x] = (uint8_t)(rle4 ? (k & 1 ? value & 15 : value >> 4) : value);
            continue;
        }
        switch (value) {
        case 0: rowsToEnd = 1; break;                  // end of line
        case 1: rowsToEnd = info->height - row; break; // end of picture
        case 2: {                                      // delta: right and up
            int dx = ByteStreamGet(&stream);
            int dy = ByteStreamGet(&stream);
            if (dy < 0) goto ended;
            rowsToEnd = dy;
            x = x + dx < width ? x + dx : width;
            break;
        }
        default: {
            // Absolute mode: value indices as they stand, in bytes padded to a whole word.
            int byte = 0;
            for (int k = 0; k < value; k++) {
                if (!rle4 || (k & 1) == 0) {
                    byte = ByteStreamGet(&stream);
                    if (byte < 0) goto ended;
                }
                if (x < width)
                    indices[x++] = (uint8_t)(rle4 ? (k & 1 ? byte & 15 : byte >> 4) : byte);
            }
            int bytes = rle4 ? (value + 1) / 2 : value;
            if ((bytes & 1) != 0 && ByteStreamGet(&stream) < 0) goto ended;
            break;
        }
        }
        // Store the rows the code finished; the x of a delta stays, an end of line starts over.
        for (int r = 0; r < rowsToEnd && row < info->height; r++) {
            uint8_t *out = picture->rows[info->topDown ? info->height - 1 - row : row];
            IndexRowStore(&info->palette, info->type, indices, width, out);
            memset(indices, 0, (size_t)width);
            result = BmpStep(showProgress, row);
            if (result != ERROR_NONE) goto done;
            row++;
        }
        if (value == 0) x = 0;
    }
ended:
    // The rows not stored when the file ended, the one being gathered among them.
    RasterRowsMissingFrom(picture, row, info->topDown, found);
done:
    ByteStreamClose(&stream);
    MemoryFree(indices);
    return result;
}

// The embedded profile of a color picture into the picture record; a read that fails leaves it out.
static void BmpProfileRead(FileHandle file, const BmpInfo *info, Picture *picture)
{
    MemoryRelease(&picture->profile);
    picture->profileSize = 0;
    if (info->profileSize == 0 || info->type != TYPE_COLOR24) return;
    uint8_t *profile = (uint8_t *)MemoryAlloc((size_t)info->profileSize);
    if (profile == nullptr) return;
    if (FileSeek(file, info->profileOffset) != ERROR_NONE ||
        FileReadExact(file, profile, info->profileSize) != ERROR_NONE) {
        MemoryFree(profile);
        return;
    }
    picture->profile = profile;
    picture->profileSize = (int32_t)info->profileSize;
}

// The header for the read frame: the picture's shape and resolution from it.
static ErrorCode BmpHeader(FileHandle file, void *info, RasterShape *shape)
{
    BmpInfo *bmp = (BmpInfo *)info;
    ErrorCode result = BmpHeaderRead(file, bmp);
    if (result != ERROR_NONE) return result;
    *shape = {bmp->type, bmp->width, bmp->height, BmpResolution(bmp->pelsPerMetre)};
    return ERROR_NONE;
}

// The rows for the read frame, by their compression.
static ErrorCode BmpRows(FileHandle file, const void *info, Image *picture, int showProgress,
                         FileDamage *found)
{
    const BmpInfo *bmp = (const BmpInfo *)info;
    if (bmp->compression == BMP_RLE8 || bmp->compression == BMP_RLE4)
        return BmpReadRle(file, bmp, picture, showProgress, found);
    return BmpReadRows(file, bmp, picture, showProgress, found);
}

static void BmpExtras(FileHandle file, const void *info, Picture *target)
{
    BmpProfileRead(file, (const BmpInfo *)info, target);
}

static const RasterFormatReader BMP_READER = {"BMP Read", ERROR_READ_BMP, BmpHeader, BmpRows,
                                              BmpExtras};

ErrorCode ReadBmpFile(const char *path, Picture *target, int showProgress, FileDamage *damage)
{
    BmpInfo info;
    memset(&info, 0, sizeof info);
    return RasterRead(path, &BMP_READER, &info, target, showProgress, damage);
}

// What a save writes besides the rows.
struct BmpSave {
    uint8_t headers[BMP_FILE_HEADER_BYTES + BMP_INFO_HEADER_BYTES];
    int paletteCount;
    int64_t dataBytes; // bytes of a row that hold pixels
    uint8_t lastMask;  // the bits of a binary row's last byte that are pixels
};

static ErrorCode BmpSavePrepare(const Image *image, void *state)
{
    BmpSave *save = (BmpSave *)state;
    uint8_t *headers = save->headers;
    int bits = 0;
    int64_t imageBytes = 0;
    int64_t dataOffset = 0;

    memset(save, 0, sizeof *save);
    save->lastMask = 0xFF;
    switch (image->type) {
    case TYPE_BINARY:
        bits = 1;
        save->paletteCount = 2;
        save->dataBytes = (image->width + 7) / 8;
        if (image->width % 8 != 0) save->lastMask = (uint8_t)(0xFF00 >> (image->width % 8));
        break;
    case TYPE_GRAY8:
        bits = 8;
        save->paletteCount = 256;
        save->dataBytes = image->width;
        break;
    case TYPE_COLOR24:
        bits = 24;
        save->dataBytes = 3 * (int64_t)image->width;
        break;
    default: return ERROR_SAVE_TYPE_BMP;
    }
    // The rows of an Image are padded to four bytes just as a BMP file's are.
    dataOffset = BMP_FILE_HEADER_BYTES + BMP_INFO_HEADER_BYTES + 4 * save->paletteCount;
    imageBytes = (int64_t)image->rowBytes * image->height;
    if (dataOffset + imageBytes > UINT32_MAX)
        return ERROR_WRITE_BMP; // the file header cannot say a size of 4 GB or more

    headers[0] = 'B';
    headers[1] = 'M';
    BytesPut32(headers, 2, (uint32_t)(dataOffset + imageBytes));
    BytesPut32(headers, 10, (uint32_t)dataOffset);
    BytesPut32(headers, 14, BMP_INFO_HEADER_BYTES);
    BytesPut32(headers, 18, (uint32_t)image->width);
    BytesPut32(headers, 22, (uint32_t)image->height); // positive: bottom row first
    BytesPut16(headers, 26, 1);                       // planes
    BytesPut16(headers, 28, (uint16_t)bits);
    BytesPut32(headers, 30, BMP_RGB);
    BytesPut32(headers, 34, (uint32_t)imageBytes);
    BytesPut32(headers, 38, (uint32_t)BmpPelsPerMetre(image->resolution));
    BytesPut32(headers, 42, (uint32_t)BmpPelsPerMetre(image->resolution));
    BytesPut32(headers, 46, (uint32_t)save->paletteCount);
    return ERROR_NONE;
}

static void BmpSaveHead(BlockWriter *writer, const Image *image, void *state)
{
    const BmpSave *save = (const BmpSave *)state;
    (void)image;
    BlockWriterPut(writer, save->headers, sizeof save->headers);
    // Binary: 0 black, 1 white, as the picture's bits mean; gray: a level per index.
    for (int i = 0; i < save->paletteCount; i++) {
        uint8_t *entry = BlockWriterSpace(writer, 4);
        uint8_t level = (uint8_t)(save->paletteCount == 2 ? 255 * i : i);
        entry[0] = entry[1] = entry[2] = level;
        entry[3] = 0;
    }
}

static void BmpSaveRow(BlockWriter *writer, const Image *image, int i, void *state)
{
    const BmpSave *save = (const BmpSave *)state;
    uint8_t *out = BlockWriterSpace(writer, image->rowBytes);
    memcpy(out, image->rows[i], (size_t)save->dataBytes);
    // Padding and the bits past a binary row's end are undefined in memory: clear them, so
    // that a picture always gives the same file.
    out[save->dataBytes - 1] &= save->lastMask;
    memset(out + save->dataBytes, 0, (size_t)(image->rowBytes - save->dataBytes));
}

static const RasterFormatWriter BMP_WRITER = {
    "BMP Write", ERROR_WRITE_BMP, BmpSavePrepare, BmpSaveHead, BmpSaveRow, nullptr, nullptr};

ErrorCode SaveBmpFile(const char *path, Picture *picture)
{
    BmpSave save;
    return RasterSave(path, &picture->image, &BMP_WRITER, &save);
}
