// vistel-cli's commands. A verb of a transformation comes from its descriptor
// (transforms/Transforms.h): its options are parsed from the descriptor's table into a
// settings record, its input is opened into a picture record as the editor does, the very
// compute function of the dialog runs over the whole picture with full = 1, the comments and
// the profile pass on as Apply does, and the result is saved.
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
#include "core/Memory.h"
#include "core/Text.h"
#include "core/WholeImage.h"
#include "files/CommentText.h"
#include "files/FileType.h"
#include "transforms/Transforms.h"

// The quality of a JPEG save, as the save dialog offers it first.
static const int CLI_JPEG_QUALITY = 97;

// A notice of the work, on stderr as "TITLE: TEXT".
static void CliNotice(const char *title, const char *text)
{
    fprintf(stderr, "%s: %s\n", title, text);
}

static const char USAGE_HEAD[] =
    "usage: vistel-cli VERB [options] INPUT OUTPUT\n"
    "\n"
    "  info FILE                         what Window Info shows about a picture\n";

static const char USAGE_TAIL[] =
    "  make-display-profile [options] OUT.icc\n"
    "                                    an ICC display profile (see its --help)\n"
    "\n"
    "vistel-cli VERB --help describes a verb's options, which may stand anywhere among its\n"
    "files.\n"
    "\n"
    "The output's extension names its format: .tif, .jpg, .png, .gif, .bmp, .tga, .pcx,\n"
    ".fit, .rle or .eps. A 16-bit picture saved in an 8-bit format is reduced first.\n"
    "\n"
    "An input that ends before its pixels do is refused; with --allow-partial, anywhere on\n"
    "the command line, it gives what it holds, the missing rows black, with a warning.\n";

// The usage of every verb, the transformations' from their table.
static void CliHelp(FILE *stream)
{
    fputs(USAGE_HEAD, stream);
    for (int i = 0; i < TRANSFORM_COUNT; i++)
        CliVerbListLine(TRANSFORMS[i], stream);
    CliMaskListLines(stream);
    fputs(USAGE_TAIL, stream);
}

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
    const TransformDescriptor *transform;
    const char *operation;

    if (result != ERROR_NONE) return CliFail(result);
    argc = CliTakeAllowPartial(argc, argv);
    if (argc < 2) {
        CliHelp(stderr);
        return CLI_EXIT_USAGE;
    }
    operation = argv[1];
    if (strcmp(operation, "--help") == 0 || strcmp(operation, "-h") == 0) {
        CliHelp(stdout);
        return 0;
    }
    // vistel-cli keeps no settings store: it works with the color settings of a first start.
    InitColorSettings(nullptr);
    if (strcmp(operation, "make-display-profile") == 0)
        return CliMakeDisplayProfile(argc - 1, argv + 1);
    if (strcmp(operation, "mask") == 0) return CliMask(argc - 2, argv + 2);
    if (strcmp(operation, "info") == 0) {
        if (argc != 3) {
            fprintf(stderr, "vistel-cli: info takes one file\n\n");
            CliHelp(stderr);
            return CLI_EXIT_USAGE;
        }
        result = CliOpen(argv[2], &input);
        if (result != ERROR_NONE) return CliFail(result);
        CliPrintInfo(&input, argv[2]);
        PictureFree(&input);
        return 0;
    }
    transform = TransformByVerbFor(operation, argc - 2, argv + 2);
    if (transform == nullptr) {
        fprintf(stderr, "vistel-cli: unknown operation\n\n");
        CliHelp(stderr);
        return CLI_EXIT_USAGE;
    }
    return CliVerb(transform, argc - 2, argv + 2);
}
