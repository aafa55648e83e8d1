// The user's preferences as one record, with the values a first start uses.
//
// The record lives here so that readers and transformations can see it; reading it from
// and writing it to the settings store belongs to the shell.
#pragma once

#include <cstdint>

#include "core/File.h"

enum : int32_t {
    UNDO_NONE = 0,
    UNDO_SINGLE = 1,
    UNDO_MULTIPLE = 2,
};

struct Preferences {
    int32_t confirm;           // ask before closing a modified window
    double workspace[3];       // frame background, red, green, blue in 0..1
    int32_t borderWidth;       // pixels of margin around an image
    double borderColor[3];     // red, green, blue in 0..1
    char pcdDirectory[PATH_LENGTH];
    char startupDirectory[PATH_LENGTH];
    char tempDirectory[PATH_LENGTH];
    double defaultResolution;  // dots per inch of a picture with none of its own
    int32_t defaultUnits;
    int32_t displayFullPathName;
    int32_t undo;              // UNDO_*
    int32_t fileMenuLength;    // 0..10 recent files
    int32_t defaultFileOpenType;
    int32_t defaultFileSaveType;
    int32_t honorFileSaveType;
    int32_t transformationOnTop;
    int32_t defaultPreview;
    int32_t smoothZoom;        // average the pixels of a zoomed-out view
    int32_t showRuler;         // 0 none, 1 pixels, 2 inches, 3 mm, 4 cm
    int32_t resamplingMethod;
    int32_t maxPreviewSize;
    int32_t stickySettings;    // read previous.xx when a dialog opens
};

extern Preferences Prefs;

// Fills preferences with the values of a first start.
void PreferencesDefault(Preferences *preferences);
