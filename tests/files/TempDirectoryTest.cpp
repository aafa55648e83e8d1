// Tests of the folder for temporary files: the preference as given, trailing separators,
// creation of missing folders, the folder of our own when the preference is empty, and the
// code when no folder can be had.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "core/File.h"
#include "core/Preferences.h"
#include "core/Text.h"
#include "files/TempDirectory.h"
#include "tests/files/FormatToolSupport.h"

class TempDirectory : public FolderTest {
  protected:
    std::string savedTmp;
    bool hadTmp = false;

    void SetUp() override
    {
        FolderTest::SetUp();
        const char *tmp = getenv("TMPDIR");
        hadTmp = tmp != nullptr;
        if (hadTmp) savedTmp = tmp;
    }

    void TearDown() override
    {
        if (hadTmp)
            setenv("TMPDIR", savedTmp.c_str(), 1);
        else
            unsetenv("TMPDIR");
        PreferencesDefault(&Prefs);
    }
};

static bool IsFolder(const std::string &path, mode_t *mode = nullptr)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return false;
    if (mode != nullptr) *mode = status.st_mode & 07777;
    return true;
}

TEST_F(TempDirectory, ThePreferenceIsUsedWithoutTrailingSeparatorsAndCreated)
{
    char found[PATH_LENGTH];
    std::string wanted = folder + "/scratch/deeper";
    for (const char *tail : {"", "/", "///", "\\", "/\\/"}) {
        SCOPED_TRACE(tail);
        std::string preference = wanted + tail;
        StrCopyLimit(preference.c_str(), Prefs.tempDirectory, PATH_LENGTH - 1);
        ASSERT_EQ(EnsureTempDirectory(found), ERROR_NONE);
        EXPECT_EQ(std::string(found), wanted);
        EXPECT_TRUE(IsFolder(wanted));
    }
    // A root folder keeps its one separator.
    StrCopyLimit("///", Prefs.tempDirectory, PATH_LENGTH - 1);
    EnsureTempDirectory(found);
    EXPECT_STREQ(found, "/");
}

TEST_F(TempDirectory, AnEmptyPreferenceGivesAFolderOfOurOwnInTheSystemsTemporaryFolder)
{
    char found[PATH_LENGTH];
    Prefs.tempDirectory[0] = 0;
    setenv("TMPDIR", folder.c_str(), 1);
    ASSERT_EQ(EnsureTempDirectory(found), ERROR_NONE);
    std::string expected = folder + "/vistel-" + std::to_string(getuid());
    EXPECT_EQ(std::string(found), expected);
    mode_t mode = 0;
    ASSERT_TRUE(IsFolder(expected, &mode));
    EXPECT_EQ(mode, 0700u); // private: other users' files stay out of it
    // A second call finds it.
    ASSERT_EQ(EnsureTempDirectory(found), ERROR_NONE);
    EXPECT_EQ(std::string(found), expected);
    // Without TMPDIR, /tmp.
    unsetenv("TMPDIR");
    ASSERT_EQ(EnsureTempDirectory(found), ERROR_NONE);
    EXPECT_EQ(std::string(found), "/tmp/vistel-" + std::to_string(getuid()));
}

TEST_F(TempDirectory, AFolderThatCannotBeMadeGivesItsCode)
{
    char found[PATH_LENGTH];
    TestWriteFile(folder + "/file", {'x'});
    // A file where the folder should be, and a folder below a file.
    for (const std::string &path : {folder + "/file", folder + "/file/sub"}) {
        SCOPED_TRACE(path);
        StrCopyLimit(path.c_str(), Prefs.tempDirectory, PATH_LENGTH - 1);
        EXPECT_EQ(EnsureTempDirectory(found), ERROR_TEMP_DIRECTORY);
    }
    EXPECT_STREQ(ErrorText(ERROR_TEMP_DIRECTORY),
                 "Cannot find or create the temporary file directory");
    // A system temporary folder that is a file.
    Prefs.tempDirectory[0] = 0;
    setenv("TMPDIR", (folder + "/file").c_str(), 1);
    EXPECT_EQ(EnsureTempDirectory(found), ERROR_TEMP_DIRECTORY);
}
