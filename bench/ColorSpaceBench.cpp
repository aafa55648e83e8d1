// The per-pixel color-space conversions over a 6000 by 4000 picture, the way the tone tools
// call them: each pixel goes to HSV or HSL and back (as Color Curves does), or through
// SetLightness8 and MapHsvSaturation8 (as Brightness Curve and the saturation tools do).
// Samples lie in memory blue, green, red.
#include <benchmark/benchmark.h>
#include <cstring>

#include "color/ColorSpace.h"
#include "core/Core.h"
#include "core/Helpers.h"
#include "core/Image.h"
#include "platform/headless/Headless.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

// What a benchmark does to every pixel.
enum : int {
    BENCH_HSV = 0,        // RgbToHsv then HsvToRgb
    BENCH_HSL = 1,        // RgbToHsl then HslToRgb
    BENCH_LIGHTNESS = 2,  // SetLightness to a fixed lightness
    BENCH_SATURATION = 3, // MapHsvSaturation through a table that raises saturation
};

// The source picture of a depth, made once and kept for every run. Noise (smooth 0) changes
// color at every pixel and so defeats branch prediction: the worst case. The smooth picture
// (smooth 1) runs red across, green up and blue along the diagonal, with a little noise, as a
// photograph's colors change slowly.
static const Image *BenchSource(int bits, int smooth)
{
    static Image pictures[2][2];
    static int made[2][2];
    int index = bits == 24 ? 0 : 1;
    if (!made[index][smooth]) {
        CoreInitialise();
        ColorSpaceInitialise();
        HeadlessReset();
        Image *picture = &pictures[index][smooth];
        ImageClear(picture);
        if (ImageAlloc(picture, bits == 24 ? TYPE_COLOR24 : TYPE_COLOR48, BENCH_WIDTH, BENCH_HEIGHT,
                       300.0) != ERROR_NONE)
            return nullptr;
        uint32_t state = 12345;
        for (int y = 0; y < picture->height; y++) {
            uint8_t *row = picture->rows[y];
            uint16_t *row16 = (uint16_t *)row;
            for (int x = 0; x < picture->width; x++) {
                int rgb[3];
                for (int c = 0; c < 3; c++) {
                    state = state * 1664525u + 1013904223u;
                    rgb[c] = (int)(state >> 16); // 0..65535
                }
                if (smooth) {
                    int noise = (rgb[0] & 1023) - 512;
                    rgb[0] = Clamp16(x * 65535 / (BENCH_WIDTH - 1) + noise);
                    rgb[1] = Clamp16(y * 65535 / (BENCH_HEIGHT - 1) + noise);
                    rgb[2] = Clamp16((x + y) * 65535 / (BENCH_WIDTH + BENCH_HEIGHT) + noise);
                }
                for (int c = 0; c < 3; c++) {
                    if (bits == 24)
                        row[3 * x + 2 - c] = (uint8_t)(rgb[c] >> 8);
                    else
                        row16[3 * x + 2 - c] = (uint16_t)rgb[c];
                }
            }
        }
        made[index][smooth] = 1;
    }
    return &pictures[index][smooth];
}

static void Convert8(const uint8_t *in, uint8_t *out, int width, int kind, const uint8_t *table)
{
    for (int x = 0; x < width; x++, in += 3, out += 3) {
        int r = in[2], g = in[1], b = in[0];
        int h, s, v;
        switch (kind) {
        case BENCH_HSV:
            RgbToHsv8(r, g, b, &h, &s, &v);
            HsvToRgb8(h, s, v, &r, &g, &b);
            break;
        case BENCH_HSL:
            RgbToHsl8(r, g, b, &h, &s, &v);
            HslToRgb8(h, s, v, &r, &g, &b);
            break;
        case BENCH_LIGHTNESS: SetLightness8(&r, &g, &b, 160); break;
        default: MapHsvSaturation8(&r, &g, &b, table); break;
        }
        out[0] = (uint8_t)b;
        out[1] = (uint8_t)g;
        out[2] = (uint8_t)r;
    }
}

static void Convert16(const uint8_t *in, uint8_t *out, int width, int kind, const uint16_t *table)
{
    const uint16_t *source = (const uint16_t *)in;
    uint16_t *destination = (uint16_t *)out;
    for (int x = 0; x < width; x++, source += 3, destination += 3) {
        int r = source[2], g = source[1], b = source[0];
        int h, s, v;
        switch (kind) {
        case BENCH_HSV:
            RgbToHsv16(r, g, b, &h, &s, &v);
            HsvToRgb16(h, s, v, &r, &g, &b);
            break;
        case BENCH_HSL:
            RgbToHsl16(r, g, b, &h, &s, &v);
            HslToRgb16(h, s, v, &r, &g, &b);
            break;
        case BENCH_LIGHTNESS: SetLightness16(&r, &g, &b, 41000); break;
        default: MapHsvSaturation16(&r, &g, &b, table); break;
        }
        destination[0] = (uint16_t)b;
        destination[1] = (uint16_t)g;
        destination[2] = (uint16_t)r;
    }
}

// Arguments: picture bits (24 or 48), the BENCH_ kind, and noise (0) or a smooth picture (1).
static void ColorSpaceConvert(benchmark::State &state)
{
    int bits = (int)state.range(0);
    int kind = (int)state.range(1);
    const Image *source = BenchSource(bits, (int)state.range(2));
    Image destination = {};
    if (source == nullptr || ImageAlloc(&destination, source->type, source->width, source->height,
                                        source->resolution) != ERROR_NONE) {
        state.SkipWithError("out of memory");
        return;
    }
    // A saturation curve that lifts the middle: s + s (255 - s) / 255.
    static uint8_t table8[256];
    static uint16_t table16[65536];
    for (int i = 0; i < 256; i++)
        table8[i] = (uint8_t)(i + i * (255 - i) / 255);
    for (int i = 0; i < 65536; i++)
        table16[i] = (uint16_t)(i + (int64_t)i * (65535 - i) / 65535);
    for (auto _ : state) {
        for (int y = 0; y < source->height; y++) {
            if (bits == 24)
                Convert8(source->rows[y], destination.rows[y], source->width, kind, table8);
            else
                Convert16(source->rows[y], destination.rows[y], source->width, kind, table16);
        }
        benchmark::ClobberMemory();
    }
    state.counters["Mpixel/s"] =
        benchmark::Counter((double)state.iterations() * source->width * source->height / 1e6,
                           benchmark::Counter::kIsRate);
    ImageFree(&destination);
}

BENCHMARK(ColorSpaceConvert)
    ->ArgNames({"bits", "kind", "smooth"})
    ->ArgsProduct({{24, 48}, {BENCH_HSV, BENCH_HSL, BENCH_LIGHTNESS, BENCH_SATURATION}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

BENCHMARK_MAIN();
