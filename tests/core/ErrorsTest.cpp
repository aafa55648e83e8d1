// The message table, the texts made of it, and the notice hook.
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "core/Errors.h"
#include "tests/support/TestSupport.h"

TEST(ErrorText, OutsideTheTableIsUnrecognized)
{
    TestStart();
    for (int code : {126, -1, 1000, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(code);
        EXPECT_STREQ(ErrorText(code), "Unrecognized Error");
    }
}

TEST(ErrorText, AllMessagesPresentDistinctAndOneLineButTheLast)
{
    TestStart();
    std::set<std::string> seen;
    for (int code = 0; code < 126; code++) {
        SCOPED_TRACE(code);
        const char *text = ErrorText(code);
        ASSERT_NE(text, nullptr);
        EXPECT_GT(strlen(text), 1u);
        EXPECT_STRNE(text, "Unrecognized Error");
        EXPECT_EQ(strchr(text, '\r'), nullptr);
        EXPECT_EQ(strchr(text, '\n') != nullptr, code == 125);
        EXPECT_TRUE(seen.insert(text).second) << "repeated: " << text;
    }
    EXPECT_STREQ(ErrorText(125), "File Open already in progress\n"
                                 "Please retry after current file operation completes.");
}

TEST(FileDamage, TextNamesTheMissingRowsColumnsAndColors)
{
    TestStart();
    struct Case {
        FileDamage damage;
        const char *text;
    } cases[] = {
        {{120, 399, 0, 0}, "File is damaged: rows 120 to 399 are missing"},
        {{7, 7, 0, 0}, "File is damaged: row 7 is missing"},
        {{0, 99, 1, 0}, "File is damaged: columns 0 to 99 are missing"},
        {{-1, -1, 0, 1}, "File is damaged: its colors are missing"},
        {{5, 9, 0, 1}, "File is damaged: rows 5 to 9 and its colors are missing"},
        {{3, 3, 0, 1}, "File is damaged: row 3 and its colors are missing"},
    };
    for (const Case &c : cases) {
        char text[200];
        FileDamageText(&c.damage, text, sizeof text);
        EXPECT_STREQ(text, c.text);
        EXPECT_EQ(FileDamaged(&c.damage), 1);
    }
    // Rows added make one span that holds them all.
    FileDamage damage;
    FileDamageClear(&damage);
    EXPECT_EQ(FileDamaged(&damage), 0);
    FileDamageRows(&damage, 5, 6);
    FileDamageRows(&damage, 2, 3);
    FileDamageRows(&damage, 4, 1); // no rows
    EXPECT_EQ(damage.first, 2);
    EXPECT_EQ(damage.last, 6);
}

// What a message box holds of a text, as ErrorFileText is given it.
constexpr int BOX_TEXT_MAX = 340;

TEST(ErrorFileText, ALongPathLosesItsBeginningAndTheMessageStaysWhole)
{
    char text[BOX_TEXT_MAX + 1];
    ErrorFileText(ERROR_READ_ONLY_FILE, "/a/b.tif", text, sizeof text);
    EXPECT_STREQ(text, "/a/b.tif\nCan't create or delete read-only file");
    // 37 characters of message, a line break and 302 of path fill the 340 exactly.
    std::string path = "/" + std::string(400, 'd') + "/picture.tif";
    ErrorFileText(ERROR_READ_ONLY_FILE, path.c_str(), text, sizeof text);
    std::string expected =
        "..." + path.substr(path.size() - 299) + "\nCan't create or delete read-only file";
    EXPECT_EQ(std::string(text), expected);
    EXPECT_EQ(strlen(text), (size_t)BOX_TEXT_MAX);
    // Without room for a path the message stands alone.
    char small[12];
    ErrorFileText(ERROR_NO_MEMORY, "/a/b.tif", small, sizeof small);
    EXPECT_STREQ(small, "Out of memo");
}

// Notices go through the hook the program installed, formatted, and nowhere without one.
static std::string NoticeSeen;

static void NoticeRecord(const char *title, const char *text)
{
    NoticeSeen = std::string(title) + ": " + text;
}

TEST(Notice, GoesToTheInstalledHookOnly)
{
    TestStart();
    NoticeInstall(nullptr);
    NoticeSeen = "none";
    Notice("Error", "%s %d", "row", 7);
    EXPECT_EQ(NoticeSeen, "none");
    NoticeInstall(NoticeRecord);
    Notice("Error", "%s %d", "row", 7);
    EXPECT_EQ(NoticeSeen, "Error: row 7");
    TestStart(); // the editor's hook again, for the tests that follow
}
