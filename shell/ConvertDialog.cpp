// The Convert dialog: what the input is, and the type to convert it to.
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "shell/Shell.h"
#include "shell/TransformDialogs.h"
#include "transforms/Convert.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"

static const int CONVERT_CONTENT_WIDTH = 292;

// The targets in the order of their setting, zero-separated for the list.
static const char CONVERT_TARGETS[] = "1-bit Binary\0"
                                      "8-bit Black and White\0"
                                      "24-bit Color\0"
                                      "16-bit Black and White\0"
                                      "48-bit Color\0";

static ConvertSettings ConvertSaved;
static Rect ConvertPlacement;
static int ConvertUseDefaults = 1;

static int ConvertAccepts(int type)
{
    return ImageIsPicture(type);
}

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

static ConvertSettings *ConvertOf(WindowHandle dialog)
{
    return (ConvertSettings *)PlatformGetWindowWord(dialog, WORD_POINTER);
}

static void ConvertInputTaken(WindowHandle dialog, void *params)
{
    (void)params;
    ConvertShowSource(dialog);
}

static const TransformDialogKind CONVERT_KIND = {
    "Convert", ConvertCompute, 1, CONVERT_INPUT, ConvertInputTaken, ConvertChangesNothing, nullptr};

static MessageResult ConvertProcedure(WindowHandle dialog, uint32_t message, uintptr_t wParam,
                                      intptr_t lParam)
{
    ConvertSettings *settings = ConvertOf(dialog);
    if (TransformDialogMessage(dialog, message, wParam, lParam, &CONVERT_KIND, settings)) return 0;
    switch (message) {
    case MSG_COMMAND:
        if (settings != nullptr && (int)(wParam & 0xffff) == CONVERT_TARGET &&
            (wParam >> 16) == NOTIFY_CHANGED) {
            settings->target = PopupListChoice(dialog, CONVERT_TARGET);
            RefreshPreview(settings, &CONVERT_KIND);
        }
        return 0;
    case MSG_DESTROY:
        if (settings != nullptr) ConvertSaved = *settings;
        PlatformGetWindowRect(dialog, &ConvertPlacement);
        ConvertUseDefaults = 0;
        MemoryFree(settings);
        PlatformSetWindowWord(dialog, WORD_POINTER, 0);
        return 0;
    default: return PlatformDefaultProcedure(dialog, message, wParam, lParam);
    }
}

ErrorCode OpenConvertDialog(WindowHandle input)
{
    if (DialogWindow != nullptr) {
        PlatformActivateWindow(DialogWindow);
        return ERROR_NONE;
    }
    const ImageWindow *record = input != nullptr ? WindowRecord(input) : nullptr;
    if (record == nullptr || !ConvertAccepts(record->picture.image.type)) return ERROR_ILLEGAL_TYPE;
    if (!Prefs.stickySettings || PlatformShiftDown()) ConvertUseDefaults = 1;
    ConvertSettings *settings = (ConvertSettings *)MemoryAlloc(sizeof(ConvertSettings));
    if (settings == nullptr) return ERROR_NO_MEMORY;
    if (ConvertUseDefaults)
        ConvertSettingsDefault(settings);
    else
        *settings = ConvertSaved;

    TransformTakeInput(input);
    WindowHandle dialog = CreateDialogWindow("Convert", 400, 200, KIND_CONVERT, 0);
    if (dialog == nullptr) {
        MemoryFree(settings);
        return ERROR_NO_MEMORY;
    }
    PlatformSetWindowWord(dialog, WORD_POINTER, (intptr_t)settings);
    // The dialog's own mark comes first: a refused close names the transformation.
    MarkInUse(dialog, input, CONVERT_KIND.name, 1);

    int x = Margin;
    int y = Margin;
    int buttonsRight = CreateTransformButtons(dialog, x, y);
    int width = TransformDialogClientWidth(buttonsRight, CONVERT_CONTENT_WIDTH) - 2 * Margin;
    y += ButtonHeight + Margin;
    Rect chooser = {x, y, x + width, y + CHOOSER_HEIGHT};
    InputChooserCreate(dialog, CONVERT_INPUT, &chooser, input, ConvertAccepts);
    y += CHOOSER_HEIGHT + Margin;
    y = TransformDialogText(dialog, CONVERT_FROM_TEXT, "", x, y, width);
    Rect list = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, CONVERT_TARGET, &list, "Convert to:", CONVERT_TARGETS,
                    settings->target);
    y += ButtonHeight + Margin;
    ConvertShowSource(dialog);

    TransformDialogShow(dialog, width + 2 * Margin, y,
                        ConvertUseDefaults ? nullptr : &ConvertPlacement);
    return ERROR_NONE;
}

void ConvertDialogRegister(void)
{
    ChildKindRegister(KIND_CONVERT, ConvertProcedure);
}
