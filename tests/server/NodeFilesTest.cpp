#include "server/NodeFiles.h"

#include <gtest/gtest.h>

namespace {

const QDateTime kNow(QDate(2026, 3, 14), QTime(9, 5, 7));

TEST(NodeFiles, TcpipCfgHasItsThirteenLines) {
    const QByteArray expected =
        "1234\r\n10.1.2.3\r\nUnable to resolve.\r\n1 days, 2 hours, 3 minutes, 4 seconds\r\n"
        "\r\n\r\n\r\n\r\nThis file created by KELDTS v2.6.060524 @ 09:05:07 on 03/14/2026\r\n"
        "Line 1: Socket Handle ID\r\nLine 2: User's IP Address\r\nLine 3: User's Hostname\r\n"
        "Line 4: Server's Uptime When User Connected\r\n";
    EXPECT_EQ(nodefiles::tcpipCfg({" 1234 ", "10.1.2.3 ", " Unable to resolve.", 93784}, kNow),
              expected);
}

QByteArray batch(int node, int logoffBat) {
    return nodefiles::nodeBatch(
        {QStringLiteral(" C:\\KELD "), node, QStringLiteral("7"), 20, 100, 150, logoffBat}, kNow);
}

// "#" stands for the node number.
QByteArray expectedBatch(const QByteArray& n, bool logoff) {
    QByteArray text =
        "@ECHO OFF\r\nREM This file created by KELDTS v2.6.060524 @ 09:05:07 on 03/14/2026\r\n"
        "C:\r\nCD C:\\KELD\r\nPCANSI.COM > NUL.\r\nC:\\KELD\\NETFOSS.COM /N#\r\n"
        "IF ERRORLEVEL 1 GOTO END\r\n"
        "C:\\KELD\\NETCOM.EXE /N# /H7 /S20 /B100 /W150 BBS.EXE # /AC /B115200 /H\r\n"
        "C:\\KELD\\NETFOSS.COM /U\r\nC:\r\nCD C:\\KELD\r\n" +
        QByteArray(logoff ? "IF EXIST LOGOFF.BAT CALL LOGOFF.BAT #\r\n" : "") +
        ":END\r\nC:\r\nCD C:\\KELD\r\nDEL C:\\KELD\\KTSN#.BAT > NUL.\r\nEXIT\r\n";
    return text.replace('#', n);
}

TEST(NodeFiles, NodeBatchRunsLogoffAsConfigured) {
    EXPECT_EQ(batch(1, 0), expectedBatch("1", false));
    EXPECT_EQ(batch(1, 1), expectedBatch("1", true));
    EXPECT_EQ(batch(12, 1), expectedBatch("12", false));
    EXPECT_EQ(batch(12, 2), expectedBatch("12", true));
}

} // namespace
