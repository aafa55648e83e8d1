// Readers of the raw bytes of an ICC profile: its description, class, color space, maker,
// primaries and gamma, without opening it in the color engine. Every offset is checked
// against the length, so a damaged profile gives a code and never a read past its end.
#pragma once

#include <cstdint>

#include "core/Errors.h"

constexpr int PROFILE_HEADER_BYTES = 128;    // the fixed header before the tag table
constexpr int PROFILE_TABLE_OFFSET = 132;    // first tag entry, after the tag count at 128
constexpr int PROFILE_DESCRIPTION_MAX = 256; // room for a description with its terminator

// The profile's description: "None" for no bytes (ERROR_NO_PROFILE), "Invalid Profile" for a
// damaged or short profile (ERROR_INVALID_PROFILE), "Unknown" when it has no desc tag.
ErrorCode ProfileDescription(const uint8_t *bytes, int length, char *text, int capacity);

// The four characters of the device class at offset 12: "none" for no bytes, "****" with
// ERROR_INVALID_PROFILE for a profile under 128 bytes.
ErrorCode ProfileClass(const uint8_t *bytes, int length, char *text, int capacity);

// The color space at offset 16 without its trailing blank ("RGB"), as ProfileClass.
ErrorCode ProfileColorSpace(const uint8_t *bytes, int length, char *text, int capacity);

// The maker of the device: the text of the dmnd tag, or else the signature at offset 48.
// ERROR_NO_PROFILE when neither says anything.
ErrorCode ProfileManufacturer(const uint8_t *bytes, int length, char *text, int capacity);

// 1 when the bytes carry an ICC header ('acsp' at 36) and a tag count, else 0.
int ProfileLooksValid(const uint8_t *bytes, int length);

// The white point and the red, green and blue colorants (X, Y, Z each) of a matrix profile.
// Without a profile they are those of sRGB adapted to D50. ERROR_NOT_COLOR_SPACE_PROFILE
// when a tag is missing and ERROR_INVALID_PROFILE when one is damaged; the sRGB values then
// stand.
ErrorCode ProfilePrimaries(const uint8_t *bytes, int length, double white[3], double red[3],
                           double green[3], double blue[3]);

// The gamma of the tone curves: 20 / 9 for no profile, for sRGB and for curves that are not
// a plain power; 1.0 for an identity curve. The last of rTRC, gTRC, bTRC in the tag table
// decides. ERROR_INVALID_PROFILE, with 20 / 9, when a curve tag is damaged.
ErrorCode ProfileGamma(const uint8_t *bytes, int length, double *gamma);

// 1 when both are missing or both have descriptions equal but for case; 0 when one is
// missing or a description cannot be read. Two files with equal descriptions count as one.
int SameProfile(const uint8_t *bytesA, int lengthA, const uint8_t *bytesB, int lengthB);
