// Change Color Profile. The pixels go through one Little CMS transform a row at a time, read
// and written through the row reader and writer like every transformation, so a preview at
// any zoom and Apply share this code; a 48-bit preview comes out at 8 bits straight from the
// engine.
#include "transforms/ChangeProfile.h"

#include <cstddef>
#include <cstring>

#include "color/ColorSettings.h"
#include "color/ProfileTransform.h"
#include "color/Profiles.h"
#include "core/Image.h"
#include "core/Picture.h"
#include "core/Text.h"

const char *const CHANGE_PROFILE_LABELS[CHANGE_PROFILE_CHOICES] = {
    "Image Data and Profile Setting",
    "Image Data Only",
    "Profile Setting Only",
};

void ChangeProfileSettingsDefault(ChangeProfileSettings *settings)
{
    memset(settings, 0, sizeof *settings);
    settings->change = CHANGE_PROFILE_DATA_AND_PROFILE;
    settings->intent = COLOR_INTENT_FULL_GAMUT;
    StrCopyLimit("None", settings->targetDescription, PROFILE_DESCRIPTION_MAX - 1);
}

const uint8_t *ChangeProfileResultProfile(const void *params, int *length)
{
    const ChangeProfileSettings *settings = (const ChangeProfileSettings *)params;
    if (settings->change == CHANGE_PROFILE_DATA_ONLY) {
        *length = settings->sourceLength;
        return settings->sourceProfile;
    }
    *length = settings->targetLength;
    return settings->targetProfile;
}

// One row unchanged, but for a 48-bit source into a 24-bit preview.
static void ChangeProfileCopyRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    if (run->source->type == TYPE_COLOR48 && run->outputType == TYPE_COLOR24) {
        const uint16_t *wide = (const uint16_t *)in;
        for (int i = 0; i < run->samples; i++)
            out[i] = Depth16To8[wide[i]];
    } else if (in != out) {
        memcpy(out, in, (size_t)run->samples * (run->source->type == TYPE_COLOR48 ? 2 : 1));
    }
}

// The engine converts a pixel before it writes it, and in and out pixels have one size at
// full, so vistel-cli may give one picture as source and destination.
static void ChangeProfileTransformRow(const RowRun *run, const uint8_t *in, uint8_t *out)
{
    ProfileTransformRow(run->state, in, out, run->width);
}

static ErrorCode ChangeProfileOutput(const void *params, int sourceType, int full, int *outputType)
{
    (void)params;
    if (sourceType != TYPE_COLOR24 && sourceType != TYPE_COLOR48) return ERROR_ILLEGAL_TYPE;
    *outputType = ComputeOutputType(sourceType, full);
    return ERROR_NONE;
}

// The transform of this run, unless only the setting changes.
static ErrorCode ChangeProfileSetup(RowRun *run)
{
    const ChangeProfileSettings *settings = (const ChangeProfileSettings *)run->params;
    char kind[8];
    run->row = ChangeProfileCopyRow;
    if (settings->change == CHANGE_PROFILE_SETTING_ONLY) return ERROR_NONE;
    // A scanner profile describes a device's input only: no pixels can be made for it.
    ProfileClass(settings->targetProfile, settings->targetLength, kind, sizeof kind);
    if (strcmp(kind, "scnr") == 0) return ERROR_SCANNER_PROFILE;
    if (settings->targetProfile == nullptr || settings->targetLength <= 0)
        return ERROR_TARGET_PROFILE_REQUIRED;
    run->row = ChangeProfileTransformRow;
    return ProfileTransformMakeOrdered(settings->sourceProfile, settings->sourceLength,
                                       settings->targetProfile, settings->targetLength,
                                       run->source->type, run->outputType, settings->intent,
                                       run->redFirst, &run->state);
}

static void ChangeProfileCleanup(RowRun *run)
{
    ProfileTransformFree(&run->state);
}

// The engine is told the order of the channels, so rows red first go through as they are.
static const RowTransform CHANGE_PROFILE_ROWS = {"Change Color Profile",
                                                 1,
                                                 ChangeProfileOutput,
                                                 ChangeProfileSetup,
                                                 ChangeProfileCleanup,
                                                 nullptr,
                                                 1};

ErrorCode ChangeProfileCompute(const Image *source, Image *destination, Picture *picture,
                               void *params, int full, int destinationWidth, int destinationHeight,
                               int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                               int w, int h)
{
    ErrorCode result =
        ComputeRows(&CHANGE_PROFILE_ROWS, source, destination, params, full, destinationWidth,
                    destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    // The result says which profile its pixels are now in; a preview's is the caller's to set.
    if (result == ERROR_NONE && picture != nullptr) {
        int length = 0;
        int changed;
        const uint8_t *profile = ChangeProfileResultProfile(params, &length);
        result = PictureProfileSet(picture, profile, length, &changed);
    }
    return result;
}

static int ChangeProfileAccepts(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
}

static void ChangeProfileDefaults(void *settings)
{
    ChangeProfileSettingsDefault((ChangeProfileSettings *)settings);
}

// The pixels come from the input's profile; a picture without one counts as sRGB.
static void ChangeProfileTakeInput(void *settings, const Picture *input)
{
    ChangeProfileSettings *change = (ChangeProfileSettings *)settings;
    change->sourceProfile = input != nullptr ? input->profile : nullptr;
    change->sourceLength = input != nullptr ? input->profileSize : 0;
}

static const TransformOption CHANGE_PROFILE_OPTIONS[] = {
    {"--to", "PROFILE.icc", OPTION_FILE, OPTION_REQUIRED, 0.0, 0.0, nullptr, 0,
     offsetof(ChangeProfileSettings, targetProfile), offsetof(ChangeProfileSettings, targetLength),
     "the profile the pixels go to and the picture is then in", nullptr, ProfileFileRead},
    {"--intent", "N", OPTION_CHOICE, OPTION_CHOICE_NUMBERED, 0.0, 0.0, COLOR_INTENT_LABELS,
     COLOR_INTENT_COUNT, offsetof(ChangeProfileSettings, intent), 0,
     "the rendering intent, by number 0 to 4 or by label", "unknown rendering intent", nullptr},
};

// Image data and profile change together, as the dialog's first choice does.
const TransformDescriptor ChangeProfileTransform = {"Change Color Profile",
                                                    "profile",
                                                    "Change Color Profile: pixels and profile",
                                                    "Change Color &Profile...",
                                                    MENU_IMAGE_DIALOG,
                                                    COMMAND_CHANGE_PROFILE,
                                                    KIND_CHANGE_PROFILE,
                                                    ChangeProfileCompute,
                                                    ChangeProfileAccepts,
                                                    nullptr,
                                                    nullptr,
                                                    ChangeProfileResultProfile,
                                                    TRANSFORM_PROFILE_OWN,
                                                    1,
                                                    TRANSFORM_NO_AMOUNT,
                                                    sizeof(ChangeProfileSettings),
                                                    ChangeProfileDefaults,
                                                    ChangeProfileTakeInput,
                                                    CHANGE_PROFILE_OPTIONS,
                                                    2,
                                                    nullptr,
                                                    nullptr,
                                                    &CHANGE_PROFILE_ROWS};
