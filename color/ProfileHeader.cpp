// ICC profile header readers. Profiles are big-endian; the tag table starts at 132 with 12
// bytes a tag (signature, offset, size) after its count at 128.
#include "color/ProfileHeader.h"

#include <cstring>

#include "core/File.h"
#include "core/Text.h"

static const int PROFILE_HEADER_BYTES = 128;

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

// The data of the first tag with this signature: ERROR_NONE with its offset and size, or
// ERROR_NO_PROFILE when there is none, ERROR_INVALID_PROFILE when the table runs out.
static ErrorCode FindTag(const uint8_t *bytes, int length, const char *signature,
                         int64_t *offset, int64_t *size)
{
    if (length < 132) return ERROR_INVALID_PROFILE;
    uint32_t count = BytesGet32(bytes, 128, 0);
    for (uint32_t i = 0; i < count; i++) {
        int64_t entry = 132 + (int64_t)i * 12;
        if (entry + 12 > length) return ERROR_INVALID_PROFILE;
        if (memcmp(bytes + entry, signature, 4) != 0) continue;
        *offset = BytesGet32(bytes, entry + 4, 0);
        *size = BytesGet32(bytes, entry + 8, 0);
        if (*offset + *size > length || *size < 12) return ERROR_INVALID_PROFILE;
        return ERROR_NONE;
    }
    return ERROR_NO_PROFILE;
}

// The text of a description tag: a v2 textDescription holds an ASCII count at 8 and the text
// at 12; a v4 multiLocalizedUnicode holds UTF-16 records, of which we take the first.
static ErrorCode TagText(const uint8_t *bytes, int64_t offset, int64_t size, char *text,
                         int capacity)
{
    const uint8_t *tag = bytes + offset;
    if (memcmp(tag, "mluc", 4) == 0) {
        if (size < 28) return ERROR_INVALID_PROFILE;
        uint32_t records = BytesGet32(tag, 8, 0);
        if (records == 0) return ERROR_INVALID_PROFILE;
        uint32_t textBytes = BytesGet32(tag, 20, 0);
        uint32_t textOffset = BytesGet32(tag, 24, 0);
        if ((int64_t)textOffset + textBytes > size) return ERROR_INVALID_PROFILE;
        int length = 0;
        for (uint32_t i = 0; i + 1 < textBytes && length < capacity - 1; i += 2) {
            uint16_t c = BytesGet16(tag, textOffset + i, 0);
            if (c == 0) break;
            text[length++] = c >= 32 && c < 127 ? (char)c : '?';
        }
        text[length] = 0;
        return ERROR_NONE;
    }
    int64_t count = BytesGet32(tag, 8, 0);
    if (count > size - 12) count = size - 12;
    CopyPrintable(tag + 12, count, text, capacity);
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
