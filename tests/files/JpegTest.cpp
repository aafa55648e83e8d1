// The JPEG reader and writer: files of cjpeg, vips and ImageMagick decoded exactly as djpeg
// decodes them, our files read back by djpeg and exiftool, resolution, profiles, orientation,
// and damaged files and failed saves that must give their codes.
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/FileComment.h"
#include "core/Memory.h"
#include "core/Preferences.h"
#include "files/FileType.h"
#include "files/Jpeg.h"
#include "platform/headless/Headless.h"
#include "tests/files/JpegPngSupport.h"

namespace {

// A 97 x 61 picture by ImageMagick: odd sizes leave partial blocks at both edges.
std::string SourcePicture(const std::string &folder)
{
    std::string path = folder + "/source.ppm";
    EXPECT_EQ(TestRun("convert -seed 3 -size 97x61 plasma:fractal -depth 8 " + Quote(path)), 0);
    return path;
}

// Opens path into a fresh window with the given code expected.
TestWindow Open(const std::string &path, ErrorCode expected)
{
    TestWindow made = EmptyWindow();
    EXPECT_EQ(ReadJpegFile(path.c_str(), made.window, 0, nullptr), expected) << path;
    return made;
}

// The largest difference between two pictures of one type and size, and the mean one.
void Differences(const Image &a, const Image &b, int *largest, double *mean)
{
    int64_t sum = 0, count = 0;
    *largest = 0;
    int bytes = a.type == TYPE_COLOR24 ? 3 * a.width : a.width;
    for (int y = 0; y < a.height; y++)
        for (int i = 0; i < bytes; i++) {
            int d = abs(a.rows[y][i] - b.rows[y][i]);
            *largest = d > *largest ? d : *largest;
            sum += d;
            count++;
        }
    *mean = (double)sum / (double)count;
}

std::vector<uint8_t> ProfileBytes(const Picture *window)
{
    return std::vector<uint8_t>(window->profile, window->profile + window->profileSize);
}

} // namespace

TEST(Jpeg, ReadsFilesOfOtherEncodersExactlyAsDjpegDecodesThem)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Others");
    std::string source = Quote(SourcePicture(folder));
    struct Case {
        const char *name;
        std::string command; // writes the file named %
        int type;
    } cases[] = {
        {"cjpeg-420.jpg", "cjpeg -quality 85 " + source + " > %", TYPE_COLOR24},
        {"cjpeg-444.jpg", "cjpeg -sample 1x1 -quality 95 " + source + " > %", TYPE_COLOR24},
        {"cjpeg-422.jpg", "cjpeg -sample 2x1 " + source + " > %", TYPE_COLOR24},
        {"cjpeg-progressive.jpg", "cjpeg -progressive " + source + " > %", TYPE_COLOR24},
        {"cjpeg-arithmetic.jpg", "cjpeg -arithmetic " + source + " > %", TYPE_COLOR24},
        {"cjpeg-restart.jpg", "cjpeg -restart 1 -optimize " + source + " > %", TYPE_COLOR24},
        {"cjpeg-rgb.jpg", "cjpeg -rgb " + source + " > %", TYPE_COLOR24},
        {"cjpeg-gray.jpg", "cjpeg -grayscale " + source + " > %", TYPE_GRAY8},
        {"vips.jpg", "vips copy " + source + " %", TYPE_COLOR24},
        {"magick-progressive.jpg", "convert " + source + " -interlace JPEG -quality 92 %",
         TYPE_COLOR24},
        {"magick-gray.jpg", "convert " + source + " -colorspace Gray %", TYPE_GRAY8},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string path = folder + "/" + c.name;
        std::string command = c.command;
        command.replace(command.find('%'), 1, Quote(path));
        ASSERT_EQ(TestRun(command), 0) << command;
        TestWindow made = Open(path, ERROR_NONE);
        const Image &image = made.window->image;
        ASSERT_EQ(image.type, c.type);
        ASSERT_EQ(image.width, 97);
        ASSERT_EQ(image.height, 61);
        ASSERT_EQ(TestRun("djpeg -pnm " + Quote(path) + " > " + Quote(path + ".pnm")), 0);
        EXPECT_TRUE(SamplesEqual(ToolSamplesAs(path + ".pnm", c.type), ImageSamples(image)));
        EXPECT_EQ(made.window->fileType, 0); // the reader leaves the type to FileLoad
    }
}

TEST(Jpeg, SavedFilesDecodeInDjpegAsInOurReaderAndStayCloseToTheOriginal)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Save");
    struct Case {
        int type;
        int quality;
        const char *sampling; // exiftool's YCbCrSubSampling, for color
        int largest;          // the largest difference to the original we accept
        double mean;          // and the mean one
    } cases[] = {
        // At 97 the quantisation steps are one or two levels; rounding in the colour
        // conversion adds one. Lower qualities lose more, and 4:2:0 loses chroma detail.
        {TYPE_COLOR24, 97, "1 1", 8, 1.0},  {TYPE_COLOR24, 90, "1 1", 10, 1.5},
        {TYPE_COLOR24, 89, "2 2", 16, 2.0}, {TYPE_COLOR24, 50, "2 2", 32, 3.0},
        {TYPE_GRAY8, 97, nullptr, 4, 1.0},  {TYPE_GRAY8, 50, nullptr, 24, 3.0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.type) + " quality " + std::to_string(c.quality));
        TestWindow made = PictureWindow(c.type, 131, 77, 72.0, 1);
        FillSmooth(&made.window->image);
        std::string path = folder + "/q" + std::to_string(c.quality) + ".jpg";
        ASSERT_EQ(SaveJpegFile(path.c_str(), made.window, c.quality), ERROR_NONE);

        TestWindow back = Open(path, ERROR_NONE);
        ASSERT_EQ(back.window->image.type, c.type);
        ASSERT_EQ(TestRun("djpeg -pnm " + Quote(path) + " > " + Quote(path + ".pnm")), 0);
        EXPECT_TRUE(
            SamplesEqual(ToolSamplesAs(path + ".pnm", c.type), ImageSamples(back.window->image)));
        int largest;
        double mean;
        Differences(made.window->image, back.window->image, &largest, &mean);
        EXPECT_LE(largest, c.largest);
        EXPECT_LE(mean, c.mean);
        std::map<std::string, std::string> fields = ExifToolFields(path);
        if (c.sampling != nullptr) {
            EXPECT_EQ(fields["File:YCbCrSubSampling"], c.sampling);
        }
        EXPECT_EQ(fields["File:ColorComponents"], c.type == TYPE_GRAY8 ? "1" : "3");
        EXPECT_EQ(fields["File:EncodingProcess"], "0"); // baseline
    }
}

TEST(Jpeg, QualityIsClampedAndLowerQualityGivesSmallerFiles)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Quality");
    TestWindow made = PictureWindow(TYPE_COLOR24, 64, 48, 72.0, 2);
    auto saved = [&](int quality) {
        std::string path = folder + "/q" + std::to_string(quality) + ".jpg";
        EXPECT_EQ(SaveJpegFile(path.c_str(), made.window, quality), ERROR_NONE);
        return TestReadFile(path);
    };
    EXPECT_EQ(saved(-5), saved(1));
    EXPECT_EQ(saved(0), saved(1));
    EXPECT_EQ(saved(101), saved(100));
    EXPECT_LT(saved(20).size(), saved(60).size());
    EXPECT_LT(saved(60).size(), saved(95).size());
}

TEST(Jpeg, ResolutionComesFromJfifThenExifThenThePreference)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Resolution");
    std::string source = Quote(SourcePicture(folder));
    std::string path = folder + "/r.jpg";

    // Ours: JFIF in whole dots per inch.
    for (double dpi : {300.0, 72.4, 0.2}) {
        SCOPED_TRACE(dpi);
        TestWindow made = PictureWindow(TYPE_GRAY8, 8, 8, dpi, 1);
        ASSERT_EQ(SaveJpegFile(path.c_str(), made.window, 90), ERROR_NONE);
        int whole = dpi < 1.0 ? 1 : (int)(dpi + 0.5);
        std::map<std::string, std::string> fields = ExifToolFields(path);
        EXPECT_EQ(fields["JFIF:ResolutionUnit"], "1");
        EXPECT_EQ(fields["JFIF:XResolution"], std::to_string(whole));
        EXPECT_EQ(fields["JFIF:YResolution"], std::to_string(whole));
        TestWindow back = Open(path, ERROR_NONE);
        EXPECT_EQ(back.window->image.resolution, whole);
    }

    struct Case {
        std::string command;
        double dpi;
    } cases[] = {
        {"convert " + source + " -units PixelsPerCentimeter -density 118 %", 118 * 2.540005},
        {"convert " + source + " -units PixelsPerInch -density 240 %", 240.0},
        // cjpeg's JFIF gives an aspect ratio only; then EXIF has the say.
        {"cjpeg " + source +
             " > % && exiftool -q -overwrite_original -XResolution=180 "
             "-YResolution=180 -ResolutionUnit=inches %",
         180.0},
        {"cjpeg " + source +
             " > % && exiftool -q -overwrite_original -XResolution=100 "
             "-YResolution=100 -ResolutionUnit=cm %",
         100 * 2.540005},
        {"cjpeg " + source + " > %", Prefs.defaultResolution},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.command);
        std::string command = c.command;
        for (size_t at; (at = command.find('%')) != std::string::npos;)
            command.replace(at, 1, Quote(path));
        ASSERT_EQ(TestRun(command), 0);
        TestWindow back = Open(path, ERROR_NONE);
        EXPECT_NEAR(back.window->image.resolution, c.dpi, 1e-9);
    }
}

TEST(Jpeg, ProfilesOfColorPicturesAreReadAndWrittenWhole)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Profile");
    std::string source = Quote(SourcePicture(folder));
    std::string icc = "/usr/share/color/icc/sRGB.icc";
    std::vector<uint8_t> profile = TestReadFile(icc);
    ASSERT_GT(profile.size(), 1000u);

    // ImageMagick's embedding, read.
    std::string path = folder + "/magick.jpg";
    ASSERT_EQ(TestRun("convert " + source + " -profile " + icc + " " + Quote(path)), 0);
    TestWindow read = Open(path, ERROR_NONE);
    EXPECT_EQ(ProfileBytes(read.window), profile);

    // Ours, read by exiftool and by us; a profile of several segments as well as of one.
    std::vector<uint8_t> large(200000);
    for (size_t i = 0; i < large.size(); i++)
        large[i] = (uint8_t)(i * 7 + i / 251);
    // Its first four bytes give its size, as a profile's header does, so exiftool takes it.
    large[0] = 0;
    large[1] = (uint8_t)(large.size() >> 16);
    large[2] = (uint8_t)(large.size() >> 8);
    large[3] = (uint8_t)large.size();
    memset(large.data() + 128, 0, 4); // and no tags to look at
    for (const std::vector<uint8_t> *bytes : {&profile, &large}) {
        SCOPED_TRACE(bytes->size());
        TestWindow made = PictureWindow(TYPE_COLOR24, 40, 30, 72.0, 3);
        made.window->profile = (uint8_t *)MemoryAlloc(bytes->size());
        memcpy(made.window->profile, bytes->data(), bytes->size());
        made.window->profileSize = (int32_t)bytes->size();
        std::string saved = folder + "/ours.jpg";
        ASSERT_EQ(SaveJpegFile(saved.c_str(), made.window, 90), ERROR_NONE);
        std::string extracted;
        TestRun("exiftool -b -ICC_Profile " + Quote(saved), &extracted);
        EXPECT_TRUE(extracted == std::string(bytes->begin(), bytes->end()));
        TestWindow back = Open(saved, ERROR_NONE);
        EXPECT_EQ(ProfileBytes(back.window), *bytes);
    }

    // Gray pictures carry none, either way; a JPEG without one leaves the window without.
    TestWindow gray = PictureWindow(TYPE_GRAY8, 40, 30, 72.0, 3);
    gray.window->profile = (uint8_t *)MemoryAlloc(profile.size());
    memcpy(gray.window->profile, profile.data(), profile.size());
    gray.window->profileSize = (int32_t)profile.size();
    std::string grayPath = folder + "/gray.jpg";
    ASSERT_EQ(SaveJpegFile(grayPath.c_str(), gray.window, 90), ERROR_NONE);
    EXPECT_EQ(ExifToolFields(grayPath).count("ICC-header:ProfileVersion"), 0u);
    ASSERT_EQ(
        TestRun("convert " + source + " -colorspace Gray -profile " + icc + " " + Quote(grayPath)),
        0);
    TestWindow grayBack = Open(grayPath, ERROR_NONE);
    EXPECT_EQ(grayBack.window->profile, nullptr);
    EXPECT_EQ(grayBack.window->profileSize, 0);
    ASSERT_EQ(ReadJpegFile((folder + "/ours.jpg").c_str(), read.window, 0, nullptr), ERROR_NONE);
    ImageFree(&read.window->image);
    ASSERT_EQ(TestRun("cjpeg " + source + " > " + Quote(path)), 0);
    ASSERT_EQ(ReadJpegFile(path.c_str(), read.window, 0, nullptr), ERROR_NONE);
    EXPECT_EQ(read.window->profile, nullptr);
}

TEST(Jpeg, OrientationTurnsThePictureUprightAsImageMagickDoes)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Orientation");
    std::string source = Quote(SourcePicture(folder));
    std::string plain = folder + "/plain.jpg";
    ASSERT_EQ(TestRun("cjpeg -sample 1x1 -quality 100 " + source + " > " + Quote(plain)), 0);
    for (int orientation = 1; orientation <= 8; orientation++) {
        SCOPED_TRACE(orientation);
        std::string path = folder + "/o" + std::to_string(orientation) + ".jpg";
        ASSERT_EQ(TestRun("exiftool -q -o " + Quote(path) +
                          " -Orientation#=" + std::to_string(orientation) + " " + Quote(plain)),
                  0);
        TestWindow made = Open(path, ERROR_NONE);
        int turned = orientation >= 5;
        ASSERT_EQ(made.window->image.width, turned ? 61 : 97);
        ASSERT_EQ(made.window->image.height, turned ? 97 : 61);
        EXPECT_TRUE(SamplesEqual(ToolSamplesAs(path, TYPE_COLOR24, "-auto-orient"),
                                 ImageSamples(made.window->image)));
    }
}

TEST(Jpeg, CmykFilesBecomeColorAsImageMagickConvertsThem)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Cmyk");
    std::string source = Quote(SourcePicture(folder));
    std::string path = folder + "/cmyk.jpg";
    ASSERT_EQ(TestRun("convert " + source + " -colorspace CMYK -quality 95 " + Quote(path)), 0);
    TestWindow made = Open(path, ERROR_NONE);
    ASSERT_EQ(made.window->image.type, TYPE_COLOR24);
    // ImageMagick multiplies the complements in floating point; we round an integer product.
    EXPECT_TRUE(SamplesEqual(ToolSamplesAs(path, TYPE_COLOR24, "-colorspace sRGB"),
                             ImageSamples(made.window->image), 1));
}

TEST(Jpeg, CommentSegmentBecomesTheUserCommentUnlessExifHasOne)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Com");
    std::string source = Quote(SourcePicture(folder));
    std::string path = folder + "/c.jpg";
    ASSERT_EQ(TestRun("cjpeg " + source + " | wrjpgcom -comment 'Hello there' > " + Quote(path)),
              0);
    TestWindow made = Open(path, ERROR_NONE);
    const std::string text("ASCII\0\0\0Hello there", 19);
    EXPECT_EQ(CommentRecords(made.window->comments),
              (std::vector<CommentRecord>{
                  {37, "User Comment", 8, std::vector<uint8_t>(text.begin(), text.end())}}));

    ASSERT_EQ(TestRun("exiftool -q -overwrite_original -UserComment=Exif " + Quote(path)), 0);
    made = Open(path, ERROR_NONE);
    const FileComment *comment = FindFileComment(made.window->comments, 37);
    ASSERT_NE(comment, nullptr);
    EXPECT_EQ(std::string((const char *)comment->value, comment->length),
              std::string("ASCII\0\0\0Exif", 12));
    EXPECT_EQ(comment->next == nullptr || FindFileComment(comment->next, 37) == nullptr, true);
}

TEST(Jpeg, TruncatedAndCorruptedFilesGiveCodesAndLeaveTheWindowAlone)
{
    TestStart();
    std::string folder = TestOutputFolder("Jpeg.Damage");
    std::string source = Quote(SourcePicture(folder));
    std::string original = folder + "/original.jpg";
    ASSERT_EQ(TestRun("convert " + source +
                      " -resize 40x30 -profile /usr/share/color/icc/sRGB.icc " + Quote(original) +
                      " && exiftool -q -overwrite_original -Make=Abcd "
                      "-ExposureTime=1/60 " +
                      Quote(original)),
              0);
    std::vector<uint8_t> bytes = TestReadFile(original);
    ASSERT_GT(bytes.size(), 7000u);
    ASSERT_EQ(bytes[bytes.size() - 2], 0xff);
    ASSERT_EQ(bytes[bytes.size() - 1], 0xd9);
    std::string path = folder + "/damaged.jpg";
    auto check = [&](ErrorCode result, const TestWindow &made) {
        if (result != ERROR_NONE) {
            EXPECT_EQ(made.window->image.type, TYPE_EMPTY);
            EXPECT_EQ(made.window->image.rows, nullptr);
            // What the window had stays; nothing is added.
            ASSERT_NE(made.window->comments, nullptr);
            EXPECT_EQ(made.window->comments->id, 99);
            EXPECT_EQ(made.window->comments->next, nullptr);
            EXPECT_EQ(made.window->profileSize, 3);
        }
    };
    // Cut anywhere before the end marker: the picture is incomplete. Without only the end
    // marker every row is there.
    std::vector<size_t> sizes;
    for (size_t size = 0; size < bytes.size() - 2; size += (size < 600 ? 1 : 7))
        sizes.push_back(size);
    for (size_t cut = 3; cut < 40; cut++)
        sizes.push_back(bytes.size() - cut);
    for (size_t size : sizes) {
        SCOPED_TRACE(size);
        TestWriteFile(path, std::vector<uint8_t>(bytes.begin(), bytes.begin() + size));
        TestWindow made = EmptyWindow();
        AddFileComment(made.window, "Mine", 99, 1, 1, "x");
        made.window->profile = (uint8_t *)MemoryAlloc(3);
        made.window->profileSize = 3;
        ErrorCode result = ReadJpegFile(path.c_str(), made.window, 0, nullptr);
        EXPECT_EQ(result, ERROR_READ_JPEG);
        check(result, made);
    }
    for (size_t cut : {1, 2}) {
        TestWriteFile(path, std::vector<uint8_t>(bytes.begin(), bytes.end() - cut));
        TestWindow made = Open(path, ERROR_NONE);
        EXPECT_EQ(made.window->image.width, 40);
    }
    // Any byte turned around: a code, or a picture; never a crash.
    for (size_t at = 0; at < bytes.size(); at += (at < 1500 ? 1 : 5)) {
        SCOPED_TRACE(at);
        std::vector<uint8_t> damaged = bytes;
        damaged[at] ^= 0xff;
        TestWriteFile(path, damaged);
        TestWindow made = EmptyWindow();
        AddFileComment(made.window, "Mine", 99, 1, 1, "x");
        made.window->profile = (uint8_t *)MemoryAlloc(3);
        made.window->profileSize = 3;
        ErrorCode result = ReadJpegFile(path.c_str(), made.window, 0, nullptr);
        EXPECT_TRUE(result == ERROR_NONE || result == ERROR_READ_JPEG ||
                    result == ERROR_READ_JPEG_PROFILE)
            << result;
        check(result, made);
    }
}

TEST(Jpeg, HostileFilesGiveTheirCodes)
{
    TestStart();
    struct Case {
        const char *file;
        ErrorCode result;
        int comments; // kept on success
    } cases[] = {
        {"jpeg-header-claims-65500-square.jpg", ERROR_READ_JPEG, 0},
        {"jpeg-zero-height.jpg", ERROR_READ_JPEG, 0},
        {"jpeg-bad-huffman-code.jpg", ERROR_READ_JPEG, 0},
        {"jpeg-progressive-cut-in-scans.jpg", ERROR_READ_JPEG, 0},
        {"jpeg-icc-sequence-broken.jpg", ERROR_READ_JPEG_PROFILE, 0},
        {"jpeg-exif-garbage.jpg", ERROR_NONE, 0},
        {"jpeg-exif-directory-loop.jpg", ERROR_NONE, 1},
        {"jpeg-exif-count-huge.jpg", ERROR_NONE, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.file);
        std::string path = TestDataPath(std::string("hostile/") + c.file);
        ASSERT_FALSE(TestReadFile(path).empty());
        TestWindow made = Open(path, c.result);
        int count = (int)CommentRecords(made.window->comments).size();
        EXPECT_EQ(count, c.comments);
        EXPECT_EQ(made.window->image.type == TYPE_EMPTY, c.result != ERROR_NONE);
    }
}

// A profile too large for the 255 segments JPEG has for it.
TEST(Jpeg, AProfileTooLargeKeepsTheOldFile)
{
    TestStart();
    std::string path = TestOutputFolder("Jpeg.Failures") + "/picture.jpg";
    std::vector<uint8_t> old = {'o', 'l', 'd'};
    TestWriteFile(path, old);
    TestWindow made = PictureWindow(TYPE_COLOR24, 50, 30, 72.0, 1);
    made.window->profileSize = 255 * 65519 + 1;
    made.window->profile = (uint8_t *)MemoryAllocZero((size_t)made.window->profileSize);
    EXPECT_EQ(SaveJpegFile(path.c_str(), made.window, 90), ERROR_WRITE_JPEG_PROFILE);
    EXPECT_EQ(TestReadFile(path), old);
}
