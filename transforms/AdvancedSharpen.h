// Advanced Sharpen: three stages that always run in this order, Noise Reduction, Speck
// Removal and Sharpen, each keeping its whole-picture result so that the next starts from
// it. The dialog shows one stage at a time; a preview computes only that stage over what
// the preview shows, and Apply runs the current stage and those after it over the whole
// picture.
#pragma once

#include <cstdint>

#include "core/File.h"
#include "masks/Amount.h"
#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_ADVANCED_SHARPEN = 82,      // its operation code and its dialog's window kind
    COMMAND_ADVANCED_SHARPEN = 4032, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h); each slider's label is
// the slider's id + 1.
enum : int32_t {
    SHARPEN_INPUT = 103,
    SHARPEN_TABS = 104,      // the three folders
    SHARPEN_HISTOGRAM = 105, // the current stage's histogram with its handles
    SHARPEN_BEFORE = 106,    // + view: "Before", "After", "Difference"
    SHARPEN_PROBE = 109,
    SHARPEN_AMOUNT = 110,
    SHARPEN_BLUR_RADIUS = 111,
    SHARPEN_BLUR_AMOUNT = 113,
    SHARPEN_BLUR_ALL = 115, // + blurFlags
    SHARPEN_SPECK_SIZE = 117,
    SHARPEN_REMOVE_LIGHT = 118,
    SHARPEN_REMOVE_DARK = 119,
    SHARPEN_SPECK_DIFFERENCE = 120,
    SHARPEN_SHARPEN_RADIUS = 122,
    SHARPEN_SHARPEN_AMOUNT = 124,
    SHARPEN_SHARPEN_ALL = 126, // + sharpenFlags
};

// Items of the dialog's Options menu besides "&Reset", "&Load..." and "&Save As...", whose
// ids are those of ui/SettingsOptions.h.
enum : int32_t {
    SHARPEN_MENU_EXPAND = 4, // + histExpand 0..2
};

// The histogram control's geometry, in its own client area: the plot, and the handles'
// triangles below it.
constexpr int SHARPEN_PLOT_LEFT = 6;
constexpr int SHARPEN_PLOT_WIDTH = 256;
constexpr int SHARPEN_HANDLE_SIZE = 7; // pixels from a handle's tip to its base
constexpr int SHARPEN_HANDLE_GRAB = 4; // pixels either side of a handle that take it
constexpr int SHARPEN_PROBE_BAND = 3;  // rows of the band that shows the range of probes

// The stages, which are also the dialog's tabs.
enum : int32_t {
    SHARPEN_STAGE_NOISE = 0,
    SHARPEN_STAGE_SPECK = 1,
    SHARPEN_STAGE_SHARPEN = 2,
    SHARPEN_STAGE_COUNT = 3,
};

// What a preview shows of the current stage.
enum : int32_t {
    SHARPEN_VIEW_BEFORE = 0,
    SHARPEN_VIEW_AFTER = 1,
    SHARPEN_VIEW_DIFFERENCE = 2,
};

constexpr int SHARPEN_RADIUS_MAX = 7;                           // half-width of a kernel
constexpr int SHARPEN_KERNEL_SIDE = 2 * SHARPEN_RADIUS_MAX + 1; // 15
constexpr int SHARPEN_KERNEL_TAPS = SHARPEN_KERNEL_SIDE * SHARPEN_KERNEL_SIDE;
constexpr int SHARPEN_SPECK_SIZES = 15; // "1x1" .. "15x15"
constexpr int SHARPEN_HISTOGRAM_HEIGHT = 80;

struct AdvancedSharpenParams {
    AmountSetting amount; // how much of the result, and where
    int32_t stage;        // SHARPEN_STAGE_*: the current tab
    int32_t view;         // SHARPEN_VIEW_*
    int32_t histExpand;   // 0 none, 1 medium, 2 high
    int32_t probeValue;   // marker on the histogram, -1 for none
    int32_t probeLow;     // range of probes taken with Shift, -1 for none
    int32_t probeHigh;
    int32_t removeLight;        // "removewhitespecks"
    int32_t removeDark;         // "removeblackspecks"
    int32_t speckRadius;        // 0..14: "1x1" .. "15x15"
    int32_t speckDiffThreshold; // 0..255
    int32_t blurFlags;          // 0 blur all, 1 chrominance only
    int32_t sharpenFlags;       // 0 sharpen all, 1 luminance only
    uint32_t histogram[256];    // of the current stage's statistic
    uint32_t histogramLargest;
    int32_t noiseKernel[SHARPEN_KERNEL_TAPS];   // (2k + 1)^2 weights, row by row
    int32_t sharpenKernel[SHARPEN_KERNEL_TAPS]; // the same
    int32_t kernelSum;                          // sum of sharpenKernel
    int32_t stale;                              // the current stage must be computed again
    int32_t speckThreshold;                     // 0..255
    int32_t blurThresholdLow;                   // 0..255
    int32_t blurThresholdHigh;
    int32_t sharpenThresholdLow; // 0..255
    int32_t sharpenThresholdHigh;
    double blurAmount;    // 0..1
    double sharpenAmount; // 0..2
    double blurRadius;    // 0..7
    double sharpenRadius; // 0..7
    const Image *source;  // the input of the last run; not owned
    Image speckResult;    // the stages' outputs, of the source's type and size
    Image noiseResult;
    Image sharpenResult;
    // Beyond the settings: what the dialog keeps between runs. A run that is not told to
    // keep its stages (vistel-cli, a test) frees them before it returns.
    int32_t keepStages;
    // 1 when the stage found nothing to do at its last run: its output is then its input,
    // exactly as the copy it stands for, and the copy is not made.
    int32_t passed[SHARPEN_STAGE_COUNT];
    // The part the current stage last computed, so that a repeated preview of it does not
    // compute again: first column and row, pixels and rows, step; whole 1 after a full run.
    int32_t doneX, doneY, doneWidth, doneHeight, doneStep, doneWhole;
};

// Fills params with the values a first opening shows, with no stage images.
void AdvancedSharpenParamsDefault(AdvancedSharpenParams *params);

// "&Reset": the settings of the table of defaults, leaving the stage images, the amount and
// the current tab alone; marks the stage stale.
void AdvancedSharpenReset(AdvancedSharpenParams *params);

// The half-width of a kernel of radius: any radius above a whole number takes the next.
int AdvancedSharpenHalfWidth(double radius);

// Fills noiseKernel, sharpenKernel and kernelSum from the settings.
void BuildAdvancedSharpenKernels(AdvancedSharpenParams *params);

// Each stage over the part of its input from column x0, row y0, width by height sampled
// pixels every step (zoom below -1 is a step of -zoom), into its result; does nothing while
// stale is clear and the part was computed already. ERROR_NO_MEMORY, ERROR_ABORTED.
ErrorCode NoiseStage(AdvancedSharpenParams *params, int x0, int y0, int width, int height,
                     int zoom);
ErrorCode SpeckStage(AdvancedSharpenParams *params, int x0, int y0, int width, int height,
                     int zoom);
ErrorCode SharpenStage(AdvancedSharpenParams *params, int x0, int y0, int width, int height,
                       int zoom);

// Each stage over the whole source, stale set first.
ErrorCode NoiseStageFull(AdvancedSharpenParams *params);
ErrorCode SpeckStageFull(AdvancedSharpenParams *params);
ErrorCode SharpenStageFull(AdvancedSharpenParams *params);

// The picture a stage reads and the one it wrote (its input when it passed). The source is
// params->source.
const Image *AdvancedSharpenStageInput(const AdvancedSharpenParams *params, int stage);
const Image *AdvancedSharpenStageOutput(const AdvancedSharpenParams *params, int stage);

// Frees the three stage images.
void AdvancedSharpenFreeStages(AdvancedSharpenParams *params);

// The statistic of the current stage's histogram at column x, row index y of its input
// (0..255), and the whole histogram of it into histogram and histogramLargest, shown with a
// progress bar "Histogram" without Cancel. ERROR_ILLEGAL_TYPE without an input of a taken type.
int AdvancedSharpenStatistic(const AdvancedSharpenParams *params, int x, int y);
ErrorCode AdvancedSharpenHistogram(AdvancedSharpenParams *params);

// The height of a histogram bar of count, 0..SHARPEN_HISTOGRAM_HEIGHT, under the expansion.
int AdvancedSharpenBarHeight(uint32_t count, uint32_t largest, int histExpand);

// 1 when all three stages pass or the amount is none: the result is the source.
int AdvancedSharpenChangesNothing(const void *params, const Image *source, int full);

// The compute function (params is an AdvancedSharpenParams). Preview: the current stage over
// what the preview shows, then its "before", "after" or difference; Apply: the current stage
// and those after it over the whole picture, then the last result mixed with the source by
// the amount. ERROR_ILLEGAL_TYPE for binary and other pictures, ERROR_NO_MEMORY,
// ERROR_ABORTED, ERROR_INTERNAL_1 for arguments outside the pictures.
ErrorCode AdvancedSharpenCompute(const Image *source, Image *destination, Picture *picture,
                                 void *params, int full, int destinationWidth,
                                 int destinationHeight, int sourceX, int sourceY, int zoom, int x0,
                                 int y0, int x1, int y1, int w, int h);

// The ".as" file. The reader resets the settings first and returns
// ERROR_ILLEGAL_COLOR_BALANCE_FILE (the code these files have always shared with Color
// Balance) for a wrong header, an unknown key, a value out of range or a missing "end";
// the writer returns ERROR_WRITE_FILE.
ErrorCode AdvancedSharpenFileRead(FileHandle file, void *params);
ErrorCode AdvancedSharpenFileWrite(FileHandle file, const void *params);

extern const TransformDescriptor AdvancedSharpenTransform;
