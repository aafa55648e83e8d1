// Rules shared by every compute function.
#include "core/Compute.h"

int ComputeOutputType(int sourceType, int full)
{
    switch (sourceType) {
    case TYPE_GRAY8: return TYPE_GRAY8;
    case TYPE_COLOR24: return TYPE_COLOR24;
    case TYPE_GRAY16: return full ? TYPE_GRAY16 : TYPE_GRAY8;
    case TYPE_COLOR48: return full ? TYPE_COLOR48 : TYPE_COLOR24;
    default: return TYPE_EMPTY;
    }
}

// 1 when the arguments keep the reader inside the source's rows and the writer inside the
// destination's. The callers are our own preview and apply code, so a failure here is a
// fault of ours, answered with a code rather than a write outside a row.
static int ComputeArgumentsFit(const Image *source, int destinationWidth, int destinationHeight,
                               int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                               int w, int h)
{
    if (zoom == 0 || zoom == -1 || w < 1 || h < 1 || source->rows == nullptr) return 0;
    if (x0 < 0 || y0 < 0 || x1 < x0 || y1 < y0) return 0;
    if (x1 >= destinationWidth || y1 >= destinationHeight) return 0;
    int64_t step = zoom < 0 ? -(int64_t)zoom : 1;
    if (sourceX < 0 || sourceY < 0) return 0;
    if (sourceX + (int64_t)(w - 1) * step >= source->width) return 0;
    // In place (zoom 1 or below) the row is written from x0 on; magnified, it goes through
    // a buffer of one destination row.
    if (zoom <= 1) return (int64_t)x0 + w <= destinationWidth;
    return w <= destinationWidth;
}

ErrorCode ComputePrepareDestination(const Image *source, Image *destination, int outputType,
                                    int destinationWidth, int destinationHeight, int sourceX,
                                    int sourceY, int zoom, int x0, int y0, int x1, int y1, int w,
                                    int h)
{
    if (!ComputeArgumentsFit(source, destinationWidth, destinationHeight, sourceX, sourceY, zoom,
                             x0, y0, x1, y1, w, h))
        return ERROR_INTERNAL_1;
    int whole = x0 == 0 && y0 == 0 && x1 == destinationWidth - 1 && y1 == destinationHeight - 1;
    if (!whole && destination->type == outputType && destination->width == destinationWidth &&
        destination->height == destinationHeight)
        return ERROR_NONE;
    return ImageAlloc(destination, outputType, destinationWidth, destinationHeight,
                      source->resolution);
}
