#pragma once

#include "data/Board.h"

#include <QStringList>

#include <array>

// The address list in KELDTSIP.DAT as the sysop edits it. Rows of the list are the file's
// records one for one, so row N is record N + 1. Every change is an append or a whole-file
// replace, so the live list is never missing while it is being changed.
namespace iplist {

QString path(const Board& board);

// The entries, trimmed, in file order; a missing file is an empty list.
bool read(const Board& board, QStringList* entries, QString* error);

// The entry four address boxes make: a part is "*" or its leading number ("010" -> "10").
// Empty when any box is blank, which means nothing is to be added.
QString entryFromParts(const std::array<QString, 4>& parts);

// Writes `entry` behind the last whole record. An entry longer than a record is refused
// rather than cut into a different address.
bool add(const Board& board, const QString& entry, QString* error);

// Drops row `row` (from 0) together with any record already marked deleted, and numbers the
// rest anew. A row beyond the list changes nothing. Removing the last entry leaves an empty
// file, which dropIfEmpty() takes away.
bool remove(const Board& board, int row, QString* error);

// Removes a list file with nothing in it; the filter reads it the same as no file at all.
bool dropIfEmpty(const Board& board, QString* error);

} // namespace iplist
