#include "platform/FileAccess.h"

#include "platform/FileWrite.h"

#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fileaccess {

namespace {

Failure notAFile(const QString& path, mode_t mode) {
    const char* kind = S_ISDIR(mode)    ? "a directory"
                       : S_ISFIFO(mode) ? "a FIFO"
                       : S_ISSOCK(mode) ? "a socket"
                                        : "a device";
    return {QStringLiteral("Cannot use %1: it is %2, not a file").arg(path, QLatin1String(kind))};
}

} // namespace

Result<int> openRegular(const QString& path, int flags, mode_t mode) {
    // Non-blocking for the open alone: opening a FIFO with no one at its other end must not
    // wait. A regular file behaves the same either way, and gets its blocking mode back.
    const int fd = ::open(QFile::encodeName(path).constData(),
                          flags | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode);
    struct stat st {};
    if (fd < 0) {
        // A FIFO that nobody reads refuses a writer, and a socket any opener: say what it is.
        const Failure failure = filewrite::systemFailure(QStringLiteral("open"), path);
        if (::stat(QFile::encodeName(path).constData(), &st) == 0 && !S_ISREG(st.st_mode) &&
            !S_ISDIR(st.st_mode))
            return notAFile(path, st.st_mode);
        return failure;
    }
    if (::fstat(fd, &st) != 0) {
        const Failure failure = filewrite::systemFailure(QStringLiteral("look at"), path);
        ::close(fd);
        return failure;
    }
    if (!S_ISREG(st.st_mode)) {
        ::close(fd);
        return notAFile(path, st.st_mode);
    }
    if (::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
        const Failure failure = filewrite::systemFailure(QStringLiteral("open"), path);
        ::close(fd);
        return failure;
    }
    return fd;
}

Result<QByteArray> readSmall(const QString& path, qint64 limit) {
    const Result<int> fd = openRegular(path, O_RDONLY);
    if (!fd)
        return failureOf(fd);
    QByteArray bytes;
    char buffer[65536];
    ssize_t n = 0;
    while (bytes.size() < limit) {
        n = ::read(fd.value(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        bytes.append(buffer, n);
    }
    const int readError = errno;
    ::close(fd.value());
    if (n < 0) {
        errno = readError;
        return filewrite::systemFailure(QStringLiteral("read"), path);
    }
    bytes.truncate(limit);
    return bytes;
}

Result<> writeSmall(const QString& path, const QByteArray& bytes) {
    const QFileInfo info(path);
    QString aside;
    int fd = -1;
    // A name taken already is someone's guess, or a stale file of a killed write: try another.
    for (int tries = 0; fd < 0 && tries < 16; ++tries) {
        aside = info.absolutePath() +
                QStringLiteral("/.%1.%2")
                    .arg(info.fileName())
                    .arg(QRandomGenerator::system()->generate64(), 16, 16, QLatin1Char('0'));
        fd = ::open(QFile::encodeName(aside).constData(),
                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST)
            break;
    }
    if (fd < 0)
        return filewrite::systemFailure(QStringLiteral("write"), path);
    const QByteArray asideName = QFile::encodeName(aside);
    bool written = filewrite::writeAll(fd, bytes);
    int writeError = errno;
    if (::close(fd) != 0 && written) {
        written = false;
        writeError = errno;
    }
    if (!written || ::rename(asideName.constData(), QFile::encodeName(path).constData()) != 0) {
        errno = written ? errno : writeError;
        const Failure failure = filewrite::systemFailure(
            written ? QStringLiteral("replace") : QStringLiteral("write"), path);
        ::unlink(asideName.constData());
        return failure;
    }
    return {};
}

} // namespace fileaccess
