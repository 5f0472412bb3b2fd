#include "platform/HeldFile.h"

#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using filewrite::systemFailure;

HeldFile::HeldFile(const QString& path)
    : path_(path), opened_(fileaccess::openRegular(path, O_RDONLY)),
      fd_(opened_ ? opened_.value() : -1) {}

HeldFile::~HeldFile() {
    if (fd_ >= 0)
        ::close(fd_);
}

Result<> HeldFile::opening() const {
    return opened_ ? Result<>() : Result<>(failureOf(opened_));
}

Result<qint64> HeldFile::size() const {
    struct stat st {};
    if (::fstat(fd_, &st) != 0)
        return systemFailure(QStringLiteral("look at"), path_);
    return qint64(st.st_size);
}

Result<QByteArray> HeldFile::readAll() const {
    const Result<qint64> length = size();
    if (!length)
        return failureOf(length);
    QByteArray bytes(static_cast<qsizetype>(length.value()), Qt::Uninitialized);
    qsizetype got = 0;
    while (got < bytes.size()) {
        const ssize_t n =
            ::pread(fd_, bytes.data() + got, static_cast<size_t>(bytes.size() - got), off_t(got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return systemFailure(QStringLiteral("read"), path_);
        if (n == 0)
            return Failure{
                QStringLiteral("Cannot read %1: it was cut short while it was read").arg(path_)};
        got += n;
    }
    return bytes;
}

bool HeldFile::isStillAtItsPath() const {
    struct stat opened {
    }, named{};
    return ::fstat(fd_, &opened) == 0 &&
           ::stat(QFile::encodeName(path_).constData(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}
