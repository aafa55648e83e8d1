// Message boxes: ShowError, the one place that turns a code into a message the user sees,
// and MessageDialog, our own modal message dialog, laid out from the platform's font.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "ui/UiLayer.h"

// Buttons of MessageDialog, from left to right, and the results they give.
enum : int32_t {
    MESSAGE_OK = 0,            // "OK"
    MESSAGE_OK_CANCEL = 1,     // "OK", "&Cancel"
    MESSAGE_YES_NO_CANCEL = 3, // "&Yes", "&No", "&Cancel"
    MESSAGE_YES_NO = 4,        // "&Yes", "&No"
};
enum : int32_t {
    ANSWER_OK = 1,
    ANSWER_CANCEL = 2,
    ANSWER_YES = 6,
    ANSWER_NO = 7,
};

constexpr int MESSAGE_TEXT_MAX = 340; // longer texts are cut before they are shown
constexpr int MESSAGE_TITLE_MAX = 80;

// Shows the message of a code: nothing for 0, "Attention" for an abort, "Error" otherwise.
// A code noted with ErrorFileNote is shown with its file's path as the first line.
void ShowError(ErrorCode code);

// Notes that a failure of code concerns the file at path, so that the next ShowError of that
// code names the file (ErrorFileText). ShowError forgets the note whatever it shows, so a
// note never reaches a later message about something else.
void ErrorFileNote(ErrorCode code, const char *path);

// ShowError for a failure about the file at path: the path is the message's first line.
void ShowFileError(ErrorCode code, const char *path);

// Formats a message with FormatString (2000 characters at most) and shows it with OK.
void ShowMessage(const char *title, const char *format, ...);

// The same under the title "Error", in 256 characters at most.
void ShowErrorText(const char *format, ...);

// Our own modal message dialog; kind is one of MESSAGE_*, the result one of ANSWER_*.
// owner may be null. The text is cut at MESSAGE_TEXT_MAX, the title at MESSAGE_TITLE_MAX.
int MessageDialog(void *owner, const char *title, int kind, const char *text);

// The geometry MessageDialog asks the platform to show, worked out from the dialog font.
struct MessageLayout {
    int textWidth;   // pixels: widest line plus two margins, at least 200
    int textHeight;  // pixels: lines times the line height
    int lineCount;   // newlines plus one
    int buttonCount; // 1 to 3
    int buttonWidth; // pixels: widest label without its ampersand, plus two margins
    int dialogWidth; // pixels, the text or the button row, whichever is wider, plus margins
    int dialogHeight;
};

// Works out the layout of a message of this kind from the platform's font metrics.
void MessageDialogLayout(const char *text, int kind, MessageLayout *layout);

// The labels of the buttons of a kind, left to right; returns their count.
int MessageDialogButtons(int kind, const char *labels[3], int results[3]);

// Makes notices (core/Errors.h) message boxes with OK under their title; the editor and the
// tests that look at messages install it.
void MessageBoxInstall(void);
