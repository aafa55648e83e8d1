// Shared test support.
#include "tests/support/TestSupport.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "core/Helpers.h"
#include "platform/headless/Headless.h"
#include "ui/UiStartup.h"

void TestStart(void)
{
    UiInitialise();
    HeadlessReset();
}

std::string TestDataPath(const std::string &name)
{
    return std::string(VISTEL_TEST_DATA) + "/" + name;
}

std::string TestOutputFolder(const std::string &name)
{
    std::string folder = std::string(VISTEL_TEST_OUTPUT) + "/" + name;
    TestRun("rm -rf '" + folder + "' && mkdir -p '" + folder + "'");
    return folder;
}

std::string TestCaseFolder(void)
{
    const testing::TestInfo *info = testing::UnitTest::GetInstance()->current_test_info();
    return TestOutputFolder(std::string(info->test_suite_name()) + "." + info->name());
}

std::string TestCliPath(void)
{
    return VISTEL_CLI_PATH;
}

static int SamplesPerRow(const Image &image)
{
    switch (image.type) {
    case TYPE_BINARY:
    case TYPE_GRAY8:
    case TYPE_GRAY16: return image.width;
    case TYPE_COLOR24:
    case TYPE_COLOR48: return 3 * image.width;
    default: return 0;
    }
}

static int SampleOf(const Image &image, int row, int index)
{
    const uint8_t *bytes = image.rows[row];
    switch (image.type) {
    case TYPE_BINARY: return BitTest(bytes, index) ? 255 : 0;
    case TYPE_GRAY16:
    case TYPE_COLOR48: return bytes[2 * index] | (bytes[2 * index + 1] << 8);
    default: return bytes[index];
    }
}

void TestFillPattern(Image *image, int seed)
{
    uint32_t state = 2166136261u ^ (uint32_t)seed;
    for (int y = 0; y < image->height; y++) {
        for (int i = 0; i < image->rowBytes; i++) {
            state = state * 1664525u + 1013904223u;
            image->rows[y][i] = (uint8_t)(state >> 24);
        }
    }
}

// A PNM file of the picture, top row first, for a person to look at after a failure.
static void WritePnm(const Image &image, const std::string &path)
{
    FILE *file = fopen(path.c_str(), "wb");
    if (file == nullptr) return;
    int color = image.type == TYPE_COLOR24 || image.type == TYPE_COLOR48;
    int wide = image.type == TYPE_GRAY16 || image.type == TYPE_COLOR48;
    fprintf(file, "P%d\n%d %d\n%d\n", color ? 6 : 5, image.width, image.height,
            wide ? 65535 : 255);
    int channels = color ? 3 : 1;
    for (int y = image.height - 1; y >= 0; y--) {
        for (int x = 0; x < image.width; x++) {
            for (int c = 0; c < channels; c++) {
                // Memory holds blue first; PNM wants red first.
                int index = color ? 3 * x + (2 - c) : x;
                int value = SampleOf(image, y, index);
                if (wide) fputc(value >> 8, file);
                fputc(value & 255, file);
            }
        }
    }
    fclose(file);
}

::testing::AssertionResult ImagesNear(const Image &expected, const Image &actual, int tolerance)
{
    if (expected.type != actual.type || expected.width != actual.width ||
        expected.height != actual.height)
        return ::testing::AssertionFailure()
               << "shape differs: expected type " << expected.type << " " << expected.width
               << "x" << expected.height << ", actual type " << actual.type << " "
               << actual.width << "x" << actual.height;
    int largest = 0;
    int64_t differing = 0;
    int samples = SamplesPerRow(expected);
    for (int y = 0; y < expected.height; y++) {
        for (int i = 0; i < samples; i++) {
            int difference = abs(SampleOf(expected, y, i) - SampleOf(actual, y, i));
            if (difference > tolerance) differing++;
            if (difference > largest) largest = difference;
        }
    }
    if (differing == 0) return ::testing::AssertionSuccess();
    const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string folder = TestOutputFolder(std::string("failed/") + info->test_suite_name() +
                                          "." + info->name());
    WritePnm(expected, folder + "/expected.pnm");
    WritePnm(actual, folder + "/actual.pnm");
    return ::testing::AssertionFailure()
           << differing << " samples differ by more than " << tolerance << ", largest "
           << largest << "; pictures in " << folder;
}

int TestRun(const std::string &command, std::string *output)
{
    FILE *pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return -1;
    char buffer[4096];
    size_t got;
    while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        if (output != nullptr) output->append(buffer, got);
    int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<uint8_t> TestReadFile(const std::string &path)
{
    std::vector<uint8_t> bytes;
    FILE *file = fopen(path.c_str(), "rb");
    if (file == nullptr) return bytes;
    uint8_t buffer[65536];
    size_t got;
    while ((got = fread(buffer, 1, sizeof buffer, file)) > 0)
        bytes.insert(bytes.end(), buffer, buffer + got);
    fclose(file);
    return bytes;
}

void TestWriteFile(const std::string &path, const std::vector<uint8_t> &bytes)
{
    FILE *file = fopen(path.c_str(), "wb");
    if (file == nullptr) return;
    // An empty vector may have no data at all, which fwrite must not be given.
    if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
}

std::vector<std::string> TestFolderFiles(const std::string &folder)
{
    std::vector<std::string> names;
    DIR *directory = opendir(folder.c_str());
    if (directory == nullptr) return names;
    while (struct dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(directory);
    std::sort(names.begin(), names.end());
    return names;
}
