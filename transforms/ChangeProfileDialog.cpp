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
#include "core/Text.h"
#include "transforms/ChangeProfile.h"
#include "transforms/TransformDialogs.h"
#include "ui/Controls.h"
#include "ui/DialogLayout.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/Transform.h"
#include "ui/UiState.h"

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
static TransformDialogMemory ChangeProfileMemory = {&ChangeProfileSaved, {}, 1};

// The settings point at the input's profile; a picture without one counts as sRGB.
static void ChangeProfileTakeSource(WindowHandle dialog, ChangeProfileState *state)
{
    const ImageWindow *record = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
    ChangeProfileTransform.takeInput(&state->settings,
                                     record != nullptr ? &record->picture : nullptr);
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

// Pixels need a target to go to; until one is chosen, the automatic preview waits for it
// rather than greet the user with a message about a choice not yet made.
static void ChangeProfileWaitUpdate(const ChangeProfileState *state)
{
    TransformPreviewWait(state->settings.targetProfile == nullptr &&
                         state->settings.change != CHANGE_PROFILE_SETTING_ONLY);
}

static void ChangeProfileCommand(WindowHandle dialog, void *data, uintptr_t wParam)
{
    ChangeProfileState *state = (ChangeProfileState *)data;
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
    RefreshPreview(&state->settings, &ChangeProfileDialog);
}

// The saved choices keep no pointer into a picture or a freed target.
static void ChangeProfileForget(void *data, void *saved)
{
    ChangeProfileState *state = (ChangeProfileState *)data;
    ChangeProfileSettings *settings = (ChangeProfileSettings *)saved;
    MemoryRelease(&state->target);
    settings->sourceProfile = settings->targetProfile = nullptr;
    settings->sourceLength = settings->targetLength = 0;
}

// Below the chooser: the present profile, what to change, the target and the intent.
static int ChangeProfileControls(WindowHandle dialog, void *data, int x, int y, int width)
{
    ChangeProfileState *state = (ChangeProfileState *)data;
    // A folder that cannot be read, or a list too long, leaves what fitted: still a choice.
    EnumerateProfiles("None", nullptr, "mntr spac scnr", "RGB", state->list, sizeof state->list);
    ListToItems(state->list);
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
    return y;
}

const TransformDialogKind ChangeProfileDialog = {&ChangeProfileTransform,
                                                 CHANGE_PROFILE_INPUT,
                                                 ChangeProfileInputTaken,
                                                 CHANGE_PROFILE_CONTENT_WIDTH,
                                                 sizeof(ChangeProfileState),
                                                 ChangeProfileControls,
                                                 ChangeProfileCommand,
                                                 ChangeProfileForget,
                                                 &ChangeProfileMemory,
                                                 DIALOG_BUTTONS_PREVIEW,
                                                 nullptr};
