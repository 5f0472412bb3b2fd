#include "server/FileTriggers.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordTable.h"
#include "data/records/BoardFiles.h"
#include "platform/Wildcard.h"
#include "server/BatchRunner.h"
#include "server/NodeServices.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

FileTriggers::FileTriggers(Board& board, LogSinks& logs, NodeServices& nodes, BatchRunner& runner)
    : board_(board), logs_(logs), nodes_(nodes), runner_(runner) {}

void FileTriggers::poll() {
    closeRequestedNodes();
    fireTriggers();
}

void FileTriggers::closeRequestedNodes() {
    const QString main = board_.directoryPath("main");
    // The directory is looked at once a minute, not once a node: the requests only go away
    // as they are taken here.
    QStringList requests;
    for (const QString& name : QDir(main).entryList(QDir::Files | QDir::Hidden)) {
        if (matchesDosWildcard(QStringLiteral("KILLNODE.*"), name))
            requests << name;
    }
    bool closed = false;
    for (int node = 1; node <= board_.mainConfig.i16("maxchannelno") && !requests.isEmpty();
         ++node) {
        const qsizetype taken =
            requests.indexOf(QRegularExpression(QStringLiteral("^KILLNODE\\.%1$").arg(node),
                                                QRegularExpression::CaseInsensitiveOption));
        if (taken < 0)
            continue;
        QFile::remove(QDir(main).filePath(requests.takeAt(taken)));
        if (!nodes_.killProcessTree(nodes_.nodeProcessId(node)))
            continue;
        nodes_.resetNodeRecord(node);
        nodes_.deleteNodeFiles(node);
        QFile::remove(caseBlindPath(main, QStringLiteral("KTSN%1.BAT").arg(node)));
        logs_.writeDebugPane(eventPaneLine(
            board_.clock.now(), QStringLiteral("File Trigger : Node %1 Closed").arg(node)));
        logs_.writeEventLog(QStringLiteral("(%1) File Trigger : Node Closed").arg(node));
        closed = true;
    }
    if (closed)
        nodes_.refreshNodeList();
}

void FileTriggers::fireTriggers() {
    const QString table = board_.path(fileTriggerLayout());
    if (!QFileInfo(table).isFile())
        return;
    const Result<QList<Record>> triggers = recordtable::read(table, fileTriggerLayout());
    if (!triggers)
        return;
    const auto linuxPath = [this](const QString& dosPath) {
        return resolveDosPath(board_.platform.drives, dosPath, QDir::currentPath()).path;
    };
    for (const Record& trigger : triggers.value()) {
        const QString file = trigger.text("trigger").trimmed();
        const QString command = trigger.text("command").trimmed();
        const QString parameters = trigger.text("parameters").trimmed();
        if (file.isEmpty() || command.isEmpty())
            continue;
        const QString filePath = linuxPath(file);
        if (filePath.isEmpty() || !filehelpers::fileExists(filePath) ||
            !QFileInfo::exists(linuxPath(command)))
            continue;
        if (trigger.i16("deletetrigger") == 1) {
            const QFileInfo pattern(filePath);
            const QDir directory = pattern.dir();
            for (const QString& name : directory.entryList(QDir::Files | QDir::Hidden)) {
                if (matchesDosWildcard(pattern.fileName(), name))
                    QFile::remove(directory.filePath(name));
            }
        }
        const Result<> started = runner_.run(command, QProcess::splitCommand(parameters),
                                             board_.serverConfig.i16("showeventwindow") == 0
                                                 ? BatchRunner::Style::Hidden
                                                 : BatchRunner::Style::Minimized);
        if (!started && !reported_.contains(command)) {
            reported_.insert(command);
            logs_.reportError(started.error());
        }
    }
}
