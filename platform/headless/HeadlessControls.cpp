// Controls of the headless platform: each a record holding its text, value, list items and
// scroll bar, and what tests do to them (a click, typing, a choice, a scroll), reported to
// the parent as the real control would.
#include <cstdio>
#include <cstring>

#include "core/Memory.h"
#include "core/Text.h"
#include "platform/headless/Headless.h"
#include "platform/headless/HeadlessInternal.h"

WindowHandle PlatformCreateControl(WindowHandle parent, int type, int id, const char *text,
                                   uint32_t style, const Rect *rect)
{
    PlatformWindow *control = WindowControlAllocate(parent, type, id, text, style);
    if (control == nullptr) return nullptr;
    control->side->rect = *rect;
    control->side->state = SHOW_NORMAL;
    return control;
}

int PlatformControlEnabled(WindowHandle control)
{
    return WindowValid(control) && control->side->enabled;
}

void PlatformSetControlText(WindowHandle parent, int id, const char *text)
{
    PlatformSetWindowTitle(PlatformControl(parent, id), text);
}

void PlatformGetControlText(WindowHandle parent, int id, char *text, int size)
{
    PlatformGetWindowTitle(PlatformControl(parent, id), text, size);
}

void PlatformSetControlValue(WindowHandle parent, int id, int value)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control != nullptr) control->side->value = value;
}

int PlatformControlValue(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    return control != nullptr ? control->side->value : 0;
}

void PlatformEnableControl(WindowHandle parent, int id, int enabled)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control != nullptr) control->side->enabled = enabled != 0;
}

void PlatformSetControlItems(WindowHandle parent, int id, const char *items)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    size_t length = 0;
    while (items[length] != 0)
        length += strlen(items + length) + 1;
    char *copy = (char *)MemoryAlloc(length + 1);
    if (copy == nullptr) return;
    memcpy(copy, items, length + 1);
    MemoryFree(control->side->items);
    control->side->items = copy;
}

void PlatformSetScrollBar(WindowHandle scrollBar, int range, int position, int page)
{
    if (!WindowValid(scrollBar)) return;
    scrollBar->side->range = range;
    scrollBar->side->value = position;
    scrollBar->side->page = page;
}

void PlatformMoveControl(WindowHandle control, const Rect *rect)
{
    if (WindowValid(control)) control->side->rect = *rect;
}

void HeadlessClick(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr || !control->side->enabled) return;
    if (control->controlType == CONTROL_CHECK_BOX) control->side->value = !control->side->value;
    if (control->controlType == CONTROL_RADIO) control->side->value = 1;
    WindowDeliver(parent, MSG_COMMAND, (uintptr_t)(uint16_t)id | ((uintptr_t)NOTIFY_CLICKED << 16),
                  (intptr_t)control);
}

void HeadlessSetEditText(WindowHandle parent, int id, const char *text)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    snprintf(control->title, sizeof control->title, "%s", text);
    WindowDeliver(parent, MSG_COMMAND, (uintptr_t)(uint16_t)id | ((uintptr_t)NOTIFY_CHANGED << 16),
                  (intptr_t)control);
}

void HeadlessChoose(WindowHandle parent, int id, int index)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control == nullptr) return;
    control->side->value = index;
    WindowDeliver(parent, MSG_COMMAND, (uintptr_t)(uint16_t)id | ((uintptr_t)NOTIFY_CHANGED << 16),
                  (intptr_t)control);
}

void HeadlessScroll(WindowHandle scrollBar, uint32_t code, int position)
{
    if (!WindowValid(scrollBar) || !WindowValid(scrollBar->parent)) return;
    uint32_t message = scrollBar->controlType == CONTROL_SCROLL_V ? MSG_VSCROLL : MSG_HSCROLL;
    WindowDeliver(scrollBar->parent, message, code | ((uintptr_t)(uint16_t)position << 16),
                  (intptr_t)scrollBar);
}

int HeadlessControlEnabled(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    return control != nullptr && control->side->enabled;
}

int HeadlessScrollBar(WindowHandle scrollBar, int *range, int *position, int *page)
{
    if (!WindowValid(scrollBar)) return 0;
    *range = scrollBar->side->range;
    *position = scrollBar->side->value;
    *page = scrollBar->side->page;
    return scrollBar->side->state != SHOW_HIDE;
}

void PlatformSetControlTip(WindowHandle parent, int id, const char *tip)
{
    WindowHandle control = PlatformControl(parent, id);
    if (control != nullptr) StrCopyLimit(tip != nullptr ? tip : "", control->side->tip, 80);
}

const char *HeadlessControlTip(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    return control != nullptr ? control->side->tip : "";
}

const char *HeadlessControlItems(WindowHandle parent, int id)
{
    WindowHandle control = PlatformControl(parent, id);
    return control != nullptr && control->side->items != nullptr ? control->side->items : "";
}
