// The frame's menu and its command handler: the ids of every command, the menu that shows
// them, UpdateMenus with its table of classes, and the commands that act on windows.
#pragma once

#include <cstdint>

#include "platform/Platform.h"

// Commands by id. Those that open a transformation carry its kind in the table of kinds.
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
    COMMAND_NEGATIVE = 4006,
    COMMAND_GAMMA = 4029,
    COMMAND_CONVERT = 4053,
    COMMAND_CHANGE_PROFILE = 4058,
    COMMAND_MASK_NEW = 4500, // 4501..4549: mask candidates
    COMMAND_MASK_FIRST_CANDIDATE = 4501,
    COMMAND_MASK_LAST = 4550, // the last id of the mask operations
    COMMAND_ABOUT = 9001,
};

constexpr int MASK_CANDIDATE_MAX = 49; // windows the Mask menu offers

// The handler of MSG_COMMAND on the frame. Returns 1 when the id was a command of ours.
int FrameCommand(uintptr_t wParam, intptr_t lParam);

// Enables and checks the menu's items for the present state (MSG_INIT_MENU).
void UpdateMenus(void);

// Bits of a menu item's class beside the class number (0..11) itself.
enum : int32_t {
    MENU_CLASS_NOT_ALBUM = 0x40,  // bit 6: off while an album document is active
    MENU_CLASS_NOT_DIALOG = 0x80, // bit 7: off while an operation or its dialog is open
    MENU_CLASS_NUMBER = 0x3f,
};

// Whether an item of a class (with bits 6 and 7) is enabled now; for UpdateMenus and tests.
// Nothing is enabled while a progress window is open.
int MenuClassEnabled(int itemClass);

// The class of a command in UpdateMenus's table, or -1 for a command the table leaves alone.
int MenuItemClass(int id);

// The commands that act on windows.
void CascadeWindows(void);
void CloseAllWindows(void);
void BringDialogsToTop(void);
