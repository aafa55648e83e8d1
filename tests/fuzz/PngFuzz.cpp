// libFuzzer target of the PNG reader: libpng's decoding behind our error handling, with the
// texts, EXIF, profile and resolution it reads.
#include "files/Png.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return FuzzReadAsFile(data, size, "png", ReadPngFile);
}
