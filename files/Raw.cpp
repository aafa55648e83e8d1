// Camera raw files through LibRaw's C interface, which catches LibRaw's own exceptions and
// answers with codes, so that nothing of C++ crosses into our code.
//
// The development settings are those a photographer wants from a first look at a raw file:
// - the white balance the camera recorded, as the photographer saw it when shooting;
// - no automatic brightening: dcraw-style development scales the picture so that the
//   brightest percent turns white, and lowers the white level to the brightest value found
//   when that is below 3/4 of it, which makes exposure jump from frame to frame of a series
//   and hides what the exposure really was; we keep the sensor's white level as white, so
//   that exposure decisions stay the photographer's;
// - highlights clipped at the white level (no reconstruction with invented color);
// - 16 bits a sample, in the sRGB color space with the sRGB tone curve (exponent 2.4 with its
//   linear part of slope 12.92), the space every other picture without a profile is taken
//   to be in;
// - AHD demosaicing at full resolution, and the orientation the camera recorded.
//
// LibRaw is loaded at the first raw file, not at start-up, where it and the libraries it
// links were a good part of the time every run of the program took before its first byte of
// work. Its header still gives the types and the prototypes.
#include "files/Raw.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <libraw/libraw.h>

#include "core/Compute.h"
#include "core/File.h"
#include "core/FileComment.h"
#include "core/Helpers.h"
#include "core/Library.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"

// A tiny file that claims a huge sensor is damaged: even losslessly compressed raw data
// needs well over a bit a pixel, so we allow 64 pixels a byte, and any file a small picture.
static const int64_t RAW_PIXELS_PER_BYTE = 64;
static const int64_t RAW_SMALL_PIXELS = 1 << 20;
static const int RAW_PROGRESS_STAGES = 20; // LibRaw's processing stages are bits 0..19
static const int RAW_DEMOSAIC_AHD = 3;
static const int RAW_OUTPUT_SRGB = 1;
static const double RAW_SRGB_POWER = 1.0 / 2.4;
static const double RAW_SRGB_TOE_SLOPE = 12.92;

// Comment ids and flags, as a TIFF file's directories give them.
static const int RAW_ID_DATE_TIME = 2;
static const int RAW_ID_DESCRIPTION = 3;
static const int RAW_ID_MAKE = 5;
static const int RAW_ID_MODEL = 6;
static const int RAW_ID_ARTIST = 0;
static const int RAW_ID_FOCAL_LENGTH = 33;
static const int RAW_ID_EXPOSURE = 34;
static const int RAW_ID_APERTURE = 35;
static const int RAW_ID_ISO = 162;

// The LibRaw functions we call, by the names of their prototypes in libraw.h.
struct RawFunctions {
    decltype(&libraw_init) init;
    decltype(&libraw_set_dataerror_handler) setDataErrorHandler;
    decltype(&libraw_set_memerror_handler) setMemoryErrorHandler;
    decltype(&libraw_set_progress_handler) setProgressHandler;
    decltype(&libraw_open_file) openFile;
    decltype(&libraw_unpack) unpack;
    decltype(&libraw_dcraw_process) process;
    decltype(&libraw_dcraw_make_mem_image) makeImage;
    decltype(&libraw_dcraw_clear_mem) clearImage;
    decltype(&libraw_close) close;
};

static RawFunctions Raw;

// 1 once LibRaw and all its functions are there; loaded at the first call.
static int RawLibraryReady(void)
{
    static const LibrarySymbol SYMBOLS[] = {
        {"libraw_init", &Raw.init},
        {"libraw_set_dataerror_handler", &Raw.setDataErrorHandler},
        {"libraw_set_memerror_handler", &Raw.setMemoryErrorHandler},
        {"libraw_set_progress_handler", &Raw.setProgressHandler},
        {"libraw_open_file", &Raw.openFile},
        {"libraw_unpack", &Raw.unpack},
        {"libraw_dcraw_process", &Raw.process},
        {"libraw_dcraw_make_mem_image", &Raw.makeImage},
        {"libraw_dcraw_clear_mem", &Raw.clearImage},
        {"libraw_close", &Raw.close},
    };
    static const int ready =
        LibraryLoad(VISTEL_LIBRAW_LIBRARY, SYMBOLS, sizeof SYMBOLS / sizeof SYMBOLS[0]);
    return ready;
}

// LibRaw reports damaged data and failed allocations through callbacks that print by
// default; ours stay silent, since the code we return says it all. Damaged data does not stop
// LibRaw, which would fill the rest with black: we note it and refuse the picture.
static void RawDataDamaged(void *data, const char *file, const int offset)
{
    (void)file, (void)offset;
    *(int *)data = 1;
}

static void RawMemoryQuiet(void *data, const char *file, const char *where)
{
    (void)data, (void)file, (void)where;
}

// Steps the progress window at each stage; a nonzero answer makes LibRaw stop.
static int RawProgress(void *data, enum LibRaw_progress stage, int iteration, int expected)
{
    (void)iteration, (void)expected;
    if (data == nullptr) return 0;
    int value = 0;
    while (value < RAW_PROGRESS_STAGES - 1 && ((unsigned)stage >> (value + 1)) != 0)
        value++;
    return ProgressStep(value) != ERROR_NONE;
}

// Our code for a LibRaw code.
static ErrorCode RawCode(int code)
{
    if (code == LIBRAW_CANCELLED_BY_CALLBACK) return ERROR_ABORTED;
    if (code == LIBRAW_UNSUFFICIENT_MEMORY) return ERROR_NO_MEMORY;
    return ERROR_READ_IMAGE_FILE;
}

static void RawSettings(libraw_data_t *raw)
{
    libraw_output_params_t *params = &raw->params;
    params->use_camera_wb = 1;
    params->use_auto_wb = 0;
    params->no_auto_bright = 1;
    params->adjust_maximum_thr = 0.0f;
    params->highlight = 0;
    params->output_bps = 16;
    params->output_color = RAW_OUTPUT_SRGB;
    params->gamm[0] = RAW_SRGB_POWER;
    params->gamm[1] = RAW_SRGB_TOE_SLOPE;
    params->half_size = 0;
    params->user_qual = RAW_DEMOSAIC_AHD;
    params->user_flip = -1; // as the camera recorded
}

static void RawCommentText(Picture *picture, const char *name, int id, int flags, const char *text)
{
    int length = (int)strnlen(text, 255);
    if (length == 0) return;
    char copy[256];
    memcpy(copy, text, (size_t)length);
    copy[length] = 0;
    // Counted with its terminator, as TIFF counts a string.
    AddFileComment(picture, name, id, length + 1, flags, copy);
}

static void RawCommentRational(Picture *picture, const char *name, int id, double value, int tenths)
{
    uint32_t rational[2];
    if (!(value > 0.0) || value > 100000.0) return;
    if (!tenths && value < 1.0) {
        rational[0] = 1; // exposure times below a second read as 1/n
        rational[1] = (uint32_t)Round(1.0 / value);
    } else {
        rational[0] = (uint32_t)Round(value * 10.0);
        rational[1] = 10;
    }
    AddFileComment(picture, name, id, (int)sizeof rational, COMMENT_EXIF, rational);
}

// The shooting data LibRaw found, as the comments a TIFF or JPEG file of the camera gives.
// A comment that finds no memory is left out.
static void RawComments(const libraw_data_t *raw, Picture *picture)
{
    RawCommentText(picture, "Make", RAW_ID_MAKE, COMMENT_MAIN | 2, raw->idata.make);
    RawCommentText(picture, "Model", RAW_ID_MODEL, COMMENT_MAIN, raw->idata.model);
    if (raw->other.timestamp > 0) {
        time_t stamp = raw->other.timestamp;
        struct tm local;
        char text[32];
        // LibRaw turned the camera's local time into a time stamp; this turns it back.
        if (localtime_r(&stamp, &local) != nullptr &&
            strftime(text, sizeof text, "%Y:%m:%d %H:%M:%S", &local) > 0)
            RawCommentText(picture, "Date/Time", RAW_ID_DATE_TIME, COMMENT_MAIN | 2, text);
    }
    RawCommentText(picture, "Artist", RAW_ID_ARTIST, COMMENT_MAIN | 2, raw->other.artist);
    RawCommentText(picture, "Description", RAW_ID_DESCRIPTION, COMMENT_MAIN | 2 | 4,
                   raw->other.desc);
    RawCommentRational(picture, "Exposure (sec)", RAW_ID_EXPOSURE, raw->other.shutter, 0);
    RawCommentRational(picture, "Aperture (f)", RAW_ID_APERTURE, raw->other.aperture, 1);
    if (raw->other.iso_speed >= 1.0f && raw->other.iso_speed <= 65535.0f) {
        uint16_t iso = (uint16_t)Round(raw->other.iso_speed);
        AddFileComment(picture, "Film Speed (ISO)", RAW_ID_ISO, 2, COMMENT_EXIF, &iso);
    }
    RawCommentRational(picture, "Focal Length (mm)", RAW_ID_FOCAL_LENGTH, raw->other.focal_len, 1);
}

// The developed picture, top row first and red first, into our rows.
static ErrorCode RawStore(const libraw_processed_image_t *developed, Image *image)
{
    size_t rowSamples = (size_t)developed->width * 3;
    size_t expected = rowSamples * developed->height * sizeof(uint16_t);
    if (developed->type != LIBRAW_IMAGE_BITMAP || developed->colors != 3 || developed->bits != 16 ||
        developed->width < 1 || developed->height < 1 || developed->data_size < expected)
        return ERROR_READ_IMAGE_FILE;
    ErrorCode result = ImageAlloc(image, TYPE_COLOR48, developed->width, developed->height,
                                  Prefs.defaultResolution);
    if (result != ERROR_NONE) return result;
    for (int y = 0; y < developed->height; y++) {
        const uint8_t *in = developed->data + (size_t)y * rowSamples * sizeof(uint16_t);
        uint8_t *out = image->rows[developed->height - 1 - y];
        for (int x = 0; x < developed->width; x++) {
            uint16_t rgb[3]; // in the machine's order
            memcpy(rgb, in + (size_t)x * sizeof rgb, sizeof rgb);
            BytesPut16(out, 6 * x, rgb[2]);
            BytesPut16(out, 6 * x + 2, rgb[1]);
            BytesPut16(out, 6 * x + 4, rgb[0]);
        }
    }
    return ERROR_NONE;
}

ErrorCode ReadRawFile(const char *path, Picture *picture, int showProgress)
{
    ErrorCode result = ERROR_NONE;
    FileHandle file = FILE_HANDLE_NONE;
    libraw_data_t *raw = nullptr;
    libraw_processed_image_t *developed = nullptr;
    Image image;
    int64_t fileSize = 0;
    int64_t pixels = 0;
    int progressOpen = 0;
    int code = 0;
    int damaged = 0; // set by LibRaw when the data ends early or makes no sense

    ImageClear(&image);
    // Our own open first: it tells a missing file from one LibRaw cannot read.
    result = FileOpenRead(path, &file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(file, &fileSize) != ERROR_NONE) {
        result = ERROR_READ_IMAGE_FILE;
        goto done;
    }
    FileClose(&file);

    if (!RawLibraryReady()) {
        result = ERROR_READ_IMAGE_FILE;
        goto done;
    }
    raw = Raw.init(0);
    if (raw == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    Raw.setDataErrorHandler(raw, RawDataDamaged, &damaged);
    Raw.setMemoryErrorHandler(raw, RawMemoryQuiet, nullptr);
    RawSettings(raw);
    code = Raw.openFile(raw, path);
    if (code != LIBRAW_SUCCESS) {
        result = RawCode(code);
        goto done;
    }
    pixels = (int64_t)raw->sizes.raw_width * raw->sizes.raw_height;
    if (raw->sizes.width < 1 || raw->sizes.height < 1 || pixels < 1 ||
        (pixels > RAW_SMALL_PIXELS && pixels / RAW_PIXELS_PER_BYTE > fileSize)) {
        result = ERROR_READ_IMAGE_FILE;
        goto done;
    }
    if (showProgress && (int64_t)raw->sizes.width * raw->sizes.height >= PROGRESS_PIXELS) {
        ProgressOpen(0, RAW_PROGRESS_STAGES - 1, "Camera Raw Read", 1);
        progressOpen = 1;
        Raw.setProgressHandler(raw, RawProgress, raw);
    }
    code = Raw.unpack(raw);
    if (code == LIBRAW_SUCCESS) code = Raw.process(raw);
    if (code != LIBRAW_SUCCESS || damaged) {
        result = code != LIBRAW_SUCCESS ? RawCode(code) : ERROR_READ_IMAGE_FILE;
        goto done;
    }
    developed = Raw.makeImage(raw, &code);
    if (developed == nullptr) {
        result = RawCode(code);
        goto done;
    }
    result = RawStore(developed, &image);
    if (result != ERROR_NONE) goto done;
    RawComments(raw, picture);
    ImageFree(&picture->image);
    picture->image = image; // the storage moves with the record
    ImageClear(&image);
done:
    if (progressOpen) ProgressClose();
    if (developed != nullptr) Raw.clearImage(developed);
    if (raw != nullptr) Raw.close(raw);
    FileClose(&file);
    ImageFree(&image);
    if (result != ERROR_NONE) ImageFree(&picture->image);
    return result;
}
