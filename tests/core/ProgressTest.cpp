// Progress through the hooks the program installs: every call reaches them as made, and
// without hooks nothing shows and nothing aborts; and the time-left arithmetic that every way
// of showing progress shares.
#include "core/Progress.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/support/TestSupport.h"

namespace {

std::vector<std::string> Calls; // what the hooks were asked, in order
int AbortAt = -1;               // the value at which a step answers ERROR_ABORTED

void RecordOpen(int first, int last, const char *title, int canAbort)
{
    Calls.push_back("open " + std::to_string(first) + ".." + std::to_string(last) + " " + title +
                    (canAbort ? " cancel" : ""));
}

ErrorCode RecordStep(int value)
{
    Calls.push_back("step " + std::to_string(value));
    return value == AbortAt ? ERROR_ABORTED : ERROR_NONE;
}

void RecordClose(void)
{
    Calls.push_back("close");
}

void RecordCursor(int wait)
{
    Calls.push_back(wait ? "wait" : "arrow");
}

void RecordPump(void)
{
    Calls.push_back("pump");
}

const ProgressHooks RECORDING = {RecordOpen, RecordStep, RecordClose, RecordCursor, RecordPump};

} // namespace

TEST(Progress, EveryCallReachesTheInstalledHooks)
{
    TestStart();
    Calls.clear();
    AbortAt = 2;
    ProgressInstall(&RECORDING);
    ProgressOpen(0, 9, "Copy", 1);
    EXPECT_EQ(ProgressStep(1), ERROR_NONE);
    EXPECT_EQ(ProgressStep(2), ERROR_ABORTED);
    ProgressPump();
    ProgressClose();
    SetWaitCursor();
    SetArrowCursor();
    EXPECT_EQ(Calls, (std::vector<std::string>{"open 0..9 Copy cancel", "step 1", "step 2", "pump",
                                               "close", "wait", "arrow"}));
    TestStart(); // the editor's hooks again, for the tests that follow
}

TEST(Progress, WithoutHooksNothingShowsAndNothingAborts)
{
    TestStart();
    Calls.clear();
    ProgressInstall(nullptr);
    ProgressOpen(0, 9, "Copy", 1);
    for (int value = 0; value <= 9; value++)
        EXPECT_EQ(ProgressStep(value), ERROR_NONE);
    ProgressPump();
    ProgressClose();
    SetWaitCursor();
    SetArrowCursor();
    EXPECT_TRUE(Calls.empty());
    TestStart();
}

TEST(Progress, TimeLeftFromTheRateSoFar)
{
    struct Case {
        uint32_t elapsed; // milliseconds
        int first, last, value;
        int hours, minutes, seconds;
    } cases[] = {
        // Half of 0..100 in 6 s: 6 s to go, shown as 7 since the display never says 0.
        {6000, 0, 100, 50, 0, 0, 7},
        // A quarter of 0..4 in an hour: three hours to go.
        {3600000, 0, 4, 1, 3, 0, 1},
        // 10 of 10..70 in 61 s: 5 x 61 = 305 s to go, shown as 5 minutes and 6 seconds.
        {61000, 10, 70, 20, 0, 5, 6},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.elapsed);
        int hours, minutes, seconds;
        ProgressTimeLeft(c.elapsed, c.first, c.last, c.value, &hours, &minutes, &seconds);
        EXPECT_EQ(hours, c.hours);
        EXPECT_EQ(minutes, c.minutes);
        EXPECT_EQ(seconds, c.seconds);
    }
}
