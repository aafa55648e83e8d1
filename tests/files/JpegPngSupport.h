// What the JPEG, PNG and metadata tests share: windows made to order, pictures decoded by an
// independent tool, exiftool's view of a file, and a folder's listing.
#pragma once

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "core/Picture.h"
#include "tests/support/TestSupport.h"

namespace {

struct TestWindow {
    Picture *window;
};

// An empty picture record on the heap.
inline TestWindow EmptyWindow(void)
{
    TestWindow made = {(Picture *)MemoryAllocZero(sizeof(Picture))};
    EXPECT_NE(made.window, nullptr);
    return made;
}

inline void TestWindowFree(TestWindow made)
{
    if (made.window == nullptr) return;
    PictureFree(made.window);
    MemoryFree(made.window);
}

// A window holding a patterned picture.
inline TestWindow PictureWindow(int type, int width, int height, double resolution, int seed)
{
    TestWindow made = EmptyWindow();
    EXPECT_EQ(ImageAlloc(&made.window->image, type, width, height, resolution), ERROR_NONE);
    TestFillPattern(&made.window->image, seed);
    return made;
}

// A picture that compresses as photographs do: smooth shading with a little texture, so that
// JPEG's losses stay small and comparable.
inline void FillSmooth(Image *image)
{
    for (int y = 0; y < image->height; y++) {
        uint8_t *row = image->rows[y];
        for (int x = 0; x < image->width; x++) {
            int r = (x * 255) / (image->width > 1 ? image->width - 1 : 1);
            int g = (y * 255) / (image->height > 1 ? image->height - 1 : 1);
            int b = (r + g) / 2 + ((x * 7 + y * 3) % 9) - 4;
            b = b < 0 ? 0 : b > 255 ? 255 : b;
            if (image->type == TYPE_GRAY8) row[x] = (uint8_t)((r + 2 * g + b) / 4);
            if (image->type == TYPE_COLOR24) {
                row[3 * x] = (uint8_t)b;
                row[3 * x + 1] = (uint8_t)g;
                row[3 * x + 2] = (uint8_t)r;
            }
        }
    }
}

inline std::string Quoted(const std::string &path)
{
    return "'" + path + "'";
}

// The picture an independent tool decodes: command prints raw samples, top row first, red
// first, 16-bit samples big-endian (ImageMagick needs -endian MSB for that). They become an Image
// of type, bottom row first, blue first, little-endian.
inline Image ToolImage(const std::string &command, int type, int width, int height)
{
    Image image = {};
    std::string raw;
    EXPECT_EQ(TestRun(command, &raw), 0) << command;
    int channels = type == TYPE_COLOR24 || type == TYPE_COLOR48 ? 3 : 1;
    int sampleBytes = type == TYPE_GRAY16 || type == TYPE_COLOR48 ? 2 : 1;
    size_t rowBytes = (size_t)width * channels * sampleBytes;
    EXPECT_EQ(raw.size(), rowBytes * height) << command;
    if (raw.size() != rowBytes * height) return image;
    EXPECT_EQ(ImageAlloc(&image, type, width, height, 72.0), ERROR_NONE);
    for (int y = 0; y < height; y++) {
        const uint8_t *in = (const uint8_t *)raw.data() + rowBytes * y;
        uint8_t *out = image.rows[height - 1 - y];
        for (int x = 0; x < width; x++) {
            for (int c = 0; c < channels; c++) {
                int to = channels == 3 ? 2 - c : c;
                const uint8_t *sample = in + (x * channels + c) * sampleBytes;
                if (sampleBytes == 1) {
                    out[x * channels + to] = sample[0];
                } else {
                    out[(x * channels + to) * 2] = sample[1];
                    out[(x * channels + to) * 2 + 1] = sample[0];
                }
            }
        }
    }
    return image;
}

// ImageMagick's decoding of a file as 8-bit gray or color, or 16-bit.
inline Image MagickImage(const std::string &path, int type, int width, int height)
{
    int deep = type == TYPE_GRAY16 || type == TYPE_COLOR48;
    int color = type == TYPE_COLOR24 || type == TYPE_COLOR48;
    return ToolImage(std::string("convert ") + Quoted(path) +
                         (deep ? " -depth 16 -endian MSB " : " -depth 8 ") +
                         (color ? "rgb:-" : "gray:-"),
                     type, width, height);
}

// exiftool -j -G1 -a -n's fields of a file as "Group:Name" -> the value's text without quotes.
inline std::map<std::string, std::string> ExifToolFields(const std::string &path)
{
    std::map<std::string, std::string> fields;
    std::string output;
    TestRun("exiftool -j -G1 -a -n " + Quoted(path) + " 2>&1", &output);
    size_t start = 0;
    while (start < output.size()) {
        size_t end = output.find('\n', start);
        if (end == std::string::npos) end = output.size();
        std::string line = output.substr(start, end - start);
        start = end + 1;
        size_t open = line.find('"');
        size_t colon = line.find("\": ");
        if (open == std::string::npos || colon == std::string::npos) continue;
        std::string value = line.substr(colon + 3);
        if (!value.empty() && value.back() == ',') value.pop_back();
        if (value.size() >= 2 && value.front() == '"') value = value.substr(1, value.size() - 2);
        fields[line.substr(open + 1, colon - open - 1)] = value;
    }
    return fields;
}

// The fields of one group, such as "ExifIFD:".
inline std::map<std::string, std::string>
FieldGroup(const std::map<std::string, std::string> &fields, const std::string &group)
{
    std::map<std::string, std::string> selected;
    for (const auto &field : fields)
        if (field.first.compare(0, group.size(), group) == 0) selected.insert(field);
    return selected;
}

// The names in a folder, sorted.
inline std::vector<std::string> FolderNames(const std::string &folder)
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

// The comments of a window as (id, name, flags, value) for comparing lists.
struct CommentRecord {
    int id;
    std::string name;
    int flags;
    std::vector<uint8_t> value;
    bool operator==(const CommentRecord &other) const
    {
        return id == other.id && name == other.name && flags == other.flags && value == other.value;
    }
};

inline std::vector<CommentRecord> CommentRecords(const FileComment *comments)
{
    std::vector<CommentRecord> records;
    for (const FileComment *c = comments; c != nullptr; c = c->next)
        records.push_back(
            {c->id, c->name, c->flags, std::vector<uint8_t>(c->value, c->value + c->length)});
    return records;
}

inline void PrintTo(const CommentRecord &record, std::ostream *out)
{
    *out << record.id << " \"" << record.name << "\" flags " << record.flags << " [";
    for (uint8_t byte : record.value)
        *out << (int)byte << " ";
    *out << "]";
}

} // namespace
