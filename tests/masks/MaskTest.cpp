// The mask operations against numbers worked by hand on small masks, and the coverage that
// every operation must leave exact.
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <vector>

#include "core/Picture.h"
#include "core/WholeImage.h"
#include "files/FileType.h"
#include "masks/Mask.h"
#include "tests/support/TestSupport.h"
#include "tests/transforms/PictureTestSupport.h"

namespace {

// A gray mask from rows written top row first, as one reads them.
struct Mask {
    Image image{};
    std::vector<uint8_t> coverage;
    Mask(int width, const std::vector<std::vector<int>> &topDown)
    {
        int height = (int)topDown.size();
        EXPECT_EQ(ImageAlloc(&image, TYPE_GRAY8, width, height, 100.0), ERROR_NONE);
        for (int i = 0; i < height; i++)
            for (int x = 0; x < width; x++)
                image.rows[height - 1 - i][x] = (uint8_t)topDown[i][x];
        coverage.resize(height);
        MaskCoverage(&image, coverage.data());
    }
    Mask(int width, int height, int value)
        : Mask(width, std::vector<std::vector<int>>(height, std::vector<int>(width, value)))
    {
    }
    ~Mask()
    {
        ImageFree(&image);
    }
    std::vector<std::vector<int>> TopDown() const
    {
        std::vector<std::vector<int>> rows(image.height);
        for (int i = 0; i < image.height; i++)
            rows[i].assign(image.rows[image.height - 1 - i],
                           image.rows[image.height - 1 - i] + image.width);
        return rows;
    }
    // The coverage must be what a scan of every row says.
    void ExpectCoverageExact() const
    {
        std::vector<uint8_t> scanned(image.height);
        MaskCoverage(&image, scanned.data());
        EXPECT_EQ(coverage, scanned);
    }
};

using Rows = std::vector<std::vector<int>>;

TEST(Mask, ClassifyRowLooksAtTheFirstPixelThenScans)
{
    struct Case {
        std::vector<uint8_t> row;
        uint8_t coverage;
    } cases[] = {
        {{0, 0, 0}, COVERAGE_EMPTY},   {{255, 255, 255}, COVERAGE_FULL},
        {{0, 0, 1}, COVERAGE_PARTIAL}, {{255, 255, 254}, COVERAGE_PARTIAL},
        {{0, 255}, COVERAGE_PARTIAL},  {{128, 128}, COVERAGE_PARTIAL},
        {{255}, COVERAGE_FULL},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.row));
        EXPECT_EQ(ClassifyRow(c.row.data(), (int)c.row.size()), c.coverage);
    }
}

TEST(Mask, FillAndInvertKeepCoverageWithoutAScan)
{
    TestStart();
    Mask mask(3, {{0, 0, 0}, {255, 255, 255}, {0, 128, 255}});
    MaskInvert(&mask.image, mask.coverage.data());
    EXPECT_EQ(mask.TopDown(), (Rows{{255, 255, 255}, {0, 0, 0}, {255, 127, 0}}));
    EXPECT_EQ(mask.coverage,
              (std::vector<uint8_t>{COVERAGE_PARTIAL, COVERAGE_EMPTY, COVERAGE_FULL}));
    mask.ExpectCoverageExact();
    MaskFill(&mask.image, 255, mask.coverage.data());
    EXPECT_EQ(mask.TopDown(), (Rows(3, {255, 255, 255})));
    mask.ExpectCoverageExact();
    MaskFill(&mask.image, 0, mask.coverage.data());
    EXPECT_EQ(mask.TopDown(), (Rows(3, {0, 0, 0})));
    mask.ExpectCoverageExact();
}

// One pixel in a 5 x 5 mask feathered by 1: the stamp's cells lie at distance 0, 0.5 and
// 0.707 of the reach w + 1 = 2. Gradual and round gives 255, (1 - 0.5) 255 = 127.5 -> 128 and
// (1 - 0.7071) 255 = 74.7 -> 75; square corners lie at 0.5 too; a step is 255 within reach.
TEST(Mask, FeatherStampsHandWorkedValues)
{
    TestStart();
    const Rows dot = {
        {0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {0, 0, 255, 0, 0}, {0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}};
    auto around = [](int centre, int edge, int corner) {
        return Rows{{0, 0, 0, 0, 0},
                    {0, corner, edge, corner, 0},
                    {0, edge, centre, edge, 0},
                    {0, corner, edge, corner, 0},
                    {0, 0, 0, 0, 0}};
    };
    struct Case {
        const char *name;
        int centre;
        int width, falloff, corners;
        Rows expected;
    } cases[] = {
        {"gradual round", 255, 1, FEATHER_GRADUAL, FEATHER_ROUND, around(255, 128, 75)},
        {"gradual square", 255, 1, FEATHER_GRADUAL, FEATHER_SQUARE, around(255, 128, 128)},
        {"step round", 255, 1, FEATHER_STEP, FEATHER_ROUND, around(255, 255, 255)},
        {"step square", 255, 1, FEATHER_STEP, FEATHER_SQUARE, around(255, 255, 255)},
        // A partial pixel stamps LerpTable[stamp][p]: (255 * 128 + 127) / 255 = 128,
        // (128 * 128 + 127) / 255 = 64, (75 * 128 + 127) / 255 = 38.
        {"partial pixel", 128, 1, FEATHER_GRADUAL, FEATHER_ROUND, around(128, 64, 38)},
        // Width 2 reaches 3: offsets 1 and 2 along an axis give 170 and 85, diagonally
        // (1 - 0.471) 255 = 135, (1 - 0.745) 255 = 65 and (1 - 0.943) 255 = 15.
        {"width 2", 255, 2, FEATHER_GRADUAL, FEATHER_ROUND,
         Rows{{15, 65, 85, 65, 15},
              {65, 135, 170, 135, 65},
              {85, 170, 255, 170, 85},
              {65, 135, 170, 135, 65},
              {15, 65, 85, 65, 15}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Rows input = dot;
        input[2][2] = c.centre;
        Mask source(5, input);
        Mask destination(5, 5, 9);
        std::vector<uint8_t> coverage = source.coverage;
        ASSERT_EQ(MaskFeather(&source.image, &destination.image, c.width, c.falloff, c.corners,
                              coverage.data()),
                  ERROR_NONE);
        EXPECT_EQ(destination.TopDown(), c.expected);
        destination.coverage = coverage;
        destination.ExpectCoverageExact();
    }
}

// Contracting is expanding the inverse, inverted: a hole of 0 in a field of 255 narrowed by 1
// leaves 0, 255 - 128 and 255 - 75; a hole of 127 lacks 128 of 255, and leaves
// 255 - (128, 64, 38).
TEST(Mask, FeatherContractsWithTheInverseStamp)
{
    TestStart();
    auto around = [](int centre, int edge, int corner) {
        return Rows{{255, 255, 255, 255, 255},
                    {255, corner, edge, corner, 255},
                    {255, edge, centre, edge, 255},
                    {255, corner, edge, corner, 255},
                    {255, 255, 255, 255, 255}};
    };
    for (auto [hole, expected] :
         {std::pair{0, around(0, 127, 180)}, {127, around(127, 191, 217)}}) {
        SCOPED_TRACE(hole);
        Mask source(5, around(hole, 255, 255));
        Mask destination(5, 5, 9);
        ASSERT_EQ(MaskFeather(&source.image, &destination.image, -1, FEATHER_GRADUAL, FEATHER_ROUND,
                              source.coverage.data()),
                  ERROR_NONE);
        EXPECT_EQ(destination.TopDown(), expected);
    }
}

// Rows of coverage 0 (1 when contracting) are skipped after the fill, so an empty mask stays
// empty and a full one full, at any width; width 0 copies.
TEST(Mask, FeatherOfUniformMasksAndWidthZero)
{
    TestStart();
    for (int value : {0, 255}) {
        for (int width : {-FEATHER_WIDTH_MAX, -3, 0, 3, FEATHER_WIDTH_MAX}) {
            SCOPED_TRACE(testing::Message() << value << " by " << width);
            Mask source(7, 4, value);
            Mask destination(7, 4, 9);
            std::vector<uint8_t> coverage = source.coverage;
            ASSERT_EQ(MaskFeather(&source.image, &destination.image, width, FEATHER_GRADUAL,
                                  FEATHER_ROUND, coverage.data()),
                      ERROR_NONE);
            EXPECT_EQ(destination.TopDown(), (Rows(4, std::vector<int>(7, value))));
            EXPECT_EQ(coverage, source.coverage);
        }
    }
    Mask source(3, {{1, 2, 3}});
    Mask destination(3, 1, 0);
    std::vector<uint8_t> coverage = source.coverage;
    EXPECT_EQ(MaskFeather(&source.image, &destination.image, FEATHER_WIDTH_MAX + 1, FEATHER_GRADUAL,
                          FEATHER_ROUND, coverage.data()),
              ERROR_INTERNAL_1);
}

// Rows [0 0 255 0 0] blurred by 1: the first pass gives 0, 85, 85, 85, 0 (the ends divide by
// the two samples they have), the second (0 + 85) / 2 = 42, 170 / 3 = 56 and 85.
TEST(Mask, BlurRunsTwiceAlongRowsAndColumnsWithShrinkingEnds)
{
    TestStart();
    struct Case {
        const char *name;
        int width, radius;
        Rows input, expected;
    } cases[] = {
        {"row", 5, 1, {{0, 0, 255, 0, 0}}, {{42, 56, 85, 56, 42}}},
        {"column", 1, 1, {{0}, {0}, {255}, {0}, {0}}, {{42}, {56}, {85}, {56}, {42}}},
        // A radius beyond the line: every window is the whole line, 255 / 3 = 85 twice.
        {"radius past the ends", 3, 50, {{0, 255, 0}}, {{85, 85, 85}}},
        // Centre row: 127 85 127, then 106 113 106; down column 0 (0 106 0): 53 35 53, then
        // 44 47 44; column 1 (0 113 0): 56 37 56, then 46 49 46.
        {"both ways",
         3,
         1,
         {{0, 0, 0}, {0, 255, 0}, {0, 0, 0}},
         {{44, 46, 44}, {47, 49, 47}, {44, 46, 44}}},
        {"radius 0 copies", 3, 0, {{1, 2, 3}}, {{1, 2, 3}}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Mask source(c.width, c.input);
        Mask destination(c.width, (int)c.input.size(), 9);
        std::vector<uint8_t> coverage = source.coverage;
        ASSERT_EQ(MaskBlur(&source.image, &destination.image, c.radius, coverage.data()),
                  ERROR_NONE);
        EXPECT_EQ(destination.TopDown(), c.expected);
        destination.coverage = coverage;
        destination.ExpectCoverageExact();
    }
}

// The blur keeps its running sums down the columns in rings of rows; against a plain blur of
// each column on its own, over heights below, at and above the ring.
TEST(Mask, BlurColumnsMatchAPlainBlurOfEachLine)
{
    TestStart();
    auto boxTwice = [](std::vector<int> line, int r) {
        for (int pass = 0; pass < 2; pass++) {
            std::vector<int> out(line.size());
            for (int i = 0; i < (int)line.size(); i++) {
                int sum = 0, count = 0;
                for (int k = i - r; k <= i + r; k++)
                    if (k >= 0 && k < (int)line.size()) sum += line[k], count++;
                out[i] = sum / count;
            }
            line = out;
        }
        return line;
    };
    // 23 rows hold a block of sixteen that are turned sixteen columns at a time, and rows and
    // columns left over; a radius of 63 has windows of up to 127, the most that 16-bit sums
    // serve.
    for (int radius : {1, 2, 7, 63}) {
        for (int height : {1, 3, 2 * radius + 1, 2 * radius + 2, 23}) {
            int width = height == 23 ? 37 + 3 * radius : 6;
            SCOPED_TRACE(testing::Message() << "radius " << radius << ", height " << height);
            Mask source(width, height, 0);
            TestFillPattern(&source.image, radius * 31 + height);
            Rows expected = source.TopDown();
            for (auto &row : expected)
                row = boxTwice(row, radius);
            for (int x = 0; x < width; x++) {
                std::vector<int> column(height);
                for (int y = 0; y < height; y++)
                    column[y] = expected[y][x];
                column = boxTwice(column, radius);
                for (int y = 0; y < height; y++)
                    expected[y][x] = column[y];
            }
            Mask destination(width, height, 0);
            std::vector<uint8_t> coverage(height);
            ASSERT_EQ(MaskBlur(&source.image, &destination.image, radius, coverage.data()),
                      ERROR_NONE);
            EXPECT_EQ(destination.TopDown(), expected);
        }
    }
}

// m = 0, 100, 255 against s = 128 by each mode.
TEST(Mask, CombineModesWithAGrayAndWithAPicture)
{
    TestStart();
    struct Case {
        int mode;
        std::vector<int> expected;
    } cases[] = {
        {COMBINE_ADD, {128, 128, 255}},
        {COMBINE_SUBTRACT, {0, 0, 127}},
        {COMBINE_OVERLAP, {0, 100, 128}},
        {COMBINE_INVERT, {128, 100 ^ 128, 127}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.mode);
        Mask byGray(3, {{0, 100, 255}});
        ASSERT_EQ(MaskCombine(&byGray.image, nullptr, 128, c.mode, byGray.coverage.data()),
                  ERROR_NONE);
        EXPECT_EQ(byGray.TopDown(), (Rows{c.expected}));
        byGray.ExpectCoverageExact();
        Mask byPicture(3, {{0, 100, 255}});
        Mask with(3, 1, 128);
        ASSERT_EQ(MaskCombine(&byPicture.image, &with.image, 0, c.mode, byPicture.coverage.data()),
                  ERROR_NONE);
        EXPECT_EQ(byPicture.TopDown(), (Rows{c.expected}));
    }
}

// Add leaves full rows, Subtract and Overlap empty rows: a row whose coverage says so is not
// visited, which shows when the coverage (wrongly) disagrees with the pixels.
TEST(Mask, CombineSkipsTheRowsItCannotChange)
{
    TestStart();
    struct Case {
        int mode;
        uint8_t claimed;
        int expected;
    } cases[] = {
        {COMBINE_ADD, COVERAGE_FULL, 7},      {COMBINE_SUBTRACT, COVERAGE_EMPTY, 7},
        {COMBINE_OVERLAP, COVERAGE_EMPTY, 7}, {COMBINE_INVERT, COVERAGE_FULL, 7 ^ 200},
        {COMBINE_ADD, COVERAGE_EMPTY, 200},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.mode);
        Mask mask(2, 1, 7);
        mask.coverage[0] = c.claimed;
        ASSERT_EQ(MaskCombine(&mask.image, nullptr, 200, c.mode, mask.coverage.data()), ERROR_NONE);
        EXPECT_EQ(mask.image.rows[0][0], c.expected);
    }
}

TEST(Mask, AreaCountsPartialPixelsAndShowsTwoLines)
{
    TestStart();
    Mask mask(2, {{255, 128}});
    EXPECT_DOUBLE_EQ(MaskArea(&mask.image), 1.0 + 128.0 / 255.0);
    char text[100];
    MaskAreaText(&mask.image, text, sizeof text);
    EXPECT_STREQ(text, "1.50 pixels\n75.10 percent coverage");
}

// vistel-cli mask: each operation on a mask file gives what the operation gives on the
// picture, and "area" prints the two lines; a colour picture, a combining mask of another
// size and a width out of range are refused with no output.
TEST(Mask, TheCliRunsEachOperation)
{
    TestStart();
    std::string folder = TestOutputFolder("MaskCli");
    auto save = [](const std::string &path, const Image &image) {
        Picture picture;
        PictureReset(&picture);
        ASSERT_EQ(ImageDuplicate(&image, &picture.image), ERROR_NONE);
        EXPECT_EQ(FileSave(path.c_str(), FILE_SAVE_TIFF, &picture, 90), ERROR_NONE);
        PictureFree(&picture);
    };
    Mask input(9, {{0, 0, 0, 0, 0, 0, 0, 0, 0},
                   {0, 0, 255, 255, 255, 0, 0, 0, 0},
                   {0, 0, 255, 255, 255, 0, 0, 60, 0},
                   {0, 0, 0, 0, 0, 0, 0, 0, 0},
                   {0, 0, 0, 0, 0, 0, 0, 0, 0}});
    Mask other(9, 5, 100);
    Mask small(8, 5, 100);
    save(folder + "/in.tif", input.image);
    save(folder + "/other.tif", other.image);
    save(folder + "/small.tif", small.image);
    struct Case {
        const char *command;
        std::function<void(Mask &)> expected;
    } cases[] = {
        {"feather --width 2 --corners 1",
         [&](Mask &m) {
             Mask source(9, input.TopDown());
             MaskFeather(&source.image, &m.image, 2, FEATHER_GRADUAL, FEATHER_SQUARE,
                         source.coverage.data());
         }},
        {"feather --width=-1 --falloff 1",
         [&](Mask &m) {
             Mask source(9, input.TopDown());
             MaskFeather(&source.image, &m.image, -1, FEATHER_STEP, FEATHER_ROUND,
                         source.coverage.data());
         }},
        {"blur --radius 2",
         [&](Mask &m) {
             Mask source(9, input.TopDown());
             MaskBlur(&source.image, &m.image, 2, source.coverage.data());
         }},
        {"combine --mode subtract --gray 100",
         [&](Mask &m) {
             MaskCombine(&m.image, nullptr, 100, COMBINE_SUBTRACT, m.coverage.data());
         }},
        {"combine --with OTHER --mode overlap",
         [&](Mask &m) {
             MaskCombine(&m.image, &other.image, 0, COMBINE_OVERLAP, m.coverage.data());
         }},
        {"invert", [&](Mask &m) { MaskInvert(&m.image, m.coverage.data()); }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.command);
        std::string command = c.command;
        size_t at = command.find("OTHER");
        if (at != std::string::npos) command.replace(at, 5, folder + "/other.tif");
        std::string out = folder + "/out.tif";
        remove(out.c_str());
        ASSERT_EQ(TestRun(TestCliPath() + " mask " + command + " " + folder + "/in.tif " + out), 0);
        Mask expected(9, input.TopDown());
        c.expected(expected);
        Picture result;
        PictureReset(&result);
        ASSERT_EQ(FileLoad(out.c_str(), FILE_OPEN_ALL, &result, 0), ERROR_NONE);
        ExpectImagesNear(expected.image, result.image, 0);
        PictureFree(&result);
    }
    // 6 x 255 + 60 over 255 is 6.24 pixels, 13.86 % of 45.
    std::string printed;
    ASSERT_EQ(TestRun(TestCliPath() + " mask area " + folder + "/in.tif", &printed), 0);
    EXPECT_EQ(printed, "6.24 pixels\n13.86 percent coverage\n");

    Image colour;
    PictureMake(&colour, TYPE_COLOR24, 9, 5, 1);
    save(folder + "/colour.tif", colour);
    ImageFree(&colour);
    struct Refusal {
        const char *command;
        int status;
        const char *message;
    } refusals[] = {
        {"invert COLOUR", 1, "a mask must be an 8-bit gray picture, not Color Image"},
        {"combine --mode add --with SMALL IN", 1,
         "a mask to combine must have the mask's size, 9 x 5; this is 8 x 5"},
        {"feather --width 65 IN", 2, "--width takes a whole number in its range"},
        {"combine --mode add --gray 3 --with SMALL IN", 2, "usage"},
    };
    for (const Refusal &r : refusals) {
        SCOPED_TRACE(r.command);
        std::string command = r.command;
        for (auto [word, file] :
             {std::pair{"COLOUR", "colour.tif"}, {"SMALL", "small.tif"}, {"IN", "in.tif"}}) {
            size_t at = command.find(word);
            if (at != std::string::npos) command.replace(at, strlen(word), folder + "/" + file);
        }
        std::string out = folder + "/refused.tif", errors;
        EXPECT_EQ(TestRun(TestCliPath() + " mask " + command + " " + out + " 2>&1", &errors),
                  r.status);
        EXPECT_NE(errors.find(r.message), std::string::npos) << errors;
        EXPECT_NE(TestRun("test -e " + out), 0);
    }
}

} // namespace
