// main() of the UI tests: Qt on its offscreen screen, with the settings store and folder in
// a folder of the build, so that no test touches the user's own settings.
#include <QApplication>
#include <QDir>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "ui/UiStartup.h"

int main(int argc, char **argv)
{
    // Set for CTest too; also here so that listing the tests needs no screen.
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    // One folder a process: CTest runs the tests side by side, each in a process of its own.
    std::string home = std::string(VISTEL_TEST_OUTPUT) + "/ui/home-" + std::to_string(getpid());
    QDir(QString::fromStdString(home)).removeRecursively();
    QDir().mkpath(QString::fromStdString(home + "/config"));
    setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    if (UiInitialise() != ERROR_NONE) return 1;
    int result = RUN_ALL_TESTS();
    QDir(QString::fromStdString(home)).removeRecursively();
    return result;
}
