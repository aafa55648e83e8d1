// Fuzzes the ".colorcorrect" reader on bytes written to a file. A file it accepts must give
// settings within their ranges whose tables build and move every color to a color; a file
// it refuses must give the Color Correct code and leave the reset settings.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "core/Core.h"
#include "core/File.h"
#include "transforms/ColorCorrect.h"

static void Check(bool condition)
{
    if (!condition) __builtin_trap();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int started = 0;
    static char path[64];
    static ColorCorrectTables tables;
    if (!started) {
        CoreInitialise(); // the pixels use the lerp and depth tables
        snprintf(path, sizeof path, "/tmp/vistel-colorcorrect-fuzz-%d", (int)getpid());
        Check(ColorCorrectTablesAlloc(&tables) == ERROR_NONE);
        started = 1;
    }
    FileHandle file = FILE_HANDLE_NONE;
    if (FileCreate(path, &file) != ERROR_NONE) return 0;
    FileWrite(file, data, (int64_t)size);
    if (FileClose(&file) != ERROR_NONE) return 0;

    static ColorCorrectSettings settings, reset;
    ColorCorrectSettingsDefault(&settings);
    ColorCorrectSettingsDefault(&reset);
    ErrorCode result = ColorCorrectSettingsLoad(path, &settings);
    if (result != ERROR_NONE) {
        Check(result == ERROR_ILLEGAL_COLOR_CORRECTION_FILE);
        Check(memcmp(&settings, &reset, sizeof settings) == 0);
        return 0;
    }
    Check(settings.pointCount >= 0 && settings.pointCount <= COLOR_CORRECT_POINTS_MAX);
    Check(settings.radius >= 0.0 && settings.radius <= 1.0);
    Check(settings.probeSize >= 0 && settings.probeSize < COLOR_CORRECT_PROBE_SIZES);
    Check(settings.nonlinear == 0 || settings.nonlinear == 1);
    for (int i = 0; i < settings.pointCount; i++)
        Check(settings.brightness[i] >= -1.0 && settings.brightness[i] <= 1.0);
    ColorCorrectTablesBuild(&settings, &tables, 0);
    for (int v = 0; v < 256; v += 51) {
        for (int c = 0; c < 27; c++) {
            const uint8_t rgb[3] = {(uint8_t)(c % 3 * v / 2), (uint8_t)(c / 3 % 3 * v / 2),
                                    (uint8_t)(c / 9 * v / 2)};
            uint8_t out[3];
            ColorCorrectPixel8(&tables, settings.nonlinear, rgb, out);
            const uint16_t rgb16[3] = {(uint16_t)(rgb[0] * 257), (uint16_t)(rgb[1] * 257),
                                       (uint16_t)(rgb[2] * 257)};
            uint16_t out16[3];
            ColorCorrectPixel16(&tables, settings.nonlinear, rgb16, out16);
        }
    }
    return 0;
}
