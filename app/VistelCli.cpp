// main() of vistel-cli: the command-line twin of the editor, on the compute library alone.
#include "cli/Cli.h"
#include "core/File.h"

int main(int argc, char **argv)
{
    // Ctrl-C or a kill in the middle of a save leaves no temporary file behind.
    SafeFileCatchSignals();
    return CliMain(argc, argv);
}
