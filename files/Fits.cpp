// FITS files through cfitsio.
//
// cfitsio is given plain file names only through its "disk file" calls, which take a name
// as it stands: its usual calls would read brackets, parentheses and a leading "!" in a
// folder name as instructions. It keeps a stack of error messages that it never prints by
// itself; we clear it after every read and write so that nothing accumulates there.
//
// Values are scaled by cfitsio (BZERO + BSCALE * stored) whenever we ask it for doubles; the
// two common layouts that need no scaling (unsigned bytes, unsigned 16-bit with BZERO 32768)
// are read as they stand so that not a level is lost to rounding.
//
// cfitsio is loaded at the first FITS file, not at start-up: it links the network libraries
// of its remote files, whose loading used to cost every run of the program more time than
// reading a large TIFF file does. Its header still gives the types and the prototypes.
#include "files/Fits.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fitsio.h>

#include "core/Compute.h"
#include "core/File.h"
#include "core/Library.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/RasterInput.h"

// The cfitsio functions we call, by the names of their prototypes in fitsio.h.
struct FitsFunctions {
    decltype(&ffgky) readKey;
    decltype(&ffmahd) moveToHdu;
    decltype(&ffgiprll) imageParameters;
    decltype(&ffgpxv) readPixels;
    decltype(&ffdkopn) openDiskFile;
    decltype(&ffclos) closeFile;
    decltype(&ffcmsg) clearMessages;
    decltype(&ffdkinit) createDiskFile;
    decltype(&ffcrim) createImage;
    decltype(&ffppx) writePixels;
};

static FitsFunctions Fits;

// 1 once cfitsio and all its functions are there; loaded at the first call.
static int FitsLibraryReady(void)
{
    static const LibrarySymbol SYMBOLS[] = {
        {"ffgky", &Fits.readKey},
        {"ffmahd", &Fits.moveToHdu},
        {"ffgiprll", &Fits.imageParameters},
        {"ffgpxv", &Fits.readPixels},
        {"ffdkopn", &Fits.openDiskFile},
        {"ffclos", &Fits.closeFile},
        {"ffcmsg", &Fits.clearMessages},
        {"ffdkinit", &Fits.createDiskFile},
        {"ffcrim", &Fits.createImage},
        {"ffppx", &Fits.writePixels},
    };
    static const int ready =
        LibraryLoad(VISTEL_CFITSIO_LIBRARY, SYMBOLS, sizeof SYMBOLS / sizeof SYMBOLS[0]);
    return ready;
}

static const int FITS_MOST_HDUS = 1000;           // cfitsio's own limit of extensions in a file
static const int FITS_BLOCK = 2880;               // bytes of a header or data block
static const int FITS_CARD = 80;                  // bytes of a header card
static const double FITS_UNSIGNED_ZERO = 32768.0; // BZERO of unsigned 16-bit data

// How the samples of the chosen HDU become our samples.
enum : int32_t {
    FITS_BYTES = 0,    // unsigned bytes as they stand
    FITS_UNSIGNED = 1, // unsigned 16-bit as it stands
    FITS_SCALED = 2,   // scaled values, rounded and clipped
    FITS_FLOATS = 3,   // floating point, normalised or clipped
};

// The picture found in the file.
struct FitsLayout {
    int64_t width;
    int64_t height;
    int bitpix;
    int mode;      // FITS_*
    int type;      // TYPE_GRAY8 or TYPE_GRAY16
    double top;    // the largest level of type: 255 or 65535
    double factor; // multiplies scaled values: 65535 for normalised floats, else 1
};

// Reads a keyword as a double, or gives fallback when the header lacks it.
static double FitsKeyRead(fitsfile *fits, const char *name, double fallback)
{
    int status = 0;
    double value = fallback;
    if (Fits.readKey(fits, TDOUBLE, name, &value, nullptr, &status) != 0) return fallback;
    return std::isfinite(value) ? value : fallback;
}

// What our own walk over the headers learns of one HDU.
struct FitsHeader {
    int image; // 1 for the primary HDU or an IMAGE extension, 0 for tables and the rest
    int bitpix;
    int naxis;        // -1 until the card is met
    int64_t axes[3];  // the first three axes; the others only count toward the data's size
    int64_t elements; // product of all axes, capped at the file's size
    int64_t pcount;
    int64_t gcount;
};

// The integer value of a header card ("KEYWORD = value / comment"). 0 when it has none.
static int FitsCardInteger(const char *card, int64_t *value)
{
    if (card[8] != '=' || card[9] != ' ') return 0;
    int i = 10;
    while (i < FITS_CARD && card[i] == ' ')
        i++;
    int negative = i < FITS_CARD && card[i] == '-';
    if (i < FITS_CARD && (card[i] == '-' || card[i] == '+')) i++;
    int64_t v = 0;
    int digits = 0;
    for (; i < FITS_CARD && card[i] >= '0' && card[i] <= '9' && digits < 15; i++, digits++)
        v = v * 10 + (card[i] - '0');
    if (digits == 0 || (i < FITS_CARD && card[i] != ' ' && card[i] != '/')) return 0;
    *value = negative ? -v : v;
    return 1;
}

static int FitsCardIs(const char *card, const char *keyword)
{
    size_t length = strlen(keyword);
    if (memcmp(card, keyword, length) != 0) return 0;
    for (size_t i = length; i < 8; i++)
        if (card[i] != ' ') return 0;
    return 1;
}

// Reads the header that starts at offset up to its END card. *dataStart receives the offset
// of its data. 0 when the header is damaged or cut short.
static int FitsHeaderRead(FileHandle file, int64_t fileSize, int64_t offset, int primary,
                          FitsHeader *header, int64_t *dataStart)
{
    char block[FITS_BLOCK];
    int first = 1;
    memset(header, 0, sizeof *header);
    header->naxis = -1;
    header->gcount = 1;
    for (; offset < fileSize; offset += FITS_BLOCK) {
        if (FileSeek(file, offset) != ERROR_NONE ||
            FileReadExact(file, block, FITS_BLOCK) != ERROR_NONE)
            return 0;
        for (int c = 0; c < FITS_BLOCK / FITS_CARD; c++, first = 0) {
            const char *card = block + c * FITS_CARD;
            int64_t value = 0;
            if (first) {
                // The first card names the kind of HDU.
                if (primary) {
                    if (!FitsCardIs(card, "SIMPLE")) return 0;
                    header->image = 1;
                } else {
                    if (!FitsCardIs(card, "XTENSION")) return 0;
                    header->image = memcmp(card + 10, "'IMAGE ", 7) == 0;
                }
                continue;
            }
            if (FitsCardIs(card, "END")) {
                *dataStart = offset + FITS_BLOCK;
                return header->naxis >= 0 && header->bitpix != 0;
            }
            if (FitsCardIs(card, "BITPIX") && FitsCardInteger(card, &value)) {
                header->bitpix = (int)value;
            } else if (FitsCardIs(card, "NAXIS") && FitsCardInteger(card, &value)) {
                if (value < 0 || value > 999) return 0;
                header->naxis = (int)value;
                header->elements = value > 0 ? 1 : 0;
            } else if (memcmp(card, "NAXIS", 5) == 0 && FitsCardInteger(card, &value)) {
                if (value < 0 || header->naxis < 0) return 0;
                int axis = atoi(card + 5); // "NAXIS1" .. "NAXIS999"
                if (axis >= 1 && axis <= 3) header->axes[axis - 1] = value;
                // The product only has to tell whether the data fit the file.
                header->elements =
                    value == 0 || header->elements == 0
                        ? 0
                        : (header->elements > fileSize / value ? fileSize + 1
                                                               : header->elements * value);
            } else if (FitsCardIs(card, "PCOUNT") && FitsCardInteger(card, &value)) {
                if (value < 0 || value > fileSize) return 0;
                header->pcount = value;
            } else if (FitsCardIs(card, "GCOUNT") && FitsCardInteger(card, &value)) {
                if (value < 0 || value > fileSize) return 0;
                header->gcount = value;
            }
        }
    }
    return 0;
}

// Walks the HDUs by their headers, the way the format lays them out, to the first image
// with one plane of samples; returns its number (1 for the primary HDU), or 0. cfitsio
// trusts the column counts and sizes of a table's header when it moves over one, so a
// picture behind a table is not looked for: a damaged table must not make it allocate
// without bound. Such files are rare; pictures come first.
static int FitsImageFind(FileHandle file, int64_t fileSize)
{
    int64_t offset = 0;
    for (int hdu = 1; hdu <= FITS_MOST_HDUS && offset < fileSize; hdu++) {
        FitsHeader header;
        int64_t dataStart = 0;
        if (!FitsHeaderRead(file, fileSize, offset, hdu == 1, &header, &dataStart)) return 0;
        if (!header.image) return 0;
        if (header.naxis == 2 || (header.naxis == 3 && header.axes[2] == 1)) return hdu;
        // An empty primary HDU, a one-dimensional image or a cube of several planes: the
        // next HDU starts after the data, rounded up to whole blocks.
        int sampleBytes = (header.bitpix < 0 ? -header.bitpix : header.bitpix) / 8;
        if (sampleBytes < 1 || sampleBytes > 8) return 0;
        int64_t units = header.elements + header.pcount;
        if (units > fileSize || header.gcount > fileSize / (units > 0 ? units : 1)) return 0;
        int64_t bytes = units * header.gcount * sampleBytes;
        if (bytes > fileSize - dataStart) return 0;
        offset = dataStart + (bytes + FITS_BLOCK - 1) / FITS_BLOCK * FITS_BLOCK;
    }
    return 0;
}

// Moves to the image HDU our walk found and describes it. 0 when we cannot read it.
static int FitsImageDescribe(fitsfile *fits, int hdu, int64_t fileSize, FitsLayout *layout)
{
    int status = 0;
    int hduType = 0;
    int bitpix = 0;
    int naxis = 0;
    LONGLONG naxes[3] = {0, 0, 0};
    if (Fits.moveToHdu(fits, hdu, &hduType, &status) != 0 || hduType != IMAGE_HDU) return 0;
    if (Fits.imageParameters(fits, 3, &bitpix, &naxis, naxes, &status) != 0) return 0;
    if (naxis != 2 && !(naxis == 3 && naxes[2] == 1)) return 0; // not what our walk found
    if (naxes[0] < 1 || naxes[1] < 1 || naxes[0] > (1 << 24) || naxes[1] > (1 << 24)) return 0;
    int sampleBytes = (bitpix < 0 ? -bitpix : bitpix) / 8;
    if (sampleBytes != 1 && sampleBytes != 2 && sampleBytes != 4 && sampleBytes != 8) return 0;
    // The data stand in the file uncompressed: a file that ends early opens with what it
    // holds, but one that claims far more than it holds is refused.
    if (!RasterBackedByFile(naxes[0] * naxes[1] * sampleBytes, fileSize, RASTER_DAMAGED_RATIO))
        return 0;

    double zero = FitsKeyRead(fits, "BZERO", 0.0);
    double scale = FitsKeyRead(fits, "BSCALE", 1.0);
    layout->width = naxes[0];
    layout->height = naxes[1];
    layout->bitpix = bitpix;
    layout->type = TYPE_GRAY16;
    layout->top = 65535.0;
    layout->factor = 1.0;
    if (bitpix == BYTE_IMG) {
        layout->type = TYPE_GRAY8;
        layout->top = 255.0;
        layout->mode = zero == 0.0 && scale == 1.0 ? FITS_BYTES : FITS_SCALED;
    } else if (bitpix == SHORT_IMG && zero == FITS_UNSIGNED_ZERO && scale == 1.0) {
        layout->mode = FITS_UNSIGNED;
    } else if (bitpix == FLOAT_IMG || bitpix == DOUBLE_IMG) {
        layout->mode = FITS_FLOATS;
    } else {
        layout->mode = FITS_SCALED;
    }
    return 1;
}

// Whether every defined value of a floating-point picture lies in 0..1. Reads it once, as
// far as the file holds it.
static ErrorCode FitsFloatsNormalised(fitsfile *fits, const FitsLayout *layout, double *buffer,
                                      int progressOpen, int *normalised)
{
    *normalised = 1;
    for (int64_t y = 0; y < layout->height; y++) {
        int status = 0;
        long first[3] = {1, (long)(y + 1), 1};
        if (Fits.readPixels(fits, TDOUBLE, first, layout->width, nullptr, buffer, nullptr,
                            &status) != 0)
            return ERROR_NONE; // the rows the file lacks are missing from the picture too
        for (int64_t x = 0; x < layout->width; x++) {
            double v = buffer[x];
            if (std::isfinite(v) && (v < 0.0 || v > 1.0)) *normalised = 0;
        }
        if (progressOpen) {
            ErrorCode result = ProgressStep((int)y);
            if (result != ERROR_NONE) return result;
        }
    }
    return ERROR_NONE;
}

// One scaled value as a level of the picture: rounded, clipped, undefined as 0.
static int FitsLevel(double value, const FitsLayout *layout)
{
    if (!std::isfinite(value)) return 0;
    value *= layout->factor;
    if (value <= 0.0) return 0;
    if (value >= layout->top) return (int)layout->top;
    return (int)(value + 0.5);
}

// Reads the rows of the chosen HDU into image; FITS row 1 is our row 0, the bottom. A row
// the file cannot give is where it ends: that row and those above it go to found.
static ErrorCode FitsRowsRead(fitsfile *fits, const FitsLayout *layout, double *buffer,
                              int progressOpen, int progressBase, Image *image, FileDamage *found)
{
    for (int64_t y = 0; y < layout->height; y++) {
        int status = 0;
        long first[3] = {1, (long)(y + 1), 1};
        uint8_t *out = image->rows[y];
        switch (layout->mode) {
        case FITS_BYTES:
            Fits.readPixels(fits, TBYTE, first, layout->width, nullptr, out, nullptr, &status);
            break;
        case FITS_UNSIGNED:
            // Read into the double buffer's memory, then laid out little-endian.
            Fits.readPixels(fits, TUSHORT, first, layout->width, nullptr, buffer, nullptr, &status);
            if (status == 0) {
                const uint16_t *values = (const uint16_t *)buffer;
                for (int64_t x = 0; x < layout->width; x++)
                    BytesPut16(out, 2 * x, values[x]);
            }
            break;
        default:
            Fits.readPixels(fits, TDOUBLE, first, layout->width, nullptr, buffer, nullptr, &status);
            if (status != 0) break;
            if (layout->type == TYPE_GRAY8) {
                for (int64_t x = 0; x < layout->width; x++)
                    out[x] = (uint8_t)FitsLevel(buffer[x], layout);
            } else {
                for (int64_t x = 0; x < layout->width; x++)
                    BytesPut16(out, 2 * x, (uint16_t)FitsLevel(buffer[x], layout));
            }
            break;
        }
        if (status != 0) {
            RasterRowsMissingFrom(image, y, 0, found);
            break;
        }
        if (progressOpen) {
            ErrorCode result = ProgressStep(progressBase + (int)y);
            if (result != ERROR_NONE) return result;
        }
    }
    return ERROR_NONE;
}

ErrorCode ReadFitsFile(const char *path, Picture *picture, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    FileDamage found;
    FileHandle file = FILE_HANDLE_NONE;
    fitsfile *fits = nullptr;
    double *buffer = nullptr; // one row of doubles, or of 16-bit values
    FitsLayout layout;
    Image image;
    int64_t fileSize = 0;
    int status = 0;
    int passes = 1;
    int progressOpen = 0;
    int hdu = 0;

    ImageClear(&image);
    FileDamageClear(&found);
    // Our own open first: it tells a missing file from a damaged one, gives the size, and
    // finds the picture before cfitsio reads any header.
    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(file, &fileSize) != ERROR_NONE || (hdu = FitsImageFind(file, fileSize)) == 0) {
        result = ERROR_READ_FITS;
        goto done;
    }
    FileClose(&file);

    if (!FitsLibraryReady() || Fits.openDiskFile(&fits, path, READONLY, &status) != 0) {
        fits = nullptr;
        result = ERROR_READ_FITS;
        goto done;
    }
    if (!FitsImageDescribe(fits, hdu, fileSize, &layout)) {
        result = ERROR_READ_FITS;
        goto done;
    }
    buffer = (double *)MemoryAlloc((size_t)layout.width * sizeof(double));
    if (buffer == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    result = ImageAlloc(&image, layout.type, (int)layout.width, (int)layout.height,
                        Prefs.defaultResolution);
    if (result != ERROR_NONE) goto done;

    if (layout.mode == FITS_FLOATS) passes = 2; // one to learn the range, one to store
    if (showProgress && layout.width * layout.height >= PROGRESS_PIXELS) {
        ProgressOpen(0, passes * (int)layout.height - 1, "FITS Read", 1);
        progressOpen = 1;
    }
    if (layout.mode == FITS_FLOATS) {
        int normalised = 0;
        result = FitsFloatsNormalised(fits, &layout, buffer, progressOpen, &normalised);
        if (result != ERROR_NONE) goto done;
        if (normalised) layout.factor = 65535.0;
    }
    result = FitsRowsRead(fits, &layout, buffer, progressOpen, (passes - 1) * (int)layout.height,
                          &image, &found);
    result = RasterDamageResult(result, &found, damage, ERROR_READ_FITS);
    if (result != ERROR_NONE) goto done;
    ImageFree(&picture->image);
    picture->image = image; // the storage moves with the record
    ImageClear(&image);
done:
    if (progressOpen) ProgressClose();
    if (fits != nullptr) {
        status = 0;
        Fits.closeFile(fits, &status);
    }
    if (Fits.clearMessages != nullptr) Fits.clearMessages(); // null when never loaded
    FileClose(&file);
    MemoryFree(buffer);
    ImageFree(&image);
    if (result != ERROR_NONE) ImageFree(&picture->image);
    return result;
}

ErrorCode SaveFitsFile(const char *path, Picture *picture)
{
    const Image *image = &picture->image;
    ErrorCode result = ERROR_NONE;
    SafeFile safe;
    fitsfile *fits = nullptr;
    uint8_t *buffer = nullptr; // one row of 16-bit values in the machine's order
    int fitsStatus = 0;
    int progressOpen = 0;
    int wide = image->type == TYPE_GRAY16;
    long naxes[2] = {image->width, image->height};

    SafeFileReset(&safe);
    if (image->type != TYPE_GRAY8 && image->type != TYPE_GRAY16) {
        result = ERROR_SAVE_TYPE_FITS;
        goto done;
    }
    if (!FitsLibraryReady()) {
        result = ERROR_WRITE_FITS;
        goto done;
    }
    buffer = (uint8_t *)MemoryAlloc((size_t)image->width * sizeof(uint16_t));
    if (buffer == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    // cfitsio's disk-file call refuses to create over an existing file, so the empty file
    // SafeFileCreate made is removed and cfitsio makes it anew under the same name, which
    // stays listed for removal on a failure or a signal. The commit then works on it.
    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    FileClose(&safe.file);
    remove(safe.temporary);
    if (Fits.createDiskFile(&fits, safe.temporary, &fitsStatus) != 0) {
        fits = nullptr;
        result = ERROR_WRITE_FITS;
        goto done;
    }
    if (SafeFileTakeOver(&safe) != ERROR_NONE) {
        result = ERROR_WRITE_FITS;
        goto done;
    }
    // cfitsio writes an unsigned 16-bit picture as BITPIX 16 with BZERO 32768 itself.
    if (Fits.createImage(fits, wide ? USHORT_IMG : BYTE_IMG, 2, naxes, &fitsStatus) != 0) {
        result = ERROR_WRITE_FITS;
        goto done;
    }
    if ((int64_t)image->width * image->height >= PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, "FITS Write", 1);
        progressOpen = 1;
    }
    for (int y = 0; y < image->height; y++) {
        long first[2] = {1, y + 1}; // FITS row 1 is the bottom, like our row 0
        const uint8_t *row = image->rows[y];
        if (wide) {
            uint16_t *values = (uint16_t *)buffer;
            for (int x = 0; x < image->width; x++)
                values[x] = BytesGet16(row, 2 * x, 1);
            Fits.writePixels(fits, TUSHORT, first, image->width, values, &fitsStatus);
        } else {
            Fits.writePixels(fits, TBYTE, first, image->width, (void *)row, &fitsStatus);
        }
        if (fitsStatus != 0) {
            result = ERROR_WRITE_FITS;
            goto done;
        }
        if (progressOpen && (result = ProgressStep(y)) != ERROR_NONE) goto done;
    }
    if (Fits.closeFile(fits, &fitsStatus) != 0) {
        fits = nullptr;
        result = ERROR_WRITE_FITS;
        goto done;
    }
    fits = nullptr;
    result = SafeFileCommit(&safe);
done:
    if (progressOpen) ProgressClose();
    if (fits != nullptr) {
        fitsStatus = 0;
        Fits.closeFile(fits, &fitsStatus);
    }
    if (Fits.clearMessages != nullptr) Fits.clearMessages(); // null when never loaded
    SafeFileAbandon(&safe); // removes the temporary file unless it was committed
    MemoryFree(buffer);
    return result;
}
