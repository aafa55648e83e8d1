// The preferences of a first start.
#include "core/Preferences.h"

#include <cstring>

Preferences Prefs;

void PreferencesDefault(Preferences *preferences)
{
    memset(preferences, 0, sizeof *preferences);
    preferences->confirm = 1;
    for (int i = 0; i < 3; i++) {
        preferences->workspace[i] = 64.0 / 255.0;
        preferences->borderColor[i] = 1.0;
    }
    preferences->borderWidth = 16;
    preferences->defaultResolution = 200.0;
    preferences->undo = UNDO_MULTIPLE;
    preferences->fileMenuLength = 9;
    preferences->defaultFileOpenType = 1;
    preferences->defaultFileSaveType = 1;
    preferences->honorFileSaveType = 1;
    preferences->defaultPreview = 1;
    preferences->smoothZoom = 1;
    preferences->resamplingMethod = 2;
    preferences->stickySettings = 1;
}
