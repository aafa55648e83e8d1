// The file type table and the choice of reader and writer.
#include "files/FileType.h"

#include <cstring>

#include "core/Text.h"
#include "core/WholeImage.h"
#include "files/Bmp.h"
#include "files/Eps.h"
#include "files/Fits.h"
#include "files/Gif.h"
#include "files/Jpeg.h"
#include "files/Pcx.h"
#include "files/Png.h"
#include "files/Raw.h"
#include "files/Rle.h"
#include "files/Targa.h"
#include "files/TiffComments.h"
#include "files/TiffReader.h"
#include "files/TiffWriter.h"

const FileTypeEntry FILE_TYPES[] = {
    {FILE_OPEN_ALL, "All Files", {nullptr}, FILE_SAVE_NONE, nullptr},
    {FILE_OPEN_TIFF, "TIFF", {"TIF", "TIFF", nullptr}, FILE_SAVE_TIFF, ".tif"},
    {FILE_OPEN_JPEG, "JPEG", {"JPG", "JPEG", "JPE", nullptr}, FILE_SAVE_JPEG, ".jpg"},
    {FILE_OPEN_BMP, "BMP", {"BMP", nullptr}, FILE_SAVE_BMP, ".bmp"},
    {FILE_OPEN_TARGA, "Targa", {"TGA", nullptr}, FILE_SAVE_TARGA, ".tga"},
    {FILE_OPEN_PCX, "PCX", {"PCX", nullptr}, FILE_SAVE_PCX, ".pcx"},
    {FILE_OPEN_GIF, "GIF", {"GIF", nullptr}, FILE_SAVE_GIF, ".gif"},
    {FILE_OPEN_PHOTOCD, "PhotoCD", {"PCD", nullptr}, FILE_SAVE_NONE, nullptr},
    {FILE_OPEN_PNG, "PNG", {"PNG", nullptr}, FILE_SAVE_PNG, ".png"},
    {FILE_OPEN_FLASHPIX, "FlashPix", {"FPX", nullptr}, FILE_SAVE_FLASHPIX, ".fpx"},
    {FILE_OPEN_FITS, "FITS", {"FIT", "FITS", nullptr}, FILE_SAVE_FITS, ".fit"},
    {FILE_OPEN_RLE, "RLE", {"RLE", nullptr}, FILE_SAVE_RLE, ".rle"},
    {FILE_OPEN_ALBUM, "VT Album", {"VTALBUM", nullptr}, FILE_SAVE_NONE, nullptr},
    {FILE_OPEN_RAW,
     "Camera Raw",
     {"DNG", "CR2", "CR3", "CRW", "NEF", "NRW", "ARW", "ORF", "RAF", "RW2", "PEF", nullptr},
     FILE_SAVE_NONE,
     nullptr},
    {0, "EPS", {nullptr}, FILE_SAVE_EPS, ".eps"},
};
const int FILE_TYPE_COUNT = (int)(sizeof FILE_TYPES / sizeof FILE_TYPES[0]);

// A color picture saved as GIF is dithered: with only 256 colors, a photograph's smooth
// gradients would otherwise turn into visible bands.
static const int FILE_GIF_DITHER = 1;

int DetectFileType(const char *path)
{
    const char *dot = nullptr;
    for (const char *p = path; *p != 0; p++) {
        if (*p == '.')
            dot = p;
        else if (*p == '/' || *p == '\\' || *p == ':')
            dot = nullptr;
    }
    if (dot == nullptr) return -1;
    for (int i = 0; i < FILE_TYPE_COUNT; i++) {
        if (FILE_TYPES[i].openNumber == 0) continue;
        for (int e = 0; FILE_TYPES[i].extensions[e] != nullptr; e++)
            if (StrEqualNoCase(dot + 1, FILE_TYPES[i].extensions[e]))
                return FILE_TYPES[i].openNumber;
    }
    return -1;
}

// The first bytes of each format that has a signature. Targa has none, FlashPix shares its
// container with office documents, Photo CD keeps its mark 2048 bytes in, and most camera raw
// files are TIFF files: those go by their extension.
struct FileSignature {
    int32_t openNumber;
    int32_t length; // bytes of magic
    const char *magic;
};

static const FileSignature FILE_SIGNATURES[] = {
    {FILE_OPEN_TIFF, 4, "II*\0"},
    {FILE_OPEN_TIFF, 4, "MM\0*"},
    {FILE_OPEN_TIFF, 4, "II+\0"}, // BigTIFF
    {FILE_OPEN_TIFF, 4, "MM\0+"},
    {FILE_OPEN_JPEG, 3, "\xFF\xD8\xFF"},
    {FILE_OPEN_PNG, 8, "\x89PNG\r\n\x1A\n"},
    {FILE_OPEN_GIF, 6, "GIF87a"},
    {FILE_OPEN_GIF, 6, "GIF89a"},
    {FILE_OPEN_FITS, 9, "SIMPLE  ="},
    {FILE_OPEN_RLE, 2, "\x52\xCC"},
};

// "BM" alone would match too many text files: the size of the header that follows must be
// one of the sizes BMP headers have.
static int IsBmpHeader(const uint8_t *head, int64_t got)
{
    if (got < 18 || head[0] != 'B' || head[1] != 'M') return 0;
    uint32_t size = BytesGet32(head, 14, 1);
    return size == 12 || size == 16 || size == 40 || size == 52 || size == 56 || size == 64 ||
           size == 108 || size == 124;
}

// PCX: the mark 0x0A, a known version, run-length or no encoding, and a known depth.
static int IsPcxHeader(const uint8_t *head, int64_t got)
{
    if (got < 4 || head[0] != 0x0A) return 0;
    int version = head[1], encoding = head[2], bits = head[3];
    return (version == 0 || version == 2 || version == 3 || version == 4 || version == 5) &&
           (encoding == 0 || encoding == 1) && (bits == 1 || bits == 2 || bits == 4 || bits == 8);
}

int DetectFileContent(const char *path)
{
    uint8_t head[32];
    int64_t got = 0;
    FileHandle file = FILE_HANDLE_NONE;
    if (FileOpenRead(path, &file) != ERROR_NONE) return -1;
    FileRead(file, head, sizeof head, &got);
    FileClose(&file);
    for (const FileSignature &signature : FILE_SIGNATURES)
        if (got >= signature.length && memcmp(head, signature.magic, (size_t)signature.length) == 0)
            return signature.openNumber;
    if (IsBmpHeader(head, got)) return FILE_OPEN_BMP;
    if (IsPcxHeader(head, got)) return FILE_OPEN_PCX;
    // Targa has no magic number: last, by its footer or a header that fits the file.
    if (TargaFileProbe(path)) return FILE_OPEN_TARGA;
    return -1;
}

const FileTypeEntry *FileTypeByOpen(int openNumber)
{
    for (int i = 0; i < FILE_TYPE_COUNT; i++)
        if (openNumber > 0 && FILE_TYPES[i].openNumber == openNumber) return &FILE_TYPES[i];
    return nullptr;
}

const FileTypeEntry *FileTypeBySave(int saveNumber)
{
    for (int i = 0; i < FILE_TYPE_COUNT; i++)
        if (saveNumber > 0 && FILE_TYPES[i].saveNumber == saveNumber) return &FILE_TYPES[i];
    return nullptr;
}

// Which picture types each save type holds: binary, gray8, color24, gray16, color48, with
// the code of a refusal.
struct FileHolds {
    int8_t binary;
    int8_t gray8;
    int8_t color24;
    int8_t gray16;
    int8_t color48;
    ErrorCode code;
};

static const int Y = FILE_HOLDS_YES;
static const int R = FILE_HOLDS_REDUCED;
static const int N = FILE_HOLDS_NO;

static const FileHolds FILE_HOLDS[FILE_SAVE_COUNT] = {
    {N, N, N, N, N, ERROR_UNKNOWN_FILE_TYPE}, // no save type
    {Y, Y, Y, Y, Y, ERROR_SAVE_TYPE_TIFF},     {N, Y, Y, R, R, ERROR_SAVE_TYPE_JPEG},
    {Y, Y, Y, R, R, ERROR_SAVE_TYPE_BMP},      {N, Y, Y, R, R, ERROR_SAVE_TYPE_TARGA},
    {Y, Y, Y, R, R, ERROR_SAVE_TYPE_PCX},      {Y, Y, Y, R, R, ERROR_SAVE_TYPE_GIF},
    {Y, Y, Y, R, R, ERROR_SAVE_TYPE_EPS},      {Y, Y, Y, R, R, ERROR_SAVE_TYPE_PNG},
    {N, Y, Y, R, R, ERROR_SAVE_TYPE_FLASHPIX}, {N, Y, N, Y, N, ERROR_SAVE_TYPE_FITS},
    {Y, Y, N, R, N, ERROR_SAVE_TYPE_RLE},
};

int FileSaveHolds(int saveNumber, int imageType, ErrorCode *code)
{
    if (saveNumber < 0 || saveNumber >= FILE_SAVE_COUNT) saveNumber = FILE_SAVE_NONE;
    const FileHolds *holds = &FILE_HOLDS[saveNumber];
    int answer;
    switch (imageType) {
    case TYPE_BINARY: answer = holds->binary; break;
    case TYPE_GRAY8: answer = holds->gray8; break;
    case TYPE_COLOR24: answer = holds->color24; break;
    case TYPE_GRAY16: answer = holds->gray16; break;
    case TYPE_COLOR48: answer = holds->color48; break;
    default: answer = FILE_HOLDS_NO; break;
    }
    *code = answer == FILE_HOLDS_NO ? holds->code : ERROR_NONE;
    return answer;
}

// The extensions Save As accepts, with the dot, and the message for any other.
struct SaveExtensions {
    const char *accepted[3];
    const char *message;
};

static const SaveExtensions SAVE_EXTENSIONS[FILE_SAVE_COUNT] = {
    {{nullptr}, ""},
    {{".tif", ".tiff", nullptr}, "TIFF files must have an extension of .tif or .tiff"},
    {{".jpg", ".jpeg", ".jpe"}, "JPEG files must have an extension of .jpg, .jpeg, or .jpe"},
    {{".bmp", nullptr}, "BMP files must have an extension of .bmp"},
    {{".tga", nullptr}, "Targa files must have an extension of .tga"},
    {{".pcx", nullptr}, "PCX files must have an extension of .pcx"},
    {{".gif", nullptr}, "GIF files must have an extension of .gif"},
    {{".eps", nullptr}, "EPS files must have an extension of .eps"},
    {{".png", nullptr}, "PNG files must have an extension of .png"},
    {{".fpx", nullptr}, "FlashPix files must have an extension of .fpx"},
    {{".fit", ".fits", nullptr}, "FITS files must have an extension of .fit or .fits"},
    {{".rle", nullptr}, "RLE files must have an extension of .rle"},
};

int FileSaveExtensionAccepted(int saveNumber, const char *path)
{
    if (saveNumber <= 0 || saveNumber >= FILE_SAVE_COUNT) return 0;
    for (int i = 0; i < 3 && SAVE_EXTENSIONS[saveNumber].accepted[i] != nullptr; i++)
        if (!ExtensionDiffers(path, SAVE_EXTENSIONS[saveNumber].accepted[i])) return 1;
    return 0;
}

const char *FileSaveExtensionMessage(int saveNumber)
{
    if (saveNumber <= 0 || saveNumber >= FILE_SAVE_COUNT) return "";
    return SAVE_EXTENSIONS[saveNumber].message;
}

int FileOpenNumberOf(const char *path)
{
    // Camera raw files are mostly TIFF files inside; their extension tells them apart.
    int openNumber = DetectFileType(path);
    if (openNumber != FILE_OPEN_RAW) openNumber = DetectFileContent(path);
    if (openNumber < 0) openNumber = DetectFileType(path);
    return openNumber;
}

ErrorCode FileLoadPartial(const char *path, int openNumber, Picture *picture, int showProgress,
                          FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    FileDamageClear(damage);
    if (openNumber == FILE_OPEN_ALL) openNumber = FileOpenNumberOf(path);
    if (openNumber < 0) return ERROR_UNKNOWN_FILE_TYPE;
    // Each step runs only when the one before succeeded.
    switch (openNumber) {
    case FILE_OPEN_TIFF:
        result = ReadTiffFile(path, &picture->image, showProgress, damage);
        if (result == ERROR_NONE) result = ReadTiffComments(path, picture);
        if (result == ERROR_NONE) result = ReadTiffColorProfile(path, picture);
        break;
    case FILE_OPEN_JPEG: result = ReadJpegFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_PNG: result = ReadPngFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_BMP: result = ReadBmpFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_TARGA: result = ReadTargaFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_PCX: result = ReadPcxFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_RLE: result = ReadRleFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_GIF: result = ReadGifFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_FITS: result = ReadFitsFile(path, picture, showProgress, damage); break;
    case FILE_OPEN_RAW: result = ReadRawFile(path, picture, showProgress); break;
    case FILE_OPEN_FLASHPIX: result = ERROR_READ_FLASHPIX; break;
    case FILE_OPEN_PHOTOCD: result = ERROR_READ_PHOTOCD_IMAGE; break;
    default: result = ERROR_UNKNOWN_FILE_TYPE; break;
    }
    if (result == ERROR_NONE) picture->fileType = openNumber;
    return result;
}

ErrorCode FileLoad(const char *path, int openNumber, Picture *picture, int showProgress)
{
    FileDamage damage;
    ErrorCode result = FileLoadPartial(path, openNumber, picture, showProgress, &damage);
    if (result != ERROR_NONE || !FileDamaged(&damage)) return result;
    ImageFree(&picture->image); // a failed read leaves no picture
    return ERROR_FILE_DAMAGED;
}

ErrorCode FileSave(const char *path, int saveNumber, Picture *picture, int jpegQuality)
{
    ErrorCode code;
    if (FileSaveHolds(saveNumber, picture->image.type, &code) != FILE_HOLDS_YES) {
        // A 16-bit picture must have been reduced before an 8-bit format sees it.
        return code != ERROR_NONE ? code : ERROR_ILLEGAL_TYPE;
    }
    switch (saveNumber) {
    case FILE_SAVE_TIFF: return SaveTiffFileWithComments(path, picture);
    case FILE_SAVE_JPEG: return SaveJpegFile(path, picture, jpegQuality);
    case FILE_SAVE_PNG: return SavePngFile(path, picture);
    case FILE_SAVE_BMP: return SaveBmpFile(path, picture);
    case FILE_SAVE_TARGA: return SaveTargaFile(path, picture);
    case FILE_SAVE_PCX: return SavePcxFile(path, picture);
    case FILE_SAVE_RLE: return SaveRleFile(path, picture);
    case FILE_SAVE_GIF: return SaveGifFile(path, picture, FILE_GIF_DITHER);
    case FILE_SAVE_EPS: return SaveEpsFile(path, picture);
    case FILE_SAVE_FITS: return SaveFitsFile(path, picture);
    case FILE_SAVE_FLASHPIX: return ERROR_WRITE_FLASHPIX;
    default: return ERROR_UNKNOWN_FILE_TYPE;
    }
}

ErrorCode FileReduceTo8Bits(Picture *picture)
{
    Image reduced;
    ErrorCode result;
    ImageClear(&reduced);
    switch (picture->image.type) {
    case TYPE_GRAY16: result = ReduceGray16(&picture->image, &reduced, 1); break;
    case TYPE_COLOR48: result = ReduceColor48(&picture->image, &reduced, 1); break;
    default: return ERROR_NONE;
    }
    if (result != ERROR_NONE) {
        ImageFree(&reduced);
        return result;
    }
    // The reduced record takes the place of the old one; its storage moves with it.
    ImageFree(&picture->image);
    picture->image = reduced;
    return ERROR_NONE;
}
