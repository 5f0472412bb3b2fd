#include "data/RecordFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString describe(const QString& what, const QString& path) {
    return QStringLiteral("%1 %2: %3")
        .arg(what, path, QString::fromLocal8Bit(std::strerror(errno)));
}

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    // close() can report a write that failed late (NFS, full disk).
    bool close() {
        const int fd = fd_;
        fd_ = -1;
        return ::close(fd) == 0;
    }

  private:
    int fd_;
};

} // namespace

namespace recordfile {

bool read(const QString& path, int number, Record& record, QString* error) {
    Descriptor fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC));
    if (fd.get() < 0) {
        *error = describe(QStringLiteral("Cannot open"), path);
        return false;
    }
    const int length = record.layout().length;
    QByteArray buffer(length, '\0');
    off_t offset = static_cast<off_t>(number - 1) * length;
    qsizetype got = 0;
    while (got < length) {
        const ssize_t n =
            ::pread(fd.get(), buffer.data() + got, static_cast<size_t>(length - got), offset + got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            *error = describe(QStringLiteral("Cannot read"), path);
            return false;
        }
        if (n == 0)
            break;
        got += n;
    }
    std::memcpy(record.bytes().data(), buffer.constData(), static_cast<size_t>(got));
    return true;
}

bool write(const QString& path, int number, const Record& record, QString* error) {
    Descriptor fd(
        ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    if (fd.get() < 0) {
        *error = describe(QStringLiteral("Cannot open"), path);
        return false;
    }
    const QByteArray& bytes = record.bytes();
    const off_t offset = static_cast<off_t>(number - 1) * bytes.size();
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pwrite(fd.get(), bytes.constData() + done,
                                   static_cast<size_t>(bytes.size() - done), offset + done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            *error = describe(QStringLiteral("Cannot write"), path);
            return false;
        }
        done += n;
    }
    if (!fd.close()) {
        *error = describe(QStringLiteral("Cannot close"), path);
        return false;
    }
    return true;
}

qint64 size(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return -1;
    return st.st_size;
}

} // namespace recordfile
