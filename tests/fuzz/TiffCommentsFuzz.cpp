// libFuzzer target of the TIFF comment reader and the profile tag reader, both read for a
// color window, the only kind whose profile is read.
#include "core/Image.h"
#include "files/TiffComments.h"
#include "files/TiffWriter.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const char *path = FuzzWriteInput(data, size, "tif");
    if (path == nullptr) return 0;
    Picture record;
    Picture *window = &record;
    PictureReset(window);
    if (ImageAlloc(&window->image, TYPE_COLOR24, 1, 1, 72.0) != ERROR_NONE) abort();
    ReadTiffComments(path, window);
    ReadTiffColorProfile(path, window);
    PictureFree(window);
    return 0;
}
