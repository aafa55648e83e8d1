// The EPS writer.
//
// The samples are ASCII85-encoded rather than hexadecimal: a file a quarter larger than the
// samples instead of twice as large, at the price of PostScript level 2, which every printer
// and program of the last thirty years reads. The image operator reads them through an
// ASCII85Decode filter on the file itself; the whole call stands in one procedure that also
// reads the filter to its end ("~>"), so that the interpreter goes on after the data however
// much the filter had read ahead.
//
// Numbers are formatted from integers, never through printf's "%f", whose decimal point
// follows the user's locale.
#include "files/Eps.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "core/Compute.h"
#include "core/File.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"

static const double EPS_POINTS_PER_INCH = 72.0;
static const int EPS_BUFFER_BYTES = 65536;
static const int EPS_LINE_CHARACTERS = 76; // of ASCII85 text, well below the 255 of DSC lines
static const int EPS_TITLE_CHARACTERS = 200;

// Buffered output with the state of the ASCII85 encoder.
struct EpsWriter {
    FileHandle file;
    ErrorCode result; // the first failure; later writes do nothing
    int used;         // bytes in buffer
    int groupCount;   // bytes in group
    int column;       // characters on the current line of encoded text
    uint8_t group[4];
    char buffer[EPS_BUFFER_BYTES];
};

static void EpsFlush(EpsWriter *writer)
{
    if (writer->result == ERROR_NONE && writer->used > 0 &&
        FileWrite(writer->file, writer->buffer, writer->used) != ERROR_NONE)
        writer->result = ERROR_WRITE_EPS;
    writer->used = 0;
}

static void EpsPut(EpsWriter *writer, const char *text, int length)
{
    for (int i = 0; i < length; i++) {
        if (writer->used == EPS_BUFFER_BYTES) EpsFlush(writer);
        writer->buffer[writer->used++] = text[i];
    }
}

static void EpsText(EpsWriter *writer, const char *text)
{
    EpsPut(writer, text, (int)strlen(text));
}

// A non-negative number with four decimals, e.g. "230.4000".
static void EpsFixed(double value, char *text, int size)
{
    long long tenThousandths = (long long)(value * 10000.0 + 0.5);
    snprintf(text, (size_t)size, "%lld.%04lld", tenThousandths / 10000, tenThousandths % 10000);
}

// One character of encoded text, with line breaks. A line never starts with "%", which a
// document structuring reader would take for a comment; the space put before it is ignored
// by the decoder.
static void EpsEncodedChar(EpsWriter *writer, char c)
{
    if (writer->column == EPS_LINE_CHARACTERS) {
        EpsPut(writer, "\n", 1);
        writer->column = 0;
    }
    if (writer->column == 0 && c == '%') {
        EpsPut(writer, " ", 1);
        writer->column++;
    }
    EpsPut(writer, &c, 1);
    writer->column++;
}

// Encodes the group of count bytes (the rest zero) as count + 1 characters, or a full group
// of zeros as "z".
static void EpsGroupEncode(EpsWriter *writer, int count)
{
    uint32_t value = (uint32_t)writer->group[0] << 24 | (uint32_t)writer->group[1] << 16 |
                     (uint32_t)writer->group[2] << 8 | writer->group[3];
    if (count == 4 && value == 0) {
        EpsEncodedChar(writer, 'z');
        return;
    }
    char digits[5];
    for (int i = 4; i >= 0; i--) {
        digits[i] = (char)('!' + value % 85);
        value /= 85;
    }
    for (int i = 0; i <= count; i++)
        EpsEncodedChar(writer, digits[i]);
}

static void EpsEncode(EpsWriter *writer, const uint8_t *bytes, int count)
{
    for (int i = 0; i < count; i++) {
        writer->group[writer->groupCount++] = bytes[i];
        if (writer->groupCount == 4) {
            EpsGroupEncode(writer, 4);
            writer->groupCount = 0;
        }
    }
}

// The last partial group and the end-of-data mark.
static void EpsEncodeEnd(EpsWriter *writer)
{
    if (writer->groupCount > 0) {
        for (int i = writer->groupCount; i < 4; i++)
            writer->group[i] = 0;
        EpsGroupEncode(writer, writer->groupCount);
        writer->groupCount = 0;
    }
    EpsText(writer, "~>\n");
    writer->column = 0;
}

void EpsPageSize(const Image *image, double *width, double *height)
{
    double resolution = image->resolution;
    if (!(resolution > 0.0)) resolution = Prefs.defaultResolution;
    if (!(resolution > 0.0)) resolution = EPS_POINTS_PER_INCH;
    *width = image->width * EPS_POINTS_PER_INCH / resolution;
    *height = image->height * EPS_POINTS_PER_INCH / resolution;
}

// The file name of path for the title line, printable characters only.
static void EpsTitle(const char *path, char *title)
{
    const char *name = path;
    for (const char *p = path; *p != 0; p++)
        if (*p == '/' || *p == '\\' || *p == ':') name = p + 1;
    int n = 0;
    for (; name[n] != 0 && n < EPS_TITLE_CHARACTERS; n++)
        title[n] = name[n] >= 32 && name[n] < 127 ? name[n] : '?';
    title[n] = 0;
}

// The document structuring comments and the procedure that draws the picture.
static void EpsHeader(EpsWriter *writer, const char *path, const Image *image)
{
    char title[EPS_TITLE_CHARACTERS + 1];
    char line[512];
    char width[32];
    char height[32];
    double pointsWide;
    double pointsHigh;

    EpsPageSize(image, &pointsWide, &pointsHigh);
    EpsTitle(path, title);
    EpsText(writer, "%!PS-Adobe-3.0 EPSF-3.0\n%%Creator: Vistel\n");
    snprintf(line, sizeof line, "%%%%Title: %s\n", title);
    EpsText(writer, line);
    // The whole points that enclose the picture, and its exact size beside them. The tiny
    // allowance keeps a size that is whole but for rounding from growing by a point.
    snprintf(line, sizeof line, "%%%%BoundingBox: 0 0 %lld %lld\n",
             (long long)ceil(pointsWide - 1e-6), (long long)ceil(pointsHigh - 1e-6));
    EpsText(writer, line);
    EpsFixed(pointsWide, width, sizeof width);
    EpsFixed(pointsHigh, height, sizeof height);
    snprintf(line, sizeof line, "%%%%HiResBoundingBox: 0 0 %s %s\n", width, height);
    EpsText(writer, line);
    EpsText(writer, "%%LanguageLevel: 2\n%%DocumentData: Clean7Bit\n%%Pages: 1\n"
                    "%%EndComments\n%%BeginProlog\n%%EndProlog\n%%Page: 1 1\ngsave\n");
    snprintf(line, sizeof line, "%s %s scale\n", width, height);
    EpsText(writer, line);
    // The unit square holds the picture; the matrix maps it to samples, top row first.
    int bits = image->type == TYPE_BINARY ? 1 : 8;
    const char *operation = image->type == TYPE_COLOR24 ? "false 3 colorimage" : "image";
    snprintf(line, sizeof line,
             "{currentfile /ASCII85Decode filter dup %d %d %d [%d 0 0 -%d 0 %d] 5 -1 roll "
             "%s flushfile} exec\n",
             image->width, image->height, bits, image->width, image->height, image->height,
             operation);
    EpsText(writer, line);
}

// The samples of one row as PostScript reads them: red first, binary rows to their last
// byte, gray as it stands.
static int EpsRowSamples(const Image *image, const uint8_t *row, uint8_t *out)
{
    switch (image->type) {
    case TYPE_BINARY: {
        int bytes = (image->width + 7) / 8;
        memcpy(out, row, (size_t)bytes);
        if (image->width % 8 != 0) // bits past the last pixel are cleared for a steady file
            out[bytes - 1] &= (uint8_t)(0xFF << (8 - image->width % 8));
        return bytes;
    }
    case TYPE_GRAY8: memcpy(out, row, (size_t)image->width); return image->width;
    default:
        for (int x = 0; x < image->width; x++) {
            out[3 * x] = row[3 * x + 2];
            out[3 * x + 1] = row[3 * x + 1];
            out[3 * x + 2] = row[3 * x];
        }
        return 3 * image->width;
    }
}

ErrorCode SaveEpsFile(const char *path, Picture *picture)
{
    const Image *image = &picture->image;
    ErrorCode result = ERROR_NONE;
    SafeFile safe;
    EpsWriter *writer = nullptr;
    uint8_t *samples = nullptr;
    int progressOpen = 0;

    SafeFileReset(&safe);
    if (image->type != TYPE_BINARY && image->type != TYPE_GRAY8 && image->type != TYPE_COLOR24) {
        result = ERROR_SAVE_TYPE_EPS;
        goto done;
    }
    writer = (EpsWriter *)MemoryAllocZero(sizeof *writer);
    samples = (uint8_t *)MemoryAlloc((size_t)image->width * 3);
    if (writer == nullptr || samples == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    writer->file = safe.file;

    EpsHeader(writer, path, image);
    if ((int64_t)image->width * image->height >= PROGRESS_PIXELS) {
        ProgressOpen(0, image->height - 1, "EPS Write", 1);
        progressOpen = 1;
    }
    for (int i = 0; i < image->height && writer->result == ERROR_NONE; i++) {
        int count = EpsRowSamples(image, image->rows[image->height - 1 - i], samples);
        EpsEncode(writer, samples, count);
        if (progressOpen && (result = ProgressStep(i)) != ERROR_NONE) goto done;
    }
    EpsEncodeEnd(writer);
    EpsText(writer, "grestore\nshowpage\n%%Trailer\n%%EOF\n");
    EpsFlush(writer);
    result = writer->result;
    if (result != ERROR_NONE) goto done;
    result = SafeFileCommit(&safe);
done:
    if (progressOpen) ProgressClose();
    SafeFileAbandon(&safe); // harmless after a commit
    MemoryFree(samples);
    MemoryFree(writer);
    return result;
}
