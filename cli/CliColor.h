// vistel-cli's making of a display profile. It takes the command line from its operation's
// name on (argv[0]) and runs after the core has been initialised.
#pragma once

// make-display-profile [--description TEXT] [--gamma G] [--white X Y Z] [--red X Y Z]
// [--green X Y Z] [--blue X Y Z] [--curves FILE] OUT.icc: writes an ICC 2.1 display profile.
// Colorants are XYZ numbers (sRGB's, adapted to D50, by default); FILE holds 768 curve points
// of 0 to 65535, red then green then blue, which replace the gamma. Returns 0, 1 after
// "vistel-cli: <message>" on stderr for a failure of the work, or 2 for a command line it
// cannot use.
int CliMakeDisplayProfile(int argc, char **argv);
