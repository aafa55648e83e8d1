// vistel-cli convert between every file format of the program. Each input is made by an
// independent tool (ImageMagick, vips, cjpeg, netpbm, gifsicle, or libtiff for a camera raw DNG),
// each result is read back by one (ImageMagick, netpbm for Targa and PCX, or Ghostscript for
// EPS) and compared sample by sample with what the same tools read from the input: exactly,
// except where JPEG's loss or the reduction to a GIF palette of a picture of many colors
// allows a measured error. The netpbm tools read their files from standard input, so that no
// file holds the path of the checkout it was made in.
//
// Every pair of formats that can hold a picture type is a test of its own, so that a failure
// names its pair. Also: a 16-bit picture saved in an 8-bit format is reduced with a note on
// stderr, a type a format cannot hold gives its code and message, FlashPix and Photo CD
// answer with theirs, and so do the formats whose library cannot be loaded.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cmath>
#include <cstdio>
#include <dlfcn.h>
#include <string>
#include <vector>

#include "tests/files/FormatToolSupport.h"

namespace {

// What a picture file of the tests holds.
enum Kind {
    KIND_GRAY,    // 8-bit gray
    KIND_COLOR,   // 24-bit color of at most 256 colors
    KIND_BINARY,  // black and white
    KIND_GRAY16,  // 16-bit gray
    KIND_COLOR48, // 48-bit color
};

const char *const KIND_NAMES[] = {"gray", "color", "binary", "gray16", "color48"};

// The label vistel-cli names a format by in its note about 8 bits.
struct Format {
    const char *extension;
    const char *label;
};

const Format FORMATS[] = {
    {"tif", "TIFF"}, {"jpg", "JPEG"}, {"bmp", "BMP"},      {"tga", "Targa"},
    {"pcx", "PCX"},  {"gif", "GIF"},  {"eps", "EPS"},      {"png", "PNG"},
    {"fit", "FITS"}, {"rle", "RLE"},  {"fpx", "FlashPix"},
};

const char *Label(const std::string &extension)
{
    for (const Format &format : FORMATS)
        if (extension == format.extension) return format.label;
    return "";
}

const int PICTURE_W = 37;
const int PICTURE_H = 23;

// The folder of the running test, emptied when the test starts using it. Every test makes
// its own inputs, so that tests may run in parallel processes.
std::string Folder(void)
{
    static std::string test;
    static std::string folder;
    const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name();
    if (name != test) {
        test = name;
        for (char &c : name)
            if (c == '/') c = '-';
        folder = TestOutputFolder("cli-formats/" + name);
    }
    return folder;
}

// The reference pictures: plasma as photographs have it, in gray and in 200 colors (few
// enough for a GIF palette), and a checkerboard for black and white.
std::string Reference(Kind kind)
{
    const char *names[5] = {"ref.pgm", "ref.ppm", "ref.pbm", "ref16.pgm", "ref16.ppm"};
    const char *making[5] = {
        "-seed 1 -size 37x23 plasma:fractal -colorspace Gray -depth 8",
        "-seed 1 -size 37x23 plasma:fractal -colors 200 -depth 8",
        "-size 37x23 pattern:checkerboard -monochrome",
        "-seed 2 -size 37x23 plasma:fractal -colorspace Gray -depth 16",
        "-seed 2 -size 37x23 plasma:fractal -depth 16",
    };
    std::string path = Folder() + "/" + names[kind];
    if (TestReadFile(path).empty()) {
        EXPECT_TRUE(ToolRuns(std::string("convert ") + making[kind] + " " + Quote(path)));
    }
    return path;
}

// The command that makes a picture of a kind in a format from its reference, or "" when the
// format cannot hold the kind. Each format is written by a tool other than ours. Targa comes
// from netpbm, since ImageMagick writes its rows top first under a header that says bottom
// first; gray and binary PCX come from netpbm too, as the 8-bit file with a gray palette and
// the 1-bit file users meet, where ImageMagick writes every picture as three 8-bit planes.
// Gray GIF comes from netpbm as well, since ImageMagick requantizes the 195 grays of the
// reference and the input would no longer be the reference picture.
std::string MakingCommand(Kind kind, const std::string &extension, const std::string &path)
{
    std::string in = Quote(Reference(kind));
    std::string out = Quote(path);
    const std::string quiet = " 2>/dev/null > ";
    switch (kind) {
    case KIND_GRAY:
        if (extension == "tif") return "convert " + in + " -compress none " + out;
        if (extension == "jpg") return "cjpeg -grayscale -quality 95 < " + in + quiet + out;
        if (extension == "bmp") return "ppmtobmp -bpp 8 < " + in + quiet + out;
        if (extension == "tga") return "ppmtotga -mono < " + in + quiet + out;
        if (extension == "pcx") return "ppmtopcx < " + in + quiet + out;
        if (extension == "gif") return "pamtogif < " + in + quiet + out;
        if (extension == "png") return "pnmtopng < " + in + quiet + out;
        if (extension == "fit") return "convert " + in + " -depth 8 FITS:" + out;
        if (extension == "rle") return "pnmtorle < " + in + quiet + out;
        return "";
    case KIND_COLOR:
        if (extension == "tif") return "convert " + in + " -compress none " + out;
        if (extension == "jpg") return "cjpeg -quality 95 < " + in + quiet + out;
        if (extension == "bmp") return "ppmtobmp -bpp 24 < " + in + quiet + out;
        if (extension == "tga") return "ppmtotga -rgb -norle < " + in + quiet + out;
        if (extension == "pcx") return "convert " + in + " " + out;
        if (extension == "gif") return "convert " + in + " gif:- | gifsicle -O2" + quiet + out;
        if (extension == "png") return "pnmtopng < " + in + quiet + out;
        return "";
    case KIND_BINARY:
        if (extension == "tif") return "convert " + in + " -compress none " + out;
        if (extension == "bmp") return "ppmtobmp -bpp 1 < " + in + quiet + out;
        if (extension == "pcx") return "ppmtopcx < " + in + quiet + out;
        if (extension == "gif") return "convert " + in + " " + out;
        if (extension == "png") return "pnmtopng < " + in + quiet + out;
        return "";
    case KIND_GRAY16:
        if (extension == "tif") return "convert " + in + " -depth 16 -compress none " + out;
        if (extension == "png") return "pnmtopng < " + in + quiet + out;
        if (extension == "fit") return "convert " + in + " -depth 16 FITS:" + out;
        return "";
    case KIND_COLOR48:
        // vips, as libtiff-based writers do, gives SampleFormat a value for each sample.
        if (extension == "tif") return "vips copy " + in + " " + out;
        if (extension == "png") return "pnmtopng < " + in + quiet + out;
        return "";
    }
    return "";
}

// The input file of a kind in a format, made on first use.
std::string Input(Kind kind, const std::string &extension)
{
    std::string path = Folder() + "/" + KIND_NAMES[kind] + "." + extension;
    if (TestReadFile(path).empty()) {
        std::string command = MakingCommand(kind, extension, path);
        EXPECT_FALSE(command.empty()) << KIND_NAMES[kind] << " " << extension;
        EXPECT_TRUE(ToolRuns(command));
    }
    return path;
}

bool IsColor(Kind kind)
{
    return kind == KIND_COLOR || kind == KIND_COLOR48;
}

bool IsSixteen(Kind kind)
{
    return kind == KIND_GRAY16 || kind == KIND_COLOR48;
}

// The samples of a file as an independent reader sees them at 8 or 16 bits. ImageMagick
// reads a Targa file top row first whatever its origin says, and a 1-bit PCX file with its
// two colors swapped whatever its palette says, so netpbm reads those two formats. An EPS
// file is rendered by Ghostscript at the resolution its exact bounding box implies, so that
// each sample is one device pixel; the bottom left of the page holds the picture.
std::vector<int> FileSamples(const std::string &path, const std::string &extension, int channels,
                             int depth)
{
    if (extension == "tga" || extension == "pcx") {
        std::string ppm = path + ".netpbm.ppm";
        EXPECT_TRUE(ToolRuns(extension + "toppm < " + Quote(path) + " > " + Quote(ppm)));
        return ToolSamples(ppm, channels, depth);
    }
    if (extension != "eps") return ToolSamples(path, channels, depth);
    std::vector<uint8_t> bytes = TestReadFile(path);
    std::string text(bytes.begin(), bytes.end());
    double w = 0.0, h = 0.0;
    size_t at = text.find("%%HiResBoundingBox: 0 0 ");
    EXPECT_NE(at, std::string::npos);
    if (at == std::string::npos || sscanf(text.c_str() + at + 24, "%lf %lf", &w, &h) != 2)
        return {};
    double resolution = PICTURE_W * 72.0 / w;
    std::string ppm = path + ".ppm";
    EXPECT_TRUE(ToolRuns("gs -q -dSAFER -dBATCH -dNOPAUSE -dEPSCrop -r" +
                         std::to_string(resolution) +
                         " -sDEVICE=ppmraw -sOutputFile=" + Quote(ppm) + " " + Quote(path)));
    std::string cropped = path + ".crop.ppm";
    EXPECT_TRUE(ToolRuns("convert " + Quote(ppm) + " -gravity SouthWest -crop " +
                         std::to_string(PICTURE_W) + "x" + std::to_string(PICTURE_H) +
                         "+0+0 +repage " + Quote(cropped)));
    return ToolSamples(cropped, channels, depth);
}

// The sample depth ImageMagick finds in a file. It gives 16 for every Utah RLE file, also
// netpbm's of 8 bits, so an RLE file is decoded by netpbm first.
int ToolDepth(const std::string &path, const std::string &extension)
{
    std::string output;
    std::string command = "identify -format %z " + Quote(path);
    if (extension == "rle") command = "rletopnm < " + Quote(path) + " | identify -format %z -";
    EXPECT_EQ(TestRun(command, &output), 0) << command;
    return atoi(output.c_str());
}

// Runs vistel-cli, after an environment of the shell's form when given; returns its exit
// status and its stderr.
int RunCli(const std::string &arguments, std::string *errors, const std::string &environment = "")
{
    std::string errorFile = Folder() + "/stderr-" + std::to_string(getpid()) + ".txt";
    int status = TestRun(environment + TestCliPath() + " " + arguments + " 2>" + Quote(errorFile));
    std::vector<uint8_t> bytes = TestReadFile(errorFile);
    errors->assign(bytes.begin(), bytes.end());
    remove(errorFile.c_str());
    return status;
}

std::string ReducingNote(const std::string &extension)
{
    return std::string("vistel-cli: ") + Label(extension) +
           " files hold 8 bits a sample: reducing the picture\n";
}

// One conversion: kind, input format, output format.
struct Conversion {
    Kind kind;
    const char *from;
    const char *to;
};

// How gtest names a conversion in its messages.
void PrintTo(const Conversion &c, std::ostream *out)
{
    *out << KIND_NAMES[c.kind] << " " << c.from << " to " << c.to;
}

std::string ConversionName(const ::testing::TestParamInfo<Conversion> &info)
{
    return std::string(KIND_NAMES[info.param.kind]) + "_" + info.param.from + "_to_" +
           info.param.to;
}

// Every pair of formats that both hold a kind.
std::vector<Conversion> Conversions(void)
{
    struct Holding {
        Kind kind;
        std::vector<const char *> from;
        std::vector<const char *> to;
    };
    const std::vector<const char *> everyOutput = {"tif", "jpg", "bmp", "tga", "pcx",
                                                   "gif", "eps", "png", "fit", "rle"};
    const Holding holdings[] = {
        {KIND_GRAY, {"tif", "jpg", "bmp", "tga", "pcx", "gif", "png", "fit", "rle"}, everyOutput},
        {KIND_COLOR,
         {"tif", "jpg", "bmp", "tga", "pcx", "gif", "png"},
         {"tif", "jpg", "bmp", "tga", "pcx", "gif", "eps", "png"}},
        {KIND_BINARY,
         {"tif", "bmp", "pcx", "gif", "png"},
         {"tif", "bmp", "pcx", "gif", "eps", "png", "rle"}},
        // 16-bit pictures go everywhere that holds their channels, most formats through the
        // reduction to 8 bits.
        {KIND_GRAY16, {"tif", "png", "fit"}, everyOutput},
        {KIND_COLOR48, {"tif", "png"}, {"tif", "jpg", "bmp", "tga", "pcx", "gif", "eps", "png"}},
    };
    std::vector<Conversion> conversions;
    for (const Holding &holding : holdings)
        for (const char *from : holding.from)
            for (const char *to : holding.to)
                conversions.push_back({holding.kind, from, to});
    return conversions;
}

// Formats that keep 16 bits a sample.
bool KeepsSixteen(const std::string &extension)
{
    return extension == "tif" || extension == "fit";
}

class CliConvert : public ::testing::TestWithParam<Conversion> {
  protected:
    void SetUp() override
    {
        TestStart();
    }
};

TEST_P(CliConvert, TheResultHoldsThePicture)
{
    const Conversion &c = GetParam();
    std::string input = Input(c.kind, c.from);
    std::string output =
        Folder() + "/out-" + KIND_NAMES[c.kind] + "-" + c.from + "-to-" + c.to + "." + c.to;
    remove(output.c_str());
    std::string errors;
    ASSERT_EQ(RunCli("convert " + Quote(input) + " " + Quote(output), &errors), 0) << errors;

    int channels = IsColor(c.kind) ? 3 : 1;
    bool sixteen = IsSixteen(c.kind) && KeepsSixteen(c.to);
    int depth = sixteen ? 16 : 8;
    // What the input holds, as an independent reader reads it: the reference picture itself
    // wherever the tool that made the input loses nothing, which keeps the readers of the test
    // honest. A 16-bit input going to an 8-bit format is reduced by (v * 255 + 32767) / 65535,
    // our conversion of every sample.
    std::vector<int> expected = FileSamples(input, c.from, channels, IsSixteen(c.kind) ? 16 : 8);
    if (std::string(c.from) != "jpg") {
        EXPECT_TRUE(SamplesEqual(
            ToolSamples(Reference(c.kind), channels, IsSixteen(c.kind) ? 16 : 8), expected))
            << "the input as read is not the picture it was made from";
    }
    if (IsSixteen(c.kind) && !sixteen) {
        for (int &v : expected)
            v = (v * 255 + 32767) / 65535;
    }
    std::vector<int> actual = FileSamples(output, c.to, channels, depth);
    ASSERT_EQ(actual.size(), (size_t)PICTURE_W * PICTURE_H * channels);

    // The note says so exactly when a 16-bit picture went to an 8-bit format.
    EXPECT_EQ(errors, IsSixteen(c.kind) && !sixteen ? ReducingNote(c.to) : "");
    if (IsSixteen(c.kind) && c.to != std::string("eps")) {
        EXPECT_EQ(ToolDepth(output, c.to), depth);
    }

    std::string to = c.to;
    if (to == "jpg") {
        // JPEG loses detail by design: we may lose no more than libjpeg-turbo's own cjpeg at
        // the quality vistel-cli writes (97) loses from the same samples. cjpeg's mean errors
        // on these pictures run from 0.9 levels (gray) to 8.2 (color, with its chroma halved).
        std::string pnm = output + ".pnm";
        std::string reference = output + ".cjpeg.jpg";
        PnmWriteSamples(pnm, PICTURE_W, PICTURE_H, channels, 8, expected);
        ASSERT_TRUE(ToolRuns("cjpeg -quality 97 " + Quote(pnm) + " > " + Quote(reference)));
        double allowed = SamplesMeanError(expected, ToolSamples(reference, channels, 8));
        EXPECT_LE(SamplesMeanError(expected, actual), allowed * 1.1 + 0.05);
    } else if (to == "gif" && IsColor(c.kind) &&
               (std::string(c.from) == "jpg" || c.kind == KIND_COLOR48)) {
        // A color picture of more than 256 colors is reduced, with dithering. Measured on
        // these pictures: 3.45 levels from the JPEG input, 4.19 from the 48-bit one.
        EXPECT_LT(SamplesMeanError(expected, actual), 5.0);
    } else {
        EXPECT_TRUE(SamplesEqual(expected, actual));
    }
}

INSTANTIATE_TEST_SUITE_P(AllFormats, CliConvert, ::testing::ValuesIn(Conversions()),
                         ConversionName);

// A format that cannot hold a picture's type answers with its code and message, writes
// nothing, and makes no note about 8 bits.
class CliFormats : public ::testing::Test {
  protected:
    void SetUp() override
    {
        TestStart();
    }
};

TEST_F(CliFormats, ATypeAFormatCannotHoldGivesItsMessage)
{
    struct Case {
        Kind kind;
        const char *to;
        const char *message;
    };
    const Case cases[] = {
        {KIND_COLOR48, "fit", "Only grayscale images can be saved in FITS format"},
        {KIND_BINARY, "fit", "Only grayscale images can be saved in FITS format"},
        {KIND_COLOR, "rle", "Only binary or grayscale image can be saved in RLE format"},
        {KIND_BINARY, "jpg", "Only grayscale or color images can be saved in JPEG format"},
        {KIND_BINARY, "tga", "Only grayscale or color images can be saved in TARGA format"},
        {KIND_BINARY, "fpx", "Only save grayscale or color images can be saved in FlashPix format"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(KIND_NAMES[c.kind]) + " to " + c.to);
        std::string output = Folder() + "/refused." + c.to;
        remove(output.c_str());
        std::string errors;
        EXPECT_EQ(RunCli("convert " + Quote(Input(c.kind, "tif")) + " " + Quote(output), &errors),
                  1);
        EXPECT_EQ(errors, "vistel-cli: " + output + ": " + c.message + "\n");
        EXPECT_TRUE(TestReadFile(output).empty());
    }
}

TEST_F(CliFormats, FlashPixAndPhotoCdAnswerWithTheirCodes)
{
    std::string fpx = Folder() + "/picture.fpx";
    std::string pcd = Folder() + "/picture.pcd";
    // FlashPix keeps its picture in an OLE container; its first bytes are the container's.
    TestWriteFile(fpx, {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1, 0, 0, 0, 0});
    ASSERT_TRUE(ToolRuns("convert -size 64x64 xc:gray " + Quote(pcd)));
    std::string errors;
    EXPECT_EQ(RunCli("convert " + Quote(fpx) + " " + Quote(Folder() + "/fpx.tif"), &errors), 1);
    EXPECT_EQ(errors, "vistel-cli: Problem reading FlashPix file\n");
    EXPECT_EQ(RunCli("convert " + Quote(pcd) + " " + Quote(Folder() + "/pcd.tif"), &errors), 1);
    EXPECT_EQ(errors, "vistel-cli: Error reading PhotoCD Image\n");
    for (Kind kind : {KIND_GRAY, KIND_COLOR, KIND_GRAY16}) {
        SCOPED_TRACE(KIND_NAMES[kind]);
        std::string output = Folder() + "/out.fpx";
        EXPECT_EQ(RunCli("convert " + Quote(Input(kind, "tif")) + " " + Quote(output), &errors), 1);
        std::string note = kind == KIND_GRAY16 ? ReducingNote("fpx") : "";
        EXPECT_EQ(errors, note + "vistel-cli: " + output + ": Problem writing FlashPix file\n");
        EXPECT_TRUE(TestReadFile(output).empty());
    }
}

// A DNG of a flat gray field made through libtiff, the way RawTest makes its files.
void DngGrayWrite(const std::string &path)
{
    const int w = 64, h = 48;
    std::vector<uint16_t> mosaic((size_t)w * h, 8192); // half of a 14-bit white
    TIFF *tiff = TIFFOpen(path.c_str(), "w");
    ASSERT_NE(tiff, nullptr);
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, 0);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, w);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, h);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, h);
    TIFFSetField(tiff, TIFFTAG_MAKE, "Vistel");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Test Sensor");
    uint16_t repeat[2] = {2, 2};
    TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, repeat);
    uint8_t pattern[4] = {0, 1, 1, 2};
    TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, pattern);
    uint8_t version[4] = {1, 4, 0, 0};
    TIFFSetField(tiff, TIFFTAG_DNGVERSION, version);
    TIFFSetField(tiff, TIFFTAG_UNIQUECAMERAMODEL, "Vistel Test Sensor");
    float matrix[9] = {3.2404542f, -1.5371385f, -0.4985314f, -0.9692660f, 1.8760108f,
                       0.0415560f, 0.0556434f,  -0.2040259f, 1.0572252f};
    TIFFSetField(tiff, TIFFTAG_COLORMATRIX1, 9, matrix);
    TIFFSetField(tiff, TIFFTAG_CALIBRATIONILLUMINANT1, 21);
    float neutral[3] = {1.0f, 1.0f, 1.0f};
    TIFFSetField(tiff, TIFFTAG_ASSHOTNEUTRAL, 3, neutral);
    uint32_t white = 16383;
    TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, &white);
    ASSERT_EQ(TIFFWriteEncodedStrip(tiff, 0, mosaic.data(), (tmsize_t)(mosaic.size() * 2)),
              (tmsize_t)(mosaic.size() * 2));
    TIFFClose(tiff);
}

// vistel-cli loads libtiff, LibRaw and cfitsio at the first file that needs them. Where the
// loader finds something else under a library's name (a file that is no library, a library
// without its functions), its files fail with their format's codes: a TIFF our own reader
// leaves to libtiff, a camera raw file, a FITS file read and written. Nothing is written.
TEST_F(CliFormats, LibrariesLoadedLaterFailWithTheirFormatsCodes)
{
    Dl_info math;
    ASSERT_NE(dladdr((void *)&cos, &math), 0);
    std::string zip = Folder() + "/zip.tif";
    std::string dng = Folder() + "/field.dng";
    ASSERT_TRUE(ToolRuns("tiffcp -c zip " + Quote(Input(KIND_GRAY, "tif")) + " " + Quote(zip)));
    DngGrayWrite(dng);
    struct Case {
        const char *library;
        std::string input;
        const char *message;
    };
    const Case cases[] = {
        {VISTEL_TIFF_LIBRARY, zip, "Problem reading TIFF file"},
        {VISTEL_LIBRAW_LIBRARY, dng, "Error reading image file"},
        {VISTEL_CFITSIO_LIBRARY, Input(KIND_GRAY, "fit"), "Error reading FITS file"},
    };
    for (const Case &c : cases) {
        for (int library : {0, 1}) {
            SCOPED_TRACE(std::string(c.library) + (library ? ", another library" : ", no library"));
            std::string folder = Folder() + "/library" + std::to_string(library);
            std::string fake = folder + "/" + c.library;
            ASSERT_TRUE(ToolRuns("rm -rf " + Quote(folder) + " && mkdir " + Quote(folder)));
            if (library)
                ASSERT_TRUE(ToolRuns("cp " + Quote(math.dli_fname) + " " + Quote(fake)));
            else
                TestWriteFile(fake, {'n', 'o', 't', '\n'});
            std::string run = "LD_LIBRARY_PATH=" + Quote(folder) + " ";
            std::string output = folder + "/out.tif";
            std::string errors;
            EXPECT_EQ(RunCli("convert " + Quote(c.input) + " " + Quote(output), &errors, run), 1);
            EXPECT_EQ(errors, std::string("vistel-cli: ") + c.message + "\n");
            EXPECT_TRUE(TestReadFile(output).empty());
            if (c.library != std::string(VISTEL_CFITSIO_LIBRARY)) continue;
            output = folder + "/out.fit";
            EXPECT_EQ(RunCli("convert " + Quote(Input(KIND_GRAY, "tif")) + " " + Quote(output),
                             &errors, run),
                      1);
            EXPECT_EQ(errors, "vistel-cli: " + output + ": Error writing FITS file\n");
            EXPECT_TRUE(TestReadFile(output).empty());
        }
    }
    // The same files open where the libraries are the real ones.
    std::string errors;
    for (const Case &c : cases)
        EXPECT_EQ(RunCli("convert " + Quote(c.input) + " " + Quote(Folder() + "/out.tif"), &errors),
                  0)
            << c.input << ": " << errors;
}

TEST_F(CliFormats, CameraRawFilesKeepTheir16BitsInTiffAndAreReducedForJpeg)
{
    std::string dng = Folder() + "/field.dng";
    DngGrayWrite(dng);
    std::string errors;
    // 8192 / 16383 through sRGB's curve: 0.5000 -> 0.7354, 48192 of 65535; in JPEG
    // 48192 * 255 / 65535 = 187.5, 187 or 188, and JPEG keeps a flat field within a level.
    struct Case {
        const char *extension;
        int depth, value, tolerance;
    } cases[] = {{"tif", 16, 48192, 8}, {"jpg", 8, 188, 1}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.extension);
        std::string out = Folder() + "/field." + c.extension;
        ASSERT_EQ(RunCli("convert " + Quote(dng) + " " + Quote(out), &errors), 0) << errors;
        EXPECT_EQ(errors, c.depth == 8 ? ReducingNote(c.extension) : "");
        EXPECT_EQ(ToolDepth(out, c.extension), c.depth);
        std::vector<int> samples = ToolSamples(out, 3, c.depth);
        ASSERT_EQ(samples.size(), 64u * 48u * 3u);
        for (int channel = 0; channel < 3; channel++)
            EXPECT_NEAR(samples[(24 * 64 + 32) * 3 + channel], c.value, c.tolerance);
    }
    EXPECT_EQ(RunCli("convert " + Quote(dng) + " " + Quote(Folder() + "/field.fit"), &errors), 1);
    EXPECT_EQ(errors, "vistel-cli: " + Folder() +
                          "/field.fit: Only grayscale images can be saved in FITS format\n");
}

} // namespace
