// The Amount control: the strength of an effect, 0 to 100 percent (or -100 to 100 around the
// middle), constant or varied over the picture by a mask picture chosen from a list. It
// tells its parent of a change by MSG_AMOUNT_CHANGED.
#pragma once

#include <cstdint>

#include "core/Image.h"
#include "platform/Platform.h"
#include "ui/Controls.h"
#include "ui/UiLayer.h"

// Registers the control's procedure among the custom controls; start-up calls it.
void AmountControlRegister(void);

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
