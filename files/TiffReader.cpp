// Our own TIFF reader: uncompressed and LZW strips at full precision, 1, 4, 8 and 16 bits.
//
// The probe walks the first directory and decides whether this reader takes the file; the
// decoder then reads the directory again with its messages, and the strips into an Image,
// first file row to the top row of the picture. Everything the probe refuses goes to libtiff.
//
// Every number from the file is checked before it sizes, counts or indexes anything: the
// directory, the value arrays and the strips must lie in the file, and the picture may be only
// as large as the file's bytes can fill, so a damaged file gets code 56, never a crash or an
// allocation out of proportion to its size.
#include "files/TiffReader.h"

#include <cmath>
#include <cstring>

#include "core/FileMap.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Orient.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "core/Swap.h"
#include "files/RasterInput.h"
#include "files/TiffLibrary.h"

static const int TIFF_HEADER_BYTES = 8;
static const int TIFF_ENTRY_BYTES = 12;
static const int TIFF_VERSION = 42;
static const int64_t TIFF_READ_PIECE = 8192;           // bytes read between two pumps
static const int64_t TIFF_BLOCK_BYTES = 512000;        // largest uncompressed block read at once
static const double TIFF_CENTIMETRE_FACTOR = 2.540005; // the program's inches per centimetre
// Larger sides than this come only from damaged files; the memory rule below is the real guard.
static const int32_t TIFF_MAX_SIDE = 1 << 24;
// An LZW code of 9 to 12 bits stands for at most one byte more than the code before it, so a
// table's worth of codes between two clear codes (about 5400 bytes) gives at most about 7.4
// million bytes: a ratio near 1360. A strip cannot expand more than this, and a picture that
// claims more than this times the file's size is refused before anything is allocated.
static const int64_t TIFF_LZW_MAX_RATIO = 2048;
// An uncompressed file that ends early opens when it holds a sixteenth of its picture (or the
// picture is small); one that claims more is a lie, not damage.
static const int64_t TIFF_DAMAGED_RATIO = 16;
static const int LZW_TABLE_SIZE = 4097; // codes 0 to 4096
static const int LZW_CLEAR = 256;
static const int LZW_END = 257;

enum : int32_t {
    FIELD_BYTE = 1,
    FIELD_ASCII = 2,
    FIELD_SHORT = 3,
    FIELD_LONG = 4,
    FIELD_RATIONAL = 5,
    FIELD_SBYTE = 6,
    FIELD_UNDEFINED = 7,
    FIELD_FLOAT = 11,
    FIELD_DOUBLE = 12,
};

enum : int32_t {
    TAG_SUBFILE_TYPE = 255,
    TAG_IMAGE_WIDTH = 256,
    TAG_IMAGE_LENGTH = 257,
    TAG_BITS_PER_SAMPLE = 258,
    TAG_COMPRESSION = 259,
    TAG_PHOTOMETRIC = 262,
    TAG_FILL_ORDER = 266,
    TAG_STRIP_OFFSETS = 273,
    TAG_ORIENTATION = 274,
    TAG_SAMPLES_PER_PIXEL = 277,
    TAG_ROWS_PER_STRIP = 278,
    TAG_STRIP_BYTE_COUNTS = 279,
    TAG_X_RESOLUTION = 282,
    TAG_Y_RESOLUTION = 283,
    TAG_PLANAR_CONFIGURATION = 284,
    TAG_RESOLUTION_UNIT = 296,
    TAG_PREDICTOR = 317,
    TAG_TILE_WIDTH = 322,
    TAG_TILE_LENGTH = 323,
    TAG_TILE_OFFSETS = 324,
    TAG_TILE_BYTE_COUNTS = 325,
    TAG_SAMPLE_FORMAT = 339,
};

// The Orient code that gives a TIFF orientation (1 to 8) in Image rows, which count from the
// bottom. For 5 to 8 these leave the picture half a turn from the reading of the TIFF
// standard. That half turn is deliberate for this reader and must stay; libtiff's path reads
// the standard's way (see TiffLibrary.cpp).
static const int TIFF_ORIENT_CODES[9] = {0, 0, 4, 2, 6, 7, 3, 5, 1};

// The header's byte order and directory offset; 0 when it is ours to read, else which check
// failed (1 signature, 2 version).
static int TiffHeaderParse(const uint8_t *header, int *littleEndian, int64_t *directoryOffset)
{
    if (header[0] != header[1] || (header[0] != 'I' && header[0] != 'M')) return 1;
    *littleEndian = header[0] == 'I';
    if (BytesGet16(header, 2, *littleEndian) != TIFF_VERSION) return 2;
    *directoryOffset = BytesGet32(header, 4, *littleEndian);
    return 0;
}

// Reads the entry count (signed, so that 32768 and more mean none) and as many whole entries
// as the file holds. *entries receives MemoryAlloc'd bytes for the caller to free; *available
// the entries read and *wanted the count the file gives. Returns ERROR_END_OF_FILE when the
// count itself cannot be read, ERROR_NO_MEMORY, or ERROR_NONE.
static ErrorCode TiffDirectoryLoad(FileHandle file, int littleEndian, int64_t offset,
                                   int64_t fileSize, uint8_t **entries, int *available, int *wanted)
{
    uint8_t countBytes[2];
    int64_t got = 0;
    *entries = nullptr;
    *available = 0;
    *wanted = 0;
    if (offset + 2 > fileSize || FileSeek(file, offset) != ERROR_NONE ||
        FileReadExact(file, countBytes, 2) != ERROR_NONE)
        return ERROR_END_OF_FILE;
    int count = (int16_t)BytesGet16(countBytes, 0, littleEndian);
    if (count <= 0) return ERROR_NONE;
    *wanted = count;
    // At most 32767 entries of 12 bytes, and never more than the file has after the count.
    int64_t bytes = (int64_t)count * TIFF_ENTRY_BYTES;
    if (bytes > fileSize - offset - 2) bytes = fileSize - offset - 2;
    if (bytes < TIFF_ENTRY_BYTES) return ERROR_NONE;
    *entries = (uint8_t *)MemoryAlloc((size_t)bytes);
    if (*entries == nullptr) return ERROR_NO_MEMORY;
    if (FileRead(file, *entries, bytes, &got) != ERROR_NONE) got = 0;
    *available = (int)(got / TIFF_ENTRY_BYTES);
    return ERROR_NONE;
}

// The scalar of an entry by its field type. Types without a scalar of their own keep the one
// the entry before left, which is how the fields that follow them have always been read.
static int32_t TiffEntryScalar(const uint8_t *entry, int littleEndian, int32_t previous)
{
    switch (BytesGet16(entry, 2, littleEndian)) {
    case FIELD_BYTE:
    case FIELD_SBYTE:
    case FIELD_UNDEFINED: return (int8_t)entry[8];
    case FIELD_ASCII: return 0;
    case FIELD_SHORT: return (int16_t)BytesGet16(entry, 8, littleEndian);
    case FIELD_LONG:
    case FIELD_RATIONAL: // the offset of the two numbers
    case FIELD_DOUBLE: return (int32_t)BytesGet32(entry, 8, littleEndian);
    default: return previous; // FLOAT and the types no tag of ours uses
    }
}

// Reads bytes at offset, which must lie wholly inside the file. The directory is already in
// memory, so nothing needs the file position afterwards.
static ErrorCode TiffReadAt(FileHandle file, int64_t fileSize, int64_t offset, void *buffer,
                            int64_t bytes)
{
    if (offset < 0 || bytes < 0 || offset > fileSize || bytes > fileSize - offset)
        return ERROR_END_OF_FILE;
    ErrorCode result = FileSeek(file, offset);
    if (result != ERROR_NONE) return result;
    return FileReadExact(file, buffer, bytes);
}

// 1 when every value of a SHORT entry is want: one or two stand in the value field, more
// at the offset it holds. A count of none or more than four (the most samples a pixel of ours
// has), another field type, or values outside the file answer 0.
static int TiffShortsAll(FileHandle file, int64_t fileSize, const uint8_t *entry, int littleEndian,
                         int want)
{
    uint8_t values[8] = {};
    uint32_t count = BytesGet32(entry, 4, littleEndian);
    if (BytesGet16(entry, 2, littleEndian) != FIELD_SHORT || count < 1 || count > 4) return 0;
    if (count <= 2)
        memcpy(values, entry + 8, 4);
    else if (TiffReadAt(file, fileSize, BytesGet32(entry, 8, littleEndian), values,
                        2 * (int64_t)count) != ERROR_NONE)
        return 0;
    for (uint32_t i = 0; i < count; i++)
        if (BytesGet16(values, 2 * i, littleEndian) != want) return 0;
    return 1;
}

int ProbeTiffFile(FileHandle file)
{
    uint8_t header[TIFF_HEADER_BYTES] = {};
    uint8_t *entries = nullptr;
    int available = 0;
    int wanted = 0;
    int littleEndian = 1;
    int64_t directoryOffset = 0;
    int64_t fileSize = 0;
    int32_t scalar = 0;
    int sixteenBit = TIFF_PROBE_LIBRARY;
    int result = TIFF_PROBE_OWN;

    // The probe decides only who reads the file: a read that fails leaves zeros, and the
    // reader that gets the file reports the damage.
    if (FileSeek(file, 0) == ERROR_NONE) FileReadExact(file, header, TIFF_HEADER_BYTES);
    if (TiffHeaderParse(header, &littleEndian, &directoryOffset) != 0) {
        result = TIFF_PROBE_LIBRARY;
        goto done;
    }
    if (FileSize(file, &fileSize) != ERROR_NONE) fileSize = 0;
    TiffDirectoryLoad(file, littleEndian, directoryOffset, fileSize, &entries, &available, &wanted);

    for (int i = 0; i < available; i++) {
        const uint8_t *entry = entries + (size_t)i * TIFF_ENTRY_BYTES;
        int tag = BytesGet16(entry, 0, littleEndian);
        uint32_t count = BytesGet32(entry, 4, littleEndian);
        scalar = TiffEntryScalar(entry, littleEndian, scalar);
        int refused = 0;
        switch (tag) {
        case TAG_BITS_PER_SAMPLE:
            if (count == 1) {
                if (scalar != 1 && scalar != 4 && scalar != 8 && scalar != 16) {
                    result = TIFF_PROBE_LIBRARY;
                    goto done;
                }
                if (scalar == 16) sixteenBit = TIFF_PROBE_REFUSED;
            } else if (count == 3 || count == 4) {
                uint8_t depths[6] = {};
                TiffReadAt(file, fileSize, BytesGet32(entry, 8, littleEndian), depths, 6);
                int depth = BytesGet16(depths, 0, littleEndian);
                if (depth != BytesGet16(depths, 2, littleEndian) ||
                    depth != BytesGet16(depths, 4, littleEndian) || (depth != 8 && depth != 16)) {
                    result = TIFF_PROBE_LIBRARY;
                    goto done;
                }
                if (depth == 16) sixteenBit = TIFF_PROBE_REFUSED;
            } else {
                result = TIFF_PROBE_LIBRARY;
                goto done;
            }
            break;
        case TAG_SUBFILE_TYPE: refused = scalar != 1; break;
        case TAG_COMPRESSION: refused = scalar != 1 && scalar != 5; break;
        // A SHORT above 32767 reads as negative: no photometric of ours either.
        case TAG_PHOTOMETRIC: refused = scalar < 0 || scalar > 2; break;
        case TAG_FILL_ORDER: refused = scalar != 1; break;
        case TAG_ORIENTATION: refused = scalar < 1 || scalar > 8; break;
        case TAG_SAMPLES_PER_PIXEL: refused = scalar != 1 && scalar != 3 && scalar != 4; break;
        case TAG_PLANAR_CONFIGURATION: refused = scalar != 1; break;
        // Tiles and samples that are not unsigned integers are libtiff's: our strip reader
        // would find no strips or read signed and floating-point samples as unsigned ones.
        // SampleFormat has a value for each sample, and every one of them must say unsigned.
        case TAG_TILE_WIDTH:
        case TAG_TILE_LENGTH:
        case TAG_TILE_OFFSETS:
        case TAG_TILE_BYTE_COUNTS: refused = 1; break;
        case TAG_SAMPLE_FORMAT:
            refused = !TiffShortsAll(file, fileSize, entry, littleEndian, 1);
            break;
        default: break;
        }
        if (refused) {
            result = sixteenBit;
            goto done;
        }
    }
done:
    MemoryFree(entries);
    return result;
}

// Everything the directory says, for one call of DecodeTiffImage.
struct TiffDecode {
    int littleEndian;
    int64_t fileSize;
    int32_t scalar; // the scalar of the entry last read
    int32_t width;
    int32_t height;
    int32_t imageType;
    int32_t bitsPerSample;
    int32_t samplesPerPixel;
    int sawWidth;
    int sawHeight;
    int sawBits;
    int compressed; // Compression 5, LZW
    int inverted;   // Photometric 0, white is zero
    int predictor;  // Predictor 2, horizontal differencing
    int32_t orientation;
    int32_t rowsPerStrip;    // -1 until tag 278
    int64_t stripCount;      // the count of tag 273 or 279, whichever came last
    int64_t singleOffset;    // -1 until tag 273 with one value
    int64_t singleByteCount; // -1 until tag 279 with one value
    uint32_t *offsets;       // tag 273 with more than one value
    int64_t offsetsLength;
    uint32_t *byteCounts; // tag 279 with more than one value
    int64_t byteCountsLength;
    double resolution;         // dots per inch before the unit factor
    double verticalResolution; // kept and never used: an Image has one resolution
    double factor;             // 2.540005 for centimetres, else 1
};

static void TiffDecodeReset(TiffDecode *state)
{
    memset(state, 0, sizeof *state);
    state->bitsPerSample = 1;
    state->samplesPerPixel = 1;
    state->orientation = 1;
    state->rowsPerStrip = -1;
    state->stripCount = 1;
    state->singleOffset = -1;
    state->singleByteCount = -1;
    state->resolution = Prefs.defaultResolution;
    state->verticalResolution = Prefs.defaultResolution;
    state->factor = 1.0;
}

// Set while a row source looks at a file: it only wants to know whether the file is one it
// can stream, and leaves every message to the reader that takes the file after it.
static thread_local int TiffRefusalsQuiet = 0;

// Says a refusal of the decoder in its own words under the title "Error"; the caller returns
// 56.
static ErrorCode TiffRefuse(const char *text)
{
    if (!TiffRefusalsQuiet) Notice("Error", "%s", text);
    return ERROR_READ_TIFF;
}

// Tags 273 and 279: one value is kept as it stands; more go into a table of 32-bit values,
// read from the value field (two SHORTs) or from the offset it holds. The table must lie in
// the file, which also bounds its allocation by the file's size.
static ErrorCode TiffStripTableRead(TiffDecode *state, FileHandle file, const uint8_t *entry,
                                    int64_t *single, uint32_t **table, int64_t *length)
{
    int littleEndian = state->littleEndian;
    int fieldType = BytesGet16(entry, 2, littleEndian);
    int64_t count = BytesGet32(entry, 4, littleEndian);
    state->stripCount = count;
    if (count == 1) {
        // Offsets and byte counts are never negative: a SHORT or LONG is taken unsigned.
        if (fieldType == FIELD_SHORT)
            *single = BytesGet16(entry, 8, littleEndian);
        else if (fieldType == FIELD_LONG)
            *single = BytesGet32(entry, 8, littleEndian);
        else
            *single = state->scalar;
        return ERROR_NONE;
    }
    MemoryRelease(table); // a tag given twice: the later one holds
    *length = 0;
    if (count == 0) return ERROR_NONE; // no strips: refused with the other checks
    int valueBytes = fieldType == FIELD_SHORT ? 2 : 4;
    if (count > state->fileSize / valueBytes) return TiffRefuse("Error reading tiff file header");
    *table = (uint32_t *)MemoryAlloc((size_t)count * sizeof(uint32_t));
    if (*table == nullptr) return TiffRefuse("Out of memory");
    *length = count;
    if (fieldType == FIELD_SHORT && count == 2) {
        (*table)[0] = BytesGet16(entry, 8, littleEndian);
        (*table)[1] = BytesGet16(entry, 10, littleEndian);
        return ERROR_NONE;
    }
    // Read the values into the table's own memory and widen them in place, from the end for
    // SHORTs so that no value is overwritten before it is read.
    uint8_t *bytes = (uint8_t *)*table;
    if (TiffReadAt(file, state->fileSize, BytesGet32(entry, 8, littleEndian), bytes,
                   count * valueBytes) != ERROR_NONE)
        return TiffRefuse("Error reading tiff file header");
    for (int64_t i = count - 1; i >= 0; i--) {
        (*table)[i] = valueBytes == 2 ? BytesGet16(bytes, i * 2, littleEndian)
                                      : BytesGet32(bytes, i * 4, littleEndian);
    }
    return ERROR_NONE;
}

// The real value of a RATIONAL entry, as two signed 32-bit numbers at the offset it holds.
static ErrorCode TiffRationalRead(TiffDecode *state, FileHandle file, const uint8_t *entry,
                                  double *value)
{
    uint8_t numbers[8];
    if (TiffReadAt(file, state->fileSize, BytesGet32(entry, 8, state->littleEndian), numbers, 8) !=
        ERROR_NONE)
        return TiffRefuse("Error reading tiff file header");
    double numerator = (int32_t)BytesGet32(numbers, 0, state->littleEndian);
    double denominator = (int32_t)BytesGet32(numbers, 4, state->littleEndian);
    double real = numerator / denominator;
    // A zero denominator or a resolution of zero or less says nothing: keep what we had.
    if (std::isfinite(real) && real > 0.0) *value = real;
    return ERROR_NONE;
}

// Tag 258: one depth for gray, three equal depths for color.
static ErrorCode TiffBitsRead(TiffDecode *state, FileHandle file, const uint8_t *entry)
{
    uint32_t count = BytesGet32(entry, 4, state->littleEndian);
    state->sawBits = 1;
    if (count == 1) {
        switch (state->scalar) {
        case 1: state->imageType = TYPE_BINARY; break;
        case 4:
        case 8: state->imageType = TYPE_GRAY8; break;
        case 16: state->imageType = TYPE_GRAY16; break;
        default: return TiffRefuse("Unsupported grayscale bits/pixel (must be 1, 4, 8, or 16)");
        }
        state->bitsPerSample = state->scalar;
        return ERROR_NONE;
    }
    if (count != 3 && count != 4) return TiffRefuse("Unsupported samples/pixel (must be 1 or 3");
    // A fourth depth, for alpha, is not read.
    uint8_t depths[6];
    if (TiffReadAt(file, state->fileSize, BytesGet32(entry, 8, state->littleEndian), depths, 6) !=
        ERROR_NONE)
        return TiffRefuse("Error reading tiff file header");
    int depth = BytesGet16(depths, 0, state->littleEndian);
    if (depth != BytesGet16(depths, 2, state->littleEndian) ||
        depth != BytesGet16(depths, 4, state->littleEndian))
        return TiffRefuse("Unsupported color, mixed bits/pixel");
    if (depth == 8)
        state->imageType = TYPE_COLOR24;
    else if (depth == 16)
        state->imageType = TYPE_COLOR48;
    else
        return TiffRefuse("Unsupported color bits/pixel (must be 8, or 16)");
    state->bitsPerSample = depth;
    return ERROR_NONE;
}

// Applies one directory entry to the state; a refusal has shown its message.
static ErrorCode TiffEntryApply(TiffDecode *state, FileHandle file, const uint8_t *entry)
{
    int tag = BytesGet16(entry, 0, state->littleEndian);
    int32_t scalar = TiffEntryScalar(entry, state->littleEndian, state->scalar);
    state->scalar = scalar;
    switch (tag) {
    case TAG_SUBFILE_TYPE:
        if (scalar != 1) return TiffRefuse("Unsupported subfile type");
        break;
    case TAG_IMAGE_WIDTH:
        state->width = scalar;
        state->sawWidth = 1;
        break;
    case TAG_IMAGE_LENGTH:
        state->height = scalar;
        state->sawHeight = 1;
        break;
    case TAG_BITS_PER_SAMPLE: return TiffBitsRead(state, file, entry);
    case TAG_COMPRESSION:
        if (scalar != 1 && scalar != 5)
            return TiffRefuse("Unsupported tiff compression (must be uncompressed or LZW)");
        state->compressed = scalar == 5;
        break;
    case TAG_PHOTOMETRIC:
        // 3, a palette, makes the type color and reads no color map: the probe sends such
        // files to libtiff, and here they fail the check of samples against the type.
        if (scalar < 0 || scalar > 3) return TiffRefuse("Unsupported photometric interpretation");
        if (scalar == 0) state->inverted = 1;
        if (scalar == 3) state->imageType = TYPE_COLOR24;
        break;
    case TAG_FILL_ORDER:
        if (scalar != 1) return TiffRefuse("Unsupported fill order");
        break;
    case TAG_STRIP_OFFSETS:
        return TiffStripTableRead(state, file, entry, &state->singleOffset, &state->offsets,
                                  &state->offsetsLength);
    case TAG_ORIENTATION:
        if (scalar < 1 || scalar > 8) return TiffRefuse("Unsupported orientation");
        state->orientation = scalar;
        break;
    case TAG_SAMPLES_PER_PIXEL:
        if (scalar != 1 && scalar != 3 && scalar != 4)
            return TiffRefuse("Unsupported samples per pixel");
        state->samplesPerPixel = scalar;
        if (scalar > 2 && state->imageType == TYPE_GRAY8) state->imageType = TYPE_COLOR24;
        if (scalar > 2 && state->imageType == TYPE_GRAY16) state->imageType = TYPE_COLOR48;
        break;
    case TAG_ROWS_PER_STRIP: state->rowsPerStrip = scalar; break;
    case TAG_STRIP_BYTE_COUNTS:
        return TiffStripTableRead(state, file, entry, &state->singleByteCount, &state->byteCounts,
                                  &state->byteCountsLength);
    // A resolution in any field type but RATIONAL is treated as absent.
    case TAG_X_RESOLUTION:
        if (BytesGet16(entry, 2, state->littleEndian) == FIELD_RATIONAL)
            return TiffRationalRead(state, file, entry, &state->resolution);
        break;
    case TAG_Y_RESOLUTION:
        if (BytesGet16(entry, 2, state->littleEndian) == FIELD_RATIONAL)
            return TiffRationalRead(state, file, entry, &state->verticalResolution);
        break;
    case TAG_PLANAR_CONFIGURATION:
        if (scalar != 1) return TiffRefuse("Unsupported planar configuration");
        break;
    case TAG_RESOLUTION_UNIT:
        if (scalar == 3) state->factor = TIFF_CENTIMETRE_FACTOR;
        break;
    case TAG_PREDICTOR:
        if (scalar != 1 && scalar != 2) return TiffRefuse("Unsupported Predictor");
        state->predictor = scalar == 2;
        break;
    default: break; // NewSubfileType, descriptive texts and private tags
    }
    return ERROR_NONE;
}

// Bytes of one row in the file: by the image type, then by the bit depth for one sample.
static int64_t TiffFileRowBytes(const TiffDecode *state)
{
    int64_t w = state->width;
    int64_t bytes = 0;
    switch (state->imageType) {
    case TYPE_BINARY: bytes = (w + 7) / 8; break;
    case TYPE_GRAY8: bytes = w; break;
    case TYPE_COLOR24: bytes = w * state->samplesPerPixel; break;
    case TYPE_GRAY16: bytes = w * 2; break;
    case TYPE_COLOR48: bytes = w * 2 * state->samplesPerPixel; break;
    default: break;
    }
    if (state->samplesPerPixel == 1) {
        if (state->bitsPerSample == 4)
            bytes = (w + 1) / 2;
        else if (state->bitsPerSample == 8)
            bytes = w;
        else if (state->bitsPerSample == 16)
            bytes = w * 2;
    }
    return bytes;
}

// Checks beyond the tags' own rules, so that no combination of values can make a row unpack
// outside its buffer or leave rows of the picture unfilled: the required tags are present,
// sizes are sane, the type, depth and samples agree, and the strips cover every row. Settles
// rows per strip on the way. Returns 1 when the file can be read.
static int TiffDecodeCheck(TiffDecode *state)
{
    if (!state->sawWidth || !state->sawHeight || !state->sawBits) return 0;
    if (state->width < 1 || state->height < 1) return 0;
    if (state->width > TIFF_MAX_SIDE || state->height > TIFF_MAX_SIDE) return 0;
    int samples = state->samplesPerPixel;
    int bits = state->bitsPerSample;
    switch (state->imageType) {
    case TYPE_BINARY:
        if (samples != 1 || bits != 1) return 0;
        break;
    case TYPE_GRAY8:
        if (samples != 1 || (bits != 4 && bits != 8)) return 0;
        break;
    case TYPE_GRAY16:
        if (samples != 1 || bits != 16) return 0;
        break;
    case TYPE_COLOR24:
        if ((samples != 3 && samples != 4) || bits != 8) return 0;
        break;
    case TYPE_COLOR48:
        if ((samples != 3 && samples != 4) || bits != 16) return 0;
        break;
    default: return 0;
    }
    // One strip takes its offset as a single value, several take them from tables that are
    // at least as long as the strip count (a shorter byte count table is checked later, with
    // its message).
    if (state->stripCount < 1) return 0;
    if (state->stripCount == 1 && state->singleOffset < 0) return 0;
    if (state->stripCount > 1 && state->offsetsLength < state->stripCount) return 0;
    if (state->stripCount > 1 && state->byteCounts != nullptr &&
        state->byteCountsLength < state->stripCount)
        return 0;
    // A RowsPerStrip of 2^32 - 1 means "all rows" and reads as -1, like an absent tag.
    if (state->rowsPerStrip == -1 || state->stripCount == 1) state->rowsPerStrip = state->height;
    if (state->rowsPerStrip < 1) return 0;
    if (state->rowsPerStrip > state->height) state->rowsPerStrip = state->height;
    if (state->stripCount * state->rowsPerStrip < state->height) return 0;

    // The file must be able to fill a good part of the picture. LZW rows can expand by at most
    // TIFF_LZW_MAX_RATIO. Uncompressed rows come from the file itself; a file that ends early
    // opens with what it holds, but one that claims far more than it holds is refused before
    // anything is allocated.
    int64_t pictureBytes = TiffFileRowBytes(state) * state->height;
    if (state->compressed) return pictureBytes <= state->fileSize * TIFF_LZW_MAX_RATIO;
    return RasterBackedByFile(pictureBytes, state->fileSize, TIFF_DAMAGED_RATIO);
}

// Reads bytes into buffer: one read up to TIFF_READ_PIECE, else pieces of that size with the
// message queue pumped before each, so that the interface stays alive. *got receives the
// bytes read, which are fewer where the file ends; the end of the file is no error, a failed
// read is.
static ErrorCode TiffReadPieces(FileHandle file, uint8_t *buffer, int64_t bytes, int64_t *got)
{
    *got = 0;
    for (int64_t done = 0; done < bytes;) {
        int64_t piece = bytes - done < TIFF_READ_PIECE ? bytes - done : TIFF_READ_PIECE;
        int64_t pieceGot = 0;
        if (bytes > TIFF_READ_PIECE) ProgressPump();
        ErrorCode result = FileRead(file, buffer + done, piece, &pieceGot);
        if (result == ERROR_END_OF_FILE) return ERROR_NONE;
        if (result != ERROR_NONE) return result;
        done += pieceGot;
        *got = done;
        if (pieceGot < piece) return ERROR_NONE;
    }
    return ERROR_NONE;
}

// Unpacks one file row into an Image row: blue first, little-endian samples, a fourth sample
// dropped.
static void TiffRowUnpack(const TiffDecode *state, const uint8_t *__restrict in,
                          int64_t fileRowBytes, uint8_t *__restrict out)
{
    int w = state->width;
    int step = state->samplesPerPixel;
    switch (state->imageType) {
    case TYPE_GRAY8:
        if (state->bitsPerSample == 4) {
            // The even pixel of a byte takes its low nibble and the odd one its high nibble.
            // This is deliberately the reverse of the usual order; it is how this reader has
            // to show 4-bit files, so it must not be "corrected".
            for (int x = 0; x < w; x++) {
                int byte = in[x >> 1];
                out[x] = (uint8_t)(((x & 1) ? byte >> 4 : byte & 15) * 17);
            }
            return;
        }
        memcpy(out, in, (size_t)fileRowBytes);
        return;
    case TYPE_BINARY: memcpy(out, in, (size_t)fileRowBytes); return;
    case TYPE_COLOR24:
        if (step == 3) {
            SwapRedBlue24(in, out, w);
            return;
        }
        for (int x = 0; x < w; x++, in += step, out += 3) {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
        }
        return;
    case TYPE_GRAY16:
        if (state->littleEndian) {
            memcpy(out, in, (size_t)fileRowBytes);
            return;
        }
        for (int x = 0; x < w; x++, in += 2, out += 2) {
            out[0] = in[1];
            out[1] = in[0];
        }
        return;
    case TYPE_COLOR48:
        // Big-endian: the six bytes reversed swap each sample and turn RGB into BGR at once.
        // Little-endian: the three samples reversed.
        if (state->littleEndian && step == 3) {
            SwapRedBlue48(in, out, w);
        } else if (state->littleEndian) {
            for (int x = 0; x < w; x++, in += 2 * step, out += 6) {
                out[0] = in[4], out[1] = in[5];
                out[2] = in[2], out[3] = in[3];
                out[4] = in[0], out[5] = in[1];
            }
        } else {
            for (int x = 0; x < w; x++, in += 2 * step, out += 6) {
                for (int i = 0; i < 6; i++)
                    out[i] = in[5 - i];
            }
        }
        return;
    default: return;
    }
}

// Undoes horizontal differencing in an Image row: each sample from the second pixel on gets
// the one to its left added, wrapping, channel by channel.
static void TiffRowIntegrate(int type, int width, uint8_t *row)
{
    switch (type) {
    case TYPE_GRAY8:
        for (int i = 1; i < width; i++)
            row[i] = (uint8_t)(row[i] + row[i - 1]);
        return;
    case TYPE_COLOR24:
        for (int i = 3; i < 3 * width; i++)
            row[i] = (uint8_t)(row[i] + row[i - 3]);
        return;
    case TYPE_GRAY16:
    case TYPE_COLOR48: {
        int channels = type == TYPE_GRAY16 ? 1 : 3;
        for (int i = channels; i < channels * width; i++) {
            uint16_t sum =
                (uint16_t)(BytesGet16(row, 2 * i, 1) + BytesGet16(row, 2 * (i - channels), 1));
            BytesPut16(row, 2 * i, sum);
        }
        return;
    }
    default: return;
    }
}

// One row to unpack from a mapping of the file, under its guard.
struct TiffUnpackWork {
    const TiffDecode *state;
    const uint8_t *in;
    int64_t fileRowBytes;
    uint8_t *out;
};

static void TiffUnpackMapped(void *context)
{
    const TiffUnpackWork *work = (const TiffUnpackWork *)context;
    TiffRowUnpack(work->state, work->in, work->fileRowBytes, work->out);
}

// The rows of one block into the picture, from *currentRow downward, with the predictor and
// a progress step or a pump after each. Stops at row 0 whatever the block still holds. A
// block that lies in map, the file's mapping, is read under its guard: ERROR_READ_FILE says
// that the file was shortened under us, and *currentRow is then the row that could not be
// read, the rows above it stored.
static ErrorCode TiffBlockStore(const TiffDecode *state, const uint8_t *block, const FileMap *map,
                                int64_t rows, int64_t fileRowBytes, Image *image,
                                int64_t *currentRow, int showProgress)
{
    for (int64_t r = 0; r < rows && *currentRow >= 0; r++) {
        if (state->predictor && state->imageType == TYPE_BINARY)
            return TiffRefuse("Horizontal differencing not supported for binary images");
        uint8_t *out = image->rows[*currentRow];
        if (map != nullptr) {
            TiffUnpackWork work = {state, block + r * fileRowBytes, fileRowBytes, out};
            ErrorCode result = FileMapGuard(map, TiffUnpackMapped, &work);
            if (result != ERROR_NONE) return result;
        } else {
            TiffRowUnpack(state, block + r * fileRowBytes, fileRowBytes, out);
        }
        if (state->predictor) TiffRowIntegrate(state->imageType, state->width, out);
        if (showProgress) {
            ErrorCode result = ProgressStep((int)(state->height - 1 - *currentRow));
            if (result != ERROR_NONE) return result;
        } else {
            ProgressPump();
        }
        (*currentRow)--;
    }
    return ERROR_NONE;
}

// Complements every byte of a block: white-is-zero files, for every depth.
static void TiffBlockInvert(uint8_t *block, int64_t bytes)
{
    for (int64_t i = 0; i < bytes; i++)
        block[i] = (uint8_t)~block[i];
}

// Stores the rows of one uncompressed strip, from *currentRow downward, a block of at most
// rowsPerBlock rows at a time. A block that lies whole in the file's mapping is taken from
// there; any other is read into *block (allocated here at the first need, for the caller to
// free), black where the file ends, and the rows the file does not give go to found. A file
// shortened under the mapping is read from the row that failed on as a file that ends
// there. byteCount is what the strip holds, 0 when it starts outside the file.
static ErrorCode TiffStripStore(const TiffDecode *state, FileHandle file, FileMap *map,
                                int64_t offset, int64_t byteCount, int64_t stripRows,
                                int64_t stripTop, int64_t rowsPerBlock, int64_t fileRowBytes,
                                uint8_t **block, Image *image, int64_t *currentRow,
                                int showProgress, FileDamage *found)
{
    ErrorCode result = ERROR_NONE;
    int64_t remaining = byteCount; // bytes of the strip not yet taken
    int64_t position = offset;     // in the file, of the next row
    int64_t rowsDone = 0;
    while (rowsDone < stripRows && *currentRow >= 0) {
        int64_t rows = stripRows - rowsDone < rowsPerBlock ? stripRows - rowsDone : rowsPerBlock;
        int64_t bytes = rows * fileRowBytes;
        int64_t got = 0;
        if (bytes > remaining) bytes = remaining > 0 ? remaining : 0;
        if (map->bytes != nullptr && bytes == rows * fileRowBytes &&
            position <= map->size - bytes) {
            int64_t firstRow = *currentRow;
            // The interface is pumped as often as the reads of the block would have pumped it.
            if (bytes > TIFF_READ_PIECE)
                for (int64_t piece = 0; piece < bytes; piece += TIFF_READ_PIECE)
                    ProgressPump();
            result = TiffBlockStore(state, map->bytes + position, map, rows, fileRowBytes, image,
                                    currentRow, showProgress);
            if (result != ERROR_NONE && result != ERROR_READ_FILE) return result;
            int64_t stored = firstRow - *currentRow;
            FileMapDone(map, position, stored * fileRowBytes);
            rowsDone += stored;
            position += stored * fileRowBytes;
            remaining -= stored * fileRowBytes;
            if (result == ERROR_READ_FILE) FileMapClose(map); // shortened: read the rest
            result = ERROR_NONE;
            continue;
        }
        if (*block == nullptr) {
            *block = (uint8_t *)MemoryAlloc((size_t)(rowsPerBlock * fileRowBytes));
            if (*block == nullptr) return TiffRefuse("Unable to allocate strip buffer");
        }
        if (bytes > 0 && (FileSeek(file, position) != ERROR_NONE ||
                          TiffReadPieces(file, *block, bytes, &got) != ERROR_NONE))
            return ERROR_READ_TIFF;                    // a failed read is silent
        remaining = got < bytes ? 0 : remaining - got; // the file ended
        // Where the file ends the block is black, not what the last block left.
        memset(*block + got, 0, (size_t)(rows * fileRowBytes - got));
        if (state->inverted) TiffBlockInvert(*block, rows * fileRowBytes);
        result = TiffBlockStore(state, *block, nullptr, rows, fileRowBytes, image, currentRow,
                                showProgress);
        if (result != ERROR_NONE) return result;
        if (got < rows * fileRowBytes)
            RasterRowsMissing(image, stripTop + rowsDone + got / fileRowBytes,
                              stripTop + rowsDone + rows - 1, found);
        rowsDone += rows;
        position += got;
    }
    return ERROR_NONE;
}

// Reads the header and the first directory into state and checks them, with the decoder's
// messages. ERROR_READ_TIFF for a file it cannot read, the caller showing "Problem reading
// TIFF file" when no message was shown here.
static ErrorCode TiffDecodeParse(FileHandle file, TiffDecode *state)
{
    ErrorCode result = ERROR_NONE;
    uint8_t header[TIFF_HEADER_BYTES];
    uint8_t *entries = nullptr;
    int available = 0;
    int wanted = 0;
    int64_t directoryOffset = 0;

    if (FileSeek(file, 0) != ERROR_NONE ||
        FileReadExact(file, header, TIFF_HEADER_BYTES) != ERROR_NONE ||
        FileSize(file, &state->fileSize) != ERROR_NONE)
        return TiffRefuse("Error reading tiff file header");
    switch (TiffHeaderParse(header, &state->littleEndian, &directoryOffset)) {
    case 1: return TiffRefuse("Illegal TIFF signature");
    case 2: return TiffRefuse("Illegal TIFF version number");
    default: break;
    }
    result = TiffDirectoryLoad(file, state->littleEndian, directoryOffset, state->fileSize,
                               &entries, &available, &wanted);
    if (result == ERROR_NO_MEMORY) return TiffRefuse("Out of memory");
    if (result != ERROR_NONE) return TiffRefuse("Error reading tiff file header");
    // Entries in file order; the first one the file cannot give is a failed read.
    for (int i = 0; i < wanted; i++) {
        if (i >= available) {
            result = TiffRefuse("Error reading tiff file header");
            goto done;
        }
        result = TiffEntryApply(state, file, entries + (size_t)i * TIFF_ENTRY_BYTES);
        if (result != ERROR_NONE) goto done;
    }
    if (!TiffDecodeCheck(state)) result = ERROR_READ_TIFF;
done:
    MemoryFree(entries);
    return result;
}

// Settles the strips' byte counts: a single count of 0 stands for the whole picture, and
// uncompressed counts that are wrong are replaced by what the strips must hold.
static ErrorCode TiffDecodeStrips(TiffDecode *state)
{
    int64_t fileRowBytes = TiffFileRowBytes(state);
    // A single count of 0 says as little as none: the strip holds the whole picture.
    if (state->stripCount == 1 && state->singleByteCount <= 0)
        state->singleByteCount = fileRowBytes * state->height;
    if (state->stripCount > 1 && state->byteCounts == nullptr)
        return TiffRefuse("Strip byte counts required but not specified in TIFF header");

    // Uncompressed byte counts are often wrong; what the strips must hold is known, so at the
    // first count that differs, all of them are replaced.
    if (state->stripCount > 1 && !state->compressed) {
        int64_t rowsBefore = 0;
        for (int64_t s = 0; s < state->stripCount; s++, rowsBefore += state->rowsPerStrip) {
            int64_t rows = state->rowsPerStrip;
            if (s == state->stripCount - 1) rows = state->height - rowsBefore;
            if (rows < 0) rows = 0;
            if (state->byteCounts[s] != rows * fileRowBytes) {
                rowsBefore = 0;
                for (int64_t t = 0; t < state->stripCount; t++, rowsBefore += state->rowsPerStrip) {
                    int64_t expected = state->rowsPerStrip;
                    if (t == state->stripCount - 1) expected = state->height - rowsBefore;
                    if (expected < 0) expected = 0;
                    int64_t bytes = expected * fileRowBytes;
                    state->byteCounts[t] = bytes > UINT32_MAX ? UINT32_MAX : (uint32_t)bytes;
                }
                break;
            }
        }
    }
    return ERROR_NONE;
}

ErrorCode DecodeTiffImage(FileHandle file, Image *image, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    TiffDecode state;
    FileDamage found;             // rows the file does not give
    uint8_t *block = nullptr;     // rows of a strip as the file has them
    uint8_t *lzwSource = nullptr; // a compressed strip
    FileMap map;                  // the whole file, for uncompressed rows
    int progressOpen = 0;
    int mapped = 0; // whether rows were taken from the mapping
    int64_t fileRowBytes = 0;
    int64_t rowsPerBlock = 0;
    int64_t currentRow = 0;
    Image oriented;

    // Reset before anything can fail, so that the exit may free everything unconditionally.
    TiffDecodeReset(&state);
    ImageClear(&oriented);
    FileDamageClear(&found);
    FileMapReset(&map);

    result = TiffDecodeParse(file, &state);
    if (result != ERROR_NONE) goto done;
    result = ImageAlloc(image, state.imageType, state.width, state.height,
                        state.resolution * state.factor);
    if (result != ERROR_NONE) goto done; // the allocation's own code
    fileRowBytes = TiffFileRowBytes(&state);
    result = TiffDecodeStrips(&state);
    if (result != ERROR_NONE) goto done;

    // Uncompressed strips are read in blocks of at most TIFF_BLOCK_BYTES; an LZW strip is
    // decoded whole.
    rowsPerBlock = state.rowsPerStrip;
    if (!state.compressed && state.rowsPerStrip * fileRowBytes > TIFF_BLOCK_BYTES) {
        rowsPerBlock = TIFF_BLOCK_BYTES / fileRowBytes;
        if (rowsPerBlock == 0) {
            result = TiffRefuse("Image is too wide to read");
            goto done;
        }
    }

    // Uncompressed rows are taken from a mapping of the file where the system gives one,
    // rather than copied by read calls into a block first and from there into the picture.
    // Without one they are read.
    mapped = !state.compressed && !state.inverted &&
             FileMapOpen(file, state.fileSize, &map) == ERROR_NONE;

    if (showProgress) {
        ProgressOpen(0, state.height - 1, "TIFF Read", 1);
        progressOpen = 1;
    }
    for (int pass = 0;; pass++) {
        currentRow = state.height - 1;
        for (int64_t s = 0; s < state.stripCount && currentRow >= 0; s++) {
            int64_t offset = state.stripCount > 1 ? state.offsets[s] : state.singleOffset;
            int64_t byteCount = state.stripCount > 1 ? state.byteCounts[s] : state.singleByteCount;
            int64_t stripRows =
                state.rowsPerStrip < currentRow + 1 ? state.rowsPerStrip : currentRow + 1;
            int64_t stripTop = state.height - 1 - currentRow; // its first row, from the top
            // A strip that starts outside the file gives nothing: its rows are missing. Rows
            // taken from the mapping need no position in the file; the others seek their own.
            int inFile = offset >= 0 && offset < state.fileSize &&
                         (!state.compressed || FileSeek(file, offset) == ERROR_NONE);
            if (!state.compressed) {
                result = TiffStripStore(&state, file, &map, offset, inFile ? byteCount : 0,
                                        stripRows, stripTop, rowsPerBlock, fileRowBytes, &block,
                                        image, &currentRow, showProgress, &found);
                if (result != ERROR_NONE) goto done;
            } else {
                int64_t blockBytes = state.rowsPerStrip * fileRowBytes;
                int64_t decoded = 0;
                MemoryRelease(&block);
                block = (uint8_t *)MemoryAllocZero((size_t)blockBytes);
                if (block == nullptr) {
                    result = TiffRefuse("Unable to allocate strip buffer");
                    goto done;
                }
                // The source holds no more than the file has after the strip's offset; a count
                // of 0 says nothing, and the stream's own end code ends it.
                int64_t sourceBytes = inFile ? byteCount : 0;
                if (inFile && (sourceBytes <= 0 || sourceBytes > state.fileSize - offset))
                    sourceBytes = state.fileSize - offset;
                MemoryRelease(&lzwSource);
                lzwSource = (uint8_t *)MemoryAlloc((size_t)(sourceBytes > 0 ? sourceBytes : 1));
                if (lzwSource == nullptr) {
                    result = TiffRefuse("Unable to allocate LZW buffer");
                    goto done;
                }
                int64_t got = 0;
                ProgressPump();
                if (sourceBytes > 0 && FileRead(file, lzwSource, sourceBytes, &got) != ERROR_NONE) {
                    result = ERROR_READ_TIFF;
                    goto done;
                }
                ProgressPump();
                if (DecodeLzwStrip(lzwSource, got, block, blockBytes, &decoded) != ERROR_NONE) {
                    result = ERROR_READ_TIFF;
                    goto done;
                }
                if (state.inverted) TiffBlockInvert(block, blockBytes);
                result = TiffBlockStore(&state, block, nullptr, state.rowsPerStrip, fileRowBytes,
                                        image, &currentRow, showProgress);
                if (result != ERROR_NONE) goto done;
                // A stream that stops before the strip's rows do, without or with its end code.
                if (decoded < stripRows * fileRowBytes)
                    RasterRowsMissing(image, stripTop + decoded / fileRowBytes,
                                      stripTop + stripRows - 1, &found);
            }
        }

        // A file shortened while it was mapped faults only past the page where it now ends;
        // up to there the mapping gives zeros, and a read would have told the rows missing.
        // So a file found shorter than it was is read again, as a file that ends there.
        int64_t sizeNow = 0;
        if (!mapped || pass > 0) break;
        if (FileSize(file, &sizeNow) == ERROR_NONE && sizeNow >= state.fileSize) break;
        FileMapClose(&map);
        FileDamageClear(&found);
    }

    if (state.orientation != 1) {
        if (OrientImageCode(image, &oriented, TIFF_ORIENT_CODES[state.orientation], 0) !=
            ERROR_NONE) {
            result = ERROR_READ_TIFF;
            goto done;
        }
        FileDamageOrient(&found, TIFF_ORIENT_CODES[state.orientation], image->height);
        ImageFree(image);
        *image = oriented; // the turned picture takes the record's place, with its new size
        ImageClear(&oriented);
    }
    result = RasterDamageResult(result, &found, damage, ERROR_READ_TIFF);

done:
    if (progressOpen) ProgressClose();
    MemoryFree(state.offsets);
    MemoryFree(state.byteCounts);
    MemoryFree(block);
    MemoryFree(lzwSource);
    FileMapClose(&map);
    ImageFree(&oriented);
    // A failure leaves no half picture; an abort leaves the rows read so far.
    if (result != ERROR_NONE && result != ERROR_ABORTED) ImageAlloc(image, TYPE_EMPTY, 0, 0, 0.0);
    return result;
}

struct LzwEntry {
    int32_t predecessor; // code of the string without its last byte, -1 for single bytes
    int32_t length;      // bytes of the string
    uint8_t last;        // last byte of the string
    uint8_t first;       // first byte of the string
};

// Empties the table but for the 256 single bytes.
static void LzwTableReset(LzwEntry *table)
{
    memset(table, 0, sizeof(LzwEntry) * LZW_TABLE_SIZE);
    for (int i = 0; i < 256; i++) {
        table[i].predecessor = -1;
        table[i].length = 1;
        table[i].last = (uint8_t)i;
        table[i].first = (uint8_t)i;
    }
}

// The next code of width bits, most significant bit first. Past the end of the source, or
// when the output is full, the code is LZW_END. So is a code that runs over the end: a
// stream cut short ends with the last whole code, not with one made up of zeros.
static int LzwCodeNext(const uint8_t *source, int64_t sourceBytes, int64_t *bitPosition, int width,
                       int full)
{
    int64_t byte = *bitPosition >> 3;
    if (full || *bitPosition + width > sourceBytes * 8) return LZW_END;
    uint32_t bits = 0;
    for (int k = 0; k < 3; k++)
        bits = (bits << 8) | (byte + k < sourceBytes ? source[byte + k] : 0);
    int shift = 24 - (int)(*bitPosition & 7) - width; // width is at most 13, so shift >= 4
    *bitPosition += width;
    return (int)((bits >> shift) & ((1u << width) - 1));
}

ErrorCode DecodeLzwStrip(const uint8_t *source, int64_t sourceBytes, uint8_t *destination,
                         int64_t destinationBytes, int64_t *decoded)
{
    ErrorCode result = ERROR_NONE;
    LzwEntry *table = nullptr;
    int width = 9;
    int threshold = 510; // the width grows when the next free code passes it
    int next = 258;
    int previous = -1;
    int64_t bitPosition = 0;
    int64_t count = 0;

    *decoded = 0;
    // Old LZW files wrote their codes least significant bit first; their clear code begins
    // 0x00 0x01. We refuse them in silence.
    if (sourceBytes >= 2 && source[0] == 0 && (source[1] & 1)) return ERROR_READ_TIFF;
    table = (LzwEntry *)MemoryAlloc(sizeof(LzwEntry) * LZW_TABLE_SIZE);
    if (table == nullptr) return ERROR_NO_MEMORY;
    LzwTableReset(table);

    // Each pass reads one code of at least 9 bits or ends, so the source bounds the loop.
    for (;;) {
        int code = LzwCodeNext(source, sourceBytes, &bitPosition, width, count >= destinationBytes);
        if (code == LZW_END) break;
        if (code == LZW_CLEAR) {
            LzwTableReset(table);
            width = 9;
            threshold = 510;
            next = 258;
            code = LzwCodeNext(source, sourceBytes, &bitPosition, 9, count >= destinationBytes);
            if (code == LZW_END) break;
            destination[count++] = (uint8_t)code;
            if (count >= destinationBytes) break;
            previous = code;
            continue;
        }
        // The stream must clear before it grows past 12 bits; the table has room for one code
        // more, and then we stop.
        if (next > LZW_TABLE_SIZE - 1) {
            Notice("Error", "LZW encoding error detected");
            result = ERROR_READ_TIFF;
            goto done;
        }
        // A new string: the previous one and the first byte of this one, which for the code
        // being defined right now is the first byte of the previous string. A stream that does
        // not begin with a clear code has no previous string for its first code.
        if (previous >= 0) {
            LzwEntry *entry = &table[next];
            entry->predecessor = previous;
            entry->first = table[previous].first;
            // No true string is longer than the table; the cap keeps damaged chains finite.
            entry->length = table[previous].length < LZW_TABLE_SIZE ? table[previous].length + 1
                                                                    : LZW_TABLE_SIZE;
            entry->last = code < next ? table[code].first : entry->first;
            next++;
            if (next > threshold) {
                width++;
                threshold = threshold * 2 + 2; // 510, 1022, 2046, 4094
            }
        }
        previous = code;
        if (code < 256) {
            destination[count++] = (uint8_t)code;
            if (count >= destinationBytes) break;
            continue;
        }
        if (code >= next) {
            result = ERROR_READ_TIFF;
            goto done;
        }
        // Walk the string from its end back to its start. A string cut by the end of the
        // output keeps its tail.
        int64_t length = table[code].length;
        if (length > destinationBytes - count) length = destinationBytes - count;
        int walk = code;
        for (int64_t i = length - 1; i >= 0; i--) {
            if (walk < 0 || walk >= next) {
                result = ERROR_READ_TIFF;
                goto done;
            }
            destination[count + i] = table[walk].last;
            walk = table[walk].predecessor;
        }
        count += length;
        if (count >= destinationBytes) break;
    }
done:
    MemoryFree(table);
    *decoded = count;
    return result;
}

void TiffRowSourceReset(TiffRowSource *source)
{
    memset(source, 0, sizeof *source);
    source->file = FILE_HANDLE_NONE;
    FileMapReset(&source->map);
}

// Whether the strips of a file that the decoder takes can be used as they lie: uncompressed,
// one sample a channel, the picture's own byte order and bit sense, no predictor, turned
// upright, and every row inside the file, so that no row could come out damaged.
static int TiffRowsAsTheyLie(const TiffDecode *state)
{
    if (state->compressed || state->inverted || state->predictor || state->orientation != 1)
        return 0;
    int color = state->imageType == TYPE_COLOR24 || state->imageType == TYPE_COLOR48;
    int wide = state->imageType == TYPE_GRAY16 || state->imageType == TYPE_COLOR48;
    if (state->samplesPerPixel != (color ? 3 : 1)) return 0;
    if (state->imageType == TYPE_GRAY8 && state->bitsPerSample != 8) return 0;
    if (wide && !state->littleEndian) return 0;
    int64_t rowBytes = TiffFileRowBytes(state);
    int64_t rowsBefore = 0;
    for (int64_t s = 0; s < state->stripCount && rowsBefore < state->height;
         s++, rowsBefore += state->rowsPerStrip) {
        int64_t rows = state->height - rowsBefore < state->rowsPerStrip ? state->height - rowsBefore
                                                                        : state->rowsPerStrip;
        int64_t offset = state->stripCount > 1 ? state->offsets[s] : state->singleOffset;
        int64_t count = state->stripCount > 1 ? state->byteCounts[s] : state->singleByteCount;
        if (offset < 0 || count < rows * rowBytes || offset > state->fileSize - rows * rowBytes)
            return 0;
    }
    return 1;
}

ErrorCode TiffRowSourceOpen(const char *path, TiffRowSource *source)
{
    ErrorCode result = ERROR_NONE;
    TiffDecode state;

    TiffDecodeReset(&state);
    TiffRowSourceReset(source);
    result = FileOpenRead(path, &source->file);
    if (result != ERROR_NONE) goto done;
    if (ProbeTiffFile(source->file) != TIFF_PROBE_OWN) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    TiffRefusalsQuiet = 1;
    result = TiffDecodeParse(source->file, &state);
    if (result == ERROR_NONE) result = TiffDecodeStrips(&state);
    TiffRefusalsQuiet = 0;
    if (result != ERROR_NONE) goto done;
    if (!TiffRowsAsTheyLie(&state)) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    result = FileMapOpen(source->file, state.fileSize, &source->map);
    if (result != ERROR_NONE) goto done;
    source->type = state.imageType;
    source->width = state.width;
    source->height = state.height;
    source->resolution = state.resolution * state.factor;
    source->fileRowBytes = TiffFileRowBytes(&state);
    source->fileSize = state.fileSize;
    source->rowsPerStrip = state.rowsPerStrip;
    source->singleOffset = state.singleOffset;
    // A table from an earlier StripOffsets entry stays unused when a later one gave a single
    // offset, as the decoder leaves it.
    if (state.stripCount > 1) {
        source->offsets = state.offsets; // the source's now
        state.offsets = nullptr;
    }
done:
    MemoryFree(state.offsets);
    MemoryFree(state.byteCounts);
    if (result != ERROR_NONE) TiffRowSourceClose(source);
    return result;
}

const uint8_t *TiffRowSourceRow(const TiffRowSource *source, int64_t fileRow)
{
    int64_t strip = fileRow / source->rowsPerStrip;
    int64_t offset = source->offsets != nullptr ? source->offsets[strip] : source->singleOffset;
    return source->map.bytes + offset +
           (fileRow - strip * source->rowsPerStrip) * source->fileRowBytes;
}

void TiffRowSourceUnpack(const TiffRowSource *source, const uint8_t *in, uint8_t *out)
{
    if (source->type == TYPE_COLOR24)
        SwapRedBlue24(in, out, source->width);
    else if (source->type == TYPE_COLOR48)
        SwapRedBlue48(in, out, source->width);
    else
        memcpy(out, in, (size_t)source->fileRowBytes);
}

int TiffRowSourceWhole(const TiffRowSource *source)
{
    int64_t size = 0;
    return FileSize(source->file, &size) == ERROR_NONE && size >= source->fileSize;
}

void TiffRowSourceClose(TiffRowSource *source)
{
    FileMapClose(&source->map);
    FileClose(&source->file);
    MemoryRelease(&source->offsets);
}

ErrorCode ReadTiffFile(const char *path, Image *image, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    FileHandle file = FILE_HANDLE_NONE;
    int probe = TIFF_PROBE_LIBRARY;

    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    probe = ProbeTiffFile(file);
    FileClose(&file);
    switch (probe) {
    case TIFF_PROBE_OWN:
        result = FileOpenRead(path, &file);
        if (result == ERROR_NONE) result = DecodeTiffImage(file, image, showProgress, damage);
        break;
    case TIFF_PROBE_REFUSED: result = ERROR_READ_TIFF; break;
    default:
        result = TiffLibraryRead(path, image, showProgress, damage);
        if (result != ERROR_NONE && result != ERROR_ABORTED) result = ERROR_READ_TIFF;
        break;
    }
done:
    FileClose(&file);
    if (result != ERROR_NONE && result != ERROR_ABORTED) ImageAlloc(image, TYPE_EMPTY, 0, 0, 0.0);
    return result;
}
