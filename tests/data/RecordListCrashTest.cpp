// A table rewrite killed at any instant must leave the old table or the new one, whole.

#include "data/RecordFile.h"
#include "data/RecordList.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::array kFields{Field{"key", 0, FieldType::Str, 8},
                             Field{"value", 8, FieldType::I32, 4}};
const RecordLayout kLayout{"CRASH.CFG", 12, kFields};

Record entry(const char* key, int value) {
    Record r(kLayout);
    r.setStr("key", key);
    r.setI32("value", value);
    return r;
}

QByteArray table(std::initializer_list<Record> records) {
    QByteArray bytes;
    for (const Record& r : records)
        bytes += r.bytes();
    return bytes;
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

// The editor's whole repertoire in a loop: compact away entries marked as deleted, swap two
// records and back, add a marked entry.
[[noreturn]] void editForever(const QString& live, const QString& work) {
    QString error;
    for (;;) {
        int number = 0;
        const bool ok =
            recordlist::compact(live, kLayout, "key", &error) &&
            recordlist::move(live, work, kLayout, 1, false, &error) &&
            recordlist::move(live, work, kLayout, 2, true, &error) &&
            recordlist::append(live, entry(recordlist::kDeletedMark, 99), &number, &error);
        if (!ok)
            _exit(3);
    }
}

TEST(RecordListCrash, EveryKillLeavesAWholeTable) {
    QTemporaryDir dir;
    const QString live = dir.filePath(QStringLiteral("CRASH.CFG"));
    const QString work = dir.filePath(QStringLiteral("CRASH.TMP"));
    const Record a = entry("ALPHA", 1), b = entry("BRAVO", 2), c = entry("CHARLIE", 3),
                 d = entry("DELTA", 4);
    const QByteArray start = table({a, b, c, d});
    const Record marked = entry(recordlist::kDeletedMark, 99);
    const QList<QByteArray> whole{start, table({b, a, c, d}), table({a, b, c, d, marked}),
                                  table({b, a, c, d, marked})};
    {
        QFile f(live);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(start);
    }

    std::mt19937 random(20261123);
    std::uniform_int_distribution<int> delayMicros(0, 15000);
    int kills = 0;
    QList<QByteArray> seen;
    while (kills < 220) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            editForever(live, work);
        // Random moments are the point here: the kill must land anywhere in the loop.
        ::usleep(static_cast<useconds_t>(delayMicros(random)));
        ::kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "editor stopped by itself with " << WEXITSTATUS(status);
        ++kills;
        const QByteArray now = readFile(live);
        ASSERT_TRUE(whole.contains(now)) << "after kill " << kills << " the table holds "
                                         << now.size() << " bytes that are no whole table";
        if (!seen.contains(now))
            seen.append(now);
    }
    // The kills did land at different points of the loop, not always in the same state.
    EXPECT_GE(seen.size(), 2);
}

} // namespace
