// The settings grammar: lines, tokens, numbers and the formatter's numbers read back; paths
// and extensions; the file kinds; a reader built from the helpers against hostile files.
#include <climits>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "core/FormatString.h"
#include "tests/core/SettingsTextSupport.h"
#include "tests/support/TestSupport.h"

// Every line ReadTextLine gives for the file, and the code that ended the reading.
static std::vector<std::string> ReadLines(const std::string &path, int maximum,
                                          ErrorCode *last = nullptr)
{
    std::vector<std::string> lines;
    FileHandle file = FILE_HANDLE_NONE;
    EXPECT_EQ(FileOpenRead(path.c_str(), &file), ERROR_NONE);
    std::vector<char> buffer((size_t)maximum + 1);
    ErrorCode result;
    while ((result = ReadTextLine(file, buffer.data(), maximum)) == ERROR_NONE)
        lines.push_back(buffer.data());
    if (last != nullptr) *last = result;
    FileClose(&file);
    return lines;
}

static std::vector<std::string> Tokens(const std::string &text)
{
    int count;
    char **tokens;
    Tokenize(text.c_str(), &count, &tokens);
    return std::vector<std::string>(tokens, tokens + count);
}

TEST(ReadTextLine, TakesEitherEndingAndSkipsBlankLines)
{
    TestStart();
    std::string path = TestOutputFolder("ReadTextLine") + "/a.txt";
    struct Case {
        const char *text;
        std::vector<std::string> lines;
    } cases[] = {
        // A line of blanks is text, unlike an empty one; the last line needs no ending.
        {"Curve 1.0\r\n\r\n\nnpts 2\n  \r\nend", {"Curve 1.0", "npts 2", "  ", "end"}},
        {"ab\rc\r\r\nd\n", {"abc", "d"}}, // carriage returns go wherever they stand
        {"\r\n\n", {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        WriteText(path, c.text);
        ErrorCode last;
        EXPECT_EQ(ReadLines(path, 255, &last), c.lines);
        EXPECT_EQ(last, ERROR_END_OF_FILE);
    }
}

TEST(ReadTextLine, SplitsALongLineIntoPiecesOfTheMaximum)
{
    TestStart();
    std::string folder = TestOutputFolder("ReadTextLineLong");
    std::string longLine(300, 'x');
    longLine[254] = 'A'; // last of the first piece
    longLine[255] = 'B'; // first of the second
    WriteText(folder + "/a.txt", longLine + "\r\nend\r\n");
    std::vector<std::string> lines = ReadLines(folder + "/a.txt", 255);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], longLine.substr(0, 255));
    EXPECT_EQ(lines[1], longLine.substr(255));
    EXPECT_EQ(lines[2], "end");
    // A line of exactly the maximum leaves its ending behind, which reads as no line.
    WriteText(folder + "/b.txt", std::string(255, 'y') + "\nend\n");
    lines = ReadLines(folder + "/b.txt", 255);
    EXPECT_EQ(lines, (std::vector<std::string>{std::string(255, 'y'), "end"}));
}

TEST(Tokenize, QuotesDelimitersAndThePlusOfAnExponent)
{
    TestStart();
    using Tokens_ = std::vector<std::string>;
    struct Case {
        const char *text;
        Tokens_ tokens;
    } cases[] = {
        {"key \"a b\" 3", {"key", "a b", "3"}},
        // An empty quoted token counts and the scan goes on after it.
        {"a \"\" b", {"a", "", "b"}},
        // A quote without its end runs to the end of the text; delimiters inside are text.
        {"path \"C:\\x (1)/y", {"path", "C:\\x (1)/y"}},
        // A quote inside an unquoted token is an ordinary character.
        {"ab\"cd\"", {"ab\"cd\""}},
        {"offsets=1,2", {"offsets", "=", "1", ",", "2"}},
        {"(a)*[b]/c:d", {"(", "a", ")", "*", "[", "b", "]", "/", "c", ":", "d"}},
        {"\t x \t\ty  ", {"x", "y"}},
        {" \t ", {}},
        // Minus and period are ordinary characters.
        {"-1.5 .25-", {"-1.5", ".25-"}},
        // A + directly after the E of a number stays in it; elsewhere it is a delimiter.
        {"1.5E+3,2", {"1.5E+3", ",", "2"}},
        {"-1e+3", {"-1e", "+", "3"}},
        {"5+3", {"5", "+", "3"}},
        {"1e5+3", {"1e5", "+", "3"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Tokens(c.text), c.tokens);
    }
}

TEST(Tokenize, LongTokensAreCutAndTheRestFollows)
{
    TestStart();
    std::string word(300, 'w');
    std::vector<std::string> tokens = Tokens(word + " x");
    ASSERT_EQ(tokens.size(), 3u);
    EXPECT_EQ(tokens[0], word.substr(0, 255));
    EXPECT_EQ(tokens[1], word.substr(255));
    EXPECT_EQ(tokens[2], "x");
    // A quoted one is cut the same way; the rest scans as ordinary text, in which the
    // closing quote is just a character.
    tokens = Tokens("\"" + word + "\" x");
    ASSERT_EQ(tokens.size(), 3u);
    EXPECT_EQ(tokens[0], word.substr(0, 255));
    EXPECT_EQ(tokens[1], word.substr(255) + "\"");
    EXPECT_EQ(tokens[2], "x");
}

TEST(Tokenize, StopsAtSixtyFourTokens)
{
    TestStart();
    std::string text;
    for (int i = 0; i < 100; i++)
        text += std::to_string(i) + " ";
    std::vector<std::string> tokens = Tokens(text);
    ASSERT_EQ(tokens.size(), 64u);
    EXPECT_EQ(tokens[63], "63");
    // Delimiter tokens count too.
    EXPECT_EQ(Tokens(std::string(80, ',')).size(), 64u);
}

TEST(ParseInteger, SignDigitsAndNothingElse)
{
    TestStart();
    struct Case {
        const char *text;
        int32_t value;
        int failed;
    };
    const Case cases[] = {
        {"42", 42, 0},
        {"-42", -42, 0},
        {"+7", 7, 0},
        {"007", 7, 0},
        {"", 0, 1},
        {"-", 0, 1},
        {"12abc", 12, 1}, // the parser leaves what it scanned
        {" 5", 0, 1},     // blanks are the tokeniser's business
        {"1.5", 1, 1},
        {"2147483647", INT32_MAX, 0},
        {"-2147483648", INT32_MIN, 0},
        {"2147483648", INT32_MIN, 0}, // no range check: 32 bits wrap
        {"4294967297", 1, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        int32_t value = 99;
        EXPECT_EQ(ParseInteger(c.text, &value), c.failed);
        EXPECT_EQ(value, c.value);
    }
}

TEST(ParseReal, CommasPercentAndExponents)
{
    TestStart();
    struct Case {
        const char *text;
        double value;
        int failed;
    };
    const Case cases[] = {
        {"1,000.5", 1000.5, 0},
        {"1,2,3", 123.0, 0},
        {",5", 5.0, 0},
        {"50%", 0.5, 0},
        {"12.5%", 0.125, 0},
        {"1e+3", 1000.0, 0},
        {"1.5e+3", 1500.0, 0},
        {"2.5E2", 250.0, 0},
        {"1e-2", 0.01, 0},
        {"5%e1", 0.5, 0}, // both scale the same value
        {"-0.25", -0.25, 0},
        {"+3", 3.0, 0},
        {".", 0.0, 0}, // a period alone is a number
        {"5.", 5.0, 0},
        {"0e999", 0.0, 0},
        {"1e-999", 0.0, 0},
        {"1.2.3", 0.0, 1},
        {"5%%", 0.0, 1},
        {"1e", 0.0, 1},
        {"1e+", 0.0, 1},
        {"1e1234", 1e123, 1}, // three exponent digits at most; the fourth
                              // remains
        {"1e2%", 100.0, 1},   // the exponent ends the number
        {"", 0.0, 1},
        {"%", 0.0, 1},
        {"abc", 0.0, 1},
        {"3x", 3.0, 1},
        {"1e999", 0.0, 1}, // no double holds it
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        double value = 99.0;
        EXPECT_EQ(ParseReal(c.text, &value), c.failed);
        EXPECT_DOUBLE_EQ(value, c.value);
    }
    // Exact powers of ten give the nearest double, as a compiler reads the same text.
    double value;
    ASSERT_EQ(ParseReal("0.1", &value), 0);
    EXPECT_EQ(value, 0.1);
    ASSERT_EQ(ParseReal("200.0000", &value), 0);
    EXPECT_EQ(value, 200.0);
}

TEST(FormatString, EveryRealASettingsFileWritesReadsBackWithinHalfALastDecimal)
{
    TestStart();
    // %f has four decimals, %4f too, %2f two: reading back lands within half a unit of the
    // last decimal, on values of every range the files use.
    struct Format {
        const char *format;
        double halfUnit;
    };
    const Format formats[] = {{"%f", 0.00005}, {"%4f", 0.00005}, {"%2f", 0.005}};
    const double values[] = {0.0,        1.0,         -1.0,       0.5,       0.12345,  0.99995,
                             64.0 / 255, 200.0,       8.5,        11.0,      -0.00004, 1e-9,
                             123456.789, -98765.4321, 2.54000501, 99999999.0};
    for (const Format &format : formats) {
        for (double value : values) {
            SCOPED_TRACE(std::string(format.format) + " " + std::to_string(value));
            char text[64];
            FormatString(text, (int)sizeof text, format.format, value);
            double parsed;
            ASSERT_EQ(ParseReal(text, &parsed), 0) << text;
            EXPECT_LE(std::fabs(parsed - value), format.halfUnit * (1 + 1e-9)) << text;
        }
    }
    // Below one unit of the last decimal the formatter writes zero, so there the error is
    // up to a whole unit: 0.00009 reads back as 0.
    char small[64];
    FormatString(small, (int)sizeof small, "%f", 0.00009);
    double parsedSmall;
    ASSERT_EQ(ParseReal(small, &parsedSmall), 0);
    EXPECT_EQ(parsedSmall, 0.0);
    // The colors of the preferences are stored as fractions and used as levels: every
    // level survives the four decimals.
    for (int level = 0; level <= 255; level++) {
        char text[64];
        FormatString(text, (int)sizeof text, "%f", level / 255.0);
        double parsed;
        ASSERT_EQ(ParseReal(text, &parsed), 0);
        EXPECT_EQ((int)std::lround(parsed * 255.0), level) << text;
    }
}

TEST(WriteTextLine, EndsEachLineOnce)
{
    TestStart();
    std::string folder = TestOutputFolder("WriteTextLine");
    std::string path = folder + "/a.txt";
    FileHandle file = FILE_HANDLE_NONE;
    ASSERT_EQ(FileCreate(path.c_str(), &file), ERROR_NONE);
    EXPECT_EQ(WriteTextLine(file, "Curve 1.0"), ERROR_NONE);
    EXPECT_EQ(WriteTextLine(file, "npts 2\r\n"), ERROR_NONE);
    EXPECT_EQ(WriteTextLine(file, "a\n"), ERROR_NONE); // a bare line feed is not the ending
    EXPECT_EQ(WriteTextLine(file, ""), ERROR_NONE);
    ASSERT_EQ(FileClose(&file), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "Curve 1.0\r\nnpts 2\r\na\n\r\n\r\n");
}

TEST(WriteTextLine, FailedWriteIsCodeSix)
{
    TestStart();
    FileHandle file = fopen("/dev/full", "wb");
    ASSERT_NE(file, FILE_HANDLE_NONE);
    setvbuf(file, nullptr, _IONBF, 0); // unbuffered, so the write itself fails
    EXPECT_EQ(WriteTextLine(file, "end"), ERROR_WRITE_FILE);
    EXPECT_EQ(SettingsWriteLine(file, "npts %d", 3), ERROR_WRITE_FILE);
    fclose(file);
}

TEST(JoinPath, OneSeparatorBetween)
{
    TestStart();
    char path[PATH_LENGTH];
    JoinPath(path, "/home/me", "default.crv");
    EXPECT_STREQ(path, "/home/me/default.crv");
    JoinPath(path, "/home/me/", "a");
    EXPECT_STREQ(path, "/home/me/a");
    JoinPath(path, "C:\\settings\\", "a");
    EXPECT_STREQ(path, "C:\\settings\\a");
    // No folder: the name alone, never the root.
    JoinPath(path, "", "a");
    EXPECT_STREQ(path, "a");
    // The output may be the folder itself, and a path too long is cut to fit.
    strcpy(path, "/x");
    JoinPath(path, path, "y");
    EXPECT_STREQ(path, "/x/y");
    std::string longFolder(PATH_LENGTH + 10, 'f');
    JoinPath(path, longFolder.c_str(), "name");
    EXPECT_EQ(strlen(path), (size_t)PATH_LENGTH - 1);
}

TEST(AddDefaultExtension, OnlyWhenTheLastPartHasNoPeriod)
{
    TestStart();
    struct Case {
        const char *path;
        const char *expected;
    };
    const Case cases[] = {
        {"name", "name.crv"},
        {"name.txt", "name.txt"},
        {"c:\\a.b\\name", "c:\\a.b\\name.crv"}, // the period lies before the last backslash
        {"/home/a.b/name", "/home/a.b/name.crv"},
        {"a:name", "a:name.crv"},
        {"dir/.crv", "dir/.crv"},
        {"", ".crv"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path);
        char path[PATH_LENGTH];
        strcpy(path, c.path);
        AddDefaultExtension(path, ".crv");
        EXPECT_STREQ(path, c.expected);
    }
}

TEST(SettingsSavePathCheck, AddsTheExtensionOrRefusesAnother)
{
    TestStart();
    char path[PATH_LENGTH];
    strcpy(path, "/tmp/mine");
    EXPECT_EQ(SettingsSavePathCheck(path, SETTINGS_KIND_COLOR_CURVES), 0);
    EXPECT_STREQ(path, "/tmp/mine.cc");
    strcpy(path, "/tmp/mine.CC");
    EXPECT_EQ(SettingsSavePathCheck(path, SETTINGS_KIND_COLOR_CURVES), 0);
    strcpy(path, "/tmp/mine.crv");
    EXPECT_EQ(SettingsSavePathCheck(path, SETTINGS_KIND_COLOR_CURVES), 1);
    EXPECT_STREQ(path, "/tmp/mine.crv");
}

TEST(SettingsFile, WrittenFileReadsBackAndLooksAsExpected)
{
    TestStart();
    std::string folder = TestOutputFolder("SettingsFileRoundTrip");
    std::string path = folder + "/a.toy";
    ToySettings written = {-3, 2.2, "my curve"};
    ASSERT_EQ(SettingsFileSave(path.c_str(), ToyWrite, &written), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
              "Toy 1.0\r\namount -3\r\ngamma 2.2000\r\nname \"my curve\"\r\nend\r\n");
    ToySettings read = TOY_DEFAULTS;
    EXPECT_EQ(SettingsFileLoad(path.c_str(), ToyRead, &read), ERROR_NONE);
    EXPECT_EQ(read.amount, -3);
    EXPECT_EQ(read.gamma, 2.2);
    EXPECT_STREQ(read.name, "my curve");
    EXPECT_EQ(SettingsFileLoad((folder + "/none.toy").c_str(), ToyRead, &read), ERROR_OPEN_FILE);
    // A folder in the way of the file: the create fails and nothing is left behind.
    EXPECT_EQ(SettingsFileSave((folder + "/no/such/a.toy").c_str(), ToyWrite, &written),
              ERROR_CREATE_FILE);
}

TEST(SettingsFile, BlankLinesAndCaseOfKeysDoNotMatter)
{
    TestStart();
    std::string folder = TestOutputFolder("SettingsFileBlank");
    WriteText(folder + "/a.toy", "toy 1.0\n\nAMOUNT 5\r\n   \r\n\tGamma 0.5\n\nEnd\n");
    ToySettings read = TOY_DEFAULTS;
    EXPECT_EQ(SettingsFileLoad((folder + "/a.toy").c_str(), ToyRead, &read), ERROR_NONE);
    EXPECT_EQ(read.amount, 5);
    EXPECT_EQ(read.gamma, 0.5);
    // Nothing after "end" is read.
    WriteText(folder + "/b.toy", "Toy 1.0\namount 6\nend\namount 7\nrubbish\n");
    EXPECT_EQ(SettingsFileLoad((folder + "/b.toy").c_str(), ToyRead, &read), ERROR_NONE);
    EXPECT_EQ(read.amount, 6);
}

// The hostile settings files, each with the values that stay from before its fault.
TEST(SettingsFile, HostileFilesAreRefusedKeepingWhatCameBefore)
{
    TestStart();
    struct Case {
        const char *name;
        int32_t amount; // after the read, from defaults of 10
    };
    const Case cases[] = {
        {"settings-no-end.txt", 4},        // read to its end, then refused
        {"settings-wrong-header.txt", 10}, // "Toy 2.0"
        {"settings-three-header-tokens.txt", 10},
        {"settings-unknown-key.txt", 5}, // refused at the unknown key
        {"settings-long-line.txt", 8},   // the rest of a 300-character line is no key
        {"settings-binary.bin", 10},
        {"settings-empty.txt", 10},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ToySettings read = TOY_DEFAULTS;
        EXPECT_EQ(SettingsFileLoad(TestDataPath(std::string("hostile/") + c.name).c_str(), ToyRead,
                                   &read),
                  ERROR_ILLEGAL_LAYOUT_FILE);
        EXPECT_EQ(read.amount, c.amount);
    }
}

TEST(SettingsQuotedText, KeepsAWholeLongPath)
{
    TestStart();
    char text[PATH_LENGTH];
    std::string path = "/" + std::string(400, 'p') + "/a b.tif";
    SettingsQuotedText(("  \"" + path + "\" rest").c_str(), text, PATH_LENGTH);
    EXPECT_EQ(std::string(text), path);
    SettingsQuotedText("\"unclosed", text, PATH_LENGTH);
    EXPECT_STREQ(text, "unclosed");
    SettingsQuotedText("word other", text, PATH_LENGTH);
    EXPECT_STREQ(text, "word");
    SettingsQuotedText("", text, PATH_LENGTH);
    EXPECT_STREQ(text, "");
    SettingsQuotedText("\"abcdef\"", text, 4); // cut to the capacity
    EXPECT_STREQ(text, "abc");
}
