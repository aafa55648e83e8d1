// Start-up order: the core first, since every other table may use its depth tables.
#include "shell/Startup.h"

#include "color/ColorSpace.h"
#include "core/Core.h"

ErrorCode StartupInitialise(void)
{
    ErrorCode result = CoreInitialise();
    if (result != ERROR_NONE) return result;
    ColorSpaceInitialise();
    return ERROR_NONE;
}
