// Tests of the recent files list: order, moving to the front, the limit of the preference
// and removal.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Preferences.h"
#include "files/RecentFiles.h"
#include "tests/support/TestSupport.h"

// The paths of a list, most recent first.
static std::vector<std::string> Paths(const RecentFiles &list)
{
    std::vector<std::string> paths;
    for (int i = 0; i < list.count; i++)
        paths.push_back(list.paths[i]);
    return paths;
}

static std::vector<std::string> Names(std::initializer_list<const char *> names)
{
    return std::vector<std::string>(names.begin(), names.end());
}

TEST(RecentFiles, TheMostRecentComesFirstAndTheOldestFallsOff)
{
    TestStart();
    static RecentFiles list;
    RecentFilesClear(&list);
    RecentFilesAdd(&list, "/p/a.tif", 3);
    EXPECT_EQ(Paths(list), Names({"/p/a.tif"}));
    RecentFilesAdd(&list, "/p/b.tif", 3);
    RecentFilesAdd(&list, "/p/c.tif", 3);
    EXPECT_EQ(Paths(list), Names({"/p/c.tif", "/p/b.tif", "/p/a.tif"}));
    RecentFilesAdd(&list, "/p/d.tif", 3);
    EXPECT_EQ(Paths(list), Names({"/p/d.tif", "/p/c.tif", "/p/b.tif"}));
    EXPECT_STREQ(list.paths[3], ""); // nothing stale behind the end
}

TEST(RecentFiles, AKnownPathMovesToTheFrontWithItsNewSpelling)
{
    TestStart();
    static RecentFiles list;
    RecentFilesClear(&list);
    for (const char *path : {"/p/a.tif", "/p/b.tif", "/p/c.tif", "/p/d.tif"})
        RecentFilesAdd(&list, path, 9);
    // From the middle, in other letter case: no entry is lost or doubled.
    RecentFilesAdd(&list, "/P/B.TIF", 9);
    EXPECT_EQ(Paths(list), Names({"/P/B.TIF", "/p/d.tif", "/p/c.tif", "/p/a.tif"}));
    // From the end of a full list: nothing falls off.
    RecentFilesAdd(&list, "/p/e.tif", 5);
    EXPECT_EQ(list.count, 5);
    RecentFilesAdd(&list, "/p/a.tif", 5);
    EXPECT_EQ(Paths(list), Names({"/p/a.tif", "/p/e.tif", "/P/B.TIF", "/p/d.tif", "/p/c.tif"}));
    // Already first: nothing changes.
    RecentFilesAdd(&list, "/p/a.tif", 5);
    EXPECT_EQ(Paths(list), Names({"/p/a.tif", "/p/e.tif", "/P/B.TIF", "/p/d.tif", "/p/c.tif"}));
}

TEST(RecentFiles, TheLimitRunsFromNoneToTen)
{
    TestStart();
    static RecentFiles list;
    RecentFilesClear(&list);
    for (int i = 0; i < 14; i++)
        RecentFilesAdd(&list, ("/p/" + std::to_string(i) + ".tif").c_str(), 12); // clipped to 10
    EXPECT_EQ(list.count, RECENT_FILES_MAX);
    EXPECT_STREQ(list.paths[0], "/p/13.tif");
    EXPECT_STREQ(list.paths[9], "/p/4.tif");
    // A lowered preference trims the list at the next addition.
    RecentFilesAdd(&list, "/p/new.tif", 3);
    EXPECT_EQ(Paths(list), Names({"/p/new.tif", "/p/13.tif", "/p/12.tif"}));
    EXPECT_STREQ(list.paths[3], "");
    RecentFilesAdd(&list, "/p/none.tif", 0);
    EXPECT_EQ(list.count, 0);
    RecentFilesAdd(&list, "/p/none.tif", -4);
    EXPECT_EQ(list.count, 0);
}

TEST(RecentFiles, EmptyAndOverlongPathsAreNotKept)
{
    TestStart();
    static RecentFiles list;
    RecentFilesClear(&list);
    RecentFilesAdd(&list, "/p/a.tif", 9);
    RecentFilesAdd(&list, "", 9);
    std::string longest(PATH_LENGTH - 1, 'x');
    std::string tooLong(PATH_LENGTH, 'x');
    RecentFilesAdd(&list, tooLong.c_str(), 9);
    EXPECT_EQ(Paths(list), Names({"/p/a.tif"}));
    RecentFilesAdd(&list, longest.c_str(), 9);
    EXPECT_EQ(list.count, 2);
    EXPECT_EQ(std::string(list.paths[0]), longest);
}

TEST(RecentFiles, RemovalClosesTheGap)
{
    TestStart();
    static RecentFiles list;
    RecentFilesClear(&list);
    for (const char *path : {"/p/a.tif", "/p/b.tif", "/p/c.tif", "/p/d.tif"})
        RecentFilesAdd(&list, path, 9);
    RecentFilesRemove(&list, "/p/C.tif");
    EXPECT_EQ(Paths(list), Names({"/p/d.tif", "/p/b.tif", "/p/a.tif"}));
    RecentFilesRemove(&list, "/p/d.tif");
    RecentFilesRemove(&list, "/p/a.tif");
    EXPECT_EQ(Paths(list), Names({"/p/b.tif"}));
    EXPECT_STREQ(list.paths[1], "");
    RecentFilesRemove(&list, "/p/x.tif"); // not there: nothing happens
    EXPECT_EQ(list.count, 1);
    RecentFilesRemove(&list, "/p/b.tif");
    EXPECT_EQ(list.count, 0);
    RecentFilesRemove(&list, "/p/b.tif");
    EXPECT_EQ(list.count, 0);
}

TEST(RecentFiles, TheProgramsListFollowsThePreference)
{
    TestStart();
    RecentFilesClear(&RecentFileList);
    EXPECT_EQ(Prefs.fileMenuLength, 9); // a first start shows nine
    for (int i = 0; i < 12; i++)
        AddRecentFile(("/p/" + std::to_string(i) + ".tif").c_str());
    EXPECT_EQ(RecentFileList.count, 9);
    EXPECT_STREQ(RecentFileList.paths[0], "/p/11.tif");
    RemoveRecentFile("/p/11.tif");
    EXPECT_STREQ(RecentFileList.paths[0], "/p/10.tif");
    EXPECT_EQ(RecentFileList.count, 8);
    Prefs.fileMenuLength = 2;
    AddRecentFile("/p/x.tif");
    EXPECT_EQ(Paths(RecentFileList), Names({"/p/x.tif", "/p/10.tif"}));
    PreferencesDefault(&Prefs);
    RecentFilesClear(&RecentFileList);
}
