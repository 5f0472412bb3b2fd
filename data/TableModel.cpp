#include "data/TableModel.h"

namespace {

bool same(const Record& a, const Record& b) {
    return a.bytes() == b.bytes();
}

// `now` holds `before` with rows at the given places, the rest unchanged and in order.
bool sameBut(const QList<Record>& before, const QList<Record>& now, const QList<int>& order) {
    if (order.size() != now.size())
        return false;
    for (qsizetype i = 0; i < now.size(); ++i) {
        if (order[i] >= 0 && !same(before.at(order[i]), now.at(i)))
            return false;
    }
    return true;
}

} // namespace

TableModel::TableModel(std::unique_ptr<TableRows> rows, RowText rowText, QObject* parent)
    : QAbstractListModel(parent), rows_(std::move(rows)), rowText_(std::move(rowText)) {}

Result<> TableModel::reload() {
    Result<QList<Record>> rows = rows_->read();
    if (!rows)
        return failureOf(rows);
    beginResetModel();
    records_ = std::move(rows).value();
    endResetModel();
    return {};
}

Result<> TableModel::takeRows(const std::function<bool(const QList<Record>& now)>& expected,
                              const std::function<void()>& begin,
                              const std::function<void()>& end) {
    Result<QList<Record>> now = rows_->read();
    if (!now)
        return failureOf(now);
    if (expected(now.value())) {
        const qsizetype before = records_.size();
        begin();
        records_ = std::move(now).value();
        end();
        // Row numbers are padded to the width of the count, which may have changed with it.
        if (records_.size() != before && !records_.isEmpty())
            emit dataChanged(index(0), index(int(records_.size()) - 1));
        return {};
    }
    beginResetModel();
    records_ = std::move(now).value();
    endResetModel();
    return {};
}

Result<> TableModel::insertNew() {
    return insert(rows_->insertNew());
}

Result<> TableModel::append(const Record& record) {
    return insert(rows_->append(record));
}

Result<> TableModel::insert(const Result<int>& inserted) {
    const int row = int(records_.size());
    QList<int> order;
    for (int i = 0; i < row; ++i)
        order << i;
    order << -1;
    const QList<Record> before = records_;
    const Result<> taken =
        takeRows([&](const QList<Record>& now) { return sameBut(before, now, order); },
                 [&] { beginInsertRows({}, row, row); }, [&] { endInsertRows(); });
    return inserted ? taken : failureOf(inserted);
}

Result<> TableModel::remove(int row) {
    if (row < 0 || row >= records_.size())
        return {};
    const Result<> removed = rows_->remove(row);
    QList<int> order;
    for (int i = 0; i < records_.size(); ++i) {
        if (i != row)
            order << i;
    }
    const QList<Record> before = records_;
    const Result<> taken =
        takeRows([&](const QList<Record>& now) { return sameBut(before, now, order); },
                 [&] { beginRemoveRows({}, row, row); }, [&] { endRemoveRows(); });
    return removed ? taken : removed;
}

Result<> TableModel::move(int row, bool up) {
    const int neighbour = up ? row - 1 : row + 1;
    if (row < 0 || neighbour < 0 || row >= records_.size() || neighbour >= records_.size())
        return {};
    const Result<> moved = rows_->move(row, up);
    QList<int> order;
    for (int i = 0; i < records_.size(); ++i)
        order << i;
    order.swapItemsAt(row, neighbour);
    const QList<Record> before = records_;
    // Qt counts a move's destination before the row leaves: down by one is "below the next".
    const int destination = up ? neighbour : neighbour + 1;
    const Result<> taken =
        takeRows([&](const QList<Record>& now) { return sameBut(before, now, order); },
                 [&] { beginMoveRows({}, row, row, {}, destination); }, [&] { endMoveRows(); });
    return moved ? taken : moved;
}

Result<> TableModel::edit(int row, const RecordSource::Edit& edit) {
    const Result<> edited = rows_->edit(row, edit);
    QList<int> order;
    for (int i = 0; i < records_.size(); ++i)
        order << (i == row ? -1 : i);
    const QList<Record> before = records_;
    const Result<> taken =
        takeRows([&](const QList<Record>& now) { return sameBut(before, now, order); }, [] {},
                 [&] { emit dataChanged(index(row), index(row)); });
    return edited ? taken : edited;
}

int TableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(records_.size());
}

QVariant TableModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    return rowText_(records_.at(index.row()), rows_->numberOf(index.row()), int(records_.size()));
}
