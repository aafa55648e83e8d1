// The progress window's arithmetic: bar, time left and Cancel, with the headless clock fixed.
//
// Headless metrics: margin 8, button height 24, line height 16, dialog border 30, frame 6,
// 7 pixels a character. The client area is 300 pixels wide.
#include "ui/ProgressWindow.h"

#include <gtest/gtest.h>

#include "core/Progress.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestSupport.h"

static void ExpectRect(const Rect &rect, int left, int top, int right, int bottom)
{
    EXPECT_EQ(rect.left, left);
    EXPECT_EQ(rect.top, top);
    EXPECT_EQ(rect.right, right);
    EXPECT_EQ(rect.bottom, bottom);
}

TEST(Progress, OpensWithCancelBarAndTimeRowAndClosesAgain)
{
    TestStart();
    WindowHandle window = ProgressWindowOpen(0, 249, "Copy", 1);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(ProgressWindow, window);
    EXPECT_EQ(HeadlessCursor(), CURSOR_WAIT);
    const ProgressState *state = ProgressCurrent();
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(state->last, 249);
    // Cancel at (8, 8), its label (42) and two margins wide; the bar takes the rest of the
    // row up to a margin from the right; the time goes in the row below, full width.
    ExpectRect(state->cancelRect, 8, 8, 66, 32);
    ExpectRect(state->barRect, 76, 10, 290, 30);
    EXPECT_EQ(state->barFilled, 76);

    ASSERT_EQ(HeadlessProgressCount(), 1);
    const HeadlessProgressRecord *record = HeadlessProgressAt(0);
    EXPECT_STREQ(record->title, "Copy");
    EXPECT_EQ(record->open, 1);

    ProgressClose();
    EXPECT_EQ(ProgressWindow, nullptr);
    EXPECT_EQ(ProgressCurrent(), nullptr);
    EXPECT_EQ(record->open, 0);
    EXPECT_EQ(HeadlessCursor(), CURSOR_ARROW);
}

TEST(Progress, WithoutAbortThereIsNoButtonAndNoAbort)
{
    TestStart();
    ProgressOpen(0, 9, "Resize", 0);
    const ProgressState *state = ProgressCurrent();
    EXPECT_EQ(state->canAbort, 0);
    EXPECT_EQ(state->cancelRect.right - state->cancelRect.left, 0);
    ExpectRect(state->frameRect, 8, 8, 292, 32);
    // Even a press reported by the platform cannot abort work without a Cancel button.
    HeadlessAbortAtPump(3);
    for (int row = 0; row < 10; row++)
        ASSERT_EQ(ProgressStep(row), ERROR_NONE) << "row " << row;
    ProgressClose();
}

TEST(Progress, CancelOnTheLastRowStillReturnsAborted)
{
    TestStart();
    ProgressOpen(0, 9, "Copy", 1);
    HeadlessAbortAtPump(9); // pressed while the last row's step pumps
    for (int row = 0; row < 9; row++)
        ASSERT_EQ(ProgressStep(row), ERROR_NONE) << "row " << row;
    EXPECT_EQ(ProgressStep(9), ERROR_ABORTED);
    EXPECT_EQ(ProgressCurrent()->aborted, 1);
    EXPECT_EQ(ProgressStep(9), ERROR_ABORTED); // it stays aborted until closed
    ProgressClose();
    EXPECT_EQ(ProgressWindow, nullptr);
}

TEST(Progress, FirstEqualToLastOnlyPaints)
{
    TestStart();
    HeadlessSetTicks(1000);
    ProgressOpen(5, 5, "Copy", 1);
    HeadlessSetTicks(9000);
    EXPECT_EQ(ProgressStep(5), ERROR_NONE);
    const ProgressState *state = ProgressCurrent();
    EXPECT_EQ(HeadlessProgressAt(0)->repaints, 1); // the first step paints at once
    EXPECT_EQ(state->barFilled, state->barRect.left);
    EXPECT_EQ(state->secondsShown, -1); // no estimate at the first value
    // A value past the one-row range divides by value - first, never by last - first.
    EXPECT_EQ(ProgressStep(6), ERROR_NONE);
    EXPECT_EQ(state->barFilled, state->barRect.left);
    ProgressClose();
}

TEST(Progress, BarGrowsWithTheRangeAndNeverBack)
{
    TestStart();
    HeadlessSetTicks(0); // elapsed time stays 0: the time left never changes after its first
    ProgressOpen(0, 99, "Copy", 1);
    const ProgressState *state = ProgressCurrent();
    const HeadlessProgressRecord *record = HeadlessProgressAt(0);
    // The bar's inside runs from 76 to 290, 214 pixels.
    ProgressStep(0);
    EXPECT_EQ(record->repaints, 1);
    EXPECT_EQ(state->barFilled, 76);
    ProgressStep(50);
    EXPECT_EQ(state->barFilled, 76 + 108); // 50 * 214 / 99 = 108.08
    EXPECT_EQ(record->repaints, 2);

    // A value below the current one draws nothing.
    ProgressStep(30);
    EXPECT_EQ(state->barFilled, 184);
    EXPECT_EQ(state->current, 30);
    EXPECT_EQ(record->repaints, 2);
    // Going on from there covers black with black: the bar stays where it stood.
    ProgressStep(40);
    EXPECT_EQ(state->barFilled, 184);

    // Outside the range the bar stops at its end.
    ProgressStep(150);
    EXPECT_EQ(state->barFilled, 290);
    EXPECT_EQ(state->current, 150);
    ProgressStep(99);
    EXPECT_EQ(state->barFilled, 290);
    EXPECT_EQ(record->pumps, 6); // one pump a step
    ProgressClose();
}

TEST(Progress, StepsThatAddNoPixelColumnDoNotPaint)
{
    TestStart();
    HeadlessSetTicks(0); // the time left, once shown, stays the same
    ProgressOpen(0, 9999, "Copy", 1);
    const HeadlessProgressRecord *record = HeadlessProgressAt(0);
    ProgressStep(0); // the first step paints
    ProgressStep(1); // the time left appears
    EXPECT_EQ(record->repaints, 2);
    // 214 pixels for 9999 rows: the first column is reached at 47 (47 * 214 / 9999 = 1.006).
    for (int row = 2; row <= 46; row++)
        ProgressStep(row);
    EXPECT_EQ(ProgressCurrent()->barFilled, 76);
    EXPECT_EQ(record->repaints, 2);
    ProgressStep(47);
    EXPECT_EQ(ProgressCurrent()->barFilled, 77);
    EXPECT_EQ(record->repaints, 3);
    EXPECT_EQ(record->pumps, 48); // the pump still runs at every step
    ProgressClose();
}

TEST(Progress, TimeLeftAtHalfway)
{
    TestStart();
    struct Case {
        uint32_t startTicks;
        uint32_t nowTicks;
        int value;
        const char *text;
        int hours, minutes, seconds;
    } cases[] = {
        // 30 s gone at halfway: 30 left, shown with the added second.
        {5000, 35000, 50, "Time left: 00:00:31", 0, 0, 31},
        // 30.4 s and 30.5 s: the remaining time rounds half away from zero.
        {0, 30400, 50, "Time left: 00:00:31", 0, 0, 31},
        {0, 30500, 50, "Time left: 00:00:32", 0, 0, 32},
        // 3661 s left: an hour, a minute and a second (shown as 2).
        {0, 3661000, 50, "Time left: 01:01:02", 1, 1, 2},
        // 59 s left shows 60, never 0.
        {0, 59000, 50, "Time left: 00:00:60", 0, 0, 60},
        // 100 hours left: two asterisks in the hours place.
        {0, 360000000, 50, "Time left: **:00:01", 100, 0, 1},
        // The tick counter wraps between open and step: 30 s all the same.
        {4294957296u, 20000, 50, "Time left: 00:00:31", 0, 0, 31},
        // Past the range the raw value counts: 30 s for 200 of 100 is 15 s in all, so
        // -15 s are left, and the seconds field overflows its two places.
        {0, 30000, 200, "Time left: 00:00:**", 0, 0, -14},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        HeadlessSetTicks(c.startTicks);
        ProgressOpen(0, 100, "Brighten", 1);
        HeadlessSetTicks(c.nowTicks);
        ProgressStep(c.value);
        const ProgressState *state = ProgressCurrent();
        EXPECT_STREQ(state->timeText, c.text);
        EXPECT_EQ(state->hoursShown, c.hours);
        EXPECT_EQ(state->minutesShown, c.minutes);
        EXPECT_EQ(state->secondsShown, c.seconds);
        ProgressClose();
    }
}

TEST(Progress, TimeIsRedrawnOnlyWhenItChanges)
{
    TestStart();
    HeadlessSetTicks(0);
    ProgressOpen(0, 1000, "Copy", 1);
    const HeadlessProgressRecord *record = HeadlessProgressAt(0);
    HeadlessSetTicks(10000);
    ProgressStep(500); // bar and time: one paint
    EXPECT_EQ(record->repaints, 1);
    ProgressStep(500); // nothing new
    EXPECT_EQ(record->repaints, 1);
    HeadlessSetTicks(11000);
    ProgressStep(500); // the same bar, a new time
    EXPECT_EQ(record->repaints, 2);
    EXPECT_STREQ(ProgressCurrent()->timeText, "Time left: 00:00:12");
    ProgressClose();
}

TEST(Progress, RangesWiderThan32BitsDoNotWrap)
{
    TestStart();
    HeadlessSetTicks(0);
    ProgressOpen(-2000000000, 2000000000, "Copy", 1);
    HeadlessSetTicks(30000);
    ProgressStep(0); // halfway through a range of four thousand million
    const ProgressState *state = ProgressCurrent();
    EXPECT_EQ(state->barFilled, 76 + 107);
    EXPECT_STREQ(state->timeText, "Time left: 00:00:31");
    ProgressClose();
}

TEST(Progress, StepsAndClosesWithoutAWindowAreHarmless)
{
    TestStart();
    EXPECT_EQ(ProgressStep(3), ERROR_NONE);
    ProgressClose();
    EXPECT_EQ(HeadlessCursor(), CURSOR_ARROW);
    EXPECT_EQ(HeadlessProgressCount(), 0);

    // There is one window at most: opening another closes the first.
    ProgressOpen(0, 5, "Copy", 1);
    ProgressOpen(0, 7, "Resize", 1);
    ASSERT_EQ(HeadlessProgressCount(), 2);
    EXPECT_EQ(HeadlessProgressAt(0)->open, 0);
    EXPECT_EQ(HeadlessProgressAt(1)->open, 1);
    EXPECT_EQ(ProgressCurrent()->last, 7);
    ProgressClose();
    EXPECT_EQ(HeadlessWindowCount(), 0);
}
