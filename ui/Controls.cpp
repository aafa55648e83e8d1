// The custom controls: one procedure for the CLASS_CONTROL windows, which picks the
// control's own procedure by its kind word from a table that each control fills. Each control
// keeps a small record in WORD_POINTER, allocated at MSG_CREATE and freed at MSG_DESTROY.
//
// The slider's rules (which thumb a press takes, where a drag puts it, what a key does) are
// written once over a SliderState and a track rectangle, so that the Slider control and the
// slider inside the Amount control (masks/AmountControl.cpp) behave alike.
#include "ui/Controls.h"

#include <cstring>

#include "core/File.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "ui/DialogLayout.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/UiState.h"

// Colors of the controls' drawing, 0xRRGGBB; the text, shadow and dark ones are in the header.
static const uint32_t COLOR_LIGHT = 0xffffff;
static const uint32_t COLOR_FIELD = 0xffffff;
static const uint32_t COLOR_THUMB = 0xd8d8d8;
static const uint32_t COLOR_THUMB_LOW = 0x303030; // the thumb of the amount at mask 0
static const uint32_t COLOR_FILL = 0x3c78c8;      // the track up to a single thumb

static const int THUMB_HALF = SLIDER_THUMB_WIDTH / 2;
static const int CHOOSER_LIST_MAX = 256;                      // as many as the window table holds
static const int LIST_LABEL_BYTES = 2 * WINDOW_TITLE_MAX + 1; // a title with every & doubled
static const int ARROW_WIDTH = 9; // pixels of the drop-down arrow of the chooser

// ---------------------------------------------------------------------------------------
// The slider's rules.

int SliderClampPosition(int position)
{
    return position < 0 ? 0 : (position > SLIDER_POSITIONS ? SLIDER_POSITIONS : position);
}

// Pixels the thumb's centre travels over the track.
static int TrackSpan(const Rect *track)
{
    int span = track->right - track->left - SLIDER_THUMB_WIDTH;
    return span > 1 ? span : 1;
}

// The x of a thumb's centre at position.
static int SliderThumbX(const Rect *track, int position)
{
    return track->left + THUMB_HALF +
           (int)(((int64_t)position * TrackSpan(track) + SLIDER_POSITIONS / 2) / SLIDER_POSITIONS);
}

// The position whose thumb centre is nearest to x, clamped to the ends.
static int SliderPositionAt(const Rect *track, int x)
{
    double offset = x - track->left - THUMB_HALF;
    return SliderClampPosition(Round(offset * SLIDER_POSITIONS / TrackSpan(track)));
}

int SliderPress(SliderState *slider, const Rect *track, int x)
{
    int take = 0;
    if (slider->positions[1] >= 0) {
        int x0 = SliderThumbX(track, slider->positions[0]);
        int x1 = SliderThumbX(track, slider->positions[1]);
        int d0 = Abs(x - x0);
        int d1 = Abs(x - x1);
        int upper = slider->positions[1] >= slider->positions[0] ? 1 : 0;
        if (d1 < d0 || (d1 == d0 && (x >= x0 ? upper == 1 : upper == 0))) take = 1;
    }
    slider->active = take;
    slider->dragging = 1;
    int centre = SliderThumbX(track, slider->positions[take]);
    // A press on the thumb itself keeps it under the mouse, so that a small drag makes a
    // small change instead of first snapping the centre to the pointer.
    slider->grab = Abs(x - centre) <= THUMB_HALF ? centre - x : 0;
    int position = SliderPositionAt(track, x + slider->grab);
    if (position == slider->positions[take]) return 0;
    slider->positions[take] = position;
    return 1;
}

int SliderDrag(SliderState *slider, const Rect *track, int x)
{
    if (!slider->dragging) return 0;
    int position = SliderPositionAt(track, x + slider->grab);
    if (position == slider->positions[slider->active]) return 0;
    slider->positions[slider->active] = position;
    return 1;
}

// Page Up raises the value, as a photographer reads "up" on a strength; Home and End go to
// the ends.
int SliderKey(SliderState *slider, uint32_t key)
{
    int at = slider->positions[slider->active];
    int position = at;
    switch (key) {
    case KEY_LEFT:
    case KEY_DOWN: position = at - SLIDER_STEP; break;
    case KEY_RIGHT:
    case KEY_UP: position = at + SLIDER_STEP; break;
    case KEY_PAGE_DOWN: position = at - SLIDER_PAGE; break;
    case KEY_PAGE_UP: position = at + SLIDER_PAGE; break;
    case KEY_HOME: position = 0; break;
    case KEY_END: position = SLIDER_POSITIONS; break;
    default: return 0;
    }
    position = SliderClampPosition(position);
    if (position == at) return 0;
    slider->positions[slider->active] = position;
    return 1;
}

// A sunken groove along the middle of the track, the part up to a single thumb filled, and
// the thumbs; with two, the thumb of the amount at mask 0 is dark and the other light, as
// the mask's own black and white.
void SliderDraw(DrawContext *context, const SliderState *slider, const Rect *track)
{
    int middle = (track->top + track->bottom) / 2;
    int left = track->left + THUMB_HALF;
    int right = track->right - 1 - THUMB_HALF;
    Rect groove = {left, middle - 2, right + 1, middle + 2};
    PlatformFillRect(context, &groove, COLOR_FIELD);
    if (slider->positions[1] < 0) {
        Rect filled = {left, middle - 1, SliderThumbX(track, slider->positions[0]), middle + 1};
        PlatformFillRect(context, &filled, COLOR_FILL);
    }
    PlatformDrawLine(context, left, middle - 2, right, middle - 2, COLOR_CONTROL_SHADOW);
    PlatformDrawLine(context, left, middle - 2, left, middle + 1, COLOR_CONTROL_SHADOW);
    PlatformDrawLine(context, left, middle + 2, right, middle + 2, COLOR_LIGHT);
    for (int i = 1; i >= 0; i--) {
        if (slider->positions[i] < 0) continue;
        int x = SliderThumbX(track, slider->positions[i]);
        Rect thumb = {x - THUMB_HALF, track->top, x + THUMB_HALF + 1, track->bottom};
        uint32_t face = (i == 0 && slider->positions[1] >= 0) ? COLOR_THUMB_LOW : COLOR_THUMB;
        PlatformFillRect(context, &thumb, face);
        PlatformFrameRect(context, &thumb, COLOR_CONTROL_DARK);
        PlatformDrawLine(context, thumb.left + 1, thumb.top + 1, thumb.right - 2, thumb.top + 1,
                         COLOR_LIGHT);
        PlatformDrawLine(context, thumb.left + 1, thumb.top + 1, thumb.left + 1, thumb.bottom - 2,
                         COLOR_LIGHT);
    }
}

// ---------------------------------------------------------------------------------------
// Shared pieces.

void *ControlRecord(WindowHandle window, int kind)
{
    if (PlatformWindowClass(window) != CLASS_CONTROL) return nullptr;
    if (PlatformGetWindowWord(window, WORD_KIND) != kind) return nullptr;
    return (void *)PlatformGetWindowWord(window, WORD_POINTER);
}

static void *ChildRecord(WindowHandle parent, int id, int kind)
{
    return ControlRecord(PlatformControl(parent, id), kind);
}

WindowHandle ControlMake(WindowHandle parent, int id, const Rect *rect, int kind, void *init)
{
    if (parent == nullptr || rect == nullptr) return nullptr;
    WindowCreate request = {CLASS_CONTROL,
                            kind,
                            -1,
                            "",
                            0,
                            rect->left,
                            rect->top,
                            rect->right - rect->left,
                            rect->bottom - rect->top,
                            parent,
                            id,
                            (intptr_t)init};
    return PlatformCreateWindow(&request);
}

MessageResult ControlRecordCreate(WindowHandle window, intptr_t lParam, size_t bytes)
{
    const WindowCreate *request = (const WindowCreate *)lParam;
    void *record = MemoryAlloc(bytes);
    if (record == nullptr) return -1;
    memcpy(record, (const void *)request->param, bytes);
    PlatformSetWindowWord(window, WORD_POINTER, (intptr_t)record);
    PlatformInvalidate(window, nullptr);
    return 0;
}

// text cut with "..." at its end until it fits in width pixels.
static void TextFit(const char *text, int width, char *fitted, int capacity)
{
    StrCopyLimit(text, fitted, capacity - 1);
    int length = (int)strlen(fitted);
    if (PlatformTextWidth(fitted, length) <= width) return;
    while (length > 0) {
        length--;
        fitted[length] = 0;
        char shown[LIST_LABEL_BYTES + 4];
        FormatString(shown, sizeof shown, "%s...", fitted);
        if (PlatformTextWidth(shown, (int)strlen(shown)) <= width) {
            StrCopyLimit(shown, fitted, capacity - 1);
            return;
        }
    }
    fitted[0] = 0;
}

// The labels of the last list shown. They outlive the menu, since a platform may keep the
// items of its last pop-up (the headless one does, for tests to read).
static char ListLabels[CHOOSER_LIST_MAX][LIST_LABEL_BYTES];

int DropDownMessage(WindowHandle window, uint32_t message, uintptr_t wParam, void *record)
{
    switch (message) {
    case MSG_DESTROY:
        ClearInUse(window, nullptr);
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return DROP_DOWN_DONE;
    case MSG_PAINT: return DROP_DOWN_PAINT;
    case MSG_LBUTTON_DOWN: return DROP_DOWN_PRESS;
    // From the keyboard the list opens as a drop-down list's does.
    case MSG_KEY_DOWN: return wParam == KEY_DOWN ? DROP_DOWN_PRESS : DROP_DOWN_DONE;
    case MSG_CHAR: return wParam == ' ' ? DROP_DOWN_PRESS : DROP_DOWN_DONE;
    default: return DROP_DOWN_OTHER;
    }
}

int ControlListChoose(WindowHandle control, const char *first, const WindowHandle *windows,
                      int count)
{
    static MenuItem items[CHOOSER_LIST_MAX + 2];
    int base = first != nullptr ? 2 : 1;
    int used = 0;
    if (count > CHOOSER_LIST_MAX) count = CHOOSER_LIST_MAX;
    if (first != nullptr) items[used++] = {1, first, 1};
    for (int i = 0; i < count; i++) {
        char title[PATH_LENGTH + 32];
        WindowTitle(windows[i], title, sizeof title);
        // A title's & would become an access key in the menu: doubled, it shows as itself.
        char *label = ListLabels[i];
        int at = 0;
        for (int c = 0; title[c] != 0 && c < WINDOW_TITLE_MAX && at < LIST_LABEL_BYTES - 2; c++) {
            if (title[c] == '&') label[at++] = '&';
            label[at++] = title[c];
        }
        label[at] = 0;
        items[used++] = {base + i, label, 1};
    }
    items[used] = {0, nullptr, 0};
    Rect client;
    PlatformGetClientRect(control, &client);
    int id = PlatformPopupMenu(control, items, 0, client.bottom);
    if (first != nullptr && id == 1) return -1;
    if (id >= base && id < base + count) return id - base;
    return -2;
}

const ImageWindow *ShownPicture(WindowHandle window)
{
    if (!PlatformWindowExists(window) || PlatformWindowClass(window) != CLASS_CHILD) return nullptr;
    if (PlatformWindowParent(window) != nullptr) return nullptr;
    if (PlatformGetWindowWord(window, WORD_KIND) != KIND_IMAGE) return nullptr;
    // A hidden picture is one a tool holds for itself (a mask under edit): not a choice.
    if (PlatformWindowState(window) == SHOW_HIDE) return nullptr;
    return WindowRecord(window);
}

// ---------------------------------------------------------------------------------------
// Slider.

struct SliderControl {
    int32_t id;
    SliderState slider;
};

static void Notify(WindowHandle window, int id, uint32_t code)
{
    PlatformSendMessage(PlatformWindowParent(window), MSG_COMMAND,
                        (uintptr_t)(uint16_t)id | ((uintptr_t)code << 16), (intptr_t)window);
}

static MessageResult SliderProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam)
{
    if (message == MSG_CREATE) return ControlRecordCreate(window, lParam, sizeof(SliderControl));
    SliderControl *record = (SliderControl *)ControlRecord(window, CUSTOM_SLIDER);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    Rect track; // the whole client: the thumb runs from end to end
    PlatformGetClientRect(window, &track);
    int id = record->id;
    switch (message) {
    case MSG_DESTROY:
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: SliderDraw((DrawContext *)wParam, &record->slider, &track); return 0;
    case MSG_LBUTTON_DOWN:
        PlatformSetFocus(window);
        PlatformSetCapture(window);
        if (SliderPress(&record->slider, &track, ParamLow(lParam))) {
            PlatformInvalidate(window, nullptr);
            Notify(window, id, NOTIFY_MOVED);
        }
        return 0;
    case MSG_MOUSE_MOVE:
        if (SliderDrag(&record->slider, &track, ParamLow(lParam))) {
            PlatformInvalidate(window, nullptr);
            Notify(window, id, NOTIFY_MOVED);
        }
        return 0;
    case MSG_LBUTTON_UP: {
        if (!record->slider.dragging) return 0;
        int moved = SliderDrag(&record->slider, &track, ParamLow(lParam));
        record->slider.dragging = 0;
        PlatformReleaseCapture();
        if (moved) {
            PlatformInvalidate(window, nullptr);
            Notify(window, id, NOTIFY_MOVED);
            // The parent may have closed the dialog on the move.
            if (!PlatformWindowExists(window)) return 0;
        }
        Notify(window, id, NOTIFY_RELEASED);
        return 0;
    }
    case MSG_KEY_DOWN:
        if (SliderKey(&record->slider, (uint32_t)wParam)) {
            PlatformInvalidate(window, nullptr);
            Notify(window, id, NOTIFY_MOVED);
            if (PlatformWindowExists(window)) Notify(window, id, NOTIFY_RELEASED);
        }
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

WindowHandle SliderCreate(WindowHandle parent, int id, const Rect *rect, int position)
{
    SliderControl init = {};
    init.id = id;
    init.slider.positions[0] = SliderClampPosition(position);
    init.slider.positions[1] = -1;
    return ControlMake(parent, id, rect, CUSTOM_SLIDER, &init);
}

int SliderPosition(WindowHandle parent, int id)
{
    const SliderControl *record = (const SliderControl *)ChildRecord(parent, id, CUSTOM_SLIDER);
    return record != nullptr ? record->slider.positions[0] : -1;
}

void SliderSetPosition(WindowHandle parent, int id, int position)
{
    SliderControl *record = (SliderControl *)ChildRecord(parent, id, CUSTOM_SLIDER);
    if (record == nullptr) return;
    record->slider.positions[0] = SliderClampPosition(position);
    PlatformInvalidate(PlatformControl(parent, id), nullptr);
}

int SliderSecondPosition(WindowHandle parent, int id)
{
    const SliderControl *record = (const SliderControl *)ChildRecord(parent, id, CUSTOM_SLIDER);
    return record != nullptr ? record->slider.positions[1] : -1;
}

void SliderSetSecondPosition(WindowHandle parent, int id, int position)
{
    SliderControl *record = (SliderControl *)ChildRecord(parent, id, CUSTOM_SLIDER);
    if (record == nullptr) return;
    record->slider.positions[1] = position < 0 ? -1 : SliderClampPosition(position);
    if (position < 0) record->slider.active = 0;
    PlatformInvalidate(PlatformControl(parent, id), nullptr);
}

// ---------------------------------------------------------------------------------------
// Pop-up list.

WindowHandle PopupListCreate(WindowHandle parent, int id, const Rect *rect, const char *label,
                             const char *items, int choice)
{
    if (parent == nullptr || rect == nullptr) return nullptr;
    int height = rect->bottom - rect->top;
    int labelWidth = PlatformTextWidth(label, (int)strlen(label));
    // The label's text stands level with the list's text.
    int textTop = rect->top + (height - LineHeight) / 2;
    Rect labelRect = {rect->left, textTop, rect->left + labelWidth, textTop + LineHeight};
    Rect listRect = {labelRect.right + Margin, rect->top, rect->right, rect->bottom};
    if (PlatformCreateControl(parent, CONTROL_STATIC, id + POPUP_LABEL_ID, label, ALIGN_LEFT,
                              &labelRect) == nullptr)
        return nullptr;
    WindowHandle list = PlatformCreateControl(parent, CONTROL_POPUP_LIST, id, "", 0, &listRect);
    if (list == nullptr) return nullptr;
    PlatformSetControlItems(parent, id, items);
    PlatformSetControlValue(parent, id, choice);
    return list;
}

int PopupListChoice(WindowHandle parent, int id)
{
    return PlatformControlValue(parent, id);
}

void PopupListSetChoice(WindowHandle parent, int id, int choice)
{
    PlatformSetControlValue(parent, id, choice);
}

// ---------------------------------------------------------------------------------------
// Input image chooser.

static const char *CHOOSER_LABEL = "Input Image:";

struct InputChooser {
    int32_t id;
    WindowHandle chosen; // the window marked in use by this control, or null
    ChooserAccept accept;
};

static int Accepts(ChooserAccept accept, int type)
{
    if (!ImageIsPicture(type)) return 0;
    return accept == nullptr || accept(type);
}

int InputChooserCandidates(ChooserAccept accept, WindowHandle *windows, int capacity)
{
    int count = 0;
    for (WindowHandle window = PlatformFirstChild(); window != nullptr && count < capacity;
         window = PlatformNextChild(window)) {
        const ImageWindow *record = ShownPicture(window);
        if (record != nullptr && Accepts(accept, record->picture.image.type))
            windows[count++] = window;
    }
    return count;
}

// The chosen window while it is still an image window, else null.
static WindowHandle ChooserChosen(const InputChooser *record)
{
    WindowHandle chosen = record->chosen;
    if (!PlatformWindowExists(chosen) || PlatformGetWindowWord(chosen, WORD_KIND) != KIND_IMAGE)
        return nullptr;
    return chosen;
}

// "Input Image:" at the left, level with the field: a white box with the chosen window's
// title as it is now and a drop-down arrow at its right end.
static void ChooserDraw(WindowHandle window, DrawContext *context, const InputChooser *record)
{
    Rect client;
    PlatformGetClientRect(window, &client);
    int labelWidth = PlatformTextWidth(CHOOSER_LABEL, (int)strlen(CHOOSER_LABEL));
    int textTop = (client.bottom - LineHeight) / 2;
    PlatformDrawText(context, 0, textTop, CHOOSER_LABEL, COLOR_CONTROL_TEXT, 0);

    int fieldHeight = LineHeight + 6;
    Rect field = {labelWidth + Margin, (client.bottom - fieldHeight) / 2, client.right,
                  (client.bottom + fieldHeight) / 2};
    PlatformFillRect(context, &field, COLOR_FIELD);
    PlatformDrawLine(context, field.left, field.top, field.right - 1, field.top,
                     COLOR_CONTROL_SHADOW);
    PlatformDrawLine(context, field.left, field.top, field.left, field.bottom - 1,
                     COLOR_CONTROL_SHADOW);
    PlatformDrawLine(context, field.left, field.bottom - 1, field.right - 1, field.bottom - 1,
                     COLOR_CONTROL_SHADOW);
    PlatformDrawLine(context, field.right - 1, field.top, field.right - 1, field.bottom - 1,
                     COLOR_CONTROL_SHADOW);

    // The arrow: rows narrowing by one pixel each side, pointing down.
    int arrowLeft = field.right - ARROW_WIDTH - 5;
    int arrowTop = (client.bottom - ARROW_WIDTH / 2) / 2;
    for (int row = 0; row <= ARROW_WIDTH / 2; row++)
        PlatformDrawLine(context, arrowLeft + row, arrowTop + row,
                         arrowLeft + ARROW_WIDTH - 1 - row, arrowTop + row, COLOR_CONTROL_DARK);

    WindowHandle chosen = ChooserChosen(record);
    if (chosen == nullptr) return;
    char title[PATH_LENGTH + 32];
    char shown[LIST_LABEL_BYTES];
    WindowTitle(chosen, title, sizeof title);
    TextFit(title, arrowLeft - field.left - 8, shown, sizeof shown);
    PlatformDrawText(context, field.left + 4, textTop, shown, COLOR_CONTROL_TEXT, 0);
}

// The mark of the chooser moves from its old window to window; 0 when it could not be made.
static int ChooserMark(WindowHandle control, InputChooser *record, WindowHandle window)
{
    ClearInUse(control, nullptr);
    record->chosen = nullptr;
    if (window == nullptr) return 1;
    if (MarkInUse(control, window, CHOOSER_IN_USE_NAME, 1) != ERROR_NONE) return 0;
    record->chosen = window;
    return 1;
}

static void ChooserPress(WindowHandle window, InputChooser *record)
{
    WindowHandle candidates[CHOOSER_LIST_MAX];
    int count = InputChooserCandidates(record->accept, candidates, CHOOSER_LIST_MAX);
    int index = ControlListChoose(window, nullptr, candidates, count);
    if (index < 0 || !PlatformWindowExists(window)) return;
    // Choosing the window already chosen changes nothing, and says nothing.
    if (candidates[index] == ChooserChosen(record)) return;
    if (!ChooserMark(window, record, candidates[index])) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    PlatformInvalidate(window, nullptr);
    PlatformSendMessage(PlatformWindowParent(window), MSG_INPUT_CHOSEN, (uintptr_t)record->id,
                        (intptr_t)window);
}

static MessageResult ChooserProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                      intptr_t lParam)
{
    if (message == MSG_CREATE) return ControlRecordCreate(window, lParam, sizeof(InputChooser));
    InputChooser *record = (InputChooser *)ControlRecord(window, CUSTOM_INPUT_CHOOSER);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    switch (DropDownMessage(window, message, wParam, record)) {
    case DROP_DOWN_PAINT: ChooserDraw(window, (DrawContext *)wParam, record); return 0;
    case DROP_DOWN_PRESS: ChooserPress(window, record); return 0;
    case DROP_DOWN_DONE: return 0;
    }
    if (message == MSG_INPUT_CHANGED) {
        // The chosen picture changed (its zoom, and so its title, perhaps). The dialog holds
        // a mark of its own on its input and hears of the change itself.
        PlatformInvalidate(window, nullptr);
        return 0;
    }
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

WindowHandle InputChooserCreate(WindowHandle parent, int id, const Rect *rect, WindowHandle input,
                                ChooserAccept accept)
{
    InputChooser init = {id, nullptr, accept};
    WindowHandle control = ControlMake(parent, id, rect, CUSTOM_INPUT_CHOOSER, &init);
    if (control == nullptr) return nullptr;
    InputChooser *record = (InputChooser *)ControlRecord(control, CUSTOM_INPUT_CHOOSER);
    if (!ChooserMark(control, record, input)) {
        PlatformDestroyWindow(control);
        return nullptr;
    }
    return control;
}

WindowHandle InputChooserWindow(WindowHandle parent, int id)
{
    const InputChooser *record =
        (const InputChooser *)ChildRecord(parent, id, CUSTOM_INPUT_CHOOSER);
    return record != nullptr ? ChooserChosen(record) : nullptr;
}

// ---------------------------------------------------------------------------------------
// The focus.

// 1 when a control can take the focus now.
static int TakesFocus(WindowHandle control)
{
    if (!PlatformControlEnabled(control) || PlatformWindowState(control) == SHOW_HIDE) return 0;
    switch (PlatformControlType(control)) {
    case CONTROL_BUTTON:
    case CONTROL_CHECK_BOX:
    case CONTROL_EDIT:
    case CONTROL_POPUP_LIST:
    case CONTROL_LIST:
    case CONTROL_RADIO: return 1;
    case -1: return PlatformWindowClass(control) == CLASS_CONTROL;
    default: return 0; // texts, group frames and scroll bars
    }
}

WindowHandle ControlFocusNext(WindowHandle parent, WindowHandle from, int backward)
{
    // The controls that take the focus, and where from stands among them.
    static WindowHandle takers[1024];
    int count = 0;
    int at = -1;
    for (WindowHandle control = PlatformNextControl(parent, nullptr);
         control != nullptr && count < 1024; control = PlatformNextControl(parent, control)) {
        if (!TakesFocus(control)) continue;
        if (control == from) at = count;
        takers[count++] = control;
    }
    if (count == 0) return nullptr;
    int next;
    if (at < 0)
        next = backward ? count - 1 : 0;
    else
        next = backward ? (at + count - 1) % count : (at + 1) % count;
    PlatformSetFocusFromKey(takers[next]);
    return takers[next];
}

// ---------------------------------------------------------------------------------------
// The class.

// The procedure of each control type, by its kind word.
static WindowProcedure KindProcedures[CUSTOM_KIND_COUNT];

void ControlKindRegister(int kind, WindowProcedure procedure)
{
    if (kind > 0 && kind < CUSTOM_KIND_COUNT) KindProcedures[kind] = procedure;
}

static MessageResult KindProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                   intptr_t lParam)
{
    intptr_t kind = PlatformGetWindowWord(window, WORD_KIND);
    if (kind > 0 && kind < CUSTOM_KIND_COUNT && KindProcedures[kind] != nullptr)
        return KindProcedures[kind](window, message, wParam, lParam);
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

// What every custom control does alike: it shows that it has the focus by a frame around
// itself, so that Tab can be followed from control to control.
static MessageResult ControlProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                      intptr_t lParam)
{
    if (message == MSG_SET_FOCUS || message == MSG_KILL_FOCUS) PlatformInvalidate(window, nullptr);
    MessageResult result = KindProcedure(window, message, wParam, lParam);
    if (message == MSG_PAINT && PlatformFocusWindow() == window) {
        Rect client;
        PlatformGetClientRect(window, &client);
        PlatformFrameRect((DrawContext *)wParam, &client, COLOR_FOCUS);
    }
    return result;
}

void ControlsRegister(void)
{
    PlatformRegisterClass(CLASS_CONTROL, ControlProcedure);
    ControlKindRegister(CUSTOM_SLIDER, SliderProcedure);
    ControlKindRegister(CUSTOM_INPUT_CHOOSER, ChooserProcedure);
}
