// Mirror/Rotate: Apply is OrientImage over the whole picture; a preview shows only what its
// view holds, each shown pixel taken from the source through the inverse of the code, so that
// a preview at any zoom is the turned picture subsampled as every preview is.
#include "transforms/MirrorRotate.h"

#include <cstddef>

#include "core/Helpers.h"
#include "core/Orient.h"
#include "core/Progress.h"
#include "core/RowReader.h"

// The new code for each button (rows) and present code (columns). A button acts on the
// picture as it is shown now, that is after the present code.
static const int8_t MIRROR_ROTATE_TABLE[MIRROR_ROTATE_BUTTON_COUNT][ORIENT_CODE_COUNT] = {
    {1, 2, 3, 0, 7, 4, 5, 6}, // clockwise
    {3, 0, 1, 2, 5, 6, 7, 4}, // counterclockwise
    {4, 5, 6, 7, 0, 1, 2, 3}, // mirror
    {6, 7, 4, 5, 2, 3, 0, 1}, // flip
};

void MirrorRotateSettingsDefault(MirrorRotateSettings *settings)
{
    settings->orientation = 0;
}

int MirrorRotateCompose(int code, int button)
{
    if (code < 0 || code >= ORIENT_CODE_COUNT || button < 0 || button >= MIRROR_ROTATE_BUTTON_COUNT)
        return code;
    return MIRROR_ROTATE_TABLE[button][code];
}

int MirrorRotateChangesNothing(const void *params, const Image *source, int full)
{
    (void)full;
    return ((const MirrorRotateSettings *)params)->orientation == 0 && source != nullptr &&
           ImageIsPicture(source->type);
}

static void MirrorRotateResultSize(const void *params, const Image *source, int *width, int *height)
{
    int swaps = ((const MirrorRotateSettings *)params)->orientation & 1;
    *width = swaps ? source->height : source->width;
    *height = swaps ? source->width : source->height;
}

// Where the source pixel of result pixel (column, row) lies, and the step in the source
// between result columns column and column + 1: the inverse of each code.
static void MirrorRotateInverse(int code, const Image *source, int column, int row, int *x, int *y,
                                int *dx, int *dy)
{
    int w = source->width;
    int h = source->height;
    switch (code) {
    case 1: *x = w - 1 - row, *y = column, *dx = 0, *dy = 1; break;
    case 2: *x = w - 1 - column, *y = h - 1 - row, *dx = -1, *dy = 0; break;
    case 3: *x = row, *y = h - 1 - column, *dx = 0, *dy = -1; break;
    case 4: *x = w - 1 - column, *y = row, *dx = -1, *dy = 0; break;
    case 5: *x = w - 1 - row, *y = h - 1 - column, *dx = 0, *dy = -1; break;
    case 6: *x = column, *y = h - 1 - row, *dx = 1, *dy = 0; break;
    case 7: *x = row, *y = column, *dx = 0, *dy = 1; break;
    default: *x = column, *y = row, *dx = 1, *dy = 0; break;
    }
}

// One row of the preview: count pixels from source pixel (x, y) on by (dx, dy), into out in
// the view's type; 16-bit samples through Depth16To8, bits from firstBit on.
static void MirrorRotatePreviewRow(const Image *source, int x, int y, int dx, int dy, int count,
                                   uint8_t *out, int firstBit)
{
    for (int i = 0; i < count; i++, x += dx, y += dy) {
        const uint8_t *row = source->rows[y];
        switch (source->type) {
        case TYPE_BINARY:
            if (BitTest(row, x))
                BitSet(out, firstBit + i);
            else
                BitClear(out, firstBit + i);
            break;
        case TYPE_GRAY8: out[i] = row[x]; break;
        case TYPE_COLOR24:
            for (int c = 0; c < 3; c++)
                out[3 * i + c] = row[3 * x + c];
            break;
        case TYPE_GRAY16: out[i] = Depth16To8[((const uint16_t *)row)[x]]; break;
        default: // TYPE_COLOR48
            for (int c = 0; c < 3; c++)
                out[3 * i + c] = Depth16To8[((const uint16_t *)row)[3 * x + c]];
            break;
        }
    }
}

// The preview's rectangle: result pixels from (sourceX, sourceY) on, every step-th one, w by
// h, written through a RowWriter that magnifies them at zoom 2 or more. Past the top row of
// the result the top row repeats, as a RowReader delivers it.
static ErrorCode MirrorRotatePreview(const Image *source, Image *destination, int code,
                                     int resultHeight, int sourceX, int sourceY, int zoom, int x0,
                                     int y0, int x1, int w, int h)
{
    ErrorCode result = ERROR_NONE;
    RowWriter writer;
    int step = zoom < 0 ? -zoom : 1;
    int firstBit = destination->type == TYPE_BINARY && zoom < 2 ? (x0 & 7) : 0;
    int showProgress = (int64_t)w * h >= PROGRESS_PIXELS;
    int waitCursor = 0;

    RowWriterReset(&writer);
    result = RowWriterOpen(destination, zoom, x0, x1, y0, 0, &writer);
    if (result != ERROR_NONE) goto done;
    if (showProgress) {
        ProgressOpen(0, h - 1, OrientTitle(code), 1);
    } else {
        SetWaitCursor();
        waitCursor = 1;
    }
    for (int j = 0; j < h; j++) {
        int row = sourceY + j * step;
        if (row > resultHeight - 1) row = resultHeight - 1;
        int x, y, dx, dy;
        MirrorRotateInverse(code, source, sourceX, row, &x, &y, &dx, &dy);
        MirrorRotatePreviewRow(source, x, y, dx * step, dy * step, w, RowWriterRow(&writer),
                               firstBit);
        RowWriterPut(&writer);
        if (showProgress && (result = ProgressStep(j)) != ERROR_NONE) break;
    }
done:
    if (showProgress) ProgressClose();
    if (waitCursor) SetArrowCursor();
    RowWriterClose(&writer);
    return result;
}

ErrorCode MirrorRotateCompute(const Image *source, Image *destination, Picture *picture,
                              void *params, int full, int destinationWidth, int destinationHeight,
                              int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                              int w, int h)
{
    (void)picture; // the profile and comments are the caller's to pass on
    int code = ((const MirrorRotateSettings *)params)->orientation;
    if (source == nullptr || !ImageIsPicture(source->type)) return ERROR_ILLEGAL_TYPE;
    if (code < 0 || code >= ORIENT_CODE_COUNT) return ERROR_INTERNAL_1;
    int width, height;
    MirrorRotateResultSize(params, source, &width, &height);

    if (full) {
        // The whole turned picture and nothing else: the tiles and rows of OrientImage go
        // straight into the result.
        if (destinationWidth != width || destinationHeight != height || sourceX != 0 ||
            sourceY != 0 || zoom != 1 || x0 != 0 || y0 != 0 || x1 != width - 1 ||
            y1 != height - 1 || w != width || h != height)
            return ERROR_INTERNAL_1;
        int showProgress = (int64_t)width * height >= PROGRESS_PIXELS;
        if (!showProgress) SetWaitCursor();
        ErrorCode result = OrientImageCode(source, destination, code, showProgress);
        if (!showProgress) SetArrowCursor();
        return result;
    }

    // A preview's arguments are in the turned picture's columns and rows: they are checked
    // against a record of that shape over the source's rows.
    Image shape = *source;
    shape.width = width;
    shape.height = height;
    int outputType = source->type == TYPE_BINARY ? TYPE_BINARY : ComputeOutputType(source->type, 0);
    ErrorCode result =
        ComputePrepareDestination(&shape, destination, outputType, destinationWidth,
                                  destinationHeight, sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    if (result != ERROR_NONE) return result;
    return MirrorRotatePreview(source, destination, code, height, sourceX, sourceY, zoom, x0, y0,
                               x1, w, h);
}

static void MirrorRotateDefaults(void *settings)
{
    MirrorRotateSettingsDefault((MirrorRotateSettings *)settings);
}

static const TransformOption MIRROR_ROTATE_OPTIONS[] = {
    {"--orientation", "N", OPTION_INTEGER, OPTION_REQUIRED, 0.0, 7.0, nullptr, 0,
     offsetof(MirrorRotateSettings, orientation), 0,
     "0 none, 1 clockwise, 2 half turn, 3 counterclockwise, 4 mirror, 5 mirror and "
     "counterclockwise, 6 flip, 7 mirror and clockwise",
     "the orientation must be a whole number from 0 to 7", nullptr},
};

// The pixels move and nothing else changes: the result keeps the input's profile and
// comments.
// The code the settings ask for, for vistel-cli's turn of a file band by band.
static int MirrorRotateOrientation(const void *settings)
{
    return ((const MirrorRotateSettings *)settings)->orientation;
}

const TransformDescriptor MirrorRotateTransform = {"Mirror/Rotate",
                                                   "rotate",
                                                   "turn or mirror by orientation code N",
                                                   "&Mirror/Rotate...",
                                                   MENU_IMAGE_DIALOG,
                                                   COMMAND_MIRROR_ROTATE,
                                                   KIND_MIRROR_ROTATE,
                                                   MirrorRotateCompute,
                                                   ImageIsPicture,
                                                   nullptr,
                                                   MirrorRotateChangesNothing,
                                                   nullptr,
                                                   TRANSFORM_PROFILE_COPY,
                                                   0,
                                                   TRANSFORM_NO_AMOUNT,
                                                   sizeof(MirrorRotateSettings),
                                                   MirrorRotateDefaults,
                                                   nullptr,
                                                   MIRROR_ROTATE_OPTIONS,
                                                   1,
                                                   MirrorRotateResultSize,
                                                   nullptr,
                                                   nullptr,
                                                   MirrorRotateOrientation};
