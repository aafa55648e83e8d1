// What the tests of the frame, the image windows and the commands share: a started shell on
// the headless platform, pictures in windows made to order, and a child that records the
// messages it gets, standing for a dialog.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "core/Errors.h"
#include "core/Image.h"
#include "files/TiffReader.h"
#include "platform/headless/Headless.h"
#include "shell/FileFlow.h"
#include "shell/Shell.h"
#include "tests/support/TestSupport.h"
#include "ui/ImageWindow.h"
#include "ui/ImageWindows.h"
#include "ui/Transform.h"

// Every test starts the program as the editor does and shuts it down at the end, so that
// no picture of one test survives into the next.
class ShellTest : public testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
        ASSERT_EQ(Initialise(), ERROR_NONE);
        ASSERT_EQ(CreateFrame(), ERROR_NONE);
    }
    void TearDown() override
    {
        Shutdown();
    }
};

// ShellTest with the test's own folder, which is also the settings folder; Write puts a text
// file in it and returns its path.
class ShellFolderTest : public ShellTest {
  protected:
    std::string folder;
    void SetUp() override
    {
        ShellTest::SetUp();
        folder = TestCaseFolder();
        HeadlessSetSettingsFolder(folder.c_str());
    }
    std::string Write(const std::string &name, const std::string &text)
    {
        std::string path = folder + "/" + name;
        TestWriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
        return path;
    }
};

// A new image window showing a picture of type, width by height, filled with a pattern
// from seed, and made the active window.
inline WindowHandle MakePicture(int type, int width, int height, int seed = 1,
                                double resolution = 300.0)
{
    WindowHandle window = nullptr;
    EXPECT_EQ(NewImageWindow(nullptr, &window, -1, -1, 0), ERROR_NONE);
    if (window == nullptr) return nullptr;
    ImageWindow *record = WindowRecord(window);
    EXPECT_EQ(ImageAlloc(&record->picture.image, type, width, height, resolution), ERROR_NONE);
    TestFillPattern(&record->picture.image, seed);
    ImageWindowLayout(window);
    PlatformActivateWindow(window);
    return window;
}

// A color plasma fractal of width by height from seed, at depth bits a sample, written by
// ImageMagick as the uncompressed TIFF path and opened as the editor opens a file; null when
// either failed.
inline WindowHandle OpenPlasmaTiff(const std::string &path, int width, int height, int seed,
                                   int depth)
{
    WindowHandle window = nullptr;
    int made = TestRun("convert -size " + std::to_string(width) + "x" + std::to_string(height) +
                       " plasma:fractal -seed " + std::to_string(seed) + " -depth " +
                       std::to_string(depth) + " -type TrueColor -compress none '" + path + "'");
    EXPECT_EQ(made, 0);
    if (made != 0) return nullptr;
    EXPECT_EQ(OpenImageFile(path.c_str(), -1, &window), ERROR_NONE);
    return window;
}

// vistel-cli with arguments run on in, writing out, which is read back into cli (the caller
// frees it): its pixels are those of the last Apply's window.
inline void ExpectCliEqualsLastOutput(const std::string &arguments, const std::string &in,
                                      const std::string &out, Image *cli)
{
    ImageClear(cli);
    ASSERT_NE(LastOutput, nullptr);
    ASSERT_EQ(TestRun(TestCliPath() + " " + arguments + " '" + in + "' '" + out + "'"), 0);
    ASSERT_EQ(ReadTiffFile(out.c_str(), cli, 0, nullptr), ERROR_NONE);
    ExpectImagesNear(*cli, WindowRecord(LastOutput)->picture.image, 0);
}

// The title a window shows.
inline std::string TitleOf(WindowHandle window)
{
    char title[WINDOW_TITLE_MAX + 1];
    PlatformGetWindowTitle(window, title, sizeof title);
    return title;
}

// Messages a recording child received, as (window, message, wParam).
struct RecordedMessage {
    WindowHandle window;
    uint32_t message;
    uintptr_t wParam;
};

inline std::vector<RecordedMessage> &Recorded(void)
{
    static std::vector<RecordedMessage> messages;
    return messages;
}

inline MessageResult RecordingProcedure(WindowHandle window, uint32_t message, uintptr_t wParam,
                                        intptr_t lParam)
{
    Recorded().push_back({window, message, wParam});
    return PlatformDefaultProcedure(window, message, wParam, lParam);
}

// A child of kind that records its messages, as a dialog of that kind would stand.
inline WindowHandle MakeRecordingChild(int kind, const char *title)
{
    ChildKindRegister(kind, RecordingProcedure);
    WindowCreate request = {CLASS_CHILD, kind,    -1, title, STYLE_DIALOG, 40, 40, 200,
                            150,         nullptr, 0,  0};
    return PlatformCreateWindow(&request);
}

// How often window received message since the record was last cleared.
inline int RecordedCount(WindowHandle window, uint32_t message)
{
    int count = 0;
    for (const RecordedMessage &entry : Recorded())
        count += entry.window == window && entry.message == message;
    return count;
}
