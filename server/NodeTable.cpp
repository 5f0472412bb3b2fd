#include "server/NodeTable.h"

#include "data/RecordFile.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"
#include "data/records/Channels.h"
#include "platform/FileAccess.h"
#include "platform/NodeHost.h"
#include "server/NodeFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kHighestNode = 100;
const QString kIdleAction = QStringLiteral("Waiting...");

// Up to `limit` lines of a small text file. A state file is a handful of short lines; a huge
// one is garbage and only its start is looked at.
Result<QStringList> readLines(const QString& path, int limit) {
    const Result<QByteArray> bytes = fileaccess::readSmall(path, 4096);
    if (!bytes)
        return failureOf(bytes);
    const QString text = QString::fromLatin1(bytes.value());
    QStringList lines;
    qsizetype start = 0;
    while (start < text.size() && lines.size() < limit) {
        qsizetype end = start;
        while (end < text.size() && text[end] != u'\r' && text[end] != u'\n')
            ++end;
        lines.append(text.mid(start, end - start));
        if (end < text.size() && text[end] == u'\r')
            ++end;
        if (end < text.size() && text[end] == u'\n')
            ++end;
        start = end;
    }
    return lines;
}

Result<> writeLines(const QString& path, const QStringList& lines) {
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += line.toLatin1() + "\r\n";
    return fileaccess::writeSmall(path, bytes);
}

bool removeIfPresent(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
        return true;
    return QFile::remove(path);
}

} // namespace

NodeTable::NodeTable(Board& board, NodeHost& host, LogSinks& logs, QObject* parent)
    : QObject(parent), board_(board), host_(host), logs_(logs) {}

QString NodeTable::windowTitle(int node) {
    return QStringLiteral("Node[%1] - KELDTS").arg(node);
}

QString NodeTable::tempDirectory() const {
    constexpr int kLookUpAgainMs = 5000;
    const QString dos = board_.sysPaths.text("temp");
    if (dos != tempDos_ || !tempLookedUp_.isValid() || tempLookedUp_.hasExpired(kLookUpAgainMs)) {
        tempDos_ = dos;
        tempDirectory_ = board_.directoryPath("temp");
        tempLookedUp_.start();
    }
    return tempDirectory_;
}

// Written by the server alone, always in this case, so found without a case-blind search.
QString NodeTable::stateFilePath(int node) const {
    return tempDirectory() + QStringLiteral("/KELDTS.%1").arg(node);
}

QString NodeTable::nodeDirectoryPath(int node) const {
    return board_.filePath("temp", QStringLiteral("N%1").arg(node));
}

QString NodeTable::controlPath() const {
    return board_.path(controlLayout());
}

int NodeTable::maxChannel() const {
    // Nodes end at 100; a damaged MAIN.CFG must not make the list thousands of rows long.
    return std::min<int>(board_.mainConfig.i16("maxchannelno"), kHighestNode);
}

std::pair<int, int> NodeTable::telnetNodes() const {
    const int first = board_.serverConfig.i16("startnode");
    const int last = first + board_.serverConfig.i16("maxconnections") - 1;
    return {std::max(first, 0), std::min(last, kHighestNode)};
}

int NodeTable::findFreeNode() {
    const auto [first, last] = telnetNodes();
    for (int node = first; node <= last; ++node) {
        if (!board_.admitting.contains(node) && getNodeWindow(node) == 0 &&
            !QFileInfo::exists(stateFilePath(node)))
            return node;
    }
    return 0;
}

qint64 NodeTable::getNodeWindow(int node) {
    const qint64 handle = host_.findWindow(windowTitle(node));
    const QString state = stateFilePath(node);
    const bool started = QFileInfo::exists(state);
    if (handle == 0 && started) {
        const Result<QStringList> lines = readLines(state, 3);
        if (!lines) {
            // Not a node of ours, then: the watchdog clears it like any other stale one.
            logs_.reportError(lines.error());
            return 0;
        }
        return lines->size() < 2 ? 0 : leadingNumber(lines->last());
    }
    if (handle > 0 && !started) {
        // A node that outlived a restart of the server, or was started by hand under the
        // right title: from now on the watchdog looks after it like any other.
        qint64 pid = 0;
        for (const NodeHost::Window& window : host_.windows()) {
            if (window.handle == handle) {
                pid = window.pid;
                break;
            }
        }
        // Unwritten, the next round tries again; meanwhile the sysop knows why.
        if (Result<> adopted = writeLines(state, {QString::number(pid), QStringLiteral("0"),
                                                  QString::number(handle), QStringLiteral("0")});
            !adopted)
            logs_.reportError(adopted.error());
    }
    return handle;
}

qint64 NodeTable::getNodeProcessId(int node) {
    const Result<QStringList> lines = readLines(stateFilePath(node), 1);
    return lines && !lines->isEmpty() ? leadingNumber(lines->first()) : 0;
}

bool NodeTable::isNodeInUse(int node) {
    if (node < 0 || node > kHighestNode)
        node = 0;
    const QString path = controlPath();
    const Result<qint64> size = recordfile::size(path);
    const qint64 highest = size.ok() ? size.value() / controlLayout().length - 1 : 0;

    // Only the exact idle text counts as idle here, unlike in the list.
    auto busy = [&](int n, bool* readable) {
        Record record(controlLayout());
        *readable = recordfile::read(path, n + 1, record).ok();
        return *readable && record.text("action") != kIdleAction;
    };

    bool readable = true;
    if (node > 0) {
        if (board_.admitting.contains(node))
            return true;
        if (node > highest)
            return false;
        if (getNodeWindow(node) != 0)
            return true;
        return busy(node, &readable);
    }

    if (!board_.admitting.isEmpty())
        return true;
    const qint64 last = std::min<qint64>(maxChannel(), highest);
    for (int n = 1; n <= last; ++n) {
        if (getNodeWindow(n) != 0 || busy(n, &readable))
            return true;
        if (!readable)
            return false;
    }
    return false;
}

Record NodeTable::idleRecord(int node, bool* ok) const {
    Record record(controlLayout());
    bool readable = true;
    if (node > 0) {
        const QString channels = board_.path(channelXLayout());
        // A board without channel records yet simply has no rate to copy.
        if (QFileInfo::exists(channels)) {
            Record channel(channelXLayout());
            readable = recordfile::read(channels, node, channel).ok();
            if (readable)
                record.setI32("baud", channel.i32("baudrate"));
        }
    }
    record.setText("action", kIdleAction);
    record.setText("timeon", QStringLiteral("START"));
    record.setText("dateon", QStringLiteral("900101"));
    record.setText("credits", QStringLiteral("0"));
    if (ok)
        *ok = readable;
    return record;
}

void NodeTable::resetNodeRecord(int node) {
    bool ok = node >= 0;
    if (ok) {
        const Record record = idleRecord(node, &ok);
        ok = ok && recordfile::write(controlPath(), node + 1, record).ok();
    }
    if (!ok)
        logs_.reportError(QStringLiteral("Error with CONTROL.DAT"));
}

QString NodeTable::rowText(int node, int maxChannel, const Record& control) {
    const QString number =
        QString::number(node).rightJustified(QString::number(maxChannel).size(), u' ');
    const QString action = control.text("action");
    const QString lower = action.toLower();
    if (lower.isEmpty() || lower.contains(QStringLiteral("waiting")))
        return QStringLiteral("Node %1 - Waiting...").arg(number);
    return QStringLiteral("Node %1 - %2 - %3 - %4 - %5")
        .arg(number, QString::number(control.i32("usernumber")), control.text("handle"), action,
             control.text("timeon"));
}

void NodeTable::clearRows() {
    if (rows_.isEmpty())
        return;
    rows_.clear();
    emit rowsResized(0);
}

void NodeTable::setRow(int index, const QString& text) {
    if (index >= rows_.size()) {
        rows_.append(text);
        emit rowsResized(static_cast<int>(rows_.size()));
        emit rowChanged(index, text);
    } else if (rows_[index] != text) {
        rows_[index] = text;
        emit rowChanged(index, text);
    }
}

void NodeTable::refreshNodeList() {
    const int max = maxChannel();
    const int length = controlLayout().length;
    // One open for the whole pass, read and write, so that a missing file is created.
    const Result<int> opened = fileaccess::openRegular(controlPath(), O_RDWR | O_CREAT);
    if (!opened) {
        // The list is refreshed every round; the same fault is told once.
        if (opened.error() != listProblem_)
            logs_.reportError(opened.error());
        listProblem_ = opened.error();
        return;
    }
    listProblem_.clear();
    QFile file;
    if (!file.open(opened.value(), QIODevice::ReadWrite, QFile::AutoCloseHandle)) {
        ::close(opened.value());
        return;
    }
    const qint64 highest = file.size() / length - 1;
    if (highest < max) {
        QByteArray idle;
        for (qint64 node = highest + 1; node <= max; ++node) {
            bool ok = true;
            idle += idleRecord(static_cast<int>(node), &ok).bytes();
            if (!ok)
                return;
        }
        if (!file.seek((highest + 1) * length) || file.write(idle) != idle.size() || !file.flush())
            return;
    }
    if (!file.seek(0))
        return;
    const QByteArray table = file.read(static_cast<qint64>(std::max(max, 0) + 1) * length);
    file.close();

    if (rows_.size() > std::max(max, 0)) {
        rows_.resize(std::max(max, 0));
        emit rowsResized(static_cast<int>(rows_.size()));
    }
    for (int node = 1; node <= max; ++node) {
        const qsizetype offset = static_cast<qsizetype>(node) * length;
        if (offset + length > table.size())
            return;
        setRow(node - 1, rowText(node, max, Record(controlLayout(), table, offset)));
    }
}

bool NodeTable::deleteFilesOf(int node) {
    const bool stateGone = removeIfPresent(stateFilePath(node));
    const QString tcpip = board_.filePath("temp", QStringLiteral("N%1\\TCPIP.CFG").arg(node));
    return removeIfPresent(tcpip) && stateGone;
}

void NodeTable::deleteNodeFiles(int node) {
    if (!deleteFilesOf(node))
        logs_.reportError(QStringLiteral("Error Occurred While Purging Node %1").arg(node));
}

void NodeTable::deleteAllNodeFiles() {
    const auto [first, last] = telnetNodes();
    for (int node = first; node <= last; ++node) {
        // A node that outlived a server (killed, or left on purpose) still reads its TCPIP.CFG,
        // and its state file is how the next round knows it for one of ours.
        if (host_.findWindow(windowTitle(node)) != 0)
            continue;
        if (!deleteFilesOf(node)) {
            logs_.reportError(QStringLiteral("Error While Purging ALL Nodes"));
            return;
        }
    }
}

Result<> NodeTable::makeNodeDirectory(int node) {
    const QString path = nodeDirectoryPath(node);
    if (QFileInfo(path).isDir() || QDir().mkpath(path))
        return {};
    return Failure{QStringLiteral("Cannot create %1").arg(path)};
}

Result<> NodeTable::configureNodeChannel(int node) {
    if (node < 1 || node > kHighestNode)
        return {};
    // Both files are written whatever becomes of the first: a node's line is in either.
    Result<> all;
    for (const RecordLayout* layout : {&channelXLayout(), &channelsLayout()}) {
        if (Result<> written =
                recordfile::write(board_.path(*layout), node, fossilChannel(*layout));
            !written && all)
            all = written;
    }
    return all;
}

Result<> NodeTable::writeStateFile(int node, qint64 pid, qint64 processHandle, qint64 windowHandle,
                                   qint64 socketHandle) {
    return writeLines(stateFilePath(node),
                      {QString::number(pid), QString::number(processHandle),
                       QString::number(windowHandle), QString::number(socketHandle), QString(),
                       nodefiles::createdBy(board_.clock.now())});
}
