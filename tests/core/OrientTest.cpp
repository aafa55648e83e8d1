// Tests of the eight orientations: every code moves every pixel where the table of codes says,
// across tile borders and for every picture type, with the progress titles and ranges the
// users see, aborts, and the round trips that undo a turn.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "core/Helpers.h"
#include "core/Orient.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"

static const int PICTURE_TYPES[] = {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16,
                                    TYPE_COLOR48};

// The bytes of pixel (x, y) as a string, or "1"/"0" for a binary pixel.
static std::string PixelAt(const Image &image, int x, int y)
{
    const uint8_t *row = image.rows[y];
    switch (image.type) {
    case TYPE_BINARY: return BitTest(row, x) ? "1" : "0";
    case TYPE_GRAY8: return std::string((const char *)row + x, 1);
    case TYPE_GRAY16: return std::string((const char *)row + 2 * x, 2);
    case TYPE_COLOR24: return std::string((const char *)row + 3 * x, 3);
    default: return std::string((const char *)row + 6 * x, 6);
    }
}

// Where the table of codes sends source pixel (x, y) of a w by h picture.
static void Destination(int code, int w, int h, int x, int y, int *dx, int *dy)
{
    switch (code) {
    case 0: *dx = x, *dy = y; break;
    case 1: *dx = y, *dy = w - 1 - x; break;
    case 2: *dx = w - 1 - x, *dy = h - 1 - y; break;
    case 3: *dx = h - 1 - y, *dy = x; break;
    case 4: *dx = w - 1 - x, *dy = y; break;
    case 5: *dx = h - 1 - y, *dy = w - 1 - x; break;
    case 6: *dx = x, *dy = h - 1 - y; break;
    default: *dx = y, *dy = x; break;
    }
}

// Checks that every source pixel stands where the code sends it; returns the mismatches.
static int Mismatches(const Image &source, const Image &destination, int code)
{
    int wrong = 0;
    for (int y = 0; y < source.height; y++) {
        for (int x = 0; x < source.width; x++) {
            int dx;
            int dy;
            Destination(code, source.width, source.height, x, y, &dx, &dy);
            if (PixelAt(source, x, y) != PixelAt(destination, dx, dy)) wrong++;
        }
    }
    return wrong;
}

TEST(Orient, EveryCodeMovesEveryPixelWhereTheTableSays)
{
    TestStart();
    // 130 by 70 takes three tiles across and two down, the last ones cut; 5 by 3 is smaller
    // than a tile and has a binary row that ends inside a byte.
    const int sizes[][2] = {{5, 3}, {130, 70}, {64, 64}, {1, 9}};
    for (const auto &size : sizes) {
        for (int type : PICTURE_TYPES) {
            TestImage source;
            ASSERT_EQ(ImageAlloc(&source, type, size[0], size[1], 300.0), ERROR_NONE);
            TestFillPattern(&source, type * 7 + size[0]);
            for (int code = 0; code < ORIENT_CODE_COUNT; code++) {
                SCOPED_TRACE(::testing::Message()
                             << size[0] << "x" << size[1] << " type " << type << " code " << code);
                TestImage destination;
                ASSERT_EQ(OrientImageCode(&source, &destination, code, 0), ERROR_NONE);
                int swaps = code == 1 || code == 3 || code == 5 || code == 7;
                EXPECT_EQ(destination.type, type);
                EXPECT_EQ(destination.width, swaps ? size[1] : size[0]);
                EXPECT_EQ(destination.height, swaps ? size[0] : size[1]);
                EXPECT_EQ(destination.resolution, 300.0);
                EXPECT_EQ(Mismatches(source, destination, code), 0);
            }
        }
    }
    EXPECT_EQ(HeadlessProgressCount(), 0); // no progress was asked for
}

TEST(Orient, SixtyFiveByOneTakesTwoTiles)
{
    TestStart();
    TestImage source;
    TestImage destination;
    ASSERT_EQ(ImageAlloc(&source, TYPE_GRAY8, 65, 1, 72.0), ERROR_NONE);
    TestFillPattern(&source, 3);
    ASSERT_EQ(OrientImage(&source, &destination, 1), ERROR_NONE);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    const HeadlessProgressRecord *progress = HeadlessProgressAt(0);
    EXPECT_STREQ(progress->title, "Rotate");
    EXPECT_EQ(progress->last.first, 0);
    EXPECT_EQ(progress->last.last, 2);
    EXPECT_EQ(progress->last.current, 2);
    EXPECT_EQ(progress->pumps, 2); // one step after each tile
    EXPECT_EQ(progress->open, 0);
    EXPECT_EQ(Mismatches(source, destination, 1), 0);
}

TEST(Orient, ProgressTitlesAndRangesFollowTheMethod)
{
    TestStart();
    struct Case {
        int code;
        const char *title;
        int last; // of a 130 by 70 picture: rows 0..69, or 3 by 2 tiles
    };
    const Case cases[] = {{0, "Copy", 69},    {1, "Rotate", 6},   {2, "Rotate", 69},
                          {3, "Rotate", 6},   {4, "Reflect", 69}, {5, "Rotate", 6},
                          {6, "Reflect", 69}, {7, "Rotate CW", 6}};
    TestImage source;
    ASSERT_EQ(ImageAlloc(&source, TYPE_COLOR24, 130, 70, 72.0), ERROR_NONE);
    TestFillPattern(&source, 11);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.code);
        TestStart();
        TestImage destination;
        ASSERT_EQ(OrientImage(&source, &destination, c.code), ERROR_NONE);
        ASSERT_EQ(HeadlessProgressCount(), 1);
        const HeadlessProgressRecord *progress = HeadlessProgressAt(0);
        EXPECT_STREQ(progress->title, c.title);
        EXPECT_EQ(progress->last.first, 0);
        EXPECT_EQ(progress->last.last, c.last);
        EXPECT_EQ(progress->last.current, c.last); // the last step reaches the end
        EXPECT_EQ(Mismatches(source, destination, c.code), 0);
    }
}

TEST(Orient, CancelStopsWithAbortedAndAPartlyWrittenResult)
{
    for (int code : {2, 3}) {
        SCOPED_TRACE(code);
        TestStart();
        TestImage source;
        TestImage destination;
        ASSERT_EQ(ImageAlloc(&source, TYPE_GRAY8, 200, 150, 72.0), ERROR_NONE);
        TestFillPattern(&source, 5);
        HeadlessAbortAtPump(1); // Cancel during the second step
        EXPECT_EQ(OrientImage(&source, &destination, code), ERROR_ABORTED);
        const HeadlessProgressRecord *progress = HeadlessProgressAt(0);
        ASSERT_NE(progress, nullptr);
        EXPECT_EQ(progress->pumps, 2); // nothing ran after the step that saw Cancel
        EXPECT_EQ(progress->open, 0);
        EXPECT_EQ(destination.width, code == 3 ? 150 : 200);
    }
}

TEST(Orient, RefusesTypesThatAreNotPictures)
{
    TestStart();
    for (int type : {TYPE_EMPTY, TYPE_COLOR, TYPE_HISTOGRAM}) {
        SCOPED_TRACE(type);
        TestImage source;
        TestImage destination;
        ASSERT_EQ(ImageAlloc(&source, type, 4, 4, 72.0), ERROR_NONE);
        EXPECT_EQ(OrientImage(&source, &destination, 1), ERROR_ILLEGAL_TYPE);
        EXPECT_EQ(destination.type, TYPE_EMPTY); // no result at all
        EXPECT_EQ(destination.rows, nullptr);
        EXPECT_EQ(HeadlessProgressCount(), 0);
    }
}
