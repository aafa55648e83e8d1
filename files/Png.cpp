// PNG files through libpng.
//
// Rows go straight between libpng and our picture: libpng delivers and takes color blue
// first (png_set_bgr) and 16-bit samples little-endian (png_set_swap), so each row is read
// into or written from the picture's own row, bottom row last. libpng reports errors through
// a handler that must not return; ours jumps back into the one function of each direction
// that set the jump, and everything it holds lives in a state record of its caller.
#include "files/Png.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <png.h>
#include <zlib.h>

#include "core/File.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "files/Metadata.h"
#include "files/RasterInput.h"

static const int64_t PNG_PROGRESS_PIXELS = 100000;
// The largest width or height we let libpng accept: far beyond any photograph, and our rows
// refuse what they cannot hold anyway.
static const png_uint_32 PNG_MAX_SIDE = 1000000;
// Deflate turns one byte into at most 1032, so a file of n bytes holds at most about 1032 n
// bytes of rows; a header that claims more is refused before anything is allocated.
static const int64_t PNG_INFLATE_RATIO = 1032;
static const int64_t PNG_INFLATE_SLACK = 65536;
// The most an ancillary chunk (a compressed text, a profile) may grow to, and how many of
// them we read: far more than any honest file has.
static const png_alloc_size_t PNG_CHUNK_MAX = 16u << 20;
static const png_uint_32 PNG_CHUNK_COUNT_MAX = 1000;
// The most libpng may ask for at once while it reads: a chunk of PNG_CHUNK_MAX, or a row of
// the widest picture at 16-bit color with alpha, with room to spare. Some of its paths size a
// buffer from a chunk's declared length alone; a damaged length must not become a gigabyte.
static const png_alloc_size_t PNG_READ_ALLOCATION_MAX = 64u << 20;
// How our files are compressed. Gray and color rows go through libpng's adaptive filters and
// then zlib's run-length strategy (Z_RLE): what the filters leave of a photograph has few
// long repeats for a full search to find, and on 24-megapixel photographs this gives files
// within half a percent of level 6 with the same filters, at a third of its time, and about
// 40% smaller than level 6 without filters, which is quicker than that too (figures in
// bench/compare-formats.sh). Binary rows hold patterns at every distance, so they keep
// zlib's usual level 6 search on unfiltered rows.
static const int PNG_COMPRESSION_LEVEL = 6;
// Texts longer than this are compressed (zTXt, or a compressed iTXt).
static const size_t PNG_TEXT_COMPRESS_FROM = 1024;
static const double PNG_CENTIMETRE_FACTOR = 2.540005; // the program's inches per cm

static const int USER_COMMENT_ID = 37;
static const int DATE_TIME_ID = 2;
static const uint8_t COMMENT_CODE_ASCII[8] = {'A', 'S', 'C', 'I', 'I', 0, 0, 0};
static const uint8_t COMMENT_CODE_UNICODE[8] = {'U', 'N', 'I', 'C', 'O', 'D', 'E', 0};
static const uint8_t COMMENT_CODE_UNDEFINED[8] = {};

// A text keyword and the comment it becomes.
struct PngTextKey {
    const char *keyword;
    int32_t id;
    const char *name;
    int32_t flags; // those a TIFF read gives the field
};

// The mapping, in the order a save writes the texts. A title is a document's name, the
// source the device that made the picture, and a comment the user's own words, which EXIF
// keeps as its user comment.
static const PngTextKey PNG_TEXT_KEYS[] = {
    {"Title", 7, "DocumentName", COMMENT_MAIN},
    {"Author", 0, "Artist", 3},
    {"Description", 3, "Description", 7},
    {"Copyright", 1, "Copyright", 3},
    {"Creation Time", DATE_TIME_ID, "Date/Time", 3},
    {"Software", 9, "Software", COMMENT_MAIN},
    {"Source", 6, "Model", COMMENT_MAIN},
    {"Comment", USER_COMMENT_ID, "User Comment", COMMENT_EXIF},
};
static const int PNG_TEXT_KEY_COUNT = (int)(sizeof PNG_TEXT_KEYS / sizeof PNG_TEXT_KEYS[0]);

// ImageMagick keeps EXIF in a text of this keyword, as hexadecimal digits.
static const char PNG_RAW_EXIF_KEYWORD[] = "Raw profile type exif";

struct PngReadState {
    png_structp png;
    png_infop info;
    FileHandle file;
    int progressOpen;
    int reachedEnd; // every row is in; only the chunks after them were being read
    int rowsBegun;  // rows are being read: a failure leaves the ones that came whole
    int interlaced;
    int pass; // the pass and the row (from the top) being read
    int row;
    int paletteType; // what palette indices become, TYPE_GRAY8 or TYPE_COLOR24; 0 for none
    uint8_t paletteGray[256];
    uint8_t paletteColor[256][3];
    FileDamage damage; // the rows a file that ended early did not give
    Image indices;     // palette indices of a color palette picture, before they become color
    FileComment *comments;
    uint8_t *profile;
    int32_t profileSize;
    MetadataPicture picture;
};

struct PngWriteState {
    png_structp png;
    png_infop info;
    SafeFile safe;
    int progressOpen;
    uint8_t *binaryRow; // a binary row with its unused bits cleared
    uint8_t *exif;
    size_t exifSize;
    char *texts[PNG_TEXT_KEY_COUNT]; // the texts written, MemoryAlloc'd
};

static void PngFailure(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

static void PngWarning(png_structp, png_const_charp) {}

// 1 when every byte is below 128.
static int TextIsAscii(const uint8_t *text, size_t length)
{
    for (size_t i = 0; i < length; i++)
        if (text[i] > 127) return 0;
    return 1;
}

// 1 when the bytes are well-formed UTF-8 without zero bytes.
static int TextIsUtf8(const uint8_t *text, size_t length)
{
    for (size_t i = 0; i < length;) {
        uint8_t first = text[i];
        int follow = first < 0x80             ? 0
                     : (first & 0xe0) == 0xc0 ? 1
                     : (first & 0xf0) == 0xe0 ? 2
                     : (first & 0xf8) == 0xf0 ? 3
                                              : -1;
        if (first == 0 || follow < 0 || (follow == 1 && first < 0xc2)) return 0;
        if (follow > 0 && i + follow >= length) return 0;
        for (int k = 1; k <= follow; k++)
            if ((text[i + k] & 0xc0) != 0x80) return 0;
        i += 1 + follow;
    }
    return 1;
}

// Appends the UTF-8 form of a code point below 0x10000 to out, which has room for three bytes.
static size_t Utf8Put(uint32_t code, uint8_t *out)
{
    if (code < 0x80) {
        out[0] = (uint8_t)code;
        return 1;
    }
    if (code < 0x800) {
        out[0] = (uint8_t)(0xc0 | (code >> 6));
        out[1] = (uint8_t)(0x80 | (code & 0x3f));
        return 2;
    }
    out[0] = (uint8_t)(0xe0 | (code >> 12));
    out[1] = (uint8_t)(0x80 | ((code >> 6) & 0x3f));
    out[2] = (uint8_t)(0x80 | (code & 0x3f));
    return 3;
}

// A date and time in ISO 8601 ("2024-05-06T07:08:09", seconds optional) or RFC 1123 ("Mon,
// 06 May 2024 07:08:09 GMT") form rewritten in EXIF's "2024:05:06 07:08:09". 0 when the
// text is in neither form, or already in EXIF's.
static int CreationTimeToExif(const char *text, char *exif, size_t size)
{
    static const char MONTHS[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    char monthName[4] = {};
    int used = 0;
    if (sscanf(text, "%4d-%2d-%2d%*1[T ]%2d:%2d%n", &year, &month, &day, &hour, &minute, &used) ==
        5) {
        sscanf(text + used, ":%2d", &second);
    } else {
        const char *at = strchr(text, ',');
        at = at != nullptr ? at + 1 : text;
        if (sscanf(at, "%2d %3s %4d %2d:%2d%n", &day, monthName, &year, &hour, &minute, &used) != 5)
            return 0;
        sscanf(at + used, ":%2d", &second);
        const char *found = strlen(monthName) == 3 ? strstr(MONTHS, monthName) : nullptr;
        if (found == nullptr || (found - MONTHS) % 3 != 0) return 0;
        month = (int)(found - MONTHS) / 3 + 1;
    }
    if (year < 1 || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 ||
        second > 60 || hour < 0 || minute < 0 || second < 0)
        return 0;
    snprintf(exif, size, "%04d:%02d:%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
    return 1;
}

// Adds one text chunk as its comment, unless the keyword is not ours or EXIF already gave
// that comment. Text of tEXt and zTXt is Latin-1 and becomes UTF-8; iTXt is UTF-8 already.
static ErrorCode PngAddText(PngReadState *state, const png_text *text)
{
    const PngTextKey *key = nullptr;
    ErrorCode result;
    uint8_t *value = nullptr;
    size_t at = 0;
    for (int i = 0; i < PNG_TEXT_KEY_COUNT; i++)
        if (strcmp(text->key, PNG_TEXT_KEYS[i].keyword) == 0) key = &PNG_TEXT_KEYS[i];
    if (key == nullptr || text->text == nullptr) return ERROR_NONE;
    if (FindFileComment(state->comments, key->id) != nullptr) return ERROR_NONE;
    size_t length = strlen(text->text);
    int latin1 = text->compression == PNG_TEXT_COMPRESSION_NONE ||
                 text->compression == PNG_TEXT_COMPRESSION_zTXt;
    // Room for the code of a user comment, two bytes for each Latin-1 one, a terminator.
    size_t room;
    if (!SizeMultiply(length, 2, &room) || !SizeAdd(room, 8 + 1, &room)) return ERROR_NO_MEMORY;
    value = (uint8_t *)MemoryAlloc(room);
    if (value == nullptr) return ERROR_NO_MEMORY;

    if (key->id == USER_COMMENT_ID) {
        // EXIF's user comment names its character code in eight bytes first.
        memcpy(value,
               TextIsAscii((const uint8_t *)text->text, length) ? COMMENT_CODE_ASCII
                                                                : COMMENT_CODE_UNDEFINED,
               8);
        at = 8;
    }
    char exifTime[64];
    if (key->id == DATE_TIME_ID && CreationTimeToExif(text->text, exifTime, sizeof exifTime)) {
        memcpy(value + at, exifTime, strlen(exifTime));
        at += strlen(exifTime);
    } else {
        for (size_t i = 0; i < length; i++) {
            uint8_t c = (uint8_t)text->text[i];
            at += latin1 ? Utf8Put(c, value + at) : (value[at] = c, 1);
        }
    }
    // Text fields count their terminator, as TIFF's ASCII fields do; the user comment is
    // UNDEFINED and has none.
    if (key->id != USER_COMMENT_ID) value[at++] = 0;
    result = FileCommentAppend(&state->comments, key->name, key->id, (int)at, key->flags, value);
    MemoryFree(value);
    return result;
}

// The EXIF block of ImageMagick's raw profile text: a line with the name, one with the byte
// count, then hexadecimal digits with line breaks, the block behind "Exif\0\0". Reads it into
// comments if it is sound; anything else is passed over.
static ErrorCode PngReadRawExif(PngReadState *state, const char *text)
{
    ErrorCode result = ERROR_NONE;
    unsigned long count = 0;
    int used = 0;
    uint8_t *block = nullptr;
    size_t length = strlen(text);
    size_t got = 0;
    const char *at;
    if (sscanf(text, " exif %lu%n", &count, &used) != 1 || count < 8 || count > length / 2 ||
        count > METADATA_MAX_BLOCK)
        return ERROR_NONE;
    block = (uint8_t *)MemoryAlloc(count);
    if (block == nullptr) return ERROR_NO_MEMORY;
    at = text + used;
    while (*at != 0 && got < count) {
        int high, low;
        char pair[3] = {at[0], at[0] != 0 ? at[1] : (char)0, 0};
        if (at[0] == '\n' || at[0] == ' ' || at[0] == '\r') {
            at++;
            continue;
        }
        if (sscanf(pair, "%1x%1x", &high, &low) != 2) break;
        block[got++] = (uint8_t)(high << 4 | low);
        at += 2;
    }
    if (got == count) {
        size_t skip = count > 6 && memcmp(block, "Exif\0\0", 6) == 0 ? 6 : 0;
        result = MetadataReadExif(block + skip, count - skip, &state->comments, &state->picture);
        if (result != ERROR_NO_MEMORY) result = ERROR_NONE; // a damaged block costs its fields
    }
    MemoryFree(block);
    return result;
}

// EXIF first, from eXIf or else ImageMagick's text; then the texts for what EXIF left open.
// libpng hands eXIf over as an unknown chunk: it refuses a block that starts with "Exif\0\0",
// as ImageMagick writes it, and such a block is still sound behind those six bytes.
static ErrorCode PngReadComments(PngReadState *state)
{
    ErrorCode result = ERROR_NONE;
    png_unknown_chunkp chunks = nullptr;
    int chunkCount = png_get_unknown_chunks(state->png, state->info, &chunks);
    png_textp texts = nullptr;
    int textCount = 0;
    int exifSeen = 0;
    png_get_text(state->png, state->info, &texts, &textCount);
    for (int i = 0; i < chunkCount && !exifSeen; i++) {
        if (memcmp(chunks[i].name, "eXIf", 4) != 0 || chunks[i].data == nullptr) continue;
        const uint8_t *block = chunks[i].data;
        size_t size = chunks[i].size;
        if (size > 6 && memcmp(block, "Exif\0\0", 6) == 0) {
            block += 6;
            size -= 6;
        }
        exifSeen = 1;
        result = MetadataReadExif(block, size, &state->comments, &state->picture);
        if (result == ERROR_NO_MEMORY) return result; // a damaged block costs its fields
    }
    for (int i = 0; i < textCount && !exifSeen; i++) {
        if (strcmp(texts[i].key, PNG_RAW_EXIF_KEYWORD) != 0 || texts[i].text == nullptr) continue;
        exifSeen = 1;
        result = PngReadRawExif(state, texts[i].text);
        if (result != ERROR_NONE) return result;
    }
    for (int i = 0; i < textCount; i++) {
        result = PngAddText(state, &texts[i]);
        if (result != ERROR_NONE) return result;
    }
    return ERROR_NONE;
}

// Dots per inch from pHYs in pixels per metre, or the preference without it. A whole number
// of dots per inch is stored as a whole number of pixels per metre, rounded or (by some
// writers) cut; either way the value read lies within one step of 0.0254 dots per inch of
// it, and is given back as that whole number.
static double PngResolution(const PngReadState *state)
{
    png_uint_32 x = 0, y = 0;
    int unit = 0;
    if (png_get_pHYs(state->png, state->info, &x, &y, &unit) && unit == PNG_RESOLUTION_METER &&
        x > 0) {
        double dpi = x * PNG_CENTIMETRE_FACTOR / 100.0;
        double whole = std::floor(dpi + 0.5);
        if (std::fabs(dpi - whole) < PNG_CENTIMETRE_FACTOR / 100.0) return whole;
        return dpi;
    }
    return Prefs.defaultResolution;
}

// Steps the progress bar, over all passes of an interlaced file together.
static ErrorCode PngProgress(PngReadState *state, int pass, int passes, int y, int height)
{
    if (!state->progressOpen) return ERROR_NONE;
    return ProgressStep((int)(((int64_t)pass * height + y) / passes));
}

// libpng's memory while it reads, refused beyond PNG_READ_ALLOCATION_MAX: libpng then
// reports the chunk as too large, or fails the read, through its usual error paths.
static png_voidp PngReadAllocate(png_structp png, png_alloc_size_t bytes)
{
    (void)png;
    if (bytes > PNG_READ_ALLOCATION_MAX) return nullptr;
    return malloc((size_t)bytes);
}

static void PngReadFree(png_structp png, png_voidp memory)
{
    (void)png;
    free(memory);
}

// Indices of a palette picture become their colors, or in place their grays. An index past
// the palette's end is black.
static void PngPaletteApply(PngReadState *state, Image *image)
{
    if (state->paletteType == 0) return;
    const Image *target = state->paletteType == TYPE_COLOR24 ? &state->indices : image;
    for (int y = 0; y < image->height; y++) {
        uint8_t *row = image->rows[y];
        const uint8_t *index = target->rows[y];
        if (state->paletteType == TYPE_GRAY8) {
            for (int x = 0; x < image->width; x++)
                row[x] = state->paletteGray[index[x]];
        } else {
            for (int x = 0; x < image->width; x++)
                memcpy(row + 3 * x, state->paletteColor[index[x]], 3);
        }
    }
}

// The end of a file that failed among its rows: the rows that came whole stay, the others
// are black and go to the damage. Rows of an interlaced file come whole in its last passes:
// odd rows in the seventh, even rows in the sixth.
static ErrorCode PngRowsEnded(PngReadState *state, Image *image)
{
    PngPaletteApply(state, image);
    for (int top = 0; top < image->height; top++) {
        int last = !state->interlaced ? 0 : (top & 1) ? 6 : 5;
        if (state->pass > last || (state->pass == last && top < state->row)) continue;
        RasterRowsMissing(image, top, top, &state->damage);
    }
    return ERROR_NONE;
}

// Decodes the open file into image. The one function of the reader that sets the jump; all
// it holds is in state, which its caller frees whatever happens.
static ErrorCode PngDecode(PngReadState *state, Image *image, int showProgress, int64_t fileSize)
{
    ErrorCode result = ERROR_NONE;
    png_uint_32 width, height;
    int depth, colorType, interlace;

    state->png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, state, PngFailure, PngWarning,
                                          nullptr, PngReadAllocate, PngReadFree);
    if (state->png == nullptr) return ERROR_NO_MEMORY;
    state->info = png_create_info_struct(state->png);
    if (state->info == nullptr) return ERROR_NO_MEMORY;
    if (setjmp(png_jmpbuf(state->png))) {
        if (state->reachedEnd) return ERROR_NONE;
        return state->rowsBegun ? PngRowsEnded(state, image) : ERROR_READ_PNG;
    }

    // Declared past the jump, so that nothing live across it can be clobbered.
    int type;
    int palette = 0;
    Image *target = image; // where libpng's rows go: the picture, or the palette indices
    png_init_io(state->png, state->file);
    png_set_user_limits(state->png, PNG_MAX_SIDE, PNG_MAX_SIDE);
    png_set_chunk_malloc_max(state->png, PNG_CHUNK_MAX);
    png_set_chunk_cache_max(state->png, PNG_CHUNK_COUNT_MAX);
    png_set_keep_unknown_chunks(state->png, PNG_HANDLE_CHUNK_ALWAYS, (png_const_bytep) "eXIf", 1);
    png_read_info(state->png, state->info);
    png_get_IHDR(state->png, state->info, &width, &height, &depth, &colorType, &interlace, nullptr,
                 nullptr);

    // Each row of the file has a filter byte before its samples; none is smaller than that.
    int64_t channels = png_get_channels(state->png, state->info);
    int64_t rowBytes = ((int64_t)width * channels * depth + 7) / 8 + 1;
    if (rowBytes * height > fileSize * PNG_INFLATE_RATIO + PNG_INFLATE_SLACK) return ERROR_READ_PNG;

    switch (colorType) {
    case PNG_COLOR_TYPE_GRAY:
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        if (depth == 1 && colorType == PNG_COLOR_TYPE_GRAY) {
            type = TYPE_BINARY; // the same bits as ours: leftmost pixel high, 1 white
        } else {
            type = depth == 16 ? TYPE_GRAY16 : TYPE_GRAY8;
            if (depth < 8) png_set_expand_gray_1_2_4_to_8(state->png);
        }
        break;
    case PNG_COLOR_TYPE_PALETTE: {
        png_colorp entries = nullptr;
        int count = 0;
        int gray = 1;
        palette = 1;
        png_get_PLTE(state->png, state->info, &entries, &count);
        // An index past the palette's end is black.
        for (int i = 0; i < count && i < 256; i++) {
            state->paletteColor[i][0] = entries[i].blue;
            state->paletteColor[i][1] = entries[i].green;
            state->paletteColor[i][2] = entries[i].red;
            state->paletteGray[i] = entries[i].red;
            if (entries[i].red != entries[i].green || entries[i].red != entries[i].blue) gray = 0;
        }
        type = gray ? TYPE_GRAY8 : TYPE_COLOR24;
        if (depth < 8) png_set_packing(state->png); // one index a byte
        break;
    }
    default:
        type = depth == 16 ? TYPE_COLOR48 : TYPE_COLOR24;
        png_set_bgr(state->png);
        break;
    }
    // Alpha is dropped; a tRNS chunk is left unused, so it gives no alpha either.
    if (colorType & PNG_COLOR_MASK_ALPHA) png_set_strip_alpha(state->png);
    if (depth == 16) png_set_swap(state->png);
    int passes = png_set_interlace_handling(state->png);
    png_read_update_info(state->png, state->info);

    if (type == TYPE_COLOR24 || type == TYPE_COLOR48) {
        png_charp name = nullptr;
        int compression = 0;
        png_bytep profile = nullptr;
        png_uint_32 profileSize = 0;
        if (png_get_iCCP(state->png, state->info, &name, &compression, &profile, &profileSize) &&
            profileSize > 0 && profileSize <= INT32_MAX) {
            state->profile = (uint8_t *)MemoryAlloc(profileSize);
            if (state->profile == nullptr) return ERROR_NO_MEMORY;
            memcpy(state->profile, profile, profileSize);
            state->profileSize = (int32_t)profileSize;
        }
    }

    result = ImageAlloc(image, type, (int)width, (int)height, PngResolution(state));
    if (result != ERROR_NONE) return result;
    if (palette && type == TYPE_COLOR24) {
        result = ImageAlloc(&state->indices, TYPE_GRAY8, (int)width, (int)height, 0.0);
        if (result != ERROR_NONE) return result;
        target = &state->indices;
    }
    if (palette) state->paletteType = type;
    // What libpng gives a row must fit the row it goes to.
    if (png_get_rowbytes(state->png, state->info) > (png_size_t)target->rowBytes)
        return ERROR_READ_PNG;

    if (showProgress && (int64_t)width * height >= PNG_PROGRESS_PIXELS) {
        ProgressOpen(0, (int)height - 1, "PNG Read", 1);
        state->progressOpen = 1;
    }
    state->interlaced = passes > 1;
    state->rowsBegun = 1;
    for (int pass = 0; pass < passes; pass++) {
        for (int y = 0; y < (int)height; y++) {
            state->pass = pass;
            state->row = y;
            png_read_row(state->png, target->rows[height - 1 - y], nullptr);
            result = PngProgress(state, pass, passes, y, (int)height);
            if (result != ERROR_NONE) return result;
        }
    }
    PngPaletteApply(state, image);

    // The chunks after the rows may hold more text. A file cut short among them has given
    // its whole picture, and keeps it.
    state->reachedEnd = 1;
    png_read_end(state->png, state->info);
    return ERROR_NONE;
}

ErrorCode ReadPngFile(const char *path, Picture *picture, int showProgress, FileDamage *damage)
{
    ErrorCode result = ERROR_NONE;
    PngReadState state = {};
    int64_t fileSize = 0;

    ImageClear(&state.indices);
    FileDamageClear(&state.damage);
    state.file = FILE_HANDLE_NONE;
    state.picture.orientation = 1;
    result = FileOpenRead(path, &state.file);
    if (result != ERROR_NONE) goto done;
    if (FileSize(state.file, &fileSize) != ERROR_NONE) {
        result = ERROR_READ_PNG;
        goto done;
    }
    result = PngDecode(&state, &picture->image, showProgress, fileSize);
    result = RasterDamageResult(result, &state.damage, damage, ERROR_READ_PNG);
    if (result != ERROR_NONE) goto done;
    // Comments may stand before the rows and after them.
    result = PngReadComments(&state);
    if (result != ERROR_NONE) goto done;

    result = MetadataHandOver(picture, state.picture.orientation, damage, &state.comments,
                              &state.profile, state.profileSize);

done:
    if (state.progressOpen) ProgressClose();
    if (state.png != nullptr) png_destroy_read_struct(&state.png, &state.info, nullptr);
    FileClose(&state.file);
    ImageFree(&state.indices);
    MemoryFree(state.profile);
    FreeFileComments(&state.comments);
    if (result != ERROR_NONE) ImageFree(&picture->image);
    return result;
}

// The text a comment gives its keyword, MemoryAlloc'd and zero-terminated, or null when it
// gives none: text fields up to their terminator, the creation time in ISO 8601 form, a user
// comment decoded from its character code (UCS-2 becomes UTF-8).
static char *PngCommentText(const FileComment *comment)
{
    const uint8_t *value = comment->value;
    size_t length = (size_t)comment->length;
    int unicode = 0;
    char *text;
    size_t at = 0;

    if (comment->id == USER_COMMENT_ID) {
        if (length < 8) return nullptr;
        if (memcmp(value, COMMENT_CODE_UNICODE, 8) == 0)
            unicode = 1;
        else if (memcmp(value, COMMENT_CODE_ASCII, 8) != 0 &&
                 memcmp(value, COMMENT_CODE_UNDEFINED, 8) != 0)
            return nullptr; // JIS text we cannot turn into UTF-8
        value += 8;
        length -= 8;
    }
    text = (char *)MemoryAlloc(length * 3 / 2 + 32);
    if (text == nullptr) return nullptr;
    if (unicode) {
        // The byte order is the file's, which the comment does not keep: ASCII characters,
        // which most comments are, have their zero byte first in big-endian order.
        size_t evenZeros = 0, oddZeros = 0;
        for (size_t i = 0; i + 1 < length; i += 2) {
            evenZeros += value[i] == 0;
            oddZeros += value[i + 1] == 0;
        }
        int bigEndian = evenZeros > oddZeros;
        for (size_t i = 0; i + 1 < length; i += 2) {
            uint32_t code = bigEndian ? (uint32_t)(value[i] << 8 | value[i + 1])
                                      : (uint32_t)(value[i] | value[i + 1] << 8);
            if (code == 0) break;
            at += Utf8Put(code, (uint8_t *)text + at);
        }
    } else {
        while (at < length && value[at] != 0) {
            text[at] = (char)value[at];
            at++;
        }
    }
    text[at] = 0;
    int year, month, day, hour, minute, second;
    if (comment->id == DATE_TIME_ID && at == 19 &&
        sscanf(text, "%4d:%2d:%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second) == 6)
        snprintf(text, 20, "%04d-%02d-%02dT%02d:%02d:%02d", year, month, day, hour, minute, second);
    if (text[0] == 0) MemoryRelease(&text);
    return text;
}

// The text chunks of the comments that have a keyword, the first comment of an id winning.
static ErrorCode PngPutTexts(PngWriteState *state, const FileComment *comments)
{
    png_text texts[PNG_TEXT_KEY_COUNT] = {};
    int count = 0;
    for (int i = 0; i < PNG_TEXT_KEY_COUNT; i++) {
        const FileComment *comment = FindFileComment(comments, PNG_TEXT_KEYS[i].id);
        if (comment == nullptr) continue;
        char *text = PngCommentText(comment);
        if (text == nullptr) continue;
        state->texts[i] = text;
        size_t length = strlen(text);
        int compress = length >= PNG_TEXT_COMPRESS_FROM;
        png_text *chunk = &texts[count++];
        chunk->key = (png_charp)PNG_TEXT_KEYS[i].keyword;
        chunk->text = text;
        // Plain ASCII, and bytes that are not UTF-8 (Latin-1 from older files), go as
        // Latin-1 text; the rest as international text in UTF-8.
        if (TextIsAscii((const uint8_t *)text, length) ||
            !TextIsUtf8((const uint8_t *)text, length)) {
            chunk->compression = compress ? PNG_TEXT_COMPRESSION_zTXt : PNG_TEXT_COMPRESSION_NONE;
            chunk->text_length = length;
        } else {
            chunk->compression = compress ? PNG_ITXT_COMPRESSION_zTXt : PNG_ITXT_COMPRESSION_NONE;
            chunk->itxt_length = length;
            chunk->lang = (png_charp) "";
            chunk->lang_key = (png_charp) "";
        }
    }
    if (count > 0) png_set_text(state->png, state->info, texts, count);
    return ERROR_NONE;
}

// Encodes the picture into the open temporary file. The one function of the writer
// that sets the jump; what it holds is in state.
static ErrorCode PngEncode(PngWriteState *state, const Picture *picture)
{
    const Image *image = &picture->image;
    int color = image->type == TYPE_COLOR24;
    int binary = image->type == TYPE_BINARY;
    ErrorCode result = ERROR_NONE;

    state->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, state, PngFailure, PngWarning);
    if (state->png == nullptr) return ERROR_NO_MEMORY;
    state->info = png_create_info_struct(state->png);
    if (state->info == nullptr) return ERROR_NO_MEMORY;
    if (binary) {
        state->binaryRow = (uint8_t *)MemoryAlloc((size_t)image->rowBytes);
        if (state->binaryRow == nullptr) return ERROR_NO_MEMORY;
    }
    if (setjmp(png_jmpbuf(state->png))) return ERROR_WRITE_PNG;

    png_init_io(state->png, state->safe.file);
    // A profile libpng finds unsound is left out with a warning, not made an error.
    png_set_benign_errors(state->png, 1);
    png_set_IHDR(state->png, state->info, (png_uint_32)image->width, (png_uint_32)image->height,
                 binary ? 1 : 8, color ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(state->png, PNG_COMPRESSION_LEVEL);
    png_set_compression_strategy(state->png, binary ? Z_DEFAULT_STRATEGY : Z_RLE);
    png_set_filter(state->png, PNG_FILTER_TYPE_BASE, binary ? PNG_FILTER_NONE : PNG_ALL_FILTERS);

    double ppm = image->resolution * 100.0 / PNG_CENTIMETRE_FACTOR;
    if (ppm >= 1.0 && ppm < 4294967295.0) {
        png_uint_32 whole = (png_uint_32)std::floor(ppm + 0.5);
        png_set_pHYs(state->png, state->info, whole, whole, PNG_RESOLUTION_METER);
    }
    if (color && picture->profile != nullptr && picture->profileSize > 0)
        png_set_iCCP(state->png, state->info, "ICC profile", PNG_COMPRESSION_TYPE_BASE,
                     picture->profile, (png_uint_32)picture->profileSize);
    result = PngPutTexts(state, picture->comments);
    if (result != ERROR_NONE) return result;
    if (state->exif != nullptr)
        png_set_eXIf_1(state->png, state->info, (png_uint_32)state->exifSize, state->exif);
    png_write_info(state->png, state->info);
    if (color) png_set_bgr(state->png);

    if ((int64_t)image->width * image->height >= PNG_PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, "PNG Write", 1);
        state->progressOpen = 1;
    }
    for (int y = 0; y < image->height; y++) {
        uint8_t *row = image->rows[image->height - 1 - y];
        if (binary) {
            // The unused bits at the end are cleared, so that a picture always gives one file.
            int bytes = (image->width + 7) / 8;
            memcpy(state->binaryRow, row, (size_t)bytes);
            if (image->width % 8 != 0)
                state->binaryRow[bytes - 1] &= (uint8_t)(0xff00 >> (image->width % 8));
            row = state->binaryRow;
        }
        png_write_row(state->png, row);
        if (state->progressOpen) {
            result = ProgressStep(y);
            if (result != ERROR_NONE) return result;
        }
    }
    // Everything was written before the rows; given the info again, libpng would repeat the
    // EXIF chunk after them.
    png_write_end(state->png, nullptr);
    return ERROR_NONE;
}

ErrorCode SavePngFile(const char *path, Picture *picture)
{
    ErrorCode result = ERROR_NONE;
    PngWriteState state = {};

    SafeFileReset(&state.safe);
    if (picture->image.type != TYPE_BINARY && picture->image.type != TYPE_GRAY8 &&
        picture->image.type != TYPE_COLOR24) {
        result = ERROR_SAVE_TYPE_PNG;
        goto done;
    }
    result = MetadataWriteExif(picture->comments, 0, METADATA_MAX_BLOCK, ERROR_WRITE_PNG,
                               &state.exif, &state.exifSize);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCreate(path, &state.safe);
    if (result != ERROR_NONE) goto done;
    result = PngEncode(&state, picture);
    if (result != ERROR_NONE) goto done;
    result = SafeFileCommit(&state.safe);
done:
    if (state.progressOpen) ProgressClose();
    if (state.png != nullptr) png_destroy_write_struct(&state.png, &state.info);
    SafeFileAbandon(&state.safe); // harmless after a commit
    MemoryFree(state.binaryRow);
    MemoryFree(state.exif);
    for (char *text : state.texts)
        MemoryFree(text);
    return result;
}
