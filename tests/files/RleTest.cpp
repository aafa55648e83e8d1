// Tests of our own Utah RLE reader and writer. No tool writes most of the format (run data,
// long forms, skips, backgrounds, color maps, the alpha channel), so those files are built
// byte by byte here with the pixels they must give worked out by hand.
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
#include "files/Rle.h"
#include "platform/headless/Headless.h"
#include "tests/files/RasterTestHelpers.h"
#include "tests/support/TestSupport.h"

using namespace raster_test;

// ---------------------------------------------------------------------------------------------
// Files built byte by byte

struct TestRle {
    int width = 0;
    int height = 0;
    int flags = 0x02; // no background
    int colors = 1;
    int pixelBits = 8;
    int mapCount = 0;
    int mapBits = 0;
    std::vector<uint8_t> background; // colors bytes when the flag allows one
    std::vector<uint16_t> maps;      // mapCount << mapBits words
    std::string comment;             // with the comment flag
    std::vector<uint8_t> ops;
};

static std::vector<uint8_t> RleBytes(const TestRle &rle)
{
    std::vector<uint8_t> bytes = {0x52,
                                  0xCC,
                                  0,
                                  0,
                                  0,
                                  0,
                                  0,
                                  0,
                                  0,
                                  0,
                                  (uint8_t)rle.flags,
                                  (uint8_t)rle.colors,
                                  (uint8_t)rle.pixelBits,
                                  (uint8_t)rle.mapCount,
                                  (uint8_t)rle.mapBits};
    BytesPut16(bytes.data(), 6, (uint16_t)rle.width);
    BytesPut16(bytes.data(), 8, (uint16_t)rle.height);
    if ((rle.flags & 0x02) == 0) {
        bytes.insert(bytes.end(), rle.background.begin(), rle.background.end());
        if (rle.background.size() % 2 == 0) bytes.push_back(0);
    } else {
        bytes.push_back(0);
    }
    for (uint16_t word : rle.maps)
        bytes.insert(bytes.end(), {(uint8_t)word, (uint8_t)(word >> 8)});
    if ((rle.flags & 0x08) != 0) {
        bytes.insert(bytes.end(),
                     {(uint8_t)rle.comment.size(), (uint8_t)(rle.comment.size() >> 8)});
        bytes.insert(bytes.end(), rle.comment.begin(), rle.comment.end());
        if (rle.comment.size() % 2 != 0) bytes.push_back(0);
    }
    bytes.insert(bytes.end(), rle.ops.begin(), rle.ops.end());
    return bytes;
}

static ErrorCode ReadBytes(const std::string &folder, const std::vector<uint8_t> &bytes,
                           TestWindow *window, int showProgress = 0)
{
    std::string path = folder + "/built.rle";
    TestWriteFile(path, bytes);
    return ReadRleFile(path.c_str(), window->window, showProgress, nullptr);
}

// ---------------------------------------------------------------------------------------------
// Reading

TEST(RleReader, EveryOperationByHand)
{
    TestStart();
    std::string folder = TestOutputFolder("RleReader.Operations");
    TestRle rle;
    rle.width = 5;
    rle.height = 4;
    rle.flags = 0x08; // a background and comments
    rle.background = {50};
    rle.comment = "HISTORY=made by hand"; // 20 bytes
    rle.comment += "!";                   // odd: a filler byte follows
    rle.ops = {
        0x02, 0,                                 // channel 0
        0x05, 2,   1,    2, 3, 0,                // three bytes and a filler
        0x06, 1,   9,    0,                      // a run of two 9s
        0x01, 2,                                 // row 1 stays background, row 2 begins
        0x02, 0,   0x03, 2,                      // channel 0 again, skip two pixels
        0x06, 9,   7,    0,                      // a run of ten 7s, cut at the right edge
        0x01, 1,                                 // row 3
        0x02, 255,                               // the alpha channel: its pixels are read and left
        0x05, 4,   1,    2, 3, 4, 5, 0, 0x02, 0, // channel 0
        0x43, 0,   1,    0,                      // long skip of one pixel
        0x46, 0,   1,    0, 8, 0,                // long run of two 8s
        0x45, 0,   1,    0, 4, 5,                // long byte data: two bytes
        0x07, 0,                                 // the end
    };
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
    ASSERT_EQ(window.image().type, TYPE_GRAY8);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{
                                                50, 8,  8,  4,  5,  // row 3
                                                50, 50, 7,  7,  7,  // row 2
                                                50, 50, 50, 50, 50, // row 1
                                                1,  2,  3,  9,  9,  // row 0
                                            }));
    // An end right away leaves the whole picture background; no background is black.
    rle.ops = {0x07, 0};
    ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), std::vector<int>(20, 50));
    rle.flags = 0x02;
    ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), std::vector<int>(20, 0));
}

TEST(RleReader, StreamsThatEndAndSkipsPastThePicture)
{
    TestStart();
    std::string folder = TestOutputFolder("RleReader.Ends");
    TestRle rle;
    rle.width = 2;
    rle.height = 2;
    // Skipping past the last line ends the picture; what follows is never read.
    rle.ops = {0x02, 0, 0x06, 1, 3, 0, 0x01, 1, 0x02, 0, 0x06, 1, 4, 0, 0x01, 9, 0x33, 0x33};
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
    EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{4, 4, 3, 3}));
    // A stream that stops before its end and before the last line is damaged.
    rle.ops.resize(12);
    EXPECT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_READ_RLE);
    EXPECT_EQ(window.image().type, TYPE_EMPTY);
    // So is an operation we do not know.
    rle.ops = {0x02, 0, 0x04, 0, 0x07, 0};
    EXPECT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_READ_RLE);
}

TEST(RleReader, ColorMapsAndBackgroundsOfEveryKind)
{
    TestStart();
    std::string folder = TestOutputFolder("RleReader.Maps");
    std::vector<uint8_t> pixels = {0x02, 0, 0x05, 2, 0, 1, 200, 0, 0x07, 0};
    {
        // Gray through a map of 256 entries that inverts, the value in each word's high byte.
        TestRle rle;
        rle.width = 4;
        rle.height = 1;
        rle.flags = 0;
        rle.background = {3};
        rle.mapCount = 1;
        rle.mapBits = 8;
        for (int v = 0; v < 256; v++)
            rle.maps.push_back((uint16_t)((255 - v) << 8 | 0x7F));
        rle.ops = pixels;
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
        ASSERT_EQ(window.image().type, TYPE_GRAY8);
        EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{255, 254, 55, 252}));
        // A map of two entries: values past its end stay as they are.
        rle.mapBits = 1;
        rle.maps = {0x1000, 0x2000};
        ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
        EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{0x10, 0x20, 200, 3}));
    }
    {
        // One channel with three maps is a palette picture.
        TestRle rle;
        rle.width = 4;
        rle.height = 1;
        rle.mapCount = 3;
        rle.mapBits = 8;
        for (int m = 0; m < 3; m++)
            for (int v = 0; v < 256; v++)
                rle.maps.push_back((uint16_t)((m == 0 ? v : m == 1 ? 255 - v : 7) << 8));
        rle.ops = pixels;
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
        ASSERT_EQ(window.image().type, TYPE_COLOR24);
        // Blue, green, red of 0, 1, 200 and 0 (no background).
        EXPECT_EQ(RowsTopFirst(window.image()),
                  (std::vector<int>{7, 255, 0, 7, 254, 1, 7, 55, 200, 7, 255, 0}));
    }
    {
        // Three channels with a background (three bytes: no filler) and a map for red only.
        TestRle rle;
        rle.width = 2;
        rle.height = 1;
        rle.flags = 0;
        rle.colors = 3;
        rle.background = {10, 20, 30};
        rle.mapCount = 1;
        rle.mapBits = 8;
        for (int v = 0; v < 256; v++)
            rle.maps.push_back((uint16_t)((v / 2) << 8));
        rle.ops = {0x02, 0, 0x06, 0, 100, 0, 0x02, 2, 0x03, 1, 0x06, 0, 60, 0, 0x07, 0};
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
        ASSERT_EQ(window.image().type, TYPE_COLOR24);
        EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{30, 20, 50, 60, 20, 5}));
    }
    {
        // Four channels: the fourth is read and left; an even count of background bytes has
        // a filler after it.
        TestRle rle;
        rle.width = 1;
        rle.height = 1;
        rle.flags = 0;
        rle.colors = 4;
        rle.background = {1, 2, 3, 4};
        rle.ops = {0x02, 3, 0x06, 0, 99, 0, 0x07, 0};
        TestWindow window;
        ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window), ERROR_NONE);
        EXPECT_EQ(RowsTopFirst(window.image()), (std::vector<int>{3, 2, 1}));
    }
}

TEST(RleReader, LongFormRunsReachTheLastColumnOfEveryRow)
{
    TestStart();
    std::string folder = TestOutputFolder("RleReader.LongRuns");
    TestRle rle;
    rle.width = 400;
    rle.height = 250;
    for (int r = 0; r < 250; r++)
        rle.ops.insert(rle.ops.end(), {0x02, 0, 0x46, 0, 0x8F, 0x01, (uint8_t)r, 0, 0x01, 1});
    rle.ops.insert(rle.ops.end(), {0x07, 0});
    TestWindow window;
    ASSERT_EQ(ReadBytes(folder, RleBytes(rle), &window, 0), ERROR_NONE);
    EXPECT_EQ(window.image().rows[249][399], 249);
}

// ---------------------------------------------------------------------------------------------
// Writing

TEST(RleWriter, OperationsByHand)
{
    TestStart();
    std::string folder = TestOutputFolder("RleWriter.Bytes");
    std::string path = folder + "/gray.rle";
    TestWindow window;
    PictureMake(&window, TYPE_GRAY8, 8, 2, 1);
    const uint8_t bottom[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    const uint8_t top[8] = {1, 2, 3, 4, 4, 4, 4, 4};
    memcpy(window.image().rows[0], bottom, 8);
    memcpy(window.image().rows[1], top, 8);
    ASSERT_EQ(SaveRleFile(path.c_str(), window.window), ERROR_NONE);
    EXPECT_EQ(TestReadFile(path),
              (std::vector<uint8_t>{
                  0x52, 0xCC, 0,    0, 0, 0,    8, 0,    2, 0, 2,
                  1,    8,    0,    0, 0, 0x02, 0, 0x06, 7, 9, 0, // the bottom row: a run
                  0x01, 1,                                        // the next line
                  0x02, 0,    0x05, 2, 1, 2,    3, 0,             // three bytes, filler
                  0x06, 4,    4,    0,                            // a run of five at the end
                  0x07, 0,                                        // the end
              }));
    // A run longer than 256 takes the long form; a binary picture is written as 0 and 255.
    TestWindow binary;
    PictureMake(&binary, TYPE_BINARY, 1000, 1, 2);
    memset(binary.image().rows[0], 0xFF, (size_t)binary.image().rowBytes);
    ASSERT_EQ(SaveRleFile(path.c_str(), binary.window), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 16, bytes.end()),
              (std::vector<uint8_t>{0x02, 0, 0x46, 0, 0xE7, 0x03, 255, 0, 0x07, 0}));
    TestWindow back;
    ASSERT_EQ(ReadRleFile(path.c_str(), back.window, 0, nullptr), ERROR_NONE);
    ASSERT_EQ(back.image().type, TYPE_GRAY8);
    EXPECT_EQ(RowsTopFirst(back.image()), std::vector<int>(1000, 255));
}

// ---------------------------------------------------------------------------------------------
// Damaged files

static TestRle HostileBase(void)
{
    TestRle rle;
    rle.width = 8;
    rle.height = 4;
    rle.flags = 0x08;
    rle.background = {7};
    rle.comment = "a=b";
    rle.ops = {0x02, 0, 0x05, 7, 1, 2, 3, 4, 5, 6, 7, 8, 0x01, 2, 0x02, 0, 0x06, 7, 9, 0, 0x07, 0};
    return rle;
}

TEST(RleReaderHostile, OurFilesDamagedEverywhereGiveTheCodeOrAPicture)
{
    TestStart();
    std::string folder = TestOutputFolder("RleReaderHostile.Damage");
    // Our own writer's runs and skips, and the hand-built file of every operation.
    TestWindow window;
    PictureMake(&window, TYPE_GRAY8, 40, 6, 3);
    for (int y = 0; y < 6; y++)
        memset(window.image().rows[y], y * 30, 20);
    std::string path = folder + "/ours.rle";
    ASSERT_EQ(SaveRleFile(path.c_str(), window.window), ERROR_NONE);
    DamageEverywhere(folder, TestReadFile(path), ReadRleFile, ERROR_READ_RLE, 1, 24 << 20);
    DamageEverywhere(folder, RleBytes(HostileBase()), ReadRleFile, ERROR_READ_RLE, 1, 24 << 20);
}
