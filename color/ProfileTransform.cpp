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
#include "platform/Platform.h"
#include "ui/MessageBox.h"

// The engine's formats for our rows: 8-bit samples, and 16-bit ones that are little-endian
// in memory, which the engine reads natively only on a little-endian machine.
static const cmsUInt32Number FORMAT_BGR_8 = TYPE_BGR_8;
static const cmsUInt32Number FORMAT_BGR_16 =
    TYPE_BGR_16 | (std::endian::native == std::endian::big ? ENDIAN16_SH(1) : 0);

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
    ErrorCode result = ERROR_NONE;
    cmsHPROFILE source = nullptr;
    cmsHPROFILE target = nullptr;
    cmsUInt32Number inputFormat = inputType == TYPE_COLOR48 ? FORMAT_BGR_16 : FORMAT_BGR_8;
    cmsUInt32Number outputFormat = outputType == TYPE_COLOR48 ? FORMAT_BGR_16 : FORMAT_BGR_8;
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

void DisplayTransformRelease(ImageWindow *window)
{
    ProfileTransformFree(&window->displayTransform);
    window->displayFailed = 0;
}

void DisplayReset(ImageWindow *window)
{
    DisplayTransformRelease(window);
    ImageFree(&window->screen);
}

void DisplayResetAll(void)
{
    for (int slot = 0; slot < SLOT_COUNT; slot++) {
        ImageWindow *record = SlotRecord(slot);
        if (record != nullptr && !record->free) DisplayReset(record);
    }
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

ErrorCode WindowProfileSet(ImageWindow *window, const uint8_t *bytes, int length)
{
    uint8_t *copy = nullptr;
    if (bytes == nullptr || length <= 0) {
        bytes = nullptr;
        length = 0;
    }
    if (length == 0 && window->profile == nullptr) return ERROR_NONE;
    if (length > 0 && length == window->profileSize && window->profile != nullptr &&
        memcmp(bytes, window->profile, (size_t)length) == 0)
        return ERROR_NONE;
    if (length > 0) {
        copy = (uint8_t *)MemoryAlloc((size_t)length);
        if (copy == nullptr) return ERROR_NO_MEMORY;
        memcpy(copy, bytes, (size_t)length);
    }
    MemoryFree(window->profile);
    window->profile = copy;
    window->profileSize = length;
    DisplayReset(window);
    return ERROR_NONE;
}

ErrorCode ConvertImageToProfile(ImageWindow *window, const uint8_t *targetBytes, int targetLength,
                                int intentIndex, int showProgress)
{
    ErrorCode result = ERROR_NONE;
    Image *image = &window->image;
    void *transform = nullptr;
    uint8_t *copy = nullptr;
    const uint8_t *srgb = nullptr;
    int srgbLength = 0;
    int progress = 0;
    int waitCursor = 0;

    if (!CurrentColorSettings.enabled || !IsColorType(image->type) || image->rows == nullptr)
        return ERROR_NONE;
    if (targetBytes == nullptr || targetLength <= 0) {
        targetBytes = nullptr;
        targetLength = 0;
    }
    result = SrgbProfile(&srgb, &srgbLength);
    if (result != ERROR_NONE) goto done;
    if (ProfileBytesEqual(window->profile, window->profileSize, targetBytes, targetLength, srgb,
                          srgbLength))
        goto done;

    result = ProfileTransformMake(window->profile, window->profileSize, targetBytes, targetLength,
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

    MemoryFree(window->profile);
    window->profile = copy;
    window->profileSize = targetLength;
    copy = nullptr;
    DisplayReset(window);
    if (window->window != nullptr) PlatformSetWindowWord(window->window, WORD_MODIFIED, 1);
done:
    if (progress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    MemoryFree(copy);
    ProfileTransformFree(&transform);
    return result;
}

ErrorCode ConvertToWorkingSpace(ImageWindow *window, const uint8_t *targetBytes, int targetLength,
                                int intentIndex)
{
    return ConvertImageToProfile(window, targetBytes, targetLength, intentIndex, 1);
}

// A transform from a picture's profile (null for sRGB) to the monitor, 8 bits in and out,
// as the settings ask: through the proofing profile when there is one, with the gamut alarm
// when it is on. The picture goes to the proofing device at the proofing intent, as it would
// print, and that simulation to the monitor at the monitor intent; without proofing the
// monitor intent takes the picture straight there. Null when the settings have no monitor or
// the transform cannot be made.
// 1 when a picture in a profile (null for sRGB) shows on the display as it is: no proofing,
// and the display's profile is that very profile, as an sRGB picture on an sRGB display.
static int DisplayIsPlainCopy(const uint8_t *profileBytes, int profileLength)
{
    int monitorLength;
    const uint8_t *monitor = ColorMonitorInUse(&monitorLength);
    if (CurrentColorSettings.proofHandle != nullptr || monitor == nullptr) return 0;
    if (profileBytes == nullptr && SrgbProfile(&profileBytes, &profileLength) != ERROR_NONE)
        return 0;
    return profileLength == monitorLength &&
           memcmp(profileBytes, monitor, (size_t)monitorLength) == 0;
}

static void *DisplayTransformMake(const uint8_t *profileBytes, int profileLength)
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

// The window's display transform, made at its first use; null when the view is to be copied
// plainly. A failure is remembered, so that every paint does not try again.
static void *DisplayTransformGet(ImageWindow *window)
{
    const ColorSettings *settings = &CurrentColorSettings;
    if (!settings->enabled || settings->monitorHandle == nullptr) return nullptr;
    if (window->displayTransform != nullptr || window->displayFailed)
        return window->displayTransform;
    // Gray and binary pictures carry no profile: a stale one is not theirs to use.
    int type = window->image.type;
    int ownProfile = type != TYPE_BINARY && type != TYPE_GRAY8 && type != TYPE_GRAY16;
    const uint8_t *profile = ownProfile ? window->profile : nullptr;
    int profileLength = ownProfile ? window->profileSize : 0;
    // A picture already in the display's profile is copied: a transform would change nothing
    // but the time a paint takes.
    if (DisplayIsPlainCopy(profile, profileLength)) {
        window->displayFailed = 1;
        return nullptr;
    }
    window->displayTransform = DisplayTransformMake(profile, profileLength);
    window->displayFailed = window->displayTransform == nullptr;
    return window->displayTransform;
}

// Count pixels of a view row from column x0 as blue-green-red bytes: a set bit is white on
// all channels and a gray value goes to all three.
static void ViewRowWiden(const Image *view, const uint8_t *row, int x0, int count, uint8_t *out)
{
    switch (view->type) {
    case TYPE_BINARY:
        for (int i = 0; i < count; i++) {
            uint8_t value = BitTest(row, x0 + i) ? 255 : 0;
            out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = value;
        }
        break;
    case TYPE_GRAY8:
        for (int i = 0; i < count; i++)
            out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = row[x0 + i];
        break;
    default: memcpy(out, row + 3 * x0, (size_t)count * 3); break;
    }
}

ErrorCode UpdateDisplayImage(ImageWindow *window, int left, int top, int right, int bottom)
{
    ErrorCode result = ERROR_NONE;
    const Image *view = &window->view;
    Image *screen = &window->screen;
    uint8_t *buffer = nullptr;
    void *transform;
    int x0, x1, y0, y1, count;

    if (view->rows == nullptr ||
        (view->type != TYPE_BINARY && view->type != TYPE_GRAY8 && view->type != TYPE_COLOR24))
        return ERROR_NONE;
    // A screen of another size is made afresh and then filled whole.
    if (screen->rows == nullptr || screen->type != TYPE_COLOR24 || screen->width != view->width ||
        screen->height != view->height) {
        ImageFree(screen);
        result = ImageAlloc(screen, TYPE_COLOR24, view->width, view->height, view->resolution);
        if (result != ERROR_NONE) goto done;
        left = 0;
        top = 0;
        right = view->width - 1;
        bottom = view->height - 1;
    }
    x0 = left > 0 ? left : 0;
    x1 = right < view->width - 1 ? right : view->width - 1;
    y0 = top < bottom ? top : bottom;
    y1 = top < bottom ? bottom : top;
    y0 = y0 > 0 ? y0 : 0;
    y1 = y1 < view->height - 1 ? y1 : view->height - 1;
    if (x0 > x1 || y0 > y1) goto done;
    count = x1 - x0 + 1;

    transform = DisplayTransformGet(window);
    if (transform != nullptr && view->type != TYPE_COLOR24) {
        buffer = (uint8_t *)MemoryAlloc((size_t)count * 3);
        if (buffer == nullptr) {
            result = ERROR_NO_MEMORY;
            goto done;
        }
    }
    for (int y = y0; y <= y1; y++) {
        const uint8_t *in = view->rows[y];
        uint8_t *out = screen->rows[y] + 3 * x0;
        if (transform == nullptr) {
            ViewRowWiden(view, in, x0, count, out);
        } else if (view->type == TYPE_COLOR24) {
            ProfileTransformRow(transform, in + 3 * x0, out, count);
        } else {
            ViewRowWiden(view, in, x0, count, buffer);
            ProfileTransformRow(transform, buffer, out, count);
        }
    }
done:
    MemoryFree(buffer);
    return result;
}

ErrorCode ConvertForDisplay(Image *image, const uint8_t *profileBytes, int profileLength)
{
    void *transform = nullptr;
    if (!CurrentColorSettings.enabled || CurrentColorSettings.monitorHandle == nullptr)
        return ERROR_NONE;
    if (image->type != TYPE_COLOR24) return ERROR_ILLEGAL_TYPE;
    if (DisplayIsPlainCopy(profileBytes, profileLength)) return ERROR_NONE;
    transform = DisplayTransformMake(profileBytes, profileLength);
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
        ShowErrorText("%s", "Problem converting from working color space to monitor color space");
        return result;
    }
    ProfileTransformRow(transform, pixels, pixels, count);
    ProfileTransformFree(&transform);
    return ERROR_NONE;
}

// The name a mismatch warning gives a window: its title, or its file, without the folders.
static void WindowLabel(const ImageWindow *window, char *label, int capacity)
{
    char title[PATH_LENGTH];
    title[0] = 0;
    if (window->window != nullptr) PlatformGetWindowTitle(window->window, title, sizeof title);
    if (title[0] == 0) StrCopyLimit(window->fileName, title, PATH_LENGTH - 1);
    if (title[0] == 0) StrCopyLimit("Untitled", title, PATH_LENGTH - 1);
    const char *name = title;
    for (const char *at = title; *at != 0; at++)
        if (*at == '/' || *at == '\\') name = at + 1;
    StrCopyLimit(name, label, capacity - 1);
}

void CheckProfileMatch(const ImageWindow *first, const ImageWindow *second)
{
    char labelA[PATH_LENGTH];
    char labelB[PATH_LENGTH];
    char descriptionA[PROFILE_DESCRIPTION_MAX];
    char descriptionB[PROFILE_DESCRIPTION_MAX];
    const uint8_t *bytesB;
    int lengthB;

    if (!CurrentColorSettings.enabled || first == nullptr || !IsColorType(first->image.type))
        return;
    if (second != nullptr) {
        if (!IsColorType(second->image.type)) return;
        bytesB = second->profile;
        lengthB = second->profileSize;
        WindowLabel(second, labelB, sizeof labelB);
    } else {
        // Without a working space there is nothing to differ from.
        bytesB = ColorProfileBytes(COLOR_PROFILE_WORKING, &lengthB);
        if (bytesB == nullptr) return;
        StrCopyLimit("Working color space", labelB, sizeof labelB - 1);
    }
    if (SameProfile(first->profile, first->profileSize, bytesB, lengthB)) return;
    WindowLabel(first, labelA, sizeof labelA);
    ProfileDescription(first->profile, first->profileSize, descriptionA, sizeof descriptionA);
    ProfileDescription(bytesB, lengthB, descriptionB, sizeof descriptionB);
    ShowMessage("Warning", "Color profile mismatch:\n  %s: %s\n  %s: %s", labelA, descriptionA,
                labelB, descriptionB);
}

ErrorCode InheritProfile(const ImageWindow *source, ImageWindow *destination)
{
    ErrorCode result = ERROR_NONE;
    const uint8_t *bytes = nullptr;
    int length = 0;

    if (IsColorType(destination->image.type)) {
        if (source != nullptr && source->profile != nullptr && source->profileSize > 0) {
            bytes = source->profile;
            length = source->profileSize;
        } else if (source == nullptr || !IsColorType(source->image.type)) {
            // A color picture made from nothing, or from a gray one, is in the working space.
            bytes = ColorProfileBytes(COLOR_PROFILE_WORKING, &length);
        }
    }
    result = WindowProfileSet(destination, bytes, length);
    DisplayReset(destination);
    return result;
}

ErrorCode OpenProfileCheck(ImageWindow *window, int *ask)
{
    ErrorCode result = ERROR_NONE;
    const ColorSettings *settings = &CurrentColorSettings;
    const uint8_t *working;
    const uint8_t *assumed;
    int workingLength;
    int assumedLength;

    *ask = 0;
    working = ColorProfileBytes(COLOR_PROFILE_WORKING, &workingLength);
    assumed = ColorProfileBytes(COLOR_PROFILE_ASSUMED_FILE, &assumedLength);
    if (!settings->enabled || !IsColorType(window->image.type) || working == nullptr) goto done;

    if (window->profile != nullptr && window->profileSize > 0) {
        if (SameProfile(window->profile, window->profileSize, working, workingLength)) goto done;
        if (settings->onMismatch == MISMATCH_ASK)
            *ask = 1;
        else if (settings->onMismatch == MISMATCH_CONVERT)
            result = ConvertToWorkingSpace(window, working, workingLength, COLOR_INTENT_FULL_GAMUT);
        goto done;
    }
    // A picture without a profile: the assumed file profile says what it most likely is.
    if (settings->onMismatch == MISMATCH_ASK) {
        *ask = 1;
        goto done;
    }
    if (assumed != nullptr) {
        result = WindowProfileSet(window, assumed, assumedLength);
        if (result != ERROR_NONE) goto done;
    }
    if (settings->onMismatch == MISMATCH_CONVERT)
        result = ConvertToWorkingSpace(window, working, workingLength, COLOR_INTENT_FULL_GAMUT);
done:
    DisplayReset(window);
    return result;
}

ErrorCode OpenProfileChoose(ImageWindow *window, const uint8_t *profileBytes, int profileLength,
                            int convert, int intentIndex)
{
    ErrorCode result = ERROR_NONE;
    const uint8_t *working;
    int workingLength;

    if (profileBytes != nullptr && profileLength > 0) {
        result = WindowProfileSet(window, profileBytes, profileLength);
        if (result != ERROR_NONE) goto done;
    }
    working = ColorProfileBytes(COLOR_PROFILE_WORKING, &workingLength);
    if (convert && working != nullptr)
        result = ConvertToWorkingSpace(window, working, workingLength, intentIndex);
done:
    DisplayReset(window);
    return result;
}
