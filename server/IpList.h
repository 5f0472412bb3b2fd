#pragma once

#include "data/Board.h"
#include "data/RecordFileRows.h"

#include <QHostAddress>

#include <array>
#include <optional>

// The address list in KELDTSIP.DAT as the sysop edits it: rows of the list are the file's
// records one for one. Every change is an append or a compaction, so the live list is never
// missing while it is being changed.
namespace iplist {

// The list as a table of rows: records of KELDTSIP.DAT, a missing file being an empty list.
RecordFileRows::Table table();

// The entry four address boxes make: a part is "*" or its leading number ("010" -> "10").
// Empty when any box is blank, which means nothing is to be added.
QString entryFromParts(const std::array<QString, 4>& parts);

// The record of an entry. An entry longer than a record is refused rather than cut into a
// different address.
Result<Record> recordOf(const QString& entry);

// Writes `entry` behind the last whole record.
Result<> add(const Board& board, const QString& entry);

// IPv6 callers have a list of their own, since the DOS program's 15-byte records cannot hold
// their addresses: KELDTSIP.V6 in the main directory, a text file of one address or network
// ("2001:db8::/32") a line. The same mode applies to both lists.
QString v6Path(const Board& board);
// The entries in file order; a missing file is an empty list.
Result<QStringList> v6Entries(const Board& board);
// The network an entry names, a lone address being a network of one; none for anything else.
std::optional<QPair<QHostAddress, int>> v6Network(const QString& entry);
// Adds an IPv6 address or network, written the way Qt writes it; anything else is refused.
Result<> addV6(const Board& board, const QString& entry);
// Drops row `row` (from 0).
Result<> removeV6(const Board& board, int row);

// Removes list files with nothing in them; the filter reads them the same as no file at all.
Result<> dropIfEmpty(const Board& board);

} // namespace iplist
