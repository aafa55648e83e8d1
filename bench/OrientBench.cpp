// The quarter turn of a whole 6000 x 4000 picture (codes 1 and 3, whose tiles walk the
// destination rows forward and backward) at 8, 24 and 48 bits, into a destination already
// made, so that what is timed is the tile move and not the first touch of new memory; the
// half turn (code 2, rows) beside it as the cost of moving the same bytes row by row.
#include <benchmark/benchmark.h>

#include "core/Image.h"
#include "core/Orient.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

// Arguments: the picture type, the orientation code.
static void BenchOrient(benchmark::State &state)
{
    int type = (int)state.range(0);
    int code = (int)state.range(1);
    Image source = {}, destination = {};
    if (ImageAlloc(&source, type, BENCH_WIDTH, BENCH_HEIGHT, 300.0) != ERROR_NONE) {
        state.SkipWithError("no memory");
        return;
    }
    for (int y = 0; y < BENCH_HEIGHT; y++)
        for (int i = 0; i < source.rowBytes; i++)
            source.rows[y][i] = (uint8_t)(i * 7 + y);
    OrientImageCode(&source, &destination, code, 0); // the destination's pages, touched once
    for (auto _ : state)
        benchmark::DoNotOptimize(OrientImageCode(&source, &destination, code, 0));
    state.SetBytesProcessed(state.iterations() * (int64_t)source.rowBytes * BENCH_HEIGHT);
    ImageFree(&source);
    ImageFree(&destination);
}

BENCHMARK(BenchOrient)
    ->ArgsProduct({{TYPE_GRAY8, TYPE_COLOR24, TYPE_COLOR48}, {1, 3, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

BENCHMARK_MAIN();
