// Turning red-first pixels into blue-first ones and back. Files keep color red first; our
// pictures keep it blue first, as device-independent bitmaps do. The swap is the same in
// both directions.
#pragma once

#include <cstdint>

// Copies pixels of three bytes from in to out with the first and third byte exchanged. out
// may be in itself, for a swap where the pixels lie; otherwise the two may not overlap.
void SwapRedBlue24(const uint8_t *in, uint8_t *out, int64_t pixels);

// The same for pixels of three 16-bit samples.
void SwapRedBlue48(const uint8_t *in, uint8_t *out, int64_t pixels);
