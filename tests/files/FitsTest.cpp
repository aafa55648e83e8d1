// Tests of the FITS reader and writer.
//
// Files come from ImageMagick and netpbm's pnmtofits, and from a small builder of the tests'
// own for the layouts those tools do not write (signed and scaled integers, floating point,
// extensions, several planes). What we write is read back by ImageMagick and by netpbm's
// fitstopnm. The two tools disagree about the order of rows: ImageMagick takes the first row
// of a FITS file as the bottom of the picture, as the FITS convention has it and as we do;
// netpbm keeps file order and its manual tells users to flip the result with pamflip.
#include <dirent.h>
#include <fitsio.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/Preferences.h"
#include "files/FileType.h"
#include "files/Fits.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"

class Fits : public FolderTest {};

// ---------------------------------------------------------------------------------------------
// A FITS builder: header cards of 80 characters, blocks of 2880 bytes, big-endian data.

static const size_t FITS_BLOCK = 2880;

static std::string Card(const std::string &key, const std::string &value)
{
    std::string card = key;
    card.resize(8, ' ');
    card += "= ";
    // Numbers and logicals end in column 30; strings start in column 11.
    std::string field = value;
    if (value[0] != '\'' && field.size() < 20) field = std::string(20 - field.size(), ' ') + field;
    card += field;
    card.resize(80, ' ');
    return card;
}

static void BlockPad(std::vector<uint8_t> *bytes, uint8_t fill)
{
    while (bytes->size() % FITS_BLOCK != 0)
        bytes->push_back(fill);
}

// One HDU: its cards, END, and its data, each padded to whole blocks.
static void HduAppend(std::vector<uint8_t> *file, const std::vector<std::string> &cards,
                      const std::vector<uint8_t> &data)
{
    for (const std::string &card : cards)
        file->insert(file->end(), card.begin(), card.end());
    std::string end = "END";
    end.resize(80, ' ');
    file->insert(file->end(), end.begin(), end.end());
    BlockPad(file, ' ');
    file->insert(file->end(), data.begin(), data.end());
    BlockPad(file, 0);
}

static std::vector<std::string> ImageCards(int bitpix, int w, int h, int planes = 0)
{
    std::vector<std::string> cards = {Card("SIMPLE", "T"), Card("BITPIX", std::to_string(bitpix)),
                                      Card("NAXIS", planes > 0 ? "3" : "2"),
                                      Card("NAXIS1", std::to_string(w)),
                                      Card("NAXIS2", std::to_string(h))};
    if (planes > 0) cards.push_back(Card("NAXIS3", std::to_string(planes)));
    return cards;
}

static std::vector<uint8_t> BigEndian(const void *values, size_t count, size_t size)
{
    std::vector<uint8_t> bytes;
    const uint8_t *p = (const uint8_t *)values;
    for (size_t i = 0; i < count; i++)
        for (size_t b = 0; b < size; b++)
            bytes.push_back(p[i * size + size - 1 - b]); // this machine is little-endian
    return bytes;
}

// The picture a FITS file gives, or its code.
struct FitsRead {
    ErrorCode code;
    int type;
    std::vector<int> samples; // top row first
};

static FitsRead ReadFits(const std::string &path, int showProgress = 0)
{
    TestWindow window = EmptyWindow();
    FitsRead read;
    read.code = ReadFitsFile(path.c_str(), window, showProgress, nullptr);
    read.type = window->image.type;
    read.samples = ImageSamples(window->image);
    return read;
}

// Samples given bottom row first (file order) turned top row first, as the lists compare.
static std::vector<int> TopFirst(const std::vector<int> &fileOrder, int w)
{
    std::vector<int> samples;
    for (size_t row = fileOrder.size() / w; row-- > 0;)
        samples.insert(samples.end(), fileOrder.begin() + row * w,
                       fileOrder.begin() + (row + 1) * w);
    return samples;
}

// ---------------------------------------------------------------------------------------------
// Reading

TEST_F(Fits, ReadsImageMagickAndNetpbmFilesAtEightAndSixteenBits)
{
    ASSERT_TRUE(ToolRuns("convert -seed 2 -size 23x17 plasma:fractal -colorspace Gray -depth 8 " +
                         Quote(Path("gray8.pgm"))));
    ASSERT_TRUE(ToolRuns("convert -seed 2 -size 23x17 plasma:fractal -colorspace Gray -depth 16 " +
                         Quote(Path("gray16.pgm"))));
    for (int depth : {8, 16}) {
        SCOPED_TRACE(depth);
        std::string pgm = Path("gray" + std::to_string(depth) + ".pgm");
        std::string magick = Path("magick" + std::to_string(depth) + ".fits");
        std::string netpbm = Path("netpbm" + std::to_string(depth) + ".fits");
        ASSERT_TRUE(ToolRuns("convert " + Quote(pgm) + " -depth " + std::to_string(depth) + " " +
                             Quote(magick)));
        ASSERT_TRUE(ToolRuns("pnmtofits " + Quote(pgm) + " > " + Quote(netpbm)));
        std::vector<int> expected = ToolSamples(pgm, 1, depth);
        FitsRead read = ReadFits(magick);
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_EQ(read.type, depth == 8 ? TYPE_GRAY8 : TYPE_GRAY16);
        EXPECT_TRUE(SamplesEqual(expected, read.samples));
        // pnmtofits writes the top row first.
        read = ReadFits(netpbm);
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_EQ(read.type, depth == 8 ? TYPE_GRAY8 : TYPE_GRAY16);
        EXPECT_TRUE(SamplesEqual(TopFirst(expected, 23), read.samples));
    }
}

TEST_F(Fits, ScaledAndSignedValuesAreClippedToTheRange)
{
    struct Case {
        const char *name;
        int bitpix;
        const char *zero;  // BZERO card value, or null
        const char *scale; // BSCALE card value, or null
        std::vector<double> stored;
        int type;
        std::vector<int> expected; // file order, bottom row first
    };
    const double nan = std::nan("");
    const Case cases[] = {
        {"signed 16-bit", 16, nullptr, nullptr, {-5, 0, 1, 32767}, TYPE_GRAY16, {0, 0, 1, 32767}},
        {"unsigned 16-bit",
         16,
         "32768",
         nullptr,
         {-32768, -1, 0, 32767},
         TYPE_GRAY16,
         {0, 32767, 32768, 65535}},
        // 100 + 2 * stored: -100 -> -100 clipped, 10 -> 120, 32767 -> 65634 clipped.
        {"scaled 16-bit", 16, "100", "2", {-100, 10, 32767, -50}, TYPE_GRAY16, {0, 120, 65535, 0}},
        // 0.5 * stored rounds half away from zero: 3 -> 1.5 -> 2.
        {"halved 16-bit", 16, "0.0", "0.5", {3, 5, 100, 1}, TYPE_GRAY16, {2, 3, 50, 1}},
        {"bytes", 8, nullptr, nullptr, {0, 1, 254, 255}, TYPE_GRAY8, {0, 1, 254, 255}},
        // Signed bytes: -128 + stored.
        {"signed bytes", 8, "-128", nullptr, {0, 127, 200, 255}, TYPE_GRAY8, {0, 0, 72, 127}},
        {"32-bit",
         32,
         nullptr,
         nullptr,
         {-1, 70000, 1234, 65535},
         TYPE_GRAY16,
         {0, 65535, 1234, 65535}},
        // Floating point within 0..1 is normalised: 0.5 * 65535 = 32767.5 -> 32768.
        {"normalised floats",
         -32,
         nullptr,
         nullptr,
         {0.0, 0.5, 1.0, nan},
         TYPE_GRAY16,
         {0, 32768, 65535, 0}},
        {"float levels",
         -32,
         nullptr,
         nullptr,
         {1.5, 300.25, -2.0, 70000.0},
         TYPE_GRAY16,
         {2, 300, 0, 65535}},
        {"normalised doubles",
         -64,
         nullptr,
         nullptr,
         {0.25, 1.0, 0.0, 0.001},
         TYPE_GRAY16,
         {16384, 65535, 0, 66}},
        {"scaled floats",
         -32,
         "10",
         "100",
         {0.5, 2.0, -1.0, 700.0},
         TYPE_GRAY16,
         {60, 210, 0, 65535}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::string> cards = ImageCards(c.bitpix, 2, 2);
        if (c.zero != nullptr) cards.push_back(Card("BZERO", c.zero));
        if (c.scale != nullptr) cards.push_back(Card("BSCALE", c.scale));
        std::vector<uint8_t> data;
        for (double v : c.stored) {
            switch (c.bitpix) {
            case 8: data.push_back((uint8_t)v); break;
            case 16: {
                int16_t value = (int16_t)v;
                std::vector<uint8_t> b = BigEndian(&value, 1, 2);
                data.insert(data.end(), b.begin(), b.end());
                break;
            }
            case 32: {
                int32_t value = (int32_t)v;
                std::vector<uint8_t> b = BigEndian(&value, 1, 4);
                data.insert(data.end(), b.begin(), b.end());
                break;
            }
            case -32: {
                float value = (float)v;
                std::vector<uint8_t> b = BigEndian(&value, 1, 4);
                data.insert(data.end(), b.begin(), b.end());
                break;
            }
            default: {
                std::vector<uint8_t> b = BigEndian(&v, 1, 8);
                data.insert(data.end(), b.begin(), b.end());
                break;
            }
            }
        }
        std::vector<uint8_t> file;
        HduAppend(&file, cards, data);
        TestWriteFile(Path("case.fits"), file);
        FitsRead read = ReadFits(Path("case.fits"));
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_EQ(read.type, c.type);
        EXPECT_TRUE(SamplesEqual(TopFirst(c.expected, 2), read.samples));
    }
}

TEST_F(Fits, TheFirstImageOfOnePlaneIsRead)
{
    std::vector<uint8_t> pixels = {10, 20, 30, 40, 50, 60};
    // A single plane of a cube is a picture.
    std::vector<uint8_t> cube;
    HduAppend(&cube, ImageCards(8, 3, 2, 1), pixels);
    TestWriteFile(Path("cube.fits"), cube);
    FitsRead read = ReadFits(Path("cube.fits"));
    ASSERT_EQ(read.code, ERROR_NONE);
    EXPECT_TRUE(SamplesEqual({40, 50, 60, 10, 20, 30}, read.samples));

    // An empty primary HDU and a one-dimensional image are passed over for the image extension
    // after them.
    std::vector<uint8_t> file;
    HduAppend(&file,
              {Card("SIMPLE", "T"), Card("BITPIX", "8"), Card("NAXIS", "0"), Card("EXTEND", "T")},
              {});
    std::vector<std::string> oneAxis = {Card("XTENSION", "'IMAGE   '"),
                                        Card("BITPIX", "8"),
                                        Card("NAXIS", "1"),
                                        Card("NAXIS1", "4"),
                                        Card("PCOUNT", "0"),
                                        Card("GCOUNT", "1")};
    HduAppend(&file, oneAxis, {1, 2, 3, 4});
    std::vector<std::string> image = {Card("XTENSION", "'IMAGE   '"),
                                      Card("BITPIX", "8"),
                                      Card("NAXIS", "2"),
                                      Card("NAXIS1", "3"),
                                      Card("NAXIS2", "2"),
                                      Card("PCOUNT", "0"),
                                      Card("GCOUNT", "1")};
    HduAppend(&file, image, pixels);
    TestWriteFile(Path("extension.fits"), file);
    read = ReadFits(Path("extension.fits"));
    ASSERT_EQ(read.code, ERROR_NONE);
    EXPECT_TRUE(SamplesEqual({40, 50, 60, 10, 20, 30}, read.samples));

    // Three planes (ImageMagick's color FITS) are no gray picture, and nothing follows.
    ASSERT_TRUE(ToolRuns("convert -size 5x3 xc:red " + Quote(Path("color.fits"))));
    EXPECT_EQ(ReadFits(Path("color.fits")).code, ERROR_READ_FITS);
}

TEST_F(Fits, APictureBehindATableIsNotLookedFor)
{
    std::vector<std::string> primary = {Card("SIMPLE", "T"), Card("BITPIX", "8"),
                                        Card("NAXIS", "0"), Card("EXTEND", "T")};
    std::vector<std::string> table = {Card("XTENSION", "'BINTABLE'"),
                                      Card("BITPIX", "8"),
                                      Card("NAXIS", "2"),
                                      Card("NAXIS1", "4"),
                                      Card("NAXIS2", "2"),
                                      Card("PCOUNT", "0"),
                                      Card("GCOUNT", "1"),
                                      Card("TFIELDS", "1"),
                                      Card("TFORM1", "'4A      '")};
    std::vector<std::string> image = {Card("XTENSION", "'IMAGE   '"),
                                      Card("BITPIX", "8"),
                                      Card("NAXIS", "2"),
                                      Card("NAXIS1", "2"),
                                      Card("NAXIS2", "1"),
                                      Card("PCOUNT", "0"),
                                      Card("GCOUNT", "1")};
    std::vector<uint8_t> behind;
    HduAppend(&behind, primary, {});
    HduAppend(&behind, table, {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'});
    HduAppend(&behind, image, {7, 9});
    TestWriteFile(Path("behind.fits"), behind);
    EXPECT_EQ(ReadFits(Path("behind.fits")).code, ERROR_READ_FITS);
    // Before the table, the picture is read.
    std::vector<uint8_t> before;
    HduAppend(&before, primary, {});
    HduAppend(&before, image, {7, 9});
    HduAppend(&before, table, {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'});
    TestWriteFile(Path("before.fits"), before);
    FitsRead read = ReadFits(Path("before.fits"));
    ASSERT_EQ(read.code, ERROR_NONE);
    EXPECT_TRUE(SamplesEqual({7, 9}, read.samples));
}

TEST_F(Fits, TileCompressedImagesAreRefused)
{
    fitsfile *fits = nullptr;
    int status = 0;
    long naxes[2] = {16, 8};
    std::vector<short> values(16 * 8, 1000);
    fits_create_diskfile(&fits, Path("rice.fits").c_str(), &status);
    fits_set_compression_type(fits, RICE_1, &status);
    fits_create_img(fits, SHORT_IMG, 2, naxes, &status);
    long first[2] = {1, 1};
    fits_write_pix(fits, TSHORT, first, (LONGLONG)values.size(), values.data(), &status);
    fits_close_file(fits, &status);
    ASSERT_EQ(status, 0);
    FitsRead read = ReadFits(Path("rice.fits"));
    EXPECT_EQ(read.code, ERROR_READ_FITS);
    EXPECT_EQ(read.type, TYPE_EMPTY);
}

TEST_F(Fits, MissingAndDamagedFilesGiveTheirCodes)
{
    EXPECT_EQ(ReadFits(Path("none.fits")).code, ERROR_OPEN_FILE);
    std::string hostile = TestDataPath("hostile");
    DIR *directory = opendir(hostile.c_str());
    ASSERT_NE(directory, nullptr);
    int count = 0;
    for (struct dirent *entry; (entry = readdir(directory)) != nullptr;) {
        std::string name = entry->d_name;
        if (name.rfind("fits-", 0) != 0) continue;
        SCOPED_TRACE(name);
        count++;
        FitsRead read = ReadFits(hostile + "/" + name);
        EXPECT_EQ(read.code, ERROR_READ_FITS);
        EXPECT_EQ(read.type, TYPE_EMPTY);
    }
    closedir(directory);
    EXPECT_GE(count, 8);

    // Cut anywhere before the end of the data, a file fails; the padding after is optional
    // to cfitsio only in part, so a cut there may go either way, but never half a picture.
    std::vector<int16_t> values(40 * 30);
    for (size_t i = 0; i < values.size(); i++)
        values[i] = (int16_t)(i * 37);
    std::vector<uint8_t> whole;
    HduAppend(&whole, ImageCards(16, 40, 30), BigEndian(values.data(), values.size(), 2));
    TestWriteFile(Path("whole.fits"), whole);
    FitsRead full = ReadFits(Path("whole.fits"));
    ASSERT_EQ(full.code, ERROR_NONE);
    size_t dataEnd = FITS_BLOCK + values.size() * 2;
    for (size_t cut = 0; cut < whole.size(); cut += 97) {
        SCOPED_TRACE(cut);
        TestWriteFile(Path("cut.fits"), std::vector<uint8_t>(whole.begin(), whole.begin() + cut));
        FitsRead read = ReadFits(Path("cut.fits"));
        if (cut < dataEnd) {
            EXPECT_EQ(read.code, ERROR_READ_FITS);
        }
        if (read.code == ERROR_NONE)
            EXPECT_TRUE(SamplesEqual(full.samples, read.samples));
        else
            EXPECT_EQ(read.type, TYPE_EMPTY);
    }
}

// ---------------------------------------------------------------------------------------------
// Writing

// The value of a header card of a FITS file, or "" when it has none.
static std::string CardValue(const std::vector<uint8_t> &file, const std::string &key)
{
    for (size_t at = 0; at + 80 <= file.size() && at < 36 * 80; at += 80) {
        std::string card(file.begin() + at, file.begin() + at + 80);
        std::string name = card.substr(0, 8);
        name.erase(name.find_last_not_of(' ') + 1);
        if (name != key) continue;
        std::string value = card.substr(10, 20);
        value.erase(0, value.find_first_not_of(' '));
        return value;
    }
    return "";
}

TEST_F(Fits, GrayPicturesAreWrittenForOtherReaders)
{
    for (int type : {TYPE_GRAY8, TYPE_GRAY16}) {
        SCOPED_TRACE(type);
        int depth = type == TYPE_GRAY8 ? 8 : 16;
        TestWindow window = PictureWindow(type, 29, 13, 240.0, depth);
        std::string file = Path("out.fits");
        ASSERT_EQ(SaveFitsFile(file.c_str(), window), ERROR_NONE);
        std::vector<uint8_t> bytes = TestReadFile(file);
        EXPECT_EQ(bytes.size() % FITS_BLOCK, 0u);
        EXPECT_EQ(CardValue(bytes, "BITPIX"), depth == 8 ? "8" : "16");
        EXPECT_EQ(CardValue(bytes, "NAXIS"), "2");
        EXPECT_EQ(CardValue(bytes, "NAXIS1"), "29");
        EXPECT_EQ(CardValue(bytes, "NAXIS2"), "13");
        if (depth == 16) {
            EXPECT_EQ(std::stod(CardValue(bytes, "BZERO")), 32768.0);
            EXPECT_EQ(std::stod(CardValue(bytes, "BSCALE")), 1.0);
        }
        std::vector<int> samples = ImageSamples(window->image);
        EXPECT_TRUE(SamplesEqual(samples, ToolSamples(file, 1, depth)));
        std::string netpbm;
        // fitstopnm stretches the values it finds to the full range unless told the range.
        std::string top = depth == 8 ? "255" : "65535";
        TestRun("fitstopnm -min=0 -max=" + top + " -omaxval=" + top + " " + Quote(file) +
                    " 2>/dev/null | pamflip -topbottom | pnmtoplainpnm",
                &netpbm);
        // The plain PGM's header (three lines), then the samples.
        std::vector<int> plain;
        size_t at = 0;
        for (int line = 0; line < 3; line++)
            at = netpbm.find('\n', at) + 1;
        for (const char *p = netpbm.c_str() + at; *p != 0;) {
            char *end;
            long value = strtol(p, &end, 10);
            if (end == p) break;
            plain.push_back((int)value);
            p = end;
        }
        EXPECT_TRUE(SamplesEqual(samples, plain));
        FitsRead read = ReadFits(file);
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_EQ(read.type, type);
        EXPECT_TRUE(SamplesEqual(samples, read.samples));
    }
}

TEST_F(Fits, NamesAreTakenAsTheyStand)
{
    // cfitsio's usual calls would read "[1]" as an extension and "!" as "overwrite".
    TestWindow window = PictureWindow(TYPE_GRAY8, 3, 2, 72.0, 4);
    for (const char *name : {"frame[1].fits", "!bang.fits", "a(b).fit", "dark +2.fits"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(SaveFitsFile(Path(name).c_str(), window), ERROR_NONE);
        FitsRead read = ReadFits(Path(name));
        ASSERT_EQ(read.code, ERROR_NONE);
        EXPECT_TRUE(SamplesEqual(ImageSamples(window->image), read.samples));
    }
    std::string listing;
    TestRun("ls -A " + Quote(folder), &listing);
    EXPECT_EQ(listing, "!bang.fits\na(b).fit\ndark +2.fits\nframe[1].fits\n");
}
