// The red-blue swap that every color TIFF row passes through when it is read and written:
// one row of a 6000-pixel picture (in the caches) and a whole 6000 x 4000 picture (in
// memory), out of place and where the pixels lie, against memcpy of the same bytes and the
// plain loop the shuffle replaces.
#include <benchmark/benchmark.h>
#include <cstring>
#include <vector>

#include "core/Swap.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

enum { SWAP_SHUFFLE = 0, SWAP_PLAIN = 1, SWAP_MEMCPY = 2 };

// The plain loops, as the compiler makes them of byte moves.
static void SwapPlain24(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    for (int64_t x = 0; x < pixels; x++, in += 3, out += 3) {
        uint8_t first = in[0];
        uint8_t third = in[2];
        out[0] = third;
        out[1] = in[1];
        out[2] = first;
    }
}

static void SwapPlain48(const uint8_t *in, uint8_t *out, int64_t pixels)
{
    for (int64_t x = 0; x < pixels; x++, in += 6, out += 6) {
        uint16_t first;
        uint16_t third;
        memcpy(&first, in, 2);
        memcpy(&third, in + 4, 2);
        memmove(out + 2, in + 2, 2);
        memcpy(out, &third, 2);
        memcpy(out + 4, &first, 2);
    }
}

// Arguments: 24 or 48 bits, rows (1 or the picture's height), in place, the way. A copy in
// place would do nothing, so memcpy runs out of place only.
static void BenchSwap(benchmark::State &state)
{
    int sampleBytes = state.range(0) / 24;
    int64_t rows = state.range(1);
    int inPlace = (int)state.range(2);
    int way = (int)state.range(3);
    int64_t rowBytes = (int64_t)BENCH_WIDTH * 3 * sampleBytes;
    std::vector<uint8_t> in((size_t)(rows * rowBytes));
    std::vector<uint8_t> out(inPlace ? 0 : in.size());
    for (size_t i = 0; i < in.size(); i++)
        in[i] = (uint8_t)(i * 7);
    uint8_t *destination = inPlace ? in.data() : out.data();
    for (auto _ : state) {
        for (int64_t y = 0; y < rows; y++) {
            const uint8_t *from = in.data() + y * rowBytes;
            uint8_t *to = destination + y * rowBytes;
            if (way == SWAP_MEMCPY)
                memmove(to, from, (size_t)rowBytes);
            else if (way == SWAP_PLAIN && sampleBytes == 1)
                SwapPlain24(from, to, BENCH_WIDTH);
            else if (way == SWAP_PLAIN)
                SwapPlain48(from, to, BENCH_WIDTH);
            else if (sampleBytes == 1)
                SwapRedBlue24(from, to, BENCH_WIDTH);
            else
                SwapRedBlue48(from, to, BENCH_WIDTH);
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * rows * rowBytes);
}
static void BenchSwapArguments(benchmark::internal::Benchmark *benchmark)
{
    for (int way : {SWAP_SHUFFLE, SWAP_PLAIN, SWAP_MEMCPY})
        for (int inPlace : {0, 1})
            for (int rows : {1, BENCH_HEIGHT})
                for (int bits : {24, 48})
                    if (!(inPlace && way == SWAP_MEMCPY))
                        benchmark->Args({bits, rows, inPlace, way});
}
BENCHMARK(BenchSwap)
    ->ArgNames({"bits", "rows", "inplace", "way"})
    ->Apply(BenchSwapArguments)
    ->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
