#include "server/BatchRunner.h"

#include "data/Board.h"
#include "server/DosCommand.h"

#include <QProcess>

Result<> DetachedBatchRunner::run(const QString& dosPath, const QStringList& arguments,
                                  Style /*style*/) {
    QString error;
    const QStringList command = dosCommand(board_, dosPath, arguments, 0, QString(), &error);
    if (command.isEmpty())
        return Failure{error};
    QProcess process;
    process.setProgram(command.first());
    process.setArguments(command.mid(1));
    process.setWorkingDirectory(board_.directoryPath("main"));
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    if (!process.startDetached())
        return Failure{QStringLiteral("Cannot run %1: %2").arg(dosPath, process.errorString())};
    return {};
}
