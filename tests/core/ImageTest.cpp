// The Image record: allocation in blocks, copies, view scrolling, samplers and the depth and
// blend tables.
#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>

#include "core/Helpers.h"
#include "core/Image.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"

// Bytes the allocator really set aside for a block: at least what was asked, and far less
// than a full block when the block was cut.
static size_t BlockBytes(const void *block)
{
    return malloc_usable_size(const_cast<void *>(block));
}

static void ExpectCleared(const Image &image)
{
    EXPECT_EQ(image.type, 0);
    EXPECT_EQ(image.width, 0);
    EXPECT_EQ(image.height, 0);
    EXPECT_EQ(image.rowBytes, 0);
    EXPECT_EQ(image.resolution, 0.0);
    EXPECT_EQ(image.rows, nullptr);
    EXPECT_EQ(image.chunkCount, 0);
    EXPECT_EQ(image.rowsPerChunk, 0);
    EXPECT_EQ(image.chunks, nullptr);
}

// Every row lies where the block layout puts it, and every row can be written end to end
// (AddressSanitizer reports a block cut too short).
static void ExpectRowsInBlocks(const Image &image, int storedRows)
{
    for (int i = 0; i < storedRows; i++) {
        ASSERT_EQ(image.rows[i], image.chunks[i / image.rowsPerChunk] +
                                     (size_t)(i % image.rowsPerChunk) * image.rowBytes)
            << "row " << i;
        memset(image.rows[i], 0xA5, (size_t)image.rowBytes);
    }
}

TEST(ImageAlloc, RowBytesPadToFourForEveryType)
{
    TestStart();
    struct Case {
        int type;
        int width;
        int rowBytes;
    } cases[] = {
        {TYPE_BINARY, 1, 4},   {TYPE_BINARY, 32, 4},        {TYPE_BINARY, 33, 8},
        {TYPE_BINARY, 64, 8},  {TYPE_GRAY8, 1, 4},          {TYPE_GRAY8, 4, 4},
        {TYPE_GRAY8, 5, 8},    {TYPE_COLOR24, 1, 4},        {TYPE_COLOR24, 2, 8},
        {TYPE_COLOR24, 4, 12}, {TYPE_COLOR24, 5, 16},       {TYPE_GRAY16, 1, 4},
        {TYPE_GRAY16, 2, 4},   {TYPE_GRAY16, 3, 8},         {TYPE_COLOR48, 1, 8},
        {TYPE_COLOR48, 2, 12}, {TYPE_COLOR48, 3, 20},       {TYPE_COLOR, 1, 4},
        {TYPE_COLOR, 100, 4},  {TYPE_HISTOGRAM, 257, 1028},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " width " << c.width);
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, c.type, c.width, 3, 300.0), ERROR_NONE);
        EXPECT_EQ(image.rowBytes, c.rowBytes);
        EXPECT_EQ(ImageRowBytes(c.type, c.width), c.rowBytes);
        EXPECT_EQ(image.type, c.type);
        EXPECT_EQ(image.width, c.width);
        EXPECT_EQ(image.height, 3);
        EXPECT_EQ(image.resolution, 300.0);
        ExpectRowsInBlocks(image, c.type == TYPE_COLOR || c.type == TYPE_HISTOGRAM ? 1 : 3);
    }
}

TEST(ImageAlloc, BlocksHoldWholeRowsAndTheLastHoldsOnlyWhatIsLeft)
{
    TestStart();
    struct Case {
        int type, width, height;
        int rowsPerChunk, chunkCount;
        size_t lastAtLeast, lastBelow; // bytes of the last block; 0: no upper bound
        int storedRows;
    } cases[] = {
        // A row of exactly 512000 bytes is one row a block.
        {TYPE_GRAY8, 512000, 3, 1, 3, 512000, 0, 3},
        // Rows of 1000 bytes: 512 to a block; one row more opens a block of just that row.
        {TYPE_GRAY8, 1000, 1024, 512, 2, 512000, 0, 1024},
        {TYPE_GRAY8, 1000, 1025, 512, 3, 1000, 2000, 1025},
        // A histogram stores its one row whatever its height, in a block of one row.
        {TYPE_HISTOGRAM, 257, 1, 498, 1, 1028, 0, 1},
        {TYPE_HISTOGRAM, 257, 300, 498, 1, 1028, 2 * 1028, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.type << " " << c.width << "x" << c.height);
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, c.type, c.width, c.height, 72.0), ERROR_NONE);
        EXPECT_EQ(image.rowsPerChunk, c.rowsPerChunk);
        ASSERT_EQ(image.chunkCount, c.chunkCount);
        EXPECT_GE(BlockBytes(image.chunks[c.chunkCount - 1]), c.lastAtLeast);
        if (c.lastBelow != 0) {
            EXPECT_LT(BlockBytes(image.chunks[c.chunkCount - 1]), c.lastBelow);
        }
        ExpectRowsInBlocks(image, c.storedRows);
    }
}

TEST(ImageAlloc, RowOf512004BytesIsTooWideAndClearsTheRecord)
{
    TestStart();
    for (int type : {TYPE_GRAY8, TYPE_COLOR24, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        // The smallest width whose row passes 512000 bytes for the type.
        int width = type == TYPE_GRAY8 ? 512001 : type == TYPE_COLOR24 ? 170667 : 85334;
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, TYPE_GRAY8, 10, 10, 72.0), ERROR_NONE);
        EXPECT_EQ(ImageAlloc(&image, type, width, 2, 72.0), ERROR_IMAGE_TOO_WIDE);
        ExpectCleared(image);
        // One pixel narrower still fits.
        EXPECT_EQ(ImageAlloc(&image, type, width - 1, 2, 72.0), ERROR_NONE);
        EXPECT_LE(image.rowBytes, 512000);
    }
}

TEST(ImageAlloc, EmptyShapesRememberTheRequestWithoutStorage)
{
    TestStart();
    struct Case {
        int type;
        int width;
        int height;
    } cases[] = {
        {TYPE_EMPTY, 40, 30}, {9, 40, 30}, {-1, 40, 30}, {TYPE_GRAY8, 0, 30}, {TYPE_GRAY8, 40, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.type << " " << c.width << "x" << c.height);
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, TYPE_COLOR24, 20, 20, 72.0), ERROR_NONE);
        EXPECT_EQ(ImageAlloc(&image, c.type, c.width, c.height, 150.0), ERROR_NONE);
        EXPECT_EQ(image.type, c.type);
        EXPECT_EQ(image.width, c.width);
        EXPECT_EQ(image.height, c.height);
        EXPECT_EQ(image.resolution, 150.0);
        EXPECT_EQ(image.rows, nullptr);
        EXPECT_EQ(image.chunks, nullptr);
        EXPECT_EQ(image.chunkCount, 0);
    }
}

TEST(ImageAlloc, ImpossibleSizesAreRefusedBeforeAnyAllocation)
{
    TestStart();
    TestImage image;
    // 20 GB of 48-bit rows, and negative sizes: out of memory, record cleared.
    EXPECT_EQ(ImageAlloc(&image, TYPE_COLOR48, 85000, 40000, 72.0), ERROR_NO_MEMORY);
    ExpectCleared(image);
    EXPECT_EQ(ImageAlloc(&image, TYPE_GRAY8, -4, 10, 72.0), ERROR_NO_MEMORY);
    ExpectCleared(image);
    EXPECT_EQ(ImageAlloc(&image, TYPE_GRAY8, 10, -4, 72.0), ERROR_NO_MEMORY);
    ExpectCleared(image);
}

TEST(ImageAlloc, SameShapeKeepsPixelsAndChangesOnlyResolution)
{
    TestStart();
    TestImage image;
    ASSERT_EQ(ImageAlloc(&image, TYPE_COLOR24, 50, 40, 72.0), ERROR_NONE);
    TestFillPattern(&image, 7);
    TestImage before;
    ASSERT_EQ(ImageDuplicate(&image, &before), ERROR_NONE);
    uint8_t **rows = image.rows;
    uint8_t *firstRow = image.rows[0];

    ASSERT_EQ(ImageAlloc(&image, TYPE_COLOR24, 50, 40, 300.0), ERROR_NONE);
    EXPECT_EQ(image.resolution, 300.0);
    EXPECT_EQ(image.rows, rows);
    EXPECT_EQ(image.rows[0], firstRow);
    ExpectImagesNear(before, image, 0);

    // Another height is another shape: new storage.
    ASSERT_EQ(ImageAlloc(&image, TYPE_COLOR24, 50, 41, 300.0), ERROR_NONE);
    EXPECT_EQ(image.height, 41);
    ExpectRowsInBlocks(image, 41);
}

TEST(ImageDuplicate, CopiesEveryPictureTypeIntoStorageOfItsOwn)
{
    TestStart();
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        TestImage source;
        TestImage copy;
        ASSERT_EQ(ImageAlloc(&source, type, 37, 1100, 240.0), ERROR_NONE);
        TestFillPattern(&source, type);
        ASSERT_EQ(ImageDuplicate(&source, &copy), ERROR_NONE);
        EXPECT_EQ(copy.resolution, 240.0);
        ExpectImagesNear(source, copy, 0);
        EXPECT_NE(copy.rows[0], source.rows[0]);
        EXPECT_EQ(HeadlessProgressCount(), 0);
    }
}

TEST(ImageDuplicate, PassesOnTheAllocationError)
{
    TestStart();
    // A record that claims a row too wide to exist: the copy cannot be allocated.
    TestImage source;
    source.type = TYPE_GRAY8;
    source.width = 512001;
    source.height = 1;
    TestImage copy;
    EXPECT_EQ(ImageDuplicate(&source, &copy), ERROR_IMAGE_TOO_WIDE);
    EXPECT_EQ(ImageCopy(&source, &copy, 1), ERROR_IMAGE_TOO_WIDE);
    ExpectCleared(copy);
}

TEST(ImageCopy, ProgressFrom100000Pixels)
{
    TestStart();
    struct Case {
        int width;
        int height;
        int showProgress;
        int windows;
    } cases[] = {
        {271, 369, 1, 0}, // 99999 pixels
        {400, 250, 1, 1}, // 100000 pixels
        {400, 250, 0, 0}, // asked for none
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " " << c.showProgress);
        HeadlessReset();
        TestImage source;
        TestImage copy;
        ASSERT_EQ(ImageAlloc(&source, TYPE_GRAY8, c.width, c.height, 72.0), ERROR_NONE);
        TestFillPattern(&source, 3);
        ASSERT_EQ(ImageCopy(&source, &copy, c.showProgress), ERROR_NONE);
        ExpectImagesNear(source, copy, 0);
        ASSERT_EQ(HeadlessProgressCount(), c.windows);
        if (c.windows == 1) {
            const HeadlessProgressRecord *record = HeadlessProgressAt(0);
            EXPECT_STREQ(record->title, "Copy");
            EXPECT_EQ(record->last.first, 0);
            EXPECT_EQ(record->last.last, c.height - 1);
            EXPECT_EQ(record->last.current, c.height - 1);
            EXPECT_EQ(record->last.canAbort, 1);
            EXPECT_EQ(record->pumps, c.height); // one step a row
            EXPECT_EQ(record->open, 0);
        } else {
            EXPECT_GE(HeadlessWaitCursorCount(), 1);
        }
        EXPECT_EQ(HeadlessCursor(), CURSOR_ARROW);
    }
}

TEST(ImageCopy, AbortKeepsTheRowsCopiedSoFar)
{
    TestStart();
    TestImage source;
    TestImage copy;
    TestImage before;
    ASSERT_EQ(ImageAlloc(&source, TYPE_COLOR24, 500, 300, 72.0), ERROR_NONE);
    ASSERT_EQ(ImageAlloc(&copy, TYPE_COLOR24, 500, 300, 72.0), ERROR_NONE);
    TestFillPattern(&source, 1);
    TestFillPattern(&copy, 2); // same shape: the copy keeps these where it is not written
    ASSERT_EQ(ImageDuplicate(&copy, &before), ERROR_NONE);

    HeadlessAbortAtPump(9); // Cancel seen at the step after row 9
    EXPECT_EQ(ImageCopy(&source, &copy, 1), ERROR_ABORTED);
    for (int y = 0; y < 300; y++) {
        const uint8_t *expected = y <= 9 ? source.rows[y] : before.rows[y];
        ASSERT_EQ(memcmp(copy.rows[y], expected, 1500), 0) << "row " << y;
    }
    EXPECT_EQ(HeadlessProgressAt(0)->open, 0);
}

TEST(ImageCopyRect, CopiesTheInclusiveRectangleOfEachType)
{
    TestStart();
    for (int type : {TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        int pixelBytes = type == TYPE_GRAY8     ? 1
                         : type == TYPE_COLOR24 ? 3
                         : type == TYPE_GRAY16  ? 2
                                                : 6;
        TestImage source;
        TestImage part;
        ASSERT_EQ(ImageAlloc(&source, type, 20, 15, 200.0), ERROR_NONE);
        TestFillPattern(&source, 11);
        ASSERT_EQ(ImageCopyRect(&source, 3, 4, 19, 6, &part), ERROR_NONE);
        EXPECT_EQ(part.type, type);
        EXPECT_EQ(part.width, 17);
        EXPECT_EQ(part.height, 3);
        EXPECT_EQ(part.resolution, 200.0);
        for (int y = 0; y < 3; y++)
            EXPECT_EQ(
                memcmp(part.rows[y], source.rows[y + 4] + 3 * pixelBytes, (size_t)17 * pixelBytes),
                0)
                << "row " << y;
    }
}

TEST(ImageCopyRect, BinaryFromColumn3StartsAtBit0)
{
    TestStart();
    TestImage source;
    TestImage part;
    ASSERT_EQ(ImageAlloc(&source, TYPE_BINARY, 20, 2, 72.0), ERROR_NONE);
    // Row 1: bits 3, 4, 10 and 19 set; everything else clear.
    memset(source.rows[0], 0, 4);
    memset(source.rows[1], 0, 4);
    source.rows[1][0] = 0x18; // bits 3, 4
    source.rows[1][1] = 0x20; // bit 10
    source.rows[1][2] = 0x10; // bit 19
    ASSERT_EQ(ImageCopyRect(&source, 3, 1, 19, 1, &part), ERROR_NONE);
    EXPECT_EQ(part.width, 17);
    EXPECT_EQ(part.height, 1);
    // Bits 0, 1, 7 and 16 of the copy.
    EXPECT_EQ(part.rows[0][0], 0xC1);
    EXPECT_EQ(part.rows[0][1], 0x00);
    EXPECT_EQ(part.rows[0][2] & 0x80, 0x80);
}

TEST(ImageCopyRect, OtherTypesCopyNothingAndBadRectanglesAreRefused)
{
    TestStart();
    TestImage histogram;
    TestImage part;
    ASSERT_EQ(ImageAlloc(&histogram, TYPE_HISTOGRAM, 257, 1, 0.0), ERROR_NONE);
    EXPECT_EQ(ImageCopyRect(&histogram, 0, 0, 9, 0, &part), ERROR_NONE);
    EXPECT_EQ(part.type, TYPE_HISTOGRAM);
    EXPECT_EQ(part.width, 10);
    EXPECT_EQ(part.height, 1);

    TestImage source;
    ASSERT_EQ(ImageAlloc(&source, TYPE_GRAY8, 10, 10, 72.0), ERROR_NONE);
    struct Case {
        int x0, y0, x1, y1;
    } bad[] = {{-1, 0, 5, 5}, {0, -1, 5, 5}, {6, 0, 5, 5},
               {0, 6, 5, 5},  {0, 0, 10, 5}, {0, 0, 5, 10}};
    for (const Case &c : bad) {
        SCOPED_TRACE(testing::Message() << c.x0 << "," << c.y0 << "-" << c.x1 << "," << c.y1);
        EXPECT_EQ(ImageCopyRect(&source, c.x0, c.y0, c.x1, c.y1, &part), ERROR_INTERNAL_1);
        EXPECT_EQ(part.type, TYPE_HISTOGRAM); // untouched
    }
}

// A gray or color picture whose every sample is its column times 10 plus its channel.
static void FillColumns(Image *image)
{
    int channels = image->type == TYPE_COLOR24 ? 3 : 1;
    for (int y = 0; y < image->height; y++)
        for (int x = 0; x < image->width; x++)
            for (int c = 0; c < channels; c++)
                image->rows[y][x * channels + c] = (uint8_t)(x * 10 + c + y);
}

TEST(ImageShift, SidewaysMovesPixelsOfGrayAndColorRows)
{
    TestStart();
    for (int type : {TYPE_GRAY8, TYPE_COLOR24}) {
        int channels = type == TYPE_COLOR24 ? 3 : 1;
        for (int count : {1, 3, 6}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " count " << count);
            TestImage image;
            TestImage before;
            ASSERT_EQ(ImageAlloc(&image, type, 9, 2, 72.0), ERROR_NONE);
            FillColumns(&image);
            ASSERT_EQ(ImageDuplicate(&image, &before), ERROR_NONE);

            ImageShiftLeft(&image, count);
            for (int y = 0; y < 2; y++)
                for (int x = 0; x + count < 9; x++)
                    for (int c = 0; c < channels; c++)
                        ASSERT_EQ(image.rows[y][x * channels + c],
                                  before.rows[y][(x + count) * channels + c])
                            << "left, x " << x;

            ASSERT_EQ(ImageDuplicate(&before, &image), ERROR_NONE);
            ImageShiftRight(&image, count);
            for (int y = 0; y < 2; y++)
                for (int x = count; x < 9; x++)
                    for (int c = 0; c < channels; c++)
                        ASSERT_EQ(image.rows[y][x * channels + c],
                                  before.rows[y][(x - count) * channels + c])
                            << "right, x " << x;
            EXPECT_EQ(HeadlessCursor(), CURSOR_ARROW);
        }
    }
}

TEST(ImageShift, SidewaysMovesBitsOfBinaryRows)
{
    TestStart();
    TestImage image;
    ASSERT_EQ(ImageAlloc(&image, TYPE_BINARY, 20, 1, 72.0), ERROR_NONE);
    // Bits 0, 9 and 19 set.
    image.rows[0][0] = 0x80;
    image.rows[0][1] = 0x40;
    image.rows[0][2] = 0x10;
    ImageShiftLeft(&image, 9);
    // Pixel x takes pixel x + 9: bit 0 from 9, bit 10 from 19; columns 11 to 19 keep theirs.
    for (int x = 0; x < 11; x++)
        EXPECT_EQ(BitTest(image.rows[0], x), x == 0 || x == 10) << "x " << x;
    EXPECT_EQ(BitTest(image.rows[0], 19), 1);

    image.rows[0][0] = 0x80; // bit 0 only in the first 8 columns
    image.rows[0][1] = 0x00;
    image.rows[0][2] = 0x00;
    ImageShiftRight(&image, 5);
    for (int x = 5; x < 20; x++)
        EXPECT_EQ(BitTest(image.rows[0], x), x == 5) << "x " << x;
}

TEST(ImageShift, RowsMoveDownAndUpForAnyType)
{
    TestStart();
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        TestImage image;
        TestImage before;
        ASSERT_EQ(ImageAlloc(&image, type, 13, 7, 72.0), ERROR_NONE);
        TestFillPattern(&image, 5);
        ASSERT_EQ(ImageDuplicate(&image, &before), ERROR_NONE);
        ImageShiftRowsDown(&image, 2);
        for (int i = 0; i < 5; i++)
            EXPECT_EQ(memcmp(image.rows[i], before.rows[i + 2], (size_t)image.rowBytes), 0);
        for (int i = 5; i < 7; i++) // the top rows keep theirs
            EXPECT_EQ(memcmp(image.rows[i], before.rows[i], (size_t)image.rowBytes), 0);

        ASSERT_EQ(ImageDuplicate(&before, &image), ERROR_NONE);
        ImageShiftRowsUp(&image, 3);
        for (int i = 3; i < 7; i++)
            EXPECT_EQ(memcmp(image.rows[i], before.rows[i - 3], (size_t)image.rowBytes), 0);
        for (int i = 0; i < 3; i++)
            EXPECT_EQ(memcmp(image.rows[i], before.rows[i], (size_t)image.rowBytes), 0);
    }
}

TEST(ImageShift, CountsThatAskForNothingChangeNothing)
{
    TestStart();
    TestImage image;
    TestImage before;
    ASSERT_EQ(ImageAlloc(&image, TYPE_GRAY8, 10, 4, 72.0), ERROR_NONE);
    TestFillPattern(&image, 9);
    ASSERT_EQ(ImageDuplicate(&image, &before), ERROR_NONE);
    for (int count : {0, -1, -1000, INT_MIN}) {
        SCOPED_TRACE(count);
        ImageShiftLeft(&image, count);
        ImageShiftRight(&image, count);
        ImageShiftRowsDown(&image, count);
        ImageShiftRowsUp(&image, count);
        ExpectImagesNear(before, image, 0);
    }
    EXPECT_EQ(HeadlessWaitCursorCount(), 0); // a count of 0 returns at once
    // Counts past the picture move nothing that lies in it, and stay inside the rows.
    ImageShiftLeft(&image, INT_MAX);
    ImageShiftRight(&image, INT_MAX);
    ImageShiftRowsDown(&image, INT_MAX);
    ImageShiftRowsUp(&image, INT_MAX);
    ExpectImagesNear(before, image, 0);

    // A picture with rows but no columns has nothing to move.
    TestImage empty;
    ASSERT_EQ(ImageAlloc(&empty, TYPE_GRAY8, 0, 5, 72.0), ERROR_NONE);
    ImageShiftLeft(&empty, 1);
    ImageShiftRowsUp(&empty, 1);
}

// A 4 by 3 gray picture: row y, column x holds 20 * x + 50 * y.
static void MakeGray8(Image *image)
{
    ASSERT_EQ(ImageAlloc(image, TYPE_GRAY8, 4, 3, 72.0), ERROR_NONE);
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 4; x++)
            image->rows[y][x] = (uint8_t)(20 * x + 50 * y);
}

TEST(SampleGray8, InsideBlendsBilinearlyThroughTheTable)
{
    TestStart();
    TestImage image;
    MakeGray8(&image);
    struct Case {
        double x, y;
        int expected;
    } cases[] = {
        {0.0, 0.0, 0},
        {2.0, 1.0, 90},  // whole positions: the pixel itself
        {3.0, 2.0, 160}, // exactly (width - 1, height - 1): that pixel, no blend
        // x 0.5: weight 128, 0 to 20 is 0 + (20 * 128 + 127) / 255 = 10.
        {0.5, 0.0, 10},
        // y 0.5 on the last column: it blends with weight 255 from column 2, which gives
        // column 3 itself, 60 and 110; then 60 + (50 * 128 + 127) / 255 = 85.
        {3.0, 0.5, 85},
        // Both: rows give 10 and 60, blended by 128 to 10 + 25 = 35.
        {0.5, 0.5, 35},
        // Last column between rows 1 and 2 by 64: 110 + (50 * 64 + 127) / 255 = 123.
        {3.0, 1.25, 123},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.x << "," << c.y);
        EXPECT_EQ(SampleGray8(&image, c.x, c.y, 99), c.expected);
    }
}

TEST(SampleGray8, FringeFadesIntoTheBackgroundAndOutsideIsBackground)
{
    TestStart();
    TestImage image;
    MakeGray8(&image);
    // (width - 0.5, 0): half of pixel (3, 0) = 60 and half of background 200:
    // 60 + (140 * 128 + 127) / 255 = 60 + 70, and no weight on the row above.
    EXPECT_EQ(SampleGray8(&image, 3.5, 0.0, 200), 130);
    // Below the bottom-left corner only (0, 0) = 0 is inside. Blends by 128 from background
    // 255: the rows give 255 and 255 - 128 = 127, then 255 - (128 * 128 + 127) / 255 = 191.
    EXPECT_EQ(SampleGray8(&image, -0.5, -0.5, 255), 191);
    // On the far edge of the fringe every corner is outside.
    EXPECT_EQ(SampleGray8(&image, 4.0, 1.0, 77), 77);
    EXPECT_EQ(SampleGray8(&image, -1.0, -1.0, 77), 77);
    // Outside the fringe.
    for (double x : {-1.01, 4.01, 1e300, -1e300, (double)NAN}) {
        SCOPED_TRACE(x);
        EXPECT_EQ(SampleGray8(&image, x, 1.0, 33), 33);
        EXPECT_EQ(SampleGray8(&image, 1.0, x, 33), 33);
    }
    // Just below 0 is the fringe, with all of its weight on the first column (50).
    EXPECT_EQ(SampleGray8(&image, -1e-20, 1.0, 250), 50);
    // A background outside 0 to 255 is taken as its nearest end: 255 half toward 0.
    EXPECT_EQ(SampleGray8(&image, -0.5, 0.0, 1000), 127);
    EXPECT_EQ(SampleGray8(&image, 9.0, 0.0, -5), 0);
}

TEST(SampleGray8, OnePixelWideAndOneRowPicturesStayInsideTheRow)
{
    TestStart();
    // Under AddressSanitizer a read before the row or past the last row fails here.
    TestImage column;
    ASSERT_EQ(ImageAlloc(&column, TYPE_GRAY8, 1, 3, 72.0), ERROR_NONE);
    for (int y = 0; y < 3; y++)
        column.rows[y][0] = (uint8_t)(40 * y + 10);
    EXPECT_EQ(SampleGray8(&column, 0.0, 0.5, 0), 30);  // 10 to 50 by 128: 10 + 20
    EXPECT_EQ(SampleGray8(&column, 0.0, 1.75, 0), 80); // 50 to 90 by 192: 50 + 30
    EXPECT_EQ(SampleGray8(&column, 0.5, 0.0, 0), 5);   // fringe, half background

    TestImage row;
    ASSERT_EQ(ImageAlloc(&row, TYPE_GRAY8, 3, 1, 72.0), ERROR_NONE);
    row.rows[0][0] = 0;
    row.rows[0][1] = 100;
    row.rows[0][2] = 200;
    EXPECT_EQ(SampleGray8(&row, 1.5, 0.0, 0), 150);
    EXPECT_EQ(SampleGray8(&row, 2.0, 0.0, 0), 200);

    TestImage dot;
    ASSERT_EQ(ImageAlloc(&dot, TYPE_GRAY8, 1, 1, 72.0), ERROR_NONE);
    dot.rows[0][0] = 123;
    EXPECT_EQ(SampleGray8(&dot, 0.5, 0.5, 123), 123);

    // The same shapes through the 16-bit and color samplers.
    TestImage wide;
    ASSERT_EQ(ImageAlloc(&wide, TYPE_GRAY16, 1, 2, 72.0), ERROR_NONE);
    ((uint16_t *)wide.rows[0])[0] = 1000;
    ((uint16_t *)wide.rows[1])[0] = 2000;
    EXPECT_EQ(SampleGray16(&wide, 0.0, 0.5, 0), 1501); // 1000 + 1000 * 128 / 255
    TestImage color;
    ASSERT_EQ(ImageAlloc(&color, TYPE_COLOR48, 3, 1, 72.0), ERROR_NONE);
    TestFillPattern(&color, 8);
    int red, green, blue;
    SampleColor48(&color, 2.0, 0.0, &red, &green, &blue, 0, 0, 0);
    EXPECT_EQ(red, ((uint16_t *)color.rows[0])[8]);
    SampleColor48(&color, 1.5, 0.0, &red, &green, &blue, 0, 0, 0);
    SampleColor24(&color, 2.0, 0.0, &red, &green, &blue, 0, 0, 0);
}

TEST(SampleColor, RedIsTheThirdSampleInMemory)
{
    TestStart();
    TestImage color;
    ASSERT_EQ(ImageAlloc(&color, TYPE_COLOR24, 2, 1, 72.0), ERROR_NONE);
    const uint8_t pixels[6] = {10, 20, 30, 110, 120, 130}; // blue, green, red twice
    memcpy(color.rows[0], pixels, 6);
    int red, green, blue;
    SampleColor24(&color, 0.0, 0.0, &red, &green, &blue, 0, 0, 0);
    EXPECT_EQ(red, 30);
    EXPECT_EQ(green, 20);
    EXPECT_EQ(blue, 10);
    SampleColor24(&color, 0.5, 0.0, &red, &green, &blue, 0, 0, 0);
    EXPECT_EQ(red, 80); // 30 + (100 * 128 + 127) / 255
    EXPECT_EQ(green, 70);
    EXPECT_EQ(blue, 60);
    // Outside: the three backgrounds, each to its own result.
    SampleColor24(&color, -3.0, 0.0, &red, &green, &blue, 1, 2, 3);
    EXPECT_EQ(red, 1);
    EXPECT_EQ(green, 2);
    EXPECT_EQ(blue, 3);
    // Fringe right of (1, 0): each channel half toward its own background.
    SampleColor24(&color, 1.5, 0.0, &red, &green, &blue, 255, 0, 130);
    EXPECT_EQ(red, 193);  // 130 + (125 * 128 + 127) / 255 = 130 + 63
    EXPECT_EQ(green, 60); // 120 - (120 * 128 + 127) / 255 = 120 - 60
    EXPECT_EQ(blue, 120); // 110 + (20 * 128 + 127) / 255

    TestImage deep;
    ASSERT_EQ(ImageAlloc(&deep, TYPE_COLOR48, 1, 1, 72.0), ERROR_NONE);
    uint16_t *samples = (uint16_t *)deep.rows[0];
    samples[0] = 100;   // blue
    samples[1] = 200;   // green
    samples[2] = 60000; // red
    SampleColor48(&deep, 0.0, 0.0, &red, &green, &blue, 0, 0, 0);
    EXPECT_EQ(red, 60000);
    EXPECT_EQ(green, 200);
    EXPECT_EQ(blue, 100);
}

TEST(SampleBinary, RoundsToTheNearestPixel)
{
    TestStart();
    TestImage image;
    ASSERT_EQ(ImageAlloc(&image, TYPE_BINARY, 10, 2, 72.0), ERROR_NONE);
    memset(image.rows[0], 0, 4);
    memset(image.rows[1], 0, 4);
    BitSet(image.rows[0], 1);
    BitSet(image.rows[1], 9);
    EXPECT_EQ(SampleBinary(&image, 0.49, 0.0, 7), 0);
    EXPECT_EQ(SampleBinary(&image, 0.5, 0.0, 7), 255);
    EXPECT_EQ(SampleBinary(&image, 1.4, 0.4, 7), 255);
    EXPECT_EQ(SampleBinary(&image, 1.0, 0.5, 7), 0); // row 1
    EXPECT_EQ(SampleBinary(&image, 9.0, 1.0, 7), 255);
    EXPECT_EQ(SampleBinary(&image, 9.01, 1.0, 7), 7); // past width - 1: no fringe
    EXPECT_EQ(SampleBinary(&image, -0.01, 0.0, 7), 7);
    EXPECT_EQ(SampleBinary(&image, 1.0, 1.01, 7), 7);
}

TEST(SamplePixel, EachTypeGivesEightBitRedGreenBlue)
{
    TestStart();
    int red, green, blue;

    TestImage binary;
    ASSERT_EQ(ImageAlloc(&binary, TYPE_BINARY, 2, 1, 72.0), ERROR_NONE);
    binary.rows[0][0] = 0x80;
    SamplePixel(&binary, 0.0, 0.0, &red, &green, &blue, 0, 0, 0);
    EXPECT_EQ(red, 255);
    EXPECT_EQ(green, 255);
    EXPECT_EQ(blue, 255);
    // The background reduced to its luminance: (306 * 255) >> 10 = 76 for pure red.
    SamplePixel(&binary, 5.0, 0.0, &red, &green, &blue, 255, 0, 0);
    EXPECT_EQ(red, 76);
    EXPECT_EQ(green, 76);
    EXPECT_EQ(blue, 76);

    TestImage gray16;
    ASSERT_EQ(ImageAlloc(&gray16, TYPE_GRAY16, 1, 1, 72.0), ERROR_NONE);
    ((uint16_t *)gray16.rows[0])[0] = 32768;
    SamplePixel(&gray16, 0.0, 0.0, &red, &green, &blue, 0, 0, 0);
    EXPECT_EQ(red, 128);
    EXPECT_EQ(blue, 128);
    // The 8-bit background passes the 16-to-8 table too: white comes out as 1.
    SamplePixel(&gray16, 4.0, 0.0, &red, &green, &blue, 255, 255, 255);
    EXPECT_EQ(red, 1);

    // 48-bit rows go through the 8-bit color sampler and then the table: the first pixel
    // reads the bytes FF FF 00 as blue, green and red.
    TestImage deep;
    ASSERT_EQ(ImageAlloc(&deep, TYPE_COLOR48, 1, 1, 72.0), ERROR_NONE);
    uint16_t *samples = (uint16_t *)deep.rows[0];
    samples[0] = 0xFFFF;
    samples[1] = 0x0000;
    samples[2] = 0x8080;
    SamplePixel(&deep, 0.0, 0.0, &red, &green, &blue, 0, 0, 0);
    EXPECT_EQ(blue, 1); // Depth16To8[255]
    EXPECT_EQ(green, 1);
    EXPECT_EQ(red, 0);

    // Types without pixels: every position is outside.
    TestImage histogram;
    ASSERT_EQ(ImageAlloc(&histogram, TYPE_HISTOGRAM, 257, 1, 0.0), ERROR_NONE);
    SamplePixel(&histogram, 0.0, 0.0, &red, &green, &blue, 9, 8, 7);
    EXPECT_EQ(red, 9);
    EXPECT_EQ(green, 8);
    EXPECT_EQ(blue, 7);
}

TEST(DepthTables, EdgesAndRoundTrip)
{
    TestStart();
    EXPECT_EQ(Depth16To8[32767], 127);
    EXPECT_EQ(Depth16To8[32768], 128);
    EXPECT_EQ(Depth8To16[255], 65535);
    EXPECT_EQ(Depth16To8[65535], 255);
    EXPECT_EQ(Depth8To16[0], 0);
    EXPECT_EQ(Depth8To16[1], 257);
    EXPECT_EQ(Depth8To16[128], 32896); // (128 * 65535 + 127) / 255 = 32896.5 down
    // The step from 0 to 1 lies between 128 and 129: (129 * 255 + 32767) / 65535 = 1.
    EXPECT_EQ(Depth16To8[128], 0);
    EXPECT_EQ(Depth16To8[129], 1);
    for (int i = 0; i < 256; i++)
        ASSERT_EQ(Depth16To8[Depth8To16[i]], i) << i;
    for (int i = 1; i < 65536; i++)
        ASSERT_LE(Depth16To8[i - 1], Depth16To8[i]) << i;
}

TEST(Lerp, EightBitTableAndSixteenBitDivision)
{
    TestStart();
    EXPECT_EQ(LerpTable[1][127], 0); // (127 + 127) / 255
    EXPECT_EQ(LerpTable[1][128], 1);
    EXPECT_EQ(LerpTable[255][255], 255);
    EXPECT_EQ(LerpTable[100][128], 50);
    EXPECT_EQ(Lerp8(200, 100, 128), 150);
    EXPECT_EQ(Lerp8(100, 200, 128), 150);
    EXPECT_EQ(Lerp8(0, 255, 1), 1);
    for (int a = 0; a < 256; a += 5) {
        for (int b = 0; b < 256; b += 3) {
            ASSERT_EQ(Lerp8(a, b, 0), a);
            ASSERT_EQ(Lerp8(a, b, 255), b); // 255 is all of b
        }
    }
    EXPECT_EQ(Lerp16(0, 1000, 128), 501);
    EXPECT_EQ(Lerp16(1000, 0, 128), 499); // truncation toward zero
    EXPECT_EQ(Lerp16(0, 65535, 255), 65535);
    EXPECT_EQ(Lerp16(65535, 0, 255), 0);
    EXPECT_EQ(Lerp16(65535, 0, 1), 65278); // 65535 - 257
}

TEST(Round, HalfAwayFromZeroIn32Bits)
{
    TestStart();
    EXPECT_EQ(Round(-0.5), -1);
    EXPECT_EQ(Round(0.5), 1);
    EXPECT_EQ(Round(-0.49), 0);
    EXPECT_EQ(Round(-2.4999), -2);
    EXPECT_EQ(Round(2147483646.6), 2147483647);
    EXPECT_EQ(Round(-2147483647.6), -2147483647 - 1);
    // Beyond 32 bits the nearest end, and NaN 0, where a plain conversion is undefined.
    EXPECT_EQ(Round(1e10), INT32_MAX);
    EXPECT_EQ(Round(-1e10), INT32_MIN);
    EXPECT_EQ(Round(NAN), 0);
}

TEST(ImageAlloc, BigPicturesCarveTheirBlocksFromOneRegion)
{
    TestStart();
    // 6000 x 500 at 24 bits is 9,000,000 bytes: its blocks come from one region, each as
    // large as it would be alone, and every row can be written and read back.
    TestImage image;
    ASSERT_EQ(ImageAlloc(&image, TYPE_COLOR24, 6000, 500, 300.0), ERROR_NONE);
    ASSERT_EQ(image.rowsPerChunk, 512000 / 18000);
    ASSERT_EQ(image.chunkCount, (500 + 27) / 28);
    for (int i = 0; i + 1 < image.chunkCount; i++)
        EXPECT_EQ(image.chunks[i + 1] - image.chunks[i], (ptrdiff_t)28 * 18000) << "block " << i;
    for (int y = 0; y < image.height; y++)
        memset(image.rows[y], y & 255, (size_t)image.rowBytes);
    for (int y = 0; y < image.height; y += 37)
        EXPECT_EQ(image.rows[y][image.rowBytes - 1], y & 255);
    TestImage copy;
    ASSERT_EQ(ImageDuplicate(&image, &copy), ERROR_NONE);
    EXPECT_EQ(memcmp(copy.rows[499], image.rows[499], (size_t)image.rowBytes), 0);
    ImageFree(&image);
    ImageFree(&copy);
    ImageFree(&copy); // twice is harmless
    // A small picture after a big one gets blocks of its own again.
    ASSERT_EQ(ImageAlloc(&image, TYPE_GRAY8, 1000, 1025, 72.0), ERROR_NONE);
    EXPECT_GE(BlockBytes(image.chunks[2]), 1000u);
}

TEST(ImageProbe, ReadsTheRoundedMeanOfItsSquareInsideThePicture)
{
    TestStart();
    for (int type : {TYPE_COLOR24, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        int scale = type == TYPE_COLOR48 ? 257 : 1;
        // Red of pixel (x, y) is 10 x + y, green 100, blue 3 y.
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, type, 4, 3, 72.0), ERROR_NONE);
        for (int y = 0; y < 3; y++)
            for (int x = 0; x < 4; x++) {
                PictureSetSample(&image, x, y, 2, (10 * x + y) * scale);
                PictureSetSample(&image, x, y, 1, 100 * scale);
                PictureSetSample(&image, x, y, 0, 3 * y * scale);
            }
        uint8_t color[3];
        // 1x1: the pixel itself.
        ImageProbeColor(&image, 2, 1, 0, color);
        EXPECT_EQ(color[0], 21);
        EXPECT_EQ(color[2], 3);
        // 3x3 around (1, 1): red (0 + 10 + 20) * 3 + (0 + 1 + 2) * 3 = 99, / 9 = 11.
        ImageProbeColor(&image, 1, 1, 1, color);
        EXPECT_EQ(color[0], 11);
        EXPECT_EQ(color[1], 100);
        // 5x5 at the corner (0, 0) keeps the 3 x 3 inside: red (0 + 10 + 20) * 3 + 3 * 3 = 99
        // over 9 is 11; blue (0 + 3 + 6) * 3 / 9 = 3.
        ImageProbeColor(&image, 0, 0, 2, color);
        EXPECT_EQ(color[0], 11);
        EXPECT_EQ(color[2], 3);
        // 3x3 at (3, 2): red (20 + 30) * 2 + (1 + 2) * 2 = 106 over 4 is 26.5, rounded 27.
        ImageProbeColor(&image, 3, 2, 1, color);
        EXPECT_EQ(color[0], 27);
    }
}
