// The custom controls of the dialogs, each a window of CLASS_CONTROL drawn by its own
// procedure: the Slider on positions 0 to 1024 and the input image chooser (colorimg), and
// the kit with which controls of their own subsystems are written (the Amount control of
// masks/AmountControl.h). The pop-up list is the platform's own list with a label. A slider
// reports a move and a release to its parent by MSG_COMMAND with NOTIFY_MOVED and
// NOTIFY_RELEASED; the chooser sends MSG_INPUT_CHOSEN.
#pragma once

#include <cstdint>

#include "core/Helpers.h"
#include "core/Image.h"
#include "platform/Platform.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

constexpr int SLIDER_POSITIONS = 1024; // a slider runs over 0..1024
constexpr int SLIDER_THUMB_WIDTH = 11; // pixels; the thumb's centre runs from x = 5 to
                                       // width - 6, so a slider 267 wide has 4 positions a pixel
constexpr int SLIDER_STEP = 4;         // positions of an arrow key
constexpr int SLIDER_PAGE = 64;        // positions of Page Up and Page Down
constexpr int CHOOSER_HEIGHT = 33;     // pixels of the input image chooser

// Control types (the kind word of a CLASS_CONTROL window).
enum : int32_t {
    CUSTOM_SLIDER = 1,
    CUSTOM_INPUT_CHOOSER = 3,
    CUSTOM_AMOUNT = 4,
    // The controls of the transformations' dialogs, numbered here so that no two meet.
    CUSTOM_ORIENT_PICTURE = 6,       // Mirror/Rotate's turned picture
    CUSTOM_CURVE = 7,                // the curve control
    CUSTOM_COLOR_WHEEL = 9,          // Color Correct's wheel
    CUSTOM_COLOR_BALANCE_GRAPH = 12, // Color Balance's graph
    CUSTOM_SHARPEN_HISTOGRAM = 13,   // Advanced Sharpen's histogram with its handles
    CUSTOM_FOLDER_TABS = 14,         // Advanced Sharpen's three folders
    CUSTOM_COMPOSITE_OVERLAY = 15,   // Composite's overlay chooser and color swatch
    CUSTOM_KIND_COUNT = 16,          // room in the table of procedures
};

// Registers the procedure of the custom controls' class and those of the slider and the
// chooser; start-up calls it.
void ControlsRegister(void);

// Moves the focus, as Tab and Shift+Tab do, among the controls of parent that take it
// (buttons, check boxes, radio buttons, edits, lists and the custom controls, while they
// are shown and enabled), in the order they were made: to the one after from, or before it
// when backward, round from the last to the first; from the first or the last when from
// is not one of them. Returns the control that has the focus now, or null when none takes
// it. A custom control with the focus shows a frame in COLOR_FOCUS around itself.
WindowHandle ControlFocusNext(WindowHandle parent, WindowHandle from, int backward);

constexpr uint32_t COLOR_FOCUS = 0x2060C0; // 0xRRGGBB of a custom control's focus frame

// ---------------------------------------------------------------------------------------
// Slider.

// A slider in parent at rect (in the parent's client area) with its thumb at position.
// Null when the window cannot be made.
WindowHandle SliderCreate(WindowHandle parent, int id, const Rect *rect, int position);
// The first thumb's position, or -1 when there is no such slider.
int SliderPosition(WindowHandle parent, int id);
// Moves the first thumb, clamped to 0..1024, without telling the parent.
void SliderSetPosition(WindowHandle parent, int id, int position);
// The second thumb, -1 when the slider has one; setting -1 takes it away.
int SliderSecondPosition(WindowHandle parent, int id);
void SliderSetSecondPosition(WindowHandle parent, int id, int position);

// ---------------------------------------------------------------------------------------
// Pop-up list: a static label (id + POPUP_LABEL_ID) before the platform's drop-down list
// (id), which tells its parent of a new choice by MSG_COMMAND with NOTIFY_CHANGED.

constexpr int POPUP_LABEL_ID = 1000; // as the shared dialog layout numbers its labels

// The label takes the width of its text and a Margin; the list the rest of rect. items are
// zero-separated strings ended by an empty one; choice is the index shown. Returns the list.
WindowHandle PopupListCreate(WindowHandle parent, int id, const Rect *rect, const char *label,
                             const char *items, int choice);
int PopupListChoice(WindowHandle parent, int id);
void PopupListSetChoice(WindowHandle parent, int id, int choice);

// ---------------------------------------------------------------------------------------
// Input image chooser: "Input Image:" and the title of the chosen window. A press lists the
// image windows whose picture type accept takes; choosing another moves the chooser's mark
// in the in-use list ("Color Image Control", blocking) and sends MSG_INPUT_CHOSEN to the
// parent with the id as wParam and the control as lParam. The chooser is CHOOSER_HEIGHT high.

typedef int (*ChooserAccept)(int type); // 1 when a dialog takes pictures of the type

constexpr const char *CHOOSER_IN_USE_NAME = "Color Image Control";

// A chooser in parent at rect, with input chosen (marked in use; no message). accept null
// takes every picture type.
WindowHandle InputChooserCreate(WindowHandle parent, int id, const Rect *rect, WindowHandle input,
                                ChooserAccept accept);
// The chosen window, or null when there is none or it has gone.
WindowHandle InputChooserWindow(WindowHandle parent, int id);
// The windows the chooser's list offers, front to back: shown image windows whose picture
// type accept takes. Returns how many were put in windows (at most capacity).
int InputChooserCandidates(ChooserAccept accept, WindowHandle *windows, int capacity);

// ---------------------------------------------------------------------------------------
// The kit of custom controls, for controls written beside their subsystems.

// The procedure of a control type (CUSTOM_*); a type without one draws nothing.
void ControlKindRegister(int kind, WindowProcedure procedure);

// Colors of the controls' drawing, 0xRRGGBB.
constexpr uint32_t COLOR_CONTROL_TEXT = 0x000000;
constexpr uint32_t COLOR_CONTROL_SHADOW = 0x808080;
constexpr uint32_t COLOR_CONTROL_DARK = 0x404040;

// The record of a control of kind (the creator's init, copied at MSG_CREATE), or null for a
// window that is not such a control.
void *ControlRecord(WindowHandle window, int kind);

// Makes a control of kind in parent at rect, passing init to its MSG_CREATE. Null when the
// window cannot be made.
WindowHandle ControlMake(WindowHandle parent, int id, const Rect *rect, int kind, void *init);

// What a control does at MSG_CREATE: its record becomes a copy of the bytes the creator passed.
// -1 (the window is refused) when the record cannot be allocated.
MessageResult ControlRecordCreate(WindowHandle window, intptr_t lParam, size_t bytes);

// What a control opened like a drop-down list (the chooser, and others like it) does with a
// message. MSG_DESTROY is done here: the control's mark in the in-use list is cleared and its
// record freed. The caller draws at DROP_DOWN_PAINT and opens its list at DROP_DOWN_PRESS,
// which a mouse press, Down and Space make; DROP_DOWN_DONE leaves nothing to do (other keys),
// DROP_DOWN_OTHER is any other message.
enum : int { DROP_DOWN_OTHER, DROP_DOWN_DONE, DROP_DOWN_PAINT, DROP_DOWN_PRESS };
int DropDownMessage(WindowHandle window, uint32_t message, uintptr_t wParam, void *record);

// Offers first (when not null) and the titles of windows in a pop-up menu under the control
// at its bottom left. Returns -1 for first, the index of a window, or -2 when nothing was
// chosen. Item ids are 1 for first and 2 + index for the windows when first is given, else
// 1 + index.
int ControlListChoose(WindowHandle control, const char *first, const WindowHandle *windows,
                      int count);

// A shown image window of the workspace, and its picture, or null.
const ImageWindow *ShownPicture(WindowHandle window);

// The slider's rules over a track rectangle, shared by every control with a slider in it.
struct SliderState {
    int32_t positions[2]; // the thumbs, 0..1024; positions[1] is -1 with one thumb
    int32_t active;       // the thumb that a drag or a key moves, 0 or 1
    int32_t dragging;     // 1 from a press until its release
    int32_t grab;         // pixels from the press to the centre of the thumb it took
};

// position held to 0..1024.
int SliderClampPosition(int position);

// A press at x: takes the nearer thumb (on a tie the one whose value lies on the press's
// side), and either grabs it where it was pressed or, off the thumb, jumps it there.
// Returns 1 when the taken thumb's position changed.
int SliderPress(SliderState *slider, const Rect *track, int x);

// The mouse at x during a drag; returns 1 when the position changed.
int SliderDrag(SliderState *slider, const Rect *track, int x);

// A key on the active thumb; returns 1 when the position changed.
int SliderKey(SliderState *slider, uint32_t key);

// Draws the groove and the thumbs in track.
void SliderDraw(DrawContext *context, const SliderState *slider, const Rect *track);
