// The program's own formatter, used for every message, label and settings value.
//
// It is not printf: "%2f" means two decimals, "%2d" a zero-padded width of 2 that overflows
// to "**", "%," an integer with thousands separators, "%z" trims trailing zeros of "%f".
// Backslash sequences in the format are read here, so formats may hold "\n" as two
// characters. Arguments: %d, %, and %c take int; %f takes double; %s takes const char *.
#pragma once

#include <cstdarg>

// Formats into out, which holds size bytes; the result is always terminated and cut to fit.
// Returns the length written.
int FormatString(char *out, int size, const char *format, ...);
int FormatStringV(char *out, int size, const char *format, va_list arguments);
