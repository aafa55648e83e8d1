// Start-up of the core.
#include "core/Core.h"

#include "core/Image.h"
#include "core/Preferences.h"

ErrorCode CoreInitialise(void)
{
    BuildDepthTables();
    PreferencesDefault(&Prefs);
    return BuildLerpTable();
}
