// Change Color Profile: converts a color picture's pixels to another profile, or only
// changes which profile the picture is said to be in, or both.
#pragma once

#include <cstdint>

#include "color/ProfileHeader.h"
#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_CHANGE_PROFILE = 72,      // its operation code and its dialog's window kind
    COMMAND_CHANGE_PROFILE = 4058, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    CHANGE_PROFILE_CHANGE = 102,
    CHANGE_PROFILE_INPUT = 103,
    CHANGE_PROFILE_CURRENT = 104, // "Current color profile: %s"
    CHANGE_PROFILE_TARGET = 105,
    CHANGE_PROFILE_INTENT = 106,
};

enum : int32_t {
    CHANGE_PROFILE_DATA_AND_PROFILE = 0, // "Image Data and Profile Setting"
    CHANGE_PROFILE_DATA_ONLY = 1,        // "Image Data Only"
    CHANGE_PROFILE_SETTING_ONLY = 2,     // "Profile Setting Only"
    CHANGE_PROFILE_CHOICES = 3,
};

extern const char *const CHANGE_PROFILE_LABELS[CHANGE_PROFILE_CHOICES];

struct ChangeProfileSettings {
    int32_t change;                                  // CHANGE_PROFILE_*, "Change:"
    int32_t intent;                                  // COLOR_INTENT_*, "Rendering Intent:"
    char targetDescription[PROFILE_DESCRIPTION_MAX]; // the target list's choice, or "None"
    // The bytes behind the choices, owned by the caller; null for none (sRGB as a source).
    const uint8_t *sourceProfile; // the input picture's profile
    int32_t sourceLength;
    const uint8_t *targetProfile; // the chosen target
    int32_t targetLength;
};

// Fills settings with the values of a first opening: both changed, full gamut, no target.
void ChangeProfileSettingsDefault(ChangeProfileSettings *settings);

// The profile the pixels of a result are in: the source's for "Image Data Only", else the
// target; null (sRGB) with length 0 for none.
const uint8_t *ChangeProfileResultProfile(const void *params, int *length);

// The compute function of Change Color Profile (params is a ChangeProfileSettings) for 24
// and 48-bit pictures; a preview of a 48-bit picture is 24-bit. Pixels go from the source
// profile to the target unless only the setting changes, in which case they are copied.
// When it succeeds, the result's picture (not a preview) gets the profile its pixels are now
// in (ChangeProfileResultProfile): the target, or the source's for "Image Data Only".
// ERROR_ILLEGAL_TYPE for other pictures; ERROR_SCANNER_PROFILE for a scanner target when pixels
// change; ERROR_TARGET_PROFILE_REQUIRED without a target when pixels change; the codes of
// ProfileTransformMake; ERROR_NO_MEMORY; ERROR_ABORTED with the rows done so far.
ErrorCode ChangeProfileCompute(const Image *source, Image *destination, Picture *picture,
                               void *params, int full, int destinationWidth, int destinationHeight,
                               int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                               int w, int h);

extern const TransformDescriptor ChangeProfileTransform;
