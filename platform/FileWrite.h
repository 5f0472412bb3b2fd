#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QString>

// Writing board files so that no crash, full disk or killed process leaves half of one.
namespace filewrite {

// Writes all of `bytes` to `fd`, over as many writes as it takes; false with errno set.
bool writeAll(int fd, const QByteArray& bytes);

// "Cannot <what> <path>: <the system's reason>", from errno.
Failure systemFailure(const QString& what, const QString& path);

// Replaces the file at `path` with `bytes`: they go to a new file beside it, which is flushed
// to disk and renamed over the old one, and the directory is flushed after the rename. The new
// file keeps the old one's mode, owner and group, so a table the node programs share through
// its group stays writable to them. A symbolic link keeps pointing where it did: its target is
// replaced. On failure the old file is as it was.
Result<> replace(const QString& path, const QByteArray& bytes);

} // namespace filewrite
