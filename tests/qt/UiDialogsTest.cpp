// File dialogs, pop-up menus and dropped files on the Qt platform.
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include "tests/qt/UiSupport.h"

static QStringList filters;
static QString title;
static std::string chosen;

// Chooses the file named by chosen in the open file dialog by typing its name, as a user
// may. Selecting it in the list instead depends on the dialog's file model, which a thread
// fills and its name filter hides, so that the choice would sometimes come too early.
static void ChooseFile(QWidget *modal)
{
    QFileDialog *dialog = qobject_cast<QFileDialog *>(modal);
    ASSERT_NE(dialog, nullptr);
    filters = dialog->nameFilters();
    title = dialog->windowTitle();
    QLineEdit *name = dialog->findChild<QLineEdit *>("fileNameEdit");
    ASSERT_NE(name, nullptr);
    name->setText(QString::fromStdString(chosen));
    ((QDialog *)dialog)->accept(); // QFileDialog::accept checks that the file exists
}

TEST_F(UiTest, TheFileDialogTakesTheRequestsFiltersAndAnswersWithPathsAndFilter)
{
    std::string folder = std::string(VISTEL_TEST_OUTPUT) + "/ui/dialog";
    QDir(QString::fromStdString(folder)).removeRecursively();
    QDir().mkpath(QString::fromStdString(folder));
    std::string path = folder + "/a.jpg";
    QFile file(QString::fromStdString(path));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();

    chosen = path;
    UiWhenModal(ChooseFile);
    FileDialogRequest request = {
        FILE_DIALOG_OPEN_MANY, "File Open", "TIFF\0*.tif;*.tiff\0JPEG\0*.jpg\0", 1,
        folder.c_str(),        ""};
    FileDialogResult result;
    ASSERT_EQ(PlatformFileDialog(&request, &result), 1);
    EXPECT_EQ(title, "File Open");
    EXPECT_EQ(filters, QStringList({"TIFF (*.tif *.tiff)", "JPEG (*.jpg)"}));
    EXPECT_EQ(result.filter, 1);
    EXPECT_EQ(std::string(result.paths), path);
    EXPECT_EQ(result.paths[path.size() + 1], 0); // the list ends after the one path

    UiWhenModal([](QWidget *dialog) { dialog->close(); });
    EXPECT_EQ(PlatformFileDialog(&request, &result), 0);
}

TEST_F(UiTest, APopupMenuAnswersTheChosenId)
{
    static const MenuItem ITEMS[] = {{2001, "Zoom &In", 0},  {0, "", 0},
                                     {-1, "&Mask", 0},       {2101, "&Show", 1},
                                     {2002, "Zoom &Out", 0}, {0, nullptr, 0}};
    WindowHandle window = UiChild("a", 208, 228);
    UiSettle();
    UiWhenPopup([](QWidget *popup) {
        QMenu *menu = qobject_cast<QMenu *>(popup);
        ASSERT_NE(menu, nullptr);
        QStringList labels;
        for (QAction *action : menu->actions())
            labels.append(action->isSeparator() ? "-" : action->text());
        EXPECT_EQ(labels, QStringList({"Zoom &In", "-", "&Mask", "Zoom &Out"}));
        QTest::keyClick(menu, Qt::Key_O); // the access key of Zoom Out
    });
    EXPECT_EQ(PlatformPopupMenu(window, ITEMS, 20, 30), 2002);
    UiWhenPopup([](QWidget *popup) { popup->close(); });
    EXPECT_EQ(PlatformPopupMenu(window, ITEMS, 20, 30), 0);
}

TEST_F(UiTest, DroppedFilesReachTheWindowUnderTheMouse)
{
    static std::vector<std::string> dropped;
    dropped.clear();
    UiHook = [](WindowHandle, uint32_t message, uintptr_t wParam, intptr_t) {
        if (message == MSG_DROP_FILES) {
            const DroppedFiles *files = (const DroppedFiles *)wParam;
            for (int i = 0; i < files->count; i++)
                dropped.push_back(files->paths[i]);
        }
        return (MessageResult)0;
    };
    WindowHandle window = UiChild("a", 208, 228);
    UiSettle();
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/tmp/a b.tif"), QUrl("https://example.org/x.tif"),
                  QUrl::fromLocalFile("/tmp/c.tif")});
    QWidget *client = QtPlatformWidget(window);
    // As a drag from the desktop arrives: it enters, is accepted, and drops.
    QDragEnterEvent enter(QPoint(10, 12), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(client, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(10, 12), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(client, &drop);
    // Only files: an address is not a file to open.
    EXPECT_EQ(dropped, std::vector<std::string>({"/tmp/a b.tif", "/tmp/c.tif"}));
    EXPECT_EQ(UiLogCount("a:" + std::to_string(MSG_DROP_FILES)), 1);
}
