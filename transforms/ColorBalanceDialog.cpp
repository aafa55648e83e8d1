// The Color Balance dialog: the Options button with its menu, the "Highlight:", "Shadow:",
// "Midtone:" and "Probe:" lists, the graph with its swatches, and the Amount.
//
// Every opening measures the input's white and black points and starts from them, then
// from default.cb when there is one; nothing is written when the dialog closes. The graph
// is a custom control that paints from the settings through the platform's drawing and
// hands its mouse to the model of transforms/ColorBalanceGraph.h.
#include <cstdio>
#include <cstring>

#include "core/Memory.h"
#include "core/SettingsText.h"
#include "core/Text.h"
#include "masks/AmountControl.h"
#include "transforms/ColorBalance.h"
#include "transforms/ColorBalanceGraph.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/SettingsOptions.h"
#include "ui/SettingsStore.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

// The window kind of a swatch's color control, a small window of three sliders.
constexpr int KIND_BALANCE_COLOR = 81;

// The graph tells the dialog of a grabbed point, and of a click on a swatch (+ its index).
enum : uint32_t {
    BALANCE_NOTIFY_GRABBED = 8,
    BALANCE_NOTIFY_SWATCH = 16,
};

// The dialog's state: its settings first, as the shared handling keeps them, and the color
// controls open beside it.
struct BalanceDialogState {
    ColorBalanceSettings settings;
    WindowHandle colors[BALANCE_SWATCH_COUNT]; // null where none is open
    WindowHandle dialog;
};

static const int BALANCE_PROBE_SIZES = 5;

// What outlives one opening: the Amount and where the dialog stood. The colors are measured
// afresh at each opening.
static ColorBalanceSettings BalanceSaved;
static TransformDialogMemory BalanceMemory = {&BalanceSaved, {}, 1};

static const char *const BALANCE_FILTERS = "Color Balance Files\0*.cb\0";

// ---------------------------------------------------------------------------------------
// The graph control.

struct BalanceGraphControl {
    int32_t id;
    ColorBalanceSettings *settings; // the dialog's; lives as long as the dialog
    ColorBalanceGraph graph;
    int32_t hovered; // the swatch under the mouse, BALANCE_SWATCH_NONE for none
};

static const int BALANCE_TIP_DELAY = 1000; // milliseconds on a swatch before its tip shows
static const char *const BALANCE_TIPS[BALANCE_SWATCH_COUNT] = {
    "Click to set highlight color to remove", "Click to set highlight color to add",
    "Click to set shadow color to remove",    "Click to set shadow color to add",
    "Click to set midtone color to remove",   "Click to set midtone color to add"};

// The tip waits for the mouse to rest on a swatch; moving off it or a click takes it away.
static void BalanceTipHover(WindowHandle window, BalanceGraphControl *record, int swatch)
{
    if (swatch == record->hovered) return;
    record->hovered = swatch;
    PlatformKillTimer(window, COLOR_BALANCE_TIP);
    PlatformSetControlTip(PlatformWindowParent(window), record->id, nullptr);
    if (swatch != BALANCE_SWATCH_NONE)
        PlatformSetTimer(window, COLOR_BALANCE_TIP, BALANCE_TIP_DELAY);
}

static const uint32_t GRAPH_BACKGROUND = 0xA0A0A0;
static const uint32_t GRAPH_GRID = 0x8C8C8C;
static const uint32_t GRAPH_CHANNELS[3] = {0xE00000, 0x00A000, 0x0000E0}; // red, green, blue

static void BalanceGraphDraw(DrawContext *context, const ColorBalanceSettings *settings)
{
    Rect plot;
    ColorBalanceGraphPlot(&plot);
    Rect frame = {plot.left - 1, plot.top - 1, plot.right + 1, plot.bottom + 1};
    PlatformFillRect(context, &plot, GRAPH_BACKGROUND);
    for (int i = 0; i <= BALANCE_GRAPH_SIDE / BALANCE_GRAPH_GRID; i++) {
        int at = i * BALANCE_GRAPH_GRID;
        PlatformDrawLine(context, plot.left + at, plot.top, plot.left + at, plot.bottom,
                         GRAPH_GRID);
        PlatformDrawLine(context, plot.left, plot.top + at, plot.right, plot.top + at, GRAPH_GRID);
    }
    PlatformDrawLine(context, plot.left, plot.top, plot.right, plot.bottom, GRAPH_GRID);
    PlatformDrawLine(context, plot.left, plot.bottom, plot.right, plot.top, GRAPH_GRID);

    // Each table as a polyline, level v at x = v / 2, and its break points as squares.
    for (int c = 0; c < 3; c++) {
        uint8_t table[256];
        ColorBalanceTable8(settings, c, table);
        for (int v = 2; v < 256; v += 2)
            PlatformDrawLine(context, plot.left + (v - 2) / 2, plot.top + (255 - table[v - 2]) / 2,
                             plot.left + v / 2, plot.top + (255 - table[v]) / 2, GRAPH_CHANNELS[c]);
        for (int pair = 0; pair < 3; pair++) {
            int point = pair * 3 + c;
            if (point >= BALANCE_POINT_MIDTONE && !settings->midtoneEnabled) break;
            int x, y;
            ColorBalancePointAt(settings, point, &x, &y);
            Rect square = {plot.left + x - BALANCE_GRAPH_POINT_SIDE / 2,
                           plot.top + y - BALANCE_GRAPH_POINT_SIDE / 2,
                           plot.left + x + BALANCE_GRAPH_POINT_SIDE / 2 + 1,
                           plot.top + y + BALANCE_GRAPH_POINT_SIDE / 2 + 1};
            PlatformFillRect(context, &square, GRAPH_CHANNELS[c]);
        }
    }
    PlatformFrameRect(context, &frame, COLOR_CONTROL_DARK);

    // Each heading centred over its column.
    static const char *const HEADINGS[2] = {"Remove", "Add"};
    for (int column = 0; column < 2; column++) {
        int width = PlatformTextWidth(HEADINGS[column], (int)strlen(HEADINGS[column]));
        PlatformDrawText(context,
                         ColorBalanceColumnLeft(column) + (BALANCE_SWATCH_COLUMN - width) / 2, 0,
                         HEADINGS[column], COLOR_CONTROL_TEXT, 0);
    }
    for (int swatch = 0; swatch < BALANCE_SWATCH_COUNT; swatch++) {
        Rect rect;
        ColorBalanceSwatchRect(swatch, &rect);
        PlatformFillRect(context, &rect, ColorBalanceSwatchColor(settings, swatch));
        PlatformFrameRect(context, &rect, COLOR_CONTROL_DARK);
    }
}

static void BalanceGraphNotify(WindowHandle window, const BalanceGraphControl *record,
                               uint32_t notification)
{
    WindowHandle parent = PlatformWindowParent(window);
    if (parent != nullptr)
        PlatformSendMessage(parent, MSG_COMMAND, (uintptr_t)record->id | notification << 16,
                            (intptr_t)window);
}

static MessageResult BalanceGraphProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                           intptr_t lParam)
{
    if (message == MSG_CREATE)
        return ControlRecordCreate(window, lParam, sizeof(BalanceGraphControl));
    BalanceGraphControl *record =
        (BalanceGraphControl *)ControlRecord(window, CUSTOM_COLOR_BALANCE_GRAPH);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    Rect plot;
    ColorBalanceGraphPlot(&plot);
    int x = ParamLow(lParam) - plot.left;
    int y = ParamHigh(lParam) - plot.top;
    int done = 0;
    switch (message) {
    case MSG_DESTROY:
        PlatformKillTimer(window, COLOR_BALANCE_TIP);
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: BalanceGraphDraw((DrawContext *)wParam, record->settings); return 0;
    case MSG_TIMER:
        if (wParam != COLOR_BALANCE_TIP) return 0;
        PlatformKillTimer(window, COLOR_BALANCE_TIP);
        if (record->hovered != BALANCE_SWATCH_NONE)
            PlatformSetControlTip(PlatformWindowParent(window), record->id,
                                  BALANCE_TIPS[record->hovered]);
        return 0;
    case MSG_LBUTTON_DOWN: {
        BalanceTipHover(window, record, BALANCE_SWATCH_NONE);
        done = ColorBalanceGraphMouse(&record->graph, record->settings, BALANCE_MOUSE_PRESS, x, y);
        if (done & BALANCE_GRAPH_GRABBED) {
            PlatformSetCapture(window);
            BalanceGraphNotify(window, record, BALANCE_NOTIFY_GRABBED);
            break;
        }
        int swatch = ColorBalanceSwatchAt(ParamLow(lParam), ParamHigh(lParam));
        if (swatch != BALANCE_SWATCH_NONE)
            BalanceGraphNotify(window, record, BALANCE_NOTIFY_SWATCH + (uint32_t)swatch);
        return 0;
    }
    case MSG_MOUSE_MOVE:
        done = ColorBalanceGraphMouse(&record->graph, record->settings, BALANCE_MOUSE_MOVE, x, y);
        if (record->graph.dragged == BALANCE_POINT_NONE)
            BalanceTipHover(window, record,
                            ColorBalanceSwatchAt(ParamLow(lParam), ParamHigh(lParam)));
        break;
    case MSG_LBUTTON_UP:
        done =
            ColorBalanceGraphMouse(&record->graph, record->settings, BALANCE_MOUSE_RELEASE, x, y);
        if (done & BALANCE_GRAPH_RELEASED) PlatformReleaseCapture();
        break;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
    // The lists follow every move; the preview waits for the release.
    if (done & BALANCE_GRAPH_CHANGED) {
        PlatformInvalidate(window, nullptr);
        BalanceGraphNotify(window, record, NOTIFY_MOVED);
    }
    if ((done & BALANCE_GRAPH_RELEASED) && PlatformWindowExists(window))
        BalanceGraphNotify(window, record, NOTIFY_RELEASED);
    return 0;
}

// ---------------------------------------------------------------------------------------
// The color controls: one small window a swatch, three sliders of red, green and blue whose
// every move is an edit of that swatch's color.

enum : int32_t {
    BALANCE_COLOR_SLIDER = 201, // + channel
    BALANCE_COLOR_TEXT = 211,   // + channel: "Red: %d" ...
};

static const char *const BALANCE_COLOR_TITLES[BALANCE_SWATCH_COUNT] = {
    "Remove Highlight Cast", "Add Highlight Cast",  "Remove Shadow Cast",
    "Add Shadow Cast",       "Remove Midtone Cast", "Add Midtone Cast"};
static const char *const BALANCE_CHANNEL_NAMES[3] = {"Red", "Green", "Blue"};
static const int BALANCE_COLOR_WIDTH = 200; // pixels of a color control's sliders

struct BalanceColorControl {
    int32_t swatch;      // BALANCE_SWATCH_*
    WindowHandle dialog; // the Color Balance dialog it edits
};

static void BalanceColorChanged(WindowHandle dialog, int swatch, const uint8_t *color);

// A slider's position and the level it stands for.
static int BalanceLevelOf(int position)
{
    return (position * 255 + SLIDER_POSITIONS / 2) / SLIDER_POSITIONS;
}

static int BalancePositionOf(int level)
{
    return (level * SLIDER_POSITIONS + 127) / 255;
}

// Shows color in a control's sliders and texts, without telling anyone.
static void BalanceColorShow(WindowHandle window, const uint8_t *color)
{
    for (int c = 0; c < 3; c++) {
        char text[32];
        snprintf(text, sizeof text, "%s: %d", BALANCE_CHANNEL_NAMES[c], color[c]);
        PlatformSetControlText(window, BALANCE_COLOR_TEXT + c, text);
        if (BalanceLevelOf(SliderPosition(window, BALANCE_COLOR_SLIDER + c)) != color[c])
            SliderSetPosition(window, BALANCE_COLOR_SLIDER + c, BalancePositionOf(color[c]));
    }
}

static MessageResult BalanceColorProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                           intptr_t lParam)
{
    BalanceColorControl *record =
        (BalanceColorControl *)PlatformGetWindowWord(window, WORD_POINTER);
    switch (message) {
    case MSG_COMMAND: {
        int id = (int)(wParam & 0xffff);
        if (record == nullptr || id < BALANCE_COLOR_SLIDER || id >= BALANCE_COLOR_SLIDER + 3)
            return 0;
        uint8_t color[3];
        for (int c = 0; c < 3; c++)
            color[c] = (uint8_t)BalanceLevelOf(SliderPosition(window, BALANCE_COLOR_SLIDER + c));
        BalanceColorChanged(record->dialog, record->swatch, color);
        return 0;
    }
    case MSG_DESTROY:
        if (record != nullptr) {
            BalanceDialogState *state =
                PlatformWindowExists(record->dialog)
                    ? (BalanceDialogState *)PlatformGetWindowWord(record->dialog, WORD_POINTER)
                    : nullptr;
            if (state != nullptr && state->colors[record->swatch] == window)
                state->colors[record->swatch] = nullptr;
            MemoryFree(record);
            PlatformSetWindowWord(window, WORD_POINTER, 0);
        }
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// Opens the color control of swatch, or brings the open one forward.
static void BalanceColorOpen(WindowHandle dialog, BalanceDialogState *state, int swatch)
{
    if (state->colors[swatch] != nullptr) {
        PlatformActivateWindow(state->colors[swatch]);
        return;
    }
    BalanceColorControl *record = (BalanceColorControl *)MemoryAlloc(sizeof *record);
    if (record == nullptr) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    record->swatch = swatch;
    record->dialog = dialog;
    ChildKindRegister(KIND_BALANCE_COLOR, BalanceColorProcedure);
    // Beside the dialog, a little lower for each pair, so that the controls stay clear of
    // the graph and of one another.
    int height = Margin + 3 * (LineHeight + SliderHeight + Margin);
    Rect beside;
    PlatformGetWindowRect(dialog, &beside);
    int left = beside.right + Margin + (swatch % 2) * 2 * Margin;
    int top = beside.top + (swatch / 2) * 3 * Margin;
    WindowCreate request = {CLASS_CHILD,
                            KIND_BALANCE_COLOR,
                            -1,
                            BALANCE_COLOR_TITLES[swatch],
                            STYLE_CAPTION | STYLE_DIALOG | STYLE_HIDDEN,
                            left,
                            top,
                            BALANCE_COLOR_WIDTH + 2 * Margin,
                            height,
                            nullptr,
                            0,
                            0};
    WindowHandle window = PlatformCreateWindow(&request);
    if (window == nullptr) {
        MemoryFree(record);
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    PlatformSetWindowWord(window, WORD_POINTER, (intptr_t)record);
    state->colors[swatch] = window;
    uint8_t color[3];
    ColorBalanceSwatchGet(&state->settings, swatch, color);
    int y = Margin;
    for (int c = 0; c < 3; c++) {
        y = TransformDialogText(window, BALANCE_COLOR_TEXT + c, "", Margin, y, BALANCE_COLOR_WIDTH);
        Rect slider = {Margin, y, Margin + BALANCE_COLOR_WIDTH, y + SliderHeight};
        SliderCreate(window, BALANCE_COLOR_SLIDER + c, &slider, BalancePositionOf(color[c]));
        y += SliderHeight + Margin;
    }
    BalanceColorShow(window, color);
    Rect place = {left, top, left, top};
    TransformDialogShow(window, BALANCE_COLOR_WIDTH + 2 * Margin, y, &place);
}

// Every open control shows its swatch's color as the settings now hold it.
static void BalanceColorsShow(BalanceDialogState *state)
{
    for (int swatch = 0; swatch < BALANCE_SWATCH_COUNT; swatch++) {
        if (state->colors[swatch] == nullptr) continue;
        uint8_t color[3];
        ColorBalanceSwatchGet(&state->settings, swatch, color);
        BalanceColorShow(state->colors[swatch], color);
    }
}

// Hides the open controls while a point is dragged, and shows them again after.
static void BalanceColorsVisible(BalanceDialogState *state, int shown)
{
    for (int swatch = 0; swatch < BALANCE_SWATCH_COUNT; swatch++)
        if (state->colors[swatch] != nullptr)
            PlatformShowWindow(state->colors[swatch], shown ? SHOW_NORMAL : SHOW_HIDE);
}

static void BalanceColorsClose(BalanceDialogState *state)
{
    for (int swatch = 0; swatch < BALANCE_SWATCH_COUNT; swatch++)
        if (state->colors[swatch] != nullptr) PlatformDestroyWindow(state->colors[swatch]);
}

// ---------------------------------------------------------------------------------------
// The dialog.

// With a probe target, a click on any picture comes to the dialog (MSG_CLICK) instead of
// going to the picture's tool.
static void BalanceProbeWait(BalanceDialogState *state)
{
    if (state->settings.probeTarget != PROBE_NONE)
        ToolTarget = state->dialog;
    else if (ToolTarget == state->dialog)
        ToolTarget = nullptr;
}

static void BalanceShow(WindowHandle dialog, ColorBalanceSettings *settings);

// A click on a picture while a probe is armed: the color under it becomes the target's
// remove color, its gray the add color. Clicks on other than color pictures do nothing.
static int BalanceMessage(WindowHandle dialog, void *state, uint32_t message, uintptr_t wParam,
                          intptr_t lParam)
{
    if (message != MSG_CLICK) return 0;
    ColorBalanceSettings *settings = (ColorBalanceSettings *)state;
    WindowHandle window = (WindowHandle)wParam;
    const ImageWindow *record = WindowRecord(window);
    if (settings->probeTarget == PROBE_NONE || record == nullptr) return 1;
    const Image *image = &record->picture.image;
    if (image->type != TYPE_COLOR24 && image->type != TYPE_COLOR48) return 1;
    int x, y;
    ClientToPicture(window, record, ParamLow(lParam), ParamHigh(lParam), &x, &y);
    uint8_t color[3];
    ImageProbeColor(image, x, y, settings->probeSize, color);
    ColorBalanceProbe(settings, color);
    BalanceShow(dialog, settings);
    RefreshPreview(settings, &ColorBalanceDialog);
    return 1;
}

// The lists show the modes; the graph redraws.
static void BalanceShow(WindowHandle dialog, ColorBalanceSettings *settings)
{
    PopupListSetChoice(dialog, COLOR_BALANCE_HIGHLIGHT, settings->highlightMode);
    PopupListSetChoice(dialog, COLOR_BALANCE_SHADOW, settings->shadowMode);
    PopupListSetChoice(dialog, COLOR_BALANCE_MIDTONE, settings->midtoneMode);
    PopupListSetChoice(dialog, COLOR_BALANCE_PROBE, settings->probeTarget);
    WindowHandle graph = PlatformControl(dialog, COLOR_BALANCE_GRAPH);
    if (graph != nullptr) PlatformInvalidate(graph, nullptr);
    BalanceColorsShow((BalanceDialogState *)settings);
    BalanceProbeWait((BalanceDialogState *)settings);
}

// The white and black points of the input, into settings; failures are shown.
static void BalanceMeasure(ColorBalanceSettings *settings)
{
    const ImageWindow *input = ShownPicture(InputWindow);
    if (input == nullptr) input = WindowRecord(InputWindow);
    if (input == nullptr) return;
    ShowError(ColorBalanceFindPoints(&input->picture.image, settings, BALANCE_POINT_FRACTION,
                                     BALANCE_POINT_FRACTION));
}

// "&Reset": the measured points, no midtone, no probe, and no mask.
static void BalanceReset(WindowHandle dialog, ColorBalanceSettings *settings)
{
    BalanceColorsClose((BalanceDialogState *)settings);
    ColorBalanceReset(settings);
    WindowHandle amount = PlatformControl(dialog, COLOR_BALANCE_AMOUNT);
    if (amount != nullptr) {
        AmountSelect(amount, nullptr);
        AmountGet(amount, &settings->amount);
    }
}

// "&Load ...": a file that does not open changes nothing; a bad one is reported and the
// dialog resets, since its half-read values make no settings anyone chose.
static void BalanceLoad(WindowHandle dialog, ColorBalanceSettings *settings)
{
    char path[PATH_LENGTH];
    if (!SettingsLoadPathAsk("Load Color Balance", BALANCE_FILTERS, FOLDER_COLOR_BALANCE, path,
                             nullptr))
        return;
    ColorBalanceSettings read = *settings;
    ErrorCode result = SettingsFileLoad(path, ColorBalanceFileRead, &read);
    if (result == ERROR_NONE) {
        *settings = read;
    } else if (result != ERROR_OPEN_FILE) {
        result = ERROR_ILLEGAL_COLOR_BALANCE_FILE;
        BalanceReset(dialog, settings);
    }
    ShowError(result);
    if (result != ERROR_OPEN_FILE) {
        BalanceShow(dialog, settings);
        RefreshPreview(settings, &ColorBalanceDialog);
    }
}

// "&Save As ...": a cancelled dialog is answered with ERROR_CREATE_FILE, as this dialog has
// always done.
static void BalanceSave(const ColorBalanceSettings *settings)
{
    char path[PATH_LENGTH];
    if (!SettingsSavePathAsk("Save Color Balance", BALANCE_FILTERS, "", SETTINGS_KIND_COLOR_BALANCE,
                             FOLDER_COLOR_BALANCE, path)) {
        ShowError(ERROR_CREATE_FILE);
        return;
    }
    ShowFileError(SettingsFileSave(path, ColorBalanceFileWrite, settings), path);
}

static void BalanceOptions(WindowHandle dialog, ColorBalanceSettings *settings)
{
    static const char *const PROBE_LABELS[BALANCE_PROBE_SIZES] = {
        "1x1 Color Probe", "3x3 Color Probe", "5x5 Color Probe", "7x7 Color Probe",
        "9x9 Color Probe"};
    MenuItem items[16] = {
        {SETTINGS_OPTIONS_RESET, "&Reset", 1},
        {BALANCE_MENU_FULL_RANGE, "&Full Range", 1},
        {0, "", 1},
        {SETTINGS_OPTIONS_LOAD, "&Load ...", 1},
        {SETTINGS_OPTIONS_SAVE, "&Save As ...", 1},
        {0, "", 1},
    };
    int count = 6;
    for (int i = 0; i < BALANCE_PROBE_SIZES; i++)
        items[count++] = {BALANCE_MENU_PROBE + i, PROBE_LABELS[i], 1, settings->probeSize == i};
    items[count] = {0, nullptr, 0};
    int item = SettingsOptionsPopup(dialog, items);
    switch (item) {
    case SETTINGS_OPTIONS_RESET: BalanceReset(dialog, settings); break;
    case BALANCE_MENU_FULL_RANGE:
        BalanceColorsClose((BalanceDialogState *)settings);
        ColorBalanceFullRange(settings);
        break;
    case SETTINGS_OPTIONS_LOAD: BalanceLoad(dialog, settings); return;
    case SETTINGS_OPTIONS_SAVE: BalanceSave(settings); return;
    default:
        if (item >= BALANCE_MENU_PROBE && item < BALANCE_MENU_PROBE + BALANCE_PROBE_SIZES)
            settings->probeSize = item - BALANCE_MENU_PROBE;
        return;
    }
    BalanceShow(dialog, settings);
    RefreshPreview(settings, &ColorBalanceDialog);
}

static void BalanceCommand(WindowHandle dialog, void *state, uintptr_t wParam)
{
    ColorBalanceSettings *settings = (ColorBalanceSettings *)state;
    if (TransformAmountCommand(dialog, COLOR_BALANCE_AMOUNT, &settings->amount, wParam, state,
                               &ColorBalanceDialog))
        return;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    if (id == SETTINGS_OPTIONS_BUTTON) {
        if (notification == NOTIFY_CLICKED) BalanceOptions(dialog, settings);
        return;
    }
    if (id == COLOR_BALANCE_GRAPH) {
        BalanceDialogState *dialogState = (BalanceDialogState *)state;
        if (notification == BALANCE_NOTIFY_GRABBED) BalanceColorsVisible(dialogState, 0);
        if (notification == NOTIFY_MOVED) BalanceShow(dialog, settings);
        if (notification == NOTIFY_RELEASED) {
            BalanceColorsVisible(dialogState, 1);
            RefreshPreview(settings, &ColorBalanceDialog);
        }
        if (notification >= BALANCE_NOTIFY_SWATCH &&
            notification < BALANCE_NOTIFY_SWATCH + (uint32_t)BALANCE_SWATCH_COUNT)
            BalanceColorOpen(dialog, dialogState, (int)(notification - BALANCE_NOTIFY_SWATCH));
        return;
    }
    if (notification != NOTIFY_CHANGED) return;
    int choice = PopupListChoice(dialog, id);
    int changed = 0;
    switch (id) {
    case COLOR_BALANCE_HIGHLIGHT:
        changed = ColorBalanceSetHighlightMode(settings, choice);
        if (!changed) settings->highlightMode = BALANCE_CUSTOM; // the colors stay
        break;
    case COLOR_BALANCE_SHADOW:
        changed = ColorBalanceSetShadowMode(settings, choice);
        if (!changed) settings->shadowMode = BALANCE_CUSTOM;
        break;
    case COLOR_BALANCE_MIDTONE: changed = ColorBalanceSetMidtoneMode(settings, choice); break;
    case COLOR_BALANCE_PROBE:
        settings->probeTarget = choice;
        BalanceProbeWait((BalanceDialogState *)state);
        return;
    default: return;
    }
    if (!changed) return;
    BalanceShow(dialog, settings);
    RefreshPreview(settings, &ColorBalanceDialog);
}

// A list with its label across the content's width; returns the y below it.
static int BalanceList(WindowHandle dialog, int id, const char *label, const char *items,
                       int choice, int x, int y, int width)
{
    Rect rect = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, id, &rect, label, items, choice);
    return y + ButtonHeight + Margin;
}

static int BalanceControls(WindowHandle dialog, void *state, int x, int y, int width)
{
    ColorBalanceSettings *settings = (ColorBalanceSettings *)state;
    // Each opening starts from the input's own points; only the Amount is kept.
    AmountSetting amount = settings->amount;
    ColorBalanceSettingsDefault(settings);
    settings->amount = amount;
    BalanceMeasure(settings);
    ColorBalanceReset(settings);
    settings->probeTarget = PROBE_HIGHLIGHT;
    SettingsLoadOnOpen(".cb", ColorBalanceFileRead, settings);
    ((BalanceDialogState *)state)->dialog = dialog;
    BalanceProbeWait((BalanceDialogState *)state);

    SettingsOptionsButtonCreate(dialog, x, y);
    y += ButtonHeight + Margin;
    y = BalanceList(dialog, COLOR_BALANCE_HIGHLIGHT, "Highlight:", "none\0auto\0custom\0",
                    settings->highlightMode, x, y, width);
    y = BalanceList(dialog, COLOR_BALANCE_SHADOW, "Shadow:", "none\0auto\0custom\0",
                    settings->shadowMode, x, y, width);
    y = BalanceList(dialog, COLOR_BALANCE_MIDTONE, "Midtone:", "none\0custom\0",
                    settings->midtoneMode, x, y, width);
    y = BalanceList(dialog, COLOR_BALANCE_PROBE, "Probe:", "none\0highlight\0shadow\0midtone\0",
                    settings->probeTarget, x, y, width);

    ControlKindRegister(CUSTOM_COLOR_BALANCE_GRAPH, BalanceGraphProcedure);
    BalanceGraphControl init = {};
    init.id = COLOR_BALANCE_GRAPH;
    init.settings = settings;
    init.graph.dragged = BALANCE_POINT_NONE;
    init.hovered = BALANCE_SWATCH_NONE;
    Rect graph = {x, y, x + ColorBalanceGraphWidth(), y + ColorBalanceGraphHeight()};
    ControlMake(dialog, COLOR_BALANCE_GRAPH, &graph, CUSTOM_COLOR_BALANCE_GRAPH, &init);
    y = graph.bottom + Margin;
    return TransformAmountCreate(dialog, COLOR_BALANCE_AMOUNT, &settings->amount, x, y, width);
}

// Another input, or the input's picture changed: its points are measured again, and the
// ends in auto follow them.
static void BalanceInputTaken(WindowHandle dialog, void *state)
{
    ColorBalanceSettings *settings = (ColorBalanceSettings *)state;
    BalanceMeasure(settings);
    if (settings->highlightMode == BALANCE_AUTO)
        ColorBalanceSetHighlightMode(settings, BALANCE_AUTO);
    if (settings->shadowMode == BALANCE_AUTO) ColorBalanceSetShadowMode(settings, BALANCE_AUTO);
    TransformAmountInputTaken(dialog, COLOR_BALANCE_AMOUNT);
    BalanceShow(dialog, settings);
}

// An edit from a color control; an unchanged color changes nothing.
static void BalanceColorChanged(WindowHandle dialog, int swatch, const uint8_t *color)
{
    if (!PlatformWindowExists(dialog)) return;
    BalanceDialogState *state = (BalanceDialogState *)PlatformGetWindowWord(dialog, WORD_POINTER);
    if (state == nullptr || !ColorBalanceSwatchSet(&state->settings, swatch, color)) return;
    BalanceShow(dialog, &state->settings);
    RefreshPreview(&state->settings, &ColorBalanceDialog);
}

// The dialog goes: so do its color controls.
static void BalanceForget(void *state, void *saved)
{
    (void)saved;
    BalanceDialogState *dialogState = (BalanceDialogState *)state;
    BalanceColorsClose(dialogState);
}

const TransformDialogKind ColorBalanceDialog = {&ColorBalanceTransform,
                                                COLOR_BALANCE_INPUT,
                                                BalanceInputTaken,
                                                0,
                                                sizeof(BalanceDialogState),
                                                BalanceControls,
                                                BalanceCommand,
                                                BalanceForget,
                                                &BalanceMemory,
                                                DIALOG_BUTTONS_PREVIEW,
                                                BalanceMessage};
