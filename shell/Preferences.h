// The user's preferences and the state of the last run, kept in the settings store under
// the keys "Preferences" and "State", each value a line of the settings grammar.
//
// The Preferences record and its defaults live in core/Preferences.h so that the core can
// read them, and the saved state's record in ui/SettingsStore.h so that the dialogs can;
// this file reads and writes them, and the color settings too.
#pragma once

#include <cstdint>

#include "core/File.h"
#include "ui/SettingsStore.h"
#include "ui/UiLayer.h"

// Sets Prefs to the defaults and then to each value the store holds. A value absent leaves
// its default; a value that fails to parse leaves what the parser set. "nfilemenu" is held
// to 0..10, colors to 0..1, a negative border to 0, and a resolution that is not a positive
// number keeps 200.
void ReadPreferences(void);

// Writes every value of Prefs to the store.
void WritePreferences(void);

// Sets Saved to the defaults and then, when the store's State has "version" "1.0", to each
// value it holds. The recent files are read for each index below Prefs.fileMenuLength, so
// ReadPreferences comes first; empty ones are skipped.
void ReadState(void);

// Writes every value of Saved, and "version" "1.0", to the store.
void WriteState(void);

// Reads the "Color Settings" values of the settings store into CurrentColorSettings; an
// absent or unreadable value keeps what the record holds. Run before InitColorSettings.
void ReadColorSettings(void);

// Writes CurrentColorSettings to the settings store's "Color Settings" values.
void WriteColorSettings(void);
