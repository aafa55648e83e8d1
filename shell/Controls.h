// The custom controls of the dialogs, each a window of CLASS_CONTROL drawn by its own
// procedure: the Slider on positions 0 to 1024, the input image chooser (colorimg), and the
// Amount control (a caption, a slider with one or two thumbs, and the square that opens the
// list of mask pictures, imgmenu). The pop-up list is the platform's own list with a label.
// A slider reports a move and a release to its parent by MSG_COMMAND with NOTIFY_MOVED and
// NOTIFY_RELEASED; the chooser sends MSG_INPUT_CHOSEN and the Amount MSG_AMOUNT_CHANGED.
#pragma once

#include <cstdint>

#include "core/Helpers.h"
#include "core/Image.h"
#include "platform/Platform.h"

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
};

// Registers the procedure of the custom controls; start-up calls it.
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
// Amount: the strength of an effect, 0 to 100 percent (or -100 to 100 around the middle),
// constant or varied over the picture by a mask picture chosen from a list.

constexpr int AMOUNT_LABEL_BYTES = 80;
constexpr int AMOUNT_CANDIDATES_MAX = 50; // mask pictures the list offers at most
constexpr int AMOUNT_NO_MASK = -1;        // high without a mask
constexpr const char *AMOUNT_IN_USE_NAME = "Amount Mask";

struct AmountSetting {
    const Image *maskImage;               // the chosen mask's picture, or null
    int32_t low;                          // 0..1024: the amount where the mask is 0, or everywhere
                                          // without a mask
    int32_t high;                         // 0..1024 where the mask is 255; AMOUNT_NO_MASK without
    int32_t bipolar;                      // 1: -100 % at 0, none at 512, +100 % at 1024
    char label[AMOUNT_LABEL_BYTES];       // the caption before the amount, such as "Amount: "
    WindowHandle maskWindow;              // the chosen mask's window, or null
    char maskTitle[WINDOW_TITLE_MAX + 1]; // its title, by which a kept setting finds it
                                          // again; empty for "No Mask"
};

// The state a new control shows: low 1024, no mask, with label and bipolar as given.
void AmountSettingDefault(AmountSetting *setting, const char *label, int bipolar);

// The caption: "%s%1f\%" with the label and low, or "%s%1f\% .. %1f\%" with low and high
// when a mask is chosen; a position is position * 100 / 1024 percent, or (position - 512) *
// 200 / 1024 when bipolar.
void AmountText(const AmountSetting *setting, char *text, int capacity);

// The amounts on the 0..255 scale of the per-pixel work: (position * 255 + 512) >> 10.
// AmountHigh8 is -1 without a mask.
int AmountLow8(const AmountSetting *setting);
int AmountHigh8(const AmountSetting *setting);

// 1 when the effect is nowhere applied (low8 0, high8 -1 or 0): the output is a copy of the
// input. AmountIsAllFull: 1 when it is applied fully everywhere (low8 255, high8 -1 or 255),
// so that no mask is read.
int AmountIsAllZero(const AmountSetting *setting);
int AmountIsAllFull(const AmountSetting *setting);

// The windows the mask list offers after "No Mask", front to back: shown image windows with
// an 8-bit gray picture of width by height (any size when both are -1), at most capacity.
int AmountMaskCandidates(int width, int height, WindowHandle *windows, int capacity);

// An Amount control in parent at rect with label and bipolar; reference (or null) fixes the
// size that masks must have. Null when the window cannot be made.
WindowHandle AmountCreate(WindowHandle parent, int id, const Rect *rect, const char *label,
                          int bipolar, WindowHandle reference);
// Copies the control's setting, with maskImage the chosen mask's picture as it is now.
void AmountGet(WindowHandle control, AmountSetting *setting);
// Applies a setting: the mask is found again by its window, else by its title, among the
// candidates; when neither is there the control has no mask. The parent is not told.
void AmountSet(WindowHandle control, const AmountSetting *setting);
// Chooses a mask window (null for "No Mask") as a choice from the list does: a mask sets low
// 0 and high 1024 (both 512 when bipolar), none restores low 1024. The parent is not told;
// the choice is refused (nothing changes) for a window that is not a candidate.
void AmountSelect(WindowHandle control, WindowHandle mask);
// Changes the size masks must have (-1 by -1: any); a chosen mask of another size is let go.
void AmountSetTargetSize(WindowHandle control, int width, int height);

// Where the parts of an Amount control of width by height lie: the caption along the top,
// the slider below it, and the square at the right.
void AmountLayout(int width, int height, Rect *caption, Rect *slider, Rect *square);
