// Fuzz target of the TIFF comment reader and the profile tag reader. Both read from a path,
// so each input is written to one temporary file first and read for a color window, the
// only kind whose profile is read.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/Core.h"
#include "core/Picture.h"
#include "files/TiffComments.h"
#include "files/TiffWriter.h"

static char InputPath[] = "/tmp/vistel-tiff-comments-fuzz-XXXXXX";

static void RemoveInput(void)
{
    unlink(InputPath);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int initialised = 0;
    if (!initialised) {
        CoreInitialise();
        int descriptor = mkstemp(InputPath);
        if (descriptor < 0) abort();
        close(descriptor);
        atexit(RemoveInput);
        initialised = 1;
    }
    FILE *file = fopen(InputPath, "wb");
    if (file == nullptr) abort();
    if (size > 0 && fwrite(data, 1, size, file) != size) abort();
    fclose(file);

    Picture record;
    Picture *window = &record;
    PictureReset(window);
    if (ImageAlloc(&window->image, TYPE_COLOR24, 1, 1, 72.0) != ERROR_NONE) abort();
    ReadTiffComments(InputPath, window);
    ReadTiffColorProfile(InputPath, window);
    PictureFree(window);
    return 0;
}
