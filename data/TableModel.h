#pragma once

#include "data/TableRows.h"

#include <QAbstractListModel>
#include <QList>

#include <functional>
#include <memory>

// The rows of a table as a list, for the list forms, a row a record in file order. Rows change
// only through the table: after each change they are read from the file again, since the node
// programs may have changed it as well, and the change is announced precisely where the file
// holds what it should, else as a reset.
class TableModel : public QAbstractListModel {
    Q_OBJECT
  public:
    // A row's text from its record, the number the sysop knows it by and the number of rows.
    using RowText = std::function<QString(const Record& record, int number, int count)>;

    TableModel(std::unique_ptr<TableRows> rows, RowText rowText, QObject* parent = nullptr);

    TableRows& rows() const { return *rows_; }
    // Reads the rows from the file.
    Result<> reload();
    const Record& record(int row) const { return records_.at(row); }
    const QList<Record>& records() const { return records_; }

    Result<> insertNew();
    Result<> append(const Record& record);
    Result<> remove(int row);
    Result<> move(int row, bool up);
    Result<> edit(int row, const RecordSource::Edit& edit);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

  private:
    // Takes the rows after `inserted` added one behind the last.
    Result<> insert(const Result<int>& inserted);
    // Takes the rows as the file now holds them: announced by `begin` and `end` when `expected`
    // says they are what the change should have left, else as a reset.
    Result<> takeRows(const std::function<bool(const QList<Record>& now)>& expected,
                      const std::function<void()>& begin, const std::function<void()>& end);

    std::unique_ptr<TableRows> rows_;
    RowText rowText_;
    QList<Record> records_;
};
