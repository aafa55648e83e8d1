// The platform's own controls on Qt: buttons, check boxes, texts, edits, lists, group
// frames, radio buttons and scroll bars inside a window. Each reports what the user did to
// its parent as the message a control sends (MSG_COMMAND with its id and a NOTIFY_*, or a
// scroll message); what the program sets changes the control without a report.
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <cstdio>
#include <cstring>

#include "platform/qt/QtInternal.h"

// Sends a control's report to its parent, while both still exist.
static void Report(WindowHandle control, uint32_t serial, uint32_t notification)
{
    if (!WindowAlive(control, serial) || !WindowValid(control->parent)) return;
    QtForward(control->parent, MSG_COMMAND,
              (uintptr_t)(uint16_t)control->controlId | ((uintptr_t)notification << 16),
              (intptr_t)control);
}

static uint32_t ScrollCode(int action)
{
    switch (action) {
    case QAbstractSlider::SliderSingleStepAdd: return SCROLL_LINE_DOWN;
    case QAbstractSlider::SliderSingleStepSub: return SCROLL_LINE_UP;
    case QAbstractSlider::SliderPageStepAdd: return SCROLL_PAGE_DOWN;
    case QAbstractSlider::SliderPageStepSub: return SCROLL_PAGE_UP;
    case QAbstractSlider::SliderToMinimum: return SCROLL_TOP;
    case QAbstractSlider::SliderToMaximum: return SCROLL_BOTTOM;
    case QAbstractSlider::SliderMove: return SCROLL_THUMB_TRACK;
    default: return SCROLL_END;
    }
}

static void ScrollReport(WindowHandle control, uint32_t serial, uint32_t code, int position)
{
    if (!WindowAlive(control, serial) || !WindowValid(control->parent)) return;
    uint32_t message = control->controlType == CONTROL_SCROLL_V ? MSG_VSCROLL : MSG_HSCROLL;
    QtForward(control->parent, message, code | ((uintptr_t)(uint16_t)position << 16),
              (intptr_t)control);
}

// A scroll bar moves only where the program puts it, as the shell's scrolling expects: an
// arrow or page click asks, and the answer is PlatformSetScrollBar. Only a dragged thumb
// follows the mouse until it is let go.
static QWidget *MakeScrollBar(WindowHandle control, uint32_t serial, Qt::Orientation orientation,
                              QWidget *parent)
{
    QScrollBar *bar = new QScrollBar(orientation, parent);
    bar->setRange(0, 0);
    QObject::connect(bar, &QAbstractSlider::actionTriggered, [control, serial, bar](int action) {
        if (!WindowAlive(control, serial)) return;
        ScrollReport(control, serial, ScrollCode(action), bar->sliderPosition());
        if (action != QAbstractSlider::SliderMove && WindowAlive(control, serial))
            bar->setSliderPosition(control->side->scrollPosition);
    });
    QObject::connect(bar, &QAbstractSlider::sliderReleased, [control, serial, bar]() {
        ScrollReport(control, serial, SCROLL_THUMB_POSITION, bar->sliderPosition());
        ScrollReport(control, serial, SCROLL_END, bar->sliderPosition());
        if (WindowAlive(control, serial)) bar->setSliderPosition(control->side->scrollPosition);
    });
    return bar;
}

static Qt::Alignment AlignmentOf(uint32_t style)
{
    if (style & ALIGN_CENTER) return Qt::AlignHCenter | Qt::AlignVCenter;
    if (style & ALIGN_RIGHT) return Qt::AlignRight | Qt::AlignVCenter;
    return Qt::AlignLeft | Qt::AlignVCenter;
}

static QWidget *MakeControl(WindowHandle control, int type, const QString &text, uint32_t style,
                            QWidget *parent)
{
    uint32_t serial = control->serial;
    switch (type) {
    case CONTROL_BUTTON: {
        QPushButton *button = new QPushButton(text, parent);
        button->setAutoDefault(false);
        button->setDefault((style & CONTROL_DEFAULT) != 0);
        QObject::connect(button, &QPushButton::clicked,
                         [control, serial]() { Report(control, serial, NOTIFY_CLICKED); });
        return button;
    }
    case CONTROL_CHECK_BOX: {
        QCheckBox *box = new QCheckBox(text, parent);
        QObject::connect(box, &QCheckBox::clicked,
                         [control, serial]() { Report(control, serial, NOTIFY_CLICKED); });
        return box;
    }
    case CONTROL_RADIO: {
        // The window procedure decides which radio buttons go together and sets their values,
        // as the headless platform expects: a dialog may hold several groups side by side.
        // A click still always leaves its own button on.
        QRadioButton *radio = new QRadioButton(text, parent);
        radio->setAutoExclusive(false);
        QObject::connect(radio, &QRadioButton::clicked, [radio, control, serial]() {
            radio->setChecked(true);
            Report(control, serial, NOTIFY_CLICKED);
        });
        return radio;
    }
    case CONTROL_STATIC: {
        QLabel *label = new QLabel(text, parent);
        label->setAlignment(AlignmentOf(style));
        label->setTextFormat(Qt::PlainText);
        return label;
    }
    case CONTROL_EDIT: {
        QLineEdit *edit = new QLineEdit(text, parent);
        QObject::connect(edit, &QLineEdit::textEdited,
                         [control, serial]() { Report(control, serial, NOTIFY_CHANGED); });
        return edit;
    }
    case CONTROL_POPUP_LIST: {
        QComboBox *list = new QComboBox(parent);
        QObject::connect(list, &QComboBox::activated,
                         [control, serial]() { Report(control, serial, NOTIFY_CHANGED); });
        return list;
    }
    case CONTROL_LIST: {
        QListWidget *list = new QListWidget(parent);
        // Only the user's choices report; the program's choices block the signal.
        QObject::connect(list, &QListWidget::currentRowChanged,
                         [control, serial]() { Report(control, serial, NOTIFY_CHANGED); });
        return list;
    }
    case CONTROL_GROUP: return new QGroupBox(text, parent);
    case CONTROL_SCROLL_H: return MakeScrollBar(control, serial, Qt::Horizontal, parent);
    case CONTROL_SCROLL_V: return MakeScrollBar(control, serial, Qt::Vertical, parent);
    default: return nullptr;
    }
}

WindowHandle PlatformCreateControl(WindowHandle parent, int type, int id, const char *text,
                                   uint32_t style, const Rect *rect)
{
    if (!WindowValid(parent) || parent->side->widget == nullptr) return nullptr;
    PlatformWindow *control = WindowControlAllocate(parent, type, id, text, style);
    if (control == nullptr) return nullptr;
    QWidget *widget =
        MakeControl(control, type, QtText(control->title), style, parent->side->widget);
    if (widget == nullptr) {
        WindowRelease(control);
        return nullptr;
    }
    control->side->widget = widget;
    widget->setGeometry(rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top);
    widget->show();
    return control;
}

int PlatformControlEnabled(WindowHandle control)
{
    return WindowValid(control) && control->side->widget != nullptr &&
           control->side->widget->isEnabled();
}

void PlatformSetControlText(WindowHandle parent, int id, const char *text)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    WindowTitleStore(control, text);
    QString value = QtText(control->title);
    QWidget *widget = control->side->widget;
    QSignalBlocker blocker(widget);
    switch (control->controlType) {
    case CONTROL_BUTTON:
    case CONTROL_CHECK_BOX:
    case CONTROL_RADIO: ((QAbstractButton *)widget)->setText(value); break;
    case CONTROL_STATIC: ((QLabel *)widget)->setText(value); break;
    case CONTROL_EDIT: ((QLineEdit *)widget)->setText(value); break;
    case CONTROL_GROUP: ((QGroupBox *)widget)->setTitle(value); break;
    default: break;
    }
}

void PlatformGetControlText(WindowHandle parent, int id, char *text, int size)
{
    if (size <= 0) return;
    text[0] = 0;
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    switch (control->controlType) {
    case CONTROL_EDIT: QtCopyText(((QLineEdit *)control->side->widget)->text(), text, size); break;
    case CONTROL_POPUP_LIST:
        QtCopyText(((QComboBox *)control->side->widget)->currentText(), text, size);
        break;
    case CONTROL_LIST: {
        QListWidgetItem *item = ((QListWidget *)control->side->widget)->currentItem();
        QtCopyText(item != nullptr ? item->text() : QString(), text, size);
        break;
    }
    default: snprintf(text, (size_t)size, "%s", control->title); break;
    }
}

void PlatformSetControlValue(WindowHandle parent, int id, int value)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr || control->windowClass != RECORD_CONTROL) return;
    QWidget *widget = control->side->widget;
    QSignalBlocker blocker(widget);
    switch (control->controlType) {
    case CONTROL_CHECK_BOX:
    case CONTROL_RADIO: ((QAbstractButton *)widget)->setChecked(value != 0); break;
    case CONTROL_POPUP_LIST: ((QComboBox *)widget)->setCurrentIndex(value); break;
    case CONTROL_LIST: ((QListWidget *)widget)->setCurrentRow(value); break;
    case CONTROL_SCROLL_H:
    case CONTROL_SCROLL_V:
        control->side->scrollPosition = value;
        ((QScrollBar *)widget)->setValue(value);
        break;
    default: break;
    }
}

int PlatformControlValue(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr || control->windowClass != RECORD_CONTROL) return 0;
    QWidget *widget = control->side->widget;
    switch (control->controlType) {
    case CONTROL_CHECK_BOX:
    case CONTROL_RADIO: return ((QAbstractButton *)widget)->isChecked() ? 1 : 0;
    case CONTROL_POPUP_LIST: return ((QComboBox *)widget)->currentIndex();
    case CONTROL_LIST: return ((QListWidget *)widget)->currentRow();
    case CONTROL_SCROLL_H:
    case CONTROL_SCROLL_V: return control->side->scrollPosition;
    default: return 0;
    }
}

void PlatformEnableControl(WindowHandle parent, int id, int enabled)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control != nullptr && control->side->widget != nullptr)
        control->side->widget->setEnabled(enabled != 0);
}

void PlatformSetControlItems(WindowHandle parent, int id, const char *items)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr || items == nullptr) return;
    QStringList list;
    for (const char *item = items; *item != 0; item += strlen(item) + 1)
        list.append(QString::fromUtf8(item));
    QSignalBlocker blocker(control->side->widget);
    if (control->controlType == CONTROL_POPUP_LIST) {
        QComboBox *box = (QComboBox *)control->side->widget;
        box->clear();
        box->addItems(list);
    } else if (control->controlType == CONTROL_LIST) {
        QListWidget *box = (QListWidget *)control->side->widget;
        box->clear();
        box->addItems(list);
    }
}

void PlatformSetScrollBar(WindowHandle scrollBar, int range, int position, int page)
{
    if (!WindowValid(scrollBar) ||
        (scrollBar->controlType != CONTROL_SCROLL_H && scrollBar->controlType != CONTROL_SCROLL_V))
        return;
    scrollBar->side->scrollRange = range;
    scrollBar->side->scrollPosition = position;
    scrollBar->side->scrollPage = page;
    // The thumb takes the positions 0..range, as Qt's slider does; the page only sizes it.
    QScrollBar *bar = (QScrollBar *)scrollBar->side->widget;
    QSignalBlocker blocker(bar);
    bar->setRange(0, range > 0 ? range : 0);
    bar->setPageStep(page > 0 ? page : 1);
    bar->setSingleStep(1);
    bar->setValue(position);
}

void PlatformMoveControl(WindowHandle control, const Rect *rect)
{
    if (!WindowValid(control) || control->side->widget == nullptr) return;
    control->side->widget->setGeometry(rect->left, rect->top, rect->right - rect->left,
                                       rect->bottom - rect->top);
}

void PlatformSetControlTip(WindowHandle parent, int id, const char *tip)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr || control->side->widget == nullptr) return;
    control->side->widget->setToolTip(QString::fromUtf8(tip != nullptr ? tip : ""));
}
