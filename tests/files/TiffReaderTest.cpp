// Tests of the TIFF reader and its libtiff fallback.
//
// Files come from independent tools (ImageMagick's convert, libtiff's tiffcp and tiffset) and
// the pixels we read are compared with what ImageMagick reads from the same file. Cases the
// tools cannot make (wrong byte counts, truncated strips, odd tag orders, damaged files) are
// built byte by byte by a small TIFF builder of the tests' own, and LZW streams by a small
// encoder of their own. The damaged files are kept in tests/data/hostile.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include "core/File.h"
#include "core/Helpers.h"
#include "core/Preferences.h"
#include "files/TiffReader.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"
#include "tests/files/RasterTestHelpers.h"
#include "tests/support/TestImage.h"

// ---------------------------------------------------------------------------------------------
// Pictures, tools and comparisons

static uint32_t TestRandom(uint32_t *state)
{
    *state = *state * 1664525u + 1013904223u;
    return *state >> 8;
}

// Writes a PNM picture of random samples, 1 or 3 channels of 8 or 16 bits.
static void PnmWrite(const std::string &path, int w, int h, int channels, int depth, uint32_t seed)
{
    std::vector<int> samples((size_t)w * h * channels);
    for (int &sample : samples)
        sample = (int)(TestRandom(&seed) & (depth == 16 ? 0xFFFF : 0xFF));
    PnmWriteSamples(path, w, h, channels, depth, samples);
}

// The picture a file gives, or its code.
static ErrorCode ReadPath(const std::string &path, Image *image, int showProgress = 0,
                          FileDamage *damage = nullptr)
{
    return ReadTiffFile(path.c_str(), image, showProgress, damage);
}

static int ProbePath(const std::string &path)
{
    FileHandle file = FILE_HANDLE_NONE;
    if (FileOpenRead(path.c_str(), &file) != ERROR_NONE) return -1;
    int probe = ProbeTiffFile(file);
    FileClose(&file);
    return probe;
}

// DecodeTiffImage on a file, as the probe would never send it there.
static ErrorCode DecodePath(const std::string &path, Image *image)
{
    FileHandle file = FILE_HANDLE_NONE;
    if (FileOpenRead(path.c_str(), &file) != ERROR_NONE) return -1;
    ErrorCode result = DecodeTiffImage(file, image, 0, nullptr);
    FileClose(&file);
    return result;
}

// ---------------------------------------------------------------------------------------------
// Files of the shared TIFF builder

// The main directory's entry of tag, or null.
static TestEntry *TestTiffEntry(TestTiff *tiff, uint16_t tag)
{
    for (TestEntry &entry : tiff->entries)
        if (entry.tag == tag) return &entry;
    return nullptr;
}

// An uncompressed picture in strips of rowsPerStrip rows, entries in tag order.
static TestTiff TestTiffMake(int w, int h, int bits, int samples, const std::vector<uint8_t> &data,
                             int rowsPerStrip, int littleEndian = 1)
{
    TestTiff tiff;
    tiff.littleEndian = littleEndian;
    size_t rowBytes = ((size_t)w * bits * samples + 7) / 8;
    for (int y = 0; y < h; y += rowsPerStrip) {
        int rows = h - y < rowsPerStrip ? h - y : rowsPerStrip;
        tiff.strips.emplace_back(data.begin() + y * rowBytes, data.begin() + (y + rows) * rowBytes);
    }
    std::vector<uint32_t> depths(samples == 1 ? 1 : samples, (uint32_t)bits);
    tiff.entries = {
        {256, TEST_LONG, {(uint32_t)w}},
        {257, TEST_LONG, {(uint32_t)h}},
        {258, TEST_SHORT, depths},
        {259, TEST_SHORT, {1}},
        {262, TEST_SHORT, {samples >= 3 ? 2u : 1u}},
        {273, TEST_LONG, {}},
        {277, TEST_SHORT, {(uint32_t)samples}},
        {278, TEST_LONG, {(uint32_t)rowsPerStrip}},
        {279, TEST_LONG, {}},
    };
    return tiff;
}

static std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed)
{
    std::vector<uint8_t> bytes(count);
    for (uint8_t &b : bytes)
        b = (uint8_t)TestRandom(&seed);
    return bytes;
}

// ---------------------------------------------------------------------------------------------
// LZW streams of the tests' own

// Encodes data as TIFF LZW: codes most significant bit first, a clear code first and, when
// clears is set, again whenever the table would pass 12 bits; the code width grows one code
// early, as TIFF readers expect it.
static std::vector<uint8_t> LzwEncode(const std::vector<uint8_t> &data, int clears)
{
    std::vector<uint8_t> out;
    uint64_t buffer = 0;
    int bits = 0;
    int width = 9;
    int threshold = 510;
    int decoderNext = 258; // the next code the decoder will define
    int next = 258;        // the next code the encoder defines, one ahead of the decoder's
    int fresh = 1;         // the first code after a clear defines nothing in the decoder
    std::map<uint32_t, int> table;
    auto put = [&](int code) {
        buffer = (buffer << width) | (uint32_t)code;
        bits += width;
        while (bits >= 8) {
            out.push_back((uint8_t)(buffer >> (bits - 8)));
            bits -= 8;
        }
    };
    auto emit = [&](int code) {
        put(code);
        if (fresh) {
            fresh = 0;
            return;
        }
        if (++decoderNext > threshold) {
            width++;
            threshold = threshold * 2 + 2;
        }
    };
    auto clear = [&]() {
        put(256);
        table.clear();
        width = 9;
        threshold = 510;
        decoderNext = next = 258;
        fresh = 1;
    };
    clear();
    if (!data.empty()) {
        int prefix = data[0];
        for (size_t i = 1; i < data.size(); i++) {
            uint32_t key = ((uint32_t)prefix << 8) | data[i];
            auto found = table.find(key);
            if (found != table.end()) {
                prefix = found->second;
                continue;
            }
            emit(prefix);
            if (clears && next >= 4094)
                clear();
            else
                table[key] = next++;
            prefix = data[i];
        }
        emit(prefix);
    }
    put(257);
    if (bits > 0) out.push_back((uint8_t)(buffer << (8 - bits)));
    return out;
}

// Data with runs and repeats as well as noise, so that long strings form.
static std::vector<uint8_t> MixedBytes(size_t count, uint32_t seed)
{
    std::vector<uint8_t> bytes;
    while (bytes.size() < count) {
        uint32_t kind = TestRandom(&seed) % 3;
        size_t length = 1 + TestRandom(&seed) % 40;
        uint8_t value = (uint8_t)TestRandom(&seed);
        for (size_t i = 0; i < length && bytes.size() < count; i++) {
            // Runs of one value, noise, or a repeat of what came before.
            uint8_t next = value;
            if (kind == 1)
                next = (uint8_t)TestRandom(&seed);
            else if (kind == 2 && !bytes.empty())
                next = bytes[(bytes.size() / 2 + i) % bytes.size()];
            bytes.push_back(next);
        }
    }
    return bytes;
}

TEST(DecodeLzwStrip, DecodesHandWrittenStreams)
{
    TestStart();
    int64_t decoded = 0;
    // Codes 256 'A' 'B' 258 257 in 9 bits: 258 is "AB", defined by the third code.
    const std::vector<uint8_t> abab = {0x80, 0x10, 0x48, 0x50, 0x28, 0x08};
    EXPECT_EQ(LzwEncode({'A', 'B', 'A', 'B'}, 1), abab); // our encoder agrees with the hand
    uint8_t out[10];
    memset(out, 0xEE, sizeof out);
    ASSERT_EQ(DecodeLzwStrip(abab.data(), (int64_t)abab.size(), out, 4, &decoded), ERROR_NONE);
    EXPECT_EQ(std::string((char *)out, 4), "ABAB");
    EXPECT_EQ(out[4], 0xEE); // nothing past the output

    // 256 'A' 258 257: 258 is used in the very code that defines it, "A" + "A".
    const std::vector<uint8_t> aaa = {0x80, 0x10, 0x60, 0x50, 0x10};
    ASSERT_EQ(DecodeLzwStrip(aaa.data(), (int64_t)aaa.size(), out, 3, &decoded), ERROR_NONE);
    EXPECT_EQ(std::string((char *)out, 3), "AAA");

    // A stream that ends before the output is full leaves the rest as it was.
    memset(out, 0xEE, sizeof out);
    ASSERT_EQ(DecodeLzwStrip(abab.data(), (int64_t)abab.size(), out, 10, &decoded), ERROR_NONE);
    EXPECT_EQ(decoded, 4);
    EXPECT_EQ(std::string((char *)out, 4), "ABAB");
    EXPECT_EQ(out[4], 0xEE);
    EXPECT_EQ(out[9], 0xEE);
    // So does one cut in the middle of a code: 32 bits hold 256 'A' 'B' and part of 258.
    memset(out, 0xEE, sizeof out);
    ASSERT_EQ(DecodeLzwStrip(abab.data(), 4, out, 10, &decoded), ERROR_NONE);
    EXPECT_EQ(decoded, 2);
    EXPECT_EQ(std::string((char *)out, 3), "AB\xEE");

    // A string cut by the end of the output keeps its tail: "AB" in one byte of room is "B".
    ASSERT_EQ(DecodeLzwStrip(abab.data(), (int64_t)abab.size(), out, 3, &decoded), ERROR_NONE);
    EXPECT_EQ(std::string((char *)out, 3), "ABB");
    EXPECT_EQ(HeadlessMessageCount(), 0);
}

TEST(DecodeLzwStrip, RoundTripsThroughEveryCodeWidth)
{
    TestStart();
    int64_t decoded = 0;
    // Long enough to fill the table several times: codes of 9, 10, 11 and 12 bits, the
    // widths changing after codes 510, 1022 and 2046, and clear codes in between.
    for (uint32_t seed : {1u, 2u, 3u}) {
        SCOPED_TRACE(seed);
        std::vector<uint8_t> data = MixedBytes(200000, seed);
        std::vector<uint8_t> stream = LzwEncode(data, 1);
        std::vector<uint8_t> out(data.size() + 16, 0xEE);
        ASSERT_EQ(DecodeLzwStrip(stream.data(), (int64_t)stream.size(), out.data(),
                                 (int64_t)data.size(), &decoded),
                  ERROR_NONE);
        EXPECT_TRUE(std::equal(data.begin(), data.end(), out.begin()));
        EXPECT_EQ(out[data.size()], 0xEE);
    }
    // Short streams end in each width: the end code is read at the width then in force.
    for (size_t count : {300u, 800u, 1500u, 3500u, 6000u}) {
        SCOPED_TRACE(count);
        std::vector<uint8_t> data = RandomBytes(count, (uint32_t)count);
        std::vector<uint8_t> stream = LzwEncode(data, 1);
        std::vector<uint8_t> out(count);
        ASSERT_EQ(DecodeLzwStrip(stream.data(), (int64_t)stream.size(), out.data(), (int64_t)count,
                                 &decoded),
                  ERROR_NONE);
        EXPECT_EQ(out, data);
    }
}

TEST(DecodeLzwStrip, RefusesAStreamThatOutgrowsItsTable)
{
    TestStart();
    int64_t decoded = 0;
    // Random bytes make a new code almost every byte: without clear codes the table passes
    // 4096 entries long before the data ends.
    std::vector<uint8_t> data = RandomBytes(12000, 9);
    std::vector<uint8_t> stream = LzwEncode(data, 0);
    std::vector<uint8_t> out(data.size());
    EXPECT_EQ(DecodeLzwStrip(stream.data(), (int64_t)stream.size(), out.data(), (int64_t)out.size(),
                             &decoded),
              ERROR_READ_TIFF);
    ASSERT_EQ(HeadlessMessageCount(), 1);
    EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
    EXPECT_STREQ(HeadlessLastMessage()->text, "LZW encoding error detected");
}

TEST(DecodeLzwStrip, RefusesOldBitOrderAndUndefinedCodesSilently)
{
    TestStart();
    int64_t decoded = 0;
    uint8_t out[16];
    // The clear code written least significant bit first begins 0x00 0x01.
    const uint8_t old[] = {0x00, 0x01, 0x12, 0x34};
    EXPECT_EQ(DecodeLzwStrip(old, sizeof old, out, sizeof out, &decoded), ERROR_READ_TIFF);
    // 256 'A' 300 257: code 300 is not defined yet.
    const uint8_t undefined[] = {0x80, 0x10, 0x65, 0x90, 0x10};
    EXPECT_EQ(DecodeLzwStrip(undefined, sizeof undefined, out, sizeof out, &decoded),
              ERROR_READ_TIFF);
    EXPECT_EQ(HeadlessMessageCount(), 0);
    // An empty stream decodes to nothing.
    memset(out, 0xEE, sizeof out);
    EXPECT_EQ(DecodeLzwStrip(old, 0, out, sizeof out, &decoded), ERROR_NONE);
    EXPECT_EQ(out[0], 0xEE);
}

// ---------------------------------------------------------------------------------------------
// Files made by the tools

static const int TOOL_WIDTH = 45; // odd, so that 1- and 4-bit rows end inside a byte
static const int TOOL_HEIGHT = 37;

// Makes the source picture name (gray1, gray4, gray8, gray16, rgb8, rgb16, rgba8, rgba16,
// graya8, graya16, palette4, palette8, rgb16planar, smooth8, smoothgray8) in folder with convert,
// or rgb8vips, rgb16vips, rgb16signed with vips, once; returns its path.
static std::string ToolSource(const std::string &folder, const std::string &name)
{
    std::string path = folder + "/" + name + ".tif";
    if (!TestReadFile(path).empty()) return path;
    std::string g8 = folder + "/g8.pgm";
    std::string a8 = folder + "/a8.pgm";
    std::string g16 = folder + "/g16.pgm";
    std::string a16 = folder + "/a16.pgm";
    std::string c8 = folder + "/c8.ppm";
    std::string c16 = folder + "/c16.ppm";
    if (TestReadFile(g8).empty()) {
        PnmWrite(g8, TOOL_WIDTH, TOOL_HEIGHT, 1, 8, 11);
        PnmWrite(a8, TOOL_WIDTH, TOOL_HEIGHT, 1, 8, 12);
        PnmWrite(g16, TOOL_WIDTH, TOOL_HEIGHT, 1, 16, 13);
        PnmWrite(a16, TOOL_WIDTH, TOOL_HEIGHT, 1, 16, 14);
        PnmWrite(c8, TOOL_WIDTH, TOOL_HEIGHT, 3, 8, 15);
        PnmWrite(c16, TOOL_WIDTH, TOOL_HEIGHT, 3, 16, 16);
    }
    // vips, like every libtiff-based writer, gives SampleFormat one value for each sample.
    if (name == "rgb8vips" || name == "rgb16vips" || name == "rgb16signed") {
        std::string source = Quote(name == "rgb8vips" ? c8 : c16) + " " + Quote(path);
        EXPECT_TRUE(ToolRuns(name == "rgb16signed" ? "vips cast " + source + " short"
                                                   : "vips copy " + source));
        return path;
    }
    const std::string alpha = " -alpha off -compose copy_opacity -composite ";
    std::string command;
    if (name == "gray1")
        command = Quote(g8) + " -threshold 50% -depth 1";
    else if (name == "gray4")
        command = Quote(g8) + " -depth 4";
    else if (name == "gray8")
        command = Quote(g8) + " -depth 8";
    else if (name == "gray16")
        command = Quote(g16) + " -depth 16";
    else if (name == "rgb8")
        command = Quote(c8) + " -depth 8";
    else if (name == "rgb16")
        command = Quote(c16) + " -depth 16";
    else if (name == "rgba8")
        command = Quote(c8) + " " + Quote(a8) + alpha + "-depth 8";
    else if (name == "rgba16")
        command = Quote(c16) + " " + Quote(a16) + alpha + "-depth 16";
    else if (name == "graya8")
        command = Quote(g8) + " " + Quote(a8) + alpha + "-depth 8";
    else if (name == "graya16")
        command = Quote(g16) + " " + Quote(a16) + alpha + "-depth 16";
    else if (name == "palette4")
        command = Quote(c8) + " -colors 12 -type palette";
    else if (name == "palette8")
        command = Quote(c8) + " -colors 200 -type palette";
    else if (name == "rgb16planar")
        command = Quote(c16) + " -depth 16 -interlace plane";
    else if (name == "smooth8") // smooth, the kind of picture JPEG is made for
        command = "-size 45x37 gradient:orange-navy -depth 8";
    else if (name == "smoothgray8")
        command = "-size 45x37 gradient:gray20-gray90 -colorspace Gray -depth 8";
    EXPECT_TRUE(ToolRuns("convert " + command + " -compress none " + Quote(path)));
    return path;
}

// A tool file: the source as convert made it, or passed through tiffcp with options.
static std::string ToolFile(const std::string &folder, const std::string &source,
                            const std::string &options)
{
    std::string path = ToolSource(folder, source);
    if (options.empty()) return path;
    std::string name = source;
    for (char c : options)
        name += isalnum((unsigned char)c) ? c : '_';
    std::string output = folder + "/" + name + ".tif";
    EXPECT_TRUE(ToolRuns("tiffcp " + options + " " + Quote(path) + " " + Quote(output)));
    return output;
}

struct ToolCase {
    const char *source;  // picture made by ToolSource
    const char *options; // tiffcp options applied to it; "" for convert's own file
    int probe;           // who reads it: TIFF_PROBE_*
    int type;            // the Image type it gives; TYPE_EMPTY when it is refused with 56
};

static const ToolCase TOOL_CASES[] = {
    // Our own reader: uncompressed and LZW, both byte orders, strips, predictor.
    {"gray1", "", TIFF_PROBE_OWN, TYPE_BINARY},
    {"gray1", "-c lzw", TIFF_PROBE_OWN, TYPE_BINARY},
    {"gray1", "-B -c none -r 4", TIFF_PROBE_OWN, TYPE_BINARY},
    {"gray8", "", TIFF_PROBE_OWN, TYPE_GRAY8},
    {"gray8", "-c lzw:2", TIFF_PROBE_OWN, TYPE_GRAY8},
    {"gray8", "-B -c none -r 5", TIFF_PROBE_OWN, TYPE_GRAY8},
    {"gray16", "-c lzw:2", TIFF_PROBE_OWN, TYPE_GRAY16},
    {"gray16", "-B -c lzw:2", TIFF_PROBE_OWN, TYPE_GRAY16},
    {"gray16", "-c none -r 2", TIFF_PROBE_OWN, TYPE_GRAY16},
    {"rgb8", "", TIFF_PROBE_OWN, TYPE_COLOR24},
    {"rgb8", "-c lzw:2", TIFF_PROBE_OWN, TYPE_COLOR24},
    {"rgb8", "-B -c lzw -r 3", TIFF_PROBE_OWN, TYPE_COLOR24},
    {"rgb16", "", TIFF_PROBE_OWN, TYPE_COLOR48},
    {"rgb16", "-c lzw:2", TIFF_PROBE_OWN, TYPE_COLOR48},
    {"rgb16", "-B -c lzw:2 -r 4", TIFF_PROBE_OWN, TYPE_COLOR48},
    // SampleFormat with a value for each sample, all of them unsigned.
    {"rgb8vips", "", TIFF_PROBE_OWN, TYPE_COLOR24},
    {"rgb16vips", "-c lzw:2 -r 4", TIFF_PROBE_OWN, TYPE_COLOR48},
    // Four samples: the fourth (alpha) is dropped.
    {"rgba8", "-c lzw:2", TIFF_PROBE_OWN, TYPE_COLOR24},
    {"rgba16", "-B -c lzw:2", TIFF_PROBE_OWN, TYPE_COLOR48},
    // libtiff: tiles, other compressions, separate planes, palettes, gray with alpha, BigTIFF.
    {"gray1", "-c g4", TIFF_PROBE_LIBRARY, TYPE_BINARY},
    {"gray1", "-t -w 16 -l 16", TIFF_PROBE_LIBRARY, TYPE_BINARY},
    {"gray4", "-c zip", TIFF_PROBE_LIBRARY, TYPE_GRAY8},
    {"gray8", "-t -w 16 -l 16", TIFF_PROBE_LIBRARY, TYPE_GRAY8},
    {"gray8", "-c packbits -r 4", TIFF_PROBE_LIBRARY, TYPE_GRAY8},
    {"gray8", "-8", TIFF_PROBE_LIBRARY, TYPE_GRAY8},
    {"rgb8", "-t -w 16 -l 32", TIFF_PROBE_LIBRARY, TYPE_COLOR24},
    {"rgb8", "-c zip:2", TIFF_PROBE_LIBRARY, TYPE_COLOR24},
    {"rgb8", "-p separate -c zip -r 5", TIFF_PROBE_LIBRARY, TYPE_COLOR24},
    {"rgb8", "-p separate -t -w 16 -l 16", TIFF_PROBE_LIBRARY, TYPE_COLOR24},
    {"rgba8", "-c zip", TIFF_PROBE_LIBRARY, TYPE_COLOR24},
    {"palette4", "", TIFF_PROBE_LIBRARY, TYPE_COLOR24},
    {"palette8", "-c lzw", TIFF_PROBE_LIBRARY, TYPE_COLOR24},
    {"graya8", "", TIFF_PROBE_LIBRARY, TYPE_GRAY8},
    {"graya8", "-p separate -c zip", TIFF_PROBE_LIBRARY, TYPE_GRAY8},
    {"graya16", "-c zip", TIFF_PROBE_LIBRARY, TYPE_GRAY16},
    // A BigTIFF (version 43) keeps its 16 bits through libtiff.
    {"gray16", "-8", TIFF_PROBE_LIBRARY, TYPE_GRAY16},
    {"rgb16", "-8 -c zip", TIFF_PROBE_LIBRARY, TYPE_COLOR48},
    // 16 bits with a tag we refuse after BitsPerSample: neither reader takes it.
    {"rgb16planar", "", TIFF_PROBE_REFUSED, TYPE_EMPTY},
    {"rgb16", "-t -w 16 -l 16", TIFF_PROBE_REFUSED, TYPE_EMPTY},
    {"gray16", "-c zip", TIFF_PROBE_REFUSED, TYPE_EMPTY},
    {"rgb16signed", "", TIFF_PROBE_REFUSED, TYPE_EMPTY},
};

TEST(TiffReader, ReadsToolFilesAsImageMagickDoes)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.ToolFiles");
    for (const ToolCase &c : TOOL_CASES) {
        SCOPED_TRACE(::testing::Message() << c.source << " " << c.options);
        std::string path = ToolFile(folder, c.source, c.options);
        EXPECT_EQ(ProbePath(path), c.probe);
        TestImage image;
        ErrorCode result = ReadPath(path, &image);
        if (c.type == TYPE_EMPTY) {
            EXPECT_EQ(result, ERROR_READ_TIFF);
            EXPECT_EQ(image.type, TYPE_EMPTY);
            EXPECT_EQ(image.rows, nullptr);
            continue;
        }
        ASSERT_EQ(result, ERROR_NONE);
        EXPECT_EQ(image.type, c.type);
        EXPECT_EQ(image.width, TOOL_WIDTH);
        EXPECT_EQ(image.height, TOOL_HEIGHT);
        // tiffcp changes the layout, not the samples: ImageMagick's reading of convert's own
        // file is the reference, which also spares us its mistakes with separate planes.
        std::string source = ToolSource(folder, c.source);
        std::vector<int> expected = ToolSamplesAs(source, c.type);
        if (std::string(c.source).rfind("palette", 0) == 0) {
            // A palette holds 16-bit colors; they become 8 bits by the program's one table.
            expected = ToolSamples(source, 3, 16);
            for (int &sample : expected)
                sample = Depth16To8[sample];
        }
        EXPECT_TRUE(SamplesEqual(expected, ImageSamples(image)));
    }
}

TEST(TiffReader, WhiteIsZeroReadsAsImageMagickDoes)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.WhiteIsZero");
    struct Case {
        const char *source;
        const char *options;
        int type;
    };
    const Case cases[] = {
        {"gray1", "-c none", TYPE_BINARY}, {"gray8", "-c lzw", TYPE_GRAY8},
        {"gray16", "-B", TYPE_GRAY16},     {"gray1", "-c zip", TYPE_BINARY},
        {"gray8", "-c zip", TYPE_GRAY8},   {"gray16", "-8", TYPE_GRAY16},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.source << " " << c.options);
        std::string path = ToolFile(folder, c.source, c.options);
        ASSERT_TRUE(ToolRuns("tiffset -s 262 0 " + Quote(path)));
        TestImage image;
        ASSERT_EQ(ReadPath(path, &image), ERROR_NONE);
        EXPECT_EQ(image.type, c.type);
        std::vector<int> expected = ToolSamplesAs(path, c.type);
        std::vector<int> original = ToolSamplesAs(ToolSource(folder, c.source), c.type);
        ASSERT_EQ(expected.size(), original.size());
        // ImageMagick turns the samples around too: the tag really changed the picture.
        EXPECT_EQ(expected[0], (c.type == TYPE_GRAY16 ? 65535 : 255) - original[0]);
        EXPECT_TRUE(SamplesEqual(expected, ImageSamples(image)));
    }
}

TEST(TiffReader, ReadsFourBitsLowNibbleFirst)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.FourBits");
    // Hand numbers: bytes 0x21 0x03 hold pixels 1, 2, 3 (the fourth nibble is padding).
    TestTiff tiff = TestTiffMake(3, 1, 4, 1, {0x21, 0x03}, 1);
    std::string path = folder + "/three.tif";
    TestWriteFile(path, TestTiffBytes(tiff));
    TestImage image;
    ASSERT_EQ(ReadPath(path, &image), ERROR_NONE);
    EXPECT_EQ(image.type, TYPE_GRAY8);
    EXPECT_TRUE(SamplesEqual({17, 34, 51}, ImageSamples(image)));

    // An ImageMagick file, even width: each pair of pixels comes out exchanged.
    std::string made = folder + "/even.tif";
    PnmWrite(folder + "/even.pgm", 46, 9, 1, 8, 4);
    ASSERT_TRUE(ToolRuns("convert " + Quote(folder + "/even.pgm") + " -depth 4 -compress none " +
                         Quote(made)));
    std::vector<int> tool = ToolSamples(made, 1, 8);
    std::vector<int> expected(tool.size());
    for (size_t i = 0; i < tool.size(); i++)
        expected[i] = tool[i ^ 1];
    ASSERT_EQ(ReadPath(made, &image), ERROR_NONE);
    EXPECT_TRUE(SamplesEqual(expected, ImageSamples(image)));
}

TEST(TiffReader, ReadsJpegWithinItsLoss)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Jpeg");
    for (const char *source : {"smooth8", "smoothgray8"}) {
        SCOPED_TRACE(source);
        std::string path = ToolFile(folder, source, "-c jpeg -r 16");
        EXPECT_EQ(ProbePath(path), TIFF_PROBE_LIBRARY);
        TestImage image;
        ASSERT_EQ(ReadPath(path, &image), ERROR_NONE);
        int channels = std::string(source) == "smooth8" ? 3 : 1;
        EXPECT_EQ(image.type, channels == 3 ? TYPE_COLOR24 : TYPE_GRAY8);
        // The same decoder under ImageMagick gives the same samples; the original differs by
        // what JPEG loses, little on a smooth picture.
        std::vector<int> read = ImageSamples(image);
        EXPECT_TRUE(SamplesEqual(ToolSamples(path, channels, 8), read));
        std::vector<int> original = ToolSamples(ToolSource(folder, source), channels, 8);
        ASSERT_EQ(original.size(), read.size());
        double total = 0;
        for (size_t i = 0; i < read.size(); i++)
            total += std::abs(read[i] - original[i]);
        EXPECT_LT(total / read.size(), 3.0);
    }
}

// Where an orientation of our own reader sends pixel (x, y) of a w by h picture, rows from
// the bottom, as the table of the TIFF reader gives it.
static void OwnOrientation(int orientation, int w, int h, int x, int y, int *dx, int *dy)
{
    switch (orientation) {
    case 2: *dx = w - 1 - x, *dy = y; break;
    case 3: *dx = w - 1 - x, *dy = h - 1 - y; break;
    case 4: *dx = x, *dy = h - 1 - y; break;
    case 5: *dx = y, *dy = x; break;
    case 6: *dx = h - 1 - y, *dy = x; break;
    case 7: *dx = h - 1 - y, *dy = w - 1 - x; break;
    case 8: *dx = y, *dy = w - 1 - x; break;
    default: *dx = x, *dy = y; break;
    }
}

TEST(TiffReader, OrientationsFollowTheReadersTable)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Orientation");
    std::string base = ToolFile(folder, "rgb8", "-c lzw");
    TestImage upright;
    ASSERT_EQ(ReadPath(base, &upright), ERROR_NONE);
    for (int orientation = 1; orientation <= 8; orientation++) {
        SCOPED_TRACE(orientation);
        std::string path = folder + "/orientation" + std::to_string(orientation) + ".tif";
        TestWriteFile(path, TestReadFile(base));
        ASSERT_TRUE(ToolRuns("tiffset -s 274 " + std::to_string(orientation) + " " + Quote(path)));
        EXPECT_EQ(ProbePath(path), TIFF_PROBE_OWN);
        TestImage image;
        ASSERT_EQ(ReadPath(path, &image), ERROR_NONE);
        int swaps = orientation >= 5;
        ASSERT_EQ(image.width, swaps ? upright.height : upright.width);
        ASSERT_EQ(image.height, swaps ? upright.width : upright.height);
        int wrong = 0;
        for (int y = 0; y < upright.height; y++) {
            for (int x = 0; x < upright.width; x++) {
                int dx;
                int dy;
                OwnOrientation(orientation, upright.width, upright.height, x, y, &dx, &dy);
                if (memcmp(upright.rows[y] + 3 * x, image.rows[dy] + 3 * dx, 3) != 0) wrong++;
            }
        }
        EXPECT_EQ(wrong, 0);
    }
}

TEST(TiffReader, LibraryOrientationsShowThePictureAsImageMagickDoes)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.LibraryOrientation");
    std::string base = ToolFile(folder, "rgb8", "-c zip");
    for (int orientation = 1; orientation <= 8; orientation++) {
        SCOPED_TRACE(orientation);
        std::string path = folder + "/orientation" + std::to_string(orientation) + ".tif";
        TestWriteFile(path, TestReadFile(base));
        ASSERT_TRUE(ToolRuns("tiffset -s 274 " + std::to_string(orientation) + " " + Quote(path)));
        TestImage image;
        ASSERT_EQ(ReadPath(path, &image), ERROR_NONE);
        EXPECT_EQ(image.width, orientation >= 5 ? TOOL_HEIGHT : TOOL_WIDTH);
        EXPECT_TRUE(SamplesEqual(ToolSamples(path, 3, 8, "-auto-orient"), ImageSamples(image)));
    }
}

// ---------------------------------------------------------------------------------------------
// Exact cases built byte by byte

static std::string BuiltFile(const std::string &folder, const std::string &name,
                             const TestTiff &tiff)
{
    std::string path = folder + "/" + name + ".tif";
    TestWriteFile(path, TestTiffBytes(tiff));
    return path;
}

TEST(TiffReader, ProbeRefusesVersion43AndLibtiffReadsIt)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Version43");
    std::vector<uint8_t> data = RandomBytes(12 * 5, 1);
    TestTiff tiff = TestTiffMake(12, 5, 8, 1, data, 5);
    tiff.version = 43; // a classic directory under a BigTIFF version: nobody can read it
    std::string path = BuiltFile(folder, "version43", tiff);
    EXPECT_EQ(ProbePath(path), TIFF_PROBE_LIBRARY);
    TestImage image;
    EXPECT_EQ(ReadPath(path, &image), ERROR_READ_TIFF);
    EXPECT_EQ(HeadlessMessageCount(), 0); // libtiff's complaints stay quiet
}

TEST(TiffReader, ProbeDependsOnWhetherBitsPerSampleComesFirst)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.ProbeOrder");
    std::vector<uint8_t> data = RandomBytes(4 * 3 * 6, 2);
    TestTiff sorted = TestTiffMake(4, 3, 16, 3, data, 3);
    sorted.entries.push_back({284, TEST_SHORT, {2}});
    EXPECT_EQ(ProbePath(BuiltFile(folder, "sorted", sorted)), TIFF_PROBE_REFUSED);
    TestImage image;
    EXPECT_EQ(ReadPath(folder + "/sorted.tif", &image), ERROR_READ_TIFF);

    // The same refusal before tag 258: the file goes to libtiff.
    TestTiff unsorted = sorted;
    TestEntry planar = unsorted.entries.back();
    unsorted.entries.pop_back();
    unsorted.entries.insert(unsorted.entries.begin(), planar);
    EXPECT_EQ(ProbePath(BuiltFile(folder, "unsorted", unsorted)), TIFF_PROBE_LIBRARY);
}

TEST(TiffReader, ProbeReadsEverySampleFormatValue)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.SampleFormat");
    struct Case {
        std::vector<uint32_t> formats; // three or four values stand at an offset
        int unsignedSamples;
    } cases[] = {{{1}, 1},       {{1, 1, 1}, 1}, {{1, 1, 1, 1}, 1}, {{1, 1, 3}, 0},
                 {{3, 1, 1}, 0}, {{2, 2, 2}, 0}, {{1, 1, 1, 2}, 0}};
    for (int bits : {8, 16}) {
        std::vector<uint8_t> data = RandomBytes(4 * 3 * 3 * bits / 8, 3);
        for (const Case &c : cases) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, " << c.formats.size()
                                              << " values, the last " << c.formats.back());
            TestTiff tiff = TestTiffMake(4, 3, bits, 3, data, 3);
            tiff.entries.push_back({339, TEST_SHORT, c.formats});
            int refused = bits == 16 ? TIFF_PROBE_REFUSED : TIFF_PROBE_LIBRARY;
            EXPECT_EQ(ProbePath(BuiltFile(folder, "f", tiff)),
                      c.unsignedSamples ? TIFF_PROBE_OWN : refused);
        }
    }
}

TEST(TiffReader, RecomputesWrongByteCountsOfUncompressedStrips)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.ByteCounts");
    std::vector<uint8_t> data = RandomBytes(10 * 6 * 3, 3);
    TestTiff tiff = TestTiffMake(10, 6, 8, 3, data, 3);
    TestTiffEntry(&tiff, 279)->values = {7, 1000};
    std::string path = BuiltFile(folder, "counts", tiff);
    TestImage image;
    ASSERT_EQ(ReadPath(path, &image), ERROR_NONE);
    ASSERT_EQ(image.type, TYPE_COLOR24);
    EXPECT_TRUE(SamplesEqual(std::vector<int>(data.begin(), data.end()), ImageSamples(image)));
}

// A file that ends before its pixels do gives the rows it holds, makes the others black and
// says which they are; without a damage record it is refused. first -1 is a whole picture.
// For a cut LZW stream, the rows it gives depend on its codes: first is then the earliest row
// it may stop in.
TEST(TiffReader, FileThatEndsEarlyGivesItsRowsAndSaysWhichAreMissing)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.EndsEarly");
    struct Case {
        const char *what;
        TestTiff tiff;
        std::vector<uint8_t> rows; // the picture's rows as the whole file holds them
        size_t cut;                // bytes taken off the end of the file
        int first;                 // the missing rows, from the top
        int last;
        int lzw;
    };
    std::vector<Case> cases;
    std::vector<uint8_t> data = RandomBytes(20 * 10, 4);
    TestTiff plain = TestTiffMake(20, 10, 8, 1, data, 10);
    cases.push_back({"strip cut in its ninth row", plain, data, 25, 8, 9, 0});
    TestTiff zeroCount = plain;
    TestTiffEntry(&zeroCount, 279)->values = {0};
    cases.push_back({"byte count 0, whole", zeroCount, data, 0, -1, -1, 0});
    cases.push_back({"byte count 0, cut", zeroCount, data, 25, 8, 9, 0});
    TestTiff atEnd = TestTiffMake(20, 10, 8, 1, data, 5);
    TestTiffEntry(&atEnd, 273)->values = {0, (uint32_t)TestTiffBytes(atEnd).size()};
    cases.push_back({"second strip at the end of the file", atEnd, data, 0, 5, 9, 0});
    // Longer than one read piece, cut before its last piece.
    std::vector<uint8_t> big = RandomBytes(100 * 200, 5);
    cases.push_back({"long strip", TestTiffMake(100, 200, 8, 1, big, 200), big, 12000, 80, 199, 0});
    std::vector<uint8_t> mixed = MixedBytes(40 * 10, 6);
    TestTiff lzw = TestTiffMake(40, 10, 8, 1, mixed, 5);
    TestTiffEntry(&lzw, 259)->values = {5};
    for (auto &strip : lzw.strips)
        strip = LzwEncode(strip, 1);
    TestTiff noEnd = lzw;
    noEnd.strips[1].resize(noEnd.strips[1].size() - 1); // the end code's last bits
    cases.push_back({"LZW without its end code, whole", noEnd, mixed, 0, -1, -1, 1});
    cases.push_back({"LZW cut", lzw, mixed, lzw.strips[1].size() / 2, 5, 9, 1});
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<uint8_t> bytes = TestTiffBytes(c.tiff);
        bytes.resize(bytes.size() - c.cut);
        std::string path = folder + "/short.tif";
        TestWriteFile(path, bytes);
        TestImage image;
        FileDamage damage;
        ASSERT_EQ(ReadPath(path, &image, 0, &damage), ERROR_NONE);
        if (c.lzw && c.first >= 0) {
            EXPECT_GE(damage.first, c.first);
            EXPECT_LE(damage.first, c.last);
        } else {
            EXPECT_EQ(damage.first, c.first);
        }
        EXPECT_EQ(damage.last, c.last);
        EXPECT_EQ(damage.columns, 0);
        std::vector<int> expected(c.rows.begin(), c.rows.end());
        if (damage.first >= 0)
            std::fill(expected.begin() + (size_t)damage.first * image.width, expected.end(), 0);
        EXPECT_TRUE(SamplesEqual(expected, ImageSamples(image)));
        ImageFree(&image);
        EXPECT_EQ(ReadPath(path, &image), damage.first >= 0 ? ERROR_READ_TIFF : ERROR_NONE);
        EXPECT_EQ(image.type, damage.first >= 0 ? TYPE_EMPTY : TYPE_GRAY8);
    }
    EXPECT_EQ(HeadlessMessageCount(), 0); // the file's damage is told by who opened it
}

// A file that another program shortens while we read it gives what a file that ended there
// gives: its rows, the others black and told missing. The new end lies ahead of the rows read
// (a fault in a page still to be touched), in the rows next to be read (a page that gives
// zeros, not a fault), and among the rows already read.
TEST(TiffReader, FileShortenedWhileReadGivesWhatAFileEndingThereGives)
{
    std::string folder = TestOutputFolder("TiffReader.Shortened");
    std::vector<uint8_t> data = RandomBytes(1000 * 100, 14);
    std::vector<uint8_t> bytes = TestTiffBytes(TestTiffMake(1000, 100, 8, 1, data, 1));
    size_t start = bytes.size() - data.size();
    struct Shortening {
        std::string path;
        size_t size;
        int done;
    };
    for (size_t rowsKept : {60500, 11500, 5000}) {
        SCOPED_TRACE(rowsKept);
        Shortening shortening = {folder + "/shortened.tif", start + rowsKept, 0};
        std::string cut = folder + "/cut.tif";
        TestWriteFile(shortening.path, bytes);
        TestWriteFile(cut, std::vector<uint8_t>(bytes.begin(), bytes.begin() + start + rowsKept));
        TestImage expected;
        TestImage image;
        FileDamage expectedDamage;
        FileDamage damage;
        TestStart();
        ASSERT_EQ(ReadPath(cut, &expected, 0, &expectedDamage), ERROR_NONE);
        ASSERT_GE(expectedDamage.first, 0);
        // The reader pumps after each row: the tenth pump comes with ten rows read.
        TestStart();
        HeadlessActAtPump(
            10,
            [](void *context) {
                Shortening *shortening = (Shortening *)context;
                shortening->done = truncate(shortening->path.c_str(), (off_t)shortening->size) == 0;
            },
            &shortening);
        ASSERT_EQ(ReadPath(shortening.path, &image, 0, &damage), ERROR_NONE);
        EXPECT_EQ(shortening.done, 1);
        EXPECT_EQ(damage.first, expectedDamage.first);
        EXPECT_EQ(damage.last, expectedDamage.last);
        EXPECT_TRUE(SamplesEqual(ImageSamples(expected), ImageSamples(image)));
    }
}

// libtiff's files end early as well: of four PackBits strips of five rows, a file cut in the
// third gives the first two, and says that rows 10 to 19 are missing.
TEST(TiffReader, LibraryFileThatEndsEarlyGivesTheStripsItHolds)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.LibraryEndsEarly");
    std::vector<uint8_t> data = MixedBytes(40 * 20, 7);
    TestTiff tiff = TestTiffMake(40, 20, 8, 1, data, 5);
    TestTiffEntry(&tiff, 259)->values = {32773};
    for (auto &strip : tiff.strips) {
        // PackBits at its plainest: runs of up to 128 bytes as they stand, behind their count.
        std::vector<uint8_t> packed;
        for (size_t at = 0; at < strip.size(); at += 128) {
            size_t count = std::min<size_t>(128, strip.size() - at);
            packed.push_back((uint8_t)(count - 1));
            packed.insert(packed.end(), strip.begin() + at, strip.begin() + at + count);
        }
        strip = packed;
    }
    std::vector<uint8_t> bytes = TestTiffBytes(tiff);
    bytes.resize(bytes.size() - tiff.strips[3].size() - tiff.strips[2].size() / 2);
    std::string path = folder + "/cut.tif";
    TestWriteFile(path, bytes);
    EXPECT_EQ(ProbePath(path), TIFF_PROBE_LIBRARY);
    TestImage image;
    FileDamage damage;
    ASSERT_EQ(ReadPath(path, &image, 0, &damage), ERROR_NONE);
    EXPECT_EQ(damage.first, 10);
    EXPECT_EQ(damage.last, 19);
    std::vector<int> expected(data.begin(), data.end());
    std::fill(expected.begin() + 10 * 40, expected.end(), 0);
    EXPECT_TRUE(SamplesEqual(expected, ImageSamples(image)));
    ImageFree(&image);
    EXPECT_EQ(ReadPath(path, &image), ERROR_READ_TIFF);
    EXPECT_EQ(image.type, TYPE_EMPTY);
}

TEST(TiffReader, ResolutionInCentimetresUsesTheProgramsFactor)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Resolution");
    std::vector<uint8_t> data = RandomBytes(4 * 2, 6);
    struct Case {
        const char *name;
        std::vector<TestEntry> entries;
        double resolution;
    };
    const Case cases[] = {
        {"centimetres", {{282, TEST_RATIONAL, {300, 1}}, {296, TEST_SHORT, {3}}}, 762.0015},
        {"inches", {{282, TEST_RATIONAL, {600, 2}}, {296, TEST_SHORT, {2}}}, 300.0},
        {"none", {}, 200.0}, // the default preference
        // A resolution that is no RATIONAL is treated as absent, as is a zero denominator.
        {"short", {{282, TEST_SHORT, {300}}}, 200.0},
        {"zero", {{282, TEST_RATIONAL, {300, 0}}}, 200.0},
        // Only the horizontal resolution counts.
        {"vertical", {{282, TEST_RATIONAL, {150, 1}}, {283, TEST_RATIONAL, {75, 1}}}, 150.0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        TestTiff tiff = TestTiffMake(4, 2, 8, 1, data, 2);
        for (const TestEntry &entry : c.entries)
            tiff.entries.push_back(entry);
        TestImage image;
        ASSERT_EQ(ReadPath(BuiltFile(folder, c.name, tiff), &image), ERROR_NONE);
        EXPECT_DOUBLE_EQ(image.resolution, c.resolution);
    }
}

TEST(TiffReader, LibraryResolutionInCentimetresUsesTheProgramsFactor)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.LibraryResolution");
    std::string path = ToolFile(folder, "gray8", "-c zip");
    ASSERT_TRUE(ToolRuns("tiffset -s 282 300 " + Quote(path)));
    ASSERT_TRUE(ToolRuns("tiffset -s 296 3 " + Quote(path)));
    EXPECT_EQ(ProbePath(path), TIFF_PROBE_LIBRARY);
    TestImage image;
    ASSERT_EQ(ReadPath(path, &image), ERROR_NONE);
    EXPECT_DOUBLE_EQ(image.resolution, 762.0015);
}

TEST(TiffReader, StopsAtRowZeroWhenStripsOutlastTheRows)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.ExtraStrips");
    std::vector<uint8_t> data = RandomBytes(6 * 5, 8);
    TestTiff tiff = TestTiffMake(6, 5, 8, 1, data, 2);         // strips of 2, 2 and 1 rows
    tiff.strips.push_back(RandomBytes(12, 9));                 // and one the rows never reach
    TestTiffEntry(&tiff, 273)->values = {0, 0, 0, 0x7FFFFFF0}; // it even lies past the end
    TestImage image;
    ASSERT_EQ(ReadPath(BuiltFile(folder, "extra", tiff), &image), ERROR_NONE);
    EXPECT_TRUE(SamplesEqual(std::vector<int>(data.begin(), data.end()), ImageSamples(image)));
}

TEST(TiffReader, InvertsBeforeTheHorizontalPredictor)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.InvertPredictor");
    // Row 10, 5, 250 with white as zero and differencing: complemented first to 245, 250, 5,
    // then summed to 245, 239 (495 wrapped), 244.
    TestTiff tiff = TestTiffMake(3, 1, 8, 1, {10, 5, 250}, 1);
    TestTiffEntry(&tiff, 262)->values = {0};
    tiff.entries.push_back({317, TEST_SHORT, {2}});
    TestImage image;
    ASSERT_EQ(ReadPath(BuiltFile(folder, "inverted", tiff), &image), ERROR_NONE);
    EXPECT_TRUE(SamplesEqual({245, 239, 244}, ImageSamples(image)));
    // White-is-zero alone is a plain complement, also for 16 bits.
    TestTiff wide = TestTiffMake(2, 1, 16, 1, {0x00, 0x00, 0x34, 0x12}, 1);
    TestTiffEntry(&wide, 262)->values = {0};
    ASSERT_EQ(ReadPath(BuiltFile(folder, "wide", wide), &image), ERROR_NONE);
    EXPECT_TRUE(SamplesEqual({65535, 65535 - 0x1234}, ImageSamples(image)));
}

TEST(TiffReader, ReadsStripsLargerThanOneBlock)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Blocks");
    // 600000 bytes in one strip: blocks of 512 rows of 1000 bytes, then 88 rows.
    std::vector<uint8_t> data = RandomBytes(1000 * 600, 11);
    TestImage image;
    ASSERT_EQ(
        ReadPath(BuiltFile(folder, "large", TestTiffMake(1000, 600, 8, 1, data, 600)), &image),
        ERROR_NONE);
    EXPECT_TRUE(SamplesEqual(std::vector<int>(data.begin(), data.end()), ImageSamples(image)));
    // Rows of 8 bytes a pixel wider than a block: 70000 pixels of 16-bit RGBA.
    TestTiff wide = TestTiffMake(70000, 1, 16, 4, std::vector<uint8_t>(560000, 1), 1);
    EXPECT_EQ(ReadPath(BuiltFile(folder, "wide", wide), &image), ERROR_READ_TIFF);
    ASSERT_NE(HeadlessLastMessage(), nullptr);
    EXPECT_STREQ(HeadlessLastMessage()->text, "Image is too wide to read");
    // A row wider than a block of picture memory: the picture's creation answers for itself.
    TestTiff tooWide = TestTiffMake(600000, 1, 8, 1, std::vector<uint8_t>(600000, 7), 1);
    EXPECT_EQ(ReadPath(BuiltFile(folder, "toowide", tooWide), &image), ERROR_IMAGE_TOO_WIDE);
    EXPECT_EQ(image.type, TYPE_EMPTY);
}

TEST(TiffReader, PumpsBeforeEveryPieceAndAfterEveryRow)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Pumps");
    // One strip of 20000 bytes: pieces of 8192, 8192 and 3616 bytes, then 200 rows.
    std::vector<uint8_t> data = RandomBytes(100 * 200, 12);
    TestImage image;
    ASSERT_EQ(
        ReadPath(BuiltFile(folder, "pieces", TestTiffMake(100, 200, 8, 1, data, 200)), &image),
        ERROR_NONE);
    EXPECT_EQ(HeadlessPumpCount(), 3 + 200);
    // A strip of at most one piece is one read, without a pump of its own.
    TestStart();
    ASSERT_EQ(ReadPath(BuiltFile(folder, "one", TestTiffMake(100, 20, 8, 1, data, 20)), &image),
              ERROR_NONE);
    EXPECT_EQ(HeadlessPumpCount(), 20);
}

TEST(TiffReader, CancelLeavesTheRowsReadSoFar)
{
    std::vector<uint8_t> data = RandomBytes(10 * 20, 13);
    for (int library : {0, 1}) {
        SCOPED_TRACE(library);
        TestStart();
        std::string folder = TestOutputFolder("TiffReader.Cancel");
        TestTiff tiff = TestTiffMake(10, 20, 8, 1, data, 20);
        std::string path = BuiltFile(folder, "cancel", tiff);
        if (library) {
            ASSERT_TRUE(
                ToolRuns("tiffcp -c zip " + Quote(path) + " " + Quote(folder + "/zip.tif")));
            path = folder + "/zip.tif";
        }
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, TYPE_GRAY8, 10, 20, 72.0), ERROR_NONE);
        for (int y = 0; y < 20; y++)
            memset(image.rows[y], 0xAB, 10);
        HeadlessAbortAtPump(4); // Cancel at the fifth row
        EXPECT_EQ(ReadPath(path, &image, 1), ERROR_ABORTED);
        ASSERT_EQ(image.type, TYPE_GRAY8);
        ASSERT_EQ(image.height, 20);
        for (int r = 0; r < 20; r++) {
            // Rows 19 down to 15 are the first five file rows; the rest keep their old bytes.
            int expected = r < 5 ? data[r * 10 + 3] : 0xAB;
            EXPECT_EQ(image.rows[19 - r][3], expected) << "file row " << r;
        }
        ASSERT_EQ(HeadlessProgressCount(), 1);
        const HeadlessProgressRecord *progress = HeadlessProgressAt(0);
        EXPECT_STREQ(progress->title, "TIFF Read");
        EXPECT_EQ(progress->last.first, 0);
        EXPECT_EQ(progress->last.last, 19);
        EXPECT_EQ(progress->open, 0);
    }
}

TEST(TiffReader, RefusalsShowTheirMessageAndLeaveNoPicture)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Refusals");
    struct Case {
        const char *message; // "" when the refusal is silent
        uint16_t tag;        // the entry to change or add
        uint16_t type;
        std::vector<uint32_t> values;
    };
    const Case cases[] = {
        {"Unsupported subfile type", 255, TEST_SHORT, {2}},
        {"Unsupported tiff compression (must be uncompressed or LZW)", 259, TEST_SHORT, {8}},
        {"Unsupported photometric interpretation", 262, TEST_SHORT, {5}},
        {"Unsupported fill order", 266, TEST_SHORT, {2}},
        {"Unsupported orientation", 274, TEST_SHORT, {9}},
        {"Unsupported samples per pixel", 277, TEST_SHORT, {2}},
        {"Unsupported planar configuration", 284, TEST_SHORT, {2}},
        {"Unsupported Predictor", 317, TEST_SHORT, {3}},
        {"Unsupported grayscale bits/pixel (must be 1, 4, 8, or 16)", 258, TEST_SHORT, {12}},
        {"Unsupported samples/pixel (must be 1 or 3", 258, TEST_SHORT, {8, 8}},
        {"Unsupported color, mixed bits/pixel", 258, TEST_SHORT, {8, 8, 16}},
        {"Unsupported color bits/pixel (must be 8, or 16)", 258, TEST_SHORT, {4, 4, 4}},
        {"Horizontal differencing not supported for binary images", 258, TEST_SHORT, {1}},
        // Tags we must have, and a gray depth under three samples, are refused silently.
        {"", 256, 0, {}},
        {"", 257, 0, {}},
        {"", 258, 0, {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(::testing::Message() << c.tag << " " << c.message);
        TestStart();
        TestTiff tiff = TestTiffMake(8, 4, 8, 1, RandomBytes(32, 14), 4);
        TestEntry *entry = TestTiffEntry(&tiff, c.tag);
        if (c.type == 0) {
            tiff.entries.erase(tiff.entries.begin() + (entry - tiff.entries.data()));
        } else if (entry != nullptr) {
            entry->type = c.type;
            entry->values = c.values;
        } else {
            tiff.entries.push_back({c.tag, c.type, c.values});
        }
        if (std::string(c.message).find("Horizontal") == 0)
            tiff.entries.push_back({317, TEST_SHORT, {2}});
        std::string path = BuiltFile(folder, "refused", tiff);
        TestImage image;
        ASSERT_EQ(ImageAlloc(&image, TYPE_COLOR24, 3, 3, 72.0), ERROR_NONE);
        EXPECT_EQ(DecodePath(path, &image), ERROR_READ_TIFF);
        EXPECT_EQ(image.type, TYPE_EMPTY);
        EXPECT_EQ(image.rows, nullptr);
        if (c.message[0] == 0) {
            EXPECT_EQ(HeadlessMessageCount(), 0);
        } else {
            ASSERT_EQ(HeadlessMessageCount(), 1);
            EXPECT_STREQ(HeadlessLastMessage()->title, "Error");
            EXPECT_STREQ(HeadlessLastMessage()->text, c.message);
        }
    }
}

TEST(TiffReader, RefusesBadHeadersAndMissingByteCounts)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReader.Headers");
    TestTiff tiff = TestTiffMake(8, 4, 8, 1, RandomBytes(32, 15), 2);
    std::vector<uint8_t> good = TestTiffBytes(tiff);
    struct Case {
        const char *message;
        std::vector<uint8_t> bytes;
    };
    std::vector<Case> cases;
    cases.push_back({"Illegal TIFF signature", good});
    cases.back().bytes[1] = 'M';
    cases.push_back({"Illegal TIFF signature", good});
    cases.back().bytes[0] = cases.back().bytes[1] = 'X';
    cases.push_back({"Illegal TIFF version number", good});
    cases.back().bytes[2] = 41;
    cases.push_back(
        {"Error reading tiff file header", std::vector<uint8_t>(good.begin(), good.begin() + 6)});
    cases.push_back({"Error reading tiff file header", good});
    cases.back().bytes[4] = 0xF0; // the directory lies past the end
    TestTiff noCounts = tiff;
    noCounts.entries.erase(noCounts.entries.begin() + 8);
    cases.push_back(
        {"Strip byte counts required but not specified in TIFF header", TestTiffBytes(noCounts)});
    for (const Case &c : cases) {
        SCOPED_TRACE(c.message);
        TestStart();
        std::string path = folder + "/header.tif";
        TestWriteFile(path, c.bytes);
        TestImage image;
        EXPECT_EQ(DecodePath(path, &image), ERROR_READ_TIFF);
        ASSERT_NE(HeadlessLastMessage(), nullptr);
        EXPECT_STREQ(HeadlessLastMessage()->text, c.message);
    }
}

// ---------------------------------------------------------------------------------------------
// Damaged files

// The kept damaged files that still give a picture, with the rows each must say are missing
// (none for a whole picture; with missing rows, a read without a damage record refuses the
// file). Every other kept tiff- file gets ERROR_READ_TIFF.
struct Readable {
    const char *name;
    int missingFirst;
    int missingLast;
};

const Readable HOSTILE_READABLE[] = {
    // The one strip of 8 rows of 8 bytes starts at 142: a cut at 150 keeps its first row.
    {"tiff-truncated-at-150", 1, 3},
    {"tiff-truncated-in-strip", 0, 3},
    {"tiff-truncated-at-strip-start", 0, 3},
    {"tiff-strip-offset-past-eof", 0, 3},
    {"tiff-strip-offsets-past-eof", 2, 3},
    {"tiff-huge-rows-per-strip-two-strips", -1, -1},
    {"tiff-huge-rows-per-strip", -1, -1},
    {"tiff-rows-per-strip-zero", -1, -1},
    {"tiff-lzw-byte-count-past-eof", -1, -1},
    {"tiff-rational-zero-denominator", -1, -1},
    {"tiff-palette-without-colormap", -1, -1}, // libtiff reads it as gray
    // A StripOffsets table, then a second entry with one offset: the last one holds.
    {"tiff-single-strip-offset-after-a-table", -1, -1},
};
const int HOSTILE_COUNT = 41;

// The row source of vistel-cli's streaming refuses what the decoder cannot read whole, and
// gives every row of what it takes as the decoder does. Returns 1 when it took the file.
static int ExpectRowSourceAgrees(const std::string &path, const Image *decoded, int whole)
{
    TiffRowSource source;
    if (TiffRowSourceOpen(path.c_str(), &source) != ERROR_NONE) return 0;
    EXPECT_TRUE(whole);
    if (whole) {
        EXPECT_EQ(source.type, decoded->type);
        EXPECT_EQ(source.width, decoded->width);
        EXPECT_EQ(source.height, decoded->height);
    }
    if (whole && source.height == decoded->height) {
        std::vector<uint8_t> row((size_t)decoded->rowBytes);
        for (int y = 0; y < source.height; y++) {
            TiffRowSourceUnpack(&source, TiffRowSourceRow(&source, y), row.data());
            EXPECT_EQ(memcmp(row.data(), decoded->rows[decoded->height - 1 - y],
                             (size_t)source.fileRowBytes),
                      0)
                << "row " << y;
        }
    }
    TiffRowSourceClose(&source);
    return 1;
}

TEST(TiffReaderHostile, EveryKeptFileGetsItsCode)
{
    TestStart();
    std::string folder = TestDataPath("hostile");
    DIR *directory = opendir(folder.c_str());
    ASSERT_NE(directory, nullptr);
    int count = 0;
    int streamed = 0; // files the row source took
    while (struct dirent *entry = readdir(directory)) {
        std::string name = entry->d_name;
        if (name.rfind("tiff-", 0) != 0) continue;
        SCOPED_TRACE(name);
        count++;
        const Readable *readable = nullptr;
        for (const Readable &r : HOSTILE_READABLE)
            if (name == std::string(r.name) + ".tif") readable = &r;
        std::string path = folder + "/" + name;
        TestImage image;
        FileDamage damage;
        ErrorCode result = ReadPath(path, &image, 0, &damage);
        streamed += ExpectRowSourceAgrees(path, &image,
                                          result == ERROR_NONE && readable != nullptr &&
                                              readable->missingFirst < 0);
        if (readable == nullptr) {
            EXPECT_EQ(result, ERROR_READ_TIFF);
            EXPECT_EQ(image.type, TYPE_EMPTY);
            continue;
        }
        ASSERT_EQ(result, ERROR_NONE);
        EXPECT_EQ(damage.first, readable->missingFirst);
        EXPECT_EQ(damage.last, readable->missingLast);
        // A picture is never larger than its file can fill.
        EXPECT_TRUE(ImageIsPicture(image.type));
        EXPECT_LE((int64_t)image.rowBytes * image.height,
                  (int64_t)TestReadFile(path).size() * 2048 * 4 + 65536);
        ImageFree(&image);
        EXPECT_EQ(ReadPath(path, &image),
                  readable->missingFirst >= 0 ? ERROR_READ_TIFF : ERROR_NONE);
    }
    closedir(directory);
    EXPECT_EQ(count, HOSTILE_COUNT);
    EXPECT_GE(streamed, 1);
}

// ReadTiffFile as the shared damage check calls a reader.
static ErrorCode ReadTiffPicture(const char *path, Picture *window, int showProgress,
                                 FileDamage *damage)
{
    return ReadTiffFile(path, &window->image, showProgress, damage);
}

TEST(TiffReaderHostile, TruncatedAndCorruptedFilesGiveCodes)
{
    TestStart();
    std::string folder = TestOutputFolder("TiffReaderHostile.Damage");
    const struct {
        const char *source;
        const char *options;
    } files[] = {
        // Our reader: LZW 16-bit color in strips with predictor, and plain 8-bit gray.
        {"rgb16", "-c lzw:2 -r 8"},
        {"gray8", "-c none -r 8"},
        // libtiff: tiles with Deflate, separate planes, a palette.
        {"rgb8", "-t -w 16 -l 16 -c zip"},
        {"rgb8", "-p separate -c packbits"},
        {"palette4", "-c zip"},
    };
    for (const auto &file : files) {
        SCOPED_TRACE(::testing::Message() << file.source << " " << file.options);
        std::vector<uint8_t> good = TestReadFile(ToolFile(folder, file.source, file.options));
        // A picture is never larger than its file can fill.
        int readable = raster_test::DamageEverywhere(folder, good, ReadTiffPicture, ERROR_READ_TIFF,
                                                     5, (int64_t)good.size() * 2048 * 4 + 65536);
        EXPECT_GT(readable, 0); // flips in pixel data still read
    }
    EXPECT_EQ(HeadlessProgressCount(), 0);
}
