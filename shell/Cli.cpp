// vistel-cli's commands.
#include "shell/Cli.h"

#include <cstdio>

#include "core/Core.h"

int CliMain(int argc, char **argv)
{
    (void)argv;
    CoreInitialise();
    if (argc < 2) {
        fprintf(stderr, "usage: vistel-cli OPERATION [settings] INPUT OUTPUT\n");
        return 2;
    }
    return 2;
}
