// vistel-cli mask: the operations of the mask tool on a mask file, an 8-bit gray picture.
// Each opens the mask, works on it as the tool does (the coverage of its rows found first),
// and saves the result by the output's extension; "area" prints what "Mask Area" shows.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/CliCommon.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "core/WholeImage.h"
#include "files/FileType.h"
#include "masks/Mask.h"

enum : int {
    MASK_FEATHER = 0,
    MASK_BLUR = 1,
    MASK_COMBINE = 2,
    MASK_INVERT = 3,
    MASK_AREA = 4,
    MASK_OPERATIONS = 5,
};

// An option of an operation: its name, the range of a whole number, or the names of a choice.
struct CliMaskOption {
    const char *name;
    int minimum, maximum;
    const char *const *choices; // null for a number or a file
    int file;                   // 1: the value is a path
};

struct CliMaskOperation {
    const char *name;
    const char *usage; // the operation's command line
    const char *summary;
    int files; // IN, or IN and OUT
    CliMaskOption options[3];
};

static const char *const COMBINE_NAMES[] = {"add", "subtract", "overlap", "invert", nullptr};

static const CliMaskOperation MASK_TABLE[MASK_OPERATIONS] = {
    {"feather",
     "mask feather --width W [--falloff 0|1] [--corners 0|1] IN OUT",
     "widens the edge by W pixels, -64..64 (narrows below 0); falloff 0 gradual, 1 step;\n"
     "      corners 0 round, 1 square",
     2,
     {{"--width", -FEATHER_WIDTH_MAX, FEATHER_WIDTH_MAX, nullptr, 0},
      {"--falloff", 0, 1, nullptr, 0},
      {"--corners", 0, 1, nullptr, 0}}},
    {"blur",
     "mask blur --radius R IN OUT",
     "a box of half-width R, 0..400, twice along the rows and twice down the columns",
     2,
     {{"--radius", 0, BLUR_RADIUS_MAX, nullptr, 0}}},
    {"combine",
     "mask combine --mode add|subtract|overlap|invert (--gray G | --with FILE) IN OUT",
     "puts a gray level G, 0..255, or a mask of the same size onto the mask: the larger,\n"
     "      the difference, the smaller, or the exclusive-or",
     2,
     {{"--mode", 0, 3, COMBINE_NAMES, 0},
      {"--gray", 0, 255, nullptr, 0},
      {"--with", 0, 0, nullptr, 1}}},
    {"invert", "mask invert IN OUT", "255 - v at each pixel", 2, {}},
    {"area", "mask area IN", "prints the area in pixels and the percentage the mask covers", 1, {}},
};

static void CliMaskHelp(FILE *stream)
{
    fputs("usage: vistel-cli mask OPERATION [options] IN [OUT]\n"
          "The operations of the mask tool on a mask, an 8-bit gray picture:\n",
          stream);
    for (const CliMaskOperation &operation : MASK_TABLE)
        fprintf(stream, "  %s\n      %s\n", operation.usage, operation.summary);
    fputs("Options may stand before, between or after IN and OUT.\n", stream);
}

static int CliMaskUsage(const char *problem)
{
    if (problem != nullptr) fprintf(stderr, "vistel-cli: %s\n\n", problem);
    CliMaskHelp(stderr);
    return CLI_EXIT_USAGE;
}

void CliMaskListLines(FILE *stream)
{
    for (const CliMaskOperation &operation : MASK_TABLE)
        fprintf(stream, "  %s\n", operation.usage);
}

// A whole number or the index of a choice, within the option's range; 0 when text is neither.
static int CliMaskValue(const CliMaskOption *option, const char *text, int *value)
{
    if (option->choices != nullptr) {
        for (int i = 0; option->choices[i] != nullptr; i++) {
            if (StrEqualNoCase(text, option->choices[i])) {
                *value = i;
                return 1;
            }
        }
        return 0;
    }
    char *end = nullptr;
    long number = strtol(text, &end, 10);
    if (end == text || *end != 0 || number < option->minimum || number > option->maximum) return 0;
    *value = (int)number;
    return 1;
}

// Opens a mask file and checks that it is one; the problem goes to stderr.
static ErrorCode CliMaskOpen(const char *path, Picture *picture, int *refused)
{
    ErrorCode result = CliOpen(path, picture);
    if (result != ERROR_NONE) return result;
    if (picture->image.type != TYPE_GRAY8) {
        fprintf(stderr, "vistel-cli: %s: a mask must be an 8-bit gray picture, not %s\n", path,
                ImageTypeName(picture->image.type));
        *refused = 1;
    }
    return ERROR_NONE;
}

int CliMask(int argc, char **argv)
{
    ErrorCode result = ERROR_NONE;
    const CliMaskOperation *operation = nullptr;
    int index = -1;
    const char *files[2] = {nullptr, nullptr};
    int fileCount = 0;
    int values[3] = {0, 0, 0};
    const char *paths[3] = {nullptr, nullptr, nullptr};
    int given[3] = {0, 0, 0};
    int refused = 0;
    int saveNumber = FILE_SAVE_NONE;
    Picture mask;
    Picture with;
    Image result8;
    uint8_t *coverage = nullptr;
    const char *failedPath = nullptr;

    PictureReset(&mask);
    PictureReset(&with);
    ImageClear(&result8);
    if (argc < 1 || strcmp(argv[0], "--help") == 0 || strcmp(argv[0], "-h") == 0) {
        if (argc < 1) return CliMaskUsage(nullptr);
        CliMaskHelp(stdout);
        return 0;
    }
    for (int i = 0; i < MASK_OPERATIONS; i++)
        if (strcmp(argv[0], MASK_TABLE[i].name) == 0) index = i;
    if (index < 0) return CliMaskUsage("unknown mask operation");
    operation = &MASK_TABLE[index];

    // The options wherever they stand, as --name VALUE or --name=VALUE; "--" ends them.
    for (int i = 1, optionsEnd = 0; i < argc; i++) {
        const char *word = argv[i];
        if (optionsEnd || word[0] != '-' || word[1] != '-') {
            if (fileCount < 2) files[fileCount] = word;
            fileCount++;
            continue;
        }
        if (strcmp(word, "--") == 0) {
            optionsEnd = 1;
            continue;
        }
        if (strcmp(word, "--help") == 0) {
            CliMaskHelp(stdout);
            return 0;
        }
        char name[64];
        StrCopyLimit(word, name, sizeof name - 1);
        const char *value = nullptr;
        char *equals = strchr(name, '=');
        if (equals != nullptr) {
            *equals = 0;
            value = word + (equals - name) + 1;
        }
        int k = 0;
        while (k < 3 && operation->options[k].name != nullptr &&
               strcmp(operation->options[k].name, name) != 0)
            k++;
        if (k == 3 || operation->options[k].name == nullptr) {
            char problem[128];
            snprintf(problem, sizeof problem, "mask %s takes no %s", operation->name, name);
            return CliMaskUsage(problem);
        }
        if (value == nullptr && i + 1 < argc) value = argv[++i];
        const CliMaskOption *option = &operation->options[k];
        if (value == nullptr ||
            (option->file ? value[0] == 0 : !CliMaskValue(option, value, &values[k]))) {
            char problem[160];
            snprintf(problem, sizeof problem, "%s takes %s", option->name,
                     option->file      ? "a file"
                     : option->choices ? "add, subtract, overlap or invert"
                                       : "a whole number in its range");
            return CliMaskUsage(problem);
        }
        if (option->file) paths[k] = value;
        given[k] = 1;
    }
    if (fileCount != operation->files) return CliMaskUsage(operation->usage);
    if (index == MASK_FEATHER && !given[0]) return CliMaskUsage(operation->usage);
    if (index == MASK_BLUR && !given[0]) return CliMaskUsage(operation->usage);
    if (index == MASK_COMBINE) {
        if (!given[1]) values[1] = 255; // the gray level the tool offers first
        if (!given[0] || (given[1] && given[2]) || (!given[1] && !given[2]))
            return CliMaskUsage(operation->usage);
    }
    if (operation->files == 2) {
        saveNumber = CliSaveNumber(files[1]);
        if (saveNumber == FILE_SAVE_NONE) return CliFail(ERROR_UNKNOWN_FILE_TYPE);
    }

    result = CliMaskOpen(files[0], &mask, &refused);
    if (result != ERROR_NONE || refused) goto done;
    if (index == MASK_AREA) {
        char text[160];
        MaskAreaText(&mask.image, text, sizeof text);
        printf("%s\n", text);
        goto done;
    }
    coverage = (uint8_t *)MemoryAlloc((size_t)mask.image.height);
    if (coverage == nullptr) {
        result = ERROR_NO_MEMORY;
        goto done;
    }
    MaskCoverage(&mask.image, coverage);
    switch (index) {
    case MASK_FEATHER:
    case MASK_BLUR:
        // Both read the mask as it was while they write the result, as the tool reads its
        // undo copy.
        result = ImageAlloc(&result8, TYPE_GRAY8, mask.image.width, mask.image.height,
                            mask.image.resolution);
        if (result != ERROR_NONE) goto done;
        if (index == MASK_FEATHER)
            result = MaskFeather(&mask.image, &result8, values[0], values[1], values[2], coverage);
        else
            result = MaskBlur(&mask.image, &result8, values[0], coverage);
        if (result != ERROR_NONE) goto done;
        ImageFree(&mask.image);
        mask.image = result8;
        ImageClear(&result8);
        break;
    case MASK_COMBINE:
        if (paths[2] != nullptr) {
            result = CliMaskOpen(paths[2], &with, &refused);
            if (result != ERROR_NONE || refused) goto done;
            if (with.image.width != mask.image.width || with.image.height != mask.image.height) {
                fprintf(stderr,
                        "vistel-cli: %s: a mask to combine must have the mask's size, "
                        "%d x %d; this is %d x %d\n",
                        paths[2], mask.image.width, mask.image.height, with.image.width,
                        with.image.height);
                refused = 1;
                goto done;
            }
        }
        result = MaskCombine(&mask.image, paths[2] != nullptr ? &with.image : nullptr, values[1],
                             values[0], coverage);
        if (result != ERROR_NONE) goto done;
        break;
    default: MaskInvert(&mask.image, coverage); break;
    }
    result = CliSave(files[1], saveNumber, &mask);
    if (result != ERROR_NONE) failedPath = files[1]; // the messages of a save name no file
done:
    MemoryFree(coverage);
    ImageFree(&result8);
    PictureFree(&mask);
    PictureFree(&with);
    if (refused) return CLI_EXIT_FAILED;
    if (result == ERROR_NONE) return 0;
    return failedPath != nullptr ? CliFailFile(result, failedPath) : CliFail(result);
}
