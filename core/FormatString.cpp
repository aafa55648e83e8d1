// The program's own formatter. Its dialect differs from printf on purpose: a digit after the
// percent sign is a zero-padded width for integers and a count of decimals for reals, and a
// number too wide for its width prints as asterisks, so a label never grows past its box.
#include "core/FormatString.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/Helpers.h"

// Appends to a bounded buffer, always leaving room for the terminator.
struct FormatOutput {
    char *out;
    int size;
    int length;
};

static void Put(FormatOutput *output, char c)
{
    if (output->length < output->size - 1) output->out[output->length++] = c;
}

static void PutText(FormatOutput *output, const char *text)
{
    for (; *text != 0; text++)
        Put(output, *text);
}

// Decimal digits of a non-negative magnitude, most significant first.
static int Digits(uint64_t magnitude, char *digits)
{
    char reversed[24];
    int count = 0;
    do {
        reversed[count++] = (char)('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    for (int i = 0; i < count; i++)
        digits[i] = reversed[count - 1 - i];
    digits[count] = 0;
    return count;
}

// %d and %,: sign, digits (grouped by commas when asked), then zero padding to the width
// after the sign. A text wider than its width becomes that many asterisks.
static void PutInteger(FormatOutput *output, int value, int width, int grouped)
{
    char digits[24];
    char text[40];
    int negative = value < 0;
    uint64_t magnitude = negative ? (uint64_t)(-(int64_t)value) : (uint64_t)value;
    int count = Digits(magnitude, digits);
    int length = 0;
    for (int i = 0; i < count; i++) {
        if (grouped && i > 0 && (count - i) % 3 == 0) text[length++] = ',';
        text[length++] = digits[i];
    }
    text[length] = 0;
    int total = length + negative;
    if (width > 0 && total > width) {
        for (int i = 0; i < width; i++)
            Put(output, '*');
        return;
    }
    if (negative) Put(output, '-');
    for (int i = total; i < width; i++)
        Put(output, '0');
    PutText(output, text);
}

// %f with n decimals. Zero prints as "0." and n zeros; a magnitude below one unit of the
// last decimal prints the same, without a minus; one above 10^n * 1000000 prints "*".
// Otherwise the rounded value gets its point n digits from the right and is padded with
// zeros to n + 2 characters (so 5 with no decimals prints "05").
static void PutReal(FormatOutput *output, double value, int decimals, int trim)
{
    char text[64];
    int length = 0;
    double scale = PowerInt(10.0, decimals);
    int negative = value < 0.0;
    double magnitude = negative ? -value : value;
    if (value == 0.0 || magnitude < 1.0 / scale) {
        text[length++] = '0';
        text[length++] = '.';
        for (int i = 0; i < decimals; i++)
            text[length++] = '0';
    } else if (!(magnitude <= scale * 1000000.0)) {
        // Too large, or not a number at all: neither has digits to print.
        text[length++] = '*';
    } else {
        // Rounded in 64 bits: 10^6 * 10^6 does not fit the 32 bits of Round.
        char digits[24];
        int count = Digits((uint64_t)(magnitude * scale + 0.5), digits);
        if (negative) text[length++] = '-';
        int minimum = decimals > 0 ? decimals + 1 : 2;
        for (int i = count; i < minimum; i++)
            text[length++] = '0';
        for (int i = 0; i < count; i++)
            text[length++] = digits[i];
        if (decimals > 0) {
            // Insert the point decimals characters from the right.
            for (int i = length; i > length - decimals; i--)
                text[i] = text[i - 1];
            text[length - decimals] = '.';
            length++;
        }
    }
    text[length] = 0;
    if (trim && strchr(text, '.') != nullptr) {
        while (length > 0 && text[length - 1] == '0')
            text[--length] = 0;
        if (length > 0 && text[length - 1] == '.') text[--length] = 0;
    }
    PutText(output, text);
}

int FormatStringV(char *out, int size, const char *format, va_list arguments)
{
    FormatOutput output = {out, size, 0};
    if (size <= 0) return 0;
    for (const char *p = format; *p != 0; p++) {
        if (*p == '\\') {
            p++;
            if (*p == 0) break;
            Put(&output, *p == 'n' ? '\n' : *p == 'r' ? '\r' : *p == 't' ? '\t' : *p);
            continue;
        }
        if (*p != '%') {
            Put(&output, *p);
            continue;
        }
        // Modifiers, then one conversion.
        int digit = -1;
        int trim = 0;
        for (p++; *p != 0; p++) {
            if (*p >= '0' && *p <= '6') digit = *p - '0';
            else if (*p == 'z') trim = 1;
            else break;
        }
        if (*p == 0) break;
        switch (*p) {
        case 'd': PutInteger(&output, va_arg(arguments, int), digit, 0); break;
        case ',': PutInteger(&output, va_arg(arguments, int), digit, 1); break;
        case 'f':
            PutReal(&output, va_arg(arguments, double), digit < 0 ? 4 : digit, trim);
            break;
        case 's': {
            const char *text = va_arg(arguments, const char *);
            PutText(&output, text != nullptr ? text : "");
            break;
        }
        case 'c': Put(&output, (char)va_arg(arguments, int)); break;
        case '%': Put(&output, '%'); break;
        default: break; // an unknown conversion is dropped
        }
    }
    out[output.length] = 0;
    return output.length;
}

int FormatString(char *out, int size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    int length = FormatStringV(out, size, format, arguments);
    va_end(arguments);
    return length;
}
