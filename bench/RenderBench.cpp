// The display's renderers on a 6000 by 4000 picture of 48 bits: a whole 1920 by 1080 view
// at zoom 1 and 4, the whole picture at -4 with smoothing (1500 by 1000 view pixels, every
// picture sample read), and a scroll by one line, which moves the view and renders only the
// strip that came into view. Each should stay well within the 16 ms of one display frame.
//
// MemoryFloor reads every byte of the picture once: the smoothed -4 view reads each of them
// too, so its time cannot fall below this one on the same machine. SmoothInCache shows what
// the smoothing costs on its own, on a picture that stays in the cache.
#include <benchmark/benchmark.h>

#include "core/Core.h"
#include "core/Image.h"
#include "core/Preferences.h"
#include "platform/headless/Headless.h"
#include "ui/Display.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;
static const int SCREEN_WIDTH = 1920;
static const int SCREEN_HEIGHT = 1080;

// The picture, made once: smooth gradients with a little noise, as a photograph has, so
// that the depth table is read as a real picture reads it.
static ImageWindow *BenchRecord(void)
{
    static ImageWindow *record = nullptr;
    static int slot = -1;
    if (record != nullptr) return record;
    CoreInitialise();
    HeadlessReset();
    if (SlotAllocate(&slot, &record) != ERROR_NONE) return nullptr;
    Image *picture = &record->picture.image;
    if (ImageAlloc(picture, TYPE_COLOR48, BENCH_WIDTH, BENCH_HEIGHT, 300.0) != ERROR_NONE) {
        record = nullptr;
        return nullptr;
    }
    uint32_t state = 12345;
    for (int y = 0; y < picture->height; y++) {
        uint16_t *row = (uint16_t *)picture->rows[y];
        for (int x = 0; x < picture->width; x++) {
            state = state * 1664525u + 1013904223u;
            int noise = (int)(state >> 24) - 128;
            row[3 * x] = (uint16_t)Clamp16(x * 10 + noise);
            row[3 * x + 1] = (uint16_t)Clamp16(y * 16 + noise);
            row[3 * x + 2] = (uint16_t)Clamp16((x + y) * 6 + noise);
        }
    }
    record->window = HeadlessBareWindow(KIND_IMAGE, slot, "Bench");
    return record;
}

// Lays the record out for a zoom with a view of at most the screen's size, centred on the
// picture, as a maximised window on a full HD display shows it.
static void BenchLayout(ImageWindow *record, int zoom)
{
    ImageFree(&record->view);
    ImageFree(&record->screen);
    record->zoom = zoom;
    int zw = ZoomedSize(record->picture.image.width, zoom);
    int zh = ZoomedSize(record->picture.image.height, zoom);
    record->viewWidth = zw < SCREEN_WIDTH ? zw : SCREEN_WIDTH;
    record->viewHeight = zh < SCREEN_HEIGHT ? zh : SCREEN_HEIGHT;
    record->scrollRangeX = record->scrollRangeY = 0;
    LayoutScroll(record->window, record, -1, -1);
}

static void SetCounters(benchmark::State &state, const ImageWindow *record, int rows)
{
    state.counters["view Mpixel/s"] = benchmark::Counter(
        (double)state.iterations() * record->viewWidth * rows / 1e6, benchmark::Counter::kIsRate);
}

// The whole view at a zoom; the first run makes view and screen, the others reuse them as a
// repaint after a change of the picture does.
static void RenderWholeView(benchmark::State &state)
{
    ImageWindow *record = BenchRecord();
    if (record == nullptr) {
        state.SkipWithError("out of memory");
        return;
    }
    Prefs.smoothZoom = 1;
    BenchLayout(record, (int)state.range(0));
    for (auto _ : state) {
        ErrorCode result = RenderView(&record->picture.image, record, 0, 0, record->viewWidth - 1,
                                      record->viewHeight - 1, 0);
        if (result != ERROR_NONE) state.SkipWithError("RenderView failed");
        benchmark::DoNotOptimize(record->screen.rows[0][0]);
    }
    SetCounters(state, record, record->viewHeight);
}

// One line down and one line up in turn: each run is one scroll by an eighth of the view,
// which moves view and screen and renders the strip alone.
static void ScrollOneLine(benchmark::State &state)
{
    ImageWindow *record = BenchRecord();
    if (record == nullptr) {
        state.SkipWithError("out of memory");
        return;
    }
    Prefs.smoothZoom = 1;
    BenchLayout(record, (int)state.range(0));
    RefreshView(record);
    int down = 1;
    for (auto _ : state) {
        int moved = ScrollImageWindow(record->window, record, MSG_VSCROLL,
                                      down ? SCROLL_LINE_DOWN : SCROLL_LINE_UP);
        if (!moved) state.SkipWithError("the view did not move");
        down = !down;
        benchmark::DoNotOptimize(record->screen.rows[0][0]);
    }
    SetCounters(state, record, record->viewHeight / 8);
}

// Every byte of the picture read once, eight at a time into four sums: as fast as the
// memory gives the picture to one processor core.
static void MemoryFloor(benchmark::State &state)
{
    ImageWindow *record = BenchRecord();
    if (record == nullptr) {
        state.SkipWithError("out of memory");
        return;
    }
    const Image *picture = &record->picture.image;
    size_t words = (size_t)picture->rowBytes / 8;
    for (auto _ : state) {
        uint64_t sums[4] = {0, 0, 0, 0};
        for (int y = 0; y < picture->height; y++) {
            const uint64_t *row = (const uint64_t *)picture->rows[y];
            size_t i = 0;
            for (; i + 4 <= words; i += 4)
                for (int k = 0; k < 4; k++)
                    sums[k] += row[i + k];
        }
        benchmark::DoNotOptimize(sums[0] + sums[1] + sums[2] + sums[3]);
    }
    state.SetBytesProcessed(state.iterations() * (int64_t)picture->rowBytes * picture->height);
}

// The smoothed reduction of a picture small enough to stay in the processor's cache (600 by
// 400, 1.4 MB): what the renderer costs per pixel when it does not wait for memory.
static void SmoothInCache(benchmark::State &state)
{
    static ImageWindow record;
    if (record.picture.image.rows == nullptr) {
        CoreInitialise();
        if (ImageAlloc(&record.picture.image, TYPE_COLOR48, 600, 400, 300.0) != ERROR_NONE) {
            state.SkipWithError("out of memory");
            return;
        }
        for (int y = 0; y < 400; y++)
            for (int i = 0; i < 3 * 600; i++)
                ((uint16_t *)record.picture.image.rows[y])[i] = (uint16_t)(y * 100 + i * 7);
    }
    Prefs.smoothZoom = 1;
    record.zoom = -4;
    record.viewWidth = 150;
    record.viewHeight = 100;
    record.sourceLeft = 0;
    record.sourceBottom = 399;
    for (auto _ : state) {
        RenderView(&record.picture.image, &record, 0, 0, 149, 99, 0);
        benchmark::DoNotOptimize(record.view.rows[0][0]);
    }
    state.counters["picture Mpixel/s"] = benchmark::Counter(
        (double)state.iterations() * 600 * 400 / 1e6, benchmark::Counter::kIsRate);
}

BENCHMARK(RenderWholeView)->Arg(-4)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);
// At -4 the whole picture fits the screen and cannot scroll; -2 scrolls a smoothed view.
BENCHMARK(ScrollOneLine)->Arg(-2)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);
BENCHMARK(MemoryFloor)->Unit(benchmark::kMillisecond);
BENCHMARK(SmoothInCache)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
