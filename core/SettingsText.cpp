// The settings grammar: line reader, tokeniser, number parsers, line writer, path helpers,
// and whole settings files read and written through a kind's own reader and writer.
#include "core/SettingsText.h"

#include <cmath>
#include <cstdarg>
#include <cstring>

#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Text.h"

ErrorCode ReadTextLine(FileHandle file, char *buffer, int maximum)
{
    int length = 0;
    if (maximum < 1) maximum = 1; // a line of nothing would never move through the file
    while (length < maximum) {
        uint8_t c;
        int64_t got;
        ErrorCode result = FileRead(file, &c, 1, &got);
        if (result == ERROR_END_OF_FILE && length > 0) break;
        if (result != ERROR_NONE) {
            buffer[length] = 0;
            return result;
        }
        if (c == '\r') continue;
        if (c == '\n') {
            if (length == 0) continue; // blank lines do not exist for a reader
            break;
        }
        buffer[length++] = (char)c;
    }
    buffer[length] = 0;
    return ERROR_NONE;
}

// The pool of Tokenize: one table of pointers and the text of every token.
static char TokenText[TOKEN_COUNT_MAX][TOKEN_LENGTH_MAX + 1];
static char *TokenTable[TOKEN_COUNT_MAX + 1];

static int TokenIsBlank(char c)
{
    return c == ' ' || c == '\t';
}

// The characters that end an unquoted token; all but the blanks and the end of the text
// also stand as tokens of their own.
static int TokenIsDelimiter(char c)
{
    return c == 0 || TokenIsBlank(c) || strchr("()*+,/:=[]", c) != nullptr;
}

void Tokenize(const char *text, int *tokenCount, char ***tokens)
{
    const char *p = text;
    int count = 0;
    while (count < TOKEN_COUNT_MAX) {
        while (TokenIsBlank(*p))
            p++;
        if (*p == 0) break; // an empty unquoted token ends the scan
        char *out = TokenText[count];
        int length = 0;
        if (*p == '"') {
            // A quoted token may be empty and may hold delimiters; it cannot hold a quote.
            p++;
            while (*p != 0 && *p != '"' && length < TOKEN_LENGTH_MAX)
                out[length++] = *p++;
            if (*p == '"') p++;
        } else if (TokenIsDelimiter(*p)) {
            out[length++] = *p++;
        } else {
            while (length < TOKEN_LENGTH_MAX) {
                char c = *p;
                // The sign of an exponent keeps "1.5e+3" whole; "-1.5e+3" starts with no
                // digit and so falls apart at the +.
                int exponentSign = c == '+' && out[0] >= '0' && out[0] <= '9' &&
                                   (out[length - 1] == 'E' || out[length - 1] == 'e');
                if (TokenIsDelimiter(c) && !exponentSign) break;
                out[length++] = c;
                p++;
            }
        }
        out[length] = 0;
        TokenTable[count++] = out;
    }
    TokenTable[count] = nullptr;
    *tokenCount = count;
    *tokens = TokenTable;
}

int ParseInteger(const char *text, int32_t *value)
{
    const char *p = text;
    int negative = 0;
    uint32_t magnitude = 0; // unsigned, so that a long number wraps instead of overflowing
    int digits = 0;
    *value = 0;
    if (*p == '+' || *p == '-') negative = *p++ == '-';
    for (; *p >= '0' && *p <= '9'; p++, digits++)
        magnitude = magnitude * 10u + (uint32_t)(*p - '0');
    *value = (int32_t)(negative ? 0u - magnitude : magnitude);
    return digits == 0 || *p != 0;
}

int ParseReal(const char *text, double *value)
{
    const char *p = text;
    int negative = 0;
    double mantissa = 0.0;
    int scale = 0; // the value is mantissa / 10^scale
    int digits = 0;
    int period = 0;
    int percent = 0;
    *value = 0.0;
    if (*p == '+' || *p == '-') negative = *p++ == '-';
    for (;; p++) {
        char c = *p;
        if (c == ',') continue; // thousands separators may stand anywhere
        if (c >= '0' && c <= '9') {
            mantissa = mantissa * 10.0 + (c - '0');
            digits++;
            if (period) scale++;
        } else if (c == '.') {
            if (period) return 1;
            period = 1;
        } else if (c == '%') {
            if (percent) return 1;
            percent = 1;
            scale += 2;
        } else if (c == 'E' || c == 'e') {
            p++;
            int exponentNegative = 0;
            if (*p == '+' || *p == '-') exponentNegative = *p++ == '-';
            int exponent = 0;
            int exponentDigits = 0;
            for (; exponentDigits < 3 && *p >= '0' && *p <= '9'; p++, exponentDigits++)
                exponent = exponent * 10 + (*p - '0');
            if (exponentDigits == 0) return 1;
            scale -= exponentNegative ? -exponent : exponent;
            break; // the exponent ends the number
        } else {
            break;
        }
    }
    // Divide or multiply by an exact power of ten, so that "0.1" is the double nearest 0.1.
    double result = mantissa;
    if (mantissa != 0.0)
        result = scale > 0 ? mantissa / PowerInt(10.0, scale) : mantissa * PowerInt(10.0, -scale);
    if (!std::isfinite(result)) return 1;
    *value = negative ? -result : result;
    return (digits == 0 && !period) || *p != 0;
}

ErrorCode WriteTextLine(FileHandle file, const char *text)
{
    size_t length = strlen(text);
    ErrorCode result = FileWrite(file, text, (int64_t)length);
    if (result != ERROR_NONE) return result;
    if (length >= 2 && text[length - 2] == '\r' && text[length - 1] == '\n') return ERROR_NONE;
    return FileWrite(file, "\r\n", 2);
}

static int PathIsSeparator(char c)
{
    return c == '/' || c == '\\';
}

void JoinPath(char *output, const char *folder, const char *name)
{
    char joined[PATH_LENGTH];
    // Copied first, so that output may be folder itself.
    StrCopyLimit(folder, joined, PATH_LENGTH - 1);
    size_t length = strlen(joined);
    if (length > 0 && !PathIsSeparator(joined[length - 1]) && length < PATH_LENGTH - 1) {
        joined[length++] = PATH_SEPARATOR;
        joined[length] = 0;
    }
    StrCopyLimit(name, joined + length, PATH_LENGTH - 1 - (int)length);
    memcpy(output, joined, strlen(joined) + 1);
}

void AddDefaultExtension(char *path, const char *extension)
{
    size_t length = strlen(path);
    for (size_t i = length; i > 0; i--) {
        char c = path[i - 1];
        if (c == '.') return;
        if (PathIsSeparator(c) || c == ':') break;
    }
    StrCopyLimit(extension, path + length, PATH_LENGTH - 1 - (int)length);
}

int SettingsReadHeader(FileHandle file, const char *name)
{
    char line[SETTINGS_LINE_MAX + 1];
    int count;
    char **tokens;
    if (ReadTextLine(file, line, SETTINGS_LINE_MAX) != ERROR_NONE) return 1;
    Tokenize(line, &count, &tokens);
    return count != 2 || !StrEqualNoCase(tokens[0], name) || strcmp(tokens[1], "1.0") != 0;
}

int SettingsReadLine(FileHandle file, int *tokenCount, char ***tokens)
{
    // The line stays alive in a static buffer like the tokens, so that a caller may look
    // at it as long as at them.
    static char line[SETTINGS_LINE_MAX + 1];
    do {
        if (ReadTextLine(file, line, SETTINGS_LINE_MAX) != ERROR_NONE) {
            *tokenCount = 0;
            return 1;
        }
        Tokenize(line, tokenCount, tokens);
    } while (*tokenCount == 0); // a line of blanks reads like a blank line
    return 0;
}

int SettingsLineIsEnd(int tokenCount, char **tokens)
{
    return tokenCount == 1 && StrEqualNoCase(tokens[0], "end");
}

int SettingsKeyIs(char **tokens, const char *key)
{
    return StrEqualNoCase(tokens[0], key);
}

ErrorCode SettingsWriteHeader(FileHandle file, const char *name)
{
    return SettingsWriteLine(file, "%s 1.0", name);
}

ErrorCode SettingsWriteLine(FileHandle file, const char *format, ...)
{
    char line[SETTINGS_VALUE_MAX];
    va_list arguments;
    va_start(arguments, format);
    FormatStringV(line, (int)sizeof line, format, arguments);
    va_end(arguments);
    return WriteTextLine(file, line);
}

ErrorCode SettingsWriteEnd(FileHandle file)
{
    return WriteTextLine(file, "end");
}

void SettingsQuotedText(const char *value, char *text, int capacity)
{
    if (capacity <= 0) return;
    const char *p = value;
    while (TokenIsBlank(*p))
        p++;
    if (*p != '"') {
        int count;
        char **tokens;
        Tokenize(value, &count, &tokens);
        StrCopyLimit(count > 0 ? tokens[0] : "", text, capacity - 1);
        return;
    }
    p++;
    int length = 0;
    while (p[length] != 0 && p[length] != '"' && length < capacity - 1) {
        text[length] = p[length];
        length++;
    }
    text[length] = 0;
}

// The messages keep their own capitals, and the color line one does say "Color balance":
// users have seen them so for years.
const SettingsFileKind SETTINGS_FILE_KINDS[SETTINGS_KIND_COUNT] = {
    {".as", ERROR_ILLEGAL_COLOR_BALANCE_FILE,
     "advanced sharpen files must have an extension of .as"},
    {".cr", ERROR_ILLEGAL_REGISTRATION_FILE,
     "Color registration files must have an extension of .cr"},
    {".cb", ERROR_ILLEGAL_COLOR_BALANCE_FILE, "color balance files must have an extension of .cb"},
    {".colorcorrect", ERROR_ILLEGAL_COLOR_CORRECTION_FILE,
     "Color correction files must have an extension of .colorcorrect"},
    {".cc", ERROR_ILLEGAL_COLOR_CURVE_FILE, "color curve files must have an extension of .cc"},
    {".cln", ERROR_ILLEGAL_COLOR_LINE_FILE, "Color balance files must have an extension of .cln"},
    {".clrmgmt", ERROR_ILLEGAL_COLOR_SETTINGS_FILE,
     "Color Management files must have an extension of .clrmgmt"},
    {".cn", ERROR_NONE, "color negative files must have an extension of .cn"},
    {".crv", ERROR_ILLEGAL_CURVE_FILE, "Curve files must have an extension of .crv"},
    {".fcrv", ERROR_ILLEGAL_CURVE_FILE, "Curve files must have an extension of .fcrv"},
    {".txt", ERROR_NONE, "Text files must have an extension of .txt"},
    {".vtalbum", ERROR_NONE, "Album files must have an extension of .vtalbum"},
    {".lyt", ERROR_ILLEGAL_LAYOUT_FILE, "Layout files must have an extension of .lyt"},
    {".spline", ERROR_LOAD_OUTLINE, "Spline files must have an extension of .spline"},
    {".poly", ERROR_LOAD_OUTLINE, "Polygon files must have an extension of .poly"},
    {".ref", ERROR_READ_REFERENCE_FILE, "Reference files must have an extension of .ref"},
    {".print", ERROR_NONE, "Print settings files must have an extension of .print"},
};

int SettingsSavePathCheck(char *path, int kind)
{
    if (kind < 0 || kind >= SETTINGS_KIND_COUNT) return 1;
    const char *extension = SETTINGS_FILE_KINDS[kind].extension;
    AddDefaultExtension(path, extension);
    return ExtensionDiffers(path, extension);
}

ErrorCode SettingsFileLoad(const char *path, SettingsReadFunction reader, void *settings)
{
    FileHandle file = FILE_HANDLE_NONE;
    ErrorCode result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) return result;
    result = reader(file, settings);
    FileClose(&file); // a failed close after reading loses nothing
    return result;
}

ErrorCode SettingsFileSave(const char *path, SettingsWriteFunction writer, const void *settings)
{
    SafeFile safe;
    ErrorCode result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    result = writer(safe.file, settings);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCommit(&safe);
done:
    SafeFileAbandon(&safe);
    return result;
}
