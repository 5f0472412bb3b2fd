#include "data/RecordTable.h"

#include "data/RecordFile.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace recordtable {

namespace {

using filewrite::systemFailure;

constexpr qint64 kMostRecords = 32767;
// A rewrite that finds its file replaced by someone else starts over on the new one; a file
// that is replaced every time is left alone.
constexpr int kAttempts = 3;
// A program that keeps writing to the replaced file is followed this many times.
constexpr int kCarryPasses = 8;

class OpenTable {
  public:
    explicit OpenTable(const QString& path)
        : path_(path), opened_(fileaccess::openRegular(path, O_RDONLY)),
          fd_(opened_ ? opened_.value() : -1) {}
    ~OpenTable() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    OpenTable(const OpenTable&) = delete;
    OpenTable& operator=(const OpenTable&) = delete;

    // Why the table could not be opened; success when it is open.
    Result<> opening() const { return opened_ ? Result<>() : Result<>(failureOf(opened_)); }

    // Everything the file holds, as many bytes as its size says. A file that ends early was cut
    // short while it was read, and what came is not the table.
    Result<QByteArray> readAll(const RecordLayout& layout) const {
        struct stat st {};
        if (::fstat(fd_, &st) != 0)
            return systemFailure(QStringLiteral("look at"), path_);
        if (st.st_size / layout.length > kMostRecords)
            return Failure{QStringLiteral("%1 holds more records than can be counted").arg(path_)};
        QByteArray bytes(static_cast<qsizetype>(st.st_size), Qt::Uninitialized);
        qsizetype got = 0;
        while (got < bytes.size()) {
            const ssize_t n = ::pread(fd_, bytes.data() + got,
                                      static_cast<size_t>(bytes.size() - got), off_t(got));
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0)
                return systemFailure(QStringLiteral("read"), path_);
            if (n == 0)
                return Failure{QStringLiteral("Cannot read %1: it was cut short while it was read")
                                   .arg(path_)};
            got += n;
        }
        return bytes;
    }

    // Whether the name still leads to the file that was opened.
    bool isStillAtItsPath() const {
        struct stat opened {
        }, named{};
        return ::fstat(fd_, &opened) == 0 &&
               ::stat(QFile::encodeName(path_).constData(), &named) == 0 &&
               opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
    }

  private:
    QString path_;
    Result<int> opened_;
    int fd_;
};

// Brings into the new table what node programs wrote in place to the old one after it was
// read: a record that changed goes to the place its record went to, one that was added goes
// behind the new table's records. A change to a dropped record goes with it. The old file
// stays reachable through `old` until no more writes arrive.
Result<> carryOver(const OpenTable& old, const QString& path, const RecordLayout& layout,
                   QByteArray seen, Rearrangement arrangement) {
    const qsizetype oldCount = arrangement.placeOfOld.size();
    const qsizetype newCount = arrangement.records.size();
    for (int pass = 0; pass < kCarryPasses; ++pass) {
        Result<QByteArray> now = old.readAll(layout);
        if (!now.ok())
            return Failure{QStringLiteral("%1 was rewritten, but what the node programs wrote "
                                          "meanwhile could not be checked: %2")
                               .arg(path, now.error())};
        if (now.value() == seen)
            return {};
        const QList<Record> before = recordsOf(seen, layout);
        const QList<Record> after = recordsOf(now.value(), layout);
        for (qsizetype i = 0; i < after.size(); ++i) {
            if (i < before.size() && after[i].bytes() == before[i].bytes())
                continue;
            while (arrangement.placeOfOld.size() <= i)
                arrangement.placeOfOld.append(
                    int(newCount + arrangement.placeOfOld.size() - oldCount));
            const int place = arrangement.placeOfOld[i];
            if (place < 0)
                continue;
            if (Result<> written = recordfile::write(path, place + 1, after[i]); !written)
                return written;
        }
        seen = now.value();
    }
    return Failure{QStringLiteral("%1 was rewritten, but a program kept writing to the old copy; "
                                  "look at its latest records.")
                       .arg(path)};
}

} // namespace

QList<Record> recordsOf(const QByteArray& bytes, const RecordLayout& layout) {
    QList<Record> records;
    records.reserve(bytes.size() / layout.length);
    for (qsizetype at = 0; at + layout.length <= bytes.size(); at += layout.length)
        records.append(Record(layout, bytes, at));
    return records;
}

QByteArray join(const QList<Record>& records) {
    QByteArray bytes;
    for (const Record& r : records)
        bytes += r.bytes();
    return bytes;
}

Result<qint16> count(const QString& path, const RecordLayout& layout) {
    const Result<qint64> size = recordfile::size(path);
    if (!size)
        return failureOf(size);
    const qint64 whole = size.value() / layout.length;
    if (whole > kMostRecords)
        return Failure{QStringLiteral("%1 holds more records than can be counted").arg(path)};
    return static_cast<qint16>(whole);
}

Result<QList<Record>> read(const QString& path, const RecordLayout& layout) {
    const OpenTable table(path);
    if (Result<> opened = table.opening(); !opened)
        return failureOf(opened);
    const Result<QByteArray> bytes = table.readAll(layout);
    if (!bytes)
        return failureOf(bytes);
    return recordsOf(bytes.value(), layout);
}

Result<int> append(const QString& path, const Record& record) {
    qint16 records = 0;
    if (QFile::exists(path)) {
        const Result<qint16> counted = count(path, record.layout());
        if (!counted)
            return failureOf(counted);
        records = counted.value();
    }
    if (Result<> written = recordfile::write(path, records + 1, record); !written)
        return failureOf(written);
    return records + 1;
}

Result<> rewrite(const QString& path, const RecordLayout& layout, const Rearrange& rearrange,
                 const QString& workFile) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const OpenTable table(path);
        if (Result<> opened = table.opening(); !opened)
            return opened;
        Result<QByteArray> bytes = table.readAll(layout);
        if (!bytes)
            return failureOf(bytes);
        std::optional<Rearrangement> arrangement = rearrange(recordsOf(bytes.value(), layout));
        if (!arrangement)
            return {};
        const QByteArray fresh = join(arrangement->records);
        if (!workFile.isEmpty()) {
            if (Result<> parked = filewrite::replace(workFile, fresh); !parked)
                return parked;
        }
        // Another program put a new table in its place: ours would throw it away.
        if (!table.isStillAtItsPath())
            continue;
        if (Result<> replaced = filewrite::replace(path, fresh); !replaced)
            return replaced;
        Result<> carried =
            carryOver(table, path, layout, std::move(bytes).value(), std::move(*arrangement));
        if (!workFile.isEmpty() && QFile::exists(workFile) && !QFile::remove(workFile) &&
            carried.ok())
            return Failure{QStringLiteral("Cannot delete %1").arg(workFile)};
        return carried;
    }
    return Failure{
        QStringLiteral("%1 was replaced by another program each time it was read; nothing was "
                       "changed")
            .arg(path)};
}

Result<QList<int>> compact(const QString& path, const RecordLayout& layout,
                           std::string_view keyField) {
    QList<int> placeOfOld;
    Result<> rewritten =
        rewrite(path, layout, [keyField, &placeOfOld](const QList<Record>& records) {
            Rearrangement kept;
            for (const Record& r : records) {
                const bool marked = r.str(keyField) == kDeletedMark;
                kept.placeOfOld.append(marked ? -1 : int(kept.records.size()));
                if (!marked)
                    kept.records.append(r);
            }
            placeOfOld = kept.placeOfOld;
            return std::optional(kept);
        });
    if (!rewritten)
        return failureOf(rewritten);
    return placeOfOld;
}

Result<> move(const QString& path, const QString& workFile, const RecordLayout& layout, int number,
              bool up) {
    const auto swap = [number, up](const QList<Record>& records) -> std::optional<Rearrangement> {
        const int neighbour = up ? number - 1 : number + 1;
        if (records.size() < 2 || number < 1 || number > records.size() || neighbour < 1 ||
            neighbour > records.size())
            return std::nullopt;
        Rearrangement swapped{records, {}};
        for (int i = 0; i < records.size(); ++i)
            swapped.placeOfOld.append(i);
        swapped.records.swapItemsAt(number - 1, neighbour - 1);
        swapped.placeOfOld.swapItemsAt(number - 1, neighbour - 1);
        return swapped;
    };
    return rewrite(path, layout, swap, workFile);
}

} // namespace recordtable
