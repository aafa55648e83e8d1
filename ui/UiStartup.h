// Start-up of everything below the editor's shell: the core's tables, color, the table of
// picture windows, and the hooks through which work below the windows shows its notices and
// progress in windows. The
// editor and the tests run it once before anything else; vistel-cli installs hooks of its own.
#pragma once

#include "core/Errors.h"
#include "ui/UiLayer.h"

ErrorCode UiInitialise(void);
