// vistel-cli's short road from a TIFF file to a TIFF file: a transformation that works a row
// at a time, or a turn, runs a band of rows at a time between a mapping of the input and the
// output file, and the whole picture is never held.
//
// A run that holds the picture pays the system for every fresh page of it (the zeroing that
// costs more than a tone curve's arithmetic) and carries it through memory three times; a
// band of rows stays in the processor's cache from the read to the write. The bytes written
// are the ones the whole-picture run writes: the same row functions on the same rows, the
// same directory, the same order of rows. Whatever this road does not take, or any failure on
// it, leaves no file behind and the caller takes the ordinary road, which says what is wrong.
#include <cstring>

#include "cli/CliCommon.h"
#include "color/ProfileTransform.h"
#include "core/Compute.h"
#include "core/FileMap.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Orient.h"
#include "core/Picture.h"
#include "core/Progress.h"
#include "core/Text.h"
#include "files/FileType.h"
#include "files/TiffComments.h"
#include "files/TiffReader.h"
#include "files/TiffWriter.h"
#include "transforms/Transforms.h"

// Rows of a band: about half a megabyte of a 6000-pixel 48-bit picture, so that its rows, in
// both forms, stay in the second-level cache between their read and their write.
constexpr int STREAM_BAND_ROWS = 16;

// What one band's work needs while the mapping is guarded.
struct StreamBand {
    const TiffRowSource *source;
    // A band of rows of the transformation: file rows first..first+count-1 into rows.
    RowPipe *pipe; // null when the settings change nothing
    const Image *shape;
    uint8_t *rows; // count rows of rowBytes, top first
    uint8_t *fileRows;
    uint8_t *bytes; // a binary row as bytes 0 and 255
    int32_t direct; // 1: from the file's row to the file's row, in the file's order
    int64_t first;
    int32_t count;
    // A band of a turn: the destination rows of the view, from the source view.
    const Image *view;
    Image *turned;
    int32_t code;
    int32_t x0; // the source columns of a swapping code
    int32_t x1;
};

static void StreamRowsWork(void *context)
{
    const StreamBand *band = (const StreamBand *)context;
    const Image *shape = band->shape;
    int64_t fileRowBytes = band->source->fileRowBytes;
    for (int r = 0; r < band->count; r++) {
        const uint8_t *in = TiffRowSourceRow(band->source, band->first + r);
        if (band->direct) {
            uint8_t *out = band->fileRows + r * fileRowBytes;
            if (band->pipe != nullptr)
                RowPipeRun(band->pipe, in, out);
            else
                memcpy(out, in, (size_t)fileRowBytes);
            continue;
        }
        uint8_t *row = band->rows + (size_t)r * shape->rowBytes;
        TiffRowSourceUnpack(band->source, in, row);
        if (band->pipe != nullptr && shape->type == TYPE_BINARY) {
            // Row functions take binary pixels as bytes 0 and 255, as the row reader gives them.
            for (int x = 0; x < shape->width; x++)
                band->bytes[x] = BitTest(row, x) ? 255 : 0;
            RowPipeRun(band->pipe, band->bytes, row);
        } else if (band->pipe != nullptr) {
            RowPipeRun(band->pipe, row, row);
        }
        TiffFileRow(shape, row, band->fileRows + r * fileRowBytes);
    }
}

static void StreamTurnWork(void *context)
{
    const StreamBand *band = (const StreamBand *)context;
    const Image *view = band->view;
    Image *turned = band->turned;
    if (band->code & 1) {
        for (int y0 = 0; y0 < view->height; y0 += ORIENT_TILE) {
            int y1 = y0 + ORIENT_TILE < view->height ? y0 + ORIENT_TILE : view->height;
            OrientTile(view, turned, band->code, band->x0, band->x1, y0, y1);
        }
        return;
    }
    // A row-keeping code: the band's destination rows, each from its own source row.
    for (int r = 0; r < band->count; r++) {
        int d = turned->height - 1 - (int)(band->first + r);
        int y = OrientRowIndex(band->code, view->height, d); // the mapping is its own inverse
        OrientRow(view, band->code, view->rows[y], turned->rows[d]);
    }
}

// The input's belongings with its picture's shape and no rows: what the ordinary road would
// have besides the pixels once it opened the file.
static ErrorCode StreamInput(const char *path, const TiffRowSource *source, Picture *input)
{
    Image *shape = &input->image;
    shape->type = source->type;
    shape->width = source->width;
    shape->height = source->height;
    shape->rowBytes = ImageRowBytes(source->type, source->width);
    shape->resolution = source->resolution;
    ErrorCode result = ReadTiffComments(path, input);
    if (result == ERROR_NONE) result = ReadTiffColorProfile(path, input);
    input->fileType = FILE_OPEN_TIFF;
    StrCopyLimit(path, input->fileName, PATH_LENGTH - 1);
    return result;
}

// The transformation's rows over the file, a band at a time, into file.
static ErrorCode StreamRows(const TransformDescriptor *transform, void *settings,
                            TiffRowSource *source, Picture *picture, FileHandle file)
{
    ErrorCode result = ERROR_NONE;
    const Image *shape = &picture->image;
    RowPipe pipe;
    StreamBand band = {};
    int64_t fileRowBytes = source->fileRowBytes;
    int nothing =
        transform->changesNothing != nullptr && transform->changesNothing(settings, shape, 1);
    int color = shape->type == TYPE_COLOR24 || shape->type == TYPE_COLOR48;
    int progress = 0;

    RowPipeReset(&pipe);
    band.rows = (uint8_t *)MemoryAlloc((size_t)STREAM_BAND_ROWS * (size_t)shape->rowBytes);
    band.fileRows = (uint8_t *)MemoryAlloc((size_t)(STREAM_BAND_ROWS * fileRowBytes));
    band.bytes = (uint8_t *)MemoryAlloc((size_t)shape->width);
    if (band.rows == nullptr || band.fileRows == nullptr || band.bytes == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    // Gray rows lie in the file as in a picture, and color ones go through as they lie for
    // a transformation that takes them red first: straight from the mapping into the rows to
    // write, without the two swaps of a picture's blue-first rows.
    band.direct = shape->type == TYPE_GRAY8 || shape->type == TYPE_GRAY16 ||
                  (color && transform->rows->redFirst);
    if (!nothing) {
        if (band.direct && color)
            result = RowPipeOpenRedFirst(transform->rows, shape, settings, &pipe);
        else
            result = RowPipeOpen(transform->rows, shape, !band.direct, settings, 1, 1, shape->width,
                                 0, 0, 0, &pipe);
        if (result != ERROR_NONE) goto done;
        // In place, so the rows keep their type; a transformation that changed it would have
        // had to say so by not being in place.
        if (pipe.run.outputType != shape->type) {
            result = ERROR_INTERNAL_1;
            goto done;
        }
        // The profile the result is in, as the ordinary road leaves it: a transformation
        // that decides it (Change Color Profile) sets it in its compute function, which this
        // road does not call; the others inherit it after theirs.
        if (transform->profile == TRANSFORM_PROFILE_OWN && transform->resultProfile != nullptr) {
            int length = 0;
            int changed;
            const uint8_t *profile = transform->resultProfile(settings, &length);
            result = PictureProfileSet(picture, profile, length, &changed);
            if (result != ERROR_NONE) goto done;
        }
    }
    if (transform->profile == TRANSFORM_PROFILE_INHERIT) {
        result = InheritProfile(picture, picture);
        if (result != ERROR_NONE) goto done;
    }
    result = WriteTiffPictureHead(file, picture);
    if (result != ERROR_NONE) goto done;

    band.source = source;
    band.pipe = nothing ? nullptr : &pipe;
    band.shape = shape;
    ProgressOpen(0, shape->height - 1, transform->rows->title, 1);
    progress = 1;
    for (int64_t first = 0; first < shape->height; first += STREAM_BAND_ROWS) {
        band.first = first;
        band.count = (int32_t)(shape->height - first < STREAM_BAND_ROWS ? shape->height - first
                                                                        : STREAM_BAND_ROWS);
        result = FileMapGuard(&source->map, StreamRowsWork, &band);
        if (result != ERROR_NONE) goto done;
        for (int r = 0; r < band.count; r++)
            FileMapDone(&source->map, TiffRowSourceRow(source, first + r) - source->map.bytes,
                        fileRowBytes);
        result = FileWrite(file, band.fileRows, band.count * fileRowBytes);
        if (result != ERROR_NONE) goto done;
        result = ProgressStep((int)(first + band.count - 1));
        if (result != ERROR_NONE) goto done;
    }
done:
    if (progress) ProgressClose();
    RowPipeClose(&pipe);
    MemoryFree(band.rows);
    MemoryFree(band.fileRows);
    MemoryFree(band.bytes);
    return result;
}

// The input turned by code, a band of ORIENT_TILE result rows at a time, into file. The
// pixels move as they lie in the file, red first: a move does not care for the order of
// their channels, so that nothing is swapped on the way.
static ErrorCode StreamTurn(const TransformDescriptor *transform, void *settings,
                            TiffRowSource *source, const Picture *input, Picture *made,
                            FileHandle file)
{
    ErrorCode result = ERROR_NONE;
    Image view = input->image; // the file's rows in place: bottom row first, as in a picture
    Image turned;              // the result's rows, of which only the band's are set
    StreamBand band = {};
    uint8_t *rows = nullptr;
    int64_t turnedRowBytes = 0;
    int progress = 0;
    int width, height;

    ImageClear(&turned);
    view.rows = nullptr;
    band.code = transform->orientation(settings);
    if (band.code < 0 || band.code >= ORIENT_CODE_COUNT) return ERROR_INTERNAL_1;
    TransformResultSize(transform, settings, &input->image, &width, &height);
    turned.type = view.type;
    turned.width = width;
    turned.height = height;
    turned.resolution = view.resolution;
    turnedRowBytes = TiffFileRowBytes(&turned);
    turned.rowBytes = (int32_t)turnedRowBytes;
    view.rowBytes = (int32_t)source->fileRowBytes;
    made->image = turned;
    result = TransformBelongings(transform, input, made);
    if (result != ERROR_NONE) goto done;
    result = WriteTiffPictureHead(file, made);
    if (result != ERROR_NONE) goto done;

    view.rows = (uint8_t **)MemoryAlloc((size_t)view.height * sizeof(uint8_t *));
    turned.rows = (uint8_t **)MemoryAllocZero((size_t)turned.height * sizeof(uint8_t *));
    rows = (uint8_t *)MemoryAllocZero((size_t)(ORIENT_TILE * turnedRowBytes));
    if (view.rows == nullptr || turned.rows == nullptr || rows == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    for (int y = 0; y < view.height; y++)
        view.rows[y] = (uint8_t *)TiffRowSourceRow(source, view.height - 1 - y);
    band.view = &view;
    band.turned = &turned;
    ProgressOpen(0, turned.height - 1, OrientTitle(band.code), 1);
    progress = 1;
    for (int first = 0; first < turned.height; first += ORIENT_TILE) {
        int count = turned.height - first < ORIENT_TILE ? turned.height - first : ORIENT_TILE;
        // Result row index d (from the bottom) is file row height - 1 - d.
        for (int r = 0; r < count; r++)
            turned.rows[turned.height - 1 - (first + r)] = rows + (size_t)r * turnedRowBytes;
        band.first = first;
        band.count = count;
        // Codes 1 and 5 make source column x the file row x, codes 3 and 7 the file row
        // W - 1 - x.
        band.x0 = band.code == 1 || band.code == 5 ? first : view.width - first - count;
        band.x1 = band.x0 + count;
        result = FileMapGuard(&source->map, StreamTurnWork, &band);
        if (result != ERROR_NONE) goto done;
        for (int r = 0; r < count; r++) {
            TiffFileRowTail(&turned, rows + (size_t)r * turnedRowBytes);
            turned.rows[turned.height - 1 - (first + r)] = nullptr;
        }
        result = FileWrite(file, rows, count * turnedRowBytes);
        if (result != ERROR_NONE) goto done;
        result = ProgressStep(first + count - 1);
        if (result != ERROR_NONE) goto done;
    }
done:
    if (progress) ProgressClose();
    MemoryFree(view.rows);
    MemoryFree(turned.rows);
    MemoryFree(rows);
    ImageClear(&made->image); // a shape without storage of its own
    return result;
}

int CliStreamTakes(const TransformDescriptor *transform, const char *inputPath, int saveNumber)
{
    if (saveNumber != FILE_SAVE_TIFF) return 0;
    if (!(transform->rows != nullptr && transform->inPlace) && transform->orientation == nullptr)
        return 0;
    return FileOpenNumberOf(inputPath) == FILE_OPEN_TIFF;
}

ErrorCode CliStream(const TransformDescriptor *transform, void *settings, const char *inputPath,
                    const char *outputPath)
{
    ErrorCode result = ERROR_NONE;
    TiffRowSource source;
    Picture input;
    Picture made;
    SafeFile safe;

    TiffRowSourceReset(&source);
    PictureReset(&input);
    PictureReset(&made);
    SafeFileReset(&safe);
    result = TiffRowSourceOpen(inputPath, &source);
    if (result != ERROR_NONE) goto done;
    result = StreamInput(inputPath, &source, &input);
    if (result != ERROR_NONE) goto done;
    if (transform->takeInput != nullptr) transform->takeInput(settings, &input);
    result = SafeFileCreate(outputPath, &safe);
    if (result != ERROR_NONE) goto done;
    if (transform->orientation != nullptr)
        result = StreamTurn(transform, settings, &source, &input, &made, safe.file);
    else
        result = StreamRows(transform, settings, &source, &input, safe.file);
    if (result != ERROR_NONE) goto done;
    // Shortened under the mapping, the file gave zeros the guard could not see.
    if (!TiffRowSourceWhole(&source)) {
        result = ERROR_READ_FILE;
        goto done;
    }
    result = SafeFileCommit(&safe);
done:
    SafeFileAbandon(&safe); // harmless after a commit
    TiffRowSourceClose(&source);
    ImageClear(&input.image); // a shape without storage of its own
    PictureFree(&input);
    PictureFree(&made);
    return result;
}
