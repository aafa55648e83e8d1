// Numeric, memory, time and noise helpers.
#include "core/Helpers.h"

#include <cmath>
#include <cstring>
#include <ctime>

double Magnitude(double x, double y)
{
    return sqrt(x * x + y * y);
}

int ModPositive(int a, int b)
{
    if (a == 0 || b == 0) return 0;
    // In 64 bits, so that the most negative int divided by -1 and its magnitude both exist.
    int64_t divisor = b < 0 ? -(int64_t)b : b;
    int64_t m = (int64_t)a % divisor;
    if (m < 0) m += divisor;
    return (int)m;
}

double PowerInt(double x, int n)
{
    // Widen before negating so that the most negative int has a magnitude too.
    int64_t remaining = n < 0 ? -(int64_t)n : n;
    double result = 1.0;
    double square = x;
    while (remaining > 0) {
        if (remaining & 1) result *= square;
        square *= square;
        remaining >>= 1;
    }
    return n < 0 ? 1.0 / result : result;
}

void MemFill(void *destination, int64_t count, int byte)
{
    if (count > 0) memset(destination, byte, (size_t)count);
}

void MemCopy(const void *source, void *destination, int64_t count)
{
    if (count > 0) memmove(destination, source, (size_t)count);
}

int DateStamp(void)
{
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    return (local.tm_year + 1900) * 10000 + (local.tm_mon + 1) * 100 + local.tm_mday;
}

int TimeStamp(void)
{
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    return local.tm_hour * 10000 + local.tm_min * 100 + local.tm_sec;
}

// The generator's state; nothing but Random sets it, so every run makes the same noise.
static int32_t RandomState = 1234567;

int32_t Random(void)
{
    // Schrage's method keeps the product inside 32 bits: modulus 2147483647 = 41358 * 51924
    // + 10855.
    int32_t s = RandomState;
    int32_t next = (s % 51924) * 41358 - (s / 51924) * 10855;
    if (next < 0) next += 2147483647;
    RandomState = next;
    return next;
}

double Random01(void)
{
    return AbsReal(Random() / 2147483648.0);
}

int ClipSegment(double x0, double y0, double x1, double y1, double left, double bottom,
                double right, double top, double *clippedX0, double *clippedY0,
                double *clippedX1, double *clippedY1)
{
    // One edge at a time: left, right, bottom, top. For each edge an end outside it moves to
    // the crossing, found by similar triangles; a segment along the edge's axis takes the
    // edge value itself.
    for (int edge = 0; edge < 4; edge++) {
        int vertical = edge < 2; // left and right bound x
        double limit = edge == 0 ? left : edge == 1 ? right : edge == 2 ? bottom : top;
        int keepAbove = edge == 0 || edge == 2; // left and bottom keep values >= limit
        double a0 = vertical ? x0 : y0;
        double a1 = vertical ? x1 : y1;
        int out0 = keepAbove ? a0 < limit : a0 > limit;
        int out1 = keepAbove ? a1 < limit : a1 > limit;
        if (out0 && out1) return 0;
        if (!out0 && !out1) continue;
        double b0 = vertical ? y0 : x0;
        double b1 = vertical ? y1 : x1;
        double crossing = a1 == a0 ? b0 : b0 + (b1 - b0) * (limit - a0) / (a1 - a0);
        if (out0) {
            if (vertical) {
                x0 = limit;
                y0 = crossing;
            } else {
                y0 = limit;
                x0 = crossing;
            }
        } else {
            if (vertical) {
                x1 = limit;
                y1 = crossing;
            } else {
                y1 = limit;
                x1 = crossing;
            }
        }
    }
    *clippedX0 = x0;
    *clippedY0 = y0;
    *clippedX1 = x1;
    *clippedY1 = y1;
    return 1;
}
