// Row reader, row writer and band reader: region, zoom, subsampling and edge rules.
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "core/Helpers.h"
#include "core/RowReader.h"
#include "tests/support/TestSupport.h"

// An 8-bit gray picture whose pixel (x, y) holds x + 16 * y, so a value names its place.
static void MakeGrid(Image *image, int width, int height)
{
    ASSERT_EQ(ImageAlloc(image, TYPE_GRAY8, width, height, 72.0), ERROR_NONE);
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
            image->rows[y][x] = (uint8_t)(x + 16 * y);
}

TEST(RowReader, RepeatsTheTopRowPastTheEnd)
{
    TestStart();
    Image image = {};
    MakeGrid(&image, 8, 5);
    RowReader reader;
    RowReaderReset(&reader);
    ASSERT_EQ(RowReaderOpen(&image, 0, 0, 1, 8, &reader), ERROR_NONE);
    // height + 3 calls: rows 0 to 4, then the top row three more times.
    for (int call = 0; call < 5 + 3; call++) {
        SCOPED_TRACE(call);
        const uint8_t *row = RowReaderNext(&reader);
        int expectedRow = call < 5 ? call : 4;
        EXPECT_EQ(row, image.rows[expectedRow]);
    }
    RowReaderClose(&reader);

    // A start below the bottom row reads the bottom row until it reaches the picture.
    RowReaderReset(&reader);
    ASSERT_EQ(RowReaderOpen(&image, 0, -2, 1, 8, &reader), ERROR_NONE);
    EXPECT_EQ(RowReaderNext(&reader), image.rows[0]);
    EXPECT_EQ(RowReaderNext(&reader), image.rows[0]);
    EXPECT_EQ(RowReaderNext(&reader), image.rows[0]);
    EXPECT_EQ(RowReaderNext(&reader), image.rows[1]);
    RowReaderClose(&reader);
    ImageFree(&image);
}

TEST(RowReader, DeliversInPlaceAtZoomOneAndOtherwiseThroughItsBuffer)
{
    TestStart();
    struct Case {
        int type;
        int pixelBytes;
    } cases[] = {{TYPE_GRAY8, 1}, {TYPE_COLOR24, 3}, {TYPE_GRAY16, 2}, {TYPE_COLOR48, 6}};
    for (const Case &c : cases) {
        for (int zoom : {1, 2, 4, -2, -3}) {
            SCOPED_TRACE(testing::Message() << "type " << c.type << " zoom " << zoom);
            Image image = {};
            ASSERT_EQ(ImageAlloc(&image, c.type, 40, 12, 72.0), ERROR_NONE);
            TestFillPattern(&image, c.type);
            int step = zoom < 0 ? -zoom : 1;
            int width = 5;
            RowReader reader;
            RowReaderReset(&reader);
            ASSERT_EQ(RowReaderOpen(&image, 2, 1, zoom, width, &reader), ERROR_NONE);
            EXPECT_EQ(reader.step, step);
            EXPECT_NE(reader.scratch, nullptr);
            EXPECT_EQ(reader.buffer == nullptr, step == 1); // magnifying reads every pixel
            for (int i = 0; i < 3; i++) {
                int y = 1 + i * step;
                const uint8_t *row = RowReaderNext(&reader);
                if (step == 1) {
                    EXPECT_EQ(row, image.rows[y] + 2 * c.pixelBytes);
                    continue;
                }
                EXPECT_EQ(row, reader.buffer);
                for (int p = 0; p < width; p++)
                    ASSERT_EQ(memcmp(row + p * c.pixelBytes,
                                     image.rows[y] + (2 + p * step) * c.pixelBytes,
                                     (size_t)c.pixelBytes),
                              0)
                        << "row " << y << " pixel " << p;
            }
            RowReaderClose(&reader);
            EXPECT_EQ(reader.buffer, nullptr);
            EXPECT_EQ(reader.scratch, nullptr);
            ImageFree(&image);
        }
    }
}

TEST(RowReader, BinaryArrivesAsBytes0And255AtEveryZoom)
{
    TestStart();
    Image image = {};
    ASSERT_EQ(ImageAlloc(&image, TYPE_BINARY, 12, 2, 72.0), ERROR_NONE);
    image.rows[0][0] = 0xA5; // 1010 0101
    image.rows[0][1] = 0xF0; // 1111 0000
    image.rows[1][0] = 0x00;
    image.rows[1][1] = 0x00;
    for (int zoom : {1, 3, -2}) {
        SCOPED_TRACE(zoom);
        RowReader reader;
        RowReaderReset(&reader);
        int step = zoom < 0 ? -zoom : 1;
        int width = 12 / step;
        ASSERT_EQ(RowReaderOpen(&image, 0, 0, zoom, width, &reader), ERROR_NONE);
        ASSERT_NE(reader.buffer, nullptr); // never in place
        const uint8_t *row = RowReaderNext(&reader);
        EXPECT_EQ(row, reader.buffer);
        for (int p = 0; p < width; p++)
            EXPECT_EQ(row[p], BitTest(image.rows[0], p * step) ? 255 : 0) << "pixel " << p;
        RowReaderClose(&reader);
    }
    ImageFree(&image);
}

// What a compute function given one picture as source and destination relies on: at zoom 1
// the reader delivers the very row the writer then hands out, so a loop that reads a sample
// before it writes the one at that place never reads a result; binary rows arrive as a copy.
TEST(RowReader, AtZoomOneReadsTheRowTheWriterWritesNext)
{
    TestStart();
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        Image image = {};
        ASSERT_EQ(ImageAlloc(&image, type, 13, 4, 72.0), ERROR_NONE);
        RowReader reader;
        RowWriter writer;
        RowReaderReset(&reader);
        RowWriterReset(&writer);
        ASSERT_EQ(RowReaderOpen(&image, 0, 0, 1, 13, &reader), ERROR_NONE);
        ASSERT_EQ(RowWriterOpen(&image, 1, 0, 12, 0, 1, &writer), ERROR_NONE);
        for (int row = 0; row < 4; row++) {
            const uint8_t *in = RowReaderNext(&reader);
            uint8_t *out = RowWriterRow(&writer);
            EXPECT_EQ(out, image.rows[row]);
            EXPECT_EQ(in, type == TYPE_BINARY ? reader.buffer : out);
            RowWriterPut(&writer);
        }
        RowReaderClose(&reader);
        RowWriterClose(&writer);
        ImageFree(&image);
    }
}

TEST(RowWriter, WritesInPlaceAtZoomOneAndDropsRowsPastTheTop)
{
    TestStart();
    Image image = {};
    ASSERT_EQ(ImageAlloc(&image, TYPE_COLOR24, 10, 3, 72.0), ERROR_NONE);
    memset(image.rows[0], 0, 32);
    RowWriter writer;
    RowWriterReset(&writer);
    ASSERT_EQ(RowWriterOpen(&image, 1, 2, 9, 1, 1, &writer), ERROR_NONE);
    EXPECT_EQ(writer.buffer, nullptr);
    EXPECT_EQ(writer.byteOffset, 6);
    EXPECT_EQ(writer.full, 1);
    for (int row = 1; row < 3; row++) {
        uint8_t *out = RowWriterRow(&writer);
        EXPECT_EQ(out, image.rows[row] + 6);
        memset(out, row, 24);
        RowWriterPut(&writer);
    }
    // Two rows more than the picture holds: written somewhere harmless and dropped.
    for (int extra = 0; extra < 2; extra++) {
        uint8_t *out = RowWriterRow(&writer);
        memset(out, 0xEE, 24);
        RowWriterPut(&writer);
    }
    for (int row = 1; row < 3; row++)
        for (int i = 6; i < 30; i++)
            ASSERT_EQ(image.rows[row][i], row);
    for (int i = 0; i < 30; i++)
        ASSERT_EQ(image.rows[0][i], 0);
    RowWriterClose(&writer);
    ImageFree(&image);
}

TEST(RowWriter, ZoomThreeFromColumn3To10CutsTheThirdPixel)
{
    TestStart();
    Image image = {};
    ASSERT_EQ(ImageAlloc(&image, TYPE_GRAY8, 14, 3, 72.0), ERROR_NONE);
    for (int y = 0; y < 3; y++)
        memset(image.rows[y], 0xFF, 16);
    RowWriter writer;
    RowWriterReset(&writer);
    ASSERT_EQ(RowWriterOpen(&image, 3, 3, 10, 0, 0, &writer), ERROR_NONE);
    EXPECT_EQ(writer.replicate, 3);
    uint8_t *out = RowWriterRow(&writer);
    EXPECT_EQ(out, writer.buffer);
    out[0] = 10;
    out[1] = 20;
    out[2] = 30;
    out[3] = 40; // would be column 12: past the last column
    RowWriterPut(&writer);
    const uint8_t expected[14] = {255, 255, 255, 10, 10, 10, 20, 20, 20, 30, 30, 255, 255, 255};
    for (int y = 0; y < 3; y++)
        EXPECT_EQ(std::vector<uint8_t>(image.rows[y], image.rows[y] + 14),
                  std::vector<uint8_t>(expected, expected + 14))
            << "row " << y;
    EXPECT_EQ(writer.y, 3);
    RowWriterClose(&writer);
    ImageFree(&image);
}

TEST(RowWriter, ARunPastTheWidthWritesNothingBeyondTheRow)
{
    TestStart();
    Image image = {};
    // Rows of 8 bytes, without padding between them.
    ASSERT_EQ(ImageAlloc(&image, TYPE_GRAY8, 8, 3, 72.0), ERROR_NONE);
    for (int y = 0; y < 3; y++)
        memset(image.rows[y], 0xFF, 8);
    RowWriter writer;
    RowWriterReset(&writer);
    // A strip at zoom 2 from column 4 to 11, past the width: its third pixel would be column 8,
    // which is the first byte of the next row.
    ASSERT_EQ(RowWriterOpen(&image, 2, 4, 11, 0, 0, &writer), ERROR_NONE);
    uint8_t *out = RowWriterRow(&writer);
    const uint8_t pixels[4] = {10, 20, 30, 40};
    memcpy(out, pixels, 4);
    RowWriterPut(&writer);
    const uint8_t expected[8] = {255, 255, 255, 255, 10, 10, 20, 20};
    for (int y = 0; y < 2; y++)
        EXPECT_EQ(std::vector<uint8_t>(image.rows[y], image.rows[y] + 8),
                  std::vector<uint8_t>(expected, expected + 8))
            << "row " << y;
    EXPECT_EQ(std::vector<uint8_t>(image.rows[2], image.rows[2] + 8), std::vector<uint8_t>(8, 255));
    RowWriterClose(&writer);
    ImageFree(&image);
}

TEST(RowWriter, TopRowReplicationStopsAtTheHeight)
{
    TestStart();
    Image image = {};
    ASSERT_EQ(ImageAlloc(&image, TYPE_GRAY8, 6, 7, 72.0), ERROR_NONE); // 7 is not a multiple of 3
    for (int y = 0; y < 7; y++)
        memset(image.rows[y], 0, 8);
    RowWriter writer;
    RowWriterReset(&writer);
    ASSERT_EQ(RowWriterOpen(&image, 3, 0, 5, 0, 0, &writer), ERROR_NONE);
    for (int source = 0; source < 4; source++) { // the fourth starts past the top: dropped
        uint8_t *out = RowWriterRow(&writer);
        out[0] = (uint8_t)(source + 1);
        out[1] = (uint8_t)(source + 101);
        RowWriterPut(&writer);
    }
    // Source rows 0, 1, 2 fill rows 0-2, 3-5 and 6: the top source row has one copy.
    for (int y = 0; y < 7; y++) {
        SCOPED_TRACE(y);
        int source = y / 3;
        const uint8_t expected[6] = {(uint8_t)(source + 1),   (uint8_t)(source + 1),
                                     (uint8_t)(source + 1),   (uint8_t)(source + 101),
                                     (uint8_t)(source + 101), (uint8_t)(source + 101)};
        EXPECT_EQ(std::vector<uint8_t>(image.rows[y], image.rows[y] + 6),
                  std::vector<uint8_t>(expected, expected + 6));
    }
    RowWriterClose(&writer);
    ImageFree(&image);
}

TEST(RowWriter, ReplicatesBinaryBitsAndSixteenBitPixels)
{
    TestStart();
    Image binary = {};
    ASSERT_EQ(ImageAlloc(&binary, TYPE_BINARY, 20, 2, 72.0), ERROR_NONE);
    for (int y = 0; y < 2; y++)
        memset(binary.rows[y], 0, 4);
    RowWriter writer;
    RowWriterReset(&writer);
    ASSERT_EQ(RowWriterOpen(&binary, 2, 4, 13, 0, 0, &writer), ERROR_NONE);
    EXPECT_EQ(writer.byteOffset, 0);
    uint8_t *out = RowWriterRow(&writer);
    out[0] = 0xA8; // source bits 1 0 1 0 1: pixels 0, 2 and 4 white
    RowWriterPut(&writer);
    for (int y = 0; y < 2; y++) {
        for (int x = 0; x < 20; x++) {
            int white = x == 4 || x == 5 || x == 8 || x == 9 || x == 12 || x == 13;
            EXPECT_EQ(BitTest(binary.rows[y], x), white) << "row " << y << " x " << x;
        }
    }
    RowWriterClose(&writer);

    Image gray16 = {};
    ASSERT_EQ(ImageAlloc(&gray16, TYPE_GRAY16, 6, 2, 72.0), ERROR_NONE);
    for (int y = 0; y < 2; y++)
        memset(gray16.rows[y], 0, 12);
    RowWriterReset(&writer);
    ASSERT_EQ(RowWriterOpen(&gray16, 2, 1, 4, 0, 0, &writer), ERROR_NONE);
    EXPECT_EQ(writer.byteOffset, 2);
    uint16_t *samples = (uint16_t *)RowWriterRow(&writer);
    samples[0] = 1000;
    samples[1] = 60000;
    RowWriterPut(&writer);
    const uint16_t expected[6] = {0, 1000, 1000, 60000, 60000, 0};
    for (int y = 0; y < 2; y++)
        EXPECT_EQ(memcmp(gray16.rows[y], expected, 12), 0) << "row " << y;
    RowWriterClose(&writer);
    ImageFree(&binary);
    ImageFree(&gray16);
}

// The row index a band pointer of mode 0 points into, found by its address.
static int RowOf(const Image &image, const uint8_t *pointer, int start)
{
    for (int y = 0; y < image.height; y++)
        if (pointer == image.rows[y] + start) return y;
    return -1;
}

TEST(RowWindowReader, ClampsRowsAtBothEdges)
{
    TestStart();
    Image image = {};
    MakeGrid(&image, 12, 6);
    RowWindowReader reader;
    RowWindowReset(&reader);
    ASSERT_EQ(RowWindowOpen(&image, 2, 0, 1, 4, 2, &reader), ERROR_NONE);
    EXPECT_EQ(reader.mode, ROW_WINDOW_IN_PLACE);
    const int expected[6][5] = {{0, 0, 0, 1, 2}, {0, 0, 1, 2, 3}, {0, 1, 2, 3, 4},
                                {1, 2, 3, 4, 5}, {2, 3, 4, 5, 5}, {3, 4, 5, 5, 5}};
    for (int centre = 0; centre < 6; centre++) {
        uint8_t *const *rows = RowWindowNext(&reader);
        for (int j = 0; j < 5; j++)
            EXPECT_EQ(RowOf(image, rows[j], 0), expected[centre][j])
                << "centre " << centre << " pointer " << j;
    }
    // Past the top the centre stays on the top row.
    uint8_t *const *rows = RowWindowNext(&reader);
    EXPECT_EQ(RowOf(image, rows[2], 0), 5);
    RowWindowClose(&reader);
    EXPECT_EQ(reader.rowPointers, nullptr);
    ImageFree(&image);
}

TEST(RowWindowReader, SpanThatJustFitsIsInPlaceAndOneMoreRepeatsTheEdge)
{
    TestStart();
    Image image = {};
    MakeGrid(&image, 12, 3);
    // Radius 1, 9 output pixels from column 2: columns 1 to 11, the last is width - 1.
    RowWindowReader reader;
    RowWindowReset(&reader);
    ASSERT_EQ(RowWindowOpen(&image, 2, 1, 1, 9, 1, &reader), ERROR_NONE);
    EXPECT_EQ(reader.mode, ROW_WINDOW_IN_PLACE);
    EXPECT_EQ(reader.stride, 1);
    uint8_t *const *rows = RowWindowNext(&reader);
    EXPECT_EQ(rows[0], image.rows[0] + 1);
    EXPECT_EQ(rows[1], image.rows[1] + 1);
    EXPECT_EQ(rows[2], image.rows[2] + 1);
    RowWindowClose(&reader);

    // One output pixel more reaches column 12: copied, with column 11 repeated.
    RowWindowReset(&reader);
    ASSERT_EQ(RowWindowOpen(&image, 2, 1, 1, 10, 1, &reader), ERROR_NONE);
    EXPECT_EQ(reader.mode, ROW_WINDOW_SPAN);
    EXPECT_EQ(reader.bufferLength, 12);
    rows = RowWindowNext(&reader);
    for (int j = 0; j < 3; j++)
        for (int i = 0; i < 12; i++) {
            int column = 1 + i > 11 ? 11 : 1 + i;
            ASSERT_EQ(rows[j][i], column + 16 * j) << "row " << j << " sample " << i;
        }
    RowWindowClose(&reader);

    // On the left: one column before 0 repeats column 0.
    RowWindowReset(&reader);
    ASSERT_EQ(RowWindowOpen(&image, 0, 0, 1, 3, 1, &reader), ERROR_NONE);
    EXPECT_EQ(reader.mode, ROW_WINDOW_SPAN);
    rows = RowWindowNext(&reader);
    const uint8_t expected[5] = {0, 0, 1, 2, 3};
    EXPECT_EQ(std::vector<uint8_t>(rows[1], rows[1] + 5),
              std::vector<uint8_t>(expected, expected + 5));
    RowWindowClose(&reader);
    ImageFree(&image);
}

TEST(RowWindowReader, SparseNeighbourhoodsAreCopiedAsClusters)
{
    TestStart();
    Image image = {};
    MakeGrid(&image, 16, 5);
    // Radius 1 (n = 3) at step 4: three columns for each output pixel.
    RowWindowReader reader;
    RowWindowReset(&reader);
    ASSERT_EQ(RowWindowOpen(&image, 0, 0, -4, 4, 1, &reader), ERROR_NONE);
    EXPECT_EQ(reader.mode, ROW_WINDOW_CLUSTERS);
    EXPECT_EQ(reader.stride, 3);
    EXPECT_EQ(reader.bufferLength, 12);
    uint8_t *const *rows = RowWindowNext(&reader);
    // Output pixel p covers columns 4p - 1 to 4p + 1, column -1 limited to 0.
    const uint8_t expected[12] = {0, 0, 1, 3, 4, 5, 7, 8, 9, 11, 12, 13};
    for (int j = 0; j < 3; j++) {
        SCOPED_TRACE(j);
        int row = j == 0 ? 0 : j - 1; // centre row 0: rows 0, 0, 1
        for (int i = 0; i < 12; i++)
            ASSERT_EQ(rows[j][i], expected[i] + 16 * row) << "sample " << i;
    }
    // The next centre is row 4, four rows up.
    rows = RowWindowNext(&reader);
    EXPECT_EQ(rows[1][4], 4 + 16 * 4);
    RowWindowClose(&reader);

    // The same band lying inside the row is read in place with a stride of the step.
    RowWindowReset(&reader);
    ASSERT_EQ(RowWindowOpen(&image, 1, 1, -4, 3, 1, &reader), ERROR_NONE);
    EXPECT_EQ(reader.mode, ROW_WINDOW_IN_PLACE);
    EXPECT_EQ(reader.stride, 4);
    rows = RowWindowNext(&reader);
    EXPECT_EQ(rows[0], image.rows[0]);
    RowWindowClose(&reader);
    ImageFree(&image);
}

TEST(RowWindowReader, UnitsOfEachTypeAndBinaryAsBytes)
{
    TestStart();
    struct Case {
        int type;
        int lengthFactor; // bytes of a buffered pixel
        int strideFactor; // stride unit per pixel step
    } cases[] = {{TYPE_GRAY8, 1, 1},
                 {TYPE_COLOR24, 3, 3},
                 {TYPE_GRAY16, 2, 1},
                 {TYPE_COLOR48, 6, 3},
                 {TYPE_BINARY, 1, 1}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        Image image = {};
        ASSERT_EQ(ImageAlloc(&image, c.type, 9, 4, 72.0), ERROR_NONE);
        TestFillPattern(&image, 2);
        RowWindowReader reader;
        RowWindowReset(&reader);
        // Starts at column -1: never in place, so every type is copied (mode 1, step 2).
        ASSERT_EQ(RowWindowOpen(&image, 1, 2, -2, 4, 2, &reader), ERROR_NONE);
        EXPECT_EQ(reader.mode, ROW_WINDOW_SPAN);
        EXPECT_EQ(reader.bufferLength, (4 * 2 + 4) * c.lengthFactor);
        EXPECT_EQ(reader.stride, 2 * c.strideFactor);
        uint8_t *const *rows = RowWindowNext(&reader);
        // Buffer sample 5 is column 1 - 2 + 5 = 4 of row 2 (the centre).
        const uint8_t *centre = rows[2] + 5 * c.lengthFactor;
        if (c.type == TYPE_BINARY) {
            EXPECT_EQ(centre[0], BitTest(image.rows[2], 4) ? 255 : 0);
            for (int i = 0; i < 12; i++)
                ASSERT_TRUE(rows[0][i] == 0 || rows[0][i] == 255);
        } else {
            EXPECT_EQ(memcmp(centre, image.rows[2] + 4 * c.lengthFactor, (size_t)c.lengthFactor),
                      0);
        }
        RowWindowClose(&reader);
        ImageFree(&image);
    }
}
