// GIF files through giflib's record-by-record interface, so that only the first frame is
// decoded and nothing of a long animation is kept. giflib reads and writes through our own
// file calls: reads are checked like every other, and a save goes through a SafeFile.
//
// A GIF holds palette indices. The colors the first frame actually uses decide the picture
// type, so that a gray picture whose writer padded its palette with other colors still opens
// as gray. Comment extensions are plain text that describes the picture, which is what the
// Description comment (id 3) of our TIFF files holds; several of them are joined by line
// breaks, and a save writes the Description back as one comment extension.
#include "files/Gif.h"

#include <cstring>
#include <gif_lib.h>

#include "core/Compute.h"
#include "core/File.h"
#include "core/FileComment.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/GifPalette.h"
#include "files/RasterInput.h"

static const int GIF_COMMENT_ID = 3; // Description, as in the main directory of a TIFF file
static const int GIF_COMMENT_FLAGS = COMMENT_MAIN | 2 | 4; // what a TIFF read gives it
static const int GIF_COMMENT_MAX = 65535; // bytes of comment text kept; the rest is dropped
// LZW codes of at most 12 bits can each stand for at most 4096 pixels, so no frame holds
// more than 4096 * 8 / 12 pixels for each byte of the file; we allow 4096, and small frames
// whatever their file.
static const int64_t GIF_PIXELS_PER_BYTE = 4096;
static const int64_t GIF_SMALL_PIXELS = 65536;
// Interlaced frames come in four passes: rows 0, 8, 16 ...; 4, 12 ...; 2, 6 ...; 1, 3 ...
static const int GIF_PASS_START[4] = {0, 4, 2, 1};
static const int GIF_PASS_STEP[4] = {8, 8, 4, 2};

// The first frame as the file gives it: indices top row first, and its palette.
struct GifFrame {
    int width;
    int height;
    uint8_t *indices;
    uint8_t *rowRead; // 1 for each row the file gave: it may end in any pass
    int colorCount;
    GifColorType colors[256];
};

// Comment text collected from the comment extensions.
struct GifComment {
    char *text; // GIF_COMMENT_MAX + 1 bytes once a comment was met, else null
    int length;
};

// giflib's reader: our file, checked; a short read makes giflib report an error.
static int GifReadBytes(GifFileType *gif, GifByteType *buffer, int wanted)
{
    int64_t got = 0;
    if (wanted <= 0) return 0;
    if (FileRead((FileHandle)gif->UserData, buffer, wanted, &got) != ERROR_NONE) return 0;
    return (int)got;
}

// giflib's writer: our file; giflib takes anything but the full count as a failure.
static int GifWriteBytes(GifFileType *gif, const GifByteType *buffer, int count)
{
    if (count <= 0) return 0;
    return FileWrite((FileHandle)gif->UserData, buffer, count) == ERROR_NONE ? count : 0;
}

// Appends the bytes of one sub-block to the comment, as far as the limit allows.
static void GifCommentAppend(GifComment *comment, const uint8_t *bytes, int count)
{
    int room = GIF_COMMENT_MAX - comment->length;
    if (count > room) count = room;
    memcpy(comment->text + comment->length, bytes, (size_t)count);
    comment->length += count;
}

// Reads one extension to its end, keeping the text of a comment. 0 when the file fails.
static int GifExtensionRead(GifFileType *gif, GifComment *comment)
{
    int code = 0;
    GifByteType *block = nullptr;
    if (DGifGetExtension(gif, &code, &block) == GIF_ERROR) return 0;
    int keep = code == COMMENT_EXT_FUNC_CODE;
    if (keep && comment->text == nullptr) {
        comment->text = (char *)MemoryAlloc(GIF_COMMENT_MAX + 1);
        keep = comment->text != nullptr; // without memory the comment is left out
    } else if (keep && comment->length > 0) {
        GifCommentAppend(comment, (const uint8_t *)"\n", 1);
    }
    // Each sub-block starts with its length; a null block ends the extension.
    while (block != nullptr) {
        if (keep) GifCommentAppend(comment, block + 1, block[0]);
        if (DGifGetExtensionNext(gif, &block) == GIF_ERROR) return 0;
    }
    return 1;
}

// Reads the image descriptor and the pixels of a frame into frame.
static ErrorCode GifFrameRead(GifFileType *gif, int64_t fileSize, int showProgress, GifFrame *frame)
{
    ErrorCode result = ERROR_NONE;
    const ColorMapObject *map;
    size_t pixels = 0;
    int progressOpen = 0;
    int rowsRead = 0;

    if (DGifGetImageDesc(gif) == GIF_ERROR) return ERROR_READ_GIF;
    frame->width = gif->Image.Width;
    frame->height = gif->Image.Height;
    if (frame->width < 1 || frame->height < 1 || frame->width > 65535 || frame->height > 65535)
        return ERROR_READ_GIF;
    // A local palette takes the place of the global one; a frame without either has no colors
    // we could honestly show.
    map = gif->Image.ColorMap != nullptr ? gif->Image.ColorMap : gif->SColorMap;
    if (map == nullptr || map->Colors == nullptr || map->ColorCount < 1 || map->ColorCount > 256)
        return ERROR_READ_GIF;
    frame->colorCount = map->ColorCount;
    memcpy(frame->colors, map->Colors, sizeof(GifColorType) * (size_t)map->ColorCount);

    pixels = (size_t)frame->width * (size_t)frame->height; // both at most 65535
    if ((int64_t)pixels > GIF_SMALL_PIXELS && (int64_t)pixels / GIF_PIXELS_PER_BYTE > fileSize)
        return ERROR_READ_GIF;
    frame->indices = (uint8_t *)MemoryAllocZero(pixels);
    frame->rowRead = (uint8_t *)MemoryAllocZero((size_t)frame->height);
    if (frame->indices == nullptr || frame->rowRead == nullptr) return ERROR_NO_MEMORY;

    if (showProgress && (int64_t)pixels >= PROGRESS_PIXELS) {
        ProgressOpen(0, frame->height - 1, "GIF Read", 1);
        progressOpen = 1;
    }
    for (int pass = 0; pass < (gif->Image.Interlace ? 4 : 1); pass++) {
        int start = gif->Image.Interlace ? GIF_PASS_START[pass] : 0;
        int step = gif->Image.Interlace ? GIF_PASS_STEP[pass] : 1;
        for (int y = start; y < frame->height; y += step) {
            // A line the file cannot give ends the frame: the file ended, or its codes did.
            if (DGifGetLine(gif, frame->indices + (size_t)y * frame->width, frame->width) ==
                GIF_ERROR)
                goto done;
            frame->rowRead[y] = 1;
            if (progressOpen && (result = ProgressStep(rowsRead)) != ERROR_NONE) goto done;
            rowsRead++;
        }
    }
done:
    if (progressOpen) ProgressClose();
    return result;
}

// Turns the frame into a picture of the type the colors of its rows call for; rows the file
// did not give are black and go to found. ERROR_READ_GIF for an index beyond the palette,
// which no color stands for.
static ErrorCode GifFrameStore(const GifFrame *frame, Image *image, FileDamage *found)
{
    int used[256] = {0};
    int gray = 1;
    int blackWhite = 1;
    int type;
    size_t pixels = (size_t)frame->width * (size_t)frame->height;

    for (size_t i = 0; i < pixels; i++)
        if (frame->rowRead[i / (size_t)frame->width]) used[frame->indices[i]] = 1;
    for (int i = 0; i < 256; i++) {
        if (!used[i]) continue;
        if (i >= frame->colorCount) return ERROR_READ_GIF;
        const GifColorType *c = &frame->colors[i];
        if (c->Red != c->Green || c->Green != c->Blue) gray = 0;
        if (!gray || (c->Red != 0 && c->Red != 255)) blackWhite = 0;
    }
    type = blackWhite ? TYPE_BINARY : (gray ? TYPE_GRAY8 : TYPE_COLOR24);
    ErrorCode result =
        ImageAlloc(image, type, frame->width, frame->height, Prefs.defaultResolution);
    if (result != ERROR_NONE) return result;
    for (int y = 0; y < frame->height; y++) {
        const uint8_t *in = frame->indices + (size_t)y * frame->width;
        uint8_t *out = image->rows[frame->height - 1 - y]; // the file's top row is our last
        switch (type) {
        case TYPE_BINARY:
            memset(out, 0, (size_t)image->rowBytes);
            for (int x = 0; x < frame->width; x++)
                if (frame->colors[in[x]].Red == 255) BitSet(out, x); // a set bit is white
            break;
        case TYPE_GRAY8:
            for (int x = 0; x < frame->width; x++)
                out[x] = frame->colors[in[x]].Red;
            break;
        default:
            for (int x = 0; x < frame->width; x++, out += 3) {
                const GifColorType *c = &frame->colors[in[x]];
                out[0] = c->Blue;
                out[1] = c->Green;
                out[2] = c->Red;
            }
            break;
        }
        if (!frame->rowRead[y]) RasterRowsMissing(image, y, y, found);
    }
    return ERROR_NONE;
}

ErrorCode ReadGifFile(const char *path, Picture *picture, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    FileDamage found;
    FileHandle file = FILE_HANDLE_NONE;
    GifFileType *gif = nullptr;
    GifFrame frame;
    GifComment comment = {nullptr, 0};
    Image image;
    int64_t fileSize = 0;
    int haveFrame = 0;
    int error = 0;

    frame.indices = nullptr;
    frame.rowRead = nullptr;
    ImageClear(&image);
    FileDamageClear(&found);
    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(file, &fileSize) != ERROR_NONE) {
        result = ERROR_READ_GIF;
        goto done;
    }
    // DGifOpen reads the signature, the screen descriptor and the global palette.
    gif = DGifOpen(file, GifReadBytes, &error);
    if (gif == nullptr) {
        result = ERROR_READ_GIF;
        goto done;
    }
    // Records up to the second frame or the end: comments may stand before and after the
    // first frame. Each record takes at least one byte, so the file's end ends the loop.
    // Once the frame is read, damage further on costs only what comes after it.
    for (;;) {
        GifRecordType record = UNDEFINED_RECORD_TYPE;
        if (DGifGetRecordType(gif, &record) == GIF_ERROR) {
            if (!haveFrame) result = ERROR_READ_GIF;
            break;
        }
        if (record == TERMINATE_RECORD_TYPE) break;
        if (record == EXTENSION_RECORD_TYPE) {
            if (GifExtensionRead(gif, &comment)) continue;
            if (!haveFrame) result = ERROR_READ_GIF;
            break;
        }
        if (record != IMAGE_DESC_RECORD_TYPE) {
            if (!haveFrame) result = ERROR_READ_GIF;
            break;
        }
        if (haveFrame) break; // the second frame: we keep only the first
        result = GifFrameRead(gif, fileSize, showProgress, &frame);
        if (result != ERROR_NONE) break;
        haveFrame = 1;
    }
    if (result != ERROR_NONE) goto done;
    if (!haveFrame) {
        result = ERROR_READ_GIF;
        goto done;
    }
    result = GifFrameStore(&frame, &image, &found);
    result = RasterDamageResult(result, &found, damage, ERROR_READ_GIF);
    if (result != ERROR_NONE) goto done;

    // The comment, cut at a zero byte, with its terminator counted as TIFF counts it.
    if (comment.text != nullptr) {
        comment.text[comment.length] = 0;
        int length = (int)strlen(comment.text);
        if (length > 0)
            result = AddFileComment(picture, "Description", GIF_COMMENT_ID, length + 1,
                                    GIF_COMMENT_FLAGS, comment.text);
        if (result != ERROR_NONE) goto done;
    }
    ImageFree(&picture->image);
    picture->image = image; // the storage moves with the record
    ImageClear(&image);
done:
    if (gif != nullptr) DGifCloseFile(gif, &error);
    FileClose(&file);
    MemoryFree(frame.indices);
    MemoryFree(frame.rowRead);
    MemoryFree(comment.text);
    ImageFree(&image);
    if (result != ERROR_NONE) ImageFree(&picture->image);
    return result;
}

// The palette of a binary or gray picture: its values exactly.
static void GifPaletteFixed(int type, GifPalette *palette)
{
    int count = type == TYPE_BINARY ? 2 : 256;
    palette->count = count;
    for (int i = 0; i < count; i++) {
        uint8_t value = (uint8_t)(type == TYPE_BINARY ? i * 255 : i);
        palette->red[i] = palette->green[i] = palette->blue[i] = value;
    }
}

// The palette indices of one row of the picture.
static void GifRowIndices(const Image *image, const uint8_t *row, GifPaletteMapper *mapper,
                          uint8_t *line)
{
    switch (image->type) {
    case TYPE_BINARY:
        for (int x = 0; x < image->width; x++)
            line[x] = (uint8_t)BitTest(row, x);
        break;
    case TYPE_GRAY8: memcpy(line, row, (size_t)image->width); break;
    default: GifPaletteMapperRow(mapper, row, line); break;
    }
}

ErrorCode SaveGifFile(const char *path, Picture *picture, int dither)
{
    const Image *image = &picture->image;
    const FileComment *comment = FindFileComment(picture->comments, GIF_COMMENT_ID);
    const char *text = comment != nullptr && comment->value != nullptr && comment->value[0] != 0
                           ? (const char *)comment->value
                           : nullptr;
    ErrorCode result = ERROR_NONE;
    SafeFile safe;
    GifFileType *gif = nullptr;
    ColorMapObject *map = nullptr;
    GifPalette palette;
    GifPaletteMapper mapper;
    uint8_t *line = nullptr;
    int progressOpen = 0;
    int error = 0;
    int bits = 1;

    SafeFileReset(&safe);
    GifPaletteMapperReset(&mapper);
    switch (image->type) {
    case TYPE_BINARY:
    case TYPE_GRAY8: GifPaletteFixed(image->type, &palette); break;
    case TYPE_COLOR24:
        result = GifPaletteChoose(image, &palette);
        if (result == ERROR_NONE)
            result = GifPaletteMapperOpen(&palette, image->width, dither, &mapper);
        if (result != ERROR_NONE) goto done;
        break;
    default: result = ERROR_SAVE_TYPE_GIF; goto done;
    }
    // The file's palette has a power of two entries; the ones beyond ours stay black.
    while ((1 << bits) < palette.count)
        bits++;
    map = GifMakeMapObject(1 << bits, nullptr);
    line = (uint8_t *)MemoryAlloc((size_t)image->width);
    if (map == nullptr || line == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    for (int i = 0; i < map->ColorCount; i++) {
        int inside = i < palette.count;
        map->Colors[i].Red = inside ? palette.red[i] : 0;
        map->Colors[i].Green = inside ? palette.green[i] : 0;
        map->Colors[i].Blue = inside ? palette.blue[i] : 0;
    }

    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    gif = EGifOpen(safe.file, GifWriteBytes, &error);
    if (gif == nullptr) {
        result = ERROR_WRITE_GIF;
        goto done;
    }
    // Comment extensions need the 89a version of the format; without one we write the
    // older version, which every reader takes.
    EGifSetGifVersion(gif, text != nullptr);
    if (EGifPutScreenDesc(gif, image->width, image->height, bits, 0, map) == GIF_ERROR) {
        result = ERROR_WRITE_GIF;
        goto done;
    }
    if (text != nullptr && EGifPutComment(gif, text) == GIF_ERROR) {
        result = ERROR_WRITE_GIF;
        goto done;
    }
    if (EGifPutImageDesc(gif, 0, 0, image->width, image->height, false, nullptr) == GIF_ERROR) {
        result = ERROR_WRITE_GIF;
        goto done;
    }
    if ((int64_t)image->width * image->height >= PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, "GIF Write", 1);
        progressOpen = 1;
    }
    for (int i = 0; i < image->height; i++) {
        GifRowIndices(image, image->rows[image->height - 1 - i], &mapper, line);
        if (EGifPutLine(gif, line, image->width) == GIF_ERROR) {
            result = ERROR_WRITE_GIF;
            goto done;
        }
        if (progressOpen && (result = ProgressStep(i)) != ERROR_NONE) goto done;
    }
    // Closing writes the trailer and frees giflib's record, whatever it answers.
    if (EGifCloseFile(gif, &error) == GIF_ERROR) {
        gif = nullptr;
        result = ERROR_WRITE_GIF;
        goto done;
    }
    gif = nullptr;
    result = SafeFileCommit(&safe);
done:
    if (gif != nullptr) EGifCloseFile(gif, &error);
    SafeFileAbandon(&safe); // harmless after a commit
    if (progressOpen) ProgressClose();
    if (map != nullptr) GifFreeMapObject(map);
    MemoryFree(line);
    GifPaletteMapperClose(&mapper);
    return result;
}
