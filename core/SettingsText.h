// The one small grammar of every settings file and every stored preference, and whole
// settings files read and written through a kind's own reader and writer.
//
// A settings file is text: a header line of exactly two tokens, the kind's name and "1.0";
// then lines of a key and its values; then a line "end". Lines end in "\r\n" when written
// and in either ending when read. A reader is a loop over SettingsReadLine that compares
// the first token with its keys by SettingsKeyIs and parses the rest with ParseInteger and
// ParseReal; see transforms/CurveFile.cpp (CurveFileRead) for a complete one:
//
//     if (SettingsReadHeader(file, "Curve")) return ERROR_ILLEGAL_CURVE_FILE;
//     for (;;) {
//         if (SettingsReadLine(file, &count, &tokens)) return ERROR_ILLEGAL_CURVE_FILE;
//         if (SettingsLineIsEnd(count, tokens)) break;
//         if (SettingsKeyIs(tokens, "npts") && count == 2) { ... }
//         else return ERROR_ILLEGAL_CURVE_FILE; // an unknown key refuses the file
//     }
//
// A writer calls SettingsWriteHeader, SettingsWriteLine for each key with a FormatString
// format ("npts %d", "gamma %f", "profile \"%s\""), and SettingsWriteEnd.
//
// The settings store of the editor keeps values of the same grammar (ui/SettingsStore.h).
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"

constexpr int SETTINGS_LINE_MAX = 255; // characters every settings reader takes as one line
constexpr int TOKEN_COUNT_MAX = 64;    // tokens Tokenize makes of one text at most
constexpr int TOKEN_LENGTH_MAX = 255;  // characters of one token at most

// Bytes of a buffer that holds one value or line of the grammar with a whole quoted path.
// Paths here run far longer than the 260 characters of older systems.
constexpr int SETTINGS_VALUE_MAX = PATH_LENGTH + 64;

// The separator JoinPath puts between a folder and a name. Readers of paths accept both.
#ifdef _WIN32
constexpr char PATH_SEPARATOR = '\\';
#else
constexpr char PATH_SEPARATOR = '/';
#endif

// Reads one line of at most maximum characters (every settings reader gives 255) into
// buffer, which holds maximum + 1 bytes, and terminates it. Carriage returns are dropped,
// blank lines skipped, and a longer line comes back in pieces of maximum characters.
// Returns ERROR_END_OF_FILE when the file ends before any character, or the read's code.
ErrorCode ReadTextLine(FileHandle file, char *buffer, int maximum);

// Splits text into at most TOKEN_COUNT_MAX tokens of at most TOKEN_LENGTH_MAX characters.
// Blanks and tabs separate tokens; each of ( ) * + , / : = [ ] is a token of its own, except
// a + after the E of a number that starts with a digit ("1.5e+3" stays whole); a double
// quote starts a token that runs to the next quote and may hold blanks or be empty. The
// table and its text live in one static pool, valid until the next call: not reentrant.
void Tokenize(const char *text, int *tokenCount, char ***tokens);

// An optional sign and decimal digits, wrapping in 32 bits. Sets *value to 0 first and then
// to what was scanned. Returns 1 (failure) when there is no digit or anything follows them.
int ParseInteger(const char *text, int32_t *value);

// A real: optional sign, digits with one period, commas anywhere among them ("1,000.5"),
// one % that divides by 100 ("50%" is 0.5), and an exponent of one to three digits after
// E or e. Sets *value to 0 first and then to what was scanned. Returns 1 (failure) when there
// is neither digit nor period, something follows, a period or % repeats, an exponent has no
// digit, or the value overflows a double (then *value stays 0).
int ParseReal(const char *text, double *value);

// Writes text and then "\r\n" unless text ends in it. Returns ERROR_WRITE_FILE on failure.
ErrorCode WriteTextLine(FileHandle file, const char *text);

// output (PATH_LENGTH bytes) := folder, a PATH_SEPARATOR unless folder ends in either
// separator or is empty, then name; cut to fit.
void JoinPath(char *output, const char *folder, const char *name);

// Appends extension (with its dot) to path (PATH_LENGTH bytes) unless its last part after a
// slash, backslash or colon already holds a period.
void AddDefaultExtension(char *path, const char *extension);

// Reading a settings file. SettingsReadHeader returns 1 unless the next line is exactly two
// tokens, name (letter case aside) and "1.0". SettingsReadLine reads and tokenises the next
// line that holds a token and returns 1 when the file ends or fails first (a file without
// "end" is bad); the tokens are Tokenize's. SettingsLineIsEnd is 1 for the single token
// "end", and SettingsKeyIs compares the first token with key, letter case aside.
int SettingsReadHeader(FileHandle file, const char *name);
int SettingsReadLine(FileHandle file, int *tokenCount, char ***tokens);
int SettingsLineIsEnd(int tokenCount, char **tokens);
int SettingsKeyIs(char **tokens, const char *key);

// Writing a settings file: the header "name 1.0", one line formatted by FormatString from
// format and its arguments, and the final "end". Each returns ERROR_WRITE_FILE on failure.
ErrorCode SettingsWriteHeader(FileHandle file, const char *name);
ErrorCode SettingsWriteLine(FileHandle file, const char *format, ...);
ErrorCode SettingsWriteEnd(FileHandle file);

// Copies a quoted string of value (the text between its first pair of double quotes, or to
// its end when the closing one is missing) into text, at most capacity - 1 characters. A
// value that does not start with a quote gives its first token. Unlike Tokenize this keeps
// paths longer than a token whole.
void SettingsQuotedText(const char *value, char *text, int capacity);

// The kinds of settings file, by the extension they must have.
enum : int32_t {
    SETTINGS_KIND_ADVANCED_SHARPEN = 0,
    SETTINGS_KIND_CHANNEL_REGISTRATION = 1,
    SETTINGS_KIND_COLOR_BALANCE = 2,
    SETTINGS_KIND_COLOR_CORRECT = 3,
    SETTINGS_KIND_COLOR_CURVES = 4,
    SETTINGS_KIND_COLOR_LINE = 5,
    SETTINGS_KIND_COLOR_MANAGEMENT = 6,
    SETTINGS_KIND_COLOR_NEGATIVE = 7,
    SETTINGS_KIND_CURVE = 8,
    SETTINGS_KIND_FLOAT_CURVE = 9,
    SETTINGS_KIND_TEXT = 10,
    SETTINGS_KIND_ALBUM = 11,
    SETTINGS_KIND_LAYOUT = 12,
    SETTINGS_KIND_SPLINE = 13,
    SETTINGS_KIND_POLYGON = 14,
    SETTINGS_KIND_MATCH_REFERENCE = 15,
    SETTINGS_KIND_PRINT = 16,
    SETTINGS_KIND_COUNT = 17,
};

struct SettingsFileKind {
    const char *extension;        // with its dot, as ".crv"
    ErrorCode illegalCode;        // shown when a Load fails to parse; ERROR_NONE for none
    const char *extensionMessage; // shown under "Error" when Save As is given another one
};

extern const SettingsFileKind SETTINGS_FILE_KINDS[SETTINGS_KIND_COUNT];

// The path check of "Save As": adds the kind's extension when path has none, and returns 1
// when path then ends in another one; the dialog then shows the kind's extensionMessage in
// a box titled "Error" and asks again.
int SettingsSavePathCheck(char *path, int kind);

// A whole settings file through the caller's reader or writer. The reader works on
// settings already set to defaults and returns its kind's illegal-file code for a bad file.
typedef ErrorCode (*SettingsReadFunction)(FileHandle file, void *settings);
typedef ErrorCode (*SettingsWriteFunction)(FileHandle file, const void *settings);

// Opens path, runs reader and closes. Returns ERROR_OPEN_FILE or the reader's code; the
// values read before a failure stay in settings.
ErrorCode SettingsFileLoad(const char *path, SettingsReadFunction reader, void *settings);

// Writes path through writer beside the old file and renames it over only when all went
// well. Returns the codes of FileCreate, the writer's, or those of SafeFileCommit.
ErrorCode SettingsFileSave(const char *path, SettingsWriteFunction writer, const void *settings);
