// Drawing on Qt. Every window that paints keeps a picture of its client area (a QImage of
// 32 bits per pixel); MSG_PAINT and PlatformBeginDraw draw into it with a QPainter, and the
// widget shows it. So drawing works the same inside and outside a paint, the exclusive-or
// rubber band of tools is a raster operation on that picture, and a scroll moves its pixels.
#include <QPaintEvent>
#include <QPainter>
#include <cstring>

#include "core/Image.h"
#include "core/Memory.h"
#include "platform/qt/QtInternal.h"

struct DrawContext {
    QPainter *painter;
    WindowHandle window;
    int owned; // 1 when PlatformBeginDraw made the painter, which PlatformEndDraw ends
};

static QColor ColorOf(uint32_t color)
{
    return QColor((int)((color >> 16) & 255), (int)((color >> 8) & 255), (int)(color & 255));
}

uint32_t QtBackground(WindowHandle window)
{
    // The class brushes: gray behind children, light gray behind album pages; dialogs and
    // custom controls take the face of the style's dialogs.
    if (window->windowClass == CLASS_DOCUMENT) return 0xc0c0c0;
    if ((window->windowClass == CLASS_CHILD && !(window->style & STYLE_DIALOG)) ||
        window->windowClass == CLASS_DOCK)
        return 0x808080;
    QColor face = QPalette().color(QPalette::Window);
    return ((uint32_t)face.red() << 16) | ((uint32_t)face.green() << 8) | (uint32_t)face.blue();
}

static QRect QRectOf(const Rect &rect)
{
    return QRect(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
}

void PlatformInvalidate(WindowHandle window, const Rect *rect)
{
    if (!WindowValid(window) || window->side->client == nullptr) return;
    int width, height;
    QtClientSize(window, &width, &height);
    if (WindowInvalidAdd(window, rect, width, height))
        window->side->client->update(QRectOf(window->invalid));
}

void QtPaintPending(WindowHandle window)
{
    if (!WindowValid(window) || window->side->client == nullptr || !window->hasInvalid) return;
    if (window->side->painting != nullptr) return; // a paint under way finishes first
    int width, height;
    QtClientSize(window, &width, &height);
    ClientWidget *client = window->side->client;
    client->PictureFit(width, height);
    Rect rect = window->invalid;
    window->hasInvalid = 0;
    uint32_t serial = window->serial;
    {
        QPainter painter(&client->picture);
        painter.setClipRect(QRectOf(rect));
        painter.fillRect(QRectOf(rect), ColorOf(QtBackground(window)));
        DrawContext context = {&painter, window, 0};
        window->side->painting = &context;
        WindowDeliver(window, MSG_PAINT, (uintptr_t)&context, (intptr_t)&rect);
        if (WindowAlive(window, serial)) window->side->painting = nullptr;
    }
}

void PlatformUpdateWindow(WindowHandle window)
{
    if (!WindowValid(window) || window->side->client == nullptr || !window->hasInvalid) return;
    int state = PlatformWindowState(window);
    if (state == SHOW_HIDE || state == SHOW_MINIMIZED) return;
    Rect rect = window->invalid;
    QtPaintPending(window);
    if (WindowValid(window) && window->side->client != nullptr && window->side->client->isVisible())
        window->side->client->repaint(QRectOf(rect));
}

void PlatformScrollWindow(WindowHandle window, int dx, int dy)
{
    if (!WindowValid(window) || window->side->client == nullptr) return;
    QImage &picture = window->side->client->picture;
    int width = picture.width();
    int height = picture.height();
    if (!picture.isNull() && Abs(dy) < height && dy != 0) {
        // Rows move down for a positive dy: copy from the far end so nothing is read after
        // it was overwritten.
        size_t bytes = (size_t)picture.bytesPerLine();
        if (dy > 0)
            for (int y = height - 1; y >= dy; y--)
                memcpy(picture.scanLine(y), picture.constScanLine(y - dy), bytes);
        else
            for (int y = 0; y < height + dy; y++)
                memcpy(picture.scanLine(y), picture.constScanLine(y - dy), bytes);
    }
    if (!picture.isNull() && Abs(dx) < width && dx != 0) {
        for (int y = 0; y < height; y++) {
            uint32_t *row = (uint32_t *)picture.scanLine(y);
            if (dx > 0)
                memmove(row + dx, row, sizeof(uint32_t) * (size_t)(width - dx));
            else
                memmove(row, row - dx, sizeof(uint32_t) * (size_t)(width + dx));
        }
    }
    int clientWidth, clientHeight;
    QtClientSize(window, &clientWidth, &clientHeight);
    Rect strip;
    if (dx < 0) {
        strip = {clientWidth + dx, 0, clientWidth, clientHeight};
        PlatformInvalidate(window, &strip);
    } else if (dx > 0) {
        strip = {0, 0, dx, clientHeight};
        PlatformInvalidate(window, &strip);
    }
    if (dy < 0) {
        strip = {0, clientHeight + dy, clientWidth, clientHeight};
        PlatformInvalidate(window, &strip);
    } else if (dy > 0) {
        strip = {0, 0, clientWidth, dy};
        PlatformInvalidate(window, &strip);
    }
    window->side->client->update();
}

// ---------------------------------------------------------------------------------------
// Drawing. Rectangles are right and bottom exclusive; lines include both ends.

void PlatformFillRect(DrawContext *context, const Rect *rect, uint32_t color)
{
    if (context == nullptr || rect->right <= rect->left || rect->bottom <= rect->top) return;
    context->painter->fillRect(QRectOf(*rect), ColorOf(color));
}

// The four sides of a rectangle as one-pixel bars, each pixel once: an exclusive-or frame
// drawn twice then leaves nothing.
static void FrameBars(QPainter *painter, const Rect *rect, const QColor &color)
{
    int width = rect->right - rect->left;
    int height = rect->bottom - rect->top;
    if (width <= 0 || height <= 0) return;
    painter->fillRect(QRect(rect->left, rect->top, width, 1), color);
    if (height > 1) painter->fillRect(QRect(rect->left, rect->bottom - 1, width, 1), color);
    if (height > 2) {
        painter->fillRect(QRect(rect->left, rect->top + 1, 1, height - 2), color);
        if (width > 1)
            painter->fillRect(QRect(rect->right - 1, rect->top + 1, 1, height - 2), color);
    }
}

void PlatformFrameRect(DrawContext *context, const Rect *rect, uint32_t color)
{
    if (context == nullptr) return;
    FrameBars(context->painter, rect, ColorOf(color));
}

void PlatformDrawLine(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color)
{
    if (context == nullptr) return;
    context->painter->setPen(QPen(ColorOf(color), 0));
    context->painter->drawLine(x0, y0, x1, y1);
}

void PlatformDrawText(DrawContext *context, int x, int y, const char *text, uint32_t color,
                      int small)
{
    if (context == nullptr || text == nullptr) return;
    QPainter *painter = context->painter;
    const QFont &font = small ? *QtSmallFont : *QtDialogFont;
    painter->setFont(font);
    painter->setPen(ColorOf(color));
    painter->drawText(x, y + QFontMetrics(font).ascent(), QtText(text));
}

void PlatformDrawXorLine(DrawContext *context, int x0, int y0, int x1, int y1)
{
    if (context == nullptr) return;
    QPainter *painter = context->painter;
    // White exclusive-or inverts every channel.
    painter->setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    painter->setPen(QPen(QColor(255, 255, 255), 0));
    painter->drawLine(x0, y0, x1, y1);
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void PlatformDrawXorColorLine(DrawContext *context, int x0, int y0, int x1, int y1, uint32_t color)
{
    if (context == nullptr) return;
    QPainter *painter = context->painter;
    painter->setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    painter->setPen(QPen(ColorOf(color), 0));
    painter->drawLine(x0, y0, x1, y1);
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void PlatformDrawXorText(DrawContext *context, int x, int y, const char *text, uint32_t color,
                         int small)
{
    if (context == nullptr || text == nullptr) return;
    QPainter *painter = context->painter;
    // A smoothed edge would be blended, not xored, and a second drawing would not take it away.
    QFont font = small ? *QtSmallFont : *QtDialogFont;
    font.setStyleStrategy(QFont::NoAntialias);
    painter->setFont(font);
    painter->setPen(ColorOf(color));
    painter->setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    painter->drawText(x, y + QFontMetrics(font).ascent(), QtText(text));
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void PlatformDrawXorRect(DrawContext *context, const Rect *rect)
{
    if (context == nullptr) return;
    QPainter *painter = context->painter;
    painter->setCompositionMode(QPainter::RasterOp_SourceXorDestination);
    FrameBars(painter, rect, QColor(255, 255, 255));
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void PlatformDrawImage(DrawContext *context, const Image *image, const Rect *source, int x, int y)
{
    if (context == nullptr || image == nullptr || image->rows == nullptr) return;
    QImage::Format format;
    switch (image->type) {
    case TYPE_BINARY: format = QImage::Format_Mono; break; // leftmost pixel in the MSB
    case TYPE_GRAY8: format = QImage::Format_Grayscale8; break;
    case TYPE_COLOR24: format = QImage::Format_BGR888; break;
    default: return;
    }
    // The part of source inside the picture; top and bottom count rows as shown, from the top.
    int left = source->left > 0 ? source->left : 0;
    int right = source->right < image->width - 1 ? source->right : image->width - 1;
    int top = source->top > 0 ? source->top : 0;
    int bottom = source->bottom < image->height - 1 ? source->bottom : image->height - 1;
    if (left > right || top > bottom) return;
    x += left - source->left;
    y += top - source->top;
    int width = right - left + 1;

    QPainter *painter = context->painter;
    QTransform base = painter->worldTransform();
    QList<QRgb> binaryColors = {qRgb(0, 0, 0), qRgb(255, 255, 255)}; // 1 is white
    // Shown rows top..bottom are the stored rows first..last, bottom-up. Each run of rows
    // that lie one after the other in one block is wrapped, not copied, and drawn upside down.
    int first = image->height - 1 - bottom;
    int last = image->height - 1 - top;
    for (int row = first; row <= last;) {
        int count = 1;
        while (row + count <= last &&
               image->rows[row + count] == image->rows[row] + (size_t)count * image->rowBytes)
            count++;
        QImage block(image->rows[row], image->width, count, image->rowBytes, format);
        if (format == QImage::Format_Mono) block.setColorTable(binaryColors);
        // Line k of the block is stored row row + k, shown at this row of the window:
        int shown = y + (image->height - 1 - row) - top;
        // With y' = shown + 1 - y, line k covers window rows shown - k alone.
        painter->setWorldTransform(QTransform(1, 0, 0, -1, 0, shown + 1) * base);
        painter->drawImage(QRect(x, 0, width, count), block, QRect(left, 0, width, count));
        row += count;
    }
    painter->setWorldTransform(base);
}

DrawContext *PlatformBeginDraw(WindowHandle window)
{
    if (!WindowValid(window) || window->side->client == nullptr) return nullptr;
    // Inside a paint the paint's own context serves: an image takes one painter at a time.
    if (window->side->painting != nullptr) return window->side->painting;
    int width, height;
    QtClientSize(window, &width, &height);
    window->side->client->PictureFit(width, height);
    DrawContext *context = (DrawContext *)MemoryAlloc(sizeof(DrawContext));
    if (context == nullptr) return nullptr;
    context->painter = new QPainter(&window->side->client->picture);
    context->window = window;
    context->owned = 1;
    window->side->painting = context;
    return context;
}

void PlatformEndDraw(WindowHandle window, DrawContext *context)
{
    if (context == nullptr || !context->owned) return;
    context->painter->end();
    delete context->painter;
    if (WindowValid(window) && window->side->painting == context) window->side->painting = nullptr;
    if (WindowValid(window) && window->side->client != nullptr) window->side->client->update();
    MemoryFree(context);
}
