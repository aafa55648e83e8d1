// libFuzzer target for our own Targa reader.
#include "files/Targa.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return FuzzReadAsFile(data, size, "tga", ReadTargaFile);
}
