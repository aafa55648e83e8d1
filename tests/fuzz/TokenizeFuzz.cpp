// Fuzzes the settings grammar on one line: Tokenize, then ParseInteger and ParseReal on every
// token and on the whole text. Checks the limits of the tokens, that a parsed real is a
// number, and that every real the formatter can write reads back near itself.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/FormatString.h"
#include "core/SettingsText.h"

// Stops the run with a finding; libFuzzer and the replay both see the crash.
static void Check(bool condition)
{
    if (!condition) __builtin_trap();
}

static void ParseBoth(const char *text)
{
    int32_t integer = 5;
    ParseInteger(text, &integer);
    double real = 5.0;
    int failed = ParseReal(text, &real);
    Check(std::isfinite(real));
    if (failed || std::fabs(real) > 1e9) return;
    // Written with four decimals, a real comes back within half of the last one; one
    // smaller than the last decimal is written as zero.
    char written[64];
    FormatString(written, (int)sizeof written, "%f", real);
    double again;
    Check(ParseReal(written, &again) == 0);
    double allowed = std::fabs(real) < 0.0001 ? 0.0001 : 0.00005 * (1 + 1e-9);
    Check(std::fabs(again - real) <= allowed + std::fabs(real) * 1e-15);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // A store value is the longest text the grammar meets.
    char text[SETTINGS_VALUE_MAX];
    size_t length = size < sizeof text - 1 ? size : sizeof text - 1;
    if (length > 0) memcpy(text, data, length); // an empty input may come without bytes
    text[length] = 0;
    ParseBoth(text);

    int count;
    char **tokens;
    Tokenize(text, &count, &tokens);
    Check(count >= 0 && count <= TOKEN_COUNT_MAX);
    Check(tokens[count] == nullptr);
    // Copied first: the parsers do not tokenise, but the checks should not lean on it.
    static char copies[TOKEN_COUNT_MAX][TOKEN_LENGTH_MAX + 1];
    for (int i = 0; i < count; i++) {
        size_t tokenLength = strlen(tokens[i]);
        Check(tokenLength <= (size_t)TOKEN_LENGTH_MAX);
        memcpy(copies[i], tokens[i], tokenLength + 1);
    }
    for (int i = 0; i < count; i++)
        ParseBoth(copies[i]);
    return 0;
}
