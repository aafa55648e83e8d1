// The Mirror/Rotate dialog: the input chooser, four buttons that turn and mirror the picture
// as it is shown now, and the reduced input in the present orientation on a gray field.
//
// The field holds two pictures: the input reduced once (when an input is taken) and that
// one turned by the present code, made again at each press, so that a press costs a turn of
// a picture of at most the field's size.
#include <cstring>

#include "core/Memory.h"
#include "core/Orient.h"
#include "transforms/MirrorRotate.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int MIRROR_ROTATE_CONTENT_WIDTH = 340; // room for "Rotate Counterclockwise"
static const int MIRROR_ROTATE_FIELD = 300;         // pixels a side of the gray field
static const int MIRROR_ROTATE_FRAME = 4;           // pixels of the field's bevel on each side
static const uint32_t FIELD_COLOR = 0xC0C0C0;       // the field around the picture
static const uint32_t BEVEL_LIGHT = 0xFFFFFF;       // the bevel's lit edges

// The buttons in the order of the composition table, with their labels and tips.
static const struct {
    int32_t id;
    const char *label;
} MIRROR_ROTATE_BUTTONS[MIRROR_ROTATE_BUTTON_COUNT] = {
    {IDROT90, "Rotate Clockwise"},
    {IDROT270, "Rotate Counterclockwise"},
    {IDREFLECT, "Mirror Image"},
    {IDFLIP, "Flip"},
};

// What outlives one opening: the last settings and where the dialog stood.
static MirrorRotateSettings MirrorRotateSaved;
static TransformDialogMemory MirrorRotateMemory = {&MirrorRotateSaved, {}, 1};

// The field's record.
struct OrientPicture {
    Image reduced;  // the input reduced to fit the field, 8 bits deep or binary
    Image oriented; // reduced in the orientation code; empty until it is painted
    int32_t code;
};

// The input reduced by the smallest whole factor that fits it in side by side pixels, by the
// preview's own reading, so that the field shows what a preview would at that zoom.
static ErrorCode OrientPictureReduce(const Image *input, Image *reduced, int side)
{
    ImageFree(reduced);
    if (input == nullptr || !ImageIsPicture(input->type) || input->rows == nullptr)
        return ERROR_NONE;
    int n = 1;
    while ((input->width + n - 1) / n > side || (input->height + n - 1) / n > side)
        n++;
    int w = (input->width + n - 1) / n;
    int h = (input->height + n - 1) / n;
    MirrorRotateSettings asItIs = {0};
    return MirrorRotateCompute(input, reduced, nullptr, &asItIs, 0, w, h, 0, 0, n == 1 ? 1 : -n, 0,
                               0, w - 1, h - 1, w, h);
}

static void OrientPictureDraw(WindowHandle window, DrawContext *context, OrientPicture *record)
{
    Rect client;
    PlatformGetClientRect(window, &client);
    PlatformFillRect(context, &client, FIELD_COLOR);
    // A sunken bevel: dark above and left, light below and right.
    for (int i = 0; i < MIRROR_ROTATE_FRAME / 2; i++) {
        int left = client.left + i, top = client.top + i;
        int right = client.right - 1 - i, bottom = client.bottom - 1 - i;
        uint32_t dark = i == 0 ? COLOR_CONTROL_SHADOW : COLOR_CONTROL_DARK;
        PlatformDrawLine(context, left, top, right, top, dark);
        PlatformDrawLine(context, left, top, left, bottom, dark);
        PlatformDrawLine(context, left, bottom, right, bottom, BEVEL_LIGHT);
        PlatformDrawLine(context, right, top, right, bottom, BEVEL_LIGHT);
    }
    if (record->reduced.type == TYPE_EMPTY) return;
    if (record->oriented.type == TYPE_EMPTY &&
        OrientImageCode(&record->reduced, &record->oriented, record->code, 0) != ERROR_NONE) {
        ImageFree(&record->oriented);
        return;
    }
    const Image *shown = &record->oriented;
    Rect all = {0, 0, shown->width - 1, shown->height - 1};
    int x = (client.left + client.right - shown->width) / 2;
    int y = (client.top + client.bottom - shown->height) / 2;
    PlatformDrawImage(context, shown, &all, x, y);
}

static MessageResult OrientPictureProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                            intptr_t lParam)
{
    if (message == MSG_CREATE) {
        MessageResult created = ControlRecordCreate(window, lParam, sizeof(OrientPicture));
        if (created != 0) return created;
        return 0;
    }
    OrientPicture *record = (OrientPicture *)ControlRecord(window, CUSTOM_ORIENT_PICTURE);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    switch (message) {
    case MSG_DESTROY:
        ImageFree(&record->reduced);
        ImageFree(&record->oriented);
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: OrientPictureDraw(window, (DrawContext *)wParam, record); return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

static OrientPicture *OrientPictureOf(WindowHandle dialog)
{
    return (OrientPicture *)ControlRecord(PlatformControl(dialog, MIRROR_ROTATE_PICTURE),
                                          CUSTOM_ORIENT_PICTURE);
}

// The field shows code: the turned copy goes, to be made again at the repaint.
static void OrientPictureSetCode(WindowHandle dialog, int code)
{
    OrientPicture *record = OrientPictureOf(dialog);
    if (record == nullptr) return;
    record->code = code;
    ImageFree(&record->oriented);
    PlatformInvalidate(PlatformControl(dialog, MIRROR_ROTATE_PICTURE), nullptr);
}

// Another input, or the input's picture changed: the reduced picture is made again.
static void MirrorRotateInputTaken(WindowHandle dialog, void *state)
{
    (void)state;
    OrientPicture *record = OrientPictureOf(dialog);
    if (record == nullptr) return;
    const ImageWindow *input = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    if (OrientPictureReduce(input != nullptr ? &input->picture.image : nullptr, &record->reduced,
                            MIRROR_ROTATE_FIELD - 2 * MIRROR_ROTATE_FRAME) != ERROR_NONE)
        ImageFree(&record->reduced);
    OrientPictureSetCode(dialog, record->code);
}

static void MirrorRotateCommand(WindowHandle dialog, void *state, uintptr_t wParam)
{
    MirrorRotateSettings *settings = (MirrorRotateSettings *)state;
    int id = (int)(wParam & 0xffff);
    if (((wParam >> 16) & 0xffff) != NOTIFY_CLICKED) return;
    for (int button = 0; button < MIRROR_ROTATE_BUTTON_COUNT; button++) {
        if (MIRROR_ROTATE_BUTTONS[button].id != id) continue;
        int before = settings->orientation;
        settings->orientation = MirrorRotateCompose(before, button);
        OrientPictureSetCode(dialog, settings->orientation);
        // A preview window has the result's size: when width and height change places, it
        // goes and the next preview is made at the new size, as for another input ("Auto"
        // staying on with a preview at once).
        if ((before ^ settings->orientation) & 1)
            InputChanged(settings, &MirrorRotateDialog);
        else
            RefreshPreview(settings, &MirrorRotateDialog);
        return;
    }
}

// Below the chooser: the buttons in two rows of two, then the field.
static int MirrorRotateControls(WindowHandle dialog, void *state, int x, int y, int width)
{
    const MirrorRotateSettings *settings = (const MirrorRotateSettings *)state;
    int half = (width - Margin) / 2;
    for (int button = 0; button < MIRROR_ROTATE_BUTTON_COUNT; button++) {
        int left = x + (button % 2) * (half + Margin);
        int top = y + (button / 2) * (ButtonHeight + Margin);
        Rect rect = {left, top, left + half, top + ButtonHeight};
        PlatformCreateControl(dialog, CONTROL_BUTTON, MIRROR_ROTATE_BUTTONS[button].id,
                              MIRROR_ROTATE_BUTTONS[button].label, 0, &rect);
        PlatformSetControlTip(dialog, MIRROR_ROTATE_BUTTONS[button].id,
                              MIRROR_ROTATE_BUTTONS[button].label);
    }
    y += 2 * (ButtonHeight + Margin);
    ControlKindRegister(CUSTOM_ORIENT_PICTURE, OrientPictureProcedure);
    int left = x + (width - MIRROR_ROTATE_FIELD) / 2;
    Rect field = {left, y, left + MIRROR_ROTATE_FIELD, y + MIRROR_ROTATE_FIELD};
    OrientPicture init = {};
    init.code = settings->orientation;
    ControlMake(dialog, MIRROR_ROTATE_PICTURE, &field, CUSTOM_ORIENT_PICTURE, &init);
    MirrorRotateInputTaken(dialog, state);
    return y + MIRROR_ROTATE_FIELD + Margin;
}

const TransformDialogKind MirrorRotateDialog = {&MirrorRotateTransform,
                                                MIRROR_ROTATE_INPUT,
                                                MirrorRotateInputTaken,
                                                MIRROR_ROTATE_CONTENT_WIDTH,
                                                sizeof(MirrorRotateSettings),
                                                MirrorRotateControls,
                                                MirrorRotateCommand,
                                                nullptr,
                                                &MirrorRotateMemory,
                                                DIALOG_BUTTONS_PREVIEW,
                                                nullptr,
                                                "Rotate/Reflect"};
