// libFuzzer target of the JPEG reader: libjpeg's decoding behind our error handling, with the
// EXIF and comment segments, the profile and the orientation it reads.
#include "files/Jpeg.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return FuzzReadAsFile(data, size, "jpg", ReadJpegFile);
}
