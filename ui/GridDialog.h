// The grid of a picture window and its dialog.
#pragma once

#include <cstdint>

#include "platform/Platform.h"
#include "ui/UiLayer.h"

// A kind that no other child uses: the grid of a picture window.
constexpr int KIND_WINDOW_GRID = 78;

// "Window Grid": how many parts the grid over a picture window divides it into each way,
// chosen from a list of the usual ones (none, halves, thirds ...). The window shows each
// choice at once, so that the grid can be judged on the picture; OK keeps it, Cancel puts
// back the grid the window had. A modal dialog for window, an image or preview window.
void ShowGridDialog(WindowHandle window);

enum : int32_t {
    GRID_DIVISIONS = 401, // the list of choices
    GRID_PARTS = 402,     // what one part measures
};

constexpr int GRID_CHOICE_COUNT = 10;

// The parts each way of the list's choices, and their labels; index 0 draws no line.
extern const int GRID_CHOICES[GRID_CHOICE_COUNT];
extern const char *const GRID_LABELS[GRID_CHOICE_COUNT];

// The choice that shows divisions: the largest of the list not above it, and "None" for 1
// and below.
int GridChoiceOf(int divisions);

// What one part of a picture of width by height measures with divisions parts each way:
// "Parts of %d x %d pixels", or "No grid lines" for one part.
void GridPartsText(int width, int height, int divisions, char *text, int capacity);
