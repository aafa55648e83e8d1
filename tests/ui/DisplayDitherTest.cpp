// The 236-color display: the palette's grays and color cube, and the ordered dither with
// its two threshold tables, position by position.
#include <gtest/gtest.h>

#include "ui/Display.h"

// The ordered-dither matrix, typed here once more so that a changed entry shows.
static const int MATRIX[8][8] = {{1, 33, 9, 41, 3, 35, 11, 43},  {49, 17, 57, 25, 51, 19, 59, 27},
                                 {13, 45, 5, 37, 15, 47, 7, 39}, {61, 29, 53, 21, 63, 31, 55, 23},
                                 {4, 36, 12, 44, 2, 34, 10, 42}, {52, 20, 60, 28, 50, 18, 58, 26},
                                 {16, 48, 8, 40, 14, 46, 6, 38}, {64, 32, 56, 24, 62, 30, 54, 22}};

TEST(DisplayDither, PaletteHasTwentyGraysAndASixLevelCube)
{
    uint8_t red[236], green[236], blue[236];
    DitherPalette(red, green, blue);
    // Grays i * 255 / 19.
    int grays[] = {0,   13,  26,  40,  53,  67,  80,  93,  107, 120,
                   134, 147, 161, 174, 187, 201, 214, 228, 241, 255};
    for (int i = 0; i < 20; i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(red[i], grays[i]);
        EXPECT_EQ(green[i], grays[i]);
        EXPECT_EQ(blue[i], grays[i]);
    }
    // Levels (r, g, b) at 20 + 36 b + 6 g + r, each level 51 apart.
    struct Case {
        int index, r, g, b;
    } cases[] = {{20, 0, 0, 0},   {21, 51, 0, 0},       {26, 0, 51, 0},
                 {56, 0, 0, 51},  {184, 102, 153, 204}, {235, 255, 255, 255},
                 {25, 255, 0, 0}, {50, 0, 255, 0},      {200, 0, 0, 255}};
    for (const Case &test : cases) {
        SCOPED_TRACE(test.index);
        EXPECT_EQ(red[test.index], test.r);
        EXPECT_EQ(green[test.index], test.g);
        EXPECT_EQ(blue[test.index], test.b);
    }
}

TEST(DisplayDither, GrayThresholdsAreTheMatrixScaledBy255Over1216)
{
    // Gray 1 stands at level 13 (values 14 to 26 fall there). A value t above it stays, t + 1
    // above it rises to 2, where t is the threshold of the pixel's place: m * 255 / 1216,
    // 0 to 13. At the ends the neighbouring grays give the same answers: 13 is gray 0 with
    // 13 to spare, and 27 is gray 2 already.
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 8; x++) {
            SCOPED_TRACE(testing::Message() << x << "," << y);
            int t = MATRIX[y][x] * 255 / 1216;
            uint8_t row[8], indices[8];
            for (int i = 0; i < 8; i++)
                row[i] = (uint8_t)(13 + t);
            DitherRow(row, TYPE_GRAY8, 8, y, indices);
            EXPECT_EQ(indices[x], 1);
            for (int i = 0; i < 8; i++)
                row[i] = (uint8_t)(13 + t + 1);
            DitherRow(row, TYPE_GRAY8, 8, y, indices);
            EXPECT_EQ(indices[x], 2);
        }
    // The largest threshold, 64 * 255 / 1216, is 13; the smallest, 1 * 255 / 1216, is 0.
    uint8_t row[1] = {14}, index[1];
    DitherRow(row, TYPE_GRAY8, 1, 0, index); // m 1: 14 - 13 = 1 > 0
    EXPECT_EQ(index[0], 2);
}

TEST(DisplayDither, ColorThresholdsAreTheMatrixScaledBy255Over320)
{
    // Level 1 of a channel is 51, and values up to 101 fall there. Blue at 51 + t + 1 rises
    // to 2 (or is 2 already past 101); green at 51 + t, at most 101, stays; red 0 stays 0.
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 8; x++) {
            SCOPED_TRACE(testing::Message() << x << "," << y);
            int t = MATRIX[y][x] * 255 / 320;
            uint8_t row[24], indices[8];
            for (int i = 0; i < 8; i++) {
                row[3 * i] = (uint8_t)(51 + t + 1);                      // blue rises
                row[3 * i + 1] = (uint8_t)(51 + t < 101 ? 51 + t : 101); // green stays
                row[3 * i + 2] = 0;                                      // red stays at 0
            }
            DitherRow(row, TYPE_COLOR24, 8, y, indices);
            EXPECT_EQ(indices[x], 20 + 36 * 2 + 6 * 1 + 0);
        }
}

TEST(DisplayDither, WhiteStaysWhiteWhateverTheThreshold)
{
    uint8_t gray[8], color[24], indices[8];
    for (int i = 0; i < 8; i++)
        gray[i] = 255;
    for (int i = 0; i < 24; i++)
        color[i] = 255;
    for (int y = 0; y < 8; y++) {
        DitherRow(gray, TYPE_GRAY8, 8, y, indices);
        for (int x = 0; x < 8; x++)
            ASSERT_EQ(indices[x], 19) << x << "," << y;
        DitherRow(color, TYPE_COLOR24, 8, y, indices);
        for (int x = 0; x < 8; x++)
            ASSERT_EQ(indices[x], 235) << x << "," << y;
    }
    // Black likewise stays black.
    uint8_t black[8] = {}, blackColor[24] = {};
    DitherRow(black, TYPE_GRAY8, 8, 3, indices);
    EXPECT_EQ(indices[5], 0);
    DitherRow(blackColor, TYPE_COLOR24, 8, 3, indices);
    EXPECT_EQ(indices[5], 20);
}

TEST(DisplayDither, RowsRepeatEveryEightAndBinaryIsBlackOrWhite)
{
    uint8_t row[40], first[40], later[40], negative[40];
    for (int i = 0; i < 40; i++)
        row[i] = (uint8_t)(i * 6);
    DitherRow(row, TYPE_GRAY8, 40, 2, first);
    DitherRow(row, TYPE_GRAY8, 40, 18, later);
    DitherRow(row, TYPE_GRAY8, 40, -6, negative);
    for (int i = 0; i < 40; i++) {
        ASSERT_EQ(first[i], later[i]) << i;
        ASSERT_EQ(first[i], negative[i]) << i;
    }
    uint8_t bits[2] = {0xA5, 0x00}, indices[16];
    DitherRow(bits, TYPE_BINARY, 16, 0, indices);
    int expected[8] = {19, 0, 19, 0, 0, 19, 0, 19};
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(indices[i], expected[i]) << i;
    EXPECT_EQ(indices[12], 0);
}
