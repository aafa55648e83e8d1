// Start-up of the core: the shared tables, the preferences of a first start and the table
// of picture records. Programs and tests call it once before the first picture exists.
#pragma once

#include "core/Errors.h"

ErrorCode CoreInitialise(void);
