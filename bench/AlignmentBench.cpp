// The aligned overlay's rows: every row of a 6000 x 4000 overlay sampled through a 4-point
// perspective that moves the corners inwards, beside an affine shift by a fraction of a pixel
// (every sample bilinear, no divide) and the whole-pixel shift (every sample exact), at 8, 24
// and 48 bits, each by the processor's AVX2 road where it has one and by the portable road.
// The time a pixel is the row's cost beyond reading the picture.
#include <benchmark/benchmark.h>

#include <vector>

#include "core/CpuFeatures.h"
#include "core/Image.h"
#include "transforms/Alignment.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

// Arguments: the picture type, the alignment mode (ALIGN_SHIFT by a whole or, with
// fraction 1, a part of a pixel; ALIGN_PERSPECTIVE), and 1 for the AVX2 road (where the
// processor has it), 0 for the portable one.
static void BenchAlignedRow(benchmark::State &state)
{
    int type = (int)state.range(0);
    int mode = (int)state.range(1);
    int fraction = (int)state.range(2);
    if (state.range(3) && !CpuAvx2()) {
        state.SkipWithError("no AVX2 on this processor");
        return;
    }
    Image overlay = {};
    if (ImageAlloc(&overlay, type, BENCH_WIDTH, BENCH_HEIGHT, 300.0) != ERROR_NONE) {
        state.SkipWithError("no memory");
        return;
    }
    for (int y = 0; y < BENCH_HEIGHT; y++)
        for (int i = 0; i < overlay.rowBytes; i++)
            overlay.rows[y][i] = (uint8_t)(i * 7 + y);
    AlignmentSettings settings;
    AlignmentSettingsDefault(&settings);
    settings.mode = mode;
    settings.pointCount = AlignmentPairsFor(mode);
    AlignmentInitialPoints(BENCH_WIDTH, BENCH_HEIGHT, settings.backgroundX, settings.backgroundY);
    AlignmentInitialPoints(BENCH_WIDTH, BENCH_HEIGHT, settings.overlayX, settings.overlayY);
    const double moves[4][2] = {{40, 25}, {-49, 60}, {10, -19}, {-9, -69}};
    for (int i = 0; i < settings.pointCount; i++) {
        double shift = fraction ? 0.37 : 3.0;
        settings.overlayX[i] += mode == ALIGN_PERSPECTIVE ? moves[i][0] : shift;
        settings.overlayY[i] += mode == ALIGN_PERSPECTIVE ? moves[i][1] : shift;
    }
    AlignmentMap map;
    if (AlignmentPrepare(&settings, BENCH_WIDTH, BENCH_HEIGHT, &map)) {
        state.SkipWithError("singular");
        return;
    }
    std::vector<uint8_t> samples((size_t)overlay.rowBytes + 8), coverage(BENCH_WIDTH);
    CpuAllowAvx2((int)state.range(3));
    for (auto _ : state)
        for (int row = 0; row < BENCH_HEIGHT; row++) {
            int first, last;
            AlignedOverlayRow(&overlay, &settings, &map, 0.0, 1.0, row, BENCH_WIDTH, samples.data(),
                              coverage.data(), &first, &last);
            benchmark::DoNotOptimize(samples.data());
            benchmark::DoNotOptimize(last);
        }
    state.counters["ns/pixel"] =
        benchmark::Counter((double)state.iterations() * BENCH_WIDTH * BENCH_HEIGHT,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    CpuAllowAvx2(1);
    ImageFree(&overlay);
}

static void AlignedRowArguments(benchmark::internal::Benchmark *benchmark)
{
    for (int type : {TYPE_GRAY8, TYPE_COLOR24, TYPE_COLOR48})
        for (int wide : {1, 0}) {
            benchmark->Args({type, ALIGN_SHIFT, 0, wide});
            benchmark->Args({type, ALIGN_SHIFT, 1, wide});
            benchmark->Args({type, ALIGN_PERSPECTIVE, 0, wide});
        }
}

BENCHMARK(BenchAlignedRow)
    ->Apply(AlignedRowArguments)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

BENCHMARK_MAIN();
