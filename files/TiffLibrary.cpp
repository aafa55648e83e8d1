// TIFF files through libtiff, for everything our own reader refuses.
//
// libtiff decodes strips and tiles into a band of rows laid out as one contiguous file row
// each (all samples of a pixel together, 16-bit samples in the machine's order); we unpack
// each band row ourselves, so that 16-bit samples stay 16-bit, which libtiff's RGBA
// conversions would not keep. libtiff's messages go nowhere: the caller shows our code.
//
// libtiff is loaded at the first file our own reader refuses, not at start-up: it and the
// compression libraries it links were a good part of the time every run of the program took
// before its first byte of work. Its header still gives the types and the prototypes.
#include "files/TiffLibrary.h"

#include <cmath>
#include <cstring>
#include <tiffio.h>

#include "core/File.h"
#include "core/Library.h"
#include "core/Memory.h"
#include "core/Orient.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/RasterInput.h"

// The libtiff functions we call, by the names of their prototypes in tiffio.h.
struct TiffFunctions {
    decltype(&TIFFClose) close;
    decltype(&TIFFComputeStrip) computeStrip;
    decltype(&TIFFComputeTile) computeTile;
    decltype(&TIFFGetField) getField;
    decltype(&TIFFGetFieldDefaulted) getFieldDefaulted;
    decltype(&TIFFIsTiled) isTiled;
    decltype(&TIFFOpenExt) openExt;
    decltype(&TIFFOpenOptionsAlloc) openOptionsAlloc;
    decltype(&TIFFOpenOptionsFree) openOptionsFree;
    decltype(&TIFFOpenOptionsSetErrorHandlerExtR) openOptionsSetErrorHandlerExtR;
    decltype(&TIFFOpenOptionsSetMaxSingleMemAlloc) openOptionsSetMaxSingleMemAlloc;
    decltype(&TIFFOpenOptionsSetWarningHandlerExtR) openOptionsSetWarningHandlerExtR;
    decltype(&TIFFReadEncodedStrip) readEncodedStrip;
    decltype(&TIFFReadEncodedTile) readEncodedTile;
    decltype(&TIFFScanlineSize64) scanlineSize64;
    decltype(&TIFFSetField) setField;
    decltype(&TIFFTileSize) tileSize;
};

static TiffFunctions Tiff;

// 1 once libtiff and all its functions are there; loaded at the first call.
static int TiffLibraryReady(void)
{
    static const LibrarySymbol SYMBOLS[] = {
        {"TIFFClose", &Tiff.close},
        {"TIFFComputeStrip", &Tiff.computeStrip},
        {"TIFFComputeTile", &Tiff.computeTile},
        {"TIFFGetField", &Tiff.getField},
        {"TIFFGetFieldDefaulted", &Tiff.getFieldDefaulted},
        {"TIFFIsTiled", &Tiff.isTiled},
        {"TIFFOpenExt", &Tiff.openExt},
        {"TIFFOpenOptionsAlloc", &Tiff.openOptionsAlloc},
        {"TIFFOpenOptionsFree", &Tiff.openOptionsFree},
        {"TIFFOpenOptionsSetErrorHandlerExtR", &Tiff.openOptionsSetErrorHandlerExtR},
        {"TIFFOpenOptionsSetMaxSingleMemAlloc", &Tiff.openOptionsSetMaxSingleMemAlloc},
        {"TIFFOpenOptionsSetWarningHandlerExtR", &Tiff.openOptionsSetWarningHandlerExtR},
        {"TIFFReadEncodedStrip", &Tiff.readEncodedStrip},
        {"TIFFReadEncodedTile", &Tiff.readEncodedTile},
        {"TIFFScanlineSize64", &Tiff.scanlineSize64},
        {"TIFFSetField", &Tiff.setField},
        {"TIFFTileSize", &Tiff.tileSize},
    };
    static const int ready =
        LibraryLoad(VISTEL_TIFF_LIBRARY, SYMBOLS, sizeof SYMBOLS / sizeof SYMBOLS[0]);
    return ready;
}

static const double LIBRARY_CENTIMETRE_FACTOR = 2.540005; // the program's inches per centimetre
// The largest single block libtiff may allocate for us; a strip or tile larger than this
// comes from a damaged file.
static const tmsize_t LIBRARY_MAX_ALLOC = (tmsize_t)256 << 20;
static const int64_t LIBRARY_SLACK_BYTES = 65536;

// The Orient code that shows a TIFF orientation (1 to 8) the way the TIFF standard reads it,
// with Image rows counted from the bottom. Our own reader keeps a deliberate half turn for 5
// to 8 (see TiffReader.cpp); files that come here were written by other programs, which mean
// what the standard says.
static const int LIBRARY_ORIENT_CODES[9] = {0, 0, 4, 2, 6, 5, 1, 7, 3};

// What the directory says and how its samples become an Image.
struct LibraryLayout {
    uint32_t width;
    uint32_t height;
    uint16_t bits;        // bits of a sample: 1, 2, 4, 8 or 16
    uint16_t samples;     // samples of a pixel, extra samples included
    uint16_t photometric; // 0 white is zero, 1 black is zero, 2 RGB, 3 palette
    uint16_t planar;      // 1 contiguous, 2 one plane per sample
    int type;             // the Image type it becomes
    int colorSamples;     // samples that go into the picture: 1 or 3
    int64_t rowBytes;     // bytes of one contiguous file row
    uint16_t *palette[3]; // red, green, blue maps of a palette, owned by libtiff
    int paletteIs8Bit;    // old writers put 8-bit values into the 16-bit maps
};

// libtiff's warnings and errors are dropped; returning 1 keeps its global handlers quiet too.
static int LibraryDiscard(TIFF *tiff, void *data, const char *module, const char *format,
                          va_list arguments)
{
    (void)tiff, (void)data, (void)module, (void)format, (void)arguments;
    return 1;
}

// How much larger than its file a picture of this compression can plausibly be. Anything that
// claims more is refused before a pixel is allocated.
static int64_t LibraryExpansionLimit(uint16_t compression, int64_t fileSize)
{
    switch (compression) {
    // A file that ends early opens with what it holds, as long as that is a good part.
    case COMPRESSION_NONE: return fileSize * 16 + LIBRARY_SLACK_BYTES;
    case COMPRESSION_PACKBITS:
        return fileSize * 128 + LIBRARY_SLACK_BYTES; // 2 bytes -> 128
    // Fax codings give a blank line in a few bits.
    case COMPRESSION_CCITTRLE:
    case COMPRESSION_CCITTFAX3:
    case COMPRESSION_CCITTFAX4: return fileSize * 16384 + LIBRARY_SLACK_BYTES;
    // LZW, Deflate and JPEG stay near or below 1:1400 even for a flat picture.
    default: return fileSize * 2048 + LIBRARY_SLACK_BYTES;
    }
}

// Reads the tags that shape the picture and decides its type; 0 when we cannot take it.
static int LibraryLayoutRead(TIFF *tiff, LibraryLayout *layout)
{
    uint16_t sampleFormat = SAMPLEFORMAT_UINT;
    uint16_t compression = COMPRESSION_NONE;
    memset(layout, 0, sizeof *layout);
    if (!Tiff.getField(tiff, TIFFTAG_IMAGEWIDTH, &layout->width) ||
        !Tiff.getField(tiff, TIFFTAG_IMAGELENGTH, &layout->height))
        return 0;
    Tiff.getFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &layout->bits);
    Tiff.getFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &layout->samples);
    Tiff.getFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &layout->planar);
    Tiff.getFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &sampleFormat);
    Tiff.getFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
    if (!Tiff.getField(tiff, TIFFTAG_PHOTOMETRIC, &layout->photometric))
        layout->photometric = layout->samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    // JPEG keeps color as YCbCr; libtiff turns it back into RGB for us.
    if (layout->photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG) {
        Tiff.setField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        layout->photometric = PHOTOMETRIC_RGB;
    }
    if (layout->width < 1 || layout->height < 1 || layout->samples < 1) return 0;
    if (layout->width > (1u << 24) || layout->height > (1u << 24)) return 0;
    if (sampleFormat != SAMPLEFORMAT_UINT) return 0; // signed and floating-point samples
    if (layout->planar != PLANARCONFIG_CONTIG && layout->planar != PLANARCONFIG_SEPARATE) return 0;
    if (layout->samples == 1) layout->planar = PLANARCONFIG_CONTIG; // one plane either way

    int bits = layout->bits;
    switch (layout->photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        layout->colorSamples = 1;
        if (bits == 1 && layout->samples == 1)
            layout->type = TYPE_BINARY;
        else if ((bits == 2 || bits == 4) && layout->samples == 1)
            layout->type = TYPE_GRAY8;
        else if (bits == 8)
            layout->type = TYPE_GRAY8;
        else if (bits == 16)
            layout->type = TYPE_GRAY16;
        else
            return 0;
        break;
    case PHOTOMETRIC_RGB:
        layout->colorSamples = 3;
        if (layout->samples < 3) return 0;
        if (bits == 8)
            layout->type = TYPE_COLOR24;
        else if (bits == 16)
            layout->type = TYPE_COLOR48;
        else
            return 0;
        break;
    case PHOTOMETRIC_PALETTE:
        layout->colorSamples = 1;
        if (layout->samples != 1 || (bits != 1 && bits != 2 && bits != 4 && bits != 8)) return 0;
        if (!Tiff.getField(tiff, TIFFTAG_COLORMAP, &layout->palette[0], &layout->palette[1],
                           &layout->palette[2]))
            return 0;
        layout->type = TYPE_COLOR24;
        layout->paletteIs8Bit = 1;
        for (int c = 0; c < 3; c++) {
            for (int i = 0; i < (1 << bits); i++)
                if (layout->palette[c][i] > 255) layout->paletteIs8Bit = 0;
        }
        break;
    default: return 0; // CMYK, Lab, YCbCr without JPEG and the rest
    }
    // Several samples below 8 bits do not split into bytes the way we unpack them.
    if (bits < 8 && layout->samples != 1) return 0;
    if (layout->planar == PLANARCONFIG_SEPARATE && bits < 8) return 0;
    layout->rowBytes = ((int64_t)layout->width * layout->samples * bits + 7) / 8;
    // Our idea of a row must be libtiff's, or a band would be cut at the wrong places.
    if (layout->planar == PLANARCONFIG_CONTIG &&
        (int64_t)Tiff.scanlineSize64(tiff) != layout->rowBytes)
        return 0;
    return 1;
}

// Sample x of a row of samples below 8 bits, most significant bits first.
static int LibrarySubByte(const uint8_t *row, uint32_t x, int bits)
{
    uint32_t bit = x * (uint32_t)bits;
    return (row[bit >> 3] >> (8 - bits - (bit & 7))) & ((1 << bits) - 1);
}

// One contiguous file row into an Image row: blue first, little-endian 16-bit samples, extra
// samples dropped, white-is-zero turned around, palette indices looked up.
static void LibraryRowStore(const LibraryLayout *layout, const uint8_t *in, uint8_t *out)
{
    uint32_t w = layout->width;
    int step = layout->samples;
    int inverted = layout->photometric == PHOTOMETRIC_MINISWHITE;
    switch (layout->type) {
    case TYPE_BINARY: {
        size_t bytes = (w + 7) / 8;
        for (size_t i = 0; i < bytes; i++)
            out[i] = inverted ? (uint8_t)~in[i] : in[i]; // a set bit is white in an Image
        return;
    }
    case TYPE_GRAY8:
        for (uint32_t x = 0; x < w; x++) {
            int value;
            if (layout->bits == 8)
                value = in[(size_t)x * step];
            else
                value = LibrarySubByte(in, x, layout->bits) * 255 / ((1 << layout->bits) - 1);
            out[x] = (uint8_t)(inverted ? 255 - value : value);
        }
        return;
    case TYPE_GRAY16:
        for (uint32_t x = 0; x < w; x++) {
            uint16_t value;
            memcpy(&value, in + (size_t)x * step * 2, 2);
            BytesPut16(out, (int64_t)x * 2, inverted ? (uint16_t)(65535 - value) : value);
        }
        return;
    case TYPE_COLOR24:
        if (layout->photometric == PHOTOMETRIC_PALETTE) {
            for (uint32_t x = 0; x < w; x++, out += 3) {
                int index = layout->bits == 8 ? in[x] : LibrarySubByte(in, x, layout->bits);
                for (int c = 0; c < 3; c++) {
                    int value = layout->palette[2 - c][index];
                    out[c] = layout->paletteIs8Bit ? (uint8_t)value : Depth16To8[value];
                }
            }
            return;
        }
        for (uint32_t x = 0; x < w; x++, in += step, out += 3) {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
        }
        return;
    case TYPE_COLOR48:
        for (uint32_t x = 0; x < w; x++, in += 2 * step, out += 6) {
            uint16_t rgb[3];
            memcpy(rgb, in, sizeof rgb);
            BytesPut16(out, 0, rgb[2]);
            BytesPut16(out, 2, rgb[1]);
            BytesPut16(out, 4, rgb[0]);
        }
        return;
    default: return;
    }
}

// Puts the samples of one plane (rows of columns x0.. of width columns, sampleBytes each, one
// after the other at planeRowBytes) into their places in the band's contiguous rows.
static void LibraryPlaneSpread(const LibraryLayout *layout, const uint8_t *plane,
                               int64_t planeRowBytes, uint32_t rows, uint32_t x0, uint32_t columns,
                               int sample, uint8_t *band)
{
    int sampleBytes = layout->bits / 8;
    for (uint32_t r = 0; r < rows; r++) {
        const uint8_t *in = plane + r * planeRowBytes;
        uint8_t *out =
            band + r * layout->rowBytes + ((int64_t)x0 * layout->samples + sample) * sampleBytes;
        for (uint32_t x = 0; x < columns;
             x++, in += sampleBytes, out += layout->samples * sampleBytes)
            memcpy(out, in, (size_t)sampleBytes);
    }
}

// Fills band with file rows y0..y0+rows-1 from strips; piece holds one plane's strip.
static int LibraryStripsRead(TIFF *tiff, const LibraryLayout *layout, uint32_t y0, uint32_t rows,
                             uint8_t *band, uint8_t *piece)
{
    if (layout->planar == PLANARCONFIG_CONTIG) {
        tmsize_t wanted = (tmsize_t)(rows * layout->rowBytes);
        return Tiff.readEncodedStrip(tiff, Tiff.computeStrip(tiff, y0, 0), band, wanted) == wanted;
    }
    int64_t planeRowBytes = (int64_t)layout->width * (layout->bits / 8);
    tmsize_t wanted = (tmsize_t)(rows * planeRowBytes);
    for (int c = 0; c < layout->colorSamples; c++) {
        if (Tiff.readEncodedStrip(tiff, Tiff.computeStrip(tiff, y0, (uint16_t)c), piece, wanted) !=
            wanted)
            return 0;
        LibraryPlaneSpread(layout, piece, planeRowBytes, rows, 0, layout->width, c, band);
    }
    return 1;
}

// Fills band with file rows y0..y0+rows-1 from the row of tiles that starts there.
static int LibraryTilesRead(TIFF *tiff, const LibraryLayout *layout, uint32_t tileWidth,
                            uint32_t y0, uint32_t rows, uint8_t *band, uint8_t *piece)
{
    tmsize_t tileBytes = Tiff.tileSize(tiff);
    for (uint32_t x0 = 0; x0 < layout->width; x0 += tileWidth) {
        uint32_t columns = layout->width - x0 < tileWidth ? layout->width - x0 : tileWidth;
        if (layout->planar == PLANARCONFIG_CONTIG) {
            if (Tiff.readEncodedTile(tiff, Tiff.computeTile(tiff, x0, y0, 0, 0), piece,
                                     tileBytes) != tileBytes)
                return 0;
            // Tile widths are multiples of 16, so a tile starts on a byte at any depth.
            int64_t tileRowBytes = ((int64_t)tileWidth * layout->samples * layout->bits + 7) / 8;
            int64_t start = (int64_t)x0 * layout->samples * layout->bits / 8;
            int64_t bytes = ((int64_t)columns * layout->samples * layout->bits + 7) / 8;
            for (uint32_t r = 0; r < rows; r++)
                memcpy(band + r * layout->rowBytes + start, piece + r * tileRowBytes,
                       (size_t)bytes);
            continue;
        }
        int64_t planeRowBytes = (int64_t)tileWidth * (layout->bits / 8);
        for (int c = 0; c < layout->colorSamples; c++) {
            if (Tiff.readEncodedTile(tiff, Tiff.computeTile(tiff, x0, y0, 0, (uint16_t)c), piece,
                                     tileBytes) != tileBytes)
                return 0;
            LibraryPlaneSpread(layout, piece, planeRowBytes, rows, x0, columns, c, band);
        }
    }
    return 1;
}

// The resolution in dots per inch, or the preference when the file gives none.
static double LibraryResolution(TIFF *tiff)
{
    float x = 0.0f;
    uint16_t unit = RESUNIT_INCH;
    Tiff.getFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
    if (!Tiff.getField(tiff, TIFFTAG_XRESOLUTION, &x) || !std::isfinite(x) || x <= 0.0f)
        return Prefs.defaultResolution;
    return unit == RESUNIT_CENTIMETER ? x * LIBRARY_CENTIMETRE_FACTOR : (double)x;
}

ErrorCode TiffLibraryRead(const char *path, Image *image, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    FileDamage found; // rows the file does not give
    TIFFOpenOptions *options = nullptr;
    TIFF *tiff = nullptr;
    FileHandle file = FILE_HANDLE_NONE;
    uint8_t *band = nullptr;  // file rows of one strip or one row of tiles
    uint8_t *piece = nullptr; // one plane's strip, or one tile
    int progressOpen = 0;
    int tiled = 0;
    int64_t fileSize = 0;
    uint32_t bandRows = 0;
    uint32_t tileWidth = 0;
    uint16_t compression = COMPRESSION_NONE;
    uint16_t orientation = ORIENTATION_TOPLEFT;
    size_t pieceBytes = 0;
    LibraryLayout layout;
    Image oriented;

    ImageClear(&oriented);
    FileDamageClear(&found);
    if (FileOpenRead(path, &file) != ERROR_NONE || FileSize(file, &fileSize) != ERROR_NONE) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    FileClose(&file);
    if (!TiffLibraryReady()) {
        result = ERROR_READ_TIFF;
        goto done;
    }

    // Per-file handlers and an allocation limit, so that nothing of libtiff's reaches the
    // terminal and no damaged count makes it allocate without bound.
    options = Tiff.openOptionsAlloc();
    if (options == nullptr) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    Tiff.openOptionsSetMaxSingleMemAlloc(options, LIBRARY_MAX_ALLOC);
    Tiff.openOptionsSetErrorHandlerExtR(options, LibraryDiscard, nullptr);
    Tiff.openOptionsSetWarningHandlerExtR(options, LibraryDiscard, nullptr);
    tiff = Tiff.openExt(path, "r", options);
    if (tiff == nullptr || !LibraryLayoutRead(tiff, &layout)) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    Tiff.getFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
    if (layout.rowBytes * layout.height > LibraryExpansionLimit(compression, fileSize)) {
        result = ERROR_READ_TIFF;
        goto done;
    }

    // A band is one strip's rows, or one row of tiles.
    tiled = Tiff.isTiled(tiff);
    if (tiled) {
        uint32_t tileLength = 0;
        if (!Tiff.getField(tiff, TIFFTAG_TILEWIDTH, &tileWidth) ||
            !Tiff.getField(tiff, TIFFTAG_TILELENGTH, &tileLength) || tileWidth < 1 ||
            tileLength < 1 || ((int64_t)tileWidth * layout.bits) % 8 != 0 ||
            Tiff.tileSize(tiff) <= 0) {
            result = ERROR_READ_TIFF;
            goto done;
        }
        bandRows = tileLength;
        pieceBytes = (size_t)Tiff.tileSize(tiff);
        // The copies below take a tile as tileLength rows of our own row size: libtiff must
        // agree, or they would read past the tile.
        int64_t tileRowBytes = layout.planar == PLANARCONFIG_CONTIG
                                   ? ((int64_t)tileWidth * layout.samples * layout.bits + 7) / 8
                                   : (int64_t)tileWidth * (layout.bits / 8);
        if ((int64_t)pieceBytes != tileRowBytes * tileLength) {
            result = ERROR_READ_TIFF;
            goto done;
        }
    } else {
        Tiff.getFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &bandRows);
        if (bandRows < 1) bandRows = 1;
        if (layout.planar == PLANARCONFIG_SEPARATE)
            pieceBytes = (size_t)((int64_t)layout.width * (layout.bits / 8) *
                                  (bandRows < layout.height ? bandRows : layout.height));
    }
    if (bandRows > layout.height) bandRows = layout.height;
    // The band and the piece come from sizes in the file too: they get the picture's bound.
    if ((int64_t)bandRows * layout.rowBytes > LibraryExpansionLimit(compression, fileSize) ||
        (int64_t)pieceBytes > LibraryExpansionLimit(compression, fileSize)) {
        result = ERROR_READ_TIFF;
        goto done;
    }
    band = (uint8_t *)MemoryAllocZero((size_t)(bandRows * layout.rowBytes));
    if (band == nullptr ||
        (pieceBytes > 0 && (piece = (uint8_t *)MemoryAlloc(pieceBytes)) == nullptr)) {
        result = ERROR_READ_TIFF;
        goto done;
    }

    result = ImageAlloc(image, layout.type, (int)layout.width, (int)layout.height,
                        LibraryResolution(tiff));
    if (result != ERROR_NONE) goto done;
    if (showProgress) {
        ProgressOpen(0, (int)layout.height - 1, "TIFF Read", 1);
        progressOpen = 1;
    }
    for (uint32_t y0 = 0; y0 < layout.height; y0 += bandRows) {
        uint32_t rows = layout.height - y0 < bandRows ? layout.height - y0 : bandRows;
        int read = tiled ? LibraryTilesRead(tiff, &layout, tileWidth, y0, rows, band, piece)
                         : LibraryStripsRead(tiff, &layout, y0, rows, band, piece);
        // A band libtiff cannot read (its bytes lie past the end of the file, or stop short)
        // is missing; the bands after it may still be whole.
        if (!read) RasterRowsMissing(image, y0, y0 + rows - 1, &found);
        // The first file row is the top of the picture: Image row height - 1.
        for (uint32_t r = 0; r < rows; r++) {
            uint32_t fileRow = y0 + r;
            if (read)
                LibraryRowStore(&layout, band + r * layout.rowBytes,
                                image->rows[layout.height - 1 - fileRow]);
            if (showProgress) {
                result = ProgressStep((int)fileRow);
                if (result != ERROR_NONE) goto done;
            } else {
                ProgressPump();
            }
        }
    }

    Tiff.getFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &orientation);
    if (orientation > ORIENTATION_TOPLEFT && orientation <= ORIENTATION_LEFTBOT) {
        result = OrientImageCode(image, &oriented, LIBRARY_ORIENT_CODES[orientation], 0);
        if (result != ERROR_NONE) goto done;
        FileDamageOrient(&found, LIBRARY_ORIENT_CODES[orientation], image->height);
        ImageFree(image);
        *image = oriented; // the turned picture takes the record's place, with its new size
        ImageClear(&oriented);
    }
    result = RasterDamageResult(result, &found, damage, ERROR_READ_TIFF);

done:
    if (progressOpen) ProgressClose();
    FileClose(&file);
    if (tiff != nullptr) Tiff.close(tiff);
    if (options != nullptr) Tiff.openOptionsFree(options);
    MemoryFree(band);
    MemoryFree(piece);
    ImageFree(&oriented);
    if (result != ERROR_NONE && result != ERROR_ABORTED) {
        ImageAlloc(image, TYPE_EMPTY, 0, 0, 0.0);
        result = ERROR_READ_TIFF;
    }
    return result;
}
