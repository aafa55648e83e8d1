// The "Color Management Settings" dialog: the switch, the engine, the five profiles chosen
// by description from the color folders, the two rendering intents, the gamut alarm and what
// happens on a profile mismatch; .clrmgmt files loaded and saved; and the question whether
// to keep what changed. Kept settings go to the store and are loaded at once.
//
// The dialog works on a copy of the choices of the run, so that nothing changes for the
// open windows until the user keeps them.
#include <cstring>

#include "color/ColorSettings.h"
#include "color/ProfileHeader.h"
#include "color/Profiles.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "shell/Dialogs.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "ui/DialogLayout.h"
#include "ui/DisplayColor.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/SettingsOptions.h"
#include "ui/SettingsStore.h"

static const int PROFILE_LIST_CAPACITY = 32768; // bytes of the items of one profile list
static const int SMALL_LIST_CAPACITY = 512;

// What the dialog keeps beside its controls.
struct ColorDialogState {
    ColorSettings original; // the choices of the run when the dialog opened; nothing loaded
    ColorSettings edited;   // the choices the controls show
    char lists[COLOR_PROFILE_COUNT][PROFILE_LIST_CAPACITY]; // each profile list's items
    // Item 1 of a list is the profile its setting held when the list was made, when it held
    // one: its path stays the setting's while that item is chosen.
    int hasCurrent[COLOR_PROFILE_COUNT];
    char currentPaths[COLOR_PROFILE_COUNT][PATH_LENGTH];
    int settingControls; // 1 while the dialog itself fills its controls
};

// The lists of the five profiles, by COLOR_PROFILE_* index, with the device classes and
// color spaces each setting accepts.
struct ProfileList {
    int32_t id;
    const char *classes;
    const char *colorSpaces;
};

static const ProfileList PROFILE_LISTS[COLOR_PROFILE_COUNT] = {
    {COLOR_DIALOG_WORKING, "mntr spac", nullptr},
    {COLOR_DIALOG_ASSUMED_FILE, "mntr spac scnr", "RGB"},
    {COLOR_DIALOG_ASSUMED_SCANNER, "mntr spac scnr", "RGB"},
    {COLOR_DIALOG_MONITOR, "mntr spac", "RGB"},
    {COLOR_DIALOG_PROOF, "prtr mntr", nullptr},
};

static const char ENABLED_ITEMS[] = "Disabled\0Enabled\0";
static const char ALARM_ITEMS[] = "Off\0On\0";
static const char MISMATCH_ITEMS[] = "Ask\0Convert\0Don't Convert\0";
static const char COLOR_FILE_FILTERS[] = "Color Management Files\0*.clrmgmt\0";
static const char TEXT_FILE_FILTERS[] = "Text Files\0*.txt\0";

static const char SAVE_QUESTION[] = "Save modified settings?\nClick Yes to retain new "
                                    "settings.\nClick No to revert to previous settings.";
static const char ABANDON_QUESTION[] = "Abandon modified settings?\nClick Yes to revert to "
                                       "previous settings.\nClick No to retain new settings.";

static const DialogRow COLOR_ROWS[] = {
    {"Color Management:", CONTROL_POPUP_LIST, COLOR_DIALOG_ENABLED, 1, nullptr, 0, nullptr},
    {"Color Engine:", CONTROL_POPUP_LIST, COLOR_DIALOG_ENGINE, 1, nullptr, 0, nullptr},
    {"Working Color Space:", CONTROL_POPUP_LIST, COLOR_DIALOG_WORKING, 1, nullptr, 0, nullptr},
    {"Assumed File Profile:", CONTROL_POPUP_LIST, COLOR_DIALOG_ASSUMED_FILE, 1, nullptr, 0,
     nullptr},
    {"Assumed Scanner Profile:", CONTROL_POPUP_LIST, COLOR_DIALOG_ASSUMED_SCANNER, 1, nullptr, 0,
     nullptr},
    {"Monitor Profile:", CONTROL_POPUP_LIST, COLOR_DIALOG_MONITOR, 1, nullptr, 0, nullptr},
    {"Monitor Rendering Intent:", CONTROL_POPUP_LIST, COLOR_DIALOG_MONITOR_INTENT, 1, nullptr, 0,
     nullptr},
    {"Proofing Profile:", CONTROL_POPUP_LIST, COLOR_DIALOG_PROOF, 1, nullptr, 0, nullptr},
    {"Proofing Rendering Intent:", CONTROL_POPUP_LIST, COLOR_DIALOG_PROOF_INTENT, 1, nullptr, 0,
     nullptr},
    {"Gamut Alarm:", CONTROL_POPUP_LIST, COLOR_DIALOG_GAMUT_ALARM, 1, nullptr, 0, nullptr},
    {"Gamut Alarm Color", CONTROL_EDIT, COLOR_DIALOG_GAMUT_COLOR, 3, "", 0, nullptr},
    {"On Profile Mismatch:", CONTROL_POPUP_LIST, COLOR_DIALOG_MISMATCH, 1, nullptr, 0, nullptr},
    // Calibration needs the video card's gamma ramps, which the platform does not reach.
    {"Monitor Calibration:", CONTROL_STATIC, COLOR_DIALOG_CALIBRATION, 1,
     "Not available on this platform", 0, nullptr},
};

static const DialogButton COLOR_BUTTONS[] = {
    {DIALOG_OK, "OK", CONTROL_DEFAULT},
    {DIALOG_CANCEL, "Cancel", 0},
    {COLOR_DIALOG_LOAD, "Load...", 0},
    {COLOR_DIALOG_SAVE, "Save As...", 0},
    {COLOR_DIALOG_PRINT_LIST, "Print Profile List...", 0},
};

// The choices of a record (not what is loaded from them), copied and compared.
static void ChoicesCopy(const ColorSettings *from, ColorSettings *to)
{
    to->enabled = from->enabled;
    to->engine = from->engine;
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        StrCopyLimit(ColorSettingsPath((ColorSettings *)from, which), ColorSettingsPath(to, which),
                     PATH_LENGTH - 1);
    to->monitorIntent = from->monitorIntent;
    to->proofIntent = from->proofIntent;
    to->gamutAlarm = from->gamutAlarm;
    memcpy(to->gamutAlarmColor, from->gamutAlarmColor, sizeof to->gamutAlarmColor);
    to->onMismatch = from->onMismatch;
}

static int ChoicesEqual(const ColorSettings *a, const ColorSettings *b)
{
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        if (strcmp(ColorSettingsPath((ColorSettings *)a, which),
                   ColorSettingsPath((ColorSettings *)b, which)) != 0)
            return 0;
    return a->enabled == b->enabled && a->engine == b->engine &&
           a->monitorIntent == b->monitorIntent && a->proofIntent == b->proofIntent &&
           a->gamutAlarm == b->gamutAlarm &&
           memcmp(a->gamutAlarmColor, b->gamutAlarmColor, sizeof a->gamutAlarmColor) == 0 &&
           a->onMismatch == b->onMismatch;
}

// Fills a profile list: "None", the profile the setting holds now, and the profiles of the
// color folders of the classes and color spaces the setting accepts.
static void ProfileListFill(WindowHandle window, ColorDialogState *state, int which)
{
    const char *path = ColorSettingsPath(&state->edited, which);
    char current[PROFILE_DESCRIPTION_MAX];
    uint8_t *bytes = nullptr;
    int length = 0;

    current[0] = 0;
    state->hasCurrent[which] = path[0] != 0;
    if (path[0] != 0) {
        if (ProfileFileRead(path, &bytes, &length) != ERROR_NONE ||
            ProfileDescription(bytes, length, current, sizeof current) != ERROR_NONE) {
            // A profile that cannot be read shows its path, so that the setting can be kept.
            TextShorten(path, PROFILE_DESCRIPTION_MAX - 1, current, sizeof current);
        }
        MemoryFree(bytes);
        StrCopyLimit(path, state->currentPaths[which], PATH_LENGTH - 1);
    }
    // No monitor profile chosen is not no profile: the display is shown through its own,
    // or through sRGB, and the first item says which.
    char first[PROFILE_DESCRIPTION_MAX + 16] = "None";
    if (which == COLOR_PROFILE_MONITOR) {
        char automatic[PROFILE_DESCRIPTION_MAX];
        ColorMonitorAutomaticDescription(PlatformDisplayProfile, automatic, sizeof automatic);
        FormatString(first, sizeof first, "Automatic (%s)", automatic);
    }
    // A folder that cannot be read, or a list too long, leaves what fitted: still a choice.
    char *list = state->lists[which];
    EnumerateProfiles(first, current[0] != 0 ? current : nullptr, PROFILE_LISTS[which].classes,
                      PROFILE_LISTS[which].colorSpaces, list, PROFILE_LIST_CAPACITY);
    ListToItems(list);
    PlatformSetControlItems(window, PROFILE_LISTS[which].id, list);
    PlatformSetControlValue(window, PROFILE_LISTS[which].id, state->hasCurrent[which] ? 1 : 0);
}

static void ProfileChosen(WindowHandle window, ColorDialogState *state, int which)
{
    int index = PlatformControlValue(window, PROFILE_LISTS[which].id);
    char *path = ColorSettingsPath(&state->edited, which);
    char found[PATH_LENGTH];
    if (index <= 0) {
        path[0] = 0;
    } else if (index == 1 && state->hasCurrent[which]) {
        StrCopyLimit(state->currentPaths[which], path, PATH_LENGTH - 1);
    } else if (FindProfileByDescription(ZListItem(state->lists[which], index), found,
                                        PATH_LENGTH) == ERROR_NONE) {
        StrCopyLimit(found, path, PATH_LENGTH - 1);
    }
}

static void ControlsFromSettings(WindowHandle window, ColorDialogState *state)
{
    const ColorSettings *edited = &state->edited;
    char items[SMALL_LIST_CAPACITY];
    int length = 0;

    state->settingControls = 1;
    PlatformSetControlItems(window, COLOR_DIALOG_ENABLED, ENABLED_ITEMS);
    PlatformSetControlValue(window, COLOR_DIALOG_ENABLED, edited->enabled != 0);
    PlatformEnableControl(window, COLOR_DIALOG_ENABLED, edited->available);
    ColorEngineList(items, sizeof items);
    ListToItems(items);
    PlatformSetControlItems(window, COLOR_DIALOG_ENGINE, items);
    PlatformSetControlValue(window, COLOR_DIALOG_ENGINE, 0); // the current engine comes first
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        ProfileListFill(window, state, which);

    for (int i = 0; i < COLOR_INTENT_COUNT; i++)
        length += FormatString(items + length, SMALL_LIST_CAPACITY - length - 1, "%s",
                               COLOR_INTENT_LABELS[i]) +
                  1;
    items[length] = 0;
    PlatformSetControlItems(window, COLOR_DIALOG_MONITOR_INTENT, items);
    PlatformSetControlValue(window, COLOR_DIALOG_MONITOR_INTENT, edited->monitorIntent);
    PlatformSetControlItems(window, COLOR_DIALOG_PROOF_INTENT, items);
    PlatformSetControlValue(window, COLOR_DIALOG_PROOF_INTENT, edited->proofIntent);
    PlatformSetControlItems(window, COLOR_DIALOG_GAMUT_ALARM, ALARM_ITEMS);
    PlatformSetControlValue(window, COLOR_DIALOG_GAMUT_ALARM, edited->gamutAlarm != 0);
    for (int i = 0; i < 3; i++) {
        char text[8];
        FormatString(text, sizeof text, "%d", edited->gamutAlarmColor[i]);
        PlatformSetControlText(window, COLOR_DIALOG_GAMUT_COLOR + i, text);
    }
    PlatformSetControlItems(window, COLOR_DIALOG_MISMATCH, MISMATCH_ITEMS);
    PlatformSetControlValue(window, COLOR_DIALOG_MISMATCH, edited->onMismatch);
    state->settingControls = 0;
}

// A changed control changes the edited choices; a color field takes only 0 to 255.
static void ControlChanged(WindowHandle window, ColorDialogState *state, int id)
{
    ColorSettings *edited = &state->edited;
    if (state->settingControls) return;
    for (int which = 0; which < COLOR_PROFILE_COUNT; which++)
        if (PROFILE_LISTS[which].id == id) ProfileChosen(window, state, which);
    switch (id) {
    case COLOR_DIALOG_ENABLED: edited->enabled = PlatformControlValue(window, id) != 0; break;
    case COLOR_DIALOG_MONITOR_INTENT:
        edited->monitorIntent = PlatformControlValue(window, id);
        break;
    case COLOR_DIALOG_PROOF_INTENT: edited->proofIntent = PlatformControlValue(window, id); break;
    case COLOR_DIALOG_GAMUT_ALARM:
        edited->gamutAlarm = PlatformControlValue(window, id) != 0;
        break;
    case COLOR_DIALOG_MISMATCH: edited->onMismatch = PlatformControlValue(window, id); break;
    case COLOR_DIALOG_GAMUT_COLOR:
    case COLOR_DIALOG_GAMUT_COLOR + 1:
    case COLOR_DIALOG_GAMUT_COLOR + 2: {
        char text[64];
        int32_t level;
        PlatformGetControlText(window, id, text, sizeof text);
        if (ParseInteger(text, &level) == 0 && level >= 0 && level <= 255)
            edited->gamutAlarmColor[id - COLOR_DIALOG_GAMUT_COLOR] = (uint8_t)level;
        break;
    }
    default: break;
    }
}

// "Load...": a .clrmgmt file replaces the choices the dialog shows. A file that cannot be
// opened changes nothing; a bad one sets the built-in defaults; a profile this machine
// lacks keeps its setting, and the rest of the file is taken.
static void SettingsLoad(WindowHandle window, ColorDialogState *state)
{
    char folder[PATH_LENGTH];
    char path[PATH_LENGTH];
    FileDialogResult chosen;
    RememberedFolderGet(FOLDER_SHARED, folder, sizeof folder);
    FileDialogRequest request = {
        FILE_DIALOG_OPEN, "Load Color Management Settings", COLOR_FILE_FILTERS, 0, folder, ""};
    OpenQueueHold();
    int ok = PlatformFileDialog(&request, &chosen);
    if (ok) StrCopyLimit(chosen.paths, path, PATH_LENGTH - 1);
    OpenQueueRelease();
    if (!ok) return;
    RememberedFolderSet(FOLDER_SHARED, path);

    ColorSettings read = state->edited;
    ErrorCode result = ReadColorManagementFile(path, &read);
    if (result == ERROR_ILLEGAL_COLOR_SETTINGS_FILE) {
        ColorSettingsDefault(&read);
        read.available = state->edited.available;
        ChoicesCopy(&read, &state->edited);
    } else if (result != ERROR_OPEN_FILE) {
        ChoicesCopy(&read, &state->edited);
    }
    ShowError(result);
    ControlsFromSettings(window, state);
}

static void SettingsSave(ColorDialogState *state)
{
    char path[PATH_LENGTH];
    if (!SettingsSavePathAsk("Save Color Management Settings", COLOR_FILE_FILTERS, "",
                             SETTINGS_KIND_COLOR_MANAGEMENT, FOLDER_SHARED, path))
        return;
    ShowFileError(WriteColorManagementFile(path, &state->edited), path);
}

// One line of the profile list for a description: the description, the device class, the
// color space and the path, separated by tabs.
static void ProfileListLine(const char *description, char *line, int capacity)
{
    char path[PATH_LENGTH];
    char profileClass[8] = "";
    char space[8] = "";
    uint8_t *bytes = nullptr;
    int length = 0;
    path[0] = 0;
    if (FindProfileByDescription(description, path, PATH_LENGTH) == ERROR_NONE &&
        ProfileFileRead(path, &bytes, &length) == ERROR_NONE) {
        ProfileClass(bytes, length, profileClass, sizeof profileClass);
        ProfileColorSpace(bytes, length, space, sizeof space);
    }
    MemoryFree(bytes);
    FormatString(line, capacity, "%s\t%s\t%s\t%s", description, profileClass, space, path);
}

// "Print Profile List...": every profile of the color folders, one a line, written to a
// text file the user names, for printing or keeping. Printing itself comes with the print
// module; until then the list goes where the user can print it from.
static void ProfileListPrint(void)
{
    ErrorCode result = ERROR_NONE;
    char path[PATH_LENGTH];
    char line[PATH_LENGTH + 2 * PROFILE_DESCRIPTION_MAX];
    char *list = nullptr;
    SafeFile safe;

    SafeFileReset(&safe);
    if (!SettingsSavePathAsk("Print Profile List", TEXT_FILE_FILTERS, "Profiles.txt",
                             SETTINGS_KIND_TEXT, FOLDER_SHARED, path))
        return;
    list = (char *)MemoryAlloc(PROFILE_LIST_CAPACITY);
    if (list == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    EnumerateProfiles(nullptr, nullptr, nullptr, nullptr, list, PROFILE_LIST_CAPACITY);
    ListToItems(list);
    result = SafeFileCreate(path, &safe);
    if (result != ERROR_NONE) goto done;
    for (const char *item = list; *item != 0; item += strlen(item) + 1) {
        ProfileListLine(item, line, sizeof line);
        result = WriteTextLine(safe.file, line);
        if (result != ERROR_NONE) goto done;
    }
    result = SafeFileCommit(&safe);
done:
    SafeFileAbandon(&safe);
    MemoryFree(list);
    ShowFileError(result, path);
}

// Kept settings become those of the run: written to the store, loaded, and every window
// drawn again through them.
static void SettingsRetain(const ColorDialogState *state)
{
    ChoicesCopy(&state->edited, &CurrentColorSettings);
    WriteColorSettings();
    DisplayColorSettingsLoad();
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child))
        PlatformInvalidate(child, nullptr);
}

// OK (or closing) keeps changes when the user says Yes; Cancel drops them when the user says
// Yes. Either way the dialog goes.
static void ColorDialogEnd(WindowHandle window, ColorDialogState *state, int cancel)
{
    if (!ChoicesEqual(&state->edited, &state->original)) {
        int answer = MessageDialog(nullptr, "Warning", MESSAGE_YES_NO,
                                   cancel ? ABANDON_QUESTION : SAVE_QUESTION);
        if ((answer == ANSWER_YES) != (cancel != 0)) SettingsRetain(state);
    }
    PlatformDestroyWindow(window);
}

static MessageResult ColorDialogProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                          intptr_t lParam)
{
    ColorDialogState *state = (ColorDialogState *)PlatformGetWindowWord(window, WORD_POINTER);
    switch (message) {
    case MSG_COMMAND: {
        if (state == nullptr) return 0;
        int id = (int)(wParam & 0xffff);
        switch (id) {
        case DIALOG_OK: ColorDialogEnd(window, state, 0); return 0;
        case DIALOG_CANCEL: ColorDialogEnd(window, state, 1); return 0;
        case COLOR_DIALOG_LOAD: SettingsLoad(window, state); return 0;
        case COLOR_DIALOG_SAVE: SettingsSave(state); return 0;
        case COLOR_DIALOG_PRINT_LIST: ProfileListPrint(); return 0;
        default:
            if ((wParam >> 16) == NOTIFY_CHANGED) ControlChanged(window, state, id);
            return 0;
        }
    }
    case MSG_CLOSE:
        if (state != nullptr) ColorDialogEnd(window, state, 0);
        return 0;
    case MSG_DESTROY:
        MemoryFree(state);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

ErrorCode ShowColorSettingsDialog(void)
{
    ChildKindRegister(KIND_COLOR_MANAGEMENT, ColorDialogProcedure);
    WindowHandle window = FindChildOfKind(KIND_COLOR_MANAGEMENT);
    if (window != nullptr) {
        PlatformActivateWindow(window);
        return ERROR_NONE;
    }
    ColorDialogState *state = (ColorDialogState *)MemoryAllocZero(sizeof *state);
    if (state == nullptr) return ERROR_NO_MEMORY;
    // The copies hold choices only: what the run has loaded stays with the run.
    state->original.available = CurrentColorSettings.available;
    ChoicesCopy(&CurrentColorSettings, &state->original);
    state->edited = state->original;
    window = DialogCreate(KIND_COLOR_MANAGEMENT, "Color Management Settings");
    if (window == nullptr) {
        MemoryFree(state);
        return ERROR_NO_MEMORY;
    }
    PlatformSetWindowWord(window, WORD_POINTER, (intptr_t)state);
    DialogLayout(window, COLOR_ROWS, (int)(sizeof COLOR_ROWS / sizeof COLOR_ROWS[0]), COLOR_BUTTONS,
                 (int)(sizeof COLOR_BUTTONS / sizeof COLOR_BUTTONS[0]));
    ControlsFromSettings(window, state);
    return ERROR_NONE;
}
