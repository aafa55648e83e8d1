// EXIF through exiv2, in both directions. exiv2 parses and builds the TIFF structure of the
// block; which field becomes which comment is ours, and follows our TIFF comment reader to
// the byte: the same eight main-directory fields with the same flags, the EXIF and GPS tables
// with their names and ids, the reader's own names for three fields, flags 8 for every EXIF
// and GPS field, and numbers in native order with text and bytes as the file holds them.
//
// exiv2 reports trouble by throwing. The two entry points below are the only places that
// call it, and each catches everything, so no exception leaves this file.
#include "files/Metadata.h"

#include <cstring>

// exiv2 0.27's headers use std::auto_ptr, which C++20 deprecates; the warning is theirs.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>
#pragma GCC diagnostic pop

#include "core/Memory.h"
#include "core/Orient.h"
#include "files/RasterInput.h"
#include "files/TiffComments.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

enum : int32_t {
    GROUP_MAIN = 0,
    GROUP_EXIF = 1,
    GROUP_GPS = 2,
    GROUP_COUNT = 3,
};

// exiv2's names of the three directories, by GROUP_*.
static const char *const GROUP_NAMES[GROUP_COUNT] = {"Image", "Photo", "GPSInfo"};

static const double METADATA_CENTIMETRE_FACTOR = 2.540005; // the program's inches per cm

// A field of the main directory as the comment reader names it and the writers place it.
struct MetadataMainField {
    int32_t tag;
    const char *name;
    int32_t id;
    int32_t flags; // as a read gives them: COMMENT_MAIN with bits 2 and 4 on some
    int32_t read;  // 1 when a read makes a comment of it, 0 when only a save writes it
};

// The main directory's descriptive fields. The first eight are those our TIFF comment reader
// makes comments of, with its flags; DocumentName and PageName are written from comments 7
// and 8 (a PNG title, for one) but, as from a TIFF file, never read.
static const MetadataMainField MAIN_FIELDS[] = {
    {270, "Description", 3, 7, 1}, {271, "Make", 5, 3, 1},        {272, "Model", 6, 1, 1},
    {305, "Software", 9, 1, 1},    {306, "Date/Time", 2, 3, 1},   {315, "Artist", 0, 3, 1},
    {316, "Computer", 4, 1, 1},    {33432, "Copyright", 1, 3, 1}, {269, "DocumentName", 7, 1, 0},
    {285, "PageName", 8, 1, 0},
};

// Fields the TIFF comment reader names apart from the writer's tables: the vertical focal
// plane resolution has an id of its own, and the latitude shares the id of its N/S reference.
// A save writes both back under their own tags, so that nothing read is lost.
static const TiffTagEntry EXIF_OWN_FIELDS[] = {
    {41487, TIFF_FIELD_RATIONAL, 1, 168, "Vertical Res"},
};
static const TiffTagEntry GPS_OWN_FIELDS[] = {
    {2, TIFF_FIELD_RATIONAL, 3, 42, "GPS Lat"},
};
static const int EXIF_OWN_COUNT = (int)(sizeof EXIF_OWN_FIELDS / sizeof EXIF_OWN_FIELDS[0]);
static const int GPS_OWN_COUNT = (int)(sizeof GPS_OWN_FIELDS / sizeof GPS_OWN_FIELDS[0]);

// Where a comment goes in a block.
struct MetadataPlace {
    int32_t group; // GROUP_*
    int32_t tag;
    int32_t fieldType; // TIFF field type the tables give
    int32_t count;     // values, or 0 for "the value's length"
};

static Exiv2::ByteOrder NativeOrder(void)
{
    const uint16_t one = 1;
    uint8_t first;
    memcpy(&first, &one, 1);
    return first == 1 ? Exiv2::littleEndian : Exiv2::bigEndian;
}

// The table entry for tag, looking at the reader's own names first; null when none.
static const TiffTagEntry *FindByTag(const TiffTagEntry *own, int ownCount,
                                     const TiffTagEntry *table, int count, int tag)
{
    for (int i = 0; i < ownCount; i++)
        if (own[i].tag == tag) return &own[i];
    for (int i = 0; i < count; i++)
        if (table[i].tag == tag) return &table[i];
    return nullptr;
}

// The comment a field of a group becomes: name, id and flags. 0 when it is not one of ours.
static int MetadataReadField(int group, int tag, const char **name, int *id, int *flags)
{
    const TiffTagEntry *entry = nullptr;
    if (group == GROUP_MAIN) {
        for (const MetadataMainField &main : MAIN_FIELDS)
            if (main.read && main.tag == tag) {
                *name = main.name;
                *id = main.id;
                *flags = main.flags;
                return 1;
            }
        return 0;
    }
    // The GPS read-only fields stand among the reader's own names; the latitude's name comes
    // first, as the reader takes it.
    if (group == GROUP_EXIF)
        entry =
            FindByTag(EXIF_OWN_FIELDS, EXIF_OWN_COUNT, TIFF_EXIF_TAGS, TIFF_EXIF_TAG_COUNT, tag);
    else
        entry = FindByTag(GPS_OWN_FIELDS, GPS_OWN_COUNT, TIFF_GPS_TAGS, TIFF_GPS_TAG_COUNT, tag);
    if (entry == nullptr) return 0;
    *name = entry->name;
    *id = entry->id;
    *flags = COMMENT_EXIF; // GPS fields too, as every read of ours marks them
    return 1;
}

// The place of a comment in a block, by its id; the name tells the two comments of id 42
// apart. 0 for a comment that has none.
static int MetadataWritePlace(const FileComment *comment, MetadataPlace *place)
{
    for (const MetadataMainField &main : MAIN_FIELDS)
        if (main.id == comment->id) {
            *place = {GROUP_MAIN, main.tag, TIFF_FIELD_ASCII, 0};
            return 1;
        }
    struct Directory {
        int32_t group;
        const TiffTagEntry *own;
        int32_t ownCount;
        const TiffTagEntry *table;
        int32_t count;
    };
    const Directory directories[2] = {
        {GROUP_EXIF, EXIF_OWN_FIELDS, EXIF_OWN_COUNT, TIFF_EXIF_TAGS, TIFF_EXIF_TAG_COUNT},
        {GROUP_GPS, GPS_OWN_FIELDS, GPS_OWN_COUNT, TIFF_GPS_TAGS, TIFF_GPS_TAG_COUNT},
    };
    for (const Directory &directory : directories) {
        for (int i = 0; i < directory.ownCount; i++) {
            const TiffTagEntry *own = &directory.own[i];
            if (own->id == comment->id && strcmp(own->name, comment->name) == 0) {
                *place = {directory.group, own->tag, own->fieldType, own->count};
                return 1;
            }
        }
        // The first entry of an id wins: the components configuration and the horizontal
        // resolution give one field each here, where the TIFF writer makes two.
        for (int i = 0; i < directory.count; i++) {
            const TiffTagEntry *entry = &directory.table[i];
            if (entry->id == comment->id) {
                *place = {directory.group, entry->tag, entry->fieldType, entry->count};
                return 1;
            }
        }
        for (int i = 0; i < directory.ownCount; i++) {
            const TiffTagEntry *own = &directory.own[i];
            if (own->id == comment->id && own->id != 42) {
                *place = {directory.group, own->tag, own->fieldType, own->count};
                return 1;
            }
        }
    }
    return 0;
}

// The type under which a comment's bytes are written, all of them. A comment keeps no field
// type; the TIFF writer's rule tells a pixel dimension that was a LONG in its file
// (TiffTagWriteForm). 0 when the length fits no reading of the field.
static int MetadataWriteType(const MetadataPlace *place, int length, Exiv2::TypeId *type,
                             long *bytes)
{
    const TiffTagEntry row = {place->tag, place->fieldType, place->count, 0, ""};
    int fieldType;
    uint32_t count;
    TiffTagWriteForm(&row, length, &fieldType, &count);
    *bytes = length;
    switch (place->fieldType) {
    case TIFF_FIELD_ASCII: *type = Exiv2::asciiString; return 1;
    case TIFF_FIELD_BYTE: *type = Exiv2::unsignedByte; return length > 0;
    case TIFF_FIELD_UNDEFINED: *type = Exiv2::undefined; return length > 0;
    case TIFF_FIELD_SHORT:
        if (fieldType == TIFF_FIELD_LONG) {
            *type = Exiv2::unsignedLong;
            return 1;
        }
        *type = Exiv2::unsignedShort;
        return length > 0 && length % 2 == 0;
    case TIFF_FIELD_RATIONAL: *type = Exiv2::unsignedRational; return length > 0 && length % 8 == 0;
    case TIFF_FIELD_SRATIONAL: *type = Exiv2::signedRational; return length > 0 && length % 8 == 0;
    default: return 0;
    }
}

// Orientation and resolution of the main directory.
static void MetadataPictureRead(const Exiv2::ExifData &data, MetadataPicture *picture)
{
    Exiv2::ExifData::const_iterator field = data.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
    if (field != data.end() && field->count() >= 1 &&
        (field->typeId() == Exiv2::unsignedShort || field->typeId() == Exiv2::unsignedLong)) {
        long orientation = field->toLong(0);
        if (orientation >= 1 && orientation <= 8) picture->orientation = (int32_t)orientation;
    }
    field = data.findKey(Exiv2::ExifKey("Exif.Image.XResolution"));
    if (field == data.end() || field->count() < 1 || field->typeId() != Exiv2::unsignedRational)
        return;
    Exiv2::Rational resolution = field->toRational(0);
    if (resolution.first <= 0 || resolution.second <= 0) return;
    // Without a unit TIFF means inches; unit 1 means no absolute size at all.
    long unit = 2;
    field = data.findKey(Exiv2::ExifKey("Exif.Image.ResolutionUnit"));
    if (field != data.end() && field->count() >= 1 && field->typeId() == Exiv2::unsignedShort)
        unit = field->toLong(0);
    double dpi = (double)resolution.first / (double)resolution.second;
    if (unit == 2) picture->resolution = dpi;
    if (unit == 3) picture->resolution = dpi * METADATA_CENTIMETRE_FACTOR;
}

ErrorCode MetadataReadExif(const uint8_t *block, size_t size, FileComment **comments,
                           MetadataPicture *picture)
{
    ErrorCode result = ERROR_NONE;
    FileComment *read = nullptr;
    uint8_t *value = nullptr;
    const Exiv2::ByteOrder native = NativeOrder();

    picture->orientation = 1;
    picture->resolution = 0.0;
    // A TIFF header is 8 bytes; anything shorter or absurdly long is no block of ours.
    if (block == nullptr || size < 8 || size > METADATA_MAX_BLOCK) return ERROR_READ_COMMENTS;
    // No value is larger than the block it came in; one buffer serves them all, with room
    // for the zero after the last byte.
    value = (uint8_t *)MemoryAlloc(size + 1);
    if (value == nullptr) return ERROR_NO_MEMORY;

    try {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::ExifData data;
        Exiv2::ByteOrder fileOrder = Exiv2::ExifParser::decode(data, block, (uint32_t)size);
        // As in a TIFF read, the values kept for all comments together never exceed the
        // block, however many entries point at one value.
        int64_t budget = (int64_t)size;
        // The comment reader walks the main directory, then EXIF, then GPS: so do we, each
        // in the order exiv2 keeps, which is the file's.
        for (int group = 0; group < GROUP_COUNT && result == ERROR_NONE; group++) {
            for (const Exiv2::Exifdatum &datum : data) {
                const char *name;
                int id;
                int flags;
                if (datum.groupName() != GROUP_NAMES[group]) continue;
                if (!MetadataReadField(group, datum.tag(), &name, &id, &flags)) continue;
                // exiv2 reads a user comment as a type of its own; in the file it is
                // UNDEFINED, kept as bytes. Types beyond the twelve of TIFF are not ours.
                Exiv2::TypeId type = datum.typeId();
                int numeric = type != Exiv2::asciiString && type != Exiv2::unsignedByte &&
                              type != Exiv2::signedByte && type != Exiv2::undefined;
                if (type == Exiv2::comment)
                    numeric = 0;
                else if (type < Exiv2::unsignedByte || type > Exiv2::tiffDouble)
                    continue;
                long bytes = datum.size();
                if (bytes < 0 || bytes > budget || bytes > (long)size) continue;
                // Numbers in native order; text and bytes, a Unicode user comment among
                // them, exactly as the file has them.
                if (bytes > 0 && datum.copy(value, numeric ? native : fileOrder) != bytes) continue;
                value[bytes] = 0;
                if (fileOrder == Exiv2::bigEndian && group == GROUP_EXIF)
                    TiffUserCommentToLittleEndian(datum.tag(), value, bytes);
                result = FileCommentAppend(&read, name, id, (int)bytes, flags, value);
                if (result != ERROR_NONE) break;
                budget -= bytes;
            }
        }
        if (result == ERROR_NONE) MetadataPictureRead(data, picture);
    } catch (...) {
        // exiv2's own errors, and std::bad_alloc from its containers: the block is refused.
        result = ERROR_READ_COMMENTS;
    }
    MemoryFree(value);
    if (result != ERROR_NONE) {
        FreeFileComments(&read);
        picture->orientation = 1;
        picture->resolution = 0.0;
        return result;
    }
    // The new comments go to the end of the list, all of them or none.
    while (*comments != nullptr)
        comments = &(*comments)->next;
    *comments = read;
    return ERROR_NONE;
}

// Adds one comment to data at its place, unless a comment before it took that place.
static void MetadataAddComment(Exiv2::ExifData *data, const FileComment *comment,
                               Exiv2::ByteOrder native)
{
    MetadataPlace place;
    Exiv2::TypeId type;
    long bytes;
    if (!MetadataWritePlace(comment, &place)) return;
    if (!MetadataWriteType(&place, comment->length, &type, &bytes)) return;
    Exiv2::ExifKey key((uint16_t)place.tag, GROUP_NAMES[place.group]);
    if (data->findKey(key) != data->end()) return;
    // A text that does not end in its terminator takes the zero that follows every value.
    if (type == Exiv2::asciiString && (bytes == 0 || comment->value[bytes - 1] != 0)) bytes++;
    Exiv2::Value::AutoPtr value = Exiv2::Value::create(type);
    value->read(comment->value, bytes, native);
    data->add(key, value.get());
}

ErrorCode MetadataWriteExif(const FileComment *comments, int jpegDensity, size_t maxSize,
                            ErrorCode failure, uint8_t **block, size_t *size)
{
    ErrorCode result = ERROR_NONE;
    const Exiv2::ByteOrder native = NativeOrder();

    *block = nullptr;
    *size = 0;
    try {
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::ExifData data;
        Exiv2::Blob blob;
        for (const FileComment *comment = comments; comment != nullptr; comment = comment->next)
            MetadataAddComment(&data, comment, native);
        // The picture's own fields come from the picture, not from comments: JFIF's density
        // in inches, and centred chroma, which is what JFIF means.
        if (!data.empty() && jpegDensity > 0) {
            Exiv2::URational density((uint32_t)jpegDensity, 1);
            data["Exif.Image.XResolution"] = density;
            data["Exif.Image.YResolution"] = density;
            data["Exif.Image.ResolutionUnit"] = (uint16_t)2;
            data["Exif.Image.YCbCrPositioning"] = (uint16_t)1;
        }
        if (!data.empty()) Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, data);
        // A maker note can be large enough to burst a JPEG segment; the picture and the
        // other fields matter more, so it goes first, and if that does not help, the block.
        if (blob.size() > maxSize) {
            Exiv2::ExifData::iterator note = data.findKey(Exiv2::ExifKey("Exif.Photo.MakerNote"));
            if (note != data.end()) {
                data.erase(note);
                blob.clear();
                Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, data);
            }
        }
        if (!blob.empty() && blob.size() <= maxSize) {
            *block = (uint8_t *)MemoryAlloc(blob.size());
            if (*block == nullptr) {
                result = ERROR_NO_MEMORY;
            } else {
                memcpy(*block, blob.data(), blob.size());
                *size = blob.size();
            }
        }
    } catch (...) {
        result = failure;
    }
    if (result != ERROR_NONE) {
        MemoryRelease(block);
        *size = 0;
    }
    return result;
}

// The Orient code that shows an EXIF orientation (1 to 8) in Image rows, counted from the
// bottom, as EXIF means it (the same reading as for TIFF files through libtiff).
static const int METADATA_ORIENT_CODES[9] = {0, 0, 4, 2, 6, 5, 1, 7, 3};

ErrorCode MetadataHandOver(Picture *picture, int orientation, FileDamage *damage,
                           FileComment **comments, uint8_t **profile, int32_t profileSize)
{
    if (orientation > 1 && orientation <= 8) {
        Image oriented;
        ImageClear(&oriented);
        ErrorCode result =
            OrientImageCode(&picture->image, &oriented, METADATA_ORIENT_CODES[orientation], 0);
        if (result != ERROR_NONE) {
            ImageFree(&oriented);
            return result;
        }
        if (damage != nullptr)
            FileDamageOrient(damage, METADATA_ORIENT_CODES[orientation], picture->image.height);
        ImageFree(&picture->image);
        picture->image = oriented; // the turned picture takes the record's place
    }
    FileComment **end = &picture->comments;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = *comments;
    *comments = nullptr;
    MemoryRelease(&picture->profile);
    picture->profile = *profile;
    picture->profileSize = *profile != nullptr ? profileSize : 0;
    *profile = nullptr;
    return ERROR_NONE;
}
