// The program's color management settings: one global record with the paths of the five
// profiles a photographer chooses, the rendering intents, the gamut alarm and what to do when
// an opened picture's profile differs from the working space; beside them the profiles
// loaded from those paths and checked, and the monitor and proofing profiles opened in the
// color engine.
//
// Little CMS is the only engine on this platform: the system engine of other platforms does
// not exist here, so the engine setting always reads as "lcms".
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/File.h"

enum : int32_t {
    COLOR_ENGINE_SYSTEM = 0, // "Windows Default"; not on this platform
    COLOR_ENGINE_LCMS = 1,   // "lcms"
};

// What happens when an opened picture's profile is not the working space.
enum : int32_t {
    MISMATCH_ASK = 0,     // "Ask"
    MISMATCH_CONVERT = 1, // "Convert"
    MISMATCH_KEEP = 2,    // "Don't Convert"
};

// The five rendering intents the dialogs offer, by index.
enum : int32_t {
    COLOR_INTENT_FULL_GAMUT = 0,      // perceptual
    COLOR_INTENT_SATURATION = 1,      // saturation
    COLOR_INTENT_IDENTICAL = 2,       // relative colorimetric
    COLOR_INTENT_IDENTICAL_WHITE = 3, // absolute colorimetric
    COLOR_INTENT_IDENTICAL_BLACK = 4, // relative colorimetric with black point compensation
    COLOR_INTENT_COUNT = 5,
};

extern const char *const COLOR_INTENT_LABELS[COLOR_INTENT_COUNT];

// The five profiles of the settings, by index.
enum : int32_t {
    COLOR_PROFILE_WORKING = 0,
    COLOR_PROFILE_ASSUMED_FILE = 1,
    COLOR_PROFILE_ASSUMED_SCANNER = 2,
    COLOR_PROFILE_MONITOR = 3,
    COLOR_PROFILE_PROOF = 4,
    COLOR_PROFILE_COUNT = 5,
};

// A profile read whole into memory.
struct LoadedProfile {
    uint8_t *bytes; // owned, or null when the setting is empty or failed its checks
    int32_t length;
};

// Where the profile the display is shown through comes from.
enum : int32_t {
    MONITOR_NONE = 0,     // nothing: color management is not available
    MONITOR_CHOSEN = 1,   // the user's choice of "Monitor Profile:"
    MONITOR_DISPLAY = 2,  // without a usable choice, the profile the desktop gives the display
    MONITOR_STANDARD = 3, // without either, sRGB: what a display without a profile shows
};

struct ColorSettings {
    int32_t available;                    // the platform can manage color; 0 turns everything off
    int32_t enabled;                      // "Color Management:" 1 "Enabled", 0 "Disabled"
    int32_t engine;                       // COLOR_ENGINE_*; always COLOR_ENGINE_LCMS here
    char workingPath[PATH_LENGTH];        // "Working Color Space:"
    char assumedFilePath[PATH_LENGTH];    // "Assumed File Profile:"
    char assumedScannerPath[PATH_LENGTH]; // "Assumed Scanner Profile:"
    char monitorPath[PATH_LENGTH];        // "Monitor Profile:"
    int32_t monitorIntent;                // COLOR_INTENT_*, "Monitor Rendering Intent:"
    char proofPath[PATH_LENGTH];          // "Proofing Profile:"
    int32_t proofIntent;                  // COLOR_INTENT_*, "Proofing Rendering Intent:"
    int32_t gamutAlarm;                   // "Gamut Alarm:" 0 "Off", 1 "On"
    uint8_t gamutAlarmColor[3];           // red, green, blue
    int32_t onMismatch;                   // MISMATCH_*, "On Profile Mismatch:"
    // Loaded by InitColorSettings from the paths, indexed by COLOR_PROFILE_*.
    LoadedProfile loaded[COLOR_PROFILE_COUNT];
    LoadedProfile monitorInUse; // the display's profile: the choice, the desktop's or sRGB
    int32_t monitorSource;      // MONITOR_*: where monitorInUse comes from
    void *monitorHandle;        // monitorInUse open in the engine, or null
    void *proofHandle;          // the proofing profile open in the engine, or null
};

extern ColorSettings CurrentColorSettings;

// Start-up of color: the tables of the color spaces, and CurrentColorSettings as a first
// start has them (nothing loaded). The program reads its stored settings and loads the
// profiles itself when it knows where its store is.
void ColorInitialise(void);

// Fills settings with the values of a first start; loads nothing.
void ColorSettingsDefault(ColorSettings *settings);

// The path field of a profile index (COLOR_PROFILE_*).
char *ColorSettingsPath(ColorSettings *settings, int which);

// Frees the loaded profiles and closes the engine's handles; the paths stay.
void ColorSettingsRelease(ColorSettings *settings);

// Where the profile the desktop gives the display comes from, as PlatformDisplayProfile
// answers: 1 with a block from MemoryAlloc that the caller frees, or 0 with none.
typedef int (*DisplayProfileSource)(uint8_t **bytes, int32_t *length);

// Loads and checks the five profiles of CurrentColorSettings and opens the monitor and
// proofing profiles in the engine, after copying the bundled profiles into the user's color
// folder. Each failure is a notice titled "Error", and the profile is then treated
// as not set while its path stays. The display is shown through the monitor profile the
// user chose; without a usable choice, through the profile the desktop gives the display
// (asked of display, which may be null; taken silently when it is an RGB monitor or color
// space profile the engine reads), and without that through sRGB. Windows keep display
// transforms made for the old monitor: the editor drops them (DisplayColorSettingsLoad).
// Nothing is done when color management is not available.
void InitColorSettings(DisplayProfileSource display);

// Frees what InitColorSettings loaded and the built-in sRGB profile.
void ShutdownColorSettings(void);

// The loaded bytes of a profile index, or null with length 0.
const uint8_t *ColorProfileBytes(int which, int *length);

// The profile the display is shown through, or null with length 0 when there is none.
const uint8_t *ColorMonitorInUse(int *length);

// The description of the profile the display is shown through when no monitor profile is
// chosen: the desktop's (asked of display, which may be null) when it is usable, else sRGB's.
void ColorMonitorAutomaticDescription(DisplayProfileSource display, char *text, int capacity);

// The engine's intent for an intent index (perceptual for an index out of range), and its
// extra flags (black point compensation for index 4).
int ColorIntentEngine(int intentIndex);
uint32_t ColorIntentFlags(int intentIndex);

// The engine a stored value stands for. Every value reads as COLOR_ENGINE_LCMS here: the
// system engine does not exist, and other values read as it would.
int ColorEngineFromValue(int value);

// The list of engines for the settings dialog, each item ended by a zero byte and the list
// by a byte 1: only "lcms" here.
void ColorEngineList(char *list, int capacity);

// Applies one tokenized line of a .clrmgmt file (keyword first, quotes already removed) to
// settings. Profiles are named by description and found with FindProfileByDescription; one
// missing on this machine leaves its setting as it was and gives ERROR_ENUMERATE_PROFILES,
// after which the reader goes on. An empty description clears the setting. A "moncal" line
// is accepted and ignored. ERROR_ILLEGAL_COLOR_SETTINGS_FILE for an unknown keyword, a wrong
// count or a value out of range.
ErrorCode ColorManagementLineApply(ColorSettings *settings, int count, char **tokens);

constexpr int COLOR_FILE_LINE_COUNT = 12; // header, ten settings, "end"

// Line index (0 to COLOR_FILE_LINE_COUNT - 1) of a .clrmgmt file for settings, without its
// line end. Profiles are written by description, read from the files at their paths.
void ColorManagementLineFormat(const ColorSettings *settings, int index, char *line, int capacity);

// Reads a .clrmgmt file into settings, which the caller has set to what should stay where
// the file says nothing. ERROR_OPEN_FILE when it cannot be opened,
// ERROR_ILLEGAL_COLOR_SETTINGS_FILE for a bad file (the values read before stay),
// ERROR_ENUMERATE_PROFILES when it names a profile this machine does not have (those settings
// stay as they were; the rest of the file is read).
ErrorCode ReadColorManagementFile(const char *path, ColorSettings *settings);

// Writes settings as a .clrmgmt file, naming each profile by its description. Codes of
// SettingsFileSave.
ErrorCode WriteColorManagementFile(const char *path, const ColorSettings *settings);
