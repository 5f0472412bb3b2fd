#include "server/IpFilter.h"
#include "server/IpList.h"

#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"

#include <QFile>

namespace {

QStringList fourParts(const QString& text) {
    QStringList parts = text.trimmed().split(QLatin1Char('.'));
    if (parts.size() > 4)
        parts = parts.mid(0, 3) << QStringList(parts.mid(3)).join(QLatin1Char('.'));
    while (parts.size() < 4)
        parts << QString();
    return parts;
}

bool matches(const QStringList& record, const QStringList& address) {
    for (int i = 0; i < 4; ++i) {
        const QString part = record.at(i).trimmed();
        if (part != QLatin1String("*") && leadingNumber(part) != leadingNumber(address.at(i)))
            return false;
    }
    return true;
}

} // namespace

bool isIpAllowed(const Board& board, const QString& address) {
    const bool blockList = board.serverConfig.i16("ipfiltermode") == 0;
    const QString path = board.path(ipFilterLayout());
    if (!QFile::exists(path))
        return blockList;
    const Result<QList<Record>> records = recordtable::read(path, ipFilterLayout());
    if (!records)
        return false;
    // An IPv6 address has no dotted parts; taking its leading numbers would let it match
    // records it has nothing to do with.
    const bool dotted = !address.contains(QLatin1Char(':'));
    const QStringList parts = fourParts(address);
    bool matched = false;
    for (const Record& r : records.value()) {
        if (dotted && matches(fourParts(r.text("address")), parts)) {
            matched = true;
            break;
        }
    }
    return blockList ? !matched : matched;
}

void blockNodeCaller(Board& board, int node) {
    const QString time = board.clock.now().toString(QStringLiteral("HH:mm:ss"));
    QFile tcpip(board.filePath("temp", QStringLiteral("N%1\\TCPIP.CFG").arg(node)));
    if (!tcpip.open(QIODevice::ReadOnly)) {
        board.logs.writeDebugPane(time + QStringLiteral(" : User Block Failed - Unknown IP"));
        return;
    }
    tcpip.readLine(4096);
    const QString address = QString::fromLatin1(tcpip.readLine(4096)).trimmed();
    if (Result<> added = iplist::add(board, address); !added) {
        board.logs.reportError(added.error());
        return;
    }
    board.logs.writeDebugPane(time + QStringLiteral(" : ") + address +
                              QStringLiteral(" Added to Blocked List"));
}
