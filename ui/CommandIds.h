// The ids of the editor's commands, as the frame's menu, the pop-up menus of picture windows
// and the windows' own MSG_COMMAND know them.
#pragma once

#include <cstdint>

#include "ui/UiLayer.h"

// Commands by id. Those of the transformations are in their descriptors (transforms/).
enum : int32_t {
    COMMAND_NEW = 1001,
    COMMAND_OPEN = 1002,
    COMMAND_PHOTOCD = 1004,
    COMMAND_SAVE = 1006,
    COMMAND_SAVE_AS = 1007,
    COMMAND_CLOSE = 1008,
    COMMAND_REVERT = 1009, // the window's file read again, every change since dropped
    COMMAND_PREFERENCES = 1010,
    COMMAND_EXIT = 1011,
    COMMAND_PRINT = 1014,
    COMMAND_SLIDE_SHOW = 1018,
    COMMAND_BROWSER = 1020,
    COMMAND_COLOR_MANAGEMENT = 1021,
    COMMAND_SAVE_PROFILE = 1023,
    COMMAND_RECENT_FIRST = 1100, // 1100..1109: the recent files
    COMMAND_UNDO = 2001,
    COMMAND_UNDO_ALL = 2002,
    COMMAND_COPY_CLIPBOARD = 2003,
    COMMAND_PASTE = 2004,
    COMMAND_WINDOW_INFO = 3001,
    COMMAND_GRID = 3002,
    COMMAND_ZOOM_FIT = 3004,
    COMMAND_ZOOM_IN = 3005,
    COMMAND_ZOOM_IN_RESIZE = 3006,
    COMMAND_ZOOM_OUT = 3007,
    COMMAND_CASCADE = 3009,
    COMMAND_TILE = 3010,
    COMMAND_ARRANGE_ICONS = 3011,
    COMMAND_CLOSE_ALL = 3012,
    COMMAND_BRING_DIALOGS = 3013,
    COMMAND_ZOOM_ONE = 3015,
    COMMAND_ZOOM_ONE_RESIZE = 3016,
    COMMAND_ROTATE = 4001,
    COMMAND_COPY = 4005,
    COMMAND_MASK_NEW = 4500, // 4501..4549: mask candidates
    COMMAND_MASK_FIRST_CANDIDATE = 4501,
    COMMAND_MASK_LAST = 4550, // the last id of the mask operations
    COMMAND_ABOUT = 9001,
};
