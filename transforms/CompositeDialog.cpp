// The Composite dialog: the background (the input chooser) and the overlay, another picture or
// a solid color; the operation and the alignment lists; Refine and the "R:" slider of the
// multi-point warp; the overlay's Amount and the general one; and the alignment points.
//
// While the dialog is up it is the PictureClient of the picture windows: each paint of the
// background or the overlay lets it draw the points over the picture in exclusive-or, and a
// press near a point takes the drag in that window. The points stay in the settings in the
// pictures' own coordinates, so they follow every zoom and scroll by themselves.
#include <cstring>

#include "core/FormatString.h"
#include "core/Text.h"
#include "masks/AmountControl.h"
#include "transforms/Composite.h"
#include "transforms/CompositeDialog.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int COMPOSITE_CONTENT_WIDTH = 300;
static const int COMPOSITE_COLOR_WIDTH = 200; // pixels of the color window's sliders
static const uint32_t MARK_COLOR = 0x808080;  // gray 128, xored over the pictures
static const int MARK_ARM = 5;                // pixels of a mark's cross from its centre

// The dialog's state: its settings first, as the shared handling keeps them.
struct CompositeDialogState {
    CompositeParams params;
    WindowHandle dialog;
    WindowHandle background;  // the picture the background marks were drawn on, or null
    WindowHandle colorWindow; // the "Overlay Color" window while it is open
    WindowHandle dragWindow;  // the picture whose point is dragged, or null
    int32_t dragPair;
    int32_t dragOverlay; // 1 when the dragged point is the overlay's
};

static CompositeParams CompositeSaved;
static TransformDialogMemory CompositeMemory = {&CompositeSaved, {}, 1};

static CompositeDialogState *CompositeState(WindowHandle dialog)
{
    if (!PlatformWindowExists(dialog)) return nullptr;
    return (CompositeDialogState *)PlatformGetWindowWord(dialog, WORD_POINTER);
}

// ---------------------------------------------------------------------------------------
// The points on the pictures.

// Which picture window holds which points: 0 the background's, 1 the overlay's, -1 none.
static int CompositeSide(const CompositeDialogState *state, WindowHandle window)
{
    if (window == nullptr) return -1;
    if (window == InputWindow) return 0;
    if (window == state->params.overlayWindow && state->params.overlay != nullptr) return 1;
    return -1;
}

// The client point of pair's point on a side's window.
static void MarkCentre(const CompositeDialogState *state, WindowHandle window, int side, int pair,
                       int *x, int *y)
{
    const ImageWindow *record = WindowRecord(window);
    const AlignmentSettings *align = &state->params.align;
    double px = side ? align->overlayX[pair] : align->backgroundX[pair];
    double py = side ? align->overlayY[pair] : align->backgroundY[pair];
    int height = record->picture.image.height;
    PictureToClient(window, record, Round(px), Round(AlignmentRowIndex(py, height)), x, y);
}

// The client pixels a mark and its label may cover, right and bottom exclusive.
static void MarkRect(const CompositeDialogState *state, WindowHandle window, int side, int pair,
                     Rect *rect)
{
    int x, y;
    MarkCentre(state, window, side, pair, &x, &y);
    char label[2];
    AlignmentLabelText(pair, label);
    *rect = {x - MARK_ARM, y - MARK_ARM, x + MARK_ARM + 3 + PlatformSmallTextWidth(label, 1) + 1,
             y + MARK_ARM + 3 + SmallLineHeight};
}

// A cross whose centre is left alone (xored twice it would vanish), and the pair's label
// below and right of it.
static void MarkDraw(DrawContext *context, const CompositeDialogState *state, WindowHandle window,
                     int side, int pair)
{
    int x, y;
    MarkCentre(state, window, side, pair, &x, &y);
    PlatformDrawXorColorLine(context, x - MARK_ARM, y, x + MARK_ARM, y, MARK_COLOR);
    PlatformDrawXorColorLine(context, x, y - MARK_ARM, x, y - 1, MARK_COLOR);
    PlatformDrawXorColorLine(context, x, y + 1, x, y + MARK_ARM, MARK_COLOR);
    if (!state->params.align.labelPoints) return;
    char label[2];
    AlignmentLabelText(pair, label);
    PlatformDrawXorText(context, x + 3, y + 3, label, MARK_COLOR, 1);
}

static void MarksPaint(DrawContext *context, const CompositeDialogState *state, WindowHandle window)
{
    int side = CompositeSide(state, window);
    if (side < 0 || WindowRecord(window) == nullptr) return;
    for (int pair = 0; pair < state->params.align.pointCount; pair++)
        MarkDraw(context, state, window, side, pair);
}

// Both pictures paint again, marks and all: after the points, their number or the labels
// changed.
static void MarksRedraw(const CompositeDialogState *state)
{
    if (InputWindow != nullptr) PlatformInvalidate(InputWindow, nullptr);
    if (state->params.overlayWindow != nullptr && PlatformWindowExists(state->params.overlayWindow))
        PlatformInvalidate(state->params.overlayWindow, nullptr);
}

// The pair whose mark on a side's window lies within ALIGN_GRAB_DISTANCE client pixels of
// (x, y), the nearest if several; -1 for none. Client pixels, so that a reduced picture
// is as easy to grab as one at 1:1.
static int MarkAt(const CompositeDialogState *state, WindowHandle window, int side, int x, int y)
{
    int found = -1;
    int best = ALIGN_GRAB_DISTANCE * ALIGN_GRAB_DISTANCE;
    for (int pair = 0; pair < state->params.align.pointCount; pair++) {
        int cx, cy;
        MarkCentre(state, window, side, pair, &cx, &cy);
        int distance = (cx - x) * (cx - x) + (cy - y) * (cy - y);
        if (distance <= best) {
            best = distance;
            found = pair;
            if (distance == 0) break;
        }
    }
    return found;
}

// The picture point (ruler coordinates) under a client point.
static void RulerPoint(WindowHandle window, int clientX, int clientY, double *x, double *y)
{
    const ImageWindow *record = WindowRecord(window);
    int column, row;
    ClientToPicture(window, record, clientX, clientY, &column, &row);
    *x = column;
    *y = AlignmentRowIndex(row, record->picture.image.height);
}

// The dragged point follows the mouse; only its old and new marks paint again.
static void MarkDrag(CompositeDialogState *state, WindowHandle window, int clientX, int clientY)
{
    AlignmentSettings *align = &state->params.align;
    int pair = state->dragPair;
    double *xs = state->dragOverlay ? align->overlayX : align->backgroundX;
    double *ys = state->dragOverlay ? align->overlayY : align->backgroundY;
    double x, y;
    RulerPoint(window, clientX, clientY, &x, &y);
    if (x == xs[pair] && y == ys[pair]) return;
    Rect old;
    MarkRect(state, window, state->dragOverlay, pair, &old);
    xs[pair] = x;
    ys[pair] = y;
    Rect now;
    MarkRect(state, window, state->dragOverlay, pair, &now);
    PlatformInvalidate(window, &old);
    PlatformInvalidate(window, &now);
    PlatformUpdateWindow(window);
}

static void CompositeRefresh(CompositeDialogState *state);

// A press on a picture: Ctrl on a point removes its pair and Shift on the background adds
// one in "Multi-point"; a plain press on a point grabs it. Returns 1 when the dialog takes
// the press.
static int MarkPress(CompositeDialogState *state, WindowHandle window, const PictureMouse *mouse)
{
    AlignmentSettings *align = &state->params.align;
    int side = CompositeSide(state, window);
    if (side < 0 || align->pointCount == 0) return 0;
    int pair = MarkAt(state, window, side, mouse->x, mouse->y);
    int multi = align->mode == ALIGN_MULTI_POINT;
    if (multi && (mouse->keys & KEYS_CONTROL)) {
        if (pair < 0) return 0;
        if (AlignmentRemovePair(align, pair)) {
            PlatformBeep(); // the first three pairs make the map itself
            return 1;
        }
        MarksRedraw(state);
        CompositeRefresh(state);
        return 1;
    }
    if (multi && side == 0 && (mouse->keys & KEYS_SHIFT)) {
        // The overlay end goes where the present mapping takes the click, so that the
        // picture does not jump; with no mapping to take it there, nothing is added.
        const ImageWindow *background = WindowRecord(window);
        AlignmentMap map;
        double x, y;
        RulerPoint(window, mouse->x, mouse->y, &x, &y);
        int failed = AlignmentPrepare(align, background->picture.image.width,
                                      background->picture.image.height, &map);
        align->singular = 0;
        if (failed || AlignmentAddPair(align, &map, x, y) < 0) {
            PlatformBeep();
            return 1;
        }
        MarksRedraw(state);
        CompositeRefresh(state);
        return 1;
    }
    if (pair < 0) return 0;
    state->dragWindow = window;
    state->dragPair = pair;
    state->dragOverlay = side;
    return 1;
}

static int CompositePictureMouse(CompositeDialogState *state, WindowHandle window,
                                 const PictureMouse *mouse)
{
    switch (mouse->message) {
    case MSG_LBUTTON_DOWN: return MarkPress(state, window, mouse);
    case MSG_MOUSE_MOVE:
        if (state->dragWindow != window) return 0;
        MarkDrag(state, window, mouse->x, mouse->y);
        return 1;
    case MSG_LBUTTON_UP:
        if (state->dragWindow != window) return 0;
        MarkDrag(state, window, mouse->x, mouse->y);
        state->dragWindow = nullptr;
        CompositeRefresh(state);
        return 1;
    default: return 0;
    }
}

// ---------------------------------------------------------------------------------------
// The overlay chooser and the color swatch: one kind of control in two parts.

enum : int32_t {
    OVERLAY_PART_CHOOSER = 0, // "Overlay: " and the overlay's title, or "None"
    OVERLAY_PART_SWATCH = 1,  // "Overlay Color" and the solid color
};

struct CompositeOverlayControl {
    int32_t id;
    int32_t part;                  // OVERLAY_PART_*
    const CompositeParams *params; // the dialog's; lives as long as the dialog
    WindowHandle choice;           // the window chosen last from the list, null for "None"
};

static const char *const OVERLAY_LABEL = "Overlay: ";
static const char *const OVERLAY_COLOR_LABEL = "Overlay Color";
static const char *const OVERLAY_NONE = "None";
static const int OVERLAY_CANDIDATES_MAX = 256;
static const uint32_t OVERLAY_FIELD = 0xFFFFFF;
static const int OVERLAY_ARROW_WIDTH = 9; // pixels of the chooser's drop-down arrow

static void OverlayControlDraw(WindowHandle window, DrawContext *context,
                               const CompositeOverlayControl *record)
{
    Rect client;
    PlatformGetClientRect(window, &client);
    int textTop = (client.bottom - LineHeight) / 2;
    const char *label = record->part == OVERLAY_PART_SWATCH ? OVERLAY_COLOR_LABEL : OVERLAY_LABEL;
    int labelWidth = PlatformTextWidth(label, (int)strlen(label));
    PlatformDrawText(context, 0, textTop, label, COLOR_CONTROL_TEXT, 0);
    int fieldHeight = LineHeight + 6;
    Rect field = {labelWidth + Margin, (client.bottom - fieldHeight) / 2, client.right,
                  (client.bottom + fieldHeight) / 2};
    const CompositeParams *params = record->params;
    if (record->part == OVERLAY_PART_SWATCH) {
        // A square of the color; it stands for the overlay only while no picture is chosen.
        field.right = field.left + fieldHeight * 2;
        uint32_t color = (uint32_t)params->overlayRed << 16 | (uint32_t)params->overlayGreen << 8 |
                         (uint32_t)params->overlayBlue;
        PlatformFillRect(context, &field, color);
        PlatformFrameRect(context, &field,
                          params->overlay == nullptr ? COLOR_CONTROL_DARK : COLOR_CONTROL_SHADOW);
        return;
    }
    PlatformFillRect(context, &field, OVERLAY_FIELD);
    PlatformFrameRect(context, &field, COLOR_CONTROL_SHADOW);
    // The drop-down arrow, rows narrowing by a pixel on each side, as the input chooser's.
    int arrowLeft = field.right - OVERLAY_ARROW_WIDTH - 5;
    int arrowTop = (client.bottom - OVERLAY_ARROW_WIDTH / 2) / 2;
    for (int row = 0; row <= OVERLAY_ARROW_WIDTH / 2; row++)
        PlatformDrawLine(context, arrowLeft + row, arrowTop + row,
                         arrowLeft + OVERLAY_ARROW_WIDTH - 1 - row, arrowTop + row,
                         COLOR_CONTROL_DARK);
    char title[PATH_LENGTH + 32];
    if (params->overlay != nullptr && PlatformWindowExists(params->overlayWindow))
        WindowTitle(params->overlayWindow, title, sizeof title);
    else
        StrCopyLimit(OVERLAY_NONE, title, (int)sizeof title - 1);
    PlatformDrawText(context, field.left + 4, textTop, title, COLOR_CONTROL_TEXT, 0);
}

// The list of "None" and the pictures other than the background; the choice goes to the
// dialog as a change of the control.
static void OverlayChooserPress(WindowHandle window, CompositeOverlayControl *record)
{
    WindowHandle candidates[OVERLAY_CANDIDATES_MAX];
    int found = InputChooserCandidates(nullptr, candidates, OVERLAY_CANDIDATES_MAX);
    int count = 0;
    for (int i = 0; i < found; i++)
        if (candidates[i] != InputWindow) candidates[count++] = candidates[i];
    int index = ControlListChoose(window, OVERLAY_NONE, candidates, count);
    if (index == -2 || !PlatformWindowExists(window)) return;
    record->choice = index == -1 ? nullptr : candidates[index];
    PlatformSendMessage(PlatformWindowParent(window), MSG_COMMAND,
                        (uintptr_t)record->id | (uintptr_t)NOTIFY_CHANGED << 16, (intptr_t)window);
}

// A press: the chooser lists the pictures, the swatch asks for its color window.
static void OverlayControlPress(WindowHandle window, CompositeOverlayControl *record)
{
    if (record->part == OVERLAY_PART_CHOOSER)
        OverlayChooserPress(window, record);
    else
        PlatformSendMessage(PlatformWindowParent(window), MSG_COMMAND, (uintptr_t)record->id,
                            (intptr_t)window);
}

static MessageResult OverlayControlProcedure(WindowHandle window, uint32_t message,
                                             uintptr_t wParam, intptr_t lParam)
{
    if (message == MSG_CREATE)
        return ControlRecordCreate(window, lParam, sizeof(CompositeOverlayControl));
    CompositeOverlayControl *record =
        (CompositeOverlayControl *)ControlRecord(window, CUSTOM_COMPOSITE_OVERLAY);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    switch (DropDownMessage(window, message, wParam, record)) {
    case DROP_DOWN_PAINT: OverlayControlDraw(window, (DrawContext *)wParam, record); return 0;
    case DROP_DOWN_PRESS: OverlayControlPress(window, record); return 0;
    case DROP_DOWN_DONE: return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// ---------------------------------------------------------------------------------------
// The "Overlay Color" window: its sliders move the solid color, and the preview follows
// each release.

static const char *const COLOR_CHANNEL_NAMES[3] = {"Red", "Green", "Blue"};

static int ColorLevelOf(int position)
{
    return (position * 255 + SLIDER_POSITIONS / 2) / SLIDER_POSITIONS;
}

static int ColorPositionOf(int level)
{
    return (level * SLIDER_POSITIONS + 127) / 255;
}

static int32_t *ColorChannel(CompositeParams *params, int channel)
{
    return channel == 0   ? &params->overlayRed
           : channel == 1 ? &params->overlayGreen
                          : &params->overlayBlue;
}

static void ColorTextsShow(WindowHandle window, CompositeParams *params)
{
    for (int c = 0; c < 3; c++) {
        char text[32];
        FormatString(text, sizeof text, "%s: %d", COLOR_CHANNEL_NAMES[c], *ColorChannel(params, c));
        PlatformSetControlText(window, COMPOSITE_COLOR_TEXT + c, text);
    }
}

static MessageResult CompositeColorProcedure(WindowHandle window, uint32_t message,
                                             uintptr_t wParam, intptr_t lParam)
{
    WindowHandle dialog = (WindowHandle)PlatformGetWindowWord(window, WORD_POINTER);
    CompositeDialogState *state = CompositeState(dialog);
    switch (message) {
    case MSG_COMMAND: {
        int id = (int)(wParam & 0xffff);
        uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
        if (state == nullptr || id < COMPOSITE_COLOR_SLIDER || id >= COMPOSITE_COLOR_SLIDER + 3)
            return 0;
        *ColorChannel(&state->params, id - COMPOSITE_COLOR_SLIDER) =
            ColorLevelOf(SliderPosition(window, id));
        ColorTextsShow(window, &state->params);
        WindowHandle swatch = PlatformControl(dialog, COMPOSITE_COLOR);
        if (swatch != nullptr) PlatformInvalidate(swatch, nullptr);
        if (notification != NOTIFY_MOVED) CompositeRefresh(state);
        return 0;
    }
    case MSG_DESTROY:
        if (state != nullptr && state->colorWindow == window) state->colorWindow = nullptr;
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// Opens the color window beside the dialog, or brings the open one forward.
static void CompositeColorOpen(CompositeDialogState *state)
{
    if (state->colorWindow != nullptr) {
        PlatformActivateWindow(state->colorWindow);
        return;
    }
    ChildKindRegister(KIND_COMPOSITE_COLOR, CompositeColorProcedure);
    Rect beside;
    PlatformGetWindowRect(state->dialog, &beside);
    int height = Margin + 3 * (LineHeight + SliderHeight + Margin);
    WindowCreate request = {CLASS_CHILD,
                            KIND_COMPOSITE_COLOR,
                            -1,
                            OVERLAY_COLOR_LABEL,
                            STYLE_CAPTION | STYLE_DIALOG | STYLE_HIDDEN,
                            beside.right + Margin,
                            beside.top,
                            COMPOSITE_COLOR_WIDTH + 2 * Margin,
                            height,
                            nullptr,
                            0,
                            0};
    WindowHandle window = PlatformCreateWindow(&request);
    if (window == nullptr) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    PlatformSetWindowWord(window, WORD_POINTER, (intptr_t)state->dialog);
    state->colorWindow = window;
    int y = Margin;
    for (int c = 0; c < 3; c++) {
        y = TransformDialogText(window, COMPOSITE_COLOR_TEXT + c, "", Margin, y,
                                COMPOSITE_COLOR_WIDTH);
        Rect slider = {Margin, y, Margin + COMPOSITE_COLOR_WIDTH, y + SliderHeight};
        SliderCreate(window, COMPOSITE_COLOR_SLIDER + c, &slider,
                     ColorPositionOf(*ColorChannel(&state->params, c)));
        y += SliderHeight + Margin;
    }
    ColorTextsShow(window, &state->params);
    Rect place = {beside.right + Margin, beside.top, beside.right + Margin, beside.top};
    TransformDialogShow(window, COMPOSITE_COLOR_WIDTH + 2 * Margin, y, &place);
}

// ---------------------------------------------------------------------------------------
// The dialog.

// A setting changed: the preview follows, and a multi-point matrix found singular by the
// computation is told once per computation.
static void CompositeRefresh(CompositeDialogState *state)
{
    WindowHandle dialog = state->dialog;
    state->params.align.singular = 0;
    RefreshPreview(&state->params, &CompositeDialog);
    state = CompositeState(dialog);
    if (state != nullptr && state->params.align.singular) {
        state->params.align.singular = 0;
        MessageDialog(nullptr, "Error", MESSAGE_OK, ALIGN_MESSAGE_SINGULAR);
    }
}

static void ShowControl(WindowHandle dialog, int id, int shown)
{
    WindowHandle control = PlatformControl(dialog, id);
    if (control != nullptr) PlatformShowWindow(control, shown ? SHOW_NORMAL : SHOW_HIDE);
}

// The controls show the settings: the lists, Refine's state, the "R:" slider where it
// applies, and the overlay's two parts.
static void CompositeShow(WindowHandle dialog, CompositeDialogState *state)
{
    const CompositeParams *params = &state->params;
    PopupListSetChoice(dialog, COMPOSITE_OPERATION, params->operation);
    PopupListSetChoice(dialog, COMPOSITE_ALIGNMENT, params->align.mode);
    PlatformEnableControl(dialog, COMPOSITE_REFINE, CompositeRefineRefusal(params) == nullptr);
    int radius = params->align.mode == ALIGN_MULTI_POINT &&
                 (params->align.method == WARP_HARDY || params->align.method == WARP_GAUSSIAN);
    char text[32];
    FormatString(text, sizeof text, "R: %2f", params->align.radiusFactor);
    PlatformSetControlText(dialog, COMPOSITE_RADIUS_TEXT, text);
    SliderSetPosition(dialog, COMPOSITE_RADIUS,
                      AlignmentRadiusPosition(params->align.radiusFactor));
    ShowControl(dialog, COMPOSITE_RADIUS_TEXT, radius);
    ShowControl(dialog, COMPOSITE_RADIUS, radius);
    static const int PARTS[2] = {COMPOSITE_OVERLAY, COMPOSITE_COLOR};
    for (int id : PARTS) {
        WindowHandle control = PlatformControl(dialog, id);
        if (control != nullptr) PlatformInvalidate(control, nullptr);
    }
}

// The overlay becomes window (null: the solid color). A newly chosen picture starts from the
// points of its own corners; keepPoints keeps those of a kept record. The picture is marked
// in use by the chooser, and the overlay's mask must have its size.
static void CompositeOverlaySet(WindowHandle dialog, CompositeDialogState *state,
                                WindowHandle window, int keepPoints)
{
    CompositeParams *params = &state->params;
    WindowHandle chooser = PlatformControl(dialog, COMPOSITE_OVERLAY);
    if (params->overlayWindow != nullptr && PlatformWindowExists(params->overlayWindow))
        PlatformInvalidate(params->overlayWindow, nullptr);
    if (chooser != nullptr) ClearInUse(chooser, nullptr);
    const ImageWindow *record = window != nullptr ? WindowRecord(window) : nullptr;
    if (record != nullptr && chooser != nullptr &&
        MarkInUse(chooser, window, CompositeTransform.name, 1) != ERROR_NONE) {
        ShowError(ERROR_NO_MEMORY);
        record = nullptr;
    }
    params->overlay = record != nullptr ? &record->picture.image : nullptr;
    params->overlayWindow = record != nullptr ? window : nullptr;
    params->overlayTitle[0] = 0;
    if (record != nullptr) {
        PlatformGetWindowTitle(window, params->overlayTitle, COMPOSITE_TITLE_BYTES);
        if (!keepPoints)
            CompositeSetOverlayPoints(params, record->picture.image.width,
                                      record->picture.image.height);
        PlatformInvalidate(window, nullptr);
    }
    // The overlay's mask is of the overlay's size; without a picture, of the background's.
    const ImageWindow *sized = record != nullptr ? record : WindowRecord(InputWindow);
    WindowHandle amount = PlatformControl(dialog, COMPOSITE_OVERLAY_AMOUNT);
    if (amount != nullptr && sized != nullptr) {
        AmountSetTargetSize(amount, sized->picture.image.width, sized->picture.image.height);
        AmountGet(amount, &params->overlayAmount);
    }
    CompositeShow(dialog, state);
}

// The overlay of a kept record, if it is still open: by its window, else by its title.
static WindowHandle CompositeOverlayFind(const CompositeParams *params)
{
    WindowHandle candidates[OVERLAY_CANDIDATES_MAX];
    int count = InputChooserCandidates(nullptr, candidates, OVERLAY_CANDIDATES_MAX);
    for (int i = 0; i < count; i++)
        if (candidates[i] == params->overlayWindow && candidates[i] != InputWindow)
            return candidates[i];
    if (params->overlayTitle[0] == 0) return nullptr;
    for (int i = 0; i < count; i++) {
        char title[WINDOW_TITLE_MAX + 1];
        PlatformGetWindowTitle(candidates[i], title, sizeof title);
        if (candidates[i] != InputWindow && strcmp(title, params->overlayTitle) == 0)
            return candidates[i];
    }
    return nullptr;
}

// "Refine": refused with its reason, else run; each pair it could not place is told.
static void CompositeRefine(CompositeDialogState *state)
{
    const char *refusal = CompositeRefineRefusal(&state->params);
    if (refusal != nullptr) {
        MessageDialog(nullptr, "Error", MESSAGE_OK, refusal);
        return;
    }
    const ImageWindow *background = WindowRecord(InputWindow);
    if (background == nullptr) return;
    int unrefined[ALIGN_MAX_POINTS];
    int count = 0;
    ErrorCode result =
        RefineAlignment(&background->picture.image, &state->params, unrefined, &count);
    // An abort keeps the points reached, which is what the user asked for.
    if (result != ERROR_ABORTED) ShowError(result);
    for (int i = 0; i < count; i++) {
        char label[2];
        AlignmentLabelText(unrefined[i], label);
        char text[64];
        FormatString(text, sizeof text, ALIGN_MESSAGE_UNREFINED, label);
        MessageDialog(nullptr, "Warning", MESSAGE_OK, text);
    }
    MarksRedraw(state);
    CompositeRefresh(state);
}

static void CompositeOptions(WindowHandle dialog, CompositeDialogState *state)
{
    AlignmentSettings *align = &state->params.align;
    static const int32_t RADII[3] = {ALIGN_SEARCH_6, ALIGN_SEARCH_2, ALIGN_SEARCH_1};
    // The platform's text is UTF-8: the plus-minus sign (0xB1) is written as its two bytes.
    MenuItem items[] = {
        {COMPOSITE_MENU_METHOD + WARP_SHEPARD, WARP_METHOD_LABELS[WARP_SHEPARD], 1,
         align->method == WARP_SHEPARD},
        {COMPOSITE_MENU_METHOD + WARP_HARDY, WARP_METHOD_LABELS[WARP_HARDY], 1,
         align->method == WARP_HARDY},
        {COMPOSITE_MENU_METHOD + WARP_THIN_PLATE, WARP_METHOD_LABELS[WARP_THIN_PLATE], 1,
         align->method == WARP_THIN_PLATE},
        {COMPOSITE_MENU_METHOD + WARP_GAUSSIAN, WARP_METHOD_LABELS[WARP_GAUSSIAN], 1,
         align->method == WARP_GAUSSIAN},
        {0, "", 1},
        {COMPOSITE_MENU_SEARCH + 0, "&Search Radius \xC2\xB1 6 pixels", 1,
         align->searchRadius == RADII[0]},
        {COMPOSITE_MENU_SEARCH + 1, "&Search Radius \xC2\xB1 2 pixels", 1,
         align->searchRadius == RADII[1]},
        {COMPOSITE_MENU_SEARCH + 2, "&Search Radius \xC2\xB1 1 pixel", 1,
         align->searchRadius == RADII[2]},
        {0, "", 1},
        {COMPOSITE_MENU_LABELS, "&Label Alignment Points", 1, align->labelPoints != 0},
        {0, nullptr, 0},
    };
    int item = SettingsOptionsPopup(dialog, items);
    if (item >= COMPOSITE_MENU_METHOD && item <= COMPOSITE_MENU_METHOD + WARP_GAUSSIAN) {
        align->method = item - COMPOSITE_MENU_METHOD;
        CompositeShow(dialog, state);
        // Only the multi-point warp has a method; the others look the same as before.
        if (align->mode == ALIGN_MULTI_POINT) CompositeRefresh(state);
    } else if (item >= COMPOSITE_MENU_SEARCH && item < COMPOSITE_MENU_SEARCH + 3) {
        align->searchRadius = RADII[item - COMPOSITE_MENU_SEARCH];
    } else if (item == COMPOSITE_MENU_LABELS) {
        align->labelPoints = !align->labelPoints;
        MarksRedraw(state);
    }
}

static void CompositeCommand(WindowHandle dialog, void *opaque, uintptr_t wParam)
{
    CompositeDialogState *state = (CompositeDialogState *)opaque;
    CompositeParams *params = &state->params;
    if (TransformAmountCommand(dialog, COMPOSITE_AMOUNT, &params->amount, wParam, state,
                               &CompositeDialog) ||
        TransformAmountCommand(dialog, COMPOSITE_OVERLAY_AMOUNT, &params->overlayAmount, wParam,
                               state, &CompositeDialog))
        return;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    switch (id) {
    case SETTINGS_OPTIONS_BUTTON:
        if (notification == NOTIFY_CLICKED) CompositeOptions(dialog, state);
        return;
    case COMPOSITE_REFINE:
        if (notification == NOTIFY_CLICKED) CompositeRefine(state);
        return;
    case COMPOSITE_COLOR:
        if (notification == NOTIFY_CLICKED) CompositeColorOpen(state);
        return;
    case COMPOSITE_OVERLAY: {
        if (notification != NOTIFY_CHANGED) return;
        const CompositeOverlayControl *record = (const CompositeOverlayControl *)ControlRecord(
            PlatformControl(dialog, COMPOSITE_OVERLAY), CUSTOM_COMPOSITE_OVERLAY);
        if (record == nullptr) return;
        CompositeOverlaySet(dialog, state, record->choice, 0);
        CompositeRefresh(state);
        return;
    }
    case COMPOSITE_OPERATION:
        if (notification != NOTIFY_CHANGED) return;
        params->operation = PopupListChoice(dialog, id);
        CompositeRefresh(state);
        return;
    case COMPOSITE_ALIGNMENT:
        if (notification != NOTIFY_CHANGED) return;
        params->align.mode = PopupListChoice(dialog, id);
        params->align.pointCount = AlignmentPairsFor(params->align.mode);
        CompositeShow(dialog, state);
        MarksRedraw(state);
        CompositeRefresh(state);
        return;
    case COMPOSITE_RADIUS: {
        char text[32];
        params->align.radiusFactor = AlignmentRadiusFactor(SliderPosition(dialog, id));
        FormatString(text, sizeof text, "R: %2f", params->align.radiusFactor);
        PlatformSetControlText(dialog, COMPOSITE_RADIUS_TEXT, text);
        if (notification == NOTIFY_RELEASED) CompositeRefresh(state);
        return;
    }
    default: return;
    }
}

// A list with its label across the content's width; returns the y below it.
static int CompositeList(WindowHandle dialog, int id, const char *label, const char *const *labels,
                         int count, int choice, int x, int y, int width)
{
    char items[512];
    int used = 0;
    for (int i = 0; i < count; i++) {
        int length = (int)strlen(labels[i]);
        if (used + length + 2 > (int)sizeof items) break;
        memcpy(items + used, labels[i], (size_t)length + 1);
        used += length + 1;
    }
    items[used] = 0;
    Rect rect = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, id, &rect, label, items, choice);
    return y + ButtonHeight + Margin;
}

static int CompositeControls(WindowHandle dialog, void *opaque, int x, int y, int width)
{
    CompositeDialogState *state = (CompositeDialogState *)opaque;
    CompositeParams *params = &state->params;
    state->dialog = dialog;
    state->dragWindow = nullptr;
    const ImageWindow *background = WindowRecord(InputWindow);
    // A kept record is taken up again only by a background of the size its points were
    // made for; otherwise both pictures' points start again from their corners.
    int kept = background != nullptr &&
               params->backgroundWidth == background->picture.image.width &&
               params->backgroundHeight == background->picture.image.height;
    if (background != nullptr && !kept)
        CompositeSetBackgroundPoints(params, background->picture.image.width,
                                     background->picture.image.height);
    WindowHandle overlay = CompositeOverlayFind(params);
    params->overlay = nullptr;
    params->overlayWindow = nullptr;

    int right = SettingsOptionsButtonCreate(dialog, x, y);
    Rect refine = {right, y, right + PlatformTextWidth("Refine", 6) + 2 * Margin, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_BUTTON, COMPOSITE_REFINE, "Refine", 0, &refine);
    y += ButtonHeight + Margin;

    ControlKindRegister(CUSTOM_COMPOSITE_OVERLAY, OverlayControlProcedure);
    CompositeOverlayControl init = {COMPOSITE_COLOR, OVERLAY_PART_SWATCH, params, nullptr};
    Rect swatch = {x, y, x + width, y + ButtonHeight};
    ControlMake(dialog, COMPOSITE_COLOR, &swatch, CUSTOM_COMPOSITE_OVERLAY, &init);
    y += ButtonHeight + Margin;
    init = {COMPOSITE_OVERLAY, OVERLAY_PART_CHOOSER, params, nullptr};
    Rect chooser = {x, y, x + width, y + CHOOSER_HEIGHT};
    ControlMake(dialog, COMPOSITE_OVERLAY, &chooser, CUSTOM_COMPOSITE_OVERLAY, &init);
    y += CHOOSER_HEIGHT + Margin;

    // The overlay's Amount takes back a kept mask of the overlay's size, which the control
    // finds only once it asks for that size.
    AmountSetting keptOverlayAmount = params->overlayAmount;
    y = TransformAmountCreate(dialog, COMPOSITE_OVERLAY_AMOUNT, &params->overlayAmount, x, y,
                              width);
    y = CompositeList(dialog, COMPOSITE_OPERATION, "Operation:", COMPOSITE_OPERATION_LABELS,
                      COMPOSITE_OPERATION_COUNT, params->operation, x, y, width);
    y = CompositeList(dialog, COMPOSITE_ALIGNMENT, "Alignment:", ALIGN_MODE_LABELS,
                      ALIGN_MODE_COUNT, params->align.mode, x, y, width);
    y = TransformDialogText(dialog, COMPOSITE_RADIUS_TEXT, "", x, y, width);
    Rect slider = {x, y, x + width, y + SliderHeight};
    SliderCreate(dialog, COMPOSITE_RADIUS, &slider,
                 AlignmentRadiusPosition(params->align.radiusFactor));
    y += SliderHeight + Margin;
    y = TransformAmountCreate(dialog, COMPOSITE_AMOUNT, &params->amount, x, y, width);

    CompositeOverlaySet(dialog, state, overlay, kept);
    WindowHandle amount = PlatformControl(dialog, COMPOSITE_OVERLAY_AMOUNT);
    if (amount != nullptr && overlay != nullptr) {
        AmountSet(amount, &keptOverlayAmount);
        AmountGet(amount, &params->overlayAmount);
    }
    state->background = InputWindow;
    PictureClient = dialog;
    MarksRedraw(state);
    return y;
}

// Another background: points made for another size start again from its corners, an
// overlay that is now the background is let go, and the marks move to the new picture.
static void CompositeInputTaken(WindowHandle dialog, void *opaque)
{
    CompositeDialogState *state = (CompositeDialogState *)opaque;
    CompositeParams *params = &state->params;
    const ImageWindow *background = WindowRecord(InputWindow);
    if (background == nullptr) return;
    if (params->backgroundWidth != background->picture.image.width ||
        params->backgroundHeight != background->picture.image.height)
        CompositeSetBackgroundPoints(params, background->picture.image.width,
                                     background->picture.image.height);
    TransformAmountInputTaken(dialog, COMPOSITE_AMOUNT);
    if (state->background != InputWindow && state->background != nullptr &&
        PlatformWindowExists(state->background))
        PlatformInvalidate(state->background, nullptr);
    state->background = InputWindow;
    CompositeOverlaySet(dialog, state,
                        params->overlayWindow == InputWindow ? nullptr : params->overlayWindow, 1);
    MarksRedraw(state);
}

// The pictures' paints and mouse come here while the dialog is up. The shared messages are
// handled here too, so that a singular warp found by their computation is told.
static int CompositeMessage(WindowHandle dialog, void *opaque, uint32_t message, uintptr_t wParam,
                            intptr_t lParam)
{
    CompositeDialogState *state = (CompositeDialogState *)opaque;
    switch (message) {
    case MSG_PICTURE_PAINT:
        MarksPaint((DrawContext *)wParam, state, (WindowHandle)lParam);
        return 1;
    case MSG_PICTURE_MOUSE:
        return CompositePictureMouse(state, (WindowHandle)wParam, (const PictureMouse *)lParam);
    default: break;
    }
    state->params.align.singular = 0;
    if (!TransformDialogMessage(dialog, message, wParam, lParam, &CompositeDialog, state)) return 0;
    state = CompositeState(dialog);
    if (state != nullptr && state->params.align.singular) {
        state->params.align.singular = 0;
        MessageDialog(nullptr, "Error", MESSAGE_OK, ALIGN_MESSAGE_SINGULAR);
    }
    return 1;
}

// The dialog goes: its marks leave the pictures, its color window closes, and the kept
// record holds no picture, which is found again by its window or title.
static void CompositeForget(void *opaque, void *saved)
{
    CompositeDialogState *state = (CompositeDialogState *)opaque;
    if (PictureClient == state->dialog) PictureClient = nullptr;
    if (state->colorWindow != nullptr) PlatformDestroyWindow(state->colorWindow);
    if (state->background != nullptr && PlatformWindowExists(state->background))
        PlatformInvalidate(state->background, nullptr);
    if (state->params.overlayWindow != nullptr && PlatformWindowExists(state->params.overlayWindow))
        PlatformInvalidate(state->params.overlayWindow, nullptr);
    ((CompositeParams *)saved)->overlay = nullptr;
    ((CompositeParams *)saved)->align.singular = 0;
}

const TransformDialogKind CompositeDialog = {&CompositeTransform,
                                             COMPOSITE_INPUT,
                                             CompositeInputTaken,
                                             COMPOSITE_CONTENT_WIDTH,
                                             sizeof(CompositeDialogState),
                                             CompositeControls,
                                             CompositeCommand,
                                             CompositeForget,
                                             &CompositeMemory,
                                             DIALOG_BUTTONS_PREVIEW,
                                             CompositeMessage};
