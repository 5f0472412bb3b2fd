#include "platform/ProcessTree.h"

#include <QDir>
#include <QFile>
#include <QMultiHash>

#include <csignal>

namespace {

// Parent of every process, from /proc/<pid>/stat; field 4 follows the name in parentheses,
// which may itself hold blanks and parentheses.
bool readParents(QMultiHash<qint64, qint64>* children) {
    QDir proc(QStringLiteral("/proc"));
    if (!proc.exists())
        return false;
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid)
            continue;
        QFile stat(proc.filePath(entry + QStringLiteral("/stat")));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray text = stat.read(4096);
        const qsizetype close = text.lastIndexOf(')');
        if (close < 0)
            continue;
        const QList<QByteArray> fields = text.mid(close + 2).split(' ');
        if (fields.size() > 1)
            children->insert(fields.at(1).toLongLong(), pid);
    }
    return true;
}

void killBelow(const QMultiHash<qint64, qint64>& children, qint64 pid, int depth) {
    if (depth > 64)
        return;
    for (qint64 child : children.values(pid)) {
        killBelow(children, child, depth + 1);
        ::kill(static_cast<pid_t>(child), SIGKILL);
    }
}

qint64 statusKb(const char* key) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(qstrlen(key)).trimmed().split(' ').value(0).toLongLong();
    }
    return 0;
}

} // namespace

bool killProcessTree(qint64 pid, bool keepRoot) {
    if (pid <= 0)
        return false;
    QMultiHash<qint64, qint64> children;
    if (!readParents(&children))
        return false;
    killBelow(children, pid, 0);
    if (!keepRoot)
        ::kill(static_cast<pid_t>(pid), SIGKILL);
    return true;
}

qint64 processMemoryKb() {
    return statusKb("VmRSS:");
}

qint64 processSwapKb() {
    return statusKb("VmSwap:");
}
