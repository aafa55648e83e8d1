// Tests of the scaler: kernel values, integer weights and their renormalisation at the edges
// worked by hand on small rows and columns, the softer horizontal reduction, 16-bit and binary
// paths, the degenerate sizes, the two nearest-neighbour rules, progress, abort and refusals.
#include <gtest/gtest.h>
#include <vector>

#include "core/Helpers.h"
#include "core/Resample.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"

static const int CHANNELS_OF[8] = {1, 1, 1, 3, 0, 0, 1, 3};

// Sample c of pixel i along a line (one row, or one column when vertical); a binary pixel
// reads 1 or 0.
static int Sample(const Image &image, int vertical, int i, int c)
{
    const uint8_t *row = image.rows[vertical ? i : 0];
    int index = (vertical ? 0 : i) * CHANNELS_OF[image.type] + c;
    if (image.type == TYPE_BINARY) return BitTest(row, vertical ? 0 : i);
    if (image.type == TYPE_GRAY16 || image.type == TYPE_COLOR48)
        return ((const uint16_t *)row)[index];
    return row[index];
}

// A line of the given levels, each in every channel.
static Image Line(int type, const std::vector<int> &levels, int vertical)
{
    Image image;
    ImageClear(&image);
    int n = (int)levels.size();
    EXPECT_EQ(ImageAlloc(&image, type, vertical ? 1 : n, vertical ? n : 1, 72.0), ERROR_NONE);
    for (int i = 0; i < n; i++) {
        uint8_t *row = image.rows[vertical ? i : 0];
        for (int c = 0; c < CHANNELS_OF[type]; c++) {
            int index = (vertical ? 0 : i) * CHANNELS_OF[type] + c;
            if (type == TYPE_BINARY)
                levels[i] ? BitSet(row, vertical ? 0 : i) : BitClear(row, vertical ? 0 : i);
            else if (type == TYPE_GRAY16 || type == TYPE_COLOR48)
                ((uint16_t *)row)[index] = (uint16_t)levels[i];
            else
                row[index] = (uint8_t)levels[i];
        }
    }
    return image;
}

// The levels along a line; every channel must agree.
static std::vector<int> Levels(const Image &image, int vertical)
{
    std::vector<int> levels;
    for (int i = 0; i < (vertical ? image.height : image.width); i++) {
        levels.push_back(Sample(image, vertical, i, 0));
        for (int c = 1; c < CHANNELS_OF[image.type]; c++)
            EXPECT_EQ(Sample(image, vertical, i, c), levels.back()) << "channel " << c;
    }
    return levels;
}

// Resamples a line along its length to newLength and returns the levels.
static std::vector<int> ResampleLine(int type, const std::vector<int> &levels, int vertical,
                                     int newLength, int method)
{
    Image source = Line(type, levels, vertical);
    Image destination;
    ImageClear(&destination);
    EXPECT_EQ(ResampleImage(&source, &destination, vertical ? 1 : newLength,
                            vertical ? newLength : 1, 150.0, method, -0.75, 1),
              ERROR_NONE);
    std::vector<int> result = Levels(destination, vertical);
    EXPECT_EQ(destination.resolution, 150.0);
    ImageFree(&source);
    ImageFree(&destination);
    return result;
}

TEST(Resample, KernelValues)
{
    struct Case {
        int method;
        double x;
        double value;
    };
    const Case cases[] = {
        {RESAMPLE_NEAREST, 0.0, 0.0},
        {RESAMPLE_BILINEAR, 0.0, 1.0},
        {RESAMPLE_BILINEAR, -0.25, 0.75},
        {RESAMPLE_BILINEAR, 1.5, 0.0},
        {RESAMPLE_BICUBIC, 0.0, 1.0},
        // ((a + 2) x - (a + 3)) x x + 1 = (1.25 * 0.5 - 2.25) * 0.25 + 1 = 0.59375
        {RESAMPLE_BICUBIC, 0.5, 0.59375},
        // ((a x - 5a) x + 8a) x - 4a = ((-1.125 + 3.75) * 1.5 - 6) * 1.5 + 3 = -0.09375
        {RESAMPLE_BICUBIC, -1.5, -0.09375},
        {RESAMPLE_BICUBIC, 1.0, 0.0},
        {RESAMPLE_BICUBIC, 2.5, 0.0},
        {RESAMPLE_LANCZOS4, 0.0, 1.0},
        // (2 sin(pi/4) / 0.5) (sin(pi/2) / 0.5) / pi^2 = 2.828427 * 2 / 9.869604
        {RESAMPLE_LANCZOS4, 0.5, 0.573159},
        {RESAMPLE_LANCZOS4, 2.5, 0.0},
        // (3 sin(pi/6) / 0.5) * 2 / pi^2 = 6 / 9.869604
        {RESAMPLE_LANCZOS6, 0.5, 0.607927},
        // (3 sin(pi/2) / 1.5) (sin(3 pi/2) / 1.5) / pi^2 = -1.333333 / 9.869604
        {RESAMPLE_LANCZOS6, 1.5, -0.135095},
        {RESAMPLE_LANCZOS6, 3.5, 0.0},
        // (4 sin(pi/8) / 0.5) * 2 / pi^2 = 6.122935 / 9.869604
        {RESAMPLE_LANCZOS8, -0.5, 0.620383},
        {RESAMPLE_LANCZOS8, 4.5, 0.0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << "method " << c.method << " x " << c.x);
        EXPECT_NEAR(ResampleKernel(c.x, -0.75, c.method), c.value, 1e-6);
    }
    // The Lanczos kernels cross zero at the whole numbers inside their support.
    EXPECT_NEAR(ResampleKernel(1.0, -0.75, RESAMPLE_LANCZOS8), 0.0, 1e-9);
    EXPECT_STREQ(RESAMPLE_METHOD_LABELS[RESAMPLE_LANCZOS6], "Lanczos 6x6");
}

// Enlarging a line in either direction: the same weights and the same results, since missing
// taps vanish in both passes and the rest renormalise.
TEST(Resample, EnlargingWeighsAndRenormalisesTheTapsAtTheEdges)
{
    TestStart();
    struct Case {
        int type;
        int method;
        std::vector<int> levels;
        int newLength;
        std::vector<int> expected;
    };
    const Case cases[] = {
        // Ratio 2/4: odd outputs at f = 0.5 weigh 127 + 127 (0.5 * 255 truncated), the outer
        // taps 0: (10 + 101) / 2 = 55.5 -> 55, (101 + 200) / 2 = 150.5 -> 150.
        {TYPE_GRAY8, RESAMPLE_BILINEAR, {10, 101, 200}, 5, {10, 55, 101, 150, 200}},
        {TYPE_GRAY16,
         RESAMPLE_BILINEAR,
         {1000, 60001, 65535},
         5,
         {1000, 30500, 60001, 62768, 65535}},
        {TYPE_COLOR24, RESAMPLE_BILINEAR, {10, 101, 200}, 5, {10, 55, 101, 150, 200}},
        // Bicubic a = -0.75 at f = 0.5: weights -23, 151, 151, -23 (0.59375 * 255 = 151.4,
        // -0.09375 * 255 = -23.9). Output 1: tap -1 is missing, divisor 151 + 151 - 23 = 279,
        // -23 * 255 / 279 = -21 -> 0. Output 3: (151 - 23) * 255 / 256 = 127.5 -> 127.
        // Output 5: tap 4 missing, 302 * 255 / 279 = 276 -> 255.
        {TYPE_GRAY8, RESAMPLE_BICUBIC, {0, 0, 255, 255}, 7, {0, 0, 0, 127, 255, 255, 255}},
        {TYPE_COLOR48,
         RESAMPLE_BICUBIC,
         {0, 0, 65535, 65535},
         7,
         {0, 0, 0, 32767, 65535, 65535, 65535}}, // 128 * 65535 / 256 = 32767.5
        // Lanczos 6x6 at f = 0.5: weights 6, -34, 155, 155, -34, 6 (0.024317, -0.135095,
        // 0.607927 times 255). Output 1 misses two taps: 6 * 255 / (155 + 155 - 34 + 6) =
        // 1530 / 282 = 5.4 -> 5; output 5 has all six: (155 - 34 + 6) * 255 / 254 = 127.5;
        // output 9 misses the last two: (-34 + 155 + 155) * 255 / 282 = 249.6.
        {TYPE_GRAY8,
         RESAMPLE_LANCZOS6,
         {0, 0, 0, 255, 255, 255},
         11,
         {0, 5, 0, 0, 0, 127, 255, 255, 255, 249, 255}},
    };
    for (const Case &c : cases) {
        for (int vertical : {0, 1}) {
            SCOPED_TRACE(::testing::Message() << "type " << c.type << " method " << c.method
                                              << (vertical ? " vertical" : " horizontal"));
            EXPECT_EQ(ResampleLine(c.type, c.levels, vertical, c.newLength, c.method), c.expected);
        }
    }
}

// Reducing 8 to 3 with Bicubic: ratio 7/2 = 3.5, taps -4..4, stretch 8/3, so tap k of output 0
// (f = 0) weighs K(0.375 k) * 255 = 255, 191, 66, -18, -23, and those of output 1 (base 3,
// f = 0.5) -28, 13, 130, 236, 236, 130, 13, -28 from sample 0. The horizontal pass clamps the
// negative weights to 0 and keeps their places; the vertical pass keeps their signs.
TEST(Resample, ReducingClampsNegativeLobesAcrossButKeepsThemDown)
{
    TestStart();
    struct Case {
        int type;
        int level; // of every sample but the dark one at index 4
        std::vector<int> across;
        std::vector<int> down;
    };
    const Case cases[] = {
        // Across: 512 L / 512 = L; (758 - 236) L / 758 at output 1 (68.87 for 100); L at
        // output 2. Down, divisors 471 and 702: output 0 (255 + 191 + 66 - 18) L / 471 = 104.9,
        // output 1 (702 - 236) L / 702 = 66.4, output 2 (-23 + 66 + 191 + 255) L / 471 = 103.8.
        {TYPE_GRAY8, 100, {100, 68, 100}, {104, 66, 103}},
        {TYPE_COLOR24, 100, {100, 68, 100}, {104, 66, 103}},
        {TYPE_GRAY16, 60000, {60000, 41319, 60000}, {62929, 39829, 62292}},
        {TYPE_COLOR48, 60000, {60000, 41319, 60000}, {62929, 39829, 62292}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        std::vector<int> levels(8, c.level);
        levels[4] = 0;
        EXPECT_EQ(ResampleLine(c.type, levels, 0, 3, RESAMPLE_BICUBIC), c.across);
        EXPECT_EQ(ResampleLine(c.type, levels, 1, 3, RESAMPLE_BICUBIC), c.down);
    }
}

TEST(Resample, OneOutputColumnOrRowTakesItsOwnRatio)
{
    TestStart();
    // Width 1: ratio 0, n = 1, stretch 4: weights 255 and K(0.25) = 191 on samples 0 and 1,
    // (255 * 200 + 191 * 100) / 446 = 157.2.
    EXPECT_EQ(ResampleLine(TYPE_GRAY8, {200, 100, 0, 0}, 0, 1, RESAMPLE_BILINEAR),
              std::vector<int>{157});
    // Height 1: ratio 1, n = 2, stretch 4: rows 0, 1, 2 weigh 255, 191, 127,
    // 70100 / 573 = 122.3.
    EXPECT_EQ(ResampleLine(TYPE_GRAY8, {200, 100, 0, 0}, 1, 1, RESAMPLE_BILINEAR),
              std::vector<int>{122});
}

TEST(Resample, BinaryStaysBinaryOnlyWhenNothingIsInterpolated)
{
    TestStart();
    Image source = Line(TYPE_BINARY, {1, 0, 1, 1, 0, 0, 1, 0, 1, 1, 1, 0, 1}, 0);
    TestImage destination;
    // The same size is a copy whatever the method, with the new resolution.
    ASSERT_EQ(ResampleImage(&source, &destination, 13, 1, 240.0, RESAMPLE_LANCZOS8, -0.75, 1),
              ERROR_NONE);
    EXPECT_EQ(destination.type, TYPE_BINARY);
    EXPECT_EQ(destination.resolution, 240.0);
    EXPECT_EQ(Levels(destination, 0), Levels(source, 0));
    ASSERT_EQ(ResampleImage(&source, &destination, 26, 2, 240.0, RESAMPLE_NEAREST, -0.75, 1),
              ERROR_NONE);
    EXPECT_EQ(destination.type, TYPE_BINARY);
    EXPECT_EQ(destination.resolution, 240.0);
    ImageFree(&source);
    ImageFree(&destination);
    // Any other method gives 8-bit gray, a set bit counting 255: 127 * 255 / 254 between.
    for (int vertical : {0, 1})
        EXPECT_EQ(ResampleLine(TYPE_BINARY, {1, 0}, vertical, 3, RESAMPLE_BILINEAR),
                  (std::vector<int>{255, 127, 0}));
}

// A picture scaled in both directions equals the one scaled down its columns and then along
// its rows, for every method and type: the two passes meet only through the row between them.
// The sizes cross the vertical pass's blocks of 2048 samples.
TEST(Resample, BothDirectionsAtOnceEqualOneAfterTheOther)
{
    TestStart();
    const int sizes[][4] = {{700, 9, 301, 23}, {40, 30, 97, 11}};
    for (int type : {TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        for (const auto &size : sizes) {
            TestImage source, both, down, after;
            ASSERT_EQ(ImageAlloc(&source, type, size[0], size[1], 72.0), ERROR_NONE);
            TestFillPattern(&source, type + size[0]);
            for (int method = RESAMPLE_BILINEAR; method < RESAMPLE_METHOD_COUNT; method++) {
                SCOPED_TRACE(::testing::Message()
                             << "type " << type << " method " << method << " width " << size[0]);
                ASSERT_EQ(ResampleImage(&source, &both, size[2], size[3], 72.0, method, -1.2, 0),
                          ERROR_NONE);
                ASSERT_EQ(ResampleImage(&source, &down, size[0], size[3], 72.0, method, -1.2, 0),
                          ERROR_NONE);
                ASSERT_EQ(ResampleImage(&down, &after, size[2], size[3], 72.0, method, -1.2, 0),
                          ERROR_NONE);
                ExpectImagesNear(after, both, 0);
            }
        }
    }
}

TEST(Resample, NearestRoundsItsIndexAndThumbnailTruncates)
{
    TestStart();
    struct Case {
        int type;
        std::vector<int> levels;
        int newLength;
        std::vector<int> nearest;   // index (i (S-1) + (N-1)/2) / (N-1)
        std::vector<int> thumbnail; // index i (S-1) / (N-1)
    };
    const Case cases[] = {
        // S 4, N 3: (3i + 1) / 2 = 0, 2, 3 against 3i / 2 = 0, 1, 3.
        {TYPE_GRAY8, {10, 20, 30, 40}, 3, {10, 30, 40}, {10, 20, 40}},
        {TYPE_COLOR48, {1000, 2000, 3000, 4000}, 3, {1000, 3000, 4000}, {1000, 2000, 4000}},
        // S 3, N 5: (2i + 2) / 4 = 0, 1, 1, 2, 2 against 2i / 4 = 0, 0, 1, 1, 2.
        {TYPE_BINARY, {1, 0, 1}, 5, {1, 0, 0, 1, 1}, {1, 1, 0, 0, 1}},
        {TYPE_COLOR24, {10, 20, 30}, 1, {10}, {10}},
    };
    for (const Case &c : cases) {
        for (int vertical : {0, 1}) {
            SCOPED_TRACE(::testing::Message() << "type " << c.type << " vertical " << vertical);
            Image source = Line(c.type, c.levels, vertical);
            TestImage destination;
            int w = vertical ? 1 : c.newLength, h = vertical ? c.newLength : 1;
            ASSERT_EQ(ResampleNearest(&source, &destination, w, h, 1), ERROR_NONE);
            EXPECT_EQ(destination.type, c.type);
            EXPECT_EQ(Levels(destination, vertical), c.nearest);
            ASSERT_EQ(ResampleThumbnail(&source, &destination, w, h), ERROR_NONE);
            EXPECT_EQ(destination.resolution, 100.0);
            EXPECT_EQ(Levels(destination, vertical), c.thumbnail);
            ImageFree(&source);
        }
    }
}

// Progress opens from 100000 output pixels when asked for, else the wait cursor shows; the
// thumbnails show neither. Cancel stops at once and leaves the part result to the caller.
TEST(Resample, ProgressCursorAndCancel)
{
    struct Case {
        int method;
        int width;
        int height;
        int showProgress;
        int bar;    // 1 a bar titled "Resize" over height - 1 steps, 0 the wait cursor
        int cancel; // Cancel during the second step
    };
    const Case cases[] = {
        {RESAMPLE_BICUBIC, 400, 250, 1, 1, 0}, {RESAMPLE_BICUBIC, 400, 249, 1, 0, 0},
        {RESAMPLE_BICUBIC, 400, 250, 0, 0, 0}, {RESAMPLE_NEAREST, 400, 250, 1, 1, 0},
        {RESAMPLE_NEAREST, 399, 250, 1, 0, 0}, {RESAMPLE_LANCZOS4, 100, 1000, 1, 1, 0},
        {RESAMPLE_NEAREST, 150, 700, 1, 1, 1}, {RESAMPLE_LANCZOS8, 150, 700, 1, 1, 1},
    };
    TestImage source;
    ASSERT_EQ(ImageAlloc(&source, TYPE_COLOR24, 200, 125, 72.0), ERROR_NONE);
    TestFillPattern(&source, 9);
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.method << " " << c.width << "x" << c.height);
        TestStart();
        if (c.cancel) HeadlessAbortAtPump(1);
        TestImage destination;
        EXPECT_EQ(ResampleImage(&source, &destination, c.width, c.height, 72.0, c.method, -0.75,
                                c.showProgress),
                  c.cancel ? ERROR_ABORTED : ERROR_NONE);
        EXPECT_EQ(destination.height, c.height);
        ASSERT_EQ(HeadlessProgressCount(), c.bar);
        EXPECT_GE(HeadlessWaitCursorCount(), 1); // a bar shows it too
        if (c.bar) {
            const HeadlessProgressRecord *progress = HeadlessProgressAt(0);
            EXPECT_STREQ(progress->title, "Resize");
            EXPECT_EQ(progress->last.last, c.height - 1);
            EXPECT_EQ(progress->last.current, c.cancel ? 1 : c.height - 1);
            EXPECT_EQ(progress->pumps, c.cancel ? 2 : c.height);
            EXPECT_EQ(progress->open, 0);
        }
        ImageFree(&destination);
    }
    TestStart();
    TestImage destination;
    ASSERT_EQ(ResampleThumbnail(&source, &destination, 400, 250), ERROR_NONE);
    EXPECT_EQ(HeadlessProgressCount(), 0);
    EXPECT_EQ(HeadlessWaitCursorCount(), 0);
}

TEST(Resample, RefusesTypesAndSizesBeforeAllocating)
{
    TestStart();
    struct Case {
        int type;
        int width;
        int height;
        int method;
        ErrorCode code;
        int thumbnail; // 1: the thumbnail scaler refuses it alike (it keeps a binary type)
    };
    const Case cases[] = {
        {TYPE_COLOR, 10, 10, RESAMPLE_BICUBIC, ERROR_ILLEGAL_TYPE, 1},
        {TYPE_HISTOGRAM, 10, 10, RESAMPLE_NEAREST, ERROR_ILLEGAL_TYPE, 1},
        {TYPE_GRAY8, 0, 10, RESAMPLE_BICUBIC, ERROR_IMAGE_TOO_SMALL, 1},
        {TYPE_GRAY8, 10, -3, RESAMPLE_NEAREST, ERROR_IMAGE_TOO_SMALL, 1},
        // 200000 samples a row fit a block, but 200000 rows of them are 40 GB.
        {TYPE_GRAY8, 200000, 200000, RESAMPLE_LANCZOS8, ERROR_NO_MEMORY, 1},
        {TYPE_BINARY, 200000, 200000, RESAMPLE_BILINEAR, ERROR_NO_MEMORY, 0},
        // 600000 bytes a row are more than a block holds.
        {TYPE_COLOR24, 200000, 200000, RESAMPLE_LANCZOS8, ERROR_IMAGE_TOO_WIDE, 1},
        {TYPE_COLOR48, 200000, 200000, RESAMPLE_NEAREST, ERROR_IMAGE_TOO_WIDE, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << "type " << c.type << " " << c.width << "x" << c.height);
        TestImage source;
        TestImage destination;
        ASSERT_EQ(ImageAlloc(&source, c.type, 30, 20, 72.0), ERROR_NONE);
        EXPECT_EQ(ResampleImage(&source, &destination, c.width, c.height, 72.0, c.method, -0.75, 1),
                  c.code);
        EXPECT_EQ(destination.rows, nullptr);
        if (c.thumbnail) {
            EXPECT_EQ(ResampleThumbnail(&source, &destination, c.width, c.height), c.code);
        }
        EXPECT_EQ(destination.rows, nullptr);
        EXPECT_EQ(HeadlessProgressCount(), 0);
    }
    // An empty source has no picture to scale, but is no failure for a page preview: the
    // thumbnail scaler clears its destination.
    TestImage empty;
    TestImage destination;
    EXPECT_EQ(ResampleImage(&empty, &destination, 10, 10, 72.0, RESAMPLE_BICUBIC, -0.75, 1),
              ERROR_ILLEGAL_TYPE);
    ASSERT_EQ(ImageAlloc(&destination, TYPE_GRAY8, 5, 5, 72.0), ERROR_NONE);
    EXPECT_EQ(ResampleThumbnail(&empty, &destination, 190, 190), ERROR_NONE);
    EXPECT_EQ(destination.type, TYPE_EMPTY);
    EXPECT_EQ(destination.rows, nullptr);
}
