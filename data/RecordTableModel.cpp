#include "data/RecordTableModel.h"

#include "data/Board.h"
#include "data/RecordFile.h"
#include "data/RecordTable.h"

#include <QFileInfo>

namespace {

bool sameRecords(const QList<Record>& a, const QList<Record>& b) {
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (a[i].bytes() != b[i].bytes())
            return false;
    }
    return true;
}

} // namespace

RecordTableModel::RecordTableModel(const Board& board, Table table, int fileNumber, QObject* parent)
    : QAbstractListModel(parent), board_(board), table_(std::move(table)), fileNumber_(fileNumber) {
}

QString RecordTableModel::path() const {
    return board_.path(*table_.file, fileNumber_);
}

Result<QList<Record>> RecordTableModel::readRows() const {
    if (!QFileInfo::exists(path()))
        return QList<Record>();
    return recordtable::read(path(), *table_.file);
}

Result<> RecordTableModel::reload() {
    Result<QList<Record>> rows = readRows();
    if (!rows)
        return failureOf(rows);
    beginResetModel();
    records_ = std::move(rows).value();
    endResetModel();
    return {};
}

void RecordTableModel::takeRows(const QList<Record>& now, const std::function<void()>& begin,
                                const std::function<void()>& end, const QList<Record>& expected) {
    if (sameRecords(now, expected)) {
        begin();
        records_ = now;
        end();
        return;
    }
    beginResetModel();
    records_ = now;
    endResetModel();
}

Result<> RecordTableModel::append(const Record& record) {
    const Result<int> appended = recordtable::append(path(), record);
    Result<QList<Record>> now = readRows();
    if (!now)
        return failureOf(now);
    QList<Record> expected = records_;
    expected.append(record);
    const int row = int(records_.size());
    takeRows(
        now.value(), [&] { beginInsertRows({}, row, row); }, [&] { endInsertRows(); }, expected);
    if (!appended)
        return failureOf(appended);
    return {};
}

Result<> RecordTableModel::remove(int row) {
    if (row < 0 || row >= records_.size())
        return {};
    Record marked = records_.at(row);
    marked.setStr(table_.keyField, recordtable::kDeletedMark);
    Result<> done = recordfile::write(path(), row + 1, marked);
    if (done)
        done = recordtable::compact(path(), *table_.file, table_.keyField);
    Result<QList<Record>> now = readRows();
    if (!now)
        return failureOf(now);
    QList<Record> expected = records_;
    expected.removeAt(row);
    takeRows(
        now.value(), [&] { beginRemoveRows({}, row, row); }, [&] { endRemoveRows(); }, expected);
    return done;
}

int RecordTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(records_.size());
}

QVariant RecordTableModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    return table_.rowText(records_.at(index.row()));
}
