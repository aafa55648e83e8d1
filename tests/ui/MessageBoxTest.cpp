// The message boxes that show the codes' texts and notices, through the headless message log.
#include "ui/MessageBox.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "platform/headless/Headless.h"
#include "tests/support/TestSupport.h"

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

TEST(ShowMessage, AnErrorTextIsFormattedInto256Bytes)
{
    TestStart();
    std::string long1000(1000, 'x');
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
        {"OK", 1, 200},                                       // 14 + 16 is below the minimum
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

TEST(MessageDialogLayout, ButtonsAreAsWideAsTheWidestLabelWithoutAmpersand)
{
    TestStart();
    struct Case {
        int kind;
        int buttonWidth;
    } cases[] = {
        {MESSAGE_OK, 16 + 7 * 2},            // "OK"
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

TEST(MessageBox, NoticesAreBoxesWithOk)
{
    TestStart();
    Notice("Error", "%s", "LZW encoding error detected");
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text, "LZW encoding error detected");
    EXPECT_EQ(HeadlessLastMessage()->kind, MESSAGE_OK);
}
