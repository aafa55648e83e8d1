// What the commands of vistel-cli share: opening a picture file, running a compute function
// over it as Apply does, saving by the output's extension, and the exit statuses with their
// messages on stderr. The commands hold their pictures themselves, as Picture records.
#pragma once

#include "core/Compute.h"
#include "core/Picture.h"

constexpr int CLI_EXIT_FAILED = 1; // the work failed; its message is on stderr
constexpr int CLI_EXIT_USAGE = 2;  // the command line could not be used

// Opens a picture file of any format into picture (reset here), with its comments and
// profile; the caller frees it with PictureFree. A file that ends before its pixels do is
// said on stderr, and gives ERROR_FILE_DAMAGED unless --allow-partial was given.
ErrorCode CliOpen(const char *path, Picture *picture);

// Runs compute over the whole picture into made (reset here; the caller frees it), as Apply
// does: settings for which nothing (when given) says they change nothing copy the picture
// instead; the comments pass on, and with inherit set the profile follows the rules of a new
// picture (a transformation that sets the result's profile itself passes 0). On failure made
// holds nothing.
ErrorCode CliApply(const Picture *input, ComputeFunction compute, ChangesNothingFunction nothing,
                   void *params, int inherit, Picture *made);

// Runs compute over the whole of picture as CliApply does, but with the picture's own image
// as source and destination, so that a run holds one picture instead of two; the
// input is never shown again. Only for a compute function whose result has the source's type
// and size and whose row loop reads a source row and then writes that same row, each sample
// at the place it was read from (Gamma Adjust, Change Color Profile): at zoom 1 the row
// reader and writer both hand out the picture's own rows, so nothing is overwritten before it
// is read. Settings that change nothing leave the picture alone. With inherit set the profile
// follows the rules of a new picture. A failure leaves the picture half changed, and the
// caller saves nothing.
ErrorCode CliApplyInPlace(Picture *picture, ComputeFunction compute, ChangesNothingFunction nothing,
                          void *params, int inherit);

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
