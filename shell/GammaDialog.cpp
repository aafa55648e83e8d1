// The Gamma Adjust dialog: the input chooser, the input gamma the picture was made for (it
// only explains the result), the two lines of text, and the slider of the factor.
//
// The factor is the slider's position on a logarithmic scale, so that the middle is 1.0 and
// both directions take the same travel to double or halve the effect: 0 is 1/e, 1024 is e.
#include <cmath>

#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "shell/Shell.h"
#include "shell/TransformDialogs.h"
#include "transforms/GammaAdjust.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"

static const int GAMMA_CONTENT_WIDTH = 292; // pixels of the chooser, the list and the slider

// What outlives one opening: the last settings and where the dialog stood.
static GammaSettings GammaSaved;
static Rect GammaPlacement;
static int GammaUseDefaults = 1;

static int GammaAccepts(int type)
{
    return type == TYPE_GRAY8 || type == TYPE_COLOR24 || type == TYPE_GRAY16 ||
           type == TYPE_COLOR48;
}

static double GammaFactorOf(int position)
{
    return exp(position / 512.0 - 1.0);
}

static int GammaPositionOf(double factor)
{
    int position = Round((log(factor) + 1.0) * 512.0);
    return position < 0 ? 0 : (position > SLIDER_POSITIONS ? SLIDER_POSITIONS : position);
}

static GammaSettings *GammaOf(WindowHandle dialog)
{
    return (GammaSettings *)PlatformGetWindowWord(dialog, WORD_POINTER);
}

// The two lines of text from the settings: input gamma times factor, and the factor.
static void GammaShowTexts(WindowHandle dialog, const GammaSettings *settings, int factorToo)
{
    char text[64];
    int index = settings->inputGammaIndex;
    if (index < 0 || index >= GAMMA_INPUT_COUNT) index = GAMMA_INPUT_COUNT - 1;
    FormatString(text, sizeof text, "Output gamma: %2f",
                 GAMMA_INPUT_VALUES[index] * settings->factor);
    PlatformSetControlText(dialog, GAMMA_OUTPUT_TEXT, text);
    if (factorToo) {
        FormatString(text, sizeof text, "Gamma factor: %2f", settings->factor);
        PlatformSetControlText(dialog, GAMMA_FACTOR_TEXT, text);
    }
}

static const TransformDialogKind GAMMA_KIND = {
    "Gamma Adjust", GammaCompute, 1, GAMMA_INPUT, nullptr, GammaChangesNothing, nullptr};

// The dialog's own controls; the buttons are the shared handling's.
static void GammaCommand(WindowHandle dialog, uintptr_t wParam)
{
    GammaSettings *settings = GammaOf(dialog);
    if (settings == nullptr) return;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    if (id == GAMMA_INPUT_GAMMA && notification == NOTIFY_CHANGED) {
        // The input gamma never reaches the pixels: only the text changes.
        settings->inputGammaIndex = PopupListChoice(dialog, GAMMA_INPUT_GAMMA);
        GammaShowTexts(dialog, settings, 0);
    } else if (id == GAMMA_SLIDER && notification == NOTIFY_MOVED) {
        settings->factor = GammaFactorOf(SliderPosition(dialog, GAMMA_SLIDER));
        GammaShowTexts(dialog, settings, 1);
    } else if (id == GAMMA_SLIDER && notification == NOTIFY_RELEASED) {
        settings->factor = GammaFactorOf(SliderPosition(dialog, GAMMA_SLIDER));
        GammaShowTexts(dialog, settings, 1);
        RefreshPreview(settings, &GAMMA_KIND);
    }
}

static MessageResult GammaProcedure(WindowHandle dialog, uint32_t message, uintptr_t wParam,
                                    intptr_t lParam)
{
    GammaSettings *settings = GammaOf(dialog);
    if (TransformDialogMessage(dialog, message, wParam, lParam, &GAMMA_KIND, settings)) return 0;
    switch (message) {
    case MSG_COMMAND: GammaCommand(dialog, wParam); return 0;
    case MSG_DESTROY:
        if (settings != nullptr) GammaSaved = *settings;
        PlatformGetWindowRect(dialog, &GammaPlacement);
        GammaUseDefaults = 0;
        MemoryFree(settings);
        PlatformSetWindowWord(dialog, WORD_POINTER, 0);
        return 0;
    default: return PlatformDefaultProcedure(dialog, message, wParam, lParam);
    }
}

ErrorCode OpenGammaDialog(WindowHandle input)
{
    if (DialogWindow != nullptr) {
        PlatformActivateWindow(DialogWindow);
        return ERROR_NONE;
    }
    const ImageWindow *record = input != nullptr ? WindowRecord(input) : nullptr;
    if (record == nullptr || !GammaAccepts(record->picture.image.type)) return ERROR_ILLEGAL_TYPE;
    // Shift held at opening starts afresh, as does a program that keeps no settings.
    if (!Prefs.stickySettings || PlatformShiftDown()) GammaUseDefaults = 1;
    GammaSettings *settings = (GammaSettings *)MemoryAlloc(sizeof(GammaSettings));
    if (settings == nullptr) return ERROR_NO_MEMORY;
    if (GammaUseDefaults)
        GammaSettingsDefault(settings);
    else
        *settings = GammaSaved;

    TransformTakeInput(input);
    WindowHandle dialog = CreateDialogWindow("Gamma Adjust", 400, 200, KIND_GAMMA, 0);
    if (dialog == nullptr) {
        MemoryFree(settings);
        return ERROR_NO_MEMORY;
    }
    PlatformSetWindowWord(dialog, WORD_POINTER, (intptr_t)settings);
    // The dialog's own mark comes first: a refused close names the transformation.
    MarkInUse(dialog, input, GAMMA_KIND.name, 1);

    int x = Margin;
    int y = Margin;
    int buttonsRight = CreateTransformButtons(dialog, x, y);
    int width = TransformDialogClientWidth(buttonsRight, GAMMA_CONTENT_WIDTH) - 2 * Margin;
    y += ButtonHeight + Margin;
    Rect chooser = {x, y, x + width, y + CHOOSER_HEIGHT};
    InputChooserCreate(dialog, GAMMA_INPUT, &chooser, input, GammaAccepts);
    y += CHOOSER_HEIGHT + Margin;

    char items[64];
    int used = 0;
    for (int i = 0; i < GAMMA_INPUT_COUNT; i++)
        used +=
            FormatString(items + used, (int)sizeof items - used - 1, "%2f", GAMMA_INPUT_VALUES[i]) +
            1;
    items[used] = 0;
    Rect list = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, GAMMA_INPUT_GAMMA, &list, "Input gamma:", items,
                    settings->inputGammaIndex);
    y += ButtonHeight + Margin;
    y = TransformDialogText(dialog, GAMMA_OUTPUT_TEXT, "", x, y, width);
    y = TransformDialogText(dialog, GAMMA_FACTOR_TEXT, "", x, y, width);
    Rect slider = {x, y, x + width, y + SliderHeight};
    SliderCreate(dialog, GAMMA_SLIDER, &slider, GammaPositionOf(settings->factor));
    y += SliderHeight + Margin;
    GammaShowTexts(dialog, settings, 1);

    TransformDialogShow(dialog, width + 2 * Margin, y,
                        GammaUseDefaults ? nullptr : &GammaPlacement);
    return ERROR_NONE;
}

void GammaDialogRegister(void)
{
    ChildKindRegister(KIND_GAMMA, GammaProcedure);
}
