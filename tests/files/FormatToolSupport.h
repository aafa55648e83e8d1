// What the tests of the GIF, FITS, EPS, raw and file type modules share: running the
// independent tools, pictures as plain lists of samples (top row first, red first) both from
// an Image and as ImageMagick reads a file, and opening a file into a picture record.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/File.h"
#include "core/Helpers.h"
#include "core/Image.h"
#include "core/Memory.h"
#include "core/Picture.h"
#include "tests/support/TestSupport.h"

inline std::string Quote(const std::string &text)
{
    return "'" + text + "'";
}

// Runs a tool; fails the test with its output when it does not succeed.
inline ::testing::AssertionResult ToolRuns(const std::string &command)
{
    std::string output;
    int status = TestRun("(" + command + ") 2>&1", &output);
    if (status == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << command << " exited " << status << "\n" << output;
}

// The samples ImageMagick reads from a file: 1 or 3 channels at 8 or 16 bits, with options
// before the output.
inline std::vector<int> ToolSamples(const std::string &path, int channels, int depth,
                                    const std::string &options = "")
{
    std::string output;
    std::string command = "convert " + Quote(path) + " " + options + " -endian LSB -depth " +
                          std::to_string(depth) + (channels == 3 ? " rgb:-" : " gray:-");
    EXPECT_EQ(TestRun(command, &output), 0) << command;
    std::vector<int> samples;
    if (depth == 16) {
        for (size_t i = 0; i + 1 < output.size(); i += 2)
            samples.push_back((uint8_t)output[i] | ((uint8_t)output[i + 1] << 8));
    } else {
        for (char c : output)
            samples.push_back((uint8_t)c);
    }
    return samples;
}

// The samples ImageMagick reads from a file as a picture of type holds them.
inline std::vector<int> ToolSamplesAs(const std::string &path, int type,
                                      const std::string &options = "")
{
    int color = type == TYPE_COLOR24 || type == TYPE_COLOR48;
    int deep = type == TYPE_GRAY16 || type == TYPE_COLOR48;
    return ToolSamples(path, color ? 3 : 1, deep ? 16 : 8, options);
}

// The samples of a picture; a binary pixel is 0 or 255.
inline std::vector<int> ImageSamples(const Image &image)
{
    std::vector<int> samples;
    for (int y = image.height - 1; y >= 0; y--) {
        const uint8_t *row = image.rows[y];
        for (int x = 0; x < image.width; x++) {
            switch (image.type) {
            case TYPE_BINARY: samples.push_back(BitTest(row, x) ? 255 : 0); break;
            case TYPE_GRAY8: samples.push_back(row[x]); break;
            case TYPE_GRAY16: samples.push_back(BytesGet16(row, 2 * x, 1)); break;
            case TYPE_COLOR24:
                for (int c = 2; c >= 0; c--)
                    samples.push_back(row[3 * x + c]);
                break;
            case TYPE_COLOR48:
                for (int c = 2; c >= 0; c--)
                    samples.push_back(BytesGet16(row, 6 * x + 2 * c, 1));
                break;
            default: break;
            }
        }
    }
    return samples;
}

// Compares two lists of samples, equal within tolerance; names the first difference.
inline ::testing::AssertionResult SamplesEqual(const std::vector<int> &expected,
                                               const std::vector<int> &actual, int tolerance = 0)
{
    if (expected.size() != actual.size())
        return ::testing::AssertionFailure()
               << "expected " << expected.size() << " samples, got " << actual.size();
    size_t differing = 0;
    size_t first = 0;
    for (size_t i = 0; i < expected.size(); i++)
        if (std::abs(expected[i] - actual[i]) > tolerance && differing++ == 0) first = i;
    if (differing == 0) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << differing << " samples differ, the first at " << first << ": expected "
           << expected[first] << ", got " << actual[first];
}

// The mean absolute difference of two lists of samples of the same length.
inline double SamplesMeanError(const std::vector<int> &a, const std::vector<int> &b)
{
    EXPECT_EQ(a.size(), b.size());
    if (a.empty() || a.size() != b.size()) return 1e9;
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); i++)
        sum += std::abs(a[i] - b[i]);
    return sum / (double)a.size();
}

// Writes a binary PNM file of 1 or 3 channels at 8 or 16 bits from samples.
inline void PnmWriteSamples(const std::string &path, int w, int h, int channels, int depth,
                            const std::vector<int> &samples)
{
    std::string head = std::string(channels == 3 ? "P6" : "P5") + "\n" + std::to_string(w) + " " +
                       std::to_string(h) + "\n" + (depth == 16 ? "65535" : "255") + "\n";
    std::vector<uint8_t> bytes(head.begin(), head.end());
    for (int value : samples) {
        if (depth == 16) bytes.push_back((uint8_t)(value >> 8));
        bytes.push_back((uint8_t)value);
    }
    TestWriteFile(path, bytes);
}

// A picture record on the heap, freed with its pixels, comments and profile when it goes; a
// window assigned to it frees the one it held. It stands for its record wherever one is asked.
struct TestWindow {
    Picture *window = nullptr;
    TestWindow() : window((Picture *)MemoryAllocZero(sizeof(Picture))) {}
    explicit TestWindow(Picture *made) : window(made) {}
    TestWindow(TestWindow &&other) noexcept : window(other.window)
    {
        other.window = nullptr;
    }
    TestWindow &operator=(TestWindow &&other) noexcept
    {
        std::swap(window, other.window);
        return *this;
    }
    Picture *operator->() const
    {
        return window;
    }
    operator Picture *() const
    {
        return window;
    }
    Image &image() const
    {
        return window->image;
    }
    ~TestWindow()
    {
        if (window == nullptr) return;
        PictureFree(window);
        MemoryFree(window);
    }
};

// An empty picture record on the heap.
inline TestWindow EmptyWindow(void)
{
    TestWindow made((Picture *)MemoryAllocZero(sizeof(Picture)));
    EXPECT_NE(made.window, nullptr);
    return made;
}

// A window holding a patterned picture.
inline TestWindow PictureWindow(int type, int width, int height, double resolution, int seed)
{
    TestWindow made = EmptyWindow();
    EXPECT_EQ(ImageAlloc(&made.window->image, type, width, height, resolution), ERROR_NONE);
    TestFillPattern(&made.window->image, seed);
    return made;
}

// A test with an output folder of its own, named after its suite and itself.
class FolderTest : public ::testing::Test {
  protected:
    std::string folder;

    void SetUp() override
    {
        TestStart();
        const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
        folder = TestOutputFolder(std::string(info->test_suite_name()) + "/" + info->name());
    }

    std::string Path(const std::string &name)
    {
        return folder + "/" + name;
    }
};
