#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QString>

#include <optional>

// File routines the board's forms share. Paths are native and trimmed first.
namespace filehelpers {

// With "?" or "*" in the last component: whether anything of that kind matches. Any failure
// to look is a "no".
bool dirExists(const QString& path);
bool fileExists(const QString& path);
// Creates the file empty when it is missing, or always when `overwrite`; never through a FIFO
// or a device someone put in its place.
Result<> touchFile(const QString& path, bool overwrite);

// Deletes the file when it is there.
Result<> removeFile(const QString& path);
// What a file holds now, to be written again elsewhere as a whole; none when it is missing.
Result<std::optional<QByteArray>> contentsOf(const QString& path);

} // namespace filehelpers
