#include "server/AboutText.h"

#include "data/Board.h"
#include "data/TextHelpers.h"

#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace about {

QString versionText() {
    return QStringLiteral("Version ") + QLatin1String(Board::kVersion);
}

QString uptimeText(const Board& board) {
    const qint64 seconds = std::max<qint64>(0, board.startTime.secsTo(board.clock.now()));
    return QStringLiteral("Uptime: ") + buildUptimeText(seconds, false);
}

QString memoryText(const MemoryUse& use, const QLocale& locale) {
    return QStringLiteral("RAM Usage: %1KB  /  Pagefile Usage: %2KB")
        .arg(locale.toString(use.residentKb), locale.toString(use.swapKb));
}

QString disclaimerText(const Board& board) {
    return QStringLiteral("Please send your suggestions and comments to %1.")
        .arg(board.platform.contact.trimmed());
}

QStringList sysInfoCommand(const Board& board) {
    QStringList command = QProcess::splitCommand(board.platform.sysInfo);
    if (command.isEmpty())
        return {};
    const QString program = command.first().contains(QLatin1Char('/'))
                                ? command.first()
                                : QStandardPaths::findExecutable(command.first());
    if (program.isEmpty() || !QFileInfo(program).isExecutable())
        return {};
    command.first() = program;
    return command;
}

} // namespace about
