// Tests of vistel-cli's color operations, run as a user runs them: "profile" against
// Little CMS's tificc on the same files, profiles and intents, and "make-display-profile"
// read back by transicc and exiftool.
#include <gtest/gtest.h>
#include <string>

#include "color/ColorSettings.h"
#include "tests/color/ProfileTestSupport.h"

// A 48 or 24-bit TIFF file of a pattern, made by netpbm from a PPM written here.
static std::string MakeTiff(const std::string &folder, const std::string &name, int wide)
{
    int width = 29, height = 17;
    std::string header = "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n" +
                         (wide ? "65535" : "255") + "\n";
    std::vector<uint8_t> bytes(header.begin(), header.end());
    uint32_t state = 99;
    for (int i = 0; i < width * height * 3 * (wide ? 2 : 1); i++) {
        state = state * 1664525u + 1013904223u;
        bytes.push_back((uint8_t)(state >> 24));
    }
    TestWriteFile(folder + "/" + name + ".ppm", bytes);
    std::string tiff = folder + "/" + name + ".tif";
    EXPECT_EQ(TestRun("pnmtotiff -truecolor -color < '" + folder + "/" + name + ".ppm' > '" + tiff +
                      "' 2>/dev/null"),
              0);
    return tiff;
}

// The pixels of a TIFF file as netpbm reads them, every sample whole.
static std::string PixelsOf(const std::string &tiff)
{
    std::string output;
    EXPECT_EQ(TestRun("tifftopnm -byrow '" + tiff + "' 2>/dev/null", &output), 0);
    return output;
}

static int Cli(const std::string &arguments, std::string *errors = nullptr)
{
    std::string output;
    int status = TestRun("'" + TestCliPath() + "' " + arguments + " 2>&1", &output);
    if (errors != nullptr) *errors = output;
    return status;
}

TEST(CliProfile, PixelsEqualTificcForEveryIntentAndDepth)
{
    TestStart();
    std::string folder = TestOutputFolder("CliProfile");
    const char *tificcIntents[COLOR_INTENT_COUNT] = {"-t0", "-t2", "-t1", "-t3", "-t1 -b"};
    for (int wide : {0, 1}) {
        std::string in = MakeTiff(folder, wide ? "in48" : "in24", wide);
        for (int intent = 0; intent < COLOR_INTENT_COUNT; intent++) {
            SCOPED_TRACE(testing::Message() << "wide " << wide << " intent " << intent);
            std::string ours = folder + "/ours.tif";
            std::string theirs = folder + "/theirs.tif";
            ASSERT_EQ(Cli("profile --to '" + SYSTEM_BLUISH + "' --intent " +
                          std::to_string(intent) + " '" + in + "' '" + ours + "'"),
                      0);
            ASSERT_EQ(TestRun(std::string("tificc ") + (wide ? "-w16 " : "-w8 ") +
                              tificcIntents[intent] + " '-o" + SYSTEM_BLUISH + "' '" + in + "' '" +
                              theirs + "' 2>/dev/null"),
                      0);
            // The same engine and flags: the very same pixels.
            EXPECT_EQ(PixelsOf(ours), PixelsOf(theirs));
            // The target is embedded whole.
            std::string embedded;
            TestRun("exiftool -icc_profile -b '" + ours + "'", &embedded);
            EXPECT_EQ(std::vector<uint8_t>(embedded.begin(), embedded.end()),
                      TestReadFile(SYSTEM_BLUISH));
        }
    }
}

TEST(CliProfile, EmbeddedProfileIsTheSourceAndIntentsGoByLabel)
{
    TestStart();
    std::string folder = TestOutputFolder("CliProfileEmbedded");
    std::string in = MakeTiff(folder, "in", 1);
    ASSERT_EQ(Cli("profile --to '" + SYSTEM_WIDE + "' '" + in + "' '" + folder + "/wide.tif'"), 0);
    // tificc takes the embedded Wide Gamut profile as its input, as we do.
    ASSERT_EQ(Cli("profile --intent 'preserve saturation' --to '" + SYSTEM_ADOBE + "' '" + folder +
                  "/wide.tif' '" + folder + "/ours.tif'"),
              0);
    ASSERT_EQ(TestRun("tificc -w16 -t2 '-o" + SYSTEM_ADOBE + "' '" + folder + "/wide.tif' '" +
                      folder + "/theirs.tif' 2>/dev/null"),
              0);
    EXPECT_EQ(PixelsOf(folder + "/ours.tif"), PixelsOf(folder + "/theirs.tif"));
}

TEST(CliProfile, FailuresAndUsage)
{
    TestStart();
    std::string folder = TestOutputFolder("CliProfileFailures");
    std::string in = MakeTiff(folder, "in", 0);
    TestWriteFile(folder + "/scanner.icc",
                  TestProfileBytes("scnr", "RGB ", {TestDescTag("Scanner")}));
    TestWriteFile(folder + "/broken.icc", std::vector<uint8_t>(300, 'x'));
    ASSERT_EQ(TestRun("tiffcp -c none '" + in + "' '" + folder + "/copy.tif' && convert '" + in +
                      "' -colorspace Gray -depth 8 '" + folder + "/gray.tif'"),
              0);
    struct Case {
        std::string arguments;
        int status;
        const char *message;
    } cases[] = {
        {"profile --to '" + folder + "/scanner.icc' '" + in + "' '" + folder + "/o.tif'", 1,
         "vistel-cli: Cannot convert image data to scanner profile"},
        {"profile --to '" + folder + "/broken.icc' '" + in + "' '" + folder + "/o.tif'", 1,
         "vistel-cli: Invalid color profile"},
        {"profile --to '" + SYSTEM_CMYK + "' '" + in + "' '" + folder + "/o.tif'", 1,
         "vistel-cli: Not a color space profile"},
        {"profile --to '" + SYSTEM_ADOBE + "' '" + folder + "/gray.tif' '" + folder + "/o.tif'", 1,
         "vistel-cli: Illegal input image type"},
        {"profile --to '" + SYSTEM_ADOBE + "' '" + in + "' '" + folder + "/o.xyz'", 1, nullptr},
        {"profile --to '" + SYSTEM_ADOBE + "' --intent 5 '" + in + "' '" + folder + "/o.tif'", 2,
         "vistel-cli: unknown rendering intent"},
        {"profile '" + in + "' '" + folder + "/o.tif'", 2, nullptr},
        {"profile --to '" + SYSTEM_ADOBE + "' '" + in + "'", 2, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.arguments);
        std::string errors;
        EXPECT_EQ(Cli(c.arguments, &errors), c.status);
        if (c.message != nullptr) {
            EXPECT_EQ(errors.rfind(c.message, 0), 0u) << errors;
        }
        EXPECT_NE(TestRun("test -e '" + folder + "/o.tif'"), 0);
    }
}

TEST(CliMakeDisplayProfile, WritesWhatItIsToldAndToolsReadIt)
{
    TestStart();
    std::string folder = TestOutputFolder("CliMakeDisplayProfile");
    std::string path = folder + "/monitor.icc";
    ASSERT_EQ(Cli("make-display-profile --description 'Studio Monitor' --gamma 1.8 --white "
                  "0.9642 1 0.8249 --red 0.4361 0.2225 0.0139 '" +
                  path + "'"),
              0);
    std::vector<uint8_t> bytes = TestReadFile(path);
    char text[PROFILE_DESCRIPTION_MAX];
    ASSERT_EQ(ProfileDescription(bytes.data(), (int)bytes.size(), text, sizeof text), ERROR_NONE);
    EXPECT_STREQ(text, "Studio Monitor");
    double white[3], red[3], green[3], blue[3], gamma;
    ASSERT_EQ(ProfilePrimaries(bytes.data(), (int)bytes.size(), white, red, green, blue),
              ERROR_NONE);
    EXPECT_EQ(white[0], 63190 / 65536.0);  // 0.9642 * 65536 = 63189.81, rounded
    EXPECT_EQ(white[2], 54061 / 65536.0);  // 0.8249 * 65536 = 54060.65
    EXPECT_EQ(red[0], 28580 / 65536.0);    // 0.4361 * 65536 = 28580.25
    EXPECT_EQ(green[0], 0x6299 / 65536.0); // the default colorant stays
    ASSERT_EQ(ProfileGamma(bytes.data(), (int)bytes.size(), &gamma), ERROR_NONE);
    EXPECT_EQ(gamma, 461 / 256.0); // 1.8 * 256 = 460.8
    std::string output;
    ASSERT_EQ(TestRun("printf '255 255 255\\n' | transicc -n -i '" + path +
                          "' -o '*Lab' -t 1 2>/dev/null",
                      &output),
              0);
    double l, a, b;
    ASSERT_EQ(sscanf(output.c_str(), "%lf %lf %lf", &l, &a, &b), 3);
    EXPECT_NEAR(l, 100.0, 0.05);

    // Curves from a file replace the gamma: three tables of 524 bytes after the 472 that the
    // default description "Vistel Display" leaves.
    std::string curves;
    for (int i = 0; i < 768; i++)
        curves += std::to_string((i % 256) * 257) + (i % 16 == 15 ? "\n" : " ");
    TestWriteFile(folder + "/curves.txt", std::vector<uint8_t>(curves.begin(), curves.end()));
    ASSERT_EQ(Cli("make-display-profile --curves '" + folder + "/curves.txt' '" + folder +
                  "/tabled.icc'"),
              0);
    EXPECT_EQ(TestReadFile(folder + "/tabled.icc").size(), 2044u);
}

TEST(CliMakeDisplayProfile, UsageAndFailures)
{
    TestStart();
    std::string folder = TestOutputFolder("CliMakeDisplayProfileUsage");
    TestWriteFile(folder + "/short.txt", {'1', ' ', '2'});
    struct Case {
        std::string arguments;
        int status;
    } cases[] = {
        {"make-display-profile", 2},
        {"make-display-profile --gamma 0 '" + folder + "/a.icc'", 2},
        {"make-display-profile --gamma 300 '" + folder + "/a.icc'", 2},
        {"make-display-profile --white 1 2 '" + folder + "/a.icc'", 2},
        {"make-display-profile --colour 1 '" + folder + "/a.icc'", 2},
        {"make-display-profile --description", 2},
        {"make-display-profile --curves '" + folder + "/short.txt' '" + folder + "/a.icc'", 1},
        {"make-display-profile --curves '" + folder + "/none.txt' '" + folder + "/a.icc'", 1},
        {"make-display-profile '" + folder + "/no/such/folder.icc'", 1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.arguments);
        EXPECT_EQ(Cli(c.arguments), c.status);
        EXPECT_NE(TestRun("test -e '" + folder + "/a.icc'"), 0);
    }
}
