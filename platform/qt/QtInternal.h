// What the files of the Qt platform share: its part of the window record, the widgets that
// turn Qt's events into the messages of platform/Platform.h, and the state of the input gate.
//
// A window of the program is a record in the window core's table, so that a handle stays a
// valid pointer after its window has gone and PlatformWindowExists can answer for any
// handle. The record's side points at its widgets; the widgets point back at the record with
// its serial, and forward an event only while the record is still the window they were made
// for.
#pragma once

#ifndef VISTEL_QT_PLATFORM
#error "only platform/qt, the editor's main and the UI tests may see the Qt platform"
#endif

#include <QImage>
#include <QMainWindow>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QWidget>
#include <cstdint>

#include "core/Helpers.h"
#include "core/Progress.h"
#include "platform/Platform.h"
#include "platform/WindowCore.h"

class QMimeData;
class QPainter;
class QTimer;

class ClientWidget;
class ChildFrame;

// The Qt part of a window record: its widgets, and what it was last told of its size and
// place, so that a message goes out only when that changes.
struct WindowSide {
    QWidget *widget;      // the client: where events come from and where drawing shows
    ClientWidget *client; // the same when it is one of ours (children, custom controls)
    ChildFrame *frame;    // a child's frame inside the workspace, else null
    QWidget *dock;        // a docked pane's dock widget, else null
    int sentWidth;        // the client size of the last MSG_SIZE
    int sentHeight;
    uint32_t sentSizeKind; // SIZE_* of the last MSG_SIZE
    int sentX;             // the client position of the last MSG_MOVE
    int sentY;
    DrawContext *painting; // the context of a paint or of PlatformBeginDraw under way
    int scrollPosition;    // a scroll bar's position as the program last set it
    int scrollRange;
    int scrollPage;
    int cancelPressed; // 1 when a progress window's Cancel was pressed since the last pump
};

// The frame's main window and its workspace, made by QtPlatformStart.
extern QMainWindow *QtMainWindow;
extern QMdiArea *QtWorkspaceArea;
extern WindowHandle QtFrameRecord;
extern WindowHandle QtWorkspaceRecord;

// The fonts of dialogs and their small variant.
extern QFont *QtDialogFont;
extern QFont *QtSmallFont;

// Above zero while PlatformProgressPump lets Qt run: events of other windows are not
// forwarded to their procedures then, and posted messages and timers wait.
extern int QtProgressPumping;

// Letting Qt run costs far more than a row of work: the pumps of long work look at the clock
// and yield at most this often, a frame at 60 Hz, so that batch work is not slowed by them.
constexpr uint32_t QT_PUMP_INTERVAL = 16; // milliseconds

// 1 when QT_PUMP_INTERVAL or more has passed since *last, which then becomes now.
int QtPumpDue(uint32_t *last);

// Calls the procedure of a window's class for a message that comes from Qt's events:
// nothing while a progress window pumps.
MessageResult QtForward(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam);

// The record a widget belongs to (the widget itself or the nearest ancestor that is a
// window of ours), or null.
WindowHandle QtRecordOfWidget(QWidget *widget);

// The client size of a window, also while it is hidden and Qt has not laid it out.
void QtClientSize(WindowHandle window, int *width, int *height);

// Sends MSG_SIZE and MSG_MOVE when the client's size or position differ from the last sent.
void QtReportSize(WindowHandle window);
void QtReportMove(WindowHandle window);

// KEYS_* of Qt's modifiers.
uint32_t QtKeysOf(Qt::KeyboardModifiers modifiers);

// Paints what waits to be painted into the window's picture (MSG_PAINT).
void QtPaintPending(WindowHandle window);

// Text of ours (UTF-8) and back.
QString QtText(const char *text);
void QtCopyText(const QString &text, char *out, int size);

// The input gate: while a progress window or a modal window is open, user input reaches only
// it and the windows outside the frame (message boxes, file dialogs, pop-ups).
void QtGatePush(QWidget *allowed);
void QtGatePop(QWidget *allowed);

// Hides a child's frame and deletes it once Qt is done with it, keeping the program's active
// child active.
void QtFrameDispose(QMdiSubWindow *frame);

// Ends the modal loop of a window that is being destroyed, as if cancelled.
void QtModalWindowGone(WindowHandle window);

// Posted messages held back while a progress window pumped go out now.
void QtReleaseDeferred(void);

// The class background a window's picture is erased to before MSG_PAINT, 0xRRGGBB.
uint32_t QtBackground(WindowHandle window);

// The client widget of children and custom controls: forwards Qt's events to the window's
// procedure as messages and shows the window's picture, which drawing fills.
class ClientWidget : public QWidget {
  public:
    ClientWidget(WindowHandle window, QWidget *parent);
    WindowHandle window;
    uint32_t serial;
    QImage picture; // the client area as the procedure drew it, 32 bits per pixel
    WindowHandle Alive(void) const;
    // Makes picture the client's size, keeping what fits of the old one.
    void PictureFit(int width, int height);

  protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
};

// The frame of a child in the workspace: turns the user's close into MSG_CLOSE and reports
// moves and changes of state.
class ChildFrame : public QMdiSubWindow {
  public:
    ChildFrame(WindowHandle window, QWidget *parent);
    WindowHandle window;
    uint32_t serial;
    WindowHandle Alive(void) const;

  protected:
    void closeEvent(QCloseEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void changeEvent(QEvent *event) override;
};

// The frame's main window.
class MainFrameWidget : public QMainWindow {
  public:
    MainFrameWidget();

  protected:
    void closeEvent(QCloseEvent *event) override;
    void changeEvent(QEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
};

// The workspace: reports its size to the frame.
class WorkspaceWidget : public QMdiArea {
  public:
    WorkspaceWidget();

  protected:
    void resizeEvent(QResizeEvent *event) override;
};

// Delivers MSG_DROP_FILES for the files of a drop to window; 1 when there were any.
int QtDropFiles(WindowHandle window, const QMimeData *data, int x, int y);

// Menu hooks for the input gate: MSG_INIT_MENU before a menu key fires.
int QtMenuHasShortcut(const QKeySequence &sequence);

// Start-up and shut-down pieces of each file.
void QtWindowsStart(void);
void QtWindowsStop(void);
void QtMenuStop(void);
void QtDialogsStop(void);
void QtMetricsStart(void);
