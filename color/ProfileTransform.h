// Moving pixels from one ICC profile to another through Little CMS: converting a picture to
// a profile, the transforms to the monitor with soft proofing and the gamut alarm that the
// display of windows (ui/DisplayColor.h) uses, throw-away transforms for thumbnails and
// swatches, the checks made when a file is opened, and the profile a new picture inherits.
// Everything here works on pictures and tells its caller what changed; it touches no window.
//
// Only color pictures (types 3 and 7) carry a profile, and a picture without one counts as
// sRGB everywhere. Pixels go blue first, 8 bits (TYPE_BGR_8) or 16 bits (TYPE_BGR_16) a
// sample, one row at a time.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"
#include "core/Picture.h"

// A transform between two profiles given as bytes (null for sRGB), from rows of inputType to
// rows of outputType (each TYPE_COLOR24 or TYPE_COLOR48), with the engine's intent and flags
// for intentIndex. ERROR_INVALID_PROFILE when the engine refuses a profile,
// ERROR_NOT_COLOR_SPACE_PROFILE for one that is not an RGB device or color space profile,
// ERROR_CREATE_TRANSFORM when the transform cannot be made. *transform is null on failure.
ErrorCode ProfileTransformMake(const uint8_t *sourceBytes, int sourceLength,
                               const uint8_t *targetBytes, int targetLength, int inputType,
                               int outputType, int intentIndex, void **transform);

// The same for rows whose pixels lie red first, as a file holds them, when redFirst is 1.
ErrorCode ProfileTransformMakeOrdered(const uint8_t *sourceBytes, int sourceLength,
                                      const uint8_t *targetBytes, int targetLength, int inputType,
                                      int outputType, int intentIndex, int redFirst,
                                      void **transform);

// Transforms count pixels from in to out (which may be the same row).
void ProfileTransformRow(void *transform, const uint8_t *in, uint8_t *out, int count);

// Deletes a transform and sets it to null; null is ignored.
void ProfileTransformFree(void **transform);

// Converts the pixels of a color picture to the target profile (null for sRGB) in place and
// gives it a copy of the target as its profile; *modified is then 1 (the caller drops the
// display of a window that shows the picture and marks it modified). Nothing happens, with
// ERROR_NONE and *modified 0, when color management is off, the picture is not color, or its
// profile (sRGB for none) is byte for byte the target. Progress "Convert Color Space",
// without Cancel, when showProgress is set and the picture is large. Codes of
// ProfileTransformMake, or ERROR_NO_MEMORY; on failure the picture and its profile are as
// they were.
ErrorCode ConvertImageToProfile(Picture *picture, const uint8_t *targetBytes, int targetLength,
                                int intentIndex, int showProgress, int *modified);

// ConvertImageToProfile with progress.
ErrorCode ConvertToWorkingSpace(Picture *picture, const uint8_t *targetBytes, int targetLength,
                                int intentIndex, int *modified);

// A transform from a picture's profile (null for sRGB) to the monitor, 8 bits in and out,
// as the settings ask: through the proofing profile when there is one, with the gamut alarm
// when it is on. Null when the settings have no monitor or the transform cannot be made.
// The caller frees it with ProfileTransformFree.
void *MonitorTransformMake(const uint8_t *profileBytes, int profileLength);

// 1 when a picture in a profile (null for sRGB) shows on the monitor as it is: no proofing,
// and the monitor's profile is that very profile, as an sRGB picture on an sRGB display.
int MonitorShowsAsIs(const uint8_t *profileBytes, int profileLength);

// Converts a 24-bit picture that has its own profile (null for sRGB) to the monitor profile
// in place, through a transform made for this call. Nothing is done without color management
// or a monitor profile. ERROR_ILLEGAL_TYPE for another picture type, else the codes of
// ProfileTransformMake.
ErrorCode ConvertForDisplay(Image *image, const uint8_t *profileBytes, int profileLength);

// Converts count blue-green-red 8-bit pixels of a swatch from the working space to the
// monitor, in place. Nothing is done without color management, a working or a monitor
// profile. A failure gives the notice "Problem converting from working color space to
// monitor color space" and returns its code.
ErrorCode ConvertWorkingToMonitor(uint8_t *pixels, int count);

// Gives a picture that a transformation has just made the profile it should carry: the
// source's, or the working space's for a new color picture from a source without one (or
// from no source). Gray and binary pictures get none. ERROR_NO_MEMORY when the copy cannot be
// made. The caller drops the display of a window that shows the destination.
ErrorCode InheritProfile(const Picture *source, Picture *destination);

// The checks after a color picture is opened. When its profile (or its lack of one) does not
// match the working space, onMismatch decides: Ask sets *ask for the caller to show the
// dialog; Convert converts to the working space (after taking the assumed file profile for a
// picture without one); Don't Convert keeps the pixels (and takes the assumed profile for a
// picture without one). *modified is 1 when the pixels were converted. Codes of
// ConvertToWorkingSpace; on failure the caller discards the picture.
ErrorCode OpenProfileCheck(Picture *picture, int *ask, int *modified);

// What the dialog's OK does: the profile chosen (null to keep the picture's) is copied to the
// picture, and the picture is converted to the working space at intentIndex when convert is
// set. *modified as for OpenProfileCheck. Codes as OpenProfileCheck.
ErrorCode OpenProfileChoose(Picture *picture, const uint8_t *profileBytes, int profileLength,
                            int convert, int intentIndex, int *modified);

// Replaces the picture's profile by a copy of bytes (none for null); *changed is 1 when the
// profile is not the one it had. ERROR_NO_MEMORY leaves the picture as it was.
ErrorCode PictureProfileSet(Picture *picture, const uint8_t *bytes, int length, int *changed);
