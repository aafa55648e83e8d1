// ICC profiles as files: the color folders where they are found, reading one whole, the
// lists of descriptions the color dialogs choose from, the making of display and calibration
// profiles, and the sRGB profile that stands in for every picture without one.
//
// The color folders are the user's (~/.local/share/icc, or $XDG_DATA_HOME/icc) and the
// system's (/usr/share/color/icc), scanned with their subfolders in that order, so that a
// profile of the user's wins over a system one of the same description.
#pragma once

#include <cstdint>

#include "color/ProfileHeader.h"
#include "core/Errors.h"
#include "core/File.h"

constexpr int PROFILE_FILE_MAX = 64 * 1024 * 1024; // bytes; a larger file is not a profile
constexpr int PROFILE_FOLDER_DEPTH = 4;            // subfolder levels scanned below a root
constexpr int DISPLAY_PROFILE_BUFFER = 16000;      // bytes a made display profile may take
constexpr int DISPLAY_CURVE_POINTS = 256;          // points of a calibration tone curve

// Sets the color folders to the user's and the system's, and no folder of bundled profiles;
// these are the folders until others are set.
void ProfileFoldersDefault(void);

// Sets the user's color folder, the system's, and the folder of profiles shipped with the
// program (copied to the user's at start-up); any may be empty or null for none.
void ProfileFoldersSet(const char *userFolder, const char *systemFolder, const char *bundledFolder);

// The folders now in use; empty strings when there is none.
const char *ProfileFolderUser(void);
const char *ProfileFolderSystem(void);
const char *ProfileFolderBundled(void);

// Reads a whole profile file into memory the caller frees with MemoryFree. ERROR_OPEN_FILE
// when it cannot be opened, ERROR_READ_FILE when reading fails, ERROR_INVALID_PROFILE for an
// empty file or one over PROFILE_FILE_MAX bytes; *bytes is then null and *length 0.
ErrorCode ProfileFileRead(const char *path, uint8_t **bytes, int *length);

// Fills list with firstLabel, secondLabel (either may be null or empty to leave it out) and
// the descriptions of the profiles of the color folders whose class is among classes and
// whose color space is among colorSpaces (blank-separated signatures such as "mntr spac" and
// "RGB"; null or empty accepts any). Each item ends with a zero byte and the list with a
// byte 1. A description already in the list is not repeated, and damaged files are left
// out. ERROR_ENUMERATE_PROFILES when a folder cannot be read or list is too small; the list
// then holds what fitted and is closed.
ErrorCode EnumerateProfiles(const char *firstLabel, const char *secondLabel, const char *classes,
                            const char *colorSpaces, char *list, int capacity);

// The path of the first profile of the color folders whose description equals description
// but for case. ERROR_ENUMERATE_PROFILES when none has it; path is then empty.
ErrorCode FindProfileByDescription(const char *description, char *path, int capacity);

// Colorant values of a display profile, in s15Fixed16 form (65536 is 1.0).
struct DisplayColorants {
    int32_t white[3]; // X, Y, Z of the white point
    int32_t red[3];
    int32_t green[3];
    int32_t blue[3];
};

// Builds an ICC 2.1 RGB display profile into buffer (DISPLAY_PROFILE_BUFFER bytes) and
// gives its length. With all three curves (DISPLAY_CURVE_POINTS values each) the tone
// curves are those tables; without them each is the power gammaTimes256 / 256. The
// description is cut at PROFILE_DESCRIPTION_MAX - 1 characters. ERROR_ILLEGAL_OUTPUT_GAMMA
// for a gamma outside 1..65535 when it is used.
ErrorCode DisplayProfileMake(const char *description, int gammaTimes256,
                             const DisplayColorants *colorants, const uint16_t *redCurve,
                             const uint16_t *greenCurve, const uint16_t *blueCurve, uint8_t *buffer,
                             int *length);

// Writes the profile of DisplayProfileMake to path, replacing any earlier file only when
// the whole has been written. Codes of DisplayProfileMake and of the file calls.
ErrorCode CreateDisplayProfile(const char *path, const char *description, int gammaTimes256,
                               const DisplayColorants *colorants, const uint16_t *redCurve,
                               const uint16_t *greenCurve, const uint16_t *blueCurve);

// The tone curve of a calibration table: entry i is (table[i] / 255)^displayGamma * 65535,
// rounded.
void CalibrationCurve(const uint8_t table[256], double displayGamma, uint16_t curve[256]);

// Writes a display profile for the fixed colorants of a calibrated display, the white point
// of temperature ("5000", "5500", "6500", "7500" or "9300") and the curves of the three
// calibration tables at the display's gamma. ERROR_COLOR_TEMPERATURE for another
// temperature; otherwise the codes of CreateDisplayProfile.
ErrorCode CreateCalibrationProfile(const char *path, const char *description,
                                   const char *temperature, const uint8_t redTable[256],
                                   const uint8_t greenTable[256], const uint8_t blueTable[256],
                                   double displayGamma);

// The program's own sRGB profile, "sRGB IEC61966-2.1" of class mntr, made by the color
// engine on first use and kept until SrgbProfileFree. ERROR_NO_MEMORY when it cannot be
// made; the bytes are then null.
ErrorCode SrgbProfile(const uint8_t **bytes, int *length);
void SrgbProfileFree(void);
