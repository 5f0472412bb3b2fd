#pragma once

#include "data/RecordLayout.h"
#include "platform/Result.h"

#include <QAbstractListModel>
#include <QList>

#include <functional>

class Board;

// The records of one table file as a list, a row a record in file order, for the list forms.
// Rows change only through the record layer: an append is written in place behind the last
// record, a removal marks its record and compacts the table. After each change the rows are
// read from the file again, since the node programs may have changed it as well.
class RecordTableModel : public QAbstractListModel {
    Q_OBJECT
  public:
    struct Table {
        const RecordLayout* file;
        std::string_view keyField; // where a removed record's deletion marker goes
        // The row's text; a list form adds the record number where it shows one.
        std::function<QString(const Record&)> rowText;
    };

    RecordTableModel(const Board& board, Table table, int fileNumber = 0,
                     QObject* parent = nullptr);

    // Reads the rows from the file; a missing file is an empty list.
    Result<> reload();
    const Record& record(int row) const { return records_.at(row); }
    QString path() const;

    Result<> append(const Record& record);
    Result<> remove(int row);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

  private:
    Result<QList<Record>> readRows() const;
    // Takes the rows as the file now holds them, announcing `expected` (the old rows as the
    // change should have left them) precisely when that is what happened, else as a reset.
    void takeRows(const QList<Record>& now, const std::function<void()>& begin,
                  const std::function<void()>& end, const QList<Record>& expected);

    const Board& board_;
    Table table_;
    int fileNumber_;
    QList<Record> records_;
};
