// How much of an effect applies: an amount from 0 to 100 percent (or -100 to 100 around the
// middle), the same everywhere or varied over the picture by a mask, an 8-bit gray picture of
// the input's size whose 0 takes the low amount and 255 the high one. The Amount control
// (masks/AmountControl.h) edits this record; a transformation's settings carry a copy, and
// ComputeRows mixes the effect with the input by it.
#pragma once

#include <cstdint>

#include "core/Compute.h"
#include "core/Image.h"

struct PlatformWindow;

constexpr int AMOUNT_POSITIONS = 1024; // positions run 0..1024
constexpr int AMOUNT_LABEL_BYTES = 80;
constexpr int AMOUNT_TITLE_BYTES = 341; // a window title and its end
constexpr int AMOUNT_NO_MASK = -1;      // high without a mask

struct AmountSetting {
    const Image *maskImage;             // the chosen mask's picture, or null
    int32_t low;                        // 0..1024: the amount where the mask is 0, or everywhere
                                        // without a mask
    int32_t high;                       // 0..1024 where the mask is 255; AMOUNT_NO_MASK without
    int32_t bipolar;                    // 1: -100 % at 0, none at 512, +100 % at 1024
    char label[AMOUNT_LABEL_BYTES];     // the caption before the amount, such as "Amount: "
    PlatformWindow *maskWindow;         // the chosen mask's window, or null
    char maskTitle[AMOUNT_TITLE_BYTES]; // its title, by which a kept setting finds it again;
                                        // empty for "No Mask"
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

// The amounts as ComputeRows mixes by them.
void AmountMix(const AmountSetting *setting, RowMix *mix);

// The position of a percentage, as vistel-cli's --amount gives it: Round(P x 1024 / 100).
int AmountPosition(double percent);
