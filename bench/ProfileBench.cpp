// Profile conversion of a 6000 by 4000 picture at 48 bits between two matrix-shaper profiles
// (the built-in sRGB and Adobe RGB from icc-profiles-free), in place as a file's conversion
// to the working space runs, and as Change Color Profile's Apply into a new picture.
//
// ProfileBench.sh writes the same picture to a TIFF file (ProfileBench --write-ppm PATH) and
// times Little CMS's tificc on it with the same profiles, for the comparison.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <vector>

#include "color/ColorSettings.h"
#include "color/ProfileTransform.h"
#include "color/Profiles.h"
#include "core/Core.h"
#include "core/Image.h"
#include "core/Memory.h"
#include "core/Picture.h"
#include "platform/headless/Headless.h"
#include "transforms/ChangeProfile.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;
static const char TARGET_PROFILE[] = "/usr/share/color/icc/compatibleWithAdobeRGB1998.icc";

// The 48-bit picture, made once: a pattern of every sample from a simple generator.
static const Image *BenchSource(void)
{
    static Image picture;
    static int made = 0;
    if (!made) {
        CoreInitialise();
        HeadlessReset();
        ColorSettingsDefault(&CurrentColorSettings);
        ImageClear(&picture);
        if (ImageAlloc(&picture, TYPE_COLOR48, BENCH_WIDTH, BENCH_HEIGHT, 300.0) != ERROR_NONE)
            return nullptr;
        uint32_t state = 12345;
        for (int y = 0; y < picture.height; y++)
            for (int i = 0; i < picture.rowBytes; i++) {
                state = state * 1664525u + 1013904223u;
                picture.rows[y][i] = (uint8_t)(state >> 24);
            }
        made = 1;
    }
    return &picture;
}

static std::vector<uint8_t> BenchTarget(void)
{
    uint8_t *bytes = nullptr;
    int length = 0;
    std::vector<uint8_t> target;
    if (ProfileFileRead(TARGET_PROFILE, &bytes, &length) == ERROR_NONE)
        target.assign(bytes, bytes + length);
    MemoryFree(bytes);
    return target;
}

static void SetCounters(benchmark::State &state, const Image *source)
{
    state.SetBytesProcessed(state.iterations() * (int64_t)source->rowBytes * source->height);
    state.counters["Mpixel/s"] =
        benchmark::Counter((double)state.iterations() * source->width * source->height / 1e6,
                           benchmark::Counter::kIsRate);
}

// ConvertImageToProfile on a picture, from sRGB (no profile) to Adobe RGB, in place
// row by row. The picture is copied back before each run, outside the timing.
static void ConvertInPlace(benchmark::State &state)
{
    const Image *source = BenchSource();
    std::vector<uint8_t> target = BenchTarget();
    Picture window;
    PictureReset(&window);
    if (source == nullptr || target.empty() ||
        ImageDuplicate(source, &window.image) != ERROR_NONE) {
        state.SkipWithError("no picture or no profile");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        MemoryRelease(&window.profile);
        window.profileSize = 0;
        state.ResumeTiming();
        int modified;
        ErrorCode result = ConvertImageToProfile(&window, target.data(), (int)target.size(),
                                                 COLOR_INTENT_FULL_GAMUT, 0, &modified);
        if (result != ERROR_NONE) {
            state.SkipWithError("conversion failed");
            break;
        }
    }
    SetCounters(state, source);
    MemoryRelease(&window.profile);
    ImageFree(&window.image);
}
BENCHMARK(ConvertInPlace)->Unit(benchmark::kMillisecond)->UseRealTime();

// Change Color Profile's Apply into a new picture, as vistel-cli profile runs it.
static void ChangeProfileApply(benchmark::State &state)
{
    const Image *source = BenchSource();
    std::vector<uint8_t> target = BenchTarget();
    if (source == nullptr || target.empty()) {
        state.SkipWithError("no picture or no profile");
        return;
    }
    ChangeProfileSettings settings;
    ChangeProfileSettingsDefault(&settings);
    settings.targetProfile = target.data();
    settings.targetLength = (int)target.size();
    Image destination = {};
    for (auto _ : state) {
        ErrorCode result = ChangeProfileCompute(
            source, &destination, nullptr, &settings, 1, source->width, source->height, 0, 0, 1, 0,
            0, source->width - 1, source->height - 1, source->width, source->height);
        if (result != ERROR_NONE) {
            state.SkipWithError("compute failed");
            break;
        }
    }
    SetCounters(state, source);
    ImageFree(&destination);
}
BENCHMARK(ChangeProfileApply)->Unit(benchmark::kMillisecond)->UseRealTime();

// Writes the bench picture as a 16-bit PPM (top row first, red first, big-endian), so that
// the comparison with tificc runs on the same pixels.
static int WritePpm(const char *path)
{
    const Image *picture = BenchSource();
    FILE *file = fopen(path, "wb");
    if (picture == nullptr || file == nullptr) return 1;
    fprintf(file, "P6\n%d %d\n65535\n", picture->width, picture->height);
    std::vector<uint8_t> row((size_t)picture->width * 6);
    for (int y = picture->height - 1; y >= 0; y--) {
        const uint16_t *samples = (const uint16_t *)picture->rows[y];
        for (int x = 0; x < picture->width; x++)
            for (int c = 0; c < 3; c++) {
                uint16_t value = samples[3 * x + 2 - c];
                row[6 * x + 2 * c] = (uint8_t)(value >> 8);
                row[6 * x + 2 * c + 1] = (uint8_t)value;
            }
        fwrite(row.data(), 1, row.size(), file);
    }
    return fclose(file) == 0 ? 0 : 1;
}

int main(int argc, char **argv)
{
    if (argc == 3 && strcmp(argv[1], "--write-ppm") == 0) return WritePpm(argv[2]);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
