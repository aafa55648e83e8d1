// The in-use list: the first blocking user names the refusal, clearing matches on either
// side, and each user hears of a change once.
#include "tests/shell/ShellTestSupport.h"
#include "transforms/ChangeProfile.h"
#include "transforms/Convert.h"
#include "transforms/GammaAdjust.h"

using InUse = ShellTest;

TEST_F(InUse, TheFirstBlockingUserIsNamed)
{
    WindowHandle picture = HeadlessBareWindow(KIND_IMAGE, -1, "picture");
    WindowHandle other = HeadlessBareWindow(KIND_IMAGE, -1, "other");
    WindowHandle readout = HeadlessBareWindow(17, -1, "Readout");
    WindowHandle resize = HeadlessBareWindow(24, -1, "Resize");
    WindowHandle clone = HeadlessBareWindow(KIND_CLONE, -1, "Clone");
    ASSERT_EQ(MarkInUse(readout, picture, "Readout", 0), ERROR_NONE);
    ASSERT_EQ(MarkInUse(resize, picture, "Resize", 1), ERROR_NONE);
    ASSERT_EQ(MarkInUse(clone, picture, "Clone", 1), ERROR_NONE);
    ASSERT_EQ(MarkInUse(clone, other, "Clone", 1), ERROR_NONE);
    EXPECT_STREQ(InUseBy(picture), "Resize");

    ClearInUse(resize, picture);
    EXPECT_STREQ(InUseBy(picture), "Clone");
    // A null used window clears every use of that user.
    ClearInUse(clone, nullptr);
    EXPECT_EQ(InUseBy(picture), nullptr);
    EXPECT_EQ(InUseBy(other), nullptr);

    // A null user clears every use of that window.
    ASSERT_EQ(MarkInUse(resize, other, "Resize", 1), ERROR_NONE);
    ClearInUse(nullptr, other);
    EXPECT_EQ(InUseBy(other), nullptr);
}

TEST_F(InUse, LongNamesAreCutToEightyCharacters)
{
    WindowHandle picture = HeadlessBareWindow(KIND_IMAGE, -1, "picture");
    std::string name(120, 'n');
    ASSERT_EQ(MarkInUse(picture, picture, name.c_str(), 1), ERROR_NONE);
    EXPECT_EQ(std::string(InUseBy(picture)), name.substr(0, 80));
}

TEST_F(InUse, EachUserHearsOnceWhateverItsMarks)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 10, 10);
    WindowHandle first = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    WindowHandle second = MakeRecordingChild(KIND_CONVERT, "Convert");
    WindowHandle unrelated = MakeRecordingChild(KIND_CHANGE_PROFILE, "Change Color Profile");
    ASSERT_EQ(MarkInUse(first, picture, "Gamma Adjust", 1), ERROR_NONE);
    ASSERT_EQ(MarkInUse(first, picture, "Gamma Adjust", 0), ERROR_NONE);
    ASSERT_EQ(MarkInUse(second, picture, "Convert", 1), ERROR_NONE);
    ASSERT_EQ(MarkInUse(unrelated, first, "Change Color Profile", 1), ERROR_NONE);
    Recorded().clear();
    NotifyUsers(picture);
    RefreshUsers(picture);
    EXPECT_EQ(RecordedCount(first, MSG_INPUT_CHANGED), 1);
    EXPECT_EQ(RecordedCount(second, MSG_INPUT_CHANGED), 1);
    EXPECT_EQ(RecordedCount(first, MSG_REFRESH), 1);
    EXPECT_EQ(RecordedCount(second, MSG_REFRESH), 1);
    EXPECT_EQ(Recorded().size(), 4u);
}

TEST_F(InUse, AResizedPictureTellsItsUsers)
{
    WindowHandle picture = MakePicture(TYPE_GRAY8, 100, 100);
    WindowHandle dialog = MakeRecordingChild(KIND_GAMMA, "Gamma Adjust");
    ASSERT_EQ(MarkInUse(dialog, picture, "Gamma Adjust", 1), ERROR_NONE);
    Recorded().clear();
    PlatformMoveWindow(picture, 0, 0, 300, 250);
    EXPECT_EQ(RecordedCount(dialog, MSG_INPUT_CHANGED), 1);
}
