// The verb of a transformation, made from its descriptor: the options of its table parsed into
// a settings record wherever they stand among the files (GNU style; "--" ends the options),
// --help from the same table, and the run itself: open, Apply as the editor runs it, save.
// A transformation with a settings file takes that file as its first argument, before IN and
// OUT, read as the dialog's "Load..." reads it.
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/CliCommon.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "files/FileType.h"
#include "masks/Amount.h"
#include "transforms/Transforms.h"

constexpr int CLI_OPTIONS_MAX = 8; // options a verb may have: the bits of given, the paths

// What a command line gives besides the settings record.
struct CliVerbLine {
    const char *files[3]; // IN and OUT, or SETTINGS, IN and OUT (CliVerbFileCount)
    int32_t fileCount;    // files seen, even past those
    uint32_t given;       // bit i: option i was given
    double amountLow;     // --amount P or LOW:HIGH, percent; -1 when not given
    double amountHigh;
    const char *maskPath;               // --mask FILE, or null
    const char *paths[CLI_OPTIONS_MAX]; // the values of OPTION_FILE, OPTION_PICTURE and
                                        // OPTION_PARSED options, by option index
};

// The files a verb takes: IN and OUT, after its settings file when it has one.
static int CliVerbFileCount(const TransformDescriptor *transform)
{
    return transform->readSettings != nullptr ? 3 : 2;
}

// "gamma takes --factor F IN OUT": what the verb's command line is, in one line.
static void CliVerbSynopsis(const TransformDescriptor *transform, char *text, size_t size)
{
    size_t used = (size_t)snprintf(text, size, "%s takes", transform->verb);
    for (int i = 0; i < transform->optionCount && used < size; i++) {
        const TransformOption *option = &transform->options[i];
        int required = (option->flags & OPTION_REQUIRED) != 0;
        used += (size_t)snprintf(text + used, size - used, required ? " %s %s" : " [%s %s]",
                                 option->name, option->valueName);
    }
    if (transform->readSettings != nullptr && used < size)
        used += (size_t)snprintf(text + used, size - used, " FILE.%.*s",
                                 (int)strcspn(transform->settingsExtension, " "),
                                 transform->settingsExtension);
    if (used < size) snprintf(text + used, size - used, " IN OUT");
}

void CliVerbListLine(const TransformDescriptor *transform, FILE *stream)
{
    char synopsis[256];
    CliVerbSynopsis(transform, synopsis, sizeof synopsis);
    // "VERB OPTIONS IN OUT", with the summary beside it or, when it is too long, below it.
    char line[256];
    snprintf(line, sizeof line, "%s%s", transform->verb,
             synopsis + strlen(transform->verb) + strlen(" takes"));
    if (strlen(line) <= CLI_HELP_COLUMN - 3)
        fprintf(stream, "  %-*s %s\n", CLI_HELP_COLUMN - 3, line, transform->summary);
    else
        fprintf(stream, "  %s\n%*s%s\n", line, CLI_HELP_COLUMN, "", transform->summary);
}

void CliVerbHelp(const TransformDescriptor *transform, FILE *stream)
{
    char synopsis[256];
    CliVerbSynopsis(transform, synopsis, sizeof synopsis);
    // The synopsis reads "VERB takes OPTIONS IN OUT"; the usage line shows it without "takes".
    fprintf(stream, "usage: vistel-cli %s%s\n%s.\n", transform->verb,
            synopsis + strlen(transform->verb) + strlen(" takes"), transform->summary);
    for (int i = 0; i < transform->optionCount; i++) {
        const TransformOption *option = &transform->options[i];
        char left[64];
        snprintf(left, sizeof left, "%s %s", option->name, option->valueName);
        fprintf(stream, "  %-22s %s\n", left, option->help);
        for (int c = 0; c < option->choiceCount; c++) {
            if (option->flags & OPTION_CHOICE_NUMBERED)
                fprintf(stream, "  %-22s   %d \"%s\"\n", "", c, option->choices[c]);
            else
                fprintf(stream, "  %-22s   %s\n", "", option->choices[c]);
        }
    }
    if (transform->amountOffset != TRANSFORM_NO_AMOUNT) {
        fprintf(stream, "  %-22s %s\n", "--amount P", "how much of the result, in percent");
        fprintf(stream, "  %-22s %s\n", "--amount LOW:HIGH",
                "with --mask FILE: LOW percent where the mask is black, HIGH where white");
    }
    fputs("Options may stand before, between or after IN and OUT.\n", stream);
}

// The usage message of a verb: the problem, then its help, on stderr.
static int CliVerbUsage(const TransformDescriptor *transform, const char *problem)
{
    fprintf(stderr, "vistel-cli: %s\n\n", problem);
    CliVerbHelp(transform, stderr);
    return CLI_EXIT_USAGE;
}

int CliAmountParse(const char *text, double *low, double *high)
{
    char *end = nullptr;
    *low = strtod(text, &end);
    if (end == text || !(*low >= 0.0 && *low <= 100.0)) return 0;
    if (*end == 0) {
        *high = -1.0; // one percentage, without a mask
        return 1;
    }
    if (*end != ':') return 0;
    const char *second = end + 1;
    *high = strtod(second, &end);
    return end != second && *end == 0 && *high >= 0.0 && *high <= 100.0;
}

// The value of a choice: its name but for case, or with OPTION_CHOICE_NUMBERED its index;
// -1 for neither.
static int CliChoice(const TransformOption *option, const char *text)
{
    for (int i = 0; i < option->choiceCount; i++)
        if (StrEqualNoCase(text, option->choices[i])) return i;
    if (!(option->flags & OPTION_CHOICE_NUMBERED)) return -1;
    char *end = nullptr;
    long index = strtol(text, &end, 10);
    if (end == text || *end != 0 || index < 0 || index >= option->choiceCount) return -1;
    return (int)index;
}

// A number in the option's range into value; 0 when text is none.
static int CliNumber(const TransformOption *option, const char *text, double *value)
{
    char *end = nullptr;
    *value = option->kind == OPTION_INTEGER ? (double)strtol(text, &end, 10) : strtod(text, &end);
    if (end == text || *end != 0) return 0;
    int aboveMinimum = (option->flags & OPTION_MINIMUM_OPEN) ? *value > option->minimum
                                                             : *value >= option->minimum;
    return aboveMinimum && *value <= option->maximum; // NaN fails both
}

// Puts the value of option i into the settings, or the path of a file aside for later; 0
// when the value is refused.
static int CliOptionValue(const TransformOption *option, int i, const char *text, void *settings,
                          CliVerbLine *line)
{
    uint8_t *at = (uint8_t *)settings + option->offset;
    double number;
    switch (option->kind) {
    case OPTION_CHOICE: {
        int choice = CliChoice(option, text);
        if (choice < 0) return 0;
        *(int32_t *)at = choice;
        return 1;
    }
    case OPTION_FILE:
    case OPTION_PICTURE:
    case OPTION_PARSED: line->paths[i] = text; return 1;
    case OPTION_INTEGER:
        if (!CliNumber(option, text, &number)) return 0;
        *(int32_t *)at = (int32_t)number;
        return 1;
    default: // OPTION_REAL, OPTION_PERCENT
        if (!CliNumber(option, text, &number)) return 0;
        *(double *)at = number;
        return 1;
    }
}

// Reads the command line into settings and line; 0 when it is fine, else the exit status of
// a usage message already printed (or -1 after --help, printed on stdout).
static int CliVerbParse(const TransformDescriptor *transform, int argc, char **argv, void *settings,
                        CliVerbLine *line)
{
    char synopsis[256];
    char problem[320];
    int optionsEnd = 0; // "--" was seen: the rest are files
    CliVerbSynopsis(transform, synopsis, sizeof synopsis);
    for (int at = 0; at < argc; at++) {
        const char *word = argv[at];
        if (optionsEnd || strncmp(word, "--", 2) != 0) {
            if (line->fileCount < 3) line->files[line->fileCount] = word;
            line->fileCount++;
            continue;
        }
        if (strcmp(word, "--") == 0) {
            optionsEnd = 1;
            continue;
        }
        if (strcmp(word, "--help") == 0) {
            CliVerbHelp(transform, stdout);
            return -1;
        }
        // "--name VALUE" or, as GNU tools allow too, "--name=VALUE".
        char name[64];
        const char *equals = strchr(word, '=');
        size_t nameLength = equals != nullptr ? (size_t)(equals - word) : strlen(word);
        if (nameLength >= sizeof name) nameLength = sizeof name - 1; // no option is that long
        memcpy(name, word, nameLength);
        name[nameLength] = 0;
        int index = -1;
        for (int i = 0; i < transform->optionCount; i++)
            if (strcmp(name, transform->options[i].name) == 0) index = i;
        int amount = strcmp(name, "--amount") == 0;
        int mask = strcmp(name, "--mask") == 0;
        if (index < 0 && !amount && !mask) {
            snprintf(problem, sizeof problem, "unknown option %s; %s", word, synopsis);
            return CliVerbUsage(transform, problem);
        }
        if (equals == nullptr && at + 1 >= argc) return CliVerbUsage(transform, synopsis);
        const char *value = equals != nullptr ? equals + 1 : argv[++at];
        if (amount) {
            if (!CliAmountParse(value, &line->amountLow, &line->amountHigh))
                return CliVerbUsage(transform, "--amount takes a percentage P or LOW:HIGH, each "
                                               "from 0 to 100");
        } else if (mask) {
            line->maskPath = value;
        } else {
            const TransformOption *option = &transform->options[index];
            if (!CliOptionValue(option, index, value, settings, line))
                return CliVerbUsage(transform, option->problem);
            line->given |= 1u << index;
        }
    }
    if (line->fileCount != CliVerbFileCount(transform)) return CliVerbUsage(transform, synopsis);
    for (int i = 0; i < transform->optionCount; i++)
        if ((transform->options[i].flags & OPTION_REQUIRED) && !(line->given & (1u << i)))
            return CliVerbUsage(transform, synopsis);
    if (line->amountLow >= 0.0 || line->maskPath != nullptr) {
        if (transform->amountOffset == TRANSFORM_NO_AMOUNT) {
            snprintf(problem, sizeof problem, "%s has no Amount: it takes no --amount or --mask",
                     transform->verb);
            return CliVerbUsage(transform, problem);
        }
        // A mask says where between two amounts the result lies; one amount needs none.
        if ((line->maskPath != nullptr) != (line->amountHigh >= 0.0))
            return CliVerbUsage(transform, "--amount LOW:HIGH goes with --mask FILE, and "
                                           "--amount P without it");
        AmountSetting *amount = (AmountSetting *)((uint8_t *)settings + transform->amountOffset);
        amount->low = AmountPosition(line->amountLow);
        amount->high = line->amountHigh >= 0.0 ? AmountPosition(line->amountHigh) : AMOUNT_NO_MASK;
    }
    return 0;
}

// Reads the files that options name into the settings, in the order of the table; the bytes
// are the caller's to free (CliVerbRelease), also after a failure.
static ErrorCode CliVerbReadFiles(const TransformDescriptor *transform, const CliVerbLine *line,
                                  void *settings, const char **failedPath)
{
    for (int i = 0; i < transform->optionCount; i++) {
        const TransformOption *option = &transform->options[i];
        if (option->kind != OPTION_FILE || line->paths[i] == nullptr) continue;
        uint8_t *bytes = nullptr;
        int length = 0;
        ErrorCode result = option->read(line->paths[i], &bytes, &length);
        if (result != ERROR_NONE) {
            *failedPath = nullptr; // the reader's codes name no file, as Apply shows them
            return result;
        }
        *(uint8_t **)((uint8_t *)settings + option->offset) = bytes;
        *(int32_t *)((uint8_t *)settings + option->lengthOffset) = length;
    }
    return ERROR_NONE;
}

static void CliVerbRelease(const TransformDescriptor *transform, void *settings)
{
    for (int i = 0; settings != nullptr && i < transform->optionCount; i++)
        if (transform->options[i].kind == OPTION_FILE)
            MemoryRelease((uint8_t **)((uint8_t *)settings + transform->options[i].offset));
}

// Opens the pictures that options name, as the input is opened, and points the settings at
// them; then runs the parse functions in the order of the table. Returns 0, or the exit
// status after a message.
static int CliVerbTakeOptions(const TransformDescriptor *transform, const CliVerbLine *line,
                              void *settings, Picture *pictures)
{
    for (int i = 0; i < transform->optionCount; i++) {
        const TransformOption *option = &transform->options[i];
        if (option->kind != OPTION_PICTURE || line->paths[i] == nullptr) continue;
        ErrorCode result = CliOpen(line->paths[i], &pictures[i]);
        if (result != ERROR_NONE) return CliFailFile(result, line->paths[i]);
        *(const Image **)((uint8_t *)settings + option->offset) = &pictures[i].image;
    }
    for (int i = 0; i < transform->optionCount; i++) {
        const TransformOption *option = &transform->options[i];
        char problem[512];
        if (option->kind != OPTION_PARSED) continue;
        if (!option->parse(line->paths[i], settings, problem, (int)sizeof problem)) {
            fprintf(stderr, "vistel-cli: %s\n", problem);
            return CLI_EXIT_FAILED;
        }
    }
    return 0;
}

int CliVerb(const TransformDescriptor *transform, int argc, char **argv)
{
    ErrorCode result = ERROR_NONE;
    CliVerbLine line = {};
    Picture input;
    Picture output;
    Picture mask;                      // --mask FILE
    Picture pictures[CLI_OPTIONS_MAX]; // the OPTION_PICTURE options' pictures, by index
    Picture *saved = &input;           // what goes to the output file
    const char *failedPath = nullptr;  // the file a failure is about, when it names one
    void *settings = nullptr;
    int status = 0;
    int saveNumber;
    int changes = 1; // 0: an OPTION_ABSENT_NO_CHANGE option was left out
    const char *inputPath = nullptr;
    const char *outputPath = nullptr;

    PictureReset(&input);
    PictureReset(&output);
    PictureReset(&mask);
    for (Picture &picture : pictures)
        PictureReset(&picture);
    line.amountLow = line.amountHigh = -1.0;
    assert(transform->optionCount <= CLI_OPTIONS_MAX);
    settings = MemoryAllocZero(transform->settingsSize > 0 ? transform->settingsSize : 1);
    if (settings == nullptr) return CliFail(ERROR_NO_MEMORY);
    transform->defaults(settings);
    status = CliVerbParse(transform, argc, argv, settings, &line);
    if (status != 0) {
        MemoryFree(settings);
        return status < 0 ? 0 : status;
    }
    for (int i = 0; i < transform->optionCount; i++)
        if ((transform->options[i].flags & OPTION_ABSENT_NO_CHANGE) && !(line.given & (1u << i)))
            changes = 0;

    // A settings file comes first and is read as the dialog's Load reads it; the --amount of
    // the command line stands above it.
    if (transform->readSettings != nullptr) {
        AmountSetting amount = {};
        AmountSetting *held =
            transform->amountOffset == TRANSFORM_NO_AMOUNT
                ? nullptr
                : (AmountSetting *)((uint8_t *)settings + transform->amountOffset);
        if (held != nullptr) amount = *held;
        result = transform->readSettings(line.files[0], settings);
        if (held != nullptr) *held = amount;
        if (result != ERROR_NONE) {
            failedPath = line.files[0];
            goto done;
        }
    }
    inputPath = line.files[CliVerbFileCount(transform) - 2];
    outputPath = line.files[CliVerbFileCount(transform) - 1];
    saveNumber = CliSaveNumber(outputPath);
    if (saveNumber == FILE_SAVE_NONE) {
        result = ERROR_UNKNOWN_FILE_TYPE;
        goto done;
    }
    result = CliVerbReadFiles(transform, &line, settings, &failedPath);
    if (result != ERROR_NONE) goto done;
    status = CliVerbTakeOptions(transform, &line, settings, pictures);
    if (status != 0) goto done;
    // A mask is a whole picture read bottom up, which the band by band road does not follow.
    if (changes && line.maskPath == nullptr && CliStreamTakes(transform, inputPath, saveNumber) &&
        CliStream(transform, settings, inputPath, outputPath) == ERROR_NONE)
        goto done;
    result = CliOpen(inputPath, &input);
    if (result != ERROR_NONE) goto done;
    if (line.maskPath != nullptr) {
        // The mask is read as any picture is, and must fit the input pixel for pixel.
        result = CliOpen(line.maskPath, &mask);
        if (result != ERROR_NONE) goto done;
        const Image *image = &mask.image;
        if (image->type != TYPE_GRAY8 || image->width != input.image.width ||
            image->height != input.image.height) {
            fprintf(stderr,
                    "vistel-cli: %s: a mask must be an 8-bit gray picture of the input's size, "
                    "%d x %d; this is %s, %d x %d\n",
                    line.maskPath, input.image.width, input.image.height,
                    ImageTypeName(image->type), image->width, image->height);
            status = CLI_EXIT_FAILED;
            goto done;
        }
        ((AmountSetting *)((uint8_t *)settings + transform->amountOffset))->maskImage = image;
    }
    if (transform->takeInput != nullptr) transform->takeInput(settings, &input);
    // A transformation that changes each sample where it stands takes the input's own
    // picture: the input is never shown again, and one picture is held.
    if (changes && transform->inPlace) {
        result = TransformApplyInPlace(transform, settings, &input);
    } else if (changes) {
        result = TransformApply(transform, settings, &input, &output);
        saved = &output; // a picture of its own
    }
    if (result != ERROR_NONE) goto done;
    result = CliSave(outputPath, saveNumber, saved);
    if (result != ERROR_NONE) failedPath = outputPath; // the messages of a save name no file
done:
    PictureFree(&output);
    PictureFree(&input);
    PictureFree(&mask);
    for (Picture &picture : pictures)
        PictureFree(&picture);
    CliVerbRelease(transform, settings);
    MemoryFree(settings);
    if (status != 0) return status;
    if (result == ERROR_NONE) return 0;
    return failedPath != nullptr ? CliFailFile(result, failedPath) : CliFail(result);
}
