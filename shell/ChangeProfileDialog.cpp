// The Change Color Profile dialog: the input's present profile, what to change (pixels and
// profile, pixels only, or the profile only), the target profile, and the rendering intent.
//
// The dialog owns the bytes of the chosen target, read from its file when it is chosen; the
// settings only point at them and at the input's own profile, which is all the compute
// function needs.
#include <cstring>

#include "color/ColorSettings.h"
#include "color/Profiles.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Text.h"
#include "shell/Shell.h"
#include "shell/TransformDialogs.h"
#include "transforms/ChangeProfile.h"
#include "ui/Controls.h"
#include "ui/DialogLayout.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/Transform.h"

static const int CHANGE_PROFILE_CONTENT_WIDTH = 340;
static const int CHANGE_PROFILE_LIST_CAPACITY = 32768; // bytes of the target list's items

struct ChangeProfileState {
    ChangeProfileSettings settings;
    uint8_t *target; // the chosen target's bytes, owned; null for "None"
    int32_t targetLength;
    char list[CHANGE_PROFILE_LIST_CAPACITY];
};

// What outlives one opening: the choices (the target by its description) and the place.
static ChangeProfileSettings ChangeProfileSaved;
static Rect ChangeProfilePlacement;
static int ChangeProfileUseDefaults = 1;

static int ChangeProfileAccepts(int type)
{
    return type == TYPE_COLOR24 || type == TYPE_COLOR48;
}

static ChangeProfileState *StateOf(WindowHandle dialog)
{
    return (ChangeProfileState *)PlatformGetWindowWord(dialog, WORD_POINTER);
}

// The settings point at the input's profile; a picture without one counts as sRGB.
static void ChangeProfileTakeSource(WindowHandle dialog, ChangeProfileState *state)
{
    const ImageWindow *record = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    state->settings.sourceProfile = record != nullptr ? record->picture.profile : nullptr;
    state->settings.sourceLength = record != nullptr ? record->picture.profileSize : 0;
    char description[PROFILE_DESCRIPTION_MAX] = "";
    const uint8_t *bytes = state->settings.sourceProfile;
    int length = state->settings.sourceLength;
    if (bytes == nullptr) SrgbProfile(&bytes, &length);
    if (bytes == nullptr ||
        ProfileDescription(bytes, length, description, sizeof description) != ERROR_NONE)
        StrCopyLimit("None", description, sizeof description - 1);
    char text[PROFILE_DESCRIPTION_MAX + 32];
    FormatString(text, sizeof text, "Current color profile: %s", description);
    PlatformSetControlText(dialog, CHANGE_PROFILE_CURRENT, text);
}

// Reads the target of the list's item index (0 is "None"). A profile that cannot be read is
// said so and the choice goes back to "None".
static void ChangeProfileTakeTarget(WindowHandle dialog, ChangeProfileState *state, int index)
{
    MemoryRelease(&state->target);
    state->targetLength = 0;
    StrCopyLimit("None", state->settings.targetDescription, PROFILE_DESCRIPTION_MAX - 1);
    const char *item = state->list;
    for (int i = 0; i < index && *item != 0; i++)
        item += strlen(item) + 1;
    if (index > 0 && *item != 0) {
        char path[PATH_LENGTH];
        ErrorCode result = FindProfileByDescription(item, path, sizeof path);
        if (result == ERROR_NONE)
            result = ProfileFileRead(path, &state->target, &state->targetLength);
        if (result == ERROR_NONE) {
            StrCopyLimit(item, state->settings.targetDescription, PROFILE_DESCRIPTION_MAX - 1);
        } else {
            ShowError(result);
            index = 0;
        }
    } else {
        index = 0;
    }
    state->settings.targetProfile = state->target;
    state->settings.targetLength = state->targetLength;
    PlatformSetControlValue(dialog, CHANGE_PROFILE_TARGET, index);
}

// The index of a description in the list, or 0 ("None") when it is not there.
static int ChangeProfileListIndex(const char *list, const char *description)
{
    int index = 0;
    for (const char *item = list; *item != 0; item += strlen(item) + 1, index++)
        if (StrEqualNoCase(item, description)) return index;
    return 0;
}

// The settings are the first field of the state, so the shared handling takes the state.
static void ChangeProfileInputTaken(WindowHandle dialog, void *params)
{
    ChangeProfileTakeSource(dialog, (ChangeProfileState *)params);
}

// The result's profile is the transformation's own doing: Apply does not inherit one.
static const TransformDialogKind CHANGE_PROFILE_KIND = {
    "Change Color Profile",  ChangeProfileCompute, 0, CHANGE_PROFILE_INPUT,
    ChangeProfileInputTaken, nullptr,              ChangeProfileResultProfile};

// Pixels need a target to go to; until one is chosen, the automatic preview waits for it
// rather than greet the user with a message about a choice not yet made.
static void ChangeProfileWaitUpdate(const ChangeProfileState *state)
{
    TransformPreviewWait(state->settings.targetProfile == nullptr &&
                         state->settings.change != CHANGE_PROFILE_SETTING_ONLY);
}

static void ChangeProfileCommand(WindowHandle dialog, ChangeProfileState *state, uintptr_t wParam)
{
    if ((wParam >> 16) != NOTIFY_CHANGED) return;
    switch ((int)(wParam & 0xffff)) {
    case CHANGE_PROFILE_CHANGE:
        state->settings.change = PopupListChoice(dialog, CHANGE_PROFILE_CHANGE);
        break;
    case CHANGE_PROFILE_TARGET:
        ChangeProfileTakeTarget(dialog, state, PopupListChoice(dialog, CHANGE_PROFILE_TARGET));
        break;
    case CHANGE_PROFILE_INTENT:
        state->settings.intent = PopupListChoice(dialog, CHANGE_PROFILE_INTENT);
        break;
    default: return;
    }
    ChangeProfileWaitUpdate(state);
    RefreshPreview(&state->settings, &CHANGE_PROFILE_KIND);
}

static MessageResult ChangeProfileProcedure(WindowHandle dialog, uint32_t message, uintptr_t wParam,
                                            intptr_t lParam)
{
    ChangeProfileState *state = StateOf(dialog);
    // The input's profile may have changed with its pixels.
    if (state != nullptr && (message == MSG_REFRESH || message == MSG_INPUT_CHANGED))
        ChangeProfileTakeSource(dialog, state);
    if (TransformDialogMessage(dialog, message, wParam, lParam, &CHANGE_PROFILE_KIND, state))
        return 0;
    switch (message) {
    case MSG_COMMAND:
        if (state != nullptr) ChangeProfileCommand(dialog, state, wParam);
        return 0;
    case MSG_DESTROY:
        if (state != nullptr) {
            ChangeProfileSaved = state->settings;
            MemoryFree(state->target);
        }
        // The saved choices keep no pointer into a picture or a freed target.
        ChangeProfileSaved.sourceProfile = ChangeProfileSaved.targetProfile = nullptr;
        ChangeProfileSaved.sourceLength = ChangeProfileSaved.targetLength = 0;
        PlatformGetWindowRect(dialog, &ChangeProfilePlacement);
        ChangeProfileUseDefaults = 0;
        MemoryFree(state);
        PlatformSetWindowWord(dialog, WORD_POINTER, 0);
        return 0;
    default: return PlatformDefaultProcedure(dialog, message, wParam, lParam);
    }
}

ErrorCode OpenChangeProfileDialog(WindowHandle input)
{
    if (DialogWindow != nullptr) {
        PlatformActivateWindow(DialogWindow);
        return ERROR_NONE;
    }
    const ImageWindow *record = input != nullptr ? WindowRecord(input) : nullptr;
    if (record == nullptr || !ChangeProfileAccepts(record->picture.image.type))
        return ERROR_ILLEGAL_TYPE;
    if (!Prefs.stickySettings || PlatformShiftDown()) ChangeProfileUseDefaults = 1;
    ChangeProfileState *state = (ChangeProfileState *)MemoryAlloc(sizeof(ChangeProfileState));
    if (state == nullptr) return ERROR_NO_MEMORY;
    memset(state, 0, sizeof *state);
    if (ChangeProfileUseDefaults)
        ChangeProfileSettingsDefault(&state->settings);
    else
        state->settings = ChangeProfileSaved;
    // A folder that cannot be read, or a list too long, leaves what fitted: still a choice.
    EnumerateProfiles("None", nullptr, "mntr spac scnr", "RGB", state->list, sizeof state->list);
    ListToItems(state->list);

    TransformTakeInput(input);
    WindowHandle dialog =
        CreateDialogWindow("Change Color Profile", 400, 200, KIND_CHANGE_PROFILE, 0);
    if (dialog == nullptr) {
        MemoryFree(state);
        return ERROR_NO_MEMORY;
    }
    PlatformSetWindowWord(dialog, WORD_POINTER, (intptr_t)state);
    // The dialog's own mark comes first: a refused close names the transformation.
    MarkInUse(dialog, input, CHANGE_PROFILE_KIND.name, 1);

    int x = Margin;
    int y = Margin;
    int buttonsRight = CreateTransformButtons(dialog, x, y);
    int width = TransformDialogClientWidth(buttonsRight, CHANGE_PROFILE_CONTENT_WIDTH) - 2 * Margin;
    y += ButtonHeight + Margin;
    Rect chooser = {x, y, x + width, y + CHOOSER_HEIGHT};
    InputChooserCreate(dialog, CHANGE_PROFILE_INPUT, &chooser, input, ChangeProfileAccepts);
    y += CHOOSER_HEIGHT + Margin;
    y = TransformDialogText(dialog, CHANGE_PROFILE_CURRENT, "", x, y, width);

    char changes[128];
    char intents[256];
    int used = 0;
    for (int i = 0; i < CHANGE_PROFILE_CHOICES; i++)
        used += FormatString(changes + used, (int)sizeof changes - used - 1, "%s",
                             CHANGE_PROFILE_LABELS[i]) +
                1;
    changes[used] = 0;
    used = 0;
    for (int i = 0; i < COLOR_INTENT_COUNT; i++)
        used += FormatString(intents + used, (int)sizeof intents - used - 1, "%s",
                             COLOR_INTENT_LABELS[i]) +
                1;
    intents[used] = 0;

    Rect row = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, CHANGE_PROFILE_CHANGE, &row, "Change:", changes,
                    state->settings.change);
    y += ButtonHeight + Margin;
    row = {x, y, x + width, y + ButtonHeight};
    int target = ChangeProfileListIndex(state->list, state->settings.targetDescription);
    PopupListCreate(dialog, CHANGE_PROFILE_TARGET, &row, "Target Profile:", state->list, target);
    y += ButtonHeight + Margin;
    row = {x, y, x + width, y + ButtonHeight};
    PopupListCreate(dialog, CHANGE_PROFILE_INTENT, &row, "Rendering Intent:", intents,
                    state->settings.intent);
    y += ButtonHeight + Margin;

    ChangeProfileTakeSource(dialog, state);
    ChangeProfileTakeTarget(dialog, state, target);
    ChangeProfileWaitUpdate(state);
    TransformDialogShow(dialog, width + 2 * Margin, y,
                        ChangeProfileUseDefaults ? nullptr : &ChangeProfilePlacement);
    return ERROR_NONE;
}

void ChangeProfileDialogRegister(void)
{
    ChildKindRegister(KIND_CHANGE_PROFILE, ChangeProfileProcedure);
}
