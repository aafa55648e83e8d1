// The Composite dialog's controls and the items of its Options menu, for the dialog
// (transforms/CompositeDialog.cpp) and the tests that drive it.
#pragma once

#include <cstdint>

#include "ui/UiLayer.h"

// The dialog's own controls, from 101 on as every dialog's.
enum : int32_t {
    COMPOSITE_INPUT = 101,   // the background: the shared input chooser
    COMPOSITE_COLOR = 102,   // "Overlay Color": the solid overlay's swatch, which opens its window
    COMPOSITE_OVERLAY = 103, // "Overlay: ": another picture or "None"
    COMPOSITE_OVERLAY_AMOUNT = 104,
    COMPOSITE_OPERATION = 105,
    COMPOSITE_ALIGNMENT = 106,
    COMPOSITE_REFINE = 107,
    COMPOSITE_RADIUS_TEXT = 108, // "R: %2f"
    COMPOSITE_RADIUS = 109,
    COMPOSITE_AMOUNT = 110,
};

// The items of the Options menu, as PlatformPopupMenu answers them.
constexpr int COMPOSITE_MENU_METHOD = 1;  // + WARP_SHEPARD .. WARP_GAUSSIAN
constexpr int COMPOSITE_MENU_SEARCH = 11; // + 0, 1, 2: search radius 6, 2 and 1 pixels
constexpr int COMPOSITE_MENU_LABELS = 21; // "&Label Alignment Points" on or off

// The "Overlay Color" window: the window kind, and its sliders and texts of red, green and
// blue (+ 0, 1, 2), each slider 0..1024 for 0..255.
constexpr int KIND_COMPOSITE_COLOR = 83;
enum : int32_t {
    COMPOSITE_COLOR_SLIDER = 201,
    COMPOSITE_COLOR_TEXT = 211,
};
