// The "Preferences" dialog: one child window with a control for every preference the user
// sets, folder choices through "Browse...", and OK that makes every value take effect at
// once and asks whether to keep them for later runs.
//
// Colors are edited as three numbers 0 to 255, the form in which the frame paints them; the
// store keeps them as fractions of full intensity.
#include <cstring>

#include "core/FormatString.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/SettingsText.h"
#include "core/Text.h"
#include "files/FileType.h"
#include "shell/Dialogs.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "ui/DialogLayout.h"
#include "ui/Display.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"

static const int RESOLUTION_TEXT = 16; // bytes of the resolution field's text
static const int LIST_CAPACITY = 1024; // bytes of the items of one list
static const double RESOLUTION_MAX = 9999.9;

// What the dialog keeps beside its controls.
struct PreferencesState {
    char resolution[RESOLUTION_TEXT];      // the field's last text of the form "9999.9"
    char resolutionShown[RESOLUTION_TEXT]; // its text when the dialog opened
    int settingText;                       // 1 while the dialog itself puts text into the field
    int openNumbers[32];                   // the open number of each item of the open type list
    int openCount;
};

// The units of measure in the order of their codes.
static const char UNIT_ITEMS[] = "Pixels\0Inches\0Centimeters\0Millimeters\0";
static const char CAPTION_ITEMS[] = "File Name\0Full Path Name\0";
static const char UNDO_ITEMS[] = "None\0Single\0Multiple\0";
static const char FILE_LIST_ITEMS[] = "0\0"
                                      "1\0"
                                      "2\0"
                                      "3\0"
                                      "4\0"
                                      "5\0"
                                      "6\0"
                                      "7\0"
                                      "8\0"
                                      "9\0"
                                      "10\0";
// 1 to 4 are the ruler's units in the order its preference counts them.
static const char RULER_ITEMS[] = "None\0Pixels\0Inches\0Millimeters\0Centimeters\0";
// The room a preview may take of the client area: a half, three quarters, all of it.
static const char PREVIEW_SIZE_ITEMS[] = "Half\0Three Quarters\0Whole Window\0";

static const DialogRow PREFERENCES_ROWS[] = {
    {"Confirm on Close:", CONTROL_CHECK_BOX, PREFERENCES_CONFIRM, 1, "", 0, nullptr},
    {"Workspace Color:", CONTROL_EDIT, PREFERENCES_WORKSPACE, 3, "", 0, nullptr},
    {"Border Width:", CONTROL_EDIT, PREFERENCES_BORDER_WIDTH, 1, "", 0, nullptr},
    {"Border Color:", CONTROL_EDIT, PREFERENCES_BORDER_COLOR, 3, "", 0, nullptr},
    {"PhotoCD Directory:", CONTROL_EDIT, PREFERENCES_PCD_FOLDER, 1, "", PREFERENCES_PCD_BROWSE,
     "Browse..."},
    {"Startup Directory:", CONTROL_EDIT, PREFERENCES_STARTUP_FOLDER, 1, "",
     PREFERENCES_STARTUP_BROWSE, "Browse..."},
    {"Temporary File Directory:", CONTROL_EDIT, PREFERENCES_TEMP_FOLDER, 1, "",
     PREFERENCES_TEMP_BROWSE, "Browse..."},
    {"Resolution (dpi):", CONTROL_EDIT, PREFERENCES_RESOLUTION, 1, "", 0, nullptr},
    {"Default Units:", CONTROL_POPUP_LIST, PREFERENCES_UNITS, 1, nullptr, 0, nullptr},
    {"Window Caption:", CONTROL_POPUP_LIST, PREFERENCES_CAPTION, 1, nullptr, 0, nullptr},
    {"Undo:", CONTROL_POPUP_LIST, PREFERENCES_UNDO, 1, nullptr, 0, nullptr},
    {"Length of File List:", CONTROL_POPUP_LIST, PREFERENCES_FILE_LIST, 1, nullptr, 0, nullptr},
    {"Default File Open Type:", CONTROL_POPUP_LIST, PREFERENCES_OPEN_TYPE, 1, nullptr, 0, nullptr},
    {"Default File Save Type:", CONTROL_POPUP_LIST, PREFERENCES_SAVE_TYPE, 1, nullptr, 0, nullptr},
    {"Preserve File Type:", CONTROL_CHECK_BOX, PREFERENCES_PRESERVE_TYPE, 1, "", 0, nullptr},
    {"Transformation on top:", CONTROL_CHECK_BOX, PREFERENCES_ON_TOP, 1, "", 0, nullptr},
    {"Default Preview:", CONTROL_CHECK_BOX, PREFERENCES_PREVIEW, 1, "", 0, nullptr},
    {"Antialiased Zoom Out:", CONTROL_CHECK_BOX, PREFERENCES_SMOOTH_ZOOM, 1, "", 0, nullptr},
    {"Ruler:", CONTROL_POPUP_LIST, PREFERENCES_RULER, 1, nullptr, 0, nullptr},
    {"Preview Size:", CONTROL_POPUP_LIST, PREFERENCES_PREVIEW_SIZE, 1, nullptr, 0, nullptr},
    {"Remember Settings:", CONTROL_CHECK_BOX, PREFERENCES_REMEMBER, 1, "", 0, nullptr},
};

static const DialogButton PREFERENCES_BUTTONS[] = {
    {DIALOG_OK, "OK", CONTROL_DEFAULT},
    {DIALOG_CANCEL, "Cancel", 0},
};

// 1 when text is a resolution on its way to the form "9999.9": up to four digits, and a
// period with one digit after it. An empty field is allowed while the user types.
static int ResolutionTextAccepted(const char *text)
{
    int digits = 0;
    const char *at = text;
    for (; *at >= '0' && *at <= '9'; at++)
        digits++;
    if (digits > 4) return 0;
    if (*at == 0) return 1;
    if (*at != '.') return 0;
    at++;
    if (*at >= '0' && *at <= '9') at++;
    return *at == 0;
}

static void ControlSetInteger(WindowHandle window, int id, int value)
{
    char text[16];
    FormatString(text, sizeof text, "%d", value);
    PlatformSetControlText(window, id, text);
}

// Reads an integer field into *value when it holds one within minimum..maximum; any other
// text keeps the value as it was.
static void ControlGetInteger(WindowHandle window, int id, int minimum, int maximum, int32_t *value)
{
    char text[64];
    int32_t read;
    PlatformGetControlText(window, id, text, sizeof text);
    if (ParseInteger(text, &read) == 0 && read >= minimum && read <= maximum) *value = read;
}

static void ColorSet(WindowHandle window, int id, const double color[3])
{
    for (int i = 0; i < 3; i++)
        ControlSetInteger(window, id + i, Round(color[i] * 255.0));
}

static void ColorGet(WindowHandle window, int id, double color[3])
{
    for (int i = 0; i < 3; i++) {
        int32_t level = Round(color[i] * 255.0);
        ControlGetInteger(window, id + i, 0, 255, &level);
        color[i] = level / 255.0;
    }
}

// A choice of a list limited to its items; a value outside them shows the first.
static void ChoiceSet(WindowHandle window, int id, const char *items, int value)
{
    PlatformSetControlItems(window, id, items);
    PlatformSetControlValue(window, id, value >= 0 && value < ZListCount(items) ? value : 0);
}

static void ControlsFromPreferences(WindowHandle window, PreferencesState *state)
{
    const Preferences *p = &Prefs;
    char items[LIST_CAPACITY];
    int length = 0;

    PlatformSetControlValue(window, PREFERENCES_CONFIRM, p->confirm != 0);
    ColorSet(window, PREFERENCES_WORKSPACE, p->workspace);
    ControlSetInteger(window, PREFERENCES_BORDER_WIDTH, p->borderWidth);
    ColorSet(window, PREFERENCES_BORDER_COLOR, p->borderColor);
    PlatformSetControlText(window, PREFERENCES_PCD_FOLDER, p->pcdDirectory);
    PlatformSetControlText(window, PREFERENCES_STARTUP_FOLDER, p->startupDirectory);
    PlatformSetControlText(window, PREFERENCES_TEMP_FOLDER, p->tempDirectory);
    // One decimal, as the field accepts it; a stored value beyond the field is shown at its
    // largest.
    double resolution =
        p->defaultResolution > RESOLUTION_MAX ? RESOLUTION_MAX : p->defaultResolution;
    FormatString(state->resolution, RESOLUTION_TEXT, "%1f", resolution);
    StrCopyLimit(state->resolution, state->resolutionShown, RESOLUTION_TEXT - 1);
    state->settingText = 1;
    PlatformSetControlText(window, PREFERENCES_RESOLUTION, state->resolution);
    state->settingText = 0;
    ChoiceSet(window, PREFERENCES_UNITS, UNIT_ITEMS, p->defaultUnits);
    ChoiceSet(window, PREFERENCES_CAPTION, CAPTION_ITEMS, p->displayFullPathName != 0);
    ChoiceSet(window, PREFERENCES_UNDO, UNDO_ITEMS, p->undo);
    ChoiceSet(window, PREFERENCES_FILE_LIST, FILE_LIST_ITEMS, p->fileMenuLength);

    // The types that open, in the order of the table, and those that save, by save number.
    int openChoice = 0;
    state->openCount = 0;
    for (int i = 0; i < FILE_TYPE_COUNT && state->openCount < 32; i++) {
        if (FILE_TYPES[i].openNumber <= 0) continue;
        if (FILE_TYPES[i].openNumber == p->defaultFileOpenType) openChoice = state->openCount;
        state->openNumbers[state->openCount++] = FILE_TYPES[i].openNumber;
        length +=
            FormatString(items + length, LIST_CAPACITY - length - 1, "%s", FILE_TYPES[i].label) + 1;
    }
    items[length] = 0;
    ChoiceSet(window, PREFERENCES_OPEN_TYPE, items, openChoice);
    length = 0;
    for (int saveNumber = FILE_SAVE_TIFF; saveNumber < FILE_SAVE_COUNT; saveNumber++)
        length += FormatString(items + length, LIST_CAPACITY - length - 1, "%s",
                               FileTypeBySave(saveNumber)->label) +
                  1;
    items[length] = 0;
    ChoiceSet(window, PREFERENCES_SAVE_TYPE, items, p->defaultFileSaveType - 1);

    PlatformSetControlValue(window, PREFERENCES_PRESERVE_TYPE, p->honorFileSaveType != 0);
    PlatformSetControlValue(window, PREFERENCES_ON_TOP, p->transformationOnTop != 0);
    PlatformSetControlValue(window, PREFERENCES_PREVIEW, p->defaultPreview != 0);
    PlatformSetControlValue(window, PREFERENCES_SMOOTH_ZOOM, p->smoothZoom != 0);
    ChoiceSet(window, PREFERENCES_RULER, RULER_ITEMS, p->showRuler);
    ChoiceSet(window, PREFERENCES_PREVIEW_SIZE, PREVIEW_SIZE_ITEMS, p->maxPreviewSize);
    PlatformSetControlValue(window, PREFERENCES_REMEMBER, p->stickySettings != 0);
}

static void PreferencesFromControls(WindowHandle window, const PreferencesState *state,
                                    Preferences *p)
{
    p->confirm = PlatformControlValue(window, PREFERENCES_CONFIRM) != 0;
    ColorGet(window, PREFERENCES_WORKSPACE, p->workspace);
    ControlGetInteger(window, PREFERENCES_BORDER_WIDTH, 0, INT32_MAX, &p->borderWidth);
    ColorGet(window, PREFERENCES_BORDER_COLOR, p->borderColor);
    PlatformGetControlText(window, PREFERENCES_PCD_FOLDER, p->pcdDirectory, PATH_LENGTH);
    PlatformGetControlText(window, PREFERENCES_STARTUP_FOLDER, p->startupDirectory, PATH_LENGTH);
    PlatformGetControlText(window, PREFERENCES_TEMP_FOLDER, p->tempDirectory, PATH_LENGTH);
    // Every picture's size in inches divides by the resolution: only a positive one is taken,
    // and only when the user changed it, so that a value of more decimals stays as it was.
    double resolution;
    if (strcmp(state->resolution, state->resolutionShown) != 0 &&
        ParseReal(state->resolution, &resolution) == 0 && resolution > 0.0)
        p->defaultResolution = resolution;
    p->defaultUnits = PlatformControlValue(window, PREFERENCES_UNITS);
    p->displayFullPathName = PlatformControlValue(window, PREFERENCES_CAPTION);
    p->undo = PlatformControlValue(window, PREFERENCES_UNDO);
    p->fileMenuLength = PlatformControlValue(window, PREFERENCES_FILE_LIST);
    int openChoice = PlatformControlValue(window, PREFERENCES_OPEN_TYPE);
    if (openChoice >= 0 && openChoice < state->openCount)
        p->defaultFileOpenType = state->openNumbers[openChoice];
    p->defaultFileSaveType = PlatformControlValue(window, PREFERENCES_SAVE_TYPE) + 1;
    p->honorFileSaveType = PlatformControlValue(window, PREFERENCES_PRESERVE_TYPE) != 0;
    p->transformationOnTop = PlatformControlValue(window, PREFERENCES_ON_TOP) != 0;
    p->defaultPreview = PlatformControlValue(window, PREFERENCES_PREVIEW) != 0;
    p->smoothZoom = PlatformControlValue(window, PREFERENCES_SMOOTH_ZOOM) != 0;
    p->showRuler = PlatformControlValue(window, PREFERENCES_RULER);
    p->maxPreviewSize = PlatformControlValue(window, PREFERENCES_PREVIEW_SIZE);
    p->stickySettings = PlatformControlValue(window, PREFERENCES_REMEMBER) != 0;
}

// The resolution field keeps only texts of the form "9999.9": anything else typed puts
// back the last text that had it.
static void ResolutionEdited(WindowHandle window, PreferencesState *state)
{
    char text[64];
    if (state->settingText) return;
    PlatformGetControlText(window, PREFERENCES_RESOLUTION, text, sizeof text);
    if (strlen(text) < RESOLUTION_TEXT && ResolutionTextAccepted(text)) {
        StrCopyLimit(text, state->resolution, RESOLUTION_TEXT - 1);
        return;
    }
    state->settingText = 1;
    PlatformSetControlText(window, PREFERENCES_RESOLUTION, state->resolution);
    state->settingText = 0;
}

// A folder dialog that starts in the field's folder and puts the chosen one there.
static void FolderBrowse(WindowHandle window, int fieldId, const char *title)
{
    char folder[PATH_LENGTH];
    FileDialogResult chosen;
    PlatformGetControlText(window, fieldId, folder, sizeof folder);
    FileDialogRequest request = {FILE_DIALOG_FOLDER, title, nullptr, 0, folder, ""};
    OpenQueueHold();
    if (PlatformFileDialog(&request, &chosen))
        PlatformSetControlText(window, fieldId, chosen.paths);
    OpenQueueRelease();
}

// The new values change what every window shows: the workspace and border colors, the
// border and the ruler (a new layout), antialiasing (a new view), the captions and the
// recent-file list.
static void PreferencesTakeEffect(void)
{
    RecentFilesMenuUpdate();
    for (WindowHandle child = PlatformFirstChild(); child != nullptr;
         child = PlatformNextChild(child)) {
        ImageWindow *record = WindowRecord(child);
        if (PlatformGetWindowWord(child, WORD_KIND) == KIND_IMAGE && record != nullptr &&
            PlatformWindowState(child) != SHOW_MINIMIZED) {
            Rect client;
            PlatformGetClientRect(child, &client);
            PlatformSendMessage(child, MSG_SIZE, SIZE_RESTORED,
                                MakeParam(client.right, client.bottom));
            RefreshView(record);
            UpdateTitle(child);
        }
        PlatformInvalidate(child, nullptr);
    }
    PlatformSetWorkspaceColor(DisplayWorkspaceColor());
}

static void PreferencesAccept(WindowHandle window, PreferencesState *state)
{
    Preferences chosen = Prefs;
    PreferencesFromControls(window, state, &chosen);
    Prefs = chosen;
    if (MessageDialog(nullptr, "Preferences", MESSAGE_YES_NO,
                      "Save settings for future sessions?") == ANSWER_YES)
        WritePreferences();
    PlatformDestroyWindow(window);
    PreferencesTakeEffect();
}

static MessageResult PreferencesProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                          intptr_t lParam)
{
    PreferencesState *state = (PreferencesState *)PlatformGetWindowWord(window, WORD_POINTER);
    switch (message) {
    case MSG_COMMAND:
        if (state == nullptr) return 0;
        switch ((int)(wParam & 0xffff)) {
        case DIALOG_OK: PreferencesAccept(window, state); return 0;
        case DIALOG_CANCEL: PlatformDestroyWindow(window); return 0;
        case PREFERENCES_PCD_BROWSE:
            FolderBrowse(window, PREFERENCES_PCD_FOLDER, "Select PhotoCD Directory");
            return 0;
        case PREFERENCES_STARTUP_BROWSE:
            FolderBrowse(window, PREFERENCES_STARTUP_FOLDER, "Select Startup Directory");
            return 0;
        case PREFERENCES_TEMP_BROWSE:
            FolderBrowse(window, PREFERENCES_TEMP_FOLDER, "Select Temp Directory");
            return 0;
        case PREFERENCES_RESOLUTION:
            if ((wParam >> 16) == NOTIFY_CHANGED) ResolutionEdited(window, state);
            return 0;
        default: return 0;
        }
    case MSG_CLOSE: PlatformDestroyWindow(window); return 0; // as Cancel
    case MSG_DESTROY:
        MemoryFree(state);
        PlatformSetWindowWord(window, WORD_POINTER, 0);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

ErrorCode ShowPreferencesDialog(void)
{
    ChildKindRegister(KIND_PREFERENCES, PreferencesProcedure);
    WindowHandle window = FindChildOfKind(KIND_PREFERENCES);
    if (window != nullptr) {
        PlatformActivateWindow(window);
        return ERROR_NONE;
    }
    PreferencesState *state = (PreferencesState *)MemoryAllocZero(sizeof *state);
    if (state == nullptr) return ERROR_NO_MEMORY;
    window = DialogCreate(KIND_PREFERENCES, "Preferences");
    if (window == nullptr) {
        MemoryFree(state);
        return ERROR_NO_MEMORY;
    }
    PlatformSetWindowWord(window, WORD_POINTER, (intptr_t)state);
    DialogLayout(window, PREFERENCES_ROWS,
                 (int)(sizeof PREFERENCES_ROWS / sizeof PREFERENCES_ROWS[0]), PREFERENCES_BUTTONS,
                 2);
    ControlsFromPreferences(window, state);
    return ERROR_NONE;
}
