// The Resize dialog: the input's figures and the new ones side by side, pixels, physical size
// in a length unit and resolution in a resolution unit, what the new picture will weigh and
// its proportions, what to preserve, and the interpolation method with Bicubic's sharpening.
//
// A typed figure does not commit at once: the figures that follow it would jump under the
// user's fingers. It commits when typing pauses for two seconds, at Tab, and at OK, the
// fields in their order down the table. A figure refused (no number, no size) beeps and the
// field shows its figure again.
#include <cstring>

#include "core/FormatString.h"
#include "core/Resample.h"
#include "transforms/Resize.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int RESIZE_CONTENT_WIDTH = 372;
static const int RESIZE_TIMER_MILLISECONDS = 2000;
static const int RESIZE_LABEL_WIDTH = 118;
static const int RESIZE_FIGURE_WIDTH = 80;

static const char LENGTH_UNITS[] = "in\0cm\0mm\0";
static const char RESOLUTION_UNITS[] = "dpi\0dpcm\0dpmm\0";
static const char PRESERVE_ITEMS[] = "Proportions\0"
                                     "File Size and Proportions\0"
                                     "Image Size and Proportions\0"
                                     "None\0";

struct ResizeState {
    ResizeSettings settings;           // first, as the shared handling expects
    int32_t dirty[RESIZE_FIELD_COUNT]; // typed into since the last commit
    int32_t rewriting;                 // the dialog writes the fields: no change notices
};

static ResizeSettings ResizeSaved;
static TransformDialogMemory ResizeMemory = {&ResizeSaved, {}, 1};

static const ImageWindow *ResizeInput(void)
{
    return InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
}

// Every figure and text shown from the settings.
static void ResizeShow(WindowHandle dialog, ResizeState *state)
{
    const ResizeSettings *s = &state->settings;
    const ImageWindow *input = ResizeInput();
    int type = input != nullptr ? input->picture.image.type : TYPE_GRAY8;
    char text[64];
    state->rewriting = 1;
    for (int field = 0; field < RESIZE_FIELD_COUNT; field++) {
        ResizeFieldText(s, field, 1, text, sizeof text);
        PlatformSetControlText(dialog, RESIZE_PIXEL_WIDTH + field + RESIZE_CURRENT, text);
        ResizeFieldText(s, field, 0, text, sizeof text);
        PlatformSetControlText(dialog, RESIZE_PIXEL_WIDTH + field, text);
        state->dirty[field] = 0;
    }
    ResizeFileSizeText(type, s->sourceWidth, s->sourceHeight, text, sizeof text);
    PlatformSetControlText(dialog, RESIZE_FILE_SIZE + RESIZE_CURRENT, text);
    ResizeFileSizeText(type, s->width, s->height, text, sizeof text);
    PlatformSetControlText(dialog, RESIZE_FILE_SIZE, text);
    ResizeProportionsText(s->sourceWidth, s->sourceHeight, text, sizeof text);
    PlatformSetControlText(dialog, RESIZE_PROPORTIONS + RESIZE_CURRENT, text);
    ResizeProportionsText(s->width, s->height, text, sizeof text);
    PlatformSetControlText(dialog, RESIZE_PROPORTIONS, text);
    state->rewriting = 0;
}

static void ResizeShowSharpening(WindowHandle dialog, const ResizeSettings *s)
{
    char text[64];
    FormatString(text, sizeof text, "Sharpening: %1f\\%", (s->a + 0.5) * -100.0 / 1.5);
    PlatformSetControlText(dialog, RESIZE_SHARPEN_TEXT, text);
}

static void ShowControl(WindowHandle dialog, int id, int shown)
{
    WindowHandle control = PlatformControl(dialog, id);
    if (control != nullptr) PlatformShowWindow(control, shown ? SHOW_NORMAL : SHOW_HIDE);
}

// What the preserve mode lets the user type, and whether a method is asked for at all:
// keeping the file size keeps every pixel, so nothing is resampled.
static void ResizeEnable(WindowHandle dialog, const ResizeSettings *s)
{
    int pixels = s->preserve != PRESERVE_FILE_SIZE;
    int lengths = s->preserve != PRESERVE_IMAGE_SIZE;
    PlatformEnableControl(dialog, RESIZE_PIXEL_WIDTH, pixels);
    PlatformEnableControl(dialog, RESIZE_PIXEL_HEIGHT, pixels);
    PlatformEnableControl(dialog, RESIZE_WIDTH, lengths);
    PlatformEnableControl(dialog, RESIZE_HEIGHT, lengths);
    ShowControl(dialog, RESIZE_METHOD, pixels);
    ShowControl(dialog, RESIZE_METHOD + POPUP_LABEL_ID, pixels);
    int sharpening = pixels && s->method == RESAMPLE_BICUBIC;
    ShowControl(dialog, RESIZE_SHARPEN_TEXT, sharpening);
    ShowControl(dialog, RESIZE_SHARPEN, sharpening);
}

// The figures of the input window: its size and resolution, the new ones the same.
static void ResizeTakeInput(ResizeSettings *s)
{
    const ImageWindow *input = ResizeInput();
    if (input == nullptr) return;
    const Image *image = &input->picture.image;
    ResizeTakeSource(s, image->width, image->height, image->resolution);
}

// Commits the fields typed into, in their order, and shows the figures again.
static void ResizeCommitPending(WindowHandle dialog, ResizeState *state)
{
    PlatformKillTimer(dialog, RESIZE_TIMER);
    int any = 0;
    int show = 0;
    for (int field = 0; field < RESIZE_FIELD_COUNT; field++) {
        if (!state->dirty[field]) continue;
        state->dirty[field] = 0;
        any = 1;
        char text[128];
        PlatformGetControlText(dialog, RESIZE_PIXEL_WIDTH + field, text, sizeof text);
        int result = ResizeCommit(&state->settings, field, text);
        if (result == RESIZE_REFUSED) PlatformBeep();
        // A refused figure shows its old text again, as every figure shows the present one.
        if (result != RESIZE_UNSHOWN) show = 1;
    }
    if (!any) return;
    if (show) ResizeShow(dialog, state);
    SettingsDirty = 1;
}

static void ResizeCommand(WindowHandle dialog, void *stateRecord, uintptr_t wParam)
{
    ResizeState *state = (ResizeState *)stateRecord;
    ResizeSettings *s = &state->settings;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    if (id >= RESIZE_PIXEL_WIDTH && id < RESIZE_PIXEL_WIDTH + RESIZE_FIELD_COUNT) {
        if (notification == NOTIFY_CHANGED && !state->rewriting) {
            state->dirty[id - RESIZE_PIXEL_WIDTH] = 1;
            PlatformSetTimer(dialog, RESIZE_TIMER, RESIZE_TIMER_MILLISECONDS);
        }
        return;
    }
    if (notification != NOTIFY_CHANGED && id != RESIZE_SHARPEN) return;
    switch (id) {
    case RESIZE_LENGTH_UNIT:
        ResizeCommitPending(dialog, state);
        s->lengthUnit = PopupListChoice(dialog, id);
        ResizeShow(dialog, state);
        break;
    case RESIZE_RESOLUTION_UNIT:
        ResizeCommitPending(dialog, state);
        s->resolutionUnit = PopupListChoice(dialog, id);
        ResizeShow(dialog, state);
        break;
    case RESIZE_PRESERVE:
        // Another mode starts again from the input's figures.
        s->preserve = PopupListChoice(dialog, id);
        ResizeTakeInput(s);
        ResizeEnable(dialog, s);
        ResizeShow(dialog, state);
        break;
    case RESIZE_METHOD:
        s->method = PopupListChoice(dialog, id);
        ResizeEnable(dialog, s);
        break;
    case RESIZE_SHARPEN:
        if (notification == NOTIFY_MOVED || notification == NOTIFY_RELEASED) {
            s->a = ResizeSharpenOf(SliderPosition(dialog, RESIZE_SHARPEN));
            ResizeShowSharpening(dialog, s);
        }
        break;
    default: break;
    }
    SettingsDirty = 1;
}

// The pause timer, Tab and OK commit what was typed before anything else happens.
static int ResizeMessage(WindowHandle dialog, void *stateRecord, uint32_t message, uintptr_t wParam,
                         intptr_t lParam)
{
    (void)lParam;
    ResizeState *state = (ResizeState *)stateRecord;
    switch (message) {
    case MSG_TIMER:
        if ((int)wParam != RESIZE_TIMER) return 0;
        ResizeCommitPending(dialog, state);
        return 1;
    case MSG_NEXT_FIELD:
    case MSG_PREVIOUS_FIELD:
    case MSG_APPLY: ResizeCommitPending(dialog, state); return 0;
    case MSG_COMMAND:
        if ((int)(wParam & 0xffff) == BUTTON_OK) ResizeCommitPending(dialog, state);
        return 0;
    default: return 0;
    }
}

static void ResizeInputTaken(WindowHandle dialog, void *stateRecord)
{
    ResizeState *state = (ResizeState *)stateRecord;
    const ImageWindow *input = ResizeInput();
    if (input == nullptr) return;
    const Image *image = &input->picture.image;
    ResizeSettings *s = &state->settings;
    // The input's picture changing under the dialog is another input too.
    if (image->width == s->sourceWidth && image->height == s->sourceHeight &&
        image->resolution == s->sourceResolution)
        return;
    ResizeTakeInput(s);
    ResizeShow(dialog, state);
}

static void Label(WindowHandle dialog, int id, const char *text, int x, int y, int width,
                  uint32_t align)
{
    Rect rect = {x, y, x + width, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_STATIC, id, text, align, &rect);
}

// The table of figures, then the lists and the sharpening.
static int ResizeControls(WindowHandle dialog, void *stateRecord, int x, int y, int width)
{
    static const char *const ROW_LABELS[] = {"Width (pixels)", "Height (pixels)", "Width",
                                             "Height",         "Resolution",      "File Size",
                                             "Proportions"};
    ResizeState *state = (ResizeState *)stateRecord;
    ResizeSettings *s = &state->settings;
    const ImageWindow *input = ResizeInput();
    // The new figures of the last opening stand only for an input like that one.
    if (input == nullptr || s->width <= 0 || input->picture.image.width != s->sourceWidth ||
        input->picture.image.height != s->sourceHeight ||
        input->picture.image.resolution != s->sourceResolution)
        ResizeTakeInput(s);

    int current = x + RESIZE_LABEL_WIDTH + Margin;
    int figure = current + RESIZE_FIGURE_WIDTH + Margin;
    int unit = figure + RESIZE_FIGURE_WIDTH + Margin;
    int row = ButtonHeight + Margin / 2;
    Label(dialog, RESIZE_HEADING_CURRENT, "Current", current, y, RESIZE_FIGURE_WIDTH, ALIGN_LEFT);
    Label(dialog, RESIZE_HEADING_NEW, "New", figure, y, RESIZE_FIGURE_WIDTH, ALIGN_LEFT);
    y += row;
    for (int i = 0; i < 7; i++) {
        int id = RESIZE_PIXEL_WIDTH + i;
        Label(dialog, id + RESIZE_LABEL, ROW_LABELS[i], x, y, RESIZE_LABEL_WIDTH, ALIGN_LEFT);
        Label(dialog, id + RESIZE_CURRENT, "", current, y, RESIZE_FIGURE_WIDTH, ALIGN_LEFT);
        Rect box = {figure, y, figure + RESIZE_FIGURE_WIDTH, y + ButtonHeight};
        PlatformCreateControl(dialog, i < RESIZE_FIELD_COUNT ? CONTROL_EDIT : CONTROL_STATIC, id,
                              "", ALIGN_LEFT, &box);
        Rect list = {unit - Margin, y, x + width, y + ButtonHeight};
        if (i == 2)
            PopupListCreate(dialog, RESIZE_LENGTH_UNIT, &list, "", LENGTH_UNITS, s->lengthUnit);
        if (i == 4)
            PopupListCreate(dialog, RESIZE_RESOLUTION_UNIT, &list, "", RESOLUTION_UNITS,
                            s->resolutionUnit);
        y += row;
    }
    y += Margin / 2;

    char methods[128];
    int used = 0;
    for (int i = 0; i < RESAMPLE_METHOD_COUNT; i++)
        used += FormatString(methods + used, (int)sizeof methods - used - 1, "%s",
                             RESAMPLE_METHOD_LABELS[i]) +
                1;
    methods[used] = 0;
    Rect preserve = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, RESIZE_PRESERVE, &preserve, "Preserve:", PRESERVE_ITEMS, s->preserve);
    y += row;
    Rect method = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, RESIZE_METHOD, &method, "Interpolation Method:", methods, s->method);
    y += row + Margin / 2;
    y = TransformDialogText(dialog, RESIZE_SHARPEN_TEXT, "", x, y, width);
    Rect slider = {x, y, x + width, y + SliderHeight};
    SliderCreate(dialog, RESIZE_SHARPEN, &slider, ResizeSharpenPosition(s->a));
    y += SliderHeight + Margin;

    ResizeShowSharpening(dialog, s);
    ResizeEnable(dialog, s);
    ResizeShow(dialog, state);
    return y;
}

const TransformDialogKind ResizeDialog = {&ResizeTransform,    RESIZE_INPUT,
                                          ResizeInputTaken,    RESIZE_CONTENT_WIDTH,
                                          sizeof(ResizeState), ResizeControls,
                                          ResizeCommand,       nullptr,
                                          &ResizeMemory,       DIALOG_BUTTONS_OK_CANCEL,
                                          ResizeMessage};
