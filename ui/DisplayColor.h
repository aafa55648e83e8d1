// The color side of the display of picture windows: the display transform each window keeps,
// the view brought through it into the screen, and what a change of profile or of the color
// settings does to them.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

// Brings the rectangle left..right, top..bottom (view pixels, inclusive, rows counted from
// the view's bottom row) of the window's view through color management into its screen,
// which is (re)made as a 24-bit picture of the view's size when it has another size, and
// then updated whole. Binary and gray views are widened to three channels. Without color
// management or a monitor profile, or when the display transform cannot be made, the view
// is copied plainly. ERROR_NO_MEMORY when the screen or the row buffer cannot be allocated.
ErrorCode UpdateDisplayImage(ImageWindow *window, int left, int top, int right, int bottom);

// Drops the window's display transform, so that the next paint builds it anew.
void DisplayTransformRelease(ImageWindow *window);

// Drops the display transform and frees the screen; for a change of the window's profile.
void DisplayReset(ImageWindow *window);

// DisplayReset for every window of the table; for a change of the settings, after which
// every window is repainted.
void DisplayResetAll(void);

// Loads the color settings (InitColorSettings, with the display's profile from the
// platform) and drops the display of every window, since the monitor may have changed; the
// caller repaints them.
void DisplayColorSettingsLoad(void);

// Replaces the window's profile by a copy of bytes (none for null) and drops its display
// when the profile changed. ERROR_NO_MEMORY leaves the window as it was.
ErrorCode WindowProfileSet(ImageWindow *window, const uint8_t *bytes, int length);

// Warns, in a box titled "Warning", when two color pictures used together have different
// profiles, naming each by its window's title (or its file) without the folders. With second
// null the other side is the working space, named "Working color space", and nothing is said
// when none is set. Silent when color management is off or either picture is not color.
void CheckProfileMatch(const ImageWindow *first, const ImageWindow *second);
