// Display rendering: a picture of any type, at any zoom, into its window's view.
//
// The view is an Image of 1, 8 or 24 bits with exactly the size of the visible area at the
// present zoom; the screen image is made from it by color management. Rendering works only
// on the asked rectangle, so that a scroll or a preview repaints what it uncovers and no
// more. Magnified views write the first row of each block and copy the others from it.
#include "shell/Display.h"

#include "color/ProfileTransform.h"
#include "core/Helpers.h"
#include "core/Preferences.h"
#include "core/Progress.h"

static const double VIEW_RESOLUTION = 100.0; // view and screen are never printed or saved

int ViewType(int pictureType, int overlayShown)
{
    if (!ImageIsPicture(pictureType)) return TYPE_EMPTY;
    if (overlayShown) return TYPE_COLOR24;
    switch (pictureType) {
    case TYPE_GRAY16: return TYPE_GRAY8;
    case TYPE_COLOR48: return TYPE_COLOR24;
    default: return pictureType;
    }
}

// One rendering: what to read, where it goes, and how the mask is laid over it.
struct RenderJob {
    const Image *source;
    Image *view;
    const Image *mask; // the overlay's mask, null when no overlay shows
    int alpha;         // -1 the mask alone, 1..255 the overlay color's strength
    int overlay[3];    // the overlay color, blue, green, red
    int zoom;          // 1, n >= 2 magnified, -n reduced
    int smooth;        // average the block of a reduced view pixel
    int x0;            // the view rectangle, inside the view, rows from the bottom
    int y0;
    int x1;
    int y1;
    int sourceLeft;  // picture column of view column 0
    int sourceBase;  // picture row of view row 0 (rows from the bottom)
    int columnFirst; // the source range of the rectangle, inside the picture
    int columnLast;
    int rowFirst;
    int rowLast;
};

static int Limit(int value, int low, int high)
{
    return value < low ? low : (value > high ? high : value);
}

// The picture position of view position v, counted from base, by the zoom.
static int PictureIndex(int base, int v, int zoom)
{
    if (zoom > 1) return base + v / zoom;
    if (zoom < 0) return base - v * zoom;
    return base + v;
}

// The mask value at a picture position; a position outside the mask counts as unmasked.
static inline int MaskValue(const Image *mask, const uint8_t *maskRow, int column)
{
    if (maskRow == nullptr || column >= mask->width) return 0;
    return maskRow[column];
}

// Lays the overlay over one 24-bit view pixel (blue, green, red) with mask value m.
static inline void OverlayPixel(const RenderJob *job, int m, uint8_t *pixel)
{
    if (job->alpha < 0) {
        pixel[0] = pixel[1] = pixel[2] = (uint8_t)m;
        return;
    }
    int a = LerpTable[m][job->alpha];
    for (int c = 0; c < 3; c++)
        pixel[c] = (uint8_t)Lerp8(pixel[c], job->overlay[c], a);
}

// The 8-bit value of a sample: 16-bit samples go through Depth16To8.
template <typename Sample> static inline int DisplayValue(int sample)
{
    return sizeof(Sample) == 2 ? Depth16To8[sample] : sample;
}

// The channels of the pixel at (column, row) as the view shows them. With smoothing, the
// mean of the block of |zoom| by |zoom| pixels that starts there, cut at the picture's edge;
// a 16-bit mean is taken at 16 bits and reduced after.
template <typename Sample, int Channels>
static inline void ReadPixel(const RenderJob *job, int column, int row, int values[Channels])
{
    const Image *source = job->source;
    if (!job->smooth) {
        const Sample *in = (const Sample *)source->rows[row] + (size_t)column * Channels;
        for (int c = 0; c < Channels; c++)
            values[c] = DisplayValue<Sample>(in[c]);
        return;
    }
    int n = -job->zoom;
    int lastColumn = column + n - 1 < source->width - 1 ? column + n - 1 : source->width - 1;
    int lastRow = row + n - 1 < source->height - 1 ? row + n - 1 : source->height - 1;
    int64_t sums[Channels] = {};
    int64_t count = (int64_t)(lastColumn - column + 1) * (lastRow - row + 1);
    for (int y = row; y <= lastRow; y++) {
        const Sample *in = (const Sample *)source->rows[y] + (size_t)column * Channels;
        for (int x = column; x <= lastColumn; x++, in += Channels)
            for (int c = 0; c < Channels; c++)
                sums[c] += in[c];
    }
    for (int c = 0; c < Channels; c++)
        values[c] = count > 0 ? DisplayValue<Sample>((int)(sums[c] / count)) : 0;
}

// Renders view row y from picture row `row`, for gray and color pictures of 8 and 16 bits.
template <typename Sample, int Channels>
static void RenderSamplesRow(const RenderJob *job, int y, int row)
{
    uint8_t *out = job->view->rows[y];
    int viewChannels = job->view->type == TYPE_COLOR24 ? 3 : 1;
    const uint8_t *maskRow = nullptr;
    if (job->mask != nullptr && row < job->mask->height) maskRow = job->mask->rows[row];
    int column = PictureIndex(job->sourceLeft, job->x0, job->zoom);
    int step = job->zoom < 0 ? -job->zoom : 1;
    int copies = 0;
    for (int x = job->x0; x <= job->x1; x++) {
        int c = Limit(column, job->columnFirst, job->columnLast);
        int values[Channels];
        ReadPixel<Sample, Channels>(job, c, row, values);
        uint8_t *pixel = out + (size_t)x * viewChannels;
        for (int k = 0; k < viewChannels; k++)
            pixel[k] = (uint8_t)values[Channels == 3 ? k : 0]; // gray fills all three
        if (job->mask != nullptr) OverlayPixel(job, MaskValue(job->mask, maskRow, c), pixel);
        // Magnified, a picture column fills zoom view columns; else it advances by the step.
        if (job->zoom > 1) {
            if (++copies == job->zoom) {
                copies = 0;
                column++;
            }
        } else {
            column += step;
        }
    }
}

// Renders view row y of a binary picture: bits into a binary view, or 0 and 255 into a
// 24-bit one under an overlay. Binary pictures are never averaged.
static void RenderBinaryRow(const RenderJob *job, int y, int row)
{
    uint8_t *out = job->view->rows[y];
    const uint8_t *in = job->source->rows[row];
    const uint8_t *maskRow = nullptr;
    if (job->mask != nullptr && row < job->mask->height) maskRow = job->mask->rows[row];
    int column = PictureIndex(job->sourceLeft, job->x0, job->zoom);
    int step = job->zoom < 0 ? -job->zoom : 1;
    int copies = 0;
    for (int x = job->x0; x <= job->x1; x++) {
        int c = Limit(column, job->columnFirst, job->columnLast);
        int set = BitTest(in, c);
        if (job->view->type == TYPE_BINARY) {
            if (set)
                BitSet(out, x);
            else
                BitClear(out, x);
        } else {
            uint8_t *pixel = out + (size_t)x * 3;
            pixel[0] = pixel[1] = pixel[2] = set ? 255 : 0;
            if (job->mask != nullptr) OverlayPixel(job, MaskValue(job->mask, maskRow, c), pixel);
        }
        if (job->zoom > 1) {
            if (++copies == job->zoom) {
                copies = 0;
                column++;
            }
        } else {
            column += step;
        }
    }
}

// Copies the rectangle's span of view row y to row target.
static void CopyViewSpan(const RenderJob *job, int y, int target)
{
    Image *view = job->view;
    const uint8_t *from = view->rows[y];
    uint8_t *to = view->rows[target];
    if (view->type == TYPE_BINARY) {
        // Bit by bit, so that the bits beside the rectangle in the end bytes stay.
        for (int x = job->x0; x <= job->x1; x++) {
            if (BitTest(from, x))
                BitSet(to, x);
            else
                BitClear(to, x);
        }
        return;
    }
    int pixelBytes = view->type == TYPE_COLOR24 ? 3 : 1;
    size_t offset = (size_t)job->x0 * pixelBytes;
    MemCopy(from + offset, to + offset, (int64_t)(job->x1 - job->x0 + 1) * pixelBytes);
}

// The renderer of the picture's type, over the whole rectangle.
static void RenderRows(const RenderJob *job)
{
    int rowStep = job->zoom > 1 ? job->zoom : 1;
    for (int y = job->y0; y <= job->y1; y += rowStep) {
        int row = Limit(PictureIndex(job->sourceBase, y, job->zoom), job->rowFirst, job->rowLast);
        switch (job->source->type) {
        case TYPE_BINARY: RenderBinaryRow(job, y, row); break;
        case TYPE_GRAY8: RenderSamplesRow<uint8_t, 1>(job, y, row); break;
        case TYPE_COLOR24: RenderSamplesRow<uint8_t, 3>(job, y, row); break;
        case TYPE_GRAY16: RenderSamplesRow<uint16_t, 1>(job, y, row); break;
        case TYPE_COLOR48: RenderSamplesRow<uint16_t, 3>(job, y, row); break;
        default: return;
        }
        // The other rows of a magnified block are copies of its first, within the view.
        for (int k = 1; k < rowStep && y + k < job->view->height; k++)
            CopyViewSpan(job, y, y + k);
    }
}

ErrorCode RenderView(const Image *source, ImageWindow *target, int left, int top, int right,
                     int bottom, int waitCursor)
{
    ErrorCode result = ERROR_NONE;
    RenderJob job = {};
    Image *view = &target->view;
    int viewType;
    int whole;

    // Histograms and single colors are painted, not rendered; an empty record has nothing.
    if (!ImageIsPicture(source->type) || source->rows == nullptr) return ERROR_NONE;
    if (waitCursor) SetWaitCursor();

    // The mask overlay, when the window has one and it is not switched off by alpha 0.
    if (target->overlayMask != nullptr && target->overlayAlpha != 0) {
        const ImageWindow *maskWindow = WindowRecord(target->overlayMask);
        if (maskWindow != nullptr && maskWindow->image.type == TYPE_GRAY8 &&
            maskWindow->image.rows != nullptr) {
            job.mask = &maskWindow->image;
            job.alpha = target->overlayAlpha < 0 ? -1 : Limit(target->overlayAlpha, 1, 255);
            job.overlay[0] = Clamp8(target->overlayBlue);
            job.overlay[1] = Clamp8(target->overlayGreen);
            job.overlay[2] = Clamp8(target->overlayRed);
        }
    }
    viewType = ViewType(source->type, job.mask != nullptr);

    // A whole-view rectangle (re)allocates view and screen. A part rectangle draws into what
    // is there, unless that no longer fits the view, in which case it is made afresh rather
    // than written past its rows.
    whole =
        left == 0 && top == 0 && right == target->viewWidth - 1 && bottom == target->viewHeight - 1;
    if (whole || view->type != viewType || view->width != target->viewWidth ||
        view->height != target->viewHeight) {
        result = ImageAlloc(view, viewType, target->viewWidth, target->viewHeight, VIEW_RESOLUTION);
        if (result != ERROR_NONE) goto done;
        result = ImageAlloc(&target->screen, TYPE_COLOR24, target->viewWidth, target->viewHeight,
                            VIEW_RESOLUTION);
        if (result != ERROR_NONE) goto done;
    }
    if (view->rows == nullptr) goto done;

    job.source = source;
    job.view = view;
    // Zooms 0 and -1 are never set; should one arrive, it is read as one to one.
    job.zoom = target->zoom == 0 || target->zoom == -1 ? 1 : target->zoom;
    job.smooth = job.zoom < 0 && Prefs.smoothZoom != 0;
    job.x0 = left < 0 ? 0 : left;
    job.y0 = top < 0 ? 0 : top;
    job.x1 = right < view->width - 1 ? right : view->width - 1;
    job.y1 = bottom < view->height - 1 ? bottom : view->height - 1;
    if (job.zoom > 1) {
        // Blocks start at multiples of the zoom.
        job.x0 -= job.x0 % job.zoom;
        job.y0 -= job.y0 % job.zoom;
    }
    if (job.x0 > job.x1 || job.y0 > job.y1) goto done;

    // The source range of the rectangle, clamped to the picture. sourceBottom counts from the
    // top, view rows from the bottom.
    job.sourceLeft = target->sourceLeft;
    job.sourceBase = source->height - 1 - target->sourceBottom;
    {
        int lastX = job.zoom > 1 ? job.x1 + job.zoom - 1 : job.x1;
        int lastY = job.zoom > 1 ? job.y1 + job.zoom - 1 : job.y1;
        job.columnFirst =
            Limit(PictureIndex(job.sourceLeft, job.x0, job.zoom), 0, source->width - 1);
        job.columnLast = Limit(PictureIndex(job.sourceLeft, lastX, job.zoom), 0, source->width - 1);
        job.rowFirst = Limit(PictureIndex(job.sourceBase, job.y0, job.zoom), 0, source->height - 1);
        job.rowLast = Limit(PictureIndex(job.sourceBase, lastY, job.zoom), 0, source->height - 1);
    }
    RenderRows(&job);

    // The rectangle of the view through color management into screen. Magnified, the last
    // block's copied rows may reach past y1; the update stops at the view's top.
    result = UpdateDisplayImage(target, job.x0, job.y0, job.x1,
                                job.zoom > 1 ? job.y1 + job.zoom - 1 : job.y1);

done:
    if (waitCursor) SetArrowCursor();
    return result;
}
