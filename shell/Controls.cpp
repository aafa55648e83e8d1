// The custom controls: one procedure for the CLASS_CONTROL windows, which picks the
// control's own procedure by its kind word. Each control keeps a small record in
// WORD_POINTER, allocated at MSG_CREATE and freed at MSG_DESTROY.
//
// The slider's rules (which thumb a press takes, where a drag puts it, what a key does) are
// written once over a SliderState and a track rectangle, so that the Slider control and the
// slider inside the Amount control behave alike.
#include "shell/Controls.h"

#include <cstring>

#include "core/File.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "shell/DialogLayout.h"
#include "shell/ImageWindows.h"
#include "shell/Shell.h"
#include "ui/ImageWindow.h"
#include "ui/MessageBox.h"

// Colors of the controls' drawing, 0xRRGGBB.
static const uint32_t COLOR_TEXT = 0x000000;
static const uint32_t COLOR_SHADOW = 0x808080;
static const uint32_t COLOR_DARK = 0x404040;
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

struct SliderState {
    int32_t positions[2]; // the thumbs, 0..1024; positions[1] is -1 with one thumb
    int32_t active;       // the thumb that a drag or a key moves, 0 or 1
    int32_t dragging;     // 1 from a press until its release
    int32_t grab;         // pixels from the press to the centre of the thumb it took
};

static int ClampPosition(int position)
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
    return ClampPosition(Round(offset * SLIDER_POSITIONS / TrackSpan(track)));
}

// A press at x: takes the nearer thumb (on a tie the one whose value lies on the press's
// side), and either grabs it where it was pressed or, off the thumb, jumps it there.
// Returns 1 when the taken thumb's position changed.
static int SliderPress(SliderState *slider, const Rect *track, int x)
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

// The mouse at x during a drag; returns 1 when the position changed.
static int SliderDrag(SliderState *slider, const Rect *track, int x)
{
    if (!slider->dragging) return 0;
    int position = SliderPositionAt(track, x + slider->grab);
    if (position == slider->positions[slider->active]) return 0;
    slider->positions[slider->active] = position;
    return 1;
}

// A key on the active thumb; returns 1 when the position changed. Page Up raises the value,
// as a photographer reads "up" on a strength; Home and End go to the ends.
static int SliderKey(SliderState *slider, uint32_t key)
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
    position = ClampPosition(position);
    if (position == at) return 0;
    slider->positions[slider->active] = position;
    return 1;
}

// A sunken groove along the middle of the track, the part up to a single thumb filled, and
// the thumbs; with two, the thumb of the amount at mask 0 is dark and the other light, as
// the mask's own black and white.
static void SliderDraw(DrawContext *context, const SliderState *slider, const Rect *track)
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
    PlatformDrawLine(context, left, middle - 2, right, middle - 2, COLOR_SHADOW);
    PlatformDrawLine(context, left, middle - 2, left, middle + 1, COLOR_SHADOW);
    PlatformDrawLine(context, left, middle + 2, right, middle + 2, COLOR_LIGHT);
    for (int i = 1; i >= 0; i--) {
        if (slider->positions[i] < 0) continue;
        int x = SliderThumbX(track, slider->positions[i]);
        Rect thumb = {x - THUMB_HALF, track->top, x + THUMB_HALF + 1, track->bottom};
        uint32_t face = (i == 0 && slider->positions[1] >= 0) ? COLOR_THUMB_LOW : COLOR_THUMB;
        PlatformFillRect(context, &thumb, face);
        PlatformFrameRect(context, &thumb, COLOR_DARK);
        PlatformDrawLine(context, thumb.left + 1, thumb.top + 1, thumb.right - 2, thumb.top + 1,
                         COLOR_LIGHT);
        PlatformDrawLine(context, thumb.left + 1, thumb.top + 1, thumb.left + 1, thumb.bottom - 2,
                         COLOR_LIGHT);
    }
}

// ---------------------------------------------------------------------------------------
// Shared pieces.

static void *ControlRecord(WindowHandle window, int kind)
{
    if (PlatformWindowClass(window) != CLASS_CONTROL) return nullptr;
    if (PlatformGetWindowWord(window, WORD_KIND) != kind) return nullptr;
    return (void *)PlatformGetWindowWord(window, WORD_POINTER);
}

static void *ChildRecord(WindowHandle parent, int id, int kind)
{
    return ControlRecord(PlatformControl(parent, id), kind);
}

static WindowHandle ControlMake(WindowHandle parent, int id, const Rect *rect, int kind, void *init)
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

// Allocates a control's record as a copy of what the creator passed, at MSG_CREATE.
static MessageResult RecordCreate(WindowHandle window, intptr_t lParam, size_t bytes)
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

// Offers first (when not null) and the titles of windows in a pop-up menu under the control
// at its bottom left. Returns -1 for first, the index of a window, or -2 when nothing was
// chosen. Item ids are 1 for first and 2 + index for the windows when first is given, else
// 1 + index.
static int ListChoose(WindowHandle control, const char *first, const WindowHandle *windows,
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

// A shown image window of the workspace, and its picture, or null.
static const ImageWindow *ShownPicture(WindowHandle window)
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
    if (message == MSG_CREATE) return RecordCreate(window, lParam, sizeof(SliderControl));
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
    init.slider.positions[0] = ClampPosition(position);
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
    record->slider.positions[0] = ClampPosition(position);
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
    record->slider.positions[1] = position < 0 ? -1 : ClampPosition(position);
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
    PlatformDrawText(context, 0, textTop, CHOOSER_LABEL, COLOR_TEXT, 0);

    int fieldHeight = LineHeight + 6;
    Rect field = {labelWidth + Margin, (client.bottom - fieldHeight) / 2, client.right,
                  (client.bottom + fieldHeight) / 2};
    PlatformFillRect(context, &field, COLOR_FIELD);
    PlatformDrawLine(context, field.left, field.top, field.right - 1, field.top, COLOR_SHADOW);
    PlatformDrawLine(context, field.left, field.top, field.left, field.bottom - 1, COLOR_SHADOW);
    PlatformDrawLine(context, field.left, field.bottom - 1, field.right - 1, field.bottom - 1,
                     COLOR_SHADOW);
    PlatformDrawLine(context, field.right - 1, field.top, field.right - 1, field.bottom - 1,
                     COLOR_SHADOW);

    // The arrow: rows narrowing by one pixel each side, pointing down.
    int arrowLeft = field.right - ARROW_WIDTH - 5;
    int arrowTop = (client.bottom - ARROW_WIDTH / 2) / 2;
    for (int row = 0; row <= ARROW_WIDTH / 2; row++)
        PlatformDrawLine(context, arrowLeft + row, arrowTop + row,
                         arrowLeft + ARROW_WIDTH - 1 - row, arrowTop + row, COLOR_DARK);

    WindowHandle chosen = ChooserChosen(record);
    if (chosen == nullptr) return;
    char title[PATH_LENGTH + 32];
    char shown[LIST_LABEL_BYTES];
    WindowTitle(chosen, title, sizeof title);
    TextFit(title, arrowLeft - field.left - 8, shown, sizeof shown);
    PlatformDrawText(context, field.left + 4, textTop, shown, COLOR_TEXT, 0);
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
    int index = ListChoose(window, nullptr, candidates, count);
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
    if (message == MSG_CREATE) return RecordCreate(window, lParam, sizeof(InputChooser));
    InputChooser *record = (InputChooser *)ControlRecord(window, CUSTOM_INPUT_CHOOSER);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    switch (message) {
    case MSG_DESTROY:
        ClearInUse(window, nullptr);
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: ChooserDraw(window, (DrawContext *)wParam, record); return 0;
    case MSG_LBUTTON_DOWN: ChooserPress(window, record); return 0;
    case MSG_KEY_DOWN:
        // From the keyboard the list opens as a drop-down list's does.
        if (wParam == KEY_DOWN) ChooserPress(window, record);
        return 0;
    case MSG_CHAR:
        if (wParam == ' ') ChooserPress(window, record);
        return 0;
    case MSG_INPUT_CHANGED:
        // The chosen picture changed (its zoom, and so its title, perhaps). The dialog holds
        // a mark of its own on its input and hears of the change itself.
        PlatformInvalidate(window, nullptr);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
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
// Amount: the setting's rules.

void AmountSettingDefault(AmountSetting *setting, const char *label, int bipolar)
{
    *setting = {};
    setting->low = SLIDER_POSITIONS;
    setting->high = AMOUNT_NO_MASK;
    setting->bipolar = bipolar != 0;
    StrCopyLimit(label != nullptr ? label : "", setting->label, AMOUNT_LABEL_BYTES - 1);
}

static double AmountPercent(int position, int bipolar)
{
    if (bipolar) return (position - SLIDER_POSITIONS / 2) * 200.0 / SLIDER_POSITIONS;
    return position * 100.0 / SLIDER_POSITIONS;
}

void AmountText(const AmountSetting *setting, char *text, int capacity)
{
    double low = AmountPercent(setting->low, setting->bipolar);
    if (setting->high == AMOUNT_NO_MASK) {
        FormatString(text, capacity, "%s%1f\\%", setting->label, low);
        return;
    }
    double high = AmountPercent(setting->high, setting->bipolar);
    FormatString(text, capacity, "%s%1f\\% .. %1f\\%", setting->label, low, high);
}

static int Amount8(int position)
{
    return (ClampPosition(position) * 255 + SLIDER_POSITIONS / 2) >> 10;
}

int AmountLow8(const AmountSetting *setting)
{
    return Amount8(setting->low);
}

int AmountHigh8(const AmountSetting *setting)
{
    return setting->high == AMOUNT_NO_MASK ? -1 : Amount8(setting->high);
}

int AmountIsAllZero(const AmountSetting *setting)
{
    int high8 = AmountHigh8(setting);
    return AmountLow8(setting) == 0 && (high8 == -1 || high8 == 0);
}

int AmountIsAllFull(const AmountSetting *setting)
{
    int high8 = AmountHigh8(setting);
    return AmountLow8(setting) == 255 && (high8 == -1 || high8 == 255);
}

// The picture of a window that may serve as a mask of width by height, or null.
static const Image *MaskPicture(WindowHandle window, int width, int height)
{
    const ImageWindow *record = ShownPicture(window);
    if (record == nullptr) return nullptr;
    const Image *picture = &record->picture.image;
    if (picture->type != TYPE_GRAY8) return nullptr;
    if (width == -1 && height == -1) return picture;
    if (picture->width != width || picture->height != height) return nullptr;
    return picture;
}

int AmountMaskCandidates(int width, int height, WindowHandle *windows, int capacity)
{
    int count = 0;
    for (WindowHandle window = PlatformFirstChild(); window != nullptr && count < capacity;
         window = PlatformNextChild(window))
        if (MaskPicture(window, width, height) != nullptr) windows[count++] = window;
    return count;
}

void AmountLayout(int width, int height, Rect *caption, Rect *slider, Rect *square)
{
    int side = height;
    int left = width - side - Margin;
    if (left < SLIDER_THUMB_WIDTH + 1) left = SLIDER_THUMB_WIDTH + 1;
    *square = {width - side, 0, width, height};
    *caption = {0, 0, left, LineHeight};
    *slider = {0, height - SliderHeight, left, height};
}

// ---------------------------------------------------------------------------------------
// Amount: the control.

static const char *AMOUNT_NO_MASK_LABEL = "No Mask";

struct AmountControl {
    int32_t id;
    AmountSetting setting;
    AmountSetting saved; // the setting a Shift-press put aside, until its release
    int32_t comparing;   // 1 between a Shift-press and its release
    int32_t targetWidth; // the size masks must have, -1 by -1 for any
    int32_t targetHeight;
    SliderState slider;
    Image thumbnail; // the mask drawn small for the square; empty without a mask
};

// The slider's thumbs from the setting: one without a mask, low and high with one.
static void AmountToSlider(AmountControl *record)
{
    record->slider.positions[0] = record->setting.low;
    record->slider.positions[1] = record->setting.high;
    if (record->setting.high == AMOUNT_NO_MASK) record->slider.active = 0;
}

// The mask drawn small: the largest size that keeps its shape inside side by side, each
// pixel the mean of a 4 by 4 grid of samples of its part of the mask.
static ErrorCode ThumbnailMake(const Image *mask, int side, Image *thumbnail)
{
    static const int GRID = 4;
    ImageFree(thumbnail);
    if (side < 1 || mask->width < 1 || mask->height < 1) return ERROR_NONE;
    int width = side;
    int height = side;
    if (mask->width >= mask->height)
        height = (int)(((int64_t)side * mask->height + mask->width / 2) / mask->width);
    else
        width = (int)(((int64_t)side * mask->width + mask->height / 2) / mask->height);
    if (width < 1) width = 1;
    if (height < 1) height = 1;
    ErrorCode result = ImageAlloc(thumbnail, TYPE_GRAY8, width, height, mask->resolution);
    if (result != ERROR_NONE) return result;
    for (int ty = 0; ty < height; ty++) {
        uint8_t *out = thumbnail->rows[height - 1 - ty]; // ty counts from the top
        for (int tx = 0; tx < width; tx++) {
            int sum = 0;
            for (int j = 0; j < GRID; j++) {
                // Samples at the middles of GRID equal parts of the pixel's span.
                int sy = (int)(((int64_t)(ty * GRID + j) * 2 + 1) * mask->height /
                               ((int64_t)height * GRID * 2));
                const uint8_t *row = mask->rows[mask->height - 1 - sy];
                for (int i = 0; i < GRID; i++) {
                    int sx = (int)(((int64_t)(tx * GRID + i) * 2 + 1) * mask->width /
                                   ((int64_t)width * GRID * 2));
                    sum += row[sx];
                }
            }
            out[tx] = (uint8_t)((sum + GRID * GRID / 2) / (GRID * GRID));
        }
    }
    return ERROR_NONE;
}

static int SquareInner(WindowHandle window)
{
    Rect client, caption, track, square;
    PlatformGetClientRect(window, &client);
    AmountLayout(client.right, client.bottom, &caption, &track, &square);
    return square.right - square.left - 2;
}

// Makes the thumbnail again from the chosen mask as it is now; a failure leaves none, and
// the square shows the gray of the amount instead.
static void AmountThumbnailUpdate(WindowHandle window, AmountControl *record)
{
    ImageFree(&record->thumbnail);
    const Image *mask =
        MaskPicture(record->setting.maskWindow, record->targetWidth, record->targetHeight);
    if (mask == nullptr) return;
    if (ThumbnailMake(mask, SquareInner(window), &record->thumbnail) != ERROR_NONE)
        ImageFree(&record->thumbnail);
}

// Chooses mask (null for none) by the rules of the list and moves the control's mark.
// Returns 0 when the mark could not be made; the control then has no mask.
static int AmountChoose(WindowHandle window, AmountControl *record, WindowHandle mask)
{
    AmountSetting *setting = &record->setting;
    ClearInUse(window, nullptr);
    setting->maskWindow = nullptr;
    setting->maskImage = nullptr;
    setting->maskTitle[0] = 0;
    setting->low = SLIDER_POSITIONS;
    setting->high = AMOUNT_NO_MASK;
    int made = 1;
    if (mask != nullptr) {
        if (MarkInUse(window, mask, AMOUNT_IN_USE_NAME, 1) != ERROR_NONE) {
            made = 0;
        } else {
            char title[PATH_LENGTH + 32];
            WindowTitle(mask, title, sizeof title);
            StrCopyLimit(title, setting->maskTitle, WINDOW_TITLE_MAX);
            setting->maskWindow = mask;
            // A new mask spans the whole range: none of the effect where the mask is black,
            // all of it where it is white; a signed amount starts at no change at both ends.
            setting->low = setting->bipolar ? SLIDER_POSITIONS / 2 : 0;
            setting->high = setting->bipolar ? SLIDER_POSITIONS / 2 : SLIDER_POSITIONS;
        }
    }
    AmountToSlider(record);
    AmountThumbnailUpdate(window, record);
    PlatformInvalidate(window, nullptr);
    return made;
}

// Lets a chosen mask go when its window is gone or no longer fits (another type or size).
static void AmountCheckMask(WindowHandle window, AmountControl *record)
{
    WindowHandle mask = record->comparing ? record->saved.maskWindow : record->setting.maskWindow;
    if (mask == nullptr) return;
    if (MaskPicture(mask, record->targetWidth, record->targetHeight) != nullptr) return;
    if (record->comparing) {
        // The comparison ends as if released, and the mask goes.
        record->comparing = 0;
        record->setting = record->saved;
        PlatformReleaseCapture();
    }
    AmountChoose(window, record, nullptr);
}

static void AmountNotify(WindowHandle window, const AmountControl *record, uint32_t code)
{
    PlatformSendMessage(PlatformWindowParent(window), MSG_AMOUNT_CHANGED, (uintptr_t)record->id,
                        (intptr_t)code);
}

// The thumbs moved: the setting follows.
static void AmountFromSlider(AmountControl *record)
{
    record->setting.low = record->slider.positions[0];
    if (record->setting.high != AMOUNT_NO_MASK) record->setting.high = record->slider.positions[1];
}

// The caption, the slider, and the square: the mask small on its gray, or the gray of the
// amount itself without a mask.
static void AmountDraw(WindowHandle window, DrawContext *context, AmountControl *record)
{
    Rect client, caption, track, square;
    PlatformGetClientRect(window, &client);
    AmountLayout(client.right, client.bottom, &caption, &track, &square);
    char text[AMOUNT_LABEL_BYTES + 64];
    AmountText(&record->setting, text, sizeof text);
    PlatformDrawText(context, caption.left, caption.top, text, COLOR_TEXT, 0);
    SliderDraw(context, &record->slider, &track);

    Rect inner = {square.left + 1, square.top + 1, square.right - 1, square.bottom - 1};
    int gray = AmountLow8(&record->setting);
    PlatformFillRect(context, &inner, (uint32_t)gray * 0x010101u);
    if (record->thumbnail.type == TYPE_GRAY8) {
        const Image *thumbnail = &record->thumbnail;
        PlatformFillRect(context, &inner, COLOR_SHADOW);
        Rect source = {0, 0, thumbnail->width - 1, thumbnail->height - 1};
        int x = inner.left + (inner.right - inner.left - thumbnail->width) / 2;
        int y = inner.top + (inner.bottom - inner.top - thumbnail->height) / 2;
        PlatformDrawImage(context, thumbnail, &source, x, y);
    }
    PlatformFrameRect(context, &square, COLOR_DARK);
}

static void AmountListPress(WindowHandle window, AmountControl *record)
{
    WindowHandle candidates[AMOUNT_CANDIDATES_MAX];
    int count = AmountMaskCandidates(record->targetWidth, record->targetHeight, candidates,
                                     AMOUNT_CANDIDATES_MAX);
    int index = ListChoose(window, AMOUNT_NO_MASK_LABEL, candidates, count);
    if (index == -2 || !PlatformWindowExists(window)) return;
    WindowHandle mask = index == -1 ? nullptr : candidates[index];
    if (mask == record->setting.maskWindow) return;
    if (!AmountChoose(window, record, mask)) ShowError(ERROR_NO_MEMORY);
    AmountNotify(window, record, NOTIFY_CHANGED);
}

static MessageResult AmountMouse(WindowHandle window, AmountControl *record, uint32_t message,
                                 uintptr_t wParam, intptr_t lParam)
{
    Rect client, caption, track, square;
    PlatformGetClientRect(window, &client);
    AmountLayout(client.right, client.bottom, &caption, &track, &square);
    int x = ParamLow(lParam);
    int y = ParamHigh(lParam);
    switch (message) {
    case MSG_LBUTTON_DOWN:
        if (record->comparing) return 0; // a second press before the release changes nothing
        PlatformSetFocus(window);
        if ((wParam & KEYS_SHIFT) || (PlatformKeyState() & KEYS_SHIFT)) {
            // Shift-press: the picture without the effect until the release, to compare.
            record->saved = record->setting;
            record->comparing = 1;
            record->setting.low = record->setting.bipolar ? SLIDER_POSITIONS / 2 : 0;
            record->setting.high = AMOUNT_NO_MASK;
            record->setting.maskWindow = nullptr;
            record->setting.maskImage = nullptr;
            record->setting.maskTitle[0] = 0;
            AmountToSlider(record);
            PlatformSetCapture(window);
            PlatformInvalidate(window, nullptr);
            AmountNotify(window, record, NOTIFY_CHANGED);
            return 0;
        }
        AmountCheckMask(window, record);
        if (x >= square.left && x < square.right && y >= square.top && y < square.bottom) {
            AmountListPress(window, record);
            return 0;
        }
        if (y < track.top || x >= track.right) return 0;
        PlatformSetCapture(window);
        if (SliderPress(&record->slider, &track, x)) {
            AmountFromSlider(record);
            PlatformInvalidate(window, nullptr);
            AmountNotify(window, record, NOTIFY_MOVED);
        }
        return 0;
    case MSG_MOUSE_MOVE:
        if (record->comparing) return 0;
        if (SliderDrag(&record->slider, &track, x)) {
            AmountFromSlider(record);
            PlatformInvalidate(window, nullptr);
            AmountNotify(window, record, NOTIFY_MOVED);
        }
        return 0;
    case MSG_LBUTTON_UP:
        if (record->comparing) {
            record->comparing = 0;
            record->setting = record->saved;
            AmountToSlider(record);
            PlatformReleaseCapture();
            PlatformInvalidate(window, nullptr);
            AmountNotify(window, record, NOTIFY_CHANGED);
            return 0;
        }
        if (!record->slider.dragging) return 0;
        if (SliderDrag(&record->slider, &track, x)) {
            AmountFromSlider(record);
            PlatformInvalidate(window, nullptr);
            AmountNotify(window, record, NOTIFY_MOVED);
            if (!PlatformWindowExists(window)) return 0;
        }
        record->slider.dragging = 0;
        PlatformReleaseCapture();
        AmountNotify(window, record, NOTIFY_RELEASED);
        return 0;
    case MSG_RBUTTON_DOWN:
        AmountCheckMask(window, record);
        if (record->setting.maskWindow != nullptr)
            PlatformActivateWindow(record->setting.maskWindow);
        return 0;
    default: return 0;
    }
}

static MessageResult AmountProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam)
{
    if (message == MSG_CREATE) {
        MessageResult created = RecordCreate(window, lParam, sizeof(AmountControl));
        if (created != 0) return created;
        AmountControl *record = (AmountControl *)ControlRecord(window, CUSTOM_AMOUNT);
        ImageClear(&record->thumbnail);
        AmountToSlider(record);
        return 0;
    }
    AmountControl *record = (AmountControl *)ControlRecord(window, CUSTOM_AMOUNT);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    switch (message) {
    case MSG_DESTROY:
        ClearInUse(window, nullptr);
        ImageFree(&record->thumbnail);
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT:
        AmountCheckMask(window, record);
        if (record->setting.maskWindow != nullptr && record->thumbnail.type == TYPE_EMPTY)
            AmountThumbnailUpdate(window, record);
        AmountDraw(window, (DrawContext *)wParam, record);
        return 0;
    case MSG_SIZE:
        if (record->setting.maskWindow != nullptr) AmountThumbnailUpdate(window, record);
        return 0;
    case MSG_LBUTTON_DOWN:
    case MSG_MOUSE_MOVE:
    case MSG_LBUTTON_UP:
    case MSG_RBUTTON_DOWN: return AmountMouse(window, record, message, wParam, lParam);
    case MSG_KEY_DOWN:
        if (record->comparing) return 0;
        if (SliderKey(&record->slider, (uint32_t)wParam)) {
            AmountFromSlider(record);
            PlatformInvalidate(window, nullptr);
            AmountNotify(window, record, NOTIFY_MOVED);
            if (PlatformWindowExists(window)) AmountNotify(window, record, NOTIFY_RELEASED);
        }
        return 0;
    case MSG_INPUT_CHANGED:
        // The mask's picture changed: it is drawn again, and the dialog previews anew.
        AmountCheckMask(window, record);
        AmountThumbnailUpdate(window, record);
        PlatformInvalidate(window, nullptr);
        AmountNotify(window, record, NOTIFY_CHANGED);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

WindowHandle AmountCreate(WindowHandle parent, int id, const Rect *rect, const char *label,
                          int bipolar, WindowHandle reference)
{
    AmountControl init = {};
    init.id = id;
    AmountSettingDefault(&init.setting, label, bipolar);
    init.targetWidth = init.targetHeight = -1;
    const ImageWindow *record = WindowRecord(reference);
    if (reference != nullptr && record != nullptr) {
        init.targetWidth = record->picture.image.width;
        init.targetHeight = record->picture.image.height;
    }
    return ControlMake(parent, id, rect, CUSTOM_AMOUNT, &init);
}

void AmountGet(WindowHandle control, AmountSetting *setting)
{
    AmountControl *record = (AmountControl *)ControlRecord(control, CUSTOM_AMOUNT);
    if (record == nullptr) {
        AmountSettingDefault(setting, "", 0);
        return;
    }
    AmountCheckMask(control, record);
    *setting = record->setting;
    setting->maskImage =
        MaskPicture(setting->maskWindow, record->targetWidth, record->targetHeight);
}

// The candidate that is window, else the one titled title, else null.
static WindowHandle AmountFind(const AmountControl *record, WindowHandle window, const char *title)
{
    WindowHandle candidates[AMOUNT_CANDIDATES_MAX];
    int count = AmountMaskCandidates(record->targetWidth, record->targetHeight, candidates,
                                     AMOUNT_CANDIDATES_MAX);
    for (int i = 0; i < count && window != nullptr; i++)
        if (candidates[i] == window) return window;
    if (title == nullptr || title[0] == 0) return nullptr;
    for (int i = 0; i < count; i++) {
        char name[PATH_LENGTH + 32];
        char cut[WINDOW_TITLE_MAX + 1];
        WindowTitle(candidates[i], name, sizeof name);
        StrCopyLimit(name, cut, WINDOW_TITLE_MAX);
        if (strcmp(cut, title) == 0) return candidates[i];
    }
    return nullptr;
}

void AmountSet(WindowHandle control, const AmountSetting *setting)
{
    AmountControl *record = (AmountControl *)ControlRecord(control, CUSTOM_AMOUNT);
    if (record == nullptr) return;
    if (record->comparing) PlatformReleaseCapture();
    record->comparing = 0;
    record->setting.bipolar = setting->bipolar != 0;
    StrCopyLimit(setting->label, record->setting.label, AMOUNT_LABEL_BYTES - 1);
    WindowHandle mask = nullptr;
    if (setting->high != AMOUNT_NO_MASK)
        mask = AmountFind(record, setting->maskWindow, setting->maskTitle);
    AmountChoose(control, record, mask);
    // The amounts come from the setting; without its mask, only the constant amount stays.
    record->setting.low = ClampPosition(setting->low);
    if (mask != nullptr) record->setting.high = ClampPosition(setting->high);
    AmountToSlider(record);
    PlatformInvalidate(control, nullptr);
}

void AmountSelect(WindowHandle control, WindowHandle mask)
{
    AmountControl *record = (AmountControl *)ControlRecord(control, CUSTOM_AMOUNT);
    if (record == nullptr) return;
    if (mask != nullptr && AmountFind(record, mask, nullptr) == nullptr) return;
    if (record->comparing) PlatformReleaseCapture();
    record->comparing = 0;
    AmountChoose(control, record, mask);
}

void AmountSetTargetSize(WindowHandle control, int width, int height)
{
    AmountControl *record = (AmountControl *)ControlRecord(control, CUSTOM_AMOUNT);
    if (record == nullptr) return;
    record->targetWidth = width;
    record->targetHeight = height;
    AmountCheckMask(control, record);
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

static MessageResult KindProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                   intptr_t lParam)
{
    switch (PlatformGetWindowWord(window, WORD_KIND)) {
    case CUSTOM_SLIDER: return SliderProcedure(window, message, wParam, lParam);
    case CUSTOM_INPUT_CHOOSER: return ChooserProcedure(window, message, wParam, lParam);
    case CUSTOM_AMOUNT: return AmountProcedure(window, message, wParam, lParam);
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
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
}
