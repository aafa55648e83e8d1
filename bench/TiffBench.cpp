// Reading large uncompressed TIFF files: 6000 by 4000 pixels of 24-bit and 48-bit color, as
// one strip (the way the program's own writer saves) and in strips of 8 KB (the way libtiff's
// tools save). The files are written here once, in the temporary folder, and removed at the
// end. Compare with `time tiffcp -c none IN OUT` on the same files.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/Core.h"
#include "core/Image.h"
#include "files/TiffReader.h"
#include "platform/headless/Headless.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

static void Put16(std::vector<uint8_t> &bytes, uint16_t value)
{
    bytes.push_back((uint8_t)value);
    bytes.push_back((uint8_t)(value >> 8));
}

static void Put32(std::vector<uint8_t> &bytes, uint32_t value)
{
    Put16(bytes, (uint16_t)value);
    Put16(bytes, (uint16_t)(value >> 16));
}

static void Entry(std::vector<uint8_t> &bytes, uint16_t tag, uint16_t type, uint32_t count,
                  uint32_t value)
{
    Put16(bytes, tag);
    Put16(bytes, type);
    Put32(bytes, count);
    if (type == 3 && count == 1) {
        Put16(bytes, (uint16_t)value);
        Put16(bytes, 0);
    } else {
        Put32(bytes, value);
    }
}

// Writes a little-endian RGB TIFF of the bench size with bits per sample, in strips of
// rowsPerStrip rows; the pixels are a cheap pattern, since the reader does not look at them.
static std::string BenchFileWrite(int bits, int rowsPerStrip, const char *name)
{
    const char *folder = getenv("TMPDIR") != nullptr ? getenv("TMPDIR") : "/tmp";
    std::string path = std::string(folder) + "/" + name;
    uint32_t rowBytes = (uint32_t)BENCH_WIDTH * 3 * (bits / 8);
    uint32_t strips = (BENCH_HEIGHT + rowsPerStrip - 1) / rowsPerStrip;
    std::vector<uint8_t> head;
    head.insert(head.end(), {'I', 'I', 42, 0});
    Put32(head, 8);
    const uint32_t entries = 10;
    uint32_t values = 8 + 2 + entries * 12 + 4;
    uint32_t bitsAt = values;
    uint32_t offsetsAt = bitsAt + 6 + 2;
    uint32_t countsAt = offsetsAt + 4 * strips;
    uint32_t dataAt = countsAt + 4 * strips;
    Put16(head, (uint16_t)entries);
    Entry(head, 256, 4, 1, BENCH_WIDTH);
    Entry(head, 257, 4, 1, BENCH_HEIGHT);
    Entry(head, 258, 3, 3, bitsAt);
    Entry(head, 259, 3, 1, 1);
    Entry(head, 262, 3, 1, 2);
    Entry(head, 273, 4, strips, strips == 1 ? dataAt : offsetsAt);
    Entry(head, 277, 3, 1, 3);
    Entry(head, 278, 4, 1, (uint32_t)rowsPerStrip);
    Entry(head, 279, 4, strips, strips == 1 ? rowBytes * BENCH_HEIGHT : countsAt);
    Entry(head, 284, 3, 1, 1);
    Put32(head, 0);
    for (int i = 0; i < 3; i++)
        Put16(head, (uint16_t)bits);
    Put16(head, 0);
    for (uint32_t s = 0; s < strips; s++)
        Put32(head, dataAt + s * rowsPerStrip * rowBytes);
    for (uint32_t s = 0; s < strips; s++) {
        uint32_t rows = BENCH_HEIGHT - s * rowsPerStrip;
        Put32(head, (rows < (uint32_t)rowsPerStrip ? rows : rowsPerStrip) * rowBytes);
    }
    FILE *file = fopen(path.c_str(), "wb");
    if (file == nullptr) return "";
    fwrite(head.data(), 1, head.size(), file);
    std::vector<uint8_t> row(rowBytes);
    for (int y = 0; y < BENCH_HEIGHT; y++) {
        for (uint32_t i = 0; i < rowBytes; i++)
            row[i] = (uint8_t)(i * 7 + y);
        fwrite(row.data(), 1, row.size(), file);
    }
    fclose(file);
    return path;
}

static std::string Files[4];

static void BenchRead(benchmark::State &state)
{
    const std::string &path = Files[state.range(0)];
    Image image;
    ImageClear(&image);
    for (auto _ : state) {
        ErrorCode result = ReadTiffFile(path.c_str(), &image, 0, nullptr);
        if (result != ERROR_NONE) state.SkipWithError("read failed");
        ImageFree(&image); // a fresh picture each time, as opening a file makes one
    }
    int bytesPerPixel = state.range(0) < 2 ? 3 : 6;
    state.SetBytesProcessed(state.iterations() * (int64_t)BENCH_WIDTH * BENCH_HEIGHT *
                            bytesPerPixel);
}
BENCHMARK(BenchRead)
    ->ArgName("file")
    ->Arg(0) // 24-bit, one strip
    ->Arg(1) // 24-bit, strips of 8 KB
    ->Arg(2) // 48-bit, one strip
    ->Arg(3) // 48-bit, strips of 8 KB
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

int main(int argc, char **argv)
{
    CoreInitialise();
    HeadlessReset();
    Files[0] = BenchFileWrite(8, BENCH_HEIGHT, "vistel-bench-24.tif");
    Files[1] = BenchFileWrite(8, 8192 / (BENCH_WIDTH * 3) + 1, "vistel-bench-24-strips.tif");
    Files[2] = BenchFileWrite(16, BENCH_HEIGHT, "vistel-bench-48.tif");
    Files[3] = BenchFileWrite(16, 8192 / (BENCH_WIDTH * 6) + 1, "vistel-bench-48-strips.tif");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // Keep the files for a comparison with tiffcp when asked to.
    if (getenv("VISTEL_BENCH_KEEP") == nullptr) {
        for (const std::string &path : Files)
            remove(path.c_str());
    }
    return 0;
}
