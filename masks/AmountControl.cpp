// The Amount control: a caption, a slider with one or two thumbs, and the square that opens the
// list of mask pictures (imgmenu). The setting's rules are plain functions; the control is a
// custom control of the kit (ui/Controls.h), with the kit's slider rules.
#include "masks/AmountControl.h"

#include <cstring>

#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/UiState.h"

static_assert(AMOUNT_TITLE_BYTES == WINDOW_TITLE_MAX + 1, "a mask's title must fit whole");
static_assert(AMOUNT_POSITIONS == SLIDER_POSITIONS, "the Amount is a slider's position");

// ---------------------------------------------------------------------------------------
// Amount: the candidates and the layout.

// The picture of a window that may serve as a mask of width by height, or null. The list
// offers shown pictures only; a mask already chosen stays chosen while the mask tool hides
// it to edit it (kept), so that the dialog previews each change of it.
static const Image *MaskPicture(WindowHandle window, int width, int height, int kept = 0)
{
    const ImageWindow *record = ShownPicture(window);
    if (record == nullptr && kept && PlatformWindowExists(window) &&
        PlatformWindowClass(window) == CLASS_CHILD && PlatformWindowParent(window) == nullptr &&
        PlatformGetWindowWord(window, WORD_KIND) == KIND_IMAGE)
        record = WindowRecord(window);
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
        MaskPicture(record->setting.maskWindow, record->targetWidth, record->targetHeight, 1);
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
    if (MaskPicture(mask, record->targetWidth, record->targetHeight, 1) != nullptr) return;
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
    PlatformDrawText(context, caption.left, caption.top, text, COLOR_CONTROL_TEXT, 0);
    SliderDraw(context, &record->slider, &track);

    Rect inner = {square.left + 1, square.top + 1, square.right - 1, square.bottom - 1};
    int gray = AmountLow8(&record->setting);
    PlatformFillRect(context, &inner, (uint32_t)gray * 0x010101u);
    if (record->thumbnail.type == TYPE_GRAY8) {
        const Image *thumbnail = &record->thumbnail;
        PlatformFillRect(context, &inner, COLOR_CONTROL_SHADOW);
        Rect source = {0, 0, thumbnail->width - 1, thumbnail->height - 1};
        int x = inner.left + (inner.right - inner.left - thumbnail->width) / 2;
        int y = inner.top + (inner.bottom - inner.top - thumbnail->height) / 2;
        PlatformDrawImage(context, thumbnail, &source, x, y);
    }
    PlatformFrameRect(context, &square, COLOR_CONTROL_DARK);
}

static void AmountListPress(WindowHandle window, AmountControl *record)
{
    WindowHandle candidates[AMOUNT_CANDIDATES_MAX];
    int count = AmountMaskCandidates(record->targetWidth, record->targetHeight, candidates,
                                     AMOUNT_CANDIDATES_MAX);
    int index = ControlListChoose(window, AMOUNT_NO_MASK_LABEL, candidates, count);
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
        MessageResult created = ControlRecordCreate(window, lParam, sizeof(AmountControl));
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
        MaskPicture(setting->maskWindow, record->targetWidth, record->targetHeight, 1);
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
    // The amounts come from the setting. A setting whose mask is gone is taken as a choice of
    // "No Mask": its low end, usually none of the effect, would silently turn the whole
    // transformation off.
    if (mask != nullptr || setting->high == AMOUNT_NO_MASK)
        record->setting.low = SliderClampPosition(setting->low);
    if (mask != nullptr) record->setting.high = SliderClampPosition(setting->high);
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

void AmountControlRegister(void)
{
    ControlKindRegister(CUSTOM_AMOUNT, AmountProcedure);
}
