// The frame's menu and its command handler: the menu that shows the commands (their ids are in
// ui/CommandIds.h), UpdateMenus with its table of classes, and the commands that act on
// windows.
#pragma once

#include <cstdint>

#include "platform/Platform.h"
#include "ui/CommandIds.h"
#include "ui/UiLayer.h"

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
