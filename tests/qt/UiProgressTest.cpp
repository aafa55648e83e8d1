// The progress window on Qt during a real long operation: its Cancel button, clicked as a
// person would once the work is well under way, stops a Negative with ERROR_ABORTED, while
// clicks and keys meant for other windows go nowhere.
#include <QDir>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <cstring>

#include "core/Progress.h"
#include "files/FileType.h"
#include "tests/qt/UiSupport.h"
#include "transforms/Negative.h"
#include "transforms/Transforms.h"
#include "ui/ImageWindow.h"
#include "ui/ProgressWindow.h"

static const int ROWS_BEFORE_CANCEL = 100;

struct CancelWatch {
    WindowHandle other; // a window that must hear nothing meanwhile
    int clickedAt;      // the row shown when Cancel was clicked, -1 before
    int last;           // the last row of the work
    int sawProgress;    // the progress window was up and painted
    std::string shotName;
};

static CancelWatch Watch;

// Looks at every turn of the pump; once the work is well under way, tries the other window
// and then clicks Cancel, as a person would.
static void CancelWhenUnderWay(QTimer *timer)
{
    const ProgressState *state = ProgressCurrent();
    if (state == nullptr || state->current < ROWS_BEFORE_CANCEL || Watch.clickedAt >= 0) return;
    QWidget *progress = QtPlatformWidget(ProgressWindow);
    QPushButton *cancel = progress != nullptr ? progress->findChild<QPushButton *>() : nullptr;
    if (cancel == nullptr) return;
    Watch.sawProgress = QtPlatformFrameWidget(ProgressWindow)->isVisible();
    if (!Watch.shotName.empty())
        UiSaveScreenshot(QtPlatformMainWindow()->grab().toImage(), Watch.shotName);
    UiClickOnScreen(QtPlatformWidget(Watch.other), QPoint(5, 5));
    UiKeyOnScreen(Qt::Key_X);
    UiKeyOnScreen(Qt::Key_Escape);
    Watch.clickedAt = state->current;
    Watch.last = state->last;
    UiClickOnScreen(cancel, cancel->rect().center());
    timer->stop();
}

static void WatchStart(QTimer *timer, WindowHandle other, const char *shotName)
{
    Watch = {other, -1, 0, 0, shotName != nullptr ? shotName : ""};
    QObject::connect(timer, &QTimer::timeout, [timer]() { CancelWhenUnderWay(timer); });
    timer->start(0);
}

class UiProgress : public UiTest {
  protected:
    WindowHandle other = nullptr;
    void SetUp() override
    {
        UiTest::SetUp();
        other = UiChild("other", 208, 228);
        PlatformActivateWindow(other);
        UiSettle();
        UiLog.clear();
    }
    // After the work the gate is open again: the other window hears a click.
    void ExpectGateOpen()
    {
        EXPECT_EQ(ProgressWindow, nullptr);
        UiSettle();
        UiClickOnScreen(QtPlatformWidget(other), QPoint(5, 5));
        EXPECT_EQ(UiLogCount("other:" + std::to_string(MSG_LBUTTON_DOWN) + "(5,5;1)"), 1);
    }
};

TEST_F(UiProgress, CancelStopsANegativeUnderWayAndNothingElseGetsInput)
{
    int sourceSlot, resultSlot;
    ImageWindow *source, *negative;
    ASSERT_EQ(SlotAllocate(&sourceSlot, &source), ERROR_NONE);
    ASSERT_EQ(SlotAllocate(&resultSlot, &negative), ERROR_NONE);
    // Large enough that the work lasts several of the pump's 16 ms turns.
    ASSERT_EQ(ImageAlloc(&source->picture.image, TYPE_COLOR48, 4000, 3000, 300), ERROR_NONE);
    for (int y = 0; y < source->picture.image.height; y++)
        memset(source->picture.image.rows[y], y & 255, (size_t)source->picture.image.rowBytes);

    QTimer timer;
    WatchStart(&timer, other, "progress-negative");
    EXPECT_EQ(TransformApply(&NegativeTransform, nullptr, &source->picture, &negative->picture),
              ERROR_ABORTED);
    EXPECT_TRUE(Watch.sawProgress);
    // Clicked during the work, not after it: the abort came before the last row.
    EXPECT_GE(Watch.clickedAt, ROWS_BEFORE_CANCEL);
    EXPECT_LT(Watch.clickedAt, Watch.last);
    EXPECT_EQ(UiLogOf("other"), std::vector<std::string>());
    ExpectGateOpen();
    SlotFree(sourceSlot);
    SlotFree(resultSlot);
}

TEST_F(UiProgress, WorkWithoutCancelHasNoButtonAndRunsToTheEnd)
{
    ProgressOpen(0, 9, "Area", 0);
    ASSERT_NE(ProgressWindow, nullptr);
    EXPECT_EQ(QtPlatformWidget(ProgressWindow)->findChild<QPushButton *>(), nullptr);
    for (int row = 0; row < 10; row++)
        EXPECT_EQ(ProgressStep(row), ERROR_NONE);
    UiSaveScreenshot(QtPlatformWidget(ProgressWindow)->grab().toImage(), "progress-done");
    ProgressClose();
    ExpectGateOpen();
}
