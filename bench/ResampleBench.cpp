// The scaler on the sizes the comparisons with other tools use, one thread, no progress:
//
//   Reduce/3 and /7   a 6000 by 4000 picture of 24 and 48 bits to 25 % (1500 by 1000) with
//                     Lanczos 6x6.
//   Enlarge/3 and /7  1500 by 1000 to 200 % (3000 by 2000), Bicubic with a = -0.75.
//   Nearest/3         6000 by 4000 to 25 %, and Nearest/3 with 200 % enlarging as Nearest2x.
// Mpixel/s counts source pixels.
#include <benchmark/benchmark.h>

#include "core/Core.h"
#include "core/Image.h"
#include "core/Resample.h"
#include "platform/headless/Headless.h"

static void BenchStart(void)
{
    static int started = 0;
    if (!started) {
        CoreInitialise();
        HeadlessReset();
        started = 1;
    }
}

// A picture of noise over a smooth ramp, so that no kernel meets long runs of one value.
static int MakePicture(Image *image, int type, int width, int height)
{
    ImageClear(image);
    if (ImageAlloc(image, type, width, height, 300.0) != ERROR_NONE) return 0;
    uint32_t seed = 12345;
    for (int y = 0; y < height; y++)
        for (int i = 0; i < image->rowBytes; i++) {
            seed = seed * 1664525u + 1013904223u;
            image->rows[y][i] = (uint8_t)((seed >> 26) + (i + y) / 64);
        }
    return 1;
}

static void Run(benchmark::State &state, int width, int height, int newWidth, int newHeight,
                int method)
{
    BenchStart();
    Image source, destination;
    ImageClear(&destination);
    if (!MakePicture(&source, (int)state.range(0), width, height)) {
        state.SkipWithError("out of memory");
        return;
    }
    for (auto _ : state) {
        if (ResampleImage(&source, &destination, newWidth, newHeight, 300.0, method, -0.75, 0) !=
            ERROR_NONE)
            state.SkipWithError("resampling failed");
        benchmark::DoNotOptimize(destination.rows[0][0]);
        // A fresh destination each time, as a Resize makes one.
        ImageFree(&destination);
    }
    state.counters["Mpixel/s"] = benchmark::Counter(
        (double)state.iterations() * width * height / 1e6, benchmark::Counter::kIsRate);
    ImageFree(&source);
}

static void Reduce(benchmark::State &state)
{
    Run(state, 6000, 4000, 1500, 1000, RESAMPLE_LANCZOS6);
}
BENCHMARK(Reduce)->Arg(TYPE_COLOR24)->Arg(TYPE_COLOR48)->Unit(benchmark::kMillisecond);

static void Enlarge(benchmark::State &state)
{
    Run(state, 1500, 1000, 3000, 2000, RESAMPLE_BICUBIC);
}
BENCHMARK(Enlarge)->Arg(TYPE_COLOR24)->Arg(TYPE_COLOR48)->Unit(benchmark::kMillisecond);

static void Nearest(benchmark::State &state)
{
    Run(state, 6000, 4000, 1500, 1000, RESAMPLE_NEAREST);
}
BENCHMARK(Nearest)->Arg(TYPE_COLOR24)->Unit(benchmark::kMillisecond);

static void Nearest2x(benchmark::State &state)
{
    Run(state, 1500, 1000, 3000, 2000, RESAMPLE_NEAREST);
}
BENCHMARK(Nearest2x)->Arg(TYPE_COLOR24)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
