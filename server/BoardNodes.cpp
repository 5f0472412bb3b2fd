#include "server/BoardNodes.h"

#include "server/DosCommand.h"

#include "platform/DosPath.h"
#include "platform/FileAccess.h"
#include "platform/ProcessTree.h"
#include "server/NodeFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

BoardNodes::BoardNodes(Board& board, BoardLogs& logs, NodeHost& host)
    : board_(board), logs_(logs), windows_(host), table_(board, windows_, logs) {}

bool BoardNodes::isNodeStarted(int node) {
    return QFileInfo::exists(table_.stateFilePath(node));
}

bool BoardNodes::killProcessTree(qint64 pid) {
    return ::killProcessTree(pid, false);
}

Result<> BoardNodes::writeTcpipCfg(const QString& handle, int node, const QString& ip,
                                   const QString& hostName) {
    const qint64 uptime = board_.startTime.secsTo(board_.clock.now());
    Result<> written = fileaccess::writeSmall(
        board_.filePath("temp", QStringLiteral("N%1\\TCPIP.CFG").arg(node)),
        nodefiles::tcpipCfg({handle, ip, hostName, uptime}, board_.clock.now()));
    logs_.reported(written);
    return written;
}

Result<QStringList> BoardNodes::nodeCommand(int node, const QString& handle) {
    const Record& cfg = board_.serverConfig;
    const QString mainDos = board_.sysPaths.text("main");
    if (cfg.i16("autoload") == 0) {
        return dosCommand(board_, joinDosPath(mainDos, QStringLiteral("LOADBBS.BAT")),
                          {QString::number(node), handle}, node, handle);
    }
    const QString batch = QStringLiteral("KTSN%1.BAT").arg(node);
    const nodefiles::BatchInfo info{mainDos,
                                    node,
                                    handle,
                                    cfg.i16("netfosssleep"),
                                    cfg.i16("netfossbuffer"),
                                    cfg.i16("netfossdelay"),
                                    board_.mainConfig.i16("logoffbat")};
    if (Result<> written = fileaccess::writeSmall(board_.filePath("main", batch),
                                                  nodefiles::nodeBatch(info, board_.clock.now()));
        !written)
        return failureOf(written);
    return dosCommand(board_, joinDosPath(mainDos, batch), {}, node, handle);
}

void BoardNodes::launchNode(int node, int socketFd, const QString& handle,
                            std::function<void(bool started)> done) {
    const Result<QStringList> command = nodeCommand(node, handle);
    if (!command) {
        // The state file still tells the watchdog that a start was tried; finding no window,
        // it frees the node and logs the caller's disconnection.
        logs_.reportError(command.error());
        ::close(socketFd);
        logs_.reported(table_.writeStateFile(node, 0, 0, 0, handle.toLongLong()));
        done(false);
        return;
    }
    const int shown = board_.serverConfig.i16("runminimized");
    NodeHost::Launch request;
    request.title = NodeTable::windowTitle(node);
    request.command = command.value();
    request.workingDirectory = QDir::currentPath();
    request.socketFd = socketFd;
    request.targetFd = handle.toInt();
    request.show = shown == 2   ? NodeHost::Show::Hidden
                   : shown == 1 ? NodeHost::Show::Minimized
                                : NodeHost::Show::Normal;
    windows_.launch(request, [this, node, handle,
                              done = std::move(done)](const NodeHost::Started& started) {
        if (started.handle == 0)
            logs_.reportError(
                QStringLiteral("Node %1 could not be started: %2").arg(node).arg(started.error));
        logs_.reported(
            table_.writeStateFile(node, started.pid, 0, started.handle, handle.toLongLong()));
        done(started.handle != 0);
    });
}

void BoardNodes::watchNodes() {
    const auto [first, last] = table_.telnetNodes();
    windows_.beginRound();
    bool changed = false;
    for (int node = first; node <= last && board_.serverState != StateShuttingDown; ++node) {
        // Every node is looked at, whatever the gaps before it: finding a window adopts a node
        // that outlived a server, wherever it sits in the range.
        const qint64 handle = table_.getNodeWindow(node);
        const bool started = QFile::exists(table_.stateFilePath(node));
        // A window or a state file, before or after adoption, may mean a row that changed.
        changed = changed || handle != 0 || started;
        if (started && (handle == 0 || !windows_.isWindow(handle))) {
            table_.resetNodeRecord(node);
            table_.deleteNodeFiles(node);
            logs_.writeDebugPane(logs_.paneTime() +
                                 QStringLiteral(" : Node %1 Disconnected").arg(node));
            logs_.writeEventLog(QStringLiteral("(%1) Connection Closed").arg(node));
        }
    }
    windows_.endRound();
    if (changed && board_.serverState != StateShuttingDown)
        table_.refreshNodeList();
}
