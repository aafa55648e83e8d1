// The color settings where they are kept: the "Color Settings" values of the settings store
// (paths, so that they survive a restart on this machine) and .clrmgmt files (descriptions,
// so that a file can move between machines).
#include "color/ColorSettings.h"

#include "shell/SettingsFile.h"

// The stored values of the profiles, by COLOR_PROFILE_* index.
static const char *const PROFILE_VALUES[COLOR_PROFILE_COUNT] = {
    "wcsprofile", "acsprofile", "ascsprofile", "monitorprofile", "proofprofile"};

// Reads an integer value into target when it exists and lies in minimum..maximum.
static void StoredInteger(const char *name, int minimum, int maximum, int32_t *target)
{
    int32_t value = *target;
    if (SettingsStoreIntegers(SETTINGS_KEY_COLOR, name, &value, 1) && value >= minimum &&
        value <= maximum)
        *target = value;
}

void ReadColorSettings(void)
{
    ColorSettings *settings = &CurrentColorSettings;
    int32_t engine = settings->engine;
    int32_t color[3] = {settings->gamutAlarmColor[0], settings->gamutAlarmColor[1],
                        settings->gamutAlarmColor[2]};

    StoredInteger("icmenabled", 0, 1, &settings->enabled);
    if (SettingsStoreIntegers(SETTINGS_KEY_COLOR, "colorengine", &engine, 1))
        settings->engine = ColorEngineFromValue(engine);
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        SettingsStoreText(SETTINGS_KEY_COLOR, PROFILE_VALUES[which],
                          ColorSettingsPath(settings, which), PATH_LENGTH);
    StoredInteger("monitorintent", 0, COLOR_INTENT_COUNT - 1, &settings->monitorIntent);
    StoredInteger("proofintent", 0, COLOR_INTENT_COUNT - 1, &settings->proofIntent);
    StoredInteger("gamutalarm", 0, 1, &settings->gamutAlarm);
    StoredInteger("onprofilemismatch", MISMATCH_ASK, MISMATCH_KEEP, &settings->onMismatch);
    if (SettingsStoreIntegers(SETTINGS_KEY_COLOR, "gamutalarmcolor", color, 3)) {
        for (int i = 0; i < 3; i++)
            if (color[i] >= 0 && color[i] <= 255) settings->gamutAlarmColor[i] = (uint8_t)color[i];
    }
    // Without color management on this machine nothing may switch it on.
    if (!settings->available) settings->enabled = 0;
}

void WriteColorSettings(void)
{
    ColorSettings *settings = &CurrentColorSettings;
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "icmenabled", "%d", settings->enabled);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "colorengine", "%d", settings->engine);
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        SettingsStoreWrite(SETTINGS_KEY_COLOR, PROFILE_VALUES[which], "\"%s\"",
                           ColorSettingsPath(settings, which));
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "monitorintent", "%d", settings->monitorIntent);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "proofintent", "%d", settings->proofIntent);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "gamutalarm", "%d", settings->gamutAlarm);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "gamutalarmcolor", "%d %d %d",
                       settings->gamutAlarmColor[0], settings->gamutAlarmColor[1],
                       settings->gamutAlarmColor[2]);
    SettingsStoreWrite(SETTINGS_KEY_COLOR, "onprofilemismatch", "%d", settings->onMismatch);
}

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
