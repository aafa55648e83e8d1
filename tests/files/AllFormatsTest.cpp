// What holds for every one of our own BMP, PCX, Targa and RLE modules, tested once over a table
// of the formats: a round trip of every type each saves, refusals that keep the old file, an
// aborted save and read, the progress windows, detection by content, and the kept hostile
// files. A format's own tests hold only what is its own: headers by hand, the tools' files.
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
    int openType; // FILE_OPEN_..., as detection by content names it
    int saveType; // FILE_SAVE_...
    std::vector<HostileFile> (*hostile)(void);
};

const int BINARY = 1 << TYPE_BINARY;
const int GRAY8 = 1 << TYPE_GRAY8;
const int COLOR24 = 1 << TYPE_COLOR24;

const FormatCase FORMATS[] = {
    {"BMP", "bmp", ReadBmpFile, SaveBmpFile, BINARY | GRAY8 | COLOR24, TYPE_COLOR24, 1, 0,
     ERROR_READ_BMP, ERROR_SAVE_TYPE_BMP, ERROR_WRITE_BMP, FILE_OPEN_BMP, FILE_SAVE_BMP,
     BmpHostileFiles},
    {"PCX", "pcx", ReadPcxFile, SavePcxFile, BINARY | GRAY8 | COLOR24, TYPE_COLOR24, 1, 65535,
     ERROR_READ_PCX, ERROR_SAVE_TYPE_PCX, ERROR_WRITE_PCX, FILE_OPEN_PCX, FILE_SAVE_PCX,
     PcxHostileFiles},
    {"Targa", "tga", ReadTargaFile, SaveTargaFile, GRAY8 | COLOR24, TYPE_COLOR24, 0, 65536,
     ERROR_READ_TARGA, ERROR_SAVE_TYPE_TARGA, ERROR_WRITE_TARGA, FILE_OPEN_TARGA, FILE_SAVE_TARGA,
     TargaHostileFiles},
    {"RLE", "rle", ReadRleFile, SaveRleFile, GRAY8, TYPE_GRAY8, 0, 32768, ERROR_READ_RLE,
     ERROR_SAVE_TYPE_RLE, ERROR_WRITE_RLE, FILE_OPEN_RLE, FILE_SAVE_RLE, RleHostileFiles},
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

TEST_P(AllFormats, KeptHostileFilesMatchTheirGeneratorAndGetTheirCodes)
{
    TestStart();
    const FormatCase &format = GetParam();
    std::vector<HostileFile> files = format.hostile();
    std::string extension = std::string(".") + format.extension;
    HostileKeptFilesMatch(files, extension);
    HostileEveryFileGetsItsCode(files, std::string(format.extension) + "-", extension, format.read,
                                format.readCode);
}

INSTANTIATE_TEST_SUITE_P(Table, AllFormats, ::testing::ValuesIn(FORMATS),
                         [](const ::testing::TestParamInfo<FormatCase> &info) {
                             return std::string(info.param.name);
                         });
