// The allocation wrapper: malloc underneath, null on failure, never an exception.
#include "core/Memory.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>

static const size_t HUGE_PAGE = 2u << 20; // bytes of a huge page on the machines we know
static const size_t LARGE_HEADER = 64;    // bytes before a large region: its mapping

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

// Bytes of the regions now advised to huge pages, and how many may be: about one 6000 x 4000
// picture of 48 bits.
static size_t LargeHugeBytes;
static const size_t LARGE_HUGE_LIMIT = (size_t)160 << 20;

// How a big picture's memory is reserved decides most of a file-to-file run's system time,
// since the system zeroes every fresh page before we may touch it; nothing of ours zeroes it
// again. Measured on a 6000 x 4000 48-bit copy (vistel-cli gamma --factor 1, medians of 21
// runs in turn): huge pages faulted in as the reader fills the rows in order, 0.10 s of
// system time; the same populated at once (MADV_POPULATE_WRITE), 0.10 s but a slower run,
// since the zeroed memory has left the caches before the rows arrive; small pages, 0.13 s;
// separate malloc'd blocks, 0.13 s. So the region is reserved lazily and advised to huge
// pages, and the rows fill it in order. On machines whose memory comes and goes (a virtual
// machine that hands freed pages back to its host), the first touch of a page varies from
// run to run whatever the choice.
void *MemoryAllocLarge(size_t bytes)
{
    size_t total;
    if (bytes == 0 || !SizeAdd(bytes, LARGE_HEADER + HUGE_PAGE, &total)) return nullptr;
    void *mapped = mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    // The region starts on a huge-page boundary, so that all of it can be backed by them; the
    // header with the mapping goes just before it.
    uintptr_t start =
        ((uintptr_t)mapped + LARGE_HEADER + HUGE_PAGE - 1) & ~(uintptr_t)(HUGE_PAGE - 1);
    // Huge pages for the first picture only: when free memory is in pieces, the system
    // gathers each huge page while the fault waits, and a second picture of the same size (a
    // quarter turn's result) made runs take two to three times as long on a busy machine,
    // where small pages cost the same every time.
    int huge = LargeHugeBytes + bytes <= LARGE_HUGE_LIMIT;
    if (huge) {
        madvise((void *)start, bytes, MADV_HUGEPAGE); // only advice: without it, small pages
        LargeHugeBytes += bytes;
    }
    uintptr_t header[3] = {(uintptr_t)mapped, (uintptr_t)total, huge ? (uintptr_t)bytes : 0};
    memcpy((void *)(start - LARGE_HEADER), header, sizeof header);
    return (void *)start;
}

void MemoryFreeLarge(void *memory)
{
    if (memory == nullptr) return;
    uintptr_t header[3];
    memcpy(header, (const uint8_t *)memory - LARGE_HEADER, sizeof header);
    LargeHugeBytes -= (size_t)header[2];
    munmap((void *)header[0], (size_t)header[1]);
}
