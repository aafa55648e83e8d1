// What the tests of the profile transforms and of the color-managed display share: pictures
// through Little CMS's own tificc on the same pixels, and windows with pictures and profiles
// in a fixture that loads color settings from profile files.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "color/ColorSettings.h"
#include "color/ProfileTransform.h"
#include "core/Text.h"
#include "platform/headless/Headless.h"
#include "tests/color/ProfileTestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "ui/DisplayColor.h"

// Writes a color picture as a binary PPM, top row first, red first, 16-bit big-endian.
inline void WritePpm(const Image &image, const std::string &path)
{
    int wide = image.type == TYPE_COLOR48;
    std::string header = "P6\n" + std::to_string(image.width) + " " + std::to_string(image.height) +
                         "\n" + (wide ? "65535" : "255") + "\n";
    std::vector<uint8_t> bytes(header.begin(), header.end());
    for (int y = image.height - 1; y >= 0; y--)
        for (int x = 0; x < image.width; x++)
            for (int c = 2; c >= 0; c--) {
                int value = PictureSample(image, x, y, c);
                if (wide) bytes.push_back((uint8_t)(value >> 8));
                bytes.push_back((uint8_t)value);
            }
    TestWriteFile(path, bytes);
}

// Reads a PPM that WritePpm's counterpart tools wrote into a new picture.
inline void ReadPpm(const std::string &path, Image *image)
{
    std::vector<uint8_t> bytes = TestReadFile(path);
    int width = 0, height = 0, maximum = 0, used = 0;
    ASSERT_EQ(sscanf((const char *)bytes.data(), "P6 %d %d %d%n", &width, &height, &maximum, &used),
              3);
    size_t at = (size_t)used + 1;
    int wide = maximum > 255;
    ImageClear(image);
    ASSERT_EQ(ImageAlloc(image, wide ? TYPE_COLOR48 : TYPE_COLOR24, width, height, 72.0),
              ERROR_NONE);
    ASSERT_EQ(bytes.size(), at + (size_t)width * height * 3 * (wide ? 2 : 1));
    for (int y = height - 1; y >= 0; y--)
        for (int x = 0; x < width; x++)
            for (int c = 2; c >= 0; c--) {
                int value = bytes[at++];
                if (wide) value = (value << 8) | bytes[at++];
                PictureSetSample(image, x, y, c, value);
            }
}

// What tificc makes of picture with these options (profiles, intent, proofing). The netpbm
// tools carry 16-bit samples whole (tifftopnm only by rows) and gray pixels as color.
inline void Tificc(const Image &picture, const std::string &options, const std::string &folder,
                   Image *result)
{
    std::string in = folder + "/in";
    WritePpm(picture, in + ".ppm");
    std::string depth = picture.type == TYPE_COLOR48 ? " -w16" : " -w8";
    std::string command = "pnmtotiff -truecolor -color < '" + in + ".ppm' > '" + in +
                          ".tif' 2>/dev/null && tificc" + depth + " " + options + " '" + in +
                          ".tif' '" + folder + "/out.tif' 2>/dev/null && tifftopnm -byrow '" +
                          folder + "/out.tif' > '" + folder + "/out.ppm' 2>/dev/null";
    ASSERT_EQ(TestRun(command), 0) << command;
    ReadPpm(folder + "/out.ppm", result);
}

// The tificc intent options of each of our intent indices.
const char *const TIFICC_INTENTS[COLOR_INTENT_COUNT] = {"-t0", "-t2", "-t1", "-t3", "-t1 -b"};

class ProfileTransformFixture : public testing::Test {
  protected:
    std::string folder;
    std::vector<ImageWindow *> windows;

    void SetUp() override
    {
        TestStart();
        folder = TestOutputFolder(std::string("ProfileTransform.") +
                                  testing::UnitTest::GetInstance()->current_test_info()->name());
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersSet((folder + "/user").c_str(), "", "");
    }

    void TearDown() override
    {
        for (ImageWindow *window : windows) {
            if (window->window != nullptr) PlatformDestroyWindow(window->window);
            SlotFree(window->slot);
        }
        ShutdownColorSettings();
        ColorSettingsDefault(&CurrentColorSettings);
        ProfileFoldersDefault();
    }

    // A window with a patterned picture of type and size, and the profile of a file.
    ImageWindow *Window(int type, int width, int height, const std::string &profile = "")
    {
        int slot;
        ImageWindow *window = nullptr;
        EXPECT_EQ(SlotAllocate(&slot, &window), ERROR_NONE);
        windows.push_back(window);
        EXPECT_EQ(ImageAlloc(&window->picture.image, type, width, height, 72.0), ERROR_NONE);
        TestFillPattern(&window->picture.image, type * 100 + width);
        window->window = HeadlessBareWindow(0, slot, "/pictures/holiday/beach.tif");
        if (!profile.empty()) SetProfile(window, TestReadFile(profile));
        return window;
    }

    static void SetProfile(ImageWindow *window, const std::vector<uint8_t> &bytes)
    {
        EXPECT_EQ(WindowProfileSet(window, bytes.data(), (int)bytes.size()), ERROR_NONE);
    }

    // Sets the profiles of the settings by file (empty for none) and loads them.
    void Settings(const std::string &working, const std::string &monitor,
                  const std::string &proof = "", const std::string &assumed = "")
    {
        ColorSettings *settings = &CurrentColorSettings;
        StrCopyLimit(working.c_str(), settings->workingPath, PATH_LENGTH - 1);
        StrCopyLimit(monitor.c_str(), settings->monitorPath, PATH_LENGTH - 1);
        StrCopyLimit(proof.c_str(), settings->proofPath, PATH_LENGTH - 1);
        StrCopyLimit(assumed.c_str(), settings->assumedFilePath, PATH_LENGTH - 1);
        int messages = HeadlessMessageCount();
        DisplayColorSettingsLoad();
        ASSERT_EQ(HeadlessMessageCount(), messages);
    }
};
