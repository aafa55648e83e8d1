// The table of every transformation's descriptor (transforms/TransformList.def names them),
// and Apply over a whole picture as the editor and vistel-cli both run it.
#pragma once

#include "core/Picture.h"
#include "transforms/TransformDescriptor.h"

extern const TransformDescriptor *const TRANSFORMS[];
extern const int TRANSFORM_COUNT;

// The descriptor of a window kind, a menu command or a vistel-cli verb; null for none.
const TransformDescriptor *TransformByKind(int kind);
const TransformDescriptor *TransformByCommand(int command);
const TransformDescriptor *TransformByVerb(const char *verb);

// The descriptor of a vistel-cli verb that several transformations may share (curves: Color
// Curves' files and Brightness Curve's): the one whose settings extensions hold one of the
// arguments' extensions, else the first of the verb.
const TransformDescriptor *TransformByVerbFor(const char *verb, int argc, char **argv);

// Runs a transformation over the whole of input into made (reset here; the caller frees it),
// as Apply does: settings that change nothing copy the picture under the progress title
// "Copy"; the comments and origin pass on, and the profile by the descriptor's rule. On
// failure made holds nothing. The codes of the compute function, ERROR_NO_MEMORY.
ErrorCode TransformApply(const TransformDescriptor *transform, void *settings, const Picture *input,
                         Picture *made);

// What a result takes from its input besides pixels: the profile by the descriptor's rule,
// the comments and the origin.
ErrorCode TransformBelongings(const TransformDescriptor *transform, const Picture *input,
                              Picture *made);

// As TransformApply, with the picture's own image as source and destination, so that a run
// holds one picture instead of two; only for a descriptor with inPlace set, whose row loop
// reads a source row and then writes that same row, each sample at the place it was read
// from: at zoom 1 the row reader and writer both hand out the picture's own rows. Settings
// that change nothing leave the picture alone. A failure leaves the picture half changed.
ErrorCode TransformApplyInPlace(const TransformDescriptor *transform, void *settings,
                                Picture *picture);
