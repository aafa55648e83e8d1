// libFuzzer target for our own Targa reader.
//
// The reader opens files by name, so each input is written to a file of this process's own in
// a memory-backed folder where there is one, and read with and without progress.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/Core.h"
#include "core/ImageWindow.h"
#include "core/Memory.h"
#include "files/Targa.h"
#include "platform/headless/Headless.h"

static char FuzzPath[128];
static ImageWindow *FuzzWindow;

static void FuzzRemoveFile(void)
{
    unlink(FuzzPath);
}

static void FuzzStart(void)
{
    CoreInitialise();
    HeadlessReset();
    const char *folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    snprintf(FuzzPath, sizeof FuzzPath, "%s/vistel-targa-fuzz-%d.tga", folder, (int)getpid());
    FuzzWindow = (ImageWindow *)MemoryAllocZero(sizeof(ImageWindow));
    atexit(FuzzRemoveFile);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int started = 0;
    if (!started) {
        FuzzStart();
        started = 1;
    }
    FILE *file = fopen(FuzzPath, "wb");
    if (file == nullptr) return 0;
    size_t written = size > 0 ? fwrite(data, 1, size, file) : 0;
    fclose(file);
    if (written != size || FuzzWindow == nullptr) return 0;
    // Progress opens only for large pictures; the second read takes that path where it can.
    for (int showProgress = 0; showProgress < 2; showProgress++) {
        ReadTargaFile(FuzzPath, FuzzWindow, showProgress);
        ImageFree(&FuzzWindow->image);
        MemoryRelease(&FuzzWindow->profile);
        FuzzWindow->profileSize = 0;
    }
    return 0;
}
