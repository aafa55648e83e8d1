// What the files of the headless platform share: the window record and the pool of them.
#pragma once

#include <cstdint>

#include "core/Helpers.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "platform/Platform.h"

constexpr int HEADLESS_WINDOW_COUNT = 2048;

struct PlatformWindow {
    int used;
    int windowClass; // CLASS_*, or -1 for a control of the platform's own
    int controlType; // CONTROL_* of a platform control
    int kind;
    intptr_t words[WINDOW_WORD_COUNT];
    char title[WINDOW_TITLE_MAX + 1];
    uint32_t style;
    WindowHandle parent;
    int controlId;
    Rect rect;       // left, top, right (exclusive), bottom (exclusive) in the parent's client
    Rect normalRect; // where a minimised or maximised window returns
    int state;       // SHOW_*
    int order;       // front-to-back position among the workspace's children; lower is front
    int value;       // a control's value, or a scroll bar's position
    int range;       // a scroll bar's range
    int page;        // a scroll bar's page
    int enabled;
    char *items; // a list's items, owned
    int hasInvalid;
    Rect invalid;                  // the part to repaint, in client coordinates
    Image canvas;                  // what the window's painting drew, 24-bit, client size
    const ProgressState *progress; // the state a progress window paints from
    int progressRecord;            // its index in the progress log
    uint32_t serial;               // tells a handle from a later window in the same record
};

extern PlatformWindow HeadlessWindows[HEADLESS_WINDOW_COUNT];

// A cleared record from the pool, marked used, or null when the pool is full.
PlatformWindow *HeadlessWindowAllocate(void);

// Closes every window and forgets every window record, timer, menu and queued message.
void HeadlessWindowsReset(void);

// The modifiers held now (KEYS_*).
extern uint32_t HeadlessKeys;
