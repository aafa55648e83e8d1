// File Open, Save, Save As and Revert as the user meets them: the file dialogs with the
// filters of the type table, the rules that keep a name and its type together, the questions
// before a file is replaced or a 16-bit picture loses depth, the recent files of the File
// menu, and the queue of files that arrive while something must not be interrupted.
//
// The readers and writers pump messages, so a command can arrive while a file is read or
// written: a flag answers such an open with ERROR_OPEN_IN_PROGRESS, and files handed over by
// a second start or dropped wait in the queue until nothing holds it.
#include "shell/FileFlow.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "color/ColorSettings.h"
#include "color/ProfileHeader.h"
#include "color/ProfileTransform.h"
#include "color/Profiles.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "core/Text.h"
#include "files/FileType.h"
#include "shell/Commands.h"
#include "shell/Dialogs.h"
#include "shell/Preferences.h"
#include "shell/Undo.h"
#include "ui/DialogLayout.h"
#include "ui/Display.h"
#include "ui/DisplayColor.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/ProgressWindow.h"
#include "ui/SettingsStore.h"

static const int FILTERS_CAPACITY = 2048; // bytes of the filter list of a file dialog
static const int PATTERN_CAPACITY = 128;
static const int OPEN_FILTERS_MAX = 64; // filters of File Open at most
static const int RECENT_MENU_PATH = 60; // characters of a path a recent-file item shows
static const int RECENT_MENU_TEXT = 2 * RECENT_MENU_PATH + 16;

struct QueuedFile {
    QueuedFile *next;
    char path[PATH_LENGTH];
};

static int LastSaveNumber;      // the save type of the last Save As of the run, 0 before one
static int FileOperationActive; // 1 while a file is read or written
static int QueueHolds;          // how many things hold the open queue
static int Draining;            // 1 while DrainOpenQueue opens files
static QueuedFile *QueueFirst;
static QueuedFile *QueueLast;

// ---------------------------------------------------------------------------------------
// Small helpers of paths and types.

static int IsSeparator(char c)
{
    return c == '/' || c == '\\' || c == ':';
}

// The part of a path after its last separator.
static const char *FileNamePart(const char *path)
{
    const char *name = path;
    for (const char *at = path; *at != 0; at++)
        if (IsSeparator(*at)) name = at + 1;
    return name;
}

// folder := the path up to its last separator (the root keeps its own), or empty.
static void FolderPart(const char *path, char *folder)
{
    int cut = (int)(FileNamePart(path) - path);
    if (cut > 1) cut--; // drop the separator, except for the root itself
    if (cut > PATH_LENGTH - 1) cut = PATH_LENGTH - 1;
    memcpy(folder, path, (size_t)cut);
    folder[cut] = 0;
}

// 1 when a file (not a folder) exists at path.
static int FileExists(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && !S_ISDIR(status.st_mode);
}

// The path as the program keeps it: a relative name (from a command line) is taken from
// the current folder, so that the recent list still finds it after the folder changes.
static void PathAbsolute(const char *path, char *absolute)
{
    char folder[PATH_LENGTH];
    int rooted = path[0] == '/' || path[0] == '\\' || (path[0] != 0 && path[1] == ':');
    if (rooted || getcwd(folder, sizeof folder) == nullptr) {
        StrCopyLimit(path, absolute, PATH_LENGTH - 1);
        return;
    }
    JoinPath(absolute, folder, path);
}

// The save number of an open number, FILE_SAVE_NONE for a type that cannot be written.
static int SaveNumberOfOpen(int openNumber)
{
    const FileTypeEntry *entry = FileTypeByOpen(openNumber);
    return entry != nullptr ? entry->saveNumber : FILE_SAVE_NONE;
}

// The open number a file saved in a type carries; 0 for EPS, which cannot be opened.
static int OpenNumberOfSave(int saveNumber)
{
    const FileTypeEntry *entry = FileTypeBySave(saveNumber);
    return entry != nullptr ? entry->openNumber : 0;
}

// The extension an open type adds to a name without one: its first, in small letters.
static void OpenExtension(int openNumber, char *extension)
{
    const FileTypeEntry *entry = FileTypeByOpen(openNumber);
    extension[0] = 0;
    if (entry == nullptr || entry->extensions[0] == nullptr) return;
    FormatString(extension, 16, ".%s", entry->extensions[0]);
    StrLowerAscii(extension);
}

// Appends a filter of the type table to a list of label and pattern pairs: the pattern
// joins the type's extensions ("*.tif;*.tiff"). Returns the new length.
static int FilterAppend(char *filters, int length, const FileTypeEntry *entry)
{
    char pattern[PATTERN_CAPACITY];
    int at = 0;
    pattern[0] = 0;
    if (entry->openNumber == FILE_OPEN_ALL) {
        StrCopyLimit("*.*", pattern, PATTERN_CAPACITY - 1);
    } else if (entry->extensions[0] == nullptr) {
        FormatString(pattern, PATTERN_CAPACITY, "*%s", entry->defaultExtension);
    } else {
        for (int i = 0; entry->extensions[i] != nullptr; i++)
            at += FormatString(pattern + at, PATTERN_CAPACITY - at, i > 0 ? ";*.%s" : "*.%s",
                               entry->extensions[i]);
    }
    StrLowerAscii(pattern);
    int labelBytes = (int)strlen(entry->label) + 1;
    int patternBytes = (int)strlen(pattern) + 1;
    if (length + labelBytes + patternBytes + 1 > FILTERS_CAPACITY) return length;
    memcpy(filters + length, entry->label, (size_t)labelBytes);
    memcpy(filters + length + labelBytes, pattern, (size_t)patternBytes);
    length += labelBytes + patternBytes;
    filters[length] = 0; // the list ends with an empty string
    return length;
}

// The filters of File Open, every type that opens in the order of the table; numbers[i]
// (capacity entries) receives the open number of filter i. Returns the count.
static int OpenFilters(char *filters, int *numbers, int capacity)
{
    int length = 0;
    int count = 0;
    filters[0] = 0;
    for (int i = 0; i < FILE_TYPE_COUNT && count < capacity; i++) {
        if (FILE_TYPES[i].openNumber <= 0) continue;
        length = FilterAppend(filters, length, &FILE_TYPES[i]);
        numbers[count++] = FILE_TYPES[i].openNumber;
    }
    return count;
}

// The filters of File Save: TIFF to RLE, filter i being save number i + 1.
static void SaveFilters(char *filters)
{
    int length = 0;
    filters[0] = 0;
    for (int saveNumber = FILE_SAVE_TIFF; saveNumber < FILE_SAVE_COUNT; saveNumber++)
        length = FilterAppend(filters, length, FileTypeBySave(saveNumber));
}

// ---------------------------------------------------------------------------------------
// File Open.

int InitialZoom(int width, int height)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    Rect client = {0, 0, metrics.screenWidth, metrics.screenHeight};
    if (PlatformWorkspace() != nullptr) PlatformGetClientRect(PlatformWorkspace(), &client);
    int extraWidth = metrics.frameSize + 2 * Prefs.borderWidth;
    int extraHeight = metrics.borderSize + 2 * Prefs.borderWidth;
    int largest = width > height ? width : height;
    int n = 1;
    // At n = largest the picture is a pixel; a workspace smaller than the frame ends there.
    while (n < largest && ((width + n - 1) / n + extraWidth > client.right ||
                           (height + n - 1) / n + extraHeight > client.bottom))
        n++;
    return n < 2 ? 1 : -n;
}

// The checks of an opened color picture against the working space, with the dialog when
// they leave the choice to the user. *changed tells whether the picture now differs from its
// file: converted, or given another profile.
static ErrorCode OpenProfileStep(ImageWindow *record, int *changed)
{
    ErrorCode result = ERROR_NONE;
    uint8_t *before = nullptr;
    int beforeSize = record->picture.profile != nullptr ? record->picture.profileSize : 0;
    int ask = 0;
    int modified = 0;

    *changed = 0;
    if (beforeSize > 0) {
        before = (uint8_t *)MemoryAlloc((size_t)beforeSize);
        if (before == nullptr) return ERROR_NO_MEMORY;
        memcpy(before, record->picture.profile, (size_t)beforeSize);
    }
    result = OpenProfileCheck(&record->picture, &ask, &modified);
    DisplayReset(record);
    if (modified && record->window != nullptr)
        PlatformSetWindowWord(record->window, WORD_MODIFIED, 1);
    if (result == ERROR_NONE && ask) result = RunOpenCheckDialog(record);
    if (result == ERROR_NONE) {
        const uint8_t *after = record->picture.profile;
        int afterSize = after != nullptr ? record->picture.profileSize : 0;
        *changed = modified || afterSize != beforeSize ||
                   (afterSize > 0 && memcmp(before, after, (size_t)afterSize) != 0);
    }
    MemoryFree(before);
    return result;
}

// The File Open dialog, and each chosen file opened in turn until the first failure.
static ErrorCode OpenChosenFiles(WindowHandle *window)
{
    ErrorCode result = ERROR_NONE;
    char filters[FILTERS_CAPACITY];
    int numbers[OPEN_FILTERS_MAX];
    char folder[PATH_LENGTH];
    FileDialogResult chosen;
    char *paths = nullptr;
    size_t bytes = 0;

    int count = OpenFilters(filters, numbers, OPEN_FILTERS_MAX);
    int first = 0;
    for (int i = 0; i < count; i++)
        if (numbers[i] == Prefs.defaultFileOpenType) first = i;
    RememberedFolderGet(FOLDER_SHARED, folder, sizeof folder);
    // The pattern of the filter shown first is also the name the dialog starts with.
    FileDialogRequest request = {FILE_DIALOG_OPEN_MANY,
                                 "File Open",
                                 filters,
                                 first,
                                 folder,
                                 ZListItem(filters, 2 * first + 1)};
    if (!PlatformFileDialog(&request, &chosen)) goto done; // Cancel: nothing to open

    // The platform keeps the paths only until its next dialog, which an open may show.
    while (chosen.paths[bytes] != 0)
        bytes += strlen(chosen.paths + bytes) + 1;
    paths = (char *)MemoryAlloc(bytes + 1);
    if (paths == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    memcpy(paths, chosen.paths, bytes + 1);
    if (paths[0] != 0) RememberedFolderSet(FOLDER_SHARED, paths);
    for (const char *path = paths; *path != 0; path += strlen(path) + 1) {
        WindowHandle opened = nullptr;
        result = OpenImageFile(path, -1, &opened);
        // A missing file has been reported and opened nothing: it stops the rest as well.
        if (result != ERROR_NONE || opened == nullptr) break;
        *window = opened;
    }
done:
    MemoryFree(paths);
    return result;
}

ErrorCode OpenImageFile(const char *path, int type, WindowHandle *window)
{
    ErrorCode result = ERROR_NONE;
    char fullPath[PATH_LENGTH];
    char extension[16];
    ImageWindow *record = nullptr;
    WindowHandle existing;
    FileDamage damage; // what a file that ends early could not give
    int slot = -1;
    int operating = 0;
    int changed = 0;

    *window = nullptr;
    FileDamageClear(&damage);
    if (FileOperationActive) return ERROR_OPEN_IN_PROGRESS;
    OpenQueueHold();
    if (path == nullptr) {
        result = OpenChosenFiles(window);
        goto done;
    }

    // "All Files" takes the type the extension names, when it names one.
    if (type == -1) type = FILE_OPEN_ALL;
    if (type == FILE_OPEN_ALL) {
        int detected = DetectFileType(path);
        if (detected > 0) type = detected;
    }
    // The extension goes on before the test for an open window, so that "name" opened as
    // TIFF finds the window of "name.tif".
    PathAbsolute(path, fullPath);
    if (type != FILE_OPEN_ALL) {
        OpenExtension(type, extension);
        AddDefaultExtension(fullPath, extension);
    }
    existing = FindImageWindow(fullPath);
    if (existing != nullptr) {
        PlatformActivateWindow(existing);
        *window = existing;
        goto done;
    }
    if (!FileExists(fullPath)) {
        ShowMessage("Error", "File does not exist: %s", fullPath);
        RemoveRecentFile(fullPath);
        goto done;
    }

    // Albums are not among the types FileLoad reads; it refuses them with its code.
    result = SlotAllocate(&slot, &record);
    if (result != ERROR_NONE) goto done;
    FileOperationActive = operating = 1;
    result = FileLoadPartial(fullPath, type, &record->picture, 1, &damage);
    if (result != ERROR_NONE) goto done;
    AddRecentFile(fullPath);
    StrCopyLimit(fullPath, record->picture.fileName, PATH_LENGTH - 1);
    if (CurrentColorSettings.enabled && (record->picture.image.type == TYPE_COLOR24 ||
                                         record->picture.image.type == TYPE_COLOR48)) {
        result = OpenProfileStep(record, &changed);
        if (result != ERROR_NONE) goto done;
    }
    // "All Files" stays the window's type even when the content told the reader more, so
    // that Save asks for a name and a type rather than writing over an unknown file.
    record->picture.fileType = type;
    record->zoom = InitialZoom(record->picture.image.width, record->picture.image.height);
    result = ImageWindowShow(record, window);
    if (result != ERROR_NONE) goto done;
    slot = -1; // the window owns the record now
    if (changed) PlatformSetWindowWord(*window, WORD_MODIFIED, 1);
    // A damaged file opens with what it holds, and the user is told what it lacks.
    if (FileDamaged(&damage)) {
        char text[200];
        FileDamageText(&damage, text, sizeof text);
        ShowMessage("Warning", "%s", text);
    }
done:
    if (operating) FileOperationActive = 0;
    if (slot >= 0) SlotFree(slot);
    OpenQueueRelease();
    return result;
}

// ---------------------------------------------------------------------------------------
// Save, Save As, Revert.

// The name Save As offers: the file's own name, else the window's title, else "Untitled",
// with the extension of the save type in place of its own.
static void InitialName(WindowHandle window, const ImageWindow *record, int saveNumber, char *name)
{
    if (record->picture.fileName[0] != 0) {
        StrCopyLimit(FileNamePart(record->picture.fileName), name, PATH_LENGTH - 1);
    } else {
        WindowTitle(window, name, PATH_LENGTH);
        // A title may show a path; what no file name can hold becomes an underscore.
        for (char *at = name; *at != 0; at++)
            if (strchr("/\\:*?\"<>|", *at) != nullptr) *at = '_';
    }
    if (name[0] == 0) StrCopyLimit("Untitled", name, PATH_LENGTH - 1);
    char *dot = strrchr(name, '.');
    if (dot != nullptr && dot != name) *dot = 0;
    AddDefaultExtension(name, FileTypeBySave(saveNumber)->defaultExtension);
}

// The writer, with the flag that turns away an open meanwhile. The messages of failed saves
// do not name the file, so the message shown for this one starts with its path.
static ErrorCode WritePicture(const char *path, int saveNumber, ImageWindow *record)
{
    int quality = Saved.jpegQuality[0];
    if (quality < 1 || quality > 100) quality = 97; // the JPEG dialog's own default
    FileOperationActive = 1;
    ErrorCode result = FileSave(path, saveNumber, &record->picture, quality);
    FileOperationActive = 0;
    if (result != ERROR_NONE && result != ERROR_ABORTED) ErrorFileNote(result, path);
    return result;
}

// What a successful Save As changes: the window now stands for the new file.
static void SavedAs(WindowHandle window, ImageWindow *record, const char *path, int saveNumber)
{
    LastSaveNumber = saveNumber;
    AddRecentFile(path);
    PlatformSetWindowWord(window, WORD_MODIFIED, 0);
    StrCopyLimit(path, record->picture.fileName, PATH_LENGTH - 1);
    record->picture.fileType = OpenNumberOfSave(saveNumber);
    UpdateTitle(window);
    RefreshUsers(window);
}

ErrorCode SaveImageAs(WindowHandle window, int startAtFile)
{
    ErrorCode result = ERROR_NONE;
    ImageWindow *record = WindowRecord(window);
    char filters[FILTERS_CAPACITY];
    char folder[PATH_LENGTH];
    char name[PATH_LENGTH];
    char path[PATH_LENGTH];
    int saveNumber = FILE_SAVE_NONE;

    if (record == nullptr) return ERROR_ILLEGAL_TYPE;
    if (FileOperationActive) return ERROR_OPEN_IN_PROGRESS;
    SaveFilters(filters);
    // The file's own type is offered when there is a file or the preference asks for it;
    // otherwise the type of the last Save As, and at first the preferred one.
    if (record->picture.fileName[0] != 0 || Prefs.honorFileSaveType)
        saveNumber = SaveNumberOfOpen(record->picture.fileType);
    if (saveNumber < 1)
        saveNumber = LastSaveNumber > 0 ? LastSaveNumber : Prefs.defaultFileSaveType;
    if (FileTypeBySave(saveNumber) == nullptr) saveNumber = FILE_SAVE_TIFF;
    InitialName(window, record, saveNumber, name);
    if (startAtFile && record->picture.fileName[0] != 0)
        FolderPart(record->picture.fileName, folder);
    else
        RememberedFolderGet(FOLDER_SHARED, folder, sizeof folder);

    OpenQueueHold();
    for (;;) {
        // ConfirmOverwrite asks about an existing file, so the dialog must not ask as well.
        FileDialogRequest request = {
            FILE_DIALOG_SAVE_NO_PROMPT, "File Save", filters, saveNumber - 1, folder, name};
        FileDialogResult chosen;
        if (!PlatformFileDialog(&request, &chosen)) {
            result = ERROR_ABORTED;
            break;
        }
        StrCopyLimit(chosen.paths, path, PATH_LENGTH - 1);
        if (FileTypeBySave(chosen.filter + 1) != nullptr) saveNumber = chosen.filter + 1;
        RememberedFolderSet(FOLDER_SHARED, path);
        AddDefaultExtension(path, FileTypeBySave(saveNumber)->defaultExtension);
        // A dialog opened again starts where the user was, with what was typed.
        FolderPart(path, folder);
        StrCopyLimit(FileNamePart(path), name, PATH_LENGTH - 1);
        if (!FileSaveExtensionAccepted(saveNumber, path)) {
            ShowMessage("Error", "%s", FileSaveExtensionMessage(saveNumber));
            continue;
        }
        if (ConfirmOverwrite(path, window)) continue;
        if (saveNumber != FILE_SAVE_TIFF && saveNumber != FILE_SAVE_FITS &&
            Warn16BitLoss(window, window))
            continue;
        result = WritePicture(path, saveNumber, record);
        if (result == ERROR_NONE) SavedAs(window, record, path, saveNumber);
        break;
    }
    OpenQueueRelease();
    return result;
}

ErrorCode SaveImage(WindowHandle window)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr) return ERROR_ILLEGAL_TYPE;
    int saveNumber = SaveNumberOfOpen(record->picture.fileType);
    if (record->picture.fileName[0] == 0 || saveNumber == FILE_SAVE_NONE)
        return SaveImageAs(window, 1);
    if (FileOperationActive) return ERROR_OPEN_IN_PROGRESS;
    // A 16-bit picture has a type that keeps 16 bits here: Save As reduced it otherwise.
    OpenQueueHold();
    ErrorCode result = WritePicture(record->picture.fileName, saveNumber, record);
    if (result == ERROR_NONE) PlatformSetWindowWord(window, WORD_MODIFIED, 0);
    OpenQueueRelease();
    return result;
}

ErrorCode RevertImage(WindowHandle window)
{
    ErrorCode result = ERROR_NONE;
    ImageWindow *record = WindowRecord(window);
    Picture scratch;
    int resized;

    if (record == nullptr) return ERROR_ILLEGAL_TYPE;
    if (record->picture.fileName[0] == 0) return ERROR_NONE;
    if (FileOperationActive) return ERROR_OPEN_IN_PROGRESS;
    // The file is read beside the picture, so that a failed read leaves the window as it was.
    PictureReset(&scratch);
    OpenQueueHold();
    FileOperationActive = 1;
    result = FileLoad(record->picture.fileName,
                      record->picture.fileType > 0 ? record->picture.fileType : FILE_OPEN_ALL,
                      &scratch, 1);
    FileOperationActive = 0;
    if (result != ERROR_NONE) goto done;

    // The picture, its comments and its profile change places with what was read; the
    // old ones leave with the scratch record.
    resized = scratch.image.width != record->picture.image.width ||
              scratch.image.height != record->picture.image.height;
    {
        Image image = record->picture.image;
        FileComment *comments = record->picture.comments;
        uint8_t *profile = record->picture.profile;
        int32_t profileSize = record->picture.profileSize;
        record->picture.image = scratch.image;
        record->picture.comments = scratch.comments;
        record->picture.profile = scratch.profile;
        record->picture.profileSize = scratch.profileSize;
        scratch.image = image;
        scratch.comments = comments;
        scratch.profile = profile;
        scratch.profileSize = profileSize;
    }
    DisplayReset(record);
    UndoForget(window); // its copies belong to the picture that was there
    PlatformSetWindowWord(window, WORD_MODIFIED, 0);
    if (resized) {
        // A file changed on disk may hold another size: the window lays itself out anew.
        Rect client;
        PlatformGetClientRect(window, &client);
        PlatformSendMessage(window, MSG_SIZE, SIZE_RESTORED,
                            MakeParam(client.right, client.bottom));
    }
    result = RefreshView(record);
    PlatformInvalidate(window, nullptr);
    RefreshUsers(window);
done:
    PictureFree(&scratch);
    OpenQueueRelease();
    return result;
}

int ConfirmOverwrite(const char *path, WindowHandle window)
{
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child)) {
        if (child == window || PlatformGetWindowWord(child, WORD_KIND) != KIND_IMAGE) continue;
        ImageWindow *record = WindowRecord(child);
        if (record == nullptr || !StrEqualNoCase(record->picture.fileName, path)) continue;
        if (InUseBy(child) != nullptr) {
            ShowMessage("Error", "A file of this name is currently open and in use");
            return 1;
        }
        if (MessageDialog(nullptr, "Warning", MESSAGE_YES_NO,
                          "A file of this name is currently open.\nClose its window and replace "
                          "the existing file?") != ANSWER_YES)
            return 1;
        // The user has agreed to lose that window: it goes without the save question.
        PlatformDestroyWindow(child);
        return 0;
    }
    if (FileExists(path)) {
        char text[MESSAGE_TEXT_MAX + 1];
        FormatString(text, sizeof text, "Replace existing file: %s?", path);
        if (MessageDialog(nullptr, "Warning", MESSAGE_YES_NO, text) != ANSWER_YES) return 1;
    }
    return 0;
}

int Warn16BitLoss(WindowHandle owner, WindowHandle window)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr ||
        (record->picture.image.type != TYPE_GRAY16 && record->picture.image.type != TYPE_COLOR48))
        return 0;
    if (MessageDialog(owner, "Warning", MESSAGE_OK_CANCEL,
                      "Only TIFF and FITS file formats support 16-bit image data.\nConvert image "
                      "to 8-bit and continue?") != ANSWER_OK)
        return 1;
    ErrorCode result = FileReduceTo8Bits(&record->picture);
    if (result != ERROR_NONE) {
        ShowError(result);
        return 1;
    }
    // The picture changed in place: it no longer matches its file, its undo copies hold
    // 16-bit rectangles that no longer fit it, and its view and its users must follow.
    PlatformSetWindowWord(window, WORD_MODIFIED, 1);
    UndoForget(window);
    RefreshView(record);
    PlatformInvalidate(window, nullptr);
    RefreshUsers(window);
    return 0;
}

// ---------------------------------------------------------------------------------------
// The recent files.

// The length the preference allows, 0 to RECENT_FILE_MAX.
static int RecentLength(void)
{
    int length = Prefs.fileMenuLength;
    return length < 0 ? 0 : (length > RECENT_FILE_MAX ? RECENT_FILE_MAX : length);
}

static int RecentIndex(const char *path)
{
    for (int i = 0; i < Saved.recentCount; i++)
        if (StrEqualNoCase(Saved.recentFiles[i], path)) return i;
    return -1;
}

void AddRecentFile(const char *path)
{
    int length = RecentLength();
    if (Saved.recentCount > length) Saved.recentCount = length;
    // A cut path would name another file, or none.
    if (length > 0 && path[0] != 0 && strlen(path) < PATH_LENGTH) {
        // The entry that makes room: the path's own, else the first free one, else the last.
        int freed = RecentIndex(path);
        if (freed < 0) freed = Saved.recentCount < length ? Saved.recentCount++ : length - 1;
        memmove(Saved.recentFiles[1], Saved.recentFiles[0],
                (size_t)freed * sizeof Saved.recentFiles[0]);
        StrCopyLimit(path, Saved.recentFiles[0], PATH_LENGTH - 1);
    }
    RecentFilesMenuUpdate();
}

void RemoveRecentFile(const char *path)
{
    int index = RecentIndex(path);
    if (index >= 0) {
        memmove(Saved.recentFiles[index], Saved.recentFiles[index + 1],
                (size_t)(Saved.recentCount - index - 1) * sizeof Saved.recentFiles[0]);
        Saved.recentCount--;
    }
    RecentFilesMenuUpdate();
}

// Copies text doubling every ampersand, which a menu would otherwise take for the mark of
// an access key.
static void MenuEscape(const char *text, char *escaped)
{
    for (; *text != 0; text++) {
        if (*text == '&') *escaped++ = '&';
        *escaped++ = *text;
    }
    *escaped = 0;
}

// The text of recent-file item index (0 based): "&%d: %s", "1&0: %s" for the tenth, and
// "&%d: %s...%s" or "1&0: %s...%s" for a path too long to show whole.
static void RecentMenuText(int index, const char *path, char *text, int capacity)
{
    char head[RECENT_MENU_PATH + 1];
    char tail[RECENT_MENU_PATH + 1];
    char headShown[2 * RECENT_MENU_PATH + 1];
    char tailShown[2 * RECENT_MENU_PATH + 1];
    TextShortenParts(path, RECENT_MENU_PATH, head, tail);
    MenuEscape(head, headShown);
    MenuEscape(tail, tailShown);
    if (tail[0] == 0) {
        if (index < 9)
            FormatString(text, capacity, "&%d: %s", index + 1, headShown);
        else
            FormatString(text, capacity, "1&0: %s", headShown);
    } else {
        if (index < 9)
            FormatString(text, capacity, "&%d: %s...%s", index + 1, headShown, tailShown);
        else
            FormatString(text, capacity, "1&0: %s...%s", headShown, tailShown);
    }
}

void RecentFilesMenuUpdate(void)
{
    if (Saved.recentCount > RecentLength()) Saved.recentCount = RecentLength();
    for (int i = 0; i < RECENT_FILE_MAX; i++) {
        int id = COMMAND_RECENT_FIRST + i;
        if (i >= Saved.recentCount) {
            PlatformSetMenuItem(id, 0, nullptr);
            continue;
        }
        char text[RECENT_MENU_TEXT];
        RecentMenuText(i, Saved.recentFiles[i], text, sizeof text);
        // The list stands at the end of the File menu, after Exit.
        PlatformSetMenuItem(id, i == 0 ? COMMAND_EXIT : id - 1, text);
    }
}

// ---------------------------------------------------------------------------------------
// The open queue.

void QueueOpen(const char *path)
{
    QueuedFile *node = (QueuedFile *)MemoryAlloc(sizeof *node);
    if (node == nullptr) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    node->next = nullptr;
    StrCopyLimit(path, node->path, PATH_LENGTH - 1);
    if (QueueLast != nullptr)
        QueueLast->next = node;
    else
        QueueFirst = node;
    QueueLast = node;
}

void DrainOpenQueue(void)
{
    // A progress window means a long piece of work whose pump brought us here.
    if (QueueHolds > 0 || Draining || FileOperationActive || ProgressWindow != nullptr) return;
    Draining = 1;
    while (QueueFirst != nullptr) {
        QueuedFile *node = QueueFirst;
        QueueFirst = node->next;
        if (QueueFirst == nullptr) QueueLast = nullptr;
        WindowHandle window;
        ErrorCode result = OpenImageFile(node->path, -1, &window);
        MemoryFree(node);
        ShowError(result); // nobody else started this open, so it is said here
    }
    Draining = 0;
}

void OpenQueueHold(void)
{
    QueueHolds++;
}

void OpenQueueRelease(void)
{
    if (QueueHolds > 0) QueueHolds--;
    if (QueueHolds == 0) DrainOpenQueue();
}

// ---------------------------------------------------------------------------------------
// The embedded profile.

// Writes bytes to path beside the old file, replacing it only when all went well.
static ErrorCode ProfileWrite(const char *path, const uint8_t *bytes, int length)
{
    SafeFile safe;
    SafeFileReset(&safe);
    ErrorCode result = SafeFileCreate(path, &safe);
    if (result == ERROR_NONE) result = FileWrite(safe.file, bytes, length);
    if (result == ERROR_NONE) result = SafeFileCommit(&safe);
    SafeFileAbandon(&safe);
    if (result != ERROR_NONE && result != ERROR_ABORTED) ErrorFileNote(result, path);
    return result;
}

ErrorCode SaveEmbeddedProfile(WindowHandle window)
{
    static const char FILTERS[] = "ICC Color Profile\0*.icm\0"; // the literal adds the end
    ErrorCode result = ERROR_NONE;
    ImageWindow *record = WindowRecord(window);
    char description[PROFILE_DESCRIPTION_MAX];
    char folder[PATH_LENGTH];
    char name[PATH_LENGTH];
    char path[PATH_LENGTH];

    if (record == nullptr || record->picture.profile == nullptr ||
        record->picture.profileSize <= 0) {
        ShowMessage("Warning", "Image has no associated color profile to save");
        return ERROR_NONE;
    }
    // The profile's own description is the name offered. The dialog starts in the user's
    // color folder: the system's is not writable here, and a profile saved in the user's
    // appears in every profile list of the program.
    if (ProfileDescription(record->picture.profile, record->picture.profileSize, description,
                           sizeof description) != ERROR_NONE)
        StrCopyLimit("Profile", description, sizeof description - 1);
    for (char *at = description; *at != 0; at++)
        if (strchr("/\\:*?\"<>|", *at) != nullptr) *at = '_';
    FormatString(name, sizeof name, "%s.icm", description);
    StrCopyLimit(ProfileFolderUser(), folder, PATH_LENGTH - 1);

    OpenQueueHold();
    for (;;) {
        FileDialogRequest request = {
            FILE_DIALOG_SAVE_NO_PROMPT, "Save Profile", FILTERS, 0, folder, name};
        FileDialogResult chosen;
        if (!PlatformFileDialog(&request, &chosen)) {
            result = ERROR_ABORTED;
            break;
        }
        StrCopyLimit(chosen.paths, path, PATH_LENGTH - 1);
        FolderPart(path, folder);
        StrCopyLimit(FileNamePart(path), name, PATH_LENGTH - 1);
        if (ExtensionDiffers(path, ".icm")) {
            ShowMessage("Error", "ICC profiles must have an extension of .icm");
            continue;
        }
        if (ConfirmOverwrite(path, window)) continue;
        result = ProfileWrite(path, record->picture.profile, record->picture.profileSize);
        break;
    }
    OpenQueueRelease();
    return result;
}

void FileFlowReset(void)
{
    while (QueueFirst != nullptr) {
        QueuedFile *node = QueueFirst;
        QueueFirst = node->next;
        MemoryFree(node);
    }
    QueueLast = nullptr;
    LastSaveNumber = 0;
    FileOperationActive = 0;
    ErrorFileNote(ERROR_NONE, ""); // no path from an earlier run reaches a message
    QueueHolds = 0;
    Draining = 0;
}
