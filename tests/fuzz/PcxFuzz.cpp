// libFuzzer target for our own Pcx reader.
#include "files/Pcx.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return FuzzReadAsFile(data, size, "pcx", ReadPcxFile);
}
