// The frame of a read, the byte stream, palettes and size rule shared by our own BMP, Targa,
// PCX and RLE readers.
#include "files/RasterInput.h"

#include <cstring>

#include "core/Memory.h"
#include "core/Progress.h"
#include "files/RasterOutput.h"

void ByteStreamReset(ByteStream *stream)
{
    stream->file = FILE_HANDLE_NONE;
    stream->left = 0;
    stream->position = 0;
    stream->filled = 0;
    stream->dry = 0;
    stream->buffer = nullptr;
}

ErrorCode ByteStreamOpen(FileHandle file, int64_t offset, int64_t length, ByteStream *stream)
{
    int64_t fileSize = 0;
    ByteStreamReset(stream);
    ErrorCode result = FileSize(file, &fileSize);
    if (result != ERROR_NONE) return result;
    if (offset < 0 || length < 0) return ERROR_SET_POSITION;
    // The stretch ends at the end of the file, whatever a header claims.
    if (offset > fileSize) offset = fileSize;
    if (length > fileSize - offset) length = fileSize - offset;
    result = FileSeek(file, offset);
    if (result != ERROR_NONE) return result;
    stream->buffer = (uint8_t *)MemoryAlloc(BYTE_STREAM_BUFFER);
    if (stream->buffer == nullptr) return ERROR_NO_MEMORY;
    stream->file = file;
    stream->left = length;
    return ERROR_NONE;
}

void ByteStreamClose(ByteStream *stream)
{
    MemoryRelease(&stream->buffer);
    ByteStreamReset(stream);
}

int ByteStreamFill(ByteStream *stream)
{
    stream->position = 0;
    stream->filled = 0;
    if (stream->left <= 0 || stream->dry) {
        stream->dry = 1;
        return -1;
    }
    int64_t wanted = stream->left < BYTE_STREAM_BUFFER ? stream->left : BYTE_STREAM_BUFFER;
    int64_t got = 0;
    // A failed or empty read ends the stream like the end of the file: the decoder then sees
    // too few bytes and reports its format's code.
    if (FileRead(stream->file, stream->buffer, wanted, &got) != ERROR_NONE || got <= 0) {
        stream->left = 0;
        stream->dry = 1;
        return -1;
    }
    stream->left -= got;
    stream->filled = (int32_t)got;
    stream->position = 1;
    return stream->buffer[0];
}

int ByteStreamRead(ByteStream *stream, uint8_t *destination, int64_t count)
{
    while (count > 0) {
        if (stream->position >= stream->filled) {
            if (ByteStreamFill(stream) < 0) return 0;
            stream->position = 0; // the byte Fill returned is copied below with the rest
        }
        int64_t piece = stream->filled - stream->position;
        if (piece > count) piece = count;
        memcpy(destination, stream->buffer + stream->position, (size_t)piece);
        stream->position += (int32_t)piece;
        destination += piece;
        count -= piece;
    }
    return 1;
}

int ByteStreamSkip(ByteStream *stream, int64_t count)
{
    while (count > 0) {
        if (stream->position >= stream->filled) {
            if (ByteStreamFill(stream) < 0) return 0;
            stream->position = 0;
        }
        int64_t piece = stream->filled - stream->position;
        if (piece > count) piece = count;
        stream->position += (int32_t)piece;
        count -= piece;
    }
    return 1;
}

void IndexPaletteClear(IndexPalette *palette)
{
    memset(palette, 0, sizeof *palette);
}

void IndexPaletteGray(IndexPalette *palette)
{
    palette->count = 256;
    for (int i = 0; i < 256; i++)
        palette->red[i] = palette->green[i] = palette->blue[i] = (uint8_t)i;
}

int IndexPaletteType(const IndexPalette *palette)
{
    int blackWhite = 1;
    for (int i = 0; i < palette->count && i < 256; i++) {
        int r = palette->red[i];
        if (r != palette->green[i] || r != palette->blue[i]) return TYPE_COLOR24;
        if (r != 0 && r != 255) blackWhite = 0;
    }
    return blackWhite ? TYPE_BINARY : TYPE_GRAY8;
}

void IndexRowStore(const IndexPalette *palette, int type, const uint8_t *indices, int width,
                   uint8_t *out)
{
    switch (type) {
    case TYPE_BINARY:
        for (int x = 0; x < width; x += 8) {
            int byte = 0;
            int end = width - x < 8 ? width - x : 8;
            for (int b = 0; b < end; b++)
                if (palette->red[indices[x + b]] != 0) byte |= 0x80 >> b;
            out[x >> 3] = (uint8_t)byte;
        }
        break;
    case TYPE_GRAY8:
        for (int x = 0; x < width; x++)
            out[x] = palette->red[indices[x]];
        break;
    default:
        for (int x = 0; x < width; x++) {
            int i = indices[x];
            out[3 * x] = palette->blue[i];
            out[3 * x + 1] = palette->green[i];
            out[3 * x + 2] = palette->red[i];
        }
        break;
    }
}

void IndexRowUnpack(const uint8_t *packed, int bits, int width, uint8_t *indices)
{
    switch (bits) {
    case 8: memcpy(indices, packed, (size_t)width); break;
    case 4:
        for (int x = 0; x < width; x++)
            indices[x] = (uint8_t)(x & 1 ? packed[x >> 1] & 15 : packed[x >> 1] >> 4);
        break;
    case 2:
        for (int x = 0; x < width; x++)
            indices[x] = (uint8_t)((packed[x >> 2] >> (6 - 2 * (x & 3))) & 3);
        break;
    default:
        for (int x = 0; x < width; x++)
            indices[x] = (uint8_t)((packed[x >> 3] >> (7 - (x & 7))) & 1);
        break;
    }
}

int RasterBackedByFile(int64_t pixels, int64_t bytes, int64_t ratio)
{
    if (pixels <= RASTER_FREE_PIXELS) return 1;
    if (bytes <= 0) return 0;
    // pixels and bytes are below 2^48 and 2^63 here; compare by division to stay in range.
    return (pixels + ratio - 1) / ratio <= bytes;
}

void RasterFinish(ErrorCode result, Image *picture, Image *target)
{
    ImageFree(target);
    if (result == ERROR_NONE) {
        *target = *picture; // the storage moves with the record
        ImageClear(picture);
    } else {
        ImageFree(picture);
    }
}

void RasterRowsMissing(Image *picture, int64_t firstTop, int64_t lastTop, FileDamage *damage)
{
    if (firstTop < 0) firstTop = 0;
    if (lastTop > picture->height - 1) lastTop = picture->height - 1;
    for (int64_t top = firstTop; top <= lastTop; top++)
        memset(picture->rows[picture->height - 1 - top], 0, (size_t)picture->rowBytes);
    FileDamageRows(damage, firstTop, lastTop);
}

void RasterRowsMissingFrom(Image *picture, int64_t fileRow, int topDown, FileDamage *damage)
{
    if (fileRow >= picture->height) return;
    if (topDown)
        RasterRowsMissing(picture, fileRow, picture->height - 1, damage);
    else
        RasterRowsMissing(picture, 0, picture->height - 1 - fileRow, damage);
}

void FileDamageOrient(FileDamage *damage, int code, int height)
{
    if (damage->first < 0) return;
    // Codes 1, 2, 6 and 7 put the file's top row at the bottom, or at the right.
    if (code == 1 || code == 2 || code == 6 || code == 7) {
        int32_t first = damage->first;
        damage->first = height - 1 - damage->last;
        damage->last = height - 1 - first;
    }
    damage->columns = code & 1;
}

ErrorCode RasterDamageResult(ErrorCode result, const FileDamage *found, FileDamage *damage,
                             ErrorCode code)
{
    if (result != ERROR_NONE) return result;
    if (damage == nullptr) return FileDamaged(found) ? code : ERROR_NONE;
    *damage = *found;
    return ERROR_NONE;
}
ErrorCode RasterRead(const char *path, const RasterFormatReader *format, void *info,
                     Picture *target, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    FileDamage found;
    FileHandle file = FILE_HANDLE_NONE;
    RasterShape shape = {};
    Image picture;
    int progressOpen = 0;

    // The picture is read aside and given to the target only whole, so that a failed read
    // leaves nothing half done in it.
    ImageClear(&picture);
    FileDamageClear(&found);
    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    result = format->header(file, info, &shape);
    if (result != ERROR_NONE) goto done;
    result = ImageAlloc(&picture, shape.type, shape.width, shape.height, shape.resolution);
    if (result != ERROR_NONE) goto done;
    if (showProgress && (int64_t)shape.width * shape.height >= RASTER_PROGRESS_PIXELS) {
        ProgressOpen(0, shape.height - 1, format->title, 1);
        progressOpen = 1;
    }
    result = format->rows(file, info, &picture, progressOpen, &found);
    result = RasterDamageResult(result, &found, damage, format->code);
    if (result == ERROR_NONE && format->extras != nullptr) format->extras(file, info, target);
done:
    if (progressOpen) ProgressClose();
    FileClose(&file);
    RasterFinish(result, &picture, &target->image);
    return result;
}
