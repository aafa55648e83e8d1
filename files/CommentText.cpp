// Comment values are kept as they were read, numbers in native order; their field type comes
// from the tag tables by comment id, since the record does not carry it.
#include "files/CommentText.h"

#include <cstring>

#include "core/FormatString.h"
#include "files/TiffComments.h"

enum {
    FIELD_BYTE = 1,
    FIELD_ASCII = 2,
    FIELD_SHORT = 3,
    FIELD_LONG = 4,
    FIELD_RATIONAL = 5,
    FIELD_UNDEFINED = 7,
    FIELD_SRATIONAL = 10,
};

static int FieldTypeOf(int id)
{
    for (int i = 0; i < TIFF_EXIF_TAG_COUNT; i++)
        if (TIFF_EXIF_TAGS[i].id == id) return TIFF_EXIF_TAGS[i].fieldType;
    for (int i = 0; i < TIFF_GPS_TAG_COUNT; i++)
        if (TIFF_GPS_TAGS[i].id == id) return TIFF_GPS_TAGS[i].fieldType;
    return FIELD_ASCII; // the descriptive fields of the main directory are text
}

// Appends formatted text at the end of what text holds.
static void Append(char *text, int size, const char *format, ...)
{
    int used = (int)strlen(text);
    if (used >= size - 1) return;
    va_list arguments;
    va_start(arguments, format);
    FormatStringV(text + used, size - used, format, arguments);
    va_end(arguments);
}

void FileCommentText(const FileComment *comment, char *text, int size)
{
    const uint8_t *value = comment->value;
    int length = comment->length;
    text[0] = 0;
    Append(text, size, "%s: ", comment->name);
    switch (FieldTypeOf(comment->id)) {
    case FIELD_SHORT:
    case FIELD_LONG:
    case FIELD_BYTE: {
        int type = FieldTypeOf(comment->id);
        int bytes = type == FIELD_SHORT ? 2 : type == FIELD_LONG ? 4 : 1;
        for (int i = 0; i + bytes <= length; i += bytes) {
            int number = bytes == 2   ? *(const uint16_t *)(const void *)(value + i)
                         : bytes == 4 ? (int)*(const uint32_t *)(const void *)(value + i)
                                      : value[i];
            Append(text, size, i == 0 ? "%d" : ", %d", number);
        }
        break;
    }
    case FIELD_RATIONAL:
    case FIELD_SRATIONAL: {
        int isSigned = FieldTypeOf(comment->id) == FIELD_SRATIONAL;
        for (int i = 0; i + 8 <= length; i += 8) {
            uint32_t numerator;
            uint32_t denominator;
            memcpy(&numerator, value + i, 4);
            memcpy(&denominator, value + i + 4, 4);
            if (denominator == 0) {
                Append(text, size, "***");
                break;
            }
            double real = isSigned ? (double)(int32_t)numerator / (int32_t)denominator
                                   : (double)numerator / denominator;
            Append(text, size, i == 0 ? "%f" : ", %f", real);
        }
        break;
    }
    case FIELD_UNDEFINED: {
        static const char DIGITS[] = "0123456789ABCDEF";
        for (int i = 0; i < length; i++) {
            char pair[3] = {DIGITS[value[i] >> 4], DIGITS[value[i] & 15], 0};
            Append(text, size, "%s", pair);
        }
        break;
    }
    default: Append(text, size, "\"%s\"", (const char *)value); break;
    }
}
