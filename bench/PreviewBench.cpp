// The preview of Gamma Adjust on a 6000 by 4000 picture, through the editor's own dialog and
// preview window on the headless platform: the whole view of a 1000 by 667 preview (1:6)
// computed again, as a moved slider asks for, at 24 and 48 bits; and a preview at 1:1
// scrolled by one line, which moves the view and computes only the strip that came in.
#include <benchmark/benchmark.h>

#include "core/Core.h"
#include "core/Image.h"
#include "core/Preferences.h"
#include "platform/headless/Headless.h"
#include "shell/Commands.h"
#include "shell/Shell.h"
#include "transforms/GammaAdjust.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"

static const int BENCH_WIDTH = 6000;
static const int BENCH_HEIGHT = 4000;

// The editor started once, with one picture window of each depth.
static WindowHandle BenchPicture(int bits)
{
    static WindowHandle windows[2];
    static int started;
    if (!started) {
        HeadlessReset();
        if (Initialise() != ERROR_NONE || CreateFrame() != ERROR_NONE) return nullptr;
        // A workspace whose whole room holds a 1:6 preview of 1000 by 667 and no larger.
        HeadlessSetWorkspaceSize(1100, 800);
        Prefs.maxPreviewSize = 2;
        Prefs.defaultPreview = 0;
        started = 1;
    }
    int index = bits == 24 ? 0 : 1;
    if (windows[index] == nullptr) {
        WindowHandle window = nullptr;
        if (NewImageWindow(nullptr, &window, 400, 300, 0) != ERROR_NONE) return nullptr;
        Image *picture = &WindowRecord(window)->picture.image;
        if (ImageAlloc(picture, bits == 24 ? TYPE_COLOR24 : TYPE_COLOR48, BENCH_WIDTH, BENCH_HEIGHT,
                       300.0) != ERROR_NONE)
            return nullptr;
        uint32_t state = 12345;
        for (int y = 0; y < picture->height; y++)
            for (int i = 0; i < picture->rowBytes; i++) {
                state = state * 1664525u + 1013904223u;
                picture->rows[y][i] = (uint8_t)(state >> 24);
            }
        ImageWindowLayout(window);
        windows[index] = window;
    }
    return windows[index];
}

// Opens Gamma Adjust on the picture with a factor off 1.0 and makes the first preview.
static WindowHandle BenchOpen(benchmark::State &state, int bits)
{
    WindowHandle picture = BenchPicture(bits);
    if (picture == nullptr || TransformDialogOpen(&GammaDialog, picture) != ERROR_NONE) {
        state.SkipWithError("the editor could not open the dialog");
        return nullptr;
    }
    SliderSetPosition(DialogWindow, GAMMA_SLIDER, 400);
    PlatformSendMessage(DialogWindow, MSG_COMMAND, GAMMA_SLIDER | NOTIFY_MOVED << 16, 0);
    PlatformSendMessage(DialogWindow, MSG_COMMAND, BUTTON_PREVIEW, 0);
    if (OutputWindow == nullptr) {
        state.SkipWithError("no preview");
        return nullptr;
    }
    return DialogWindow;
}

static void BenchClose(WindowHandle dialog)
{
    if (dialog != nullptr) PlatformSendMessage(dialog, MSG_CANCEL, 0, 0);
}

static void BM_PreviewWhole(benchmark::State &state)
{
    int bits = (int)state.range(0);
    WindowHandle dialog = BenchOpen(state, bits);
    if (dialog == nullptr) return;
    const ImageWindow *preview = WindowRecord(OutputWindow);
    state.counters["zoom"] = preview->zoom;
    state.counters["view_width"] = preview->viewWidth;
    state.counters["view_height"] = preview->viewHeight;
    for (auto _ : state) {
        // The whole view asked for again, as a released slider does with "Auto" on.
        PlatformSendMessage(dialog, MSG_PREVIEW_REGION, (uintptr_t)OutputWindow, 0);
    }
    BenchClose(dialog);
}
BENCHMARK(BM_PreviewWhole)->Arg(24)->Arg(48)->Unit(benchmark::kMillisecond)->UseRealTime();

static void BM_PreviewScrollOneLine(benchmark::State &state)
{
    int bits = (int)state.range(0);
    WindowHandle dialog = BenchOpen(state, bits);
    if (dialog == nullptr) return;
    PlatformSendMessage(OutputWindow, MSG_COMMAND, COMMAND_ZOOM_ONE, 0);
    ImageWindow *preview = WindowRecord(OutputWindow);
    PlatformSendMessage(OutputWindow, MSG_VSCROLL, SCROLL_TOP, 0);
    state.counters["view_height"] = preview->viewHeight;
    int down = 1;
    for (auto _ : state) {
        // Down and back up, one line each: every step brings in one strip.
        PlatformSendMessage(OutputWindow, MSG_VSCROLL, down ? SCROLL_LINE_DOWN : SCROLL_LINE_UP, 0);
        down = !down;
    }
    state.counters["strip_rows"] = preview->viewHeight / 8;
    BenchClose(dialog);
}
BENCHMARK(BM_PreviewScrollOneLine)->Arg(24)->Arg(48)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
