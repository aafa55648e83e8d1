// The color side of the display of picture windows: each window's transform from its
// picture's profile to the monitor, kept from its first paint until the profile or the
// settings change, the view brought through it into the screen, and the warning when two
// pictures used together differ in profile. The color engine's work itself is in
// color/ProfileTransform.h.
#include "ui/DisplayColor.h"

#include <cstring>

#include "color/ColorSettings.h"
#include "color/ProfileHeader.h"
#include "color/ProfileTransform.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "platform/Platform.h"
#include "ui/MessageBox.h"

static int IsColorType(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
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

void DisplayColorSettingsLoad(void)
{
    InitColorSettings(PlatformDisplayProfile);
    DisplayResetAll();
}

ErrorCode WindowProfileSet(ImageWindow *window, const uint8_t *bytes, int length)
{
    int changed = 0;
    ErrorCode result = PictureProfileSet(&window->picture, bytes, length, &changed);
    if (changed) DisplayReset(window);
    return result;
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
    int type = window->picture.image.type;
    int ownProfile = type != TYPE_BINARY && type != TYPE_GRAY8 && type != TYPE_GRAY16;
    const uint8_t *profile = ownProfile ? window->picture.profile : nullptr;
    int profileLength = ownProfile ? window->picture.profileSize : 0;
    // A picture already in the display's profile is copied: a transform would change nothing
    // but the time a paint takes.
    if (MonitorShowsAsIs(profile, profileLength)) {
        window->displayFailed = 1;
        return nullptr;
    }
    window->displayTransform = MonitorTransformMake(profile, profileLength);
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

// The name a mismatch warning gives a window: its title, or its file, without the folders.
static void WindowLabel(const ImageWindow *window, char *label, int capacity)
{
    char title[PATH_LENGTH];
    title[0] = 0;
    if (window->window != nullptr) PlatformGetWindowTitle(window->window, title, sizeof title);
    if (title[0] == 0) StrCopyLimit(window->picture.fileName, title, PATH_LENGTH - 1);
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

    if (!CurrentColorSettings.enabled || first == nullptr ||
        !IsColorType(first->picture.image.type))
        return;
    if (second != nullptr) {
        if (!IsColorType(second->picture.image.type)) return;
        bytesB = second->picture.profile;
        lengthB = second->picture.profileSize;
        WindowLabel(second, labelB, sizeof labelB);
    } else {
        // Without a working space there is nothing to differ from.
        bytesB = ColorProfileBytes(COLOR_PROFILE_WORKING, &lengthB);
        if (bytesB == nullptr) return;
        StrCopyLimit("Working color space", labelB, sizeof labelB - 1);
    }
    if (SameProfile(first->picture.profile, first->picture.profileSize, bytesB, lengthB)) return;
    WindowLabel(first, labelA, sizeof labelA);
    ProfileDescription(first->picture.profile, first->picture.profileSize, descriptionA,
                       sizeof descriptionA);
    ProfileDescription(bytesB, lengthB, descriptionB, sizeof descriptionB);
    ShowMessage("Warning", "Color profile mismatch:\n  %s: %s\n  %s: %s", labelA, descriptionA,
                labelB, descriptionB);
}
