// The dialogs of the transformations that the editor has so far: Gamma Adjust, Convert and
// Change Color Profile. Each opens on the active image window from its menu command and
// follows the shared protocol of shell/Transform.h; the ids of their controls let tests
// drive them.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "platform/Platform.h"
#include "ui/UiLayer.h"

// Controls of the three dialogs (the buttons are those of shell/Transform.h).
enum : int32_t {
    GAMMA_SLIDER = 101,
    GAMMA_INPUT_GAMMA = 102,
    GAMMA_INPUT = 103,
    GAMMA_OUTPUT_TEXT = 104, // "Output gamma: %2f"
    GAMMA_FACTOR_TEXT = 105, // "Gamma factor: %2f"

    CONVERT_TARGET = 102,
    CONVERT_INPUT = 103,
    CONVERT_FROM_TEXT = 104, // "Convert from: ..."

    CHANGE_PROFILE_CHANGE = 102,
    CHANGE_PROFILE_INPUT = 103,
    CHANGE_PROFILE_CURRENT = 104, // "Current color profile: %s"
    CHANGE_PROFILE_TARGET = 105,
    CHANGE_PROFILE_INTENT = 106,
};

// Register the dialogs' procedures; part of Initialise.
void GammaDialogRegister(void);
void ConvertDialogRegister(void);
void ChangeProfileDialogRegister(void);

// Opens a dialog on input, or brings the open one to the front. ERROR_ILLEGAL_TYPE for a
// picture the transformation does not take (Gamma Adjust: 8 and 16-bit gray and color;
// Change Color Profile: color), ERROR_NO_MEMORY when the dialog cannot be made.
ErrorCode OpenGammaDialog(WindowHandle input);
ErrorCode OpenConvertDialog(WindowHandle input);
ErrorCode OpenChangeProfileDialog(WindowHandle input);
