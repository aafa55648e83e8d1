// What the fuzz targets of the file readers share. The readers open files by name, so each
// input is written to a file of this process's own in a memory-backed folder where there is
// one; a target that saves what it read writes beside it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/Core.h"
#include "core/Memory.h"
#include "core/Picture.h"

typedef ErrorCode (*FuzzFileReader)(const char *path, Picture *window, int showProgress,
                                    FileDamage *damage);

// The file each input is written to (0) and the one a target saves into (1).
inline char *FuzzFilePath(int saved)
{
    static char paths[2][128];
    return paths[saved];
}

inline void FuzzFileRemove(void)
{
    unlink(FuzzFilePath(0));
    unlink(FuzzFilePath(1));
}

// Writes the input to the file named after extension, starting the run on the first call.
// Returns the file's path, or null when the input could not be written whole.
inline const char *FuzzWriteInput(const uint8_t *data, size_t size, const char *extension)
{
    if (FuzzFilePath(0)[0] == 0) {
        CoreInitialise();
        const char *folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        int process = (int)getpid();
        snprintf(FuzzFilePath(0), 128, "%s/vistel-fuzz-%d.%s", folder, process, extension);
        snprintf(FuzzFilePath(1), 128, "%s/vistel-fuzz-%d-saved.%s", folder, process, extension);
        atexit(FuzzFileRemove);
    }
    FILE *file = fopen(FuzzFilePath(0), "wb");
    if (file == nullptr) return nullptr;
    size_t written = size > 0 ? fwrite(data, 1, size, file) : 0; // no write of an empty input
    fclose(file);
    return written == size ? FuzzFilePath(0) : nullptr;
}

// Writes the input to the file named after extension and runs reader over it twice, with and
// without progress, into one picture record kept for the whole run. A failed read must leave
// no picture behind.
inline int FuzzReadAsFile(const uint8_t *data, size_t size, const char *extension,
                          FuzzFileReader reader)
{
    static Picture *window = nullptr;
    const char *path = FuzzWriteInput(data, size, extension);
    if (window == nullptr) window = (Picture *)MemoryAllocZero(sizeof(Picture));
    if (path == nullptr || window == nullptr) return 0;
    // Progress opens only for large pictures; the second read takes that path where it can.
    for (int showProgress = 0; showProgress < 2; showProgress++) {
        FileDamage damage; // a file that ends early gives the rows it holds
        ErrorCode result = reader(path, window, showProgress, &damage);
        if (result != ERROR_NONE && window->image.rows != nullptr) abort();
        PictureFree(window);
    }
    return 0;
}
