#include "data/RecordFile.h"

#include "platform/Descriptor.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFile>

#include <algorithm>
#include <memory>
#include <vector>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recordfile {

namespace {

using filewrite::systemFailure;
using filewrite::writeAt;

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
    return writeTogether({{path, number, &record}});
}

namespace {

// A file of a joint write, open, with what its record's place held before.
struct Opened {
    std::unique_ptr<Descriptor> fd;
    off_t sizeBefore = 0;
    off_t offset = 0;
    QByteArray before;
};

Result<Opened> openFor(const Placement& placement) {
    const Result<int> opened = fileaccess::openRegular(placement.path, O_RDWR | O_CREAT);
    if (!opened)
        return failureOf(opened);
    Opened file;
    file.fd = std::make_unique<Descriptor>(opened.value());
    struct stat st {};
    if (::fstat(file.fd->get(), &st) != 0)
        return systemFailure(QStringLiteral("look at"), placement.path);
    file.sizeBefore = st.st_size;
    const int length = placement.record->layout().length;
    file.offset = offsetOf(placement.number, length);
    const qint64 held = std::clamp<qint64>(file.sizeBefore - file.offset, 0, length);
    file.before.resize(qsizetype(held));
    if (held > 0 && ::pread(file.fd->get(), file.before.data(), size_t(held), file.offset) != held)
        return systemFailure(QStringLiteral("read"), placement.path);
    return file;
}

// Gives the record's place back what it held, and the file its length; true when that worked.
bool putBack(const Opened& file, int length) {
    return writeAt(file.fd->get(), file.before, file.offset) &&
           (file.offset + length <= file.sizeBefore ||
            ::ftruncate(file.fd->get(), file.sizeBefore) == 0);
}

} // namespace

Result<> writeTogether(const QList<Placement>& placements) {
    std::vector<Opened> files;
    for (const Placement& placement : placements) {
        Result<Opened> opened = openFor(placement);
        if (!opened)
            return failureOf(opened);
        files.push_back(std::move(opened).value());
    }
    for (qsizetype i = 0; i < placements.size(); ++i) {
        const Placement& placement = placements.at(i);
        if (writeAt(files[size_t(i)].fd->get(), placement.record->bytes(), files[size_t(i)].offset))
            continue;
        Failure failure = systemFailure(QStringLiteral("write"), placement.path);
        for (qsizetype j = 0; j <= i; ++j) {
            if (!putBack(files[size_t(j)], placements.at(j).record->layout().length))
                failure.reason += QStringLiteral("; %1 could not be put back as it was")
                                      .arg(placements.at(j).path);
        }
        return failure;
    }
    for (qsizetype i = 0; i < placements.size(); ++i) {
        if (!files[size_t(i)].fd->close())
            return systemFailure(QStringLiteral("write"), placements.at(i).path);
    }
    return {};
}

Result<qint64> size(const QString& path) {
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return systemFailure(QStringLiteral("look at"), path);
    return qint64(st.st_size);
}

} // namespace recordfile
