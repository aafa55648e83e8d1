// Mirror/Rotate: the eight right-angle orientations of a picture, reached from the dialog by
// four buttons that compose one code, so that Apply makes one pass over the picture whatever
// order the buttons were pressed in.
#pragma once

#include <cstdint>

#include "transforms/TransformDescriptor.h"

enum : int32_t {
    KIND_MIRROR_ROTATE = 19,      // its operation code and its dialog's window kind
    COMMAND_MIRROR_ROTATE = 4001, // its menu command
};

// The dialog's controls (the buttons are those of ui/Transform.h).
enum : int32_t {
    IDROT90 = 101,   // "Rotate Clockwise"
    IDROT270 = 102,  // "Rotate Counterclockwise"
    IDREFLECT = 103, // "Mirror Image": left and right exchanged
    IDFLIP = 104,    // "Flip": top and bottom exchanged
    MIRROR_ROTATE_INPUT = 105,
    MIRROR_ROTATE_PICTURE = 106, // the reduced input in the present orientation
};

// The buttons in the order of the composition table.
enum : int32_t {
    MIRROR_ROTATE_CLOCKWISE = 0,
    MIRROR_ROTATE_COUNTERCLOCKWISE = 1,
    MIRROR_ROTATE_MIRROR = 2,
    MIRROR_ROTATE_FLIP = 3,
    MIRROR_ROTATE_BUTTON_COUNT = 4,
};

struct MirrorRotateSettings {
    int32_t orientation; // the orientation code of core/Orient.h, 0..7; 0 changes nothing
};

void MirrorRotateSettingsDefault(MirrorRotateSettings *settings);

// The code that pressing button (MIRROR_ROTATE_*) makes of the present code: the turn or the
// reflection of the picture as it is now shown. An unknown button or code gives code back.
int MirrorRotateCompose(int code, int button);

// 1 for code 0 on a picture type Mirror/Rotate takes: Apply then copies and a preview renders
// as the display does.
int MirrorRotateChangesNothing(const void *params, const Image *source, int full);

// The compute function of Mirror/Rotate (params is a MirrorRotateSettings). Apply turns the
// whole picture (the destination takes the turned size); a preview fills its rectangle of
// the view, whose coordinates are those of the turned picture, by taking each shown pixel
// from its place in the source. Returns ERROR_ILLEGAL_TYPE for a record without a picture,
// ERROR_INTERNAL_1 for arguments that do not fit the turned picture or a code outside 0..7,
// ERROR_NO_MEMORY, or ERROR_ABORTED with the destination partly written.
ErrorCode MirrorRotateCompute(const Image *source, Image *destination, Picture *picture,
                              void *params, int full, int destinationWidth, int destinationHeight,
                              int sourceX, int sourceY, int zoom, int x0, int y0, int x1, int y1,
                              int w, int h);

extern const TransformDescriptor MirrorRotateTransform;
