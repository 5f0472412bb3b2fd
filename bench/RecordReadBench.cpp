// Reading whole record tables through the record layer, against one raw read() of the same
// file in the same run.

#include "data/RecordFile.h"
#include "data/RecordList.h"
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

Table& table(const char* name, int records) {
    static std::map<std::string, Table*> made;
    Table*& t = made[name];
    if (!t) {
        t = new Table;
        const BoardFile* file = findBoardFile(name);
        t->layout = &file->layout();
        t->records = records;
        t->path = t->dir.filePath(QString::fromLatin1(name));
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

void rawRead(benchmark::State& state, const char* name, int records) {
    Table& t = table(name, records);
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

void layerList(benchmark::State& state, const char* name, int records) {
    Table& t = table(name, records);
    QList<Record> all;
    QString error;
    for (auto _ : state) {
        if (!recordlist::readAll(t.path, *t.layout, &all, &error) || all.size() != records)
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(all.data());
    }
}

void layerPerRecord(benchmark::State& state, const char* name, int records) {
    Table& t = table(name, records);
    Record r(*t.layout);
    QString error;
    for (auto _ : state) {
        for (int n = 1; n <= records; ++n) {
            if (!recordfile::read(t.path, n, r, &error))
                state.SkipWithError("read failed");
        }
        benchmark::DoNotOptimize(r.bytes().data());
    }
}

BENCHMARK_CAPTURE(rawRead, users, "USERFILE.DAT", 20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(layerList, users, "USERFILE.DAT", 20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(layerPerRecord, users, "USERFILE.DAT", 20000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(rawRead, doors, "DOORS.CFG", 500)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(layerList, doors, "DOORS.CFG", 500)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(layerPerRecord, doors, "DOORS.CFG", 500)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
