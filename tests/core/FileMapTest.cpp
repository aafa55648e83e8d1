// A mapped file shortened under us: a guarded touch of a page it no longer has is an error
// code, as often as it happens; an unguarded one still ends the program, as it would have
// without the guard's handler.
#include <gtest/gtest.h>

#include <unistd.h>
#include <vector>

#include "core/FileMap.h"
#include "tests/support/TestSupport.h"

struct FileMapTouch {
    const uint8_t *byte;
    int value;
};

static void FileMapTouchByte(void *context)
{
    FileMapTouch *touch = (FileMapTouch *)context;
    touch->value = *(const volatile uint8_t *)touch->byte;
}

TEST(FileMap, PagesOfAShortenedFileFailUnderTheGuardOnly)
{
    TestStart();
    const int64_t page = sysconf(_SC_PAGESIZE);
    std::string path = TestOutputFolder("FileMap") + "/three-pages";
    std::vector<uint8_t> bytes((size_t)(3 * page), 7);
    TestWriteFile(path, bytes);
    FileHandle file = FILE_HANDLE_NONE;
    ASSERT_EQ(FileOpenRead(path.c_str(), &file), ERROR_NONE);
    FileMap map;
    ASSERT_EQ(FileMapOpen(file, 3 * page, &map), ERROR_NONE);
    ASSERT_EQ(truncate(path.c_str(), page), 0);

    FileMapTouch kept = {map.bytes + page - 1, -1};
    EXPECT_EQ(FileMapGuard(&map, FileMapTouchByte, &kept), ERROR_NONE);
    EXPECT_EQ(kept.value, 7);
    for (int time = 0; time < 2; time++) {
        FileMapTouch lost = {map.bytes + 2 * page, -1};
        EXPECT_EQ(FileMapGuard(&map, FileMapTouchByte, &lost), ERROR_READ_FILE);
        EXPECT_EQ(lost.value, -1);
    }
    FileMapTouch unguarded = {map.bytes + 2 * page, -1};
    EXPECT_DEATH(FileMapTouchByte(&unguarded), "");

    FileMapClose(&map);
    EXPECT_EQ(map.bytes, nullptr);
    FileClose(&file);
}
