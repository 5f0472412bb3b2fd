#include "data/RecordList.h"

#include "data/FileHelpers.h"
#include "data/RecordFile.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recordlist {

namespace {

QString failure(const QString& what, const QString& path) {
    return QStringLiteral("%1 %2: %3")
        .arg(what, path, QString::fromLocal8Bit(std::strerror(errno)));
}

// Writes `bytes` to `target` through a new file beside it and a rename.
bool replaceBytes(const QString& target, const QByteArray& bytes, QString* error) {
    const QString fresh = target + QStringLiteral(".NEW");
    const QByteArray freshName = QFile::encodeName(fresh);
    const int fd = ::open(freshName.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        *error = failure(QStringLiteral("Cannot create"), fresh);
        return false;
    }
    const bool written = filehelpers::writeAll(fd, bytes) && ::fsync(fd) == 0;
    if (::close(fd) != 0 || !written) {
        *error = failure(QStringLiteral("Cannot write"), fresh);
        ::unlink(freshName.constData());
        return false;
    }
    if (::rename(freshName.constData(), QFile::encodeName(target).constData()) != 0) {
        *error = failure(QStringLiteral("Cannot replace"), target);
        ::unlink(freshName.constData());
        return false;
    }
    return true;
}

QByteArray join(const QList<Record>& records) {
    QByteArray bytes;
    for (const Record& r : records)
        bytes += r.bytes();
    return bytes;
}

} // namespace

bool count(const QString& path, const RecordLayout& layout, qint16* records, QString* error) {
    const qint64 size = recordfile::size(path);
    if (size < 0) {
        *error = failure(QStringLiteral("Cannot look at"), path);
        return false;
    }
    const qint64 whole = size / layout.length;
    if (whole > 32767) {
        *error = QStringLiteral("%1 holds more records than can be counted").arg(path);
        return false;
    }
    *records = static_cast<qint16>(whole);
    return true;
}

bool readAll(const QString& path, const RecordLayout& layout, QList<Record>* records,
             QString* error) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = failure(QStringLiteral("Cannot open"), path);
        return false;
    }
    // The count comes from the open file itself, which saves looking the name up twice.
    struct stat st {};
    if (::fstat(fd, &st) != 0 || st.st_size / layout.length > 32767) {
        *error = QStringLiteral("Cannot count the records of %1").arg(path);
        ::close(fd);
        return false;
    }
    const auto n = static_cast<qint16>(st.st_size / layout.length);
    QByteArray table(qsizetype(n) * layout.length, Qt::Uninitialized);
    qsizetype got = 0;
    while (got < table.size()) {
        const ssize_t r = ::read(fd, table.data() + got, static_cast<size_t>(table.size() - got));
        if (r < 0 && errno == EINTR)
            continue;
        if (r <= 0)
            break;
        got += r;
    }
    // Another program may have cut the file short since it was counted: keep what is there.
    records->clear();
    records->reserve(n);
    for (qsizetype at = 0; at + layout.length <= got; at += layout.length)
        records->append(Record(layout, table, at));
    ::close(fd);
    return true;
}

bool replace(const QString& path, const QList<Record>& records, QString* error) {
    return replaceBytes(path, join(records), error);
}

bool compact(const QString& path, const RecordLayout& layout, std::string_view keyField,
             QString* error) {
    QList<Record> records;
    if (!readAll(path, layout, &records, error))
        return false;
    QList<Record> kept;
    for (const Record& r : records) {
        if (r.str(keyField) != kDeletedMark)
            kept.append(r);
    }
    return replace(path, kept, error);
}

bool move(const QString& path, const QString& workFile, const RecordLayout& layout, int number,
          bool up, QString* error) {
    QList<Record> records;
    if (!readAll(path, layout, &records, error))
        return false;
    const int neighbour = up ? number - 1 : number + 1;
    if (records.size() < 2 || number < 1 || number > records.size() || neighbour < 1 ||
        neighbour > records.size())
        return true;
    records.swapItemsAt(number - 1, neighbour - 1);
    const QByteArray bytes = join(records);
    if (!replaceBytes(workFile, bytes, error) || !replaceBytes(path, bytes, error))
        return false;
    QFile::remove(workFile);
    return true;
}

QString workFileName(const QString& tableName) {
    const qsizetype dot = tableName.lastIndexOf(QLatin1Char('.'));
    return (dot < 0 ? tableName : tableName.left(dot)) + QStringLiteral(".TMP");
}

bool append(const QString& path, const Record& record, int* number, QString* error) {
    qint16 n = 0;
    if (recordfile::size(path) >= 0 && !count(path, record.layout(), &n, error))
        return false;
    *number = n + 1;
    return recordfile::write(path, *number, record, error);
}

} // namespace recordlist
