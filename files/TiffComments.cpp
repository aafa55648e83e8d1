// File comments of TIFF files: the tables of EXIF and GPS tags that the writer and the reader
// share, and the reader that turns the descriptive fields of a file into a comment list.
//
// The reader trusts nothing in the file. Directories are read whole after their size was
// checked against the file, each value must lie inside the file, and the bytes kept for all
// comments together may not exceed the file's size, so that a directory that points many
// entries at one large value cannot make us read or keep more than the file holds. A field
// that fails any check is dropped; the walk goes on with the next entry.
#include "files/TiffComments.h"

#include <cstring>

#include "core/File.h"
#include "core/FileComment.h"
#include "core/Memory.h"

// The EXIF directory in writing order. Tag 37121 stands twice, before and after 37122, and
// comment 167 stands for both focal plane resolutions. A writer puts each tag in a directory
// once, at its first row, and takes the vertical resolution from comment 168 when there is
// one (TiffTagComment).
const TiffTagEntry TIFF_EXIF_TAGS[] = {
    {33434, TIFF_FIELD_RATIONAL, 1, 34, "Exposure (sec)"},
    {33437, TIFF_FIELD_RATIONAL, 1, 35, "Aperture (f)"},
    {34850, TIFF_FIELD_SHORT, 1, 160, "Exposure Program"},
    {34852, TIFF_FIELD_ASCII, 0, 161, "Spectral Sensitivity"},
    {34855, TIFF_FIELD_SHORT, 1, 162, "Film Speed (ISO)"},
    {34856, TIFF_FIELD_UNDEFINED, 0, 163, "Optoelectric Coeff"},
    {36864, TIFF_FIELD_UNDEFINED, 0, 21, "EXIF Version"},
    {36867, TIFF_FIELD_ASCII, 0, 22, "Time Captured"},
    {36868, TIFF_FIELD_ASCII, 0, 23, "Time Digitized"},
    {37121, TIFF_FIELD_UNDEFINED, 0, 200, "Components Config"},
    {37122, TIFF_FIELD_RATIONAL, 1, 201, "Compressed Bits/Pixel"},
    {37121, TIFF_FIELD_UNDEFINED, 0, 200, "Components Config"},
    {37377, TIFF_FIELD_SRATIONAL, 1, 24, "Exposure (APEX)"},
    {37378, TIFF_FIELD_RATIONAL, 1, 25, "Aperture (APEX)"},
    {37379, TIFF_FIELD_SRATIONAL, 1, 26, "Brightness (APEX)"},
    {37380, TIFF_FIELD_SRATIONAL, 1, 27, "Exposure Bias (stops)"},
    {37381, TIFF_FIELD_RATIONAL, 1, 28, "Max Aperture (APEX)"},
    {37382, TIFF_FIELD_RATIONAL, 1, 29, "Subject Dist (m)"},
    {37383, TIFF_FIELD_SHORT, 1, 30, "Metering Mode"},
    {37384, TIFF_FIELD_SHORT, 1, 31, "Light Source"},
    {37385, TIFF_FIELD_SHORT, 1, 32, "Flash"},
    {37396, TIFF_FIELD_SHORT, 1, 202, "Subject Area"},
    {37386, TIFF_FIELD_RATIONAL, 1, 33, "Focal Length (mm)"},
    {37500, TIFF_FIELD_UNDEFINED, 0, 36, "Maker Note"},
    {37510, TIFF_FIELD_UNDEFINED, 0, 37, "User Comment"},
    {37520, TIFF_FIELD_ASCII, 0, 38, "Time sec"},
    {37521, TIFF_FIELD_ASCII, 0, 39, "Time Captured sec"},
    {37522, TIFF_FIELD_ASCII, 0, 40, "Time Digitized sec"},
    {40960, TIFF_FIELD_UNDEFINED, 0, 158, "FPX Version"},
    {40961, TIFF_FIELD_SHORT, 1, 159, "Color Space"},
    {40962, TIFF_FIELD_SHORT, 1, 203, "Pixel X Dim"},
    {40963, TIFF_FIELD_SHORT, 1, 204, "Pixel Y Dim"},
    {40964, TIFF_FIELD_ASCII, 0, 164, "Sound File"},
    {41483, TIFF_FIELD_RATIONAL, 1, 165, "Flash Energy"},
    {41484, TIFF_FIELD_UNDEFINED, 0, 166, "Spatial Freq Resp"},
    {41486, TIFF_FIELD_RATIONAL, 1, 167, "Horizontal Res"},
    {41487, TIFF_FIELD_RATIONAL, 1, 167, "Horizontal Res"},
    {41488, TIFF_FIELD_SHORT, 1, 205, "Res Units"},
    {41492, TIFF_FIELD_SHORT, 2, 169, "Subject Location"},
    {41493, TIFF_FIELD_RATIONAL, 1, 170, "Exposure Index"},
    {41495, TIFF_FIELD_SHORT, 1, 171, "Sensing Method"},
    {41728, TIFF_FIELD_UNDEFINED, 0, 172, "File Source"},
    {41729, TIFF_FIELD_UNDEFINED, 0, 173, "Scene Type"},
    {41730, TIFF_FIELD_UNDEFINED, 0, 174, "CFA Pattern"},
    {41985, TIFF_FIELD_SHORT, 1, 206, "Custom Rendered"},
    {41986, TIFF_FIELD_SHORT, 1, 207, "Exposure Mode"},
    {41987, TIFF_FIELD_SHORT, 1, 208, "White Balance"},
    {41988, TIFF_FIELD_RATIONAL, 1, 209, "Digital Zoom"},
    {41989, TIFF_FIELD_SHORT, 1, 210, "Equiv 35mm FL"},
    {41990, TIFF_FIELD_SHORT, 1, 211, "Scene Capture"},
    {41991, TIFF_FIELD_SHORT, 1, 212, "Gain"},
    {41992, TIFF_FIELD_SHORT, 1, 213, "Contrast"},
    {41993, TIFF_FIELD_SHORT, 1, 214, "Saturation"},
    {41994, TIFF_FIELD_SHORT, 1, 215, "Sharpness"},
    {41995, TIFF_FIELD_UNDEFINED, 0, 216, "Device Setting"},
    {41996, TIFF_FIELD_SHORT, 1, 217, "Subj Dist Range"},
    {42016, TIFF_FIELD_ASCII, 0, 218, "Unique ID"},
};
const int TIFF_EXIF_TAG_COUNT = sizeof TIFF_EXIF_TAGS / sizeof TIFF_EXIF_TAGS[0];

// The GPS directory in writing order.
const TiffTagEntry TIFF_GPS_TAGS[] = {
    {0, TIFF_FIELD_BYTE, 0, 41, "GPS Version"},
    {1, TIFF_FIELD_ASCII, 0, 42, "GPS Lat N/S"},
    {2, TIFF_FIELD_RATIONAL, 3, 43, "GPS Lat"},
    {3, TIFF_FIELD_ASCII, 0, 44, "GPS Long E/W"},
    {4, TIFF_FIELD_RATIONAL, 3, 45, "GPS Long"},
    {5, TIFF_FIELD_BYTE, 0, 46, "GPS Alt Sign"},
    {6, TIFF_FIELD_RATIONAL, 1, 47, "GPS Alt"},
    {7, TIFF_FIELD_RATIONAL, 1, 48, "GPS Time"},
    {8, TIFF_FIELD_ASCII, 0, 49, "GPS Satellites"},
    {9, TIFF_FIELD_ASCII, 0, 50, "GPS Status"},
    {10, TIFF_FIELD_ASCII, 0, 51, "GPS Measurement Mode"},
    {11, TIFF_FIELD_RATIONAL, 1, 52, "GPS Precision"},
    {12, TIFF_FIELD_ASCII, 0, 53, "GPS Speed K/M"},
    {13, TIFF_FIELD_RATIONAL, 1, 54, "GPS Speed"},
    {14, TIFF_FIELD_ASCII, 0, 55, "GPS Track M/T"},
    {15, TIFF_FIELD_RATIONAL, 1, 56, "GPS Track"},
    {16, TIFF_FIELD_ASCII, 0, 57, "GPS Image Direction M/T"},
    {17, TIFF_FIELD_RATIONAL, 1, 58, "GPS Image Direction"},
    {18, TIFF_FIELD_ASCII, 0, 59, "GPS Survey Data"},
    {19, TIFF_FIELD_ASCII, 0, 60, "GPS Dest Lat N/S"},
    {20, TIFF_FIELD_RATIONAL, 3, 61, "GPS Dest Lat"},
    {21, TIFF_FIELD_ASCII, 0, 62, "GPS Dest Long E/W"},
    {22, TIFF_FIELD_RATIONAL, 3, 63, "GPS Dest Long"},
    {23, TIFF_FIELD_ASCII, 0, 64, "GPS Dest Bearing M/T"},
    {24, TIFF_FIELD_RATIONAL, 1, 65, "GPS Dest Bearing"},
    {25, TIFF_FIELD_ASCII, 0, 66, "GPS Dest Dist K/M"},
    {26, TIFF_FIELD_RATIONAL, 1, 67, "GPS Dest Dist"},
    // Read from files of others and written back, so that a save loses none of a file's GPS.
    {27, TIFF_FIELD_UNDEFINED, 0, 219, "GPS Processing Method"},
    {28, TIFF_FIELD_UNDEFINED, 0, 220, "GPS Area Info"},
    {29, TIFF_FIELD_ASCII, 0, 221, "GPS Date"},
    {30, TIFF_FIELD_SHORT, 1, 222, "GPS Differential"},
};
const int TIFF_GPS_TAG_COUNT = sizeof TIFF_GPS_TAGS / sizeof TIFF_GPS_TAGS[0];

// Where reading names a field differently from the tables: the vertical focal plane
// resolution keeps an id of its own, and the latitude shares the id of its N/S reference,
// told apart by its name. The writers look for these comments first (TiffTagComment).
static const TiffTagEntry EXIF_READ_NAMES[] = {
    {41487, TIFF_FIELD_RATIONAL, 1, 168, "Vertical Res"},
};
static const TiffTagEntry GPS_READ_NAMES[] = {
    {2, TIFF_FIELD_RATIONAL, 3, 42, "GPS Lat"},
};

// The reading names of a tag, or null. EXIF and GPS tags never share a number.
static const TiffTagEntry *ReadNameOf(int tag)
{
    for (const TiffTagEntry &own : EXIF_READ_NAMES)
        if (own.tag == tag) return &own;
    for (const TiffTagEntry &own : GPS_READ_NAMES)
        if (own.tag == tag) return &own;
    return nullptr;
}

// Whether comment is what reading names the field of own.
static int IsReadNameOf(const FileComment *comment, const TiffTagEntry *own)
{
    return own->id == comment->id && strcmp(own->name, comment->name) == 0;
}

// Whether comment is what reading names the field of any tag.
static int IsReadName(const FileComment *comment)
{
    for (const TiffTagEntry &own : EXIF_READ_NAMES)
        if (IsReadNameOf(comment, &own)) return 1;
    for (const TiffTagEntry &own : GPS_READ_NAMES)
        if (IsReadNameOf(comment, &own)) return 1;
    return 0;
}

const FileComment *TiffTagComment(const FileComment *comments, const TiffTagEntry *row)
{
    const TiffTagEntry *own = ReadNameOf(row->tag);
    for (const FileComment *c = comments; c != nullptr && own != nullptr; c = c->next)
        if (IsReadNameOf(c, own)) return c;
    // A comment read under a name of its own stands for its own tag: the latitude, read under
    // the id of its reference, is no reference.
    for (const FileComment *c = comments; c != nullptr; c = c->next)
        if (c->id == row->id && !IsReadName(c)) return c;
    return nullptr;
}

void TiffTagWriteForm(const TiffTagEntry *row, int length, int *fieldType, uint32_t *count)
{
    *fieldType = row->fieldType;
    *count = (uint32_t)(length > 0 ? length : 0);
    switch (row->fieldType) {
    case TIFF_FIELD_SHORT:
        // The pixel dimensions may be LONG in a file, and a comment keeps four bytes of such
        // a value. No other field of the tables is ever LONG.
        if ((row->tag == 40962 || row->tag == 40963) && length == 4) {
            *fieldType = TIFF_FIELD_LONG;
            *count = 1;
            return;
        }
        *count = (uint32_t)(length / 2);
        break;
    case TIFF_FIELD_RATIONAL:
    case TIFF_FIELD_SRATIONAL: *count = (uint32_t)(length / 8); break;
    default: return;
    }
    if (*count < (uint32_t)row->count) *count = (uint32_t)row->count;
}

// The descriptive fields of the main directory, with the flags a read gives them.
struct MainTag {
    int32_t tag;
    const char *name;
    int32_t id;
    int32_t flags; // COMMENT_MAIN, with bits 2 and 4 on some fields
};

static const MainTag MAIN_TAGS[] = {
    {270, "Description", 3, 7}, {271, "Make", 5, 3},        {272, "Model", 6, 1},
    {305, "Software", 9, 1},    {306, "Date/Time", 2, 3},   {315, "Artist", 0, 3},
    {316, "Computer", 4, 1},    {33432, "Copyright", 1, 3},
};

static const int TAG_EXIF_DIRECTORY = 34665;
static const int TAG_GPS_DIRECTORY = 34853;
static const int TIFF_HEADER_BYTES = 8;
static const int TIFF_ENTRY_BYTES = 12;
static const int TIFF_VERSION = 42;

enum : int32_t {
    DIRECTORY_MAIN = 0,
    DIRECTORY_EXIF = 1,
    DIRECTORY_GPS = 2,
};

// The state of one walk over a file.
struct CommentReader {
    FileHandle file;
    int64_t fileSize;
    int littleEndian;
    int32_t scalar;      // the scalar of the last entry, which some field types keep
    int64_t bytesBudget; // value bytes the comments may still take
    Picture *picture;
    int64_t exifOffset; // -1 until the main directory names one
    int64_t gpsOffset;
};

// Bytes of one value of a field type; 0 for a type whose size we cannot know. The unknown
// type 0 is taken as bytes, like the types it is read with.
static int FieldUnitBytes(int type)
{
    switch (type) {
    case 0:
    case TIFF_FIELD_BYTE:
    case TIFF_FIELD_ASCII:
    case TIFF_FIELD_SBYTE:
    case TIFF_FIELD_UNDEFINED: return 1;
    case TIFF_FIELD_SHORT:
    case TIFF_FIELD_SSHORT: return 2;
    case TIFF_FIELD_LONG:
    case TIFF_FIELD_SLONG:
    case TIFF_FIELD_FLOAT: return 4;
    case TIFF_FIELD_RATIONAL:
    case TIFF_FIELD_SRATIONAL:
    case TIFF_FIELD_DOUBLE: return 8;
    default: return 0;
    }
}

// The scalar every entry yields by its field type. Types without a scalar of their own keep
// the one of the previous entry, as every directory walk of ours does.
static void EntryScalar(CommentReader *reader, const uint8_t *entry)
{
    int type = BytesGet16(entry, 2, reader->littleEndian);
    switch (type) {
    case TIFF_FIELD_BYTE:
    case TIFF_FIELD_SBYTE:
    case TIFF_FIELD_UNDEFINED: reader->scalar = (int8_t)entry[8]; break;
    case TIFF_FIELD_ASCII: reader->scalar = 0; break;
    case TIFF_FIELD_SHORT:
        reader->scalar = (int16_t)BytesGet16(entry, 8, reader->littleEndian);
        break;
    case TIFF_FIELD_LONG:
    case TIFF_FIELD_RATIONAL:
    case TIFF_FIELD_DOUBLE:
        // A rational's and a double's scalar is the offset of the value.
        reader->scalar = (int32_t)BytesGet32(entry, 8, reader->littleEndian);
        break;
    default: break;
    }
}

// Turns the value's numbers from the file's byte order into ours, unit by unit.
static void ValueToNative(uint8_t *bytes, size_t size, int type, int littleEndian)
{
    int unit = FieldUnitBytes(type);
    // Rationals are two 32-bit halves; each half is converted on its own.
    if (type == TIFF_FIELD_RATIONAL || type == TIFF_FIELD_SRATIONAL) unit = 4;
    if (unit == 2) {
        for (size_t i = 0; i + 2 <= size; i += 2) {
            uint16_t value = BytesGet16(bytes, (int64_t)i, littleEndian);
            memcpy(bytes + i, &value, 2);
        }
    } else if (unit == 4) {
        for (size_t i = 0; i + 4 <= size; i += 4) {
            uint32_t value = BytesGet32(bytes, (int64_t)i, littleEndian);
            memcpy(bytes + i, &value, 4);
        }
    } else if (unit == 8) {
        for (size_t i = 0; i + 8 <= size; i += 8) {
            // The first word in the file is the low one in little-endian order.
            uint64_t first = BytesGet32(bytes, (int64_t)i, littleEndian);
            uint64_t second = BytesGet32(bytes, (int64_t)i + 4, littleEndian);
            uint64_t value = littleEndian ? (second << 32) | first : (first << 32) | second;
            memcpy(bytes + i, &value, 8);
        }
    }
}

void TiffUserCommentToLittleEndian(int tag, uint8_t *value, int64_t size)
{
    static const char UNICODE[8] = {'U', 'N', 'I', 'C', 'O', 'D', 'E', 0};
    if (tag != 37510 || size < 8 || memcmp(value, UNICODE, 8) != 0) return;
    for (int64_t i = 8; i + 2 <= size; i += 2) {
        uint8_t high = value[i];
        value[i] = value[i + 1];
        value[i + 1] = high;
    }
}

// Adds the field of one entry under name, id and flags, with its numbers in native order.
// A field whose value lies outside the file, is larger than what the comments may still
// take, or finds no memory is dropped.
static void CommentsAddField(CommentReader *reader, const uint8_t *entry, const char *name, int id,
                             int flags)
{
    int type = BytesGet16(entry, 2, reader->littleEndian);
    uint32_t count = BytesGet32(entry, 4, reader->littleEndian);
    int unit = FieldUnitBytes(type);
    size_t size;
    uint8_t *value = nullptr;

    if (unit == 0) return;
    if (!SizeMultiply(count, (size_t)unit, &size)) return;
    if ((int64_t)size > reader->bytesBudget || size > INT32_MAX) return;

    // One spare byte, so that an empty value still has memory behind its pointer.
    value = (uint8_t *)MemoryAlloc(size + 1);
    if (value == nullptr) return;
    if (size <= 4) {
        // Up to four bytes stand in the entry itself.
        memcpy(value, entry + 8, size);
    } else {
        int64_t offset = BytesGet32(entry, 8, reader->littleEndian);
        if (offset > reader->fileSize - (int64_t)size ||
            FileSeek(reader->file, offset) != ERROR_NONE ||
            FileReadExact(reader->file, value, (int64_t)size) != ERROR_NONE) {
            MemoryFree(value);
            return;
        }
    }
    ValueToNative(value, size, type, reader->littleEndian);
    if (!reader->littleEndian)
        TiffUserCommentToLittleEndian(BytesGet16(entry, 0, reader->littleEndian), value,
                                      (int64_t)size);
    // A memory failure drops the field and the walk goes on.
    if (AddFileComment(reader->picture, name, id, (int)size, flags, value) == ERROR_NONE)
        reader->bytesBudget -= (int64_t)size;
    MemoryFree(value);
}

// The entry of table for tag, with the reader's own names taking precedence; null if the
// tag is not in the table.
static const TiffTagEntry *FindTag(const TiffTagEntry *table, int count,
                                   const TiffTagEntry *readNames, int readCount, int tag)
{
    for (int i = 0; i < readCount; i++)
        if (readNames[i].tag == tag) return &readNames[i];
    for (int i = 0; i < count; i++)
        if (table[i].tag == tag) return &table[i];
    return nullptr;
}

// The field of an EXIF or GPS entry, or null when the tag is not one of ours.
static const TiffTagEntry *DirectoryTag(int directory, int tag)
{
    if (directory == DIRECTORY_EXIF)
        return FindTag(TIFF_EXIF_TAGS, TIFF_EXIF_TAG_COUNT, EXIF_READ_NAMES,
                       (int)(sizeof EXIF_READ_NAMES / sizeof EXIF_READ_NAMES[0]), tag);
    return FindTag(TIFF_GPS_TAGS, TIFF_GPS_TAG_COUNT, GPS_READ_NAMES,
                   (int)(sizeof GPS_READ_NAMES / sizeof GPS_READ_NAMES[0]), tag);
}

// Walks the directory at offset and adds the fields of ours in file order. Only the entries
// that lie wholly inside the file are looked at.
static void CommentsWalkDirectory(CommentReader *reader, int64_t offset, int directory)
{
    uint8_t countBytes[2];
    uint8_t *entries = nullptr;
    int64_t count;

    if (offset < 0 || offset > reader->fileSize - 2) return;
    if (FileSeek(reader->file, offset) != ERROR_NONE) return;
    if (FileReadExact(reader->file, countBytes, 2) != ERROR_NONE) return;
    count = BytesGet16(countBytes, 0, reader->littleEndian);
    if (count > (reader->fileSize - offset - 2) / TIFF_ENTRY_BYTES)
        count = (reader->fileSize - offset - 2) / TIFF_ENTRY_BYTES;
    if (count == 0) return;

    // The directory is read whole, so that reading a value elsewhere costs no seek back.
    entries = (uint8_t *)MemoryAlloc((size_t)count * TIFF_ENTRY_BYTES);
    if (entries == nullptr) return;
    if (FileReadExact(reader->file, entries, count * TIFF_ENTRY_BYTES) != ERROR_NONE) {
        MemoryFree(entries);
        return;
    }
    for (int64_t i = 0; i < count; i++) {
        const uint8_t *entry = entries + i * TIFF_ENTRY_BYTES;
        int tag = BytesGet16(entry, 0, reader->littleEndian);
        EntryScalar(reader, entry);
        if (directory == DIRECTORY_MAIN) {
            if (tag == TAG_EXIF_DIRECTORY) reader->exifOffset = (uint32_t)reader->scalar;
            if (tag == TAG_GPS_DIRECTORY) reader->gpsOffset = (uint32_t)reader->scalar;
            for (const MainTag &main : MAIN_TAGS)
                if (main.tag == tag)
                    CommentsAddField(reader, entry, main.name, main.id, main.flags);
        } else {
            // Every EXIF and GPS field is marked as EXIF, the GPS ones too: that is how our
            // files have always been read, and the writer counts them so.
            const TiffTagEntry *field = DirectoryTag(directory, tag);
            if (field != nullptr)
                CommentsAddField(reader, entry, field->name, field->id, COMMENT_EXIF);
        }
    }
    MemoryFree(entries);
}

ErrorCode ReadTiffComments(const char *path, Picture *picture)
{
    ErrorCode result = ERROR_NONE;
    CommentReader reader = {};
    uint8_t header[TIFF_HEADER_BYTES];

    reader.file = FILE_HANDLE_NONE;
    reader.picture = picture;
    reader.exifOffset = -1;
    reader.gpsOffset = -1;
    result = FileOpenRead(path, &reader.file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(reader.file, &reader.fileSize) != ERROR_NONE ||
        FileReadExact(reader.file, header, TIFF_HEADER_BYTES) != ERROR_NONE) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    if (header[0] != header[1] || (header[0] != 'I' && header[0] != 'M')) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    reader.littleEndian = header[0] == 'I';
    // Another version is not a classic TIFF, and its directories would be misread.
    if (BytesGet16(header, 2, reader.littleEndian) != TIFF_VERSION) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    // In a sound file the values of all fields together take no more than the file.
    reader.bytesBudget = reader.fileSize;

    // Each directory is walked once, whatever the offsets say, so a loop of directories
    // costs one extra walk at most.
    CommentsWalkDirectory(&reader, BytesGet32(header, 4, reader.littleEndian), DIRECTORY_MAIN);
    if (reader.exifOffset >= 0) CommentsWalkDirectory(&reader, reader.exifOffset, DIRECTORY_EXIF);
    if (reader.gpsOffset >= 0) CommentsWalkDirectory(&reader, reader.gpsOffset, DIRECTORY_GPS);
done:
    FileClose(&reader.file);
    return result;
}
