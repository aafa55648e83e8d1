// What the fuzz targets of our own readers share. The readers open files by name, so each
// input is written to a file of this process's own in a memory-backed folder where there is
// one, and read with and without progress into one picture record kept for the whole run.
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

inline char *FuzzFilePath(void)
{
    static char path[128];
    return path;
}

inline void FuzzFileRemove(void)
{
    unlink(FuzzFilePath());
}

// Writes the input to the file named after extension and runs reader over it twice.
inline int FuzzReadAsFile(const uint8_t *data, size_t size, const char *extension,
                          FuzzFileReader reader)
{
    static Picture *window = nullptr;
    if (window == nullptr) {
        CoreInitialise();
        const char *folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        snprintf(FuzzFilePath(), 128, "%s/vistel-fuzz-%d.%s", folder, (int)getpid(), extension);
        window = (Picture *)MemoryAllocZero(sizeof(Picture));
        if (window == nullptr) return 0;
        atexit(FuzzFileRemove);
    }
    FILE *file = fopen(FuzzFilePath(), "wb");
    if (file == nullptr) return 0;
    size_t written = size > 0 ? fwrite(data, 1, size, file) : 0;
    fclose(file);
    if (written != size) return 0;
    // Progress opens only for large pictures; the second read takes that path where it can.
    for (int showProgress = 0; showProgress < 2; showProgress++) {
        FileDamage damage; // a file that ends early gives the rows it holds
        reader(FuzzFilePath(), window, showProgress, &damage);
        PictureFree(window);
    }
    return 0;
}
