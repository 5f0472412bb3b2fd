#pragma once

#include "platform/Result.h"

#include <QString>

// File routines the board's forms share. Paths are native and trimmed first.
namespace filehelpers {

// With "?" or "*" in the last component: whether anything of that kind matches. Any failure
// to look is a "no".
bool dirExists(const QString& path);
bool fileExists(const QString& path);
// Creates the file empty when it is missing, or always when `overwrite`.
Result<> touchFile(const QString& path, bool overwrite);

// Deletes the file when it is there.
Result<> removeFile(const QString& path);
// Gives `from`'s file the name `to`, over whatever had that name; nothing when `from` is absent.
Result<> moveFile(const QString& from, const QString& to);
// Swaps the files named `first` and `second` through `parking`, either of them possibly absent.
// Whatever an interrupted swap left at `parking` belongs to neither and goes first.
Result<> swapFiles(const QString& first, const QString& second, const QString& parking);

} // namespace filehelpers
