// Fuzzes the ".as" reader on bytes written to a file. A file it accepts must give settings
// within their ranges, under which all three stages run over small pictures of each type it
// takes; a file it refuses must give its code.
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <unistd.h>

#include "core/Core.h"
#include "core/File.h"
#include "core/SettingsText.h"
#include "transforms/AdvancedSharpen.h"

static void Check(bool condition)
{
    if (!condition) __builtin_trap();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int started = 0;
    static char path[64];
    if (!started) {
        CoreInitialise(); // the stages use the depth and lerp tables
        snprintf(path, sizeof path, "/tmp/vistel-sharpen-fuzz-%d", (int)getpid());
        started = 1;
    }
    FileHandle file = FILE_HANDLE_NONE;
    if (FileCreate(path, &file) != ERROR_NONE) return 0;
    FileWrite(file, data, (int64_t)size);
    if (FileClose(&file) != ERROR_NONE) return 0;

    static AdvancedSharpenParams params;
    AdvancedSharpenParamsDefault(&params);
    ErrorCode result = SettingsFileLoad(path, AdvancedSharpenFileRead, &params);
    if (result != ERROR_NONE) {
        Check(result == ERROR_ILLEGAL_COLOR_BALANCE_FILE);
        return 0;
    }
    Check(params.speckRadius >= 0 && params.speckRadius < SHARPEN_SPECK_SIZES);
    Check(params.blurRadius >= 0.0 && params.blurRadius <= 7.0);
    Check(params.sharpenRadius >= 0.0 && params.sharpenRadius <= 7.0);
    Check(params.blurAmount >= 0.0 && params.blurAmount <= 1.0);
    Check(params.sharpenAmount >= 0.0 && params.sharpenAmount <= 2.0);
    Check(params.blurThresholdLow >= 0 && params.blurThresholdHigh <= 255);
    for (int type : {TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        Image source = {}, made = {};
        Check(ImageAlloc(&source, type, 37, 35, 72.0) == ERROR_NONE);
        for (int y = 0; y < source.height; y++)
            for (int i = 0; i < source.rowBytes; i++)
                source.rows[y][i] = (uint8_t)((y * 131 + i * 71) ^ (i >> 3));
        Check(AdvancedSharpenCompute(&source, &made, nullptr, &params, 1, 37, 35, 0, 0, 1, 0, 0, 36,
                                     34, 37, 35) == ERROR_NONE);
        Check(made.type == type);
        ImageFree(&source);
        ImageFree(&made);
    }
    return 0;
}
