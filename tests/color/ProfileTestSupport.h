// Profiles made to order for the color tests: a header of any class and color space with any
// tags, the real profiles Debian installs, and a tokenizer good enough for the lines of a
// .clrmgmt file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "color/Profiles.h"
#include "tests/support/TestSupport.h"

struct TestTag {
    std::string signature;     // four characters
    std::vector<uint8_t> data; // the tag's data, type signature first
};

inline void PutBig32(std::vector<uint8_t> &bytes, size_t offset, uint32_t value)
{
    bytes[offset] = (uint8_t)(value >> 24);
    bytes[offset + 1] = (uint8_t)(value >> 16);
    bytes[offset + 2] = (uint8_t)(value >> 8);
    bytes[offset + 3] = (uint8_t)value;
}

inline void AppendBig32(std::vector<uint8_t> &bytes, uint32_t value)
{
    bytes.resize(bytes.size() + 4);
    PutBig32(bytes, bytes.size() - 4, value);
}

inline void AppendText(std::vector<uint8_t> &bytes, const std::string &text)
{
    bytes.insert(bytes.end(), text.begin(), text.end());
}

// A v2 textDescription tag of text.
inline TestTag TestDescTag(const std::string &text)
{
    TestTag tag{"desc", {}};
    AppendText(tag.data, "desc");
    AppendBig32(tag.data, 0);
    AppendBig32(tag.data, (uint32_t)text.size() + 1);
    AppendText(tag.data, text);
    tag.data.resize(tag.data.size() + 1 + 78);
    return tag;
}

// An XYZ tag of three s15Fixed16 numbers.
inline TestTag TestXyzTag(const std::string &signature, int32_t x, int32_t y, int32_t z)
{
    TestTag tag{signature, {}};
    AppendText(tag.data, "XYZ ");
    AppendBig32(tag.data, 0);
    AppendBig32(tag.data, (uint32_t)x);
    AppendBig32(tag.data, (uint32_t)y);
    AppendBig32(tag.data, (uint32_t)z);
    return tag;
}

// A curv tag with the given 16-bit points (one point is a gamma in 8.8 form).
inline TestTag TestCurveTag(const std::string &signature, const std::vector<uint16_t> &points)
{
    TestTag tag{signature, {}};
    AppendText(tag.data, "curv");
    AppendBig32(tag.data, 0);
    AppendBig32(tag.data, (uint32_t)points.size());
    for (uint16_t point : points) {
        tag.data.push_back((uint8_t)(point >> 8));
        tag.data.push_back((uint8_t)point);
    }
    return tag;
}

// A profile of class and color space (four characters each) with the tags in this order,
// each aligned to 4 bytes after the table; the header carries 'acsp' and the size.
inline std::vector<uint8_t> TestProfileBytes(const std::string &profileClass,
                                             const std::string &colorSpace,
                                             const std::vector<TestTag> &tags)
{
    std::vector<uint8_t> bytes(128, 0);
    PutBig32(bytes, 8, 0x02100000);
    for (int i = 0; i < 4; i++) {
        bytes[12 + i] = (uint8_t)profileClass[i];
        bytes[16 + i] = (uint8_t)colorSpace[i];
        bytes[20 + i] = (uint8_t) "XYZ "[i];
        bytes[36 + i] = (uint8_t) "acsp"[i];
    }
    AppendBig32(bytes, (uint32_t)tags.size());
    size_t dataOffset = bytes.size() + 12 * tags.size();
    std::vector<uint8_t> data;
    for (const TestTag &tag : tags) {
        AppendText(bytes, tag.signature);
        AppendBig32(bytes, (uint32_t)(dataOffset + data.size()));
        AppendBig32(bytes, (uint32_t)tag.data.size());
        data.insert(data.end(), tag.data.begin(), tag.data.end());
        while (data.size() % 4 != 0)
            data.push_back(0);
    }
    bytes.insert(bytes.end(), data.begin(), data.end());
    PutBig32(bytes, 0, (uint32_t)bytes.size());
    return bytes;
}

// A matrix display profile as Vistel makes them: colorants of sRGB, a plain gamma.
inline std::vector<uint8_t> TestDisplayProfile(const char *description, int gammaTimes256,
                                               int32_t whiteX = 0xf351)
{
    DisplayColorants colorants = {{whiteX, 0x10000, 0x116cc},
                                  {0x6fa2, 0x38f5, 0x390},
                                  {0x6299, 0xb785, 0x18da},
                                  {0x24a0, 0xf84, 0xb6cf}};
    std::vector<uint8_t> bytes(DISPLAY_PROFILE_BUFFER);
    int length = 0;
    EXPECT_EQ(DisplayProfileMake(description, gammaTimes256, &colorants, nullptr, nullptr, nullptr,
                                 bytes.data(), &length),
              ERROR_NONE);
    bytes.resize((size_t)length);
    return bytes;
}

// Real profiles that Debian's icc-profiles-free, colord-data and libgs-common install.
inline std::string SystemProfile(const std::string &name)
{
    return "/usr/share/color/icc/" + name;
}
const std::string SYSTEM_SRGB = SystemProfile("sRGB.icc");
const std::string SYSTEM_ADOBE = SystemProfile("compatibleWithAdobeRGB1998.icc");
const std::string SYSTEM_WIDE = SystemProfile("colord/WideGamutRGB.icc");
const std::string SYSTEM_BLUISH = SystemProfile("colord/Bluish.icc");
const std::string SYSTEM_CMYK = SystemProfile("ghostscript/default_cmyk.icc");
const std::string SYSTEM_GRAY = SystemProfile("Gray.icc");
const std::string SYSTEM_LAB = SystemProfile("ITULab.icc");

// Splits a settings line into words, a quoted run being one word without its quotes.
inline std::vector<std::string> TestTokenize(const std::string &line)
{
    std::vector<std::string> words;
    size_t i = 0;
    while (i < line.size()) {
        if (line[i] == ' ') {
            i++;
            continue;
        }
        std::string word;
        if (line[i] == '"') {
            size_t end = line.find('"', i + 1);
            word = line.substr(i + 1, end - i - 1);
            i = end + 1;
        } else {
            size_t end = line.find(' ', i);
            if (end == std::string::npos) end = line.size();
            word = line.substr(i, end - i);
            i = end;
        }
        words.push_back(word);
    }
    return words;
}
