#pragma once

#include "data/RecordLayout.h"

#include <QString>

// Stateless access to a record file: every call opens, does one thing and closes, because the
// node programs use the same files at the same time and neither side locks.
namespace recordfile {

// Reads record `number` (from 1) over `record`. Bytes past the end of the file leave the
// record as the caller had it. False, with `error` set, when the file cannot be read.
bool read(const QString& path, int number, Record& record, QString* error);

// Writes record `number`, creating the file when it is missing.
bool write(const QString& path, int number, const Record& record, QString* error);

// Length in bytes, or -1 when the file cannot be looked at.
qint64 size(const QString& path);

} // namespace recordfile
