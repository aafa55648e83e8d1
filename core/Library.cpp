// Loading libraries on first use, through the system's dynamic loader.
#include "core/Library.h"

#include <cstring>
#include <dlfcn.h>

int LibraryLoad(const char *file, const LibrarySymbol *symbols, int count)
{
    void *library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    int found = library != nullptr;
    for (int i = 0; i < count; i++) {
        void *address = found ? dlsym(library, symbols[i].name) : nullptr;
        if (address == nullptr) found = 0;
        memcpy(symbols[i].address, &address, sizeof address);
    }
    if (found) return 1;
    // Half a library is none: no address stays that a caller might use.
    for (int i = 0; i < count; i++)
        memset(symbols[i].address, 0, sizeof(void *));
    if (library != nullptr) dlclose(library);
    return 0;
}
