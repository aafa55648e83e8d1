// The TIFF writer and the reader of the embedded color profile.
//
// Every file we write has one shape: a little-endian header, the main directory at offset 8
// with its values behind it, then the EXIF and GPS directories with theirs, then the rows as
// one uncompressed strip, top row first. Directories and values are written interleaved: an
// entry whose value does not fit its four bytes points at the next free place behind the
// directory, the value goes there, and we seek back for the next entry.
#include "files/TiffWriter.h"

#include <cstring>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/Swap.h"
#include "files/TiffComments.h"

static const int TIFF_HEADER_BYTES = 8;
static const int TIFF_ENTRY_BYTES = 12;
static const int TIFF_VERSION = 42;
static const int TIFF_MAIN_DIRECTORY_OFFSET = 8;
static const int TIFF_FIXED_ENTRIES = 17;            // main directory entries every file has
static const int64_t TIFF_OFFSET_LIMIT = 0xffffffff; // offsets and sizes are 32-bit

static const int TAG_STRIP_OFFSETS = 273;
static const int TAG_EXIF_DIRECTORY = 34665;
static const int TAG_ICC_PROFILE = 34675;
static const int TAG_GPS_DIRECTORY = 34853;

// Where the values of the directory being written go. The counters live in the save's own
// record rather than at file scope, so that nothing is left over between saves.
struct TiffLayout {
    int64_t nextDataOffset;   // file offset at which the next out-of-line value goes
    int64_t dataBytesWritten; // bytes placed out of line for the current directory
};

// The descriptive text fields of the main directory that come from comments, by tag.
struct MainTextTag {
    int32_t tag;
    int32_t id; // comment id
};

int64_t TiffFileRowBytes(const Image *image)
{
    int64_t width = image->width;
    switch (image->type) {
    case TYPE_BINARY: return (width + 7) / 8;
    case TYPE_GRAY8: return width;
    case TYPE_COLOR24: return width * 3;
    case TYPE_GRAY16: return width * 2;
    case TYPE_COLOR48: return width * 6;
    default: return 0;
    }
}

// Bytes of rows gathered before they are written.
static const int64_t TIFF_WRITE_BUFFER = 1 << 20;

// Writes one 12-byte entry at the current position. bytes holds byteCount bytes of value in
// the file's (little-endian) order. An inline value stands in the value field, zero-padded;
// any other goes to nextDataOffset, and the entry points there. A value of odd length is
// followed by a zero byte, so that every value begins on a word boundary as TIFF asks.
// Returns ERROR_WRITE_TIFF on any failure.
static ErrorCode TiffPutEntry(FileHandle file, TiffLayout *layout, int tag, int type,
                              uint32_t count, const uint8_t *bytes, int64_t byteCount,
                              int inlineValue)
{
    static const uint8_t PAD = 0;
    uint8_t entry[TIFF_ENTRY_BYTES] = {};
    BytesPut16(entry, 0, (uint16_t)tag);
    BytesPut16(entry, 2, (uint16_t)type);
    BytesPut32(entry, 4, count);
    if (inlineValue) {
        if (byteCount > 0) memcpy(entry + 8, bytes, (size_t)byteCount);
    } else {
        int64_t here;
        int64_t padded = byteCount + (byteCount & 1);
        if (layout->nextDataOffset + padded > TIFF_OFFSET_LIMIT) return ERROR_WRITE_TIFF;
        BytesPut32(entry, 8, (uint32_t)layout->nextDataOffset);
        if (FileTell(file, &here) != ERROR_NONE ||
            FileSeek(file, layout->nextDataOffset) != ERROR_NONE ||
            FileWrite(file, bytes, byteCount) != ERROR_NONE ||
            (padded > byteCount && FileWrite(file, &PAD, 1) != ERROR_NONE) ||
            FileSeek(file, here) != ERROR_NONE)
            return ERROR_WRITE_TIFF;
        layout->nextDataOffset += padded;
        layout->dataBytesWritten += padded;
    }
    return FileWrite(file, entry, TIFF_ENTRY_BYTES) == ERROR_NONE ? ERROR_NONE : ERROR_WRITE_TIFF;
}

// BYTE, ASCII and UNDEFINED: length bytes, inline up to four. value must have one readable
// byte after its length (comment values end in a zero byte): a text that is not terminated
// in itself takes that zero in, as readers of ASCII fields expect.
static ErrorCode TiffPutBytes(FileHandle file, TiffLayout *layout, int tag, int type,
                              const uint8_t *value, int length)
{
    if (type == TIFF_FIELD_ASCII && length > 0 && value[length - 1] != 0 && value[length] == 0)
        length++;
    return TiffPutEntry(file, layout, tag, type, (uint32_t)length, value, length, length < 5);
}

// SHORT, up to three values: inline for one or two, and a single value leaves zero in the
// second half of the value field.
static ErrorCode TiffPutShorts(FileHandle file, TiffLayout *layout, int tag, const uint16_t *values,
                               int count)
{
    uint8_t bytes[2 * 3];
    for (int i = 0; i < count; i++)
        BytesPut16(bytes, 2 * i, values[i]);
    return TiffPutEntry(file, layout, tag, TIFF_FIELD_SHORT, (uint32_t)count, bytes, 2 * count,
                        count == 1 || count == 2);
}

static ErrorCode TiffPutShort(FileHandle file, TiffLayout *layout, int tag, uint16_t value)
{
    return TiffPutShorts(file, layout, tag, &value, 1);
}

// LONG with one value, inline. *valuePosition, if given, receives the file position of the
// value field, for a value patched later.
static ErrorCode TiffPutLong(FileHandle file, TiffLayout *layout, int tag, uint32_t value,
                             int64_t *valuePosition)
{
    uint8_t bytes[4];
    BytesPut32(bytes, 0, value);
    if (valuePosition != nullptr) {
        if (FileTell(file, valuePosition) != ERROR_NONE) return ERROR_WRITE_TIFF;
        *valuePosition += 8;
    }
    return TiffPutEntry(file, layout, tag, TIFF_FIELD_LONG, 1, bytes, 4, 1);
}

// RATIONAL or SRATIONAL: count pairs of numerator and denominator, always out of line.
static ErrorCode TiffPutRationals(FileHandle file, TiffLayout *layout, int tag, int type,
                                  const uint32_t *pairs, int count)
{
    uint8_t bytes[8 * 3];
    for (int i = 0; i < 2 * count; i++)
        BytesPut32(bytes, 4 * i, pairs[i]);
    return TiffPutEntry(file, layout, tag, type, (uint32_t)count, bytes, 8 * count, 0);
}

// The entry of a table field from its comment, whose numbers are in native order: as many
// numbers as the comment holds, and a value shorter than the table's count completed with
// zeros, so that nothing past the comment's own bytes is read.
static ErrorCode TiffPutCommentField(FileHandle file, TiffLayout *layout, const TiffTagEntry *field,
                                     const FileComment *comment)
{
    int type;
    uint32_t count;
    int unit;
    TiffTagWriteForm(field, comment->length, &type, &count);
    switch (type) {
    case TIFF_FIELD_SHORT: unit = 2; break;
    case TIFF_FIELD_LONG: unit = 4; break;
    case TIFF_FIELD_RATIONAL:
    case TIFF_FIELD_SRATIONAL: unit = 8; break;
    default: return TiffPutBytes(file, layout, field->tag, type, comment->value, comment->length);
    }
    // At most the comment's length, or the table's few values: well inside 32 bits.
    int64_t bytes = (int64_t)count * unit;
    uint8_t *value = (uint8_t *)MemoryAllocZero((size_t)(bytes > 0 ? bytes : 1));
    if (value == nullptr) return ERROR_NO_MEMORY;
    int64_t have = comment->length < bytes ? comment->length : bytes;
    // Rationals are pairs of 32-bit numbers, each turned on its own.
    if (unit == 2) {
        for (int64_t i = 0; i + 2 <= have; i += 2) {
            uint16_t number;
            memcpy(&number, comment->value + i, 2);
            BytesPut16(value, i, number);
        }
    } else {
        for (int64_t i = 0; i + 4 <= have; i += 4) {
            uint32_t number;
            memcpy(&number, comment->value + i, 4);
            BytesPut32(value, i, number);
        }
    }
    ErrorCode result =
        TiffPutEntry(file, layout, field->tag, type, count, value, bytes, bytes <= 4);
    MemoryFree(value);
    return result;
}

// Writes value at position and comes back; used for the offsets known only later.
static ErrorCode TiffPatchLong(FileHandle file, int64_t position, uint32_t value)
{
    uint8_t bytes[4];
    int64_t here;
    BytesPut32(bytes, 0, value);
    if (FileTell(file, &here) != ERROR_NONE || FileSeek(file, position) != ERROR_NONE ||
        FileWrite(file, bytes, 4) != ERROR_NONE || FileSeek(file, here) != ERROR_NONE)
        return ERROR_WRITE_TIFF;
    return ERROR_NONE;
}

// Ends a directory: the zero "no next directory", then on past its values.
static ErrorCode TiffEndDirectory(FileHandle file, const TiffLayout *layout)
{
    static const uint8_t ZERO[4] = {};
    int64_t here;
    if (FileWrite(file, ZERO, 4) != ERROR_NONE || FileTell(file, &here) != ERROR_NONE)
        return ERROR_WRITE_TIFF;
    int64_t next = here + layout->dataBytesWritten;
    if (next < layout->nextDataOffset) next = layout->nextDataOffset;
    return FileSeek(file, next) == ERROR_NONE ? ERROR_NONE : ERROR_WRITE_TIFF;
}

// The comment that row i of table writes, or null. A tag stands in a directory once, at its
// first row: the table names 37121 a second time, after 37122, and a second entry of one tag
// is one that readers reject or misread.
static const FileComment *TiffRowComment(const TiffTagEntry *table, int i,
                                         const FileComment *comments)
{
    for (int j = 0; j < i; j++)
        if (table[j].tag == table[i].tag) return nullptr;
    return TiffTagComment(comments, &table[i]);
}

// The entries an EXIF or GPS directory of table holds for comments.
static int TiffSubDirectoryEntries(const TiffTagEntry *table, int tableCount,
                                   const FileComment *comments)
{
    int count = 0;
    for (int i = 0; i < tableCount; i++)
        if (TiffRowComment(table, i, comments) != nullptr) count++;
    return count;
}

// Writes an EXIF or GPS directory of count entries (TiffSubDirectoryEntries) at the current
// position, in the order of its table, patches its offset into the main directory's pointer
// at pointerPosition, and ends past its values, which follow the entries.
static ErrorCode TiffPutSubDirectory(FileHandle file, TiffLayout *layout, const TiffTagEntry *table,
                                     int tableCount, const FileComment *comments, int count,
                                     int64_t pointerPosition)
{
    ErrorCode result;
    int64_t position;
    uint8_t countBytes[2];

    if (FileTell(file, &position) != ERROR_NONE || position > TIFF_OFFSET_LIMIT)
        return ERROR_WRITE_TIFF;
    layout->nextDataOffset = position + 6 + (int64_t)count * TIFF_ENTRY_BYTES;
    layout->dataBytesWritten = 0;
    result = TiffPatchLong(file, pointerPosition, (uint32_t)position);
    if (result != ERROR_NONE) return result;
    BytesPut16(countBytes, 0, (uint16_t)count);
    if (FileWrite(file, countBytes, 2) != ERROR_NONE) return ERROR_WRITE_TIFF;
    for (int i = 0; i < tableCount; i++) {
        const FileComment *comment = TiffRowComment(table, i, comments);
        if (comment == nullptr) continue;
        result = TiffPutCommentField(file, layout, &table[i], comment);
        if (result != ERROR_NONE) return result;
    }
    return TiffEndDirectory(file, layout);
}

// The descriptive text fields of the main directory, before StripOffsets and after
// ResolutionUnit.
static const MainTextTag TEXT_BEFORE_STRIPS[] = {{269, 7}, {270, 3}, {271, 5}, {272, 6}, {285, 8}};
static const MainTextTag TEXT_AFTER_UNIT[] = {{305, 9}, {306, 2}, {315, 0}, {316, 4}, {33432, 1}};

// The text fields the main directory holds for comments.
static int TiffMainTextEntries(const FileComment *comments)
{
    int count = 0;
    for (const MainTextTag &text : TEXT_BEFORE_STRIPS)
        if (FindFileComment(comments, text.id) != nullptr) count++;
    for (const MainTextTag &text : TEXT_AFTER_UNIT)
        if (FindFileComment(comments, text.id) != nullptr) count++;
    return count;
}

// The main directory text field from comment id, if the list has it.
static ErrorCode TiffPutCommentText(FileHandle file, TiffLayout *layout, int tag, int id,
                                    const FileComment *comments)
{
    const FileComment *comment = FindFileComment(comments, id);
    if (comment == nullptr) return ERROR_NONE;
    return TiffPutBytes(file, layout, tag, TIFF_FIELD_ASCII, comment->value, comment->length);
}

void TiffFileRow(const Image *image, const uint8_t *row, uint8_t *out)
{
    if (image->type == TYPE_COLOR24) {
        SwapRedBlue24(row, out, image->width);
    } else if (image->type == TYPE_COLOR48) {
        SwapRedBlue48(row, out, image->width);
    } else {
        int64_t rowBytes = TiffFileRowBytes(image);
        memcpy(out, row, (size_t)rowBytes);
        TiffFileRowTail(image, out);
    }
}

void TiffFileRowTail(const Image *image, uint8_t *out)
{
    // The unused bits at the end of a binary row are cleared, so that a picture always gives
    // the same file.
    if (image->type == TYPE_BINARY && image->width % 8 != 0)
        out[TiffFileRowBytes(image) - 1] &= (uint8_t)(0xff00 >> (image->width % 8));
}

// The rows, top of the picture first, gathered into a buffer of whole rows that goes out
// in one write when full. Color rows are copied into it red first, as TIFF wants them: the
// picture itself is left untouched (and may stay const). Each row is copied once, and the
// large writes keep the system calls few.
static ErrorCode TiffPutRows(FileHandle file, const Image *image, int64_t rowBytes)
{
    ErrorCode result = ERROR_NONE;
    uint8_t *buffer = nullptr;
    int64_t rowsPerBuffer = TIFF_WRITE_BUFFER / rowBytes;
    int64_t filled = 0; // bytes of the buffer in use

    if (rowsPerBuffer < 1) rowsPerBuffer = 1;
    buffer = (uint8_t *)MemoryAlloc((size_t)(rowsPerBuffer * rowBytes));
    if (buffer == nullptr) return ERROR_NO_MEMORY;
    ProgressOpen(0, image->height - 1, "TIFF Write", 1);
    for (int i = 0; i < image->height; i++) {
        TiffFileRow(image, image->rows[image->height - 1 - i], buffer + filled);
        filled += rowBytes;
        if (filled + rowBytes > rowsPerBuffer * rowBytes || i == image->height - 1) {
            result = FileWrite(file, buffer, filled);
            filled = 0;
            if (result != ERROR_NONE) break;
        }
        result = ProgressStep(i);
        if (result != ERROR_NONE) break;
    }
    ProgressClose();
    MemoryFree(buffer);
    return result;
}

// The main directory, in this order: PageName (285) before StripOffsets (273) is how our
// files have always been laid out. The positions of the values patched later are returned.
static ErrorCode TiffPutMainDirectory(FileHandle file, TiffLayout *layout, const Image *image,
                                      const FileComment *comments, int64_t stripBytes,
                                      int profileBytes, const uint8_t *profile, int exifCount,
                                      int gpsCount, int64_t *stripOffsetPosition,
                                      int64_t *exifPointerPosition, int64_t *gpsPointerPosition)
{
    ErrorCode result = ERROR_NONE;
    int color = image->type == TYPE_COLOR24 || image->type == TYPE_COLOR48;
    uint16_t depth = 16;
    if (image->type == TYPE_BINARY) depth = 1;
    if (image->type == TYPE_GRAY8 || image->type == TYPE_COLOR24) depth = 8;
    uint16_t depths[3] = {depth, depth, depth};
    // The resolution to a tenth of a dot per inch; what the numerator cannot hold is clipped
    // rather than left to wrap.
    double tenths = image->resolution * 10.0;
    if (!(tenths >= 0.0)) tenths = 0.0;
    if (tenths > 2147483647.0) tenths = 2147483647.0;
    uint32_t resolution[2] = {(uint32_t)Round(tenths), 10};

    result = TiffPutLong(file, layout, 254, 0, nullptr);
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 255, 1);
    if (result == ERROR_NONE) result = TiffPutLong(file, layout, 256, image->width, nullptr);
    if (result == ERROR_NONE) result = TiffPutLong(file, layout, 257, image->height, nullptr);
    if (result == ERROR_NONE) result = TiffPutShorts(file, layout, 258, depths, color ? 3 : 1);
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 259, 1); // uncompressed
    // Photometric 1 for gray and binary: a set bit is white, as in our binary pictures.
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 262, color ? 2 : 1);
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 266, 1);
    for (const MainTextTag &text : TEXT_BEFORE_STRIPS)
        if (result == ERROR_NONE)
            result = TiffPutCommentText(file, layout, text.tag, text.id, comments);
    if (result == ERROR_NONE)
        result = TiffPutLong(file, layout, TAG_STRIP_OFFSETS, 0, stripOffsetPosition);
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 274, 1);
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 277, color ? 3 : 1);
    if (result == ERROR_NONE) result = TiffPutLong(file, layout, 278, image->height, nullptr);
    if (result == ERROR_NONE)
        result = TiffPutLong(file, layout, 279, (uint32_t)stripBytes, nullptr);
    if (result == ERROR_NONE)
        result = TiffPutRationals(file, layout, 282, TIFF_FIELD_RATIONAL, resolution, 1);
    if (result == ERROR_NONE)
        result = TiffPutRationals(file, layout, 283, TIFF_FIELD_RATIONAL, resolution, 1);
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 284, 1);
    if (result == ERROR_NONE) result = TiffPutShort(file, layout, 296, 2); // inches
    for (const MainTextTag &text : TEXT_AFTER_UNIT)
        if (result == ERROR_NONE)
            result = TiffPutCommentText(file, layout, text.tag, text.id, comments);
    if (result == ERROR_NONE && exifCount > 0)
        result = TiffPutLong(file, layout, TAG_EXIF_DIRECTORY, 0, exifPointerPosition);
    if (result == ERROR_NONE && profileBytes > 0 && profile != nullptr)
        result = TiffPutEntry(file, layout, TAG_ICC_PROFILE, TIFF_FIELD_UNDEFINED,
                              (uint32_t)profileBytes, profile, profileBytes, profileBytes < 5);
    if (result == ERROR_NONE && gpsCount > 0)
        result = TiffPutLong(file, layout, TAG_GPS_DIRECTORY, 0, gpsPointerPosition);
    if (result == ERROR_NONE) result = TiffEndDirectory(file, layout);
    return result;
}

ErrorCode WriteTiffHead(FileHandle file, const Image *image, const FileComment *comments,
                        int profileBytes, const uint8_t *profile)
{
    static const uint8_t HEADER[TIFF_HEADER_BYTES] = {
        'I', 'I', TIFF_VERSION, 0, TIFF_MAIN_DIRECTORY_OFFSET, 0, 0, 0};
    ErrorCode result = ERROR_NONE;
    TiffLayout layout = {};
    int64_t rowBytes = TiffFileRowBytes(image);
    int64_t stripBytes = rowBytes * image->height;
    int hasProfile = profileBytes > 0 && profile != nullptr;
    // Each directory counts the entries it holds, and its values follow them. A comment goes
    // where its id has a place, whatever its flags say: a read marks GPS fields as EXIF.
    int exifCount = TiffSubDirectoryEntries(TIFF_EXIF_TAGS, TIFF_EXIF_TAG_COUNT, comments);
    int gpsCount = TiffSubDirectoryEntries(TIFF_GPS_TAGS, TIFF_GPS_TAG_COUNT, comments);
    int64_t entryCount = TIFF_FIXED_ENTRIES + TiffMainTextEntries(comments) + hasProfile +
                         (exifCount > 0) + (gpsCount > 0);
    int64_t stripOffsetPosition = 0;
    int64_t exifPointerPosition = 0;
    int64_t gpsPointerPosition = 0;
    int64_t stripOffset = 0;
    uint8_t countBytes[2];

    if (rowBytes == 0) return ERROR_ILLEGAL_TYPE;
    // A classic TIFF counts bytes in 32 bits and entries in 16; a picture or a list beyond
    // that cannot be written in this format.
    if (stripBytes > TIFF_OFFSET_LIMIT || entryCount > 0xffff || exifCount > 0xffff ||
        gpsCount > 0xffff)
        return ERROR_WRITE_TIFF;

    if (FileWrite(file, HEADER, TIFF_HEADER_BYTES) != ERROR_NONE) return ERROR_WRITE_TIFF;
    layout.nextDataOffset = entryCount * TIFF_ENTRY_BYTES + 14;
    layout.dataBytesWritten = 0;
    BytesPut16(countBytes, 0, (uint16_t)entryCount);
    if (FileWrite(file, countBytes, 2) != ERROR_NONE) return ERROR_WRITE_TIFF;
    result = TiffPutMainDirectory(file, &layout, image, comments, stripBytes,
                                  hasProfile ? profileBytes : 0, profile, exifCount, gpsCount,
                                  &stripOffsetPosition, &exifPointerPosition, &gpsPointerPosition);
    if (result != ERROR_NONE) return result;
    if (exifCount > 0) {
        result = TiffPutSubDirectory(file, &layout, TIFF_EXIF_TAGS, TIFF_EXIF_TAG_COUNT, comments,
                                     exifCount, exifPointerPosition);
        if (result != ERROR_NONE) return result;
    }
    if (gpsCount > 0) {
        result = TiffPutSubDirectory(file, &layout, TIFF_GPS_TAGS, TIFF_GPS_TAG_COUNT, comments,
                                     gpsCount, gpsPointerPosition);
        if (result != ERROR_NONE) return result;
    }

    // The strip starts here; its offset is the last thing the directory learns.
    if (FileTell(file, &stripOffset) != ERROR_NONE || stripOffset > TIFF_OFFSET_LIMIT - stripBytes)
        return ERROR_WRITE_TIFF;
    return TiffPatchLong(file, stripOffsetPosition, (uint32_t)stripOffset);
}

ErrorCode WriteTiffImage(FileHandle file, const Image *image, const FileComment *comments,
                         int profileBytes, const uint8_t *profile)
{
    ErrorCode result = WriteTiffHead(file, image, comments, profileBytes, profile);
    if (result != ERROR_NONE) return result;
    return TiffPutRows(file, image, TiffFileRowBytes(image));
}

// Writes image, comments and profile through a temporary file that replaces path only when
// everything was written. A failed or cancelled save thus leaves the user's old file as it
// was and no partial file behind, where writing in place would have destroyed the old one.
static ErrorCode SaveTiff(const char *path, const Image *image, const FileComment *comments,
                          int profileBytes, const uint8_t *profile)
{
    ErrorCode result = ERROR_NONE;
    SafeFile safe;

    SafeFileReset(&safe);
    if (!ImageIsPicture(image->type)) {
        result = ERROR_SAVE_TYPE_TIFF;
        goto done;
    }
    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    result = WriteTiffImage(safe.file, image, comments, profileBytes, profile);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCommit(&safe);
done:
    SafeFileAbandon(&safe); // harmless after a commit
    return result;
}

ErrorCode SaveTiffFile(const char *path, const Image *image)
{
    return SaveTiff(path, image, nullptr, 0, nullptr);
}

// The profile a picture's file carries. Only color pictures pass theirs on: our reader gives
// gray and binary pictures none, so any profile such a picture holds was inherited from a
// color original, and an RGB profile would misdescribe a gray file to other programs.
static const uint8_t *TiffPictureProfile(const Picture *picture, int *bytes)
{
    int color = picture->image.type == TYPE_COLOR24 || picture->image.type == TYPE_COLOR48;
    *bytes = color ? picture->profileSize : 0;
    return color ? picture->profile : nullptr;
}

ErrorCode SaveTiffFileWithComments(const char *path, Picture *picture)
{
    int profileBytes = 0;
    const uint8_t *profile = TiffPictureProfile(picture, &profileBytes);
    return SaveTiff(path, &picture->image, picture->comments, profileBytes, profile);
}

ErrorCode WriteTiffPictureHead(FileHandle file, const Picture *picture)
{
    int profileBytes = 0;
    const uint8_t *profile = TiffPictureProfile(picture, &profileBytes);
    return WriteTiffHead(file, &picture->image, picture->comments, profileBytes, profile);
}

ErrorCode ReadTiffColorProfile(const char *path, Picture *picture)
{
    ErrorCode result = ERROR_NONE;
    FileHandle file = FILE_HANDLE_NONE;
    uint8_t header[TIFF_HEADER_BYTES];
    uint8_t countBytes[2];
    uint8_t *entries = nullptr;
    int64_t fileSize = 0;
    int64_t offset;
    int64_t count;
    int littleEndian;

    MemoryRelease(&picture->profile);
    picture->profileSize = 0;
    // Gray and binary pictures never carry a profile.
    if (picture->image.type != TYPE_COLOR24 && picture->image.type != TYPE_COLOR48) goto done;

    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(file, &fileSize) != ERROR_NONE ||
        FileReadExact(file, header, TIFF_HEADER_BYTES) != ERROR_NONE || header[0] != header[1] ||
        (header[0] != 'I' && header[0] != 'M')) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    littleEndian = header[0] == 'I';

    // The directory is read whole after its size was checked against the file.
    offset = BytesGet32(header, 4, littleEndian);
    if (offset > fileSize - 2 || FileSeek(file, offset) != ERROR_NONE ||
        FileReadExact(file, countBytes, 2) != ERROR_NONE) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    count = BytesGet16(countBytes, 0, littleEndian);
    if (count * TIFF_ENTRY_BYTES > fileSize - offset - 2) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    if (count == 0) goto done;
    entries = (uint8_t *)MemoryAlloc((size_t)count * TIFF_ENTRY_BYTES);
    if (entries == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    result = FileReadExact(file, entries, count * TIFF_ENTRY_BYTES);
    if (result != ERROR_NONE) goto done;

    // The walk goes on after a profile was found, so that the last of several wins.
    for (int64_t i = 0; i < count; i++) {
        const uint8_t *entry = entries + i * TIFF_ENTRY_BYTES;
        if (BytesGet16(entry, 0, littleEndian) != TAG_ICC_PROFILE) continue;
        int64_t bytes = BytesGet32(entry, 4, littleEndian);
        int64_t at = BytesGet32(entry, 8, littleEndian);
        if (bytes == 0) continue;
        // A profile larger than the file, or reaching past its end, is damage.
        if (bytes > fileSize || (bytes > 4 && at > fileSize - bytes) || bytes > INT32_MAX) {
            result = ERROR_READ_TIFF;
            goto done;
        }
        MemoryRelease(&picture->profile);
        picture->profileSize = 0;
        uint8_t *profile = (uint8_t *)MemoryAlloc((size_t)bytes);
        if (profile == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
        // Four bytes or fewer stand in the entry, as for any field.
        if (bytes <= 4) {
            memcpy(profile, entry + 8, (size_t)bytes);
        } else if ((result = FileSeek(file, at)) != ERROR_NONE ||
                   (result = FileReadExact(file, profile, bytes)) != ERROR_NONE) {
            MemoryFree(profile);
            goto done;
        }
        picture->profile = profile;
        picture->profileSize = (int32_t)bytes;
    }
done:
    // A damaged file leaves no profile, rather than half of one.
    if (result != ERROR_NONE) {
        MemoryRelease(&picture->profile);
        picture->profileSize = 0;
    }
    MemoryFree(entries);
    FileClose(&file);
    return result;
}
