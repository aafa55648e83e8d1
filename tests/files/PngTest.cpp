// The PNG reader and writer: every kind of file ImageMagick writes read as it decodes them,
// our files read back by ImageMagick and pngtopnm, texts, resolution, profiles and EXIF, and
// damaged files and failed saves that must give their codes.
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "core/FileComment.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "files/FileType.h"
#include "files/Jpeg.h"
#include "files/Png.h"
#include "platform/headless/Headless.h"
#include "tests/files/JpegPngSupport.h"

namespace {

// A 37 x 23 picture by ImageMagick at 16 bits a sample.
std::string SourcePicture(const std::string &folder)
{
    std::string path = folder + "/source.ppm";
    EXPECT_EQ(TestRun("convert -seed 3 -size 37x23 plasma:fractal -depth 16 " + Quote(path)), 0);
    return path;
}

TestWindow Open(const std::string &path, ErrorCode expected)
{
    TestWindow made = EmptyWindow();
    EXPECT_EQ(ReadPngFile(path.c_str(), made.window, 0, nullptr), expected) << path;
    return made;
}

std::vector<uint8_t> Bytes(const std::string &text)
{
    return std::vector<uint8_t>(text.begin(), text.end());
}

} // namespace

TEST(Png, ReadsEveryKindOfFileAsImageMagickDecodesIt)
{
    TestStart();
    std::string folder = TestOutputFolder("Png.Kinds");
    std::string source = Quote(SourcePicture(folder));
    struct Case {
        const char *name;
        const char *options;
        int type;
        const char *colorTypeAndDepth; // as exiftool reports them, to show what the file is
    } cases[] = {
        {"gray1", "-colorspace gray -threshold 50% -define png:bit-depth=1", TYPE_BINARY, "0 1"},
        {"gray2", "-colorspace gray -depth 2 -define png:color-type=0 -define png:bit-depth=2",
         TYPE_GRAY8, "0 2"},
        {"gray4", "-colorspace gray -depth 4 -define png:color-type=0 -define png:bit-depth=4",
         TYPE_GRAY8, "0 4"},
        {"gray8", "-colorspace gray -depth 8 -define png:color-type=0", TYPE_GRAY8, "0 8"},
        {"gray16", "-colorspace gray -depth 16 -define png:color-type=0", TYPE_GRAY16, "0 16"},
        {"grayalpha8",
         "-colorspace gray -depth 8 -alpha set -channel A -evaluate set 50% +channel "
         "-define png:color-type=4",
         TYPE_GRAY8, "4 8"},
        {"grayalpha16",
         "-colorspace gray -alpha set -channel A -evaluate set 50% +channel "
         "-define png:color-type=4",
         TYPE_GRAY16, "4 16"},
        {"rgb8", "-depth 8 -define png:color-type=2", TYPE_COLOR24, "2 8"},
        {"rgb16", "-define png:color-type=2", TYPE_COLOR48, "2 16"},
        {"rgba8",
         "-depth 8 -alpha set -channel A -evaluate set 50% +channel "
         "-define png:color-type=6",
         TYPE_COLOR24, "6 8"},
        {"rgba16", "-alpha set -channel A -evaluate set 50% +channel -define png:color-type=6",
         TYPE_COLOR48, "6 16"},
        {"palette8", "-depth 8 -colors 200 -define png:color-type=3", TYPE_COLOR24, "3 8"},
        {"palette-gray", "-depth 8 -colorspace gray -colors 50 -define png:color-type=3",
         TYPE_GRAY8, "3 8"},
        {"interlaced-rgb16", "-interlace PNG -define png:color-type=2", TYPE_COLOR48, "2 16"},
        {"interlaced-palette4", "-depth 8 -interlace PNG -colors 7 -define png:color-type=3",
         TYPE_COLOR24, "3 4"},
        {"interlaced-gray1", "-colorspace gray -threshold 50% -interlace PNG", TYPE_BINARY, "0 1"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string path = folder + "/" + c.name + ".png";
        ASSERT_EQ(TestRun("convert " + source + " " + c.options + " " + Quote(path)), 0);
        std::string kind;
        TestRun("exiftool -n -s3 -PNG:ColorType -PNG:BitDepth " + Quote(path) + " | tr '\\n' ' '",
                &kind);
        EXPECT_EQ(kind, std::string(c.colorTypeAndDepth) + " ");
        TestWindow made = Open(path, ERROR_NONE);
        const Image &image = made.window->image;
        ASSERT_EQ(image.type, c.type);
        ASSERT_EQ(image.width, 37);
        ASSERT_EQ(image.height, 23);
        EXPECT_TRUE(SamplesEqual(ToolSamplesAs(path, c.type, "-alpha off"), ImageSamples(image)));
    }
}

TEST(Png, SavedFilesReadBackInImageMagickAndPngtopnmSampleForSample)
{
    TestStart();
    std::string folder = TestOutputFolder("Png.Save");
    struct Case {
        int type;
        const char *colorTypeAndDepth;
    } cases[] = {{TYPE_BINARY, "0 1"}, {TYPE_GRAY8, "0 8"}, {TYPE_COLOR24, "2 8"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.type);
        TestWindow made = PictureWindow(c.type, 37, 23, 72.0, 5);
        std::string path = folder + "/t" + std::to_string(c.type) + ".png";
        ASSERT_EQ(SavePngFile(path.c_str(), made.window), ERROR_NONE);
        std::string kind;
        TestRun("exiftool -n -s3 -PNG:ColorType -PNG:BitDepth " + Quote(path) + " | tr '\\n' ' '",
                &kind);
        EXPECT_EQ(kind, std::string(c.colorTypeAndDepth) + " ");
        std::string pnm = folder + "/t.pnm";
        ASSERT_EQ(TestRun("pngtopnm " + Quote(path) + " > " + Quote(pnm)), 0);
        std::vector<int> ours = ImageSamples(made.window->image);
        EXPECT_TRUE(SamplesEqual(ours, ToolSamplesAs(path, c.type))) << "ImageMagick";
        EXPECT_TRUE(SamplesEqual(ours, ToolSamplesAs(pnm, c.type))) << "pngtopnm";
        // Our reader gives the very picture back.
        TestWindow back = Open(path, ERROR_NONE);
        EXPECT_TRUE(SamplesEqual(ours, ImageSamples(back.window->image)));
    }
    // A binary row's unused bits do not reach the file.
    TestWindow binary = PictureWindow(TYPE_BINARY, 9, 3, 72.0, 1);
    std::string first = folder + "/a.png", second = folder + "/b.png";
    ASSERT_EQ(SavePngFile(first.c_str(), binary.window), ERROR_NONE);
    for (int y = 0; y < 3; y++)
        binary.window->image.rows[y][1] ^= 0x7f;
    ASSERT_EQ(SavePngFile(second.c_str(), binary.window), ERROR_NONE);
    EXPECT_EQ(TestReadFile(first), TestReadFile(second));
}

TEST(Png, TextsBecomeCommentsAndGoBackUnderTheirKeywords)
{
    TestStart();
    std::string folder = TestOutputFolder("Png.Text");
    std::string source = Quote(SourcePicture(folder));
    std::string path = folder + "/texts.png";
    // exiftool writes Latin-1 text as tEXt, other text as iTXt, and with -z compresses.
    ASSERT_EQ(TestRun("convert " + source + " -depth 8 " + Quote(path) +
                      " && exiftool -q -overwrite_original -PNG:Title=日本の山 -PNG:Author=Jürgen "
                      "'-PNG:Description=A view' '-PNG:Copyright=(c) Ann' "
                      "'-PNG:CreationTime=2024:05:06 07:08:09' -PNG:Software=Vistel "
                      "-PNG:Source=Cam -PNG:Comment=Hello -PNG:Disclaimer=None " +
                      Quote(path) +
                      " && exiftool -q -overwrite_original -z '-PNG:Description=A long view' " +
                      Quote(path)),
              0);
    TestWindow made = Open(path, ERROR_NONE);
    std::vector<CommentRecord> records = CommentRecords(made.window->comments);
    std::sort(records.begin(), records.end(),
              [](const CommentRecord &a, const CommentRecord &b) { return a.id < b.id; });
    auto text = [](const std::string &value) {
        std::vector<uint8_t> bytes(value.begin(), value.end());
        bytes.push_back(0); // counted, as TIFF counts it
        return bytes;
    };
    std::vector<CommentRecord> expected = {
        {0, "Artist", 3, text("Jürgen")},
        {1, "Copyright", 3, text("(c) Ann")},
        {2, "Date/Time", 3, text("2024:05:06 07:08:09")},
        {3, "Description", 7, text("A long view")},
        {6, "Model", 1, text("Cam")},
        {7, "DocumentName", 1, text("日本の山")},
        {9, "Software", 1, text("Vistel")},
        {37, "User Comment", 8, Bytes(std::string("ASCII\0\0\0Hello", 13))},
    };
    EXPECT_EQ(records, expected);

    // Saved, exiftool reads every one back under its keyword; the Disclaimer is not kept.
    std::string saved = folder + "/saved.png";
    ASSERT_EQ(SavePngFile(saved.c_str(), made.window), ERROR_NONE);
    std::map<std::string, std::string> fields = ExifToolFields(saved);
    EXPECT_EQ(fields["PNG:Title"], "日本の山");
    EXPECT_EQ(fields["PNG:Author"], "Jürgen");
    EXPECT_EQ(fields["PNG:Description"], "A long view");
    EXPECT_EQ(fields["PNG:Copyright"], "(c) Ann");
    EXPECT_EQ(fields["PNG:CreationTime"], "2024-05-06T07:08:09"); // ISO 8601
    EXPECT_EQ(fields["PNG:Software"], "Vistel");
    EXPECT_EQ(fields["PNG:Source"], "Cam");
    EXPECT_EQ(fields["PNG:Comment"], "Hello");
    EXPECT_EQ(fields.count("PNG:Disclaimer"), 0u);
    TestWindow back = Open(saved, ERROR_NONE);
    std::vector<CommentRecord> again = CommentRecords(back.window->comments);
    std::sort(again.begin(), again.end(),
              [](const CommentRecord &a, const CommentRecord &b) { return a.id < b.id; });
    EXPECT_EQ(again.size(), expected.size() + 0); // texts, and the same fields again as EXIF

    // Creation times in other forms, written by ImageMagick, come in EXIF's form; a text in
    // no form we know stays as it is.
    struct Time {
        const char *written;
        const char *read;
    } times[] = {
        {"Mon, 06 May 2024 07:08:09 GMT", "2024:05:06 07:08:09"},
        {"6 May 2024 07:08 +0200", "2024:05:06 07:08:00"},
        {"2024-05-06T07:08:09Z", "2024:05:06 07:08:09"},
        {"2024-05-06 07:08", "2024:05:06 07:08:00"},
        {"last spring", "last spring"},
        {"2024-13-06T07:08:09", "2024-13-06T07:08:09"},
    };
    for (const Time &t : times) {
        SCOPED_TRACE(t.written);
        ASSERT_EQ(TestRun("convert " + source + " -depth 8 -set 'Creation Time' '" + t.written +
                          "' " + Quote(path)),
                  0);
        TestWindow timed = Open(path, ERROR_NONE);
        const FileComment *comment = FindFileComment(timed.window->comments, 2);
        ASSERT_NE(comment, nullptr);
        EXPECT_STREQ((const char *)comment->value, t.read);
        EXPECT_EQ(comment->length, (int)strlen(t.read) + 1);
    }
}

TEST(Png, ResolutionGoesThroughPhysInPixelsPerMetre)
{
    TestStart();
    std::string folder = TestOutputFolder("Png.Resolution");
    std::string source = Quote(SourcePicture(folder));
    std::string path = folder + "/r.png";
    struct Case {
        const char *options;
        double dpi;
    } cases[] = {
        {"-units PixelsPerInch -density 300", 300.0},
        {"-units PixelsPerInch -density 72", 72.0},
        // 2846 pixels a metre are 72.29 dots per inch: no whole number near it.
        {"-units PixelsPerCentimeter -density 28.46", 2846 * 0.02540005},
        {"-units Undefined", Prefs.defaultResolution},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.options);
        ASSERT_EQ(TestRun("convert " + source + " -depth 8 " + c.options + " " + Quote(path)), 0);
        TestWindow made = Open(path, ERROR_NONE);
        EXPECT_NEAR(made.window->image.resolution, c.dpi, 1e-9);
    }
    for (double dpi : {300.0, 72.0, 96.0, 1200.0}) {
        SCOPED_TRACE(dpi);
        TestWindow made = PictureWindow(TYPE_GRAY8, 5, 5, dpi, 1);
        ASSERT_EQ(SavePngFile(path.c_str(), made.window), ERROR_NONE);
        std::map<std::string, std::string> fields = ExifToolFields(path);
        EXPECT_EQ(fields["PNG-pHYs:PixelUnits"], "1");
        EXPECT_EQ(fields["PNG-pHYs:PixelsPerUnitX"], std::to_string((int)(dpi / 0.0254 + 0.5)));
        TestWindow back = Open(path, ERROR_NONE);
        EXPECT_EQ(back.window->image.resolution, dpi);
    }
}

TEST(Png, ProfilesOfColorPicturesAreReadAndWritten)
{
    TestStart();
    std::string folder = TestOutputFolder("Png.Profile");
    std::string source = Quote(SourcePicture(folder));
    std::string icc = "/usr/share/color/icc/sRGB.icc";
    std::vector<uint8_t> profile = TestReadFile(icc);
    std::string path = folder + "/p.png";
    ASSERT_EQ(TestRun("convert " + source + " -depth 8 -profile " + icc + " " + Quote(path)), 0);
    TestWindow made = Open(path, ERROR_NONE);
    EXPECT_EQ(
        std::vector<uint8_t>(made.window->profile, made.window->profile + made.window->profileSize),
        profile);
    std::string saved = folder + "/saved.png";
    ASSERT_EQ(SavePngFile(saved.c_str(), made.window), ERROR_NONE);
    std::string extracted;
    TestRun("exiftool -b -ICC_Profile " + Quote(saved), &extracted);
    EXPECT_TRUE(extracted == std::string(profile.begin(), profile.end()));
    TestWindow back = Open(saved, ERROR_NONE);
    EXPECT_EQ(back.window->profileSize, (int)profile.size());

    // A profile libpng finds unsound is left out, and the picture saved.
    memset(made.window->profile + 36, 'x', 4); // the signature "acsp"
    ASSERT_EQ(SavePngFile(saved.c_str(), made.window), ERROR_NONE);
    EXPECT_EQ(ExifToolFields(saved).count("ICC-header:ProfileFileSignature"), 0u);

    // Gray pictures carry none.
    TestWindow gray = PictureWindow(TYPE_GRAY8, 5, 5, 72.0, 1);
    gray.window->profile = (uint8_t *)MemoryAlloc(profile.size());
    memcpy(gray.window->profile, profile.data(), profile.size());
    gray.window->profileSize = (int32_t)profile.size();
    ASSERT_EQ(SavePngFile(saved.c_str(), gray.window), ERROR_NONE);
    EXPECT_EQ(ExifToolFields(saved).count("ICC-header:ProfileFileSignature"), 0u);
}

TEST(Png, ExifOfExiftoolAndImageMagickGivesTheCommentsOfTheJpeg)
{
    TestStart();
    std::string folder = TestOutputFolder("Png.Exif");
    std::string source = Quote(SourcePicture(folder));
    std::string jpeg = folder + "/camera.jpg";
    ASSERT_EQ(TestRun("convert " + source + " -depth 8 " + Quote(jpeg) +
                      " && exiftool -q -overwrite_original -Make=Abcd -Model=Abc -Artist=Ann "
                      "-ExposureTime=1/125 -FNumber=5.6 -ISO=200 -GPSLatitude=48.85 "
                      "-GPSLatitudeRef=N -Orientation#=6 " +
                      Quote(jpeg)),
              0);
    TestWindow camera = EmptyWindow();
    ASSERT_EQ(ReadJpegFile(jpeg.c_str(), camera.window, 0, nullptr), ERROR_NONE);
    std::vector<CommentRecord> expected = CommentRecords(camera.window->comments);
    ASSERT_GT(expected.size(), 10u);

    // ImageMagick copies the block into an eXIf chunk behind "Exif\0\0", exiftool without;
    // our own save writes it too.
    std::string magick = folder + "/magick.png", exiftool = folder + "/exiftool.png";
    std::string ours = folder + "/ours.png";
    ASSERT_EQ(TestRun("convert " + Quote(jpeg) + " " + Quote(magick)), 0);
    ASSERT_EQ(TestRun("convert " + source + " -depth 8 " + Quote(exiftool) +
                      " && exiftool -q -overwrite_original -tagsFromFile " + Quote(jpeg) +
                      " -EXIF:all " + Quote(exiftool)),
              0);
    ASSERT_EQ(SavePngFile(ours.c_str(), camera.window), ERROR_NONE);
    for (const std::string &path : {magick, exiftool, ours}) {
        SCOPED_TRACE(path);
        TestWindow made = Open(path, ERROR_NONE);
        std::vector<CommentRecord> records = CommentRecords(made.window->comments);
        // ImageMagick adds texts of its own (dates), which are not ours to keep.
        records.resize(std::min(records.size(), expected.size()));
        EXPECT_EQ(records, expected);
        // The orientation turns the picture, as in the JPEG, except in ours, which is upright
        // already and says nothing of orientation.
        int turned = path != ours;
        EXPECT_EQ(made.window->image.width, turned ? 23 : camera.window->image.width);
    }
    EXPECT_EQ(ExifToolFields(ours).count("IFD0:Orientation"), 0u);
    EXPECT_EQ(ExifToolFields(ours)["ExifIFD:ExposureTime"], "0.008");
    EXPECT_EQ(ExifToolFields(ours).count("ExifTool:Warning"), 0u);
}

TEST(Png, TruncatedAndCorruptedFilesGiveCodesAndLeaveTheWindowAlone)
{
    TestStart();
    std::string folder = TestOutputFolder("Png.Damage");
    std::string original = folder + "/original.png";
    ASSERT_EQ(TestRun("convert " + Quote(SourcePicture(folder)) +
                      " -depth 8 -profile /usr/share/color/icc/sRGB.icc -set Title Hello " +
                      Quote(original)),
              0);
    std::vector<uint8_t> bytes = TestReadFile(original);
    ASSERT_GT(bytes.size(), 2000u);
    // Where the last IDAT chunk ends: cut after it, the picture is whole.
    size_t end = 8, dataEnd = 0;
    while (end + 12 <= bytes.size()) {
        size_t length =
            (size_t)bytes[end] << 24 | bytes[end + 1] << 16 | bytes[end + 2] << 8 | bytes[end + 3];
        if (memcmp(&bytes[end + 4], "IDAT", 4) == 0) dataEnd = end + 12 + length;
        end += 12 + length;
    }
    ASSERT_GT(dataEnd, 0u);
    std::string path = folder + "/damaged.png";
    for (size_t size = 0; size < bytes.size(); size += (size < 1000 ? 1 : 5)) {
        SCOPED_TRACE(size);
        TestWriteFile(path, std::vector<uint8_t>(bytes.begin(), bytes.begin() + size));
        TestWindow made = EmptyWindow();
        AddFileComment(made.window, "Mine", 99, 1, 1, "x");
        ErrorCode result = ReadPngFile(path.c_str(), made.window, 0, nullptr);
        EXPECT_EQ(result, size < dataEnd ? ERROR_READ_PNG : ERROR_NONE);
        if (result != ERROR_NONE) {
            EXPECT_EQ(made.window->image.type, TYPE_EMPTY);
            EXPECT_EQ(made.window->comments->next, nullptr);
            EXPECT_EQ(made.window->profile, nullptr);
        }
    }
    for (size_t at = 0; at < bytes.size(); at += (at < 1000 ? 1 : 3)) {
        SCOPED_TRACE(at);
        std::vector<uint8_t> damaged = bytes;
        damaged[at] ^= 0xff;
        TestWriteFile(path, damaged);
        TestWindow made = EmptyWindow();
        ErrorCode result = ReadPngFile(path.c_str(), made.window, 0, nullptr);
        EXPECT_TRUE(result == ERROR_NONE || result == ERROR_READ_PNG) << result;
        EXPECT_EQ(made.window->image.type == TYPE_EMPTY, result != ERROR_NONE);
    }
}

TEST(Png, HostileFilesGiveTheirCodes)
{
    TestStart();
    struct Case {
        const char *file;
        ErrorCode result;
        int comments;
    } cases[] = {
        {"png-header-claims-million-square.png", ERROR_READ_PNG, 0},
        {"png-width-beyond-limit.png", ERROR_READ_PNG, 0},
        {"png-ihdr-crc-wrong.png", ERROR_READ_PNG, 0},
        {"png-no-image-data.png", ERROR_READ_PNG, 0},
        {"png-ztxt-inflates-past-limit.png", ERROR_NONE, 0},
        {"png-palette-index-past-end.png", ERROR_NONE, 0},
        {"png-exif-garbage.png", ERROR_NONE, 0},
        {"png-raw-profile-count-lies.png", ERROR_NONE, 0},
        {"png-raw-profile-exif.png", ERROR_NONE, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        std::string path = TestDataPath(std::string("hostile/") + c.file);
        ASSERT_FALSE(TestReadFile(path).empty());
        TestWindow made = Open(path, c.result);
        EXPECT_EQ((int)CommentRecords(made.window->comments).size(), c.comments);
    }
    // An index past the palette's end is black.
    TestWindow made = Open(TestDataPath("hostile/png-palette-index-past-end.png"), ERROR_NONE);
    ASSERT_EQ(made.window->image.type, TYPE_COLOR24);
    EXPECT_EQ(made.window->image.rows[0][0] | made.window->image.rows[0][1] |
                  made.window->image.rows[0][2],
              0);
}

// An interlaced file steps once a row of every pass, within the one range.
TEST(Png, AnInterlacedFileStepsItsProgressOnceARowOfEveryPass)
{
    TestStart();
    std::string path = TestOutputFolder("Png.Progress") + "/interlaced.png";
    TestWindow made = PictureWindow(TYPE_COLOR24, 400, 250, 72.0, 4);
    ASSERT_EQ(SavePngFile(path.c_str(), made.window), ERROR_NONE);
    ASSERT_EQ(TestRun("convert " + Quote(path) + " -interlace PNG " + Quote(path)), 0);
    TestStart();
    TestWindow back = EmptyWindow();
    ASSERT_EQ(ReadPngFile(path.c_str(), back.window, 1, nullptr), ERROR_NONE);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_EQ(HeadlessProgressAt(0)->last.current, 249);
    EXPECT_EQ(HeadlessProgressAt(0)->last.last, 249);
    ExpectImagesNear(made.window->image, back.window->image, 0);
}
