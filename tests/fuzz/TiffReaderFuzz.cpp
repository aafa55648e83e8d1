// libFuzzer target for the TIFF reader: the probe, our own decoder (also on files the probe
// refuses), the libtiff fallback and the LZW decoder on its own.
//
// The reader opens files by name (libtiff does too), so each input is written to a file of
// this process's own in a memory-backed folder where there is one. The LZW decoder gets the
// input directly, into an output of exactly the size its first two bytes ask for, so that a
// write past the end meets AddressSanitizer at once.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "core/Core.h"
#include "core/File.h"
#include "core/Image.h"
#include "core/Memory.h"
#include "files/TiffReader.h"

static char FuzzPath[128];

static void FuzzRemoveFile(void)
{
    unlink(FuzzPath);
}

static void FuzzStart(void)
{
    CoreInitialise();
    const char *folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    snprintf(FuzzPath, sizeof FuzzPath, "%s/vistel-tiff-fuzz-%d.tif", folder, (int)getpid());
    atexit(FuzzRemoveFile);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FileDamage damage; // a file that ends early gives the rows it holds
    static int started = 0;
    if (!started) {
        FuzzStart();
        started = 1;
    }

    FILE *file = fopen(FuzzPath, "wb");
    if (file == nullptr) return 0;
    size_t written = size > 0 ? fwrite(data, 1, size, file) : 0; // no write from an empty input
    fclose(file);
    if (written == size) {
        Image image;
        ImageClear(&image);
        ReadTiffFile(FuzzPath, &image, 0, &damage);
        ImageFree(&image);
        // Our decoder also on files the probe would send elsewhere: it must hold its own.
        FileHandle handle = FILE_HANDLE_NONE;
        if (FileOpenRead(FuzzPath, &handle) == ERROR_NONE) {
            DecodeTiffImage(handle, &image, 0, &damage);
            ImageFree(&image);
            FileClose(&handle);
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
