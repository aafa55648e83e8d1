// Display rendering: each picture type at zoom 1, magnified and reduced, with and without
// smoothing, partial repaints, clamping at the picture's edge, and the mask overlay.
#include <gtest/gtest.h>
#include <iterator>
#include <vector>

#include "core/Preferences.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestImage.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "ui/Display.h"
#include "ui/ImageWindow.h"

// A mask window of width by height holding the samples of values, row 0 first.
static WindowHandle MaskWindowMake(int width, int height, const int *values, int *slot)
{
    ImageWindow *record = nullptr;
    EXPECT_EQ(SlotAllocate(slot, &record), ERROR_NONE);
    if (record == nullptr) return nullptr;
    EXPECT_EQ(ImageAlloc(&record->picture.image, TYPE_GRAY8, width, height, 72.0), ERROR_NONE);
    for (int i = 0; i < width * height; i++)
        record->picture.image.rows[i / width][i % width] = (uint8_t)values[i];
    record->window = HeadlessBareWindow(0, *slot, "Mask");
    return record->window;
}

static void MaskWindowFree(WindowHandle window, int slot)
{
    PlatformDestroyWindow(window);
    SlotFree(slot);
}

TEST(Display, EachTypeShowsItsPixelsAtZoomOneMagnifiedAndReduced)
{
    TestStart();
    // View pixel (x, y) shows picture pixel (left + x / zoom, top + y / zoom) magnified, and
    // (left + x * n, top + y * n) reduced by n without smoothing, which binary pictures never
    // take; 16-bit samples go through Depth16To8.
    struct Case {
        int zoom, smooth, width, height, left, top, viewWidth, viewHeight;
        std::vector<int> types;
    };
    const std::vector<int> all(std::begin(PICTURE_TYPES), std::end(PICTURE_TYPES));
    const Case cases[] = {
        {1, 0, 23, 17, 3, 2, 12, 9, all},
        // 17 by 13 view pixels from (4, 6): 6 by 5 picture pixels, the last ones cut.
        {3, 0, 20, 15, 4, 6, 17, 13, all},
        {-2, 0, 25, 19, 1, 2, 12, 8, all},
        {-3, 1, 40, 12, 0, 0, 14, 4, {TYPE_BINARY}},
    };
    for (const Case &test : cases)
        for (int type : test.types) {
            SCOPED_TRACE(testing::Message() << "type " << type << " zoom " << test.zoom);
            Prefs.smoothZoom = test.smooth;
            TestImage picture, expected;
            ImageWindow window;
            PictureMake(&picture, type, test.width, test.height, type + test.zoom);
            PreviewWindowSetUp(&window, picture, test.zoom, test.left, test.top, test.viewWidth,
                               test.viewHeight);
            ASSERT_EQ(RenderView(&picture, &window, 0, 0, test.viewWidth - 1, test.viewHeight - 1,
                                 test.zoom == 1),
                      ERROR_NONE);
            EXPECT_EQ(window.view.resolution, 100.0);
            EXPECT_EQ(window.screen.type, TYPE_COLOR24);
            EXPECT_EQ(window.screen.width, test.viewWidth);
            EXPECT_EQ(window.screen.height, test.viewHeight);
            int viewType = ViewType(type, 0);
            int wide = type == TYPE_GRAY16 || type == TYPE_COLOR48;
            ASSERT_EQ(ImageAlloc(&expected, viewType, test.viewWidth, test.viewHeight, 100.0),
                      ERROR_NONE);
            for (int y = 0; y < test.viewHeight; y++)
                for (int x = 0; x < test.viewWidth; x++)
                    for (int c = 0; c < PictureChannels(viewType); c++) {
                        int sx = test.zoom > 0 ? x / test.zoom : x * -test.zoom;
                        int sy = test.zoom > 0 ? y / test.zoom : y * -test.zoom;
                        int sample = PictureSample(picture, test.left + sx, test.top + sy, c);
                        PictureSetSample(&expected, x, y, c, wide ? Depth16To8[sample] : sample);
                    }
            ExpectImagesNear(expected, window.view, 0);
            PreviewWindowFree(&window);
        }
}

TEST(Display, MagnifiedPartStartsAtABlockAndKeepsTheRest)
{
    TestStart();
    TestImage picture;
    ImageWindow window;
    PictureMake(&picture, TYPE_GRAY8, 10, 10, 3);
    PreviewWindowSetUp(&window, picture, 3, 0, 0, 30, 30);
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 29, 29, 0), ERROR_NONE);
    uint8_t *firstRow = window.view.rows[0];
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 30; x++)
            PictureSetSample(&window.view, x, y, 0, 7);
    // Columns 10..13 and rows 4..5 asked: blocks from column 9 and row 3 are drawn.
    ASSERT_EQ(RenderView(&picture, &window, 10, 4, 13, 5, 0), ERROR_NONE);
    EXPECT_EQ(window.view.rows[0], firstRow);
    for (int y = 0; y < 30; y++)
        for (int x = 0; x < 30; x++) {
            int drawn = x >= 9 && x <= 13 && y >= 3 && y <= 5;
            int expected = drawn ? PictureSample(picture, x / 3, y / 3, 0) : 7;
            ASSERT_EQ(PictureSample(window.view, x, y, 0), expected) << x << "," << y;
        }
    PreviewWindowFree(&window);
}

TEST(Display, SmoothZoomTakesTheTruncatedMeanOfEachBlock)
{
    TestStart();
    Prefs.smoothZoom = 1;
    // One 2 by 2 block of each picture type, samples in pixel order (0,0) (1,0) (0,1) (1,1).
    struct Case {
        int type;
        int samples[4][3];
        int expected[3];
    } cases[] = {
        {TYPE_GRAY8, {{10}, {11}, {11}, {11}}, {10}}, // 43 / 4 = 10.75
        {TYPE_COLOR24, {{0, 100, 255}, {1, 100, 255}, {2, 101, 254}, {2, 102, 254}}, {1, 100, 254}},
        // The mean of 0, 0, 0, 700 is 175, shown as 1; reduced first they would give 0.
        {TYPE_GRAY16, {{0}, {0}, {0}, {700}}, {1}},
        {TYPE_COLOR48,
         {{0, 65535, 32768}, {0, 65535, 32767}, {0, 65535, 32767}, {700, 65535, 32767}},
         {1, 255, 127}},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(test.type);
        TestImage picture;
        ImageWindow window;
        ASSERT_EQ(ImageAlloc(&picture, test.type, 2, 2, 72.0), ERROR_NONE);
        for (int p = 0; p < 4; p++)
            for (int c = 0; c < PictureChannels(test.type); c++)
                PictureSetSample(&picture, p % 2, p / 2, c, test.samples[p][c]);
        PreviewWindowSetUp(&window, picture, -2, 0, 0, 1, 1);
        ASSERT_EQ(RenderView(&picture, &window, 0, 0, 0, 0, 0), ERROR_NONE);
        for (int c = 0; c < PictureChannels(test.type); c++)
            EXPECT_EQ(PictureSample(window.view, 0, 0, c), test.expected[c]) << "channel " << c;
        PreviewWindowFree(&window);
    }
}

TEST(Display, WidthFiveAtMinusTwoHasThreeColumnsAndAShortLastBlock)
{
    TestStart();
    TestImage picture;
    ASSERT_EQ(ImageAlloc(&picture, TYPE_GRAY8, 5, 3, 72.0), ERROR_NONE);
    // Rows from the bottom.
    int values[3][5] = {{0, 10, 20, 30, 40}, {2, 12, 22, 32, 41}, {100, 100, 100, 100, 100}};
    for (int y = 0; y < 3; y++)
        for (int x = 0; x < 5; x++)
            PictureSetSample(&picture, x, y, 0, values[y][x]);
    for (int smooth : {0, 1}) {
        SCOPED_TRACE(smooth);
        Prefs.smoothZoom = smooth;
        ImageWindow window;
        // (5 + 1) / 2 = 3 columns and (3 + 1) / 2 = 2 rows.
        PreviewWindowSetUp(&window, picture, -2, 0, 0, 3, 2);
        ASSERT_EQ(RenderView(&picture, &window, 0, 0, 2, 1, 0), ERROR_NONE);
        ASSERT_EQ(window.view.width, 3);
        // Smoothed: (0 + 10 + 2 + 12) / 4 = 6, (20 + 30 + 22 + 32) / 4 = 26, the last block
        // one column wide (40 + 41) / 2 = 40; the top row is a block of one row.
        int expected[2][2][3] = {{{0, 20, 40}, {100, 100, 100}}, {{6, 26, 40}, {100, 100, 100}}};
        for (int y = 0; y < 2; y++)
            for (int x = 0; x < 3; x++)
                EXPECT_EQ(PictureSample(window.view, x, y, 0), expected[smooth][y][x])
                    << x << "," << y;
        PreviewWindowFree(&window);
    }
}

TEST(Display, RowsAndColumnsPastThePictureRepeatItsEdge)
{
    TestStart();
    Prefs.smoothZoom = 0;
    TestImage picture;
    ImageWindow window;
    PictureMake(&picture, TYPE_GRAY8, 5, 5, 6);
    // A view one pixel larger each way than the picture at -2 fills: view row 3 would read
    // row 6 and column 3 column 6; both stop at the last of the picture.
    PreviewWindowSetUp(&window, picture, -2, 0, 0, 4, 4);
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 3, 3, 0), ERROR_NONE);
    for (int y = 0; y < 4; y++)
        for (int x = 0; x < 4; x++) {
            int sx = x * 2 < 4 ? x * 2 : 4;
            int sy = y * 2 < 4 ? y * 2 : 4;
            ASSERT_EQ(PictureSample(window.view, x, y, 0), PictureSample(picture, sx, sy, 0))
                << x << "," << y;
        }
    PreviewWindowFree(&window);
}

TEST(Display, PartialRenderDrawsOnlyItsRectangle)
{
    TestStart();
    TestImage picture;
    ImageWindow window;
    PictureMake(&picture, TYPE_COLOR48, 16, 16, 8);
    PreviewWindowSetUp(&window, picture, 1, 0, 0, 16, 16);
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 15, 15, 0), ERROR_NONE);
    uint8_t *firstRow = window.view.rows[0];
    for (int y = 0; y < 16; y++)
        for (int x = 0; x < 16; x++)
            for (int c = 0; c < 3; c++)
                PictureSetSample(&window.view, x, y, c, 33);
    ASSERT_EQ(RenderView(&picture, &window, 2, 5, 6, 9, 0), ERROR_NONE);
    EXPECT_EQ(window.view.rows[0], firstRow);
    for (int y = 0; y < 16; y++)
        for (int x = 0; x < 16; x++) {
            int inside = x >= 2 && x <= 6 && y >= 5 && y <= 9;
            int expected = inside ? Depth16To8[PictureSample(picture, x, y, 1)] : 33;
            ASSERT_EQ(PictureSample(window.view, x, y, 1), expected) << x << "," << y;
        }
    PreviewWindowFree(&window);
}

TEST(Display, TypesWithoutPixelsRenderNothing)
{
    TestStart();
    for (int type : {TYPE_EMPTY, TYPE_COLOR, TYPE_HISTOGRAM}) {
        SCOPED_TRACE(type);
        TestImage picture;
        ImageWindow window;
        ASSERT_EQ(ImageAlloc(&picture, type, 4, 4, 72.0), ERROR_NONE);
        PreviewWindowSetUp(&window, picture, 1, 0, 0, 4, 4);
        EXPECT_EQ(RenderView(&picture, &window, 0, 0, 3, 3, 0), ERROR_NONE);
        EXPECT_EQ(window.view.type, TYPE_EMPTY);
    }
}

TEST(Display, OverlayAlphaZeroKeepsTheGrayViewAndMinusOneShowsTheMask)
{
    TestStart();
    TestImage picture;
    PictureMake(&picture, TYPE_GRAY8, 4, 2, 2);
    int maskValues[8] = {0, 1, 128, 255, 17, 34, 51, 68};
    int slot;
    WindowHandle mask = MaskWindowMake(4, 2, maskValues, &slot);
    ImageWindow window;
    PreviewWindowSetUp(&window, picture, 1, 0, 0, 4, 2);
    window.overlayMask = mask;
    window.overlayAlpha = 0;
    window.overlayRed = 255;
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 3, 1, 0), ERROR_NONE);
    EXPECT_EQ(window.view.type, TYPE_GRAY8);
    ExpectImagesNear(picture, window.view, 0);

    window.overlayAlpha = -1;
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 3, 1, 0), ERROR_NONE);
    ASSERT_EQ(window.view.type, TYPE_COLOR24);
    for (int i = 0; i < 8; i++)
        for (int c = 0; c < 3; c++)
            EXPECT_EQ(PictureSample(window.view, i % 4, i / 4, c), maskValues[i]) << i;
    ImageFree(&picture);
    PreviewWindowFree(&window);
    MaskWindowFree(mask, slot);
}

TEST(Display, OverlayBlendsTowardItsColorByMaskAndAlpha)
{
    TestStart();
    TestImage picture;
    ASSERT_EQ(ImageAlloc(&picture, TYPE_GRAY16, 3, 1, 72.0), ERROR_NONE);
    for (int x = 0; x < 3; x++)
        PictureSetSample(&picture, x, 0, 0, 100 * 257); // shown as 100
    int maskValues[3] = {255, 0, 128};
    int slot;
    WindowHandle mask = MaskWindowMake(3, 1, maskValues, &slot);
    ImageWindow window;
    PreviewWindowSetUp(&window, picture, 1, 0, 0, 3, 1);
    window.overlayMask = mask;
    window.overlayAlpha = 128;
    window.overlayRed = 255;
    window.overlayGreen = 100;
    window.overlayBlue = 0;
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 2, 0, 0), ERROR_NONE);
    ASSERT_EQ(window.view.type, TYPE_COLOR24);
    // Mask 255: a = LerpTable[255][128] = 128. Red 100 + (155 * 128 + 127) / 255 = 178, blue
    // 100 - (100 * 128 + 127) / 255 = 50, green stays. Mask 128: a = (128 * 128 + 127) / 255
    // = 64; red 100 + (155 * 64 + 127) / 255 = 139, blue 100 - (6400 + 127) / 255 = 75.
    // Mask 0 leaves the gray.
    int expected[3][3] = {{50, 100, 178}, {100, 100, 100}, {75, 100, 139}}; // blue first
    for (int x = 0; x < 3; x++)
        for (int c = 0; c < 3; c++)
            EXPECT_EQ(PictureSample(window.view, x, 0, c), expected[x][c]) << x << "," << c;
    ImageFree(&picture);
    PreviewWindowFree(&window);
    MaskWindowFree(mask, slot);
}

TEST(Display, OverlayOnBinaryAndReducedPicturesReadsTheMaskAtTheSampledPixel)
{
    TestStart();
    Prefs.smoothZoom = 1;
    TestImage picture;
    ASSERT_EQ(ImageAlloc(&picture, TYPE_BINARY, 4, 2, 72.0), ERROR_NONE);
    for (int x = 0; x < 4; x++) {
        PictureSetSample(&picture, x, 0, 0, x % 2 == 0 ? 255 : 0);
        PictureSetSample(&picture, x, 1, 0, 0);
    }
    // Sampled pixels at -2 are (0, 0) and (2, 0); the others' mask values must not count.
    int maskValues[8] = {0, 255, 255, 255, 255, 255, 255, 255};
    int slot;
    WindowHandle mask = MaskWindowMake(4, 2, maskValues, &slot);
    ImageWindow window;
    PreviewWindowSetUp(&window, picture, -2, 0, 0, 2, 1);
    window.overlayMask = mask;
    window.overlayAlpha = -1;
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 1, 0, 0), ERROR_NONE);
    ASSERT_EQ(window.view.type, TYPE_COLOR24);
    EXPECT_EQ(PictureSample(window.view, 0, 0, 0), 0);
    EXPECT_EQ(PictureSample(window.view, 1, 0, 0), 255);
    // With alpha 255 the color replaces a set pixel where the mask is full.
    window.overlayAlpha = 255;
    window.overlayRed = 10;
    window.overlayGreen = 20;
    window.overlayBlue = 30;
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 1, 0, 0), ERROR_NONE);
    EXPECT_EQ(PictureSample(window.view, 0, 0, 0), 255); // mask 0: the white pixel
    EXPECT_EQ(PictureSample(window.view, 1, 0, 0), 30);
    EXPECT_EQ(PictureSample(window.view, 1, 0, 2), 10);
    ImageFree(&picture);
    PreviewWindowFree(&window);
    MaskWindowFree(mask, slot);
}

TEST(Display, SixteenBitValuesOnEachSideOfEveryStepShowAsTheDepthTableSays)
{
    TestStart();
    // The values on both sides of every step of the table, and the three channels of a color
    // picture shifted apart, at zoom 1 where runs of samples are converted together.
    std::vector<int> values = {0, 65535};
    for (int v = 1; v < 65536; v++) {
        if (Depth16To8[v] == Depth16To8[v - 1]) continue;
        values.push_back(v - 1);
        values.push_back(v);
    }
    int count = (int)values.size();
    for (int type : {TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        TestImage picture;
        ImageWindow window;
        int channels = PictureChannels(type);
        int width = 256 / channels + 1; // rows of odd lengths leave a tail to the plain loop
        int height = count / width + 1;
        ASSERT_EQ(ImageAlloc(&picture, type, width, height, 72.0), ERROR_NONE);
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++)
                for (int c = 0; c < channels; c++)
                    PictureSetSample(&picture, x, y, c,
                                     values[((y * width + x) * channels + c) % count]);
        PreviewWindowSetUp(&window, picture, 1, 0, 0, width, height);
        ASSERT_EQ(RenderView(&picture, &window, 0, 0, width - 1, height - 1, 0), ERROR_NONE);
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++)
                for (int c = 0; c < channels; c++)
                    ASSERT_EQ(PictureSample(window.view, x, y, c),
                              Depth16To8[PictureSample(picture, x, y, c)])
                        << x << "," << y << "," << c;
        PreviewWindowFree(&window);
    }
}

// The smoothed view pixel worked out plainly: the mean of the block from (sx, sy), cut at the
// picture's edge, truncated, and for 16 bits reduced after.
static int SmoothReference(const Image &picture, int sx, int sy, int n, int c)
{
    int64_t sum = 0, count = 0;
    for (int y = sy; y < sy + n && y < picture.height; y++)
        for (int x = sx; x < sx + n && x < picture.width; x++) {
            sum += PictureSample(picture, x, y, c);
            count++;
        }
    int mean = (int)(sum / count);
    int wide = picture.type == TYPE_GRAY16 || picture.type == TYPE_COLOR48;
    return wide ? Depth16To8[mean] : mean;
}

TEST(Display, ReductionsBeyond256KeepTheirSumsWhole)
{
    TestStart();
    Prefs.smoothZoom = 1;
    // 300 by 300 pixels near the top of the range sum to more than 32 bits hold.
    TestImage picture;
    ASSERT_EQ(ImageAlloc(&picture, TYPE_GRAY16, 700, 300, 72.0), ERROR_NONE);
    for (int y = 0; y < 300; y++)
        for (int x = 0; x < 700; x++)
            PictureSetSample(&picture, x, y, 0, 65535 - (x * 7 + y * 13) % 300);
    ImageWindow window;
    PreviewWindowSetUp(&window, picture, -300, 0, 0, 3, 1);
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 2, 0, 0), ERROR_NONE);
    for (int x = 0; x < 3; x++)
        EXPECT_EQ(PictureSample(window.view, x, 0, 0), SmoothReference(picture, x * 300, 0, 300, 0))
            << x;
    // Values of 65236 to 65535 have a mean near 65385, shown as 254; a sum cut to 32 bits
    // would have lost 2^32 / 90000, about 47722, from it.
    EXPECT_EQ(PictureSample(window.view, 0, 0, 0), 254);
    PreviewWindowFree(&window);
}

TEST(Display, APartIntoAStaleViewMakesTheWholeView)
{
    TestStart();
    TestImage picture;
    ImageWindow window;
    PictureMake(&picture, TYPE_COLOR24, 20, 10, 5);
    PreviewWindowSetUp(&window, picture, 1, 0, 0, 20, 10);
    ASSERT_EQ(RenderView(&picture, &window, 0, 0, 19, 9, 0), ERROR_NONE);
    // The window grew: the old view no longer fits, and a part asked for makes all of it.
    window.viewWidth = 20;
    window.viewHeight = 10;
    window.sourceBottom = 9;
    ImageFree(&window.view);
    ASSERT_EQ(ImageAlloc(&window.view, TYPE_COLOR24, 7, 3, 100.0), ERROR_NONE);
    ASSERT_EQ(RenderView(&picture, &window, 2, 2, 4, 4, 0), ERROR_NONE);
    ExpectImagesNear(picture, window.view, 0);
    EXPECT_EQ(window.screen.width, 20);
    PreviewWindowFree(&window);
}
