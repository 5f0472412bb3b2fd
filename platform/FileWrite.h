#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QString>

#include <sys/types.h>

// Writing board files so that no crash, full disk or killed process leaves half of one.
namespace filewrite {

// Writes all of `bytes` to `fd`, over as many writes as it takes; false with errno set.
bool writeAll(int fd, const QByteArray& bytes);
// The same at `offset`, leaving the file position alone.
bool writeAt(int fd, const QByteArray& bytes, off_t offset);

// "Cannot <what> <path>: <the system's reason>", from errno.
Failure systemFailure(const QString& what, const QString& path);

// Where a replace of `path` lands: the target of a symbolic link, else the path itself.
QString landingPath(const QString& path);

// A new file that waits beside the file it is to replace, written whole and flushed to disk.
struct Staged {
    QString target; // where the file lands: the target of a symbolic link, else the path
    QString aside;  // the new file, `target` with `suffix` added
};
// Writes `bytes` to a new file beside `path`'s landing place, with the old file's mode, owner
// and group; renaming `aside` over `target` then replaces it. Nothing is left on failure.
Result<Staged> stage(const QString& path, const QByteArray& bytes,
                     const QString& suffix = QStringLiteral(".NEW"));

// Flushes to disk the directory that holds `path`, so a rename in it survives a crash.
Result<> flushDirectoryOf(const QString& path);

// Replaces the file at `path` with `bytes`: they go to a new file beside it, which is flushed
// to disk and renamed over the old one, and the directory is flushed after the rename. The new
// file keeps the old one's mode, owner and group, so a table the node programs share through
// its group stays writable to them. A symbolic link keeps pointing where it did: its target is
// replaced. On failure the old file is as it was.
Result<> replace(const QString& path, const QByteArray& bytes);

} // namespace filewrite
