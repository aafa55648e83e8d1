// Profile transforms through Little CMS. Every transform here takes rows in the order an
// Image keeps them, blue first, and 16-bit samples little-endian whatever the machine, so
// rows go to the engine without copying or swapping.
//
// The engine copies what it needs from the profiles into the transform, so profiles are
// closed as soon as a transform is made; only the monitor and proofing profiles stay open,
// in the color settings, for the display transforms made at each window's first paint.
#include "color/ProfileTransform.h"

#include <bit>
#include <cstring>
#include <lcms2.h>

#include "color/ColorSettings.h"
#include "color/ProfileHeader.h"
#include "color/Profiles.h"
#include "core/Compute.h"
#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Progress.h"
#include "core/Text.h"

// The engine's formats for our rows: 8-bit samples, and 16-bit ones that are little-endian
// in memory, which the engine reads natively only on a little-endian machine.
static const cmsUInt32Number FORMAT_BGR_8 = TYPE_BGR_8;
static const cmsUInt32Number FORMAT_BGR_16 =
    TYPE_BGR_16 | (std::endian::native == std::endian::big ? ENDIAN16_SH(1) : 0);
// The same, red first, as the rows of a file lie.
static const cmsUInt32Number FORMAT_RGB_8 = TYPE_RGB_8;
static const cmsUInt32Number FORMAT_RGB_16 =
    TYPE_RGB_16 | (std::endian::native == std::endian::big ? ENDIAN16_SH(1) : 0);

static int IsColorType(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
}

// Opens a profile from its bytes, or the engine's own sRGB for none, and checks that RGB
// pixels can go into or out of it.
static ErrorCode ProfileOpenBytes(const uint8_t *bytes, int length, cmsHPROFILE *profile)
{
    if (bytes != nullptr && length > 0)
        *profile = cmsOpenProfileFromMem(bytes, (cmsUInt32Number)length);
    else
        *profile = cmsCreate_sRGBProfile();
    if (*profile == nullptr) return ERROR_INVALID_PROFILE;
    cmsProfileClassSignature kind = cmsGetDeviceClass(*profile);
    if (cmsGetColorSpace(*profile) != cmsSigRgbData || kind == cmsSigLinkClass ||
        kind == cmsSigAbstractClass || kind == cmsSigNamedColorClass) {
        cmsCloseProfile(*profile);
        *profile = nullptr;
        return ERROR_NOT_COLOR_SPACE_PROFILE;
    }
    return ERROR_NONE;
}

ErrorCode ProfileTransformMake(const uint8_t *sourceBytes, int sourceLength,
                               const uint8_t *targetBytes, int targetLength, int inputType,
                               int outputType, int intentIndex, void **transform)
{
    return ProfileTransformMakeOrdered(sourceBytes, sourceLength, targetBytes, targetLength,
                                       inputType, outputType, intentIndex, 0, transform);
}

ErrorCode ProfileTransformMakeOrdered(const uint8_t *sourceBytes, int sourceLength,
                                      const uint8_t *targetBytes, int targetLength, int inputType,
                                      int outputType, int intentIndex, int redFirst,
                                      void **transform)
{
    ErrorCode result = ERROR_NONE;
    cmsHPROFILE source = nullptr;
    cmsHPROFILE target = nullptr;
    cmsUInt32Number format8 = redFirst ? FORMAT_RGB_8 : FORMAT_BGR_8;
    cmsUInt32Number format16 = redFirst ? FORMAT_RGB_16 : FORMAT_BGR_16;
    cmsUInt32Number inputFormat = inputType == TYPE_COLOR48 ? format16 : format8;
    cmsUInt32Number outputFormat = outputType == TYPE_COLOR48 ? format16 : format8;
    cmsUInt32Number flags = ColorIntentFlags(intentIndex);

    *transform = nullptr;
    result = ProfileOpenBytes(sourceBytes, sourceLength, &source);
    if (result != ERROR_NONE) goto done;
    result = ProfileOpenBytes(targetBytes, targetLength, &target);
    if (result != ERROR_NONE) goto done;
    // The engine remembers the last pixel it converted and compares each new one with it
    // first. Neighbouring 16-bit pixels of a photograph are seldom equal, so at 16 bits that
    // comparison costs more than it saves (3 % of a 48-bit picture's conversion); at 8 bits
    // the two measure alike, and the memory stays. The results are the same either way.
    if (inputType == TYPE_COLOR48) flags |= cmsFLAGS_NOCACHE;
    *transform = cmsCreateTransform(source, inputFormat, target, outputFormat,
                                    (cmsUInt32Number)ColorIntentEngine(intentIndex), flags);
    if (*transform == nullptr) result = ERROR_CREATE_TRANSFORM;
done:
    if (target != nullptr) cmsCloseProfile(target);
    if (source != nullptr) cmsCloseProfile(source);
    return result;
}

void ProfileTransformRow(void *transform, const uint8_t *in, uint8_t *out, int count)
{
    cmsDoTransform(transform, in, out, (cmsUInt32Number)count);
}

void ProfileTransformFree(void **transform)
{
    if (*transform != nullptr) cmsDeleteTransform(*transform);
    *transform = nullptr;
}

// 1 when the bytes of two profiles are the same, a missing one read as sRGB's.
static int ProfileBytesEqual(const uint8_t *a, int lengthA, const uint8_t *b, int lengthB,
                             const uint8_t *srgb, int srgbLength)
{
    if (a == nullptr || lengthA <= 0) {
        a = srgb;
        lengthA = srgbLength;
    }
    if (b == nullptr || lengthB <= 0) {
        b = srgb;
        lengthB = srgbLength;
    }
    return lengthA == lengthB && (lengthA == 0 || memcmp(a, b, (size_t)lengthA) == 0);
}

ErrorCode PictureProfileSet(Picture *picture, const uint8_t *bytes, int length, int *changed)
{
    uint8_t *copy = nullptr;
    *changed = 0;
    if (bytes == nullptr || length <= 0) {
        bytes = nullptr;
        length = 0;
    }
    if (length == 0 && picture->profile == nullptr) return ERROR_NONE;
    if (length > 0 && length == picture->profileSize && picture->profile != nullptr &&
        memcmp(bytes, picture->profile, (size_t)length) == 0)
        return ERROR_NONE;
    if (length > 0) {
        copy = (uint8_t *)MemoryAlloc((size_t)length);
        if (copy == nullptr) return ERROR_NO_MEMORY;
        memcpy(copy, bytes, (size_t)length);
    }
    MemoryFree(picture->profile);
    picture->profile = copy;
    picture->profileSize = length;
    *changed = 1;
    return ERROR_NONE;
}

ErrorCode ConvertImageToProfile(Picture *picture, const uint8_t *targetBytes, int targetLength,
                                int intentIndex, int showProgress, int *modified)
{
    ErrorCode result = ERROR_NONE;
    Image *image = &picture->image;
    void *transform = nullptr;
    uint8_t *copy = nullptr;
    const uint8_t *srgb = nullptr;
    int srgbLength = 0;
    int progress = 0;
    int waitCursor = 0;

    *modified = 0;
    if (!CurrentColorSettings.enabled || !IsColorType(image->type) || image->rows == nullptr)
        return ERROR_NONE;
    if (targetBytes == nullptr || targetLength <= 0) {
        targetBytes = nullptr;
        targetLength = 0;
    }
    result = SrgbProfile(&srgb, &srgbLength);
    if (result != ERROR_NONE) goto done;
    if (ProfileBytesEqual(picture->profile, picture->profileSize, targetBytes, targetLength, srgb,
                          srgbLength))
        goto done;

    result = ProfileTransformMake(picture->profile, picture->profileSize, targetBytes, targetLength,
                                  image->type, image->type, intentIndex, &transform);
    if (result != ERROR_NONE) goto done;
    // Everything that can fail is had before the first pixel changes, so that a failure
    // leaves the picture and its profile as they were.
    if (targetBytes != nullptr) {
        copy = (uint8_t *)MemoryAlloc((size_t)targetLength);
        if (copy == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
        memcpy(copy, targetBytes, (size_t)targetLength);
    }

    if (showProgress && (int64_t)image->width * image->height >= PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, "Convert Color Space", 0);
        progress = 1;
    } else {
        SetWaitCursor();
        waitCursor = 1;
    }
    // Pixels in and out have one size, so the engine converts each row where it lies.
    for (int row = 0; row < image->height; row++) {
        ProfileTransformRow(transform, image->rows[row], image->rows[row], image->width);
        // Without a Cancel button a step cannot abort, and half a picture converted would
        // be worse than either.
        if (progress) (void)ProgressStep(row);
    }

    MemoryFree(picture->profile);
    picture->profile = copy;
    picture->profileSize = targetLength;
    copy = nullptr;
    *modified = 1;
done:
    if (progress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    MemoryFree(copy);
    ProfileTransformFree(&transform);
    return result;
}

ErrorCode ConvertToWorkingSpace(Picture *picture, const uint8_t *targetBytes, int targetLength,
                                int intentIndex, int *modified)
{
    return ConvertImageToProfile(picture, targetBytes, targetLength, intentIndex, 1, modified);
}

int MonitorShowsAsIs(const uint8_t *profileBytes, int profileLength)
{
    int monitorLength;
    const uint8_t *monitor = ColorMonitorInUse(&monitorLength);
    if (CurrentColorSettings.proofHandle != nullptr || monitor == nullptr) return 0;
    if (profileBytes == nullptr && SrgbProfile(&profileBytes, &profileLength) != ERROR_NONE)
        return 0;
    return profileLength == monitorLength &&
           memcmp(profileBytes, monitor, (size_t)monitorLength) == 0;
}

// The picture goes to the proofing device at the proofing intent, as it would print, and that
// simulation to the monitor at the monitor intent; without proofing the monitor intent takes
// the picture straight there.
void *MonitorTransformMake(const uint8_t *profileBytes, int profileLength)
{
    const ColorSettings *settings = &CurrentColorSettings;
    cmsHPROFILE source = nullptr;
    void *transform = nullptr;
    cmsUInt32Number flags;

    if (settings->monitorHandle == nullptr) return nullptr;
    if (ProfileOpenBytes(profileBytes, profileLength, &source) != ERROR_NONE) return nullptr;
    flags = ColorIntentFlags(settings->monitorIntent);
    if (settings->proofHandle == nullptr) {
        transform =
            cmsCreateTransform(source, FORMAT_BGR_8, settings->monitorHandle, FORMAT_BGR_8,
                               (cmsUInt32Number)ColorIntentEngine(settings->monitorIntent), flags);
    } else {
        flags |= ColorIntentFlags(settings->proofIntent) | cmsFLAGS_SOFTPROOFING;
        if (settings->gamutAlarm) {
            // The codes are output samples in the monitor's channel order, red first; the
            // output format puts them blue first like every other pixel.
            cmsUInt16Number alarm[cmsMAXCHANNELS] = {};
            for (int i = 0; i < 3; i++)
                alarm[i] = (cmsUInt16Number)(settings->gamutAlarmColor[i] * 257);
            cmsSetAlarmCodes(alarm);
            flags |= cmsFLAGS_GAMUTCHECK;
        }
        transform = cmsCreateProofingTransform(
            source, FORMAT_BGR_8, settings->monitorHandle, FORMAT_BGR_8, settings->proofHandle,
            (cmsUInt32Number)ColorIntentEngine(settings->proofIntent),
            (cmsUInt32Number)ColorIntentEngine(settings->monitorIntent), flags);
    }
    cmsCloseProfile(source);
    return transform;
}

ErrorCode ConvertForDisplay(Image *image, const uint8_t *profileBytes, int profileLength)
{
    void *transform = nullptr;
    if (!CurrentColorSettings.enabled || CurrentColorSettings.monitorHandle == nullptr)
        return ERROR_NONE;
    if (image->type != TYPE_COLOR24) return ERROR_ILLEGAL_TYPE;
    if (MonitorShowsAsIs(profileBytes, profileLength)) return ERROR_NONE;
    transform = MonitorTransformMake(profileBytes, profileLength);
    if (transform == nullptr) return ERROR_CREATE_TRANSFORM;
    for (int row = 0; row < image->height; row++)
        ProfileTransformRow(transform, image->rows[row], image->rows[row], image->width);
    ProfileTransformFree(&transform);
    return ERROR_NONE;
}

ErrorCode ConvertWorkingToMonitor(uint8_t *pixels, int count)
{
    ErrorCode result = ERROR_NONE;
    void *transform = nullptr;
    const uint8_t *working;
    const uint8_t *monitor;
    int workingLength;
    int monitorLength;

    working = ColorProfileBytes(COLOR_PROFILE_WORKING, &workingLength);
    monitor = ColorMonitorInUse(&monitorLength);
    if (!CurrentColorSettings.enabled || working == nullptr || monitor == nullptr || count <= 0)
        return ERROR_NONE;
    result = ProfileTransformMake(working, workingLength, monitor, monitorLength, TYPE_COLOR24,
                                  TYPE_COLOR24, CurrentColorSettings.monitorIntent, &transform);
    if (result != ERROR_NONE) {
        Notice("Error", "%s", "Problem converting from working color space to monitor color space");
        return result;
    }
    ProfileTransformRow(transform, pixels, pixels, count);
    ProfileTransformFree(&transform);
    return ERROR_NONE;
}

ErrorCode InheritProfile(const Picture *source, Picture *destination)
{
    const uint8_t *bytes = nullptr;
    int length = 0;
    int changed;

    if (IsColorType(destination->image.type)) {
        if (source != nullptr && source->profile != nullptr && source->profileSize > 0) {
            bytes = source->profile;
            length = source->profileSize;
        } else if (source == nullptr || !IsColorType(source->image.type)) {
            // A color picture made from nothing, or from a gray one, is in the working space.
            bytes = ColorProfileBytes(COLOR_PROFILE_WORKING, &length);
        }
    }
    return PictureProfileSet(destination, bytes, length, &changed);
}

ErrorCode OpenProfileCheck(Picture *picture, int *ask, int *modified)
{
    ErrorCode result = ERROR_NONE;
    const ColorSettings *settings = &CurrentColorSettings;
    const uint8_t *working;
    const uint8_t *assumed;
    int workingLength;
    int assumedLength;
    int changed;

    *ask = 0;
    *modified = 0;
    working = ColorProfileBytes(COLOR_PROFILE_WORKING, &workingLength);
    assumed = ColorProfileBytes(COLOR_PROFILE_ASSUMED_FILE, &assumedLength);
    if (!settings->enabled || !IsColorType(picture->image.type) || working == nullptr) goto done;

    if (picture->profile != nullptr && picture->profileSize > 0) {
        if (SameProfile(picture->profile, picture->profileSize, working, workingLength)) goto done;
        if (settings->onMismatch == MISMATCH_ASK)
            *ask = 1;
        else if (settings->onMismatch == MISMATCH_CONVERT)
            result = ConvertToWorkingSpace(picture, working, workingLength, COLOR_INTENT_FULL_GAMUT,
                                           modified);
        goto done;
    }
    // A picture without a profile: the assumed file profile says what it most likely is.
    if (settings->onMismatch == MISMATCH_ASK) {
        *ask = 1;
        goto done;
    }
    if (assumed != nullptr) {
        result = PictureProfileSet(picture, assumed, assumedLength, &changed);
        if (result != ERROR_NONE) goto done;
    }
    if (settings->onMismatch == MISMATCH_CONVERT)
        result = ConvertToWorkingSpace(picture, working, workingLength, COLOR_INTENT_FULL_GAMUT,
                                       modified);
done:
    return result;
}

ErrorCode OpenProfileChoose(Picture *picture, const uint8_t *profileBytes, int profileLength,
                            int convert, int intentIndex, int *modified)
{
    ErrorCode result = ERROR_NONE;
    const uint8_t *working;
    int workingLength;
    int changed;

    *modified = 0;
    if (profileBytes != nullptr && profileLength > 0) {
        result = PictureProfileSet(picture, profileBytes, profileLength, &changed);
        if (result != ERROR_NONE) goto done;
    }
    working = ColorProfileBytes(COLOR_PROFILE_WORKING, &workingLength);
    if (convert && working != nullptr)
        result = ConvertToWorkingSpace(picture, working, workingLength, intentIndex, modified);
done:
    return result;
}
