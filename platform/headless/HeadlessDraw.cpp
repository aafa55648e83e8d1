// Drawing on the headless platform: every window paints into a 24-bit canvas of its client
// size, so that tests can look at the pixels it would show; texts are not drawn but logged
// with their window and place. The fonts have fixed metrics, so that layouts come out the
// same on every machine.
#include <cstdio>
#include <cstring>

#include "core/Memory.h"
#include "platform/headless/Headless.h"
#include "platform/headless/HeadlessInternal.h"

struct DrawContext {
    PlatformWindow *window;
    Rect clip; // left, top inclusive; right, bottom exclusive
};

struct TextDrawn {
    WindowHandle window;
    int x;
    int y;
    char text[128];
};

static const int TEXT_LOG = 256;
static const int CHARACTER_WIDTH = 7;       // pixels of every character in the dialog font
static const int SMALL_CHARACTER_WIDTH = 6; // and in the small font

static TextDrawn TextLog[TEXT_LOG];
static int TextTotal;

void HeadlessDrawReset(void)
{
    TextTotal = 0;
}

void PlatformInvalidate(WindowHandle window, const Rect *rect)
{
    if (WindowValid(window))
        WindowInvalidAdd(window, rect, HeadlessClientWidth(window), HeadlessClientHeight(window));
}

void PlatformUpdateWindow(WindowHandle window)
{
    if (!WindowValid(window) || !window->hasInvalid) return;
    if (window->side->state == SHOW_MINIMIZED || window->side->state == SHOW_HIDE) return;
    Rect rect = window->invalid;
    window->hasInvalid = 0;
    int width = HeadlessClientWidth(window);
    int height = HeadlessClientHeight(window);
    if (ImageAlloc(&window->side->canvas, TYPE_COLOR24, width, height, 100.0) != ERROR_NONE) return;
    DrawContext context = {window, rect};
    WindowDeliver(window, MSG_PAINT, (uintptr_t)&context, (intptr_t)&rect);
}

void PlatformScrollWindow(WindowHandle window, int dx, int dy)
{
    if (!WindowValid(window)) return;
    Image *canvas = &window->side->canvas;
    int width = HeadlessClientWidth(window);
    int height = HeadlessClientHeight(window);
    if (canvas->type == TYPE_COLOR24 && canvas->width == width && canvas->height == height) {
        // Rows count from the bottom in the canvas and from the top on the screen.
        if (dx < 0) ImageShiftLeft(canvas, -dx);
        if (dx > 0) ImageShiftRight(canvas, dx);
        if (dy < 0) ImageShiftRowsUp(canvas, -dy);
        if (dy > 0) ImageShiftRowsDown(canvas, dy);
    }
    Rect strip;
    if (dx < 0)
        strip = {width + dx, 0, width, height};
    else if (dx > 0)
        strip = {0, 0, dx, height};
    else if (dy < 0)
        strip = {0, height + dy, width, height};
    else if (dy > 0)
        strip = {0, 0, width, dy};
    else
        return;
    PlatformInvalidate(window, &strip);
}

// Clips a rectangle (right and bottom exclusive) to the context; 0 when nothing is left.
static int Clip(const DrawContext *context, Rect *rect)
{
    const Image *canvas = &context->window->side->canvas;
    if (rect->left < context->clip.left) rect->left = context->clip.left;
    if (rect->top < context->clip.top) rect->top = context->clip.top;
    if (rect->right > context->clip.right) rect->right = context->clip.right;
    if (rect->bottom > context->clip.bottom) rect->bottom = context->clip.bottom;
    if (rect->left < 0) rect->left = 0;
    if (rect->top < 0) rect->top = 0;
    if (rect->right > canvas->width) rect->right = canvas->width;
    if (rect->bottom > canvas->height) rect->bottom = canvas->height;
    return rect->right > rect->left && rect->bottom > rect->top;
}

static uint8_t *CanvasPixel(const DrawContext *context, int x, int y)
{
    const Image *canvas = &context->window->side->canvas;
    return canvas->rows[canvas->height - 1 - y] + 3 * x;
}

static void PutPixel(DrawContext *context, int x, int y, uint32_t color, int exclusive)
{
    Rect point = {x, y, x + 1, y + 1};
    if (!Clip(context, &point)) return;
    uint8_t *pixel = CanvasPixel(context, x, y);
    if (exclusive) {
        pixel[0] ^= (uint8_t)color;
        pixel[1] ^= (uint8_t)(color >> 8);
        pixel[2] ^= (uint8_t)(color >> 16);
        return;
    }
    pixel[0] = (uint8_t)color;
    pixel[1] = (uint8_t)(color >> 8);
    pixel[2] = (uint8_t)(color >> 16);
}

void PlatformFillRect(DrawContext *context, const Rect *rect, uint32_t color)
{
    Rect part = *rect;
    if (!Clip(context, &part)) return;
    for (int y = part.top; y < part.bottom; y++)
        for (int x = part.left; x < part.right; x++)
            PutPixel(context, x, y, color, 0);
}

void PlatformFrameRect(DrawContext *context, const Rect *rect, uint32_t color)
{
    PlatformDrawLine(context, rect->left, rect->top, rect->right - 1, rect->top, color);
    PlatformDrawLine(context, rect->left, rect->bottom - 1, rect->right - 1, rect->bottom - 1,
                     color);
    PlatformDrawLine(context, rect->left, rect->top, rect->left, rect->bottom - 1, color);
    PlatformDrawLine(context, rect->right - 1, rect->top, rect->right - 1, rect->bottom - 1, color);
}

// A line by Bresenham's steps, both ends drawn.
static void Line(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color,
                 int exclusive)
{
    int dx = Abs(x1 - x0);
    int dy = -Abs(y1 - y0);
    int sx = x0 < x1 ? 1 : -1;
    int sy = y0 < y1 ? 1 : -1;
    int error = dx + dy;
    for (int guard = 0; guard < 100000; guard++) {
        PutPixel(context, x0, y0, color, exclusive);
        if (x0 == x1 && y0 == y1) break;
        int twice = 2 * error;
        if (twice >= dy) {
            error += dy;
            x0 += sx;
        }
        if (twice <= dx) {
            error += dx;
            y0 += sy;
        }
    }
}

void PlatformDrawLine(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color)
{
    Line(context, x0, y0, x1, y1, color, 0);
}

void PlatformDrawText(DrawContext *context, int x, int y, const char *text, uint32_t color,
                      int small)
{
    (void)color;
    (void)small;
    TextDrawn *drawn = &TextLog[TextTotal % TEXT_LOG];
    TextTotal++;
    drawn->window = context->window;
    drawn->x = x;
    drawn->y = y;
    snprintf(drawn->text, sizeof drawn->text, "%s", text);
}

void PlatformDrawImage(DrawContext *context, const Image *image, const Rect *source, int x, int y)
{
    int width = source->right - source->left + 1;
    int height = source->bottom - source->top + 1;
    Rect target = {x, y, x + width, y + height};
    if (!Clip(context, &target)) return;
    for (int ty = target.top; ty < target.bottom; ty++) {
        // source->top counts rows of the image as drawn from its top.
        int row = image->height - 1 - (source->top + ty - y);
        if (row < 0 || row >= image->height) continue;
        const uint8_t *in = image->rows[row];
        for (int tx = target.left; tx < target.right; tx++) {
            int column = source->left + tx - x;
            if (column < 0 || column >= image->width) continue;
            uint8_t *out = CanvasPixel(context, tx, ty);
            switch (image->type) {
            case TYPE_BINARY: out[0] = out[1] = out[2] = BitTest(in, column) ? 255 : 0; break;
            case TYPE_GRAY8: out[0] = out[1] = out[2] = in[column]; break;
            case TYPE_COLOR24: memcpy(out, in + 3 * column, 3); break;
            default: break;
            }
        }
    }
}

void PlatformDrawXorLine(DrawContext *context, int x0, int y0, int x1, int y1)
{
    Line(context, x0, y0, x1, y1, 0xFFFFFF, 1); // white inverts every channel
}

void PlatformDrawXorColorLine(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color)
{
    Line(context, x0, y0, x1, y1, color, 1);
}

void PlatformDrawXorText(DrawContext *context, int x, int y, const char *text, uint32_t color,
                         int small)
{
    // Texts are logged, not drawn, here; an exclusive-or text is one like any other.
    PlatformDrawText(context, x, y, text, color, small);
}

void PlatformDrawXorRect(DrawContext *context, const Rect *rect)
{
    PlatformDrawXorLine(context, rect->left, rect->top, rect->right - 1, rect->top);
    PlatformDrawXorLine(context, rect->left, rect->bottom - 1, rect->right - 1, rect->bottom - 1);
    if (rect->bottom - rect->top > 2) {
        PlatformDrawXorLine(context, rect->left, rect->top + 1, rect->left, rect->bottom - 2);
        PlatformDrawXorLine(context, rect->right - 1, rect->top + 1, rect->right - 1,
                            rect->bottom - 2);
    }
}

DrawContext *PlatformBeginDraw(WindowHandle window)
{
    if (!WindowValid(window)) return nullptr;
    int width = HeadlessClientWidth(window);
    int height = HeadlessClientHeight(window);
    if (ImageAlloc(&window->side->canvas, TYPE_COLOR24, width, height, 100.0) != ERROR_NONE)
        return nullptr;
    DrawContext *context = (DrawContext *)MemoryAlloc(sizeof(DrawContext));
    if (context == nullptr) return nullptr;
    *context = {window, {0, 0, width, height}};
    return context;
}

void PlatformEndDraw(WindowHandle window, DrawContext *context)
{
    (void)window;
    MemoryFree(context);
}

int HeadlessInvalid(WindowHandle window, Rect *rect)
{
    if (!WindowValid(window) || !window->hasInvalid) return 0;
    *rect = window->invalid;
    return 1;
}

void HeadlessPaint(WindowHandle window)
{
    PlatformUpdateWindow(window);
}

const Image *HeadlessCanvas(WindowHandle window)
{
    return WindowValid(window) ? &window->side->canvas : nullptr;
}

int HeadlessTextCount(void)
{
    return TextTotal < TEXT_LOG ? TextTotal : TEXT_LOG;
}

void HeadlessTextsForget(void)
{
    TextTotal = 0;
}

const char *HeadlessTextAt(int index, WindowHandle *window, int *x, int *y)
{
    int count = HeadlessTextCount();
    if (index < 0 || index >= count) return nullptr;
    const TextDrawn *drawn = &TextLog[(TextTotal - count + index) % TEXT_LOG];
    if (window != nullptr) *window = drawn->window;
    if (x != nullptr) *x = drawn->x;
    if (y != nullptr) *y = drawn->y;
    return drawn->text;
}

void PlatformGetMetrics(PlatformMetrics *metrics)
{
    metrics->lineHeight = 16;
    metrics->buttonHeight = 24;
    metrics->margin = 8;
    metrics->dialogBorder = 30;
    metrics->dialogFrame = 6;
    metrics->screenWidth = 1920;
    metrics->screenHeight = 1080;
    metrics->smallLineHeight = 14;
    metrics->smallButtonHeight = 20;
    metrics->scrollWidth = 16;
    metrics->scrollHeight = 16;
    metrics->frameSize = 8;
    metrics->borderSize = 28;
    metrics->captionHeight = 20;
}

int PlatformTextWidth(const char *text, int length)
{
    (void)text;
    return length * CHARACTER_WIDTH;
}

int PlatformSmallTextWidth(const char *text, int length)
{
    (void)text;
    return length * SMALL_CHARACTER_WIDTH;
}
