// libFuzzer target of the camera raw reader: LibRaw behind our checks.
#include "core/Image.h"
#include "files/Raw.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const char *path = FuzzWriteInput(data, size, "dng");
    if (path == nullptr) return 0;
    static Picture window;
    ReadRawFile(path, &window, 0);
    ImageFree(&window.image);
    FreeFileComments(&window.comments);
    return 0;
}
