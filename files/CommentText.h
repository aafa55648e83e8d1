// How a file comment reads to the user, as the File Comments window and vistel-cli show it.
#pragma once

#include "core/FileComment.h"

// Formats one comment: `name: "text"` for text, integers as "name: 1, 2", rationals with
// four decimals and "***" for a zero denominator, undefined bytes in hexadecimal.
void FileCommentText(const FileComment *comment, char *text, int size);
