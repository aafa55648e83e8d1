// main() of vistel-cli: the command-line twin of the editor, on the headless platform.
#include "platform/headless/Headless.h"
#include "shell/Cli.h"

int main(int argc, char **argv)
{
    HeadlessReset();
    HeadlessSetConsole(1, 1);
    return CliMain(argc, argv);
}
