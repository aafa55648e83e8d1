// Zoom, layout and coordinates of picture windows: the zoom rule, the steps of LayoutWindow
// (grow, fit, scroll bars), the scroll ranges and their rounding, the centred view, the
// mapping between picture and client both ways, and the zoom commands on real windows.
#include "tests/ui/DisplayTestSupport.h"

TEST(DisplayZoom, StepsSkipZeroAndMinusOne)
{
    EXPECT_EQ(ZoomStepOut(1), -2);
    EXPECT_EQ(ZoomStepOut(-2), -3);
    EXPECT_EQ(ZoomStepIn(-2), 1);
    EXPECT_EQ(ZoomStepIn(-3), -2);
    EXPECT_EQ(ZoomStepIn(1), 2);
    EXPECT_EQ(ZoomStepOut(2), 1);
    // 0 and -1 are never set; should one arrive it counts as 1.
    EXPECT_EQ(ZoomStepIn(0), 2);
    EXPECT_EQ(ZoomStepOut(-1), -2);
    EXPECT_EQ(ZoomStepIn(ZOOM_MAX), ZOOM_MAX);
    EXPECT_EQ(ZoomStepOut(ZOOM_MIN), ZOOM_MIN);
    // Stepping in from the smallest zoom visits every permitted one up to the largest.
    int zoom = ZOOM_MIN, steps = 0;
    while (zoom != ZOOM_MAX && steps < 1000) {
        int next = ZoomStepIn(zoom);
        ASSERT_NE(next, 0);
        ASSERT_NE(next, -1);
        ASSERT_EQ(ZoomStepOut(next), zoom);
        zoom = next;
        steps++;
    }
    EXPECT_EQ(steps, ZOOM_MAX - ZOOM_MIN - 2);
}

TEST(DisplayZoom, ZoomedSizesRoundReductionsUp)
{
    struct Case {
        int size, zoom, zoomed;
    } cases[] = {{5, -2, 3},      {5, -3, 2},    {6, -2, 3}, {1, -256, 1},
                 {7, 1, 7},       {7, 3, 21},    {0, 4, 0},  {4000, -4, 1000},
                 {6000, -7, 858}, {100, -3, 34}, {5, 0, 5},  {5, -1, 5}};
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::Message() << test.size << " at " << test.zoom);
        EXPECT_EQ(ZoomedSize(test.size, test.zoom), test.zoomed);
    }
}

TEST_F(DisplayWindows, LayoutAddsScrollBarsInTurn)
{
    // A client of 200 by 150 with the border of 16 leaves 168 by 118; a bar takes 16.
    struct Case {
        int width, height;
        int viewWidth, viewHeight, rangeX, rangeY;
        int viewLeft, viewTop;
    } cases[] = {
        // Too wide: a horizontal bar, and the height still fits above it.
        {300, 100, 168, 100, 132, 0, 16, 17},
        // Too wide, and then too high for what the bar leaves: both.
        {300, 110, 152, 102, 148, 8, 16, 16},
        // Too high: a vertical bar, which makes it too wide: both.
        {160, 200, 152, 102, 8, 98, 16, 16},
        // Exactly the room: none.
        {168, 118, 168, 118, 0, 0, 16, 16},
        // One column more: both, since the horizontal bar takes the height.
        {169, 118, 152, 102, 17, 16, 16, 16},
    };
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::Message() << test.width << " x " << test.height);
        ImageWindow *record;
        WindowHandle window = Picture(TYPE_GRAY8, test.width, test.height, 1, 200, 150, &record);
        ASSERT_NE(window, nullptr);
        EXPECT_EQ(record->viewWidth, test.viewWidth);
        EXPECT_EQ(record->viewHeight, test.viewHeight);
        EXPECT_EQ(record->scrollRangeX, test.rangeX);
        EXPECT_EQ(record->scrollRangeY, test.rangeY);
        EXPECT_EQ(record->viewLeft, test.viewLeft);
        EXPECT_EQ(record->viewTop, test.viewTop);
        // A bar shows exactly when its range is not 0, with half the range as the first
        // position and the view as its page.
        int range, position, page;
        WindowHandle horizontal = (WindowHandle)PlatformGetWindowWord(window, WORD_HSCROLL);
        WindowHandle vertical = (WindowHandle)PlatformGetWindowWord(window, WORD_VSCROLL);
        EXPECT_EQ(HeadlessScrollBar(horizontal, &range, &position, &page), test.rangeX > 0);
        if (test.rangeX > 0) {
            EXPECT_EQ(range, test.rangeX);
            EXPECT_EQ(position, test.rangeX / 2);
            EXPECT_EQ(page, test.viewWidth);
            EXPECT_EQ(record->scrollLeft, test.rangeX / 2);
            EXPECT_EQ(record->sourceLeft, test.rangeX / 2);
            EXPECT_EQ(record->sourceRight, test.rangeX / 2 + test.viewWidth - 1);
        }
        EXPECT_EQ(HeadlessScrollBar(vertical, &range, &position, &page), test.rangeY > 0);
        if (test.rangeY > 0) {
            EXPECT_EQ(position, test.rangeY / 2);
        }
        PlatformDestroyWindow(window);
    }
}

TEST_F(DisplayWindows, GrowShrinksTheWindowAroundASmallerPicture)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 100, 80, 1, 200, 150, &record, 1, 50, 60);
    int sizes = TestLog.sizeMessages;
    EXPECT_EQ(LayoutWindow(window, record, 1, 0), 1);
    Rect rect;
    PlatformGetWindowRect(window, &rect);
    // 100 + 32 of border + 8 of frame; 80 + 32 + 28. It stays where it was.
    EXPECT_EQ(rect.left, 50);
    EXPECT_EQ(rect.top, 60);
    EXPECT_EQ(rect.right - rect.left, 140);
    EXPECT_EQ(rect.bottom - rect.top, 140);
    EXPECT_EQ(TestLog.sizeMessages, sizes + 1);
    EXPECT_EQ(record->viewWidth, 100);
    EXPECT_EQ(record->viewHeight, 80);
    // Now the picture fills the room exactly: nothing more to do.
    EXPECT_EQ(LayoutWindow(window, record, 1, 0), 0);
    EXPECT_EQ(TestLog.sizeMessages, sizes + 1);
}

TEST_F(DisplayWindows, FitGrowsTheWindowAsFarAsTheWorkspaceAllows)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 2000, 1500, 1, 300, 200, &record, 1, 300, 200);
    EXPECT_EQ(LayoutWindow(window, record, 0, 1), 1);
    Rect rect;
    PlatformGetWindowRect(window, &rect);
    // The limit is the workspace of 1600 by 1000 less frame and borders: 1560 by 940 of
    // picture, so the window fills the workspace and moves to its corner.
    EXPECT_EQ(rect.left, 0);
    EXPECT_EQ(rect.top, 0);
    EXPECT_EQ(rect.right, 1600);
    EXPECT_EQ(rect.bottom, 1000);
    // Both bars: 1560 - 16 by 940 - 16.
    EXPECT_EQ(record->viewWidth, 1544);
    EXPECT_EQ(record->viewHeight, 924);

    // A picture smaller than the workspace: the window takes its size, moved in as needed.
    ImageWindow *small;
    WindowHandle second = Picture(TYPE_GRAY8, 500, 400, 1, 300, 200, &small, 1, 1400, 900);
    EXPECT_EQ(LayoutWindow(second, small, 0, 1), 1);
    PlatformGetWindowRect(second, &rect);
    EXPECT_EQ(rect.right - rect.left, 540);
    EXPECT_EQ(rect.bottom - rect.top, 460);
    EXPECT_EQ(rect.left, 1060);
    EXPECT_EQ(rect.top, 540);
    EXPECT_EQ(small->viewWidth, 500);
    EXPECT_EQ(small->viewHeight, 400);
    EXPECT_EQ(small->scrollRangeX, 0);
}

TEST_F(DisplayWindows, MaximisedWindowKeepsItsSize)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 100, 80, 1, 200, 150, &record);
    PlatformShowWindow(window, SHOW_MAXIMIZED);
    Rect before, after;
    PlatformGetWindowRect(window, &before);
    EXPECT_EQ(LayoutWindow(window, record, 1, 1), 0);
    PlatformGetWindowRect(window, &after);
    EXPECT_EQ(after.left, before.left);
    EXPECT_EQ(after.right, before.right);
    EXPECT_EQ(after.bottom, before.bottom);
    EXPECT_EQ(record->viewWidth, 100);
    // Centred in the maximised client area of 1600 by 1000.
    CenterView(record, window);
    EXPECT_EQ(record->viewLeft, 750);
    EXPECT_EQ(record->viewTop, 460);
}

TEST_F(DisplayWindows, ScrollPositionsKeepTheirProportionOrCentreAPoint)
{
    ImageWindow *record;
    // 400 by 300 in a client of 200 by 150: both bars, a view of 152 by 102, ranges 248 by
    // 198, first positions 124 and 99.
    WindowHandle window = Picture(TYPE_GRAY8, 400, 300, 1, 200, 150, &record);
    ASSERT_EQ(record->scrollRangeX, 248);
    ASSERT_EQ(record->scrollTop, 99);
    record->scrollLeft = 62; // a quarter of the range

    // At zoom 2 the ranges are 648 and 498: 62 * 648 / 248 = 162, 99 * 498 / 198 = 249, which
    // is rounded down to the zoom: 248.
    record->zoom = 2;
    LayoutWindow(window, record, 0, 0);
    LayoutScroll(window, record, -1, -1);
    EXPECT_EQ(record->scrollRangeX, 648);
    EXPECT_EQ(record->scrollLeft, 162);
    EXPECT_EQ(record->scrollTop, 248);
    EXPECT_EQ(record->sourceLeft, 81);
    EXPECT_EQ(record->sourceTop, 124);
    EXPECT_EQ(record->sourceRight, (162 + 151) / 2);
    EXPECT_EQ(record->sourceBottom, (248 + 101) / 2);

    // A point comes to the middle: column 100 at 200 less half the view, 76: 124. Row 200
    // from the bottom is 99 from the top: 198 - 51 = 147, rounded down to 146.
    LayoutScroll(window, record, 100, 200);
    EXPECT_EQ(record->scrollLeft, 124);
    EXPECT_EQ(record->scrollTop, 146);
    EXPECT_EQ(record->sourceLeft, 62);
    EXPECT_EQ(record->sourceTop, 73);
    int range, position, page;
    HeadlessScrollBar((WindowHandle)PlatformGetWindowWord(window, WORD_VSCROLL), &range, &position,
                      &page);
    EXPECT_EQ(range, 498);
    EXPECT_EQ(position, 146);

    // A point near the end stops at the range.
    LayoutScroll(window, record, 399, 0);
    EXPECT_EQ(record->scrollLeft, 648);
    EXPECT_EQ(record->scrollTop, 498);
    EXPECT_EQ(record->sourceRight, 399);
    EXPECT_EQ(record->sourceBottom, 299);
}

TEST_F(DisplayWindows, PositionsAtZoomThreeAreMultiplesOfThree)
{
    ImageWindow *record;
    // 300 by 300 zoomed in a client of 200 by 150: a view of 152 by 102, ranges 148 and 198;
    // half of 148 is 74, rounded down to 72.
    WindowHandle window = Picture(TYPE_GRAY8, 100, 100, 3, 200, 150, &record);
    EXPECT_EQ(record->scrollRangeX, 148);
    EXPECT_EQ(record->scrollLeft, 72);
    EXPECT_EQ(record->scrollTop, 99);
    EXPECT_EQ(record->sourceLeft, 24);
    EXPECT_EQ(record->sourceRight, (72 + 151) / 3);

    // A thumb dragged to 10 scrolls to 9.
    WindowHandle bar = (WindowHandle)PlatformGetWindowWord(window, WORD_HSCROLL);
    HeadlessScroll(bar, SCROLL_THUMB_TRACK, 10);
    EXPECT_EQ(record->scrollLeft, 9);
    EXPECT_EQ(record->sourceLeft, 3);
    int range, position, page;
    HeadlessScrollBar(bar, &range, &position, &page);
    EXPECT_EQ(position, 9);
    // 11 is 9 again: nothing moves.
    EXPECT_EQ(
        PlatformSendMessage(window, MSG_HSCROLL, SCROLL_THUMB_TRACK | (11 << 16), (intptr_t)bar),
        0);
    HeadlessScroll(bar, SCROLL_THUMB_POSITION, 12);
    EXPECT_EQ(record->scrollLeft, 12);
}

TEST_F(DisplayWindows, AReducedViewCutsItsLastBlockAtThePicture)
{
    ImageWindow *record;
    // 101 columns at -2 are 51 view columns; a client 52 wide leaves 20 of them: range 31.
    WindowHandle window = Picture(TYPE_GRAY8, 101, 50, -2, 52, 100, &record);
    ASSERT_EQ(record->viewWidth, 20);
    ASSERT_EQ(record->scrollRangeX, 31);
    PlatformSendMessage(window, MSG_HSCROLL, SCROLL_BOTTOM, 0);
    EXPECT_EQ(record->scrollLeft, 31);
    EXPECT_EQ(record->sourceLeft, 62);
    EXPECT_EQ(record->sourceRight, 100); // the block of view column 50 is column 100 alone
    EXPECT_EQ(record->sourceBottom, 49);
}

TEST_F(DisplayWindows, LongRangesAreScaledOntoTheBar)
{
    ImageWindow *record;
    // 10000 columns at zoom 4: a range of 40000 - 184, too long for a message's 16 bits.
    WindowHandle window = Picture(TYPE_GRAY8, 10000, 20, 4, 232, 232, &record);
    int range = 0, position, page;
    WindowHandle bar = (WindowHandle)PlatformGetWindowWord(window, WORD_HSCROLL);
    ASSERT_TRUE(HeadlessScrollBar(bar, &range, &position, &page));
    EXPECT_EQ(record->scrollRangeX, 40000 - record->viewWidth);
    EXPECT_EQ(range, 32767);
    EXPECT_EQ(position, (int)((int64_t)record->scrollLeft * 32767 / record->scrollRangeX));
    // The thumb at the bar's end reaches the picture's end, rounded down to the zoom.
    HeadlessScroll(bar, SCROLL_THUMB_POSITION, 32767);
    EXPECT_EQ(record->scrollLeft, record->scrollRangeX - record->scrollRangeX % 4);
    HeadlessScroll(bar, SCROLL_THUMB_POSITION, 0);
    EXPECT_EQ(record->scrollLeft, 0);
}

TEST_F(DisplayWindows, CentringLeavesOutTheBars)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 300, 100, 1, 200, 150, &record);
    // A horizontal bar only: the height less 16, (134 - 100) / 2.
    EXPECT_EQ(record->viewTop, 17);
    EXPECT_EQ(record->viewLeft, 16);
    // A view larger than the client is not centred into negative places.
    record->viewWidth = 500;
    CenterView(record, window);
    EXPECT_EQ(record->viewLeft, 0);
}

// A record on a window that gets no messages, laid out by hand, for the mapping.
static ImageWindow *MappingRecord(int width, int height, int zoom, int sourceLeft, int sourceTop,
                                  int viewLeft, int viewTop, int viewHeight, WindowHandle *window)
{
    int slot;
    ImageWindow *record = nullptr;
    EXPECT_EQ(SlotAllocate(&slot, &record), ERROR_NONE);
    EXPECT_EQ(ImageAlloc(&record->picture.image, TYPE_GRAY8, width, height, 72.0), ERROR_NONE);
    record->zoom = zoom;
    record->sourceLeft = sourceLeft;
    record->sourceTop = sourceTop;
    record->viewLeft = viewLeft;
    record->viewTop = viewTop;
    record->viewWidth = 50;
    record->viewHeight = viewHeight;
    *window = HeadlessBareWindow(KIND_IMAGE, slot, "Mapping");
    return record;
}

TEST_F(DisplayWindows, MappingWorkedOutByHand)
{
    WindowHandle window;
    int cx, cy, x, y;
    // Zoom 1: a plain offset. Row 70 of 80 from the bottom is row 9 from the top.
    ImageWindow *one = MappingRecord(100, 80, 1, 10, 5, 16, 16, 50, &window);
    PictureToClient(window, one, 12, 70, &cx, &cy);
    EXPECT_EQ(cx, 18);
    EXPECT_EQ(cy, 20);
    ClientToPicture(window, one, 18, 20, &x, &y);
    EXPECT_EQ(x, 12);
    EXPECT_EQ(y, 70);

    // Zoom 3 with a view 11 rows high: (11 - 1) mod 3 = 1. Across, the middle of the block:
    // (5 - 4) * 3 + 1 = 4. Down, row 3 from the top: (3 - 2) * 3 - 1 + 1 = 3, where a mirror
    // of the horizontal rule would give 4.
    ImageWindow *three = MappingRecord(40, 20, 3, 4, 2, 0, 0, 11, &window);
    PictureToClient(window, three, 5, 16, &cx, &cy);
    EXPECT_EQ(cx, 4);
    EXPECT_EQ(cy, 3);
    ClientToPicture(window, three, 4, 3, &x, &y);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 16);
    // Zoom 2 with a view 10 rows high: 1 * 2 - 1 + 1 = 2, the mirror would give 3.
    ImageWindow *two = MappingRecord(40, 20, 2, 0, 4, 0, 0, 10, &window);
    PictureToClient(window, two, 0, 20 - 1 - 5, &cx, &cy);
    EXPECT_EQ(cx, 1);
    EXPECT_EQ(cy, 2);

    // Zoom -3: (16 - 9) / 3 = 2 and (12 - 6) / 3 = 2. A point left of the source falls left
    // of the view, not on its first column.
    ImageWindow *reduced = MappingRecord(60, 40, -3, 9, 6, 5, 7, 10, &window);
    PictureToClient(window, reduced, 16, 40 - 1 - 12, &cx, &cy);
    EXPECT_EQ(cx, 7);
    EXPECT_EQ(cy, 9);
    PictureToClient(window, reduced, 8, 40 - 1 - 12, &cx, &cy);
    EXPECT_EQ(cx, 4);
    ClientToPicture(window, reduced, 7, 9, &x, &y);
    EXPECT_EQ(x, 15);          // the block's first column
    EXPECT_EQ(y, 40 - 1 - 12); // and first row

    // The way back clamps to the picture.
    ClientToPicture(window, reduced, -1000, -1000, &x, &y);
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 39);
    ClientToPicture(window, reduced, 10000, 10000, &x, &y);
    EXPECT_EQ(x, 59);
    EXPECT_EQ(y, 0);
}

// The picture pixel (x, row) shows as blue x, green its row from the top, red 7.
static void CoordinatePicture(Image *picture)
{
    for (int row = 0; row < picture->height; row++)
        for (int x = 0; x < picture->width; x++) {
            uint8_t *pixel = picture->rows[row] + 3 * x;
            pixel[0] = (uint8_t)x;
            pixel[1] = (uint8_t)(picture->height - 1 - row);
            pixel[2] = 7;
        }
}

TEST_F(DisplayWindows, ClientToPictureFindsThePixelTheViewShows)
{
    Prefs.smoothZoom = 0;
    // One to one, magnified and reduced, each at an even and an odd zoom.
    for (int zoom : {1, 2, 3, -2, -3}) {
        SCOPED_TRACE(zoom);
        ImageWindow *record;
        // A client of 101 by 97: views with heights that are not multiples of the zoom.
        WindowHandle window = Picture(TYPE_COLOR24, 120, 90, zoom, 101, 97, &record);
        CoordinatePicture(&record->picture.image);
        // Somewhere inside the picture, at positions the scroll code allows.
        if (record->scrollRangeX > 0) PlatformSendMessage(window, MSG_HSCROLL, SCROLL_LINE_DOWN, 0);
        if (record->scrollRangeY > 0) PlatformSendMessage(window, MSG_VSCROLL, SCROLL_PAGE_DOWN, 0);
        ASSERT_EQ(RefreshView(record), ERROR_NONE);
        int n = zoom < 0 ? -zoom : 1;
        for (int vy = 0; vy < record->viewHeight; vy++)
            for (int vx = 0; vx < record->viewWidth; vx++) {
                int cx = record->viewLeft + vx, cy = record->viewTop + vy, x, y;
                ClientToPicture(window, record, cx, cy, &x, &y);
                const uint8_t *shown = record->view.rows[record->viewHeight - 1 - vy] + 3 * vx;
                int row = record->picture.image.height - 1 - y; // from the top
                ASSERT_EQ(shown[0], x) << vx << "," << vy;
                // A reduced view samples a row of the block that starts there.
                ASSERT_GE(shown[1], row) << vx << "," << vy;
                ASSERT_LE(shown[1], row + n - 1) << vx << "," << vy;
                // And the way there comes back to the client pixel: exactly when reduced, to
                // the same block when magnified.
                int bx, by;
                PictureToClient(window, record, x, y, &bx, &by);
                if (zoom < 0) {
                    ASSERT_EQ(bx, cx);
                    ASSERT_EQ(by, cy);
                } else {
                    int px, py;
                    ClientToPicture(window, record, bx, by, &px, &py);
                    ASSERT_EQ(px, x);
                    ASSERT_EQ(py, y);
                }
            }
        PlatformDestroyWindow(window);
    }
}

TEST_F(DisplayWindows, ZoomOutFromOneGoesToMinusTwoThenMinusThree)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 400, 300, 1, 200, 150, &record);
    Rect before, after;
    PlatformGetWindowRect(window, &before);
    HeadlessPaint(window);
    ZoomOut(window, record, 0);
    EXPECT_EQ(record->zoom, -2);
    // 200 by 150 in 168 by 118: both bars, 152 by 102.
    EXPECT_EQ(record->viewWidth, 152);
    EXPECT_EQ(record->viewHeight, 102);
    EXPECT_EQ(record->view.width, 152);
    PlatformGetWindowRect(window, &after);
    EXPECT_EQ(after.right - after.left, before.right - before.left);
    Rect invalid;
    ASSERT_TRUE(HeadlessInvalid(window, &invalid));
    EXPECT_EQ(invalid.right, 200);
    EXPECT_EQ(invalid.bottom, 150);

    ZoomOut(window, record, 0);
    EXPECT_EQ(record->zoom, -3);
    // 134 by 100 fit: no bars.
    EXPECT_EQ(record->viewWidth, 134);
    EXPECT_EQ(record->viewHeight, 100);
    EXPECT_EQ(record->scrollRangeX, 0);
    ExpectFreshView(record, &record->picture.image);

    ZoomIn(window, record, 0, -1, -1);
    EXPECT_EQ(record->zoom, -2);
    ZoomIn(window, record, 0, -1, -1);
    EXPECT_EQ(record->zoom, 1);
}

TEST_F(DisplayWindows, ZoomInBringsThePointToTheMiddle)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_COLOR24, 400, 300, 1, 300, 250, &record);
    int px, py;
    ClientToPicture(window, record, 100, 80, &px, &py);
    ZoomIn(window, record, 0, 100, 80);
    EXPECT_EQ(record->zoom, 2);
    int mx, my;
    ClientToPicture(window, record, record->viewLeft + record->viewWidth / 2,
                    record->viewTop + record->viewHeight / 2, &mx, &my);
    // Positions go down to a block's start, which may cost one pixel.
    EXPECT_LE(abs(mx - px), 1);
    EXPECT_LE(abs(my - py), 1);
}

TEST_F(DisplayWindows, ZoomWithResizeGrowsAndShrinksTheWindow)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 100, 80, 1, 200, 150, &record, 3, 40, 30);
    int sizes = TestLog.sizeMessages;
    ZoomIn(window, record, 1, -1, -1);
    EXPECT_EQ(record->zoom, 2);
    Rect rect;
    PlatformGetWindowRect(window, &rect);
    EXPECT_EQ(rect.left, 40);
    EXPECT_EQ(rect.right - rect.left, 200 + 32 + 8);
    EXPECT_EQ(rect.bottom - rect.top, 160 + 32 + 28);
    EXPECT_EQ(TestLog.sizeMessages, sizes + 1);
    EXPECT_EQ(record->viewWidth, 200);
    EXPECT_EQ(record->viewHeight, 160);
    EXPECT_EQ(record->scrollRangeX, 0);
    ExpectFreshView(record, &record->picture.image);

    ZoomOneToOne(window, record, 1, -1, -1);
    EXPECT_EQ(record->zoom, 1);
    PlatformGetWindowRect(window, &rect);
    EXPECT_EQ(rect.right - rect.left, 140);
    EXPECT_EQ(rect.bottom - rect.top, 140);
    EXPECT_EQ(record->viewWidth, 100);
}

TEST_F(DisplayWindows, ZoomOneToOneAtOneDoesNothing)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 400, 300, 1, 200, 150, &record);
    HeadlessPaint(window);
    uint8_t *rows = record->view.rows[0];
    ZoomOneToOne(window, record, 1, 10, 10);
    Rect invalid;
    EXPECT_FALSE(HeadlessInvalid(window, &invalid));
    EXPECT_EQ(record->view.rows[0], rows);
}

TEST_F(DisplayWindows, SetZoomTakesOnlyPermittedZooms)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 60, 40, 1, 200, 150, &record);
    // A client of 200 by 150 leaves 168 by 118, and 152 by 102 beside two bars.
    struct Case {
        int asked, set, viewWidth;
    } cases[] = {{-5, -5, 12},         {0, 1, 60},           {-1, 1, 60},
                 {100, ZOOM_MAX, 152}, {-1000, ZOOM_MIN, 1}, {7, 7, 152}};
    for (const Case &test : cases) {
        SCOPED_TRACE(test.asked);
        SetZoom(window, record, test.asked, 0);
        EXPECT_EQ(record->zoom, test.set);
        EXPECT_EQ(record->viewWidth, test.viewWidth);
        EXPECT_EQ(record->view.width, test.viewWidth);
    }
}

TEST_F(DisplayWindows, FitClientStepsOutUntilThePictureFits)
{
    ImageWindow *record;
    WindowHandle window = Picture(TYPE_GRAY8, 3000, 2000, 1, 300, 200, &record, 1, 100, 100);
    // At 1 and -2 the picture with border and frame is too large for 1600 by 1000; at -3 it
    // is 1000 by 667.
    ZoomToFitClient(window, record, PlatformWorkspace(), 1);
    EXPECT_EQ(record->zoom, -3);
    Rect rect;
    PlatformGetWindowRect(window, &rect);
    EXPECT_EQ(rect.left, 100);
    EXPECT_EQ(rect.top, 100);
    EXPECT_EQ(rect.right - rect.left, 1000 + 32 + 8);
    EXPECT_EQ(rect.bottom - rect.top, 667 + 32 + 28);
    EXPECT_EQ(record->viewWidth, 1000);
    EXPECT_EQ(record->viewHeight, 667);
    EXPECT_EQ(record->scrollRangeX, 0);
    EXPECT_EQ(record->scrollRangeY, 0);
    // From zoom 2 it steps out through 1 and -2 to the same.
    SetZoom(window, record, 2, 0);
    ZoomToFitClient(window, record, PlatformWorkspace(), 0);
    EXPECT_EQ(record->zoom, -3);

    // A small picture fits at 1 from one, and stays at its zoom from there.
    ImageWindow *small;
    WindowHandle second = Picture(TYPE_GRAY8, 200, 100, -8, 300, 200, &small);
    ZoomToFitClient(second, small, PlatformWorkspace(), 1);
    EXPECT_EQ(small->zoom, 1);
    PlatformGetWindowRect(second, &rect);
    EXPECT_EQ(rect.right - rect.left, 240);
    EXPECT_EQ(rect.bottom - rect.top, 160);
    SetZoom(second, small, -8, 0);
    ZoomToFitClient(second, small, PlatformWorkspace(), 0);
    EXPECT_EQ(small->zoom, -8);
}

TEST_F(DisplayWindows, FitClientBringsAWindowThatFitsAlreadyWhollyIntoTheWorkspace)
{
    // The zoom is the one that fits and the window has the size that goes with it, but it
    // stands half out of the workspace: the command brings all of it into view.
    ImageWindow *record;
    WindowHandle window =
        Picture(TYPE_GRAY8, 3000, 2000, -3, 1000 + 32, 667 + 32, &record, 1, 900, 600);
    Rect rect;
    PlatformGetWindowRect(window, &rect);
    ASSERT_GT(rect.right, 1600);
    ZoomToFitClient(window, record, PlatformWorkspace(), 0);
    EXPECT_EQ(record->zoom, -3);
    PlatformGetWindowRect(window, &rect);
    EXPECT_EQ(rect.left, 1600 - 1040);
    EXPECT_EQ(rect.top, 1000 - 727);
    EXPECT_EQ(rect.right, 1600);
    EXPECT_EQ(rect.bottom, 1000);
    EXPECT_EQ(record->viewWidth, 1000);
    EXPECT_EQ(record->viewHeight, 667);
}
