// Row reader, row writer and band reader: region, zoom, subsampling and edge rules.
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "core/Helpers.h"
#include "core/RowReader.h"
#include "tests/support/TestImage.h"
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
    TestImage image;
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
            TestImage image;
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
        }
    }
}

TEST(RowReader, BinaryArrivesAsBytes0And255AtEveryZoom)
{
    TestStart();
    TestImage image;
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
}

// What a compute function given one picture as source and destination relies on: at zoom 1
// the reader delivers the very row the writer then hands out, so a loop that reads a sample
// before it writes the one at that place never reads a result; binary rows arrive as a copy.
TEST(RowReader, AtZoomOneReadsTheRowTheWriterWritesNext)
{
    TestStart();
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        TestImage image;
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
    }
}

// Runs of (count, value), in units of a picture's samples: bytes, or 16-bit samples for
// TYPE_GRAY16.
typedef std::vector<std::pair<int, int>> Runs;

static std::vector<int> Expand(const Runs &runs)
{
    std::vector<int> units;
    for (auto [count, value] : runs)
        units.insert(units.end(), count, value);
    return units;
}

TEST(RowWriter, ExpandsReplicatesAndClipsEveryRowItIsGiven)
{
    TestStart();
    struct Setup {
        int type, w, h;
        int fill; // every byte of the picture before the writer starts
        int zoom, firstColumn, lastColumn, firstRow;
        int byteOffset; // of firstColumn within a row
    };
    struct Case {
        const char *what;
        Setup setup;
        std::vector<std::vector<int>> sources; // the units of each row put, in order
        std::vector<Runs> expected;            // every row afterwards, row 0 first
    } cases[] = {
        // At zoom 1 the caller writes in place. The two rows past the top are written
        // somewhere harmless and dropped.
        {"in place",
         {TYPE_COLOR24, 10, 3, 0, 1, 2, 9, 1, 6},
         {std::vector<int>(24, 1), std::vector<int>(24, 2), std::vector<int>(24, 0xEE),
          std::vector<int>(24, 0xEE)},
         {{{30, 0}}, {{6, 0}, {24, 1}}, {{6, 0}, {24, 2}}}},
        // Zoom 3 over columns 3 to 10 cuts the third pixel to two columns; a fourth pixel
        // would be column 12.
        {"zoom three",
         {TYPE_GRAY8, 14, 3, 0xFF, 3, 3, 10, 0, 3},
         {{10, 20, 30, 40}},
         {{{3, 255}, {3, 10}, {3, 20}, {2, 30}, {3, 255}},
          {{3, 255}, {3, 10}, {3, 20}, {2, 30}, {3, 255}},
          {{3, 255}, {3, 10}, {3, 20}, {2, 30}, {3, 255}}}},
        // Rows of 8 bytes without padding between them: zoom 2 over columns 4 to 11, past
        // the width. The third pixel would be column 8, the first byte of the next row.
        {"run past the width",
         {TYPE_GRAY8, 8, 3, 0xFF, 2, 4, 11, 0, 4},
         {{10, 20, 30, 40}},
         {{{4, 255}, {2, 10}, {2, 20}}, {{4, 255}, {2, 10}, {2, 20}}, {{8, 255}}}},
        // A height of 7 is no multiple of 3: source rows 0, 1 and 2 fill rows 0-2, 3-5 and 6,
        // and the fourth, starting past the top, is dropped.
        {"top row replication",
         {TYPE_GRAY8, 6, 7, 0, 3, 0, 5, 0, 0},
         {{1, 101}, {2, 102}, {3, 103}, {4, 104}},
         {{{3, 1}, {3, 101}},
          {{3, 1}, {3, 101}},
          {{3, 1}, {3, 101}},
          {{3, 2}, {3, 102}},
          {{3, 2}, {3, 102}},
          {{3, 2}, {3, 102}},
          {{3, 3}, {3, 103}}}},
        // Source bits 1 0 1 0 1 (pixels 0, 2 and 4 white) land on columns 4-5, 8-9 and 12-13.
        {"binary",
         {TYPE_BINARY, 20, 2, 0, 2, 4, 13, 0, 0},
         {{0xA8}},
         {{{1, 0x0C}, {1, 0xCC}, {1, 0}}, {{1, 0x0C}, {1, 0xCC}, {1, 0}}}},
        {"sixteen bits",
         {TYPE_GRAY16, 6, 2, 0, 2, 1, 4, 0, 2},
         {{1000, 60000}},
         {{{1, 0}, {2, 1000}, {2, 60000}, {1, 0}}, {{1, 0}, {2, 1000}, {2, 60000}, {1, 0}}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        const Setup &set = c.setup;
        int wide = set.type == TYPE_GRAY16;
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, set.type, set.w, set.h, 72.0), ERROR_NONE);
        for (int y = 0; y < set.h; y++)
            memset(image.rows[y], set.fill, image.rowBytes);
        RowWriter writer;
        RowWriterReset(&writer);
        ASSERT_EQ(RowWriterOpen(&image, set.zoom, set.firstColumn, set.lastColumn, set.firstRow, 0,
                                &writer),
                  ERROR_NONE);
        EXPECT_EQ(writer.byteOffset, set.byteOffset);
        for (size_t s = 0; s < c.sources.size(); s++) {
            uint8_t *out = RowWriterRow(&writer);
            int y = set.firstRow + (int)s;
            // Zoomed rows go through the buffer; at zoom 1 the rows the picture holds are
            // written in place.
            const uint8_t *where = set.zoom > 1 ? writer.buffer
                                   : y < set.h  ? image.rows[y] + set.byteOffset
                                                : out;
            EXPECT_EQ(out, where);
            for (size_t i = 0; i < c.sources[s].size(); i++) {
                if (wide)
                    ((uint16_t *)out)[i] = (uint16_t)c.sources[s][i];
                else
                    out[i] = (uint8_t)c.sources[s][i];
            }
            RowWriterPut(&writer);
        }
        for (int y = 0; y < set.h; y++) {
            SCOPED_TRACE(y);
            std::vector<int> expected = Expand(c.expected[y]);
            std::vector<int> row;
            for (size_t i = 0; i < expected.size(); i++)
                row.push_back(wide ? ((uint16_t *)image.rows[y])[i] : image.rows[y][i]);
            EXPECT_EQ(row, expected);
        }
        RowWriterClose(&writer);
    }
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
    TestImage image;
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
}

TEST(RowWindowReader, SpanThatJustFitsIsInPlaceAndOneMoreRepeatsTheEdge)
{
    TestStart();
    TestImage image;
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
}

TEST(RowWindowReader, SparseNeighbourhoodsAreCopiedAsClusters)
{
    TestStart();
    TestImage image;
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
        TestImage image;
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
    }
}
