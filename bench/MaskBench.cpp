// The mask operations on a 6000 by 4000 mask, and Gamma Adjust through a mask:
//
//   FeatherDisc/R    Feather at width 64 of a mask whose inside is a disc of radius R; its
//                    cost should follow the disc's edge (2 pi R), not its area (pi R^2), so
//                    that R = 1600 costs about twice R = 800, not four times.
//   Blur/30          Blur at radius 30, beside MaskPass, one pass that reads and writes every
//                    pixel of the mask (Invert), the floor it is measured against.
//   GammaMix/0 and /1  Gamma Adjust of a 24-bit picture of the mask's size without and with a
//                    gradient mask (Amount 0 .. 100 %).
#include <benchmark/benchmark.h>
#include <vector>

#include "core/Core.h"
#include "core/Image.h"
#include "masks/Mask.h"
#include "platform/headless/Headless.h"
#include "transforms/GammaAdjust.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

static void BenchStart(void)
{
    static int started = 0;
    if (!started) {
        CoreInitialise();
        HeadlessReset();
        started = 1;
    }
}

// A mask of 0 with a disc of 255 of radius around the centre.
static int MakeDisc(Image *mask, int radius)
{
    ImageClear(mask);
    if (ImageAlloc(mask, TYPE_GRAY8, BENCH_WIDTH, BENCH_HEIGHT, 100.0) != ERROR_NONE) return 0;
    int cx = BENCH_WIDTH / 2, cy = BENCH_HEIGHT / 2;
    for (int y = 0; y < BENCH_HEIGHT; y++)
        for (int x = 0; x < BENCH_WIDTH; x++) {
            int64_t dx = x - cx, dy = y - cy;
            mask->rows[y][x] = dx * dx + dy * dy <= (int64_t)radius * radius ? 255 : 0;
        }
    return 1;
}

// A mask that rises from 0 at the left to 255 at the right.
static int MakeGradient(Image *mask)
{
    ImageClear(mask);
    if (ImageAlloc(mask, TYPE_GRAY8, BENCH_WIDTH, BENCH_HEIGHT, 100.0) != ERROR_NONE) return 0;
    for (int y = 0; y < BENCH_HEIGHT; y++)
        for (int x = 0; x < BENCH_WIDTH; x++)
            mask->rows[y][x] = (uint8_t)((int64_t)x * 255 / (BENCH_WIDTH - 1));
    return 1;
}

static void SetPixels(benchmark::State &state)
{
    state.counters["Mpixel/s"] = benchmark::Counter(
        (double)state.iterations() * BENCH_WIDTH * BENCH_HEIGHT / 1e6, benchmark::Counter::kIsRate);
}

static void FeatherDisc(benchmark::State &state)
{
    BenchStart();
    Image source, destination;
    ImageClear(&destination);
    std::vector<uint8_t> coverage(BENCH_HEIGHT), kept(BENCH_HEIGHT);
    if (!MakeDisc(&source, (int)state.range(0)) ||
        ImageAlloc(&destination, TYPE_GRAY8, BENCH_WIDTH, BENCH_HEIGHT, 100.0) != ERROR_NONE) {
        state.SkipWithError("out of memory");
        return;
    }
    MaskCoverage(&source, kept.data());
    for (auto _ : state) {
        coverage = kept;
        if (MaskFeather(&source, &destination, FEATHER_WIDTH_MAX, FEATHER_GRADUAL, FEATHER_ROUND,
                        coverage.data()) != ERROR_NONE)
            state.SkipWithError("Feather failed");
        benchmark::DoNotOptimize(destination.rows[0][0]);
    }
    SetPixels(state);
    ImageFree(&source);
    ImageFree(&destination);
}
BENCHMARK(FeatherDisc)->Arg(800)->Arg(1600)->Unit(benchmark::kMillisecond);

static void Blur(benchmark::State &state)
{
    BenchStart();
    Image source, destination;
    ImageClear(&destination);
    std::vector<uint8_t> coverage(BENCH_HEIGHT);
    if (!MakeDisc(&source, 1200) ||
        ImageAlloc(&destination, TYPE_GRAY8, BENCH_WIDTH, BENCH_HEIGHT, 100.0) != ERROR_NONE) {
        state.SkipWithError("out of memory");
        return;
    }
    for (auto _ : state) {
        if (MaskBlur(&source, &destination, (int)state.range(0), coverage.data()) != ERROR_NONE)
            state.SkipWithError("Blur failed");
        benchmark::DoNotOptimize(destination.rows[0][0]);
    }
    SetPixels(state);
    ImageFree(&source);
    ImageFree(&destination);
}
BENCHMARK(Blur)->Arg(30)->Unit(benchmark::kMillisecond);

static void MaskPass(benchmark::State &state)
{
    BenchStart();
    Image mask;
    std::vector<uint8_t> coverage(BENCH_HEIGHT);
    if (!MakeDisc(&mask, 1200)) {
        state.SkipWithError("out of memory");
        return;
    }
    MaskCoverage(&mask, coverage.data());
    for (auto _ : state) {
        MaskInvert(&mask, coverage.data());
        benchmark::DoNotOptimize(mask.rows[0][0]);
    }
    SetPixels(state);
    ImageFree(&mask);
}
BENCHMARK(MaskPass)->Unit(benchmark::kMillisecond);

static void GammaMix(benchmark::State &state)
{
    BenchStart();
    Image source, mask, destination;
    ImageClear(&source);
    ImageClear(&destination);
    if (ImageAlloc(&source, TYPE_COLOR24, BENCH_WIDTH, BENCH_HEIGHT, 300.0) != ERROR_NONE ||
        !MakeGradient(&mask)) {
        state.SkipWithError("out of memory");
        return;
    }
    uint32_t seed = 12345;
    for (int y = 0; y < source.height; y++)
        for (int i = 0; i < source.rowBytes; i++) {
            seed = seed * 1664525u + 1013904223u;
            source.rows[y][i] = (uint8_t)(seed >> 24);
        }
    GammaSettings settings;
    GammaSettingsDefault(&settings);
    settings.factor = 2.2;
    if (state.range(0)) {
        settings.amount.low = 0;
        settings.amount.high = AMOUNT_POSITIONS;
        settings.amount.maskImage = &mask;
    }
    for (auto _ : state) {
        if (GammaCompute(&source, &destination, nullptr, &settings, 1, BENCH_WIDTH, BENCH_HEIGHT, 0,
                         0, 1, 0, 0, BENCH_WIDTH - 1, BENCH_HEIGHT - 1, BENCH_WIDTH,
                         BENCH_HEIGHT) != ERROR_NONE)
            state.SkipWithError("Gamma Adjust failed");
        benchmark::DoNotOptimize(destination.rows[0][0]);
    }
    SetPixels(state);
    ImageFree(&source);
    ImageFree(&mask);
    ImageFree(&destination);
}
BENCHMARK(GammaMix)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
