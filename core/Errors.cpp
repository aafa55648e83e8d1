// The table of messages, the texts made from them, and the notice hook.
#include "core/Errors.h"

#include <climits>
#include <cstring>

#include "core/File.h"
#include "core/FormatString.h"
#include "core/Text.h"

static const char *const ERROR_MESSAGES[ERROR_COUNT] = {
    "OK", // 0
    "Out of memory", // 1
    "Unexpected end of file", // 2
    "Cannot create file", // 3
    "Cannot open file", // 4
    "Error reading file", // 5
    "Error writing file (disk full or read-only file?)", // 6
    "Error getting file position", // 7
    "Error setting file position", // 8
    "Error closing file", // 9
    "Error changing working directory", // 10
    "Operation Aborted", // 11
    "Error reading file header", // 12
    "Too many images", // 13
    "Illegal input image type", // 14
    "Illegal color line file", // 15
    "Illegal curve file", // 16
    "Illegal monitor calibration file", // 17
    "Error converting color space", // 18
    "CD-ROM drive not found", // 19
    "PhotoCD overview file not found", // 20
    "Cannot convert image data to scanner profile", // 21
    "Error reading JPEG file", // 22
    "Error writing JPEG file (disk full or read-only file?)", // 23
    "Only grayscale or color images can be saved in JPEG format", // 24
    "Error reading TARGA file", // 25
    "Error writing TARGA file (disk full or read-only file?)", // 26
    "Only grayscale or color images can be saved in TARGA format", // 27
    "Error reading BMP file", // 28
    "Error writing BMP file (disk full or read-only file?)", // 29
    "Only binary, grayscale, or color images can be saved in BMP format", // 30
    "Illegal color balance file", // 31
    "Can't clone an image of this type", // 32
    "Can't paint or draw on an image of this type", // 33
    "Can't clone color over gray", // 34
    "Can't retouch an image of this type", // 35
    "Window in use - cannot close", // 36
    "Can't create or delete read-only file", // 37
    "Error deleting file", // 38
    "Photo CD drive not specified -- see File Preferences", // 39
    "Cannot determine printer page size", // 40
    "Error generating spline curve", // 41
    "Illegal color curve file", // 42
    "Illegal input gamma value", // 43
    "Illegal output gamma value", // 44
    "Problem reading FlashPix file", // 45
    "Only grayscale images can be saved in FITS format", // 46
    "Only binary, grayscale, or color images can be saved in PNG format", // 47
    "Problem reading PNG file", // 48
    "Problem writing PNG file", // 49
    "Problem reading PCX file", // 50
    "Problem writing PCX file", // 51
    "Only binary, grayscale, or color images can be saved in PCX format", // 52
    "Problem reading GIF file", // 53
    "Problem writing GIF file", // 54
    "Only binary, grayscale, or color images can be saved in GIF format", // 55
    "Problem reading TIFF file", // 56
    "Problem writing TIFF file", // 57
    "Only binary, grayscale, or color images can be saved in TIFF format", // 58
    "Problem writing EPS file", // 59
    "Only binary, grayscale, or color images can be saved in EPS format", // 60
    "All alignment points must be distinct", // 61
    "No halftone screen image specified", // 62
    "Problem writing FlashPix file", // 63
    "Print area too small (check margins)", // 64
    "Error checking directory", // 65
    "No left image specified", // 66
    "No right image specified", // 67
    "Only save grayscale or color images can be saved in FlashPix format", // 68
    "Display adapter set to less than 256 colors", // 69
    "Unsupported clipboard compression type", // 70
    "Unknown file type", // 71
    "This application requires Windows 3.1", // 72
    "Internal Error 1", // 73
    "Internal Error 2", // 74
    "Internal Error 3", // 75
    "Window in use - cannot save under a new name", // 76
    "No image specified or images not all the same type", // 77
    "File of same name already open", // 78
    "Error reading PhotoCD Image", // 79
    "Cannot compute perspective transformation", // 80
    "Image too small", // 81
    "Tools/Probes don't work on preview windows", // 82
    "Windows is not running in Enhanced Mode", // 83
    "Error reading FITS file", // 84
    "Error writing FITS file", // 85
    "Display is set to 256 colors but palette is disabled", // 86
    "Illegal color registration file", // 87
    "Cannot find or create the temporary file directory", // 88
    "Error scanning directory for matching files", // 89
    "Error reading PhotoCD file", // 90
    "Density value illegal or out of sequence", // 91
    "Missing reference image file: refimg.jpg", // 92
    "Illegal drive letter", // 93
    "Printer not ready", // 94
    "Illegal page layout file", // 95
    "Error reading RLE file", // 96
    "Error writing RLE file (disk full or read-only file?)", // 97
    "Only binary or grayscale image can be saved in RLE format", // 98
    "Error reading image file", // 99
    "Illegal color correction file", // 100
    "Image too big for clipboard", // 101
    "Image too wide", // 102
    "Error deleting folder", // 103
    "Error reading file comments", // 104
    "Error opening color profile", // 105
    "Invalid color profile", // 106
    "No color profile", // 107
    "Not a color space profile", // 108
    "Error creating color transform", // 109
    "Error applying color transform", // 110
    "Error enumerating color profiles", // 111
    "Error enumerating color management modules", // 112
    "Error computing drop shadow", // 113
    "Error loading saved polygon or spline", // 114
    "Error saving polygon or spline", // 115
    "Missing or invalid target image", // 116
    "Error reading color profile from JPEG file", // 117
    "Error writing color profile from JPEG file", // 118
    "Error reading reference file", // 119
    "Illegal color management settings file", // 120
    "A target color profile is required when transforming image data", // 121
    "Color temperature out of range", // 122
    "Image types must all be the same", // 123
    "Image sizes must all be the same", // 124
    "File Open already in progress\nPlease retry after current file operation completes.", // 125
};

const char *ErrorText(ErrorCode code)
{
    if (code == ERROR_FILE_DAMAGED) return "File is damaged";
    if (code < 0 || code >= ERROR_COUNT) return "Unrecognized Error";
    return ERROR_MESSAGES[code];
}

void ErrorFileText(ErrorCode code, const char *path, char *text, int capacity)
{
    static const char CUT[] = "...";
    const char *message = ErrorText(code);
    int messageLength = (int)strlen(message);
    int pathLength = (int)strlen(path);
    int room = capacity - 1 - messageLength - 1; // for the path: all but the line break
    if (room < (int)sizeof CUT) {
        StrCopyLimit(message, text, capacity - 1);
        return;
    }
    text[0] = 0;
    if (pathLength > room) {
        strcpy(text, CUT);
        path += pathLength - (room - (int)strlen(CUT));
    }
    strcat(text, path);
    strcat(text, "\n");
    strcat(text, message);
}

void FileDamageClear(FileDamage *damage)
{
    damage->first = -1;
    damage->last = -1;
    damage->columns = 0;
    damage->colors = 0;
}

void FileDamageRows(FileDamage *damage, int64_t first, int64_t last)
{
    if (first < 0 || last < first || last > INT32_MAX) return;
    if (damage->first < 0 || first < damage->first) damage->first = (int32_t)first;
    if (last > damage->last) damage->last = (int32_t)last;
}

int FileDamaged(const FileDamage *damage)
{
    return damage->first >= 0 || damage->colors;
}

void FileDamageText(const FileDamage *damage, char *text, int size)
{
    const char *lines = damage->columns ? "columns" : "rows";
    const char *line = damage->columns ? "column" : "row";
    const char *colors = damage->colors ? " and its colors" : "";
    if (damage->first < 0)
        FormatString(text, size, "%s: its colors are missing", ErrorText(ERROR_FILE_DAMAGED));
    else if (damage->first == damage->last)
        FormatString(text, size, "%s: %s %d%s %s missing", ErrorText(ERROR_FILE_DAMAGED), line,
                     damage->first, colors, damage->colors ? "are" : "is");
    else
        FormatString(text, size, "%s: %s %d to %d%s are missing", ErrorText(ERROR_FILE_DAMAGED),
                     lines, damage->first, damage->last, colors);
}

// Where notices go; nowhere until the program installs its hook.
static NoticeHook InstalledNotice;

void NoticeInstall(NoticeHook hook)
{
    InstalledNotice = hook;
}

void Notice(const char *title, const char *format, ...)
{
    char text[256];
    va_list arguments;
    if (InstalledNotice == nullptr) return;
    va_start(arguments, format);
    FormatStringV(text, sizeof text, format, arguments);
    va_end(arguments);
    InstalledNotice(title, text);
}
