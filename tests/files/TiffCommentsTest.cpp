// The comment reader: files written by exiftool in both byte orders, values in native order,
// and damaged files that must give codes or drop fields, never more. What a save of them
// keeps is tested with the EXIF of JPEG files (MetadataTest).
#include <cstring>
#include <gtest/gtest.h>

#include "core/Memory.h"
#include "core/Picture.h"
#include "files/TiffComments.h"
#include "files/TiffWriter.h"
#include "platform/headless/Headless.h"
#include "tests/files/JpegPngSupport.h"

namespace {

// One comment as we expect it: name, id, flags and value bytes in native order.
struct Expected {
    const char *name;
    int id;
    int flags;
    std::vector<uint8_t> value;
};

std::vector<uint8_t> Text(const char *text, size_t length)
{
    return std::vector<uint8_t>(text, text + length);
}

// Text with its terminator, as a file holds it.
std::vector<uint8_t> Ascii(const char *text)
{
    return Text(text, strlen(text) + 1);
}

void ExpectComments(const FileComment *comments, const std::vector<Expected> &expected)
{
    size_t i = 0;
    for (const FileComment *c = comments; c != nullptr; c = c->next, i++) {
        SCOPED_TRACE("comment " + std::to_string(i) + " " + c->name);
        ASSERT_LT(i, expected.size()) << "more comments than expected";
        EXPECT_STREQ(c->name, expected[i].name);
        EXPECT_EQ(c->id, expected[i].id);
        EXPECT_EQ(c->flags, expected[i].flags);
        EXPECT_EQ(std::vector<uint8_t>(c->value, c->value + c->length), expected[i].value);
        EXPECT_EQ(c->value[c->length], 0); // the zero the length does not count
    }
    EXPECT_EQ(i, expected.size());
}

int CommentCount(const FileComment *comments)
{
    int count = 0;
    for (const FileComment *c = comments; c != nullptr; c = c->next)
        count++;
    return count;
}

const char RICH_ASSIGNMENTS[] =
    "-Artist=Ann -Make=Abcd -Model=Abc '-ImageDescription=A view' -Software=Vistel "
    "'-ModifyDate=2024:05:06 07:08:09' -HostComputer=host '-Copyright=(c) Ann' "
    "-ExposureTime=1/125 -FNumber=5.6 -ISO=200 -ExposureCompensation=-1/3 "
    "'-SubjectLocation=6 3' -FocalPlaneYResolution=4000 -UserComment=Hello -SubSecTime=12 "
    "'-GPSLatitude=48 51 24' -GPSLatitudeRef=N -GPSProcessingMethod=GPS "
    "-GPSDateStamp=2024:05:06 -GPSDifferential#=1 -GPSAreaInformation=Paris";

// What RICH_ASSIGNMENTS give, in the order exiftool lays the fields out: main directory by
// tag, then the EXIF directory (with the fields exiftool adds of itself), then GPS.
std::vector<Expected> RichExpected(void)
{
    return {
        {"Description", 3, 7, Ascii("A view")},
        {"Make", 5, 3, Ascii("Abcd")}, // five bytes: read from the value's offset
        {"Model", 6, 1, Ascii("Abc")}, // four bytes: read from the entry itself
        {"Software", 9, 1, Ascii("Vistel")},
        {"Date/Time", 2, 3, Ascii("2024:05:06 07:08:09")},
        {"Artist", 0, 3, Ascii("Ann")},
        {"Computer", 4, 1, Ascii("host")},
        {"Copyright", 1, 3, Ascii("(c) Ann")},
        {"Exposure (sec)", 34, 8, Native<uint32_t>({1, 125})},
        {"Aperture (f)", 35, 8, Native<uint32_t>({28, 5})},
        {"Film Speed (ISO)", 162, 8, Native<uint16_t>({200})},
        {"EXIF Version", 21, 8, Text("0232", 4)},
        {"Components Config", 200, 8, {1, 2, 3, 0}},
        {"Exposure Bias (stops)", 27, 8, Native<int32_t>({-1, 3})},
        {"User Comment", 37, 8, Text("ASCII\0\0\0Hello", 13)},
        {"Time sec", 38, 8, Ascii("12")},
        {"FPX Version", 158, 8, Text("0100", 4)},
        {"Color Space", 159, 8, Native<uint16_t>({65535})},
        {"Vertical Res", 168, 8, Native<uint32_t>({4000, 1})},
        {"Subject Location", 169, 8, Native<uint16_t>({6, 3})},
        {"GPS Version", 41, 8, {2, 3, 0, 0}},
        {"GPS Lat N/S", 42, 8, Ascii("N")},
        {"GPS Lat", 42, 8, Native<uint32_t>({48, 1, 51, 1, 24, 1})},
        {"GPS Processing Method", 219, 8, Text("ASCII\0\0\0GPS", 11)},
        {"GPS Area Info", 220, 8, Text("ASCII\0\0\0Paris", 13)},
        {"GPS Date", 221, 8, Ascii("2024:05:06")},
        {"GPS Differential", 222, 8, Native<uint16_t>({1})},
    };
}

struct Field {
    int tag;
    int type;
    uint32_t count;
    std::vector<uint8_t> value; // in the file's order; over four bytes it goes out of line
};

// A file of a main directory and an EXIF directory that it points to, with the values
// behind them. The main directory's pointer is written as pointerType.
std::vector<uint8_t> HandMade(int littleEndian, const std::vector<Field> &main,
                              const std::vector<Field> &exif, int pointerType)
{
    TestTiff tiff;
    tiff.littleEndian = littleEndian;
    tiff.exifPointerType = (uint16_t)pointerType;
    for (const Field &f : main)
        tiff.entries.push_back({(uint16_t)f.tag, (uint16_t)f.type, {}, f.count, -1, f.value});
    for (const Field &f : exif)
        tiff.exif.push_back({(uint16_t)f.tag, (uint16_t)f.type, {}, f.count, -1, f.value});
    return TestTiffBytes(tiff);
}

// Numbers of bytesEach bytes in the file's order; eight-byte ones as two words, the high one
// first in a big-endian file.
std::vector<uint8_t> FileOrder(int littleEndian, int bytesEach,
                               std::initializer_list<uint64_t> values)
{
    std::vector<uint8_t> bytes;
    for (uint64_t v : values) {
        size_t at = bytes.size();
        if (bytesEach != 8) {
            TestTiffPut(bytes, at, (uint32_t)v, bytesEach, littleEndian);
            continue;
        }
        TestTiffPut(bytes, at, (uint32_t)(littleEndian ? v : v >> 32), 4, littleEndian);
        TestTiffPut(bytes, at + 4, (uint32_t)(littleEndian ? v >> 32 : v), 4, littleEndian);
    }
    return bytes;
}

} // namespace

TEST(TiffComments, ReadsWhatExiftoolWroteInEitherByteOrder)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffComments.Exiftool");
    for (int bigEndian : {0, 1}) {
        SCOPED_TRACE(bigEndian ? "big-endian" : "little-endian");
        std::string path =
            ExiftoolFile(folder, bigEndian ? "be" : "le", bigEndian, RICH_ASSIGNMENTS, "tif");
        std::vector<uint8_t> bytes = TestReadFile(path);
        ASSERT_GE(bytes.size(), 8u);
        ASSERT_EQ(bytes[0], bigEndian ? 'M' : 'I');
        TestWindow made = PictureWindow(TYPE_GRAY8, 16, 8, 72.0, 1);
        ASSERT_EQ(ReadTiffComments(path.c_str(), made.window), ERROR_NONE);
        ExpectComments(made.window->comments, RichExpected());
    }
}

TEST(TiffComments, WriteFormCountsTheValuesAndNeverFewerThanTheTable)
{
    TestStart();
    const TiffTagEntry latitude = {2, TIFF_FIELD_RATIONAL, 3, 42, "GPS Lat"};
    const TiffTagEntry width = {40962, TIFF_FIELD_SHORT, 1, 0, "Width"};
    const TiffTagEntry text = {270, TIFF_FIELD_ASCII, 0, 3, "Description"};
    struct Case {
        const TiffTagEntry *row;
        int length, type;
        uint32_t count;
    } cases[] = {
        {&latitude, 8, TIFF_FIELD_RATIONAL, 3}, // one rational: the writer adds two zeros
        {&latitude, 24, TIFF_FIELD_RATIONAL, 3},
        {&latitude, 32, TIFF_FIELD_RATIONAL, 4},
        {&width, 2, TIFF_FIELD_SHORT, 1},
        {&width, 4, TIFF_FIELD_LONG, 1}, // four bytes of a pixel dimension were a LONG
        {&text, 6, TIFF_FIELD_ASCII, 6},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << c.row->tag << " of " << c.length << " bytes");
        int type = 0;
        uint32_t count = 0;
        TiffTagWriteForm(c.row, c.length, &type, &count);
        EXPECT_EQ(type, c.type);
        EXPECT_EQ(count, c.count);
    }
}

TEST(TiffComments, ListKeepsFileOrderAndNumbersComeInNativeOrder)
{
    TestStart();
    std::string path = TestOutputFolder("TiffComments.Native") + "/hand.tif";
    for (int littleEndian : {1, 0}) {
        SCOPED_TRACE(littleEndian ? "little-endian" : "big-endian");
        double half = 2.5;
        float oneAndHalf = 1.5f;
        uint64_t halfBits;
        uint32_t floatBits;
        memcpy(&halfBits, &half, 8);
        memcpy(&floatBits, &oneAndHalf, 4);
        // Model before Make: the list follows the file, not a table.
        std::vector<Field> main = {{272, TIFF_FIELD_ASCII, 3, Ascii("CX")},
                                   {271, TIFF_FIELD_ASCII, 8, Ascii("Corvane")}};
        std::vector<Field> exif = {
            {41492, TIFF_FIELD_SHORT, 2, FileOrder(littleEndian, 2, {6, 3})},
            {34850, TIFF_FIELD_SHORT, 3, FileOrder(littleEndian, 2, {1, 2, 0xfffe})},
            {40962, TIFF_FIELD_LONG, 1, FileOrder(littleEndian, 4, {70000})},
            {40963, TIFF_FIELD_LONG, 2, FileOrder(littleEndian, 4, {1, 0x01020304})},
            {37380, TIFF_FIELD_SRATIONAL, 1, FileOrder(littleEndian, 4, {0xffffffff, 3})},
            {37377, TIFF_FIELD_DOUBLE, 1, FileOrder(littleEndian, 8, {halfBits})},
            {37378, TIFF_FIELD_FLOAT, 1, FileOrder(littleEndian, 4, {floatBits})},
            {37379, TIFF_FIELD_SSHORT, 1, FileOrder(littleEndian, 2, {0xfffe})},
            {37381, 0, 3, {'a', 'b', 'c'}},                  // unknown type 0: bytes
            {37382, 13, 1, FileOrder(littleEndian, 4, {5})}, // no size known: dropped
            {37383, 99, 1, FileOrder(littleEndian, 4, {5})}, // dropped
            {37384, TIFF_FIELD_SHORT, 0, {}},                // nothing at all
            {41487, TIFF_FIELD_RATIONAL, 1, FileOrder(littleEndian, 4, {4000, 1})},
        };
        TestWriteFile(path, HandMade(littleEndian, main, exif, TIFF_FIELD_LONG));
        TestWindow made = PictureWindow(TYPE_COLOR24, 1, 1, 72.0, 1);
        ASSERT_EQ(ReadTiffComments(path.c_str(), made.window), ERROR_NONE);
        ExpectComments(made.window->comments,
                       {{"Model", 6, 1, Ascii("CX")},
                        {"Make", 5, 3, Ascii("Corvane")},
                        {"Subject Location", 169, 8, Native<uint16_t>({6, 3})},
                        {"Exposure Program", 160, 8, Native<uint16_t>({1, 2, 0xfffe})},
                        {"Pixel X Dim", 203, 8, Native<uint32_t>({70000})},
                        {"Pixel Y Dim", 204, 8, Native<uint32_t>({1, 0x01020304})},
                        {"Exposure Bias (stops)", 27, 8, Native<int32_t>({-1, 3})},
                        {"Exposure (APEX)", 24, 8, Native<double>({2.5})},
                        {"Aperture (APEX)", 25, 8, Native<float>({1.5f})},
                        {"Brightness (APEX)", 26, 8, Native<int16_t>({-2})},
                        {"Max Aperture (APEX)", 28, 8, {'a', 'b', 'c'}},
                        {"Light Source", 31, 8, {}},
                        {"Vertical Res", 168, 8, Native<uint32_t>({4000, 1})}});
    }
}

TEST(TiffComments, DirectoryPointersTakeTheScalarOfTheirFieldType)
{
    TestStart();
    std::string path = TestOutputFolder("TiffComments.Pointers") + "/p.tif";
    std::vector<Field> exif = {{33434, TIFF_FIELD_RATIONAL, 1, FileOrder(1, 4, {1, 60})}};
    const std::vector<Expected> exposure = {{"Exposure (sec)", 34, 8, Native<uint32_t>({1, 60})}};

    // A SHORT pointer serves as well as a LONG one.
    for (int type : {TIFF_FIELD_LONG, TIFF_FIELD_SHORT}) {
        SCOPED_TRACE(type);
        TestWriteFile(path, HandMade(1, {}, exif, type));
        TestWindow made = PictureWindow(TYPE_GRAY8, 1, 1, 72.0, 1);
        ASSERT_EQ(ReadTiffComments(path.c_str(), made.window), ERROR_NONE);
        ExpectComments(made.window->comments, exposure);
    }

    // A field type without a scalar of its own (13, a directory) keeps the one of the entry
    // before it. After an ASCII entry that is 0, and the header is no EXIF directory.
    TestWriteFile(path, HandMade(1, {{271, TIFF_FIELD_ASCII, 3, Ascii("Ab")}}, exif, 13));
    TestWindow made = PictureWindow(TYPE_GRAY8, 1, 1, 72.0, 1);
    ASSERT_EQ(ReadTiffComments(path.c_str(), made.window), ERROR_NONE);
    ExpectComments(made.window->comments, {{"Make", 5, 3, Ascii("Ab")}});
    // After a LONG entry whose value is the EXIF offset, the directory is found.
    std::vector<uint8_t> bytes = HandMade(1, {{254, TIFF_FIELD_LONG, 1, {}}}, exif, 13);
    uint32_t exifAt = bytes[8 + 2 + 12 + 8] | (bytes[8 + 2 + 12 + 9] << 8);
    bytes[8 + 2 + 8] = (uint8_t)exifAt; // NewSubfileType's value becomes the offset
    TestWriteFile(path, bytes);
    made = PictureWindow(TYPE_GRAY8, 1, 1, 72.0, 1);
    ASSERT_EQ(ReadTiffComments(path.c_str(), made.window), ERROR_NONE);
    ExpectComments(made.window->comments, exposure);
}

TEST(TiffComments, HostileFilesGiveCodesOrDropFields)
{
    TestStart();
    struct Case {
        const char *file;
        ErrorCode result;
        std::vector<int> ids; // the comments kept, in order
    } cases[] = {
        {"comments-exif-past-eof.tif", ERROR_NONE, {5}},
        {"comments-ascii-count-huge.tif", ERROR_NONE, {6}},
        {"comments-exif-self-loop.tif", ERROR_NONE, {34}},
        {"comments-main-loop.tif", ERROR_NONE, {5}},
        {"comments-entry-count-beyond-file.tif", ERROR_NONE, {5, 6}},
        {"comments-odd-types.tif", ERROR_NONE, {28}},
        {"comments-version-43.tif", ERROR_READ_TIFF, {}},
        {"comments-bad-signature.tif", ERROR_READ_TIFF, {}},
        {"comments-value-offset-wraps.tif", ERROR_NONE, {35}},
        {"comments-short-pointer-negative.tif", ERROR_NONE, {5}},
        {"comments-profile-count-huge.tif", ERROR_NONE, {5}},
        {"comments-directory-past-eof.tif", ERROR_NONE, {}},
        {"comments-truncated-in-exif.tif", ERROR_NONE, {5, 6, 0}},
        // Our writer's files once counted the comments of the EXIF directory, not its entries,
        // and the components configuration gave two: the last entry, the color space, stands
        // past the count, and the first values lie under the entries after it.
        {"comments-exif-short-count.tif", ERROR_NONE, {5, 34, 35, 162, 21, 200, 200, 158}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        std::string path = TestDataPath(std::string("hostile/") + c.file);
        ASSERT_FALSE(TestReadFile(path).empty());
        TestWindow made = PictureWindow(TYPE_COLOR24, 1, 1, 72.0, 1);
        EXPECT_EQ(ReadTiffComments(path.c_str(), made.window), c.result);
        std::vector<int> ids;
        for (const FileComment *comment = made.window->comments; comment != nullptr;
             comment = comment->next)
            ids.push_back(comment->id);
        EXPECT_EQ(ids, c.ids);
    }

    // Thousands of entries that all point at one large value: what is kept never exceeds
    // the file's size.
    std::string path = TestDataPath("hostile/comments-one-value-many-entries.tif");
    int64_t fileSize = (int64_t)TestReadFile(path).size();
    TestWindow made = PictureWindow(TYPE_COLOR24, 1, 1, 72.0, 1);
    EXPECT_EQ(ReadTiffComments(path.c_str(), made.window), ERROR_NONE);
    int64_t kept = 0;
    for (const FileComment *comment = made.window->comments; comment != nullptr;
         comment = comment->next)
        kept += comment->length;
    EXPECT_GT(kept, 0);
    EXPECT_LE(kept, fileSize);
    EXPECT_EQ(CommentCount(made.window->comments), (int)(fileSize / 8000));
    // The profile reader refuses a profile that cannot be in the file.
    EXPECT_EQ(ReadTiffColorProfile(TestDataPath("hostile/comments-profile-count-huge.tif").c_str(),
                                   made.window),
              ERROR_READ_TIFF);
    EXPECT_EQ(made.window->profile, nullptr);
}

TEST(TiffComments, TruncatedAndCorruptedFilesGiveCodesNotCrashes)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffComments.Truncated");
    for (int bigEndian : {0, 1}) {
        SCOPED_TRACE(bigEndian);
        std::string source = ExiftoolFile(folder, bigEndian ? "rich-be" : "rich-le", bigEndian,
                                          RICH_ASSIGNMENTS, "tif");
        std::vector<uint8_t> bytes = TestReadFile(source);
        ASSERT_GT(bytes.size(), 500u);
        std::string path = folder + "/cut.tif";
        for (size_t size = 0; size < bytes.size(); size++) {
            SCOPED_TRACE(size);
            TestWriteFile(path, std::vector<uint8_t>(bytes.begin(), bytes.begin() + size));
            TestWindow made = PictureWindow(TYPE_COLOR24, 1, 1, 72.0, 1);
            ErrorCode result = ReadTiffComments(path.c_str(), made.window);
            EXPECT_EQ(result, size < 8 ? ERROR_READ_TIFF : ERROR_NONE);
            int64_t kept = 0;
            for (const FileComment *c = made.window->comments; c != nullptr; c = c->next)
                kept += c->length;
            EXPECT_LE(kept, (int64_t)size);
            result = ReadTiffColorProfile(path.c_str(), made.window);
            EXPECT_TRUE(result == ERROR_NONE || result == ERROR_READ_TIFF) << result;
        }
        // Every byte turned around in turn: a code, or fields dropped or garbled.
        for (size_t at = 0; at < bytes.size(); at++) {
            SCOPED_TRACE(at);
            std::vector<uint8_t> damaged = bytes;
            damaged[at] ^= 0xff;
            TestWriteFile(path, damaged);
            TestWindow made = PictureWindow(TYPE_COLOR48, 1, 1, 72.0, 1);
            ErrorCode result = ReadTiffComments(path.c_str(), made.window);
            EXPECT_TRUE(result == ERROR_NONE || result == ERROR_READ_TIFF) << result;
            EXPECT_LE(CommentCount(made.window->comments), 3 * 65535);
            result = ReadTiffColorProfile(path.c_str(), made.window);
            EXPECT_TRUE(result == ERROR_NONE || result == ERROR_READ_TIFF) << result;
        }
    }
}

TEST(TiffComments, MissingFileAndBadHeadersGiveTheirCodes)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffComments.Headers");
    TestWindow made = PictureWindow(TYPE_GRAY8, 1, 1, 72.0, 1);
    EXPECT_EQ(ReadTiffComments((folder + "/missing.tif").c_str(), made.window), ERROR_OPEN_FILE);
    EXPECT_EQ(ReadTiffComments(folder.c_str(), made.window), ERROR_OPEN_FILE);
    std::string path = folder + "/bad.tif";
    for (const std::vector<uint8_t> &bytes :
         {std::vector<uint8_t>{}, std::vector<uint8_t>{'I', 'I', 42, 0, 8, 0, 0},
          std::vector<uint8_t>{'M', 'I', 0, 42, 0, 0, 0, 8},
          std::vector<uint8_t>{'X', 'X', 42, 0, 8, 0, 0, 0},
          std::vector<uint8_t>{'M', 'M', 42, 0, 0, 0, 0, 8}}) {
        TestWriteFile(path, bytes);
        EXPECT_EQ(ReadTiffComments(path.c_str(), made.window), ERROR_READ_TIFF);
    }
    EXPECT_EQ(made.window->comments, nullptr);
}
