#include "server/NodeFiles.h"

#include "data/Board.h"
#include "data/TextHelpers.h"
#include "platform/Cp437.h"
#include "platform/FileAccess.h"

#include <QStringList>

namespace nodefiles {

QByteArray crlfLines(const QStringList& lines) {
    QByteArray out;
    for (const QString& line : lines)
        out += cp437::fromUnicode(line) + "\r\n";
    return out;
}

QStringList backToMain(const QString& mainDirectory) {
    return {mainDirectory.left(2), QStringLiteral("CD ") + mainDirectory};
}

QStringList batchHead(const QString& mainDirectory, const QDateTime& now) {
    return QStringList{QStringLiteral("@ECHO OFF"), QStringLiteral("REM ") + createdBy(now)} +
           backToMain(mainDirectory);
}

QString createdBy(const QDateTime& now) {
    return QStringLiteral("This file created by KELDTS v%1 @ %2 on %3")
        .arg(QString::fromLatin1(Board::kVersion), now.toString(QStringLiteral("HH:mm:ss")),
             now.toString(QStringLiteral("MM/dd/yyyy")));
}

QByteArray tcpipCfg(const TcpipInfo& info, const QDateTime& now) {
    return crlfLines({info.handle.trimmed(), info.address.trimmed(), info.hostName.trimmed(),
                      buildUptimeText(info.uptimeSeconds, false), QString(), QString(), QString(),
                      QString(), createdBy(now), QStringLiteral("Line 1: Socket Handle ID"),
                      QStringLiteral("Line 2: User's IP Address"),
                      QStringLiteral("Line 3: User's Hostname"),
                      QStringLiteral("Line 4: Server's Uptime When User Connected")});
}

QString callerAddress(const Board& board, int node) {
    const Result<QByteArray> tcpip = fileaccess::readSmall(
        board.filePath("temp", QStringLiteral("N%1\\TCPIP.CFG").arg(node)), 4096);
    return tcpip ? QString::fromLatin1(tcpip.value().split('\n').value(1)).trimmed() : QString();
}

QByteArray nodeBatch(const BatchInfo& info, const QDateTime& now) {
    const QString m = info.mainDirectory.trimmed();
    const QString n = QString::number(info.node);
    QStringList lines = batchHead(m, now);
    lines << QStringLiteral("PCANSI.COM > NUL.") << m + QStringLiteral("\\NETFOSS.COM /N") + n
          << QStringLiteral("IF ERRORLEVEL 1 GOTO END")
          << QStringLiteral("%1\\NETCOM.EXE /N%2 /H%3 /S%4 /B%5 /W%6 BBS.EXE %2 /AC /B115200 /H")
                 .arg(m, n, info.handle.trimmed())
                 .arg(info.netfossSleep)
                 .arg(info.netfossBuffer)
                 .arg(info.netfossDelay)
          << m + QStringLiteral("\\NETFOSS.COM /U") << backToMain(m);
    if (info.logoffBat == 2 || (info.logoffBat == 1 && info.node == 1))
        lines << QStringLiteral("IF EXIST LOGOFF.BAT CALL LOGOFF.BAT ") + n;
    lines << QStringLiteral(":END") << backToMain(m)
          << QStringLiteral("DEL %1\\KTSN%2.BAT > NUL.").arg(m, n) << QStringLiteral("EXIT");
    return crlfLines(lines);
}

} // namespace nodefiles
