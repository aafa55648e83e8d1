// Pictures and preview windows for the tests of transformations and of the display: making
// a picture of any type, reading and writing its samples, subsampling it the way a reduced
// preview does, and running a compute function as the preview and Apply call it.
#pragma once

#include <cstring>

#include "core/Compute.h"
#include "core/Helpers.h"
#include "tests/support/TestSupport.h"
#include "ui/ImageWindow.h"

constexpr int PICTURE_TYPES[] = {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48};

inline int PictureChannels(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48 ? 3 : 1;
}

// A picture of type and size with a pattern from seed; the caller frees it.
inline void PictureMake(Image *image, int type, int width, int height, int seed)
{
    ImageClear(image);
    ASSERT_EQ(ImageAlloc(image, type, width, height, 72.0), ERROR_NONE);
    TestFillPattern(image, seed);
}

// Channel c of pixel (x, y), y a row index: a binary pixel as 0 or 255, a 16-bit one whole.
inline int PictureSample(const Image &image, int x, int y, int c)
{
    const uint8_t *row = image.rows[y];
    int index = x * PictureChannels(image.type) + c;
    switch (image.type) {
    case TYPE_BINARY: return BitTest(row, x) ? 255 : 0;
    case TYPE_GRAY16:
    case TYPE_COLOR48: return ((const uint16_t *)row)[index];
    default: return row[index];
    }
}

inline void PictureSetSample(Image *image, int x, int y, int c, int value)
{
    uint8_t *row = image->rows[y];
    int index = x * PictureChannels(image->type) + c;
    switch (image->type) {
    case TYPE_BINARY:
        if (value)
            BitSet(row, x);
        else
            BitClear(row, x);
        break;
    case TYPE_GRAY16:
    case TYPE_COLOR48: ((uint16_t *)row)[index] = (uint16_t)value; break;
    default: row[index] = (uint8_t)value; break;
    }
}

// Every step-th pixel of every step-th row from (x, y), w by h, as a new picture of the
// same type: what a preview at zoom -step reads.
inline void PictureSubsample(const Image &in, int x, int y, int step, int w, int h, Image *out)
{
    ImageClear(out);
    ASSERT_EQ(ImageAlloc(out, in.type, w, h, in.resolution), ERROR_NONE);
    for (int j = 0; j < h; j++)
        for (int i = 0; i < w; i++)
            for (int c = 0; c < PictureChannels(in.type); c++)
                PictureSetSample(out, i, j, c, PictureSample(in, x + i * step, y + j * step, c));
}

// Each pixel of in as a zoom by zoom block, cut to w by h: what a magnified preview shows.
inline void PictureMagnify(const Image &in, int zoom, int w, int h, Image *out)
{
    ImageClear(out);
    ASSERT_EQ(ImageAlloc(out, in.type, w, h, in.resolution), ERROR_NONE);
    for (int j = 0; j < h; j++)
        for (int i = 0; i < w; i++)
            for (int c = 0; c < PictureChannels(in.type); c++)
                PictureSetSample(out, i, j, c, PictureSample(in, i / zoom, j / zoom, c));
}

// A preview window record on picture: its view of viewWidth by viewHeight shows the picture
// from column sourceX and row index sourceY up, at zoom. The caller frees view and screen.
inline void PreviewWindowSetUp(ImageWindow *window, const Image &picture, int zoom, int sourceX,
                               int sourceY, int viewWidth, int viewHeight)
{
    memset(window, 0, sizeof *window);
    window->zoom = zoom;
    window->gridDivisions = 1;
    window->sourceLeft = sourceX;
    window->sourceBottom = picture.height - 1 - sourceY; // counted from the top
    window->viewWidth = viewWidth;
    window->viewHeight = viewHeight;
}

inline void PreviewWindowFree(ImageWindow *window)
{
    ImageFree(&window->view);
    ImageFree(&window->screen);
}

// Runs compute as a preview does for the view rectangle x0..x1, y0..y1 of window, with the
// arguments worked out from the window's zoom and source position.
inline ErrorCode PreviewRun(ComputeFunction compute, void *params, const Image &source,
                            ImageWindow *window, int x0, int y0, int x1, int y1)
{
    int zoom = window->zoom;
    int sourceY = source.height - 1 - window->sourceBottom;
    int w, h, sx, sy;
    if (zoom > 1) {
        w = (x1 - x0) / zoom + 1;
        h = (y1 - y0) / zoom + 1;
        sx = window->sourceLeft + x0 / zoom;
        sy = sourceY + y0 / zoom;
    } else {
        int step = zoom < 0 ? -zoom : 1;
        w = x1 - x0 + 1;
        h = y1 - y0 + 1;
        sx = window->sourceLeft + x0 * step;
        sy = sourceY + y0 * step;
    }
    return compute(&source, &window->view, nullptr, params, 0, window->viewWidth,
                   window->viewHeight, sx, sy, zoom, x0, y0, x1, y1, w, h);
}

// Runs compute as Apply does, over the whole of source into destination.
inline ErrorCode ApplyRun(ComputeFunction compute, void *params, const Image &source,
                          Image *destination)
{
    return compute(&source, destination, nullptr, params, 1, source.width, source.height, 0, 0, 1,
                   0, 0, source.width - 1, source.height - 1, source.width, source.height);
}
