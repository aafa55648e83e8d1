// JPEG files through libjpeg-turbo.
//
// The library decodes straight into our rows and encodes straight from them: it hands out
// and takes pixels blue first (JCS_EXT_BGR), so no row is converted or copied on the way.
// Rows are fed bottom row last, since ours count from the bottom. libjpeg reports errors by
// calling a handler that must not return; ours jumps back to the one function of each
// direction that set the jump, and everything it holds lives in a state record of its
// caller, which cleans up. Damaged data that the library merely warns about (a file cut
// short, a bad Huffman code) is refused too: it would give a picture with a grey or garbled
// part and no word of it.
#include "files/Jpeg.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
// jpeglib.h needs FILE and size_t declared before it.
#include <jpeglib.h>
// jerror.h numbers its messages by the library version that jpeglib.h defines.
#include <jerror.h>

#include "core/File.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/Metadata.h"
#include "files/RasterInput.h"

static const int64_t JPEG_PROGRESS_PIXELS = 100000;
// Every 8 x 8 block of the first component costs at least one bit of Huffman code for its DC
// value, so a Huffman-coded file of n bytes holds at most 8 n blocks, 512 n pixels. A
// header that claims more is refused before anything is allocated. Arithmetic coding has no
// such floor; its rare files get a generous bound instead.
static const int64_t JPEG_PIXELS_PER_BYTE = 512;
static const int64_t JPEG_PIXELS_PER_BYTE_ARITHMETIC = 65536;
// What libjpeg may allocate for itself, progressive coefficient buffers included; beyond it
// the library stops with an error instead of asking for more.
static const long JPEG_LIBRARY_MEMORY = 1L << 31;
// A segment holds 65533 bytes of data; an EXIF segment starts with "Exif\0\0".
static const size_t JPEG_SEGMENT_DATA = 65533;
static const uint8_t JPEG_EXIF_SIGNATURE[6] = {'E', 'x', 'i', 'f', 0, 0};
static const size_t JPEG_EXIF_MAX = JPEG_SEGMENT_DATA - sizeof JPEG_EXIF_SIGNATURE;
// libjpeg spreads a profile over at most 255 segments of 65519 bytes.
static const int64_t JPEG_PROFILE_MAX = (int64_t)255 * 65519;
// From this quality on, color keeps full chroma resolution (4:4:4), as a photographer saving
// at high quality expects; below it the usual 4:2:0 halves chroma both ways.
static const int JPEG_FULL_CHROMA_QUALITY = 90;
static const double JPEG_CENTIMETRE_FACTOR = 2.540005; // the program's inches per cm

// The user comment's character code for plain ASCII text, and for text in no named code.
static const uint8_t COMMENT_CODE_ASCII[8] = {'A', 'S', 'C', 'I', 'I', 0, 0, 0};
static const uint8_t COMMENT_CODE_UNDEFINED[8] = {};
static const int USER_COMMENT_ID = 37;

// The library's error record with our jump beside it.
struct JpegFailure {
    jpeg_error_mgr manager; // first, so that the library's pointer to it is a pointer to us
    jmp_buf jump;
    int badProfile; // a damaged ICC segment was reported
    int endMissing; // the file ended before its end marker
    int rowsBegun;  // the rows of a file of one scan are being read
    int damagedFrom; // the first row (from the top) that came after damaged data, or -1
    ErrorCode code; // what a jump returns
};

struct JpegReadState {
    jpeg_decompress_struct info;
    JpegFailure failure;
    FileHandle file;
    int created; // info must be destroyed
    int progressOpen;
    int multipleScans;     // progressive, or one scan a component
    uint8_t *cmykRow;      // one row of CMYK samples, for files in that space
    FileComment *comments; // gathered here, handed to the picture on success
    uint8_t *profile;      // MemoryAlloc'd copy of the embedded profile
    int32_t profileSize;
    MetadataPicture picture;
    FileDamage damage; // the rows a file that ended early did not give
};

struct JpegWriteState {
    jpeg_compress_struct info;
    JpegFailure failure;
    SafeFile safe;
    int created;
    int progressOpen;
    uint8_t *exif; // the EXIF block, MemoryAlloc'd, or null
    size_t exifSize;
};

static void JpegFailureExit(j_common_ptr info)
{
    JpegFailure *failure = (JpegFailure *)info->err;
    longjmp(failure->jump, 1);
}

static void JpegSilence(j_common_ptr) {}

// Warnings while reading. Damaged entropy data, data that stops short or a broken
// progression are errors to us, but for the rows of a file of one scan: those that came out
// before are whole, and the rest are missing. Junk between segments, an unknown Adobe
// transform or JFIF version cost nothing of the picture; a damaged profile is noted for the
// profile step. The end of the file is only noted: the decoder reads ahead, so a file that
// lacks nothing but its end marker reports it too, and data that was really missing is
// reported as a premature end of a data segment.
static void JpegReadMessage(j_common_ptr info, int level)
{
    JpegFailure *failure = (JpegFailure *)info->err;
    if (level >= 0) return; // trace messages
    switch (info->err->msg_code) {
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_ADOBE_XFORM:
    case JWRN_JFIF_MAJOR: return;
    case JWRN_BOGUS_ICC: failure->badProfile = 1; return;
    case JWRN_JPEG_EOF: failure->endMissing = 1; return;
    default:
        if (!failure->rowsBegun) longjmp(failure->jump, 1);
        if (failure->damagedFrom < 0)
            failure->damagedFrom = (int)((j_decompress_ptr)info)->output_scanline;
        return;
    }
}

// CMYK as Adobe stores it (inverted, so 255 is no ink) or as others do, to blue, green, red:
// each channel is its ink's complement darkened by the black.
static void JpegCmykToBgr(const uint8_t *cmyk, uint8_t *bgr, int width, int inverted)
{
    for (int x = 0; x < width; x++, cmyk += 4, bgr += 3) {
        int c = inverted ? cmyk[0] : 255 - cmyk[0];
        int m = inverted ? cmyk[1] : 255 - cmyk[1];
        int y = inverted ? cmyk[2] : 255 - cmyk[2];
        int k = inverted ? cmyk[3] : 255 - cmyk[3];
        bgr[0] = (uint8_t)((y * k + 127) / 255);
        bgr[1] = (uint8_t)((m * k + 127) / 255);
        bgr[2] = (uint8_t)((c * k + 127) / 255);
    }
}

// A COM segment's text as the user comment, when EXIF brought none: plain ASCII under its
// code, anything else under the undefined one, without trailing zeros.
static ErrorCode JpegAddTextComment(JpegReadState *state, const uint8_t *text, size_t length)
{
    uint8_t *value;
    int ascii = 1;
    ErrorCode result;
    while (length > 0 && text[length - 1] == 0)
        length--;
    if (length == 0 || FindFileComment(state->comments, USER_COMMENT_ID) != nullptr)
        return ERROR_NONE;
    for (size_t i = 0; i < length; i++)
        if (text[i] == 0 || text[i] > 127) ascii = 0;
    value = (uint8_t *)MemoryAlloc(length + 8);
    if (value == nullptr) return ERROR_NO_MEMORY;
    memcpy(value, ascii ? COMMENT_CODE_ASCII : COMMENT_CODE_UNDEFINED, 8);
    memcpy(value + 8, text, length);
    result = FileCommentAppend(&state->comments, "User Comment", USER_COMMENT_ID, (int)(length + 8),
                               COMMENT_EXIF, value);
    MemoryFree(value);
    return result;
}

// The EXIF and COM segments the header brought. A damaged EXIF block costs its comments,
// never the picture.
static ErrorCode JpegReadSegments(JpegReadState *state)
{
    int exifSeen = 0;
    for (jpeg_saved_marker_ptr marker = state->info.marker_list; marker != nullptr;
         marker = marker->next) {
        if (marker->marker == JPEG_APP0 + 1 && !exifSeen &&
            marker->data_length > sizeof JPEG_EXIF_SIGNATURE &&
            memcmp(marker->data, JPEG_EXIF_SIGNATURE, sizeof JPEG_EXIF_SIGNATURE) == 0) {
            exifSeen = 1;
            ErrorCode result = MetadataReadExif(marker->data + sizeof JPEG_EXIF_SIGNATURE,
                                                marker->data_length - sizeof JPEG_EXIF_SIGNATURE,
                                                &state->comments, &state->picture);
            if (result == ERROR_NO_MEMORY) return result;
        }
    }
    // A COM text is looked at only after EXIF, which has the say on the user comment.
    for (jpeg_saved_marker_ptr marker = state->info.marker_list; marker != nullptr;
         marker = marker->next) {
        if (marker->marker != JPEG_COM) continue;
        ErrorCode result = JpegAddTextComment(state, marker->data, marker->data_length);
        if (result != ERROR_NONE) return result;
        break;
    }
    return ERROR_NONE;
}

// The resolution in dots per inch: JFIF's density when it has a unit, else EXIF's, else the
// preference for pictures without one.
static double JpegResolution(const JpegReadState *state)
{
    const jpeg_decompress_struct *info = &state->info;
    if (info->saw_JFIF_marker && info->X_density > 0) {
        if (info->density_unit == 1) return info->X_density;
        if (info->density_unit == 2) return info->X_density * JPEG_CENTIMETRE_FACTOR;
    }
    if (state->picture.resolution > 0.0) return state->picture.resolution;
    return Prefs.defaultResolution;
}

// Decodes the open file into image. This is the one function of the reader that sets the
// jump; all it holds is in state, which its caller frees whatever happens. Rows of a file of
// one scan that came after damaged data, as where the file ends, go to state->damage.
static ErrorCode JpegDecode(JpegReadState *state, Image *image, int showProgress, int64_t fileSize)
{
    jpeg_decompress_struct *info = &state->info;
    ErrorCode result;
    int type;

    info->err = jpeg_std_error(&state->failure.manager);
    state->failure.manager.error_exit = JpegFailureExit;
    state->failure.manager.emit_message = JpegReadMessage;
    state->failure.manager.output_message = JpegSilence;
    state->failure.code = ERROR_READ_JPEG;
    state->failure.damagedFrom = -1;
    if (setjmp(state->failure.jump)) return state->failure.code;

    state->created = 1; // destroying a record that failed half way through creation is safe
    jpeg_create_decompress(info);
    info->mem->max_memory_to_use = JPEG_LIBRARY_MEMORY;
    jpeg_stdio_src(info, state->file);
    jpeg_save_markers(info, JPEG_APP0 + 1, 0xffff);
    jpeg_save_markers(info, JPEG_APP0 + 2, 0xffff);
    jpeg_save_markers(info, JPEG_COM, 0xffff);
    jpeg_read_header(info, TRUE);

    state->multipleScans = jpeg_has_multiple_scans(info);
    int64_t pixels = (int64_t)info->image_width * info->image_height;
    int64_t perByte = info->arith_code ? JPEG_PIXELS_PER_BYTE_ARITHMETIC : JPEG_PIXELS_PER_BYTE;
    if (pixels <= 0 || pixels / perByte > fileSize) return ERROR_READ_JPEG;

    switch (info->jpeg_color_space) {
    case JCS_GRAYSCALE:
        info->out_color_space = JCS_GRAYSCALE;
        type = TYPE_GRAY8;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        info->out_color_space = JCS_CMYK;
        type = TYPE_COLOR24;
        state->cmykRow = (uint8_t *)MemoryAlloc((size_t)info->image_width * 4);
        if (state->cmykRow == nullptr) return ERROR_NO_MEMORY;
        break;
    default:
        info->out_color_space = JCS_EXT_BGR;
        type = TYPE_COLOR24;
        break;
    }

    result = JpegReadSegments(state);
    if (result != ERROR_NONE) return result;
    // Gray pictures carry no profile, and a CMYK profile does not describe the colors we
    // make of its file.
    if (type == TYPE_COLOR24 && state->cmykRow == nullptr) {
        JOCTET *profile = nullptr;
        unsigned int profileSize = 0;
        if (jpeg_read_icc_profile(info, &profile, &profileSize) && profileSize > 0) {
            state->profile = (uint8_t *)MemoryAlloc(profileSize);
            if (state->profile != nullptr) {
                memcpy(state->profile, profile, profileSize);
                state->profileSize = (int32_t)profileSize;
            }
            free(profile); // the library allocates it with malloc
            if (state->profile == nullptr) return ERROR_NO_MEMORY;
        }
        // Without its profile the colors would be read wrongly, and we would not say so.
        if (state->failure.badProfile) return ERROR_READ_JPEG_PROFILE;
    }

    result = ImageAlloc(image, type, (int)info->image_width, (int)info->image_height,
                        JpegResolution(state));
    if (result != ERROR_NONE) return result;
    jpeg_start_decompress(info);
    if ((int)info->output_width != image->width || (int)info->output_height != image->height)
        return ERROR_READ_JPEG;

    if (showProgress && pixels >= JPEG_PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, "JPEG Read", 1);
        state->progressOpen = 1;
    }
    // The decoder goes on past damaged data with gray rows, which we make black below.
    state->failure.rowsBegun = !state->multipleScans;
    while (info->output_scanline < info->output_height) {
        int y = (int)info->output_scanline;
        uint8_t *row = image->rows[image->height - 1 - y];
        JSAMPROW target = state->cmykRow != nullptr ? state->cmykRow : row;
        if (jpeg_read_scanlines(info, &target, 1) != 1) return ERROR_READ_JPEG;
        if (state->cmykRow != nullptr)
            JpegCmykToBgr(state->cmykRow, row, image->width, info->saw_Adobe_marker);
        if (state->progressOpen) {
            result = ProgressStep(y);
            if (result != ERROR_NONE) return result;
        }
    }
    // Every row is in. In a file of one scan a missing end marker cost nothing. A file of
    // several scans that ends early may lack whole scans, which nothing else reports: its
    // picture would be coarse or colorless, so it is refused. Nothing after the rows is
    // needed, so the file is not read on to its end.
    if (state->failure.endMissing && state->multipleScans) return ERROR_READ_JPEG;
    if (state->failure.damagedFrom >= 0)
        RasterRowsMissing(image, state->failure.damagedFrom, image->height - 1, &state->damage);
    return ERROR_NONE;
}

ErrorCode ReadJpegFile(const char *path, Picture *picture, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    JpegReadState state = {};
    int64_t fileSize = 0;

    FileDamageClear(&state.damage);
    state.file = FILE_HANDLE_NONE;
    state.picture.orientation = 1;
    result = FileOpenRead(path, &state.file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(state.file, &fileSize) != ERROR_NONE) {
        result = ERROR_READ_JPEG;
        goto done;
    }
    result = JpegDecode(&state, &picture->image, showProgress, fileSize);
    result = RasterDamageResult(result, &state.damage, damage, ERROR_READ_JPEG);
    if (result != ERROR_NONE) goto done;

    result = MetadataHandOver(picture, state.picture.orientation, damage, &state.comments,
                              &state.profile, state.profileSize);

done:
    if (state.progressOpen) ProgressClose();
    if (state.created) jpeg_destroy_decompress(&state.info);
    FileClose(&state.file);
    MemoryFree(state.cmykRow);
    MemoryFree(state.profile);
    FreeFileComments(&state.comments);
    if (result != ERROR_NONE) ImageFree(&picture->image);
    return result;
}

// Writes the EXIF block as an APP1 segment behind its signature.
static void JpegPutExif(JpegWriteState *state)
{
    jpeg_write_m_header(&state->info, JPEG_APP0 + 1,
                        (unsigned int)(sizeof JPEG_EXIF_SIGNATURE + state->exifSize));
    for (uint8_t byte : JPEG_EXIF_SIGNATURE)
        jpeg_write_m_byte(&state->info, byte);
    for (size_t i = 0; i < state->exifSize; i++)
        jpeg_write_m_byte(&state->info, state->exif[i]);
}

// JFIF's density for a resolution: whole dots per inch, 1 to 65535.
static int JpegDensity(double resolution)
{
    return resolution < 1.0 ? 1 : resolution > 65535.0 ? 65535 : (int)Round(resolution);
}

// Encodes the picture into the open temporary file. The one function of the writer
// that sets the jump; what it holds is in state.
static ErrorCode JpegEncode(JpegWriteState *state, const Picture *picture, int quality)
{
    jpeg_compress_struct *info = &state->info;
    const Image *image = &picture->image;
    int color = image->type == TYPE_COLOR24;
    int hasProfile = color && picture->profile != nullptr && picture->profileSize > 0;
    ErrorCode result;

    info->err = jpeg_std_error(&state->failure.manager);
    state->failure.manager.error_exit = JpegFailureExit;
    state->failure.manager.emit_message = [](j_common_ptr, int) {};
    state->failure.manager.output_message = JpegSilence;
    state->failure.code = ERROR_WRITE_JPEG;
    if (setjmp(state->failure.jump)) return state->failure.code;

    state->created = 1;
    jpeg_create_compress(info);
    jpeg_stdio_dest(info, state->safe.file);
    info->image_width = (JDIMENSION)image->width;
    info->image_height = (JDIMENSION)image->height;
    info->input_components = color ? 3 : 1;
    info->in_color_space = color ? JCS_EXT_BGR : JCS_GRAYSCALE;
    jpeg_set_defaults(info);
    jpeg_set_quality(info, quality, TRUE);
    if (color && quality >= JPEG_FULL_CHROMA_QUALITY) {
        for (int i = 0; i < info->num_components; i++) {
            info->comp_info[i].h_samp_factor = 1;
            info->comp_info[i].v_samp_factor = 1;
        }
    }
    info->write_JFIF_header = TRUE;
    info->density_unit = 1;
    info->X_density = (UINT16)JpegDensity(image->resolution);
    info->Y_density = info->X_density;

    jpeg_start_compress(info, TRUE);
    if (state->exif != nullptr) JpegPutExif(state);
    if (hasProfile) {
        if (picture->profileSize > JPEG_PROFILE_MAX) return ERROR_WRITE_JPEG_PROFILE;
        state->failure.code = ERROR_WRITE_JPEG_PROFILE;
        jpeg_write_icc_profile(info, picture->profile, (unsigned int)picture->profileSize);
        state->failure.code = ERROR_WRITE_JPEG;
    }

    if ((int64_t)image->width * image->height >= JPEG_PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, "JPEG Write", 1);
        state->progressOpen = 1;
    }
    for (int y = 0; y < image->height; y++) {
        JSAMPROW row = image->rows[image->height - 1 - y];
        jpeg_write_scanlines(info, &row, 1);
        if (state->progressOpen) {
            result = ProgressStep(y);
            if (result != ERROR_NONE) return result;
        }
    }
    jpeg_finish_compress(info);
    return ERROR_NONE;
}

ErrorCode SaveJpegFile(const char *path, Picture *picture, int quality)
{
    ErrorCode result = ERROR_NONE;
    JpegWriteState state = {};

    SafeFileReset(&state.safe);
    if (picture->image.type != TYPE_GRAY8 && picture->image.type != TYPE_COLOR24) {
        result = ERROR_SAVE_TYPE_JPEG;
        goto done;
    }
    if (quality < JPEG_QUALITY_MIN) quality = JPEG_QUALITY_MIN;
    if (quality > JPEG_QUALITY_MAX) quality = JPEG_QUALITY_MAX;
    result = MetadataWriteExif(picture->comments, JpegDensity(picture->image.resolution),
                               JPEG_EXIF_MAX, ERROR_WRITE_JPEG, &state.exif, &state.exifSize);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCreate(path, &state.safe);
    if (result != ERROR_NONE) goto done;
    result = JpegEncode(&state, picture, quality);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCommit(&state.safe);
done:
    if (state.progressOpen) ProgressClose();
    if (state.created) jpeg_destroy_compress(&state.info);
    SafeFileAbandon(&state.safe); // harmless after a commit
    MemoryFree(state.exif);
    return result;
}
