// Loading and saving a 6000 x 4000 24-bit picture as JPEG and PNG, as the program does it:
// straight between the library and our rows, saves through a temporary file that is flushed
// and renamed. bench/compare-formats.sh times vips on the same work.
//
// The picture is made here, so that the benchmark needs no file: smooth shading of several
// frequencies with a little noise, which compresses as photographs do (neither as flat as a
// gradient nor as hard as noise). Files go to /dev/shm where it exists, so that the disk's
// speed does not enter the figures.
#include <benchmark/benchmark.h>
#include <cmath>
#include <string>
#include <unistd.h>

#include "core/Core.h"
#include "core/Picture.h"
#include "files/Jpeg.h"
#include "files/Png.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

static std::string BenchPath(const char *name)
{
    std::string folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return folder + "/vistel-bench-" + name;
}

// The picture, made once and kept for every run.
static Picture *BenchWindow(void)
{
    static Picture picture;
    static Picture *window = nullptr;
    if (window != nullptr) return window;
    CoreInitialise();
    window = &picture;
    Image *image = &window->image;
    if (ImageAlloc(image, TYPE_COLOR24, BENCH_WIDTH, BENCH_HEIGHT, 300.0) != ERROR_NONE)
        return nullptr;
    // Shading as sums of waves, one table a channel for each axis, and noise of a few levels.
    static float waveX[3][BENCH_WIDTH];
    static float waveY[3][BENCH_HEIGHT];
    for (int c = 0; c < 3; c++) {
        for (int x = 0; x < BENCH_WIDTH; x++)
            waveX[c][x] =
                (float)(50 * std::sin(x / (170.0 + 40 * c)) + 20 * std::sin(x / (23.0 + 5 * c)));
        for (int y = 0; y < BENCH_HEIGHT; y++)
            waveY[c][y] =
                (float)(50 * std::cos(y / (130.0 + 30 * c)) + 15 * std::sin(y / (17.0 + 3 * c)));
    }
    uint32_t noise = 12345;
    for (int y = 0; y < BENCH_HEIGHT; y++) {
        uint8_t *row = image->rows[y];
        for (int x = 0; x < BENCH_WIDTH; x++)
            for (int c = 0; c < 3; c++) {
                noise = noise * 1664525u + 1013904223u;
                int value = 128 + (int)(waveX[c][x] + waveY[c][y]) + (int)(noise >> 29) - 4;
                row[3 * x + c] = (uint8_t)(value < 0 ? 0 : value > 255 ? 255 : value);
            }
    }
    return window;
}

static void BM_JpegSave(benchmark::State &state)
{
    Picture *window = BenchWindow();
    int quality = (int)state.range(0);
    std::string path = BenchPath("save.jpg");
    for (auto _ : state)
        if (window == nullptr || SaveJpegFile(path.c_str(), window, quality) != ERROR_NONE)
            state.SkipWithError("save failed");
    state.SetItemsProcessed(state.iterations() * BENCH_WIDTH * BENCH_HEIGHT);
}
BENCHMARK(BM_JpegSave)->Arg(97)->Arg(75)->Unit(benchmark::kMillisecond)->UseRealTime();

static void BM_JpegLoad(benchmark::State &state)
{
    Picture *window = BenchWindow();
    int quality = (int)state.range(0);
    std::string path = BenchPath(("load-" + std::to_string(quality) + ".jpg").c_str());
    if (window == nullptr || SaveJpegFile(path.c_str(), window, quality) != ERROR_NONE) {
        state.SkipWithError("no file to load");
        return;
    }
    Picture read;
    Picture *loaded = &read;
    PictureReset(loaded);
    for (auto _ : state) {
        if (ReadJpegFile(path.c_str(), loaded, 0, nullptr) != ERROR_NONE)
            state.SkipWithError("load failed");
        state.PauseTiming();
        PictureFree(loaded);
        state.ResumeTiming();
    }
    PictureFree(loaded);
    state.SetItemsProcessed(state.iterations() * BENCH_WIDTH * BENCH_HEIGHT);
}
BENCHMARK(BM_JpegLoad)->Arg(97)->Arg(75)->Unit(benchmark::kMillisecond)->UseRealTime();

static void BM_PngSave(benchmark::State &state)
{
    Picture *window = BenchWindow();
    std::string path = BenchPath("save.png");
    for (auto _ : state)
        if (window == nullptr || SavePngFile(path.c_str(), window) != ERROR_NONE)
            state.SkipWithError("save failed");
    state.SetItemsProcessed(state.iterations() * BENCH_WIDTH * BENCH_HEIGHT);
}
BENCHMARK(BM_PngSave)->Unit(benchmark::kMillisecond)->UseRealTime();

static void BM_PngLoad(benchmark::State &state)
{
    Picture *window = BenchWindow();
    std::string path = BenchPath("load.png");
    if (window == nullptr || SavePngFile(path.c_str(), window) != ERROR_NONE) {
        state.SkipWithError("no file to load");
        return;
    }
    Picture read;
    Picture *loaded = &read;
    PictureReset(loaded);
    for (auto _ : state) {
        if (ReadPngFile(path.c_str(), loaded, 0, nullptr) != ERROR_NONE)
            state.SkipWithError("load failed");
        state.PauseTiming();
        PictureFree(loaded);
        state.ResumeTiming();
    }
    PictureFree(loaded);
    state.SetItemsProcessed(state.iterations() * BENCH_WIDTH * BENCH_HEIGHT);
}
BENCHMARK(BM_PngLoad)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
