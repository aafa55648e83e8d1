// Shared support of the UI tests.
#include "tests/qt/UiSupport.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QTest>
#include <QTimer>
#include <cstring>

#include "core/Memory.h"
#include "shell/FileFlow.h"
#include "shell/Shell.h"

std::vector<std::string> UiLog;
MessageResult (*UiHook)(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam);

static std::string Params(uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    switch (message) {
    case MSG_SIZE:
        return "(" + std::to_string(ParamLow(lParam)) + "x" + std::to_string(ParamHigh(lParam)) +
               (wParam != SIZE_RESTORED ? ";" + std::to_string(wParam) : "") + ")";
    case MSG_MOVE:
        return "(" + std::to_string(ParamLow(lParam)) + "," + std::to_string(ParamHigh(lParam)) +
               ")";
    case MSG_COMMAND:
        return "(" + std::to_string(wParam & 0xffff) + "," + std::to_string(wParam >> 16) + ")";
    case MSG_MOUSE_MOVE:
    case MSG_LBUTTON_DOWN:
    case MSG_LBUTTON_UP:
    case MSG_LBUTTON_DOUBLE:
    case MSG_RBUTTON_DOWN:
    case MSG_RBUTTON_UP:
        return "(" + std::to_string(ParamLow(lParam)) + "," + std::to_string(ParamHigh(lParam)) +
               ";" + std::to_string(wParam) + ")";
    case MSG_MOUSE_WHEEL:
        return "(" + std::to_string((int16_t)(wParam >> 16)) + ";" +
               std::to_string(wParam & 0xffff) + ")";
    case MSG_KEY_DOWN:
    case MSG_CHAR: return "(" + std::to_string(wParam) + ";" + std::to_string(lParam) + ")";
    case MSG_HSCROLL:
    case MSG_VSCROLL:
    case MSG_TIMER:
        return "(" + std::to_string(wParam & 0xffff) + "," + std::to_string(wParam >> 16) + ")";
    default: return "";
    }
}

MessageResult UiRecording(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    if (UiHook != nullptr) {
        MessageResult answer = UiHook(window, message, wParam, lParam);
        if (answer != 0) return answer;
    }
    // Mouse moves and paints come whenever Qt likes; tests look at them on purpose only.
    if (message != MSG_MOUSE_MOVE && message != MSG_PAINT && message != MSG_SET_FOCUS &&
        message != MSG_KILL_FOCUS) {
        char title[64];
        PlatformGetWindowTitle(window, title, sizeof title);
        UiLog.push_back(std::string(title) + ":" + std::to_string(message) +
                        Params(message, wParam, lParam));
    }
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

std::vector<std::string> UiLogOf(const char *title)
{
    std::vector<std::string> entries;
    std::string prefix = std::string(title) + ":";
    for (const std::string &entry : UiLog)
        if (entry.compare(0, prefix.size(), prefix) == 0) entries.push_back(entry);
    return entries;
}

int UiLogCount(const std::string &entry)
{
    int count = 0;
    for (const std::string &logged : UiLog)
        count += logged == entry;
    return count;
}

WindowHandle UiChild(const char *title, int width, int height, uint32_t style)
{
    WindowCreate request = {CLASS_CHILD, 0, -1, title, style, 10, 20, width, height, nullptr, 0, 0};
    return PlatformCreateWindow(&request);
}

void UiClickOnScreen(QWidget *widget, QPoint at, Qt::MouseButton button)
{
    QMainWindow *main = QtPlatformMainWindow();
    QTest::mouseClick(main->windowHandle(), button, Qt::NoModifier, widget->mapTo(main, at));
}

void UiKeyOnScreen(Qt::Key key)
{
    QTest::keyClick(QtPlatformMainWindow()->windowHandle(), key);
}

// Polls every few milliseconds for a widget, then acts on it once.
static void WhenUp(QWidget *(*find)(void), void (*act)(QWidget *))
{
    QTimer *timer = new QTimer();
    QObject::connect(timer, &QTimer::timeout, [timer, find, act]() {
        QWidget *widget = find();
        if (widget == nullptr || !widget->isVisible()) return;
        timer->stop();
        timer->deleteLater();
        act(widget);
    });
    timer->start(10);
}

void UiWhenModal(void (*act)(QWidget *dialog))
{
    WhenUp([]() { return QApplication::activeModalWidget(); }, act);
}

void UiWhenPopup(void (*act)(QWidget *popup))
{
    WhenUp([]() { return QApplication::activePopupWidget(); }, act);
}

void UiSettle(int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    do {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    } while (clock.elapsed() < milliseconds);
}

std::string UiSaveScreenshot(const QImage &picture, const std::string &name)
{
    std::string folder = std::string(VISTEL_TEST_OUTPUT) + "/ui";
    QDir().mkpath(QString::fromStdString(folder));
    std::string path = folder + "/" + name + ".png";
    picture.save(QString::fromStdString(path), "PNG");
    return path;
}

std::string UiDataPath(const std::string &name)
{
    return std::string(VISTEL_SOURCE_DIR) + "/" + name;
}

void UiStartEditorWithSample(QMainWindow **main, WindowHandle *sample)
{
    ASSERT_EQ(QtPlatformStart(), ERROR_NONE);
    ASSERT_EQ(Initialise(), ERROR_NONE);
    ASSERT_EQ(CreateFrame(), ERROR_NONE);
    *main = QtPlatformMainWindow();
    (*main)->setGeometry(0, 0, 1280, 860);
    (*main)->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(*main));
    UiSettle(50);
    std::string path = UiDataPath("data/samples/sample.tif");
    ASSERT_EQ(OpenImageFile(path.c_str(), -1, sample), ERROR_NONE);
    ASSERT_NE(*sample, nullptr);
    UiSettle(100);
}

void UiEditorTest::SetUp()
{
    ASSERT_NO_FATAL_FAILURE(UiStartEditorWithSample(&main, &input));
}

void UiEditorTest::TearDown()
{
    Shutdown();
    QtPlatformStop();
}

void UiEditorTest::Open(int command)
{
    PlatformSendMessage(FrameWindow, MSG_COMMAND, (uintptr_t)command, 0);
    UiSettle(200);
    dialog = DialogWindow;
    ASSERT_NE(dialog, nullptr);
}

void UiTest::SetUp()
{
    ASSERT_EQ(QtPlatformStart(), ERROR_NONE);
    UiLog.clear();
    UiHook = nullptr;
    for (int windowClass = 0; windowClass < CLASS_COUNT; windowClass++)
        PlatformRegisterClass(windowClass, UiRecording);
    WindowCreate request = {CLASS_FRAME, 0,       -1, "Frame", STYLE_SIZING, 0, 0, 1000,
                            700,         nullptr, 0,  0};
    frame = PlatformCreateWindow(&request);
    ASSERT_NE(frame, nullptr);
    QMainWindow *main = QtPlatformMainWindow();
    main->setGeometry(0, 0, 1000, 700);
    main->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(main));
    UiSettle();
    UiLog.clear();
}

void UiTest::TearDown()
{
    UiHook = nullptr;
    QtPlatformStop();
}
