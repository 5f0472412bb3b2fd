#pragma once

#include "data/RecordLayout.h"

#include <QList>
#include <QString>

// Whole-list operations on a record file, the way the list editors change a table. A table is
// only ever replaced whole: the new bytes go to a file beside the live one, which is then
// renamed over it, so a crash at any moment leaves the old table or the new one.
namespace recordlist {

// The marker a deleted entry carries in its key field until the next compaction.
inline constexpr char kDeletedMark[] = "##$$##";

// Whole records in the file, from its size; a partial record at the end does not count. False
// when the file cannot be looked at or holds more records than a 16-bit count can.
bool count(const QString& path, const RecordLayout& layout, qint16* records, QString* error);

// Every whole record, in one open.
bool readAll(const QString& path, const RecordLayout& layout, QList<Record>* records,
             QString* error);

// Replaces the file with exactly these records.
bool replace(const QString& path, const QList<Record>& records, QString* error);

// Rewrites the file without the records whose `keyField` holds the deletion marker.
bool compact(const QString& path, const RecordLayout& layout, std::string_view keyField,
             QString* error);

// Swaps record `number` with its upper (`up`) or lower neighbour. The new order is first
// written to `workFile` (the table's .TMP file in the temporary directory), which is removed
// afterwards. Nothing happens at the ends of the list or with fewer than two records.
bool move(const QString& path, const QString& workFile, const RecordLayout& layout, int number,
          bool up, QString* error);

// The work file a move goes through: the table's name with the extension .TMP ("DOORS.CFG" ->
// "DOORS.TMP", "TEXT3.DAT" -> "TEXT3.TMP"), kept in the board's temporary directory.
QString workFileName(const QString& tableName);

// Writes `record` behind the last whole record; returns its number in `number`.
bool append(const QString& path, const Record& record, int* number, QString* error);

} // namespace recordlist
