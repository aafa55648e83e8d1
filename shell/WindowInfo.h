// Window Info: a modal view of what the active picture is, how large, how fine, where it
// came from and in which file it lives.
#pragma once

#include "platform/Platform.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

constexpr int WINDOW_INFO_LINES = 16;    // lines the dialog can show
constexpr int WINDOW_INFO_TEXT = 400;    // characters of one line, with its terminator
constexpr int WINDOW_INFO_NAME_MAX = 60; // characters of a path before it is shortened

// The dialog's lines for a picture record, top to bottom; returns how many.
int WindowInfoTexts(const ImageWindow *record, char texts[][WINDOW_INFO_TEXT], int capacity);

// Shows the dialog for the picture of window and returns when the user closes it.
void ShowWindowInfo(WindowHandle window);

// Registers the dialog's procedure; part of Initialise.
void WindowInfoRegister(void);
