// Red-blue swaps. Where the processor has a byte shuffle (SSSE3) the pixels go 48 bytes at a
// time, sixteen 24-bit or eight 48-bit ones: three loads, three stores, and between them each
// output register gathered from the two or three input registers its bytes come from. All
// loads of a step come before its stores, so the same code swaps pixels where they lie; a
// narrower step whose stores overlap the next load stalls on every one of them. A plain loop
// does the rest, and everything on processors without the shuffle.
#include "core/Swap.h"

#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define SWAP_HAS_SHUFFLE 1
#endif

static void SwapRedBlue24Plain(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    for (int64_t x = 0; x < pixels; x++, in += 3, out += 3) {
        uint8_t first = in[0];
        uint8_t third = in[2];
        out[0] = third;
        out[1] = in[1];
        out[2] = first;
    }
}

static void SwapRedBlue48Plain(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    for (int64_t x = 0; x < pixels; x++, in += 6, out += 6) {
        uint8_t pixel[6];
        memcpy(pixel, in, 6);
        out[0] = pixel[4];
        out[1] = pixel[5];
        out[2] = pixel[2];
        out[3] = pixel[3];
        out[4] = pixel[0];
        out[5] = pixel[1];
    }
}

#ifdef SWAP_HAS_SHUFFLE
static const int SWAP_STEP_BYTES = 48; // a whole number of pixels of either size

// For each of the three output registers of a step and each input register, the shuffle
// that places the input's bytes where they go in that output, 0x80 (zero) everywhere else.
struct SwapMasks {
    alignas(16) int8_t bytes[3][3][16];
};

// The masks for pixels of three samples of sampleBytes bytes: output byte i takes the byte
// of the same place in the sample two places away, or stays where it is for the middle one.
static constexpr SwapMasks SwapMasksMake(int sampleBytes)
{
    SwapMasks masks = {};
    int pixelBytes = 3 * sampleBytes;
    for (int output = 0; output < 3; output++) {
        for (int input = 0; input < 3; input++) {
            for (int q = 0; q < 16; q++) {
                int i = 16 * output + q;
                int sample = i % pixelBytes / sampleBytes;
                int from = sample == 0   ? i + 2 * sampleBytes
                           : sample == 2 ? i - 2 * sampleBytes
                                         : i;
                masks.bytes[output][input][q] =
                    from / 16 == input ? (int8_t)(from % 16) : (int8_t)-128;
            }
        }
    }
    return masks;
}

static constexpr SwapMasks SWAP_MASKS_24 = SwapMasksMake(1);
static constexpr SwapMasks SWAP_MASKS_48 = SwapMasksMake(2);

// Swaps whole steps of 48 bytes; returns the bytes done.
__attribute__((target("ssse3"))) static int64_t SwapSteps(const uint8_t *in, uint8_t *out,
                                                          int64_t bytes, const SwapMasks *masks)
{
    __m128i mask[3][3];
    for (int output = 0; output < 3; output++)
        for (int input = 0; input < 3; input++)
            mask[output][input] = _mm_load_si128((const __m128i *)masks->bytes[output][input]);
    int64_t done = 0;
    for (; done + SWAP_STEP_BYTES <= bytes; done += SWAP_STEP_BYTES) {
        __m128i in0 = _mm_loadu_si128((const __m128i *)(in + done));
        __m128i in1 = _mm_loadu_si128((const __m128i *)(in + done + 16));
        __m128i in2 = _mm_loadu_si128((const __m128i *)(in + done + 32));
        // The first output takes bytes from the first two inputs only, the last from the last
        // two: their shuffles of the third input would give only zeros.
        __m128i out0 =
            _mm_or_si128(_mm_shuffle_epi8(in0, mask[0][0]), _mm_shuffle_epi8(in1, mask[0][1]));
        __m128i out1 = _mm_or_si128(
            _mm_or_si128(_mm_shuffle_epi8(in0, mask[1][0]), _mm_shuffle_epi8(in1, mask[1][1])),
            _mm_shuffle_epi8(in2, mask[1][2]));
        __m128i out2 =
            _mm_or_si128(_mm_shuffle_epi8(in1, mask[2][1]), _mm_shuffle_epi8(in2, mask[2][2]));
        _mm_storeu_si128((__m128i *)(out + done), out0);
        _mm_storeu_si128((__m128i *)(out + done + 16), out1);
        _mm_storeu_si128((__m128i *)(out + done + 32), out2);
    }
    return done;
}

static int SwapShuffleAvailable(void)
{
    static const int available = __builtin_cpu_supports("ssse3");
    return available;
}
#endif

void SwapRedBlue24(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    int64_t done = 0;
#ifdef SWAP_HAS_SHUFFLE
    if (SwapShuffleAvailable()) done = SwapSteps(in, out, 3 * pixels, &SWAP_MASKS_24) / 3;
#endif
    SwapRedBlue24Plain(in + 3 * done, out + 3 * done, pixels - done);
}

void SwapRedBlue48(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    int64_t done = 0;
#ifdef SWAP_HAS_SHUFFLE
    if (SwapShuffleAvailable()) done = SwapSteps(in, out, 6 * pixels, &SWAP_MASKS_48) / 6;
#endif
    SwapRedBlue48Plain(in + 6 * done, out + 6 * done, pixels - done);
}
