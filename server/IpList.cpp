#include "server/IpList.h"

#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFile>
#include <QHostAddress>

namespace iplist {

RecordFileRows::Table table() {
    RecordFileRows::Table list{&ipFilterLayout(), "address"};
    // As many as a 16-bit record count allows.
    list.limit = 32767;
    list.createsFile = false;
    return list;
}

QString entryFromParts(const std::array<QString, 4>& parts) {
    QStringList out;
    for (const QString& part : parts) {
        const QString trimmed = part.trimmed();
        if (trimmed.isEmpty())
            return {};
        out << (trimmed == QLatin1String("*") ? trimmed : QString::number(leadingNumber(trimmed)));
    }
    return out.join(QLatin1Char('.'));
}

Result<Record> recordOf(const QString& entry) {
    if (entry.size() > ipFilterLayout().length)
        return Failure{QStringLiteral("The address %1 is too long for the IP list").arg(entry)};
    Record record(ipFilterLayout());
    record.setText("address", entry);
    return record;
}

Result<> add(const Board& board, const QString& entry) {
    const Result<Record> record = recordOf(entry);
    if (!record)
        return failureOf(record);
    if (Result<int> appended = recordtable::append(board.path(ipFilterLayout()), record.value());
        !appended)
        return failureOf(appended);
    return {};
}

QString v6Path(const Board& board) {
    return board.filePath("main", QStringLiteral("KELDTSIP.V6"));
}

Result<QStringList> v6Entries(const Board& board) {
    if (!QFile::exists(v6Path(board)))
        return QStringList();
    const Result<QByteArray> text = fileaccess::readSmall(v6Path(board));
    if (!text)
        return failureOf(text);
    QStringList entries;
    for (const QByteArray& line : text.value().split('\n')) {
        const QString entry = QString::fromLatin1(line).trimmed();
        if (!entry.isEmpty())
            entries << entry;
    }
    return entries;
}

namespace {

Result<> writeV6(const Board& board, const QStringList& entries) {
    QByteArray text;
    for (const QString& entry : entries)
        text += entry.toLatin1() + "\r\n";
    return filewrite::replace(v6Path(board), text);
}

} // namespace

std::optional<QPair<QHostAddress, int>> v6Network(const QString& entry) {
    const auto subnet = QHostAddress::parseSubnet(
        entry.contains(QLatin1Char('/')) ? entry : entry + QStringLiteral("/128"));
    if (subnet.first.protocol() != QAbstractSocket::IPv6Protocol)
        return std::nullopt;
    return subnet;
}

Result<> addV6(const Board& board, const QString& entry) {
    const QString typed = entry.trimmed();
    const auto subnet = v6Network(typed);
    if (!subnet)
        return Failure{QStringLiteral("%1 is no IPv6 address or network").arg(typed)};
    Result<QStringList> entries = v6Entries(board);
    if (!entries)
        return failureOf(entries);
    entries.value()
        << (typed.contains(QLatin1Char('/'))
                ? QStringLiteral("%1/%2").arg(subnet->first.toString()).arg(subnet->second)
                : subnet->first.toString());
    return writeV6(board, entries.value());
}

Result<> removeV6(const Board& board, int row) {
    Result<QStringList> entries = v6Entries(board);
    if (!entries)
        return failureOf(entries);
    if (row < 0 || row >= entries.value().size())
        return {};
    entries.value().removeAt(row);
    return writeV6(board, entries.value());
}

Result<> dropIfEmpty(const Board& board) {
    for (const QString& file : {board.path(ipFilterLayout()), v6Path(board)}) {
        const Result<qint64> size = recordfile::size(file);
        if (!size.ok() || size.value() != 0)
            continue;
        QFile list(file);
        if (!list.remove())
            return Failure{QStringLiteral("Cannot delete %1: %2").arg(file, list.errorString())};
    }
    return {};
}

} // namespace iplist
