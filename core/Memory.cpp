// The allocation wrapper: malloc underneath, null on failure, never an exception.
#include "core/Memory.h"

#include <cstdlib>

void *MemoryAlloc(size_t bytes)
{
    if (bytes == 0) return nullptr;
    return malloc(bytes);
}

void *MemoryAllocZero(size_t bytes)
{
    if (bytes == 0) return nullptr;
    return calloc(1, bytes);
}

void MemoryFree(void *memory)
{
    free(memory);
}

int SizeMultiply(size_t a, size_t b, size_t *product)
{
    size_t result;
    if (__builtin_mul_overflow(a, b, &result)) {
        *product = 0;
        return 0;
    }
    *product = result;
    return 1;
}

int SizeAdd(size_t a, size_t b, size_t *sum)
{
    size_t result;
    if (__builtin_add_overflow(a, b, &result)) {
        *sum = 0;
        return 0;
    }
    *sum = result;
    return 1;
}
