// The Brightness Curve dialog: the input chooser, the curve control with the histogram of
// what the curve acts on (the value of HSV, the lightness of HSL, or the three channels of
// RGB; the gray levels of a gray picture), the three styles of the curve, the color space,
// and the Amount. The control's right button offers Reset, Invert and the histogram's
// expansion.

#include "core/Helpers.h"
#include "transforms/BrightnessCurve.h"
#include "transforms/CurveControl.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int BRIGHTNESS_CONTENT_WIDTH = 340; // room for the three style labels
static const int BRIGHTNESS_PLOT = 256;          // pixels of the curve control a side

static const char BRIGHTNESS_SPACES[] = "HSV\0HSL\0RGB\0";
static const char *const BRIGHTNESS_STYLES[3] = {"Stair Step", "Broken Line", "Smooth Curve"};

struct BrightnessState {
    BrightnessCurveSettings settings; // first, as the shared handling expects
    int32_t histograms[3][257];       // a maximum and 256 counts each
};

// The control's "Load..." and "Save As..." read and write a ".crv" file of its points.
static void CurvePointsDefault(void *points)
{
    CurvePointsReset((CurvePoints *)points);
}

static ErrorCode CurvePointsRead(FileHandle file, void *settings)
{
    CurvePoints *points = (CurvePoints *)settings;
    return ReadCurveFile(file, &points->pointCount, points->x, points->y, &points->style,
                         &points->histExpand);
}

static ErrorCode CurvePointsWrite(FileHandle file, const void *settings)
{
    const CurvePoints *points = (const CurvePoints *)settings;
    return WriteCurveFile(file, points->pointCount, points->x, points->y, points->style,
                          points->histExpand);
}

static void BrightnessCurveTaken(WindowHandle dialog, struct BrightnessState *state);

// The points read (or reset after a bad file) go to the control and the settings.
static void CurvePointsShow(WindowHandle dialog, void *settings)
{
    CurveControlSetPoints(dialog, BRIGHTNESS_CURVE, (const CurvePoints *)settings);
    BrightnessCurveTaken(dialog,
                         (struct BrightnessState *)PlatformGetWindowWord(dialog, WORD_POINTER));
}

static const SettingsOptions BRIGHTNESS_CURVE_FILES = {SETTINGS_KIND_CURVE,
                                                       FOLDER_CURVE,
                                                       "Curve Files",
                                                       "*.crv",
                                                       "Load Curve",
                                                       "Save Curve",
                                                       sizeof(CurvePoints),
                                                       CurvePointsDefault,
                                                       CurvePointsRead,
                                                       CurvePointsWrite,
                                                       CurvePointsShow,
                                                       1,
                                                       nullptr,
                                                       0};

static BrightnessCurveSettings BrightnessSaved;
static TransformDialogMemory BrightnessMemory = {&BrightnessSaved, {}, 1};

static int BrightnessColorInput(void)
{
    const ImageWindow *input = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    int type = input != nullptr ? input->picture.image.type : TYPE_EMPTY;
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
}

// The histogram of what the curve acts on: the value of HSV, the lightness of HSL, the three
// channels of RGB, or the gray levels.
static void BrightnessHistograms(WindowHandle dialog, BrightnessState *state)
{
    GrayCurve *curve = CurveControlCurve(dialog, BRIGHTNESS_CURVE);
    const ImageWindow *input = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    if (curve == nullptr || input == nullptr) return;
    int space = state->settings.colorSpace;
    int filled = CurveHistogramsOf(&input->picture.image, space, state->histograms);
    int three = filled == 3 && space == CURVES_RGB;
    // Value and lightness are the third component of their spaces.
    const int32_t *first = filled == 3 && !three ? state->histograms[2] : state->histograms[0];
    const int32_t *sources[3] = {first, state->histograms[1], state->histograms[2]};
    GrayCurveSetHistograms(curve, three ? CURVE_HISTOGRAM_THREE : CURVE_HISTOGRAM_ONE, sources);
    curve->probeCount = 0; // a probe's levels were those of the space before
    CurveControlRefresh(dialog, BRIGHTNESS_CURVE);
}

static void BrightnessShowStyle(WindowHandle dialog, int style)
{
    for (int i = 0; i < 3; i++)
        PlatformSetControlValue(dialog, BRIGHTNESS_STEP + i, i == style);
}

// The control's curve became the settings' one.
static void BrightnessCurveTaken(WindowHandle dialog, struct BrightnessState *state)
{
    GrayCurve *curve = CurveControlCurve(dialog, BRIGHTNESS_CURVE);
    if (curve == nullptr) return;
    GrayCurveGetPoints(curve, &state->settings.curve);
    RefreshPreview(state, &BrightnessCurveDialog);
}

// The right button's menu over the curve.
static void BrightnessMenu(WindowHandle dialog, BrightnessState *state, int x, int y)
{
    GrayCurve *curve = CurveControlCurve(dialog, BRIGHTNESS_CURVE);
    if (curve == nullptr) return;
    int done = CurveControlMenu(dialog, BRIGHTNESS_CURVE, x, y, 1);
    if (done == CURVE_MENU_LOAD || done == CURVE_MENU_SAVE) {
        CurvePoints points;
        GrayCurveGetPoints(curve, &points);
        SettingsOptionsRun(dialog,
                           done == CURVE_MENU_LOAD ? SETTINGS_OPTIONS_LOAD : SETTINGS_OPTIONS_SAVE,
                           &BRIGHTNESS_CURVE_FILES, &points);
    } else if (done == CURVE_MENU_CHANGED) {
        BrightnessCurveTaken(dialog, state);
    }
    BrightnessShowStyle(dialog, curve->style);
}

static void BrightnessCommand(WindowHandle dialog, void *stateRecord, uintptr_t wParam)
{
    BrightnessState *state = (BrightnessState *)stateRecord;
    if (TransformAmountCommand(dialog, BRIGHTNESS_AMOUNT, &state->settings.amount, wParam, state,
                               &BrightnessCurveDialog))
        return;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    if (id == BRIGHTNESS_CURVE && notification == NOTIFY_RELEASED) {
        BrightnessCurveTaken(dialog, state);
    } else if (id >= BRIGHTNESS_STEP && id < BRIGHTNESS_STEP + 3 &&
               notification == NOTIFY_CLICKED) {
        GrayCurve *curve = CurveControlCurve(dialog, BRIGHTNESS_CURVE);
        if (curve == nullptr) return;
        curve->style = id - BRIGHTNESS_STEP;
        BuildCurveTable(curve);
        BrightnessShowStyle(dialog, curve->style);
        CurveControlRefresh(dialog, BRIGHTNESS_CURVE);
        BrightnessCurveTaken(dialog, state);
    } else if (id == BRIGHTNESS_SPACE && notification == NOTIFY_CHANGED) {
        state->settings.colorSpace = PopupListChoice(dialog, BRIGHTNESS_SPACE);
        BrightnessHistograms(dialog, state);
        RefreshPreview(state, &BrightnessCurveDialog);
    }
}

// The right button over the curve opens its menu. A click on a picture marks its level on
// the curve: the value or the lightness, or the three channels of RGB.
static int BrightnessMessage(WindowHandle dialog, void *stateRecord, uint32_t message,
                             uintptr_t wParam, intptr_t lParam)
{
    BrightnessState *state = (BrightnessState *)stateRecord;
    switch (message) {
    case MSG_CURVE_MENU:
        BrightnessMenu(dialog, state, ParamLow(lParam), ParamHigh(lParam));
        return 1;
    case MSG_CLICK: {
        int space = state->settings.colorSpace;
        CurveControlProbe(dialog, BRIGHTNESS_CURVE, (WindowHandle)wParam, lParam, space,
                          space == CURVES_RGB ? -1 : 2);
        return 1;
    }
    default: return 0;
    }
}

static void BrightnessInputTaken(WindowHandle dialog, void *stateRecord)
{
    BrightnessState *state = (BrightnessState *)stateRecord;
    // The color space means nothing to a gray picture.
    int color = BrightnessColorInput();
    WindowHandle list = PlatformControl(dialog, BRIGHTNESS_SPACE);
    WindowHandle label = PlatformControl(dialog, BRIGHTNESS_SPACE + POPUP_LABEL_ID);
    if (list != nullptr) PlatformShowWindow(list, color ? SHOW_NORMAL : SHOW_HIDE);
    if (label != nullptr) PlatformShowWindow(label, color ? SHOW_NORMAL : SHOW_HIDE);
    BrightnessHistograms(dialog, state);
    TransformAmountInputTaken(dialog, BRIGHTNESS_AMOUNT);
}

static int BrightnessControls(WindowHandle dialog, void *stateRecord, int x, int y, int width)
{
    BrightnessState *state = (BrightnessState *)stateRecord;
    BrightnessCurveSettings *settings = &state->settings;
    int left = x + (width - BRIGHTNESS_PLOT) / 2;
    Rect plot = {left, y, left + BRIGHTNESS_PLOT, y + BRIGHTNESS_PLOT};
    CurveControlCreate(dialog, BRIGHTNESS_CURVE, &plot, &settings->curve);
    y += BRIGHTNESS_PLOT + Margin;
    int third = (width - 2 * Margin) / 3;
    for (int i = 0; i < 3; i++) {
        Rect button = {x + i * (third + Margin), y, x + i * (third + Margin) + third,
                       y + ButtonHeight};
        PlatformCreateControl(dialog, CONTROL_RADIO, BRIGHTNESS_STEP + i, BRIGHTNESS_STYLES[i], 0,
                              &button);
    }
    BrightnessShowStyle(dialog, settings->curve.style);
    y += ButtonHeight + Margin;
    Rect list = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, BRIGHTNESS_SPACE, &list, "Color Space:", BRIGHTNESS_SPACES,
                    settings->colorSpace);
    y += ButtonHeight + Margin;
    y = TransformAmountCreate(dialog, BRIGHTNESS_AMOUNT, &settings->amount, x, y, width);
    BrightnessInputTaken(dialog, state);
    ToolTarget = dialog; // clicks on pictures probe their levels
    return y;
}

const TransformDialogKind BrightnessCurveDialog = {
    &BrightnessCurveTransform, BRIGHTNESS_INPUT,
    BrightnessInputTaken,      BRIGHTNESS_CONTENT_WIDTH,
    sizeof(BrightnessState),   BrightnessControls,
    BrightnessCommand,         nullptr,
    &BrightnessMemory,         DIALOG_BUTTONS_PREVIEW,
    BrightnessMessage,         nullptr};
