// Tests of the camera raw reader on DNG files that the tests write themselves through
// libtiff: a Bayer mosaic of flat color patches, with a color matrix that makes the camera's
// space linear sRGB, so that the developed color of each patch is known exactly:
// sRGB's tone curve applied to the patch's linear values. No raw file comes from elsewhere.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cmath>
#include <cstring>
#include <dirent.h>
#include <string>
#include <vector>

#include "core/FileComment.h"
#include "files/FileType.h"
#include "files/Raw.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"

class Raw : public FolderTest {};

static const int DNG_WHITE = 16383; // a 14-bit sensor

// Linear colors of the four quadrants: top left, top right, bottom left, bottom right.
static const double PATCHES[4][3] = {
    {0.5, 0.5, 0.5}, {0.6, 0.2, 0.1}, {0.1, 0.5, 0.2}, {0.1, 0.2, 0.6}};

// What a DNG of the tests holds.
struct DngLayout {
    int w;
    int h;
    const char *pattern; // the 2 x 2 filter colors, e.g. "RGGB"
    double neutral[3];   // AsShotNeutral: the camera's values of a white object
    double scale;        // multiplies every patch
    int orientation;     // TIFF orientation
    int dataBytes;       // bytes of the strip to write; -1 for all
};

static DngLayout DngDefault(void)
{
    DngLayout dng = {64, 48, "RGGB", {1.0, 1.0, 1.0}, 1.0, 1, -1};
    return dng;
}

// The color (0 red, 1 green, 2 blue) of the filter over a pixel.
static int FilterColor(const char *pattern, int x, int y)
{
    char c = pattern[(y & 1) * 2 + (x & 1)];
    return c == 'R' ? 0 : (c == 'G' ? 1 : 2);
}

static int Quadrant(const DngLayout &dng, int x, int y)
{
    return (y >= dng.h / 2) * 2 + (x >= dng.w / 2);
}

static void DngWrite(const std::string &path, const DngLayout &dng)
{
    std::vector<uint16_t> mosaic((size_t)dng.w * dng.h);
    for (int y = 0; y < dng.h; y++) {
        for (int x = 0; x < dng.w; x++) {
            int c = FilterColor(dng.pattern, x, y);
            // The camera sees a white object as the neutral values: a patch's value in
            // channel c is its linear color times neutral[c].
            double value = PATCHES[Quadrant(dng, x, y)][c] * dng.scale * dng.neutral[c];
            mosaic[(size_t)y * dng.w + x] = (uint16_t)lround(value * DNG_WHITE);
        }
    }
    TIFF *tiff = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, 0);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, dng.w);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, dng.h);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, dng.h);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, dng.orientation);
    TIFFSetField(tiff, TIFFTAG_MAKE, "Vistel");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Test Sensor");
    TIFFSetField(tiff, TIFFTAG_DATETIME, "2024:05:06 07:08:09");
    uint16_t repeat[2] = {2, 2};
    TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, repeat);
    uint8_t pattern[4];
    for (int i = 0; i < 4; i++)
        pattern[i] = (uint8_t)FilterColor(dng.pattern, i & 1, i >> 1);
    TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, pattern);
    uint8_t version[4] = {1, 4, 0, 0};
    TIFFSetField(tiff, TIFFTAG_DNGVERSION, version);
    TIFFSetField(tiff, TIFFTAG_UNIQUECAMERAMODEL, "Vistel Test Sensor");
    // XYZ (D65) to linear sRGB: the camera's space is linear sRGB itself.
    float matrix[9] = {3.2404542f, -1.5371385f, -0.4985314f, -0.9692660f, 1.8760108f,
                       0.0415560f, 0.0556434f,  -0.2040259f, 1.0572252f};
    TIFFSetField(tiff, TIFFTAG_COLORMATRIX1, 9, matrix);
    TIFFSetField(tiff, TIFFTAG_CALIBRATIONILLUMINANT1, 21); // D65
    float neutral[3] = {(float)dng.neutral[0], (float)dng.neutral[1], (float)dng.neutral[2]};
    TIFFSetField(tiff, TIFFTAG_ASSHOTNEUTRAL, 3, neutral);
    uint32_t white = DNG_WHITE;
    TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, &white);
    tmsize_t bytes = dng.dataBytes >= 0 ? dng.dataBytes : (tmsize_t)(mosaic.size() * 2);
    ASSERT_EQ(TIFFWriteRawStrip(tiff, 0, mosaic.data(), bytes), bytes);
    TIFFClose(tiff);
}

// sRGB's tone curve on a linear value, as a 16-bit level.
static int SrgbLevel(double linear)
{
    if (linear >= 1.0) return 65535;
    double encoded =
        linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
    return (int)lround(encoded * 65535.0);
}

// LibRaw's tone curve is a table of 65536 entries built in floating point and its matrices
// are single precision: 8 levels of 65535 (an eighth of a level at 8 bits) cover both.
static const int DEVELOP_TOLERANCE = 8;

// The developed picture of a file, or its code.
struct RawRead {
    ErrorCode code;
    int type;
    int width;
    int height;
    std::vector<int> samples;   // top row first, red first
    TestWindow window{nullptr}; // kept for the comments
};

static RawRead ReadRaw(const std::string &path, int showProgress = 0)
{
    RawRead read;
    read.window = EmptyWindow();
    read.code = ReadRawFile(path.c_str(), read.window, showProgress);
    read.type = read.window->image.type;
    read.width = read.window->image.width;
    read.height = read.window->image.height;
    read.samples = ImageSamples(read.window->image);
    return read;
}

// Checks the middle of each quadrant against its patch through sRGB's curve.
static void ExpectPatches(const RawRead &read, const DngLayout &dng, double scale)
{
    ASSERT_EQ(read.code, ERROR_NONE);
    ASSERT_EQ(read.type, TYPE_COLOR48);
    ASSERT_EQ(read.width, dng.w);
    ASSERT_EQ(read.height, dng.h);
    for (int q = 0; q < 4; q++) {
        int x = (q & 1) ? dng.w * 3 / 4 : dng.w / 4;
        int y = (q & 2) ? dng.h * 3 / 4 : dng.h / 4;
        for (int c = 0; c < 3; c++) {
            SCOPED_TRACE("patch " + std::to_string(q) + " channel " + std::to_string(c));
            int value = read.samples[((size_t)y * dng.w + x) * 3 + c];
            EXPECT_NEAR(value, SrgbLevel(PATCHES[q][c] * scale), DEVELOP_TOLERANCE);
        }
    }
}

TEST_F(Raw, FlatPatchesDevelopToTheirSrgbColorsOnEveryBayerPattern)
{
    for (const char *pattern : {"RGGB", "BGGR", "GRBG", "GBRG"}) {
        SCOPED_TRACE(pattern);
        DngLayout dng = DngDefault();
        dng.pattern = pattern;
        DngWrite(Path("patches.dng"), dng);
        RawRead read = ReadRaw(Path("patches.dng"));
        ExpectPatches(read, dng, 1.0);
    }
}

TEST_F(Raw, TheCamerasWhiteBalanceMakesItsNeutralGray)
{
    // A camera that sees white as (0.5, 1, 0.8): its raw values are tinted, the picture not.
    DngLayout dng = DngDefault();
    dng.neutral[0] = 0.5;
    dng.neutral[2] = 0.8;
    DngWrite(Path("tinted.dng"), dng);
    RawRead read = ReadRaw(Path("tinted.dng"));
    ExpectPatches(read, dng, 1.0);
}

TEST_F(Raw, ADarkExposureStaysDark)
{
    // At a fifth of the exposure the brightest value is 0.12 of white. Automatic brightening
    // would stretch it toward white; the photographer gets the exposure that was made.
    DngLayout dng = DngDefault();
    dng.scale = 0.2;
    DngWrite(Path("dark.dng"), dng);
    RawRead read = ReadRaw(Path("dark.dng"));
    ExpectPatches(read, dng, 0.2);
}

TEST_F(Raw, ThePictureIsTurnedAsTheCameraWasHeld)
{
    // Orientation 6: the camera was turned a quarter clockwise, so the picture turns a
    // quarter clockwise: the top left patch goes to the top right.
    DngLayout dng = DngDefault();
    dng.orientation = 6;
    DngWrite(Path("turned.dng"), dng);
    RawRead read = ReadRaw(Path("turned.dng"));
    ASSERT_EQ(read.code, ERROR_NONE);
    ASSERT_EQ(read.width, dng.h);
    ASSERT_EQ(read.height, dng.w);
    // Top right of the turned picture: the top left (gray) patch.
    size_t topRight = ((size_t)(read.height / 4) * read.width + read.width * 3 / 4) * 3;
    for (int c = 0; c < 3; c++)
        EXPECT_NEAR(read.samples[topRight + c], SrgbLevel(PATCHES[0][c]), DEVELOP_TOLERANCE);
    // Bottom left of the turned picture: the bottom right (blue) patch.
    size_t bottomLeft = ((size_t)(read.height * 3 / 4) * read.width + read.width / 4) * 3;
    for (int c = 0; c < 3; c++)
        EXPECT_NEAR(read.samples[bottomLeft + c], SrgbLevel(PATCHES[3][c]), DEVELOP_TOLERANCE);
}

TEST_F(Raw, TheCameraAndTheTimeBecomeComments)
{
    DngWrite(Path("comments.dng"), DngDefault());
    RawRead read = ReadRaw(Path("comments.dng"));
    ASSERT_EQ(read.code, ERROR_NONE);
    struct Expected {
        int id;
        const char *name;
        const char *text;
        int flags;
    };
    const Expected expected[] = {
        {5, "Make", "Vistel", COMMENT_MAIN | 2},
        {6, "Model", "Test Sensor", COMMENT_MAIN},
        {2, "Date/Time", "2024:05:06 07:08:09", COMMENT_MAIN | 2},
    };
    for (const Expected &e : expected) {
        SCOPED_TRACE(e.name);
        const FileComment *comment = FindFileComment(read.window->comments, e.id);
        ASSERT_NE(comment, nullptr);
        EXPECT_STREQ(comment->name, e.name);
        EXPECT_STREQ((const char *)comment->value, e.text);
        EXPECT_EQ(comment->length, (int)strlen(e.text) + 1);
        EXPECT_EQ(comment->flags, e.flags);
    }
    // Nothing was recorded about the exposure, so nothing is made up.
    EXPECT_EQ(FindFileComment(read.window->comments, 34), nullptr);
    EXPECT_EQ(FindFileComment(read.window->comments, 162), nullptr);
}

TEST_F(Raw, LargeFilesShowProgressAndCanBeCancelled)
{
    DngLayout dng = DngDefault();
    dng.w = 400;
    dng.h = 300;
    DngWrite(Path("large.dng"), dng);
    RawRead read = ReadRaw(Path("large.dng"), 1);
    ASSERT_EQ(read.code, ERROR_NONE);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_STREQ(HeadlessProgressAt(0)->title, "Camera Raw Read");
    HeadlessReset();
    HeadlessAbortAtPump(2);
    read = ReadRaw(Path("large.dng"), 1);
    EXPECT_EQ(read.code, ERROR_ABORTED);
    EXPECT_EQ(read.type, TYPE_EMPTY);
}

TEST_F(Raw, MissingDamagedAndForeignFilesGiveTheirCodes)
{
    RawRead read = ReadRaw(Path("none.dng"));
    EXPECT_EQ(read.code, ERROR_OPEN_FILE);

    // The strip ends half way: LibRaw would fill the rest with black.
    DngLayout dng = DngDefault();
    dng.dataBytes = dng.w * dng.h;
    DngWrite(Path("short.dng"), dng);
    read = ReadRaw(Path("short.dng"));
    EXPECT_EQ(read.code, ERROR_READ_IMAGE_FILE);
    EXPECT_EQ(read.type, TYPE_EMPTY);

    // An ordinary TIFF and a text file are no raw files.
    ASSERT_TRUE(ToolRuns("convert -size 8x8 xc:gray " + Quote(Path("plain.tif"))));
    TestWriteFile(Path("text.dng"), std::vector<uint8_t>(300, 'x'));
    for (const char *name : {"plain.tif", "text.dng"}) {
        SCOPED_TRACE(name);
        read = ReadRaw(Path(name));
        EXPECT_EQ(read.code, ERROR_READ_IMAGE_FILE);
        EXPECT_EQ(read.type, TYPE_EMPTY);
    }

    std::string hostile = TestDataPath("hostile");
    DIR *directory = opendir(hostile.c_str());
    ASSERT_NE(directory, nullptr);
    int count = 0;
    for (struct dirent *entry; (entry = readdir(directory)) != nullptr;) {
        std::string name = entry->d_name;
        if (name.rfind("raw-", 0) != 0) continue;
        SCOPED_TRACE(name);
        count++;
        read = ReadRaw(hostile + "/" + name);
        EXPECT_EQ(read.code, ERROR_READ_IMAGE_FILE);
        EXPECT_EQ(read.type, TYPE_EMPTY);
    }
    closedir(directory);
    EXPECT_GE(count, 5);
}

TEST_F(Raw, AllFilesOpensRawFilesByTheirExtension)
{
    DngWrite(Path("shot.dng"), DngDefault());
    ASSERT_TRUE(ToolRuns("cp " + Quote(Path("shot.dng")) + " " + Quote(Path("shot.tif"))));
    TestWindow window = EmptyWindow();
    ASSERT_EQ(FileLoad(Path("shot.dng").c_str(), FILE_OPEN_ALL, window, 0), ERROR_NONE);
    EXPECT_EQ(window->fileType, FILE_OPEN_RAW);
    EXPECT_EQ(window->image.type, TYPE_COLOR48);
    // The same bytes under a TIFF name are a TIFF file to "All Files": the content decides.
    window = EmptyWindow();
    FileLoad(Path("shot.tif").c_str(), FILE_OPEN_ALL, window, 0);
    EXPECT_NE(window->fileType, FILE_OPEN_RAW);
    window = EmptyWindow();
    ASSERT_EQ(FileLoad(Path("shot.tif").c_str(), FILE_OPEN_RAW, window, 0), ERROR_NONE);
    EXPECT_EQ(window->fileType, FILE_OPEN_RAW);
}
