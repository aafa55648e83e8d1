// The color settings in .clrmgmt files, which name each profile by its description so that a
// file can move between machines. The settings store keeps them by path (shell/Preferences.h).
#include "color/ColorSettings.h"

#include "core/SettingsText.h"

// The reader of SettingsFileLoad: every line through ColorManagementLineApply. A profile
// missing here does not stop the file; it is reported once the file has been read.
static ErrorCode ColorManagementRead(FileHandle file, void *target)
{
    ColorSettings *settings = (ColorSettings *)target;
    ErrorCode missing = ERROR_NONE;
    int count;
    char **tokens;
    if (SettingsReadHeader(file, "ColorManagement")) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        if (SettingsLineIsEnd(count, tokens)) break;
        ErrorCode result = ColorManagementLineApply(settings, count, tokens);
        if (result == ERROR_ENUMERATE_PROFILES)
            missing = result;
        else if (result != ERROR_NONE)
            return result;
    }
    return missing;
}

static ErrorCode ColorManagementWrite(FileHandle file, const void *source)
{
    const ColorSettings *settings = (const ColorSettings *)source;
    char line[SETTINGS_VALUE_MAX];
    for (int index = 0; index < COLOR_FILE_LINE_COUNT; index++) {
        ColorManagementLineFormat(settings, index, line, sizeof line);
        ErrorCode result = WriteTextLine(file, line);
        if (result != ERROR_NONE) return result;
    }
    return ERROR_NONE;
}

ErrorCode ReadColorManagementFile(const char *path, ColorSettings *settings)
{
    return SettingsFileLoad(path, ColorManagementRead, settings);
}

ErrorCode WriteColorManagementFile(const char *path, const ColorSettings *settings)
{
    return SettingsFileSave(path, ColorManagementWrite, settings);
}
