#include "server/IpFilter.h"
#include "server/IpList.h"

#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"

#include "server/NodeFiles.h"

#include <QFile>
#include <QHostAddress>

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

namespace {

// A list that cannot be read must not let callers in silently, nor refuse them silently.
bool unreadable(const Board& board, const QString& error) {
    board.logs.reportError(error + QStringLiteral(" (callers are refused until it can be read)"));
    return false;
}

bool isV6Allowed(Board& board, const QHostAddress& address, bool blockList) {
    if (!QFile::exists(iplist::v6Path(board)))
        return blockList;
    const Result<QStringList> entries = iplist::v6Entries(board);
    if (!entries)
        return unreadable(board, entries.error());
    bool matched = false;
    for (const QString& entry : entries.value()) {
        const auto subnet = iplist::v6Network(entry);
        matched = matched || (subnet && address.isInSubnet(*subnet));
        // Unsaid, such a line would let in the caller it was meant to block; every caller
        // reads the list again, so the sysop hears of it only the first time.
        if (!subnet && !board.badV6LinesReported.contains(entry)) {
            board.badV6LinesReported.insert(entry);
            board.logs.reportError(QStringLiteral("%1 holds \"%2\", which is no IPv6 address or "
                                                  "network; the line is ignored")
                                       .arg(iplist::v6Path(board), entry));
        }
    }
    return blockList ? !matched : matched;
}

} // namespace

bool isIpAllowed(Board& board, const QString& address) {
    const bool blockList = board.serverConfig.i16("ipfiltermode") == 0;
    const QHostAddress v6(address);
    if (v6.protocol() == QAbstractSocket::IPv6Protocol)
        return isV6Allowed(board, v6, blockList);
    const QString path = board.path(ipFilterLayout());
    if (!QFile::exists(path))
        return blockList;
    const Result<QList<Record>> records = recordtable::read(path, ipFilterLayout());
    if (!records)
        return unreadable(board, records.error());
    const QStringList parts = fourParts(address);
    bool matched = false;
    for (const Record& r : records.value()) {
        if (matches(fourParts(r.text("address")), parts)) {
            matched = true;
            break;
        }
    }
    return blockList ? !matched : matched;
}

void blockNodeCaller(Board& board, int node) {
    const QString time = board.clock.now().toString(QStringLiteral("HH:mm:ss"));
    const QString address = nodefiles::callerAddress(board, node);
    if (address.isEmpty()) {
        board.logs.writeDebugPane(time + QStringLiteral(" : User Block Failed - Unknown IP"));
        return;
    }
    const bool v6 = QHostAddress(address).protocol() == QAbstractSocket::IPv6Protocol;
    if (Result<> added = v6 ? iplist::addV6(board, address) : iplist::add(board, address); !added) {
        board.logs.reportError(added.error());
        return;
    }
    board.logs.writeDebugPane(time + QStringLiteral(" : ") + address +
                              QStringLiteral(" Added to Blocked List"));
}
