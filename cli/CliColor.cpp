// vistel-cli's "make-display-profile": writes the profile a display calibration would.
#include "cli/CliColor.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/CliCommon.h"
#include "color/ColorSettings.h"
#include "color/Profiles.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "files/FileType.h"

static const char DISPLAY_USAGE[] =
    "usage: vistel-cli make-display-profile [--description TEXT] [--gamma G] [--white X Y Z]\n"
    "       [--red X Y Z] [--green X Y Z] [--blue X Y Z] [--curves FILE] OUT.icc\n";

// Three XYZ numbers from argv[at..at + 2] in s15Fixed16 form; 0 when they are not numbers
// that form can hold.
static int CliXyz(char **argv, int at, int32_t xyz[3])
{
    for (int i = 0; i < 3; i++) {
        char *end = nullptr;
        double value = strtod(argv[at + i], &end);
        if (end == argv[at + i] || *end != 0 || !(value > -32767.0 && value < 32767.0)) return 0;
        xyz[i] = Round(value * 65536.0);
    }
    return 1;
}

// Reads 768 curve points of 0 to 65535 from a text file; an error code when it holds fewer,
// more, or other words.
static ErrorCode CliCurves(const char *path, uint16_t curves[3][DISPLAY_CURVE_POINTS])
{
    FILE *file = fopen(path, "r");
    if (file == nullptr) return ERROR_OPEN_FILE;
    ErrorCode result = ERROR_NONE;
    for (int i = 0; i < 3 * DISPLAY_CURVE_POINTS && result == ERROR_NONE; i++) {
        long value;
        if (fscanf(file, "%ld", &value) != 1 || value < 0 || value > 65535)
            result = ERROR_READ_FILE;
        else
            curves[i / DISPLAY_CURVE_POINTS][i % DISPLAY_CURVE_POINTS] = (uint16_t)value;
    }
    char extra[2];
    if (result == ERROR_NONE && fscanf(file, "%1s", extra) == 1) result = ERROR_READ_FILE;
    fclose(file);
    return result;
}

int CliMakeDisplayProfile(int argc, char **argv)
{
    // sRGB's colorants adapted to D50 and its D65 white, as the fixed display of a
    // calibration has them.
    DisplayColorants colorants = {{0xf351, 0x10000, 0x116cc},
                                  {0x6fa2, 0x38f5, 0x390},
                                  {0x6299, 0xb785, 0x18da},
                                  {0x24a0, 0xf84, 0xb6cf}};
    uint16_t curves[3][DISPLAY_CURVE_POINTS];
    const char *description = "Vistel Display";
    int gammaTimes256 = 563; // 2.2
    int withCurves = 0;
    int at = 1;

    while (at < argc - 1) {
        const char *option = argv[at];
        int32_t *xyz = nullptr;
        if (strcmp(option, "--white") == 0)
            xyz = colorants.white;
        else if (strcmp(option, "--red") == 0)
            xyz = colorants.red;
        else if (strcmp(option, "--green") == 0)
            xyz = colorants.green;
        else if (strcmp(option, "--blue") == 0)
            xyz = colorants.blue;
        if (xyz != nullptr) {
            if (at + 4 > argc - 1 || !CliXyz(argv, at + 1, xyz))
                return CliUsage("a colorant takes three numbers", DISPLAY_USAGE);
            at += 4;
            continue;
        }
        if (at + 1 >= argc - 1)
            return CliUsage("an option lacks its value or the output is missing", DISPLAY_USAGE);
        if (strcmp(option, "--description") == 0) {
            description = argv[at + 1];
        } else if (strcmp(option, "--gamma") == 0) {
            char *end = nullptr;
            double gamma = strtod(argv[at + 1], &end);
            if (end == argv[at + 1] || *end != 0 || !(gamma > 0.0) || gamma * 256.0 > 65535.0 ||
                Round(gamma * 256.0) < 1)
                return CliUsage("the gamma must be a number above 0 and below 256", DISPLAY_USAGE);
            gammaTimes256 = Round(gamma * 256.0);
        } else if (strcmp(option, "--curves") == 0) {
            ErrorCode result = CliCurves(argv[at + 1], curves);
            if (result != ERROR_NONE) return CliFail(result);
            withCurves = 1;
        } else {
            return CliUsage("unknown option", DISPLAY_USAGE);
        }
        at += 2;
    }
    // An option where the output should stand means the output was left out.
    if (at != argc - 1 || strncmp(argv[at], "--", 2) == 0)
        return CliUsage("the output profile is missing", DISPLAY_USAGE);
    ErrorCode result = CreateDisplayProfile(
        argv[at], description, gammaTimes256, &colorants, withCurves ? curves[0] : nullptr,
        withCurves ? curves[1] : nullptr, withCurves ? curves[2] : nullptr);
    return result == ERROR_NONE ? 0 : CliFailFile(result, argv[at]);
}
