// Start-up of the Qt platform, and what the program asks of the system around its windows:
// font metrics, the cursor, the clock, the settings store and its folder.
//
// The store is QSettings("Corvane Imaging", "Vistel") with the groups "Preferences",
// "State" and "Color Settings", every value a string: on Windows exactly the registry key
// the program has always used, on Linux an INI file in the user's config folder.
#include <QApplication>
#include <QDir>
#include <QFontMetrics>
#include <QIcon>
#include <QMdiSubWindow>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QStyle>
#include <chrono>
#include <cstring>

#include "platform/qt/QtInternal.h"
#include "platform/qt/QtPlatform.h"

QFont *QtDialogFont;
QFont *QtSmallFont;

static PlatformMetrics Metrics;
static QSettings *Store;
static int OverrideCursor = CURSOR_ARROW; // the cursor set over every widget, if not the arrow

void QtMetricsStart(void)
{
    QFont font = QApplication::font();
    QtDialogFont = new QFont(font);
    QtSmallFont = new QFont(font);
    // The small font stands to the dialog font as 12 to 13 pixels.
    if (font.pointSizeF() > 0)
        QtSmallFont->setPointSizeF(font.pointSizeF() * 12 / 13);
    else
        QtSmallFont->setPixelSize(font.pixelSize() * 12 / 13);

    int height = QFontMetrics(*QtDialogFont).height();
    int smallHeight = QFontMetrics(*QtSmallFont).height();
    Metrics.lineHeight = height + 1;
    Metrics.buttonHeight = height * 11 / 8;
    Metrics.margin = Metrics.buttonHeight / 4;
    Metrics.smallLineHeight = smallHeight + 1;
    Metrics.smallButtonHeight = smallHeight * 11 / 8;

    // A sub-window's frame as the style draws it: a border each side, the caption on top.
    QStyle *style = QApplication::style();
    QMdiSubWindow probe;
    int border = style->pixelMetric(QStyle::PM_MdiSubWindowFrameWidth, nullptr, &probe);
    int caption = style->pixelMetric(QStyle::PM_TitleBarHeight, nullptr, &probe);
    Metrics.frameSize = 2 * border;
    Metrics.borderSize = caption + border;
    Metrics.captionHeight = caption;
    // Dialogs are sub-windows too, with the same frame.
    Metrics.dialogFrame = Metrics.frameSize;
    Metrics.dialogBorder = Metrics.borderSize;
    Metrics.scrollWidth = style->pixelMetric(QStyle::PM_ScrollBarExtent);
    Metrics.scrollHeight = Metrics.scrollWidth;

    QScreen *screen = QGuiApplication::primaryScreen();
    QRect place = screen != nullptr ? screen->geometry() : QRect(0, 0, 1024, 768);
    Metrics.screenWidth = place.width();
    Metrics.screenHeight = place.height();
}

void PlatformGetMetrics(PlatformMetrics *metrics)
{
    *metrics = Metrics;
}

int PlatformTextWidth(const char *text, int length)
{
    if (text == nullptr || length <= 0 || QtDialogFont == nullptr) return 0;
    return QFontMetrics(*QtDialogFont).horizontalAdvance(QString::fromUtf8(text, length));
}

int PlatformSmallTextWidth(const char *text, int length)
{
    if (text == nullptr || length <= 0 || QtSmallFont == nullptr) return 0;
    return QFontMetrics(*QtSmallFont).horizontalAdvance(QString::fromUtf8(text, length));
}

void PlatformSetCursor(int cursor)
{
    if (cursor == OverrideCursor) return;
    if (OverrideCursor != CURSOR_ARROW) QApplication::restoreOverrideCursor();
    OverrideCursor = CURSOR_ARROW;
    if (cursor == CURSOR_WAIT) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        OverrideCursor = cursor;
    } else if (cursor == CURSOR_HAND) {
        QApplication::setOverrideCursor(Qt::ClosedHandCursor);
        OverrideCursor = cursor;
    }
}

uint32_t PlatformTickCount(void)
{
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    return (uint32_t)std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

void PlatformBeep(void)
{
    QApplication::beep();
}

int QtPumpDue(uint32_t *last)
{
    uint32_t now = PlatformTickCount();
    if (now - *last < QT_PUMP_INTERVAL) return 0; // unsigned: the wrap does no harm
    *last = now;
    return 1;
}

void PlatformPumpMessages(void)
{
    // Readers call this every few kilobytes.
    static uint32_t lastPump = PlatformTickCount() - QT_PUMP_INTERVAL;
    if (QtPumpDue(&lastPump)) QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

// ---------------------------------------------------------------------------------------
// The settings store.

static QSettings *StoreOpen(void)
{
    if (Store == nullptr) Store = new QSettings("Corvane Imaging", "Vistel");
    return Store;
}

int PlatformSettingsRead(const char *key, const char *name, char *value, int capacity)
{
    if (capacity <= 0) return 0;
    value[0] = 0;
    QSettings *store = StoreOpen();
    store->beginGroup(QtText(key));
    QVariant stored = store->value(QtText(name));
    store->endGroup();
    if (!stored.isValid()) return 0;
    QtCopyText(stored.toString(), value, capacity);
    return 1;
}

void PlatformSettingsWrite(const char *key, const char *name, const char *value)
{
    QSettings *store = StoreOpen();
    store->beginGroup(QtText(key));
    store->setValue(QtText(name), QtText(value));
    store->endGroup();
    // Written at once, as the registry would have it: a crash later loses nothing.
    store->sync();
}

void PlatformSettingsFolder(char *path, int capacity)
{
    if (capacity <= 0) return;
    path[0] = 0;
    QString folder = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    if (folder.isEmpty() || !QDir().mkpath(folder)) return;
    QByteArray bytes = QDir::toNativeSeparators(folder).toUtf8();
    // A path cut short would name another folder: none is better.
    if ((int)bytes.size() >= capacity) return;
    memcpy(path, bytes.constData(), (size_t)bytes.size());
    path[bytes.size()] = 0;
}

// ---------------------------------------------------------------------------------------
// Start and stop.

ErrorCode QtPlatformStart(void)
{
    // The names the store and the settings folder are found under, whatever the program's
    // file is called.
    QCoreApplication::setOrganizationName("Corvane Imaging");
    QCoreApplication::setApplicationName("Vistel");
    QApplication::setQuitOnLastWindowClosed(false);
    // Vistel's own icon, drawn at each size a desktop asks for, on every window.
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64, 128, 256})
        icon.addFile(QString(":/icons/vistel-%1.png").arg(size), QSize(size, size));
    QApplication::setWindowIcon(icon);
    QtMetricsStart();
    QtWindowsStart();
    return QtWorkspaceRecord != nullptr ? ERROR_NONE : ERROR_NO_MEMORY;
}

void QtPlatformStop(void)
{
    PlatformSetCursor(CURSOR_ARROW);
    QtMenuStop();
    QtDialogsStop();
    QtWindowsStop();
    delete Store; // writes what is still unwritten
    Store = nullptr;
    delete QtDialogFont;
    delete QtSmallFont;
    QtDialogFont = QtSmallFont = nullptr;
}
