// Fuzz target of the PNG reader: libpng's decoding with our error handling, the texts, EXIF,
// profile and resolution. The reader reads from a path, so each input is written to one
// temporary file first.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/Core.h"
#include "core/Picture.h"
#include "files/Png.h"

static char InputPath[] = "/tmp/vistel-png-fuzz-XXXXXX";

static void RemoveInput(void)
{
    unlink(InputPath);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FileDamage damage; // a file that ends early gives the rows it holds
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
    ErrorCode result = ReadPngFile(InputPath, window, 0, &damage);
    // A failed read leaves no picture behind.
    if (result != ERROR_NONE && window->image.rows != nullptr) abort();
    PictureFree(window);
    return 0;
}
