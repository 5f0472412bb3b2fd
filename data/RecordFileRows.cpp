#include "data/RecordFileRows.h"

#include "data/Board.h"
#include "data/FileHelpers.h"
#include "data/RecordFile.h"
#include "data/RecordTable.h"
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
    const Result<int> number = recordtable::append(path(), record);
    if (!number)
        return failureOf(number);
    // A file left behind by an earlier entry of that number would belong to the new one.
    if (table_.following) {
        if (Result<> removed = filehelpers::removeFile(followerOf(number.value())); !removed)
            return failureOf(removed);
    }
    return number.value() - 1;
}

Result<> RecordFileRows::remove(int row) {
    if (table_.keyField.empty())
        return Failure{QStringLiteral("The entries of %1 cannot be removed").arg(name())};
    Result<Record> marked = readRow(row);
    if (!marked)
        return failureOf(marked);
    marked->setStr(table_.keyField, recordtable::kDeletedMark);
    if (Result<> written = recordfile::write(path(), row + 1, marked.value()); !written)
        return written;
    if (table_.following) {
        if (Result<> removed = filehelpers::removeFile(followerOf(row + 1)); !removed)
            return removed;
    }
    const Result<QList<int>> placeOfOld =
        recordtable::compact(path(), *table_.file, table_.keyField);
    if (!placeOfOld)
        return failureOf(placeOfOld);
    return carryFollowers(placeOfOld.value());
}

Result<> RecordFileRows::carryFollowers(const QList<int>& placeOfOld) {
    if (!table_.following)
        return {};
    // Records only ever move down, so going up the numbers never overwrites a file still needed.
    for (int old = 0; old < placeOfOld.size(); ++old) {
        const int now = placeOfOld[old];
        if (now < 0 || now == old)
            continue;
        if (Result<> moved = filehelpers::moveFile(followerOf(old + 1), followerOf(now + 1));
            !moved)
            return moved;
    }
    return {};
}

Result<> RecordFileRows::move(int row, bool up) {
    const Result<qint16> count = recordtable::count(path(), *table_.file);
    if (!count)
        return failureOf(count);
    const int neighbour = up ? row - 1 : row + 1;
    if (row < 0 || row >= count.value())
        return noSuchRow(*this, row + 1);
    if (neighbour < 0 || neighbour >= count.value())
        return {};
    if (Result<> moved = recordtable::move(path(), board_.workPath(*table_.file, fileNumber_),
                                           *table_.file, row + 1, up);
        !moved)
        return moved;
    if (!table_.following)
        return {};
    return filehelpers::swapFiles(followerOf(row + 1), followerOf(neighbour + 1),
                                  board_.filePath("temp", QLatin1String(table_.parking)));
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
