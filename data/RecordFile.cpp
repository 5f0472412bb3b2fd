#include "data/RecordFile.h"

#include "platform/Descriptor.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recordfile {

namespace {

using filewrite::systemFailure;

off_t offsetOf(int number, int length) {
    return static_cast<off_t>(number - 1) * length;
}

} // namespace

Result<> read(const QString& path, int number, Record& record) {
    const Result<int> opened = fileaccess::openRegular(path, O_RDONLY);
    if (!opened)
        return failureOf(opened);
    Descriptor fd(opened.value());
    const int length = record.layout().length;
    QByteArray buffer(length, '\0');
    const off_t offset = offsetOf(number, length);
    qsizetype got = 0;
    while (got < length) {
        const ssize_t n =
            ::pread(fd.get(), buffer.data() + got, static_cast<size_t>(length - got), offset + got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return systemFailure(QStringLiteral("read"), path);
        if (n == 0)
            break;
        got += n;
    }
    std::memcpy(record.bytes().data(), buffer.constData(), static_cast<size_t>(got));
    return {};
}

Result<> write(const QString& path, int number, const Record& record) {
    const Result<int> opened = fileaccess::openRegular(path, O_WRONLY | O_CREAT);
    if (!opened)
        return failureOf(opened);
    Descriptor fd(opened.value());
    const QByteArray& bytes = record.bytes();
    const off_t offset = offsetOf(number, static_cast<int>(bytes.size()));
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pwrite(fd.get(), bytes.constData() + done,
                                   static_cast<size_t>(bytes.size() - done), offset + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = EIO;
            return systemFailure(QStringLiteral("write"), path);
        }
        done += n;
    }
    if (!fd.close())
        return systemFailure(QStringLiteral("write"), path);
    return {};
}

Result<qint64> size(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return systemFailure(QStringLiteral("look at"), path);
    return qint64(st.st_size);
}

} // namespace recordfile
