// Error codes and the texts that turn them into words.
//
// Every operation returns an ErrorCode: 0 is success, anything else is a position in the
// table of messages. Work never shows a message itself; the dialog or command that started
// it shows the code it got back (ShowError, ui/MessageBox.h), and vistel-cli prints it.
#pragma once

#include <cstdarg>
#include <cstdint>

typedef int32_t ErrorCode;

enum : int32_t {
    ERROR_NONE = 0,
    ERROR_NO_MEMORY = 1,
    ERROR_END_OF_FILE = 2,
    ERROR_CREATE_FILE = 3,
    ERROR_OPEN_FILE = 4,
    ERROR_READ_FILE = 5,
    ERROR_WRITE_FILE = 6,
    ERROR_GET_POSITION = 7,
    ERROR_SET_POSITION = 8,
    ERROR_CLOSE_FILE = 9,
    ERROR_CHANGE_DIRECTORY = 10,
    ERROR_ABORTED = 11,
    ERROR_FILE_HEADER = 12,
    ERROR_TOO_MANY_IMAGES = 13,
    ERROR_ILLEGAL_TYPE = 14,
    ERROR_ILLEGAL_COLOR_LINE_FILE = 15,
    ERROR_ILLEGAL_CURVE_FILE = 16,
    ERROR_ILLEGAL_CALIBRATION_FILE = 17,
    ERROR_CONVERT_COLOR_SPACE = 18,
    ERROR_CDROM_NOT_FOUND = 19,
    ERROR_PHOTOCD_OVERVIEW = 20,
    ERROR_SCANNER_PROFILE = 21,
    ERROR_READ_JPEG = 22,
    ERROR_WRITE_JPEG = 23,
    ERROR_SAVE_TYPE_JPEG = 24,
    ERROR_READ_TARGA = 25,
    ERROR_WRITE_TARGA = 26,
    ERROR_SAVE_TYPE_TARGA = 27,
    ERROR_READ_BMP = 28,
    ERROR_WRITE_BMP = 29,
    ERROR_SAVE_TYPE_BMP = 30,
    ERROR_ILLEGAL_COLOR_BALANCE_FILE = 31,
    ERROR_CANNOT_CLONE_TYPE = 32,
    ERROR_CANNOT_PAINT_TYPE = 33,
    ERROR_CLONE_COLOR_OVER_GRAY = 34,
    ERROR_CANNOT_RETOUCH_TYPE = 35,
    ERROR_WINDOW_IN_USE = 36,
    ERROR_READ_ONLY_FILE = 37,
    ERROR_DELETE_FILE = 38,
    ERROR_PHOTOCD_DRIVE = 39,
    ERROR_PRINTER_PAGE_SIZE = 40,
    ERROR_SPLINE_CURVE = 41,
    ERROR_ILLEGAL_COLOR_CURVE_FILE = 42,
    ERROR_ILLEGAL_INPUT_GAMMA = 43,
    ERROR_ILLEGAL_OUTPUT_GAMMA = 44,
    ERROR_READ_FLASHPIX = 45,
    ERROR_SAVE_TYPE_FITS = 46,
    ERROR_SAVE_TYPE_PNG = 47,
    ERROR_READ_PNG = 48,
    ERROR_WRITE_PNG = 49,
    ERROR_READ_PCX = 50,
    ERROR_WRITE_PCX = 51,
    ERROR_SAVE_TYPE_PCX = 52,
    ERROR_READ_GIF = 53,
    ERROR_WRITE_GIF = 54,
    ERROR_SAVE_TYPE_GIF = 55,
    ERROR_READ_TIFF = 56,
    ERROR_WRITE_TIFF = 57,
    ERROR_SAVE_TYPE_TIFF = 58,
    ERROR_WRITE_EPS = 59,
    ERROR_SAVE_TYPE_EPS = 60,
    ERROR_ALIGNMENT_POINTS = 61,
    ERROR_NO_HALFTONE_SCREEN = 62,
    ERROR_WRITE_FLASHPIX = 63,
    ERROR_PRINT_AREA_TOO_SMALL = 64,
    ERROR_CHECK_DIRECTORY = 65,
    ERROR_NO_LEFT_IMAGE = 66,
    ERROR_NO_RIGHT_IMAGE = 67,
    ERROR_SAVE_TYPE_FLASHPIX = 68,
    ERROR_DISPLAY_COLORS = 69,
    ERROR_CLIPBOARD_COMPRESSION = 70,
    ERROR_UNKNOWN_FILE_TYPE = 71,
    ERROR_WINDOWS_VERSION = 72,
    ERROR_INTERNAL_1 = 73,
    ERROR_INTERNAL_2 = 74,
    ERROR_INTERNAL_3 = 75,
    ERROR_WINDOW_IN_USE_SAVE = 76,
    ERROR_NO_IMAGE_OR_TYPES = 77,
    ERROR_FILE_ALREADY_OPEN = 78,
    ERROR_READ_PHOTOCD_IMAGE = 79,
    ERROR_PERSPECTIVE = 80,
    ERROR_IMAGE_TOO_SMALL = 81,
    ERROR_TOOLS_ON_PREVIEW = 82,
    ERROR_ENHANCED_MODE = 83,
    ERROR_READ_FITS = 84,
    ERROR_WRITE_FITS = 85,
    ERROR_PALETTE_DISABLED = 86,
    ERROR_ILLEGAL_REGISTRATION_FILE = 87,
    ERROR_TEMP_DIRECTORY = 88,
    ERROR_SCAN_DIRECTORY = 89,
    ERROR_READ_PHOTOCD_FILE = 90,
    ERROR_DENSITY_VALUE = 91,
    ERROR_MISSING_REFERENCE_IMAGE = 92,
    ERROR_ILLEGAL_DRIVE = 93,
    ERROR_PRINTER_NOT_READY = 94,
    ERROR_ILLEGAL_LAYOUT_FILE = 95,
    ERROR_READ_RLE = 96,
    ERROR_WRITE_RLE = 97,
    ERROR_SAVE_TYPE_RLE = 98,
    ERROR_READ_IMAGE_FILE = 99,
    ERROR_ILLEGAL_COLOR_CORRECTION_FILE = 100,
    ERROR_CLIPBOARD_TOO_BIG = 101,
    ERROR_IMAGE_TOO_WIDE = 102,
    ERROR_DELETE_FOLDER = 103,
    ERROR_READ_COMMENTS = 104,
    ERROR_OPEN_PROFILE = 105,
    ERROR_INVALID_PROFILE = 106,
    ERROR_NO_PROFILE = 107,
    ERROR_NOT_COLOR_SPACE_PROFILE = 108,
    ERROR_CREATE_TRANSFORM = 109,
    ERROR_APPLY_TRANSFORM = 110,
    ERROR_ENUMERATE_PROFILES = 111,
    ERROR_ENUMERATE_CMMS = 112,
    ERROR_DROP_SHADOW = 113,
    ERROR_LOAD_OUTLINE = 114,
    ERROR_SAVE_OUTLINE = 115,
    ERROR_TARGET_IMAGE = 116,
    ERROR_READ_JPEG_PROFILE = 117,
    ERROR_WRITE_JPEG_PROFILE = 118,
    ERROR_READ_REFERENCE_FILE = 119,
    ERROR_ILLEGAL_COLOR_SETTINGS_FILE = 120,
    ERROR_TARGET_PROFILE_REQUIRED = 121,
    ERROR_COLOR_TEMPERATURE = 122,
    ERROR_TYPES_DIFFER = 123,
    ERROR_SIZES_DIFFER = 124,
    ERROR_OPEN_IN_PROGRESS = 125,
    ERROR_COUNT = 126, // size of the message table
};

// Codes of our own, beyond the table, with messages of their own.
enum : int32_t {
    ERROR_FILE_DAMAGED = 200, // a file ends before its pixels do
};

// The message of a code; "Unrecognized Error" for a code outside the table.
const char *ErrorText(ErrorCode code);

// The text of a failure about a file: the path, a line break, and the message of code. A
// path too long for capacity (MESSAGE_TEXT_MAX + 1 for a message box) loses its beginning,
// shown as "...", so that the message and the file's own name stay whole.
void ErrorFileText(ErrorCode code, const char *path, char *text, int capacity);

// What a picture lacks when its file ends before its pixels do, as the user sees the picture:
// the rows from first to last, counted from the top from 0 (after a quarter turn they are
// columns, counted from the left), and whether its colors went with a palette that is lost.
// Every missing row lies in the span; rows in it may have been read.
struct FileDamage {
    int32_t first; // -1 when no row is missing
    int32_t last;
    int32_t columns; // 1 when first and last count columns
    int32_t colors;  // 1 when the colors are lost
};

// Nothing missing.
void FileDamageClear(FileDamage *damage);

// Adds rows first..last (from the top) to the span of missing rows.
void FileDamageRows(FileDamage *damage, int64_t first, int64_t last);

// 1 when anything is missing.
int FileDamaged(const FileDamage *damage);

// What the user is told, e.g. "File is damaged: rows 120 to 399 are missing".
void FileDamageText(const FileDamage *damage, char *text, int size);

// Work below the windows shows no message itself. Where it has more to say than its code (a
// decoder's refusal in its own words, a profile of the settings that cannot be used), it
// passes the words to the notice hook the program installed: the editor shows them in a box
// (MessageBoxInstall), vistel-cli writes them on stderr. Without a hook they go nowhere.
typedef void (*NoticeHook)(const char *title, const char *text);
void NoticeInstall(NoticeHook hook);

// Formats a notice with FormatString, in 256 characters at most, and hands it to the hook.
void Notice(const char *title, const char *format, ...);
