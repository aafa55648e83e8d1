// The editor itself on Qt's offscreen screen: the real start-up, the sample picture opened
// into an image window, zoomed, scrolled and copied from the menu, and screenshots of each
// step for a person to look at.
#include <QApplication>
#include <QIcon>
#include <QMainWindow>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

#include "core/Preferences.h"
#include "platform/qt/QtPlatform.h"
#include "shell/Commands.h"
#include "shell/Dialogs.h"
#include "shell/FileFlow.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/Negative.h"
#include "ui/Display.h"
#include "ui/GridDialog.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"

// The title of a window as its caption shows it.
static std::string Title(WindowHandle window)
{
    char title[WINDOW_TITLE_MAX + 1];
    PlatformGetWindowTitle(window, title, sizeof title);
    return title;
}

// The editor started as its main() starts it, with the sample picture open.
class UiEditor : public testing::Test {
  public:
    QMainWindow *main = nullptr;
    WindowHandle window = nullptr;
    ImageWindow *record = nullptr;
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(UiStartEditorWithSample(&main, &window));
        record = WindowRecord(window);
        ASSERT_NE(record, nullptr);
    }
    void TearDown() override
    {
        Shutdown();
        QtPlatformStop();
    }
    void Command(int id)
    {
        PlatformSendMessage(FrameWindow, MSG_COMMAND, (uintptr_t)id, 0);
        UiSettle(100);
    }
    void Screenshot(const char *name)
    {
        UiSaveScreenshot(main->grab().toImage(), name);
    }
};

TEST_F(UiEditor, OpensTheSamplePictureAndZoomsFromTheMenu)
{
    EXPECT_EQ(record->picture.image.width, 900);
    // The offscreen screen decides how large the workspace is: the picture opens at the zoom
    // at which it fits there.
    EXPECT_EQ(record->zoom, InitialZoom(900, 600));
    Screenshot("editor-open");
    // Every window carries Vistel's own icon, drawn for each size a desktop asks for; the
    // picture's frame shows it in its title bar.
    QIcon icon = QApplication::windowIcon();
    for (int size : {16, 32, 48, 256})
        EXPECT_TRUE(icon.availableSizes().contains(QSize(size, size))) << size;
    QImage large =
        icon.pixmap(256, 256).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QImage drawn = QImage(UiDataPath("data/icons/vistel-256.png").c_str())
                       .convertToFormat(QImage::Format_ARGB32_Premultiplied);
    EXPECT_EQ(large, drawn);
    UiSaveScreenshot(large, "vistel-icon");
    UiSaveScreenshot(QtPlatformFrameWidget(window)->grab().toImage(), "editor-window-icon");

    // From 1:1 one step in is 2:1, and two steps out from there are 1:1 and then 1:2.
    Command(COMMAND_ZOOM_ONE);
    EXPECT_EQ(record->zoom, 1);
    EXPECT_EQ(Title(window), "sample.tif (1:1)");
    Command(COMMAND_ZOOM_IN);
    EXPECT_EQ(record->zoom, 2);
    EXPECT_EQ(Title(window), "sample.tif (2:1)");
    Screenshot("editor-zoom-in");

    Command(COMMAND_ZOOM_OUT);
    Command(COMMAND_ZOOM_OUT);
    EXPECT_EQ(record->zoom, -2);
    EXPECT_EQ(Title(window), "sample.tif (1:2)");
    Screenshot("editor-zoom-out");

    // Ctrl with the = key under + zooms in as Ctrl++ does, from the keyboard of the screen.
    QTest::keyClick(main->windowHandle(), Qt::Key_Equal, Qt::ControlModifier);
    UiSettle(100);
    EXPECT_EQ(record->zoom, 1);
    QTest::keyClick(main->windowHandle(), Qt::Key_Minus, Qt::ControlModifier);
    UiSettle(100);
    EXPECT_EQ(record->zoom, -2);

    // The view shows the picture: its middle pixel is the picture's pixel there.
    int x = record->viewWidth / 2;
    int y = record->viewHeight / 2;
    const uint8_t *shown = record->view.rows[record->viewHeight - 1 - y] + 3 * x;
    int column = record->sourceLeft + 2 * x;
    int row = record->picture.image.height - 1 - (record->sourceTop + 2 * y);
    const uint8_t *picture = record->picture.image.rows[row] + 3 * column;
    // Smooth zoom averages a 2 x 2 block, so the shown pixel lies near the sampled one.
    for (int c = 0; c < 3; c++)
        EXPECT_NEAR(shown[c], picture[c], 40) << "channel " << c;
}

// The rectangle of a scroll bar's thumb, as its style draws it.
static QRect Thumb(QScrollBar *bar)
{
    QStyleOptionSlider option;
    option.initFrom(bar);
    option.subControls = QStyle::SC_All;
    option.orientation = bar->orientation();
    option.minimum = bar->minimum();
    option.maximum = bar->maximum();
    option.sliderPosition = bar->sliderPosition();
    option.sliderValue = bar->value();
    option.singleStep = bar->singleStep();
    option.pageStep = bar->pageStep();
    return bar->style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider,
                                        bar);
}

TEST_F(UiEditor, ScrollBarsStandWhereTheViewStandsAndTheThumbReachesBothEnds)
{
    Command(COMMAND_ZOOM_ONE);
    Command(COMMAND_ZOOM_IN);
    ASSERT_EQ(record->zoom, 2);
    auto *across =
        (QScrollBar *)QtPlatformWidget((WindowHandle)PlatformGetWindowWord(window, WORD_HSCROLL));
    auto *down =
        (QScrollBar *)QtPlatformWidget((WindowHandle)PlatformGetWindowWord(window, WORD_VSCROLL));
    ASSERT_TRUE(across->isVisible());
    ASSERT_TRUE(down->isVisible());
    // The bars run over the scroll ranges with the view as the page, the view in the middle.
    EXPECT_EQ(across->maximum(), record->scrollRangeX);
    EXPECT_EQ(across->pageStep(), record->viewWidth);
    EXPECT_EQ(across->value(), record->scrollLeft);
    EXPECT_EQ(down->maximum(), record->scrollRangeY);
    EXPECT_EQ(down->pageStep(), record->viewHeight);
    EXPECT_EQ(down->value(), record->scrollTop);
    // The thumb is as long against its groove as the view against the zoomed picture, and
    // stands in the middle as the view does.
    QRect thumb = Thumb(across);
    int groove = across->width() - 2 * across->height(); // less the two arrow buttons
    EXPECT_NEAR((double)thumb.width() / groove, (double)record->viewWidth / (2 * 900), 0.05);
    EXPECT_NEAR(thumb.center().x(), across->width() / 2, 3);
    Screenshot("editor-scroll-bars-2to1");

    // Dragging the thumb to the right end shows the picture's right edge, and back to the
    // left end its left edge.
    QPoint grab = thumb.center();
    QTest::mousePress(across, Qt::LeftButton, Qt::NoModifier, grab);
    for (int step = 1; step <= 20; step++) {
        QTest::mouseMove(across, grab + QPoint(step * across->width() / 20, 0));
        UiSettle(5);
    }
    QTest::mouseRelease(across, Qt::LeftButton, Qt::NoModifier, grab + QPoint(across->width(), 0));
    UiSettle(50);
    EXPECT_EQ(record->scrollLeft, record->scrollRangeX);
    EXPECT_EQ(record->sourceRight, 899);
    EXPECT_EQ(across->value(), across->maximum());
    Screenshot("editor-scroll-bars-right");
    grab = Thumb(across).center();
    QTest::mousePress(across, Qt::LeftButton, Qt::NoModifier, grab);
    for (int step = 1; step <= 20; step++) {
        QTest::mouseMove(across, grab - QPoint(step * across->width() / 20, 0));
        UiSettle(5);
    }
    QTest::mouseRelease(across, Qt::LeftButton, Qt::NoModifier, QPoint(0, grab.y()));
    UiSettle(50);
    EXPECT_EQ(record->scrollLeft, 0);
    EXPECT_EQ(record->sourceLeft, 0);
}

TEST_F(UiEditor, RulersLabelWithoutCrowdingAndStayBesideTheView)
{
    Prefs.showRuler = 1;
    struct Shot {
        int command;
        const char *name;
    } shots[] = {{COMMAND_ZOOM_ONE, "editor-ruler-1to1"}, {COMMAND_ZOOM_OUT, "editor-ruler-1to2"}};
    for (const Shot &shot : shots) {
        Command(shot.command);
        PlatformInvalidate(window, nullptr);
        UiSettle(50);
        Screenshot(shot.name);
    }
    // Maximised, the window is far larger than the picture at 1:2: the rulers stay a band
    // of the border's width beside the view, in millimetres too.
    PlatformShowWindow(window, SHOW_MAXIMIZED);
    UiSettle(200);
    ASSERT_GT(record->viewTop, 2 * DisplayBorder());
    Screenshot("editor-ruler-maximised");
    Prefs.showRuler = 3;
    PlatformInvalidate(window, nullptr);
    UiSettle(50);
    Screenshot("editor-ruler-maximised-mm");
    Prefs.showRuler = 0;
}

TEST_F(UiEditor, ALargePictureOpensWithinTheWorkspaceAndFitBringsItBack)
{
    // A 6000 x 4000 picture opened as the open flow opens it, at the zoom that fits the
    // workspace (the staggering of several is the headless tests' part).
    Rect workspace;
    PlatformGetClientRect(PlatformWorkspace(), &workspace);
    WindowHandle large = nullptr;
    int slot = -1;
    ImageWindow *picture = nullptr;
    ASSERT_EQ(SlotAllocate(&slot, &picture), ERROR_NONE);
    ASSERT_EQ(ImageAlloc(&picture->picture.image, TYPE_GRAY8, 6000, 4000, 300.0), ERROR_NONE);
    for (int y = 0; y < 4000; y++)
        for (int x = 0; x < 6000; x++)
            picture->picture.image.rows[y][x] = ((x / 500 + y / 500) & 1) ? 200 : 60;
    picture->zoom = InitialZoom(6000, 4000);
    ASSERT_EQ(ImageWindowShow(picture, &large), ERROR_NONE);
    UiSettle(100);
    Screenshot("editor-large-picture");

    // Pushed half out of the workspace, Zoom Out to Fit Screen brings it back whole.
    Rect rect;
    PlatformGetWindowRect(large, &rect);
    PlatformMoveWindow(large, workspace.right / 2, workspace.bottom / 2, rect.right - rect.left,
                       rect.bottom - rect.top);
    UiSettle(50);
    Command(COMMAND_ZOOM_FIT);
    PlatformGetWindowRect(large, &rect);
    EXPECT_GE(rect.left, 0);
    EXPECT_GE(rect.top, 0);
    EXPECT_LE(rect.right, workspace.right);
    EXPECT_LE(rect.bottom, workspace.bottom);
    EXPECT_EQ(WindowRecord(large)->scrollRangeX, 0);
    EXPECT_EQ(WindowRecord(large)->scrollRangeY, 0);
    Screenshot("editor-large-picture-fit");
}

// The screen's window that holds a widget, where keys from the keyboard arrive.
static QWindow *ScreenWindowOf(QWidget *widget)
{
    return widget->window()->windowHandle();
}

// The child of the workspace with a title, or null.
static WindowHandle ChildTitled(const char *title)
{
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child))
        if (Title(child) == title) return child;
    return nullptr;
}

TEST_F(UiEditor, TheGridDialogShowsTheThirdsOnThePictureAsTheyAreChosen)
{
    Command(COMMAND_ZOOM_ONE);
    // The dialog is modal: what the user does happens inside its loop.
    static UiEditor *test;
    test = this;
    QTimer::singleShot(200, []() {
        WindowHandle dialog = ChildTitled("Window Grid");
        if (dialog == nullptr) {
            ADD_FAILURE() << "no Window Grid dialog";
            return;
        }
        QWidget *list = QtPlatformWidget(PlatformControl(dialog, GRID_DIVISIONS));
        EXPECT_TRUE(list->hasFocus());
        // Two steps down the list from the keyboard of the screen: thirds, drawn on the
        // picture at once.
        QTest::keyClick(ScreenWindowOf(list), Qt::Key_Down);
        QTest::keyClick(ScreenWindowOf(list), Qt::Key_Down);
        UiSettle(100);
        EXPECT_EQ(test->record->gridDivisions, 3);
        test->Screenshot("editor-grid-dialog");
        QTest::mouseClick(QtPlatformWidget(PlatformControl(dialog, DIALOG_OK)), Qt::LeftButton);
    });
    PlatformSendMessage(FrameWindow, MSG_COMMAND, COMMAND_GRID, 0);
    UiSettle(100);
    EXPECT_EQ(ChildTitled("Window Grid"), nullptr);
    EXPECT_EQ(record->gridDivisions, 3);
    Screenshot("editor-grid-thirds");
}

TEST_F(UiEditor, NegativeAndCopyShowTheirPictureAtOnce)
{
    for (int id : {(int)COMMAND_NEGATIVE, (int)COMMAND_COPY}) {
        SCOPED_TRACE(id);
        PlatformActivateWindow(window);
        Command(id);
        WindowHandle made = ActiveWindow;
        ASSERT_NE(made, window);
        const ImageWindow *result = WindowRecord(made);
        // What the screen shows in the middle of the view is what the view holds there,
        // not the border's white of a window painted before its picture was ready.
        QImage shown = QtPlatformWidget(made)->grab().toImage();
        int x = result->viewWidth / 2;
        int y = result->viewHeight / 2;
        const uint8_t *pixel = result->screen.rows[result->viewHeight - 1 - y] + 3 * x;
        QRgb at = shown.pixel(result->viewLeft + x, result->viewTop + y);
        EXPECT_EQ(qRed(at), pixel[2]);
        EXPECT_EQ(qGreen(at), pixel[1]);
        EXPECT_EQ(qBlue(at), pixel[0]);
        Screenshot(id == COMMAND_NEGATIVE ? "editor-negative" : "editor-copy");
    }
}
