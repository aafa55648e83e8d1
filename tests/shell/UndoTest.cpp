// Undo of retouching at each of the three levels of the preference, with groups, every
// picture type, and windows that go away.
#include <cstring>

#include "core/Preferences.h"
#include "shell/Undo.h"
#include "tests/shell/ShellTestSupport.h"
#include "transforms/GammaAdjust.h"

using UndoList = ShellTest;

// Paints a rectangle (inclusive, rows as row indices) of an 8-bit picture with value, saving
// it for undo first, as a retouching tool does.
static void Retouch(WindowHandle window, Rect rect, int value)
{
    ASSERT_EQ(UndoPush(window, &rect), ERROR_NONE);
    Image *image = &WindowRecord(window)->picture.image;
    for (int y = rect.top; y <= rect.bottom; y++)
        for (int x = rect.left; x <= rect.right; x++)
            image->rows[y][x] = (uint8_t)value;
}

static int Pixel(WindowHandle window, int x, int y)
{
    return WindowRecord(window)->picture.image.rows[y][x];
}

TEST_F(UndoList, MultipleLevelsUndoOneGroupAtATime)
{
    Prefs.undo = UNDO_MULTIPLE;
    WindowHandle window = MakePicture(TYPE_GRAY8, 8, 6, 3);
    Image original = {};
    ASSERT_EQ(ImageDuplicate(&WindowRecord(window)->picture.image, &original), ERROR_NONE);

    // Two strokes in the first group, one in the second.
    ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
    Retouch(window, {0, 0, 2, 1}, 10);
    Retouch(window, {1, 1, 4, 3}, 20);
    Image afterFirst = {};
    ASSERT_EQ(ImageDuplicate(&WindowRecord(window)->picture.image, &afterFirst), ERROR_NONE);
    ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
    Retouch(window, {3, 2, 7, 5}, 30);

    Undo();
    ExpectImagesNear(afterFirst, WindowRecord(window)->picture.image, 0);
    EXPECT_TRUE(UndoAvailable());
    Undo();
    ExpectImagesNear(original, WindowRecord(window)->picture.image, 0);
    EXPECT_FALSE(UndoAvailable());
    ImageFree(&original);
    ImageFree(&afterFirst);
}

TEST_F(UndoList, ASingleLevelKeepsOnlyTheLastGroup)
{
    Prefs.undo = UNDO_SINGLE;
    WindowHandle window = MakePicture(TYPE_GRAY8, 8, 6, 3);
    int before = Pixel(window, 5, 4);
    ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
    Retouch(window, {0, 0, 1, 1}, 10);
    ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
    Retouch(window, {5, 4, 6, 5}, 30);
    Retouch(window, {5, 4, 5, 4}, 40); // the same group: both go back together

    Undo();
    EXPECT_EQ(Pixel(window, 5, 4), before);
    EXPECT_EQ(Pixel(window, 0, 0), 10); // the older group was let go
    EXPECT_FALSE(UndoAvailable());
}

TEST_F(UndoList, NoLevelsSaveNothing)
{
    Prefs.undo = UNDO_NONE;
    WindowHandle window = MakePicture(TYPE_GRAY8, 8, 6, 3);
    ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
    Retouch(window, {0, 0, 1, 1}, 10);
    EXPECT_FALSE(UndoAvailable());
    Undo();
    EXPECT_EQ(Pixel(window, 0, 0), 10);
}

TEST_F(UndoList, AGroupMarkOnAnEmptyListAddsNothing)
{
    for (int level : {UNDO_SINGLE, UNDO_MULTIPLE}) {
        SCOPED_TRACE(level);
        Prefs.undo = level;
        UndoDiscard();
        ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
        EXPECT_FALSE(UndoAvailable());
    }
}

// The bytes of one pixel, or its bit for a binary picture, as one number.
static uint64_t PixelBytes(const Image *image, int x, int y)
{
    const uint8_t *row = image->rows[y];
    int size = 0;
    switch (image->type) {
    case TYPE_BINARY: return BitTest(row, x) ? 1 : 0;
    case TYPE_GRAY8: size = 1; break;
    case TYPE_GRAY16: size = 2; break;
    case TYPE_COLOR24: size = 3; break;
    default: size = 6; break;
    }
    uint64_t value = 0;
    for (int i = 0; i < size; i++)
        value = value << 8 | row[x * size + i];
    return value;
}

TEST_F(UndoList, EveryPictureTypeComesBackExactly)
{
    Prefs.undo = UNDO_MULTIPLE;
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        WindowHandle window = MakePicture(type, 21, 9, type);
        Image *image = &WindowRecord(window)->picture.image;
        Image original = {};
        ASSERT_EQ(ImageDuplicate(image, &original), ERROR_NONE);
        // A rectangle that starts inside a byte of a binary row, and reaches past the edge.
        Rect rect = {3, 2, 40, 6};
        ASSERT_EQ(UndoPush(window, &rect), ERROR_NONE);
        for (int y = 2; y <= 6; y++)
            memset(image->rows[y], 0x5a, (size_t)image->rowBytes);
        Undo();
        // Outside the rectangle's columns the rows were changed and stay changed; inside
        // they are restored.
        for (int y = 0; y < image->height; y++) {
            for (int x = 0; x < image->width; x++) {
                if (y >= 2 && y <= 6 && x < 3) continue;
                ASSERT_EQ(PixelBytes(image, x, y), PixelBytes(&original, x, y)) << x << "," << y;
            }
        }
        ImageFree(&original);
        PlatformDestroyWindow(window);
    }
}

TEST_F(UndoList, AClosedWindowTakesItsEntriesAlong)
{
    Prefs.undo = UNDO_MULTIPLE;
    WindowHandle kept = MakePicture(TYPE_GRAY8, 8, 6, 3);
    WindowHandle closed = MakePicture(TYPE_GRAY8, 8, 6, 4);
    int before = Pixel(kept, 1, 1);
    ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
    Retouch(kept, {1, 1, 2, 2}, 10);
    ASSERT_EQ(UndoPush(nullptr, nullptr), ERROR_NONE);
    Retouch(closed, {0, 0, 3, 3}, 20);
    PlatformDestroyWindow(closed);

    // The group of the closed window is gone whole: one undo reaches the kept window.
    Undo();
    EXPECT_EQ(Pixel(kept, 1, 1), before);
    EXPECT_FALSE(UndoAvailable());
}

TEST_F(UndoList, UndoTellsTheUsersOfThePictureOnce)
{
    Prefs.undo = UNDO_MULTIPLE;
    WindowHandle window = MakePicture(TYPE_GRAY8, 8, 6, 3);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, window, "Gamma Adjust", 1), ERROR_NONE);
    ASSERT_EQ(MarkInUse(dialog, window, "Gamma Adjust", 0), ERROR_NONE); // a second mark
    Retouch(window, {0, 0, 1, 1}, 10);
    Retouch(window, {2, 2, 3, 3}, 10);
    Recorded().clear();
    UndoAll();
    EXPECT_EQ(RecordedCount(dialog, MSG_REFRESH), 1);
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 2); // once for each restored part
}

TEST_F(UndoList, TheMenuOffersUndoOnlyWithSomethingToUndo)
{
    Prefs.undo = UNDO_MULTIPLE;
    WindowHandle window = MakePicture(TYPE_GRAY8, 8, 6, 3);
    int enabled = 1;
    PlatformSendMessage(FrameWindow, MSG_INIT_MENU, 0, 0);
    ASSERT_TRUE(HeadlessMenuState(2001, &enabled, nullptr, nullptr));
    EXPECT_FALSE(enabled);
    int before = Pixel(window, 0, 0);
    Retouch(window, {0, 0, 1, 1}, before ^ 0xff);
    HeadlessChooseMenu(2001);
    EXPECT_EQ(Pixel(window, 0, 0), before);
}
