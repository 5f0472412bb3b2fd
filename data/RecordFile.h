#pragma once

#include "data/RecordLayout.h"
#include "platform/Result.h"

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

// Length in bytes, asked of the file each time.
Result<qint64> size(const QString& path);

} // namespace recordfile
