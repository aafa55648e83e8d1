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
#include "files/Fits.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fitsio.h>
#include <sys/stat.h>

#include "core/Compute.h"
#include "core/File.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"

static const int FITS_MOST_HDUS = 1000;           // cfitsio's own limit of extensions in a file
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
    if (fits_read_key(fits, TDOUBLE, name, &value, nullptr, &status) != 0) return fallback;
    return std::isfinite(value) ? value : fallback;
}

// Moves to the first image HDU with one plane of samples and describes it. 0 when the file
// has none that we can read.
static int FitsFindImage(fitsfile *fits, int64_t fileSize, FitsLayout *layout)
{
    for (int hdu = 1; hdu <= FITS_MOST_HDUS; hdu++) {
        int status = 0;
        int hduType = 0;
        int bitpix = 0;
        int naxis = 0;
        LONGLONG naxes[3] = {0, 0, 0};
        if (fits_movabs_hdu(fits, hdu, &hduType, &status) != 0) return 0; // no more HDUs
        if (hduType != IMAGE_HDU) continue;
        if (fits_get_img_paramll(fits, 3, &bitpix, &naxis, naxes, &status) != 0) return 0;
        // An empty primary HDU, a one-dimensional image or a cube of several planes: look
        // further.
        if (naxis != 2 && !(naxis == 3 && naxes[2] == 1)) continue;
        if (fits_is_compressed_image(fits, &status)) return 0; // see the header
        if (naxes[0] < 1 || naxes[1] < 1 || naxes[0] > (1 << 24) || naxes[1] > (1 << 24)) return 0;
        int sampleBytes = (bitpix < 0 ? -bitpix : bitpix) / 8;
        if (sampleBytes != 1 && sampleBytes != 2 && sampleBytes != 4 && sampleBytes != 8) return 0;
        // The data stand in the file uncompressed: a picture larger than the file is damaged.
        if (naxes[0] * naxes[1] > fileSize / sampleBytes) return 0;

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
    return 0;
}

// Whether every defined value of a floating-point picture lies in 0..1. Reads it once.
static ErrorCode FitsFloatsNormalised(fitsfile *fits, const FitsLayout *layout, double *buffer,
                                      int progressOpen, int *normalised)
{
    *normalised = 1;
    for (int64_t y = 0; y < layout->height; y++) {
        int status = 0;
        long first[3] = {1, (long)(y + 1), 1};
        if (fits_read_pix(fits, TDOUBLE, first, layout->width, nullptr, buffer, nullptr, &status) !=
            0)
            return ERROR_READ_FITS;
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

// Reads the rows of the chosen HDU into image; FITS row 1 is our row 0, the bottom.
static ErrorCode FitsRowsRead(fitsfile *fits, const FitsLayout *layout, double *buffer,
                              int progressOpen, int progressBase, Image *image)
{
    for (int64_t y = 0; y < layout->height; y++) {
        int status = 0;
        long first[3] = {1, (long)(y + 1), 1};
        uint8_t *out = image->rows[y];
        switch (layout->mode) {
        case FITS_BYTES:
            fits_read_pix(fits, TBYTE, first, layout->width, nullptr, out, nullptr, &status);
            break;
        case FITS_UNSIGNED:
            // Read into the double buffer's memory, then laid out little-endian.
            fits_read_pix(fits, TUSHORT, first, layout->width, nullptr, buffer, nullptr, &status);
            if (status == 0) {
                const uint16_t *values = (const uint16_t *)buffer;
                for (int64_t x = 0; x < layout->width; x++)
                    BytesPut16(out, 2 * x, values[x]);
            }
            break;
        default:
            fits_read_pix(fits, TDOUBLE, first, layout->width, nullptr, buffer, nullptr, &status);
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
        if (status != 0) return ERROR_READ_FITS;
        if (progressOpen) {
            ErrorCode result = ProgressStep(progressBase + (int)y);
            if (result != ERROR_NONE) return result;
        }
    }
    return ERROR_NONE;
}

ErrorCode ReadFitsFile(const char *path, ImageWindow *window, int showProgress)
{
    ErrorCode result = ERROR_NONE;
    FileHandle file = FILE_HANDLE_NONE;
    fitsfile *fits = nullptr;
    double *buffer = nullptr; // one row of doubles, or of 16-bit values
    FitsLayout layout;
    Image image;
    int64_t fileSize = 0;
    int status = 0;
    int passes = 1;
    int progressOpen = 0;

    ImageClear(&image);
    // Our own open first: it tells a missing file from a damaged one, and gives the size.
    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(file, &fileSize) != ERROR_NONE) {
        result = ERROR_READ_FITS;
        goto done;
    }
    FileClose(&file);

    if (fits_open_diskfile(&fits, path, READONLY, &status) != 0) {
        fits = nullptr;
        result = ERROR_READ_FITS;
        goto done;
    }
    if (!FitsFindImage(fits, fileSize, &layout)) {
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
                          &image);
    if (result != ERROR_NONE) goto done;
    ImageFree(&window->image);
    window->image = image; // the storage moves with the record
    ImageClear(&image);
done:
    if (progressOpen) ProgressClose();
    if (fits != nullptr) {
        status = 0;
        fits_close_file(fits, &status);
    }
    fits_clear_errmsg();
    FileClose(&file);
    MemoryFree(buffer);
    ImageFree(&image);
    if (result != ERROR_NONE) ImageFree(&window->image);
    return result;
}

ErrorCode SaveFitsFile(const char *path, ImageWindow *window)
{
    const Image *image = &window->image;
    ErrorCode result = ERROR_NONE;
    SafeFile safe;
    fitsfile *fits = nullptr;
    uint8_t *buffer = nullptr; // one row of 16-bit values in the machine's order
    struct stat created;       // the temporary file as SafeFileCreate made it
    int fitsStatus = 0;
    int progressOpen = 0;
    int wide = image->type == TYPE_GRAY16;
    long naxes[2] = {image->width, image->height};

    SafeFileReset(&safe);
    if (image->type != TYPE_GRAY8 && image->type != TYPE_GRAY16) {
        result = ERROR_SAVE_TYPE_FITS;
        goto done;
    }
    buffer = (uint8_t *)MemoryAlloc((size_t)image->width * sizeof(uint16_t));
    if (buffer == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    // The temporary file SafeFileCreate made carries the permissions the final file should
    // have. cfitsio's disk-file call refuses to create over an existing file, so the empty
    // file is removed and cfitsio makes it anew under the same name.
    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    if (stat(safe.temporary, &created) != 0) created.st_mode = 0644;
    FileClose(&safe.file);
    remove(safe.temporary);
    if (fits_create_diskfile(&fits, safe.temporary, &fitsStatus) != 0) {
        fits = nullptr;
        result = ERROR_WRITE_FITS;
        goto done;
    }
    // cfitsio writes an unsigned 16-bit picture as BITPIX 16 with BZERO 32768 itself.
    if (fits_create_img(fits, wide ? USHORT_IMG : BYTE_IMG, 2, naxes, &fitsStatus) != 0) {
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
            fits_write_pix(fits, TUSHORT, first, image->width, values, &fitsStatus);
        } else {
            fits_write_pix(fits, TBYTE, first, image->width, (void *)row, &fitsStatus);
        }
        if (fitsStatus != 0) {
            result = ERROR_WRITE_FITS;
            goto done;
        }
        if (progressOpen && (result = ProgressStep(y)) != ERROR_NONE) goto done;
    }
    if (fits_close_file(fits, &fitsStatus) != 0) {
        fits = nullptr;
        result = ERROR_WRITE_FITS;
        goto done;
    }
    fits = nullptr;
    chmod(safe.temporary, created.st_mode & 07777);
    // The commit flushes, closes and renames through the handle of the finished file.
    result = FileOpenRead(safe.temporary, &safe.file);
    if (result != ERROR_NONE) {
        result = ERROR_WRITE_FITS;
        goto done;
    }
    result = SafeFileCommit(&safe);
done:
    if (progressOpen) ProgressClose();
    if (fits != nullptr) {
        fitsStatus = 0;
        fits_close_file(fits, &fitsStatus);
    }
    fits_clear_errmsg();
    SafeFileAbandon(&safe); // removes the temporary file unless it was committed
    MemoryFree(buffer);
    return result;
}
