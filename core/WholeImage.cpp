// Operations on a whole picture: Copy with everything that belongs to the
// picture, reduction of 16-bit pictures to 8 bits, the area of a mask, and the antialiased
// disc and rectangle that tools and page code draw with.
//
// The long ones follow the rule of every row loop: work of PROGRESS_PIXELS or more shows the
// progress window and may be aborted, smaller work shows the wait cursor.
#include "core/WholeImage.h"

#include <cmath>

#include "core/Compute.h"
#include "core/Helpers.h"
#include "core/Progress.h"

ErrorCode WindowCopy(const Picture *source, Picture *destination)
{
    if (!ImageIsPicture(source->image.type)) return ERROR_ILLEGAL_TYPE;
    // ImageCopy shows "Copy" progress from PROGRESS_PIXELS on, else the wait cursor.
    ErrorCode result = ImageCopy(&source->image, &destination->image, 1);
    if (result != ERROR_NONE) return result; // an aborted copy is thrown away anyway
    // The copy gets the source's profile, its comments, its origin and its file type.
    result = CopyImageProfile(source, destination);
    if (result != ERROR_NONE) return result;
    return CopyImageExtras(source, destination);
}

// Both reductions: every 16-bit sample through Depth16To8 into a new picture of outputType.
static ErrorCode ReduceDepth(const Image *source, Image *destination, int sourceType,
                             int outputType, int showProgress)
{
    if (source->type != sourceType) return ERROR_ILLEGAL_TYPE;
    ErrorCode result =
        ImageAlloc(destination, outputType, source->width, source->height, source->resolution);
    if (result != ERROR_NONE) return result;

    int count = sourceType == TYPE_GRAY16 ? source->width : 3 * source->width;
    int progress = showProgress && (int64_t)source->width * source->height >= PROGRESS_PIXELS;
    if (progress)
        ProgressOpen(0, source->height - 1, "Convert to 8-bit", 1);
    else
        SetWaitCursor();
    for (int y = 0; source->rows != nullptr && y < source->height; y++) {
        const uint16_t *in = (const uint16_t *)source->rows[y];
        uint8_t *out = destination->rows[y];
        for (int i = 0; i < count; i++)
            out[i] = Depth16To8[in[i]];
        if (progress && (result = ProgressStep(y)) != ERROR_NONE) break;
    }
    if (progress)
        ProgressClose();
    else
        SetArrowCursor();
    return result;
}

ErrorCode ReduceGray16(const Image *source, Image *destination, int showProgress)
{
    return ReduceDepth(source, destination, TYPE_GRAY16, TYPE_GRAY8, showProgress);
}

ErrorCode ReduceColor48(const Image *source, Image *destination, int showProgress)
{
    return ReduceDepth(source, destination, TYPE_COLOR48, TYPE_COLOR24, showProgress);
}

double MaskArea(const Image *image)
{
    double area = 0.0;
    if (image->type != TYPE_GRAY8) return area;
    // The bar only shows that work goes on: a measurement is not worth a Cancel button, so
    // the window has none and the steps' results are not looked at.
    int showProgress = (int64_t)image->width * image->height >= PROGRESS_PIXELS;
    if (showProgress)
        ProgressOpen(0, image->height - 1, "Area", 0);
    else
        SetWaitCursor();
    for (int y = 0; image->rows != nullptr && y < image->height; y++) {
        const uint8_t *row = image->rows[y];
        int64_t sum = 0;
        for (int x = 0; x < image->width; x++)
            sum += row[x];
        area += sum / 255.0;
        if (showProgress) ProgressStep(y);
    }
    if (showProgress)
        ProgressClose();
    else
        SetArrowCursor();
    return area;
}

// The color of a disc or rectangle per channel of the picture, in memory order (blue first)
// and at the picture's depth. Gray pictures take the largest of the three channels.
static void FillColor(int type, const uint8_t color[3], int channels[3])
{
    int red = color[0];
    int green = color[1];
    int blue = color[2];
    switch (type) {
    case TYPE_GRAY8: channels[0] = Max3(red, green, blue); break;
    case TYPE_GRAY16:
        channels[0] = Max3(Depth8To16[red], Depth8To16[green], Depth8To16[blue]);
        break;
    case TYPE_COLOR48:
        channels[0] = Depth8To16[blue];
        channels[1] = Depth8To16[green];
        channels[2] = Depth8To16[red];
        break;
    default:
        channels[0] = blue;
        channels[1] = green;
        channels[2] = red;
        break;
    }
}

// Channels of a pixel for the fills: 1 for gray, 3 for color.
static int FillChannels(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48 ? 3 : 1;
}

// Channel of pixel x of a row, at the picture's depth.
static int FillGet(const Image *image, uint8_t *row, int x, int channel)
{
    int channels = FillChannels(image->type);
    if (image->type == TYPE_GRAY16 || image->type == TYPE_COLOR48)
        return ((uint16_t *)row)[x * channels + channel];
    return row[x * channels + channel];
}

static void FillPut(const Image *image, uint8_t *row, int x, int channel, int value)
{
    int channels = FillChannels(image->type);
    if (image->type == TYPE_GRAY16 || image->type == TYPE_COLOR48)
        ((uint16_t *)row)[x * channels + channel] = (uint16_t)value;
    else
        row[x * channels + channel] = (uint8_t)value;
}

// Pixels whose centre lies within sqrt 2 of the circle's edge are sampled. No point of a pixel
// is further than sqrt 2 / 2 from its centre, so every pixel the edge crosses is among them.
static const double DISC_EDGE_BAND = 1.414214;
static const int DISC_GRID = 5;       // sample points per side of a pixel
static const double DISC_STEP = 0.25; // between sample points, from -0.5 to 0.5

void DrawDisc(Image *image, double centerX, double centerY, double radius, const uint8_t color[3])
{
    if (image->type != TYPE_GRAY8 && image->type != TYPE_COLOR24 && image->type != TYPE_GRAY16 &&
        image->type != TYPE_COLOR48)
        return;
    int channels = FillChannels(image->type);
    int fill[3];
    FillColor(image->type, color, fill);

    // The circle's bounding box, rounded, one pixel larger each way, clipped to the picture.
    // The bounds are limited in doubles first, so a far-off centre cannot overflow an int.
    double limitX = image->width + 2.0;
    double limitY = image->height + 2.0;
    double left = fmax(-2.0, fmin(limitX, centerX - radius));
    double right = fmax(-2.0, fmin(limitX, centerX + radius));
    double bottom = fmax(-2.0, fmin(limitY, centerY - radius));
    double top = fmax(-2.0, fmin(limitY, centerY + radius));
    int x0 = Round(left) - 1;
    int x1 = Round(right) + 1;
    int y0 = Round(bottom) - 1;
    int y1 = Round(top) + 1;
    if (x0 < 0) x0 = 0;
    if (y0 < 0) y0 = 0;
    if (x1 > image->width - 1) x1 = image->width - 1;
    if (y1 > image->height - 1) y1 = image->height - 1;
    if (x0 > x1 || y0 > y1) return;

    double radiusSquared = radius * radius;
    for (int y = y0; y <= y1; y++) {
        uint8_t *row = image->rows[y];
        for (int x = x0; x <= x1; x++) {
            double d = Magnitude(x - centerX, y - centerY) - radius;
            if (fabs(d) <= DISC_EDGE_BAND) {
                // Near the edge: the share of 25 points of the pixel that lie in the circle.
                int n = 0;
                for (int j = 0; j < DISC_GRID; j++) {
                    double dy = y - 0.5 + j * DISC_STEP - centerY;
                    for (int i = 0; i < DISC_GRID; i++) {
                        double dx = x - 0.5 + i * DISC_STEP - centerX;
                        if (dx * dx + dy * dy <= radiusSquared) n++;
                    }
                }
                const int total = DISC_GRID * DISC_GRID;
                for (int c = 0; c < channels; c++) {
                    int old = FillGet(image, row, x, c);
                    FillPut(image, row, x, c, (n * fill[c] + (total - n) * old) / total);
                }
            } else if (d <= 0.0) {
                for (int c = 0; c < channels; c++)
                    FillPut(image, row, x, c, fill[c]);
            }
        }
    }
}

// The part of pixel [i, i + 1) that lies within [low, high).
static double Coverage(int i, double low, double high)
{
    return fmin(i + 1.0, high) - fmax((double)i, low);
}

void FillRectSmooth(Image *image, double left, double top, double right, double bottom,
                    const uint8_t color[3])
{
    if (image->type != TYPE_GRAY8 && image->type != TYPE_COLOR24) return;
    // Inches need a resolution; a picture without one has no place for the rectangle.
    if (!(image->resolution > 0.0)) return;
    double resolution = image->resolution;
    double widthInches = image->width / resolution;
    double heightInches = image->height / resolution;
    left = fmax(0.0, fmin(widthInches, left));
    right = fmax(0.0, fmin(widthInches, right));
    top = fmax(0.0, fmin(heightInches, top));
    bottom = fmax(0.0, fmin(heightInches, bottom));
    if (!(right > left) || !(bottom > top)) return;

    // Edges in pixels, y counted from the top; then the columns and rows they touch.
    double pixelLeft = left * resolution;
    double pixelRight = fmin(right * resolution, (double)image->width);
    double pixelTop = top * resolution;
    double pixelBottom = fmin(bottom * resolution, (double)image->height);
    int x0 = (int)floor(pixelLeft);
    int x1 = (int)ceil(pixelRight) - 1;
    int y0 = (int)floor(pixelTop);
    int y1 = (int)ceil(pixelBottom) - 1;
    if (x1 > image->width - 1) x1 = image->width - 1;
    if (y1 > image->height - 1) y1 = image->height - 1;

    int channels = FillChannels(image->type);
    int fill[3];
    FillColor(image->type, color, fill);
    for (int y = y0; y <= y1; y++) {
        double coverY = Coverage(y, pixelTop, pixelBottom);
        uint8_t *row = image->rows[image->height - 1 - y];
        for (int x = x0; x <= x1; x++) {
            // Edge pixels get the covered fraction in each direction, corners the product.
            double coverage = Coverage(x, pixelLeft, pixelRight) * coverY;
            for (int c = 0; c < channels; c++) {
                uint8_t *sample = row + x * channels + c;
                if (coverage >= 1.0)
                    *sample = (uint8_t)fill[c];
                else
                    *sample = (uint8_t)Round(*sample * (1.0 - coverage) + fill[c] * coverage);
            }
        }
    }
}
