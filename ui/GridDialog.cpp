// "Window Grid": the grid a picture window draws over its view, chosen in a small modal
// dialog. The window takes every choice at once, so that the user judges the lines on the
// picture itself; Cancel gives the window back the grid it had.
#include <cstring>

#include "core/FormatString.h"
#include "core/Memory.h"
#include "ui/DialogLayout.h"
#include "ui/Display.h"
#include "ui/GridDialog.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/UiState.h"

// The grids a photographer reaches for: halves and quarters to find the middle, thirds to
// compose by, and finer ones to straighten a horizon or a wall.
const int GRID_CHOICES[GRID_CHOICE_COUNT] = {1, 2, 3, 4, 5, 6, 8, 10, 12, 16};
const char *const GRID_LABELS[GRID_CHOICE_COUNT] = {
    "None",  "Halves (2 x 2)", "Thirds (3 x 3)", "Quarters (4 x 4)", "5 x 5",
    "6 x 6", "8 x 8",          "10 x 10",        "12 x 12",          "16 x 16"};

static const DialogRow GRID_ROWS[] = {
    {"Grid:", CONTROL_POPUP_LIST, GRID_DIVISIONS, 1, nullptr, 0, nullptr},
    {nullptr, CONTROL_STATIC, GRID_PARTS, 1, "", 0, nullptr},
};

static const DialogButton GRID_BUTTONS[] = {
    {DIALOG_OK, "OK", CONTROL_DEFAULT},
    {DIALOG_CANCEL, "Cancel", 0},
};

int GridChoiceOf(int divisions)
{
    int choice = 0;
    for (int i = 0; i < GRID_CHOICE_COUNT; i++)
        if (GRID_CHOICES[i] <= divisions) choice = i;
    return choice;
}

void GridPartsText(int width, int height, int divisions, char *text, int capacity)
{
    if (divisions < 2 || width <= 0 || height <= 0) {
        FormatString(text, capacity, "No grid lines");
        return;
    }
    // Lines fall at width * i / n: parts differ by a pixel at most, the mean is shown.
    FormatString(text, capacity, "Parts of %d x %d pixels", (width + divisions / 2) / divisions,
                 (height + divisions / 2) / divisions);
}

// The picture window the dialog works on, while it is open.
static WindowHandle GridTarget;

// Shows the list's choice on the window and says what a part measures.
static void GridTake(WindowHandle dialog)
{
    ImageWindow *record = WindowRecord(GridTarget);
    if (record == nullptr) return;
    int choice = PlatformControlValue(dialog, GRID_DIVISIONS);
    if (choice < 0 || choice >= GRID_CHOICE_COUNT) choice = 0;
    record->gridDivisions = GRID_CHOICES[choice];
    int width, height;
    DisplayPictureSize(GridTarget, record, &width, &height);
    char text[64];
    GridPartsText(width, height, record->gridDivisions, text, sizeof text);
    PlatformSetControlText(dialog, GRID_PARTS, text);
    PlatformInvalidate(GridTarget, nullptr);
}

static MessageResult GridProcedure(WindowHandle dialog, uint32_t message, uintptr_t wParam,
                                   intptr_t lParam)
{
    switch (message) {
    case MSG_COMMAND:
        switch ((int)(wParam & 0xffff)) {
        case GRID_DIVISIONS:
            if ((wParam >> 16) == NOTIFY_CHANGED) GridTake(dialog);
            return 0;
        case DIALOG_OK: PlatformEndModal(dialog, 1); return 0;
        case DIALOG_CANCEL: PlatformEndModal(dialog, 0); return 0;
        default: return 0;
        }
    case MSG_CLOSE:
    case MSG_CANCEL: PlatformEndModal(dialog, 0); return 0;
    case MSG_APPLY: PlatformEndModal(dialog, 1); return 0;
    case MSG_CHAR:
        // Return keeps the choice and Esc takes it back, as in any small dialog.
        if (wParam == '\r') PlatformEndModal(dialog, 1);
        if (wParam == 27) PlatformEndModal(dialog, 0);
        return 0;
    default: return PlatformDefaultProcedure(dialog, message, wParam, lParam);
    }
}

void ShowGridDialog(WindowHandle window)
{
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr || GridTarget != nullptr) return;
    ChildKindRegister(KIND_WINDOW_GRID, GridProcedure);
    WindowHandle dialog = DialogCreate(KIND_WINDOW_GRID, "Window Grid");
    if (dialog == nullptr) {
        ShowError(ERROR_NO_MEMORY);
        return;
    }
    int before = record->gridDivisions < 1 ? 1 : record->gridDivisions;
    GridTarget = window;
    DialogLayout(dialog, GRID_ROWS, (int)(sizeof GRID_ROWS / sizeof GRID_ROWS[0]), GRID_BUTTONS,
                 (int)(sizeof GRID_BUTTONS / sizeof GRID_BUTTONS[0]));
    char items[256];
    int used = 0;
    for (int i = 0; i < GRID_CHOICE_COUNT; i++)
        used += FormatString(items + used, (int)sizeof items - used - 1, "%s", GRID_LABELS[i]) + 1;
    items[used] = 0;
    PlatformSetControlItems(dialog, GRID_DIVISIONS, items);
    PlatformSetControlValue(dialog, GRID_DIVISIONS, GridChoiceOf(before));
    GridTake(dialog);
    // The list has the focus, so that the arrow keys go through the choices at once.
    PlatformSetFocus(PlatformControl(dialog, GRID_DIVISIONS));
    int kept = PlatformRunModal(dialog);
    PlatformDestroyWindow(dialog);
    GridTarget = nullptr;
    // The window may have gone while the dialog was up.
    record = WindowRecord(window);
    if (record == nullptr) return;
    if (!kept) {
        record->gridDivisions = before;
        PlatformInvalidate(window, nullptr);
    }
    PlatformActivateWindow(window);
}
