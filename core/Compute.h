// The one form of every transformation's computation.
//
// With full 1 (Apply) the destination is the image of a new picture, which picture is (so
// that a transformation may give it what belongs to it besides pixels, such as a profile),
// zoom is 1, the source offset is 0 and the rectangle is the whole picture. With full 0
// (Preview) the destination is the view of the preview window, picture is null, and w, h are
// only what that view shows. The rectangle x0, y0, x1, y1 is inclusive, in columns and row
// indices of the destination.
#pragma once

#include "core/Errors.h"
#include "core/Image.h"
#include "core/RowReader.h"

struct Picture;

typedef ErrorCode (*ComputeFunction)(const Image *source, Image *destination, Picture *picture,
                                     void *params, int full, int destinationWidth,
                                     int destinationHeight, int sourceX, int sourceY, int zoom,
                                     int x0, int y0, int x1, int y1, int w, int h);

// 1 when a transformation's settings (params) change nothing for source at full depth (full
// 1) or in a preview (full 0): the result is then a copy of the source, and the caller copies
// instead of computing. It answers 0 for a source the transformation does not take, so that
// the compute function reports it.
typedef int (*ChangesNothingFunction)(const void *params, const Image *source, int full);

constexpr int PROGRESS_PIXELS = 100000; // work of this many pixels or more shows progress

// The output type of a transformation that keeps its input type: a preview is always 8-bit,
// a final result keeps the depth of the source. TYPE_EMPTY for an illegal input type.
int ComputeOutputType(int sourceType, int full);

// Checks a compute call's arguments against the pictures and gives destination the output
// type, by the rule every transformation follows: a partial repaint into a destination that
// already has the output type and size keeps it, so that the rest of a scrolled preview
// stays; anything else goes through ImageAlloc, which keeps the pixels of an unchanged shape
// too. ERROR_INTERNAL_1 when the rectangle or the source span does not fit the pictures,
// else ImageAlloc's code.
ErrorCode ComputePrepareDestination(const Image *source, Image *destination, int outputType,
                                    int destinationWidth, int destinationHeight, int sourceX,
                                    int sourceY, int zoom, int x0, int y0, int x1, int y1, int w,
                                    int h);

// The skeleton of a transformation that works a row at a time: the type check, the output
// type, the destination, the row reader and writer, progress or the wait cursor, and the
// clean-up are ComputeRows's; a transformation gives what differs in a RowTransform. Its row
// function is chosen once per run by its setup, so that no row asks again which types and
// depths it works between.
struct RowRun {
    const Image *source; // the picture read; not owned
    const void *params;  // the transformation's settings
    int32_t full;        // the compute function's full argument
    int32_t zoom;        // the compute function's zoom argument
    int32_t outputType;  // the type of the destination
    int32_t width;       // pixels of a delivered row
    int32_t samples;     // samples of a delivered row: width, or 3 width for color
    int32_t firstBit;    // bit of the first column within the first byte of a binary row
    int32_t redFirst;    // 1: color pixels lie red first (only for a RowTransform with redFirst)
    void *state;         // what setup made for this run (tables, a transform); cleanup frees
    // The row function setup chose: one delivered row (binary as bytes 0 and 255, 16-bit
    // samples as they are, even for an 8-bit preview) into one row of outputType.
    void (*row)(const RowRun *run, const uint8_t *in, uint8_t *out);
};

// How much of the effect a pixel takes, on the 0..255 scale: low8 everywhere when high8 is
// -1, else Lerp8(low8, high8, m) for the value m of the mask, an 8-bit gray picture of the
// source's size read with the source's region and zoom, so that a preview and the Apply
// agree. The output is then Lerp8(input, effect, amount) on each channel (Lerp16 at 16 bits),
// which asks of the transformation that its output have the channels of its input.
struct RowMix {
    const Image *mask; // null without a mask
    int32_t low8;
    int32_t high8;
};

struct RowTransform {
    const char *title;     // the progress window's title
    int32_t progressScale; // the bar counts to progressScale h - 1; 1 for all but Gamma Adjust
    // The destination's type for a source of sourceType at this depth into *outputType, or
    // the code that refuses the call (ERROR_ILLEGAL_TYPE for a type it does not take). Null:
    // ComputeOutputType, refusing what that calls TYPE_EMPTY.
    ErrorCode (*output)(const void *params, int sourceType, int full, int *outputType);
    // Once per run, before the destination is touched: sets run->row and may set run->state.
    // A failure ends the run with its code.
    ErrorCode (*setup)(RowRun *run);
    // Frees what setup made; called whenever setup was, even when it failed. May be null.
    void (*cleanup)(RowRun *run);
    // For a transformation with an Amount: how much of its effect each pixel takes (see
    // RowMix). Null for one that always applies fully.
    void (*mix)(const void *params, RowMix *mix);
    // 1 when its rows may hold color pixels red first, as a file holds them (run->redFirst):
    // a transformation that treats the three channels alike, or one whose setup tells its
    // engine the order. vistel-cli then runs it on the rows of a file without swapping them.
    int32_t redFirst = 0;
};

// Runs transform with the arguments of a compute function (see ComputeFunction): each row is
// read before the row at its place is written, so a compute function over ComputeRows may
// be given one picture as source and destination at full depth when its row function reads
// every sample before writing the one at its place. Returns the codes of output and setup,
// ERROR_INTERNAL_1 for arguments that do not fit the pictures, ERROR_NO_MEMORY, or
// ERROR_ABORTED with the rows done so far.
ErrorCode ComputeRows(const RowTransform *transform, const Image *source, Image *destination,
                      const void *params, int full, int destinationWidth, int destinationHeight,
                      int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1, int w,
                      int h);

// The mixing of the effect with the input for one run: the amount of each sample of a row,
// the second reader over the mask, and a copy of the input row for a run in place, whose row
// function overwrites its input.
struct RowMixing {
    int32_t on;         // 0: the effect applies fully and nothing here is used
    int32_t masked;     // 1: the amounts follow the mask, row by row
    int32_t channels;   // samples a pixel
    int32_t inputWide;  // 1: the delivered input row holds 16-bit samples
    int32_t outputWide; // 1: the output row holds 16-bit samples
    uint8_t amountOf[256];
    uint32_t amountOf3[256]; // the amount of a mask value three times, for a colour pixel
    RowReader maskReader;
    uint8_t *amounts;   // the amount of each sample of the row
    uint8_t *narrowed;  // a 16-bit input row through Depth16To8, for an 8-bit output
    uint8_t *inputCopy; // a row of the input for a run in place, else null
};

// What ComputeRows makes of one delivered row: the row function its setup chose, then the
// mixing by the Amount. It stands apart so that vistel-cli can run a transformation on rows
// it takes from a file and gives to one, a band at a time, without a whole picture.
struct RowPipe {
    RowRun run;
    RowMixing mixing;
    const RowTransform *transform;
    int32_t setUp; // 1 once setup ran, so that cleanup runs
};

// Reset before anything can fail, so that RowPipeClose may run unconditionally.
void RowPipeReset(RowPipe *pipe);
// Chooses the output type and runs setup for rows of w pixels of source (whose type, width
// and height are read, and whose rows only by a mask's reader), as ComputeRows would with
// these arguments; inPlace says that each output row overwrites its input row. Codes as
// ComputeRows.
ErrorCode RowPipeOpen(const RowTransform *transform, const Image *source, int inPlace,
                      const void *params, int full, int zoom, int w, int x0, int sourceX,
                      int sourceY, RowPipe *pipe);
// The same for rows of color pixels that lie red first, for a transform with redFirst.
ErrorCode RowPipeOpenRedFirst(const RowTransform *transform, const Image *source,
                              const void *params, RowPipe *pipe);
// One delivered row into one output row; in may be out when the pipe was opened in place.
void RowPipeRun(RowPipe *pipe, const uint8_t *in, uint8_t *out);
void RowPipeClose(RowPipe *pipe);
