// The settings files of a transformation dialog, from its description: loading on opening,
// saving on closing, and the Options menu with Reset, Load and Save As.
#include "ui/SettingsOptions.h"

#include <cstring>

#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "ui/MessageBox.h"
#include "ui/UiState.h"

static const char *OPTIONS_LABEL = "Options";

// The menu under the button: the reset, then the two files.
static const MenuItem OPTIONS_MENU[] = {
    {SETTINGS_OPTIONS_RESET, "&Reset", 1},
    {0, "", 1},
    {SETTINGS_OPTIONS_LOAD, "&Load ...", 1},
    {SETTINGS_OPTIONS_SAVE, "&Save As ...", 1},
    {0, nullptr, 0},
};

// Bytes of the one filter a settings dialog shows: label and pattern with their two
// terminators and the empty string that ends the list.
static const int FILTERS_CAPACITY = 256;

int SettingsOptionsOpen(const SettingsOptions *options, void *settings)
{
    options->setDefaults(settings);
    return SettingsLoadOnOpen(SETTINGS_FILE_KINDS[options->kind].extension, options->reader,
                              settings);
}

ErrorCode SettingsOptionsClose(const SettingsOptions *options, const void *settings)
{
    return SettingsSaveOnClose(SETTINGS_FILE_KINDS[options->kind].extension, options->writer,
                               settings);
}

int SettingsOptionsButtonCreate(WindowHandle dialog, int x, int y)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    // As wide as its label and a margin on either side, like the shell's other buttons.
    int width = PlatformTextWidth(OPTIONS_LABEL, (int)strlen(OPTIONS_LABEL)) + 2 * metrics.margin;
    Rect rect = {x, y, x + width, y + metrics.buttonHeight};
    PlatformCreateControl(dialog, CONTROL_BUTTON, SETTINGS_OPTIONS_BUTTON, OPTIONS_LABEL, 0, &rect);
    return x + width + metrics.margin;
}

int SettingsOptionsPopup(WindowHandle dialog, const MenuItem *items)
{
    // The menu opens under the button, where the eye already is.
    int x = 0;
    int y = 0;
    WindowHandle button = PlatformControl(dialog, SETTINGS_OPTIONS_BUTTON);
    if (button != nullptr) {
        Rect rect;
        PlatformGetWindowRect(button, &rect);
        x = rect.left;
        y = rect.bottom;
    }
    return PlatformPopupMenu(dialog, items, x, y);
}

int SettingsOptionsCommand(WindowHandle dialog, uintptr_t wParam, const SettingsOptions *options,
                           void *settings)
{
    if ((int)(wParam & 0xffff) != SETTINGS_OPTIONS_BUTTON) return 0;
    if ((wParam >> 16) != NOTIFY_CLICKED) return 1;
    int item = SettingsOptionsPopup(dialog, OPTIONS_MENU);
    if (item != 0) SettingsOptionsRun(dialog, item, options, settings);
    return 1;
}

// The filter list of the file dialogs: the description's label and pattern, and for Load
// the foreign files' after it, ended by an empty string. Cut to the buffer, which no real
// label comes near.
static void OptionsFilters(const SettingsOptions *options, char *filters, int withForeign)
{
    int used = 0;
    int count = withForeign ? 1 + options->foreignCount : 1;
    for (int i = 0; i < count; i++) {
        const char *pair[2] = {i == 0 ? options->filterLabel : options->foreign[i - 1].label,
                               i == 0 ? options->filterPattern : options->foreign[i - 1].pattern};
        for (const char *text : pair) {
            int length = (int)strlen(text);
            if (used + length + 2 >= FILTERS_CAPACITY) length = FILTERS_CAPACITY - used - 3;
            if (length < 0) length = 0;
            memcpy(filters + used, text, (size_t)length);
            used += length;
            filters[used++] = 0;
        }
    }
    filters[used] = 0;
}

// Reads path with a foreign file's reader into settings; the codes of the file and reader.
static ErrorCode OptionsReadForeign(const SettingsForeignFile *foreign, const char *path,
                                    void *settings)
{
    FileHandle file = FILE_HANDLE_NONE;
    ErrorCode result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) return ERROR_OPEN_FILE;
    result = foreign->read(file, settings);
    FileClose(&file);
    return result;
}

static void OptionsReset(WindowHandle dialog, const SettingsOptions *options, void *settings)
{
    options->setDefaults(settings);
    options->refresh(dialog, settings);
}

int SettingsLoadPathAsk(const char *title, const char *filters, int which, char *path, int *filter)
{
    char folder[PATH_LENGTH];
    FileDialogResult chosen;
    RememberedFolderGet(which, folder, sizeof folder);
    FileDialogRequest request = {FILE_DIALOG_OPEN, title, filters, 0, folder, ""};
    EditorOpenQueueHold();
    int ok = PlatformFileDialog(&request, &chosen);
    if (ok) {
        StrCopyLimit(chosen.paths, path, PATH_LENGTH - 1);
        if (filter != nullptr) *filter = chosen.filter;
    }
    EditorOpenQueueRelease();
    if (ok) RememberedFolderSet(which, path);
    return ok;
}

// "&Load ...": the file is read into a record set to the defaults, so that a key the file
// leaves out takes its default rather than what the dialog showed: what the user sees is
// exactly what the file holds. A file that does not open changes nothing; a bad one gives
// the defaults, because its half-read values make no settings anyone chose.
static void OptionsLoad(WindowHandle dialog, const SettingsOptions *options, void *settings)
{
    ErrorCode result = ERROR_NONE;
    char filters[FILTERS_CAPACITY];
    char path[PATH_LENGTH];
    void *read = nullptr;
    int ok;
    int filter = 0;

    OptionsFilters(options, filters, 1);
    ok = SettingsLoadPathAsk(options->loadTitle, filters, options->folder, path, &filter);
    if (!ok) goto done;

    read = MemoryAlloc((size_t)options->settingsSize);
    if (read == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    options->setDefaults(read);
    if (filter >= 1 && filter <= options->foreignCount)
        result = OptionsReadForeign(&options->foreign[filter - 1], path, read);
    else
        result = SettingsFileLoad(path, options->reader, read);
    if (result == ERROR_NONE) {
        memcpy(settings, read, (size_t)options->settingsSize);
        options->refresh(dialog, settings);
    } else if (result != ERROR_OPEN_FILE) {
        // Every bad file of a kind gets the kind's one message, whatever the reader tripped
        // on; a kind without a message of its own shows the reader's code.
        ErrorCode illegal = SETTINGS_FILE_KINDS[options->kind].illegalCode;
        if (illegal != ERROR_NONE) result = illegal;
        options->setDefaults(settings);
        options->refresh(dialog, settings);
    }
done:
    MemoryFree(read);
    ShowError(result);
}

int SettingsSavePathAsk(const char *title, const char *filters, const char *name, int kind,
                        int which, char *path)
{
    char folder[PATH_LENGTH];
    FileDialogResult chosen;
    int ok = 0;
    EditorOpenQueueHold();
    for (;;) {
        // Asked again, the dialog starts in the folder the user just chose from.
        RememberedFolderGet(which, folder, sizeof folder);
        FileDialogRequest request = {FILE_DIALOG_SAVE, title, filters, 0, folder, name};
        if (!PlatformFileDialog(&request, &chosen)) break;
        StrCopyLimit(chosen.paths, path, PATH_LENGTH - 1);
        RememberedFolderSet(which, path);
        if (SettingsSavePathCheck(path, kind)) {
            ShowMessage("Error", "%s", SETTINGS_FILE_KINDS[kind].extensionMessage);
            continue;
        }
        ok = 1;
        break;
    }
    EditorOpenQueueRelease();
    return ok;
}

// "&Save As ...": the settings as they stand, written beside any old file and renamed
// over it only when all went well.
static void OptionsSave(const SettingsOptions *options, const void *settings)
{
    char filters[FILTERS_CAPACITY];
    char path[PATH_LENGTH];
    OptionsFilters(options, filters, 0);
    if (!SettingsSavePathAsk(options->saveTitle, filters, "", options->kind, options->folder,
                             path)) {
        // Some dialogs have always answered a cancelled save this way, and their users
        // know it.
        if (options->cancelSaveShowsError) ShowError(ERROR_CREATE_FILE);
        return;
    }
    ShowFileError(SettingsFileSave(path, options->writer, settings), path);
}

void SettingsOptionsRun(WindowHandle dialog, int item, const SettingsOptions *options,
                        void *settings)
{
    switch (item) {
    case SETTINGS_OPTIONS_RESET: OptionsReset(dialog, options, settings); break;
    case SETTINGS_OPTIONS_LOAD: OptionsLoad(dialog, options, settings); break;
    case SETTINGS_OPTIONS_SAVE: OptionsSave(options, settings); break;
    default: break;
    }
}
