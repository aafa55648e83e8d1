// The Color Correct dialog opened from the menu as a user opens it: a point dragged on the
// wheel and brightened by its slider, the result of Apply against the same settings run
// directly, Options Save As, Load of a damaged file, and previous.colorcorrect at closing.
#include <cstring>
#include <string>

#include "core/Preferences.h"
#include "core/SettingsText.h"
#include "platform/headless/Headless.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/ColorCorrect.h"
#include "transforms/ColorCorrectWheel.h"
#include "transforms/Transforms.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

namespace {

class ColorCorrectDialogTest : public ShellFolderTest {
  protected:
    void SetUp() override
    {
        ShellFolderTest::SetUp();
        TestRun("rm -f '" + folder + "'/*.colorcorrect");
        Prefs.stickySettings = 1;
    }

    std::string Text(int id)
    {
        char text[256];
        PlatformGetControlText(DialogWindow, id, text, sizeof text);
        return text;
    }

    int Shown(int id)
    {
        return PlatformWindowState(PlatformControl(DialogWindow, id)) != SHOW_HIDE;
    }

    void SlideTo(int id, int position)
    {
        SliderSetPosition(DialogWindow, id, position);
        WindowHandle slider = PlatformControl(DialogWindow, id);
        PlatformSendMessage(DialogWindow, MSG_COMMAND, (uintptr_t)id | NOTIFY_MOVED << 16,
                            (intptr_t)slider);
        PlatformSendMessage(DialogWindow, MSG_COMMAND, (uintptr_t)id | NOTIFY_RELEASED << 16,
                            (intptr_t)slider);
    }

    void Options(int item, const std::string &path)
    {
        HeadlessQueuePopupChoice(item);
        HeadlessQueueFileDialog((path + std::string(2, '\0')).c_str(), -1); // a list of one
        HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    }
};

} // namespace

TEST_F(ColorCorrectDialogTest, DraggedPointAppliesAsTheSettingsDoAndRoundTripsThroughOptions)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 64, 48);
    HeadlessChooseMenu(COMMAND_COLOR_CORRECT);
    ASSERT_NE(DialogWindow, nullptr);
    EXPECT_EQ(CurrentOperation, KIND_COLOR_CORRECT);
    EXPECT_EQ(Text(COLOR_CORRECT_RADIUS_TEXT), "Radius: 1.00");
    EXPECT_FALSE(Shown(COLOR_CORRECT_BRIGHTNESS));
    EXPECT_FALSE(Shown(COLOR_CORRECT_SAVE_AS_MASK));

    // Red's target end, at (132, 4) of the wheel, dragged to (132, 68): (255, 127, 127). The
    // tables are rebuilt once, at the release.
    int bars = HeadlessProgressCount();
    WindowHandle wheel = PlatformControl(DialogWindow, COLOR_CORRECT_WHEEL);
    HeadlessMouse(wheel, MSG_LBUTTON_DOWN, 132, 4, BUTTON_LEFT);
    EXPECT_TRUE(Shown(COLOR_CORRECT_BRIGHTNESS));
    EXPECT_EQ(Text(COLOR_CORRECT_BRIGHTNESS_TEXT), "Brightness Change: 0.00%");
    HeadlessMouse(wheel, MSG_MOUSE_MOVE, 132, 40, BUTTON_LEFT);
    HeadlessMouse(wheel, MSG_MOUSE_MOVE, 132, 68, BUTTON_LEFT);
    EXPECT_EQ(HeadlessProgressCount(), bars);
    HeadlessMouse(wheel, MSG_LBUTTON_UP, 132, 68, 0);
    ASSERT_EQ(HeadlessProgressCount(), bars + 1);
    EXPECT_STREQ(HeadlessProgressAt(bars)->title, "Building color lookup tables");
    // Brightness: position 768 is (768 - 512) / 512 = +0.5.
    SlideTo(COLOR_CORRECT_BRIGHTNESS, 768);
    EXPECT_EQ(Text(COLOR_CORRECT_BRIGHTNESS_TEXT), "Brightness Change: +50.00%");
    SlideTo(COLOR_CORRECT_RADIUS, 512);
    EXPECT_EQ(Text(COLOR_CORRECT_RADIUS_TEXT), "Radius: 0.50");

    HeadlessClick(DialogWindow, BUTTON_APPLY);
    ASSERT_NE(LastOutput, nullptr);
    ColorCorrectSettings settings;
    ColorCorrectSettingsDefault(&settings);
    const uint8_t pink[3] = {255, 127, 127};
    memcpy(settings.targetColor[1], pink, 3);
    settings.brightness[1] = 0.5;
    settings.radius = 0.5;
    Picture expected;
    PictureReset(&expected);
    ASSERT_EQ(
        TransformApply(&ColorCorrectTransform, &settings, &WindowRecord(input)->picture, &expected),
        ERROR_NONE);
    ExpectImagesNear(expected.image, WindowRecord(LastOutput)->picture.image, 0);
    PictureFree(&expected);

    // Save As writes what the dialog holds.
    std::string saved = folder + "/saved.colorcorrect";
    Options(SETTINGS_OPTIONS_SAVE, saved);
    ColorCorrectSettings read;
    ColorCorrectSettingsDefault(&read);
    ASSERT_EQ(ColorCorrectSettingsLoad(saved.c_str(), &read), ERROR_NONE);
    EXPECT_EQ(memcmp(read.targetColor[1], pink, 3), 0);
    EXPECT_EQ(read.brightness[1], 0.5);
    EXPECT_EQ(read.radius, 0.5);

    // Another extension is refused with its message.
    HeadlessQueuePopupChoice(SETTINGS_OPTIONS_SAVE);
    HeadlessQueueFileDialog((folder + "/saved.txt" + std::string(2, '\0')).c_str(), -1);
    HeadlessClick(DialogWindow, SETTINGS_OPTIONS_BUTTON);
    ASSERT_NE(HeadlessLastMessage(), nullptr);
    EXPECT_STREQ(HeadlessLastMessage()->text,
                 "Color correction files must have an extension of .colorcorrect");

    // A damaged file shows its code's message and resets the dialog.
    std::string bad = folder + "/bad.colorcorrect";
    const std::string text = "ColorCorrect 1.0\nnpts 101\nend\n";
    TestWriteFile(bad, std::vector<uint8_t>(text.begin(), text.end()));
    Options(SETTINGS_OPTIONS_LOAD, bad);
    ASSERT_NE(HeadlessLastMessage(), nullptr);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Illegal color correction file");
    EXPECT_EQ(Text(COLOR_CORRECT_RADIUS_TEXT), "Radius: 1.00");
    EXPECT_FALSE(Shown(COLOR_CORRECT_BRIGHTNESS));

    // Loading the saved file brings its radius back; closing writes previous.colorcorrect.
    Options(SETTINGS_OPTIONS_LOAD, saved);
    EXPECT_EQ(Text(COLOR_CORRECT_RADIUS_TEXT), "Radius: 0.50");
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    EXPECT_EQ(DialogWindow, nullptr);
    ColorCorrectSettingsDefault(&read);
    ASSERT_EQ(ColorCorrectSettingsLoad((folder + "/previous.colorcorrect").c_str(), &read),
              ERROR_NONE);
    EXPECT_EQ(memcmp(read.targetColor[1], pink, 3), 0);
}

TEST_F(ColorCorrectDialogTest, RightClickMenuAndSaveAsMask)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 40, 30);
    HeadlessChooseMenu(COMMAND_COLOR_CORRECT);
    ASSERT_NE(DialogWindow, nullptr);
    WindowHandle wheel = PlatformControl(DialogWindow, COLOR_CORRECT_WHEEL);
    const ColorCorrectSettings *settings =
        (const ColorCorrectSettings *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);

    // On empty wheel the menu offers one item; "Add New Control Point" adds the color of
    // (132, 100), Y = 64: (255, 191, 191), and selects it.
    HeadlessQueuePopupChoice(COLOR_CORRECT_ADD_POINT);
    HeadlessMouse(wheel, MSG_RBUTTON_DOWN, 132, 100, BUTTON_RIGHT);
    const MenuItem *items = nullptr;
    ASSERT_EQ(HeadlessLastPopup(&items), 1);
    EXPECT_STREQ(items[0].label, "Add New Control Point");
    ASSERT_EQ(settings->pointCount, 8);
    EXPECT_EQ(settings->selectedPoint, 7);
    EXPECT_EQ(settings->sourceColor[7][1], 191);
    // On a point, four items; "Remove Control Point" takes it away again.
    HeadlessQueuePopupChoice(COLOR_CORRECT_REMOVE_POINT);
    HeadlessMouse(wheel, MSG_RBUTTON_DOWN, 132, 99, BUTTON_RIGHT);
    ASSERT_EQ(HeadlessLastPopup(&items), 4);
    EXPECT_STREQ(items[3].label, "Remove Control Point");
    EXPECT_EQ(settings->pointCount, 7);
    EXPECT_EQ(settings->selectedPoint, -1);

    // Red selected and saved as a mask: Apply makes a gray picture, the point's influence.
    HeadlessMouse(wheel, MSG_LBUTTON_DOWN, 132, 4, BUTTON_LEFT);
    HeadlessMouse(wheel, MSG_LBUTTON_UP, 132, 4, 0);
    ASSERT_EQ(settings->selectedPoint, 1);
    HeadlessClick(DialogWindow, COLOR_CORRECT_SAVE_AS_MASK);
    EXPECT_EQ(settings->saveAsMask, 1);
    HeadlessClick(DialogWindow, BUTTON_APPLY);
    ASSERT_NE(LastOutput, nullptr);
    ASSERT_NE(LastOutput, input);
    EXPECT_EQ(WindowRecord(LastOutput)->picture.image.type, TYPE_GRAY8);
}

TEST_F(ColorCorrectDialogTest, ZoomShowsTheScrollBarsThatMoveTheCenter)
{
    MakePicture(TYPE_COLOR24, 40, 30);
    HeadlessChooseMenu(COMMAND_COLOR_CORRECT);
    ASSERT_NE(DialogWindow, nullptr);
    const ColorCorrectSettings *settings =
        (const ColorCorrectSettings *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    WindowHandle vertical = PlatformControl(DialogWindow, COLOR_CORRECT_SCROLL_V);
    EXPECT_FALSE(Shown(COLOR_CORRECT_SCROLL_H));
    int beeps = HeadlessBeepCount();
    HeadlessClick(DialogWindow, COLOR_CORRECT_ZOOM_OUT);
    EXPECT_EQ(HeadlessBeepCount(), beeps + 1);
    HeadlessClick(DialogWindow, COLOR_CORRECT_ZOOM_IN);
    EXPECT_EQ(settings->wheelZoom, 2);
    EXPECT_TRUE(Shown(COLOR_CORRECT_SCROLL_V));
    int range, position, page;
    ASSERT_TRUE(HeadlessScrollBar(vertical, &range, &position, &page));
    EXPECT_EQ(range, 510);
    EXPECT_EQ(position, 255);
    EXPECT_EQ(page, 64);
    // A line down moves the center 16 down: wheelCenterY -16, the bar at 271.
    HeadlessScroll(vertical, SCROLL_LINE_DOWN, 0);
    EXPECT_EQ(settings->wheelCenterY, -16);
    ASSERT_TRUE(HeadlessScrollBar(vertical, &range, &position, &page));
    EXPECT_EQ(position, 271);
    HeadlessClick(DialogWindow, COLOR_CORRECT_ZOOM_OUT);
    EXPECT_EQ(settings->wheelCenterY, 0);
    EXPECT_FALSE(Shown(COLOR_CORRECT_SCROLL_V));
}

TEST_F(ColorCorrectDialogTest, OpensWithDefaultColorCorrectUnlessShiftIsHeld)
{
    const std::string text = "ColorCorrect 1.0\nnpts 7\nradius 0.30\nend\n";
    TestWriteFile(folder + "/default.colorcorrect", std::vector<uint8_t>(text.begin(), text.end()));
    MakePicture(TYPE_COLOR48, 20, 10);
    HeadlessChooseMenu(COMMAND_COLOR_CORRECT);
    ASSERT_NE(DialogWindow, nullptr);
    EXPECT_EQ(Text(COLOR_CORRECT_RADIUS_TEXT), "Radius: 0.30");
    EXPECT_EQ(SliderPosition(DialogWindow, COLOR_CORRECT_RADIUS), 307); // Round(0.3 x 1024)
    HeadlessClick(DialogWindow, BUTTON_CANCEL);
    HeadlessSetShift(1);
    HeadlessChooseMenu(COMMAND_COLOR_CORRECT);
    HeadlessSetShift(0);
    ASSERT_NE(DialogWindow, nullptr);
    EXPECT_EQ(Text(COLOR_CORRECT_RADIUS_TEXT), "Radius: 1.00");
}

TEST_F(ColorCorrectDialogTest, ProbeAddsTheClickedColorAsASelectedPoint)
{
    WindowHandle input = MakePicture(TYPE_COLOR24, 40, 30);
    HeadlessChooseMenu(COMMAND_COLOR_CORRECT);
    ASSERT_NE(DialogWindow, nullptr);
    const ColorCorrectSettings *settings =
        (const ColorCorrectSettings *)PlatformGetWindowWord(DialogWindow, WORD_POINTER);
    HeadlessChoose(DialogWindow, COLOR_CORRECT_PROBE_SIZE, 0); // 1x1
    HeadlessClick(DialogWindow, COLOR_CORRECT_PROBE);
    EXPECT_EQ(ToolTarget, DialogWindow);
    HeadlessMouse(input, MSG_LBUTTON_DOWN, 30, 20, BUTTON_LEFT);
    HeadlessMouse(input, MSG_LBUTTON_UP, 30, 20, 0);
    ASSERT_EQ(settings->pointCount, 8);
    EXPECT_EQ(settings->selectedPoint, 7);
    // The point is the clicked pixel's color scaled to a largest channel of 255.
    int x, y;
    const ImageWindow *record = WindowRecord(input);
    ClientToPicture(input, record, 30, 20, &x, &y);
    uint8_t rgb[3];
    ImageProbeColor(&record->picture.image, x, y, 0, rgb);
    int v = Max3(rgb[0], rgb[1], rgb[2]);
    for (int c = 0; c < 3; c++)
        EXPECT_EQ(settings->sourceColor[7][c], v == 0 ? 255 : rgb[c] * 255 / v) << c;
    HeadlessClick(DialogWindow, COLOR_CORRECT_PROBE);
    EXPECT_EQ(ToolTarget, nullptr);
}
