// The picture record: its comment list, and what goes with a picture from one picture to the
// next.
#include "core/Picture.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/FileComment.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "tests/support/TestSupport.h"

// A picture record on the heap, reset; PictureDelete frees it and all it holds.
static Picture *PictureNew(void)
{
    Picture *picture = (Picture *)MemoryAlloc(sizeof(Picture));
    EXPECT_NE(picture, nullptr);
    PictureReset(picture);
    return picture;
}

static void PictureDelete(Picture *picture)
{
    PictureFree(picture);
    MemoryFree(picture);
}

// The comments of a list as "name=value" texts, in order.
static std::vector<std::string> Describe(const FileComment *comments)
{
    std::vector<std::string> texts;
    for (const FileComment *comment = comments; comment != nullptr; comment = comment->next)
        texts.push_back(std::string(comment->name) + "=" +
                        std::string((const char *)comment->value, (size_t)comment->length));
    return texts;
}

TEST(FileComment, ListKeepsArrivalOrderAndOwnsItsCopies)
{
    TestStart();
    Picture *record = PictureNew();
    char name[] = "Artist";
    char value[] = "A. Photographer";
    ASSERT_EQ(AddFileComment(record, name, 0, 15, 3, value), ERROR_NONE);
    ASSERT_EQ(AddFileComment(record, "Date/Time", 2, 19, 3, "2024:05:01 10:20:30"),
              ERROR_NONE);
    const uint8_t binary[4] = {1, 0, 2, 0};
    ASSERT_EQ(AddFileComment(record, "Exposure", 40, 4, 8, binary), ERROR_NONE);
    ASSERT_EQ(AddFileComment(record, "Empty", 7, 0, 1, nullptr), ERROR_NONE);
    // Changing the caller's buffers changes nothing in the list.
    name[0] = 'X';
    value[0] = 'X';

    const FileComment *first = record->comments;
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->name, "Artist");
    EXPECT_EQ(first->id, 0);
    EXPECT_EQ(first->length, 15);
    EXPECT_EQ(first->flags, 3);
    EXPECT_EQ(memcmp(first->value, "A. Photographer", 16), 0); // with its zero byte
    const FileComment *exposure = FindFileComment(record->comments, 40);
    ASSERT_NE(exposure, nullptr);
    EXPECT_EQ(memcmp(exposure->value, binary, 4), 0);
    EXPECT_EQ(exposure->value[4], 0);
    const FileComment *empty = FindFileComment(record->comments, 7);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->length, 0);
    EXPECT_EQ(empty->value[0], 0);
    EXPECT_EQ(empty->next, nullptr);
    EXPECT_EQ(FindFileComment(record->comments, 99), nullptr);
    EXPECT_EQ(FindFileComment(nullptr, 0), nullptr);
    PictureDelete(record);
}
TEST(FileComment, RemoveTakesTheFirstRecordOfTheId)
{
    TestStart();
    Picture *record = PictureNew();
    ASSERT_EQ(AddFileComment(record, "a", 1, 1, 0, "1"), ERROR_NONE);
    ASSERT_EQ(AddFileComment(record, "b", 2, 1, 0, "2"), ERROR_NONE);
    ASSERT_EQ(AddFileComment(record, "c", 1, 1, 0, "3"), ERROR_NONE);
    ASSERT_EQ(AddFileComment(record, "d", 4, 1, 0, "4"), ERROR_NONE);

    RemoveFileComment(record, 1); // the head, and only the first of two
    EXPECT_EQ(Describe(record->comments), (std::vector<std::string>{"b=2", "c=3", "d=4"}));
    EXPECT_STREQ(FindFileComment(record->comments, 1)->name, "c");
    RemoveFileComment(record, 4); // the tail
    EXPECT_EQ(Describe(record->comments), (std::vector<std::string>{"b=2", "c=3"}));
    RemoveFileComment(record, 99); // none: nothing changes
    EXPECT_EQ(Describe(record->comments), (std::vector<std::string>{"b=2", "c=3"}));
    ASSERT_EQ(AddFileComment(record, "e", 5, 1, 0, "5"),
              ERROR_NONE); // appended after removal
    EXPECT_EQ(Describe(record->comments), (std::vector<std::string>{"b=2", "c=3", "e=5"}));
    RemoveFileComment(record, 1); // the middle
    RemoveFileComment(record, 2);
    RemoveFileComment(record, 5);
    EXPECT_EQ(record->comments, nullptr);
    RemoveFileComment(record, 5); // an empty list
    PictureDelete(record);
}
TEST(CopyImageExtras, DerivedFromIsTheFileNameOrItsOwnOrigin)
{
    TestStart();
    struct Case {
        const char *fileName;
        const char *derivedFrom;
        const char *expected;
    } cases[] = {
        {"/pictures/scan.tif", "/pictures/original.tif", "/pictures/scan.tif"},
        {"", "/pictures/original.tif", "/pictures/original.tif"},
        {"", "", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.expected);
        Picture *source = PictureNew();
        Picture *destination = PictureNew();
        StrCopyLimit(c.fileName, source->fileName, PATH_LENGTH - 1);
        StrCopyLimit(c.derivedFrom, source->derivedFrom, PATH_LENGTH - 1);
        StrCopyLimit("/stale/name.tif", destination->derivedFrom, PATH_LENGTH - 1);
        source->fileType = 3;
        ASSERT_EQ(AddFileComment(source, "Copyright", 1, 4, 3, "2024"), ERROR_NONE);
        ASSERT_EQ(AddFileComment(source, "Artist", 0, 3, 3, "Ann"), ERROR_NONE);

        ASSERT_EQ(CopyImageExtras(source, destination), ERROR_NONE);
        EXPECT_STREQ(destination->derivedFrom, c.expected);
        EXPECT_EQ(destination->fileType, 3);
        EXPECT_STREQ(destination->fileName, "");
        EXPECT_EQ(Describe(destination->comments),
                  (std::vector<std::string>{"Copyright=2024", "Artist=Ann"}));
        EXPECT_EQ(destination->profile, nullptr); // the profile has a copy of its own
        PictureDelete(source);
        PictureDelete(destination);
    }
}
TEST(CopyImageExtras, LongPathsAreCutToTheBuffer)
{
    TestStart();
    Picture *source = PictureNew();
    Picture *destination = PictureNew();
    std::string path = "/" + std::string(PATH_LENGTH + 100, 'p');
    StrCopyLimit(path.c_str(), source->fileName, PATH_LENGTH - 1);
    ASSERT_EQ(CopyImageExtras(source, destination), ERROR_NONE);
    EXPECT_EQ(strlen(destination->derivedFrom), (size_t)PATH_LENGTH - 1);
    EXPECT_EQ(std::string(destination->derivedFrom), path.substr(0, PATH_LENGTH - 1));
    PictureDelete(source);
    PictureDelete(destination);
}
