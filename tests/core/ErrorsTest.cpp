// The message table and the dialogs that show it, through the headless message log.
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "core/Errors.h"
#include "platform/headless/Headless.h"
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

TEST(ErrorText, NamedCodesSitAtTheirMessages)
{
    TestStart();
    // The constants the core itself returns, against the words the user reads.
    struct Case {
        ErrorCode code;
        const char *text;
    } cases[] = {
        {ERROR_NONE, "OK"},
        {ERROR_NO_MEMORY, "Out of memory"},
        {ERROR_END_OF_FILE, "Unexpected end of file"},
        {ERROR_READ_ONLY_FILE, "Can't create or delete read-only file"},
        {ERROR_ABORTED, "Operation Aborted"},
        {ERROR_TOO_MANY_IMAGES, "Too many images"},
        {ERROR_ILLEGAL_TYPE, "Illegal input image type"},
        {ERROR_READ_TIFF, "Problem reading TIFF file"},
        {ERROR_INTERNAL_1, "Internal Error 1"},
        {ERROR_IMAGE_TOO_WIDE, "Image too wide"},
        {ERROR_READ_COMMENTS, "Error reading file comments"},
        {ERROR_SIZES_DIFFER, "Image sizes must all be the same"},
        {ERROR_FILE_DAMAGED, "File is damaged"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.code);
        EXPECT_STREQ(ErrorText(c.code), c.text);
    }
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

TEST(ShowError, NothingForZeroAttentionForAbortErrorOtherwise)
{
    TestStart();
    ShowError(ERROR_NONE);
    EXPECT_EQ(HeadlessMessageCount(), 0);

    ShowError(ERROR_ABORTED);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Attention");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Operation Aborted");
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_OK);

    struct Case {
        ErrorCode code;
        const char *text;
    } cases[] = {{ERROR_NO_MEMORY, "Out of memory"},
                 {ERROR_IMAGE_TOO_WIDE, "Image too wide"},
                 {-3, "Unrecognized Error"},
                 {126, "Unrecognized Error"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.code);
        ShowError(c.code);
        EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
        EXPECT_STREQ(HeadlessLastMessage()->text, c.text);
        EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_OK);
    }
    EXPECT_EQ(HeadlessMessageCount(), 5);
}

TEST(ShowError, ANotedFileIsTheFirstLineOfTheNextMessageOfItsCodeOnly)
{
    TestStart();
    ErrorFileNote(ERROR_CREATE_FILE, "/x/y.tif");
    ShowError(ERROR_CREATE_FILE);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text, "/x/y.tif\nCannot create file");
    EXPECT_EQ(HeadlessLastMessage()->layout.lineCount, 2);
    // The note is used once, and never for another code.
    ShowError(ERROR_CREATE_FILE);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Cannot create file");
    ErrorFileNote(ERROR_WRITE_PNG, "/x/y.png");
    ShowError(ERROR_NO_MEMORY);
    ShowError(ERROR_WRITE_PNG);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Problem writing PNG file");
}

TEST(ErrorFileText, ALongPathLosesItsBeginningAndTheMessageStaysWhole)
{
    char text[MESSAGE_TEXT_MAX + 1];
    ErrorFileText(ERROR_READ_ONLY_FILE, "/a/b.tif", text, sizeof text);
    EXPECT_STREQ(text, "/a/b.tif\nCan't create or delete read-only file");
    // 37 characters of message, a line break and 302 of path fill the 340 exactly.
    std::string path = "/" + std::string(400, 'd') + "/picture.tif";
    ErrorFileText(ERROR_READ_ONLY_FILE, path.c_str(), text, sizeof text);
    std::string expected =
        "..." + path.substr(path.size() - 299) + "\nCan't create or delete read-only file";
    EXPECT_EQ(std::string(text), expected);
    EXPECT_EQ(strlen(text), (size_t)MESSAGE_TEXT_MAX);
    // Without room for a path the message stands alone.
    char small[12];
    ErrorFileText(ERROR_NO_MEMORY, "/a/b.tif", small, sizeof small);
    EXPECT_STREQ(small, "Out of memo");
}

TEST(ShowMessage, FormatsWithTheOwnFormatter)
{
    TestStart();
    ShowMessage("Window Info", "%, bytes in %2f s", 24000000, 1.5);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Window Info");
    EXPECT_STREQ(HeadlessLastMessage()->text, "24,000,000 bytes in 1.50 s");
    ShowErrorText("Window in use by %s - Cannot close", "Brightness Curve");
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text, "Window in use by Brightness Curve - Cannot close");
}

TEST(ShowMessage, BuffersOf2000And256AndTheDialogCutAt340)
{
    TestStart();
    std::string long1000(1000, 'x');
    ShowMessage("Title", "%s", long1000.c_str());
    EXPECT_EQ(strlen(HeadlessLastMessage()->text), 340u);
    // The error text is formatted into 256 bytes: 255 characters and the terminator.
    ShowErrorText("%s", long1000.c_str());
    EXPECT_EQ(strlen(HeadlessLastMessage()->text), 255u);
}

TEST(MessageDialog, CutsTextAt340AndTitleAt80)
{
    TestStart();
    std::string text(400, 'a');
    std::string title(100, 'T');
    text[339] = 'z';
    text[340] = 'y';
    MessageDialog(nullptr, title.c_str(), MESSAGE_OK, text.c_str());
    const HeadlessMessage *message = HeadlessLastMessage();
    EXPECT_EQ(strlen(message->text), 340u);
    EXPECT_EQ(message->text[339], 'z');
    EXPECT_EQ(strlen(message->title), 80u);
    // Exactly at the limits nothing is cut.
    MessageDialog(nullptr, title.substr(0, 80).c_str(), MESSAGE_OK, text.substr(0, 340).c_str());
    EXPECT_EQ(HeadlessLastMessage()->text, text.substr(0, 340));
    EXPECT_EQ(HeadlessLastMessage()->title, title.substr(0, 80));
}

TEST(MessageDialog, SetsTheArrowCursor)
{
    TestStart();
    PlatformSetCursor(CURSOR_WAIT);
    MessageDialog(nullptr, "Warning", MESSAGE_OK, "Save?");
    EXPECT_EQ(HeadlessCursor(), CURSOR_ARROW);
}

TEST(MessageDialog, ButtonsAndAnswersOfEachKind)
{
    TestStart();
    struct Case {
        int kind;
        int count;
        const char *labels[3];
        int results[3];
    } cases[] = {
        {MESSAGE_OK, 1, {"OK"}, {1}},
        {MESSAGE_OK_CANCEL, 2, {"OK", "&Cancel"}, {1, 2}},
        {MESSAGE_YES_NO_CANCEL, 3, {"&Yes", "&No", "&Cancel"}, {6, 7, 2}},
        {MESSAGE_YES_NO, 2, {"&Yes", "&No"}, {6, 7}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.kind);
        const char *labels[3];
        int results[3];
        ASSERT_EQ(MessageDialogButtons(c.kind, labels, results), c.count);
        for (int i = 0; i < c.count; i++) {
            EXPECT_STREQ(labels[i], c.labels[i]);
            EXPECT_EQ(results[i], c.results[i]);
            // Each button's answer comes back from the dialog.
            HeadlessQueueAnswer(c.results[i]);
            EXPECT_EQ(MessageDialog(nullptr, "Question", c.kind, "Go on?"), c.results[i]);
        }
        // Without a scripted answer the first button is pressed.
        EXPECT_EQ(MessageDialog(nullptr, "Question", c.kind, "Go on?"), c.results[0]);
        EXPECT_EQ(HeadlessLastMessage()->kind, c.kind);
        EXPECT_EQ(HeadlessLastMessage()->layout.buttonCount, c.count);
    }
}

// The headless dialog font: 7 pixels a character, lines of 16, margins of 8.
TEST(MessageDialogLayout, WidthOfTheWidestLineAtLeast200)
{
    TestStart();
    struct Case {
        const char *text;
        int lines;
        int textWidth;
    } cases[] = {
        {"OK", 1, 200},            // 14 + 16 is below the minimum
        {"Out of memory", 1, 200}, // 91 + 16
        {"", 1, 200},
        {"0123456789012345678901234567890123456789", 1, 296}, // 280 + 16
        {"short\nmuch longer second line of the message", 2, 16 + 7 * 38},
        {"ab\r\ncd", 2, 200},                // one newline: two lines
        {"first line\rsecond part", 1, 200}, // a return ends a line but is no newline
        {"a\n\n\nb", 4, 200},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        MessageLayout layout;
        MessageDialogLayout(c.text, MESSAGE_OK, &layout);
        EXPECT_EQ(layout.lineCount, c.lines);
        EXPECT_EQ(layout.textHeight, 16 * c.lines);
        EXPECT_EQ(layout.textWidth, c.textWidth);
    }
    // A return splits the measure: the wider part sets the width.
    MessageLayout layout;
    std::string parts = std::string(20, 'a') + "\r" + std::string(35, 'b');
    MessageDialogLayout(parts.c_str(), MESSAGE_OK, &layout);
    EXPECT_EQ(layout.textWidth, 16 + 7 * 35);
}

TEST(MessageDialogLayout, Code125GivesATwoLineDialog)
{
    TestStart();
    ShowError(ERROR_OPEN_IN_PROGRESS);
    const MessageLayout &layout = HeadlessLastMessage()->layout;
    EXPECT_EQ(layout.lineCount, 2);
    EXPECT_EQ(layout.textHeight, 32);
    // The second line is the wider: 52 characters.
    EXPECT_EQ(layout.textWidth, 16 + 7 * 52);
    EXPECT_GE(layout.dialogWidth, layout.textWidth);
    EXPECT_GE(layout.dialogHeight, layout.textHeight + 24);

    // One short line: the minimum width and one line.
    ShowError(ERROR_NO_MEMORY);
    EXPECT_EQ(HeadlessLastMessage()->layout.textWidth, 200);
    EXPECT_EQ(HeadlessLastMessage()->layout.lineCount, 1);
}

TEST(MessageDialogLayout, ButtonsAreAsWideAsTheWidestLabelWithoutAmpersand)
{
    TestStart();
    struct Case {
        int kind;
        int buttonWidth;
    } cases[] = {
        {MESSAGE_OK, 16 + 7 * 2},            // "OK"
        {MESSAGE_OK_CANCEL, 16 + 7 * 6},     // "Cancel"
        {MESSAGE_YES_NO_CANCEL, 16 + 7 * 6}, // "Cancel"
        {MESSAGE_YES_NO, 16 + 7 * 3},        // "Yes"
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.kind);
        MessageLayout layout;
        MessageDialogLayout("Save Modified Image: Untitled 3?", c.kind, &layout);
        EXPECT_EQ(layout.buttonWidth, c.buttonWidth);
        EXPECT_GE(layout.dialogWidth, layout.buttonCount * layout.buttonWidth);
    }
}
