// libFuzzer target for our own Bmp reader.
#include "files/Bmp.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return FuzzReadAsFile(data, size, "bmp", ReadBmpFile);
}
