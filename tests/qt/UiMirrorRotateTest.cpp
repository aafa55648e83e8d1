// Mirror/Rotate in the editor on Qt's offscreen screen: the sample opened, the dialog opened
// from the menu, a clockwise turn by the mouse, an Apply, and screenshots of the dialog and
// of the workspace with the turned result.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/MirrorRotate.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"

using UiMirrorRotate = UiEditorTest;

TEST_F(UiMirrorRotate, TurnsTheSampleClockwiseAndAppliesIt)
{
    ASSERT_NO_FATAL_FAILURE(Open(COMMAND_MIRROR_ROTATE));
    EXPECT_EQ(CurrentOperation, KIND_MIRROR_ROTATE);

    QWidget *clockwise = QtPlatformWidget(PlatformControl(dialog, IDROT90));
    ASSERT_NE(clockwise, nullptr);
    UiClickOnScreen(clockwise, QPoint(clockwise->width() / 2, clockwise->height() / 2));
    UiSettle(100);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "rotate-dialog");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_APPLY, 0);
    UiSettle(200);
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, input);
    const Image &picture = WindowRecord(input)->picture.image;
    const Image &turned = WindowRecord(result)->picture.image;
    ASSERT_EQ(picture.type, TYPE_COLOR24);
    ASSERT_EQ(turned.type, TYPE_COLOR24);
    ASSERT_EQ(turned.width, picture.height);
    ASSERT_EQ(turned.height, picture.width);
    // The top left pixel of the sample stands at the top right of the result.
    EXPECT_EQ(memcmp(turned.rows[turned.height - 1] + (turned.width - 1) * 3,
                     picture.rows[picture.height - 1], 3),
              0);
    UiSaveScreenshot(main->grab().toImage(), "rotate-applied");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_CANCEL, 0);
    UiSettle(50);
    EXPECT_EQ(DialogWindow, nullptr);
}
