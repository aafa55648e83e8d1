// What the files of the headless platform share: its part of a window record, the windows
// it keeps track of, and the reset of each file.
#pragma once

#include <cstdint>

#include "core/Helpers.h"
#include "core/Image.h"
#include "platform/WindowCore.h"

// The headless part of a window: where it stands, what its controls hold, and what its
// painting drew.
struct WindowSide {
    Rect rect;       // left, top, right (exclusive), bottom (exclusive) in the parent's client
    Rect normalRect; // where a minimised or maximised window returns
    int state;       // SHOW_*
    int order;       // front-to-back position among the workspace's children; lower is front
    int value;       // a control's value, or a scroll bar's position
    int range;       // a scroll bar's range
    int page;        // a scroll bar's page
    int enabled;
    char *items;        // a list's items, owned
    char tip[81];       // a control's tip
    Image canvas;       // what the window's painting drew, 24-bit, client size
    int progressRecord; // a progress window's index in the progress log, or -1
};

// The workspace and the frame, while they exist.
extern WindowHandle HeadlessWorkspaceRecord;
extern WindowHandle HeadlessFrameRecord;

// The modifiers held now (KEYS_*).
extern uint32_t HeadlessKeys;

// The client size of a window: its rectangle less the frame of its class.
int HeadlessClientWidth(const PlatformWindow *window);
int HeadlessClientHeight(const PlatformWindow *window);

// Each file forgets its records and scripts; HeadlessReset calls them all. The windows' reset
// also resets the window core and makes the workspace afresh.
void HeadlessWindowsReset(void);
void HeadlessDrawReset(void);
void HeadlessMenuReset(void);
void HeadlessDialogsReset(void);
void HeadlessProgressReset(void);
