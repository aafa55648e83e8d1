// Tests of our own PCX reader and writer: runs across rows, counts of zero and palettes built
// byte by byte, and the headers, runs and palette we write.
//
// What every raster format shares (round trips, refusals, aborts, progress, detection, the
// kept hostile files, the tools' files and the tools' reading of ours, damage everywhere) is
// tested once in AllFormatsTest.cpp.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/File.h"
#include "core/Preferences.h"
#include "files/FileType.h"
#include "files/Pcx.h"
#include "platform/headless/Headless.h"
#include "tests/files/RasterTestHelpers.h"
#include "tests/support/TestSupport.h"

using namespace raster_test;

// ---------------------------------------------------------------------------------------------
// Files built byte by byte

struct TestPcx {
    int version = 5;
    int encoding = 1;
    int bits = 8;
    int planes = 1;
    int width = 0;
    int height = 0;
    int bytesPerLine = -1; // -1: the width's bytes rounded up to even
    int dotsPerInch = 0;
    std::vector<uint8_t> headerPalette; // up to 48 bytes
    std::vector<uint8_t> data;
    std::vector<uint8_t> palette; // 768 bytes after a mark 12, or none
};

static std::vector<uint8_t> PcxBytes(const TestPcx &pcx)
{
    std::vector<uint8_t> bytes(128);
    bytes[0] = 10;
    bytes[1] = (uint8_t)pcx.version;
    bytes[2] = (uint8_t)pcx.encoding;
    bytes[3] = (uint8_t)pcx.bits;
    BytesPut16(bytes.data(), 8, (uint16_t)(pcx.width - 1));
    BytesPut16(bytes.data(), 10, (uint16_t)(pcx.height - 1));
    BytesPut16(bytes.data(), 12, (uint16_t)pcx.dotsPerInch);
    BytesPut16(bytes.data(), 14, (uint16_t)pcx.dotsPerInch);
    for (size_t i = 0; i < pcx.headerPalette.size(); i++)
        bytes[16 + i] = pcx.headerPalette[i];
    bytes[65] = (uint8_t)pcx.planes;
    int bytesPerLine = pcx.bytesPerLine;
    if (bytesPerLine < 0) {
        bytesPerLine = (pcx.width * pcx.bits + 7) / 8;
        bytesPerLine += bytesPerLine & 1;
    }
    BytesPut16(bytes.data(), 66, (uint16_t)bytesPerLine);
    bytes.insert(bytes.end(), pcx.data.begin(), pcx.data.end());
    if (!pcx.palette.empty()) {
        bytes.push_back(12);
        bytes.insert(bytes.end(), pcx.palette.begin(), pcx.palette.end());
    }
    return bytes;
}

static ErrorCode ReadBytes(const std::string &folder, const std::vector<uint8_t> &bytes,
                           TestWindow *window, int showProgress = 0)
{
    std::string path = folder + "/built.pcx";
    TestWriteFile(path, bytes);
    return ReadPcxFile(path.c_str(), window->window, showProgress, nullptr);
}

TEST(PcxReader, RunsCrossRowsAndCountsOfZeroGiveNothing)
{
    TestStart();
    std::string folder = TestOutputFolder("PcxReader.Runs");
    TestPcx pcx;
    pcx.width = 3;
    pcx.height = 3;
    pcx.bytesPerLine = 3;
    pcx.data = {
        0xC4, 7,    // 7 7 7 | 7
        0xC0, 99,   // a count of zero
        0xC2, 9,    // 9 9
        0xC1, 0xC5, // a byte that looks like a count, as a run of one
        1,    2,    // bytes that stand for themselves
    };
    // No palette after the rows: an 8-bit file is then gray.
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, PcxBytes(pcx), &window), ERROR_NONE);
    ASSERT_EQ(window.image().type, TYPE_GRAY8);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{7, 7, 7, 7, 9, 9, 0xC5, 1, 2}));
    // Uncompressed rows, and the resolution from the header.
    pcx.encoding = 0;
    pcx.dotsPerInch = 300;
    pcx.data = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    ASSERT_EQ(ReadBytes(folder, PcxBytes(pcx), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(window.image().resolution, 300.0);
    pcx.dotsPerInch = 0;
    ASSERT_EQ(ReadBytes(folder, PcxBytes(pcx), &window), ERROR_NONE);
    EXPECT_EQ(window.image().resolution, Prefs.defaultResolution);
}

TEST(PcxReader, PalettesDecideThePictureType)
{
    TestStart();
    std::string folder = TestOutputFolder("PcxReader.Palettes");
    struct Case {
        const char *name;
        int bits;
        int planes;
        std::vector<uint8_t> headerPalette;
        std::vector<uint8_t> palette; // after the rows
        std::vector<uint8_t> row;     // uncompressed, all planes
        int type;
        std::vector<int> expected;
    };
    std::vector<uint8_t> grayPalette;
    std::vector<uint8_t> colorPalette;
    for (int i = 0; i < 256; i++) {
        grayPalette.insert(grayPalette.end(),
                           {(uint8_t)(255 - i), (uint8_t)(255 - i), (uint8_t)(255 - i)});
        colorPalette.insert(colorPalette.end(), {(uint8_t)i, 0, (uint8_t)(255 - i)});
    }
    std::vector<uint8_t> sixteen;
    for (int i = 0; i < 16; i++)
        sixteen.insert(sixteen.end(), {(uint8_t)(16 * i), (uint8_t)(8 * i), (uint8_t)i});
    const Case cases[] = {
        {"1 bit, empty palette", 1, 1, {}, {}, {0xA0, 0}, TYPE_BINARY, {1, 0, 1, 0}},
        {"1 bit, black then white",
         1,
         1,
         {0, 0, 0, 255, 255, 255},
         {},
         {0xA0, 0},
         TYPE_BINARY,
         {1, 0, 1, 0}},
        {"1 bit, white then black",
         1,
         1,
         {255, 255, 255, 0, 0, 0},
         {},
         {0xA0, 0},
         TYPE_BINARY,
         {0, 1, 0, 1}},
        {"1 bit, two colors",
         1,
         1,
         {255, 0, 0, 0, 0, 255},
         {},
         {0x80, 0},
         TYPE_COLOR24,
         {0, 0, 255, 255, 0, 0, 255, 0, 0, 255, 0, 0}},
        {"8 bits, gray palette",
         8,
         1,
         {},
         grayPalette,
         {0, 1, 254, 255},
         TYPE_GRAY8,
         {255, 254, 1, 0}},
        {"8 bits, color palette",
         8,
         1,
         {},
         colorPalette,
         {0, 255, 0, 0},
         TYPE_COLOR24,
         {0, 0, 255, 255, 0, 0, 0, 0, 255, 0, 0, 255}},
        // Four planes of one bit: plane p gives bit p of the index.
        {"4 planes",
         1,
         4,
         sixteen,
         {},
         {0x80, 0, 0x40, 0, 0x20, 0, 0xF0, 0},
         TYPE_COLOR24,
         {144, 72, 9, 160, 80, 10, 192, 96, 12, 128, 64, 8}},
        {"4 bits packed",
         4,
         1,
         sixteen,
         {},
         {0x0F, 0x31},
         TYPE_COLOR24,
         {0, 0, 0, 240, 120, 15, 48, 24, 3, 16, 8, 1}},
        // Red, green, blue and alpha planes: alpha is dropped.
        {"8 bits, 4 planes",
         8,
         4,
         {},
         {},
         {1, 2, 0, 0, 3, 4, 0, 0, 5, 6, 0, 0, 7, 8, 0, 0},
         TYPE_COLOR24,
         {1, 3, 5, 2, 4, 6}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestPcx pcx;
        pcx.encoding = 0;
        pcx.bits = c.bits;
        pcx.planes = c.planes;
        pcx.width = c.bits == 8 && c.planes == 4 ? 2 : 4;
        pcx.height = 1;
        pcx.bytesPerLine = (int)c.row.size() / c.planes;
        pcx.headerPalette = c.headerPalette;
        pcx.palette = c.palette;
        pcx.data = c.row;
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, PcxBytes(pcx), &window), ERROR_NONE);
        ASSERT_EQ(window.image().type, c.type);
        std::vector<int> values = RowsTopFirst(window.image());
        if (c.type == TYPE_COLOR24) {
            // Compare as red, green, blue.
            for (size_t i = 0; i + 2 < values.size(); i += 3)
                std::swap(values[i], values[i + 2]);
        }
        EXPECT_EQ(values, c.expected);
    }
}

// ---------------------------------------------------------------------------------------------
// Writing

TEST(PcxWriter, HeaderRunsAndPaletteByHand)
{
    TestStart();
    std::string folder = TestOutputFolder("PcxWriter.Bytes");
    std::string path = folder + "/gray.pcx";
    TestWindow window;
    PictureMake(&window, TYPE_GRAY8, 5, 1, 1, 300.0);
    const uint8_t row[5] = {200, 200, 200, 0xC5, 1};
    memcpy(window.image().rows[0], row, 5);
    ASSERT_EQ(SavePcxFile(path.c_str(), window.window), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    ASSERT_EQ(bytes.size(), 128u + 6 + 769);
    EXPECT_EQ(bytes[0], 10);
    EXPECT_EQ(bytes[1], 5);
    EXPECT_EQ(bytes[2], 1);
    EXPECT_EQ(bytes[3], 8);
    EXPECT_EQ(BytesGet16(bytes.data(), 8, 1), 4);  // last column
    EXPECT_EQ(BytesGet16(bytes.data(), 10, 1), 0); // last row
    EXPECT_EQ(BytesGet16(bytes.data(), 12, 1), 300);
    EXPECT_EQ(BytesGet16(bytes.data(), 14, 1), 300);
    EXPECT_EQ(bytes[65], 1);
    EXPECT_EQ(BytesGet16(bytes.data(), 66, 1), 6); // even
    EXPECT_EQ(BytesGet16(bytes.data(), 68, 1), 2); // a gray palette
    // Three 200s as a run, 0xC5 as a run of one, 1 as itself, the pad byte 0 as itself.
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 128, bytes.begin() + 134),
              (std::vector<uint8_t>{0xC3, 200, 0xC1, 0xC5, 1, 0}));
    EXPECT_EQ(bytes[134], 12);
    for (int i = 0; i < 256; i++)
        ASSERT_EQ(bytes[135 + 3 * i], i);

    // A run longer than 63 is cut; a binary row's bits past the width are cleared and the
    // header's palette says black, then white.
    TestWindow binary;
    PictureMake(&binary, TYPE_BINARY, 600, 1, 2);
    memset(binary.image().rows[0], 0xFF, (size_t)binary.image().rowBytes);
    ASSERT_EQ(SavePcxFile(path.c_str(), binary.window), ERROR_NONE);
    bytes = TestReadFile(path);
    EXPECT_EQ(BytesGet16(bytes.data(), 66, 1), 76);
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 16, bytes.begin() + 22),
              (std::vector<uint8_t>{0, 0, 0, 255, 255, 255}));
    // 75 bytes of 0xFF as runs of 63 and 12, then the pad byte 0 as itself.
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 128, bytes.end()),
              (std::vector<uint8_t>{0xFF, 0xFF, 0xCC, 0xFF, 0x00}));
}

TEST(PcxFileType, ByteTenBeforeWhatNoHeaderHoldsIsNotPcx)
{
    TestStart();
    std::string path = TestOutputFolder("PcxFileType.Content") + "/picture.dat";
    TestWriteFile(path, {10, 1, 1, 8, 0, 0, 0, 0});
    EXPECT_EQ(DetectFileContent(path.c_str()), -1);
    TestWriteFile(path, {10, 5, 2, 8, 0, 0, 0, 0});
    EXPECT_EQ(DetectFileContent(path.c_str()), -1);
}
