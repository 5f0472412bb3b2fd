// Users keep their numbers through deletes, inserts and compress, and a freed number takes
// everything it carried with it.

#include "data/UserAccounts.h"
#include "data/RecordTable.h"
#include "data/UserRows.h"
#include "data/records/BoardFiles.h"
#include "support/TestBoard.h"

#include <QFile>

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace {

class UserAccountsTest : public ::testing::Test {
  protected:
    void SetUp() override { board.loadSettings(); }

    QString path(const RecordLayout& layout) const { return board.board->path(layout); }

    // Users 1..n with these security levels, handles "U1", "U2", ... and a fresh index.
    void makeUsers(std::initializer_list<qint16> levels) {
        QByteArray bytes;
        int n = 0;
        for (qint16 level : levels) {
            Record user = useraccounts::newUser();
            user.setStr("handle", "U" + QByteArray::number(++n));
            user.setStr("realname", "Real " + QByteArray::number(n));
            user.setI16("securitylevel", level);
            bytes += user.bytes();
        }
        board.write("DATA/USERFILE.DAT", bytes);
        ASSERT_TRUE(useraccounts::rebuildIndex(*board.board).ok());
    }
    QList<Record> users() const {
        return recordtable::read(path(userLayout()), userLayout()).value();
    }
    QList<Record> index() const {
        return recordtable::read(path(userIndexLayout()), userIndexLayout()).value();
    }
    // A message of `from` to `to` whose text lies at `offset` (one-based) in the store.
    static Record message(int from, int to, int offset, int length) {
        Record mail(mailLayout());
        mail.clear();
        mail.setI32("fromuser", from);
        mail.setI32("touser", to);
        mail.setI32("textoffset", offset);
        mail.setI32("textlength", length);
        return mail;
    }

    TestBoard board;
    UserRows rows{*board.board};
};

TEST_F(UserAccountsTest, ADeleteLeavesAHoleAndCompressGivesBackOnlyTheTail) {
    makeUsers({10, 20, 30, 40, 50, 60, 70, 80, 90, 100});
    EXPECT_EQ(useraccounts::find(users(), QStringLiteral("real 2")), QList<int>{2});
    // Users keep their numbers: none moves, and none past the last can go.
    EXPECT_FALSE(rows.move(0, false).ok());
    EXPECT_FALSE(rows.remove(10).ok());
    ASSERT_TRUE(rows.remove(4).ok());
    QList<Record> now = users();
    ASSERT_EQ(now.size(), 10);
    const Record& five = now.at(4);
    EXPECT_EQ(five.str("handle"), "U5");
    EXPECT_EQ(five.i16("securitylevel"), 0);
    EXPECT_EQ(five.i16("maxtime"), 1);
    EXPECT_EQ(five.i32("accflags"), 0);
    EXPECT_EQ(index().at(4).str("handle"), useraccounts::kDeletedHandle);
    EXPECT_EQ(index().at(4).str("realname"), "Real 5");
    EXPECT_TRUE(useraccounts::rowColumns(five).endsWith(QStringLiteral("(AVAILABLE)")));

    // A hole in the middle stays, whatever compress is asked.
    EXPECT_EQ(useraccounts::compress(*board.board).value(), 10);
    ASSERT_TRUE(rows.remove(9).ok());
    EXPECT_EQ(useraccounts::compress(*board.board).value(), 9);
    ASSERT_TRUE(rows.remove(7).ok());
    ASSERT_TRUE(rows.remove(8).ok());
    EXPECT_EQ(useraccounts::compress(*board.board).value(), 7);
    EXPECT_EQ(users().size(), 7);
    EXPECT_EQ(index().size(), 7);
    EXPECT_EQ(users().at(4).str("handle"), "U5");
    EXPECT_EQ(index().at(6).i16("usernumber"), 7);
}

TEST_F(UserAccountsTest, ANumberGivenBackByCompressStartsCleanWhenInsertedAgain) {
    makeUsers({10, 20, 0});
    // What user 3 left behind: mail, votes, his lines of HANDLES.UIP and his own files.
    board.write("DB/EMAIL.DAT", message(1, 3, 1, 3).bytes() + message(3, 1, 4, 2).bytes());
    board.write("DB/EMAIL.BIN", "abcde");
    board.write("DB/EMAIL.QSC", QByteArray(16, '\x7f'));
    board.write("DATA/VOTE1.DAT", QByteArray(12, '\x01'));
    board.write("DATA/VOTE2.DAT", QByteArray(4, '\x01'));
    for (const char* own : {"MM3.1", "MM3.2", "AB3.DAT", "IRC3.DAT", "MM2.1"})
        board.write(QStringLiteral("DATA/") + own, "x");
    board.write("HANDLES.UIP", "Jo,3,a,b\r\nAl,2,c,d\r\nBo, 3 ,e,f\r\n");

    EXPECT_EQ(useraccounts::compress(*board.board).value(), 2);
    const Result<int> row = rows.insertNew();
    ASSERT_TRUE(row.ok());
    EXPECT_EQ(row.value(), 2);
    EXPECT_EQ(users().at(2).i16("pagebreak"), 24);
    EXPECT_EQ(index().at(2).str("realname"), "'");

    EXPECT_EQ(board.read("DB/EMAIL.DAT"), message(3, 1, 1, 2).bytes());
    EXPECT_EQ(board.read("DB/EMAIL.BIN"), "de\r\n");
    EXPECT_EQ(board.read("DB/EMAIL.QSC"),
              QByteArray(8, '\x7f') + QByteArray(4, '\0') + QByteArray(4, '\x7f'));
    // Record 2u - 1 of two bytes: the vote of user 3 lies at bytes 8 and 9.
    EXPECT_EQ(board.read("DATA/VOTE1.DAT"),
              QByteArray(8, '\x01') + QByteArray(2, '\0') + QByteArray(2, '\x01'));
    EXPECT_EQ(board.read("DATA/VOTE2.DAT").left(4), QByteArray(4, '\x01'));
    for (const char* gone : {"MM3.1", "MM3.2", "AB3.DAT", "IRC3.DAT"})
        EXPECT_FALSE(QFile::exists(board.file(QStringLiteral("DATA/") + gone))) << gone;
    EXPECT_TRUE(QFile::exists(board.file("DATA/MM2.1")));
    EXPECT_EQ(board.read("HANDLES.UIP"), "Al,2,c,d\r\n");
}

TEST_F(UserAccountsTest, APurgeKeepsEveryOtherMessageTextWhereItsRecordNowPoints) {
    // Four texts in the store, two of them to user 2, one of those in the middle.
    const QByteArray store = "AAAA"
                             "BBBBBB"
                             "CC"
                             "DDD";
    board.write("DB/EMAIL.BIN", store);
    board.write("DB/EMAIL.DAT", message(9, 2, 1, 4).bytes() + message(9, 5, 5, 6).bytes() +
                                    message(9, 2, 11, 2).bytes() + message(9, 7, 13, 3).bytes());
    // Another base's own store is never read: its texts are taken from EMAIL.BIN.
    board.write("DB/SNTEMAIL.DAT", message(4, 8, 5, 6).bytes() + message(2, 8, 1, 4).bytes());
    board.write("DB/SNTEMAIL.BIN", "zzzzzzzzzzzzzzz");

    ASSERT_TRUE(useraccounts::purgeUserMail(*board.board, 2, QStringLiteral("EMAIL"), false).ok());
    const QByteArray bin = board.read("DB/EMAIL.BIN");
    EXPECT_EQ(bin, "BBBBBBDDD\r\n");
    const QList<Record> kept = recordtable::read(board.file("DB/EMAIL.DAT"), mailLayout()).value();
    ASSERT_EQ(kept.size(), 2);
    EXPECT_EQ(bin.mid(kept.at(0).i32("textoffset") - 1, kept.at(0).i32("textlength")), "BBBBBB");
    EXPECT_EQ(bin.mid(kept.at(1).i32("textoffset") - 1, kept.at(1).i32("textlength")), "DDD");

    ASSERT_TRUE(
        useraccounts::purgeUserMail(*board.board, 2, QStringLiteral("SNTEMAIL"), true).ok());
    EXPECT_EQ(board.read("DB/SNTEMAIL.BIN"), "BBDDD\r\n\r\n");
    EXPECT_EQ(board.read("DB/SNTEMAIL.DAT"), message(4, 8, 5, 6).bytes());
}

TEST_F(UserAccountsTest, NodeWritesDuringAndAfterACompressLoseNothing) {
    makeUsers({10, 20, 30, 0, 0});
    // The node program has the file open, as it does while its caller is on.
    QFile node(path(userLayout()));
    ASSERT_TRUE(node.open(QIODevice::ReadWrite));
    const auto nodeWrites = [&node](int number, const Record& user) {
        node.seek(qint64(number - 1) * userLayout().length);
        node.write(user.bytes());
        node.flush();
    };
    Record changed = users().at(2);
    changed.setI32("totalcalls", 4242);
    int passes = 0;
    const auto writingDuringThePass = [&](const Record& user, int number) {
        return [&, user, number](const QString&, int) {
            if (passes++ == 0)
                nodeWrites(number, user);
        };
    };
    const Result<int> left = useraccounts::compress(*board.board, writingDuringThePass(changed, 3));
    EXPECT_EQ(left.value(), 3);
    EXPECT_EQ(users().size(), 3);
    EXPECT_EQ(index().size(), 3);
    EXPECT_EQ(users().at(2).i32("totalcalls"), 4242);
    // Its descriptor still leads to the file everyone else reads.
    changed.setI32("totalcalls", 4343);
    nodeWrites(3, changed);
    EXPECT_EQ(users().at(2).i32("totalcalls"), 4343);

    // A new caller takes a free number at the end while compress runs: he stays.
    ASSERT_TRUE(rows.insertNew().ok());
    ASSERT_TRUE(rows.insertNew().ok());
    Record newcomer = users().at(3);
    newcomer.setI16("securitylevel", 10);
    passes = 0;
    EXPECT_FALSE(useraccounts::compress(*board.board, writingDuringThePass(newcomer, 4)).ok());
    ASSERT_EQ(users().size(), 5);
    EXPECT_EQ(users().at(3).i16("securitylevel"), 10);
}

// A node adds mail while a purge runs, through the descriptors it opened before: the purge
// either keeps every message it added, its text where the record points, or says it could not
// finish; it never drops one and reports success.
TEST_F(UserAccountsTest, MailANodeAddsDuringAPurgeIsKeptOrThePurgeFails) {
    QByteArray records, store;
    for (int n = 0; n < 2000; ++n) {
        const QByteArray text = "text " + QByteArray::number(n) + "\r\n";
        records += message(9, n % 2 ? 2 : 5, int(store.size()) + 1, int(text.size())).bytes();
        store += text;
    }
    board.write("DB/EMAIL.DAT", records);
    board.write("DB/EMAIL.BIN", store);
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            // The node's descriptors, opened before the purge begins to write.
            QFile dat(board.file("DB/EMAIL.DAT")), bin(board.file("DB/EMAIL.BIN"));
            if (!dat.open(QIODevice::ReadWrite) || !bin.open(QIODevice::ReadWrite))
                ::_exit(3);
            for (int n = 0; n < 40 * (round + 1); ++n) {
                const QByteArray text = "node " + QByteArray::number(round * 1000 + n) + "\r\n";
                const qint64 at = bin.size();
                bin.seek(at);
                bin.write(text);
                bin.flush();
                dat.seek(dat.size() - dat.size() % mailLayout().length);
                dat.write(message(7, 5, int(at) + 1, int(text.size())).bytes());
                dat.flush();
                ::usleep(200);
            }
            ::_exit(0);
        }
        const Result<> purged =
            useraccounts::purgeUserMail(*board.board, 2, QStringLiteral("EMAIL"), false);
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
        if (!purged.ok()) {
            EXPECT_TRUE(purged.error().contains("EMAIL.DAT")) << purged.error().toStdString();
            continue;
        }
        const QByteArray bin = board.read("DB/EMAIL.BIN");
        int found = 0;
        const QList<Record> mails =
            recordtable::read(board.file("DB/EMAIL.DAT"), mailLayout()).value();
        for (const Record& mail : mails) {
            const QByteArray text = bin.mid(mail.i32("textoffset") - 1, mail.i32("textlength"));
            EXPECT_NE(mail.i32("touser"), 2);
            if (mail.i32("fromuser") == 7 &&
                text == "node " + QByteArray::number(round * 1000 + found) + "\r\n")
                ++found;
        }
        EXPECT_EQ(found, 40 * (round + 1))
            << "the purge said it was done, but lost what a node wrote";
        // The next round purges the same user again, whose mail is gone already: new mail to
        // him keeps each round a real purge.
        QFile dat(board.file("DB/EMAIL.DAT")), texts(board.file("DB/EMAIL.BIN"));
        ASSERT_TRUE(dat.open(QIODevice::Append) && texts.open(QIODevice::Append));
        for (int n = 0; n < 500; ++n) {
            dat.write(message(9, 2, int(texts.size()) + 1, 4).bytes());
            texts.write("gone");
        }
    }
}

} // namespace
