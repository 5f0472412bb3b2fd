#include "server/NodeFiles.h"

#include <gtest/gtest.h>

namespace {

const QDateTime kNow(QDate(2026, 3, 14), QTime(9, 5, 7));

TEST(NodeFiles, TcpipCfgHasItsThirteenLines) {
    const QByteArray expected =
        "1234\r\n"
        "10.1.2.3\r\n"
        "Unable to resolve.\r\n"
        "1 days, 2 hours, 3 minutes, 4 seconds\r\n"
        "\r\n\r\n\r\n\r\n"
        "This file created by KELDTS v2.6.060524 @ 09:05:07 on 03/14/2026\r\n"
        "Line 1: Socket Handle ID\r\n"
        "Line 2: User's IP Address\r\n"
        "Line 3: User's Hostname\r\n"
        "Line 4: Server's Uptime When User Connected\r\n";
    EXPECT_EQ(nodefiles::tcpipCfg({QStringLiteral(" 1234 "), QStringLiteral("10.1.2.3 "),
                                   QStringLiteral(" Unable to resolve."), 93784},
                                  kNow),
              expected);
}

QByteArray batch(int node, int logoffBat) {
    return nodefiles::nodeBatch(
        {QStringLiteral(" C:\\KELD "), node, QStringLiteral("7"), 20, 100, 150, logoffBat}, kNow);
}

QByteArray expectedBatch(const QByteArray& n, bool logoff) {
    return "@ECHO OFF\r\n"
           "REM This file created by KELDTS v2.6.060524 @ 09:05:07 on 03/14/2026\r\n"
           "C:\r\n"
           "CD C:\\KELD\r\n"
           "PCANSI.COM > NUL.\r\n"
           "C:\\KELD\\NETFOSS.COM /N" +
           n +
           "\r\n"
           "IF ERRORLEVEL 1 GOTO END\r\n"
           "C:\\KELD\\NETCOM.EXE /N" +
           n + " /H7 /S20 /B100 /W150 BBS.EXE " + n +
           " /AC /B115200 /H\r\n"
           "C:\\KELD\\NETFOSS.COM /U\r\n"
           "C:\r\n"
           "CD C:\\KELD\r\n" +
           (logoff ? "IF EXIST LOGOFF.BAT CALL LOGOFF.BAT " + n + "\r\n" : QByteArray()) +
           ":END\r\n"
           "C:\r\n"
           "CD C:\\KELD\r\n"
           "DEL C:\\KELD\\KTSN" +
           n +
           ".BAT > NUL.\r\n"
           "EXIT\r\n";
}

TEST(NodeFiles, NodeBatchRunsLogoffAsConfigured) {
    EXPECT_EQ(batch(1, 0), expectedBatch("1", false));
    EXPECT_EQ(batch(1, 1), expectedBatch("1", true));
    EXPECT_EQ(batch(12, 1), expectedBatch("12", false));
    EXPECT_EQ(batch(12, 2), expectedBatch("12", true));
}

} // namespace
