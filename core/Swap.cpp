// Red-blue swaps. A byte shuffle does sixteen bytes at a time where the processor has one
// (SSSE3); elsewhere, and for the last few pixels, a plain loop does it. The swap is a pass
// over every byte of a picture when it is read or written, so it is worth the shuffle.
#include "core/Swap.h"

#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define SWAP_HAS_SHUFFLE 1
#endif

static void SwapRedBlue24Plain(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    for (int64_t x = 0; x < pixels; x++, in += 3, out += 3) {
        out[0] = in[2];
        out[1] = in[1];
        out[2] = in[0];
    }
}

static void SwapRedBlue48Plain(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    for (int64_t x = 0; x < pixels; x++, in += 6, out += 6) {
        out[0] = in[4];
        out[1] = in[5];
        out[2] = in[2];
        out[3] = in[3];
        out[4] = in[0];
        out[5] = in[1];
    }
}

#ifdef SWAP_HAS_SHUFFLE
// Sixteen bytes hold five whole 24-bit pixels and one byte of the next: the shuffle swaps
// the five and the step is fifteen bytes, so each store's last byte is written again by the
// next. The loop stops while a full sixteen-byte load and store still fit.
__attribute__((target("ssse3"))) static int64_t SwapRedBlue24Shuffle(const uint8_t *in,
                                                                     uint8_t *out, int64_t pixels)
{
    const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
    int64_t x = 0;
    for (; x + 6 <= pixels; x += 5, in += 15, out += 15) {
        __m128i pixelsIn = _mm_loadu_si128((const __m128i *)in);
        _mm_storeu_si128((__m128i *)out, _mm_shuffle_epi8(pixelsIn, order));
    }
    return x;
}

// Sixteen bytes hold two whole 48-bit pixels and four bytes of the next: the step is twelve.
__attribute__((target("ssse3"))) static int64_t SwapRedBlue48Shuffle(const uint8_t *in,
                                                                     uint8_t *out, int64_t pixels)
{
    const __m128i order = _mm_setr_epi8(4, 5, 2, 3, 0, 1, 10, 11, 8, 9, 6, 7, 12, 13, 14, 15);
    int64_t x = 0;
    for (; x + 3 <= pixels; x += 2, in += 12, out += 12) {
        __m128i pixelsIn = _mm_loadu_si128((const __m128i *)in);
        _mm_storeu_si128((__m128i *)out, _mm_shuffle_epi8(pixelsIn, order));
    }
    return x;
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
    if (SwapShuffleAvailable()) done = SwapRedBlue24Shuffle(in, out, pixels);
#endif
    SwapRedBlue24Plain(in + 3 * done, out + 3 * done, pixels - done);
}

void SwapRedBlue48(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    int64_t done = 0;
#ifdef SWAP_HAS_SHUFFLE
    if (SwapShuffleAvailable()) done = SwapRedBlue48Shuffle(in, out, pixels);
#endif
    SwapRedBlue48Plain(in + 6 * done, out + 6 * done, pixels - done);
}
