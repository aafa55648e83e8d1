// What the tests of the settings grammar and of the settings store share: a settings kind of
// their own, read and written by the helpers as every reader is, and files written whole.
#pragma once

#include <cstdio>
#include <vector>
#include <string>

#include "core/SettingsText.h"
#include "tests/support/TestSupport.h"

inline void WriteText(const std::string &path, const std::string &text)
{
    TestWriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
}

// A settings kind of the tests, read and written by the helpers as every reader is.
struct ToySettings {
    int32_t amount;
    double gamma;
    char name[64];
};

const ToySettings TOY_DEFAULTS = {10, 1.0, "none"};

inline ErrorCode ToyRead(FileHandle file, void *settings)
{
    ToySettings *toy = (ToySettings *)settings;
    int count;
    char **tokens;
    if (SettingsReadHeader(file, "Toy")) return ERROR_ILLEGAL_LAYOUT_FILE;
    for (;;) {
        if (SettingsReadLine(file, &count, &tokens)) return ERROR_ILLEGAL_LAYOUT_FILE;
        if (SettingsLineIsEnd(count, tokens)) return ERROR_NONE;
        if (SettingsKeyIs(tokens, "amount") && count == 2)
            ParseInteger(tokens[1], &toy->amount);
        else if (SettingsKeyIs(tokens, "gamma") && count == 2)
            ParseReal(tokens[1], &toy->gamma);
        else if (SettingsKeyIs(tokens, "name") && count == 2)
            snprintf(toy->name, sizeof toy->name, "%s", tokens[1]);
        else
            return ERROR_ILLEGAL_LAYOUT_FILE;
    }
}

inline ErrorCode ToyWrite(FileHandle file, const void *settings)
{
    const ToySettings *toy = (const ToySettings *)settings;
    ErrorCode result = SettingsWriteHeader(file, "Toy");
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "amount %d", toy->amount);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "gamma %f", toy->gamma);
    if (result == ERROR_NONE) result = SettingsWriteLine(file, "name \"%s\"", toy->name);
    if (result == ERROR_NONE) result = SettingsWriteEnd(file);
    return result;
}

