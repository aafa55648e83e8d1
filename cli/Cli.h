// vistel-cli: open a file, run one transformation over the whole picture as Apply does, and
// save the result in the format its name asks for. Also the information Window Info shows.
#pragma once

// Runs one command line; returns the process's exit status (0 on success).
int CliMain(int argc, char **argv);
