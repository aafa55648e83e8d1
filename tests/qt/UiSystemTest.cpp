// The Qt platform's store, settings folder, hand-over of a second start's command line and
// clipboard.
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QSettings>
#include <QStandardPaths>
#include <cstring>

#include "core/Image.h"
#include "core/Memory.h"
#include "tests/qt/UiSupport.h"

TEST_F(UiTest, TheStoreKeepsEveryValueAsWrittenAcrossANewQSettings)
{
    // Texts of the settings grammar with the characters an INI file gives a meaning.
    const char *values[] = {"1",
                            "",
                            "a, b",
                            "x = \"y\"; #z",
                            "C:\\Photos\\a.tif",
                            "  blanks kept  ",
                            "Gr\xc3\xbc\xc3\x9f"
                            "e",
                            "%20"};
    const char *groups[] = {"Preferences", "State", "Color Settings"};
    for (int i = 0; i < (int)(sizeof values / sizeof values[0]); i++) {
        std::string name = "Value " + std::to_string(i);
        PlatformSettingsWrite(groups[i % 3], name.c_str(), values[i]);
    }
    // The platform starts afresh, as a new run of the program would, and reads them back.
    QtPlatformStop();
    ASSERT_EQ(QtPlatformStart(), ERROR_NONE);
    for (int i = 0; i < (int)(sizeof values / sizeof values[0]); i++) {
        SCOPED_TRACE(values[i]);
        std::string name = "Value " + std::to_string(i);
        char value[64];
        ASSERT_EQ(PlatformSettingsRead(groups[i % 3], name.c_str(), value, sizeof value), 1);
        EXPECT_STREQ(value, values[i]);
        // A QSettings of the program's names sees the same strings in the same groups.
        QSettings store("Corvane Imaging", "Vistel");
        QVariant stored = store.value(QString(groups[i % 3]) + "/" + QString::fromStdString(name));
        EXPECT_EQ(stored.toString().toStdString(), values[i]);
    }
    char value[4];
    EXPECT_EQ(PlatformSettingsRead("State", "Value 4", value, sizeof value), 1);
    EXPECT_STREQ(value, "C:\\");
    EXPECT_EQ(PlatformSettingsRead("State", "Missing", value, sizeof value), 0);
    EXPECT_STREQ(value, "");

    // On Linux the store is an INI file in the user's config folder, written at once.
    QSettings store("Corvane Imaging", "Vistel");
    QFile file(store.fileName());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << store.fileName().toStdString();
    QByteArray text = file.readAll();
    EXPECT_TRUE(text.contains("[Color%20Settings]")); // the INI form of the group's name
    EXPECT_TRUE(text.contains("[Preferences]"));
    EXPECT_TRUE(store.fileName().startsWith(qEnvironmentVariable("XDG_CONFIG_HOME")));
}

TEST_F(UiTest, TheSettingsFolderIsTheUsersConfigFolderOfTheProgramAndExists)
{
    char path[4096];
    PlatformSettingsFolder(path, sizeof path);
    QString folder = QString::fromUtf8(path);
    EXPECT_EQ(folder, qEnvironmentVariable("XDG_CONFIG_HOME") + "/Corvane Imaging/Vistel");
    EXPECT_TRUE(QDir(folder).exists());
    char tooSmall[8];
    PlatformSettingsFolder(tooSmall, sizeof tooSmall);
    EXPECT_STREQ(tooSmall, ""); // a cut path would name another folder
}

TEST_F(UiTest, ASecondStartHandsItsCommandLineToTheFrameOfTheFirst)
{
    static std::string received;
    static int handedOver;
    received.clear();
    handedOver = 0;
    UiHook = [](WindowHandle, uint32_t message, uintptr_t, intptr_t lParam) {
        if (message != 0x803E) return (MessageResult)0;
        received = (const char *)lParam;
        handedOver++;
        MemoryFree((void *)lParam);
        return (MessageResult)1;
    };
    std::string name = "vistel-ui-test-" + std::to_string(QCoreApplication::applicationPid());
    QtPlatformSetHandOverName(name.c_str());
    // The first start finds nobody and listens; the second finds it and hands over.
    EXPECT_EQ(PlatformHandOverCommandLine(""), 0);
    EXPECT_EQ(PlatformHandOverCommandLine("\"C:\\My Pictures\\a.tif\" b.tif"), 1);
    for (int i = 0; i < 100 && handedOver == 0; i++)
        UiSettle(10);
    EXPECT_EQ(handedOver, 1);
    EXPECT_EQ(received, "\"C:\\My Pictures\\a.tif\" b.tif");
    // A second start without files brings the frame forward and opens nothing.
    EXPECT_EQ(PlatformHandOverCommandLine(""), 1);
    UiSettle(100);
    EXPECT_EQ(handedOver, 1);
    QtPlatformSetHandOverName(nullptr);
}

static void Pattern(Image *image)
{
    for (int row = 0; row < image->height; row++)
        for (int i = 0; i < image->rowBytes; i++)
            image->rows[row][i] = (uint8_t)(row * 31 + i * 7);
}

TEST_F(UiTest, PicturesAndTextGoThroughTheClipboardUnchanged)
{
    for (int type : {TYPE_BINARY, TYPE_GRAY8, TYPE_COLOR24}) {
        SCOPED_TRACE(type);
        Image picture = {};
        Image back = {};
        ASSERT_EQ(ImageAlloc(&picture, type, 13, 7, 150), ERROR_NONE);
        Pattern(&picture);
        ASSERT_EQ(PlatformClipboardSetImage(&picture), 1);
        EXPECT_EQ(PlatformClipboardHasImage(), 1);
        ASSERT_EQ(PlatformClipboardGetImage(&back), ERROR_NONE);
        ASSERT_EQ(back.type, type);
        ASSERT_EQ(back.width, 13);
        ASSERT_EQ(back.height, 7);
        EXPECT_NEAR(back.resolution, 150, 0.1);
        // The padding of a row is not the picture's; the pixels are.
        int bytes = type == TYPE_BINARY ? 2 : type == TYPE_GRAY8 ? 13 : 39;
        for (int row = 0; row < 7; row++) {
            if (type == TYPE_BINARY) {
                for (int x = 0; x < 13; x++)
                    EXPECT_EQ(BitTest(back.rows[row], x), BitTest(picture.rows[row], x))
                        << row << "," << x;
            } else {
                EXPECT_EQ(memcmp(back.rows[row], picture.rows[row], (size_t)bytes), 0) << row;
            }
        }
        ImageFree(&picture);
        ImageFree(&back);
    }
    Image wrong = {};
    ASSERT_EQ(ImageAlloc(&wrong, TYPE_GRAY16, 4, 4, 72), ERROR_NONE);
    EXPECT_EQ(PlatformClipboardSetImage(&wrong), 0);
    ImageFree(&wrong);

    ASSERT_EQ(PlatformClipboardSetText("a.tif b.tif"), 1);
    char text[8];
    EXPECT_EQ(PlatformClipboardGetText(text, sizeof text), 1);
    EXPECT_STREQ(text, "a.tif b");
    EXPECT_EQ(PlatformClipboardHasImage(), 0);
    Image none = {};
    EXPECT_EQ(PlatformClipboardGetImage(&none), ERROR_READ_IMAGE_FILE);
}
