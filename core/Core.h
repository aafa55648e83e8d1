// Start-up of the core: the shared tables and the preferences of a first start. Programs and
// tests call it once before the first picture exists.
#pragma once

#include "core/Errors.h"

ErrorCode CoreInitialise(void);
