// What the UI tests share: the Qt platform started afresh for each test on the offscreen
// screen, a procedure that records the messages of windows as text, a frame to hold the
// children, waiting for Qt, and screenshots kept under the build's test-output/ui.
#pragma once

#include <QImage>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/qt/QtPlatform.h"

class QWidget;

// The messages received since the last clear, as "title:message" with the parameters of
// the messages whose parameters matter ("a:5(200x200)", "a:513(30,40;5)").
extern std::vector<std::string> UiLog;

// Logs every message and answers as the default procedure; what a test wants beyond that
// it does in UiHook, called first (a non-zero answer is returned without logging).
MessageResult UiRecording(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam);
extern MessageResult (*UiHook)(WindowHandle window, uint32_t message, uintptr_t wParam,
                               intptr_t lParam);

// Messages of one window or message number in the log.
std::vector<std::string> UiLogOf(const char *title);
int UiLogCount(const std::string &entry);

// A child of the workspace with the recording procedure; the size includes the frame.
WindowHandle UiChild(const char *title, int width, int height, uint32_t style = STYLE_SIZING);

// A click and a key as the screen delivers them: through the main window's QWindow, where
// the platform's input gate first sees them.
void UiClickOnScreen(QWidget *widget, QPoint at, Qt::MouseButton button = Qt::LeftButton);
void UiKeyOnScreen(Qt::Key key);

// Calls act with the modal dialog (or pop-up menu) as soon as it is up, however long Qt
// takes to show it on a busy machine.
void UiWhenModal(void (*act)(QWidget *dialog));
void UiWhenPopup(void (*act)(QWidget *popup));

// Lets Qt deliver what is pending (posted messages, paints, layouts) for a moment.
void UiSettle(int milliseconds = 20);

// Saves a picture as PNG under test-output/ui and returns the path.
std::string UiSaveScreenshot(const QImage &picture, const std::string &name);

// The test data and output folders.
std::string UiDataPath(const std::string &name);

// Starts the whole editor on Qt: the start-up, the frame at 1280 x 860 and active, and the
// sample picture open in *sample. Call it under ASSERT_NO_FATAL_FAILURE; Shutdown ends it.
void UiStartEditorWithSample(QMainWindow **main, WindowHandle *sample);

// The whole editor with the sample open in input; Open runs a menu command whose dialog then
// stands in dialog (call it under ASSERT_NO_FATAL_FAILURE). TearDown ends the editor.
class UiEditorTest : public testing::Test {
  protected:
    QMainWindow *main = nullptr;
    WindowHandle input = nullptr;
    WindowHandle dialog = nullptr;
    void SetUp() override;
    void TearDown() override;
    void Open(int command);
};

class UiTest : public testing::Test {
  protected:
    WindowHandle frame = nullptr;
    void SetUp() override;
    void TearDown() override;
};
