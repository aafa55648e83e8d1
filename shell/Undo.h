// Undo of retouching: copies of the parts of pictures a tool is about to change, in groups
// that Undo puts back.
#pragma once

#include "core/Errors.h"
#include "core/Helpers.h"
#include "platform/Platform.h"
#include "ui/UiLayer.h"

// Undo of retouching. UndoPush(null, null) begins a new group; a rectangle is in picture
// pixels, inclusive, with rows as row indices (0 the bottom row), and is cut to the picture.
ErrorCode UndoPush(WindowHandle window, const Rect *rectangle);
void Undo(void);
void UndoAll(void);
void UndoDiscard(void);
void UndoForget(WindowHandle window);
int UndoAvailable(void);
