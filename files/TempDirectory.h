// The folder for temporary files.
#pragma once

#include "core/Errors.h"

// Finds the folder for temporary files, creating it (and any missing folders above it) when
// it does not exist, and copies its path into folder, which holds PATH_LENGTH bytes. The
// folder is the preference tempDirectory with trailing slashes and backslashes removed, or,
// when that is empty, a folder of this user's own, "vistel-<user id>", in the system's
// temporary folder ($TMPDIR, else /tmp). ERROR_TEMP_DIRECTORY when it cannot be found or
// created, or is not a folder we may write in.
ErrorCode EnsureTempDirectory(char *folder);
