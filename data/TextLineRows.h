#pragma once

#include "data/TableRows.h"

class Board;

// The rows of a text file of one entry a line, each read as a record of the table's own layout.
// The file is read whole at every change and written whole after it, lines that no one edited
// exactly as they were. A function block also has a head of two lines that stay as they are,
// empty or not.
class TextLineRows : public TableRows {
  public:
    struct Table {
        const RecordLayout* line;
        int limit;
        QString newLine; // what an insert adds, as it stands
        Record (*parse)(const QString& line);
        QString (*format)(const Record& entry);
        // A function block's: the form of its head.
        const formtable::Table* head = nullptr;
    };

    // `fileName` is the file in the layout's directory: a function block's name, or the
    // layout's own file name when empty.
    TextLineRows(const Board& board, Table table, QString fileName = {});

    const RecordLayout& layout() const override { return *table_.line; }
    QString name() const override { return fileName_; }
    QString path() const;
    int limit() const override { return table_.limit; }

    Result<QList<Record>> read() override;
    Result<int> insertNew() override;
    Result<> remove(int row) override;
    Result<> move(int row, bool up) override;
    Result<> edit(int row, const RecordSource::Edit& edit) override;

    const formtable::Table* headForm() const override;
    Result<Record> readHead() override;
    Result<> editHead(const RecordSource::Edit& edit) override;

  private:
    struct Lines {
        QList<QByteArray> head;
        QList<QByteArray> rows;
    };
    Result<Lines> load() const;
    Result<> store(const Lines& lines) const;
    // The lines with row `row` checked to be there.
    Result<Lines> loadWith(int row) const;

    const Board& board_;
    Table table_;
    QString fileName_;
};
