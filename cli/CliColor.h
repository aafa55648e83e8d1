// vistel-cli's color operations: Change Color Profile on a picture file, and the making of a
// display profile. Each takes the command line from its operation's name on (argv[0]) and
// runs after the core has been initialised.
#pragma once

// profile --to PROFILE.icc [--intent N] IN OUT: converts the picture's pixels from its own
// profile (sRGB when it has none) to PROFILE and embeds PROFILE in OUT. N is the index 0 to 4
// of a rendering intent or its label. Returns 0, 1 after "vistel-cli: <message>" on stderr
// for a failure of the work, or 2 for a command line it cannot use.
int CliProfile(int argc, char **argv);

// make-display-profile [--description TEXT] [--gamma G] [--white X Y Z] [--red X Y Z]
// [--green X Y Z] [--blue X Y Z] [--curves FILE] OUT.icc: writes an ICC 2.1 display profile.
// Colorants are XYZ numbers (sRGB's, adapted to D50, by default); FILE holds 768 curve points
// of 0 to 65535, red then green then blue, which replace the gamma. Returns as CliProfile.
int CliMakeDisplayProfile(int argc, char **argv);
