#pragma once

#include "data/RecordLayout.h"
#include "platform/Result.h"

#include <QList>
#include <QString>

// Stateless access to one record of a record file: every call opens, does one thing and
// closes, because the node programs use the same files at the same time and neither side locks.
namespace recordfile {

// Reads record `number` (from 1) over `record`. Bytes past the end of the file leave the
// record as the caller had it.
Result<> read(const QString& path, int number, Record& record);

// Writes record `number` in place, creating the file when it is missing; every other byte of
// the file stays as it is, as the node programs write their records.
Result<> write(const QString& path, int number, const Record& record);

// Where a record goes in which file, for writes that belong together.
struct Placement {
    QString path;
    int number;
    const Record* record;
};
// Writes every record of `placements` in place, or none of them: all the files are opened for
// writing before the first record goes, and when one cannot be written the records already
// written get back the bytes they had, and a file that grew is cut back.
Result<> writeTogether(const QList<Placement>& placements);

// Length in bytes, asked of the file each time.
Result<qint64> size(const QString& path);

} // namespace recordfile
