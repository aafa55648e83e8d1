// The table of the transformations' dialogs, made from transforms/TransformList.def, by the
// window kinds of their descriptors.
#include "transforms/TransformDialogs.h"

#include "transforms/Transforms.h"
#include "ui/ImageWindows.h"

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
