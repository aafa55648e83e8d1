// Window Info: what the active picture is, in lines of text in a small modal dialog.
//
// The lines are made by a plain function so that they can be checked without a screen; the
// dialog only lays them out one under the other above an OK button.
#include "shell/WindowInfo.h"

#include <cstring>
#include <ctime>
#include <sys/stat.h>

#include "color/ProfileHeader.h"
#include "core/FormatString.h"
#include "core/Preferences.h"
#include "files/FileType.h"
#include "shell/Shell.h"
#include "ui/DialogLayout.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"

constexpr double CM_PER_INCH = 2.540005;
constexpr double MM_PER_INCH = 25.40005;
constexpr int INFO_FIRST_ID = 100; // the static texts are 100, 101, ...
constexpr int INFO_OK_ID = 1;
constexpr int INFO_MIN_WIDTH = 240; // pixels of the text column at least
// A shortened path keeps its beginning (the drive or top folders) and its end (the name).
constexpr int SHORT_HEAD = 24;
constexpr int SHORT_TAIL = WINDOW_INFO_NAME_MAX - SHORT_HEAD - 3;

static const char *const MONTHS[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The name of a file format by its open number.
static const char *FormatName(int fileType)
{
    switch (fileType) {
    case FILE_OPEN_TIFF: return "TIFF";
    case FILE_OPEN_JPEG: return "JPEG";
    case FILE_OPEN_BMP: return "BMP";
    case FILE_OPEN_TARGA: return "Targa";
    case FILE_OPEN_PCX: return "PCX";
    case FILE_OPEN_GIF: return "GIF";
    case FILE_OPEN_PHOTOCD: return "Photo CD";
    case FILE_OPEN_PNG: return "PNG";
    case FILE_OPEN_FLASHPIX: return "FlashPix";
    case FILE_OPEN_FITS: return "FITS";
    case FILE_OPEN_RLE: return "RLE";
    case FILE_OPEN_RAW: return "Camera Raw";
    default: return "Unknown";
    }
}

// A count of bytes as "%, bytes"; past the range of an int (a picture of several gigabytes)
// the digits are grouped here the same way.
static void BytesLine(int64_t value, char *text)
{
    if (value <= 2147483647) {
        FormatString(text, WINDOW_INFO_TEXT, "%, bytes", (int)value);
        return;
    }
    char digits[32];
    int count = 0;
    do {
        digits[count++] = (char)('0' + value % 10);
        value /= 10;
    } while (value != 0);
    int length = 0;
    for (int i = count - 1; i >= 0; i--) {
        text[length++] = digits[i];
        if (i > 0 && i % 3 == 0) text[length++] = ',';
    }
    FormatString(text + length, WINDOW_INFO_TEXT - length, " bytes");
}

// A path, or its head and tail around "..." when it is long: "%s...%s" in format's place.
static void PathLine(const char *path, const char *format, const char *shortFormat, char *text)
{
    int length = (int)strlen(path);
    if (length <= WINDOW_INFO_NAME_MAX) {
        FormatString(text, WINDOW_INFO_TEXT, format, path);
        return;
    }
    char head[SHORT_HEAD + 1];
    memcpy(head, path, SHORT_HEAD);
    head[SHORT_HEAD] = 0;
    FormatString(text, WINDOW_INFO_TEXT, shortFormat, head, path + length - SHORT_TAIL);
}

int WindowInfoTexts(const ImageWindow *record, char texts[][WINDOW_INFO_TEXT], int capacity)
{
    int count = 0;
    auto next = [&]() -> char * { return count < capacity ? texts[count++] : nullptr; };
    char *line;
    const Image *image = &record->picture.image;

    if ((line = next()) != nullptr)
        FormatString(line, WINDOW_INFO_TEXT, "%s", ImageTypeName(image->type));
    if ((image->type == TYPE_COLOR24 || image->type == TYPE_COLOR48) &&
        record->picture.profile != nullptr) {
        char description[PROFILE_DESCRIPTION_MAX];
        char maker[PROFILE_DESCRIPTION_MAX];
        if (ProfileDescription(record->picture.profile, record->picture.profileSize, description,
                               sizeof description) == ERROR_NONE &&
            ProfileManufacturer(record->picture.profile, record->picture.profileSize, maker,
                                sizeof maker) == ERROR_NONE &&
            (line = next()) != nullptr)
            FormatString(line, WINDOW_INFO_TEXT, "%s [%s]", description, maker);
    }

    if ((line = next()) != nullptr) BytesLine((int64_t)image->rowBytes * image->height, line);
    if ((line = next()) != nullptr)
        FormatString(line, WINDOW_INFO_TEXT, "%, x %, pixels", image->width, image->height);
    // A picture without a resolution of its own measures at the preference's.
    double resolution = image->resolution > 0 ? image->resolution : Prefs.defaultResolution;
    double inchesWide = image->width / resolution;
    double inchesHigh = image->height / resolution;
    if ((line = next()) != nullptr)
        FormatString(line, WINDOW_INFO_TEXT, "%2f x %2f inches", inchesWide, inchesHigh);
    if ((line = next()) != nullptr)
        FormatString(line, WINDOW_INFO_TEXT, "%2f x %2f cm", inchesWide * CM_PER_INCH,
                     inchesHigh * CM_PER_INCH);
    if ((line = next()) != nullptr)
        FormatString(line, WINDOW_INFO_TEXT, "%2f x %2f mm", inchesWide * MM_PER_INCH,
                     inchesHigh * MM_PER_INCH);
    if ((line = next()) != nullptr) FormatString(line, WINDOW_INFO_TEXT, "%2f dpi", resolution);
    if (record->picture.derivedFrom[0] != 0 && (line = next()) != nullptr)
        PathLine(record->picture.derivedFrom, "Derived from: %s", "Derived from: %s...%s", line);

    if (record->picture.fileName[0] != 0 && (line = next()) != nullptr)
        PathLine(record->picture.fileName, "%s", "%s...%s", line);
    if ((line = next()) != nullptr)
        FormatString(line, WINDOW_INFO_TEXT, "%s", FormatName(record->picture.fileType));
    struct stat status;
    if (record->picture.fileName[0] != 0 && stat(record->picture.fileName, &status) == 0) {
        if ((line = next()) != nullptr) BytesLine((int64_t)status.st_size, line);
        time_t modified = status.st_mtime;
        struct tm local;
#ifdef _WIN32
        int known = localtime_s(&local, &modified) == 0;
#else
        int known = localtime_r(&modified, &local) != nullptr;
#endif
        if (known && (line = next()) != nullptr)
            FormatString(line, WINDOW_INFO_TEXT, "%d-%s-%d %2d:%2d", local.tm_mday,
                         MONTHS[local.tm_mon], local.tm_year + 1900, local.tm_hour, local.tm_min);
    }
    return count;
}

static MessageResult WindowInfoProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                         intptr_t lParam)
{
    switch (message) {
    case MSG_COMMAND:
        if ((wParam & 0xffff) == INFO_OK_ID) PlatformEndModal(window, 1);
        return 0;
    case MSG_CLOSE: PlatformEndModal(window, 0); return 0;
    case MSG_CHAR:
        // Return and Esc both close a view that has nothing to apply or cancel.
        if (wParam == '\r' || wParam == 27) PlatformEndModal(window, 1);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

void WindowInfoRegister(void)
{
    ChildKindRegister(KIND_WINDOW_INFO, WindowInfoProcedure);
}

void ShowWindowInfo(WindowHandle window)
{
    const ImageWindow *record = WindowRecord(window);
    if (record == nullptr) return;
    static char texts[WINDOW_INFO_LINES][WINDOW_INFO_TEXT];
    int count = WindowInfoTexts(record, texts, WINDOW_INFO_LINES);

    // The dialog is as wide as its longest line, and centred in the workspace.
    int textWidth = INFO_MIN_WIDTH;
    for (int i = 0; i < count; i++) {
        int width = PlatformTextWidth(texts[i], (int)strlen(texts[i]));
        if (width > textWidth) textWidth = width;
    }
    int clientWidth = textWidth + 2 * Margin;
    int clientHeight = count * LineHeight + ButtonHeight + 3 * Margin;
    int width = clientWidth + DisplayMetrics.dialogFrame;
    int height = clientHeight + DisplayMetrics.dialogBorder;
    int x, y;
    WorkspaceCentre(width, height, &x, &y);
    WindowCreate request = {CLASS_CHILD,
                            KIND_WINDOW_INFO,
                            -1,
                            "Window Info",
                            STYLE_DIALOG | STYLE_CAPTION,
                            x,
                            y,
                            width,
                            height,
                            nullptr,
                            0,
                            0};
    WindowHandle dialog = PlatformCreateWindow(&request);
    if (dialog == nullptr) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    for (int i = 0; i < count; i++) {
        Rect rect = {Margin, Margin + i * LineHeight, Margin + textWidth,
                     Margin + (i + 1) * LineHeight};
        PlatformCreateControl(dialog, CONTROL_STATIC, INFO_FIRST_ID + i, texts[i], ALIGN_LEFT,
                              &rect);
    }
    int buttonWidth = PlatformTextWidth("OK", 2) + 4 * Margin;
    Rect button = {(clientWidth - buttonWidth) / 2, clientHeight - Margin - ButtonHeight,
                   (clientWidth + buttonWidth) / 2, clientHeight - Margin};
    PlatformCreateControl(dialog, CONTROL_BUTTON, INFO_OK_ID, "OK", CONTROL_DEFAULT, &button);
    PlatformActivateWindow(dialog);
    PlatformRunModal(dialog);
    PlatformDestroyWindow(dialog);
    if (PlatformWindowExists(window)) PlatformActivateWindow(window);
}
