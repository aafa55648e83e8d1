// The Amount control: the strength of an effect, 0 to 100 percent (or -100 to 100 around the
// middle), constant or varied over the picture by a mask picture chosen from a list. It
// tells its parent of a change by MSG_AMOUNT_CHANGED.
#pragma once

#include <cstdint>

#include "core/Image.h"
#include "masks/Amount.h"
#include "platform/Platform.h"
#include "ui/Controls.h"
#include "ui/UiLayer.h"

// Registers the control's procedure among the custom controls; start-up calls it.
void AmountControlRegister(void);

constexpr int AMOUNT_CANDIDATES_MAX = 50; // mask pictures the list offers at most
constexpr const char *AMOUNT_IN_USE_NAME = "Amount Mask";

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
