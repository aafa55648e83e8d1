// Start-up of everything below the windows: the core's tables and records, then the tables
// of the subsystems above it. The editor, vistel-cli and the tests run it once.
#pragma once

#include "core/Errors.h"

ErrorCode StartupInitialise(void);
