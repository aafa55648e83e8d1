// String helpers of the program: bounded copies, case-blind comparison, extension checks and
// the two kinds of packed string list.
#pragma once

// Copies at most limit characters of source and always adds the terminator, so destination
// needs limit + 1 bytes.
void StrCopyLimit(const char *source, char *destination, int limit);

// 1 when a and b are equal but for letter case (ASCII), else 0.
int StrEqualNoCase(const char *a, const char *b);

// extension includes its dot. 0 only when name is longer than extension, has a dot where the
// extension would start and ends in it but for case; 1 otherwise.
int ExtensionDiffers(const char *name, const char *extension);

// Lowers 'A' to 'Z' in place.
void StrLowerAscii(char *text);

// A list of strings, each ended by a zero byte, the list ended by a byte 1 after a terminator.
// ListItem stops at the end of the list when n is too large.
const char *ListItem(const char *list, int n);
int ListCount(const char *list);

// The same for a list ended by an empty string.
const char *ZListItem(const char *list, int n);
int ZListCount(const char *list);
