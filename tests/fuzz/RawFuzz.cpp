// libFuzzer target of the camera raw reader: LibRaw behind our checks. The reader opens
// files by name, so each input is written to a file of this process's own in a memory-backed
// folder where there is one.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/Core.h"
#include "core/Image.h"
#include "core/Picture.h"
#include "files/Raw.h"

static char FuzzPath[128];

static void FuzzRemoveFile(void)
{
    unlink(FuzzPath);
}

static void FuzzStart(void)
{
    CoreInitialise();
    const char *folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    snprintf(FuzzPath, sizeof FuzzPath, "%s/vistel-raw-fuzz-%d.dng", folder, (int)getpid());
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
    size_t written = fwrite(data, 1, size, file);
    fclose(file);
    if (written != size) return 0;
    static Picture window;
    ReadRawFile(FuzzPath, &window, 0);
    ImageFree(&window.image);
    FreeFileComments(&window.comments);
    return 0;
}
