#include "data/RecordFileRows.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "platform/FileWrite.h"

#include <QFile>

RecordFileRows::RecordFileRows(const Board& board, Table table, int fileNumber)
    : board_(board), table_(std::move(table)), fileNumber_(fileNumber) {}

QString RecordFileRows::path() const {
    return board_.path(*table_.file, fileNumber_);
}

QString RecordFileRows::followerOf(int number) const {
    return board_.path(*table_.following, number);
}

Result<QList<Record>> RecordFileRows::read() {
    if (!QFile::exists(path())) {
        if (!table_.createsFile)
            return QList<Record>();
        if (Result<> made = filehelpers::touchFile(path(), false); !made)
            return failureOf(made);
    }
    if (table_.fixedRows > 0 && QFile(path()).size() == 0) {
        const QByteArray zeros(qsizetype(table_.fixedRows) * table_.file->length, '\0');
        if (Result<> made = filewrite::replace(path(), zeros); !made)
            return failureOf(made);
    }
    Result<QList<Record>> rows = recordtable::read(path(), *table_.file);
    if (rows && table_.onRead) {
        for (Record& row : rows.value())
            table_.onRead(row);
    }
    return rows;
}

Result<Record> RecordFileRows::readRow(int row) const {
    const Result<qint16> count = recordtable::count(path(), *table_.file);
    if (!count)
        return failureOf(count);
    if (row < 0 || row >= count.value())
        return noSuchRow(*this, row + 1);
    Record record(*table_.file);
    if (Result<> read = recordfile::read(path(), row + 1, record); !read)
        return failureOf(read);
    if (table_.onRead)
        table_.onRead(record);
    return record;
}

Result<int> RecordFileRows::insertNew() {
    Record record(*table_.file);
    if (table_.newEntry)
        table_.newEntry(record);
    return append(record);
}

Result<int> RecordFileRows::append(const Record& record) {
    if (table_.limit == 0)
        return Failure{QStringLiteral("%1 takes no new entries").arg(name())};
    const Result<QList<Record>> rows = read();
    if (!rows)
        return failureOf(rows);
    if (rows.value().size() >= table_.limit)
        return Failure{
            QStringLiteral("%1 holds %2 entries, as many as it may").arg(name()).arg(table_.limit)};
    // A file left behind by an earlier entry of the new number would belong to the new one; it
    // belongs to no entry now, so it may go before the entry is added.
    if (table_.following) {
        if (Result<> removed = filehelpers::removeFile(followerOf(int(rows->size()) + 1)); !removed)
            return failureOf(removed);
    }
    const Result<int> number = recordtable::append(path(), record);
    if (!number)
        return failureOf(number);
    return number.value() - 1;
}

recordtable::Companions RecordFileRows::companions() const {
    if (!table_.following)
        return {};
    return {
        board_.journalPath(),
        [this](const recordtable::Rearrangement& arrangement) -> Result<QList<allornone::Change>> {
            QList<int> oldOf(arrangement.records.size(), -1);
            for (int old = 0; old < arrangement.placeOfOld.size(); ++old) {
                if (arrangement.placeOfOld[old] >= 0)
                    oldOf[arrangement.placeOfOld[old]] = old;
            }
            QList<allornone::Change> changes;
            for (int now = 0; now < oldOf.size(); ++now) {
                if (oldOf[now] == now)
                    continue;
                Result<std::optional<QByteArray>> bytes =
                    filehelpers::contentsOf(followerOf(oldOf[now] + 1));
                if (!bytes)
                    return failureOf(bytes);
                changes.append({followerOf(now + 1), std::move(bytes).value()});
            }
            // The numbers past the shorter table have no entry left to follow.
            for (qsizetype gone = oldOf.size(); gone < arrangement.placeOfOld.size(); ++gone)
                changes.append({followerOf(int(gone) + 1), std::nullopt});
            return changes;
        }};
}

Result<> RecordFileRows::remove(int row) {
    if (table_.keyField.empty())
        return Failure{QStringLiteral("The entries of %1 cannot be removed").arg(name())};
    if (Result<Record> there = readRow(row); !there)
        return failureOf(there);
    return recordtable::remove(path(), *table_.file, table_.keyField, row + 1, companions());
}

Result<> RecordFileRows::move(int row, bool up) {
    const Result<qint16> count = recordtable::count(path(), *table_.file);
    if (!count)
        return failureOf(count);
    if (row < 0 || row >= count.value())
        return noSuchRow(*this, row + 1);
    return recordtable::move(path(), *table_.file, row + 1, up, companions());
}

Result<> RecordFileRows::edit(int row, const RecordSource::Edit& edit) {
    const Result<Record> current = readRow(row);
    if (!current)
        return failureOf(current);
    const Result<Record> edited = edit(current.value());
    if (!edited)
        return failureOf(edited);
    return recordfile::write(path(), row + 1, edited.value());
}
