// Profile header readers on real profiles (as exiftool reads them) and on damaged bytes.
#include <gtest/gtest.h>

#include <cstring>

#include "color/ProfileHeader.h"
#include "tests/support/TestSupport.h"

static const char *SYSTEM_PROFILES = "/usr/share/color/icc/";

struct ProfileCase {
    const char *file;
};

// The description as exiftool, an independent reader, reports it.
static std::string ExiftoolDescription(const std::string &path)
{
    std::string output;
    TestRun("exiftool -s3 -ProfileDescription '" + path + "'", &output);
    while (!output.empty() && (output.back() == '\n' || output.back() == '\r'))
        output.pop_back();
    return output;
}

TEST(ProfileHeader, ReadsTheDescriptionsOfRealProfilesAsExiftoolDoes)
{
    TestStart();
    for (const char *name :
         {"sRGB.icc", "compatibleWithAdobeRGB1998.icc", "Gray.icc", "ITULab.icc", "LCMSLABI.ICM"}) {
        SCOPED_TRACE(name);
        std::string path = std::string(SYSTEM_PROFILES) + name;
        std::vector<uint8_t> bytes = TestReadFile(path);
        ASSERT_GT(bytes.size(), 132u);
        char text[256];
        EXPECT_EQ(ProfileDescription(bytes.data(), (int)bytes.size(), text, sizeof text),
                  ERROR_NONE);
        EXPECT_EQ(std::string(text), ExiftoolDescription(path));
    }
}

TEST(ProfileHeader, ClassAndColorSpaceComeFromTheHeader)
{
    TestStart();
    std::vector<uint8_t> rgb = TestReadFile(std::string(SYSTEM_PROFILES) + "sRGB.icc");
    std::vector<uint8_t> gray = TestReadFile(std::string(SYSTEM_PROFILES) + "Gray.icc");
    char text[16];
    EXPECT_EQ(ProfileClass(rgb.data(), (int)rgb.size(), text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "mntr");
    EXPECT_EQ(ProfileColorSpace(rgb.data(), (int)rgb.size(), text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "RGB"); // the trailing blank of "RGB " goes
    EXPECT_EQ(ProfileColorSpace(gray.data(), (int)gray.size(), text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "GRAY");
}

TEST(ProfileHeader, MissingShortAndDamagedProfilesHaveTheirWordsAndCodes)
{
    TestStart();
    char text[64];
    EXPECT_EQ(ProfileDescription(nullptr, 0, text, sizeof text), ERROR_NO_PROFILE);
    EXPECT_STREQ(text, "None");
    EXPECT_EQ(ProfileClass(nullptr, 0, text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "none");

    std::vector<uint8_t> shortProfile(100, 0);
    EXPECT_EQ(ProfileDescription(shortProfile.data(), 100, text, sizeof text),
              ERROR_INVALID_PROFILE);
    EXPECT_STREQ(text, "Invalid Profile");
    EXPECT_EQ(ProfileClass(shortProfile.data(), 100, text, sizeof text), ERROR_INVALID_PROFILE);
    EXPECT_STREQ(text, "****");

    // A tag table that claims more tags than the bytes hold, and a desc tag pointing past the
    // end, are refused rather than read.
    std::vector<uint8_t> bytes = TestReadFile(std::string(SYSTEM_PROFILES) + "sRGB.icc");
    std::vector<uint8_t> manyTags = bytes;
    manyTags[128] = 0x7f;
    manyTags[129] = manyTags[130] = manyTags[131] = 0xff;
    manyTags.resize(300);
    EXPECT_EQ(ProfileDescription(manyTags.data(), (int)manyTags.size(), text, sizeof text),
              ERROR_INVALID_PROFILE);
    std::vector<uint8_t> pastEnd = bytes;
    for (size_t entry = 132; entry + 12 <= 132 + 12 * 12; entry += 12) {
        if (memcmp(&pastEnd[entry], "desc", 4) == 0) {
            pastEnd[entry + 4] = 0x7f; // offset far beyond the profile
        }
    }
    EXPECT_EQ(ProfileDescription(pastEnd.data(), (int)pastEnd.size(), text, sizeof text),
              ERROR_INVALID_PROFILE);

    // No desc tag at all.
    std::vector<uint8_t> noTags = bytes;
    noTags[128] = noTags[129] = noTags[130] = noTags[131] = 0;
    EXPECT_EQ(ProfileDescription(noTags.data(), (int)noTags.size(), text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "Unknown");
}

TEST(ProfileHeader, DescriptionIsCutToTheCapacity)
{
    TestStart();
    std::vector<uint8_t> bytes =
        TestReadFile(std::string(SYSTEM_PROFILES) + "compatibleWithAdobeRGB1998.icc");
    char text[9];
    EXPECT_EQ(ProfileDescription(bytes.data(), (int)bytes.size(), text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "Compatib");
}
