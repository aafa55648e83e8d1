// Message boxes: the one place that shows an error code's message, and our own modal message
// dialog laid out from the platform's font.
#include "ui/MessageBox.h"

#include <cstring>

#include "core/File.h"
#include "core/FormatString.h"
#include "core/Text.h"
#include "platform/Platform.h"

// The file the next message of NotedCode is about; empty when there is none.
static ErrorCode NotedCode;
static char NotedPath[PATH_LENGTH];

void ErrorFileNote(ErrorCode code, const char *path)
{
    NotedCode = code;
    StrCopyLimit(path, NotedPath, PATH_LENGTH - 1);
}

void ShowError(ErrorCode code)
{
    char text[MESSAGE_TEXT_MAX + 1];
    int noted = NotedPath[0] != 0 && NotedCode == code;
    if (noted) ErrorFileText(code, NotedPath, text, sizeof text);
    NotedPath[0] = 0;
    if (code == ERROR_NONE) return;
    // An abort is the user's decision, not a failure, so it alone is not called an error.
    MessageDialog(nullptr, code == ERROR_ABORTED ? "Attention" : "Error", MESSAGE_OK,
                  noted ? text : ErrorText(code));
}

void ShowFileError(ErrorCode code, const char *path)
{
    ErrorFileNote(code, path);
    ShowError(code);
}

void ShowMessage(const char *title, const char *format, ...)
{
    char text[2000];
    va_list arguments;
    va_start(arguments, format);
    FormatStringV(text, sizeof text, format, arguments);
    va_end(arguments);
    MessageDialog(nullptr, title, MESSAGE_OK, text);
}

void ShowErrorText(const char *format, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    FormatStringV(text, sizeof text, format, arguments);
    va_end(arguments);
    MessageDialog(nullptr, "Error", MESSAGE_OK, text);
}

int MessageDialogButtons(int kind, const char *labels[3], int results[3])
{
    switch (kind) {
    case MESSAGE_OK_CANCEL:
        labels[0] = "OK";
        labels[1] = "&Cancel";
        results[0] = ANSWER_OK;
        results[1] = ANSWER_CANCEL;
        return 2;
    case MESSAGE_YES_NO_CANCEL:
        labels[0] = "&Yes";
        labels[1] = "&No";
        labels[2] = "&Cancel";
        results[0] = ANSWER_YES;
        results[1] = ANSWER_NO;
        results[2] = ANSWER_CANCEL;
        return 3;
    case MESSAGE_YES_NO:
        labels[0] = "&Yes";
        labels[1] = "&No";
        results[0] = ANSWER_YES;
        results[1] = ANSWER_NO;
        return 2;
    default:
        labels[0] = "OK";
        results[0] = ANSWER_OK;
        return 1;
    }
}

// Width of a button label as shown: the ampersand only marks the access key.
static int LabelWidth(const char *label)
{
    char shown[16];
    int length = 0;
    for (const char *p = label; *p != 0 && length < 15; p++)
        if (*p != '&') shown[length++] = *p;
    shown[length] = 0;
    return PlatformTextWidth(shown, length);
}

void MessageDialogLayout(const char *text, int kind, MessageLayout *layout)
{
    PlatformMetrics metrics;
    const char *labels[3];
    int results[3];
    PlatformGetMetrics(&metrics);

    // Lines end at a newline or a return; the text is as wide as its widest line.
    int widest = 0;
    int lines = 1;
    const char *lineStart = text;
    for (const char *p = text;; p++) {
        if (*p == '\n' || *p == '\r' || *p == 0) {
            int width = PlatformTextWidth(lineStart, (int)(p - lineStart));
            if (width > widest) widest = width;
            if (*p == 0) break;
            if (*p == '\n') lines++;
            lineStart = p + 1;
        }
    }
    layout->lineCount = lines;
    layout->textWidth = widest + 2 * metrics.margin;
    if (layout->textWidth < 200) layout->textWidth = 200;
    layout->textHeight = lines * metrics.lineHeight;

    layout->buttonCount = MessageDialogButtons(kind, labels, results);
    int widestLabel = 0;
    for (int i = 0; i < layout->buttonCount; i++) {
        int width = LabelWidth(labels[i]);
        if (width > widestLabel) widestLabel = width;
    }
    layout->buttonWidth = widestLabel + 2 * metrics.margin;
    int rowWidth = layout->buttonCount * layout->buttonWidth +
                   (layout->buttonCount - 1) * metrics.margin;
    int inner = layout->textWidth > rowWidth ? layout->textWidth : rowWidth;
    layout->dialogWidth = inner + 2 * metrics.margin + metrics.dialogFrame;
    layout->dialogHeight =
        layout->textHeight + metrics.buttonHeight + 3 * metrics.margin + metrics.dialogBorder;
}

int MessageDialog(void *owner, const char *title, int kind, const char *text)
{
    char shownText[MESSAGE_TEXT_MAX + 1];
    char shownTitle[MESSAGE_TITLE_MAX + 1];
    MessageLayout layout;

    // A message may arrive in the middle of a drag or a long operation.
    PlatformSetCursor(CURSOR_ARROW);
    PlatformReleaseCapture();
    StrCopyLimit(text, shownText, MESSAGE_TEXT_MAX);
    StrCopyLimit(title, shownTitle, MESSAGE_TITLE_MAX);
    MessageDialogLayout(shownText, kind, &layout);
    return PlatformShowMessage(owner, shownTitle, shownText, kind, &layout);
}

// The notice hook of the editor: a notice is a message box with OK.
static void MessageBoxNotice(const char *title, const char *text)
{
    MessageDialog(nullptr, title, MESSAGE_OK, text);
}

void MessageBoxInstall(void)
{
    NoticeInstall(MessageBoxNotice);
}
