// The core's allocation wrapper and overflow-checked size arithmetic.
//
// Memory comes from here, never from new, so that a failure is a null pointer that becomes
// ERROR_NO_MEMORY rather than an exception. Sizes that come from files are multiplied and
// added only through the checked helpers before anything is allocated.
#pragma once

#include <cstddef>
#include <cstdint>

// Allocates bytes of uninitialised memory; null on failure or for 0 bytes.
void *MemoryAlloc(size_t bytes);

// Allocates bytes of zeroed memory; null on failure or for 0 bytes.
void *MemoryAllocZero(size_t bytes);

// Frees memory from MemoryAlloc; null is ignored.
void MemoryFree(void *memory);

// Frees *memory and sets it to null.
template <typename T> inline void MemoryRelease(T **memory)
{
    MemoryFree((void *)*memory);
    *memory = nullptr;
}

// Allocates a large region of uninitialised memory backed by huge pages where the system has
// them; null on failure. For the pixel blocks of big pictures, whose fresh pages would
// otherwise cost more to fault in one by one than the pixels cost to compute.
void *MemoryAllocLarge(size_t bytes);

// Frees a region from MemoryAllocLarge; null is ignored.
void MemoryFreeLarge(void *memory);

// *product = a * b; returns 1 when it fits in size_t, 0 on overflow (product then 0).
int SizeMultiply(size_t a, size_t b, size_t *product);

// *sum = a + b; returns 1 when it fits in size_t, 0 on overflow (sum then 0).
int SizeAdd(size_t a, size_t b, size_t *sum);
