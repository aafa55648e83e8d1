// main() of the editor: Qt and the platform come up, a second start hands its files to the
// instance already running and ends, and the first runs the shell's start-up, opens its
// command line and enters the message loop.
#include <QApplication>
#include <cstdlib>
#include <cstring>

#include "core/File.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "platform/Platform.h"
#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"

// The arguments as one command line in the shell's form: names separated by blanks, each
// name that holds a blank in double quotes. The caller frees the text with MemoryFree.
static char *CommandLineJoin(int argc, char **argv)
{
    size_t bytes = 1;
    for (int i = 1; i < argc; i++)
        bytes += strlen(argv[i]) + 3; // quotes and a blank
    char *line = (char *)MemoryAlloc(bytes);
    if (line == nullptr) return nullptr;
    size_t at = 0;
    for (int i = 1; i < argc; i++) {
        int quoted = strchr(argv[i], ' ') != nullptr;
        if (at > 0) line[at++] = ' ';
        if (quoted) line[at++] = '"';
        size_t length = strlen(argv[i]);
        memcpy(line + at, argv[i], length);
        at += length;
        if (quoted) line[at++] = '"';
    }
    line[at] = 0;
    return line;
}

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    int code = 0;
    // Ctrl-C or a kill in the middle of a save leaves no temporary file behind.
    SafeFileCatchSignals();
    char *commandLine = CommandLineJoin(argc, argv);
    if (commandLine == nullptr) return 1;
    if (QtPlatformStart() != ERROR_NONE) goto done;
    // A second start gives its files to the first and leaves.
    if (PlatformHandOverCommandLine(commandLine)) goto done;
    // The read-only resources: VISTEL_DATA names another folder for them, for an installed
    // program or a test.
    {
        const char *data = getenv("VISTEL_DATA");
        StrCopyLimit(data != nullptr && data[0] != 0 ? data : VISTEL_DATA_FOLDER, ProgramDirectory,
                     PATH_LENGTH - 2);
        strcat(ProgramDirectory, "/");
    }
    // What failed in start-up has said so where it could; the program just ends.
    if (Initialise() != ERROR_NONE) goto done;
    if (CreateFrame() != ERROR_NONE) goto done;
    // The files of the command line, or the splash when there are none.
    StartupOpen(commandLine);
    code = PlatformRun();
    Shutdown();
done:
    QtPlatformStop();
    MemoryFree(commandLine);
    return code;
}
