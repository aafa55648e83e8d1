// What the tests of the file flows and of the shell's own dialogs share: a fresh headless
// shell with a File menu and a store of its own, pictures written as TIFF files, image
// windows made to order, and profiles in color folders of the test's own.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "color/ColorSettings.h"
#include "color/Profiles.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "files/TiffWriter.h"
#include "platform/headless/Headless.h"
#include "shell/FileFlow.h"
#include "shell/Preferences.h"
#include "tests/color/ProfileTestSupport.h"
#include "tests/support/TestSupport.h"
#include "ui/ImageWindows.h"
#include "ui/SettingsStore.h"

// A menu whose File menu ends with Exit, as the frame's does.
static const MenuItem TEST_MENU[] = {
    {-1, "&File", 0},   {1002, "&Open...", 1}, {1006, "&Save", 1}, {1011, "E&xit", 1},
    {-1, "&Window", 0}, {3009, "&Cascade", 1}, {0, nullptr, 0}};

class ShellFilesTest : public testing::Test {
  protected:
    std::string folder;

    void SetUp() override
    {
        TestStart();
        folder = TestCaseFolder();
        HeadlessSetSettingsFile((folder + "/store.txt").c_str());
        PreferencesDefault(&Prefs);
        SavedStateDefault(&Saved);
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersSet((folder + "/user").c_str(), (folder + "/system").c_str(), "");
        TestRun("mkdir -p '" + folder + "/system'");
        RememberedFolderStart();
        FileFlowReset();
        // The image windows register as at start-up: their creation ties each record to its
        // window, and their destruction frees the slot.
        PlatformRegisterClass(CLASS_CHILD, ChildProcedure);
        ImageWindowsRegister();
        PlatformSetMenu(TEST_MENU);
    }

    void TearDown() override
    {
        // Windows go through their destruction, which frees their pictures and dialogs.
        while (PlatformFirstChild() != nullptr)
            PlatformDestroyWindow(PlatformFirstChild());
        ColorSettingsRelease(&CurrentColorSettings);
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersDefault();
        FileFlowReset();
    }

    std::string Path(const std::string &name)
    {
        return folder + "/" + name;
    }

    // A picture of the pattern of seed in a record of the table; the caller frees its slot.
    ImageWindow *MakeRecord(int type, int width, int height, int seed)
    {
        int slot;
        ImageWindow *record = nullptr;
        EXPECT_EQ(SlotAllocate(&slot, &record), ERROR_NONE);
        EXPECT_EQ(ImageAlloc(&record->picture.image, type, width, height, 300.0), ERROR_NONE);
        TestFillPattern(&record->picture.image, seed);
        return record;
    }

    static void RecordProfileSet(ImageWindow *record, const std::vector<uint8_t> &profile)
    {
        record->picture.profile = (uint8_t *)MemoryAlloc(profile.size());
        memcpy(record->picture.profile, profile.data(), profile.size());
        record->picture.profileSize = (int32_t)profile.size();
    }

    // Writes a TIFF of the pattern (with a profile when one is given) at name; its path.
    std::string WriteTiff(const std::string &name, int type, int width, int height, int seed,
                          const std::vector<uint8_t> &profile = {})
    {
        ImageWindow *record = MakeRecord(type, width, height, seed);
        if (!profile.empty()) RecordProfileSet(record, profile);
        std::string path = Path(name);
        EXPECT_EQ(SaveTiffFileWithComments(path.c_str(), &record->picture), ERROR_NONE);
        SlotFree(record->slot);
        return path;
    }

    // An image window holding a picture of the pattern, with a file name and type.
    WindowHandle MakeWindow(int type, int width, int height, int seed,
                            const std::string &fileName = "", int fileType = 0)
    {
        ImageWindow *record = MakeRecord(type, width, height, seed);
        strcpy(record->picture.fileName, fileName.c_str());
        record->picture.fileType = fileType;
        WindowHandle window = nullptr;
        EXPECT_EQ(ImageWindowShow(record, &window), ERROR_NONE);
        return window;
    }

    // Writes a profile file into the system color folder; its path.
    std::string WriteProfile(const std::string &name, const std::vector<uint8_t> &bytes)
    {
        std::string path = folder + "/system/" + name;
        TestWriteFile(path, bytes);
        return path;
    }

    // Answers the next file dialog with these paths and the filter in use (-1: the one shown
    // first).
    static void QueueFiles(const std::vector<std::string> &paths, int filter = -1)
    {
        std::string list;
        for (const std::string &path : paths)
            list += path + std::string(1, '\0');
        list += std::string(1, '\0'); // the empty string that ends the list
        HeadlessQueueFileDialog(list.c_str(), filter);
    }

    // The text of a control of a window.
    static std::string ControlText(WindowHandle window, int id)
    {
        char text[WINDOW_TITLE_MAX + 1];
        PlatformGetControlText(window, id, text, sizeof text);
        return text;
    }

    // The items of a list control, in order.
    static std::vector<std::string> Items(WindowHandle window, int id)
    {
        std::vector<std::string> items;
        const char *list = HeadlessControlItems(window, id);
        for (const char *item = list; item != nullptr && *item != 0; item += strlen(item) + 1)
            items.push_back(item);
        return items;
    }

    // The index of an item of a list control, or -1.
    static int ItemIndex(WindowHandle window, int id, const std::string &item)
    {
        std::vector<std::string> items = Items(window, id);
        for (size_t i = 0; i < items.size(); i++)
            if (items[i] == item) return (int)i;
        return -1;
    }

    // The labels and patterns of the last file dialog.
    static std::vector<std::string> LastFilters(void)
    {
        std::vector<std::string> filters;
        for (const char *at = HeadlessLastFileDialog()->filters; *at != 0; at += strlen(at) + 1)
            filters.push_back(at);
        return filters;
    }

    // How many messages have the title and the text.
    static int MessagesWith(const std::string &title, const std::string &text)
    {
        int count = 0;
        for (int i = 0; i < HeadlessMessageCount(); i++)
            count += title == HeadlessMessageAt(i)->title && text == HeadlessMessageAt(i)->text;
        return count;
    }
};
