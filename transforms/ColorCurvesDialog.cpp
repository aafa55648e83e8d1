// The Color Curves dialog: the input chooser and Options, the curve control with the histogram
// of the component in view, the three components of the color space as radio buttons, the
// color space, and the Amount. The settings open from default.cc or previous.cc and are kept
// in previous.cc at the close.
#include "transforms/ColorCurves.h"
#include "transforms/CurveControl.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/SettingsOptions.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int COLOR_CURVES_CONTENT_WIDTH = 292;
static const int COLOR_CURVES_PLOT = 256; // pixels of the curve control a side

static const char COLOR_CURVES_SPACES[] = "HSV\0HSL\0RGB\0";
static const char *const COLOR_CURVES_COMPONENTS[3][3] = {
    {"H", "S", "V"}, {"H", "S", "L"}, {"R", "G", "B"}};

struct ColorCurvesState {
    ColorCurvesSettings settings; // first, as the shared handling expects
    int32_t histograms[3][257];   // a maximum and 256 counts each
};

static ColorCurvesSettings ColorCurvesSaved;
static TransformDialogMemory ColorCurvesMemory = {&ColorCurvesSaved, {}, 1};

static void ColorCurvesOptionsDefaults(void *settings)
{
    ColorCurvesSettings *curves = (ColorCurvesSettings *)settings;
    AmountSetting amount = curves->amount;
    ColorCurvesSettingsDefault(curves);
    curves->amount = amount;
}

static ErrorCode ColorCurvesOptionsRead(FileHandle file, void *settings)
{
    return ReadColorCurvesFile(file, (ColorCurvesSettings *)settings);
}

static ErrorCode ColorCurvesOptionsWrite(FileHandle file, const void *settings)
{
    return WriteColorCurvesFile(file, (const ColorCurvesSettings *)settings);
}

static void ColorCurvesShow(WindowHandle dialog, void *settings);

// The foreign curve files, whose three curves are those of RGB.
static ErrorCode ColorCurvesReadAcv(FileHandle file, void *settings)
{
    ColorCurvesSettings *curves = (ColorCurvesSettings *)settings;
    return ReadAcvFile(file, &curves->colorSpace, curves->curves);
}

static ErrorCode ColorCurvesReadAmp(FileHandle file, void *settings)
{
    ColorCurvesSettings *curves = (ColorCurvesSettings *)settings;
    return ReadAmpFile(file, &curves->colorSpace, curves->curves);
}

static const SettingsForeignFile COLOR_CURVES_FOREIGN[2] = {
    {"Photoshop Curve Files", "*.acv", ColorCurvesReadAcv},
    {"Photoshop Map Files", "*.amp", ColorCurvesReadAmp},
};

static const SettingsOptions COLOR_CURVES_OPTIONS = {SETTINGS_KIND_COLOR_CURVES,
                                                     FOLDER_COLOR_CURVES,
                                                     "Color Curve Files",
                                                     "*.cc",
                                                     "Load Color Curves",
                                                     "Save Color Curves",
                                                     (int32_t)sizeof(ColorCurvesSettings),
                                                     ColorCurvesOptionsDefaults,
                                                     ColorCurvesOptionsRead,
                                                     ColorCurvesOptionsWrite,
                                                     ColorCurvesShow,
                                                     0,
                                                     COLOR_CURVES_FOREIGN,
                                                     2};

// The histogram of the component in view.
static void ColorCurvesHistogram(WindowHandle dialog, ColorCurvesState *state)
{
    GrayCurve *curve = CurveControlCurve(dialog, COLOR_CURVES_CURVE);
    const ImageWindow *input = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    if (curve == nullptr || input == nullptr) return;
    CurveHistogramsOf(&input->picture.image, state->settings.colorSpace, state->histograms);
    int component = state->settings.component;
    const int32_t *sources[3] = {state->histograms[component >= 0 && component < 3 ? component : 0],
                                 nullptr, nullptr};
    GrayCurveSetHistograms(curve, CURVE_HISTOGRAM_ONE, sources);
    curve->probeCount = 0; // a probe's level was that of another component
    CurveControlRefresh(dialog, COLOR_CURVES_CURVE);
}

// Everything from the settings: the curve in view, the components' names, the space.
static void ColorCurvesShow(WindowHandle dialog, void *settingsRecord)
{
    ColorCurvesState *state = (ColorCurvesState *)settingsRecord;
    ColorCurvesSettings *settings = &state->settings;
    int space =
        settings->colorSpace >= 0 && settings->colorSpace < 3 ? settings->colorSpace : CURVES_RGB;
    if (settings->component < 0 || settings->component > 2) settings->component = 2;
    for (int i = 0; i < 3; i++) {
        PlatformSetControlText(dialog, COLOR_CURVES_COMPONENT + i,
                               COLOR_CURVES_COMPONENTS[space][i]);
        PlatformSetControlValue(dialog, COLOR_CURVES_COMPONENT + i, i == settings->component);
    }
    PopupListSetChoice(dialog, COLOR_CURVES_SPACE, space);
    CurveControlSetPoints(dialog, COLOR_CURVES_CURVE, &settings->curves[settings->component]);
    ColorCurvesHistogram(dialog, state);
    RefreshPreview(state, &ColorCurvesDialog);
}

// The control's points become the curve in view's.
static void ColorCurvesTaken(WindowHandle dialog, ColorCurvesState *state)
{
    GrayCurve *curve = CurveControlCurve(dialog, COLOR_CURVES_CURVE);
    if (curve == nullptr) return;
    GrayCurveGetPoints(curve, &state->settings.curves[state->settings.component]);
    RefreshPreview(state, &ColorCurvesDialog);
}

static void ColorCurvesCommand(WindowHandle dialog, void *stateRecord, uintptr_t wParam)
{
    ColorCurvesState *state = (ColorCurvesState *)stateRecord;
    ColorCurvesSettings *settings = &state->settings;
    if (TransformAmountCommand(dialog, COLOR_CURVES_AMOUNT, &settings->amount, wParam, state,
                               &ColorCurvesDialog))
        return;
    if (SettingsOptionsCommand(dialog, wParam, &COLOR_CURVES_OPTIONS, state)) return;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    if (id == COLOR_CURVES_CURVE && notification == NOTIFY_RELEASED) {
        ColorCurvesTaken(dialog, state);
    } else if (id >= COLOR_CURVES_COMPONENT && id < COLOR_CURVES_COMPONENT + 3 &&
               notification == NOTIFY_CLICKED) {
        // The points in view go to their curve, and the other's come into view.
        GrayCurve *curve = CurveControlCurve(dialog, COLOR_CURVES_CURVE);
        if (curve != nullptr) GrayCurveGetPoints(curve, &settings->curves[settings->component]);
        settings->component = id - COLOR_CURVES_COMPONENT;
        for (int i = 0; i < 3; i++)
            PlatformSetControlValue(dialog, COLOR_CURVES_COMPONENT + i, i == settings->component);
        CurveControlSetPoints(dialog, COLOR_CURVES_CURVE, &settings->curves[settings->component]);
        ColorCurvesHistogram(dialog, state);
    } else if (id == COLOR_CURVES_SPACE && notification == NOTIFY_CHANGED) {
        settings->colorSpace = PopupListChoice(dialog, COLOR_CURVES_SPACE);
        ColorCurvesShow(dialog, state);
    }
}

static int ColorCurvesMessage(WindowHandle dialog, void *stateRecord, uint32_t message,
                              uintptr_t wParam, intptr_t lParam)
{
    ColorCurvesState *state = (ColorCurvesState *)stateRecord;
    switch (message) {
    case MSG_CURVE_MENU:
        if (CurveControlMenu(dialog, COLOR_CURVES_CURVE, ParamLow(lParam), ParamHigh(lParam), 0) ==
            CURVE_MENU_CHANGED)
            ColorCurvesTaken(dialog, state);
        return 1;
    case MSG_CLICK: // a click on a picture marks its level of the component in view
        CurveControlProbe(dialog, COLOR_CURVES_CURVE, (WindowHandle)wParam, lParam,
                          state->settings.colorSpace, state->settings.component);
        return 1;
    default: return 0;
    }
}

static void ColorCurvesInputTaken(WindowHandle dialog, void *stateRecord)
{
    ColorCurvesHistogram(dialog, (ColorCurvesState *)stateRecord);
    TransformAmountInputTaken(dialog, COLOR_CURVES_AMOUNT);
}

static int ColorCurvesControls(WindowHandle dialog, void *stateRecord, int x, int y, int width)
{
    ColorCurvesState *state = (ColorCurvesState *)stateRecord;
    ColorCurvesSettings *settings = &state->settings;
    // The opening's settings: the defaults, then default.cc or previous.cc; the amount is
    // the one kept from the last opening.
    AmountSetting amount = settings->amount;
    SettingsOptionsOpen(&COLOR_CURVES_OPTIONS, settings);
    settings->amount = amount;
    SettingsOptionsButtonCreate(dialog, x, y);
    y += ButtonHeight + Margin;
    int left = x + (width - COLOR_CURVES_PLOT) / 2;
    Rect plot = {left, y, left + COLOR_CURVES_PLOT, y + COLOR_CURVES_PLOT};
    CurveControlCreate(dialog, COLOR_CURVES_CURVE, &plot, nullptr);
    y += COLOR_CURVES_PLOT + Margin;
    int third = (width - 2 * Margin) / 3;
    for (int i = 0; i < 3; i++) {
        Rect button = {x + i * (third + Margin), y, x + i * (third + Margin) + third,
                       y + ButtonHeight};
        PlatformCreateControl(dialog, CONTROL_RADIO, COLOR_CURVES_COMPONENT + i, "", 0, &button);
    }
    y += ButtonHeight + Margin;
    Rect list = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, COLOR_CURVES_SPACE, &list, "Color Space:", COLOR_CURVES_SPACES,
                    settings->colorSpace);
    y += ButtonHeight + Margin;
    y = TransformAmountCreate(dialog, COLOR_CURVES_AMOUNT, &settings->amount, x, y, width);
    ColorCurvesShow(dialog, state);
    TransformAmountInputTaken(dialog, COLOR_CURVES_AMOUNT);
    ToolTarget = dialog; // clicks on pictures probe their levels
    return y;
}

// Closing: previous.cc keeps the settings.
static void ColorCurvesForget(void *stateRecord, void *saved)
{
    (void)saved;
    SettingsOptionsClose(&COLOR_CURVES_OPTIONS, &((ColorCurvesState *)stateRecord)->settings);
}

const TransformDialogKind ColorCurvesDialog = {
    &ColorCurvesTransform,      COLOR_CURVES_INPUT,       ColorCurvesInputTaken,
    COLOR_CURVES_CONTENT_WIDTH, sizeof(ColorCurvesState), ColorCurvesControls,
    ColorCurvesCommand,         ColorCurvesForget,        &ColorCurvesMemory,
    DIALOG_BUTTONS_PREVIEW,     ColorCurvesMessage,       nullptr};
