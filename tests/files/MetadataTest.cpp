// EXIF through exiv2: a JPEG's EXIF gives exactly the comments our TIFF comment reader makes
// of the same bytes, EXIF written by exiftool survives open and save as JPEG and as TIFF as
// exiftool reports it, every field we write lands under its tag, and damaged blocks are
// refused without an exception escaping.
#include <cstring>
#include <gtest/gtest.h>

#include "core/FileComment.h"
#include "core/Memory.h"
#include "files/FileType.h"
#include "files/Jpeg.h"
#include "files/Metadata.h"
#include "files/Png.h"
#include "files/TiffComments.h"
#include "files/TiffWriter.h"
#include "tests/files/JpegPngSupport.h"

namespace {

// Every field of our tables that exiftool writes (all but the OECF, the spatial frequency
// response, the device settings and the maker note): the main directory, EXIF fields of each
// type, a text that is not ASCII (exiftool makes the user comment Unicode), both focal plane
// resolutions, a subject area of two values, and every GPS field.
const char RICH[] =
    "-Artist=Ann -Make=Abcd -Model=Abc '-ImageDescription=A view' -Software=Vistel "
    "'-ModifyDate=2024:05:06 07:08:09' -HostComputer=host '-Copyright=(c) Ann' "
    "-ExposureTime=1/125 -FNumber=5.6 -ExposureProgram#=2 '-SpectralSensitivity=ASTM E-1' "
    "-ISO=200 -ExifVersion=0230 '-DateTimeOriginal=2024:05:06 07:08:09' "
    "'-CreateDate=2024:05:06 07:08:10' '-ComponentsConfiguration#=1 2 3 0' "
    "-CompressedBitsPerPixel=4 -ShutterSpeedValue=1/128 -ApertureValue=4 -BrightnessValue=-2 "
    "-ExposureCompensation=-1/3 -MaxApertureValue=2 -SubjectDistance=3.5 -MeteringMode#=5 "
    "-LightSource#=1 -ExifIFD:Flash#=16 '-SubjectArea=320 240' -FocalLength=50 "
    "-UserComment=Grüße -SubSecTime=12 -SubSecTimeOriginal=34 -SubSecTimeDigitized=56 "
    "-FlashpixVersion=0100 -ColorSpace#=1 -ExifImageWidth=640 -ExifImageHeight=480 "
    "-RelatedSoundFile=SOUND001.WAV -FlashEnergy=1.5 -FocalPlaneXResolution=4000 "
    "-FocalPlaneYResolution=3000 -FocalPlaneResolutionUnit#=2 '-SubjectLocation=6 3' "
    "-ExposureIndex=100 -SensingMethod#=2 -FileSource#=3 -SceneType#=1 "
    "'-CFAPattern#=2 2 0 1 1 2' -CustomRendered#=0 -ExposureMode#=1 -WhiteBalance#=0 "
    "-DigitalZoomRatio=1.5 -FocalLengthIn35mmFormat=75 -SceneCaptureType#=1 -GainControl#=1 "
    "-Contrast#=2 -Saturation#=1 -Sharpness#=2 -SubjectDistanceRange#=2 "
    "-ImageUniqueID=0123456789abcdef0123456789abcdef '-GPSVersionID=2 3 0 0' "
    "'-GPSLatitude=48 51 24' -GPSLatitudeRef=N -GPSLongitude=2.35 -GPSLongitudeRef=E "
    "-GPSAltitudeRef#=0 -GPSAltitude=35.5 -GPSTimeStamp=12:34:56 -GPSSatellites=07 "
    "-GPSStatus#=A -GPSMeasureMode=3 -GPSDOP=1.2 -GPSSpeedRef#=K -GPSSpeed=5 -GPSTrackRef=T "
    "-GPSTrack=90 -GPSImgDirectionRef=M -GPSImgDirection=180 -GPSMapDatum=WGS-84 "
    "-GPSDestLatitudeRef=S -GPSDestLatitude=33.5 -GPSDestLongitudeRef=W "
    "-GPSDestLongitude=70.75 -GPSDestBearingRef=T -GPSDestBearing=45 -GPSDestDistanceRef=K "
    "-GPSDestDistance=1200 -GPSProcessingMethod=GPS -GPSDateStamp=2024:05:06 "
    "-GPSDifferential#=1 -GPSAreaInformation=Paris";

// What exiftool -validate finds wrong with a file, one warning a line.
std::vector<std::string> ValidateWarnings(const std::string &path)
{
    std::string output;
    TestRun("exiftool -validate -warning -a -s3 " + Quote(path) + " 2>&1", &output);
    std::vector<std::string> warnings;
    size_t start = output.find('\n'); // past the count of warnings
    while (start != std::string::npos && start + 1 < output.size()) {
        size_t end = output.find('\n', start + 1);
        warnings.push_back(output.substr(start + 1, end - start - 1));
        start = end;
    }
    return warnings;
}

// What ImageMagick (libtiff, for a TIFF) says while it reads a file, a line each; "failed"
// first when it fails.
std::vector<std::string> MagickComplaints(const std::string &path)
{
    std::string output;
    std::vector<std::string> lines;
    if (TestRun("convert " + Quote(path) + " info: 2>&1 >/dev/null", &output) != 0)
        lines.push_back("failed");
    for (size_t start = 0, end; start < output.size(); start = end + 1) {
        end = output.find('\n', start);
        if (end == std::string::npos) end = output.size();
        lines.push_back(output.substr(start, end - start));
    }
    return lines;
}

// The EXIF block of a JPEG's APP1 segment: the bytes after "Exif\0\0".
std::vector<uint8_t> JpegExifBlock(const std::vector<uint8_t> &jpeg)
{
    size_t at = 2;
    while (at + 4 <= jpeg.size() && jpeg[at] == 0xff && jpeg[at + 1] != 0xda) {
        size_t length = (size_t)(jpeg[at + 2] << 8 | jpeg[at + 3]);
        if (jpeg[at + 1] == 0xe1 && length > 8 && memcmp(&jpeg[at + 4], "Exif\0\0", 6) == 0)
            return std::vector<uint8_t>(jpeg.begin() + at + 10, jpeg.begin() + at + 2 + length);
        at += 2 + length;
    }
    return {};
}

// Tags as exiftool -v3 lists them: "directory tag format[count]" for every entry. The depth
// of a line, its count of '|', tells which directory it belongs to.
std::vector<std::string> ExiftoolEntries(const std::string &path)
{
    std::string output;
    TestRun("exiftool -v3 " + Quote(path) + " 2>&1", &output);
    std::vector<std::string> entries;
    std::map<size_t, std::string> directories;
    size_t start = 0;
    while (start < output.size()) {
        size_t end = output.find('\n', start);
        if (end == std::string::npos) end = output.size();
        std::string line = output.substr(start, end - start);
        start = end + 1;
        size_t depth = (size_t)std::count(line.begin(), line.end(), '|');
        size_t open = line.find("+ [");
        if (open != std::string::npos) {
            directories[depth + 1] = line.substr(open + 3, line.find(' ', open + 3) - open - 3);
            continue;
        }
        size_t tag = line.find("- Tag 0x");
        size_t comma = line.find(" bytes, ");
        size_t close = comma == std::string::npos ? comma : line.find(']', comma);
        if (tag == std::string::npos || close == std::string::npos) continue;
        entries.push_back(directories[depth] + " " + line.substr(tag + 8, 4) + " " +
                          line.substr(comma + 8, close + 1 - comma - 8));
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

void Add(FileComment **list, const char *name, int id, int flags, const std::vector<uint8_t> &value)
{
    ASSERT_EQ(FileCommentAppend(list, name, id, (int)value.size(), flags, value.data()),
              ERROR_NONE);
}

} // namespace

TEST(Metadata, JpegExifGivesTheCommentsTheTiffReaderMakesOfTheSameBlock)
{
    TestStart();
    std::string folder = TestOutputFolder("Metadata.SameAsTiff");
    for (int bigEndian : {0, 1}) {
        SCOPED_TRACE(bigEndian ? "big-endian" : "little-endian");
        std::string path = ExiftoolFile(folder, bigEndian ? "be" : "le", bigEndian, RICH);
        std::vector<uint8_t> block = JpegExifBlock(TestReadFile(path));
        ASSERT_GT(block.size(), 200u);
        ASSERT_EQ(block[0], bigEndian ? 'M' : 'I');
        // The block is a TIFF header with directories: our TIFF comment reader reads it.
        std::string blockPath = folder + "/block.tif";
        TestWriteFile(blockPath, block);
        TestWindow tiff = EmptyWindow();
        ASSERT_EQ(ReadTiffComments(blockPath.c_str(), tiff.window), ERROR_NONE);
        std::vector<CommentRecord> expected = CommentRecords(tiff.window->comments);
        ASSERT_GE(expected.size(), 30u);

        TestWindow jpeg = EmptyWindow();
        ASSERT_EQ(ReadJpegFile(path.c_str(), jpeg.window, 0, nullptr), ERROR_NONE);
        EXPECT_EQ(CommentRecords(jpeg.window->comments), expected);

        FileComment *list = nullptr;
        MetadataPicture picture;
        ASSERT_EQ(MetadataReadExif(block.data(), block.size(), &list, &picture), ERROR_NONE);
        EXPECT_EQ(CommentRecords(list), expected);
        EXPECT_EQ(picture.orientation, 1);
        EXPECT_EQ(picture.resolution, 0.0); // the block has no resolution fields
        FreeFileComments(&list);
    }
}

// Every field exiftool writes of our tables survives an open and a save, from a JPEG or a
// TIFF in either byte order to a TIFF or a JPEG: exiftool sees each as it was and finds
// nothing to warn about that the original did not have, but for the order of our EXIF table
// (SubjectArea before FocalLength) and, in a TIFF, the fields EXIF keeps for JPEG. libtiff,
// through ImageMagick, has nothing to say of a saved file that it does not say of exiftool's
// file of the same kind, but for that order.
TEST(Metadata, ExiftoolFieldsSurviveOpenAndSaveAsTiffAndAsJpeg)
{
    TestStart();
    std::string folder = TestOutputFolder("Metadata.Survive");
    const char *const descriptive[] = {"IFD0:Artist",           "IFD0:Make",     "IFD0:Model",
                                       "IFD0:ImageDescription", "IFD0:Software", "IFD0:ModifyDate",
                                       "IFD0:HostComputer",     "IFD0:Copyright"};
    const std::string order = "Invalid TIFF directory; tags are not sorted in ascending order";
    for (int bigEndian : {0, 1}) {
        std::map<std::string, std::string> originals;
        for (const char *kind : {"jpg", "tif"})
            originals[kind] = ExiftoolFile(folder, kind, bigEndian, RICH, kind);
        for (const char *from : {"jpg", "tif"}) {
            std::map<std::string, std::string> before = ExifToolFields(originals[from]);
            ASSERT_EQ(FieldGroup(before, "ExifIFD:").size(), 52u);
            ASSERT_EQ(FieldGroup(before, "GPS:").size(), 31u);
            std::vector<std::string> allowed = ValidateWarnings(originals[from]);
            allowed.insert(allowed.end(), {"Entries in ExifIFD are out of order",
                                           "Tag ID 0x920a FocalLength out of sequence in ExifIFD"});
            for (const char *to : {"tif", "jpg"}) {
                SCOPED_TRACE(std::string(from) + (bigEndian ? " big-endian" : "") + " to " + to);
                int tiff = strcmp(to, "tif") == 0;
                TestWindow made = EmptyWindow();
                ASSERT_EQ(FileLoad(originals[from].c_str(), FILE_OPEN_ALL, made.window, 0),
                          ERROR_NONE);
                std::string saved = folder + "/saved." + to;
                ASSERT_EQ(FileSave(saved.c_str(), tiff ? FILE_SAVE_TIFF : FILE_SAVE_JPEG,
                                   made.window, 90),
                          ERROR_NONE);
                std::map<std::string, std::string> after = ExifToolFields(saved);
                for (const char *group : {"ExifIFD:", "GPS:"})
                    EXPECT_EQ(FieldGroup(after, group), FieldGroup(before, group)) << group;
                for (const char *field : descriptive) {
                    EXPECT_FALSE(before[field].empty()) << field;
                    EXPECT_EQ(after[field], before[field]) << field;
                }
                for (const std::string &warning : ValidateWarnings(saved)) {
                    int known = std::find(allowed.begin(), allowed.end(), warning) != allowed.end();
                    if (tiff && warning.find("is not allowed in TIFF") != std::string::npos)
                        known = 1;
                    EXPECT_TRUE(known) << warning;
                }
                std::vector<std::string> complaints = MagickComplaints(saved);
                complaints.erase(std::remove_if(complaints.begin(), complaints.end(),
                                                [&](const std::string &line) {
                                                    return line.find(order) != std::string::npos;
                                                }),
                                 complaints.end());
                EXPECT_EQ(complaints, MagickComplaints(originals[to]));
                if (tiff) {
                    EXPECT_EQ(TestRun("tiffinfo " + Quote(saved) + " >/dev/null 2>&1"), 0);
                }
            }
        }
    }
}

TEST(Metadata, EveryCommentWithAPlaceIsWrittenUnderItsTagAndReadsBack)
{
    TestStart();
    std::string folder = TestOutputFolder("Metadata.EveryField");
    FileComment *list = nullptr;
    std::vector<std::string> expected;
    char tag[16];
    // The main directory: ten texts, DocumentName and PageName among them.
    static const int MAIN[10][2] = {{0, 315}, {1, 33432}, {2, 306}, {3, 270}, {4, 316},
                                    {5, 271}, {6, 272},   {7, 269}, {8, 285}, {9, 305}};
    for (const auto &main : MAIN) {
        std::string text = "Text " + std::to_string(main[0]);
        Add(&list, "Main", main[0], 1, std::vector<uint8_t>(text.begin(), text.end() + 1));
        snprintf(tag, sizeof tag, "%04x", main[1]);
        expected.push_back(std::string("IFD0 ") + tag + " string[" +
                           std::to_string(text.size() + 1) + "]");
    }
    // Each table field once, by its first entry; a SHORT given as four bytes a value is a LONG.
    struct Table {
        const TiffTagEntry *entries;
        int count;
        const char *directory;
    } tables[] = {{TIFF_EXIF_TAGS, TIFF_EXIF_TAG_COUNT, "ExifIFD"},
                  {TIFF_GPS_TAGS, TIFF_GPS_TAG_COUNT, "GPS"}};
    for (const Table &table : tables) {
        for (int i = 0; i < table.count; i++) {
            const TiffTagEntry &entry = table.entries[i];
            if (FindFileComment(list, entry.id) != nullptr) continue; // 37121 and 167 again
            std::vector<uint8_t> value;
            std::string format;
            int count = entry.count > 0 ? entry.count : 1;
            switch (entry.fieldType) {
            case TIFF_FIELD_SHORT:
                if (entry.tag == 40962) {
                    value = Native<uint32_t>({70000});
                    format = "int32u[1]";
                } else {
                    value = Native<uint16_t>({7, 9});
                    value.resize(2 * count);
                    format = "int16u[" + std::to_string(count) + "]";
                }
                break;
            case TIFF_FIELD_RATIONAL:
                value = Native<uint32_t>({1, 3, 5, 7, 9, 11});
                value.resize(8 * count);
                format = "rational64u[" + std::to_string(count) + "]";
                break;
            case TIFF_FIELD_SRATIONAL:
                value = Native<int32_t>({-1, 3});
                format = "rational64s[1]";
                break;
            case TIFF_FIELD_ASCII:
                value = {'a', 'b', 'c', 0};
                format = "string[4]";
                break;
            case TIFF_FIELD_BYTE:
                value = {2, 3, 0, 0};
                format = "int8u[" + std::to_string(entry.tag == 5 ? 1 : 4) + "]";
                if (entry.tag == 5) value = {1};
                break;
            default:
                value = {'0', '2', '3', '2', 'x'};
                format = "undef[5]";
                break;
            }
            Add(&list, entry.name, entry.id, COMMENT_EXIF, value);
            snprintf(tag, sizeof tag, "%04x", entry.tag);
            expected.push_back(std::string(table.directory) + " " + tag + " " + format);
        }
    }
    // The reader's own names: the vertical resolution, the latitude by its shared id. The
    // latitude's tag is taken already by id 43.
    Add(&list, "Vertical Res", 168, 8, Native<uint32_t>({3000, 1}));
    expected.push_back("ExifIFD a20f rational64u[1]");
    Add(&list, "GPS Lat", 42, 8, Native<uint32_t>({1, 1, 2, 1, 3, 1}));
    // Comments without a place: an unknown id, and a second zoom whose length fits no
    // rational (the first of an id wins anyway).
    Add(&list, "Other", 500, 8, {1, 2, 3});
    Add(&list, "Digital Zoom", 209, 8, {1, 2, 3});

    uint8_t *block = nullptr;
    size_t size = 0;
    ASSERT_EQ(MetadataWriteExif(list, 0, 65527, ERROR_WRITE_JPEG, &block, &size), ERROR_NONE);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0], 'I');
    std::vector<uint8_t> bytes(block, block + size);
    std::string path = folder + "/block.tif";
    TestWriteFile(path, bytes);
    std::vector<std::string> entries = ExiftoolEntries(path);
    // exiv2 adds the pointers to the EXIF and GPS directories.
    expected.insert(expected.end(), {"IFD0 8769 int32u[1]", "IFD0 8825 int32u[1]"});
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(entries, expected);

    // Read back, each comment comes as it went, under the names and ids a read gives.
    FileComment *read = nullptr;
    MetadataPicture picture;
    ASSERT_EQ(MetadataReadExif(block, size, &read, &picture), ERROR_NONE);
    std::vector<CommentRecord> back = CommentRecords(read);
    int found = 0;
    for (const FileComment *c = list; c != nullptr; c = c->next) {
        if (c->id == 7 || c->id == 8 || c->id == 500) continue;       // never read
        if (c->id == 209 && c->length == 3) continue;                 // never written
        if (c->id == 42 && strcmp(c->name, "GPS Lat") == 0) continue; // tag taken
        CommentRecord want = {c->id, c->name, c->flags,
                              std::vector<uint8_t>(c->value, c->value + c->length)};
        if (c->id == 43) want = {42, "GPS Lat", 8, want.value}; // the reader's name for it
        if (c->id <= 9) {
            static const int FLAGS[10] = {3, 3, 3, 7, 1, 3, 1, 0, 0, 1};
            static const char *const NAMES[10] = {
                "Artist", "Copyright", "Date/Time", "Description", "Computer", "Make",
                "Model",  "",          "",          "Software"};
            want.name = NAMES[c->id];
            want.flags = FLAGS[c->id];
        }
        EXPECT_NE(std::find(back.begin(), back.end(), want), back.end()) << c->id << " " << c->name;
        found++;
    }
    EXPECT_EQ((int)back.size(), found);
    FreeFileComments(&read);
    MemoryFree(block);
    FreeFileComments(&list);
}

TEST(Metadata, AMakerNoteTooLargeForTheBlockIsLeftOut)
{
    TestStart();
    FileComment *list = nullptr;
    Add(&list, "Make", 5, 3, {'A', 'b', 0});
    Add(&list, "Maker Note", 36, 8, std::vector<uint8_t>(30000, 0x5a));
    uint8_t *block = nullptr;
    size_t size = 0;
    ASSERT_EQ(MetadataWriteExif(list, 0, 20000, ERROR_WRITE_JPEG, &block, &size), ERROR_NONE);
    ASSERT_NE(block, nullptr);
    EXPECT_LT(size, 1000u);
    FileComment *read = nullptr;
    MetadataPicture picture;
    ASSERT_EQ(MetadataReadExif(block, size, &read, &picture), ERROR_NONE);
    EXPECT_EQ(CommentRecords(read), (std::vector<CommentRecord>{{5, "Make", 3, {'A', 'b', 0}}}));
    FreeFileComments(&read);
    MemoryFree(block);

    // With room for it, it stays; with no comment at all there is no block.
    ASSERT_EQ(MetadataWriteExif(list, 0, 1 << 20, ERROR_WRITE_JPEG, &block, &size), ERROR_NONE);
    EXPECT_GT(size, 30000u);
    MemoryFree(block);
    ASSERT_EQ(MetadataWriteExif(nullptr, 0, 65527, ERROR_WRITE_JPEG, &block, &size), ERROR_NONE);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(size, 0u);
    FreeFileComments(&list);
}

TEST(Metadata, OrientationAndResolutionOfTheMainDirectory)
{
    TestStart();
    std::string folder = TestOutputFolder("Metadata.Picture");
    struct Case {
        std::string assignments;
        int orientation;
        double resolution;
    } cases[] = {
        {"-Orientation#=6 -XResolution=300 -ResolutionUnit=inches", 6, 300.0},
        {"-Orientation#=8 -XResolution=100 -ResolutionUnit=cm", 8, 254.0005},
        {"-Orientation#=9 -XResolution=100 -ResolutionUnit=None", 1, 0.0},
        {"-Orientation#=0 -XResolution=0", 1, 0.0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.assignments);
        std::string path = ExiftoolFile(folder, "p", 0, c.assignments);
        std::vector<uint8_t> block = JpegExifBlock(TestReadFile(path));
        FileComment *list = nullptr;
        MetadataPicture picture;
        ASSERT_EQ(MetadataReadExif(block.data(), block.size(), &list, &picture), ERROR_NONE);
        EXPECT_EQ(picture.orientation, c.orientation);
        EXPECT_NEAR(picture.resolution, c.resolution, 1e-9);
        FreeFileComments(&list);
    }
}

TEST(Metadata, DamagedBlocksAreRefusedOrReadInPartAndNothingEscapes)
{
    TestStart();
    std::string folder = TestOutputFolder("Metadata.Damage");
    std::string path = ExiftoolFile(folder, "rich", 1, RICH);
    std::vector<uint8_t> block = JpegExifBlock(TestReadFile(path));
    ASSERT_GT(block.size(), 300u);
    FileComment *keep = nullptr;
    Add(&keep, "Mine", 99, 1, {'x'});

    // Too short or not a TIFF header: refused, the list as it was.
    MetadataPicture picture;
    for (size_t size : {0, 1, 7}) {
        EXPECT_EQ(MetadataReadExif(block.data(), size, &keep, &picture), ERROR_READ_COMMENTS);
        EXPECT_EQ(CommentRecords(keep).size(), 1u);
    }
    EXPECT_EQ(MetadataReadExif(nullptr, 100, &keep, &picture), ERROR_READ_COMMENTS);
    std::vector<uint8_t> bad = block;
    bad[0] = 'X';
    bad[1] = 'X';
    ErrorCode result = MetadataReadExif(bad.data(), bad.size(), &keep, &picture);
    EXPECT_TRUE(result == ERROR_READ_COMMENTS || result == ERROR_NONE);
    EXPECT_EQ(CommentRecords(keep).size(), 1u);

    // Cut anywhere and turned around anywhere: a code or fewer fields, never more bytes
    // than the block, and the comments before stay first.
    for (size_t size = 8; size < block.size(); size += 3) {
        SCOPED_TRACE(size);
        FileComment *list = nullptr;
        Add(&list, "Mine", 99, 1, {'x'});
        result = MetadataReadExif(block.data(), size, &list, &picture);
        EXPECT_TRUE(result == ERROR_NONE || result == ERROR_READ_COMMENTS) << result;
        int64_t kept = 0;
        for (const FileComment *c = list->next; c != nullptr; c = c->next)
            kept += c->length;
        EXPECT_LE(kept, (int64_t)size);
        EXPECT_EQ(list->id, 99);
        FreeFileComments(&list);
    }
    for (size_t at = 0; at < block.size(); at++) {
        SCOPED_TRACE(at);
        std::vector<uint8_t> damaged = block;
        damaged[at] ^= 0xff;
        FileComment *list = nullptr;
        result = MetadataReadExif(damaged.data(), damaged.size(), &list, &picture);
        EXPECT_TRUE(result == ERROR_NONE || result == ERROR_READ_COMMENTS) << result;
        EXPECT_TRUE(picture.orientation >= 1 && picture.orientation <= 8);
        FreeFileComments(&list);
    }
    FreeFileComments(&keep);
}
