// The headless platform as the shell's tests rely on it: the order of the creation and
// destruction messages, activation, controls and painting into the canvas (its menus and
// scripted dialogs serve every test of the shell).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/headless/Headless.h"
#include "tests/support/TestSupport.h"

// Every message a test window receives, as text.
static std::vector<std::string> Log;

static MessageResult Recording(WindowHandle window, uint32_t message, uintptr_t wParam,
                               intptr_t lParam)
{
    char title[64];
    PlatformGetWindowTitle(window, title, sizeof title);
    std::string entry = std::string(title) + ":" + std::to_string(message);
    if (message == MSG_SIZE)
        entry +=
            "(" + std::to_string(ParamLow(lParam)) + "x" + std::to_string(ParamHigh(lParam)) + ")";
    if (message == MSG_COMMAND) entry += "(" + std::to_string(wParam & 0xffff) + ")";
    if (message == MSG_PAINT) {
        DrawContext *context = (DrawContext *)wParam;
        Rect all = {0, 0, 100, 100};
        PlatformFillRect(context, &all, 0x102030);
        PlatformDrawLine(context, 0, 0, 9, 0, 0xffffff);
    }
    Log.push_back(entry);
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

static WindowHandle Child(const char *title, int width = 208, int height = 228)
{
    WindowCreate request = {CLASS_CHILD, 0, -1, title, 0, 10, 20, width, height, nullptr, 0, 0};
    return PlatformCreateWindow(&request);
}

class HeadlessWindows : public testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
        Log.clear();
        PlatformRegisterClass(CLASS_CHILD, Recording);
    }
};

TEST_F(HeadlessWindows, CreationSendsCreateSizeAndMoveWithTheClientSize)
{
    WindowHandle window = Child("a");
    ASSERT_NE(window, nullptr);
    // A child's frame takes 8 pixels across and 28 down.
    std::vector<std::string> expected = {"a:1", "a:5(200x200)", "a:3"};
    EXPECT_EQ(Log, expected);
    Rect client;
    PlatformGetClientRect(window, &client);
    EXPECT_EQ(client.right, 200);
    EXPECT_EQ(client.bottom, 200);
}

TEST_F(HeadlessWindows, DestroyingTheActiveChildActivatesTheNext)
{
    WindowHandle a = Child("a");
    WindowHandle b = Child("b");
    PlatformActivateWindow(a);
    PlatformActivateWindow(b);
    EXPECT_EQ(PlatformFirstChild(), b);
    EXPECT_EQ(PlatformNextChild(b), a);
    Log.clear();
    PlatformDestroyWindow(b);
    EXPECT_EQ(PlatformActiveWindow(), a);
    EXPECT_FALSE(PlatformWindowExists(b));
    std::vector<std::string> expected = {"b:2", "a:" + std::to_string(MSG_ACTIVATE)};
    EXPECT_EQ(Log, expected);
}

TEST_F(HeadlessWindows, ControlsReportToTheirParent)
{
    WindowHandle window = Child("a");
    Rect rect = {0, 0, 50, 20};
    PlatformCreateControl(window, CONTROL_CHECK_BOX, 3, "Auto", 0, &rect);
    PlatformCreateControl(window, CONTROL_BUTTON, 2, "Preview", 0, &rect);
    Log.clear();
    HeadlessClick(window, 3);
    EXPECT_EQ(PlatformControlValue(window, 3), 1);
    PlatformEnableControl(window, 2, 0);
    HeadlessClick(window, 2); // a disabled button does nothing
    std::vector<std::string> expected = {"a:" + std::to_string(MSG_COMMAND) + "(3)"};
    EXPECT_EQ(Log, expected);
    PlatformDestroyWindow(window);
    EXPECT_EQ(PlatformControl(window, 3), nullptr);
}

TEST_F(HeadlessWindows, PaintingDrawsIntoTheCanvas)
{
    WindowHandle window = Child("a", 58, 78); // a client of 50 by 50
    Rect part = {5, 5, 10, 10};
    PlatformInvalidate(window, &part);
    Rect waiting;
    ASSERT_TRUE(HeadlessInvalid(window, &waiting));
    EXPECT_EQ(waiting.left, 5);
    HeadlessPaint(window);
    const Image *canvas = HeadlessCanvas(window);
    ASSERT_EQ(canvas->width, 50);
    // Only the invalid part was painted: the line on row 0 lies outside it.
    const uint8_t *top = canvas->rows[canvas->height - 1 - 5];
    EXPECT_EQ(top[3 * 5 + 2], 0x10);
    EXPECT_EQ(top[3 * 5 + 0], 0x30);
    PlatformInvalidate(window, nullptr);
    HeadlessPaint(window);
    const uint8_t *first = canvas->rows[canvas->height - 1];
    EXPECT_EQ(first[3 * 9], 0xff);
    EXPECT_EQ(first[3 * 10], 0x30);
    // An exclusive-or rectangle drawn twice leaves the pixels as they were.
    DrawContext *context = PlatformBeginDraw(window);
    Rect band = {2, 2, 20, 12};
    PlatformDrawXorRect(context, &band);
    EXPECT_EQ(canvas->rows[canvas->height - 1 - 2][3 * 2], 0xff - 0x30);
    PlatformDrawXorRect(context, &band);
    EXPECT_EQ(canvas->rows[canvas->height - 1 - 2][3 * 2], 0x30);
    PlatformEndDraw(window, context);
}
