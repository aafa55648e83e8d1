// The transformation dialogs' shared protocol and the preview window.
//
// A dialog owns its settings and its controls; everything else runs here. Preview computes
// into the view of a small window of kind 1 only what that view shows, at its reduced zoom
// and at 8 bits; Apply computes the whole picture at full depth into a fresh window of the
// same kind and then hands it to the user as an ordinary image window. The flags below say
// whether the preview still shows the settings (PreviewStale) and whether the last Apply
// does (SettingsDirty), which is what lets OK after an Apply close without computing.
#include "ui/Transform.h"

#include <cstring>

#include "color/ColorSettings.h"
#include "color/ProfileTransform.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "ui/CommandIds.h"
#include "ui/Controls.h"
#include "ui/Display.h"
#include "ui/DisplayColor.h"
#include "ui/GridDialog.h"
#include "ui/ImageWindows.h"
#include "ui/MessageBox.h"
#include "ui/ProgressWindow.h"
#include "ui/UiState.h"

WindowHandle InputWindow;
WindowHandle OutputWindow;
double OutputResolution;
int AutoPreview;
int PreviewStale = 1;
int PreviewWaiting;
int SettingsDirty = 1;
int ApplyCount;
WindowHandle LastOutput;

// The room a preview may take of the workspace, by the maxpreviewsize preference: half of
// it each way, three quarters, or all of it.
static const int PREVIEW_ROOM_NUMERATOR[3] = {1, 3, 1};
static const int PREVIEW_ROOM_DENOMINATOR[3] = {2, 4, 1};

// Set once a new output window's record is laid out, so that the size messages of its
// creation do not ask the dialog for a view that does not exist yet.
static WindowHandle PreviewReady;

// 1 while RunTransformation works on the output window: its size and paint messages then
// only lay out, and never ask for another computation in the middle of this one.
static int Running;

static int Larger(int a, int b)
{
    return a > b ? a : b;
}

// ---------------------------------------------------------------------------------------
// The dialog window and its buttons.

WindowHandle CreateDialogWindow(const char *title, int width, int height, int kind, uint32_t flags)
{
    Rect client;
    PlatformGetClientRect(PlatformWorkspace(), &client);
    uint32_t style = STYLE_CAPTION | STYLE_DIALOG;
    if (flags & DIALOG_SIZING) style |= STYLE_SIZING;
    if (!(flags & DIALOG_NO_MINIMIZE)) style |= STYLE_MINIMIZE;
    // Centred at the bottom of the workspace, where it covers the least of the pictures.
    int x = Larger(0, (client.right - width) / 2);
    int y = Larger(0, client.bottom - height - Margin);
    WindowCreate request = {CLASS_CHILD, kind,  -1,     title,   style, x,
                            y,           width, height, nullptr, 0,     0};
    WindowHandle dialog = PlatformCreateWindow(&request);
    if (dialog == nullptr) return nullptr;
    DialogWindow = dialog;
    CurrentOperation = kind;
    OutputWindow = nullptr;
    LastOutput = nullptr;
    // Files dropped or handed over while the dialog is open wait until it ends.
    EditorOpenQueueHold();
    return dialog;
}

// A push button of the row at x, y as wide as its label and two margins; the x after it.
static int ButtonAdd(WindowHandle dialog, int id, const char *label, int type, int x, int y)
{
    int width = PlatformTextWidth(label, (int)strlen(label)) + 2 * Margin;
    // A check box shows its box before the label, about as wide as a line is high.
    if (type == CONTROL_CHECK_BOX) width += LineHeight;
    Rect rect = {x, y, x + width, y + ButtonHeight};
    PlatformCreateControl(dialog, type, id, label, 0, &rect);
    return x + width + Margin;
}

int CreateTransformButtons(WindowHandle dialog, int x, int y)
{
    AutoPreview = 0;
    PreviewStale = 1;
    PreviewWaiting = 0;
    SettingsDirty = 1;
    ApplyCount = 0;
    x = ButtonAdd(dialog, BUTTON_AUTO, "Auto", CONTROL_CHECK_BOX, x, y);
    x = ButtonAdd(dialog, BUTTON_PREVIEW, "Preview", CONTROL_BUTTON, x, y);
    x = ButtonAdd(dialog, BUTTON_APPLY, "Apply", CONTROL_BUTTON, x, y);
    x = ButtonAdd(dialog, BUTTON_OK, "OK", CONTROL_BUTTON, x, y);
    x = ButtonAdd(dialog, BUTTON_CANCEL, "Cancel", CONTROL_BUTTON, x, y);
    // The click comes once the dialog has finished opening, so that its settings are there.
    if (Prefs.defaultPreview)
        PlatformPostMessage(dialog, MSG_COMMAND, BUTTON_AUTO,
                            (intptr_t)PlatformControl(dialog, BUTTON_AUTO));
    return x;
}

int CreateApplyButtons(WindowHandle dialog, int x, int y)
{
    PreviewWaiting = 0;
    PreviewStale = 1;
    SettingsDirty = 1;
    ApplyCount = 0;
    x = ButtonAdd(dialog, BUTTON_APPLY, "Apply", CONTROL_BUTTON, x, y);
    x = ButtonAdd(dialog, BUTTON_OK, "OK", CONTROL_BUTTON, x, y);
    x = ButtonAdd(dialog, BUTTON_CANCEL, "Cancel", CONTROL_BUTTON, x, y);
    return x;
}

int CreateOkCancelButtons(WindowHandle dialog, int x, int y)
{
    AutoPreview = 0;
    PreviewWaiting = 0;
    PreviewStale = 1;
    SettingsDirty = 1;
    ApplyCount = 0;
    x = ButtonAdd(dialog, BUTTON_OK, "OK", CONTROL_BUTTON, x, y);
    x = ButtonAdd(dialog, BUTTON_CANCEL, "Cancel", CONTROL_BUTTON, x, y);
    return x;
}

static void PreviewButtonEnable(int enabled)
{
    if (DialogWindow != nullptr) PlatformEnableControl(DialogWindow, BUTTON_PREVIEW, enabled);
}

static void AutoSet(int on)
{
    AutoPreview = on;
    if (DialogWindow != nullptr) PlatformSetControlValue(DialogWindow, BUTTON_AUTO, on);
}

static void ActivateDialogOnTop(void)
{
    if (Prefs.transformationOnTop && DialogWindow != nullptr) PlatformActivateWindow(DialogWindow);
}

void KeepOnScreen(WindowHandle window)
{
    if (window == nullptr) return;
    Rect outer, client;
    PlatformGetWindowRect(window, &outer);
    PlatformGetClientRect(PlatformWorkspace(), &client);
    int width = outer.right - outer.left;
    int height = outer.bottom - outer.top;
    int x = outer.left;
    int y = outer.top;
    if (x + width > client.right - Margin) x = Larger(0, client.right - Margin - width);
    if (y + height > client.bottom - Margin) y = Larger(0, client.bottom - Margin - height);
    if (x != outer.left || y != outer.top) PlatformMoveWindow(window, x, y, width, height);
}

void TransformTakeInput(WindowHandle input)
{
    InputWindow = input;
    const ImageWindow *record = input != nullptr ? WindowRecord(input) : nullptr;
    if (record == nullptr) return;
    OutputWidth = record->picture.image.width;
    OutputHeight = record->picture.image.height;
    OutputResolution = record->picture.image.resolution;
}

int TransformDialogClientWidth(int buttonsRight, int contentWidth)
{
    // buttonsRight already holds the margin after the last button.
    return Larger(buttonsRight, contentWidth + 2 * Margin);
}

void TransformDialogShow(WindowHandle dialog, int clientWidth, int clientHeight,
                         const Rect *placement)
{
    int width = clientWidth + DisplayMetrics.dialogFrame;
    int height = clientHeight + DisplayMetrics.dialogBorder;
    Rect client;
    PlatformGetClientRect(PlatformWorkspace(), &client);
    int x = Larger(0, (client.right - width) / 2);
    int y = Larger(0, client.bottom - height - Margin);
    if (placement != nullptr) {
        x = placement->left;
        y = placement->top;
    }
    PlatformMoveWindow(dialog, x, y, width, height);
    KeepOnScreen(dialog);
    PlatformShowWindow(dialog, SHOW_NORMAL);
    PlatformActivateWindow(dialog);
}

int TransformDialogText(WindowHandle dialog, int id, const char *text, int x, int y, int width)
{
    Rect rect = {x, y, x + width, y + LineHeight};
    PlatformCreateControl(dialog, CONTROL_STATIC, id, text, ALIGN_LEFT, &rect);
    return y + LineHeight + Margin;
}

// ---------------------------------------------------------------------------------------
// The output window.

void TransformPreviewWait(int waiting)
{
    PreviewWaiting = waiting != 0;
    if (PreviewWaiting && OutputWindow != nullptr) {
        // What it shows belongs to settings that are no longer there; "Auto" stays on.
        WindowHandle window = OutputWindow;
        OutputWindow = nullptr;
        PlatformDestroyWindow(window);
        PreviewStale = 1;
    }
}

// A preview that the user did not ask for by the button: nothing while the settings wait.
// Returns 1 when the user aborted it.
static int AutomaticPreview(void *params, const TransformDialogKind *kind)
{
    if (PreviewWaiting) {
        PreviewStale = 1;
        return 0;
    }
    return RunTransformation(params, 0, nullptr, kind);
}

void ClosePreview(void)
{
    if (OutputWindow != nullptr) {
        WindowHandle window = OutputWindow;
        OutputWindow = nullptr;
        PlatformDestroyWindow(window);
    }
    AutoSet(0);
    PreviewStale = 1;
    PreviewButtonEnable(1);
}

// Makes the output window: a child titled "Preview" of kind 1 at the top right of the
// workspace, reduced by the smallest whole factor that lets it fit the room the
// maxpreviewsize preference gives. A full computation's window may be minimised and
// maximised once it belongs to the user. ERROR_TOO_MANY_IMAGES when no slot is free,
// ERROR_NO_MEMORY when the window cannot be made.
static ErrorCode CreateOutputWindow(int full)
{
    int slot = -1;
    ImageWindow *record = nullptr;
    ErrorCode result = SlotAllocate(&slot, &record);
    if (result != ERROR_NONE) return result;

    Rect client;
    PlatformGetClientRect(PlatformWorkspace(), &client);
    int frameWidth = DisplayMetrics.frameSize + 2 * DisplayBorder();
    int frameHeight = DisplayMetrics.borderSize + 2 * DisplayBorder();
    int room = Prefs.maxPreviewSize >= 0 && Prefs.maxPreviewSize <= 2 ? Prefs.maxPreviewSize : 0;
    int roomWidth = client.right * PREVIEW_ROOM_NUMERATOR[room] / PREVIEW_ROOM_DENOMINATOR[room];
    int roomHeight = client.bottom * PREVIEW_ROOM_NUMERATOR[room] / PREVIEW_ROOM_DENOMINATOR[room];
    int outputWidth = Larger(1, OutputWidth);
    int outputHeight = Larger(1, OutputHeight);
    int n = 1;
    int viewWidth = outputWidth;
    int viewHeight = outputHeight;
    while ((viewWidth + frameWidth > roomWidth || viewHeight + frameHeight > roomHeight) &&
           viewWidth > 1 && viewHeight > 1) {
        n++;
        viewWidth = (outputWidth + n - 1) / n;
        viewHeight = (outputHeight + n - 1) / n;
    }

    uint32_t style = STYLE_CAPTION | STYLE_SIZING | STYLE_HIDDEN;
    if (full) style |= STYLE_MINIMIZE | STYLE_MAXIMIZE;
    int width = viewWidth + frameWidth;
    int height = viewHeight + frameHeight;
    WindowCreate request = {CLASS_CHILD, KIND_PREVIEW, slot,   "Preview", style, 0,
                            0,           width,        height, nullptr,   0,     0};
    request.x = Larger(0, client.right - width);
    PreviewReady = nullptr;
    WindowHandle window = PlatformCreateWindow(&request);
    if (window == nullptr) {
        SlotFree(slot);
        return ERROR_NO_MEMORY;
    }
    OutputWindow = window;
    record->window = window;
    record->viewWidth = viewWidth;
    record->viewHeight = viewHeight;
    record->scrollRangeX = record->scrollRangeY = 0;
    record->scrollLeft = record->scrollTop = 0;
    record->scrollRight = viewWidth - 1;
    record->scrollBottom = viewHeight - 1;
    record->sourceLeft = record->sourceTop = 0;
    record->sourceRight = outputWidth - 1;
    record->sourceBottom = outputHeight - 1;
    record->zoom = n == 1 ? 1 : -n;
    record->picture.image.resolution = OutputResolution;
    CenterView(record, window);
    UpdateTitle(window);
    KeepOnScreen(window);
    PreviewReady = window;
    return ERROR_NONE;
}

// The profile a preview's pixels are in: the source's own; the working space for a color
// preview of a gray or binary source, or of no source. Null for none.
static const uint8_t *PreviewProfile(const ImageWindow *source, int destinationType, int *length)
{
    *length = 0;
    int color = destinationType == TYPE_COLOR24 || destinationType == TYPE_COLOR48;
    if (source != nullptr && source->picture.profile != nullptr) {
        *length = source->picture.profileSize;
        return source->picture.profile;
    }
    int sourceColor = source != nullptr && (source->picture.image.type == TYPE_COLOR24 ||
                                            source->picture.image.type == TYPE_COLOR48);
    if (color && !sourceColor) return ColorProfileBytes(COLOR_PROFILE_WORKING, length);
    return nullptr;
}

// Gives the preview the profile its pixels are in and brings the written rectangle to the
// screen. The screen and the display transform are made anew only when the profile
// changed, so that a scrolled strip costs only its own conversion.
static void PreviewToScreen(ImageWindow *source, ImageWindow *output, const Rect *written,
                            const TransformDialogKind *kind, const void *params)
{
    int length = 0;
    int whole = 0;
    if (kind->descriptor->resultProfile == nullptr) {
        const uint8_t *wanted = PreviewProfile(source, output->view.type, &length);
        int same = length == output->picture.profileSize &&
                   (length == 0 || memcmp(wanted, output->picture.profile, (size_t)length) == 0);
        if (!same) {
            ErrorCode result = WindowProfileSet(output, wanted, length);
            if (result != ERROR_NONE) ShowError(result);
            whole = 1;
        }
    } else {
        // The transformation decides the profile of its pixels, and may change it at every
        // run.
        const uint8_t *profile = kind->descriptor->resultProfile(params, &length);
        ErrorCode result = WindowProfileSet(output, profile, length);
        if (result != ERROR_NONE) ShowError(result);
        whole = 1;
    }
    if (whole) {
        DisplayTransformRelease(output);
        ImageFree(&output->screen);
        written = nullptr;
    }
    ErrorCode result;
    if (written == nullptr)
        result = UpdateDisplayImage(output, 0, 0, output->view.width - 1, output->view.height - 1);
    else
        result = UpdateDisplayImage(output, written->left, written->top, written->right,
                                    written->bottom);
    if (result != ERROR_NONE) ShowError(result);
}

int RunTransformation(void *params, int full, const Rect *rectangle,
                      const TransformDialogKind *kind)
{
    SettingsDirty = 1;
    if (!full && !PreviewStale) return 0;
    if (full && OutputWindow != nullptr) {
        // A full computation always starts with a fresh window.
        WindowHandle old = OutputWindow;
        OutputWindow = nullptr;
        PlatformDestroyWindow(old);
    }
    if (OutputWindow == nullptr) {
        // The window takes the result's size, which settings may change (a quarter turn):
        // such a change closes the preview, so that the next one is made anew.
        ImageWindow *input = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
        if (input != nullptr)
            TransformResultSize(kind->descriptor, params, &input->picture.image, &OutputWidth,
                                &OutputHeight);
        ErrorCode made = CreateOutputWindow(full);
        if (made != ERROR_NONE) {
            ClosePreview();
            ShowError(made);
            if (DialogWindow != nullptr) PlatformActivateWindow(DialogWindow);
            return 0;
        }
    }

    WindowHandle window = OutputWindow;
    ImageWindow *output = WindowRecord(window);
    ImageWindow *sourceRecord = nullptr;
    if (InputWindow != nullptr && PlatformGetWindowWord(InputWindow, WORD_KIND) == KIND_IMAGE)
        sourceRecord = WindowRecord(InputWindow);
    const Image *source = sourceRecord != nullptr ? &sourceRecord->picture.image : nullptr;

    Image *destination;
    int zoom, destinationWidth, destinationHeight, x0, y0, x1, y1, w, h, sourceX, sourceY;
    if (full) {
        destination = &output->picture.image;
        zoom = 1;
        destinationWidth = OutputWidth;
        destinationHeight = OutputHeight;
        x0 = y0 = 0;
        x1 = OutputWidth - 1;
        y1 = OutputHeight - 1;
        w = OutputWidth;
        h = OutputHeight;
        sourceX = sourceY = 0;
    } else {
        destination = &output->view;
        zoom = output->zoom == 0 || output->zoom == -1 ? 1 : output->zoom;
        destinationWidth = output->viewWidth;
        destinationHeight = output->viewHeight;
        if (rectangle != nullptr) {
            x0 = rectangle->left;
            y0 = rectangle->top;
            x1 = rectangle->right;
            y1 = rectangle->bottom;
        } else {
            x0 = y0 = 0;
            x1 = destinationWidth - 1;
            y1 = destinationHeight - 1;
        }
        int skipColumns, skipRows;
        if (zoom <= 1) {
            // A reduced view takes every m-th pixel: a view column is m picture columns.
            int m = zoom < 0 ? -zoom : 1;
            skipColumns = x0 * m;
            skipRows = y0 * m;
            w = x1 - x0 + 1;
            h = y1 - y0 + 1;
        } else {
            // A magnified view repeats each picture pixel z times, so a rectangle of view
            // pixels covers the picture pixels that its first and last pixels fall in.
            skipColumns = x0 / zoom;
            skipRows = y0 / zoom;
            w = (x1 - x0 + zoom) / zoom;
            h = (y1 - y0 + zoom) / zoom;
        }
        sourceX = output->sourceLeft + skipColumns;
        // The source rectangle counts y from the top; picture rows count from the bottom.
        sourceY = OutputHeight - 1 - output->sourceBottom + skipRows;
    }

    Running = 1;
    ErrorCode result;
    if (kind->descriptor->changesNothing != nullptr &&
        kind->descriptor->changesNothing(params, source, full)) {
        // Nothing to compute: Apply copies the input, and a preview shows it as the display
        // would, smoothing included.
        if (full)
            result = ImageCopy(source, destination, 1);
        else
            result = RenderView(source, output, x0, y0, x1, y1, 1);
    } else {
        // A preview's own picture is empty: the transformation gives only a result's.
        result = kind->descriptor->compute(source, destination, full ? &output->picture : nullptr,
                                           params, full, destinationWidth, destinationHeight,
                                           sourceX, sourceY, zoom, x0, y0, x1, y1, w, h);
    }
    Running = 0;
    if (result != ERROR_NONE) {
        ClosePreview();
        ShowError(result);
        if (DialogWindow != nullptr) PlatformActivateWindow(DialogWindow);
        return result == ERROR_ABORTED;
    }

    if (!full) {
        Rect written = {x0, y0, x1, y1};
        PreviewToScreen(sourceRecord, output, rectangle != nullptr ? &written : nullptr, kind,
                        params);
        UpdateTitle(window);
        if (PlatformWindowState(window) == SHOW_HIDE) {
            Running = 1;
            PlatformShowWindow(window, SHOW_NORMAL);
            Running = 0;
        }
    } else {
        PlatformSetWindowWord(window, WORD_KIND, KIND_IMAGE);
        if (kind->descriptor->resultSize != nullptr) {
            // A result of another size than its input's is seen whole: the smallest
            // reduction that lets it fit the workspace.
            Rect client;
            PlatformGetClientRect(PlatformWorkspace(), &client);
            int frameWidth = DisplayMetrics.frameSize + 2 * DisplayBorder();
            int frameHeight = DisplayMetrics.borderSize + 2 * DisplayBorder();
            int k = 1;
            while ((OutputWidth + k - 1) / k + frameWidth > client.right ||
                   (OutputHeight + k - 1) / k + frameHeight > client.bottom) {
                if ((OutputWidth + k - 1) / k <= 1 && (OutputHeight + k - 1) / k <= 1) break;
                k++;
            }
            output->zoom = k == 1 ? 1 : -k;
        } else if (sourceRecord != nullptr) {
            output->zoom = sourceRecord->zoom;
        }
        if (InputWindow != nullptr) {
            // Each Apply stands one step further down and right of the input.
            ApplyCount++;
            Rect input;
            PlatformGetWindowRect(InputWindow, &input);
            Rect outer;
            PlatformGetWindowRect(window, &outer);
            PlatformMoveWindow(window, input.left + ApplyCount * Margin,
                               input.top + ApplyCount * DisplayMetrics.captionHeight,
                               outer.right - outer.left, outer.bottom - outer.top);
        }
        // The window takes its picture's zoomed size, as far as the workspace allows.
        Rect outer;
        PlatformGetWindowRect(window, &outer);
        int width = ZoomedSize(output->picture.image.width, output->zoom) +
                    DisplayMetrics.frameSize + 2 * DisplayBorder();
        int height = ZoomedSize(output->picture.image.height, output->zoom) +
                     DisplayMetrics.borderSize + 2 * DisplayBorder();
        PlatformMoveWindow(window, outer.left, outer.top, width, height);
        FitWindow(window);
        PlatformShowWindow(window, SHOW_NORMAL);
        ImageWindowLayout(window);
        if (PlatformWindowState(window) == SHOW_HIDE) PlatformShowWindow(window, SHOW_NORMAL);
    }
    if (rectangle == nullptr) PlatformInvalidate(window, nullptr);
    PreviewStale = 0;
    PreviewButtonEnable(0);
    // A result comes to the front for the user; a preview only shows what the dialog's
    // settings do, and the focus stays where the user is working, in the dialog.
    if (full) PlatformActivateWindow(window);
    return 0;
}

// ---------------------------------------------------------------------------------------
// The buttons.

// The end of a dialog, by OK or Cancel: the input is free again and the dialog goes.
static void FinishTransformation(WindowHandle dialog)
{
    ClearInUse(dialog, nullptr);
    // The child class's destruction clears DialogWindow and CurrentOperation and opens the
    // files that waited.
    PlatformDestroyWindow(dialog);
    OutputWindow = nullptr;
    DialogWindow = nullptr;
    CurrentOperation = 0;
    InputWindow = nullptr;
}

// Apply: the whole result into a new window that then belongs to the user. Returns 1 when
// the user aborted it.
static int ApplySteps(WindowHandle dialog, void *params, const TransformDialogKind *kind)
{
    int wasAuto = AutoPreview;
    ClosePreview();
    if (RunTransformation(params, 1, nullptr, kind)) return 1;
    if (OutputWindow != nullptr) {
        WindowHandle window = OutputWindow;
        ImageWindow *output = WindowRecord(window);
        PlatformActivateWindow(window);
        PlatformSetWindowWord(window, WORD_MODIFIED, 1);
        PlatformSetWindowWord(window, WORD_KIND, KIND_IMAGE);
        ImageWindow *input = InputWindow != nullptr ? WindowRecord(InputWindow) : nullptr;
        ErrorCode result = ERROR_NONE;
        if (input != nullptr) result = CopyImageExtras(&input->picture, &output->picture);
        if (result == ERROR_NONE && kind->descriptor->profile == TRANSFORM_PROFILE_INHERIT)
            result = InheritProfile(input != nullptr ? &input->picture : nullptr, &output->picture);
        else if (result == ERROR_NONE && input != nullptr &&
                 kind->descriptor->profile == TRANSFORM_PROFILE_COPY)
            result = CopyImageProfile(&input->picture, &output->picture);
        DisplayReset(output);
        if (result != ERROR_NONE) ShowError(result);
        FitWindow(window);
        ImageWindowLayout(window);
        LastOutput = window;
        OutputWindow = nullptr;
    }
    PreviewStale = 1;
    PreviewButtonEnable(1);
    if (wasAuto) {
        AutoSet(1);
        PreviewButtonEnable(0);
        AutomaticPreview(params, kind);
    }
    SettingsDirty = 0;
    if (Prefs.transformationOnTop) PlatformActivateWindow(dialog);
    return 0;
}

// OK: applies unless the last Apply is still current, and closes.
static void OkSteps(WindowHandle dialog, void *params, const TransformDialogKind *kind)
{
    int dirty = SettingsDirty;
    ClosePreview();
    if (dirty) {
        if (ApplySteps(dialog, params, kind)) return;
        if (LastOutput == nullptr) return;
        // The Apply's automatic preview has no place once the dialog closes.
        ClosePreview();
    } else {
        if (InputWindow != nullptr) PlatformActivateWindow(InputWindow);
    }
    WindowHandle kept = LastOutput;
    FinishTransformation(dialog);
    LastOutput = kept;
    if (kept != nullptr && PlatformWindowExists(kept)) PlatformActivateWindow(kept);
}

void CancelTransformation(WindowHandle dialog)
{
    if (InputWindow != nullptr && PlatformWindowExists(InputWindow))
        PlatformActivateWindow(InputWindow);
    if (OutputWindow != nullptr) {
        WindowHandle window = OutputWindow;
        OutputWindow = nullptr;
        PlatformDestroyWindow(window);
    }
    FinishTransformation(dialog);
}

void ApplyTransformation(WindowHandle dialog, void *params, const TransformDialogKind *kind)
{
    LastOutput = nullptr;
    OkSteps(dialog, params, kind);
}

int TransformCommand(WindowHandle dialog, uintptr_t wParam, intptr_t lParam, void *params,
                     const TransformDialogKind *kind)
{
    (void)lParam;
    int id = (int)(wParam & 0xffff);
    uint32_t notification = (uint32_t)(wParam >> 16) & 0xffff;
    LastOutput = nullptr;
    if (id < BUTTON_OK || id > BUTTON_APPLY) return 0;
    if (notification != NOTIFY_CLICKED) return 1;
    switch (id) {
    case BUTTON_APPLY: ApplySteps(dialog, params, kind); break;
    case BUTTON_OK: OkSteps(dialog, params, kind); break;
    case BUTTON_CANCEL: CancelTransformation(dialog); break;
    case BUTTON_AUTO:
        AutoSet(!AutoPreview);
        if (AutoPreview) {
            AutomaticPreview(params, kind);
            ActivateDialogOnTop();
        }
        PreviewButtonEnable(0);
        break;
    case BUTTON_PREVIEW:
        RunTransformation(params, 0, nullptr, kind);
        ActivateDialogOnTop();
        break;
    default: break;
    }
    return 1;
}

void RefreshPreview(void *params, const TransformDialogKind *kind)
{
    if (!AutoPreview) {
        if (!PreviewStale) {
            PreviewButtonEnable(1);
            PreviewStale = 1;
        }
    } else {
        PreviewStale = 1;
        // A failed run closes the preview and with it "Auto"; an abort is the user's wish
        // to stop this one computation, not to stop previewing.
        if (AutomaticPreview(params, kind)) {
            AutoSet(1);
            PreviewButtonEnable(0);
        }
    }
    SettingsDirty = 1;
    ActivateDialogOnTop();
}

void InputChanged(void *params, const TransformDialogKind *kind)
{
    int again = AutoPreview && OutputWindow != nullptr;
    ClosePreview();
    RefreshPreview(params, kind);
    if (again) {
        AutoSet(1);
        AutomaticPreview(params, kind);
        PreviewButtonEnable(0);
    }
    SettingsDirty = 1;
    ActivateDialogOnTop();
}

int TransformDialogMessage(WindowHandle dialog, uint32_t message, uintptr_t wParam, intptr_t lParam,
                           const TransformDialogKind *kind, void *params)
{
    // A dialog's settings go at its destruction; nothing is computed after that.
    if (params == nullptr) return 0;
    switch (message) {
    case MSG_COMMAND: return TransformCommand(dialog, wParam, lParam, params, kind);
    case MSG_INPUT_CHOSEN: {
        if ((int)wParam != kind->chooserId) return 1;
        WindowHandle chosen = InputChooserWindow(dialog, kind->chooserId);
        if (chosen == nullptr || chosen == InputWindow) return 1;
        // The in-use mark moves with the input; the preview goes with the old one.
        if (InputWindow != nullptr) ClearInUse(dialog, InputWindow);
        TransformTakeInput(chosen);
        MarkInUse(dialog, chosen, TransformInUseName(kind), 1);
        if (kind->inputTaken != nullptr) kind->inputTaken(dialog, params);
        InputChanged(params, kind);
        return 1;
    }
    case MSG_PREVIEW_REGION:
        if (OutputWindow != nullptr) {
            PreviewStale = 1;
            RunTransformation(params, 0, (const Rect *)lParam, kind);
        }
        return 1;
    case MSG_REFRESH: RefreshPreview(params, kind); return 1;
    case MSG_CLOSE:
    case MSG_CANCEL: CancelTransformation(dialog); return 1;
    case MSG_APPLY: ApplyTransformation(dialog, params, kind); return 1;
    default: return 0;
    }
}

// ---------------------------------------------------------------------------------------
// The preview window.

// The zoom items of the right button's menu; the frame gets the choice as a command.
static const MenuItem PREVIEW_POPUP[] = {
    {COMMAND_ZOOM_IN, "Zoom &In", 1},
    {COMMAND_ZOOM_IN_RESIZE, "Zoom In and &Resize", 1},
    {COMMAND_ZOOM_OUT, "Zoom &Out", 1},
    {COMMAND_ZOOM_ONE, "Zoom to &1:1", 1},
    {COMMAND_ZOOM_ONE_RESIZE, "Zoom to 1:1 and Re&size", 1},
    {0, nullptr, 0},
};

// Asks the dialog for the whole view.
static void PreviewRequestAll(WindowHandle window)
{
    if (Running || PreviewReady != window || DialogWindow == nullptr) return;
    PlatformSendMessage(DialogWindow, MSG_PREVIEW_REGION, (uintptr_t)window, 0);
}

// Lays the preview out for its size and zoom; the dialog computes the new view unless the
// window was resized, in which case its size message does that.
static void PreviewLayout(WindowHandle window, ImageWindow *record, int resize)
{
    ImageFree(&record->view);
    ImageFree(&record->screen);
    if (LayoutWindow(window, record, resize, 0) == 0) {
        LayoutScroll(window, record, -1, -1);
        CenterView(record, window);
        PreviewStale = 1;
        PreviewRequestAll(window);
    }
    UpdateTitle(window);
}

static void PreviewZoom(WindowHandle window, ImageWindow *record, int id)
{
    int zoom = record->zoom;
    int resize = id == COMMAND_ZOOM_IN_RESIZE || id == COMMAND_ZOOM_ONE_RESIZE;
    switch (id) {
    case COMMAND_ZOOM_IN:
    case COMMAND_ZOOM_IN_RESIZE: zoom = ZoomStepIn(zoom); break;
    case COMMAND_ZOOM_OUT: zoom = ZoomStepOut(zoom); break;
    case COMMAND_ZOOM_ONE:
    case COMMAND_ZOOM_ONE_RESIZE: zoom = 1; break;
    case COMMAND_GRID: ShowGridDialog(window); return;
    default: return;
    }
    if (zoom == record->zoom) return;
    record->zoom = zoom;
    PreviewLayout(window, record, resize);
}

static void PreviewMouse(WindowHandle window, uint32_t message, uintptr_t wParam, intptr_t lParam)
{
    static int dragging;
    int x = ParamLow(lParam);
    int y = ParamHigh(lParam);
    switch (message) {
    case MSG_LBUTTON_DOWN:
        if (ToolTarget != nullptr) {
            // A tool dialog waiting for a click takes this one too.
            PlatformSendMessage(ToolTarget, MSG_CLICK, (uintptr_t)window, lParam);
            return;
        }
        if (!(wParam & KEYS_ALT) && CurrentTool != TOOL_SCROLL && CurrentTool != TOOL_NONE) {
            // A preview is not a picture of the user's: nothing may be drawn into it.
            ShowError(ERROR_TOOLS_ON_PREVIEW);
            return;
        }
        dragging = 1;
        ToolDown = 1;
        PlatformSetCapture(window);
        PlatformSetCursor(CURSOR_HAND);
        ToolCall(TOOL_SCROLL, window, x, y, TOOL_PHASE_DOWN);
        break;
    case MSG_MOUSE_MOVE:
        if (dragging) ToolCall(TOOL_SCROLL, window, x, y, TOOL_PHASE_MOVE);
        break;
    case MSG_LBUTTON_UP:
        if (!dragging) break;
        dragging = 0;
        ToolDown = 0;
        PlatformReleaseCapture();
        PlatformSetCursor(CURSOR_ARROW);
        ToolCall(TOOL_SCROLL, window, x, y, TOOL_PHASE_UP);
        break;
    default: break;
    }
}

MessageResult PreviewWindowProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam)
{
    ImageWindow *record = WindowRecord(window);
    switch (message) {
    case MSG_CREATE: ImageWindowAttach(window); return 0;
    case MSG_SIZE:
        if (record == nullptr || wParam == SIZE_MINIMIZED) return 0;
        ImageWindowPlaceBars(window, ParamLow(lParam), ParamHigh(lParam));
        if (PreviewReady == window && !Running) PreviewLayout(window, record, 0);
        return 0;
    case MSG_PAINT:
        if (record == nullptr || PlatformWindowState(window) == SHOW_MINIMIZED) return 0;
        PaintImageWindow((DrawContext *)wParam, window, record, &record->view);
        return 0;
    case MSG_HSCROLL:
    case MSG_VSCROLL:
        // While a computation runs its progress window alone takes input.
        if (record == nullptr || ProgressWindow != nullptr || DialogWindow == nullptr) return 0;
        ScrollPreviewWindow(window, record, message, wParam, DialogWindow, !PreviewStale);
        return 0;
    case MSG_KEY_DOWN: ImageWindowKeyScroll(window, (uint32_t)wParam, (uint32_t)lParam); return 0;
    case MSG_CHAR:
        if (FrameWindow != nullptr) PlatformSendMessage(FrameWindow, MSG_CHAR, wParam, 0);
        return 0;
    case MSG_MOUSE_WHEEL:
        if (record != nullptr) WheelImageWindow(window, record, wParam, lParam);
        return 0;
    case MSG_LBUTTON_DOWN:
    case MSG_MOUSE_MOVE:
    case MSG_LBUTTON_UP: PreviewMouse(window, message, wParam, lParam); return 0;
    case MSG_RBUTTON_DOWN: {
        PlatformActivateWindow(window);
        int chosen = PlatformPopupMenu(window, PREVIEW_POPUP, ParamLow(lParam), ParamHigh(lParam));
        if (chosen != 0 && FrameWindow != nullptr)
            PlatformSendMessage(FrameWindow, MSG_COMMAND, (uintptr_t)(uint16_t)chosen, 0);
        return 0;
    }
    case MSG_COMMAND:
        if (record != nullptr) PreviewZoom(window, record, (int)(wParam & 0xffff));
        return 0;
    case MSG_CLOSE:
        if (OutputWindow == window) OutputWindow = nullptr;
        AutoSet(0);
        PreviewStale = 1;
        PreviewButtonEnable(1);
        if (DialogWindow != nullptr) PlatformActivateWindow(DialogWindow);
        if (QuerySave(window)) PlatformDestroyWindow(window);
        return 0;
    case MSG_DESTROY:
        if (OutputWindow == window) OutputWindow = nullptr;
        if (PreviewReady == window) PreviewReady = nullptr;
        if (record != nullptr) SlotFree(record->slot);
        PlatformSetWindowWord(window, WORD_SLOT, -1);
        return 0;
    default: return PlatformDefaultProcedure(window, message, wParam, lParam);
    }
}

void TransformRegister(void)
{
    ChildKindRegister(KIND_PREVIEW, PreviewWindowProcedure);
}
