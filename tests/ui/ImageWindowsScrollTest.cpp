// Scrolling an image window through its scroll bars: the rounding to the zoom, and the
// users of the picture told of each move.
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"

using ImageWindowScroll = ShellTest;

TEST_F(ImageWindowScroll, AThumbDragToTenScrollsToNineAtZoomThree)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 400, 300);
    ImageWindow *record = WindowRecord(window);
    record->zoom = 3;
    ImageWindowLayout(window);
    WindowHandle across = (WindowHandle)PlatformGetWindowWord(window, WORD_HSCROLL);
    ASSERT_GT(record->scrollRangeX, 10);
    HeadlessScroll(across, SCROLL_THUMB_POSITION, 10);
    EXPECT_EQ(record->scrollLeft, 9);
    EXPECT_EQ(record->sourceLeft, 3);
    int range, position, page;
    EXPECT_TRUE(HeadlessScrollBar(across, &range, &position, &page));
    EXPECT_EQ(position, 9);
    HeadlessScroll(across, SCROLL_THUMB_POSITION, 11);
    EXPECT_EQ(record->scrollLeft, 9);
    HeadlessScroll(across, SCROLL_THUMB_POSITION, 12);
    EXPECT_EQ(record->scrollLeft, 12);
    EXPECT_EQ(record->sourceLeft, 4);

    // The view shows it: its first three columns are picture column 4, the next three column
    // 5, in the bottom row's block (row 0 of the view is the picture's row below the source).
    int row = record->picture.image.height - 1 - record->sourceBottom;
    const uint8_t *picture = record->picture.image.rows[row];
    const uint8_t *view = record->view.rows[0];
    for (int x = 0; x < 6; x++)
        EXPECT_EQ(view[x], picture[4 + x / 3]) << "view column " << x;
}

TEST_F(ImageWindowScroll, UsersHearOfAScrollOnlyWhenThePositionMoved)
{
    WindowHandle window = MakePicture(TYPE_GRAY8, 2000, 1500);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, window, "Gamma Adjust", 1), ERROR_NONE);
    WindowHandle down = (WindowHandle)PlatformGetWindowWord(window, WORD_VSCROLL);
    HeadlessScroll(down, SCROLL_TOP, 0); // the picture opens at its middle
    ASSERT_EQ(WindowRecord(window)->scrollTop, 0);
    Recorded().clear();
    HeadlessScroll(down, SCROLL_LINE_UP, 0); // already at the top: nothing moves
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 0);
    HeadlessScroll(down, SCROLL_LINE_DOWN, 0);
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 1);
    EXPECT_GT(WindowRecord(window)->scrollTop, 0);
}

TEST_F(ImageWindowScroll, TheWheelScrollsByLinesThroughTheWindowsOwnScrolling)
{
    // The view is 344 x 324 (see the key test), so a line is 40 down.
    WindowHandle window = MakePicture(TYPE_GRAY8, 2000, 1500);
    ImageWindow *record = WindowRecord(window);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, window, "Gamma Adjust", 1), ERROR_NONE);
    PlatformSendMessage(window, MSG_KEY_DOWN, KEY_HOME, KEYS_CONTROL);
    Recorded().clear();

    // A notch toward the user shows what lies below, and the window's users hear of it (the
    // steps of the wheel itself are tested in DisplayScrollTest).
    PlatformSendMessage(window, MSG_MOUSE_WHEEL, (uintptr_t)(uint16_t)-120 << 16, 0);
    EXPECT_EQ(record->scrollTop, 40);
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 1);
    EXPECT_EQ(record->zoom, 1);
}

TEST_F(ImageWindowScroll, TheBarsShowTheRangeThePositionAndTheViewAsTheirPage)
{
    // The bar runs over 0..range with the view as its page, so that its thumb is as long
    // against the bar as the view against the zoomed picture, and stands where the view
    // stands. A range too long for a message's 16 bits is scaled, and the thumb at the bar's
    // end still reaches the picture's end.
    struct Case {
        int width, zoom, range, position, page;
    } cases[] = {
        {900, 2, 1456, 728, 344},     // 1800 zoomed in a view of 344, centred
        {6000, 8, 32767, 16380, 236}, // range 47656, the middle 23824, scaled by 32767 / 47656
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.zoom);
        DestroyAllChildren();
        WindowHandle window = MakePicture(TYPE_GRAY8, c.width, 600);
        ImageWindow *record = WindowRecord(window);
        record->zoom = c.zoom;
        ImageWindowLayout(window);
        WindowHandle across = (WindowHandle)PlatformGetWindowWord(window, WORD_HSCROLL);
        int range, position, page;
        EXPECT_TRUE(HeadlessScrollBar(across, &range, &position, &page));
        EXPECT_EQ(range, c.range);
        EXPECT_EQ(position, c.position);
        EXPECT_EQ(page, c.page);
        HeadlessScroll(across, SCROLL_THUMB_TRACK, range);
        EXPECT_EQ(record->scrollLeft, record->scrollRangeX);
        EXPECT_EQ(record->sourceRight, c.width - 1);
        HeadlessScroll(across, SCROLL_THUMB_TRACK, 0);
        EXPECT_EQ(record->scrollLeft, 0);
    }
}
