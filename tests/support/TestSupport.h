// What the tests share: start-up of the core on the headless platform, folders for data and
// output, pictures made to order, image comparison, and running the independent tools.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/Image.h"

// Runs the start-up of the tables and resets the headless platform; every test calls it.
void TestStart(void);

// A file under tests/data.
std::string TestDataPath(const std::string &name);

// A fresh folder under the build's test-output for this test, emptied first.
std::string TestOutputFolder(const std::string &name);

// TestOutputFolder of the running test, "Suite.Test", so that tests run side by side by ctest
// keep apart.
std::string TestCaseFolder(void);

// Fills a picture of any type with a pattern that differs in every sample, from seed.
void TestFillPattern(Image *image, int seed);

// Compares two pictures sample by sample; on a difference writes both and reports the
// largest difference and how many samples differ.
::testing::AssertionResult ImagesNear(const Image &expected, const Image &actual, int tolerance);
#define ExpectImagesNear(expected, actual, tolerance)                                         \
    EXPECT_TRUE(ImagesNear((expected), (actual), (tolerance)))

// Runs a shell command; returns its exit status and, if output is given, its stdout.
int TestRun(const std::string &command, std::string *output = nullptr);

// The names in a folder, sorted, without "." and "..".
std::vector<std::string> TestFolderFiles(const std::string &folder);

// The whole content of a file.
std::vector<uint8_t> TestReadFile(const std::string &path);
void TestWriteFile(const std::string &path, const std::vector<uint8_t> &bytes);

// Path of the vistel-cli program of this build.
std::string TestCliPath(void);
