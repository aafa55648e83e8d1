// Moving pixels from one ICC profile to another through Little CMS: converting a picture to
// a profile, the color-managed display of a window's view with soft proofing and the gamut
// alarm, throw-away transforms for thumbnails and swatches, the checks made when two
// pictures meet or a file is opened, and the profile a new window inherits.
//
// Only color pictures (types 3 and 7) carry a profile, and a picture without one counts as
// sRGB everywhere. Pixels go blue first, 8 bits (TYPE_BGR_8) or 16 bits (TYPE_BGR_16) a
// sample, one row at a time.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"
#include "core/ImageWindow.h"

// A transform between two profiles given as bytes (null for sRGB), from rows of inputType to
// rows of outputType (each TYPE_COLOR24 or TYPE_COLOR48), with the engine's intent and flags
// for intentIndex. ERROR_INVALID_PROFILE when the engine refuses a profile,
// ERROR_NOT_COLOR_SPACE_PROFILE for one that is not an RGB device or color space profile,
// ERROR_CREATE_TRANSFORM when the transform cannot be made. *transform is null on failure.
ErrorCode ProfileTransformMake(const uint8_t *sourceBytes, int sourceLength,
                               const uint8_t *targetBytes, int targetLength, int inputType,
                               int outputType, int intentIndex, void **transform);

// Transforms count pixels from in to out (which may be the same row).
void ProfileTransformRow(void *transform, const uint8_t *in, uint8_t *out, int count);

// Deletes a transform and sets it to null; null is ignored.
void ProfileTransformFree(void **transform);

// Converts the pixels of the window's color picture to the target profile (null for sRGB)
// in place, gives the window a copy of the target as its profile, drops its display buffer
// and transform (the caller refreshes the view) and marks it modified. Nothing happens, with
// ERROR_NONE, when color management is off, the picture is not color, or its profile (sRGB
// for none) is byte for byte the target. Progress "Convert Color Space", without Cancel,
// when showProgress is set and the picture is large. Codes of ProfileTransformMake, or
// ERROR_NO_MEMORY; on failure the picture and its profile are as they were.
ErrorCode ConvertImageToProfile(ImageWindow *window, const uint8_t *targetBytes, int targetLength,
                                int intentIndex, int showProgress);

// ConvertImageToProfile with progress.
ErrorCode ConvertToWorkingSpace(ImageWindow *window, const uint8_t *targetBytes, int targetLength,
                                int intentIndex);

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

// Converts a 24-bit picture that has its own profile (null for sRGB) to the monitor profile
// in place, through a transform made for this call. Nothing is done without color management
// or a monitor profile. ERROR_ILLEGAL_TYPE for another picture type, else the codes of
// ProfileTransformMake.
ErrorCode ConvertForDisplay(Image *image, const uint8_t *profileBytes, int profileLength);

// Converts count blue-green-red 8-bit pixels of a swatch from the working space to the
// monitor, in place. Nothing is done without color management, a working or a monitor
// profile. A failure shows "Problem converting from working color space to monitor color
// space" and returns its code.
ErrorCode ConvertWorkingToMonitor(uint8_t *pixels, int count);

// Warns, in a box titled "Warning", when two color pictures used together have different
// profiles. With second null the other side is the working space, named "Working color
// space", and nothing is said when none is set. Silent when color management is off or
// either picture is not color.
void CheckProfileMatch(const ImageWindow *first, const ImageWindow *second);

// Gives a window that a transformation has just made the profile it should carry: the
// source's, or the working space's for a new color picture from a source without one (or
// from no source). Gray and binary pictures get none. The display buffer and transform of
// the destination are dropped. ERROR_NO_MEMORY when the copy cannot be made.
ErrorCode InheritProfile(const ImageWindow *source, ImageWindow *destination);

// The checks after a color picture is opened. When its profile (or its lack of one) does not
// match the working space, onMismatch decides: Ask sets *ask for the caller to show the
// dialog; Convert converts to the working space (after taking the assumed file profile for a
// picture without one); Don't Convert keeps the pixels (and takes the assumed profile for a
// picture without one). The display buffer and transform are dropped. Codes of
// ConvertToWorkingSpace; on failure the caller discards the window.
ErrorCode OpenProfileCheck(ImageWindow *window, int *ask);

// What the dialog's OK does: the profile chosen (null to keep the window's) is copied to the
// window, and the picture is converted to the working space at intentIndex when convert is
// set. Codes as OpenProfileCheck.
ErrorCode OpenProfileChoose(ImageWindow *window, const uint8_t *profileBytes, int profileLength,
                            int convert, int intentIndex);

// Replaces the window's profile by a copy of bytes (none for null) and drops its display
// buffer and transform when the profile changed. ERROR_NO_MEMORY leaves the window as it was.
ErrorCode WindowProfileSet(ImageWindow *window, const uint8_t *bytes, int length);
