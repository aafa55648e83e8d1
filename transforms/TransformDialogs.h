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

// Registers the procedure of every dialog's window kind; part of Initialise.
void TransformDialogsRegister(void);

// Opens the dialog of the transformation whose menu command is command on input (see
// TransformDialogOpen). ERROR_NONE without doing anything for a command of none.
ErrorCode TransformDialogOpenByCommand(int command, WindowHandle input);
