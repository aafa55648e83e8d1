// The recent files of the File menu: the order of the list, its length, and the texts of
// the items 1100 to 1109.
#include "tests/shell/FileFlowTestSupport.h"

class RecentFiles : public ShellFilesTest {
  protected:
    static std::string Label(int id)
    {
        const char *label = nullptr;
        if (!HeadlessMenuState(id, nullptr, nullptr, &label)) return "(none)";
        return label;
    }

    static std::vector<std::string> List(void)
    {
        std::vector<std::string> list;
        for (int i = 0; i < Saved.recentCount; i++)
            list.push_back(Saved.recentFiles[i]);
        return list;
    }
};

TEST_F(RecentFiles, ItemsNumberTheFilesNewestFirst)
{
    AddRecentFile("/p/a.tif");
    AddRecentFile("/p/b.tif");
    EXPECT_EQ(Label(1100), "&1: /p/b.tif");
    EXPECT_EQ(Label(1101), "&2: /p/a.tif");
    EXPECT_EQ(Label(1102), "(none)");

    // The tenth item takes its access key from the 0.
    Prefs.fileMenuLength = 10;
    for (int i = 0; i < 10; i++)
        AddRecentFile(("/p/" + std::to_string(i) + ".tif").c_str());
    EXPECT_EQ(Label(1100), "&1: /p/9.tif");
    EXPECT_EQ(Label(1108), "&9: /p/1.tif");
    EXPECT_EQ(Label(1109), "1&0: /p/0.tif");
}

TEST_F(RecentFiles, ALongPathShowsItsEnds)
{
    // 87 characters: the first 19 and the last 38 are shown, 60 with the dots.
    const char *longPath =
        "/home/photographer/Pictures/2024/Summer holiday in the mountains/raw scans/IMG_0042.tif";
    AddRecentFile(longPath);
    EXPECT_EQ(Label(1100), "&1: /home/photographer/...n the mountains/raw scans/IMG_0042.tif");
    // 60 characters are shown whole.
    std::string sixty = "/p/" + std::string(57, 'x');
    AddRecentFile(sixty.c_str());
    EXPECT_EQ(Label(1100), "&1: " + sixty);
    Prefs.fileMenuLength = 10;
    for (int i = 0; i < 8; i++)
        AddRecentFile(("/q/" + std::to_string(i)).c_str());
    AddRecentFile(longPath); // back to the front, which leaves the other at the tenth place
    EXPECT_EQ(Label(1109), "1&0: " + sixty);
    EXPECT_EQ(Label(1100), "&1: /home/photographer/...n the mountains/raw scans/IMG_0042.tif");
}

TEST_F(RecentFiles, AnAmpersandIsShownAsOne)
{
    AddRecentFile("/p/Tom & Jerry.tif");
    EXPECT_EQ(Label(1100), "&1: /p/Tom && Jerry.tif");
    EXPECT_EQ(std::string(Saved.recentFiles[0]), "/p/Tom & Jerry.tif");
}

TEST_F(RecentFiles, AKnownPathMovesToTheFrontAndAFullListDropsTheOldest)
{
    AddRecentFile("/p/a.tif");
    AddRecentFile("/p/b.tif");
    AddRecentFile("/p/c.tif");
    AddRecentFile("/P/A.TIF"); // the same file, letter case aside
    std::vector<std::string> expected = {"/P/A.TIF", "/p/c.tif", "/p/b.tif"};
    EXPECT_EQ(List(), expected);

    // The default length is 9: a tenth file pushes the oldest out.
    for (int i = 0; i < 6; i++)
        AddRecentFile(("/q/" + std::to_string(i)).c_str());
    ASSERT_EQ(Saved.recentCount, 9);
    EXPECT_EQ(List().back(), "/p/b.tif");
    AddRecentFile("/q/new");
    ASSERT_EQ(Saved.recentCount, 9);
    EXPECT_EQ(List().front(), "/q/new");
    EXPECT_EQ(List().back(), "/p/c.tif");
    EXPECT_EQ(Label(1108), "&9: /p/c.tif");
    EXPECT_EQ(Label(1109), "(none)");
    // Moving the oldest to the front keeps the count.
    AddRecentFile("/p/c.tif");
    EXPECT_EQ(Saved.recentCount, 9);
    EXPECT_EQ(List().front(), "/p/c.tif");
    EXPECT_EQ(List().back(), "/P/A.TIF");
}

TEST_F(RecentFiles, RemovingClosesTheGap)
{
    AddRecentFile("/p/a.tif");
    AddRecentFile("/p/b.tif");
    AddRecentFile("/p/c.tif");
    RemoveRecentFile("/P/B.tif");
    std::vector<std::string> expected = {"/p/c.tif", "/p/a.tif"};
    EXPECT_EQ(List(), expected);
    EXPECT_EQ(Label(1101), "&2: /p/a.tif");
    EXPECT_EQ(Label(1102), "(none)");
    RemoveRecentFile("/p/unknown.tif");
    EXPECT_EQ(Saved.recentCount, 2);
}

TEST_F(RecentFiles, TheListFollowsTheLengthPreference)
{
    Prefs.fileMenuLength = 0;
    AddRecentFile("/p/a.tif");
    EXPECT_EQ(Saved.recentCount, 0);
    EXPECT_EQ(Label(1100), "(none)");

    Prefs.fileMenuLength = 9;
    for (int i = 0; i < 5; i++)
        AddRecentFile(("/q/" + std::to_string(i)).c_str());
    Prefs.fileMenuLength = 2;
    RecentFilesMenuUpdate();
    std::vector<std::string> expected = {"/q/4", "/q/3"};
    EXPECT_EQ(List(), expected);
    EXPECT_EQ(Label(1101), "&2: /q/3");
    EXPECT_EQ(Label(1102), "(none)");
}

TEST_F(RecentFiles, EmptyAndOverlongPathsAreNotKept)
{
    AddRecentFile("/p/a.tif");
    AddRecentFile("");
    // A path cut to the record's length would name another file.
    std::string tooLong(PATH_LENGTH, 'x');
    AddRecentFile(tooLong.c_str());
    std::vector<std::string> expected = {"/p/a.tif"};
    EXPECT_EQ(List(), expected);
    std::string longest(PATH_LENGTH - 1, 'x');
    AddRecentFile(longest.c_str());
    ASSERT_EQ(Saved.recentCount, 2);
    EXPECT_EQ(std::string(Saved.recentFiles[0]), longest);
    // Already first: nothing moves.
    AddRecentFile(longest.c_str());
    EXPECT_EQ(List().back(), "/p/a.tif");
    EXPECT_EQ(Saved.recentCount, 2);
}

TEST_F(RecentFiles, ALengthOutsideNoneToTenIsHeldToIt)
{
    Prefs.fileMenuLength = 12;
    for (int i = 0; i < 14; i++)
        AddRecentFile(("/p/" + std::to_string(i) + ".tif").c_str());
    ASSERT_EQ(Saved.recentCount, RECENT_FILE_MAX);
    EXPECT_EQ(List().front(), "/p/13.tif");
    EXPECT_EQ(List().back(), "/p/4.tif");
    Prefs.fileMenuLength = -4;
    AddRecentFile("/p/none.tif");
    EXPECT_EQ(Saved.recentCount, 0);
    EXPECT_EQ(Label(1100), "(none)");
}
