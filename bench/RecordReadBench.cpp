// Reading whole record tables through the record layer, against one raw read() of the same
// file in the same run; and saving one record in place, against rewriting the whole table.

#include "data/RecordFile.h"
#include "data/RecordTable.h"
#include "data/records/BoardFiles.h"

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <map>
#include <random>
#include <unistd.h>

namespace {

struct Table {
    QTemporaryDir dir;
    QString path;
    const RecordLayout* layout;
    int records;
};

Table& table(const RecordLayout& layout, int records) {
    static std::map<const RecordLayout*, Table*> made;
    Table*& t = made[&layout];
    if (!t) {
        t = new Table;
        t->layout = &layout;
        t->records = records;
        t->path = t->dir.filePath(layout.nameOf());
        QByteArray bytes(qsizetype(records) * t->layout->length, '\0');
        std::mt19937 random(7);
        for (char& c : bytes)
            c = static_cast<char>(random());
        QFile f(t->path);
        if (!f.open(QIODevice::WriteOnly) || f.write(bytes) != bytes.size())
            std::abort();
    }
    return *t;
}

void rawRead(benchmark::State& state, const RecordLayout& layout, int records) {
    Table& t = table(layout, records);
    QByteArray buffer(qsizetype(records) * t.layout->length, '\0');
    const QByteArray path = QFile::encodeName(t.path);
    for (auto _ : state) {
        const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        qsizetype got = 0;
        while (got < buffer.size()) {
            const ssize_t n =
                ::read(fd, buffer.data() + got, static_cast<size_t>(buffer.size() - got));
            if (n <= 0)
                break;
            got += n;
        }
        ::close(fd);
        benchmark::DoNotOptimize(buffer.data());
    }
}

void layerList(benchmark::State& state, const RecordLayout& layout, int records) {
    Table& t = table(layout, records);
    for (auto _ : state) {
        Result<QList<Record>> all = recordtable::read(t.path, *t.layout);
        if (!all || all.value().size() != records)
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(all.value().data());
    }
}

void layerPerRecord(benchmark::State& state, const RecordLayout& layout, int records) {
    Table& t = table(layout, records);
    Record r(*t.layout);
    for (auto _ : state) {
        for (int n = 1; n <= records; ++n) {
            if (!recordfile::read(t.path, n, r).ok())
                state.SkipWithError("read failed");
        }
        benchmark::DoNotOptimize(r.bytes().data());
    }
}

// A form's save of one record: the record written in place in the middle of the table.
void saveInPlace(benchmark::State& state, const RecordLayout& layout, int records) {
    Table& t = table(layout, records);
    Record r(*t.layout);
    for (auto _ : state) {
        if (!recordfile::write(t.path, records / 2, r).ok())
            state.SkipWithError("write failed");
    }
}

// What a save would cost if it rewrote the table: a structural rewrite that keeps every record.
void rewriteWhole(benchmark::State& state, const RecordLayout& layout, int records) {
    Table& t = table(layout, records);
    const auto same = [](const QList<Record>& all) {
        recordtable::Rearrangement kept{all, {}};
        for (int i = 0; i < all.size(); ++i)
            kept.placeOfOld.append(i);
        return std::optional(kept);
    };
    for (auto _ : state) {
        if (!recordtable::rewrite(t.path, *t.layout, same).ok())
            state.SkipWithError("rewrite failed");
    }
}

BENCHMARK_CAPTURE(rawRead, users, userLayout(), 20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(layerList, users, userLayout(), 20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(layerPerRecord, users, userLayout(), 20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(rawRead, doors, doorsLayout(), 500)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(layerList, doors, doorsLayout(), 500)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(layerPerRecord, doors, doorsLayout(), 500)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(saveInPlace, users, userLayout(), 20000)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(rewriteWhole, users, userLayout(), 20000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
