// The dialogs of the transformations, one for each TRANSFORM line of
// transforms/TransformList.def (NameDialog, in transforms/NameDialog.cpp). Each opens on the
// active image window from its menu command and follows the shared protocol of
// ui/Transform.h.
#pragma once

#include "ui/Transform.h"
#include "ui/UiLayer.h"

#define TRANSFORM(Name) extern const TransformDialogKind Name##Dialog;
#define TRANSFORM_WITHOUT_DIALOG(Name)
#include "transforms/TransformList.def"
#undef TRANSFORM
#undef TRANSFORM_WITHOUT_DIALOG

struct AmountSetting;

// The Amount control of a dialog, made at x, y, width wide, showing amount; masks must have
// the input's size. amount then takes the control's setting, so that a mask kept from the
// last opening is the picture it is now, or gone. Returns the y below it.
int TransformAmountCreate(WindowHandle dialog, int id, AmountSetting *amount, int x, int y,
                          int width);
// A command of the dialog: when it is the Amount control's (id), amount takes the control's
// setting and, unless a thumb is still moving, the preview follows. Returns 1 when it was.
int TransformAmountCommand(WindowHandle dialog, int id, AmountSetting *amount, uintptr_t wParam,
                           void *state, const TransformDialogKind *kind);
// Another input was taken: masks must have its size.
void TransformAmountInputTaken(WindowHandle dialog, int id);

// Registers the procedure of every dialog's window kind; part of Initialise.
void TransformDialogsRegister(void);

// Opens the dialog of the transformation whose menu command is command on input (see
// TransformDialogOpen). ERROR_NONE without doing anything for a command of none.
ErrorCode TransformDialogOpenByCommand(int command, WindowHandle input);
