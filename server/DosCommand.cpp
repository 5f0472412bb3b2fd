#include "server/DosCommand.h"

#include "data/Board.h"
#include "platform/DosBoxProfile.h"
#include "platform/FileAccess.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

bool startsDirectly(const QString& path) {
    const Result<QByteArray> start = fileaccess::readSmall(path, 2);
    return start && (start.value() == "#!" || QFileInfo(path).isExecutable());
}

// The built-in profile. Its configuration lies in the board's temporary directory, one for each
// program, where DOSBox finds it whenever it gets round to reading it.
Result<QStringList> dosBoxCommand(const Board& board, const QString& dosPath,
                                  const QStringList& arguments, int node, const QString& handle) {
    // Each node has a configuration of its own: the caller's handle is in it.
    const QString name = (node > 0 ? QStringLiteral("N%1-").arg(node) : QString()) +
                         dosPath.section(QLatin1Char('\\'), -1).toUpper();
    const QString config = board.filePath("temp", QStringLiteral("DOSBOX\\%1.CNF").arg(name));
    const Result<> written =
        QDir().mkpath(QFileInfo(config).path())
            ? fileaccess::writeSmall(
                  config, dosbox::configuration(board.platform.drives, dosPath, arguments))
            : Result<>(Failure{QStringLiteral("Cannot create %1").arg(QFileInfo(config).path())});
    if (!written)
        return failureOf(written);
    if (node == 0)
        return dosbox::command(config);
    // A node's caller reaches the emulator's COM1 through the relay, which holds the socket.
    return QStringList{QCoreApplication::applicationDirPath() + QStringLiteral("/keldts-node-exec"),
                       QStringLiteral("--serial-relay"),
                       handle,
                       QStringLiteral("--conf-dir"),
                       QFileInfo(config).path(),
                       QStringLiteral("--")} +
           dosbox::command(config);
}

} // namespace

Result<QStringList> dosCommand(const Board& board, const QString& dosPath,
                               const QStringList& arguments, int node, const QString& handle) {
    const QString path = resolveDosPath(board.platform.drives, dosPath, QDir::currentPath()).path;
    if (startsDirectly(path))
        return QStringList{path} + arguments;
    const QString runner = board.platform.dosRun.trimmed();
    if (runner.isEmpty())
        return Failure{QStringLiteral("Cannot run %1: it is a DOS batch and KELDTS.INI names no "
                                      "DOS runner ([Dos] run=)")
                           .arg(dosPath)};
    if (runner == QLatin1String("dosbox"))
        return dosBoxCommand(board, dosPath, arguments, node, handle);
    QStringList command;
    for (QString part : runner.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (part == QLatin1String("{args}")) {
            command << arguments;
            continue;
        }
        part.replace(QLatin1String("{batch}"), path);
        part.replace(QLatin1String("{node}"), node > 0 ? QString::number(node) : QString());
        part.replace(QLatin1String("{fd}"), handle);
        command << part;
    }
    return command;
}
