// The TIFF writer: the layout of the files byte by byte, the pixels as independent readers
// (libtiff's tools, ImageMagick, exiftool) see them, the embedded profile, and the failures
// that must leave the user's old file alone.
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Core.h"
#include "core/Memory.h"
#include "core/Picture.h"
#include "files/TiffComments.h"
#include "files/TiffWriter.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"
#include "tests/files/JpegPngSupport.h"

namespace {

struct Entry {
    int tag;
    int type;
    uint32_t count;
    uint32_t value;  // the value field as a 32-bit number
    size_t position; // file offset of the entry
};

// Numbers of a little-endian file; an offset outside the file throws, which fails the test
// instead of reading past the buffer.
uint32_t Get32(const std::vector<uint8_t> &bytes, size_t at)
{
    return bytes.at(at) | (bytes.at(at + 1) << 8) | (bytes.at(at + 2) << 16) |
           ((uint32_t)bytes.at(at + 3) << 24);
}

int Get16(const std::vector<uint8_t> &bytes, size_t at)
{
    return bytes.at(at) | (bytes.at(at + 1) << 8);
}

// Whether the bytes at offset are those of text, length bytes long.
bool BytesAre(const std::vector<uint8_t> &bytes, size_t at, const char *text, size_t length)
{
    return at + length <= bytes.size() && memcmp(&bytes[at], text, length) == 0;
}

// The entries of the little-endian directory at offset, as many as its count says.
std::vector<Entry> Directory(const std::vector<uint8_t> &bytes, size_t offset)
{
    std::vector<Entry> entries;
    int count = Get16(bytes, offset);
    for (int i = 0; i < count; i++) {
        size_t at = offset + 2 + 12 * i;
        entries.push_back({Get16(bytes, at), Get16(bytes, at + 2), Get32(bytes, at + 4),
                           Get32(bytes, at + 8), at});
    }
    return entries;
}

bool HasEntry(const std::vector<Entry> &entries, int tag)
{
    for (const Entry &entry : entries)
        if (entry.tag == tag) return true;
    return false;
}

// The entry of tag; a missing one fails the test and gives an entry of zeros.
const Entry *FindEntry(const std::vector<Entry> &entries, int tag)
{
    static const Entry MISSING = {-1, 0, 0, 0, 0};
    for (const Entry &entry : entries)
        if (entry.tag == tag) return &entry;
    ADD_FAILURE() << "no entry for tag " << tag;
    return &MISSING;
}

std::vector<int> Tags(const std::vector<Entry> &entries)
{
    std::vector<int> tags;
    for (const Entry &entry : entries)
        tags.push_back(entry.tag);
    return tags;
}

void AddText(Picture *window, int id, const char *text, int flags)
{
    ASSERT_EQ(AddFileComment(window, "text", id, (int)strlen(text), flags, text), ERROR_NONE);
}

// Runs a libtiff tool on path; expects it to succeed without an error (warnings allowed).
void ExpectLibtiffReads(const std::string &tool, const std::string &path, std::string *output)
{
    std::string errors;
    EXPECT_EQ(TestRun(tool + " '" + path + "' 2>/dev/null", output), 0) << tool;
    TestRun(tool + " '" + path + "' 2>&1 >/dev/null", &errors);
    EXPECT_EQ(errors.find("rror"), std::string::npos) << tool << ": " << errors;
}

const int PICTURE_TYPES[] = {TYPE_BINARY, TYPE_GRAY8, TYPE_GRAY16, TYPE_COLOR24, TYPE_COLOR48};

} // namespace

TEST(TiffWriter, BinaryOfWidthNineWritesTwoBytesARowAndSetBitsAreWhite)
{
    TestStart();
    std::string path = TestOutputFolder("TiffWriter.Binary9") + "/binary.tif";
    TestWindow made = PictureWindow(TYPE_BINARY, 9, 3, 72.0, 1);
    const Image &image = made.window->image;
    ASSERT_EQ(SaveTiffFile(path.c_str(), &image), ERROR_NONE);

    std::vector<uint8_t> bytes = TestReadFile(path);
    std::vector<Entry> entries = Directory(bytes, 8);
    ASSERT_EQ(entries.size(), 17u);
    EXPECT_EQ(FindEntry(entries, 258)->count, 1u);
    EXPECT_EQ(FindEntry(entries, 258)->value, 1u); // BitsPerSample
    EXPECT_EQ(FindEntry(entries, 262)->value, 1u); // a set bit is white
    EXPECT_EQ(FindEntry(entries, 277)->value, 1u); // SamplesPerPixel
    EXPECT_EQ(FindEntry(entries, 279)->value, 6u); // 2 bytes by 3 rows
    uint32_t strip = FindEntry(entries, 273)->value;
    ASSERT_EQ(bytes.size(), strip + 6u);
    for (int i = 0; i < 3; i++) {
        SCOPED_TRACE(i);
        const uint8_t *row = image.rows[2 - i]; // the top row comes first
        EXPECT_EQ(bytes[strip + 2 * i], row[0]);
        // The seven unused bits of the second byte are cleared.
        EXPECT_EQ(bytes[strip + 2 * i + 1], row[1] & 0x80);
    }
    std::string info;
    ExpectLibtiffReads("tiffinfo", path, &info);
    EXPECT_NE(info.find("Bits/Sample: 1"), std::string::npos) << info;
    EXPECT_NE(info.find("min-is-black"), std::string::npos) << info;
}

TEST(TiffWriter, ResolutionIsRoundedToTenthsOfADotPerInch)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffWriter.Resolution");
    struct Case {
        double resolution;
        uint32_t numerator;
    } cases[] = {{72.04, 720},   {72.06, 721}, {300.25, 3003},
                 {300.24, 3002}, {0.0, 0},     {1e12, 2147483647}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.resolution);
        TestWindow made = PictureWindow(TYPE_GRAY8, 4, 2, c.resolution, 2);
        std::string path = folder + "/r.tif";
        ASSERT_EQ(SaveTiffFile(path.c_str(), &made.window->image), ERROR_NONE);
        std::vector<uint8_t> bytes = TestReadFile(path);
        std::vector<Entry> entries = Directory(bytes, 8);
        for (int tag : {282, 283}) {
            const Entry *entry = FindEntry(entries, tag);
            EXPECT_EQ(entry->type, TIFF_FIELD_RATIONAL);
            EXPECT_EQ(Get32(bytes, entry->value), c.numerator);
            EXPECT_EQ(Get32(bytes, entry->value + 4), 10u);
        }
        EXPECT_EQ(FindEntry(entries, 296)->value, 2u); // inches
    }
}

TEST(TiffWriter, WithoutCommentsTheDirectoryHasSeventeenEntriesAndColorDepthsAt218)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffWriter.Seventeen");
    const std::vector<int> order = {254, 255, 256, 257, 258, 259, 262, 266, 273,
                                    274, 277, 278, 279, 282, 283, 284, 296};
    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(type);
        TestWindow made = PictureWindow(type, 7, 5, 300.0, type);
        std::string path = folder + "/p.tif";
        ASSERT_EQ(SaveTiffFile(path.c_str(), &made.window->image), ERROR_NONE);
        std::vector<uint8_t> bytes = TestReadFile(path);
        ASSERT_GE(bytes.size(), 234u);
        EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 8),
                  (std::vector<uint8_t>{'I', 'I', 42, 0, 8, 0, 0, 0}));
        std::vector<Entry> entries = Directory(bytes, 8);
        EXPECT_EQ(Tags(entries), order);
        EXPECT_EQ(Get32(bytes, 10 + 12 * 17), 0u); // no next directory
        int color = type == TYPE_COLOR24 || type == TYPE_COLOR48;
        const Entry *depth = FindEntry(entries, 258);
        // The first value out of line begins right behind the directory: 8 + 2 + 17 * 12 + 4.
        uint32_t firstValue = 218;
        if (color) {
            int bits = type == TYPE_COLOR24 ? 8 : 16;
            EXPECT_EQ(depth->count, 3u);
            EXPECT_EQ(depth->value, firstValue);
            for (int i = 0; i < 3; i++)
                EXPECT_EQ(Get16(bytes, 218 + 2 * i), bits);
            firstValue += 6;
        }
        EXPECT_EQ(FindEntry(entries, 282)->value, firstValue);
        EXPECT_EQ(FindEntry(entries, 283)->value, firstValue + 8);
        EXPECT_EQ(FindEntry(entries, 262)->value, color ? 2u : 1u);
        EXPECT_EQ(FindEntry(entries, 277)->value, color ? 3u : 1u);
        EXPECT_EQ(FindEntry(entries, 278)->value, 5u);
        // The strip follows the values at once, and the file ends with it.
        EXPECT_EQ(FindEntry(entries, 273)->value, firstValue + 16);
        EXPECT_EQ(bytes.size(), FindEntry(entries, 273)->value + FindEntry(entries, 279)->value);
    }
}

TEST(TiffWriter, TextOfFourBytesStandsInTheEntryAndFiveGoOutOfLine)
{
    TestStart();
    std::string path = TestOutputFolder("TiffWriter.Inline") + "/text.tif";
    TestWindow made = PictureWindow(TYPE_GRAY8, 3, 2, 72.0, 3);
    Picture *window = made.window;
    AddText(window, 5, "abc", COMMENT_MAIN);  // Make: 3 letters and the terminator
    AddText(window, 6, "abcd", COMMENT_MAIN); // Model: 4 letters and the terminator
    AddText(window, 9, "x", COMMENT_MAIN);    // Software: padded with zeros
    // Artist: a value that ends in its own terminator takes no second one.
    ASSERT_EQ(AddFileComment(window, "Artist", 0, 4, COMMENT_MAIN, "abc\0"), ERROR_NONE);
    ASSERT_EQ(SaveTiffFileWithComments(path.c_str(), window), ERROR_NONE);

    std::vector<uint8_t> bytes = TestReadFile(path);
    std::vector<Entry> entries = Directory(bytes, 8);
    ASSERT_EQ(entries.size(), 21u);
    const Entry *make = FindEntry(entries, 271);
    EXPECT_EQ(make->type, TIFF_FIELD_ASCII);
    EXPECT_EQ(make->count, 4u);
    EXPECT_TRUE(BytesAre(bytes, make->position + 8, "abc\0", 4));
    const Entry *model = FindEntry(entries, 272);
    EXPECT_EQ(model->count, 5u);
    // Model is the first value out of line: behind 21 entries, at 8 + 2 + 21 * 12 + 4.
    EXPECT_EQ(model->value, 266u);
    EXPECT_TRUE(BytesAre(bytes, model->value, "abcd\0", 5));
    const Entry *software = FindEntry(entries, 305);
    EXPECT_EQ(software->count, 2u);
    EXPECT_TRUE(BytesAre(bytes, software->position + 8, "x\0\0\0", 4));
    EXPECT_EQ(FindEntry(entries, 315)->count, 4u);

    std::map<std::string, std::string> fields = ExifToolFields(path);
    EXPECT_EQ(fields["IFD0:Make"], "abc");
    EXPECT_EQ(fields["IFD0:Model"], "abcd");
    EXPECT_EQ(fields["IFD0:Software"], "x");
    EXPECT_EQ(fields["IFD0:Artist"], "abc");
    EXPECT_EQ(fields.count("ExifTool:Error"), 0u);
    EXPECT_EQ(fields.count("ExifTool:Warning"), 0u) << fields["ExifTool:Warning"];
}

TEST(TiffWriter, MainDirectoryKeepsItsOrderWithPageNameBeforeStripOffsets)
{
    TestStart();
    std::string path = TestOutputFolder("TiffWriter.Order") + "/order.tif";
    TestWindow made = PictureWindow(TYPE_COLOR24, 6, 4, 240.0, 4);
    Picture *window = made.window;
    const char *texts[10] = {"Artist name",   "Copyright 2024", "2024:05:06 07:08:09",
                             "A description", "host",           "Make",
                             "Model",         "Document",       "Page",
                             "Vistel"};
    for (int id = 0; id < 10; id++)
        AddText(window, id, texts[id], COMMENT_MAIN);
    uint16_t iso = 400;
    ASSERT_EQ(AddFileComment(window, "Film Speed (ISO)", 162, 2, COMMENT_EXIF, &iso), ERROR_NONE);
    ASSERT_EQ(AddFileComment(window, "GPS Version", 41, 4, COMMENT_GPS, "\2\3\0\0"), ERROR_NONE);
    uint8_t profile[300];
    for (int i = 0; i < 300; i++)
        profile[i] = (uint8_t)(i * 7);
    window->profile = (uint8_t *)MemoryAlloc(sizeof profile);
    memcpy(window->profile, profile, sizeof profile);
    window->profileSize = sizeof profile;
    ASSERT_EQ(SaveTiffFileWithComments(path.c_str(), window), ERROR_NONE);

    std::vector<uint8_t> bytes = TestReadFile(path);
    std::vector<Entry> entries = Directory(bytes, 8);
    EXPECT_EQ(Tags(entries),
              (std::vector<int>{254, 255, 256, 257, 258, 259, 262,   266,   269,   270,
                                271, 272, 285, 273, 274, 277, 278,   279,   282,   283,
                                284, 296, 305, 306, 315, 316, 33432, 34665, 34675, 34853}));
    // The EXIF directory follows the main directory's values, the GPS directory the EXIF
    // directory's, and the strip comes last.
    uint32_t exif = FindEntry(entries, 34665)->value;
    uint32_t gps = FindEntry(entries, 34853)->value;
    uint32_t strip = FindEntry(entries, 273)->value;
    EXPECT_EQ(Tags(Directory(bytes, exif)), std::vector<int>{34855});
    EXPECT_EQ(Get16(bytes, exif + 2 + 8), 400);
    EXPECT_EQ(gps, exif + 2 + 12 + 4);
    EXPECT_EQ(Tags(Directory(bytes, gps)), std::vector<int>{0});
    EXPECT_EQ(strip, gps + 2 + 12 + 4);

    std::string info;
    ExpectLibtiffReads("tiffinfo", path, &info);
    EXPECT_NE(info.find("PageName: Page"), std::string::npos) << info;
    EXPECT_NE(info.find("ICC Profile: <present>, 300 bytes"), std::string::npos) << info;
    std::string dump;
    ExpectLibtiffReads("tiffdump", path, &dump);
    std::map<std::string, std::string> fields = ExifToolFields(path);
    EXPECT_EQ(fields["IFD0:DocumentName"], "Document");
    EXPECT_EQ(fields["IFD0:PageName"], "Page");
    EXPECT_EQ(fields["IFD0:Copyright"], "Copyright 2024");
    EXPECT_EQ(fields["IFD0:HostComputer"], "host");
    EXPECT_EQ(fields["IFD0:ModifyDate"], "2024:05:06 07:08:09");
    EXPECT_EQ(fields["ExifIFD:ISO"], "400");
    EXPECT_EQ(fields["GPS:GPSVersionID"], "2 3 0 0");
    EXPECT_EQ(fields.count("ExifTool:Error"), 0u);
}

TEST(TiffWriter, IndependentReadersSeeTheSamePixelsInEveryType)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffWriter.Pixels");
    for (int type : PICTURE_TYPES) {
        SCOPED_TRACE(type);
        // An odd width, so that packed file rows differ from padded rows in memory.
        TestWindow made = PictureWindow(type, 13, 7, 150.0, 10 + type);
        const Image &image = made.window->image;
        Image before = {};
        ASSERT_EQ(ImageDuplicate(&image, &before), ERROR_NONE);
        std::string path = folder + "/t" + std::to_string(type) + ".tif";
        ASSERT_EQ(SaveTiffFile(path.c_str(), &image), ERROR_NONE);
        // Writing from a row buffer leaves the picture as it was, color order included.
        ExpectImagesNear(before, image, 0);

        std::string output;
        ExpectLibtiffReads("tiffinfo", path, &output);
        ExpectLibtiffReads("tiffdump", path, &output);
        ExpectLibtiffReads("tiffinfo -d", path, &output);
        int color = type == TYPE_COLOR24 || type == TYPE_COLOR48;
        int deep = type == TYPE_GRAY16 || type == TYPE_COLOR48;
        EXPECT_TRUE(
            SamplesEqual(ImageSamples(image), ToolSamples(path, color ? 3 : 1, deep ? 16 : 8)));
        ImageFree(&before);
    }
}

TEST(TiffWriter, ProfileOfAColorPictureReadsBackAndGrayPicturesNeverCarryOne)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffWriter.Profile");
    // The writer does not look inside a profile, so any block of bytes serves. An odd length
    // puts the strip at an odd offset, which readers must take too.
    std::vector<uint8_t> icc(3001);
    for (size_t i = 0; i < icc.size(); i++)
        icc[i] = (uint8_t)(i * 31 + 5);
    for (int type : {TYPE_COLOR24, TYPE_COLOR48}) {
        SCOPED_TRACE(type);
        TestWindow made = PictureWindow(type, 5, 4, 300.0, type);
        made.window->profile = (uint8_t *)MemoryAlloc(icc.size());
        memcpy(made.window->profile, icc.data(), icc.size());
        made.window->profileSize = (int)icc.size();
        std::string path = folder + "/color.tif";
        ASSERT_EQ(SaveTiffFileWithComments(path.c_str(), made.window), ERROR_NONE);

        TestWindow read = PictureWindow(type, 1, 1, 72.0, 0);
        ASSERT_EQ(ReadTiffColorProfile(path.c_str(), read.window), ERROR_NONE);
        ASSERT_EQ(read.window->profileSize, (int)icc.size());
        EXPECT_EQ(memcmp(read.window->profile, icc.data(), icc.size()), 0);
        std::string info;
        ExpectLibtiffReads("tiffinfo", path, &info);
        EXPECT_NE(info.find("ICC Profile: <present>, " + std::to_string(icc.size()) + " bytes"),
                  std::string::npos)
            << info;

        // The same file read for a gray window gives no profile, and frees the old one.
        TestWindow gray = PictureWindow(TYPE_GRAY8, 1, 1, 72.0, 0);
        gray.window->profile = (uint8_t *)MemoryAlloc(10);
        gray.window->profileSize = 10;
        EXPECT_EQ(ReadTiffColorProfile(path.c_str(), gray.window), ERROR_NONE);
        EXPECT_EQ(gray.window->profile, nullptr);
        EXPECT_EQ(gray.window->profileSize, 0);
    }

    // A gray window that holds a profile saves without one.
    TestWindow gray = PictureWindow(TYPE_GRAY16, 5, 4, 300.0, 9);
    gray.window->profile = (uint8_t *)MemoryAlloc(icc.size());
    memcpy(gray.window->profile, icc.data(), icc.size());
    gray.window->profileSize = (int)icc.size();
    std::string path = folder + "/gray.tif";
    ASSERT_EQ(SaveTiffFileWithComments(path.c_str(), gray.window), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(path);
    EXPECT_FALSE(HasEntry(Directory(bytes, 8), 34675));
    EXPECT_EQ(Directory(bytes, 8).size(), 17u);
}

// A little-endian file of one directory with the given entries (tag, type, count, value word),
// followed by extra bytes.
static std::vector<uint8_t> MakeTiff(const std::vector<std::vector<uint32_t>> &entries,
                                     const std::vector<uint8_t> &extra)
{
    TestTiff tiff;
    for (const std::vector<uint32_t> &entry : entries)
        tiff.entries.push_back({(uint16_t)entry[0], (uint16_t)entry[1], {}, entry[2], entry[3]});
    tiff.strips = {extra};
    return TestTiffBytes(tiff);
}

TEST(TiffWriter, ColorProfileReaderTakesTheLastOfSeveralAndRefusesDamage)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffWriter.ProfileDamage");
    std::string path = folder + "/p.tif";
    TestWindow made = PictureWindow(TYPE_COLOR24, 1, 1, 72.0, 0);
    Picture *window = made.window;
    // Directory of n entries ends at 8 + 2 + 12 n + 4; the values follow.
    std::vector<uint8_t> values = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};

    // Two profiles: the second wins.
    TestWriteFile(path, MakeTiff({{34675, 7, 5, 38}, {34675, 7, 6, 44}}, values));
    ASSERT_EQ(ReadTiffColorProfile(path.c_str(), window), ERROR_NONE);
    ASSERT_EQ(window->profileSize, 6);
    EXPECT_EQ(memcmp(window->profile, &values[6], 6), 0);

    // Four bytes or fewer stand in the entry.
    TestWriteFile(path, MakeTiff({{34675, 7, 3, 0x00636261}}, {}));
    ASSERT_EQ(ReadTiffColorProfile(path.c_str(), window), ERROR_NONE);
    ASSERT_EQ(window->profileSize, 3);
    EXPECT_EQ(memcmp(window->profile, "abc", 3), 0);

    // A big-endian file is read in its own order.
    TestTiff big;
    big.littleEndian = 0;
    big.entries = {{34675, 7, {}, -1, -1, {'h', 'e', 'l', 'l', 'o'}}};
    TestWriteFile(path, TestTiffBytes(big));
    ASSERT_EQ(ReadTiffColorProfile(path.c_str(), window), ERROR_NONE);
    ASSERT_EQ(window->profileSize, 5);
    EXPECT_EQ(memcmp(window->profile, "hello", 5), 0);

    struct Damage {
        const char *what;
        std::vector<uint8_t> bytes;
        ErrorCode expected;
    } damages[] = {
        {"profile reaching past the end", MakeTiff({{34675, 7, 13, 26}}, values), ERROR_READ_TIFF},
        {"profile count far beyond the file", MakeTiff({{34675, 7, 0x7fffffff, 26}}, values),
         ERROR_READ_TIFF},
        {"offset beyond the file", MakeTiff({{34675, 7, 8, 0xfffffff0}}, values), ERROR_READ_TIFF},
        {"directory past the end", {'I', 'I', 42, 0, 200, 0, 0, 0, 0, 0}, ERROR_READ_TIFF},
        {"directory longer than the file",
         {'I', 'I', 42, 0, 8, 0, 0, 0, 0xff, 0xff, 0},
         ERROR_READ_TIFF},
        {"bad signature", {'I', 'M', 42, 0, 8, 0, 0, 0, 0, 0}, ERROR_READ_TIFF},
        {"short header", {'I', 'I', 42}, ERROR_READ_TIFF},
        {"good profile then a damaged one",
         MakeTiff({{34675, 7, 5, 38}, {34675, 7, 100, 38}}, values), ERROR_READ_TIFF},
    };
    for (const Damage &damage : damages) {
        SCOPED_TRACE(damage.what);
        TestWriteFile(path, damage.bytes);
        EXPECT_EQ(ReadTiffColorProfile(path.c_str(), window), damage.expected);
        // Damage leaves no profile, not half of one.
        EXPECT_EQ(window->profile, nullptr);
        EXPECT_EQ(window->profileSize, 0);
    }
    EXPECT_EQ(ReadTiffColorProfile((folder + "/missing.tif").c_str(), window), ERROR_OPEN_FILE);
}

// Values of the right field types for every EXIF and GPS field, and what exiftool -n shows
// for each. APEX and GPS values are chosen so that exiftool's conversions are plain.
struct FieldCase {
    int id;
    std::vector<uint8_t> value; // native order
    const char *key;            // exiftool's group and name
    const char *shown;          // exiftool's value
};

static std::vector<uint8_t> Text(const char *text)
{
    return std::vector<uint8_t>(text, text + strlen(text));
}

static std::vector<uint8_t> Bytes(std::initializer_list<uint8_t> values)
{
    return std::vector<uint8_t>(values);
}

static const std::vector<FieldCase> &AllFields(void)
{
    static const std::vector<FieldCase> fields = {
        {34, Native<uint32_t>({1, 125}), "ExifIFD:ExposureTime", "0.008"},
        {35, Native<uint32_t>({28, 5}), "ExifIFD:FNumber", "5.6"},
        {160, Native<uint16_t>({2}), "ExifIFD:ExposureProgram", "2"},
        {161, Text("ASTM E-1"), "ExifIFD:SpectralSensitivity", "ASTM E-1"},
        {162, Native<uint16_t>({200}), "ExifIFD:ISO", "200"},
        {163, Bytes({0, 2, 0, 1, 'R', 0, 0, 0, 1, 0, 0, 0, 1}), "ExifIFD:Opto-ElectricConvFactor",
         "base64:AAIAAVIAAAABAAAAAQ=="},
        {21, Text("0230"), "ExifIFD:ExifVersion", "0230"},
        {22, Text("2024:05:06 07:08:09"), "ExifIFD:DateTimeOriginal", "2024:05:06 07:08:09"},
        {23, Text("2024:05:06 07:08:10"), "ExifIFD:CreateDate", "2024:05:06 07:08:10"},
        {200, Bytes({1, 2, 3, 0}), "ExifIFD:ComponentsConfiguration", "1 2 3 0"},
        {201, Native<uint32_t>({4, 1}), "ExifIFD:CompressedBitsPerPixel", "4"},
        {24, Native<uint32_t>({7, 1}), "ExifIFD:ShutterSpeedValue", "0.0078125"}, // 2^-7 s
        {25, Native<uint32_t>({4, 1}), "ExifIFD:ApertureValue", "4"},             // 2^(4/2)
        {26, Native<uint32_t>({0xfffffffe, 1}), "ExifIFD:BrightnessValue", "-2"},
        {27, Native<uint32_t>({0xffffffff, 3}), "ExifIFD:ExposureCompensation",
         "-0.333333333333333"},
        {28, Native<uint32_t>({2, 1}), "ExifIFD:MaxApertureValue", "2"}, // 2^(2/2)
        {29, Native<uint32_t>({35, 10}), "ExifIFD:SubjectDistance", "3.5"},
        {30, Native<uint16_t>({5}), "ExifIFD:MeteringMode", "5"},
        {31, Native<uint16_t>({1}), "ExifIFD:LightSource", "1"},
        {32, Native<uint16_t>({16}), "ExifIFD:Flash", "16"},
        {202, Native<uint16_t>({320}), "ExifIFD:SubjectArea", "320"},
        {33, Native<uint32_t>({50, 1}), "ExifIFD:FocalLength", "50"},
        {36, Bytes({'V', 'T', 0, 1, 2, 3, 4, 5}), "ExifIFD:MakerNoteUnknown",
         "base64:VlQAAQIDBAU="},
        {37, Bytes({'A', 'S', 'C', 'I', 'I', 0, 0, 0, 'H', 'e', 'l', 'l', 'o'}),
         "ExifIFD:UserComment", "Hello"},
        {38, Text("12"), "ExifIFD:SubSecTime", "12"},
        {39, Text("34"), "ExifIFD:SubSecTimeOriginal", "34"},
        {40, Text("56"), "ExifIFD:SubSecTimeDigitized", "56"},
        {158, Text("0100"), "ExifIFD:FlashpixVersion", "0100"},
        {159, Native<uint16_t>({1}), "ExifIFD:ColorSpace", "1"},
        {203, Native<uint16_t>({13}), "ExifIFD:ExifImageWidth", "13"},
        {204, Native<uint16_t>({7}), "ExifIFD:ExifImageHeight", "7"},
        {164, Text("SOUND001.WAV"), "ExifIFD:RelatedSoundFile", "SOUND001.WAV"},
        {165, Native<uint32_t>({3, 2}), "ExifIFD:FlashEnergy", "1.5"},
        {166, Text("SFR-0101"), "ExifIFD:SpatialFrequencyResponse", "SFR-0101"},
        {167, Native<uint32_t>({4000, 1}), "ExifIFD:FocalPlaneXResolution", "4000"},
        {205, Native<uint16_t>({2}), "ExifIFD:FocalPlaneResolutionUnit", "2"},
        {169, Native<uint16_t>({6, 3}), "ExifIFD:SubjectLocation", "6 3"},
        {170, Native<uint32_t>({100, 1}), "ExifIFD:ExposureIndex", "100"},
        {171, Native<uint16_t>({2}), "ExifIFD:SensingMethod", "2"},
        {172, Bytes({3}), "ExifIFD:FileSource", "3"},
        {173, Bytes({1}), "ExifIFD:SceneType", "1"},
        {174, Bytes({0, 2, 0, 2, 0, 1, 1, 2}), "ExifIFD:CFAPattern", "2 2 0 1 1 2"},
        {206, Native<uint16_t>({0}), "ExifIFD:CustomRendered", "0"},
        {207, Native<uint16_t>({1}), "ExifIFD:ExposureMode", "1"},
        {208, Native<uint16_t>({0}), "ExifIFD:WhiteBalance", "0"},
        {209, Native<uint32_t>({3, 2}), "ExifIFD:DigitalZoomRatio", "1.5"},
        {210, Native<uint16_t>({75}), "ExifIFD:FocalLengthIn35mmFormat", "75"},
        {211, Native<uint16_t>({1}), "ExifIFD:SceneCaptureType", "1"},
        {212, Native<uint16_t>({1}), "ExifIFD:GainControl", "1"},
        {213, Native<uint16_t>({2}), "ExifIFD:Contrast", "2"},
        {214, Native<uint16_t>({1}), "ExifIFD:Saturation", "1"},
        {215, Native<uint16_t>({2}), "ExifIFD:Sharpness", "2"},
        {216, Bytes({0, 1, 0, 1, 'x', 0}), "ExifIFD:DeviceSettingDescription", "base64:AAEAAXgA"},
        {217, Native<uint16_t>({2}), "ExifIFD:SubjectDistanceRange", "2"},
        {218, Text("0123456789abcdef0123456789abcdef"), "ExifIFD:ImageUniqueID",
         "0123456789abcdef0123456789abcdef"},
        {41, Bytes({2, 3, 0, 0}), "GPS:GPSVersionID", "2 3 0 0"},
        {42, Text("N"), "GPS:GPSLatitudeRef", "N"},
        {43, Native<uint32_t>({48, 1, 51, 1, 2400, 100}), "GPS:GPSLatitude", "48.8566666666667"},
        {44, Text("E"), "GPS:GPSLongitudeRef", "E"},
        {45, Native<uint32_t>({2, 1, 21, 1, 0, 1}), "GPS:GPSLongitude", "2.35"},
        {46, Bytes({0}), "GPS:GPSAltitudeRef", "0"},
        {47, Native<uint32_t>({355, 10}), "GPS:GPSAltitude", "35.5"},
        {48, Native<uint32_t>({12, 1}), "GPS:GPSTimeStamp", "12:00:00"}, // one value: the hour
        {49, Text("07"), "GPS:GPSSatellites", "07"},
        {50, Text("A"), "GPS:GPSStatus", "A"},
        {51, Text("3"), "GPS:GPSMeasureMode", "3"},
        {52, Native<uint32_t>({12, 10}), "GPS:GPSDOP", "1.2"},
        {53, Text("K"), "GPS:GPSSpeedRef", "K"},
        {54, Native<uint32_t>({5, 1}), "GPS:GPSSpeed", "5"},
        {55, Text("T"), "GPS:GPSTrackRef", "T"},
        {56, Native<uint32_t>({90, 1}), "GPS:GPSTrack", "90"},
        {57, Text("M"), "GPS:GPSImgDirectionRef", "M"},
        {58, Native<uint32_t>({180, 1}), "GPS:GPSImgDirection", "180"},
        {59, Text("WGS-84"), "GPS:GPSMapDatum", "WGS-84"},
        {60, Text("S"), "GPS:GPSDestLatitudeRef", "S"},
        {61, Native<uint32_t>({33, 1, 30, 1, 0, 1}), "GPS:GPSDestLatitude", "33.5"},
        {62, Text("W"), "GPS:GPSDestLongitudeRef", "W"},
        {63, Native<uint32_t>({70, 1, 45, 1, 0, 1}), "GPS:GPSDestLongitude", "70.75"},
        {64, Text("T"), "GPS:GPSDestBearingRef", "T"},
        {65, Native<uint32_t>({45, 1}), "GPS:GPSDestBearing", "45"},
        {66, Text("K"), "GPS:GPSDestDistanceRef", "K"},
        {67, Native<uint32_t>({1200, 1}), "GPS:GPSDestDistance", "1200"},
    };
    return fields;
}

// exiftool's options that show every field we write, binary ones base64-encoded.
static const char ALL_FIELDS[] = "-b -u -all -MakerNotes";

static void ExpectShown(const std::map<std::string, std::string> &fields, const FieldCase &field)
{
    auto found = fields.find(field.key);
    ASSERT_NE(found, fields.end()) << field.key << " is missing";
    char *end1;
    char *end2;
    double shown = strtod(found->second.c_str(), &end1);
    double expected = strtod(field.shown, &end2);
    if (*end1 == 0 && *end2 == 0 && end1 != found->second.c_str())
        EXPECT_NEAR(shown, expected, 1e-9) << field.key;
    else
        EXPECT_EQ(found->second, field.shown) << field.key;
}

// Every field of the tables, with its comment as a read gives it (flagged EXIF, GPS fields
// too; the latitude under its reference's id, and first; the vertical focal plane resolution
// under an id of its own). Each directory counts the entries it holds, in the order of its
// table with 37121 once, its values follow the entries on word boundaries, and exiftool,
// libtiff and ImageMagick read every field and the pixels.
TEST(TiffWriter, DirectoriesCountTheirEntriesAndEveryFieldReadsBack)
{
    TestStart();
    std::string path = TestOutputFolder("TiffWriter.Exif") + "/all.tif";
    TestWindow made = PictureWindow(TYPE_COLOR24, 13, 7, 300.0, 5);
    const uint32_t vertical[2] = {3000, 1};
    for (int latitudeFirst : {1, 0}) {
        for (const FieldCase &field : AllFields()) {
            int latitude = field.id == 43;
            if (latitude != latitudeFirst) continue;
            ASSERT_EQ(AddFileComment(made.window, latitude ? "GPS Lat" : field.key,
                                     latitude ? 42 : field.id, (int)field.value.size(),
                                     COMMENT_EXIF, field.value.data()),
                      ERROR_NONE);
        }
    }
    ASSERT_EQ(AddFileComment(made.window, "Vertical Res", 168, 8, COMMENT_EXIF, vertical),
              ERROR_NONE);
    ASSERT_EQ(SaveTiffFileWithComments(path.c_str(), made.window), ERROR_NONE);

    std::vector<uint8_t> bytes = TestReadFile(path);
    std::vector<Entry> main = Directory(bytes, 8);
    struct Table {
        int pointer;
        const TiffTagEntry *rows;
        int count;
    } tables[] = {{34665, TIFF_EXIF_TAGS, TIFF_EXIF_TAG_COUNT},
                  {34853, TIFF_GPS_TAGS, 27}}; // the fields have no GPS tags 27 to 30
    for (const Table &table : tables) {
        SCOPED_TRACE(table.pointer);
        uint32_t at = FindEntry(main, table.pointer)->value;
        std::vector<int> expected;
        for (int i = 0; i < table.count; i++)
            if (std::find(expected.begin(), expected.end(), table.rows[i].tag) == expected.end())
                expected.push_back(table.rows[i].tag);
        std::vector<Entry> entries = Directory(bytes, at);
        EXPECT_EQ(Tags(entries), expected);
        size_t end = at + 2 + 12 * entries.size();
        EXPECT_EQ(Get32(bytes, end), 0u); // no next directory
        uint32_t first = UINT32_MAX;
        for (const Entry &entry : entries) {
            int units[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8};
            if (entry.count * units[entry.type] <= 4) continue;
            EXPECT_EQ(entry.value % 2, 0u) << entry.tag;
            first = std::min(first, entry.value);
        }
        EXPECT_EQ(first, end + 4); // the values follow the entries
    }
    std::vector<Entry> exif = Directory(bytes, FindEntry(main, 34665)->value);
    EXPECT_EQ(Get32(bytes, FindEntry(exif, 41486)->value), 4000u);
    EXPECT_EQ(Get32(bytes, FindEntry(exif, 41487)->value), 3000u);

    // Binary values come base64-encoded; the maker note, which no maker of exiftool's
    // knowledge wrote, must be asked for by name.
    std::map<std::string, std::string> fields = ExifToolFields(path, ALL_FIELDS);
    for (const FieldCase &field : AllFields()) {
        SCOPED_TRACE(field.key);
        ExpectShown(fields, field);
    }
    EXPECT_EQ(fields["ExifIFD:FocalPlaneYResolution"], "3000");
    EXPECT_EQ(fields.count("ExifTool:Error"), 0u) << fields["ExifTool:Error"];
    EXPECT_EQ(fields["ExifTool:Warning"], "[minor] Unrecognized MakerNotes");
    std::string output;
    ExpectLibtiffReads("tiffinfo", path, &output);
    EXPECT_TRUE(SamplesEqual(ImageSamples(made.window->image), ToolSamples(path, 3, 8)));
}

TEST(TiffWriter, EveryTypeOpensProgressAndAnAbortKeepsTheOldFile)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffWriter.Abort");
    std::string path = folder + "/picture.tif";
    std::vector<uint8_t> old = {'o', 'l', 'd', ' ', 'f', 'i', 'l', 'e'};
    for (int type : PICTURE_TYPES) {
        for (int height : {1, 40}) {
            SCOPED_TRACE(std::to_string(type) + " height " + std::to_string(height));
            TestWriteFile(path, old);
            TestStart();
            TestWindow made = PictureWindow(type, 3, height, 72.0, type);
            HeadlessAbortAtPump(height / 2);
            EXPECT_EQ(SaveTiffFile(path.c_str(), &made.window->image), ERROR_ABORTED);
            EXPECT_EQ(TestReadFile(path), old);
            EXPECT_EQ(TestFolderFiles(folder), std::vector<std::string>{"picture.tif"});
            // Even a tiny picture shows the window, and it can be cancelled.
            ASSERT_EQ(HeadlessProgressCount(), 1);
            EXPECT_STREQ(HeadlessProgressAt(0)->title, "TIFF Write");
            EXPECT_EQ(HeadlessProgressAt(0)->last.canAbort, 1);
            EXPECT_EQ(HeadlessProgressAt(0)->last.last, height - 1);
            EXPECT_EQ(HeadlessProgressAt(0)->open, 0);
            EXPECT_EQ(ProgressWindow, nullptr);

            // Without the abort the same save replaces the old file.
            EXPECT_EQ(SaveTiffFile(path.c_str(), &made.window->image), ERROR_NONE);
            EXPECT_NE(TestReadFile(path), old);
            EXPECT_EQ(TestFolderFiles(folder), std::vector<std::string>{"picture.tif"});
        }
    }
}

TEST(TiffWriter, FailuresReturnTheirCodesAndLeaveNothingBehind)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffWriter.Failures");
    TestWindow made = PictureWindow(TYPE_COLOR24, 4, 3, 72.0, 1);
    const Image &image = made.window->image;

    EXPECT_EQ(SaveTiffFile((folder + "/missing/p.tif").c_str(), &image), ERROR_CREATE_FILE);
    TestWriteFile(folder + "/plain", {1});
    EXPECT_EQ(SaveTiffFile((folder + "/plain/p.tif").c_str(), &image), ERROR_CREATE_FILE);

    // A folder we may not write in. Root may write anywhere on disk, so as root we take a
    // folder of the kernel's, where nobody may create files.
    std::string locked = folder + "/locked";
    mkdir(locked.c_str(), 0555);
    std::string lockedPath = locked + "/p.tif";
    if (access(locked.c_str(), W_OK) == 0) lockedPath = "/sys/vistel-test.tif";
    EXPECT_EQ(SaveTiffFile(lockedPath.c_str(), &image), ERROR_READ_ONLY_FILE) << lockedPath;
    EXPECT_NE(access(lockedPath.c_str(), F_OK), 0);
    chmod(locked.c_str(), 0755);

    // Types that are not pictures: nothing is created.
    for (int type : {TYPE_EMPTY, TYPE_COLOR, TYPE_HISTOGRAM}) {
        SCOPED_TRACE(type);
        Image other = {};
        ASSERT_EQ(ImageAlloc(&other, type, 1, 1, 72.0), ERROR_NONE);
        EXPECT_EQ(SaveTiffFile((folder + "/other.tif").c_str(), &other), ERROR_SAVE_TYPE_TIFF);
        Picture picture;
        PictureReset(&picture);
        picture.image = other;
        EXPECT_EQ(SaveTiffFileWithComments((folder + "/other.tif").c_str(), &picture),
                  ERROR_SAVE_TYPE_TIFF);
        if (type != TYPE_EMPTY) {
            // The writer itself knows no row size for them.
            FileHandle file = FILE_HANDLE_NONE;
            ASSERT_EQ(FileCreate((folder + "/direct.tif").c_str(), &file), ERROR_NONE);
            EXPECT_EQ(WriteTiffImage(file, &other, nullptr, 0, nullptr), ERROR_ILLEGAL_TYPE);
            FileClose(&file);
        }
        PictureFree(&picture); // frees other too
    }
    EXPECT_EQ(access((folder + "/other.tif").c_str(), F_OK), -1);
    EXPECT_EQ(TestFolderFiles(folder), (std::vector<std::string>{"direct.tif", "locked", "plain"}));
}

TEST(TiffWriter, AFullDeviceFailsTheEntriesWithTheTiffCode)
{
    TestStart();
    TestWindow made = PictureWindow(TYPE_COLOR24, 2000, 20, 72.0, 1);
    // /dev/full takes nothing: the first value written out of line fails.
    FileHandle file = FILE_HANDLE_NONE;
    ASSERT_EQ(FileCreate("/dev/full", &file), ERROR_NONE);
    EXPECT_EQ(WriteTiffImage(file, &made.window->image, nullptr, 0, nullptr), ERROR_WRITE_TIFF);
    FileClose(&file);
}
