#include "data/OrneSettings.h"

#include "support/TestBoard.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

class OrneSettingsTest : public ::testing::Test {
  protected:
    OrneSettingsTest() { board.loadSettings(); }
    QString path() const {
        const Result<QString> found = orne::iniPath(*board.board);
        EXPECT_TRUE(found.ok()) << found.error().toStdString();
        return found.ok() ? found.value() : QString();
    }

    TestBoard board;
};

TEST_F(OrneSettingsTest, AMissingFileIsCreatedWithTheSectionAloneAndFoundInAnyCase) {
    EXPECT_EQ(path(), board.file("ORNE-INET.INI")) << "the main directory by default";
    const Result<QString> none = orne::value(path(), QStringLiteral("SMTP"));
    ASSERT_TRUE(none.ok()) << none.error().toStdString();
    EXPECT_EQ(none.value(), "");
    EXPECT_EQ(board.read("ORNE-INET.INI"), "[ORNE]\r\n");

    // The kit's programs may have written the name in another case.
    ASSERT_TRUE(QFile::rename(board.file("ORNE-INET.INI"), board.file("orne-inet.ini")));
    EXPECT_EQ(path(), board.file("orne-inet.ini"));

    ASSERT_TRUE(QDir(board.mainDir()).mkdir("WINDOWS"));
    board.board->platform.orneDirectory = QStringLiteral("c:\\keld\\windows");
    EXPECT_EQ(path(), board.file("WINDOWS/ORNE-INET.INI"));
    board.board->platform.orneDirectory = QStringLiteral("Q:\\WINDOWS");
    EXPECT_FALSE(orne::iniPath(*board.board).ok());
}

TEST_F(OrneSettingsTest, AFileWithoutTheSectionGetsItAtItsHeadAndKeepsEveryByte) {
    // Line feeds only, a comment, blanks, a lower-case section that is not the header, and no
    // line end after the last line.
    const QByteArray kit = "; mail kit\n\n[Mail]\nSMTP=elsewhere\n  [orne] \nPOP3 = pop.example\n"
                           "[News]\nNEWS=news.example";
    board.write("ORNE-INET.INI", kit);
    const Result<QString> pop = orne::value(path(), QStringLiteral("pop3"));
    ASSERT_TRUE(pop.ok());
    EXPECT_EQ(board.read("ORNE-INET.INI"), "[ORNE]\n" + kit);
    EXPECT_EQ(pop.value(), "") << "the header at the head is the section that counts";

    // A file that has the header anywhere is left alone.
    const QByteArray later = "[Mail]\r\nX=1\r\n [ORNE]\t\r\nSMTP= mail.example \r\n";
    board.write("ORNE-INET.INI", later);
    const Result<QString> smtp = orne::value(path(), QStringLiteral("SMTP"));
    ASSERT_TRUE(smtp.ok());
    EXPECT_EQ(smtp.value(), "mail.example");
    EXPECT_EQ(board.read("ORNE-INET.INI"), later);
}

TEST_F(OrneSettingsTest, KeysAreReplacedInTheirLinesOrAddedAtTheSectionsEnd) {
    board.write("ORNE-INET.INI", "[Mail]\r\nSMTP=other\r\n\r\n[ORNE]\r\n; the kit\r\n"
                                 "smtp = old.example\r\nDOMAIN=example.org\r\n\r\n"
                                 "[News]\r\nNEWS=keep");
    const Result<> written =
        orne::setValues(path(), {{"SMTP", "new.example"}, {"POP3", "pop.example"}});
    ASSERT_TRUE(written.ok()) << written.error().toStdString();
    EXPECT_EQ(board.read("ORNE-INET.INI"),
              "[Mail]\r\nSMTP=other\r\n\r\n[ORNE]\r\n; the kit\r\nsmtp=new.example\r\n"
              "DOMAIN=example.org\r\nPOP3=pop.example\r\n\r\n[News]\r\nNEWS=keep");

    // The section at the end of a file that ends without a line end.
    board.write("ORNE-INET.INI", "[ORNE]\nSMTP=a");
    ASSERT_TRUE(orne::setValues(path(), {{"NEWS", "n"}}).ok());
    EXPECT_EQ(board.read("ORNE-INET.INI"), "[ORNE]\nSMTP=a\nNEWS=n\n");

    EXPECT_FALSE(orne::setValues(path(), {{"NEWS", "a\r\n[Other]"}}).ok());
    EXPECT_EQ(board.read("ORNE-INET.INI"), "[ORNE]\nSMTP=a\nNEWS=n\n");
}

TEST(OrneFields, PathsAreStoredInCapitalsWithoutTrailingBackslashes) {
    const orne::Field& path = *orne::findField(QStringLiteral("newsoutpath"));
    EXPECT_EQ(orne::stored(path, QStringLiteral(" c:\\orne\\out\\\\ ")), "C:\\ORNE\\OUT");
    EXPECT_EQ(orne::stored(path, QStringLiteral("\\")), "");
    EXPECT_EQ(orne::stored(*orne::findField(QStringLiteral("POP3PW")), QStringLiteral(" Pw\\ ")),
              "Pw\\");
    EXPECT_EQ(orne::findField(QStringLiteral("WINDIR")), nullptr);
}

} // namespace
