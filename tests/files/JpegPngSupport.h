// What the JPEG, PNG, TIFF writer and metadata tests share: windows made to order, pictures
// decoded by an independent tool, exiftool's view of a file, and comments as plain records.
#pragma once

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "core/Memory.h"
#include "core/Picture.h"
#include "tests/files/FormatToolSupport.h"

namespace {

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

// exiftool -j -G1 -a -n's fields of a file, with options, as "Group:Name" -> the value's text
// without quotes.
inline std::map<std::string, std::string> ExifToolFields(const std::string &path,
                                                         const std::string &options = "")
{
    std::map<std::string, std::string> fields;
    std::string output;
    TestRun("exiftool -j -G1 -a -n " + options + " " + Quote(path) + " 2>&1", &output);
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

// A 40 x 30 JPEG by cjpeg, or TIFF by ImageMagick, with exiftool's assignments, in the byte
// order given.
inline std::string ExiftoolFile(const std::string &folder, const std::string &name, int bigEndian,
                                const std::string &assignments,
                                const std::string &extension = "jpg")
{
    std::string base = folder + "/" + name + "-base." + extension;
    std::string path = folder + "/" + name + "." + extension;
    std::string order = bigEndian ? "MM " : "II ";
    remove(path.c_str());
    if (extension == "jpg")
        EXPECT_EQ(
            TestRun("convert -seed 4 -size 40x30 plasma:fractal ppm:- | cjpeg > " + Quote(base)),
            0);
    else
        EXPECT_EQ(
            TestRun("convert -seed 4 -size 40x30 plasma:fractal -depth 8 -define tiff:endian=" +
                    std::string(bigEndian ? "msb " : "lsb ") + Quote(base)),
            0);
    // A TIFF's EXIF takes the byte order of its file.
    EXPECT_EQ(TestRun("exiftool -q -o " + Quote(path) +
                      (extension == "jpg" ? " -ExifByteOrder=" + order : " ") + assignments + " " +
                      Quote(base)),
              0);
    return path;
}

// Numbers as this machine holds them, as comments hold their values.
template <typename T> std::vector<uint8_t> Native(std::initializer_list<T> values)
{
    std::vector<uint8_t> bytes(values.size() * sizeof(T));
    size_t at = 0;
    for (T v : values) {
        memcpy(bytes.data() + at, &v, sizeof(T));
        at += sizeof(T);
    }
    return bytes;
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
