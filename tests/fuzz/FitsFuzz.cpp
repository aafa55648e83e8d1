// libFuzzer target of the FITS reader: cfitsio behind our checks. The reader opens files by
// name, so each input is written to a file of this process's own in a memory-backed folder
// where there is one; a picture it reads is written again, through cfitsio's writer.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/Core.h"
#include "core/Image.h"
#include "core/Picture.h"
#include "files/Fits.h"

static char FuzzPath[128];
static char FuzzSavePath[128];

static void FuzzRemoveFiles(void)
{
    unlink(FuzzPath);
    unlink(FuzzSavePath);
}

static void FuzzStart(void)
{
    CoreInitialise();
    const char *folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    snprintf(FuzzPath, sizeof FuzzPath, "%s/vistel-fits-fuzz-%d.fits", folder, (int)getpid());
    snprintf(FuzzSavePath, sizeof FuzzSavePath, "%s/vistel-fits-fuzz-%d-saved.fits", folder,
             (int)getpid());
    atexit(FuzzRemoveFiles);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FileDamage damage; // a file that ends early gives the rows it holds
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
    if (ReadFitsFile(FuzzPath, &window, 0, &damage) == ERROR_NONE &&
        (int64_t)window.image.width * window.image.height <= 65536)
        SaveFitsFile(FuzzSavePath, &window);
    ImageFree(&window.image);
    return 0;
}
