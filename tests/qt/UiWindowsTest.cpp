// Windows, messages, controls, menus and modal loops of the Qt platform, driven through
// Qt's own events: the procedures must hear what the headless platform tells the shell's
// tests they hear, in the same order.
#include <QAbstractSlider>
#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QScrollBar>
#include <QStyle>
#include <QTest>
#include <QTimer>

#include "core/Errors.h"
#include "tests/qt/UiSupport.h"
#include "ui/MessageBox.h"

static QWidget *Client(WindowHandle window)
{
    return QtPlatformWidget(window);
}

static const std::string Message(const char *title, uint32_t message,
                                 const std::string &params = "")
{
    return std::string(title) + ":" + std::to_string(message) + params;
}

TEST_F(UiTest, CreationSendsCreateSizeAndMoveOnceWithTheClientSize)
{
    WindowHandle window = UiChild("a", 208, 228);
    ASSERT_NE(window, nullptr);
    // The style's frame takes 8 pixels across and 28 down; the client is at (14, 44).
    std::vector<std::string> expected = {"a:1", "a:5(200x200)", "a:3(14,44)"};
    EXPECT_EQ(UiLog, expected);
    // Showing and laying out on the screen repeats nothing.
    UiSettle();
    EXPECT_EQ(UiLog, expected);
    EXPECT_EQ(Client(window)->size(), QSize(200, 200));
    Rect client;
    PlatformGetClientRect(window, &client);
    EXPECT_EQ(client.right, 200);
    EXPECT_EQ(client.bottom, 200);

    // A move and a resize report the client's new place and size, once each.
    UiLog.clear();
    PlatformMoveWindow(window, 50, 60, 308, 128);
    UiSettle();
    expected = {"a:3(54,84)", "a:5(300x100)"};
    EXPECT_EQ(UiLog, expected);
}

TEST_F(UiTest, DestroyingTheActiveChildActivatesTheNext)
{
    WindowHandle a = UiChild("a", 208, 228);
    WindowHandle b = UiChild("b", 208, 228);
    PlatformActivateWindow(a);
    PlatformActivateWindow(b);
    EXPECT_EQ(PlatformFirstChild(), b);
    EXPECT_EQ(PlatformNextChild(b), a);
    UiSettle();
    UiLog.clear();
    PlatformDestroyWindow(b);
    UiSettle();
    EXPECT_EQ(PlatformActiveWindow(), a);
    EXPECT_FALSE(PlatformWindowExists(b));
    std::vector<std::string> expected = {"b:2", Message("a", MSG_ACTIVATE)};
    EXPECT_EQ(UiLog, expected);
    EXPECT_EQ(QtPlatformMainWindow()->findChild<QMdiArea *>()->activeSubWindow(),
              QtPlatformFrameWidget(a));
}

TEST_F(UiTest, AClickOnAChildActivatesItThroughItsProcedure)
{
    WindowHandle a = UiChild("a", 208, 228);
    WindowHandle b = UiChild("b", 208, 228);
    PlatformMoveWindow(b, 300, 20, 208, 228);
    PlatformActivateWindow(a);
    UiSettle();
    UiLog.clear();
    QTest::mouseClick(Client(b), Qt::LeftButton, Qt::NoModifier, QPoint(30, 40));
    UiSettle();
    EXPECT_EQ(PlatformActiveWindow(), b);
    EXPECT_EQ(UiLogCount(Message("a", MSG_ACTIVATE)), 1);
    EXPECT_EQ(UiLogCount(Message("b", MSG_ACTIVATE)), 1);
    EXPECT_EQ(UiLogCount(Message("b", MSG_LBUTTON_DOWN, "(30,40;1)")), 1);
}

// The queue itself is the window core's and is tested there; here Qt's loop must take each
// message from it.
TEST_F(UiTest, PostedMessagesGoOutFromQtsLoopInOrder)
{
    WindowHandle a = UiChild("a", 208, 228);
    PlatformPostMessage(a, 0x8001, 0, 0);
    PlatformPostMessage(a, 0x8003, 0, 0);
    UiLog.clear();
    UiSettle();
    std::vector<std::string> expected = {Message("a", 0x8001), Message("a", 0x8003)};
    EXPECT_EQ(UiLog, expected);
}

TEST_F(UiTest, MouseKeysWheelAndCloseReachTheProcedure)
{
    WindowHandle a = UiChild("a", 208, 228);
    PlatformActivateWindow(a);
    UiSettle();
    UiLog.clear();
    QWidget *client = Client(a);
    QTest::mouseClick(client, Qt::LeftButton, Qt::ShiftModifier, QPoint(30, 40));
    QTest::mouseClick(client, Qt::RightButton, Qt::NoModifier, QPoint(5, 6));
    QTest::keyClick(client, Qt::Key_PageDown);
    QTest::keyClick(client, Qt::Key_Left, Qt::ControlModifier);
    QTest::keyClick(client, 'x');
    QTest::keyClick(client, Qt::Key_Escape);
    QTest::keyClick(client, Qt::Key_Tab);
    QWheelEvent wheel(QPointF(7, 8), client->mapToGlobal(QPointF(7, 8)), QPoint(), QPoint(0, -120),
                      Qt::NoButton, Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(client, &wheel);
    UiSettle();
    std::vector<std::string> expected = {
        Message("a", MSG_LBUTTON_DOWN, "(30,40;5)"), // Shift and the left button
        Message("a", MSG_LBUTTON_UP, "(30,40;4)"),
        Message("a", MSG_RBUTTON_DOWN, "(5,6;2)"),
        Message("a", MSG_RBUTTON_UP, "(5,6;0)"),
        Message("a", MSG_KEY_DOWN, "(34;0)"),
        Message("a", MSG_KEY_DOWN, "(37;8)"),
        Message("a", MSG_CHAR, "(120;0)"),
        // Esc and Tab go to the frame first, which lets them pass here.
        Message("Frame", MSG_CHAR, "(27;0)"),
        Message("a", MSG_CHAR, "(27;0)"),
        Message("Frame", MSG_CHAR, "(9;0)"),
        Message("a", MSG_CHAR, "(9;0)"),
        Message("a", MSG_MOUSE_WHEEL, "(-120;8)"),
    };
    EXPECT_EQ(UiLog, expected);

    // The frame's close button asks the procedure, whose default destroys the window.
    UiLog.clear();
    QtPlatformFrameWidget(a)->close();
    UiSettle();
    expected = {Message("a", MSG_CLOSE), Message("a", MSG_DESTROY)};
    EXPECT_EQ(UiLog, expected);
    EXPECT_FALSE(PlatformWindowExists(a));
}

TEST_F(UiTest, TabReturnAndEscInTheWorkspaceGoToTheFrameFirst)
{
    // The frame takes Esc (as its key filter does for the active child) and lets Tab pass.
    UiHook = [](WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t) {
        if (PlatformWindowClass(window) == CLASS_FRAME && message == MSG_CHAR && wParam == 27)
            return (MessageResult)1;
        return (MessageResult)0;
    };
    WindowHandle a = UiChild("a", 208, 228);
    PlatformActivateWindow(a);
    PlatformSetFocus(a);
    UiSettle();
    UiLog.clear();
    QTest::keyClick(Client(a), Qt::Key_Escape);
    QTest::keyClick(Client(a), Qt::Key_Tab);
    std::vector<std::string> expected = {Message("Frame", MSG_CHAR, "(9;0)"),
                                         Message("a", MSG_CHAR, "(9;0)")};
    EXPECT_EQ(UiLog, expected);
}

TEST_F(UiTest, ControlsReportWhatTheUserDidToTheirParent)
{
    WindowHandle dialog = UiChild("d", 308, 228, STYLE_DIALOG);
    Rect place = {10, 10, 90, 30};
    WindowHandle button = PlatformCreateControl(dialog, CONTROL_BUTTON, 2, "Preview", 0, &place);
    place = {10, 40, 90, 60};
    WindowHandle box = PlatformCreateControl(dialog, CONTROL_CHECK_BOX, 3, "Auto", 0, &place);
    place = {10, 70, 150, 90};
    WindowHandle edit = PlatformCreateControl(dialog, CONTROL_EDIT, 4, "", 0, &place);
    place = {270, 0, 286, 190};
    WindowHandle bar = PlatformCreateControl(dialog, CONTROL_SCROLL_V, 6, "", 0, &place);
    ASSERT_TRUE(button && box && edit && bar);
    PlatformActivateWindow(dialog);
    UiSettle();
    UiLog.clear();

    QTest::mouseClick(QtPlatformWidget(button), Qt::LeftButton);
    QTest::mouseClick(QtPlatformWidget(box), Qt::LeftButton);
    EXPECT_EQ(PlatformControlValue(dialog, 3), 1);
    QTest::keyClicks(QtPlatformWidget(edit), "ab");
    char text[16];
    PlatformGetControlText(dialog, 4, text, sizeof text);
    EXPECT_STREQ(text, "ab");
    // What the program sets is not reported back.
    PlatformSetControlText(dialog, 4, "xyz");
    PlatformSetControlValue(dialog, 3, 0);
    PlatformEnableControl(dialog, 2, 0);
    QTest::mouseClick(QtPlatformWidget(button), Qt::LeftButton);
    std::vector<std::string> expected = {
        Message("d", MSG_COMMAND, "(2,0)"), Message("d", MSG_COMMAND, "(3,0)"),
        Message("d", MSG_COMMAND, "(4,1)"), Message("d", MSG_COMMAND, "(4,1)")};
    EXPECT_EQ(UiLog, expected);
    PlatformGetControlText(dialog, 4, text, sizeof text);
    EXPECT_STREQ(text, "xyz");

    // A scroll bar of positions 0..100 with a page of 20 runs its thumb to 100, the page
    // only sizing it; an arrow click asks the parent and leaves the thumb where the program
    // put it.
    PlatformSetScrollBar(bar, 100, 10, 20);
    QScrollBar *scroll = (QScrollBar *)QtPlatformWidget(bar);
    EXPECT_EQ(scroll->maximum(), 100);
    EXPECT_EQ(scroll->pageStep(), 20);
    UiLog.clear();
    scroll->triggerAction(QAbstractSlider::SliderSingleStepAdd);
    scroll->triggerAction(QAbstractSlider::SliderPageStepSub);
    expected = {Message("d", MSG_VSCROLL, "(1,11)"), Message("d", MSG_VSCROLL, "(2,0)")};
    EXPECT_EQ(UiLog, expected);
    EXPECT_EQ(scroll->value(), 10);
    EXPECT_EQ(PlatformControlValue(dialog, 6), 10);

    // Controls go with their window, each after it.
    UiLog.clear();
    PlatformDestroyWindow(dialog);
    EXPECT_EQ(PlatformControl(dialog, 3), nullptr);
    EXPECT_FALSE(PlatformWindowExists(bar));
}

TEST_F(UiTest, MenusInitialiseBeforeAShortcutAndReportTheCommand)
{
    static const MenuItem MENU[] = {{-1, "&File", 0},           {1002, "&Open...\tCtrl+O", 1},
                                    {1003, "&Save\tCtrl+S", 1}, {0, "", 1},
                                    {1100, "&1: a.tif", 1},     {-1, "&Edit", 0},
                                    {1201, "&Undo\tCtrl+Z", 1}, {0, nullptr, 0}};
    PlatformSetMenu(MENU);
    // The frame disables Save each time the menus are brought up to date.
    UiHook = [](WindowHandle window, uint32_t message, uintptr_t, intptr_t) {
        if (PlatformWindowClass(window) == CLASS_FRAME && message == MSG_INIT_MENU)
            PlatformEnableMenuItem(1003, 0);
        return (MessageResult)0;
    };
    WindowHandle a = UiChild("a", 208, 228);
    UiSettle();
    Client(a)->setFocus();
    UiLog.clear();
    QTest::keyClick(Client(a), Qt::Key_O, Qt::ControlModifier);
    QTest::keyClick(Client(a), Qt::Key_S, Qt::ControlModifier);
    UiSettle();
    std::vector<std::string> expected = {Message("Frame", MSG_INIT_MENU),
                                         Message("Frame", MSG_COMMAND, "(1002,0)"),
                                         Message("Frame", MSG_INIT_MENU)};
    EXPECT_EQ(UiLog, expected);

    // The recent files list grows after its first item and shrinks.
    PlatformSetMenuItem(1101, 1100, "&2: b.tif");
    PlatformSetMenuItem(1100, 0, nullptr);
    QMenu *file = QtPlatformMainWindow()->menuBar()->findChildren<QMenu *>().first();
    QStringList labels;
    for (QAction *action : file->actions())
        labels.append(action->isSeparator() ? "-" : action->text());
    EXPECT_EQ(labels, QStringList({"&Open...\tCtrl+O", "&Save\tCtrl+S", "-", "&2: b.tif"}));
    PlatformCheckMenuItem(1201, 1);
    UiLog.clear();
    file->actions().last()->trigger();
    expected = {Message("Frame", MSG_COMMAND, "(1101,0)")};
    EXPECT_EQ(UiLog, expected);
}

TEST_F(UiTest, AModalLoopEndsWithItsResultAndKeepsInputFromOtherWindows)
{
    WindowHandle other = UiChild("other", 208, 228);
    WindowHandle modal = UiChild("modal", 208, 228, STYLE_DIALOG);
    PlatformMoveWindow(modal, 300, 20, 208, 228);
    Rect place = {10, 10, 90, 30};
    WindowHandle button = PlatformCreateControl(modal, CONTROL_BUTTON, 1, "OK", 0, &place);
    UiHook = [](WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t) {
        if (message == MSG_COMMAND && (wParam & 0xffff) == 1) PlatformEndModal(window, 6);
        return (MessageResult)0;
    };
    UiSettle();
    UiLog.clear();
    PlatformActivateWindow(other);
    PlatformSetFocus(other);
    UiLog.clear();
    QTimer::singleShot(0, [other, button]() {
        UiClickOnScreen(QtPlatformWidget(other), QPoint(5, 5));
        UiKeyOnScreen(Qt::Key_X);
        UiClickOnScreen(QtPlatformWidget(button), QPoint(5, 5));
    });
    EXPECT_EQ(PlatformRunModal(modal), 6);
    // The modal window takes the activation from the other, which hears nothing else.
    EXPECT_EQ(UiLogOf("other"), std::vector<std::string>({Message("other", MSG_ACTIVATE)}));
    EXPECT_EQ(UiLogCount(Message("modal", MSG_COMMAND, "(1,0)")), 1);
    // Once the loop has ended the other window hears the mouse again.
    UiClickOnScreen(QtPlatformWidget(other), QPoint(5, 5));
    EXPECT_EQ(UiLogCount(Message("other", MSG_LBUTTON_DOWN, "(5,5;1)")), 1);
}

TEST_F(UiTest, TheMessageDialogAnswersWithTheButtonPressed)
{
    static Qt::WindowFlags flags;
    UiWhenModal([](QWidget *dialog) {
        UiSaveScreenshot(dialog->grab().toImage(), "message-dialog");
        flags = dialog->windowFlags();
        QPushButton *no = nullptr;
        for (QPushButton *button : dialog->findChildren<QPushButton *>())
            if (button->text() == "&No") no = button;
        ASSERT_NE(no, nullptr);
        QTest::mouseClick(no, Qt::LeftButton);
    });
    const char *text = "Save changes to \"sample.tif\"?";
    EXPECT_EQ(MessageDialog(nullptr, "Attention", MESSAGE_YES_NO_CANCEL, text), ANSWER_NO);
    // A message is closed or answered: its frame has no minimise or maximise button.
    EXPECT_FALSE(flags & Qt::WindowMinimizeButtonHint);
    EXPECT_FALSE(flags & Qt::WindowMaximizeButtonHint);

    // Esc answers Cancel.
    QTimer::singleShot(
        50, []() { QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Escape); });
    EXPECT_EQ(MessageDialog(nullptr, "Attention", MESSAGE_YES_NO_CANCEL, text), ANSWER_CANCEL);

    // An error, with the sign of one.
    UiWhenModal([](QWidget *dialog) {
        UiSaveScreenshot(dialog->grab().toImage(), "message-dialog-error");
        ((QDialog *)dialog)->accept();
    });
    ShowError(ERROR_TARGET_PROFILE_REQUIRED);
}

TEST_F(UiTest, TimersRepeatUntilKilled)
{
    static WindowHandle window;
    window = UiChild("a", 208, 228);
    UiHook = [](WindowHandle, uint32_t message, uintptr_t, intptr_t) {
        if (message == MSG_TIMER && UiLogCount(Message("a", MSG_TIMER, "(7,0)")) == 2)
            PlatformKillTimer(window, 7);
        return (MessageResult)0;
    };
    UiLog.clear();
    PlatformSetTimer(window, 7, 5);
    UiSettle(200);
    EXPECT_EQ(UiLogCount(Message("a", MSG_TIMER, "(7,0)")), 3);
}
