// The formatter's dialect, number by number.
#include <cmath>
#include <gtest/gtest.h>

#include "core/FormatString.h"
#include "tests/support/TestSupport.h"

static std::string Format(const char *format, ...)
{
    char out[256];
    va_list arguments;
    va_start(arguments, format);
    FormatStringV(out, sizeof out, format, arguments);
    va_end(arguments);
    return out;
}

TEST(FormatString, IntegersWithWidthPadOrOverflowToAsterisks)
{
    EXPECT_EQ(Format("%2d", 7), "07");
    EXPECT_EQ(Format("%2d", 123), "**");
    EXPECT_EQ(Format("%d", -42), "-42");
    EXPECT_EQ(Format("%d", 0), "0");
    EXPECT_EQ(Format("%3d", -5), "-05");
    EXPECT_EQ(Format("%d", -2147483647 - 1), "-2147483648");
}

TEST(FormatString, ThousandsSeparators)
{
    EXPECT_EQ(Format("%,", 1234567), "1,234,567");
    EXPECT_EQ(Format("%,", 999), "999");
    EXPECT_EQ(Format("%,", -1234), "-1,234");
    EXPECT_EQ(Format("%, bytes", 24000000), "24,000,000 bytes");
    EXPECT_EQ(Format("%6,", 1234), "01,234");
    EXPECT_EQ(Format("%4,", 12345), "****");
}

TEST(FormatString, RealsFollowTheirOwnRule)
{
    EXPECT_EQ(Format("%f", 0.0), "0.0000");
    EXPECT_EQ(Format("%2f", 0.0), "0.00");
    EXPECT_EQ(Format("%2f", 0.5), "0.50");
    EXPECT_EQ(Format("%0f", 5.0), "05");
    EXPECT_EQ(Format("%2f", 762.0015), "762.00");
    EXPECT_EQ(Format("%2f", -1.125), "-1.13"); // exact in binary: half away from zero
    EXPECT_EQ(Format("%2f", -0.001), "0.00");  // below one unit of the last decimal: no minus
    EXPECT_EQ(Format("%2f", 2e8), "*");        // above 10^n * 1000000
    EXPECT_EQ(Format("%f", 3.14159265), "3.1416");
    EXPECT_EQ(Format("%1f", 0.04), "0.0");
    EXPECT_EQ(Format("%2f", (double)NAN), "*"); // no digits to print, as for a huge value
    EXPECT_EQ(Format("%2f", (double)INFINITY), "*");
}

TEST(FormatString, TrimRemovesTrailingZerosThenThePoint)
{
    EXPECT_EQ(Format("%z4f", 2.5), "2.5");
    EXPECT_EQ(Format("%z2f", 3.0), "3");
    EXPECT_EQ(Format("%zf", 0.0), "0");
    EXPECT_EQ(Format("%z0f", 50.0), "50"); // no point, nothing to trim
}

TEST(FormatString, StringsCharactersPercentAndEscapes)
{
    EXPECT_EQ(Format("%s: \"%s\"", "Make", "Corvane"), "Make: \"Corvane\"");
    EXPECT_EQ(Format("%c%c", 'o', 'k'), "ok");
    EXPECT_EQ(Format("100%%"), "100%");
    EXPECT_EQ(Format("a\\nb\\tc\\\\d\\qe"), "a\nb\tc\\dqe");
    EXPECT_EQ(Format("[%y]"), "[]"); // an unknown conversion is dropped
    EXPECT_EQ(Format("Time left: %2d:%2d:%2d", 0, 0, 31), "Time left: 00:00:31");
    EXPECT_EQ(Format("Time left: %2d:%2d:%2d", 100, 0, 1), "Time left: **:00:01");
}

TEST(FormatString, CutsToTheBufferAndTerminates)
{
    char out[6];
    int length = FormatString(out, sizeof out, "%s", "photograph");
    EXPECT_EQ(length, 5);
    EXPECT_STREQ(out, "photo");
}
