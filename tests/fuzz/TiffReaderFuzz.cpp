// libFuzzer target for the TIFF reader: the probe, our own decoder (also on files the probe
// refuses), the libtiff fallback, the row source of vistel-cli's streaming (every row of a
// file it takes) and the LZW decoder on its own.
//
// The LZW decoder gets the input directly, into an output of exactly the size its first two bytes
// ask for, so that a write past the end meets AddressSanitizer at once.
#include "core/File.h"
#include "core/Image.h"
#include "files/TiffReader.h"
#include "tests/fuzz/FileFuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FileDamage damage; // a file that ends early gives the rows it holds
    const char *path = FuzzWriteInput(data, size, "tif");
    if (path != nullptr) {
        Image image;
        ImageClear(&image);
        ReadTiffFile(path, &image, 0, &damage);
        ImageFree(&image);
        // Our decoder also on files the probe would send elsewhere: it must hold its own.
        FileHandle handle = FILE_HANDLE_NONE;
        if (FileOpenRead(path, &handle) == ERROR_NONE) {
            DecodeTiffImage(handle, &image, 0, &damage);
            ImageFree(&image);
            FileClose(&handle);
        }
        TiffRowSource source;
        if (TiffRowSourceOpen(path, &source) == ERROR_NONE) {
            Image row;
            ImageClear(&row);
            if (ImageAlloc(&row, source.type, source.width, 1, 0.0) == ERROR_NONE) {
                for (int64_t y = 0; y < source.height; y++)
                    TiffRowSourceUnpack(&source, TiffRowSourceRow(&source, y), row.rows[0]);
            }
            ImageFree(&row);
            TiffRowSourceClose(&source);
        }
    }

    if (size >= 2) {
        size_t outputBytes = 1 + ((size_t)data[0] << 8 | data[1]); // 1 to 65536
        uint8_t *output = (uint8_t *)MemoryAlloc(outputBytes);
        if (output != nullptr) {
            int64_t decoded = 0;
            DecodeLzwStrip(data + 2, (int64_t)(size - 2), output, (int64_t)outputBytes, &decoded);
            MemoryFree(output);
        }
    }
    return 0;
}
