// The mask tool: the one window that builds and edits a mask over a picture. The mask is an
// ordinary 8-bit gray picture window of the picture's size, hidden while the tool works on it
// and shown over the picture as a colored overlay; OK hands it back as a plain gray window.
//
// Every operation first copies the mask and its row coverage to the undo copy, so that Undo,
// an abort and a failure all restore the same state.
#pragma once

#include <cstdint>

#include "core/Errors.h"
#include "core/Image.h"
#include "platform/Platform.h"
#include "ui/ImageWindow.h"
#include "ui/UiLayer.h"

// The tools of the tool bar, in its order; the texture tool has controls but no button.
constexpr int32_t MASK_TOOL_FREEHAND = 0;
constexpr int32_t MASK_TOOL_RECTANGLE = 1;
constexpr int32_t MASK_TOOL_OVAL = 2;
constexpr int32_t MASK_TOOL_POLYGON = 3;
constexpr int32_t MASK_TOOL_SPLINE = 4;
constexpr int32_t MASK_TOOL_FEATHER = 5;
constexpr int32_t MASK_TOOL_BLUR = 6;
constexpr int32_t MASK_TOOL_COLOR_RANGE = 7;
constexpr int32_t MASK_TOOL_PAINT = 8;
constexpr int32_t MASK_TOOL_COMBINE = 9;
constexpr int32_t MASK_TOOL_BRIGHTNESS_CURVE = 10;
constexpr int32_t MASK_TOOL_TEXTURE = 11;
constexpr int32_t MASK_TOOL_BUTTONS = 11; // buttons in the tool bar, tools 0..10

// The overlay's colors (Red, Green, Blue, White) and opacities, as the bars offer them.
constexpr int32_t MASK_OPACITY_CLEAR = 0;
constexpr int32_t MASK_OPACITY_SEMITRANSPARENT = 1;
constexpr int32_t MASK_OPACITY_OPAQUE = 2;
constexpr int32_t MASK_OPACITY_MASK_ONLY = 3;

// Control ids of the tool's window.
enum : int32_t {
    MASK_ID_TOOL = 100,         // + tool, for the eleven buttons of the tool bar
    MASK_ID_COMBINE_MODE = 120, // + COMBINE_* (masks/Mask.h)
    MASK_ID_COLOR = 130,        // + 0..3
    MASK_ID_OPACITY = 140,      // + MASK_OPACITY_*
    MASK_ID_ALL = 150,
    MASK_ID_NONE = 151,
    MASK_ID_INVERT = 152,
    MASK_ID_AREA = 153,
    MASK_ID_UNDO = 154,
    MASK_ID_CANCEL = 155,
    MASK_ID_OK = 156,
    MASK_ID_APPLY = 157,
    MASK_ID_PANEL = 159, // the frame around the present tool's controls, captioned with its name
    MASK_ID_FEATHER_TEXT = 160,
    MASK_ID_FEATHER_WIDTH = 161,   // slider: width = (position - 512) / 8, -64..64
    MASK_ID_FEATHER_FALLOFF = 162, // pop-up list "Gradual", "Step"
    MASK_ID_FEATHER_CORNERS = 163, // pop-up list "Round", "Square"
    MASK_ID_BLUR_TEXT = 170,
    MASK_ID_BLUR_RADIUS = 171,  // slider on the exponential scale
    MASK_ID_COMBINE_WITH = 180, // pop-up list: "Mask Gray Level", then gray pictures
    MASK_ID_COMBINE_GRAY = 181, // edit: the gray level, 0..255
    MASK_ID_COMBINE_RUN = 183,  // button "Combine"
};

constexpr const char *MASK_TOOL_IN_USE_NAME = "Mask Tool";
constexpr int MASK_COMBINE_CANDIDATES_MAX = 50; // gray pictures the combine list offers

// The state of the one mask tool; everything is zero while it is closed.
struct MaskToolState {
    WindowHandle toolWindow;   // the tool's own window, or null while closed
    WindowHandle editedWindow; // the picture under edit
    ImageWindow *picture;      // its record
    const Image *pictureImage; // its pixels, which range tools read
    int32_t pictureType;       // TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48
    WindowHandle maskWindow;   // the mask's window, hidden while the tool is open
    Image *mask;               // the mask's pixels, in its window's record
    int32_t createdMask;       // 1 when the tool made the mask, 0 for a mask brought in
    Image savedCopy;           // a mask brought in: its pixels on entry, for Cancel
    int32_t savedModified;     // and its modified flag on entry
    Image undoImage;           // the mask before the last operation
    uint8_t *coverage;         // RowCoverage of the mask, one byte a row
    uint8_t *undoCoverage;     // that of undoImage; the second half of coverage's allocation
    int32_t undoAvailable;     // 1 while Undo has something to restore
    int32_t combineMode;       // COMBINE_*
    int32_t overlayColor;      // 0..3: Red, Green, Blue, White
    int32_t overlayOpacity;    // MASK_OPACITY_*
    int32_t currentTool;       // MASK_TOOL_*
    // The feather and the blur work from the undo copy taken at the first change of their
    // slider, so that moving it again redoes the effect instead of adding to it. The tool
    // whose change took that copy, or -1 when the next change takes a fresh one.
    int32_t adjusting;
    int32_t featherWidth;   // -64..64
    int32_t featherFalloff; // FEATHER_GRADUAL, FEATHER_STEP
    int32_t featherCorners; // FEATHER_ROUND, FEATHER_SQUARE
    int32_t blurRadius;     // 0..400
    int32_t combineGray;    // 0..255, the constant a combine takes without a picture
    int32_t combineCount;   // pictures in combineWith
    WindowHandle combineWith[MASK_COMBINE_CANDIDATES_MAX];
};

extern MaskToolState MaskTool;

// Registers the tool window's kind and the mask tool's mouse procedure; start-up calls it.
void MaskToolRegister(void);

// Opens the tool over the active picture window: on mask (a gray picture window of the
// picture's size), or on a new blank mask when mask is null. An open tool is brought to the
// front instead. ERROR_ILLEGAL_TYPE for a picture of another type than 1, 2, 3, 6, 7, a
// missing picture or an unfit mask; ERROR_NO_MEMORY when its buffers cannot be had.
ErrorCode OpenMaskTool(WindowHandle mask);

// 1 while the tool's window exists; MaskToolOwnsWindow: 1 when window is its mask.
int MaskToolIsOpen(void);
int MaskToolOwnsWindow(WindowHandle window);

// The blur's radius of a slider position: 400 (exp(position k) - 1) / (exp(1024 k) - 1)
// with k = 4 / 1024, rounded; and the position that shows a radius.
int MaskBlurRadiusOf(int position);
int MaskBlurPositionOf(int radius);
