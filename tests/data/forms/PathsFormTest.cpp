#include "data/forms/PathsForm.h"
#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

class PathsFormTest : public ::testing::Test {
  protected:
    PathsFormTest() { loadSystemConfig(*board.board); }
    QLineEdit* box(PathsForm& form, const char* field) {
        return static_cast<QLineEdit*>(form.control(field));
    }
    bool warned(PathsForm& form, const char* field) {
        return box(form, field)->palette().color(QPalette::Base) == PathsForm::kMissingColour;
    }
    void clickOk(PathsForm& form) {
        form.findChild<QPushButton*>(QStringLiteral("cmdOK"))->click();
    }
    QByteArray stored() const { return board.read(QStringLiteral("SYSPATHS.CFG")); }

    TestBoard board;
};

TEST_F(PathsFormTest, MissingDirectoriesAreColouredAsTheTextChanges) {
    board.board->sysPaths.setText("fdx", QStringLiteral("C:\\KELD\\NOWHERE"));
    PathsForm form(*board.board);
    EXPECT_EQ(form.windowTitle(), QStringLiteral("KELD - Paths Configuration"));
    EXPECT_EQ(box(form, "fdx")->text(), QStringLiteral("C:\\KELD\\NOWHERE"));
    EXPECT_TRUE(warned(form, "fdx"));
    EXPECT_FALSE(warned(form, "main"));

    box(form, "fdx")->setText(QStringLiteral("c:\\keld\\fdx")); // DOS names are case-blind
    EXPECT_FALSE(warned(form, "fdx"));
    box(form, "fdx")->setText(board.mainDir() + QStringLiteral("/TEXT"));
    EXPECT_FALSE(warned(form, "fdx")) << "a native path is taken as it is";
    for (const char* missing : {"Q:\\KELD", "", "C:\\KELD\\MAIN.CFG"}) {
        box(form, "main")->setText(QLatin1String(missing));
        EXPECT_TRUE(warned(form, "main")) << missing;
    }
}

TEST_F(PathsFormTest, OkStoresTheBoxesCleanedAndKeepsTheUnshownPath) {
    const Record before(sysPathsLayout(), stored(), 0);
    board.board->sysPaths.setText("reservedpath", QStringLiteral("C:\\ONLY\\IN\\MEMORY"));
    PathsForm form(*board.board);
    box(form, "script")->setText(QStringLiteral("  c:\\keld\\script\\\\ "));
    box(form, "dat")->setText(QStringLiteral("C:\\KELD\\TEMP\\"));
    clickOk(form);
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_TRUE(board.dialogs.shown.empty());

    Record expected = before;
    expected.setText("reservedpath", QStringLiteral("C:\\ONLY\\IN\\MEMORY"));
    expected.setText("script", QStringLiteral("C:\\KELD\\SCRIPT"));
    expected.setText("dat", QStringLiteral("C:\\KELD\\TEMP"));
    EXPECT_EQ(stored(), expected.bytes());
    EXPECT_EQ(board.board->sysPaths.text("dat"), QStringLiteral("C:\\KELD\\TEMP"))
        << "the settings were not loaded again";
}

TEST_F(PathsFormTest, OneBadPathSavesNothingAndKeepsTheFormOpen) {
    const QByteArray before = stored();
    for (const char* bad : {"C:\\KELD\\NOWHERE", "Q:\\KELD", "  "}) {
        board.dialogs.shown.clear();
        PathsForm form(*board.board);
        box(form, "db")->setText(QLatin1String(bad));
        box(form, "script")->setText(QStringLiteral("C:\\KELD\\TEMP"));
        clickOk(form);
        EXPECT_NE(form.result(), QDialog::Accepted) << bad;
        ASSERT_EQ(board.dialogs.shown.size(), 1u) << bad;
        EXPECT_EQ(board.dialogs.shown[0].title, QStringLiteral("KELDTS - Error"));
        EXPECT_EQ(board.dialogs.shown[0].text,
                  QStringLiteral("A path is invalid or missing! Paths will not be saved."));
        EXPECT_EQ(board.dialogs.shown[0].icon, MessageIcon::Information);
        EXPECT_EQ(stored(), before) << bad;
    }
}

TEST_F(PathsFormTest, BrowseWritesTheChosenFolderOnItsDeepestDrive) {
    const QString root = QFileInfo(board.mainDir()).path();
    const QString tooLong = QStringLiteral("TEXT/deep/") + QString(40, QLatin1Char('x'));
    for (const QString& sub : {QStringLiteral("extra/sub"), QStringLiteral("extraneous"), tooLong})
        ASSERT_TRUE(QDir(board.mainDir()).mkpath(sub));
    // Nested drives on both sides of C, so neither the first nor the last match is enough.
    board.board->platform.drives.map(QLatin1Char('B'), board.mainDir() + QStringLiteral("/extra"));
    board.board->platform.drives.map(QLatin1Char('D'), board.mainDir() + QStringLiteral("/TEXT"));

    PathsForm form(*board.board);
    QString start;
    QString answer;
    form.pickFolder = [&](const QString& from) {
        start = from;
        return answer;
    };
    const auto browse = [&](const QString& chosen) {
        answer = chosen;
        form.findChild<QPushButton*>(TableForm::browseButtonName("txt"))->click();
        return box(form, "txt")->text();
    };
    EXPECT_EQ(browse(board.mainDir() + QStringLiteral("/extra/sub")), QStringLiteral("B:\\SUB"));
    EXPECT_EQ(start, root + QStringLiteral("/KELD/TEXT")) << "starts at the box's directory";
    EXPECT_EQ(browse(board.mainDir() + QStringLiteral("/TEXT/deep/")), QStringLiteral("D:\\DEEP"));
    EXPECT_EQ(browse(board.mainDir() + QStringLiteral("/extraneous")),
              QStringLiteral("C:\\KELD\\EXTRANEOUS"));
    EXPECT_EQ(browse({}), QStringLiteral("C:\\KELD\\EXTRANEOUS")) << "a cancel changed the box";
    EXPECT_TRUE(board.dialogs.shown.empty());

    box(form, "txt")->setText(QStringLiteral("C:\\KELD\\NOWHERE"));
    EXPECT_EQ(browse(QStringLiteral("/usr")), QStringLiteral("C:\\KELD\\NOWHERE"));
    EXPECT_EQ(start, QDir::currentPath());
    EXPECT_EQ(browse(board.mainDir() + QLatin1Char('/') + tooLong),
              QStringLiteral("C:\\KELD\\NOWHERE"))
        << "a path too long for its field was cut";
    ASSERT_EQ(board.dialogs.shown.size(), 2u);
    EXPECT_EQ(board.dialogs.shown[0].title, QStringLiteral("KELDTS - Error"));
    EXPECT_EQ(board.dialogs.shown[0].icon, MessageIcon::Information);
    EXPECT_TRUE(board.dialogs.shown[0].text.contains(QStringLiteral("\"D=/usr\" to the [Drives]")))
        << board.dialogs.shown[0].text.toStdString();
}

} // namespace
