// Tests of profiles as files: the display profiles we make, byte by byte and as Little
// CMS's tools and exiftool read them; the lists and searches of the color folders; the
// built-in sRGB profile.
#include "color/Profiles.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <lcms2.h>

#include "core/Helpers.h"
#include "core/Memory.h"
#include "core/Text.h"
#include "tests/color/ProfileTestSupport.h"

static uint32_t Big32(const std::vector<uint8_t> &bytes, size_t offset)
{
    return ((uint32_t)bytes[offset] << 24) | ((uint32_t)bytes[offset + 1] << 16) |
           ((uint32_t)bytes[offset + 2] << 8) | bytes[offset + 3];
}

static uint32_t Big16(const std::vector<uint8_t> &bytes, size_t offset)
{
    return ((uint32_t)bytes[offset] << 8) | bytes[offset + 1];
}

static std::string Signature(const std::vector<uint8_t> &bytes, size_t offset)
{
    return std::string((const char *)bytes.data() + offset, 4);
}

static const DisplayColorants SRGB_COLORANTS = {{0xf351, 0x10000, 0x116cc},
                                                {0x6fa2, 0x38f5, 0x390},
                                                {0x6299, 0xb785, 0x18da},
                                                {0x24a0, 0xf84, 0xb6cf}};

static std::vector<uint8_t> MakeDisplay(const char *description, int gammaTimes256,
                                        const uint16_t *curve = nullptr)
{
    std::vector<uint8_t> buffer(DISPLAY_PROFILE_BUFFER, 0xee);
    int length = 0;
    EXPECT_EQ(DisplayProfileMake(description, gammaTimes256, &SRGB_COLORANTS, curve, curve, curve,
                                 buffer.data(), &length),
              ERROR_NONE);
    buffer.resize((size_t)length);
    return buffer;
}

TEST(DisplayProfile, HeaderHoldsTheFixedFieldsAndTheClock)
{
    TestStart();
    int dateBefore = DateStamp();
    std::vector<uint8_t> bytes = MakeDisplay("Test Display", 563);
    int dateAfter = DateStamp();
    // The class, space, version and CMM are exiftool's to read below.
    EXPECT_EQ(Big32(bytes, 0), bytes.size());
    EXPECT_EQ(Signature(bytes, 20), "XYZ ");
    int date = (int)Big16(bytes, 24) * 10000 + (int)Big16(bytes, 26) * 100 + (int)Big16(bytes, 28);
    EXPECT_TRUE(date == dateBefore || date == dateAfter) << date;
    EXPECT_LT(Big16(bytes, 30), 24u);
    EXPECT_LT(Big16(bytes, 32), 60u);
    EXPECT_LT(Big16(bytes, 34), 61u);
    EXPECT_EQ(Signature(bytes, 36), "acsp");
    EXPECT_EQ(Signature(bytes, 40), "MSFT");
    EXPECT_EQ(Big32(bytes, 44), 0u);
    EXPECT_EQ(Signature(bytes, 48), "N/A ");
    EXPECT_EQ(Signature(bytes, 52), "N/A ");
    for (int i = 56; i < 68; i++)
        EXPECT_EQ(bytes[i], 0) << i;
    EXPECT_EQ(Big32(bytes, 68), 0xf6d6u);
    EXPECT_EQ(Big32(bytes, 72), 0x10000u);
    EXPECT_EQ(Big32(bytes, 76), 0xd32du);
    EXPECT_EQ(Signature(bytes, 80), "CV&I");
    for (int i = 84; i < 128; i++)
        EXPECT_EQ(bytes[i], 0) << i;
}

TEST(DisplayProfile, TagTableOffsetsAndSizesWorkedOutByHand)
{
    TestStart();
    // The notice "Profile made with Vistel in YYYY" is 32 characters: text tag of 8 + 33
    // bytes at 240, so the description starts at 284. "Test Display" has 12 characters:
    // declared 103, next at 388. Then four XYZ tags of 20, and curves of 14 taking 16 each.
    struct Entry {
        const char *signature;
        uint32_t offset;
        uint32_t size;
    } gammaEntries[] = {{"cprt", 240, 41}, {"desc", 284, 103}, {"wtpt", 388, 20},
                        {"rXYZ", 408, 20}, {"gXYZ", 428, 20},  {"bXYZ", 448, 20},
                        {"rTRC", 468, 14}, {"gTRC", 484, 14},  {"bTRC", 500, 14}};
    std::vector<uint8_t> bytes = MakeDisplay("Test Display", 563);
    ASSERT_EQ(bytes.size(), 516u);
    EXPECT_EQ(Big32(bytes, 128), 9u);
    for (int i = 0; i < 9; i++) {
        SCOPED_TRACE(gammaEntries[i].signature);
        EXPECT_EQ(Signature(bytes, 132 + 12 * i), gammaEntries[i].signature);
        EXPECT_EQ(Big32(bytes, 136 + 12 * i), gammaEntries[i].offset);
        EXPECT_EQ(Big32(bytes, 140 + 12 * i), gammaEntries[i].size);
    }
    // desc: type, 0, length with terminator, the text, then 78 zero bytes.
    EXPECT_EQ(Signature(bytes, 284), "desc");
    EXPECT_EQ(Big32(bytes, 288), 0u);
    EXPECT_EQ(Big32(bytes, 292), 13u);
    EXPECT_EQ(std::string((const char *)bytes.data() + 296), "Test Display");
    for (int i = 296 + 13; i < 284 + 103; i++)
        EXPECT_EQ(bytes[i], 0) << i;
    EXPECT_EQ(Signature(bytes, 240), "text");
    std::string notice((const char *)bytes.data() + 248);
    EXPECT_EQ(notice.rfind("Profile made with Vistel in ", 0), 0u);
    // XYZ and curve data.
    EXPECT_EQ(Signature(bytes, 408), "XYZ ");
    EXPECT_EQ(Big32(bytes, 416), 0x6fa2u);
    EXPECT_EQ(Big32(bytes, 420), 0x38f5u);
    EXPECT_EQ(Big32(bytes, 424), 0x390u);
    EXPECT_EQ(Signature(bytes, 500), "curv");
    EXPECT_EQ(Big32(bytes, 508), 1u);
    EXPECT_EQ(Big16(bytes, 512), 563u);

    // With tables each curve takes 524 bytes.
    uint16_t curve[DISPLAY_CURVE_POINTS];
    for (int i = 0; i < DISPLAY_CURVE_POINTS; i++)
        curve[i] = (uint16_t)(i * 257);
    std::vector<uint8_t> tabled = MakeDisplay("Test Display", 0, curve);
    ASSERT_EQ(tabled.size(), 2040u);
    EXPECT_EQ(Big32(tabled, 136 + 12 * 6), 468u);
    EXPECT_EQ(Big32(tabled, 140 + 12 * 6), 524u);
    EXPECT_EQ(Big32(tabled, 136 + 12 * 7), 992u);
    EXPECT_EQ(Big32(tabled, 136 + 12 * 8), 1516u);
    EXPECT_EQ(Big32(tabled, 1516 + 8), 256u);
    EXPECT_EQ(Big16(tabled, 1516 + 12 + 2 * 255), 65535u);
    EXPECT_EQ(Big16(tabled, 1516 + 12 + 2 * 128), 128u * 257);
}

TEST(DisplayProfile, LongDescriptionIsCutAndGammaIsChecked)
{
    TestStart();
    std::string longText(5000, 'd');
    std::vector<uint8_t> bytes = MakeDisplay(longText.c_str(), 256);
    char text[PROFILE_DESCRIPTION_MAX];
    EXPECT_EQ(ProfileDescription(bytes.data(), (int)bytes.size(), text, sizeof text), ERROR_NONE);
    EXPECT_EQ(std::string(text), std::string(PROFILE_DESCRIPTION_MAX - 1, 'd'));

    std::vector<uint8_t> buffer(DISPLAY_PROFILE_BUFFER);
    int length = -1;
    for (int gamma : {0, -5, 65536}) {
        SCOPED_TRACE(gamma);
        EXPECT_EQ(DisplayProfileMake("x", gamma, &SRGB_COLORANTS, nullptr, nullptr, nullptr,
                                     buffer.data(), &length),
                  ERROR_ILLEGAL_OUTPUT_GAMMA);
        EXPECT_EQ(length, 0);
    }
}

TEST(DisplayProfile, ReadBackByOurReadersAndByLittleCms)
{
    TestStart();
    std::vector<uint8_t> bytes = MakeDisplay("Read Back", 461); // gamma 1.80
    double white[3], red[3], green[3], blue[3], gamma;
    ASSERT_EQ(ProfilePrimaries(bytes.data(), (int)bytes.size(), white, red, green, blue),
              ERROR_NONE);
    EXPECT_EQ(white[2], 0x116cc / 65536.0);
    EXPECT_EQ(green[1], 0xb785 / 65536.0);
    ASSERT_EQ(ProfileGamma(bytes.data(), (int)bytes.size(), &gamma), ERROR_NONE);
    EXPECT_EQ(gamma, 461.0 / 256);

    cmsHPROFILE profile = cmsOpenProfileFromMem(bytes.data(), (cmsUInt32Number)bytes.size());
    ASSERT_NE(profile, nullptr);
    EXPECT_EQ(cmsGetDeviceClass(profile), cmsSigDisplayClass);
    EXPECT_EQ(cmsGetColorSpace(profile), cmsSigRgbData);
    EXPECT_TRUE(cmsIsMatrixShaper(profile));
    char description[64];
    cmsGetProfileInfoASCII(profile, cmsInfoDescription, "en", "US", description,
                           sizeof description);
    EXPECT_STREQ(description, "Read Back");
    const cmsToneCurve *curve = (const cmsToneCurve *)cmsReadTag(profile, cmsSigRedTRCTag);
    ASSERT_NE(curve, nullptr);
    EXPECT_NEAR(cmsEstimateGamma(curve, 0.01), 461.0 / 256, 0.01);
    cmsCloseProfile(profile);
}

TEST(DisplayProfile, FileIsAcceptedByLittleCmsToolsAndExiftool)
{
    TestStart();
    std::string folder = TestOutputFolder("DisplayProfileTools");
    std::string path = folder + "/made.icc";
    // An earlier file is replaced whole.
    TestWriteFile(path, std::vector<uint8_t>(30000, 'x'));
    ASSERT_EQ(CreateDisplayProfile(path.c_str(), "Vistel Test Display", 563, &SRGB_COLORANTS,
                                   nullptr, nullptr, nullptr),
              ERROR_NONE);
    EXPECT_EQ(TestReadFile(path), MakeDisplay("Vistel Test Display", 563));

    // transicc: white of the made display is L* 100 in the connection space, black is 0.
    std::string output;
    ASSERT_EQ(TestRun("printf '255 255 255\\n0 0 0\\n' | transicc -n -i '" + path +
                          "' -o '*Lab' -t 1 2>/dev/null",
                      &output),
              0)
        << output;
    double l1, a1, b1, l2, a2, b2;
    ASSERT_EQ(sscanf(output.c_str(), "%lf %lf %lf %lf %lf %lf", &l1, &a1, &b1, &l2, &a2, &b2), 6)
        << output;
    EXPECT_NEAR(l1, 100.0, 0.05);
    EXPECT_NEAR(a1, 0.0, 0.05);
    EXPECT_NEAR(b1, 0.0, 0.05);
    EXPECT_NEAR(l2, 0.0, 0.05);

    // exiftool, an independent reader, sees the same header and tags.
    ASSERT_EQ(TestRun("exiftool -n -s -ProfileDescription -ProfileClass -ColorSpaceData "
                      "-ProfileVersion -ProfileCMMType -ProfileCreator -RedMatrixColumn "
                      "-MediaWhitePoint -RedTRC '" +
                          path + "'",
                      &output),
              0);
    EXPECT_NE(output.find("ProfileDescription              : Vistel Test Display"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find("ProfileClass                    : mntr"), std::string::npos);
    EXPECT_NE(output.find("ColorSpaceData                  : RGB"), std::string::npos);
    EXPECT_NE(output.find("ProfileVersion                  : 528"), std::string::npos);
    EXPECT_NE(output.find("ProfileCMMType                  : CV&I"), std::string::npos);
    EXPECT_NE(output.find("ProfileCreator                  : CV&I"), std::string::npos);
    EXPECT_NE(output.find("RedMatrixColumn                 : 0.43607 0.22249 0.01392"),
              std::string::npos)
        << output;
    EXPECT_NE(output.find("MediaWhitePoint                 : 0.95045 1 1.08905"), std::string::npos)
        << output;
}

TEST(DisplayProfile, FileErrorsAreCodes)
{
    TestStart();
    std::string folder = TestOutputFolder("DisplayProfileErrors");
    EXPECT_EQ(CreateDisplayProfile((folder + "/missing/made.icc").c_str(), "x", 563,
                                   &SRGB_COLORANTS, nullptr, nullptr, nullptr),
              ERROR_CREATE_FILE);
    EXPECT_EQ(CreateDisplayProfile((folder + "/bad.icc").c_str(), "x", 0, &SRGB_COLORANTS, nullptr,
                                   nullptr, nullptr),
              ERROR_ILLEGAL_OUTPUT_GAMMA);
    EXPECT_NE(TestRun("test -e '" + folder + "/bad.icc'"), 0);
}

TEST(CalibrationProfile, CurvesFromTablesAtTheDisplayGamma)
{
    TestStart();
    uint8_t identity[256];
    uint16_t curve[256];
    for (int i = 0; i < 256; i++)
        identity[i] = (uint8_t)i;
    CalibrationCurve(identity, 1.0, curve);
    for (int i = 0; i < 256; i++)
        ASSERT_EQ(curve[i], i * 257) << i;
    // At gamma 2, 51 is 0.2 and 0.04 of 65535 is 2621.4; 128 gives 16512.502; 1 gives 1.0078.
    CalibrationCurve(identity, 2.0, curve);
    EXPECT_EQ(curve[0], 0);
    EXPECT_EQ(curve[1], 1);
    EXPECT_EQ(curve[51], 2621);
    EXPECT_EQ(curve[128], 16513);
    EXPECT_EQ(curve[255], 65535);
}

TEST(CalibrationProfile, TemperaturesGiveTheirWhitePoints)
{
    TestStart();
    std::string folder = TestOutputFolder("CalibrationProfile");
    uint8_t table[256];
    for (int i = 0; i < 256; i++)
        table[i] = (uint8_t)i;
    struct Case {
        const char *temperature;
        int32_t x;
        int32_t z;
    } cases[] = {{"5000", 0xf6dc, 0xd33a},
                 {"5500", 0xf4f2, 0xebf5},
                 {"6500", 0xf351, 0x116cc},
                 {"7500", 0xf313, 0x139e2},
                 {"9300", 0xf8aa, 0x17075}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.temperature);
        std::string path = folder + "/" + c.temperature + ".icc";
        ASSERT_EQ(CreateCalibrationProfile(path.c_str(), "Calibrated", c.temperature, table, table,
                                           table, 2.2),
                  ERROR_NONE);
        std::vector<uint8_t> bytes = TestReadFile(path);
        double white[3], red[3], green[3], blue[3];
        ASSERT_EQ(ProfilePrimaries(bytes.data(), (int)bytes.size(), white, red, green, blue),
                  ERROR_NONE);
        EXPECT_EQ(white[0], c.x / 65536.0);
        EXPECT_EQ(white[1], 1.0);
        EXPECT_EQ(white[2], c.z / 65536.0);
        EXPECT_EQ(red[0], 0x6fa2 / 65536.0);
        EXPECT_EQ(blue[2], 0xb6cf / 65536.0);
        // A table of 256 points in each curve: the profile takes 2040 bytes with this text.
        EXPECT_EQ(bytes.size(), 2040u);
        cmsHPROFILE profile = cmsOpenProfileFromMem(bytes.data(), (cmsUInt32Number)bytes.size());
        EXPECT_NE(profile, nullptr);
        if (profile != nullptr) cmsCloseProfile(profile);
    }
    EXPECT_EQ(CreateCalibrationProfile((folder + "/6000.icc").c_str(), "x", "6000", table, table,
                                       table, 2.2),
              ERROR_COLOR_TEMPERATURE);
    EXPECT_EQ(CreateCalibrationProfile((folder + "/none.icc").c_str(), "x", nullptr, table, table,
                                       table, 2.2),
              ERROR_COLOR_TEMPERATURE);
    EXPECT_NE(TestRun("test -e '" + folder + "/6000.icc'"), 0);
}

// A folder tree of profiles made for the scans, and the folders pointed at it.
class ProfileFolders : public testing::Test {
  protected:
    std::string user;
    std::string system;

    void SetUp() override
    {
        TestStart();
        std::string root =
            TestOutputFolder(std::string("ProfileFolders.") +
                             testing::UnitTest::GetInstance()->current_test_info()->name());
        user = root + "/user";
        system = root + "/system";
        TestRun("mkdir -p '" + user + "/nested/deeper' '" + system + "'");
        Put(user + "/b.icc", TestProfileBytes("mntr", "RGB ", {TestDescTag("Bravo RGB")}));
        Put(user + "/a.icc", TestProfileBytes("mntr", "RGB ", {TestDescTag("Alpha RGB")}));
        Put(user + "/z.ICM", TestProfileBytes("spac", "RGB ", {TestDescTag("Zulu Space")}));
        Put(user + "/printer.icc", TestProfileBytes("prtr", "CMYK", {TestDescTag("Press")}));
        Put(user + "/scanner.icm", TestProfileBytes("scnr", "RGB ", {TestDescTag("Scanner")}));
        Put(user + "/gray.icc", TestProfileBytes("mntr", "GRAY", {TestDescTag("Gray 2.2")}));
        Put(user + "/nested/c.icc", TestProfileBytes("mntr", "RGB ", {TestDescTag("Charlie")}));
        Put(user + "/nested/deeper/d.icc",
            TestProfileBytes("mntr", "RGB ", {TestDescTag("Delta")}));
        // Not profiles, or damaged ones, or not named as profiles: all passed over.
        Put(user + "/notes.icc", std::vector<uint8_t>(500, 'n'));
        Put(user + "/short.icc", std::vector<uint8_t>(100, 0));
        std::vector<uint8_t> broken =
            TestProfileBytes("mntr", "RGB ", {TestDescTag("Broken Table")});
        PutBig32(broken, 128, 5000);
        Put(user + "/broken.icc", broken);
        Put(user + "/e.txt", TestProfileBytes("mntr", "RGB ", {TestDescTag("Echo")}));
        // The system folder repeats a description of the user's and adds its own.
        Put(system + "/dup.icc", TestProfileBytes("mntr", "RGB ", {TestDescTag("alpha rgb")}));
        Put(system + "/sys.icm", TestProfileBytes("mntr", "RGB ", {TestDescTag("System RGB")}));
        ProfileFoldersSet(user.c_str(), system.c_str(), "");
    }

    void TearDown() override
    {
        ProfileFoldersDefault();
    }

    static void Put(const std::string &path, const std::vector<uint8_t> &bytes)
    {
        TestWriteFile(path, bytes);
    }

    static std::vector<std::string> Items(const char *list)
    {
        std::vector<std::string> items;
        for (int i = 0; i < ListCount(list); i++)
            items.push_back(ListItem(list, i));
        return items;
    }
};

TEST_F(ProfileFolders, ListIsInScanOrderWithoutRepeatsOrDamagedFiles)
{
    char list[4096];
    ASSERT_EQ(EnumerateProfiles("None", nullptr, nullptr, nullptr, list, sizeof list), ERROR_NONE);
    std::vector<std::string> expected = {"None",      "Scanner",   "Zulu Space", "Alpha RGB",
                                         "Bravo RGB", "Gray 2.2",  "Press",      "Charlie",
                                         "Delta",     "System RGB"};
    EXPECT_EQ(Items(list), expected);
}

TEST_F(ProfileFolders, ClassAndColorSpaceFilters)
{
    char list[4096];
    ASSERT_EQ(EnumerateProfiles("Current", "None", "mntr spac scnr", "RGB", list, sizeof list),
              ERROR_NONE);
    std::vector<std::string> rgb = {"Current",   "None",    "Scanner", "Zulu Space", "Alpha RGB",
                                    "Bravo RGB", "Charlie", "Delta",   "System RGB"};
    EXPECT_EQ(Items(list), rgb);
    ASSERT_EQ(EnumerateProfiles(nullptr, nullptr, "prtr", nullptr, list, sizeof list), ERROR_NONE);
    EXPECT_EQ(Items(list), std::vector<std::string>{"Press"});
    ASSERT_EQ(EnumerateProfiles(nullptr, nullptr, "mntr", "GRAY CMYK", list, sizeof list),
              ERROR_NONE);
    EXPECT_EQ(Items(list), std::vector<std::string>{"Gray 2.2"});
    ASSERT_EQ(EnumerateProfiles(nullptr, nullptr, "link", nullptr, list, sizeof list), ERROR_NONE);
    EXPECT_EQ(ListCount(list), 0);
    EXPECT_EQ(list[0], 1);
}

TEST_F(ProfileFolders, TooSmallAListKeepsWhatFitsAndIsClosed)
{
    // "None" and "Scanner" take 13 bytes; "Zulu Space" would need 11 more and the end byte.
    for (int capacity : {14, 20}) {
        SCOPED_TRACE(capacity);
        std::vector<char> list((size_t)capacity, 'q');
        EXPECT_EQ(EnumerateProfiles("None", nullptr, nullptr, nullptr, list.data(), capacity),
                  ERROR_ENUMERATE_PROFILES);
        EXPECT_EQ(Items(list.data()), (std::vector<std::string>{"None", "Scanner"}));
    }
    char tiny[3];
    EXPECT_EQ(EnumerateProfiles("None", nullptr, nullptr, nullptr, tiny, sizeof tiny),
              ERROR_ENUMERATE_PROFILES);
    EXPECT_EQ(tiny[0], 1);
}

TEST_F(ProfileFolders, MissingFoldersHaveNoProfiles)
{
    ProfileFoldersSet((user + "/absent").c_str(), "", nullptr);
    char list[64];
    EXPECT_EQ(EnumerateProfiles("None", nullptr, nullptr, nullptr, list, sizeof list), ERROR_NONE);
    EXPECT_EQ(Items(list), std::vector<std::string>{"None"});
    char path[PATH_LENGTH];
    EXPECT_EQ(FindProfileByDescription("Alpha RGB", path, sizeof path), ERROR_ENUMERATE_PROFILES);
    EXPECT_STREQ(path, "");
}

TEST_F(ProfileFolders, FindTakesTheFirstInScanOrderButForCase)
{
    char path[PATH_LENGTH];
    ASSERT_EQ(FindProfileByDescription("ALPHA rgb", path, sizeof path), ERROR_NONE);
    EXPECT_EQ(std::string(path), user + "/a.icc");
    ASSERT_EQ(FindProfileByDescription("System RGB", path, sizeof path), ERROR_NONE);
    EXPECT_EQ(std::string(path), system + "/sys.icm");
    ASSERT_EQ(FindProfileByDescription("Delta", path, sizeof path), ERROR_NONE);
    EXPECT_EQ(std::string(path), user + "/nested/deeper/d.icc");
    EXPECT_EQ(FindProfileByDescription("Echo", path, sizeof path), ERROR_ENUMERATE_PROFILES);
    EXPECT_EQ(FindProfileByDescription("Broken Table", path, sizeof path),
              ERROR_ENUMERATE_PROFILES);
    // A path longer than the room given is passed over rather than cut.
    EXPECT_EQ(FindProfileByDescription("Alpha RGB", path, 10), ERROR_ENUMERATE_PROFILES);
}

TEST(ProfileFoldersDefault, UserFolderFollowsXdgDataHome)
{
    TestStart();
    std::string saved = getenv("XDG_DATA_HOME") != nullptr ? getenv("XDG_DATA_HOME") : "";
    setenv("XDG_DATA_HOME", "/tmp/vistel-data", 1);
    ProfileFoldersDefault();
    EXPECT_STREQ(ProfileFolderUser(), "/tmp/vistel-data/icc");
    EXPECT_STREQ(ProfileFolderSystem(), "/usr/share/color/icc");
    EXPECT_STREQ(ProfileFolderBundled(), "");
    unsetenv("XDG_DATA_HOME");
    ProfileFoldersDefault();
    EXPECT_EQ(std::string(ProfileFolderUser()), std::string(getenv("HOME")) + "/.local/share/icc");
    if (!saved.empty()) setenv("XDG_DATA_HOME", saved.c_str(), 1);
    ProfileFoldersDefault();
}

TEST(ProfileFoldersDefault, RealSystemFolderListsRgbAndPrinterProfiles)
{
    TestStart();
    ProfileFoldersSet("", "/usr/share/color/icc", "");
    std::vector<char> list(65536);
    ASSERT_EQ(
        EnumerateProfiles(nullptr, nullptr, "mntr spac scnr", "RGB", list.data(), (int)list.size()),
        ERROR_NONE);
    std::vector<std::string> items;
    for (int i = 0; i < ListCount(list.data()); i++)
        items.push_back(ListItem(list.data(), i));
    auto has = [&](const char *name) {
        return std::find(items.begin(), items.end(), name) != items.end();
    };
    EXPECT_TRUE(has("sRGB"));
    EXPECT_TRUE(has("Wide Gamut RGB"));
    EXPECT_TRUE(has("Compatible with Adobe RGB (1998)"));
    EXPECT_FALSE(has("Artifex CMYK SWOP Profile"));
    ASSERT_EQ(EnumerateProfiles(nullptr, nullptr, "prtr", nullptr, list.data(), (int)list.size()),
              ERROR_NONE);
    EXPECT_EQ(std::string(ListItem(list.data(), 0)), "Artifex CMYK SWOP Profile");
    char path[PATH_LENGTH];
    ASSERT_EQ(FindProfileByDescription("wide gamut rgb", path, sizeof path), ERROR_NONE);
    EXPECT_EQ(std::string(path), SYSTEM_WIDE);
    ProfileFoldersDefault();
}

TEST(ProfileFile, ReadErrorsAreCodes)
{
    TestStart();
    std::string folder = TestOutputFolder("ProfileFileRead");
    uint8_t *bytes = (uint8_t *)1;
    int length = -1;
    EXPECT_EQ(ProfileFileRead((folder + "/absent.icc").c_str(), &bytes, &length), ERROR_OPEN_FILE);
    EXPECT_EQ(bytes, nullptr);
    EXPECT_EQ(length, 0);
    TestRun(": > '" + folder + "/empty.icc'"); // an empty file
    EXPECT_EQ(ProfileFileRead((folder + "/empty.icc").c_str(), &bytes, &length),
              ERROR_INVALID_PROFILE);
    // A folder is not a file to open.
    EXPECT_EQ(ProfileFileRead(folder.c_str(), &bytes, &length), ERROR_OPEN_FILE);
    EXPECT_EQ(bytes, nullptr);
    ASSERT_EQ(ProfileFileRead(SYSTEM_SRGB.c_str(), &bytes, &length), ERROR_NONE);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + length), TestReadFile(SYSTEM_SRGB));
    MemoryFree(bytes);
}

TEST(SrgbProfile, IsAStandardSrgbMadeByTheEngine)
{
    TestStart();
    const uint8_t *bytes = nullptr;
    int length = 0;
    ASSERT_EQ(SrgbProfile(&bytes, &length), ERROR_NONE);
    ASSERT_NE(bytes, nullptr);
    const uint8_t *again = nullptr;
    int againLength = 0;
    ASSERT_EQ(SrgbProfile(&again, &againLength), ERROR_NONE);
    EXPECT_EQ(again, bytes); // made once
    char text[PROFILE_DESCRIPTION_MAX];
    EXPECT_EQ(ProfileDescription(bytes, length, text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "sRGB IEC61966-2.1");
    ProfileClass(bytes, length, text, sizeof text);
    EXPECT_STREQ(text, "mntr");
    ProfileColorSpace(bytes, length, text, sizeof text);
    EXPECT_STREQ(text, "RGB");
    double gamma;
    ProfileGamma(bytes, length, &gamma);
    EXPECT_EQ(gamma, 2.2222222222222223);

    // exiftool reads it, and the engine converts with it as with its own sRGB: every level of
    // a gray ramp and the primaries stay within one level.
    std::string path = TestOutputFolder("SrgbProfile") + "/srgb.icc";
    TestWriteFile(path, std::vector<uint8_t>(bytes, bytes + length));
    std::string output;
    TestRun("exiftool -s3 -ProfileDescription '" + path + "'", &output);
    EXPECT_EQ(output, "sRGB IEC61966-2.1\n");
    cmsHPROFILE ours = cmsOpenProfileFromMem(bytes, (cmsUInt32Number)length);
    cmsHPROFILE engine = cmsCreate_sRGBProfile();
    ASSERT_NE(ours, nullptr);
    cmsHTRANSFORM transform =
        cmsCreateTransform(ours, TYPE_RGB_8, engine, TYPE_RGB_8, INTENT_RELATIVE_COLORIMETRIC, 0);
    ASSERT_NE(transform, nullptr);
    for (int v = 0; v < 256; v++) {
        uint8_t pixels[4][3] = {{(uint8_t)v, (uint8_t)v, (uint8_t)v},
                                {(uint8_t)v, 0, 0},
                                {0, (uint8_t)v, 0},
                                {0, 0, (uint8_t)v}};
        uint8_t out[4][3];
        cmsDoTransform(transform, pixels, out, 4);
        for (int p = 0; p < 4; p++)
            for (int c = 0; c < 3; c++)
                ASSERT_LE(Abs(out[p][c] - pixels[p][c]), 1) << v << " " << p << " " << c;
    }
    cmsDeleteTransform(transform);
    cmsCloseProfile(engine);
    cmsCloseProfile(ours);
}
