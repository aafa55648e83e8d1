// The settings store's typed values, the state of the last run, the default and previous
// files of dialogs, and the remembered folders of the Load and Save dialogs.
#include "ui/SettingsStore.h"

#include <cstdarg>
#include <cstring>
#include <unistd.h>

#include "core/FormatString.h"
#include "core/Preferences.h"
#include "core/Text.h"
#include "platform/Platform.h"

SavedState Saved;

void SavedStateDefault(SavedState *state)
{
    static const int32_t BROWSE[BROWSE_OPTION_COUNT] = {1, 1, 0, 0, 3, 0, 0, 1, 0, 0, 1, 0};
    static const int32_t BROWSE_SEARCH[4] = {0, 0, 0, 2203};
    static const int32_t ALBUM[5] = {5, 2334, 2309, 2328, 0};
    static const int32_t SLIDE_SHOW[SLIDE_SHOW_OPTION_COUNT] = {1, 2, 0, 5, 1, 1, 1, 0};
    static const int32_t READOUT[4] = {0, 0, 1, 1};
    memset(state, 0, sizeof *state);
    state->defaultPcdResolution = 3;
    memcpy(state->browse, BROWSE, sizeof BROWSE);
    memcpy(state->browseSearch, BROWSE_SEARCH, sizeof BROWSE_SEARCH);
    memcpy(state->album, ALBUM, sizeof ALBUM);
    state->albumPage[0] = 8.5;
    state->albumPage[1] = 11.0;
    state->jpegQuality[0] = 97;
    state->fpxQuality[0] = 97;
    memcpy(state->slideShow, SLIDE_SHOW, sizeof SLIDE_SHOW);
    strcpy(state->fileBrowse, "left");
    state->twain16BitNegotiation = 1;
    state->twainClose = 1;
    state->printDpi = 300;
    state->showImageTypeIcons = 1;
    state->blinkRate = 7;
    state->cropCustom[0] = 1.0;
    state->cropCustom[1] = 1.0;
    memcpy(state->readout, READOUT, sizeof READOUT);
}

// The path of default.<ext> or previous.<ext> in the settings folder; 0 without a folder.
static int SettingsFolderPath(const char *base, const char *extension, char *path)
{
    char folder[PATH_LENGTH];
    char name[PATH_LENGTH];
    PlatformSettingsFolder(folder, PATH_LENGTH);
    if (folder[0] == 0) return 0;
    FormatString(name, PATH_LENGTH, "%s%s", base, extension);
    JoinPath(path, folder, name);
    return 1;
}

// Reads path when it opens, ignoring how the parse went. Returns 1 when it opened.
static int SettingsReadIfPresent(const char *path, SettingsReadFunction reader, void *settings)
{
    FileHandle file = FILE_HANDLE_NONE;
    if (FileOpenRead(path, &file) != ERROR_NONE) return 0;
    reader(file, settings);
    FileClose(&file);
    return 1;
}

int SettingsLoadOnOpen(const char *extension, SettingsReadFunction reader, void *settings)
{
    char path[PATH_LENGTH];
    // Shift at opening is the user's way back to the built-in defaults.
    if (PlatformShiftDown()) return SETTINGS_LOADED_NONE;
    if (!SettingsFolderPath("default", extension, path)) return SETTINGS_LOADED_NONE;
    if (SettingsReadIfPresent(path, reader, settings)) return SETTINGS_LOADED_DEFAULT;
    if (!Prefs.stickySettings) return SETTINGS_LOADED_NONE;
    SettingsFolderPath("previous", extension, path);
    if (SettingsReadIfPresent(path, reader, settings)) return SETTINGS_LOADED_PREVIOUS;
    return SETTINGS_LOADED_NONE;
}

ErrorCode SettingsSaveOnClose(const char *extension, SettingsWriteFunction writer,
                              const void *settings)
{
    char path[PATH_LENGTH];
    if (!SettingsFolderPath("previous", extension, path)) return ERROR_NONE;
    return SettingsFileSave(path, writer, settings);
}

int SettingsStoreTokens(const char *key, const char *name, int *tokenCount, char ***tokens)
{
    static char value[SETTINGS_VALUE_MAX]; // lives as long as the tokens made of it
    if (!PlatformSettingsRead(key, name, value, SETTINGS_VALUE_MAX)) {
        Tokenize("", tokenCount, tokens); // an empty table
        return 0;
    }
    Tokenize(value, tokenCount, tokens);
    return 1;
}

int SettingsStoreIntegers(const char *key, const char *name, int32_t *values, int count)
{
    int tokenCount;
    char **tokens;
    if (!SettingsStoreTokens(key, name, &tokenCount, &tokens)) return 0;
    for (int i = 0; i < count && i < tokenCount; i++)
        ParseInteger(tokens[i], &values[i]);
    return 1;
}

int SettingsStoreReals(const char *key, const char *name, double *values, int count)
{
    int tokenCount;
    char **tokens;
    if (!SettingsStoreTokens(key, name, &tokenCount, &tokens)) return 0;
    for (int i = 0; i < count && i < tokenCount; i++)
        ParseReal(tokens[i], &values[i]);
    return 1;
}

int SettingsStoreText(const char *key, const char *name, char *text, int capacity)
{
    char value[SETTINGS_VALUE_MAX];
    if (!PlatformSettingsRead(key, name, value, SETTINGS_VALUE_MAX)) return 0;
    SettingsQuotedText(value, text, capacity);
    return 1;
}

void SettingsStoreWrite(const char *key, const char *name, const char *format, ...)
{
    char value[SETTINGS_VALUE_MAX];
    va_list arguments;
    va_start(arguments, format);
    FormatStringV(value, (int)sizeof value, format, arguments);
    va_end(arguments);
    PlatformSettingsWrite(key, name, value);
}

// Set at start-up and cleared by the first completed Load or Save of the shared folder.
static int SharedFolderFirstUse = 1;

void RememberedFolderStart(void)
{
    SharedFolderFirstUse = 1;
}

// The saved-state field that remembers which, or null for an unknown one.
static char *RememberedFolderField(int which)
{
    switch (which) {
    case FOLDER_SHARED: return Saved.lastDirectory;
    case FOLDER_LAYOUT: return Saved.lastLytDirectory;
    case FOLDER_COLOR_LINE: return Saved.lastClnDirectory;
    case FOLDER_CURVE: return Saved.lastCrvDirectory;
    case FOLDER_COLOR_CURVES: return Saved.lastCcrvDirectory;
    case FOLDER_COLOR_BALANCE: return Saved.lastCbDirectory;
    default: return nullptr;
    }
}

static void CurrentDirectory(char *folder, int capacity)
{
    if (getcwd(folder, (size_t)capacity) == nullptr) folder[0] = 0;
}

void RememberedFolderGet(int which, char *folder, int capacity)
{
    if (capacity <= 0) return;
    const char *own = RememberedFolderField(which);
    if (which != FOLDER_SHARED && own != nullptr && own[0] != 0) {
        StrCopyLimit(own, folder, capacity - 1);
        return;
    }
    // A kind without a folder of its own yet starts where the shared dialogs start.
    if (SharedFolderFirstUse && Prefs.startupDirectory[0] != 0) {
        StrCopyLimit(Prefs.startupDirectory, folder, capacity - 1);
    } else if (Saved.lastDirectory[0] != 0) {
        StrCopyLimit(Saved.lastDirectory, folder, capacity - 1);
    } else {
        CurrentDirectory(folder, capacity);
    }
}

void RememberedFolderSet(int which, const char *path)
{
    char *field = RememberedFolderField(which);
    if (field == nullptr) return;
    // The folder is the path up to its last separator; a bare name lies in the current one.
    int cut = -1;
    for (int i = 0; path[i] != 0; i++)
        if (path[i] == '/' || path[i] == '\\') cut = i;
    if (cut < 0) {
        CurrentDirectory(field, PATH_LENGTH);
    } else {
        int length = cut == 0 ? 1 : cut; // the root keeps its separator
        if (length > PATH_LENGTH - 1) length = PATH_LENGTH - 1;
        memcpy(field, path, (size_t)length);
        field[length] = 0;
    }
    if (which == FOLDER_SHARED) SharedFolderFirstUse = 0;
}
