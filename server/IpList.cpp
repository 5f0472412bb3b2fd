#include "server/IpList.h"

#include "data/RecordFile.h"
#include "data/RecordList.h"
#include "data/TimeRules.h"
#include "data/records/BoardFiles.h"

#include <QFile>
#include <QFileInfo>

namespace iplist {

QString path(const Board& board) {
    return board.filePath("main", QStringLiteral("KELDTSIP.DAT"));
}

bool read(const Board& board, QStringList* entries, QString* error) {
    entries->clear();
    const QString file = path(board);
    if (!QFileInfo::exists(file))
        return true;
    QList<Record> records;
    if (!recordlist::readAll(file, ipFilterLayout(), &records, error))
        return false;
    for (const Record& r : records)
        entries->append(r.text("address"));
    return true;
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

bool add(const Board& board, const QString& entry, QString* error) {
    if (entry.size() > ipFilterLayout().length) {
        *error = QStringLiteral("The address %1 is too long for the IP list").arg(entry);
        return false;
    }
    Record record(ipFilterLayout());
    record.setText("address", entry);
    int number = 0;
    return recordlist::append(path(board), record, &number, error);
}

bool remove(const Board& board, int row, QString* error) {
    const QString file = path(board);
    QList<Record> records;
    if (!recordlist::readAll(file, ipFilterLayout(), &records, error))
        return false;
    if (row < 0 || row >= records.size())
        return true;
    // Marking and dropping in memory gives the same list as marking the record on disk first,
    // with one replace instead of two writes.
    records[row].setStr("address", recordlist::kDeletedMark);
    QList<Record> kept;
    for (const Record& r : records) {
        if (r.str("address") != recordlist::kDeletedMark)
            kept.append(r);
    }
    return recordlist::replace(file, kept, error);
}

bool dropIfEmpty(const Board& board, QString* error) {
    const QString file = path(board);
    if (recordfile::size(file) != 0)
        return true;
    QFile list(file);
    if (!list.remove()) {
        *error = QStringLiteral("Cannot delete %1: %2").arg(file, list.errorString());
        return false;
    }
    return true;
}

} // namespace iplist
