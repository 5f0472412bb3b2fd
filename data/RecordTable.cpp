#include "data/RecordTable.h"

#include "data/RecordFile.h"
#include "platform/Descriptor.h"
#include "platform/FileAccess.h"
#include "platform/FileWrite.h"
#include "platform/HeldFile.h"

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

// A table held open while it is rewritten, read whole only when it can be counted.
class OpenTable : public HeldFile {
  public:
    using HeldFile::HeldFile;

    Result<QByteArray> readAll(const RecordLayout& layout) const {
        const Result<qint64> length = size();
        if (!length)
            return failureOf(length);
        if (length.value() / layout.length > kMostRecords)
            return Failure{QStringLiteral("%1 holds more records than can be counted").arg(path())};
        return HeldFile::readAll();
    }
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
    const Result<int> opened = fileaccess::openRegular(path, O_RDWR | O_CREAT);
    if (!opened)
        return failureOf(opened);
    Descriptor fd(opened.value());
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0)
        return systemFailure(QStringLiteral("look at"), path);
    const qint64 records = st.st_size / record.layout().length;
    if (records >= kMostRecords)
        return Failure{QStringLiteral("%1 holds %2 records, as many as a table can")
                           .arg(path)
                           .arg(kMostRecords)};
    const off_t end = off_t(records) * record.layout().length;
    // A full disk may take part of the record: the file goes back to what it was.
    const ssize_t written =
        ::pwrite(fd.get(), record.bytes().constData(), size_t(record.layout().length), end);
    if (written >= 0 && written < record.layout().length)
        errno = ENOSPC;
    if (written != record.layout().length || !fd.close()) {
        const Failure failure = systemFailure(QStringLiteral("write"), path);
        if (::truncate(QFile::encodeName(path).constData(), st.st_size) != 0)
            return Failure{failure.reason +
                           QStringLiteral("; %1 may hold part of a record at its end").arg(path)};
        return failure;
    }
    return int(records) + 1;
}

Result<> rewrite(const QString& path, const RecordLayout& layout, const Rearrange& rearrange,
                 const Companions& companions) {
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
        QList<allornone::Change> changes{{path, join(arrangement->records)}};
        if (companions.changes) {
            const Result<QList<allornone::Change>> more = companions.changes(*arrangement);
            if (!more)
                return failureOf(more);
            changes += more.value();
        }
        // Another program put a new table in its place: ours would throw it away.
        if (!table.isStillAtItsPath())
            continue;
        const Result<> replaced = changes.size() == 1
                                      ? filewrite::replace(path, changes.first().bytes.value())
                                      : allornone::replace(companions.journal, changes);
        if (!replaced)
            return replaced;
        return carryOver(table, path, layout, std::move(bytes).value(), std::move(*arrangement));
    }
    return Failure{
        QStringLiteral("%1 was replaced by another program each time it was read; nothing was "
                       "changed")
            .arg(path)};
}

Result<> remove(const QString& path, const RecordLayout& layout, std::string_view keyField,
                int number, const Companions& companions) {
    const auto kept = [&](const QList<Record>& records) -> std::optional<Rearrangement> {
        Rearrangement left;
        for (int i = 0; i < records.size(); ++i) {
            const bool dropped = i == number - 1 || records.at(i).str(keyField) == kDeletedMark;
            left.placeOfOld.append(dropped ? -1 : int(left.records.size()));
            if (!dropped)
                left.records.append(records.at(i));
        }
        if (left.records.size() == records.size())
            return std::nullopt;
        return left;
    };
    return rewrite(path, layout, kept, companions);
}

Result<> move(const QString& path, const RecordLayout& layout, int number, bool up,
              const Companions& companions) {
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
    return rewrite(path, layout, swap, companions);
}

} // namespace recordtable
