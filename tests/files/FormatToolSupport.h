// What the tests of the file modules share: running the independent tools, pictures as plain
// lists of samples (top row first, red first) both from an Image and as ImageMagick reads a
// file, opening a file into a picture record, and TIFF files built entry by entry.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
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

// ---------------------------------------------------------------------------------------------
// A TIFF builder of the tests' own: the main directory just after the header, the EXIF
// directory (if any) after it, then the values of both in entry order, strips last, so that a
// truncation cuts strips before anything else.

enum : uint16_t {
    TEST_BYTE = 1,
    TEST_ASCII = 2,
    TEST_SHORT = 3,
    TEST_LONG = 4,
    TEST_RATIONAL = 5,
};

struct TestEntry {
    uint16_t tag;
    uint16_t type;
    std::vector<uint32_t> values; // RATIONAL: numerator, denominator, ...; 273 and 279 empty:
                                  // the strips' own offsets and sizes
    int64_t count = -1;           // -1: from the values
    int64_t offset = -1;          // -1: where the builder puts the values; else the value word
    std::vector<uint8_t> bytes = {}; // instead of values: the value as the file holds it
};

struct TestTiff {
    int littleEndian = 1;
    uint16_t version = 42;
    int64_t directoryOffset = -1; // -1: just after the header
    int64_t entryCount = -1;      // -1: the entries given
    std::vector<TestEntry> entries;
    std::vector<TestEntry> exif;          // if any: pointed to by a last main entry, 34665
    uint16_t exifPointerType = TEST_LONG; // the pointer's field type; SHORT takes two bytes
    std::vector<std::vector<uint8_t>> strips;
};

inline int TestTiffTypeBytes(uint16_t type)
{
    switch (type) {
    case TEST_SHORT: return 2;
    case TEST_LONG: return 4;
    case TEST_RATIONAL: return 4; // per number; a value is two of them
    default: return 1;
    }
}

inline void TestTiffPut(std::vector<uint8_t> &bytes, size_t at, uint32_t value, int size,
                        int little)
{
    if (bytes.size() < at + size) bytes.resize(at + size);
    for (int i = 0; i < size; i++)
        bytes[at + i] = (uint8_t)(value >> (8 * (little ? i : size - 1 - i)));
}

inline std::vector<uint8_t> TestTiffBytes(const TestTiff &tiff)
{
    int little = tiff.littleEndian;
    std::vector<TestEntry> entries = tiff.entries;
    size_t mainCount = entries.size() + (tiff.exif.empty() ? 0 : 1);
    size_t exifAt = 8 + 2 + 12 * mainCount + 4;
    size_t valuesStart = exifAt;
    if (!tiff.exif.empty()) {
        TestEntry pointer = {34665, tiff.exifPointerType, {}, 1, (int64_t)exifAt};
        if (tiff.exifPointerType == TEST_SHORT) {
            pointer.values = {(uint32_t)exifAt};
            pointer.offset = -1;
        }
        entries.push_back(pointer);
        entries.insert(entries.end(), tiff.exif.begin(), tiff.exif.end());
        valuesStart += 2 + 12 * tiff.exif.size() + 4;
    }
    std::vector<uint8_t> bytes(8, 0);
    bytes[0] = bytes[1] = little ? 'I' : 'M';
    TestTiffPut(bytes, 2, tiff.version, 2, little);

    // Lay out the values, then the strips after them.
    for (TestEntry &entry : entries) {
        if ((entry.tag == 273 || entry.tag == 279) && entry.values.empty())
            entry.values.assign(tiff.strips.size(), 0);
    }
    size_t at = valuesStart;
    std::vector<size_t> valueOffsets;
    for (const TestEntry &entry : entries) {
        size_t size = entry.bytes.empty() ? entry.values.size() * TestTiffTypeBytes(entry.type)
                                          : entry.bytes.size();
        valueOffsets.push_back(size > 4 ? at : 0);
        if (size > 4) at += (size + 1) & ~(size_t)1;
    }
    std::vector<uint32_t> stripOffsets;
    for (const auto &strip : tiff.strips) {
        stripOffsets.push_back((uint32_t)at);
        at += strip.size();
    }
    for (TestEntry &entry : entries) {
        for (size_t s = 0; s < tiff.strips.size() && entry.values.size() == tiff.strips.size();
             s++) {
            if (entry.tag == 273 && entry.values[s] == 0) entry.values[s] = stripOffsets[s];
            if (entry.tag == 279 && entry.values[s] == 0)
                entry.values[s] = (uint32_t)tiff.strips[s].size();
        }
    }

    TestTiffPut(bytes, 4, (uint32_t)(tiff.directoryOffset >= 0 ? tiff.directoryOffset : 8), 4,
                little);
    TestTiffPut(bytes, 8, (uint32_t)(tiff.entryCount >= 0 ? tiff.entryCount : (int64_t)mainCount),
                2, little);
    TestTiffPut(bytes, 8 + 2 + 12 * mainCount, 0, 4, little); // no next directory
    if (!tiff.exif.empty()) {
        TestTiffPut(bytes, exifAt, (uint32_t)tiff.exif.size(), 2, little);
        TestTiffPut(bytes, exifAt + 2 + 12 * tiff.exif.size(), 0, 4, little);
    }
    for (size_t i = 0; i < entries.size(); i++) {
        const TestEntry &entry = entries[i];
        size_t e = i < mainCount ? 8 + 2 + 12 * i : exifAt + 2 + 12 * (i - mainCount);
        int size = TestTiffTypeBytes(entry.type);
        int64_t count = entry.count >= 0 ? entry.count
                        : !entry.bytes.empty()
                            ? (int64_t)entry.bytes.size()
                            : (int64_t)(entry.type == TEST_RATIONAL ? entry.values.size() / 2
                                                                    : entry.values.size());
        TestTiffPut(bytes, e, entry.tag, 2, little);
        TestTiffPut(bytes, e + 2, entry.type, 2, little);
        TestTiffPut(bytes, e + 4, (uint32_t)count, 4, little);
        size_t where = valueOffsets[i] != 0 ? valueOffsets[i] : e + 8;
        TestTiffPut(bytes, e + 8, 0, 4, little);
        for (size_t v = 0; v < entry.values.size(); v++)
            TestTiffPut(bytes, where + v * size, entry.values[v], size, little);
        if (bytes.size() < where + entry.bytes.size()) bytes.resize(where + entry.bytes.size());
        std::copy(entry.bytes.begin(), entry.bytes.end(), bytes.begin() + where);
        if (valueOffsets[i] != 0) TestTiffPut(bytes, e + 8, (uint32_t)valueOffsets[i], 4, little);
        if (entry.offset >= 0) TestTiffPut(bytes, e + 8, (uint32_t)entry.offset, 4, little);
    }
    for (size_t s = 0; s < tiff.strips.size(); s++) {
        if (bytes.size() < stripOffsets[s]) bytes.resize(stripOffsets[s]);
        bytes.insert(bytes.begin() + stripOffsets[s], tiff.strips[s].begin(), tiff.strips[s].end());
    }
    return bytes;
}
