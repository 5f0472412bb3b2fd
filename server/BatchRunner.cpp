#include "server/BatchRunner.h"

#include "data/Board.h"
#include "platform/FileAccess.h"
#include "platform/NodeHost.h"
#include "server/DosCommand.h"

#include <QProcess>

Result<> BoardBatchRunner::run(const QString& dosPath, const QStringList& arguments, Style style) {
    const Result<QStringList> found = dosCommand(board_, dosPath, arguments, 0, QString());
    if (!found)
        return failureOf(found);
    const QStringList& command = found.value();
    const QString title = dosPath.section(QLatin1Char('\\'), -1) + QStringLiteral(" - KELDTS");
    if (style != Style::Hidden && host_ &&
        host_->openWindow(title, command, board_.directoryPath("main"),
                          [&logs = logs_, dosPath](const QString& why) {
                              logs.reportError(
                                  QStringLiteral("Cannot run %1: %2").arg(dosPath, why));
                          }))
        return {};
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

Result<> writeAndRunBatch(const Board& board, BatchRunner& runner, const QString& name,
                          const QByteArray& text, BatchRunner::Style style) {
    if (Result<> written = fileaccess::writeSmall(board.filePath("main", name), text); !written)
        return written;
    return runner.run(board.sysPaths.text("main") + QLatin1Char('\\') + name, {}, style);
}
