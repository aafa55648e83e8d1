// What the commands of vistel-cli share: opening a picture file into a record, running a
// compute function over it as Apply does, saving by the output's extension, and the exit
// statuses with their messages on stderr.
#pragma once

#include "core/Compute.h"
#include "core/ImageWindow.h"

constexpr int CLI_EXIT_FAILED = 1; // the work failed; its message is on stderr
constexpr int CLI_EXIT_USAGE = 2;  // the command line could not be used

// Opens a picture file of any format into a new record, with its comments and profile. The
// caller frees the record with SlotFree. A file that ends before its pixels do is said on
// stderr, and gives ERROR_FILE_DAMAGED unless --allow-partial was given.
ErrorCode CliOpen(const char *path, ImageWindow **opened);

// Runs compute over the whole picture into a new record, as Apply does: the comments pass
// on, and with inherit set the profile follows the rules of a new picture (a transformation
// that sets the result's profile itself passes 0).
ErrorCode CliApply(ImageWindow *input, ComputeFunction compute, void *params, int inherit,
                   ImageWindow **made);

// The save type an output path's extension names, or FILE_SAVE_NONE.
int CliSaveNumber(const char *path);

// Saves a record as the editor's Save As does: a format that holds only 8 bits a sample gets
// the picture reduced first, and we say so on stderr; a type the format cannot hold is
// refused with the format's code.
ErrorCode CliSave(const char *path, int saveNumber, ImageWindow *record);

// Prints "vistel-cli: <message of code>" on stderr and returns CLI_EXIT_FAILED; for
// ERROR_FILE_DAMAGED CliOpen has said it all.
int CliFail(ErrorCode code);

// Prints the problem (if any) and usage on stderr and returns CLI_EXIT_USAGE.
int CliUsage(const char *problem, const char *usage);
