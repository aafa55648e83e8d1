// The Gamma Adjust dialog: the input chooser, the input gamma the picture was made for (it
// only explains the result), the two lines of text, the slider of the factor, and the
// Amount.
//
// The factor is the slider's position on a logarithmic scale, so that the middle is 1.0 and
// both directions take the same travel to double or halve the effect: 0 is 1/e, 1024 is e.
#include <cmath>

#include "core/FormatString.h"
#include "core/Helpers.h"
#include "transforms/GammaAdjust.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int GAMMA_CONTENT_WIDTH = 292; // pixels of the chooser, the list and the slider

// What outlives one opening: the last settings and where the dialog stood.
static GammaSettings GammaSaved;
static TransformDialogMemory GammaMemory = {&GammaSaved, {}, 1};

static double GammaFactorOf(int position)
{
    return exp(position / 512.0 - 1.0);
}

static int GammaPositionOf(double factor)
{
    int position = Round((log(factor) + 1.0) * 512.0);
    return position < 0 ? 0 : (position > SLIDER_POSITIONS ? SLIDER_POSITIONS : position);
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

// The dialog's own controls; the buttons are the shared handling's.
static void GammaCommand(WindowHandle dialog, void *state, uintptr_t wParam)
{
    GammaSettings *settings = (GammaSettings *)state;
    if (TransformAmountCommand(dialog, GAMMA_AMOUNT, &settings->amount, wParam, state,
                               &GammaDialog))
        return;
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
        RefreshPreview(settings, &GammaDialog);
    }
}

// Below the chooser: the input gamma's list, the two lines of text and the slider.
static int GammaControls(WindowHandle dialog, void *state, int x, int y, int width)
{
    GammaSettings *settings = (GammaSettings *)state;
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
    y = TransformAmountCreate(dialog, GAMMA_AMOUNT, &settings->amount, x, y, width);
    GammaShowTexts(dialog, settings, 1);
    return y;
}

static void GammaInputTaken(WindowHandle dialog, void *state)
{
    (void)state;
    TransformAmountInputTaken(dialog, GAMMA_AMOUNT);
}

const TransformDialogKind GammaDialog = {
    &GammaTransform, GAMMA_INPUT,  GammaInputTaken, GAMMA_CONTENT_WIDTH, sizeof(GammaSettings),
    GammaControls,   GammaCommand, nullptr,         &GammaMemory,        DIALOG_BUTTONS_PREVIEW,
    nullptr};
