// The question asked when an opened color picture does not match the working space and the
// settings leave the answer to the user: the file's profile, the working space and the path
// are shown; the user picks the profile the picture really has (for a picture without one,
// the assumed profile is offered first), a rendering intent, and whether to convert.
//
// The dialog is modal: the open it belongs to waits for the answer before its window exists.
#include <cstring>

#include "color/ColorSettings.h"
#include "color/ProfileHeader.h"
#include "color/ProfileTransform.h"
#include "color/Profiles.h"
#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "shell/Dialogs.h"
#include "shell/FileFlow.h"
#include "ui/DialogLayout.h"
#include "ui/DisplayColor.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"

static const int ASSUMED_LIST_CAPACITY = 32768;
static const int PATH_SHOWN = 48; // characters of the path the dialog shows

// The answer of the dialog, filled by its OK.
struct OpenCheckState {
    char assumed[ASSUMED_LIST_CAPACITY]; // the items of the profile list
    int choice;                          // index of the chosen profile, 0 for "None"
    int intent;                          // COLOR_INTENT_*
    int convert;                         // 1 to convert to the working space
    int assumedOffered;                  // 1 when item 1 is the assumed file profile
};

static const DialogRow OPEN_CHECK_ROWS[] = {
    {"File Profile:", CONTROL_STATIC, OPEN_CHECK_FILE_PROFILE, 1, "", 0, nullptr},
    {"Assumed Profile:", CONTROL_POPUP_LIST, OPEN_CHECK_ASSUMED, 1, nullptr, 0, nullptr},
    {"Working Color Space:", CONTROL_STATIC, OPEN_CHECK_WORKING, 1, "", 0, nullptr},
    {"Rendering Intent:", CONTROL_POPUP_LIST, OPEN_CHECK_INTENT, 1, nullptr, 0, nullptr},
    {"Pathname:", CONTROL_STATIC, OPEN_CHECK_PATH, 1, "", 0, nullptr},
    {nullptr, CONTROL_CHECK_BOX, OPEN_CHECK_CONVERT, 1, "Convert to Working Color Space", 0,
     nullptr},
};

static const DialogButton OPEN_CHECK_BUTTONS[] = {
    {DIALOG_OK, "OK", CONTROL_DEFAULT},
    {DIALOG_CANCEL, "Cancel", 0},
    {OPEN_CHECK_HELP, "Help", 0},
};

// What Help says about the choices.
static const char HELP_TEXT[] =
    "The picture's profile is not the working color space.\n"
    "Assumed Profile: the profile the picture really has; None keeps the file's own.\n"
    "Convert to Working Color Space: changes the pixels so that the colors look the same "
    "in the working space.\nWithout it the pixels stay as they are.";

// The description of profile bytes; "None" without any, and the reader's own word for a
// damaged one.
static void DescriptionOf(const uint8_t *bytes, int length, char *text, int capacity)
{
    ProfileDescription(bytes, length, text, capacity);
}

static MessageResult OpenCheckProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                        intptr_t lParam)
{
    OpenCheckState *state = (OpenCheckState *)PlatformGetWindowWord(window, WORD_POINTER);
    switch (message) {
    case MSG_COMMAND:
        if (state == nullptr) return 0;
        switch ((int)(wParam & 0xffff)) {
        case DIALOG_OK:
            state->choice = PlatformControlValue(window, OPEN_CHECK_ASSUMED);
            state->intent = PlatformControlValue(window, OPEN_CHECK_INTENT);
            state->convert = PlatformControlValue(window, OPEN_CHECK_CONVERT) != 0;
            PlatformEndModal(window, 1);
            return 0;
        case DIALOG_CANCEL: PlatformEndModal(window, 0); return 0;
        case OPEN_CHECK_HELP: ShowMessage("Help", "%s", HELP_TEXT); return 0;
        default: return 0;
        }
    case MSG_CLOSE: PlatformEndModal(window, 0); return 0; // as Cancel
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// Fills the dialog from the picture and the settings.
static void OpenCheckFill(WindowHandle window, OpenCheckState *state, const ImageWindow *record)
{
    char text[PROFILE_DESCRIPTION_MAX];
    char items[512];
    int length = 0;
    int workingLength;
    int assumedLength;
    const uint8_t *working = ColorProfileBytes(COLOR_PROFILE_WORKING, &workingLength);
    const uint8_t *assumed = ColorProfileBytes(COLOR_PROFILE_ASSUMED_FILE, &assumedLength);

    DescriptionOf(record->picture.profile, record->picture.profileSize, text, sizeof text);
    PlatformSetControlText(window, OPEN_CHECK_FILE_PROFILE, text);
    DescriptionOf(working, workingLength, text, sizeof text);
    PlatformSetControlText(window, OPEN_CHECK_WORKING, text);
    char path[PATH_SHOWN + 1];
    TextShorten(record->picture.fileName, PATH_SHOWN, path, sizeof path);
    PlatformSetControlText(window, OPEN_CHECK_PATH, path);

    // For a picture without a profile the assumed file profile is the likely answer, and
    // stands chosen; a picture with one keeps it unless the user says otherwise.
    char assumedText[PROFILE_DESCRIPTION_MAX];
    state->assumedOffered =
        record->picture.profile == nullptr && assumed != nullptr &&
        ProfileDescription(assumed, assumedLength, assumedText, sizeof assumedText) == ERROR_NONE;
    // Only an RGB profile can describe the pixels of a color picture.
    EnumerateProfiles("None", state->assumedOffered ? assumedText : nullptr, "mntr spac scnr",
                      "RGB", state->assumed, ASSUMED_LIST_CAPACITY);
    ListToItems(state->assumed);
    PlatformSetControlItems(window, OPEN_CHECK_ASSUMED, state->assumed);
    PlatformSetControlValue(window, OPEN_CHECK_ASSUMED, state->assumedOffered ? 1 : 0);

    for (int i = 0; i < COLOR_INTENT_COUNT; i++)
        length += FormatString(items + length, (int)sizeof items - length - 1, "%s",
                               COLOR_INTENT_LABELS[i]) +
                  1;
    items[length] = 0;
    PlatformSetControlItems(window, OPEN_CHECK_INTENT, items);
    PlatformSetControlValue(window, OPEN_CHECK_INTENT, COLOR_INTENT_FULL_GAMUT);
    PlatformSetControlValue(window, OPEN_CHECK_CONVERT, 0);
}

ErrorCode RunOpenCheckDialog(ImageWindow *record)
{
    ErrorCode result = ERROR_NONE;
    OpenCheckState *state = nullptr;
    WindowHandle window = nullptr;
    uint8_t *bytes = nullptr;
    int length = 0;
    int modified = 0;
    int answer;

    ChildKindRegister(KIND_OPEN_CHECK, OpenCheckProcedure);
    state = (OpenCheckState *)MemoryAllocZero(sizeof *state);
    if (state == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    window = DialogCreate(KIND_OPEN_CHECK, "Color Profile Mismatch");
    if (window == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    PlatformSetWindowWord(window, WORD_POINTER, (intptr_t)state);
    DialogLayout(window, OPEN_CHECK_ROWS, (int)(sizeof OPEN_CHECK_ROWS / sizeof OPEN_CHECK_ROWS[0]),
                 OPEN_CHECK_BUTTONS, 3);
    OpenCheckFill(window, state, record);
    OpenQueueHold();
    answer = PlatformRunModal(window);
    OpenQueueRelease();
    // Cancel keeps the picture as it was read: the open goes on without a change.
    if (answer != 1) goto done;

    if (state->choice == 1 && state->assumedOffered) {
        // The assumed file profile is the one the settings loaded, wherever its file is.
        int assumedLength;
        const uint8_t *assumed = ColorProfileBytes(COLOR_PROFILE_ASSUMED_FILE, &assumedLength);
        result = OpenProfileChoose(&record->picture, assumed, assumedLength, state->convert,
                                   state->intent, &modified);
        goto done;
    }
    if (state->choice > 0) {
        char path[PATH_LENGTH];
        result =
            FindProfileByDescription(ZListItem(state->assumed, state->choice), path, PATH_LENGTH);
        if (result == ERROR_NONE) result = ProfileFileRead(path, &bytes, &length);
        if (result != ERROR_NONE) goto done;
    }
    result = OpenProfileChoose(&record->picture, bytes, length, state->convert, state->intent,
                               &modified);
done:
    // A converted picture is no longer what its file holds.
    DisplayReset(record);
    if (modified && record->window != nullptr)
        PlatformSetWindowWord(record->window, WORD_MODIFIED, 1);
    if (window != nullptr) {
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        PlatformDestroyWindow(window);
    }
    MemoryFree(bytes);
    MemoryFree(state);
    return result;
}
