// The editor itself on Qt's offscreen screen: the real start-up, the sample picture opened
// into an image window, zoomed from the menu, and screenshots of each step for a person to
// look at.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include "core/ImageWindow.h"
#include "platform/qt/QtPlatform.h"
#include "shell/Commands.h"
#include "shell/FileFlow.h"
#include "shell/Shell.h"
#include "tests/ui/UiSupport.h"

// The title of a window as its caption shows it.
static std::string Title(WindowHandle window)
{
    char title[WINDOW_TITLE_MAX + 1];
    PlatformGetWindowTitle(window, title, sizeof title);
    return title;
}

TEST(UiEditor, OpensTheSamplePictureAndZoomsFromTheMenu)
{
    ASSERT_EQ(QtPlatformStart(), ERROR_NONE);
    ASSERT_EQ(Initialise(), ERROR_NONE);
    ASSERT_EQ(CreateFrame(), ERROR_NONE);
    QMainWindow *main = QtPlatformMainWindow();
    main->setGeometry(0, 0, 1280, 860);
    main->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(main));
    UiSettle(50);

    WindowHandle window = nullptr;
    std::string sample = UiDataPath("data/samples/sample.tif");
    ASSERT_EQ(OpenImageFile(sample.c_str(), -1, &window), ERROR_NONE);
    ASSERT_NE(window, nullptr);
    UiSettle(100);
    ImageWindow *record = WindowRecord(window);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->image.width, 900);
    // The offscreen screen decides how large the workspace is: the picture opens at the zoom
    // at which it fits there.
    EXPECT_EQ(record->zoom, InitialZoom(900, 600));
    UiSaveScreenshot(main->grab().toImage(), "editor-open");

    // From 1:1 one step in is 2:1, and two steps out from there are 1:1 and then 1:2.
    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_ZOOM_ONE, 0);
    UiSettle(100);
    EXPECT_EQ(record->zoom, 1);
    EXPECT_EQ(Title(window), "sample.tif (1:1)");
    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_ZOOM_IN, 0);
    UiSettle(100);
    EXPECT_EQ(record->zoom, 2);
    EXPECT_EQ(Title(window), "sample.tif (2:1)");
    UiSaveScreenshot(main->grab().toImage(), "editor-zoom-in");

    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_ZOOM_OUT, 0);
    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_ZOOM_OUT, 0);
    UiSettle(100);
    EXPECT_EQ(record->zoom, -2);
    EXPECT_EQ(Title(window), "sample.tif (1:2)");
    UiSaveScreenshot(main->grab().toImage(), "editor-zoom-out");

    // The view shows the picture: its middle pixel is the picture's pixel there.
    int x = record->viewWidth / 2;
    int y = record->viewHeight / 2;
    const uint8_t *shown = record->view.rows[record->viewHeight - 1 - y] + 3 * x;
    int column = record->sourceLeft + 2 * x;
    int row = record->image.height - 1 - (record->sourceTop + 2 * y);
    const uint8_t *picture = record->image.rows[row] + 3 * column;
    // Smooth zoom averages a 2 x 2 block, so the shown pixel lies near the sampled one.
    for (int c = 0; c < 3; c++)
        EXPECT_NEAR(shown[c], picture[c], 40) << "channel " << c;

    Shutdown();
    QtPlatformStop();
}
