#include "platform/FileWrite.h"

#include "platform/ExecSupport.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace filewrite {

namespace {

// Gives the new file the old one's owner and group. Without the right to give a file away, the
// group alone is enough for the node programs that share it; losing that is a failure.
bool keepOwner(int fd, const struct stat& old) {
    struct stat made {};
    if (::fstat(fd, &made) != 0)
        return false;
    if (made.st_uid == old.st_uid && made.st_gid == old.st_gid)
        return true;
    if (::fchown(fd, old.st_uid, old.st_gid) == 0)
        return true;
    return errno == EPERM && ::fchown(fd, static_cast<uid_t>(-1), old.st_gid) == 0;
}

} // namespace

namespace {

std::string_view viewOf(const QByteArray& bytes) {
    return {bytes.constData(), static_cast<size_t>(bytes.size())};
}

} // namespace

bool writeAll(int fd, const QByteArray& bytes) {
    return execsupport::writeAll(fd, viewOf(bytes));
}

bool writeAt(int fd, const QByteArray& bytes, off_t offset) {
    return execsupport::writeAll(fd, viewOf(bytes), offset);
}

Failure systemFailure(const QString& what, const QString& path) {
    return {QStringLiteral("Cannot %1 %2: %3")
                .arg(what, path, QString::fromLocal8Bit(std::strerror(errno)))};
}

QString landingPath(const QString& path) {
    const QFileInfo info(path);
    if (info.isSymLink()) {
        const QString target = info.canonicalFilePath();
        if (!target.isEmpty())
            return target;
    }
    return path;
}

Result<> flushDirectoryOf(const QString& path) {
    const QString directory = QFileInfo(path).absolutePath();
    const int fd =
        ::open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return systemFailure(QStringLiteral("open the directory of"), path);
    const bool flushed = ::fsync(fd) == 0;
    const int flushError = errno;
    ::close(fd);
    errno = flushError;
    if (!flushed)
        return systemFailure(QStringLiteral("flush the directory of"), path);
    return {};
}

Result<Staged> stage(const QString& path, const QByteArray& bytes, const QString& suffix) {
    const QString target = landingPath(path);
    const QByteArray targetName = QFile::encodeName(target);
    struct stat old {};
    const bool replacing = ::stat(targetName.constData(), &old) == 0;
    // A FIFO or a device where a board file belongs is someone's mistake or mischief; replacing
    // it would hide that.
    if (replacing && !S_ISREG(old.st_mode))
        return Failure{QStringLiteral("Cannot replace %1: it is not a file").arg(target)};
    const QString aside = target + suffix;
    const QByteArray asideName = QFile::encodeName(aside);
    // Whatever a killed rewrite left here is stale; O_EXCL then makes sure we write a file of
    // our own and not through a link someone put in its place.
    ::unlink(asideName.constData());
    const int fd = ::open(asideName.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                          replacing ? 0600 : 0666);
    if (fd < 0)
        return systemFailure(QStringLiteral("create"), aside);
    Result<> done;
    if (replacing && !keepOwner(fd, old))
        done = systemFailure(QStringLiteral("give the owner and group of the old file to"), aside);
    else if (replacing && ::fchmod(fd, old.st_mode & 07777) != 0)
        done = systemFailure(QStringLiteral("give the mode of the old file to"), aside);
    else if (!writeAll(fd, bytes) || ::fsync(fd) != 0)
        done = systemFailure(QStringLiteral("write"), aside);
    if (::close(fd) != 0 && done.ok())
        done = systemFailure(QStringLiteral("write"), aside);
    if (!done.ok()) {
        ::unlink(asideName.constData());
        return failureOf(done);
    }
    return Staged{target, aside};
}

Result<> replace(const QString& path, const QByteArray& bytes) {
    const Result<Staged> staged = stage(path, bytes);
    if (!staged)
        return failureOf(staged);
    if (::rename(QFile::encodeName(staged->aside).constData(),
                 QFile::encodeName(staged->target).constData()) != 0) {
        const Failure failure = systemFailure(QStringLiteral("replace"), staged->target);
        ::unlink(QFile::encodeName(staged->aside).constData());
        return failure;
    }
    return flushDirectoryOf(staged->target);
}

} // namespace filewrite
