// Loops and dialogs of the headless platform: the message loop and modal loops deliver the
// posted messages and end by themselves when nothing is left; message boxes and file
// dialogs are logged and answered from queues that tests fill; the clipboard, the desktop's
// opening of a document and the hand-over to a running instance are records.
#include <cstdio>
#include <cstring>

#include "platform/headless/Headless.h"
#include "platform/headless/HeadlessInternal.h"
#include "ui/MessageBox.h"

struct FileDialogAnswer {
    int chosen;
    int filter;
    char paths[4 * PATH_LENGTH];
};

static const int ANSWER_QUEUE = 64;
static const int FILE_QUEUE = 32;

static int QuitRequested;
static int QuitCode;
static void (*ModalHandler)(WindowHandle window);
static WindowHandle ModalWindow;
static int ModalEnded;
static int ModalResult;
static HeadlessMessage Messages[HEADLESS_MESSAGE_LOG];
static int MessageTotal;
static int Answers[ANSWER_QUEUE];
static int AnswerCount;
static FileDialogAnswer FileAnswers[FILE_QUEUE];
static int FileAnswerCount;
static FileDialogAnswer FileCurrent;
static HeadlessFileDialogRecord LastFileDialog;
static char ClipboardText[65536];
static int ClipboardHasText;
static Image ClipboardImage;
static char External[PATH_LENGTH];
static int HandOverAnswer;
static char HandedOver[PATH_LENGTH];

void HeadlessDialogsReset(void)
{
    QuitRequested = 0;
    QuitCode = 0;
    ModalHandler = nullptr;
    ModalWindow = nullptr;
    MessageTotal = 0;
    AnswerCount = 0;
    FileAnswerCount = 0;
    memset(&LastFileDialog, 0, sizeof LastFileDialog);
    ClipboardHasText = 0;
    ImageFree(&ClipboardImage);
    External[0] = 0;
    HandOverAnswer = 0;
    HandedOver[0] = 0;
}

int PlatformRun(void)
{
    QuitRequested = 0;
    for (int round = 0; round < 100000 && !QuitRequested; round++)
        if (HeadlessDeliverPosted() == 0) break;
    return QuitCode;
}

void PlatformQuit(int code)
{
    QuitRequested = 1;
    QuitCode = code;
}

int PlatformRunModal(WindowHandle window)
{
    WindowHandle outer = ModalWindow;
    int outerEnded = ModalEnded;
    int outerResult = ModalResult;
    ModalWindow = window;
    ModalEnded = 0;
    ModalResult = 0;
    if (ModalHandler != nullptr) ModalHandler(window);
    for (int round = 0; round < 1000 && !ModalEnded && WindowValid(window); round++)
        if (HeadlessDeliverPosted() == 0) break;
    // Nobody ended it: it ends as if cancelled, so that a test can never hang here.
    int result = ModalEnded ? ModalResult : 0;
    ModalWindow = outer;
    ModalEnded = outerEnded;
    ModalResult = outerResult;
    return result;
}

void PlatformEndModal(WindowHandle window, int result)
{
    if (window != ModalWindow) return;
    ModalEnded = 1;
    ModalResult = result;
}

int PlatformFileDialog(const FileDialogRequest *request, FileDialogResult *result)
{
    LastFileDialog.count++;
    LastFileDialog.mode = request->mode;
    LastFileDialog.filter = request->filter;
    snprintf(LastFileDialog.title, sizeof LastFileDialog.title, "%s",
             request->title != nullptr ? request->title : "");
    snprintf(LastFileDialog.folder, sizeof LastFileDialog.folder, "%s",
             request->folder != nullptr ? request->folder : "");
    snprintf(LastFileDialog.name, sizeof LastFileDialog.name, "%s",
             request->name != nullptr ? request->name : "");
    int filterLength = 0;
    if (request->filters != nullptr) {
        while (request->filters[filterLength] != 0)
            filterLength += (int)strlen(request->filters + filterLength) + 1;
        if (filterLength >= (int)sizeof LastFileDialog.filters)
            filterLength = (int)sizeof LastFileDialog.filters - 2;
        memcpy(LastFileDialog.filters, request->filters, (size_t)filterLength);
    }
    LastFileDialog.filters[filterLength] = 0;
    LastFileDialog.filters[filterLength + 1] = 0;
    if (FileAnswerCount == 0) return 0;
    FileCurrent = FileAnswers[0];
    memmove(FileAnswers, FileAnswers + 1, sizeof(FileAnswers[0]) * (size_t)(FileAnswerCount - 1));
    FileAnswerCount--;
    if (!FileCurrent.chosen) return 0;
    result->filter = FileCurrent.filter >= 0 ? FileCurrent.filter : request->filter;
    result->paths = FileCurrent.paths;
    return 1;
}

int PlatformClipboardSetText(const char *text)
{
    snprintf(ClipboardText, sizeof ClipboardText, "%s", text);
    ClipboardHasText = 1;
    return 1;
}

int PlatformClipboardGetText(char *text, int size)
{
    if (!ClipboardHasText || size <= 0) return 0;
    snprintf(text, (size_t)size, "%s", ClipboardText);
    return 1;
}

int PlatformClipboardSetImage(const Image *image)
{
    return ImageDuplicate(image, &ClipboardImage) == ERROR_NONE;
}

ErrorCode PlatformClipboardGetImage(Image *image)
{
    if (ClipboardImage.type == TYPE_EMPTY) return ERROR_READ_IMAGE_FILE;
    return ImageDuplicate(&ClipboardImage, image);
}

int PlatformClipboardHasImage(void)
{
    return ClipboardImage.type != TYPE_EMPTY;
}

void PlatformClipboardClear(void)
{
    ClipboardHasText = 0;
    ImageFree(&ClipboardImage);
}

int PlatformOpenExternal(const char *pathOrAddress)
{
    snprintf(External, sizeof External, "%s", pathOrAddress);
    return 1;
}

int PlatformHandOverCommandLine(const char *commandLine)
{
    snprintf(HandedOver, sizeof HandedOver, "%s", commandLine);
    return HandOverAnswer;
}

void HeadlessQueueFileDialog(const char *paths, int filter)
{
    if (FileAnswerCount == FILE_QUEUE) return;
    FileDialogAnswer *answer = &FileAnswers[FileAnswerCount++];
    memset(answer, 0, sizeof *answer);
    if (paths == nullptr) return; // a cancelled dialog
    answer->chosen = 1;
    answer->filter = filter;
    // The paths are one string, or several each ended by a zero byte before an empty one.
    size_t length = 0;
    while (paths[length] != 0 && length < sizeof answer->paths - 2)
        length += strlen(paths + length) + 1;
    if (length > sizeof answer->paths - 2) length = sizeof answer->paths - 2;
    memcpy(answer->paths, paths, length);
}

const HeadlessFileDialogRecord *HeadlessLastFileDialog(void)
{
    return &LastFileDialog;
}

void HeadlessSetModalHandler(void (*handler)(WindowHandle window))
{
    ModalHandler = handler;
}

const char *HeadlessExternal(void)
{
    return External;
}

void HeadlessSetHandOver(int answer)
{
    HandOverAnswer = answer;
}

const char *HeadlessHandedOver(void)
{
    return HandedOver;
}

int HeadlessMessageCount(void)
{
    return MessageTotal < HEADLESS_MESSAGE_LOG ? MessageTotal : HEADLESS_MESSAGE_LOG;
}

const HeadlessMessage *HeadlessMessageAt(int index)
{
    int count = HeadlessMessageCount();
    if (index < 0 || index >= count) return nullptr;
    return &Messages[(MessageTotal - count + index) % HEADLESS_MESSAGE_LOG];
}

const HeadlessMessage *HeadlessLastMessage(void)
{
    return HeadlessMessageAt(HeadlessMessageCount() - 1);
}

void HeadlessQueueAnswer(int answer)
{
    if (AnswerCount < ANSWER_QUEUE) Answers[AnswerCount++] = answer;
}

int PlatformShowMessage(void *owner, const char *title, const char *text, int kind,
                        const MessageLayout *layout)
{
    (void)owner;
    const char *labels[3];
    int results[3];
    MessageDialogButtons(kind, labels, results);
    int answer = results[0];
    if (AnswerCount > 0) {
        answer = Answers[0];
        memmove(Answers, Answers + 1, sizeof(int) * (size_t)(AnswerCount - 1));
        AnswerCount--;
    }
    HeadlessMessage *message = &Messages[MessageTotal % HEADLESS_MESSAGE_LOG];
    MessageTotal++;
    snprintf(message->title, sizeof message->title, "%s", title);
    snprintf(message->text, sizeof message->text, "%s", text);
    message->kind = kind;
    message->answer = answer;
    message->layout = *layout;
    return answer;
}
