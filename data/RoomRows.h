#pragma once

#include "data/TableRows.h"

class Board;

// The teleconference rooms: ROOM1.CFG to ROOM100.CFG in the main directory, a file a room and a
// row a file. A missing or empty file is a free room; removing a room deletes its file, and a
// move swaps two rooms' files. A table may show only some of the rooms, from `first` to `last`;
// its rows still move to the rooms beside them.
class RoomRows : public TableRows {
  public:
    static constexpr int kRooms = 100;

    RoomRows(const Board& board, int first = 1, int last = kRooms);

    const RecordLayout& layout() const override;
    QString name() const override;
    int limit() const override { return 0; }
    int numberOf(int row) const override { return first_ + row; }

    Result<QList<Record>> read() override;
    Result<int> insertNew() override;
    Result<> remove(int row) override;
    Result<> move(int row, bool up) override;
    Result<> edit(int row, const RecordSource::Edit& edit) override;

  private:
    QString pathOf(int room) const;
    Result<Record> readRoom(int room) const;
    // The room of `row`, refused when the table has no such row.
    Result<int> roomOf(int row) const;

    const Board& board_;
    int first_;
    int last_;
};
