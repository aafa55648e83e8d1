// The table of the transformations' dialogs, made from transforms/TransformList.def, by the
// window kinds of their descriptors.
#include "transforms/TransformDialogs.h"

#include "masks/AmountControl.h"
#include "transforms/Transforms.h"
#include "ui/Controls.h"
#include "ui/ImageWindows.h"
#include "ui/UiState.h"

#define TRANSFORM(Name) &Name##Dialog,
#define TRANSFORM_WITHOUT_DIALOG(Name)
static const TransformDialogKind *const TRANSFORM_DIALOGS[] = {
#include "transforms/TransformList.def"
};
#undef TRANSFORM
#undef TRANSFORM_WITHOUT_DIALOG

static const int TRANSFORM_DIALOG_COUNT =
    (int)(sizeof TRANSFORM_DIALOGS / sizeof TRANSFORM_DIALOGS[0]);

const TransformDialogKind *TransformDialogByKind(int kind)
{
    for (int i = 0; i < TRANSFORM_DIALOG_COUNT; i++)
        if (TRANSFORM_DIALOGS[i]->descriptor->kind == kind) return TRANSFORM_DIALOGS[i];
    return nullptr;
}

void TransformDialogsRegister(void)
{
    for (int i = 0; i < TRANSFORM_DIALOG_COUNT; i++)
        ChildKindRegister(TRANSFORM_DIALOGS[i]->descriptor->kind, TransformDialogProcedure);
}

ErrorCode TransformDialogOpenByCommand(int command, WindowHandle input)
{
    const TransformDescriptor *transform = TransformByCommand(command);
    const TransformDialogKind *kind =
        transform != nullptr ? TransformDialogByKind(transform->kind) : nullptr;
    return kind != nullptr ? TransformDialogOpen(kind, input) : ERROR_NONE;
}

// The Amount control is as tall as its caption and its slider, and a little room for the
// square's frame.
static int TransformAmountHeight(void)
{
    return LineHeight + SliderHeight + 4;
}

int TransformAmountCreate(WindowHandle dialog, int id, AmountSetting *amount, int x, int y,
                          int width)
{
    Rect rect = {x, y, x + width, y + TransformAmountHeight()};
    WindowHandle control =
        AmountCreate(dialog, id, &rect, amount->label, amount->bipolar, InputWindow);
    if (control != nullptr) {
        AmountSet(control, amount);
        AmountGet(control, amount);
    } else {
        amount->maskImage = nullptr;
        amount->maskWindow = nullptr;
        amount->high = AMOUNT_NO_MASK;
    }
    return rect.bottom + Margin;
}

int TransformAmountCommand(WindowHandle dialog, int id, AmountSetting *amount, uintptr_t wParam,
                           void *state, const TransformDialogKind *kind)
{
    if ((int)(wParam & 0xffff) != id) return 0;
    WindowHandle control = PlatformControl(dialog, id);
    if (control == nullptr) return 1;
    AmountGet(control, amount);
    if (((wParam >> 16) & 0xffff) != NOTIFY_MOVED) RefreshPreview(state, kind);
    return 1;
}

void TransformAmountInputTaken(WindowHandle dialog, int id)
{
    WindowHandle control = PlatformControl(dialog, id);
    const ImageWindow *input = ShownPicture(InputWindow);
    if (control != nullptr && input != nullptr)
        AmountSetTargetSize(control, input->picture.image.width, input->picture.image.height);
}
