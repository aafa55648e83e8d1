// The one way a transformation dialog opens and goes: on the active picture if its type is
// taken, as the one dialog there is, with the settings of the last opening or the defaults,
// where it stood last; at destruction its settings and place are kept for the next opening.
// A dialog gives only its own controls and commands (TransformDialogKind).
#include <cstring>

#include "core/Memory.h"
#include "core/Preferences.h"
#include "ui/Controls.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

ErrorCode TransformDialogOpen(const TransformDialogKind *kind, WindowHandle input)
{
    const TransformDescriptor *descriptor = kind->descriptor;
    TransformDialogMemory *memory = kind->memory;
    if (DialogWindow != nullptr) {
        PlatformActivateWindow(DialogWindow);
        return ERROR_NONE;
    }
    const ImageWindow *record = input != nullptr ? WindowRecord(input) : nullptr;
    if (record == nullptr || !descriptor->accepts(record->picture.image.type))
        return ERROR_ILLEGAL_TYPE;
    // Shift held at opening starts afresh, as does a program that keeps no settings.
    if (!Prefs.stickySettings || PlatformShiftDown()) memory->useDefaults = 1;
    void *state = MemoryAllocZero(kind->stateSize);
    if (state == nullptr) return ERROR_NO_MEMORY;
    if (memory->useDefaults)
        descriptor->defaults(state);
    else
        memcpy(state, memory->saved, descriptor->settingsSize);

    TransformTakeInput(input);
    WindowHandle dialog = CreateDialogWindow(descriptor->name, 400, 200, descriptor->kind, 0);
    if (dialog == nullptr) {
        MemoryFree(state);
        return ERROR_NO_MEMORY;
    }
    PlatformSetWindowWord(dialog, WORD_POINTER, (intptr_t)state);
    // The dialog's own mark comes first: a refused close names the transformation.
    MarkInUse(dialog, input, TransformInUseName(kind), 1);

    int x = Margin;
    int y = Margin;
    int buttonsRight = kind->buttons == DIALOG_BUTTONS_OK_CANCEL
                           ? CreateOkCancelButtons(dialog, x, y)
                           : CreateTransformButtons(dialog, x, y);
    int width = TransformDialogClientWidth(buttonsRight, kind->contentWidth) - 2 * Margin;
    y += ButtonHeight + Margin;
    Rect chooser = {x, y, x + width, y + CHOOSER_HEIGHT};
    InputChooserCreate(dialog, kind->chooserId, &chooser, input, descriptor->accepts);
    y += CHOOSER_HEIGHT + Margin;
    y = kind->controls(dialog, state, x, y, width);
    TransformDialogShow(dialog, width + 2 * Margin, y,
                        memory->useDefaults ? nullptr : &memory->placement);
    return ERROR_NONE;
}

MessageResult TransformDialogProcedure(WindowHandle dialog, uint32_t message, uintptr_t wParam,
                                       intptr_t lParam)
{
    const TransformDialogKind *kind =
        TransformDialogByKind((int)PlatformGetWindowWord(dialog, WORD_KIND));
    void *state = (void *)PlatformGetWindowWord(dialog, WORD_POINTER);
    if (kind == nullptr) return PlatformDefaultProcedure(dialog, message, wParam, lParam);
    // What the dialog shows of its input may have changed with the input's picture.
    if (state != nullptr && kind->inputTaken != nullptr &&
        (message == MSG_REFRESH || message == MSG_INPUT_CHANGED))
        kind->inputTaken(dialog, state);
    // A picture's mouse taken by the dialog is answered as taken, so that its drag stays
    // with the dialog.
    if (state != nullptr && kind->message != nullptr &&
        kind->message(dialog, state, message, wParam, lParam))
        return message == MSG_PICTURE_MOUSE ? 1 : 0;
    if (TransformDialogMessage(dialog, message, wParam, lParam, kind, state)) return 0;
    switch (message) {
    case MSG_COMMAND:
        if (state != nullptr && kind->command != nullptr) kind->command(dialog, state, wParam);
        return 0;
    case MSG_AMOUNT_CHANGED:
        // The dialog hears its Amount control as it hears a control's command: the id, and
        // the notification above it.
        if (state != nullptr && kind->command != nullptr)
            kind->command(dialog, state, (wParam & 0xffff) | (((uintptr_t)lParam & 0xffff) << 16));
        return 0;
    case MSG_DESTROY:
        // A dialog that waited for clicks on pictures (a probe) waits no more.
        if (ToolTarget == dialog) ToolTarget = nullptr;
        if (state != nullptr) {
            memcpy(kind->memory->saved, state, kind->descriptor->settingsSize);
            if (kind->forget != nullptr) kind->forget(state, kind->memory->saved);
        }
        PlatformGetWindowRect(dialog, &kind->memory->placement);
        kind->memory->useDefaults = 0;
        MemoryFree(state);
        PlatformSetWindowWord(dialog, WORD_POINTER, 0);
        return 0;
    default: return PlatformDefaultProcedure(dialog, message, wParam, lParam);
    }
}
