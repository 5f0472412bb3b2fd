#pragma once

#include "data/RecordLayout.h"
#include "platform/AllOrNone.h"
#include "platform/Result.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

// Whole-table operations on a record file, the way the list editors change a table. The node
// programs read and write single records of the same files meanwhile, and nobody locks, so:
// a table is only ever replaced whole (a crash leaves the old table or the new one), a read
// that fails or comes up short never leads to a rewrite, and a record a node writes in place
// while a table is rewritten is carried over to where its record went.
namespace recordtable {

// The marker a deleted entry carries in its key field until the next compaction.
inline constexpr char kDeletedMark[] = "##$$##";

// Whole records in the file, from its size; a partial record at the end does not count. Fails
// when the file cannot be looked at or holds more records than a 16-bit count can.
Result<qint16> count(const QString& path, const RecordLayout& layout);

// The whole records of a table's bytes; a partial record at the end does not count.
QList<Record> recordsOf(const QByteArray& bytes, const RecordLayout& layout);
// The records' bytes one after the other, as a table file holds them.
QByteArray join(const QList<Record>& records);

// Every whole record, in one open.
Result<QList<Record>> read(const QString& path, const RecordLayout& layout);

// Writes `record` in place behind the last whole record; gives its number.
Result<int> append(const QString& path, const Record& record);

// What a structural change makes of a table: the records in their new order, and for each old
// record the index it went to (-1: dropped).
struct Rearrangement {
    QList<Record> records;
    QList<int> placeOfOld;
};
// Decides the change on the records as they are read; nothing leaves the file alone.
using Rearrange = std::function<std::optional<Rearrangement>(const QList<Record>& records)>;

// Files that change with the table, decided on its rearrangement: the files numbered after its
// records, say. They and the table are replaced all or none, through `journal`.
struct Companions {
    QString journal;
    std::function<Result<QList<allornone::Change>>(const Rearrangement&)> changes;
};

// Replaces the table with what `rearrange` makes of it, together with its companions.
Result<> rewrite(const QString& path, const RecordLayout& layout, const Rearrange& rearrange,
                 const Companions& companions = {});

// Rewrites the table without record `number` and without the records whose `keyField` holds
// the deletion marker, as an earlier program may have left them.
Result<> remove(const QString& path, const RecordLayout& layout, std::string_view keyField,
                int number, const Companions& companions = {});

// Swaps record `number` with its upper (`up`) or lower neighbour. Nothing happens at the ends of
// the list or with fewer than two records.
Result<> move(const QString& path, const RecordLayout& layout, int number, bool up,
              const Companions& companions = {});

} // namespace recordtable
