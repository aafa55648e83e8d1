// vistel-cli run as a program, on files made by ImageMagick and checked by ImageMagick and
// exiftool: the same transformations, the comments and the profile passed on, exit statuses
// and messages on failure, and what a failed or interrupted save leaves.
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/CliCommon.h"
#include "color/ColorSettings.h"
#include "core/FileComment.h"
#include "core/Memory.h"
#include "core/Orient.h"
#include "files/FileType.h"
#include "files/TiffWriter.h"
#include "tests/color/ProfileTestSupport.h"
#include "tests/transforms/PictureTestSupport.h"
#include "transforms/BrightnessCurve.h"
#include "transforms/ChangeProfile.h"
#include "transforms/GammaAdjust.h"
#include "transforms/MirrorRotate.h"
#include "transforms/Negative.h"
#include "transforms/Transforms.h"

class Cli : public ::testing::Test {
  protected:
    std::string folder;

    void SetUp() override
    {
        TestStart();
        const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
        folder = TestOutputFolder(std::string("cli/") + info->name());
    }

    std::string Path(const std::string &name)
    {
        return folder + "/" + name;
    }

    // Runs vistel-cli with arguments; returns the exit status, stderr into errors.
    int RunCli(const std::string &arguments, std::string *errors = nullptr,
               std::string *output = nullptr)
    {
        std::string errorFile = Path("stderr.txt");
        int status = TestRun(TestCliPath() + " " + arguments + " 2>'" + errorFile + "'", output);
        if (errors != nullptr) {
            std::vector<uint8_t> bytes = TestReadFile(errorFile);
            errors->assign(bytes.begin(), bytes.end());
        }
        return status;
    }

    // Samples of a picture file as ImageMagick reads them, red first, top row first.
    std::vector<uint8_t> Raw(const std::string &file, const char *kind, int depth)
    {
        std::string output;
        TestRun("convert '" + file + "' -depth " + std::to_string(depth) + " " + kind + ":-",
                &output);
        return std::vector<uint8_t>(output.begin(), output.end());
    }
};

TEST_F(Cli, NegativeMatchesImageMagicksNegateAtEightAndSixteenBits)
{
    ASSERT_EQ(TestRun("convert -size 61x47 plasma:fractal -seed 3 -depth 8 -type TrueColor "
                      "-compress none '" +
                      Path("in8.tif") + "'"),
              0);
    ASSERT_EQ(TestRun("convert -size 61x47 gradient:black-white -depth 16 -compress none '" +
                      Path("in16.tif") + "'"),
              0);
    ASSERT_EQ(RunCli("negative '" + Path("in8.tif") + "' '" + Path("out8.tif") + "'"), 0);
    ASSERT_EQ(RunCli("negative '" + Path("in16.tif") + "' '" + Path("out16.tif") + "'"), 0);
    std::string expected8;
    TestRun("convert '" + Path("in8.tif") + "' -negate -depth 8 rgb:-", &expected8);
    std::vector<uint8_t> actual8 = Raw(Path("out8.tif"), "rgb", 8);
    EXPECT_EQ(std::string(actual8.begin(), actual8.end()), expected8);
    std::string expected16;
    TestRun("convert '" + Path("in16.tif") + "' -negate -depth 16 gray:-", &expected16);
    std::vector<uint8_t> actual16 = Raw(Path("out16.tif"), "gray", 16);
    EXPECT_EQ(actual16.size(), 61u * 47u * 2u);
    EXPECT_EQ(std::string(actual16.begin(), actual16.end()), expected16);
}

TEST_F(Cli, GammaAgreesWithTheFormulaOnEveryLevel)
{
    // A 256-wide ramp holds every 8-bit level once; the result must be
    // Round((i / 255)^f * 255) exactly.
    ASSERT_EQ(TestRun("convert -size 256x2 gradient:black-white -depth 8 -type Grayscale "
                      "-compress none '" +
                      Path("ramp.tif") + "'"),
              0);
    ASSERT_EQ(RunCli("gamma --factor 0.45 '" + Path("ramp.tif") + "' '" + Path("out.tif") + "'"),
              0);
    std::vector<uint8_t> in = Raw(Path("ramp.tif"), "gray", 8);
    std::vector<uint8_t> out = Raw(Path("out.tif"), "gray", 8);
    ASSERT_EQ(in.size(), out.size());
    for (size_t i = 0; i < in.size(); i++) {
        int expected = (int)std::floor(std::pow(in[i] / 255.0, 0.45) * 255.0 + 0.5);
        ASSERT_EQ(out[i], expected) << "level " << (int)in[i];
    }
    // Options may stand between and after the files, may carry their value after "=", and
    // "--" ends them.
    const std::string ramp = "'" + Path("ramp.tif") + "'";
    for (std::string line :
         {ramp + " --factor 0.45 'OUT'", ramp + " 'OUT' --factor 0.45",
          "--factor 0.45 -- " + ramp + " 'OUT'", "--factor=0.45 " + ramp + " 'OUT'"}) {
        SCOPED_TRACE(line);
        line.replace(line.find("OUT"), 3, Path("moved.tif"));
        ASSERT_EQ(RunCli("gamma " + line), 0);
        EXPECT_EQ(TestReadFile(Path("moved.tif")), TestReadFile(Path("out.tif")));
    }
}

TEST_F(Cli, CommentsAndProfilePassToTheResult)
{
    std::string in = Path("in.tif");
    ASSERT_EQ(TestRun("convert -size 32x24 plasma:fractal -depth 8 -type TrueColor "
                      "-compress none -profile /usr/share/color/icc/sRGB.icc '" +
                      in + "'"),
              0);
    ASSERT_EQ(TestRun("exiftool -q -overwrite_original -Artist='Ada Lovelace' "
                      "-Copyright='CC BY' -Make=Corvane '" +
                      in + "'"),
              0);
    std::string out = Path("out.tif");
    ASSERT_EQ(RunCli("gamma --factor 1.2 '" + in + "' '" + out + "'"), 0);
    std::string tags;
    TestRun("exiftool -s3 -Artist -Copyright -Make -ProfileDescription '" + out + "'", &tags);
    EXPECT_EQ(tags, "Ada Lovelace\nCC BY\nCorvane\nsRGB\n");

    // A gray result carries no profile, but keeps its comments.
    std::string gray = Path("gray.tif");
    ASSERT_EQ(RunCli("convert --to gray8 '" + in + "' '" + gray + "'"), 0);
    tags.clear();
    TestRun("exiftool -s3 -Artist -ProfileDescription '" + gray + "'", &tags);
    EXPECT_EQ(tags, "Ada Lovelace\n");
}

TEST_F(Cli, InfoNamesTypeSizeResolutionProfileAndComments)
{
    std::string in = Path("in.tif");
    ASSERT_EQ(TestRun("convert -size 300x200 xc:gray50 -type TrueColor -depth 16 "
                      "-density 300 -units PixelsPerInch -compress none "
                      "-profile /usr/share/color/icc/sRGB.icc '" +
                      in + "'"),
              0);
    ASSERT_EQ(TestRun("exiftool -q -overwrite_original -Artist='Ada' '" + in + "'"), 0);
    std::string info;
    ASSERT_EQ(RunCli("info '" + in + "'", nullptr, &info), 0);
    EXPECT_NE(info.find("Color Image (48-bit)\n"), std::string::npos) << info;
    EXPECT_NE(info.find("Profile: sRGB [lcms generated]\n"), std::string::npos) << info;
    EXPECT_NE(info.find("300 x 200 pixels\n"), std::string::npos) << info;
    EXPECT_NE(info.find("1.00 x 0.67 inches\n"), std::string::npos) << info;
    EXPECT_NE(info.find("300.00 dpi\n"), std::string::npos) << info;
    EXPECT_NE(info.find("Memory: 360,000 bytes\n"), std::string::npos) << info;
    EXPECT_NE(info.find("Artist: \"Ada\"\n"), std::string::npos) << info;
}

TEST_F(Cli, FailuresGiveTheMessageAndANonZeroStatus)
{
    std::string errors;
    EXPECT_EQ(RunCli("negative '" + Path("missing.tif") + "' '" + Path("out.tif") + "'", &errors),
              1);
    EXPECT_EQ(errors, "vistel-cli: Cannot open file\n");

    TestWriteFile(Path("junk.tif"), std::vector<uint8_t>(100, 'x'));
    EXPECT_EQ(RunCli("negative '" + Path("junk.tif") + "' '" + Path("out.tif") + "'", &errors), 1);
    EXPECT_NE(errors.find("vistel-cli: Problem reading TIFF file\n"), std::string::npos);

    // A command line it cannot use: the problem, then the verb's usage, and status 2.
    struct Usage {
        const char *line, *problem;
    } usages[] = {
        {"gamma --factor -1 a.tif b.tif",
         "the gamma factor must be a number above 0 and at most 100"},
        {"gamma a.tif b.tif", "gamma takes --factor F IN OUT"},
        {"gamma a.tif b.tif --factor", "gamma takes --factor F IN OUT"},
        {"emboss a.tif b.tif", "unknown operation"},
        {"convert --to purple a.tif b.tif", "unknown target type"},
        {"convert --color a.tif b.tif", "unknown option --color; convert takes [--to TYPE] IN OUT"},
        {"negative a.tif b.tif --amount 50",
         "negative has no Amount: it takes no --amount or --mask"},
        {"negative --amount 150 a.tif b.tif",
         "--amount takes a percentage P or LOW:HIGH, each from 0 to 100"},
    };
    for (const Usage &usage : usages) {
        SCOPED_TRACE(usage.line);
        EXPECT_EQ(RunCli(usage.line, &errors), 2);
        EXPECT_EQ(errors.substr(0, errors.find('\n')), std::string("vistel-cli: ") + usage.problem);
    }
    EXPECT_EQ(RunCli("negative a.tif b.xyz", &errors), 1);
    EXPECT_EQ(errors, "vistel-cli: Unknown file type\n");
}

TEST_F(Cli, ADamagedInputFailsUnlessPartialPicturesAreAllowed)
{
    // An uncompressed BMP cut in its rows: they run from the bottom, so the top rows are
    // missing. Without the option nothing is written; with it, anywhere on the line, the
    // rows the file holds are written and the warning stays.
    ASSERT_EQ(TestRun("convert -size 20x10 gradient:red-blue BMP3:'" + Path("whole.bmp") + "'"), 0);
    std::vector<uint8_t> bytes = TestReadFile(Path("whole.bmp"));
    bytes.resize(54 + 60 * 6 + 30); // six rows of 60 bytes and half of the seventh
    TestWriteFile(Path("cut.bmp"), bytes);
    const std::string warning = "vistel-cli: File is damaged: rows 0 to 3 are missing\n";
    const std::string files = "'" + Path("cut.bmp") + "' '" + Path("out.png") + "'";
    std::string errors;
    EXPECT_EQ(RunCli("convert " + files, &errors), 1);
    EXPECT_EQ(errors, warning);
    EXPECT_TRUE(TestReadFile(Path("out.png")).empty());
    for (const std::string &command :
         {"convert --allow-partial " + files, "convert " + files + " --allow-partial"}) {
        SCOPED_TRACE(command);
        remove(Path("out.png").c_str());
        EXPECT_EQ(RunCli(command, &errors), 0);
        EXPECT_EQ(errors, warning);
        std::vector<uint8_t> out = Raw(Path("out.png"), "rgb", 8);
        std::vector<uint8_t> in = Raw(Path("whole.bmp"), "rgb", 8);
        ASSERT_EQ(out.size(), in.size());
        EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 4 * 60),
                  std::vector<uint8_t>(4 * 60, 0));
        EXPECT_EQ(std::vector<uint8_t>(out.begin() + 4 * 60, out.end()),
                  std::vector<uint8_t>(in.begin() + 4 * 60, in.end()));
    }
}

TEST_F(Cli, AFailedSaveNamesItsFileAndKeepsTheOldOne)
{
    ASSERT_EQ(TestRun("convert -size 20x20 xc:red -compress none '" + Path("in.tif") + "'"), 0);
    TestWriteFile(Path("locked.tif"), {'o', 'l', 'd'});
    ASSERT_EQ(chmod(Path("locked.tif").c_str(), 0444), 0);
    struct Case {
        const char *output;
        const char *message;
    } cases[] = {
        {"nowhere/out.tif", "Cannot create file"},
        {"locked.tif", "Can't create or delete read-only file"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.output);
        std::string errors;
        EXPECT_EQ(RunCli("negative '" + Path("in.tif") + "' '" + Path(c.output) + "'", &errors), 1);
        EXPECT_EQ(errors, "vistel-cli: " + Path(c.output) + ": " + c.message + "\n");
    }
    EXPECT_EQ(TestReadFile(Path("locked.tif")), std::vector<uint8_t>({'o', 'l', 'd'}));
    EXPECT_EQ(TestFolderFiles(folder),
              (std::vector<std::string>{"in.tif", "locked.tif", "stderr.txt"}));
}

// The size of the temporary file of a save in folder, or -1 while there is none.
static off_t TemporarySize(const std::string &folder)
{
    for (const std::string &name : TestFolderFiles(folder)) {
        struct stat status;
        if (name.find(".vistel-") != std::string::npos &&
            stat((folder + "/" + name).c_str(), &status) == 0)
            return status.st_size;
    }
    return -1;
}

// Runs vistel-cli under our trace, stops it once its temporary file in folder holds bytes,
// makes signalNumber pending and lets it go; returns its wait status. The trace makes the
// moment certain: the signal arrives before the program runs another instruction of the
// save, whatever the speed of the machine.
static int CliSignalledDuringSave(const std::vector<std::string> &arguments,
                                  const std::string &folder, off_t bytes, int signalNumber)
{
    std::string program = TestCliPath();
    std::vector<char *> argv = {program.data()};
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        execv(program.c_str(), argv.data()); // stops at once for the tracer
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0); // stopped at its start
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int pending = 0; // a signal of the program's own, passed on
    int sent = 0;
    for (;;) {
        ptrace(PTRACE_SYSCALL, child, nullptr, (void *)(intptr_t)pending);
        pending = 0;
        if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status)) return status;
        int stop = WSTOPSIG(status);
        if (stop == (SIGTRAP | 0x80)) { // at a system call
            if (!sent && TemporarySize(folder) >= bytes) {
                syscall(SYS_tgkill, child, child, signalNumber);
                sent = 1;
            }
        } else if (sent && stop == signalNumber) {
            break; // the signal is about to be delivered
        } else {
            pending = stop;
        }
    }
    ptrace(PTRACE_DETACH, child, nullptr, (void *)(intptr_t)signalNumber);
    waitpid(child, &status, 0);
    return status;
}

TEST_F(Cli, ASaveStoppedByASignalLeavesNoTemporaryFile)
{
    ASSERT_EQ(TestRun("convert -size 2000x1500 gradient:red-blue -depth 8 -compress none '" +
                      Path("in.tif") + "'"),
              0);
    const std::vector<uint8_t> old = {'o', 'l', 'd'};
    for (int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE(strsignal(signalNumber));
        TestWriteFile(Path("out.tif"), old);
        // 9 MB to write; the signal comes when 1 MB is in the temporary file.
        int status = CliSignalledDuringSave({"negative", Path("in.tif"), Path("out.tif")}, folder,
                                            1 << 20, signalNumber);
        ASSERT_TRUE(WIFSIGNALED(status)) << "status " << status;
        EXPECT_EQ(WTERMSIG(status), signalNumber); // the default action ended it
        EXPECT_EQ(TestReadFile(Path("out.tif")), old);
        EXPECT_EQ(TestFolderFiles(folder), (std::vector<std::string>{"in.tif", "out.tif"}));
    }
}

// What vistel-cli holds of an opened file: a record with a picture of type in the pattern of
// seed, an Adobe RGB profile and one comment.
static Picture *InPlaceRecord(int type, int seed, const std::vector<uint8_t> &profile)
{
    Picture *record = (Picture *)MemoryAllocZero(sizeof(Picture));
    EXPECT_NE(record, nullptr);
    PictureMake(&record->image, type, 203, 131, seed);
    record->profile = (uint8_t *)MemoryAlloc(profile.size());
    memcpy(record->profile, profile.data(), profile.size());
    record->profileSize = (int)profile.size();
    EXPECT_EQ(AddFileComment(record, "Artist", 3, 4, 0, "Ada"), ERROR_NONE);
    return record;
}

// The transformations vistel-cli runs in the input's own picture give, for every picture
// type, what Apply gives into a new one: pixels, profile and comments.
TEST(CliInPlace, GivesWhatApplyIntoANewPictureGives)
{
    TestStart();
    ColorSettingsDefault(&CurrentColorSettings);
    std::vector<uint8_t> adobe = TestReadFile(SYSTEM_ADOBE);
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    // Each case's settings: a gamma factor, or a rendering intent to the wide-gamut profile.
    struct Case {
        const char *name;
        const TransformDescriptor *transform;
        double factor;
        int intent;
    } cases[] = {
        {"gamma 1", &GammaTransform, 1.0, 0},
        {"gamma 2", &GammaTransform, 2.0, 0},
        {"profile", &ChangeProfileTransform, 0, COLOR_INTENT_FULL_GAMUT},
        {"profile, black point", &ChangeProfileTransform, 0, COLOR_INTENT_IDENTICAL_BLACK},
        {"negative", &NegativeTransform, 0, 0},
    };
    for (const Case &c : cases) {
        for (int type : PICTURE_TYPES) {
            SCOPED_TRACE(testing::Message() << c.name << ", type " << type);
            Picture *input = InPlaceRecord(type, 7, adobe);
            Picture *inPlace = InPlaceRecord(type, 7, adobe);
            Picture madeRecord;
            Picture *made = &madeRecord;
            PictureReset(made);
            Image original;
            ImageClear(&original);
            ASSERT_EQ(ImageDuplicate(&input->image, &original), ERROR_NONE);
            union {
                GammaSettings gamma;
                ChangeProfileSettings profile;
            } settings[2]; // each run reads the profile of its own record
            Picture *records[2] = {input, inPlace};
            for (int i = 0; i < 2; i++) {
                c.transform->defaults(&settings[i]);
                if (c.transform == &GammaTransform) settings[i].gamma.factor = c.factor;
                if (c.transform != &ChangeProfileTransform) continue;
                c.transform->takeInput(&settings[i], records[i]);
                settings[i].profile.intent = c.intent;
                settings[i].profile.targetProfile = wide.data();
                settings[i].profile.targetLength = (int)wide.size();
            }
            ErrorCode applied = TransformApply(c.transform, &settings[0], input, made);
            ErrorCode changed = TransformApplyInPlace(c.transform, &settings[1], inPlace);
            EXPECT_EQ(changed, applied);
            if (applied == ERROR_NONE) {
                ExpectImagesNear(made->image, inPlace->image, 0);
                ASSERT_EQ(inPlace->profileSize, made->profileSize);
                if (made->profileSize > 0) { // gray and binary results carry none
                    EXPECT_EQ(memcmp(inPlace->profile, made->profile, (size_t)made->profileSize),
                              0);
                }
                for (Picture *record : {made, inPlace}) { // the one comment, once
                    ASSERT_NE(record->comments, nullptr);
                    EXPECT_STREQ((const char *)record->comments->value, "Ada");
                    EXPECT_EQ(record->comments->next, nullptr);
                }
            }
            ExpectImagesNear(original, input->image, 0); // Apply left its input alone
            ImageFree(&original);
            PictureFree(made);
            for (Picture *record : {input, inPlace}) {
                PictureFree(record);
                MemoryFree(record);
            }
        }
    }
}

// The band by band road from a TIFF file to a TIFF file writes the very bytes of the
// ordinary road (open the whole picture, Apply, save) for every transformation that takes it
// and every picture type, on our own single-strip files and on libtiff's files of many strips;
// the files it does not take it leaves alone, with no output.
TEST(CliStream, WritesTheBytesOfTheWholePictureRun)
{
    TestStart();
    ColorSettingsDefault(&CurrentColorSettings);
    std::string folder = TestOutputFolder("cli/stream");
    std::vector<uint8_t> adobe = TestReadFile(SYSTEM_ADOBE);
    std::vector<uint8_t> wide = TestReadFile(SYSTEM_WIDE);
    struct Case {
        const char *name;
        const TransformDescriptor *transform;
        double value; // a gamma factor, an amount in percent, an orientation code
    } cases[] = {
        {"gamma 2", &GammaTransform, 2.0},     {"gamma 1", &GammaTransform, 1.0},
        {"gamma 60 %", &GammaTransform, 60.0}, {"profile", &ChangeProfileTransform, 0},
        {"negative", &NegativeTransform, 0},   {"curve", &BrightnessCurveTransform, 200},
    };
    std::vector<Case> all(std::begin(cases), std::end(cases));
    for (int code = 0; code < ORIENT_CODE_COUNT; code++)
        all.push_back({"rotate", &MirrorRotateTransform, (double)code});
    std::string in = folder + "/in.tif";
    std::string strips = folder + "/strips.tif";
    for (int type : PICTURE_TYPES) {
        Picture *record = InPlaceRecord(type, 5, adobe);
        ASSERT_EQ(SaveTiffFileWithComments(in.c_str(), record), ERROR_NONE);
        PictureFree(record);
        MemoryFree(record);
        // Strips of 7 rows, the last one shorter, as libtiff lays them out.
        ASSERT_EQ(TestRun("tiffcp -r 7 '" + in + "' '" + strips + "'"), 0);
        for (const Case &c : all) {
            for (const std::string &input : {in, strips}) {
                SCOPED_TRACE(testing::Message()
                             << c.name << " " << c.value << ", type " << type << ", " << input);
                if (!c.transform->accepts(type)) continue;
                union {
                    GammaSettings gamma;
                    ChangeProfileSettings profile;
                    MirrorRotateSettings rotate;
                    BrightnessCurveSettings curve;
                } settings[2];
                Picture whole;
                Picture made;
                PictureReset(&whole);
                PictureReset(&made);
                ASSERT_EQ(FileLoad(input.c_str(), FILE_OPEN_ALL, &whole, 0), ERROR_NONE);
                for (auto &one : settings) {
                    c.transform->defaults(&one);
                    if (c.transform == &GammaTransform && c.value > 50)
                        one.gamma = {2.2, 0, {nullptr, (int)(c.value * 1024 / 100), -1}};
                    else if (c.transform == &GammaTransform)
                        one.gamma.factor = c.value;
                    if (c.transform == &MirrorRotateTransform)
                        one.rotate.orientation = (int)c.value;
                    if (c.transform == &BrightnessCurveTransform) // the top of the curve lowered
                        one.curve.curve.y[one.curve.curve.pointCount - 1] = (int)c.value;
                    if (c.transform != &ChangeProfileTransform) continue;
                    one.profile.targetProfile = wide.data();
                    one.profile.targetLength = (int)wide.size();
                }
                if (c.transform->takeInput != nullptr) c.transform->takeInput(&settings[0], &whole);
                Picture *saved = &whole;
                if (c.transform->inPlace) {
                    ASSERT_EQ(TransformApplyInPlace(c.transform, &settings[0], &whole), ERROR_NONE);
                } else {
                    ASSERT_EQ(TransformApply(c.transform, &settings[0], &whole, &made), ERROR_NONE);
                    saved = &made;
                }
                std::string ordinary = folder + "/ordinary.tif";
                std::string streamed = folder + "/streamed.tif";
                ASSERT_EQ(SaveTiffFileWithComments(ordinary.c_str(), saved), ERROR_NONE);
                ASSERT_TRUE(CliStreamTakes(c.transform, input.c_str(), FILE_SAVE_TIFF));
                unlink(streamed.c_str());
                ErrorCode result =
                    CliStream(c.transform, &settings[1], input.c_str(), streamed.c_str());
                if (saved->image.type == type) {
                    ASSERT_EQ(result, ERROR_NONE);
                    EXPECT_EQ(TestReadFile(streamed), TestReadFile(ordinary));
                } else { // a curve makes a binary picture gray: the ordinary road's to do
                    EXPECT_NE(result, ERROR_NONE);
                    EXPECT_NE(access(streamed.c_str(), F_OK), 0);
                }
                PictureFree(&whole);
                PictureFree(&made);
            }
        }
    }

    // Files whose rows need decoding, and a file shorter than its strips.
    GammaSettings gamma;
    GammaTransform.defaults(&gamma);
    gamma.factor = 2.0;
    std::string out = folder + "/refused.tif";
    struct Refused {
        const char *name;
        const char *tiffcp; // the options that make it from in.tif
    } refused[] = {{"LZW", "-c lzw"}, {"big-endian", "-B"}, {"predictor", "-c lzw:2"}};
    Picture *record = InPlaceRecord(TYPE_COLOR48, 5, adobe);
    ASSERT_EQ(SaveTiffFileWithComments(in.c_str(), record), ERROR_NONE);
    PictureFree(record);
    MemoryFree(record);
    for (const Refused &r : refused) {
        SCOPED_TRACE(r.name);
        ASSERT_EQ(TestRun(std::string("tiffcp ") + r.tiffcp + " '" + in + "' '" + strips + "'"), 0);
        EXPECT_NE(CliStream(&GammaTransform, &gamma, strips.c_str(), out.c_str()), ERROR_NONE);
        EXPECT_NE(access(out.c_str(), F_OK), 0);
    }
    std::vector<uint8_t> bytes = TestReadFile(in);
    TestWriteFile(strips, std::vector<uint8_t>(bytes.begin(), bytes.end() - 100));
    EXPECT_NE(CliStream(&GammaTransform, &gamma, strips.c_str(), out.c_str()), ERROR_NONE);
    EXPECT_NE(access(out.c_str(), F_OK), 0);
}

TEST(CliAmount, TakesOnePercentageOrARangeFromZeroToHundred)
{
    struct Case {
        const char *text;
        int ok;
        double low, high;
    } cases[] = {{"50", 1, 50, -1}, {"0:100", 1, 0, 100},  {"12.5:7", 1, 12.5, 7}, {"101", 0, 0, 0},
                 {"-1", 0, 0, 0},   {"20:", 0, 0, 0},      {"20:130", 0, 0, 0},    {"a", 0, 0, 0},
                 {"", 0, 0, 0},     {"10:20:30", 0, 0, 0}, {"nan", 0, 0, 0}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        double low = -5, high = -5;
        ASSERT_EQ(CliAmountParse(c.text, &low, &high), c.ok);
        if (!c.ok) continue;
        EXPECT_EQ(low, c.low);
        EXPECT_EQ(high, c.high);
    }
}

// A quarter turn of a 1-bit and a 48-bit file keeps the type, the profile and the comments,
// and its pixels are ImageMagick's turn of the same file; a code past 7 is refused before any
// file is made.
TEST_F(Cli, RotateKeepsTypeProfileAndCommentsAndRefusesACodePastSeven)
{
    struct Case {
        const char *name, *make, *kind, *type;
        int depth;
        const char *tags;
    } cases[] = {
        {"bits", "-monochrome -depth 1 -type Bilevel", "gray", "Bilevel", 1, "Ada\n"},
        {"deep", "-depth 16 -type TrueColor -profile /usr/share/color/icc/sRGB.icc", "rgb",
         "TrueColor", 16, "Ada\nsRGB\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        std::string in = Path(std::string(c.name) + ".tif");
        std::string out = Path(std::string(c.name) + "-turned.tif");
        ASSERT_EQ(TestRun(std::string("convert -size 37x23 plasma:fractal -seed 5 ") + c.make +
                          " -compress none '" + in + "'"),
                  0);
        ASSERT_EQ(TestRun("exiftool -q -overwrite_original -Artist=Ada '" + in + "'"), 0);
        ASSERT_EQ(RunCli("rotate --orientation 1 '" + in + "' '" + out + "'"), 0);
        std::string described;
        TestRun("identify -format '%wx%h %[type] %z' '" + out + "'", &described);
        EXPECT_EQ(described, "23x37 " + std::string(c.type) + " " + std::to_string(c.depth));
        std::string tags;
        TestRun("exiftool -s3 -Artist -ProfileDescription '" + out + "'", &tags);
        EXPECT_EQ(tags, c.tags);
        std::string turned;
        TestRun("convert '" + in + "' -rotate 90 -depth " + std::to_string(c.depth) + " " + c.kind +
                    ":-",
                &turned);
        EXPECT_TRUE(Raw(out, c.kind, c.depth) ==
                    std::vector<uint8_t>(turned.begin(), turned.end()));
    }

    std::string errors;
    EXPECT_NE(RunCli("rotate --orientation 8 '" + Path("bits.tif") + "' '" + Path("no.tif") + "'",
                     &errors),
              0);
    EXPECT_NE(errors.find("the orientation must be a whole number from 0 to 7"), std::string::npos);
    struct stat status;
    EXPECT_NE(stat(Path("no.tif").c_str(), &status), 0);
}
