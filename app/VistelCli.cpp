// main() of vistel-cli: the command-line twin of the editor, on the headless platform.
#include "core/File.h"
#include "platform/headless/Headless.h"
#include "shell/Cli.h"

int main(int argc, char **argv)
{
    // Ctrl-C or a kill in the middle of a save leaves no temporary file behind.
    SafeFileCatchSignals();
    HeadlessReset();
    HeadlessSetConsole(1, 1);
    return CliMain(argc, argv);
}
