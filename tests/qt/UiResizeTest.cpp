// Resize in the editor on Qt's offscreen screen: the sample opened, the dialog opened from
// the menu, a width typed and committed by Tab, OK, and screenshots of the dialog and of the
// workspace with the result.
#include <QLineEdit>
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/Resize.h"
#include "ui/ImageWindow.h"
#include "ui/Transform.h"

using UiResize = UiEditorTest;

TEST_F(UiResize, TypedWidthCommitsAtTabAndOkMakesTheResizedPicture)
{
    ASSERT_NO_FATAL_FAILURE(Open(COMMAND_RESIZE));
    const Image &picture = WindowRecord(input)->picture.image;

    // Half the width, typed as a sum; Tab commits it and the height follows.
    QLineEdit *edit =
        qobject_cast<QLineEdit *>(QtPlatformWidget(PlatformControl(dialog, RESIZE_PIXEL_WIDTH)));
    ASSERT_NE(edit, nullptr);
    edit->setFocus();
    edit->selectAll();
    int half = picture.width / 2;
    QTest::keyClicks(edit, QString::number(half - 10) + "+10");
    UiKeyOnScreen(Qt::Key_Tab);
    UiSettle(100);
    char text[64];
    PlatformGetControlText(dialog, RESIZE_PIXEL_HEIGHT, text, sizeof text);
    EXPECT_EQ(atoi(text), half * picture.height / picture.width);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "resize-dialog");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_OK, 0);
    UiSettle(200);
    EXPECT_EQ(DialogWindow, nullptr);
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, input);
    EXPECT_EQ(WindowRecord(result)->picture.image.width, half);
    EXPECT_EQ(WindowRecord(result)->picture.image.height, half * picture.height / picture.width);
    UiSaveScreenshot(main->grab().toImage(), "resize-applied");
}
