#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

const QByteArray kHeader = "KELDTS Event Log\r\n" + QByteArray(79, '-') +
                           "\r\nDate           Time      Description\r\n" + QByteArray(79, '-') +
                           "\r\n";

class BoardLogsTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_FALSE(loadSystemConfig(*t.board).fatal); }
    QByteArray log() const { return t.read("KELDTS.LOG"); }
    QByteArray old() const { return t.read("KELDTS.OLD"); }

    TestBoard t;
};

TEST_F(BoardLogsTest, EventLogHasItsHeaderAndOneStampedEntryALine) {
    t.clock.set(QDateTime(QDate(2026, 12, 1), QTime(9, 5, 7)));
    t.logs.writeEventLog(QStringLiteral("(3) Connection Accepted [10.0.0.1] ─"));
    EXPECT_EQ(log(),
              kHeader + "Tue 2026-12-01 09:05:07  (3) Connection Accepted [10.0.0.1] \xC4\r\n");
    EXPECT_TRUE(t.pane.lines().isEmpty());

    // A log that exists, even empty, gets no second header.
    t.write("KELDTS.LOG", {});
    t.logs.writeEventLog(QStringLiteral("x"));
    EXPECT_EQ(log(), "Tue 2026-12-01 09:05:07  x\r\n");
}

TEST_F(BoardLogsTest, RotatesOnlyOnceTheLogIsLargerThanTheLimit) {
    const QByteArray entry = "Sat 2026-03-14 12:00:00  0123456789\r\n";
    t.write("KELDTS.OLD", "previous generation");
    t.write("KELDTS.LOG", QByteArray(1024, 'a'));
    t.board->serverConfig.setI32("maxlogsize", 1024);
    t.logs.writeEventLog(QStringLiteral("0123456789")); // exactly at the limit: kept
    EXPECT_EQ(old(), "previous generation");
    const QByteArray before = log();
    EXPECT_EQ(before, QByteArray(1024, 'a') + entry);
    t.logs.writeEventLog(QStringLiteral("0123456789"));
    EXPECT_EQ(old(), before);
    EXPECT_EQ(log(), kHeader + entry);

    // With no limit the log grows and the old copy stays as it is.
    for (const qint32 limit : {0, -1}) {
        t.board->serverConfig.setI32("maxlogsize", limit);
        t.write("KELDTS.LOG", QByteArray(5000, 'a'));
        t.logs.writeEventLog(QStringLiteral("0123456789"));
        EXPECT_EQ(log(), QByteArray(5000, 'a') + entry);
        EXPECT_EQ(old(), before);
    }
}

// A failed event log write, reported once on the pane, is seen end to end; what the board log
// holds, in the server's and the node commands' tests.
TEST_F(BoardLogsTest, AFailedBoardLogWriteIsTheCallersToReport) {
    ASSERT_TRUE(QDir(t.file("DATA")).removeRecursively());
    EXPECT_FALSE(t.logs.writeBbsLog(QStringLiteral("CH 1 lost")));
    EXPECT_TRUE(t.pane.lines().isEmpty());
}

TEST(DebugPane, KeepsTheNewestLinesWithinItsBound) {
    DebugPane pane(3);
    for (const char* line : {"1", "2", "3", "4", "5"})
        pane.append(QLatin1String(line));
    EXPECT_EQ(pane.lines(), QStringList({"3", "4", "5"}));
    pane.clear();
    pane.append(QStringLiteral("6"));
    EXPECT_EQ(pane.lines(), QStringList({"6"}));
}

} // namespace
