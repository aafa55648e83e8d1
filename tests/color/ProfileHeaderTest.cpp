// Tests of the profile header readers: hand-made profiles for each rule and each damage, the
// real profiles Debian installs checked against exiftool and Little CMS, and every
// truncation of a real profile.
#include "color/ProfileHeader.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <map>

#include "tests/color/ProfileTestSupport.h"

static std::string Description(const std::vector<uint8_t> &bytes, ErrorCode *code = nullptr)
{
    char text[PROFILE_DESCRIPTION_MAX];
    ErrorCode result = ProfileDescription(bytes.empty() ? nullptr : bytes.data(), (int)bytes.size(),
                                          text, sizeof text);
    if (code != nullptr) *code = result;
    return text;
}

TEST(ProfileHeader, DescriptionOfNoBytesShortAndMissingTag)
{
    TestStart();
    ErrorCode code;
    EXPECT_EQ(Description({}, &code), "None");
    EXPECT_EQ(code, ERROR_NO_PROFILE);

    // A 100-byte profile, and one that ends just before its tag table, are both too short.
    for (size_t size : {100, 131}) {
        SCOPED_TRACE(size);
        std::vector<uint8_t> shortProfile(size, 0);
        EXPECT_EQ(Description(shortProfile, &code), "Invalid Profile");
        EXPECT_EQ(code, ERROR_INVALID_PROFILE);
    }

    std::vector<uint8_t> noDesc =
        TestProfileBytes("mntr", "RGB ", {TestXyzTag("wtpt", 0xf351, 0x10000, 0x116cc)});
    EXPECT_EQ(Description(noDesc, &code), "Unknown");
    EXPECT_EQ(code, ERROR_NONE);

    std::vector<uint8_t> withDesc = TestProfileBytes(
        "mntr", "RGB ", {TestXyzTag("wtpt", 1, 2, 3), TestDescTag("Studio Display")});
    EXPECT_EQ(Description(withDesc, &code), "Studio Display");
    EXPECT_EQ(code, ERROR_NONE);
}

TEST(ProfileHeader, DescriptionIsCutToCapacityAndKeepsPrintableText)
{
    TestStart();
    std::vector<uint8_t> bytes =
        TestProfileBytes("mntr", "RGB ", {TestDescTag(std::string("Caf\xe9 Proof\x01X"))});
    EXPECT_EQ(Description(bytes), "Caf? Proof?X");
    char text[5];
    EXPECT_EQ(ProfileDescription(bytes.data(), (int)bytes.size(), text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "Caf?");
}

TEST(ProfileHeader, DescriptionOfVersion4AndTextTags)
{
    TestStart();
    // multiLocalizedUnicode: one record, "Wide" in UTF-16 at offset 28 of the tag.
    TestTag mluc{"desc", {}};
    AppendText(mluc.data, "mluc");
    AppendBig32(mluc.data, 0);
    AppendBig32(mluc.data, 1);  // records
    AppendBig32(mluc.data, 12); // record size
    AppendText(mluc.data, "enUS");
    AppendBig32(mluc.data, 8);  // bytes of text
    AppendBig32(mluc.data, 28); // offset of text
    for (char c : std::string("Wide"))
        mluc.data.insert(mluc.data.end(), {0, (uint8_t)c});
    EXPECT_EQ(Description(TestProfileBytes("mntr", "RGB ", {mluc})), "Wide");

    TestTag text{"desc", {}};
    AppendText(text.data, "text");
    AppendBig32(text.data, 0);
    AppendText(text.data, "Plain");
    text.data.push_back(0);
    EXPECT_EQ(Description(TestProfileBytes("mntr", "RGB ", {text})), "Plain");
}

TEST(ProfileHeader, DamagedTablesAndTagsAreInvalid)
{
    TestStart();
    const std::vector<uint8_t> good = TestProfileBytes(
        "mntr", "RGB ", {TestXyzTag("wtpt", 1, 2, 3), TestDescTag("Good Profile")});
    ASSERT_EQ(Description(good), "Good Profile");
    const size_t descEntry = 132 + 12; // the second entry of the table

    struct Damage {
        const char *name;
        size_t offset;
        uint32_t value;
    } damages[] = {
        {"tag count past the end", 128, 1000},
        {"tag count of 2^32 - 1", 128, 0xffffffff},
        {"desc offset past the end", descEntry + 4, (uint32_t)good.size()},
        {"desc offset near 2^32", descEntry + 4, 0xfffffff0},
        {"desc size past the end", descEntry + 8, (uint32_t)good.size()},
        {"desc size under a type", descEntry + 8, 4},
        {"desc text count huge", 0, 0x7fffffff},
        {"desc text count past its tag", 0, 200},
    };
    uint32_t descOffset = (good[descEntry + 4] << 24) | (good[descEntry + 5] << 16) |
                          (good[descEntry + 6] << 8) | good[descEntry + 7];
    for (const Damage &damage : damages) {
        SCOPED_TRACE(damage.name);
        std::vector<uint8_t> bytes = good;
        size_t offset = damage.offset != 0 ? damage.offset : descOffset + 8;
        PutBig32(bytes, offset, damage.value);
        ErrorCode code;
        EXPECT_EQ(Description(bytes, &code), "Invalid Profile");
        EXPECT_EQ(code, ERROR_INVALID_PROFILE);
        EXPECT_FALSE(SameProfile(bytes.data(), (int)bytes.size(), good.data(), (int)good.size()));
    }
}

TEST(ProfileHeader, HostileProfilesGiveTheirCodes)
{
    TestStart();
    struct Case {
        const char *file;
        ErrorCode code;
        const char *description;
        const char *profileClass;
        const char *space;
    } cases[] = {
        {"profile-short-header.icc", ERROR_INVALID_PROFILE, "Invalid Profile", "****", "****"},
        {"profile-tag-table-past-end.icc", ERROR_INVALID_PROFILE, "Invalid Profile", "mntr", "RGB"},
        {"profile-tag-offset-past-end.icc", ERROR_INVALID_PROFILE, "Invalid Profile", "mntr",
         "RGB"},
        {"profile-desc-huge-length.icc", ERROR_INVALID_PROFILE, "Invalid Profile", "mntr", "RGB"},
        {"profile-truncated-tag.icc", ERROR_INVALID_PROFILE, "Invalid Profile", "mntr", "RGB"},
        {"profile-mluc-past-end.icc", ERROR_INVALID_PROFILE, "Invalid Profile", "mntr", "RGB"},
        {"profile-printer-class.icc", ERROR_NONE, "Hostile Printer", "prtr", "CMYK"},
        {"profile-gray-space.icc", ERROR_NONE, "Hostile Gray", "mntr", "GRAY"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        std::vector<uint8_t> bytes = TestReadFile(TestDataPath(std::string("hostile/") + c.file));
        ASSERT_FALSE(bytes.empty());
        ErrorCode code;
        EXPECT_EQ(Description(bytes, &code), c.description);
        EXPECT_EQ(code, c.code);
        char text[8];
        ProfileClass(bytes.data(), (int)bytes.size(), text, sizeof text);
        EXPECT_STREQ(text, c.profileClass);
        ProfileColorSpace(bytes.data(), (int)bytes.size(), text, sizeof text);
        EXPECT_STREQ(text, c.space);
        // A profile whose description cannot be read is never the same as another.
        EXPECT_EQ(SameProfile(bytes.data(), (int)bytes.size(), bytes.data(), (int)bytes.size()),
                  c.code == ERROR_NONE);
    }
}

TEST(ProfileHeader, ClassAndColorSpace)
{
    TestStart();
    char text[8];
    EXPECT_EQ(ProfileClass(nullptr, 0, text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "none");
    EXPECT_EQ(ProfileColorSpace(nullptr, 0, text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "none");
    std::vector<uint8_t> tooShort(127, 'x');
    EXPECT_EQ(ProfileClass(tooShort.data(), 127, text, sizeof text), ERROR_INVALID_PROFILE);
    EXPECT_STREQ(text, "****");
    EXPECT_EQ(ProfileColorSpace(tooShort.data(), 127, text, sizeof text), ERROR_INVALID_PROFILE);
    EXPECT_STREQ(text, "****");

    // One trailing blank goes; four-letter spaces stay whole.
    struct Case {
        const char *profileClass;
        const char *space;
        const char *shown;
    } cases[] = {{"mntr", "RGB ", "RGB"},
                 {"prtr", "CMYK", "CMYK"},
                 {"spac", "Lab ", "Lab"},
                 {"scnr", "GRAY", "GRAY"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.space);
        std::vector<uint8_t> bytes = TestProfileBytes(c.profileClass, c.space, {});
        EXPECT_EQ(ProfileClass(bytes.data(), 128, text, sizeof text), ERROR_NONE);
        EXPECT_STREQ(text, c.profileClass);
        EXPECT_EQ(ProfileColorSpace(bytes.data(), 128, text, sizeof text), ERROR_NONE);
        EXPECT_STREQ(text, c.shown);
    }
}

// Text as our reader shows it: every character outside printable ASCII becomes '?'.
static std::string AsciiShown(const std::string &utf8)
{
    std::string shown;
    for (size_t i = 0; i < utf8.size(); i++) {
        unsigned char c = (unsigned char)utf8[i];
        if (c < 0x80) {
            shown += (char)c;
            continue;
        }
        shown += '?';
        while (i + 1 < utf8.size() && ((unsigned char)utf8[i + 1] & 0xc0) == 0x80)
            i++;
    }
    return shown;
}

// exiftool's first value of each asked tag of each file, in one run over all of them.
static std::map<std::string, std::map<std::string, std::string>>
ExiftoolValues(const std::vector<std::string> &paths, const std::string &tags)
{
    std::string command = "exiftool -a -n -s " + tags;
    for (const std::string &path : paths)
        command += " '" + path + "'";
    std::string output;
    TestRun(command, &output);
    std::map<std::string, std::map<std::string, std::string>> values;
    std::string file = paths.size() == 1 ? paths[0] : "";
    for (size_t start = 0; start < output.size();) {
        size_t end = output.find('\n', start);
        if (end == std::string::npos) end = output.size();
        std::string line = output.substr(start, end - start);
        start = end + 1;
        if (line.rfind("======== ", 0) == 0) {
            file = line.substr(9);
            continue;
        }
        size_t colon = line.find(" : ");
        if (colon == std::string::npos) continue;
        std::string tag = line.substr(0, line.find(' '));
        if (values[file].count(tag) == 0) values[file][tag] = AsciiShown(line.substr(colon + 3));
    }
    return values;
}

static std::vector<std::string> SystemProfiles(void)
{
    std::string output;
    TestRun("find /usr/share/color/icc -type f \\( -iname '*.icc' -o -iname '*.icm' \\) | sort",
            &output);
    std::vector<std::string> paths;
    for (size_t start = 0; start < output.size();) {
        size_t end = output.find('\n', start);
        if (end == std::string::npos) end = output.size();
        if (end > start) paths.push_back(output.substr(start, end - start));
        start = end + 1;
    }
    return paths;
}

TEST(ProfileHeader, RealProfilesReadAsExiftoolReadsThem)
{
    TestStart();
    std::vector<std::string> paths = SystemProfiles();
    // icc-profiles-free, colord-data and libgs-common together install more than 40.
    ASSERT_GE(paths.size(), 40u);
    auto expected = ExiftoolValues(paths, "-ProfileDescription -ProfileClass -ColorSpaceData");
    for (const std::string &path : paths) {
        SCOPED_TRACE(path);
        std::vector<uint8_t> bytes = TestReadFile(path);
        ErrorCode code;
        std::string description = Description(bytes, &code);
        EXPECT_EQ(code, ERROR_NONE);
        EXPECT_EQ(description, expected[path]["ProfileDescription"]);
        char text[8];
        ProfileClass(bytes.data(), (int)bytes.size(), text, sizeof text);
        EXPECT_EQ(std::string(text), expected[path]["ProfileClass"]);
        ProfileColorSpace(bytes.data(), (int)bytes.size(), text, sizeof text);
        EXPECT_EQ(std::string(text), expected[path]["ColorSpaceData"]);
        EXPECT_TRUE(ProfileLooksValid(bytes.data(), (int)bytes.size()));
    }
}

TEST(ProfileHeader, EveryTruncationOfARealProfileGivesTheTextOrInvalid)
{
    TestStart();
    for (const std::string &path : {SYSTEM_SRGB, SYSTEM_WIDE}) {
        SCOPED_TRACE(path);
        std::vector<uint8_t> bytes = TestReadFile(path);
        std::string whole = Description(bytes);
        for (size_t size = 1; size < bytes.size(); size++) {
            // A fresh buffer of exactly this size, so that AddressSanitizer sees any overrun.
            std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + (long)size);
            ErrorCode code;
            std::string text = Description(cut, &code);
            if (code == ERROR_NONE)
                ASSERT_EQ(text, whole) << "at " << size;
            else
                ASSERT_EQ(code, ERROR_INVALID_PROFILE) << "at " << size;
            double gamma;
            ProfileGamma(cut.data(), (int)size, &gamma);
            ASSERT_GT(gamma, 0.0);
        }
    }
}

TEST(ProfileHeader, PrimariesOfAMadeProfileAreItsNumbersOver65536)
{
    TestStart();
    std::vector<uint8_t> bytes = TestProfileBytes(
        "mntr", "RGB ",
        {TestXyzTag("wtpt", 0x10000, 0x8000, -0x4000), TestXyzTag("rXYZ", 1, 0, 0x7fffffff),
         TestXyzTag("gXYZ", 0, 0x18000, 0), TestXyzTag("bXYZ", 0x20000, 0, 65536 * 3)});
    double white[3], red[3], green[3], blue[3];
    EXPECT_EQ(ProfilePrimaries(bytes.data(), (int)bytes.size(), white, red, green, blue),
              ERROR_NONE);
    EXPECT_EQ(white[0], 1.0);
    EXPECT_EQ(white[1], 0.5);
    EXPECT_EQ(white[2], -0.25); // s15Fixed16 numbers are signed
    EXPECT_EQ(red[0], 1.0 / 65536);
    EXPECT_EQ(red[2], 0x7fffffff / 65536.0);
    EXPECT_EQ(green[1], 1.5);
    EXPECT_EQ(blue[0], 2.0);
    EXPECT_EQ(blue[2], 3.0);
}

TEST(ProfileHeader, PrimariesWithAMissingOrDamagedTagKeepSrgb)
{
    TestStart();
    double white[3], red[3], green[3], blue[3];
    std::vector<uint8_t> gray = TestReadFile(SYSTEM_GRAY);
    EXPECT_EQ(ProfilePrimaries(gray.data(), (int)gray.size(), white, red, green, blue),
              ERROR_NOT_COLOR_SPACE_PROFILE);
    EXPECT_EQ(red[0], 0.4361);
    EXPECT_EQ(white[0], 0.9505);

    TestTag shortXyz{"gXYZ", {'X', 'Y', 'Z', ' ', 0, 0, 0, 0, 0, 0, 0, 1}};
    std::vector<uint8_t> bytes =
        TestProfileBytes("mntr", "RGB ",
                         {TestXyzTag("wtpt", 1, 1, 1), TestXyzTag("rXYZ", 1, 1, 1), shortXyz,
                          TestXyzTag("bXYZ", 1, 1, 1)});
    EXPECT_EQ(ProfilePrimaries(bytes.data(), (int)bytes.size(), white, red, green, blue),
              ERROR_INVALID_PROFILE);
    EXPECT_EQ(red[0], 0.4361);
}

TEST(ProfileHeader, PrimariesOfRealProfilesAgreeWithLittleCms)
{
    TestStart();
    for (const std::string &path : {SYSTEM_SRGB, SYSTEM_ADOBE, SYSTEM_WIDE}) {
        SCOPED_TRACE(path);
        std::vector<uint8_t> bytes = TestReadFile(path);
        double white[3], red[3], green[3], blue[3];
        ASSERT_EQ(ProfilePrimaries(bytes.data(), (int)bytes.size(), white, red, green, blue),
                  ERROR_NONE);
        cmsHPROFILE profile = cmsOpenProfileFromMem(bytes.data(), (cmsUInt32Number)bytes.size());
        ASSERT_NE(profile, nullptr);
        const cmsCIEXYZ *engineRed = (const cmsCIEXYZ *)cmsReadTag(profile, cmsSigRedColorantTag);
        const cmsCIEXYZ *engineBlue = (const cmsCIEXYZ *)cmsReadTag(profile, cmsSigBlueColorantTag);
        ASSERT_NE(engineRed, nullptr);
        EXPECT_NEAR(red[0], engineRed->X, 1e-9);
        EXPECT_NEAR(red[1], engineRed->Y, 1e-9);
        EXPECT_NEAR(blue[2], engineBlue->Z, 1e-9);
        cmsCloseProfile(profile);
    }
}

static double GammaOf(const std::vector<uint8_t> &bytes, ErrorCode *code = nullptr)
{
    double gamma = -1.0;
    ErrorCode result =
        ProfileGamma(bytes.empty() ? nullptr : bytes.data(), (int)bytes.size(), &gamma);
    if (code != nullptr) *code = result;
    return gamma;
}

TEST(ProfileHeader, GammaOfEachKindOfCurve)
{
    TestStart();
    const double standard = 2.2222222222222223;
    EXPECT_EQ(GammaOf({}), standard);
    EXPECT_EQ(GammaOf(TestProfileBytes("mntr", "RGB ", {TestCurveTag("rTRC", {})})), 1.0);
    EXPECT_EQ(GammaOf(TestProfileBytes("mntr", "RGB ", {TestCurveTag("gTRC", {563})})),
              563.0 / 256);
    EXPECT_EQ(GammaOf(TestProfileBytes("mntr", "RGB ", {TestCurveTag("bTRC", {0, 65535})})),
              standard);
    // Named as sRGB, the curve is not even read.
    EXPECT_EQ(GammaOf(TestProfileBytes(
                  "mntr", "RGB ", {TestDescTag("sRGB IEC61966-2.1"), TestCurveTag("rTRC", {256})})),
              standard);
    // No curve at all: the default.
    EXPECT_EQ(GammaOf(TestProfileBytes("mntr", "RGB ", {TestDescTag("x")})), standard);
    // Of several curves, the last in the table.
    EXPECT_EQ(GammaOf(TestProfileBytes("mntr", "RGB ",
                                       {TestCurveTag("bTRC", {461}), TestCurveTag("rTRC", {614})})),
              614.0 / 256);
    EXPECT_EQ(GammaOf(TestProfileBytes("mntr", "RGB ",
                                       {TestCurveTag("rTRC", {614}), TestCurveTag("gTRC", {}),
                                        TestCurveTag("bTRC", {461})})),
              461.0 / 256);
    // A damaged curve is invalid, with the default.
    TestTag shortCurve{"rTRC", {'c', 'u', 'r', 'v', 0, 0, 0, 0, 0, 0, 0, 1}};
    ErrorCode code;
    EXPECT_EQ(GammaOf(TestProfileBytes("mntr", "RGB ", {shortCurve}), &code), 2.2222222222222223);
    EXPECT_EQ(code, ERROR_INVALID_PROFILE);
    // Adobe RGB's curves are the power 563 / 256; colord's sRGB is a parametric curve with a
    // linear toe, read as the default.
    EXPECT_EQ(GammaOf(TestReadFile(SYSTEM_ADOBE)), 563.0 / 256);
    EXPECT_EQ(GammaOf(TestReadFile(SystemProfile("colord/sRGB.icc"))), 2.2222222222222223);
    EXPECT_NEAR(GammaOf(TestReadFile(SYSTEM_WIDE)), 2.2, 0.01);
}

TEST(ProfileHeader, SameProfileComparesDescriptions)
{
    TestStart();
    std::vector<uint8_t> a = TestDisplayProfile("Studio Monitor", 563, 0xf351);
    std::vector<uint8_t> b = TestDisplayProfile("studio monitor", 461, 0xf6d6);
    std::vector<uint8_t> c = TestDisplayProfile("Another Monitor", 563, 0xf351);
    ASSERT_NE(a, b);
    EXPECT_TRUE(SameProfile(nullptr, 0, nullptr, 0));
    EXPECT_FALSE(SameProfile(a.data(), (int)a.size(), nullptr, 0));
    EXPECT_FALSE(SameProfile(nullptr, 0, a.data(), (int)a.size()));
    EXPECT_TRUE(SameProfile(a.data(), (int)a.size(), b.data(), (int)b.size()));
    EXPECT_FALSE(SameProfile(a.data(), (int)a.size(), c.data(), (int)c.size()));
    // Two profiles whose descriptions cannot be read are not the same, even byte for byte.
    std::vector<uint8_t> broken(100, 0);
    EXPECT_FALSE(SameProfile(broken.data(), 100, broken.data(), 100));
}

TEST(ProfileHeader, ManufacturerFromTagOrHeader)
{
    TestStart();
    char text[64];
    std::vector<uint8_t> bytes = TestReadFile(SYSTEM_SRGB);
    EXPECT_EQ(ProfileManufacturer(bytes.data(), (int)bytes.size(), text, sizeof text), ERROR_NONE);
    // The text of the dmnd tag, which exiftool calls DeviceMfgDesc.
    EXPECT_EQ(std::string(text),
              ExiftoolValues({SYSTEM_SRGB}, "-DeviceMfgDesc")[SYSTEM_SRGB]["DeviceMfgDesc"]);
    std::vector<uint8_t> anonymous = TestProfileBytes("mntr", "RGB ", {});
    EXPECT_EQ(ProfileManufacturer(anonymous.data(), (int)anonymous.size(), text, sizeof text),
              ERROR_NO_PROFILE);
    EXPECT_STREQ(text, "");
}
