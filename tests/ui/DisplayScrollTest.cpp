// Scrolling of picture and preview windows: the line and page steps, the strip that alone is
// rendered after a scroll, views after any run of scrolls that equal views made afresh, the
// preview's requests to its dialog, and the mouse wheel.
#include "tests/support/TestImage.h"
#include "tests/ui/DisplayTestSupport.h"

static uintptr_t WheelParam(uint32_t keys, int delta)
{
    return keys | ((uintptr_t)(uint16_t)(int16_t)delta << 16);
}

TEST_F(DisplayWindows, LineAndPageStepsAreAnEighthAndSevenEighthsOfTheView)
{
    ImageWindow *record;
    // A view of 160 by 100 on 1000 columns: range 840, a line of 20, a page of 140.
    WindowHandle window = Picture(TYPE_GRAY8, 1000, 100, 1, 192, 150, &record);
    ASSERT_EQ(record->viewWidth, 160);
    ASSERT_EQ(record->scrollRangeX, 840);
    struct Step {
        uint32_t code;
        int moved, position;
    } steps[] = {{SCROLL_TOP, 1, 0},       {SCROLL_LINE_DOWN, 1, 20},  {SCROLL_PAGE_DOWN, 1, 160},
                 {SCROLL_LINE_UP, 1, 140}, {SCROLL_PAGE_UP, 1, 0},     {SCROLL_PAGE_UP, 0, 0},
                 {SCROLL_BOTTOM, 1, 840},  {SCROLL_LINE_DOWN, 0, 840}, {SCROLL_END, 0, 840},
                 {SCROLL_PAGE_UP, 1, 700}};
    for (const Step &step : steps) {
        SCOPED_TRACE(step.code);
        EXPECT_EQ(PlatformSendMessage(window, MSG_HSCROLL, step.code, 0), step.moved);
        EXPECT_EQ(record->scrollLeft, step.position);
        EXPECT_EQ(record->sourceLeft, step.position);
        EXPECT_EQ(record->scrollRight, step.position + 159);
    }
    // Nothing moves on the axis without a range.
    EXPECT_EQ(PlatformSendMessage(window, MSG_VSCROLL, SCROLL_LINE_DOWN, 0), 0);
}

TEST_F(DisplayWindows, AStepNeverFallsShortOfABlock)
{
    ImageWindow *record;
    // A view 16 wide at zoom 4: an eighth is 2, which the rounding would take back to 0.
    WindowHandle window = Picture(TYPE_GRAY8, 100, 10, 4, 48, 100, &record);
    ASSERT_EQ(record->viewWidth, 16);
    PlatformSendMessage(window, MSG_HSCROLL, SCROLL_TOP, 0);
    EXPECT_EQ(PlatformSendMessage(window, MSG_HSCROLL, SCROLL_LINE_DOWN, 0), 1);
    EXPECT_EQ(record->scrollLeft, 4);
    EXPECT_EQ(record->sourceLeft, 1);
}

TEST_F(DisplayWindows, ScrollingRendersOnlyTheStripThatCameIntoView)
{
    ImageWindow *record;
    // A view of 184 by 184 on 300 by 400: lines of 23.
    WindowHandle window = Picture(TYPE_GRAY8, 300, 400, 1, 232, 232, &record);
    ASSERT_EQ(record->viewWidth, 184);
    ASSERT_EQ(record->viewHeight, 184);
    HeadlessPaint(window);
    // The picture changes without the view being told: what is rendered anew shows it.
    Image *picture = &record->picture.image;
    for (int y = 0; y < picture->height; y++)
        for (int x = 0; x < picture->width; x++)
            picture->rows[y][x] = (uint8_t)(255 - picture->rows[y][x]);

    struct Scroll {
        uint32_t message, code;
        int stripX0, stripX1, stripY0, stripY1; // view pixels, rows from the bottom
    } scrolls[] = {
        {MSG_VSCROLL, SCROLL_LINE_DOWN, 0, 183, 0, 22},   // new rows at the bottom
        {MSG_HSCROLL, SCROLL_LINE_UP, 0, 22, 0, 183},     // new columns at the left
        {MSG_HSCROLL, SCROLL_LINE_DOWN, 161, 183, 0, 183} // and at the right
    };
    for (const Scroll &scroll : scrolls) {
        SCOPED_TRACE(scroll.code);
        TestImage before;
        ASSERT_EQ(ImageDuplicate(&record->view, &before), ERROR_NONE);
        int oldLeft = record->sourceLeft, oldBase = picture->height - 1 - record->sourceBottom;
        ASSERT_EQ(PlatformSendMessage(window, scroll.message, scroll.code, 0), 1);
        int left = record->sourceLeft, base = picture->height - 1 - record->sourceBottom;
        for (int vy = 0; vy < 184; vy++)
            for (int vx = 0; vx < 184; vx++) {
                int inStrip = vx >= scroll.stripX0 && vx <= scroll.stripX1 &&
                              vy >= scroll.stripY0 && vy <= scroll.stripY1;
                int shown = record->view.rows[vy][vx];
                if (inStrip) {
                    ASSERT_EQ(shown, picture->rows[base + vy][left + vx]) << vx << "," << vy;
                } else {
                    // The rest moved with the window: the old view at the old place.
                    int ox = left + vx - oldLeft, oy = base + vy - oldBase;
                    ASSERT_EQ(shown, before.rows[oy][ox]) << vx << "," << vy;
                }
                ASSERT_EQ(ScreenColor(&record->screen, vx, 183 - vy), (uint32_t)shown * 0x010101);
            }
        ImageFree(&before);
        // The window's pixels show the screen.
        HeadlessPaint(window);
        const Image *canvas = HeadlessCanvas(window);
        for (int vy = 0; vy < 184; vy += 7)
            for (int vx = 0; vx < 184; vx += 5)
                ASSERT_EQ(CanvasColor(canvas, record->viewLeft + vx, record->viewTop + vy),
                          ScreenColor(&record->screen, vx, vy));
    }
}

TEST_F(DisplayWindows, ScrolledViewsEqualViewsMadeAfresh)
{
    struct Case {
        int type, zoom, smooth;
    } cases[] = {{TYPE_GRAY8, 1, 0},    {TYPE_COLOR48, 3, 0}, {TYPE_GRAY16, -2, 1},
                 {TYPE_COLOR24, -3, 0}, {TYPE_BINARY, 2, 0},  {TYPE_BINARY, -2, 0}};
    struct Step {
        uint32_t message, code;
        int thumb;
    } steps[] = {{MSG_VSCROLL, SCROLL_LINE_DOWN, 0},   {MSG_VSCROLL, SCROLL_LINE_DOWN, 0},
                 {MSG_HSCROLL, SCROLL_LINE_DOWN, 0},   {MSG_VSCROLL, SCROLL_BOTTOM, 0},
                 {MSG_VSCROLL, SCROLL_LINE_UP, 0},     {MSG_HSCROLL, SCROLL_PAGE_DOWN, 0},
                 {MSG_HSCROLL, SCROLL_LINE_UP, 0},     {MSG_HSCROLL, SCROLL_THUMB_TRACK, 7},
                 {MSG_VSCROLL, SCROLL_THUMB_TRACK, 5}, {MSG_HSCROLL, SCROLL_BOTTOM, 0},
                 {MSG_VSCROLL, SCROLL_LINE_UP, 0},     {MSG_VSCROLL, SCROLL_TOP, 0}};
    for (const Case &test : cases) {
        SCOPED_TRACE(testing::Message() << "type " << test.type << " zoom " << test.zoom);
        Prefs.smoothZoom = test.smooth;
        ImageWindow *record;
        // Odd sizes, so that reduced views end in cut blocks and magnified ones in cut rows;
        // a smaller window for reduced views, so that they too can scroll.
        int clientWidth = test.zoom > 0 ? 101 : 70, clientHeight = test.zoom > 0 ? 93 : 64;
        WindowHandle window =
            Picture(test.type, 157, 131, test.zoom, clientWidth, clientHeight, &record, 11);
        ASSERT_GT(record->scrollRangeX, 0);
        ASSERT_GT(record->scrollRangeY, 0);
        for (const Step &step : steps) {
            SCOPED_TRACE(testing::Message() << "scroll " << step.code << " at "
                                            << record->scrollLeft << "," << record->scrollTop);
            PlatformSendMessage(window, step.message, step.code | ((uintptr_t)step.thumb << 16), 0);
            ExpectFreshView(record, &record->picture.image, 1);
            // What the window shows equals a whole repaint.
            HeadlessPaint(window);
            TestImage shown;
            ASSERT_EQ(ImageDuplicate(HeadlessCanvas(window), &shown), ERROR_NONE);
            PlatformInvalidate(window, nullptr);
            HeadlessPaint(window);
            ExpectImagesNear(*HeadlessCanvas(window), shown, 0);
        }
        PlatformDestroyWindow(window);
    }
}

// A preview of the input at zoom, of kind 1 and client size, with its dialog.
static WindowHandle PreviewMake(DisplayWindows *fixture, const Image *input, int zoom,
                                int clientWidth, int clientHeight, ImageWindow **record)
{
    int slot;
    EXPECT_EQ(SlotAllocate(&slot, record), ERROR_NONE);
    (*record)->zoom = zoom;
    OutputWidth = input->width;
    OutputHeight = input->height;
    TestLog.input = input;
    return fixture->Bare(KIND_PREVIEW, "Preview", slot, clientWidth, clientHeight);
}

TEST_F(DisplayWindows, PreviewScrollAsksItsDialogForTheStripAlone)
{
    TestImage input;
    PictureMake(&input, TYPE_GRAY8, 300, 200, 4);
    WindowHandle dialog = Bare(TEST_KIND_DIALOG, "Dialog", -1, 100, 100);
    ImageWindow *record;
    // 600 by 400 at zoom 2 in a client of 95 by 120: a view of 47 by 72, odd in width.
    WindowHandle preview = PreviewMake(this, &input, 2, 95, 120, &record);
    ASSERT_EQ(record->viewWidth, 47);
    ASSERT_EQ(record->viewHeight, 72);
    ASSERT_EQ(record->scrollLeft, 276);
    PlatformSendMessage(dialog, MSG_PREVIEW_REGION, (uintptr_t)preview, 0);

    // A line is 47 / 8 = 5, raised to nothing more at zoom 2; 281 goes down to 280. The
    // strip starts at 47 - 4 = 43, which is odd: it is asked from 42.
    int regions = TestLog.regions;
    EXPECT_EQ(PlatformSendMessage(preview, MSG_HSCROLL, SCROLL_LINE_DOWN, 0), 1);
    EXPECT_EQ(record->scrollLeft, 280);
    EXPECT_EQ(TestLog.regions, regions + 1);
    EXPECT_FALSE(TestLog.lastWhole);
    EXPECT_EQ(TestLog.lastRegion.left, 42);
    EXPECT_EQ(TestLog.lastRegion.right, 46);
    EXPECT_EQ(TestLog.lastRegion.top, 0);
    EXPECT_EQ(TestLog.lastRegion.bottom, 71);
    ExpectFreshView(record, &input);

    // Up a line of 72 / 8 = 9: 164 - 9 = 155 goes down to 154, ten rows, which come in at
    // the top: rows 62 to 71 counted from the bottom.
    ASSERT_EQ(record->scrollTop, 164);
    EXPECT_EQ(PlatformSendMessage(preview, MSG_VSCROLL, SCROLL_LINE_UP, 0), 1);
    EXPECT_EQ(record->scrollTop, 154);
    EXPECT_EQ(TestLog.lastRegion.top, 62);
    EXPECT_EQ(TestLog.lastRegion.bottom, 71);
    EXPECT_EQ(TestLog.lastRegion.left, 0);
    EXPECT_EQ(TestLog.lastRegion.right, 46);
    ExpectFreshView(record, &input);

    // A jump past the view asks for the whole view.
    EXPECT_EQ(PlatformSendMessage(preview, MSG_HSCROLL, SCROLL_TOP, 0), 1);
    EXPECT_TRUE(TestLog.lastWhole);
    ExpectFreshView(record, &input);

    // A preview that is not current asks for the whole view even for a line.
    EXPECT_EQ(ScrollPreviewWindow(preview, record, MSG_HSCROLL, SCROLL_LINE_DOWN, dialog, 0), 1);
    EXPECT_TRUE(TestLog.lastWhole);
}

TEST_F(DisplayWindows, WheelScrollsByLinesAndZoomsWithControl)
{
    ImageWindow *record;
    // A view of 184 by 184 on 1000 by 1000: lines of 23, both positions 408.
    WindowHandle window = Picture(TYPE_GRAY8, 1000, 1000, 1, 232, 232, &record);
    ASSERT_EQ(record->scrollTop, 408);
    intptr_t pointer = MakeParam(50, 60);
    // Toward the user: down a line.
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, WheelParam(0, -120), pointer);
    EXPECT_EQ(record->scrollTop, 431);
    // With Shift, away from the user: left a line.
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, WheelParam(KEYS_SHIFT, 120), pointer);
    EXPECT_EQ(record->scrollLeft, 385);
    EXPECT_EQ(record->scrollTop, 431);
    // Half notches add up to a line.
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, WheelParam(0, -60), pointer);
    EXPECT_EQ(record->scrollTop, 431);
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, WheelParam(0, -60), pointer);
    EXPECT_EQ(record->scrollTop, 454);
    // Two notches at once, two lines.
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, WheelParam(0, -240), pointer);
    EXPECT_EQ(record->scrollTop, 500);

    // With Control the pixel under the pointer stays under it.
    for (int delta : {120, 120, -120, -120, -120}) {
        SCOPED_TRACE(delta);
        int before = record->zoom;
        int x0, y0, x1, y1;
        ClientToPicture(window, record, 70, 90, &x0, &y0);
        PlatformSendMessage(window, MSG_MOUSE_WHEEL, WheelParam(KEYS_CONTROL, delta),
                            MakeParam(70, 90));
        EXPECT_EQ(record->zoom, delta > 0 ? ZoomStepIn(before) : ZoomStepOut(before));
        ClientToPicture(window, record, 70, 90, &x1, &y1);
        // Within the block of the coarser zoom.
        int block = record->zoom < 0 ? -record->zoom : (before < 0 ? -before : 1);
        EXPECT_LE(abs(x1 - x0), block);
        EXPECT_LE(abs(y1 - y0), block);
        ExpectFreshView(record, &record->picture.image);
    }
}

TEST_F(DisplayWindows, WheelDoesNotZoomAPreview)
{
    TestImage input;
    PictureMake(&input, TYPE_GRAY8, 300, 200, 4);
    Bare(TEST_KIND_DIALOG, "Dialog", -1, 100, 100);
    ImageWindow *record;
    WindowHandle preview = PreviewMake(this, &input, 2, 95, 120, &record);
    PlatformSendMessage(preview, MSG_MOUSE_WHEEL, WheelParam(KEYS_CONTROL, 120), MakeParam(5, 5));
    EXPECT_EQ(record->zoom, 2);
    // The plain wheel scrolls it by its own rules.
    int top = record->scrollTop;
    int regions = TestLog.regions;
    PlatformSendMessage(preview, MSG_MOUSE_WHEEL, WheelParam(0, -120), MakeParam(5, 5));
    EXPECT_GT(record->scrollTop, top);
    EXPECT_EQ(TestLog.regions, regions + 1);
}
