// The table of 256 picture window records, and the comments and title that a copy of a
// window takes from its source.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/FileComment.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "platform/headless/Headless.h"
#include "tests/support/TestSupport.h"
#include "ui/ImageWindow.h"

static int Allocate(void)
{
    int slot = -1;
    ImageWindow *record = nullptr;
    ErrorCode result = SlotAllocate(&slot, &record);
    if (result != ERROR_NONE) return -result; // error codes come back negated
    EXPECT_EQ(record, SlotRecord(slot));
    EXPECT_EQ(record->slot, slot);
    EXPECT_EQ(record->free, 0);
    return slot;
}

TEST(SlotTable, TheStartIndexRotatesByOneEachAllocation)
{
    TestStart();
    EXPECT_EQ(Allocate(), 0);
    EXPECT_EQ(Allocate(), 1);
    SlotFree(0);
    SlotFree(1);
    // The most recent slots are not taken again at once.
    EXPECT_EQ(Allocate(), 2);
    EXPECT_EQ(Allocate(), 3);

    // Fill the table: 4 to 255, then 0 and 1. The start index is 4 + 254, wrapped to 2.
    for (int i = 0; i < 254; i++)
        Allocate();
    EXPECT_EQ(Allocate(), -ERROR_TOO_MANY_IMAGES); // a failure does not move the index
    SlotFree(5);
    EXPECT_EQ(Allocate(), 5); // searched from 2; the index moves on to 3, not past 5
    SlotFree(3);
    SlotFree(7);
    EXPECT_EQ(Allocate(), 3); // searched from 3
    EXPECT_EQ(Allocate(), 7); // searched from 4, past the taken 4 to 6
}

TEST(SlotTable, RecordsOutsideTheTableAreNull)
{
    TestStart();
    EXPECT_EQ(SlotRecord(-1), nullptr);
    EXPECT_EQ(SlotRecord(256), nullptr);
    EXPECT_NE(SlotRecord(255), nullptr);
    EXPECT_EQ(WindowRecord(nullptr), nullptr);

    WindowHandle noPicture = HeadlessBareWindow(30, -1, "Preferences");
    EXPECT_EQ(WindowRecord(noPicture), nullptr);
    WindowHandle outside = HeadlessBareWindow(0, 256, "Untitled");
    EXPECT_EQ(WindowRecord(outside), nullptr);
    int slot = Allocate();
    WindowHandle window = HeadlessBareWindow(0, slot, "Untitled 1");
    EXPECT_EQ(WindowRecord(window), SlotRecord(slot));
    SlotFree(-1); // ignored
    SlotFree(256);
    EXPECT_EQ(SlotRecord(slot)->free, 0);
    PlatformDestroyWindow(noPicture);
    PlatformDestroyWindow(outside);
    PlatformDestroyWindow(window);
    SlotFree(slot);
}

TEST(SlotTable, FreeReleasesEverythingAndResetsTheRecord)
{
    TestStart();
    int slot = Allocate();
    ImageWindow *record = SlotRecord(slot);
    ASSERT_EQ(ImageAlloc(&record->picture.image, TYPE_COLOR48, 300, 2000, 300.0), ERROR_NONE);
    ASSERT_EQ(ImageAlloc(&record->view, TYPE_COLOR24, 150, 1000, 300.0), ERROR_NONE);
    ASSERT_EQ(ImageAlloc(&record->screen, TYPE_COLOR24, 150, 1000, 300.0), ERROR_NONE);
    ASSERT_EQ(AddFileComment(&record->picture, "Make", 5, 7, 3, "Corvane"), ERROR_NONE);
    ASSERT_EQ(AddFileComment(&record->picture, "Model", 6, 2, 1, "X1"), ERROR_NONE);
    record->picture.profile = (uint8_t *)MemoryAlloc(560);
    record->picture.profileSize = 560;
    record->zoom = -4;
    record->gridDivisions = 3;
    StrCopyLimit("/pictures/scan.tif", record->picture.fileName, PATH_LENGTH - 1);
    record->picture.fileType = 1;

    // Whatever was not released here the leak checker of the sanitizer build reports.
    SlotFree(slot);
    EXPECT_EQ(record->free, 1);
    EXPECT_EQ(record->slot, slot);
    EXPECT_EQ(record->picture.image.rows, nullptr);
    EXPECT_EQ(record->picture.image.type, TYPE_EMPTY);
    EXPECT_EQ(record->view.rows, nullptr);
    EXPECT_EQ(record->screen.rows, nullptr);
    EXPECT_EQ(record->picture.comments, nullptr);
    EXPECT_EQ(record->picture.profile, nullptr);
    EXPECT_EQ(record->picture.profileSize, 0);
    EXPECT_EQ(record->zoom, 1);
    EXPECT_EQ(record->gridDivisions, 1);
    EXPECT_STREQ(record->picture.fileName, "");
    EXPECT_EQ(record->picture.fileType, 0);
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

TEST(FileComment, CopyAppendsCopiesAndPassesTitleAndFileType)
{
    TestStart();
    ImageWindow *source = SlotRecord(Allocate());
    ImageWindow *destination = SlotRecord(Allocate());
    source->window = HeadlessBareWindow(0, source->slot, "scan.tif");
    destination->window = HeadlessBareWindow(0, destination->slot, "Untitled 2");
    ASSERT_EQ(AddFileComment(&source->picture, "Make", 5, 7, 3, "Corvane"), ERROR_NONE);
    ASSERT_EQ(AddFileComment(&source->picture, "Model", 6, 2, 1, "X1"), ERROR_NONE);
    ASSERT_EQ(AddFileComment(&destination->picture, "Software", 9, 6, 1, "Vistel"), ERROR_NONE);
    StrCopyLimit("/pictures/scan.tif", source->picture.fileName, PATH_LENGTH - 1);
    source->picture.fileType = 2;

    ASSERT_EQ(CopyFileComments(source, destination), ERROR_NONE);
    EXPECT_EQ(Describe(destination->picture.comments),
              (std::vector<std::string>{"Software=Vistel", "Make=Corvane", "Model=X1"}));
    EXPECT_NE(destination->picture.comments->next, source->picture.comments); // copies, not shared
    EXPECT_NE(destination->picture.comments->next->value, source->picture.comments->value);
    EXPECT_EQ(Describe(source->picture.comments),
              (std::vector<std::string>{"Make=Corvane", "Model=X1"}));
    EXPECT_EQ(destination->picture.fileType, 2);
    char title[PATH_LENGTH];
    PlatformGetWindowTitle(destination->window, title, sizeof title);
    EXPECT_STREQ(title, "/pictures/scan.tif");

    // Without a path the source's title names the destination.
    source->picture.fileName[0] = 0;
    PlatformSetWindowTitle(source->window, "Untitled 1");
    ASSERT_EQ(CopyFileComments(source, destination), ERROR_NONE);
    PlatformGetWindowTitle(destination->window, title, sizeof title);
    EXPECT_STREQ(title, "Untitled 1");
    EXPECT_EQ(Describe(destination->picture.comments).size(), 5u);

    // Without either the destination keeps its title.
    PlatformDestroyWindow(source->window);
    source->window = nullptr;
    ASSERT_EQ(CopyFileComments(source, destination), ERROR_NONE);
    PlatformGetWindowTitle(destination->window, title, sizeof title);
    EXPECT_STREQ(title, "Untitled 1");
    PlatformDestroyWindow(destination->window);
    SlotFree(source->slot);
    SlotFree(destination->slot);
}
