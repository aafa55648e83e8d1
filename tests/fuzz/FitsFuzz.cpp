// libFuzzer target of the FITS reader: cfitsio behind our checks. A picture it reads is
// written again, through cfitsio's writer.
#include "core/Image.h"
#include "files/Fits.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FileDamage damage; // a file that ends early gives the rows it holds
    const char *path = FuzzWriteInput(data, size, "fits");
    if (path == nullptr) return 0;
    static Picture window;
    if (ReadFitsFile(path, &window, 0, &damage) == ERROR_NONE &&
        (int64_t)window.image.width * window.image.height <= 65536)
        SaveFitsFile(FuzzFilePath(1), &window);
    ImageFree(&window.image);
    return 0;
}
