// Color Correct in the editor on Qt's offscreen screen: the dialog opened from the menu on the
// sample, red's arrow dragged on the wheel by the mouse, the modified wheel shown, a preview
// and an Apply, with screenshots of the dialog and of the workspace.
#include <QMainWindow>
#include <QTest>
#include <gtest/gtest.h>

#include <cstring>

#include "platform/qt/QtPlatform.h"
#include "shell/Shell.h"
#include "tests/qt/UiSupport.h"
#include "transforms/ColorCorrect.h"
#include "ui/ImageWindow.h"
#include "ui/Transform.h"

using UiColorCorrect = UiEditorTest;

TEST_F(UiColorCorrect, DraggedArrowPreviewAndApplyOnTheSample)
{
    ASSERT_NO_FATAL_FAILURE(Open(COMMAND_COLOR_CORRECT));
    EXPECT_EQ(CurrentOperation, KIND_COLOR_CORRECT);

    // Red's target end stands at (132, 4) of the wheel; dragged down to (132, 68) it becomes
    // a pale red, and red's brightness slider shows.
    QWidget *wheel = QtPlatformWidget(PlatformControl(dialog, COLOR_CORRECT_WHEEL));
    ASSERT_NE(wheel, nullptr);
    QTest::mousePress(wheel, Qt::LeftButton, Qt::NoModifier, QPoint(132, 4));
    for (int y = 12; y <= 68; y += 8)
        QTest::mouseMove(wheel, QPoint(132, y));
    QTest::mouseRelease(wheel, Qt::LeftButton, Qt::NoModifier, QPoint(132, 68));
    UiSettle(100);
    const ColorCorrectSettings *settings =
        (const ColorCorrectSettings *)PlatformGetWindowWord(dialog, WORD_POINTER);
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->selectedPoint, 1);
    const uint8_t pale[3] = {255, 127, 127};
    EXPECT_EQ(memcmp(settings->targetColor[1], pale, 3), 0);
    UiSaveScreenshot(QtPlatformFrameWidget(dialog)->grab().toImage(), "color-correct-dialog");

    QWidget *modified = QtPlatformWidget(PlatformControl(dialog, COLOR_CORRECT_SHOW_MODIFIED));
    ASSERT_NE(modified, nullptr);
    UiClickOnScreen(modified, QPoint(8, modified->height() / 2));
    UiSettle(100);
    EXPECT_EQ(settings->showModifiedWheel, 1);
    UiSaveScreenshot(wheel->grab().toImage(), "color-correct-modified-wheel");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_PREVIEW, 0);
    UiSettle(100);
    ASSERT_NE(OutputWindow, nullptr);
    UiSaveScreenshot(main->grab().toImage(), "color-correct-preview");

    PlatformSendMessage(dialog, MSG_COMMAND, BUTTON_APPLY, 0);
    UiSettle(150);
    WindowHandle result = LastOutput;
    ASSERT_NE(result, nullptr);
    ASSERT_NE(result, input);
    const Image &picture = WindowRecord(input)->picture.image;
    const Image &applied = WindowRecord(result)->picture.image;
    ASSERT_EQ(applied.width, picture.width);
    ASSERT_EQ(applied.type, picture.type);
    // Reds of the sample grew paler: some pixel differs.
    int differs = 0;
    for (int y = 0; y < picture.height && !differs; y++)
        differs = memcmp(picture.rows[y], applied.rows[y], (size_t)picture.rowBytes) != 0;
    EXPECT_TRUE(differs);
    UiSaveScreenshot(main->grab().toImage(), "color-correct-applied");
}
