// The Advanced Sharpen dialog: the Options button and the view and probe buttons, three
// folders "Noise Reduction", "Speck Removal" and "Sharpen" over each stage's own controls,
// the histogram of the current stage's statistic with its threshold handles, and the Amount.
//
// Every control of every folder is made once; a folder shows its own and hides the others.
// Moving to a later folder first runs the stages before it over the whole picture, since a
// stage starts from the whole result of the one before; a preview then computes only the
// current stage, and only when a setting of it changed or the preview shows another part.
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "core/Memory.h"
#include "core/SettingsText.h"
#include "core/Text.h"
#include "masks/AmountControl.h"
#include "transforms/AdvancedSharpen.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/SettingsOptions.h"
#include "ui/SettingsStore.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int SHARPEN_CONTENT_WIDTH = 400; // room for the row of views and the probe
static const int SHARPEN_TAB_HEIGHT = 22;     // pixels of the folders' row
static const char *const SHARPEN_FILTERS = "Advanced Sharpen Files\0*.as\0";
static const char *const SHARPEN_TAB_LABELS[SHARPEN_STAGE_COUNT] = {"Noise Reduction",
                                                                    "Speck Removal", "Sharpen"};
static const char *const SHARPEN_VIEW_LABELS[3] = {"Before", "After", "Difference"};
static const uint32_t HISTOGRAM_BACKGROUND = 0x808080; // gray 128
static const uint32_t HISTOGRAM_GRID = 0x969696;       // gray 150
static const uint32_t HISTOGRAM_BAR = 0x000000;
static const uint32_t HISTOGRAM_PROBE = 0xFF0000;
static const uint32_t FOLDER_FACE = 0xF0F0F0;
static const uint32_t FOLDER_BEHIND = 0xC8C8C8;

// The controls of each folder, shown only while it is the current one.
static const int NOISE_IDS[] = {SHARPEN_BLUR_RADIUS, SHARPEN_BLUR_RADIUS + 1,
                                SHARPEN_BLUR_AMOUNT, SHARPEN_BLUR_AMOUNT + 1,
                                SHARPEN_BLUR_ALL,    SHARPEN_BLUR_ALL + 1};
static const int SPECK_IDS[] = {SHARPEN_SPECK_SIZE,       SHARPEN_SPECK_SIZE + POPUP_LABEL_ID,
                                SHARPEN_REMOVE_LIGHT,     SHARPEN_REMOVE_DARK,
                                SHARPEN_SPECK_DIFFERENCE, SHARPEN_SPECK_DIFFERENCE + 1};
static const int SHARPEN_IDS[] = {SHARPEN_SHARPEN_RADIUS, SHARPEN_SHARPEN_RADIUS + 1,
                                  SHARPEN_SHARPEN_AMOUNT, SHARPEN_SHARPEN_AMOUNT + 1,
                                  SHARPEN_SHARPEN_ALL,    SHARPEN_SHARPEN_ALL + 1};

struct SharpenDialogState {
    AdvancedSharpenParams params; // first, as the shared handling keeps it
    WindowHandle dialog;
    int32_t probeArmed; // 1 while a click on a picture probes
};

static AdvancedSharpenParams SharpenSaved;
static TransformDialogMemory SharpenMemory = {&SharpenSaved, {}, 1};

// ---------------------------------------------------------------------------------------
// The sliders' positions and values.

static int SpeckDifferenceOf(int position)
{
    return Round(position * 255.0 / SLIDER_POSITIONS);
}

static double RadiusOf(int position)
{
    return position / (double)SLIDER_POSITIONS * 7.0;
}

static int PositionOfRadius(double radius)
{
    return Round(radius * SLIDER_POSITIONS / 7.0);
}

static void SharpenLabels(WindowHandle dialog, const AdvancedSharpenParams *p)
{
    char text[80];
    snprintf(text, sizeof text, "Speck Difference Threshold: %.1f%%",
             p->speckDiffThreshold * 100.0 / 255.0);
    PlatformSetControlText(dialog, SHARPEN_SPECK_DIFFERENCE + 1, text);
    snprintf(text, sizeof text, "Blur Radius: %.2f", p->blurRadius);
    PlatformSetControlText(dialog, SHARPEN_BLUR_RADIUS + 1, text);
    snprintf(text, sizeof text, "Blur Amount: %.1f%%", p->blurAmount * 100.0);
    PlatformSetControlText(dialog, SHARPEN_BLUR_AMOUNT + 1, text);
    snprintf(text, sizeof text, "Sharpen Radius: %.2f", p->sharpenRadius);
    PlatformSetControlText(dialog, SHARPEN_SHARPEN_RADIUS + 1, text);
    snprintf(text, sizeof text, "Sharpen Amount: %.1f%%", p->sharpenAmount * 100.0);
    PlatformSetControlText(dialog, SHARPEN_SHARPEN_AMOUNT + 1, text);
}

// Reads a moved slider into the settings; returns 1 when id was one of them.
static int SharpenSliderTake(WindowHandle dialog, AdvancedSharpenParams *p, int id)
{
    int position = SliderPosition(dialog, id);
    switch (id) {
    case SHARPEN_SPECK_DIFFERENCE: p->speckDiffThreshold = SpeckDifferenceOf(position); break;
    case SHARPEN_BLUR_RADIUS: p->blurRadius = RadiusOf(position); break;
    case SHARPEN_BLUR_AMOUNT: p->blurAmount = position / (double)SLIDER_POSITIONS; break;
    case SHARPEN_SHARPEN_RADIUS: p->sharpenRadius = RadiusOf(position); break;
    case SHARPEN_SHARPEN_AMOUNT: p->sharpenAmount = 2.0 * position / SLIDER_POSITIONS; break;
    default: return 0;
    }
    return 1;
}

// Every control shows the settings.
static void SharpenShow(WindowHandle dialog, const AdvancedSharpenParams *p)
{
    SliderSetPosition(dialog, SHARPEN_SPECK_DIFFERENCE,
                      p->speckDiffThreshold * SLIDER_POSITIONS / 255);
    SliderSetPosition(dialog, SHARPEN_BLUR_RADIUS, PositionOfRadius(p->blurRadius));
    SliderSetPosition(dialog, SHARPEN_BLUR_AMOUNT, Round(p->blurAmount * SLIDER_POSITIONS));
    SliderSetPosition(dialog, SHARPEN_SHARPEN_RADIUS, PositionOfRadius(p->sharpenRadius));
    SliderSetPosition(dialog, SHARPEN_SHARPEN_AMOUNT,
                      Round(p->sharpenAmount * SLIDER_POSITIONS / 2.0));
    for (int i = 0; i < 2; i++) {
        PlatformSetControlValue(dialog, SHARPEN_BLUR_ALL + i, p->blurFlags == i);
        PlatformSetControlValue(dialog, SHARPEN_SHARPEN_ALL + i, p->sharpenFlags == i);
    }
    for (int i = 0; i < 3; i++)
        PlatformSetControlValue(dialog, SHARPEN_BEFORE + i, p->view == i);
    PlatformSetControlValue(dialog, SHARPEN_REMOVE_LIGHT, p->removeLight);
    PlatformSetControlValue(dialog, SHARPEN_REMOVE_DARK, p->removeDark);
    PopupListSetChoice(dialog, SHARPEN_SPECK_SIZE, p->speckRadius);
    SharpenLabels(dialog, p);
    for (int id : {SHARPEN_TABS, SHARPEN_HISTOGRAM}) {
        WindowHandle control = PlatformControl(dialog, id);
        if (control != nullptr) PlatformInvalidate(control, nullptr);
    }
}

// Shows the controls of the current folder and hides the others'.
static void SharpenShowFolder(WindowHandle dialog, int stage)
{
    struct Folder {
        const int *ids;
        int count;
    } folders[SHARPEN_STAGE_COUNT] = {{NOISE_IDS, (int)(sizeof NOISE_IDS / sizeof(int))},
                                      {SPECK_IDS, (int)(sizeof SPECK_IDS / sizeof(int))},
                                      {SHARPEN_IDS, (int)(sizeof SHARPEN_IDS / sizeof(int))}};
    for (int f = 0; f < SHARPEN_STAGE_COUNT; f++)
        for (int i = 0; i < folders[f].count; i++) {
            WindowHandle control = PlatformControl(dialog, folders[f].ids[i]);
            if (control != nullptr)
                PlatformShowWindow(control, f == stage ? SHOW_NORMAL : SHOW_HIDE);
        }
}

// The histogram of the current stage, its failures shown.
static void SharpenHistogram(WindowHandle dialog, AdvancedSharpenParams *p)
{
    if (p->source != nullptr) ShowError(AdvancedSharpenHistogram(p));
    WindowHandle control = PlatformControl(dialog, SHARPEN_HISTOGRAM);
    if (control != nullptr) PlatformInvalidate(control, nullptr);
}

// The stages before the current folder run again over the whole picture: its input changed,
// or a file or "&Reset" changed their settings too. Failures are shown; the current stage is
// stale either way.
static void SharpenEarlierStages(AdvancedSharpenParams *p)
{
    static ErrorCode (*const FULL[SHARPEN_STAGE_COUNT])(AdvancedSharpenParams *) = {
        NoiseStageFull, SpeckStageFull, SharpenStageFull};
    p->doneWidth = 0;
    p->doneWhole = 0;
    for (int stage = 0; stage < p->stage && p->source != nullptr; stage++) {
        ErrorCode result = FULL[stage](p);
        if (result != ERROR_NONE) {
            ShowError(result);
            break;
        }
    }
    p->stale = 1;
}

// A setting of the current stage changed: it computes again, and the preview shows it.
static void SharpenChanged(WindowHandle dialog, SharpenDialogState *state, int histogram)
{
    AdvancedSharpenParams *p = &state->params;
    p->stale = 1;
    BuildAdvancedSharpenKernels(p);
    if (histogram) SharpenHistogram(dialog, p);
    SharpenShow(dialog, p);
    RefreshPreview(state, &AdvancedSharpenDialog);
}

// Moves to folder to: the stages before it run over the whole picture first; when one fails
// or is stopped, the folder stays.
static void SharpenMoveTo(WindowHandle dialog, SharpenDialogState *state, int to)
{
    AdvancedSharpenParams *p = &state->params;
    if (to == p->stage || to < 0 || to >= SHARPEN_STAGE_COUNT) return;
    static ErrorCode (*const FULL[SHARPEN_STAGE_COUNT])(AdvancedSharpenParams *) = {
        NoiseStageFull, SpeckStageFull, SharpenStageFull};
    ErrorCode result = ERROR_NONE;
    for (int stage = p->stage; stage < to && result == ERROR_NONE; stage++)
        result = FULL[stage](p);
    if (result != ERROR_NONE) {
        p->stale = 0;
        ShowError(result);
        SharpenShow(dialog, p);
        return;
    }
    p->stage = to;
    SharpenHistogram(dialog, p);
    p->stale = 1;
    p->probeValue = p->probeLow = p->probeHigh = -1;
    SharpenShowFolder(dialog, to);
    SharpenShow(dialog, p);
    RefreshPreview(state, &AdvancedSharpenDialog);
}

// ---------------------------------------------------------------------------------------
// The histogram control: the plot, the probe's line, and one or two handles below it.

struct SharpenHistogramControl {
    int32_t id;
    AdvancedSharpenParams *params; // the dialog's; lives as long as the dialog
    int32_t dragged;               // 0 none, 1 the low handle, 2 the high one
};

// The thresholds the current stage's handles stand for: low and high, or the one (high null).
static void HandleValues(AdvancedSharpenParams *p, int32_t **low, int32_t **high)
{
    switch (p->stage) {
    case SHARPEN_STAGE_NOISE:
        *low = &p->blurThresholdLow;
        *high = &p->blurThresholdHigh;
        break;
    case SHARPEN_STAGE_SPECK:
        *low = &p->speckThreshold;
        *high = nullptr;
        break;
    default:
        *low = &p->sharpenThresholdLow;
        *high = &p->sharpenThresholdHigh;
        break;
    }
}

static int HandleX(int value)
{
    return SHARPEN_PLOT_LEFT + SHARPEN_PLOT_WIDTH * value / 255;
}

static void HistogramDraw(DrawContext *context, const AdvancedSharpenParams *p)
{
    Rect plot = {SHARPEN_PLOT_LEFT, 0, SHARPEN_PLOT_LEFT + SHARPEN_PLOT_WIDTH,
                 SHARPEN_HISTOGRAM_HEIGHT};
    PlatformFillRect(context, &plot, HISTOGRAM_BACKGROUND);
    for (int y = 0; y < SHARPEN_HISTOGRAM_HEIGHT; y += 20)
        PlatformDrawLine(context, plot.left, y, plot.right, y, HISTOGRAM_GRID);
    for (int x = 0; x < SHARPEN_PLOT_WIDTH; x += 32)
        PlatformDrawLine(context, plot.left + x, 0, plot.left + x, plot.bottom, HISTOGRAM_GRID);
    for (int i = 0; i < 256; i++) {
        int bar = AdvancedSharpenBarHeight(p->histogram[i], p->histogramLargest, p->histExpand);
        if (bar > 0)
            PlatformDrawLine(context, plot.left + i, plot.bottom, plot.left + i, plot.bottom - bar,
                             HISTOGRAM_BAR);
    }
    if (p->probeValue >= 0)
        PlatformDrawLine(context, HandleX(p->probeValue), 0, HandleX(p->probeValue), plot.bottom,
                         HISTOGRAM_PROBE);
    // The range of the probes taken with Shift: a band along the top of the plot, in the
    // marker's color, so that the values of a whole region show at once.
    if (p->probeLow >= 0 && p->probeHigh >= p->probeLow)
        for (int y = 0; y < SHARPEN_PROBE_BAND; y++)
            PlatformDrawLine(context, HandleX(p->probeLow), y, HandleX(p->probeHigh) + 1, y,
                             HISTOGRAM_PROBE);
    Rect frame = {plot.left - 1, -1, plot.right + 1, plot.bottom + 1};
    PlatformFrameRect(context, &frame, COLOR_CONTROL_DARK);
    int32_t *low, *high;
    HandleValues((AdvancedSharpenParams *)p, &low, &high);
    for (int32_t *value : {low, high}) {
        if (value == nullptr) continue;
        // A triangle pointing up at its value, drawn a line a row.
        int x = HandleX(*value);
        for (int row = 0; row < SHARPEN_HANDLE_SIZE; row++)
            PlatformDrawLine(context, x - row, plot.bottom + 2 + row, x + row + 1,
                             plot.bottom + 2 + row, COLOR_CONTROL_TEXT);
    }
}

// A press at x takes the nearer handle within reach (on a tie the one on the press's side);
// a drag sets its value and pushes the other along so that low never exceeds high.
static int HistogramMouse(SharpenHistogramControl *record, uint32_t message, int x)
{
    int32_t *low, *high;
    HandleValues(record->params, &low, &high);
    if (message == MSG_LBUTTON_DOWN) {
        int lowDistance = Abs(x - HandleX(*low));
        int highDistance = high != nullptr ? Abs(x - HandleX(*high)) : INT32_MAX;
        record->dragged = 0;
        if (lowDistance <= SHARPEN_HANDLE_GRAB && lowDistance < highDistance) record->dragged = 1;
        if (highDistance <= SHARPEN_HANDLE_GRAB && highDistance < lowDistance) record->dragged = 2;
        if (highDistance <= SHARPEN_HANDLE_GRAB && highDistance == lowDistance)
            record->dragged = x < HandleX(*low) ? 1 : 2;
        if (record->dragged == 0) return 0;
    } else if (record->dragged == 0) {
        return 0;
    }
    int value = Clamp8((x - SHARPEN_PLOT_LEFT) * 255 / SHARPEN_PLOT_WIDTH);
    if (record->dragged == 1) {
        *low = value;
        if (high != nullptr && *high < value) *high = value;
    } else {
        *high = value;
        if (*low > value) *low = value;
    }
    return 1;
}

static MessageResult HistogramProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                        intptr_t lParam)
{
    if (message == MSG_CREATE)
        return ControlRecordCreate(window, lParam, sizeof(SharpenHistogramControl));
    SharpenHistogramControl *record =
        (SharpenHistogramControl *)ControlRecord(window, CUSTOM_SHARPEN_HISTOGRAM);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    WindowHandle parent = PlatformWindowParent(window);
    switch (message) {
    case MSG_DESTROY:
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: HistogramDraw((DrawContext *)wParam, record->params); return 0;
    case MSG_LBUTTON_DOWN:
    case MSG_MOUSE_MOVE:
        if (HistogramMouse(record, message, ParamLow(lParam))) {
            if (message == MSG_LBUTTON_DOWN) PlatformSetCapture(window);
            PlatformInvalidate(window, nullptr);
        }
        return 0;
    case MSG_LBUTTON_UP:
        if (record->dragged == 0) return 0;
        record->dragged = 0;
        PlatformReleaseCapture();
        if (parent != nullptr)
            PlatformSendMessage(parent, MSG_COMMAND,
                                (uintptr_t)record->id | (uintptr_t)NOTIFY_RELEASED << 16,
                                (intptr_t)window);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// ---------------------------------------------------------------------------------------
// The folders: three labelled tabs in a row; a click on one asks the dialog to move there.

struct FolderTabsControl {
    int32_t id;
    const int32_t *current; // the dialog's current stage
};

static int FolderWidth(int width)
{
    return width / SHARPEN_STAGE_COUNT;
}

static MessageResult FolderTabsProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                         intptr_t lParam)
{
    if (message == MSG_CREATE)
        return ControlRecordCreate(window, lParam, sizeof(FolderTabsControl));
    FolderTabsControl *record = (FolderTabsControl *)ControlRecord(window, CUSTOM_FOLDER_TABS);
    if (record == nullptr) return PlatformDefaultProcedure(window, message, wParam, lParam);
    Rect client;
    PlatformGetClientRect(window, &client);
    int tab = FolderWidth(client.right);
    switch (message) {
    case MSG_DESTROY:
        MemoryFree(record);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    case MSG_PAINT: {
        DrawContext *context = (DrawContext *)wParam;
        int bottom = client.bottom - 1;
        PlatformDrawLine(context, 0, bottom, client.right, bottom, COLOR_CONTROL_SHADOW);
        for (int i = 0; i < SHARPEN_STAGE_COUNT; i++) {
            int chosen = i == *record->current;
            // The chosen folder stands forward: taller, lighter, open to the page below.
            Rect face = {i * tab + 1, chosen ? 0 : 3, (i + 1) * tab - 1,
                         chosen ? bottom + 1 : bottom};
            PlatformFillRect(context, &face, chosen ? FOLDER_FACE : FOLDER_BEHIND);
            PlatformDrawLine(context, face.left, face.bottom, face.left, face.top + 2,
                             COLOR_CONTROL_SHADOW);
            PlatformDrawLine(context, face.left + 2, face.top, face.right - 2, face.top,
                             COLOR_CONTROL_SHADOW);
            PlatformDrawLine(context, face.right - 1, face.top + 2, face.right - 1, face.bottom,
                             COLOR_CONTROL_DARK);
            const char *label = SHARPEN_TAB_LABELS[i];
            int width = PlatformTextWidth(label, (int)strlen(label));
            PlatformDrawText(context, i * tab + (tab - width) / 2, face.top + 3, label,
                             COLOR_CONTROL_TEXT, 0);
        }
        return 0;
    }
    case MSG_LBUTTON_DOWN: {
        int chosen = ParamLow(lParam) / (tab > 0 ? tab : 1);
        WindowHandle parent = PlatformWindowParent(window);
        if (chosen >= 0 && chosen < SHARPEN_STAGE_COUNT && parent != nullptr)
            PlatformSendMessage(parent, MSG_COMMAND,
                                (uintptr_t)record->id | (uintptr_t)(NOTIFY_CHANGED + chosen) << 16,
                                (intptr_t)window);
        return 0;
    }
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// ---------------------------------------------------------------------------------------
// The Options menu.

// "&Load...": a file that does not open changes nothing; a bad one is reported as error 31
// and the dialog resets.
static void SharpenLoad(WindowHandle dialog, SharpenDialogState *state)
{
    char path[PATH_LENGTH];
    if (!SettingsLoadPathAsk("Load Advanced Sharpen Settings", SHARPEN_FILTERS, FOLDER_SHARED, path,
                             nullptr))
        return;
    AdvancedSharpenParams *p = &state->params;
    // The reader touches only the settings, so a copy of the record may take them and the
    // stage images stay where they are.
    AdvancedSharpenParams *read = (AdvancedSharpenParams *)MemoryAlloc(sizeof *read);
    if (read == nullptr) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    *read = *p;
    ErrorCode result = SettingsFileLoad(path, AdvancedSharpenFileRead, read);
    if (result == ERROR_NONE) {
        *p = *read;
    } else if (result != ERROR_OPEN_FILE) {
        result = ERROR_ILLEGAL_COLOR_BALANCE_FILE;
    }
    MemoryFree(read);
    ShowError(result);
    if (result == ERROR_OPEN_FILE) return;
    if (result != ERROR_NONE) AdvancedSharpenReset(p);
    SharpenEarlierStages(p);
    SharpenChanged(dialog, state, 1);
}

static void SharpenSave(const AdvancedSharpenParams *p)
{
    char path[PATH_LENGTH];
    if (!SettingsSavePathAsk("Save Advanced Sharpen Settings", SHARPEN_FILTERS, "",
                             SETTINGS_KIND_ADVANCED_SHARPEN, FOLDER_SHARED, path))
        return;
    ShowFileError(SettingsFileSave(path, AdvancedSharpenFileWrite, p), path);
}

static void SharpenOptions(WindowHandle dialog, SharpenDialogState *state)
{
    AdvancedSharpenParams *p = &state->params;
    MenuItem items[] = {
        {SETTINGS_OPTIONS_RESET, "&Reset", 1},
        {0, "", 1},
        {SETTINGS_OPTIONS_LOAD, "&Load...", 1},
        {SETTINGS_OPTIONS_SAVE, "&Save As...", 1},
        {0, "", 1},
        {SHARPEN_MENU_EXPAND + 0, "&No Histogram Expansion", 1, p->histExpand == 0},
        {SHARPEN_MENU_EXPAND + 1, "&Medium Histogram Expansion", 1, p->histExpand == 1},
        {SHARPEN_MENU_EXPAND + 2, "&High Histogram Expansion", 1, p->histExpand == 2},
        {0, nullptr, 0},
    };
    int item = SettingsOptionsPopup(dialog, items);
    switch (item) {
    case SETTINGS_OPTIONS_RESET:
        AdvancedSharpenReset(p);
        SharpenEarlierStages(p);
        SharpenChanged(dialog, state, 1);
        break;
    case SETTINGS_OPTIONS_LOAD: SharpenLoad(dialog, state); break;
    case SETTINGS_OPTIONS_SAVE: SharpenSave(p); break;
    default:
        if (item >= SHARPEN_MENU_EXPAND && item < SHARPEN_MENU_EXPAND + 3) {
            p->histExpand = item - SHARPEN_MENU_EXPAND;
            SharpenShow(dialog, p);
        }
        break;
    }
}

// ---------------------------------------------------------------------------------------
// The dialog.

static void SharpenCommand(WindowHandle dialog, void *stateRecord, uintptr_t wParam)
{
    SharpenDialogState *state = (SharpenDialogState *)stateRecord;
    AdvancedSharpenParams *p = &state->params;
    if (TransformAmountCommand(dialog, SHARPEN_AMOUNT, &p->amount, wParam, state,
                               &AdvancedSharpenDialog))
        return;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    switch (id) {
    case SETTINGS_OPTIONS_BUTTON:
        if (notification == NOTIFY_CLICKED) SharpenOptions(dialog, state);
        return;
    case SHARPEN_TABS: SharpenMoveTo(dialog, state, (int)notification - NOTIFY_CHANGED); return;
    case SHARPEN_HISTOGRAM:
        if (notification == NOTIFY_RELEASED) SharpenChanged(dialog, state, 0);
        return;
    case SHARPEN_PROBE:
        state->probeArmed = PlatformControlValue(dialog, SHARPEN_PROBE);
        if (state->probeArmed)
            ToolTarget = dialog;
        else if (ToolTarget == dialog)
            ToolTarget = nullptr;
        return;
    case SHARPEN_BLUR_ALL:
    case SHARPEN_BLUR_ALL + 1:
        p->blurFlags = id - SHARPEN_BLUR_ALL;
        SharpenChanged(dialog, state, 1);
        return;
    case SHARPEN_SHARPEN_ALL:
    case SHARPEN_SHARPEN_ALL + 1:
        p->sharpenFlags = id - SHARPEN_SHARPEN_ALL;
        SharpenChanged(dialog, state, 0);
        return;
    case SHARPEN_REMOVE_LIGHT:
    case SHARPEN_REMOVE_DARK:
        *(id == SHARPEN_REMOVE_LIGHT ? &p->removeLight : &p->removeDark) =
            PlatformControlValue(dialog, id);
        SharpenChanged(dialog, state, 0);
        return;
    case SHARPEN_SPECK_SIZE:
        if (notification != NOTIFY_CHANGED) return;
        p->speckRadius = PopupListChoice(dialog, SHARPEN_SPECK_SIZE);
        SharpenChanged(dialog, state, 1);
        return;
    default: break;
    }
    if (id >= SHARPEN_BEFORE && id < SHARPEN_BEFORE + 3) {
        // Another view of the same stage: nothing computes again but the last pass.
        p->view = id - SHARPEN_BEFORE;
        SharpenShow(dialog, p);
        RefreshPreview(state, &AdvancedSharpenDialog);
        return;
    }
    // A slider's move shows its value; its release computes. A radius sizes the
    // histogram's grid and statistic, so it builds the histogram again.
    if (!SharpenSliderTake(dialog, p, id)) return;
    SharpenLabels(dialog, p);
    if (notification == NOTIFY_RELEASED)
        SharpenChanged(dialog, state, id == SHARPEN_BLUR_RADIUS || id == SHARPEN_SHARPEN_RADIUS);
}

// A click on a picture while the probe is armed: the statistic of the current stage there
// becomes the marker; with Shift the range stretches to take it in, without it resets.
static int SharpenMessage(WindowHandle dialog, void *stateRecord, uint32_t message,
                          uintptr_t wParam, intptr_t lParam)
{
    if (message != MSG_CLICK) return 0;
    SharpenDialogState *state = (SharpenDialogState *)stateRecord;
    AdvancedSharpenParams *p = &state->params;
    WindowHandle window = (WindowHandle)wParam;
    const ImageWindow *record = WindowRecord(window);
    const Image *input = AdvancedSharpenStageInput(p, p->stage);
    if (!state->probeArmed || record == nullptr || input == nullptr) return 1;
    int x, y;
    ClientToPicture(window, record, ParamLow(lParam), ParamHigh(lParam), &x, &y);
    int value = AdvancedSharpenStatistic(p, x, y);
    p->probeValue = value;
    if (PlatformShiftDown()) {
        if (p->probeLow < 0 || value < p->probeLow) p->probeLow = value;
        if (p->probeHigh < 0 || value > p->probeHigh) p->probeHigh = value;
    } else {
        p->probeLow = p->probeHigh = -1;
    }
    WindowHandle histogram = PlatformControl(dialog, SHARPEN_HISTOGRAM);
    if (histogram != nullptr) PlatformInvalidate(histogram, nullptr);
    return 1;
}

// A slider with its label above it; returns the y below it.
static int SharpenSlider(WindowHandle dialog, int id, int x, int y, int width)
{
    y = TransformDialogText(dialog, id + 1, "", x, y, width);
    Rect rect = {x, y, x + width, y + SliderHeight};
    SliderCreate(dialog, id, &rect, 0);
    return y + SliderHeight + Margin;
}

// Two radio buttons side by side; returns the y below them.
static int SharpenRadios(WindowHandle dialog, int id, const char *first, const char *second, int x,
                         int y, int width)
{
    int half = (width - Margin) / 2;
    Rect left = {x, y, x + half, y + ButtonHeight};
    Rect right = {x + half + Margin, y, x + width, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_RADIO, id, first, 0, &left);
    PlatformCreateControl(dialog, CONTROL_RADIO, id + 1, second, 0, &right);
    return y + ButtonHeight + Margin;
}

// The input's picture is where the stages start; another one makes every stage stale, and
// those before the current folder run again over it.
static void SharpenInputTaken(WindowHandle dialog, void *stateRecord)
{
    SharpenDialogState *state = (SharpenDialogState *)stateRecord;
    AdvancedSharpenParams *p = &state->params;
    const ImageWindow *input = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    if (input == nullptr) return;
    p->source = &input->picture.image;
    SharpenEarlierStages(p);
    SharpenHistogram(dialog, p);
    TransformAmountInputTaken(dialog, SHARPEN_AMOUNT);
}

static int SharpenControls(WindowHandle dialog, void *stateRecord, int x, int y, int width)
{
    SharpenDialogState *state = (SharpenDialogState *)stateRecord;
    AdvancedSharpenParams *p = &state->params;
    // Each opening starts from the defaults and the files beside the program; only the
    // Amount is kept from the last opening.
    AmountSetting amount = p->amount;
    AdvancedSharpenParamsDefault(p);
    p->amount = amount;
    SettingsLoadOnOpen(".as", AdvancedSharpenFileRead, p);
    p->keepStages = 1;
    state->dialog = dialog;

    // The top row: Options, the three views and the probe.
    int right = SettingsOptionsButtonCreate(dialog, x, y);
    int button = (x + width - right - 3 * Margin) / 4;
    for (int i = 0; i < 3; i++) {
        Rect rect = {right + i * (button + Margin), y, right + i * (button + Margin) + button,
                     y + ButtonHeight};
        PlatformCreateControl(dialog, CONTROL_RADIO, SHARPEN_BEFORE + i, SHARPEN_VIEW_LABELS[i], 0,
                              &rect);
    }
    Rect probe = {right + 3 * (button + Margin), y, x + width, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_CHECK_BOX, SHARPEN_PROBE, "Probe", 0, &probe);
    y += ButtonHeight + Margin;

    ControlKindRegister(CUSTOM_FOLDER_TABS, FolderTabsProcedure);
    FolderTabsControl tabs = {SHARPEN_TABS, &p->stage};
    Rect tabRect = {x, y, x + width, y + SHARPEN_TAB_HEIGHT};
    ControlMake(dialog, SHARPEN_TABS, &tabRect, CUSTOM_FOLDER_TABS, &tabs);
    y += SHARPEN_TAB_HEIGHT + Margin;

    // The three folders' controls share one place; the tallest sets the height.
    int top = y;
    y = SharpenSlider(dialog, SHARPEN_BLUR_RADIUS, x, top, width);
    y = SharpenSlider(dialog, SHARPEN_BLUR_AMOUNT, x, y, width);
    int bottom =
        SharpenRadios(dialog, SHARPEN_BLUR_ALL, "&Blur all", "Blur &chrominance only", x, y, width);
    y = SharpenSlider(dialog, SHARPEN_SHARPEN_RADIUS, x, top, width);
    y = SharpenSlider(dialog, SHARPEN_SHARPEN_AMOUNT, x, y, width);
    SharpenRadios(dialog, SHARPEN_SHARPEN_ALL, "S&harpen all", "Sharpen &luminance only", x, y,
                  width);
    char sizes[SHARPEN_SPECK_SIZES * 8 + 1];
    int used = 0;
    for (int i = 1; i <= SHARPEN_SPECK_SIZES; i++)
        used += snprintf(sizes + used, sizeof sizes - (size_t)used, "%dx%d", i, i) + 1;
    sizes[used] = 0;
    Rect list = {x, top, x + width, top + ButtonHeight};
    PopupListCreate(dialog, SHARPEN_SPECK_SIZE, &list, "Speck Size:", sizes, p->speckRadius);
    y = top + ButtonHeight + Margin;
    int half = (width - Margin) / 2;
    Rect light = {x, y, x + half, y + ButtonHeight};
    Rect dark = {x + half + Margin, y, x + width, y + ButtonHeight};
    PlatformCreateControl(dialog, CONTROL_CHECK_BOX, SHARPEN_REMOVE_LIGHT, "Remove &light specks",
                          0, &light);
    PlatformCreateControl(dialog, CONTROL_CHECK_BOX, SHARPEN_REMOVE_DARK, "Remove &dark specks", 0,
                          &dark);
    y += ButtonHeight + Margin;
    SharpenSlider(dialog, SHARPEN_SPECK_DIFFERENCE, x, y, width);
    y = bottom;

    ControlKindRegister(CUSTOM_SHARPEN_HISTOGRAM, HistogramProcedure);
    SharpenHistogramControl histogram = {SHARPEN_HISTOGRAM, p, 0};
    int plotLeft = x + (width - SHARPEN_PLOT_WIDTH) / 2 - SHARPEN_PLOT_LEFT;
    Rect plot = {plotLeft, y, plotLeft + SHARPEN_PLOT_WIDTH + 2 * SHARPEN_PLOT_LEFT,
                 y + SHARPEN_HISTOGRAM_HEIGHT + SHARPEN_HANDLE_SIZE + 3};
    ControlMake(dialog, SHARPEN_HISTOGRAM, &plot, CUSTOM_SHARPEN_HISTOGRAM, &histogram);
    y = plot.bottom + Margin;
    y = TransformAmountCreate(dialog, SHARPEN_AMOUNT, &p->amount, x, y, width);

    SharpenShowFolder(dialog, p->stage);
    SharpenInputTaken(dialog, state);
    SharpenShow(dialog, p);
    return y;
}

// The dialog goes: its stage images with it, and its settings to previous.as.
static void SharpenForget(void *stateRecord, void *saved)
{
    SharpenDialogState *state = (SharpenDialogState *)stateRecord;
    AdvancedSharpenParams *kept = (AdvancedSharpenParams *)saved;
    SettingsSaveOnClose(".as", AdvancedSharpenFileWrite, &state->params);
    AdvancedSharpenFreeStages(&state->params);
    ImageClear(&kept->noiseResult);
    ImageClear(&kept->speckResult);
    ImageClear(&kept->sharpenResult);
    kept->source = nullptr;
    if (ToolTarget == state->dialog) ToolTarget = nullptr;
}

const TransformDialogKind AdvancedSharpenDialog = {&AdvancedSharpenTransform,
                                                   SHARPEN_INPUT,
                                                   SharpenInputTaken,
                                                   SHARPEN_CONTENT_WIDTH,
                                                   sizeof(SharpenDialogState),
                                                   SharpenControls,
                                                   SharpenCommand,
                                                   SharpenForget,
                                                   &SharpenMemory,
                                                   DIALOG_BUTTONS_PREVIEW,
                                                   SharpenMessage};
