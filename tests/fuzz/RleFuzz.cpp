// libFuzzer target for our own Rle reader.
#include "files/Rle.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return FuzzReadAsFile(data, size, "rle", ReadRleFile);
}
