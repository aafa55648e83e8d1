// What the editor keeps between runs and beside its dialogs: the typed values of the settings
// store, the state of the last run, the default and previous files of a dialog's settings,
// and the folders that the Load and Save dialogs start in.
//
// The settings store (platform/Platform.h) keeps values of the settings grammar
// (core/SettingsText.h) under the keys SETTINGS_KEY_PREFERENCES, SETTINGS_KEY_STATE and
// SETTINGS_KEY_COLOR; the SettingsStore* functions below read one value into typed fields and
// write one from a format.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"
#include "core/SettingsText.h"
#include "ui/UiLayer.h"

// The keys of the settings store.
constexpr const char *SETTINGS_KEY_PREFERENCES = "Preferences";
constexpr const char *SETTINGS_KEY_STATE = "State";
constexpr const char *SETTINGS_KEY_COLOR = "Color Settings";

constexpr int RECENT_FILE_MAX = 10;   // the longest recent-file list, "nfilemenu" 10
constexpr int BROWSE_FOLDER_MAX = 16; // browser folders kept between runs
constexpr int BROWSE_OPTION_COUNT = 12;
constexpr int SLIDE_SHOW_OPTION_COUNT = 8;

// The state of the last run, read at start-up and written at exit.
struct SavedState {
    int32_t recentCount; // files in recentFiles, at most Prefs.fileMenuLength
    char recentFiles[RECENT_FILE_MAX][PATH_LENGTH]; // "openfile%d", the newest first
    char lastDirectory[PATH_LENGTH];                // the folder shared by settings and image files
    char lastLytDirectory[PATH_LENGTH];             // layouts
    char lastClnDirectory[PATH_LENGTH];             // color lines
    char lastCrvDirectory[PATH_LENGTH];             // curves
    char lastCcrvDirectory[PATH_LENGTH];            // color curves
    char lastCbDirectory[PATH_LENGTH];              // color balance
    int32_t defaultPcdResolution;                   // Photo CD size index
    int32_t ribbonOrientation;                      // of the thumbnail ribbon
    int32_t browse[BROWSE_OPTION_COUNT];            // browser options
    int32_t browseFolderCount;
    char browseFolders[BROWSE_FOLDER_MAX][PATH_LENGTH]; // "browsefolder%d"
    char searchRootPath[PATH_LENGTH];
    char searchFileName[261];
    char searchFromDate[32];
    char searchToDate[32];
    char searchKeyword[256];
    int32_t browseSearch[4]; // search options; the last is the id of a control
    int32_t dontShowTutorial;
    int32_t album[5];       // album defaults
    double albumPage[2];    // inches, width and height
    int32_t jpegQuality[2]; // JPEG save dialog: quality and its option
    int32_t fpxQuality[2];  // FlashPix save dialog
    int32_t slideShow[SLIDE_SHOW_OPTION_COUNT];
    char fileBrowse[32]; // side of the docked browser, "left" or "right"
    char fileBrowsePath[PATH_LENGTH];
    int32_t fileBrowseDepth;
    int32_t printV5Bmp;
    int32_t twain16BitNegotiation;
    int32_t twainClose;
    int32_t printFixedDpi;
    int32_t printDpi;
    int32_t showImageTypeIcons;
    int32_t toolboxOp;
    int32_t blinkRate;
    double cropCustom[2]; // width and height of the custom crop ratio
    int32_t readout[4];
};

extern SavedState Saved;

// The version a State key must carry to be read; written with every WriteState.
constexpr const char *STATE_VERSION = "1.0";

// Fills state with the values of a first start.
void SavedStateDefault(SavedState *state);

enum : int32_t {
    SETTINGS_LOADED_NONE = 0,     // Shift held, no folder, or neither file there
    SETTINGS_LOADED_DEFAULT = 1,  // default.<ext> was read
    SETTINGS_LOADED_PREVIOUS = 2, // previous.<ext> was read
};

// What a dialog does on opening, after setting its built-in defaults: nothing while Shift
// is held; else default.<ext> of the settings folder when it exists; else, with the
// preference stickysettings on, previous.<ext>. A bad file is not reported and what it
// supplied stays. extension has its dot. Returns SETTINGS_LOADED_*.
int SettingsLoadOnOpen(const char *extension, SettingsReadFunction reader, void *settings);

// What a dialog does when it closes: writes previous.<ext> into the settings folder
// whatever the preference says. Returns the code of SettingsFileSave, or ERROR_NONE
// without a folder.
ErrorCode SettingsSaveOnClose(const char *extension, SettingsWriteFunction writer,
                              const void *settings);

// Reads the value name of key and tokenises it (tokens as Tokenize's). Returns 1 when the
// value exists, else 0 with no tokens.
int SettingsStoreTokens(const char *key, const char *name, int *tokenCount, char ***tokens);

// Parses the first count tokens of a stored value into values, each by ParseInteger or
// ParseReal; a parse failure leaves what the parser set, and missing tokens leave their
// targets alone. Returns 1 when the value exists.
int SettingsStoreIntegers(const char *key, const char *name, int32_t *values, int count);
int SettingsStoreReals(const char *key, const char *name, double *values, int count);

// Copies a stored quoted string (see SettingsQuotedText) into text of capacity bytes.
// Returns 1 when the value exists; else text is left alone.
int SettingsStoreText(const char *key, const char *name, char *text, int capacity);

// Formats a value by FormatString and writes it to the store; failures are not reported.
void SettingsStoreWrite(const char *key, const char *name, const char *format, ...);

// The folders that Load and Save dialogs start in. One folder serves most settings files
// and the image files; layouts, color lines, curves, color curves and color balance files
// each keep their own, stored in the saved state.
enum : int32_t {
    FOLDER_SHARED = 0,
    FOLDER_LAYOUT = 1,
    FOLDER_COLOR_LINE = 2,
    FOLDER_CURVE = 3,
    FOLDER_COLOR_CURVES = 4,
    FOLDER_COLOR_BALANCE = 5,
    FOLDER_COUNT = 6,
};

// Start-up: the shared folder's next dialog is its first.
void RememberedFolderStart(void);

// The folder a dialog of which (FOLDER_*) starts in, into folder of capacity bytes. A kind
// with a folder of its own starts there. Otherwise the shared rule holds: before the first
// completed shared dialog, the preference startupdirectory when it is set; then the folder
// of that dialog (or of the last run); and failing all, the current directory.
void RememberedFolderGet(int which, char *folder, int capacity);

// After a completed Load or Save of path: remembers its folder for which, and for the
// shared folder ends its first use.
void RememberedFolderSet(int which, const char *path);
