// Writing a 6000 x 4000 picture as an uncompressed TIFF, at 24 and 48 bits: the whole save
// (through a temporary file that is flushed to disk and renamed), the writer alone on a
// plain file, and libtiff's tiffcp copying the same file for comparison.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <string>

#include "core/Core.h"
#include "core/File.h"
#include "files/TiffWriter.h"
#include "platform/headless/Headless.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

// The picture of a type, made once and kept for every run.
static const Image *BenchPicture(int type)
{
    static Image pictures[8];
    static int initialised = 0;
    if (!initialised) {
        CoreInitialise();
        HeadlessReset();
        initialised = 1;
    }
    Image *image = &pictures[type];
    if (image->type != type) {
        if (ImageAlloc(image, type, BENCH_WIDTH, BENCH_HEIGHT, 300.0) != ERROR_NONE) return nullptr;
        uint32_t state = 12345;
        for (int y = 0; y < image->height; y++)
            for (int i = 0; i < image->rowBytes; i++) {
                state = state * 1664525u + 1013904223u;
                image->rows[y][i] = (uint8_t)(state >> 24);
            }
    }
    return image;
}

static std::string BenchPath(int type, const char *what)
{
    return "/tmp/vistel-bench-" + std::to_string(type == TYPE_COLOR24 ? 24 : 48) + "-" + what +
           ".tif";
}

static int64_t StripBytes(int type)
{
    return (int64_t)BENCH_WIDTH * BENCH_HEIGHT * (type == TYPE_COLOR24 ? 3 : 6);
}

// SaveTiffFile as the program calls it: temporary file, fsync, rename.
static void BM_SaveTiffFile(benchmark::State &state)
{
    int type = (int)state.range(0);
    const Image *image = BenchPicture(type);
    if (image == nullptr) {
        state.SkipWithError("no memory for the picture");
        return;
    }
    std::string path = BenchPath(type, "save");
    for (auto _ : state) {
        if (SaveTiffFile(path.c_str(), image) != ERROR_NONE) state.SkipWithError("save failed");
    }
    state.SetBytesProcessed(state.iterations() * StripBytes(type));
}
BENCHMARK(BM_SaveTiffFile)
    ->Arg(TYPE_COLOR24)
    ->Arg(TYPE_COLOR48)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// WriteTiffImage on a plain file, without the flush to disk, to separate the writer's own
// work from the cost of making the file durable.
static void BM_WriteTiffImage(benchmark::State &state)
{
    int type = (int)state.range(0);
    const Image *image = BenchPicture(type);
    if (image == nullptr) {
        state.SkipWithError("no memory for the picture");
        return;
    }
    std::string path = BenchPath(type, "write");
    for (auto _ : state) {
        FileHandle file = FILE_HANDLE_NONE;
        ErrorCode result = FileCreate(path.c_str(), &file);
        if (result == ERROR_NONE) result = WriteTiffImage(file, image, nullptr, 0, nullptr);
        if (FileClose(&file) != ERROR_NONE || result != ERROR_NONE)
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(state.iterations() * StripBytes(type));
}
BENCHMARK(BM_WriteTiffImage)
    ->Arg(TYPE_COLOR24)
    ->Arg(TYPE_COLOR48)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// libtiff's tiffcp -c none on the file we saved: it reads the file (from the page cache) and
// writes an uncompressed copy, in a process of its own.
static void BM_TiffcpNone(benchmark::State &state)
{
    int type = (int)state.range(0);
    const Image *image = BenchPicture(type);
    std::string source = BenchPath(type, "save");
    std::string copy = BenchPath(type, "tiffcp");
    if (image == nullptr || SaveTiffFile(source.c_str(), image) != ERROR_NONE) {
        state.SkipWithError("no file to copy");
        return;
    }
    std::string command = "tiffcp -c none '" + source + "' '" + copy + "' 2>/dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) state.SkipWithError("tiffcp failed");
    }
    state.SetBytesProcessed(state.iterations() * StripBytes(type));
}
BENCHMARK(BM_TiffcpNone)
    ->Arg(TYPE_COLOR24)
    ->Arg(TYPE_COLOR48)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

BENCHMARK_MAIN();
