#pragma once

#include "platform/DosPath.h"

#include <QByteArray>
#include <QString>

// File routines the board's forms share. Paths are native; every routine trims its path and
// turns any failure into its "no" answer rather than an error.
namespace filehelpers {

// With "?" or "*" in the last component: whether anything of that kind matches.
bool dirExists(const QString& path);
bool fileExists(const QString& path);
// Creates the file empty when it is missing, or always when `overwrite`.
bool touchFile(const QString& path, bool overwrite);
// Replaces the file with the trimmed text and a line end, or with nothing for empty text.
bool writeTextFile(const QString& path, const QString& text);

// Whether another program holds the file in a way that conflicts with `mode` ("READ", "WRITE"
// or anything else for "READ WRITE"). A missing file is not locked.
bool isFileLocked(const QString& path, const QString& mode);

// The value of the first "key=value" line whose key matches case-blind; "" for none.
QString getKeyValue(const QString& key, const QString& path);

// The file's bytes up to the first NUL; "" when it cannot be opened.
QByteArray readWholeFile(const QString& path);
// Writes all of `bytes` to `fd`, over as many writes as it takes; false with errno set.
bool writeAll(int fd, const QByteArray& bytes);

// The path with every component spelt as it is on disk; "" when a component does not exist.
QString longPath(const QString& path);

// The DOS 8.3 form of a path that lies on a mapped drive ("C:\KELD\LONGNA~1"), else the path.
QString shortPath(const DriveMap& drives, const QString& path);

} // namespace filehelpers
