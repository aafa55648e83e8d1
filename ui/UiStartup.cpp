// Start-up order: the core first, since every other table may use its depth tables.
#include "ui/UiStartup.h"

#include "color/ColorSettings.h"
#include "core/Core.h"
#include "ui/ImageWindow.h"
#include "ui/MessageBox.h"
#include "ui/ProgressWindow.h"

ErrorCode UiInitialise(void)
{
    ErrorCode result = CoreInitialise();
    if (result != ERROR_NONE) return result;
    ColorInitialise();
    SlotTableInitialise();
    MessageBoxInstall();
    ProgressWindowInstall();
    return ERROR_NONE;
}
