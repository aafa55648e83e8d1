// Color Balance: up to three pairs of colors, each a color to remove and the color it
// becomes, at the bright end, the dark end and in the middle. Each channel gets a piecewise
// linear table through its pairs, and every pixel goes through the three tables.
#pragma once

#include <cstdint>

#include "core/File.h"
#include "masks/Amount.h"
#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_COLOR_BALANCE = 22,      // its operation code and its dialog's window kind
    COMMAND_COLOR_BALANCE = 4011, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    COLOR_BALANCE_INPUT = 103,
    COLOR_BALANCE_HIGHLIGHT = 104, // "Highlight:" list
    COLOR_BALANCE_SHADOW = 105,    // "Shadow:" list
    COLOR_BALANCE_MIDTONE = 106,   // "Midtone:" list
    COLOR_BALANCE_PROBE = 107,     // "Probe:" list
    COLOR_BALANCE_GRAPH = 108,     // the graph with its swatches
    COLOR_BALANCE_AMOUNT = 109,
    COLOR_BALANCE_TIP = 113, // the timer of a swatch's tip
};

// Items of the dialog's Options menu besides "&Reset", "&Load ..." and "&Save As ...", whose
// ids are those of ui/SettingsOptions.h.
enum : int32_t {
    BALANCE_MENU_FULL_RANGE = 4,
    BALANCE_MENU_PROBE = 11, // + probe size 0..4
};

// Modes of the lists.
enum : int32_t {
    BALANCE_NONE = 0,
    BALANCE_AUTO = 1,   // highlight and shadow only
    BALANCE_CUSTOM = 2, // highlight and shadow; the midtone's custom is 1
    BALANCE_MIDTONE_CUSTOM = 1,
};

// What a click on a picture sets.
enum : int32_t {
    PROBE_NONE = 0,
    PROBE_HIGHLIGHT = 1,
    PROBE_SHADOW = 2,
    PROBE_MIDTONE = 3,
};

// Channels of the color triples: red, green, blue, as people name them (pixels lie in
// memory the other way round).
enum : int32_t { BALANCE_RED = 0, BALANCE_GREEN = 1, BALANCE_BLUE = 2 };

// Both fractions of the finding of the points: one pixel in ten thousand.
constexpr double BALANCE_POINT_FRACTION = 0.0001;

struct ColorBalanceSettings {
    int32_t highlightMode;      // BALANCE_NONE, BALANCE_AUTO, BALANCE_CUSTOM
    int32_t midtoneMode;        // BALANCE_NONE, BALANCE_MIDTONE_CUSTOM
    int32_t shadowMode;         // BALANCE_NONE, BALANCE_AUTO, BALANCE_CUSTOM
    int32_t probeTarget;        // PROBE_*
    int32_t probeSize;          // 0..4: a probe of 1x1, 3x3, 5x5, 7x7 or 9x9 pixels
    uint8_t highlightRemove[3]; // the color at the bright end that is to change
    uint8_t highlightAdd[3];    // the color it becomes
    uint8_t autoWhite[3];       // the picture's white point (ColorBalanceFindPoints)
    uint8_t shadowRemove[3];
    uint8_t shadowAdd[3];
    uint8_t autoBlack[3];
    int32_t midtoneEnabled; // 1: the midtone pair takes part in the tables
    uint8_t midtoneRemove[3];
    uint8_t midtoneAdd[3];
    AmountSetting amount; // how much of the result, and where
};

// The settings without a picture to measure: white and black points at the ends, both pairs
// unchanged, the midtone off at 128. A table of these settings is the identity.
void ColorBalanceSettingsDefault(ColorBalanceSettings *settings);

// What the dialog shows on opening or after "&Reset" once the points are known: highlight
// auto (remove the white point, add its neutral gray), shadow none, midtone none at 128,
// probe none. The Amount is left to the caller.
void ColorBalanceReset(ColorBalanceSettings *settings);

// "&Full Range": highlight and shadow auto, removing the white and black points and adding
// pure white and pure black; midtone none at 128; probe none.
void ColorBalanceFullRange(ColorBalanceSettings *settings);

// Measures source (24 or 48-bit color) into autoWhite and autoBlack: the mean colors of the
// brightest and darkest whiteFraction and blackFraction of at most about 2000000 sampled
// pixels. Shows a progress bar without Cancel. ERROR_ILLEGAL_TYPE for other pictures.
ErrorCode ColorBalanceFindPoints(const Image *source, ColorBalanceSettings *settings,
                                 double whiteFraction, double blackFraction);

// The 8-bit table of one channel (BALANCE_RED..BLUE) and the 16-bit one.
void ColorBalanceTable8(const ColorBalanceSettings *settings, int channel, uint8_t *table);
void ColorBalanceTable16(const ColorBalanceSettings *settings, int channel, uint16_t *table);

// The edits that keep remove colors in order per channel (shadow < midtone < highlight):
// each sets one remove color, moves the channels that would cross their neighbours and sets
// its mode to custom; the midtone's also sets its add color to the neutral gray of the
// result and enables the midtone.
void ColorBalanceSetHighlightRemove(ColorBalanceSettings *settings, const uint8_t *color);
void ColorBalanceSetShadowRemove(ColorBalanceSettings *settings, const uint8_t *color);
void ColorBalanceSetMidtoneRemove(ColorBalanceSettings *settings, const uint8_t *color);

// A probe's color for the probe target: the matching remove color under the constraints
// above, and the matching add color the neutral gray of what was kept.
void ColorBalanceProbe(ColorBalanceSettings *settings, const uint8_t *color);

// The lists: highlight and shadow none, auto or custom, midtone none or custom. Returns 1
// when the settings changed (custom changes nothing).
int ColorBalanceSetHighlightMode(ColorBalanceSettings *settings, int mode);
int ColorBalanceSetShadowMode(ColorBalanceSettings *settings, int mode);
int ColorBalanceSetMidtoneMode(ColorBalanceSettings *settings, int mode);

// 1 when the 8-bit tables are all the identity or the amount is none: Apply then copies,
// also a 16-bit picture, whose wide tables are not consulted.
int ColorBalanceChangesNothing(const void *params, const Image *source, int full);

// The compute function of Color Balance (params is a ColorBalanceSettings). Returns
// ERROR_ILLEGAL_TYPE for other than 24 and 48-bit color, ERROR_NO_MEMORY, or ERROR_ABORTED.
ErrorCode ColorBalanceCompute(const Image *source, Image *destination, Picture *picture,
                              void *params, int full, int destinationWidth, int destinationHeight,
                              int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                              int w, int h);

// The ".cb" file: reads into settings (a ColorBalanceSettings), which the caller has set
// beforehand; ERROR_ILLEGAL_COLOR_BALANCE_FILE for a wrong header, an unknown key, a value
// outside 0..255 or a missing "end". The writer returns ERROR_WRITE_FILE on failure.
ErrorCode ColorBalanceFileRead(FileHandle file, void *settings);
ErrorCode ColorBalanceFileWrite(FileHandle file, const void *settings);

extern const TransformDescriptor ColorBalanceTransform;
