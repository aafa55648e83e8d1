// Readers of the raw bytes of an ICC profile: its description, class, color space and
// maker, without opening it in the color engine. Every offset is checked against the length.
#pragma once

#include <cstdint>

#include "core/Errors.h"

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
