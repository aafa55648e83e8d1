// Fuzz target of the exiv2 wrapper: an input is an EXIF block as a JPEG segment or a PNG
// chunk holds it. What reads is written back as a block and read again, so that comments of
// any shape a hostile block can give also go through the writer.
#include <cstdint>
#include <cstdlib>

#include "core/Core.h"
#include "core/FileComment.h"
#include "core/Memory.h"
#include "files/Metadata.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int initialised = 0;
    if (!initialised) {
        CoreInitialise();
        initialised = 1;
    }
    FileComment *comments = nullptr;
    MetadataPicture picture;
    if (MetadataReadExif(data, size, &comments, &picture) == ERROR_NONE) {
        if (picture.orientation < 1 || picture.orientation > 8) abort();
        uint8_t *block = nullptr;
        size_t blockSize = 0;
        if (MetadataWriteExif(comments, 0, 65527, ERROR_WRITE_JPEG, &block, &blockSize) ==
                ERROR_NONE &&
            block != nullptr) {
            if (blockSize > 65527) abort();
            FileComment *again = nullptr;
            MetadataReadExif(block, blockSize, &again, &picture);
            FreeFileComments(&again);
        }
        MemoryFree(block);
    } else if (comments != nullptr) {
        abort(); // a refused block adds nothing
    }
    FreeFileComments(&comments);
    return 0;
}
