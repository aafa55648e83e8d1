// The Color Correct dialog: the Options button, Zoom In and Zoom Out, the color wheel with
// its control points, the Radius slider, the selected point's brightness and its two flags,
// the wheel's view, the brightness rule, and the Amount.
//
// The wheel is a custom control that draws the wheel's picture and each point's arrow, and
// hands every mouse event to WheelMouse; what the event did comes back as bits, on which the
// dialog only redraws, shows controls, or rebuilds its tables and previews. The tables are
// built here, with their progress bar, when a change is complete; the compute function uses
// them through the settings while they fit the points.
#include <cstring>
#include <initializer_list>

#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "masks/AmountControl.h"
#include "transforms/ColorCorrect.h"
#include "transforms/ColorCorrectWheel.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int COLOR_CORRECT_CONTENT_WIDTH = 292; // pixels of the sliders and check boxes
static const int COLOR_CORRECT_BAR = 13;            // pixels across a scroll bar

// The dialog's state: the settings first, as the shared handling keeps them, then what one
// opening owns.
struct ColorCorrectDialogState {
    ColorCorrectSettings settings;
    ColorCorrectTables tables;
    Image wheel;         // the wheel at the settings' zoom and center
    Image coverage;      // 255 inside the hexagon
    Image corrected;     // the wheel through the tables, for "Show Modified Color Wheel"
    int32_t dragPoint;   // WheelMouse's: 0, i + 1 or -(i + 1)
    int32_t tablesStale; // the tables no longer fit the points
};

// The wheel control's record: where it reports.
struct WheelControl {
    ColorCorrectDialogState *state;
};

static ColorCorrectSettings ColorCorrectSaved;
static TransformDialogMemory ColorCorrectMemory = {&ColorCorrectSaved, {}, 1};

static void ColorCorrectOptionsDefaults(void *settings)
{
    ColorCorrectSettingsDefault((ColorCorrectSettings *)settings);
}

static void ColorCorrectOptionsRefresh(WindowHandle dialog, void *settings);

static const SettingsOptions COLOR_CORRECT_OPTIONS = {SETTINGS_KIND_COLOR_CORRECT,
                                                      FOLDER_SHARED,
                                                      "Color Correction Files",
                                                      "*.colorcorrect",
                                                      "Load Color Correction Settings",
                                                      "Save Color Correction Settings",
                                                      (int32_t)sizeof(ColorCorrectSettings),
                                                      ColorCorrectOptionsDefaults,
                                                      ColorCorrectSettingsRead,
                                                      ColorCorrectSettingsWrite,
                                                      ColorCorrectOptionsRefresh,
                                                      0,
                                                      nullptr,
                                                      0};

// The points moved: the tables and the region wait for the next complete change, and a
// compute meanwhile builds its own.
static void ColorCorrectStale(ColorCorrectDialogState *state)
{
    state->tablesStale = 1;
    state->tables.regionPoint = -1;
    state->settings.tables = nullptr;
}

// The selected point's influence is wanted when it is shown or saved.
static int ColorCorrectNeedsRegion(const ColorCorrectSettings *settings)
{
    return settings->selectedPoint >= 0 && settings->selectedPoint < settings->pointCount &&
           (settings->showAffectedRegion || settings->saveAsMask);
}

// Brings the tables up to the settings (with the bar "Building color lookup tables"), the
// corrected wheel with them, and lends them to the compute.
static void ColorCorrectTablesUpdate(ColorCorrectDialogState *state)
{
    ColorCorrectSettings *settings = &state->settings;
    if (state->tables.shift == nullptr) return; // none could be had: each compute builds its own
    if (state->tablesStale) {
        ColorCorrectTablesBuild(settings, &state->tables, 1);
        state->tables.regionPoint = -1;
        state->tablesStale = 0;
    }
    if (ColorCorrectNeedsRegion(settings) && state->tables.regionPoint != settings->selectedPoint)
        ColorCorrectRegionBuild(settings, &state->tables);
    if (settings->showModifiedWheel)
        WheelCorrect(&state->wheel, &state->coverage, &state->tables, settings->nonlinear,
                     &state->corrected);
    settings->tables = &state->tables;
}

static void ColorCorrectShowRadius(WindowHandle dialog, const ColorCorrectSettings *settings)
{
    char text[64];
    FormatString(text, sizeof text, "Radius: %2f", settings->radius);
    PlatformSetControlText(dialog, COLOR_CORRECT_RADIUS_TEXT, text);
}

// The scroll bars show only on a zoomed wheel, over -255..255 as positions 0..510.
static void ColorCorrectShowBars(WindowHandle dialog, const ColorCorrectSettings *settings)
{
    int zoom = settings->wheelZoom;
    WindowHandle horizontal = PlatformControl(dialog, COLOR_CORRECT_SCROLL_H);
    WindowHandle vertical = PlatformControl(dialog, COLOR_CORRECT_SCROLL_V);
    PlatformSetScrollBar(horizontal, 510, settings->wheelCenterX + 255, 128 / zoom);
    PlatformSetScrollBar(vertical, 510, -settings->wheelCenterY + 255, 128 / zoom);
    PlatformShowWindow(horizontal, zoom > 1);
    PlatformShowWindow(vertical, zoom > 1);
}

static void ColorCorrectShowBrightness(WindowHandle dialog, double brightness)
{
    char text[64];
    FormatString(text, sizeof text,
                 brightness > 0.0 ? "Brightness Change: +%2f%%" : "Brightness Change: %2f%%",
                 brightness * 100.0);
    PlatformSetControlText(dialog, COLOR_CORRECT_BRIGHTNESS_TEXT, text);
}

// The four controls of a selected point show only while one is selected.
static void ColorCorrectShowSelection(WindowHandle dialog, const ColorCorrectSettings *settings)
{
    int selected = settings->selectedPoint;
    int shown = selected >= 0 && selected < settings->pointCount;
    for (int id : {COLOR_CORRECT_BRIGHTNESS_TEXT, COLOR_CORRECT_BRIGHTNESS,
                   COLOR_CORRECT_SHOW_REGION, COLOR_CORRECT_SAVE_AS_MASK})
        PlatformShowWindow(PlatformControl(dialog, id), shown);
    if (!shown) return;
    double brightness = settings->brightness[selected];
    SliderSetPosition(dialog, COLOR_CORRECT_BRIGHTNESS, Round(brightness * 512.0 + 512.0));
    ColorCorrectShowBrightness(dialog, brightness);
    PlatformSetControlValue(dialog, COLOR_CORRECT_SHOW_REGION, settings->showAffectedRegion);
    PlatformSetControlValue(dialog, COLOR_CORRECT_SAVE_AS_MASK, settings->saveAsMask);
}

// A complete change: the tables and the wheel follow, then the preview.
static void ColorCorrectFinish(WindowHandle dialog, ColorCorrectDialogState *state)
{
    ColorCorrectTablesUpdate(state);
    PlatformInvalidate(PlatformControl(dialog, COLOR_CORRECT_WHEEL), nullptr);
    RefreshPreview(state, &ColorCorrectDialog);
}

// Every control shows the settings again (after Reset or Load), and the wheel is redrawn.
static void ColorCorrectOptionsRefresh(WindowHandle dialog, void *params)
{
    ColorCorrectDialogState *state = (ColorCorrectDialogState *)params;
    ColorCorrectSettings *settings = &state->settings;
    // A file holds no amount: the control's stays.
    AmountGet(PlatformControl(dialog, COLOR_CORRECT_AMOUNT), &settings->amount);
    state->dragPoint = 0;
    ColorCorrectStale(state);
    WheelBuild(settings, &state->wheel, &state->coverage);
    ColorCorrectShowRadius(dialog, settings);
    SliderSetPosition(dialog, COLOR_CORRECT_RADIUS, Round(settings->radius * 1024.0));
    PlatformSetControlValue(dialog, COLOR_CORRECT_SHOW_MODIFIED, settings->showModifiedWheel);
    PlatformSetControlValue(dialog, COLOR_CORRECT_PRESERVE_BOTH, settings->nonlinear);
    PlatformSetControlValue(dialog, COLOR_CORRECT_PRESERVE_BLACK, !settings->nonlinear);
    PopupListSetChoice(dialog, COLOR_CORRECT_PROBE_SIZE, settings->probeSize);
    ColorCorrectShowSelection(dialog, settings);
    ColorCorrectShowBars(dialog, settings);
    ColorCorrectFinish(dialog, state);
}

// The right button: selects what it hits and offers what can be done there.
static void ColorCorrectMenu(WindowHandle wheel, ColorCorrectDialogState *state, int x, int y)
{
    static const MenuItem POINT_ITEMS[] = {
        {COLOR_CORRECT_RESET_COLOR, "Reset Color Change", 1},
        {COLOR_CORRECT_RESET_BRIGHTNESS, "Reset Brightness Change", 1},
        {COLOR_CORRECT_RESET_BOTH, "Reset Brightness and Color Change", 1},
        {COLOR_CORRECT_REMOVE_POINT, "Remove Control Point", 1},
        {0, nullptr, 0},
    };
    static const MenuItem EMPTY_ITEMS[] = {{COLOR_CORRECT_ADD_POINT, "Add New Control Point", 1},
                                           {0, nullptr, 0}};
    ColorCorrectSettings *settings = &state->settings;
    WindowHandle dialog = PlatformWindowParent(wheel);
    int end;
    int hit = WheelHit(settings, x, y, WHEEL_FRAME, WHEEL_FRAME, &end);
    settings->selectedPoint = hit;
    state->tables.regionPoint = -1;
    ColorCorrectShowSelection(dialog, settings);
    PlatformInvalidate(wheel, nullptr);
    int item = PlatformPopupMenu(wheel, hit >= 0 ? POINT_ITEMS : EMPTY_ITEMS, x, y);
    int changed = 1;
    switch (item) {
    case COLOR_CORRECT_RESET_COLOR:
        memcpy(settings->targetColor[hit], settings->sourceColor[hit], 3);
        break;
    case COLOR_CORRECT_RESET_BRIGHTNESS:
        changed = settings->brightness[hit] != 0.0;
        settings->brightness[hit] = 0.0;
        break;
    case COLOR_CORRECT_RESET_BOTH:
        memcpy(settings->targetColor[hit], settings->sourceColor[hit], 3);
        settings->brightness[hit] = 0.0;
        break;
    case COLOR_CORRECT_REMOVE_POINT: changed = ColorCorrectPointRemove(settings, hit); break;
    case COLOR_CORRECT_ADD_POINT: {
        int wheelX, wheelY;
        uint8_t rgb[3];
        WheelFromScreen(x, y, WHEEL_FRAME, WHEEL_FRAME, &wheelX, &wheelY);
        WheelToColor(settings, wheelX, wheelY, rgb);
        changed = ColorCorrectPointAdd(settings, rgb);
        break;
    }
    default: changed = 0; break;
    }
    if (item == COLOR_CORRECT_REMOVE_POINT || item == COLOR_CORRECT_ADD_POINT) {
        if (!changed) PlatformBeep();
        ColorCorrectShowSelection(dialog, settings);
    }
    if (!changed) return;
    ColorCorrectStale(state);
    ColorCorrectShowSelection(dialog, settings);
    ColorCorrectFinish(dialog, state);
}

static void ColorCorrectWheelDraw(DrawContext *context, const ColorCorrectDialogState *state)
{
    const ColorCorrectSettings *settings = &state->settings;
    Rect frame = {0, 0, WHEEL_CONTROL_SIZE, WHEEL_CONTROL_SIZE};
    PlatformFillRect(context, &frame, 0xC0C0C0);
    PlatformFrameRect(context, &frame, COLOR_CONTROL_SHADOW);
    const Image *shown = settings->showModifiedWheel && state->corrected.type == TYPE_COLOR24
                             ? &state->corrected
                             : &state->wheel;
    if (shown->type == TYPE_COLOR24) {
        Rect all = {0, 0, WHEEL_SIZE, WHEEL_SIZE};
        PlatformDrawImage(context, shown, &all, WHEEL_FRAME, WHEEL_FRAME);
    }
    for (int i = 0; i < settings->pointCount; i++) {
        WheelPointShape shape;
        WheelPointDrawing(settings, i, WHEEL_FRAME, WHEEL_FRAME, &shape);
        for (int s = 0; s < shape.strokeCount; s++)
            PlatformDrawXorLine(context, shape.strokes[s][0], shape.strokes[s][1],
                                shape.strokes[s][2], shape.strokes[s][3]);
        // The source end's circle, as an octagon of radius 3; the selected one is filled.
        static const int OCTAGON[9][2] = {{3, 0},   {2, 2},  {0, 3},  {-2, 2}, {-3, 0},
                                          {-2, -2}, {0, -3}, {2, -2}, {3, 0}};
        for (int k = 0; k < 8; k++)
            PlatformDrawXorLine(context, shape.sourceX + OCTAGON[k][0],
                                shape.sourceY + OCTAGON[k][1], shape.sourceX + OCTAGON[k + 1][0],
                                shape.sourceY + OCTAGON[k + 1][1]);
        if (shape.selected)
            for (int row = -1; row <= 1; row++)
                PlatformDrawXorLine(context, shape.sourceX - 1, shape.sourceY + row,
                                    shape.sourceX + 2, shape.sourceY + row);
    }
}

// The wheel control: draws, and turns each mouse event into one call on the model.
static MessageResult WheelProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                    intptr_t lParam)
{
    if (message == MSG_CREATE) return ControlRecordCreate(window, lParam, sizeof(WheelControl));
    WheelControl *record = (WheelControl *)ControlRecord(window, CUSTOM_COLOR_WHEEL);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    ColorCorrectDialogState *state = record->state;
    WindowHandle dialog = PlatformWindowParent(window);
    int event = -1;
    switch (message) {
    case MSG_DESTROY:
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: ColorCorrectWheelDraw((DrawContext *)wParam, state); return 0;
    case MSG_LBUTTON_DOWN:
        PlatformSetCapture(window);
        event = WHEEL_PRESS;
        break;
    case MSG_MOUSE_MOVE: {
        char text[64];
        WheelHueText(&state->settings, ParamLow(lParam), ParamHigh(lParam), WHEEL_FRAME,
                     WHEEL_FRAME, text, (int)sizeof text);
        PlatformSetControlText(dialog, COLOR_CORRECT_HUE_TEXT, text);
        event = WHEEL_MOVE;
        break;
    }
    case MSG_LBUTTON_UP:
        PlatformReleaseCapture();
        event = WHEEL_RELEASE;
        break;
    case MSG_RBUTTON_DOWN:
        ColorCorrectMenu(window, state, ParamLow(lParam), ParamHigh(lParam));
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
    int keys = ((wParam & KEYS_SHIFT) ? WHEEL_KEY_SHIFT : 0) |
               ((wParam & KEYS_CONTROL) ? WHEEL_KEY_CONTROL : 0);
    int bits = WheelMouse(&state->settings, &state->dragPoint, event, ParamLow(lParam),
                          ParamHigh(lParam), keys, WHEEL_FRAME, WHEEL_FRAME);
    if (bits & WHEEL_BEEP) PlatformBeep();
    if (bits & WHEEL_STALE) ColorCorrectStale(state);
    if (bits & WHEEL_SELECTION) {
        state->tables.regionPoint = -1;
        ColorCorrectShowSelection(dialog, &state->settings);
    }
    if (bits & WHEEL_REDRAW) PlatformInvalidate(window, nullptr);
    // The influence shown or saved is the selected point's: another selection previews anew.
    if ((bits & WHEEL_FINISHED) ||
        ((bits & WHEEL_SELECTION) &&
         (state->settings.showAffectedRegion || state->settings.saveAsMask)))
        ColorCorrectFinish(dialog, state);
    return 0;
}

// The dialog's own controls; the buttons are the shared handling's.
static void ColorCorrectCommand(WindowHandle dialog, void *params, uintptr_t wParam)
{
    ColorCorrectDialogState *state = (ColorCorrectDialogState *)params;
    ColorCorrectSettings *settings = &state->settings;
    if (SettingsOptionsCommand(dialog, wParam, &COLOR_CORRECT_OPTIONS, state)) return;
    if (TransformAmountCommand(dialog, COLOR_CORRECT_AMOUNT, &settings->amount, wParam, state,
                               &ColorCorrectDialog))
        return;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    int selected = settings->selectedPoint;
    int hasSelection = selected >= 0 && selected < settings->pointCount;
    switch (id) {
    case COLOR_CORRECT_RADIUS:
        // While the thumb moves only the label follows; its release rebuilds.
        settings->radius = SliderPosition(dialog, COLOR_CORRECT_RADIUS) / 1024.0;
        ColorCorrectShowRadius(dialog, settings);
        if (notification != NOTIFY_RELEASED) return;
        ColorCorrectStale(state);
        ColorCorrectFinish(dialog, state);
        return;
    case COLOR_CORRECT_BRIGHTNESS:
        if (!hasSelection) return;
        settings->brightness[selected] =
            (SliderPosition(dialog, COLOR_CORRECT_BRIGHTNESS) - 512) / 512.0;
        ColorCorrectShowBrightness(dialog, settings->brightness[selected]);
        if (notification != NOTIFY_RELEASED) return;
        ColorCorrectStale(state);
        ColorCorrectFinish(dialog, state);
        return;
    case COLOR_CORRECT_SHOW_MODIFIED:
        settings->showModifiedWheel = PlatformControlValue(dialog, id);
        ColorCorrectTablesUpdate(state);
        PlatformInvalidate(PlatformControl(dialog, COLOR_CORRECT_WHEEL), nullptr);
        return;
    case COLOR_CORRECT_SHOW_REGION:
    case COLOR_CORRECT_SAVE_AS_MASK:
        if (id == COLOR_CORRECT_SHOW_REGION)
            settings->showAffectedRegion = PlatformControlValue(dialog, id);
        else
            settings->saveAsMask = PlatformControlValue(dialog, id);
        ColorCorrectFinish(dialog, state);
        return;
    case COLOR_CORRECT_PRESERVE_BOTH:
    case COLOR_CORRECT_PRESERVE_BLACK:
        settings->nonlinear = id == COLOR_CORRECT_PRESERVE_BOTH;
        PlatformSetControlValue(dialog, COLOR_CORRECT_PRESERVE_BOTH, settings->nonlinear);
        PlatformSetControlValue(dialog, COLOR_CORRECT_PRESERVE_BLACK, !settings->nonlinear);
        ColorCorrectFinish(dialog, state); // the tables stay: the rule acts per pixel
        return;
    case COLOR_CORRECT_PROBE:
        // The dialog waits for a picture click while the probe is on.
        if (PlatformControlValue(dialog, id))
            ToolTarget = dialog;
        else if (ToolTarget == dialog)
            ToolTarget = nullptr;
        return;
    case COLOR_CORRECT_PROBE_SIZE:
        if (notification == NOTIFY_CHANGED)
            settings->probeSize = PopupListChoice(dialog, COLOR_CORRECT_PROBE_SIZE);
        return;
    case COLOR_CORRECT_ZOOM_IN:
    case COLOR_CORRECT_ZOOM_OUT:
        if (!WheelZoom(settings, id == COLOR_CORRECT_ZOOM_IN)) {
            PlatformBeep();
            return;
        }
        WheelBuild(settings, &state->wheel, &state->coverage);
        ColorCorrectTablesUpdate(state);
        PlatformInvalidate(PlatformControl(dialog, COLOR_CORRECT_WHEEL), nullptr);
        ColorCorrectShowBars(dialog, settings);
        return;
    default: return;
    }
}

static int ColorCorrectCheck(WindowHandle dialog, int id, const char *label, int type, int x, int y,
                             int width)
{
    Rect rect = {x, y, x + width, y + ButtonHeight};
    PlatformCreateControl(dialog, type, id, label, 0, &rect);
    return y + ButtonHeight;
}

// Below the chooser: the Options and zoom buttons, the wheel, the sliders and the choices.
static int ColorCorrectControls(WindowHandle dialog, void *params, int x, int y, int width)
{
    ColorCorrectDialogState *state = (ColorCorrectDialogState *)params;
    ColorCorrectSettings *settings = &state->settings;
    // The opening's settings: the defaults, then default.colorcorrect or previous.colorcorrect;
    // the amount is the one kept from the last opening.
    AmountSetting amount = settings->amount;
    SettingsOptionsOpen(&COLOR_CORRECT_OPTIONS, settings);
    settings->amount = amount;
    settings->tables = nullptr;
    if (ColorCorrectTablesAlloc(&state->tables) != ERROR_NONE) state->tables = {};
    ImageClear(&state->wheel);
    ImageClear(&state->coverage);
    ImageClear(&state->corrected);
    ColorCorrectStale(state);
    WheelBuild(settings, &state->wheel, &state->coverage);

    int buttonX = SettingsOptionsButtonCreate(dialog, x, y);
    Rect zoomIn = {buttonX, y, buttonX + 72, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_BUTTON, COLOR_CORRECT_ZOOM_IN, "Zoom In", 0, &zoomIn);
    Rect zoomOut = {zoomIn.right + Margin, y, zoomIn.right + Margin + 72, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_BUTTON, COLOR_CORRECT_ZOOM_OUT, "Zoom Out", 0, &zoomOut);
    y += ButtonHeight + Margin;
    // The probe: while "Probe" is on, a click on a picture adds the mean color of a square.
    Rect probe = {x, y, x + 72, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_CHECK_BOX, COLOR_CORRECT_PROBE, "Probe", 0, &probe);
    Rect sizes = {probe.right + Margin, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, COLOR_CORRECT_PROBE_SIZE, &sizes, "",
                    "1x1 Probe\0"
                    "3x3 Probe\0"
                    "5x5 Probe\0"
                    "7x7 Probe\0"
                    "9x9 Probe\0",
                    settings->probeSize);
    y += ButtonHeight + Margin;

    ControlKindRegister(CUSTOM_COLOR_WHEEL, WheelProcedure);
    WheelControl init = {state};
    Rect wheel = {x, y, x + WHEEL_CONTROL_SIZE, y + WHEEL_CONTROL_SIZE};
    ControlMake(dialog, COLOR_CORRECT_WHEEL, &wheel, CUSTOM_COLOR_WHEEL, &init);
    Rect vertical = {wheel.right + 1, y, wheel.right + 1 + COLOR_CORRECT_BAR, wheel.bottom};
    PlatformCreateControl(dialog, CONTROL_SCROLL_V, COLOR_CORRECT_SCROLL_V, "", 0, &vertical);
    y = wheel.bottom + 1;
    Rect horizontal = {x, y, wheel.right, y + COLOR_CORRECT_BAR};
    PlatformCreateControl(dialog, CONTROL_SCROLL_H, COLOR_CORRECT_SCROLL_H, "", 0, &horizontal);
    y += COLOR_CORRECT_BAR + 1;
    y = TransformDialogText(dialog, COLOR_CORRECT_HUE_TEXT, "", x, y, width);

    y = ColorCorrectCheck(dialog, COLOR_CORRECT_SHOW_MODIFIED, "Show Modified Color Wheel",
                          CONTROL_CHECK_BOX, x, y, width);
    y = TransformDialogText(dialog, COLOR_CORRECT_RADIUS_TEXT, "", x, y, width);
    Rect radius = {x, y, x + width, y + SliderHeight};
    SliderCreate(dialog, COLOR_CORRECT_RADIUS, &radius, Round(settings->radius * 1024.0));
    y += SliderHeight + Margin;
    y = TransformDialogText(dialog, COLOR_CORRECT_BRIGHTNESS_TEXT, "Brightness Change: 0.00%", x, y,
                            width);
    Rect brightness = {x, y, x + width, y + SliderHeight};
    SliderCreate(dialog, COLOR_CORRECT_BRIGHTNESS, &brightness, 512);
    y += SliderHeight + Margin;
    y = ColorCorrectCheck(dialog, COLOR_CORRECT_SHOW_REGION, "Show Affected Region",
                          CONTROL_CHECK_BOX, x, y, width);
    y = ColorCorrectCheck(dialog, COLOR_CORRECT_SAVE_AS_MASK, "Save As Mask", CONTROL_CHECK_BOX, x,
                          y, width);
    y = ColorCorrectCheck(dialog, COLOR_CORRECT_PRESERVE_BOTH, "Preserve Black and White",
                          CONTROL_RADIO, x, y, width);
    y = ColorCorrectCheck(dialog, COLOR_CORRECT_PRESERVE_BLACK, "Preserve Black", CONTROL_RADIO, x,
                          y, width) +
        Margin;
    y = TransformAmountCreate(dialog, COLOR_CORRECT_AMOUNT, &settings->amount, x, y, width);

    ColorCorrectShowRadius(dialog, settings);
    PlatformSetControlValue(dialog, COLOR_CORRECT_SHOW_MODIFIED, settings->showModifiedWheel);
    PlatformSetControlValue(dialog, COLOR_CORRECT_PRESERVE_BOTH, settings->nonlinear);
    PlatformSetControlValue(dialog, COLOR_CORRECT_PRESERVE_BLACK, !settings->nonlinear);
    ColorCorrectShowSelection(dialog, settings);
    ColorCorrectShowBars(dialog, settings);
    ColorCorrectTablesUpdate(state);
    return y;
}

// A picture clicked with the probe on: its color becomes a new point, selected, and the
// dialog comes forward.
static void ColorCorrectProbeClick(WindowHandle dialog, ColorCorrectDialogState *state,
                                   WindowHandle window, intptr_t point)
{
    const ImageWindow *record = WindowRecord(window);
    if (record == nullptr) return;
    const Image *picture = &record->picture.image;
    if (picture->type != TYPE_COLOR24 && picture->type != TYPE_COLOR48 &&
        picture->type != TYPE_GRAY8 && picture->type != TYPE_GRAY16)
        return;
    int x, y;
    uint8_t rgb[3];
    ClientToPicture(window, record, ParamLow(point), ParamHigh(point), &x, &y);
    ImageProbeColor(picture, x, y, state->settings.probeSize, rgb);
    if (!ColorCorrectPointAdd(&state->settings, rgb)) {
        PlatformBeep();
        return;
    }
    ColorCorrectStale(state);
    ColorCorrectShowSelection(dialog, &state->settings);
    ColorCorrectFinish(dialog, state);
    PlatformActivateWindow(dialog);
}

// The scroll bars of a zoomed wheel move its center.
static int ColorCorrectMessage(WindowHandle dialog, void *params, uint32_t message,
                               uintptr_t wParam, intptr_t lParam)
{
    ColorCorrectDialogState *state = (ColorCorrectDialogState *)params;
    ColorCorrectSettings *settings = &state->settings;
    if (message == MSG_CLICK) {
        ColorCorrectProbeClick(dialog, state, (WindowHandle)wParam, lParam);
        return 1;
    }
    if (message != MSG_HSCROLL && message != MSG_VSCROLL) return 0;
    int code;
    switch (wParam & 0xffff) {
    case SCROLL_LINE_UP: code = WHEEL_SCROLL_LINE_BACK; break;
    case SCROLL_LINE_DOWN: code = WHEEL_SCROLL_LINE_ON; break;
    case SCROLL_PAGE_UP: code = WHEEL_SCROLL_PAGE_BACK; break;
    case SCROLL_PAGE_DOWN: code = WHEEL_SCROLL_PAGE_ON; break;
    case SCROLL_THUMB_POSITION:
    case SCROLL_THUMB_TRACK: code = WHEEL_SCROLL_TO; break;
    case SCROLL_TOP: code = WHEEL_SCROLL_START; break;
    case SCROLL_BOTTOM: code = WHEEL_SCROLL_END; break;
    default: return 1;
    }
    int thumb = (int)((wParam >> 16) & 0xffff) - 255;
    if (!WheelScroll(settings, message == MSG_VSCROLL, code, thumb)) return 1;
    WheelBuild(settings, &state->wheel, &state->coverage);
    ColorCorrectTablesUpdate(state);
    PlatformInvalidate(PlatformControl(dialog, COLOR_CORRECT_WHEEL), nullptr);
    ColorCorrectShowBars(dialog, settings);
    return 1;
}

static void ColorCorrectInputTaken(WindowHandle dialog, void *params)
{
    (void)params;
    TransformAmountInputTaken(dialog, COLOR_CORRECT_AMOUNT);
}

// Closing: previous.colorcorrect keeps the settings, and what the opening owned goes.
static void ColorCorrectForget(void *params, void *saved)
{
    ColorCorrectDialogState *state = (ColorCorrectDialogState *)params;
    SettingsOptionsClose(&COLOR_CORRECT_OPTIONS, &state->settings);
    ColorCorrectTablesFree(&state->tables);
    ImageFree(&state->wheel);
    ImageFree(&state->coverage);
    ImageFree(&state->corrected);
    ((ColorCorrectSettings *)saved)->tables = nullptr;
}

const TransformDialogKind ColorCorrectDialog = {&ColorCorrectTransform,
                                                COLOR_CORRECT_INPUT,
                                                ColorCorrectInputTaken,
                                                COLOR_CORRECT_CONTENT_WIDTH,
                                                sizeof(ColorCorrectDialogState),
                                                ColorCorrectControls,
                                                ColorCorrectCommand,
                                                ColorCorrectForget,
                                                &ColorCorrectMemory,
                                                DIALOG_BUTTONS_PREVIEW,
                                                ColorCorrectMessage};
