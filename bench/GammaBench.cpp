// Gamma Adjust's Apply on a 6000 by 4000 picture at 24 and 48 bits, beside a plain copy of
// the same rows: the copy is the floor that a table lookup per sample is measured against.
#include <benchmark/benchmark.h>
#include <cstring>

#include "core/Core.h"
#include "core/Image.h"
#include "platform/headless/Headless.h"
#include "transforms/GammaAdjust.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

// The source picture of a depth, made once and kept for every run.
static const Image *BenchSource(int bits)
{
    static Image pictures[2];
    static int made[2];
    int index = bits == 24 ? 0 : 1;
    if (!made[index]) {
        CoreInitialise();
        HeadlessReset();
        Image *picture = &pictures[index];
        ImageClear(picture);
        if (ImageAlloc(picture, bits == 24 ? TYPE_COLOR24 : TYPE_COLOR48, BENCH_WIDTH, BENCH_HEIGHT,
                       300.0) != ERROR_NONE)
            return nullptr;
        uint32_t state = 12345;
        for (int y = 0; y < picture->height; y++)
            for (int i = 0; i < picture->rowBytes; i++) {
                state = state * 1664525u + 1013904223u;
                picture->rows[y][i] = (uint8_t)(state >> 24);
            }
        made[index] = 1;
    }
    return &pictures[index];
}

static void SetCounters(benchmark::State &state, const Image *source)
{
    int64_t bytes = (int64_t)source->rowBytes * source->height;
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["Mpixel/s"] =
        benchmark::Counter((double)state.iterations() * source->width * source->height / 1e6,
                           benchmark::Counter::kIsRate);
}

// Apply (full 1) with a factor that is not the short cut, into a destination reused across
// runs, as repeated Applies reuse the allocator's blocks.
static void GammaApply(benchmark::State &state)
{
    const Image *source = BenchSource((int)state.range(0));
    if (source == nullptr) {
        state.SkipWithError("out of memory");
        return;
    }
    Image destination = {};
    GammaSettings settings;
    GammaSettingsDefault(&settings);
    settings.factor = 2.2;
    for (auto _ : state) {
        ErrorCode result = GammaCompute(source, &destination, nullptr, &settings, 1, source->width,
                                        source->height, 0, 0, 1, 0, 0, source->width - 1,
                                        source->height - 1, source->width, source->height);
        if (result != ERROR_NONE) state.SkipWithError("Gamma Adjust failed");
        benchmark::DoNotOptimize(destination.rows[0][0]);
    }
    SetCounters(state, source);
    ImageFree(&destination);
}

// The same rows copied with memcpy, row by row.
static void RowCopy(benchmark::State &state)
{
    const Image *source = BenchSource((int)state.range(0));
    if (source == nullptr) {
        state.SkipWithError("out of memory");
        return;
    }
    Image destination = {};
    if (ImageAlloc(&destination, source->type, source->width, source->height, source->resolution) !=
        ERROR_NONE) {
        state.SkipWithError("out of memory");
        return;
    }
    for (auto _ : state) {
        for (int y = 0; y < source->height; y++)
            memcpy(destination.rows[y], source->rows[y], (size_t)source->rowBytes);
        benchmark::ClobberMemory();
    }
    SetCounters(state, source);
    ImageFree(&destination);
}

BENCHMARK(GammaApply)->Arg(24)->Arg(48)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(RowCopy)->Arg(24)->Arg(48)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
