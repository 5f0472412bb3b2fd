#include "data/SystemConfig.h"
#include "support/TestBoard.h"

#include <QDir>
#include <QFile>

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
    void setLimit(qint32 bytes) { t.board->serverConfig.setI32("maxlogsize", bytes); }

    TestBoard t;
};

TEST_F(BoardLogsTest, EventLogHasItsHeaderAndOneStampedEntryALine) {
    t.logs.writeEventLog(QStringLiteral("--- KELDTS v2.6.060524 Loaded"));
    t.clock.set(QDateTime(QDate(2026, 12, 1), QTime(9, 5, 7)));
    t.logs.writeEventLog(QStringLiteral("(3) Connection Accepted [10.0.0.1] ─"));
    EXPECT_EQ(log(), kHeader + "Sat 2026-03-14 12:00:00  --- KELDTS v2.6.060524 Loaded\r\n" +
                         "Tue 2026-12-01 09:05:07  (3) Connection Accepted [10.0.0.1] \xC4\r\n");
    EXPECT_TRUE(t.pane.lines().isEmpty());

    // A log that exists, even empty, gets no second header.
    t.write("KELDTS.LOG", {});
    t.logs.writeEventLog(QStringLiteral("x"));
    EXPECT_EQ(log(), "Tue 2026-12-01 09:05:07  x\r\n");
}

TEST_F(BoardLogsTest, RotatesOnlyOnceTheLogIsLargerThanTheLimit) {
    const QByteArray entry = "Sat 2026-03-14 12:00:00  0123456789\r\n"; // 37 bytes
    t.write("KELDTS.OLD", "previous generation");
    t.write("KELDTS.LOG", QByteArray(1024 - entry.size(), 'a'));
    setLimit(1024);
    t.logs.writeEventLog(QStringLiteral("0123456789")); // now exactly at the limit: kept
    ASSERT_EQ(log().size(), 1024);
    EXPECT_EQ(old(), "previous generation");
    t.write("KELDTS.LOG", log() + "b");
    const QByteArray before = log();
    t.logs.writeEventLog(QStringLiteral("0123456789"));
    EXPECT_EQ(old(), before);
    EXPECT_EQ(log(), kHeader + entry);

    // With no limit the log grows and the old copy stays as it is.
    for (const qint32 limit : {0, -1}) {
        setLimit(limit);
        t.write("KELDTS.LOG", QByteArray(5000, 'a'));
        t.logs.writeEventLog(QStringLiteral("0123456789"));
        EXPECT_EQ(log(), QByteArray(5000, 'a') + entry);
        EXPECT_EQ(old(), before);
    }
}

// A failed event log write, reported once on the pane, is seen end to end.
TEST_F(BoardLogsTest, TheBoardLogHasNoHeaderAndItsFailureIsTheCallersToReport) {
    EXPECT_TRUE(t.logs.writeBbsLog(QStringLiteral("CH 1 line")));
    EXPECT_TRUE(t.logs.writeBbsLog(QStringLiteral("CH 2 line")));
    EXPECT_EQ(t.read("DATA/BBS.LOG"), "CH 1 line\r\nCH 2 line\r\n");

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
    EXPECT_TRUE(pane.lines().isEmpty());
    pane.append(QStringLiteral("6"));
    EXPECT_EQ(pane.lines(), QStringList({"6"}));
}

} // namespace
