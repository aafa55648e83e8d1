// What every transformation dialog with a settings file shares: its settings set to the
// built-in defaults and then taken from default.<ext> or previous.<ext> on opening, written
// to previous.<ext> on closing, and the "Options" button of its top row with the menu
// "&Reset", "&Load ...", "&Save As ...".
//
// A dialog describes its settings once in a SettingsOptions record (plain data, usually a
// static constant) and calls the operations below with its own settings record; it never
// handles the files, the file dialogs or their messages itself.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "platform/Platform.h"
#include "ui/SettingsStore.h"
#include "ui/UiLayer.h"

// The id of the "Options" button. The shared buttons of a transformation dialog take the
// small ids and each dialog's own controls start at 101, so this one stays clear of both.
constexpr int SETTINGS_OPTIONS_BUTTON = 90;

// The items of the Options menu, as PlatformPopupMenu answers them.
enum : int32_t {
    SETTINGS_OPTIONS_RESET = 1,
    SETTINGS_OPTIONS_LOAD = 2,
    SETTINGS_OPTIONS_SAVE = 3,
};

// Sets a settings record to the values a first opening shows.
typedef void (*SettingsDefaultFunction)(void *settings);

// Shows settings in the dialog's controls and refreshes its preview.
typedef void (*SettingsRefreshFunction)(WindowHandle dialog, void *settings);

// A further kind of file that "&Load ..." offers (the foreign curve files of Color Curves):
// its filter and the reader that takes it, chosen by the filter in use, not by the file's
// name.
struct SettingsForeignFile {
    const char *label;   // "Photoshop Curve Files"
    const char *pattern; // "*.acv"
    ErrorCode (*read)(FileHandle file, void *settings);
};

// The description of one dialog's settings.
struct SettingsOptions {
    int32_t kind;              // SETTINGS_KIND_*: extension, illegal-file code, messages
    int32_t folder;            // FOLDER_*: where Load and Save As start and what they remember
    const char *filterLabel;   // "Curve Files"
    const char *filterPattern; // "*.crv"
    const char *loadTitle;     // "Load Curve"
    const char *saveTitle;     // "Save Curve"
    int32_t settingsSize;      // bytes of the settings record
    SettingsDefaultFunction setDefaults;
    SettingsReadFunction reader;
    SettingsWriteFunction writer;
    SettingsRefreshFunction refresh;
    int32_t cancelSaveShowsError;       // 1: cancelling Save As shows ERROR_CREATE_FILE, as the
                                        // Channel Registration dialog and the curve controls do
    const SettingsForeignFile *foreign; // the further filters of Load, or null
    int32_t foreignCount;
};

// Opening: the built-in defaults, then default.<ext> or (with stickysettings) previous.<ext>
// of the settings folder; nothing while Shift is held. Returns SETTINGS_LOADED_*.
int SettingsOptionsOpen(const SettingsOptions *options, void *settings);

// Closing: writes settings to previous.<ext>. Returns the code of the save, which a dialog
// that is going away usually has no use for.
ErrorCode SettingsOptionsClose(const SettingsOptions *options, const void *settings);

// Creates the "Options" push button (SETTINGS_OPTIONS_BUTTON) in dialog with its top left
// corner at x, y. Returns the x where the next control of the row goes: its right edge plus
// one margin.
int SettingsOptionsButtonCreate(WindowHandle dialog, int x, int y);

// Pops items, a dialog's own Options menu, below its "Options" button; returns the chosen
// item's id, 0 for none.
int SettingsOptionsPopup(WindowHandle dialog, const MenuItem *items);

// A dialog's MSG_COMMAND goes here: a click on the "Options" button pops the menu below the
// button and runs the chosen item. Returns 1 when the command was that button's.
int SettingsOptionsCommand(WindowHandle dialog, uintptr_t wParam, const SettingsOptions *options,
                           void *settings);

// The items of the menu, run directly: Reset sets the defaults and refreshes; Load asks for
// a file and reads it; Save As asks for a path and writes settings there. Failures are shown.
void SettingsOptionsRun(WindowHandle dialog, int item, const SettingsOptions *options,
                        void *settings);

// The open dialog of a settings file, titled title, starting in the remembered folder of which
// (FOLDER_*) with filters as FileDialogRequest takes them, while files dropped meanwhile
// wait. A chosen path is remembered. Returns 1 with path (PATH_LENGTH bytes) and, when
// filter is not null, the index of the filter in use; 0 when the user cancelled.
int SettingsLoadPathAsk(const char *title, const char *filters, int which, char *path, int *filter);
// The save dialog of a settings file of kind (SETTINGS_KIND_*), starting in the remembered
// folder of which (FOLDER_*) and offering name; filters as FileDialogRequest takes them.
// A chosen path is remembered, given the kind's extension when it has none, and refused
// with the kind's extension message under "Error" when it has another; the dialog then
// opens again. Returns 1 with path (PATH_LENGTH bytes), 0 when the user cancelled.
int SettingsSavePathAsk(const char *title, const char *filters, const char *name, int kind,
                        int which, char *path);
