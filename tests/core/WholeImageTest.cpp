// Whole-picture operations: Copy with the picture's belongings, reduction to 8
// bits, mask area, and the coverage of the antialiased disc and rectangle.
#include <gtest/gtest.h>

#include <cstring>

#include "core/Memory.h"
#include "core/Progress.h"
#include "core/WholeImage.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"

// A window record holding a picture of type and size, with a pattern, a profile and a name.
static void MakeWindow(Picture *window, int type, int width, int height, int seed)
{
    memset(window, 0, sizeof *window);
    PictureMake(&window->image, type, width, height, seed);
    window->profile = (uint8_t *)MemoryAlloc(16);
    ASSERT_NE(window->profile, nullptr);
    for (int i = 0; i < 16; i++)
        window->profile[i] = (uint8_t)(i * 7 + seed);
    window->profileSize = 16;
    strcpy(window->fileName, "/pictures/scan.tif");
    window->fileType = 3;
}

static void FreeWindow(Picture *window)
{
    ImageFree(&window->image);
    MemoryRelease(&window->profile);
    FreeFileComments(&window->comments);
}

// Fills a picture with one value in every sample.
static void FillPicture(Image *image, int value)
{
    for (int y = 0; y < image->height; y++)
        for (int x = 0; x < image->width; x++)
            for (int c = 0; c < PictureChannels(image->type); c++)
                PictureSetSample(image, x, y, c, value);
}

TEST(WholeImage, CopyCarriesTheProfileAndOrigin)
{
    TestStart();
    Picture source, copy = {};
    MakeWindow(&source, TYPE_COLOR24, 9, 7, 4);
    ASSERT_EQ(WindowCopy(&source, &copy), ERROR_NONE);
    ExpectImagesNear(source.image, copy.image, 0);
    for (Picture *result : {&copy}) {
        ASSERT_EQ(result->profileSize, 16);
        EXPECT_EQ(memcmp(result->profile, source.profile, 16), 0);
        EXPECT_NE(result->profile, source.profile);
        EXPECT_STREQ(result->derivedFrom, "/pictures/scan.tif");
        EXPECT_EQ(result->fileType, 3);
        EXPECT_EQ(result->image.resolution, 72.0);
    }
    FreeWindow(&source);
    FreeWindow(&copy);
}

TEST(WholeImage, IllegalTypesGive14)
{
    TestStart();
    for (int type : {TYPE_EMPTY, TYPE_COLOR, TYPE_HISTOGRAM}) {
        SCOPED_TRACE(type);
        Picture source = {}, result = {};
        ASSERT_EQ(ImageAlloc(&source.image, type, 4, 4, 72.0), ERROR_NONE);
        EXPECT_EQ(WindowCopy(&source, &result), ERROR_ILLEGAL_TYPE);
        EXPECT_EQ(result.image.type, TYPE_EMPTY);
        FreeWindow(&source);
    }
    Image gray8, result = {};
    PictureMake(&gray8, TYPE_GRAY8, 4, 4, 1);
    EXPECT_EQ(ReduceGray16(&gray8, &result, 0), ERROR_ILLEGAL_TYPE);
    EXPECT_EQ(ReduceColor48(&gray8, &result, 0), ERROR_ILLEGAL_TYPE);
    ImageFree(&gray8);
}

TEST(WholeImage, ReductionGoesThroughTheDepthTable)
{
    TestStart();
    TestImage gray, color, result;
    PictureMake(&gray, TYPE_GRAY16, 4, 1, 0);
    int samples[4] = {0, 32767, 32768, 65535};
    for (int i = 0; i < 4; i++)
        PictureSetSample(&gray, i, 0, 0, samples[i]);
    ASSERT_EQ(ReduceGray16(&gray, &result, 0), ERROR_NONE);
    ASSERT_EQ(result.type, TYPE_GRAY8);
    int expected[4] = {0, 127, 128, 255};
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(PictureSample(result, i, 0, 0), expected[i]);

    PictureMake(&color, TYPE_COLOR48, 2, 1, 0);
    int colorSamples[6] = {0, 32767, 32768, 65535, 257, 256};
    for (int i = 0; i < 6; i++)
        PictureSetSample(&color, i / 3, 0, i % 3, colorSamples[i]);
    ASSERT_EQ(ReduceColor48(&color, &result, 0), ERROR_NONE);
    ASSERT_EQ(result.type, TYPE_COLOR24);
    // 257 is exactly 1; 256 is 0.996, which rounds to 1 as well.
    int colorExpected[6] = {0, 127, 128, 255, 1, 1};
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(PictureSample(result, i / 3, 0, i % 3), colorExpected[i]);
}

TEST(WholeImage, ReductionShowsProgressOnlyOnRequest)
{
    TestStart();
    TestImage source, result;
    PictureMake(&source, TYPE_COLOR48, 500, 200, 2);
    ASSERT_EQ(ReduceColor48(&source, &result, 0), ERROR_NONE);
    EXPECT_EQ(HeadlessProgressCount(), 0);
    ASSERT_EQ(ReduceColor48(&source, &result, 1), ERROR_NONE);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_STREQ(HeadlessProgressAt(0)->title, "Convert to 8-bit");
}

TEST(WholeImage, MaskAreaCountsCoverageInPixels)
{
    TestStart();
    TestImage mask;
    PictureMake(&mask, TYPE_GRAY8, 10, 10, 0);
    FillPicture(&mask, 255);
    EXPECT_DOUBLE_EQ(MaskArea(&mask), 100.0);
    FillPicture(&mask, 0);
    for (int x = 0; x < 10; x++)
        PictureSetSample(&mask, x, 4, 0, 51); // a fifth of a pixel each
    PictureSetSample(&mask, 3, 7, 0, 255);
    EXPECT_DOUBLE_EQ(MaskArea(&mask), 3.0);
}

TEST(WholeImage, MaskAreaOfALargeMaskIgnoresCancel)
{
    TestStart();
    TestImage mask;
    PictureMake(&mask, TYPE_GRAY8, 500, 200, 0);
    FillPicture(&mask, 255);
    HeadlessAbortAtPump(0);
    EXPECT_DOUBLE_EQ(MaskArea(&mask), 100000.0);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_STREQ(HeadlessProgressAt(0)->title, "Area");
    EXPECT_EQ(HeadlessProgressAt(0)->pumps, 200);
}

TEST(WholeImage, DiscCoverageIsCountedOnAFiveByFiveGrid)
{
    TestStart();
    TestImage image;
    PictureMake(&image, TYPE_GRAY8, 11, 11, 0);
    FillPicture(&image, 0);
    const uint8_t white[3] = {255, 255, 255};
    DrawDisc(&image, 5.0, 5.0, 1.0, white);
    // The centre holds all 25 points; an edge neighbour 11 (two columns of 5 and the middle
    // point of the third), 11 * 255 / 25 = 112; a corner 3, 3 * 255 / 25 = 30; further
    // pixels none.
    int expected[5][5] = {{0, 0, 0, 0, 0},
                          {0, 30, 112, 30, 0},
                          {0, 112, 255, 112, 0},
                          {0, 30, 112, 30, 0},
                          {0, 0, 0, 0, 0}};
    for (int y = 0; y < 11; y++)
        for (int x = 0; x < 11; x++) {
            int inBox = x >= 3 && x <= 7 && y >= 3 && y <= 7;
            ASSERT_EQ(PictureSample(image, x, y, 0), inBox ? expected[y - 3][x - 3] : 0)
                << x << "," << y;
        }

    // Blended with what was there: (11 * 255 + 14 * 100) / 25 = 168.2.
    FillPicture(&image, 100);
    DrawDisc(&image, 5.0, 5.0, 1.0, white);
    EXPECT_EQ(PictureSample(image, 6, 5, 0), 168);
    EXPECT_EQ(PictureSample(image, 7, 5, 0), 100);
}

TEST(WholeImage, DiscFillsItsInsideInEachTypeAndColor)
{
    TestStart();
    const uint8_t color[3] = {200, 10, 60}; // red, green, blue
    for (int type : {TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        TestImage image;
        PictureMake(&image, type, 30, 30, 0);
        FillPicture(&image, 0);
        DrawDisc(&image, 15.0, 14.0, 8.0, color);
        // Blue first in memory; gray pictures take the largest channel.
        int wide = type == TYPE_GRAY16 || type == TYPE_COLOR48;
        int scale = wide ? 257 : 1;
        if (PictureChannels(type) == 3) {
            EXPECT_EQ(PictureSample(image, 15, 14, 0), 60 * scale);
            EXPECT_EQ(PictureSample(image, 15, 14, 1), 10 * scale);
            EXPECT_EQ(PictureSample(image, 15, 14, 2), 200 * scale);
        } else {
            EXPECT_EQ(PictureSample(image, 15, 14, 0), 200 * scale);
        }
        EXPECT_EQ(PictureSample(image, 20, 18, 0), PictureSample(image, 15, 14, 0));
        EXPECT_EQ(PictureSample(image, 15, 24, 0), 0); // 10 rows up, beyond the band
        EXPECT_EQ(PictureSample(image, 0, 0, 0), 0);
    }
    // Binary pictures are left alone.
    TestImage binary;
    PictureMake(&binary, TYPE_BINARY, 16, 16, 3);
    TestImage before;
    ASSERT_EQ(ImageDuplicate(&binary, &before), ERROR_NONE);
    DrawDisc(&binary, 8.0, 8.0, 5.0, color);
    ExpectImagesNear(before, binary, 0);
}

TEST(WholeImage, DiscFarOutsideChangesNothing)
{
    TestStart();
    TestImage image, before;
    PictureMake(&image, TYPE_COLOR24, 20, 12, 9);
    ASSERT_EQ(ImageDuplicate(&image, &before), ERROR_NONE);
    const uint8_t white[3] = {255, 255, 255};
    double radius = 3.0;
    // Each centre lies further than radius + 1 outside one edge.
    double centres[][2] = {{-4.01, 5.0}, {-4.6, 5.0},  {23.01, 5.0}, {10.0, -4.2}, {10.0, 15.5},
                           {-5.0, -5.0}, {30.0, 30.0}, {-1e9, 3.0},  {1e12, 1e12}};
    for (const auto &centre : centres) {
        SCOPED_TRACE(testing::Message() << centre[0] << "," << centre[1]);
        DrawDisc(&image, centre[0], centre[1], radius, white);
        ExpectImagesNear(before, image, 0);
    }
    // Just inside that distance the edge pixels do change: 21 of the 25 points of pixel
    // (0, 5) lie within 3 of (-2.5, 5), and 21 * 255 / 25 = 214.2.
    PictureSetSample(&image, 0, 5, 0, 0);
    DrawDisc(&image, -2.5, 5.0, radius, white);
    EXPECT_EQ(PictureSample(image, 0, 5, 0), 214);
}

TEST(WholeImage, SmoothRectangleGivesEdgesTheirCoverage)
{
    TestStart();
    TestImage image;
    PictureMake(&image, TYPE_GRAY8, 10, 10, 0);
    image.resolution = 10.0; // ten pixels an inch
    FillPicture(&image, 0);
    const uint8_t color[3] = {200, 200, 200};
    // 2.5 to 7.5 pixels across, 2.5 to 5.0 down from the top.
    FillRectSmooth(&image, 0.25, 0.25, 0.75, 0.5, color);
    for (int top = 0; top < 10; top++) {
        int y = 9 - top; // row index
        for (int x = 0; x < 10; x++) {
            double coverX = x == 2 || x == 7 ? 0.5 : (x > 2 && x < 7 ? 1.0 : 0.0);
            double coverY = top == 2 ? 0.5 : (top == 3 || top == 4 ? 1.0 : 0.0);
            int expected = (int)(200 * coverX * coverY + 0.5);
            ASSERT_EQ(PictureSample(image, x, y, 0), expected) << x << "," << top;
        }
    }
    // Half of 255 over 0 is 127.5, which rounds away from zero.
    const uint8_t white[3] = {255, 255, 255};
    FillPicture(&image, 0);
    FillRectSmooth(&image, 0.05, 0.0, 0.1, 0.1, white);
    EXPECT_EQ(PictureSample(image, 0, 9, 0), 128);
    EXPECT_EQ(PictureSample(image, 1, 9, 0), 0);
}

TEST(WholeImage, SmoothRectangleIsLimitedToThePicture)
{
    TestStart();
    TestImage image;
    PictureMake(&image, TYPE_COLOR24, 8, 6, 0);
    image.resolution = 4.0;
    FillPicture(&image, 10);
    const uint8_t color[3] = {90, 80, 70};
    // Far past every edge: the whole picture, exactly covered.
    FillRectSmooth(&image, -3.0, -1.0, 100.0, 7.5, color);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 8; x++) {
            ASSERT_EQ(PictureSample(image, x, y, 0), 70);
            ASSERT_EQ(PictureSample(image, x, y, 2), 90);
        }
    // Empty, inverted, or wholly outside: nothing.
    FillPicture(&image, 10);
    FillRectSmooth(&image, 1.0, 0.5, 1.0, 1.0, color);
    FillRectSmooth(&image, 1.5, 0.5, 1.0, 1.0, color);
    FillRectSmooth(&image, 3.0, 0.0, 4.0, 1.0, color);
    for (int y = 0; y < 6; y++)
        for (int x = 0; x < 8; x++)
            ASSERT_EQ(PictureSample(image, x, y, 1), 10);
}

TEST(WholeImage, PicturesWithoutPixelsAreHandledWithoutReadingRows)
{
    TestStart();
    // A width of 0 leaves a gray record with a height but no rows.
    Picture source = {}, result = {};
    ASSERT_EQ(ImageAlloc(&source.image, TYPE_GRAY16, 0, 5, 72.0), ERROR_NONE);
    ASSERT_EQ(source.image.rows, nullptr);
    EXPECT_EQ(WindowCopy(&source, &result), ERROR_NONE);
    TestImage reduced;
    EXPECT_EQ(ReduceGray16(&source.image, &reduced, 1), ERROR_NONE);
    EXPECT_EQ(reduced.rows, nullptr);
    TestImage mask;
    ASSERT_EQ(ImageAlloc(&mask, TYPE_GRAY8, 0, 5, 72.0), ERROR_NONE);
    EXPECT_EQ(MaskArea(&mask), 0.0);
    const uint8_t white[3] = {255, 255, 255};
    DrawDisc(&source.image, 0.0, 2.0, 3.0, white);
    FillRectSmooth(&mask, 0.0, 0.0, 1.0, 1.0, white);
    FreeWindow(&source);
    FreeWindow(&result);
}
