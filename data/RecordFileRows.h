#pragma once

#include "data/RecordTable.h"
#include "data/TableRows.h"

#include <functional>
#include <string_view>

class Board;

// The rows of a record file. A removal compacts the table, dropping with the record any that an
// earlier program marked in its key field; where files named by the record number belong to the
// records (a question's answers, a section's bulletins), they follow their records through every
// change, together with the table: all of it happens or none.
class RecordFileRows : public TableRows {
  public:
    struct Table {
        const RecordLayout* file;
        std::string_view keyField; // where the deletion marker goes; empty: rows stay
        int limit = 0;             // the rows at which inserts stop; 0: none are taken
        // Fills in what a new entry holds beyond blanks and zeros.
        std::function<void(Record&)> newEntry = {};
        // What every read puts in order before anyone sees the record (an event's time).
        std::function<void(Record&)> onRead = {};
        // The numbered file that follows each record.
        const RecordLayout* following = nullptr;
        // A table that always has this many rows, made of zeros when its file is empty.
        int fixedRows = 0;
        // The list forms make their file when it is missing; the IP list leaves it missing.
        bool createsFile = true;
    };

    RecordFileRows(const Board& board, Table table, int fileNumber = 0);

    const RecordLayout& layout() const override { return *table_.file; }
    QString name() const override { return table_.file->nameOf(fileNumber_); }
    QString path() const;
    int limit() const override { return table_.limit; }

    Result<QList<Record>> read() override;
    Result<int> insertNew() override;
    Result<int> append(const Record& record) override;
    Result<> remove(int row) override;
    Result<> move(int row, bool up) override;
    Result<> edit(int row, const RecordSource::Edit& edit) override;

  private:
    QString followerOf(int number) const;
    // The row's record, refused when the file has no such row.
    Result<Record> readRow(int row) const;
    // The table's rewrites with the files that follow its records.
    recordtable::Companions companions() const;

    const Board& board_;
    Table table_;
    int fileNumber_;
};
