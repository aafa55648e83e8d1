// The window core that both platforms share: the table and its serials, a refused creation,
// the posted queue and timers. The headless platform supplies the side.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/WindowCore.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestSupport.h"

static std::vector<std::string> Log; // "title:message(wParam)" of every message but size and move

static std::string Entry(const char *title, uint32_t message, uintptr_t wParam = 0)
{
    return std::string(title) + ":" + std::to_string(message) + "(" + std::to_string(wParam) + ")";
}

// Refuses to be made when titled "refused"; posts 0x8100 to itself on 0x8003.
static MessageResult Recording(WindowHandle window, uint32_t message, uintptr_t wParam,
                               intptr_t lParam)
{
    if (message == MSG_SIZE || message == MSG_MOVE) return 0;
    Log.push_back(Entry(window->title, message, wParam));
    if (message == 0x8003) PlatformPostMessage(window, 0x8100, 0, 0);
    if (message == MSG_CREATE && std::string(window->title) == "refused") return -1;
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

static WindowHandle Child(const char *title)
{
    WindowCreate request = {CLASS_CHILD, 0, -1, title, 0, 0, 0, 100, 100, nullptr, 0, 0};
    return PlatformCreateWindow(&request);
}

class WindowCore : public testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
        PlatformRegisterClass(CLASS_CHILD, Recording);
        Log.clear();
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
    EXPECT_EQ(WindowAllocate(), freed);
    EXPECT_FALSE(WindowAlive(freed, serial)); // an old handle's serial no longer matches
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
    ASSERT_EQ(Child("c"), b); // the next window takes b's record, but not b's messages
    Log.clear();
    EXPECT_EQ(WindowPostedDeliver(WindowPostedCount()), 2);
    // What was posted while delivering waits for the next round.
    EXPECT_EQ(WindowPostedDeliver(WindowPostedCount()), 1);
    std::vector<std::string> expected = {Entry("a", 0x8001, 1), Entry("a", 0x8003, 3),
                                         Entry("a", 0x8100)};
    EXPECT_EQ(Log, expected);

    for (int i = 0; i < WINDOW_POST_QUEUE; i++)
        ASSERT_TRUE(WindowPost(a, 0x8001, 0, 0));
    EXPECT_FALSE(WindowPost(a, 0x8001, 0, 0)); // a full queue drops the post
}

TEST_F(WindowCore, TimersKeepTheirIndexUntilKilledAndGoWithTheirWindow)
{
    WindowHandle a = Child("a");
    WindowHandle b = Child("b");
    int index = WindowTimerSet(a, 7, 50);
    int ofB = WindowTimerSet(b, 7, 50);
    ASSERT_GE(index, 0);
    EXPECT_EQ(WindowTimerSet(a, 7, 0), index); // a new period for the same timer, at least 1
    EXPECT_EQ(WindowTimerPeriod(a, 7), 1);
    PlatformDestroyWindow(b);
    Log.clear();
    WindowTimerFire(index);
    WindowTimerFire(ofB);
    WindowTimerKill(a, 7);
    WindowTimerFire(index);
    EXPECT_EQ(WindowTimerPeriod(a, 7), 0);
    std::vector<std::string> expected = {Entry("a", MSG_TIMER, 7)};
    EXPECT_EQ(Log, expected);

    for (int i = 0; i < WINDOW_TIMER_COUNT; i++)
        ASSERT_GE(WindowTimerSet(a, i, 10), 0);
    EXPECT_EQ(WindowTimerSet(a, WINDOW_TIMER_COUNT, 10), -1);
}
