// Picture windows for the tests of the display, on the headless platform: a small window
// procedure that does what the editor's image and preview windows do with the display's
// functions (scroll bars in words 0 and 1, a new layout on each size message, painting,
// scrolling, the wheel), a dialog that records the preview regions it is asked for, and the
// fixture that frees every slot a test took.
#pragma once

#include <gtest/gtest.h>

#include "core/Preferences.h"
#include "platform/headless/Headless.h"
#include "shell/Shell.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "ui/Display.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"

// The headless frame of a child: 8 pixels across, 28 down; scroll bars 16 pixels.
constexpr int TEST_FRAME_ACROSS = 8;
constexpr int TEST_FRAME_DOWN = 28;
constexpr int TEST_BAR = 16;
constexpr int TEST_KIND_DIALOG = 5; // any kind above the preview's

// What the test windows saw.
struct DisplayTestLog {
    int sizeMessages;   // size messages of picture windows
    int regions;        // MSG_PREVIEW_REGION received by the dialog
    int lastWhole;      // 1 when the last one asked for the whole view
    Rect lastRegion;    // else its rectangle
    const Image *input; // the dialog's input: it renders the preview from it, as a
                        // transformation that changes nothing would
};

inline DisplayTestLog TestLog;

inline MessageResult DisplayTestProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                          intptr_t lParam)
{
    int kind = (int)PlatformGetWindowWord(window, WORD_KIND);
    ImageWindow *record = WindowRecord(window);
    if (kind == TEST_KIND_DIALOG) {
        if (message == MSG_PREVIEW_REGION) {
            TestLog.regions++;
            TestLog.lastWhole = lParam == 0;
            ImageWindow *preview = WindowRecord((WindowHandle)wParam);
            if (lParam != 0) TestLog.lastRegion = *(const Rect *)lParam;
            if (preview != nullptr && TestLog.input != nullptr) {
                if (lParam == 0)
                    RenderView(TestLog.input, preview, 0, 0, preview->viewWidth - 1,
                               preview->viewHeight - 1, 0);
                else
                    RenderView(TestLog.input, preview, TestLog.lastRegion.left,
                               TestLog.lastRegion.top, TestLog.lastRegion.right,
                               TestLog.lastRegion.bottom, 0);
            }
        }
        return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
    switch (message) {
    case MSG_CREATE: {
        Rect none = {0, 0, 0, 0};
        WindowHandle horizontal = PlatformCreateControl(window, CONTROL_SCROLL_H, 1, "", 0, &none);
        WindowHandle vertical = PlatformCreateControl(window, CONTROL_SCROLL_V, 2, "", 0, &none);
        PlatformShowWindow(horizontal, SHOW_HIDE);
        PlatformShowWindow(vertical, SHOW_HIDE);
        PlatformSetWindowWord(window, WORD_HSCROLL, (intptr_t)horizontal);
        PlatformSetWindowWord(window, WORD_VSCROLL, (intptr_t)vertical);
        if (record != nullptr) record->window = window;
        return 0;
    }
    case MSG_SIZE:
        if (record == nullptr) return 0;
        TestLog.sizeMessages++;
        ImageFree(&record->view);
        ImageFree(&record->screen);
        if (wParam == SIZE_MINIMIZED) return 0;
        LayoutWindow(window, record, 0, 0);
        LayoutScroll(window, record, -1, -1);
        CenterView(record, window);
        if (kind == KIND_IMAGE) RefreshView(record);
        return 0;
    case MSG_PAINT:
        if (record != nullptr)
            PaintImageWindow((DrawContext *)wParam, window, record,
                             kind == KIND_PREVIEW ? &record->view : &record->picture.image);
        return 0;
    case MSG_HSCROLL:
    case MSG_VSCROLL:
        if (record == nullptr) return 0;
        if (kind == KIND_PREVIEW)
            return ScrollPreviewWindow(window, record, message, wParam,
                                       HeadlessFindWindow("Dialog"), 1);
        return ScrollImageWindow(window, record, message, wParam);
    case MSG_MOUSE_WHEEL: WheelImageWindow(window, record, wParam, lParam); return 0;
    default: break;
    }
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

class DisplayWindows : public testing::Test {
  public:
    void SetUp() override
    {
        TestStart();
        TestLog = {};
        PlatformRegisterClass(CLASS_CHILD, DisplayTestProcedure);
    }

    void TearDown() override
    {
        HeadlessReset();
        for (int slot = 0; slot < SLOT_COUNT; slot++)
            if (!SlotRecord(slot)->free) SlotFree(slot);
        OutputWidth = OutputHeight = 0;
    }

    // A picture window of kind 0 for a picture of type (width by height, pattern from seed)
    // at zoom, with a client area of clientWidth by clientHeight at (x, y).
    WindowHandle Picture(int type, int width, int height, int zoom, int clientWidth,
                         int clientHeight, ImageWindow **out = nullptr, int seed = 1, int x = 0,
                         int y = 0)
    {
        int slot;
        ImageWindow *record = nullptr;
        EXPECT_EQ(SlotAllocate(&slot, &record), ERROR_NONE);
        if (record == nullptr) return nullptr;
        PictureMake(&record->picture.image, type, width, height, seed);
        record->zoom = zoom;
        WindowCreate request = {CLASS_CHILD,
                                KIND_IMAGE,
                                slot,
                                "Picture",
                                STYLE_SIZING | STYLE_CAPTION,
                                x,
                                y,
                                clientWidth + TEST_FRAME_ACROSS,
                                clientHeight + TEST_FRAME_DOWN,
                                nullptr,
                                0,
                                0};
        WindowHandle window = PlatformCreateWindow(&request);
        if (out != nullptr) *out = record;
        return window;
    }

    // A window of another kind, with no picture.
    WindowHandle Bare(int kind, const char *title, int slot, int clientWidth, int clientHeight)
    {
        WindowCreate request = {CLASS_CHILD,
                                kind,
                                slot,
                                title,
                                STYLE_SIZING | STYLE_CAPTION,
                                0,
                                0,
                                clientWidth + TEST_FRAME_ACROSS,
                                clientHeight + TEST_FRAME_DOWN,
                                nullptr,
                                0,
                                0};
        return PlatformCreateWindow(&request);
    }
};

// What the window's view and screen would be if they were made afresh now: a whole render
// into a copy of the record's layout. The caller frees both.
inline void FreshView(const ImageWindow *record, const Image *picture, Image *view, Image *screen)
{
    ImageWindow copy = *record;
    copy.view = {};
    copy.screen = {};
    copy.displayTransform = nullptr;
    *view = {};
    *screen = {};
    ASSERT_EQ(RenderView(picture, &copy, 0, 0, copy.viewWidth - 1, copy.viewHeight - 1, 0),
              ERROR_NONE);
    *view = copy.view;
    *screen = copy.screen;
}

// The window's view, and its screen when asked, equal the ones made afresh now.
inline void ExpectFreshView(const ImageWindow *record, const Image *picture, int screenToo = 0)
{
    Image view, screen;
    FreshView(record, picture, &view, &screen);
    ExpectImagesNear(view, record->view, 0);
    if (screenToo) {
        ExpectImagesNear(screen, record->screen, 0);
    }
    ImageFree(&view);
    ImageFree(&screen);
}

// The 0xRRGGBB of client pixel (x, y) of a canvas.
inline uint32_t CanvasColor(const Image *canvas, int x, int y)
{
    const uint8_t *pixel = canvas->rows[canvas->height - 1 - y] + 3 * x;
    return (uint32_t)pixel[2] << 16 | (uint32_t)pixel[1] << 8 | pixel[0];
}

// The 0xRRGGBB of view pixel (x, y from the view's top) of a 24-bit screen.
inline uint32_t ScreenColor(const Image *screen, int x, int y)
{
    return CanvasColor(screen, x, y);
}
