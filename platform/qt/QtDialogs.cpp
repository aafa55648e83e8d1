// Loops, dialogs and the outside world on Qt: the main and modal loops, the message dialog
// laid out as MessageDialogLayout says, file and folder dialogs, the clipboard, opening
// documents with the desktop's programs, and the hand-over of a second start's command
// line to the first instance through a local socket.
#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QDialog>
#include <QEventLoop>
#include <QFile>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMimeData>
#include <QPushButton>
#include <QStyle>
#include <QUrl>
#include <cstring>

#include "core/Image.h"
#include "core/Memory.h"
#include "platform/qt/QtInternal.h"
#include "platform/qt/QtPlatform.h"
#include "ui/MessageBox.h"

// The frame's message for a command line handed over (MSG_OPEN_FROM_CLIPBOARD of the shell).
static const uint32_t HAND_OVER_MESSAGE = 0x803E;
static const int HAND_OVER_MAX = 1 << 20; // bytes of a command line taken
static const int HAND_OVER_WAIT = 2000;   // milliseconds a second start waits
static const int MODAL_DEPTH = 32;

struct ModalEntry {
    WindowHandle window;
    uint32_t serial;
    QEventLoop *loop;
    int ended;
    int result;
};

static ModalEntry Modal[MODAL_DEPTH];
static int ModalDepth;
static int QuitRequested;
static int QuitCode;
static char *DialogPaths; // the last file dialog's answer, owned until the next dialog
static QLocalServer *HandOverServer;
static char HandOverName[256];

// ---------------------------------------------------------------------------------------
// Loops.

int PlatformRun(void)
{
    // A quit asked for before the loop runs (the frame already gone) ends it at once.
    if (!QuitRequested) QuitCode = QApplication::exec();
    QuitRequested = 0;
    return QuitCode;
}

void PlatformQuit(int code)
{
    QuitRequested = 1;
    QuitCode = code;
    QCoreApplication::exit(code);
}

int PlatformRunModal(WindowHandle window)
{
    if (!WindowValid(window) || ModalDepth == MODAL_DEPTH) return 0;
    QEventLoop loop;
    int depth = ModalDepth++;
    Modal[depth] = {window, window->serial, &loop, 0, 0};
    QWidget *allowed =
        window->side->frame != nullptr ? (QWidget *)window->side->frame : window->side->widget;
    QtGatePush(allowed);
    PlatformShowWindow(window, SHOW_NORMAL);
    if (window->side->frame != nullptr) window->side->frame->raise();
    // A control the window has given the focus to keeps it.
    QWidget *focus = QApplication::focusWidget();
    if (window->side->widget != nullptr &&
        (focus == nullptr || !window->side->widget->isAncestorOf(focus)))
        window->side->widget->setFocus(Qt::OtherFocusReason);
    if (!Modal[depth].ended) loop.exec();
    QtGatePop(allowed);
    int result = Modal[depth].ended ? Modal[depth].result : 0;
    ModalDepth--;
    return result;
}

void PlatformEndModal(WindowHandle window, int result)
{
    for (int i = ModalDepth - 1; i >= 0; i--) {
        if (Modal[i].window != window || Modal[i].ended) continue;
        Modal[i].ended = 1;
        Modal[i].result = result;
        Modal[i].loop->exit(0);
        return;
    }
}

void QtModalWindowGone(WindowHandle window)
{
    for (int i = ModalDepth - 1; i >= 0; i--) {
        if (Modal[i].window != window || Modal[i].serial != window->serial || Modal[i].ended)
            continue;
        Modal[i].ended = 1;
        Modal[i].result = 0;
        Modal[i].loop->exit(0);
    }
}

// ---------------------------------------------------------------------------------------
// The message dialog: white, the text centred in black, the buttons in a row below, sized
// as the layout says, with the desktop's sign of what kind of message it is on the left
// and only a close button on its frame. Esc answers as Cancel does; a box with OK alone
// answers OK, and one with Yes and No only has no answer for it.

// The sign of a message: its title says an error or a warning; otherwise a question asks
// for Yes or No, and the rest inform.
static QStyle::StandardPixmap MessageSign(const char *title, int kind)
{
    if (title != nullptr && strcmp(title, "Error") == 0) return QStyle::SP_MessageBoxCritical;
    if (title != nullptr && strcmp(title, "Warning") == 0) return QStyle::SP_MessageBoxWarning;
    if (kind == MESSAGE_YES_NO || kind == MESSAGE_YES_NO_CANCEL)
        return QStyle::SP_MessageBoxQuestion;
    return QStyle::SP_MessageBoxInformation;
}

class MessageWindow : public QDialog {
  public:
    int escapeResult = 0; // 0: Esc does nothing
    void reject() override
    {
        if (escapeResult != 0) done(escapeResult);
    }
};

int PlatformShowMessage(void *owner, const char *title, const char *text, int kind,
                        const MessageLayout *layout)
{
    (void)owner;
    const char *labels[3];
    int results[3];
    int count = MessageDialogButtons(kind, labels, results);
    PlatformMetrics metrics;
    PlatformGetMetrics(&metrics);
    QWidget *parent = QtMainWindow != nullptr && QtMainWindow->isVisible() ? QtMainWindow : nullptr;
    MessageWindow dialog;
    if (parent != nullptr) dialog.setParent(parent, Qt::Dialog);
    // A message is answered, not minimised or enlarged.
    dialog.setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                          Qt::WindowCloseButtonHint);
    dialog.setWindowTitle(QtText(title));
    dialog.setModal(true);
    QPalette palette = dialog.palette();
    palette.setColor(QPalette::Window, QColor(255, 255, 255));
    palette.setColor(QPalette::WindowText, QColor(0, 0, 0));
    dialog.setPalette(palette);
    dialog.setAutoFillBackground(true);

    // The layout gives the whole window; Qt sizes the inside. The sign stands in a column
    // of its own left of the text, which makes the window that much wider, and at least as
    // high as the sign.
    QStyle *style = dialog.style();
    int signSize = style->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, &dialog);
    int signColumn = signSize + metrics.margin;
    int textHeight = layout->textHeight > signSize ? layout->textHeight : signSize;
    int width = layout->dialogWidth - metrics.dialogFrame + signColumn;
    int height = layout->dialogHeight - metrics.dialogBorder + textHeight - layout->textHeight;
    dialog.setFixedSize(width, height);
    QLabel *sign = new QLabel(&dialog);
    sign->setPixmap(
        style->standardIcon(MessageSign(title, kind), nullptr, &dialog).pixmap(signSize, signSize));
    sign->setGeometry(metrics.margin, metrics.margin + (textHeight - signSize) / 2, signSize,
                      signSize);
    QString shown = QtText(text);
    shown.remove('\r'); // the layout counts a line at each line feed
    QLabel *label = new QLabel(shown, &dialog);
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
    label->setGeometry(metrics.margin + signColumn, metrics.margin,
                       width - 2 * metrics.margin - signColumn, textHeight);

    int rowWidth = count * layout->buttonWidth + (count - 1) * metrics.margin;
    int left = (width - rowWidth) / 2;
    int top = 2 * metrics.margin + textHeight;
    for (int i = 0; i < count; i++) {
        QPushButton *button = new QPushButton(QtText(labels[i]), &dialog);
        button->setGeometry(left + i * (layout->buttonWidth + metrics.margin), top,
                            layout->buttonWidth, metrics.buttonHeight);
        button->setAutoDefault(false);
        int answer = results[i];
        QObject::connect(button, &QPushButton::clicked, &dialog,
                         [&dialog, answer]() { dialog.done(answer); });
        if (i == 0) {
            button->setDefault(true);
            button->setFocus();
        }
        if (results[i] == ANSWER_CANCEL) dialog.escapeResult = ANSWER_CANCEL;
    }
    if (kind == MESSAGE_OK) dialog.escapeResult = ANSWER_OK;
    int answer = dialog.exec();
    // Closed some other way (the window manager's close): as Esc, else the first button.
    if (answer == QDialog::Rejected)
        answer = dialog.escapeResult != 0 ? dialog.escapeResult : results[0];
    return answer;
}

// ---------------------------------------------------------------------------------------
// File dialogs.

int PlatformFileDialog(const FileDialogRequest *request, FileDialogResult *result)
{
    QWidget *parent = QtMainWindow != nullptr && QtMainWindow->isVisible() ? QtMainWindow : nullptr;
    QFileDialog dialog(parent, QtText(request->title), QtText(request->folder));
    QStringList filters;
    if (request->filters != nullptr) {
        // Pairs of label and pattern list: "TIFF", "*.tif;*.tiff" is "TIFF (*.tif *.tiff)".
        const char *at = request->filters;
        while (*at != 0) {
            QString label = QString::fromUtf8(at);
            at += strlen(at) + 1;
            if (*at == 0) break;
            QString patterns = QString::fromUtf8(at).replace(';', ' ');
            at += strlen(at) + 1;
            filters.append(label + " (" + patterns + ")");
        }
    }
    switch (request->mode) {
    case FILE_DIALOG_OPEN_MANY: dialog.setFileMode(QFileDialog::ExistingFiles); break;
    case FILE_DIALOG_SAVE:
        // Qt asks before a file is replaced.
        dialog.setAcceptMode(QFileDialog::AcceptSave);
        dialog.setFileMode(QFileDialog::AnyFile);
        break;
    case FILE_DIALOG_SAVE_NO_PROMPT:
        // The caller asks its own question about a file it would replace.
        dialog.setAcceptMode(QFileDialog::AcceptSave);
        dialog.setFileMode(QFileDialog::AnyFile);
        dialog.setOption(QFileDialog::DontConfirmOverwrite, true);
        break;
    case FILE_DIALOG_FOLDER:
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly, true);
        break;
    default: dialog.setFileMode(QFileDialog::ExistingFile); break;
    }
    if (!filters.isEmpty() && request->mode != FILE_DIALOG_FOLDER) {
        dialog.setNameFilters(filters);
        if (request->filter >= 0 && request->filter < filters.size())
            dialog.selectNameFilter(filters[request->filter]);
    }
    if (request->name != nullptr && request->name[0] != 0) dialog.selectFile(QtText(request->name));
    if (dialog.exec() != QDialog::Accepted) return 0;

    QStringList chosen = dialog.selectedFiles();
    QByteArray paths;
    for (const QString &path : chosen) {
        paths.append(path.toUtf8());
        paths.append('\0');
    }
    paths.append('\0');
    MemoryRelease(&DialogPaths);
    DialogPaths = (char *)MemoryAlloc((size_t)paths.size());
    if (DialogPaths == nullptr) return 0;
    memcpy(DialogPaths, paths.constData(), (size_t)paths.size());
    int filter = (int)filters.indexOf(dialog.selectedNameFilter());
    result->filter = filter >= 0 ? filter : request->filter;
    result->paths = DialogPaths;
    return chosen.isEmpty() ? 0 : 1;
}

// ---------------------------------------------------------------------------------------
// The clipboard.

int PlatformClipboardSetText(const char *text)
{
    QGuiApplication::clipboard()->setText(QtText(text));
    return 1;
}

int PlatformClipboardGetText(char *text, int size)
{
    if (size <= 0) return 0;
    text[0] = 0;
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    if (data == nullptr || !data->hasText()) return 0;
    QtCopyText(data->text(), text, size);
    return 1;
}

int PlatformClipboardSetImage(const Image *image)
{
    QImage::Format format;
    switch (image->type) {
    case TYPE_BINARY: format = QImage::Format_Mono; break;
    case TYPE_GRAY8: format = QImage::Format_Grayscale8; break;
    case TYPE_COLOR24: format = QImage::Format_BGR888; break;
    default: return 0;
    }
    QImage copy(image->width, image->height, format);
    if (copy.isNull()) return 0;
    if (format == QImage::Format_Mono) copy.setColorTable({qRgb(0, 0, 0), qRgb(255, 255, 255)});
    // Rows bottom-up in the picture, top-down in Qt's.
    int bytes = ImageRowBytes(image->type, image->width);
    int used = copy.bytesPerLine() < bytes ? (int)copy.bytesPerLine() : bytes;
    for (int y = 0; y < image->height; y++)
        memcpy(copy.scanLine(y), image->rows[image->height - 1 - y], (size_t)used);
    copy.setDotsPerMeterX((int)(image->resolution / 0.0254 + 0.5));
    copy.setDotsPerMeterY((int)(image->resolution / 0.0254 + 0.5));
    QGuiApplication::clipboard()->setImage(copy);
    return 1;
}

void PlatformClipboardClear(void)
{
    QGuiApplication::clipboard()->clear();
}

int PlatformClipboardHasImage(void)
{
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    return data != nullptr && data->hasImage();
}

ErrorCode PlatformClipboardGetImage(Image *image)
{
    QImage picture = QGuiApplication::clipboard()->image();
    if (picture.isNull()) return ERROR_READ_IMAGE_FILE;
    // Two-color pictures come as binary, gray ones as 8-bit gray, all others as color.
    int type = TYPE_COLOR24;
    QImage::Format format = QImage::Format_BGR888;
    if (picture.format() == QImage::Format_Mono || picture.format() == QImage::Format_MonoLSB) {
        type = TYPE_BINARY;
        format = QImage::Format_Mono;
    } else if (picture.isGrayscale()) {
        type = TYPE_GRAY8;
        format = QImage::Format_Grayscale8;
    }
    QImage converted = picture.convertToFormat(format);
    if (type == TYPE_BINARY) {
        // Our binary pictures have 1 for white: flip the bits when Qt's index 1 is darker.
        QList<QRgb> colors = converted.colorTable();
        if (colors.size() == 2 && qGray(colors[1]) < qGray(colors[0])) converted.invertPixels();
    }
    double resolution = converted.dotsPerMeterX() > 0 ? converted.dotsPerMeterX() * 0.0254 : 72.0;
    ErrorCode result = ImageAlloc(image, type, converted.width(), converted.height(), resolution);
    if (result != ERROR_NONE) return result;
    int bytes = ImageRowBytes(type, converted.width());
    int used = converted.bytesPerLine() < bytes ? (int)converted.bytesPerLine() : bytes;
    for (int y = 0; y < image->height; y++) {
        uint8_t *row = image->rows[image->height - 1 - y];
        memset(row, 0, (size_t)image->rowBytes);
        memcpy(row, converted.constScanLine(y), (size_t)used);
    }
    return ERROR_NONE;
}

// ---------------------------------------------------------------------------------------
// The outside world.

int PlatformOpenExternal(const char *pathOrAddress)
{
    QString text = QtText(pathOrAddress);
    QUrl url = QFile::exists(text) ? QUrl::fromLocalFile(text) : QUrl::fromUserInput(text);
    return QDesktopServices::openUrl(url) ? 1 : 0;
}

void QtPlatformSetHandOverName(const char *name)
{
    snprintf(HandOverName, sizeof HandOverName, "%s", name != nullptr ? name : "");
}

// One name per user: two users of one machine each have their own first instance.
static QString HandOverServerName(void)
{
    if (HandOverName[0] != 0) return QtText(HandOverName);
    QString user = qEnvironmentVariable("USER", qEnvironmentVariable("USERNAME", "user"));
    return "vistel-" + user;
}

// A second start's command line arrived: bring the frame forward, and give the frame the
// line to open unless it is empty.
static void HandOverReceived(const QByteArray &text)
{
    if (QtMainWindow != nullptr && QtMainWindow->isVisible()) {
        QtMainWindow->raise();
        QtMainWindow->activateWindow();
    }
    if (text.isEmpty() || !WindowValid(QtFrameRecord)) return;
    char *copy = (char *)MemoryAlloc((size_t)text.size() + 1);
    if (copy == nullptr) return;
    memcpy(copy, text.constData(), (size_t)text.size());
    copy[text.size()] = 0;
    PlatformPostMessage(QtFrameRecord, HAND_OVER_MESSAGE, 0, (intptr_t)copy);
}

static void HandOverAccept(void)
{
    while (HandOverServer != nullptr && HandOverServer->hasPendingConnections()) {
        QLocalSocket *socket = HandOverServer->nextPendingConnection();
        // The text is all a connection sends; it ends when the sender disconnects.
        QObject::connect(socket, &QLocalSocket::readyRead, socket, [socket]() {
            QByteArray text = socket->property("text").toByteArray() + socket->readAll();
            if (text.size() > HAND_OVER_MAX) {
                socket->abort();
                return;
            }
            socket->setProperty("text", text);
        });
        QObject::connect(socket, &QLocalSocket::disconnected, socket, [socket]() {
            QByteArray text = socket->property("text").toByteArray() + socket->readAll();
            socket->setProperty("text", QByteArray());
            if (text.size() <= HAND_OVER_MAX) HandOverReceived(text);
            socket->deleteLater();
        });
    }
}

int PlatformHandOverCommandLine(const char *commandLine)
{
    QString name = HandOverServerName();
    {
        QLocalSocket socket;
        socket.connectToServer(name);
        if (socket.waitForConnected(HAND_OVER_WAIT)) {
            socket.write(commandLine != nullptr ? commandLine : "");
            socket.waitForBytesWritten(HAND_OVER_WAIT);
            socket.disconnectFromServer();
            if (socket.state() != QLocalSocket::UnconnectedState)
                socket.waitForDisconnected(HAND_OVER_WAIT);
            return 1;
        }
    }
    if (HandOverServer != nullptr) return 0;
    HandOverServer = new QLocalServer();
    HandOverServer->setSocketOptions(QLocalServer::UserAccessOption);
    // Nobody answered: a name left by an instance that crashed is taken over.
    if (!HandOverServer->listen(name)) {
        QLocalServer::removeServer(name);
        HandOverServer->listen(name);
    }
    QObject::connect(HandOverServer, &QLocalServer::newConnection, HandOverAccept);
    return 0;
}

void QtDialogsStop(void)
{
    MemoryRelease(&DialogPaths);
    delete HandOverServer;
    HandOverServer = nullptr;
    ModalDepth = 0;
    QuitRequested = 0;
}
