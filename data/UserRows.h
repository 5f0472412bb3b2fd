#pragma once

#include "data/TableRows.h"

class Board;

// USERFILE.DAT as the user editor's list: a row is the user of its number, for good. A delete
// leaves a free number behind, an insert always takes a new one at the end, and only compress
// gives back the free numbers at the end. Every change that frees or takes a number clears
// what the number carried before.
class UserRows : public TableRows {
  public:
    explicit UserRows(const Board& board) : board_(board) {}

    const RecordLayout& layout() const override;
    QString name() const override { return QStringLiteral("USERFILE.DAT"); }
    int limit() const override;

    Result<QList<Record>> read() override;
    Result<int> insertNew() override;
    Result<> remove(int row) override;
    Result<> move(int row, bool up) override;
    Result<> edit(int row, const RecordSource::Edit& edit) override;
    Result<> compress() override;

  private:
    QString path() const;
    // Reads user `number`, refused when the file has no such user.
    Result<Record> readUser(int number) const;

    const Board& board_;
};
