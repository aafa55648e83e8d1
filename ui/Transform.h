// The protocol every transformation dialog follows: a modeless child with its own controls
// and one shared row of buttons (Auto, Preview, Apply, OK, Cancel); Preview computes only
// what a small preview window shows, Apply computes the whole picture at full depth into a
// new image window, OK applies and closes, Cancel keeps earlier Applies. A transformation
// gives its compute function, its controls and its settings; everything else is here.
#pragma once

#include <cstdint>

#include "core/Compute.h"
#include "core/Errors.h"
#include "core/Helpers.h"
#include "platform/Platform.h"
#include "transforms/TransformDescriptor.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

// Ids of the shared buttons.
enum : int32_t {
    BUTTON_OK = 0,
    BUTTON_CANCEL = 1,
    BUTTON_PREVIEW = 2,
    BUTTON_AUTO = 3,
    BUTTON_APPLY = 4,
};

// The shared state: one transformation dialog exists at a time. DialogWindow and
// CurrentOperation are in shell/Shell.h, OutputWidth and OutputHeight in shell/Display.h.
extern WindowHandle InputWindow;  // the input image window, or null
extern WindowHandle OutputWindow; // the preview or output window, or null
extern double OutputResolution;   // resolution of the result
extern int AutoPreview;           // the "Auto" check box
extern int PreviewStale;          // the preview no longer shows the settings
extern int PreviewWaiting;        // the settings are not enough to compute yet
extern int SettingsDirty;         // the settings changed since the last Apply
extern int ApplyCount;            // outputs of this dialog, to stagger new windows
extern WindowHandle LastOutput;   // the window of the last Apply or OK, else null

// Flags of CreateDialogWindow.
enum : uint32_t {
    DIALOG_SIZING = 1,      // a sizing frame
    DIALOG_NO_MINIMIZE = 2, // no minimise button
};

// Makes the dialog child of kind titled title, width by height, centred horizontally at the
// bottom of the workspace above one Margin. Null when it cannot be made.
WindowHandle CreateDialogWindow(const char *title, int width, int height, int kind, uint32_t flags);

// The row of buttons at x, y; returns the x after it. CreateTransformButtons resets the
// shared flags, and posts a click on "Auto" when the defaultpreview preference is set.
int CreateTransformButtons(WindowHandle dialog, int x, int y);
int CreateApplyButtons(WindowHandle dialog, int x, int y);
int CreateOkCancelButtons(WindowHandle dialog, int x, int y);

// What outlives one opening of a dialog: its last settings, where it stood, and whether the
// next opening starts from the defaults.
struct TransformDialogMemory {
    void *saved;    // the settings record, the descriptor's settingsSize bytes
    Rect placement; // the dialog's rectangle when it was last destroyed
    int32_t useDefaults;
};

// What a transformation's dialog tells the shared handling about itself: its descriptor, its
// controls, and what it does besides what every dialog does.
struct TransformDialogKind {
    const TransformDescriptor *descriptor;
    int32_t chooserId; // the id of its input chooser
    // After another input was taken (the input window and the result's size are set) and
    // when the input's picture changed: the dialog shows what depends on the input. May be
    // null.
    void (*inputTaken)(WindowHandle dialog, void *params);
    int32_t contentWidth; // pixels its controls need, at least
    size_t stateSize;     // bytes of the dialog's state, which begins with its settings record
    // Makes the dialog's own controls from x, y on, width pixels wide, below the buttons and
    // the input chooser, and shows the state in them; returns the y below them.
    int (*controls)(WindowHandle dialog, void *state, int x, int y, int width);
    // MSG_COMMAND of its own controls. May be null.
    void (*command)(WindowHandle dialog, void *state, uintptr_t wParam);
    // At destruction, after the settings were kept in saved: frees what the state owns and
    // takes out of saved what pointed into it. May be null.
    void (*forget)(void *state, void *saved);
    TransformDialogMemory *memory;
    int32_t buttons; // DIALOG_BUTTONS_*
    // Any message before the shared handling hears it: 1 when the dialog took it whole, 0
    // to let it go on (a MSG_PICTURE_MOUSE taken is answered 1, else 0). May be null.
    int (*message)(WindowHandle dialog, void *state, uint32_t message, uintptr_t wParam,
                   intptr_t lParam);
    // The name the input is marked in use under, when it is not the descriptor's (which is
    // also the dialog's title); null for the descriptor's.
    const char *inUseName = nullptr;
};

// The name kind's dialog marks its input in use under.
inline const char *TransformInUseName(const TransformDialogKind *kind)
{
    return kind->inUseName != nullptr ? kind->inUseName : kind->descriptor->name;
}

// The row of buttons a transformation dialog carries.
enum : int32_t {
    DIALOG_BUTTONS_PREVIEW = 0,   // Auto, Preview, Apply, OK, Cancel
    DIALOG_BUTTONS_OK_CANCEL = 1, // OK and Cancel: a result that only makes sense whole
};

// Opens the dialog of kind on input, or brings the open dialog to the front: the settings
// are the defaults or those of the last opening (Shift held, or a program that keeps no
// settings, starts afresh), the dialog stands where it stood last. ERROR_ILLEGAL_TYPE for
// a picture the transformation does not take, ERROR_NO_MEMORY when the dialog cannot be
// made.
ErrorCode TransformDialogOpen(const TransformDialogKind *kind, WindowHandle input);

// The procedure of every transformation dialog, which finds its kind by the window's
// (TransformDialogByKind): the shared messages, then the dialog's own commands; at
// destruction the settings and the placement are kept for the next opening.
MessageResult TransformDialogProcedure(WindowHandle dialog, uint32_t message, uintptr_t wParam,
                                       intptr_t lParam);

// The dialog of a window kind, from the table of transforms/TransformDialogs.cpp; null for
// none.
const TransformDialogKind *TransformDialogByKind(int kind);

// The dialog's MSG_COMMAND goes here first; returns 1 when it was one of the buttons.
int TransformCommand(WindowHandle dialog, uintptr_t wParam, intptr_t lParam, void *params,
                     const TransformDialogKind *kind);

// One computation, of the preview (full 0, rectangle in view pixels or null for all of it)
// or of the result (full 1). Returns 1 when the user aborted it, else 0; failures are shown.
int RunTransformation(void *params, int full, const Rect *rectangle,
                      const TransformDialogKind *kind);

// A setting changed; the input picture changed.
void RefreshPreview(void *params, const TransformDialogKind *kind);
void InputChanged(void *params, const TransformDialogKind *kind);

// Destroys the output window, clears "Auto", marks the preview stale, enables "Preview".
void ClosePreview(void);

// Tells whether the dialog's settings are not yet enough to compute (Change Color Profile
// still without a target): while they wait, the automatic previews ("Auto", a changed
// setting or input, the preview after an Apply) compute nothing and say nothing, and a
// preview on the screen goes, "Auto" staying on; the Preview button and Apply still compute
// and show what is missing. Every dialog starts not waiting.
void TransformPreviewWait(int waiting);

// Moves a window left and up as needed to stay inside its parent, by Margin.
void KeepOnScreen(WindowHandle window);

// The Cancel and OK paths, which MSG_CANCEL and MSG_APPLY reach.
void CancelTransformation(WindowHandle dialog);
void ApplyTransformation(WindowHandle dialog, void *params, const TransformDialogKind *kind);

// What every dialog with an input does as it opens: takes input as the input window and its
// picture's size and resolution as those of the result.
void TransformTakeInput(WindowHandle input);

// The width of a dialog's client area: what its row of buttons needs (the x after it) or
// contentWidth and the margins, whichever is more.
int TransformDialogClientWidth(int buttonsRight, int contentWidth);

// Gives a dialog its final size for a client area of clientWidth by clientHeight, keeps it
// on screen (or puts it back where it stood last, when placement is not null), shows and
// activates it.
void TransformDialogShow(WindowHandle dialog, int clientWidth, int clientHeight,
                         const Rect *placement);

// A line of text in a dialog at x, y, width pixels wide; returns the y below it.
int TransformDialogText(WindowHandle dialog, int id, const char *text, int x, int y, int width);

// The messages every transformation dialog answers the same way: the buttons, another
// input chosen, a region the preview asks for, a refresh, Esc, Return and closing. Returns
// 1 when message was one of them; the dialog's procedure handles the rest itself.
int TransformDialogMessage(WindowHandle dialog, uint32_t message, uintptr_t wParam, intptr_t lParam,
                           const TransformDialogKind *kind, void *params);

// Registers the preview window's procedure; part of Initialise.
void TransformRegister(void);

// The preview window's procedure (kind 1).
MessageResult PreviewWindowProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                     intptr_t lParam);
