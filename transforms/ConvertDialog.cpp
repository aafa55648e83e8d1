// The Convert dialog: what the input is, and the type to convert it to.
#include "core/FormatString.h"
#include "transforms/Convert.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

static const int CONVERT_CONTENT_WIDTH = 292;

// The targets in the order of their setting, zero-separated for the list.
static const char CONVERT_TARGETS[] = "1-bit Binary\0"
                                      "8-bit Black and White\0"
                                      "24-bit Color\0"
                                      "16-bit Black and White\0"
                                      "48-bit Color\0";

// What outlives one opening: the last settings and where the dialog stood.
static ConvertSettings ConvertSaved;
static TransformDialogMemory ConvertMemory = {&ConvertSaved, {}, 1};

// "Convert from: ..." for the input's type.
static void ConvertShowSource(WindowHandle dialog)
{
    const ImageWindow *record = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    const char *name = "";
    switch (record != nullptr ? record->picture.image.type : TYPE_EMPTY) {
    case TYPE_BINARY: name = "1-bit Binary"; break;
    case TYPE_GRAY8: name = "8-bit Black and White"; break;
    case TYPE_COLOR24: name = "24-bit Color"; break;
    case TYPE_GRAY16: name = "16-bit Black and White"; break;
    case TYPE_COLOR48: name = "48-bit Color"; break;
    default: break;
    }
    char text[64];
    FormatString(text, sizeof text, "Convert from: %s", name);
    PlatformSetControlText(dialog, CONVERT_FROM_TEXT, text);
}

static void ConvertInputTaken(WindowHandle dialog, void *params)
{
    (void)params;
    ConvertShowSource(dialog);
}

static void ConvertCommand(WindowHandle dialog, void *state, uintptr_t wParam)
{
    ConvertSettings *settings = (ConvertSettings *)state;
    if ((int)(wParam & 0xffff) == CONVERT_TARGET && (wParam >> 16) == NOTIFY_CHANGED) {
        settings->target = PopupListChoice(dialog, CONVERT_TARGET);
        RefreshPreview(settings, &ConvertDialog);
    }
}

// Below the chooser: what the input is, and the list of targets.
static int ConvertControls(WindowHandle dialog, void *state, int x, int y, int width)
{
    const ConvertSettings *settings = (const ConvertSettings *)state;
    y = TransformDialogText(dialog, CONVERT_FROM_TEXT, "", x, y, width);
    Rect list = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, CONVERT_TARGET, &list, "Convert to:", CONVERT_TARGETS,
                    settings->target);
    y += ButtonHeight + Margin;
    ConvertShowSource(dialog);
    return y;
}

const TransformDialogKind ConvertDialog = {&ConvertTransform,
                                           CONVERT_INPUT,
                                           ConvertInputTaken,
                                           CONVERT_CONTENT_WIDTH,
                                           sizeof(ConvertSettings),
                                           ConvertControls,
                                           ConvertCommand,
                                           nullptr,
                                           &ConvertMemory,
                                           DIALOG_BUTTONS_PREVIEW,
                                           nullptr};
