// What the tests of our own BMP, Targa, PCX and RLE modules share besides the tools and windows
// of every file test: netpbm's samples, pictures and files to order, and the checks every
// reader gets on damaged files.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/File.h"
#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Picture.h"
#include "tests/files/FormatToolSupport.h"

namespace raster_test {

typedef ErrorCode (*Reader)(const char *path, Picture *window, int showProgress,
                            FileDamage *damage);
typedef ErrorCode (*Writer)(const char *path, Picture *window);

// The samples of a picture of type, 8 bits deep, as a command prints it on stdout in PNM or
// any format convert reads, top row first. The command is given as it would go into a pipe.
inline std::vector<int> PipeSamples(const std::string &command, int type)
{
    std::string output;
    int color = type == TYPE_COLOR24 || type == TYPE_COLOR48;
    std::string full = command + " | convert - -depth 8 " + (color ? "rgb:-" : "gray:-");
    EXPECT_EQ(TestRun(full, &output), 0) << full;
    std::vector<int> samples;
    for (char c : output)
        samples.push_back((uint8_t)c);
    return samples;
}

// A picture of a type filled with the test pattern of seed.
inline void PictureMake(TestWindow *window, int type, int w, int h, int seed,
                        double resolution = 300.0)
{
    ASSERT_EQ(ImageAlloc(&window->image(), type, w, h, resolution), ERROR_NONE);
    TestFillPattern(&window->image(), seed);
}

// A PNM file of random samples, gray or color, for the tools to make files from; a smooth
// part at the top gives the run-length encoders long runs as well.
inline void PnmWrite(const std::string &path, int w, int h, int channels, uint32_t seed)
{
    std::string head = std::string(channels == 3 ? "P6" : "P5") + "\n" + std::to_string(w) + " " +
                       std::to_string(h) + "\n255\n";
    std::vector<uint8_t> bytes(head.begin(), head.end());
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w * channels; x++) {
            seed = seed * 1664525u + 1013904223u;
            bytes.push_back(y < h / 3 ? (uint8_t)(x / 7 * 20) : (uint8_t)(seed >> 24));
        }
    }
    TestWriteFile(path, bytes);
}

// Bytes of a pseudo-random sequence from seed.
inline std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed)
{
    std::vector<uint8_t> bytes(count);
    for (uint8_t &b : bytes) {
        seed = seed * 1664525u + 1013904223u;
        b = (uint8_t)(seed >> 24);
    }
    return bytes;
}

// The rows of a picture top row first, as they lie in memory: bits of a binary row, gray
// levels, or blue, green, red bytes.
inline std::vector<int> RowsTopFirst(const Image &image)
{
    std::vector<int> values;
    int perRow = image.type == TYPE_COLOR24 ? 3 * image.width : image.width;
    for (int y = image.height - 1; y >= 0; y--)
        for (int i = 0; i < perRow; i++)
            values.push_back(image.type == TYPE_BINARY ? BitTest(image.rows[y], i)
                                                       : image.rows[y][i]);
    return values;
}

// A tool's command with {g}, {c} and {o} replaced by the quoted gray source, color source and
// output.
inline std::string ToolCommand(std::string command, const std::string &gray,
                               const std::string &color, const std::string &output)
{
    for (auto [key, value] : {std::pair<std::string, std::string>{"{g}", Quote(gray)},
                              {"{c}", Quote(color)},
                              {"{o}", Quote(output)}}) {
        for (size_t at; (at = command.find(key)) != std::string::npos;)
            command.replace(at, key.size(), value);
    }
    return command;
}

// Every damaged file kept in tests/data/hostile under prefix gets the format's code and leaves
// no picture, but those named in readable (space-separated, without the extension), which give
// one. count is how many files the prefix has, so that a lost file is noticed.
inline void HostileFilesGetTheirCodes(const std::string &prefix, Reader reader, ErrorCode code,
                                      const std::string &readable, int count)
{
    std::string folder = TestDataPath("hostile");
    DIR *directory = opendir(folder.c_str());
    ASSERT_NE(directory, nullptr);
    int found = 0;
    while (struct dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name.rfind(prefix, 0) != 0) continue;
        SCOPED_TRACE(name);
        found++;
        TestWindow window;
        ErrorCode result = reader((folder + "/" + name).c_str(), window.window, 0, nullptr);
        std::string stem = " " + name.substr(0, name.rfind('.')) + " ";
        int reads = (" " + readable + " ").find(stem) != std::string::npos;
        EXPECT_EQ(result, reads ? ERROR_NONE : code);
        EXPECT_EQ(window.image().type == TYPE_EMPTY, !reads);
    }
    closedir(directory);
    EXPECT_EQ(found, count);
}

// Reads truncations and single-byte changes all over a valid file: each gives the format's
// code or a picture, never a crash; a truncated file may give part of one. A picture is never
// larger than limit bytes. Returns how many damaged files still gave a picture.
inline int DamageEverywhere(const std::string &folder, const std::vector<uint8_t> &good,
                            Reader reader, ErrorCode code, int step, int64_t limit)
{
    std::string path = folder + "/damaged";
    int readable = 0;
    for (int pass = 0; pass < 3; pass++) {
        // Headers lie in the first bytes: every one of those is inverted, the rest by step.
        for (size_t at = 0; at < good.size(); at += pass == 1 && at < 512 ? 1 : step) {
            std::vector<uint8_t> bytes = good;
            if (pass == 0)
                bytes.resize(at);
            else
                bytes[at] ^= pass == 1 ? 0xFF : 0x40;
            TestWriteFile(path, bytes);
            TestWindow window;
            FileDamage damage;
            ErrorCode result = reader(path.c_str(), window.window, 0, &damage);
            EXPECT_TRUE(result == ERROR_NONE || result == code)
                << (pass == 0 ? "truncated at " : "changed at ") << at << ": " << result;
            if (result == ERROR_NONE) {
                readable++;
                EXPECT_LE((int64_t)window.image().rowBytes * window.image().height, limit);
            } else {
                EXPECT_EQ(window.image().type, TYPE_EMPTY);
            }
        }
    }
    return readable;
}

} // namespace raster_test
