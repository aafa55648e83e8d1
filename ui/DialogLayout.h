// The layout the shell's own dialogs share: a column of labels, a column of controls beside
// them, an optional push button at the end of a row (such as "Browse..."), and a row of
// buttons at the bottom, all sized from the platform's dialog font. The dialogs describe
// their rows as tables; this file turns a table into controls.
#pragma once

#include <cstdint>

#include "platform/Platform.h"
#include "ui/UiLayer.h"

// Buttons every dialog laid out here has.
enum : int32_t {
    DIALOG_OK = 1,
    DIALOG_CANCEL = 2,
};

// A row's label is a static control whose id is its control's id plus this, so that the
// label can be found as well as the control.
constexpr int DIALOG_LABEL_ID = 1000;

struct DialogRow {
    const char *label; // text of the left column, or null
    int32_t type;      // CONTROL_* of the right column, or -1 for none
    int32_t id;        // the control's id; a row of several takes id, id + 1, ...
    int32_t count;     // controls side by side in the row, 1 to 3 (0 is taken as 1)
    const char *text;  // the control's own text (a check box's, a static's), or null
    int32_t buttonId;  // a push button after the control, or 0
    const char *buttonText;
};

struct DialogButton {
    int32_t id;
    const char *text;
    uint32_t style; // CONTROL_DEFAULT for the button Return presses
};

// Makes a hidden dialog child of kind titled title; DialogLayout shows it. Null when the
// platform cannot make it.
WindowHandle DialogCreate(int kind, const char *title);

// Creates the controls of rows and the row of buttons in window, sizes the window to hold
// them, places it in the middle of the workspace, shows and activates it.
void DialogLayout(WindowHandle window, const DialogRow *rows, int rowCount,
                  const DialogButton *buttons, int buttonCount);

// The corner of a window of width by height in the middle of the workspace (the screen
// before there is one), never above or left of it.
void WorkspaceCentre(int width, int height, int *x, int *y);

constexpr int TEXT_SHORTEN_MAX = 512; // characters a shortened text keeps at most

// The two ends of a text that is too long to show whole, for "%s...%s": a text of at most
// maximum characters is all head and no tail; otherwise the head takes a third of maximum
// less the dots and the tail the rest. head and tail hold maximum + 1 bytes.
void TextShortenParts(const char *text, int maximum, char *head, char *tail);

// text itself when it has at most maximum characters (up to TEXT_SHORTEN_MAX), else
// "%s...%s" of its ends.
void TextShorten(const char *text, int maximum, char *shortened, int capacity);

// Turns a list ended by a byte 1 (as EnumerateProfiles and ColorEngineList give them) into
// one ended by an empty string (as PlatformSetControlItems takes it), in place.
void ListToItems(char *list);
