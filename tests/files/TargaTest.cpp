// Tests of our own Targa reader and writer: origins, 15 and 16-bit pixels, color maps with a
// first index and packets that run from one row into the next, built byte by byte with the
// pixels they must give worked out by hand; the header, rows and footer we write; and the
// recognition of a file that has no signature.
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
#include "files/Targa.h"
#include "platform/headless/Headless.h"
#include "tests/files/RasterTestHelpers.h"
#include "tests/support/TestSupport.h"

using namespace raster_test;

// ---------------------------------------------------------------------------------------------
// Files built byte by byte

struct TestTga {
    std::vector<uint8_t> id;
    int mapType = 0;
    int imageType = 2;
    int mapFirst = 0;
    int mapLength = 0;
    int mapEntryBits = 0;
    int width = 0;
    int height = 0;
    int pixelBits = 24;
    int descriptor = 0;
    std::vector<uint8_t> map;
    std::vector<uint8_t> data;
    int footer = 0;
};

static std::vector<uint8_t> TgaBytes(const TestTga &tga)
{
    std::vector<uint8_t> bytes(18);
    bytes[0] = (uint8_t)tga.id.size();
    bytes[1] = (uint8_t)tga.mapType;
    bytes[2] = (uint8_t)tga.imageType;
    BytesPut16(bytes.data(), 3, (uint16_t)tga.mapFirst);
    BytesPut16(bytes.data(), 5, (uint16_t)tga.mapLength);
    bytes[7] = (uint8_t)tga.mapEntryBits;
    BytesPut16(bytes.data(), 12, (uint16_t)tga.width);
    BytesPut16(bytes.data(), 14, (uint16_t)tga.height);
    bytes[16] = (uint8_t)tga.pixelBits;
    bytes[17] = (uint8_t)tga.descriptor;
    bytes.insert(bytes.end(), tga.id.begin(), tga.id.end());
    bytes.insert(bytes.end(), tga.map.begin(), tga.map.end());
    bytes.insert(bytes.end(), tga.data.begin(), tga.data.end());
    if (tga.footer) {
        const char signature[] = "TRUEVISION-XFILE.";
        bytes.insert(bytes.end(), 8, 0);
        bytes.insert(bytes.end(), signature, signature + sizeof signature);
    }
    return bytes;
}

static ErrorCode ReadBytes(const std::string &folder, const std::vector<uint8_t> &bytes,
                           TestWindow *window, int showProgress = 0)
{
    std::string path = folder + "/built.tga";
    TestWriteFile(path, bytes);
    return ReadTargaFile(path.c_str(), window->window, showProgress, nullptr);
}

TEST(TargaReader, EveryOriginGivesTheSamePicture)
{
    TestStart();
    std::string folder = TestOutputFolder("TargaReader.Origins");
    // The picture, top row first: 1 2 3 / 4 5 6 as gray levels.
    struct Case {
        int descriptor;
        std::vector<uint8_t> data; // in file order
    };
    const Case cases[] = {
        {0x00, {4, 5, 6, 1, 2, 3}}, // bottom left
        {0x20, {1, 2, 3, 4, 5, 6}}, // top left
        {0x10, {6, 5, 4, 3, 2, 1}}, // bottom right
        {0x30, {3, 2, 1, 6, 5, 4}}, // top right
        {0x08, {4, 5, 6, 1, 2, 3}}, // alpha bits say nothing of the origin
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.descriptor);
        for (int rle : {0, 1}) {
            TestTga tga;
            tga.imageType = rle ? 11 : 3;
            tga.width = 3;
            tga.height = 2;
            tga.pixelBits = 8;
            tga.descriptor = c.descriptor;
            if (rle) {
                tga.data = {0x05}; // six pixels as they stand, across both rows
                tga.data.insert(tga.data.end(), c.data.begin(), c.data.end());
            } else {
                tga.data = c.data;
            }
            TestWindow window;
            ASSERT_EQ(ReadBytes(folder, TgaBytes(tga), &window), ERROR_NONE);
            ASSERT_EQ(window.image().type, TYPE_GRAY8);
            EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{1, 2, 3, 4, 5, 6}));
        }
    }
}

TEST(TargaReader, PacketsRunFromOneRowIntoTheNext)
{
    TestStart();
    std::string folder = TestOutputFolder("TargaReader.Packets");
    TestTga tga;
    tga.imageType = 10;
    tga.width = 3;
    tga.height = 3;
    tga.descriptor = 0x20;
    tga.data = {
        0x83, 1,  2,  3,           // a run of four: the first row and one pixel of the second
        0x01, 4,  5,  6,  7, 8, 9, // two pixels as they stand, ending the second row
        0x82, 10, 11, 12,          // a run of three: the third row
    };
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, TgaBytes(tga), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()),
              (std::vector<int>{1, 2, 3, 1, 2,  3,  1,  2,  3,  1,  2,  3,  4, 5,
                                6, 7, 8, 9, 10, 11, 12, 10, 11, 12, 10, 11, 12}));
    // The same stream cut in the last packet.
    tga.data.resize(tga.data.size() - 1);
    EXPECT_EQ(ReadBytes(folder, TgaBytes(tga), &window), ERROR_READ_TARGA);
    EXPECT_EQ(window.image().type, TYPE_EMPTY);
}

TEST(TargaReader, FifteenAndSixteenBitPixelsWidenByRepeatingTheirBits)
{
    TestStart();
    std::string folder = TestOutputFolder("TargaReader.Sixteen");
    for (int bits : {15, 16}) {
        SCOPED_TRACE(bits);
        TestTga tga;
        tga.width = 4;
        tga.height = 1;
        tga.pixelBits = bits;
        // x RRRRR GGGGG BBBBB, low byte first; the top bit (alpha) changes nothing.
        for (uint16_t pixel : {0x7C00, 0x83E0, 0x001F, 0x0C63})
            tga.data.push_back((uint8_t)pixel), tga.data.push_back((uint8_t)(pixel >> 8));
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, TgaBytes(tga), &window), ERROR_NONE);
        // 0x0C63 is 3, 3, 3: 3 widens to 24.
        EXPECT_EQ(RowsTopFirst(window.image()),
                  (std::vector<int>{0, 0, 255, 0, 255, 0, 255, 0, 0, 24, 24, 24}));
    }
}

TEST(TargaReader, ColorMapsWithAFirstIndexAndEveryEntrySize)
{
    TestStart();
    std::string folder = TestOutputFolder("TargaReader.Maps");
    struct Case {
        int entryBits;
        std::vector<uint8_t> map; // entries for indices 2 and 3
        std::vector<int> colors;  // blue, green, red of indices 2 and 3
    };
    const Case cases[] = {
        {24, {10, 20, 30, 40, 50, 60}, {10, 20, 30, 40, 50, 60}},
        {32, {10, 20, 30, 255, 40, 50, 60, 0}, {10, 20, 30, 40, 50, 60}},
        {16, {0x1F, 0x00, 0x00, 0x7C}, {255, 0, 0, 0, 0, 255}},
        {15, {0xE0, 0x03, 0x63, 0x0C}, {0, 255, 0, 24, 24, 24}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.entryBits);
        for (int rle : {0, 1}) {
            TestTga tga;
            tga.mapType = 1;
            tga.imageType = rle ? 9 : 1;
            tga.mapFirst = 2;
            tga.mapLength = 2;
            tga.mapEntryBits = c.entryBits;
            tga.width = 4;
            tga.height = 1;
            tga.pixelBits = 8;
            tga.map = c.map;
            tga.id = {'n', 'a', 'm', 'e', 0}; // skipped
            tga.footer = 1;
            tga.data =
                rle ? std::vector<uint8_t>{0x81, 3, 0x01, 2, 0} : std::vector<uint8_t>{3, 3, 2, 0};
            TestWindow window;
            ASSERT_EQ(ReadBytes(folder, TgaBytes(tga), &window), ERROR_NONE);
            ASSERT_EQ(window.image().type, TYPE_COLOR24);
            // Index 0 lies before the map's first entry and reads as black.
            std::vector<int> expected;
            for (int i : {1, 1, 0})
                expected.insert(expected.end(), c.colors.begin() + 3 * i,
                                c.colors.begin() + 3 * i + 3);
            expected.insert(expected.end(), {0, 0, 0});
            EXPECT_EQ(RowsTopFirst(window.image()), expected);
        }
    }
}

TEST(TargaReader, GrayWithAlphaAndAnUnusedMapOfATrueColorFile)
{
    TestStart();
    std::string folder = TestOutputFolder("TargaReader.Rare");
    TestTga gray;
    gray.imageType = 3;
    gray.width = 2;
    gray.height = 1;
    gray.pixelBits = 16;
    gray.data = {100, 255, 200, 0}; // gray, then alpha
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, TgaBytes(gray), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{100, 200}));

    TestTga color;
    color.mapType = 1;
    color.mapLength = 3;
    color.mapEntryBits = 24;
    color.map = RandomBytes(9, 1);
    color.width = 2;
    color.height = 1;
    color.data = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(ReadBytes(folder, TgaBytes(color), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{1, 2, 3, 4, 5, 6}));
    // A map of two colors, black and white, makes a binary picture.
    TestTga mapped;
    mapped.mapType = 1;
    mapped.imageType = 1;
    mapped.mapLength = 2;
    mapped.mapEntryBits = 24;
    mapped.map = {255, 255, 255, 0, 0, 0};
    mapped.width = 3;
    mapped.height = 1;
    mapped.pixelBits = 8;
    mapped.data = {0, 1, 0};
    ASSERT_EQ(ReadBytes(folder, TgaBytes(mapped), &window), ERROR_NONE);
    ASSERT_EQ(window.image().type, TYPE_BINARY);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{1, 0, 1}));
    EXPECT_EQ(window.image().resolution, Prefs.defaultResolution);
}

// ---------------------------------------------------------------------------------------------
// Writing

TEST(TargaWriter, HeaderRowsAndFooterByHand)
{
    TestStart();
    std::string folder = TestOutputFolder("TargaWriter.Bytes");
    std::string path = folder + "/color.tga";
    TestWindow window;
    PictureMake(&window, TYPE_COLOR24, 3, 2, 1);
    ASSERT_EQ(SaveTargaFile(path.c_str(), window.window), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    ASSERT_EQ(bytes.size(), 18u + 18 + 26); // rows without padding
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 18),
              (std::vector<uint8_t>{0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 2, 0, 24, 0}));
    for (int r = 0; r < 2; r++)
        for (int i = 0; i < 9; i++)
            EXPECT_EQ(bytes[18 + 9 * r + i], window.image().rows[r][i]);
    EXPECT_EQ(std::string(bytes.end() - 18, bytes.end() - 1), "TRUEVISION-XFILE.");
    EXPECT_EQ(bytes.back(), 0);
    EXPECT_EQ(std::vector<uint8_t>(bytes.end() - 26, bytes.end() - 18), std::vector<uint8_t>(8, 0));

    std::string grayPath = folder + "/gray.tga";
    TestWindow gray;
    PictureMake(&gray, TYPE_GRAY8, 5, 1, 2);
    ASSERT_EQ(SaveTargaFile(grayPath.c_str(), gray.window), ERROR_NONE);
    bytes = TestReadFile(grayPath);
    ASSERT_EQ(bytes.size(), 18u + 5 + 26);
    EXPECT_EQ(bytes[2], 3);
    EXPECT_EQ(bytes[16], 8);
}

// ---------------------------------------------------------------------------------------------
// Recognising Targa files by content

TEST(TargaProbe, FooterOrAHeaderThatFitsTheFile)
{
    TestStart();
    std::string folder = TestOutputFolder("TargaProbe.Content");
    std::string path = folder + "/picture.dat";
    TestTga tga;
    tga.imageType = 3;
    tga.width = 4;
    tga.height = 2;
    tga.pixelBits = 8;
    tga.data = RandomBytes(8, 3);
    struct Case {
        const char *name;
        std::vector<uint8_t> bytes;
        int expected;
    };
    std::vector<uint8_t> good = TgaBytes(tga);
    std::vector<uint8_t> short1(good.begin(), good.end() - 1);
    TestTga withFooter = tga;
    withFooter.footer = 1;
    std::vector<uint8_t> footerOnly(40, 0xFF);
    std::vector<uint8_t> signature = TgaBytes(withFooter);
    footerOnly.insert(footerOnly.end(), signature.end() - 26, signature.end());
    std::string text = "P5 this is not a picture at all, just some words";
    const Case cases[] = {
        {"header that fits", good, 1},
        {"one byte too short", short1, 0},
        {"footer whatever the header", footerOnly, 1},
        {"text", std::vector<uint8_t>(text.begin(), text.end()), 0},
        {"ten bytes", std::vector<uint8_t>(good.begin(), good.begin() + 10), 0},
        {"empty", {}, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestWriteFile(path, c.bytes);
        EXPECT_EQ(TargaFileProbe(path.c_str()), c.expected);
        EXPECT_EQ(DetectFileContent(path.c_str()), c.expected ? FILE_OPEN_TARGA : -1);
    }
    EXPECT_EQ(TargaFileProbe((folder + "/missing.tga").c_str()), 0);

    // What we write opens by content under any name.
    TestWindow window;
    PictureMake(&window, TYPE_COLOR24, 7, 3, 4);
    ASSERT_EQ(FileSave(path.c_str(), FILE_SAVE_TARGA, window.window, 0), ERROR_NONE);
    TestWindow back;
    ASSERT_EQ(FileLoad(path.c_str(), FILE_OPEN_ALL, back.window, 0), ERROR_NONE);
    EXPECT_EQ(back.window->fileType, FILE_OPEN_TARGA);
    ExpectImagesNear(window.image(), back.image(), 0);
}
