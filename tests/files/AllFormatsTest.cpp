// What holds for every one of our own BMP, PCX, Targa and RLE modules, tested once over a table
// of the formats: a round trip of every type each saves, refusals that keep the old file, an
// aborted save and read, the progress windows, detection by content, the kept hostile files,
// the files of ImageMagick and netpbm read as those tools read them, our files read by them,
// and their files damaged everywhere. A format's own tests hold only what is its own: headers
// and pixels worked by hand.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "core/File.h"
#include "core/Preferences.h"
#include "files/Bmp.h"
#include "files/FileType.h"
#include "files/Pcx.h"
#include "files/Rle.h"
#include "files/Targa.h"
#include "platform/headless/Headless.h"
#include "tests/files/RasterTestHelpers.h"
#include "tests/support/TestSupport.h"

using namespace raster_test;

namespace {

// A file an independent tool makes from the gray source {g} or the color one {c} into {o}.
struct ToolFile {
    const char *name;
    const char *command;
    int type;   // the picture type we must read
    int magick; // 0 when ImageMagick reads the file otherwise than we must
    int netpbm; // 0 when the netpbm reader refuses it
};

struct FormatCase {
    const char *name;      // as in the progress titles: "BMP"
    const char *extension; // of the kept hostile files, also their prefix without the dot
    Reader read;
    Writer save;
    int types;           // bits 1 << type of the types saved and read back as they are
    int largeType;       // the type of the large pictures and of the detected one
    int keepsResolution; // 0: a read gives the default resolution
    int tooWide;         // a width the header cannot hold, 0 for none below memory's limit
    ErrorCode readCode;
    ErrorCode saveTypeCode;
    ErrorCode writeCode;
    int openType;         // FILE_OPEN_..., as detection by content names it
    int saveType;         // FILE_SAVE_...
    const char *readable; // the kept hostile files that give a picture
    int hostileCount;     // how many are kept
    const char *netpbm;   // netpbm's reader of the format
    const char *magick;   // ImageMagick's options for reading it as we do
    int toolTypes;        // bits of the types of our files the tools read back
    int magickBinary;     // 0 when ImageMagick reads our binary files with the colors swapped
    std::vector<ToolFile> toolFiles;
    std::vector<const char *> damaged; // commands of tool files to damage everywhere
    int64_t damageBase;                // a damaged file gives a picture of at most
    int64_t damagePerByte;             // damageBase + damagePerByte * its size bytes
};

const int BINARY = 1 << TYPE_BINARY;
const int GRAY8 = 1 << TYPE_GRAY8;
const int COLOR24 = 1 << TYPE_COLOR24;

const FormatCase FORMATS[] = {
    {"BMP",
     "bmp",
     ReadBmpFile,
     SaveBmpFile,
     BINARY | GRAY8 | COLOR24,
     TYPE_COLOR24,
     1,
     0,
     ERROR_READ_BMP,
     ERROR_SAVE_TYPE_BMP,
     ERROR_WRITE_BMP,
     FILE_OPEN_BMP,
     FILE_SAVE_BMP,
     "bmp-colors-used-huge bmp-rle-delta-past-the-end bmp-rle-runs-past-the-width "
     "bmp-rle-absolute-past-the-width bmp-profile-past-eof",
     32,
     "bmptopnm",
     "-alpha off",
     BINARY | GRAY8 | COLOR24,
     1,
     {
         {"bmp3-24", "convert {c} bmp3:{o}", TYPE_COLOR24, 1, 1},
         {"bmp2-core-24", "convert {c} bmp2:{o}", TYPE_COLOR24, 1, 1},
         {"v5-24", "convert {c} bmp:{o}", TYPE_COLOR24, 1, 1},
         {"palette8", "convert {c} -colors 200 -type palette -compress none bmp3:{o}", TYPE_COLOR24,
          1, 1},
         // ImageMagick's RLE8 lets the last run of a row reach past its end, which netpbm
         // refuses and we cut, as ImageMagick itself does.
         {"palette8-rle8", "convert {c} -colors 200 -type palette -compress RLE bmp3:{o}",
          TYPE_COLOR24, 1, 0},
         {"palette4", "convert {c} -colors 12 -type palette -compress none bmp3:{o}", TYPE_COLOR24,
          1, 1},
         {"gray8-rle8", "convert {g} -type palette -compress RLE bmp3:{o}", TYPE_GRAY8, 1, 0},
         {"mono1", "convert {g} -monochrome bmp3:{o}", TYPE_BINARY, 1, 1},
         {"rgb565", "convert {c} -define bmp:subtype=RGB565 bmp:{o}", TYPE_COLOR24, 1, 0},
         {"rgb555", "convert {c} -define bmp:subtype=RGB555 bmp:{o}", TYPE_COLOR24, 1, 0},
         {"argb32", "convert {c} -alpha set -channel A -evaluate set 40% +channel bmp:{o}",
          TYPE_COLOR24, 1, 0},
         {"ppmtobmp-24", "ppmtobmp -bpp 24 {c} > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtobmp-os2", "ppmtobmp -os2 {c} > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtobmp-gray8", "ppmtobmp -bpp 8 {g} > {o}", TYPE_GRAY8, 1, 1},
         {"ppmtobmp-gray4", "pnmquant 16 {g} | ppmtobmp -bpp 4 > {o}", TYPE_GRAY8, 1, 1},
         {"ppmtobmp-mono1", "pgmtopbm -threshold {g} | ppmtobmp -bpp 1 > {o}", TYPE_BINARY, 1, 1},
     },
     {"convert {c} -colors 60 -type palette -compress RLE bmp3:{o}",
      "convert {c} -define bmp:subtype=RGB565 bmp:{o}", "convert {g} -monochrome bmp3:{o}",
      "ppmtobmp -os2 {c} > {o}"},
     4 << 20,
     1024},
    {"PCX",
     "pcx",
     ReadPcxFile,
     SavePcxFile,
     BINARY | GRAY8 | COLOR24,
     TYPE_COLOR24,
     1,
     65535,
     ERROR_READ_PCX,
     ERROR_SAVE_TYPE_PCX,
     ERROR_WRITE_PCX,
     FILE_OPEN_PCX,
     FILE_SAVE_PCX,
     "pcx-rle-runs-past-the-end",
     21,
     "pcxtoppm",
     "",
     BINARY | GRAY8 | COLOR24,
     0,
     {
         {"im-24", "convert {c} {o}", TYPE_COLOR24, 1, 1},
         // pcxtoppm does not read uncompressed files.
         {"im-24-raw", "convert {c} -compress none {o}", TYPE_COLOR24, 1, 0},
         {"im-palette8", "convert {c} -colors 100 {o}", TYPE_COLOR24, 1, 1},
         {"im-gray-planes", "convert {g} {o}", TYPE_COLOR24, 1, 1},
         {"ppmtopcx-24", "ppmtopcx -24bit {c} > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtopcx-palette8", "pnmquant 200 {c} | ppmtopcx -8bit > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtopcx-gray8", "ppmtopcx {g} > {o}", TYPE_GRAY8, 1, 1},
         {"ppmtopcx-packed4", "pnmquant 16 {c} | ppmtopcx -packed > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtopcx-planes4", "pnmquant 16 {c} | ppmtopcx -planes 4 > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtopcx-planes3", "pnmquant 8 {c} | ppmtopcx -planes 3 > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtopcx-planes2", "pnmquant 4 {c} | ppmtopcx -planes 2 > {o}", TYPE_COLOR24, 1, 1},
         // ImageMagick reads 1-bit files with the colors swapped.
         {"ppmtopcx-mono", "pgmtopbm -threshold {g} | ppmtopcx > {o}", TYPE_BINARY, 0, 1},
     },
     {"convert {c} {o}", "ppmtopcx {g} > {o}", "pnmquant 16 {c} | ppmtopcx -planes 4 > {o}",
      "pgmtopbm -threshold {g} | ppmtopcx > {o}"},
     // A 16-color row takes a sixth of the bytes of its picture row.
     6 << 20,
     192},
    {"Targa",
     "tga",
     ReadTargaFile,
     SaveTargaFile,
     GRAY8 | COLOR24,
     TYPE_COLOR24,
     0,
     65536,
     ERROR_READ_TARGA,
     ERROR_SAVE_TYPE_TARGA,
     ERROR_WRITE_TARGA,
     FILE_OPEN_TARGA,
     FILE_SAVE_TARGA,
     "tga-rle-packets-past-the-end tga-map-longer-than-256",
     26,
     "tgatoppm",
     // ImageMagick keeps the file's row order unless told to turn the picture upright.
     "-auto-orient -alpha off",
     GRAY8 | COLOR24,
     1,
     {
         {"im-24", "convert {c} {o}", TYPE_COLOR24, 1, 1},
         {"im-24-rle", "convert {c} -compress RLE {o}", TYPE_COLOR24, 1, 1},
         {"im-gray", "convert {g} {o}", TYPE_GRAY8, 1, 1},
         {"im-gray-rle", "convert {g} -compress RLE {o}", TYPE_GRAY8, 1, 1},
         {"im-mapped", "convert {c} -colors 100 -type palette {o}", TYPE_COLOR24, 1, 1},
         {"im-mapped-rle", "convert {c} -colors 100 -type palette -compress RLE {o}", TYPE_COLOR24,
          1, 1},
         {"im-32-alpha", "convert {c} -alpha set -channel A -evaluate set 40% +channel {o}",
          TYPE_COLOR24, 1, 1},
         {"im-32-alpha-rle",
          "convert {c} -alpha set -channel A -evaluate set 40% +channel -compress RLE {o}",
          TYPE_COLOR24, 1, 1},
         {"ppmtotga-24", "ppmtotga -rgb -norle < {c} > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtotga-24-rle", "ppmtotga -rgb < {c} > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtotga-gray", "ppmtotga -mono -norle < {g} > {o}", TYPE_GRAY8, 1, 1},
         {"ppmtotga-gray-rle", "ppmtotga -mono < {g} > {o}", TYPE_GRAY8, 1, 1},
         {"ppmtotga-mapped-rle", "pnmquant 100 {c} | ppmtotga -cmap > {o}", TYPE_COLOR24, 1, 1},
         {"ppmtotga-mapped-gray", "pnmquant 20 {g} | ppmtotga -cmap -norle > {o}", TYPE_GRAY8, 1,
          1},
     },
     {"convert {c} -compress RLE {o}", "convert {c} -colors 30 -type palette -compress RLE {o}",
      "ppmtotga -mono < {g} > {o}",
      "convert {c} -alpha set -channel A -evaluate set 40% +channel {o}"},
     4 << 20,
     256},
    {"RLE",
     "rle",
     ReadRleFile,
     SaveRleFile,
     GRAY8,
     TYPE_GRAY8,
     0,
     32768,
     ERROR_READ_RLE,
     ERROR_SAVE_TYPE_RLE,
     ERROR_WRITE_RLE,
     FILE_OPEN_RLE,
     FILE_SAVE_RLE,
     "rle-skip-past-the-end rle-runs-past-the-width rle-channel-past-the-colors",
     25,
     "rletopnm",
     "",
     BINARY | GRAY8,
     1,
     {
         {"gray", "pnmtorle < {g} > {o}", TYPE_GRAY8, 1, 1},
         {"color", "pnmtorle < {c} > {o}", TYPE_COLOR24, 1, 1},
     },
     {"pnmtorle < {g} > {o}", "pnmtorle < {c} > {o}"},
     24 << 20,
     24576},
};

// Names a case in gtest's messages rather than dumping its bytes.
void PrintTo(const FormatCase &format, std::ostream *out)
{
    *out << format.name;
}

const int PICTURE_TYPES[] = {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24, TYPE_GRAY16, TYPE_COLOR48};

class AllFormats : public ::testing::TestWithParam<FormatCase> {
  protected:
    std::string Folder(const char *test) const
    {
        return TestOutputFolder(std::string("AllFormats.") + test + "." + GetParam().extension);
    }
};

} // namespace

TEST_P(AllFormats, RoundTripsEveryTypeItSavesWithItsResolution)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::string path = Folder("RoundTrip") + "/round." + format.extension;
    for (int type : PICTURE_TYPES) {
        if ((format.types & (1 << type)) == 0) continue;
        for (double resolution : {72.0, 254.0, 300.0}) {
            SCOPED_TRACE(::testing::Message() << type << " at " << resolution);
            TestWindow window;
            PictureMake(&window, type, 45, 17, type, resolution);
            ASSERT_EQ(format.save(path.c_str(), window.window), ERROR_NONE);
            TestWindow back;
            ASSERT_EQ(format.read(path.c_str(), back.window, 0, nullptr), ERROR_NONE);
            ExpectImagesNear(window.image(), back.image(), 0);
            EXPECT_EQ(back.image().resolution,
                      format.keepsResolution ? resolution : Prefs.defaultResolution);
        }
    }
}

TEST_P(AllFormats, SaveRefusalsAndAnAbortKeepTheOldFileAndLeaveNothingBehind)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::string folder = Folder("Refusals");
    std::string path = folder + "/kept." + format.extension;
    const std::vector<uint8_t> old = {1, 2, 3};
    TestWriteFile(path, old);
    for (int type : PICTURE_TYPES) {
        if ((format.types & (1 << type)) != 0) continue;
        if (format.saveType == FILE_SAVE_RLE && type == TYPE_BINARY) continue; // saved as gray
        SCOPED_TRACE(type);
        TestWindow window;
        PictureMake(&window, type, 4, 4, 1);
        EXPECT_EQ(format.save(path.c_str(), window.window), format.saveTypeCode);
        EXPECT_EQ(TestReadFile(path), old);
    }
    if (format.tooWide != 0) {
        TestWindow wide;
        PictureMake(&wide, TYPE_GRAY8, format.tooWide, 1, 1);
        EXPECT_EQ(format.save(path.c_str(), wide.window), format.writeCode);
        EXPECT_EQ(TestReadFile(path), old);
    }
    TestWindow large;
    PictureMake(&large, format.largeType, 500, 300, 1);
    HeadlessAbortAtPump(10);
    EXPECT_EQ(format.save(path.c_str(), large.window), ERROR_ABORTED);
    EXPECT_EQ(TestReadFile(path), old);
    std::string listing;
    TestRun("ls " + Quote(folder), &listing);
    EXPECT_EQ(listing, std::string("kept.") + format.extension + "\n"); // no temporary file
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_EQ(HeadlessProgressAt(0)->title, std::string(format.name) + " Write");
    std::string missing = folder + "/no/such/folder/x." + format.extension;
    EXPECT_EQ(format.save(missing.c_str(), large.window), ERROR_CREATE_FILE);
}

TEST_P(AllFormats, ReadShowsProgressFromAHundredThousandPixelsAndAborts)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::string path = Folder("Progress") + "/large." + format.extension;
    std::string small = Folder("Progress") + "/small." + format.extension;
    {
        TestWindow picture;
        PictureMake(&picture, format.largeType, 400, 250, 2);
        ASSERT_EQ(format.save(path.c_str(), picture.window), ERROR_NONE);
        TestWindow smaller;
        PictureMake(&smaller, format.largeType, 400, 249, 2); // 99600 pixels
        ASSERT_EQ(format.save(small.c_str(), smaller.window), ERROR_NONE);
    }
    TestStart();
    TestWindow window;
    ASSERT_EQ(format.read(path.c_str(), window.window, 1, nullptr), ERROR_NONE);
    ASSERT_EQ(HeadlessProgressCount(), 1);
    EXPECT_EQ(HeadlessProgressAt(0)->title, std::string(format.name) + " Read");
    EXPECT_EQ(HeadlessProgressAt(0)->last.first, 0);
    EXPECT_EQ(HeadlessProgressAt(0)->last.last, 249);
    EXPECT_EQ(HeadlessProgressAt(0)->open, 0);

    TestStart();
    HeadlessAbortAtPump(3);
    EXPECT_EQ(format.read(path.c_str(), window.window, 1, nullptr), ERROR_ABORTED);
    EXPECT_EQ(window.image().type, TYPE_EMPTY);

    // Smaller pictures and reads without progress open no window.
    TestStart();
    ASSERT_EQ(format.read(path.c_str(), window.window, 0, nullptr), ERROR_NONE);
    ASSERT_EQ(format.read(small.c_str(), window.window, 1, nullptr), ERROR_NONE);
    EXPECT_EQ(HeadlessProgressCount(), 0);
}

TEST_P(AllFormats, AllFilesRecognisesTheFormatByContent)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::string path = Folder("Content") + "/picture.dat";
    TestWindow window;
    PictureMake(&window, format.largeType, 9, 4, 3);
    ASSERT_EQ(FileSave(path.c_str(), format.saveType, window.window, 0), ERROR_NONE);
    EXPECT_EQ(DetectFileContent(path.c_str()), format.openType);
    TestWindow back;
    ASSERT_EQ(FileLoad(path.c_str(), FILE_OPEN_ALL, back.window, 0), ERROR_NONE);
    EXPECT_EQ(back.window->fileType, format.openType);
    ExpectImagesNear(window.image(), back.image(), 0);
}

TEST_P(AllFormats, KeptHostileFilesGetTheirCodes)
{
    TestStart();
    const FormatCase &format = GetParam();
    HostileFilesGetTheirCodes(std::string(format.extension) + "-", format.read, format.readCode,
                              format.readable, format.hostileCount);
}

TEST_P(AllFormats, ReadsToolFilesAsTheToolsDo)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::string folder = Folder("ToolFiles");
    std::string gray = folder + "/gray.pgm";
    std::string color = folder + "/color.ppm";
    PnmWrite(gray, 61, 37, 1, 1);
    PnmWrite(color, 61, 37, 3, 2);
    for (const ToolFile &file : format.toolFiles) {
        SCOPED_TRACE(file.name);
        std::string path = folder + "/" + file.name + "." + format.extension;
        ASSERT_TRUE(ToolRuns(ToolCommand(file.command, gray, color, path)));
        TestWindow window;
        ASSERT_EQ(format.read(path.c_str(), window.window, 0, nullptr), ERROR_NONE);
        EXPECT_EQ(window.image().type, file.type);
        EXPECT_EQ(window.image().width, 61);
        EXPECT_EQ(window.image().height, 37);
        std::vector<int> ours = ImageSamples(window.image());
        if (file.magick) {
            EXPECT_TRUE(SamplesEqual(ToolSamplesAs(path, file.type, format.magick), ours))
                << "ImageMagick";
        }
        if (file.netpbm) {
            std::string command = std::string(format.netpbm) + " " + Quote(path) + " 2>/dev/null";
            EXPECT_TRUE(SamplesEqual(PipeSamples(command, file.type), ours)) << "netpbm";
        }
    }
}

TEST_P(AllFormats, ToolsReadWhatWeWrite)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::string path = Folder("Written") + "/written." + format.extension;
    for (int type : PICTURE_TYPES) {
        if ((format.toolTypes & (1 << type)) == 0) continue;
        for (int width : {1, 6, 7, 33, 64, 300}) {
            SCOPED_TRACE(::testing::Message() << "type " << type << " width " << width);
            TestWindow window;
            PictureMake(&window, type, width, 9, width + type);
            // Runs of every length next to noise, of a byte the PCX runs must escape.
            for (int y = 0; y < 9; y++)
                for (int x = 0; x < window.image().rowBytes && x < 3 * y; x++)
                    window.image().rows[y][x] = 0xC7;
            ASSERT_EQ(format.save(path.c_str(), window.window), ERROR_NONE);
            std::vector<int> ours = ImageSamples(window.image());
            if (type != TYPE_BINARY || format.magickBinary) {
                EXPECT_TRUE(SamplesEqual(ours, ToolSamplesAs(path, type, format.magick)))
                    << "ImageMagick";
            }
            EXPECT_TRUE(SamplesEqual(
                ours, PipeSamples(std::string(format.netpbm) + " " + Quote(path), type)))
                << "netpbm";
        }
    }
}

TEST_P(AllFormats, ToolFilesDamagedEverywhereGiveTheCodeOrAPicture)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::string folder = Folder("Damage");
    std::string gray = folder + "/gray.pgm";
    std::string color = folder + "/color.ppm";
    PnmWrite(gray, 23, 11, 1, 8);
    PnmWrite(color, 23, 11, 3, 9);
    for (const char *command : format.damaged) {
        SCOPED_TRACE(command);
        std::string path = folder + "/good." + format.extension;
        ASSERT_TRUE(ToolRuns(ToolCommand(command, gray, color, path)));
        std::vector<uint8_t> good = TestReadFile(path);
        int readable = DamageEverywhere(folder, good, format.read, format.readCode, 3,
                                        format.damageBase + format.damagePerByte * good.size());
        EXPECT_GT(readable, 0); // changes in the pixels still read
    }
    EXPECT_EQ(HeadlessProgressCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, AllFormats, ::testing::ValuesIn(FORMATS),
                         [](const ::testing::TestParamInfo<FormatCase> &info) {
                             return std::string(info.param.name);
                         });
