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

} // namespace filehelpers
