// Color management settings: defaults, the start-up checks of the five profiles, and the
// lines of a .clrmgmt file. A profile that cannot be used is reported once, here, and then
// treated as not set, so that no later conversion trips over it; its path stays, so that a
// profile that comes back (a remounted disk) is used at the next start.
#include "color/ColorSettings.h"

#include <cstdlib>
#include <cstring>
#include <lcms2.h>
#include <sys/stat.h>

#include "color/ColorSpace.h"
#include "color/ProfileHeader.h"
#include "color/Profiles.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Text.h"

ColorSettings CurrentColorSettings;

const char *const COLOR_INTENT_LABELS[COLOR_INTENT_COUNT] = {
    "Maintain Full Gamut",
    "Preserve Saturation",
    "Preserve Identical Colors",
    "Preserve Identical Colors and White Point",
    "Preserve Identical Colors + Black Point Compensation",
};

// Profiles that older installations shipped beside the program; any that the bundled folder
// holds and the color folders lack are copied to the user's color folder at start-up.
static const char *const BUNDLED_PROFILES[] = {
    "Bruce RGB.icm",     "Chrome 2000 D50.icm", "Chrome 2000 D65.icm",
    "CIE RGB.icm",       "NTSC (1965).icm",     "PAL-SECAM.icm",
    "SMPTE-240M.icm",    "SMPTE-C.icm",         "sRGB Color Space Profile.icm",
    "Universal RGB.icm", "Wide Gamut RGB.icm",
};

// What each profile of the settings must be, and what the user is told when it is not.
struct ProfileCheck {
    const char *classes; // allowed device classes
    int mustBeRgb;
    const char *cannotOpen;
    const char *readError;
    const char *wrongClass;
    const char *notRgb;
};

static const ProfileCheck PROFILE_CHECKS[COLOR_PROFILE_COUNT] = {
    {"mntr spac", 0, "Cannot locate working color space profile",
     "Error reading working color space profile",
     "Working color space profile is not a monitor profile", nullptr},
    {"mntr spac scnr", 1, "Cannot locate assumed color space profile",
     "Error reading assumed color space profile",
     "Assumed color space profile is not a monitor profile",
     "Assumed color space profile is not an RGB profile"},
    {"mntr spac scnr", 1, "Cannot locate assumed scanner color space profile",
     "Error reading assumed scanner profile",
     "Assumed scanner profile is not a scanner or monitor profile",
     "Assumed scanner profile is not an RGB profile"},
    {"mntr spac", 1, "Cannot locate monitor profile", "Error reading monitor profile",
     "Invalid monitor profile", "Monitor profile is not an RGB profile"},
    {"prtr mntr", 0, "Cannot locate proofing device profile",
     "Error reading proofing device profile",
     "Proofing device profile is not a printer or monitor profile", nullptr},
};

void ColorInitialise(void)
{
    ColorSpaceInitialise();
    ColorSettingsDefault(&CurrentColorSettings);
}

void ColorSettingsDefault(ColorSettings *settings)
{
    memset(settings, 0, sizeof *settings);
    // Every display our platforms drive has at least 16 bits a pixel, and Little CMS is
    // always there, so color management is available wherever the program runs.
    settings->available = 1;
    settings->enabled = settings->available;
    settings->engine = COLOR_ENGINE_LCMS;
    settings->monitorIntent = COLOR_INTENT_FULL_GAMUT;
    settings->proofIntent = COLOR_INTENT_FULL_GAMUT;
    settings->gamutAlarm = 0;
    settings->gamutAlarmColor[0] = 128;
    settings->gamutAlarmColor[1] = 128;
    settings->gamutAlarmColor[2] = 128;
    settings->onMismatch = MISMATCH_ASK;
}

// The path of a profile index; the one place that maps indices to fields.
static const char *SettingsPath(const ColorSettings *settings, int which)
{
    switch (which) {
    case COLOR_PROFILE_WORKING: return settings->workingPath;
    case COLOR_PROFILE_ASSUMED_FILE: return settings->assumedFilePath;
    case COLOR_PROFILE_ASSUMED_SCANNER: return settings->assumedScannerPath;
    case COLOR_PROFILE_MONITOR: return settings->monitorPath;
    default: return settings->proofPath;
    }
}

char *ColorSettingsPath(ColorSettings *settings, int which)
{
    return (char *)SettingsPath(settings, which);
}

void ColorSettingsRelease(ColorSettings *settings)
{
    for (int i = 0; i < COLOR_PROFILE_COUNT; i++) {
        MemoryRelease(&settings->loaded[i].bytes);
        settings->loaded[i].length = 0;
    }
    MemoryRelease(&settings->monitorInUse.bytes);
    settings->monitorInUse.length = 0;
    settings->monitorSource = MONITOR_NONE;
    if (settings->monitorHandle != nullptr) cmsCloseProfile(settings->monitorHandle);
    if (settings->proofHandle != nullptr) cmsCloseProfile(settings->proofHandle);
    settings->monitorHandle = nullptr;
    settings->proofHandle = nullptr;
}

// 1 when a file or folder exists at folder/name.
static int FileExistsIn(const char *folder, const char *name)
{
    char path[PATH_LENGTH];
    struct stat status;
    if (folder[0] == 0) return 0;
    FormatString(path, sizeof path, "%s/%s", folder, name);
    return stat(path, &status) == 0;
}

// Makes folder and the folders above it that are missing; 0 when it cannot.
static int FolderMake(const char *folder)
{
    char path[PATH_LENGTH];
    StrCopyLimit(folder, path, PATH_LENGTH - 1);
    for (char *at = path + 1; *at != 0; at++) {
        if (*at != '/') continue;
        *at = 0;
        mkdir(path, 0755);
        *at = '/';
    }
    struct stat status;
    return mkdir(path, 0755) == 0 || (stat(path, &status) == 0 && S_ISDIR(status.st_mode));
}

// Copies the bundled profiles that neither color folder has into the user's. A profile that
// cannot be copied is simply not offered; the user is not troubled with it.
static void CopyBundledProfiles(void)
{
    const char *bundled = ProfileFolderBundled();
    const char *user = ProfileFolderUser();
    if (bundled[0] == 0 || user[0] == 0) return;
    for (const char *name : BUNDLED_PROFILES) {
        char source[PATH_LENGTH];
        char target[PATH_LENGTH];
        uint8_t *bytes = nullptr;
        int length = 0;
        SafeFile safe;
        if (FileExistsIn(user, name) || FileExistsIn(ProfileFolderSystem(), name)) continue;
        if (!FileExistsIn(bundled, name) || !FolderMake(user)) continue;
        FormatString(source, sizeof source, "%s/%s", bundled, name);
        FormatString(target, sizeof target, "%s/%s", user, name);
        SafeFileReset(&safe);
        if (ProfileFileRead(source, &bytes, &length) == ERROR_NONE &&
            SafeFileCreate(target, &safe) == ERROR_NONE &&
            FileWrite(safe.file, bytes, length) == ERROR_NONE)
            SafeFileCommit(&safe);
        SafeFileAbandon(&safe);
        MemoryFree(bytes);
    }
}

// 1 when signature is one of the blank-separated words of list.
static int SignatureAllowed(const char *signature, const char *list)
{
    size_t length = strlen(signature);
    for (const char *at = list; *at != 0;) {
        const char *end = strchr(at, ' ');
        if (end == nullptr) end = at + strlen(at);
        if ((size_t)(end - at) == length && memcmp(at, signature, length) == 0) return 1;
        at = *end == ' ' ? end + 1 : end;
    }
    return 0;
}

// Loads the profile of one setting and checks it; on any failure gives notice, frees
// the bytes and returns 0.
static int ProfileLoadChecked(ColorSettings *settings, int which)
{
    const ProfileCheck *check = &PROFILE_CHECKS[which];
    LoadedProfile *loaded = &settings->loaded[which];
    const char *path = ColorSettingsPath(settings, which);
    char signature[8];
    const char *problem = nullptr;
    ErrorCode result;

    result = ProfileFileRead(path, &loaded->bytes, &loaded->length);
    if (result == ERROR_OPEN_FILE)
        problem = check->cannotOpen;
    else if (result != ERROR_NONE)
        problem = check->readError;
    if (problem == nullptr) {
        // A file too short for a header reads as the class "****", which no check allows.
        ProfileClass(loaded->bytes, loaded->length, signature, sizeof signature);
        if (!SignatureAllowed(signature, check->classes)) problem = check->wrongClass;
    }
    if (problem == nullptr && check->mustBeRgb) {
        ProfileColorSpace(loaded->bytes, loaded->length, signature, sizeof signature);
        if (strcmp(signature, "RGB") != 0) problem = check->notRgb;
    }
    if (problem != nullptr) {
        Notice("Error", "%s", problem);
    } else {
        // The header is right; the engine must also take the tags, and the description must
        // read, or every conversion and list would trip over this profile later with less to
        // say.
        char description[PROFILE_DESCRIPTION_MAX];
        cmsHPROFILE profile = cmsOpenProfileFromMem(loaded->bytes, (cmsUInt32Number)loaded->length);
        if (profile != nullptr) cmsCloseProfile(profile);
        if (profile != nullptr && ProfileDescription(loaded->bytes, loaded->length, description,
                                                     sizeof description) == ERROR_NONE)
            return 1;
        Notice("Error", "%s", ErrorText(ERROR_INVALID_PROFILE));
    }
    MemoryRelease(&loaded->bytes);
    loaded->length = 0;
    return 0;
}

// 1 when bytes are a profile the display could be shown through: of a monitor's or a color
// space's class, RGB, and whole enough for the engine and for its description.
static int MonitorProfileUsable(const uint8_t *bytes, int length)
{
    char signature[8];
    char description[PROFILE_DESCRIPTION_MAX];
    if (bytes == nullptr || length <= 0) return 0;
    ProfileClass(bytes, length, signature, sizeof signature);
    if (!SignatureAllowed(signature, PROFILE_CHECKS[COLOR_PROFILE_MONITOR].classes)) return 0;
    ProfileColorSpace(bytes, length, signature, sizeof signature);
    if (strcmp(signature, "RGB") != 0) return 0;
    if (ProfileDescription(bytes, length, description, sizeof description) != ERROR_NONE) return 0;
    cmsHPROFILE profile = cmsOpenProfileFromMem(bytes, (cmsUInt32Number)length);
    if (profile == nullptr) return 0;
    cmsCloseProfile(profile);
    return 1;
}

// The profile the display is shown through: the choice when it loaded, else the desktop's
// when it is usable, else sRGB. The desktop's is not the user's doing, so a bad one is
// passed over without a word.
static void MonitorInUseChoose(ColorSettings *settings, DisplayProfileSource display)
{
    LoadedProfile *chosen = &settings->loaded[COLOR_PROFILE_MONITOR];
    LoadedProfile *inUse = &settings->monitorInUse;
    uint8_t *bytes = nullptr;
    int32_t length = 0;
    const uint8_t *source = nullptr;
    int sourceLength = 0;
    if (chosen->bytes != nullptr) {
        source = chosen->bytes;
        sourceLength = chosen->length;
        settings->monitorSource = MONITOR_CHOSEN;
    } else if (display != nullptr && display(&bytes, &length) &&
               MonitorProfileUsable(bytes, length)) {
        inUse->bytes = bytes;
        inUse->length = length;
        settings->monitorSource = MONITOR_DISPLAY;
        return;
    } else if (SrgbProfile(&source, &sourceLength) == ERROR_NONE) {
        settings->monitorSource = MONITOR_STANDARD;
    }
    MemoryFree(bytes);
    if (source == nullptr) return;
    inUse->bytes = (uint8_t *)MemoryAlloc((size_t)sourceLength);
    if (inUse->bytes == nullptr) {
        settings->monitorSource = MONITOR_NONE;
        return;
    }
    memcpy(inUse->bytes, source, (size_t)sourceLength);
    inUse->length = sourceLength;
}

void InitColorSettings(DisplayProfileSource display)
{
    ColorSettings *settings = &CurrentColorSettings;

    ColorSettingsRelease(settings);
    if (!settings->available) {
        settings->enabled = 0;
        return;
    }
    settings->engine = COLOR_ENGINE_LCMS;
    CopyBundledProfiles();
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++) {
        if (ColorSettingsPath(settings, which)[0] == 0) continue;
        ProfileLoadChecked(settings, which);
    }

    // The monitor and proofing profiles stay open for the display transforms.
    MonitorInUseChoose(settings, display);
    LoadedProfile *monitor = &settings->monitorInUse;
    LoadedProfile *proof = &settings->loaded[COLOR_PROFILE_PROOF];
    if (monitor->bytes != nullptr)
        settings->monitorHandle =
            cmsOpenProfileFromMem(monitor->bytes, (cmsUInt32Number)monitor->length);
    if (proof->bytes != nullptr)
        settings->proofHandle = cmsOpenProfileFromMem(proof->bytes, (cmsUInt32Number)proof->length);
    if ((monitor->bytes != nullptr && settings->monitorHandle == nullptr) ||
        (proof->bytes != nullptr && settings->proofHandle == nullptr))
        // They opened a moment ago: only memory can fail now.
        Notice("Error", "%s", ErrorText(ERROR_NO_MEMORY));
}

void ShutdownColorSettings(void)
{
    ColorSettingsRelease(&CurrentColorSettings);
    SrgbProfileFree();
}

const uint8_t *ColorProfileBytes(int which, int *length)
{
    *length = 0;
    if (which < 0 || which >= COLOR_PROFILE_COUNT) return nullptr;
    const LoadedProfile *loaded = &CurrentColorSettings.loaded[which];
    if (loaded->bytes == nullptr) return nullptr;
    *length = loaded->length;
    return loaded->bytes;
}

const uint8_t *ColorMonitorInUse(int *length)
{
    const LoadedProfile *inUse = &CurrentColorSettings.monitorInUse;
    *length = inUse->bytes != nullptr ? inUse->length : 0;
    return inUse->bytes;
}

void ColorMonitorAutomaticDescription(DisplayProfileSource display, char *text, int capacity)
{
    uint8_t *bytes = nullptr;
    int32_t length = 0;
    const uint8_t *described = nullptr;
    int describedLength = 0;
    if (display != nullptr && display(&bytes, &length) && MonitorProfileUsable(bytes, length)) {
        described = bytes;
        describedLength = length;
    } else {
        SrgbProfile(&described, &describedLength);
    }
    if (described == nullptr ||
        ProfileDescription(described, describedLength, text, capacity) != ERROR_NONE)
        FormatString(text, capacity, "sRGB");
    MemoryFree(bytes);
}

int ColorIntentEngine(int intentIndex)
{
    switch (intentIndex) {
    case COLOR_INTENT_SATURATION: return INTENT_SATURATION;
    case COLOR_INTENT_IDENTICAL: return INTENT_RELATIVE_COLORIMETRIC;
    case COLOR_INTENT_IDENTICAL_WHITE: return INTENT_ABSOLUTE_COLORIMETRIC;
    case COLOR_INTENT_IDENTICAL_BLACK: return INTENT_RELATIVE_COLORIMETRIC;
    default: return INTENT_PERCEPTUAL;
    }
}

uint32_t ColorIntentFlags(int intentIndex)
{
    return intentIndex == COLOR_INTENT_IDENTICAL_BLACK ? cmsFLAGS_BLACKPOINTCOMPENSATION : 0;
}

int ColorEngineFromValue(int value)
{
    (void)value;
    return COLOR_ENGINE_LCMS;
}

void ColorEngineList(char *list, int capacity)
{
    static const char LCMS[] = "lcms";
    if (capacity < (int)sizeof LCMS + 1) {
        if (capacity > 0) list[0] = 1;
        return;
    }
    memcpy(list, LCMS, sizeof LCMS);
    list[sizeof LCMS] = 1;
}

// A whole number token within low..high; 0 when it is not one.
static int ParseBounded(const char *token, int low, int high, int *value)
{
    char *end = nullptr;
    long number = strtol(token, &end, 10);
    if (end == token || *end != 0 || number < low || number > high) return 0;
    *value = (int)number;
    return 1;
}

// Sets a profile path from its description; an empty description clears it.
static ErrorCode ApplyDescription(ColorSettings *settings, int which, const char *description)
{
    char path[PATH_LENGTH];
    if (description[0] == 0) {
        ColorSettingsPath(settings, which)[0] = 0;
        return ERROR_NONE;
    }
    ErrorCode result = FindProfileByDescription(description, path, sizeof path);
    if (result == ERROR_NONE)
        StrCopyLimit(path, ColorSettingsPath(settings, which), PATH_LENGTH - 1);
    return result;
}

ErrorCode ColorManagementLineApply(ColorSettings *settings, int count, char **tokens)
{
    static const struct {
        const char *key;
        int which;
    } DESCRIPTIONS[] = {
        {"wcsprofile", COLOR_PROFILE_WORKING},
        {"acsprofile", COLOR_PROFILE_ASSUMED_FILE},
        {"ascsprofile", COLOR_PROFILE_ASSUMED_SCANNER},
    };
    const char *key;
    int value;
    int color[3];

    if (count < 1) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
    key = tokens[0];
    if (StrEqualNoCase(key, "moncal")) return ERROR_NONE;
    for (const auto &line : DESCRIPTIONS) {
        if (!StrEqualNoCase(key, line.key)) continue;
        if (count != 2) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        return ApplyDescription(settings, line.which, tokens[1]);
    }
    if (StrEqualNoCase(key, "monitorprofile") || StrEqualNoCase(key, "proofprofile")) {
        int monitor = StrEqualNoCase(key, "monitorprofile");
        if (count != 3 || !ParseBounded(tokens[2], 0, COLOR_INTENT_COUNT - 1, &value))
            return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        // The intent belongs to the line even when its profile is missing here.
        if (monitor)
            settings->monitorIntent = value;
        else
            settings->proofIntent = value;
        return ApplyDescription(settings, monitor ? COLOR_PROFILE_MONITOR : COLOR_PROFILE_PROOF,
                                tokens[1]);
    }
    if (StrEqualNoCase(key, "gamutalarmcolor")) {
        if (count != 4) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        for (int i = 0; i < 3; i++)
            if (!ParseBounded(tokens[1 + i], 0, 255, &color[i]))
                return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        for (int i = 0; i < 3; i++)
            settings->gamutAlarmColor[i] = (uint8_t)color[i];
        return ERROR_NONE;
    }
    if (count != 2) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
    if (StrEqualNoCase(key, "enabled")) {
        if (!ParseBounded(tokens[1], 0, 1, &value)) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        settings->enabled = value;
    } else if (StrEqualNoCase(key, "colorengine")) {
        if (!ParseBounded(tokens[1], INT32_MIN, INT32_MAX, &value))
            return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        settings->engine = ColorEngineFromValue(value);
    } else if (StrEqualNoCase(key, "onmismatch")) {
        if (!ParseBounded(tokens[1], MISMATCH_ASK, MISMATCH_KEEP, &value))
            return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        settings->onMismatch = value;
    } else if (StrEqualNoCase(key, "gamutalarm")) {
        if (!ParseBounded(tokens[1], 0, 1, &value)) return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
        settings->gamutAlarm = value;
    } else {
        return ERROR_ILLEGAL_COLOR_SETTINGS_FILE;
    }
    return ERROR_NONE;
}

// The description of the profile at path for a settings file, "" for none or one that
// cannot be read. A double quote would end the quoted field early, so it becomes a single
// one.
static void DescriptionOfPath(const char *path, char *text, int capacity)
{
    uint8_t *bytes = nullptr;
    int length = 0;
    text[0] = 0;
    if (path[0] != 0 && ProfileFileRead(path, &bytes, &length) == ERROR_NONE &&
        ProfileDescription(bytes, length, text, capacity) != ERROR_NONE)
        text[0] = 0;
    MemoryFree(bytes);
    for (char *at = text; *at != 0; at++)
        if (*at == '"') *at = '\'';
}

void ColorManagementLineFormat(const ColorSettings *settings, int index, char *line, int capacity)
{
    char description[PROFILE_DESCRIPTION_MAX];
    switch (index) {
    case 0: FormatString(line, capacity, "ColorManagement 1.0"); break;
    case 1: FormatString(line, capacity, "enabled %d", settings->enabled); break;
    case 2: FormatString(line, capacity, "colorengine %d", settings->engine); break;
    case 3:
    case 4:
    case 5: {
        static const char *const KEYS[3] = {"wcsprofile", "acsprofile", "ascsprofile"};
        DescriptionOfPath(SettingsPath(settings, index - 3), description, sizeof description);
        FormatString(line, capacity, "%s \"%s\"", KEYS[index - 3], description);
        break;
    }
    case 6: FormatString(line, capacity, "onmismatch %d", settings->onMismatch); break;
    case 7:
        DescriptionOfPath(settings->monitorPath, description, sizeof description);
        FormatString(line, capacity, "monitorprofile \"%s\" %d", description,
                     settings->monitorIntent);
        break;
    case 8:
        DescriptionOfPath(settings->proofPath, description, sizeof description);
        FormatString(line, capacity, "proofprofile \"%s\" %d", description, settings->proofIntent);
        break;
    case 9: FormatString(line, capacity, "gamutalarm %d", settings->gamutAlarm); break;
    case 10:
        FormatString(line, capacity, "gamutalarmcolor %d %d %d", settings->gamutAlarmColor[0],
                     settings->gamutAlarmColor[1], settings->gamutAlarmColor[2]);
        break;
    default: FormatString(line, capacity, "end"); break;
    }
}
