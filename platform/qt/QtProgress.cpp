// The progress window on Qt: a small child of the workspace painted from the ProgressState
// that core/Progress keeps, with a Cancel button when the work may be aborted.
//
// A long operation runs on the main thread and pumps this window at every step, which lets
// Qt run when QT_PUMP_INTERVAL has passed since it last did. While it is open the input gate
// lets mouse and keys reach only this window, and while it pumps no other procedure runs:
// other windows show what they last drew, and posted messages and timers wait until the
// window has gone.
#include <QApplication>
#include <QPainter>
#include <QPushButton>

#include "platform/qt/QtInternal.h"
#include "ui/ProgressWindow.h"

static const int DIVIDERS = 10; // the bar is split in tenths

// When the one progress window last painted at once and last let Qt run; a new window may
// do both at its first step.
static uint32_t LastPaint;
static uint32_t LastPump;

class ProgressWidget : public QWidget {
  public:
    ProgressWidget(WindowHandle window) : window(window), serial(window->serial)
    {
        setAttribute(Qt::WA_OpaquePaintEvent);
    }
    WindowHandle window;
    uint32_t serial;

  protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), palette().color(QPalette::Window));
        if (!WindowAlive(window, serial) || window->progress == nullptr) return;
        const ProgressState *state = window->progress;
        const Rect &frame = state->frameRect;
        const Rect &bar = state->barRect;
        QColor black(0, 0, 0);
        painter.fillRect(
            QRect(frame.left, frame.top, frame.right - frame.left, frame.bottom - frame.top),
            QColor(255, 255, 255));
        int width = bar.right - bar.left;
        int height = bar.bottom - bar.top;
        if (width > 0 && height > 0) {
            // The outline, the dividers at each tenth, and black up to where the work is.
            painter.fillRect(QRect(bar.left, bar.top, width, 1), black);
            painter.fillRect(QRect(bar.left, bar.bottom - 1, width, 1), black);
            painter.fillRect(QRect(bar.left, bar.top, 1, height), black);
            painter.fillRect(QRect(bar.right - 1, bar.top, 1, height), black);
            for (int i = 1; i < DIVIDERS; i++)
                painter.fillRect(QRect(bar.left + i * width / DIVIDERS, bar.top, 1, height), black);
            if (state->barFilled > bar.left)
                painter.fillRect(QRect(bar.left, bar.top, state->barFilled - bar.left, height),
                                 black);
        }
        const Rect &text = state->textRect;
        painter.setFont(*QtDialogFont);
        painter.setPen(black);
        painter.drawText(QRect(text.left, text.top, text.right - text.left, text.bottom - text.top),
                         Qt::AlignHCenter | Qt::AlignVCenter, QtText(state->timeText));
    }
};

static QPushButton *CancelButton(WindowHandle window)
{
    return window->side->widget != nullptr ? window->side->widget->findChild<QPushButton *>()
                                           : nullptr;
}

WindowHandle PlatformProgressCreate(const char *title, int width, int height,
                                    const ProgressState *state)
{
    if (QtWorkspaceArea == nullptr) return nullptr;
    PlatformWindow *window = WindowProgressAllocate(title, state);
    if (window == nullptr) return nullptr;
    LastPaint = LastPump = PlatformTickCount() - QT_PUMP_INTERVAL;

    ChildFrame *frame = new ChildFrame(window, nullptr);
    ProgressWidget *widget = new ProgressWidget(window);
    window->side->frame = frame;
    window->side->widget = widget;
    frame->setWidget(widget);
    frame->setWindowFlags(Qt::SubWindow | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    frame->setWindowTitle(QtText(window->title));
    QtWorkspaceArea->addSubWindow(frame);
    frame->setFixedSize(width, height);

    // Centred across the workspace, and low in it: its top half a button row and a caption
    // below the middle.
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    int areaWidth, areaHeight;
    QtClientSize(QtWorkspaceRecord, &areaWidth, &areaHeight);
    int x = (areaWidth - width) / 2;
    int y =
        areaHeight / 2 + 8 + (metrics.dialogBorder + metrics.buttonHeight + 2 * metrics.margin) / 2;
    if (y + height > areaHeight) y = areaHeight - height;
    frame->move(x > 0 ? x : 0, y > 0 ? y : 0);

    if (state->canAbort) {
        const Rect &place = state->cancelRect;
        QPushButton *cancel = new QPushButton("Cancel", widget);
        cancel->setGeometry(place.left, place.top, place.right - place.left,
                            place.bottom - place.top);
        uint32_t serial = window->serial;
        QObject::connect(cancel, &QPushButton::clicked, [window, serial]() {
            if (WindowAlive(window, serial)) window->side->cancelPressed = 1;
        });
    }
    QtGatePush(frame);
    frame->show();
    frame->raise();
    if (QtMainWindow->isVisible()) widget->repaint();
    return window;
}

void PlatformProgressRepaint(WindowHandle window)
{
    if (!WindowValid(window) || window->windowClass != RECORD_PROGRESS) return;
    // The operation does not return to the loop between steps: paint now, but not more
    // often than the pump runs; until then the change waits for the next pump to paint it.
    if (window->side->widget->isVisible() && QtPumpDue(&LastPaint))
        window->side->widget->repaint();
    else
        window->side->widget->update();
}

int PlatformProgressPump(WindowHandle window)
{
    if (!WindowValid(window) || window->windowClass != RECORD_PROGRESS) return 0;
    // A press is only ever seen while Qt runs, so a step between two pumps has nothing to
    // report.
    if (!QtPumpDue(&LastPump)) return 0;
    // Space and Return press Cancel, whatever had the focus before.
    QPushButton *cancel = CancelButton(window);
    if (cancel != nullptr && !cancel->hasFocus()) cancel->setFocus(Qt::OtherFocusReason);
    uint32_t serial = window->serial;
    QtProgressPumping++;
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    QtProgressPumping--;
    if (!WindowAlive(window, serial)) return 0;
    int pressed = window->side->cancelPressed;
    window->side->cancelPressed = 0;
    return pressed;
}

void PlatformProgressDestroy(WindowHandle window)
{
    if (!WindowValid(window) || window->windowClass != RECORD_PROGRESS) return;
    QtGatePop(window->side->frame);
    QtFrameDispose(window->side->frame);
    WindowRelease(window);
    QtReleaseDeferred();
}
