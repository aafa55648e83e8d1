// The window core that both platforms share: the table and its serials, the posted queue,
// timers, and a creation the procedure refuses. The headless platform supplies the side.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/WindowCore.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestSupport.h"

static std::vector<std::string> Log;
static uint32_t RepostOn; // a message that makes its window post 0x8100 to itself

static MessageResult Recording(WindowHandle window, uint32_t message, uintptr_t wParam,
                               intptr_t lParam)
{
    if (message == MSG_SIZE || message == MSG_MOVE) return 0;
    Log.push_back(std::string(window->title) + ":" + std::to_string(message) + "(" +
                  std::to_string(wParam) + ")");
    if (message == RepostOn) PlatformPostMessage(window, 0x8100, 0, 0);
    if (message == MSG_CREATE && std::string(window->title) == "refused") return -1;
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

static WindowHandle Child(const char *title)
{
    WindowCreate request = {CLASS_CHILD, 0, -1, title, 0, 0, 0, 100, 100, nullptr, 0, 0};
    return PlatformCreateWindow(&request);
}

static std::string Entry(const char *title, uint32_t message, uintptr_t wParam = 0)
{
    return std::string(title) + ":" + std::to_string(message) + "(" + std::to_string(wParam) + ")";
}

class WindowCore : public testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
        Log.clear();
        RepostOn = 0;
        PlatformRegisterClass(CLASS_CHILD, Recording);
    }
};

TEST_F(WindowCore, TheTableFillsAndAFreedRecordComesBackUnderANewSerial)
{
    int used = 0;
    for (int i = 0; i < WindowTableReached; i++)
        used += WindowTable[i].used;
    std::vector<PlatformWindow *> made;
    for (PlatformWindow *window = WindowAllocate(); window != nullptr; window = WindowAllocate())
        made.push_back(window);
    EXPECT_EQ((int)made.size(), WINDOW_TABLE_SIZE - used);
    EXPECT_EQ(Child("late"), nullptr);
    EXPECT_TRUE(Log.empty()); // a window that cannot be made hears nothing

    PlatformWindow *freed = made[made.size() / 2];
    uint32_t serial = freed->serial;
    WindowRelease(freed);
    EXPECT_FALSE(PlatformWindowExists(freed));
    PlatformWindow *again = WindowAllocate();
    EXPECT_EQ(again, freed);
    EXPECT_TRUE(WindowAlive(again, again->serial));
    EXPECT_FALSE(WindowAlive(again, serial)); // an old handle's serial no longer matches
}

TEST_F(WindowCore, ARefusedCreationIsDestroyedAndLeavesNoWindow)
{
    int windows = HeadlessWindowCount();
    EXPECT_EQ(Child("refused"), nullptr);
    std::vector<std::string> expected = {Entry("refused", MSG_CREATE),
                                         Entry("refused", MSG_DESTROY)};
    EXPECT_EQ(Log, expected);
    EXPECT_EQ(HeadlessWindowCount(), windows);
}

TEST_F(WindowCore, PostedMessagesArriveInOrderOnlyToTheWindowTheyWerePostedTo)
{
    WindowHandle a = Child("a");
    WindowHandle b = Child("b");
    PlatformPostMessage(a, 0x8001, 1, 0);
    PlatformPostMessage(b, 0x8002, 2, 0);
    PlatformPostMessage(a, 0x8003, 3, 0);
    PlatformDestroyWindow(b);
    // The next window takes b's record, but not b's messages.
    WindowHandle c = Child("c");
    ASSERT_EQ(c, b);
    Log.clear();
    RepostOn = 0x8003;
    EXPECT_EQ(WindowPostedDeliver(WindowPostedCount()), 2);
    std::vector<std::string> expected = {Entry("a", 0x8001, 1), Entry("a", 0x8003, 3)};
    EXPECT_EQ(Log, expected);
    // What was posted while delivering waits for the next round.
    EXPECT_EQ(WindowPostedCount(), 1);
    EXPECT_EQ(WindowPostedDeliver(WindowPostedCount()), 1);
    EXPECT_EQ(Log.back(), Entry("a", 0x8100));

    for (int i = 0; i < WINDOW_POST_QUEUE; i++)
        ASSERT_TRUE(WindowPost(a, 0x8001, 0, 0));
    EXPECT_FALSE(WindowPost(a, 0x8001, 0, 0)); // a full queue drops the post
}

TEST_F(WindowCore, TimersKeepTheirIndexUntilKilledAndGoWithTheirWindow)
{
    WindowHandle a = Child("a");
    WindowHandle b = Child("b");
    Log.clear();
    int index = WindowTimerSet(a, 7, 50);
    ASSERT_GE(index, 0);
    EXPECT_EQ(WindowTimerSet(a, 7, 0), index); // a new period for the same timer, at least 1
    EXPECT_EQ(WindowTimerPeriod(a, 7), 1);
    WindowTimerFire(index);
    WindowTimerKill(a, 7);
    WindowTimerFire(index);
    EXPECT_EQ(WindowTimerPeriod(a, 7), 0);
    std::vector<std::string> expected = {Entry("a", MSG_TIMER, 7)};
    EXPECT_EQ(Log, expected);

    int ofB = WindowTimerSet(b, 7, 50);
    PlatformDestroyWindow(b);
    Log.clear();
    WindowTimerFire(ofB);
    EXPECT_TRUE(Log.empty());

    for (int i = 0; i < WINDOW_TIMER_COUNT; i++)
        ASSERT_GE(WindowTimerSet(a, i, 10), 0);
    EXPECT_EQ(WindowTimerSet(a, WINDOW_TIMER_COUNT, 10), -1);
}
