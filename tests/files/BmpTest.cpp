// Tests of our own BMP reader and writer.
//
// Files come from independent tools (ImageMagick's convert and netpbm's ppmtobmp), and what we
// read is compared with what the tools read from the same file; what we write is read back by
// both tools. The variants the tools do not make (top-down rows, RLE4, deltas, bit fields of
// odd widths, OS/2 2.x headers, damaged files) are built byte by byte here, with the pixels
// they must give worked out by hand.
//
// What every raster format shares (round trips, refusals, aborts, progress, detection, the
// kept hostile files) is tested once in AllFormatsTest.cpp.
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/File.h"
#include "core/Preferences.h"
#include "files/Bmp.h"
#include "files/FileType.h"
#include "platform/headless/Headless.h"
#include "tests/files/RasterTestHelpers.h"
#include "tests/support/TestSupport.h"

using namespace raster_test;

// ---------------------------------------------------------------------------------------------
// Files built byte by byte

struct TestBmp {
    int headerSize = 40;
    int width = 0;
    int height = 0; // negative for top-down rows
    int bits = 8;
    uint32_t compression = 0;
    std::vector<uint32_t> palette; // 0xRRGGBB
    std::vector<uint32_t> masks;   // in the header from 52 bytes on, else after it
    int32_t pelsPerMetre = 0;
    uint32_t colorsUsed = 0;
    int64_t dataOffset = -1; // -1: right after the palette
    std::vector<uint8_t> data;
};

static void Put16(std::vector<uint8_t> *bytes, size_t at, uint32_t value)
{
    (*bytes)[at] = (uint8_t)value;
    (*bytes)[at + 1] = (uint8_t)(value >> 8);
}

static void Put32(std::vector<uint8_t> *bytes, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; i++)
        (*bytes)[at + i] = (uint8_t)(value >> (8 * i));
}

static std::vector<uint8_t> BmpBytes(const TestBmp &bmp)
{
    int core = bmp.headerSize == 12;
    size_t masksAfter = bmp.headerSize < 52 ? bmp.masks.size() * 4 : 0;
    size_t entryBytes = core ? 3 : 4;
    size_t paletteStart = 14 + bmp.headerSize + masksAfter;
    size_t dataOffset = paletteStart + bmp.palette.size() * entryBytes;
    if (bmp.dataOffset >= 0) dataOffset = (size_t)bmp.dataOffset;
    std::vector<uint8_t> bytes(
        std::max(dataOffset, paletteStart + bmp.palette.size() * entryBytes));
    bytes[0] = 'B';
    bytes[1] = 'M';
    Put32(&bytes, 10, (uint32_t)dataOffset);
    Put32(&bytes, 14, (uint32_t)bmp.headerSize);
    if (core) {
        Put16(&bytes, 18, (uint32_t)bmp.width);
        Put16(&bytes, 20, (uint32_t)bmp.height);
        Put16(&bytes, 22, 1);
        Put16(&bytes, 24, (uint32_t)bmp.bits);
    } else {
        Put32(&bytes, 18, (uint32_t)bmp.width);
        Put32(&bytes, 22, (uint32_t)bmp.height);
        Put16(&bytes, 26, 1);
        Put16(&bytes, 28, (uint32_t)bmp.bits);
        if (bmp.headerSize >= 20) Put32(&bytes, 30, bmp.compression);
        if (bmp.headerSize >= 32) Put32(&bytes, 38, (uint32_t)bmp.pelsPerMetre);
        if (bmp.headerSize >= 32) Put32(&bytes, 42, (uint32_t)bmp.pelsPerMetre);
        if (bmp.headerSize >= 40) Put32(&bytes, 46, bmp.colorsUsed);
    }
    for (size_t m = 0; m < bmp.masks.size(); m++)
        Put32(&bytes, bmp.headerSize >= 52 ? 14 + 40 + 4 * m : 14 + bmp.headerSize + 4 * m,
              bmp.masks[m]);
    for (size_t i = 0; i < bmp.palette.size(); i++) {
        size_t at = paletteStart + i * entryBytes;
        bytes[at] = (uint8_t)bmp.palette[i];
        bytes[at + 1] = (uint8_t)(bmp.palette[i] >> 8);
        bytes[at + 2] = (uint8_t)(bmp.palette[i] >> 16);
    }
    bytes.resize(dataOffset);
    bytes.insert(bytes.end(), bmp.data.begin(), bmp.data.end());
    Put32(&bytes, 2, (uint32_t)bytes.size());
    return bytes;
}

static std::vector<uint32_t> GrayPalette(int count)
{
    std::vector<uint32_t> palette;
    for (int i = 0; i < count; i++) {
        int level = count == 256 ? i : i * 255 / (count - 1);
        palette.push_back((uint32_t)(level * 0x010101));
    }
    return palette;
}

// Reads bytes through a file of the test's folder into window.
static ErrorCode ReadBytes(const std::string &folder, const std::vector<uint8_t> &bytes,
                           TestWindow *window, int showProgress = 0)
{
    std::string path = folder + "/built.bmp";
    TestWriteFile(path, bytes);
    return ReadBmpFile(path.c_str(), window->window, showProgress, nullptr);
}

// ---------------------------------------------------------------------------------------------
// Reading tool files

struct ToolCase {
    const char *name;
    const char *command; // {g} the gray source, {c} the color source, {o} the output
    int type;            // the picture type we must read
    int netpbm;          // 1 when bmptopnm reads the file too
};

static const ToolCase TOOL_CASES[] = {
    {"bmp3-24", "convert {c} bmp3:{o}", TYPE_COLOR24, 1},
    {"bmp2-core-24", "convert {c} bmp2:{o}", TYPE_COLOR24, 1},
    {"v5-24", "convert {c} bmp:{o}", TYPE_COLOR24, 1},
    {"palette8", "convert {c} -colors 200 -type palette -compress none bmp3:{o}", TYPE_COLOR24, 1},
    // ImageMagick's RLE8 lets the last run of a row reach past its end, which netpbm refuses
    // and we cut, as ImageMagick itself does.
    {"palette8-rle8", "convert {c} -colors 200 -type palette -compress RLE bmp3:{o}", TYPE_COLOR24,
     0},
    {"palette4", "convert {c} -colors 12 -type palette -compress none bmp3:{o}", TYPE_COLOR24, 1},
    {"gray8-rle8", "convert {g} -type palette -compress RLE bmp3:{o}", TYPE_GRAY8, 0},
    {"mono1", "convert {g} -monochrome bmp3:{o}", TYPE_BINARY, 1},
    {"rgb565", "convert {c} -define bmp:subtype=RGB565 bmp:{o}", TYPE_COLOR24, 0},
    {"rgb555", "convert {c} -define bmp:subtype=RGB555 bmp:{o}", TYPE_COLOR24, 0},
    {"argb32", "convert {c} -alpha set -channel A -evaluate set 40% +channel bmp:{o}", TYPE_COLOR24,
     0},
    {"ppmtobmp-24", "ppmtobmp -bpp 24 {c} > {o}", TYPE_COLOR24, 1},
    {"ppmtobmp-os2", "ppmtobmp -os2 {c} > {o}", TYPE_COLOR24, 1},
    {"ppmtobmp-gray8", "ppmtobmp -bpp 8 {g} > {o}", TYPE_GRAY8, 1},
    {"ppmtobmp-gray4", "pnmquant 16 {g} | ppmtobmp -bpp 4 > {o}", TYPE_GRAY8, 1},
    {"ppmtobmp-mono1", "pgmtopbm -threshold {g} | ppmtobmp -bpp 1 > {o}", TYPE_BINARY, 1},
};

TEST(BmpReader, ReadsToolFilesAsTheToolsDo)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.ToolFiles");
    std::string gray = folder + "/gray.pgm";
    std::string color = folder + "/color.ppm";
    PnmWrite(gray, 61, 37, 1, 1);
    PnmWrite(color, 61, 37, 3, 2);
    for (const ToolCase &c : TOOL_CASES) {
        SCOPED_TRACE(c.name);
        std::string path = folder + "/" + c.name + ".bmp";
        ToolRun("(" + ToolCommand(c.command, gray, color, path) + ")");
        TestWindow window;
        ASSERT_EQ(ReadBmpFile(path.c_str(), window.window, 0, nullptr), ERROR_NONE);
        EXPECT_EQ(window.image().type, c.type);
        EXPECT_EQ(window.image().width, 61);
        EXPECT_EQ(window.image().height, 37);
        std::vector<int> ours = ImageSamples(window.image());
        EXPECT_TRUE(SamplesEqual(ToolSamples(path, "-alpha off"), ours)) << "ImageMagick";
        if (c.netpbm) {
            EXPECT_TRUE(SamplesEqual(PipeSamples("bmptopnm " + Quote(path) + " 2>/dev/null"), ours))
                << "netpbm";
        }
    }
}

TEST(BmpReader, EmbeddedProfileOfAColorPictureGoesToTheWindow)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.Profile");
    std::string color = folder + "/color.ppm";
    std::string path = folder + "/profile.bmp";
    std::string profile = "/usr/share/color/icc/sRGB.icc";
    PnmWrite(color, 20, 10, 3, 3);
    ToolRun("convert " + Quote(color) + " -profile " + profile + " bmp:" + Quote(path));
    TestWindow window;
    ASSERT_EQ(ReadBmpFile(path.c_str(), window.window, 0, nullptr), ERROR_NONE);
    std::vector<uint8_t> expected = TestReadFile(profile);
    ASSERT_NE(window.window->profile, nullptr);
    ASSERT_GE(window.window->profileSize, (int)expected.size());
    EXPECT_EQ(
        std::vector<uint8_t>(window.window->profile, window.window->profile + expected.size()),
        expected);
}

// ---------------------------------------------------------------------------------------------
// Variants built by hand

TEST(BmpReader, Rle8RunsAbsoluteDeltaAndEndsByHand)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.Rle8");
    TestBmp bmp;
    bmp.width = 6;
    bmp.height = 4;
    bmp.compression = 1;
    bmp.palette = GrayPalette(256);
    bmp.data = {
        3, 10, 0, 3, 1, 2, 3, 0, 0, 0, // row 0: a run, three pixels as they stand and a pad
        0, 2,  2, 1,                   // delta: row 1 stays empty, row 2 from x = 2
        9, 7,  0, 0,                   // a run of 9 cut at the right edge
        2, 9,  0, 1,                   // row 3 begins, and the picture ends
    };
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
    ASSERT_EQ(window.image().type, TYPE_GRAY8);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{
                                                9,  9,  0,  0, 0, 0, // row 3
                                                0,  0,  7,  7, 7, 7, // row 2
                                                0,  0,  0,  0, 0, 0, // row 1
                                                10, 10, 10, 1, 2, 3, // row 0
                                            }));
}

TEST(BmpReader, Rle4NibblesAndPaddingByHand)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.Rle4");
    TestBmp bmp;
    bmp.width = 7;
    bmp.height = 2;
    bmp.bits = 4;
    bmp.compression = 2;
    for (uint32_t i = 0; i < 16; i++)
        bmp.palette.push_back(i * 16 << 16 | (255 - i * 16) << 8 | i);
    bmp.data = {
        5, 0x12,                      // 1 2 1 2 1
        0, 3,    0x34, 0x50,          // 3 4 and a 5 past the edge; two bytes, no pad
        0, 0,                         // end of line
        0, 5,    0xAB, 0xCD, 0xE0, 0, // five nibbles in three bytes and a pad
        0, 1,
    };
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
    ASSERT_EQ(window.image().type, TYPE_COLOR24);
    std::vector<int> indices = {10, 11, 12, 13, 14, 0, 0, 1, 2, 1, 2, 1, 3, 4};
    std::vector<int> expected;
    for (int i : indices) {
        expected.push_back(i);            // blue
        expected.push_back(255 - i * 16); // green
        expected.push_back(i * 16);       // red
    }
    EXPECT_EQ(RowsTopFirst(window.image()), expected);
}

TEST(BmpReader, RleEndingWithTheLastLineNeedsNoEndOfPicture)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.RleNoEnd");
    TestBmp bmp;
    bmp.width = 2;
    bmp.height = 2;
    bmp.compression = 1;
    bmp.palette = GrayPalette(256);
    bmp.data = {2, 5, 0, 0, 2, 6, 0, 0};
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{6, 6, 5, 5}));
    // Without the last end of line the codes stop before the picture ends.
    bmp.data.resize(6);
    EXPECT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_READ_BMP);
    EXPECT_EQ(window.image().type, TYPE_EMPTY);
}

TEST(BmpReader, TopDownRowsGiveTheSamePicture)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.TopDown");
    for (int bits : {1, 4, 8, 24, 32}) {
        SCOPED_TRACE(bits);
        TestBmp bmp;
        bmp.width = 13;
        bmp.height = 5;
        bmp.bits = bits;
        if (bits <= 8) bmp.palette = GrayPalette(1 << bits);
        size_t stride = ((size_t)13 * bits + 31) / 32 * 4;
        bmp.data = RandomBytes(stride * 5, bits);
        TestWindow bottomUp;
        ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &bottomUp), ERROR_NONE);
        std::vector<uint8_t> flipped;
        for (int r = 4; r >= 0; r--)
            flipped.insert(flipped.end(), bmp.data.begin() + r * stride,
                           bmp.data.begin() + (r + 1) * stride);
        bmp.data = flipped;
        bmp.height = -5;
        TestWindow topDown;
        ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &topDown), ERROR_NONE);
        ExpectImagesNear(bottomUp.image(), topDown.image(), 0);
    }
}

TEST(BmpReader, BitFieldsWidenByRepeatingTheirBits)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.BitFields");
    struct Case {
        const char *name;
        int bits;
        int headerSize;
        uint32_t compression;
        std::vector<uint32_t> masks;
        std::vector<uint32_t> pixels;
        std::vector<int> expected; // blue, green, red of each pixel
    };
    const Case cases[] = {
        {"565 after a 40-byte header",
         16,
         40,
         3,
         {0xF800, 0x07E0, 0x001F},
         {0xF800, 0x07E0, 0x001F, 0x0841, 0x8410},
         {0, 0, 255, 0, 255, 0, 255, 0, 0, 8, 8, 8, 132, 130, 132}},
        {"555 plain",
         16,
         40,
         0,
         {},
         {0x7C00, 0x0003, 0x0007, 0x0060, 0x8000},
         {0, 0, 255, 24, 0, 0, 57, 0, 0, 0, 24, 0, 0, 0, 0}},
        {"444 in a V4 header",
         16,
         108,
         3,
         {0x0F00, 0x00F0, 0x000F},
         {0x0F00, 0x0005, 0x0A00},
         {0, 0, 255, 0x55, 0, 0, 0, 0, 0xAA}},
        {"10-bit fields round",
         32,
         124,
         3,
         {0x3FF00000, 0x000FFC00, 0x000003FF},
         {0x3FF00000, 0x00080000 | 0x200, 0x3FFFFFFF},
         {0, 0, 255, 128, 128, 0, 255, 255, 255}},
        {"alpha bit fields after a 40-byte header",
         32,
         40,
         6,
         {0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000},
         {0x80112233, 0x00445566},
         {0x33, 0x22, 0x11, 0x66, 0x55, 0x44}},
        {"plain 32 bits drop the fourth byte",
         32,
         40,
         0,
         {},
         {0xFF010203, 0x00FFFEFD},
         {3, 2, 1, 0xFD, 0xFE, 0xFF}},
        {"a missing mask gives 0", 16, 52, 3, {0xF800, 0, 0x001F}, {0xFFFF}, {255, 0, 255}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestBmp bmp;
        bmp.headerSize = c.headerSize;
        bmp.width = (int)c.pixels.size();
        bmp.height = 1;
        bmp.bits = c.bits;
        bmp.compression = c.compression;
        bmp.masks = c.masks;
        for (uint32_t pixel : c.pixels)
            for (int b = 0; b < c.bits / 8; b++)
                bmp.data.push_back((uint8_t)(pixel >> (8 * b)));
        bmp.data.resize((bmp.data.size() + 3) / 4 * 4);
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
        ASSERT_EQ(window.image().type, TYPE_COLOR24);
        EXPECT_EQ(RowsTopFirst(window.image()), c.expected);
    }
}

TEST(BmpReader, PaletteDecidesThePictureType)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.Palettes");
    struct Case {
        const char *name;
        int bits;
        std::vector<uint32_t> palette;
        uint32_t colorsUsed;
        std::vector<uint8_t> row; // 4 bytes
        int type;
        std::vector<int> expected; // bits, levels, or blue, green, red
    };
    const Case cases[] = {
        {"white first inverts", 1, {0xFFFFFF, 0}, 0, {0xA0, 0, 0, 0}, TYPE_BINARY, {0, 1, 0, 1}},
        {"black first as it is", 1, {0, 0xFFFFFF}, 0, {0xA0, 0, 0, 0}, TYPE_BINARY, {1, 0, 1, 0}},
        {"one color and black",
         1,
         {0, 0x0000FF},
         0,
         {0x40, 0, 0, 0},
         TYPE_COLOR24,
         {0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0}},
        {"gray levels",
         4,
         {0, 0x404040, 0x808080, 0xFFFFFF},
         4,
         {0x01, 0x23, 0, 0},
         TYPE_GRAY8,
         {0, 64, 128, 255}},
        {"2 bits",
         2,
         {0x000000, 0x555555, 0xAAAAAA, 0xFFFFFF},
         0,
         {0x1B, 0, 0, 0},
         TYPE_GRAY8,
         {0, 85, 170, 255}},
        // Indices past a short palette read as black.
        {"short palette", 8, {0xFFFFFF, 0x808080}, 2, {1, 0, 7, 200}, TYPE_GRAY8, {128, 255, 0, 0}},
        {"black and white in 8 bits", 8, {0, 0xFFFFFF}, 2, {1, 0, 1, 1}, TYPE_BINARY, {1, 0, 1, 1}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestBmp bmp;
        bmp.width = 4;
        bmp.height = 1;
        bmp.bits = c.bits;
        bmp.palette = c.palette;
        bmp.colorsUsed = c.colorsUsed;
        bmp.data = c.row;
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
        ASSERT_EQ(window.image().type, c.type);
        std::vector<int> values = RowsTopFirst(window.image());
        if (c.type == TYPE_BINARY) values.resize(4);
        EXPECT_EQ(values, c.expected);
    }
}

TEST(BmpReader, OldAndRareHeadersAndAPaletteCutByTheData)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.Headers");
    std::vector<uint8_t> row = {0, 1, 2, 3};
    std::vector<uint32_t> palette = {0x102030, 0x405060, 0x708090, 0xA0B0C0};
    std::vector<int> expected = {0x30, 0x20, 0x10, 0x60, 0x50, 0x40,
                                 0x90, 0x80, 0x70, 0xC0, 0xB0, 0xA0};
    for (int headerSize : {12, 16, 40, 52, 56, 64, 108, 124}) {
        SCOPED_TRACE(headerSize);
        TestBmp bmp;
        bmp.headerSize = headerSize;
        bmp.width = 4;
        bmp.height = 1;
        bmp.palette = palette;
        // The OS/2 headers have no count of colors: their palette runs up to the rows.
        bmp.colorsUsed = 4;
        bmp.data = row;
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
        EXPECT_EQ(RowsTopFirst(window.image()), expected);
    }
    // A palette said to have 256 entries where the rows leave room for 4.
    TestBmp bmp;
    bmp.width = 4;
    bmp.height = 1;
    bmp.palette = palette;
    bmp.colorsUsed = 256;
    bmp.data = row;
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), expected);
}

TEST(BmpReader, ResolutionComesBackAsAWholeNumberWhenOneFits)
{
    TestStart();
    EXPECT_EQ(BmpPelsPerMetre(300.0), 11811);
    EXPECT_EQ(BmpPelsPerMetre(72.0), 2835);
    EXPECT_EQ(BmpPelsPerMetre(96.0), 3780);
    EXPECT_EQ(BmpPelsPerMetre(0.0), 0);
    EXPECT_EQ(BmpResolution(11811), 300.0);
    EXPECT_EQ(BmpResolution(2835), 72.0);
    EXPECT_EQ(BmpResolution(3780), 96.0);
    EXPECT_EQ(BmpResolution(3937), 100.0);
    // 1000 per metre is 25.40005 per inch; no whole number gives 1000 back.
    EXPECT_DOUBLE_EQ(BmpResolution(1000), 25.40005);
    EXPECT_EQ(BmpResolution(0), Prefs.defaultResolution);
    EXPECT_EQ(BmpResolution(-5), Prefs.defaultResolution);
    for (int dpi = 1; dpi <= 2400; dpi++)
        ASSERT_EQ(BmpResolution(BmpPelsPerMetre(dpi)), dpi) << dpi;

    std::string folder = TestOutputFolder("BmpReader.Resolution");
    TestBmp bmp;
    bmp.width = 1;
    bmp.height = 1;
    bmp.bits = 24;
    bmp.pelsPerMetre = 11811;
    bmp.data = {1, 2, 3, 0};
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, BmpBytes(bmp), &window), ERROR_NONE);
    EXPECT_EQ(window.image().resolution, 300.0);
}

// ---------------------------------------------------------------------------------------------
// Writing

TEST(BmpWriter, ToolsReadWhatWeWrite)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpWriter.Tools");
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24}) {
        for (int width : {1, 7, 33, 61}) {
            SCOPED_TRACE(::testing::Message() << "type " << type << " width " << width);
            TestWindow window;
            PictureMake(&window, type, width, 9, width + type);
            std::string path = folder + "/written.bmp";
            ASSERT_EQ(SaveBmpFile(path.c_str(), window.window), ERROR_NONE);
            std::vector<int> ours = ImageSamples(window.image());
            EXPECT_TRUE(SamplesEqual(ours, ToolSamples(path))) << "ImageMagick";
            EXPECT_TRUE(SamplesEqual(ours, PipeSamples("bmptopnm " + Quote(path) + " 2>/dev/null")))
                << "netpbm";
            // A few random colors may count as a palette picture; gray and binary are sure.
            if (type != TYPE_COLOR24) {
                std::string kind;
                TestRun("identify -format '%[type] %[bit-depth]' " + Quote(path), &kind);
                EXPECT_EQ(kind, type == TYPE_BINARY ? "Bilevel 1" : "Grayscale 8");
            }
        }
    }
}

TEST(BmpWriter, HeadersAndPaddingByHand)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpWriter.Bytes");
    std::string path = folder + "/gray.bmp";
    TestWindow window;
    PictureMake(&window, TYPE_GRAY8, 3, 2, 1, 300.0);
    // Padding is undefined in memory; the file must not carry it.
    window.image().rows[0][3] = 0xAB;
    window.image().rows[1][3] = 0xCD;
    ASSERT_EQ(SaveBmpFile(path.c_str(), window.window), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    ASSERT_EQ(bytes.size(), 14u + 40 + 1024 + 8);
    EXPECT_EQ(BytesGet32(bytes.data(), 2, 1), 1086u);  // file size
    EXPECT_EQ(BytesGet32(bytes.data(), 10, 1), 1078u); // rows start after the palette
    EXPECT_EQ(BytesGet32(bytes.data(), 14, 1), 40u);
    EXPECT_EQ(BytesGet32(bytes.data(), 18, 1), 3u);
    EXPECT_EQ(BytesGet32(bytes.data(), 22, 1), 2u); // positive: bottom row first
    EXPECT_EQ(BytesGet16(bytes.data(), 28, 1), 8);
    EXPECT_EQ(BytesGet32(bytes.data(), 34, 1), 8u);
    EXPECT_EQ(BytesGet32(bytes.data(), 38, 1), 11811u);
    EXPECT_EQ(BytesGet32(bytes.data(), 42, 1), 11811u);
    EXPECT_EQ(BytesGet32(bytes.data(), 46, 1), 256u);
    EXPECT_EQ(BytesGet32(bytes.data(), 54 + 4 * 200, 1), 0x00C8C8C8u);
    for (int r = 0; r < 2; r++) {
        for (int x = 0; x < 3; x++)
            EXPECT_EQ(bytes[1078 + 4 * r + x], window.image().rows[r][x]);
        EXPECT_EQ(bytes[1078 + 4 * r + 3], 0);
    }

    // A binary row's bits past the width are cleared, and white is palette entry 1.
    TestWindow binary;
    PictureMake(&binary, TYPE_BINARY, 3, 1, 2);
    binary.image().rows[0][0] = 0xFF;
    ASSERT_EQ(SaveBmpFile(path.c_str(), binary.window), ERROR_NONE);
    bytes = TestReadFile(path);
    ASSERT_EQ(bytes.size(), 14u + 40 + 8 + 4);
    EXPECT_EQ(BytesGet32(bytes.data(), 54, 1), 0u);
    EXPECT_EQ(BytesGet32(bytes.data(), 58, 1), 0x00FFFFFFu);
    EXPECT_EQ(bytes[62], 0xE0);
    EXPECT_EQ(bytes[63] | bytes[64] | bytes[65], 0);
}

// ---------------------------------------------------------------------------------------------
// Damaged files

static TestBmp HostileBase(void)
{
    TestBmp bmp;
    bmp.width = 8;
    bmp.height = 4;
    bmp.palette = GrayPalette(256);
    bmp.colorsUsed = 256;
    bmp.data = RandomBytes(32, 7);
    return bmp;
}

static TestBmp HostileRle(void)
{
    TestBmp bmp = HostileBase();
    bmp.compression = 1;
    bmp.data = {8, 1, 0, 0, 8, 2, 0, 0, 8, 3, 0, 0, 8, 4, 0, 1};
    return bmp;
}

std::vector<HostileFile> raster_test::BmpHostileFiles(void)
{
    std::vector<HostileFile> files;
    std::vector<uint8_t> good = BmpBytes(HostileBase());
    for (size_t at : {1u, 10u, 14u, 20u, 53u, 54u, 600u, 1078u, 1100u})
        files.push_back({"bmp-truncated-at-" + std::to_string(at),
                         std::vector<uint8_t>(good.begin(), good.begin() + at), ERROR_READ_BMP});
    auto with = [](const char *name, auto change, ErrorCode expected) {
        TestBmp bmp = HostileBase();
        change(&bmp);
        return HostileFile{name, BmpBytes(bmp), expected};
    };
    auto rle = [](const char *name, auto change, ErrorCode expected) {
        TestBmp bmp = HostileRle();
        change(&bmp);
        return HostileFile{name, BmpBytes(bmp), expected};
    };
    files.push_back(with(
        "bmp-width-zero", [](TestBmp *b) { b->width = 0; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-height-zero", [](TestBmp *b) { b->height = 0; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-width-negative", [](TestBmp *b) { b->width = -8; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-height-most-negative", [](TestBmp *b) { b->height = INT32_MIN; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-size-2-24-by-2-24", [](TestBmp *b) { b->width = b->height = 1 << 24; },
        ERROR_READ_BMP));
    files.push_back(with(
        "bmp-rows-past-eof", [](TestBmp *b) { b->height = 40000; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-header-size-41", [](TestBmp *b) { b->headerSize = 41; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-bits-3", [](TestBmp *b) { b->bits = 3; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-rle8-of-24-bits", [](TestBmp *b) { b->bits = 24, b->compression = 1; },
        ERROR_READ_BMP));
    files.push_back(with(
        "bmp-compression-jpeg", [](TestBmp *b) { b->compression = 4; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-bitfields-of-8-bits", [](TestBmp *b) { b->compression = 3; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-os2-rle24", [](TestBmp *b) { b->headerSize = 64, b->bits = 24, b->compression = 4; },
        ERROR_READ_BMP));
    for (uint32_t offset : {0x7FFFFFF0u, 20u}) {
        std::vector<uint8_t> bytes = good;
        Put32(&bytes, 10, offset);
        files.push_back({offset == 20 ? "bmp-data-offset-in-header" : "bmp-data-offset-past-eof",
                         bytes, ERROR_READ_BMP});
    }
    files.push_back(with(
        "bmp-palette-empty", [](TestBmp *b) { b->dataOffset = 54; }, ERROR_READ_BMP));
    files.push_back(with(
        "bmp-colors-used-huge", [](TestBmp *b) { b->colorsUsed = 0xFFFFFFFF; }, ERROR_NONE));
    files.push_back(rle(
        "bmp-rle-huge-picture", [](TestBmp *b) { b->width = 30000, b->height = 30000; },
        ERROR_READ_BMP));
    files.push_back(rle(
        "bmp-rle-truncated", [](TestBmp *b) { b->data.resize(9); }, ERROR_READ_BMP));
    files.push_back(rle(
        "bmp-rle-absolute-past-eof",
        [](TestBmp *b) {
            b->data = {0, 255, 1, 2, 3};
        },
        ERROR_READ_BMP));
    files.push_back(rle(
        "bmp-rle-delta-past-the-end", [](TestBmp *b) { b->data = {4, 9, 0, 2, 255, 255, 8, 8}; },
        ERROR_NONE));
    files.push_back(rle(
        "bmp-rle-runs-past-the-width",
        [](TestBmp *b) {
            b->data.assign(4000, 255);
            b->data.push_back(0);
            b->data.push_back(1);
        },
        ERROR_NONE));
    files.push_back(rle(
        "bmp-rle-absolute-past-the-width",
        [](TestBmp *b) {
            b->data = {0, 200};
            b->data.resize(202, 9);
            b->data.push_back(0);
            b->data.push_back(1);
        },
        ERROR_NONE));
    {
        // A V5 header whose embedded profile lies past the end: the picture reads without it.
        TestBmp bmp = HostileBase();
        bmp.headerSize = 124;
        std::vector<uint8_t> bytes = BmpBytes(bmp);
        Put32(&bytes, 14 + 56, 0x4D424544);
        Put32(&bytes, 14 + 112, 0x7FFFFF00);
        Put32(&bytes, 14 + 116, 4096);
        files.push_back({"bmp-profile-past-eof", bytes, ERROR_NONE});
    }
    return files;
}

TEST(BmpReaderHostile, TruncatedAndChangedFilesGiveCodes)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReaderHostile.Damage");
    std::string gray = folder + "/gray.pgm";
    std::string color = folder + "/color.ppm";
    PnmWrite(gray, 23, 11, 1, 8);
    PnmWrite(color, 23, 11, 3, 9);
    const char *commands[] = {
        "convert {c} -colors 60 -type palette -compress RLE bmp3:{o}",
        "convert {c} -define bmp:subtype=RGB565 bmp:{o}",
        "convert {g} -monochrome bmp3:{o}",
        "ppmtobmp -os2 {c} > {o}",
    };
    for (const char *command : commands) {
        SCOPED_TRACE(command);
        std::string path = folder + "/good.bmp";
        ToolRun("(" + ToolCommand(command, gray, color, path) + ")");
        std::vector<uint8_t> good = TestReadFile(path);
        int readable = DamageEverywhere(folder, good, ReadBmpFile, ERROR_READ_BMP, 3,
                                        (4 << 20) + (int64_t)good.size() * 1024);
        EXPECT_GT(readable, 0); // changes in the pixels still read
    }
    // The hand-built RLE4 file too.
    TestBmp bmp;
    bmp.width = 7;
    bmp.height = 3;
    bmp.bits = 4;
    bmp.compression = 2;
    bmp.palette = GrayPalette(16);
    bmp.data = {5, 0x12, 0, 3, 0x34, 0x50, 0, 0, 0, 2, 1, 1, 0, 5, 0xAB, 0xCD, 0xE0, 0, 0, 1};
    DamageEverywhere(folder, BmpBytes(bmp), ReadBmpFile, ERROR_READ_BMP, 1, 4 << 20);
    EXPECT_EQ(HeadlessProgressCount(), 0);
}
