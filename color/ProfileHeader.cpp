// ICC profile header readers. Profiles are big-endian; the tag table starts at 132 with 12
// bytes a tag (signature, offset, size) after its count at 128. Each reader takes the bytes
// as hostile: a count or offset from the profile is used only after it is checked against
// the profile's length.
#include "color/ProfileHeader.h"

#include <cstring>

#include "core/File.h"
#include "core/Text.h"

static const double GAMMA_DEFAULT = 20.0 / 9.0; // what sRGB's curve comes closest to
static const char SRGB_DESCRIPTION[] = "sRGB IEC61966-2.1";
static const int TAG_ENTRY_BYTES = 12;
static const int TAG_TEXT_OFFSET = 12; // text of a textDescription, after type, 0, count
static const int XYZ_TAG_BYTES = 20;   // type, 0, three s15Fixed16 numbers

// Copies text of at most count bytes, stopping at a zero byte, keeping printable ASCII.
static void CopyPrintable(const uint8_t *source, int64_t count, char *text, int capacity)
{
    int length = 0;
    for (int64_t i = 0; i < count && length < capacity - 1; i++) {
        uint8_t c = source[i];
        if (c == 0) break;
        text[length++] = c >= 32 && c < 127 ? (char)c : '?';
    }
    text[length] = 0;
}

// The number of tags, once the table is known to fit: ERROR_INVALID_PROFILE when the count
// claims more entries than the profile holds.
static ErrorCode TagCount(const uint8_t *bytes, int length, int64_t *count)
{
    if (length < PROFILE_TABLE_OFFSET) return ERROR_INVALID_PROFILE;
    *count = BytesGet32(bytes, PROFILE_HEADER_BYTES, 0);
    if (PROFILE_TABLE_OFFSET + *count * TAG_ENTRY_BYTES > length) return ERROR_INVALID_PROFILE;
    return ERROR_NONE;
}

// Offset and size of tag entry index, checked to lie inside the profile and to hold at
// least a type signature and its reserved word.
static ErrorCode TagEntry(const uint8_t *bytes, int length, int64_t index, int64_t *offset,
                          int64_t *size)
{
    int64_t entry = PROFILE_TABLE_OFFSET + index * TAG_ENTRY_BYTES;
    *offset = BytesGet32(bytes, entry + 4, 0);
    *size = BytesGet32(bytes, entry + 8, 0);
    if (*offset + *size > length || *size < 8) return ERROR_INVALID_PROFILE;
    return ERROR_NONE;
}

// The data of the first tag with this signature: ERROR_NONE with its offset and size, or
// ERROR_NO_PROFILE when there is none, ERROR_INVALID_PROFILE when the table runs out.
static ErrorCode FindTag(const uint8_t *bytes, int length, const char *signature, int64_t *offset,
                         int64_t *size)
{
    int64_t count;
    ErrorCode result = TagCount(bytes, length, &count);
    if (result != ERROR_NONE) return result;
    for (int64_t i = 0; i < count; i++) {
        if (memcmp(bytes + PROFILE_TABLE_OFFSET + i * TAG_ENTRY_BYTES, signature, 4) != 0) continue;
        return TagEntry(bytes, length, i, offset, size);
    }
    return ERROR_NO_PROFILE;
}

// The text of a description tag: a v2 textDescription holds an ASCII count at 8 and the text
// at 12; a plain text tag holds its text at 8; a v4 multiLocalizedUnicode holds UTF-16
// records, of which we take the first. A count that runs past the tag is a damaged profile.
static ErrorCode TagTextRaw(const uint8_t *bytes, int64_t offset, int64_t size, char *text,
                            int capacity)
{
    const uint8_t *tag = bytes + offset;
    if (memcmp(tag, "mluc", 4) == 0) {
        if (size < 28) return ERROR_INVALID_PROFILE;
        uint32_t records = BytesGet32(tag, 8, 0);
        if (records == 0) return ERROR_INVALID_PROFILE;
        int64_t textBytes = BytesGet32(tag, 20, 0);
        int64_t textOffset = BytesGet32(tag, 24, 0);
        if (textOffset + textBytes > size) return ERROR_INVALID_PROFILE;
        int length = 0;
        for (int64_t i = 0; i + 1 < textBytes && length < capacity - 1; i += 2) {
            uint16_t c = BytesGet16(tag, textOffset + i, 0);
            if (c == 0) break;
            text[length++] = c >= 32 && c < 127 ? (char)c : '?';
        }
        text[length] = 0;
        return ERROR_NONE;
    }
    if (memcmp(tag, "text", 4) == 0) {
        CopyPrintable(tag + 8, size - 8, text, capacity);
        return ERROR_NONE;
    }
    if (size < TAG_TEXT_OFFSET) return ERROR_INVALID_PROFILE;
    int64_t count = BytesGet32(tag, 8, 0);
    if (count > size - TAG_TEXT_OFFSET) return ERROR_INVALID_PROFILE;
    CopyPrintable(tag + TAG_TEXT_OFFSET, count, text, capacity);
    return ERROR_NONE;
}

// The text of a tag without the blanks some makers pad it with, so that lists and
// comparisons go by the words alone.
static ErrorCode TagText(const uint8_t *bytes, int64_t offset, int64_t size, char *text,
                         int capacity)
{
    ErrorCode result = TagTextRaw(bytes, offset, size, text, capacity);
    if (result != ERROR_NONE) return result;
    for (int end = (int)strlen(text); end > 0 && text[end - 1] == ' '; end--)
        text[end - 1] = 0;
    return ERROR_NONE;
}

ErrorCode ProfileDescription(const uint8_t *bytes, int length, char *text, int capacity)
{
    int64_t offset;
    int64_t size;
    if (bytes == nullptr || length <= 0) {
        StrCopyLimit("None", text, capacity - 1);
        return ERROR_NO_PROFILE;
    }
    ErrorCode result = FindTag(bytes, length, "desc", &offset, &size);
    if (result == ERROR_NO_PROFILE) {
        StrCopyLimit("Unknown", text, capacity - 1);
        return ERROR_NONE;
    }
    if (result == ERROR_NONE) result = TagText(bytes, offset, size, text, capacity);
    if (result != ERROR_NONE) StrCopyLimit("Invalid Profile", text, capacity - 1);
    return result;
}

// Four characters of the header at offset, optionally without one trailing blank.
static ErrorCode HeaderSignature(const uint8_t *bytes, int length, int offset, int trimBlank,
                                 char *text, int capacity)
{
    if (bytes == nullptr || length <= 0) {
        StrCopyLimit("none", text, capacity - 1);
        return ERROR_NONE;
    }
    if (length < PROFILE_HEADER_BYTES) {
        StrCopyLimit("****", text, capacity - 1);
        return ERROR_INVALID_PROFILE;
    }
    char signature[5];
    memcpy(signature, bytes + offset, 4);
    signature[4] = 0;
    if (trimBlank && signature[3] == ' ') signature[3] = 0;
    StrCopyLimit(signature, text, capacity - 1);
    return ERROR_NONE;
}

ErrorCode ProfileClass(const uint8_t *bytes, int length, char *text, int capacity)
{
    return HeaderSignature(bytes, length, 12, 0, text, capacity);
}

ErrorCode ProfileColorSpace(const uint8_t *bytes, int length, char *text, int capacity)
{
    return HeaderSignature(bytes, length, 16, 1, text, capacity);
}

ErrorCode ProfileManufacturer(const uint8_t *bytes, int length, char *text, int capacity)
{
    int64_t offset;
    int64_t size;
    text[0] = 0;
    if (bytes == nullptr || length < PROFILE_HEADER_BYTES) return ERROR_NO_PROFILE;
    if (FindTag(bytes, length, "dmnd", &offset, &size) == ERROR_NONE &&
        TagText(bytes, offset, size, text, capacity) == ERROR_NONE && text[0] != 0)
        return ERROR_NONE;
    if (BytesGet32(bytes, 48, 0) == 0) return ERROR_NO_PROFILE;
    CopyPrintable(bytes + 48, 4, text, capacity);
    return text[0] != 0 ? ERROR_NONE : ERROR_NO_PROFILE;
}

int ProfileLooksValid(const uint8_t *bytes, int length)
{
    int64_t count;
    if (bytes == nullptr || length < PROFILE_TABLE_OFFSET) return 0;
    if (memcmp(bytes + 36, "acsp", 4) != 0) return 0;
    return TagCount(bytes, length, &count) == ERROR_NONE;
}

// The three numbers of an XYZ tag, in s15Fixed16 form over 65536.
static ErrorCode ReadXyzTag(const uint8_t *bytes, int length, const char *signature, double xyz[3])
{
    int64_t offset;
    int64_t size;
    ErrorCode result = FindTag(bytes, length, signature, &offset, &size);
    if (result == ERROR_NO_PROFILE) return ERROR_NOT_COLOR_SPACE_PROFILE;
    if (result != ERROR_NONE) return result;
    if (size < XYZ_TAG_BYTES || memcmp(bytes + offset, "XYZ ", 4) != 0)
        return ERROR_INVALID_PROFILE;
    for (int i = 0; i < 3; i++)
        xyz[i] = (int32_t)BytesGet32(bytes, offset + 8 + 4 * i, 0) / 65536.0;
    return ERROR_NONE;
}

ErrorCode ProfilePrimaries(const uint8_t *bytes, int length, double white[3], double red[3],
                           double green[3], double blue[3])
{
    // sRGB's white and colorants adapted to D50, as a display profile of sRGB carries them.
    static const double SRGB_WHITE[3] = {0.9505, 1.0, 1.0891};
    static const double SRGB_RED[3] = {0.4361, 0.2225, 0.0139};
    static const double SRGB_GREEN[3] = {0.3851, 0.7169, 0.0971};
    static const double SRGB_BLUE[3] = {0.1431, 0.0606, 0.7141};
    double found[4][3];
    static const char *const TAGS[4] = {"wtpt", "rXYZ", "gXYZ", "bXYZ"};
    double *results[4] = {white, red, green, blue};
    const double *defaults[4] = {SRGB_WHITE, SRGB_RED, SRGB_GREEN, SRGB_BLUE};
    ErrorCode result = ERROR_NONE;

    // All four tags or none: a half-read profile would give colorants of two spaces.
    if (bytes != nullptr && length > 0) {
        for (int t = 0; t < 4 && result == ERROR_NONE; t++)
            result = ReadXyzTag(bytes, length, TAGS[t], found[t]);
    } else {
        result = ERROR_NO_PROFILE;
    }
    for (int t = 0; t < 4; t++)
        for (int i = 0; i < 3; i++)
            results[t][i] = result == ERROR_NONE ? found[t][i] : defaults[t][i];
    return result == ERROR_NO_PROFILE ? ERROR_NONE : result;
}

// The gamma of one tone-curve tag. A curv tag with no points is the identity and one point
// is a power in 8.8 form; any table is not a plain power and gives the default. A v4
// parametric curve of the plain power kind (function 0) gives its exponent; its other kinds
// carry a linear toe, like sRGB's, and give the default too.
static ErrorCode CurveGamma(const uint8_t *bytes, int64_t offset, int64_t size, double *gamma)
{
    const uint8_t *tag = bytes + offset;
    if (size < 12) return ERROR_INVALID_PROFILE;
    if (memcmp(tag, "curv", 4) == 0) {
        uint32_t count = BytesGet32(tag, 8, 0);
        if (count == 0) {
            *gamma = 1.0;
        } else if (count == 1) {
            if (size < 14) return ERROR_INVALID_PROFILE;
            *gamma = BytesGet16(tag, 12, 0) / 256.0;
        } else {
            *gamma = GAMMA_DEFAULT;
        }
        return ERROR_NONE;
    }
    if (memcmp(tag, "para", 4) == 0) {
        if (BytesGet16(tag, 8, 0) == 0) {
            if (size < 16) return ERROR_INVALID_PROFILE;
            *gamma = (int32_t)BytesGet32(tag, 12, 0) / 65536.0;
        } else {
            *gamma = GAMMA_DEFAULT;
        }
        return ERROR_NONE;
    }
    *gamma = GAMMA_DEFAULT;
    return ERROR_NONE;
}

ErrorCode ProfileGamma(const uint8_t *bytes, int length, double *gamma)
{
    char description[PROFILE_DESCRIPTION_MAX];
    int64_t count;
    double value = GAMMA_DEFAULT;
    ErrorCode result = ERROR_NONE;

    *gamma = GAMMA_DEFAULT;
    if (bytes == nullptr || length <= 0) return ERROR_NONE;
    if (ProfileDescription(bytes, length, description, sizeof description) == ERROR_NONE &&
        StrEqualNoCase(description, SRGB_DESCRIPTION))
        return ERROR_NONE;
    result = TagCount(bytes, length, &count);
    if (result != ERROR_NONE) return result;
    // Walk the table in its order, so that the last curve tag in it decides.
    for (int64_t i = 0; i < count; i++) {
        const uint8_t *entry = bytes + PROFILE_TABLE_OFFSET + i * TAG_ENTRY_BYTES;
        int64_t offset;
        int64_t size;
        if (memcmp(entry, "rTRC", 4) != 0 && memcmp(entry, "gTRC", 4) != 0 &&
            memcmp(entry, "bTRC", 4) != 0)
            continue;
        result = TagEntry(bytes, length, i, &offset, &size);
        if (result == ERROR_NONE) result = CurveGamma(bytes, offset, size, &value);
        if (result != ERROR_NONE) return result;
    }
    *gamma = value;
    return ERROR_NONE;
}

int SameProfile(const uint8_t *bytesA, int lengthA, const uint8_t *bytesB, int lengthB)
{
    char descriptionA[PROFILE_DESCRIPTION_MAX];
    char descriptionB[PROFILE_DESCRIPTION_MAX];
    int missingA = bytesA == nullptr || lengthA <= 0;
    int missingB = bytesB == nullptr || lengthB <= 0;
    if (missingA && missingB) return 1;
    if (missingA || missingB) return 0;
    if (ProfileDescription(bytesA, lengthA, descriptionA, sizeof descriptionA) != ERROR_NONE)
        return 0;
    if (ProfileDescription(bytesB, lengthB, descriptionB, sizeof descriptionB) != ERROR_NONE)
        return 0;
    return StrEqualNoCase(descriptionA, descriptionB);
}
