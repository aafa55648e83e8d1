// Tests of the GIF reader and writer and of the palette reduction.
//
// Files come from ImageMagick and gifsicle; cases they cannot make (a palette with unused
// colors of another kind, an index beyond the palette, interlaced rows from a writer of our
// choosing) are written through giflib's encoder. What we write is read back by ImageMagick
// and gifsicle. Damaged files are kept in tests/data/hostile/gif-*.
#include <dirent.h>
#include <gif_lib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/FileComment.h"
#include "core/Preferences.h"
#include "files/FileType.h"
#include "files/Gif.h"
#include "files/GifPalette.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"

class Gif : public FolderTest {};

// Writes one frame through giflib: indices top row first, palette of a power of two entries,
// rows given in file order (the caller interleaves them for an interlaced frame).
static void GiflibWrite(const std::string &path, int w, int h,
                        const std::vector<GifColorType> &palette,
                        const std::vector<uint8_t> &indices, bool interlace = false,
                        const std::vector<std::string> &comments = {})
{
    int error = 0;
    GifFileType *gif = EGifOpenFileName(path.c_str(), false, &error);
    ASSERT_NE(gif, nullptr);
    ColorMapObject *map = GifMakeMapObject((int)palette.size(), palette.data());
    ASSERT_NE(map, nullptr);
    EGifSetGifVersion(gif, !comments.empty());
    ASSERT_EQ(EGifPutScreenDesc(gif, w, h, 8, 0, map), GIF_OK);
    for (const std::string &comment : comments)
        ASSERT_EQ(EGifPutComment(gif, comment.c_str()), GIF_OK);
    ASSERT_EQ(EGifPutImageDesc(gif, 0, 0, w, h, interlace, nullptr), GIF_OK);
    std::vector<int> order;
    if (interlace) {
        const int start[4] = {0, 4, 2, 1}, step[4] = {8, 8, 4, 2};
        for (int pass = 0; pass < 4; pass++)
            for (int y = start[pass]; y < h; y += step[pass])
                order.push_back(y);
    } else {
        for (int y = 0; y < h; y++)
            order.push_back(y);
    }
    for (int y : order) {
        std::vector<uint8_t> line(indices.begin() + (size_t)y * w,
                                  indices.begin() + (size_t)(y + 1) * w);
        ASSERT_EQ(EGifPutLine(gif, line.data(), w), GIF_OK);
    }
    ASSERT_EQ(EGifCloseFile(gif, &error), GIF_OK);
    GifFreeMapObject(map);
}

static std::vector<uint8_t> IndexPattern(int w, int h, int colors, uint32_t seed)
{
    std::vector<uint8_t> indices((size_t)w * h);
    for (uint8_t &index : indices) {
        seed = seed * 1664525u + 1013904223u;
        index = (uint8_t)((seed >> 16) % (uint32_t)colors);
    }
    return indices;
}

// The picture a GIF file gives, or its code.
struct GifRead {
    ErrorCode code;
    int type;
    std::vector<int> samples;
    std::string description; // the Description comment, without its terminator
    int descriptionLength;   // its length as stored, terminator counted
    int descriptionFlags;
    int comments; // records in the comment list
};

static GifRead ReadGif(const std::string &path, int showProgress = 0)
{
    GifRead read = {ERROR_NONE, TYPE_EMPTY, {}, "", 0, 0, 0};
    TestWindow window = EmptyWindow();
    read.code = ReadGifFile(path.c_str(), window, showProgress, nullptr);
    read.type = window->image.type;
    read.samples = ImageSamples(window->image);
    for (const FileComment *c = window->comments; c != nullptr; c = c->next)
        read.comments++;
    const FileComment *description = FindFileComment(window->comments, 3);
    if (description != nullptr) {
        read.description = (const char *)description->value;
        read.descriptionLength = description->length;
        read.descriptionFlags = description->flags;
        EXPECT_STREQ(description->name, "Description");
    }
    return read;
}

// ---------------------------------------------------------------------------------------------
// Reading

TEST_F(Gif, ReadsColorGrayAndBinaryFilesOfImageMagick)
{
    struct Case {
        const char *name;
        const char *making;
        int type;
        int channels;
    };
    const Case cases[] = {
        {"color", "-seed 3 -size 37x23 plasma:fractal -depth 8 -colors 200", TYPE_COLOR24, 3},
        {"gray", "-size 23x256 gradient:black-white -rotate 90 -depth 8 -colorspace Gray",
         TYPE_GRAY8, 1},
        {"binary", "-size 37x23 pattern:checkerboard -monochrome", TYPE_BINARY, 1},
        {"two-gray-levels", "-size 9x5 xc:gray40 -fill gray80 -draw 'point 3,2'", TYPE_GRAY8, 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string file = Path(std::string(c.name) + ".gif");
        ASSERT_TRUE(ToolRuns(std::string("convert ") + c.making + " " + Quote(file)));
        GifRead read = ReadGif(file);
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_EQ(read.type, c.type);
        EXPECT_TRUE(SamplesEqual(ToolSamples(file, c.channels, 8), read.samples));
    }
}

TEST_F(Gif, InterlacedFramesReadLikeSequentialOnes)
{
    ASSERT_TRUE(ToolRuns("convert -seed 9 -size 41x29 plasma:fractal -depth 8 -colors 64 " +
                         Quote(Path("plain.gif"))));
    ASSERT_TRUE(
        ToolRuns("gifsicle -i " + Quote(Path("plain.gif")) + " -o " + Quote(Path("gifsicle.gif"))));
    ASSERT_TRUE(ToolRuns("convert " + Quote(Path("plain.gif")) + " -interlace GIF " +
                         Quote(Path("magick.gif"))));
    // giflib writes rows in the order we give: heights that end in each pass's remainder.
    std::vector<GifColorType> palette(8);
    for (int i = 0; i < 8; i++)
        palette[i] = {(uint8_t)(i * 30), (uint8_t)(255 - i * 30), (uint8_t)(i * 7)};
    for (int h : {1, 2, 3, 5, 8, 9, 13}) {
        SCOPED_TRACE(h);
        std::vector<uint8_t> indices = IndexPattern(7, h, 8, (uint32_t)h);
        GiflibWrite(Path("giflib.gif"), 7, h, palette, indices, true);
        GifRead read = ReadGif(Path("giflib.gif"));
        ASSERT_EQ(read.code, ERROR_NONE);
        std::vector<int> expected;
        for (uint8_t index : indices) {
            expected.push_back(palette[index].Red);
            expected.push_back(palette[index].Green);
            expected.push_back(palette[index].Blue);
        }
        EXPECT_TRUE(SamplesEqual(expected, read.samples));
    }
    std::string info;
    TestRun("gifsicle --info " + Quote(Path("gifsicle.gif")), &info);
    EXPECT_NE(info.find("interlaced"), std::string::npos) << info;
    std::vector<int> expected = ToolSamples(Path("plain.gif"), 3, 8);
    for (const char *name : {"gifsicle.gif", "magick.gif"}) {
        SCOPED_TRACE(name);
        GifRead read = ReadGif(Path(name));
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_TRUE(SamplesEqual(expected, read.samples));
    }
}

TEST_F(Gif, OnlyTheFirstFrameIsRead)
{
    ASSERT_TRUE(ToolRuns("convert -size 20x10 xc:red xc:blue xc:lime " + Quote(Path("anim.gif"))));
    GifRead read = ReadGif(Path("anim.gif"));
    ASSERT_EQ(read.code, ERROR_NONE);
    ASSERT_EQ(read.type, TYPE_COLOR24);
    ASSERT_EQ(read.samples.size(), 20u * 10u * 3u);
    for (size_t i = 0; i < read.samples.size(); i += 3) {
        ASSERT_EQ(read.samples[i], 255);
        ASSERT_EQ(read.samples[i + 1], 0);
        ASSERT_EQ(read.samples[i + 2], 0);
    }
}

TEST_F(Gif, CommentsBecomeOneDescription)
{
    ASSERT_TRUE(ToolRuns("convert -size 6x4 xc:gray50 " + Quote(Path("plain.gif"))));
    ASSERT_TRUE(ToolRuns("gifsicle --comment 'Harbour at dawn' " + Quote(Path("plain.gif")) +
                         " -o " + Quote(Path("one.gif"))));
    ASSERT_TRUE(ToolRuns("gifsicle --comment 'Harbour at dawn' --comment 'Rolleiflex' " +
                         Quote(Path("plain.gif")) + " -o " + Quote(Path("two.gif"))));
    GifRead one = ReadGif(Path("one.gif"));
    ASSERT_EQ(one.code, ERROR_NONE);
    EXPECT_EQ(one.description, "Harbour at dawn");
    EXPECT_EQ(one.descriptionLength, 16); // terminator counted, as TIFF counts it
    EXPECT_EQ(one.descriptionFlags, COMMENT_MAIN | 2 | 4);
    EXPECT_EQ(one.comments, 1);
    GifRead two = ReadGif(Path("two.gif"));
    ASSERT_EQ(two.code, ERROR_NONE);
    EXPECT_EQ(two.description, "Harbour at dawn\nRolleiflex");
    EXPECT_EQ(two.comments, 1);
    GifRead none = ReadGif(Path("plain.gif"));
    EXPECT_EQ(none.comments, 0);

    // A comment longer than one sub-block of 255 bytes arrives whole.
    std::string longText(700, 'x');
    for (size_t i = 0; i < longText.size(); i++)
        longText[i] = (char)('a' + i % 26);
    GiflibWrite(Path("long.gif"), 2, 2, {{0, 0, 0}, {255, 255, 255}}, {0, 1, 1, 0}, false,
                {longText});
    GifRead read = ReadGif(Path("long.gif"));
    ASSERT_EQ(read.code, ERROR_NONE);
    EXPECT_EQ(read.description, longText);
}

TEST_F(Gif, TheColorsInUseDecideTheType)
{
    // Black, white, then a gray and a red: which of them the pixels use decides.
    std::vector<GifColorType> palette = {{0, 0, 0}, {255, 255, 255}, {90, 90, 90}, {200, 0, 0}};
    struct Case {
        const char *name;
        int colors; // the pattern uses entries 0 .. colors - 1
        int type;
    };
    const Case cases[] = {
        {"black and white", 2, TYPE_BINARY},
        {"grays", 3, TYPE_GRAY8},
        {"colors", 4, TYPE_COLOR24},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> indices = IndexPattern(13, 7, c.colors, 5);
        GiflibWrite(Path("frame.gif"), 13, 7, palette, indices);
        GifRead read = ReadGif(Path("frame.gif"));
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_EQ(read.type, c.type);
        std::vector<int> expected;
        for (uint8_t index : indices) {
            if (c.type == TYPE_COLOR24) {
                expected.push_back(palette[index].Red);
                expected.push_back(palette[index].Green);
                expected.push_back(palette[index].Blue);
            } else {
                expected.push_back(palette[index].Red);
            }
        }
        EXPECT_TRUE(SamplesEqual(expected, read.samples));
    }
    // One color only: all black is binary, all mid-gray is gray.
    GiflibWrite(Path("black.gif"), 3, 3, palette, std::vector<uint8_t>(9, 0));
    EXPECT_EQ(ReadGif(Path("black.gif")).type, TYPE_BINARY);
    GiflibWrite(Path("gray.gif"), 3, 3, palette, std::vector<uint8_t>(9, 2));
    EXPECT_EQ(ReadGif(Path("gray.gif")).type, TYPE_GRAY8);
}

TEST_F(Gif, AnIndexBeyondThePaletteIsRefused)
{
    // giflib codes a two-entry palette with two-bit pixels, so index 3 fits the stream.
    std::vector<uint8_t> indices = {0, 1, 1, 0, 3, 0};
    GiflibWrite(Path("beyond.gif"), 3, 2, {{0, 0, 0}, {255, 255, 255}}, indices);
    GifRead read = ReadGif(Path("beyond.gif"));
    EXPECT_EQ(read.code, ERROR_READ_GIF);
    EXPECT_EQ(read.type, TYPE_EMPTY);
}

TEST_F(Gif, HostileFilesGiveTheReadCode)
{
    std::string hostile = TestDataPath("hostile");
    DIR *directory = opendir(hostile.c_str());
    ASSERT_NE(directory, nullptr);
    int count = 0;
    for (struct dirent *entry; (entry = readdir(directory)) != nullptr;) {
        std::string name = entry->d_name;
        if (name.rfind("gif-", 0) != 0) continue;
        SCOPED_TRACE(name);
        count++;
        GifRead read = ReadGif(hostile + "/" + name);
        EXPECT_EQ(read.code, ERROR_READ_GIF);
        EXPECT_EQ(read.type, TYPE_EMPTY);
        EXPECT_EQ(read.comments, 0);
    }
    closedir(directory);
    EXPECT_GE(count, 10);
}

TEST_F(Gif, TruncatedAndCorruptFilesGiveCodesNeverAWrongPicture)
{
    ASSERT_TRUE(ToolRuns("convert -seed 4 -size 19x11 plasma:fractal -depth 8 -colors 32 "
                         "-comment 'cut me' " +
                         Quote(Path("whole.gif"))));
    std::vector<uint8_t> whole = TestReadFile(Path("whole.gif"));
    GifRead full = ReadGif(Path("whole.gif"));
    ASSERT_EQ(full.code, ERROR_NONE);
    // A cut anywhere before the end of the pixel data fails; once the frame is whole, the
    // missing trailer costs nothing. The frame's data ends before the last byte (the trailer).
    int failures = 0;
    for (size_t cut = 0; cut < whole.size(); cut++) {
        SCOPED_TRACE(cut);
        TestWriteFile(Path("cut.gif"), std::vector<uint8_t>(whole.begin(), whole.begin() + cut));
        GifRead read = ReadGif(Path("cut.gif"));
        if (read.code == ERROR_NONE) {
            EXPECT_TRUE(SamplesEqual(full.samples, read.samples));
        } else {
            ASSERT_EQ(read.code, ERROR_READ_GIF);
            EXPECT_EQ(read.type, TYPE_EMPTY);
            failures++;
        }
    }
    EXPECT_GE(failures, (int)whole.size() - 2);
    // A damaged byte anywhere gives a code or a picture of the right shape, never a crash.
    for (size_t at = 0; at < whole.size(); at++) {
        SCOPED_TRACE(at);
        std::vector<uint8_t> damaged = whole;
        damaged[at] ^= 0xA5;
        TestWriteFile(Path("damaged.gif"), damaged);
        GifRead read = ReadGif(Path("damaged.gif"));
        if (read.code != ERROR_NONE) {
            EXPECT_EQ(read.code, ERROR_READ_GIF);
            EXPECT_EQ(read.type, TYPE_EMPTY);
        } else {
            EXPECT_FALSE(read.samples.empty());
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Writing

TEST_F(Gif, BinaryAndGrayRoundTripExactly)
{
    for (int type : {TYPE_BINARY, TYPE_GRAY8}) {
        SCOPED_TRACE(type);
        for (int w : {1, 7, 8, 9, 33}) {
            SCOPED_TRACE(w);
            TestWindow window = PictureWindow(type, w, 17, 300.0, w);
            std::string file = Path("out.gif");
            for (int dither : {0, 1}) {
                ASSERT_EQ(SaveGifFile(file.c_str(), window, dither), ERROR_NONE);
                std::vector<int> samples = ImageSamples(window->image);
                EXPECT_TRUE(SamplesEqual(samples, ToolSamples(file, 1, 8)));
                GifRead read = ReadGif(file);
                ASSERT_EQ(read.code, ERROR_NONE);
                EXPECT_EQ(read.type, type);
                EXPECT_TRUE(SamplesEqual(samples, read.samples));
            }
            std::string info;
            TestRun("gifsicle --info " + Quote(file), &info);
            EXPECT_NE(info.find(type == TYPE_BINARY ? "global color table [2]"
                                                    : "global color table [256]"),
                      std::string::npos)
                << info;
        }
    }
}

TEST_F(Gif, GrayPaletteHoldsEveryLevel)
{
    TestWindow window = PictureWindow(TYPE_GRAY8, 4, 4, 300.0, 1);
    ASSERT_EQ(SaveGifFile(Path("gray.gif").c_str(), window, 0), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(Path("gray.gif"));
    ASSERT_GE(bytes.size(), 13u + 768u);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 6), "GIF87a"); // no comment
    EXPECT_EQ(bytes[10] & 0x87, 0x87); // a global table of 2^(7 + 1) entries
    for (int i = 0; i < 256; i++) {
        ASSERT_EQ(bytes[13 + 3 * i], i);
        ASSERT_EQ(bytes[14 + 3 * i], i);
        ASSERT_EQ(bytes[15 + 3 * i], i);
    }
}

// A color picture that uses exactly colors distinct colors.
static TestWindow FewColorsWindow(int colors, int w, int h)
{
    TestWindow window = EmptyWindow();
    EXPECT_EQ(ImageAlloc(&window->image, TYPE_COLOR24, w, h, 72.0), ERROR_NONE);
    for (int y = 0; y < h; y++) {
        for (int x = 0; x < w; x++) {
            int n = (y * w + x) % colors; // every color appears when w * h >= colors
            uint8_t *pixel = window->image.rows[y] + 3 * x;
            pixel[0] = (uint8_t)n; // blue and red together tell every n apart
            pixel[1] = (uint8_t)(n * 11 + 5);
            pixel[2] = (uint8_t)(n >> 8 << 7);
        }
    }
    return window;
}

TEST_F(Gif, ColorPicturesOfAtMost256ColorsAreExact)
{
    for (int colors : {1, 2, 3, 200, 256}) {
        SCOPED_TRACE(colors);
        TestWindow window = FewColorsWindow(colors, 31, 19);
        for (int dither : {0, 1}) {
            SCOPED_TRACE(dither);
            ASSERT_EQ(SaveGifFile(Path("few.gif").c_str(), window, dither), ERROR_NONE);
            EXPECT_TRUE(
                SamplesEqual(ImageSamples(window->image), ToolSamples(Path("few.gif"), 3, 8)));
        }
    }
    // One color more and the picture is reduced: no longer exact, but close.
    TestWindow window = FewColorsWindow(257, 31, 19);
    ASSERT_EQ(SaveGifFile(Path("many.gif").c_str(), window, 0), ERROR_NONE);
    std::vector<int> expected = ImageSamples(window->image);
    std::vector<int> actual = ToolSamples(Path("many.gif"), 3, 8);
    EXPECT_FALSE(SamplesEqual(expected, actual));
    EXPECT_LT(SamplesMeanError(expected, actual), 0.5);
}

// The mean error of the averages of 4 x 4 blocks: what the eye sees from a little way off.
static double BlockMeanError(const std::vector<int> &a, const std::vector<int> &b, int w, int h)
{
    double sum = 0.0;
    int blocks = 0;
    for (int y0 = 0; y0 + 4 <= h; y0 += 4) {
        for (int x0 = 0; x0 + 4 <= w; x0 += 4) {
            for (int c = 0; c < 3; c++) {
                int total = 0;
                for (int y = y0; y < y0 + 4; y++)
                    for (int x = x0; x < x0 + 4; x++)
                        total += a[(size_t)(y * w + x) * 3 + c] - b[(size_t)(y * w + x) * 3 + c];
                sum += std::abs(total) / 16.0;
                blocks++;
            }
        }
    }
    return sum / blocks;
}

TEST_F(Gif, PhotographsAreReducedWithinTheMeasuredError)
{
    // Pictures of many colors as photographs have them: a blurred plasma of 56224 colors,
    // reduced from its exact colors, and a sharp one of 114995 colors, reduced from the
    // histogram cells. Measured errors, levels a sample, without and with dithering, beside
    // ImageMagick's for the same picture (+dither -colors 256, and Floyd-Steinberg):
    //   blurred: ours 3.98 and 5.45, ImageMagick 4.66 and 6.27;
    //   sharp:   ours 4.98 and 5.93, ImageMagick 5.49 and 6.53.
    // The bounds leave about 10% for a change of ImageMagick's plasma between versions, and
    // we must stay ahead of ImageMagick itself.
    struct Case {
        const char *name;
        const char *making;
        int w;
        int h;
        double plainBound;
        double ditheredBound;
    };
    const Case cases[] = {
        {"blurred", "-seed 5 -size 300x200 plasma:fractal -blur 0x2", 300, 200, 4.4, 6.0},
        {"sharp", "-seed 11 -size 400x300 plasma:fractal", 400, 300, 5.5, 6.5},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(
            ToolRuns(std::string("convert ") + c.making + " -depth 8 " + Quote(Path("photo.ppm"))));
        ASSERT_TRUE(
            ToolRuns("convert " + Quote(Path("photo.ppm")) + " " + Quote(Path("photo.tif"))));
        TestWindow window = EmptyWindow();
        ASSERT_EQ(FileLoad(Path("photo.tif").c_str(), FILE_OPEN_ALL, window, 0), ERROR_NONE);
        ASSERT_EQ(window->image.type, TYPE_COLOR24);
        std::vector<int> original = ImageSamples(window->image);

        ASSERT_EQ(SaveGifFile(Path("plain.gif").c_str(), window, 0), ERROR_NONE);
        ASSERT_EQ(SaveGifFile(Path("dithered.gif").c_str(), window, 1), ERROR_NONE);
        std::vector<int> plain = ToolSamples(Path("plain.gif"), 3, 8);
        std::vector<int> dithered = ToolSamples(Path("dithered.gif"), 3, 8);
        ASSERT_TRUE(ToolRuns("convert " + Quote(Path("photo.ppm")) + " +dither -colors 256 " +
                             Quote(Path("magick.gif"))));
        ASSERT_TRUE(ToolRuns("convert " + Quote(Path("photo.ppm")) +
                             " -dither FloydSteinberg -colors 256 " +
                             Quote(Path("magick-fs.gif"))));
        double plainError = SamplesMeanError(original, plain);
        double ditheredError = SamplesMeanError(original, dithered);
        double magickError = SamplesMeanError(original, ToolSamples(Path("magick.gif"), 3, 8));
        double magickDitheredError =
            SamplesMeanError(original, ToolSamples(Path("magick-fs.gif"), 3, 8));
        RecordProperty(std::string(c.name) + "PlainError", std::to_string(plainError));
        RecordProperty(std::string(c.name) + "DitheredError", std::to_string(ditheredError));
        EXPECT_LT(plainError, c.plainBound);
        EXPECT_LT(ditheredError, c.ditheredBound);
        EXPECT_LT(plainError, magickError);
        EXPECT_LT(ditheredError, magickDitheredError);
        // Dithering trades single pixels for the right color over an area.
        EXPECT_LT(BlockMeanError(original, dithered, c.w, c.h),
                  BlockMeanError(original, plain, c.w, c.h));
        // Our reader agrees with ImageMagick about what was written.
        GifRead read = ReadGif(Path("dithered.gif"));
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_TRUE(SamplesEqual(dithered, read.samples));
    }
}

TEST_F(Gif, TheDescriptionIsWrittenAsAComment)
{
    TestWindow window = PictureWindow(TYPE_GRAY8, 5, 3, 300.0, 2);
    const char text[] = "Low tide, Saint-Malo";
    ASSERT_EQ(AddFileComment(window, "Description", 3, (int)sizeof text, COMMENT_MAIN | 6, text),
              ERROR_NONE);
    ASSERT_EQ(SaveGifFile(Path("comment.gif").c_str(), window, 0), ERROR_NONE);
    std::vector<uint8_t> bytes = TestReadFile(Path("comment.gif"));
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 6), "GIF89a");
    std::string info;
    TestRun("gifsicle --info " + Quote(Path("comment.gif")), &info);
    EXPECT_NE(info.find("comment Low tide, Saint-Malo"), std::string::npos) << info;
    GifRead read = ReadGif(Path("comment.gif"));
    EXPECT_EQ(read.description, text);
    EXPECT_EQ(read.descriptionLength, (int)sizeof text);
}

// ---------------------------------------------------------------------------------------------
// The palette

static Image ColorImage(const std::vector<std::vector<uint8_t>> &rgb, int w)
{
    Image image;
    ImageClear(&image);
    int h = (int)rgb.size() / w;
    EXPECT_EQ(ImageAlloc(&image, TYPE_COLOR24, w, h, 72.0), ERROR_NONE);
    for (size_t i = 0; i < rgb.size(); i++) {
        uint8_t *pixel = image.rows[i / w] + 3 * (i % w);
        pixel[0] = rgb[i][2];
        pixel[1] = rgb[i][1];
        pixel[2] = rgb[i][0];
    }
    return image;
}

TEST_F(Gif, AFewColorsMakeTheirOwnPaletteInOrder)
{
    Image image = ColorImage({{10, 20, 30}, {1, 2, 3}, {10, 20, 29}, {1, 2, 3}}, 2);
    GifPalette palette;
    ASSERT_EQ(GifPaletteChoose(&image, &palette), ERROR_NONE);
    ASSERT_EQ(palette.count, 3);
    EXPECT_EQ(palette.red[0], 1);
    EXPECT_EQ(palette.blue[0], 3);
    EXPECT_EQ(palette.blue[1], 29);
    EXPECT_EQ(palette.blue[2], 30);
    ImageFree(&image);
    Image gray;
    ImageClear(&gray);
    ASSERT_EQ(ImageAlloc(&gray, TYPE_GRAY8, 2, 2, 72.0), ERROR_NONE);
    EXPECT_EQ(GifPaletteChoose(&gray, &palette), ERROR_ILLEGAL_TYPE);
    ImageFree(&gray);
}

TEST_F(Gif, TheNearestEntryWinsAndTiesGoToTheLowerIndex)
{
    GifPalette palette = {};
    palette.count = 4;
    const uint8_t colors[4][3] = {{0, 0, 0}, {2, 0, 0}, {0, 0, 2}, {100, 200, 50}};
    for (int i = 0; i < 4; i++) {
        palette.red[i] = colors[i][0];
        palette.green[i] = colors[i][1];
        palette.blue[i] = colors[i][2];
    }
    GifPaletteMapper mapper;
    ASSERT_EQ(GifPaletteMapperOpen(&palette, 8, 0, &mapper), ERROR_NONE);
    EXPECT_EQ(GifPaletteNearest(&mapper, 1, 0, 0), 0); // 1 from entries 0 and 1
    EXPECT_EQ(GifPaletteNearest(&mapper, 2, 0, 1), 1); // 1 from 1, 5 from 0, 4 from 2
    EXPECT_EQ(GifPaletteNearest(&mapper, 1, 0, 1), 0); // 2 from 0, 1 and 2
    EXPECT_EQ(GifPaletteNearest(&mapper, 0, 0, 2), 2);
    EXPECT_EQ(GifPaletteNearest(&mapper, 90, 255, 0), 3);
    EXPECT_EQ(GifPaletteNearest(&mapper, 255, 255, 255), 3);
    GifPaletteMapperClose(&mapper);
    GifPaletteMapperClose(&mapper); // twice is harmless
}

TEST_F(Gif, DitheringKeepsTheMeanOfAFlatArea)
{
    // Black and white only, and a flat gray: plain mapping makes it all one; dithering mixes
    // the two so that the area keeps its brightness.
    GifPalette palette = {};
    palette.count = 2;
    palette.red[1] = palette.green[1] = palette.blue[1] = 255;
    const int w = 64;
    for (int level : {1, 64, 100, 128, 200, 254}) {
        SCOPED_TRACE(level);
        std::vector<uint8_t> row((size_t)w * 3, (uint8_t)level);
        std::vector<uint8_t> indices(w);
        int whites[2] = {0, 0};
        for (int dither : {0, 1}) {
            GifPaletteMapper mapper;
            ASSERT_EQ(GifPaletteMapperOpen(&palette, w, dither, &mapper), ERROR_NONE);
            for (int y = 0; y < w; y++) {
                GifPaletteMapperRow(&mapper, row.data(), indices.data());
                for (uint8_t index : indices)
                    whites[dither] += index;
            }
            GifPaletteMapperClose(&mapper);
        }
        EXPECT_EQ(whites[0], level < 128 ? 0 : w * w);
        double mean = whites[1] * 255.0 / (w * w);
        EXPECT_NEAR(mean, level, 1.0);
    }
}

TEST_F(Gif, ManyColorsInTightClustersStayClose)
{
    // 2 x 512 colors in two cubes of 8 levels a side: 256 entries must serve them within a
    // level or two.
    std::vector<std::vector<uint8_t>> rgb;
    for (int cluster = 0; cluster < 2; cluster++)
        for (int r = 0; r < 8; r++)
            for (int g = 0; g < 8; g++)
                for (int b = 0; b < 8; b++)
                    rgb.push_back({(uint8_t)(cluster * 150 + 40 + r), (uint8_t)(90 + g),
                                   (uint8_t)(cluster * 100 + 20 + b)});
    Image image = ColorImage(rgb, 32);
    GifPalette palette;
    ASSERT_EQ(GifPaletteChoose(&image, &palette), ERROR_NONE);
    EXPECT_EQ(palette.count, 256);
    GifPaletteMapper mapper;
    ASSERT_EQ(GifPaletteMapperOpen(&palette, 32, 0, &mapper), ERROR_NONE);
    int worst = 0;
    for (const std::vector<uint8_t> &color : rgb) {
        int i = GifPaletteNearest(&mapper, color[0], color[1], color[2]);
        worst =
            std::max({worst, std::abs(palette.red[i] - color[0]),
                      std::abs(palette.green[i] - color[1]), std::abs(palette.blue[i] - color[2])});
    }
    EXPECT_LE(worst, 2);
    GifPaletteMapperClose(&mapper);
    ImageFree(&image);
}
