// Change Color Profile. The pixels go through one Little CMS transform a row at a time, read
// and written through the row reader and writer like every transformation, so a preview at
// any zoom and Apply share this code; a 48-bit preview comes out at 8 bits straight from the
// engine.
#include "transforms/ChangeProfile.h"

#include <cstring>

#include "color/ColorSettings.h"
#include "color/ProfileTransform.h"
#include "core/Image.h"
#include "core/Picture.h"
#include "core/Progress.h"
#include "core/RowReader.h"
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
static void ChangeProfileCopyRow(const uint8_t *in, uint8_t *out, int samples, int sourceType,
                                 int outputType)
{
    if (sourceType == TYPE_COLOR48 && outputType == TYPE_COLOR24) {
        const uint16_t *wide = (const uint16_t *)in;
        for (int i = 0; i < samples; i++)
            out[i] = Depth16To8[wide[i]];
    } else if (in != out) {
        memcpy(out, in, (size_t)samples * (sourceType == TYPE_COLOR48 ? 2 : 1));
    }
}

ErrorCode ChangeProfileCompute(const Image *source, Image *destination, Picture *picture,
                               void *params, int full, int destinationWidth, int destinationHeight,
                               int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                               int w, int h)
{
    const ChangeProfileSettings *settings = (const ChangeProfileSettings *)params;
    ErrorCode result = ERROR_NONE;
    RowReader reader;
    RowWriter writer;
    void *transform = nullptr;
    char kind[8];
    int changesData = settings->change != CHANGE_PROFILE_SETTING_ONLY;
    int outputType;
    int showProgress = 0;
    int waitCursor = 0;

    // Reset before anything can fail, so that the exit may close both unconditionally.
    RowReaderReset(&reader);
    RowWriterReset(&writer);

    if (source == nullptr || (source->type != TYPE_COLOR24 && source->type != TYPE_COLOR48)) {
        result = ERROR_ILLEGAL_TYPE;
        goto done;
    }
    outputType = ComputeOutputType(source->type, full);
    if (changesData) {
        // A scanner profile describes a device's input only: no pixels can be made for it.
        ProfileClass(settings->targetProfile, settings->targetLength, kind, sizeof kind);
        if (strcmp(kind, "scnr") == 0) {
            result = ERROR_SCANNER_PROFILE;
            goto done;
        }
        if (settings->targetProfile == nullptr || settings->targetLength <= 0) {
            result = ERROR_TARGET_PROFILE_REQUIRED;
            goto done;
        }
        result = ProfileTransformMake(settings->sourceProfile, settings->sourceLength,
                                      settings->targetProfile, settings->targetLength, source->type,
                                      outputType, settings->intent, &transform);
        if (result != ERROR_NONE) goto done;
    }

    result =
        ComputePrepareDestination(source, destination, outputType, destinationWidth,
                                  destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    if (result != ERROR_NONE) goto done;
    result = RowReaderOpen(source, sourceX, sourceY, zoom, w, &reader);
    if (result != ERROR_NONE) goto done;
    result = RowWriterOpen(destination, zoom, x0, x1, y0, full, &writer);
    if (result != ERROR_NONE) goto done;

    showProgress = (int64_t)w * h >= PROGRESS_PIXELS;
    if (showProgress) {
        ProgressOpen(0, h - 1, "Change Color Profile", 1);
    } else {
        SetWaitCursor();
        waitCursor = 1;
    }
    // The engine converts a pixel before it writes it, and in and out pixels have one size at
    // full, so vistel-cli may give one picture as source and destination.
    for (int row = 0; row < h; row++) {
        const uint8_t *in = RowReaderNext(&reader);
        uint8_t *out = RowWriterRow(&writer);
        if (transform != nullptr)
            ProfileTransformRow(transform, in, out, w);
        else
            ChangeProfileCopyRow(in, out, 3 * w, source->type, outputType);
        RowWriterPut(&writer);
        if (showProgress && (result = ProgressStep(row)) != ERROR_NONE) goto done;
    }

    // The result says which profile its pixels are now in; a preview's is the caller's to set.
    if (picture != nullptr) {
        int length = 0;
        int changed;
        const uint8_t *profile = ChangeProfileResultProfile(settings, &length);
        result = PictureProfileSet(picture, profile, length, &changed);
    }
done:
    if (showProgress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    ProfileTransformFree(&transform);
    RowReaderClose(&reader);
    RowWriterClose(&writer);
    return result;
}
