// The custom controls of the dialogs, each a window of CLASS_CONTROL drawn by its own
// procedure: the Slider on positions 0 to 1024, the pop-up list, the input image chooser
// (colorimg) and the mask chooser (imgmenu), and the Amount control built from them. Each
// holds a value, and reports a move and a release (or a change) to its parent by MSG_COMMAND
// with NOTIFY_MOVED, NOTIFY_RELEASED or NOTIFY_CHANGED.
#pragma once

#include <cstdint>

#include "core/Helpers.h"
#include "platform/Platform.h"

constexpr int SLIDER_POSITIONS = 1024; // a slider runs over 0..1024
constexpr int CHOOSER_HEIGHT = 33;     // pixels of the input image chooser

// Control types (the kind word of a CLASS_CONTROL window).
enum : int32_t {
    CUSTOM_SLIDER = 1,
    CUSTOM_POPUP_LIST = 2,
    CUSTOM_INPUT_CHOOSER = 3,
    CUSTOM_MASK_CHOOSER = 4,
};

// Registers the procedure of the custom controls; start-up calls it.
void ControlsRegister(void);

// A slider in parent at rect, at position.
WindowHandle SliderCreate(WindowHandle parent, int id, const Rect *rect, int position);
int SliderPosition(WindowHandle parent, int id);
void SliderSetPosition(WindowHandle parent, int id, int position);

// A pop-up list with a label before it, items as zero-separated strings ended by an empty
// one, choice the index shown.
WindowHandle PopupListCreate(WindowHandle parent, int id, const Rect *rect, const char *label,
                             const char *items, int choice);
int PopupListChoice(WindowHandle parent, int id);
void PopupListSetChoice(WindowHandle parent, int id, int choice);

// The "Input Image:" chooser: lists the image windows a dialog can take (accept answers for
// a picture type), selects input, and marks the chosen one in use as "Color Image Control".
// Choosing another sends MSG_INPUT_CHOSEN (0x8011) to the parent with the id.
WindowHandle InputChooserCreate(WindowHandle parent, int id, const Rect *rect,
                                WindowHandle input, int (*accept)(int type));
WindowHandle InputChooserWindow(WindowHandle parent, int id);

// The Amount control's value and text (its mask list comes with masks).
struct AmountSetting {
    int32_t value;     // 0..1024
    int32_t farValue;  // the mask's far end, or -1 when the control has one value
    int32_t isSigned;  // the value runs from -100 % (0) through 0 (512) to 100 % (1024)
    char label[64];
    char mask[341];    // the title of the chosen mask, empty for "No Mask"
};

// "%s%1f\%" or "%s%1f\% .. %1f\%": unsigned value * 100 / 1024, signed (value - 512) *
// 200 / 1024.
void AmountText(const AmountSetting *amount, char *text, int capacity);
