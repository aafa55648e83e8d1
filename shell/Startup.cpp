// Start-up order: the core first, since every other table may use its depth tables.
#include "shell/Startup.h"

#include "color/ColorSettings.h"
#include "color/ColorSpace.h"
#include "core/Core.h"

ErrorCode StartupInitialise(void)
{
    ErrorCode result = CoreInitialise();
    if (result != ERROR_NONE) return result;
    ColorSpaceInitialise();
    // Color management starts from the settings of a first start; the program reads the
    // stored ones and loads the profiles itself when it knows where its store is.
    ColorSettingsDefault(&CurrentColorSettings);
    return ERROR_NONE;
}
