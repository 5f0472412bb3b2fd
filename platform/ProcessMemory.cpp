#include "platform/ProcessMemory.h"

#include <QFile>

namespace {

// "VmRSS:\t   12345 kB": the kernel always gives these figures in kilobytes.
qint64 figure(const QByteArray& line, const QByteArray& key) {
    return line.startsWith(key) ? line.mid(key.size()).trimmed().split(' ').first().toLongLong()
                                : -1;
}

} // namespace

MemoryUse parseProcessStatus(const QByteArray& status) {
    MemoryUse use;
    for (const QByteArray& line : status.split('\n')) {
        if (const qint64 rss = figure(line, "VmRSS:"); rss >= 0)
            use.residentKb = rss;
        else if (const qint64 swap = figure(line, "VmSwap:"); swap >= 0)
            use.swapKb = swap;
    }
    return use;
}

MemoryUse ownMemoryUse() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return {};
    return parseProcessStatus(status.readAll());
}
