// The user's preferences and the state of the last run, kept in the settings store under
// the keys "Preferences" and "State", each value a line of the settings grammar.
//
// The Preferences record and its defaults live in core/Preferences.h so that the core can
// read them; this file reads and writes them and owns the saved state.
#pragma once

#include <cstdint>

#include "core/File.h"

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

// Sets Prefs to the defaults and then to each value the store holds. A value absent leaves
// its default; a value that fails to parse leaves what the parser set. "nfilemenu" is held
// to 0..10, colors to 0..1, a negative border to 0, and a resolution that is not a positive
// number keeps 200.
void ReadPreferences(void);

// Writes every value of Prefs to the store.
void WritePreferences(void);

// Sets Saved to the defaults and then, when the store's State has "version" "1.0", to each
// value it holds. The recent files are read for each index below Prefs.fileMenuLength, so
// ReadPreferences comes first; empty ones are skipped.
void ReadState(void);

// Writes every value of Saved, and "version" "1.0", to the store.
void WriteState(void);
