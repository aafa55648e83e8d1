// vistel-cli's commands. Each opens its input into a picture record as the editor does, runs
// the very compute function of the dialog over the whole picture with full = 1, passes the
// comments and the profile on as Apply does, and saves the result.
#include "cli/Cli.h"
#include "cli/CliCommon.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "cli/CliColor.h"
#include "color/ColorSettings.h"
#include "color/ProfileHeader.h"
#include "color/ProfileTransform.h"
#include "core/Core.h"
#include "core/FormatString.h"
#include "core/Text.h"
#include "core/WholeImage.h"
#include "files/CommentText.h"
#include "files/FileType.h"
#include "transforms/Convert.h"
#include "transforms/GammaAdjust.h"

// The quality of a JPEG save, as the save dialog offers it first.
static const int CLI_JPEG_QUALITY = 97;

// A notice of the work, on stderr as "TITLE: TEXT".
static void CliNotice(const char *title, const char *text)
{
    fprintf(stderr, "%s: %s\n", title, text);
}

static const char USAGE[] =
    "usage: vistel-cli OPERATION [settings] INPUT OUTPUT\n"
    "\n"
    "  info FILE                         what Window Info shows about a picture\n"
    "  gamma --factor F IN OUT           Gamma Adjust with exponent F\n"
    "  convert [--to TYPE] IN OUT        Convert to binary, gray8, color24, gray16, color48;\n"
    "                                    without --to, only the file format changes\n"
    "  negative IN OUT                   the Negative command\n"
    "  profile --to PROFILE.icc [--intent N] IN OUT\n"
    "                                    Change Color Profile: pixels and profile\n"
    "  make-display-profile [options] OUT.icc\n"
    "                                    an ICC display profile (see its --help)\n"
    "\n"
    "The output's extension names its format: .tif, .jpg, .png, .gif, .bmp, .tga, .pcx,\n"
    ".fit, .rle or .eps. A 16-bit picture saved in an 8-bit format is reduced first.\n"
    "\n"
    "An input that ends before its pixels do is refused; with --allow-partial, anywhere on\n"
    "the command line, it gives what it holds, the missing rows black, with a warning.\n";

// Start-up of what the commands use: the core's tables and color, the notice hook that writes
// what the work has to say on stderr, and the progress bar.
static ErrorCode CliInitialise(void)
{
    ErrorCode result = CoreInitialise();
    if (result != ERROR_NONE) return result;
    ColorInitialise();
    NoticeInstall(CliNotice);
    CliProgressInstall();
    return ERROR_NONE;
}

// Whether a damaged input may give what it holds (--allow-partial).
static int CliAllowPartial = 0;

ErrorCode CliOpen(const char *path, Picture *picture)
{
    ErrorCode result = ERROR_NONE;
    FileDamage damage;

    PictureReset(picture);
    // By content first, so that a file with a wrong extension still opens; the extension
    // decides for formats without a signature.
    result = FileLoadPartial(path, FILE_OPEN_ALL, picture, 1, &damage);
    if (result != ERROR_NONE) goto done;
    // A damaged input is said either way; it stops the command unless it may give what it
    // holds. The message is the whole answer: CliFail adds nothing to it.
    if (FileDamaged(&damage)) {
        char text[200];
        FileDamageText(&damage, text, sizeof text);
        fprintf(stderr, "vistel-cli: %s\n", text);
        if (!CliAllowPartial) {
            result = ERROR_FILE_DAMAGED;
            goto done;
        }
    }
    StrCopyLimit(path, picture->fileName, PATH_LENGTH - 1);
done:
    if (result != ERROR_NONE) PictureFree(picture);
    return result;
}

ErrorCode CliApply(const Picture *input, ComputeFunction compute, ChangesNothingFunction nothing,
                   void *params, int inherit, Picture *made)
{
    ErrorCode result = ERROR_NONE;
    const Image *source = &input->image;

    PictureReset(made);
    // Settings that change nothing copy the picture, as Apply does.
    if (nothing != nullptr && nothing(params, source, 1))
        result = ImageCopy(source, &made->image, 1);
    else
        result =
            compute(source, &made->image, made, params, 1, source->width, source->height, 0, 0, 1,
                    0, 0, source->width - 1, source->height - 1, source->width, source->height);
    if (result != ERROR_NONE) goto done;
    if (inherit) {
        result = InheritProfile(input, made);
        if (result != ERROR_NONE) goto done;
    }
    result = CopyImageExtras(input, made);
done:
    if (result != ERROR_NONE) PictureFree(made);
    return result;
}

ErrorCode CliApplyInPlace(Picture *picture, ComputeFunction compute, ChangesNothingFunction nothing,
                          void *params, int inherit)
{
    Image *image = &picture->image;
    ErrorCode result = ERROR_NONE;
    // Settings that change nothing leave the picture as it is.
    if (nothing == nullptr || !nothing(params, image, 1))
        result = compute(image, image, picture, params, 1, image->width, image->height, 0, 0, 1, 0,
                         0, image->width - 1, image->height - 1, image->width, image->height);
    // The picture is its own source: what a new picture would inherit, it has already, but
    // for a profile that a picture of its type does not carry.
    if (result == ERROR_NONE && inherit) result = InheritProfile(picture, picture);
    return result;
}

// Prints one line through our own formatter.
static void PrintLine(const char *format, ...)
{
    char text[PATH_LENGTH + 200];
    va_list arguments;
    va_start(arguments, format);
    FormatStringV(text, sizeof text, format, arguments);
    va_end(arguments);
    printf("%s\n", text);
}

// What Window Info shows, as lines of text.
static void CliPrintInfo(const Picture *picture, const char *path)
{
    const Image *image = &picture->image;
    PrintLine("%s", ImageTypeName(image->type));
    if (image->type == TYPE_COLOR24 || image->type == TYPE_COLOR48) {
        char description[256];
        char maker[256];
        ErrorCode known = ProfileDescription(picture->profile, picture->profileSize, description,
                                             sizeof description);
        if (known == ERROR_NONE && ProfileManufacturer(picture->profile, picture->profileSize,
                                                       maker, sizeof maker) == ERROR_NONE)
            PrintLine("Profile: %s [%s]", description, maker);
        else
            PrintLine("Profile: %s", description);
    }
    PrintLine("Memory: %, bytes", image->rowBytes * image->height);
    PrintLine("%, x %, pixels", image->width, image->height);
    double resolution = image->resolution > 0.0 ? image->resolution : 1.0;
    double inchesWide = image->width / resolution;
    double inchesHigh = image->height / resolution;
    PrintLine("%2f x %2f inches", inchesWide, inchesHigh);
    PrintLine("%2f x %2f cm", inchesWide * 2.540005, inchesHigh * 2.540005);
    PrintLine("%2f x %2f mm", inchesWide * 25.40005, inchesHigh * 25.40005);
    PrintLine("%2f dpi", image->resolution);
    if (picture->derivedFrom[0] != 0) PrintLine("Derived from: %s", picture->derivedFrom);
    const FileTypeEntry *format = FileTypeByOpen(picture->fileType);
    PrintLine("File format: %s", format != nullptr ? format->label : "Unknown");
    struct stat status;
    if (stat(path, &status) == 0) PrintLine("File size: %, bytes", (int)status.st_size);
    for (const FileComment *comment = picture->comments; comment != nullptr;
         comment = comment->next) {
        char text[1024];
        FileCommentText(comment, text, sizeof text);
        PrintLine("%s", text);
    }
}

int CliSaveNumber(const char *path)
{
    for (int saveNumber = FILE_SAVE_TIFF; saveNumber < FILE_SAVE_COUNT; saveNumber++)
        if (FileSaveExtensionAccepted(saveNumber, path)) return saveNumber;
    return FILE_SAVE_NONE;
}

ErrorCode CliSave(const char *path, int saveNumber, Picture *picture)
{
    ErrorCode code;
    int holds = FileSaveHolds(saveNumber, picture->image.type, &code);
    if (holds == FILE_HOLDS_NO) return code;
    if (holds == FILE_HOLDS_REDUCED) {
        fprintf(stderr, "vistel-cli: %s files hold 8 bits a sample: reducing the picture\n",
                FileTypeBySave(saveNumber)->label);
        ErrorCode result = FileReduceTo8Bits(picture);
        if (result != ERROR_NONE) return result;
    }
    return FileSave(path, saveNumber, picture, CLI_JPEG_QUALITY);
}

// Parses the target of convert.
static int CliConvertTarget(const char *name)
{
    static const char *const NAMES[] = {"binary", "gray8", "color24", "gray16", "color48"};
    for (int i = 0; i < 5; i++)
        if (StrEqualNoCase(name, NAMES[i])) return i;
    return -1;
}

int CliFail(ErrorCode code)
{
    if (code != ERROR_FILE_DAMAGED) fprintf(stderr, "vistel-cli: %s\n", ErrorText(code));
    return CLI_EXIT_FAILED;
}

int CliFailFile(ErrorCode code, const char *path)
{
    fprintf(stderr, "vistel-cli: %s: %s\n", path, ErrorText(code));
    return CLI_EXIT_FAILED;
}

// Takes --allow-partial out of the arguments, wherever it stands; returns the new count.
static int CliTakeAllowPartial(int argc, char **argv)
{
    int kept = 0;
    for (int i = 0; i < argc; i++) {
        if (i > 0 && strcmp(argv[i], "--allow-partial") == 0)
            CliAllowPartial = 1;
        else
            argv[kept++] = argv[i];
    }
    return kept;
}

int CliUsage(const char *problem, const char *usage)
{
    if (problem != nullptr) fprintf(stderr, "vistel-cli: %s\n\n", problem);
    fputs(usage, stderr);
    return CLI_EXIT_USAGE;
}

int CliMain(int argc, char **argv)
{
    ErrorCode result = CliInitialise();
    Picture input;
    Picture output;
    Picture *saved = &input; // what goes to the output file
    GammaSettings gamma;
    ConvertSettings convert;
    const char *operation;
    const char *inputPath;
    const char *outputPath;
    const char *failedPath = nullptr; // the file a failure is about, when it names one
    int first;                        // index of the first file argument
    int saveNumber;

    PictureReset(&input);
    PictureReset(&output);
    if (result != ERROR_NONE) return CliFail(result);
    argc = CliTakeAllowPartial(argc, argv);
    if (argc < 2) return CliUsage(nullptr, USAGE);
    operation = argv[1];
    if (strcmp(operation, "--help") == 0 || strcmp(operation, "-h") == 0) {
        fputs(USAGE, stdout);
        return 0;
    }
    // vistel-cli keeps no settings store: it works with the color settings of a first start.
    InitColorSettings(nullptr);
    if (strcmp(operation, "profile") == 0) return CliProfile(argc - 1, argv + 1);
    if (strcmp(operation, "make-display-profile") == 0)
        return CliMakeDisplayProfile(argc - 1, argv + 1);
    if (strcmp(operation, "info") == 0) {
        if (argc != 3) return CliUsage("info takes one file", USAGE);
        result = CliOpen(argv[2], &input);
        if (result != ERROR_NONE) return CliFail(result);
        CliPrintInfo(&input, argv[2]);
        PictureFree(&input);
        return 0;
    }

    GammaSettingsDefault(&gamma);
    ConvertSettingsDefault(&convert);
    first = 2;
    if (strcmp(operation, "gamma") == 0) {
        char *end = nullptr;
        if (argc != 6 || strcmp(argv[2], "--factor") != 0)
            return CliUsage("gamma takes --factor F IN OUT", USAGE);
        gamma.factor = strtod(argv[3], &end);
        if (end == argv[3] || *end != 0 || !(gamma.factor > 0.0) || gamma.factor > 100.0)
            return CliUsage("the gamma factor must be a number above 0 and at most 100", USAGE);
        first = 4;
    } else if (strcmp(operation, "convert") == 0) {
        if (argc == 6 && strcmp(argv[2], "--to") == 0) {
            convert.target = CliConvertTarget(argv[3]);
            if (convert.target < 0) return CliUsage("unknown target type", USAGE);
            first = 4;
        } else if (argc == 4) {
            convert.target = -1; // the picture as it is, in another format
        } else {
            return CliUsage("convert takes [--to TYPE] IN OUT", USAGE);
        }
    } else if (strcmp(operation, "negative") == 0) {
        if (argc != 4) return CliUsage("negative takes IN OUT", USAGE);
    } else {
        return CliUsage("unknown operation", USAGE);
    }
    inputPath = argv[first];
    outputPath = argv[first + 1];
    saveNumber = CliSaveNumber(outputPath);
    if (saveNumber == FILE_SAVE_NONE) return CliFail(ERROR_UNKNOWN_FILE_TYPE);

    result = CliOpen(inputPath, &input);
    if (result != ERROR_NONE) goto done;
    // Gamma Adjust and Negative change each sample where it stands, so the input's own
    // picture takes the result: the input is never shown again, and one picture is held.
    if (strcmp(operation, "gamma") == 0)
        result = CliApplyInPlace(&input, GammaCompute, GammaChangesNothing, &gamma, 1);
    else if (strcmp(operation, "convert") == 0 && convert.target >= 0) {
        result = CliApply(&input, ConvertCompute, ConvertChangesNothing, &convert, 1, &output);
        saved = &output; // a picture of its own
    } else if (strcmp(operation, "negative") == 0)
        result = ImageNegative(&input, &input);
    if (result != ERROR_NONE) goto done;
    result = CliSave(outputPath, saveNumber, saved);
    if (result != ERROR_NONE) failedPath = outputPath; // the messages of a save name no file
done:
    PictureFree(&output);
    PictureFree(&input);
    if (result == ERROR_NONE) return 0;
    return failedPath != nullptr ? CliFailFile(result, failedPath) : CliFail(result);
}
