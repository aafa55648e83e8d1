// Tests of our own BMP reader and writer: the variants the tools do not make (top-down rows,
// RLE4, deltas, bit fields of odd widths, OS/2 2.x headers) built byte by byte, with the pixels
// they must give worked out by hand, the headers we write, and an embedded profile.
//
// What every raster format shares (round trips, refusals, aborts, progress, detection, the
// kept hostile files, the tools' files and the tools' reading of ours, damage everywhere) is
// tested once in AllFormatsTest.cpp.
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
// An embedded profile

TEST(BmpReader, EmbeddedProfileOfAColorPictureGoesToTheWindow)
{
    TestStart();
    std::string folder = TestOutputFolder("BmpReader.Profile");
    std::string color = folder + "/color.ppm";
    std::string path = folder + "/profile.bmp";
    std::string profile = "/usr/share/color/icc/sRGB.icc";
    PnmWrite(color, 20, 10, 3, 3);
    ASSERT_TRUE(
        ToolRuns("convert " + Quote(color) + " -profile " + profile + " bmp:" + Quote(path)));
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

TEST(BmpReaderHostile, AnRle4FileDamagedEverywhereGivesTheCodeOrAPicture)
{
    TestStart();
    TestBmp bmp;
    bmp.width = 7;
    bmp.height = 3;
    bmp.bits = 4;
    bmp.compression = 2;
    bmp.palette = GrayPalette(16);
    bmp.data = {5, 0x12, 0, 3, 0x34, 0x50, 0, 0, 0, 2, 1, 1, 0, 5, 0xAB, 0xCD, 0xE0, 0, 0, 1};
    DamageEverywhere(TestOutputFolder("BmpReaderHostile.Rle4"), BmpBytes(bmp), ReadBmpFile,
                     ERROR_READ_BMP, 1, 4 << 20);
}
