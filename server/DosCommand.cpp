#include "server/DosCommand.h"

#include "data/Board.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

bool startsDirectly(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    return file.read(2) == "#!" || QFileInfo(path).isExecutable();
}

} // namespace

QStringList dosCommand(const Board& board, const QString& dosPath, const QStringList& arguments,
                       int node, const QString& handle, QString* error) {
    const QString path = resolveDosPath(board.platform.drives, dosPath, QDir::currentPath()).path;
    if (startsDirectly(path))
        return QStringList{path} + arguments;
    const QString runner = board.platform.dosRun.trimmed();
    if (runner.isEmpty()) {
        *error = QStringLiteral("Cannot run %1: it is a DOS batch and KELDTS.INI names no DOS "
                                "runner ([Dos] run=)")
                     .arg(dosPath);
        return {};
    }
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
