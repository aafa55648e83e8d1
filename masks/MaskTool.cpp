// The mask tool's window: the tool bar, the bars of the combine mode and of the overlay's
// color and opacity, the buttons that act on the whole mask, and the controls of the present
// tool (Feather, Blur, Combine Masks) below them. The outline, range, paint and curve tools
// keep their buttons disabled until they are built.
//
// The mask's pixels change only here, always by the same steps: take the undo copy, run the
// operation, restore the copy if it failed or was aborted, and then tell everyone who shows
// or reads the mask (MaskToolChanged).
#include "masks/MaskTool.h"

#include <cmath>
#include <cstring>

#include "core/FormatString.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/SettingsText.h"
#include "core/Text.h"
#include "masks/AmountControl.h"
#include "masks/Mask.h"
#include "ui/CommandIds.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/UiState.h"

MaskToolState MaskTool;

struct MaskToolButton {
    const char *label; // the button's text; also its tip unless tip is given
    const char *tip;
};

// Bitmaps IDLASSOMASK .. IDSMOOTHCURVE; ours carry the tool's name.
static const MaskToolButton TOOL_BUTTONS[MASK_TOOL_BUTTONS] = {
    {"Freehand", "Freehand Outline"},
    {"Rectangle", nullptr},
    {"Oval", nullptr},
    {"Polygon", nullptr},
    {"Spline", nullptr},
    {"Feather", nullptr},
    {"Blur", nullptr},
    {"Color Range", nullptr},
    {"Paint", nullptr},
    {"Combine", "Combine Masks"},
    {"Curve", "Brightness Curve"},
};
static const char *const TOOL_NAMES[MASK_TOOL_TEXTURE + 1] = {
    "Freehand Outline", "Rectangle", "Oval",        "Polygon", "Spline",
    "Feather",          "Blur",      "Color Range", "Paint",   "Combine Masks",
    "Brightness Curve", "Texture"};
static const MaskToolButton MODE_BUTTONS[COMBINE_MODES] = {
    {"Add", nullptr}, {"Subtract", nullptr}, {"Overlap", nullptr}, {"Invert", nullptr}};
static const MaskToolButton COLOR_BUTTONS[4] = {{"Red", "Red Overlay"},
                                                {"Green", "Green Overlay"},
                                                {"Blue", "Blue Overlay"},
                                                {"White", "White Overlay"}};
static const MaskToolButton OPACITY_BUTTONS[4] = {{"Clear", "Clear Mask Overlay"},
                                                  {"Semi", "Semitransparent Mask Overlay"},
                                                  {"Opaque", "Opaque Mask Overlay"},
                                                  {"Mask Only", nullptr}};
static const MaskToolButton ACTION_BUTTONS[8] = {
    {"All", nullptr},  {"None", nullptr},   {"Invert", nullptr}, {"Area", nullptr},
    {"Undo", nullptr}, {"Cancel", nullptr}, {"OK", nullptr},     {"Apply", nullptr}};

static const int OVERLAY_COLORS[4][3] = {{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 255}};
static const int OVERLAY_ALPHAS[4] = {0, 128, 255, -1};

static const int BAR_COLUMNS = 4; // buttons a row of the bars holds
// Rows above the tool's panel: three of tools, one each of the combine mode, the overlay
// color and its opacity, and two of the buttons that act on the whole mask.
static const int BAR_ROWS = 8;
static const int CHECK_BOX_ROOM = 20;       // pixels a check box's box takes beside its text
static const int FEATHER_CENTRE = 512;      // slider position of width 0
static const int FEATHER_POSITIONS_PER = 8; // positions a pixel of width: 64 either way

// Where the tool stood when it last closed, for the next opening.
static Rect MaskToolPlacement;
static int MaskToolPlaced;

// ---------------------------------------------------------------------------------------
// The blur's exponential scale.

static const double BLUR_K = 4.0 / 1024.0;

int MaskBlurRadiusOf(int position)
{
    double value = BLUR_RADIUS_MAX * (exp(position * BLUR_K) - 1.0) / (exp(1024.0 * BLUR_K) - 1.0);
    return Round(value);
}

int MaskBlurPositionOf(int radius)
{
    double position = log(1.0 + radius * (exp(1024.0 * BLUR_K) - 1.0) / BLUR_RADIUS_MAX) / BLUR_K;
    int rounded = Round(position);
    return rounded < 0 ? 0 : (rounded > SLIDER_POSITIONS ? SLIDER_POSITIONS : rounded);
}

// ---------------------------------------------------------------------------------------
// State.

int MaskToolIsOpen(void)
{
    return MaskTool.toolWindow != nullptr && PlatformWindowExists(MaskTool.toolWindow);
}

int MaskToolOwnsWindow(WindowHandle window)
{
    return window != nullptr && MaskToolIsOpen() && MaskTool.maskWindow == window;
}

// Rebuilds the picture's display with the overlay as it is now, and repaints it.
static void MaskToolRepaint(void)
{
    if (MaskTool.picture == nullptr) return;
    ErrorCode result = RefreshView(MaskTool.picture);
    PlatformInvalidate(MaskTool.editedWindow, nullptr);
    PlatformUpdateWindow(MaskTool.editedWindow);
    if (result != ERROR_NONE) ShowError(result);
}

// The picture's overlay as the bars say, shown at once.
static void MaskToolOverlay(void)
{
    ImageWindow *picture = MaskTool.picture;
    if (picture == nullptr) return;
    picture->overlayMask = MaskTool.maskWindow;
    picture->overlayAlpha = OVERLAY_ALPHAS[MaskTool.overlayOpacity];
    picture->overlayRed = OVERLAY_COLORS[MaskTool.overlayColor][0];
    picture->overlayGreen = OVERLAY_COLORS[MaskTool.overlayColor][1];
    picture->overlayBlue = OVERLAY_COLORS[MaskTool.overlayColor][2];
    MaskToolRepaint();
}

// The picture shows no mask any more.
static void MaskToolOverlayClear(void)
{
    if (MaskTool.picture == nullptr) return;
    MaskTool.picture->overlayMask = nullptr;
    MaskToolRepaint();
}

// What every change of the mask is followed by: the mask is modified, whoever reads it
// (an Amount control, a dialog's preview) hears of it, and the overlay shows the new pixels.
static void MaskToolChanged(void)
{
    PlatformSetWindowWord(MaskTool.maskWindow, WORD_MODIFIED, 1);
    NotifyUsers(MaskTool.maskWindow);
    MaskToolRepaint();
}

static void MaskRowsCopy(const Image *source, Image *destination)
{
    for (int y = 0; y < source->height; y++)
        memcpy(destination->rows[y], source->rows[y], (size_t)source->width);
}

static void MaskToolUndoEnable(int available)
{
    MaskTool.undoAvailable = available;
    PlatformEnableControl(MaskTool.toolWindow, MASK_ID_UNDO, available);
}

static void MaskToolTakeUndo(void)
{
    MaskRowsCopy(MaskTool.mask, &MaskTool.undoImage);
    memcpy(MaskTool.undoCoverage, MaskTool.coverage, (size_t)MaskTool.mask->height);
    MaskToolUndoEnable(1);
}

// Undo, and what a failed operation runs: the undo copy comes back and Undo has nothing
// left to restore.
static void MaskToolRestoreUndo(void)
{
    MaskRowsCopy(&MaskTool.undoImage, MaskTool.mask);
    memcpy(MaskTool.coverage, MaskTool.undoCoverage, (size_t)MaskTool.mask->height);
    MaskToolUndoEnable(0);
    MaskTool.adjusting = -1;
}

// ---------------------------------------------------------------------------------------
// Operations.

enum : int32_t {
    OPERATION_ALL,
    OPERATION_NONE,
    OPERATION_INVERT,
    OPERATION_FEATHER,
    OPERATION_BLUR,
    OPERATION_COMBINE,
};

// The picture the combine takes, or null for the constant gray; a picture that has gone or
// changed size since the list was made counts as no choice and answers 0.
static int MaskToolCombineSource(const Image **with)
{
    *with = nullptr;
    int choice = PopupListChoice(MaskTool.toolWindow, MASK_ID_COMBINE_WITH);
    if (choice <= 0) return 1;
    if (choice > MaskTool.combineCount) return 0;
    const ImageWindow *record = ShownPicture(MaskTool.combineWith[choice - 1]);
    if (record == nullptr || record->picture.image.type != TYPE_GRAY8 ||
        record->picture.image.width != MaskTool.mask->width ||
        record->picture.image.height != MaskTool.mask->height)
        return 0;
    *with = &record->picture.image;
    return 1;
}

static void MaskToolRun(int operation)
{
    ErrorCode result = ERROR_NONE;
    Image *mask = MaskTool.mask;
    const Image *with = nullptr;
    if (mask == nullptr) return;
    if (operation == OPERATION_COMBINE && !MaskToolCombineSource(&with)) {
        ShowError(ERROR_ILLEGAL_TYPE);
        return;
    }
    // The feather and the blur read the undo copy; their first change takes it, the next
    // ones work from it again.
    int adjust = operation == OPERATION_FEATHER || operation == OPERATION_BLUR;
    if (!adjust || MaskTool.adjusting != MaskTool.currentTool) MaskToolTakeUndo();
    MaskTool.adjusting = adjust ? MaskTool.currentTool : -1;

    switch (operation) {
    case OPERATION_ALL: MaskFill(mask, 255, MaskTool.coverage); break;
    case OPERATION_NONE: MaskFill(mask, 0, MaskTool.coverage); break;
    case OPERATION_INVERT: MaskInvert(mask, MaskTool.coverage); break;
    case OPERATION_FEATHER:
        // The feather's coverage describes its source on entry.
        memcpy(MaskTool.coverage, MaskTool.undoCoverage, (size_t)mask->height);
        result = MaskFeather(&MaskTool.undoImage, mask, MaskTool.featherWidth,
                             MaskTool.featherFalloff, MaskTool.featherCorners, MaskTool.coverage);
        break;
    case OPERATION_BLUR:
        result = MaskBlur(&MaskTool.undoImage, mask, MaskTool.blurRadius, MaskTool.coverage);
        break;
    case OPERATION_COMBINE:
        result =
            MaskCombine(mask, with, MaskTool.combineGray, MaskTool.combineMode, MaskTool.coverage);
        break;
    default: break;
    }
    if (result != ERROR_NONE) MaskToolRestoreUndo();
    MaskToolChanged();
    if (result != ERROR_NONE) ShowError(result);
}

static void MaskToolArea(void)
{
    char text[128];
    MaskAreaText(MaskTool.mask, text, sizeof text);
    ShowMessage("Mask Area", "%s", text);
}

// ---------------------------------------------------------------------------------------
// Making and letting go of the mask.

// A new blank mask of the picture's size in a hidden window, named after the picture.
static ErrorCode MaskToolNewMask(WindowHandle *window)
{
    ErrorCode result = ERROR_NONE;
    const Picture *picture = &MaskTool.picture->picture;
    ImageWindow *record = nullptr;
    *window = nullptr;

    result = NewImageWindow(MaskTool.editedWindow, window, -1, -1, COMMAND_MASK_NEW);
    if (result != ERROR_NONE) goto done;
    record = WindowRecord(*window);
    result = ImageAlloc(&record->picture.image, TYPE_GRAY8, picture->image.width,
                        picture->image.height, 100.0);
    if (result != ERROR_NONE) goto done;
    MaskFill(&record->picture.image, 0, MaskTool.coverage);
    StrCopyLimit(picture->fileName[0] != 0 ? picture->fileName : picture->derivedFrom,
                 record->picture.derivedFrom, PATH_LENGTH - 1);
    ImageWindowLayout(*window);
    // Hidden after its layout, which shows a window it sizes.
    PlatformShowWindow(*window, SHOW_HIDE);
done:
    if (result != ERROR_NONE && *window != nullptr) {
        PlatformDestroyWindow(*window);
        *window = nullptr;
    }
    return result;
}

// Takes window as the mask under edit: the tool's pointers, the overlay, no undo yet.
static void MaskToolInstall(WindowHandle window)
{
    MaskTool.maskWindow = window;
    MaskTool.mask = &WindowRecord(window)->picture.image;
    MaskTool.overlayColor = 0;
    MaskTool.overlayOpacity = MASK_OPACITY_SEMITRANSPARENT;
    MaskTool.adjusting = -1;
    if (MaskTool.toolWindow != nullptr) {
        MaskToolUndoEnable(0);
        for (int i = 0; i < 4; i++) {
            PlatformSetControlValue(MaskTool.toolWindow, MASK_ID_COLOR + i, i == 0);
            PlatformSetControlValue(MaskTool.toolWindow, MASK_ID_OPACITY + i,
                                    i == MASK_OPACITY_SEMITRANSPARENT);
        }
    }
    MaskToolOverlay();
}

// The mask becomes an ordinary gray picture window again: shown, fitted to the workspace,
// with a title of its own. The overlay is cleared first, so that no paint of the picture
// reads a mask the tool no longer keeps.
static void MaskToolHandOver(void)
{
    WindowHandle window = MaskTool.maskWindow;
    MaskToolOverlayClear();
    MaskTool.maskWindow = nullptr;
    MaskTool.mask = nullptr;
    ImageWindow *record = WindowRecord(window);
    if (record == nullptr) return;
    PlatformShowWindow(window, SHOW_NORMAL);
    ZoomToFitClient(window, record, PlatformWorkspace(), 1);
    UpdateTitle(window);
    PlatformActivateWindow(window);
}

// Cancel without asking: a new mask goes, a mask brought in gets its pixels back and shows
// again. Used by Cancel and by a tool destroyed with its work unfinished.
static void MaskToolDiscard(void)
{
    WindowHandle window = MaskTool.maskWindow;
    MaskToolOverlayClear();
    MaskTool.maskWindow = nullptr;
    MaskTool.mask = nullptr;
    if (window == nullptr || !PlatformWindowExists(window)) return;
    if (MaskTool.createdMask) {
        PlatformDestroyWindow(window);
        return;
    }
    ImageWindow *record = WindowRecord(window);
    if (record != nullptr && MaskTool.savedCopy.rows != nullptr) {
        MaskRowsCopy(&MaskTool.savedCopy, &record->picture.image);
        PlatformSetWindowWord(window, WORD_MODIFIED, MaskTool.savedModified);
        NotifyUsers(window);
    }
    PlatformShowWindow(window, SHOW_NORMAL);
    if (record != nullptr) RefreshView(record);
    PlatformInvalidate(window, nullptr);
}

static void MaskToolCancel(void)
{
    // A dialog whose Amount reads the mask keeps it from going.
    if (MaskTool.maskWindow != nullptr && InUseBy(MaskTool.maskWindow) != nullptr) {
        ShowError(ERROR_WINDOW_IN_USE);
        return;
    }
    MaskToolDiscard();
    PlatformDestroyWindow(MaskTool.toolWindow);
}

static void MaskToolOk(void)
{
    MaskToolHandOver();
    PlatformDestroyWindow(MaskTool.toolWindow);
}

// As OK, and the tool goes on with a new blank mask.
static void MaskToolApply(void)
{
    WindowHandle window = nullptr;
    MaskToolHandOver();
    ImageFree(&MaskTool.savedCopy);
    MaskTool.createdMask = 1;
    ErrorCode result = MaskToolNewMask(&window);
    if (result != ERROR_NONE) {
        ShowError(result);
        PlatformDestroyWindow(MaskTool.toolWindow);
        return;
    }
    MaskToolInstall(window);
    PlatformActivateWindow(MaskTool.toolWindow);
}

// ---------------------------------------------------------------------------------------
// The controls.

static void MaskToolFeatherText(void)
{
    char text[64];
    FormatString(text, sizeof text, "Width: %d", MaskTool.featherWidth);
    PlatformSetControlText(MaskTool.toolWindow, MASK_ID_FEATHER_TEXT, text);
}

static void MaskToolBlurText(void)
{
    char text[64];
    FormatString(text, sizeof text, "Radius: %d", MaskTool.blurRadius);
    PlatformSetControlText(MaskTool.toolWindow, MASK_ID_BLUR_TEXT, text);
}

// The combine list: "Mask Gray Level" and the shown gray pictures of the mask's size.
static void MaskToolCombineList(void)
{
    char items[MASK_COMBINE_CANDIDATES_MAX * (WINDOW_TITLE_MAX + 1) + 32];
    int used = FormatString(items, (int)sizeof items - 1, "Mask Gray Level") + 1;
    MaskTool.combineCount = AmountMaskCandidates(MaskTool.mask->width, MaskTool.mask->height,
                                                 MaskTool.combineWith, MASK_COMBINE_CANDIDATES_MAX);
    // The mask itself is no choice, should it be among them.
    for (int i = 0; i < MaskTool.combineCount; i++)
        if (MaskTool.combineWith[i] == MaskTool.maskWindow) {
            memmove(&MaskTool.combineWith[i], &MaskTool.combineWith[i + 1],
                    (size_t)(MaskTool.combineCount - i - 1) * sizeof(WindowHandle));
            MaskTool.combineCount--;
            i--;
        }
    for (int i = 0; i < MaskTool.combineCount; i++) {
        char title[WINDOW_TITLE_MAX + 1];
        PlatformGetWindowTitle(MaskTool.combineWith[i], title, sizeof title);
        used += FormatString(items + used, (int)sizeof items - used - 1, "%s", title) + 1;
    }
    items[used] = 0;
    PlatformSetControlItems(MaskTool.toolWindow, MASK_ID_COMBINE_WITH, items);
    PlatformSetControlValue(MaskTool.toolWindow, MASK_ID_COMBINE_WITH, 0);
}

// The ids of each tool's controls, which show only while it is the present tool.
static const int FEATHER_IDS[] = {
    MASK_ID_FEATHER_TEXT,    MASK_ID_FEATHER_WIDTH,
    MASK_ID_FEATHER_FALLOFF, MASK_ID_FEATHER_FALLOFF + POPUP_LABEL_ID,
    MASK_ID_FEATHER_CORNERS, MASK_ID_FEATHER_CORNERS + POPUP_LABEL_ID};
static const int BLUR_IDS[] = {MASK_ID_BLUR_TEXT, MASK_ID_BLUR_RADIUS};
static const int COMBINE_IDS[] = {MASK_ID_COMBINE_WITH, MASK_ID_COMBINE_WITH + POPUP_LABEL_ID,
                                  MASK_ID_COMBINE_GRAY, MASK_ID_COMBINE_GRAY + POPUP_LABEL_ID,
                                  MASK_ID_COMBINE_RUN};

static void MaskToolShowIds(const int *ids, int count, int show)
{
    for (int i = 0; i < count; i++)
        PlatformShowWindow(PlatformControl(MaskTool.toolWindow, ids[i]),
                           show ? SHOW_NORMAL : SHOW_HIDE);
}

static int MaskToolPanelTop(void)
{
    return Margin + BAR_ROWS * (ButtonHeight + Margin);
}

// The height of the window's client area for a tool: the bars and buttons, and the panel
// when the tool has controls (the feather's take three rows, the others' two).
static int MaskToolClientHeight(int tool)
{
    int rows = tool == MASK_TOOL_FEATHER ? 3 : 2;
    int panel = tool == MASK_TOOL_FEATHER || tool == MASK_TOOL_BLUR || tool == MASK_TOOL_COMBINE
                    ? LineHeight + rows * (ButtonHeight + Margin) + Margin
                    : 0;
    return MaskToolPanelTop() + panel + Margin;
}

// The bars' buttons share one width: the widest label, with room for a check box's box.
static int MaskToolButtonWidth(void)
{
    const MaskToolButton *bars[] = {TOOL_BUTTONS, MODE_BUTTONS, COLOR_BUTTONS, OPACITY_BUTTONS,
                                    ACTION_BUTTONS};
    const int counts[] = {MASK_TOOL_BUTTONS, COMBINE_MODES, 4, 4, 8};
    int widest = 0;
    for (int bar = 0; bar < 5; bar++)
        for (int i = 0; i < counts[bar]; i++) {
            const char *label = bars[bar][i].label;
            int width = PlatformTextWidth(label, (int)strlen(label));
            if (width > widest) widest = width;
        }
    return widest + 2 * Margin + CHECK_BOX_ROOM;
}

static int MaskToolClientWidth(void)
{
    return BAR_COLUMNS * MaskToolButtonWidth() + (BAR_COLUMNS + 1) * Margin;
}

// Changes the present tool: its controls show, the others' hide, the window fits them.
static void MaskToolChoose(int tool)
{
    WindowHandle window = MaskTool.toolWindow;
    MaskTool.currentTool = tool;
    MaskTool.adjusting = -1;
    MaskToolShowIds(FEATHER_IDS, (int)(sizeof FEATHER_IDS / sizeof FEATHER_IDS[0]),
                    tool == MASK_TOOL_FEATHER);
    MaskToolShowIds(BLUR_IDS, (int)(sizeof BLUR_IDS / sizeof BLUR_IDS[0]), tool == MASK_TOOL_BLUR);
    MaskToolShowIds(COMBINE_IDS, (int)(sizeof COMBINE_IDS / sizeof COMBINE_IDS[0]),
                    tool == MASK_TOOL_COMBINE);
    if (tool == MASK_TOOL_COMBINE) MaskToolCombineList();
    int panel = tool == MASK_TOOL_FEATHER || tool == MASK_TOOL_BLUR || tool == MASK_TOOL_COMBINE;
    PlatformShowWindow(PlatformControl(window, MASK_ID_PANEL), panel ? SHOW_NORMAL : SHOW_HIDE);
    PlatformSetControlText(window, MASK_ID_PANEL, TOOL_NAMES[tool]);
    Rect panelRect = {Margin, MaskToolPanelTop(), MaskToolClientWidth() - Margin,
                      MaskToolClientHeight(tool) - Margin};
    PlatformMoveControl(PlatformControl(window, MASK_ID_PANEL), &panelRect);
    Rect rect;
    PlatformGetWindowRect(window, &rect);
    PlatformMoveWindow(window, rect.left, rect.top,
                       MaskToolClientWidth() + DisplayMetrics.dialogFrame,
                       MaskToolClientHeight(tool) + DisplayMetrics.dialogBorder);
}

// A row of check boxes or buttons: count of them from id on, tips as given.
static int MaskToolBar(WindowHandle window, const MaskToolButton *buttons, int count, int id,
                       int type, int y)
{
    int width = MaskToolButtonWidth();
    for (int i = 0; i < count; i++) {
        int column = i % BAR_COLUMNS;
        if (i > 0 && column == 0) y += ButtonHeight + Margin;
        int x = Margin + column * (width + Margin);
        Rect rect = {x, y, x + width, y + ButtonHeight};
        PlatformCreateControl(window, type, id + i, buttons[i].label, 0, &rect);
        PlatformSetControlTip(window, id + i,
                              buttons[i].tip != nullptr ? buttons[i].tip : buttons[i].label);
    }
    return y + ButtonHeight + Margin;
}

// Every control of the tool; those of the tools that are not chosen stay hidden.
static void MaskToolControls(WindowHandle window)
{
    int y = Margin;
    y = MaskToolBar(window, TOOL_BUTTONS, MASK_TOOL_BUTTONS, MASK_ID_TOOL, CONTROL_BUTTON, y);
    for (int tool = 0; tool < MASK_TOOL_BUTTONS; tool++)
        if (tool != MASK_TOOL_FEATHER && tool != MASK_TOOL_BLUR && tool != MASK_TOOL_COMBINE)
            PlatformEnableControl(window, MASK_ID_TOOL + tool, 0);
    y = MaskToolBar(window, MODE_BUTTONS, COMBINE_MODES, MASK_ID_COMBINE_MODE, CONTROL_CHECK_BOX,
                    y);
    y = MaskToolBar(window, COLOR_BUTTONS, 4, MASK_ID_COLOR, CONTROL_CHECK_BOX, y);
    y = MaskToolBar(window, OPACITY_BUTTONS, 4, MASK_ID_OPACITY, CONTROL_CHECK_BOX, y);
    MaskToolBar(window, ACTION_BUTTONS, 8, MASK_ID_ALL, CONTROL_BUTTON, y);
    for (int i = 0; i < COMBINE_MODES; i++)
        PlatformSetControlValue(window, MASK_ID_COMBINE_MODE + i, i == MaskTool.combineMode);

    // The panel of the present tool, its controls from the same top.
    int width = MaskToolClientWidth() - 4 * Margin;
    int x = 2 * Margin;
    Rect panel = {Margin, MaskToolPanelTop(), MaskToolClientWidth() - Margin,
                  MaskToolPanelTop() + 10};
    PlatformCreateControl(window, CONTROL_GROUP, MASK_ID_PANEL, "", 0, &panel);
    int top = MaskToolPanelTop() + LineHeight + Margin;

    Rect text = {x, top, x + width, top + LineHeight};
    PlatformCreateControl(window, CONTROL_STATIC, MASK_ID_FEATHER_TEXT, "", ALIGN_LEFT, &text);
    Rect slider = {x, top + LineHeight, x + width, top + LineHeight + SliderHeight};
    SliderCreate(window, MASK_ID_FEATHER_WIDTH, &slider,
                 FEATHER_CENTRE + MaskTool.featherWidth * FEATHER_POSITIONS_PER);
    int row = top + LineHeight + SliderHeight + Margin;
    Rect list = {x, row, x + width / 2 - Margin, row + ButtonHeight};
    PopupListCreate(window, MASK_ID_FEATHER_FALLOFF, &list, "Falloff:", "Gradual\0Step\0",
                    MaskTool.featherFalloff);
    list = {x + width / 2, row, x + width, row + ButtonHeight};
    PopupListCreate(window, MASK_ID_FEATHER_CORNERS, &list, "Corners:", "Round\0Square\0",
                    MaskTool.featherCorners);
    MaskToolFeatherText();

    PlatformCreateControl(window, CONTROL_STATIC, MASK_ID_BLUR_TEXT, "", ALIGN_LEFT, &text);
    SliderCreate(window, MASK_ID_BLUR_RADIUS, &slider, MaskBlurPositionOf(MaskTool.blurRadius));
    MaskToolBlurText();

    list = {x, top, x + width, top + ButtonHeight};
    PopupListCreate(window, MASK_ID_COMBINE_WITH, &list, "Combine Mask:", "Mask Gray Level\0", 0);
    row = top + ButtonHeight + Margin;
    int labelWidth = PlatformTextWidth("Gray level:", 11) + Margin;
    Rect label = {x, row, x + labelWidth, row + ButtonHeight};
    PlatformCreateControl(window, CONTROL_STATIC, MASK_ID_COMBINE_GRAY + POPUP_LABEL_ID,
                          "Gray level:", ALIGN_LEFT, &label);
    Rect edit = {x + labelWidth, row, x + width / 2, row + ButtonHeight};
    char gray[16];
    FormatString(gray, sizeof gray, "%d", MaskTool.combineGray);
    PlatformCreateControl(window, CONTROL_EDIT, MASK_ID_COMBINE_GRAY, gray, 0, &edit);
    Rect run = {x + width / 2 + Margin, row, x + width, row + ButtonHeight};
    PlatformCreateControl(window, CONTROL_BUTTON, MASK_ID_COMBINE_RUN, "Combine", 0, &run);
}

// One choice of a bar of check boxes that act as one choice among four.
static void MaskToolBarChoose(int id, int count, int choice)
{
    for (int i = 0; i < count; i++)
        PlatformSetControlValue(MaskTool.toolWindow, id + i, i == choice);
}

static void MaskToolCommand(int id, uint32_t notification)
{
    WindowHandle window = MaskTool.toolWindow;
    if (id >= MASK_ID_TOOL && id < MASK_ID_TOOL + MASK_TOOL_BUTTONS) {
        MaskToolChoose(id - MASK_ID_TOOL);
        return;
    }
    if (id >= MASK_ID_COMBINE_MODE && id < MASK_ID_COMBINE_MODE + COMBINE_MODES) {
        MaskTool.combineMode = id - MASK_ID_COMBINE_MODE;
        MaskToolBarChoose(MASK_ID_COMBINE_MODE, COMBINE_MODES, MaskTool.combineMode);
        return;
    }
    if (id >= MASK_ID_COLOR && id < MASK_ID_COLOR + 4) {
        MaskTool.overlayColor = id - MASK_ID_COLOR;
        MaskToolBarChoose(MASK_ID_COLOR, 4, MaskTool.overlayColor);
        MaskToolOverlay();
        return;
    }
    if (id >= MASK_ID_OPACITY && id < MASK_ID_OPACITY + 4) {
        MaskTool.overlayOpacity = id - MASK_ID_OPACITY;
        MaskToolBarChoose(MASK_ID_OPACITY, 4, MaskTool.overlayOpacity);
        MaskToolOverlay();
        return;
    }
    switch (id) {
    case MASK_ID_ALL: MaskToolRun(OPERATION_ALL); return;
    case MASK_ID_NONE: MaskToolRun(OPERATION_NONE); return;
    case MASK_ID_INVERT: MaskToolRun(OPERATION_INVERT); return;
    case MASK_ID_AREA: MaskToolArea(); return;
    case MASK_ID_UNDO:
        if (!MaskTool.undoAvailable) return;
        MaskToolRestoreUndo();
        MaskToolChanged();
        return;
    case MASK_ID_CANCEL: MaskToolCancel(); return;
    case MASK_ID_OK: MaskToolOk(); return;
    case MASK_ID_APPLY: MaskToolApply(); return;
    case MASK_ID_FEATHER_WIDTH: {
        int position = SliderPosition(window, MASK_ID_FEATHER_WIDTH);
        MaskTool.featherWidth = Round((position - FEATHER_CENTRE) / (double)FEATHER_POSITIONS_PER);
        MaskToolFeatherText();
        if (notification == NOTIFY_RELEASED) MaskToolRun(OPERATION_FEATHER);
        return;
    }
    case MASK_ID_FEATHER_FALLOFF:
    case MASK_ID_FEATHER_CORNERS:
        if (notification != NOTIFY_CHANGED) return;
        MaskTool.featherFalloff = PopupListChoice(window, MASK_ID_FEATHER_FALLOFF) == 1;
        MaskTool.featherCorners = PopupListChoice(window, MASK_ID_FEATHER_CORNERS) == 1;
        // A new shape redoes the feather that is being adjusted.
        if (MaskTool.adjusting == MASK_TOOL_FEATHER) MaskToolRun(OPERATION_FEATHER);
        return;
    case MASK_ID_BLUR_RADIUS:
        MaskTool.blurRadius = MaskBlurRadiusOf(SliderPosition(window, MASK_ID_BLUR_RADIUS));
        MaskToolBlurText();
        if (notification == NOTIFY_RELEASED) MaskToolRun(OPERATION_BLUR);
        return;
    case MASK_ID_COMBINE_GRAY: {
        char text[16];
        int32_t gray = 0;
        PlatformGetControlText(window, MASK_ID_COMBINE_GRAY, text, sizeof text);
        if (!ParseInteger(text, &gray)) MaskTool.combineGray = Clamp8(gray);
        return;
    }
    case MASK_ID_COMBINE_RUN: MaskToolRun(OPERATION_COMBINE); return;
    default: return;
    }
}

// ---------------------------------------------------------------------------------------
// The window.

// What a closing picture asks: the picture under the tool may go only when the user gives
// up the mask operation and the tool can let the mask go.
static int MaskToolPictureClosing(WindowHandle picture)
{
    if (picture != MaskTool.editedWindow) return 0;
    if (MessageDialog(nullptr, "Warning", MESSAGE_YES_NO, "Abort mask operation in progress?") !=
        ANSWER_YES)
        return 1;
    MaskToolCancel();
    return MaskToolIsOpen();
}

// Whatever was not handed over by OK is given up as Cancel gives it up, every buffer is
// freed, and the state forgets the picture; the choices that outlive an opening stay.
static void MaskToolRelease(void)
{
    MaskToolDiscard();
    ImageFree(&MaskTool.savedCopy);
    ImageFree(&MaskTool.undoImage);
    MemoryFree(MaskTool.coverage);
    if (CurrentTool == TOOL_MASK) CurrentTool = TOOL_NONE;
    MaskToolState kept = {};
    kept.combineMode = MaskTool.combineMode;
    kept.featherWidth = MaskTool.featherWidth;
    kept.featherFalloff = MaskTool.featherFalloff;
    kept.featherCorners = MaskTool.featherCorners;
    kept.blurRadius = MaskTool.blurRadius;
    kept.combineGray = MaskTool.combineGray;
    MaskTool = kept;
}

static void MaskToolDestroy(WindowHandle window)
{
    PlatformGetWindowRect(window, &MaskToolPlacement);
    MaskToolPlaced = 1;
    ClearInUse(window, nullptr);
    MaskToolRelease();
}

static MessageResult MaskToolProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                       intptr_t lParam)
{
    switch (message) {
    case MSG_COMMAND:
        if (window == MaskTool.toolWindow)
            MaskToolCommand((int)(wParam & 0xffff), (uint32_t)(wParam >> 16) & 0xffff);
        return 0;
    case MSG_CLOSE:
    case MSG_CANCEL: MaskToolCancel(); return 0;
    case MSG_PICTURE_CLOSING: return MaskToolPictureClosing((WindowHandle)wParam);
    case MSG_DESTROY:
        if (window == MaskTool.toolWindow) MaskToolDestroy(window);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

// The tool's part in the picture windows' lives: when the picture or the mask goes while
// the tool is open, the tool goes too, and does not touch the window that is going.
static void MaskToolMouse(WindowHandle window, int x, int y, int phase)
{
    (void)x;
    (void)y;
    if (phase != TOOL_PHASE_DESTROY || !MaskToolIsOpen()) return;
    if (window == MaskTool.maskWindow) {
        MaskTool.maskWindow = nullptr;
        MaskTool.mask = nullptr;
        if (MaskTool.picture != nullptr) MaskTool.picture->overlayMask = nullptr;
    } else if (window == MaskTool.editedWindow) {
        MaskTool.picture->overlayMask = nullptr;
        MaskTool.picture = nullptr;
        MaskTool.editedWindow = nullptr;
    } else {
        return;
    }
    PlatformDestroyWindow(MaskTool.toolWindow);
}

void MaskToolRegister(void)
{
    ChildKindRegister(KIND_MASK, MaskToolProcedure);
    ToolRegister(TOOL_MASK, MaskToolMouse);
    // A start begins with the choices of a first opening.
    MaskTool = {};
    MaskTool.combineGray = 255;
    MaskTool.featherWidth = 8;
    MaskTool.blurRadius = 4;
}

ErrorCode OpenMaskTool(WindowHandle mask)
{
    ErrorCode result = ERROR_NONE;
    WindowHandle picture = ActiveWindow;
    ImageWindow *record = nullptr;
    const ImageWindow *maskRecord = nullptr;
    WindowHandle maskWindow = nullptr;
    WindowHandle tool = nullptr;
    char title[WINDOW_TITLE_MAX + 1];
    char text[WINDOW_TITLE_MAX + 1];
    int height;

    if (MaskToolIsOpen()) {
        PlatformActivateWindow(MaskTool.toolWindow);
        return ERROR_NONE;
    }
    if (picture != nullptr && PlatformGetWindowWord(picture, WORD_KIND) == KIND_IMAGE)
        record = WindowRecord(picture);
    if (record == nullptr) return ERROR_ILLEGAL_TYPE;
    switch (record->picture.image.type) {
    case TYPE_BINARY:
    case TYPE_GRAY8:
    case TYPE_COLOR24:
    case TYPE_GRAY16:
    case TYPE_COLOR48: break;
    default: return ERROR_ILLEGAL_TYPE;
    }
    height = record->picture.image.height;
    if (mask != nullptr) {
        maskRecord = mask != picture && PlatformWindowExists(mask) ? WindowRecord(mask) : nullptr;
        if (maskRecord == nullptr || maskRecord->picture.image.type != TYPE_GRAY8 ||
            maskRecord->picture.image.width != record->picture.image.width ||
            maskRecord->picture.image.height != height)
            return ERROR_ILLEGAL_TYPE;
    }

    MaskTool.editedWindow = picture;
    MaskTool.picture = record;
    MaskTool.pictureImage = &record->picture.image;
    MaskTool.pictureType = record->picture.image.type;
    MaskTool.currentTool = MASK_TOOL_FEATHER;
    // The coverage and that of the undo copy are one allocation of twice the height.
    MaskTool.coverage = (uint8_t *)MemoryAlloc((size_t)height * 2);
    if (MaskTool.coverage == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    MaskTool.undoCoverage = MaskTool.coverage + height;
    result =
        ImageAlloc(&MaskTool.undoImage, TYPE_GRAY8, record->picture.image.width, height, 100.0);
    if (result != ERROR_NONE) goto done;
    if (mask == nullptr) {
        MaskTool.createdMask = 1;
        result = MaskToolNewMask(&maskWindow);
        if (result != ERROR_NONE) goto done;
        MaskTool.maskWindow = maskWindow;
    } else {
        MaskTool.createdMask = 0;
        maskWindow = mask;
        result = ImageCopy(&maskRecord->picture.image, &MaskTool.savedCopy, 0);
        if (result != ERROR_NONE) goto done;
        MaskTool.savedModified = (int32_t)PlatformGetWindowWord(mask, WORD_MODIFIED);
        MaskCoverage(&maskRecord->picture.image, MaskTool.coverage);
        MaskTool.maskWindow = maskWindow;
        PlatformShowWindow(mask, SHOW_HIDE);
    }
    MaskTool.mask = &WindowRecord(maskWindow)->picture.image;
    CurrentTool = TOOL_MASK;

    {
        WindowTitle(picture, text, sizeof text);
        FormatString(title, sizeof title, "Mask - %s", text);
        WindowCreate request = {CLASS_CHILD,
                                KIND_MASK,
                                -1,
                                title,
                                STYLE_DIALOG | STYLE_CAPTION | STYLE_HIDDEN,
                                WINDOW_DEFAULT,
                                WINDOW_DEFAULT,
                                200,
                                200,
                                nullptr,
                                0,
                                0};
        tool = PlatformCreateWindow(&request);
    }
    if (tool == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    MaskTool.toolWindow = tool;
    result = MarkInUse(tool, picture, MASK_TOOL_IN_USE_NAME, 0);
    if (result != ERROR_NONE) goto done;
    MaskToolControls(tool);
    MaskToolInstall(maskWindow);
    MaskToolChoose(MaskTool.currentTool);
    {
        // From the second opening on the tool stands where it stood, unless Shift is held.
        Rect rect;
        PlatformGetWindowRect(tool, &rect);
        int x = MaskToolPlacement.left;
        int y = MaskToolPlacement.top;
        if (!MaskToolPlaced || PlatformShiftDown()) {
            Rect workspace;
            PlatformGetClientRect(PlatformWorkspace(), &workspace);
            x = workspace.right - (rect.right - rect.left) - Margin;
            y = Margin;
            if (x < 0) x = 0;
        }
        PlatformMoveWindow(tool, x, y, rect.right - rect.left, rect.bottom - rect.top);
    }
    PlatformShowWindow(tool, SHOW_NORMAL);
    PlatformActivateWindow(tool);
done:
    if (result != ERROR_NONE) {
        // The tool's destruction gives the mask up and frees everything; without a tool
        // the same release runs here.
        if (tool != nullptr)
            PlatformDestroyWindow(tool);
        else
            MaskToolRelease();
    }
    return result;
}
