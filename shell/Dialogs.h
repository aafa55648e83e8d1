// The shell's own dialogs that are not transformations: "Preferences", "Color Management
// Settings", and the question asked when an opened picture's profile is not the working
// space. The opening functions are what the menu commands and the open flow call; the ids
// of the controls let tests press them.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "ui/DialogLayout.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

// A kind that no other child uses: the modal question about an opened picture's profile.
constexpr int KIND_OPEN_CHECK = 80;

// Opens "Preferences" with the values of the run, or brings it to the front when it is open.
// OK makes every value take effect at once and asks whether to keep them for later runs.
// ERROR_NO_MEMORY when the window cannot be made.
ErrorCode ShowPreferencesDialog(void);

// Controls of "Preferences", top to bottom.
enum : int32_t {
    PREFERENCES_CONFIRM = 101,
    PREFERENCES_WORKSPACE = 102, // red; green and blue follow
    PREFERENCES_BORDER_WIDTH = 105,
    PREFERENCES_BORDER_COLOR = 106, // red; green and blue follow
    PREFERENCES_PCD_FOLDER = 109,
    PREFERENCES_PCD_BROWSE = 110,
    PREFERENCES_STARTUP_FOLDER = 111,
    PREFERENCES_STARTUP_BROWSE = 112,
    PREFERENCES_TEMP_FOLDER = 113,
    PREFERENCES_TEMP_BROWSE = 114,
    PREFERENCES_RESOLUTION = 115,
    PREFERENCES_UNITS = 116,
    PREFERENCES_CAPTION = 117,
    PREFERENCES_UNDO = 118,
    PREFERENCES_FILE_LIST = 119,
    PREFERENCES_OPEN_TYPE = 120,
    PREFERENCES_SAVE_TYPE = 121,
    PREFERENCES_PRESERVE_TYPE = 122,
    PREFERENCES_ON_TOP = 123,
    PREFERENCES_PREVIEW = 124,
    PREFERENCES_SMOOTH_ZOOM = 125,
    PREFERENCES_RULER = 126,
    PREFERENCES_PREVIEW_SIZE = 127,
    PREFERENCES_REMEMBER = 128,
};

// Opens "Color Management Settings" with the settings of the run, or brings it to the front.
// Settings the user keeps are written to the store and loaded at once. ERROR_NO_MEMORY when
// the window or its lists cannot be made.
ErrorCode ShowColorSettingsDialog(void);

enum : int32_t {
    COLOR_DIALOG_ENABLED = 201,
    COLOR_DIALOG_ENGINE = 202,
    COLOR_DIALOG_WORKING = 203, // the lists of the five profiles
    COLOR_DIALOG_ASSUMED_FILE = 204,
    COLOR_DIALOG_ASSUMED_SCANNER = 205,
    COLOR_DIALOG_MONITOR = 206,
    COLOR_DIALOG_MONITOR_INTENT = 207,
    COLOR_DIALOG_PROOF = 208,
    COLOR_DIALOG_PROOF_INTENT = 209,
    COLOR_DIALOG_GAMUT_ALARM = 210,
    COLOR_DIALOG_GAMUT_COLOR = 211, // red; green and blue follow
    COLOR_DIALOG_MISMATCH = 214,
    COLOR_DIALOG_CALIBRATION = 215,
    COLOR_DIALOG_LOAD = 216,
    COLOR_DIALOG_SAVE = 217,
    COLOR_DIALOG_PRINT_LIST = 218,
};

// Asks, in a modal dialog, what to do with the profile of a color picture just read into
// record (its fileName set) that does not match the working space: which profile the
// picture has, and whether to convert it. OK applies the choice through OpenProfileChoose;
// Cancel leaves the picture as it was read. Codes of OpenProfileChoose and ProfileFileRead,
// or ERROR_NO_MEMORY when the dialog cannot be made.
ErrorCode RunOpenCheckDialog(ImageWindow *record);

enum : int32_t {
    OPEN_CHECK_FILE_PROFILE = 301,
    OPEN_CHECK_ASSUMED = 302,
    OPEN_CHECK_WORKING = 303,
    OPEN_CHECK_INTENT = 304,
    OPEN_CHECK_PATH = 305,
    OPEN_CHECK_CONVERT = 306,
    OPEN_CHECK_HELP = 307,
};
