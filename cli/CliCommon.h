// What the commands of vistel-cli share: opening a picture file, the verbs of the
// transformations, saving by the output's extension, and the exit statuses with their
// messages on stderr. The commands hold their pictures themselves, as Picture records.
#pragma once

#include <cstdio>

#include "core/Picture.h"
#include "transforms/TransformDescriptor.h"

constexpr int CLI_EXIT_FAILED = 1; // the work failed; its message is on stderr
constexpr int CLI_EXIT_USAGE = 2;  // the command line could not be used

// Opens a picture file of any format into picture (reset here), with its comments and
// profile; the caller frees it with PictureFree. A file that ends before its pixels do is
// said on stderr, and gives ERROR_FILE_DAMAGED unless --allow-partial was given.
ErrorCode CliOpen(const char *path, Picture *picture);

// The save type an output path's extension names, or FILE_SAVE_NONE.
int CliSaveNumber(const char *path);

// Saves a picture as the editor's Save As does: a format that holds only 8 bits a sample gets
// the picture reduced first, and we say so on stderr; a type the format cannot hold is
// refused with the format's code.
ErrorCode CliSave(const char *path, int saveNumber, Picture *picture);

// Prints "vistel-cli: <message of code>" on stderr and returns CLI_EXIT_FAILED; for
// ERROR_FILE_DAMAGED CliOpen has said it all.
int CliFail(ErrorCode code);

// Prints "vistel-cli: PATH: <message of code>" on stderr, for a failure about the file at
// path, and returns CLI_EXIT_FAILED.
int CliFailFile(ErrorCode code, const char *path);

// Makes progress (core/Progress.h) a bar on stderr when stderr is a terminal, and nothing
// otherwise.
void CliProgressInstall(void);

// Prints the problem (if any) and usage on stderr and returns CLI_EXIT_USAGE.
int CliUsage(const char *problem, const char *usage);

// Runs the verb of a transformation on its command line (argv[0] is the first word after the
// verb): VERB [options] IN OUT, options anywhere among the files. Returns 0, 1 after
// "vistel-cli: <message>" on stderr for a failure of the work, or 2 after the problem and the
// verb's help for a command line it cannot use. --help prints the verb's help on stdout.
int CliVerb(const TransformDescriptor *transform, int argc, char **argv);

// 1 when the verb's run may take the short road of CliStream: a transformation with rows in
// place or an orientation, a TIFF input and a TIFF output.
int CliStreamTakes(const TransformDescriptor *transform, const char *inputPath, int saveNumber);

// Runs transform from the TIFF file inputPath to the TIFF file outputPath a band of rows at
// a time, writing the bytes the whole-picture run writes. A file it does not take (compressed,
// damaged, not upright, ...) or any failure gives a code other than ERROR_NONE and no output,
// without a message: the caller then runs the ordinary way, which says what is wrong.
ErrorCode CliStream(const TransformDescriptor *transform, void *settings, const char *inputPath,
                    const char *outputPath);

// The verb's help: its usage line, its summary, and a line for each option of its table.
void CliVerbHelp(const TransformDescriptor *transform, FILE *stream);

// The column at which vistel-cli --help begins its descriptions.
const int CLI_HELP_COLUMN = 36;

// The verb's line in vistel-cli --help: its command line, then its summary.
void CliVerbListLine(const TransformDescriptor *transform, FILE *stream);

// vistel-cli mask OPERATION ... (argv[0] is the operation): the mask tool's Feather, Blur,
// Combine Masks, Invert and Area on a mask file. Returns as CliVerb does.
int CliMask(int argc, char **argv);
// The lines of the mask operations in vistel-cli --help.
void CliMaskListLines(FILE *stream);

// The value of --amount: "P" gives low P and high -1, "LOW:HIGH" both; each a percentage
// from 0 to 100. Returns 1 when text is one of them, else 0.
int CliAmountParse(const char *text, double *low, double *high);
