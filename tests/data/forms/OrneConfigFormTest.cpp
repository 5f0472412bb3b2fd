#include "data/forms/OrneConfigForm.h"

#include "data/forms/FolderBrowse.h"
#include "support/TestBoard.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

namespace {

TEST(OrneConfigFormTest, MissingDirectoriesAreColouredAndPathsSavedInCapitalsWithoutBackslashes) {
    TestBoard board;
    board.loadSettings();
    board.write("ORNE-INET.INI", "[Kit]\r\nA=1\r\n[ORNE]\r\nSMTP= mail.example \r\n"
                                 "POP3PATH=C:\\KELD\\TEXT\r\nNEWSINPATH=C:\\NOWHERE\r\n");
    std::unique_ptr<QDialog> form(OrneConfigForm::open(*board.board, nullptr));
    ASSERT_NE(form, nullptr);
    const auto box = [&](const char* name) { return form->findChild<QLineEdit*>(name); };
    const auto warned = [&](const char* name) {
        return box(name)->palette().color(QPalette::Base) == folderbrowse::kMissingColour;
    };
    EXPECT_EQ(box("smtphost")->text(), "mail.example");
    EXPECT_FALSE(warned("poppath"));
    EXPECT_TRUE(warned("nntpinpath"));
    EXPECT_TRUE(warned("smtppath")) << "an empty path names no directory";
    EXPECT_FALSE(warned("smtphost"));
    box("nntpinpath")->setText(QStringLiteral("C:\\KELD"));
    EXPECT_FALSE(warned("nntpinpath"));

    QTest::keyClicks(box("smtppath"), QStringLiteral("c:\\orne\\out\\\\"));
    EXPECT_EQ(box("smtppath")->text(), "C:\\ORNE\\OUT\\\\");
    static_cast<OrneConfigForm&>(*form).pickFolder =
        [&](const QString&, const std::function<void(const QString&)>& pick) {
            pick(board.mainDir() + QStringLiteral("/TEXT"));
        };
    form->findChild<QPushButton*>("cmdNntpOutPathBrowse")->click();
    EXPECT_EQ(box("nntpoutpath")->text(), "C:\\KELD\\TEXT");
    EXPECT_FALSE(warned("nntpoutpath"));

    form->findChild<QPushButton*>("cmdOK")->click();
    EXPECT_EQ(form->result(), QDialog::Accepted);
    EXPECT_EQ(board.read("ORNE-INET.INI"),
              "[Kit]\r\nA=1\r\n[ORNE]\r\nSMTP=mail.example\r\nPOP3PATH=C:\\KELD\\TEXT\r\n"
              "NEWSINPATH=C:\\KELD\r\nDOMAIN=\r\nSMTPPATH=C:\\ORNE\\OUT\r\nPOP3=\r\n"
              "POP3LOGIN=\r\nPOP3PW=\r\nNEWS=\r\nNEWSOUTPATH=C:\\KELD\\TEXT\r\nGMTOFFSET=\r\n");
}

TEST(OrneConfigFormTest, AFileThatCannotBeMadeKeepsTheFormShut) {
    TestBoard board;
    board.loadSettings();
    board.board->platform.orneDirectory = QStringLiteral("C:\\KELD\\NOWHERE");
    EXPECT_EQ(OrneConfigForm::open(*board.board, nullptr), nullptr);
    ASSERT_EQ(board.dialogs.shown.size(), 1u);
    EXPECT_EQ(board.dialogs.shown[0].text, "An error occurred; closing configuration.");
}

} // namespace
