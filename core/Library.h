// Libraries loaded when they are first needed rather than when the program starts. A library
// that only one rarely used format needs (and everything it links in turn) then costs a run
// that never opens such a file nothing: cfitsio alone, with the network libraries it brings,
// used to take most of vistel-cli's start-up time.
#pragma once

// One function a library must have: its name there, and where its address goes (a function
// pointer of the right type, passed as void *).
struct LibrarySymbol {
    const char *name;
    void *address;
};

// Loads the library file (a name the system's loader searches for, such as
// "libcfitsio.so.10") and stores the address of every symbol. Returns 1 when the library and
// all its symbols were found; otherwise 0, with every address null, so that a missing or
// different library makes its format fail with its own code rather than crash. The library
// stays loaded. Callers load once, from a static initialiser, so that threads do not race.
int LibraryLoad(const char *file, const LibrarySymbol *symbols, int count);
