#include "data/ListTables.h"
#include "data/FieldCodec.h"
#include "data/records/BoardFiles.h"
#include "data/records/TextLines.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

class ListTablesTest : public ::testing::Test {
  protected:
    void SetUp() override { tb.loadSettings(); }

    std::unique_ptr<TableRows> open(const QString& name) {
        Result<listtables::Opened> opened = listtables::open(*tb.board, name);
        EXPECT_TRUE(opened.ok()) << opened.error().toStdString();
        return opened ? std::move(opened->rows) : nullptr;
    }
    QString answers(int question) const { return tb.board->path(voteAnswerLayout(), question); }
    QByteArray readAnswers(int question) const {
        QFile file(answers(question));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
    }
    void writeAnswers(int question, const QByteArray& bytes) const {
        QFile file(answers(question));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    static QStringList texts(const Result<QList<Record>>& records, std::string_view field) {
        QStringList all;
        for (const Record& record : records.value())
            all << record.text(field);
        return all;
    }

    TestBoard tb;
};

TEST_F(ListTablesTest, EveryEditFormFitsTheRowsItEdits) {
    for (const listtables::ListTable& table : listtables::all()) {
        SCOPED_TRACE(table.fileName);
        const formtable::Table& form = table.form();
        for (const formtable::Entry& entry : form.entries)
            EXPECT_EQ(fieldcodec::mismatch(entry, form.layout->find(entry.field)), "");
    }
}

TEST_F(ListTablesTest, BoardFileNamesPickTheirTablesCaseBlind) {
    EXPECT_STREQ(listtables::open(*tb.board, "doors.cfg")->table->fileName, "DOORS.CFG");
    EXPECT_STREQ(listtables::open(*tb.board, "Text200.dat")->table->fileName, "TEXTn.DAT");
    EXPECT_STREQ(listtables::open(*tb.board, "room7.cfg")->table->fileName, "ROOMn.CFG");
    EXPECT_EQ(listtables::open(*tb.board, "sysop.fb")->rows->name(), "SYSOP.FB");
    for (const char* refused : {"TEXT0.DAT", "TEXT201.DAT", "ROOM101.CFG", "MAIN.CFG", "A B.FB"})
        EXPECT_FALSE(listtables::open(*tb.board, refused).ok()) << refused;
}

// A question's answers live in the file of its number: they follow it through inserts,
// deletions and moves, also when one of the files is missing.
TEST_F(ListTablesTest, AnswerFilesFollowTheirQuestions) {
    auto rows = open("VOTE.CFG");
    writeAnswers(1, "stale");
    ASSERT_EQ(rows->insertNew().value(), 0);
    EXPECT_EQ(readAnswers(1), "missing") << "a new question starts without answers";
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(rows->insertNew().ok());
    for (int question = 1; question <= 3; ++question) {
        ASSERT_TRUE(rows->edit(question - 1,
                               [question](const Record& current) -> Result<Record> {
                                   Record record = current;
                                   record.setText("votequestion",
                                                  QStringLiteral("Q%1").arg(question));
                                   return record;
                               })
                        .ok());
        writeAnswers(question, "a" + QByteArray::number(question));
    }

    ASSERT_TRUE(rows->remove(1).ok());
    EXPECT_EQ(texts(rows->read(), "votequestion"), QStringList({"Q1", "Q3"}));
    EXPECT_EQ(readAnswers(2), "a3");
    EXPECT_EQ(readAnswers(3), "missing");

    ASSERT_TRUE(rows->move(1, true).ok());
    EXPECT_EQ(texts(rows->read(), "votequestion"), QStringList({"Q3", "Q1"}));
    EXPECT_EQ(readAnswers(1), "a3");
    EXPECT_EQ(readAnswers(2), "a1");

    ASSERT_TRUE(QFile::remove(answers(2)));
    ASSERT_TRUE(rows->move(0, false).ok());
    EXPECT_EQ(readAnswers(1), "missing");
    EXPECT_EQ(readAnswers(2), "a3");
    EXPECT_FALSE(QFile::exists(tb.board->filePath("temp", "VOTE.TMP")));
}

// Each section has bulletins of its own, which move with it; a section's bulletins are a table
// of twenty.
TEST_F(ListTablesTest, BulletinsBelongToTheirSection) {
    auto sections = open("TEXTSECT.CFG");
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(sections->insertNew().ok());
    auto second = open("TEXT2.DAT");
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(second->insertNew().ok());
    EXPECT_FALSE(second->insertNew().ok());
    EXPECT_EQ(open("TEXT1.DAT")->read()->size(), 0);

    ASSERT_TRUE(sections->move(1, true).ok());
    EXPECT_EQ(open("TEXT1.DAT")->read()->size(), 20);
    EXPECT_EQ(open("TEXT2.DAT")->read()->size(), 0);
    ASSERT_TRUE(sections->remove(1).ok());
    EXPECT_EQ(open("TEXT1.DAT")->read()->size(), 20);
    ASSERT_TRUE(sections->remove(0).ok());
    EXPECT_FALSE(QFile::exists(tb.board->path(bulletinLayout(), 1)));
}

TEST_F(ListTablesTest, ValidationProfilesAreAlwaysNine) {
    tb.write("QUICKVAL.CFG", {});
    auto rows = open("QUICKVAL.CFG");
    ASSERT_EQ(rows->read()->size(), 9);
    EXPECT_FALSE(rows->insertNew().ok());
    EXPECT_FALSE(rows->remove(0).ok());
    EXPECT_EQ(tb.read("QUICKVAL.CFG"), QByteArray(72, '\0'));
}

// A room is a file: a free room is none, a removal deletes it, and a move swaps two files.
TEST_F(ListTablesTest, RoomsAreFilesThatSwapPlaces) {
    auto rooms = listtables::named("ROOMn.CFG").rows(*tb.board, 0, {});
    ASSERT_EQ(rooms->read()->size(), 100);
    ASSERT_TRUE(rooms
                    ->edit(0,
                           [](const Record& current) -> Result<Record> {
                               Record room = current;
                               room.setText("roomname", QStringLiteral("Lobby"));
                               room.setI32("roommod", 12);
                               return room;
                           })
                    .ok());
    EXPECT_EQ(tb.read("ROOM1.CFG"), "Lobby,12\r\n");
    ASSERT_TRUE(rooms->move(0, false).ok());
    EXPECT_FALSE(QFile::exists(tb.file("ROOM1.CFG")));
    EXPECT_EQ(tb.read("ROOM2.CFG"), "Lobby,12\r\n");
    EXPECT_EQ(open("ROOM2.CFG")->read()->first().text("roomname"), "Lobby");
    ASSERT_TRUE(rooms->edit(0, [](const Record& current) { return Result<Record>(current); }).ok());
    EXPECT_EQ(tb.read("ROOM1.CFG"), "Room 1,0\r\n") << "an empty name is saved as the room's own";
    ASSERT_TRUE(rooms->remove(1).ok());
    EXPECT_FALSE(QFile::exists(tb.file("ROOM2.CFG")));
    EXPECT_FALSE(rooms->insertNew().ok());
}

TEST_F(ListTablesTest, TextLinesReadAsTheirFieldsAndAreWrittenWhole) {
    const Record irc = textlines::parseIrc(QStringLiteral("irc.example.net  6667 12"));
    EXPECT_EQ(irc.text("serverhost"), "irc.example.net");
    EXPECT_EQ(irc.i32("serverport"), 6667);
    EXPECT_EQ(irc.i16("serverautoopbot") + irc.i16("serverwelcomebot"), 2);
    EXPECT_EQ(irc.i16("serverbusybot") + irc.i16("serverprofanity"), 0);
    EXPECT_EQ(textlines::parseAction(QStringLiteral("WAVE")).text("actiontext"), "");

    tb.write("AUTORESP.CFG", "hello,C:\\R.TXT\r\n\r\n  bye,C:\\B.TXT,C:\\F.ZIP \r\n");
    auto rows = open("AUTORESP.CFG");
    ASSERT_EQ(rows->read()->size(), 2);
    ASSERT_TRUE(rows->move(0, false).ok());
    EXPECT_EQ(tb.read("AUTORESP.CFG"), "bye,C:\\B.TXT,C:\\F.ZIP\r\nhello,C:\\R.TXT\r\n");
    ASSERT_TRUE(rows->remove(0).ok());
    ASSERT_TRUE(rows->insertNew().ok());
    EXPECT_EQ(tb.read("AUTORESP.CFG"), "hello,C:\\R.TXT\r\n,,\r\n");
}

// A function block's two head lines stay what they are, empty or not, whatever happens to the
// command lines below them; only the 42 command lines shown are taken.
TEST_F(ListTablesTest, FunctionBlockHeadLinesAreKept) {
    tb.write("SCRIPT/EMPTY.FB", "\r\n");
    auto block = open("EMPTY.FB");
    ASSERT_TRUE(block->insertNew().ok());
    ASSERT_TRUE(block->remove(0).ok());
    EXPECT_EQ(tb.read("SCRIPT/EMPTY.FB"), "\r\n\r\n");

    QByteArray text = "MAIN\r\nAB\r\n";
    for (int i = 0; i < 50; ++i)
        text += "/C" + QByteArray::number(i) + "  010 2  RUN  IT\r\n";
    tb.write("SCRIPT/MAIN.FB", text);
    block = open("MAIN.FB");
    const Result<QList<Record>> lines = block->read();
    ASSERT_EQ(lines->size(), 42);
    EXPECT_EQ(lines->first().text("fbcommand"), "RUN IT");
    EXPECT_FALSE(block->insertNew().ok());
    ASSERT_TRUE(block->remove(40).ok());
    ASSERT_TRUE(block->insertNew().ok());
    const QByteArray saved = tb.read("SCRIPT/MAIN.FB");
    EXPECT_TRUE(saved.startsWith("MAIN\r\nAB\r\n/C0  010 2  RUN  IT\r\n")) << saved.left(40).data();
    EXPECT_TRUE(saved.endsWith("/C41  010 2  RUN  IT\r\n/NEW 001 1 command\r\n"));
    EXPECT_EQ(block->readHead()->text("fbMenu"), "MAIN");
}

} // namespace
