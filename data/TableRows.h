#pragma once

#include "data/FormTable.h"
#include "data/Progress.h"
#include "data/RecordSource.h"

#include <QList>
#include <QString>

// A table the sysop edits row by row, as the board's list editors do: the records of a record
// file, the lines of a text file read as records of a layout of their own, or a row of files.
// Every change goes to the disk at once; rows count from 0.
class TableRows {
  public:
    virtual ~TableRows() = default;

    // The layout of a row, which the edit form's table and the command line's field names use.
    virtual const RecordLayout& layout() const = 0;
    // The file, for messages.
    virtual QString name() const = 0;
    // The rows at which inserts stop; 0 for a table that takes none.
    virtual int limit() const = 0;
    // The number the sysop knows a row by.
    virtual int numberOf(int row) const { return row + 1; }

    // The rows as the disk holds them now.
    virtual Result<QList<Record>> read() = 0;
    // Adds the table's entry for a new row behind the last; its row. Refused at the limit.
    virtual Result<int> insertNew() = 0;
    // Adds `record` behind the last row, within the limit; its row. Only tables whose rows come
    // from outside the list (addresses typed elsewhere) take one.
    virtual Result<int> append(const Record& /*record*/) {
        return Failure{name() + QStringLiteral(" takes no entries from outside")};
    }
    virtual Result<> remove(int row) = 0;
    // Swaps a row with the one above (`up`) or below; nothing happens at the ends.
    virtual Result<> move(int row, bool up) = 0;
    // Applies `edit` to the row as it stands on disk and writes it back.
    virtual Result<> edit(int row, const RecordSource::Edit& edit) = 0;
    // Drops the free rows at the end, for a table whose rows keep their numbers.
    virtual Result<> compress() { return Failure{name() + QStringLiteral(" is not compressed")}; }

    // Where a long change says how far it has come.
    void setProgress(PassProgress progress) { progress_ = std::move(progress); }
    const PassProgress& progress() const { return progress_; }

    // Some files have a head above their rows, edited apart from them: its form, nullptr when
    // there is none, and the head itself.
    virtual const formtable::Table* headForm() const { return nullptr; }
    virtual Result<Record> readHead() { return Failure{name() + QStringLiteral(" has no head")}; }
    virtual Result<> editHead(const RecordSource::Edit& /*edit*/) { return failureOf(readHead()); }

  private:
    PassProgress progress_;
};

// Why a row number is refused.
inline Failure noSuchRow(const TableRows& rows, int number) {
    return {QStringLiteral("%1 has no entry %2").arg(rows.name()).arg(number)};
}
