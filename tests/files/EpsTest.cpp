// Tests of the EPS writer. Ghostscript renders what we write back into pixels at the
// picture's own resolution, where each sample of the picture is one device pixel, and those
// pixels must be the picture's exactly; its bbox device measures the marks on the page, which
// must agree with the bounding box we declare.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "core/Preferences.h"
#include "files/Eps.h"
#include "files/FileType.h"
#include "platform/headless/Headless.h"
#include "tests/files/FormatToolSupport.h"

class Eps : public FolderTest {
  protected:
    // Renders an EPS file on a page of its bounding box at a resolution, into a PPM file.
    ::testing::AssertionResult Render(const std::string &eps, double resolution,
                                      const std::string &ppm)
    {
        return ToolRuns("gs -q -dSAFER -dBATCH -dNOPAUSE -dEPSCrop -r" +
                        std::to_string(resolution) + " -sDEVICE=ppmraw -sOutputFile=" + Quote(ppm) +
                        " " + Quote(eps));
    }
};

// The lines of a text file.
static std::vector<std::string> Lines(const std::string &path)
{
    std::vector<uint8_t> bytes = TestReadFile(path);
    std::vector<std::string> lines;
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// The value of a DSC comment such as "%%BoundingBox:", or "".
static std::string Comment(const std::vector<std::string> &lines, const std::string &key)
{
    for (const std::string &line : lines)
        if (line.rfind(key, 0) == 0) return line.substr(key.size() + 1);
    return "";
}

TEST_F(Eps, GhostscriptRendersEveryTypeBackToItsPixels)
{
    struct Case {
        int type;
        int w;
        int h;
        double resolution; // width * 72 / resolution points wide, a whole number here
    };
    const Case cases[] = {
        {TYPE_BINARY, 72, 9, 72.0},    {TYPE_BINARY, 13, 5, 72.0},   {TYPE_BINARY, 50, 25, 300.0},
        {TYPE_GRAY8, 1, 1, 72.0},      {TYPE_GRAY8, 7, 3, 72.0},     {TYPE_GRAY8, 50, 75, 300.0},
        {TYPE_COLOR24, 5, 2, 72.0},    {TYPE_COLOR24, 61, 47, 72.0}, {TYPE_COLOR24, 100, 50, 300.0},
        {TYPE_COLOR24, 36, 18, 144.0},
    };
    int seed = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(std::to_string(c.type) + " " + std::to_string(c.w) + "x" +
                     std::to_string(c.h) + " at " + std::to_string(c.resolution));
        TestWindow window = PictureWindow(c.type, c.w, c.h, c.resolution, ++seed);
        ASSERT_EQ(SaveEpsFile(Path("out.eps").c_str(), window), ERROR_NONE);
        ASSERT_TRUE(Render(Path("out.eps"), c.resolution, Path("out.ppm")));
        int channels = c.type == TYPE_COLOR24 ? 3 : 1;
        std::vector<int> rendered = ToolSamples(Path("out.ppm"), channels, 8);
        EXPECT_TRUE(SamplesEqual(ImageSamples(window->image), rendered));
    }
}

TEST_F(Eps, TheBoundingBoxComesFromTheResolution)
{
    struct Case {
        int w;
        int h;
        double resolution;
        const char *box;
        const char *exact;
    };
    const Case cases[] = {
        {100, 50, 72.0, "0 0 100 50", "0 0 100.0000 50.0000"},
        {300, 150, 300.0, "0 0 72 36", "0 0 72.0000 36.0000"},
        // 37 * 72 / 300 = 8.88 and 11 * 72 / 300 = 2.64 points: the box rounds out.
        {37, 11, 300.0, "0 0 9 3", "0 0 8.8800 2.6400"},
        // 1 * 72 / 7 = 10.2857... points.
        {1, 7, 7.0, "0 0 11 72", "0 0 10.2857 72.0000"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.box);
        TestWindow window = PictureWindow(TYPE_GRAY8, c.w, c.h, c.resolution, 1);
        ASSERT_EQ(SaveEpsFile(Path("box.eps").c_str(), window), ERROR_NONE);
        std::vector<std::string> lines = Lines(Path("box.eps"));
        EXPECT_EQ(Comment(lines, "%%BoundingBox:"), c.box);
        EXPECT_EQ(Comment(lines, "%%HiResBoundingBox:"), c.exact);
        // Ghostscript's bbox device measures the marks on the page at its own fine
        // resolution; the exact box we declare must match them to a fiftieth of a point.
        std::string measured;
        ASSERT_EQ(TestRun("gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=bbox " +
                              Quote(Path("box.eps")) + " 2>&1",
                          &measured),
                  0);
        double marks[4] = {-1, -1, -1, -1};
        size_t at = measured.find("%%HiResBoundingBox:");
        ASSERT_NE(at, std::string::npos) << measured;
        ASSERT_EQ(sscanf(measured.c_str() + at, "%%%%HiResBoundingBox: %lf %lf %lf %lf", &marks[0],
                         &marks[1], &marks[2], &marks[3]),
                  4);
        EXPECT_NEAR(marks[0], 0.0, 0.02);
        EXPECT_NEAR(marks[1], 0.0, 0.02);
        EXPECT_NEAR(marks[2], c.w * 72.0 / c.resolution, 0.02);
        EXPECT_NEAR(marks[3], c.h * 72.0 / c.resolution, 0.02);
        double w = 0.0, h = 0.0;
        EpsPageSize(&window->image, &w, &h);
        EXPECT_NEAR(w, c.w * 72.0 / c.resolution, 1e-9);
        EXPECT_NEAR(h, c.h * 72.0 / c.resolution, 1e-9);
    }
    // A picture without a resolution takes the one of the preferences.
    TestWindow window = PictureWindow(TYPE_GRAY8, 30, 30, 0.0, 1);
    double saved = Prefs.defaultResolution;
    Prefs.defaultResolution = 144.0;
    ASSERT_EQ(SaveEpsFile(Path("none.eps").c_str(), window), ERROR_NONE);
    Prefs.defaultResolution = saved;
    EXPECT_EQ(Comment(Lines(Path("none.eps")), "%%BoundingBox:"), "0 0 15 15");
}

TEST_F(Eps, TheFileFollowsTheDocumentStructuringConventions)
{
    TestWindow window = PictureWindow(TYPE_COLOR24, 97, 41, 200.0, 3);
    ASSERT_EQ(SaveEpsFile(Path("Harbour (dawn).eps").c_str(), window), ERROR_NONE);
    std::vector<std::string> lines = Lines(Path("Harbour (dawn).eps"));
    ASSERT_GE(lines.size(), 12u);
    EXPECT_EQ(lines[0], "%!PS-Adobe-3.0 EPSF-3.0");
    EXPECT_EQ(Comment(lines, "%%Title:"), "Harbour (dawn).eps");
    EXPECT_EQ(Comment(lines, "%%LanguageLevel:"), "2");
    EXPECT_EQ(Comment(lines, "%%DocumentData:"), "Clean7Bit");
    EXPECT_EQ(lines.back(), "%%EOF");
    bool data = false;
    for (const std::string &line : lines) {
        EXPECT_LE(line.size(), 255u);
        for (char c : line)
            ASSERT_TRUE(c >= 32 && c < 127) << line;
        if (data) {
            EXPECT_NE(line[0], '%') << "a data line that reads as a comment: " << line;
        }
        if (line.find("colorimage") != std::string::npos) data = true;
        if (line.find("~>") != std::string::npos) data = false;
    }
}

TEST_F(Eps, SamplesAreAscii85WithZeroGroupsShortened)
{
    // Eight black samples are two groups of four zero bytes, each written as "z"; one more
    // sample is a partial group of one byte, written as two characters.
    TestWindow window = EmptyWindow();
    ASSERT_EQ(ImageAlloc(&window->image, TYPE_GRAY8, 9, 1, 72.0), ERROR_NONE);
    for (int x = 0; x < 9; x++)
        window->image.rows[0][x] = 0;
    window->image.rows[0][8] = 255; // 0xFF000000 in the last group: "rr" after the cut
    ASSERT_EQ(SaveEpsFile(Path("zero.eps").c_str(), window), ERROR_NONE);
    std::vector<std::string> lines = Lines(Path("zero.eps"));
    bool found = false;
    for (size_t i = 0; i + 1 < lines.size(); i++)
        if (lines[i].find("image") != std::string::npos && lines[i + 1] == "zzrr~>") found = true;
    EXPECT_TRUE(found);
    ASSERT_TRUE(Render(Path("zero.eps"), 72.0, Path("zero.ppm")));
    EXPECT_TRUE(SamplesEqual(ImageSamples(window->image), ToolSamples(Path("zero.ppm"), 1, 8)));
}
