#include "server/IpList.h"

#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/TextHelpers.h"
#include "data/records/BoardFiles.h"

#include <QFile>

namespace iplist {

RecordTableModel::Table table() {
    return {&ipFilterLayout(), "address", [](const Record& r) { return r.text("address"); }};
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

Result<> dropIfEmpty(const Board& board) {
    const QString file = board.path(ipFilterLayout());
    const Result<qint64> size = recordfile::size(file);
    if (!size.ok() || size.value() != 0)
        return {};
    QFile list(file);
    if (!list.remove())
        return Failure{QStringLiteral("Cannot delete %1: %2").arg(file, list.errorString())};
    return {};
}

} // namespace iplist
