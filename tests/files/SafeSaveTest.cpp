// What every writer owes the file it replaces, tested once for all of them through FileSave:
// a symbolic link stays and its target is replaced, the permissions and owner stay, a file
// its user made read-only is refused, a full disk leaves the old file, and no temporary file
// is ever left behind. Also the removal of what a killed save left.
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "core/File.h"
#include "files/FileType.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"

namespace {

struct Writer {
    int saveNumber;
    const char *extension;
    ErrorCode fullDisk; // what the writer answers when the disk fills in the middle
    const char *title;  // of its progress window
};

// Every format with a writer. An 8-bit gray picture is one that all of them take.
const Writer WRITERS[] = {
    {FILE_SAVE_TIFF, "tif", ERROR_WRITE_FILE, "TIFF Write"},
    {FILE_SAVE_JPEG, "jpg", ERROR_WRITE_JPEG, "JPEG Write"},
    {FILE_SAVE_BMP, "bmp", ERROR_WRITE_BMP, "BMP Write"},
    {FILE_SAVE_TARGA, "tga", ERROR_WRITE_TARGA, "Targa Write"},
    {FILE_SAVE_PCX, "pcx", ERROR_WRITE_PCX, "PCX Write"},
    {FILE_SAVE_GIF, "gif", ERROR_WRITE_GIF, "GIF Write"},
    {FILE_SAVE_EPS, "eps", ERROR_WRITE_EPS, "EPS Write"},
    {FILE_SAVE_PNG, "png", ERROR_WRITE_PNG, "PNG Write"},
    {FILE_SAVE_FITS, "fit", ERROR_WRITE_FITS, "FITS Write"},
    {FILE_SAVE_RLE, "rle", ERROR_WRITE_RLE, "RLE Write"},
};

const std::vector<uint8_t> OLD = {'o', 'l', 'd'};

class SafeSave : public FolderTest {
  protected:
    TestWindow window{nullptr};

    void SetUp() override
    {
        FolderTest::SetUp();
        window = EmptyWindow();
        ASSERT_EQ(ImageAlloc(&window->image, TYPE_GRAY8, 300, 200, 72.0), ERROR_NONE);
        TestFillPattern(&window->image, 7);
    }

    ErrorCode Save(const Writer &writer, const std::string &name)
    {
        return FileSave(Path(name).c_str(), writer.saveNumber, window, 90);
    }
};

std::string Name(const char *stem, const Writer &writer)
{
    return std::string(stem) + "." + writer.extension;
}

TEST_F(SafeSave, ALinkStaysAndItsTargetIsReplacedWithItsPermissionsAndOwner)
{
    // Root may give the old file to someone else, and the new file must stay theirs.
    const int root = geteuid() == 0;
    const uid_t owner = root ? 4321 : geteuid();
    const gid_t group = root ? 4321 : getegid();
    for (const Writer &writer : WRITERS) {
        SCOPED_TRACE(writer.extension);
        std::string real = Name("real", writer);
        std::string link = Name("link", writer);
        TestWriteFile(Path(real), OLD);
        ASSERT_EQ(chmod(Path(real).c_str(), 0640), 0);
        ASSERT_EQ(chown(Path(real).c_str(), owner, group), 0);
        ASSERT_EQ(symlink(real.c_str(), Path(link).c_str()), 0);
        ASSERT_EQ(Save(writer, link), ERROR_NONE);

        struct stat status;
        ASSERT_EQ(lstat(Path(link).c_str(), &status), 0);
        EXPECT_TRUE(S_ISLNK(status.st_mode));
        ASSERT_EQ(stat(Path(real).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0640u);
        EXPECT_EQ(status.st_uid, owner);
        EXPECT_EQ(status.st_gid, group);
        if (writer.saveNumber != FILE_SAVE_EPS) { // EPS is only ever written
            TestWindow read = EmptyWindow();
            EXPECT_EQ(FileLoad(Path(real).c_str(), FILE_OPEN_ALL, read, 0), ERROR_NONE);
            EXPECT_EQ(read->image.width, 300);
        } else {
            EXPECT_NE(TestReadFile(Path(real)), OLD);
        }
        // A link to a name that does not exist yet makes that name, with the usual mode.
        std::string made = Name("made", writer);
        std::string dangling = Name("dangling", writer);
        ASSERT_EQ(symlink(made.c_str(), Path(dangling).c_str()), 0);
        ASSERT_EQ(Save(writer, dangling), ERROR_NONE);
        ASSERT_EQ(stat(Path(made).c_str(), &status), 0);
        mode_t mask = umask(0);
        umask(mask);
        EXPECT_EQ(status.st_mode & 07777, 0666u & ~mask);
    }
    EXPECT_EQ(TestFolderFiles(folder).size(), 4 * std::size(WRITERS));

    // Links that lead round in a circle lead nowhere.
    ASSERT_EQ(symlink("b.tif", Path("a.tif").c_str()), 0);
    ASSERT_EQ(symlink("a.tif", Path("b.tif").c_str()), 0);
    EXPECT_EQ(Save(WRITERS[0], "a.tif"), ERROR_CREATE_FILE);
}

TEST_F(SafeSave, AFileItsUserMadeReadOnlyIsRefusedWith37EvenForRoot)
{
    for (const Writer &writer : WRITERS) {
        SCOPED_TRACE(writer.extension);
        std::string locked = Name("locked", writer);
        std::string link = Name("link", writer);
        TestWriteFile(Path(locked), OLD);
        ASSERT_EQ(chmod(Path(locked).c_str(), 0444), 0);
        ASSERT_EQ(symlink(locked.c_str(), Path(link).c_str()), 0);
        EXPECT_EQ(Save(writer, locked), ERROR_READ_ONLY_FILE);
        EXPECT_EQ(Save(writer, link), ERROR_READ_ONLY_FILE);
        EXPECT_EQ(TestReadFile(Path(locked)), OLD);
    }
    EXPECT_EQ(TestFolderFiles(folder).size(), 2 * std::size(WRITERS));
}

TEST_F(SafeSave, AFullDiskLeavesTheOldFileAndNoTemporaryFile)
{
    // A limit on the size of files stands for a full disk: past it every write fails (with
    // SIGXFSZ ignored, which would otherwise end the test).
    struct rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    void (*handler)(int) = signal(SIGXFSZ, SIG_IGN);
    std::vector<ErrorCode> codes;
    for (const Writer &writer : WRITERS) {
        TestWriteFile(Path(Name("p", writer)), OLD);
        struct rlimit limit = saved;
        limit.rlim_cur = 4000; // past every format's header: the pixels fail
        setrlimit(RLIMIT_FSIZE, &limit);
        codes.push_back(Save(writer, Name("p", writer)));
        setrlimit(RLIMIT_FSIZE, &saved);
    }
    signal(SIGXFSZ, handler);
    for (size_t i = 0; i < std::size(WRITERS); i++) {
        SCOPED_TRACE(WRITERS[i].extension);
        EXPECT_EQ(codes[i], WRITERS[i].fullDisk);
        EXPECT_EQ(TestReadFile(Path(Name("p", WRITERS[i]))), OLD);
    }
    EXPECT_EQ(TestFolderFiles(folder).size(), std::size(WRITERS));
}

TEST_F(SafeSave, AnAbortedSaveKeepsTheOldFileAndAMissingFolderGivesItsCode)
{
    TestWindow large = PictureWindow(TYPE_GRAY8, 500, 300, 72.0, 3);
    for (const Writer &writer : WRITERS) {
        SCOPED_TRACE(writer.extension);
        TestStart();
        std::string path = Path(Name("p", writer));
        TestWriteFile(path, OLD);
        HeadlessAbortAtPump(10);
        EXPECT_EQ(FileSave(path.c_str(), writer.saveNumber, large, 90), ERROR_ABORTED);
        EXPECT_EQ(TestReadFile(path), OLD);
        ASSERT_EQ(HeadlessProgressCount(), 1);
        EXPECT_STREQ(HeadlessProgressAt(0)->title, writer.title);
        std::string missing = Path("missing/" + Name("p", writer));
        EXPECT_EQ(FileSave(missing.c_str(), writer.saveNumber, large, 90), ERROR_CREATE_FILE);
    }
    EXPECT_EQ(TestFolderFiles(folder).size(), std::size(WRITERS));
}

TEST_F(SafeSave, ARenameThatFailsLeavesNoTemporaryFile)
{
    std::string path = Path("taken");
    SafeFile safe;
    SafeFileReset(&safe);
    ASSERT_EQ(SafeFileCreate(path.c_str(), &safe), ERROR_NONE);
    ASSERT_EQ(FileWrite(safe.file, "new", 3), ERROR_NONE);
    // A folder takes the name while the file is written: no file can replace it.
    ASSERT_EQ(mkdir(path.c_str(), 0755), 0);
    EXPECT_EQ(SafeFileCommit(&safe), ERROR_CREATE_FILE);
    SafeFileAbandon(&safe);
    EXPECT_EQ(TestFolderFiles(folder), std::vector<std::string>{"taken"});
}

// Dates a file or a link itself secondsAgo.
void Date(const std::string &path, int secondsAgo)
{
    struct timespec times[2];
    clock_gettime(CLOCK_REALTIME, &times[0]);
    times[0].tv_sec -= secondsAgo;
    times[1] = times[0];
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

// Makes a file as a killed save would have left it, last written secondsAgo.
void LeftOver(const std::string &path, int secondsAgo)
{
    TestWriteFile(path, OLD);
    Date(path, secondsAgo);
}

TEST_F(SafeSave, ASaveRemovesWhatAKilledSaveOfTheSameNameLeftAndNothingElse)
{
    const int old = SAFE_FILE_STALE_SECONDS + 60;
    LeftOver(Path("p.tif.vistel-Ab12Cd"), old); // the one to remove
    LeftOver(Path("p.tif.vistel-Xy34Ef"), 30);  // a save may still be writing it
    LeftOver(Path("p.tif.vistel-Lk56Gh"), old); // a running save holds its lock
    LeftOver(Path("p.tif.vistel-Ab_2Cd"), old); // not a name we make
    LeftOver(Path("p.tif.vistel-Ab12C"), old);
    LeftOver(Path("p.tif.vistel-Ab12Cde"), old);
    LeftOver(Path("q.tif.vistel-Ab12Cd"), old); // another file's
    LeftOver(Path("p.tif.vistel-Ow78Ij"), old);
    ASSERT_EQ(symlink("q.tif.vistel-Ab12Cd", Path("p.tif.vistel-Sy90Mn").c_str()), 0);
    Date(Path("p.tif.vistel-Sy90Mn"), old); // a link is not a file of ours
    const int root = geteuid() == 0;
    if (root) {
        ASSERT_EQ(chown(Path("p.tif.vistel-Ow78Ij").c_str(), 4321, 4321), 0);
    }
    int locked = open(Path("p.tif.vistel-Lk56Gh").c_str(), O_RDONLY);
    ASSERT_GE(locked, 0);
    ASSERT_EQ(flock(locked, LOCK_EX), 0);

    ASSERT_EQ(Save(WRITERS[0], "p.tif"), ERROR_NONE);
    close(locked);
    std::vector<std::string> expected = {
        "p.tif",
        "p.tif.vistel-Ab12C",
        "p.tif.vistel-Ab12Cde",
        "p.tif.vistel-Ab_2Cd",
        "p.tif.vistel-Lk56Gh",
        "p.tif.vistel-Sy90Mn",
        "p.tif.vistel-Xy34Ef",
        "q.tif.vistel-Ab12Cd",
    };
    // Only root can give a file to another user; our own old file goes like the first.
    if (root) expected.insert(expected.begin() + 5, "p.tif.vistel-Ow78Ij");
    EXPECT_EQ(TestFolderFiles(folder), expected);
}

} // namespace
