// Windows and messages on Qt: the record pool, the class procedures, creation and
// destruction, posted messages, timers, activation and the widgets that turn Qt's events
// into messages.
//
// The frame is a QMainWindow whose central widget is the workspace, a QMdiArea; children are
// QMdiSubWindows around a client widget of ours; custom controls are client widgets inside
// their parent. Qt only reports what happened: which window is active, what size a client
// has and what was last reported are kept here, so that the messages come in the order and
// number the shell's procedures expect (MSG_CREATE, MSG_SIZE, MSG_MOVE; MSG_DESTROY to a
// window, then to its controls; MSG_ACTIVATE to the window losing and the window gaining).
#include <QApplication>
#include <QCloseEvent>
#include <QDockWidget>
#include <QEventLoop>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QTimer>
#include <QUrl>
#include <QWindow>
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/Memory.h"
#include "platform/qt/QtInternal.h"
#include "platform/qt/QtPlatform.h"

QMainWindow *QtMainWindow;
QMdiArea *QtWorkspaceArea;
WindowHandle QtFrameRecord;
WindowHandle QtWorkspaceRecord;
int QtProgressPumping;

static const int GATE_DEPTH = 64;
static const size_t DROP_PATHS_MAX = 1 << 20; // bytes of dropped paths taken at once

static WindowSide Sides[WINDOW_TABLE_SIZE];
static QTimer *Timers[WINDOW_TIMER_COUNT]; // the Qt timer of each running timer of the core
// Wake-ups for posted messages that came while a progress window pumped: as many messages
// wait at the front of the core's queue, to go out in order once the pump is over.
static int HeldCount;
static WindowHandle Capture;
// Above zero while the program itself shows, activates or destroys children: Qt's own
// activation of a sub-window is then not the user's and sends nothing.
static int ActivationQuiet;
static QWidget *GateAllowed[GATE_DEPTH];
static int GateDepth;
static QObject *Dispatcher;
static QObject *Gate;
static int PostedEventType;
static int FlushEventType;

// ---------------------------------------------------------------------------------------
// The Qt part of the records.

WindowSide *WindowSideAt(int index)
{
    return &Sides[index];
}

void WindowSideClear(WindowHandle window)
{
    memset(window->side, 0, sizeof *window->side);
    window->side->sentWidth = window->side->sentHeight = -1;
    window->side->sentX = window->side->sentY = -32768;
}

void WindowSideRelease(WindowHandle window)
{
    // The widgets are gone or on their way.
    window->side->widget = nullptr;
    window->side->client = nullptr;
    window->side->frame = nullptr;
    window->side->dock = nullptr;
}

QString QtText(const char *text)
{
    return text != nullptr ? QString::fromUtf8(text) : QString();
}

void QtCopyText(const QString &text, char *out, int size)
{
    if (size <= 0) return;
    QByteArray bytes = text.toUtf8();
    int length = (int)bytes.size() < size - 1 ? (int)bytes.size() : size - 1;
    // A cut never leaves half a character behind.
    while (length > 0 && length < (int)bytes.size() && ((uint8_t)bytes[length] & 0xc0) == 0x80)
        length--;
    memcpy(out, bytes.constData(), (size_t)length);
    out[length] = 0;
}

uint32_t QtKeysOf(Qt::KeyboardModifiers modifiers)
{
    uint32_t keys = 0;
    if (modifiers & Qt::ShiftModifier) keys |= KEYS_SHIFT;
    if (modifiers & Qt::ControlModifier) keys |= KEYS_CONTROL;
    if (modifiers & Qt::AltModifier) keys |= KEYS_ALT;
    return keys;
}

static uint32_t ButtonsOf(Qt::MouseButtons buttons)
{
    uint32_t bits = 0;
    if (buttons & Qt::LeftButton) bits |= BUTTON_LEFT;
    if (buttons & Qt::RightButton) bits |= BUTTON_RIGHT;
    return bits;
}

WindowHandle QtRecordOfWidget(QWidget *widget)
{
    for (QWidget *at = widget; at != nullptr; at = at->parentWidget()) {
        for (int i = 0; i < WindowTableReached; i++) {
            PlatformWindow *window = &WindowTable[i];
            if (window->used &&
                (window->side->widget == at || (QWidget *)window->side->frame == at))
                return window;
        }
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------
// Messages.

MessageResult QtForward(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    // While a long operation pumps its progress window, no other procedure may run.
    if (QtProgressPumping > 0) return 0;
    return WindowDeliver(window, message, wParam, lParam);
}

// ---------------------------------------------------------------------------------------
// Posted messages wait in the core's queue; each one posts a wake-up event to one object,
// which delivers the message at the front when Qt's loop reaches it, so that posted
// messages and Qt's own events keep their order. Timers are the core's, run by QTimers.

class DispatcherObject : public QObject {
  protected:
    void customEvent(QEvent *event) override
    {
        if (event->type() == PostedEventType) {
            // Held during a progress pump, and behind those held until they have gone out,
            // so that the order stays as posted.
            if (QtProgressPumping > 0 || HeldCount > 0) {
                HeldCount++;
                return;
            }
            WindowPostedDeliver(1);
        } else if (event->type() == FlushEventType) {
            if (QtProgressPumping > 0) return; // a later release flushes them
            // Messages posted while these go out queue behind them, with wake-ups of their own.
            int count = HeldCount;
            HeldCount = 0;
            WindowPostedDeliver(count);
        }
    }
};

void PlatformPostMessage(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    if (Dispatcher == nullptr || !WindowPost(window, message, wParam, lParam)) return;
    QCoreApplication::postEvent(Dispatcher, new QEvent((QEvent::Type)PostedEventType));
}

void QtReleaseDeferred(void)
{
    if (Dispatcher != nullptr && HeldCount > 0)
        QCoreApplication::postEvent(Dispatcher, new QEvent((QEvent::Type)FlushEventType));
}

void PlatformSetTimer(WindowHandle window, int id, int milliseconds)
{
    if (Dispatcher == nullptr) return;
    int index = WindowTimerSet(window, id, milliseconds);
    if (index < 0) return;
    if (Timers[index] == nullptr) {
        Timers[index] = new QTimer(Dispatcher);
        QObject::connect(Timers[index], &QTimer::timeout, [index]() {
            if (QtProgressPumping == 0) WindowTimerFire(index);
        });
    }
    Timers[index]->start(WindowTimerPeriod(window, id));
}

void PlatformKillTimer(WindowHandle window, int id)
{
    WindowTimerKill(window, id);
}

void WindowSideTimerStop(int index)
{
    QTimer *timer = Timers[index];
    if (timer == nullptr) return;
    timer->stop();
    // The timer may be inside its own signal: it goes once that has returned.
    timer->deleteLater();
    Timers[index] = nullptr;
}

// ---------------------------------------------------------------------------------------
// Geometry: a child's frame takes frameSize across and borderSize down, as the style draws
// the frame of a QMdiSubWindow.

static void FrameSizes(int *across, int *down)
{
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    *across = metrics.frameSize;
    *down = metrics.borderSize;
}

void QtClientSize(WindowHandle window, int *width, int *height)
{
    *width = *height = 0;
    if (!WindowValid(window)) return;
    if (window->windowClass == CLASS_FRAME) {
        *width = QtWorkspaceArea->width();
        *height = QtWorkspaceArea->height();
        return;
    }
    if (window->windowClass == RECORD_WORKSPACE) {
        QRect inside = QtWorkspaceArea->contentsRect();
        *width = inside.width();
        *height = inside.height();
        return;
    }
    if (window->side->frame != nullptr && !window->side->frame->isVisible()) {
        // Qt lays out a hidden sub-window only when it is shown.
        int across, down;
        FrameSizes(&across, &down);
        *width = window->side->frame->width() - across;
        *height = window->side->frame->height() - down;
    } else if (window->side->widget != nullptr) {
        *width = window->side->widget->width();
        *height = window->side->widget->height();
    }
    if (*width < 0) *width = 0;
    if (*height < 0) *height = 0;
}

// The client's corner in its parent's client area.
static void ClientPosition(WindowHandle window, int *x, int *y)
{
    *x = *y = 0;
    if (window->side->frame != nullptr) {
        int across, down;
        FrameSizes(&across, &down);
        QPoint corner = window->side->frame->pos();
        if (window->side->frame->isVisible() && window->side->widget != nullptr)
            corner += window->side->widget->pos();
        else
            corner += QPoint(across / 2, down - across / 2);
        *x = corner.x();
        *y = corner.y();
    } else if (window->windowClass == CLASS_FRAME) {
        *x = QtMainWindow->x();
        *y = QtMainWindow->y();
    } else if (window->side->widget != nullptr) {
        *x = window->side->widget->x();
        *y = window->side->widget->y();
    }
}

static uint32_t SizeKind(WindowHandle window)
{
    QWidget *outer = window->side->frame != nullptr       ? (QWidget *)window->side->frame
                     : window->windowClass == CLASS_FRAME ? (QWidget *)QtMainWindow
                                                          : nullptr;
    if (outer == nullptr) return SIZE_RESTORED;
    if (outer->isMinimized()) return SIZE_MINIMIZED;
    if (outer->isMaximized()) return SIZE_MAXIMIZED;
    return SIZE_RESTORED;
}

void QtReportSize(WindowHandle window)
{
    if (!WindowValid(window)) return;
    int width, height;
    QtClientSize(window, &width, &height);
    uint32_t kind = SizeKind(window);
    if (width == window->side->sentWidth && height == window->side->sentHeight &&
        kind == window->side->sentSizeKind)
        return;
    window->side->sentWidth = width;
    window->side->sentHeight = height;
    window->side->sentSizeKind = kind;
    if (window->side->client != nullptr && kind != SIZE_MINIMIZED) {
        window->side->client->PictureFit(width, height);
        PlatformInvalidate(window, nullptr);
    }
    WindowDeliver(window, MSG_SIZE, kind, MakeParam(width, height));
}

void QtReportMove(WindowHandle window)
{
    if (!WindowValid(window)) return;
    int x, y;
    ClientPosition(window, &x, &y);
    if (x == window->side->sentX && y == window->side->sentY) return;
    window->side->sentX = x;
    window->side->sentY = y;
    WindowDeliver(window, MSG_MOVE, 0, MakeParam(x, y));
}

// ---------------------------------------------------------------------------------------
// The widgets.

ClientWidget::ClientWidget(WindowHandle window, QWidget *parent)
    : QWidget(parent), window(window), serial(window->serial)
{
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

WindowHandle ClientWidget::Alive(void) const
{
    return WindowAlive(window, serial) ? window : nullptr;
}

void ClientWidget::PictureFit(int width, int height)
{
    if (width < 1) width = 1;
    if (height < 1) height = 1;
    if (picture.width() == width && picture.height() == height) return;
    QImage fitted(width, height, QImage::Format_RGB32);
    uint32_t background = Alive() ? QtBackground(window) : 0x808080;
    fitted.fill(
        QColor((int)(background >> 16), (int)((background >> 8) & 255), (int)(background & 255)));
    if (!picture.isNull()) {
        QPainter painter(&fitted);
        painter.drawImage(0, 0, picture);
    }
    picture = fitted;
}

bool ClientWidget::event(QEvent *event)
{
    // Tab belongs to the procedure, not to Qt's focus chain.
    if (event->type() == QEvent::KeyPress) {
        QKeyEvent *key = (QKeyEvent *)event;
        if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab) {
            keyPressEvent(key);
            return true;
        }
    }
    return QWidget::event(event);
}

void ClientWidget::paintEvent(QPaintEvent *event)
{
    WindowHandle record = Alive();
    // During a progress pump the window shows what it last drew and waits for its paint.
    if (record != nullptr && QtProgressPumping == 0) QtPaintPending(record);
    QPainter painter(this);
    painter.drawImage(event->rect(), picture, event->rect());
}

void ClientWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    WindowHandle record = Alive();
    if (record != nullptr) QtReportSize(record);
}

void ClientWidget::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    WindowHandle record = Alive();
    // A child reports the moves of its frame; a control its own.
    if (record != nullptr && record->side->frame == nullptr) QtReportMove(record);
}

static void MouseMessage(ClientWidget *widget, uint32_t message, QMouseEvent *event)
{
    WindowHandle record = widget->Alive();
    if (record == nullptr) return;
    QPoint at = event->position().toPoint();
    uint32_t keys = QtKeysOf(event->modifiers()) | ButtonsOf(event->buttons());
    QtForward(record, message, keys, MakeParam(at.x(), at.y()));
}

void ClientWidget::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) MouseMessage(this, MSG_LBUTTON_DOWN, event);
    if (event->button() == Qt::RightButton) MouseMessage(this, MSG_RBUTTON_DOWN, event);
}

void ClientWidget::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) MouseMessage(this, MSG_LBUTTON_UP, event);
    if (event->button() == Qt::RightButton) MouseMessage(this, MSG_RBUTTON_UP, event);
}

void ClientWidget::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton) MouseMessage(this, MSG_LBUTTON_DOUBLE, event);
    if (event->button() == Qt::RightButton) MouseMessage(this, MSG_RBUTTON_DOWN, event);
}

void ClientWidget::mouseMoveEvent(QMouseEvent *event)
{
    MouseMessage(this, MSG_MOUSE_MOVE, event);
}

void ClientWidget::wheelEvent(QWheelEvent *event)
{
    WindowHandle record = Alive();
    if (record == nullptr) return;
    int delta = event->angleDelta().y();
    if (delta == 0) delta = event->angleDelta().x();
    QPoint at = event->position().toPoint();
    uint32_t keys = QtKeysOf(event->modifiers()) | ButtonsOf(event->buttons());
    QtForward(record, MSG_MOUSE_WHEEL, keys | ((uintptr_t)(uint16_t)delta << 16),
              MakeParam(at.x(), at.y()));
}

void ClientWidget::keyPressEvent(QKeyEvent *event)
{
    WindowHandle record = Alive();
    if (record == nullptr) return;
    uint32_t keys = QtKeysOf(event->modifiers());
    uint32_t code = 0;
    switch (event->key()) {
    case Qt::Key_PageUp: code = KEY_PAGE_UP; break;
    case Qt::Key_PageDown: code = KEY_PAGE_DOWN; break;
    case Qt::Key_End: code = KEY_END; break;
    case Qt::Key_Home: code = KEY_HOME; break;
    case Qt::Key_Left: code = KEY_LEFT; break;
    case Qt::Key_Up: code = KEY_UP; break;
    case Qt::Key_Right: code = KEY_RIGHT; break;
    case Qt::Key_Down: code = KEY_DOWN; break;
    case Qt::Key_Delete: code = KEY_DELETE; break;
    default: break;
    }
    if (code != 0) {
        QtForward(record, MSG_KEY_DOWN, code, keys);
        return;
    }
    uint32_t character = 0;
    switch (event->key()) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab: character = 9; break;
    case Qt::Key_Return:
    case Qt::Key_Enter: character = 13; break;
    case Qt::Key_Escape: character = 27; break;
    case Qt::Key_Backspace: character = 8; break;
    default: {
        // Characters typed, not the control codes that Ctrl with a letter makes: those are
        // the menus' shortcuts.
        QString text = event->text();
        if (!text.isEmpty() && text[0].unicode() >= 32 && text[0].unicode() != 127 &&
            !(event->modifiers() & Qt::ControlModifier))
            character = text[0].unicode();
    }
    }
    if (character == 0) {
        event->ignore();
        return;
    }
    QtForward(record, MSG_CHAR, character, keys);
}

void ClientWidget::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    WindowHandle record = Alive();
    if (record != nullptr) QtForward(record, MSG_SET_FOCUS, 0, 0);
}

void ClientWidget::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    WindowHandle record = Alive();
    if (record != nullptr) QtForward(record, MSG_KILL_FOCUS, 0, 0);
}

void ClientWidget::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void ClientWidget::dropEvent(QDropEvent *event)
{
    WindowHandle record = Alive();
    QPoint at = event->position().toPoint();
    if (record != nullptr && QtDropFiles(record, event->mimeData(), at.x(), at.y()))
        event->acceptProposedAction();
}

int QtDropFiles(WindowHandle window, const QMimeData *data, int x, int y)
{
    QList<QUrl> urls = data->urls();
    size_t bytes = 1;
    int count = 0;
    for (const QUrl &url : urls) {
        if (!url.isLocalFile()) continue;
        bytes += (size_t)url.toLocalFile().toUtf8().size() + 1;
        count++;
        if (bytes > DROP_PATHS_MAX) return 0;
    }
    if (count == 0) return 0;
    char *paths = (char *)MemoryAlloc(bytes);
    if (paths == nullptr) return 0;
    size_t at = 0;
    for (const QUrl &url : urls) {
        if (!url.isLocalFile()) continue;
        QByteArray path = url.toLocalFile().toUtf8();
        memcpy(paths + at, path.constData(), (size_t)path.size());
        at += (size_t)path.size();
        paths[at++] = 0;
    }
    paths[at] = 0;
    // The message carries a table of the paths, which point into the one block.
    const char **table = (const char **)MemoryAlloc(sizeof(const char *) * (size_t)count);
    if (table == nullptr) {
        MemoryFree(paths);
        return 0;
    }
    at = 0;
    for (int i = 0; i < count; i++) {
        table[i] = paths + at;
        at += strlen(paths + at) + 1;
    }
    DroppedFiles dropped = {count, table};
    QtForward(window, MSG_DROP_FILES, (uintptr_t)&dropped, MakeParam(x, y));
    MemoryFree(table);
    MemoryFree(paths);
    return 1;
}

ChildFrame::ChildFrame(WindowHandle window, QWidget *parent)
    : QMdiSubWindow(parent), window(window), serial(window->serial)
{
}

WindowHandle ChildFrame::Alive(void) const
{
    return WindowAlive(window, serial) ? window : nullptr;
}

void ChildFrame::closeEvent(QCloseEvent *event)
{
    // The procedure decides; its default destroys the window through the platform.
    event->ignore();
    WindowHandle record = Alive();
    if (record != nullptr && record->windowClass != RECORD_PROGRESS)
        QtForward(record, MSG_CLOSE, 0, 0);
}

void ChildFrame::moveEvent(QMoveEvent *event)
{
    QMdiSubWindow::moveEvent(event);
    WindowHandle record = Alive();
    if (record != nullptr && record->windowClass != RECORD_PROGRESS) QtReportMove(record);
}

void ChildFrame::changeEvent(QEvent *event)
{
    QMdiSubWindow::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange || Alive() == nullptr) return;
    if (isMinimized()) {
        QtReportSize(window);
        return;
    }
    // A restored or maximised frame is laid out after this event; the size is reported
    // once it is, and a change of state alone when the size stays.
    WindowHandle record = window;
    uint32_t recordSerial = serial;
    QTimer::singleShot(0, this, [record, recordSerial]() {
        if (WindowAlive(record, recordSerial)) QtReportSize(record);
    });
}

MainFrameWidget::MainFrameWidget()
{
    setAcceptDrops(true);
}

void MainFrameWidget::closeEvent(QCloseEvent *event)
{
    event->ignore();
    if (WindowValid(QtFrameRecord)) QtForward(QtFrameRecord, MSG_CLOSE, 0, 0);
}

void MainFrameWidget::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange) return;
    QTimer::singleShot(0, this, []() {
        if (WindowValid(QtFrameRecord)) QtReportSize(QtFrameRecord);
    });
}

void MainFrameWidget::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainFrameWidget::dropEvent(QDropEvent *event)
{
    QPoint at = event->position().toPoint();
    if (WindowValid(QtFrameRecord) && QtDropFiles(QtFrameRecord, event->mimeData(), at.x(), at.y()))
        event->acceptProposedAction();
}

WorkspaceWidget::WorkspaceWidget()
{
    // The program keeps its children inside the workspace (a new window, a fit, a zoom that
    // resizes), so the area never scrolls: scroll bars of its own would scroll the children
    // away from the places the program gave them, and take room from the layouts that just
    // fitted them.
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

void WorkspaceWidget::resizeEvent(QResizeEvent *event)
{
    QMdiArea::resizeEvent(event);
    if (WindowValid(QtFrameRecord)) QtReportSize(QtFrameRecord);
}

// ---------------------------------------------------------------------------------------
// Creation and destruction.

static Qt::WindowFlags ChildFlags(uint32_t style)
{
    Qt::WindowFlags flags = Qt::SubWindow | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                            Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;
    if (style & STYLE_MINIMIZE) flags |= Qt::WindowMinimizeButtonHint;
    if (style & STYLE_MAXIMIZE) flags |= Qt::WindowMaximizeButtonHint;
    return flags;
}

// Places a child's frame; one the user may not size keeps the size it is given.
static void FramePlace(WindowHandle window, int x, int y, int width, int height)
{
    if (!(window->style & STYLE_SIZING)) window->side->frame->setFixedSize(width, height);
    window->side->frame->setGeometry(x, y, width, height);
}

// The frame of the program's active child, or null.
static QMdiSubWindow *ActiveFrame(void)
{
    WindowHandle active = PlatformActiveWindow();
    return active != nullptr ? active->side->frame : nullptr;
}

// Shows a child without letting Qt's activation of it stand: activation is the program's.
static void ChildShow(WindowHandle window, int show)
{
    ActivationQuiet++;
    switch (show) {
    case SHOW_MINIMIZED: window->side->frame->showMinimized(); break;
    case SHOW_MAXIMIZED: window->side->frame->showMaximized(); break;
    case SHOW_RESTORE: window->side->frame->showNormal(); break;
    default: window->side->frame->show(); break;
    }
    QMdiSubWindow *active = ActiveFrame();
    if (QtWorkspaceArea->activeSubWindow() != active) QtWorkspaceArea->setActiveSubWindow(active);
    ActivationQuiet--;
}

static int MakeWidgets(PlatformWindow *window, const WindowCreate *request, int x, int y, int width,
                       int height)
{
    switch (request->windowClass) {
    case CLASS_FRAME:
        window->side->widget = QtMainWindow;
        QtMainWindow->setWindowTitle(QtText(window->title));
        return 1;
    case CLASS_CHILD:
    case CLASS_DOCUMENT: {
        window->side->frame = new ChildFrame(window, nullptr);
        window->side->frame->setAttribute(Qt::WA_DeleteOnClose, false);
        window->side->client = new ClientWidget(window, nullptr);
        window->side->client->setAcceptDrops(true);
        window->side->widget = window->side->client;
        window->side->frame->setWidget(window->side->client);
        window->side->frame->setWindowFlags(ChildFlags(request->style));
        window->side->frame->setWindowTitle(QtText(window->title));
        window->side->frame->hide();
        QtWorkspaceArea->addSubWindow(window->side->frame);
        window->side->frame->hide();
        FramePlace(window, x, y, width, height);
        return 1;
    }
    case CLASS_DOCK: {
        QDockWidget *dock = new QDockWidget(QtText(window->title), QtMainWindow);
        window->side->client = new ClientWidget(window, dock);
        window->side->widget = window->side->client;
        window->side->dock = dock;
        dock->setWidget(window->side->client);
        dock->resize(width, height);
        QtMainWindow->addDockWidget(Qt::LeftDockWidgetArea, dock);
        dock->hide();
        return 1;
    }
    case CLASS_CONTROL: {
        if (!WindowValid(request->parent) || request->parent->side->widget == nullptr) return 0;
        window->side->client = new ClientWidget(window, request->parent->side->widget);
        window->side->widget = window->side->client;
        window->side->client->setGeometry(x, y, width, height);
        window->side->client->hide();
        return 1;
    }
    default: return 0;
    }
}

int WindowSideMake(WindowHandle window, const WindowCreate *request)
{
    if (QtMainWindow == nullptr) return 0;
    if (request->windowClass == CLASS_FRAME && WindowValid(QtFrameRecord)) return 0;
    Rect place;
    WindowDefaultPlace(request, &place);
    if (!MakeWidgets(window, request, place.left, place.top, place.right - place.left,
                     place.bottom - place.top))
        return 0;
    if (request->windowClass == CLASS_FRAME) QtFrameRecord = window;
    return 1;
}

void WindowSideCreated(WindowHandle window, const WindowCreate *request)
{
    uint32_t serial = window->serial;
    QtReportSize(window);
    QtReportMove(window);
    if (!(request->style & STYLE_HIDDEN) && WindowAlive(window, serial))
        PlatformShowWindow(window, SHOW_NORMAL);
}

// The children of the workspace from front to back: Qt keeps them back to front.
static QList<QMdiSubWindow *> FramesFrontToBack(void)
{
    QList<QMdiSubWindow *> frames = QtWorkspaceArea->subWindowList(QMdiArea::StackingOrder);
    std::reverse(frames.begin(), frames.end());
    return frames;
}

// The record of a frame when it is a child of the workspace that counts as one.
static WindowHandle ChildOfFrame(QMdiSubWindow *frame)
{
    ChildFrame *child = dynamic_cast<ChildFrame *>(frame);
    if (child == nullptr) return nullptr;
    WindowHandle window = child->Alive();
    if (window == nullptr || window->windowClass == RECORD_PROGRESS) return nullptr;
    return window;
}

void WindowSideDestroying(WindowHandle window)
{
    if (Capture == window) PlatformReleaseCapture();
    QtModalWindowGone(window);
    ActivationQuiet++;
    if (window->windowClass == CLASS_FRAME) {
        QtFrameRecord = nullptr;
        QtMainWindow->hide();
    } else if (window->side->frame != nullptr) {
        // The widgets go once Qt has left the event that may have brought us here.
        window->side->frame->hide();
        window->side->frame->deleteLater();
    } else if (window->side->dock != nullptr) {
        window->side->dock->hide();
        window->side->dock->deleteLater();
    } else if (window->side->widget != nullptr) {
        window->side->widget->hide();
        window->side->widget->deleteLater();
    }
    ActivationQuiet--;
}

// ---------------------------------------------------------------------------------------
// Words, titles and places.

void PlatformSetWindowTitle(WindowHandle window, const char *title)
{
    if (!WindowValid(window)) return;
    WindowTitleStore(window, title);
    QString text = QtText(window->title);
    if (window->windowClass == CLASS_FRAME)
        QtMainWindow->setWindowTitle(text);
    else if (window->side->frame != nullptr)
        window->side->frame->setWindowTitle(text);
    else if (window->side->dock != nullptr)
        window->side->dock->setWindowTitle(text);
}

void PlatformShowWindow(WindowHandle window, int show)
{
    if (!WindowValid(window) || window->windowClass == RECORD_WORKSPACE) return;
    if (window->side->frame != nullptr) {
        if (show == SHOW_HIDE)
            window->side->frame->hide();
        else if (show != SHOW_NORMAL || window->side->frame->isHidden())
            ChildShow(window, show);
        return;
    }
    QWidget *widget = window->windowClass == CLASS_FRAME ? QtMainWindow
                      : window->side->dock != nullptr    ? window->side->dock
                                                         : window->side->widget;
    if (widget == nullptr) return;
    switch (show) {
    case SHOW_HIDE: widget->hide(); break;
    case SHOW_MINIMIZED: widget->showMinimized(); break;
    case SHOW_MAXIMIZED: widget->showMaximized(); break;
    case SHOW_RESTORE: widget->showNormal(); break;
    default:
        if (widget->isHidden()) widget->show();
        break;
    }
}

int PlatformWindowState(WindowHandle window)
{
    if (!WindowValid(window)) return SHOW_HIDE;
    QWidget *widget = window->side->frame != nullptr       ? (QWidget *)window->side->frame
                      : window->windowClass == CLASS_FRAME ? (QWidget *)QtMainWindow
                      : window->side->dock != nullptr      ? window->side->dock
                                                           : window->side->widget;
    if (widget == nullptr) return SHOW_NORMAL;
    if (widget->isHidden()) return SHOW_HIDE;
    if (widget->isMinimized()) return SHOW_MINIMIZED;
    if (widget->isMaximized()) return SHOW_MAXIMIZED;
    return SHOW_NORMAL;
}

void PlatformMoveWindow(WindowHandle window, int x, int y, int width, int height)
{
    if (!WindowValid(window) || window->windowClass == RECORD_WORKSPACE) return;
    if (width < 0) width = 0;
    if (height < 0) height = 0;
    if (window->side->frame != nullptr)
        FramePlace(window, x, y, width, height);
    else if (window->windowClass == CLASS_FRAME)
        QtMainWindow->setGeometry(x, y, width, height);
    else if (window->side->dock != nullptr)
        window->side->dock->resize(width, height);
    else if (window->side->widget != nullptr)
        window->side->widget->setGeometry(x, y, width, height);
    // A hidden window hears of its new place now, not when it is first shown.
    QtReportMove(window);
    QtReportSize(window);
}

void PlatformGetWindowRect(WindowHandle window, Rect *rect)
{
    *rect = {0, 0, 0, 0};
    if (!WindowValid(window)) return;
    QRect place;
    if (window->side->frame != nullptr)
        place = window->side->frame->geometry();
    else if (window->windowClass == CLASS_FRAME)
        place = QtMainWindow->geometry();
    else if (window->windowClass == RECORD_WORKSPACE)
        place = QRect(QPoint(0, 0), QtWorkspaceArea->size());
    else if (window->side->dock != nullptr)
        place = window->side->dock->geometry();
    else if (window->side->widget != nullptr)
        place = window->side->widget->geometry();
    *rect = {place.x(), place.y(), place.x() + place.width(), place.y() + place.height()};
}

void PlatformGetClientRect(WindowHandle window, Rect *rect)
{
    int width, height;
    QtClientSize(window, &width, &height);
    *rect = {0, 0, width, height};
}

WindowHandle PlatformWorkspace(void)
{
    return QtWorkspaceRecord;
}

void PlatformSetWorkspaceColor(uint32_t color)
{
    if (QtWorkspaceArea == nullptr) return;
    QtWorkspaceArea->setBackground(
        QBrush(QColor((int)((color >> 16) & 255), (int)((color >> 8) & 255), (int)(color & 255))));
}

WindowHandle PlatformFirstChild(void)
{
    if (QtWorkspaceArea == nullptr) return nullptr;
    for (QMdiSubWindow *frame : FramesFrontToBack()) {
        WindowHandle window = ChildOfFrame(frame);
        if (window != nullptr && window->parent == nullptr) return window;
    }
    return nullptr;
}

WindowHandle PlatformNextChild(WindowHandle window)
{
    if (!WindowValid(window) || window->side->frame == nullptr) return nullptr;
    int seen = 0;
    for (QMdiSubWindow *frame : FramesFrontToBack()) {
        WindowHandle child = ChildOfFrame(frame);
        if (child == nullptr || child->parent != nullptr) continue;
        if (seen) return child;
        if (child == window) seen = 1;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------
// Activation and focus.

void PlatformActivateWindow(WindowHandle window)
{
    if (ChildOfFrame(WindowValid(window) ? window->side->frame : nullptr) == nullptr) return;
    ActivationQuiet++;
    window->side->frame->raise();
    if (!window->side->frame->isHidden()) QtWorkspaceArea->setActiveSubWindow(window->side->frame);
    ActivationQuiet--;
    WindowActivationPass(window);
}

void QtFrameDispose(QMdiSubWindow *frame)
{
    ActivationQuiet++;
    frame->hide();
    frame->deleteLater();
    // Qt activates some other sub-window; the active one stays the program's.
    QMdiSubWindow *active = ActiveFrame();
    if (active != nullptr && !active->isHidden()) QtWorkspaceArea->setActiveSubWindow(active);
    ActivationQuiet--;
}

// The user activated a sub-window (a click, the keyboard, the window menu).
static void SubWindowActivated(QMdiSubWindow *frame)
{
    if (ActivationQuiet > 0 || frame == nullptr) return;
    WindowHandle window = ChildOfFrame(frame);
    if (window == nullptr || window == PlatformActiveWindow()) return;
    PlatformActivateWindow(window);
}

void PlatformSetFocus(WindowHandle window)
{
    if (!WindowValid(window)) {
        QWidget *focus = QApplication::focusWidget();
        if (focus != nullptr) focus->clearFocus();
        return;
    }
    if (window->side->widget != nullptr) window->side->widget->setFocus(Qt::OtherFocusReason);
}

void PlatformSetFocusFromKey(WindowHandle window)
{
    if (!WindowValid(window) || window->side->widget == nullptr) return;
    // The style marks the focus of a window whose focus the keyboard has moved.
    window->side->widget->window()->setAttribute(Qt::WA_KeyboardFocusChange);
    window->side->widget->setFocus(Qt::TabFocusReason);
}

WindowHandle PlatformFocusWindow(void)
{
    QWidget *focus = QApplication::focusWidget();
    if (focus == nullptr) return nullptr;
    WindowHandle window = QtRecordOfWidget(focus);
    return window != nullptr && window->windowClass != RECORD_WORKSPACE ? window : nullptr;
}

void PlatformSetCapture(WindowHandle window)
{
    if (!WindowValid(window) || window->side->widget == nullptr) return;
    PlatformReleaseCapture();
    Capture = window;
    window->side->widget->grabMouse();
}

void PlatformReleaseCapture(void)
{
    QWidget *grabber = QWidget::mouseGrabber();
    if (grabber != nullptr) grabber->releaseMouse();
    Capture = nullptr;
}

uint32_t PlatformKeyState(void)
{
    return QtKeysOf(QGuiApplication::queryKeyboardModifiers());
}

int PlatformShiftDown(void)
{
    return (QGuiApplication::queryKeyboardModifiers() & Qt::ShiftModifier) != 0;
}

// ---------------------------------------------------------------------------------------
// The input gate. While a progress window or a modal window is open, mouse and keys reach
// only it and the windows outside the frame (message boxes, file dialogs, pop-up lists);
// and the keys Tab, Return and Esc typed in the workspace first go to the frame as
// MSG_CHAR, which takes them by answering non-zero (the main loop's key filter).

static int IsInside(QWidget *widget, QWidget *allowed)
{
    for (QWidget *at = widget; at != nullptr; at = at->parentWidget())
        if (at == allowed) return 1;
    return 0;
}

static int IsUserInput(QEvent::Type type)
{
    switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
    case QEvent::Shortcut:
    case QEvent::ContextMenu:
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Drop:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletPress:
    case QEvent::TabletRelease:
    case QEvent::TabletMove: return 1;
    default: return 0;
    }
}

// The character of a key the frame's key filter looks at, or 0.
static uint32_t FilteredCharacter(const QKeyEvent *key)
{
    switch (key->key()) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab: return 9;
    case Qt::Key_Return:
    case Qt::Key_Enter: return 13;
    case Qt::Key_Escape: return 27;
    default: return 0;
    }
}

// 1 when input may reach widget now: it is inside the window the gate lets through, or in
// a window of its own outside the frame.
static int GatePasses(QWidget *widget)
{
    if (GateDepth == 0) return 1;
    QWidget *allowed = GateAllowed[(GateDepth < GATE_DEPTH ? GateDepth : GATE_DEPTH) - 1];
    return IsInside(widget, allowed) || widget->window() != QtMainWindow;
}

class GateObject : public QObject {
  protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        QEvent::Type type = event->type();
        if (type == QEvent::Close && object == QtMainWindow && GateDepth > 0 &&
            event->spontaneous())
            return true;
        if (!IsUserInput(type)) return false;
        // Input from the screen reaches the main window's QWindow before any widget, and
        // before Qt gives the focus to a widget clicked (which would activate its child):
        // it is judged there by the widget it is meant for.
        if (object->isWindowType()) {
            if (GateDepth == 0 || QtMainWindow == nullptr) return false;
            if ((QWindow *)object != QtMainWindow->windowHandle()) return false;
            QWidget *target = QApplication::focusWidget();
            if (event->isPointerEvent() && ((QPointerEvent *)event)->pointCount() > 0) {
                QPointF at = ((QPointerEvent *)event)->points().first().position();
                target = QtMainWindow->childAt(at.toPoint());
            }
            return !GatePasses(target != nullptr ? target : QtMainWindow);
        }
        QWidget *widget = object->isWidgetType() ? (QWidget *)object : nullptr;
        if (GateDepth > 0 && (widget == nullptr || !GatePasses(widget))) return true;
        // A key event that the focus did not take climbs to its parents: it is looked at
        // once, on its way to the focus.
        if (widget == nullptr || widget != QApplication::focusWidget()) return false;
        if (type == QEvent::ShortcutOverride) {
            QKeyEvent *key = (QKeyEvent *)event;
            // A menu's shortcut is about to fire: the frame brings the menus up to date first,
            // as it does before a menu opens.
            if (WindowValid(QtFrameRecord) &&
                QtMenuHasShortcut(QKeySequence(key->keyCombination())))
                QtForward(QtFrameRecord, MSG_INIT_MENU, 0, 0);
            return false;
        }
        if (type == QEvent::KeyPress) {
            QKeyEvent *key = (QKeyEvent *)event;
            uint32_t character = FilteredCharacter(key);
            if (character == 0 || !WindowValid(QtFrameRecord) || QtProgressPumping > 0)
                return false;
            if (widget->window() != QtMainWindow || !IsInside(widget, QtWorkspaceArea))
                return false;
            return WindowDeliver(QtFrameRecord, MSG_CHAR, character, QtKeysOf(key->modifiers())) !=
                   0;
        }
        return false;
    }
};

void QtGatePush(QWidget *allowed)
{
    if (GateDepth < GATE_DEPTH) GateAllowed[GateDepth] = allowed;
    GateDepth++;
}

void QtGatePop(QWidget *allowed)
{
    // Normally the innermost; a window that ends out of turn is taken out where it stands.
    int depth = GateDepth < GATE_DEPTH ? GateDepth : GATE_DEPTH;
    for (int i = depth - 1; i >= 0; i--) {
        if (GateAllowed[i] != allowed) continue;
        memmove(&GateAllowed[i], &GateAllowed[i + 1], sizeof(QWidget *) * (size_t)(depth - 1 - i));
        GateDepth--;
        return;
    }
}

// ---------------------------------------------------------------------------------------
// Start and stop.

void QtWindowsStart(void)
{
    PostedEventType = QEvent::registerEventType();
    FlushEventType = QEvent::registerEventType();
    Dispatcher = new DispatcherObject();
    GateObject *gate = new GateObject();
    Gate = gate;
    qApp->installEventFilter(gate);

    MainFrameWidget *main = new MainFrameWidget();
    WorkspaceWidget *area = new WorkspaceWidget();
    main->setCentralWidget(area);
    QtMainWindow = main;
    QtWorkspaceArea = area;
    QObject::connect(area, &QMdiArea::subWindowActivated, SubWindowActivated);

    PlatformWindow *workspace = WindowAllocate();
    if (workspace != nullptr) {
        workspace->windowClass = RECORD_WORKSPACE;
        workspace->side->widget = area;
        WindowTitleStore(workspace, "workspace");
    }
    QtWorkspaceRecord = workspace;
}

void QtWindowsStop(void)
{
    // The program has finished with its windows: they go without further messages.
    WindowProceduresForget();
    for (int i = 0; i < WindowTableReached; i++) {
        PlatformWindow *window = &WindowTable[i];
        if (window->used && window->parent == nullptr && window->windowClass != RECORD_WORKSPACE)
            PlatformDestroyWindow(window);
    }
    WindowCoreReset();
    HeldCount = 0;
    GateDepth = 0;
    Capture = nullptr;
    QtFrameRecord = QtWorkspaceRecord = nullptr;
    qApp->removeEventFilter(Gate);
    delete Gate;
    delete QtMainWindow;
    delete Dispatcher;
    Gate = nullptr;
    QtMainWindow = nullptr;
    QtWorkspaceArea = nullptr;
    Dispatcher = nullptr;
    // The deferred deletions of the windows' widgets run now, while Qt is still up.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QWidget *QtPlatformWidget(WindowHandle window)
{
    return WindowValid(window) ? window->side->widget : nullptr;
}

QWidget *QtPlatformFrameWidget(WindowHandle window)
{
    return WindowValid(window) ? window->side->frame : nullptr;
}

QMainWindow *QtPlatformMainWindow(void)
{
    return QtMainWindow;
}
