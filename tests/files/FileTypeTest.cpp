// Tests of the file type table: the extension rule, what each format may hold with its code
// and message, the extension checks of Save As, the reduction to 8 bits before an 8-bit
// format, and the recognition of files by their content, on files made by independent tools
// under names that lie about them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Image.h"
#include "core/Orient.h"
#include "files/Eps.h"
#include "files/FileType.h"
#include "files/Fits.h"
#include "files/Gif.h"
#include "files/Jpeg.h"
#include "files/Png.h"
#include "files/RasterInput.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"
#include "tests/support/TestImage.h"

class FileType : public FolderTest {};

TEST_F(FileType, TheExtensionIsTheTextAfterTheLastPeriodOfTheName)
{
    struct Case {
        const char *path;
        int type;
    };
    const Case cases[] = {
        {"photo.tif", FILE_OPEN_TIFF},
        {"photo.TiF", FILE_OPEN_TIFF},
        {"a.jpg", FILE_OPEN_JPEG},
        {"a.jpe", FILE_OPEN_JPEG},
        {"a.pcd", FILE_OPEN_PHOTOCD},
        {"a.fpx", FILE_OPEN_FLASHPIX},
        {"a.FITS", FILE_OPEN_FITS},
        {"a.vtalbum", FILE_OPEN_ALBUM},
        {"a.dng", FILE_OPEN_RAW},
        {"a.cr2", FILE_OPEN_RAW},
        {"a.eps", -1}, // saved, never opened
        {"photo.tif.jpg", FILE_OPEN_JPEG},
        {"archive.tar.gz", -1},
        {"noextension", -1},
        {"photo.", -1},
        {".tif", FILE_OPEN_TIFF},
        {"/home/me/photos.tif/readme", -1},
        {"C:\\photos.tif\\readme", -1},
        {"photos.tif:stream", -1},
        {"/home/me.d/photo.png", FILE_OPEN_PNG},
        {"C:\\Users\\me\\photo.Jpg", FILE_OPEN_JPEG},
        {"photo.tif ", -1},
        {"", -1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(DetectFileType(c.path), c.type);
    }
}

TEST_F(FileType, WhatEachFormatMayHoldWithItsCodeAndMessage)
{
    const int Y = FILE_HOLDS_YES, R = FILE_HOLDS_REDUCED, N = FILE_HOLDS_NO;
    struct Row {
        int save;
        int holds[5]; // binary, 8-bit gray, 24-bit color, 16-bit gray, 48-bit color
        ErrorCode code;
        const char *message;
    };
    const Row rows[] = {
        {FILE_SAVE_TIFF,
         {Y, Y, Y, Y, Y},
         58,
         "Only binary, grayscale, or color images can be saved in TIFF format"},
        {FILE_SAVE_FITS, {N, Y, N, Y, N}, 46, "Only grayscale images can be saved in FITS format"},
        {FILE_SAVE_JPEG,
         {N, Y, Y, R, R},
         24,
         "Only grayscale or color images can be saved in JPEG format"},
        {FILE_SAVE_TARGA,
         {N, Y, Y, R, R},
         27,
         "Only grayscale or color images can be saved in TARGA format"},
        {FILE_SAVE_BMP,
         {Y, Y, Y, R, R},
         30,
         "Only binary, grayscale, or color images can be saved in BMP format"},
        {FILE_SAVE_PNG,
         {Y, Y, Y, R, R},
         47,
         "Only binary, grayscale, or color images can be saved in PNG format"},
        {FILE_SAVE_PCX,
         {Y, Y, Y, R, R},
         52,
         "Only binary, grayscale, or color images can be saved in PCX format"},
        {FILE_SAVE_GIF,
         {Y, Y, Y, R, R},
         55,
         "Only binary, grayscale, or color images can be saved in GIF format"},
        {FILE_SAVE_EPS,
         {Y, Y, Y, R, R},
         60,
         "Only binary, grayscale, or color images can be saved in EPS format"},
        {FILE_SAVE_FLASHPIX,
         {N, Y, Y, R, R},
         68,
         "Only save grayscale or color images can be saved in FlashPix format"},
        {FILE_SAVE_RLE,
         {Y, Y, N, R, N},
         98,
         "Only binary or grayscale image can be saved in RLE format"},
    };
    const int types[5] = {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48};
    for (const Row &row : rows) {
        SCOPED_TRACE(FileTypeBySave(row.save)->label);
        for (int t = 0; t < 5; t++) {
            SCOPED_TRACE(types[t]);
            ErrorCode code = -1;
            EXPECT_EQ(FileSaveHolds(row.save, types[t], &code), row.holds[t]);
            EXPECT_EQ(code, row.holds[t] == N ? row.code : ERROR_NONE);
        }
        // Types that are no picture are never held.
        for (int other : {(int)TYPE_EMPTY, (int)TYPE_COLOR, (int)TYPE_HISTOGRAM, 8, -1}) {
            ErrorCode code = -1;
            EXPECT_EQ(FileSaveHolds(row.save, other, &code), N);
            EXPECT_EQ(code, row.code);
        }
        EXPECT_STREQ(ErrorText(row.code), row.message);
    }
    // Without a save type nothing is held, and the answer is "Unknown file type".
    ErrorCode code = -1;
    EXPECT_EQ(FileSaveHolds(FILE_SAVE_NONE, TYPE_GRAY8, &code), N);
    EXPECT_EQ(code, ERROR_UNKNOWN_FILE_TYPE);
    EXPECT_EQ(FileSaveHolds(99, TYPE_GRAY8, &code), N);
    EXPECT_EQ(code, ERROR_UNKNOWN_FILE_TYPE);
}

TEST_F(FileType, SaveAsAcceptsOnlyTheExtensionsOfTheFormat)
{
    struct Row {
        int save;
        std::vector<const char *> accepted;
        const char *message;
    };
    const Row rows[] = {
        {FILE_SAVE_TIFF, {".tif", ".tiff"}, "TIFF files must have an extension of .tif or .tiff"},
        {FILE_SAVE_JPEG,
         {".jpg", ".jpeg", ".jpe"},
         "JPEG files must have an extension of .jpg, .jpeg, or .jpe"},
        {FILE_SAVE_BMP, {".bmp"}, "BMP files must have an extension of .bmp"},
        {FILE_SAVE_TARGA, {".tga"}, "Targa files must have an extension of .tga"},
        {FILE_SAVE_PCX, {".pcx"}, "PCX files must have an extension of .pcx"},
        {FILE_SAVE_GIF, {".gif"}, "GIF files must have an extension of .gif"},
        {FILE_SAVE_EPS, {".eps"}, "EPS files must have an extension of .eps"},
        {FILE_SAVE_PNG, {".png"}, "PNG files must have an extension of .png"},
        {FILE_SAVE_FLASHPIX, {".fpx"}, "FlashPix files must have an extension of .fpx"},
        {FILE_SAVE_FITS, {".fit", ".fits"}, "FITS files must have an extension of .fit or .fits"},
        {FILE_SAVE_RLE, {".rle"}, "RLE files must have an extension of .rle"},
    };
    const char *every[] = {".tif", ".tiff", ".jpg", ".jpeg", ".jpe", ".bmp",  ".tga", ".pcx",
                           ".gif", ".eps",  ".png", ".fpx",  ".fit", ".fits", ".rle"};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.message);
        EXPECT_STREQ(FileSaveExtensionMessage(row.save), row.message);
        for (const char *extension : every) {
            bool accepted = false;
            for (const char *a : row.accepted)
                accepted = accepted || std::string(a) == extension;
            std::string lower = std::string("/home/me/name") + extension;
            std::string upper = lower;
            for (size_t i = lower.size() - std::string(extension).size(); i < upper.size(); i++)
                upper[i] = (char)toupper(upper[i]);
            EXPECT_EQ(FileSaveExtensionAccepted(row.save, lower.c_str()), accepted ? 1 : 0)
                << lower;
            EXPECT_EQ(FileSaveExtensionAccepted(row.save, upper.c_str()), accepted ? 1 : 0)
                << upper;
        }
        EXPECT_EQ(FileSaveExtensionAccepted(row.save, "name"), 0);
    }
    EXPECT_EQ(FileSaveExtensionAccepted(FILE_SAVE_TIFF, "name.TIFF"), 1);
    EXPECT_EQ(FileSaveExtensionAccepted(FILE_SAVE_TIFF, "name.tif.jpg"), 0);
    EXPECT_EQ(FileSaveExtensionAccepted(FILE_SAVE_JPEG, "name.tif.jpg"), 1);
    EXPECT_EQ(FileSaveExtensionAccepted(FILE_SAVE_TIFF, "name.tif "), 0);
    EXPECT_EQ(FileSaveExtensionAccepted(FILE_SAVE_TIFF, ".tif"), 0); // a name, no extension
    EXPECT_EQ(FileSaveExtensionAccepted(FILE_SAVE_TIFF, "nametif"), 0);
    EXPECT_EQ(FileSaveExtensionAccepted(FILE_SAVE_NONE, "name.tif"), 0);
    EXPECT_STREQ(FileSaveExtensionMessage(FILE_SAVE_NONE), "");
}

// A window holding one row of 16-bit samples.
static TestWindow SixteenBitWindow(int type, const std::vector<int> &samples)
{
    TestWindow window = EmptyWindow();
    int channels = type == TYPE_COLOR48 ? 3 : 1;
    EXPECT_EQ(ImageAlloc(&window->image, type, (int)samples.size() / channels, 1, 254.0),
              ERROR_NONE);
    for (size_t i = 0; i < samples.size(); i++)
        BytesPut16(window->image.rows[0], (int64_t)(2 * i), (uint16_t)samples[i]);
    return window;
}

TEST_F(FileType, SixteenBitPicturesAreReducedThroughTheDepthTable)
{
    // (i * 255 + 32767) / 65535 steps from 0 to 1 between 128 and 129, and from 254 to 255
    // between 65406 and 65407.
    const std::vector<int> levels = {0, 128, 129, 257, 32767, 32768, 32896, 65406, 65407, 65535};
    const std::vector<int> expected = {0, 0, 1, 1, 127, 128, 128, 254, 255, 255};
    TestWindow gray = SixteenBitWindow(TYPE_GRAY16, levels);
    ASSERT_EQ(FileReduceTo8Bits(gray), ERROR_NONE);
    EXPECT_EQ(gray->image.type, TYPE_GRAY8);
    EXPECT_EQ(gray->image.width, (int)levels.size());
    EXPECT_EQ(gray->image.resolution, 254.0);
    EXPECT_EQ(ImageSamples(gray->image), expected);

    // Color: each channel on its own; the rows keep red, green and blue in their places.
    std::vector<int> color;
    std::vector<int> colorExpected;
    for (size_t i = 0; i + 2 < levels.size(); i += 3) {
        color.insert(color.end(), {levels[i], levels[i + 1], levels[i + 2]});
        colorExpected.insert(colorExpected.end(), {expected[i + 2], expected[i + 1], expected[i]});
    }
    TestWindow window = SixteenBitWindow(TYPE_COLOR48, color); // memory order: blue first
    ASSERT_EQ(FileReduceTo8Bits(window), ERROR_NONE);
    EXPECT_EQ(window->image.type, TYPE_COLOR24);
    EXPECT_EQ(ImageSamples(window->image), colorExpected);

    // Every level of a ramp agrees with the table's formula.
    std::vector<int> ramp;
    for (int i = 0; i < 65536; i += 7)
        ramp.push_back(i);
    window = SixteenBitWindow(TYPE_GRAY16, ramp);
    ASSERT_EQ(FileReduceTo8Bits(window), ERROR_NONE);
    std::vector<int> reduced = ImageSamples(window->image);
    for (size_t i = 0; i < ramp.size(); i++)
        ASSERT_EQ(reduced[i], (ramp[i] * 255 + 32767) / 65535) << ramp[i];
}

TEST_F(FileType, FileSaveRefusesWhatTheFormatCannotHold)
{
    struct Case {
        int type;
        int save;
        ErrorCode code;
    };
    const Case cases[] = {
        {TYPE_BINARY, FILE_SAVE_JPEG, ERROR_SAVE_TYPE_JPEG},
        {TYPE_BINARY, FILE_SAVE_FLASHPIX, ERROR_SAVE_TYPE_FLASHPIX},
        // A 16-bit picture must be reduced before an 8-bit format sees it.
        {TYPE_GRAY16, FILE_SAVE_GIF, ERROR_ILLEGAL_TYPE},
        {TYPE_COLOR48, FILE_SAVE_EPS, ERROR_ILLEGAL_TYPE},
        // FlashPix holds gray and color but has no writer.
        {TYPE_GRAY8, FILE_SAVE_FLASHPIX, ERROR_WRITE_FLASHPIX},
        {TYPE_COLOR24, FILE_SAVE_FLASHPIX, ERROR_WRITE_FLASHPIX},
        {TYPE_GRAY8, FILE_SAVE_NONE, ERROR_UNKNOWN_FILE_TYPE},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.type) + " as " + std::to_string(c.save));
        TestWindow window = EmptyWindow();
        ASSERT_EQ(ImageAlloc(&window->image, c.type, 4, 4, 72.0), ERROR_NONE);
        EXPECT_EQ(FileSave(Path("out").c_str(), c.save, window, 90), c.code);
        EXPECT_TRUE(TestReadFile(Path("out")).empty());
    }
}

// The writers themselves refuse what their format cannot hold, whoever calls them: nothing is
// written where there was no file, and an old file stays as it was.
TEST_F(FileType, EveryWriterRefusesTheTypesItCannotHoldAndWritesNothing)
{
    typedef ErrorCode (*Save)(const char *path, Picture *picture);
    struct Row {
        const char *name;
        Save save;
        std::vector<int> refused;
        ErrorCode code;
    };
    const Row rows[] = {
        {"eps", SaveEpsFile, {TYPE_GRAY16, TYPE_COLOR48, TYPE_EMPTY}, ERROR_SAVE_TYPE_EPS},
        {"fits",
         SaveFitsFile,
         {TYPE_BINARY, TYPE_COLOR24, TYPE_COLOR48, TYPE_EMPTY},
         ERROR_SAVE_TYPE_FITS},
        {"gif",
         [](const char *path, Picture *picture) { return SaveGifFile(path, picture, 1); },
         {TYPE_GRAY16, TYPE_COLOR48, TYPE_EMPTY},
         ERROR_SAVE_TYPE_GIF},
        {"jpg",
         [](const char *path, Picture *picture) { return SaveJpegFile(path, picture, 90); },
         {TYPE_BINARY, TYPE_GRAY16, TYPE_COLOR48, TYPE_EMPTY},
         ERROR_SAVE_TYPE_JPEG},
        {"png", SavePngFile, {TYPE_GRAY16, TYPE_COLOR48, TYPE_EMPTY}, ERROR_SAVE_TYPE_PNG},
    };
    const std::vector<uint8_t> old = {'o', 'l', 'd'};
    for (const Row &row : rows) {
        for (int type : row.refused) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(type));
            TestWindow window = EmptyWindow();
            if (type != TYPE_EMPTY) {
                ASSERT_EQ(ImageAlloc(&window->image, type, 4, 4, 72.0), ERROR_NONE);
            }
            std::string fresh = Path(std::string("no.") + row.name);
            EXPECT_EQ(row.save(fresh.c_str(), window), row.code);
            EXPECT_TRUE(TestReadFile(fresh).empty());
            std::string kept = Path(std::string("kept.") + row.name);
            TestWriteFile(kept, old);
            EXPECT_EQ(row.save(kept.c_str(), window), row.code);
            EXPECT_EQ(TestReadFile(kept), old);
        }
    }
}

TEST_F(FileType, FlashPixAndPhotoCdAnswerWithTheirCodes)
{
    TestWriteFile(Path("a.fpx"), {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1});
    ASSERT_TRUE(ToolRuns("convert -size 64x64 xc:gray " + Quote(Path("a.pcd"))));
    TestWindow window = EmptyWindow();
    EXPECT_EQ(FileLoad(Path("a.fpx").c_str(), FILE_OPEN_FLASHPIX, window, 0), ERROR_READ_FLASHPIX);
    EXPECT_EQ(FileLoad(Path("a.fpx").c_str(), FILE_OPEN_ALL, window, 0), ERROR_READ_FLASHPIX);
    EXPECT_EQ(FileLoad(Path("a.pcd").c_str(), FILE_OPEN_PHOTOCD, window, 0),
              ERROR_READ_PHOTOCD_IMAGE);
    EXPECT_EQ(FileLoad(Path("a.pcd").c_str(), FILE_OPEN_ALL, window, 0), ERROR_READ_PHOTOCD_IMAGE);
    EXPECT_EQ(window->image.type, TYPE_EMPTY);
}

TEST_F(FileType, ContentIsRecognisedWhateverTheName)
{
    // Every file is made by an independent tool and then given a name that says nothing, or
    // the name of another format.
    struct Case {
        const char *made;    // file made by the command, into this name
        const char *command; // %s stands for the output path
        int type;
    };
    const Case cases[] = {
        {"x.tif", "convert -size 8x8 xc:red %s", FILE_OPEN_TIFF},
        {"x.tif", "convert -size 8x8 xc:red -endian MSB %s", FILE_OPEN_TIFF},
        {"x.tif", "convert -size 8x8 xc:red ppm:- | vips copy stdin %s[bigtiff]", FILE_OPEN_TIFF},
        {"x.tif", "convert -size 8x8 xc:red -endian MSB TIFF64:%s", FILE_OPEN_TIFF},
        {"x.jpg", "convert -size 8x8 xc:red ppm:- | cjpeg 2>/dev/null > %s", FILE_OPEN_JPEG},
        {"x.jpg", "convert -size 8x8 xc:red -colorspace Gray %s", FILE_OPEN_JPEG},
        {"x.png", "convert -size 8x8 xc:red ppm:- | pnmtopng 2>/dev/null > %s", FILE_OPEN_PNG},
        {"x.gif", "convert -size 8x8 xc:red %s", FILE_OPEN_GIF},
        {"x.gif",
         "convert -size 8x8 xc:red %s && printf GIF87a | dd of=%s conv=notrunc 2>/dev/null",
         FILE_OPEN_GIF},
        {"x.bmp", "convert -size 8x8 xc:red %s", FILE_OPEN_BMP},
        {"x.bmp", "convert -size 8x8 xc:red ppm:- | ppmtobmp -bpp 24 2>/dev/null > %s",
         FILE_OPEN_BMP},
        {"x.bmp", "convert -size 8x8 xc:red ppm:- | ppmtobmp -windows -bpp 1 2>/dev/null > %s",
         FILE_OPEN_BMP},
        {"x.bmp", "convert -size 8x8 xc:red ppm:- | ppmtobmp -os2 2>/dev/null > %s", FILE_OPEN_BMP},
        {"x.pcx", "convert -size 8x8 xc:red %s", FILE_OPEN_PCX},
        {"x.pcx", "convert -size 8x8 xc:red ppm:- | ppmtopcx -8bit 2>/dev/null > %s",
         FILE_OPEN_PCX},
        {"x.pcx", "convert -size 8x8 pattern:checkerboard -monochrome %s", FILE_OPEN_PCX},
        {"x.fits", "convert -size 8x8 xc:gray %s", FILE_OPEN_FITS},
        {"x.fits", "convert -size 8x8 xc:gray pgm:- | pnmtofits 2>/dev/null > %s", FILE_OPEN_FITS},
        {"x.rle", "convert -size 8x8 xc:gray pgm:- | pnmtorle 2>/dev/null > %s", FILE_OPEN_RLE},
        {"x.rle", "convert -size 8x8 xc:red ppm:- | pnmtorle 2>/dev/null > %s", FILE_OPEN_RLE},
        // Targa has no signature: its header is checked against the file's size, after every
        // format that has one. PostScript is text to us, since we do not open it.
        {"x.tga", "convert -size 8x8 xc:red %s", FILE_OPEN_TARGA},
        {"x.tga", "convert -size 8x8 xc:gray pgm:- | ppmtotga -mono 2>/dev/null > %s",
         FILE_OPEN_TARGA},
        {"x.eps", "convert -size 8x8 xc:red ppm:- | pnmtops 2>/dev/null > %s", -1},
        {"x.ppm", "convert -size 8x8 xc:red %s", -1},
    };
    int n = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.made) + ": " + c.command);
        std::string made = Path(c.made);
        std::string command = c.command;
        for (size_t at; (at = command.find("%s")) != std::string::npos;)
            command.replace(at, 2, Quote(made));
        ASSERT_TRUE(ToolRuns(command));
        EXPECT_EQ(DetectFileContent(made.c_str()), c.type);
        for (const char *name : {"noname", "lie.jpg", "lie.tif", "lie.dat"}) {
            std::string moved = Path(std::to_string(++n) + name);
            ASSERT_TRUE(ToolRuns("cp " + Quote(made) + " " + Quote(moved)));
            EXPECT_EQ(DetectFileContent(moved.c_str()), c.type) << name;
        }
    }
}

TEST_F(FileType, TextAndDamagedFilesAreNotTakenForPictures)
{
    struct Case {
        const char *name;
        std::vector<uint8_t> bytes;
    };
    const Case cases[] = {
        {"empty", {}},
        {"BM text", {'B', 'M', ' ', 'i', 's', ' ', 'a', ' ', 'w', 'o',
                     'r', 'd', ' ', 'h', 'e', 'r', 'e', '.', '.', '.'}},
        {"BM short", {'B', 'M', 0x36, 0, 0, 0}},
        {"line feeds", {0x0A, 0x0A, 'a', 'b', 'c'}},
        {"PCX version 1", {0x0A, 1, 1, 8}},
        {"PCX depth 3", {0x0A, 5, 1, 3}},
        {"GIF88a", {'G', 'I', 'F', '8', '8', 'a', 0, 0}},
        {"SIMPLE", {'S', 'I', 'M', 'P', 'L', 'E', ' ', '='}},
        {"JPEG two bytes", {0xFF, 0xD8}},
        {"TIFF version 44", {'I', 'I', 44, 0, 8, 0, 0, 0}},
        {"RLE one byte", {0x52}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestWriteFile(Path("file"), c.bytes);
        EXPECT_EQ(DetectFileContent(Path("file").c_str()), -1);
    }
    EXPECT_EQ(DetectFileContent(Path("missing").c_str()), -1);
    TestWindow window = EmptyWindow();
    EXPECT_EQ(FileLoad(Path("file").c_str(), FILE_OPEN_ALL, window, 0), ERROR_UNKNOWN_FILE_TYPE);
}

// The reads of the formats a library decodes show their window from 100000 pixels on, as
// ours do, and stop at Cancel leaving no picture.
TEST_F(FileType, LargeFilesOfTheLibrariesFormatsShowProgressAndCanBeCancelled)
{
    struct Case {
        const char *name;
        const char *making; // ImageMagick's options before the file
        const char *title;
    };
    const Case cases[] = {
        {"a.gif", "gradient:black-white -depth 8 -colorspace Gray", "GIF Read"},
        {"a.fits", "gradient:black-white -depth 16", "FITS Read"},
        {"a.png", "gradient:red-blue -depth 8", "PNG Read"},
        {"a.jpg", "gradient:red-blue -depth 8", "JPEG Read"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string large = Path(c.name);
        std::string small = Path(std::string("small-") + c.name);
        ASSERT_TRUE(
            ToolRuns(std::string("convert -size 400x250 ") + c.making + " " + Quote(large)));
        ASSERT_TRUE(
            ToolRuns(std::string("convert -size 400x249 ") + c.making + " " + Quote(small)));
        TestStart();
        TestWindow window = EmptyWindow();
        ASSERT_EQ(FileLoad(large.c_str(), FILE_OPEN_ALL, window, 1), ERROR_NONE);
        ASSERT_EQ(HeadlessProgressCount(), 1);
        EXPECT_STREQ(HeadlessProgressAt(0)->title, c.title);
        EXPECT_EQ(HeadlessProgressAt(0)->last.last, 249);
        EXPECT_EQ(HeadlessProgressAt(0)->last.canAbort, 1);
        EXPECT_EQ(HeadlessProgressAt(0)->open, 0);
        HeadlessAbortAtPump(10);
        EXPECT_EQ(FileLoad(large.c_str(), FILE_OPEN_ALL, window, 1), ERROR_ABORTED);
        EXPECT_EQ(window->image.type, TYPE_EMPTY);
        EXPECT_EQ(ProgressWindow, nullptr);
        // Without progress, or below 100000 pixels, no window opens.
        TestStart();
        ASSERT_EQ(FileLoad(large.c_str(), FILE_OPEN_ALL, window, 0), ERROR_NONE);
        ASSERT_EQ(FileLoad(small.c_str(), FILE_OPEN_ALL, window, 1), ERROR_NONE);
        EXPECT_EQ(HeadlessProgressCount(), 0);
    }
}

// A file that ends before its pixels do gives the rows it holds in every format: the rows
// outside the span of missing ones are those of the whole file, the rows in it are black,
// and the span reaches the end of the picture the file's rows run to. Strict FileLoad refuses
// it. An 8-bit PCX cut in its palette has all its rows but none of its colors.
TEST_F(FileType, AFileThatEndsEarlyGivesWhatItHoldsInEveryFormat)
{
    std::string color = Path("ref.ppm");
    std::string gray = Path("ref.pgm");
    ASSERT_TRUE(ToolRuns("convert -seed 7 -size 160x120 plasma:fractal -depth 8 " + Quote(color)));
    ASSERT_TRUE(ToolRuns("convert " + Quote(color) + " -colorspace Gray " + Quote(gray)));
    enum { SOURCE, MAGICK, DJPEG }; // what the whole file's samples are
    struct Case {
        const char *name;
        const char *command; // {c} the color source, {g} the gray one, {o} the file
        int reference;
        int channels;
        int depth;
        int fromTop;  // the file's rows run from the top of the picture
        int keepFrom; // bytes kept: size * keepFrom / 10, or size - 300 when 0
        int edge;     // the missing row next to the rows read, where worked out; else -1
    };
    const Case cases[] = {
        // 54 + 480 rows of 160 pixels: 60% of the file holds 71 rows and part of the 72nd,
        // which, counted from the bottom, is row 48 from the top.
        {"a.bmp", "convert {c} BMP3:{o}", SOURCE, 3, 8, 0, 6, 48},
        {"a.tga", "ppmtotga -rgb -norle < {c} > {o}", SOURCE, 3, 8, 0, 6, -1},
        {"b.tga", "ppmtotga -rgb < {c} > {o}", SOURCE, 3, 8, 0, 6, -1},
        {"a.pcx", "convert {c} {o}", SOURCE, 3, 8, 1, 6, -1},
        {"b.pcx", "convert {c} -colors 200 -type palette {o}", MAGICK, 3, 8, 1, 6, -1},
        {"c.pcx", "convert {c} -colors 200 -type palette {o}", MAGICK, 3, 8, 1, 0, -1},
        {"a.gif", "convert {c} -colors 200 {o}", MAGICK, 3, 8, 1, 6, -1},
        {"a.png", "pnmtopng < {c} > {o}", SOURCE, 3, 8, 1, 6, -1},
        {"a.jpg", "cjpeg < {c} > {o}", DJPEG, 3, 8, 1, 6, -1},
        // 2880 + 38400 bytes padded to 43200: 60% holds exactly 72 rows from the bottom.
        {"a.fit", "convert {g} -depth 16 FITS:{o}", MAGICK, 1, 16, 0, 6, 47},
        {"a.rle", "pnmtorle < {g} > {o}", SOURCE, 1, 8, 0, 6, -1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string made = Path(c.name);
        std::string command = c.command;
        for (const char *key : {"{c}", "{g}", "{o}"})
            for (size_t at; (at = command.find(key)) != std::string::npos;)
                command.replace(at, 3, Quote(key[1] == 'c' ? color : key[1] == 'g' ? gray : made));
        ASSERT_TRUE(ToolRuns(command + " 2>/dev/null"));
        std::vector<int> whole =
            c.reference == SOURCE ? ToolSamples(c.channels == 3 ? color : gray, c.channels, c.depth)
                                  : ToolSamples(made, c.channels, c.depth);
        if (c.reference == DJPEG) {
            ASSERT_TRUE(ToolRuns("djpeg -pnm " + Quote(made) + " > " + Quote(made + ".ppm")));
            whole = ToolSamples(made + ".ppm", 3, 8);
        }
        std::vector<uint8_t> bytes = TestReadFile(made);
        bytes.resize(c.keepFrom > 0 ? bytes.size() * c.keepFrom / 10 : bytes.size() - 300);
        std::string cut = Path(std::string("cut-") + c.name);
        TestWriteFile(cut, bytes);

        TestWindow window = EmptyWindow();
        FileDamage damage;
        ASSERT_EQ(FileLoadPartial(cut.c_str(), FILE_OPEN_ALL, window, 0, &damage), ERROR_NONE);
        ASSERT_EQ(window->image.width, 160);
        ASSERT_EQ(window->image.height, 120);
        EXPECT_EQ(damage.columns, 0);
        std::vector<int> samples = ImageSamples(window->image);
        if (c.keepFrom == 0) {
            // The rows are whole; without a palette the indices show as grays.
            EXPECT_EQ(damage.first, -1);
            EXPECT_EQ(damage.colors, 1);
            EXPECT_EQ(window->image.type, TYPE_GRAY8);
        } else {
            EXPECT_EQ(damage.colors, strcmp(c.name, "b.pcx") == 0);
            if (c.fromTop) {
                EXPECT_GT(damage.first, 0);
                EXPECT_EQ(damage.last, 119);
            } else {
                EXPECT_EQ(damage.first, 0);
                EXPECT_LT(damage.last, 119);
                if (c.edge >= 0) {
                    EXPECT_EQ(damage.last, c.edge);
                }
            }
            // Rows in the span are black, the others as in the whole file.
            size_t rowSamples = (size_t)160 * c.channels;
            for (size_t i = 0; i < whole.size(); i++) {
                int top = (int)(i / rowSamples);
                if (top >= damage.first && top <= damage.last) whole[i] = 0;
            }
            if (damage.colors == 0) {
                EXPECT_TRUE(SamplesEqual(whole, samples));
            }
        }
        window = EmptyWindow();
        EXPECT_EQ(FileLoad(cut.c_str(), FILE_OPEN_ALL, window, 0), ERROR_FILE_DAMAGED);
        EXPECT_EQ(window->image.type, TYPE_EMPTY);
    }

    // A JPEG that EXIF turns a quarter (orientation 6) lacks columns: the file's last rows
    // are the picture's left columns.
    std::string turned = Path("turned.jpg");
    ASSERT_TRUE(ToolRuns("cjpeg < " + Quote(color) + " > " + Quote(turned) +
                         " && exiftool -q -overwrite_original -Orientation#=6 " + Quote(turned)));
    std::vector<uint8_t> bytes = TestReadFile(turned);
    bytes.resize(bytes.size() * 6 / 10);
    TestWriteFile(turned, bytes);
    TestWindow window = EmptyWindow();
    FileDamage damage;
    ASSERT_EQ(FileLoadPartial(turned.c_str(), FILE_OPEN_ALL, window, 0, &damage), ERROR_NONE);
    ASSERT_EQ(window->image.width, 120);
    EXPECT_EQ(damage.columns, 1);
    EXPECT_EQ(damage.first, 0);
    EXPECT_GT(damage.last, 0);
    EXPECT_LT(damage.last, 119);
    for (int y = 0; y < window->image.height; y++)
        for (int x = 0; x < 120; x++)
            if ((x <= damage.last) != (memcmp(window->image.rows[y] + 3 * x, "\0\0\0", 3) == 0))
                ADD_FAILURE() << "column " << x << " row " << y;
}

// The rows a file lacks turn with its picture: after each Orient code, the rows or columns
// FileDamageOrient names are exactly the black ones of the turned picture.
TEST_F(FileType, TheMissingRowsTurnWithThePicture)
{
    TestImage source;
    ASSERT_EQ(ImageAlloc(&source, TYPE_GRAY8, 4, 10, 72.0), ERROR_NONE);
    for (int y = 0; y < 10; y++)
        memset(source.rows[y], y < 4 ? 0 : 255, 4); // rows 6 to 9 from the top are black
    for (int code = 0; code < 8; code++) {
        SCOPED_TRACE(code);
        TestImage turned;
        ASSERT_EQ(OrientImageCode(&source, &turned, code, 0), ERROR_NONE);
        FileDamage damage;
        FileDamageClear(&damage);
        FileDamageRows(&damage, 6, 9);
        FileDamageOrient(&damage, code, 10);
        for (int top = 0; top < turned.height; top++) {
            for (int x = 0; x < turned.width; x++) {
                int line = damage.columns ? x : top;
                int black = turned.rows[turned.height - 1 - top][x] == 0;
                EXPECT_EQ(black, line >= damage.first && line <= damage.last) << x << ", " << top;
            }
        }
    }
}
