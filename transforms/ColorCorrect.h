// Color Correct: bends the whole color space by moving a few colors. Each control point names
// a color, the color it should become and how much brighter it should get; every other color
// moves by the inverse-square weighted mean of the points' moves. The moves are carried in
// tables over the chroma plane, so that the work of a pixel is a few lookups whatever the
// number of points.
//
// The chroma plane: a color of value V = Max3(r, g, b) is scaled to a largest channel of 255
// (r' = trunc(r x 255 / V)), and placed at x = g' - b', y = r' - (g' + b') / 2, both in
// -255..255. All colors of one hue and saturation share a position; white is at (0, 0) and
// the reachable positions form a hexagon. Brightness is handled apart, from V.
#pragma once

#include <cstdint>

#include "core/File.h"
#include "masks/Amount.h"
#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_COLOR_CORRECT = 69,      // its operation code and its dialog's window kind
    COMMAND_COLOR_CORRECT = 4031, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    COLOR_CORRECT_WHEEL = 101,
    COLOR_CORRECT_RADIUS_TEXT = 102, // "Radius: %2f"
    COLOR_CORRECT_INPUT = 103,
    COLOR_CORRECT_RADIUS = 104,
    COLOR_CORRECT_BRIGHTNESS_TEXT = 105, // "Brightness Change: %2f%%"
    COLOR_CORRECT_BRIGHTNESS = 106,
    COLOR_CORRECT_SHOW_MODIFIED = 107, // "Show Modified Color Wheel"
    COLOR_CORRECT_SHOW_REGION = 108,   // "Show Affected Region"
    COLOR_CORRECT_SAVE_AS_MASK = 109,  // "Save As Mask"
    COLOR_CORRECT_PRESERVE_BOTH = 110, // "Preserve Black and White"
    COLOR_CORRECT_PRESERVE_BLACK = 111,
    COLOR_CORRECT_ZOOM_IN = 112,
    COLOR_CORRECT_ZOOM_OUT = 113,
    COLOR_CORRECT_AMOUNT = 114,
    COLOR_CORRECT_SCROLL_H = 115, // the zoomed wheel's center, shown above zoom 1
    COLOR_CORRECT_SCROLL_V = 116,
    COLOR_CORRECT_PROBE = 117,      // "Probe": a click on a picture adds its color as a point
    COLOR_CORRECT_PROBE_SIZE = 118, // "1x1 Probe" .. "9x9 Probe"
    COLOR_CORRECT_HUE_TEXT = 119,   // "Hue: %1f%%, Sat: %1f%%" of the color under the mouse
};

// The items of the wheel's right-click menu.
enum : int32_t {
    COLOR_CORRECT_RESET_COLOR = 1,      // "Reset Color Change"
    COLOR_CORRECT_RESET_BRIGHTNESS = 2, // "Reset Brightness Change"
    COLOR_CORRECT_RESET_BOTH = 3,       // "Reset Brightness and Color Change"
    COLOR_CORRECT_REMOVE_POINT = 4,     // "Remove Control Point"
    COLOR_CORRECT_ADD_POINT = 5,        // "Add New Control Point"
};

constexpr int COLOR_CORRECT_POINTS_MAX = 100;
constexpr int CHROMA_SIDE = 511;                          // positions -255..255 on each axis
constexpr int CHROMA_ENTRIES = CHROMA_SIDE * CHROMA_SIDE; // entries of a chroma table
constexpr int COLOR_CORRECT_PROBE_SIZES = 5;              // 1x1, 3x3, 5x5, 7x7, 9x9
constexpr int COLOR_CORRECT_ZOOM_MAX = 4;

// The index of chroma position x, y (each -255..255) in a chroma table.
inline int ChromaIndex(int x, int y)
{
    return (x + 255) * CHROMA_SIDE + (y + 255);
}

struct ColorCorrectTables;

struct ColorCorrectSettings {
    AmountSetting amount;                             // how much of the result, and where
    uint8_t targetColor[COLOR_CORRECT_POINTS_MAX][3]; // R, G, B where each point's color goes
    uint8_t sourceColor[COLOR_CORRECT_POINTS_MAX][3]; // R, G, B of each point
    double brightness[COLOR_CORRECT_POINTS_MAX];      // -1.0..1.0 at each point
    int32_t pointCount;                               // 0..COLOR_CORRECT_POINTS_MAX
    int32_t probeSize;                                // 0..4: a probe of 1x1 to 9x9 pixels
    int32_t selectedPoint;                            // index, or -1
    int32_t nonlinear;          // 1 "Preserve Black and White", 0 "Preserve Black"
    int32_t showModifiedWheel;  // 1: the wheel shows corrected colors
    int32_t showAffectedRegion; // 1: a preview darkens what the selected point does not reach
    int32_t saveAsMask;         // 1: the result is the selected point's influence, in gray
    int32_t wheelZoom;          // 1..COLOR_CORRECT_ZOOM_MAX
    int32_t wheelCenterX;       // chroma position at the wheel's center
    int32_t wheelCenterY;
    double radius; // 0.0..1.0: how far a point's move reaches
    // Tables the dialog keeps built for exactly these settings, or null: a compute then
    // builds its own. Not owned by the record.
    const ColorCorrectTables *tables;
};

// The tables over the chroma plane, indexed by ChromaIndex.
struct ColorCorrectTables {
    uint32_t *shift;     // low 16 bits the new x, high 16 the new y, both signed
    int16_t *brightness; // -255..255: the brightness change at each position
    uint8_t *region;     // 0..255: the selected point's share of the move at each position
    int32_t regionPoint; // the point region was built for; -1 while it is not built
};

// Fills settings with the values a first opening shows: ColorCorrectSettingsReset, with a
// full amount and no mask.
void ColorCorrectSettingsDefault(ColorCorrectSettings *settings);

// What "Reset" restores, leaving the amount and the tables alone: radius 1.0, probe 5x5,
// "Preserve Black and White", zoom 1 at white, no flags, no selection, and seven unmoved
// points at white, red, yellow, green, cyan, blue and magenta, which pin the primary hues.
void ColorCorrectSettingsReset(ColorCorrectSettings *settings);

// Reads the key lines of a settings file after its caller reset settings (the form of
// SettingsFileLoad's reader). Returns ERROR_ILLEGAL_COLOR_CORRECTION_FILE for another kind,
// a missing "end", an unknown key, a count outside 0..100, a value out of range, or a point
// whose index is not below the count.
ErrorCode ColorCorrectSettingsRead(FileHandle file, void *settings);

// Writes settings as a settings file; ERROR_WRITE_FILE on failure.
ErrorCode ColorCorrectSettingsWrite(FileHandle file, const void *settings);

// Reads the settings file at path into settings, which it resets first; a file that fails
// leaves settings reset. ERROR_OPEN_FILE, or ColorCorrectSettingsRead's codes.
ErrorCode ColorCorrectSettingsLoad(const char *path, void *settings);

// The color of largest channel 255 at chroma position x, y into rgb, and how far the
// position lies outside the hexagon: 0 inside, positive outside (the color is then that of
// the nearest position on its edge along one axis).
int ChromaToColor(int x, int y, uint8_t rgb[3]);

// ChromaToColor with the half of x given as h: the wheel rounds the half of its stretched x
// on its own.
int ChromaToColorHalf(int x, int h, int y, uint8_t rgb[3]);

// The chroma position of a color taken as it is, without scaling to a largest channel of 255.
void ColorChroma(const uint8_t rgb[3], int *x, int *y);

// Allocates the three tables (the region unbuilt); ERROR_NO_MEMORY, after which the tables
// hold nothing. ColorCorrectTablesFree accepts a record that holds nothing.
ErrorCode ColorCorrectTablesAlloc(ColorCorrectTables *tables);
void ColorCorrectTablesFree(ColorCorrectTables *tables);

// Builds the shift and brightness tables of settings. With showProgress a bar titled
// "Building color lookup tables" runs over the 511 columns; an abort ends the build early
// and the tables count as built. Cannot fail.
void ColorCorrectTablesBuild(const ColorCorrectSettings *settings, ColorCorrectTables *tables,
                             int showProgress);

// Builds the region table of settings->selectedPoint (none: all 0) and notes the point.
void ColorCorrectRegionBuild(const ColorCorrectSettings *settings, ColorCorrectTables *tables);

// One pixel through the tables: rgb (8-bit, or 16-bit samples for the second) into out.
void ColorCorrectPixel8(const ColorCorrectTables *tables, int nonlinear, const uint8_t rgb[3],
                        uint8_t out[3]);
void ColorCorrectPixel16(const ColorCorrectTables *tables, int nonlinear, const uint16_t rgb[3],
                         uint16_t out[3]);

// 1 when every point's target is its source with brightness exactly 0 and no mask is asked
// for, or the amount is none, on a color picture: the result is then the input. A preview
// that shows the selected point's influence always computes.
int ColorCorrectChangesNothing(const void *params, const Image *source, int full);

// The compute function of Color Correct (params is a ColorCorrectSettings). Takes 24 and
// 48-bit color only (ERROR_ILLEGAL_TYPE for others); a 48-bit picture stays 48-bit at full.
// Asked for the selected point's influence as a mask at a full amount, the result is 8-bit
// gray. ERROR_NO_MEMORY, or ERROR_ABORTED with the rows done so far.
ErrorCode ColorCorrectCompute(const Image *source, Image *destination, Picture *picture,
                              void *params, int full, int destinationWidth, int destinationHeight,
                              int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                              int w, int h);

extern const TransformDescriptor ColorCorrectTransform;
