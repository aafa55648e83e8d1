// Small numeric, bit, color and time helpers that every part of the program takes for
// granted. Each is named for what a photographer's code says with it.
#pragma once

#include <cstdint>

// A row loop built twice on x86-64 Linux, for the processors of today (AVX2: twice the
// samples an instruction) and for any, the loader choosing one as the program starts;
// elsewhere (no loader that chooses) and under the fuzzer, whose instrumentation does not
// take clones, it is built once.
#if defined(__GNUC__) && defined(__x86_64__) && defined(__linux__) && !defined(VISTEL_FUZZING)
#define VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define VECTOR_CLONES
#endif

struct Rect {
    int left;
    int top;
    int right;
    int bottom;
};

// (n + 3) with the low two bits cleared.
inline int RoundUp4(int n)
{
    return (n + 3) & ~3;
}

// Half away from zero, in 32 bits: x + 0.5 truncated for x >= 0, x - 0.5 truncated below.
// A value beyond the 32-bit range gives the nearest end of it and NaN gives 0, since the
// plain conversion of such a value is undefined and time estimates or file values can reach
// it.
inline int32_t Round(double x)
{
    if (x >= 2147483647.0) return INT32_MAX;
    if (x <= -2147483648.0) return INT32_MIN;
    if (x >= 0.0) return (int32_t)(x + 0.5);
    if (x < 0.0) return (int32_t)(x - 0.5);
    return 0;
}

inline int Clamp8(int n)
{
    return n < 0 ? 0 : (n > 255 ? 255 : n);
}

inline int Clamp16(int n)
{
    return n < 0 ? 0 : (n > 65535 ? 65535 : n);
}

// Coordinates for the graphics interface; our platforms take the full range, so this keeps
// them as they are.
inline void ClampCoords(int *x, int *y)
{
    (void)x;
    (void)y;
}

// Bit x of a binary row: byte x >> 3, mask 0x80 >> (x & 7); the leftmost pixel is the MSB.
inline int BitTest(const uint8_t *row, int x)
{
    return (row[x >> 3] & (0x80 >> (x & 7))) != 0;
}

inline void BitSet(uint8_t *row, int x)
{
    row[x >> 3] |= (uint8_t)(0x80 >> (x & 7));
}

inline void BitClear(uint8_t *row, int x)
{
    row[x >> 3] &= (uint8_t) ~(0x80 >> (x & 7));
}

inline void BitToggle(uint8_t *row, int x)
{
    row[x >> 3] ^= (uint8_t)(0x80 >> (x & 7));
}

// (306 r + 601 g + 117 b) >> 10: weights that add up to 1024.
inline int Luminance(int r, int g, int b)
{
    return (306 * r + 601 * g + 117 * b) >> 10;
}

inline int Max3(int r, int g, int b)
{
    int m = r > g ? r : g;
    return m > b ? m : b;
}

inline int Abs(int n)
{
    return n < 0 ? -n : n;
}

inline double AbsReal(double x)
{
    return x < 0.0 ? -x : x;
}

double Magnitude(double x, double y);

// a modulo b, never negative; 0 when a or b is 0.
int ModPositive(int a, int b);

// x to an integer power by repeated squaring; 1.0 for n = 0, the reciprocal for n < 0.
double PowerInt(double x, int n);

void MemFill(void *destination, int64_t count, int byte);

// Copies count bytes; the source comes first and the regions may overlap.
void MemCopy(const void *source, void *destination, int64_t count);

// Local date as year * 10000 + month * 100 + day.
int DateStamp(void);

// Local time as hour * 10000 + minute * 100 + second.
int TimeStamp(void);

// The next value of the program's one noise generator (Schrage's form of the minimal
// standard generator with multiplier 41358). It starts at 1234567 in every run.
int32_t Random(void);

// |Random() / 2^31|, in 0 to 1.
double Random01(void);

// Clips the segment (x0, y0)-(x1, y1) to the rectangle, one edge at a time in the order
// left, right, bottom, top. Returns 0 when nothing is left, else 1 with the new ends.
int ClipSegment(double x0, double y0, double x1, double y1, double left, double bottom,
                double right, double top, double *clippedX0, double *clippedY0, double *clippedX1,
                double *clippedY1);
